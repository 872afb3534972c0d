// SPDX-License-Identifier: Apache-2.0

#include "docs/links.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>

namespace {

// The name by which a link leads to `heading`, as hosts of repositories and MkDocs make it of
// headings in which no two blanks or dashes meet.
std::string AnchorOf(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    if ('A' <= c && c <= 'Z') {
      anchor += static_cast<char>(c - 'A' + 'a');
    } else if (('a' <= c && c <= 'z') || ('0' <= c && c <= '9') || c == '_' || c == '-') {
      anchor += c;
    } else if (c == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

std::set<std::string> AnchorsOf(const std::filesystem::path& page) {
  std::set<std::string> anchors;
  for (const std::string& line : TextOf(page)) {
    const std::size_t text = line.find_first_not_of('#');
    if (text != 0 && text != std::string::npos) anchors.insert(AnchorOf(line.substr(text + 1)));
  }
  return anchors;
}

std::filesystem::path FileOf(const std::filesystem::path& page, const std::string& name,
                             const std::filesystem::path& root) {
  if (name.empty()) return page;
  return name.front() == '/' ? root / name.substr(1) : page.parent_path() / name;
}

// What is wrong with the link `target` of `page`, or "".
std::string ProblemOf(const std::filesystem::path& page, const std::string& target,
                      const std::filesystem::path& root) {
  if (target.find("://") != std::string::npos) return "";
  const std::size_t hash = target.find('#');
  const std::filesystem::path file = FileOf(page, target.substr(0, hash), root);
  if (!std::filesystem::exists(file)) return "no file " + target;
  // A site on a disk has no page for it.
  if (std::filesystem::is_directory(file)) return "a folder " + target;
  if (hash == std::string::npos) return "";
  return AnchorsOf(file).count(target.substr(hash + 1)) == 0 ? "no heading " + target : "";
}

}  // namespace

std::vector<std::filesystem::path> PagesIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> pages;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".md") pages.push_back(entry.path());
  }
  std::sort(pages.begin(), pages.end());
  return pages;
}

std::vector<std::string> TextOf(const std::filesystem::path& page) {
  std::ifstream stream(page);
  std::vector<std::string> lines;
  bool fenced = false;
  for (std::string line; std::getline(stream, line);) {
    const bool fence = line.compare(0, 3, "```") == 0;
    lines.push_back(fenced || fence ? "" : line);
    fenced = fenced != fence;
  }
  return lines;
}

std::vector<std::string> LinksIn(const std::string& line) {
  static const std::regex link("\\]\\(([^)]+)\\)");
  std::vector<std::string> links;
  for (std::sregex_iterator match(line.begin(), line.end(), link), end; match != end; ++match) {
    links.push_back((*match)[1]);
  }
  return links;
}

std::vector<std::string> ProblemsIn(const std::filesystem::path& page,
                                    const std::filesystem::path& root) {
  std::vector<std::string> problems;
  int number = 0;
  for (const std::string& line : TextOf(page)) {
    ++number;
    for (const std::string& target : LinksIn(line)) {
      const std::string problem = ProblemOf(page, target, root);
      if (problem.empty()) continue;
      problems.push_back(page.filename().string() + ":" + std::to_string(number) + ": " + problem);
    }
  }
  return problems;
}
