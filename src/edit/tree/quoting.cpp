// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/quoting.h"

#include <algorithm>
#include <vector>

namespace tov_edit {
namespace {

using tov_document::Document;

// What a backslash stands before that is more than two bytes to the server. nginx knows some
// escapes besides, in quotes of either kind.
bool IsEscape(Dialect dialect, char next, char quote) {
  if (next == '\\' || next == quote) return true;
  return dialect == Dialect::kNginx &&
         std::string_view("\"'trn").find(next) != std::string_view::npos;
}

// "": it stands as it is.
std::string_view EscapeOf(Dialect dialect, char byte) {
  if (dialect == Dialect::kApache) return "";
  switch (byte) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return "";
  }
}

bool IsNameByte(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '_';
}

}  // namespace

std::string Escaped(Dialect dialect, std::string_view text, char quote) {
  std::string escaped;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    const std::string_view other = EscapeOf(dialect, byte);
    const bool last = i + 1 == text.size();
    const bool doubled = byte == '\\' && (last || IsEscape(dialect, text[i + 1], quote) ||
                                          !EscapeOf(dialect, text[i + 1]).empty());
    if (byte == quote || doubled) escaped += '\\';
    if (other.empty()) {
      escaped += byte;
    } else {
      escaped += other;
    }
  }
  return escaped;
}

std::string InQuotes(Dialect dialect, const std::string& text) {
  const bool single = text.find('"') != std::string::npos && text.find('\'') == std::string::npos;
  const char quote = single ? '\'' : '"';
  return quote + Escaped(dialect, text, quote) + quote;
}

bool IsWordFor(Dialect dialect, const std::string& spelled, const std::string& meant) {
  if (spelled.empty()) return false;
  const bool quoted = spelled.front() == '"' || spelled.front() == '\'';
  const bool odd = spelled.front() == '#' || spelled.back() == '\\' ||
                   spelled.find_first_of("<>\n\r") != std::string::npos;
  if (!quoted && odd) return false;
  const std::string line = "x " + spelled + (dialect == Dialect::kNginx ? " y;" : " y");
  const Document document(dialect, line);
  if (document.error()) return false;
  const auto nodes = document.Nodes(tov_document::kWholeText);
  if (nodes.size() != 1 || nodes.front().kind != tov_document::NodeKind::kDirective) return false;
  const auto words = document.Words(nodes.front());
  return words.size() == 3 && words[1].bytes.size() == spelled.size() &&
         document.Value(words[1]) == meant && document.Value(words[2]) == "y";
}

bool HoldsUnwritable(Dialect dialect, std::string_view text) {
  return std::any_of(text.begin(), text.end(), [&](char byte) {
    const bool control = (static_cast<unsigned char>(byte) < 0x20 && byte != '\t') || byte == 0x7f;
    return control && EscapeOf(dialect, byte).empty();
  });
}

bool HoldsVariable(Dialect dialect, std::string_view before, std::string_view text,
                   std::string_view behind) {
  const bool nginx = dialect == Dialect::kNginx;
  if (!before.empty() && before.back() == '$' && !text.empty() && text.front() == '{') return true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '$') continue;
    const std::string_view rest = i + 1 < text.size() ? text.substr(i + 1) : behind;
    if (!rest.empty() && (rest.front() == '{' || (nginx && IsNameByte(rest.front())))) return true;
  }
  return false;
}

}  // namespace tov_edit
