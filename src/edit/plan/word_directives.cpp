// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/word_directives.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "document/ascii.h"
#include "document/meaning.h"

namespace tov_edit {
namespace {

using tov_document::SameLetters;
using tov_document::SameName;
using Kind = WordDirectives::Outcome::Kind;

bool SameValues(const Words& a, const Words& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const NewWord& x, const NewWord& y) { return x.value == y.value; });
}

bool HaveValues(const Words& words, const Texts& values) {
  return std::equal(
      words.begin(), words.end(), values.begin(), values.end(),
      [](const NewWord& word, const std::string& value) { return word.value == value; });
}

// "+Indexes" and "-Indexes" without the sign; other words as they are.
std::string WithoutSign(const std::string& word) {
  const bool sign = !word.empty() && (word.front() == '+' || word.front() == '-');
  return sign ? word.substr(1) : word;
}

bool HasSign(const std::string& word) {
  return WithoutSign(word).size() != word.size();
}

bool HasWord(const Words& words, const std::string& value) {
  return std::any_of(words.begin(), words.end(),
                     [&](const NewWord& word) { return word.value == value; });
}

// Whether a name has neither scheme nor port.
bool IsBare(const std::string& name) {
  return SameLetters(tov_document::NormalName(Dialect::kApache, name), name);
}

// Whether it can stand anywhere as it is.
bool IsPlain(const std::string& name) {
  return name.find_first_of(" \t\"'\\#<>") == std::string::npos;
}

// The word of a ServerName with another host: what stands around the host stays.
NewWord Renamed(NewWord word, const std::string& host) {
  const std::string old_host = tov_document::NormalName(Dialect::kApache, word.value);
  for (std::string* const text : {&word.value, &word.spelled}) {
    const std::size_t scheme = text->find("://");
    const std::size_t from = scheme == std::string::npos ? 0 : scheme + 3;
    const std::size_t at = tov_document::Lower(*text).find(old_host, from);
    if (at == std::string::npos) return {host, host};
    text->replace(at, old_host.size(), host);
  }
  return word;
}

// The first of each.
std::vector<std::size_t> WithoutRepetition(const std::vector<std::size_t>& numbers) {
  std::vector<std::size_t> once;
  std::set<std::size_t> known;
  for (const std::size_t number : numbers) {
    if (known.insert(number).second) once.push_back(number);
  }
  return once;
}

// Options are the same, whatever their signs, when neither has one, or both have.
std::string OptionKey(const std::string& word) {
  return (HasSign(word) ? '+' : ' ') + tov_document::Lower(WithoutSign(word));
}

std::set<std::string> LowerArguments(const Written& written) {
  std::set<std::string> words;
  for (std::size_t i = 1; i < written.words.size(); ++i) {
    words.insert(tov_document::Lower(written.words[i]));
  }
  return words;
}

std::string NamedAddress(const Texts& words, const std::string& address) {
  return words.front() + ' ' + address;
}

}  // namespace

Words WordsOf(const Written& written) {
  Words words;
  words.reserve(written.words.size());
  for (std::size_t i = 0; i < written.words.size(); ++i) {
    words.push_back({written.words[i], written.spelled[i]});
  }
  return words;
}

Texts ValuesOf(const Words& words) {
  Texts values;
  values.reserve(words.size());
  for (const NewWord& word : words) values.push_back(word.value);
  return values;
}

std::string Joined(const Words& words) {
  std::string text;
  for (const NewWord& word : words) text += (text.empty() ? "" : " ") + word.spelled;
  return text;
}

bool WordDirectives::Directive::IsChanged() const {
  return !HaveValues(words, *before);
}

WordDirectives::WordDirectives(const Document& document, BlockId block,
                               const std::vector<const Child*>& children)
    : m_dialect(document.dialect()) {
  for (std::size_t i = 0; i < children.size(); ++i) {
    const Child& child = *children[i];
    const Role role = child.IsDirective() ? RoleOf(m_dialect, child.values.front()) : Role::kPlain;
    if (role == Role::kPlain || (role == Role::kOptions && child.around != block)) continue;
    m_directives.push_back(DirectiveOf(document, child, i));
  }
}

