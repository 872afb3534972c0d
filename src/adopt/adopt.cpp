// SPDX-License-Identifier: Apache-2.0

#include "adopt/adopt.h"

#include <algorithm>
#include <utility>

#include "adopt/lines.h"
#include "adopt/naming.h"
#include "adopt/proof.h"
#include "adopt/site.h"
#include "adopt/writing.h"
#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"
#include "edit/limits.h"

namespace tov_adopt {
namespace {

using tov_document::Document;

// The lines that Options::managed, or what they are, keeps.
class Choice {
 public:
  Choice(const Options& options, Lines& lines) : m_options(options), m_lines(lines) {}

  void Make() {
    for (Line& line : m_lines.all) line.kept = Stays(line);
    // A block that is managed is so with all that is in it, and one in which something is stays
    // around it.
    for (std::size_t i = 0; i < m_lines.all.size(); ++i) {
      const Line& line = m_lines.all[i];
      const Line* const around = line.parent == kNone ? nullptr : &m_lines.all[line.parent];
      if (around != nullptr && m_whole.count(line.parent) != 0 &&
          line.kind != Line::Kind::kComment) {
        m_lines.all[i].kept = true;
        if (line.kind == Line::Kind::kBlock) m_whole.insert(i);
      } else if (line.kind == Line::Kind::kBlock && IsManaged(line) && !m_options.managed.empty()) {
        m_whole.insert(i);
      }
    }
    for (std::size_t i = m_lines.all.size(); i-- > 0;) {
      const Line& line = m_lines.all[i];
      if (line.kept && line.parent != kNone) m_lines.all[line.parent].kept = true;
    }
  }

 private:
  bool IsManaged(const Line& line) const {
    if (m_options.managed.empty()) return true;
    return std::any_of(m_options.managed.begin(), m_options.managed.end(),
                       [&](const std::string& name) {
                         return tov_document::SameName(m_options.dialect, line.Name(), name);
                       });
  }

  bool Identifies(const Line& line) const {
    if (line.parent == kNone || !m_lines.all[line.parent].is_server) return false;
    return IsServerName(m_options.dialect, line.Name()) || line.Name() == "listen";
  }

  bool Stays(const Line& line) const {
    if (line.kind == Line::Kind::kComment) return m_options.managed.empty() && HasPlace(line);
    if (line.kind == Line::Kind::kBlock && (line.is_server || line.around)) return true;
    return IsManaged(line) || Identifies(line);
  }

  static bool HasPlace(const Line& line) {
    const auto& parts = line.words.front().parts;
    const bool has = std::any_of(parts.begin(), parts.end(),
                                 [](const Part& part) { return part.value != kNone; });
    return has;
  }

  const Options& m_options;
  Lines& m_lines;
  std::set<std::size_t> m_whole;
};

void MarkUsed(const Lines& lines, std::vector<Value>& values) {
  for (Value& value : values) value.used = false;
  for (const Line& line : lines.all) {
    if (!line.kept) continue;
    if (line.trailing_value != kNone) values[line.trailing_value].used = true;
    for (std::size_t i = 0; i < line.words.size() && i < line.trailing_from; ++i) {
      for (const Part& part : line.words[i].parts) {
        if (part.value != kNone) values[part.value].used = true;
      }
    }
  }
}

class Adopter {
 public:
  Adopter(const Options& options, std::string_view text, const std::string& name)
      : m_options(options), m_name(name), m_document(options.dialect, text), m_places(text) {}

  Adopted Run() {
    if (IsUnreadable()) return std::move(m_adopted);
    Finding refusal;
    const std::optional<Site> site = FindSite(m_document, m_options.site, m_name, refusal);
    if (!site) return Refused(std::move(refusal));
    Lines lines = ReadLines(m_document, site->blocks);
    std::vector<Value> values = NameValues(m_document, site->name, m_options.values, lines);
    Choice(m_options, lines).Make();
    MarkUsed(lines, values);
    for (const Value& value : values) {
      if (!value.given || value.used) continue;
      return Refused({"value",
                      "the text " + tov_edit::Quoted(value.text) + " of the value " +
                          tov_edit::Quoted(value.name) + " stands nowhere in the site",
                      "A value is a whole word, or a part of a path",
                      {},
                      {{m_name, 0, 0}}});
    }
    for (const Unreadable& odd : lines.unreadable) SayUnreadable(odd);
    Proof proof(m_document, m_name, lines, values);
    const bool holds = proof.Carry();
    m_adopted.refusals = std::move(proof.refusals);
    if (!holds) return std::move(m_adopted);
    std::move(proof.left_out.begin(), proof.left_out.end(), std::back_inserter(m_adopted.left_out));
    MarkUsed(lines, values);
    m_adopted.template_text = Write(m_options.dialect, lines, values, m_options.comment).text;
    for (const Value& value : values) {
      if (value.used) m_adopted.values[value.name] = {value.text, value.text};
    }
    return std::move(m_adopted);
  }

 private:
  Adopted Refused(Finding refusal) {
    m_adopted.refusals.push_back(std::move(refusal));
    return std::move(m_adopted);
  }

  bool IsUnreadable() {
    if (!m_document.error()) return false;
    const auto place = m_places.Of(m_document.error()->at);
    m_adopted.refusals.push_back({"syntax",
                                  Describe(*m_document.error()),
                                  "The server would not take this file: mend it first",
                                  {},
                                  {{m_name, place.line, place.column}}});
    return true;
  }

  void SayUnreadable(const Unreadable& odd) {
    const auto place = m_places.Of(odd.bytes.begin);
    Finding finding{"left-out",
                    tov_edit::Quoted(m_document.Bytes(odd.bytes)) + " is left out: " + odd.reason};
    finding.config_places.push_back({m_name, place.line, place.column});
    m_adopted.left_out.push_back(std::move(finding));
  }

  const Options& m_options;
  const std::string& m_name;
  const Document m_document;
  const tov_document::Places m_places;
  Adopted m_adopted;
};

}  // namespace

Adopted Adopt(const Options& options, std::string_view text, const std::string& name) {
  return Adopter(options, text, name).Run();
}

}  // namespace tov_adopt
