// SPDX-License-Identifier: Apache-2.0

// The locales of these tests are what they are meant to be, and the program does not care.
#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <cstdlib>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

const std::string kLocale = std::getenv("QELTEMPLATE_TEST_LOCALE");

TEST(Locale, IsInForceForCAndForCxx) {
  EXPECT_EQ(std::locale().name(), kLocale);
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), kLocale);
}

TEST(Locale, GroupsDigits) {
  std::ostringstream out;
  out << 1234567;
  EXPECT_EQ(out.str(), "1.234.567");
  EXPECT_STREQ(std::localeconv()->decimal_point, ",");
}

TEST(Locale, HasLettersAndBlanksOfItsOwn) {
  const bool one_byte = kLocale != "tr_TR.UTF-8";
  // Asked through the C++ locale: the compiler believes it knows what C's toupper says.
  const auto& letters = std::use_facet<std::ctype<char>>(std::locale());
  EXPECT_EQ(letters.toupper('i'), one_byte ? '\xdd' : 'i') << "not 'I'";
  EXPECT_EQ(letters.tolower('I'), one_byte ? '\xfd' : 'I') << "not 'i'";
  const bool more_blanks = kLocale == "tr_blanks.ISO-8859-9";
  EXPECT_EQ(std::isspace(0x85) != 0, more_blanks);
  EXPECT_EQ(std::isspace(0xA0) != 0, more_blanks);
}

// What the program leaves behind in the locale `locale`, for requests that are right and wrong.
std::vector<std::string> OutcomesIn(const std::string& locale, const Sandbox& sandbox) {
  sandbox.Write("site.conf",
                "server {\nserver_name ISTANBUL.example \xc3\xa0;\nlisten 1234567;\n"
                "root /\xe0\xa0\x85;\n}\n");
  sandbox.Write("site.template",
                "server {\nserver_name {% $name %};\nlisten 127.0.0.1:{% $port %};\n"
                "{% if $port == 1234567 %}\nI [% $name %];\n{% endif %}\n}\n");
  sandbox.Write("bad.template", "{% import bad.template %}\n{% import bad.template %}\n");
  sandbox.Write("values.json", R"({"name": {"old": "ISTANBUL.example", "new": "istanbul"}})");
  sandbox.Write("bad.json", R"({"port": 1234567.5})");
  const std::vector<std::vector<std::string>> requests = {
      {"apply", "--template", "site.template", "--set", "port=1234567", "--values", "values.json"},
      {"apply", "--diff", "--template", "site.template", "--set", "name=a"},
      {"prototype", "--template", "site.template", "--set", "name=\xa0"},
      {"apply", "--template", "bad.template"},
      {"apply", "--template", "site.template", "--values", "bad.json"},
      {"apply", "--template", "missing.template"},
      {"apply", "--template", "site.template", "--set", "nothing"},
  };
  std::vector<std::string> outcomes;
  for (const std::vector<std::string>& request : requests) {
    std::vector<std::string> command = {"env", "LC_ALL=" + locale, "LANGUAGE=tr",
                                        QELTEMPLATE_PROGRAM};
    command.insert(command.end(), request.begin(), request.end());
    command.insert(command.end(), {"--dialect", "nginx", "site.conf"});
    const Outcome outcome = sandbox.Run(command);
    outcomes.push_back(std::to_string(outcome.exit_code) + "\n" + outcome.out + outcome.err);
  }
  return outcomes;
}

TEST(Program, SaysTheSameInEveryLocale) {
  const Sandbox sandbox;
  const std::vector<std::string> outcomes = OutcomesIn(kLocale, sandbox);
  EXPECT_EQ(outcomes, OutcomesIn("C", sandbox));
  EXPECT_EQ(outcomes[0],
            "0\nserver {\nserver_name istanbul \xc3\xa0;\nlisten 1234567;\n"
            "listen 127.0.0.1:1234567;\nroot /\xe0\xa0\x85;\nI istanbul;\n}\n");
}

}  // namespace
