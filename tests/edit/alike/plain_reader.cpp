// SPDX-License-Identifier: Apache-2.0

#include "plain_reader.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace alike {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// A word or one of ; { }, which is not in quotes.
struct Token {
  std::string word;
  Span span;
  bool quoted = false;
};

class NginxReader {
 public:
  explicit NginxReader(const std::string& text) : m_text(text) {}

  std::optional<std::vector<ReadNode>> Read() {
    if (!Tokenize()) return std::nullopt;
    std::vector<ReadNode> nodes;
    if (!ReadNodes(nodes) || m_next != m_tokens.size()) return std::nullopt;
    return nodes;
  }

 private:
  bool Tokenize() {
    std::size_t at = 0;
    while (at < m_text.size()) {
      const char c = m_text.at(at);
      if (IsBlank(c)) {
        ++at;
      } else if (c == '#') {
        at = std::min(m_text.find('\n', at), m_text.size());
      } else if (c == ';' || c == '{' || c == '}') {
        m_tokens.push_back({std::string(1, c), {at, at + 1}, false});
        ++at;
      } else if (c == '"' || c == '\'') {
        if (!ReadQuoted(at)) return false;
      } else {
        ReadBare(at);
      }
    }
    return true;
  }

  bool ReadQuoted(std::size_t& at) {
    Token token{"", {at, at}, true};
    const char quote = m_text.at(at++);
    for (; at < m_text.size() && m_text.at(at) != quote; ++at) {
      const bool escape = m_text.at(at) == '\\' && at + 1 < m_text.size() &&
                          (m_text.at(at + 1) == quote || m_text.at(at + 1) == '\\');
      if (escape) ++at;
      token.word += m_text.at(at);
    }
    if (at == m_text.size()) return false;
    token.span.end = ++at;
    m_tokens.push_back(token);
    // The server wants a blank or an end behind a quoted word.
    return at == m_text.size() || IsBlank(m_text.at(at)) || m_text.at(at) == ';' ||
           m_text.at(at) == '{' || m_text.at(at) == ')';
  }

  void ReadBare(std::size_t& at) {
    Token token{"", {at, at}, false};
    while (at < m_text.size() && !IsBlank(m_text.at(at)) && m_text.at(at) != ';' &&
           m_text.at(at) != '{') {
      token.word += m_text.at(at++);
    }
    token.span.end = at;
    m_tokens.push_back(token);
  }

  bool IsSign(std::size_t token, const char* sign) const {
    return token < m_tokens.size() && !m_tokens.at(token).quoted && m_tokens.at(token).word == sign;
  }

  // Up to a '}' or the end.
  bool ReadNodes(std::vector<ReadNode>& nodes) {
    while (m_next < m_tokens.size() && !IsSign(m_next, "}")) {
      ReadNode node;
      node.begin = m_tokens.at(m_next).span.begin;
      while (m_next < m_tokens.size() && !IsSign(m_next, ";") && !IsSign(m_next, "{")) {
        if (IsSign(m_next, "}")) return false;
        node.words.push_back(m_tokens.at(m_next).word);
        node.spans.push_back(m_tokens.at(m_next).span);
        ++m_next;
      }
      if (m_next == m_tokens.size() || node.words.empty()) return false;
      node.is_block = IsSign(m_next++, "{");
      if (node.is_block) {
        if (!ReadNodes(node.children) || !IsSign(m_next, "}")) return false;
        ++m_next;
      }
      node.end = m_tokens.at(m_next - 1).span.end;
      nodes.push_back(std::move(node));
    }
    return true;
  }

  const std::string& m_text;
  std::vector<Token> m_tokens;
  std::size_t m_next = 0;
};

class ApacheReader {
 public:
  explicit ApacheReader(const std::string& text) : m_text(text) {}

