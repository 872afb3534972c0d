// SPDX-License-Identifier: Apache-2.0

// A dialect like no other: the engine knows of a syntax only what the dialect tells it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "support/template_probe.h"
#include "template/framework/str.h"
#include "template/line_list_config.h"
#include "template/parser_template.h"

using testing::ElementsAre;
using tov_template::LineListConfig;
using tov_template::NullValue;
using tov_template::ParserTemplate;

namespace {

// "[section]" opens a block, a line "end" closes it, ";" begins a comment, and nothing ends a
// directive.
class Ini : public LineListConfig {
 public:
  explicit Ini(const std::string& text) : LineListConfig(text, {"cipher"}) {}

  bool StartsSection(const std::string& line) const override {
    const std::string text = str::Trim(line);
    return str::StartsWith(text, "[") && str::EndsWith(text, "]");
  }
  bool EndedSection(const std::string& line) const override { return str::Trim(line) == "end"; }
  std::string GetCommentChar() const override { return ";"; }
  std::string GetKeyFieldConstParam(const std::string& line) const override {
    return IsConstExpression(line) ? "cipher" : line;
  }
};

// The same with an identity: the line that begins with "id".
class IniWithIdentity : public Ini {
 public:
  using Ini::Ini;
  void GetIdentParams(std::set<std::string>& names) const override { names.insert("id"); }
};

ParserTemplate ParserOn(const std::string& config) {
  return ParserTemplate(std::make_shared<Ini>(config));
}

TEST(ToyDialect, RunsAWholeRequest) {
  const TemplateFiles files;
  ParserTemplate parser = ParserOn(
      "; the site\n"
      "[global]\n"
      "\n"
      "  log = /var/log ; kept\n"
      "  debug = on\n"
      "  cipher = LOW\n"
      "  [cache]\n"
      "    size = 1\n"
      "  end\n"
      "end\n"
      "[old site]\n"
      "  port = 80 ; web\n"
      "end\n"
      "[empty]\n"
      "end\n");
  parser.SetValue("log", "/var/log", "/srv/log")
      .SetValue("site", "old site", "new site")
      .SetValue("port", "80", "8080")
      .SetValue("size", NullValue(), "16")
      .SetValue("user", NullValue(), "www");
  parser.SetTemplate(
      "[global]\n"
      "  log = {% $log %}\n"
      "{% if $debug %}\n"
      "  debug = on\n"
      "{% else %}\n"
      "  user = {% $user %} {#} who runs it\n"
      "{% endif %}\n"
      "  cipher = HIGH\n"
      "  [cache]\n"
      "    size = [% $size %]\n"
      "  end\n"
      "end\n" +
      files.Import("site", "[{% $site %}]\n  port = {% $port %}\nend\n") +
      "\n"
      "[added]\n"
      "  server_name a;\n"
      "  listen 80;\n"
      "  # } {\n"
      "end\n");
  EXPECT_EQ(parser.GetPrototype(),
            "[global]\n  [cache]\n  end\nend\n[new site]\nend\n[added]\nend");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(),
            "; the site\n"
            "[global]\n"
            "  log = /srv/log; kept\n"
            "  cipher = HIGH\n"
            "  [cache]\n"
            "    size = 16\n"
            "  end\n"
            "  user = www \n"
            "end\n"
            "[new site]\n"
            "  port = 8080; web\n"
            "end\n"
            "[added]\n"
            "  server_name a;\n"
            "  listen 80;\n"
            "  # } {\n"
            "end");
}

TEST(ToyDialect, HasNoTerminator) {
  EXPECT_EQ(ParserOn("[a]\nx;\ny\nend").SetTemplate("[a]\nx\ny;\nend").ApplyTemplate().GetConfig(),
            "[a]\nx;\ny\ny;\nend")
      << "\"x;\" begins with \"x\", \"y\" does not begin with \"y;\"";
}

TEST(ToyDialect, KnowsNoBraces) {
  EXPECT_EQ(ParserOn("[a]\nx\nend\nserver {\nend\n}")
                .SetTemplate("[a]\nserver {\n}\nend\nb {\n}")
                .ApplyTemplate()
                .GetConfig(),
            "[a]\nx\nserver {\n}\nend\nserver {\nend\n}");
}

TEST(ToyDialect, WithoutIdentitiesBlocksAreTheirOpeningLines) {
  TemplateProbe probe = TemplateOn<Ini>("[a]\nid 1\nend");
  probe.SetTemplate(" [a] \nid 1\nserver_name x;\nend");
  EXPECT_THAT(probe.Sections(), ElementsAre("[a]"));
}

TEST(ToyDialect, MayGiveItsBlocksIdentities) {
  const std::string config = "[a]\nid 1\nend\n[a]\nid 2\nend";
  TemplateProbe probe = TemplateOn<IniWithIdentity>(config);
  probe.old_values["id"] = "2";
  probe.new_values["id"] = "3";
  probe.SetTemplate("[a]\n  id {% $id %}\nx\nend");
  EXPECT_THAT(probe.Sections(), ElementsAre("[a] id 2 -> [a] id 3"));
  EXPECT_EQ(probe.GetPrototype(), "[a]\n  id 3\nend");
  probe.ApplyTemplate(false);
  EXPECT_EQ(probe.Text(), config);
  probe.ApplyTemplate(true);
  EXPECT_EQ(probe.Text(), "[a]\nid 1\nend\n[a]\n  id 3\nx\nend");
}

TEST(ToyDialect, RemovesBlocks) {
  EXPECT_EQ(ParserOn("[a]\nx\nend\n[b]\n[c]\ny\nend\nz\nend")
                .SetTemplate("{% if $no %}\n[a]\nend\n{% endif %}\n[b]\n{% if $no %}\n[c]\nend\n"
                             "{% endif %}\nend")
                .ApplyTemplate()
                .GetConfig(),
            "[b]\nz\nend");
}

}  // namespace
