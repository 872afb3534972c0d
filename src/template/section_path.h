// SPDX-License-Identifier: Apache-2.0

// Section paths: the addresses of blocks.
//
// A path holds one level for each enclosing block, outermost first, and the block's own level last,
// joined by kSectionSeparator. A level is a block's trimmed opening line, or what the dialect makes
// of it (BaseConfig::MakeSectionPath). The empty path stands for what is outside every block.
//
//   http {                 "http {"
//     server {             "http {" + separator + "server { server_name a"
//       server_name a;
#pragma once

#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

#include "template/export.h"

namespace tov_template {

inline const std::string kSectionSeparator = "\x18\x19";

// `parent` with `level` added below it. Where one of them is empty, the other.
QELTEMPLATE_EXPORT std::string JoinSection(const std::string& parent, const std::string& level);

// `section` without its last level; "" for a path of one level.
QELTEMPLATE_EXPORT std::string ParentSection(const std::string& section);

// The number of levels of `section`, 0 for the empty path. A separator at the end opens no level.
QELTEMPLATE_EXPORT std::size_t SectionDepth(const std::string& section);

// The entry of `section` in `map`, whose end is returned when there is none. Cost: as below.
template <class Map>
auto FindInOrder(Map& map, const std::string& section) {
  if (map.empty()) return map.end();
  const auto last = std::prev(map.end());
  const int order = last->first.compare(section);
  return order > 0 ? map.find(section) : order == 0 ? last : map.end();
}

// The entry of `section` in `map`, made when there is none, and whether it was. Cost: that of one
// comparison where the sections come in order, as they do while a view is made.
template <class Map>
std::pair<typename Map::iterator, bool> EntryInOrder(Map& map, const std::string& section) {
  if (!map.empty()) {
    const auto last = std::prev(map.end());
    const int order = last->first.compare(section);
    if (order == 0) return {last, false};
    if (order > 0) return map.try_emplace(section);
  }
  return {map.try_emplace(map.end(), section), true};
}

}  // namespace tov_template
