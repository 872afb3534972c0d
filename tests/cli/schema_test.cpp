// SPDX-License-Identifier: Apache-2.0

// What --json writes is what docs/schema says, by the judgement of python3-jsonschema.

#include <gtest/gtest.h>

#include <string>

#include "cli/program.h"
#include "support/real_configs.h"

namespace {

// Says what is wrong with the document on standard input, or with those of a list; the schema is
// the first argument.
constexpr char kValidate[] = R"(
import json, sys
import jsonschema
schema = json.load(open(sys.argv[1]))
jsonschema.Draft202012Validator.check_schema(schema)
read = json.load(sys.stdin)
for document in read if isinstance(read, list) else [read]:
    for error in jsonschema.Draft202012Validator(schema).iter_errors(document):
        print(error.json_path + ": " + error.message)
)";

class Schema : public Program {
 protected:
  // What is wrong with `document` by the schema `name`; "" when nothing is.
  std::string Problems(const std::string& name, const std::string& document) const {
    const std::string schema = QELTEMPLATE_SOURCE_DIR "/docs/schema/" + name + ".json";
    const Outcome outcome = m_sandbox.Run({"/usr/bin/python3", "-c", kValidate, schema}, document);
    return outcome.out + outcome.err;
  }

  void ExpectValid(const std::string& name, const Words& words, int exit_code) const {
    const Outcome outcome = Run(words);
    EXPECT_EQ(Problems(name, outcome.out), "") << outcome.out;
    EXPECT_EQ(outcome.exit_code, exit_code) << outcome.err;
  }
};

constexpr char kSiteOfAllKinds[] =
    "http {\nserver {\nserver_name a;\n}\ngzip on;\n}\nevents {\n}\nserver {\nserver_name b;\n"
    "listen *:80;\nlisten   80;\nroot /b; # \xff\nlocation /x {\nreturn 404;\n}\nlocation /o {\n";

TEST_F(Schema, HoldsForExplain) {
  m_sandbox.Write("site.template",
                  "user x;\nserver {\nserver_name {% $name %};\nlisten 80;\n{% if $x == 1 %}\n"
                  "root [% $r %];\n{% else %}\nindex {% $none %};\n{% endif %}\n"
                  "{% import nowhere %}\n{% if $x %}\nlocation /x {\n}\n{% endif %}\n"
                  "location /n {\n}\n}\n");
  const Words request = {"explain",    "--json",        "--dialect", "nginx",
                         "--template", "site.template", "site.conf"};
  ExpectValid("explain", request, 4);
  m_sandbox.Write("site.conf", kSiteOfAllKinds);
  for (const char* const old_name : {"name=b", "name=z"}) {
    Words words = request;
    words.insert(words.end(), {"--old", old_name, "--set", "name=c"});
    EXPECT_EQ(Problems("explain", Run(words).out), "");
  }
}

