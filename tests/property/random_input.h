// SPDX-License-Identifier: Apache-2.0

// Random inputs for laws that must hold for all of them.
//
// Debian's RapidCheck is a compiled library without checked containers, so it lives in a source
// file of its own that is built without them, too, and nothing but std::string crosses over.
#pragma once

#include <string>

// A law returns "" when it holds for its input, else what is wrong.
using Law = std::string (*)(const std::string& input);
using PairLaw = std::string (*)(const std::string& first, const std::string& second);

// Each function calls `law` with many random inputs. Returns "" when it held for all, else a report
// with the smallest input found for which it does not. RC_PARAMS in the environment sets the seed
// and the number of inputs.

// Any text: configuration lines, bytes of every kind, separators of section paths.
std::string ForAllTexts(Law law);

// Lines for blocks that get other paths, at odd moments and to odd ones: "+" opens a block, "-"
// closes one, "= TEXT" identifies one, and section separators stand anywhere.
std::string ForAllNestings(Law law);

// A configuration and a list of edits, see edits.h.
std::string ForAllEdits(PairLaw law);

// The same with odder lines and arguments: parts of lines, blanks, nothing at all, and "=" for the
// last level of the block's path.
std::string ForAllRichEdits(PairLaw law);

// A configuration and a template.
std::string ForAllRequests(PairLaw law);

// A whole file of `dialect` ("nginx") and a template, made of the same few blocks and lines, so
// that many a template fits its file: nested blocks, mixed line ends, blank lines, comments, and
// branches, values and trailing places in the template. The values are "a", "n", "ip" and "on";
// "none" is not set.
std::string ForAllFilesOf(const std::string& dialect, PairLaw law);

// A file of `dialect` ("nginx" or "apache") with blocks of up to some hundred lines, and a sequence
// of steps, one a line, the parts of a step separated by the byte 0x1f: an edit, see edits.h, where
// "=" is the last level of the block's path; "parser", which means another parser over the same
// dialect object; or "template", the old and the new value of "n", and its text with the byte 0x1e
// for line ends.
std::string ForAllSequences(const std::string& dialect, PairLaw law);

// Two section paths, often related.
std::string ForAllPaths(PairLaw law);

// A file of `dialect` and a template, as the engine would write them: one directive a line, tabs,
// no blank lines, no two blocks of one parent with one name. The template names blocks of the file
// with lines that they have, or might have. The values are those of ForAllFilesOf, and "p" for
// paths.
std::string ForAllPlainSites(const std::string& dialect, PairLaw law);
