// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/mutants.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace nginx_judge {

namespace {

std::size_t Below(std::size_t bound, std::mt19937& random) {
  return random() % bound;
}

// A run that ends close to where nginx's buffer of 4,096 bytes does.
std::string LongRun(std::mt19937& random) {
  return std::string(4088 + Below(10, random), "a# \n{"[Below(5, random)]);
}

std::string Insertion(std::mt19937& random) {
  using namespace std::string_literals;
  const std::string pieces[] = {"\"",
                                "'",
                                "\\",
                                "\"\"",
                                "''",
                                "\"a b\"",
                                "' '",
                                "\\\"",
                                "\\'",
                                "\\\\",
                                "\\n",
                                "\\ ",
                                "\\;",
                                "{",
                                "}",
                                " { ",
                                "{}",
                                ";",
                                ";;",
                                " ; ",
                                "#",
                                " # ",
                                " # {\n",
                                "#\"\n",
                                "\n",
                                "\r\n",
                                "\r",
                                "\t",
                                " ",
                                "\f",
                                "$",
                                "${",
                                "${a}",
                                " $b ",
                                "$\\{",
                                ")",
                                "\")",
                                "\0"s,
                                "\xEF\xBB\xBF",
                                "\xC3\xA9",
                                " a {b ",
                                " map $a $b{",
                                "types{",
                                "geo $g {",
                                "x_by_lua_block{",
                                " content_by_lua_block { ",
                                "--",
                                "[[",
                                "]]",
                                "[=[",
                                "--[["};
  if (Below(40, random) == 0) return LongRun(random);
  return pieces[Below(std::size(pieces), random)];
}

// A piece of at most 80 bytes.
std::pair<std::size_t, std::size_t> Piece(const std::string& text, std::mt19937& random) {
  const std::size_t begin = Below(text.size(), random);
  return {begin, 1 + Below(std::min<std::size_t>(80, text.size() - begin), random)};
}

void ChangeBytes(std::string& text, std::mt19937& random) {
  const std::size_t pos = Below(text.size(), random);
  switch (Below(4, random)) {
    case 0:
      text.erase(pos, 1);
      break;
    case 1:
      text.insert(pos, 1, text[pos]);
      break;
    case 2:
      std::swap(text[pos], text[std::min(pos + 1, text.size() - 1)]);
      break;
    default:
      text[pos] = static_cast<char>(Below(256, random));
      break;
  }
}

void ChangePiece(std::string& text, std::mt19937& random) {
  const auto [begin, size] = Piece(text, random);
  const std::string piece = text.substr(begin, size);
  const std::size_t change = Below(3, random);
  if (change != 0) text.erase(begin, size);  // else it is doubled
  if (change != 1) text.insert(Below(text.size() + 1, random), piece);
}

}  // namespace

std::string Mutant(std::string text, std::mt19937& random) {
  for (std::size_t changes = 1 + Below(4, random); changes > 0; --changes) {
    const std::size_t change = text.empty() ? 2 : Below(5, random);
    if (change == 0) {
      ChangePiece(text, random);
    } else if (change == 1) {
      ChangeBytes(text, random);
    } else {
      text.insert(Below(text.size() + 1, random), Insertion(random));
    }
  }
  return text;
}

}  // namespace nginx_judge
