// SPDX-License-Identifier: Apache-2.0

// The pages that go through commands, step by step: each step gives what the page shows.
//
// A fenced block "sh" is run by a shell, in one folder for the whole page; it has to succeed, and
// writes what the block without a language behind it shows, or nothing. A block behind a line that
// ends in "The file `NAME`:" is a file: written for the steps that follow or, where a step has made
// it already, compared.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

struct Block {
  int line = 0;
  std::string language;
  std::string text;
  std::string file;     // "": it is none
  bool behind = false;  // directly behind the block before
};

// The name in a line that ends in "The file `NAME`:"; "": there is none.
std::string FileIn(const std::string& line) {
  const std::size_t at = line.rfind("he file `");
  if (at == std::string::npos || line.size() < 2 || line.substr(line.size() - 2) != "`:") return "";
  return line.substr(at + 9, line.size() - 2 - at - 9);
}

std::vector<Block> BlocksOf(const std::string& page) {
  std::ifstream stream(std::string(QELTEMPLATE_SOURCE_DIR) + "/docs/" + page);
  std::vector<Block> blocks;
  bool open = false;
  bool just_closed = false;
  std::string file;
  int number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (line.compare(0, 3, "```") == 0) {
      if (!open) {
        blocks.push_back({number, line.substr(3), "", file, just_closed});
        file.clear();
      }
      open = !open;
      just_closed = !open;
    } else if (open) {
      blocks.back().text += line + "\n";
    } else {
      just_closed = false;
      if (!line.empty()) file = FileIn(line);
    }
  }
  EXPECT_FALSE(open) << page;
  return blocks;
}

// How many steps the page has.
int RunPage(const std::string& page) {
  const Sandbox sandbox;
  const std::string program = std::filesystem::path(QELTEMPLATE_PROGRAM).parent_path();
  const std::vector<Block> blocks = BlocksOf(page);
  int steps = 0;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const Block& block = blocks[i];
    SCOPED_TRACE(page + ":" + std::to_string(block.line));
    if (!block.file.empty()) {
      if (std::filesystem::exists(sandbox.PathOf(block.file))) {
        EXPECT_EQ(sandbox.Read(block.file), block.text);
      } else {
        std::filesystem::create_directories(
            std::filesystem::path(sandbox.PathOf(block.file)).parent_path());
        sandbox.Write(block.file, block.text);
      }
    } else if (block.language == "sh") {
      ++steps;
      const bool shows =
          i + 1 < blocks.size() && blocks[i + 1].behind && blocks[i + 1].language.empty();
      const Outcome outcome = sandbox.Run(
          {"sh", "-e", "-c", "PATH=" + program + ":$PATH:/usr/sbin; exec 2>&1; " + block.text});
      EXPECT_EQ(outcome.exit_code, 0);
      EXPECT_EQ(outcome.out, shows ? blocks[i + 1].text : "");
    }
  }
  return steps;
}

TEST(Session, OfTheTutorialIsAsItSays) {
  EXPECT_EQ(RunPage("tutorial.md"), 6);
}

TEST(Session, OfAWholeServerIsAsItSays) {
  EXPECT_EQ(RunPage("server-edit.md"), 4);
}

}  // namespace
