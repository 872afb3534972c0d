// SPDX-License-Identifier: Apache-2.0

// qeltemplate sites.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "cli/failure.h"
#include "cli/program.h"
#include "cli/server_options.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using tov_document::Dialect;

class Sites : public Program {
 protected:
  Sites() {
    std::filesystem::create_directory(m_sandbox.PathOf("sites"));
    m_sandbox.Write("nginx.conf", "http {\n  include sites/*;\n}\n");
    m_sandbox.Write("sites/a",
                    "server {\n  listen 80;\n  listen 443 ssl default_server;\n"
                    "  server_name A.example *.a.example;\n  root /srv/a;\n}\n");
    m_sandbox.Write("sites/b",
                    "server {\n}\nserver {\n  listen [::1]:81 ssl;\n  server_name b.example;\n}\n");
  }

  Outcome Run(const Words& more) const {
    Words words = {"sites", "--dialect", "nginx"};
    words.insert(words.end(), more.begin(), more.end());
    return Program::Run(words);
  }

  const std::string m_a = "a.example,*.a.example\t*:80,*:443\t*:443\t/srv/a\tsites/a:1\n";
  const std::string m_b1 = "-\t*:80\t-\t-\tsites/b:1\n";
  const std::string m_b2 = "b.example\t[::1]:81\tyes\t-\tsites/b:3\n";
};

TEST_F(Sites, StandInOneLineEach) {
  ExpectText(Run({"nginx.conf"}), m_a + m_b1 + m_b2);
}

TEST_F(Sites, AreChosenByNameAndAddress) {
  ExpectText(Run({"--name", "x.A.example", "nginx.conf"}), m_a);
  ExpectText(Run({"--name", "b.example", "--name", "a.example", "nginx.conf"}), m_a + m_b2);
  ExpectText(Run({"--address", "80", "nginx.conf"}), m_a + m_b1);
  ExpectText(Run({"--address", "80", "--name", "a.example", "nginx.conf"}), m_a);
  ExpectText(Run({"--address", "[0::1]", "nginx.conf"}), m_b2);
  ExpectText(Run({"--name", "c.example", "nginx.conf"}), "");
}

TEST_F(Sites, AreATableOnATerminal) {
  const std::string line = QELTEMPLATE_PROGRAM " sites --dialect nginx nginx.conf";
  const Outcome outcome =
      m_sandbox.Run({"script", "--quiet", "--return", "--command", line, "/dev/null"});
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.out,
            "NAMES                  ADDRESSES   TLS    ROOT    PLACE\r\n"
            "a.example *.a.example  *:80 *:443  *:443  /srv/a  sites/a:1\r\n"
            "-                      *:80        -      -       sites/b:1\r\n"
            "b.example              [::1]:81    yes    -       sites/b:3\r\n");
}

TEST_F(Sites, AreJson) {
  const Outcome outcome = Run({"--json", "--name", "b.example", "nginx.conf"});
  ExpectText(outcome, R"({
  "main": "nginx.conf",
  "dialect": "nginx",
  "sites": [
    {
      "protocol": "http",
      "names": [
        "b.example"
      ],
      "addresses": [
        {
          "address": "[::1]:81",
          "tls": true,
          "default": false
        }
      ],
      "file": "sites/b",
      "line": 3,
      "column": 1
    }
  ],
  "warnings": []
}
)");
}

TEST_F(Sites, AreShownWithWhatCouldNotBeRead) {
  m_sandbox.Write("nginx.conf", "http {\n  include none;\n  include sites/b;\n}\n");
  const Outcome outcome = Run({"nginx.conf"});
  EXPECT_EQ(outcome.out, m_b1 + m_b2);
  EXPECT_EQ(outcome.err,
            "qeltemplate: warning: nginx.conf:2:3: there is no 'none' [missing-file]\n");
  EXPECT_EQ(outcome.exit_code, 6);
  ExpectText(Run({"--ignore", "missing-file", "nginx.conf"}), m_b1 + m_b2);
  const Outcome json = Run({"--json", "nginx.conf"});
  EXPECT_EQ(json.err, "");
  EXPECT_EQ(json.exit_code, 6);
  EXPECT_THAT(json.out, AllOf(HasSubstr("\"missing-file\""), HasSubstr("\"b.example\"")));
}

