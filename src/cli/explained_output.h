// What a server says about new files, made readable.
#pragma once

#include <string>
#include <vector>

namespace cli {

// A file that a server has read.
struct JudgedFile {
  std::string name;  // for people
  std::string path;  // of what the server has read
  std::string text;
};

// The server's `output`, in which the files bear their names, and below it each line of them that it
// complains about, "NAME:LINE: text". Understood are "in PATH:LINE" of nginx and "on line LINE of
// PATH" of httpd, where PATH may lead to the file over symbolic links. Line ends at the end of
// `output` are dropped.
std::string ExplainedOutput(const std::string& output, const std::vector<JudgedFile>& files);

}  // namespace cli
