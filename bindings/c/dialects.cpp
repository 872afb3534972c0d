// SPDX-License-Identifier: Apache-2.0

#include "dialects.h"

#include <optional>

#include "calls.h"
#include "parser.h"

namespace bindings {

namespace {

constexpr char kKnown[] = "apache, nginx";

}  // namespace

tov_document::Dialect KnownDialect(const std::string& name) {
  const std::optional<tov_document::Dialect> dialect = tov_document::DialectNamed(name);
  if (dialect) return *dialect;
  throw tov_err::Error(With(ErrorAbout("dialect", "unknown", name), "known", kKnown));
}

tov_document::Dialect GuessedDialect(const std::string& text) {
  const std::optional<tov_document::Dialect> dialect = tov_document::GuessDialect(text);
  if (dialect) return *dialect;
  throw tov_err::Error(With({"dialect", "unknown"}, "known", kKnown));
}

std::string EngineName(tov_document::Dialect dialect) {
  return dialect == tov_document::Dialect::kNginx ? "Nginx" : "Apache";
}

}  // namespace bindings

const char* qel_guess_dialect(const char* text, size_t size) noexcept {
  const char* guessed = nullptr;
  bindings::Run(nullptr, [&] {
    const auto dialect = tov_document::GuessDialect(bindings::TextOf(text, size, "text"));
    if (dialect) guessed = NameOf(*dialect);
  });
  return guessed;
}
