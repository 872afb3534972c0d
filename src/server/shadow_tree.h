// SPDX-License-Identifier: Apache-2.0

// A copy of a server's configuration that lies besides, with other texts of some files, so that the
// server can judge these before they are in their places.
//
// It is a directory under which the server's directories have their usual paths, with links to all
// that is in them, but for the files that have another text, and the directories on the way to
// them. In files that include such a one by an absolute path, and in those that say httpd's
// ServerRoot, that path leads into the tree.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "server/server_files.h"

namespace tov_server {

class ShadowTree {
 public:
  // Makes the tree in the directory for temporary files, for this user only. `texts` by the names
  // of files: those that change, and new ones. `server_root`, an absolute path, is what relative
  // paths in the files are relative to when they do not say it themselves. Names that are relative
  // are so to the current directory. Throws std::filesystem::filesystem_error,
  // std::ios_base::failure.
  ShadowTree(const ServerFiles& server, const std::map<std::string, std::string>& texts,
             const std::string& server_root);

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
  using Texts = std::map<std::string, std::string>;

  // By their bytes: what an include looks for does not depend on where in its file it stands.
  using Includes = std::map<std::string_view, const Include*>;

  void Fill(const ServerFiles& server, const Texts& texts);
  std::string Redirected(const ServerFiles& server, const ServerFile* file,
                         const std::string& text);
  std::string KnownPath(const Includes& includes, std::string_view directive);
  bool LeadsToWritten(Dialect dialect, const std::string& pattern) const;
  bool IsWhole(const std::string& directory) const;
  void MakeDirectory(const std::string& path);

  std::string m_root;
  std::string m_problem;
  Texts m_written;                // by absolute names
  std::set<std::string> m_whole;  // directories that the server knows with all that is in them
  std::set<std::string> m_made;   // directories that are no links
};

}  // namespace tov_server
