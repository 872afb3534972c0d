// SPDX-License-Identifier: Apache-2.0

#include "server/shadow_tree.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "document/document.h"
#include "document/meaning.h"
#include "server/new_file.h"

namespace tov_server {
namespace {

namespace fs = std::filesystem;

using tov_document::Document;
using tov_document::Span;

// The directives whose first argument is a path that the tree has to lead into itself.
bool IsInclude(Dialect dialect, const std::string& name) {
  if (dialect == Dialect::kNginx) return name == "include";
  return tov_document::SameName(dialect, name, "Include") ||
         tov_document::SameName(dialect, name, "IncludeOptional");
}

bool IsServerRoot(Dialect dialect, const std::string& name) {
  return dialect == Dialect::kApache && tov_document::SameName(dialect, name, "ServerRoot");
}

// Whether a file says ServerRoot: a quick look, which may be wrong about that it does.
bool MaySayServerRoot(Dialect dialect, std::string_view text) {
  constexpr std::string_view kName = "serverroot";
  if (dialect != Dialect::kApache) return false;
  return std::search(text.begin(), text.end(), kName.begin(), kName.end(), [](char a, char b) {
           return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
         }) != text.end();
}

std::string DirectoryOf(const std::string& path) {
  return fs::path(path).parent_path().string();
}

// The directory that an absolute pattern begins with, up to where it is one.
std::string FixedPartOf(const std::string& pattern) {
  const std::string fixed = pattern.substr(0, pattern.find_first_of("*?["));
  return PlainPath(fixed.substr(0, fixed.rfind('/') + 1));
}

std::map<std::string_view, const Include*> IncludesOf(const ServerFile& file) {
  std::map<std::string_view, const Include*> includes;
  for (const Include& include : file.includes) {
    const std::string_view whole = file.text;
    includes.emplace(whole.substr(include.begin, include.end - include.begin), &include);
  }
  return includes;
}

std::string InQuotes(const std::string& path) {
  return '"' + path + '"';
}

// The files that have to stand in the tree with their own texts: those that change, those that
// include such a one, and those that say where the server is.
std::set<std::size_t> FilesToWrite(const ServerFiles& server,
                                   const std::map<std::string, std::string>& texts) {
  std::set<std::size_t> written;
  std::vector<std::string> made;
  std::set<std::string> known;
  for (std::size_t i = 0; i < server.files.size(); ++i) {
    const ServerFile& file = server.files[i];
    known.insert(file.name);
    if (texts.count(file.name) != 0 || MaySayServerRoot(server.dialect, file.text)) {
      written.insert(i);
    }
  }
  for (const auto& [name, text] : texts) {
    if (known.count(name) == 0) made.push_back(name);
  }
  const auto reads_one = [&](const Include& include) {
    const bool of_written = std::any_of(include.files.begin(), include.files.end(),
                                        [&](std::size_t file) { return written.count(file) != 0; });
    return of_written || std::any_of(made.begin(), made.end(), [&](const std::string& name) {
             return std::any_of(include.patterns.begin(), include.patterns.end(),
                                [&](const std::string& pattern) {
                                  return LeadsTo(server.dialect, pattern, name);
                                });
           });
  };
  for (bool grows = true; grows;) {
    grows = false;
    for (std::size_t i = 0; i < server.files.size(); ++i) {
      const std::vector<Include>& includes = server.files[i].includes;
      if (written.count(i) != 0 || std::none_of(includes.begin(), includes.end(), reads_one)) {
        continue;
      }
      written.insert(i);
      grows = true;
    }
  }
  return written;
}

}  // namespace

ShadowTree::ShadowTree(const ServerFiles& server, const Texts& texts,
                       const std::string& server_root) {
  std::string root = (fs::temp_directory_path() / "qeltemplate-check-XXXXXX").string();
  if (mkdtemp(root.data()) == nullptr) {
    throw fs::filesystem_error("cannot be made", root,
                               std::error_code(errno, std::generic_category()));
  }
  m_root = root;
  m_whole = {PlainPath(server_root), DirectoryOf(PlainPath(server.files.front().name))};
  try {
    Fill(server, texts);
  } catch (...) {
    std::error_code error;
    fs::remove_all(m_root, error);
    throw;
  }
}

void ShadowTree::Fill(const ServerFiles& server, const Texts& texts) {
  const std::set<std::size_t> numbers = FilesToWrite(server, texts);
  for (const auto& [name, text] : texts) m_written[PlainPath(name)] = text;
  for (const std::size_t number : numbers) {
    m_written.emplace(PlainPath(server.files[number].name), server.files[number].text);
  }
  std::map<std::string, const ServerFile*> known;
  for (const std::size_t number : numbers) {
    known[PlainPath(server.files[number].name)] = &server.files[number];
  }
  for (auto& [name, text] : m_written) {
    const auto file = known.find(name);
    text = Redirected(server, file == known.end() ? nullptr : file->second, text);
  }
  for (const std::string& directory : m_whole) MakeDirectory(directory);
  for (const auto& [name, text] : m_written) {
    MakeDirectory(DirectoryOf(name));
    fs::remove(In(name));  // the link
    std::ofstream stream;
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream.open(In(name), std::ios::binary);
    stream << text;
    stream.close();
  }
}

ShadowTree::~ShadowTree() {
  std::error_code error;
  fs::remove_all(m_root, error);
}

std::string ShadowTree::WithRealNames(std::string text) const {
  for (std::size_t at = text.find(m_root); at != std::string::npos; at = text.find(m_root, at)) {
    text.erase(at, m_root.size());
  }
  return text;
}

// `text` of a file of the server, or of a new one (null), with paths that lead into the tree.
std::string ShadowTree::Redirected(const ServerFiles& server, const ServerFile* file,
                                   const std::string& text) {
  const auto includes = file == nullptr ? Includes() : IncludesOf(*file);
  const Document document(server.dialect, text);
  std::vector<std::pair<Span, std::string>> changes;
  document.Visit([&](const tov_document::Placed& placed) {
    if (placed.node.kind != tov_document::NodeKind::kDirective) return;
    const auto words = document.Words(placed.node);
    if (words.size() != 2) return;
    const std::string name = document.Value(words[0]);
    if (!IsInclude(server.dialect, name) && !IsServerRoot(server.dialect, name)) return;
    std::string path = document.Value(words[1]);
    if (path.find("${") != std::string::npos) {
      path = KnownPath(includes, document.Bytes(placed.node.bytes));
    }
    if (path.substr(0, 1) != "/") return;
    const bool include = IsInclude(server.dialect, name);
    if (include && !LeadsToWritten(server.dialect, path)) return;
    m_whole.insert(include ? FixedPartOf(path) : PlainPath(path));
    changes.emplace_back(words[1].bytes, InQuotes(In(path)));
  });
  std::string redirected = text;
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
    redirected.replace(change->first.begin, change->first.size(), change->second);
  }
  return redirected;
}

