// SPDX-License-Identifier: Apache-2.0

// A plain second model of the view of a configuration and its edits, to compare the view with:
// lines have numbers, every look-up is a search, and every removal walks through all that refers to
// a line. It shares with the library the text helpers and what a dialect says of single lines,
// nothing else.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/merging_dialect.h"
#include "template/apache.h"
#include "template/base_config.h"
#include "template/framework/str.h"
#include "template/nginx.h"
#include "template/section_path.h"

namespace model {

class View {
 public:
  // The number of a line. Numbers are never used again.
  using Id = int;
  static constexpr Id kNoLine = -1;

  struct Line {
    Id id;
    std::string text;
  };

  // `dialect` is asked about single lines only, and must outlive the view.
  View(std::string text, const tov_template::BaseConfig& dialect) : m_dialect(dialect) {
    while (!text.empty()) {
      const std::string line = str::GetWord(text, '\n');
      if (!line.empty()) m_lines.push_back({m_next_id++, line});
    }
  }
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // --- The edits ---

  void AppendParam(const std::string& section, const std::string& param, const std::string& key) {
    if (section.empty() || str::Trim(param).empty()) return;
    std::string parent = section;
    const std::string last_level = str::RGetWord(parent, tov_template::kSectionSeparator);
    const bool unique = m_dialect.IsUniqueParam(param);

    if (!HasBlock(section)) {
      if (unique || m_dialect.EndedSection(str::Trim(param))) return;
      const Id pos = m_created.count(parent) != 0 ? AdvanceCreated(parent) : EndPosition(parent);
      const Id line = Insert(pos, param);
      m_params[section].push_back(line);
      m_ends[section] = line;
      if (last_level.empty()) Log("create section '", str::Trim(param), "'");
      return;
    }

    if (unique) {
      const Id pos = EndPosition(section);
      const Id line = AppendUnique(section, pos, param);
      if (line != pos) {
        m_params[section].push_back(line);
        m_ends[section] = line;
      }
      Log("append unique param '", str::Trim(param), "'");
      return;
    }

    if (key.empty()) return;
    if (Find(section, TrimTerm(key)) != kNoLine) return;
    if (Find(section, TrimTerm(param)) != kNoLine) return;
    const Id pos = m_created.count(section) != 0 ? AdvanceCreated(section) : EndPosition(section);
    const Id line = Insert(pos, param);
    std::vector<Id>& params = m_params[section];
    params.insert(Closes(params.back()) ? params.end() - 1 : params.end(), line);
    Log("append param '", str::Trim(param), "'");
    m_ends[section] = line;
    if (m_dialect.StartsSection(param)) {
      if (!parent.empty()) m_created[parent] = line;
    } else {
      m_created.erase(section);
    }
    if (parent.empty()) m_created.clear();
  }

  void RemoveParam(const std::string& section, const std::string& param, bool part_key) {
    if (section.empty() || str::Trim(param).empty() || !HasBlock(section)) return;

    if (m_dialect.IsUniqueParam(param)) {
      for (const Id line : OfBlock(section, RemoveUnique(section, param, part_key))) {
        Log("deleted unique param '", TextOf(line), "'");
        Erase(line, line);
      }
      return;
    }

    if (m_dialect.StartsSection(param)) {
      const Id first = m_params[section].front();
      const Id last = m_params[section].back();
      if (IsBackward(first, last)) return;
      for (auto block = m_params.begin(); block != m_params.end();) {
        block = str::StartsWith(block->first, section) ? m_params.erase(block) : std::next(block);
      }
      Erase(first, last);
      m_ends.erase(section);
      return;
    }

    const Id line = Find(section, TrimTerm(param));
    if (line == kNoLine) return;
    Erase(line, line);
    Log("deleted param '", str::Trim(param), "'");
  }

