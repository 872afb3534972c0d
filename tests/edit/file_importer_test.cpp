// SPDX-License-Identifier: Apache-2.0

// Which files imports find, and which they do not get.
#include "edit/file_importer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "cli/sandbox.h"
#include "edit/tree/limits.h"

namespace tov_edit {
namespace {

namespace fs = std::filesystem;

// A tree of files, each with its own name as its text:
//
//   root/{main,a,both,sub/{b,both},folder/}, outside/{secret,both}, rootless/c, here/{d,both}
//
// and links: root/out to outside/secret, root/way to outside, root/in to root/sub/b, entry to root.
class Tree : public testing::Test {
 protected:
  Tree() {
    for (const char* const name :
         {"root/main", "root/a", "root/both", "root/sub/b", "root/sub/both", "outside/secret",
          "outside/both", "rootless/c", "here/d", "here/both"}) {
      fs::create_directories(fs::path(PathOf(name)).parent_path());
      m_sandbox.Write(name, name);
    }
    fs::create_directory(PathOf("root/folder"));
    fs::create_symlink("../outside/secret", PathOf("root/out"));
    fs::create_symlink("../outside", PathOf("root/way"));
    fs::create_symlink("sub/b", PathOf("root/in"));
    fs::create_symlink("root", PathOf("entry"));
    fs::current_path(PathOf("here"));
  }
  ~Tree() override { fs::current_path(m_before); }

  std::string PathOf(const std::string& name) const { return m_sandbox.PathOf(name); }

  // Which file of the tree an import of `name` in `from` gets, "none", or the problem that there is
  // with it.
  std::string Imported(const std::string& root, const std::string& name,
                       const std::string& from) const {
    const auto file = FileImporter(root)(name, {from, 1, 1});
    if (!file) return "none";
    if (!file->problem.empty()) {
      EXPECT_EQ(file->text, "");
      return file->problem;
    }
    EXPECT_EQ(file->name, PathOf(file->text)) << "by its real path";
    return file->text;
  }

  Sandbox m_sandbox;
  const fs::path m_before = fs::current_path();
};

struct ImportCase {
  const char* what;
  const char* name;
  const char* from;  // of the tree
  const char* found;
};

using AnImportedFile = Tree;

TEST_F(AnImportedFile, IsSoughtBesideTheFileAndFromTheCurrentDirectory) {
  const ImportCase cases[] = {
      {"beside", "a", "root/main", "root/a"},
      {"below", "sub/b", "root/main", "root/sub/b"},
      {"above", "../a", "root/sub/b", "root/a"},
      {"anywhere", "../outside/secret", "root/main", "outside/secret"},
      {"beside before the current directory", "both", "root/sub/b", "root/sub/both"},
      {"from the current directory", "d", "root/main", "here/d"},
      {"through a link", "in", "root/main", "root/sub/b"},
      {"through a link that leads elsewhere", "out", "root/main", "outside/secret"},
      {"nowhere", "e", "root/main", "none"},
      {"not below the root of another", "root/a", "root/main", "none"},
      {"no name", "", "root/main", "none"},
  };
  for (const ImportCase& c : cases) {
    EXPECT_EQ(Imported("", c.name, PathOf(c.from)), c.found) << c.what;
  }
  EXPECT_EQ(Imported("", PathOf("root/a"), PathOf("here/d")), "root/a") << "by its full path";
  EXPECT_EQ(Imported("", "d", "template"), "here/d") << "of a file in the current directory";
  EXPECT_EQ(Imported("", "d", ""), "here/d") << "of a text that is no file";
}

TEST_F(AnImportedFile, IsInTheRootThatIsGiven) {
  const std::string root = PathOf("root");
  const ImportCase cases[] = {
      {"beside", "b", "root/sub/b", "root/sub/b"},
      {"beside before the root", "both", "root/sub/b", "root/sub/both"},
      {"from the root", "a", "root/sub/b", "root/a"},
      {"from the root, below", "sub/b", "outside/secret", "root/sub/b"},
      {"from the root, where what is beside is outside", "both", "outside/secret", "root/both"},
      {"from the root, where a link leads out of it", "both", "root/way/secret", "root/both"},
      {"through a link inside", "in", "root/main", "root/sub/b"},
      {"no name", "", "root/main", "none"},
  };
  for (const ImportCase& c : cases) {
    EXPECT_EQ(Imported(root, c.name, PathOf(c.from)), c.found) << c.what;
    EXPECT_EQ(Imported(root + "/", c.name, PathOf(c.from)), c.found) << c.what << ", with a slash";
    EXPECT_EQ(Imported(PathOf("entry"), c.name, PathOf(c.from)), c.found) << c.what << ", linked";
    EXPECT_EQ(Imported("/", PathOf("root/a"), PathOf(c.from)), "root/a") << "all is below /";
  }
}

// And it is not said whether there is a file outside.
TEST_F(AnImportedFile, IsNeverOutsideOfTheRoot) {
  const std::string root = PathOf("root");
  const std::string names[] = {"e",                         // nowhere
                               "d",                         // in the current directory
                               "out",                       // a link
                               "way/secret",                // a folder that is a link
                               "../outside/secret",         // above
                               "sub/../../outside/secret",  // above, by a way through it
                               "../rootless/c",  // its folder's name begins like the root's
                               "..",
                               PathOf("outside/secret"),
                               PathOf("rootless/c"),
                               PathOf("outside/none")};
  for (const std::string& name : names) {
    EXPECT_EQ(Imported(root, name, PathOf("root/main")),
              "there is no file '" + name + "' in '" + root + "', out of which no import may lead");
  }
  const auto file = FileImporter(root)("out", {PathOf("root/main"), 1, 1});
  ASSERT_TRUE(file);
  EXPECT_EQ(file->name, "out");
}

TEST_F(AnImportedFile, HasToBeAFile) {
  const std::string problem = "'" + PathOf("root/folder") + "' is not a file that can be read";
  EXPECT_EQ(Imported("", "folder", PathOf("root/main")), problem);
  EXPECT_EQ(Imported(PathOf("root"), "folder", PathOf("root/main")), problem);
}

TEST_F(AnImportedFile, IsAtMostAsLargeAsATemplate) {
  const std::string large = PathOf("root/large");
  std::ofstream(large).close();
  fs::resize_file(large, kLargestTemplate);
  const Importer importer = FileImporter("");
  auto file = importer("large", {PathOf("root/main"), 1, 1});
  ASSERT_TRUE(file);
  EXPECT_EQ(file->problem, "");
  EXPECT_EQ(file->text.size(), kLargestTemplate);
  fs::resize_file(large, kLargestTemplate + 1);
  file = importer("large", {PathOf("root/main"), 1, 1});
  ASSERT_TRUE(file);
  EXPECT_EQ(file->name, large);
  EXPECT_EQ(file->problem, "'" + large + "' is larger than 16 MiB");
  EXPECT_EQ(file->text, "");
}

using TheRootOfImports = Tree;

TEST_F(TheRootOfImports, HasToBeADirectory) {
  for (const char* const root : {"root/a", "root/none"}) {
    try {
      FileImporter(PathOf(root));
      ADD_FAILURE() << root << " is taken";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), PathOf(root) + ": not a directory");
    }
  }
}

}  // namespace
}  // namespace tov_edit
