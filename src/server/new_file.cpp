// SPDX-License-Identifier: Apache-2.0

#include "server/new_file.h"

#include <fnmatch.h>

#include <filesystem>
#include <system_error>

namespace tov_server {
namespace {

namespace fs = std::filesystem;

bool Fits(const std::string& pattern, const std::string& name) {
  return fnmatch(pattern.c_str(), name.c_str(), FNM_PATHNAME | FNM_PERIOD) == 0;
}

// httpd reads all that is in a directory, and below it.
bool FitsForApache(const std::string& pattern, const fs::path& name) {
  for (fs::path path = name; path != path.parent_path(); path = path.parent_path()) {
    if (Fits(pattern, path.string())) return true;
  }
  return false;
}

// The same file, by a directory without links.
std::string WithRealDirectory(const std::string& name) {
  std::error_code error;
  const fs::path path(name);
  const fs::path real = fs::canonical(path.parent_path(), error);
  return error ? name : (real / path.filename()).string();
}

}  // namespace

std::string PlainPath(const std::string& name) {
  std::error_code error;
  const fs::path path = fs::absolute(name, error).lexically_normal();
  const std::string plain = error ? name : path.string();
  return plain.size() > 1 && plain.back() == '/' ? plain.substr(0, plain.size() - 1) : plain;
}

bool LeadsTo(Dialect dialect, const std::string& pattern, const std::string& name) {
  const std::string plain = PlainPath(pattern);
  const bool apache = dialect == Dialect::kApache;
  const auto fits = [&](const std::string& path, const std::string& file) {
    return apache ? FitsForApache(path, file) : Fits(path, file);
  };
  return fits(plain, PlainPath(name)) ||
         fits(WithRealDirectory(plain), WithRealDirectory(PlainPath(name)));
}

}  // namespace tov_server
