// SPDX-License-Identifier: Apache-2.0

#include "adopt/writing.h"

#include <set>
#include <string_view>

namespace tov_adopt {
namespace {

class Writer {
 public:
  Writer(Dialect dialect, const Lines& lines, const std::vector<Value>& values, bool comment)
      : m_dialect(dialect), m_lines(lines), m_values(values), m_comment(comment) {}

  WrittenTemplate Write() {
    for (std::size_t i = 0; i < m_lines.all.size(); ++i) {
      CloseUpTo(i);
      const Line& line = m_lines.all[i];
      if (!line.kept) continue;
      Choose(line.in);
      if (m_comment) Explain(line);
      Add(line.depth, TextOf(m_dialect, line, m_values), i);
      if (line.kind == Line::Kind::kBlock) m_open.push_back(i);
    }
    CloseUpTo(m_lines.all.size());
    Choose(Line::In::kBoth);
    return std::move(m_written);
  }

 private:
  void Add(std::size_t depth, const std::string& text, std::size_t line) {
    m_written.text.append(depth, '\t').append(text) += '\n';
    m_written.lines.push_back(line);
  }

  void CloseUpTo(std::size_t number) {
    while (!m_open.empty() && m_lines.all[m_open.back()].behind <= number) {
      const Line& line = m_lines.all[m_open.back()];
      const bool nginx = m_dialect == Dialect::kNginx;
      Choose(line.in);
      Add(line.depth, nginx ? "}" : "</" + std::string(line.Name()) + '>', kNone);
      m_open.pop_back();
    }
  }

  // What follows is for lines that stand there.
  void Choose(Line::In in) {
    if (in == m_in) return;
    if (m_in != Line::In::kBoth) Add(0, "{% endif %}", kNone);
    if (in != Line::In::kBoth) {
      const char* const wanted = in == Line::In::kBefore ? kBefore : kAfter;
      Add(0, std::string("{% if $") + kVersion + " == " + wanted + " %}", kNone);
    }
    m_in = in;
  }

  // "{#} name is now a.example"
  void Explain(const Line& line) {
    std::string said;
    std::set<std::size_t> known;
    const auto say = [&](std::size_t value) {
      if (!known.insert(value).second) return;
      said += (said.empty() ? "" : "; ") + m_values[value].name + " is now " + Shown(value);
    };
    for (std::size_t i = 0; i < line.words.size() && i < line.trailing_from; ++i) {
      for (const Part& part : line.words[i].parts) {
        if (part.value != kNone) say(part.value);
      }
    }
    if (line.trailing_from != kNone) {
      say(line.trailing_value);
      said += ", any number of words";
    }
    if (said.empty()) said = WhatIs(line);
    Add(line.depth, "{#} " + said, kNone);
  }

  static const char* WhatIs(const Line& line) {
    if (line.is_server) return "A server of the site, found by its names and its addresses.";
    if (line.around) return "The block around the site: nothing else of it is managed.";
    switch (line.kind) {
      case Line::Kind::kBlock:
        return "The block is there, with these lines in it.";
      case Line::Kind::kComment:
        return "A comment.";
      case Line::Kind::kDirective:
        return "Stays as it is, and is added where it is missing.";
    }
    return "";
  }

  std::string Shown(std::size_t value) const {
    constexpr std::size_t kMost = 60;
    const std::string& text = m_values[value].text;
    return text.size() <= kMost ? text : text.substr(0, kMost) + "...";
  }

  const Dialect m_dialect;
  const Lines& m_lines;
  const std::vector<Value>& m_values;
  const bool m_comment;
  std::vector<std::size_t> m_open;
  Line::In m_in = Line::In::kBoth;
  WrittenTemplate m_written;
};

}  // namespace

std::string TextOf(Dialect dialect, const LineWord& word, const std::vector<Value>& values) {
  std::string text;
  for (const Part& part : word.parts) {
    text += part.value == kNone ? OnOneLine(dialect, part.text)
                                : "{% $" + values[part.value].name + " %}";
  }
  return word.quote == '\0' ? text : word.quote + text + word.quote;
}

std::string TextOf(Dialect dialect, const Line& line, const std::vector<Value>& values) {
  std::string text;
  for (std::size_t i = 0; i < line.words.size() && i < line.trailing_from; ++i) {
    text += (i == 0 ? "" : " ") + TextOf(dialect, line.words[i], values);
  }
  if (line.trailing_from != kNone) text += " [% $" + values[line.trailing_value].name + " %]";
  if (line.kind == Line::Kind::kComment) return text;
  const bool block = line.kind == Line::Kind::kBlock;
  if (dialect == Dialect::kNginx) return text + (block ? " {" : ";");
  return block ? '<' + text + '>' : text;
}

WrittenTemplate Write(Dialect dialect, const Lines& lines, const std::vector<Value>& values,
                      bool comment) {
  return Writer(dialect, lines, values, comment).Write();
}

}  // namespace tov_adopt
