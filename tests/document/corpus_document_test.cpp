// SPDX-License-Identifier: Apache-2.0

// Files that people have, and texts made to be hard: the nodes are the text.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "document/document.h"
#include "document/tree.h"

namespace {

using namespace tov_document;
namespace fs = std::filesystem;

std::string ReadText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void ExpectTiled(const std::string& text) {
  EXPECT_EQ(Untiled(Document(Dialect::kNginx, text)), "");
  EXPECT_EQ(Untiled(Document(Dialect::kApache, text)), "");
}

// Calls `check` with each file's text, and returns how many there were.
template <class Check>
int ForEachFile(const Check& check) {
  int files = 0;
  for (const fs::path& folder : {fs::path(QELTEMPLATE_SOURCE_DIR) / "../shared/corpus",
                                 fs::path(QELTEMPLATE_TESTS_DIR) / "constructs",
                                 fs::path(QELTEMPLATE_TESTS_DIR) / "golden"}) {
    if (!fs::exists(folder)) continue;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      SCOPED_TRACE(entry.path());
      check(ReadText(entry.path()));
      ++files;
    }
  }
  return files;
}

// Each text is read in both dialects, so that each is also one that its reader does not take.
TEST(CorpusDocument, NodesAreTheText) {
  EXPECT_GT(ForEachFile(ExpectTiled), 100);
}

// The blocks, the identifying directives and the error, with their places counted from `begin`.
std::string Read(Dialect dialect, const std::string& text, std::size_t begin) {
  const Document document(dialect, text);
  std::ostringstream out;
  const auto put = [&](Span span) { out << span.begin - begin << '-' << span.end - begin << ' '; };
  for (BlockId id = 1; id < document.blocks().size(); ++id) {
    const Block& block = document.blocks()[id];
    for (const Span span : {block.head, block.body(), block.closing}) put(span);
    out << block.parent << ' ' << block.next << ' ' << static_cast<int>(block.reading) << '\n';
  }
  for (const Mark& mark : document.marks()) {
    put(mark.directive);
    out << mark.block << ' ' << mark.names << '\n';
  }
  if (!document.error()) return out.str();
  out << static_cast<int>(document.error()->problem) << " at " << document.error()->at - begin;
  if (document.error()->opened) out << " in " << *document.error()->opened - begin;
  return out.str();
}

// Bytes are looked at by dozens: what a text is must not depend on where the dozens begin.
TEST(CorpusDocument, IsReadAlikeBehindAnyNumberOfLineEnds) {
  constexpr std::size_t kMost = 64;
  constexpr std::size_t kStep = 7;
  ForEachFile([](const std::string& text) {
    for (const Dialect dialect : {Dialect::kNginx, Dialect::kApache}) {
      const std::string expected = Read(dialect, text, 0);
      for (std::size_t before = 1; before <= kMost; before += kStep) {
        const std::string moved = std::string(before, '\n') + text;
        ASSERT_EQ(Read(dialect, moved, before), expected) << before;
      }
    }
  });
}

// What stands at the end of a whole file may be cut off at any byte.
TEST(CorpusDocument, NodesAreTheTextHoweverItIsCutOff) {
  const std::string nginx =
      "http { # a\n server { listen 80; \"b c\" 'd' e\\ f ${g}; location / { } }\n"
      " init_by_lua_block { a = '}' --[[ } ]] b = {} } map $a $b { c d; } }\n";
  const std::string apache =
      "<IfModule a>\r\n # b \\\n c\n <VirtualHost *:80 \"d\">\n  ServerName e\\\n f\n "
      "</VirtualHost>\n"
      "</IfModule>\n<Macro g>\n</Location>\n</Macro>\n<Perl>\n x\n</Perl>\nOptions \"h";
  for (const std::string& text : {nginx, apache}) {
    for (std::size_t size = 0; size <= text.size(); ++size) ExpectTiled(text.substr(0, size));
  }
}

}  // namespace
