// SPDX-License-Identifier: Apache-2.0

// The handles and texts of the C interface, freed when they go out of scope.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qeltemplate_c.h"

// Receives an error: qel_parser_apply(parser, error.Out()).
class CError {
 public:
  CError() = default;
  ~CError() { qel_error_free(m_error); }
  CError(const CError&) = delete;
  CError& operator=(const CError&) = delete;

  qel_error* Out() { return &m_error; }
  qel_error Handle() const { return m_error; }

  std::string Message() const { return Text(qel_error_message); }
  std::string Type() const { return Text(qel_error_type); }
  std::string Object() const { return Text(qel_error_object); }

  std::vector<std::pair<std::string, std::string>> Params() const {
    std::vector<std::pair<std::string, std::string>> params;
    for (std::size_t i = 0; i < qel_error_param_count(m_error); ++i) {
      params.emplace_back(qel_error_param_name(m_error, i, nullptr),
                          qel_error_param_value(m_error, i, nullptr));
    }
    return params;
  }

 private:
  std::string Text(const char* (*get)(qel_error, std::size_t*)) const {
    std::size_t size = 0;
    const char* const text = get(m_error, &size);
    return {text, size};
  }

  qel_error m_error = 0;
};

// A parser. What its own calls cannot do is thrown.
class CParser {
 public:
  CParser(const char* dialect, const std::string& config) {
    CError error;
    const qel_status status =
        qel_parser_new(dialect, QEL_NUL, config.data(), config.size(), &m_parser, error.Out());
    if (status != QEL_OK) throw std::runtime_error(error.Message());
  }
  ~CParser() { qel_parser_free(m_parser); }
  CParser(const CParser&) = delete;
  CParser& operator=(const CParser&) = delete;

  qel_parser Handle() const { return m_parser; }

  qel_status Apply() const { return qel_parser_apply(m_parser, nullptr); }
  std::string Config() const { return Text(qel_parser_config); }
  std::string Prototype() const { return Text(qel_parser_prototype); }

 private:
  std::string Text(qel_status (*get)(qel_parser, char**, std::size_t*, qel_error*)) const {
    CError error;
    char* text = nullptr;
    std::size_t size = 0;
    if (get(m_parser, &text, &size, error.Out()) != QEL_OK) {
      throw std::runtime_error(error.Message());
    }
    std::string copy(text, size);
    qel_text_free(text);
    return copy;
  }

  qel_parser m_parser = 0;
};
