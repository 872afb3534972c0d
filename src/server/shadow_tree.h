// SPDX-License-Identifier: Apache-2.0

// A copy of a server's configuration that lies besides, with other texts of some files, so that the
// server can judge these before they are in their places.
//
// It is a directory under which each path leads to what it leads to anyway: by links, but for the
// files that have another text, and the directories on the way to them. In files that include such
// a one by an absolute path, and in those that say httpd's ServerRoot, that path leads into the
// tree.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "server/server_files.h"

namespace tov_server {

class ShadowTree {
 public:
  // Makes the tree in the directory for temporary files, for this user only. `texts` by the names
  // of files: those that change, and new ones. Names that are relative are so to the current
  // directory. Throws std::filesystem::filesystem_error, std::ios_base::failure.
  ShadowTree(const ServerFiles& server, const std::map<std::string, std::string>& texts);

  // Removes it.
  ~ShadowTree();
  ShadowTree(const ShadowTree&) = delete;
  ShadowTree& operator=(const ShadowTree&) = delete;

  // Why the tree does not say to the server what the files would; "": it does.
  const std::string& problem() const { return m_problem; }

  // What leads in the tree to where `path`, an absolute one, leads to.
  std::string In(const std::string& path) const { return m_root + path; }

  // `text`, what a server says, with the names of the files for those of the tree.
  std::string WithRealNames(std::string text) const;

 private:
  std::string Redirected(const ServerFiles& server, const ServerFile* file,
                         const std::string& text);
  void Write(const std::string& path, const std::string& text);
  void MakeDirectory(const std::string& path);

  std::string m_root;
  std::string m_problem;
  std::map<std::string, bool> m_directories;  // those that are no links
};

}  // namespace tov_server