WordDirectives::Directive WordDirectives::DirectiveOf(const Document& document, const Child& child,
                                                      std::size_t position) {
  Directive directive;
  directive.child = position;
  directive.words.reserve(child.values.size());
  for (std::size_t word = 0; word < child.values.size(); ++word) {
    directive.words.push_back(
        {child.values[word], std::string(document.Bytes(child.words[word].bytes))});
  }
  directive.before = &child.values;
  directive.stated.assign(directive.words.size(), false);
  return directive;
}

std::size_t WordDirectives::NumberOf(const Directive& directive) const {
  return static_cast<std::size_t>(&directive - m_directives.data());
}

std::optional<std::size_t> WordDirectives::NumberOfChild(std::size_t child) const {
  const auto directive = std::lower_bound(
      m_directives.begin(), m_directives.end(), child,
      [](const Directive& each, std::size_t sought) { return each.child < sought; });
  if (directive == m_directives.end() || directive->child != child) return std::nullopt;
  return NumberOf(*directive);
}

WordDirectives::NameIndex& WordDirectives::ByName() {
  if (m_by_name) return *m_by_name;
  NameIndex& index = m_by_name.emplace();
  index.words.resize(m_directives.size());
  for (std::size_t number = 0; number < m_directives.size(); ++number) {
    const Words& words = m_directives[number].words;
    index.directives[NameKey(m_dialect, words.front().value)].push_back(number);
    if (RoleOf(m_dialect, words.front().value) != Role::kNames) continue;
    for (std::size_t word = 1; word < words.size(); ++word) {
      Named& named = index.names[Normal(words[word].value)];
      named.all.insert(number);
      named.free.insert(number);
    }
  }
  return index;
}

WordDirectives::AddressIndex& WordDirectives::ByAddress() {
  if (m_by_address) return *m_by_address;
  AddressIndex& index = m_by_address.emplace();
  index.addresses.resize(m_directives.size());
  for (std::size_t number = 0; number < m_directives.size(); ++number) KeepAddress(number, index);
  return index;
}

const WordDirectives::Directive* WordDirectives::Of(std::size_t child) const {
  const auto number = NumberOfChild(child);
  return number ? &m_directives[*number] : nullptr;
}

void WordDirectives::Take(std::size_t child) {
  const auto number = NumberOfChild(child);
  if (!number) return;
  Directive& taken = m_directives[*number];
  taken.stated.assign(taken.words.size(), true);
  KeepAddress(*number);
}

bool WordDirectives::IsStated(const Directive& directive) {
  return std::find(directive.stated.begin(), directive.stated.end(), true) !=
         directive.stated.end();
}

void WordDirectives::Insert(Directive& directive, std::size_t at, const NewWord& word) {
  directive.words.insert(directive.words.begin() + static_cast<std::ptrdiff_t>(at), word);
  directive.stated.insert(directive.stated.begin() + static_cast<std::ptrdiff_t>(at), true);
}

void WordDirectives::Erase(Directive& directive, std::size_t at) {
  directive.words.erase(directive.words.begin() + static_cast<std::ptrdiff_t>(at));
  directive.stated.erase(directive.stated.begin() + static_cast<std::ptrdiff_t>(at));
}

WordDirectives::Outcome WordDirectives::OutcomeOf(const Directive& directive, bool changed) {
  return {changed ? Kind::kChanged : Kind::kFound, {directive.child}};
}

// --- Names ---

std::string WordDirectives::Normal(const std::string& name) const {
  return tov_document::NormalName(m_dialect, name);
}

// The directives of a line's own name.
WordDirectives::Pointers WordDirectives::Naming(const std::string& name) {
  Pointers own;
  const NameIndex& index = ByName();
  const auto known = index.directives.find(NameKey(m_dialect, name));
  if (known == index.directives.end()) return own;
  for (const std::size_t number : known->second) own.push_back(&m_directives[number]);
  return own;
}

// Whether a name of a line of another directive may stand in this one.
bool WordDirectives::IsAlias(const Directive& directive, const std::string& name) const {
  return SameName(m_dialect, name, "ServerName") &&
         SameName(m_dialect, directive.words.front().value, "ServerAlias");
}

