// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/server_stop.h"

#include <algorithm>

namespace nginx_judge {

using tov_document::Problem;
using tov_document::SyntaxError;

namespace {

// The message for an error that shows at a byte, or at the end of the text; "": it has no fixed
// one.
std::string UnexpectedOf(std::string_view text, const SyntaxError& error) {
  switch (error.problem) {
    case Problem::kNoDirective:
    case Problem::kBraceInDirective:
    case Problem::kBraceInValues:
    case Problem::kTextBehindQuote:
    case Problem::kExtraClosing:
      return "unexpected \"" + std::string(text.substr(error.at, 1)) + "\"";
    case Problem::kUnterminatedQuote:
    case Problem::kNoSemicolon:
      return "unexpected end of file, expecting \";\" or \"}\"";
    case Problem::kUnclosedBlock:
      return "unexpected end of file, expecting \"}\"";
    default:
      return "";
  }
}

bool ShowsAtEnd(Problem problem) {
  return problem == Problem::kUnterminatedQuote || problem == Problem::kNoSemicolon ||
         problem == Problem::kUnclosedBlock;
}

bool Begins(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

bool Ends(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool IsStopAt(const std::string& message, const std::string& file, std::string_view text,
              const SyntaxError& error) {
  const std::size_t pos = ShowsAtEnd(error.problem) ? text.size() : error.at;
  const std::string place = Somewhere(file, LineOf(text, pos));
  switch (error.problem) {
    case Problem::kTooLong:
      return Begins(message, "too long parameter") && Ends(message, place);
    case Problem::kUnclosedCode:
      // The module names several lines, none of which is that of the block's head for certain.
      return Begins(message, "Lua code block missing the closing long bracket") ||
             Begins(message, "unexpected end of file, expecting terminating characters for lua");
    default:
      return message == UnexpectedOf(text, error) + place;
  }
}

}  // namespace

std::size_t LineOf(std::string_view text, std::size_t pos) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(pos, text.size()));
  return 1 + static_cast<std::size_t>(std::count(text.begin(), end, '\n'));
}

std::string Somewhere(const std::string& file, std::size_t line) {
  return " in " + file + ":" + std::to_string(line);
}

std::string StopDifference(const std::string& message, const std::string& file,
                           std::string_view text, const SyntaxError& error) {
  if (IsStopAt(message, file, text, error)) return "";
  return "nginx stops at\n" + message + "\ninstead of line " +
         std::to_string(LineOf(text, error.at)) + ": " + Describe(error);
}

}  // namespace nginx_judge
