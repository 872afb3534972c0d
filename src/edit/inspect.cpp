// SPDX-License-Identifier: Apache-2.0

#include "edit/inspect.h"

#include <utility>

#include "document/meaning.h"
#include "edit/inspection.h"

namespace tov_edit {
namespace {

using tov_document::BlockId;
using tov_document::Document;
using tov_document::kWholeText;
using tov_document::NodeKind;
using tov_document::Span;
using tov_document::Word;

std::optional<std::size_t> PositionOf(BlockId block) {
  if (block == kWholeText) return std::nullopt;
  return block - 1;
}

std::size_t LastLine(const InspectedText& config, Span span) {
  return config.places.Of(span.end - 1).line;
}

// What blocks and directives have in common.
template <class Part>
Part PartOf(const InspectedText& config, Span bytes, const std::vector<Word>& words) {
  Part part;
  part.name = config.document.Value(words.front());
  for (std::size_t i = 1; i < words.size(); ++i) {
    part.arguments.push_back(config.document.Value(words[i]));
  }
  const tov_document::Place place = config.places.Of(bytes.begin);
  part.line = place.line;
  part.column = place.column;
  return part;
}

Inspection::Block BlockOf(const InspectedText& config, const Item& item) {
  const Document& document = config.document;
  const BlockId id = item.node.block;
  const tov_document::Block& block = document.blocks()[id];
  auto shown = PartOf<Inspection::Block>(config, block.head, document.HeadWords(id));
  if (!block.closing.empty()) shown.end_line = LastLine(config, block.closing);
  shown.parent = PositionOf(item.around);
  shown.depth = item.depth;
  shown.opaque = block.reading == tov_document::Body::kOpaque;
  shown.is_server = item.server;
  if (item.server) {
    shown.names = tov_document::ServerNames(document, id);
    shown.addresses = tov_document::ServerAddresses(document, id);
  }
  return shown;
}

Inspection::Directive DirectiveOf(const InspectedText& config, const Item& item) {
  const Span bytes = item.node.bytes;
  auto shown = PartOf<Inspection::Directive>(config, bytes, config.document.Words(bytes));
  shown.end_line = LastLine(config, bytes);
  shown.block = PositionOf(item.around);
  return shown;
}

}  // namespace

Inspection Inspect(Dialect dialect, std::string_view text, const std::string& name) {
  InspectedText config(dialect, text, name);
  Inspection inspection;
  ForEachItem(config.document, [&](const Item& item) {
    if (item.node.kind == NodeKind::kBlock) inspection.blocks.push_back(BlockOf(config, item));
    if (item.node.kind == NodeKind::kDirective) {
      inspection.directives.push_back(DirectiveOf(config, item));
    }
  });
  inspection.error = std::move(config.remarks.error);
  inspection.warnings = std::move(config.remarks.warnings);
  return inspection;
}

}  // namespace tov_edit
