// SPDX-License-Identifier: Apache-2.0

// The variables that Debian's script sets before it starts httpd.

#include <string_view>

#include "document/ascii.h"
#include "edit/tree/limits.h"
#include "server/file_text.h"
#include "server/server_files.h"

namespace tov_server {
namespace {

using Variables = std::map<std::string, std::string>;

constexpr std::string_view kBlanks = " \t\r";
constexpr std::size_t kNowhere = std::string_view::npos;

std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == kNowhere) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

bool IsOfName(char byte) {
  const char lower = tov_document::Lower(byte);
  return byte == '_' || (byte >= '0' && byte <= '9') || (lower >= 'a' && lower <= 'z');
}

std::size_t NameSize(std::string_view text) {
  std::size_t size = 0;
  while (size < text.size() && IsOfName(text[size])) ++size;
  return size;
}

// A word of the shell that stands at the begin of a text, without quotes and with its variables.
class Word {
 public:
  Word(std::string_view text, const Variables& variables) : m_text(text), m_variables(variables) {}

  std::string Value() {
    while (m_at < m_text.size() && Step()) ++m_at;
    return std::move(m_value);
  }

 private:
  // False: here the word ends.
  bool Step() {
    const char byte = m_text[m_at];
    if (m_quote == '\'') {
      if (byte == '\'') m_quote = '\0';
      if (byte != '\'') m_value += byte;
      return true;
    }
    if (byte == '"') {
      m_quote = m_quote == '"' ? '\0' : '"';
    } else if (byte == '\'' && m_quote == '\0') {
      m_quote = '\'';
    } else if (byte == '\\' && m_at + 1 < m_text.size()) {
      m_value += m_text[++m_at];
    } else if (byte == '$') {
      PutIn();
    } else if (m_quote == '\0' && std::string_view(" \t\r;&|#").find(byte) != kNowhere) {
      return false;
    } else {
      m_value += byte;
    }
    return true;
  }

  // "$NAME", "${NAME}"; of one with a condition, "${NAME:-text}", the text when there is no value.
  void PutIn() {
    const bool braces = m_text.substr(m_at + 1, 1) == "{";
    const std::size_t begin = m_at + (braces ? 2 : 1);
    const std::size_t size = NameSize(m_text.substr(begin));
    if (size == 0) {
      m_value += '$';
      return;
    }
    const auto known = m_variables.find(std::string(m_text.substr(begin, size)));
    const std::string value = known == m_variables.end() ? std::string() : known->second;
    m_value += value;
    m_at = begin + size - 1;
    if (!braces) return;
    const std::size_t end = m_text.find('}', m_at);
    std::string_view rest = m_text.substr(m_at + 1, end == kNowhere ? end : end - m_at - 1);
    if (value.empty() && rest.substr(0, 2) == ":-") m_value += rest.substr(2);
    m_at = end == kNowhere ? m_text.size() - 1 : end;
  }

  const std::string_view m_text;
  const Variables& m_variables;
  std::size_t m_at = 0;
  char m_quote = '\0';
  std::string m_value;
};

// "/etc/apache2-NAME" is the directory of a second server, whose files end with "-NAME".
std::string SuffixOf(const std::string& name) {
  const std::size_t slash = name.rfind('/');
  const std::string directory = slash == std::string::npos ? std::string() : name.substr(0, slash);
  constexpr std::string_view kBegin = "/etc/apache2-";
  return tov_document::Begins(directory, kBegin) ? directory.substr(kBegin.size() - 1)
                                                 : std::string();
}

class Script {
 public:
  explicit Script(Variables variables) : m_variables(std::move(variables)) {}

  void Take(std::string_view line) {
    line = Trimmed(line);
    if (First(line) == "if") ++m_conditions;
    if (First(line) == "fi" && m_conditions > 0) --m_conditions;
    if (m_conditions > 0) return;
    if (First(line) == "unset") {
      m_exported.erase(std::string(Trimmed(line.substr(std::string_view("unset").size()))));
      return;
    }
    const bool exported = First(line) == "export";
    if (exported) line = Trimmed(line.substr(std::string_view("export").size()));
    const std::size_t size = NameSize(line);
    if (size == 0) return;
    const std::string name(line.substr(0, size));
    if (line.substr(size, 1) == "=")
      m_variables[name] = Word(line.substr(size + 1), m_variables).Value();
    const auto known = m_variables.find(name);
    if (exported && known != m_variables.end()) m_exported[name] = known->second;
  }

  Variables Exported() && { return std::move(m_exported); }

 private:
  static std::string_view First(std::string_view line) {
    return line.substr(0, line.find_first_of(" \t;"));
  }

  Variables m_variables;
  Variables m_exported;
  std::size_t m_conditions = 0;  // in which the line stands; what is in them is not looked at
};

}  // namespace

Variables ReadEnvironment(const std::string& name) {
  const FileText file = ReadText(name, tov_edit::kMebibyte);
  Script script({{"SUFFIX", SuffixOf(name)}});
  std::string_view left = file.text;
  while (!left.empty()) {
    const std::size_t end = left.find('\n');
    script.Take(left.substr(0, end));
    left = end == kNowhere ? std::string_view() : left.substr(end + 1);
  }
  return std::move(script).Exported();
}

}  // namespace tov_server
