// SPDX-License-Identifier: Apache-2.0

// What stands in a block, to be found by what it says: for many lines of a template that are looked
// for among many lines of a block.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "edit/match/comparison.h"
#include "edit/match/contents.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// All positions are those among the children, and come in their order. Used by one thread at a
// time.
class ChildIndex {
 public:
  using Positions = std::vector<std::size_t>;

  // `children` are those of a block, see Contents::WithConditions; they have to outlive it. Cost:
  // sorts them.
  ChildIndex(const Document& document, const std::vector<const Child*>& children);

  // The directives with these words, see SameWords, and those that begin so. Cost: logarithmic.
  Positions Like(const Texts& words) const;
  bool HasLike(const Texts& words) const;
  Positions BeginningWith(const Beginning& beginning) const;

  // The directives of this name. Cost: the first time a step for each of the children.
  const Positions& Named(const std::string& name) const;

  // The comments with this text, blanks at its end aside.
  const Positions& Comments(const std::string& text) const;

 private:
  Dialect m_dialect;
  const std::vector<const Child*>& m_children;
  std::vector<std::pair<std::string, std::size_t>> m_directives;  // by KeyOf
  using ByName = std::unordered_map<std::string, Positions>;
  mutable std::optional<ByName> m_named;  // none: nobody has asked yet
  std::unordered_map<std::string_view, Positions> m_comments;
};

}  // namespace tov_edit
