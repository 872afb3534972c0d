// SPDX-License-Identifier: Apache-2.0

// A result that is not what was meant is noticed, wherever it differs.

#include "edit/layout/meant_tree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

const std::string kConfig =
    "http {\n  gzip on; # all\n  server {\n    server_name a;\n    root /a;\n  }\n  server {\n"
    "    server_name b;\n    content_by_lua_block { x = 1 }\n  }\n}\n";

// The first server is to have another root and one more directive, and the second one goes.
class Meant : public testing::Test {
 protected:
  Meant() {
    const std::vector<Child>& children = m_contents.Of(2);
    m_meant.ChangeWords(children.at(1), {"root", "/x y"});
    m_meant.Add(2, kConfig.find("  }\n  server"), {"location / {", "return 404; # none", "}"});
    const std::vector<Child>& servers = m_contents.Of(1);
    m_meant.Remove(servers.at(3));
  }

  // Where `after` is another tree, as the text from there on; "": nowhere.
  std::string DifferenceFrom(const std::string& after) const {
    const Document document(Dialect::kNginx, after);
    EXPECT_FALSE(document.error()) << after;
    const auto at = m_meant.DifferenceFrom(document);
    return at ? after.substr(*at) : "";
  }

  const Document m_document{Dialect::kNginx, kConfig};
  Contents m_contents{m_document};
  MeantTree m_meant{m_document};
  const std::string m_expected =
      "http {\n  gzip on; # all\n  server {\n    server_name a;\n    root \"/x y\";\n"
      "    location / {\n        return 404; # none\n    }\n  }\n}\n";
};

TEST_F(Meant, IsTheTreeInAnyLayout) {
  EXPECT_EQ(DifferenceFrom(m_expected), "");
  EXPECT_EQ(DifferenceFrom(With(m_expected, "    root \"/x y\";\n", "\n\troot '/x y' ;")), "");
  EXPECT_EQ(DifferenceFrom(With(m_expected, "location / {\n", "location / {")), "");
}

TEST_F(Meant, IsNoOtherTree) {
  struct Other {
    const char* name;
    std::string from;
    std::string to;
    std::string at;  // it begins so
  };
  for (const Other& other : {
           Other{"the directive is not changed", "\"/x y\"", "/a", "root /a"},
           Other{"it has two words", "\"/x y\"", "/x y", "root /x y"},
           Other{"it has another name", "root \"", "Root \"", "Root"},
           Other{"it is gone", "    root \"/x y\";\n", "", "location"},
           Other{"it is there twice", "root \"/x y\";", "root \"/x y\"; root \"/x y\";", "root"},
           Other{"a directive more", "root \"/x y\";", "root \"/x y\"; evil on;", "evil"},
           Other{"one more in the new block", "return 404;", "return 404; evil on;", "location"},
           Other{"another one in the new block", "return 404;", "return 405;", "location"},
           Other{"the new block's comment", "# none", "# some", "location"},
           Other{"the new block's head", "location /", "location /x", "location /x"},
           Other{"the new block is gone", "    location / {\n        return 404; # none\n    }\n",
                 "", "}\n}"},
           Other{"a directive that stays", "server_name a", "server_name c", "server_name c"},
           Other{"the quotes of one that stays", "name a;", "name \"a\";", "server_name \"a\""},
           Other{"a comment around", "# all", "# none", "# none"},
           Other{"a directive around", "gzip on", "gzip off", "gzip off"},
           Other{"a block more", "  }\n}\n", "  }\n  types {}\n}\n", "types"},
           Other{"a block around it", "http {\n", "http {\n x { }\n", "x { }"},
           Other{"a text behind it", "  }\n}\n", "  }\n}\nevents {}\n", "\nevents"},
       }) {
    SCOPED_TRACE(other.name);
    const std::string difference = DifferenceFrom(With(m_expected, other.from, other.to));
    EXPECT_EQ(difference.substr(0, other.at.size()), other.at) << difference;
  }
}

TEST_F(Meant, HasNotWhatWasRemoved) {
  const std::string second = kConfig.substr(kConfig.find("  server {\n    server_name b"));
  const std::string after = With(m_expected, "  }\n}\n", "  }\n" + second);
  EXPECT_EQ(DifferenceFrom(after).substr(0, 8), "server {");
}

