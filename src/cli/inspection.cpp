// SPDX-License-Identifier: Apache-2.0

#include "cli/inspection.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/findings.h"
#include "document/meaning.h"
#include "edit/comparison.h"
#include "template/framework/str.h"

namespace cli {
namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Place;
using tov_document::Places;
using tov_document::Span;
using tov_document::Word;

// --- The tree ---

Span Trimmed(const Document& document, Span span) {
  const std::string_view bytes = document.Bytes(span);
  const std::string_view trimmed = str::view::Trim(bytes);
  if (trimmed.empty()) return {span.begin, span.begin};
  const auto begin = span.begin + static_cast<std::uint32_t>(trimmed.data() - bytes.data());
  return {begin, begin + static_cast<std::uint32_t>(trimmed.size())};
}

// Goes through the tree with a stack of its own: a text may nest deeper than calls can.
class Walk {
 public:
  explicit Walk(const Document& document) : m_document(document) {}

  std::vector<Inspection::Item> Run() {
    Enter(tov_document::kWholeText, false);
    while (!m_open.empty()) {
      Level& level = m_open.back();
      if (level.next == level.nodes.size()) {
        m_open.pop_back();
      } else {
        Visit(level.nodes[level.next++], level);
      }
    }
    return std::move(m_items);
  }

 private:
  struct Level {
    BlockId block;
    bool in_server;
    std::vector<Node> nodes;
    std::size_t next = 0;
  };

  void Enter(BlockId block, bool in_server) {
    m_open.push_back({block, in_server, m_document.Nodes(block)});
  }

  void Visit(Node node, const Level& level) {
    if (node.kind == NodeKind::kOpaque) node.bytes = Trimmed(m_document, node.bytes);
    if (node.kind == NodeKind::kBlank || node.bytes.empty()) return;
    Inspection::Item item = {node, level.block, m_open.size() - 1, false};
    if (node.kind == NodeKind::kBlock) {
      item.server = !level.in_server && IsServer(node.block);
      Enter(node.block, level.in_server || item.server);  // `level` may have moved
    }
    m_items.push_back(item);
  }

  bool IsServer(BlockId block) const {
    const std::string name = m_document.Value(m_document.HeadWords(block).front());
    return tov_document::IsServer(m_document.dialect(), name);
  }

  const Document& m_document;
  std::vector<Level> m_open;
  std::vector<Inspection::Item> m_items;
};

// --- What the server refuses ---

class Checks {
 public:
  Checks(const Document& document, const Places& places, const std::string& file)
      : m_document(document), m_places(places), m_file(file) {}

  void Options(Span directive) {
    const std::vector<Word> words = m_document.Words(directive);
    if (!tov_document::SameName(Dialect::kApache, m_document.Value(words.front()), "Options")) {
      return;
    }
    const auto comment = std::find_if(words.begin() + 1, words.end(), [this](const Word& word) {
      return m_document.Value(word).substr(0, 1) == "#";
    });
    std::vector<std::string> options;
    for (auto word = words.begin() + 1; word != comment; ++word) {
      options.push_back(m_document.Value(*word));
    }
    if (edit::AreMixedOptions(options)) {
      Warn("mixed-options", directive.begin,
           "httpd refuses words with a sign beside words without one. Write all of them with a "
           "sign, or none");
    }
    if (comment != words.end()) {
      Warn("options-comment", comment->bytes.begin,
           "httpd knows no comments behind a directive, and refuses these words as options. Put "
           "the comment on a line of its own");
    }
  }

  std::optional<Finding> Syntax() const {
    if (!m_document.error()) return std::nullopt;
    const tov_document::SyntaxError& error = *m_document.error();
    Finding finding = At("syntax-error", error.at, Describe(error));
    if (!error.opened) return finding;
    finding.config_places.push_back(PlaceOf(*error.opened));
    if (*error.opened != error.at) {
      finding.message += "; " + HeadAt(*error.opened) + " is open since line " +
                         std::to_string(finding.config_places.back().line);
    }
    return finding;
  }

  std::vector<Finding> Warnings() { return std::move(m_warnings); }

 private:
  std::string HeadAt(std::uint32_t begin) const {
    const auto& blocks = m_document.blocks();
    const auto block =
        std::partition_point(blocks.begin() + 1, blocks.end(),
                             [begin](const auto& other) { return other.head.begin < begin; });
    return Quoted(m_document.Bytes(block->head));
  }

  FilePlace PlaceOf(std::uint32_t offset) const {
    const Place place = m_places.Of(offset);
    return {m_file, place.line, place.column};
  }

  Finding At(const char* name, std::uint32_t offset, const std::string& message) const {
    const std::string_view text = m_document.text();
    const FilePlace place = PlaceOf(offset);
    const std::string_view line = text.substr(offset - (place.column - 1));
    const std::string_view whole = line.substr(0, line.find('\n'));
    Finding finding{name, message};
    finding.config_places.push_back(place);
    finding.line_text = whole;
    return finding;
  }

  void Warn(const char* name, std::uint32_t offset, const std::string& message) {
    m_warnings.push_back(At(name, offset, message));
  }

  const Document& m_document;
  const Places& m_places;
  const std::string& m_file;
  std::vector<Finding> m_warnings;
};

// --- One line ---

// `bytes` as they are when nothing continues on a further line: of Apache as httpd joins them, of
// nginx, where only quotes go on, with a blank for a line end.
std::string Unfolded(Dialect dialect, std::string_view bytes) {
  std::string line;
  for (std::size_t end; (end = bytes.find('\n')) != std::string_view::npos;) {
    std::string_view part = bytes.substr(0, end);
    bytes.remove_prefix(end + 1);
    if (dialect == Dialect::kNginx) {
      line.append(str::view::Trim(part)) += ' ';
      bytes = str::view::Trim(bytes);
    } else {
      line.append(part.substr(0, part.rfind('\\')));
    }
  }
  return line.append(bytes);
}

}  // namespace

Inspection Inspect(const Document& document, const Places& places, const std::string& file) {
  Inspection inspection;
  inspection.items = Walk(document).Run();
  Checks checks(document, places, file);
  for (const Inspection::Item& item : inspection.items) {
    const bool directive = item.node.kind == NodeKind::kDirective;
    if (directive && document.dialect() == Dialect::kApache) checks.Options(item.node.bytes);
  }
  inspection.error = checks.Syntax();
  inspection.warnings = checks.Warnings();
  return inspection;
}

std::string OneLine(const Document& document, const Node& node) {
  const Dialect dialect = document.dialect();
  if (node.kind == NodeKind::kComment) {
    return Unfolded(dialect, str::view::Trim(document.Bytes(node.bytes)));
  }
  std::string words;
  for (const Word& word : document.Words(node)) {
    words.append(words.empty() ? "" : " ") += Unfolded(dialect, document.Bytes(word.bytes));
  }
  const bool block = node.kind == NodeKind::kBlock;
  if (dialect == Dialect::kNginx) return words + (block ? " {" : ";");
  return block ? '<' + words + '>' : words;
}

}  // namespace cli
