// SPDX-License-Identifier: Apache-2.0

// Whoever has the dialect finds everything registered, whenever he looks; and only blocks wait
// whose registration changes no text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "support/index_audit.h"
#include "template/apache.h"
#include "template/nginx.h"
#include "template/parser_template.h"

namespace {

using tov_template::Apache;
using tov_template::IndexAudit;
using tov_template::kSectionSeparator;
using tov_template::LineIterator;
using tov_template::Nginx;
using tov_template::ParserTemplate;

constexpr char kApacheText[] =
    "<V a>\n\tOptions -Indexes +ExecCGI\n\tServerAlias a b\n\t<D />\n\t\tOptions None\n\t</D>\n"
    "</V>\n<V b>\n\tOptions x\n\tDirectoryIndex i\n</V>";
constexpr char kNginxText[] =
    "server {\nlisten 80;\nserver_name a;\n}\nserver {\nlisten 81;\nlisten 82;\nserver_name b;\n}";

// Dialects whose directives are registered at once, since they might do it in another way.
struct EagerApache : Apache {
  using Apache::Apache;
};
struct EagerNginx : Nginx {
  using Nginx::Nginx;
};

template <class Dialect>
struct Eager;
template <>
struct Eager<Apache> {
  using Type = EagerApache;
};
template <>
struct Eager<Nginx> {
  using Type = EagerNginx;
};

template <class Dialect>
std::string TextOf();
template <>
std::string TextOf<Apache>() {
  return kApacheText;
}
template <>
std::string TextOf<Nginx>() {
  return kNginxText;
}

// What is registered, by block and directive, with the texts of the lines.
template <class Dialect>
std::string Shown(const Dialect& dialect) {
  std::string shown;
  for (const auto& [key, lines] : IndexAudit::Registered(dialect)) {
    shown += key + ":";
    for (const LineIterator& line : lines) shown += " '" + *line + "'";
    shown += "\n";
  }
  return shown;
}

template <class Dialect>
class LateRegistrationTest : public testing::Test {
 protected:
  LateRegistrationTest() {
    const ParserTemplate parser(m_eager);
    m_all = Shown(*m_eager);
  }

  LineIterator LineOf(const std::string& part) const {
    LineIterator line = m_lines->begin();
    while (line->find(part) == std::string::npos) ++line;
    return line;
  }

