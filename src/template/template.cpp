// SPDX-License-Identifier: Apache-2.0

// The engine. From top to bottom, in the order in which data flows: log and helpers, the view (its
// reading, its references, its edits), conditions, substitution, statements, section tuning,
// application, facade. Whatever writes a log record stands here, since a record names this file.
#include "template/template.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "template/condition.h"
#include "template/framework/str.h"
#include "template/framework/tov_err.h"
#include "template/framework/tov_file.h"
#include "template/framework/tov_log.h"
#include "template/late_registration.h"
#include "template/parser_template.h"
#include "template/section_tree.h"

namespace tov_template {
namespace {

// --- Log ---

constexpr tov_log::Module kLog("template", "core");

// Writes a debug record with the place in this file as its prefix. The arguments, of which there is
// at least one, are built only when the record is wanted.
#define LOG_DEBUG(format, ...)                                                                 \
  do {                                                                                         \
    if (kLog.Check(tov_log::kDebug)) {                                                         \
      kLog.Write(tov_log::kDebug, "%s:%d " format, tov_file::Name(__FILE__).c_str(), __LINE__, \
                 __VA_ARGS__);                                                                 \
    }                                                                                          \
  } while (false)

void LogCall(const char* signature) {
  if (kLog.Check(tov_log::kTrace)) kLog.Write(tov_log::kTrace, "%s", signature);
}

const char* BoolText(bool value) {
  return value ? "true" : "false";
}

// --- Helpers ---

// A block of so many lines has nothing between the first and the last.
constexpr std::size_t kEmptyBlockSize = 2;

bool IsBlank(const std::string& text) {
  return str::view::Trim(text).empty();
}

// Says where the entry of a path goes when the block `old_path` gets the path `new_path`.
class Rekeying {
 public:
  Rekeying(const std::string& old_path, const std::string& new_path)
      : m_old_path(old_path),
        m_cut(old_path + kSectionSeparator),
        m_new_path(str::Trim(new_path)) {}

  bool Concerns(const std::string& path) const {
    return ConfigView::IsSubsection(m_old_path, path);
  }

  std::string NewPath(const std::string& path) const {
    std::string_view below = path;
    str::view::GetWord(below, m_cut);
    return JoinSection(m_new_path, std::string(below));
  }

 private:
  const std::string& m_old_path;
  const std::string m_cut;
  const std::string m_new_path;
};

// Calls `use` with the entries of `map` at and below `path`, and perhaps a few more, in the order
// of their keys.
template <class Map, class Use>
void ForEachBelow(Map& map, const std::string& path, Use use) {
  std::string top = path;  // without empty levels at its end: they match levels that are not there
  while (str::view::EndsWith(top, kSectionSeparator)) {
    top.resize(top.size() - kSectionSeparator.size());
  }
  const std::string below = path.empty() ? path : top + kSectionSeparator;
  auto entry = map.lower_bound(top);
  if (entry != map.end() && entry->first == top) use(entry++);
  if (entry != map.end() && entry->first < below) entry = map.lower_bound(below);
  for (; entry != map.end() && str::StartsWith(entry->first, below); ++entry) use(entry);
}

}  // namespace

// --- View: paths ---

ConfigView::Line ConfigView::SeparateParam(const std::string& line, const std::string& comment) {
  Line parts{line, std::string()};
  if (!comment.empty() && str::view::Contains(line, comment)) {
    parts.m_comment = str::RGetWord(parts.m_text, comment);
  }
  return parts;
}

bool ConfigView::IsSubsection(const std::string& parent, const std::string& path) {
  std::string_view parent_rest = parent;
  std::string_view path_rest = path;
  while (!parent_rest.empty()) {
    const std::string_view level = str::view::GetWord(parent_rest, kSectionSeparator);
    if (level != str::view::GetWord(path_rest, kSectionSeparator)) return false;
  }
  return true;
}

template <class Map>
void ConfigView::UpdateSectionPath(Map& map, const std::string& old_path,
                                   const std::string& new_path) {
  struct Move {
    typename Map::iterator entry;
    std::string path;
    typename Map::node_type node;
  };
  // Planned first, so that nothing can fail while entries are out of the map.
  const Rekeying rekeying(old_path, new_path);
  std::vector<Move> moves;
  ForEachBelow(map, old_path, [&](typename Map::iterator entry) {
    if (!rekeying.Concerns(entry->first)) return;
    moves.push_back({entry, rekeying.NewPath(entry->first), {}});
  });
  for (Move& move : moves) {
    move.node = map.extract(move.entry);
    move.node.key() = std::move(move.path);
  }
  // The last one first: of those that come to the same path it stays.
  for (auto move = moves.rbegin(); move != moves.rend(); ++move) {
    const auto result = map.insert(std::move(move->node));
    if (!result.inserted) Unindex(result.node.mapped());
  }
}

template void ConfigView::UpdateSectionPath(Params& map, const std::string& old_path,
                                            const std::string& new_path);
template void ConfigView::UpdateSectionPath(Places& map, const std::string& old_path,
                                            const std::string& new_path);

// --- View: reading ---

// Walks the lines once. A block's lines go to the block of the path that its opening line gave it.
// When it closes, the identifying lines seen inside may give it another path.
class ConfigView::Reader {
 public:
  Reader(const BaseConfig& config, SectionTree& tree)
      : m_config(config), m_look(config.GetLookAtLine()), m_tree(tree) {
    std::set<std::string> idents;
    m_config.GetIdentParams(idents);
    m_ident_names.insert(idents.begin(), idents.end());
  }

  void Read(std::list<std::string>& lines) {
    const std::string marker = m_config.GetCommentChar();
    for (LineIterator line = lines.begin(); line != lines.end(); ++line) {
      if (m_look != nullptr) {
        ReadAtALook(line);
      } else if (!marker.empty() && str::view::Contains(*line, marker)) {
        ReadAsking(line, SeparateParam(*line, marker).m_text);
      } else {
        ReadAsking(line, *line);
      }
    }
  }

 private:
  void ReadAtALook(const LineIterator& line) {
    const BaseConfig::LineLook look = m_look(*line);
    if (look.starts) OpenBlock(look.text);
    if (!look.name.empty()) KeepIdent(look.name, look.text);
    if (m_path != m_tree.Root()) Record(line, look.starts, look.unique);
    if (look.ends) CloseBlock();
  }

  void ReadAsking(const LineIterator& line, const std::string& text) {
    const bool starts = m_config.StartsSection(text);
    if (starts) OpenBlock(str::view::Trim(text));
    const std::string_view name = str::view::FirstWord(text);
    if (m_ident_names.find(name) != m_ident_names.end()) KeepIdent(name, str::view::Trim(text));
    if (m_path != m_tree.Root()) Record(line, starts, m_config.IsUniqueParam(*line));
    if (m_config.EndedSection(text)) CloseBlock();
  }

  void OpenBlock(std::string_view level) {
    m_path = m_tree.Below(m_path, level);
    m_idents.emplace_back();
  }

  void KeepIdent(std::string_view name, std::string_view text) {
    if (!m_idents.empty()) m_idents.back().emplace(name, text);
  }

  void Record(const LineIterator& line, bool starts, bool unique) {
    if (starts) {
      m_open.push_back(m_tree.OpenBlock(m_path, line, unique));
    } else if (!m_open.empty()) {
      m_open.back() = m_tree.AddLine(m_open.back(), line, unique);
    }
    SectionTree::SetEnd(m_path, line, unique);
  }

