// SPDX-License-Identifier: Apache-2.0

#include "judge.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace alike {

namespace {

constexpr std::size_t kFirstNewId = 1000000;

using Ids = std::vector<std::size_t>;

// What may be understood in two ways.
enum Reading : unsigned {
  kConstantsTell = 1,
  kRemovedLinesTell = 2,
  kMissingLinesAreNew = 4,
  kNestedBlocksTell = 8,
  kListensBySilence = 16,
  kAliasHasAPlace = 32,
  kBehindTheLastOfTheFile = 64,
  kNewNameIsRenamed = 128,
  kNewLinesHaveAPlace = 256,
  kNewOnesInOrder = 512,
  kAddressAloneIsNew = 1024,
  kOldAddressMustBeThere = 2048,
  kWantedLineIsThere = 4096,
  kRemovedOnesHaveAPlace = 8192,
  kRemovedBlocksHoldTheirLines = 16384,
  kLastReading = kRemovedBlocksHoldTheirLines,
};

struct Refusal {
  std::string why;
};
struct Open {};

// `AnyNode` is a Node, const or not.
template <typename AnyNode>
AnyNode* FindById(AnyNode& node, std::size_t id) {
  if (node.id == id) return &node;
  for (AnyNode& child : node.children) {
    if (child.IsComment()) continue;
    if (AnyNode* found = FindById(child, id)) return found;
  }
  return nullptr;
}

// One way of understanding one edit.
class Run {
 public:
  Run(Dialect dialect, const Node& root, const Edit& edit, unsigned readings)
      : m_dialect(dialect), m_edit(edit), m_readings(readings), m_root(root) {}

  Outcome Do() {
    Outcome outcome;
    try {
      Apply(m_edit.nodes, 0);
      if (m_edit.hostile) throw Refusal{"a value that its place cannot hold"};
    } catch (const Refusal& refusal) {
      outcome.refused = true;
      outcome.why = refusal.why;
    }
    outcome.root = std::move(m_root);
    return outcome;
  }

  unsigned asked() const { return m_asked; }

 private:
  bool Reads(Reading reading) {
    m_asked |= reading;
    return (m_readings & reading) != 0;
  }

  bool IsNginx() const { return m_dialect == Dialect::kNginx; }
  bool SameName(const std::string& a, const std::string& b) const {
    return IsSameName(m_dialect, a, b);
  }

  Node& At(std::size_t id) { return *FindById(m_root, id); }

  static const std::string& NameOf(const TemplateNode& node) { return node.words.at(0).before; }

  static bool HasTrailing(const TemplateNode& line) {
    return line.words.back().place == TemplateWord::Place::kTrailing;
  }

  bool IsNameLine(const TemplateNode& node) const {
    return !node.is_block && SameName(NameOf(node), NameDirective(m_dialect)) && !HasTrailing(node);
  }

  bool IsListen(const TemplateNode& node) const {
    return !node.is_block && IsNginx() && NameOf(node) == "listen" && !HasTrailing(node);
  }

  // Of a line with a trailing place only the words before it. Nothing when a value is missing.
  std::optional<Words> Forms(const TemplateNode& node, bool old) const {
    Words words;
    for (const TemplateWord& word : node.words) {
      if (word.place == TemplateWord::Place::kTrailing) break;
      const auto form = old ? OldForm(word, m_edit) : NewForm(word, m_edit);
      if (!form) return std::nullopt;
      words.push_back(*form);
    }
    return words;
  }

  // In small letters, as NamesOf has it.
  std::string Name(const std::string& word) const { return IsNginx() ? Lower(word) : HostOf(word); }

  bool SaysAnOldValue(const TemplateNode& line) const {
    return std::any_of(line.words.begin(), line.words.end(), [&](const TemplateWord& word) {
      return word.place == TemplateWord::Place::kFull && m_edit.values.at(word.value).old_text;
    });
  }

  // ---- Which block ----

  struct Fit {
    Ids left;
    bool by_address = false;
    bool renamed = false;
  };

  void Collect(const Node& parent, const std::string& name, bool outermost, Ids& ids) const {
    for (const Node& node : parent.children) {
      if (!node.IsBlock() || node.removed || node.is_new) continue;
      if (SameName(node.words.at(0), name)) ids.push_back(node.id);
      if (outermost && IsContainer(m_dialect, node)) Collect(node, name, outermost, ids);
    }
  }

  template <typename Predicate>
  void Keep(Ids& ids, const Predicate& predicate) {
    ids.erase(std::remove_if(ids.begin(), ids.end(), [&](auto id) { return !predicate(At(id)); }),
              ids.end());
  }

