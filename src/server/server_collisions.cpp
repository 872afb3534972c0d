// SPDX-License-Identifier: Apache-2.0

#include "server/server_collisions.h"

#include "document/document.h"
#include "edit/collision_findings.h"
#include "edit/match/contents.h"
#include "edit/match/parts.h"
#include "server/joint_text.h"

namespace tov_server {

std::vector<Finding> CollisionsOf(const ServerFiles& server) {
  if (server.files.empty()) return {};
  const tov_edit::Parts parts = JointText(server).Join(JointText::What::kCounting);
  const tov_document::Document document(server.dialect, parts.text());
  return tov_edit::CollisionsIn(tov_edit::Contents(document, parts), server.files.front().name,
                                tov_edit::Extent::kWhole);
}

}  // namespace tov_server
