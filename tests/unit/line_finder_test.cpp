// SPDX-License-Identifier: Apache-2.0

#include "template/line_finder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <list>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "template/framework/str.h"

namespace {

using tov_template::LineFinder;
using tov_template::Match;

struct Element {
  std::string text;
  bool steady = true;
  bool no_line = false;
};

struct Text {
  std::optional<std::string_view> operator()(const Element& element) const {
    if (element.no_line) return std::nullopt;
    return element.text;
  }
  bool IsSteady(const Element& element) const { return element.steady; }
};

using Finder = LineFinder<Element, Text>;
using List = Finder::List;

// The numbers of all elements that match, by looking at each.
std::vector<std::ptrdiff_t> Expected(const List& list, std::string_view key, Match match) {
  std::vector<std::ptrdiff_t> numbers;
  std::ptrdiff_t number = 0;
  for (const Element& element : list) {
    const bool matches =
        match == Match::kWhole ? element.text == key : str::view::StartsWith(element.text, key);
    if (matches && !element.no_line) numbers.push_back(number);
    ++number;
  }
  return numbers;
}

std::vector<std::ptrdiff_t> All(Finder& finder, List& list, std::string_view key, Match match) {
  std::vector<std::ptrdiff_t> numbers;
  for (const auto& element : finder.All(list, key, match)) {
    numbers.push_back(std::distance(list.begin(), element));
  }
  return numbers;
}

std::ptrdiff_t First(Finder& finder, List& list, std::string_view key, Match match) {
  const auto found = finder.First(list, key, match);
  return found == list.end() ? -1 : std::distance(list.begin(), found);
}

// A list that is long enough for an index, and a finder that has made one.
struct Indexed {
  explicit Indexed(List first_elements) : list(std::move(first_elements)) {
    while (list.size() < 100) list.push_back({"filler " + std::to_string(list.size())});
    for (int i = 0; i < 50; ++i) finder.First(list, "nowhere", Match::kBeginning);
  }

  List list;
  Finder finder;
};

TEST(LineFinder, FindsTheFirstElementInTheOrderOfTheList) {
  struct Case {
    const char* key;
    std::ptrdiff_t beginning;  // the first that begins with the key
    std::ptrdiff_t whole;      // the first that is the key
  };
  const Case cases[] = {{"root", 1, 3},     {"root /b", 1, 1},     {"root /a", 2, 2},
                        {"", 0, 6},         {"root /", 1, -1},     {"x", 4, 5},
                        {"filler 9", 9, 9}, {"filler 99", 99, 99}, {"nowhere", -1, -1}};
  Indexed indexed({{"z"}, {"root /b"}, {"root /a"}, {"root"}, {"xy"}, {"x"}, {""}});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.key);
    Finder fresh;
    for (Finder* const finder : {&fresh, &indexed.finder}) {
      EXPECT_EQ(First(*finder, indexed.list, c.key, Match::kBeginning), c.beginning);
      EXPECT_EQ(First(*finder, indexed.list, c.key, Match::kWhole), c.whole);
    }
  }
}

TEST(LineFinder, FindsAllElementsInTheOrderOfTheList) {
  Indexed indexed({{"b"}, {"a 2"}, {"a 1"}, {"a 2"}, {"a", false}, {"a 0", true, true}});
  using Numbers = std::vector<std::ptrdiff_t>;
  Finder fresh;
  for (Finder* const finder : {&fresh, &indexed.finder}) {
    EXPECT_EQ(All(*finder, indexed.list, "a", Match::kBeginning), (Numbers{1, 2, 3, 4}));
    EXPECT_EQ(All(*finder, indexed.list, "a 2", Match::kWhole), (Numbers{1, 3}));
    EXPECT_EQ(All(*finder, indexed.list, "a 0", Match::kBeginning), Numbers{});
  }
}

TEST(LineFinder, ReadsUnsteadyElementsAnew) {
  Indexed indexed({{"old", false}, {"other"}});
  indexed.list.front().text = "new";
  EXPECT_EQ(First(indexed.finder, indexed.list, "old", Match::kBeginning), -1);
  EXPECT_EQ(First(indexed.finder, indexed.list, "new", Match::kBeginning), 0);
}

TEST(LineFinder, ForgetsAList) {
  Indexed indexed({{"a"}});
  indexed.finder.Forget(indexed.list);
  indexed.list.front().text = "b";  // nobody is told
  EXPECT_EQ(First(indexed.finder, indexed.list, "b", Match::kBeginning), 0);
}

TEST(LineFinder, AgreesWithASearchOfTheListWhateverChanges) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same each time
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  const auto text = [&] {
    std::string made(1 + below(3), 'a');
    for (char& c : made) c = static_cast<char>('a' + below(3));
    return made;
  };
  Indexed indexed({});
  List& list = indexed.list;
  Finder& finder = indexed.finder;
  std::size_t checked = 0;
  for (int step = 0; step < 5000; ++step) {
    const auto element = std::next(list.begin(), static_cast<std::ptrdiff_t>(below(list.size())));
    switch (below(6)) {
      case 0:
      case 1: {
        if (list.size() > 120) break;
        const auto pos = below(2) == 0 ? list.end() : std::prev(list.end());
        finder.Added(list, list.insert(pos, {text(), below(8) != 0, below(20) == 0}));
        break;
      }
      case 2:
        if (list.size() < 40) break;
        finder.Erasing(list, element);
        list.erase(element);
        break;
      case 3:
        element->text = text();
        if (element->steady) finder.Changed(list, element);
        break;
      default: {
        const std::string key = text();
        for (const Match match : {Match::kBeginning, Match::kWhole}) {
          const std::vector<std::ptrdiff_t> expected = Expected(list, key, match);
          ASSERT_EQ(First(finder, list, key, match), expected.empty() ? -1 : expected.front());
          ASSERT_EQ(All(finder, list, key, match), expected);
          checked += expected.size();
        }
      }
    }
  }
  EXPECT_GT(checked, 5000U);
}

}  // namespace
