// SPDX-License-Identifier: Apache-2.0

// The lines that a server complains about.

#include "update/explained_output.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "update/update_sandbox.h"

namespace {

// In the output, DIR stands for the directory of the files a, "b c" and link, which leads to a.
TEST(ExplainedOutput, ShowsTheLinesThatTheServerNames) {
  const UpdateSandbox sandbox;
  const std::vector<tov_update::JudgedFile> files = {
      {"A", sandbox.PathOf("a"), "first\n\tsecond;\nthird"},
      {"sites/b", sandbox.PathOf("b c"), "of b\n"},
      {"new", sandbox.PathOf("missing"), "of new\n"},
  };
  sandbox.Write("a", "");
  sandbox.Write("b c", "");
  sandbox.Write("other", "");
  std::filesystem::create_symlink("a", sandbox.PathOf("link"));
  struct Case {
    const char* name;
    std::string output;
    const char* lines;
  };
  const Case cases[] = {
      {"nginx", "nginx: [emerg] unknown directive \"x\" in DIR/a:2\nnginx: test failed",
       "\nA:2: \tsecond;"},
      {"httpd", "AH00526: Syntax error on line 1 of DIR/b c:\nInvalid command",
       "\nsites/b:1: of b"},
      {"httpd goes on in the line", "on line 3 of DIR/a: without closing", "\nA:3: third"},
      {"httpd ends with the path", "defined on line 3 of DIR/a", "\nA:3: third"},
      {"over a link", "x in DIR/link:1", "\nA:1: first"},
      {"in other words", "x in DIR/./a:1", "\nA:1: first"},
      {"a file that is not there yet", "x in DIR/missing:1", "\nnew:1: of new"},
      {"each line once", "x in DIR/b c:1\ny in DIR/a:1\nz in DIR/a:1",
       "\nA:1: first\nsites/b:1: of b"},
      {"behind the end", "unexpected end of file in DIR/a:4", "\nA:4: "},
      {"far behind the end", "x in DIR/a:999999999", "\nA:999999999: "},
      {"a number that no file has so many lines for", "x in DIR/a:1000000000", ""},
      {"nginx says one place and httpd another", "x on line 3 of DIR/a: in DIR/b c:1",
       "\nsites/b:1: of b"},
      {"httpd says two", "on line 1 of DIR/b c: defined on line 2 of DIR/a", "\nsites/b:1: of b"},
      {"a path with a colon", "x in DIR/a:b:1", ""},
      {"another file", "x in DIR/other:1", ""},
      {"a file that is nowhere", "x in DIR/nowhere:1", ""},
      {"no line", "x in DIR/a", ""},
      {"a line that is no number", "x in DIR/a:1b\nx in DIR/a:\nx on line 1b of DIR/a", ""},
      {"a number too large", "x in DIR/a:99999999999999999999", ""},
      {"cut off", " on line \n on line 1\n on line 1 of ", ""},
      {"a colon before the path", "x: in /", ""},
      {"nothing", "", ""},
  };
  const auto in_place = [&sandbox](std::string text) {
    const std::string directory = sandbox.PathOf(".");
    const std::string path = directory.substr(0, directory.size() - 2);
    for (std::size_t at = text.find("DIR"); at != std::string::npos; at = text.find("DIR")) {
      text.replace(at, 3, path);
    }
    return text;
  };
  for (const Case& c : cases) {
    const std::string output = in_place(c.output);
    EXPECT_EQ(tov_update::ExplainedOutput(output, files), output + c.lines) << c.name;
  }
}

}  // namespace
