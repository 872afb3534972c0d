// SPDX-License-Identifier: Apache-2.0

// What stands beside the program says of its options what the program says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/program.h"
#include "edit/finding.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Names = std::set<std::string>;

constexpr char kRoot[] = QELTEMPLATE_SOURCE_DIR "/";

// What `pattern`, whose first group is a name, finds in `text`.
Names NamesIn(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern, std::regex::ECMAScript | std::regex::multiline);
  Names names;
  for (std::sregex_iterator found(text.begin(), text.end(), regex), end; found != end; ++found) {
    names.insert((*found)[1]);
  }
  return names;
}

// Of the help, and of a manual page.
constexpr char kReason[] = "^  ([a-z-]+): ";
constexpr char kPageItem[] = "^\\.It Cm ([a-z-]+)$";

Names NamesOf(const std::vector<tov_edit::FindingKind>& kinds) {
  Names names;
  for (const tov_edit::FindingKind& kind : kinds) names.insert(kind.name);
  return names;
}

// What stands in `text` behind `begin` and before `end`; "" when they are not there.
std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t from = text.find(begin);
  if (from == std::string::npos) return std::string();
  const std::size_t to = text.find(end, from);
  return to == std::string::npos ? std::string() : text.substr(from, to - from);
}

class Documentation : public Program {
 protected:
  // The long options in the program's own help.
  Names OptionsOf(const Words& command) const {
    Words words = command;
    words.emplace_back("--help");
    const Names names = NamesIn(Run(words).out, "^  (?:-h,)?--([a-z-]+)");
    EXPECT_THAT(names, testing::Contains("help"));
    return names;
  }

  std::string Page(const std::string& name) const {
    return m_sandbox.Run({"cat", kRoot + ("man/" + name)}).out;
  }
};

const Words kCommands = {"adopt", "apply", "explain", "inspect", "lint", "prototype", "sites"};

std::string PageName(const std::string& command) {
  return "qeltemplate-" + command + ".1";
}

TEST_F(Documentation, ManualPagesAreWellFormed) {
  Words pages = {"qeltemplate.1"};
  for (const std::string& command : kCommands) pages.push_back(PageName(command));
  for (const std::string& page : pages) {
    SCOPED_TRACE(page);
    // A page that is not installed cannot be found by those that refer to it.
    const Outcome outcome =
        m_sandbox.Run({"mandoc", "-T", "lint", "-W", "warning", kRoot + ("man/" + page)});
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_EQ(outcome.exit_code, 0);
  }
}

TEST_F(Documentation, ManualPagesNameEachOptionOfTheirCommand) {
  const auto in_page = [this](const std::string& page) {
    return NamesIn(Page(page), R"(^\.It (?:Fl h , )?Fl -([a-z-]+))");
  };
  EXPECT_EQ(in_page("qeltemplate.1"), OptionsOf({}));
  for (const std::string& command : kCommands) {
    SCOPED_TRACE(command);
    EXPECT_EQ(in_page(PageName(command)), OptionsOf({command}));
  }
}

TEST_F(Documentation, HelpAndManualKnowEachExitStatus) {
  const std::pair<const char*, Names> commands[] = {
      {"adopt", {"0", "2", "3", "4", "6"}}, {"apply", {"0", "1", "2", "3", "4", "5", "7"}},
      {"explain", {"0", "2", "3", "4"}},    {"inspect", {"0", "2", "3", "6"}},
      {"lint", {"0", "2", "3", "6"}},       {"sites", {"0", "2", "3", "6"}},
      {"prototype", {"0", "2", "3", "4"}},
  };
  Names all;
  for (const auto& [command, expected] : commands) {
    SCOPED_TRACE(command);
    const std::string help = Run({command, "--help"}).out;
    Names in_help = NamesIn(help.substr(help.find("Exit status:")), "\\b([0-9])\\b");
    EXPECT_EQ(in_help, expected);
    all.merge(in_help);
  }
  EXPECT_EQ(NamesIn(Page("qeltemplate.1"), "^\\.It ([0-9])$"), all);
}

