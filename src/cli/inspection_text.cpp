// SPDX-License-Identifier: Apache-2.0

#include "cli/inspection_text.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"

namespace cli {
namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::NodeKind;
using tov_document::Span;
using tov_edit::ForEachItem;
using tov_edit::InspectedText;
using tov_edit::Item;
using tov_edit::OneLine;
using tov_edit::PlainLine;

std::size_t LineAt(const InspectedText& config, std::uint32_t offset) {
  return config.places.Of(offset).line;
}

std::size_t FirstLine(const InspectedText& config, Span span) {
  return LineAt(config, span.begin);
}

std::size_t LastLine(const InspectedText& config, Span span) {
  return LineAt(config, span.empty() ? span.begin : span.end - 1);
}

constexpr std::size_t kMost = 100;  // bytes of a line, or of a part of it

// `text` in one line of a terminal or two.
std::string Cut(const std::string& text) {
  if (text.size() <= kMost) return Printable(text);
  std::size_t end = kMost;
  while ((static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U && end > 0) --end;
  return Printable(std::string_view(text).substr(0, end)) + "...";
}

// The same, behind `line`.
void AddCut(const std::string& text, std::string& line) {
  const bool plain = text.size() <= kMost && std::all_of(text.begin(), text.end(), [](char byte) {
                       return byte >= ' ' && byte <= '~';
                     });
  plain ? line.append(text) : line.append(Cut(text));
}

// The names and addresses of servers, as they stand behind their blocks.
class Servers {
 public:
  explicit Servers(const Document& document) : m_identities(document) {}

  // "  = a.example www.a.example on *:80", or what there is of it.
  void AddIdentity(BlockId block, std::string& text) {
    m_names.clear();
    m_addresses.clear();
    m_identities.ForEachName(block, [this](std::string_view name) { Add(name, m_names); });
    m_identities.ForEachAddress(block,
                                [this](std::string_view address) { Add(address, m_addresses); });
    if (m_names.empty() && m_addresses.empty()) return;
    AddCut(m_names, text += "  =");
    if (!m_addresses.empty()) AddCut(m_addresses, text += " on");
  }

 private:
  static void Add(std::string_view word, std::string& words) {
    (words += ' ').append(word.empty() ? std::string_view("\"\"") : word);
  }

  tov_document::Identities m_identities;
  std::string m_names;
  std::string m_addresses;
};

// "(lines 6 to 9: Lua, which is not looked into)".
std::string Unread(const InspectedText& config, const Item& item) {
  const Document& document = config.document;
  const std::size_t first = FirstLine(config, item.node.bytes);
  const std::size_t last = LastLine(config, item.node.bytes);
  std::string lines = "line " + std::to_string(first);
  if (last != first) lines = "lines " + std::to_string(first) + " to " + std::to_string(last);
  if (document.blocks()[item.around].reading != tov_document::Body::kOpaque) {
    return '(' + lines + ": not read)";
  }
  const std::string section = document.Value(document.HeadWords(item.around).front());
  const bool nginx = document.dialect() == Dialect::kNginx;
  return '(' + lines + ": " + (nginx ? "Lua" : Cut(section)) + ", which is not looked into)";
}

// Whether `item` is a comment behind `before`, on the same line.
bool IsBehind(const InspectedText& config, const Item& before, const Item& item) {
  if (item.node.kind != NodeKind::kComment) return false;
  Span span = before.node.bytes;
  if (before.node.kind == NodeKind::kBlock && before.node.block == item.around) {
    span = config.document.blocks()[item.around].head;
  } else if (before.around != item.around) {
    return false;
  }
  return LastLine(config, span) == FirstLine(config, item.node.bytes);
}

std::size_t DigitsOf(std::size_t number) {
  return std::to_string(number).size();
}

// Those of the line of the last item. Behind it only ends of blocks may follow, and it is rarely
// far behind the last block's begin: then the items need not be looked at.
std::size_t DigitsOfLines(const InspectedText& config) {
  const std::size_t most = DigitsOf(config.places.Lines());
  std::size_t line = LineAt(config, config.document.blocks().back().head.begin);
  if (DigitsOf(line) == most) return most;
  ForEachItem(config.document, [&](const Item& item) {
    line = config.places.LineFrom(line, item.node.bytes.begin);
  });
  return DigitsOf(line);
}

// The items of a text, each in a line of its own, but for comments behind others. `digits` are
// those of the last line's number.
class Tree {
 public:
  Tree(const InspectedText& config, const Notes& notes, bool coloured, std::size_t digits,
       const WritePiece& write)
      : m_config(config),
        m_notes(notes),
        m_coloured(coloured),
        m_digits(digits),
        m_write(write),
        m_place('\n' + Printable(config.file) + ':'),
        m_number(m_place.size()),
        m_servers(config.document) {
    m_place.resize(m_number + digits + 2 + 2 * kDeepest);
  }

  void Add(const Item& item) {
    m_line = m_config.places.LineFrom(m_line, item.node.bytes.begin);
    if (m_before && IsBehind(m_config, *m_before, item)) {
      m_text += "  ";
    } else {
      AddPlace(item.depth);
    }
    Describe(item);
    if (!m_notes.empty() && item.node.kind == NodeKind::kDirective) AddNote(item);
    m_before = item;
    if (m_text.size() < kPiece) return;
    m_write(m_text);
    m_text.clear();
  }

  void End() {
    if (m_before) m_text += '\n';
    m_write(m_text);
  }

 private:
  static constexpr std::size_t kPiece = 1 << 16;  // stays in the processor's cache
  static constexpr std::size_t kDeepest = 40;     // deeper blocks stand below each other

  // In a line of its own.
  void AddPlace(std::size_t depth) {
    char* const begin = m_place.data() + m_number;
    char* const end = begin + m_digits + 2 + 2 * std::min(depth, kDeepest);
    char* const colon = std::to_chars(begin, begin + m_digits, m_line).ptr;
    *colon = ':';
    std::fill(colon + 1, end, ' ');
    const char* const line = m_place.data() + (m_before ? 0 : 1);
    m_text.append(line, static_cast<std::size_t>(end - line));
  }

  void AddNote(const Item& item) {
    const auto note = m_notes.find(item.node.bytes.begin);
    if (note != m_notes.end()) (m_text += "  ") += Cut(note->second);
  }

  void Describe(const Item& item) {
    if (item.node.kind == NodeKind::kOpaque) {
      m_text += Unread(m_config, item);
      return;
    }
    const std::string_view plain = PlainLine(m_config.document, item.node);
    const bool bold = m_coloured && item.node.kind == NodeKind::kBlock;
    if (!plain.empty() && !bold) {
      m_text += plain;
    } else {
      m_text += Bold(Cut(OneLine(m_config.document, item.node)), bold);
    }
    if (item.server) m_servers.AddIdentity(item.node.block, m_text);
  }

  const InspectedText& m_config;
  const Notes& m_notes;
  const bool m_coloured;
  const std::size_t m_digits;
  const WritePiece& m_write;
  std::string m_place;         // "\nFILE:LINE:" of the last place, and blanks
  const std::size_t m_number;  // where the line stands there
  Servers m_servers;
  std::size_t m_line = 1;
  std::optional<Item> m_before;
  std::string m_text;
};

}  // namespace

void WriteTree(const InspectedText& config, const Notes& notes, bool coloured,
               const WritePiece& write) {
  Tree tree(config, notes, coloured, DigitsOfLines(config), write);
  ForEachItem(config.document, [&tree](const Item& item) { tree.Add(item); });
  tree.End();
}

}  // namespace cli
