// SPDX-License-Identifier: Apache-2.0

// The examples that a page of the documentation shows.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

// One request and what it gives. Texts are without the line end at their end.
struct Example {
  std::string heading;  // the heading that it stands under
  int line = 0;         // where it begins in its page
  std::string dialect;  // "nginx", "apache"
  std::string template_text;
  std::string values = "{}";           // as `qeltemplate --values` reads them
  std::vector<std::string> options;    // of `qeltemplate apply`: "--all"
  std::vector<std::string> diff;       // the configuration and the result, see below
  std::string before;                  // the configuration
  std::string after;                   // the result
  std::optional<std::string> refused;  // what the program says instead of editing
  std::optional<std::string> warning;  // what it says beside the edit
  std::optional<std::string> library;  // the result of the library, where it is another one
  std::optional<std::string> prototype;
  std::optional<std::string> error;  // what SetTemplate throws; before and after are empty then
  std::map<std::string, std::string> files;  // shown before it in the page: name, content
};

// The examples of the page `file`, in its order. An example is a run of fenced blocks, told apart
// by their languages:
//
//   nginx, apache  the template; begins the example
//   json           the values; may be left out
//   options        of the program; may be left out
//   diff           the configuration (lines with " " and "-") and the result (" " and "+"), both
//                  whole; or instead of it
//   error          what SetTemplate throws
//
// and then those of the following that it needs:
//
//   refused        the message with which the program refuses the edit: nothing is edited
//   warning        what the program says beside the edit
//   library        the library's own result, as in diff, where it is not that of the program
//   prototype      the template's own result
//
// A block "file" before an example is a file that it may import; the last line before the block
// ends in the file's name, as in "The file `limits.template`:". Blocks of the languages text, sh,
// cpp and none are the page's own.
//
// Throws std::runtime_error, "FILE:LINE: what is wrong", for a block that is out of place or never
// ends, and for a page without examples.
std::vector<Example> ReadExamples(const std::filesystem::path& file);
