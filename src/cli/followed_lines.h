// SPDX-License-Identifier: Apache-2.0

// The lines of a configuration, followed through an edit.
#pragma once

#include <cstddef>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "template/edit_observer.h"
#include "template/qeltemplate.h"

namespace cli {

// Watches one application of a template.
//
// A line is known by its address, which stays the same while it is there: no text is compared, and
// two lines with the same text are not mixed up. Cost: a pointer for each line, and a record for
// each that is touched.
class FollowedLines : public tov_template::EditObserver {
 public:
  // A line that was there before or is there now.
  struct Line {
    std::optional<std::size_t> before;  // its position before; none: it is new
    const std::string* text = nullptr;  // as it is now; null: it is gone
    std::optional<std::size_t> item;    // the template item that added, changed or erased it last
  };

  // A line that an item did not add because another one stands for it, which the item did not
  // write.
  struct FoundLine {
    std::size_t item;
    std::string text;
    const std::string* line;  // its address then
  };

  // `lines` before a view reads them.
  explicit FollowedLines(std::list<std::string>& lines);

  // All lines, to be called at the end: those that are left in their order, those that are gone
  // where they were, before new ones there. A line without an item that is gone was merged into
  // another when it was read.
  std::vector<Line> Result() const;

  const std::vector<FoundLine>& found() const { return m_found; }

  // EditObserver
  void ItemBegins(std::size_t item, const std::string& section) override;
  void Found(const tov_template::LineIterator& line) override;
  void Added(const tov_template::LineIterator& line) override;
  void Changed(const tov_template::LineIterator& line, const std::string& before) override;
  void Erasing(const tov_template::LineIterator& line) override;

 private:
  const std::list<std::string>& m_lines;
  std::vector<const std::string*> m_before;
  std::unordered_map<const std::string*, std::size_t> m_added;    // by items
  std::unordered_map<const std::string*, std::size_t> m_changed;  // by items
  std::unordered_map<const std::string*, std::size_t> m_erased;   // by items
  std::vector<FoundLine> m_found;
  std::size_t m_item = 0;
};

}  // namespace cli