  bool HasHead(const Node& block, const Words& head) const {
    if (!IsNginx() && EqualIgnoringCase(head.at(0), "VirtualHost")) {
      const Words addresses = AddressesOf(m_dialect, block);
      return std::any_of(head.begin() + 1, head.end(), [&](const std::string& address) {
        return Contains(addresses, NormalAddress(m_dialect, address));
      });
    }
    return std::equal(block.words.begin() + 1, block.words.end(), head.begin() + 1, head.end());
  }

  Fit FindBlock(const TemplateNode& block, std::size_t parent) {
    Fit fit;
    const auto head = Forms(block, true);
    if (!head) throw Refusal{"a value of an opening line is missing"};
    Collect(At(parent), NameOf(block), parent == 0, fit.left);
    Keep(fit.left, [&](const Node& node) { return HasHead(node, *head); });
    fit.by_address = !IsNginx() && EqualIgnoringCase(head->at(0), "VirtualHost");
    KeepNamed(block, fit);
    if (IsNginx() && NameOf(block) == "server") KeepListening(block, fit);
    if (fit.left.size() > 1) {
      IsContainerName(NameOf(block)) ? KeepHolding(block, fit) : TellApartByLines(block, fit);
    }
    if (!block.enabled && !IsContainerName(NameOf(block))) KeepWhole(block, fit);
    return fit;
  }

  // A block to be removed of which the template says neither name nor address has to hold the lines
  // that it says.
  void KeepWhole(const TemplateNode& block, Fit& fit) {
    const bool says_more = block.words.size() > 1 || SaysAName(block) ||
                           std::any_of(block.children.begin(), block.children.end(),
                                       [&](const TemplateNode& line) { return IsListen(line); });
    if (says_more) return;
    Ids whole = fit.left;
    Keep(whole, [&](const Node& node) {
      return std::all_of(block.children.begin(), block.children.end(),
                         [&](const TemplateNode& line) {
                           return line.is_block || !TellsByItself(line) || Holds(node, line);
                         });
    });
    if (!whole.empty() || fit.left.empty()) return;
    if (fit.left.size() == 1 || Reads(kRemovedBlocksHoldTheirLines)) fit.left.clear();
  }

  bool IsContainerName(const std::string& name) const {
    Node node;
    node.words = {name};
    return IsContainer(m_dialect, node);
  }

  // Of equal containers the one that holds the block that is meant.
  void KeepHolding(const TemplateNode& container, Fit& fit) {
    Ids holding;
    for (const std::size_t id : fit.left) {
      const bool holds = std::any_of(container.children.begin(), container.children.end(),
                                     [&](const TemplateNode& child) {
                                       return child.is_block && !FindBlock(child, id).left.empty();
                                     });
      if (holds) holding.push_back(id);
    }
    if (holding.size() != 1) throw Open{};
    fit.left = holding;
  }

  void KeepNamed(const TemplateNode& block, Fit& fit) {
    for (const TemplateNode& line : block.children) {
      if (!IsNameLine(line)) continue;
      if (line.enabled != block.enabled && block.enabled) throw Open{};
      const auto name = OldForm(line.words.at(1), m_edit);
      if (!name) throw Refusal{"a value of a line with a name is missing"};
      if (*name != NewForm(line.words.at(1), m_edit)) fit.renamed = true;
      const Ids all = fit.left;
      const auto keep = [&](const std::string& kept) {
        Keep(fit.left,
             [&](const Node& node) { return Contains(NamesOf(m_dialect, node), Name(kept)); });
      };
      keep(*name);
      if (!fit.left.empty() || !fit.renamed) return;
      fit.left = all;
      keep(*NewForm(line.words.at(1), m_edit));
      if (!fit.left.empty() && !Reads(kNewNameIsRenamed)) fit.left.clear();
      return;
    }
  }

  void KeepListening(const TemplateNode& block, Fit& fit) {
    Words addresses;
    for (const TemplateNode& line : block.children) {
      if (!IsListen(line)) continue;
      if (block.enabled && !line.enabled && !Reads(kRemovedLinesTell)) continue;
      if (const auto words = Forms(line, true)) {
        addresses.push_back(NormalAddress(m_dialect, words->at(1)));
      }
    }
    if (addresses.empty() || fit.left.empty()) return;
    const auto listens = [&](const Node& node) {
      Words own = AddressesOf(m_dialect, node);
      if (own.empty() && Reads(kListensBySilence)) own.push_back("*:80");
      return std::any_of(addresses.begin(), addresses.end(),
                         [&](const std::string& address) { return Contains(own, address); });
    };
    Ids listening = fit.left;
    Keep(listening, listens);
    fit.by_address = !listening.empty();
    if (fit.by_address) {
      fit.left = listening;
    } else if (!block.enabled) {
      throw Open{};  // to be removed, and at another address
    } else if (ChangesItsAddress(block)) {
      if (Reads(kOldAddressMustBeThere)) throw Refusal{"no block has the old address"};
    } else if (!SaysAName(block) && Reads(kAddressAloneIsNew)) {
      fit.left.clear();
    }
  }

