// SPDX-License-Identifier: Apache-2.0

// The editable view of a configuration: an index of its blocks, and the edits.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "template/base_config.h"
#include "template/edit_observer.h"
#include "template/export.h"
#include "template/line_finder.h"
#include "template/line_index.h"
#include "template/place_index.h"

// A reference to one line of a block. It may stand for no line (the end of the dialect's list) when
// the dialect has merged the line into another.
struct ConfParam {
  std::list<std::string>::iterator m_line;
};

namespace tov_template {

class LateRegistration;
class SectionTree;

// The blocks of one configuration, found by their section path (section_path.h), and the operations
// that edit them. The view holds no text: it refers to the lines of the dialect's list, edits them
// through the dialect, and BaseConfig::Str writes the result back.
//
//   lines              m_params                                  m_ends
//   server {           "server { server_name a" -> 1 2 3 4       4
//     server_name a;
//     root /srv;
//   }
//   gzip on;           (outside every block: not indexed)
//
// Where blocks have the same path they share one entry. Nothing in the view ever refers to an
// erased line. No operation reports an error: what cannot be found or is empty makes a call do
// nothing. Exceptions are those of the dialect and std::bad_alloc; an edit that ends with one may
// be half done. A view and its dialect are used by one thread at a time. Another view of the same
// dialect may be made when this one is gone, see BaseConfig.
//
// Cost: an edit looks through its block, and no further; edits that go on in a long block look it
// through a few times only and then cost the logarithm of its length each.
class ConfigView {
 public:
  using Params = std::map<std::string, std::list<ConfParam>>;
  using Places = std::map<std::string, LineIterator>;

  // A line cut in two.
  struct Line {
    std::string m_text;     // the line without its comment
    std::string m_comment;  // what follows the comment marker, "" without a comment
  };

  // Reads the lines of `config`, which must not be null, and has the dialect register its unique
  // directives. Blocks that never close and closing lines too many are tolerated. Cost: linear in
  // the text, times the logarithm of the number of blocks, and in the length of all paths: that of
  // N blocks within one another grows with the square of N.
  QELTEMPLATE_EXPORT explicit ConfigView(const std::shared_ptr<BaseConfig>& config);
  ConfigView(const ConfigView&) = delete;
  ConfigView& operator=(const ConfigView&) = delete;

  // Appends the directive `param` (a whole line, written as it is) to the block `section` (its
  // whole path), unless a line of it begins with `key` or with `param`, without their terminators.
  // Where there is no such block, it is made of the one line `param`, which should be its opening
  // line and must not be a closing one. Does nothing when `section` is empty, `param` is blank, or
  // the block exists and `key` is empty. A unique directive is handed to the dialect whatever its
  // key; it never makes a block.
  QELTEMPLATE_EXPORT void AppendParam(const std::string& section, const std::string& param,
                                      const std::string& key);

  // Removes from the block `section` the first line that begins with `param`, which is trimmed and
  // loses its terminator. A `param` that opens a block removes the whole block `section`, with the
  // entries of every block whose path begins with the text of `section`. A unique directive is
  // handed to the dialect, with `part_key` saying that `param` is only its beginning. Does nothing
  // when `section` is empty or unknown, or `param` is blank.
  QELTEMPLATE_EXPORT void RemoveParam(const std::string& section, const std::string& param,
                                      bool part_key);

  // Changes the first line of the block `section` that begins with `key` (or with `old_param`, when
  // `key` is blank; both trimmed, terminator kept) to `new_param`, written as it is, followed by
  // the old line's comment. A `new_param` that opens a block renames the block: its last level
  // becomes `new_param`, and the blocks below follow. A unique directive is handed to the dialect.
  // Does nothing when `section` is empty or unknown, `new_param` is blank, or `old_param` and `key`
  // both are.
  QELTEMPLATE_EXPORT void ChangeParam(const std::string& section, const std::string& old_param,
                                      const std::string& new_param, const std::string& key);

  // Removes the blocks that hold at most two lines, and all the text between these. A block that
  // has or once had a block below it, or beside it one whose path begins with its own, is kept.
  QELTEMPLATE_EXPORT void RemoveEmptySections();

