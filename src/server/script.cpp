// SPDX-License-Identifier: Apache-2.0

#include "server/script.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "document/ascii.h"
#include "document/meaning.h"

namespace tov_server {
namespace {

using tov_document::Dialect;
using tov_document::Document;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Placed;
using tov_document::Word;

struct Named {
  std::string_view name;
  Role role;
};

constexpr Named kNginxDirectives[] = {
    {"include", Role::kInclude}, {"server_name", Role::kNames},
    {"listen", Role::kListen},   {"root", Role::kRoot},
    {"ssl", Role::kTls},         {"ssl_certificate", Role::kCertificate},
};

constexpr Named kNginxBlocks[] = {
    {"server", Role::kServer},
    {"http", Role::kProtocol},
    {"stream", Role::kProtocol},
    {"mail", Role::kProtocol},
    {"map", Role::kTable},
    {"types", Role::kTable},
    {"geo", Role::kGeo},
    {"split_clients", Role::kUnread},
    {"charset_map", Role::kUnread},
};

constexpr Named kApacheDirectives[] = {
    {"Include", Role::kInclude},
    {"IncludeOptional", Role::kIncludeOptional},
    {"Define", Role::kDefine},
    {"UnDefine", Role::kUnDefine},
    {"LoadModule", Role::kLoadModule},
    {"ServerRoot", Role::kServerRoot},
    {"ServerName", Role::kName},
    {"ServerAlias", Role::kNames},
    {"Listen", Role::kListen},
    {"DocumentRoot", Role::kRoot},
    {"SSLEngine", Role::kTls},
    {"SSLCertificateFile", Role::kCertificate},
    {"Use", Role::kUse},
    {"UndefMacro", Role::kUndefMacro},
};

constexpr Named kApacheBlocks[] = {
    {"VirtualHost", Role::kServer},    {"IfModule", Role::kIfModule},
    {"IfDefine", Role::kIfDefine},     {"IfVersion", Role::kIfVersion},
    {"IfFile", Role::kIfFile},         {"IfDirective", Role::kTransparent},
    {"IfSection", Role::kTransparent}, {"Macro", Role::kMacro},
};

template <std::size_t kSize>
Role Find(const Named (&all)[kSize], Dialect dialect, std::string_view name) {
  const auto found = std::find_if(std::begin(all), std::end(all), [&](const Named& each) {
    return tov_document::SameName(dialect, each.name, name);
  });
  return found == std::end(all) ? Role::kOther : found->role;
}

// Whether a directive that begins so may have a role: most have none.
bool MayMatter(Dialect dialect, char first) {
  constexpr std::string_view kFirst = "ilrs\"'\\";
  constexpr std::string_view kApacheFirst = "cdilsu\"'\\";
  const std::string_view known = dialect == Dialect::kNginx ? kFirst : kApacheFirst;
  return known.find(dialect == Dialect::kNginx ? first : tov_document::Lower(first)) !=
         std::string_view::npos;
}

class Writer {
 public:
  explicit Writer(const Document& document) : m_document(document) {}

  void Add(const Placed& placed) {
    CloseDownTo(placed.depth);
    if (placed.node.kind == NodeKind::kDirective) AddDirective(placed.node.bytes);
    if (placed.node.kind == NodeKind::kBlock) Open(placed.node);
  }

  std::vector<Step> Steps() && {
    CloseDownTo(0);
    return std::move(m_steps);
  }

 private:
  void CloseDownTo(std::size_t depth) {
    while (m_open.size() > depth) {
      Step& opening = m_steps[m_open.back()];
      opening.close = m_steps.size();
      Step step;
      step.kind = Step::Kind::kClose;
      step.role = opening.role;
      m_steps.push_back(std::move(step));
      m_open.pop_back();
    }
  }

  void AddDirective(tov_document::Span bytes) {
    const Dialect dialect = m_document.dialect();
    if (!MayMatter(dialect, m_document.text()[bytes.begin])) return;
    m_document.ReadWords(bytes, m_words);
    const std::string name = m_document.Value(m_words.front());
    const Role role = dialect == Dialect::kNginx ? Find(kNginxDirectives, dialect, name)
                                                 : Find(kApacheDirectives, dialect, name);
    if (role == Role::kOther) return;
    Step step;
    step.role = role;
    step.bytes = bytes;
    step.words = Values(m_words);
    m_steps.push_back(std::move(step));
  }

  void Open(const Node& node) {
    const Dialect dialect = m_document.dialect();
    const std::vector<Word> words = m_document.HeadWords(node.block);
    const std::string name = m_document.Value(words.front());
    Step step;
    step.kind = Step::Kind::kOpen;
    step.role = dialect == Dialect::kNginx ? Find(kNginxBlocks, dialect, name)
                                           : Find(kApacheBlocks, dialect, name);
    step.bytes = m_document.blocks()[node.block].head;
    step.body = m_document.blocks()[node.block].body();
    step.end = m_document.blocks()[node.block].closing.end;
    if (step.role != Role::kOther) step.words = Values(words);
    m_open.push_back(m_steps.size());
    m_steps.push_back(std::move(step));
  }

  std::vector<std::string> Values(const std::vector<Word>& words) const {
    std::vector<std::string> values;
    values.reserve(words.size());
    for (const Word& word : words) values.push_back(m_document.Value(word));
    return values;
  }

  const Document& m_document;
  std::vector<Step> m_steps;
  std::vector<std::size_t> m_open;  // which of the steps
  std::vector<Word> m_words;        // of the directive that is looked at
};

}  // namespace

std::vector<Step> StepsOf(const Document& document) {
  Writer writer(document);
  document.Visit([&writer](const Placed& placed) { writer.Add(placed); });
  return std::move(writer).Steps();
}

}  // namespace tov_server
