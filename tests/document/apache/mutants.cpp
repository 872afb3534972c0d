// SPDX-License-Identifier: Apache-2.0

#include "document/apache/mutants.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr std::array<const char*, 34> pieces = {"\"",
                                                "'",
                                                "\\",
                                                "\\\\",
                                                "\\\n",
                                                "\\\r\n",
                                                "\n",
                                                "\r\n",
                                                "\r",
                                                "\n\n",
                                                "#",
                                                "\n#",
                                                "<",
                                                ">",
                                                "/",
                                                "</",
                                                " ",
                                                "\t",
                                                "\f",
                                                "\v",
                                                "{",
                                                "}",
                                                "${",
                                                "\"\" ",
                                                "<If \"true\">\n",
                                                "</If>\n",
                                                "\n<If \"true\"\n",
                                                "\n</If> x\n",
                                                "\n<IfDefine !no>\n",
                                                "\n</IfDefine>\n",
                                                "\n</IfDefine> x\n",
                                                "\n<Macro m>\n",
                                                "\n</Macro>\n",
                                                "\n</Directory>\n"};

std::size_t Below(std::size_t limit, std::mt19937& random) {
  return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

void DropOrDoubleLine(std::string& text, std::size_t place, bool twice) {
  const std::size_t before = place == 0 ? std::string::npos : text.rfind('\n', place - 1);
  const std::size_t begin = before == std::string::npos ? 0 : before + 1;
  const std::size_t end = std::min(text.find('\n', place), text.size() - 1) + 1;
  const std::string line = text.substr(begin, end - begin);
  if (twice) {
    text.insert(begin, line);
  } else {
    text.erase(begin, line.size());
  }
}

void Change(std::string& text, std::mt19937& random) {
  const std::size_t place = Below(text.size(), random);
  switch (Below(16, random)) {
    case 0:
      text.erase(place, 1);
      break;
    case 1:
      text.insert(place, 1, text[place]);
      break;
    case 2:
      if (place > 0) std::swap(text[place], text[place - 1]);
      break;
    case 3:
      DropOrDoubleLine(text, place, false);
      break;
    case 4:
      DropOrDoubleLine(text, place, true);
      break;
    case 5:
      text.erase(place);
      break;
    default:
      text.insert(place, pieces.at(Below(pieces.size(), random)));
  }
}

}  // namespace

std::string Mutant(const std::string& text, std::mt19937& random) {
  std::string mutant = text;
  for (std::size_t changes = 1 + Below(3, random); changes > 0 && !mutant.empty(); --changes) {
    Change(mutant, random);
  }
  return mutant;
}
