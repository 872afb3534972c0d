// SPDX-License-Identifier: Apache-2.0

#include "parser.h"

#include <memory>
#include <optional>
#include <stdexcept>

#include "template/framework/tov_file.h"

namespace bindings {
namespace {

// Like the parameters of the library's own errors.
constexpr tov_access::AccessMask kParamAccess = 0xE0000000;

std::shared_ptr<tov_template::BaseConfig> MakeConfig(const std::string& dialect,
                                                     const std::string& config) {
  try {
    return tov_template::GetConfigType(dialect, config);
  } catch (const std::runtime_error&) {
    throw ErrorAbout("dialect", "unknown", dialect);
  }
}

}  // namespace

// A parser is busy while a claim on it lives.
class Parser::Claim {
 public:
  explicit Claim(Parser& parser) : m_busy(parser.m_busy) {
    if (m_busy.exchange(true, std::memory_order_acquire)) throw tov_err::Error("parser", "busy");
  }
  ~Claim() { m_busy.store(false, std::memory_order_release); }
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;

 private:
  std::atomic<bool>& m_busy;
};

Parser::Parser(const std::string& dialect, const std::string& config)
    : m_parser(MakeConfig(dialect, config)) {}

void Parser::SetValue(const std::string& name, const tov_template::Value& old_value,
                      const tov_template::Value& new_value) {
  const Claim claim(*this);
  m_parser.SetValue(name, old_value, new_value);
}

void Parser::MergeValues(Parser& other) {
  const Claim claim(*this);
  std::optional<Claim> claim_on_other;
  if (&other != this) claim_on_other.emplace(other);
  m_parser.SetValue(other.m_parser);
}

void Parser::ClearValues() {
  const Claim claim(*this);
  m_parser.ClearValues();
}

void Parser::SetTemplate(const std::string& text) {
  const Claim claim(*this);
  m_parser.SetTemplate(text);
}

void Parser::SetTemplateFile(const std::string& path) {
  SetTemplate(tov_file::ReadE(path));
}

void Parser::Apply() {
  const Claim claim(*this);
  m_parser.ApplyTemplate();
}

std::string Parser::Config() {
  const Claim claim(*this);
  return m_parser.GetConfig();
}

std::string Parser::Prototype() {
  const Claim claim(*this);
  return m_parser.GetPrototype();
}

tov_err::Error ErrorAbout(const std::string& type, const std::string& object,
                          const std::string& name) {
  return tov_err::Error(type, object).add_param("name", name, kParamAccess);
}

}  // namespace bindings
