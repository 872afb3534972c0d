// SPDX-License-Identifier: Apache-2.0

#include "document/apache/texts.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "document/apache/lines.h"
#include "support/real_configs.h"

namespace {

namespace fs = std::filesystem;

using second_reader::IsBlank;
using second_reader::LowerCase;

const std::string any_arguments = "IndexIgnore";

// With checked containers each byte costs many times as much.
#ifdef _GLIBCXX_DEBUG
constexpr std::size_t largest_text = 50'000;
#else
constexpr std::size_t largest_text = 1'000'000;
#endif

struct Parts {
  std::string blanks;
  std::string name;
  std::string rest;  // with the line end
};

Parts Split(const std::string& line) {
  std::size_t begin = 0;
  while (begin < line.size() && IsBlank(line[begin])) ++begin;
  std::size_t end = begin;
  while (end < line.size() && !IsBlank(line[end])) ++end;
  return {line.substr(0, begin), line.substr(begin, end - begin), line.substr(end)};
}

// A condition that is negated holds, since nothing has such a name.
std::string Holding(const Parts& parts) {
  static const std::set<std::string> conditions = {"<ifmodule", "<ifdefine", "<iffile",
                                                   "<ifdirective", "<ifsection"};
  const std::string name = LowerCase(parts.name);
  const std::size_t bracket = parts.rest.rfind('>');
  if (name == "<ifversion" && bracket != std::string::npos) {
    return parts.blanks + parts.name + " >= 2.4" + parts.rest.substr(bracket);
  }
  const std::size_t argument = parts.rest.find_first_not_of(" \t!");
  if (conditions.count(name) == 0 || argument == std::string::npos) return "";
  return parts.blanks + parts.name + " !no_" + parts.rest.substr(argument);
}

// Logs are among them since httpd looks whether their folders are there.
std::string ReadThroughLine(const std::string& line) {
  static const std::set<std::string> depends_on_others = {"define",
                                                          "undefine",
                                                          "include",
                                                          "includeoptional",
                                                          "loadfile",
                                                          "loadmodule",
                                                          "defaultruntimedir",
                                                          "use",
                                                          "undefmacro",
                                                          "serverroot",
                                                          "unclist",
                                                          "errorlog",
                                                          "customlog",
                                                          "remoteiptrustedproxylist"};
  const Parts parts = Split(line);
  std::string holding = Holding(parts);
  if (!holding.empty()) return holding;
  if (depends_on_others.count(LowerCase(parts.name)) == 0) return line;
  return parts.blanks + any_arguments + parts.rest;
}

// Authorization stays: the sections around it ask for it.
std::string CarriedThroughLine(const std::string& line) {
  const Parts parts = Split(line);
  const bool plain =
      !parts.name.empty() && std::string("<#\"'\\").find(parts.name[0]) == std::string::npos;
  if (!plain || LowerCase(parts.name) == "require") return line;
  const bool has_arguments = parts.rest.find_first_not_of(" \t\r\n\\") != std::string::npos;
  return parts.blanks + any_arguments + (has_arguments ? "" : " x") + parts.rest;
}

template <class Change>
std::string ChangeLines(const std::string& text, Change change) {
  std::string changed;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
    changed += change(text.substr(begin, end - begin));
    begin = end;
  }
  return changed;
}

}  // namespace

std::map<std::string, std::string> Texts() {
  std::map<std::string, std::string> texts;
  for (const auto& [name, text] : RealConfigs("apache")) {
    if (text.size() <= largest_text) texts[name] = text;
  }
  const fs::path constructs = fs::path(QELTEMPLATE_TESTS_DIR) / "constructs/apache";
  for (const auto& entry : fs::recursive_directory_iterator(constructs)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream stream(entry.path(), std::ios::binary);
    texts["constructs/" + entry.path().lexically_relative(constructs).string()] = {
        std::istreambuf_iterator<char>(stream), {}};
  }
  return texts;
}

std::string ReadThrough(const std::string& text) {
  return ChangeLines(text, ReadThroughLine);
}

std::string CarriedThrough(const std::string& text) {
  return ChangeLines(ReadThrough(text), CarriedThroughLine);
}
