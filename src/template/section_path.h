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
#include <string>

#include "template/export.h"

namespace tov_template {

inline const std::string kSectionSeparator = "\x18\x19";

// `parent` with `level` added below it. Where one of them is empty, the other.
QELTEMPLATE_EXPORT std::string JoinSection(const std::string& parent, const std::string& level);

// `section` without its last level; "" for a path of one level.
QELTEMPLATE_EXPORT std::string ParentSection(const std::string& section);

// The number of levels of `section`, 0 for the empty path. A separator at the end opens no level.
QELTEMPLATE_EXPORT std::size_t SectionDepth(const std::string& section);

}  // namespace tov_template
