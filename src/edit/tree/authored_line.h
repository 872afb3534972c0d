// SPDX-License-Identifier: Apache-2.0

// A line of a template as its author wrote it, with places in its words, and what it becomes with
// values in there.
//
//   add_header X-Site "site {% $name %}" always;     four words, a place in the third one
//
// A value belongs inside the word where its place stands: with it the server has to read the same
// words, and the author's text around it has to mean the same. Only a trailing place that stands in
// no quotes may become any number of words.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "document/document.h"
#include "edit/request.h"

namespace tov_edit {

// What a line of a template is to its server.
enum class LineKind { kBlank, kComment, kDirective, kOpening, kClosing };

// A directive, or a block's opening, as it is written.
struct Written {
  std::string text;                  // the whole line, trimmed
  std::vector<std::string> words;    // what the server makes of each: the name, then the arguments
  std::vector<std::string> spelled;  // the same as they are written
};

// What a line is with values. Without places it is the same with any, and kept once.
using WrittenPtr = std::shared_ptr<const Written>;

// What a directive has to begin with: whole words, then the beginning of the next one, which may be
// empty.
struct Beginning {
  std::vector<std::string> words;
  std::string next;
};

// A place in a line.
struct Place {
  std::size_t begin = 0;  // of its opening delimiter
  std::size_t end = 0;    // behind its closing one
  bool trailing = false;
  bool closed = true;    // it has a closing delimiter; false: it goes on to the line's end
  bool is_value = true;  // false: without a "$" it stands for none
  std::string name;
};

// In their order.
std::vector<Place> PlacesIn(std::string_view line);

// How values are put into places.
struct Handling {
  const std::set<std::string>& raw;  // those that may be more than a word, by name

  // A value whose place stands in a word (see AuthoredLine::IsInWord) is one text, and is written
  // so that the server reads just that; false: it is written as it is.
  bool quote = false;
};

// What speaks against a value's being written in quotes.
enum class Unwritable {
  kNothing,
  kControl,  // it holds a control byte, for which the server has no other spelling
  kVariable  // the server would read a variable in it, and there is no way to say otherwise
};

class AuthoredLine {
 public:
  using Values = std::map<std::string, std::string>;

  // `text` is trimmed.
  AuthoredLine(Dialect dialect, const std::string& text);

  const std::vector<Place>& places() const { return m_places; }

  // What it is, whatever the values: kDirective for one directive, kOpening for one block's
  // opening, else kBlank.
  LineKind kind() const { return m_kind; }

  // Whether the place with this number has to stay inside of its word; false: it may become any
  // number of words, or stands in a comment.
  bool IsInWord(std::size_t place) const;

  // The line with a letter in each place.
  std::string Harmless() const;

  // A word of it: what the server makes of the text around its places.
  struct PlacedWord {
    std::vector<std::string> literals;  // one more than there are places
    std::vector<std::string> names;     // of the values that stand between them
    bool open = false;                  // it may become any number of words
  };
  std::vector<PlacedWord> PlacedWords() const;

  // The line with its values.
  struct Filling {
    std::string text;  // trimmed

    // What the server makes of it; null: with its raw values it is not one directive or opening, or
    // it is not in place.
    WrittenPtr written;

    bool in_place = false;                         // every value is inside of its place
    std::vector<std::string> guilty;               // the names of those that are not, some of many
    Unwritable unwritable = Unwritable::kNothing;  // why they are not, where they are quoted
  };

  // None: there is no value for a place. `values` may hold others, too.
  std::optional<Filling> Fill(const Values& values, const Handling& handling) const;

  // What stands before the first trailing place; none: there is no such place, a value is missing,
  // or the line cannot be read.
  std::optional<Beginning> BeginningWith(const Values& values, const Handling& handling) const;

 private:
  // A word of the line.
  struct AuthoredWord {
    std::size_t begin = 0;  // in `m_marked`
    std::size_t end = 0;
    char quote = '\0';
    std::vector<std::size_t> places;    // those inside of it
    std::vector<std::string> literals;  // what the server makes of the text around these
    bool open = false;                  // it may become any number of words
  };

  // What is to stand in the line's places.
  struct Text {
    std::string value;
    bool raw = false;
  };
  using Texts = std::vector<Text>;

  // The line with texts in its places, and where each byte of `m_marked` is in there.
  struct Assembled {
    std::string text;
    std::vector<std::size_t> at;
  };

  // A word that the server reads in there.
  struct ReadWord {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string value;
  };

  void ReadWords();
  Filling AsItStands(Written written) const;
  std::optional<Texts> TextsOf(const Values& values, const Handling& handling) const;
  std::string Meant(const AuthoredWord& word, const Texts& texts) const;
  static bool IsQuoted(const AuthoredWord& word, const Texts& texts);
  std::string Spelled(const AuthoredWord& word, const Texts& texts) const;
  Assembled Assemble(const Texts& texts, bool quote) const;
  bool IsInPlace(const Texts& texts, bool quote) const;
  bool ReadsAsAuthored(const Texts& texts, bool quote) const;
  static bool MaySwallow(const AuthoredWord& word, const Texts& texts);
  bool KeepsLiterals(const Texts& texts, bool quote) const;
  static bool HoldsLiterals(const AuthoredWord& word, const Texts& texts, std::string_view value);
  static bool IsLoneQuote(const ReadWord& word);
  static bool FitsOpen(const AuthoredWord& word, const std::vector<ReadWord>& read,
                       std::size_t begin, std::size_t end);
  bool KeepsFull(const AuthoredWord& word, const std::vector<ReadWord>& read,
                 const Assembled& assembled) const;
  Unwritable WhyNotQuoted(const Texts& texts) const;
  std::vector<std::string> Guilty(const Texts& texts, bool quote) const;

  const Dialect m_dialect;
  const std::string m_text;
  const std::vector<Place> m_places;
  std::string m_marked;              // the line with one byte for each place
  std::vector<std::size_t> m_marks;  // where these are
  LineKind m_kind = LineKind::kBlank;
  std::vector<AuthoredWord> m_words;
  std::optional<Filling> m_filling;  // of a directive or an opening without places
};

// `text` with values in its places, whatever comes of it. None: there is no value for a place.
std::optional<std::string> FilledIn(std::string_view text, const AuthoredLine::Values& values);

// What the server of `dialect` makes of `text`, which is trimmed: of a directive its words, of an
// opening line those of the block's head; none: it is neither, or more than one.
std::optional<Written> ReadWritten(Dialect dialect, const std::string& text, LineKind& kind);

}  // namespace tov_edit
