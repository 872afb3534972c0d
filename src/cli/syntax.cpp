// SPDX-License-Identifier: Apache-2.0

#include "cli/syntax.h"

#include <algorithm>

#include "cli/text.h"
#include "template/framework/str.h"
#include "template/framework/test.h"

namespace cli {
namespace {

enum class Kind { kBlank, kText, kQuoted, kEnd, kOpen, kClose, kComment };

// Tells the characters of nginx configuration apart as nginx does: quotes and comments begin only
// where a word begins, a "}" closes a block only there, "${" belongs to a variable.
class NginxScanner {
 public:
  Kind Next(char c) {
    if (m_comment) return InComment(c);
    if (m_escaped) {
      m_escaped = false;
      return m_quote == '\0' ? Kind::kText : Kind::kQuoted;
    }
    if (m_quote != '\0') return InQuotes(c);
    if (str::IsBlank(c)) {
      m_in_word = false;
      m_dollar = false;
      return Kind::kBlank;
    }
    return m_in_word ? InWord(c) : AtWord(c);
  }

  bool InQuotes() const { return m_quote != '\0'; }

 private:
  Kind InComment(char c) {
    if (c != '\n') return Kind::kComment;
    m_comment = false;
    return Kind::kBlank;
  }

  Kind InQuotes(char c) {
    m_escaped = c == '\\';
    if (c == m_quote) m_quote = '\0';
    return Kind::kQuoted;
  }

  Kind AtWord(char c) {
    if (c == '}') return Kind::kClose;
    if (c == '#') {
      m_comment = true;
      return Kind::kComment;
    }
    if (c == '"' || c == '\'') {
      m_quote = c;
      m_in_word = true;
      return Kind::kQuoted;
    }
    return InWord(c);
  }

  Kind InWord(char c) {
    const bool variable = m_dollar && c == '{';
    m_dollar = c == '$';
    m_in_word = variable || (c != ';' && c != '{');
    m_escaped = c == '\\';
    if (c == ';') return Kind::kEnd;
    return c == '{' && !variable ? Kind::kOpen : Kind::kText;
  }

  char m_quote = '\0';
  bool m_escaped = false;
  bool m_comment = false;
  bool m_in_word = false;
  bool m_dollar = false;
};

// The kinds of the characters of `line`.
std::vector<Kind> Kinds(std::string_view line) {
  NginxScanner scanner;
  std::vector<Kind> kinds;
  kinds.reserve(line.size());
  for (const char c : line) kinds.push_back(scanner.Next(c));
  return kinds;
}

// Those of a line of Apache, which are blanks, text, and what stands between quotes.
std::vector<Kind> ApacheKinds(std::string_view line) {
  std::vector<Kind> kinds;
  kinds.reserve(line.size());
  char quote = '\0';
  for (const char c : line) {
    if (quote == '\0' && str::IsBlank(c)) {
      kinds.push_back(Kind::kBlank);
      continue;
    }
    const bool quotes = quote == '\0' ? c == '"' || c == '\'' : c == quote;
    kinds.push_back(quote != '\0' || quotes ? Kind::kQuoted : Kind::kText);
    if (quotes) quote = quote == '\0' ? c : '\0';
  }
  return kinds;
}

// `text` with each run of blanks as one; those between quotes stay.
std::string WithSingleBlanks(std::string_view text) {
  const std::vector<Kind> kinds = ApacheKinds(text);
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kinds[i] != Kind::kBlank) {
      result += text[i];
    } else if (i == 0 || kinds[i - 1] != Kind::kBlank) {
      result += ' ';
    }
  }
  return result;
}

std::string NginxNormalForm(std::string_view line) {
  const std::vector<Kind> kinds = Kinds(line);
  std::string result;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const bool after_blank = !result.empty() && result.back() == ' ';
    switch (kinds[i]) {
      case Kind::kComment:
        return std::string(str::view::Trim(result));
      case Kind::kBlank:
        if (!after_blank) result += ' ';
        break;
      case Kind::kEnd:
        if (after_blank) result.pop_back();
        result += line[i];
        break;
      case Kind::kOpen:
        if (!after_blank) result += ' ';
        result += line[i];
        break;
      default:
        result += line[i];
    }
  }
  return std::string(str::view::Trim(result));
}

// A word of a line and the blanks before it; what ends a directive or opens a block is no part of
// the word before it.
struct Word {
  std::string_view blanks;
  std::string_view text;
  bool is_mark = false;
};

std::vector<Word> WordsOf(Syntax syntax, std::string_view line) {
  const std::vector<Kind> kinds = syntax == Syntax::kNginx ? Kinds(line) : ApacheKinds(line);
  const auto is_mark = [&kinds](std::size_t i) {
    return kinds[i] == Kind::kEnd || kinds[i] == Kind::kOpen;
  };
  std::vector<Word> words;
  for (std::size_t i = 0; i < line.size();) {
    const std::size_t begin = i;
    while (i < line.size() && kinds[i] == Kind::kBlank) ++i;
    const std::size_t word = i;
    if (i < line.size() && is_mark(i)) {
      ++i;
    } else {
      while (i < line.size() && kinds[i] != Kind::kBlank && !is_mark(i)) ++i;
    }
    words.push_back(
        {line.substr(begin, word - begin), line.substr(word, i - word), i > word && is_mark(word)});
  }
  return words;
}

std::string NginxShape(std::string_view line) {
  NginxScanner scanner;
  std::string shape;
  for (const char c : line) {
    const Kind kind = scanner.Next(c);
    const bool shapes = kind == Kind::kEnd || kind == Kind::kOpen || kind == Kind::kClose;
    if (shapes) shape += c;
    if (kind == Kind::kComment && (shape.empty() || shape.back() != '#')) shape += '#';
  }
  return scanner.InQuotes() ? shape + '"' : shape;
}

