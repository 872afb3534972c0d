// SPDX-License-Identifier: Apache-2.0

#include "report/inspection_json.h"

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"
#include "report/json.h"
#include "report/json_writer.h"

namespace report {
namespace {

using tov_document::Block;
using tov_document::BlockId;
using tov_document::Document;
using tov_document::kWholeText;
using tov_document::NodeKind;
using tov_document::Span;
using tov_document::Word;
using tov_edit::ForEachItem;
using tov_edit::InspectedText;
using tov_edit::Item;

// The blocks and directives of a text. Written as they come: to keep them until all is known takes
// several times the memory of what is written.
class Members {
 public:
  explicit Members(const InspectedText& config, JsonWriter& json)
      : m_config(config), m_json(json), m_identities(config.document) {}

  void AddBlock(const Item& item) {
    const Document& document = m_config.document;
    const BlockId id = item.node.block;
    const Block& block = document.blocks()[id];
    Begin(block.head);
    if (!block.closing.empty()) m_json.Member("end_line", LineOf(block.closing.end - 1));
    AddBlockAround("parent", item.around);
    m_json.Member("depth", item.depth);
    if (block.reading == tov_document::Body::kOpaque) m_json.Member("opaque", true);
    if (item.server) {
      m_json.Name("server");
      m_json.Begin('{');
      const auto add = [this](std::string_view text) { m_json.Value(text); };
      m_json.Name("names");
      m_json.Begin('[');
      m_identities.ForEachName(id, add);
      m_json.End(']');
      m_json.Name("addresses");
      m_json.Begin('[');
      m_identities.ForEachAddress(id, add);
      m_json.End(']');
      m_json.End('}');
    }
    m_json.End('}');
  }

  void AddDirective(const Item& item) {
    const Span bytes = item.node.bytes;
    Begin(bytes);
    m_json.Member("end_line", LineOf(bytes.empty() ? bytes.begin : bytes.end - 1));
    AddBlockAround("block", item.around);
    m_json.End('}');
  }

 private:
  // What blocks and directives have in common; `words` is the head or the directive.
  void Begin(Span words) {
    m_config.document.ReadWords(words, m_words);
    m_json.Begin('{');
    m_json.Name("name");
    AddValue(m_words.front());
    m_json.Name("arguments");
    m_json.Begin('[');
    for (std::size_t i = 1; i < m_words.size(); ++i) AddValue(m_words[i]);
    m_json.End(']');
    m_line = LineOf(words.begin);
    m_json.Member("line", m_line);
    m_json.Member("column", m_config.places.ColumnIn(m_line, words.begin));
  }

  void AddValue(const Word& word) {
    const Document& document = m_config.document;
    if (word.as_written) {
      m_json.Value(document.Bytes(word.inner));
    } else {
      m_json.Value(document.Value(word));
    }
  }

  void AddBlockAround(const char* name, BlockId block) {
    if (block != kWholeText) m_json.Member(name, block - 1);
  }

  std::size_t LineOf(std::uint32_t offset) const {
    return m_config.places.LineFrom(m_line, offset);
  }

  const InspectedText& m_config;
  JsonWriter& m_json;
  tov_document::Identities m_identities;
  std::vector<Word> m_words;
  std::size_t m_line = 1;  // of the last head or directive
};

}  // namespace

void WriteInspection(const tov_edit::InspectedText& config, JsonWriter& json) {
  Members members(config, json);
  json.Member("config", config.file);
  json.Member("dialect", std::string_view(NameOf(config.document.dialect())));
  json.Name("blocks");
  json.Begin('[');
  ForEachItem(config.document, [&members](const Item& item) {
    if (item.node.kind == NodeKind::kBlock) members.AddBlock(item);
  });
  json.End(']');
  json.Name("directives");
  json.Begin('[');
  ForEachItem(config.document, [&members](const Item& item) {
    if (item.node.kind == NodeKind::kDirective) members.AddDirective(item);
  });
  json.End(']');
  json.Name("warnings");
  Write(json, config.remarks.warnings);
  if (config.remarks.error) {
    json.Name("error");
    Write(json, *config.remarks.error);
  }
}

void WriteInspectionJson(const tov_edit::InspectedText& config,
                         const JsonWriter::WritePiece& write) {
  JsonWriter json(write);
  json.Begin('{');
  WriteInspection(config, json);
  json.End('}');
  write(std::move(json).Text());
}

}  // namespace report
