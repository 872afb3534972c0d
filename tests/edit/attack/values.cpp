// SPDX-License-Identifier: Apache-2.0

#include "edit/attack/values.h"

#include <string_view>
#include <vector>

namespace attack {
namespace {

using namespace std::string_view_literals;

using Pieces = std::vector<std::string_view>;

// What few of which, one behind the other, open and close everything that quotes and escapes can.
const Pieces kSharp = {"\""sv, "'"sv, "\\"sv, " "sv, ";"sv,  "#"sv, "{"sv,
                       "}"sv,  "x"sv, "$"sv,  ">"sv, "\n"sv, "<"sv};

const Pieces kStructure = {";"sv, "{"sv,   "}"sv,  "#"sv,  "<"sv, ">"sv, "</"sv, "/>"sv,
                           "$"sv, "(${"sv, "${"sv, "$1"sv, "@"sv, "~"sv, "="sv,  "!"sv,
                           "*"sv, "&"sv,   "|"sv,  "`"sv,  ","sv, ":"sv, "%"sv,  "%{X}"sv};

const Pieces kQuotes = {"\""sv,     "'"sv,    "\\\""sv, "\\'"sv, "\\"sv,  "\\\\"sv,
                        "\\\\\\"sv, "\"\""sv, "\" "sv,  " \""sv, "' "sv,  " '"sv,
                        "\\n"sv,    "\\t"sv,  "\\r"sv,  "\\;"sv, "\\ "sv, "\\$"sv,
                        "\\#"sv,    "\\{"sv,  "n"sv,    "t"sv};

const Pieces kBlanks = {" "sv,  "\t"sv,   "\n"sv,     "\r"sv, "\r\n"sv, "\v"sv,
                        "\f"sv, "\\\n"sv, "\\\r\n"sv, "  "sv, "\n\n"sv};

const Pieces kOddBytes = {"\0"sv,       "\x01"sv,         "\x1b[2K"sv,  "\x7f"sv,
                          "\x80"sv,     "\xc3"sv,         "\xff\xfe"sv, "\xe2\x80\xa8"sv,
                          "\xc2\xa0"sv, "\xef\xbb\xbf"sv, "\xc3\xa4"sv, "\x1a"sv};

const Pieces kLanguage = {"{%"sv,
                          "%}"sv,
                          "[%"sv,
                          "%]"sv,
                          "{#}"sv,
                          "{% $b %}"sv,
                          "[% $b %]"sv,
                          "{% $a %}"sv,
                          "[% $a %]"sv,
                          "{% endif %}"sv,
                          "{% if x %}"sv,
                          "{% else %}"sv,
                          "[% x %]"sv,
                          "{% import /etc/passwd %}"sv,
                          "{"sv,
                          "%"sv,
                          "["sv,
                          "#}"sv,
                          "\n{% endif %}\n"sv,
                          "[% alias /etc/; %]"sv,
                          "[% Alias / /etc/ %]"sv,
                          "../"sv,
                          ".."sv,
                          "/../../etc/passwd"sv,
                          "."sv,
                          " or a "sv,
                          "or"sv,
                          "and"sv};

const Pieces kDirectives = {"; evil on"sv,
                            "; evil on;"sv,
                            ";\nevil on;\n"sv,
                            "\nEvil on\n"sv,
                            "\nEvil on"sv,
                            "} evil {"sv,
                            "} server { evil on; }"sv,
                            "\"; evil on; x \""sv,
                            "'; evil on; x '"sv,
                            "1.1.1.1; location /x { alias /etc/; } #"sv,
                            "\"; autoindex on; add_header Z \"y"sv,
                            "a\" \"expr=true"sv,
                            "a\" \"victim.example"sv,
                            "/a /b"sv,
                            "></Location>\nEvil on\n<Location /"sv,
                            "\n</VirtualHost>\nEvil on\n<VirtualHost *:80>"sv,
                            ">\nEvil on\n"sv,
                            "location / {"sv,
                            "<Location />"sv,
                            "</VirtualHost>"sv,
                            " always"sv,
                            " if=$x"sv,
                            " # "sv,
                            "#"sv,
                            "/a#b"sv,
                            "all"sv,
                            "None"sv,
                            "+Indexes"sv};

const Pieces kPlain = {"a"sv,         "b"sv,
                       "on"sv,        "80"sv,
                       "/srv/a"sv,    "/srv/b"sv,
                       "a.example"sv, "www.a.example"sv,
                       "text/css"sv,  "127.0.0.1:80"sv,
                       "\\.php$"sv,   "x"sv};

const std::vector<const Pieces*> kKinds = {&kSharp,    &kStructure, &kQuotes,     &kBlanks,
                                           &kOddBytes, &kLanguage,  &kDirectives, &kPlain};

std::string Joined(const Pieces& pieces, std::size_t count, Dice& dice) {
  std::string value;
  for (std::size_t i = 0; i < count; ++i) value += dice.Pick(pieces);
  return value;
}

std::string Mixed(Dice& dice) {
  std::string value;
  for (std::size_t count = 1 + dice.Below(5); count > 0; --count) {
    value += dice.Pick(*dice.Pick(kKinds));
  }
  return value;
}

// So long that a server's buffer or line could end in it.
std::string Long(Dice& dice) {
  const std::string piece(dice.Pick(*dice.Pick(kKinds)));
  const std::size_t size = dice.Pick(std::vector<std::size_t>{4000, 4096, 5000, 8200, 20000});
  std::string value = dice.Percent(50) ? "x" : "";
  while (value.size() < size) value += piece;
  return dice.Percent(50) ? value + "\"; evil on;" : value;
}

std::string AnyBytes(Dice& dice) {
  std::string value;
  for (std::size_t count = dice.Below(12); count > 0; --count) {
    value += static_cast<char>(dice.Below(256));
  }
  return value;
}

}  // namespace

std::string HostileValue(Dice& dice) {
  const std::size_t kind = dice.Below(100);
  if (kind < 30) return Joined(kSharp, 1 + dice.Below(4), dice);
  if (kind < 65) return Mixed(dice);
  if (kind < 75) return std::string(dice.Pick(kPlain)) + std::string(dice.Pick(*dice.Pick(kKinds)));
  if (kind < 87) return std::string(dice.Pick(*dice.Pick(kKinds)));
  if (kind < 90) return "";
  if (kind < 92) return Joined(kBlanks, 1 + dice.Below(3), dice);
  if (kind < 94) return Long(dice);
  return AnyBytes(dice);
}

std::string HarmlessValue(Dice& dice) {
  static const Pieces kHarmless = {"/srv/one"sv, "two"sv, "three.example"sv, "4"sv, "five-six"sv};
  return std::string(dice.Pick(kHarmless));
}

}  // namespace attack
