// SPDX-License-Identifier: Apache-2.0

// What commands are asked that look at a whole server, and how far they have got with it.
#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "document/dialect.h"
#include "server/server_files.h"
#include "server/sites.h"

namespace cli {

struct ServerOptions {
  std::string main;               // "": where the server's own main file usually is
  std::string dialect;            // "": to be guessed
  std::set<std::string> roots;    // nothing outside of them is read; empty: there is no limit
  std::set<std::string> defines;  // httpd's -D
  std::string ask;                // the command that tells httpd's modules; "": nobody is asked
};

// Adds the options that say what is read of a server, and returns them: --root, --define,
// --modules. Parsing a command line fills `options`, which must live until then.
std::vector<CLI::Option*> AddServerOptions(CLI::App& command, ServerOptions& options);

// Adds --new-in, the file in which an edit makes what is new.
void AddNewInOption(CLI::App& command, std::string& file);

// Throws CLI::ValidationError where one of these options is given: without --server they say
// nothing.
void RefuseServerOptions(const ServerOptions& options, const std::string& new_in);

// A main file, and for whom it is.
struct MainFile {
  const char* file;
  tov_document::Dialect dialect;
};

// Where servers have their main files.
extern const std::vector<MainFile> kMainFiles;

// The one of `files` that is there, and for `dialect` if that is not "". Throws Failure when there
// is none, or several are.
MainFile OnlyMainFile(const std::vector<MainFile>& files, const std::string& dialect);

// What is to be read. A main file that nobody names is looked for, and an unknown language guessed.
// Runs the command that is asked for modules. Throws Failure.
tov_server::ReadingOptions ReadingOf(const ServerOptions& options);

// Reads a server with its sites, and shows how far it has got. Throws Failure, also when the main
// file cannot be read.
tov_server::Sites ReadServersSites(const ServerOptions& options);

// The files of a server, with a line of progress where that takes long. Says on standard error what
// there is to say of them, but for what the server would not take. Throws Failure when the main
// file cannot be read.
tov_server::ServerFiles ReadWithProgress(tov_server::ReadingOptions reading);

// A line on standard error, on a terminal only, for work that takes longer than a second. It goes
// when the object does.
class SlowProgress {
 public:
  // `what` is done: "files read".
  explicit SlowProgress(std::string what);
  ~SlowProgress();
  SlowProgress(const SlowProgress&) = delete;
  SlowProgress& operator=(const SlowProgress&) = delete;

  void Show(std::size_t done);

 private:
  using Clock = std::chrono::steady_clock;

  const std::string m_what;
  const bool m_terminal;
  Clock::time_point m_next;  // when something is shown again
  bool m_shown = false;
};

}  // namespace cli
