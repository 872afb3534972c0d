// SPDX-License-Identifier: Apache-2.0

#include "template/base_config.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <type_traits>

#include "support/view_probe.h"

namespace {

using tov_template::BaseConfig;
using tov_template::LineIterator;

// Only what a dialect must have: blocks "name (" to ")".
class MinimalDialect : public BaseConfig {
 public:
  explicit MinimalDialect(const std::string& text) : BaseConfig(text) {
    str::Split(text, "\n", m_lines);
  }

  bool StartsSection(const std::string& line) const override { return str::EndsWith(line, "("); }
  bool EndedSection(const std::string& line) const override { return line == ")"; }
  std::list<std::string>* GetList() override { return &m_lines; }
  std::string GetCommentChar() const override { return "#"; }
  LineIterator AppendParam(const LineIterator& pos, const std::string& text) override {
    return m_lines.insert(pos, text);
  }
  LineIterator RemoveParam(const LineIterator& pos) override { return m_lines.erase(pos); }
  LineIterator RemoveParam(const LineIterator& first, const LineIterator& last) override {
    return m_lines.erase(first, last);
  }
  void ChangeParam(const LineIterator& pos, const std::string& text) override {
    if (pos != m_lines.end()) *pos = text;
  }
  std::string Str() const override { return str::Join(m_lines, "\n"); }
  bool IsConstExpression(const std::string&) const override { return false; }
  std::string GetKeyFieldConstParam(const std::string& line) const override { return line; }

 private:
  std::list<std::string> m_lines;
};

static_assert(std::is_abstract_v<BaseConfig>);
static_assert(std::has_virtual_destructor_v<BaseConfig>);

TEST(BaseConfig, ThereIsNoTerminatorByDefault) {
  EXPECT_EQ(MinimalDialect("").GetTermChar(), "");
}

TEST(BaseConfig, NoDirectiveIdentifiesABlockByDefault) {
  std::set<std::string> names{"kept"};
  MinimalDialect("").GetIdentParams(names);
  EXPECT_EQ(names, (std::set<std::string>{"kept"}));
}

TEST(BaseConfig, NoLineIsUniqueByDefault) {
  const MinimalDialect config("");
  for (const std::string line : {"", "listen 80;", "Options Indexes", "ServerAlias a", "("}) {
    EXPECT_FALSE(config.IsUniqueParam(line)) << line;
  }
}

TEST(BaseConfig, APathIsTheNameAndTheIdentifyingLinesInTheOrderOfTheirNames) {
  struct Case {
    const char* name;
    std::string block;
    std::map<std::string, std::string> idents;
    std::string path;
  };
  const Case cases[] = {
      {"none", "server {", {}, "server {"},
      {"in the order of the names, not of the values",
       "server {",
       {{"listen", "listen 80;"}, {"server_name", "server_name a;"}},
       "server { listen 80; server_name a;"},
      {"the names do not enter", "x", {{"a", "2"}, {"b", "1"}}, "x 2 1"},
      {"byte order",
       "x",
       {{"a", "small"}, {"Z", "capital"}, {"\xc3", "other"}},
       "x capital small other"},
      {"an empty line leaves no trace", "x", {{"a", ""}, {"b", "1"}}, "x 1"},
      {"an empty block name", "", {{"a", "1"}, {"b", "2"}}, "1 2"},
      {"lines are taken as they are", "x", {{"a", " 1; "}}, "x  1; "},
  };
  const MinimalDialect config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(config.MakeSectionPath(c.block, c.idents), c.path);
  }
}

