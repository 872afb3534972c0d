// SPDX-License-Identifier: Apache-2.0

#include "cli/server_check.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "server/shadow_tree.h"
#include "update/explained_output.h"
#include "update/failure.h"
#include "update/server_warnings.h"
#include "update/shell_command.h"
#include "update/stop_signals.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

using tov_server::Dialect;
using tov_server::FileEdit;
using tov_server::ServerFiles;
using tov_server::ShadowTree;
using tov_update::CommandResult;
using tov_update::NewWarnings;

// The words of a command that only runs a program; none: the shell would do more.
std::optional<std::vector<std::string>> WordsOf(const std::string& command) {
  std::vector<std::string> words;
  std::string word;
  bool open = false;
  char quote = '\0';
  for (const char byte : command) {
    if (quote != '\0') {
      if (byte == quote) {
        quote = '\0';
      } else if (quote == '"' && std::string_view("$`\\").find(byte) != std::string_view::npos) {
        return std::nullopt;
      } else {
        word += byte;
      }
    } else if (byte == '\'' || byte == '"') {
      quote = byte;
      open = true;
    } else if (byte == ' ' || byte == '\t') {
      if (open) words.push_back(std::exchange(word, {}));
      open = false;
    } else if (std::string_view("|&;<>()$`\\*?[]#~{}!\n").find(byte) != std::string_view::npos) {
      return std::nullopt;
    } else {
      word += byte;
      open = true;
    }
  }
  if (open) words.push_back(word);
  if (quote != '\0' || words.empty()) return std::nullopt;
  return words;
}

bool IsOneOf(const std::string& word, const std::set<std::string>& words) {
  return words.count(word) != 0;
}

// Whether `word` is a server's program of `dialect`.
bool IsProgram(const std::string& word, Dialect dialect) {
  static const std::set<std::string> kApache = {"apache2ctl", "apachectl", "apache2", "httpd"};
  const std::string name = fs::path(word).filename().string();
  return dialect == Dialect::kNginx ? name == "nginx" : IsOneOf(name, kApache);
}

// A server's own test of its configuration.
struct Test {
  std::vector<std::string> program;  // with "sudo" before it

  // All but the one that asks for the test; of some with a value.
  std::vector<std::pair<std::string, std::optional<std::string>>> options;
};

// None: `command` is no such test, or does more.
std::optional<Test> TestIn(const std::string& command, Dialect dialect) {
  static const std::set<std::string> kNginxOptions = {"-c", "-p", "-e", "-g"};
  static const std::set<std::string> kApacheOptions = {"-f", "-d", "-D", "-C", "-c", "-E"};
  const std::set<std::string>& with_value =
      dialect == Dialect::kNginx ? kNginxOptions : kApacheOptions;
  const std::optional<std::vector<std::string>> words = WordsOf(command);
  if (!words) return std::nullopt;
  const std::size_t program = words->front() == "sudo" ? 1 : 0;
  if (program >= words->size() || !IsProgram(words->at(program), dialect)) return std::nullopt;
  Test test;
  for (std::size_t i = 0; i <= program; ++i) test.program.push_back(words->at(i));
  bool tests = false;
  for (std::size_t i = program + 1; i < words->size(); ++i) {
    const std::string& word = words->at(i);
    if (word == "-t" || word == "configtest") {
      tests = true;
    } else if (word == "-q") {
      test.options.emplace_back(word, std::nullopt);
    } else if (IsOneOf(word, with_value) && i + 1 < words->size()) {
      test.options.emplace_back(word, words->at(++i));
    } else {
      return std::nullopt;
    }
  }
  return tests ? std::optional(test) : std::nullopt;
}

std::string Absolute(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  return error ? path : absolute.lexically_normal().string();
}

// What httpd's relative paths are relative to where the files do not say it.
std::string ServerRootFor(const std::string& main) {
  const fs::path directory = fs::path(main).parent_path();
  return directory.filename() == "conf" ? directory.parent_path().string() : directory.string();
}

// The same where a command may say it.
std::string ServerRootIn(const std::string& command, const std::string& main) {
  const std::vector<std::string> words = WordsOf(command).value_or(std::vector<std::string>());
  const auto option = std::find(words.begin(), words.end(), "-d");
  return words.end() - option > 1 ? Absolute(*(option + 1)) : ServerRootFor(main);
}

class Check {
 public:
  Check(const std::string& command, const ServerFiles& server, const std::vector<FileEdit>& files)
      : m_command(command), m_server(server), m_files(files) {
    m_main = Absolute(server.files.front().name);
  }

