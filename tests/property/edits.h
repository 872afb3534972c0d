// SPDX-License-Identifier: Apache-2.0

// Lists of edits as text: one a line, the parts of a line separated by the byte 0x1f: the operation
// (append, remove, remove_part, change, empty), the number of the block it goes to, the new line,
// the old line, the key.
#pragma once

#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

#include "support/view_probe.h"
#include "template/framework/str.h"

// The path of block number `number`: the blocks of the index in turn, and a few that are not there.
inline std::string NumberedSection(const ViewProbe& view, std::size_t number) {
  const std::size_t unknown = number / 10;
  if (number % 10 == 9) return unknown == 0 ? "" : ViewProbe::Path({"new {", "deep {"});
  const std::size_t count = view.m_params.size();
  if (count == 0 || number % 10 == 8) return "new {";
  const std::string known =
      std::next(view.m_params.begin(), static_cast<std::ptrdiff_t>(number % count))->first;
  return number % 10 == 7 ? known + tov_template::kSectionSeparator + "location / {" : known;
}

// The path of the block that `edit` without its operation goes to; cuts the block's number off.
inline std::string EditedSection(const ViewProbe& view, std::string_view& edit) {
  const std::string number(str::view::GetWord(edit, '\x1f'));
  return NumberedSection(view, std::strtoul(number.c_str(), nullptr, 10));
}

inline void ApplyEdit(ViewProbe& view, std::string_view edit) {
  const auto part = [&edit] { return std::string(str::view::GetWord(edit, '\x1f')); };
  const std::string operation = part();
  const std::string section = EditedSection(view, edit);
  const std::string line = part();
  const std::string old_line = part();
  const std::string key = part();
  if (operation == "append") view.AppendParam(section, line, key);
  if (operation == "remove") view.RemoveParam(section, line, false);
  if (operation == "remove_part") view.RemoveParam(section, line, true);
  if (operation == "change") view.ChangeParam(section, old_line, line, key);
  if (operation == "empty") view.RemoveEmptySections();
}
