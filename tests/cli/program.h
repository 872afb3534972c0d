// SPDX-License-Identifier: Apache-2.0

// The program, run as a process in a sandbox that holds a site and its template.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/sandbox.h"

using Words = std::vector<std::string>;

class Program : public testing::Test {
 protected:
  Program() {
    m_sandbox.Write("site.conf", kSite);
    m_sandbox.Write("site.template", kTemplate);
  }

  static constexpr char kSite[] = "server {\nserver_name a.example;\nroot /srv/a;\n}\n";
  static constexpr char kTemplate[] = "server {\nserver_name {% $name %};\n}\n";

  Outcome Run(Words arguments, const std::string& input = "",
              const std::string& output = "") const {
    arguments.insert(arguments.begin(), QELTEMPLATE_PROGRAM);
    return m_sandbox.Run(arguments, input, output);
  }

  // A subcommand with the options that it cannot do without, then `more`.
  Outcome RunOn(const char* subcommand, const Words& more, const std::string& input = "",
                const std::string& output = "") const {
    Words arguments = {subcommand, "--dialect", "nginx", "--template", "site.template"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments, input, output);
  }

  Outcome Apply(const Words& more, const std::string& input = "",
                const std::string& output = "") const {
    return RunOn("apply", more, input, output);
  }

  Outcome Prototype(const Words& more, const std::string& input = "") const {
    return RunOn("prototype", more, input);
  }

  // Runs the program with `arguments` through the shell, as "SHELL "$@"".
  Outcome RunInShell(const std::string& shell, const Words& arguments) const {
    Words command = {"sh", "-c", shell, "sh", QELTEMPLATE_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return m_sandbox.Run(command);
  }

  Sandbox m_sandbox;
};

inline void ExpectText(const Outcome& outcome, const std::string& text) {
  EXPECT_EQ(outcome.out, text);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exit_code, 0);
}

inline void ExpectFailure(const Outcome& outcome, const std::string& message) {
  EXPECT_EQ(outcome.err, "qeltemplate: " + message + "\n");
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.exit_code, 3);
}

// For one reason: "site.conf: not edited", then what is said of it.
inline void ExpectRefusal(const Outcome& outcome, const std::string& what,
                          const std::string& finding) {
  EXPECT_EQ(outcome.err, "qeltemplate: " + what + ":\n  " + finding + "\n");
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.exit_code, 4);
}

inline std::string ServerNamed(const std::string& name) {
  return "server {\nserver_name " + name + ";\nroot /srv/a;\n}\n";
}