TEST_F(Sites, OutsideOfTheRootsAreNotShown) {
  std::filesystem::create_directory(m_sandbox.PathOf("in"));
  m_sandbox.Write("in/nginx.conf", "http { include ../sites/a; include b; }");
  m_sandbox.Write("in/b", "server { server_name c.example; }");
  const Outcome outcome = Run({"--root", "in", "in/nginx.conf"});
  EXPECT_EQ(outcome.out, "c.example\t*:80\t-\t-\tin/b:1\n");
  EXPECT_THAT(outcome.err, HasSubstr("[outside-root]"));
  EXPECT_EQ(outcome.exit_code, 6);
}

TEST_F(Sites, NeedAMainFileThatCanBeRead) {
  ExpectFailure(Run({"none.conf"}), "none.conf: there is no 'none.conf'");
  const Outcome guessed = Program::Run({"sites", "none.conf"});
  EXPECT_EQ(guessed.exit_code, 3);
  EXPECT_THAT(guessed.err, HasSubstr("none.conf"));
  m_sandbox.Write("odd.conf", "include a;\n");
  EXPECT_THAT(Program::Run({"sites", "odd.conf"}).err, HasSubstr("--dialect"));
}

TEST_F(Sites, OfHttpdDependOnWhatItIsStartedWith) {
  m_sandbox.Write("envvars", "export NAME=a\nexport PORT=8${NAME}8\n");
  m_sandbox.Write("apache2.conf",
                  "<VirtualHost *:80>\nServerName ${NAME}.example\nDocumentRoot /srv/${PORT}\n"
                  "<IfDefine More>\nServerAlias more.example\n</IfDefine>\n"
                  "<IfModule mod_more.c>\nServerAlias module.example\n</IfModule>\n"
                  "<IfModule shared_module>\nServerAlias shared.example\n</IfModule>\n"
                  "</VirtualHost>\n");
  const Words words = {"sites", "--dialect", "apache", "apache2.conf"};
  ExpectText(Program::Run(words),
             "a.example,module.example,shared.example\t*:80\t-\t/srv/8a8\t"
             "apache2.conf:1\n");
  const auto with = [&words](const Words& more) {
    Words all = words;
    all.insert(all.end(), more.begin(), more.end());
    return all;
  };
  const std::string said =
      "printf 'Loaded Modules:\\n more_module (static)\\n shared_module (shared)\\n'";
  ExpectText(Program::Run(with({"--define", "More", "--modules", said})),
             "a.example,more.example,module.example\t*:80\t-\t/srv/8a8\tapache2.conf:1\n");
  ExpectText(Program::Run(with({"--modules", "printf 'Compiled in modules:\\n  core.c\\n'"})),
             "a.example\t*:80\t-\t/srv/8a8\tapache2.conf:1\n");
  ExpectFailure(Program::Run(with({"--modules", "echo no"})), "echo no: it names no modules:\nno");
}

// --- inspect --server ---

