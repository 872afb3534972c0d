// SPDX-License-Identifier: Apache-2.0

// Who knows whom, as docs/architecture.md says: each folder of src/ includes what is below it only.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = QELTEMPLATE_SOURCE_DIR;

using Names = std::set<std::string>;

Names Both(Names some, const Names& others) {
  some.insert(others.begin(), others.end());
  return some;
}

const Names kEngine = {"template", "template/framework"};

// What is asked of an edit, and what it answers: of src/edit itself its inner folders know no more.
const Names kRequestAndAnswer = {"edit/finding.h", "edit/report.h", "edit/request.h"};

// The inner folders of src/edit: each includes those before it.
const Names kTree = Both({"document"}, Both(kEngine, kRequestAndAnswer));
const Names kMatch = Both({"edit/tree"}, kTree);
const Names kAddress = Both({"edit/match"}, kMatch);
const Names kLayout = Both({"edit/address", "text"}, kAddress);
const Names kPlan = Both({"edit/layout"}, kLayout);
const Names kEdit = Both({"edit/plan"}, kPlan);

// The folders that each may include, beside itself, and single headers. export.h is no more than
// the macros that mark what other programs see.
const std::map<std::string, Names> kBelow = {
    {"text", {}},
    {"template/framework", {"template/export.h"}},
    {"template", {"template/framework"}},
    {"document", {"template/export.h"}},
    {"edit/tree", kTree},
    {"edit/match", kMatch},
    {"edit/address", kAddress},
    {"edit/layout", kLayout},
    {"edit/plan", kPlan},
    {"edit", kEdit},
    {"adopt", {"edit", "edit/tree", "document", "template/export.h"}},
    {"report", {"edit", "document"}},
    {"update", {"text"}},
    {"server", Both({"edit", "edit/match", "edit/tree", "report", "update", "document"}, kEngine)},
    {"cli", Both({"adopt", "server", "edit", "edit/tree", "report", "update", "document", "text"},
                 kEngine)},
};

bool IsCode(const fs::path& file) {
  return file.extension() == ".h" || file.extension() == ".cpp";
}

// "FILE:LINE: includes NAME" for each line of `file` that includes what its folder must not know.
// `source` is the folder on the include path.
std::vector<std::string> ProblemsIn(const fs::path& source, const fs::path& file) {
  static const std::regex include(R"re(^\s*#\s*include\s*[<"]([^>"]+))re");
  const std::string folder = fs::relative(file, source).parent_path();
  const auto below = kBelow.find(folder);
  if (below == kBelow.end()) return {folder + " is a folder of which nothing is said"};
  std::vector<std::string> problems;
  std::ifstream stream(file);
  std::size_t number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    std::smatch match;
    if (!std::regex_search(line, match, include)) continue;
    const fs::path name = match[1].str();
    const std::string other = name.parent_path();
    const bool ours = line.find('"') != std::string::npos || fs::exists(source / name);
    if (!ours || other == folder || below->second.count(other) + below->second.count(name) != 0) {
      continue;
    }
    problems.push_back(fs::relative(file, source).string() + ":" + std::to_string(number) +
                       ": includes " + name.string());
  }
  return problems;
}

std::vector<std::string> ProblemsBelow(const fs::path& source) {
  std::vector<std::string> problems;
  for (const auto& entry : fs::recursive_directory_iterator(source)) {
    if (!entry.is_regular_file() || !IsCode(entry.path())) continue;
    const std::vector<std::string> found = ProblemsIn(source, entry.path());
    problems.insert(problems.end(), found.begin(), found.end());
  }
  return problems;
}

TEST(Folders, KnowThoseBelowThem) {
  EXPECT_THAT(ProblemsBelow(kRoot / "src"), testing::IsEmpty());
}

TEST(Folders, AreFoundToLookUp) {
  const Sandbox sandbox;
  for (const char* const folder : {"cli", "document", "template", "template/framework", "more"}) {
    fs::create_directories(sandbox.PathOf(folder));
  }
  sandbox.Write("cli/a.cpp",
                "#include <string>\n#include \"document/a.h\"\n#include \"template/a.h\"\n"
                "#include \"cli/a.h\"\n#include \"a.h\"\n");
  sandbox.Write("document/a.h", "#include <map>\n#include <template/framework/a.h>\n");
  sandbox.Write("template/a.h", "#include \"template/framework/a.h\"\n  # include \"cli/a.h\"\n");
  sandbox.Write(
      "template/framework/a.h",
      "#include \"template/a.h\"\n#include \"template/export.h\"\n// #include \"cli/a.h\"\n");
  sandbox.Write("more/a.h", "");
  EXPECT_THAT(ProblemsBelow(sandbox.PathOf("")),
              testing::UnorderedElementsAre("cli/a.cpp:5: includes a.h",
                                            "document/a.h:2: includes template/framework/a.h",
                                            "template/a.h:2: includes cli/a.h",
                                            "template/framework/a.h:1: includes template/a.h",
                                            "more is a folder of which nothing is said"));
}

// The names of all files in the folder of that name, and below it.
std::set<std::string> NamesBelow(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
    names.insert(entry.path().filename());
  }
  return names;
}

TEST(PagesForContributors, NameSourcesThatAreThere) {
  static const std::regex source("`([a-z_/]+[.](?:h|cpp))`");
  std::set<std::string> names;
  for (const char* const folder : {"src", "bindings", "tests"}) names.merge(NamesBelow(folder));
  for (const char* const page : {"docs/architecture.md", "CONTRIBUTING.md"}) {
    std::ifstream stream(kRoot / page);
    const std::string text(std::istreambuf_iterator<char>(stream), {});
    std::sregex_iterator match(text.begin(), text.end(), source);
    ASSERT_NE(match, std::sregex_iterator()) << page;
    for (; match != std::sregex_iterator(); ++match) {
      const fs::path name = (*match)[1].str();
      const bool there =
          name.has_parent_path() ? fs::exists(kRoot / name) : names.count(name.filename()) != 0;
      EXPECT_TRUE(there) << page << " names " << name;
    }
  }
}

}  // namespace