  void ChangeParam(const std::string& section, const std::string& old_param,
                   const std::string& new_param, const std::string& key) {
    const std::string old_text = str::Trim(old_param);
    const std::string key_text = str::Trim(key);
    if (section.empty() || (old_text.empty() && key_text.empty())) return;
    if (str::Trim(new_param).empty() || !HasBlock(section)) return;

    if (m_dialect.IsUniqueParam(new_param)) {
      const std::vector<Id> removed = ChangeUnique(section, m_params[section].back(), new_param);
      for (const Id line : OfBlock(section, removed)) Erase(line, line);
    } else {
      const Id line = Find(section, key_text.empty() ? old_text : key_text);
      if (line == kNoLine) return;
      std::string& text = m_lines[IndexOf(line)].text;
      const std::string marker = m_dialect.GetCommentChar();
      text = str::Append(new_param, CutComment(text).second, marker);
      if (m_dialect.StartsSection(new_param)) {
        std::string parent = section;
        str::RGetWord(parent, tov_template::kSectionSeparator);
        const std::string path = str::Append(parent, new_param, tov_template::kSectionSeparator);
        UpdateSectionPath(m_params, section, path);
        UpdateSectionPath(m_ends, section, path);
      }
    }
    Log("Change param from '", old_text, "' to '", str::Trim(new_param), "'");
  }

  void RemoveEmptySections() {
    std::set<std::string> removed;
    for (const auto& [section, params] : m_params) {
      if (params.empty() || params.size() >= 3 || IsProtected(section)) continue;
      const Id first = params.front();
      const Id last = params.back();
      if (IsBackward(first, last)) continue;
      Log("Remove empty section '", str::Trim(TextOf(first)), "'");
      Erase(first, last);
      removed.insert(section);
    }
    for (const std::string& section : removed) m_params.erase(section);
  }

  // --- What there is to compare ---

  std::string Text() const {
    std::string text;
    for (const Line& line : m_lines) text = str::Append(text, line.text, "\n");
    return text;
  }

  // As ViewProbe::Dump.
  std::string Dump() const {
    std::string dump;
    for (const auto& [section, params] : m_params) {
      std::string lines;
      for (const Id line : params) lines += (lines.empty() ? "" : " | ") + Shown(line);
      dump += Shown(section) + ": " + lines + "\n";
    }
    for (const auto& [section, line] : m_ends) {
      dump += "end " + Shown(section) + ": " + Shown(line) + "\n";
    }
    for (const auto& [section, line] : m_created) {
      dump += "created " + Shown(section) + ": " + Shown(line) + "\n";
    }
    return dump;
  }

  // The messages logged so far.
  const std::vector<std::string>& Messages() const { return m_messages; }

  // The place of `line` among the lines, from 0; their count for no line.
  std::size_t IndexOf(Id line) const {
    if (line == kNoLine) return m_lines.size();
    const auto id = static_cast<std::size_t>(line);
    const std::size_t known = id < m_indexes.size() ? m_indexes[id] : m_lines.size();
    if (known < m_lines.size() && m_lines[known].id == line) return known;
    m_indexes.assign(static_cast<std::size_t>(m_next_id), m_lines.size());
    for (std::size_t index = 0; index < m_lines.size(); ++index) {
      m_indexes[static_cast<std::size_t>(m_lines[index].id)] = index;
    }
    return m_indexes[id];
  }

  // Reads the lines as they are now, as another view over the same dialect does.
  void ReadAgain() {
    m_params.clear();
    m_ends.clear();
    m_created.clear();
    Build();
  }

  std::vector<Line> m_lines;
  std::map<std::string, std::vector<Id>> m_params;
  std::map<std::string, Id> m_ends;
  std::map<std::string, Id> m_created;
  // Block -> the lines that the dialect has registered for it.
  std::map<std::string, std::vector<Id>> m_unique;

 protected:
  // To be called by the constructor of a derived view.
  void Build() {
    Read();
    RegisterUnique();
  }

  // --- The dialect's part in its unique directives ---

  // Returns the line that stands for `line` from now on.
  virtual Id Register(const std::string& section, Id line) = 0;

  // Returns the last line made before `pos`, or `pos`.
  virtual Id AppendUnique(const std::string& section, Id pos, const std::string& text) = 0;

  // Return the lines to erase. `pos` may be moved.
  virtual std::vector<Id> RemoveUnique(const std::string& section, const std::string& text,
                                       bool part_key) = 0;
  virtual std::vector<Id> ChangeUnique(const std::string& section, Id& pos,
                                       const std::string& text) = 0;

