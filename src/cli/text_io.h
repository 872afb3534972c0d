// SPDX-License-Identifier: Apache-2.0

// Whole texts in and out, byte by byte as they are.
#pragma once

#include <string>

namespace cli {

inline constexpr char kStandardInput[] = "(standard input)";
inline constexpr char kStandardOutput[] = "(standard output)";

// The whole of `file`, which may be a pipe. Throws Failure when it cannot be opened or read.
std::string ReadFile(const std::string& file);

// All that is left on standard input. Throws Failure when it cannot be read.
std::string ReadStandardInput();

// Whether `name` stands for standard input on the command line: "-".
bool IsStandardInput(const std::string& name);

// Writes `text` and sees it off. Throws Failure when not all of it could be written.
void WriteStandardOutput(const std::string& text);

// Writes "qeltemplate: MESSAGE" as a line of its own to standard error. May be called by several
// threads at a time.
void Say(const std::string& message);

}  // namespace cli
