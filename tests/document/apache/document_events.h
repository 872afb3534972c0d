// SPDX-License-Identifier: Apache-2.0

// What a Document says of a text, in the second reader's terms.
#pragma once

#include <string>
#include <vector>

#include "document/apache/second_reader.h"
#include "document/document.h"

std::vector<second_reader::Event> EventsOf(const tov_document::Document& document);

// "" when the nodes in their order are the text, and a block's head, nodes and closing the block,
// else where they are not.
std::string TilingFault(const tov_document::Document& document);

// "" when the Document is of the second reader's mind: reads the same or refuses the same line for
// the same reason, and its nodes are the text. Else what the two say.
std::string Difference(const std::string& text);
