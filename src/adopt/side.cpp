// SPDX-License-Identifier: Apache-2.0

#include "adopt/side.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "adopt/site.h"
#include "document/ascii.h"

namespace tov_adopt {
namespace {

using tov_document::BlockId;

// A directive, a block's opening, or code that is passed over.
struct Statement {
  std::string what;  // with the number of blocks around it
  std::uint32_t at = 0;
};

std::vector<Statement> StatementsOf(const Side& side) {
  std::vector<Statement> statements;
  for (const Line& line : side.lines().all) {
    if (line.kind == Line::Kind::kComment) continue;
    std::string what = std::to_string(line.depth);
    what += line.kind == Line::Kind::kBlock ? '{' : ';';
    for (const LineWord& word : line.words) (what += word.value) += '\0';
    statements.push_back({std::move(what), line.bytes.begin});
  }
  for (const Unreadable& code : side.lines().unreadable) {
    statements.push_back({std::string(side.document().Bytes(code.bytes)), code.bytes.begin});
  }
  return statements;
}

// What directives have in common of which the server minds the order: a name, or a purpose.
std::string OrderedAs(Dialect dialect, const std::string& name) {
  using Purposes = std::vector<std::vector<std::string_view>>;
  static const Purposes nginx = {{"break", "if", "return", "rewrite", "set"}, {"allow", "deny"}};
  static const Purposes apache = {
      {"alias", "aliasmatch", "redirect", "redirectmatch", "redirectpermanent", "redirecttemp",
       "scriptalias", "scriptaliasmatch"},
      {"allow", "deny", "order", "require", "satisfy"},
      {"browsermatch", "browsermatchnocase", "setenv", "setenvif", "setenvifnocase", "unsetenv"},
      {"proxypass", "proxypassmatch"},
      {"rewritebase", "rewritecond", "rewriteengine", "rewriteoptions", "rewriterule"},
      {"ifdefine", "ifmodule", "ifversion", "include", "includeoptional", "use"},
  };
  std::string key = dialect == Dialect::kApache ? tov_document::Lower(name) : name;
  for (const auto& purpose : dialect == Dialect::kApache ? apache : nginx) {
    if (std::find(purpose.begin(), purpose.end(), key) != purpose.end())
      return std::string(purpose.front());
  }
  return key;
}

// Whether what stands behind it may need it, whatever it is.
bool IsNeededBehind(Dialect dialect, const std::string& ordered_as) {
  return dialect == Dialect::kApache &&
         (ordered_as == "define" || ordered_as == "undefine" || ordered_as == "loadmodule");
}

// Of servers with the same addresses the first one takes what none of them has a name for. The
// order of the others does not count.
std::string ServerOrderedAs(const std::string& addresses, const std::string& text, bool first) {
  return "server " + addresses + (first ? "" : '}' + text);
}

// What stands in a block: a directive, or a block with all that is in it.
struct Entry {
  std::string ordered_as;
  std::string text;
  bool is_server = false;
  std::string addresses = {};  // of a server
  std::size_t behind = 0;      // how many that others may need
};

// The entries of one block, the last one first, in an order that is the same whenever the server
// takes two blocks for the same.
std::string Together(Dialect dialect, std::vector<Entry>& entries) {
  std::reverse(entries.begin(), entries.end());
  std::size_t needed = 0;
  std::set<std::string> known;  // addresses
  for (Entry& entry : entries) {
    if (entry.is_server) {
      const bool first = known.insert(entry.addresses).second;
      entry.ordered_as = ServerOrderedAs(entry.addresses, entry.text, first);
    }
    if (IsNeededBehind(dialect, entry.ordered_as)) ++needed;
    entry.behind = needed;
  }
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    return std::tie(a.behind, a.ordered_as) < std::tie(b.behind, b.ordered_as);
  });
  std::string text;
  for (const Entry& entry : entries) text += entry.text + '\n';
  return text;
}

