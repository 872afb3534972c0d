// SPDX-License-Identifier: Apache-2.0

// qeltemplate apply --server, on trees of files that the real servers judge.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "cli/program.h"

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

class ApplyServer : public Program {
 protected:
  static constexpr int kSites = 200;

  // Two hundred sites of nginx in files of their own, which the main file includes by its own
  // absolute path, and a file that it includes by a relative one.
  void WriteNginx() const {
    fs::create_directories(m_sandbox.PathOf("nginx/sites"));
    m_sandbox.Write("nginx/nginx.conf",
                    "pid nginx.pid;\nevents {}\nhttp {\n  include types;\n"
                    "  access_log off;\n  include " +
                        m_sandbox.PathOf("nginx/sites") + "/*;\n}\n");
    m_sandbox.Write("nginx/types", "types {\n  text/html html;\n}\n");
    for (int i = 0; i < kSites; ++i) {
      m_sandbox.Write("nginx/sites/" + std::to_string(i), NginxSite("s" + std::to_string(i)));
    }
    m_sandbox.Write("site.template", "server {\n  server_name {% $name %};\n}\n");
  }

  static std::string NginxSite(const std::string& name) {
    return "server {\n    listen 127.0.0.1:8471;\n    server_name " + name + ".example www." +
           name + ".example;\n    root /srv;\n}\n";
  }

  void WriteApache() const {
    fs::create_directories(m_sandbox.PathOf("apache/conf/sites"));
    fs::create_directories(m_sandbox.PathOf("apache/logs"));
    m_sandbox.Write("apache/conf/httpd.conf",
                    "ServerRoot " + m_sandbox.PathOf("apache") +
                        "\nLoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
                        "LoadModule authz_core_module /usr/lib/apache2/modules/mod_authz_core.so\n"
                        "ServerName main.example\nListen 127.0.0.1:8472\nPidFile logs/pid\n"
                        "ErrorLog logs/error\nIncludeOptional conf/sites/*.conf\n");
    for (int i = 0; i < kSites; ++i) {
      m_sandbox.Write("apache/conf/sites/" + std::to_string(i) + ".conf",
                      ApacheSite("s" + std::to_string(i)));
    }
    m_sandbox.Write("site.template",
                    "<VirtualHost 127.0.0.1:8472>\n  ServerName {% $name %}\n</VirtualHost>\n");
  }

  static std::string ApacheSite(const std::string& name) {
    return "<VirtualHost 127.0.0.1:8472>\n    ServerName " + name +
           ".example\n    ServerAlias www." + name + ".example\n</VirtualHost>\n";
  }

  bool NginxTakesIt() const {
    return m_sandbox
               .Run({"sh", "-c",
                     "PATH=$PATH:/usr/sbin nginx -q -t -c " + m_sandbox.PathOf("nginx/nginx.conf")})
               .exit_code == 0;
  }

  bool HttpdTakesIt() const {
    return m_sandbox
               .Run({"sh", "-c",
                     "PATH=$PATH:/usr/sbin apache2 -t -f " +
                         m_sandbox.PathOf("apache/conf/httpd.conf")})
               .exit_code == 0;
  }

