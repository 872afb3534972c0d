// SPDX-License-Identifier: Apache-2.0

// Shows real files, which need certificates, logs and other files that are not at hand, to the real
// servers.
#pragma once

#include <memory>
#include <string>

#include "edit/config_tree.h"
#include "server/server_folder.h"

namespace adopt_judge {

using edit_judge::Dialect;

class CorpusServers {
 public:
  // What has to stand around `text` so that the server takes it: "main", "http" or "server"; "": it
  // takes it nowhere.
  std::string ContextOf(Dialect dialect, const std::string& text);

  // "" when the server takes `text` in that context, else what it says.
  std::string Refusal(Dialect dialect, const std::string& text, const std::string& context);

 private:
  const ServerFolder& Folder(Dialect dialect);

  // `text` with the files that it names in the folder of the test, and without those it includes.
  std::string AtHand(Dialect dialect, const std::string& text);

  std::unique_ptr<ServerFolder> m_folder;
};

}  // namespace adopt_judge
