// SPDX-License-Identifier: Apache-2.0

// The prototype: the skeleton of the configuration that a template stands for.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include "support/template_probe.h"
#include "template/nginx.h"

using tov_template::Nginx;

namespace {

using Values = std::map<std::string, std::string>;

TEST(Prototype, KeepsBlocksAndWhatIdentifiesThem) {
  struct Case {
    const char* name;
    Values new_values;
    const char* text;
    const char* prototype;
  };
  const Case cases[] = {
      {"no template", {}, "", ""},
      {"plain directives are left out", {}, "gzip on;\nroot /srv;", ""},
      {"openers and closers", {}, "server {\nroot /srv;\n}", "server {\n}"},
      {"identifying directives",
       {},
       "server {\nserver_name a b;\nssl on;\nssl_prefer_server_ciphers on;\nssl_ciphers HIGH;\n}",
       "server {\nserver_name a b;\nssl on;\nssl_prefer_server_ciphers on;\n}"},
      {"an identifying directive by its whole first word",
       {},
       "server_names a;\nserver_name;\nssl;",
       ""},
      {"an identifying directive outside every block", {}, "server_name a;", "server_name a;"},
      {"lines keep their blanks",
       {},
       "http {\n\tserver { \n\t\t server_name a; \n\t}\n}",
       "http {\n\tserver { \n\t\t server_name a; \n\t}\n}"},
      {"new values are put in",
       {{"n", "a"}, {"p", "/x"}},
       "server {\nserver_name {% $n %};\nlocation {% $p %} {\n}\n}",
       "server {\nserver_name a;\nlocation /x {\n}\n}"},
      {"trailing places, too", {{"n", "a"}}, "server_name [% $n %];", "server_name a;"},
      {"a place may make the name", {{"n", "server_name"}}, "{% $n %} a;", "server_name a;"},
      {"a line without its value is left out",
       {},
       "server {\nserver_name {% $n %};\nlocation {% $p %} {\n}\n}",
       "server {\n}\n}"},
      {"branches not taken are left out",
       {{"a", "1"}},
       "{% if $a == 1 %}\nserver {\nserver_name a;\n}\n{% else %}\nserver {\nserver_name b;\n}\n"
       "{% endif %}",
       "server {\nserver_name a;\n}"},
      {"a plain line that holds the opening of a full place",
       {{"raw", "{% $x %}"}},
       "root {% $raw %};",
       "root {% $x %};"},
      {"the same in a branch not taken",
       {{"raw", "{% $x %}"}},
       "{% if $no %}\nroot {% $raw %};",
       ""},
      {"an opening trailing place shows nothing", {{"raw", "[% $x %]"}}, "root [% $raw %];", ""},
      {"empty lines and comments are left out", {}, "\nserver {\n\n{#} note\n}\n", "server {\n}"},
      {"a comment behind a line is left out", {}, "server { {#} note\n} {#} end", "server { \n} "},
      {"a block on one line is a plain line", {}, "location / { return 404; }", ""},
      {"statements are left out", {}, "{% if $no %}\n{% else %}\n}\n{% endif %}", "}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateProbe probe = TemplateOn<Nginx>("");
    probe.new_values = c.new_values;
    probe.SetTemplate(c.text);
    EXPECT_EQ(probe.GetPrototype(), c.prototype);
  }
}

TEST(Prototype, OldValuesAndTheConfigurationPlayNoPart) {
  TemplateProbe probe = TemplateOn<Nginx>("server {\nserver_name old;\n}");
  probe.old_values["n"] = "old";
  probe.new_values["n"] = "new";
  probe.SetTemplate("server {\nserver_name {% $n %};\n}");
  const std::string prototype = "server {\nserver_name new;\n}";
  EXPECT_EQ(probe.GetPrototype(), prototype);
  probe.ApplyTemplate(false);
  probe.ApplyTemplate(true);
  EXPECT_EQ(probe.GetPrototype(), prototype);
}

TEST(Prototype, ShowsTheLineNotTheIdentityOfABlock) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.SetTemplate("server {\nssl off;\n}");
  ASSERT_EQ(probe.m_actions.front().m_section.m_value.Str(), "server { ssl on");
  EXPECT_EQ(probe.GetPrototype(), "server {\nssl off;\n}");
}

// A dialect in which a line without text closes a block.
class BlankCloses : public Nginx {
 public:
  using Nginx::Nginx;
  bool EndedSection(const std::string& line) const override {
    return line.empty() || Nginx::EndedSection(line);
  }
};

TEST(Prototype, ALineWithoutItsValueLeavesNoTraceEvenWhereItClosesABlock) {
  TemplateProbe probe = TemplateOn<BlankCloses>("");
  probe.SetTemplate("server {\nroot {% $missing %};\n}");
  EXPECT_EQ(probe.GetPrototype(), "server {\n}");
}

// A dialect whose blocks have no identity.
class WithoutIdents : public Nginx {
 public:
  using Nginx::Nginx;
  void GetIdentParams(std::set<std::string>&) const override {}
};

TEST(Prototype, TheDialectSaysWhatIdentifies) {
  TemplateProbe probe = TemplateOn<WithoutIdents>("");
  probe.SetTemplate("server {\nserver_name a;\n}");
  EXPECT_EQ(probe.GetPrototype(), "server {\n}");
}

}  // namespace
