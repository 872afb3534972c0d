// SPDX-License-Identifier: Apache-2.0

#include "template/framework/tov_file.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "template/framework/tov_err.h"

namespace fs = std::filesystem;

namespace tov_file {
namespace {

constexpr tov_access::AccessMask kReadable = 0xE0000000;

// The system would silently take a path with an embedded NUL for a shorter one.
bool IsUsable(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos;
}

}  // namespace

std::string RealPath(const std::string& path) {
  if (!IsUsable(path)) return std::string();
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  if (error) return std::string();
  const fs::path canonical = fs::weakly_canonical(absolute, error);
  return error ? std::string() : canonical.string();
}

bool Exists(const std::string& path) {
  std::error_code error;
  return IsUsable(path) && fs::exists(path, error);
}

std::string ReadE(const std::string& path) {
  std::error_code error;
  if (IsUsable(path) && fs::is_regular_file(path, error)) {
    std::ifstream file(path, std::ios::binary);
    std::string content;
    std::array<char, 65536> chunk;
    while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
      content.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (file.eof() && !file.bad()) return content;
  }
  throw tov_err::Error("file", "read").add_param("filename", path, kReadable);
}

std::pair<std::string, std::string> SplitPath(const std::string& path) {
  const fs::path parts(path);
  return {parts.parent_path().string(), parts.filename().string()};
}

std::string Name(const std::string& path) {
  return SplitPath(path).second;
}

}  // namespace tov_file
