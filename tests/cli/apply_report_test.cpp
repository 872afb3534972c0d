// SPDX-License-Identifier: Apache-2.0

// What apply --json says of files, beside what becomes of them.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "cli/program.h"

namespace {

using nlohmann::json;

class ApplyReport : public Program {
 protected:
  // The report on an edit that renames "a.example" to "b".
  json Report(const Words& more, int exit_code) {
    Words words = {"--json", "--old", "name=a.example", "--set", "name=b"};
    words.insert(words.end(), more.begin(), more.end());
    const Outcome outcome = Apply(words);
    EXPECT_EQ(outcome.exit_code, exit_code) << outcome.err;
    m_err = outcome.err;
    return json::parse(outcome.out);
  }

  std::string Text(const std::string& name) const { return m_sandbox.Read(name); }

  std::string m_err;
};

TEST_F(ApplyReport, TellsWhatHasBeenWritten) {
  m_sandbox.Write("done.conf", ServerNamed("b"));
  const json report = Report(
      {"--in-place=~", "--diff", "--check=true", "--reload", "true", "site.conf", "done.conf"}, 0);
  EXPECT_EQ(report["outcome"], "done");
  EXPECT_EQ(report["written"], true);
  EXPECT_EQ(report["changed"], json({"site.conf"}));
  EXPECT_EQ(report["backups"], json({"site.conf~"}));
  EXPECT_EQ(report["checked"], true);
  EXPECT_EQ(report["reloaded"], true);
  const json& site = report["files"][0];
  EXPECT_EQ(site["changed"], true);
  EXPECT_EQ(site["changes"][0]["line"], 2);
  EXPECT_EQ(site["changes"][0]["text"], "server_name b;\n");
  EXPECT_EQ(site["diff"],
            "--- site.conf\n+++ site.conf\n@@ -1,4 +1,4 @@\n server {\n-server_name a.example;\n"
            "+server_name b;\n root /srv/a;\n }\n");
  EXPECT_EQ(report["files"][1]["changed"], false);
  EXPECT_EQ(report["files"][1]["diff"], "");
  EXPECT_EQ(Text("site.conf"), ServerNamed("b"));
  EXPECT_EQ(Text("site.conf~"), kSite);
}

TEST_F(ApplyReport, TellsWhatWouldBeWrittenAndWritesNothing) {
  for (const Words& words : {Words{"--dry-run", "--in-place=~", "site.conf"}, Words{"site.conf"}}) {
    const json report = Report(words, 0);
    EXPECT_EQ(report["written"], false);
    EXPECT_EQ(report["changed"], json({"site.conf"}));
    EXPECT_EQ(report["backups"], json::array());
    EXPECT_EQ(report["files"][0].count("diff"), 0U);
    EXPECT_EQ(Text("site.conf"), kSite);
  }
}

TEST_F(ApplyReport, TellsWhyNothingIsWritten) {
  m_sandbox.Write("other.conf", ServerNamed("c"));
  const json report = Report({"--in-place", "site.conf", "other.conf"}, 4);
  EXPECT_EQ(report["outcome"], "refused");
  EXPECT_EQ(report["changed"], json::array());
  EXPECT_EQ(report["files"][0]["refused"], false);
  const json& refusal = report["files"][1]["refusals"][0];
  EXPECT_EQ(refusal["name"], "unmatched-section");
  EXPECT_EQ(refusal["template_place"]["line"], 1);
  EXPECT_EQ(Text("site.conf"), kSite);
  // People read the same as without --json.
  Words words = {"--old", "name=a.example", "--set", "name=b", "--in-place", "site.conf"};
  words.emplace_back("other.conf");
  EXPECT_EQ(m_err, Apply(words).err);
}

TEST_F(ApplyReport, TellsWhatTheServerSays) {
  const json report = Report(
      {"--in-place", "--check=grep -q a.example site.conf || { echo no b; exit 3; }", "site.conf"},
      5);
  EXPECT_EQ(report["outcome"], "refused-by-server");
  EXPECT_EQ(report["changed"], json::array());
  EXPECT_EQ(report["checked"], false);
  EXPECT_EQ(report["failure"]["exit_status"], 3);
  EXPECT_EQ(report["failure"]["output"], "no b");
  EXPECT_EQ(report["failure"].count("not_put_back"), 0U);
  EXPECT_EQ(Text("site.conf"), kSite);
}

TEST_F(ApplyReport, TellsOfReloadsThatFail) {
  const json report =
      Report({"--in-place", "--reload", "grep -q a.example site.conf", "site.conf"}, 5);
  EXPECT_EQ(report["reloaded"], false);
  EXPECT_EQ(report["failure"]["command"], "grep -q a.example site.conf");
  EXPECT_EQ(Text("site.conf"), kSite);
}

TEST_F(ApplyReport, TellsOfFilesThatCannotBeRead) {
  const json report = Report({"--dry-run", "site.conf", "none.conf"}, 3);
  EXPECT_EQ(report["outcome"], "failed");
  EXPECT_EQ(report["files"][1],
            json({{"file", "none.conf"}, {"problem", "none.conf: No such file or directory"}}));
  const json of_one = Report({"none.conf"}, 3);
  EXPECT_EQ(of_one["files"][0]["problem"], "none.conf: No such file or directory");
  const json locked = Report({"--in-place", "none.conf"}, 3);
  EXPECT_EQ(locked["files"], json::array());
  EXPECT_NE(locked["failure"]["message"].get<std::string>().find("none.conf: "), std::string::npos);
}

TEST_F(ApplyReport, HasWarningsAndWhatIsLeftOut) {
  m_sandbox.Write("site.template", "server {\nserver_name {% $name %};\nindex {% $none %};\n}\n");
  m_sandbox.Write("site.conf.bak", kSite);
  const json report = Report({"--in-place", "site.conf", "site.conf.bak"}, 0);
  EXPECT_EQ(report["files"][0]["warnings"][0]["name"], "missing-value");
  EXPECT_EQ(report["left_out"], json({"site.conf.bak"}));
}

TEST_F(ApplyReport, TellsOfAWholeServer) {
  m_sandbox.Write("nginx.conf",
                  "events {}\nhttp {\n  include site.conf;\n  include more.conf;\n}\n");
  m_sandbox.Write("more.conf", ServerNamed("c"));
  const Words server = {"--server", "--diff", "nginx.conf"};
  Words words = server;
  words.emplace_back("--dry-run");
  const json would = Report(words, 0);
  EXPECT_EQ(would["written"], false);
  EXPECT_EQ(would["changed"].size(), 1U);
  EXPECT_EQ(Text("site.conf"), kSite);
  words = server;
  words.insert(words.end(), {"--in-place", "--check=true", "--reload", "true"});
  const json report = Report(words, 0);
  EXPECT_EQ(report["outcome"], "done");
  EXPECT_EQ(report["changed"], would["changed"]);
  EXPECT_EQ(report["checked"], true);
  EXPECT_EQ(report["reloaded"], true);
  ASSERT_EQ(report["files"].size(), 1U);
  EXPECT_EQ(report["files"][0]["file"], report["changed"][0]);
  EXPECT_EQ(report["files"][0]["changes"][0]["text"], "server_name b;\n");
  EXPECT_NE(report["files"][0]["diff"].get<std::string>().find("+server_name b;\n"),
            std::string::npos);
  EXPECT_EQ(report["refusals"], json::array());
  EXPECT_EQ(Text("site.conf"), ServerNamed("b"));
  EXPECT_EQ(Report(words, 0)["changed"], json::array());
}

TEST_F(ApplyReport, TellsWhyAWholeServerIsNotEdited) {
  m_sandbox.Write("nginx.conf",
                  "events {}\nhttp {\n  include *ite.conf;\n  include more.conf;\n}\n");
  m_sandbox.Write("more.conf", kSite);
  const json refused = Report({"--server", "--in-place", "nginx.conf"}, 4);
  EXPECT_EQ(refused["outcome"], "refused");
  EXPECT_EQ(refused["refusals"][0]["name"], "ambiguous");
  EXPECT_EQ(refused["files"], json::array());
  m_sandbox.Write("more.conf", ServerNamed("c"));
  const json failed = Report({"--server", "--in-place", "--reload", "false", "nginx.conf"}, 5);
  EXPECT_EQ(failed["outcome"], "refused-by-server");
  EXPECT_EQ(failed["failure"]["command"], "false");
  EXPECT_EQ(Text("site.conf"), kSite);
}

TEST_F(ApplyReport, IsNotThereForAWrongCommandLine) {
  const Outcome outcome = Run({"apply", "--json", "site.conf"});
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.exit_code, 2);
}

}  // namespace
