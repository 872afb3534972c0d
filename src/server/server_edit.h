// SPDX-License-Identifier: Apache-2.0

// The careful edit of a whole server: a template is carried out on the blocks that it means, in
// whatever files they stand.
//
//   const ServerFiles server = ReadServer(reading);
//   const ServerResult result = EditServer(request, server);
//   if (result.refusals.empty()) for (const FileEdit& file : result.files) Write(file);
//
// The template's blocks are looked for in all files that the server reads around its servers, as if
// they were one text (joint_text.h): one fits, or the edit is refused with the places in their
// files. What a snippet holds that is read inside of a server's block is not looked at: others may
// read it as well.
#pragma once

#include <string>
#include <vector>

#include "edit/edit.h"
#include "edit/report.h"
#include "edit/request.h"
#include "server/export.h"
#include "server/server_files.h"

namespace tov_server {

struct ServerEditOptions {
  // The file in which blocks are made when none of the template's blocks are there. "{name}" in it
  // stands for the first name that the template gives to a server. It is one of the server's files,
  // or a new one that it will read. "": none; then blocks are not made, unless the server has one
  // file only.
  std::string new_in;
};

// A file that changes.
struct FileEdit {
  std::string name;
  bool is_new = false;  // it is not there yet
  std::string old_text;
  std::string text;
  std::vector<tov_edit::Change> changes;  // see tov_edit::Result::changes
};

struct ServerResult {
  std::vector<FileEdit> files;  // in the order of ServerFiles::files; of a refused edit none
  bool skipped = false;         // see tov_edit::Result
  std::vector<Finding> refusals;
  std::vector<Finding> warnings;
};

// Carries `request` out on `server`: all files or none. Its dialect is that of the server. Of a
// server with one file the result is that of tov_edit::Edit, byte by byte, but that of the whole
// server httpd's virtual hosts must be reached by a "Listen". Each change is made in
// the one file that it belongs to, as if that were edited by itself. Blocks that are new are made
// in the file that holds those of the template which are there.
//
// Beside the refusals of an edit there are:
//
//   no-file    a block is in no file, and `new_in` does not say where to make it, or says a file
//              that the server would not read
//   included   what is to change has other files read
//
// Throws what the request's importer throws, and std::length_error for more than 4 GiB of texts.
QELTEMPLATE_SERVER_EXPORT ServerResult EditServer(const tov_edit::Request& request,
                                                  const ServerFiles& server,
                                                  const ServerEditOptions& options = {});

// The same edit, and what became of each line of the template.
struct ExplainedServer {
  ServerResult result;
  tov_edit::EditReport report;
};
QELTEMPLATE_SERVER_EXPORT ExplainedServer ExplainServer(const tov_edit::Request& request,
                                                        const ServerFiles& server,
                                                        const ServerEditOptions& options = {});

}  // namespace tov_server
