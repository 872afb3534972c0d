// SPDX-License-Identifier: Apache-2.0

// The program as its users meet it: run as a process.

#include "cli/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

// --- The command line ---

TEST_F(Program, RefusesWrongUsage) {
  struct Case {
    const char* name;
    Words arguments;
    const char* message;
    const char* help;
  };
  const Words apply = {"apply", "--dialect", "nginx", "--template", "site.template"};
  const auto with = [&](const Words& more) {
    Words all = apply;
    all.insert(all.end(), more.begin(), more.end());
    return all;
  };
  const Case cases[] = {
      {"nothing", {}, "A subcommand is required", "qeltemplate"},
      {"no subcommand", {"site.conf"}, "A subcommand is required", "qeltemplate"},
      {"two subcommands", {"apply", "prototype"}, "--template is required", "qeltemplate apply"},
      {"no template",
       {"apply", "--dialect", "nginx", "site.conf"},
       "--template is required",
       "qeltemplate apply"},
      {"no template for a prototype",
       {"prototype", "--dialect", "nginx"},
       "--template is required",
       "qeltemplate prototype"},
      {"unknown dialect",
       {"apply", "--dialect", "caddy", "--template", "site.template"},
       "--dialect: unknown dialect 'caddy', known are: apache, nginx",
       "qeltemplate apply"},
      {"unknown option", with({"--colour"}), "The following argument was not expected: --colour",
       "qeltemplate apply"},
      {"unknown option of the program", {"--colour"}, "A subcommand is required", "qeltemplate"},
      {"--diff for a prototype",
       {"prototype", "--dialect", "nginx", "--template", "site.template", "--diff"},
       "The following argument was not expected: --diff",
       "qeltemplate prototype"},
      {"two configurations", with({"site.conf", "b"}),
       "CONFIG: several need --diff, --in-place, --dry-run or --json", "qeltemplate apply"},
      {"two templates", with({"--template", "b"}), "--template: At Most 1 required but received 2",
       "qeltemplate apply"},
      {"an option without its argument", with({"site.conf", "--values"}),
       "--values: 1 required FILE missing", "qeltemplate apply"},
      {"--set without its argument", with({"--set"}), "--set: 1 required NAME=NEW missing",
       "qeltemplate apply"},
      {"--set without =", with({"--set", "name"}), "--set: 'name' is not of the form NAME=NEW",
       "qeltemplate apply"},
      {"--set without a name", with({"--set", "=x"}), "--set: '=x' is not of the form NAME=NEW",
       "qeltemplate apply"},
      {"--set of nothing", with({"--set", ""}), "--set: '' is not of the form NAME=NEW",
       "qeltemplate apply"},
      {"--set of braces", with({"--set", "{}"}), "--set: '{}' is not of the form NAME=NEW",
       "qeltemplate apply"},
      {"--old without a name", with({"--old", "=x"}), "--old: '=x' is not of the form NAME=OLD",
       "qeltemplate apply"},
      {"--set twice for a name", with({"--set", "name=x", "--set", "name=x"}),
       "--set: 'name' is given twice", "qeltemplate apply"},
      {"--old twice for a name", with({"--old", "name=x", "--old", "name=y"}),
       "--old: 'name' is given twice", "qeltemplate apply"},
      {"an empty file name", with({""}), "CONFIG: the file's name is empty", "qeltemplate apply"},
      {"an empty template name",
       {"apply", "--dialect", "nginx", "--template", ""},
       "--template: the file's name is empty",
       "qeltemplate apply"},
      {"nothing behind the =", with({"--values=", "site.conf"}),
       "--values=: nothing stands behind the '='", "qeltemplate"},
      {"an argument for a flag", with({"--diff=maybe", "site.conf"}),
       "Could not convert: --diff = maybe", "qeltemplate apply"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = Run(c.arguments, kSite);
    EXPECT_EQ(outcome.err, "qeltemplate: "s + c.message + "\nTry '" + c.help + " --help'.\n");
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.exit_code, 2);
  }
}