  // Drops `line`, which is being erased, from m_unique.
  virtual void ForgetUnique(Id line) = 0;

  // --- Lines ---

  std::string TextOf(Id line) const { return m_lines[IndexOf(line)].text; }

  Id LineAfter(Id line) const {
    const std::size_t index = IndexOf(line);
    return index + 1 < m_lines.size() ? m_lines[index + 1].id : kNoLine;
  }

  Id LineBefore(Id line) const {
    const std::size_t index = IndexOf(line);
    return index == 0 ? kNoLine : m_lines[index - 1].id;
  }

  std::string& TextAt(Id line) { return m_lines[IndexOf(line)].text; }

  // Inserts before `pos`, at the end when that is no line.
  Id Insert(Id pos, const std::string& text) {
    const Id line = m_next_id++;
    m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(IndexOf(pos)), {line, text});
    return line;
  }

  // `text` behind a tab for each level of `section`.
  static std::string Indented(std::string section, const std::string& text) {
    std::string indent;
    while (!section.empty()) {
      str::GetWord(section, tov_template::kSectionSeparator);
      indent += "\t";
    }
    return indent + text;
  }

  static void AddOnce(std::vector<Id>& lines, Id line) {
    if (std::count(lines.begin(), lines.end(), line) == 0) lines.push_back(line);
  }

  static void EraseValue(std::vector<Id>& lines, Id line) {
    lines.erase(std::remove(lines.begin(), lines.end(), line), lines.end());
  }

  const tov_template::BaseConfig& m_dialect;

 private:
  // --- Reading ---

  void Read() {
    std::set<std::string> ident_names;
    m_dialect.GetIdentParams(ident_names);
    std::vector<std::map<std::string, std::string>> idents;
    std::string path;
    for (const Line& line : m_lines) {
      const std::string text = CutComment(line.text).first;
      const std::string trimmed = str::Trim(text);
      const bool starts = m_dialect.StartsSection(text);
      if (starts) {
        path = str::Append(path, trimmed, tov_template::kSectionSeparator);
        idents.emplace_back();
      }

      std::string rest = trimmed;
      const std::string name = str::Trim(str::GetWord(rest));
      if (ident_names.count(name) != 0 && !idents.empty()) idents.back().insert({name, trimmed});

      if (!path.empty()) {
        if (starts) {
          m_params.insert({path, {line.id}});
          m_open.push_back(path);
        } else if (!m_open.empty()) {
          m_params[m_open.back()].push_back(line.id);
        }
        m_ends[path] = line.id;
      }

      if (!m_dialect.EndedSection(text)) continue;
      if (!idents.empty() && !idents.back().empty()) {
        const std::string old_path = path;
        const std::string last = str::RGetWord(path, tov_template::kSectionSeparator);
        const std::string made = m_dialect.MakeSectionPath(last, idents.back());
        const std::string new_path = str::Append(path, made, tov_template::kSectionSeparator);
        UpdateSectionPath(m_params, old_path, new_path);
        UpdateSectionPath(m_ends, old_path, new_path);
      }
      str::RGetWord(path, tov_template::kSectionSeparator);  // once more after a re-keying
      if (!m_open.empty()) m_open.pop_back();
      if (!idents.empty()) idents.pop_back();
    }
    m_open.clear();
  }

  void RegisterUnique() {
    for (auto& [section, params] : m_params) {
      for (std::size_t index = 0; index < params.size(); ++index) {
        const Id line = params[index];
        if (line == kNoLine || !m_dialect.IsUniqueParam(TextOf(line))) continue;
        const Id before = LineBefore(line);
        const Id kept = Register(section, line);
        if (kept == line) continue;
        for (auto& block : m_params) {
          std::replace(block.second.begin(), block.second.end(), line, kept);
        }
        for (auto& end : m_ends) {
          if (end.second == line) end.second = before;
        }
      }
    }
  }

  static bool IsSubsection(std::string parent, std::string path) {
    while (!parent.empty()) {
      const std::string level = str::GetWord(parent, tov_template::kSectionSeparator);
      if (str::GetWord(path, tov_template::kSectionSeparator) != level) return false;
    }
    return true;
  }

