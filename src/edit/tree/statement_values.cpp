// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/statement_values.h"

#include <algorithm>
#include <cstddef>

#include "edit/tree/authored_line.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

using Texts = std::map<std::string, std::string>;

// A place that has a value, in the text of a statement.
struct Filled {
  Place place;
  const std::string* value = nullptr;
};

// What stands between the delimiters of a statement.
std::string_view ContentOf(std::string_view line) {
  line = str::view::Trim(line);
  line.remove_prefix(std::min<std::size_t>(2, line.size()));
  return line.substr(0, line.find("%}"));
}

std::vector<Filled> FilledPlaces(std::string_view content, const Texts& values) {
  std::vector<Filled> filled;
  for (const Place& place : PlacesIn(content)) {
    const auto known = values.find(place.name);
    if (place.trailing && place.is_value && known != values.end()) {
      filled.push_back({place, &known->second});
    }
  }
  return filled;
}

bool IsBlankOrControl(char byte) {
  return static_cast<unsigned char>(byte) <= 0x20 || byte == 0x7f;
}

bool IsOperand(const std::string& value) {
  return !value.empty() && value != "and" && value != "or" &&
         std::string_view("$\"'").find(value.front()) == std::string_view::npos &&
         value.find("\"\"") == std::string::npos &&  // nothing, wherever it stands
         std::none_of(value.begin(), value.end(), IsBlankOrControl);
}

bool IsPathPart(const std::string& value) {
  const auto is_odd = [](char byte) { return byte != ' ' && IsBlankOrControl(byte); };
  return !value.empty() && value.front() != ' ' && value.back() != ' ' &&
         std::none_of(value.begin(), value.end(), is_odd);
}

// How often the path goes up, with the values of the places that `is_real` says, and a letter in
// the others.
template <class IsReal>
std::ptrdiff_t CountUpwards(std::string_view content, const std::vector<Filled>& places,
                            const IsReal& is_real) {
  std::string path;
  std::size_t at = 0;
  for (const Filled& filled : places) {
    path += content.substr(at, filled.place.begin - at);
    path += is_real(filled) ? *filled.value : "x";
    at = filled.place.end;
  }
  path += content.substr(at);
  std::string_view rest = str::view::Trim(path);
  str::view::GetWord(rest);  // the keyword
  std::ptrdiff_t count = 0;
  while (!rest.empty()) {
    if (str::view::Trim(str::view::GetWord(rest, '/')) == "..") ++count;
  }
  return count;
}

}  // namespace

std::vector<std::string> OddOperands(std::string_view line, const Texts& values) {
  std::vector<std::string> odd;
  for (const Filled& filled : FilledPlaces(ContentOf(line), values)) {
    if (!IsOperand(*filled.value)) odd.push_back(filled.place.name);
  }
  return odd;
}

std::vector<std::string> OddPathParts(std::string_view line, const Texts& values) {
  const std::string_view content = ContentOf(line);
  const std::vector<Filled> places = FilledPlaces(content, values);
  const auto upwards = [&](const auto& is_real) { return CountUpwards(content, places, is_real); };
  const std::ptrdiff_t meant = upwards([](const Filled&) { return false; });
  std::vector<std::string> odd;
  std::vector<std::string> all;
  for (const Filled& filled : places) {
    const auto is_this = [&](const Filled& other) { return &other == &filled; };
    if (!IsPathPart(*filled.value) || upwards(is_this) != meant) odd.push_back(filled.place.name);
    all.push_back(filled.place.name);
  }
  const bool together = upwards([](const Filled&) { return true; }) != meant;
  return odd.empty() && together ? all : odd;
}

}  // namespace tov_edit
