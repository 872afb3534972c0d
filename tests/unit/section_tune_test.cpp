// SPDX-License-Identifier: Apache-2.0

// How the blocks of a template get the identities that the configuration's blocks have.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/template_probe.h"
#include "support/view_probe.h"
#include "template/nginx.h"
#include "template/template.h"

using testing::ElementsAre;
using tov_template::Nginx;
using tov_template::NullValue;
using tov_template::Template;
using tov_template::Value;

namespace {

using Values = std::map<std::string, std::string>;

const std::set<std::string> kNginxIdents = {"server_name", "ssl", "ssl_prefer_server_ciphers"};

// Hands items to a tuner, and keeps their section texts.
class Tuner {
 public:
  explicit Tuner(const std::set<std::string>& idents = kNginxIdents)
      : m_template(TemplateOn<Nginx>("")), m_tune(m_template, idents) {}

  // An item that opens a block, and one that does not. The result is the section text.
  const Value& Open(const Value& section) { return Item(section, section); }
  const Value& Line(const Value& line) { return Item("", line); }

  const Value& Item(const Value& section, const Value& line) {
    m_sections.push_back(section);
    m_tune.Tune(m_sections.back(), line);
    return m_sections.back();
  }

 private:
  TemplateProbe m_template;
  Template::SectionTune m_tune;
  std::list<Value> m_sections;
};

TEST(SectionTune, MakesTheIdentityWhenTheBlockCloses) {
  Tuner tuner;
  const Value& section = tuner.Open("server {");
  tuner.Line("root /srv;");
  const Value& line = tuner.Line("\t server_name a b; ");
  EXPECT_EQ(section.Str(), "server {") << "not before the end";
  const Value& end = tuner.Line(" }");
  EXPECT_EQ(section.Str(), "server { server_name a");
  EXPECT_FALSE(section.IsNull());
  EXPECT_EQ(line.Str(), "") << "other sections stay empty";
  EXPECT_EQ(end.Str(), "");
}

TEST(SectionTune, ABlockWithoutIdentifyingLinesKeepsItsText) {
  Tuner tuner;
  const Value& section = tuner.Open("  location / {  ");
  tuner.Line("root /srv;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "  location / {  ");
}

TEST(SectionTune, TrimsTheTextItMakesTheIdentityOf) {
  Tuner tuner;
  const Value& section = tuner.Open("  server {  ");
  tuner.Line("ssl on;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "server { ssl on");
}

TEST(SectionTune, TheFirstLineOfANameCounts) {
  Tuner tuner;
  const Value& section = tuner.Open("server {");
  tuner.Line("server_name a;");
  tuner.Line("server_name b;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "server { server_name a");
}

TEST(SectionTune, LinesOfSeveralNamesCount) {
  Tuner tuner;
  const Value& section = tuner.Open("server {");
  tuner.Line("ssl_prefer_server_ciphers on;");
  tuner.Line("server_name a;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "server { server_name a ssl on");
}

TEST(SectionTune, NamesAreWholeFirstWords) {
  Tuner tuner;
  const Value& section = tuner.Open("server {");
  tuner.Line("server_names a;");
  tuner.Line("ssl;");
  tuner.Line("x server_name a;");
  tuner.Line("# server_name a;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "server {");
}

TEST(SectionTune, EveryBlockHasItsOwnLines) {
  Tuner tuner;
  const Value& outer = tuner.Open("http {");
  const Value& first = tuner.Open("server {");
  const Value& inner = tuner.Open("location / {");
  tuner.Line("ssl on;");
  tuner.Line("}");
  tuner.Line("server_name a;");
  tuner.Line("}");
  const Value& second = tuner.Open("server {");
  tuner.Line("}");
  EXPECT_EQ(outer.Str(), "http {");
  tuner.Line("server_name outer;");
  tuner.Line("}");
  EXPECT_EQ(inner.Str(), "location / { ssl on");
  EXPECT_EQ(first.Str(), "server { server_name a");
  EXPECT_EQ(second.Str(), "server {");
  EXPECT_EQ(outer.Str(), "http { server_name outer");
}

TEST(SectionTune, IdentifyingLinesOutsideEveryBlockAreIgnored) {
  Tuner tuner;
  tuner.Line("server_name x;");
  tuner.Line("}");
  tuner.Line("server_name y;");
  const Value& section = tuner.Open("server {");
  tuner.Line("}");
  tuner.Line("server_name z;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "server {");
}

TEST(SectionTune, ABlockThatNeverClosesKeepsItsText) {
  Tuner tuner;
  const Value& section = tuner.Open("server {");
  tuner.Line("server_name a;");
  EXPECT_EQ(section.Str(), "server {");
}

TEST(SectionTune, NullIsNoBlockAndNoLine) {
  Tuner tuner;
  const Value& outer = tuner.Open("server {");
  const Value& null = tuner.Item(NullValue(), "location / {");
  tuner.Line(NullValue());
  tuner.Line("server_name a;");
  tuner.Line("}");  // closes the outer block: the null one was never opened
  EXPECT_TRUE(null.IsNull());
  EXPECT_EQ(null.Str(), "");
  EXPECT_EQ(outer.Str(), "server { server_name a");
}

TEST(SectionTune, ALineThatClosesAndOpensClosesItself) {
  Tuner tuner;
  const Value& outer = tuner.Open("server {");
  const Value& both = tuner.Open("} server_name x {");
  tuner.Line("server_name a;");
  tuner.Line("}");
  EXPECT_EQ(both.Str(), "} server_name x {");
  EXPECT_EQ(outer.Str(), "server { server_name a");
}

TEST(SectionTune, AnOpeningLineMayIdentifyItsBlock) {
  Tuner tuner;
  const Value& section = tuner.Open("ssl {");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "ssl { ssl on");
}

TEST(SectionTune, AnIdentityThatHoldsAPlaceIsLeftOut) {
  Tuner tuner;
  const Value& section = tuner.Open("server {");
  tuner.Line("server_name {% $x %};");
  tuner.Line("ssl on;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "server { ssl on");
}

TEST(SectionTune, LooksForTheNamesItIsGiven) {
  std::set<std::string> idents = {"server_name"};
  Tuner tuner(idents);
  idents = {"ssl"};
  const Value& section = tuner.Open("server {");
  tuner.Line("ssl on;");
  tuner.Line("server_name a;");
  tuner.Line("}");
  EXPECT_EQ(section.Str(), "server { server_name a");

  Tuner none{std::set<std::string>()};
  const Value& bare = none.Open("server {");
  none.Line("server_name a;");
  none.Line("}");
  EXPECT_EQ(bare.Str(), "server {");
}

TEST(SectionTune, TunesNewAndOldIdentities) {
  struct Case {
    const char* name;
    Values old_values, new_values;
    const char* text;
    std::vector<std::string> sections;  // "old -> new", or one where they are equal
  };
  const char* const server = "server {\nserver_name {% $name %};\n}";
  const Case cases[] = {
      {"both values",
       {{"name", "a"}},
       {{"name", "b"}},
       server,
       {"server { server_name a -> server { server_name b"}},
      {"no old value: the old line is no line",
       {},
       {{"name", "b"}},
       server,
       {"server { -> server { server_name b"}},
      {"no new value", {{"name", "a"}}, {}, server, {"server { server_name a -> server {"}},
      {"no value", {}, {}, server, {"server {"}},
      {"a trailing place",
       {{"name", "a"}},
       {{"name", "b"}},
       "server {\nserver_name [% $name %];\n}",
       {"server { server_name a -> server { server_name b"}},
      {"the opening line itself changes",
       {{"kind", "server"}},
       {{"kind", "upstream"}},
       "{% $kind %} {\nserver_name a;\n}",
       {"server { server_name a -> upstream { server_name a"}},
      {"the opening line has no old value: the old block is not opened, the new one is tuned",
       {{"name", "x"}},
       {{"kind", "server"}, {"name", "a"}},
       "http {\n{% $kind %} {\nserver_name {% $name %};\n}\nssl on;\n}",
       {"http { server_name x -> http { ssl on", "(null) -> server { server_name a"}},
      {"lines of branches not taken count, too",
       {},
       {},
       "server {\n{% if $no %}\nserver_name a;\n{% else %}\nserver_name b;\n{% endif %}\n}",
       {"server { server_name a"}},
      {"blocks in branches not taken are tuned",
       {},
       {},
       "{% if $no %}\nserver {\nserver_name a;\n}\n{% endif %}\nserver {\nserver_name b;\n}",
       {"server { server_name a", "server { server_name b"}},
      {"a comment is no part of the line",
       {},
       {},
       "server { {#} x\nserver_name a; {#} b\n} {#} y",
       {"server { server_name a"}},
      {"an item that both lines make an opener but one value closes",
       {{"x", "a"}},
       {{"x", "}"}},
       "http {\n{% $x %} {\nssl on;\n}",
       {"http { -> http { ssl on", "a { ssl on -> } {"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateProbe probe = TemplateOn<Nginx>("");
    probe.old_values = c.old_values;
    probe.new_values = c.new_values;
    probe.SetTemplate(c.text);
    EXPECT_EQ(probe.Sections(), c.sections);
  }
}

TEST(SectionTune, RewritesNothingButTheSectionTexts) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.SetTemplate("  server {\n  server_name a;\n  }");
  std::vector<std::string> items;
  for (const auto& item : probe.m_actions) items.push_back(TemplateProbe::Shown(item));
  EXPECT_THAT(items,
              ElementsAre("{new '  server {' old '  server {' key '  server {'} in {new 'server { "
                          "server_name a' old 'server { server_name a' key 'server {'} enabled",
                          "{new '  server_name a;' old '  server_name a;' key '  server_name a;'} "
                          "in {new '' old '' key ''} enabled",
                          "{new '  }' old '  }' key '  }'} in {new '' old '' key ''} enabled"));
}

// A template's blocks and a configuration's meet at the same path.
TEST(SectionTune, GivesTheIdentitiesOfTheConfiguration) {
  const std::string text =
      "server {\nserver_name a b;\nssl on;\nlocation / {\nroot /srv;\n}\n}\n"
      "server {\nssl_prefer_server_ciphers on;\n}\nserver {\nserver_name c;\nserver_name d;\n}";
  TemplateProbe probe = TemplateOn<Nginx>(text);
  probe.SetTemplate(text);
  const std::vector<std::string> sections = probe.Sections();
  ASSERT_EQ(sections.size(), 4u);
  EXPECT_EQ(probe.m_params.size(), 4u);
  for (const std::string& path :
       {sections[0], ViewProbe::Path({sections[0], sections[1]}), sections[2], sections[3]}) {
    EXPECT_EQ(probe.m_params.count(path), 1u) << path;
  }
}

// A dialect whose blocks have no identity.
class WithoutIdents : public Nginx {
 public:
  using Nginx::Nginx;
  void GetIdentParams(std::set<std::string>&) const override {}
  std::string MakeSectionPath(const std::string&,
                              const std::map<std::string, std::string>&) const override {
    return "tuned";
  }
};

TEST(SectionTune, DoesNotRunForADialectWithoutIdentities) {
  TemplateProbe probe = TemplateOn<WithoutIdents>("");
  probe.SetTemplate("server {\nserver_name a;\nssl on;\n}");
  EXPECT_THAT(probe.Sections(), ElementsAre("server {"));
}

}  // namespace
