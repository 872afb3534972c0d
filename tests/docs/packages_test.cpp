// SPDX-License-Identifier: Apache-2.0

// The links of the pages in each Debian package lead to what is installed with them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cli/sandbox.h"
#include "docs/links.h"

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::Not;

const fs::path kRoot = QELTEMPLATE_SOURCE_DIR;

std::vector<std::string> WordsOf(const fs::path& file) {
  std::ifstream stream(file);
  return {std::istream_iterator<std::string>(stream), {}};
}

// The packages that debian/ has a list of this kind of.
std::vector<std::string> PackagesWith(const std::string& kind) {
  std::vector<std::string> packages;
  for (const auto& entry : fs::directory_iterator(kRoot / "debian")) {
    if (entry.path().extension() == kind) packages.push_back(entry.path().stem());
  }
  return packages;
}

void Copy(const fs::path& from, const fs::path& to) {
  fs::create_directories(to.parent_path());
  // Two libraries may install one header.
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

// The trees of packages, as a build leaves them: the headers, the examples and the pages.
class Packages : public testing::Test {
 protected:
  fs::path TreeOf(const std::string& package) const { return m_sandbox.PathOf(package); }
  fs::path DocOf(const std::string& package) const {
    return TreeOf(package) / "usr/share/doc" / package;
  }

  void Build(const std::string& package) const {
    fs::create_directories(DocOf(package));
    if (package == "libqeltemplate-dev") AddHeaders(TreeOf(package) / "usr/include/qeltemplate");
    for (const std::string& example : WordsOf(kRoot / "debian" / (package + ".examples"))) {
      Copy(kRoot / example, DocOf(package) / "examples" / fs::path(example).filename());
    }
    const Outcome outcome = m_sandbox.Run({kRoot / "debian/pages.py", package, TreeOf(package)});
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  }

  // Of each link in the package, where it leads to, by the page that it stands in.
  std::set<std::string> LinksOf(const std::string& package, const std::string& page) const {
    std::set<std::string> links;
    for (const std::string& line : TextOf(DocOf(package) / page)) {
      for (const std::string& link : LinksIn(line)) links.insert(link);
    }
    return links;
  }

 private:
  // INSTALLED_HEADERS lists those that the build would install.
  static void AddHeaders(const fs::path& include) {
    const std::vector<std::string> headers = WordsOf(INSTALLED_HEADERS);
    ASSERT_THAT(headers, Not(IsEmpty()));
    for (const std::string& header : headers) {
      const fs::path source = fs::relative(header, kRoot);
      const bool c = *source.begin() == "bindings";
      Copy(header, include / (c ? source.filename() : fs::relative(source, "src")));
    }
  }

  Sandbox m_sandbox;
};

TEST_F(Packages, HavePagesWhoseLinksLeadSomewhere) {
  const std::vector<std::string> packages = PackagesWith(".pages");
  ASSERT_THAT(packages, Not(IsEmpty()));
  for (const std::string& package : packages) {
    SCOPED_TRACE(package);
    Build(package);
    std::size_t pages = 0;
    for (const auto& entry : fs::recursive_directory_iterator(DocOf(package))) {
      if (entry.path().extension() != ".md") continue;
      ++pages;
      EXPECT_THAT(ProblemsIn(entry.path(), TreeOf(package)), IsEmpty()) << entry.path();
    }
    EXPECT_GE(pages, 3U);
  }
}

TEST_F(Packages, KeepLinksToWhatTheyHold) {
  Build("libqeltemplate-dev");
  EXPECT_THAT(
      LinksOf("libqeltemplate-dev", "docs/cpp.md"),
      testing::IsSupersetOf({"/usr/include/qeltemplate/edit/request.h",
                             "/usr/include/qeltemplate/update/update.h",
                             "../examples/cpp/replace_file.cpp", "matching.md", "#one-edit"}));
  EXPECT_THAT(LinksOf("libqeltemplate-dev", "README.md"),
              testing::IsSupersetOf({"docs/cpp.md", "docs/program.md"}));
  Build("qeltemplate");
  EXPECT_THAT(LinksOf("qeltemplate", "README.md"), testing::Contains("docs/program.md"));
  // A link over two lines, and one to a heading.
  EXPECT_THAT(LinksOf("qeltemplate", "docs/language.md"),
              testing::Contains("matching.md#a-block-that-is-not-there"));
}

TEST_F(Packages, KeepTheTextOfLinksToWhatTheyDoNotHold) {
  Build("qeltemplate");
  std::string text;
  for (const std::string& line : TextOf(DocOf("qeltemplate") / "README.md")) text += line + "\n";
  EXPECT_THAT(text, testing::HasSubstr("| build packages | Install and link |"));
}

// What is left out holds the marks of exports, or a part of another header's class, or C without
// comments.
TEST(HeadersInTheReference, AreThoseThatAreInstalled) {
  const std::set<std::string> left_out = {"export.h", "line_finder.h", "line_index.h",
                                          "place_index.h", "qeltemplate_ffi.h"};
  std::set<std::string> installed;
  for (const fs::path header : WordsOf(INSTALLED_HEADERS)) {
    if (left_out.count(header.filename()) == 0) installed.insert(fs::relative(header, kRoot));
  }
  std::set<std::string> shown;
  for (const fs::path word : WordsOf(kRoot / "docs/Doxyfile")) {
    if (word.extension() == ".h") shown.insert(word);
  }
  EXPECT_EQ(shown, installed);
}

// A list of dh_installdocs would put them into the package as they are.
TEST(PackagedPages, GoThroughTheirOwnList) {
  for (const std::string& package : PackagesWith(".docs")) {
    for (const std::string& name : WordsOf(kRoot / "debian" / (package + ".docs"))) {
      EXPECT_NE(fs::path(name).extension(), ".md") << package << ".docs: " << name;
    }
  }
}

}  // namespace