WordDirectives::Names& WordDirectives::NamesOf(std::size_t number) {
  Names& names = ByName().words[number];
  if (std::exchange(names.known, true)) return names;
  names.words.clear();
  const Words& words = m_directives[number].words;
  for (std::size_t i = 1; i < words.size(); ++i) names.words[Normal(words[i].value)].insert(i);
  return names;
}

std::optional<WordDirectives::Spot> WordDirectives::SpotIn(std::size_t number,
                                                           const std::string& normal,
                                                           bool stated_too) {
  Directive& directive = m_directives[number];
  const Names& names = NamesOf(number);
  const auto known = names.words.find(normal);
  if (known == names.words.end()) return std::nullopt;
  for (const std::size_t word : known->second) {
    if (stated_too || !directive.stated[word]) return Spot{&directive, word};
  }
  return std::nullopt;
}

// Where a name of a line stands: in the first directive of the line's own name that has it, else in
// the first alias.
std::optional<WordDirectives::Spot> WordDirectives::SpotOf(const std::string& directive,
                                                           bool aliases, const std::string& name,
                                                           bool stated_too) {
  const std::string normal = Normal(name);
  NameIndex& index = ByName();
  const auto known = index.names.find(normal);
  if (known == index.names.end()) return std::nullopt;
  Numbers& numbers = stated_too ? known->second.all : known->second.free;
  std::optional<Spot> alias;
  for (auto number = numbers.begin(); number != numbers.end();) {
    const Directive& each = m_directives[*number];
    const bool own = SameName(m_dialect, each.words.front().value, directive);
    if (!own && (!aliases || alias || !IsAlias(each, directive))) {
      ++number;
      continue;
    }
    const auto spot = SpotIn(*number, normal, stated_too);
    if (spot && own) return spot;
    if (spot) alias = spot;
    // What is stated, or gone, stays so; where the name comes back it is known anew.
    number = spot ? std::next(number) : numbers.erase(number);
  }
  return alias;
}

void WordDirectives::Rename(const Spot& spot, const NewWord& word) {
  const std::size_t number = NumberOf(*spot.directive);
  NewWord& renamed = spot.directive->words[spot.word];
  Names& names = NamesOf(number);
  names.words[Normal(renamed.value)].erase(spot.word);
  renamed = word;
  names.words[Normal(word.value)].insert(spot.word);
  ByName().names[Normal(word.value)].all.insert(number);
}

void WordDirectives::AddName(Directive& directive, const NewWord& word) {
  const std::size_t number = NumberOf(directive);
  NamesOf(number).words[Normal(word.value)].insert(directive.words.size());
  ByName().names[Normal(word.value)].all.insert(number);
  Insert(directive, directive.words.size(), word);
}

// From now on the word is not found any more.
void WordDirectives::Drop(const Spot& spot, Going& going) {
  const std::size_t number = NumberOf(*spot.directive);
  NamesOf(number).words[Normal(spot.directive->words[spot.word].value)].erase(spot.word);
  going[number].insert(spot.word);
}

void WordDirectives::Erase(const Going& going) {
  for (const auto& [number, words] : going) {
    Directive& directive = m_directives[number];
    Words left;
    std::vector<bool> stated;
    for (std::size_t i = 0; i < directive.words.size(); ++i) {
      if (words.count(i) != 0) continue;
      left.push_back(std::move(directive.words[i]));
      stated.push_back(directive.stated[i]);
    }
    directive.words = std::move(left);
    directive.stated = std::move(stated);
    ByName().words[number].known = false;
  }
}

// All of its words.
void WordDirectives::Replace(Directive& directive, Words words) {
  const std::size_t number = NumberOf(directive);
  directive.words = std::move(words);
  directive.stated.assign(directive.words.size(), true);
  ByName().words[number].known = false;
  for (std::size_t i = 1; i < directive.words.size(); ++i) {
    ByName().names[Normal(directive.words[i].value)].all.insert(number);
  }
}

std::optional<WordDirectives::Spot> WordDirectives::SpotOfName(const Line& line,
                                                               const std::string& name,
                                                               bool stated_too) {
  return SpotOf(line.now->words.front(), true, name, stated_too);
}

