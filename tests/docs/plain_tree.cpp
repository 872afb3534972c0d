// SPDX-License-Identifier: Apache-2.0

#include "docs/plain_tree.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <stdexcept>

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

struct Token {
  enum class Kind { kWord, kComment, kEnd, kOpen, kClose };
  Kind kind = Kind::kEnd;
  std::size_t begin = 0;
  std::size_t end = 0;
};

std::vector<Token> TokensOfNginx(const std::string& text) {
  std::vector<Token> tokens;
  const auto end_of_word = [&](std::size_t at) {
    if (text[at] == '"' || text[at] == '\'') {
      const char quote = text[at++];
      while (at < text.size() && text[at] != quote) at += text[at] == '\\' ? 2U : 1U;
      return std::min(at + 1, text.size());
    }
    while (at < text.size() && !IsBlank(text[at]) && text[at] != ';' && text[at] != '{') {
      at += text[at] == '\\' ? 2U : 1U;
    }
    return std::min(at, text.size());
  };
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    Token token{Token::Kind::kWord, at, at + 1};
    if (IsBlank(c)) {
      ++at;
      continue;
    }
    if (c == '#') {
      token.kind = Token::Kind::kComment;
      token.end = std::min(text.find('\n', at), text.size());
    } else if (c == ';') {
      token.kind = Token::Kind::kEnd;
    } else if (c == '{') {
      token.kind = Token::Kind::kOpen;
    } else if (c == '}') {
      token.kind = Token::Kind::kClose;
    } else {
      token.end = end_of_word(at);
    }
    at = token.end;
    tokens.push_back(token);
  }
  return tokens;
}

// The end of the line at `at`, with the lines that it goes on in.
std::size_t EndOfApacheLine(const std::string& text, std::size_t at) {
  for (std::size_t end = at;; ++end) {
    end = std::min(text.find('\n', end), text.size());
    if (end == text.size() || end == at || text[end - 1] != '\\') return end;
  }
}

// The words of one directive, with what stands in quotes as one.
std::vector<std::string> WordsOfApache(const std::string& line) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < line.size();) {
    const bool goes_on = line[at] == '\\' && at + 1 < line.size() && line[at + 1] == '\n';
    if (IsBlank(line[at]) || goes_on) {
      at += goes_on ? 2U : 1U;
      continue;
    }
    const std::size_t begin = at;
    const bool quoted = line[at] == '"';
    if (quoted) at = line.find('"', at + 1);
    while (at < line.size() && !IsBlank(line[at])) ++at;
    words.push_back(line.substr(begin, std::min(at, line.size()) - begin));
  }
  return words;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string InSmallLetters(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

class TreeReader {
 public:
  explicit TreeReader(const std::string& text) : m_text(text) {}

  std::vector<PlainNode> OfNginx() {
    std::vector<Token> words;
    for (const Token& token : TokensOfNginx(m_text)) {
      switch (token.kind) {
        case Token::Kind::kComment:
          Add(Bytes(token.begin, token.end), token.begin, token.end);
          break;
        case Token::Kind::kWord:
          words.push_back(token);
          break;
        case Token::Kind::kClose:
          Close();
          break;
        case Token::Kind::kEnd:
        case Token::Kind::kOpen:
          if (words.empty()) throw std::runtime_error("a directive without a name");
          Add(WordsOf(words), words.front().begin, token.end);
          if (token.kind == Token::Kind::kOpen) m_open.push_back(WordsOf(words));
          words.clear();
          break;
      }
    }
    return Finished();
  }

  std::vector<PlainNode> OfApache() {
    for (std::size_t at = 0; at < m_text.size();) {
      if (IsBlank(m_text[at])) {
        ++at;
        continue;
      }
      const std::size_t end = EndOfApacheLine(m_text, at);
      TakeApacheLine(at, end);
      at = end;
    }
    return Finished();
  }

 private:
  std::string Bytes(std::size_t begin, std::size_t end) const {
    return m_text.substr(begin, end - begin);
  }

  std::string WordsOf(const std::vector<Token>& tokens) const {
    std::vector<std::string> words;
    words.reserve(tokens.size());
    for (const Token& token : tokens) words.push_back(Bytes(token.begin, token.end));
    return Joined(words);
  }

  void TakeApacheLine(std::size_t begin, std::size_t end) {
    const std::string line = Bytes(begin, end);
    if (line[0] == '#') return Add(line, begin, end);
    if (line.compare(0, 2, "</") == 0) return Close();
    const bool opens = line[0] == '<';
    const std::size_t last = opens ? line.rfind('>') : line.size();
    std::vector<std::string> words = WordsOfApache(line.substr(0, last));
    words.front() = InSmallLetters(words.front());
    Add(Joined(words), begin, end);
    if (opens) m_open.push_back(Joined(words));
  }

  void Add(const std::string& words, std::size_t begin, std::size_t end) {
    std::string path;
    for (const std::string& opening : m_open) path += (path.empty() ? "" : " > ") + opening;
    m_nodes.push_back({path, m_open.size(), words, Bytes(begin, end)});
  }

  void Close() {
    if (m_open.empty()) throw std::runtime_error("nothing is open here");
    m_open.pop_back();
  }

  std::vector<PlainNode> Finished() {
    if (!m_open.empty()) throw std::runtime_error("nothing closes '" + m_open.back() + "'");
    return m_nodes;
  }

  const std::string& m_text;
  std::vector<std::string> m_open;
  std::vector<PlainNode> m_nodes;
};

// The sorted lines of the nodes from `at` on that are at least `depth` deep; `at` moves behind
// them.
std::string SortedFrom(const std::vector<PlainNode>& nodes, std::size_t& at, std::size_t depth) {
  std::vector<std::string> parts;
  while (at < nodes.size() && nodes[at].depth >= depth) {
    std::string part = std::string(2 * depth, ' ') + nodes[at].words + "\n";
    ++at;
    part += SortedFrom(nodes, at, depth + 1);
    parts.push_back(part);
  }
  std::sort(parts.begin(), parts.end());
  std::string text;
  for (const std::string& part : parts) text += part;
  return text;
}

}  // namespace

std::vector<PlainNode> ReadPlainTree(const std::string& dialect, const std::string& text) {
  TreeReader reader(text);
  return dialect == "nginx" ? reader.OfNginx() : reader.OfApache();
}

std::string Meaning(const std::string& dialect, const std::string& text) {
  std::size_t at = 0;
  return SortedFrom(ReadPlainTree(dialect, text), at, 0);
}
