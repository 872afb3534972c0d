// SPDX-License-Identifier: Apache-2.0

// The values of words, letter by letter. In "types" the server warns of a second line with the same
// second word, and names the first words of both.
#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "document/nginx/one_reading.h"
#include "document/nginx/server_messages.h"

namespace {

using tov_document::Dialect;
using tov_document::Document;

std::string RandomWord(std::mt19937& random) {
  const char* const pieces[] = {"a",   "B",    "{",   "}",   ";",   " ",    "\n",   "#",
                                "$",   "${C}", "\\n", "\\t", "\\r", "\\\\", "\\\"", "\\'",
                                "\\x", "\\;",  "\\ ", "\"",  "'",   ")",    "\t"};
  std::string bytes;
  for (std::size_t size = random() % 8; size > 0; --size) {
    bytes += pieces[random() % std::size(pieces)];
  }
  const std::size_t quoted = random() % 3;
  return quoted == 0 ? bytes : quoted == 1 ? "\"" + bytes + "\"" : "'" + bytes + "'";
}

// The value of a line's first word for the Document, when the line is one directive of two words.
std::optional<std::string> FirstOfTwo(const std::string& line) {
  const Document document(Dialect::kNginx, line);
  const auto nodes = document.Nodes(tov_document::kWholeText);
  if (document.error() || nodes.size() != 1) return std::nullopt;
  const auto words = document.Words(nodes.front());
  if (words.size() != 2) return std::nullopt;
  return document.Value(words.front());
}

TEST(NginxWords, HaveTheValuesThatTheServerGivesThem) {
  const std::size_t count = 400;
  std::mt19937 random(1);
  std::string config = "events {}\nhttp { types { FIRST z;\n";
  std::vector<std::string> values{"FIRST"};
  std::vector<std::string> expected;
  while (expected.size() < count) {
    const std::string line = RandomWord(random) + " z;";
    const std::optional<std::string> value = FirstOfTwo(line);
    if (!value || *value == "include") continue;
    config += line + "\n";
    expected.push_back("duplicate extension \"z\", content type: \"" + *value +
                       "\", previous content type: \"" + values.back() + "\"");
    values.push_back(*value);
  }
  const auto messages = nginx_judge::MessagesAbout(nginx_judge::Folder(), config + "} }\n");
  ASSERT_GE(messages.size(), count);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(messages[i].text.substr(0, messages[i].text.rfind(" in ")), expected[i]);
  }
}

}  // namespace