TEST(BaseConfig, UniqueOperationsDoNothingByDefault) {
  MinimalDialect config("a (\nset x\n)");
  std::list<std::string>& lines = *config.GetList();
  LineIterator pos = std::next(lines.begin());
  const LineIterator line = pos;
  LineIterator end = lines.end();
  std::list<LineIterator> removed{lines.begin()};

  EXPECT_TRUE(config.RegisterUniqueParam("a (", pos) == line);
  EXPECT_TRUE(config.RegisterUniqueParam("a (", end) == lines.end());
  EXPECT_TRUE(config.AppendUniqueParam("a (", pos, "set y") == line);
  EXPECT_TRUE(config.AppendUniqueParam("a (", lines.end(), "set y") == lines.end());
  config.RemoveUniqueParam("a (", "set x", false, removed);
  config.RemoveUniqueParam("a (", "set x", true, removed);
  config.ChangeUniqueParam("a (", pos, "set y", removed);
  config.ChangeUniqueParam("a (", end, "set y", removed);

  EXPECT_TRUE(pos == line);
  EXPECT_TRUE(end == lines.end());
  ASSERT_EQ(removed.size(), 1U) << "what the caller had in it stays";
  EXPECT_TRUE(removed.front() == lines.begin());
  EXPECT_EQ(config.Str(), "a (\nset x\n)");
}

TEST(BaseConfig, AViewOfAMinimalDialectKeepsPathsAsTheyAreOpened) {
  const ViewProbe view = ViewOf<MinimalDialect>("a (\nserver_name x\nb (\nlisten 80\n)\n)");
  EXPECT_EQ(view.Dump(),
            "a (: a ( | server_name x | )\n"
            "a ( > b (: b ( | listen 80 | )\n"
            "end a (: )\n"
            "end a ( > b (: )\n");
}

TEST(BaseConfig, WithoutATerminatorWholeTextsAreCompared) {
  ViewProbe view = ViewOf<MinimalDialect>("a (\nroot /ab;\nroot /a;\n)");
  EXPECT_EQ(view.TrimTerm("  root /a;  "), "root /a;");
  view.RemoveParam("a (", " root /a; ", false);
  EXPECT_EQ(view.Text(), "a (\nroot /ab;\n)");
  view.AppendParam("a (", "root /a;", "root /a;");
  EXPECT_EQ(view.Text(), "a (\nroot /ab;\nroot /a;\n)");
}

TEST(BaseConfig, IsDestroyedThroughItsBase) {
  struct Watched : MinimalDialect {
    explicit Watched(bool& gone) : MinimalDialect(""), m_gone(gone) {}
    ~Watched() override { m_gone = true; }
    bool& m_gone;
  };
  bool gone = false;
  std::shared_ptr<BaseConfig> config(static_cast<BaseConfig*>(new Watched(gone)));
  config.reset();
  EXPECT_TRUE(gone);
}

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
// The place of a virtual operation in the table that callers built earlier rely on: a pointer to a
// virtual member begins with its offset there, plus one.
template <class Member>
std::size_t PlaceOf(Member member) {
  std::size_t place = 0;
  std::memcpy(&place, &member, sizeof place);
  return (place - 1) / sizeof(void*);
}

TEST(BaseConfig, VirtualOperationsKeepTheirOrder) {
  using Base = BaseConfig;
  using RemoveOne = LineIterator (Base::*)(const LineIterator&);
  using RemoveRange = LineIterator (Base::*)(const LineIterator&, const LineIterator&);
  const std::size_t places[] = {
      PlaceOf(&Base::StartsSection),
      PlaceOf(&Base::EndedSection),
      PlaceOf(&Base::GetList),
      PlaceOf(&Base::GetIdentParams),
      PlaceOf(&Base::MakeSectionPath),
      PlaceOf(&Base::GetCommentChar),
      PlaceOf(&Base::GetTermChar),
      PlaceOf(&Base::AppendParam),
      PlaceOf(static_cast<RemoveOne>(&Base::RemoveParam)),
      PlaceOf(static_cast<RemoveRange>(&Base::RemoveParam)),
      PlaceOf(&Base::ChangeParam),
      PlaceOf(&Base::IsUniqueParam),
      PlaceOf(&Base::RegisterUniqueParam),
      PlaceOf(&Base::AppendUniqueParam),
      PlaceOf(&Base::RemoveUniqueParam),
      PlaceOf(&Base::ChangeUniqueParam),
      PlaceOf(&Base::Str),
      PlaceOf(&Base::IsConstExpression),
      PlaceOf(&Base::GetKeyFieldConstParam),
  };
  std::size_t expected = 2;  // behind the two entries of the destructor
  for (const std::size_t place : places) EXPECT_EQ(place, expected++);
}
#endif

}  // namespace
