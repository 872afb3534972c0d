// SPDX-License-Identifier: Apache-2.0

// A server's own test of its configuration, as a command for the shell.
#pragma once

#include <optional>
#include <string>

#include "server/server_files.h"

namespace tov_server {

// The command that checks the whole configuration of which `main` is the main file.
std::string CheckCommandOf(const std::string& main, Dialect dialect);

// `command`, a test of nginx's or httpd's own, with `main` as the main file; all paths below the
// directory `tree`, if that is not "". None: it is none that is known, or asks more of the shell
// than to run it.
std::optional<std::string> CheckCommandWith(const std::string& command, const std::string& main,
                                            Dialect dialect, const std::string& tree);

// The directory that httpd's relative paths are relative to where the files do not say it: the one
// that `command` says, else the one that goes with `main`.
std::string ServerRootIn(const std::string& command, const std::string& main);

// `path`, which is relative to the current directory, in full.
std::string AbsolutePath(const std::string& path);

}  // namespace tov_server
