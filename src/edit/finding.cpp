// SPDX-License-Identifier: Apache-2.0

#include "edit/finding.h"

#include "document/ascii.h"

namespace tov_edit {

std::string Shown(const FilePlace& place) {
  std::string text = Printable(place.file);
  if (place.line != 0) text += ":" + std::to_string(place.line);
  if (place.column != 0) text += ":" + std::to_string(place.column);
  return text;
}

const FilePlace& PlaceOf(const Finding& finding) {
  const bool in_config = finding.template_place.file.empty() && !finding.config_places.empty();
  return in_config ? finding.config_places.front() : finding.template_place;
}

std::string Shown(const Finding& finding) {
  std::string text = Shown(PlaceOf(finding));
  if (finding.in_result) text += " of the edited text";
  text += (text.empty() ? "" : ": ") + finding.message;
  if (!finding.hint.empty()) text += ". " + finding.hint;
  return Printable(text);
}

std::string Printable(std::string_view text) {
  std::string result(text);
  for (char& byte : result) {
    const auto code = static_cast<unsigned char>(byte);
    if ((code < 0x20 && byte != '\t') || code == 0x7f) byte = '?';
  }
  return result;
}

std::string Quoted(std::string_view text) {
  constexpr std::size_t kMost = 100;
  constexpr std::string_view kBlanks = " \t\r\n\v\f";
  std::string line;
  for (std::size_t at = 0; line.size() <= kMost;) {
    at = text.find_first_not_of(kBlanks, at);
    if (at == std::string_view::npos) break;
    const std::size_t end = text.find_first_of(kBlanks, at);
    if (!line.empty()) line += ' ';
    line += text.substr(at, end - at);
    at = end;
    if (at == std::string_view::npos) break;
  }
  const bool cut = line.size() > kMost;
  return "'" + Printable(std::string_view(line).substr(0, kMost)) + (cut ? "...'" : "'");
}

const std::vector<FindingKind> kForcedRefusals = {
    {"unmatched-section", "a block of the template is not there, and is not new"},
    {"other-value", "a directive that may stand only once has another value"},
    {"collision", "two servers would be in each other's way, or two locations would be one"},
    {"mixed-options", "Options words that httpd does not take together"},
    {"unused-value", "no line of the template uses a value"},
    {"syntax", "the server would not take the configuration"},
};

const std::vector<FindingKind> kFirmRefusals = {
    {"ambiguous", "several blocks, or directives, fit what the template says"},
    {"exists", "a block is there already, and only new ones are to be made"},
    {"not-found", "what is to be removed is not there"},
    {"missing-value", "a value is missing without which a block cannot be found"},
    {"old-value", "an old value that the configuration is to say is not there, or not clear"},
    {"value", "a value does not stay in its place: it makes more words, or fewer"},
    {"import", "a file that the template imports is not there, or comes twice"},
    {"template", "the template cannot be carried out as it is written"},
    {"no-file", "a block is in no file of a server, and none is said in which to make it"},
    {"included", "what is to change has other files of a server read"},
    {"limit", "something is larger, or nests deeper, than an edit takes"},
};

const std::vector<FindingKind> kEditWarnings = {
    {"missing-value", "a value of a template line is missing: the line does nothing"},
    {"not-removed", "a block stays that was perhaps meant to go"},
    {"second-line", "a line is added beside one of the same directive"},
};

}  // namespace tov_edit