  const std::shared_ptr<typename Eager<Dialect>::Type> m_eager =
      std::make_shared<typename Eager<Dialect>::Type>(TextOf<Dialect>());
  std::string m_all;  // what is registered when everything is
  const std::shared_ptr<Dialect> m_dialect = std::make_shared<Dialect>(TextOf<Dialect>());
  std::list<std::string>* const m_lines = m_dialect->GetList();
};

struct DialectNames {
  template <class Dialect>
  static std::string GetName(int /*number*/) {
    return std::is_same_v<Dialect, Apache> ? "Apache" : "Nginx";
  }
};

using Dialects = testing::Types<Apache, Nginx>;
TYPED_TEST_SUITE(LateRegistrationTest, Dialects, DialectNames);

TYPED_TEST(LateRegistrationTest, NothingIsRegisteredUntilSomebodyAsks) {
  const ParserTemplate parser(this->m_dialect);
  EXPECT_EQ(Shown(*this->m_dialect), "");
  EXPECT_NE(this->m_all, "");
}

TYPED_TEST(LateRegistrationTest, OfADerivedDialectEverythingIsRegisteredAtOnce) {
  EXPECT_NE(Shown(*this->m_eager), "");
}

TYPED_TEST(LateRegistrationTest, WhoeverAsksForTheLinesFindsThemAll) {
  const ParserTemplate parser(this->m_dialect);
  EXPECT_EQ(this->m_dialect->RegisteredLines().size(), this->m_eager->RegisteredLines().size());
  EXPECT_EQ(Shown(*this->m_dialect), this->m_all);
}

TYPED_TEST(LateRegistrationTest, WhoeverAsksWhenTheParserIsGoneFindsThemAll) {
  { const ParserTemplate parser(this->m_dialect); }
  EXPECT_EQ(this->m_dialect->RegisteredLines().size(), this->m_eager->RegisteredLines().size());
  EXPECT_EQ(Shown(*this->m_dialect), this->m_all);
}

TYPED_TEST(LateRegistrationTest, TheNextParserFindsThemAllAndRegistersAsEver) {
  { const ParserTemplate parser(this->m_dialect); }
  const ParserTemplate next(this->m_dialect);
  const ParserTemplate next_eager(this->m_eager);
  EXPECT_EQ(this->m_dialect->Str(), this->m_eager->Str());
  EXPECT_EQ(Shown(*this->m_dialect), Shown(*this->m_eager));
}

TYPED_TEST(LateRegistrationTest, EachOperationOfTheDialectHasThemRegisteredFirst) {
  using Operation = void (*)(TypeParam&, LineIterator);
  const Operation operations[] = {
      [](TypeParam& dialect, LineIterator) { dialect.GetList(); },
      [](TypeParam& dialect, LineIterator) { dialect.SharedLine("none", "none"); },
      [](TypeParam& dialect, LineIterator line) { dialect.ChangeParam(line, "changed"); },
      [](TypeParam& dialect, LineIterator) {
        std::list<LineIterator> removed;
        dialect.RemoveUniqueParam("none", "listen 1;", false, removed);
      },
      [](TypeParam& dialect, LineIterator line) {
        std::list<LineIterator> removed;
        dialect.ChangeUniqueParam("none", line, "listen 1;", removed);
      },
      [](TypeParam& dialect, LineIterator line) {
        EXPECT_EQ(dialect.AppendUniqueParam("", line, ""), line);
      },
  };
  int number = 0;
  for (const Operation operation : operations) {
    SCOPED_TRACE(number++);
    const auto dialect = std::make_shared<TypeParam>(TextOf<TypeParam>());
    const LineIterator first = dialect->GetList()->begin();
    const ParserTemplate parser(dialect);
    ASSERT_EQ(Shown(*dialect), "");
    operation(*dialect, first);
    EXPECT_EQ(Shown(*dialect), this->m_all);
  }
}

// The line has been registered, and is forgotten.
TYPED_TEST(LateRegistrationTest, ALineThatSomebodyErasesIsNotRegisteredAfterwards) {
  { const ParserTemplate parser(this->m_dialect); }
  const char* const part = std::is_same_v<TypeParam, Apache> ? "ServerAlias" : "listen 81";
  const std::size_t number = this->m_eager->RegisteredLines().size();
  this->m_dialect->RemoveParam(this->LineOf(part));
  EXPECT_EQ(this->m_dialect->RegisteredLines().size(), number - 1);
  EXPECT_EQ(IndexAudit::WrongInDialect(*this->m_dialect), "");
}

TYPED_TEST(LateRegistrationTest, SeveralLinesThatSomebodyErasesAreNotRegisteredAfterwards) {
  const ParserTemplate parser(this->m_dialect);
  this->m_dialect->RemoveParam(this->m_lines->begin(), this->m_lines->end());
  EXPECT_TRUE(this->m_dialect->RegisteredLines().empty());
  EXPECT_EQ(IndexAudit::WrongInDialect(*this->m_dialect), "");
}

TYPED_TEST(LateRegistrationTest, ALineThatSomebodyChangesHasBeenRegisteredAsItWas) {
  const ParserTemplate parser(this->m_dialect);
  const char* const part = std::is_same_v<TypeParam, Apache> ? "DirectoryIndex" : "listen 82";
  const LineIterator line = this->LineOf(part);
  this->m_dialect->ChangeParam(line, "y");
  const std::vector<LineIterator> lines = this->m_dialect->RegisteredLines();
  EXPECT_EQ(lines.size(), this->m_eager->RegisteredLines().size());
  EXPECT_EQ(std::count(lines.begin(), lines.end(), line), 1);
}

// --- Which blocks can wait ---

struct Waits {
  const char* text;
  bool waits;
};

TEST(LateRegistration, OnlyBlocksWaitWhoseOptionsStayAsTheyAre) {
  const Waits cases[] = {
      {"<V>\n\tOptions a b\n</V>", true},
      {"<V>\n\tOptions\n</V>", true},
      {"<V>\nServerAlias  a\n  DirectoryIndex b \n</V>", true},
      {"<V>\n\t<D>\n\t\tOptions a\n\t</D>\n</V>", true},
      {"<V>\nOptions a\n</V>", false},
      {"<V>\n\t\tOptions a\n</V>", false},
      {"<V>\n \tOptions a\n</V>", false},
      {"<V>\n\t Options a\n</V>", false},
      {"<V>\n\tOptions  a\n</V>", false},
      {"<V>\n\tOptions\ta\n</V>", false},
      {"<V>\n\tOptions a \n</V>", false},
      {"<V>\n\tOptions \n</V>", false},
      {"<V>\n\tOptions a\r\n</V>", false},
      {"<V>\n\tOptions a b a\n</V>", false},
      {"<V>\n\tOptions Options\n</V>", false},
      {"<V>\n\tOptions a\n\tOptions b\n</V>", false},
      {"<V>\n\tOptions a\n</V>\n<V>\n\tOptions b\n</V>", false},
      {"<V>\n\t<D>\n\tOptions a\n\t</D>\n</V>", false},
  };
  for (const Waits& c : cases) {
    SCOPED_TRACE(c.text);
    const auto dialect = std::make_shared<Apache>(c.text);
    const auto eager = std::make_shared<EagerApache>(c.text);
    const ParserTemplate parser(dialect);
    const ParserTemplate eager_parser(eager);
    EXPECT_EQ(Shown(*dialect).empty(), c.waits);
    EXPECT_EQ(dialect->Str(), eager->Str());
    EXPECT_EQ(eager->Str() == c.text, c.waits);  // else the line is written anew
    dialect->RegisteredLines();
    EXPECT_EQ(dialect->Str(), eager->Str());
    EXPECT_EQ(Shown(*dialect), Shown(*eager));
    EXPECT_EQ(IndexAudit::Words(*dialect), IndexAudit::Words(*eager));
  }
}

TEST(LateRegistration, ALineOfManyWordsDoesNotWait) {
  std::string text = "<V>\n\tOptions";
  for (int i = 0; i < 40; ++i) text += " w" + std::to_string(i);
  text += "\n</V>";
  const auto dialect = std::make_shared<Apache>(text);
  const ParserTemplate parser(dialect);
  EXPECT_NE(Shown(*dialect), "");
  EXPECT_EQ(dialect->Str(), text);
}

TEST(LateRegistration, ABlockWaitsBesideOneThatDoesNot) {
  const auto dialect = std::make_shared<Apache>("<A>\nOptions  a\n</A>\n<B>\n\tOptions b\n</B>");
  const ParserTemplate parser(dialect);
  EXPECT_EQ(Shown(*dialect), "<A>\x1f: '\tOptions a'\n");
  dialect->RegisteredLines();
  EXPECT_EQ(Shown(*dialect), "<A>\x1f: '\tOptions a'\n<B>\x1f: '\tOptions b'\n");
}

TEST(LateRegistration, AnEditRegistersTheBlockOnlyThatItIsAbout) {
  const std::string edited =
      "<V b>\x1f: '\tOptions x y'\n<V b>\x1f"
      "DirectoryIndex: '\tDirectoryIndex i'\n";
  const std::string inner = std::string("<V a>") + kSectionSeparator + "<D />";
  const std::string others = inner + "\x1f: '\t\tOptions None'\n" +
                             "<V a>\x1f: '\tOptions -Indexes +ExecCGI'\n" +
                             "<V a>\x1fServerAlias: '\tServerAlias a b'\n";
  const auto dialect = std::make_shared<Apache>(kApacheText);
  ParserTemplate parser(dialect);
  parser.SetTemplate("<V b>\nOptions y\nDirectoryIndex i\n</V>").ApplyTemplate();
  EXPECT_EQ(Shown(*dialect), edited);
  dialect->RegisteredLines();
  EXPECT_EQ(Shown(*dialect), others + edited);
}

}  // namespace
