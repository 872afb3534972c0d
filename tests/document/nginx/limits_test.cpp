// SPDX-License-Identifier: Apache-2.0

// How long a word or a comment may be for nginx: that depends on what follows.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "document/nginx/one_reading.h"

namespace {

using nginx_judge::ExpectOneReading;
using nginx_judge::ProblemOf;
using tov_document::Problem;

struct Limit {
  const char* name;
  std::size_t longest;  // that nginx reads
  std::string (*text)(const std::string& run);
};

const Limit kLimits[] = {
    {"WordBeforeSemicolon", 4095, [](const std::string& run) { return run + ";"; }},
    {"WordBeforeBrace", 4095, [](const std::string& run) { return run + "{}"; }},
    {"WordBeforeBlank", 4094, [](const std::string& run) { return run + " ;"; }},
    {"WordBeforeLineEnd", 4094, [](const std::string& run) { return run + "\n{}"; }},
    {"WordWithBackslash", 4093, [](const std::string& run) { return run + "\\;;"; }},
    {"WordThatDoesNotEnd", 4096, [](const std::string& run) { return run; }},
    {"QuotedBeforeSemicolon", 4094, [](const std::string& run) { return "\"" + run + "\";"; }},
    {"QuotedBeforeBrace", 4094, [](const std::string& run) { return "'" + run + "'{}"; }},
    {"QuotedBeforeBlank", 4093, [](const std::string& run) { return "'" + run + "' ;"; }},
    {"QuotedBeforeWord", 4094, [](const std::string& run) { return "'" + run + "');"; }},
    {"QuotedThatDoesNotEnd", 4096, [](const std::string& run) { return "\"" + run; }},
    {"CommentBeforeLineEnd", 4094, [](const std::string& run) { return "#" + run + "\na;"; }},
    {"CommentInDirective", 4094, [](const std::string& run) { return "a #" + run + "\n;"; }},
    {"CommentAtTheEnd", 4095, [](const std::string& run) { return "#" + run; }},
    {"WordBeforeAnotherError", 4094, [](const std::string& run) { return "a { " + run + " }"; }},
};

// Wherever it stands in the file: nginx moves what it has begun to the front of its buffer.
TEST(NginxLimits, AreWhereTheServerHasThem) {
  for (const Limit& limit : kLimits) {
    SCOPED_TRACE(limit.name);
    for (const std::string& before : {std::string(), std::string(3000, '\n') + "b c; "}) {
      for (const std::size_t more : {0U, 1U}) {
        const std::string text = before + limit.text(std::string(limit.longest + more, 'a'));
        EXPECT_EQ(ProblemOf(text) == Problem::kTooLong, more > 0);
        ExpectOneReading(text);
      }
    }
  }
}

}  // namespace
