// SPDX-License-Identifier: Apache-2.0

// Checks and reloads: what the commands meet, and what becomes of the files when they refuse.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "update/failure.h"
#include "update/update_test.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using tov_update::Failure;
using tov_update::ServerRefusal;

class ServerCommands : public UpdateTest {
 protected:
  ServerCommands() { m_sandbox.Write("b", "old b\n"); }

  // A command that runs in the sandbox's directory.
  std::string Here(const std::string& command) const { return "cd " + PathOf("") + "; " + command; }

  void ExpectAllOld() const {
    EXPECT_EQ(m_sandbox.Read("a"), "old\n");
    EXPECT_EQ(m_sandbox.Read("b"), "old b\n");
    for (const std::string& name : m_sandbox.Names()) {
      EXPECT_THAT(name, Not(HasSubstr("qeltemplate")));
    }
  }

  std::string RefusalOf(const std::string& text, const std::vector<std::string>& names,
                        const tov_update::UpdateOptions& options) const {
    return MessageOf<ServerRefusal>([&] { Commit(text, names, options); });
  }
};

// --- A check of the staged file ---

TEST_F(ServerCommands, ACheckWithBracesMeetsEachNewTextBeforeItIsInPlace) {
  Commit("new\n", {"a", "b"}, {"~", Here("cat a b {} >>log; cmp {} {} && ls | wc -l >>log"), ""});
  EXPECT_EQ(m_sandbox.Read("log"), "old\nold b\nnew\n3\nold\nold b\nnew\n3\n");
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "a~", "b", "b~", "log"));
}

TEST_F(ServerCommands, ACheckWithBracesMeetsThePathWhateverItIs) {
  const std::string name = "it's $HOME {} x";
  m_sandbox.Write(name, "old\n");
  Commit("new\n", {name}, WithCheck("grep -q new {}"));
  EXPECT_EQ(m_sandbox.Read(name), "new\n");
}

TEST_F(ServerCommands, NothingIsInPlaceWhenACheckWithBracesRefuses) {
  const std::string check =
      Here("echo; echo 'bad {} in' {}:2; cat a b; case {} in *.b.*) exit 7; esac");
  const std::string directory = PathOf("");
  EXPECT_EQ(RefusalOf("new\nlines\n", {"a", "b"}, {"~", check, ""}),
            "b: refused by '" + WithoutDirectory(check) +
                "' (exit status 7), nothing is changed:\n\nbad b in b:2\nold\nold b\nb:2: lines");
  ExpectAllOld();
}

// --- A check of the files in their places ---

TEST_F(ServerCommands, ACheckWithoutBracesMeetsAllInPlaceOnce) {
  Commit("new\n", {"a", "b"}, {"~", Here("cat a a~ b b~ >>log"), ""});
  EXPECT_EQ(m_sandbox.Read("log"), "new\nold\nnew\nold b\n");
}

TEST_F(ServerCommands, AllIsBackWhenACheckInPlaceRefuses) {
  EXPECT_EQ(RefusalOf("new\nlines\n", {"a", "b"},
                      {"~", "echo 'bad line in' " + PathOf("b") + ":2; kill -s KILL $$", ""}),
            "echo 'bad line in' b:2; kill -s KILL $$: refuses the new files (Killed), the old ones "
            "are back:\nbad line in b:2\nb:2: lines");
  ExpectAllOld();
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b"));
}

TEST_F(ServerCommands, TheOldFileItselfComesBack) {
  const ino_t before = m_sandbox.Status("a").st_ino;
  EXPECT_EQ(RefusalOf("new\n", {"a"}, WithCheck("false")),
            "false: refuses the new files (exit status 1), the old ones are back");
  EXPECT_EQ(m_sandbox.Status("a").st_ino, before);
  EXPECT_EQ(m_sandbox.Status("a").st_nlink, 1U);
}

TEST_F(ServerCommands, ACommandThatCannotBeRunIsNoRefusal) {
  for (const tov_update::UpdateOptions& options :
       {WithCheck("/no-such-command"), WithCheck("/no-such-command {}"),
        WithReload("/no-such-command")}) {
    try {
      Commit("new\n", {"a", "b"}, options);
      ADD_FAILURE();
    } catch (const Failure& failure) {
      EXPECT_THAT(failure.what(), MatchesRegex("/no-such-command.*: cannot be run: .*not found"));
      EXPECT_EQ(dynamic_cast<const tov_update::ServerRefusal*>(&failure), nullptr);
    }
    ExpectAllOld();
  }
}

// --- Warnings ---

