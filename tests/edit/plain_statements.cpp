// SPDX-License-Identifier: Apache-2.0

#include "edit/plain_statements.h"

#include <utility>

#include "document/apache/second_reader.h"
#include "document/nginx/plain_reader.h"

namespace edit_laws {
namespace {

using Kind = Statement::Kind;

// Puts statements into the blocks that are open.
class Nesting {
 public:
  void Add(Statement statement) {
    if (statement.kind == Kind::kClosing && !m_open.empty()) m_open.pop_back();
    statement.path = m_open;
    if (statement.kind == Kind::kOpening) m_open.push_back(statement.words);
    m_statements.push_back(std::move(statement));
  }

  std::vector<Statement> Take() { return std::move(m_statements); }

 private:
  std::vector<WordList> m_open;
  std::vector<Statement> m_statements;
};

template <class Words>
WordList ValuesOf(const Words& words) {
  WordList values;
  for (const auto& word : words) values.push_back(word.value);
  return values;
}

std::optional<std::vector<Statement>> StatementsOfNginx(const std::string& text) {
  using nginx_judge::What;
  const nginx_judge::Reading reading = nginx_judge::ReadPlainly(text);
  if (reading.error) return std::nullopt;
  Nesting nesting;
  for (const nginx_judge::Event& event : reading.events) {
    if (event.what == What::kComment) continue;
    const Kind kind = event.what == What::kOpen    ? Kind::kOpening
                      : event.what == What::kClose ? Kind::kClosing
                                                   : Kind::kDirective;
    nesting.Add({kind, event.begin, event.end, ValuesOf(event.words), {}});
  }
  return nesting.Take();
}

std::optional<std::vector<Statement>> StatementsOfApache(const std::string& text) {
  const second_reader::Reading reading = second_reader::Read(text);
  if (reading.refusal) return std::nullopt;
  Nesting nesting;
  for (const second_reader::Event& event : reading.events) {
    const Kind kind = event.kind == second_reader::Kind::kDirective ? Kind::kDirective
                      : event.kind == second_reader::Kind::kClose   ? Kind::kClosing
                                                                    : Kind::kOpening;
    nesting.Add({kind, event.bytes.begin, event.bytes.end, ValuesOf(event.words), {}});
  }
  return nesting.Take();
}

}  // namespace

std::optional<std::vector<Statement>> StatementsOf(tov_document::Dialect dialect,
                                                   const std::string& text) {
  return dialect == tov_document::Dialect::kNginx ? StatementsOfNginx(text)
                                                  : StatementsOfApache(text);
}

}  // namespace edit_laws
