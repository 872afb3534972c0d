// SPDX-License-Identifier: Apache-2.0

#include "template/place_index.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using tov_template::LineIterator;
using tov_template::PlaceIndex;

// Some lines, and places on them that an index knows.
struct Places {
  explicit Places(std::size_t line_count) : lines(line_count) {}

  LineIterator Line(std::size_t number) {
    return std::next(lines.begin(), static_cast<std::ptrdiff_t>(number));
  }

  void Put(const std::string& name, std::size_t line) {
    index.Add(*places.emplace(name, Line(line)).first);
  }

  std::set<std::string> Take(std::size_t line) {
    std::set<std::string> names;
    for (const PlaceIndex::Place* const place : index.Take(&*Line(line))) {
      names.insert(place->first);
    }
    return names;
  }

  std::list<std::string> lines;
  std::map<std::string, LineIterator> places;
  PlaceIndex index;
};

using Names = std::set<std::string>;

TEST(PlaceIndex, HandsOutThePlacesOnALineOnce) {
  Places places(3);
  places.Put("a", 0);
  places.Put("b", 1);
  places.Put("c", 0);
  EXPECT_EQ(places.Take(0), (Names{"a", "c"}));
  EXPECT_EQ(places.Take(0), Names{});
  EXPECT_EQ(places.Take(1), Names{"b"});
  EXPECT_EQ(places.Take(2), Names{});
}

TEST(PlaceIndex, ForgetsAPlaceThatIsRemoved) {
  Places places(1);
  places.Put("a", 0);
  places.Put("b", 0);
  places.index.Remove(places.places.at("a"));
  places.index.Remove(places.places.at("a"));
  EXPECT_EQ(places.Take(0), Names{"b"});
}

TEST(PlaceIndex, MovesAllPlacesOfALine) {
  Places places(3);
  places.Put("a", 0);
  places.Put("b", 0);
  places.Put("c", 1);
  places.index.Move(places.Line(0), places.Line(1));
  places.index.Move(places.Line(2), places.Line(1));  // nothing is there
  for (const char* name : {"a", "b", "c"}) EXPECT_EQ(places.places.at(name), places.Line(1));
  EXPECT_EQ(places.Take(0), Names{});
  EXPECT_EQ(places.Take(1), (Names{"a", "b", "c"}));
}

TEST(PlaceIndex, AgreesWithTheMapWhateverChanges) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same each time
  constexpr std::size_t kLines = 12;
  Places places(kLines);
  std::set<std::string> known;
  for (int step = 0; step < 20000; ++step) {
    const std::string name = std::to_string(random() % 30);
    const std::size_t line = random() % kLines;
    switch (random() % 4) {
      case 0:
        if (!known.insert(name).second) break;
        places.places.erase(name);
        places.Put(name, line);
        break;
      case 1:
        if (known.erase(name) != 0) places.index.Remove(places.places.at(name));
        break;
      case 2:
        places.index.Move(places.Line(line),
                          places.Line((line + 1 + random() % (kLines - 1)) % kLines));
        break;
      default: {
        Names expected;
        for (const auto& place : places.places) {
          if (known.count(place.first) != 0 && place.second == places.Line(line)) {
            expected.insert(place.first);
          }
        }
        ASSERT_EQ(places.Take(line), expected);
        for (const std::string& taken : expected) known.erase(taken);
      }
    }
  }
}

}  // namespace