// The path of an include with variables, as the server has found it.
std::string ShadowTree::KnownPath(const Includes& includes, std::string_view directive) {
  const auto known = includes.find(directive);
  if (known != includes.end() && known->second->patterns.size() == 1) {
    return known->second->patterns.front();
  }
  m_problem = "the path of '" + std::string(directive) + "' is not known";
  return {};
}

bool ShadowTree::LeadsToWritten(Dialect dialect, const std::string& pattern) const {
  return std::any_of(m_written.begin(), m_written.end(),
                     [&](const auto& written) { return LeadsTo(dialect, pattern, written.first); });
}

bool ShadowTree::IsWhole(const std::string& directory) const {
  for (fs::path each = directory;; each = each.parent_path()) {
    if (m_whole.count(each.string()) != 0) return true;
    if (each == each.parent_path()) return false;
  }
}

// A directory, and those above it, with links to what is in them where the server may look for it.
void ShadowTree::MakeDirectory(const std::string& path) {
  std::vector<fs::path> missing;
  for (fs::path each = path;; each = each.parent_path()) {
    if (m_made.count(each.string()) == 0) missing.push_back(each);
    if (each == each.parent_path()) break;
  }
  for (auto each = missing.rbegin(); each != missing.rend(); ++each) {
    const std::string copy = In(each->string());
    if (fs::is_symlink(fs::symlink_status(copy))) fs::remove(copy);
    fs::create_directories(copy);
    m_made.insert(each->string());
    if (!IsWhole(each->string())) continue;
    for (const auto& entry : fs::directory_iterator(*each)) {
      const std::string link = In(entry.path().string());
      if (!fs::exists(fs::symlink_status(link))) fs::create_symlink(entry.path(), link);
    }
  }
}

}  // namespace tov_server
