// SPDX-License-Identifier: Apache-2.0

// Unique directives that the dialect registers when somebody asks for them.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "template/base_config.h"
#include "template/section_tree.h"

namespace tov_template {

// Of most blocks the dialect would only take note of the unique directives: no text changes. So
// these blocks are left in the tree, marked, until the view that has read them takes them to edit
// them. Everybody else gets at them through the dialect, which has all of them registered first
// (BaseConfig::RegisterRest), also when the view is gone. Until then nobody has touched their
// lines.
//
// Where memory fails, what has been registered stays so, and the rest is still to come.
class LateRegistration {
 public:
  // The tree's lines must be those of `config`.
  LateRegistration(BaseConfig& config, std::shared_ptr<SectionTree> tree)
      : m_config(config), m_tree(std::move(tree)) {}

  // Marks the blocks that can wait. To be called when the tree has been read and nothing of it has
  // been registered. Returns whether there are any.
  bool Choose();

  // Registers the directives of `block`, whose path is `section`, if it is still to come.
  void Register(const std::string& section, SectionTree::Block& block);

  // The same for all blocks.
  void RegisterAll();

  // What the dialect is called for while it lives is the view's own doing, which takes the blocks
  // that it needs; or it is the registration itself. `late` may be null.
  class Hold {
   public:
    explicit Hold(LateRegistration* late)
        : m_late(late), m_held_before(late != nullptr && late->m_held) {
      if (m_late != nullptr) m_late->m_held = true;
    }
    ~Hold() {
      if (m_late != nullptr) m_late->m_held = m_held_before;
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    LateRegistration* const m_late;
    const bool m_held_before;
  };

  bool IsHeld() const { return m_held; }

 private:
  BaseConfig& m_config;
  std::shared_ptr<SectionTree> m_tree;  // null when nothing is left
  bool m_held = false;
};

}  // namespace tov_template
