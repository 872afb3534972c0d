// SPDX-License-Identifier: Apache-2.0

// What an edit does to the lines of a configuration, told while it is done.
#pragma once

#include <cstddef>
#include <string>

#include "template/base_config.h"
#include "template/export.h"

namespace tov_template {

// Override what is of interest. The calls come from the editing operations of the view, in the
// order in which things happen; none may edit the view or the lines, and none may throw.
class QELTEMPLATE_EXPORT EditObserver {
 public:
  EditObserver() = default;
  EditObserver(const EditObserver&) = delete;
  EditObserver& operator=(const EditObserver&) = delete;
  virtual ~EditObserver() = default;

  // The template's action item number `item` (from 0) has its turn, in the block `section`. Until
  // the next call of this or of RemovingEmptyBlock, all else is its doing. Each item has two turns,
  // one in each pass over the template (see Template::ApplyTemplate).
  virtual void ItemBegins(std::size_t /*item*/, const std::string& /*section*/) {}

  // The block `section` is about to be removed because it is empty.
  virtual void RemovingEmptyBlock(const std::string& /*section*/) {}

  // A directive is not added because `line` stands for it already.
  virtual void Found(const LineIterator& /*line*/) {}

  // `line` is new.
  virtual void Added(const LineIterator& /*line*/) {}

  // `line` had the text `before`, which may be the same as now.
  virtual void Changed(const LineIterator& /*line*/, const std::string& /*before*/) {}

  // `line` is about to be erased.
  virtual void Erasing(const LineIterator& /*line*/) {}
};

}  // namespace tov_template
