// SPDX-License-Identifier: Apache-2.0

// The real nginx as the judge of a reading.
//
// As it stands, a text stops the server at the first directive that it does not know or that cannot
// be there, and makes it open logs and look up hosts. So the server gets two forms of the text in
// which the reading's own claims make every directive a harmless one that takes any words:
//
//   the text    server { listen 80; }      # main
//   structure   gzip_types server ;location ~ x{ gzip_types listen 80; }      # main
//   words       o0 server ; d1 listen 80;        # main
//
// A claim that is wrong leaves a directive that the server does not know, or a brace too many. The
// second form stands in "types", twice: the server then warns of each word as a duplicate, and
// names it, the first word in front of it (which directive it belongs to) and the line on which
// that directive ends.
//
// Judged are, for every text: that the server reads all of it or stops where the reading says, on
// the same line and for the same reason; where blocks begin and end; and before the error all words
// by value, but for the case of letters, which nginx drops in those warnings. Not judged: the
// column of an error, and what is an error only because of a directive's meaning.
#pragma once

#include <string>
#include <string_view>

#include "document/nginx/reading.h"
#include "server/server_folder.h"

namespace nginx_judge {

// "" when the server reads `text` as `reading` says, else the difference.
std::string ServerDifference(const ServerFolder& folder, std::string_view text,
                             const Reading& reading);

}  // namespace nginx_judge
