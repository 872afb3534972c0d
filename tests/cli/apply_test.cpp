// SPDX-License-Identifier: Apache-2.0

// What apply does with files: many, in place, to another file, dry; what it says about it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "cli/program.h"

namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::Not;

class Apply : public Program {
 protected:
  // The values that make kSite one named "b".
  static Words Renaming(const Words& more) {
    Words words = {"--old", "name=a.example", "--set", "name=b"};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  Outcome Rename(const Words& more) const { return Program::Apply(Renaming(more)); }

  // The same without --dialect.
  Outcome RenameUnknown(const Words& more) const {
    Words words = {"apply", "--template", "site.template"};
    const Words rest = Renaming(more);
    words.insert(words.end(), rest.begin(), rest.end());
    return Run(words);
  }

  // Runs a shell command line in which "$@" is the program, told to rename.
  Outcome RenameInShell(const std::string& shell, const Words& more) const {
    Words words = {"apply", "--dialect", "nginx", "--template", "site.template"};
    const Words rest = Renaming(more);
    words.insert(words.end(), rest.begin(), rest.end());
    return RunInShell(shell, words);
  }

  // Writes "1.conf" and so on, and returns these names.
  Words WriteSites(int count) const {
    Words names;
    for (int i = 1; i <= count; ++i) {
      names.push_back(std::to_string(i) + ".conf");
      m_sandbox.Write(names.back(), kSite);
    }
    return names;
  }

  // Has Rename set the root to "b" instead, which is so in "done.conf" already.
  void MoveRoot() const {
    m_sandbox.Write("site.template", "server {\nserver_name a.example;\nroot [% $name %];\n}\n");
    m_sandbox.Write("done.conf", "server {\nserver_name a.example;\nroot b;\n}\n");
  }

  bool Exists(const std::string& name) const {
    return std::filesystem::exists(m_sandbox.PathOf(name));
  }

  void WriteScript(const std::string& name, const std::string& text) const {
    m_sandbox.Write(name, "#!/bin/sh\n" + text + "\n");
    std::filesystem::permissions(m_sandbox.PathOf(name), std::filesystem::perms::owner_all);
  }
};

void ExpectSaid(const Outcome& outcome, const Words& lines) {
  std::string all;
  for (const std::string& line : lines) all += "qeltemplate: " + line + "\n";
  EXPECT_EQ(outcome.err, all);
}

// --- The command line ---

TEST_F(Apply, RefusesOptionsThatDoNotGoTogether) {
  struct Case {
    const char* name;
    Words options;
    const char* message;
  };
  const Case cases[] = {
      {"two places for the result",
       {"--in-place", "--output", "x", "site.conf"},
       "--in-place: excludes --output"},
      {"several files to standard output",
       {"site.conf", "b"},
       "CONFIG: several need --diff, --in-place, --dry-run or --json"},
      {"several files to one",
       {"--output", "x", "site.conf", "b"},
       "--output: takes one CONFIG only"},
      {"standard input among files",
       {"--diff", "site.conf", "-"},
       "CONFIG: \"-\" cannot be one of several"},
      {"standard input in place",
       {"--in-place"},
       "--in-place: standard input cannot be replaced; name a CONFIG"},
      {"standard input in place, named",
       {"--in-place", "-"},
       "--in-place: standard input cannot be replaced; name a CONFIG"},
      {"standard input for both",
       {"--values", "-"},
       "--values: standard input holds the configuration; name a CONFIG"},
      {"standard input for two values",
       {"--values", "-", "--values", "-", "site.conf"},
       "--values: standard input can be read once only"},
      {"a check of nothing",
       {"--check", "site.conf"},
       "--check: there is nothing to ask the server about without --in-place or --output"},
      {"a reload of nothing",
       {"--reload", "true", "site.conf"},
       "--reload: there is nothing to ask the server about without --in-place or --output"},
      {"an empty reload",
       {"--reload", "", "--in-place", "site.conf"},
       "--reload: the command is empty"},
      {"a suffix in another directory",
       {"--in-place=/x", "site.conf"},
       "--in-place: the suffix '/x' must not hold a '/'"},
      {"an empty suffix",
       {"--in-place=", "site.conf"},
       "--in-place=: nothing stands behind the '='"},
      {"a colour that is none",
       {"--color", "red", "site.conf"},
       "--color: 'red' is none of auto, always, never"},
      {"jobs that are no number",
       {"--jobs", "many", "site.conf"},
       "Could not convert: --jobs = many"},
      {"set and unset", {"--unset", "name", "site.conf"}, "--unset: 'name' is given by --set, too"},
      {"a guard without a name", {"--force", "", "site.conf"}, "--force: the name is empty"},
      {"a raw value without a name", {"--raw", "", "site.conf"}, "--raw: the name is empty"},
      {"never and only",
       {"--no-create", "--only-create", "site.conf"},
       "--no-create: excludes --only-create"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = Rename(c.options);
    EXPECT_THAT(outcome.err, testing::StartsWith("qeltemplate: "s + c.message + "\nTry '"));
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
  }
}

TEST_F(Apply, ExitsWithACodeForEachEnd) {
  struct Case {
    const char* name;
    Words options;
    int exit_code;
  };
  const Case cases[] = {
      {"changed", {"site.conf"}, 0},
      {"changed, asked", {"--exit-code", "site.conf"}, 1},
      {"a diff, asked", {"--exit-code", "--diff", "site.conf"}, 1},
      {"would change, asked", {"--exit-code", "--dry-run", "site.conf"}, 1},
      {"unchanged, asked", {"--exit-code", "done.conf"}, 0},
      {"one of two changed, asked", {"--exit-code", "--diff", "done.conf", "site.conf"}, 1},
      {"wrong usage", {"--exit-code", "--colour"}, 2},
      {"failed", {"--exit-code", "none.conf"}, 3},
      {"one of two failed", {"--exit-code", "--diff", "none.conf", "site.conf"}, 3},
      {"refused", {"--exit-code", "--only-create", "done.conf"}, 4},
      {"one of two refused", {"--exit-code", "--diff", "twice.conf", "site.conf"}, 4},
      {"one refused, one failed", {"--diff", "twice.conf", "none.conf"}, 3},
      {"skipped, asked", {"--exit-code", "--skip-missing", "other.conf"}, 0},
      {"the server refuses", {"--exit-code", "--in-place", "--check=false", "site.conf"}, 5},
  };
  MoveRoot();
  m_sandbox.Write("twice.conf", std::string(kSite) + kSite);
  m_sandbox.Write("other.conf", ServerNamed("other"));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Program::Apply(Renaming(c.options)).exit_code, c.exit_code);
  }
}

