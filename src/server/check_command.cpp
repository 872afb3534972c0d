// SPDX-License-Identifier: Apache-2.0

#include "server/check_command.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "update/shell_command.h"

namespace tov_server {
namespace {

namespace fs = std::filesystem;

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

// What httpd's relative paths are relative to where the files do not say it.
std::string ServerRootFor(const std::string& main) {
  const fs::path directory = fs::path(main).parent_path();
  return directory.filename() == "conf" ? directory.parent_path().string() : directory.string();
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  return error ? path : absolute.lexically_normal().string();
}

std::string ServerRootIn(const std::string& command, const std::string& main) {
  const std::vector<std::string> words = WordsOf(command).value_or(std::vector<std::string>());
  const auto option = std::find(words.begin(), words.end(), "-d");
  return words.end() - option > 1 ? AbsolutePath(*(option + 1)) : ServerRootFor(main);
}

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
  const std::string path = AbsolutePath(main);
  std::string command = nginx ? "nginx -t" : "apache2ctl -t";
  if (path == usual) return command;
  return command + (nginx ? " -c " : " -f ") + tov_update::ShellQuoted(path);
}

}  // namespace tov_server
