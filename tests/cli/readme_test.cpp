// SPDX-License-Identifier: Apache-2.0

// What the README shows is what the program does.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

std::string Readme() {
  std::ifstream file(QELTEMPLATE_SOURCE_DIR "/README.md");
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The block of code behind the line of the README that begins with `heading`.
std::string BlockBehind(const std::string& heading) {
  const std::string readme = Readme();
  const std::size_t fence = readme.find("\n```", readme.find("\n" + heading) + 1);
  const std::size_t start = readme.find('\n', fence + 1) + 1;
  return readme.substr(start, readme.find("```", start) - start);
}

TEST(Readme, ShowsTheProgramsOwnOutput) {
  const Sandbox sandbox;
  sandbox.Write("site.conf", BlockBehind("The configuration, `site.conf`:"));
  sandbox.Write("site.template", BlockBehind("The template, `site.template`"));
  sandbox.Write("values.json", BlockBehind("The values, `values.json`:"));
  const Outcome outcome =
      sandbox.Run({QELTEMPLATE_PROGRAM, "apply", "--dialect", "nginx", "--template",
                   "site.template", "--values", "values.json", "--diff", "site.conf"});
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out, "");
  EXPECT_EQ(outcome.out, BlockBehind("`qeltemplate apply --dialect nginx"));
}

}  // namespace
