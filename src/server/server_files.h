// SPDX-License-Identifier: Apache-2.0

// The files of a server: its main file, and what this includes, as the server itself finds it.
//
//   tov_server::ReadingOptions options;
//   options.dialect = tov_server::Dialect::kNginx;
//   options.main = "/etc/nginx/nginx.conf";
//   const tov_server::ServerFiles server = tov_server::ReadServer(options);
//
// Nothing is written, and no program is run. All functions may be called by several threads at a
// time, and change nothing that a process shares.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "document/dialect.h"
#include "edit/finding.h"
#include "server/export.h"

namespace tov_server {

using tov_document::Dialect;
using tov_edit::Finding;

struct ReadingOptions {
  Dialect dialect = Dialect::kNginx;

  // The main file. The names of the others are absolute if this one is, or the server itself says
  // where they are.
  std::string main;

  // The directory that relative names in the files are relative to. "": of nginx the main file's,
  // and httpd's ServerRoot; until one is stated that is the main file's directory, or the one above
  // it where that is called "conf".
  std::string prefix;

  // Nothing outside of these directories is read, wherever links lead; empty: there is no limit.
  std::vector<std::string> roots;

  // What httpd is started with; see also ReadEnvironment.
  std::set<std::string> defines;                   // -D NAME, for <IfDefine>
  std::map<std::string, std::string> environment;  // for ${NAME}, where no Define says it

  // The modules that httpd has of itself, as <IfModule> names them: "mod_so.c" or "so_module". What
  // LoadModule lines load comes on top. None: not known; they are those that are usual, and
  // <IfModule> holds as long as no LoadModule has been read.
  std::optional<std::set<std::string>> modules;

  // httpd's, "2.4.62", for <IfVersion>; "": not known, then it holds.
  std::string version;

  // Is told after each file how many have been read.
  std::function<void(std::size_t)> progress;
};

// An include directive that is followed.
struct Include {
  // In the text of its file, from the first byte to what ends it.
  std::uint32_t begin = 0;
  std::uint32_t end = 0;

  // What it names, as the server looks for it: with its variables, and absolute if the main file's
  // name is. A name, a pattern, of Apache maybe a directory. Several as for `files`.
  std::vector<std::string> patterns;

  // What it reads, by position in ServerFiles::files, in the server's order. A file that is read
  // several times may include something else each time, by variables: all of that.
  std::vector<std::size_t> files;
};

// A part of a file that counts for nothing.
struct LeftOut {
  std::uint32_t begin = 0;  // in its text
  std::uint32_t end = 0;
};

struct ServerFile {
  std::string name;               // as the server names it
  std::string text;               // byte for byte
  std::vector<Include> includes;  // in the order of the text

  // Of Apache the conditions that do not hold, whenever the file is read, and the macros: each from
  // its first line to its last one, with all that stands in it. In the order of the text.
  std::vector<LeftOut> left_out = {};
};

struct ServerFiles {
  Dialect dialect = Dialect::kNginx;

  // The main one first, the others as includes name them, from the first one on. Each once, however
  // often it is included, and by whatever names: the first one counts. Empty when the main file
  // cannot be read.
  std::vector<ServerFile> files;

  // What was not followed, or not understood, in the order of reading. Their names are in
  // kServerWarnings; another is "syntax-error", behind which nothing of the file is looked at.
  std::vector<Finding> findings;
};

// The names of the findings, for help texts.
QELTEMPLATE_SERVER_EXPORT extern const std::vector<tov_edit::FindingKind> kServerWarnings;

// Reads a server's files. Includes are followed wherever the server does: in any block, of nginx
// not in Lua; of Apache where <IfModule>, <IfDefine>, <IfVersion> and <IfFile> hold, with the
// variables that are defined then, and in what a "Use" makes of a macro: these are not among
// ServerFile::includes. Each file is read once. Cost: linear in what the server reads.
QELTEMPLATE_SERVER_EXPORT ServerFiles ReadServer(const ReadingOptions& options);

// What httpd gets from Debian's /etc/apache2/envvars, the shell's file `name`: the variables that
// it sets, as far as that can be told without a shell. Empty where there is no such file.
QELTEMPLATE_SERVER_EXPORT std::map<std::string, std::string> ReadEnvironment(
    const std::string& name);

}  // namespace tov_server
