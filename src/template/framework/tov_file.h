// SPDX-License-Identifier: Apache-2.0

// Files and paths.
#pragma once

#include <string>
#include <utility>

namespace tov_file {

// The canonical absolute form of `path`, which is taken relative to the current directory: what
// exists is resolved, links included, and the rest is normalised as text. "" for an empty path and
// for one that cannot be used (an embedded NUL, a loop of links). Never throws but std::bad_alloc.
std::string RealPath(const std::string& path);

// Whether there is anything under `path` (a file, a directory, a device). False for an empty path,
// a dangling link, and where a directory on the way may not be searched.
bool Exists(const std::string& path);

// The whole content of the regular file `path`. Throws tov_err::Error("file", "read") with the
// parameter "filename" for anything else: a missing file, a directory, a device, a FIFO (which it
// does not wait on), a file that may not be read.
std::string ReadE(const std::string& path);

// The directory part of `path`, without the slash before the last component, and the last
// component: {"/etc/nginx", "nginx.conf"}. A path without a slash has an empty directory part; the
// directory part of a path directly under the root is "/".
std::pair<std::string, std::string> SplitPath(const std::string& path);

// The last component of `path`.
std::string Name(const std::string& path);

}  // namespace tov_file