TEST_F(Documentation, HelpAndManualKnowEachRefusal) {
  const std::string help = Run({"apply", "--help"}).out;
  const std::size_t firm = help.find("whatever --force says");
  ASSERT_NE(firm, std::string::npos);
  const std::string forced_help = help.substr(help.find("Reasons for which"));
  EXPECT_EQ(NamesIn(forced_help.substr(0, forced_help.find("whatever --force says")), kReason),
            NamesOf(tov_edit::kForcedRefusals));
  EXPECT_EQ(NamesIn(help.substr(firm), kReason), NamesOf(tov_edit::kFirmRefusals));
  const std::string page = Page("qeltemplate-apply.1");
  EXPECT_EQ(NamesIn(Between(page, ".Sh REFUSALS", "\nThese cannot:"), kPageItem),
            NamesOf(tov_edit::kForcedRefusals));
  EXPECT_EQ(NamesIn(Between(page, "\nThese cannot:", ".Sh WARNINGS"), kPageItem),
            NamesOf(tov_edit::kFirmRefusals));
}

TEST_F(Documentation, ManualKnowsEachWarningOfAnEdit) {
  const std::string page = Page("qeltemplate-apply.1");
  EXPECT_EQ(NamesIn(Between(page, ".Sh WARNINGS", ".Sh EXIT STATUS"), kPageItem),
            NamesOf(tov_edit::kEditWarnings));
}

// --- Completions ---

struct Completion {
  const char* name;
  Words words;        // of the command line, the last one to be completed
  Words offered;      // some of what is offered
  Words not_offered;  // and what is not
};

const Completion kCompletions[] = {
    {"a command",
     {"qeltemplate", ""},
     {"apply", "prototype", "explain", "inspect", "lint", "sites"},
     {"--diff"}},
    {"the beginning of a command", {"qeltemplate", "pro"}, {"prototype"}, {"apply"}},
    {"an option", {"qeltemplate", "apply", "--in"}, {"--in-place"}, {"--diff"}},
    {"two options",
     {"qeltemplate", "apply", "--d"},
     {"--dialect", "--diff", "--dry-run"},
     {"--set"}},
    {"an option of the other command",
     {"qeltemplate", "prototype", "--d"},
     {"--dialect"},
     {"--diff"}},
    {"options of explain",
     {"qeltemplate", "explain", "--"},
     {"--template", "--force", "--json", "--ignore"},
     {"--diff", "--reload"}},
    {"options of inspect",
     {"qeltemplate", "inspect", "--"},
     {"--json", "--server", "--root"},
     {"--template", "--set"}},
    {"options of sites",
     {"qeltemplate", "sites", "--"},
     {"--name", "--address", "--json", "--modules"},
     {"--template", "--server"}},
    {"options of lint", {"qeltemplate", "lint", "--"}, {"--json", "--values"}, {"--template"}},
    {"a dialect", {"qeltemplate", "apply", "--dialect", ""}, {"apache", "nginx"}, {"site.conf"}},
    {"a colour", {"qeltemplate", "apply", "--color", "a"}, {"always", "auto"}, {"never"}},
    {"a colour behind a sign", {"qeltemplate", "apply", "--color=al"}, {"always"}, {"auto"}},
    {"what to check", {"qeltemplate", "apply", "--check=s"}, {"strict"}, {"--diff"}},
    {"what comes behind a check", {"qeltemplate", "apply", "--check", "s"}, {"site."}, {"strict"}},
    {"a reason",
     {"qeltemplate", "apply", "--force", "un"},
     {"unmatched-section", "unused-value"},
     {"other-value"}},
    {"a reason that --force does not know",
     {"qeltemplate", "apply", "--force", ""},
     {"mixed-options", "syntax"},
     {"ambiguous", "not-found"}},
    {"an option for many files", {"qeltemplate", "apply", "--sk"}, {"--skip-missing"}, {"--set"}},
    {"an option of edits only",
     {"qeltemplate", "prototype", "--"},
     {"--raw"},
     {"--all", "--must-exist", "--force"}},
    {"a configuration", {"qeltemplate", "apply", "site.c"}, {"site.conf"}, {"site.template"}},
    {"a template",
     {"qeltemplate", "prototype", "--template", "site.t"},
     {"site.template"},
     {"site.conf"}},
};

class Completions : public Documentation {
 protected:
  Completions() { std::filesystem::create_directory(m_sandbox.PathOf("templates")); }

  void ExpectOffers(const Completion& c, const std::string& shown) const {
    for (const std::string& word : c.offered) EXPECT_THAT(shown, HasSubstr(word));
    for (const std::string& word : c.not_offered) EXPECT_THAT(shown, Not(HasSubstr(word)));
  }
};

std::string Joined(const Words& words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
  return line;
}