TEST_F(Sites, AreShownWithTheirFilesByInspect) {
  m_sandbox.Write("nginx.conf", "http {\n  include sites/*;\n  include no/*;\n}\n");
  m_sandbox.Write("sites/c",
                  "include sites/b;\nserver {\n  listen [::1]:81;\n  server_name b.example;\n}\n");
  const Outcome outcome = Program::Run({"inspect", "--server", "--dialect", "nginx", "nginx.conf"});
  EXPECT_EQ(outcome.out,
            "nginx.conf:1: http {\n"
            "nginx.conf:2:   include sites/*;  -> sites/a sites/b sites/c\n"
            "nginx.conf:3:   include no/*;  -> nothing\n"
            "sites/a:1: server {  = a.example *.a.example on *:80 *:443\n"
            "sites/a:2:   listen 80;\n"
            "sites/a:3:   listen 443 ssl default_server;\n"
            "sites/a:4:   server_name A.example *.a.example;\n"
            "sites/a:5:   root /srv/a;\n"
            "sites/b:1: server {\n"
            "sites/b:3: server {  = b.example on [::1]:81\n"
            "sites/b:4:   listen [::1]:81 ssl;\n"
            "sites/b:5:   server_name b.example;\n"
            "sites/c:1: include sites/b;  -> sites/b\n"
            "sites/c:2: server {  = b.example on [::1]:81\n"
            "sites/c:3:   listen [::1]:81;\n"
            "sites/c:4:   server_name b.example;\n"
            "\n"
            "sites/b:3:1: warning: sites/b:3:1 'server' (b.example, [::1]:81) and sites/c:2:1 "
            "'server' (b.example, [::1]:81) both answer to 'b.example' on [::1]:81, and the server "
            "would ignore all but the first of them [collision]\n"
            "    server {\n"
            "    ^\n"
            "1 warning\n");
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exit_code, 6);
  EXPECT_EQ(Program::Run({"inspect", "--server", "--ignore", "collision", "--dialect", "nginx",
                          "nginx.conf"})
                .exit_code,
            0);
}

TEST_F(Sites, AreInspectedEachFileOnce) {
  m_sandbox.Write("nginx.conf",
                  "http {\n  include sites/b;\n  include sites/*;\n  include x;\n}\n");
  m_sandbox.Write("sites/b", "server {\n}\n}\n");
  const Outcome outcome = Program::Run({"inspect", "--server", "--dialect", "nginx", "nginx.conf"});
  EXPECT_EQ(outcome.out.find("sites/b:1:"), outcome.out.rfind("sites/b:1: server"));
  EXPECT_THAT(outcome.out, HasSubstr("nginx.conf:4:3: warning: there is no 'x' [missing-file]\n"
                                     "      include x;\n      ^\n1 warning\n"));
  EXPECT_THAT(outcome.out, HasSubstr("sites/b:3:1: error: nothing is open that this would close "
                                     "[syntax-error]"));
  EXPECT_EQ(outcome.exit_code, 6);
}

TEST_F(Sites, NeedServerForItsOptions) {
  const Outcome outcome = Program::Run({"inspect", "--root", "in", "nginx.conf"});
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.err, HasSubstr("--server"));
}

// --- The page ---

// The blocks of text of docs/server.md.
Words TextsOfPage() {
  std::ifstream page(QELTEMPLATE_SOURCE_DIR "/docs/server.md");
  Words texts;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line == "```text") texts.emplace_back();
    if (inside && line != "```") texts.back() += line + "\n";
    inside = line == "```text" || (inside && line != "```");
  }
  return texts;
}

std::string Without(std::string text, const std::string& what) {
  for (std::size_t at; (at = text.find(what)) != std::string::npos;) text.erase(at, what.size());
  return text;
}

TEST_F(Sites, AreTheTableThatThePageShows) {
  std::filesystem::create_directory(m_sandbox.PathOf("sites-enabled"));
  m_sandbox.Write("nginx.conf",
                  "http {\n  include sites-enabled/*;\n\n\n\n\n\n\n  server {\n    listen 80;\n    "
                  "root /srv/default;\n  }\n}\n");
  m_sandbox.Write("sites-enabled/a",
                  "server {\nlisten 80;\nlisten 443 ssl;\nserver_name a.example www.a.example;\n"
                  "root /srv/a;\n}\n");
  m_sandbox.Write("sites-enabled/shop",
                  "server {\nlisten 443 ssl;\nserver_name shop.example *.shop.example;\n"
                  "root /srv/shop;\n}\n");
  const std::string line = QELTEMPLATE_PROGRAM " sites --dialect nginx nginx.conf";
  const Outcome outcome =
      m_sandbox.Run({"script", "--quiet", "--return", "--command", line, "/dev/null"});
  EXPECT_EQ(Without(outcome.out, "\r"), Without(TextsOfPage().at(0), "/etc/nginx/"));
}

