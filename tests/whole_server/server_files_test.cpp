// SPDX-License-Identifier: Apache-2.0

// The files that a server reads.
#include "server/server_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <string>
#include <vector>

#include "edit/finding.h"
#include "whole_server/tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tov_server::Dialect;
using tov_server::ReadingOptions;
using tov_server::ReadServer;
using tov_server::ServerFiles;
using Lines = std::vector<std::string>;

Lines NamesOf(const Tree& tree, const ServerFiles& server) {
  Lines names;
  for (const auto& file : server.files) names.push_back(tree.Relative(file.name));
  return names;
}

// "NAME: FILE:LINE:COLUMN: message".
Lines FindingsOf(const Tree& tree, const ServerFiles& server) {
  Lines lines;
  for (const auto& finding : server.findings) {
    lines.push_back(finding.name + ": " + tree.Relative(Shown(finding)));
  }
  return lines;
}

// "FILE: directive -> FILE FILE" for each include.
Lines IncludesOf(const Tree& tree, const ServerFiles& server) {
  Lines lines;
  for (const auto& file : server.files) {
    for (const auto& include : file.includes) {
      std::string line =
          tree.Relative(file.name) + ": " +
          tree.Relative(file.text.substr(include.begin, include.end - include.begin)) + " ->";
      for (const std::size_t each : include.files) {
        line += ' ' + tree.Relative(server.files.at(each).name);
      }
      lines.push_back(line);
    }
  }
  return lines;
}

struct Case {
  const char* name;
  Files files;
  Lines names;     // that are read
  Lines findings;  // that are told
};

void Check(Dialect dialect, const char* main, const std::vector<Case>& cases) {
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const Tree tree(each.files);
    const ServerFiles server = ReadServer(tree.Options(dialect, main));
    EXPECT_EQ(NamesOf(tree, server), each.names);
    EXPECT_EQ(FindingsOf(tree, server), each.findings);
    for (const auto& file : server.files) EXPECT_EQ(file.text, Sandbox::ReadFile(file.name));
  }
}

TEST(NginxFiles, AreThoseThatNginxReads) {
  Check(Dialect::kNginx, "nginx.conf",
        {
            {"no include", {{"nginx.conf", "events {}\n"}}, {"nginx.conf"}, {}},
            {"relative to the main file, whichever file it stands in",
             {{"nginx.conf", "include a/x;"}, {"a/x", "include b;"}, {"b", ""}, {"a/b", ""}},
             {"nginx.conf", "a/x", "b"},
             {}},
            {"absolute",
             {{"nginx.conf", "include DIR/a/x;"}, {"a/x", ""}},
             {"nginx.conf", "a/x"},
             {}},
            {"a pattern, in the order of bytes",
             {{"nginx.conf", "include s/*;"},
              {"s/b", ""},
              {"s/B", ""},
              {"s/a.conf", ""},
              {"s/.hidden", ""},
              {"s/\xc3\xa4", ""}},
             {"nginx.conf", "s/B", "s/a.conf", "s/b", "s/\xc3\xa4"},
             {}},
            {"a pattern in a directory",
             {{"nginx.conf", "include */on/[a-c]?.conf;"},
              {"x/on/a1.conf", ""},
              {"y/on/c2.conf", ""},
              {"y/on/d2.conf", ""},
              {"y/off/a1.conf", ""}},
             {"nginx.conf", "x/on/a1.conf", "y/on/c2.conf"},
             {}},
            {"a pattern that matches nothing",
             {{"nginx.conf", "include s/*.conf;"}},
             {"nginx.conf"},
             {}},
            {"in any block",
             {{"nginx.conf",
               "http { include a; server { include b; location / { include c; if ($x) "
               "{ include d; } } } types { include e; } map $a $b { include f; } geo $c "
               "{ include g; } upstream u { include h; } }"},
              {"a", ""},
              {"b", ""},
              {"c", ""},
              {"d", ""},
              {"e", ""},
              {"f", ""},
              {"g", ""},
              {"h", ""}},
             {"nginx.conf", "a", "b", "c", "d", "e", "f", "g", "h"},
             {}},
            {"in quotes",
             {{"nginx.conf", "\"include\" 'a b';"}, {"a b", ""}},
             {"nginx.conf", "a b"},
             {}},
            {"not in Lua, comments and tables without includes",
             {{"nginx.conf",
               "http { # include a;\n content_by_lua_block { include a; } split_clients $a $b "
               "{ include a; } }"},
              {"a", ""}},
             {"nginx.conf"},
             {}},
            {"a name without a pattern that is not there",
             {{"nginx.conf", "http {\n  include a;\n}\n"}},
             {"nginx.conf"},
             {"missing-file: nginx.conf:2:3: there is no 'a'"}},
            {"of a geo block no patterns",
             {{"nginx.conf", "geo $a { include s/*; }"}, {"s/a", ""}},
             {"nginx.conf"},
             {"missing-file: nginx.conf:1:10: there is no 's/*'"}},
            {"a directory",
             {{"nginx.conf", "include s;"}, {"s/a", ""}},
             {"nginx.conf"},
             {"unreadable-file: nginx.conf:1:1: 's' cannot be read: Is a directory"}},
            {"itself",
             {{"nginx.conf", "include a;"},
              {"a", "\ninclude b;"},
              {"b", "include c; include a;"},
              {"c", ""}},
             {"nginx.conf", "a", "b", "c"},
             {"include-cycle: b:1:12: 'a' would be read within itself. Let the include not name "
              "this file"}},
            {"wrong arguments",
             {{"nginx.conf", "include; include a b;"}, {"a", ""}, {"b", ""}},
             {"nginx.conf"},
             {"include-arguments: nginx.conf:1:1: an include takes one name of a file, or one "
              "pattern",
              "include-arguments: nginx.conf:1:10: an include takes one name of a file, or one "
              "pattern"}},
            {"up to where the text can be read",
             {{"nginx.conf", "include a; } include b;"}, {"a", ""}, {"b", ""}},
             {"nginx.conf", "a"},
             {"syntax-error: nginx.conf:1:12: nothing is open that this would close"}},
        });
}