  void CloseBlock() {
    SectionTree::Node* const block = m_path;
    m_path = m_tree.Above(m_path);
    if (!m_idents.empty() && !m_idents.back().empty()) {
      // A re-keyed block drops a second level. What follows in the enclosing block is therefore
      // recorded further out; configurations that were edited so far rely on the resulting paths.
      m_path = m_tree.Above(m_path);
      m_level = SectionTree::Level(block);
      m_tree.Rekey(block, m_config.MakeSectionPath(m_level, m_idents.back()));
    }
    if (!m_open.empty()) m_open.pop_back();
    if (!m_idents.empty()) m_idents.pop_back();
  }

  const BaseConfig& m_config;
  const BaseConfig::LookAtLine m_look;
  std::set<std::string, std::less<>> m_ident_names;
  SectionTree& m_tree;
  SectionTree::Node* m_path = m_tree.Root();
  std::vector<SectionTree::Block*> m_open;                   // those whose lines are recorded
  std::vector<std::map<std::string, std::string>> m_idents;  // of each open block
  std::string m_level;                                       // of the block that closes
};

namespace {

EditObserver* Nobody() {
  static EditObserver nobody;
  return &nobody;
}

}  // namespace

namespace {

// Elements that stand for a line that is erased while unique lines are registered, because the
// dialect has merged it into another one. They follow as a pile and are set at the end, so that a
// long run of merged lines costs no more than as many short ones. Nobody looks at them in between:
// each line has one element at first, whose turn is over then.
class MergedElements {
 public:
  // `param` stood for the line that was at the address `erased`, and stands for another one now,
  // at the address `line`: so do all others that stood for the erased one.
  void Follow(const std::string* erased, const std::string* line, ConfParam& param) {
    Pile pile{param.m_line, {}};
    const auto found = m_piles.find(erased);
    if (found != m_piles.end()) {
      pile.params = std::move(found->second.params);
      m_piles.erase(found);
    }
    pile.params.push_back(&param);
    Pile& target = m_piles[line];
    if (target.params.size() < pile.params.size()) std::swap(target, pile);
    target.line = param.m_line;
    target.params.insert(target.params.end(), pile.params.begin(), pile.params.end());
  }

  // Returns whether there are any.
  bool Settle() {
    for (const auto& [line, pile] : m_piles) {
      for (ConfParam* const param : pile.params) param->m_line = pile.line;
    }
    return !m_piles.empty();
  }

 private:
  struct Pile {
    LineIterator line;
    std::vector<ConfParam*> params;
  };

  std::unordered_map<const std::string*, Pile> m_piles;
};

}  // namespace

// Has the dialect register the unique directives, block by block in the order of the paths.
//
// A merged line that an earlier view has left without the directive's name gets it back when
// another line is merged into it, and is a unique one from then on: if its turn is still to come,
// it has to be registered as well.
class ConfigView::Registration {
 public:
  Registration(ConfigView& view, SectionTree& tree)
      : m_view(view), m_config(*view.m_config), m_tree(tree) {}

  // Returns whether several elements stand for one line now.
  bool Run() {
    IndexEnds();
    std::string last;
    m_tree.ForEachBlock(false, [&](const std::string& section, SectionTree::Node* node) {
      RegisterBlock(section, *node->block);
      if (m_all) last = section;
      return !m_all;
    });
    if (m_all) {
      m_tree.ForEachBlock(true, [&](const std::string& section, SectionTree::Node* node) {
        if (section > last) RegisterBlock(section, *node->block);
        return true;
      });
    }
    return m_merged.Settle();
  }

 private:
  using Element = SectionTree::Element;

  void RegisterBlock(const std::string& section, const SectionTree::Block& block) {
    Element* const first = m_all ? block.first : block.first_unique;
    // What was looked at is as it was, unless another line has been written to.
    const bool looked_at = !m_all && m_config.GetLookAtLine() != nullptr;
    const Element* const behind = looked_at ? block.last_unique->next : nullptr;
    for (Element* each = first; each != (m_all ? nullptr : behind); each = each->next) {
      if (m_config.IsUniqueParam(*each->param.m_line)) RegisterLine(section, each->param);
    }
  }

  void RegisterLine(const std::string& section, ConfParam& param) {
    const bool hidden = MergesIntoOrdinary(section, *param.m_line);
    const std::string* const line = m_view.Address(param.m_line);
    const LineIterator before = m_view.Before(param.m_line);
    LineIterator pos = param.m_line;
    param.m_line = m_config.RegisterUniqueParam(section, pos);
    if (m_view.Address(param.m_line) == line) return;
    m_merged.Follow(line, m_view.Address(param.m_line), param);
    for (SectionTree::Node* const end : m_ends.Take(line)) {
      end->end = before;
      if (!m_view.IsLine(before)) continue;
      if (m_all || m_config.IsUniqueParam(*before)) m_ends.Add(&*before, end, end);
    }
    if (!hidden || m_all) return;
    m_all = true;
    IndexEnds();
  }

  // Whether `text` goes with others into a line that does not look like a unique directive.
  bool MergesIntoOrdinary(const std::string& section, const std::string& text) const {
    const LineIterator shared = m_config.SharedLine(section, text);
    return m_view.IsLine(shared) && !m_config.IsUniqueParam(*shared);
  }

  void IndexEnds() {
    for (SectionTree::Node& node : m_tree.Nodes()) {
      if (!node.has_end || !m_view.IsLine(node.end)) continue;
      if (m_all || node.end_unique) m_ends.Add(&*node.end, &node, &node);
    }
  }

