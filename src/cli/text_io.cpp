// SPDX-License-Identifier: Apache-2.0

#include "cli/text_io.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "cli/failure.h"

namespace cli {
namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void FailBySystem(const std::string& file) {
  throw Failure(file, std::generic_category().message(errno));
}

// 0 for what has no size, a pipe say. A file may still grow while it is read.
std::size_t ExpectedSize(std::FILE* file) {
  struct stat status = {};
  if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  return static_cast<std::size_t>(status.st_size);
}

std::string ReadAll(std::FILE* file, const std::string& name) {
  std::string text;
  text.reserve(ExpectedSize(file));
  std::array<char, 65536> chunk;
  while (const std::size_t size = std::fread(chunk.data(), 1, chunk.size(), file)) {
    text.append(chunk.data(), size);
  }
  if (std::ferror(file)) FailBySystem(name);
  return text;
}

}  // namespace

std::string ReadFile(const std::string& file) {
  const std::unique_ptr<std::FILE, Closer> opened(std::fopen(file.c_str(), "rb"));
  if (!opened) FailBySystem(file);
  return ReadAll(opened.get(), file);
}

std::string ReadStandardInput() {
  return ReadAll(stdin, kStandardInput);
}

bool IsStandardInput(const std::string& name) {
  return name == "-";
}

void WriteStandardOutput(const std::string& text) {
  const bool taken = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!taken || std::fflush(stdout) != 0) FailBySystem(kStandardOutput);
}

// In one piece, so that the lines of several threads do not mix.
void Say(const std::string& message) {
  const std::string line = "qeltemplate: " + message + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace cli
