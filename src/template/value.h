// SPDX-License-Identifier: Apache-2.0

// A text that may be null.
#pragma once

#include <string>

namespace tov_template {

// The tag that makes a Value null: SetValue("port", "80", NullValue()).
struct NullValue {};

// A text, or null: no value at all. Empty and null are different states; a null value has empty
// text. A std::string, a character string or NullValue() may stand wherever a Value is expected. A
// null pointer to characters is null, too.
class Value {
 public:
  // Empty, not null.
  Value() = default;
  Value(const std::string& s) : m_text(s) {}
  Value(const char* s) : m_text(s != nullptr ? s : ""), m_null(s == nullptr) {}
  Value(const NullValue& /*tag*/) : m_null(true) {}

  // The text, "" for a null value.
  std::string Str() const { return m_text; }

  // The text itself, for changing in place. That does not touch the null state: a null value is not
  // to be written to.
  std::string& Str() { return m_text; }

  bool IsNull() const { return m_null; }

  Value& operator=(const char* s) {
    m_text = s != nullptr ? s : "";
    m_null = s == nullptr;
    return *this;
  }

  Value& operator=(const NullValue& /*tag*/) {
    m_text.clear();
    m_null = true;
    return *this;
  }

 private:
  std::string m_text;
  bool m_null = false;
};

}  // namespace tov_template