  ConfigView& m_view;
  BaseConfig& m_config;
  SectionTree& m_tree;
  MergedElements m_merged;
  bool m_all = false;                    // what is not known to be unique has its turn as well
  LineIndex<SectionTree::Node*> m_ends;  // on lines that have their turn: no other is erased here
};

ConfigView::ConfigView(const std::shared_ptr<BaseConfig>& config)
    : ConfigView(config, Maps::kWhole) {}

ConfigView::ConfigView(const std::shared_ptr<BaseConfig>& config, Maps maps)
    : m_config(config),
      m_observer(Nobody()),
      m_lines(config->GetList()),
      m_tree(std::make_shared<SectionTree>()),
      m_place_values(maps == Maps::kWhole ? PlaceIndex::Values::kAtOnce
                                          : PlaceIndex::Values::kWhenSettled) {
  config->RegisterRest();
  config->m_late = nullptr;
  config->m_view = this;
  Reader(*config, *m_tree).Read(*m_lines);
  if (maps == Maps::kOnDemand) LeaveForLater();
  m_lines_shared = Registration(*this, *m_tree).Run();
  if (maps == Maps::kWhole || !m_tree->IsPlain()) TakeEverything();
  config->m_late = m_late;
}

void ConfigView::LeaveForLater() {
  auto late = std::make_shared<LateRegistration>(*m_config, m_tree);
  if (late->Choose()) m_late = std::move(late);
}

bool ConfigView::OwnsLines() const {
  return m_config.use_count() == 1 && m_config->GetLookAtLine() != nullptr;
}

// --- View: blocks that are not in the maps yet ---

// The view that the facade makes leaves what it has read in the tree, and takes a block from there
// when an edit asks for it. An edit that needs more than certain blocks takes everything, and goes
// on as if it had always been in the maps. What stays behind needs no care: a block's lines are
// erased, and its path changes, when it has been taken only.

template <class Node>
void ConfigView::Take(const std::string& section, Node* node) {
  if (m_late != nullptr) m_late->Register(section, *node->block);
  Params params;
  Places ends;
  SectionTree::CopyTo(node, section, params, ends);
  Places::value_type& end = *ends.begin();
  m_params.merge(params);
  m_ends.merge(ends);
  SectionTree::Clear(node);
  if (!m_end_index || !IsLine(end.second)) return;
  try {
    m_end_index->Add(end);
  } catch (...) {
    ForgetIndexes();
    throw;
  }
}

template <class Paths>
void ConfigView::TakeAll(const Paths& paths) {
  for (const auto& [section, node] : paths) Take(section, node);
}

// The block `section`, if there is one.
void ConfigView::Take(const std::string& section) {
  if (m_tree == nullptr) return;
  SectionTree::Node* const node = m_tree->Find(section);
  if (node != nullptr && node->HoldsAnything()) Take(section, node);
}

// The block `section` and those below it. A path with empty levels stands for others as well.
void ConfigView::TakeAtAndBelow(const std::string& section) {
  if (m_tree == nullptr) return;
  const std::string padded = kSectionSeparator + section + kSectionSeparator;
  if (str::view::Contains(padded, kSectionSeparator + kSectionSeparator)) {
    TakeEverything();
  } else if (SectionTree::Node* const node = m_tree->Find(section)) {
    TakeAll(m_tree->AtAndBelow(node));
  }
}

void ConfigView::TakeBeginningWith(const std::string& section) {
  if (m_tree != nullptr) TakeAll(m_tree->BeginningWith(section));
}

void ConfigView::TakeEverything() {
  if (m_tree == nullptr) return;
  if (m_late != nullptr) m_late->RegisterAll();
  Params params;
  Places ends;
  m_tree->CopyTo(params, ends);
  const bool none = m_params.empty() && m_ends.empty();
  if (none) {
    m_params.swap(params);
    m_ends.swap(ends);
  } else {
    m_params.merge(params);
    m_ends.merge(ends);
  }
  m_tree.reset();
  ForgetIndexes();
}

// --- View: positions ---

// Tells lines apart, also one that has been erased since; null for no line.
const std::string* ConfigView::Address(const LineIterator& line) const {
  return IsLine(line) ? &*line : nullptr;
}

LineIterator ConfigView::Before(const LineIterator& line) const {
  return line == m_lines->begin() ? m_lines->end() : std::prev(line);
}

LineIterator ConfigView::After(const LineIterator& line) const {
  return IsLine(line) ? std::next(line) : line;
}

LineIterator ConfigView::LineOf(const Places::value_type& place,
                                const std::optional<PlaceIndex>& index) {
  return index ? index->LineOf(place.second) : place.second;
}

bool ConfigView::EndsBlock(const LineIterator& line) const {
  return IsLine(line) && m_config->EndedSection(*line);
}

// Whether `last` is `first` or comes after it; both are lines. Cost: grows with their distance.
bool ConfigView::Precedes(const LineIterator& first, const LineIterator& last) const {
  LineIterator ahead = first;
  LineIterator behind = first;
  while (ahead != last) {
    if (behind == last || !IsLine(ahead = After(ahead))) return false;
    if (behind != m_lines->begin()) --behind;
  }
  return true;
}

// Where the next line of `section` goes: before its last line when that closes a block, else behind
// it; the end of the list when it has none.
LineIterator ConfigView::InsertionPoint(const std::string& section) {
  Take(section);
  const auto end = m_ends.find(section);
  if (end == m_ends.end()) return m_lines->end();
  const LineIterator line = LineOf(*end, m_end_index);
  return EndsBlock(line) ? line : After(line);
}

// Whether new lines of `section` follow one another behind a block made in it. If so, moves that
// place on by a line and sets `pos` to it.
bool ConfigView::AdvanceCreated(const std::string& section, LineIterator& pos) {
  const auto created = m_created.find(section);
  if (created == m_created.end()) return false;
  pos = After(LineOf(*created, m_created_index));
  SetPlace(m_created, m_created_index, section, pos);
  return true;
}

// The lines of a block, null when it is missing. A block that has lost all its lines is missing.
ConfigView::ParamList* ConfigView::FindBlock(const std::string& section) {
  Take(section);
  const auto block = m_params.find(section);
  return block == m_params.end() || block->second.empty() ? nullptr : &block->second;
}

std::list<ConfParam>::iterator ConfigView::FindParam(std::list<ConfParam>& params,
                                                     const std::string& key) {
  const ParamText text{this};
  return std::find_if(params.begin(), params.end(), [&](const ConfParam& param) {
    const std::optional<std::string_view> line = text(param);
    return line && str::view::StartsWith(*line, key);
  });
}

// The same for the list of a block, where it is not looked through again and again.
ConfigView::ParamList::iterator ConfigView::FindOwn(ParamList& params, const std::string& key) {
  return m_finder.First(params, key, Match::kBeginning);
}

std::optional<std::string_view> ConfigView::ParamText::operator()(const ConfParam& param) const {
  if (!view->IsLine(param.m_line)) return std::nullopt;
  return str::view::Trim(*param.m_line);
}

// Whether nobody but the view changes the text. The lines of unique directives are the dialect's,
// and a line without text may be one.
bool ConfigView::ParamText::IsSteady(const ConfParam& param) const {
  const std::string& line = *param.m_line;
  return !IsBlank(line) && !view->m_config->IsUniqueParam(line) &&
         view->m_disguised.count(&line) == 0;
}

std::string ConfigView::TrimTerm(std::string text) {
  str::inpl::Trim(text);
  const std::string term = m_config->GetTermChar();
  if (!term.empty() && str::EndsWith(text, term)) {
    text.resize(text.size() - term.size());
    str::inpl::Trim(text);
  }
  return text;
}

void ConfigView::SetObserver(EditObserver* observer) {
  m_observer = observer == nullptr ? Nobody() : observer;
}

// --- View: references to lines ---

// When a line is erased, all that refers to it forgets it first: elements go, places move to the
// line before. The indexes by line find them. These only repeat what the lists and maps hold, are
// made from them when first needed, and are thrown away when memory fails in between.

void ConfigView::IndexPlaces() {
  if (m_end_index) return;
  m_created_index = IndexOf(m_created);
  m_end_index = IndexOf(m_ends);
}

PlaceIndex ConfigView::IndexOf(Places& places) const {
  PlaceIndex index(m_place_values);
  for (Places::value_type& place : places) {
    if (IsLine(place.second)) index.Add(place);
  }
  return index;
}

void ConfigView::IndexOwners() {
  if (m_owners) return;
  TakeEverything();
  OwnerIndex made;
  for (auto& [section, params] : m_params) {
    for (auto param = params.begin(); param != params.end(); ++param) {
      if (IsLine(param->m_line)) made.Add(&*param->m_line, &*param, {&params, param});
    }
  }
  m_owners = std::move(made);
}

// To be called when the text of `line` has changed, for which several elements may stand.
void ConfigView::TextChanged(const LineIterator& line) {
  if (m_finder.IsIdle()) return;
  IndexOwners();
  for (const Owner& owner : m_owners->Of(&*line)) m_finder.Changed(*owner.list, owner.element);
}

void ConfigView::Unindex(const ParamList& params) {
  m_finder.Forget(params);
  if (!m_owners) return;
  for (const ConfParam& param : params) m_owners->Remove(Address(param.m_line), &param);
}

void ConfigView::Unindex(const LineIterator& end) {
  if (m_end_index) m_end_index->Remove(end);
}

void ConfigView::SetPlace(Places& places, std::optional<PlaceIndex>& index,
                          const std::string& section, const LineIterator& line) try {
  Places::value_type& place = *places.try_emplace(section, m_lines->end()).first;
  if (index) index->Remove(place.second);
  place.second = line;
  if (index && IsLine(line)) index->Add(place);
} catch (...) {
  ForgetIndexes();
  throw;
}

void ConfigView::ErasePlace(Places& places, std::optional<PlaceIndex>& index,
                            const std::string& section) {
  const auto place = places.find(section);
  if (place == places.end()) return;
  if (index) index->Remove(place->second);
  places.erase(place);
}

void ConfigView::AddParam(ParamList& params, ParamList::iterator pos, const LineIterator& line) {
  ParamList added{ConfParam{line}};
  const auto param = added.begin();
  if (m_owners && IsLine(line)) m_owners->Add(&*line, &*param, {&params, param});
  params.splice(pos, added);
  m_finder.Added(params, param);
}

void ConfigView::EraseParam(ParamList& params, ParamList::iterator param) {
  m_finder.Erasing(params, param);
  params.erase(param);
}

// Takes `param` out of `params` and makes all else forget its line, which is then erased by the
// caller.
void ConfigView::ForgetParam(ParamList& params, ParamList::iterator param) {
  const LineIterator line = param->m_line;
  if (m_lines_shared) IndexOwners();
  if (!m_owners) EraseParam(params, param);
  Forget(line, std::next(line));
}

// Takes `block` out of the index and adds its lines to `lines`. Returns the entry behind it.
ConfigView::Params::iterator ConfigView::DropBlock(Params::iterator block, LineSet& lines) {
  for (const ConfParam& param : block->second) lines.insert(Address(param.m_line));
  Unindex(block->second);
  return m_params.erase(block);
}

// Erases the lines from `first` up to, not including, `last`. `dropped` are lines whose elements
// are gone already.
void ConfigView::EraseLines(const LineIterator& first, const LineIterator& last,
                            const LineSet& dropped) {
  const auto may_be_referred_to = [&](const std::string& line) {
    return dropped.count(&line) == 0;
  };
  if (m_lines_shared || std::any_of(first, last, may_be_referred_to)) IndexOwners();
  Forget(first, last);
  m_config->RemoveParam(first, last);
}

void ConfigView::Forget(const LineIterator& first, const LineIterator& last) try {
  IndexPlaces();
  const LineIterator before = Before(first);
  for (LineIterator line = first; line != last; ++line) {
    m_observer->Erasing(line);
    m_disguised.erase(&*line);
    if (IsLine(before)) {
      m_end_index->Move(line, before);
      m_created_index->Move(line, before);
    } else {
      for (Places::value_type* end : m_end_index->Take(&*line)) end->second = before;
      for (const Places::value_type* created : m_created_index->Take(&*line)) {
        m_created.erase(m_created.find(created->first));
      }
    }
    if (!m_owners) continue;
    for (const Owner& owner : m_owners->Take(&*line)) EraseParam(*owner.list, owner.element);
  }
} catch (...) {
  ForgetIndexes();
  throw;
}

void ConfigView::ForgetIndexes() {
  if (m_end_index) m_end_index->Settle();
  if (m_created_index) m_created_index->Settle();
  m_end_index.reset();
  m_created_index.reset();
  m_owners.reset();
}

// --- View: append ---

void ConfigView::AppendParam(const std::string& section, const std::string& param,
                             const std::string& key) {
  assert(IsLast());
  const LateRegistration::Hold hold(m_late.get());
  if (section.empty() || IsBlank(param)) return;
  ParamList* const params = FindBlock(section);
  const bool unique = m_config->IsUniqueParam(param);
  if (params == nullptr) {
    if (!unique && !m_config->EndedSection(str::Trim(param))) MakeBlock(section, param);
  } else if (unique) {
    AppendUnique(section, *params, param);
  } else if (!key.empty()) {
    AppendOrdinary(section, *params, param, key);
  }
}

void ConfigView::MakeBlock(const std::string& section, const std::string& param) {
  const std::string parent = ParentSection(section);
  LineIterator pos;
  if (!AdvanceCreated(parent, pos)) pos = InsertionPoint(parent);
  const LineIterator line = m_config->AppendParam(pos, param);
  m_observer->Added(line);
  ParamList& params = m_params[section];
  AddParam(params, params.end(), line);
  SetPlace(m_ends, m_end_index, section, line);
  if (str::EndsWith(section, kSectionSeparator)) {
    LOG_DEBUG("create section '%s'", str::Trim(param).c_str());
  }
}

// Calls `edit`, which may write a line anew that holds the values of `param` with others.
template <class Edit>
void ConfigView::ReportSharedLine(const std::string& section, const std::string& param, Edit edit) {
  const LineIterator line = m_config->SharedLine(section, param);
  const std::string before = IsLine(line) ? *line : std::string();
  edit();
  if (!IsLine(line)) return;
  // A unique directive is read anew each time.
  if (!m_config->IsUniqueParam(before) || !m_config->IsUniqueParam(*line)) TextChanged(line);
  m_observer->Changed(line, before);
}

// Calls `make`, which may make lines before `pos`.
template <class Make>
void ConfigView::ReportNewLines(const LineIterator& pos, Make make) {
  const LineIterator before = Before(pos);
  make();
  LineIterator line = IsLine(before) ? std::next(before) : m_lines->begin();
  for (; line != pos; ++line) m_observer->Added(line);
}

void ConfigView::AppendUnique(const std::string& section, ParamList& params,
                              const std::string& param) {
  const LineIterator pos = InsertionPoint(section);
  LineIterator line = pos;
  ReportSharedLine(section, param, [&] {
    ReportNewLines(pos, [&] { line = m_config->AppendUniqueParam(section, pos, param); });
  });
  if (line != pos) {
    AddParam(params, params.end(), line);
    SetPlace(m_ends, m_end_index, section, line);
  }
  LOG_DEBUG("append unique param '%s'", str::Trim(param).c_str());
}

void ConfigView::AppendOrdinary(const std::string& section, ParamList& params,
                                const std::string& param, const std::string& key) {
  for (const std::string& beginning : {TrimTerm(key), TrimTerm(param)}) {
    const auto found = FindOwn(params, beginning);
    if (found == params.end()) continue;
    m_observer->Found(found->m_line);
    return;
  }
  LineIterator pos;
  if (!AdvanceCreated(section, pos)) pos = InsertionPoint(section);
  const auto last = std::prev(params.end());
  const LineIterator line = m_config->AppendParam(pos, param);
  m_observer->Added(line);
  AddParam(params, EndsBlock(last->m_line) ? last : params.end(), line);
  LOG_DEBUG("append param '%s'", str::Trim(param).c_str());
  SetPlace(m_ends, m_end_index, section, line);

  const std::string parent = ParentSection(section);
  const bool starts = m_config->StartsSection(param);
  if (starts && !parent.empty()) SetPlace(m_created, m_created_index, parent, line);
  if (!starts) ErasePlace(m_created, m_created_index, section);
  if (parent.empty()) {
    m_created.clear();
    if (m_created_index) m_created_index.emplace(m_place_values);
  }
}

// --- View: remove ---

void ConfigView::RemoveParam(const std::string& section, const std::string& param, bool part_key) {
  assert(IsLast());
  const LateRegistration::Hold hold(m_late.get());
  if (section.empty() || IsBlank(param)) return;
  ParamList* const params = FindBlock(section);
  if (params == nullptr) return;
  if (m_config->IsUniqueParam(param)) {
    RemoveUnique(section, *params, param, part_key);
  } else if (m_config->StartsSection(param)) {
    RemoveBlock(section, *params);
  } else {
    RemoveOrdinary(*params, param);
  }
}

void ConfigView::RemoveUnique(const std::string& section, ParamList& params,
                              const std::string& param, bool part_key) {
  std::list<LineIterator> removed;
  ReportSharedLine(section, param,
                   [&] { m_config->RemoveUniqueParam(section, param, part_key, removed); });
  EraseHandedBack(params, removed, true);
}

// The first element of `params` for each of `lines` that has one.
std::unordered_map<const std::string*, ConfigView::ParamList::iterator> ConfigView::OwnElements(
    ParamList& params, const std::list<LineIterator>& lines) {
  LineSet wanted;
  for (const LineIterator& line : lines) wanted.insert(Address(line));
  wanted.erase(nullptr);
  if (wanted.empty()) return {};
  if (m_elements_searched >= kSearchesThatPay * m_lines->size() && !m_lines_shared) IndexOwners();

  std::unordered_map<const std::string*, ParamList::iterator> own;
  if (m_owners && !m_lines_shared) {
    for (const std::string* const line : wanted) {
      for (const Owner& owner : m_owners->Of(line)) {
        if (owner.list == &params) own.emplace(line, owner.element);
      }
    }
    return own;
  }
  for (auto param = params.begin(); param != params.end(); ++param) {
    if (wanted.count(Address(param->m_line)) != 0) own.emplace(Address(param->m_line), param);
  }
  m_elements_searched += params.size();
  return own;
}

// Erases the lines of `removed` that belong to the block, each once; the others stay.
void ConfigView::EraseHandedBack(ParamList& params, const std::list<LineIterator>& removed,
                                 bool log) {
  auto own = OwnElements(params, removed);
  std::vector<ParamList::iterator> going;
  for (const LineIterator& line : removed) {
    const auto found = own.find(Address(line));
    if (found == own.end()) continue;
    going.push_back(found->second);
    own.erase(found);
  }
  for (const ParamList::iterator& param : going) {
    const LineIterator line = param->m_line;
    if (log) LOG_DEBUG("deleted unique param '%s'", line->c_str());
    ForgetParam(params, param);
    m_config->ForgetLine(line);
    m_lines->erase(line);
  }
}

void ConfigView::RemoveBlock(const std::string& section, ParamList& params) {
  const LineIterator first = params.front().m_line;
  const LineIterator last = params.back().m_line;
  if (!IsLine(first) || !IsLine(last) || !Precedes(first, last)) return;
  TakeBeginningWith(section);
  LineSet dropped;
  auto block = m_params.lower_bound(section);
  while (block != m_params.end() && str::StartsWith(block->first, section)) {
    block = DropBlock(block, dropped);
  }
  EraseLines(first, std::next(last), dropped);
  ErasePlace(m_ends, m_end_index, section);
}

void ConfigView::RemoveOrdinary(ParamList& params, const std::string& param) {
  const auto found = FindOwn(params, TrimTerm(param));
  if (found == params.end()) return;
  const LineIterator line = found->m_line;
  ForgetParam(params, found);
  m_config->RemoveParam(line);
  LOG_DEBUG("deleted param '%s'", str::Trim(param).c_str());
}

void ConfigView::RemoveEmptySections() {
  assert(IsLast());
  const LateRegistration::Hold hold(m_late.get());
  TakeSmallBlocks();
  for (auto block = m_params.begin(); block != m_params.end();) {
    if (!IsRemovable(*block)) {
      ++block;
      continue;
    }
    const LineIterator first = block->second.front().m_line;
    const LineIterator last = block->second.back().m_line;
    LOG_DEBUG("Remove empty section '%s'", str::Trim(*first).c_str());
    const std::string section = block->first;
    m_observer->RemovingEmptyBlock(section);
    LineSet dropped;
    DropBlock(block, dropped);
    EraseLines(first, std::next(last), dropped);
    block = m_params.upper_bound(section);
  }
}

// Those that may have to go. What has a block below it is protected.
void ConfigView::TakeSmallBlocks() {
  if (m_tree != nullptr) TakeAll(m_tree->SmallBlocks(kEmptyBlockSize));
}

// Whether `block` is empty and nothing protects it. What protects it is the end of a block whose
// path begins with its own; the ends of removed blocks stay, and go on protecting.
bool ConfigView::IsRemovable(const Params::value_type& block) const {
  const auto& [section, params] = block;
  if (params.empty() || params.size() > kEmptyBlockSize) return false;
  if (m_tree != nullptr && m_tree->HoldsMoreThan(section)) return false;
  const auto next_end = m_ends.upper_bound(section);
  if (next_end != m_ends.end() && str::StartsWith(next_end->first, section)) return false;
  const LineIterator first = params.front().m_line;
  const LineIterator last = params.back().m_line;
  return IsLine(first) && IsLine(last) && Precedes(first, last);
}

// --- View: change ---

void ConfigView::ChangeParam(const std::string& section, const std::string& old_param,
                             const std::string& new_param, const std::string& key) {
  assert(IsLast());
  const LateRegistration::Hold hold(m_late.get());
  if (section.empty() || IsBlank(new_param) || (IsBlank(old_param) && IsBlank(key))) return;
  ParamList* const params = FindBlock(section);
  if (params == nullptr) return;
  if (m_config->IsUniqueParam(new_param)) {
    ChangeUnique(section, *params, new_param);
  } else {
    const auto param = FindOwn(*params, str::Trim(IsBlank(key) ? old_param : key));
    if (param == params->end()) return;
    ChangeOrdinary(section, *params, param, new_param);
  }
  LOG_DEBUG("Change param from '%s' to '%s'", str::Trim(old_param).c_str(),
            str::Trim(new_param).c_str());
}

void ConfigView::ChangeOrdinary(const std::string& section, ParamList& params,
                                ParamList::iterator param, const std::string& new_param) {
  const LineIterator line = param->m_line;
  if (m_config->IsUniqueParam(*line)) m_disguised.insert(&*line);
  const std::string marker = m_config->GetCommentChar();
  const std::string comment = SeparateParam(*line, marker).m_comment;
  const std::string before = *line;
  m_config->ChangeParam(line, str::Append(new_param, comment, marker));
  m_observer->Changed(line, before);
  if (m_lines_shared) {
    TextChanged(line);
  } else {
    m_finder.Changed(params, param);
  }
  if (!m_config->StartsSection(new_param)) return;
  const std::string new_path = JoinSection(ParentSection(section), new_param);
  TakeAtAndBelow(section);
  TakeAtAndBelow(str::Trim(new_path));
  UpdateSectionPath(m_params, section, new_path);
  UpdateSectionPath(m_ends, section, new_path);
}

void ConfigView::ChangeUnique(const std::string& section, ParamList& params,
                              const std::string& new_param) {
  LineIterator last = params.back().m_line;
  std::list<LineIterator> removed;
  ReportNewLines(last, [&] { m_config->ChangeUniqueParam(section, last, new_param, removed); });
  if (last != params.back().m_line) {
    params.back().m_line = last;
    m_lines_shared = true;
    m_owners.reset();
    m_finder.Forget(params);
  }
  EraseHandedBack(params, removed, false);
}

// --- Conditions ---

namespace {

// What an operand names: its text without pairs of double quotes and without a leading "$".
std::string OperandName(const std::string& operand) {
  std::string name = str::Replace(operand, "\"\"", "");
  if (str::StartsWith(name, "$")) name.erase(0, 1);
  return name;
}

}  // namespace

Condition::Condition(const std::string& statement, const Values& values)
    : m_text(str::Trim(statement)) {
  str::GetWord(m_text, ' ');  // the keyword
  KeepValue(std::string(), values);
  for (std::string_view rest = m_text; !rest.empty();) {
    KeepValue(OperandName(std::string(str::view::GetWord(rest))), values);
  }
}

void Condition::KeepValue(const std::string& name, const Values& values) {
  const auto value = values.find(name);
  if (value != values.end()) m_values.insert(*value);
}

bool Condition::Result() const {
  const bool any = str::view::Contains(m_text, " or ");
  const bool all = str::view::Contains(m_text, " and ");
  std::list<std::string> comparisons;
  if (any) str::Split(m_text, " or ", comparisons);
  if (all) str::Split(m_text, " and ", comparisons);
  if (!any && !all) comparisons.push_back(m_text);

  std::vector<bool> results;
  for (const std::string& comparison : comparisons) {
    results.push_back(Compare(ParseExpression(comparison), !results.empty() && results.back()));
  }
  // With both words, each step yields its own result, so that the first comparison decides.
  bool value = !any;
  for (auto result = results.rbegin(); result != results.rend(); ++result) {
    if (any) value = value || *result;
    if (all) value = value && *result;
    if (!any && !all) value = *result;
  }
  return value;
}

Condition::Expression Condition::ParseExpression(const std::string& text) const {
  std::string_view rest = text;
  Expression expression;
  expression.m_lvalue = str::view::GetWord(rest);
  expression.m_sign = str::view::GetWord(rest);
  expression.m_rvalue = str::view::GetWord(rest);

  const bool complete = !expression.m_sign.empty() && !expression.m_rvalue.empty();
  expression.m_lvalue = OperandName(expression.m_lvalue);
  expression.m_rvalue = OperandName(expression.m_rvalue);
  if (complete) {
    Lookup(expression.m_lvalue);
    Lookup(expression.m_rvalue);
  }
  LOG_DEBUG("lvalue %s, m_sign %s, rvalue %s", expression.m_lvalue.c_str(),
            expression.m_sign.c_str(), expression.m_rvalue.c_str());
  return expression;
}

// Replaces a value's name by the value. A name that is not known stands for itself.
void Condition::Lookup(std::string& operand) const {
  const auto value = m_values.find(operand);
  if (value != m_values.end()) operand = value->second;
}

// `previous` is the result of the comparison before, which an unknown operator repeats.
bool Condition::Compare(const Expression& expression, bool previous) const {
  const auto& [left, right, sign] = expression;
  if (sign.empty()) return m_values.count(left) != 0;
  if (sign == "==") return left == right;
  if (sign == "!=") return left != right;
  if (sign == ">") return left > right;
  if (sign == "<") return left < right;
  return previous;
}

void BoolStackTape::Open(bool taken) {
  m_stack.emplace_back();
  Push(taken);
}

void BoolStackTape::Append(const bool& taken) {
  if (!m_stack.empty()) Push(taken);
  LOG_DEBUG("Append '%s' into stack", BoolText(taken));
}

void BoolStackTape::Close() {
  if (m_stack.empty()) return;
  m_stack.pop_back();
  m_any_taken.resize(m_stack.size());
}

void BoolStackTape::Push(bool taken) {
  m_stack.back().push(taken);
  m_any_taken.resize(m_stack.size());
  m_any_taken.back() = m_any_taken.back() || taken;
}

bool BoolStackTape::Enabled() const {
  return !InChain() || m_stack.back().top();
}

bool BoolStackTape::EnclosingEnabled() const {
  return m_stack.size() < 2 || m_stack[m_stack.size() - 2].top();
}

// --- Template: values ---

namespace {

const std::string kFullOpen = "{%";
const std::string kFullClose = "%}";
const std::string kTrailingOpen = "[%";
const std::string kTrailingClose = "%]";
const std::string kComment = "{#}";

}  // namespace

Template::Template(const std::shared_ptr<BaseConfig>& config, const Values& old_values,
                   const Values& new_values)
    : Template(config, old_values, new_values, Maps::kWhole) {}

Template::Template(const std::shared_ptr<BaseConfig>& config, const Values& old_values,
                   const Values& new_values, Maps maps)
    : ConfigView(config, maps), m_old_values(old_values), m_new_values(new_values) {}

Value Template::ParseString(const std::string& text, const std::string& open,
                            const std::string& close, const Values& values) const {
  std::string_view rest = text;
  std::string output;
  for (std::size_t place; (place = rest.find(open)) != std::string_view::npos;) {
    // A closing delimiter that is missing or stands before the place makes the length wrap around:
    // the content then runs to the end.
    const std::size_t start = place + open.size();
    std::string_view content = str::view::Trim(rest.substr(start, rest.find(close) - start));
    if (!str::view::StartsWith(content, "$")) return Value(std::string(content));
    content.remove_prefix(1);
    const auto value = values.find(std::string(content));
    if (value == values.end()) return NullValue();
    output += str::view::GetWord(rest, open);
    str::view::GetWord(rest, close);
    output += value->second;
  }
  output += rest;
  return output;
}

Template::ParseValues Template::Parse(const std::string& line) const {
  ParseValues parsed;
  const bool both =
      str::view::Contains(line, kFullOpen) && str::view::Contains(line, kTrailingOpen);
  parsed.m_const = !both && m_config->IsConstExpression(line);

  parsed.m_value = ParseString(line, kFullOpen, kFullClose, m_new_values);
  if (!parsed.m_value.IsNull()) {
    const std::string& text = parsed.m_value.Str();
    parsed.m_key = parsed.m_const ? m_config->GetKeyFieldConstParam(text) : str::Trim(text);
    parsed.m_value = ParseString(text, kTrailingOpen, kTrailingClose, m_new_values);
  }

  parsed.m_old_value = ParseString(line, kFullOpen, kFullClose, m_old_values);
  if (!parsed.m_old_value.IsNull()) {
    const std::string& text = parsed.m_old_value.Str();
    // Not trimmed, unlike above: a line that has its old values is looked for with its indentation.
    parsed.m_key = parsed.m_const ? m_config->GetKeyFieldConstParam(text) : text;
    parsed.m_old_value = ParseString(text, kTrailingOpen, kTrailingClose, m_old_values);
  }

  const std::size_t trailing = parsed.m_key.Str().find(kTrailingOpen);
  if (trailing != std::string::npos) {
    parsed.m_part_key = true;
    parsed.m_key.Str().resize(trailing);
  }
  return parsed;
}

std::string Template::GetPrototype() const {
  std::set<std::string> idents;
  m_config->GetIdentParams(idents);
  std::string prototype;
  for (const TemplateActionItem& item : m_actions) {
    if (!item.m_enabled) continue;
    const std::string line = item.m_param.m_value.Str();
    const bool shown = str::view::Contains(line, kFullOpen) ||
                       idents.count(std::string(str::view::FirstWord(line))) != 0 ||
                       m_config->StartsSection(line) || m_config->EndedSection(line);
    if (shown) str::inpl::Append(prototype, line, "\n");
  }
  return prototype;
}

// --- Template: statements ---

namespace {

enum class Statement { kNone, kEndif, kElse, kElif, kIf, kImport };

// What `line` says when it begins with "{%". The keyword is a prefix of what follows, and the first
// one that matches counts.
Statement StatementOf(std::string_view line) {
  line = str::view::Trim(line);
  if (!str::view::StartsWith(line, kFullOpen)) return Statement::kNone;
  line = str::view::Trim(line.substr(kFullOpen.size()));
  for (const auto& [keyword, statement] :
       {std::pair("endif", Statement::kEndif), std::pair("else", Statement::kElse),
        std::pair("elif", Statement::kElif), std::pair("if", Statement::kIf),
        std::pair("import", Statement::kImport)}) {
    if (str::view::StartsWith(line, keyword)) return statement;
  }
  return Statement::kNone;
}

}  // namespace

// The unread rest of a template: the text of the template, and of imported files on top of it, each
// with the position up to which it has been read.
class Template::Source {
 public:
  explicit Source(const std::string& text) { Insert(text, {}); }