TEST_F(Sites, AreInspectedAsThePageShows) {
  m_sandbox.Write("nginx.conf", "http {\n  include sites/*;\n}\n");
  m_sandbox.Write("sites/a", "server {\n  server_name a.example;\n  listen 80;\n}\n");
  m_sandbox.Write("sites/b", "server {\n  listen 80;\n  server_name a.example;\n}\n");
  const Words texts = TextsOfPage();
  EXPECT_EQ(Program::Run({"inspect", "--server", "--dialect", "nginx", "nginx.conf"}).out,
            texts.at(1) + "\n" + texts.at(2));
}

// Files that take their time, to be opened, are counted on a terminal after a second; then the
// line goes.
TEST_F(Sites, ShowHowFarTheReadingIsWhenItTakesLong) {
  for (int i = 0; i < 20; ++i) m_sandbox.Write("sites/file" + std::to_string(i), "");
  const auto shown = [this](const std::string& delay) {
    const std::string line =
        "env ASAN_OPTIONS=detect_leaks=0 strace -o calls -e inject=openat:delay_enter=" + delay +
        " " QELTEMPLATE_PROGRAM " sites --dialect nginx nginx.conf >out";
    return m_sandbox.Run({"script", "--quiet", "--return", "--command", line, "/dev/null"}).out;
  };
  EXPECT_THAT(shown("80000"), testing::MatchesRegex("(\r[0-9]+ files read)+\r\x1b\\[K"));
  EXPECT_EQ(shown("1"), "");
  EXPECT_EQ(m_sandbox.Read("out"), m_a + m_b1 + m_b2);
}

// No file is written: none is opened for that, made, renamed or removed.
TEST_F(Sites, AreReadOnly) {
  const std::string calls = m_sandbox.PathOf("calls");
  const Outcome outcome =
      m_sandbox.Run({"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq", "-e",
                     "trace=%file,ftruncate,fallocate", "-o", calls, QELTEMPLATE_PROGRAM, "sites",
                     "--dialect", "nginx", "nginx.conf"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  const std::string traced = Sandbox::ReadFile(calls);
  EXPECT_THAT(traced, HasSubstr("sites/b"));
  for (const char* const call :
       {"O_WRONLY", "O_RDWR", "O_CREAT", "O_TRUNC", "rename", "unlink", "mkdir", " link(",
        "linkat(", "truncate", "chmod", "chown", "utime"}) {
    EXPECT_THAT(traced, Not(HasSubstr(call)));
  }
}

TEST_F(Sites, AreThoseOfTheOnlyServerThere) {
  const std::string a = m_sandbox.PathOf("nginx.conf");
  const std::string b = m_sandbox.PathOf("site.conf");
  const std::string none = m_sandbox.PathOf("none.conf");
  const auto found = [](const std::vector<cli::MainFile>& files, const std::string& dialect) {
    try {
      return std::string(OnlyMainFile(files, dialect).file);
    } catch (const cli::Failure& failure) {
      return std::string(failure.what());
    }
  };
  const cli::MainFile first = {a.c_str(), Dialect::kNginx};
  const cli::MainFile second = {b.c_str(), Dialect::kApache};
  const cli::MainFile third = {none.c_str(), Dialect::kApache};
  EXPECT_EQ(found({first, third}, ""), a);
  EXPECT_EQ(found({first, second, third}, "apache"), b);
  EXPECT_EQ(found({first, second}, ""),
            "there are several servers here; name one of " + a + ", " + b);
  EXPECT_EQ(found({third}, ""),
            "no server's main file is where it usually is; name it as MAIN.conf");
  EXPECT_EQ(found({first, third}, "apache"),
            "no server's main file is where it usually is; name it as MAIN.conf");
}

}  // namespace