  bool SaysAName(const TemplateNode& block) const {
    return std::any_of(block.children.begin(), block.children.end(),
                       [&](const TemplateNode& line) { return IsNameLine(line); });
  }

  void TellApartByLines(const TemplateNode& block, Fit& fit) {
    std::vector<std::set<std::size_t>> holders;  // of each line that counts
    bool any = false;
    for (const TemplateNode& line : block.children) {
      if (!TellsByItself(line)) continue;
      any = true;
      if (block.enabled && !line.enabled && !Reads(kRemovedLinesTell)) continue;
      if (line.is_block && !Reads(kNestedBlocksTell)) continue;
      if (!line.is_block && !SaysAnOldValue(line) && !Reads(kConstantsTell)) continue;
      std::set<std::size_t> holding;
      for (const std::size_t id : fit.left) {
        if (Holds(At(id), line)) holding.insert(id);
      }
      if (holding.empty() && Reads(kMissingLinesAreNew)) continue;
      holders.push_back(holding);
    }
    if (m_edit.all) {
      if (any) throw Open{};
      return;
    }
    for (const std::size_t id : fit.left) {
      const auto alone = [&](const std::set<std::size_t>& holding) {
        return holding == std::set<std::size_t>{id};
      };
      if (!holders.empty() && std::all_of(holders.begin(), holders.end(), alone)) {
        fit.left = {id};
        return;
      }
    }
  }

  bool TellsByItself(const TemplateNode& line) const {
    if (line.is_block) return true;
    if (IsNginx() && (NameOf(line) == "ssl" || NameOf(line) == "ssl_prefer_server_ciphers")) {
      return false;
    }
    return !IsNameLine(line) && !IsListen(line) && !HasTrailing(line) &&
           Forms(line, true).has_value();
  }

  bool Holds(const Node& block, const TemplateNode& line) const {
    const auto words = Forms(line, true);
    if (!words) return false;
    return std::any_of(block.children.begin(), block.children.end(), [&](const Node& node) {
      return !node.IsComment() && node.IsBlock() == line.is_block && Equals(node, *words);
    });
  }

  bool Equals(const Node& node, const Words& words) const {
    return SameName(node.words.at(0), words.at(0)) &&
           std::equal(node.words.begin() + 1, node.words.end(), words.begin() + 1, words.end());
  }

  // For each node of the template the blocks that it means; none for lines.
  std::vector<Fit> FindBlocks(const std::vector<TemplateNode>& nodes, std::size_t parent) {
    std::vector<Fit> fits(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (nodes.at(i).is_block) fits.at(i) = FindBlock(nodes.at(i), parent);
    }
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      for (std::size_t j = i + 1; j < nodes.size(); ++j) KeepApart(fits.at(i), fits.at(j));
    }
    return fits;
  }

  // Two blocks of a template are two of the file.
  static void KeepApart(Fit& a, Fit& b) {
    const bool share = std::any_of(a.left.begin(), a.left.end(), [&](std::size_t id) {
      return std::count(b.left.begin(), b.left.end(), id) != 0;
    });
    if (!share) return;
    if (a.left.size() > 1 || b.left.size() > 1 || a.by_address == b.by_address) throw Open{};
    Fit& other = a.by_address ? b : a;
    if (other.renamed) throw Open{};
    other.left.clear();
  }

  // ---- What becomes of it ----