TEST_F(Program, ExplainsItself) {
  struct Case {
    const char* name;
    Words arguments;
    const char* start;
    Words parts;
  };
  const Case cases[] = {
      {"program",
       {"--help"},
       "Edits web-server configuration by templates\nUsage: qeltemplate ",
       {"--version", "apply ", "prototype "}},
      {"program, short", {"-h"}, "Edits web-server configuration by templates\n", {"apply "}},
      {"apply",
       {"apply", "--help"},
       "Edit configurations by a template\nUsage: qeltemplate apply [OPTIONS] [CONFIG...]\n",
       {"--dialect NAME", "--template FILE REQUIRED", "--set NAME=NEW", "--old NAME=OLD",
        "--values FILE", "--diff", "--all", "--must-exist", "--skip-missing",
        "ambiguous: ", "\nExamples:\n  qeltemplate apply --dialect nginx "}},
      {"prototype",
       {"prototype", "--help"},
       "Write the skeleton of a template\nUsage: qeltemplate prototype [OPTIONS] [CONFIG]\n",
       {"--dialect NAME", "--template FILE REQUIRED", "--set NAME=NEW", "--old NAME=OLD",
        "--values FILE", "\nExample:\n  qeltemplate prototype --dialect nginx "}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = Run(c.arguments);
    EXPECT_THAT(outcome.out, StartsWith(c.start));
    for (const std::string& part : c.parts) EXPECT_THAT(outcome.out, HasSubstr(part));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.exit_code, 0);
  }
}

TEST_F(Program, SaysItsVersion) {
  ExpectText(Run({"--version"}), "qeltemplate " QELTEMPLATE_VERSION "\n");
}

TEST_F(Program, TakesOptionsInEveryUsualSpelling) {
  struct Case {
    const char* name;
    Words arguments;
  };
  const Case cases[] = {
      {"options first", {"--old", "name=a.example", "--set", "name=b", "site.conf"}},
      {"file first", {"site.conf", "--old", "name=a.example", "--set", "name=b"}},
      {"joined by =", {"--old=name=a.example", "--set=name=b", "site.conf"}},
      {"file behind --", {"--old", "name=a.example", "--set", "name=b", "--", "site.conf"}},
      {"several --set, in any order",
       {"--set", "z=1", "--set", "name=b", "--set", "-x=1", "--old", "name=a.example",
        "site.conf"}},
  };
  m_sandbox.Write("site.template",
                  "server {\nserver_name {% $name %};\n{% if $z == 2 %}\nroot {% $-x %};\n"
                  "{% endif %}\n}\n");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectText(Apply(c.arguments), ServerNamed("b"));
  }
}

TEST_F(Program, ReadsAFileWhateverItsName) {
  for (const std::string& name : {"prototype"s, "apply"s, "a b"s, "[a,b]"s, "{}"s, "x=y"s}) {
    SCOPED_TRACE(name);
    m_sandbox.Write(name, ServerNamed("b"));
    ExpectText(Apply({"--old", "name=b", "--set", "name=c", name}), ServerNamed("c"));
  }
  m_sandbox.Write("-odd", ServerNamed("b"));
  ExpectText(Apply({"--old", "name=b", "--set", "name=c", "--", "-odd"}), ServerNamed("c"));
}

// --- Values ---

TEST_F(Program, TakesValuesFromFileAndCommandLine) {
  struct Case {
    const char* name;
    const char* file;
    Words options;
    std::string text;
  };
  const std::string kept = ServerNamed("a.example");
  const Case cases[] = {
      {"from the file", R"({"name": {"old": "a.example", "new": "b"}})", {}, ServerNamed("b")},
      {"new from the file, old from the command line",
       R"({"name": "b"})",
       {"--old", "name=a.example"},
       ServerNamed("b")},
      {"old from the file, new from the command line",
       R"({"name": {"old": "a.example"}})",
       {"--set", "name=b"},
       ServerNamed("b")},
      {"--set wins, the file's old value stays",
       R"({"name": {"old": "a.example", "new": "b"}})",
       {"--set", "name=c"},
       ServerNamed("c")},
      {"--old wins, the file's new value stays",
       R"({"name": {"old": "x.example", "new": "b"}})",
       {"--old", "name=a.example"},
       ServerNamed("b")},
      {"both win",
       R"({"name": {"old": "x", "new": "y"}})",
       {"--old", "name=a.example", "--set", "name=b"},
       ServerNamed("b")},
      {"--set wins over null",
       R"({"name": {"old": "a.example", "new": null}})",
       {"--set", "name=b"},
       ServerNamed("b")},
      {"a value with =",
       "{}",
       {"--old", "name=a.example", "--set", "name=b=c="},
       ServerNamed("b=c=")},
      {"other names leave alone",
       R"({"x": "1", "Name": "b"})",
       {"--old", "name=a.example", "--set", "name=a.example"},
       kept},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_sandbox.Write("values.json", c.file);
    Words arguments = c.options;
    arguments.insert(arguments.end(), {"--values", "values.json", "site.conf"});
    ExpectText(Apply(arguments), c.text);
  }
}

