// SPDX-License-Identifier: Apache-2.0

#include "update/server_warnings.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <sstream>
#include <string_view>

namespace tov_update {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

constexpr std::size_t kOne = 1;
constexpr char kDigits[] = "0123456789";

// How many digits `text` begins with.
std::size_t DigitsAt(std::string_view text) {
  return std::min(text.find_first_not_of(kDigits), text.size());
}

// What stands behind the first `mark`; "" where there is none.
std::string_view Behind(std::string_view text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  return at == kNowhere ? std::string_view() : text.substr(at + mark.size());
}

// Without the "7#7: " of nginx.
std::string_view WithoutProcess(std::string_view text) {
  const std::size_t process = DigitsAt(text);
  if (process == 0 || text.substr(process, 1) != "#") return text;
  const std::string_view rest = text.substr(process + 1);
  const std::size_t thread = DigitsAt(rest);
  return rest.substr(thread, 2) == ": " ? rest.substr(thread + 2) : text;
}

// Without the "[pid 7:tid 7] " of httpd, and the like.
std::string_view WithoutBrackets(std::string_view text) {
  while (text.substr(0, 1) == "[" && text.find("] ") != kNowhere) text = Behind(text, "] ");
  return text;
}

// From the number on that httpd gives each of its messages; "" where there is none.
std::string_view NumberedMessage(std::string_view line) {
  constexpr std::size_t kMessageDigits = 5;
  for (std::size_t at = line.find("AH"); at != kNowhere; at = line.find("AH", at + 1)) {
    const std::string_view number = line.substr(at + 2);
    if (DigitsAt(number) == kMessageDigits && number.substr(kMessageDigits, 2) == ": ") {
      return line.substr(at);
    }
  }
  return {};
}

// The server's words; "" when the line is no warning.
std::string_view WarningIn(std::string_view line) {
  const std::string_view of_nginx = Behind(line, "[warn] ");
  if (!of_nginx.empty()) return WithoutProcess(of_nginx);
  const std::string_view of_httpd = NumberedMessage(line);
  return of_httpd.empty() ? WithoutBrackets(Behind(line, ":warn] ")) : of_httpd;
}

std::vector<std::string> WarningsIn(const std::string& output) {
  std::vector<std::string> warnings;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const std::string_view warning = WarningIn(line);
    if (!warning.empty()) warnings.emplace_back(warning);
  }
  return warnings;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Whether a number behind `text` is one of a line: "... line ", "... /etc/nginx/site.conf:".
bool AnnouncesLine(std::string_view text) {
  return EndsWith(text, " line ") || (EndsWith(text, ":") && text.find(" /") != kNowhere);
}

std::string WithoutLineNumbers(std::string_view warning) {
  std::string kept;
  while (!warning.empty()) {
    const std::size_t digits = DigitsAt(warning);
    if (digits == 0 || !AnnouncesLine(kept)) kept += warning.substr(0, std::max(digits, kOne));
    warning.remove_prefix(std::max(digits, kOne));
  }
  return kept;
}

// Those of `warnings` that `known` has not, both as `form` shows them. Each of `known` stands for
// one of them, and goes with it.
template <typename Form>
std::vector<std::string> Left(std::multiset<std::string>& known,
                              const std::vector<std::string>& warnings, const Form& form) {
  std::vector<std::string> left;
  for (const std::string& warning : warnings) {
    const auto same = known.find(form(warning));
    if (same == known.end()) {
      left.push_back(warning);
    } else {
      known.erase(same);
    }
  }
  return left;
}

}  // namespace

// Those that have not moved go first, so that of several alike the right one is left.
std::vector<std::string> NewServerWarnings(const std::string& before, const std::string& after) {
  const std::vector<std::string> known = WarningsIn(before);
  std::multiset<std::string> as_they_are(known.begin(), known.end());
  const std::vector<std::string> others =
      Left(as_they_are, WarningsIn(after), [](const std::string& warning) { return warning; });
  std::multiset<std::string> without_lines;
  for (const std::string& warning : as_they_are) without_lines.insert(WithoutLineNumbers(warning));
  return Left(without_lines, others, WithoutLineNumbers);
}

}  // namespace tov_update
