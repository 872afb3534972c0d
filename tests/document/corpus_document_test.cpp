// SPDX-License-Identifier: Apache-2.0

// Files that people have, and texts made to be hard: the nodes are the text.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
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

// Each text is read in both dialects, so that each is also one that its reader does not take.
TEST(CorpusDocument, NodesAreTheText) {
  int files = 0;
  for (const fs::path& folder : {fs::path(QELTEMPLATE_SOURCE_DIR) / "../shared/corpus",
                                 fs::path(QELTEMPLATE_TESTS_DIR) / "constructs",
                                 fs::path(QELTEMPLATE_TESTS_DIR) / "golden"}) {
    if (!fs::exists(folder)) continue;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      SCOPED_TRACE(entry.path());
      ExpectTiled(ReadText(entry.path()));
      ++files;
    }
  }
  EXPECT_GT(files, 100);
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
