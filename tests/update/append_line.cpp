// SPDX-License-Identifier: Apache-2.0

// append_line [OPTION...] LINE FILE...: adds a line to each file by one FileUpdate. It exits
// with 3 where that fails, with 5 where a command refuses, and with 7 where a file has been changed
// by another program meanwhile.
//
//   --backup=SUFFIX --check=COMMAND --reload=COMMAND   as in UpdateOptions
//   --warnings=told|refused                            the same
//   --wait=MILLISECONDS                                for the locks
//   --jobs=NUMBER                                      as in UpdateOptions, and to lock them
//   --missing                                          the one file need not be there
//   --library                                          without holding signals, and cancellable

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "update/update.h"

namespace {

constexpr int kFailed = 3;
constexpr int kRefused = 5;
constexpr int kOvertaken = 7;

struct Arguments {
  tov_update::UpdateOptions options;
  std::chrono::milliseconds wait = tov_update::FileUpdate::kLockWait;
  bool missing = false;
  std::optional<tov_update::Cancellation> cancellation;
  std::vector<std::string> words;
};

Arguments Parsed(int argc, char** argv) {
  Arguments parsed;
  parsed.options.hold_stop_signals = true;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const std::string option = word.substr(0, word.find('='));
    const std::string value = option == word ? "" : word.substr(option.size() + 1);
    if (option == "--backup") {
      parsed.options.backup_suffix = value;
    } else if (option == "--check") {
      parsed.options.check = value;
    } else if (option == "--reload") {
      parsed.options.reload = value;
    } else if (option == "--warnings") {
      parsed.options.new_warnings =
          value == "refused" ? tov_update::NewWarnings::kRefused : tov_update::NewWarnings::kTold;
    } else if (option == "--wait") {
      parsed.wait = std::chrono::milliseconds(std::stoi(value));
    } else if (option == "--jobs") {
      parsed.options.jobs = static_cast<unsigned>(std::stoi(value));
    } else if (option == "--missing") {
      parsed.missing = true;
    } else if (option == "--library") {
      parsed.options.hold_stop_signals = false;
      parsed.cancellation.emplace();
    } else {
      parsed.words.push_back(word);
    }
  }
  return parsed;
}

tov_update::FileUpdate Locked(const Arguments& arguments) {
  const std::vector<std::string> files(arguments.words.begin() + 1, arguments.words.end());
  tov_update::AllowOpenFiles(files.size());
  if (arguments.missing) {
    return tov_update::FileUpdate::OfMissing(files.front(), arguments.wait, arguments.cancellation);
  }
  return tov_update::FileUpdate::OfMany(files, arguments.options.jobs, arguments.wait,
                                        arguments.cancellation);
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments = Parsed(argc, argv);
  try {
    tov_update::FileUpdate update = Locked(arguments);
    for (std::size_t i = 0; i < update.Size(); ++i) {
      update.Replace(i, update.Read(i) + arguments.words.front() + '\n');
    }
    update.Commit(arguments.options);
  } catch (const tov_update::ServerRefusal& refusal) {
    std::fprintf(stderr, "%s\n", refusal.what());
    return kRefused;
  } catch (const tov_update::Overtaken& overtaken) {
    std::fprintf(stderr, "%s\n", overtaken.what());
    return kOvertaken;
  } catch (const tov_update::Failure& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return kFailed;
  }
}