TEST_F(Schema, HoldsForExplainWhateverBecomesOfAnEdit) {
  const std::string site = ServerNamed("a.example");
  struct Case {
    const char* name;
    std::string config;
    std::string template_text;
    Words options;
    int exit_code;
  };
  const std::string location = "location {% $name %} {\nexpires 1d;\n}\n";
  const Case cases[] = {
      {"blocks that change, several of them",
       "location /a {\n}\nserver {\nlocation /a {\n}\n}\n",
       location + "server {\n" + location + "}\n",
       {"--old", "name=/a", "--set", "name=/b"},
       0},
      {"all that fit",
       site + site,
       "server {\nserver_name a.example;\nroot [% $name %];\n}\n",
       {"--all", "--set", "name=/b"},
       0},
      {"several fit", site + site, "server {\nserver_name a.example;\n}\n", {}, 4},
      {"a block that goes",
       site,
       "{% if $none %}\nserver {\nserver_name a.example;\nroot [% $root %];\n}\n{% endif %}\n",
       {},
       0},
      {"a template that is refused", site, "gzip on;\nserver {\nroot /a\n{% $x %};\n", {}, 4},
      {"an import that is not there", site, "user x;\n{% import none %}\n", {}, 4},
      {"a directive over several lines",
       "root\n  /a\n;\n",
       "root {% $name %};\n",
       {"--old", "name=/a", "--set", "name=/b"},
       0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_sandbox.Write("site.conf", c.config);
    m_sandbox.Write("site.template", c.template_text);
    Words words = {"explain", "--json", "--dialect", "nginx", "--template", "site.template"};
    words.insert(words.end(), c.options.begin(), c.options.end());
    words.emplace_back("site.conf");
    ExpectValid("explain", words, c.exit_code);
  }
}

TEST_F(Schema, HoldsForExplainOfAServer) {
  m_sandbox.Write("nginx.conf", "http {\ninclude a;\ninclude b;\ninclude new*;\n}\n");
  m_sandbox.Write("a", ServerNamed("a.example"));
  m_sandbox.Write("b", ServerNamed("b.example"));
  struct Case {
    const char* template_text;
    Words options;
    int exit_code;
  };
  const Case cases[] = {
      {"server {\nroot /srv/a;\ngzip on;\n}\n", {"--all"}, 0},
      {"server {\nroot /srv/a;\ngzip on;\n}\n", {}, 4},
      {"{% if $no %}\nserver {\nserver_name a.example;\n}\n{% endif %}\nuser x;\n", {}, 0},
      {"server {\nserver_name c;\n}\n", {"--new-in", "new"}, 0},
      {"server {\nserver_name [% $c %];\n}\n", {}, 4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.template_text);
    m_sandbox.Write("site.template", c.template_text);
    Words words = {"explain", "--server",   "--json",        "--dialect",
                   "nginx",   "--template", "site.template", "nginx.conf"};
    words.insert(words.end(), c.options.begin(), c.options.end());
    ExpectValid("explain-server", words, c.exit_code);
  }
}

TEST_F(Schema, HoldsForSitesAndServers) {
  m_sandbox.Write(
      "nginx.conf",
      "http {\ninclude none;\ninclude site.conf;\nserver { listen 1 ssl; root \xff; }\n}\n");
  m_sandbox.Write("site.conf", kSiteOfAllKinds);
  for (const char* const dialect : {"nginx", "apache"}) {
    SCOPED_TRACE(dialect);
    ExpectValid("sites", {"sites", "--json", "--dialect", dialect, "nginx.conf"}, 6);
    ExpectValid("server", {"inspect", "--server", "--json", "--dialect", dialect, "nginx.conf"}, 6);
  }
  m_sandbox.Write("site.conf", "server {\nlisten 1;\nserver_name a;\n}\n");
  m_sandbox.Write("nginx.conf", "http {\ninclude site.conf;\n}\n");
  ExpectValid("sites", {"sites", "--json", "--dialect", "nginx", "nginx.conf"}, 0);
  ExpectValid("server", {"inspect", "--server", "--json", "--dialect", "nginx", "nginx.conf"}, 0);
}

TEST_F(Schema, HoldsForInspect) {
  ExpectValid("inspect", {"inspect", "--json", "site.conf"}, 0);
  m_sandbox.Write("site.conf", kSiteOfAllKinds);
  ExpectValid("inspect", {"inspect", "--json", "site.conf"}, 6);
  m_sandbox.Write("site.conf", "}");
  ExpectValid("inspect", {"inspect", "--json", "site.conf"}, 6);
  m_sandbox.Write("site.conf", "<Perl>\n</Perl>\nOptions +A B # \xff\n");
  ExpectValid("inspect", {"inspect", "--json", "--dialect", "apache", "site.conf"}, 6);
  m_sandbox.Write("site.conf", "");
  ExpectValid("inspect", {"inspect", "--json", "--dialect", "apache", "site.conf"}, 0);
}

TEST_F(Schema, HoldsForInspectOfRealFiles) {
  for (const char* const dialect : {"nginx", "apache"}) {
    std::string all;
    for (const auto& [name, text] : RealConfigs(dialect)) {
      m_sandbox.Write("site.conf", text);
      all += (all.empty() ? "" : ",") +
             Run({"inspect", "--json", "--dialect", dialect, "site.conf"}).out;
    }
    EXPECT_EQ(Problems("inspect", '[' + all + ']'), "");
  }
}

TEST_F(Schema, HoldsForLint) {
  ExpectValid("lint", {"lint", "--json", "site.template"}, 0);
  m_sandbox.Write("site.template", "server {\n{% elseif %}\n{% $x\n}\n}\n");
  ExpectValid("lint", {"lint", "--json", "site.template"}, 6);
}

TEST_F(Schema, HoldsForApplyHoweverItEnds) {
  m_sandbox.Write("same.conf", ServerNamed("b"));
  m_sandbox.Write("other.conf", ServerNamed("c"));
  m_sandbox.Write("nginx.conf", "events {}\nhttp {\n  include site.conf;\n}\n");
  struct Case {
    const char* name;
    Words options;
    int exit_code;
  };
  const Case cases[] = {
      {"only looked at", {"site.conf"}, 0},
      {"with a diff, and an exit status", {"--diff", "--exit-code", "site.conf", "same.conf"}, 1},
      {"refused, beside one that is not there", {"--diff", "site.conf", "other.conf", "none"}, 3},
      {"skipped, left out", {"--skip-missing", "site.conf", "other.conf", "site.conf~"}, 0},
      {"a failing check", {"--in-place", "--check=echo no; false", "site.conf"}, 5},
      {"a command that is killed", {"--in-place", "--reload", "kill -9 $$", "site.conf"}, 5},
      {"no such directory", {"--output", "none/x", "site.conf"}, 3},
      {"a template that is not there", {"--template", "none", "site.conf"}, 3},
      {"a whole server", {"--server", "--diff", "nginx.conf"}, 0},
      {"a whole server that is refused", {"--server", "--only-create", "nginx.conf"}, 4},
      {"written, with backups",
       {"--in-place=~", "--check=true", "--reload", "true", "site.conf"},
       0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Words words = {"apply", "--json",         "--dialect", "nginx",
                   "--old", "name=a.example", "--set",     "name=b"};
    if (c.options.front() != "--template")
      words.insert(words.end(), {"--template", "site.template"});
    words.insert(words.end(), c.options.begin(), c.options.end());
    ExpectValid("apply", words, c.exit_code);
  }
}

TEST_F(Schema, CanFail) {
  EXPECT_EQ(Problems("lint", "{}"), "$: 'warnings' is a required property\n");
  EXPECT_NE(Problems("inspect", R"({"more": 1})"), "");
  EXPECT_NE(Problems("apply", R"({"outcome": "done"})"), "");
  EXPECT_EQ(Problems("lint", R"([{"warnings": []}, {}])"),
            "$: 'warnings' is a required property\n");
  EXPECT_NE(Problems("explain", R"({"warnings": [{"name": 1}]})"), "");
}

}  // namespace
