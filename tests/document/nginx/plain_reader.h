// SPDX-License-Identifier: Apache-2.0

// A second reader of nginx configurations, to judge the Document by: obvious rather than fast, and
// written from what nginx does.
#pragma once

#include <string_view>

#include "document/nginx/reading.h"

namespace nginx_judge {

// Where a text stands: blocks of "types" and the like take no blocks.
enum class Place { kAmongDirectives, kAmongValues };

// The reading of a whole file's text. An error is what nginx itself stops at, and "opened" is where
// the innermost block then begins.
Reading ReadPlainly(std::string_view text, Place place = Place::kAmongDirectives);

}  // namespace nginx_judge
