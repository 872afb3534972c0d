// SPDX-License-Identifier: Apache-2.0

// What a configuration and an edit of it mean, as trees. They are made at random, not read from a
// text, so that what is expected of an edit owes nothing to any reader of configurations.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace alike {

enum class Dialect { kNginx, kApache };

using Words = std::vector<std::string>;

// A piece of a configuration, and what an edit does to it.
struct Node {
  enum class Kind { kDirective, kBlock, kComment };

  Kind kind = Kind::kDirective;
  std::size_t id = 0;  // a number that no other node has; 0 for the root and for comments
  Words words;         // as the server means them; of a block its head, of a comment its text
  std::vector<Node> children;

  // What the edit does. `words` are the new ones already.
  bool is_new = false;
  bool removed = false;
  std::vector<std::size_t> replaced;   // words that change and keep their place and quotes
  std::optional<std::size_t> tail;     // the words from here on change, in what layout is open
  std::optional<std::size_t> address;  // this word becomes an equal address, in any spelling
  bool respelled = false;              // a word changes that the template spells in another case
  bool above_comments = false;         // new, and stands above the comments that follow it

  bool IsComment() const { return kind == Kind::kComment; }
  bool IsBlock() const { return kind == Kind::kBlock; }
  bool IsDirective() const { return kind == Kind::kDirective; }
};

// A word of a template: text, or text around a place.
struct TemplateWord {
  enum class Place { kNone, kFull, kTrailing };

  std::string before;
  Place place = Place::kNone;
  std::string value;  // the name of the place's value
  std::string after;
};

// A line or a block of a template.
struct TemplateNode {
  bool is_block = false;
  bool enabled = true;  // false: in a branch not taken
  std::vector<TemplateWord> words;
  std::vector<TemplateNode> children;
};

struct Value {
  std::optional<std::string> old_text;
  std::optional<std::string> new_text;
  bool read_old = false;  // the configuration is to say the old one itself
};

struct Edit {
  std::string kind;                 // for the table of outcomes
  std::vector<TemplateNode> nodes;  // outermost ones
  std::map<std::string, Value> values;
  bool all = false;
  bool must_exist = false;
  bool hostile = false;  // a value is none that its place can hold
};

TemplateWord Text(std::string text);

std::string Lower(std::string_view text);
bool EqualIgnoringCase(std::string_view a, std::string_view b);

// Whether `name` is that of a directive or section `other`.
bool IsSameName(Dialect dialect, std::string_view name, std::string_view other);

// Names of directives in the spelling of the manual and of this generator.
std::string NameDirective(Dialect dialect);

// Whether a block only says "if", so that what it holds counts as standing where it stands.
bool IsContainer(Dialect dialect, const Node& block);

// "*:80" for 80, *:80 and 0.0.0.0:80.
std::string NormalAddress(Dialect dialect, const std::string& address);

// Whether a directive says names of its server.
bool HoldsNames(Dialect dialect, const Node& directive);

// The name of a ServerName, which may have a scheme and a port, in small letters.
std::string HostOf(const std::string& name);

// In small letters; aliases included.
Words NamesOf(Dialect dialect, const Node& block);

// In normal form.
Words AddressesOf(Dialect dialect, const Node& block);

bool Contains(const Words& words, const std::string& word);

// Whether a second directive of that name in one block makes no sense.
bool StandsOnce(Dialect dialect, std::string_view name);

// Whether of two directives, beside each other, one would do nothing: they say two things of one.
bool SayTwoThings(Dialect dialect, const Words& a, const Words& b);

// The word with the old value, and with the new one. Nothing when that is missing.
std::optional<std::string> OldForm(const TemplateWord& word, const Edit& edit);
std::optional<std::string> NewForm(const TemplateWord& word, const Edit& edit);

// The text of a word where blanks and the like need quotes.
bool NeedsQuotes(std::string_view word);
std::string Quoted(const std::string& word);

// The words of a value of a trailing place.
Words SplitWords(std::string_view text);

// The edit when it has been made: what was new is old. And the edit that takes it back.
Edit Settled(Edit edit);
Edit Reversed(Edit edit);

}  // namespace alike