  void Apply(const std::vector<TemplateNode>& nodes, std::size_t parent) {
    const std::vector<Fit> fits = FindBlocks(nodes, parent);
    Ids places(nodes.size(), kNoPlace);  // the file's node for each of the template's
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const TemplateNode& node = nodes.at(i);
      if (node.is_block) {
        if (!fits.at(i).left.empty()) places.at(i) = fits.at(i).left.front();
      } else {
        places.at(i) = PlaceOfLine(node, parent);
      }
      if (!node.enabled) Remove(node, fits.at(i).left, places.at(i));
    }
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const TemplateNode& node = nodes.at(i);
      if (!node.enabled) continue;
      if (node.is_block) {
        ApplyBlock(node, fits.at(i), parent, places.at(i));
      } else {
        ApplyLine(nodes, i, parent, places);
      }
    }
  }

  void Remove(const TemplateNode& node, const Ids& blocks, std::size_t line) {
    if (node.is_block && blocks.size() > 1 && !m_edit.all) throw Refusal{"several blocks fit"};
    Ids removed = blocks;
    if (!node.is_block && line != kNoPlace) removed = {line};
    if (removed.empty() && m_edit.must_exist) throw Refusal{"there is nothing to be removed"};
    for (const std::size_t id : removed) At(id).removed = true;
  }

  void ApplyBlock(const TemplateNode& block, const Fit& fit, std::size_t parent,
                  std::size_t& place) {
    if (fit.left.size() > 1 && !m_edit.all) throw Refusal{"several blocks fit"};
    if (fit.left.empty()) {
      if (fit.renamed) throw Refusal{"no block has the old name"};
      if (ChangesItsAddress(block) || m_edit.must_exist) throw Open{};
      place = InsertBlock(block, parent);
      return;
    }
    for (const std::size_t id : fit.left) {
      ChangeHead(block, At(id));
      Apply(block.children, id);
    }
  }

  bool ChangesItsAddress(const TemplateNode& block) const {
    if (Forms(block, true) != Forms(block, false)) return true;
    return std::any_of(block.children.begin(), block.children.end(), [&](const TemplateNode& line) {
      return IsListen(line) && Forms(line, true) != Forms(line, false);
    });
  }

  void ChangeHead(const TemplateNode& block, Node& node) {
    const Words olds = *Forms(block, true);
    const Words news = *Forms(block, false);
    for (std::size_t i = 1; i < olds.size(); ++i) {
      if (olds.at(i) == news.at(i)) continue;
      if (IsNginx() || !EqualIgnoringCase(olds.at(0), "VirtualHost")) {
        Replace(node, i, news.at(i));
      } else {
        ChangeAddress(node, 1, node.words.size(), olds.at(i), news.at(i));
      }
    }
  }

  void ChangeAddress(Node& node, std::size_t begin, std::size_t end, const std::string& old_address,
                     const std::string& new_address) {
    // Two of them may be one address in two spellings: the one that is written like it is meant.
    for (std::size_t i = begin; i < end; ++i) {
      if (node.words.at(i) == old_address) return Replace(node, i, new_address);
    }
    for (std::size_t i = begin; i < end; ++i) {
      std::string& word = node.words.at(i);
      if (NormalAddress(m_dialect, word) != NormalAddress(m_dialect, old_address)) continue;
      word = new_address;
      node.address = i;
      return;
    }
    throw Open{};
  }

  static void Replace(Node& node, std::size_t index, const std::string& word) {
    node.words.at(index) = word;
    node.replaced.push_back(index);
  }

  // The directive that a line is about. kNoPlace: there is none.
  std::size_t PlaceOfLine(const TemplateNode& line, std::size_t parent) {
    if (IsNameLine(line)) return PlaceOfName(line, parent);
    if (IsListen(line)) return PlaceOfListen(line, parent);
    const auto olds = Forms(line, true);
    const auto news = Forms(line, false);
    if (!olds || !news || (HasTrailing(line) && line.enabled && !TrailingWords(line))) {
      return kNoPlace;
    }
    for (const Words& words : {*olds, *news}) {
      Ids found;
      std::size_t wanted = kNoPlace;
      for (const Node& node : At(parent).children) {
        if (!node.IsDirective() || node.removed) continue;
        if (!(HasTrailing(line) ? BeginsWith(node, words) : Equals(node, words))) continue;
        found.push_back(node.id);
        if (HasTrailing(line) && EndsWith(node, words.size(), TrailingWords(line)))
          wanted = node.id;
      }
      if (found.size() > 1) {
        if (!HasTrailing(line)) throw Open{};
        if (line.enabled && wanted != kNoPlace && Reads(kWantedLineIsThere)) return wanted;
        throw Refusal{"a trailing place fits several lines"};
      }
      const bool in_condition = StandsInCondition(line, words, At(parent));
      // A user sees it in the block: it may be meant, and it may not.
      if (in_condition && (found.empty() || !line.enabled)) throw Open{};
      if (!found.empty()) return found.front();
    }
    if (NameStandsInConditionOnly(line, At(parent))) throw Open{};
    return kNoPlace;
  }

  bool StandsInCondition(const TemplateNode& line, const Words& words, const Node& block) const {
    return std::any_of(block.children.begin(), block.children.end(), [&](const Node& child) {
      if (!child.IsBlock() || !SameName(child.words.at(0), "IfModule")) return false;
      return std::any_of(child.children.begin(), child.children.end(), [&](const Node& node) {
        return node.IsDirective() && !node.removed &&
               (HasTrailing(line) ? BeginsWith(node, words) : Equals(node, words));
      });
    });
  }

  // Then a new one may stand beside them, and it may not.
  bool NameStandsInConditionOnly(const TemplateNode& line, const Node& block) const {
    const Words name = {NameOf(line)};
    const bool own =
        std::any_of(block.children.begin(), block.children.end(), [&](const Node& node) {
          return node.IsDirective() && SameName(node.words.at(0), name.front());
        });
    return !own &&
           std::any_of(block.children.begin(), block.children.end(), [&](const Node& child) {
             if (!child.IsBlock() || !SameName(child.words.at(0), "IfModule")) return false;
             return std::any_of(
                 child.children.begin(), child.children.end(), [&](const Node& node) {
                   return node.IsDirective() && SameName(node.words.at(0), name.front());
                 });
           });
  }

  bool BeginsWith(const Node& node, const Words& words) const {
    return SameName(node.words.at(0), words.at(0)) && node.words.size() >= words.size() &&
           std::equal(words.begin() + 1, words.end(), node.words.begin() + 1);
  }

  static bool EndsWith(const Node& node, std::size_t from, const std::optional<Words>& words) {
    return words && std::equal(node.words.begin() + static_cast<std::ptrdiff_t>(from),
                               node.words.end(), words->begin(), words->end());
  }

  std::optional<Words> TrailingWords(const TemplateNode& line) const {
    const auto found = m_edit.values.find(line.words.back().value);
    if (found == m_edit.values.end() || !found->second.new_text) return std::nullopt;
    return SplitWords(*found->second.new_text);
  }

  std::size_t PlaceOfName(const TemplateNode& line, std::size_t parent) {
    const Words names = NamesOf(m_dialect, At(parent));
    bool old = true;
    const auto has_all = [&] {
      return std::all_of(line.words.begin() + 1, line.words.end(), [&](const TemplateWord& word) {
        const auto name = old ? OldForm(word, m_edit) : NewForm(word, m_edit);
        return name && Contains(names, Name(*name));
      });
    };
    if (!has_all()) {
      old = false;
      if (!has_all()) throw Open{};
    }
    const TemplateWord& word = line.words.at(1);
    const std::string first = Name(*(old ? OldForm(word, m_edit) : NewForm(word, m_edit)));
    for (const Node& node : At(parent).children) {
      if (!node.IsDirective() || node.removed || !HoldsNames(m_dialect, node)) continue;
      if (std::any_of(node.words.begin() + 1, node.words.end(),
                      [&](const std::string& name) { return Name(name) == first; })) {
        return node.id;
      }
    }
    throw Open{};
  }

  std::size_t PlaceOfListen(const TemplateNode& line, std::size_t parent) {
    for (const bool old : {true, false}) {
      const auto words = Forms(line, old);
      if (!words) return kNoPlace;
      for (const Node& node : At(parent).children) {
        if (!node.IsDirective() || node.removed || node.words.at(0) != "listen") continue;
        if (NormalAddress(m_dialect, node.words.at(1)) != NormalAddress(m_dialect, words->at(1))) {
          continue;
        }
        for (std::size_t i = 2; i < words->size(); ++i) {
          if (!Contains(node.words, words->at(i))) throw Open{};  // an option to be added
        }
        if (!line.enabled && node.words.size() != words->size()) throw Open{};
        return node.id;
      }
    }
    return kNoPlace;
  }

  void ApplyLine(const std::vector<TemplateNode>& nodes, std::size_t index, std::size_t parent,
                 Ids& places) {
    const TemplateNode& line = nodes.at(index);
    const auto olds = Forms(line, true);
    const auto news = Forms(line, false);
    if (!olds || !news) return;
    if (HasTrailing(line) && !TrailingWords(line)) return;
    const std::size_t place = places.at(index);
    if (place == kNoPlace) {
      places.at(index) = Add(nodes, index, parent, places);
      return;
    }
    Node& node = At(place);
    if (IsNameLine(line)) return ChangeNames(line, parent);
    if (IsListen(line)) return ChangeListen(*olds, *news, node);
    for (std::size_t i = 1; i < news->size(); ++i) {
      if (node.words.at(i) != news->at(i)) Replace(node, i, news->at(i));
    }
    if (HasTrailing(line)) ChangeTail(node, news->size(), *TrailingWords(line));
  }

  void ChangeListen(const Words& olds, const Words& news, Node& node) {
    const std::string normal = NormalAddress(m_dialect, node.words.at(1));
    if (normal == NormalAddress(m_dialect, news.at(1))) return;
    if (Contains(AddressesOf(m_dialect, At(ParentOf(m_root, node.id)->id)),
                 NormalAddress(m_dialect, news.at(1)))) {
      throw Open{};  // the block listens there already
    }
    ChangeAddress(node, 1, 2, olds.at(1), news.at(1));
  }

  // Each name where it stands, in whatever line.
  void ChangeNames(const TemplateNode& line, std::size_t parent) {
    for (std::size_t i = 1; i < line.words.size(); ++i) {
      const std::string old_name = *OldForm(line.words.at(i), m_edit);
      const std::string new_name = *NewForm(line.words.at(i), m_edit);
      if (EqualIgnoringCase(old_name, new_name)) continue;
      if (!Contains(NamesOf(m_dialect, At(parent)), Name(old_name))) continue;
      if (Contains(NamesOf(m_dialect, At(parent)), Name(new_name))) throw Open{};
      for (Node& node : At(parent).children) {
        if (!node.IsDirective() || node.removed || !HoldsNames(m_dialect, node)) continue;
        for (std::size_t word = 1; word < node.words.size(); ++word) {
          if (EqualIgnoringCase(node.words.at(word), old_name)) {
            if (node.words.at(word) != old_name) node.respelled = true;
            Replace(node, word, new_name);
          } else if (Name(node.words.at(word)) == Name(old_name)) {
            throw Open{};  // has a port, or the template has one
          }
        }
      }
    }
  }

  static void ChangeTail(Node& node, std::size_t from, const Words& words) {
    if (EndsWith(node, from, words)) return;
    node.words.resize(from);
    node.words.insert(node.words.end(), words.begin(), words.end());
    node.tail = from;
  }

  // ---- What is new ----

  std::optional<Node> Made(const TemplateNode& from) {
    auto words = Forms(from, false);
    if (!words) return std::nullopt;
    Node node;
    node.kind = from.is_block ? Node::Kind::kBlock : Node::Kind::kDirective;
    node.words = *words;
    node.is_new = true;
    node.id = kFirstNewId + m_made++;
    if (!from.is_block && HasTrailing(from)) {
      const auto tail = TrailingWords(from);
      if (!tail) return std::nullopt;
      node.words.insert(node.words.end(), tail->begin(), tail->end());
    }
    for (const TemplateNode& child : from.children) {
      if (!child.enabled) continue;
      if (auto made = Made(child)) node.children.push_back(std::move(*made));
    }
    return node;
  }

  static const Node* ParentOf(const Node& node, std::size_t id) {
    for (const Node& child : node.children) {
      if (child.IsComment()) continue;
      if (child.id == id) return &node;
      if (const Node* found = ParentOf(child, id)) return found;
    }
    return nullptr;
  }

  std::size_t InsertBlock(const TemplateNode& block, std::size_t parent) {
    auto made = Made(block);
    if (!made) throw Open{};
    Ids siblings;
    CollectSiblings(At(parent), NameOf(block), parent == 0, siblings);
    std::size_t behind = kNoPlace;
    std::size_t home = parent;
    if (!siblings.empty()) {
      behind = siblings.back();
      if (parent == 0 && !IsNginx() && !Reads(kBehindTheLastOfTheFile)) {
        for (const std::size_t id : siblings) {
          if (ParentOf(m_root, id)->id == 0) behind = id;
        }
      }
      home = ParentOf(m_root, behind)->id;
    } else if (parent == 0 && IsNginx()) {
      for (const Node& node : m_root.children) {
        if (node.IsBlock() && node.words.at(0) == "http") home = node.id;
      }
    }
    std::vector<Node>& children = At(home).children;
    std::size_t gap = children.size();
    if (behind != kNoPlace) gap = IndexOf(children, behind) + 1;
    const std::size_t id = made->id;
    children.insert(children.begin() + static_cast<std::ptrdiff_t>(gap), std::move(*made));
    return id;
  }

  // Whether a node that the edit removes says where others of its kind are to stand.
  bool HasNoPlace(const Node& node) { return node.removed && !Reads(kRemovedOnesHaveAPlace); }

  // With those that the edit has made.
  void CollectSiblings(const Node& parent, const std::string& name, bool outermost, Ids& ids) {
    for (const Node& node : parent.children) {
      if (!node.IsBlock()) continue;
      if (SameName(node.words.at(0), name) && !HasNoPlace(node)) ids.push_back(node.id);
      if (outermost && IsContainer(m_dialect, node)) CollectSiblings(node, name, outermost, ids);
    }
  }

  static std::size_t IndexOf(const std::vector<Node>& nodes, std::size_t id) {
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (!nodes.at(i).IsComment() && nodes.at(i).id == id) return i;
    }
    throw Open{};
  }

  std::size_t Add(const std::vector<TemplateNode>& nodes, std::size_t index, std::size_t parent,
                  const Ids& places) {
    const TemplateNode& line = nodes.at(index);
    auto made = Made(line);
    const std::string& name = NameOf(line);
    std::vector<Node>& children = At(parent).children;
    const auto is_same = [&](const Node& node) {
      return node.IsDirective() && SameName(node.words.at(0), name) && !HasNoPlace(node) &&
             (!node.is_new || Reads(kNewLinesHaveAPlace));
    };
    const bool has_same = std::any_of(children.begin(), children.end(), is_same);
    const bool stays = std::any_of(children.begin(), children.end(), [&](const Node& node) {
      return is_same(node) && !node.removed;
    });
    if (stays && StandsOnce(m_dialect, name)) {
      if (SaysAnOldValue(line)) throw Refusal{"another value than the old one stands there"};
      throw Open{};
    }
    RefuseSecondThing(At(parent), *made, places);
    for (const std::string& word : made->words) {
      if (HoldsNames(m_dialect, *made) && Contains(NamesOf(m_dialect, At(parent)), Lower(word))) {
        throw Open{};  // an alias that is there among others
      }
    }

    std::size_t gap = 0;
    if (has_same) {
      for (std::size_t i = 0; i < children.size(); ++i) {
        if (is_same(children.at(i))) gap = i + 1;
      }
    } else {
      gap = BehindPlainOnes(children, *made);
    }
    std::size_t low = 0;
    std::size_t high = children.size();
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (places.at(i) == kNoPlace || i == index) continue;
      if (!nodes.at(i).enabled && HasNoPlace(At(places.at(i)))) continue;
      if (ParentOf(m_root, places.at(i))->id != parent) continue;  // found in a container
      const std::size_t at = IndexOf(children, places.at(i));
      if (children.at(at).is_new && !Reads(kNewLinesHaveAPlace)) continue;
      const bool alias =
          IsNameLine(nodes.at(i)) && EqualIgnoringCase(children.at(at).words.at(0), "ServerAlias");
      if (alias && !Reads(kAliasHasAPlace)) continue;
      const bool same_name = SameName(alias ? "ServerAlias" : NameOf(nodes.at(i)), name);
      if (has_same && !same_name) continue;
      if (i < index) low = std::max(low, at + 1);
      if (i > index) high = std::min(high, at);
    }
    if (low > high) throw Open{};
    const std::size_t wanted = gap;
    gap = std::clamp(gap, low, high);
    if (gap != wanted) made->above_comments = false;
    while (gap < high && children.at(gap).is_new && Reads(kNewOnesInOrder)) ++gap;
    const std::size_t id = made->id;
    children.insert(children.begin() + static_cast<std::ptrdiff_t>(gap), std::move(*made));
    return id;
  }

  // What a line of the template is does not count: there the template says both.
  void RefuseSecondThing(const Node& parent, const Node& made, const Ids& places) const {
    for (const Node& node : parent.children) {
      if (IsContainer(m_dialect, node) && HoldsSecondThing(node, made)) throw Open{};
      if (!node.IsDirective() || node.removed || node.is_new) continue;
      if (std::find(places.begin(), places.end(), node.id) != places.end()) continue;
      if (SayTwoThings(m_dialect, node.words, made.words)) {
        throw Refusal{"another directive says something else of the same"};
      }
    }
  }

  bool HoldsSecondThing(const Node& container, const Node& made) const {
    return std::any_of(container.children.begin(), container.children.end(), [&](const Node& node) {
      return node.IsDirective() ? SayTwoThings(m_dialect, node.words, made.words)
                                : IsContainer(m_dialect, node) && HoldsSecondThing(node, made);
    });
  }

  std::size_t BehindPlainOnes(const std::vector<Node>& children, Node& made) {
    std::optional<std::size_t> behind;
    for (std::size_t i = 0; i < children.size(); ++i) {
      const Node& node = children.at(i);
      if (node.removed || node.IsComment()) continue;
      if (node.IsDirective()) {
        if (!node.is_new || Reads(kNewLinesHaveAPlace)) behind = i + 1;
        continue;
      }
      if (node.is_new && !Reads(kNewLinesHaveAPlace)) continue;
      if (behind) return *behind;
      std::size_t gap = i;
      while (gap > 0 && children.at(gap - 1).IsComment()) --gap;
      made.above_comments = gap < i;
      return gap;
    }
    return behind.value_or(children.size());
  }

  static constexpr std::size_t kNoPlace = static_cast<std::size_t>(-1);

  const Dialect m_dialect;
  const Edit& m_edit;
  const unsigned m_readings;
  unsigned m_asked = 0;
  std::size_t m_made = 0;
  Node m_root;
};

