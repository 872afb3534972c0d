// SPDX-License-Identifier: Apache-2.0

// A dialect for tests of what the view does when unique lines are merged: a small syntax of its
// own.
#pragma once

#include <list>
#include <map>
#include <string>

#include "template/framework/str.h"
#include "template/line_list_config.h"

// "name (" opens a block and ")" closes one; a directive is a whole line; comments begin with "#".
// "set" lines are unique: the first of a block takes over the words of those that follow, which are
// erased while the configuration is read, and stands in their place from then on.
class MergingDialect : public tov_template::LineListConfig {
 public:
  explicit MergingDialect(const std::string& text) : LineListConfig(text, {}) {}

  bool StartsSection(const std::string& line) const override {
    return str::EndsWith(str::Trim(line), "(");
  }
  bool EndedSection(const std::string& line) const override {
    return str::StartsWith(str::Trim(line), ")");
  }
  std::string GetCommentChar() const override { return "#"; }
  std::string GetKeyFieldConstParam(const std::string& line) const override { return line; }

  bool IsUniqueParam(const std::string& line) const override {
    return str::view::FirstWord(line) == "set";
  }

  tov_template::LineIterator RegisterUniqueParam(const std::string& section,
                                                 tov_template::LineIterator& pos) override {
    const auto [entry, first] = m_merged.try_emplace(section, pos);
    if (first) return pos;
    std::string words = str::Trim(*pos);
    str::GetWord(words);
    *entry->second += " " + words;
    return m_lines.erase(pos);
  }

  void RemoveUniqueParam(const std::string& section, const std::string& /*text*/, bool /*flag*/,
                         std::list<tov_template::LineIterator>& removed) override {
    const auto entry = m_merged.find(section);
    if (entry == m_merged.end()) return;
    // Named twice on purpose: the view has to erase it once.
    removed.push_back(entry->second);
    removed.push_back(entry->second);
    m_merged.erase(entry);
  }

  // Replaces the merged line by one at the end of the block, and moves `pos` to it.
  void ChangeUniqueParam(const std::string& section, tov_template::LineIterator& pos,
                         const std::string& text,
                         std::list<tov_template::LineIterator>& removed) override {
    const auto entry = m_merged.find(section);
    if (entry == m_merged.end()) return;
    removed.push_back(entry->second);
    pos = entry->second = m_lines.insert(pos, text);
  }

 protected:
  void ForgetLine(const tov_template::LineIterator& line) override {
    for (auto entry = m_merged.begin(); entry != m_merged.end();) {
      entry = entry->second == line ? m_merged.erase(entry) : std::next(entry);
    }
  }

  std::map<std::string, tov_template::LineIterator> m_merged;
};