std::string ApacheShape(std::string_view line) {
  const std::string_view text = str::view::Trim(line);
  std::string shape;
  if (str::view::StartsWith(text, "</")) {
    shape = "</";
  } else if (str::view::StartsWith(text, "<") || str::view::StartsWith(text, "#")) {
    shape = text.front();
  }
  if (!text.empty() && text.back() == '\\') shape += '\\';
  return shape;
}

// The name of the tag in `line`, which begins with `skip` characters that do not belong to it; in
// lower case.
std::string TagName(std::string_view line, std::size_t skip) {
  const std::string_view rest = str::view::Trim(line).substr(skip);
  std::string name(rest.substr(0, rest.find_first_of(" \t>")));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return name;
}

std::optional<std::size_t> FirstOpen(const std::vector<std::size_t>& open) {
  return open.empty() ? std::nullopt : std::optional(open.front());
}

std::optional<std::size_t> NginxUnbalanced(const std::vector<std::string_view>& lines) {
  NginxScanner scanner;
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    for (const char c : lines[i]) {
      const Kind kind = scanner.Next(c);
      if (kind == Kind::kOpen) open.push_back(i);
      if (kind != Kind::kClose) continue;
      if (open.empty()) return i;
      open.pop_back();
    }
    scanner.Next('\n');
  }
  return FirstOpen(open);
}

std::optional<std::size_t> ApacheUnbalanced(const std::vector<std::string_view>& lines) {
  std::vector<std::size_t> open;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string shape = ApacheShape(lines[i]).substr(0, 2);
    if (shape == "</") {
      if (open.empty() || names.back() != TagName(lines[i], 2)) return i;
      open.pop_back();
      names.pop_back();
    } else if (str::view::StartsWith(shape, "<")) {
      open.push_back(i);
      names.push_back(TagName(lines[i], 1));
    }
  }
  return FirstOpen(open);
}

}  // namespace

Syntax SyntaxOf(const std::string& dialect) {
  return dialect == "apache" ? Syntax::kApache : Syntax::kNginx;
}

std::string_view TrailingComment(Syntax syntax, std::string_view line) {
  if (syntax == Syntax::kApache) return {};
  const std::vector<Kind> kinds = Kinds(line);
  const auto comment = std::find(kinds.begin(), kinds.end(), Kind::kComment);
  const std::string_view before =
      TrimmedEnd(line.substr(0, static_cast<std::size_t>(comment - kinds.begin())));
  return str::view::Trim(before).empty() ? std::string_view() : line.substr(before.size());
}

std::string NormalForm(Syntax syntax, std::string_view line) {
  return syntax == Syntax::kNginx ? NginxNormalForm(line) : WithSingleBlanks(str::view::Trim(line));
}

std::string WithBlanksOf(Syntax syntax, std::string_view line, std::string_view model) {
  const std::vector<Word> words = WordsOf(syntax, str::view::Trim(line));
  const std::vector<Word> models = WordsOf(syntax, str::view::Trim(model));
  const auto is_mark = [](const Word& word) { return word.is_mark; };
  const auto first_mark = std::find_if(models.begin(), models.end(), is_mark);
  std::string result;
  bool marked = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const auto own = models.begin() + static_cast<std::ptrdiff_t>(std::min(i, models.size()));
    const auto like = words[i].is_mark ? first_mark : std::min(own, first_mark);
    // A mark close to the directive's name would belong to that for the library.
    const bool behind_name = words[i].is_mark && i == 1;
    const bool known =
        !marked && !behind_name && like != models.end() && like->is_mark == words[i].is_mark;
    result.append(known ? like->blanks : words[i].blanks).append(words[i].text);
    marked = marked || words[i].is_mark;
  }
  return NormalForm(syntax, result) == NormalForm(syntax, line)
             ? result
             : std::string(str::view::Trim(line));
}

std::string Shape(Syntax syntax, std::string_view line) {
  return syntax == Syntax::kNginx ? NginxShape(line) : ApacheShape(line);
}

bool HasMixedOptions(std::string_view line) {
  bool with_sign = false;
  bool without = false;
  std::string_view rest = str::view::Trim(line).substr(str::view::FirstWord(line).size());
  for (std::string_view word; !(word = str::view::FirstWord(rest)).empty();
       rest = str::view::Trim(rest).substr(word.size())) {
    (word.front() == '+' || word.front() == '-' ? with_sign : without) = true;
  }
  return with_sign && without;
}

std::string_view UnknownListenAddress(std::string_view line) {
  std::string_view rest = str::view::Trim(line);
  if (str::view::GetWord(rest) != "listen") return {};
  std::string_view word = str::view::FirstWord(rest);
  word = word.substr(0, word.find(';'));
  if (word.empty() || str::view::StartsWith(word, "unix:")) return {};
  const std::size_t colon = word.rfind(':');
  const std::string port(colon == std::string_view::npos ? word : word.substr(colon + 1));
  std::string host(colon == std::string_view::npos ? std::string_view() : word.substr(0, colon));
  if (!host.empty() && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  const bool understood =
      test::Numeric(port) && (colon == std::string_view::npos || test::Ip(host));
  return understood ? std::string_view() : word;
}

std::optional<std::size_t> FirstUnbalanced(Syntax syntax,
                                           const std::vector<std::string_view>& lines) {
  return syntax == Syntax::kNginx ? NginxUnbalanced(lines) : ApacheUnbalanced(lines);
}

}  // namespace cli