// Calls the function as bash does, but for compopt, which works in a completion only.
constexpr char kAskBash[] = R"(
compopt() { :; }
source "$1"
shift
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_qeltemplate
printf '%s\n' "${COMPREPLY[@]}")";

// "--option=value" comes as three words.
Words AsBashSplits(const Words& words) {
  Words split;
  for (const std::string& word : words) {
    const std::size_t sign = word.find('=');
    split.push_back(word.substr(0, sign));
    if (sign == std::string::npos) continue;
    split.emplace_back("=");
    if (sign + 1 < word.size()) split.push_back(word.substr(sign + 1));
  }
  return split;
}

TEST_F(Completions, OfBash) {
  for (const Completion& c : kCompletions) {
    SCOPED_TRACE(c.name);
    Words command = {"bash", "-c", kAskBash, "bash",
                     kRoot + std::string("completions/qeltemplate.bash")};
    const Words words = AsBashSplits(c.words);
    command.insert(command.end(), words.begin(), words.end());
    const Outcome outcome = m_sandbox.Run(command);
    EXPECT_EQ(outcome.err, "");
    ExpectOffers(c, outcome.out);
  }
}

TEST_F(Completions, OfFish) {
  for (const Completion& c : kCompletions) {
    SCOPED_TRACE(c.name);
    const Outcome outcome =
        m_sandbox.Run({"fish", "--no-config", "-c",
                       "source $argv[1]; complete -C $argv[2] | string split -f1 \\t",
                       kRoot + std::string("completions/qeltemplate.fish"), Joined(c.words)});
    EXPECT_EQ(outcome.err, "");
    ExpectOffers(c, outcome.out);
  }
}

// zsh completes at a terminal only: types the line there, and a tab, and shows what comes.
constexpr char kAskZsh[] = R"(
zmodload zsh/zpty
zpty terminal zsh -f -i
zpty -w terminal "unsetopt zle_bracketed_paste prompt_cr prompt_sp; LISTMAX=1000
fpath=($1 \$fpath); autoload -Uz compinit; compinit -D -u; PS1=RE''ADY"
zpty -r -m terminal shown '*READY*'
zpty -n -w terminal "$2"$'\t'
zpty -n -w terminal $'\x15print DO\'\'NE\n'
zpty -r -m terminal shown '*DONE*'
print -rn -- "$shown"
zpty -d terminal)";

TEST_F(Completions, OfZsh) {
  for (const Completion& c : kCompletions) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = m_sandbox.Run({"timeout", "60", "zsh", "-f", "-c", kAskZsh, "zsh",
                                           kRoot + std::string("completions"), Joined(c.words)});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    ExpectOffers(c, outcome.out);
  }
}

// Each shell's file lists the reasons in its own way.
TEST_F(Completions, NameEachRefusalThatCanBeForced) {
  struct Case {
    const char* file;
    std::string before;
    std::string between;
  };
  const Case cases[] = {
      {"qeltemplate.bash", "compgen -W $'", "\\n"},
      {"_qeltemplate", ":reason:(", " "},
      {"qeltemplate.fish", "-a '", " "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    std::string list = c.before;
    for (const std::string& name : NamesOf(tov_edit::kForcedRefusals)) {
      list += (list == c.before ? "" : c.between) + name;
    }
    const std::string text =
        m_sandbox.Run({"cat", kRoot + std::string("completions/") + c.file}).out;
    EXPECT_TRUE(text.find(list + "'") != std::string::npos ||
                text.find(list + ")'") != std::string::npos)
        << list;
  }
}

// Each shell's file lists the options in its own way.
TEST_F(Completions, NameEachOption) {
  struct Case {
    const char* file;
    const char* pattern;
  };
  const Case cases[] = {
      {"qeltemplate.bash", "(?:'|\\\\n)--([a-z-]+)"},
      {"_qeltemplate", "(?:'|\\*|\\{-h,|\\))--([a-z-]+)(?:=|\\[|\\})"},
      {"qeltemplate.fish", "^complete .* -l ([a-z-]+)"},
  };
  Names all = OptionsOf({});
  for (const std::string& command : kCommands) all.merge(OptionsOf({command}));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    const std::string text =
        m_sandbox.Run({"cat", kRoot + std::string("completions/") + c.file}).out;
    EXPECT_EQ(NamesIn(text, c.pattern), all);
  }
}

}  // namespace
