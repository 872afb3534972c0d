// SPDX-License-Identifier: Apache-2.0

// The directives of a block whose words count one by one: names, a listen with its options,
// Apache's Options. Several lines of a template may be about the words of one directive; what no
// line states stays.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "edit/layout/layout.h"
#include "edit/match/comparison.h"
#include "edit/match/contents.h"
#include "edit/plan/moves.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

using Words = std::vector<NewWord>;

// Those of a line of a template.
Words WordsOf(const Written& written);

// What they are to the server.
Texts ValuesOf(const Words& words);

// The directive that they are, as the template spells them.
std::string Joined(const Words& words);

class WordDirectives {
 public:
  struct Directive {
    std::size_t child = 0;                             // its position among the children
    Words words;                                       // as they are now, the name first
    const std::vector<std::string>* before = nullptr;  // what they are in the text
    std::vector<bool> stated;  // words that a line of the template wants to be there

    bool IsChanged() const;
  };

  // What a line has to do with a directive.
  struct Outcome {
    enum class Kind {
      kMissing,  // there is no such directive yet
      kFound,    // it says all of the line
      kChanged,  // it says so now
      kSeveral,  // more than one fits: `children`
      kOther     // it says otherwise, and a second one is not allowed
    };
    Kind kind = Kind::kMissing;
    std::vector<std::size_t> children;  // the directive first
  };

  // `children` are those of a block, see Contents::WithConditions, and must outlive it. What
  // Options say in a condition is left alone: without it they would not hold.
  WordDirectives(const Document& document, BlockId block,
                 const std::vector<const Child*>& children);

  // A taken line with its full text: the old words, and the new ones.
  struct Line {
    const Written* was = nullptr;
    const Written* now = nullptr;
  };

  // What becomes of the names, of the addresses, where several lines change them at once. Of names,
  // a step for each word of a line.
  std::vector<std::vector<Step>> StepsOfNames(const std::vector<Line>& lines);
  std::vector<Step> StepsOfAddresses(const std::vector<Line>& lines);

  // A taken line with its full text: the names `was` states become those of `now`, and what `now`
  // states besides is added to the directive that has one of them. `steps`: see StepsOfNames.
  Outcome StateNames(const Written& was, const Written& now, const std::vector<Step>& steps);

  // A taken line with a trailing place: all words of one directive, but for those that other lines
  // state of it. `fixed` is the name that stands before the place, with its old and its new value;
  // "": none does.
  Outcome StateAllNames(const std::string& old_fixed, const std::string& new_fixed,
                        const Written& now);

  // A line that is not taken: its names go, but for those that a taken line states. The children
  // that have changed.
  std::vector<std::size_t> RemoveNames(const Written& written);

  // The directive that RemoveNames would take whole for a line with a trailing place.
  Outcome FindAllNames(const std::string& directive, const std::string& fixed) const;

  // The listen with the line's address and transport: those of `was` if that is given, else of
  // `now`. `may_change`: what `was` states gives way to what `now` states; false: an option more is
  // refused as kOther. `step`: see StepsOfAddresses.
  Outcome StateAddress(const Written* was, const Written& now, bool may_change, Step step);

  // The same for a line with a trailing place behind the address: all options are those of `now`.
  Outcome StateAllOptions(const Written* was, const Written& now);

  // A line that is not taken: the listens with its address go, but of one that a taken line states
  // only the options that no taken line has. The children that have changed.
  std::vector<std::size_t> RemoveAddress(const Written& written);

  // Apache's Options: the words of `now` join those that are there, those of `was` go. A word with
  // the other sign gives way.
  Outcome StateOptions(const Written& was, const Written& now);
  std::vector<std::size_t> RemoveOptions(const Written& written);

  // The directive that is this child; null: its words do not count one by one.
  const Directive* Of(std::size_t child) const;

  // Takes it whole, so that no other line is about it.
  void Take(std::size_t child);

  const std::vector<Directive>& directives() const { return m_directives; }

 private:
  struct Spot {
    Directive* directive = nullptr;
    std::size_t word = 0;
  };