// The sites that answer to a name at an address.
class Answering {
 public:
  Answering(Dialect dialect, const Node& root) : m_dialect(dialect) { Add(root); }

  const std::map<std::string, std::set<std::size_t>>& sites() const { return m_sites; }

  std::size_t Count(const std::string& key) const {
    const auto known = m_sites.find(key);
    return known == m_sites.end() ? 0 : known->second.size();
  }

 private:
  // An alias such as "*.a.example", which httpd finds before what stands behind it.
  struct Wildcard {
    std::string address;
    std::string end;
    std::size_t site = 0;
  };

  void Add(const Node& parent) {
    for (const Node& node : parent.children) {
      if (!node.IsBlock() || node.removed) continue;
      if (IsContainer(m_dialect, node)) Add(node);
      const std::string site = m_dialect == Dialect::kNginx ? "server" : "VirtualHost";
      if (IsSameName(m_dialect, node.words.at(0), site)) AddSite(node);
    }
  }

  void AddSite(const Node& node) {
    const std::size_t site = m_count++;
    Words addresses = AddressesOf(m_dialect, node);
    if (addresses.empty()) addresses.emplace_back("*:80");
    Words names = NamesOf(m_dialect, node);
    if (names.empty()) names.emplace_back();
    for (const std::string& written : addresses) {
      const std::string address = NormalAddress(m_dialect, written);
      for (const std::string& name : names) {
        std::set<std::size_t>& named = m_sites[address + " " + name];
        named.insert(site);
        for (const Wildcard& wildcard : m_wildcards) {
          if (wildcard.address == address && Ends(name, wildcard.end)) named.insert(wildcard.site);
        }
      }
    }
    AddWildcards(node, addresses, site);
  }

