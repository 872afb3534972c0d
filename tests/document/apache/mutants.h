// SPDX-License-Identifier: Apache-2.0

// Texts that are damaged a little.
#pragma once

#include <random>
#include <string>

// `text` with one to three changes at random places: a byte dropped, doubled or swapped with its
// neighbour, a line dropped or doubled, the end cut off, or something put in that means something
// to httpd: quotes, backslashes, line ends, comments, opening and closing lines.
std::string Mutant(const std::string& text, std::mt19937& random);