  // Moves to the next line. False at the end.
  bool Next(std::string& line) {
    while (!m_texts.empty() && m_texts.back().unread.empty()) m_texts.pop_back();
    if (m_texts.empty()) return false;
    Text& text = m_texts.back();
    line = str::view::GetWord(text.unread, '\n');
    ++text.place.line;
    return true;
  }

  // Of the line that Next has moved to.
  const Place& GetPlace() const { return m_texts.back().place; }

  // Puts the trimmed content of the file `path` before what is unread.
  void Import(const std::string& path) {
    if (!m_imported.insert(path).second) {
      throw tov_err::Error("template", "circular_import").add_param("filename", path, kParamAccess);
    }
    const std::string text = tov_file::ReadE(path);
    const std::string trimmed = str::Trim(text);
    const std::string_view leading(text.data(), text.find(trimmed));
    const auto lines_before = std::count(leading.begin(), leading.end(), '\n');
    Insert(trimmed,
           {std::make_shared<const std::string>(path), static_cast<std::size_t>(lines_before)});
  }

 private:
  static constexpr tov_access::AccessMask kParamAccess = 0xE0000000;

  struct Text {
    std::unique_ptr<const std::string> text;
    std::string_view unread;
    Place place;  // of the line read last
  };

  void Insert(const std::string& text, Place before_it) {
    auto copy = std::make_unique<const std::string>(text);
    const std::string_view unread = *copy;
    m_texts.push_back({std::move(copy), unread, std::move(before_it)});
  }

