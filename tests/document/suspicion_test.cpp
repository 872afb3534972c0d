// SPDX-License-Identifier: Apache-2.0

#include "document/suspicion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tov_document::Describe;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Suspect;

// The suspected place is that of the sign "@" in `text`, which is not a part of the text; without
// one there is none.
struct Case {
  const char* name;
  std::string text;
  const char* said;
};

void ExpectSuspicions(Dialect dialect, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string text = c.text;
    const std::size_t at = text.find('@');
    if (at != std::string::npos) text.erase(at, 1);
    const Document document(dialect, text);
    const auto suspicion = Suspect(document);
    ASSERT_EQ(suspicion.has_value(), at != std::string::npos);
    if (!suspicion) continue;
    EXPECT_EQ(suspicion->at, at);
    EXPECT_EQ(Describe(*suspicion), c.said);
  }
}

TEST(ABlockThatDoesNotClose, IsTracedToABraceInAnExpression) {
  const char* const said = "this brace opens a block: an expression with braces needs quotes";
  ExpectSuspicions(
      Dialect::kNginx,
      {{"a directive", "server {\n\trewrite ^/([0-9]@{2,4})$ /b/$1 break;\n}\n", said},
       {"its only word", "server {\n\tvalid_referers ~a@{2};\n}\n", said},
       {"a location", "server {\n\tlocation ~ ^/[0-9]@{4}$ {\n\t}\n}\n", said},
       {"a condition", "server {\n\tif ($uri ~ ^/[0-9]@{4}$) {\n\t\treturn 404;\n\t}\n}\n", said},
       {"two braces of one word", "server {\n\trewrite ^/a@{2}/b{3}$ /;\n}\n", said},
       {"the first of two", "server {\n\trewrite ^/a@{2}$ /;\n\trewrite ^/b{3}$ /;\n}\n", said},
       {"behind a comment that the block holds", "server {\n\trewrite ^/a@{\n\t# 2\n2}$ /;\n}\n",
        said},
       {"before a block that is not indented",
        "server {\n\tlocation / {\n}\n\trewrite ^/a@{2}$ /;\n}\n", said},
       {"in quotes, where it opens nothing", "server {\n\trewrite \"^/a{2}$\" /;\n", nullptr},
       {"in a file that closes all its blocks", "server {\n\trewrite ^/a{2}$ /;\n}\n}\n",
        nullptr}});
}

TEST(ABlockThatDoesNotClose, IsTracedByTheIndentation) {
  const char* const said = "going by the indentation, the block that begins here does not close";
  ExpectSuspicions(
      Dialect::kNginx,
      {{"the innermost one", "http {\n  server {\n    @location / {\n      root /a;\n  }\n}\n",
        said},
       {"one with another one inside", "server {\n\t@location / {\n\t\tif ($a) {\n\t\t}\n}\n",
        said},
       {"the first of two", "server {\n\t@location /a {\n}\nserver {\n\tlocation /b {\n}\n", said},
       {"the last one", "server {\n}\nserver {\n", nullptr},
       {"tabs beside blanks", "server {\n    location / {\n\t}\n", nullptr},
       {"a closing brace behind something else", "server {\n\tlocation / {\nroot /a; }\n", nullptr},
       {"another error", "server {\n\tlocation / {\n}\n\tgzip on\n}\n", nullptr}});
}

TEST(ABlockThatDoesNotClose, IsNotTracedInApache) {
  ExpectSuspicions(Dialect::kApache, {{"a section", "\t<IfModule a>\n<If b>\n</If>\n", nullptr}});
}

}  // namespace
