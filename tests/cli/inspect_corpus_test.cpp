// SPDX-License-Identifier: Apache-2.0

// qeltemplate inspect shows each block of files that people wrote. Those of most files can be found
// by looking at lines alone; where they cannot, they are listed here.

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "cli/program.h"
#include "support/real_configs.h"

namespace {

using Lines = std::vector<std::size_t>;

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Lines that end with a brace open a block, one with nothing else the block of the line before it.
Lines NginxBlocks(const std::string& text) {
  static const std::regex comment("(^|[\\s;{}])#.*");
  static const std::regex around("^\\s+|\\s+$");
  static const std::regex opening("(^|[^$])\\{$");
  Lines found;
  std::size_t number = 0;
  std::size_t last = 0;
  for (const std::string& whole : Split(text)) {
    ++number;
    const std::string line =
        std::regex_replace(std::regex_replace(whole, comment, "$1"), around, "");
    if (std::regex_search(line, opening)) found.push_back(line == "{" ? last : number);
    if (!line.empty()) last = number;
  }
  return found;
}

Lines ApacheBlocks(const std::string& text) {
  static const std::regex opening("^\\s*<[A-Za-z]");
  Lines found;
  std::size_t number = 0;
  for (const std::string& line : Split(text)) {
    ++number;
    if (std::regex_search(line, opening)) found.push_back(number);
  }
  return found;
}

// Files with several blocks on a line, braces in quotes, code.
const std::map<std::string, Lines> kListed = {
    {"corpus/crossplane__tests_configs_messy_nginx.conf",
     {3, 5, 8, 12, 14, 15, 15, 16, 17, 18, 21, 23, 24}},
    {"corpus/crossplane__tests_configs_quoted-right-brace_nginx.conf", {1, 2}},
    {"corpus/gonginx__full-example_formatting_raw.conf", {6, 6, 19, 24, 25, 29, 32, 33, 38, 41}},
    {"corpus/gonginx__testdata_issues_20.conf", {1, 5, 6, 26, 29}},
    {"corpus/laradock__nginx_sites_octane.conf.example", {1, 6, 11, 22, 26, 30, 31, 35, 38}},
    {"corpus/nginx-go-crossplane__testdata_configs_emptiness_nginx.conf",
     {11, 13, 14, 20, 24, 27, 32, 33, 38, 40, 44}},
};

// Those that the server cannot read, and where.
const std::map<std::string, std::string> kBroken = {
    {"corpus/certbot__broken.conf", "12:1"},
    {"corpus/gonginx__testdata_issues_20.conf", "6:9"},
    {"corpus/nginx-go-crossplane__testdata_configs_premature-eof_nginx.conf", "3:9"},
};

class InspectCorpus : public Program {
 protected:
  // Servers that are in each other's way can be read.
  Outcome Say(const std::string& dialect, const std::string& text, const char* coloured) const {
    m_sandbox.Write("site.conf", text);
    return Run({"inspect", "--ignore", "collision", "--color", coloured, "--dialect", dialect,
                "site.conf"});
  }
};

// The lines of the blocks in the tree of `out`, where they stand in bold.
Lines ShownBlocks(const std::string& out) {
  static const std::regex block("^site\\.conf:([0-9]+): +\x1b\\[1m.*");
  Lines found;
  for (const std::string& line : Split(out)) {
    if (line.empty()) break;  // what follows is no part of the tree
    std::smatch match;
    if (std::regex_match(line, match, block)) found.push_back(std::stoul(match[1]));
  }
  return found;
}

TEST_F(InspectCorpus, ShowsEachBlockWithItsLine) {
  for (const char* const dialect : {"nginx", "apache"}) {
    const bool nginx = std::string(dialect) == "nginx";
    for (const auto& [name, text] : RealConfigs(dialect)) {
      SCOPED_TRACE(name);
      const auto listed = kListed.find(name);
      const Lines expected = listed != kListed.end() ? listed->second
                             : nginx                 ? NginxBlocks(text)
                                                     : ApacheBlocks(text);
      EXPECT_EQ(ShownBlocks(Say(dialect, text, "always").out), expected);
    }
  }
}

TEST_F(InspectCorpus, ComplainsOnlyOfWhatTheServerCannotRead) {
  for (const char* const dialect : {"nginx", "apache"}) {
    for (const auto& [name, text] : RealConfigs(dialect)) {
      SCOPED_TRACE(name);
      const Outcome outcome = Say(dialect, text, "never");
      const auto broken = kBroken.find(name);
      EXPECT_EQ(outcome.exit_code, broken == kBroken.end() ? 0 : 6) << outcome.out;
      const std::size_t error = outcome.out.find("\n\nsite.conf:");
      EXPECT_EQ(error == std::string::npos, broken == kBroken.end());
      if (broken == kBroken.end()) continue;
      EXPECT_EQ(outcome.out.substr(error + 2).rfind("site.conf:" + broken->second + ": error: ", 0),
                0U)
          << outcome.out;
    }
  }
}

}  // namespace