  // The texts of all files below the sandbox.
  std::map<std::string, std::string> Texts() const {
    std::map<std::string, std::string> texts;
    const std::string root = m_sandbox.PathOf("");
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      const std::string name = fs::relative(entry.path(), root);
      if (entry.is_regular_file()) texts[name] = m_sandbox.Read(name);
    }
    return texts;
  }

  static Words Rename(const std::string& from, const std::string& to) {
    return {"--template", "site.template", "--old", "name=" + from, "--set", "name=" + to};
  }

  Outcome ApplyTo(const std::string& main, const std::string& dialect, const Words& more) const {
    Words words = {"apply", "--server", main, "--dialect", dialect};
    words.insert(words.end(), more.begin(), more.end());
    return Run(words);
  }

  static Words With(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  // Runs the program under strace. The names of files below the sandbox that any process has
  // opened for writing, made, renamed, linked or removed.
  std::set<std::string> WrittenBy(const Words& arguments, Outcome& outcome) const {
    Words words = {"env",
                   "ASAN_OPTIONS=detect_leaks=0",
                   "PATH=/usr/sbin:/usr/bin:/sbin:/bin",
                   "strace",
                   "-f",
                   "-y",
                   "-qq",
                   "-s",
                   "4096",
                   "-o",
                   "../trace",
                   "-e",
                   "trace=%file,ftruncate,fchmod",
                   QELTEMPLATE_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    outcome = m_sandbox.Run(words);
    std::istringstream trace(m_sandbox.Read("../trace"));
    static const std::regex writing(
        R"(O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|^[0-9]+ +(rename|link|unlink|mkdir|rmdir|chmod|symlink|truncate|ftruncate|mknod|fchmod))");
    static const std::regex link("^[0-9]+ +symlink");  // where to does not matter
    static const std::regex name(R"re((?:(?:AT_FDCWD|[0-9]+)<([^>]*)>, )?"([^"]*)")re");
    std::set<std::string> written;
    for (std::string line; std::getline(trace, line);) {
      if (!std::regex_search(line, writing) || line.find(" = -1 ") != std::string::npos) continue;
      std::sregex_iterator match(line.begin(), line.end(), name);
      if (std::regex_search(line, link)) ++match;
      for (; match != std::sregex_iterator(); ++match) {
        const fs::path in = match->str(1).empty() ? m_sandbox.PathOf("") : match->str(1);
        const std::string below =
            fs::relative((in / match->str(2)).lexically_normal(), m_sandbox.PathOf(""));
        if (below.substr(0, 2) != "..") written.insert(below);
      }
    }
    return written;
  }
};

// --- What it is for ---

TEST_F(ApplyServer, RenamesASiteByItsNameAndTouchesOneFile) {
  WriteNginx();
  auto expected = Texts();
  Outcome outcome;
  const auto written = WrittenBy(
      With({"apply", "--server", "nginx/nginx.conf", "--dialect", "nginx", "--in-place", "--check"},
           Rename("s77.example", "renamed.example")),
      outcome);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, m_sandbox.PathOf("nginx/sites/77") + ": changed\n");
  EXPECT_EQ(outcome.exit_code, 0);
  std::string& site = expected["nginx/sites/77"];
  site.replace(site.find("s77.example"), 11, "renamed.example");
  auto texts = Texts();
  texts.erase("nginx/nginx.pid");
  EXPECT_EQ(texts, expected);
  EXPECT_TRUE(NginxTakesIt());
  for (const std::string& name : written) {
    EXPECT_TRUE(name == "nginx/sites/77" || name == "nginx/sites/.77.qeltemplate-new" ||
                name == "nginx/sites/.77.qeltemplate-old" || name == "nginx/nginx.pid")
        << name;
  }
  EXPECT_EQ(written.count("nginx/sites/77"), 1U);
}

TEST_F(ApplyServer, RenamesAVirtualHostByItsNameAndTouchesOneFile) {
  WriteApache();
  auto expected = Texts();
  Outcome outcome;
  const auto written = WrittenBy(With({"apply", "--server", "apache/conf/httpd.conf", "--dialect",
                                       "apache", "--in-place", "--check=apache2 -t"},
                                      Rename("s77.example", "renamed.example")),
                                 outcome);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exit_code, 0);
  std::string& site = expected["apache/conf/sites/77.conf"];
  site.replace(site.find("s77.example"), 11, "renamed.example");
  EXPECT_EQ(Texts(), expected);
  EXPECT_TRUE(HttpdTakesIt());
  for (const std::string& name : written) {
    EXPECT_THAT(name, testing::AnyOf("apache/conf/sites/77.conf",
                                     "apache/conf/sites/.77.conf.qeltemplate-new",
                                     "apache/conf/sites/.77.conf.qeltemplate-old"));
  }
}

TEST_F(ApplyServer, RefusesANameThatAnotherFileHas) {
  WriteNginx();
  const auto before = Texts();
  const Outcome outcome = ApplyTo("nginx/nginx.conf", "nginx",
                                  With(Rename("s77.example", "www.s9.example"), {"--in-place"}));
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_EQ(outcome.err,
            "qeltemplate: nginx/nginx.conf: not edited:\n  " + m_sandbox.PathOf("nginx/sites/77") +
                ":1:1 of the edited text: " + m_sandbox.PathOf("nginx/sites/77") +
                ":1:1 'server' (www.s9.example, www.s77.example, 127.0.0.1:8471) and " +
                m_sandbox.PathOf("nginx/sites/9") +
                ":1:1 'server' (s9.example, www.s9.example, 127.0.0.1:8471) both answer to "
                "'www.s9.example' on 127.0.0.1:8471, and the server would ignore all but the first "
                "of them [collision]\n");
  EXPECT_EQ(Texts(), before);
}

TEST_F(ApplyServer, RefusesANameThatAnotherHostHas) {
  WriteApache();
  const auto before = Texts();
  const Outcome outcome = ApplyTo("apache/conf/httpd.conf", "apache",
                                  With(Rename("s77.example", "s9.example"), {"--in-place"}));
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_THAT(outcome.err, HasSubstr("sites/77.conf:1:1 'VirtualHost 127.0.0.1:8472' (s9.example"));
  EXPECT_THAT(outcome.err, HasSubstr("sites/9.conf:1:1 'VirtualHost 127.0.0.1:8472' (s9.example"));
  EXPECT_EQ(Texts(), before);
}

// --- The server's judgement ---

TEST_F(ApplyServer, WritesNothingThatNginxRefuses) {
  WriteNginx();
  const auto before = Texts();
  m_sandbox.Write("site.template",
                  "server {\n  server_name {% $name %};\n  root [% $root %];\n}\n");
  Outcome outcome;
  const auto written = WrittenBy({"apply", "--server", "nginx/nginx.conf", "--dialect", "nginx",
                                  "--in-place", "--check", "--template", "site.template", "--set",
                                  "name=s5.example", "--set", "root=/a /b", "--old", "root=/srv"},
                                 outcome);
  EXPECT_EQ(outcome.exit_code, 5);
  EXPECT_THAT(outcome.err, HasSubstr("refuses the new files (exit status 1), nothing is changed:"));
  EXPECT_THAT(outcome.err, HasSubstr("invalid number of arguments in \"root\" directive in " +
                                     m_sandbox.PathOf("nginx/sites/5") + ":4\n"));
  EXPECT_THAT(outcome.err, HasSubstr("nginx/sites/5:4:     root /a /b;"));
  EXPECT_THAT(outcome.err, Not(HasSubstr("qeltemplate-check")));
  auto after = Texts();
  after.erase("nginx/nginx.pid");
  after["site.template"] = before.at("site.template");
  EXPECT_EQ(after, before);
  for (const std::string& name : written) {  // the site is opened for its lock
    EXPECT_THAT(name, testing::AnyOf("nginx/nginx.pid", "nginx/sites/5"));
  }
}

TEST_F(ApplyServer, WritesNothingThatHttpdRefuses) {
  WriteApache();
  m_sandbox.Write("site.template",
                  "<VirtualHost 127.0.0.1:8472>\n  ServerName {% $name %}\n  NoSuch on\n"
                  "</VirtualHost>\n");
  const auto before = Texts();
  const Outcome outcome = ApplyTo("apache/conf/httpd.conf", "apache",
                                  {"--in-place", "--check=apache2 -t", "--template",
                                   "site.template", "--set", "name=s5.example"});
  EXPECT_EQ(outcome.exit_code, 5);
  EXPECT_THAT(outcome.err, HasSubstr("nothing is changed:"));
  EXPECT_THAT(outcome.err, HasSubstr("Syntax error on line 4 of " +
                                     m_sandbox.PathOf("apache/conf/sites/5.conf")));
  EXPECT_THAT(outcome.err, HasSubstr("Invalid command 'NoSuch'"));
  EXPECT_EQ(Texts(), before);
}

TEST_F(ApplyServer, AsksInPlaceWhereAskingBesidesIsNotKnown) {
  WriteNginx();
  const Outcome outcome =
      ApplyTo("nginx/nginx.conf", "nginx",
              With(Rename("s77.example", "renamed.example"),
                   {"--in-place", "--check=grep -q renamed nginx/sites/77 && false"}));
  EXPECT_EQ(outcome.exit_code, 5);
  EXPECT_THAT(outcome.err, HasSubstr("asked when the new files are in place, since it is no plain "
                                     "test of the server's\n"));
  EXPECT_THAT(outcome.err, HasSubstr("the old ones are back"));
  EXPECT_EQ(m_sandbox.Read("nginx/sites/77"), NginxSite("s77"));
}

TEST_F(ApplyServer, TellsNewWarningsOfTheServer) {
  WriteNginx();
  const Words force =
      With(Rename("s77.example", "s9.example"), {"--in-place", "--force", "collision"});
  const std::string said = "conflicting server name \"s9.example\" on 127.0.0.1:8471, ignored";
  const Outcome strict = ApplyTo("nginx/nginx.conf", "nginx", With(force, {"--check=strict"}));
  EXPECT_EQ(strict.exit_code, 5);
  EXPECT_THAT(strict.err, HasSubstr("warns of the new files as it did not of the old ones"));
  EXPECT_THAT(strict.err, HasSubstr(said));
  EXPECT_EQ(m_sandbox.Read("nginx/sites/77"), NginxSite("s77"));
  const Outcome told = ApplyTo("nginx/nginx.conf", "nginx", With(force, {"--check"}));
  EXPECT_EQ(told.exit_code, 0);
  EXPECT_THAT(told.err, HasSubstr("warning: nginx -t -c "));
  EXPECT_THAT(told.err, HasSubstr(said));
}

TEST_F(ApplyServer, RunsTheReloadWhenAllIsInPlace) {
  WriteNginx();
  const Outcome outcome =
      ApplyTo("nginx/nginx.conf", "nginx",
              With(Rename("s77.example", "renamed.example"),
                   {"--in-place=.orig", "--check", "--reload", "cp nginx/sites/77 seen"}));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(m_sandbox.Read("seen"), HasSubstr("renamed.example"));
  EXPECT_EQ(m_sandbox.Read("nginx/sites/77.orig"), NginxSite("s77"));
}

// --- New sites ---

TEST_F(ApplyServer, MakesAFileForANewSite) {
  WriteNginx();
  const Words words = {"--template",       "site.template", "--set",
                       "name=new.example", "--in-place",    "--check"};
  const Outcome without = ApplyTo("nginx/nginx.conf", "nginx", words);
  EXPECT_EQ(without.exit_code, 4);
  EXPECT_THAT(without.err, HasSubstr("--new-in says it [no-file]"));
  const std::string made = m_sandbox.PathOf("nginx/sites/new.example.conf");
  const Outcome outcome =
      ApplyTo("nginx/nginx.conf", "nginx", With(words, {"--new-in", "nginx/sites/{name}.conf"}));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "nginx/sites/new.example.conf: made\n");
  EXPECT_EQ(m_sandbox.Read("nginx/sites/new.example.conf"),
            "server {\n    server_name new.example;\n}\n");
  EXPECT_TRUE(NginxTakesIt());
}

