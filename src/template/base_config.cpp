// SPDX-License-Identifier: Apache-2.0

#include "template/base_config.h"

#include "template/framework/str.h"
#include "template/late_registration.h"

namespace tov_template {

BaseConfig::BaseConfig(const std::string& /*text*/) {}

BaseConfig::~BaseConfig() = default;

void BaseConfig::GetIdentParams(std::set<std::string>& /*names*/) const {}

std::string BaseConfig::MakeSectionPath(const std::string& name,
                                        const std::map<std::string, std::string>& idents) const {
  std::string path = name;
  for (const auto& ident : idents) str::inpl::Append(path, ident.second, " ");
  return path;
}

std::string BaseConfig::GetTermChar() const {
  return std::string();
}

bool BaseConfig::IsUniqueParam(const std::string& /*line*/) const {
  return false;
}

LineIterator BaseConfig::RegisterUniqueParam(const std::string& /*section*/, LineIterator& pos) {
  return pos;
}

LineIterator BaseConfig::AppendUniqueParam(const std::string& /*section*/, const LineIterator& pos,
                                           const std::string& /*text*/) {
  return pos;
}

void BaseConfig::RemoveUniqueParam(const std::string& /*section*/, const std::string& /*text*/,
                                   bool /*flag*/, std::list<LineIterator>& /*removed*/) {}

void BaseConfig::ChangeUniqueParam(const std::string& /*section*/, LineIterator& /*pos*/,
                                   const std::string& /*text*/,
                                   std::list<LineIterator>& /*removed*/) {}

LineIterator BaseConfig::SharedLine(const std::string& /*section*/, const std::string& /*text*/) {
  return GetList()->end();
}

BaseConfig::LookAtLine BaseConfig::GetLookAtLine() const {
  return nullptr;
}

bool BaseConfig::CanRegisterLate(std::size_t /*depth*/,
                                 const std::vector<LineIterator>& /*lines*/) const {
  return false;
}

void BaseConfig::RegisterRest() const {
  if (m_late != nullptr && !m_late->IsHeld()) m_late->RegisterAll();
}

void BaseConfig::ForgetLine(const LineIterator& /*line*/) {}

}  // namespace tov_template