  template <class Map>
  void UpdateSectionPath(Map& map, const std::string& old_path, const std::string& new_path) {
    std::map<std::string, std::string> new_keys;
    Map moved;
    for (const auto& [key, value] : map) {
      if (!IsSubsection(old_path, key)) continue;
      std::string rest = key;
      str::GetWord(rest, old_path + tov_template::kSectionSeparator);
      new_keys[key] = str::Append(str::Trim(new_path), rest, tov_template::kSectionSeparator);
      moved[new_keys[key]] = value;
    }
    for (const auto& [key, new_key] : new_keys) map.erase(key);
    map.insert(moved.begin(), moved.end());
    // The blocks that are still open follow their entries.
    if (static_cast<const void*>(&map) != &m_params) return;
    for (std::string& open : m_open) {
      if (new_keys.count(open) != 0) open = new_keys[open];
    }
  }

  // --- Texts ---

  // The line, and what follows its last comment marker.
  std::pair<std::string, std::string> CutComment(const std::string& line) const {
    const std::string marker = m_dialect.GetCommentChar();
    if (line.find(marker) == std::string::npos) return {line, ""};
    std::string text = line;
    const std::string comment = str::RGetWord(text, marker);
    return {text, comment};
  }

  std::string TrimTerm(std::string text) const {
    text = str::Trim(text);
    const std::string term = m_dialect.GetTermChar();
    if (term.empty() || !str::EndsWith(text, term)) return text;
    return str::Trim(text.substr(0, text.size() - term.size()));
  }

  bool Closes(Id line) const { return line != kNoLine && m_dialect.EndedSection(TextOf(line)); }

  // Erases the lines from `first` to `last` and every reference to them.
  void Erase(Id first, Id last) {
    const std::size_t begin = IndexOf(first);
    const std::size_t end = IndexOf(last) + 1;
    const Id before = LineBefore(first);
    for (std::size_t index = begin; index < end; ++index) Forget(m_lines[index].id, before);
    m_lines.erase(m_lines.begin() + static_cast<std::ptrdiff_t>(begin),
                  m_lines.begin() + static_cast<std::ptrdiff_t>(end));
  }

  void Forget(Id line, Id before) {
    for (auto& [section, params] : m_params) EraseValue(params, line);
    ForgetUnique(line);
    for (auto& [section, end] : m_ends) {
      if (end == line) end = before;
    }
    for (auto created = m_created.begin(); created != m_created.end();) {
      const bool refers = created->second == line;
      if (refers) created->second = before;
      created = refers && before == kNoLine ? m_created.erase(created) : std::next(created);
    }
  }

  // --- Blocks ---

  bool HasBlock(const std::string& section) const {
    return m_params.count(section) != 0 && !m_params.at(section).empty();
  }

  Id Find(const std::string& section, const std::string& key) const {
    for (const Id line : m_params.at(section)) {
      if (line != kNoLine && str::StartsWith(str::Trim(TextOf(line)), key)) return line;
    }
    return kNoLine;
  }

  // The line before which a new line at the end of `section` goes.
  Id EndPosition(const std::string& section) const {
    const auto end = m_ends.find(section);
    if (end == m_ends.end() || end->second == kNoLine) return kNoLine;
    return Closes(end->second) ? end->second : LineAfter(end->second);
  }

  Id AdvanceCreated(const std::string& section) {
    const Id line = m_created[section];
    return m_created[section] = line == kNoLine ? kNoLine : LineAfter(line);
  }

  bool IsBackward(Id first, Id last) const {
    return first == kNoLine || last == kNoLine || IndexOf(last) < IndexOf(first);
  }

  // Whether there is, or was, a block whose path begins with the text of `section`.
  bool IsProtected(const std::string& section) const {
    return std::any_of(m_ends.begin(), m_ends.end(), [&](const auto& end) {
      return end.first.size() > section.size() && str::StartsWith(end.first, section);
    });
  }

  // Those of `lines` that the block `section` holds, each once.
  std::vector<Id> OfBlock(const std::string& section, const std::vector<Id>& lines) const {
    std::vector<Id> found;
    for (const Id line : lines) {
      const std::vector<Id>& params = m_params.at(section);
      if (std::count(params.begin(), params.end(), line) != 0) AddOnce(found, line);
    }
    return found;
  }

