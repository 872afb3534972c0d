// SPDX-License-Identifier: Apache-2.0

// Files, read.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace tov_server {

// Which file a name leads to.
using FileIdentity = std::pair<dev_t, ino_t>;

// That of `path`; none: errno says why. Links are followed.
std::optional<FileIdentity> IdentityOf(const std::string& path);

struct FileText {
  std::string text;
  int error = 0;        // an errno; 0: here is the text
  std::string problem;  // of an error that has no number: "not a regular file"; "": it has one
};

// The whole of a regular file, or of /dev/null.
FileText ReadText(const std::string& path, std::size_t limit);

}  // namespace tov_server