TEST_F(ServerCommands, WarningsAreToldThatTheOldFilesDidNotGive) {
  struct Case {
    const char* name;
    const char* check;
    std::vector<std::string> told;
  };
  const Case cases[] = {
      {"of both", "echo '[warn] x'", {}},
      {"of the old files only", "grep -q old a && echo '[warn] x'; true", {}},
      {"of the new files only", "grep -q new a && echo '[warn] x'; true", {"x"}},
      {"of one line more", "sed -n \"s|.*|[warn] x in $PWD/a:1|p\" a", {"x in a:1\na:1: new"}},
      {"of none, and not taken before", "! grep -q old a", {}},
      {"not taken before", "grep -q old a && exit 1; echo '[warn] x'", {"x"}},
      {"no warning", "grep new a; true", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_sandbox.Write("a", "old\n");
    std::vector<std::string> told =
        Commit("new\nlines\n", {"a"}, WithCheck(Here(c.check), tov_update::NewWarnings::kTold));
    for (std::string& warning : told) warning = WithoutDirectory(warning);
    EXPECT_EQ(told, c.told);
    EXPECT_EQ(m_sandbox.Read("a"), "new\nlines\n");
  }
}

// Only a check that a signal has ended is no check.
TEST_F(ServerCommands, OldFilesThatAreNotTakenDoNotStopAnUpdateWhateverIsHeld) {
  for (const bool held : {false, true}) {
    SCOPED_TRACE(held);
    m_sandbox.Write("a", "old\n");
    tov_update::UpdateOptions options =
        WithCheck(Here("grep -q new a"), tov_update::NewWarnings::kTold);
    options.hold_stop_signals = held;
    EXPECT_THAT(Commit("new\n", {"a"}, options), IsEmpty());
    EXPECT_EQ(m_sandbox.Read("a"), "new\n");
  }
}

TEST_F(ServerCommands, TheOldFilesAreCheckedBeforeAnythingElseIsDone) {
  const std::string check = Here("ls -A | wc -l >>../log; cat a >>../log");
  Commit("new\n", {"a", "b"}, {"~", check, "", tov_update::NewWarnings::kTold});
  EXPECT_EQ(m_sandbox.Read("../log"), "2\nold\n6\nnew\n");
  std::filesystem::remove(PathOf("../log"));
  Commit("new\n", {"a", "b"}, {"~", check, "", tov_update::NewWarnings::kTold});
  EXPECT_FALSE(m_sandbox.Exists("../log")) << "nothing has changed";
}

TEST_F(ServerCommands, WarningsOfACheckAreNotLookedForUnasked) {
  const std::string check = "echo checked >>log; grep -q new a && echo '[warn] x'; true";
  EXPECT_THAT(Commit("new\n", {"a"}, WithCheck(Here(check))), IsEmpty());
  EXPECT_EQ(m_sandbox.Read("log"), "checked\n");
}

TEST_F(ServerCommands, WarningsOfACheckWithBracesAreNotLookedFor) {
  const std::string check = Here("echo checked >>log; echo '[warn] x' {}");
  EXPECT_THAT(Commit("new\n", {"a"}, WithCheck(check, tov_update::NewWarnings::kRefused)),
              IsEmpty());
  EXPECT_EQ(m_sandbox.Read("log"), "checked\n");
}

TEST_F(ServerCommands, AllIsBackWhereNewWarningsAreRefused) {
  const std::string check =
      "echo '[warn] old'; grep -q new a && echo \"[warn] x in $PWD/b:2\n"
      "AH00001: y\"; true";
  EXPECT_EQ(RefusalOf("new\nlines\n", {"a", "b"},
                      {"~", Here(check), Here("touch loaded"), tov_update::NewWarnings::kRefused}),
            WithoutDirectory(Here(check)) +
                ": warns of the new files as it did not of the old ones, which are back:\n"
                "x in b:2\nAH00001: y\nb:2: lines");
  ExpectAllOld();
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b"));
}

TEST_F(ServerCommands, OldWarningsAreNotRefused) {
  Commit("new\n", {"a"}, WithCheck("echo '[warn] old'", tov_update::NewWarnings::kRefused));
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
}

// --- A reload ---

TEST_F(ServerCommands, AReloadFollowsTheCheck) {
  Commit("new\n", {"a"}, {std::nullopt, Here("echo check >>log"), Here("cat a >>log")});
  EXPECT_EQ(m_sandbox.Read("log"), "check\nnew\n");
}

TEST_F(ServerCommands, ARefusedCheckIsNotFollowedByAReload) {
  RefusalOf("new\n", {"a"}, {std::nullopt, "false", Here("touch reloaded")});
  EXPECT_FALSE(m_sandbox.Exists("reloaded"));
}

TEST_F(ServerCommands, AFailingReloadBringsTheOldFilesBackAndIsRunAgain) {
  struct Case {
    const char* reload;
    const char* message;
    const char* met;
  };
  const Case cases[] = {
      {"cat a b >>log; echo said; grep -q old a",
       ": fails with the new files (exit status 1), the old ones are back and it succeeds with "
       "them:\nsaid",
       "new\nnew\nold\nold b\n"},
      {"cat a b >>log; grep -q old a && exit 3; exit 4",
       ": fails with the new files (exit status 4), the old ones are back but it fails with them, "
       "too (exit status 3)",
       "new\nnew\nold\nold b\n"},
  };
  for (const Case& c : cases) {
    const std::string reload = Here(c.reload);
    EXPECT_EQ(RefusalOf("new\n", {"a", "b"}, {"~", "", reload}),
              WithoutDirectory(reload) + c.message);
    EXPECT_EQ(m_sandbox.Read("log"), c.met);
    ExpectAllOld();
    EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b", "log"));
    std::filesystem::remove(PathOf("log"));
  }
}

// --- The real servers ---

constexpr char kNginxMain[] =
    "pid nginx.pid;\nerror_log stderr;\nevents {\n}\nhttp {\naccess_log off;\n";

class Nginx : public ServerCommands {
 protected:
  Nginx() {
    std::filesystem::create_directory(PathOf("available"));
    std::filesystem::create_directory(PathOf("enabled"));
    m_sandbox.Write("available/site", Site("root /old;"));
    std::filesystem::create_symlink("../available/site", PathOf("enabled/site"));
    m_sandbox.Write("nginx.conf", kNginxMain + std::string("include enabled/*;\n}\n"));
  }

  // Two of them are one default server too many.
  static std::string Site(const std::string& line) {
    return "server {\nlisten 127.0.0.1:8081 default_server;\n" + line + "\n}\n";
  }

  std::string Test(const std::string& file) const {
    return "nginx -t -p " + PathOf("") + " -e stderr -c " + file;
  }
};

TEST_F(Nginx, JudgesASiteByTheServersMainFile) {
  Commit(Site("root /new;"), {"enabled/site"}, WithCheck(Test(PathOf("nginx.conf"))));
  EXPECT_EQ(m_sandbox.Read("available/site"), Site("root /new;"));
  EXPECT_THAT(
      RefusalOf(Site("rot /new;"), {"enabled/site"}, WithCheck(Test(PathOf("nginx.conf")))),
      testing::AllOf(HasSubstr("refuses the new files (exit status 1), the old ones are back:"),
                     HasSubstr("unknown directive \"rot\" in enabled/site:3\n"),
                     testing::EndsWith("\nenabled/site:3: rot /new;")));
  EXPECT_EQ(m_sandbox.Read("available/site"), Site("root /new;"));
}

TEST_F(Nginx, DoesNotReadTheFilesOfAnUpdateThatLieBesideASite) {
  m_sandbox.Write("nginx.conf", kNginxMain + std::string("include available/*;\n}\n"));
  const std::string count = "ls -A " + PathOf("available") + " | wc -l | grep -qx ";
  const std::string test = Test(PathOf("nginx.conf"));
  Commit(Site("root /new;"), {"available/site"}, WithCheck(count + "2 && " + test));
  Commit(Site("root /newer;"), {"available/site"},
         WithCheck(count + "2 && " + test + " # judged while {} lies there"));
  EXPECT_THAT(RefusalOf(Site("root /x;"), {"available/site"}, {"~", test, ""}),
              HasSubstr("duplicate default server"));
  EXPECT_EQ(m_sandbox.Read("available/site"), Site("root /newer;"));
}

TEST_F(Nginx, JudgesACompleteConfigurationBeforeItIsInPlace) {
  const std::string text = kNginxMain + std::string("server {\nlisten nowhere:80x;\n}\n}\n");
  EXPECT_THAT(RefusalOf(text, {"nginx.conf"}, WithCheck(Test("{}"))),
              testing::AllOf(HasSubstr("nothing is changed:\n"), HasSubstr(" in nginx.conf:8\n"),
                             Not(HasSubstr("qeltemplate-new")),
                             testing::EndsWith("\nnginx.conf:8: listen nowhere:80x;")));
  const std::string good = kNginxMain + std::string("}\n");
  Commit(good, {"nginx.conf"}, WithCheck(Test("{}")));
  EXPECT_EQ(m_sandbox.Read("nginx.conf"), good);
}

TEST_F(Nginx, WarnsOfANameThatAnotherSiteHas) {
  const auto sites = [](const std::string& second) {
    return "server {\nlisten 127.0.0.1:8081;\nserver_name a;\n}\n\n"
           "server {\nlisten 127.0.0.1:8081;\nserver_name a;\n}\n"
           "server {\nlisten 127.0.0.1:8081;\nserver_name " +
           second + ";\n}\n";
  };
  const std::string test = Test(PathOf("nginx.conf"));
  const auto told = WithCheck(test, tov_update::NewWarnings::kTold);
  const auto refused = WithCheck(test, tov_update::NewWarnings::kRefused);
  EXPECT_THAT(Commit(sites("b"), {"enabled/site"}, told),
              ElementsAre("conflicting server name \"a\" on 127.0.0.1:8081, ignored"));
  EXPECT_THAT(Commit(sites("c"), {"enabled/site"}, refused), IsEmpty());
  EXPECT_THAT(RefusalOf(sites("a"), {"enabled/site"}, refused),
              testing::EndsWith(
                  "which are back:\nconflicting server name \"a\" on 127.0.0.1:8081, ignored"));
  EXPECT_EQ(m_sandbox.Read("available/site"), sites("c"));
}

TEST_F(Nginx, KnowsAWarningAgainThatHasMoved) {
  const auto site = [](const std::string& above, const std::string& below) {
    const std::string balanced = " { server 127.0.0.1:9; least_conn; ip_hash; }\n";
    return above + "upstream a" + balanced + "upstream b" + balanced + below;
  };
  const auto refused = WithCheck(Test(PathOf("nginx.conf")), tov_update::NewWarnings::kRefused);
  Commit(site("", ""), {"enabled/site"});
  EXPECT_THAT(Commit(site("gzip on;\n", ""), {"enabled/site"}, refused), IsEmpty());
  EXPECT_THAT(
      RefusalOf(site("gzip on;\n", "upstream c { server 127.0.0.1:9; least_conn; ip_hash; }"),
                {"enabled/site"}, refused),
      testing::EndsWith("\nload balancing method redefined in enabled/site:4\nenabled/site:4: "
                        "upstream c { server 127.0.0.1:9; least_conn; ip_hash; }"));
}

TEST_F(ServerCommands, HttpdJudgesASiteByTheServersMainFile) {
  std::filesystem::create_directory(PathOf("sites"));
  m_sandbox.Write("sites/site.conf", "ServerAdmin old@a.example\n");
  m_sandbox.Write("httpd.conf",
                  "ServerName a.example\nPidFile httpd.pid\nErrorLog error.log\n"
                  "LoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
                  "IncludeOptional sites/*\n");
  const std::string test = "apache2 -t -d " + PathOf("") + " -f httpd.conf";
  Commit("ServerAdmin new@a.example\n", {"sites/site.conf"}, WithCheck(test));
  EXPECT_THAT(RefusalOf("ServerAdmin new@a.example\n\tNoSuch thing\n", {"sites/site.conf"},
                        WithCheck(test)),
              testing::AllOf(HasSubstr("Syntax error on line 2 of sites/site.conf:"),
                             testing::EndsWith("\nsites/site.conf:2: \tNoSuch thing")));
  EXPECT_EQ(m_sandbox.Read("sites/site.conf"), "ServerAdmin new@a.example\n");
}

TEST_F(ServerCommands, HttpdWarnsOfASiteAndOfItself) {
  std::filesystem::create_directory(PathOf("sites"));
  m_sandbox.Write("sites/site.conf", "");
  m_sandbox.Write("httpd.conf",
                  "ServerName no_such_host.invalid\nPidFile httpd.pid\nErrorLog error.log\n"
                  "LoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
                  "LoadModule alias_module /usr/lib/apache2/modules/mod_alias.so\n"
                  "IncludeOptional sites/*\n");
  const std::string test = "apache2 -t -d " + PathOf("") + " -f httpd.conf";
  const auto told = [&](const std::string& text) {
    std::vector<std::string> warnings =
        Commit(text, {"sites/site.conf"}, WithCheck(test, tov_update::NewWarnings::kTold));
    for (std::string& warning : warnings) warning = WithoutDirectory(warning);
    return warnings;
  };
  EXPECT_THAT(told("NameVirtualHost *:80\n"),
              ElementsAre("AH00548: NameVirtualHost has no effect and will be removed in the next "
                          "release sites/site.conf:1"));
  EXPECT_THAT(told("# moved\nNameVirtualHost *:80\n"), IsEmpty());
  EXPECT_THAT(told("# \nAlias /a /x\nAlias /a/b /y\n"),
              ElementsAre("AH00671: The Alias directive in sites/site.conf at line 3 will probably "
                          "never match because it overlaps an earlier Alias."));
  EXPECT_THAT(told("Alias /a /x\nAlias /a/b /y\nTimeout ${NONE}5\n"),
              ElementsAre("AH00111: Config variable ${NONE} is not defined"));
}

}  // namespace
