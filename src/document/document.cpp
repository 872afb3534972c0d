// SPDX-License-Identifier: Apache-2.0

#include "document/document.h"

#include <limits>
#include <stdexcept>

#include "document/apache_scanner.h"
#include "document/nginx_scanner.h"
#include "document/reader.h"

namespace tov_document {

extern template class Reader<NginxScanner>;
extern template class Reader<ApacheScanner>;
extern template void Document::AddNodes<NginxScanner>(BlockId, std::vector<Node>&) const;
extern template void Document::AddNodes<ApacheScanner>(BlockId, std::vector<Node>&) const;
extern template void Document::VisitAll<NginxScanner>(const NodeVisitor&) const;
extern template void Document::VisitAll<ApacheScanner>(const NodeVisitor&) const;

// --- Reading ---

Document::Document(Dialect dialect, std::string_view text)
    : Document(dialect, text, Marks::kNoted) {}

Document::Document(Dialect dialect, std::string_view text, Marks marks)
    : m_dialect(dialect), m_text(text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("the text of a configuration has less than 4 GiB");
  }
  if (dialect == Dialect::kNginx) {
    Reader<NginxScanner>(*this, marks).Run();
  } else {
    Reader<ApacheScanner>(*this, marks).Run();
  }
}

// --- Looking into a block ---

std::vector<Node> Document::Nodes(BlockId block) const {
  constexpr std::size_t kMost = 16;  // as a rule
  const Block& read = m_blocks[block];
  std::vector<Node> nodes;
  nodes.reserve(kMost);
  if (read.reading == Body::kOpaque) {
    if (!read.body().empty()) nodes.push_back({NodeKind::kOpaque, read.body(), kWholeText});
  } else if (m_dialect == Dialect::kNginx) {
    AddNodes<NginxScanner>(block, nodes);
  } else {
    AddNodes<ApacheScanner>(block, nodes);
  }
  return nodes;
}

void Document::Visit(const NodeVisitor& visit) const {
  if (m_dialect == Dialect::kNginx) {
    VisitAll<NginxScanner>(visit);
  } else {
    VisitAll<ApacheScanner>(visit);
  }
}

std::vector<Mark> Document::Identifying(BlockId block) const {
  std::vector<Mark> found;
  ForEachIdentifying(block, [&found](const Mark& mark) { found.push_back(mark); });
  return found;
}

// --- Words ---

void Document::ReadWords(Span directive, std::vector<Word>& words) const {
  constexpr std::size_t kMost = 4;  // as a rule
  words.clear();
  words.reserve(kMost);
  if (m_dialect == Dialect::kNginx) {
    NginxWords(m_text, directive, words);
  } else {
    ApacheWords(m_text, directive, words);
  }
}

std::vector<Word> Document::Words(Span directive) const {
  std::vector<Word> words;
  ReadWords(directive, words);
  return words;
}

std::vector<Word> Document::Words(const Node& node) const {
  if (node.kind == NodeKind::kBlock) return HeadWords(node.block);
  return node.kind == NodeKind::kDirective ? Words(node.bytes) : std::vector<Word>();
}

std::vector<Word> Document::HeadWords(BlockId block) const {
  return block == kWholeText ? std::vector<Word>() : Words(m_blocks[block].head);
}

std::string Document::Value(const Word& word) const {
  return m_dialect == Dialect::kNginx ? NginxValue(m_text, word) : ApacheValue(m_text, word);
}

std::vector<std::string> Document::Values(const std::vector<Word>& words) const {
  std::vector<std::string> values;
  values.reserve(words.size());
  for (const Word& word : words) values.push_back(Value(word));
  return values;
}

// --- Errors ---

std::string Describe(const SyntaxError& error) {
  switch (error.problem) {
    case Problem::kNoDirective:
      return "there is no directive before this";
    case Problem::kBraceInDirective:
      return "this brace stands inside of a directive, which needs a \";\" before it";
    case Problem::kBraceInValues:
      return "there can be no block inside of this one";
    case Problem::kTextBehindQuote:
      return "a quoted word ends with its quote; a blank has to follow it";
    case Problem::kUnterminatedQuote:
      return "this quote does not close";
    case Problem::kNoSemicolon:
      return "this directive does not end: it needs a \";\"";
    case Problem::kTooLong:
      return "this is longer than the 4,096 bytes that nginx reads; a closing quote may be missing";
    case Problem::kUnclosedCode:
      return "the code of the block that begins here does not end";
    case Problem::kNoBracket:
      return "this line needs a \">\"";
    case Problem::kOtherClosing:
      return "this does not close the section that is open";
    case Problem::kTextBehindClosing:
      return "this does not close its section, since text follows it on the line";
    case Problem::kNulByte:
      return "this is a NUL byte, behind which httpd does not read the line";
    case Problem::kExtraClosing:
      return "nothing is open that this would close";
    case Problem::kUnclosedBlock:
      return "the block that begins here does not close";
  }
  return {};
}

}  // namespace tov_document
