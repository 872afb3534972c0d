// SPDX-License-Identifier: Apache-2.0

// The judge itself: a reading that is wrong in any way does not pass.
#include "document/nginx/server_judge.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "document/nginx/one_reading.h"
#include "document/nginx/plain_reader.h"

namespace {

using nginx_judge::Reading;
using tov_document::Problem;
using tov_document::SyntaxError;

struct Falsehood {
  const char* name;
  const char* text;
  void (*tell)(Reading& reading);
};

// Another value than the right one for the word at `event`, `word`.
void ChangeValue(Reading& reading, std::size_t event, std::size_t word) {
  reading.events.at(event).words.at(word).value += "x";
}

const Falsehood kFalsehoods[] = {
    {"another value", "a {\n  b c; }\n", [](Reading& r) { ChangeValue(r, 1, 1); }},
    {"another value in a head", "a b {\n  c; }\n", [](Reading& r) { ChangeValue(r, 0, 1); }},
    {"another value before an error", "a b;\nc } d;", [](Reading& r) { ChangeValue(r, 0, 1); }},
    {"a word too many", "a b;", [](Reading& r) { r.events[0].words.push_back({}); }},
    {"two words that are one", "a b c;",
     [](Reading& r) {
       r.events[0].words.pop_back();
       r.events[0].words[1].value = "b c";
     }},
    {"a directive that ends elsewhere", "a \"b;c\";", [](Reading& r) { r.events[0].end = 5; }},
    {"a directive too few", "a; b;", [](Reading& r) { r.events.pop_back(); }},
    {"a block that closes too early", "a { b; }\n", [](Reading& r) { r.events.pop_back(); }},
    {"a brace of a word that opens a block", "a $\\{b; c;",
     [](Reading& r) {
       r.events[0] = {nginx_judge::What::kOpen, 0, 5, {{0, 1, '\0', "a"}, {2, 4, '\0', "$\\"}}};
     }},
    {"a brace of a variable that opens a block", "a ${b; }",
     [](Reading& r) {
       r.events = {{nginx_judge::What::kOpen, 0, 4, {{0, 1, '\0', "a"}, {2, 3, '\0', "$"}}},
                   {nginx_judge::What::kDirective, 4, 6, {{4, 5, '\0', "b"}}},
                   {nginx_judge::What::kClose, 7, 8, {}}};
       r.error.reset();
     }},
    {"Lua code that ends elsewhere", "x_by_lua_block { '}' }\n",
     [](Reading& r) {
       r.events[1] = {nginx_judge::What::kClose, 18, 19, {}};
     }},
    {"no error where there is one", "a;\nb }\n", [](Reading& r) { r.error.reset(); }},
    {"an error where there is none", "a;\nb;\n",
     [](Reading& r) {
       r.error = SyntaxError{Problem::kNoSemicolon, 3, {}};
     }},
    {"an error of another kind", "a;\nb }\n",
     [](Reading& r) { r.error->problem = Problem::kUnclosedBlock; }},
    {"an error on another line", "a;\nb\n}\n", [](Reading& r) { r.error->at = 3; }},
    {"an unclosed block for an unended directive", "a {\n",
     [](Reading& r) { r.error->problem = Problem::kNoSemicolon; }},
};

TEST(NginxServerJudge, SeesWhatIsWrong) {
  for (const Falsehood& falsehood : kFalsehoods) {
    SCOPED_TRACE(falsehood.name);
    Reading reading = nginx_judge::ReadPlainly(falsehood.text);
    const auto judge = [&] {
      return nginx_judge::ServerDifference(nginx_judge::Folder(), falsehood.text, reading);
    };
    EXPECT_EQ(judge(), "");
    falsehood.tell(reading);
    EXPECT_NE(judge(), "");
  }
}

}  // namespace
