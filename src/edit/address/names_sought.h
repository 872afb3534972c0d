// SPDX-License-Identifier: Apache-2.0

// Texts that are told at a glance to have none of a template's blocks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "edit/tree/template_tree.h"

namespace tov_edit {

// Where each outermost block of a template is sought by a name, a text needs the bytes of one of
// these names to have any of them.
class NamesSought {
 public:
  NamesSought(const TemplateTree& tree, Dialect dialect);

  // Whether one of the blocks may be in `text`; false: none is. Cost: a few passes over the text.
  bool MayBeIn(std::string_view text) const;

 private:
  bool m_all_named = false;  // false: a block may be found by something else
  Dialect m_dialect;
  std::vector<std::string> m_names;  // in lower case
};

}  // namespace tov_edit
