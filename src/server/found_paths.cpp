// SPDX-License-Identifier: Apache-2.0

#include "server/found_paths.h"

#include <dirent.h>
#include <fnmatch.h>
#include <glob.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace tov_server {
namespace {

using Problem = FoundPaths::Problem;

constexpr std::size_t kDeepestDirectories = 20;

// "" where there is nothing.
std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real == nullptr ? std::string() : std::string(real.get());
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// The calling thread has the locale "C" while this lives, as both servers do: by it names are
// sorted and patterns read.
class PlainLocale {
 public:
  PlainLocale() : m_plain(::newlocale(LC_ALL_MASK, "C", nullptr)) {
    if (m_plain == nullptr) throw std::bad_alloc();
    m_before = ::uselocale(m_plain);
  }
  ~PlainLocale() {
    ::uselocale(m_before);
    ::freelocale(m_plain);
  }
  PlainLocale(const PlainLocale&) = delete;
  PlainLocale& operator=(const PlainLocale&) = delete;

 private:
  locale_t m_plain;
  locale_t m_before = nullptr;
};

// Whether httpd takes `text` for a pattern.
bool IsPattern(std::string_view text) {
  bool open = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    switch (text[i]) {
      case '?':
      case '*':
        return true;
      case '\\':
        ++i;
        break;
      case '[':
        open = true;
        break;
      case ']':
        if (open) return true;
        break;
      default:
        break;
    }
  }
  return false;
}