TEST(ApacheFiles, AreThoseThatHttpdReads) {
  Check(Dialect::kApache, "httpd.conf",
        {
            {"relative to the main file's directory",
             {{"httpd.conf", "Include a/x\n"}, {"a/x", "include b\n"}, {"b", ""}, {"a/b", ""}},
             {"httpd.conf", "a/x", "b"},
             {}},
            {"relative to ServerRoot",
             {{"httpd.conf", "ServerRoot DIR/r\nInclude a\nServerRoot \"DIR\"\nInclude a\n"},
              {"a", ""},
              {"r/a", ""}},
             {"httpd.conf", "r/a", "a"},
             {}},
            {"with superfluous parts",
             {{"httpd.conf", "Include ./s/..//s/./a\n"}, {"s/a", ""}},
             {"httpd.conf", "s/a"},
             {}},
            {"a directory, all in it and below it",
             {{"httpd.conf", "Include s\nInclude t/\n"},
              {"s/b", ""},
              {"s/a/z", ""},
              {"s/.c", ""},
              {"s/d~", ""},
              {"t/a", ""}},
             {"httpd.conf", "s/.c", "s/a/z", "s/b", "s/d~", "t/a"},
             {}},
            {"patterns",
             {{"httpd.conf", "Include s/*.conf\nInclude [xyz]/on/[a-c]?\nInclude u*\n"},
              {"s/b.conf", ""},
              {"s/a.conf", ""},
              {"s/.c.conf", ""},
              {"x/on/a1", ""},
              {"y/on/c1", ""},
              {"y/on/d1", ""},
              {"u1/x", ""},
              {"u2", ""}},
             {"httpd.conf", "s/a.conf", "s/b.conf", "x/on/a1", "y/on/c1", "u1/x", "u2"},
             {}},
            {"a pattern that matches nothing",
             {{"httpd.conf", "IncludeOptional s/*.conf\nIncludeOptional t/*\nInclude s/*.conf\n"},
              {"s/x", ""}},
             {"httpd.conf"},
             {"missing-file: httpd.conf:3:1: there is no 's/*.conf'"}},
            {"a directory of a pattern that is not there",
             {{"httpd.conf", "Include s/*\n"}},
             {"httpd.conf"},
             {"missing-file: httpd.conf:1:1: there is no 's'"}},
            {"a name that is not there",
             {{"httpd.conf", "IncludeOptional a\n  Include b\n"}},
             {"httpd.conf"},
             {"missing-file: httpd.conf:2:3: there is no 'b'"}},
            {"in any section",
             {{"httpd.conf",
               "<VirtualHost *:80>\nInclude a\n<Directory />\nInclude b\n</Directory>\n"
               "</VirtualHost>\n"},
              {"a", ""},
              {"b", ""}},
             {"httpd.conf", "a", "b"},
             {}},
            {"not in macros and comments",
             {{"httpd.conf", "<Macro m>\nInclude a\n</Macro>\n# Include a\n"}, {"a", ""}},
             {"httpd.conf"},
             {}},
            {"by variables",
             {{"httpd.conf",
               "Define Where s\nInclude ${where}/a\nDefine where \"t ${Where}\"\n"
               "Include \"${WHERE}/${where}\"\nUnDefine where\nInclude ${where}\n"},
              {"s/a", ""},
              {"t s/t s", ""},
              {"${where}", ""}},
             {"httpd.conf", "s/a", "t s/t s", "${where}"},
             {}},
            {"in <IfDefine>",
             {{"httpd.conf",
               "Define A\n<IfDefine A>\nInclude a\n</IfDefine>\n<IfDefine a>\nInclude b\n"
               "</IfDefine>\n<IfDefine !A>\nInclude c\n<IfModule x.c>\nInclude c\n</IfModule>\n"
               "</IfDefine>\nUnDefine A\n<IfDefine !A>\nInclude d\n</IfDefine>\n"},
              {"a", ""},
              {"b", ""},
              {"c", ""},
              {"d", ""}},
             {"httpd.conf", "a", "d"},
             {}},
            {"in <IfModule>, by the LoadModule lines before it",
             {{"httpd.conf",
               "LoadModule so_module x\n<IfModule ssl_module>\nInclude a\n</IfModule>\n"
               "LoadModule ssl_module modules/mod_ssl.so\n"
               "<IfModule ssl_module>\nInclude b\n</IfModule>\n<IfModule mod_ssl.c>\nInclude c\n"
               "</IfModule>\n<IfModule !mod_ssl.c>\nInclude d\n</IfModule>\n<IfModule core.c>\n"
               "Include e\n</IfModule>\n"},
              {"a", ""},
              {"b", ""},
              {"c", ""},
              {"d", ""},
              {"e", ""}},
             {"httpd.conf", "b", "c", "e"},
             {}},
            {"in <IfModule>, where nothing tells",
             {{"httpd.conf",
               "<IfModule ssl_module>\nInclude a\n</IfModule>\n<IfModule !ssl_module>\nInclude b\n"
               "</IfModule>\n"},
              {"a", ""},
              {"b", ""}},
             {"httpd.conf", "a", "b"},
             {}},
            {"in <IfFile>",
             {{"httpd.conf",
               "<IfFile s/x>\nInclude a\n</IfFile>\n<IfFile y>\nInclude b\n</IfFile>\n<IfFile !y>\n"
               "Include c\n</IfFile>\n"},
              {"s/x", ""},
              {"a", ""},
              {"b", ""},
              {"c", ""}},
             {"httpd.conf", "a", "c"},
             {}},
            {"once more with other variables",
             {{"httpd.conf", "Define x a\nInclude twice\nUnDefine x\nDefine x b\nInclude twice\n"},
              {"twice", "Include ${x}\n"},
              {"a", ""},
              {"b", ""}},
             {"httpd.conf", "twice", "a", "b"},
             {}},
            {"in itself, up to an end",
             {{"httpd.conf", "Include a\n"},
              {"a", "<IfDefine !Again>\nDefine Again\nInclude a\nInclude b\n</IfDefine>\n"},
              {"b", ""}},
             {"httpd.conf", "a", "b"},
             {}},
            {"in itself, without an end",
             {{"httpd.conf", "Include a\n"}, {"a", "\nInclude a\nInclude b\n"}, {"b", ""}},
             {"httpd.conf", "a", "b"},
             {"include-cycle: a:2:1: 'a' would be read within itself. Let the include not name "
              "this file"}},
            {"nothing", {{"httpd.conf", "Include /dev/null\n"}}, {"httpd.conf", "/dev/null"}, {}},
        });
}

