// SPDX-License-Identifier: Apache-2.0

#include "document/apache/document_events.h"

#include <optional>
#include <string_view>

namespace {

using second_reader::Event;
using second_reader::Kind;
using second_reader::Range;
using second_reader::Reading;
using second_reader::Reason;
using tov_document::Block;
using tov_document::BlockId;
using tov_document::Body;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Problem;
using tov_document::Span;
using tov_document::SyntaxError;

Range RangeOf(Span span) {
  return {span.begin, span.end};
}

std::vector<second_reader::Word> WordsOf(const Document& document,
                                         const std::vector<tov_document::Word>& written) {
  std::vector<second_reader::Word> words;
  words.reserve(written.size());
  for (const tov_document::Word& word : written) {
    words.push_back({RangeOf(word.bytes), document.Value(word)});
  }
  return words;
}

void AddEvents(const Document& document, BlockId inside, std::vector<Event>& events) {
  for (const Node& node : document.Nodes(inside)) {
    if (node.kind == NodeKind::kDirective) {
      events.push_back(
          {Kind::kDirective, RangeOf(node.bytes), WordsOf(document, document.Words(node))});
    }
    if (node.kind != NodeKind::kBlock) continue;
    const Block& block = document.blocks()[node.block];
    events.push_back({block.reading == Body::kOpaque ? Kind::kOpenRaw : Kind::kOpen,
                      RangeOf(block.head), WordsOf(document, document.HeadWords(node.block))});
    AddEvents(document, node.block, events);
    if (!block.closing.empty()) events.push_back({Kind::kClose, RangeOf(block.closing), {}});
  }
}

std::string Fault(const char* what, Span bytes) {
  return std::string(what) + " at " + std::to_string(bytes.begin) + "-" + std::to_string(bytes.end);
}

std::string TilingFaultIn(const Document& document, BlockId inside) {
  const Block& outer = document.blocks()[inside];
  Span rest = outer.body();
  for (const Node& node : document.Nodes(inside)) {
    if (node.bytes.begin != rest.begin || node.bytes.empty()) return Fault("node", node.bytes);
    rest.begin = node.bytes.end;
    if (node.kind != NodeKind::kBlock) continue;
    const Block& block = document.blocks()[node.block];
    if (block.head.begin != node.bytes.begin || block.head.end > block.closing.begin ||
        block.closing.end != node.bytes.end) {
      return Fault("block", node.bytes);
    }
    const std::string fault = TilingFaultIn(document, node.block);
    if (!fault.empty()) return fault;
  }
  return rest.empty() ? "" : Fault("no node", rest);
}

bool SameReason(Problem problem, Reason reason) {
  switch (reason) {
    case Reason::kNoBracket:
      return problem == Problem::kNoBracket;
    case Reason::kExtraClosing:
      return problem == Problem::kExtraClosing;
    case Reason::kOtherClosing:
      return problem == Problem::kOtherClosing;
    case Reason::kNotTheConditions:
      // httpd does not say what is wrong with the line.
      return problem == Problem::kOtherClosing || problem == Problem::kNoBracket ||
             problem == Problem::kTextBehindClosing;
    case Reason::kUnclosed:
      return problem == Problem::kUnclosedBlock;
    case Reason::kUnclosedRaw:
      return problem == Problem::kUnclosedCode;
    case Reason::kNulByte:
      return problem == Problem::kNulByte;
  }
  return false;
}

bool SameRefusal(const std::optional<SyntaxError>& error,
                 const std::optional<second_reader::Refusal>& refusal) {
  if (!error || !refusal) return !error && !refusal;
  return SameReason(error->problem, refusal->reason) && error->at >= refusal->line.begin &&
         error->at < refusal->line.end;
}

std::string Show(const Document& document) {
  if (!document.error()) return "reads\n" + second_reader::Show(EventsOf(document));
  return tov_document::Describe(*document.error()) + ", at " +
         std::to_string(document.error()->at) + "\n";
}

std::string Show(const Reading& reading) {
  if (!reading.refusal) return "reads\n" + second_reader::Show(reading.events);
  return second_reader::Show(*reading.refusal) + "\n";
}

}  // namespace

std::vector<Event> EventsOf(const Document& document) {
  std::vector<Event> events;
  AddEvents(document, tov_document::kWholeText, events);
  return events;
}

std::string TilingFault(const Document& document) {
  return TilingFaultIn(document, tov_document::kWholeText);
}

std::string Difference(const std::string& text) {
  const Document document(Dialect::kApache, text);
  const std::string fault = TilingFault(document);
  if (!fault.empty()) return text + "\nnodes are not the text: " + fault + "\n";
  const Reading reading = second_reader::Read(text);
  if (SameRefusal(document.error(), reading.refusal) &&
      (reading.refusal || EventsOf(document) == reading.events)) {
    return "";
  }
  return text + "\nsecond reader: " + Show(reading) + "document: " + Show(document);
}