  static bool Ends(const std::string& name, const std::string& end) {
    return name.find('*') == std::string::npos && name.size() >= end.size() &&
           name.compare(name.size() - end.size(), end.size(), end) == 0;
  }

  void AddWildcards(const Node& node, const Words& addresses, std::size_t site) {
    for (const Node& directive : node.children) {
      if (!directive.IsDirective() || directive.removed) continue;
      if (!EqualIgnoringCase(directive.words.at(0), "ServerAlias")) continue;
      for (std::size_t i = 1; i < directive.words.size(); ++i) {
        const std::string& alias = directive.words.at(i);
        if (alias.substr(0, 1) != "*") continue;
        for (const std::string& address : addresses) {
          m_wildcards.push_back({NormalAddress(m_dialect, address), HostOf(alias.substr(1)), site});
        }
      }
    }
  }

  const Dialect m_dialect;
  std::size_t m_count = 0;
  std::vector<Wildcard> m_wildcards;
  std::map<std::string, std::set<std::size_t>> m_sites;
};

// Whether more sites answer to one name at one address than did before.
bool Collide(Dialect dialect, const Node& before, const Node& after) {
  const Answering old_ones(dialect, before);
  const Answering new_ones(dialect, after);
  return std::any_of(new_ones.sites().begin(), new_ones.sites().end(), [&](const auto& entry) {
    return entry.second.size() > std::max<std::size_t>(1, old_ones.Count(entry.first));
  });
}

