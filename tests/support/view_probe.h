// SPDX-License-Identifier: Apache-2.0

// A view of a configuration text whose index can be looked at.
#pragma once

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "template/config_view.h"
#include "template/framework/str.h"
#include "template/line_list_config.h"

// "" when every line that the dialect keeps an iterator to is a line of the list, else what is
// wrong. Looks at the nodes' addresses only, so that it can be trusted with dangling references.
inline std::string BrokenRegister(tov_template::BaseConfig& config) {
  const auto* dialect = dynamic_cast<tov_template::LineListConfig*>(&config);
  if (dialect == nullptr) return "";
  std::set<const std::string*> lines;
  for (const std::string& line : *config.GetList()) lines.insert(&line);
  for (const tov_template::LineIterator& line : dialect->RegisteredLines()) {
    if (lines.count(&*line) == 0) return "a line registered by the dialect";
  }
  return "";
}

// "" when every reference of the index is to a line of the list or to no line, and every one of the
// dialect to a line, else what is wrong.
template <class View>
std::string BrokenReferences(const View& view) {
  std::set<const std::string*> lines;
  for (const std::string& line : *view.m_lines) lines.insert(&line);
  const auto broken = [&](tov_template::LineIterator line) {
    return line != view.m_lines->end() && lines.count(&*line) == 0;
  };
  for (const auto& [section, params] : view.m_params) {
    for (const ConfParam& param : params) {
      if (broken(param.m_line)) return "element of " + section;
    }
  }
  for (const auto& [section, line] : view.m_ends) {
    if (broken(line)) return "end of " + section;
  }
  for (const auto& [section, line] : view.m_created) {
    if (broken(line)) return "created of " + section;
  }
  return BrokenRegister(*view.m_config);
}

class ViewProbe : public tov_template::ConfigView {
 public:
  using ConfigView::ConfigView;
  using ConfigView::m_config;
  using ConfigView::m_created;
  using ConfigView::m_ends;
  using ConfigView::m_lines;
  using ConfigView::m_params;
  using ConfigView::UpdateSectionPath;

  // The configuration as it would be written back.
  std::string Text() const { return m_config->Str(); }

  // A section path of the given levels.
  static std::string Path(std::initializer_list<std::string> levels) {
    return str::Join(std::list<std::string>(levels), tov_template::kSectionSeparator);
  }

  // The index as text, levels joined by " > " and lines trimmed:
  //
  //   http { > server { server_name a: server { | server_name a; | }
  //   end http { > server { server_name a: }
  //   created http {: server {
  //
  // "(none)" is no line.
  std::string Dump() const {
    std::string dump;
    for (const auto& [section, params] : m_params) {
      std::string lines;
      for (const ConfParam& param : params)
        lines += (lines.empty() ? "" : " | ") + Shown(param.m_line);
      dump += Shown(section) + ": " + lines + "\n";
    }
    for (const auto& [section, line] : m_ends)
      dump += "end " + Shown(section) + ": " + Shown(line) + "\n";
    for (const auto& [section, line] : m_created) {
      dump += "created " + Shown(section) + ": " + Shown(line) + "\n";
    }
    return dump;
  }

  std::string BrokenReferences() const { return ::BrokenReferences(*this); }

 private:
  static std::string Shown(const std::string& section) {
    return str::Replace(section, tov_template::kSectionSeparator, " > ");
  }
  std::string Shown(tov_template::LineIterator line) const {
    return line == m_lines->end() ? "(none)" : str::Trim(*line);
  }
};

// A view of `text` in the dialect `Dialect`.
template <class Dialect>
ViewProbe ViewOf(const std::string& text) {
  return ViewProbe(std::make_shared<Dialect>(text));
}