TEST_F(Program, TakesAnEmptyValueBehindOtherText) {
  m_sandbox.Write("site.template",
                  "server {\nserver_name a.example;\nroot /srv/a{% $more %};\n}\n");
  m_sandbox.Write("site.conf", "server {\nserver_name a.example;\nroot /srv/ab;\n}\n");
  ExpectText(Apply({"--old", "more=b", "--set", "more=", "site.conf"}), kSite);
}

TEST_F(Program, ANullNewValueLeavesItsLineAlone) {
  m_sandbox.Write("site.template",
                  "server {\nserver_name a.example;\nroot [% $root %];\ngzip [% $gzip %];\n}\n");
  m_sandbox.Write("values.json", R"({"root": {"old": "/srv/a", "new": null}, "gzip": "on"})");
  const Outcome outcome = Apply({"--values", "values.json", "site.conf"});
  EXPECT_EQ(outcome.out, "server {\nserver_name a.example;\nroot /srv/a;\ngzip on;\n}\n");
  EXPECT_EQ(outcome.err,
            "qeltemplate: warning: site.template:3:1: there is no value 'root': this line neither "
            "adds, changes nor removes anything [missing-value]\n");
  EXPECT_EQ(outcome.exit_code, 0);
}

// --- Texts ---

TEST_F(Program, ReadsStandardInputWhenNoFileIsNamed) {
  const Words values = {"--old", "name=a.example", "--set", "name=b"};
  ExpectText(Apply(values, kSite), ServerNamed("b"));
  ExpectText(Apply({"--old", "name=a.example", "--set", "name=b", "-"}, kSite), ServerNamed("b"));
  m_sandbox.Write("-", "server {\nserver_name file;\n}\n");
  ExpectText(Apply({"--old", "name=a.example", "--set", "name=b", "-"}, kSite), ServerNamed("b"));
}

TEST_F(Program, ReadsFromAPipe) {
  const Outcome outcome = RunInShell("cat site.conf | \"$@\"",
                                     {"apply", "--dialect", "nginx", "--template", "site.template",
                                      "--old", "name=a.example", "--set", "name=b", "/dev/stdin"});
  ExpectText(outcome, ServerNamed("b"));
}

TEST_F(Program, PassesBlankLinesAndTheEndThrough) {
  m_sandbox.Write("site.template", "");
  for (const char* const text : {"server {\nroot /a;\n}\n", "server {\nroot /a;\n}",
                                 "\na;\n\n\nb;\n\n", "a;\n \n", "", "\n", " ", "\r\n\r# a\r\n"}) {
    SCOPED_TRACE(text);
    ExpectText(Apply({}, text), text);
  }
}

