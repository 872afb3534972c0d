// SPDX-License-Identifier: Apache-2.0

// The records of a template.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "support/template_probe.h"
#include "template/condition.h"
#include "template/nginx.h"
#include "template/template.h"
#include "template/value.h"

using testing::ElementsAre;
using tov_template::BaseConfig;
using tov_template::Condition;
using tov_template::ConfigView;
using tov_template::Nginx;
using tov_template::NullValue;
using tov_template::Template;

namespace {

using Values = std::map<std::string, std::string>;
static_assert(std::is_constructible_v<Template, const std::shared_ptr<BaseConfig>&, const Values&,
                                      const Values&>);
static_assert(std::is_constructible_v<Condition, const std::string&, const Values&>);
static_assert(std::is_base_of_v<ConfigView, Template>);
static_assert(
    std::is_same_v<decltype(TemplateProbe::m_actions), std::list<Template::TemplateActionItem>>);

TEST(TemplateRecords, ParseValuesStartEmptyAndNotNull) {
  const Template::ParseValues parsed;
  EXPECT_FALSE(parsed.m_value.IsNull());
  EXPECT_FALSE(parsed.m_old_value.IsNull());
  EXPECT_FALSE(parsed.m_key.IsNull());
  EXPECT_EQ(parsed.m_value.Str(), "");
  EXPECT_EQ(parsed.m_old_value.Str(), "");
  EXPECT_EQ(parsed.m_key.Str(), "");
  EXPECT_FALSE(parsed.m_part_key);
  EXPECT_FALSE(parsed.m_const);
}

TEST(TemplateRecords, FieldsStandInTheirOrder) {
  const Template::ParseValues parsed{"new", "old", "key", true, false};
  EXPECT_EQ(TemplateProbe::Shown(parsed), "{new 'new' old 'old' key 'key' part}");
  const Template::TemplateActionItem item{parsed, {"s", NullValue(), "k", false, true}, false};
  EXPECT_EQ(TemplateProbe::Shown(item),
            "{new 'new' old 'old' key 'key' part} in {new 's' old '(null)' key 'k' const} "
            "disabled");
}

TEST(TemplateRecords, AFreshTemplateHasItsViewItsValuesAndNoItems) {
  const TemplateProbe probe = TemplateOn<Nginx>("server {\n}");
  EXPECT_TRUE(probe.m_actions.empty());
  EXPECT_EQ(probe.m_params.size(), 1u);
  EXPECT_EQ(&probe.m_old_values, &probe.old_values);
  EXPECT_EQ(&probe.m_new_values, &probe.new_values);
}

TEST(TemplateRecords, ChangingACopyOfAnItemLeavesTheItem) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.new_values["port"] = "80";
  probe.SetTemplate("server {\nlisten {% $port %};\n}");
  const std::string before = TemplateProbe::Shown(probe.m_actions.front());

  Template::TemplateActionItem copy = probe.m_actions.front();
  EXPECT_EQ(TemplateProbe::Shown(copy), before);
  copy.m_param.m_value = "changed";
  copy.m_param.m_key = NullValue();
  copy.m_param.m_const = true;
  copy.m_section.m_old_value.Str() = "changed";
  copy.m_section.m_part_key = true;
  copy.m_enabled = false;
  EXPECT_EQ(TemplateProbe::Shown(probe.m_actions.front()), before);
}

TEST(TemplateRecords, AnItemHoldsTheLineAndTheBlockItOpens) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.new_values = {{"path", "/new"}, {"dir", "/srv"}};
  probe.old_values = {{"path", "/old"}};
  probe.SetTemplate(
      "  location {% $path %} { {#} the site\n"
      "    root [% $dir %];\n"
      "    {% if $no %}\n"
      "    ssl_ciphers {% $missing %};\n"
      "  }");
  std::vector<std::string> items;
  for (const auto& item : probe.m_actions) items.push_back(TemplateProbe::Shown(item));
  const std::string none = " in {new '' old '' key ''} ";
  EXPECT_THAT(
      items,
      ElementsAre("{new '  location /new { ' old '  location /old { ' key '  location /old { '} in "
                  "{new 'location /new {' old 'location /old {' key 'location /old {'} enabled",
                  "{new '    root /srv;' old '(null)' key '    root ' part}" + none + "enabled",
                  "{new '(null)' old '(null)' key '' const}" + none + "disabled",
                  "{new '  }' old '  }' key '  }'}" + none + "disabled"));
}

}  // namespace