  // Cuts `line` at the last `comment` in it (the comment marker; an empty one is never found).
  QELTEMPLATE_EXPORT static Line SeparateParam(const std::string& line, const std::string& comment);

  // Whether `path` is `parent` or a path below it, level by level: "a" is no parent of "ab". An
  // empty `parent` is everyone's.
  QELTEMPLATE_EXPORT static bool IsSubsection(const std::string& parent, const std::string& path);

  // The first element of `params` whose trimmed line begins with `key`, without regard to words:
  // "listen 80" finds "listen 8080;". The end of `params` when there is none.
  QELTEMPLATE_EXPORT std::list<ConfParam>::iterator FindParam(std::list<ConfParam>& params,
                                                              const std::string& key);

  // Has the edits from now on told to `observer`, which must live as long as they are made; null
  // for nobody. Reading is not told.
  QELTEMPLATE_EXPORT void SetObserver(EditObserver* observer);

  // `text` trimmed, without one terminator of the dialect at its end, and trimmed again.
  QELTEMPLATE_EXPORT std::string TrimTerm(std::string text);

 protected:
  // How much of what has been read stands in the three maps. kOnDemand: the blocks that edits have
  // asked for, which saves nearly all the work when these are few. It is for a view whose maps
  // nobody looks at.
  enum class Maps { kWhole, kOnDemand };

  // As the other constructor, which makes whole maps.
  QELTEMPLATE_LOCAL ConfigView(const std::shared_ptr<BaseConfig>& config, Maps maps);

  // Moves the entries of `map` (m_params or m_ends) at or below `old_path` to the same places below
  // `new_path`, which is trimmed. Of several entries that come to the same path the last moved one
  // counts; one that was there already stays, and the moved one is dropped. Cost: grows with the
  // entries moved only, unless `old_path` is empty, which means all.
  template <class Map>
  QELTEMPLATE_EXPORT void UpdateSectionPath(Map& map, const std::string& old_path,
                                            const std::string& new_path);

  // Whether nobody else can get at the lines, which a dialect of the library's own keeps.
  QELTEMPLATE_LOCAL bool OwnsLines() const;

  const std::shared_ptr<BaseConfig> m_config;

  // Never null.
  EditObserver* m_observer;

  // The dialect's lines; their end stands for no line.
  std::list<std::string>* const m_lines;

  // Block -> its lines: the opening line, then every line read while it was the innermost open
  // block, its comments and its closing line included.
  Params m_params;

  // Block -> the last line read with its path, as a rule its closing line: where the next line
  // goes.
  Places m_ends;

  // Block -> the line behind which the next new block in it, or its next new line, goes. Set by a
  // block's opening line that is appended to an existing block.
  Places m_created;

 private:
  friend struct IndexAudit;  // compares it with a fresh one, in tests

  class Reader;
  class Registration;

  using ParamList = std::list<ConfParam>;
  using LineSet = std::unordered_set<const std::string*>;

  // An element of one of the lists in m_params.
  struct Owner {
    ParamList* list;
    ParamList::iterator element;
  };
  using OwnerIndex = LineIndex<Owner>;

  // How m_finder reads the elements of blocks.
  struct ParamText {
    const ConfigView* view;

    std::optional<std::string_view> operator()(const ConfParam& param) const;
    bool IsSteady(const ConfParam& param) const;
  };

  // Whether no other view has been made over the dialect since.
  bool IsLast() const { return m_config->m_view == this; }

  // Positions
  bool IsLine(const LineIterator& line) const { return line != m_lines->end(); }
  const std::string* Address(const LineIterator& line) const;
  LineIterator Before(const LineIterator& line) const;
  LineIterator After(const LineIterator& line) const;
  static LineIterator LineOf(const Places::value_type& place,
                             const std::optional<PlaceIndex>& index);
  bool EndsBlock(const LineIterator& line) const;
  bool Precedes(const LineIterator& first, const LineIterator& last) const;
  LineIterator InsertionPoint(const std::string& section);
  bool AdvanceCreated(const std::string& section, LineIterator& pos);
  ParamList* FindBlock(const std::string& section);
  ParamList::iterator FindOwn(ParamList& params, const std::string& key);

