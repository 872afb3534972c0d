// SPDX-License-Identifier: Apache-2.0

#include "template/framework/test.h"

#include <arpa/inet.h>

#include <algorithm>

namespace test {
namespace {

bool IsAddress(int family, const std::string& text) {
  in6_addr address;  // large enough for both families
  return text.find('\0') == std::string::npos && inet_pton(family, text.c_str(), &address) == 1;
}

}  // namespace

bool Ip(const std::string& text) {
  return IsAddress(AF_INET, text) || Ip6(text);
}

bool Ip6(const std::string& text) {
  return IsAddress(AF_INET6, text);
}

bool Numeric(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return '0' <= c && c <= '9'; });
}

}  // namespace test