  // --- Small things ---

  // Logs the parts in a row. A value ends at its first NUL byte.
  template <class... Parts>
  void Log(const Parts&... parts) {
    std::string message;
    ((message += std::string(parts).c_str()), ...);
    m_messages.push_back(message);
  }

  static std::string Shown(const std::string& section) {
    return str::Replace(section, tov_template::kSectionSeparator, " > ");
  }
  std::string Shown(Id line) const { return line == kNoLine ? "(none)" : str::Trim(TextOf(line)); }

  Id m_next_id = 0;
  mutable std::vector<std::size_t> m_indexes;  // the places of lines, as they were once
  std::vector<std::string> m_open;             // the entries of the open blocks while reading
  std::vector<std::string> m_messages;
};

// Keeps an object that a base class refers to.
template <class Dialect>
struct Kept {
  const Dialect m_kept{""};
};

// A configuration without unique directives.
template <class Dialect>
class PlainView : private Kept<Dialect>, public View {
 public:
  explicit PlainView(const std::string& text) : View(text, Kept<Dialect>::m_kept) { Build(); }

 private:
  Id Register(const std::string& /*section*/, Id line) override { return line; }
  Id AppendUnique(const std::string& /*section*/, Id pos, const std::string& /*text*/) override {
    return pos;
  }
  std::vector<Id> RemoveUnique(const std::string& /*section*/, const std::string& /*text*/,
                               bool /*part_key*/) override {
    return {};
  }
  std::vector<Id> ChangeUnique(const std::string& /*section*/, Id& /*pos*/,
                               const std::string& /*text*/) override {
    return {};
  }
  void ForgetUnique(Id /*line*/) override {}
};

// An nginx configuration: the registered lines are the listens.
class NginxView : private Kept<tov_template::Nginx>, public View {
 public:
  explicit NginxView(const std::string& text) : View(text, m_kept) { Build(); }

 private:
  // `text` as directive lines, one for each address.
  static std::vector<std::string> ParseListens(const std::string& text) {
    std::vector<tov_template::Nginx::Listen> records;
    tov_template::Nginx::ParseListen(text, records);
    std::vector<std::string> lines;
    for (const auto& record : records) {
      const std::string line = str::Append("listen", record.address, " ");
      lines.push_back(str::Append(line, record.options, " ") + ";");
    }
    return lines;
  }

  Id Register(const std::string& section, Id line) override {
    m_unique[section].push_back(line);
    return line;
  }

  Id AppendUnique(const std::string& section, Id pos, const std::string& text) override {
    Id result = pos;
    for (const std::string& listen : ParseListens(text)) {
      bool present = false;
      if (m_unique.count(section) != 0) {
        for (const Id line : m_unique[section]) {
          present = present || str::Trim(TextOf(line)) == str::Trim(listen);
        }
      }
      if (present) continue;
      result = Insert(pos, Indented(section, listen));
      m_unique[section].push_back(result);
    }
    return result;
  }

  std::vector<Id> RemoveUnique(const std::string& section, const std::string& text,
                               bool /*part_key*/) override {
    std::vector<Id> removed;
    if (m_unique.count(section) == 0) return removed;
    for (const std::string& listen : ParseListens(text)) {
      for (const Id line : m_unique[section]) {
        if (str::StartsWith(str::Trim(TextOf(line)), listen)) AddOnce(removed, line);
      }
    }
    for (const Id line : removed) EraseValue(m_unique[section], line);
    return removed;
  }

  std::vector<Id> ChangeUnique(const std::string& section, Id& pos,
                               const std::string& text) override {
    if (m_unique.count(section) == 0) return {};
    std::vector<Id> lines;
    for (const std::string& listen : ParseListens(text)) {
      lines.push_back(Insert(pos, Indented(section, listen)));
    }
    std::swap(m_unique[section], lines);
    return lines;
  }

  void ForgetUnique(Id line) override {
    for (auto& [section, lines] : m_unique) EraseValue(lines, line);
  }
};