bool IsDirectory(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsDirectoryItself(const std::string& path, unsigned char type) {
  if (type != DT_UNKNOWN) return type == DT_DIR;
  struct stat status = {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string Joined(const std::string& directory, const std::string& name) {
  return directory.empty() || directory.back() == '/' ? directory + name : directory + '/' + name;
}

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

// The entries of `directory` that fit `pattern`, "" for all, sorted, with their paths. Those that
// are `directories` only, no links to such. None: it cannot be read, errno says why.
std::optional<std::vector<std::string>> EntriesOf(const std::string& directory,
                                                  const std::string& pattern, bool directories) {
  const std::unique_ptr<DIR, CloseDirectory> open(
      ::opendir(directory.empty() ? "." : directory.c_str()));
  if (open == nullptr) return std::nullopt;
  std::vector<std::string> entries;
  while (const dirent* const entry = ::readdir(open.get())) {  // NOLINT(concurrency-mt-unsafe)
    const std::string name = &entry->d_name[0];
    if (name == "." || name == "..") continue;
    if (!pattern.empty() && ::fnmatch(pattern.c_str(), name.c_str(), FNM_PERIOD) != 0) continue;
    std::string path = Joined(directory, name);
    if (directories && !IsDirectoryItself(path, entry->d_type)) continue;
    entries.push_back(std::move(path));
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

// httpd's way through directories. What is still to be looked at is a list, the next one first.
class ApacheFinder {
 public:
  ApacheFinder(bool optional, const Roots& roots) : m_optional(optional), m_roots(roots) {}

  FoundPaths Find(const std::string& pattern) {
    if (!IsPattern(pattern)) {
      m_left.push_back({pattern, std::string(), 0});
    } else {
      const std::size_t first = pattern.find_first_not_of('/');
      m_left.push_back({pattern.substr(0, std::min(first, std::size_t{1})),
                        pattern.substr(std::min(first, pattern.size())), 0});
    }
    while (!m_left.empty() && m_found.problem == Problem::kNone) {
      const Part part = std::move(m_left.front());
      m_left.pop_front();
      if (part.rest.empty()) {
        Take(part);
      } else {
        Match(part);
      }
    }
    return std::move(m_found);
  }

 private:
  struct Part {
    std::string path;   // so far
    std::string rest;   // of the pattern, below `path`
    std::size_t depth;  // of directories that are read as a whole
  };

  // A name without a pattern.
  void Take(const Part& part) {
    if (!IsDirectory(part.path)) {
      m_found.paths.push_back(part.path);
      return;
    }
    if (part.depth == kDeepestDirectories) {
      Fail(Problem::kUnreadable, part.path, "directories are nested too deep");
      return;
    }
    const auto entries = Entries(part.path, std::string(), false);
    if (entries) Prepend(*entries, std::string(), part.depth + 1);
  }

  // One component of a pattern.
  void Match(const Part& part) {
    const std::size_t slash = part.rest.find('/');
    const std::string component = part.rest.substr(0, slash);
    const std::string rest =
        slash == std::string::npos ? std::string() : part.rest.substr(slash + 1);
    if (!IsPattern(component)) {
      m_left.push_front({Joined(part.path, component), rest, 0});
      return;
    }
    if (m_optional && !IsDirectory(part.path.empty() ? "." : part.path)) return;
    const auto entries = Entries(part.path, component, slash != std::string::npos);
    if (!entries) return;
    if (entries->empty() && !m_optional) Fail(Problem::kMissing, Joined(part.path, component), "");
    Prepend(*entries, rest, 0);
  }

  std::optional<std::vector<std::string>> Entries(const std::string& directory,
                                                  const std::string& pattern, bool directories) {
    const std::string shown = directory.empty() ? "." : directory;
    if (m_roots.Limit() && !m_roots.Hold(shown)) {
      Fail(Problem::kOutside, shown, "");
      return std::nullopt;
    }
    auto entries = EntriesOf(directory, pattern, directories);
    if (!entries) {
      const int error = errno;
      Fail(error == ENOENT ? Problem::kMissing : Problem::kUnreadable, shown,
           std::generic_category().message(error));
    }
    return entries;
  }

  void Prepend(const std::vector<std::string>& paths, const std::string& rest, std::size_t depth) {
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
      m_left.push_front({*path, rest, depth});
    }
  }

  void Fail(Problem problem, const std::string& at, const std::string& reason) {
    m_found.problem = problem;
    m_found.at = at;
    m_found.reason = reason;
  }

  const bool m_optional;
  const Roots& m_roots;
  std::deque<Part> m_left;
  FoundPaths m_found;
};

}  // namespace

Roots::Roots(const std::vector<std::string>& directories) : m_limit(!directories.empty()) {
  for (const std::string& directory : directories) {
    std::string real = RealPath(directory);
    if (real.empty()) continue;
    if (real.back() != '/') real += '/';
    m_real.push_back(std::move(real));
  }
}

bool Roots::Hold(const std::string& path) const {
  if (!m_limit) return true;
  std::string there = path;
  std::string real = RealPath(there);
  while (real.empty() && there != "/" && there != ".") {
    there = DirectoryOf(there);
    real = RealPath(there);
  }
  real += '/';
  return std::any_of(m_real.begin(), m_real.end(), [&real](const std::string& root) {
    return real.compare(0, root.size(), root) == 0;
  });
}

FoundPaths FindForNginx(const std::string& pattern, const Roots& roots) {
  FoundPaths found;
  const std::size_t wild = pattern.find_first_of("*?[");
  if (wild == std::string::npos) {
    found.paths.push_back(pattern);
    return found;
  }
  const std::string directory = DirectoryOf(pattern.substr(0, wild));
  if (!roots.Hold(directory)) {
    found.problem = Problem::kOutside;
    found.at = directory;
    return found;
  }
  const PlainLocale plain;
  glob_t matches = {};
  // What is not safe in it is the look-up of users, which takes a "~" and a flag.
  // NOLINTNEXTLINE(concurrency-mt-unsafe)
  const int result = ::glob(pattern.c_str(), 0, nullptr, &matches);
  const std::unique_ptr<glob_t, decltype(&::globfree)> owner(&matches, &::globfree);
  if (result == GLOB_NOSPACE) throw std::bad_alloc();
  if (result != 0 && result != GLOB_NOMATCH) {
    found.problem = Problem::kUnreadable;
    found.at = pattern;
    found.reason = "its directory cannot be read";
  }
  if (result == 0) found.paths.assign(matches.gl_pathv, matches.gl_pathv + matches.gl_pathc);
  return found;
}

FoundPaths FindForApache(const std::string& pattern, bool optional, const Roots& roots) {
  const PlainLocale plain;
  return ApacheFinder(optional, roots).Find(pattern);
}

std::string Below(const std::string& directory, const std::string& name) {
  return name.substr(0, 1) == "/" || directory.empty() ? name : Joined(directory, name);
}

}  // namespace tov_server
