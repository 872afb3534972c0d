// SPDX-License-Identifier: Apache-2.0

// Which directives and comments of a block are found by their words.

#include "edit/match/child_index.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "document/document.h"
#include "edit/match/contents.h"

namespace tov_edit {
namespace {

using Positions = ChildIndex::Positions;

class Indexed {
 public:
  Indexed(Dialect dialect, const std::string& text)
      : m_text(text),
        m_document(dialect, m_text),
        m_contents(m_document),
        m_children(m_contents.WithConditions(tov_document::kWholeText, {})),
        m_index(m_document, m_children) {}

  const ChildIndex& operator*() const { return m_index; }

 private:
  const std::string m_text;
  const Document m_document;
  Contents m_contents;
  const std::vector<const Child*> m_children;
  const ChildIndex m_index;
};

TEST(Directives, AreFoundByTheirWords) {
  const Indexed of(Dialect::kNginx,
                   "allow a b;\n"     // 0
                   "allow ab;\n"      // 1
                   "deny all;\n"      // 2
                   "allow 'a b';\n"   // 3
                   "allow \"ab\";\n"  // 4
                   "allow\ta b;\n"    // 5
                   "allow;\n"         // 6
                   "allow {\n}\n");   // a block
  struct WordsCase {
    Texts words;
    Positions found;
  };
  const WordsCase cases[] = {
      {{"allow", "ab"}, {1, 4}},
      {{"allow", "a", "b"}, {0, 5}},
      {{"allow", "a b"}, {3}},
      {{"allow", "a", "", "b"}, {}},
      {{"allow", "", "ab"}, {}},
      {{"allow"}, {6}},
      {{"deny", "all"}, {2}},
      {{"deny", "a"}, {}},
      {{"deny"}, {}},
      {{"Deny", "all"}, {}},
      {{"zero", "a"}, {}},
      {{"aa"}, {}},
      {{}, {}},
  };
  for (const WordsCase& c : cases) {
    std::string shown;
    for (const std::string& word : c.words) shown += "[" + word + "]";
    EXPECT_EQ((*of).Like(c.words), c.found) << shown;
    EXPECT_EQ((*of).HasLike(c.words), !c.found.empty()) << shown;
  }
  EXPECT_EQ((*of).BeginningWith({{}, "al"}), Positions({0, 1, 3, 4, 5, 6}));
  EXPECT_EQ((*of).BeginningWith({{}, "all"}), Positions({0, 1, 3, 4, 5, 6}));
  EXPECT_EQ((*of).BeginningWith({{}, "l"}), Positions());
}

TEST(Directives, AreFoundByTheirBeginning) {
  const Indexed of(Dialect::kApache,
                   "ErrorDocument 404 /b\n"   // 0
                   "errordocument 404 /a\n"   // 1
                   "ErrorDocument 403 /a\n"   // 2
                   "ErrorDocument2 404 /a\n"  // 3
                   "# ErrorDocument 404\n"
                   "<ErrorDocument 404>\n</ErrorDocument>\n");
  EXPECT_EQ((*of).BeginningWith({{"ErrorDocument", "404"}, ""}), Positions({0, 1}));
  EXPECT_EQ((*of).BeginningWith({{"ERRORDOCUMENT"}, "40"}), Positions({0, 1, 2}));
  EXPECT_EQ((*of).BeginningWith({{"ErrorDocument", "404"}, "/a"}), Positions({1}));
  EXPECT_EQ((*of).BeginningWith({{"ErrorDocument", "40"}, ""}), Positions());
  EXPECT_EQ((*of).BeginningWith({{"Zero"}, ""}), Positions());
  EXPECT_EQ((*of).Named("errorDocument"), Positions({0, 1, 2}));
  EXPECT_EQ((*of).Named("ErrorDocument2"), Positions({3}));
  EXPECT_EQ((*of).Named("Error"), Positions());
}

TEST(Comments, AreFoundByTheirText) {
  const Indexed of(Dialect::kNginx, "# a\nx; # b  \n# a \n#a\n");
  EXPECT_EQ((*of).Comments("# a"), Positions({0, 3}));
  EXPECT_EQ((*of).Comments("# b"), Positions({2}));
  EXPECT_EQ((*of).Comments("#a"), Positions({4}));
  EXPECT_EQ((*of).Comments("# a "), Positions());
  EXPECT_EQ((*of).Comments("x"), Positions());
}

}  // namespace
}  // namespace tov_edit