// An Apache configuration. The registered lines are those of a block's "ServerAlias" and
// "DirectoryIndex", under the block and the directive's name with the byte 0x1f between them, and
// its one line of "Options", without a name.
class ApacheView : private Kept<tov_template::Apache>, public View {
 public:
  explicit ApacheView(const std::string& text) : View(text, m_kept) { Build(); }

 private:
  static constexpr std::size_t kMaxPiece = 4096;

  static bool IsOptions(const std::string& text) {
    return str::StartsWith(str::Trim(text), "Options");
  }
  static std::string NameOf(const std::string& text) {
    std::string rest = str::Trim(text);
    return str::GetWord(rest);
  }
  static std::string ValueOf(const std::string& text) {
    std::string rest = str::Trim(text);
    str::GetWord(rest);
    return rest;
  }
  static std::string Key(const std::string& section, const std::string& name) {
    return section + "\x1f" + name;
  }

  // Cuts the next piece off `value`.
  static std::string CutPiece(std::string& value) {
    if (value.size() <= kMaxPiece) return std::exchange(value, "");
    std::string piece = str::Trim(value).substr(0, kMaxPiece);
    const std::size_t blank = piece.find_last_of(" \t\n\r");
    if (piece.empty()) {
      value.clear();
    } else if (blank == std::string::npos) {
      value.erase(0, piece.size());
    } else {
      value.erase(0, blank + 1);
      piece.resize(blank);
    }
    return piece;
  }

  // --- Options ---

  void AddWords(const std::string& section, const std::string& text) {
    std::string rest = str::Trim(text);
    if (m_words.count(section) == 0) m_words[section] = {str::Trim(str::GetWord(rest))};
    std::vector<std::string>& words = m_words[section];
    while (!rest.empty()) {
      const std::string word = str::Trim(str::GetWord(rest));
      if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
    }
  }

  std::string OptionsOf(const std::string& section) {
    const std::vector<std::string>& words = m_words[section];
    return Indented(section, str::Trim(str::Join({words.begin(), words.end()}, " ")));
  }

  Id RegisterOptions(const std::string& section, Id line) {
    const bool first = m_words.count(section) == 0;
    AddWords(section, TextOf(line));
    std::vector<Id>& merged = m_unique[Key(section, "")];
    if (first) merged = {line};
    TextAt(merged.front()) = OptionsOf(section);
    if (first) return line;
    const Id next = LineAfter(line);
    ForgetUnique(line);
    m_lines.erase(m_lines.begin() + static_cast<std::ptrdiff_t>(IndexOf(line)));
    return next;
  }

  void RemoveOptions(const std::string& section, const std::string& text, bool all) {
    if (m_unique.count(Key(section, "")) == 0) return;
    std::vector<std::string>& words = m_words[section];
    for (std::string rest = ValueOf(text); !all && !rest.empty();) {
      const auto found = std::find(words.begin(), words.end(), str::Trim(str::GetWord(rest)));
      if (found != words.end()) words.erase(found);
    }
    if (words.empty()) return;
    const bool some_are_left = !all && words.back() != "Options";
    if (!some_are_left) words.clear();
    TextAt(m_unique[Key(section, "")].front()) = some_are_left ? OptionsOf(section) : "";
  }

  // --- All three directives ---

  Id Register(const std::string& section, Id line) override {
    if (section.empty()) return line;
    if (IsOptions(TextOf(line))) return RegisterOptions(section, line);
    m_unique[Key(section, NameOf(TextOf(line)))].push_back(line);
    return line;
  }

  Id AppendUnique(const std::string& section, Id pos, const std::string& text) override {
    if (section.empty()) return pos;
    if (IsOptions(text)) {
      AddWords(section, text);
      std::vector<Id>& merged = m_unique[Key(section, "")];
      if (!merged.empty()) {
        TextAt(merged.front()) = OptionsOf(section);
        return pos;
      }
      merged = {Insert(pos, OptionsOf(section))};
      return merged.front();
    }
    const std::string name = NameOf(text);
    const std::string key = Key(section, name);
    Id last = pos;
    for (std::string rest = ValueOf(text); !rest.empty();) {
      const std::string candidate = str::Append(name, CutPiece(rest), " ");
      const std::vector<Id> recorded = m_unique.count(key) == 0 ? std::vector<Id>() : m_unique[key];
      const bool present = std::any_of(recorded.begin(), recorded.end(), [&](Id line) {
        return str::Trim(TextOf(line)) == str::Trim(candidate);
      });
      if (present) continue;
      last = Insert(pos, Indented(section, str::Trim(candidate)));
      m_unique[key].push_back(last);
    }
    return last;
  }

