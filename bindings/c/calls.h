// SPDX-License-Identifier: Apache-2.0

// What all functions of the C interface have in common: texts in and out, statuses and errors.
#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>

#include "qeltemplate_c.h"
#include "table.h"
#include "template/qeltemplate.h"

namespace bindings {

// --- Errors ---

// Hands `error` to the caller, who gets no more than the status when there is no memory for it.
qel_status Report(const tov_err::Error& error, qel_error* handle) noexcept;

// The same for a failure that is nobody's in particular.
qel_status ReportFailure(const char* what, qel_error* handle) noexcept;

// Does `work`, which may return a status, and turns what it throws into a status and an error.
template <class Work>
qel_status Run(qel_error* error, const Work& work) noexcept {
  if (error != nullptr) *error = 0;
  try {
    if constexpr (std::is_same_v<decltype(work()), qel_status>) {
      return work();
    } else {
      work();
      return QEL_OK;
    }
  } catch (const std::bad_alloc&) {
    return QEL_NO_MEMORY;
  } catch (const tov_err::Error& thrown) {
    return Report(thrown, error);
  } catch (const std::exception& thrown) {
    return ReportFailure(thrown.what(), error);
  } catch (...) {
    return ReportFailure("unknown", error);
  }
}

// `error` with one more parameter.
tov_err::Error With(tov_err::Error error, const std::string& name, const std::string& value);

// --- Arguments ---

// Throws where `pointer`, the argument `name`, is null.
void Require(const void* pointer, const char* name);

std::string TextOf(const char* text, size_t size, const char* name);

// None for a null pointer.
std::optional<std::string> OptionalTextOf(const char* text, size_t size, const char* name);

// For a number, or a text, that stands for nothing.
[[noreturn]] void RefuseArgument(const char* name, const std::string& value);

// The object behind a handle of this kind; throws where there is none.
template <class Object>
std::shared_ptr<Object> Find(const Table<Object>& table, std::uint64_t handle, const char* kind) {
  std::shared_ptr<Object> object = table.Find(handle);
  if (object == nullptr) throw tov_err::Error(With({"handle", "unknown"}, "name", kind));
  return object;
}

template <class Object>
qel_status Free(Table<Object>& table, std::uint64_t handle) noexcept {
  return handle == 0 || table.Take(handle) != nullptr ? QEL_OK : QEL_BAD_HANDLE;
}

// --- Results ---

// Where a text is handed out that the caller frees. Makes it null and 0 first.
class TextOut {
 public:
  TextOut(char** text, size_t* size, const char* name);

  // Throws where `text`, the argument `name`, is null.
  void Require() const { bindings::Require(m_text, m_name); }

  // A copy of `text`, with a NUL byte behind it.
  void Set(const std::string& text) const;

 private:
  char** m_text;
  size_t* m_size;
  const char* m_name;
};

// Where it belongs to somebody.
const char* HandOut(const std::string& text, size_t* size);

}  // namespace bindings
