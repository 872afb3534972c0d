// SPDX-License-Identifier: Apache-2.0

// Whole texts in and out, byte by byte as they are.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "edit/tree/limits.h"

namespace cli {

inline constexpr char kStandardInput[] = "(standard input)";
inline constexpr char kStandardOutput[] = "(standard output)";

// The whole of `file`, which may be a pipe. Throws Failure when it cannot be opened or read, is a
// device other than a terminal and /dev/null, or has more than `limit` bytes.
std::string ReadFile(const std::string& file, std::size_t limit = tov_edit::kLargestText);

// All that is left on standard input. Throws the same.
std::string ReadStandardInput(std::size_t limit = tov_edit::kLargestText);

// Whether `name` stands for standard input on the command line: "-".
bool IsStandardInput(const std::string& name);

// Writes `text` and sees it off. Throws Failure when not all of it could be written.
void WriteStandardOutput(std::string_view text);

// Says that there is no more memory, for which there is some always.
void SayOutOfMemory();

// Writes "qeltemplate: MESSAGE" as a line of its own to standard error. May be called by several
// threads at a time.
void Say(const std::string& message);

}  // namespace cli
