// SPDX-License-Identifier: Apache-2.0

// A view of a configuration text whose index can be looked at.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "support/index_audit.h"
#include "template/config_view.h"
#include "template/framework/str.h"

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

  // "" when whatever is kept besides the lines is as if it were made anew, else what is wrong.
  std::string BrokenReferences() const { return tov_template::IndexAudit::WrongIn(*this); }

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
