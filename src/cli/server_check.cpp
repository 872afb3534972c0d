// SPDX-License-Identifier: Apache-2.0

#include "cli/server_check.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/syntax.h"
#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"
#include "edit/address.h"
#include "template/framework/str.h"

namespace cli {
namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::kWholeText;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Word;
using Item = TemplateRun::Item;
using Texts = std::vector<std::string>;

Dialect DialectIn(const Request& request) {
  return SyntaxOf(request.dialect) == Syntax::kNginx ? Dialect::kNginx : Dialect::kApache;
}

// The words of one line, as the server reads them: of a directive or of an opening line.
Texts WordsOf(Dialect dialect, const std::string& line) {
  const Document document(dialect, line);
  Texts texts;
  for (const Node& node : document.Nodes(kWholeText)) {
    for (const Word& word : document.Words(node)) texts.push_back(document.Value(word));
    if (!texts.empty()) break;
  }
  return texts;
}

class ServerCheck {
 public:
  ServerCheck(const MadeEdit& edit, std::string_view text, Findings& findings)
      : m_edit(edit),
        m_dialect(DialectIn(edit.request)),
        m_document(m_dialect, text),
        m_places(text),
        m_findings(findings) {}

  void Run() {
    if (m_document.error()) return;
    CheckWholeDirectives();
    FindServers();
    std::uint32_t behind = 0;  // the last line that was there before
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (line.before) behind = BeginOf(*line.before);
      if (line.item && IsTouched(line)) CheckPlace(line, behind);
      if (line.before) behind = EndOf(*line.before);
    }
  }

 private:
  // --- Places ---

  // Where the line's text begins, behind its indentation, and where it ends.
  std::uint32_t BeginOf(std::size_t line) const {
    return OffsetOf(str::view::Trim(m_edit.source.lines()[line].text).data());
  }

  std::uint32_t EndOf(std::size_t line) const {
    const std::string_view text = m_edit.source.lines()[line].text;
    return OffsetOf(text.data() + text.size());
  }

  std::uint32_t OffsetOf(const char* byte) const {
    return static_cast<std::uint32_t>(byte - m_document.text().data());
  }

  // Whether a line is another one than before.
  bool IsTouched(const FollowedLines::Line& line) const {
    return !line.before || line.text == nullptr ||
           *line.text != m_edit.shown.Text(m_edit.source, *line.before);
  }

  // The innermost block around the byte at `offset`.
  BlockId BlockAt(std::uint32_t offset) const {
    const auto& blocks = m_document.blocks();
    const auto behind = std::upper_bound(
        blocks.begin() + 1, blocks.end(), offset,
        [](std::uint32_t at, const tov_document::Block& block) { return at < block.head.begin; });
    auto id = static_cast<BlockId>(behind - blocks.begin() - 1);
    while (id != kWholeText && offset >= blocks[id].closing.end) id = blocks[id].parent;
    return id;
  }

  // The server around the byte at `offset`; none: it stands outside of every server.
  std::optional<BlockId> ServerAt(std::uint32_t offset) const {
    for (BlockId id = BlockAt(offset); id != kWholeText; id = m_document.blocks()[id].parent) {
      if (IsServer(id)) return id;
    }
    return std::nullopt;
  }

  bool IsServer(BlockId id) const {
    return tov_document::IsServer(m_dialect, m_document.Value(m_document.HeadWords(id).front()));
  }

  std::string Place(std::uint32_t offset) const {
    const tov_document::Place place = m_places.Of(offset);
    return At(m_edit.config_name, place.line) + ":" + std::to_string(place.column);
  }

  // --- What the template says ---

  bool IsTemplateServer(std::size_t block) const {
    const Item& opening = *m_edit.run.items()[m_edit.blocks.blocks[block].opening];
    const Texts words = WordsOf(m_dialect, opening.m_param.m_value.Str());
    return !words.empty() && tov_document::IsServer(m_dialect, words.front());
  }

  // The evidence in the lines of the template's block, those with a trailing place left out: they
  // say that the directive may have any value.
  edit::ServerEvidence EvidenceOf(std::size_t block) const {
    edit::ServerEvidence evidence;
    const TemplateBlock& server = m_edit.blocks.blocks[block];
    for (std::size_t i = server.opening; i <= server.closing; ++i) {
      const Item& item = *m_edit.run.items()[i];
      const bool own = m_edit.block_of[i] == block;
      if (!own || item.m_enabled != server.enabled || item.m_text.find("[%") != std::string::npos) {
        continue;
      }
      AddEvidence(item.m_param.m_old_value, evidence.names, evidence.addresses);
      AddEvidence(item.m_param.m_value, evidence.new_names, evidence.new_addresses);
    }
    return evidence;
  }

