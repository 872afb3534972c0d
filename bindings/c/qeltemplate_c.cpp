// SPDX-License-Identifier: Apache-2.0

#include "qeltemplate_c.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "parser.h"
#include "table.h"
#include "template/qeltemplate.h"

namespace {

using bindings::ErrorAbout;
using bindings::Parser;
using tov_template::NullValue;
using tov_template::Value;

bindings::Table<Parser> g_parsers;
bindings::Table<const tov_err::Error> g_errors;

// --- Errors ---

struct Status {
  qel_status status;
  const char* error_type;  // null: never comes with an error
  const char* text;
};

constexpr Status kStatuses[] = {
    {QEL_OK, nullptr, "ok"},
    {QEL_BAD_HANDLE, "handle", "no such handle"},
    {QEL_BAD_ARGUMENT, "argument", "a null pointer"},
    {QEL_BUSY, "parser", "the parser is busy"},
    {QEL_UNKNOWN_DIALECT, "dialect", "unknown dialect"},
    {QEL_TEMPLATE_ERROR, "template", "wrong template"},
    {QEL_FILE_ERROR, "file", "a file that cannot be read"},
    {QEL_NO_MEMORY, nullptr, "out of memory"},
    {QEL_FAILED, "failure", "failed"},
};

qel_status StatusOf(const tov_err::Error& error) {
  for (const Status& status : kStatuses) {
    if (status.error_type != nullptr && error.type() == status.error_type) return status.status;
  }
  return QEL_FAILED;
}

// Hands `error` to the caller, who gets no more than the status when there is no memory for it.
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

// Does `work`, and turns what it throws into a status and an error.
template <class Work>
qel_status Run(qel_error* error, const Work& work) noexcept {
  if (error != nullptr) *error = 0;
  try {
    work();
    return QEL_OK;
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

// --- Arguments ---

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

Value ValueOf(const char* text, size_t size) {
  if (text == nullptr) return NullValue();
  return TextOf(text, size, "value");
}

std::shared_ptr<Parser> Find(qel_parser handle) {
  std::shared_ptr<Parser> parser = g_parsers.Find(handle);
  if (parser == nullptr) throw ErrorAbout("handle", "unknown", "parser");
  return parser;
}

// Does `work` with the parser behind a handle.
template <class Work>
qel_status With(qel_parser parser, qel_error* error, const Work& work) noexcept {
  return Run(error, [&] { work(*Find(parser)); });
}

// --- Results ---

char* CopyOf(const std::string& text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::copy(text.begin(), text.end(), copy.get());
  return copy.release();
}

qel_status HandOut(qel_parser parser, std::string (Parser::*get)(), char** text, size_t* size,
                   qel_error* error) noexcept {
  if (text != nullptr) *text = nullptr;
  if (size != nullptr) *size = 0;
  return With(parser, error, [&](Parser& found) {
    Require(text, "text");
    const std::string result = (found.*get)();
    *text = CopyOf(result);
    if (size != nullptr) *size = result.size();
  });
}

const char* HandOut(const char* text, size_t text_size, size_t* size) {
  if (size != nullptr) *size = text_size;
  return text;
}

// What `get` says of the error behind `handle`. The text is the error's, not a copy.
template <class Get>
const char* TextOfError(qel_error handle, size_t* size, const Get& get) {
  const std::shared_ptr<const tov_err::Error> error = g_errors.Find(handle);
  if (error == nullptr) return HandOut("", 0, size);
  const std::string& text = get(*error);
  return HandOut(text.c_str(), text.size(), size);
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

qel_status qel_parser_new(const char* dialect, size_t dialect_size, const char* config,
                          size_t config_size, qel_parser* parser, qel_error* error) noexcept {
  if (parser != nullptr) *parser = 0;
  return Run(error, [&] {
    Require(parser, "parser");
    *parser = g_parsers.Add(std::make_shared<Parser>(TextOf(dialect, dialect_size, "dialect"),
                                                     TextOf(config, config_size, "config")));
  });
}

qel_status qel_parser_free(qel_parser parser) noexcept {
  return parser == 0 || g_parsers.Take(parser) != nullptr ? QEL_OK : QEL_BAD_HANDLE;
}

qel_status qel_parser_set_value(qel_parser parser, const char* name, size_t name_size,
                                const char* old_value, size_t old_size, const char* new_value,
                                size_t new_size, qel_error* error) noexcept {
  return With(parser, error, [&](Parser& found) {
    found.SetValue(TextOf(name, name_size, "name"), ValueOf(old_value, old_size),
                   ValueOf(new_value, new_size));
  });
}

qel_status qel_parser_merge_values(qel_parser parser, qel_parser other, qel_error* error) noexcept {
  return With(parser, error, [&](Parser& found) { found.MergeValues(*Find(other)); });
}

qel_status qel_parser_clear_values(qel_parser parser, qel_error* error) noexcept {
  return With(parser, error, [](Parser& found) { found.ClearValues(); });
}

qel_status qel_parser_set_template(qel_parser parser, const char* text, size_t size,
                                   qel_error* error) noexcept {
  return With(parser, error, [&](Parser& found) { found.SetTemplate(TextOf(text, size, "text")); });
}

qel_status qel_parser_set_template_file(qel_parser parser, const char* path, size_t path_size,
                                        qel_error* error) noexcept {
  return With(parser, error,
              [&](Parser& found) { found.SetTemplateFile(TextOf(path, path_size, "path")); });
}

qel_status qel_parser_apply(qel_parser parser, qel_error* error) noexcept {
  return With(parser, error, [](Parser& found) { found.Apply(); });
}

qel_status qel_parser_config(qel_parser parser, char** text, size_t* size,
                             qel_error* error) noexcept {
  return HandOut(parser, &Parser::Config, text, size, error);
}

qel_status qel_parser_prototype(qel_parser parser, char** text, size_t* size,
                                qel_error* error) noexcept {
  return HandOut(parser, &Parser::Prototype, text, size, error);
}

void qel_text_free(char* text) noexcept {
  const std::unique_ptr<char[]> freed(text);
}

const char* qel_error_message(qel_error error, size_t* size) noexcept {
  const std::shared_ptr<const tov_err::Error> found = g_errors.Find(error);
  if (found == nullptr) return HandOut("", 0, size);
  return HandOut(found->what(), std::strlen(found->what()), size);
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
  return error == 0 || g_errors.Take(error) != nullptr ? QEL_OK : QEL_BAD_HANDLE;
}

const char* qel_status_text(qel_status status) noexcept {
  for (const Status& known : kStatuses) {
    if (known.status == status) return known.text;
  }
  return "unknown status";
}

qel_status qel_log_set_handler(qel_log_handler handler, void* context,
                               void (*release)(void* context), qel_error* error) noexcept {
  return Run(error, [&] {
    const auto release_it = [release](void* held) {
      if (release != nullptr) release(held);
    };
    const std::shared_ptr<void> held(context, release_it);
    if (handler == nullptr) return tov_log::SetHandler({});
    tov_log::SetHandler([handler, held](tov_log::Level level, const std::string& module,
                                        const std::string& channel, const std::string& text) {
      handler(held.get(), level, module.c_str(), channel.c_str(), text.c_str(), text.size());
    });
  });
}

qel_status qel_log_set_level(int level) noexcept {
  return Run(nullptr, [&] { tov_log::SetLevel(level); });
}
