// SPDX-License-Identifier: Apache-2.0

// The warnings that a server has not given before.

#include "update/server_warnings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(NewServerWarnings, AreThoseThatWereNotThereBefore) {
  struct Case {
    const char* name;
    std::string before;
    std::string after;
    std::vector<std::string> warnings;
  };
  const std::string taken = "nginx: configuration file /etc/nginx/nginx.conf test is successful\n";
  const Case cases[] = {
      {"none", "", "", {}},
      {"nothing but success", taken, taken, {}},
      {"a new one", taken, "nginx: [warn] a\n" + taken, {"a"}},
      {"the last line without its end", "", "nginx: [warn] a", {"a"}},
      {"one that has gone", "nginx: [warn] a\n", taken, {}},
      {"an old one", "nginx: [warn] a\n", "nginx: [warn] a\n", {}},
      {"another one", "nginx: [warn] a\n", "nginx: [warn] b\n", {"b"}},
      {"one more", "nginx: [warn] a\n", "nginx: [warn] a\nnginx: [warn] a\n", {"a"}},
      {"several, in their order", "", "nginx: [warn] b\n[warn] a\n", {"b", "a"}},
      {"an old one at another time",
       "2026/11/22 06:29:51 [warn] 7#7: a\n",
       "2026/11/23 06:29:51 [warn] 90#91: a\n",
       {}},
      {"what is no process", "", "[warn] 7#a\n[warn] 7 a\n[warn] #7: a\n", {"7#a", "7 a", "#7: a"}},
      {"a process and its thread", "", "[warn] 7#77: a\n[warn] 77#7: b\n", {"a", "b"}},
      {"behind a process no colon and blank",
       "",
       "[warn] 7#7:a\n[warn] 7#7 : b\n",
       {"7#7:a", "7#7 : b"}},
      {"no warnings", "", "nginx: [emerg] a\nnginx: [notice] b\n[warn]\n[warn] \n", {}},

      {"one that has moved", "[warn] a in /b c:7\n", "[warn] a in /b c:10\n", {}},
      {"one that is in another file", "[warn] a in /b:7\n", "[warn] a in /c:7\n", {"a in /c:7"}},
      {"one more of several that have moved",
       "[warn] a in /b:7\n[warn] a in /b:9\n",
       "[warn] a in /b:8\n[warn] a in /b:9\n[warn] a in /b:10\n",
       {"a in /b:10"}},
      {"the one that stands where none stood",
       "[warn] a in /b:7\n[warn] a in /b:9\n",
       "[warn] a in /b:3\n[warn] a in /b:7\n[warn] a in /b:9\n",
       {"a in /b:3"}},
      {"another port",
       "[warn] a on 0.0.0.0:80, ignored\n",
       "[warn] a on 0.0.0.0:81, ignored\n",
       {"a on 0.0.0.0:81, ignored"}},
      {"a number behind a colon that is no line",
       "[warn] host a:7\n",
       "[warn] host a:8\n",
       {"host a:8"}},
      {"a number behind a path and no colon",
       "[warn] a in /b 7\n",
       "[warn] a in /b 8\n",
       {"a in /b 8"}},
      {"a word that ends as lines are told",
       "[warn] a online 7\n",
       "[warn] a online 8\n",
       {"a online 8"}},
      {"another number",
       "[warn] 65 is too small in /b:7\n",
       "[warn] 66 is too small in /b:7\n",
       {"66 is too small in /b:7"}},

      {"httpd's, with its number", "", "AH00558: apache2: a\nSyntax OK\n", {"AH00558: apache2: a"}},
      {"an old one of httpd", "AH00558: apache2: a\n", "AH00558: apache2: a\n", {}},
      {"behind other words", "", "(2)No such file: AH02291: a\n", {"AH02291: a"}},
      {"an old one of httpd at another time",
       "[Sun Nov 22 06:29:51.964835 2026] [core:warn] [pid 7:tid 7] AH00111: a\n",
       "[Mon Nov 23 06:29:51.964835 2026] [core:warn] [pid 9:tid 9] AH00111: a\n",
       {}},
      {"one without a number",
       "[Sun Nov 22 06:29:51.964835 2026] [x:warn] [pid 7:tid 7] [client ::1] a\n",
       "[Sun Nov 22 06:29:51.964835 2026] [x:warn] [pid 9] a\n[x:warn] b\n",
       {"b"}},
      {"a number behind what is none", "", "AH x AH1: AH02291: a\n", {"AH02291: a"}},
      {"a number at the end of the line", "", "AH02291\n", {}},
      {"brackets that nothing closes",
       "",
       "[x:warn] [a\n[x:warn] [a]\n[x:warn] [a] [b] c\n",
       {"[a", "[a]", "c"}},
      {"what is no number of httpd", "", "AH00: a\nAH005589: b\nAHA: c\nAH00558 d\n", {}},
      {"httpd's that have moved",
       "AH00548: a /b:7\nAH00671: b in /b at line 7 will\nAH00117: c in line 7 of /b.\n",
       "AH00548: a /b:8\nAH00671: b in /b at line 8 will\nAH00117: c in line 8 of /b.\n",
       {}},
      {"one in another line's words",
       "AH00671: b in /b at line 7 will\n",
       "AH00671: b in /b at line 7 may\n",
       {"AH00671: b in /b at line 7 may"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(tov_update::NewServerWarnings(c.before, c.after), c.warnings) << c.name;
  }
}

}  // namespace
