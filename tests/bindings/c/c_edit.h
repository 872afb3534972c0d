// SPDX-License-Identifier: Apache-2.0

// Requests, results and updates of the C interface, freed when they go out of scope.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include "bindings/c/c_request.h"
#include "qeltemplate_c.h"

// A request. What cannot be set is thrown.
class CRequest {
 public:
  CRequest(const char* dialect, const std::string& text,
           const std::string& template_name = "site.template") {
    CError error;
    Expect(qel_request_new(dialect, QEL_NUL, text.data(), text.size(), template_name.data(),
                           template_name.size(), &m_request, error.Out()),
           error);
  }
  ~CRequest() { qel_request_free(m_request); }
  CRequest(const CRequest&) = delete;
  CRequest& operator=(const CRequest&) = delete;

  qel_request Handle() const { return m_request; }

  // Null: no value.
  void SetValue(const std::string& name, const std::string* old_value,
                const std::string* new_value) const {
    const auto data = [](const std::string* text) { return text ? text->data() : nullptr; };
    const auto size = [](const std::string* text) { return text ? text->size() : 0; };
    CError error;
    Expect(qel_request_set_value(m_request, name.data(), name.size(), data(old_value),
                                 size(old_value), data(new_value), size(new_value), error.Out()),
           error);
  }
  void SetValue(const std::string& name, const std::string& old_value,
                const std::string& new_value) const {
    SetValue(name, &old_value, &new_value);
  }

 private:
  static void Expect(qel_status status, const CError& error) {
    if (status != QEL_OK) throw std::runtime_error(error.Message());
  }

  qel_request m_request = 0;
};

// The result of an edit.
class CResult {
 public:
  CResult(const CRequest& request, const std::string& config,
          const std::string& name = "site.conf") {
    CError error;
    m_status = qel_edit(request.Handle(), config.data(), config.size(), name.data(), name.size(),
                        &m_result, error.Out());
    if (m_result == 0) throw std::runtime_error(error.Message());
  }
  ~CResult() { qel_result_free(m_result); }
  CResult(const CResult&) = delete;
  CResult& operator=(const CResult&) = delete;

  qel_result Handle() const { return m_result; }
  qel_status Status() const { return m_status; }

  std::string Text() const { return Get(qel_result_text); }

  // What `get` says with these arguments of a result.
  using Size = std::size_t;
  std::string Get(const char* (*get)(qel_result, Size*)) const {
    return Sized([&](Size* size) { return get(m_result, size); });
  }
  std::string Get(const char* (*get)(qel_result, Size, Size*), Size index) const {
    return Sized([&](Size* size) { return get(m_result, index, size); });
  }
  std::string Get(const char* (*get)(qel_result, Size, Size, Size*), Size index, Size place) const {
    return Sized([&](Size* size) { return get(m_result, index, place, size); });
  }
  std::string Get(const char* (*get)(qel_result, int, Size, Size*), int kind, Size index) const {
    return Sized([&](Size* size) { return get(m_result, kind, index, size); });
  }
  std::string Get(const char* (*get)(qel_result, int, Size, Size, Size*), int kind, Size index,
                  Size which) const {
    return Sized([&](Size* size) { return get(m_result, kind, index, which, size); });
  }

 private:
  template <class Ask>
  static std::string Sized(const Ask& ask) {
    Size size = 0;
    const char* const text = ask(&size);
    return {text, size};
  }

  qel_result m_result = 0;
  qel_status m_status = QEL_FAILED;
};

// A text that the caller frees.
class CText {
 public:
  CText() = default;
  ~CText() { qel_text_free(m_text); }
  CText(const CText&) = delete;
  CText& operator=(const CText&) = delete;

  char** Out() { return &m_text; }
  std::size_t* Size() { return &m_size; }
  const char* Data() const { return m_text; }
  std::string Str() const { return {m_text, m_size}; }

 private:
  char* m_text = nullptr;
  std::size_t m_size = 0;
};