TEST(ATreeInWhichNothingChanges, IsTheSameByteByByte) {
  const Document document(Dialect::kNginx, kConfig);
  const MeantTree meant(document);
  EXPECT_FALSE(meant.DifferenceFrom(document));
  for (std::size_t i = 0; i < kConfig.size(); ++i) {
    if (std::string("{};\"").find(kConfig.at(i)) != std::string::npos) continue;
    std::string after = kConfig;
    after.at(i) = after.at(i) == 'q' ? 'z' : 'q';
    const Document other(Dialect::kNginx, after);
    if (other.error()) continue;
    EXPECT_TRUE(meant.DifferenceFrom(other)) << after;
  }
  for (std::size_t i = 1; i <= kConfig.rfind('}'); ++i) {
    const std::string after = kConfig.substr(0, i) + ' ' + kConfig.substr(i);
    const Document other(Dialect::kNginx, after);
    EXPECT_TRUE(meant.DifferenceFrom(other)) << after;
  }
}

TEST(AMeantTree, HasTheBytesOfABlockBesideAChange) {
  const std::string config = "x {\na 1;\nb {\n  c  2;\n\n  d {}\n}\n}\n";
  const Document document(Dialect::kNginx, config);
  Contents contents(document);
  MeantTree meant(document);
  meant.ChangeWords(contents.Of(1).at(0), {"a", "2"});
  const auto differs = [&](const std::string& after) {
    return meant.DifferenceFrom(Document(Dialect::kNginx, after)).has_value();
  };
  const std::string expected = With(config, "a 1", "a 2");
  EXPECT_FALSE(differs(expected));
  EXPECT_FALSE(differs(With(expected, "a 2", "a   2")));
  EXPECT_TRUE(differs(With(expected, "\n\n", "\n")));
  EXPECT_TRUE(differs(With(expected, "{}", "{ }")));
  EXPECT_TRUE(differs(With(expected, "c  2", "c 2")));
}

TEST(AMeantTree, OfApacheHasItsClosingLines) {
  const std::string config = "<Location /a>\nA b \\\n c\n</Location>\nServerName x\n";
  const Document document(Dialect::kApache, config);
  Contents contents(document);
  MeantTree meant(document);
  meant.ChangeWords(contents.Of(0).at(0), {"Directory", "/b"});
  meant.ChangeClosing(1, "</Directory>");
  const auto differs = [&](const std::string& after) {
    return meant.DifferenceFrom(Document(Dialect::kApache, after)).has_value();
  };
  const std::string expected = "<Directory /b>\nA b \\\n c\n</Directory>\nServerName x\n";
  EXPECT_FALSE(differs(expected));
  EXPECT_FALSE(differs(With(expected, "<Directory /b", "<directory \"/b\"")));
  EXPECT_TRUE(differs(With(expected, "</Directory>", "</DIRECTORY>")));
  EXPECT_TRUE(differs(With(expected, " \\\n c", " c")));
  EXPECT_TRUE(differs(With(expected, "/b", "/c")));
}

TEST(AMeantTree, KnowsTheCommentsThatGoWithTheirLine) {
  const std::string config = "a b; # one\n# two\nc d; # three\n";
  const Document document(Dialect::kNginx, config);
  Contents contents(document);
  MeantTree meant(document);
  meant.Remove(contents.Of(0).at(0));
  const auto differs = [&](const std::string& after) {
    return meant.DifferenceFrom(Document(Dialect::kNginx, after)).has_value();
  };
  EXPECT_TRUE(differs("# two\nc d; # three\n"));
  meant.TakeAlong({0, 11});
  EXPECT_FALSE(differs("# two\nc d; # three\n"));
  EXPECT_TRUE(differs("c d; # three\n"));
  EXPECT_TRUE(differs("# two\nc d;\n"));
}

TEST(AMeantTree, TakesALineEndForNoPartOfAComment) {
  const std::string config = "# one\r\na b;\r\nc d;";
  const Document document(Dialect::kNginx, config);
  Contents contents(document);
  MeantTree meant(document);
  meant.Remove(contents.Of(0).at(1));
  meant.Remove(contents.Of(0).at(2));
  const auto differs = [&](const std::string& after) {
    return meant.DifferenceFrom(Document(Dialect::kNginx, after)).has_value();
  };
  EXPECT_FALSE(differs("# one"));
  EXPECT_FALSE(differs("# one\r\n"));
  EXPECT_FALSE(differs("# one\n"));
  EXPECT_TRUE(differs("# one "));
  EXPECT_TRUE(differs("# on"));
}

}  // namespace
}  // namespace tov_edit
