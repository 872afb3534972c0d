// SPDX-License-Identifier: Apache-2.0

#include "adopt/choice.h"

#include <algorithm>
#include <set>

#include "document/meaning.h"

namespace tov_adopt {
namespace {

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

}  // namespace

void ChooseLines(const Options& options, Lines& lines) {
  Choice(options, lines).Make();
}

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

}  // namespace tov_adopt
