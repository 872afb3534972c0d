// SPDX-License-Identifier: Apache-2.0

#include "edit/inspection.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "document/byte_map.h"
#include "document/meaning.h"
#include "document/suspicion.h"
#include "edit/collision_findings.h"
#include "edit/match/comparison.h"
#include "edit/match/contents.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

using tov_document::BlockId;
using tov_document::Document;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Place;
using tov_document::Places;
using tov_document::Span;
using tov_document::Word;

constexpr std::size_t kNowhere = std::string_view::npos;

// --- What stands in a text ---

Span Trimmed(const Document& document, Span span) {
  const std::string_view bytes = document.Bytes(span);
  const std::string_view trimmed = str::view::Trim(bytes);
  if (trimmed.empty()) return {span.begin, span.begin};
  const auto begin = span.begin + static_cast<std::uint32_t>(trimmed.data() - bytes.data());
  return {begin, begin + static_cast<std::uint32_t>(trimmed.size())};
}

// --- What the server refuses ---

class Checks {
 public:
  Checks(const Document& document, const Places& places, const std::string& file)
      : m_document(document), m_places(places), m_file(file) {}

  void Options(Span directive) {
    // Most directives have another name, which tells already by its first byte.
    if (std::string_view("oO\"'\\").find(m_document.text()[directive.begin]) == kNowhere) return;
    m_document.ReadWords(directive, m_words);
    const std::vector<Word>& words = m_words;
    if (!tov_document::SameName(Dialect::kApache, m_document.Value(words.front()), "Options")) {
      return;
    }
    const auto comment = std::find_if(words.begin() + 1, words.end(), [this](const Word& word) {
      const std::string value = m_document.Value(word);
      return !value.empty() && value.front() == '#';
    });
    std::vector<std::string> options;
    for (auto word = words.begin() + 1; word != comment; ++word) {
      options.push_back(m_document.Value(*word));
    }
    if (AreMixedOptions(options)) {
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
    const auto suspicion = tov_document::Suspect(m_document);
    Finding finding = suspicion ? At("syntax-error", suspicion->at, Describe(*suspicion))
                                : At("syntax-error", error.at, Describe(error));
    if (!error.opened) return finding;
    finding.config_places.push_back(PlaceOf(*error.opened));
    if (suspicion || *error.opened != error.at) {
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
  std::vector<Word> m_words;  // of the directive that is looked at
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

// Whether the first `size` of 64 bytes are shown as they are, no two of them are blanks that follow
// each other, and none may keep blanks in a word or, as ">" at the end of a name, mean nothing.
bool ArePlain(const char* bytes, std::size_t size) {
  using tov_document::Bytes;
  using Odd = tov_document::AnyOf<Bytes<'"'>, Bytes<'\''>, Bytes<'\\'>, Bytes<'>'>>;
  const std::uint64_t shown = tov_document::WholeMask<tov_document::Range<' ', '~'>>(bytes);
  const std::uint64_t odd = tov_document::WholeMask<Odd>(bytes) | ~shown;
  const std::uint64_t blanks = tov_document::WholeMask<Bytes<' '>>(bytes);
  const std::uint64_t all = (std::uint64_t{1} << size) - 1;
  return ((odd | (blanks & blanks >> 1U)) & all) == 0;
}

}  // namespace

void ForEachItem(const Document& document, const std::function<void(const Item&)>& visit) {
  BlockId behind_server = tov_document::kWholeText;  // the first block that is not inside of one
  document.Visit([&](const tov_document::Placed& placed) {
    Item item;
    static_cast<tov_document::Placed&>(item) = placed;
    Node& node = item.node;
    if (node.kind == NodeKind::kOpaque) node.bytes = Trimmed(document, node.bytes);
    if (node.bytes.empty()) return;
    if (node.kind == NodeKind::kBlock && node.block >= behind_server) {
      item.server = tov_document::IsServerBlock(document, node.block);
      if (item.server) behind_server = document.blocks()[node.block].next;
    }
    visit(item);
  });
}

Remarks RemarksOn(const Document& document, const Places& places, const std::string& file) {
  Remarks remarks;
  Checks checks(document, places, file);
  if (document.dialect() == Dialect::kApache) {
    document.Visit([&checks](const tov_document::Placed& placed) {
      if (placed.node.kind == NodeKind::kDirective) checks.Options(placed.node.bytes);
    });
  }
  remarks.error = checks.Syntax();
  remarks.warnings = checks.Warnings();
  std::vector<Finding> collisions = CollisionsIn(Contents(document), file, Extent::kPart);
  std::move(collisions.begin(), collisions.end(), std::back_inserter(remarks.warnings));
  return remarks;
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

std::string_view PlainLine(const Document& document, const Node& node) {
  using tov_document::kMaskSize;
  const bool block = node.kind == NodeKind::kBlock;
  const bool nginx = document.dialect() == Dialect::kNginx;
  const Span bytes = block ? document.blocks()[node.block].head : node.bytes;
  const std::string_view line = document.Bytes(bytes);
  const bool loads = document.text().size() - bytes.begin >= kMaskSize;
  if (!loads || line.size() < 3 || line.size() >= kMaskSize) return {};
  // Without what opens a block or ends a directive.
  const bool ends = block || (nginx && node.kind == NodeKind::kDirective);
  const std::size_t size = line.size() - (ends ? 1 : 0);
  if (node.kind == NodeKind::kOpaque || !ArePlain(line.data(), size)) return {};
  const bool brace = block && nginx;
  const bool section = block && !nginx;
  const bool as_shown =
      (line[size - 1] == ' ') == brace && (!section || (line.back() == '>' && line[1] != ' '));
  return as_shown ? line : std::string_view();
}

}  // namespace tov_edit
