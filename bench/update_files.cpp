// SPDX-License-Identifier: Apache-2.0

// Replaces OLD by NEW in each file, as the program does it: locked, all of them or none, with as
// many threads as there are processors. No configuration is read: what is left is what the careful
// replacing of files takes by itself.
//
//   update_files OLD NEW FILE...
//
// Fails when a file does not hold OLD.
#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "update/side_by_side.h"
#include "update/update.h"

namespace {

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  if (at == std::string::npos) throw std::runtime_error("a file does not hold " + from);
  return text.replace(at, from.size(), to);
}

void Run(const std::vector<std::string>& arguments) {
  if (arguments.size() < 3) throw std::invalid_argument("usage: update_files OLD NEW FILE...");
  const std::vector<std::string> files(arguments.begin() + 2, arguments.end());
  tov_update::UpdateOptions options;
  options.jobs = std::max(1U, std::thread::hardware_concurrency());
  tov_update::AllowOpenFiles(files.size());
  auto update = tov_update::FileUpdate::OfMany(files, options.jobs);
  tov_update::ForEachSideBySide(update.Size(), options.jobs, [&](std::size_t file) {
    update.Replace(file, Replaced(update.Read(file), arguments[0], arguments[1]));
  });
  update.Commit(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Run({argv + 1, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "update_files: " << error.what() << '\n';
    return 1;
  }
}
