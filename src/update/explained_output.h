// SPDX-License-Identifier: Apache-2.0

// What a server says about new files, made readable.
#pragma once

#include <string>
#include <vector>

namespace tov_update {

// A file that a server has read.
struct JudgedFile {
  std::string name;  // for people
  std::string path;  // for the server
  std::string text;
};

// The server's `output`, and below it each line of the files that it complains about, as
// "NAME:LINE: text". Understood are "in PATH:LINE" of nginx and "on line LINE of PATH" of httpd,
// where PATH may lead to the file over symbolic links.
std::string ExplainedOutput(const std::string& output, const std::vector<JudgedFile>& files);

}  // namespace tov_update
