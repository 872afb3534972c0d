// SPDX-License-Identifier: Apache-2.0

#include "adopt/proof.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "document/places.h"

namespace tov_adopt {
namespace {

using tov_edit::FilePlace;
using tov_edit::Finding;
using tov_edit::Result;

bool IsNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// Another text of the same kind for the value with this number, which stands nowhere.
std::string OtherText(const Value& value, std::size_t number) {
  const std::string own = std::to_string(number);
  const std::string& text = value.text;
  if (IsNumber(text)) return std::to_string(64000 + number % 1000);
  const bool is_v4 = text.find_first_not_of("0123456789.") == std::string::npos &&
                     std::count(text.begin(), text.end(), '.') == 3;
  if (is_v4) return "192.0.2." + std::to_string(1 + number % 250);
  if (text.front() == '[') return "[2001:db8::" + own + ']';
  if (text.front() == '/') return "/adopted/" + own;
  if (text.find("://") != std::string::npos) return "http://adopted" + own + ".example:8080";
  return "adopted" + own + ".example";
}

// As many different words as the value has, which begin with `text`.
std::vector<std::string> ListWords(const Value& value, const std::string& text) {
  if (!value.list) return {text};
  const auto blanks = std::count(value.text.begin(), value.text.end(), ' ');
  std::vector<std::string> words;
  for (auto i = decltype(blanks){0}; i <= blanks; ++i) words.push_back(text + std::to_string(i));
  return words;
}

// One text in the place of another.
struct Patch {
  Span source;
  std::string text;
};
using Patches = std::map<std::uint32_t, Patch>;  // by where they begin

// Those of the values in a line.
void AddPatches(const Line& line, const std::map<std::size_t, std::vector<std::string>>& texts,
                Patches& patches) {
  for (std::size_t i = 0; i < line.words.size() && i < line.trailing_from; ++i) {
    for (const Part& part : line.words[i].parts) {
      const auto words = texts.find(part.value);
      if (words == texts.end()) continue;
      patches[part.source.begin] = {part.source, words->second.front()};
    }
  }
  const auto words = texts.find(line.trailing_value);
  if (line.trailing_from == kNone || words == texts.end()) return;
  for (std::size_t i = line.trailing_from; i < line.words.size(); ++i) {
    const Span bytes = line.words[i].bytes;
    patches[bytes.begin] = {bytes, words->second.at(i - line.trailing_from)};
  }
}

}  // namespace

tov_edit::Request RequestFor(Dialect dialect, const WrittenTemplate& written,
                             const std::vector<Value>& values) {
  tov_edit::Request request;
  request.dialect = dialect;
  request.template_name = "(adopted)";
  request.template_text = written.text;
  for (const Value& value : values) {
    request.values[value.name] = {value.text, value.other.value_or(value.text)};
  }
  return request;
}

bool Proof::Carry() {
  // A line or a place goes each time that one of them does not hold.
  for (;;) {
    const bool any = std::any_of(m_lines.all.begin(), m_lines.all.end(),
                                 [](const Line& line) { return line.kept && !line.around; });
    if (!any || !refusals.empty()) break;
    if (LeavesAlone() && FollowsValues()) return true;
  }
  if (refusals.empty()) std::swap(refusals, left_out);
  if (refusals.empty()) {
    refusals.push_back({"site", "nothing of it can be a template", "", {}, {{m_name, 0, 0}}});
  }
  return false;
}

// Whether an edit with the values as they are changes nothing.
bool Proof::LeavesAlone() {
  const WrittenTemplate written = Write(m_document.dialect(), m_lines, m_values, false);
  const tov_edit::Request request = RequestFor(m_document.dialect(), written, m_values);
  const Result result = Edit(request, m_document.text(), m_name);
  if (!result.refusals.empty()) return TakeOutRefused(result, written);
  if (!result.changed) return true;
  std::set<std::size_t> culprits;
  for (const tov_edit::Change& change : result.changes) {
    for (const FilePlace& place : change.template_lines) {
      culprits.insert(written.lines.at(place.line - 1));
    }
  }
  culprits.erase(kNone);
  for (const std::size_t line : culprits) {
    LeaveOut(line, "an edit would change this line, or put another one beside it");
  }
  if (culprits.empty()) refusals.push_back({"site", "an edit with the template changes the text"});
  return false;
}

// Takes out what the refusals are about. False always.
bool Proof::TakeOutRefused(const Result& result, const WrittenTemplate& written) {
  std::set<std::size_t> taken;
  for (const Finding& refusal : result.refusals) {
    const std::size_t at = refusal.template_place.line;
    const std::size_t line = at == 0 || at > written.lines.size() ? kNone : written.lines[at - 1];
    if (line == kNone) {
      refusals.push_back(refusal);
      continue;
    }
    if (!taken.insert(line).second) continue;
    LeaveOut(line, refusal.message);
  }
  return false;
}

// Whether other values change what they are to change, and nothing else.
bool Proof::FollowsValues() {
  std::vector<std::size_t> all;
  for (std::size_t i = 0; i < m_values.size(); ++i) {
    if (m_values[i].used && !m_values[i].text.empty()) all.push_back(i);
  }
  std::string why;
  std::size_t culprit = kNone;
  if (all.empty() || Follows(all, why, culprit)) return true;
  for (const std::size_t value : all) {
    if (Follows({value}, why, culprit)) continue;
    const bool of_table = !m_values[value].given && m_values[value].name != "name";
    if (of_table || culprit == kNone) {
      TakeOut(value, m_document, m_lines);
      m_values[value].used = false;
    } else {
      LeaveOut(culprit, why);
    }
    return false;
  }
  // Only all of them together do not hold: fewer of them do.
  TakeOut(all.back(), m_document, m_lines);
  m_values[all.back()].used = false;
  return false;
}

bool Proof::Follows(const std::vector<std::size_t>& values, std::string& why,
                    std::size_t& culprit) {
  const WrittenTemplate written = Write(m_document.dialect(), m_lines, m_values, false);
  tov_edit::Request request = RequestFor(m_document.dialect(), written, m_values);
  const Expected expected = ExpectedWith(values);
  for (const auto& [name, value] : expected.values) request.values[name] = value;
  const Result result = Edit(request, m_document.text(), m_name);
  culprit = kNone;
  if (!result.refusals.empty()) {
    why = "with another value it is refused: " + result.refusals.front().message;
    const std::size_t at = result.refusals.front().template_place.line;
    if (at != 0 && at <= written.lines.size()) culprit = written.lines[at - 1];
    return false;
  }
  if (result.text != expected.text) {
    why = "with another value more than the value would change, or less";
    culprit = CulpritOf(result, written);
    return false;
  }
  for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
  const Result back = Edit(request, result.text, m_name);
  if (back.text == m_document.text()) return true;
  why = "another value could not be taken back";
  return false;
}

Proof::Expected Proof::ExpectedWith(const std::vector<std::size_t>& values) const {
  Expected expected;
  std::map<std::size_t, std::vector<std::string>> texts;  // by values: their words
  for (const std::size_t value : values) {
    texts[value] = ListWords(m_values[value], OtherText(m_values[value], value));
    std::string all;
    for (const std::string& word : texts[value]) (all += all.empty() ? "" : " ") += word;
    expected.values[m_values[value].name] = {m_values[value].text, all};
  }
  Patches patches;
  for (const Line& line : m_lines.all) {
    if (line.kept) AddPatches(line, texts, patches);
  }
  std::uint32_t from = 0;
  for (const auto& [begin, patch] : patches) {
    expected.text.append(m_document.Bytes({from, begin})).append(patch.text);
    from = patch.source.end;
  }
  expected.text.append(m_document.text().substr(from));
  return expected;
}

// The template's line for the first change that should not be; kNone: none is known.
std::size_t Proof::CulpritOf(const Result& result, const WrittenTemplate& written) const {
  const tov_document::Places places(m_document.text());
  for (const tov_edit::Change& change : result.changes) {
    for (const FilePlace& place : change.template_lines) {
      const std::size_t line = written.lines.at(place.line - 1);
      if (line == kNone || m_lines.all[line].is_server) continue;
      const std::size_t first = places.Of(m_lines.all[line].bytes.begin).line;
      if (change.count == 0 || first < change.line || first >= change.line + change.count) {
        return line;
      }
    }
  }
  return kNone;
}

void Proof::LeaveOut(std::size_t number, const std::string& reason) {
  Line& line = m_lines.all[number];
  if (!line.kept) return;
  for (std::size_t i = number; i < std::max(line.behind, number + 1); ++i) {
    m_lines.all[i].kept = false;
  }
  const tov_document::Places places(m_document.text());
  const auto place = places.Of(line.bytes.begin);
  Finding finding{"left-out",
                  tov_edit::Quoted(m_document.Bytes(line.bytes)) + " is left out: " + reason};
  finding.config_places.push_back({m_name, place.line, place.column});
  left_out.push_back(std::move(finding));
}

}  // namespace tov_adopt
