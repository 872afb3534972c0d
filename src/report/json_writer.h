// SPDX-License-Identifier: Apache-2.0

// How JSON is written.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace report {

// `value` as text, indented, members in the order in which they were put in. A byte that is no
// UTF-8 becomes U+FFFD.
std::string JsonText(const nlohmann::ordered_json& value);

// Writes the same text for a value that is told in pieces and never stands in memory as a whole:
//
//   JsonWriter json;
//   json.Begin('{');
//   json.Member("line", 3);
//   json.Name("words");
//   json.Begin('[');
//   json.Value("listen");
//   json.End(']');
//   json.End('}');
//   std::move(json).Text()
class JsonWriter {
 public:
  // An object, '{', or an array, '['; and its end, by the other bracket.
  void Begin(char bracket);
  void End(char bracket);

  // The name of the member whose value comes next.
  void Name(std::string_view name);

  void Value(std::string_view text);
  void Value(std::size_t number);
  void Whole(const nlohmann::ordered_json& value);  // a value of any kind

  template <typename Type>
  void Member(std::string_view name, const Type& value) {
    Name(name);
    Value(value);
  }

  // All that was written, with a line end.
  std::string Text() &&;

 private:
  void BeginValue();
  void BeginLine();

  std::string m_text;
  std::size_t m_indentation = 0;
  bool m_empty = true;   // nothing stands yet in the innermost object or array
  bool m_named = false;  // Name has been told
};

}  // namespace report
