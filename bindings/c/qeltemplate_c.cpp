// SPDX-License-Identifier: Apache-2.0

// The version, the engine and the log.

#include "qeltemplate_c.h"

#include <memory>
#include <string>

#include "calls.h"
#include "dialects.h"
#include "parser.h"
#include "table.h"

namespace {

using bindings::Parser;
using bindings::Run;
using bindings::TextOf;
using tov_template::NullValue;
using tov_template::Value;

bindings::Table<Parser> g_parsers;

Value ValueOf(const char* text, size_t size) {
  if (text == nullptr) return NullValue();
  return TextOf(text, size, "value");
}

std::shared_ptr<Parser> Find(qel_parser handle) {
  return bindings::Find(g_parsers, handle, "parser");
}

// Does `work` with the parser behind a handle.
template <class Work>
qel_status With(qel_parser parser, qel_error* error, const Work& work) noexcept {
  return Run(error, [&] { work(*Find(parser)); });
}

qel_status HandOut(qel_parser parser, std::string (Parser::*get)(), char** text, size_t* size,
                   qel_error* error) noexcept {
  const bindings::TextOut out(text, size, "text");
  return With(parser, error, [&](Parser& found) {
    out.Require();
    out.Set((found.*get)());
  });
}

}  // namespace

const char* qel_version() noexcept {
  return QELTEMPLATE_VERSION;
}

qel_status qel_parser_new(const char* dialect, size_t dialect_size, const char* config,
                          size_t config_size, qel_parser* parser, qel_error* error) noexcept {
  if (parser != nullptr) *parser = 0;
  return Run(error, [&] {
    bindings::Require(parser, "parser");
    const std::string name = TextOf(dialect, dialect_size, "dialect");
    *parser = g_parsers.Add(std::make_shared<Parser>(
        bindings::EngineName(bindings::KnownDialect(name)), TextOf(config, config_size, "config")));
  });
}

qel_status qel_parser_free(qel_parser parser) noexcept {
  return bindings::Free(g_parsers, parser);
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
