// SPDX-License-Identifier: Apache-2.0

#include "cli/imports.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

#include "cli/failure.h"
#include "cli/text_io.h"
#include "template/framework/str.h"
#include "template/framework/tov_err.h"
#include "template/framework/tov_file.h"

namespace cli {
namespace {

std::string Beside(const std::string& name, const std::string& from) {
  const std::filesystem::path path(name);
  if (path.is_absolute()) return name;
  return (std::filesystem::path(from).parent_path() / path).string();
}

std::string RealRoot(const std::string& root) {
  std::error_code error;
  if (!std::filesystem::is_directory(root, error)) {
    throw Failure(root, "not a directory; --import-root takes the one that holds the templates");
  }
  const std::string real = tov_file::RealPath(root);
  return real == "/" ? real : real + '/';
}

// The path of the file that the template file `from` imports as `name`; none: there is none.
std::optional<std::string> FindImport(const std::string& name, const std::string& from) {
  if (name.empty()) return std::nullopt;
  for (const std::string& candidate : {Beside(name, from), name}) {
    const std::string path = tov_file::RealPath(candidate);
    if (!path.empty() && tov_file::Exists(path)) return path;
  }
  return std::nullopt;
}

std::string Content(const std::string& path, const edit::FilePlace& from) {
  std::error_code none;
  const std::uintmax_t size = std::filesystem::file_size(path, none);
  if (!none && size > kLargestTemplate) {
    throw Failure(path, "imported by " + Shown(from) + ", but larger than 16 MiB");
  }
  try {
    return tov_file::ReadE(path);
  } catch (const tov_err::Error&) {
    throw Failure(path, "imported by " + Shown(from) + ", but not a file that can be read");
  }
}

}  // namespace

edit::Importer FileImporter(const std::string& root) {
  const std::string real_root = root.empty() ? root : RealRoot(root);
  return [root, real_root](const std::string& name,
                           const edit::FilePlace& from) -> std::optional<edit::ImportedFile> {
    const std::optional<std::string> found = FindImport(name, from.file);
    const std::string path = found ? *found : tov_file::RealPath(name);
    if (!path.empty() && !str::StartsWith(path, real_root)) {
      throw Failure(Shown(from), "imports " + path + ", which lies outside --import-root " + root);
    }
    if (!found) return std::nullopt;
    return edit::ImportedFile{path, Content(path, from)};
  };
}

}  // namespace cli
