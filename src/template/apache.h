// SPDX-License-Identifier: Apache-2.0

// The Apache httpd dialect.
#pragma once

#include <list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "template/export.h"
#include "template/line_index.h"
#include "template/line_list_config.h"
#include "template/line_registry.h"

namespace tov_template {

// An Apache httpd configuration. See BaseConfig for what each operation is for; here stands what it
// means for Apache.
//
// A block is identified by its opening line alone. Directives end with their line. Three directives
// carry sets of words and are managed here: a block's "Options" lines are merged into one when the
// configuration is read, and the values of "ServerAlias" and "DirectoryIndex" stand in one or more
// lines of at most kMaxPiece characters of value each.
class QELTEMPLATE_EXPORT Apache : public LineListConfig {
 public:
  // The most characters of a value that one line holds.
  QELTEMPLATE_LOCAL static constexpr std::size_t kMaxPiece = 4096;

  // The "Options" of each block: one line, whose words are those of all its "Options" lines, each
  // once, in the order in which they were first seen.
  class ParseOptions {
   public:
    // `apache` must outlive this object.
    explicit ParseOptions(Apache* apache) : m_apache(apache) {}

    // Takes over the "Options" line at `pos`. The block's first one stays and is written anew; the
    // words of a later one go into the first, and the line is erased. Returns `pos`, or the line
    // behind the erased one.
    LineIterator Register(const std::string& section, LineIterator& pos);

    // Adds the words of `text` to the block's line, or makes that line before `pos`. Returns the
    // line when it was made, else `pos`.
    LineIterator Append(const std::string& section, const LineIterator& pos,
                        const std::string& text);

    // Takes the words of `text` out of the block's line (`flag`: all words). A line without words
    // becomes an empty line, which is not written back. Does nothing for a block without the line.
    void Remove(const std::string& section, const std::string& text, bool flag);

    // The block's line, or no line.
    LineIterator MergedLine(const std::string& section) const;

    // Whether `line`, the only one of a block whose path has `depth` levels, would stay as it is
    // when it is registered.
    QELTEMPLATE_LOCAL static bool IsAsWritten(std::string_view line, std::size_t depth);

    // Whether no block has, or had, the line.
    QELTEMPLATE_LOCAL bool IsEmpty() const { return m_words.empty(); }

    // Drops what refers to `line`, which is about to be erased: the words of its block as well.
    void Forget(const LineIterator& line);

    // To be called when the text of a line has changed.
    void Changed() { m_written_last = nullptr; }

    // Appends the blocks' lines to `lines`.
    void AddLines(std::vector<LineIterator>& lines) const;

   private:
    friend struct IndexAudit;  // compares what is derived with a fresh one, in tests

    // Section path -> the directive's name as first written, then the words.
    using Words = std::map<std::string, std::list<std::string>>;
    using Lines = std::map<std::string, LineIterator>;

    // The words of a list by their texts.
    using Positions = std::unordered_map<std::string_view, std::list<std::string>::iterator>;

    QELTEMPLATE_LOCAL LineIterator RegisterFirst(Words::iterator block, const LineIterator& pos);
    QELTEMPLATE_LOCAL std::string AddWords(Words::value_type& block, bool first,
                                           std::string_view text);
    QELTEMPLATE_LOCAL void RemoveWords(const std::string& section, std::list<std::string>& words,
                                       std::string_view text);
    QELTEMPLATE_LOCAL Positions* PositionsOf(const std::string& section,
                                             std::list<std::string>& words);
    QELTEMPLATE_LOCAL static bool IsWritten(const Words::value_type& block, const std::string& line,
                                            const std::string& added);
    QELTEMPLATE_LOCAL void WriteWords(const Lines::value_type& merged, const std::string& added);
    QELTEMPLATE_LOCAL const Lines::value_type& SetLine(const std::string& section,
                                                       const LineIterator& line);
    QELTEMPLATE_LOCAL std::string Line(const std::string& section) const;

    Apache* m_apache;
    Words m_words;
    Lines m_merged_lines;  // section path -> the block's line

    // Of the blocks that have, or had, many words.
    std::map<std::string, Positions> m_positions;

    // The entries of m_merged_lines by their lines. Made when the first line is erased.
    std::optional<LineIndex<const std::string*>> m_sections;

    // The key in m_merged_lines of the block whose line holds its words and was written last, of
    // all lines; null when another one was.
    const std::string* m_written_last = nullptr;
  };

  // The lines of "ServerAlias" and "DirectoryIndex".
  class ParseHugeParam {
   public:
    // `apache` must outlive this object.
    explicit ParseHugeParam(Apache* apache) : m_apache(apache) {}

