// SPDX-License-Identifier: Apache-2.0

// Makes of an example's file one as people have it.
#pragma once

#include <string>

#include "docs/page.h"

struct MessyFile {
  std::string before;
  std::string after;  // what it has to mean after the edit; its layout is not that of the result

  // What stands in front of the example's sites and behind them, to stay byte by byte.
  std::string front;
  std::string back;

  bool whole = false;  // of nginx: it has an http of its own
};

// The example's file with other sites before and behind it, comments, odd blanks, directives over
// several lines, and one alias more for each of its sites, which the template knows nothing of; in
// `http`, or in a condition of Apache, unless the edit is for the top level of the file. An example
// that has an http itself stays alone in it.
//
// `with_twin`: before the site that is edited stands another block of the same names, a redirect on
// another address. Where the edit makes new sites only, or is for the top level, there is none.
MessyFile MakeMessy(const Example& example, bool with_twin);

// Whether `with_twin` has an effect.
bool HasTwin(const Example& example);
