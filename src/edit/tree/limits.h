// SPDX-License-Identifier: Apache-2.0

// How much one edit takes. What people write stays far below; what goes beyond is refused as
// "limit" before it costs time and memory.
#pragma once

#include <cstddef>

namespace tov_edit {

inline constexpr std::size_t kMebibyte = std::size_t{1} << 20;

// A configuration, before the edit and after it. It is held several times over.
inline constexpr std::size_t kLargestText = 1024 * kMebibyte;

// A template with its imports, each line with the longer ones of its values. A line is held about
// ten times over, and a short one takes about a kilobyte besides.
inline constexpr std::size_t kLargestTemplate = 16 * kMebibyte;
inline constexpr std::size_t kMostTemplateLines = 200'000;

// The places for values in one line of a template, or in one statement.
inline constexpr std::size_t kMostPlaces = 1'000;

// Blocks in blocks of a template: what is new is indented by a step for each.
inline constexpr std::size_t kDeepestBlocks = 100;

// Conditions in conditions (<IfModule> and the like) of a configuration: a block is looked for
// through all of them. Other blocks nest as deep as they like.
inline constexpr std::size_t kDeepestConditions = 100;

inline constexpr std::size_t kMostImports = 10'000;
inline constexpr std::size_t kDeepestImports = 100;

// All values, with their names, old and new texts.
inline constexpr std::size_t kMostValues = 100'000;
inline constexpr std::size_t kLargestValues = 64 * kMebibyte;

// The places that one finding names, of many that it is about.
inline constexpr std::size_t kMostPlacesNamed = 100;

// The blanks that are taken over from a neighbour, as the indentation of a new line.
inline constexpr std::size_t kLongestIndentation = 1'000;

}  // namespace tov_edit
