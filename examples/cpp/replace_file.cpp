// SPDX-License-Identifier: Apache-2.0

// Replaces the text of FILE by what stands on standard input, if the server takes it:
//
//   replace_file FILE CHECK RELOAD
//
//   replace_file /etc/nginx/sites-available/site 'nginx -t' 'systemctl reload nginx' <new_text
//
// CHECK and RELOAD are commands, "" for none. What was there before is kept as FILE~. Ctrl-C ends
// it with the old text in its place.
#include <update/update.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <iterator>
#include <string>

namespace {

const tov_update::Cancellation* ctrl_c = nullptr;

tov_update::UpdateOptions Options(const std::string& check, const std::string& reload) {
  tov_update::UpdateOptions options;
  options.backup_suffix = "~";
  options.check = check;
  options.reload = reload;
  options.new_warnings = tov_update::NewWarnings::kTold;
  options.command_limit = std::chrono::minutes(1);
  return options;
}

void Replace(const std::string& file, const std::string& text,
             const tov_update::UpdateOptions& options) {
  static const tov_update::Cancellation cancellation;  // Ctrl-C may come at any time
  ctrl_c = &cancellation;
  std::signal(SIGINT, [](int) { ctrl_c->Cancel(); });

  tov_update::FileUpdate update({file}, tov_update::FileUpdate::kLockWait, cancellation);
  update.Replace(0, text);
  const tov_update::UpdateResult result = update.Commit(options);
  std::signal(SIGINT, SIG_DFL);

  for (const std::string& name : result.changed) std::cout << name << " is new\n";
  for (const std::string& warning : result.new_warnings)
    std::cout << "warning: " << warning << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: replace_file FILE CHECK RELOAD\n";
    return 2;
  }
  try {
    const std::string text(std::istreambuf_iterator<char>(std::cin), {});
    Replace(argv[1], text, Options(argv[2], argv[3]));
  } catch (const tov_update::ServerRefusal& refusal) {
    std::cerr << "replace_file: refused: " << refusal.what() << '\n';
    return EXIT_FAILURE;
  } catch (const std::exception& error) {
    std::cerr << "replace_file: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
