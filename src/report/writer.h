// SPDX-License-Identifier: Apache-2.0

// What a report is told to, piece by piece: its values never stand in memory as a whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace report {

// Objects, arrays, texts, numbers and truth values, as JSON has them:
//
//   writer.Begin('{');
//   writer.Member("line", line);
//   writer.Name("words");
//   writer.Begin('[');
//   writer.Value("listen");
//   writer.End(']');
//   writer.End('}');
class Writer {
 public:
  Writer() = default;
  virtual ~Writer() = default;
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // An object, '{', or an array, '['; and its end, by the other bracket.
  virtual void Begin(char bracket) = 0;
  virtual void End(char bracket) = 0;

  // The name of the member whose value comes next.
  virtual void Name(std::string_view name) = 0;

  void Value(std::string_view text) { AddText(text); }

  template <typename Type, std::enable_if_t<std::is_integral_v<Type>, int> = 0>
  void Value(Type value) {
    if constexpr (std::is_same_v<Type, bool>) {
      AddTruth(value);
    } else {
      AddNumber(value);
    }
  }

  void Value(const std::vector<std::string>& texts) {
    Begin('[');
    for (const std::string& text : texts) AddText(text);
    End(']');
  }

  template <typename Type>
  void Member(std::string_view name, const Type& value) {
    Name(name);
    Value(value);
  }

 private:
  virtual void AddText(std::string_view text) = 0;
  virtual void AddNumber(std::size_t number) = 0;
  virtual void AddTruth(bool value) = 0;
};

}  // namespace report
