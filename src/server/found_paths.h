// SPDX-License-Identifier: Apache-2.0

// The files that the name in an include directive stands for.
#pragma once

#include <string>
#include <vector>

namespace tov_server {

// Directories out of which nothing is read.
class Roots {
 public:
  // Empty: there is no limit. One that is not there holds nothing.
  explicit Roots(const std::vector<std::string>& directories);

  bool Limit() const { return m_limit; }

  // Whether `path` is one of the directories or in one, wherever links lead. What is not there is
  // judged by the nearest directory above that is.
  bool Hold(const std::string& path) const;

 private:
  bool m_limit;
  std::vector<std::string> m_real;  // with a '/' at their ends
};

struct FoundPaths {
  enum class Problem { kNone, kMissing, kUnreadable, kOutside };

  std::vector<std::string> paths;  // in the server's order
  Problem problem = Problem::kNone;
  std::string at;      // of a problem: the file, directory or pattern
  std::string reason;  // of kUnreadable: why
};

// What nginx finds by `pattern`: a name, or a pattern, that matches nothing without harm.
FoundPaths FindForNginx(const std::string& pattern, const Roots& roots);

// What httpd finds by `pattern`: a name of a file; of a directory, then all in it, and below it; or
// a pattern in some components. Of `optional` what is not there does no harm.
FoundPaths FindForApache(const std::string& pattern, bool optional, const Roots& roots);

// `name`, as it is if it is absolute, else below `directory`.
std::string Below(const std::string& directory, const std::string& name);

}  // namespace tov_server