  // The line of the template's server that would say its name or its address, had its value not
  // been forgotten; null: there is none.
  const Item* LineWithoutValue(std::size_t block) const {
    const TemplateBlock& server = m_edit.blocks.blocks[block];
    for (std::size_t i = server.opening; i <= server.closing; ++i) {
      const Item& item = *m_edit.run.items()[i];
      if (m_edit.block_of[i] != block || item.m_enabled != server.enabled) continue;
      if (item.m_param.m_value.IsNull() && Identifies(str::view::FirstWord(item.m_text))) {
        return &item;
      }
    }
    return nullptr;
  }

  bool Identifies(std::string_view name) const {
    if (m_dialect == Dialect::kNginx) return name == "server_name" || name == "listen";
    return tov_document::SameName(m_dialect, name, "ServerName");
  }

  // Of the names the first one: the others may be aliases that are yet to come.
  void AddEvidence(const tov_template::Value& value, Texts& names, Texts& addresses) const {
    const Texts words = WordsOf(m_dialect, value.Str());
    if (words.size() < 2) return;
    if (m_dialect == Dialect::kApache) {
      if (tov_document::SameName(m_dialect, words[0], "ServerName")) AddName(words[1], names);
      if (!tov_document::IsServer(m_dialect, words[0])) return;
      for (std::size_t i = 1; i < words.size(); ++i) AddAddress(words[i], addresses);
      return;
    }
    if (words[0] == "server_name") AddName(words[1], names);
    if (words[0] == "listen") AddAddress(words[1], addresses);
  }

  void AddName(const std::string& name, Texts& names) const {
    if (names.empty()) names.push_back(tov_document::NormalName(m_dialect, name));
  }

  void AddAddress(const std::string& address, Texts& addresses) const {
    addresses.push_back(tov_document::NormalAddress(m_dialect, address));
  }

  // --- The servers ---

  // A server of the template.
  struct TemplateServer {
    edit::FoundServers found;
    const Item* nameless = nullptr;  // see LineWithoutValue
  };