std::string Sorted(const Side& side) {
  const Dialect dialect = side.document().dialect();
  const std::vector<Line>& lines = side.lines().all;
  std::vector<std::vector<Entry>> inside(lines.size() + 1);  // the last one: of no block
  for (std::size_t i = lines.size(); i-- > 0;) {
    const Line& line = lines[i];
    if (line.kind == Line::Kind::kComment) continue;
    Entry entry;
    entry.ordered_as = OrderedAs(dialect, line.words.front().value);
    entry.is_server = line.is_server;
    for (const LineWord& word : line.words) (entry.text += word.value) += '\0';
    if (line.is_server) entry.addresses = entry.text;
    for (const Entry& inner : inside[i]) {
      if (line.is_server && inner.ordered_as == "listen") entry.addresses += inner.text;
    }
    if (line.kind == Line::Kind::kBlock) entry.text += '{' + Together(dialect, inside[i]) + '}';
    inside[i] = {};
    inside[line.parent == kNone ? lines.size() : line.parent].push_back(std::move(entry));
  }
  std::string all = Together(dialect, inside.back());
  for (const Unreadable& code : side.lines().unreadable) all += side.document().Bytes(code.bytes);
  return all;
}

std::uint32_t EndOf(const Side& side) {
  return static_cast<std::uint32_t>(side.document().text().size());
}

}  // namespace

Side::Side(const Options& options, const Configuration& config)
    : m_name(config.name), m_document(options.dialect, config.text), m_places(config.text) {
  if (m_document.error()) {
    const auto place = m_places.Of(m_document.error()->at);
    m_refusal = {"syntax",
                 Describe(*m_document.error()),
                 "The server would not take this file: mend it first",
                 {},
                 {{m_name, place.line, place.column}}};
    return;
  }
  std::vector<BlockId> blocks = {tov_document::kWholeText};
  m_parts = {{0, EndOf(*this)}};
  if (!options.site.empty()) {
    Finding why;
    const std::optional<Site> site = FindSite(m_document, options.site, m_name, why);
    if (!site) {
      m_refusal = std::move(why);
      return;
    }
    blocks = site->blocks;
  }
  if (blocks.front() != tov_document::kWholeText) {
    m_parts.clear();
    for (const BlockId id : blocks) {
      const tov_document::Block& block = m_document.blocks()[id];
      m_parts.push_back({block.head.begin, block.closing.end});
    }
  }
  m_lines = ReadLines(m_document, blocks);
}

std::string Side::TextAround(std::uint32_t offset) const {
  const std::string_view text = m_document.text();
  const std::size_t before = offset == 0 ? std::string_view::npos : text.rfind('\n', offset - 1);
  const std::size_t begin = before == std::string_view::npos ? 0 : before + 1;
  return std::string(text.substr(begin, text.find('\n', begin) - begin));
}

std::optional<Mismatch> DifferentBytes(const Side& first, const Side& second) {
  const std::size_t both = std::min(first.parts().size(), second.parts().size());
  for (std::size_t i = 0; i < both; ++i) {
    const std::string_view a = first.document().Bytes(first.parts()[i]);
    const std::string_view b = second.document().Bytes(second.parts()[i]);
    if (a == b) continue;
    const auto most = static_cast<std::ptrdiff_t>(std::min(a.size(), b.size()));
    const auto same = static_cast<std::uint32_t>(
        std::mismatch(a.begin(), a.begin() + most, b.begin()).first - a.begin());
    return Mismatch{first.parts()[i].begin + same, second.parts()[i].begin + same};
  }
  if (first.parts().size() == second.parts().size()) return std::nullopt;
  const auto next = [both](const Side& side) {
    return both < side.parts().size() ? side.parts()[both].begin : EndOf(side);
  };
  return Mismatch{next(first), next(second)};
}

std::optional<Mismatch> DifferentStatements(const Side& first, const Side& second) {
  const std::vector<Statement> a = StatementsOf(first);
  const std::vector<Statement> b = StatementsOf(second);
  const std::size_t both = std::min(a.size(), b.size());
  std::size_t same = 0;
  while (same < both && a[same].what == b[same].what) ++same;
  if (same == a.size() && same == b.size()) return std::nullopt;
  const auto next = [same](const Side& side, const std::vector<Statement>& statements) {
    return same < statements.size() ? statements[same].at : EndOf(side);
  };
  return Mismatch{next(first, a), next(second, b)};
}

bool AreSameButForOrder(const Side& first, const Side& second) {
  return Sorted(first) == Sorted(second);
}

}  // namespace tov_adopt