  // Blocks that are not in the maps yet
  void LeaveForLater();
  template <class Node>
  void Take(const std::string& section, Node* node);
  template <class Paths>
  void TakeAll(const Paths& paths);
  void Take(const std::string& section);
  void TakeAtAndBelow(const std::string& section);
  void TakeBeginningWith(const std::string& section);
  void TakeEverything();

  // References to lines
  void IndexPlaces();
  PlaceIndex IndexOf(Places& places) const;
  void IndexOwners();
  void TextChanged(const LineIterator& line);
  void Unindex(const ParamList& params);
  void Unindex(const LineIterator& end);
  void SetPlace(Places& places, std::optional<PlaceIndex>& index, const std::string& section,
                const LineIterator& line);
  void ErasePlace(Places& places, std::optional<PlaceIndex>& index, const std::string& section);
  void AddParam(ParamList& params, ParamList::iterator pos, const LineIterator& line);
  void EraseParam(ParamList& params, ParamList::iterator param);
  void ForgetParam(ParamList& params, ParamList::iterator param);
  Params::iterator DropBlock(Params::iterator block, LineSet& lines);
  void EraseLines(const LineIterator& first, const LineIterator& last, const LineSet& dropped);
  void Forget(const LineIterator& first, const LineIterator& last);
  void ForgetIndexes();

  // What the dialect does to lines of unique directives
  template <class Edit>
  void ReportSharedLine(const std::string& section, const std::string& param, Edit edit);
  template <class Make>
  void ReportNewLines(const LineIterator& pos, Make make);

  // One kind of edit each
  void MakeBlock(const std::string& section, const std::string& param);
  void AppendUnique(const std::string& section, ParamList& params, const std::string& param);
  void AppendOrdinary(const std::string& section, ParamList& params, const std::string& param,
                      const std::string& key);
  void RemoveUnique(const std::string& section, ParamList& params, const std::string& param,
                    bool part_key);
  std::unordered_map<const std::string*, ParamList::iterator> OwnElements(
      ParamList& params, const std::list<LineIterator>& lines);
  void EraseHandedBack(ParamList& params, const std::list<LineIterator>& removed, bool log);
  void RemoveBlock(const std::string& section, ParamList& params);
  void RemoveOrdinary(ParamList& params, const std::string& param);
  void TakeSmallBlocks();
  bool IsRemovable(const Params::value_type& block) const;
  void ChangeOrdinary(const std::string& section, ParamList& params, ParamList::iterator param,
                      const std::string& new_param);
  void ChangeUnique(const std::string& section, ParamList& params, const std::string& new_param);

  // The blocks that are not in the maps yet; null when all are. Each block is in one of the two,
  // with all its lines and its end.
  std::shared_ptr<SectionTree> m_tree;

  // Of the blocks in m_tree, those whose unique directives are to be registered when they are
  // taken; null: there are none.
  std::shared_ptr<LateRegistration> m_late;

  // The indexes by line are made when they are first needed: m_end_index and m_created_index when
  // the first line is erased; m_owners only when lines are erased that may have other owners than
  // the one at hand, which well-nested text never needs.
  std::optional<PlaceIndex> m_end_index;
  std::optional<PlaceIndex> m_created_index;
  std::optional<OwnerIndex> m_owners;

  // In the maps that nobody else looks at places are written when the indexes go.
  const PlaceIndex::Values m_place_values;

  // A line may have several elements that stand for it. False: each line has at most one.
  bool m_lines_shared = false;

  // How many elements have been looked at to find those of lines without m_owners.
  std::size_t m_elements_searched = 0;

  // Searches the lists in m_params.
  LineFinder<ConfParam, ParamText> m_finder{ParamText{this}};

  // Lines of the dialect's unique directives that were changed into ordinary ones: the dialect may
  // still write to them.
  LineSet m_disguised;
};

}  // namespace tov_template