  std::vector<Id> RemoveUnique(const std::string& section, const std::string& text,
                               bool part_key) override {
    std::vector<Id> removed;
    if (IsOptions(text)) {
      RemoveOptions(section, text, part_key);
      return removed;
    }
    const auto entry = m_unique.find(Key(section, NameOf(text)));
    if (entry == m_unique.end()) return removed;
    if (part_key) return std::exchange(entry->second, {});
    for (std::string rest = str::Trim(text); !rest.empty();) {
      const std::string piece = CutPiece(rest);
      for (const Id line : entry->second) {
        if (str::Trim(TextOf(line)) == piece) AddOnce(removed, line);
      }
    }
    for (const Id line : removed) EraseValue(entry->second, line);
    return removed;
  }

  std::vector<Id> ChangeUnique(const std::string& section, Id& pos,
                               const std::string& text) override {
    if (pos != kNoLine && IsOptions(TextOf(pos))) return {};
    const std::string name = NameOf(text);
    const auto entry = m_unique.find(Key(section, name));
    if (entry == m_unique.end()) return {};
    std::vector<Id> lines;
    for (std::string rest = ValueOf(text); !rest.empty();) {
      const std::string line = str::Append(name, CutPiece(rest), " ");
      lines.push_back(Insert(pos, Indented(section, str::Trim(line))));
    }
    std::swap(entry->second, lines);
    return lines;
  }

  void ForgetUnique(Id line) override {
    for (auto entry = m_unique.begin(); entry != m_unique.end();) {
      const bool merged = entry->first.back() == '\x1f';
      const bool held = std::count(entry->second.begin(), entry->second.end(), line) != 0;
      EraseValue(entry->second, line);
      if (merged && held) m_words.erase(entry->first.substr(0, entry->first.size() - 1));
      entry = merged && held ? m_unique.erase(entry) : std::next(entry);
    }
  }

  std::map<std::string, std::vector<std::string>> m_words;
};

// A configuration in the merging dialect: the registered line is the one that has taken over the
// words of the others. `Dialect` is MergingDialect or derived from it.
template <class Dialect>
class MergingView : private Kept<Dialect>, public View {
 public:
  explicit MergingView(const std::string& text) : View(text, Kept<Dialect>::m_kept) { Build(); }

 private:
  Id Register(const std::string& section, Id line) override {
    if (m_unique.count(section) == 0) {
      m_unique[section] = {line};
      return line;
    }
    std::string words = str::Trim(TextOf(line));
    str::GetWord(words);
    m_lines[IndexOf(m_unique[section].front())].text += " " + words;
    const Id next = LineAfter(line);
    m_lines.erase(m_lines.begin() + static_cast<std::ptrdiff_t>(IndexOf(line)));
    return next;
  }

  Id AppendUnique(const std::string& /*section*/, Id pos, const std::string& /*text*/) override {
    return pos;
  }

  std::vector<Id> RemoveUnique(const std::string& section, const std::string& /*text*/,
                               bool /*part_key*/) override {
    const std::vector<Id> removed = m_unique[section];
    m_unique.erase(section);
    return removed;
  }

  std::vector<Id> ChangeUnique(const std::string& section, Id& pos,
                               const std::string& text) override {
    const std::vector<Id> removed = m_unique[section];
    m_unique.erase(section);
    if (removed.empty()) return removed;
    pos = Insert(pos, text);
    m_unique[section] = {pos};
    return removed;
  }

  void ForgetUnique(Id line) override {
    for (auto entry = m_unique.begin(); entry != m_unique.end();) {
      entry = entry->second.front() == line ? m_unique.erase(entry) : std::next(entry);
    }
  }
};

}  // namespace model
