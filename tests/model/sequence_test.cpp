// SPDX-License-Identifier: Apache-2.0

// Long blocks and long sequences, against the model of the view: edits, templates applied by one
// parser, parsers one after the other over one dialect object. After each operation both hold the
// same text, the same index, the same register and the same log, and every index is true.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "model/comparison.h"
#include "model/view_model.h"
#include "property/random_input.h"
#include "support/index_audit.h"
#include "support/log_capture.h"
#include "support/template_probe.h"
#include "template/framework/str.h"

using model::ApacheProbe;
using model::NginxProbe;
using tov_template::kSectionSeparator;

namespace {

class Probe : public TemplateProbe {
 public:
  using TemplateProbe::m_lines;
  using TemplateProbe::TemplateProbe;
};

// What an application of the items of `parsed` does, as edits of the model.
void ApplyItems(model::View& view, const Probe& parsed, bool append) {
  std::string path;
  for (const auto& item : parsed.m_actions) {
    const auto& [param, section, enabled] = std::tie(item.m_param, item.m_section, item.m_enabled);
    const std::string line = param.m_value.Str();
    const std::string old_line = param.m_old_value.Str();
    const std::string key = param.m_key.Str();
    const std::string old_name = section.m_old_value.Str();
    const bool opens = !section.m_value.Str().empty();
    if (opens) {
      const std::string name = section.m_old_value.IsNull() ? section.m_value.Str() : old_name;
      path = str::Append(path, str::Trim(name), kSectionSeparator);
    }
    if (!enabled && !append) view.RemoveParam(path, key.empty() ? line : key, param.m_part_key);
    if (enabled && (opens || append)) {
      const bool due =
          param.m_part_key || param.m_const || (!param.m_old_value.IsNull() && old_line != line);
      if (due) view.ChangeParam(path, old_line, line, key);
      if (due && !section.m_old_value.IsNull() && !old_name.empty()) {
        str::RGetWord(path, kSectionSeparator + old_name);
        path = str::Append(path, str::Trim(section.m_value.Str()), kSectionSeparator);
      }
      if (append) view.AppendParam(path, line, key);
    }
    if (parsed.m_config->EndedSection(line)) str::RGetWord(path, kSectionSeparator);
  }
}

// A parser over a dialect object, and their model.
template <class Dialect>
class Twins {
 public:
  explicit Twins(const std::string& config)
      : m_dialect(std::make_shared<Dialect>(config)),
        m_probe(std::make_unique<Probe>(m_dialect)),
        m_model(config) {}

  // Does what the line `step` says, see ForAllSequences. Returns the first difference, or "".
  std::string Do(std::string_view step) {
    if (str::view::StartsWith(step, "parser")) return AnotherParser();
    if (str::view::StartsWith(step, "template")) return ApplyTemplate(step);
    const model::Edit edit = model::ParseEdit(m_model, step);
    const std::string difference = Both([&](auto& view) { model::ApplyTo(view, edit); });
    return difference.empty() ? "" : "after " + model::Readable(edit) + ":\n" + difference;
  }

  std::string Difference() const {
    std::string difference = model::Differ("text", m_probe->Text(), m_model.Text());
    if (difference.empty()) {
      difference = model::DifferentPlaces(*m_probe, *m_dialect, m_model);
    }
    if (difference.empty() && m_messages != m_model.Messages()) {
      difference =
          model::Differ("log", model::Joined(m_messages), model::Joined(m_model.Messages()));
    }
    return difference.empty() ? tov_template::IndexAudit::WrongIn(*m_probe) : difference;
  }

 private:
  template <class Operation>
  std::string Both(Operation operation) {
    {
      const LogCapture log;
      operation(*m_probe);
      for (const std::string& message : log.Messages()) m_messages.push_back(message);
    }
    operation(m_model);
    return Difference();
  }

  std::string AnotherParser() {
    m_probe.reset();
    m_probe = std::make_unique<Probe>(m_dialect);
    m_model.ReadAgain();
    const std::string difference = Difference();
    return difference.empty() ? "" : "after another parser has read:\n" + difference;
  }

  std::string ApplyTemplate(std::string_view step) {
    str::view::GetWord(step, '\x1f');
    m_probe->old_values["n"] = str::view::GetWord(step, '\x1f');
    m_probe->new_values["n"] = str::view::GetWord(step, '\x1f');
    const std::string text = str::Replace(std::string(step), "\x1e", "\n");
    m_probe->SetTemplate(text);
    std::string difference;
    for (const bool append : {false, true}) {
      if (difference.empty()) difference = Both(Application{*m_probe, append});
    }
    if (difference.empty()) difference = Both([](auto& view) { view.RemoveEmptySections(); });
    return difference.empty() ? "" : "after the template\n" + text + "\n:" + difference;
  }

  struct Application {
    Probe& parsed;
    bool append;

    void operator()(Probe& probe) const { probe.ApplyTemplate(append); }
    void operator()(model::View& view) const { ApplyItems(view, parsed, append); }
  };

  std::vector<std::string> m_messages;  // the parsers'
  const std::shared_ptr<Dialect> m_dialect;
  std::unique_ptr<Probe> m_probe;
  typename Dialect::Model m_model;
};

template <class Dialect>
std::string EveryStepAgrees(const std::string& config, const std::string& steps) {
  Twins<Dialect> twins(config);
  std::string difference = twins.Difference();
  for (std::string_view rest = steps; difference.empty() && !rest.empty();) {
    difference = twins.Do(str::view::GetWord(rest, '\n'));
  }
  return difference;
}

TEST(RandomSequences, OfNginxAgreeWithTheModelAfterEveryStep) {
  EXPECT_EQ(ForAllSequences("nginx", EveryStepAgrees<NginxProbe>), "");
}

TEST(RandomSequences, OfApacheAgreeWithTheModelAfterEveryStep) {
  EXPECT_EQ(ForAllSequences("apache", EveryStepAgrees<ApacheProbe>), "");
}

}  // namespace
