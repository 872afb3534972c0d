// SPDX-License-Identifier: Apache-2.0

// The values of a site: what they are called, and where they stand.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "adopt/lines.h"
#include "document/document.h"

namespace tov_adopt {

struct Value {
  std::string name;
  std::string text;
  bool given = false;  // by the caller
  bool list = false;   // several words, of a trailing place
  bool used = false;   // by a line

  std::optional<std::string> other = {};  // its new text, where that is another one
};

// Names that are given once.
class ValueNames {
 public:
  void Take(const std::string& name) { m_taken.insert(name); }

  // `wanted`, or with a number: "root_2".
  std::string New(std::string_view wanted);

 private:
  std::set<std::string> m_taken;
};

// Makes a value, of the name "text", of each text in `lines` that would be read as template
// language.
void NameTexts(Dialect dialect, ValueNames& names, Lines& lines, std::vector<Value>& values);

// What the word with this number of a line would be called, where that is known: "root"; "": it is
// not.
std::string KnownName(Dialect dialect, const Line& line, std::size_t word);

// Finds the values of `lines`, and puts places where their texts stand. `site_name` is the name of
// the site as the server compares it; `given` are values of the caller, by their names. What is
// known of a directive tells its value's name:
//
//   name, aliases                      of a server
//   ip, ipv6, port                     that it listens on
//   root, certificate, log, ...        see naming.cpp
//
// Values with the same name and other texts are numbered: root, root_2. A text that would be read
// as template language becomes a value of the name "text".
std::vector<Value> NameValues(const Document& document, const std::string& site_name,
                              const std::map<std::string, std::string>& given, Lines& lines);

// What a value of a directive is called that has no other name: "client_max_body_size".
std::string NameAfter(std::string_view directive);

// Takes the places of a value out of the lines.
void TakeOut(std::size_t value, const Document& document, Lines& lines);

// What the word with this number is.
bool IsServerName(Dialect dialect, std::string_view directive);
bool IsAddress(Dialect dialect, const Line& line, std::size_t word);

}  // namespace tov_adopt