std::vector<std::vector<Step>> WordDirectives::StepsOfNames(const std::vector<Line>& lines) {
  std::vector<Move> moves;
  std::vector<std::pair<std::size_t, std::size_t>> words;  // a line, and a word of it
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const Texts& was = lines[i].was->words;
    const Texts& now = lines[i].now->words;
    for (std::size_t word = 1; word < std::min(was.size(), now.size()); ++word) {
      if (Normal(was[word]) == Normal(now[word])) continue;
      moves.push_back({Normal(was[word]), Normal(now[word]),
                       SpotOfName(lines[i], was[word], false).has_value(),
                       SpotOfName(lines[i], now[word], true).has_value()});
      words.emplace_back(i, word);
    }
  }
  // In a directive of the line's own name.
  const auto is_own = [&](std::size_t move, const Written& written) {
    const Line& line = lines[words[move].first];
    const auto spot = SpotOfName(line, written.words[words[move].second], true);
    return spot &&
           SameName(m_dialect, spot->directive->words.front().value, line.now->words.front());
  };
  const auto is_before = [&](const std::vector<std::size_t>& circle) {
    bool old_ones = true;
    bool new_ones = true;
    std::vector<std::pair<std::size_t, std::size_t>> places;
    for (const std::size_t move : circle) {
      const Line& line = lines[words[move].first];
      old_ones = old_ones && is_own(move, *line.was);
      new_ones = new_ones && is_own(move, *line.now);
      const auto spot = SpotOfName(line, line.was->words[words[move].second], true);
      places.emplace_back(spot->directive->child, spot->word);
    }
    return old_ones != new_ones ? old_ones : std::is_sorted(places.begin(), places.end());
  };
  std::vector<std::vector<Step>> steps;
  steps.reserve(lines.size());
  for (const Line& line : lines) steps.emplace_back(line.was->words.size(), Step::kAlone);
  const std::vector<Step> of_moves = StepsOf(moves, is_before);
  for (std::size_t i = 0; i < moves.size(); ++i) {
    steps[words[i].first][words[i].second] = of_moves[i];
  }
  return steps;
}

WordDirectives::Outcome WordDirectives::StateNames(const Written& was, const Written& now,
                                                   const std::vector<Step>& steps) {
  const std::string& own = now.words.front();
  Directive* touched = nullptr;  // the first one
  Going going;
  std::vector<std::size_t> changed;
  for (std::size_t i = 1; i < was.words.size(); ++i) {
    const auto spot = SpotOf(own, true, was.words[i], false);
    if (!spot) continue;
    if (touched == nullptr) touched = spot->directive;
    if (steps[i] == Step::kStays) continue;
    const std::optional<NewWord> wanted =
        i < now.words.size() ? std::optional(NewWord{now.words[i], now.spelled[i]}) : std::nullopt;
    if (ChangeName(own, *spot, was.words[i], wanted, steps[i], going)) {
      changed.push_back(spot->directive->child);
    }
  }
  for (std::size_t i = 1; i < now.words.size(); ++i) {
    const auto spot = SpotOf(own, true, now.words[i], true);
    if (spot) {
      spot->directive->stated[spot->word] = true;
      if (touched == nullptr) touched = spot->directive;
    } else if (touched != nullptr) {
      AddName(*touched, {now.words[i], now.spelled[i]});
      changed.push_back(touched->child);
    }
  }
  Erase(going);
  if (touched == nullptr) return {};
  if (changed.empty()) return OutcomeOf(*touched, false);
  return {Kind::kChanged, WithoutRepetition(changed)};
}

// The name that a line has called `was` becomes what it `wanted`; none: it goes. False: it is that.
bool WordDirectives::ChangeName(const std::string& own, const Spot& spot, const std::string& was,
                                const std::optional<NewWord>& wanted, Step step, Going& going) {
  const NewWord& word = spot.directive->words[spot.word];
  if (wanted && Normal(wanted->value) == Normal(was)) {
    spot.directive->stated[spot.word] = true;
    // Only the scheme or the port of a ServerName changes.
    if (word.value != was || SameLetters(was, wanted->value)) return false;
    Rename(spot, *wanted);
    return true;
  }
  // A ServerName has one name, alias or not.
  const bool only = SameName(m_dialect, spot.directive->words.front().value, "ServerName");
  const bool may_change =
      wanted && (only || step == Step::kMoves || !SpotOf(own, true, wanted->value, true));
  if (!may_change) {
    Drop(spot, going);
    return true;
  }
  const bool has_more =
      only && !IsBare(word.value) && IsBare(was) && IsBare(wanted->value) && IsPlain(wanted->value);
  Rename(spot, has_more ? Renamed(word, wanted->value) : *wanted);
  spot.directive->stated[spot.word] = true;
  return true;
}