  std::optional<std::vector<std::string>> Run(NewWarnings new_warnings, std::string& why_not) {
    if (!CheckCommandWith(m_command, m_main, m_server.dialect, "")) {
      why_not = "it is no plain test of the server's";
      return std::nullopt;
    }
    std::map<std::string, std::string> old_texts;
    std::map<std::string, std::string> new_texts;
    for (const FileEdit& file : m_files) {
      new_texts[file.name] = file.text;
      if (!file.is_new) old_texts[file.name] = file.old_text;
    }
    const std::string root = ServerRootIn(m_command, m_main);
    const ShadowTree after(m_server, new_texts, root);
    why_not = after.problem();
    if (!why_not.empty()) return std::nullopt;
    const CommandResult judged = Ask(after);
    if (!judged.Succeeded() && !TakesOldFilesIn(old_texts)) {
      why_not = "it does not take a copy of the configuration as it is";
      return std::nullopt;
    }
    if (!judged.Succeeded()) Refuse(judged, "refuses the new files (" + judged.end + ')');
    if (new_warnings == NewWarnings::kNotLookedFor) return std::vector<std::string>();
    std::vector<std::string> warnings = tov_update::NewServerWarnings(
        Ask(ShadowTree(m_server, old_texts, ServerRootIn(m_command, m_main))).output,
        judged.output);
    if (new_warnings == NewWarnings::kRefused && !warnings.empty()) RefuseWarnings(warnings);
    for (std::string& warning : warnings) {
      warning = tov_update::ExplainedOutput(warning, Judged());
    }
    return warnings;
  }

 private:
  // What the server says of a tree, with the real names.
  CommandResult Ask(const ShadowTree& tree) const {
    const std::string command = *CheckCommandWith(m_command, m_main, m_server.dialect, tree.In(""));
    CommandResult result = tov_update::RunInShell(command, m_held.Before());
    result.output = tree.WithRealNames(std::move(result.output));
    if (m_held.Waiting()) {
      throw tov_update::Failure(m_command + ": stopped, nothing is changed",
                                tov_update::DataOf(m_command, result));
    }
    return result;
  }

  // Whether the server takes a copy of what is there, or takes what is there as little: then a
  // refusal of the new files is about these.
  bool TakesOldFilesIn(const std::map<std::string, std::string>& old_texts) const {
    if (Ask(ShadowTree(m_server, old_texts, ServerRootIn(m_command, m_main))).Succeeded())
      return true;
    const std::string real = *CheckCommandWith(m_command, m_main, m_server.dialect, "");
    return !tov_update::RunInShell(real, m_held.Before()).Succeeded();
  }

  std::vector<tov_update::JudgedFile> Judged() const {
    std::vector<tov_update::JudgedFile> judged;
    for (const FileEdit& file : m_files) {
      judged.push_back({file.name, Absolute(file.name), file.text});
    }
    return judged;
  }

  [[noreturn]] void Refuse(const CommandResult& result, const std::string& what) const {
    const std::string said = tov_update::ExplainedOutput(result.output, Judged());
    throw tov_update::ServerRefusal(
        m_command + ": " + what + ", nothing is changed" + (said.empty() ? "" : ":\n" + said),
        tov_update::DataOf(m_command, result));
  }

  [[noreturn]] void RefuseWarnings(const std::vector<std::string>& warnings) const {
    CommandResult result;
    result.exit_status = 0;
    for (const std::string& warning : warnings) {
      result.output += (result.output.empty() ? "" : "\n") + warning;
    }
    Refuse(result, "warns of the new files as it did not of the old ones");
  }

  const std::string& m_command;
  const ServerFiles& m_server;
  const std::vector<FileEdit>& m_files;
  std::string m_main;
  const tov_update::HeldStopSignals m_held;  // what is made in the meantime is removed
};

}  // namespace

std::optional<std::string> CheckCommandWith(const std::string& command, const std::string& main,
                                            Dialect dialect, const std::string& tree) {
  const std::optional<Test> test = TestIn(command, dialect);
  if (!test) return std::nullopt;
  const bool nginx = dialect == Dialect::kNginx;
  std::vector<std::string> words = test->program;
  words.emplace_back("-t");
  for (const auto& [option, value] : test->options) {
    const bool replaced = option == (nginx ? "-c" : "-f") || (option == "-d" && !tree.empty());
    if (replaced) continue;
    words.push_back(option);
    if (value) words.push_back(*value);
  }
  if (!nginx && !tree.empty()) {
    words.insert(words.end(), {"-d", tree + ServerRootIn(command, main)});
  }
  words.insert(words.end(), {nginx ? "-c" : "-f", tree + main});
  std::string turned;
  for (const std::string& word : words) {
    turned += (turned.empty() ? "" : " ") + tov_update::ShellQuoted(word);
  }
  return turned;
}

std::string CheckCommandOf(const std::string& main, Dialect dialect) {
  const bool nginx = dialect == Dialect::kNginx;
  const std::string usual = nginx ? "/etc/nginx/nginx.conf" : "/etc/apache2/apache2.conf";
  const std::string path = Absolute(main);
  std::string command = nginx ? "nginx -t" : "apache2ctl -t";
  if (path == usual) return command;
  return command + (nginx ? " -c " : " -f ") + tov_update::ShellQuoted(path);
}

std::optional<std::vector<std::string>> CheckInShadow(const std::string& command,
                                                      const ServerFiles& server,
                                                      const std::vector<FileEdit>& files,
                                                      NewWarnings new_warnings,
                                                      std::string& why_not) {
  try {
    return Check(command, server, files).Run(new_warnings, why_not);
  } catch (const fs::filesystem_error& error) {
    why_not = error.what();
  } catch (const std::ios_base::failure& error) {
    why_not = "no copy of the configuration can be made: " + std::string(error.what());
  }
  return std::nullopt;
}

}  // namespace cli