TEST(ApacheFiles, DependOnWhatHttpdIsStartedWith) {
  const Tree tree(
      {{"etc/conf/httpd.conf",
        "Include ${NAME}\n<IfDefine D>\nInclude d\n</IfDefine>\n<IfDefine NAME>\nInclude "
        "no\n</IfDefine>\n<IfModule mod_m.c>\nInclude m\n</IfModule>\n<IfModule "
        "mod_so.c>\nInclude no\n</IfModule>\n<IfVersion >= 2.4.10>\nInclude "
        "v\n</IfVersion>\n<IfVersion = 2.4>\nInclude no\n</IfVersion>\n<IfVersion !~ "
        "^2>\nInclude no\n</IfVersion>\n<IfVersion 2.4.62>\nInclude w\n</IfVersion>\n"},
       {"etc/a", ""},
       {"etc/d", ""},
       {"etc/m", ""},
       {"etc/v", ""},
       {"etc/w", ""},
       {"other/a", ""}});
  ReadingOptions options = tree.Options(Dialect::kApache, "etc/conf/httpd.conf");
  options.environment = {{"NAME", "a"}};
  options.defines = {"D"};
  options.modules = {"m_module"};
  options.version = "2.4.62";
  EXPECT_THAT(NamesOf(tree, ReadServer(options)),
              ElementsAre("etc/conf/httpd.conf", "etc/a", "etc/d", "etc/m", "etc/v", "etc/w"));
  options.prefix = tree.PathOf("other");
  EXPECT_THAT(NamesOf(tree, ReadServer(options)), ElementsAre("etc/conf/httpd.conf", "other/a"));
}