void Summarize(const Node& node, std::string& summary) {
  summary += node.removed ? "-" : node.is_new ? "+" : "";
  for (const std::string& word : node.words) summary += word + "\n";
  summary += "{";
  for (const Node& child : node.children) Summarize(child, summary);
  summary += "}";
}

}  // namespace

bool Verdict::MayBeRefused() const {
  return std::any_of(accepted.begin(), accepted.end(), [](const Outcome& o) { return o.refused; });
}

bool Verdict::MayBeDone() const {
  return std::any_of(accepted.begin(), accepted.end(), [](const Outcome& o) { return !o.refused; });
}

Verdict Judge(Dialect dialect, const Node& root, const Edit& edit) {
  Verdict verdict;
  std::vector<unsigned> waiting = {0};
  std::set<unsigned> tried = {0};
  try {
    std::set<std::string> summaries;
    while (!waiting.empty()) {
      const unsigned readings = waiting.back();
      waiting.pop_back();
      Run run(dialect, root, edit, readings);
      Outcome outcome = run.Do();
      for (unsigned bit = 1; bit <= kLastReading; bit <<= 1U) {
        if ((run.asked() & bit) != 0 && tried.insert(readings | bit).second) {
          waiting.push_back(readings | bit);
        }
      }
      std::string summary = "refused";
      if (!outcome.refused) {
        summary.clear();
        Summarize(outcome.root, summary);
      }
      const bool collide = !outcome.refused && Collide(dialect, root, outcome.root);
      if (summaries.insert(summary).second) verdict.accepted.push_back(std::move(outcome));
      if (!collide || !summaries.insert("refused").second) continue;
      Outcome refusal;
      refusal.refused = true;
      refusal.why = "two sites come to answer to the same";
      verdict.accepted.push_back(std::move(refusal));
    }
  } catch (const Open&) {
    verdict.open = true;
    verdict.accepted.clear();
  }
  return verdict;
}

bool ChangesNothing(const Node& root) {
  if (root.is_new || root.removed || !root.replaced.empty() || root.tail || root.address) {
    return false;
  }
  return std::all_of(root.children.begin(), root.children.end(), ChangesNothing);
}

namespace {

Node Numbered(const Node& node, std::size_t& next_id) {
  Node copy;
  copy.kind = node.kind;
  copy.id = node.IsComment() ? 0 : next_id++;
  copy.words = node.words;
  for (const Node& child : node.children) {
    if (!child.removed) copy.children.push_back(Numbered(child, next_id));
  }
  return copy;
}

}  // namespace

Node After(const Node& root) {
  std::size_t next_id = 0;
  return Numbered(root, next_id);
}

}  // namespace alike