// All words of the one directive that fits become those of `now`.
WordDirectives::Outcome WordDirectives::WholeFor(Pointers fitting, const Written& now) {
  const auto says_so = [&](const Directive* directive) {
    Texts there = NamesIn(m_dialect, ValuesOf(directive->words));
    Texts wanted = NamesIn(m_dialect, now.words);
    std::sort(there.begin(), there.end());
    std::sort(wanted.begin(), wanted.end());
    return there == wanted;
  };
  const auto alike = std::find_if(fitting.begin(), fitting.end(), says_so);
  if (alike != fitting.end()) {
    (*alike)->stated.assign((*alike)->words.size(), true);
    return OutcomeOf(**alike, false);
  }
  // What other lines of the template state already is not added a second time.
  for (const Directive* const directive : fitting) {
    const auto has = [&](const std::string& name) {
      return std::any_of(directive->words.begin() + 1, directive->words.end(),
                         [&](const NewWord& word) { return Normal(word.value) == Normal(name); });
    };
    const bool all = std::all_of(now.words.begin() + 1, now.words.end(), has);
    if (IsStated(*directive) && all) return OutcomeOf(*directive, false);
  }
  fitting.erase(std::remove_if(fitting.begin(), fitting.end(),
                               [](const Directive* directive) { return IsStated(*directive); }),
                fitting.end());
  if (fitting.empty()) return {};
  if (fitting.size() > 1) return SeveralOf(fitting);
  Directive& directive = *fitting.front();
  Words words = WordsOf(now);
  words.front() = directive.words.front();
  Replace(directive, std::move(words));
  return OutcomeOf(directive, true);
}

WordDirectives::Outcome WordDirectives::SeveralOf(const Pointers& directives) {
  Outcome several{Kind::kSeveral, {}};
  for (const Directive* const directive : directives) several.children.push_back(directive->child);
  return several;
}

// Of a directive that other lines state words of, too, these stay beside those of `now`.
WordDirectives::Outcome WordDirectives::WholeBesideStated(const Pointers& fitting,
                                                          const Written& now) {
  if (fitting.size() > 1) return SeveralOf(fitting);
  Directive& directive = *fitting.front();
  Words words = WordsOf(now);
  words.front() = directive.words.front();
  for (std::size_t i = 1; i < directive.words.size(); ++i) {
    const NewWord& word = directive.words[i];
    const bool there = std::any_of(words.begin() + 1, words.end(), [&](const NewWord& other) {
      return Normal(other.value) == Normal(word.value);
    });
    if (directive.stated[i] && !there) words.push_back(word);
  }
  Replace(directive, std::move(words));
  return OutcomeOf(directive, true);
}

WordDirectives::Outcome WordDirectives::StateAllNames(const std::string& old_fixed,
                                                      const std::string& new_fixed,
                                                      const Written& now) {
  const Pointers own = Naming(now.words.front());
  if (old_fixed.empty()) return WholeFor(own, now);
  for (const std::string* const fixed : {&old_fixed, &new_fixed}) {
    Pointers fitting;
    for (Directive* const directive : own) {
      if (SpotIn(NumberOf(*directive), Normal(*fixed), true)) fitting.push_back(directive);
    }
    if (fitting.empty()) continue;
    const Outcome outcome = WholeFor(fitting, now);
    return outcome.kind == Kind::kMissing ? WholeBesideStated(fitting, now) : outcome;
  }
  return {};
}

WordDirectives::Outcome WordDirectives::FindAllNames(const std::string& directive,
                                                     const std::string& fixed) const {
  Outcome outcome;
  for (const Directive& each : m_directives) {
    if (!SameName(m_dialect, each.words.front().value, directive) || IsStated(each)) continue;
    const bool holds = std::any_of(each.words.begin() + 1, each.words.end(), [&](const auto& word) {
      return Normal(word.value) == Normal(fixed);
    });
    if (fixed.empty() || holds) outcome.children.push_back(each.child);
  }
  if (outcome.children.empty()) return outcome;
  outcome.kind = outcome.children.size() == 1 ? Kind::kFound : Kind::kSeveral;
  return outcome;
}

