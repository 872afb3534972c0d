// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/reading.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

namespace nginx_judge {

using tov_document::Block;
using tov_document::BlockId;
using tov_document::Body;
using tov_document::Document;
using tov_document::kWholeText;
using tov_document::Mark;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Span;
using tov_document::Word;

bool ReadWord::operator==(const ReadWord& other) const {
  return begin == other.begin && end == other.end && quote == other.quote && value == other.value;
}

bool Event::operator==(const Event& other) const {
  return what == other.what && begin == other.begin && end == other.end && words == other.words;
}

bool Reading::operator==(const Reading& other) const {
  if (error.has_value() != other.error.has_value() || events != other.events) return false;
  return !error || (error->problem == other.error->problem && error->at == other.error->at &&
                    error->opened == other.error->opened);
}

std::string Show(const Reading& reading) {
  const char* const names[] = {"open", "directive", "close", "comment"};
  std::string shown;
  for (const Event& event : reading.events) {
    shown += std::to_string(event.begin) + "-" + std::to_string(event.end) + " " +
             names[static_cast<int>(event.what)];
    for (const ReadWord& word : event.words) {
      shown += " " + std::to_string(word.begin) + "-" + std::to_string(word.end) + "[" +
               word.value + "]";
    }
    shown += "\n";
  }
  if (!reading.error) return shown + "no error";
  const auto& opened = reading.error->opened;
  return shown + std::to_string(reading.error->at) + " error: " + Describe(*reading.error) +
         (opened ? ", opened at " + std::to_string(*opened) : "");
}

namespace {

std::vector<ReadWord> WordsOf(const Document& document, const std::vector<Word>& words) {
  std::vector<ReadWord> read;
  read.reserve(words.size());
  for (const Word& word : words) {
    read.push_back({word.bytes.begin, word.bytes.end, word.quote, document.Value(word)});
  }
  return read;
}

class TreeWalk {
 public:
  explicit TreeWalk(const Document& document) : m_document(document) {}

  std::vector<Event> Events() {
    Enter(kWholeText);
    return std::move(m_events);
  }

 private:
  void Enter(BlockId block) {
    for (const Node& node : m_document.Nodes(block)) Add(node);
  }

  void Add(const Node& node) {
    switch (node.kind) {
      case NodeKind::kDirective:
        AddEvent(What::kDirective, node.bytes, WordsOf(m_document, m_document.Words(node)));
        break;
      case NodeKind::kBlock:
        AddBlock(node.block);
        break;
      case NodeKind::kComment:
        AddEvent(What::kComment, node.bytes, {});
        break;
      case NodeKind::kBlank:
      case NodeKind::kOpaque:
        break;
    }
  }

  void AddBlock(BlockId id) {
    const Block& block = m_document.blocks().at(id);
    AddEvent(What::kOpen, block.head, WordsOf(m_document, m_document.HeadWords(id)));
    Enter(id);
    if (!block.closing.empty()) AddEvent(What::kClose, block.closing, {});
  }

  void AddEvent(What what, Span bytes, std::vector<ReadWord> words) {
    m_events.push_back({what, bytes.begin, bytes.end, std::move(words)});
  }

  const Document& m_document;
  std::vector<Event> m_events;
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string At(const Node& node, const std::string& what) {
  return "the node at " + std::to_string(node.bytes.begin) + " " + what;
}

// "" when the node is in itself as it should be.
std::string Flaw(const Document& document, const Node& node) {
  const std::string_view bytes = document.Bytes(node.bytes);
  if (bytes.empty()) return At(node, "is empty");
  switch (node.kind) {
    case NodeKind::kBlank:
      return std::all_of(bytes.begin(), bytes.end(), IsBlank) ? "" : At(node, "is not blank");
    case NodeKind::kComment:
      return bytes.front() == '#' ? "" : At(node, "is no comment");
    case NodeKind::kDirective:
      return bytes.back() == ';' ? "" : At(node, "has no end");
    case NodeKind::kBlock:
      break;
    case NodeKind::kOpaque:
      return "";
  }
  const Block& block = document.blocks().at(node.block);
  const bool tiled = block.head.begin == node.bytes.begin &&
                     block.head.end <= block.closing.begin && block.closing.end == node.bytes.end;
  return tiled ? "" : At(node, "is not head, body and closing");
}

std::string GapsOf(const Document& document, BlockId id) {
  const Block& block = document.blocks()[id];
  std::uint32_t end = block.body().begin;
  bool blank = false;
  for (const Node& node : document.Nodes(id)) {
    if (node.bytes.begin != end) return At(node, "does not follow the one before");
    if (blank && node.kind == NodeKind::kBlank) return At(node, "is a second blank");
    if (std::string flaw = Flaw(document, node); !flaw.empty()) return flaw;
    end = node.bytes.end;
    blank = node.kind == NodeKind::kBlank;
  }
  if (end != block.body().end) return "the nodes of block " + std::to_string(id) + " end too early";
  return "";
}

std::string Show(const Mark& mark) {
  return std::to_string(mark.directive.begin) + (mark.names ? " names" : " address") +
         " of block " + std::to_string(mark.block) + "; ";
}

std::optional<Mark> MarkOf(const Document& document, BlockId block, const Node& node) {
  if (document.blocks()[block].reading == Body::kValues) return std::nullopt;  // nothing is meant
  if (node.kind != NodeKind::kDirective) return std::nullopt;
  const std::string name = document.Value(document.Words(node).front());
  if (name != "server_name" && name != "listen") return std::nullopt;
  return Mark{node.bytes, block, name == "server_name"};
}

std::string Gaps(const Document& document) {
  const Span whole = document.blocks().at(kWholeText).body();
  if (whole.begin != 0 || whole.end != document.text().size()) return "the body is not the text";
  for (BlockId id = kWholeText; id < document.blocks().size(); ++id) {
    if (std::string gaps = GapsOf(document, id); !gaps.empty()) return gaps;
  }
  return "";
}

std::string MarksDifference(const Document& document) {
  for (BlockId id = kWholeText; id < document.blocks().size(); ++id) {
    std::string expected;
    for (const Node& node : document.Nodes(id)) {
      if (const auto mark = MarkOf(document, id, node)) expected += Show(*mark);
    }
    std::string found;
    for (const Mark& mark : document.Identifying(id)) found += Show(mark);
    if (found != expected) return "identified by " + found + "instead of " + expected;
  }
  return "";
}

}  // namespace

Reading ReadingOf(const Document& document) {
  return {TreeWalk(document).Events(), document.error()};
}

std::string Difference(const Document& document, const Reading& expected) {
  const Reading reading = ReadingOf(document);
  if (reading == expected) {
    std::string gaps = Gaps(document);
    return gaps.empty() ? MarksDifference(document) : gaps;
  }
  const std::string read = Show(reading);
  const std::string instead = Show(expected);
  const auto apart = std::mismatch(read.begin(), read.end(), instead.begin(), instead.end());
  return "read as ..." + std::string(apart.first, read.end()).substr(0, 500) + "\ninstead of ..." +
         std::string(apart.second, instead.end()).substr(0, 500);
}

std::string ShowText(std::string_view text) {
  std::string shown;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t end = std::min(text.find_first_not_of(text[i], i), text.size());
    const bool run = end - i > 20;
    shown += text.substr(i, run ? 1 : end - i);
    if (run) shown += "<" + std::to_string(end - i) + " times>";
    i = end;
  }
  return shown;
}

}  // namespace nginx_judge
