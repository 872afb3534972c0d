// SPDX-License-Identifier: Apache-2.0

#include "update/real_paths.h"

#include <filesystem>
#include <system_error>

#include "update/descriptor.h"
#include "update/failure.h"

namespace update {
namespace {

std::string Canonical(const std::filesystem::path& path, const std::string& name) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  if (error) throw Failure(name, SystemMessage(error.value()));
  return real.string();
}

}  // namespace

std::string RealPaths::Of(const std::string& name) {
  if (name.find('\0') != std::string::npos) throw Failure(name, SystemMessage(EINVAL));
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(name, error);
  const std::filesystem::path file = absolute.filename();
  const bool is_folder = file.empty() || file == "." || file == "..";
  if (is_folder || std::filesystem::is_symlink(absolute, error)) return Canonical(absolute, name);
  return (RealFolder(absolute.parent_path().string(), name) / file).string();
}

const std::filesystem::path& RealPaths::RealFolder(const std::string& folder,
                                                   const std::string& name) {
  auto found = m_folders.find(folder);
  if (found == m_folders.end()) {
    found = m_folders.emplace(folder, Canonical(folder, name)).first;
  }
  return found->second;
}

}  // namespace update