std::vector<std::size_t> WordDirectives::RemoveNames(const Written& written) {
  Going going;
  std::vector<std::size_t> changed;
  for (std::size_t i = 1; i < written.words.size(); ++i) {
    while (const auto spot = SpotOf(written.words.front(), false, written.words[i], false)) {
      Drop(*spot, going);
      changed.push_back(spot->directive->child);
    }
  }
  Erase(going);
  return WithoutRepetition(changed);
}

// --- Addresses ---

// Whether they have one address, whatever the transport.
bool WordDirectives::SameHost(const Words& a, const Words& b) const {
  return tov_document::NormalAddress(m_dialect, a[1].value) ==
         tov_document::NormalAddress(m_dialect, b[1].value);
}

// The directives with the name and the address of `words`.
std::vector<std::size_t> WordDirectives::WithAddress(const Texts& words) {
  std::vector<std::size_t> found;
  if (words.size() < 2) return found;
  const std::string address = tov_document::ListenAddress(words);
  const std::string key = NamedAddress(words, address);
  AddressIndex& index = ByAddress();
  const auto kept = [&](bool stated) -> const Numbers& {
    static const Numbers none;
    const auto& listens = index.Of(stated).by_address;
    const auto known = listens.find(key);
    return known == listens.end() ? none : known->second;
  };
  const Numbers& free = kept(false);
  const Numbers& stated = kept(true);
  std::set_union(free.begin(), free.end(), stated.begin(), stated.end(), std::back_inserter(found));
  const auto is_other = [&](std::size_t number) {
    return m_directives[number].words.size() < 2 || index.addresses[number] != address;
  };
  found.erase(std::remove_if(found.begin(), found.end(), is_other), found.end());
  return found;
}

// The directive has words, or stated ones, that it had not.
void WordDirectives::KeepAddress(std::size_t number) {
  if (m_by_address) KeepAddress(number, *m_by_address);
}

void WordDirectives::KeepAddress(std::size_t number, AddressIndex& index) const {
  const Directive& directive = m_directives[number];
  if (RoleOf(m_dialect, directive.words.front().value) != Role::kAddress) return;
  const Texts words = ValuesOf(directive.words);
  std::string& address = index.addresses[number];
  address = tov_document::ListenAddress(words);
  if (words.size() < 2) return;
  Listens& listens = index.Of(directive.stated[1]);
  listens.by_address[NamedAddress(words, address)].insert(number);
  listens.by_words[AllOf(words)].insert(number);
}

// The first one that still is what it is kept as; others are not kept any longer.
WordDirectives::Directive* WordDirectives::FirstListen(
    std::unordered_map<std::string, Numbers>& listens, const std::string& key, bool stated,
    const std::function<bool(std::size_t)>& fits) {
  const auto known = listens.find(key);
  if (known == listens.end()) return nullptr;
  Numbers& numbers = known->second;
  while (!numbers.empty()) {
    Directive& first = m_directives[*numbers.begin()];
    const bool is_so = first.words.size() > 1 && first.stated[1] == stated;
    if (is_so && fits(*numbers.begin())) return &first;
    numbers.erase(numbers.begin());
  }
  return nullptr;
}

// The directive with the address of `written`, the one with all its words first.
WordDirectives::Directive* WordDirectives::ListenOn(const Written& written, bool stated) {
  const Texts& wanted = written.words;
  if (wanted.size() < 2) return nullptr;
  AddressIndex& index = ByAddress();
  Listens& listens = index.Of(stated);
  const auto says_all = [&](std::size_t number) {
    return HaveValues(m_directives[number].words, wanted);
  };
  Directive* const same = FirstListen(listens.by_words, AllOf(wanted), stated, says_all);
  if (same != nullptr) return same;
  const std::string address = tov_document::ListenAddress(wanted);
  const auto has_address = [&](std::size_t number) { return index.addresses[number] == address; };
  return FirstListen(listens.by_address, NamedAddress(wanted, address), stated, has_address);
}