TEST(ServersFiles, HaveNamesAsTheMainOne) {
  const Tree tree({{"nginx.conf", "include s/*;"}, {"s/a", "include b;"}, {"b", ""}});
  ASSERT_EQ(chdir(tree.Directory().c_str()), 0);
  ReadingOptions options;
  options.main = "nginx.conf";
  EXPECT_THAT(NamesOf(tree, ReadServer(options)), ElementsAre("nginx.conf", "s/a", "b"));
  options.main = "./nginx.conf";
  EXPECT_THAT(NamesOf(tree, ReadServer(options)), ElementsAre("./nginx.conf", "./s/a", "./b"));
}

TEST(ServersFiles, AreReadOnceWhateverTheyAreCalled) {
  const Tree tree({{"nginx.conf", "include on/*; include a;\ninclude a; include DIR/a;"},
                   {"a", "include b;"},
                   {"b", ""}});
  tree.Link("../a", "on/y");
  tree.Link("../a", "on/x");
  std::vector<std::size_t> progress;
  ReadingOptions options = tree.Options(Dialect::kNginx, "nginx.conf");
  options.progress = [&progress](std::size_t files) { progress.push_back(files); };
  const ServerFiles server = ReadServer(options);
  EXPECT_THAT(IncludesOf(tree, server),
              ElementsAre("nginx.conf: include on/*; -> on/x on/x",
                          "nginx.conf: include a; -> on/x", "nginx.conf: include a; -> on/x",
                          "nginx.conf: include a; -> on/x", "on/x: include b; -> b"));
  EXPECT_THAT(progress, ElementsAre(1, 2, 3));
}

TEST(ServersFiles, OutsideOfTheRootsAreNotRead) {
  const Tree tree(
      {{"in/nginx.conf", "include a; include ../out/a; include on/*; include DIR/out/*;"},
       {"in/a", ""},
       {"out/a", ""}});
  tree.Link("../a", "in/on/1");
  tree.Link("../../out/a", "in/on/2");
  ReadingOptions options = tree.Options(Dialect::kNginx, "in/nginx.conf");
  options.roots = {tree.PathOf("in")};
  const ServerFiles server = ReadServer(options);
  EXPECT_THAT(NamesOf(tree, server), ElementsAre("in/nginx.conf", "in/a"));
  EXPECT_THAT(FindingsOf(tree, server),
              ElementsAre("outside-root: in/nginx.conf:1:12: 'in/../out/a' is outside of the "
                          "directories that may be read",
                          "outside-root: in/nginx.conf:1:30: 'in/on/2' is outside of the "
                          "directories that may be read",
                          "outside-root: in/nginx.conf:1:44: 'out' is outside of the "
                          "directories that may be read"));
  options.roots = {tree.PathOf("out")};
  EXPECT_THAT(FindingsOf(tree, ReadServer(options)),
              ElementsAre("outside-root: in/nginx.conf: 'in/nginx.conf' is outside of the "
                          "directories that may be read"));
  options.roots = {tree.PathOf("out"), tree.PathOf("in")};
  EXPECT_THAT(FindingsOf(tree, ReadServer(options)), IsEmpty());
}

