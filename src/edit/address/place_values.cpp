// SPDX-License-Identifier: Apache-2.0

#include "edit/address/place_values.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "document/ascii.h"
#include "document/meaning.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

using PlacedWord = AuthoredLine::PlacedWord;

// A word with what is known in it: texts, and between them the names of what is not.
struct Pattern {
  Texts literals;
  Texts names;
};

// None: a value is not known at all.
std::optional<Pattern> PatternOf(const PlacedWord& word, const PlaceValues& known,
                                 const std::set<std::string>& unknown) {
  Pattern pattern;
  pattern.literals.push_back(word.literals.front());
  for (std::size_t i = 0; i < word.names.size(); ++i) {
    const std::string& name = word.names[i];
    const auto value = known.find(name);
    if (value != known.end()) {
      (pattern.literals.back() += value->second) += word.literals[i + 1];
    } else if (unknown.count(name) != 0) {
      pattern.names.push_back(name);
      pattern.literals.push_back(word.literals[i + 1]);
    } else {
      return std::nullopt;
    }
  }
  return pattern;
}

// A part of a text: where it begins, and its length.
struct Part {
  std::size_t begin = 0;
  std::size_t size = 0;

  bool operator==(const Part& other) const { return begin == other.begin && size == other.size; }
};
using Parts = std::vector<Part>;

// What stands between the literals, each as short as can be (`longest`: as long as can be), the
// first one before all others; nothing is empty. None: `text` is not like this.
std::optional<Parts> Cut(const Texts& literals, std::string_view text, bool longest) {
  if (!str::view::StartsWith(text, literals.front())) return std::nullopt;
  Parts parts;
  std::size_t begin = literals.front().size();
  for (std::size_t i = 1; i < literals.size(); ++i) {
    const std::string& literal = literals[i];
    if (text.size() < begin + 1 + literal.size()) return std::nullopt;
    const bool is_last = i + 1 == literals.size();
    const std::size_t last = text.size() - literal.size();
    const std::size_t end = is_last   ? last
                            : longest ? text.rfind(literal, last - 1)
                                      : text.find(literal, begin + 1);
    const bool is_there = end != std::string_view::npos && end > begin &&
                          text.compare(end, literal.size(), literal) == 0;
    if (!is_there) return std::nullopt;
    parts.push_back({begin, end - begin});
    begin = end + literal.size();
  }
  return begin == text.size() ? std::optional<Parts>(std::move(parts)) : std::nullopt;
}

// "[::1" is no address.
bool HasHalfBrackets(std::string_view text, const Parts& parts) {
  return std::any_of(parts.begin(), parts.end(), [&](const Part& part) {
    const std::string_view bytes = text.substr(part.begin, part.size);
    return std::count(bytes.begin(), bytes.end(), '[') !=
           std::count(bytes.begin(), bytes.end(), ']');
  });
}

// With what in its unknown places the word is `text`; `in_any_case` for letters. None: with
// nothing, or several ways lead there.
std::optional<PlaceValues> Match(const Pattern& pattern, const std::string& text,
                                 bool in_any_case) {
  const auto folded = [&](const std::string& any) {
    return in_any_case ? tov_document::Lower(any) : any;
  };
  Texts literals;
  std::transform(pattern.literals.begin(), pattern.literals.end(), std::back_inserter(literals),
                 folded);
  const std::string seen = folded(text);
  std::optional<Parts> parts;
  for (const bool longest : {false, true}) {
    std::optional<Parts> cut = Cut(literals, seen, longest);
    if (!cut || HasHalfBrackets(seen, *cut)) continue;
    if (parts && !(*parts == *cut)) return std::nullopt;
    parts = std::move(cut);
  }
  if (!parts) return std::nullopt;
  PlaceValues values;
  for (std::size_t i = 0; i < parts->size(); ++i) {
    const std::string value = text.substr((*parts)[i].begin, (*parts)[i].size);
    if (values.emplace(pattern.names[i], value).first->second != value) return std::nullopt;
  }
  return values;
}

// Adds what `more` says; false: they contradict each other.
bool Join(PlaceValues& values, const PlaceValues& more) {
  return std::all_of(more.begin(), more.end(), [&](const auto& each) {
    return values.emplace(each.first, each.second).first->second == each.second;
  });
}

// A line of a template beside one directive.
class Comparer {
 public:
  Comparer(Dialect dialect, const std::vector<PlacedWord>& line, const PlaceValues& known,
           const std::set<std::string>& unknown, const Texts& found)
      : m_dialect(dialect), m_known(known), m_unknown(unknown), m_found(found) {
    for (const PlacedWord& word : line) {
      if (word.open) {
        m_open = word;
        break;
      }
      m_words.push_back(word);
    }
  }

  std::vector<PlaceValues> Run() {
    if (m_words.empty() || m_found.empty() || !m_words.front().names.empty()) return {};
    if (!tov_document::SameName(m_dialect, m_words.front().literals.front(), m_found.front())) {
      return {};
    }
    m_role = RoleOf(m_dialect, m_found.front());
    m_any_order = m_role == Role::kNames || IsVirtualHost(m_dialect, m_found.front());
    std::vector<PlaceValues> all = {{}};
    for (std::size_t i = 1; i < m_words.size() && !all.empty(); ++i) {
      all = With(std::move(all), i);
    }
    if (!HasRightSize()) return {};
    return all;
  }

 private:
  bool HasRightSize() const {
    if (m_any_order || m_role == Role::kAddress) return true;
    if (!m_open) return m_found.size() == m_words.size();
    if (m_found.size() < m_words.size()) return false;
    return m_open->literals.front().empty() ||
           (m_found.size() > m_words.size() &&
            str::view::StartsWith(m_found[m_words.size()], m_open->literals.front()));
  }

  // What stands where the word `i` of the line may be.
  Texts Facing(std::size_t i) const {
    const bool anywhere = m_any_order || (m_role == Role::kAddress && i > 1);
    if (anywhere) return {m_found.begin() + 1, m_found.end()};
    return i < m_found.size() ? Texts{m_found[i]} : Texts();
  }

  // `all`, with what the word `i` of the line adds to each.
  std::vector<PlaceValues> With(std::vector<PlaceValues> all, std::size_t i) const {
    std::vector<PlaceValues> joined;
    const Texts facing = Facing(i);
    for (const PlaceValues& values : all) {
      PlaceValues known = m_known;
      known.insert(values.begin(), values.end());
      const std::optional<Pattern> pattern = PatternOf(m_words[i], known, m_unknown);
      if (!pattern) return {};
      for (const std::string& text : facing) {
        const auto match = Match(*pattern, text, m_any_order);
        PlaceValues both = values;
        if (match && Join(both, *match)) joined.push_back(std::move(both));
        if (match && pattern->names.empty()) break;  // it is there: once is enough
      }
    }
    return joined;
  }

  const Dialect m_dialect;
  const PlaceValues& m_known;
  const std::set<std::string>& m_unknown;
  const Texts& m_found;
  std::vector<PlacedWord> m_words;   // before the trailing place
  std::optional<PlacedWord> m_open;  // none: the line has no trailing place
  Role m_role = Role::kPlain;
  bool m_any_order = false;
};

}  // namespace

std::vector<PlaceValues> ValuesInPlaces(Dialect dialect,
                                        const std::vector<AuthoredLine::PlacedWord>& line,
                                        const PlaceValues& known,
                                        const std::set<std::string>& unknown, const Texts& found) {
  return Comparer(dialect, line, known, unknown, found).Run();
}

}  // namespace tov_edit