TEST_F(Program, PassesOddBytesThrough) {
  struct Case {
    const char* name;
    std::string input;
    std::string text;
  };
  const Case cases[] = {
      {"CRLF", "# x\r\nserver {\r\n\tserver_name a.example;\r\n\troot /srv;\r\n}\r\n",
       "# x\r\nserver {\r\n\tserver_name b;\r\n\troot /srv;\r\n}\r\n"},
      {"NUL", "# \0x\nserver {\nserver_name a.example;\nroot \0;\n}\n"s,
       "# \0x\nserver {\nserver_name b;\nroot \0;\n}\n"s},
      {"not UTF-8", "# \xff\xfe\nserver {\nserver_name a.example;\n}\n",
       "# \xff\xfe\nserver {\nserver_name b;\n}\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectText(Apply({"--old", "name=a.example", "--set", "name=b"}, c.input), c.text);
  }
}

TEST_F(Program, PutsImportedTemplatesIn) {
  m_sandbox.Write("site.template", "server {\n{% import name.template %}\n}\n");
  m_sandbox.Write("name.template", "server_name {% $name %};\n");
  ExpectText(Apply({"--old", "name=a.example", "--set", "name=b", "site.conf"}), ServerNamed("b"));
}

TEST_F(Program, LeavesTheFileAlone) {
  Apply({"--old", "name=a.example", "--set", "name=b", "site.conf"});
  EXPECT_EQ(m_sandbox.Read("site.conf"), kSite);
}

// --- The prototype ---

TEST_F(Program, WritesThePrototype) {
  struct Case {
    const char* name;
    const char* template_text;
    std::string text;
  };
  const Case cases[] = {
      {"skeleton with the new values", "server {\nserver_name {% $name %};\nroot /srv;\n}\n",
       "server {\nserver_name b;\n}\n"},
      {"without the branches not taken",
       "server {\nserver_name {% $name %};\n{% if $none %}\nlocation / {\n}\n{% endif %}\n}\n",
       "server {\nserver_name b;\n}\n"},
      {"empty: no newline", "root /srv/{% $name %};\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_sandbox.Write("site.template", c.template_text);
    const Words values = {"--old", "name=a.example", "--set", "name=b"};
    ExpectText(Prototype(values), c.text);
    ExpectText(Prototype({"--old", "name=a.example", "--set", "name=b", "site.conf"}), c.text);
    ExpectText(Prototype({"--set", "name=b", "-"}, kSite), c.text);
  }
}

TEST_F(Program, JudgesTheValuesOfAPrototype) {
  const Words values = {"--set", "name=b; root /x"};
  const Outcome refused = Prototype(values);
  EXPECT_THAT(refused.err, HasSubstr("site.template: no prototype:\n  site.template:2:1: the value "
                                     "'name' does not stay in its place"));
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.exit_code, 4);
  ExpectText(Prototype({"--set", "name=b; root /x", "--raw", "name"}),
             "server {\nserver_name b; root /x;\n}\n");
}

TEST_F(Program, LeavesStandardInputToOthersForAPrototype) {
  const Outcome outcome = RunInShell(
      "printf 'left\\n' | { \"$@\"; cat; }",
      {"prototype", "--dialect", "nginx", "--template", "site.template", "--set", "name=b"});
  ExpectText(outcome, "server {\nserver_name b;\n}\nleft\n");
}

TEST_F(Program, TakesTheValuesOfAPrototypeFromTheFileToo) {
  m_sandbox.Write("values.json", R"({"name": "b"})");
  ExpectText(Prototype({"--values", "values.json"}), "server {\nserver_name b;\n}\n");
}

// --- The diff ---

TEST_F(Program, WritesADiff) {
  const std::string hunk =
      "@@ -1,4 +1,4 @@\n server {\n-server_name a.example;\n+server_name b;\n"
      " root /srv/a;\n }\n";
  const Words options = {"--old", "name=a.example", "--set", "name=b", "--diff"};
  Words named = options;
  named.push_back("./site.conf");
  ExpectText(Apply(named), "--- ./site.conf\n+++ ./site.conf\n" + hunk);
  ExpectText(Apply(options, kSite), "--- (standard input)\n+++ (standard input)\n" + hunk);
  Words dash = options;
  dash.push_back("-");
  ExpectText(Apply(dash, kSite), "--- (standard input)\n+++ (standard input)\n" + hunk);
}

TEST_F(Program, WritesNoDiffWhenNothingChanges) {
  ExpectText(Apply({"--old", "name=a.example", "--set", "name=a.example", "--diff", "site.conf"}),
             "");
}

TEST_F(Program, WritesADiffThatPatchTurnsIntoTheEditedText) {
  struct Case {
    const char* name;
    std::string config;
  };
  const Case cases[] = {
      {"plain", kSite},
      {"no newline at the end", "server {\nserver_name a.example;\n}"},
      {"blank lines", "\n\nserver {\n\nserver_name a.example;\n}\n\nevents {\nx;\n}\n\n"},
      {"CRLF", "server {\r\nserver_name a.example;\r\n}\r\n"},
      {"NUL", "server {\nserver_name a.example;\n# \0\n}\n# \0\n"s},
  };
  const Words values = {"--old", "name=a.example", "--set", "name=b", "our site.conf"};
  Words for_diff = values;
  for_diff.push_back("--diff");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_sandbox.Write("our site.conf", c.config);
    const Outcome edited = Apply(values);
    const Outcome diff = Apply(for_diff);
    EXPECT_EQ(diff.exit_code, 0);
    const Outcome patch = m_sandbox.Run({"patch", "--silent", "--batch"}, diff.out);
    EXPECT_EQ(patch.exit_code, 0) << patch.out << patch.err;
    EXPECT_EQ(m_sandbox.Read("our site.conf"), edited.out);
    EXPECT_NE(edited.out, c.config);
  }
}