std::optional<std::size_t> WordDirectives::WordOf(const Directive& directive,
                                                  const std::string& value) {
  for (std::size_t i = 1; i < directive.words.size(); ++i) {
    if (directive.words[i].value == value) return i;
  }
  return std::nullopt;
}

// Whether a directive has the address and all other words.
bool WordDirectives::SaysAddress(const Written& written) {
  const std::vector<std::size_t> numbers = WithAddress(written.words);
  return std::any_of(numbers.begin(), numbers.end(), [&](std::size_t number) {
    return std::all_of(written.words.begin() + 2, written.words.end(),
                       [&](const std::string& word) { return WordOf(m_directives[number], word); });
  });
}

std::vector<Step> WordDirectives::StepsOfAddresses(const std::vector<Line>& lines) {
  if (lines.size() < 2) return std::vector<Step>(lines.size(), Step::kAlone);
  std::vector<Move> moves;
  moves.reserve(lines.size());
  for (const Line& line : lines) {
    moves.push_back(
        {tov_document::ListenAddress(line.was->words), tov_document::ListenAddress(line.now->words),
         ListenOn(*line.was, false) != nullptr,
         ListenOn(*line.now, false) != nullptr || ListenOn(*line.now, true) != nullptr});
  }
  return StepsOf(moves, [&](const std::vector<std::size_t>& circle) {
    bool old_ones = true;
    bool new_ones = true;
    std::vector<std::size_t> places;
    for (const std::size_t move : circle) {
      old_ones = old_ones && SaysAddress(*lines[move].was);
      new_ones = new_ones && SaysAddress(*lines[move].now);
      places.push_back(ListenOn(*lines[move].was, false)->child);
    }
    return old_ones != new_ones ? old_ones : std::is_sorted(places.begin(), places.end());
  });
}

WordDirectives::Outcome WordDirectives::StateAddress(const Written* was, const Written& now,
                                                     bool may_change, Step step) {
  const bool has_old = was != nullptr && step != Step::kStays;
  Directive* const old_one = has_old ? ListenOn(*was, false) : nullptr;
  if (step == Step::kMoves && old_one != nullptr) {
    return ChangeAddress(*old_one, *was, now, may_change);
  }
  Directive* new_one = ListenOn(now, false);
  if (new_one == nullptr) new_one = ListenOn(now, true);
  if (old_one == nullptr) return new_one == nullptr ? Outcome() : Join(*new_one, now, may_change);
  if (new_one == nullptr || new_one == old_one)
    return ChangeAddress(*old_one, *was, now, may_change);
  // The server takes an address once only.
  Outcome outcome = Join(*new_one, now, true);
  while (old_one->words.size() > 1) Erase(*old_one, 1);
  outcome.kind = Kind::kChanged;
  outcome.children.push_back(old_one->child);
  return outcome;
}

// What `now` states besides the address joins the options that are there.
WordDirectives::Outcome WordDirectives::Join(Directive& directive, const Written& now,
                                             bool may_change) {
  return ChangeAddress(directive, now, now, may_change);
}

// The options of `was` that `wanted` has not go; one that comes instead takes the place of its own.
void WordDirectives::ReplaceOptions(Directive& directive, const Written& was, const Words& wanted) {
  for (std::size_t i = 2; i < was.words.size(); ++i) {
    const auto word = WordOf(directive, was.words[i]);
    if (!word || HasWord(wanted, was.words[i])) continue;
    if (i < wanted.size() && !WordOf(directive, wanted[i].value)) {
      directive.words[*word] = wanted[i];
    } else {
      Erase(directive, *word);
    }
  }
}

WordDirectives::Outcome WordDirectives::ChangeAddress(Directive& directive, const Written& was,
                                                      const Written& now, bool may_change) {
  Directive result = directive;
  const Words wanted = WordsOf(now);
  if (!SameHost(result.words, wanted)) result.words[1] = wanted[1];
  result.stated[1] = true;
  if (may_change) ReplaceOptions(result, was, wanted);
  // What is new stands behind the option that the template has before it.
  std::size_t before = 1;
  for (std::size_t i = 2; i < wanted.size(); ++i) {
    const auto word = WordOf(result, wanted[i].value);
    if (!word && !may_change) return {Kind::kOther, {directive.child}};
    if (!word) Insert(result, before + 1, wanted[i]);
    before = word ? *word : before + 1;
    result.stated[before] = true;
  }
  const bool changed = !SameValues(result.words, directive.words);
  directive = std::move(result);
  KeepAddress(NumberOf(directive));
  return OutcomeOf(directive, changed);
}