  using Pointers = std::vector<Directive*>;
  using Numbers = std::set<std::size_t>;

  // The directives with a name.
  struct Named {
    Numbers all;
    Numbers free;  // in which no line of the template has stated it
  };

  // Where in a directive its names stand, by what they are in their normal form.
  struct Names {
    bool known = false;
    std::unordered_map<std::string, std::set<std::size_t>> words;
  };

  // By the names that directives have, or had: what becomes of one is looked at when it is found.
  struct NameIndex {
    std::unordered_map<std::string, std::vector<std::size_t>> directives;  // by NameKey
    std::unordered_map<std::string, Named> names;
    std::vector<Names> words;  // by directives
  };

  struct Listens {
    std::unordered_map<std::string, Numbers> by_address;  // by the name and the address
    std::unordered_map<std::string, Numbers> by_words;
  };

  // The same by addresses. Those that a line of the template has stated are apart from those that
  // none has.
  struct AddressIndex {
    Listens& Of(bool stated) { return listens.at(stated ? 1 : 0); }

    std::vector<std::string> addresses;  // by directives
    std::array<Listens, 2> listens;
  };

  // Words that go when all is found: to take one out of many moves all behind it.
  using Going = std::map<std::size_t, std::set<std::size_t>>;  // words by directives

  static Directive DirectiveOf(const Document& document, const Child& child, std::size_t position);
  std::size_t NumberOf(const Directive& directive) const;
  std::optional<std::size_t> NumberOfChild(std::size_t child) const;
  NameIndex& ByName();
  AddressIndex& ByAddress();
  Pointers Naming(const std::string& name);
  bool IsAlias(const Directive& directive, const std::string& name) const;
  Names& NamesOf(std::size_t number);
  std::optional<Spot> SpotIn(std::size_t number, const std::string& normal, bool stated_too);
  std::optional<Spot> SpotOf(const std::string& directive, bool aliases, const std::string& name,
                             bool stated_too);
  void Rename(const Spot& spot, const NewWord& word);
  void AddName(Directive& directive, const NewWord& word);
  void Drop(const Spot& spot, Going& going);
  void Erase(const Going& going);
  void Replace(Directive& directive, Words words);
  std::vector<std::size_t> WithAddress(const Texts& words);
  void KeepAddress(std::size_t number, AddressIndex& index) const;
  void KeepAddress(std::size_t number);
  Directive* FirstListen(std::unordered_map<std::string, Numbers>& listens, const std::string& key,
                         bool stated, const std::function<bool(std::size_t)>& fits);
  Directive* ListenOn(const Written& written, bool stated);
  Outcome Join(Directive& directive, const Written& now, bool may_change);
  Outcome ChangeAddress(Directive& directive, const Written& was, const Written& now,
                        bool may_change);
  std::optional<Spot> SpotOfName(const Line& line, const std::string& name, bool stated_too);
  bool ChangeName(const std::string& own, const Spot& spot, const std::string& was,
                  const std::optional<NewWord>& wanted, Step step, Going& going);
  bool SaysAddress(const Written& written);
  Outcome WholeFor(Pointers fitting, const Written& now);
  static Outcome SeveralOf(const Pointers& directives);
  Outcome WholeBesideStated(const Pointers& fitting, const Written& now);
  std::string Normal(const std::string& name) const;
  bool SameHost(const Words& a, const Words& b) const;
  static void ReplaceOptions(Directive& directive, const Written& was, const Words& wanted);
  static bool IsStated(const Directive& directive);
  static void Insert(Directive& directive, std::size_t at, const NewWord& word);
  static void Erase(Directive& directive, std::size_t at);
  static std::optional<std::size_t> WordOf(const Directive& directive, const std::string& value);
  static Outcome OutcomeOf(const Directive& directive, bool changed);

  Dialect m_dialect;
  std::vector<Directive> m_directives;  // in the order of the children
  std::set<std::string> m_removed;      // lines that are not taken, and have had their turn

  // Each is made for the first line that asks for it.
  std::optional<NameIndex> m_by_name;
  std::optional<AddressIndex> m_by_address;
};

}  // namespace tov_edit