// It takes longer to load than the rest of a run.
TEST_F(Program, LoadsTheDiffLibraryForADiffOfSeveralLinesOnly) {
  m_sandbox.Write("site.template", "server {\n\tlisten 81;\n\troot /srv;\n}\n");
  const Words apply = {"apply", "--dialect", "nginx", "--template", "site.template", "--diff"};
  const auto said_for = [&](const std::string& config) {
    m_sandbox.Write("site.conf", config);
    Words words = apply;
    words.emplace_back("site.conf");
    return RunInShell("LD_DEBUG=libs exec \"$@\"", words).err;
  };
  const std::string library = "find library=libgit2";
  EXPECT_THAT(said_for("server {\n\tlisten 81;\n}\n"), Not(HasSubstr(library)));
  EXPECT_THAT(said_for("server {\n}\n"), HasSubstr(library));
}

// --- Failures ---

TEST_F(Program, NamesTheFileThatFails) {
  struct Case {
    const char* name;
    Words arguments;
    std::string message;
  };
  const auto apply = [](const std::string& template_file, const Words& more) {
    Words all = {"apply", "--dialect", "nginx", "--template", template_file};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  };
  m_sandbox.Write("text.json", "name = b\n");
  m_sandbox.Write("number.json", R"({"name": 1})");
  m_sandbox.Write("directory.template", "{% import . %}\n");
  m_sandbox.Write("device.template", "{% import /dev/zero %}\n");
  const std::string here = m_sandbox.PathOf("");
  const Case cases[] = {
      {"no such configuration", apply("site.template", {"none.conf"}),
       "none.conf: No such file or directory"},
      {"no such template", apply("none.template", {"site.conf"}),
       "none.template: No such file or directory"},
      {"no such values", apply("site.template", {"--values", "none.json", "site.conf"}),
       "none.json: No such file or directory"},
      {"a directory as configuration", apply("site.template", {"."}), ".: Is a directory"},
      {"a directory as template", apply(".", {"site.conf"}), ".: Is a directory"},
      {"a configuration below a file", apply("site.template", {"site.conf/x"}),
       "site.conf/x: Not a directory"},
      {"values of a wrong type", apply("site.template", {"--values", "number.json", "site.conf"}),
       R"(number.json:1:11: "name" must be a string, null or an object, not number)"},
      {"values that are no JSON", apply("site.template", {"--values", "text.json", "site.conf"}),
       "text.json:1:2: syntax error while parsing value - invalid literal; "
       "last read: 'na'"},
      {"a prototype's configuration",
       {"prototype", "--dialect", "nginx", "--template", "site.template", "none.conf"},
       "none.conf: No such file or directory"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectFailure(Run(c.arguments), c.message);
  }
}

TEST_F(Program, RefusesImportsThatAreNoFiles) {
  const std::string here = m_sandbox.PathOf("");
  m_sandbox.Write("directory.template", "{% import " + here + " %}\n");
  m_sandbox.Write("device.template", "{% import /dev/zero %}\n");
  ExpectRefusal(
      Run({"apply", "--dialect", "nginx", "--template", "directory.template", "site.conf"}),
      "site.conf: not edited",
      "directory.template:1:4: '" + here.substr(0, here.size() - 1) +
          "' is not a file that can be read [import]");
  ExpectRefusal(Run({"apply", "--dialect", "nginx", "--template", "device.template", "site.conf"}),
                "site.conf: not edited",
                "device.template:1:4: '/dev/zero' is not a file that can be read [import]");
  ExpectRefusal(Run({"prototype", "--dialect", "nginx", "--template", "device.template"}),
                "device.template: no prototype",
                "device.template:1:4: '/dev/zero' is not a file that can be read [import]");
}

TEST_F(Program, RefusesImportsThatCannotBe) {
  m_sandbox.Write("twice.template", "{% import part %}\n{% import part %}\n");
  m_sandbox.Write("self.template", "{% import self.template %}\n");
  m_sandbox.Write("missing.template", "# x\n{% import none %}\n");
  m_sandbox.Write("part", "root /srv;\n");
  struct Case {
    const char* template_file;
    std::string message;
  };
  const std::string again =
      " is imported a second time. Import each file once, before all lines "
      "that need it [import]\n";
  const Case cases[] = {
      {"twice.template", "twice.template:2:4: '" + m_sandbox.PathOf("part") + "'" + again},
      {"self.template", m_sandbox.PathOf("self.template") + ":1:4: '" +
                            m_sandbox.PathOf("self.template") + "'" + again},
      {"missing.template",
       "missing.template:2:4: there is no file 'none'. Correct its name, or take the import out "
       "[import]\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.template_file);
    const Words options = {"--dialect", "nginx", "--template", c.template_file, "site.conf"};
    const auto run = [&](const char* command, const std::string& message) {
      Words words = {command};
      words.insert(words.end(), options.begin(), options.end());
      const Outcome outcome = Run(words);
      EXPECT_EQ(outcome.err, "qeltemplate: " + message + "\n  " + c.message);
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.exit_code, 4);
    };
    run("apply", "site.conf: not edited:");
    run("prototype", c.template_file + ": no prototype:"s);
  }
}

TEST_F(Program, SaysThatStandardInputCannotBeRead) {
  const Words apply = {"apply", "--dialect", "nginx", "--template", "site.template"};
  ExpectFailure(RunInShell("\"$@\" < .", apply), "(standard input): Is a directory");
  ExpectFailure(RunInShell("\"$@\" <&-", apply), "(standard input): Bad file descriptor");
}

TEST_F(Program, SaysThatStandardOutputCannotBeWritten) {
  const Words diff = {"--old", "name=a.example", "--set", "name=b", "--diff", "site.conf"};
  const std::string full = "(standard output): No space left on device";
  const Words set = {"--set", "name=b", "site.conf"};
  ExpectFailure(Apply(set, "", "/dev/full"), full);
  ExpectFailure(Apply(diff, "", "/dev/full"), full);
  ExpectFailure(Run({"--help"}, "", "/dev/full"), full);
  m_sandbox.Write("large.conf", Repeated(std::string(1000, '#') + "\n", 1000));
  ExpectFailure(Apply({"--set", "name=b", "large.conf"}, "", "/dev/full"), full);
  ExpectFailure(RunInShell("\"$@\" >&-", {"apply", "--dialect", "nginx", "--template",
                                          "site.template", "--set", "name=b", "site.conf"}),
                "(standard output): Bad file descriptor");
}

TEST_F(Program, NothingToWriteIsNoWriteError) {
  m_sandbox.Write("site.template", "");
  const Outcome outcome = Apply({}, "", "/dev/full");
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exit_code, 0);
}

TEST_F(Program, SaysThatMemoryIsOut) {
  m_sandbox.Write("site.conf", kSite + std::string("#") + std::string(50'000'000, 'x') + '\n');
  ExpectFailure(
      RunInShell("ulimit -v 60000 && exec \"$@\"", {"apply", "--dialect", "nginx", "--template",
                                                    "site.template", "--in-place", "site.conf"}),
      "out of memory");
}

}  // namespace
