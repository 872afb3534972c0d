// SPDX-License-Identifier: Apache-2.0

// Does one thing to the text of a file and ends, so that the peak of its memory can be measured:
//
//   one_edit floor CONFIG                cuts the text into lines and joins them
//   one_edit DIALECT CONFIG TEMPLATE     edits one site with the library
//   one_edit text CONFIG                 only reads the file
//   one_edit DIALECT CONFIG              reads the text's blocks
//   one_edit read DIALECT CONFIG         has the library read it, and edits nothing
//
// All hold the text that was read, and the text that came out, until the end.
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "document/document.h"
#include "floor.h"
#include "sites.h"
#include "template/qeltemplate.h"

namespace {

// In one piece: a growing text would take more memory than it is long.
std::string ReadFile(const std::string& name) {
  std::string text(std::filesystem::file_size(name), '\0');
  std::ifstream file(name, std::ios::binary);
  if (!file.read(text.data(), static_cast<std::streamsize>(text.size()))) {
    throw std::runtime_error("cannot read " + name);
  }
  return text;
}

std::string Edit(const std::string& dialect, const std::string& config,
                 const std::string& template_text) {
  tov_template::ParserTemplate parser(tov_template::GetConfigType(dialect, config));
  return parser.SetValue("folder", bench::kOldFolder, bench::kNewFolder)
      .SetTemplate(template_text)
      .ApplyTemplate()
      .GetConfig();
}

std::size_t CountBlocks(const std::string& dialect, const std::string& config) {
  const bool nginx = dialect == bench::kNginx.name;
  return tov_document::Document(
             nginx ? tov_document::Dialect::kNginx : tov_document::Dialect::kApache, config)
      .blocks()
      .size();
}

// The number of characters, or of blocks, that came out.
std::size_t Run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 2 && arguments[0] == "floor") {
    const std::string config = ReadFile(arguments[1]);
    return bench::CutAndJoin(config).size();
  }
  if (arguments.size() == 2) {
    const std::string config = ReadFile(arguments[1]);
    return arguments[0] == "text" ? config.size() : CountBlocks(arguments[0], config);
  }
  if (arguments.size() == 3 && arguments[0] == "read") {
    const std::string config = ReadFile(arguments[2]);
    const tov_template::ParserTemplate parser(tov_template::GetConfigType(arguments[1], config));
    return parser.GetConfig().size();
  }
  if (arguments.size() == 3) {
    const std::string config = ReadFile(arguments[1]);
    return Edit(arguments[0], config, ReadFile(arguments[2])).size();
  }
  throw std::invalid_argument(
      "usage: one_edit floor|text|DIALECT CONFIG | read DIALECT CONFIG | DIALECT CONFIG TEMPLATE");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::cout << Run({argv + 1, argv + argc}) << '\n';
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "one_edit: " << error.what() << '\n';
    return 1;
  }
}
