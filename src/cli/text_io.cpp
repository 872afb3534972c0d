// SPDX-License-Identifier: Apache-2.0

#include "cli/text_io.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "cli/failure.h"
#include "text/reserve_ahead.h"

namespace cli {
namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void FailBySystem(const std::string& file) {
  throw Failure(file, std::generic_category().message(errno));
}

[[noreturn]] void FailBySize(const std::string& file, std::size_t limit) {
  throw Failure(file, "is larger than " + std::to_string(limit / tov_edit::kMebibyte) + " MiB");
}

// Devices give bytes for ever, as a rule, or until a disk has been read.
bool IsEndless(const struct stat& status, std::FILE* file) {
  if (S_ISBLK(status.st_mode)) return true;
  const bool is_null = status.st_rdev == makedev(1, 3);
  return S_ISCHR(status.st_mode) && !is_null && isatty(fileno(file)) == 0;
}

// 0 for what has no size, a pipe say. A file may still grow while it is read.
std::size_t ExpectedSize(std::FILE* file, const std::string& name) {
  struct stat status = {};
  if (fstat(fileno(file), &status) != 0) FailBySystem(name);
  if (IsEndless(status, file)) throw Failure(name, "is a device");
  return S_ISREG(status.st_mode) ? static_cast<std::size_t>(status.st_size) : 0;
}

std::string ReadAll(std::FILE* file, const std::string& name, std::size_t limit) {
  const std::size_t expected = ExpectedSize(file, name);
  if (expected > limit) FailBySize(name, limit);
  std::string text;
  tov_text::ReserveAhead(text, expected);
  std::array<char, 65536> chunk;
  while (const std::size_t size = std::fread(chunk.data(), 1, chunk.size(), file)) {
    text.append(chunk.data(), size);
    if (text.size() > limit) FailBySize(name, limit);
  }
  if (std::ferror(file)) FailBySystem(name);
  return text;
}

}  // namespace

std::string ReadFile(const std::string& file, std::size_t limit) {
  const std::unique_ptr<std::FILE, Closer> opened(std::fopen(file.c_str(), "rb"));
  if (!opened) FailBySystem(file);
  return ReadAll(opened.get(), file, limit);
}

std::string ReadStandardInput(std::size_t limit) {
  return ReadAll(stdin, kStandardInput, limit);
}

bool IsStandardInput(const std::string& name) {
  return name == "-";
}

void WriteStandardOutput(std::string_view text) {
  const bool taken = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!taken || std::fflush(stdout) != 0) FailBySystem(kStandardOutput);
}

void SayOutOfMemory() {
  std::fputs("qeltemplate: out of memory\n", stderr);
}

// In one piece, so that the lines of several threads do not mix.
void Say(const std::string& message) {
  const std::string line = "qeltemplate: " + message + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace cli
