// SPDX-License-Identifier: Apache-2.0

// What an edit has changed, for people and for patch(1).
#pragma once

#include <string>

namespace cli {

// The unified diff that makes `after` of `before`, with three lines of context, under header lines
// that name the file `name` on both sides. Empty when nothing differs. Any bytes are text, NUL too.
// Throws Failure when a text is too large for the diff library (1 GB), and when that library is not
// installed: it is loaded when more than one line differs. May be called by several threads at a
// time.
std::string UnifiedDiff(const std::string& before, const std::string& after,
                        const std::string& name);

// `diff`, which UnifiedDiff has made, in the colours that git has made usual.
std::string Coloured(const std::string& diff);

}  // namespace cli