  std::optional<std::vector<ReadNode>> Read() {
    CutIntoLines();
    std::vector<ReadNode> nodes;
    if (!ReadNodes(nodes, "")) return std::nullopt;
    return m_next == m_lines.size() ? std::make_optional(std::move(nodes)) : std::nullopt;
  }

 private:
  // With the lines that continue it; without blanks around it.
  void CutIntoLines() {
    std::size_t at = 0;
    while (at < m_text.size()) {
      const std::size_t begin = at;
      std::size_t end = begin;
      do {
        const std::size_t line_end = std::min(m_text.find('\n', at), m_text.size());
        end = line_end;
        if (end > begin && m_text.at(end - 1) == '\r') --end;
        at = std::min(line_end + 1, m_text.size());
      } while (end > begin && m_text.at(end - 1) == '\\' && at < m_text.size());
      Span line{begin, end};
      while (line.begin < line.end && IsBlank(m_text.at(line.begin))) ++line.begin;
      while (line.begin < line.end && IsBlank(m_text.at(line.end - 1))) --line.end;
      if (line.begin < line.end && m_text.at(line.begin) != '#') m_lines.push_back(line);
    }
  }

  bool StartsWith(const Span& line, std::string_view start) const {
    return std::string_view(m_text).substr(line.begin, start.size()) == start;
  }

  bool ReadNodes(std::vector<ReadNode>& nodes, const std::string& section) {
    for (; m_next < m_lines.size(); ++m_next) {
      const Span line = m_lines.at(m_next);
      if (StartsWith(line, "</")) return ClosedSection(line) == Lower(section) && !section.empty();
      ReadNode node;
      node.begin = line.begin;
      node.end = line.end;
      if (StartsWith(line, "<")) {
        if (m_text.at(line.end - 1) != '>') return false;
        node.is_block = true;
        if (!ReadWords({line.begin + 1, line.end - 1}, node)) return false;
        ++m_next;
        if (!ReadNodes(node.children, node.words.at(0)) || m_next == m_lines.size()) return false;
        node.end = m_lines.at(m_next).end;
      } else if (!ReadWords(line, node)) {
        return false;
      }
      nodes.push_back(std::move(node));
    }
    return section.empty();
  }

  std::string ClosedSection(const Span& line) const {
    std::string name = m_text.substr(line.begin + 2, line.end - line.begin - 2);
    if (name.empty() || name.back() != '>') return "?";
    name.pop_back();
    while (!name.empty() && IsBlank(name.back())) name.pop_back();
    return Lower(name);
  }

  // A backslash at the end of a line and the line end separate words no more than they join them.
  bool IsContinuation(std::size_t at) const {
    return m_text.at(at) == '\\' && at + 1 < m_text.size() &&
           (m_text.at(at + 1) == '\n' || m_text.compare(at + 1, 2, "\r\n") == 0);
  }

  bool ReadWords(const Span& line, ReadNode& node) const {
    std::size_t at = line.begin;
    while (at < line.end) {
      if (IsBlank(m_text.at(at)) || IsContinuation(at)) {
        ++at;
        continue;
      }
      const char quote = m_text.at(at) == '"' || m_text.at(at) == '\'' ? m_text.at(at) : '\0';
      const std::size_t begin = at;
      std::string word;
      if (quote != '\0') {
        for (++at; at < line.end && m_text.at(at) != quote; ++at) word += m_text.at(at);
        if (at >= line.end) return false;
        ++at;
      } else {
        while (at < line.end && !IsBlank(m_text.at(at)) && !IsContinuation(at)) {
          word += m_text.at(at++);
        }
      }
      node.words.push_back(word);
      node.spans.push_back({begin, at});
    }
    return !node.words.empty();
  }

  const std::string& m_text;
  std::vector<Span> m_lines;
  std::size_t m_next = 0;
};

}  // namespace

std::optional<std::vector<ReadNode>> PlainRead(Dialect dialect, const std::string& text) {
  return dialect == Dialect::kNginx ? NginxReader(text).Read() : ApacheReader(text).Read();
}

}  // namespace alike