WordDirectives::Outcome WordDirectives::StateAllOptions(const Written* was, const Written& now) {
  Directive* directive = was == nullptr ? nullptr : ListenOn(*was, false);
  if (directive == nullptr) directive = ListenOn(now, false);
  if (directive == nullptr) return {};
  Words wanted = WordsOf(now);
  if (SameHost(directive->words, wanted)) wanted[1] = directive->words[1];
  const auto by_value = [](const NewWord& a, const NewWord& b) { return a.value < b.value; };
  Words there = directive->words;
  Words sorted = wanted;
  std::sort(there.begin() + 1, there.end(), by_value);
  std::sort(sorted.begin() + 1, sorted.end(), by_value);
  const bool changed = !SameValues(there, sorted);
  if (changed) directive->words = std::move(wanted);
  directive->stated.assign(directive->words.size(), true);
  KeepAddress(NumberOf(*directive));
  return OutcomeOf(*directive, changed);
}

std::vector<std::size_t> WordDirectives::RemoveAddress(const Written& written) {
  const Texts& wanted = written.words;
  const auto is_wanted = [&wanted](const NewWord& word) {
    return std::find(wanted.begin(), wanted.end(), word.value) != wanted.end();
  };
  std::vector<std::size_t> changed;
  if (!m_removed.insert(AllOf(wanted)).second) return changed;
  for (const std::size_t number : WithAddress(wanted)) {
    Directive& directive = m_directives[number];
    const std::size_t before = directive.words.size();
    for (std::size_t i = directive.words.size(); i-- > 1;) {
      const bool goes =
          !directive.stated[1] || (i > 1 && !directive.stated[i] && is_wanted(directive.words[i]));
      if (goes) Erase(directive, i);
    }
    if (directive.words.size() == before) continue;
    changed.push_back(directive.child);
    KeepAddress(number);
  }
  return changed;
}

// --- Options ---

// Of several Options the last one counts.
WordDirectives::Outcome WordDirectives::StateOptions(const Written& was, const Written& now) {
  const Pointers all = Naming(now.words.front());
  if (all.empty()) return {};
  Directive& directive = *all.back();
  const Words before = directive.words;
  const std::set<std::string> old_words = LowerArguments(was);
  const std::set<std::string> new_words = LowerArguments(now);
  Going going;
  for (std::size_t i = 1; i < directive.words.size(); ++i) {
    const std::string word = tov_document::Lower(directive.words[i].value);
    const bool goes = old_words.count(word) != 0 && new_words.count(word) == 0;
    if (!directive.stated[i] && goes) going[NumberOf(directive)].insert(i);
  }
  Erase(going);
  std::unordered_map<std::string, std::size_t> known;
  for (std::size_t i = 1; i < directive.words.size(); ++i) {
    known.emplace(OptionKey(directive.words[i].value), i);
  }
  for (std::size_t i = 1; i < now.words.size(); ++i) {
    const auto [same, is_new] = known.emplace(OptionKey(now.words[i]), directive.words.size());
    if (is_new) {
      Insert(directive, directive.words.size(), {now.words[i], now.spelled[i]});
      continue;
    }
    directive.stated[same->second] = true;
    NewWord& word = directive.words[same->second];
    if (!SameLetters(word.value, now.words[i])) word = {now.words[i], now.spelled[i]};
  }
  return OutcomeOf(directive, !SameValues(directive.words, before));
}

std::vector<std::size_t> WordDirectives::RemoveOptions(const Written& written) {
  const std::set<std::string> words = LowerArguments(written);
  std::vector<std::size_t> changed;
  for (Directive* const directive : Naming(written.words.front())) {
    Going going;
    for (std::size_t i = 1; i < directive->words.size(); ++i) {
      const bool goes = words.count(tov_document::Lower(directive->words[i].value)) != 0;
      if (goes && !directive->stated[i]) going[NumberOf(*directive)].insert(i);
    }
    Erase(going);
    if (!going.empty()) changed.push_back(directive->child);
  }
  return changed;
}

}  // namespace tov_edit
