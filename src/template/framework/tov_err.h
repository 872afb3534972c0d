// SPDX-License-Identifier: Apache-2.0

// The exception type of the library.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "template/export.h"
#include "template/framework/tov_access.h"

namespace tov_err {

// An error with a type, an optional object (what the error is about) and named parameters. Thrown
// by value; copies are independent.
class QELTEMPLATE_EXPORT Error : public std::exception {
 public:
  struct Param {
    std::string name;
    std::string value;
    tov_access::AccessMask mask;
  };

  explicit Error(const std::string& type);
  Error(const std::string& type, const std::string& object);

  // Adds a named parameter, behind those added before, and returns this error for chaining.
  Error& add_param(const std::string& name, const std::string& value, tov_access::AccessMask mask);

  const std::string& type() const { return m_type; }

  // Empty when the error was made without an object.
  const std::string& object() const { return m_object; }

  // In the order in which they were added.
  const std::vector<Param>& params() const { return m_params; }

  // One readable line: "template: circular_import (filename=/etc/x.conf)". Valid until the next
  // add_param.
  const char* what() const noexcept override;

 private:
  QELTEMPLATE_LOCAL void Describe();

  std::string m_type;
  std::string m_object;
  std::vector<Param> m_params;
  std::string m_what;
};

}  // namespace tov_err
