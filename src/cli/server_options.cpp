// SPDX-License-Identifier: Apache-2.0

#include "cli/server_options.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/failure.h"
#include "cli/findings.h"
#include "cli/request.h"
#include "cli/text_io.h"
#include "edit/tree/limits.h"
#include "update/shell_command.h"

namespace cli {
namespace {

using tov_document::Dialect;

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

// The modules that httpd has of itself in what its -M says, " core_module (static)", or its -l,
// "  core.c". Those that LoadModule loads are found in the files.
std::set<std::string> ModulesIn(const std::string& output) {
  std::set<std::string> modules;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    std::string kind;
    words >> name >> kind;
    if (EndsWith(name, ".c") && kind.empty()) modules.insert(name);
    if (EndsWith(name, "_module") && kind != "(shared)") modules.insert(name);
  }
  return modules;
}

std::set<std::string> AskForModules(const std::string& command) {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  const tov_update::CommandResult result = tov_update::RunInShell(command, mask);
  std::set<std::string> modules = ModulesIn(result.output);
  if (modules.empty()) {
    throw Failure(command,
                  "it names no modules" + (result.output.empty() ? "" : ":\n" + result.output));
  }
  return modules;
}

}  // namespace

const std::vector<MainFile> kMainFiles = {
    {"/etc/nginx/nginx.conf", Dialect::kNginx},
    {"/usr/local/etc/nginx/nginx.conf", Dialect::kNginx},
    {"/etc/apache2/apache2.conf", Dialect::kApache},
    {"/etc/httpd/conf/httpd.conf", Dialect::kApache},
    {"/usr/local/apache2/conf/httpd.conf", Dialect::kApache},
};

MainFile OnlyMainFile(const std::vector<MainFile>& files, const std::string& dialect) {
  const std::optional<Dialect> wanted = tov_document::DialectNamed(dialect);
  std::vector<MainFile> there;
  std::string names;
  for (const MainFile& each : files) {
    std::error_code error;
    if (wanted && each.dialect != *wanted) continue;
    if (!std::filesystem::exists(each.file, error)) continue;
    there.push_back(each);
    names += (names.empty() ? "" : ", ") + std::string(each.file);
  }
  if (there.empty())
    throw Failure("no server's main file is where it usually is; name it as MAIN.conf");
  if (there.size() > 1) throw Failure("there are several servers here; name one of " + names);
  return there.front();
}

tov_server::ReadingOptions ReadingOf(const ServerOptions& options) {
  tov_server::ReadingOptions reading;
  std::optional<Dialect> dialect = tov_document::DialectNamed(options.dialect);
  reading.main = options.main;
  if (options.main.empty()) {
    const MainFile main = OnlyMainFile(kMainFiles, options.dialect);
    reading.main = main.file;
    dialect = main.dialect;
  }
  if (!dialect) {
    dialect = DialectOf(ReadFile(reading.main), reading.main);
    SayGuess(reading.main, *dialect);
  }
  reading.dialect = *dialect;
  reading.roots.assign(options.roots.begin(), options.roots.end());
  if (*dialect == Dialect::kApache) {
    reading.defines = options.defines;
    const auto directory = std::filesystem::path(reading.main).parent_path();
    reading.environment = tov_server::ReadEnvironment((directory / "envvars").string());
    if (!options.ask.empty()) reading.modules = AskForModules(options.ask);
  }
  return reading;
}

std::vector<CLI::Option*> AddServerOptions(CLI::App& command, ServerOptions& options) {
  return {AddNames(command, "--root", options.roots, "Read nothing outside of this directory")
              ->type_name("DIR"),
          AddNames(command, "--define", options.defines, "What httpd is started with as -D NAME"),
          command
              .add_option("--modules", options.ask,
                          "Ask CMD, as \"apache2ctl -M\" or \"httpd -l\", which modules httpd has")
              ->type_name("CMD")};
}

tov_server::Sites ReadServersSites(const ServerOptions& options) {
  tov_server::ReadingOptions reading = ReadingOf(options);
  SlowProgress progress("files read");
  reading.progress = [&progress](std::size_t files) { progress.Show(files); };
  tov_server::Sites read = tov_server::ReadSites(reading);
  if (read.server.files.empty()) throw Failure(Shown(read.server.findings.front()));
  return read;
}

void AddNewInOption(CLI::App& command, std::string& file) {
  AddFileOption(command, "--new-in", file,
                "The server's file for a block that is in none; {name} stands for its name");
}

void RefuseServerOptions(const ServerOptions& options, const std::string& new_in) {
  const bool none =
      new_in.empty() && options.roots.empty() && options.defines.empty() && options.ask.empty();
  if (none) return;
  throw CLI::ValidationError("--new-in, --root, --define, --modules", "are for --server");
}

tov_server::ServerFiles ReadWithProgress(tov_server::ReadingOptions reading) {
  tov_server::ServerFiles server;
  {
    SlowProgress progress("files read");
    reading.progress = [&progress](std::size_t files) { progress.Show(files); };
    server = tov_server::ReadServer(reading);
  }
  if (server.files.empty()) throw Failure(tov_edit::Shown(server.findings.front()));
  for (const tov_edit::Finding& finding : server.findings) {
    if (finding.name != "syntax-error") Say("warning: " + Said(finding));
  }
  return server;
}

SlowProgress::SlowProgress(std::string what)
    : m_what(std::move(what)),
      m_terminal(isatty(STDERR_FILENO) == 1),
      m_next(Clock::now() + std::chrono::seconds(1)) {}

SlowProgress::~SlowProgress() {
  if (m_shown) std::fputs("\r\x1b[K", stderr);
}

void SlowProgress::Show(std::size_t done) {
  if (!m_terminal) return;
  const Clock::time_point now = Clock::now();
  if (now < m_next) return;
  m_next = now + std::chrono::milliseconds(100);
  m_shown = true;
  std::fputs(("\r" + std::to_string(done) + ' ' + m_what).c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace cli
