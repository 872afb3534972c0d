// SPDX-License-Identifier: Apache-2.0

#include "adopt/lines.h"

#include <algorithm>
#include <set>
#include <utility>

#include "document/meaning.h"
#include "edit/tree/quoting.h"

namespace tov_adopt {
namespace {

using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Word;

class Reader {
 public:
  Reader(const Document& document, const std::vector<BlockId>& site)
      : m_document(document), m_site(site.begin(), site.end()) {
    for (const BlockId block : site) {
      for (BlockId around = block; around != tov_document::kWholeText;) {
        around = m_document.blocks()[around].parent;
        m_around.insert(around);
      }
    }
  }

  Lines Read() {
    Enter(tov_document::kWholeText, kNone, m_site.count(tov_document::kWholeText) != 0);
    while (!m_open.empty()) {
      Frame& frame = m_open.back();
      if (frame.next == frame.nodes.size()) {
        Leave();
      } else {
        Take(frame.nodes[frame.next++], frame.line, frame.inside);
      }
    }
    return std::move(m_lines);
  }

 private:
  // A block that is being read.
  struct Frame {
    std::vector<Node> nodes;
    std::size_t next = 0;
    std::size_t line = kNone;  // the innermost block of the template around
    bool opens = false;        // `line` is the block's own
    bool inside = false;       // of the site
  };

  void Enter(BlockId block, std::size_t line, bool inside) {
    Frame frame;
    frame.nodes = m_document.Nodes(block);
    frame.line = line;
    frame.inside = inside;
    m_open.push_back(std::move(frame));
  }

  void Leave() {
    if (m_open.back().opens) m_lines.all[m_open.back().line].behind = m_lines.all.size();
    m_open.pop_back();
  }

  void Take(const Node& node, std::size_t parent, bool inside) {
    switch (node.kind) {
      case NodeKind::kBlank:
        return;
      case NodeKind::kOpaque:
        if (inside) m_lines.unreadable.push_back({node.bytes, kOtherLanguage});
        return;
      case NodeKind::kBlock:
        TakeBlock(node, parent, inside);
        return;
      case NodeKind::kComment:
      case NodeKind::kDirective:
        if (inside) Add(node, parent, false);
        return;
    }
  }

  void TakeBlock(const Node& node, std::size_t parent, bool inside) {
    const bool of_site = inside || m_site.count(node.block) != 0;
    const bool around = m_around.count(node.block) != 0;
    if (!of_site && !around) return;
    if (of_site && m_document.blocks()[node.block].reading == tov_document::Body::kOpaque) {
      m_lines.unreadable.push_back({m_document.blocks()[node.block].head, kOtherLanguage});
      return;
    }
    const std::string name = m_document.Value(m_document.HeadWords(node.block).front());
    const bool nginx = m_document.dialect() == Dialect::kNginx;
    const bool may_be_left_out =
        nginx ? name == "http" : tov_document::IsCondition(Dialect::kApache, name);
    if (!of_site && may_be_left_out) {
      Enter(node.block, parent, false);
      return;
    }
    const std::size_t line = Add(node, parent, !of_site);
    if (line == kNone) return;
    m_lines.all[line].is_server = tov_document::IsServer(m_document.dialect(), name);
    Enter(node.block, line, of_site);
    m_open.back().opens = true;
  }

  // The number of the new line; kNone: it cannot be one.
  std::size_t Add(const Node& node, std::size_t parent, bool around) {
    Line line;
    line.bytes = node.bytes;
    line.parent = parent;
    line.depth = parent == kNone ? 0 : m_lines.all[parent].depth + 1;
    line.around = around;
    if (node.kind == NodeKind::kComment) {
      line.kind = Line::Kind::kComment;
      if (m_document.Bytes(node.bytes).find('\n') != std::string_view::npos) return kNone;
      line.words.push_back(CommentWord(node.bytes));
    } else {
      if (node.kind == NodeKind::kBlock) {
        line.kind = Line::Kind::kBlock;
        line.block = node.block;
        line.bytes = m_document.blocks()[node.block].head;
      }
      for (const Word& word : m_document.Words(node)) line.words.push_back(WordOf(word));
      const bool odd = std::any_of(line.words.begin(), line.words.end(), [&](const LineWord& word) {
        return tov_edit::HoldsUnwritable(m_document.dialect(), word.value);
      });
      if (odd) {
        m_lines.unreadable.push_back({line.bytes, "a word of it holds a control byte"});
        return kNone;
      }
    }
    m_lines.all.push_back(std::move(line));
    m_lines.all.back().behind = m_lines.all.size();
    return m_lines.all.size() - 1;
  }

  LineWord WordOf(const Word& word) const {
    LineWord made;
    made.bytes = word.bytes;
    made.inner = word.inner;
    made.quote = word.quote;
    made.written = OnOneLine(m_document.dialect(), m_document.Bytes(word.inner));
    made.value = m_document.Value(word);
    made.plain = word.as_written && made.value.find('\n') == std::string::npos;
    return made;
  }

  LineWord CommentWord(Span bytes) const {
    std::string_view text = m_document.Bytes(bytes);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
      text.remove_suffix(1);
    }
    bytes.end = bytes.begin + static_cast<std::uint32_t>(text.size());
    LineWord word;
    word.bytes = word.inner = bytes;
    word.value = word.written = text;
    return word;
  }

  static constexpr char kOtherLanguage[] = "it is code in another language";

  const Document& m_document;
  const std::set<BlockId> m_site;
  std::set<BlockId> m_around;
  std::vector<Frame> m_open;
  Lines m_lines;
};

}  // namespace

Lines ReadLines(const Document& document, const std::vector<BlockId>& site) {
  return Reader(document, site).Read();
}

std::string OnOneLine(Dialect dialect, std::string_view source) {
  std::string line;
  for (std::size_t i = 0; i < source.size(); ++i) {
    const char byte = source[i];
    if (dialect == Dialect::kNginx) {
      // Between quotes, where alone it can stand.
      if (byte == '\n') {
        line += "\\n";
      } else if (byte == '\r') {
        line += "\\r";
      } else {
        line += byte;
      }
      continue;
    }
    const std::size_t end = source[i] == '\\' ? source.find('\n', i) : std::string_view::npos;
    const bool continues =
        end != std::string_view::npos && (end == i + 1 || (end == i + 2 && source[i + 1] == '\r'));
    if (continues) {
      i = end;
    } else {
      line += byte;
    }
  }
  return line;
}

}  // namespace tov_adopt
