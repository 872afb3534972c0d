// SPDX-License-Identifier: Apache-2.0

#include "update/real_paths.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "update/descriptor.h"
#include "update/failure.h"

namespace tov_update {
namespace {

std::string Canonical(const std::string& path, const std::string& name) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  if (error) throw Failure(name, SystemMessage(error.value()));
  return real.string();
}

void ExpectNoNull(const std::string& name) {
  if (name.find('\0') != std::string::npos) throw Failure(name, SystemMessage(EINVAL));
}

bool IsLink(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

}  // namespace

std::string RealPaths::Of(const std::string& name) {
  ExpectNoNull(name);
  const bool is_folder = name.empty() || name.back() == '/';
  return is_folder || IsLink(name) ? Canonical(name, name) : OfNoLink(name);
}

std::string RealPaths::OfNoLink(const std::string& name) {
  ExpectNoNull(name);
  const std::size_t slash = name.rfind('/');
  const bool has_folder = slash != std::string::npos;
  const std::string folder = has_folder ? name.substr(0, slash + 1) : std::string(".");
  return RealFolder(folder, name).append(name, has_folder ? slash + 1 : 0);
}

std::string RealPaths::RealFolder(const std::string& folder, const std::string& name) {
  auto found = m_folders.find(folder);
  if (found == m_folders.end()) {
    std::string real = Canonical(folder, name);
    if (real.back() != '/') real += '/';
    found = m_folders.emplace(folder, std::move(real)).first;
  }
  return found->second;
}

}  // namespace tov_update
