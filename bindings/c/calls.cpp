// SPDX-License-Identifier: Apache-2.0

#include "calls.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "parser.h"

namespace bindings {
namespace {

Table<const tov_err::Error> g_errors;

struct StatusText {
  qel_status status;
  const char* text;
};

constexpr StatusText kStatusTexts[] = {
    {QEL_OK, "ok"},
    {QEL_BAD_HANDLE, "no such handle"},
    {QEL_BAD_ARGUMENT, "an argument that stands for nothing"},
    {QEL_BUSY, "the object is busy"},
    {QEL_UNKNOWN_DIALECT, "unknown dialect"},
    {QEL_TEMPLATE_ERROR, "wrong template"},
    {QEL_FILE_ERROR, "a file that cannot be read"},
    {QEL_NO_MEMORY, "out of memory"},
    {QEL_FAILED, "failed"},
    {QEL_REFUSED, "the edit is refused"},
    {QEL_UPDATE_FAILED, "the files cannot be updated"},
    {QEL_SERVER_REFUSES, "the server refuses the files"},
    {QEL_OVERTAKEN, "another program has changed a file"},
    {QEL_CANCELLED, "cancelled"},
};

struct ErrorType {
  const char* type;
  qel_status status;
};

constexpr ErrorType kErrorTypes[] = {
    {"handle", QEL_BAD_HANDLE},       {"argument", QEL_BAD_ARGUMENT},
    {"dialect", QEL_UNKNOWN_DIALECT}, {"template", QEL_TEMPLATE_ERROR},
    {"file", QEL_FILE_ERROR},         {"update", QEL_UPDATE_FAILED},
    {"server", QEL_SERVER_REFUSES},   {"overtaken", QEL_OVERTAKEN},
    {"cancelled", QEL_CANCELLED},
};

qel_status StatusOf(const tov_err::Error& error) {
  if (error.object() == "busy") return QEL_BUSY;
  for (const ErrorType& known : kErrorTypes) {
    if (error.type() == known.type) return known.status;
  }
  return QEL_FAILED;
}

const char* HandOutBytes(const char* text, size_t text_size, size_t* size) {
  if (size != nullptr) *size = text_size;
  return text;
}

// What `get` says of the error behind `handle`. The text is the error's, not a copy.
template <class Get>
const char* TextOfError(qel_error handle, size_t* size, const Get& get) {
  const std::shared_ptr<const tov_err::Error> error = g_errors.Find(handle);
  if (error == nullptr) return HandOutBytes("", 0, size);
  return HandOut(get(*error), size);
}

// The same for one of its parameters.
const char* TextOfParam(qel_error handle, size_t index, std::string tov_err::Error::Param::*member,
                        size_t* size) {
  static const std::string kNone;
  return TextOfError(handle, size, [&](const tov_err::Error& error) -> const std::string& {
    return index < error.params().size() ? error.params()[index].*member : kNone;
  });
}

}  // namespace

qel_status Report(const tov_err::Error& error, qel_error* handle) noexcept {
  const qel_status status = StatusOf(error);
  if (handle == nullptr) return status;
  try {
    *handle = g_errors.Add(std::make_shared<const tov_err::Error>(error));
  } catch (...) {  // NOLINT(bugprone-empty-catch): the status says what is left to say
  }
  return status;
}

qel_status ReportFailure(const char* what, qel_error* handle) noexcept {
  try {
    return Report(tov_err::Error("failure", what), handle);
  } catch (...) {
    return QEL_NO_MEMORY;
  }
}

tov_err::Error With(tov_err::Error error, const std::string& name, const std::string& value) {
  constexpr tov_access::AccessMask kAccess = 0xE0000000;  // as the library's own errors
  return error.add_param(name, value, kAccess);
}

void Require(const void* pointer, const char* name) {
  if (pointer == nullptr) throw ErrorAbout("argument", "null", name);
}

std::string TextOf(const char* text, size_t size, const char* name) {
  Require(text, name);
  if (size == QEL_NUL) return text;
  // The string would find out itself, but not before it has counted the pointer past all memory.
  if (size > std::string().max_size()) throw std::length_error(std::string(name) + " is too long");
  return {text, size};
}

std::optional<std::string> OptionalTextOf(const char* text, size_t size, const char* name) {
  if (text == nullptr) return std::nullopt;
  return TextOf(text, size, name);
}

void RefuseArgument(const char* name, const std::string& value) {
  throw tov_err::Error(With(ErrorAbout("argument", "unknown", name), "value", value));
}

TextOut::TextOut(char** text, size_t* size, const char* name)
    : m_text(text), m_size(size), m_name(name) {
  if (text != nullptr) *text = nullptr;
  if (size != nullptr) *size = 0;
}

void TextOut::Set(const std::string& text) const {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::copy(text.begin(), text.end(), copy.get());
  *m_text = copy.release();
  if (m_size != nullptr) *m_size = text.size();
}

const char* HandOut(const std::string& text, size_t* size) {
  return HandOutBytes(text.c_str(), text.size(), size);
}

}  // namespace bindings

using bindings::g_errors;
using bindings::HandOutBytes;
using bindings::TextOfError;
using bindings::TextOfParam;

void qel_text_free(char* text) noexcept {
  const std::unique_ptr<char[]> freed(text);
}

const char* qel_error_message(qel_error error, size_t* size) noexcept {
  const std::shared_ptr<const tov_err::Error> found = g_errors.Find(error);
  if (found == nullptr) return HandOutBytes("", 0, size);
  return HandOutBytes(found->what(), std::strlen(found->what()), size);
}

const char* qel_error_type(qel_error error, size_t* size) noexcept {
  return TextOfError(
      error, size, [](const tov_err::Error& found) -> const std::string& { return found.type(); });
}

const char* qel_error_object(qel_error error, size_t* size) noexcept {
  return TextOfError(error, size, [](const tov_err::Error& found) -> const std::string& {
    return found.object();
  });
}

size_t qel_error_param_count(qel_error error) noexcept {
  const std::shared_ptr<const tov_err::Error> found = g_errors.Find(error);
  return found == nullptr ? 0 : found->params().size();
}

const char* qel_error_param_name(qel_error error, size_t index, size_t* size) noexcept {
  return TextOfParam(error, index, &tov_err::Error::Param::name, size);
}

const char* qel_error_param_value(qel_error error, size_t index, size_t* size) noexcept {
  return TextOfParam(error, index, &tov_err::Error::Param::value, size);
}

qel_status qel_error_free(qel_error error) noexcept {
  return bindings::Free(g_errors, error);
}

const char* qel_status_text(qel_status status) noexcept {
  for (const bindings::StatusText& known : bindings::kStatusTexts) {
    if (known.status == status) return known.text;
  }
  return "unknown status";
}