  std::vector<Text> m_texts;
  std::set<std::string> m_imported;
};

bool Template::IsIf(const std::string& line) {
  return StatementOf(line) == Statement::kIf;
}

bool Template::IsImport(const std::string& line) {
  return StatementOf(line) == Statement::kImport;
}

void Template::SetTemplate(const std::string& text) {
  Source source(text);
  LOG_DEBUG("%s", "Create tapestack");
  m_actions.clear();
  m_statements.clear();
  BoolStackTape tape;
  for (std::string line; source.Next(line);) {
    const Statement statement = StatementOf(line);
    if (statement != Statement::kNone) {
      m_statements.push_back(
          {Parse(line).m_value.Str(), true, source.GetPlace(), m_actions.size()});
    }
    switch (statement) {
      case Statement::kEndif:
        tape.Close();
        break;
      case Statement::kElse:
        ReadElse(line, tape);
        break;
      case Statement::kElif:
        ReadElif(tape);
        break;
      case Statement::kIf:
        ReadIf(tape);
        break;
      case Statement::kImport:
        ReadImport(source);
        break;
      case Statement::kNone:
        ReadLine(line, source.GetPlace(), tape);
        break;
    }
  }
  TuneSections();
}

// Taken when no branch of the chain was. An else without an open chain changes nothing.
void Template::ReadElse(const std::string& line, BoolStackTape& tape) {
  if (!tape.InChain()) return;
  bool taken = !tape.AnyTaken();
  if (tape.m_stack.size() > 1) {
    const bool enclosing = tape.EnclosingEnabled();
    taken = taken && enclosing;
    LOG_DEBUG("Prev-stack value '%s'", BoolText(enclosing));
  }
  tape.Append(taken);
  m_statements.back().m_result = taken;
  LOG_DEBUG("'%s' with result '%s'", line.c_str(), BoolText(taken));
}

// Looks at the branch just before only: behind if and elif, a second elif may be taken although the
// if was. Templates rely on it.
void Template::ReadElif(BoolStackTape& tape) {
  const std::string& statement = m_statements.back().m_text;
  bool taken = Condition(statement, m_new_values).Result() && tape.EnclosingEnabled();
  if (tape.InChain()) taken = taken && !tape.Enabled();
  tape.Append(taken);
  m_statements.back().m_result = taken;
  LOG_DEBUG("'%s' with result '%s'", statement.c_str(), BoolText(taken));
}

void Template::ReadIf(BoolStackTape& tape) {
  const std::string& statement = m_statements.back().m_text;
  const bool taken = Condition(statement, m_new_values).Result() && tape.Enabled();
  tape.Open(taken);
  m_statements.back().m_result = taken;
  LOG_DEBUG("'%s' with result '%s'", statement.c_str(), BoolText(taken));
}

// An import is carried out in a branch not taken, too; its lines are disabled like their
// neighbours.
void Template::ReadImport(Source& source) {
  std::string statement = m_statements.back().m_text;
  str::GetWord(statement);  // the keyword
  const std::string path = tov_file::RealPath(str::Trim(statement));
  m_statements.back().m_result = tov_file::Exists(path);
  if (!m_statements.back().m_result) return;
  LOG_DEBUG("Importing file '%s'", path.c_str());
  source.Import(path);
}

void Template::ReadLine(const std::string& line, const Place& place, const BoolStackTape& tape) {
  std::string_view rest = line;
  if (str::view::StartsWith(str::view::Trim(rest), kComment)) return;
  const std::string text(str::view::GetWord(rest, kComment));
  const std::string opening = m_config->StartsSection(text) ? str::Trim(text) : std::string();
  m_actions.push_back({Parse(text), Parse(opening), tape.Enabled(), place, text});
}

// --- Template: identities of blocks ---

void Template::TuneSections() {
  std::set<std::string> idents;
  m_config->GetIdentParams(idents);
  if (idents.empty()) return;
  SectionTune tune_new(*this, idents);
  SectionTune tune_old(*this, idents);
  for (TemplateActionItem& item : m_actions) {
    tune_new.Tune(item.m_section.m_value, item.m_param.m_value);
    tune_old.Tune(item.m_section.m_old_value, item.m_param.m_old_value);
  }
}

Template::SectionTune::SectionTune(Template& owner, const std::set<std::string>& ident_params)
    : m_template(owner), m_ident_params(ident_params) {}

void Template::SectionTune::Tune(Value& section, const Value& line) {
  if (!section.IsNull() && !section.Str().empty()) {
    m_sections.push(&section);
    m_idents.emplace();
  }
  const std::string text = line.Str();
  const std::string name(str::view::FirstWord(text));
  if (m_ident_params.count(name) != 0 && !m_sections.empty()) {
    m_idents.top().emplace(name, str::Trim(text));
  }
  const BaseConfig& config = *m_template.m_config;
  if (!config.EndedSection(text) || m_sections.empty()) return;
  std::string& opening = m_sections.top()->Str();
  if (!m_idents.top().empty()) {
    opening = config.MakeSectionPath(str::Trim(opening), m_idents.top());
  }
  m_idents.pop();
  m_sections.pop();
}

// --- Template: application ---

void Template::ApplyTemplate(bool append) {
  std::string path;
  std::size_t number = 0;
  for (TemplateActionItem& item : m_actions) {
    const bool opens = !item.m_section.m_value.Str().empty();
    if (opens) EnterSection(item.m_section, path);
    m_observer->ItemBegins(number++, path);
    if (!item.m_enabled) {
      if (!append) RemoveItem(item.m_param, path);
    } else if (opens || append) {
      ChangeItem(item, path);
      if (append) AppendParam(path, item.m_param.m_value.Str(), item.m_param.m_key.Str());
    }
    if (m_config->EndedSection(item.m_param.m_value.Str())) {
      str::RGetWord(path, kSectionSeparator);
    }
  }
}

// Extends `path` by the name that the block has in the configuration now: the old one, if there is
// any.
void Template::EnterSection(ParseValues& section, std::string& path) const {
  const Value& name = section.m_old_value.IsNull() ? section.m_value : section.m_old_value;
  str::inpl::Append(path, str::Trim(name.Str()), kSectionSeparator);
}

void Template::RemoveItem(ParseValues& param, const std::string& path) {
  const bool by_key = !param.m_key.Str().empty();
  RemoveParam(path, by_key ? param.m_key.Str() : param.m_value.Str(), param.m_part_key);
}

// Changes the line of `item` when its values may have changed. A block that it opens has its new
// name from then on.
void Template::ChangeItem(TemplateActionItem& item, std::string& path) {
  ParseValues& param = item.m_param;
  ParseValues& section = item.m_section;
  const bool due = param.m_part_key || param.m_const ||
                   (!param.m_old_value.IsNull() && param.m_old_value.Str() != param.m_value.Str());
  if (!due) return;
  ChangeParam(path, param.m_old_value.Str(), param.m_value.Str(), param.m_key.Str());
  if (section.m_old_value.IsNull() || section.m_old_value.Str().empty()) return;
  str::RGetWord(path, kSectionSeparator + section.m_old_value.Str());
  str::inpl::Append(path, str::Trim(section.m_value.Str()), kSectionSeparator);
}

// --- Facade ---

// The template and the values it reads. Copies of a ParserTemplate share it.
struct ParserTemplate::Data : Template {
  explicit Data(const std::shared_ptr<BaseConfig>& config)
      : Template(config, m_old_value_map, m_new_value_map, Maps::kOnDemand) {}