    // Cuts the next piece off the front of `value` and returns it: the whole of a value of at most
    // kMaxPiece characters, else the first kMaxPiece of the trimmed value up to their last blank
    // (space, tab, "\n" or "\r"), which goes too; without a blank all of them. As much as the piece
    // and that blank are long is cut off `value` as it is, not trimmed. A longer value of blanks
    // alone gives "" and leaves "".
    static std::string GetPartParam(std::string& value);

    // Records the line at `pos` under the first word in it.
    void Register(const std::string& section, const LineIterator& pos);

    // Makes a line for each piece of the value of `text` that no recorded line carries, before
    // `pos`. Returns the last line made, or `pos` when none was.
    LineIterator Append(const std::string& section, const LineIterator& pos,
                        const std::string& text);

    // Hands back the recorded lines that are, trimmed, the pieces of `text`, which is cut with its
    // directive's name; with `flag`, all lines of the directive.
    void Remove(const std::string& section, const std::string& text, bool flag,
                std::list<LineIterator>& removed);

    // Makes a line for each piece of the value of `text` before `pos` and hands back all lines of
    // the directive recorded before. Does nothing for a directive that the block never had.
    void Change(const std::string& section, const LineIterator& pos, const std::string& text,
                std::list<LineIterator>& removed);

    // Whether no line was ever recorded.
    QELTEMPLATE_LOCAL bool IsEmpty() const { return m_huge_lines.empty(); }

    // Drops what refers to `line`, which is about to be erased.
    void Forget(const LineIterator& line);

    // Appends the recorded lines to `lines`.
    void AddLines(std::vector<LineIterator>& lines) const;

    // To be called when the text of `line` has changed.
    void Changed(const LineIterator& line) { m_registry.Changed(line); }

   private:
    friend struct IndexAudit;  // as above

    class QELTEMPLATE_LOCAL Pieces;

    QELTEMPLATE_LOCAL LineRegistry::List* Find(const std::string& section, const std::string& name);
    QELTEMPLATE_LOCAL LineIterator MakeLine(const std::string& section, LineRegistry::List& lines,
                                            const LineIterator& pos, const std::string& text);

    Apache* m_apache;

    // Section path -> directive -> its lines, in the order in which they were recorded.
    std::map<std::string, std::map<std::string, LineRegistry::List>> m_huge_lines;
    LineRegistry m_registry;  // of the lists in m_huge_lines
  };

  // `text` is the whole text of the configuration; it may be empty.
  explicit Apache(const std::string& text);

  // True when the trimmed line begins with "<", but not with "</".
  bool StartsSection(const std::string& line) const override;

  // True when the trimmed line begins with "</", whichever tag it names.
  bool EndedSection(const std::string& line) const override;

  std::string GetCommentChar() const override { return "#"; }

  // True when the line's first word is exactly "Options", "ServerAlias" or "DirectoryIndex".
  bool IsUniqueParam(const std::string& line) const override;

  // The four operations do nothing for an empty `section`. Lines whose trimmed text begins with
  // "Options" go to ParseOptions, all others to ParseHugeParam.
  LineIterator RegisterUniqueParam(const std::string& section, LineIterator& pos) override;
  LineIterator AppendUniqueParam(const std::string& section, const LineIterator& pos,
                                 const std::string& text) override;
  void RemoveUniqueParam(const std::string& section, const std::string& text, bool flag,
                         std::list<LineIterator>& removed) override;

  // "Options" are never changed, only added and removed: nothing happens when the line at `pos` is
  // such a line. `pos` is not moved.
  void ChangeUniqueParam(const std::string& section, LineIterator& pos, const std::string& text,
                         std::list<LineIterator>& removed) override;

  // The directive's name for a line whose first word is "SSLProtocol" or "SSLCipherSuite"; for
  // "php_admin_value" the name and the setting's name, joined by a blank; any other line unchanged.
  std::string GetKeyFieldConstParam(const std::string& line) const override;

  LineIterator SharedLine(const std::string& section, const std::string& text) override;

  std::vector<LineIterator> RegisteredLines() const override;

  // The trimmed `text` behind one tab for each level of `section`.
  std::string PrepareLine(const std::string& section, const std::string& text) const;

 protected:
  void ForgetLine(const LineIterator& line) override;
  void LineChanged(const LineIterator& line) override;

  ParseOptions m_parse_options;
  ParseHugeParam m_parse_huge_param;

 private:
  friend struct IndexAudit;  // as above

  QELTEMPLATE_LOCAL static LineLook Look(const std::string& line);
  LookAtLine GetLookAtLine() const override;
  bool CanRegisterLate(std::size_t depth, const std::vector<LineIterator>& lines) const override;
};

}  // namespace tov_template