// --- The dialect ---

TEST_F(Apply, GuessesTheDialectAndSaysSo) {
  const Outcome outcome = RenameUnknown({"site.conf"});
  EXPECT_EQ(outcome.out, ServerNamed("b"));
  EXPECT_EQ(outcome.exit_code, 0);
  ExpectSaid(outcome, {"site.conf: taken for nginx; use --dialect if that is wrong"});
}

TEST_F(Apply, GuessesTheDialectOfApacheToo) {
  m_sandbox.Write("site.template", "<VirtualHost *:80>\nServerName {% $name %}\n</VirtualHost>\n");
  m_sandbox.Write("site.conf", "<VirtualHost *:80>\nServerName a.example\n</VirtualHost>\n");
  const Outcome outcome = RenameUnknown({"site.conf"});
  EXPECT_EQ(outcome.out, "<VirtualHost *:80>\nServerName b\n</VirtualHost>\n");
  ExpectSaid(outcome, {"site.conf: taken for apache; use --dialect if that is wrong"});
}

TEST_F(Apply, FailsWhereTheDialectCannotBeTold) {
  m_sandbox.Write("site.conf", "");
  ExpectFailure(RenameUnknown({"site.conf"}),
                "site.conf: its language cannot be told from the text; name it with --dialect "
                "(apache, nginx)");
}

TEST_F(Apply, RefusesAFileOfAnotherDialectThanTheOthers) {
  m_sandbox.Write("b.conf", "<VirtualHost *:80>\n</VirtualHost>\n");
  const Outcome outcome = RenameUnknown({"--in-place", "site.conf", "b.conf"});
  ExpectSaid(outcome, {"site.conf: taken for nginx; use --dialect if that is wrong",
                       "b.conf: not edited:\n  site.template: this is written for nginx, and would "
                       "be read as apache. Correct the dialect, or name the right file [syntax]",
                       "1 changed, 0 unchanged, 0 skipped, 1 refused, 0 failed",
                       "nothing is written: all files or none"});
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
}

TEST_F(Apply, GuessesTheDialectOfAPrototypeByItsTemplate) {
  const Outcome outcome = Run({"prototype", "--template", "site.template", "--set", "name=b"});
  EXPECT_EQ(outcome.out, "server {\nserver_name b;\n}\n");
  ExpectSaid(outcome, {"site.template: taken for nginx; use --dialect if that is wrong"});
}