TEST(ServersFiles, OutsideOfTheRootsAreNotReadByHttpd) {
  const Tree tree({{"in/httpd.conf",
                    "Include DIR/out\nInclude DIR/out/*\n<IfFile DIR/out/no>\n"
                    "Include a\n</IfFile>\n<IfFile !DIR/out/no>\nInclude b\n"
                    "</IfFile>\n"},
                   {"in/a", ""},
                   {"in/b", ""},
                   {"out/a", ""}});
  ReadingOptions options = tree.Options(Dialect::kApache, "in/httpd.conf");
  options.roots = {tree.PathOf("in")};
  const ServerFiles server = ReadServer(options);
  EXPECT_THAT(NamesOf(tree, server), ElementsAre("in/httpd.conf", "in/a"));
  EXPECT_THAT(FindingsOf(tree, server),
              ElementsAre("outside-root: in/httpd.conf:1:1: 'out' is outside of the directories "
                          "that may be read",
                          "outside-root: in/httpd.conf:2:1: 'out' is outside of the directories "
                          "that may be read"));
}

TEST(ServersFiles, ThatAreNoFilesAreNotReadAndNotWaitedFor) {
  const Tree tree(Files{{"nginx.conf", "include fifo; include /dev/zero;"}});
  ASSERT_EQ(mkfifo(tree.PathOf("fifo").c_str(), 0600), 0);
  EXPECT_THAT(FindingsOf(tree, ReadServer(tree.Options(Dialect::kNginx, "nginx.conf"))),
              ElementsAre("unreadable-file: nginx.conf:1:1: 'fifo' cannot be read: not a "
                          "regular file",
                          "unreadable-file: nginx.conf:1:15: '/dev/zero' cannot be read: not a "
                          "regular file"));
  const ServerFiles none = ReadServer(tree.Options(Dialect::kNginx, "nothing.conf"));
  EXPECT_THAT(none.files, IsEmpty());
  EXPECT_THAT(FindingsOf(tree, none),
              ElementsAre("missing-file: nothing.conf: there is no 'nothing.conf'"));
}

// Of files that include the next one twice, so many that no machine would come to an end.
TEST(ServersFiles, ThatIncludeEachOtherAgainAndAgainComeToAnEnd) {
  Files files = {{"main", "Include 0\n"}};
  constexpr int kDeep = 60;
  for (int i = 0; i < kDeep; ++i) {
    const std::string next = "Include " + std::to_string(i + 1) + "\n";
    files[std::to_string(i)] = next + next;
  }
  files[std::to_string(kDeep)] = "";
  const Tree tree(files);
  const ServerFiles server = ReadServer(tree.Options(Dialect::kApache, "main"));
  EXPECT_EQ(server.files.size(), kDeep + 2);
  ASSERT_EQ(server.findings.size(), 1);
  EXPECT_EQ(server.findings.front().name, "too-many-files");
}

TEST(Environment, IsWhatTheScriptExports) {
  const struct {
    const char* name;
    const char* text;
    std::map<std::string, std::string> variables;
  } cases[] = {
      {"words",
       "export A=b\nexport C='d e' D=f\n  export E=\"g h\" # i\n",
       {{"A", "b"}, {"C", "d e"}, {"E", "g h"}}},
      {"variables",
       "export A=b\nexport B=$A/${A}-${NONE:-c}${A:-d}'$A'\"$A\"\\$A\n",
       {{"A", "b"}, {"B", "b/b-cb$Ab$A"}}},
      {"exported later", "A=b\nB=c\nexport A\nexport NONE\n", {{"A", "b"}}},
      {"conditions",
       "if [ x ] ; then\nexport A=b\nif y; then\nexport B=c\nfi\nelse\nA=c\nfi\nexport C=d\n",
       {{"C", "d"}}},
      {"unset", "export A=b\nunset A\n", {}},
      {"comments", "# export A=b\n\n#export B=c\nulimit -n 5\n", {}},
      {"the suffix of a second server",
       "if [ x ]; then\nSUFFIX=y\nfi\nexport A=/run/apache2$SUFFIX/a\n",
       {{"A", "/run/apache2/a"}}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    const Tree tree(Files{{"envvars", each.text}});
    EXPECT_EQ(tov_server::ReadEnvironment(tree.PathOf("envvars")), each.variables);
  }
  EXPECT_THAT(tov_server::ReadEnvironment("/nonexistent/envvars"), IsEmpty());
}

}  // namespace