TEST_F(ApplyServer, MakesAFileTogetherWithAChangeOfAnother) {
  WriteApache();
  m_sandbox.Write("site.template",
                  "Listen 127.0.0.1:8473\n<VirtualHost 127.0.0.1:8473>\n  ServerName {% $name %}\n"
                  "</VirtualHost>\n");
  const Outcome outcome =
      ApplyTo("apache/conf/httpd.conf", "apache",
              {"--template", "site.template", "--set", "name=new.example", "--in-place",
               "--check=apache2 -t", "--new-in", "apache/conf/sites/{name}.conf"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(outcome.out,
            "apache/conf/httpd.conf: changed\napache/conf/sites/new.example.conf: made\n");
  EXPECT_THAT(m_sandbox.Read("apache/conf/httpd.conf"),
              HasSubstr("Listen 127.0.0.1:8472\nListen 127.0.0.1:8473\n"));
  EXPECT_TRUE(HttpdTakesIt());
}

TEST_F(ApplyServer, RefusesAHostThatNobodyReaches) {
  WriteApache();
  m_sandbox.Write("site.template",
                  "<VirtualHost 127.0.0.1:8473>\n  ServerName {% $name %}\n</VirtualHost>\n");
  const Outcome outcome = ApplyTo("apache/conf/httpd.conf", "apache",
                                  {"--template", "site.template", "--set", "name=new.example",
                                   "--diff", "--new-in", "apache/conf/sites/{name}.conf"});
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_THAT(outcome.err,
              HasSubstr("new.example.conf:1:1 'VirtualHost 127.0.0.1:8473' (new.example) is for "
                        "127.0.0.1:8473, on which the server does not listen; there are "));
  EXPECT_THAT(outcome.err, HasSubstr("httpd.conf:5:1 'Listen 127.0.0.1:8472' [collision]"));
}

// --- Other programs ---

TEST_F(ApplyServer, WritesNothingWhenAnotherFileHasChangedMeanwhile) {
  WriteNginx();
  const Outcome outcome = RunInShell(
      "flock nginx/sites/77 sh -c 'touch held; sleep 1; echo \"# by hand\" >>nginx/sites/9' & "
      "while [ ! -e held ]; do :; done; \"$@\"",
      With({"apply", "--server", "nginx/nginx.conf", "--dialect", "nginx", "--in-place"},
           Rename("s77.example", "renamed.example")));
  EXPECT_EQ(outcome.exit_code, 7) << outcome.err;
  EXPECT_EQ(outcome.err, "qeltemplate: " + m_sandbox.PathOf("nginx/sites/9") +
                             ": another program has changed this file meanwhile; nothing is "
                             "written\n");
  EXPECT_EQ(m_sandbox.Read("nginx/sites/77"), NginxSite("s77"));
}

// --- The command line ---

TEST_F(ApplyServer, SaysWhatWouldChange) {
  WriteNginx();
  const auto before = Texts();
  const Words rename = Rename("s77.example", "renamed.example");
  EXPECT_EQ(ApplyTo("nginx/nginx.conf", "nginx", With(rename, {"--dry-run"})).out,
            m_sandbox.PathOf("nginx/sites/77") + ": would be changed\n");
  const Outcome diff =
      ApplyTo("nginx/nginx.conf", "nginx", With(rename, {"--diff", "--exit-code"}));
  EXPECT_EQ(diff.exit_code, 1);
  EXPECT_THAT(diff.out, HasSubstr("-    server_name s77.example www.s77.example;\n"
                                  "+    server_name renamed.example www.s77.example;\n"));
  EXPECT_EQ(Texts(), before);
}

TEST_F(ApplyServer, IsExplained) {
  WriteNginx();
  const auto before = Texts();
  Words words = {"explain", "--server", "nginx/nginx.conf", "--dialect", "nginx"};
  const Outcome outcome = Run(With(words, Rename("s77.example", "renamed.example")));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("nginx/nginx.conf (nginx): lines that go: 1, that come: 1\n"));
  EXPECT_THAT(outcome.out,
              HasSubstr("changed " + m_sandbox.PathOf("nginx/sites/77") +
                        ":3 'server_name s77.example www.s77.example;' to 'server_name "
                        "renamed.example www.s77.example;'\n"));
  const Outcome refused = Run(With(words, Rename("s77.example", "s9.example")));
  EXPECT_EQ(refused.exit_code, 4);
  EXPECT_THAT(refused.out, HasSubstr("[collision]"));
  EXPECT_EQ(Texts(), before);
}

TEST_F(ApplyServer, KnowsItsOptions) {
  const Words name = Rename("a", "b");
  EXPECT_THAT(Run(With({"apply", "--server", "a", "b", "--diff"}, name)).err,
              HasSubstr("--server: takes one CONFIG"));
  EXPECT_THAT(Run(With({"apply", "--server", "a"}, name)).err,
              HasSubstr("--server: needs --diff, --in-place, --dry-run or --json"));
  EXPECT_THAT(Run(With({"apply", "--server", "-", "--diff"}, name)).err,
              HasSubstr("a server is not read from standard input"));
  EXPECT_THAT(Run(With({"apply", "--new-in", "a", "site.conf"}, name)).err,
              HasSubstr("are for --server"));
  EXPECT_THAT(Run(With({"apply", "--server", "missing", "--dialect", "nginx", "--diff"}, name)).err,
              HasSubstr("missing"));
}

}  // namespace
