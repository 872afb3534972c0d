// SPDX-License-Identifier: Apache-2.0

#include "template/framework/tov_err.h"

#include "template/framework/str.h"

namespace tov_err {

Error::Error(const std::string& type) : Error(type, std::string()) {}

Error::Error(const std::string& type, const std::string& object) : m_type(type), m_object(object) {
  Describe();
}

Error& Error::add_param(const std::string& name, const std::string& value,
                        tov_access::AccessMask mask) {
  m_params.push_back({name, value, mask});
  Describe();
  return *this;
}

const char* Error::what() const noexcept {
  return m_what.c_str();
}

void Error::Describe() {
  std::string params;
  for (const Param& param : m_params)
    str::inpl::Append(params, param.name + "=" + param.value, ", ");
  m_what = str::Append(m_type, m_object, ": ");
  if (!params.empty()) m_what += " (" + params + ")";
}

}  // namespace tov_err
