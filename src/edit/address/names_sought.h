// SPDX-License-Identifier: Apache-2.0

// Texts that are told at a glance to have none of a template's blocks.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "edit/address/evidence.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// Where each outermost block of a template is sought by a name, a text needs the bytes of one of
// these names to have any of them.
class NamesSought {
 public:
  NamesSought(const TemplateTree& tree, const AllEvidence& evidence, Dialect dialect);

  // Whether one of the blocks may be in `text`; false: none is. Cost: a pass over the text for each
  // name.
  bool MayBeIn(std::string_view text) const;

 private:
  // A name, and its longest part without letters: that has one spelling, and so can be searched for
  // as it is.
  struct Name {
    explicit Name(std::string_view any_case);
    bool IsIn(std::string_view text) const;

    std::string lower;
    std::size_t firm_begin = 0;
    std::size_t firm_size = 0;  // 0: there are only letters
  };

  bool m_all_named = false;  // false: a block may be found by something else
  Dialect m_dialect;
  std::vector<Name> m_names;
};

}  // namespace tov_edit
