// SPDX-License-Identifier: Apache-2.0

#include "edit/file_importer.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "edit/tree/limits.h"
#include "template/framework/str.h"
#include "template/framework/tov_err.h"
#include "template/framework/tov_file.h"

namespace tov_edit {
namespace {

std::string Below(const std::string& folder, const std::string& name) {
  const std::filesystem::path path(name);
  return path.is_absolute() ? name : (std::filesystem::path(folder) / path).string();
}

std::string Beside(const std::string& name, const std::string& from) {
  return Below(std::filesystem::path(from).parent_path().string(), name);
}

class Finder {
 public:
  explicit Finder(const std::string& root) : m_root(root) {
    if (root.empty()) return;
    std::error_code error;
    if (!std::filesystem::is_directory(root, error)) {
      throw std::runtime_error(root + ": not a directory");
    }
    m_real_root = tov_file::RealPath(root);
    if (m_real_root != "/") m_real_root += '/';
  }

  std::optional<ImportedFile> operator()(const std::string& name, const FilePlace& from) const {
    if (name.empty()) return std::nullopt;
    for (const std::string& candidate : Candidates(name, from.file)) {
      const std::string path = tov_file::RealPath(candidate);
      const bool inside = !path.empty() && str::StartsWith(path, m_real_root);
      if (inside && tov_file::Exists(path)) return Content(path);
    }
    if (m_root.empty()) return std::nullopt;
    // The same whether there is something outside or not: a template must not find that out.
    return ImportedFile{name, "",
                        "there is no file " + Quoted(name) + " in " + Quoted(m_root) +
                            ", out of which no import may lead"};
  }

 private:
  std::vector<std::string> Candidates(const std::string& name, const std::string& from) const {
    std::vector<std::string> candidates = {Beside(name, from), name};
    if (!m_root.empty()) candidates.push_back(Below(m_root, name));
    return candidates;
  }

  static ImportedFile Content(const std::string& path) {
    std::error_code none;
    const std::uintmax_t size = std::filesystem::file_size(path, none);
    if (!none && size > kLargestTemplate) {
      return {path, "",
              Quoted(path) + " is larger than " + std::to_string(kLargestTemplate / kMebibyte) +
                  " MiB"};
    }
    try {
      return {path, tov_file::ReadE(path), ""};
    } catch (const tov_err::Error&) {
      return {path, "", Quoted(path) + " is not a file that can be read"};
    }
  }

  std::string m_root;       // "": there is none
  std::string m_real_root;  // with a '/' at its end; "": there is none
};

}  // namespace

Importer FileImporter(const std::string& root) {
  return Finder(root);
}

}  // namespace tov_edit