  using Template::m_actions;

  void ValuesChanged() {
    m_applied = false;
    m_prototype_ready = false;
  }

  // The lines have been edited. The text is long: where the lines stay as they are until it is
  // asked for, it is not kept as well.
  void LinesChanged() {
    if (OwnsLines()) {
      m_config_text = std::string();
      m_text_due = true;
    } else {
      m_config_text = m_config->Str();
    }
  }

  // The lines are going to be edited, and the text may be asked for before that is done.
  void KeepText() {
    if (!m_text_due) return;
    m_config_text = m_config->Str();
    m_text_due = false;
  }

  std::string Text() const { return m_text_due ? m_config->Str() : m_config_text; }

  bool m_applied = false;          // the text is current
  bool m_prototype_ready = false;  // m_prototype is current
  bool m_text_due = false;         // the text is that of the lines; false: it is m_config_text
  std::string m_config_text;       // as the last application left it
  std::string m_prototype;
  Values m_old_value_map;
  Values m_new_value_map;
};

namespace {

void LogValues(const std::string& name, const Value& old_value, const Value& new_value) {
  const auto shown = [](const Value& value) { return value.IsNull() ? "Null" : value.Str(); };
  LOG_DEBUG("Template param '%s': old value '%s', new value '%s'", name.c_str(),
            shown(old_value).c_str(), shown(new_value).c_str());
}

}  // namespace

ParserTemplate::ParserTemplate(const std::shared_ptr<BaseConfig>& config)
    : m_data(std::make_shared<Data>(config)) {}

ParserTemplate& ParserTemplate::SetValue(const std::string& name, const Value& old_value,
                                         const Value& new_value) {
  // A null new value cuts the old map too, and never the new one: callers rely on it.
  if (old_value.IsNull() || new_value.IsNull()) m_data->m_old_value_map.erase(name);
  if (!old_value.IsNull()) m_data->m_old_value_map[name] = old_value.Str();
  if (!new_value.IsNull()) m_data->m_new_value_map[name] = new_value.Str();
  LogValues(name, old_value, new_value);
  m_data->ValuesChanged();
  return *this;
}

ParserTemplate& ParserTemplate::SetValue(const ParserTemplate& other) {
  const auto& old_values = other.m_data->m_old_value_map;
  for (const auto& [name, text] : old_values) m_data->m_old_value_map[name] = text;
  for (const auto& [name, text] : other.m_data->m_new_value_map) {
    m_data->m_new_value_map[name] = text;
    const auto old_value = old_values.find(name);
    LogValues(name, old_value == old_values.end() ? Value(NullValue()) : Value(old_value->second),
              text);
  }
  m_data->ValuesChanged();
  return *this;
}

ParserTemplate& ParserTemplate::ClearValues() {
  LogCall("tov_template::ParserTemplate& tov_template::ParserTemplate::ClearValues()");
  m_data->m_new_value_map.clear();
  m_data->m_old_value_map.clear();
  m_data->m_actions.clear();
  m_data->ValuesChanged();
  return *this;
}

// Leaves both results as they are: a new template alone is no reason to edit again.
ParserTemplate& ParserTemplate::SetTemplate(const std::string& text) {
  LogCall("tov_template::ParserTemplate& tov_template::ParserTemplate::SetTemplate(const string&)");
  m_data->SetTemplate(text);
  return *this;
}

ParserTemplate& ParserTemplate::ApplyTemplate() {
  LogCall("tov_template::ParserTemplate& tov_template::ParserTemplate::ApplyTemplate()");
  if (m_data->m_applied) return *this;
  m_data->KeepText();
  m_data->ApplyTemplate(false);
  m_data->ApplyTemplate(true);
  m_data->RemoveEmptySections();
  m_data->LinesChanged();
  m_data->m_applied = true;
  return *this;
}

std::string ParserTemplate::GetConfig() const {
  LogCall("std::string tov_template::ParserTemplate::GetConfig() const");
  return m_data->Text();
}

std::string ParserTemplate::GetPrototype() const {
  LogCall("std::string tov_template::ParserTemplate::GetPrototype() const");
  if (!m_data->m_prototype_ready) {
    m_data->m_prototype = m_data->GetPrototype();
    m_data->m_prototype_ready = true;
  }
  return m_data->m_prototype;
}

}  // namespace tov_template
