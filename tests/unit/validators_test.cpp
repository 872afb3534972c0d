// SPDX-License-Identifier: Apache-2.0

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/all_strings.h"
#include "template/framework/test.h"

namespace {

bool Accepts(int family, const std::string& text) {
  unsigned char address[sizeof(in6_addr)];
  return inet_pton(family, text.c_str(), address) == 1;
}

TEST(Validators, AddressesOfBothFamilies) {
  struct Case {
    const char* text;
    bool ip;
    bool ip6;
  };
  const Case cases[] = {
      {"127.0.0.1", true, false},
      {"0.0.0.0", true, false},
      {"255.255.255.255", true, false},
      {"::", true, true},
      {"::1", true, true},
      {"1::", true, true},
      {"2001:db8::8a2e:370:7334", true, true},
      {"FE80::AbCd", true, true},
      {"1:2:3:4:5:6:7:8", true, true},
      {"::ffff:192.0.2.1", true, true},
      // no strict dotted quads
      {"256.0.0.1", false, false},
      {"127.1", false, false},
      {"1.2.3", false, false},
      {"1.2.3.4.5", false, false},
      {"1.2.3.", false, false},
      {"1..3.4", false, false},
      {"0x7f.0.0.1", false, false},
      {"127.0.0.01", false, false},
      {"2130706433", false, false},
      {"-1.0.0.1", false, false},
      // no IPv6 addresses
      {":", false, false},
      {":::", false, false},
      {"1::2::3", false, false},
      {"1:2:3:4:5:6:7", false, false},
      {"1:2:3:4:5:6:7:8:9", false, false},
      {"12345::", false, false},
      {"g::", false, false},
      {"::1:", false, false},
      // an address and more
      {"fe80::1%eth0", false, false},
      {"fe80::1%1", false, false},
      {"[::1]", false, false},
      {"[::1]:80", false, false},
      {"127.0.0.1:80", false, false},
      {"10.0.0.0/8", false, false},
      {" 127.0.0.1", false, false},
      {"127.0.0.1 ", false, false},
      {"::1\n", false, false},
      // none at all
      {"", false, false},
      {" ", false, false},
      {"80", false, false},
      {"*", false, false},
      {"localhost", false, false},
      {"example.com", false, false},
      {"unix:/run/app.sock", false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    std::string text = c.text;
    EXPECT_EQ(test::Ip(text), c.ip);
    EXPECT_EQ(test::Ip6(text), c.ip6);
    EXPECT_EQ(text, c.text);
  }
}

TEST(Validators, AddressesWithAnEmbeddedNulAreRefused) {
  for (const std::string address : {"127.0.0.1", "::1"}) {
    SCOPED_TRACE(address);
    EXPECT_TRUE(test::Ip(address));
    EXPECT_FALSE(test::Ip(address + '\0'));
    EXPECT_FALSE(test::Ip(address + '\0' + "x"));
    EXPECT_FALSE(test::Ip('\0' + address));
    EXPECT_FALSE(test::Ip6(address + '\0'));
    EXPECT_FALSE(test::Ip6('\0' + address));
  }
}

TEST(Validators, AddressesAreWhatTheSystemAccepts) {
  for (const std::string& text : AllStrings("1:.f", 6)) {
    SCOPED_TRACE(text);
    ASSERT_EQ(test::Ip6(text), Accepts(AF_INET6, text));
    ASSERT_EQ(test::Ip(text), Accepts(AF_INET6, text) || Accepts(AF_INET, text));
  }
  for (const std::string& text : AllStrings("1.", 8)) {
    SCOPED_TRACE(text);
    ASSERT_EQ(test::Ip(text), Accepts(AF_INET, text));
    ASSERT_FALSE(test::Ip6(text));
  }
}

TEST(Validators, NumbersAreAsciiDigitsOnly) {
  struct Case {
    const char* name;
    std::string text;
    bool numeric;
  };
  const Case cases[] = {
      {"a digit", "0", true},
      {"all digits", "0123456789", true},
      {"leading zeros", "0080", true},
      {"longer than any machine number", std::string(1000, '9'), true},
      {"empty", "", false},
      {"a name", "web", false},
      {"negative", "-1", false},
      {"with a sign", "+1", false},
      {"with a point", "1.0", false},
      {"hexadecimal", "0x1f", false},
      {"blank before", " 1", false},
      {"blank behind", "1 ", false},
      {"line end", "1\n", false},
      {"NUL behind", std::string("1\0", 2), false},
      {"NUL alone", std::string(1, '\0'), false},
      {"digits of another script", "\xd9\xa1", false},
      {"full width digit", "\xef\xbc\x91", false},
      {"the byte before 0", "/", false},
      {"the byte behind 9", ":", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string text = c.text;
    EXPECT_EQ(test::Numeric(text), c.numeric);
  }
}

TEST(Validators, EveryByteButTheTenDigitsSpoilsANumber) {
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const std::string text(1, static_cast<char>(byte));
    const bool digit = std::string("0123456789").find(text) != std::string::npos;
    EXPECT_EQ(test::Numeric(text), digit);
    EXPECT_EQ(test::Numeric("1" + text), digit);
    EXPECT_EQ(test::Numeric(text + "1"), digit);
  }
}

}  // namespace
