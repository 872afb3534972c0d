// SPDX-License-Identifier: Apache-2.0

// Renames a site in an nginx configuration and writes the edited text to standard output:
//
//   rename_site CONFIG OLD_NAME NEW_NAME
#include <template/qeltemplate.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace {

// The lines of a site that hold its name.
const char* const kTemplate = R"(
server {
	server_name {% $name %} www.{% $name %};
	access_log logs/{% $name %}.access.log;
}
)";

std::string ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw std::system_error(errno, std::generic_category(), name);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Renamed(const std::string& config, const std::string& old_name,
                    const std::string& new_name) {
  return tov_template::ParserTemplate(tov_template::GetConfigType("Nginx", config))
      .SetValue("name", old_name, new_name)
      .SetTemplate(kTemplate)
      .ApplyTemplate()
      .GetConfig();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: rename_site CONFIG OLD_NAME NEW_NAME\n";
    return 2;
  }
  try {
    std::cout << Renamed(ReadFile(argv[1]), argv[2], argv[3]) << '\n' << std::flush;
    if (!std::cout) throw std::runtime_error("the edited text cannot be written");
  } catch (const std::exception& error) {
    std::cerr << "rename_site: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