TEST_F(Apply, RefusesADialectThatTheTextContradicts) {
  m_sandbox.Write("nginx.conf", "server {\nlisten 80;\nserver_name a;\n}\n");
  m_sandbox.Write("apache.conf", "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n");
  m_sandbox.Write("empty.conf", "");
  m_sandbox.Write("nginx.template", "server {\nserver_name a;\ngzip on;\n}\n");
  m_sandbox.Write("apache.template", "<VirtualHost *:80>\nServerSignature Off\n</VirtualHost>\n");
  struct Case {
    const char* name;
    const char* dialect;
    const char* template_file;
    const char* config;
    const char* said;  // "": nothing
  };
  const Case cases[] = {
      {"nginx for apache", "apache", "nginx.template", "nginx.conf",
       "nginx.conf: this is written for nginx, and would be read as apache. Correct the dialect, "
       "or "
       "name the right file [syntax]"},
      {"apache for nginx", "nginx", "apache.template", "apache.conf",
       "apache.conf: this is written for apache, and would be read as nginx. Correct the dialect, "
       "or "
       "name the right file [syntax]"},
      {"the template", "apache", "nginx.template", "apache.conf",
       "nginx.template: this is written for nginx, and would be read as apache. Correct the "
       "dialect, "
       "or name the right file [syntax]"},
      {"both are right", "apache", "apache.template", "apache.conf", ""},
      {"one that cannot be told", "apache", "apache.template", "empty.conf", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Words request = {"--dialect", c.dialect, "--template", c.template_file, c.config};
    const std::string said = c.said;
    for (const char* const command : {"apply", "explain"}) {
      SCOPED_TRACE(command);
      Words words = {command};
      words.insert(words.end(), request.begin(), request.end());
      const Outcome outcome = Run(words);
      EXPECT_EQ(outcome.exit_code, said.empty() ? 0 : 4) << outcome.err;
      if (said.empty()) {
        EXPECT_EQ(outcome.err, "");
      } else {
        EXPECT_THAT(outcome.out + outcome.err, HasSubstr(said));
      }
    }
  }
  EXPECT_EQ(Run({"apply", "--dialect", "apache", "--template", "nginx.template", "--force",
                 "syntax", "empty.conf"})
                .exit_code,
            0);
}

TEST_F(Apply, WarnsOfADialectThatATemplateAloneContradicts) {
  const std::string said =
      "warning: site.template: this is written for nginx, and would be read as apache. Correct the "
      "dialect, or name the right file";
  EXPECT_THAT(Run({"lint", "--dialect", "apache", "site.template"}).err, HasSubstr(said));
  EXPECT_EQ(Run({"lint", "--dialect", "nginx", "site.template"}).err, "");
  const Words prototype = {"prototype", "--template", "site.template",
                           "--set",     "name=b",     "--dialect"};
  Words words = prototype;
  words.emplace_back("apache");
  EXPECT_THAT(Run(words).err, HasSubstr(said));
  words.back() = "nginx";
  EXPECT_EQ(Run(words).err, "");
}

// --- Values ---

TEST_F(Apply, MergesValuesFiles) {
  struct Case {
    const char* name;
    Words options;
    const char* input;
    std::string text;  // "": the edit is refused, since its block has no name any more
  };
  m_sandbox.Write("old.yaml", "name: {old: a.example, new: x}\n");
  m_sandbox.Write("new.json", R"({"name": "b"})");
  m_sandbox.Write("none.yml", "name: ~\n");
  const Case cases[] = {
      {"YAML", {"--values", "old.yaml"}, "", ServerNamed("x")},
      {"later wins, side by side",
       {"--values", "old.yaml", "--values", "new.json"},
       "",
       ServerNamed("b")},
      {"null wins, too", {"--values", "old.yaml", "--values", "none.yml"}, "", ""},
      {"the command line wins", {"--set", "name=c", "--values", "old.yaml"}, "", ServerNamed("c")},
      {"standard input", {"--values", "-"}, "name: {old: a.example, new: y}", ServerNamed("y")},
      {"standard input, JSON",
       {"--values", "-"},
       R"({"name": {"old": "a.example", "new": "y"}})",
       ServerNamed("y")},
      {"unset", {"--values", "old.yaml", "--unset", "name"}, "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Words options = c.options;
    options.push_back("site.conf");
    const Outcome outcome = Program::Apply(options, c.input);
    EXPECT_EQ(outcome.out, c.text);
    EXPECT_EQ(outcome.exit_code, c.text.empty() ? 4 : 0);
    EXPECT_THAT(outcome.err, HasSubstr(c.text.empty() ? "[missing-value]" : ""));
  }
}

TEST_F(Apply, RefusesAValueOfTheCommandLineThatNothingUses) {
  const Words typo = {"--old", "name=a.example", "--set", "name=b", "--set", "nmae=c", "site.conf"};
  const Outcome outcome = Program::Apply(typo);
  EXPECT_THAT(outcome.err, HasSubstr("no line of the template uses the value 'nmae'"));
  EXPECT_EQ(outcome.exit_code, 4);
  Words forced = typo;
  forced.insert(forced.end(), {"--force", "unused-value"});
  ExpectText(Program::Apply(forced), ServerNamed("b"));
  m_sandbox.Write("more.json", R"({"nmae": "c"})");
  ExpectText(Rename({"--values", "more.json", "site.conf"}), ServerNamed("b"));
}

TEST_F(Apply, NamesStandardInputAsValuesFile) {
  ExpectFailure(Program::Apply({"--values", "-", "site.conf"}, "name: [b]\n"),
                "(standard input):1:7: \"name\" must be a string, null or an object, not array");
}

// --- Where the result goes ---

TEST_F(Apply, ReplacesFilesInPlace) {
  struct Case {
    const char* name;
    Words options;
    std::string out;
  };
  const std::string diff =
      "--- site.conf\n+++ site.conf\n@@ -1,4 +1,4 @@\n server {\n"
      "-server_name a.example;\n+server_name b;\n root /srv/a;\n }\n";
  const Case cases[] = {
      {"no backup", {"--in-place"}, ""},
      {"a backup", {"--in-place=.orig"}, ""},
      {"shown, too", {"--in-place", "--diff"}, diff},
      {"to itself", {"--output", "site.conf"}, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_sandbox.Write("site.conf", kSite);
    Words options = c.options;
    options.push_back("site.conf");
    ExpectText(Rename(options), c.out);
    EXPECT_EQ(m_sandbox.Read("site.conf"), ServerNamed("b"));
  }
  EXPECT_EQ(m_sandbox.Read("site.conf.orig"), kSite);
}

TEST_F(Apply, WritesAnotherFile) {
  for (const char* const what : {"a new file", "a file that is there"}) {
    SCOPED_TRACE(what);
    ExpectText(Rename({"--output", "new.conf", "site.conf"}), "");
    EXPECT_EQ(m_sandbox.Read("new.conf"), ServerNamed("b"));
    EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
    m_sandbox.Write("new.conf", "old\n");
  }
}

TEST_F(Apply, WritesAnotherFileFromStandardInput) {
  ExpectText(Program::Apply(Renaming({"--output", "new.conf"}), kSite), "");
  EXPECT_EQ(m_sandbox.Read("new.conf"), ServerNamed("b"));
}

TEST_F(Apply, WritesNothingWhenDry) {
  struct Case {
    const char* name;
    Words options;
    std::string out;
  };
  const std::string changed = "site.conf: would be changed\n";
  const Case cases[] = {
      {"to standard output", {}, changed},
      {"in place", {"--in-place=.orig"}, changed},
      {"to a file", {"--output", "new.conf"}, changed},
      {"with a check",
       {"--in-place", "--check=touch checked", "--reload", "touch loaded"},
       changed},
      {"with a diff",
       {"--in-place", "--diff"},
       "--- site.conf\n+++ site.conf\n@@ -1,4 +1,4 @@\n server {\n-server_name a.example;\n"
       "+server_name b;\n root /srv/a;\n }\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Words options = c.options;
    options.insert(options.end(), {"--dry-run", "site.conf"});
    const Outcome outcome = Rename(options);
    EXPECT_EQ(outcome.out, c.out);
    ExpectSaid(outcome, {"1 changed, 0 unchanged, 0 skipped, 0 refused, 0 failed"});
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
    for (const char* const name : {"site.conf.orig", "new.conf", "checked", "loaded"}) {
      EXPECT_FALSE(Exists(name)) << name;
    }
  }
}

// --- The server ---

TEST_F(Apply, AsksTheServersOwnTest) {
  struct Case {
    const char* dialect;
    const char* program;
    const char* site;
    const char* template_text;
  };
  const Case cases[] = {
      {"nginx", "nginx", kSite, kTemplate},
      {"apache", "apache2ctl", "<VirtualHost *:80>\nServerName a.example\n</VirtualHost>\n",
       "<VirtualHost *:80>\nServerName {% $name %}\n</VirtualHost>\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.dialect);
    m_sandbox.Write("site.conf", c.site);
    m_sandbox.Write("site.template", c.template_text);
    WriteScript(c.program, "echo \"$@\" > asked");
    const Outcome outcome = RunInShell(
        "PATH=.:$PATH \"$@\"", {"apply", "--dialect", c.dialect, "--template", "site.template",
                                "--old", "name=a.example", "--set", "name=b", "--in-place",
                                "--check", "--reload", "cp site.conf loaded", "site.conf"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    EXPECT_EQ(m_sandbox.Read("asked"), "-t\n");
    EXPECT_THAT(m_sandbox.Read("loaded"), HasSubstr("b"));
  }
}

TEST_F(Apply, KeepsTheOldFileWhenNginxRefuses) {
  m_sandbox.Write("main.conf",
                  "pid nginx.pid;\nevents {\n}\nhttp {\naccess_log off;\ninclude site.conf;\n}\n");
  m_sandbox.Write("site.template", "server {\nserver_name {% $name %};\n{% $line %};\n}\n");
  const auto apply = [&](const char* line) {
    return Rename({"--set", "line="s + line, "--raw", "line", "--in-place",
                   "--check=nginx -t -p . -c main.conf -e stderr", "site.conf"});
  };
  const Outcome refused = apply("no_such_directive");
  EXPECT_EQ(refused.exit_code, 5);
  EXPECT_THAT(refused.err, HasSubstr("unknown directive \"no_such_directive\""));
  EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
  const Outcome taken = apply("charset utf-8");
  EXPECT_EQ(taken.exit_code, 0) << taken.err;
  EXPECT_EQ(m_sandbox.Read("site.conf"),
            "server {\nserver_name b;\nroot /srv/a;\ncharset utf-8;\n}\n");
}

TEST_F(Apply, KeepsTheOldFileWhenApacheRefuses) {
  const std::string config =
      "LoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
      "ServerName x\nListen 127.0.0.1:8089\nErrorLog /dev/null\n"
      "<VirtualHost 127.0.0.1:8089>\nServerName a.example\n</VirtualHost>\n";
  m_sandbox.Write("site.conf", config);
  m_sandbox.Write(
      "site.template",
      "<VirtualHost 127.0.0.1:8089>\nServerName {% $name %}\n{% $line %}\n</VirtualHost>\n");
  const auto apply = [&](const char* line) {
    return Run({"apply", "--dialect", "apache", "--template", "site.template", "--old",
                "name=a.example", "--set", "name=b", "--set", "line="s + line, "--raw", "line",
                "--in-place", "--check=apache2 -t -d . -f {}", "site.conf"});
  };
  const Outcome refused = apply("NoSuchDirective on");
  EXPECT_EQ(refused.exit_code, 5);
  EXPECT_THAT(refused.err, HasSubstr("Invalid command 'NoSuchDirective'"));
  EXPECT_EQ(m_sandbox.Read("site.conf"), config);
  const Outcome taken = apply("ServerAdmin b@b.example");
  EXPECT_EQ(taken.exit_code, 0) << taken.err;
  EXPECT_THAT(m_sandbox.Read("site.conf"), HasSubstr("ServerName b\n"));
}

// The server's own test, with the configuration `main` of this directory.
class ServersOwnTest : public Apply {
 protected:
  void ReadMain(const char* name, const char* server) const {
    WriteScript(name, "PATH=${PATH#.:}; exec "s + server + " \"$@\"");
  }

  Outcome Renamed(const char* dialect, const std::string& check, const std::string& name,
                  const Words& more = {}) const {
    Words words = {"apply",  "--dialect",  dialect, "--template",  "site.template", "--old",
                   "name=a", "--in-place", check,   "--exit-code", "--set",         "name=" + name};
    words.insert(words.end(), more.begin(), more.end());
    words.emplace_back("site.conf");
    return RunInShell("PATH=.:$PATH \"$@\"", words);
  }
};

TEST_F(ServersOwnTest, OfNginxTellsNewWarnings) {
  const auto site = [](const std::string& name) {
    return "server {\nlisten 127.0.0.1:8081;\nserver_name " + name + ";\n}\n";
  };
  m_sandbox.Write("main.conf", "pid nginx.pid;\nevents {\n}\nhttp {\naccess_log off;\n" +
                                   site("b") + site("b") + site("c") + "include site.conf;\n}\n");
  ReadMain("nginx", "nginx -p . -c main.conf -e stderr");
  struct Case {
    const char* name;
    const char* check;
    Words said;
    int exit_code;
  };
  const std::string conflict = "conflicting server name \"c\" on 127.0.0.1:8081, ignored";
  const Case cases[] = {
      {"d", "--check", {}, 1},
      {"d", "--check=strict", {}, 1},
      {"c", "--check", {"warning: nginx -t: " + conflict}, 1},
      {"c",
       "--check=strict",
       {"nginx -t: warns of the new files as it did not of the old ones, which are back:\n" +
        conflict},
       5},
      {"a", "--check=strict", {}, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.check + " "s + c.name);
    m_sandbox.Write("site.conf", site("a"));
    const Outcome outcome = Renamed("nginx", c.check, c.name);
    ExpectSaid(outcome, c.said);
    EXPECT_EQ(outcome.exit_code, c.exit_code);
    EXPECT_EQ(m_sandbox.Read("site.conf"), site(c.exit_code == 1 ? c.name : "a"));
  }
}

TEST_F(ServersOwnTest, OfApacheTellsNewWarnings) {
  const auto site = [](const std::string& name, const std::string& more) {
    return "<VirtualHost 127.0.0.1:8089>\nServerName " + name + "\n" + more + "</VirtualHost>\n";
  };
  m_sandbox.Write("site.template", site("{% $name %}", "DocumentRoot {% $root %}\n"));
  m_sandbox.Write("httpd.conf",
                  "LoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
                  "ServerName x\nListen 127.0.0.1:8089\nErrorLog /dev/null\nPidFile httpd.pid\n"
                  "NameVirtualHost *:8089\n" +
                      site("y", "DocumentRoot /no-such-root-of-y\n") + "Include site.conf\n");
  ReadMain("apache2ctl", "apache2 -d . -f httpd.conf");
  const auto rename = [&](const char* check, const std::string& root) {
    m_sandbox.Write("site.conf", site("a", ""));
    return Renamed("apache", check, "b", {"--set", "root=" + root});
  };
  ExpectSaid(rename("--check=strict", "/tmp"), {});
  EXPECT_EQ(m_sandbox.Read("site.conf"), site("b", "DocumentRoot /tmp\n"));
  const std::string missing = "AH00112: Warning: DocumentRoot [/no-such-root] does not exist";
  ExpectSaid(rename("--check", "/no-such-root"), {"warning: apache2ctl -t: " + missing});
  EXPECT_EQ(m_sandbox.Read("site.conf"), site("b", "DocumentRoot /no-such-root\n"));
  const Outcome refused = rename("--check=strict", "/no-such-root");
  ExpectSaid(refused,
             {"apache2ctl -t: warns of the new files as it did not of the old ones, which are "
              "back:\n" +
              missing});
  EXPECT_EQ(refused.exit_code, 5);
  EXPECT_EQ(m_sandbox.Read("site.conf"), site("a", ""));
}

TEST_F(ServersOwnTest, IsNotWhatACommandOfThatNameIs) {
  WriteScript("nginx", "touch asked");
  WriteScript("strict", "touch strictly");
  m_sandbox.Write("site.template", "server {\nserver_name {% $name %};\n}\n");
  m_sandbox.Write("site.conf", ServerNamed("a"));
  EXPECT_EQ(Renamed("nginx", "--check=./strict", "b").exit_code, 1);
  EXPECT_TRUE(Exists("strictly"));
  EXPECT_FALSE(Exists("asked"));
}

// --- Many files ---

TEST_F(Apply, ShowsWhatChangesInSeveralFilesInTheirOrder) {
  WriteSites(2);
  MoveRoot();
  const Outcome outcome = Rename({"--diff", "2.conf", "done.conf", "1.conf"});
  const std::string hunk =
      "@@ -1,4 +1,4 @@\n server {\n server_name a.example;\n-root /srv/a;\n"
      "+root b;\n }\n";
  EXPECT_EQ(outcome.out, "--- 2.conf\n+++ 2.conf\n" + hunk + "--- 1.conf\n+++ 1.conf\n" + hunk);
  ExpectSaid(outcome, {"2 changed, 1 unchanged, 0 skipped, 0 refused, 0 failed"});
  EXPECT_EQ(outcome.exit_code, 0);
}

TEST_F(Apply, ReportsOnAllFilesWhenSomeFail) {
  MoveRoot();
  const Outcome outcome = Rename({"--dry-run", "none.conf", "site.conf", ".", "done.conf"});
  EXPECT_EQ(outcome.out, "site.conf: would be changed\n");
  ExpectSaid(outcome, {"none.conf: No such file or directory", ".: Is a directory",
                       "1 changed, 1 unchanged, 0 skipped, 0 refused, 2 failed"});
  EXPECT_EQ(outcome.exit_code, 3);
}

TEST_F(Apply, CountsWhatBecomesOfFiles) {
  MoveRoot();
  m_sandbox.Write("twice.conf", std::string(kSite) + kSite);
  m_sandbox.Write("other.conf", ServerNamed("other"));
  const Outcome outcome = Rename({"--dry-run", "--skip-missing", "site.conf", "done.conf",
                                  "other.conf", "twice.conf", "none.conf"});
  EXPECT_EQ(outcome.out, "site.conf: would be changed\n");
  EXPECT_THAT(outcome.err,
              HasSubstr("\nqeltemplate: 1 changed, 1 unchanged, 1 skipped, 1 refused, 1 failed\n"));
  EXPECT_EQ(outcome.exit_code, 3);
}

TEST_F(Apply, LeavesFilesWithoutTheBlockAloneWhenToldSo) {
  m_sandbox.Write("other.conf", ServerNamed("other"));
  ExpectSaid(Rename({"--in-place", "--skip-missing", "other.conf", "site.conf"}),
             {"1 changed, 0 unchanged, 1 skipped, 0 refused, 0 failed"});
  EXPECT_EQ(m_sandbox.Read("other.conf"), ServerNamed("other"));
  EXPECT_EQ(m_sandbox.Read("site.conf"), ServerNamed("b"));
  const Outcome without = Rename({"--in-place", "other.conf", "site.conf"});
  EXPECT_THAT(without.err, HasSubstr("[unmatched-section]"));
  EXPECT_EQ(without.exit_code, 4);
}

TEST_F(Apply, TakesAFileOnceThatIsNamedSeveralTimesAlsoWhereItIsSkipped) {
  m_sandbox.Write("other.conf", ServerNamed("other"));
  std::filesystem::create_symlink("other.conf", m_sandbox.PathOf("link.conf"));
  std::filesystem::create_symlink("site.conf", m_sandbox.PathOf("here.conf"));
  ExpectSaid(Rename({"--in-place", "--skip-missing", "other.conf", "here.conf", "link.conf",
                     "site.conf", "other.conf", "here.conf"}),
             {"1 changed, 0 unchanged, 1 skipped, 0 refused, 0 failed"});
  EXPECT_EQ(m_sandbox.Read("other.conf"), ServerNamed("other"));
  EXPECT_EQ(m_sandbox.Read("site.conf"), ServerNamed("b"));
}

// More of them than it takes to see that it is not worth while to look at each before.
TEST_F(Apply, EditsManyFilesOfWhichAFewMayBeSkipped) {
  constexpr int kFiles = 200;
  Words words = {"--in-place", "--skip-missing"};
  for (int i = 0; i < kFiles; ++i) {
    words.push_back(std::to_string(i) + ".conf");
    m_sandbox.Write(words.back(), i % 10 == 9 ? ServerNamed("other") : kSite);
  }
  ExpectSaid(Rename(words), {"180 changed, 0 unchanged, 20 skipped, 0 refused, 0 failed"});
  for (int i = 0; i < kFiles; ++i) {
    EXPECT_EQ(m_sandbox.Read(std::to_string(i) + ".conf"),
              ServerNamed(i % 10 == 9 ? "other" : "b"));
  }
}

TEST_F(Apply, TakesManyFilesWhereverTheyStandOnTheCommandLine) {
  constexpr int kFiles = 150;
  Words files;
  std::string shown;
  for (int i = 0; i < kFiles; ++i) {
    files.push_back(i == 100 ? "sites" : std::to_string(i) + ".conf");
    m_sandbox.Write(files.back(), kSite);
    shown += files.back() + ": would be changed\n";
  }
  const auto with = [&files](Words before, const Words& behind) {
    before.insert(before.end(), files.begin(), files.end());
    before.insert(before.end(), behind.begin(), behind.end());
    return before;
  };
  for (const Words& line :
       {with({"--dry-run"}, {}), with({}, {"--dry-run"}), with({"--dry-run", "--"}, {}),
        with({"--dry-run"}, {"--jobs=1"}), with({"--dry-run", "--force", "syntax"}, {})}) {
    const Outcome outcome = Rename(line);
    EXPECT_EQ(outcome.out, shown);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  }
  EXPECT_EQ(Rename(with({"--dry-run", "site.conf", "--all"}, {})).out,
            "site.conf: would be changed\n" + shown);
  for (const Words& wrong :
       {with({}, {}), with({"--output", "x"}, {}), with({"--dry-run", "-"}, {}),
        with({"--dry-run"}, {""}), with({"--dry-run"}, {"--none"})}) {
    EXPECT_EQ(Rename(wrong).exit_code, 2);
  }
}

// Without them the file is skipped at a glance.
TEST_F(Apply, FindsNamesInAnyCaseInFilesThatMayBeSkipped) {
  struct Case {
    const char* old_name;
    const char* in_file;
    bool is_there;
  };
  const Case cases[] = {
      {"a.example", "A.Example", true},    {"A.EXAMPLE", "a.example", true},
      {"a.example", "aa.example", false},  {"a1.b22.example", "x1 A1.B22.EXAMPLE", true},
      {"localhost", "LocalHost", true},    {"localhost", "local", false},
      {"*.example", "*.EXAMPLE", true},    {"a.example", "b.example", false},
      {"12.34.example", "12.34.e", false}, {"1.1.1.example", "1.1.1.1.example 1.1.1.Example", true},
  };
  m_sandbox.Write("last.conf", ServerNamed("last"));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.old_name + std::string(" in ") + c.in_file);
    m_sandbox.Write("first.conf", ServerNamed(c.in_file));
    const Outcome outcome =
        Program::Apply({"--old", std::string("name=") + c.old_name, "--set", "name=new",
                        "--in-place", "--skip-missing", "first.conf", "last.conf"});
    EXPECT_EQ(m_sandbox.Read("first.conf") != ServerNamed(c.in_file), c.is_there) << outcome.err;
    EXPECT_EQ(m_sandbox.Read("last.conf"), ServerNamed("last"));
  }
}

TEST_F(Apply, WritesNothingWhenOneOfSeveralIsRefusedBesideSkippedOnes) {
  m_sandbox.Write("other.conf", ServerNamed("other"));
  m_sandbox.Write("twice.conf", std::string(kSite) + kSite);
  const Outcome outcome =
      Rename({"--in-place", "--skip-missing", "other.conf", "site.conf", "twice.conf"});
  EXPECT_THAT(outcome.err,
              HasSubstr("\nqeltemplate: 1 changed, 0 unchanged, 1 skipped, 1 refused, 0 failed\n"
                        "qeltemplate: nothing is written: all files or none\n"));
  EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
}

TEST_F(Apply, WritesNothingWhenOneOfSeveralIsRefused) {
  m_sandbox.Write("twice.conf", std::string(kSite) + kSite);
  const Outcome outcome = Rename({"--in-place", "site.conf", "twice.conf"});
  EXPECT_THAT(outcome.err,
              HasSubstr("\nqeltemplate: 1 changed, 0 unchanged, 0 skipped, 1 refused, 0 failed\n"
                        "qeltemplate: nothing is written: all files or none\n"));
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
}

TEST_F(Apply, EditsAllBlocksThatFitWhenToldSo) {
  const std::string on_80 = "server {\nlisten 80;\nserver_name a.example;\n}\n";
  const std::string on_443 = "server {\nlisten 443 ssl;\nserver_name a.example;\n}\n";
  m_sandbox.Write("both.conf", on_80 + on_443);
  const Outcome refused = Rename({"both.conf"});
  EXPECT_EQ(refused.out, "");
  EXPECT_THAT(refused.err, HasSubstr("both.conf:1:1 'server' (a.example, *:80), "
                                     "both.conf:5:1 'server' (a.example, *:443)"));
  EXPECT_THAT(refused.err, HasSubstr("--all edits all of them [ambiguous]"));
  ExpectText(
      Rename({"--all", "both.conf"}),
      "server {\nlisten 80;\nserver_name b;\n}\nserver {\nlisten 443 ssl;\nserver_name b;\n}\n");
}

TEST_F(Apply, RefusesToRemoveNothingWhenToldSo) {
  m_sandbox.Write("site.template",
                  "server {\nserver_name {% $name %};\n{% if $none %}\nroot /srv/x;\n"
                  "location /y {\n}\n{% endif %}\n}\n");
  ExpectText(Rename({"site.conf"}), ServerNamed("b"));
  const Outcome outcome = Rename({"--must-exist", "site.conf"});
  EXPECT_THAT(outcome.err, HasSubstr("site.template:4:1: 'root /srv/x;' is to be removed, and is "
                                     "not there. Correct its old value [not-found]"));
  EXPECT_THAT(outcome.err,
              HasSubstr("site.template:5:1: there is no 'location /y {' in site.conf. It "
                        "was to be removed"));
  EXPECT_EQ(outcome.exit_code, 4);
}

TEST_F(Apply, ReplacesAllFilesOrNone) {
  const Words names = WriteSites(3);
  struct Case {
    const char* name;
    Words options;
    int exit_code;
    std::string text;
  };
  const Case cases[] = {
      {"a file is not there", {"--in-place", "1.conf", "2.conf", "none.conf", "3.conf"}, 3, kSite},
      {"a file is no file", {"--in-place", "1.conf", "2.conf", ".", "3.conf"}, 3, kSite},
      {"the check refuses the last",
       {"--in-place", "--check=case {} in *3.conf*) exit 1;; esac", "1.conf", "2.conf", "3.conf"},
       5,
       kSite},
      {"the reload fails",
       {"--in-place", "--reload", "false", "1.conf", "2.conf", "3.conf"},
       5,
       kSite},
      {"all is well", {"--in-place", "1.conf", "2.conf", "3.conf"}, 0, ServerNamed("b")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Rename(c.options).exit_code, c.exit_code);
    for (const std::string& name : names) EXPECT_EQ(m_sandbox.Read(name), c.text);
  }
}

TEST_F(Apply, SaysThatAFileWhichIsNotThereKeepsTheOthersFromBeingReplaced) {
  const Outcome several = Rename({"--in-place", "site.conf", "none.conf"});
  ExpectSaid(several,
             {"nothing is written: all files or none", "none.conf: No such file or directory"});
  ExpectSaid(Rename({"--in-place", "none.conf"}), {"none.conf: No such file or directory"});
}

TEST_F(Apply, EditsManyFilesWhateverTheJobs) {
  for (const char* const jobs : {"0", "1", "7"}) {
    SCOPED_TRACE(jobs);
    const Words names = WriteSites(300);
    Words options = {"--in-place", "--jobs", jobs};
    options.insert(options.end(), names.begin(), names.end());
    const Outcome outcome = Rename(options);
    EXPECT_EQ(outcome.exit_code, 0);
    ExpectSaid(outcome, {"300 changed, 0 unchanged, 0 skipped, 0 refused, 0 failed"});
    for (const std::string& name : names) ASSERT_EQ(m_sandbox.Read(name), ServerNamed("b"));
  }
}

TEST_F(Apply, ReplacesMoreFilesThanMayBeOpenAtFirst) {
  const Words names = WriteSites(300);
  Words options = {"--in-place"};
  options.insert(options.end(), names.begin(), names.end());
  const Outcome outcome = RenameInShell("ulimit -Sn 128 && exec \"$@\"", options);
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(m_sandbox.Read("300.conf"), ServerNamed("b"));
}

// --- Terminals ---

class OnTerminal : public Apply {
 protected:
  // What a terminal shows, standard error included.
  std::string Shown(const std::string& environment, const Words& more) const {
    std::string line = environment +
                       " exec " QELTEMPLATE_PROGRAM
                       " apply --dialect nginx --template site.template --old name=a.example"
                       " --set name=b";
    for (const std::string& word : more) line += ' ' + word;
    const Outcome outcome =
        m_sandbox.Run({"script", "--quiet", "--return", "--command", line, "/dev/null"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
    return outcome.out;
  }
};

constexpr char kRed[] = "\x1b[31m-server_name a.example;\x1b[m";
constexpr char kNoRed[] = "\r\n-server_name a.example;\r\n";

TEST_F(OnTerminal, ColoursADiff) {
  struct Case {
    const char* name;
    const char* environment;
    Words options;
    const char* shown;
  };
  const Case cases[] = {
      {"by itself", "NO_COLOR= TERM=xterm", {}, kRed},
      {"auto", "NO_COLOR= TERM=xterm", {"--color=auto"}, kRed},
      {"never", "NO_COLOR= TERM=xterm", {"--color=never"}, kNoRed},
      {"NO_COLOR", "NO_COLOR=1 TERM=xterm", {}, kNoRed},
      {"always wins over NO_COLOR", "NO_COLOR=1 TERM=xterm", {"--color", "always"}, kRed},
      {"a dumb terminal", "NO_COLOR= TERM=dumb", {}, kNoRed},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Words options = c.options;
    options.insert(options.end(), {"--diff", "site.conf"});
    EXPECT_THAT(Shown(c.environment, options), HasSubstr(c.shown));
  }
}

TEST_F(OnTerminal, ShowsHowFarManyFilesAre) {
  const Words names = WriteSites(20);
  Words options = {"--dry-run"};
  options.insert(options.end(), names.begin(), names.end());
  const std::string shown = Shown("", options);
  EXPECT_THAT(shown, HasSubstr("] 20/20\r\x1b[K"));
  EXPECT_THAT(shown, Not(HasSubstr("\x1b[31m")));
  EXPECT_THAT(Shown("", {"--dry-run", "site.conf"}), Not(HasSubstr("1/1")));
}

TEST_F(OnTerminal, ShowsNeitherElsewhere) {
  const Words names = WriteSites(20);
  Words options = {"--diff", "--color=auto"};
  options.insert(options.end(), names.begin(), names.end());
  const Outcome outcome = Rename(options);
  EXPECT_THAT(outcome.out, Not(HasSubstr("\x1b")));
  ExpectSaid(outcome, {"20 changed, 0 unchanged, 0 skipped, 0 refused, 0 failed"});
}

TEST_F(Apply, ColoursADiffAlwaysWhenToldSo) {
  const Outcome outcome = Rename({"--diff", "--color=always", "site.conf"});
  EXPECT_EQ(outcome.out,
            "\x1b[1m--- site.conf\x1b[m\n\x1b[1m+++ site.conf\x1b[m\n"
            "\x1b[36m@@ -1,4 +1,4 @@\x1b[m\n server {\n"
            "\x1b[31m-server_name a.example;\x1b[m\n\x1b[32m+server_name b;\x1b[m\n"
            " root /srv/a;\n }\n");
}

// --- The imports of the template ---

class ImportRoot : public Apply {
 protected:
  ImportRoot() {
    for (const char* const directory : {"root", "root/below", "root2"}) {
      std::filesystem::create_directory(m_sandbox.PathOf(directory));
    }
    for (const char* const file : {"root/part", "root/below/part", "root2/part"}) {
      m_sandbox.Write(file, "server_name {% $name %};\n");
    }
    m_sandbox.Write("values.json", R"({"file": "part"})");
    m_sandbox.Write("root/leads_out", "\n\n{% import root2/part %}\n");
    m_sandbox.Write("root/leads_in", "{% import root/part %}\n");
    std::filesystem::create_symlink("../root2/part", m_sandbox.PathOf("root/link_out"));
    std::filesystem::create_symlink("../root2", m_sandbox.PathOf("root/directory_out"));
    std::filesystem::create_symlink("root/part", m_sandbox.PathOf("link_in"));
  }

  Outcome RenameBy(const std::string& statements) const {
    m_sandbox.Write("site.template", "server {\n" + statements + "\n}\n");
    return Rename({"--values", "values.json", "--import-root", "root", "site.conf"});
  }
};

TEST_F(ImportRoot, LetsImportsFromInsideThrough) {
  for (const std::string& statements :
       {"{% import root/part %}"s, "{% import root/below/part %}"s, "{% import root/leads_in %}"s,
        "{% import root/../root/part %}"s, "{% import link_in %}"s, "{%import root/[% $file %]%}"s,
        "server_name {% $name %};\n{#} {% import root2/part %}"s}) {
    SCOPED_TRACE(statements);
    ExpectText(RenameBy(statements), ServerNamed("b"));
  }
}

TEST_F(ImportRoot, RefusesImportsFromOutside) {
  struct Case {
    const char* name;
    std::string statements;
    std::string place;
    std::string import;
  };
  const Case cases[] = {
      {"a sibling", "{% import root2/part %}", "site.template:2:4", "root2/part"},
      {"behind dots", "{% import root/../root2/part %}", "site.template:2:4", "root/../root2/part"},
      {"a link", "{% import root/link_out %}", "site.template:2:4", "root/link_out"},
      {"a link to a directory", "{% import root/directory_out/part %}", "site.template:2:4",
       "root/directory_out/part"},
      {"through another import", "{% import root/leads_out %}",
       m_sandbox.PathOf("root/leads_out:3:4"), "root2/part"},
      {"by a value", "\n{% import root2/[% $file %] %}", "site.template:3:4", "root2/part"},
      {"not there", "{% import root2/none %}", "site.template:2:4", "root2/none"},
      {"in a branch not taken", "{% if $none %}\n{% import root2/part %}\n{% endif %}",
       "site.template:3:4", "root2/part"},
      {"the second one", "{% import root/part %}\n{% import root2/part %}", "site.template:3:4",
       "root2/part"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectRefusal(RenameBy(c.statements), "site.conf: not edited",
                  c.place + ": there is no file '" + c.import +
                      "' in 'root', out of which no import may lead [import]");
  }
}

TEST_F(ImportRoot, LeavesOtherMistakesToTheTemplate) {
  struct Case {
    const char* name;
    std::string statements;
    std::string message;
  };
  const Case cases[] = {
      {"imported twice", "{% import root/part %}\n{% import root/part %}",
       "site.template:3:4: '" + m_sandbox.PathOf("root/part") + "' is imported a second time"},
      {"not there", "{% import root/none %}",
       "site.template:2:4: there is no file 'root/none' in 'root'"},
      {"not there, in a branch not taken", "{% if $none %}\n{% import root/none %}\n{% endif %}",
       "site.template:3:4: there is no file 'root/none' in 'root'"},
      {"no name", "{% import [% $missing %] %}", "site.template:2:4: there is no file ''"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = RenameBy(c.statements);
    EXPECT_THAT(outcome.err, HasSubstr("\n  " + c.message));
    EXPECT_THAT(outcome.err, HasSubstr("[import]"));
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.exit_code, 4);
  }
  ExpectRefusal(RenameBy("{% import root/below %}"), "site.conf: not edited",
                "site.template:2:4: '" + m_sandbox.PathOf("root/below") +
                    "' is not a file that can be read [import]");
}

TEST_F(ImportRoot, LooksBesideTheFileThatNamesAnImportFirst) {
  m_sandbox.Write("part", "server_name x;\n");
  m_sandbox.Write("root/leads_beside", "{% import part %}\n");
  m_sandbox.Write("root/below/leads_up", "{% import ../part %}\n");
  for (const char* const name : {"leads_beside", "below/leads_up"}) {
    SCOPED_TRACE(name);
    ExpectText(RenameBy("{% import root/"s + name + " %}"), ServerNamed("b"));
  }
}

TEST_F(ImportRoot, MustBeADirectory) {
  for (const std::string& root : {"none"s, "site.conf"s}) {
    ExpectFailure(Rename({"--import-root", root, "site.conf"}),
                  root + ": not a directory; --import-root takes the one that holds the templates");
  }
}

TEST_F(ImportRoot, MayBeTheWholeSystem) {
  m_sandbox.Write("site.template", "server {\n{% import root/part %}\n}\n");
  ExpectText(Rename({"--import-root", "/", "site.conf"}), ServerNamed("b"));
}

}  // namespace