  // All of the template's servers. One of which no address is there yet is none of those that
  // another one of the template has by its address: a redirect on port 80 is not the site on 443.
  void FindServers() {
    std::set<BlockId> taken;
    const std::vector<TemplateBlock>& blocks = m_edit.blocks.blocks;
    m_server_of.resize(blocks.size());
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      if (blocks[i].parent) m_server_of[i] = m_server_of[*blocks[i].parent];
      if (!IsTemplateServer(i)) continue;
      m_server_of[i] = i;
      TemplateServer server{edit::FindServers(m_document, EvidenceOf(i)), LineWithoutValue(i)};
      if (server.found.by_address) {
        taken.insert(server.found.blocks.begin(), server.found.blocks.end());
      }
      m_servers.emplace(i, std::move(server));
    }
    for (auto& [block, server] : m_servers) {
      if (server.found.by_address) continue;
      std::vector<BlockId>& found = server.found.blocks;
      found.erase(std::remove_if(found.begin(), found.end(),
                                 [&](BlockId id) { return taken.count(id) != 0; }),
                  found.end());
    }
  }

  // `behind` is where a line stands, or behind what a new one comes.
  void CheckPlace(const FollowedLines::Line& line, std::uint32_t behind) {
    const std::optional<std::size_t> own = m_edit.block_of[*line.item];
    const std::optional<std::size_t> block = own ? m_server_of[*own] : std::nullopt;
    if (!block) return;
    const TemplateServer& server = m_servers.at(*block);
    if (server.nameless != nullptr) {
      RefuseNameless(*block, *server.nameless);
      return;
    }
    const std::vector<BlockId>& servers = server.found.blocks;
    const std::optional<BlockId> here = ServerAt(behind);
    if (servers.size() > 1) {
      RefuseSeveral(*block, servers);
    } else if (here && (servers.empty() || servers.front() != *here)) {
      RefuseOther(*block, *here, servers);
    } else if (!here && !servers.empty()) {
      RefuseSecond(*block, servers.front());
    }
  }

  void RefuseNameless(std::size_t block, const Item& line) {
    Refuse("other-block", block,
           TemplatePlace(m_edit.request, line) +
               ": a value of this line is missing, which says what server is meant. Set the value");
  }

  void RefuseSeveral(std::size_t block, const std::vector<BlockId>& servers) {
    std::string all;
    for (const BlockId id : servers) all += (all.empty() ? "" : ", ") + Described(id);
    Refuse("ambiguous", block,
           "the template may mean each of " + all +
               ". Name in the template what only one of them has: its server name in full, or an "
               "address on which it listens");
  }

  void RefuseOther(std::size_t block, BlockId here, const std::vector<BlockId>& servers) {
    Refuse("other-block", block,
           "the edit would go into " + Described(here) + ", but " +
               (servers.empty() ? std::string("no server fits what the template says")
                                : "the template means " + Described(servers.front())) +
               ". " + kWayOut);
  }

  void RefuseSecond(std::size_t block, BlockId server) {
    Refuse("other-block", block,
           "the edit would stand outside of every server, but the template means " +
               Described(server) + ". " + kWayOut);
  }

  static constexpr const char* kWayOut =
      "The library finds a block by its opening line, its first server name and whether it has ssl "
      "directives: write these in the template as they stand there, or keep that server in a file "
      "of its own";

  // "site.conf:12:1 (a.example on *:80)"
  std::string Described(BlockId id) const {
    const Texts names = tov_document::ServerNames(m_document, id);
    const Texts addresses = tov_document::ServerAddresses(m_document, id);
    return Place(m_document.blocks()[id].head.begin) + " (" +
           (names.empty() ? "no name" : Printable(names.front())) +
           (addresses.empty() ? "" : " on " + Printable(addresses.front())) + ")";
  }

  // Once for each of the template's blocks.
  void Refuse(const char* name, std::size_t block, const std::string& message) {
    if (m_edit.request.forced.count(name) != 0 || !m_refused.insert(block).second) return;
    const Item& opening = *m_edit.run.items()[m_edit.blocks.blocks[block].opening];
    m_findings.refusals.push_back({name, TemplatePlace(m_edit.request, opening) + ": " + message});
  }

  // --- Directives ---

  // A directive over several lines of which only some are touched would be torn.
  void CheckWholeDirectives() {
    if (m_edit.request.forced.count("part-of-directive") != 0) return;
    struct Lines {
      std::size_t all = 0;
      std::size_t touched = 0;
    };
    std::map<std::uint32_t, Lines> touched;  // of a directive, by where it begins
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (!line.before || !line.item || !IsTouched(line)) continue;
      const std::optional<tov_document::Span> directive = DirectiveAt(BeginOf(*line.before));
      if (!directive) continue;
      const auto [lines, is_new] = touched.try_emplace(directive->begin);
      if (is_new) {
        const std::string_view bytes = m_document.Bytes(*directive);
        const auto breaks = std::count(bytes.begin(), bytes.end(), '\n');
        lines->second.all = static_cast<std::size_t>(breaks) + 1;
      }
      ++lines->second.touched;
    }
    for (const auto& [begin, lines] : touched) {
      if (lines.touched == lines.all) continue;
      m_findings.refusals.push_back(
          {"part-of-directive",
           Place(begin) + ": this directive goes on over " + std::to_string(lines.all) +
               " lines, of which the edit would touch only " + std::to_string(lines.touched) +
               ". Write it on one line first"});
    }
  }

  std::optional<tov_document::Span> DirectiveAt(std::uint32_t offset) {
    const BlockId block = BlockAt(offset);
    const auto [nodes, is_new] = m_nodes.try_emplace(block);
    if (is_new) nodes->second = m_document.Nodes(block);
    const auto behind =
        std::upper_bound(nodes->second.begin(), nodes->second.end(), offset,
                         [](std::uint32_t at, const Node& node) { return at < node.bytes.begin; });
    if (behind == nodes->second.begin()) return std::nullopt;
    const Node& node = *std::prev(behind);
    if (node.kind != NodeKind::kDirective || offset >= node.bytes.end) return std::nullopt;
    return node.bytes;
  }

  const MadeEdit& m_edit;
  const Dialect m_dialect;
  const Document m_document;
  const tov_document::Places m_places;
  Findings& m_findings;
  std::map<std::size_t, TemplateServer> m_servers;      // by the template's blocks
  std::vector<std::optional<std::size_t>> m_server_of;  // by the same: the innermost one around
  std::set<std::size_t> m_refused;
  std::map<BlockId, std::vector<Node>> m_nodes;
};

}  // namespace

void CheckServers(const MadeEdit& edit, std::string_view text, Findings& findings) {
  ServerCheck(edit, text, findings).Run();
}

}  // namespace cli
