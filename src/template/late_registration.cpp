// SPDX-License-Identifier: Apache-2.0

#include "template/late_registration.h"

#include <vector>

namespace tov_template {

bool LateRegistration::Choose() {
  bool any = false;
  std::vector<LineIterator> lines;
  for (SectionTree::Node& node : m_tree->Nodes()) {
    SectionTree::Block* const block = node.block;
    if (block == nullptr || block->first_unique == nullptr) continue;
    lines.clear();
    const SectionTree::Element* const behind = block->last_unique->next;
    for (const auto* each = block->first_unique; each != behind; each = each->next) {
      const LineIterator& line = each->param.m_line;
      if (m_config.IsUniqueParam(*line)) lines.push_back(line);
    }
    block->late = m_config.CanRegisterLate(SectionTree::Depth(&node), lines);
    any = any || block->late;
  }
  return any;
}

void LateRegistration::Register(const std::string& section, SectionTree::Block& block) {
  if (!block.late) return;
  const Hold hold(this);
  const SectionTree::Element* const behind = block.last_unique->next;
  // What has been registered is passed: where memory fails, the rest is registered later.
  for (; block.first_unique != behind; block.first_unique = block.first_unique->next) {
    LineIterator line = block.first_unique->param.m_line;
    if (m_config.IsUniqueParam(*line)) m_config.RegisterUniqueParam(section, line);
  }
  block.late = false;
}

void LateRegistration::RegisterAll() {
  if (m_tree == nullptr) return;
  for (SectionTree::Node& node : m_tree->Nodes()) {
    if (node.block == nullptr || !node.block->late) continue;
    Register(SectionTree::Path(&node), *node.block);
  }
  m_tree.reset();
}

}  // namespace tov_template
