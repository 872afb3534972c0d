// SPDX-License-Identifier: Apache-2.0

// The dialect interface: what the engine asks of a configuration syntax.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "template/export.h"
#include "template/section_path.h"

namespace tov_template {

class ConfigView;
class LateRegistration;

// The place of a line in a dialect's line list. The end of the list stands for no line.
using LineIterator = std::list<std::string>::iterator;

// One configuration text in one dialect. It owns the text's lines, knows the syntax of one server
// family, and looks after the directives that may stand only once in a block or carry several
// values
// ("unique" directives, such as nginx's listen). Held by std::shared_ptr, used by one thread at a
// time.
//
// One view or parser at a time may stand over a dialect object. When it is gone, another one may be
// made: it reads the lines as they are then. What the first one has merged counts as the text, and
// the dialect keeps what it has registered. Two that are alive at once and both edit are not
// supported; a debug build stops at the first edit by the older one.
//
// To add a dialect, derive from LineListConfig, or from this class where lines have to be kept in
// another way. Three rules bind every dialect:
// - the line list is never rebuilt: lines are inserted, erased and changed one by one, since the
//   view keeps iterators to them;
// - no operation keeps an iterator to a line that has been erased, through whichever operation;
// - "section" is always the whole path of a block (section_path.h), "line" and "text" one line
//   without its line end.
class QELTEMPLATE_EXPORT BaseConfig {
 public:
  // `text` is the whole text of the configuration (not a file's name). It is not kept: a derived
  // class keeps the lines.
  explicit BaseConfig(const std::string& text);
  virtual ~BaseConfig();

  BaseConfig(const BaseConfig&) = delete;
  BaseConfig& operator=(const BaseConfig&) = delete;

  // Whether `line`, whose comment has been cut off, opens a block, or closes the innermost open
  // one. The line need not be trimmed.
  virtual bool StartsSection(const std::string& line) const = 0;
  virtual bool EndedSection(const std::string& line) const = 0;

  // The lines, in file order. The same list, never null, for the life of the object.
  virtual std::list<std::string>* GetList() = 0;

  // Adds the names of the directives that identify a block to `names`, which it must not clear.
  // Default: there are none.
  virtual void GetIdentParams(std::set<std::string>& names) const;

  // The last level of a block's path, from its trimmed opening line `name` and its identifying
  // directives: name of the directive -> its whole trimmed line. Default: `name`, then each line in
  // the order of the directives' names, joined by one blank.
  virtual std::string MakeSectionPath(const std::string& name,
                                      const std::map<std::string, std::string>& idents) const;

  // The text that begins a comment.
  virtual std::string GetCommentChar() const = 0;

  // The text that ends a directive. Default: "", directives end with their line.
  virtual std::string GetTermChar() const;

  // Inserts a line holding `text`, as it is, before `pos` (the end of the list appends). Returns
  // the new line.
  virtual LineIterator AppendParam(const LineIterator& pos, const std::string& text) = 0;

  // Erases the line at `pos`, which must be a line. Returns the line that followed it.
  virtual LineIterator RemoveParam(const LineIterator& pos) = 0;

  // Erases the lines from `first` up to, not including, `last`. Returns `last`.
  virtual LineIterator RemoveParam(const LineIterator& first, const LineIterator& last) = 0;

  // Replaces the text of the line at `pos`. Does nothing when `pos` is no line.
  virtual void ChangeParam(const LineIterator& pos, const std::string& text) = 0;

  // Whether `line` is a directive that the dialect manages itself, through the four operations
  // below. Default: no line is.
  virtual bool IsUniqueParam(const std::string& line) const;

  // Called once for every unique line that a block holds when the configuration has been read,
  // block by block in the order of their paths. Returns the line that the view keeps for it: `pos`;
  // or, when the dialect has erased the line at `pos`, another one or no line. It must erase no
  // other line. Default: does nothing and returns `pos`.
  virtual LineIterator RegisterUniqueParam(const std::string& section, LineIterator& pos);

  // Adds the unique directive `text` to the block `section`, making new lines before `pos` (which
  // may be no line). Returns the last line made, or `pos` when none was. Default: makes none.
  virtual LineIterator AppendUniqueParam(const std::string& section, const LineIterator& pos,
                                         const std::string& text);

  // Removes the unique directive `text` from the block `section`. Lines that have to go are not
  // erased but appended to `removed`, each once, and forgotten by the dialect; the view erases
  // them. `flag` says that `text` is only the beginning of the directive; false: the whole of it.
  // Default: does nothing.
  virtual void RemoveUniqueParam(const std::string& section, const std::string& text, bool flag,
                                 std::list<LineIterator>& removed);

  // Replaces the unique directives of the block `section` that are of the kind of `text` by `text`.
  // `pos` is the block's last line (or no line); new lines go before it, and the dialect may move
  // it. Lines that have to go are handed back in `removed` as above. Default: does nothing.
  virtual void ChangeUniqueParam(const std::string& section, LineIterator& pos,
                                 const std::string& text, std::list<LineIterator>& removed);

  // The configuration as text, written back from the lines. Cost: linear in the text.
  virtual std::string Str() const = 0;

  // Whether a template's line stands for a directive that is found by its name alone, whatever its
  // value is.
  virtual bool IsConstExpression(const std::string& line) const = 0;

  // The text by which such a directive is found. For any other line the line itself, unchanged.
  virtual std::string GetKeyFieldConstParam(const std::string& line) const = 0;

  // The line of the block `section` that holds the values of the unique directive `text` together
  // with those of others, and is written anew when they change; no line when there is none.
  // Registering, adding and removing may write to no other line that was there before, and changing
  // to none. Default: there are no such lines.
  virtual LineIterator SharedLine(const std::string& section, const std::string& text);

 protected:
  // Called with a line that the dialect has handed back, before the view erases it: what else the
  // dialect keeps of it, for other blocks as well, has to be forgotten now. A line that is handed
  // back and belongs to another block stays. Default: does nothing.
  virtual void ForgetLine(const LineIterator& line);

  // What the operations above say of a line, found out at one look.
  struct LineLook {
    std::string_view text;  // without its comment, trimmed; only of a line that starts or names
    std::string_view name;  // its first word, where that is one of GetIdentParams; else ""
    bool starts = false;    // StartsSection
    bool ends = false;      // EndedSection
    bool unique = false;    // IsUniqueParam
  };
  using LookAtLine = LineLook (*)(const std::string& line);

  // How a view that is being read looks at the lines; null: it asks the operations one by one. To
  // be overridden by a dialect none of whose operations is overridden in turn. Default: null.
  virtual LookAtLine GetLookAtLine() const;

  // Whether RegisterUniqueParam would only take note of `lines`, the unique directives of a block
  // whose path has `depth` levels, and whether the dialect lets that wait: then it calls
  // RegisterRest before each operation that shows or changes what is registered, or changes or
  // erases lines. Asked only when nothing has been registered for a view yet. Default: false.
  virtual bool CanRegisterLate(std::size_t depth, const std::vector<LineIterator>& lines) const;

  // Has everything registered that has been left for later. Does nothing when it is the view that
  // calls for the operation: it has what it needs registered itself.
  void RegisterRest() const;

 private:
  friend class ConfigView;
  friend class LateRegistration;

  const ConfigView* m_view = nullptr;        // the one that was made last
  std::shared_ptr<LateRegistration> m_late;  // what it has left for later; null: nothing
};

}  // namespace tov_template
