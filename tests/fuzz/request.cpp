// SPDX-License-Identifier: Apache-2.0

// A whole request: dialect, configuration, template, then rounds of values and applications.
//
//   dialect ("N" or "A") | config | template | imported file | name | old | new | name | ...
//
// The word FILE in the template is the path of the imported file.
// A name of "!" applies, one of "+" goes on with another parser over the same dialect object; an
// old or new text of "-" is no value.
#include <algorithm>
#include <memory>
#include <set>
#include <string>

#include "fuzz/input.h"
#include "support/bystanders.h"
#include "support/index_audit.h"
#include "support/log_capture.h"
#include "support/template_probe.h"
#include "template/framework/str.h"
#include "template/qeltemplate.h"

using tov_template::NullValue;
using tov_template::ParserTemplate;
using tov_template::Value;

namespace {

// `text` with the word FILE made the path of the one file that it can import.
std::string WithImport(const std::string& text, const std::string& content) {
  static const TemplateFiles files;
  return str::Replace(text, "FILE", files.Write("imported", content));
}

Value ValueOf(const std::string& text) {
  if (text == "-") return NullValue();
  return text;
}

template <class SetTemplate>
void SetTemplateOf(SetTemplate set_template) {
  try {
    set_template();
  } catch (const tov_err::Error& error) {
    Require(error.object() == "circular_import" || error.type() == "file", error.what());
  }
}

// The engine without the facade: its view can be looked at.
class Engine : public TemplateProbe {
 public:
  using TemplateProbe::m_lines;
  using TemplateProbe::TemplateProbe;

  void SetValue(const std::string& name, const Value& old_value, const Value& new_value) {
    if (old_value.IsNull() || new_value.IsNull()) old_values.erase(name);
    if (!old_value.IsNull()) old_values[name] = old_value.Str();
    if (!new_value.IsNull()) new_values[name] = new_value.Str();
  }

  // Applies the template as the facade does, and looks at the view after each step.
  void Apply() {
    const std::set<std::string> names = BlockNames();
    const Bystanders bystanders(*this, [&names](const auto& path, const auto& params) {
      return params.size() < 3 || std::any_of(names.begin(), names.end(), [&](const auto& name) {
               return str::StartsWith(path, name);
             });
    });
    ApplyTemplate(false);
    RequireNone(tov_template::IndexAudit::WrongIn(*this));
    ApplyTemplate(true);
    RequireNone(tov_template::IndexAudit::WrongIn(*this));
    RemoveEmptySections();
    RequireNone(tov_template::IndexAudit::WrongIn(*this));
    RequireNone(bystanders.Harmed(*this));
    Require(Text() == str::Join(*m_lines, "\n"), "the text is not that of the lines");
  }

 private:
  // How the paths begin that the template can address.
  std::set<std::string> BlockNames() const {
    std::set<std::string> names;
    for (const TemplateActionItem& item : m_actions) {
      for (const Value* name : {&item.m_section.m_value, &item.m_section.m_old_value}) {
        std::string text = str::Trim(name->Str());
        if (!text.empty()) names.insert(str::GetWord(text, tov_template::kSectionSeparator));
      }
    }
    return names;
  }
};

// A parser, and an engine that is given the same.
struct Twins {
  Twins(const std::string& dialect, const std::string& config)
      : parsers_config(tov_template::GetConfigType(dialect, config)),
        engines_config(tov_template::GetConfigType(dialect, config)),
        parser(parsers_config),
        engine(std::make_unique<Engine>(engines_config)) {}

  void Renew() {
    parser = ParserTemplate(parsers_config);  // the one before is not used any more
    engine.reset();
    engine = std::make_unique<Engine>(engines_config);
    RequireNone(tov_template::IndexAudit::WrongIn(*engine));
    changed = true;
  }

  void Apply(const std::string& text) {
    SetTemplateOf([&] { parser.SetTemplate(text); });
    SetTemplateOf([&] { engine->SetTemplate(text); });
    if (changed) engine->Apply();
    changed = false;
    parser.ApplyTemplate();
    const std::string once = parser.GetConfig();
    Require(once == engine->Text(), "the facade's result is not the engine's");
    {
      const LogCapture log;
      Require(parser.ApplyTemplate().GetConfig() == once, "a second application changed something");
      for (const LogCapture::Record& record : log.Records()) {
        Require(record.level == tov_log::kTrace, "a second application did something");
      }
    }
    Require(parser.GetPrototype() == parser.GetPrototype(), "the prototype changed");
  }

  const std::shared_ptr<tov_template::BaseConfig> parsers_config;
  const std::shared_ptr<tov_template::BaseConfig> engines_config;
  ParserTemplate parser;
  std::unique_ptr<Engine> engine;
  bool changed = true;  // since the last application
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::string dialect = input.Next() == "A" ? "Apache" : "Nginx";
  Twins twins(dialect, input.Next());
  const std::string template_text = input.Next();
  const std::string text = WithImport(template_text, input.Next());
  while (!input.AtEnd()) {
    const std::string name = input.Next();
    if (name == "!") {
      twins.Apply(text);
      continue;
    }
    if (name == "+") {
      twins.Renew();
      continue;
    }
    const Value old_value = ValueOf(input.Next());
    const Value new_value = ValueOf(input.Next());
    twins.parser.SetValue(name, old_value, new_value);
    twins.engine->SetValue(name, old_value, new_value);
    twins.changed = true;
  }
  twins.Apply(text);
  return 0;
}
