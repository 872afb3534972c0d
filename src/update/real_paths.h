// SPDX-License-Identifier: Apache-2.0

// Where names lead to.
#pragma once

#include <map>
#include <string>

namespace tov_update {

class RealPaths {
 public:
  // The real path of the file that `name` leads to, over symbolic links: no part of it is one. The
  // file need not be there. A "." or ".." at its end stays: that is no file. Throws Failure when a
  // link leads to nothing, or a directory on the way is not there. A directory that was on the way
  // before is not looked at again.
  std::string Of(const std::string& name);

  // The same without a look at `name` itself, which must not be a symbolic link.
  std::string OfNoLink(const std::string& name);

 private:
  // Ends with a '/'.
  std::string RealFolder(const std::string& folder, const std::string& name);

  std::map<std::string, std::string> m_folders;
};

}  // namespace tov_update
