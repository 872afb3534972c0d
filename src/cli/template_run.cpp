// SPDX-License-Identifier: Apache-2.0

#include "cli/template_run.h"

#include <iterator>
#include <utility>

#include "cli/text.h"

namespace cli {
namespace {

using tov_template::Value;

void TrimStart(Value& value) {
  if (!value.IsNull()) value.Str().erase(0, Indentation(value.Str()).size());
}

void Trim(Value& value) {
  TrimStart(value);
  if (!value.IsNull()) value.Str().resize(TrimmedEnd(value.Str()).size());
}

// A key that is only a line's beginning keeps the blank at its end.
void TrimItem(tov_template::Template::ParseValues& param) {
  Trim(param.m_value);
  Trim(param.m_old_value);
  if (param.m_part_key) {
    TrimStart(param.m_key);
  } else {
    Trim(param.m_key);
  }
}

}  // namespace

RunValues ValuesOf(const Request& request) {
  RunValues values = NewValuesOf(request);
  for (const auto& [name, value] : request.values) {
    if (!value.old_value.IsNull()) values.old_values[name] = value.old_value.Str();
  }
  return values;
}

RunValues NewValuesOf(const Request& request) {
  RunValues values;
  for (const auto& [name, value] : request.values) {
    if (!value.new_value.IsNull()) values.new_values[name] = value.new_value.Str();
  }
  values.old_values = values.new_values;
  return values;
}

TemplateRun::TemplateRun(const std::shared_ptr<tov_template::BaseConfig>& config,
                         const Request& request, RunValues values)
    : RunValues(std::move(values)), Template(config, RunValues::old_values, RunValues::new_values) {
  try {
    SetTemplate(request.template_text);
  } catch (const tov_err::Error& error) {
    throw TemplateFailure(error, request.template_file);
  }
  for (Item& item : m_actions) {
    TrimItem(item.m_param);
    m_items.push_back(&item);
  }
}

TemplateRun::TemplateRun(const std::shared_ptr<tov_template::BaseConfig>& config,
                         const TemplateRun& other)
    : RunValues(other), Template(config, RunValues::old_values, RunValues::new_values) {
  m_actions = other.m_actions;
  for (Item& item : m_actions) m_items.push_back(&item);
}

bool TemplateRun::HasBlock(const std::string& section) const {
  const auto block = m_params.find(section);
  return block != m_params.end() && !block->second.empty();
}

std::vector<const std::string*> TemplateRun::LinesOf(const std::string& section) const {
  std::vector<const std::string*> lines;
  const auto block = m_params.find(section);
  if (block == m_params.end()) return lines;
  for (const ConfParam& param : block->second) {
    if (param.m_line != m_lines->end()) lines.push_back(&*param.m_line);
  }
  return lines;
}

tov_template::LineIterator TemplateRun::EndOfBlock(const std::string& section) const {
  const auto end = m_ends.find(section);
  if (end == m_ends.end() || end->second == m_lines->end()) return m_lines->end();
  return m_config->EndedSection(*end->second) ? end->second : std::next(end->second);
}

void TemplateRun::KeepItems(std::size_t first, std::size_t last) {
  std::size_t number = 0;
  m_actions.remove_if([&](const Item&) {
    const bool kept = first <= number && number <= last;
    ++number;
    return !kept;
  });
  m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(last) + 1, m_items.end());
  m_items.erase(m_items.begin(), m_items.begin() + static_cast<std::ptrdiff_t>(first));
}

void TemplateRun::Apply() {
  ApplyTemplate(false);
  ApplyTemplate(true);
}

}  // namespace cli
