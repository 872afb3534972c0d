// SPDX-License-Identifier: Apache-2.0

#include "update/explained_output.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

namespace tov_update {
namespace {

using Place = std::pair<std::size_t, std::size_t>;  // file, line from 1

constexpr char kDigits[] = "0123456789";

std::optional<std::size_t> Number(const std::string& text) {
  constexpr std::size_t kMostDigits = 9;
  if (text.empty() || text.size() > kMostDigits) return std::nullopt;
  if (text.find_first_not_of(kDigits) != std::string::npos) return std::nullopt;
  return std::stoul(text);
}

std::optional<std::size_t> FileAt(const std::string& path, const std::vector<JudgedFile>& files) {
  for (std::size_t i = 0; i < files.size(); ++i) {
    std::error_code not_there;
    if (path == files[i].path || std::filesystem::equivalent(path, files[i].path, not_there)) {
      return i;
    }
  }
  return std::nullopt;
}

std::optional<Place> PlaceOf(const std::string& path, const std::string& line,
                             const std::vector<JudgedFile>& files) {
  const std::optional<std::size_t> number = Number(line);
  const std::optional<std::size_t> file = number ? FileAt(path, files) : std::nullopt;
  if (!file) return std::nullopt;
  return Place(*file, *number);
}

// nginx ends the line with "in PATH:LINE".
std::optional<Place> NginxPlace(const std::string& said, const std::vector<JudgedFile>& files) {
  const std::size_t colon = said.rfind(':');
  const std::size_t path = said.find(" in /");
  if (colon == std::string::npos || path == std::string::npos) return std::nullopt;
  const std::size_t begin = path + std::string(" in ").size();
  return PlaceOf(said.substr(begin, colon - begin), said.substr(colon + 1), files);
}

// httpd says "on line LINE of PATH", and a colon behind it when it goes on.
std::optional<Place> HttpdPlace(const std::string& said, const std::vector<JudgedFile>& files) {
  const std::string before_line = "on line ";
  const std::string before_path = " of ";
  const std::size_t found = said.find(before_line);
  if (found == std::string::npos) return std::nullopt;
  const std::size_t line = found + before_line.size();
  const std::size_t line_end = said.find(before_path, line);
  if (line_end == std::string::npos) return std::nullopt;
  const std::size_t path = line_end + before_path.size();
  const std::size_t said_end = said.back() == ':' ? said.size() - 1 : said.size();
  const std::size_t path_end = std::min(said.find(": ", path), said_end);
  return PlaceOf(said.substr(path, path_end - path), said.substr(line, line_end - line), files);
}

std::string LineOf(const std::string& text, std::size_t number) {
  std::istringstream lines(text);
  std::string line;
  for (std::size_t i = 0; i < number; ++i) {
    if (!std::getline(lines, line)) return std::string();
  }
  return line;
}

// Each place once, in the order of the files and their lines.
std::set<Place> PlacesIn(const std::string& output, const std::vector<JudgedFile>& files) {
  std::set<Place> places;
  std::istringstream lines(output);
  for (std::string said; std::getline(lines, said);) {
    std::optional<Place> place = NginxPlace(said, files);
    if (!place) place = HttpdPlace(said, files);
    if (place) places.insert(*place);
  }
  return places;
}

}  // namespace

std::string ExplainedOutput(const std::string& output, const std::vector<JudgedFile>& files) {
  std::string explained = output;
  for (const auto& [file, line] : PlacesIn(output, files)) {
    explained += '\n' + files[file].name + ':' + std::to_string(line) + ": " +
                 LineOf(files[file].text, line);
  }
  return explained;
}

}  // namespace tov_update
