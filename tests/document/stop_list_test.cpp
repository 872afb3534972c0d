// SPDX-License-Identifier: Apache-2.0

// What is found among many bytes at once is what a look at each byte finds.

#include "document/stop_list.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "document/apache_scanner.h"
#include "document/nginx_scanner.h"

namespace {

using namespace tov_document;
using Offsets = std::vector<std::size_t>;

std::string RandomText(std::mt19937& random, std::string_view alphabet, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) text += alphabet[random() % alphabet.size()];
  return text;
}

// --- Masks ---

template <class Set>
void ExpectMasksOf(const std::string& bytes) {
  std::uint64_t expected = 0;
  for (std::size_t i = 0; i < kMaskSize; ++i) {
    expected |= std::uint64_t{Set::Has(bytes[i])} << i;
  }
  EXPECT_EQ(WholeMask<Set>(bytes.data()), expected);
  for (std::size_t count = 0; count < kMaskSize; ++count) {
    const std::uint64_t own = (std::uint64_t{1} << count) - 1;
    EXPECT_EQ(PartMask<Set>(bytes.data(), count), expected & own);
  }
}

#ifdef __SSE2__
template <class... Sets>
[[gnu::target("avx2")]] void ExpectWideMasks(SetList<Sets...> /*sets*/, const char* bytes) {
  EXPECT_EQ(SetList<Sets...>::Wide(bytes), SetList<Sets...>::Whole(bytes));
}
#endif

// Every byte there is, each at every place.
TEST(Masks, HaveABitForEachByteOfTheSet) {
  for (int first = 0; first < 256; ++first) {
    std::string bytes;
    for (std::size_t i = 0; i < kMaskSize; ++i)
      bytes += static_cast<char>(first + static_cast<int>(i));
    ExpectMasksOf<Bytes<'\n'>>(bytes);
    ExpectMasksOf<Bytes<'s', 0x20>>(bytes);
    ExpectMasksOf<Bytes<'"', 0, 0x05>>(bytes);
    ExpectMasksOf<Range<'\t', '\r'>>(bytes);
    ExpectMasksOf<NginxClasses::Stops>(bytes);
    ExpectMasksOf<NginxClasses::Blanks>(bytes);
    ExpectMasksOf<ApacheClasses::Blanks>(bytes);
#ifdef __SSE2__
    if (!StopList<NginxFinder>::CanBeWide()) continue;
    ExpectWideMasks(NginxFinder::Sets{}, bytes.data());
    ExpectWideMasks(ApacheFinder::Sets{}, bytes.data());
#endif
  }
}

TEST(Sets, HoldTheBytesThatOneComparisonFinds) {
  const auto held = [](auto set) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
      if (set.Has(static_cast<char>(byte))) bytes += static_cast<char>(byte);
    }
    return bytes;
  };
  EXPECT_EQ(held(Bytes<'x'>{}), "x");
  EXPECT_EQ(held(Bytes<'s', 0x20>{}), "Ss");
  EXPECT_EQ(held(Bytes<'"', 0, 0x05>{}), "\"#&'");
  EXPECT_EQ(held(Range<'b', 'd'>{}), "bcd");
  EXPECT_EQ(held(AnyOf<Bytes<'x'>, Range<'b', 'd'>>{}), "bcdx");
  EXPECT_EQ(held(NginxClasses::Stops{}), "\"#&';\\{}");
  EXPECT_EQ(held(NginxClasses::Blanks{}), "\t\n\r ");
  EXPECT_EQ(held(ApacheClasses::Blanks{}), "\t\n\v\f\r ");
}

// --- Stops ---

// All stops, as a reader gets them who drops them one by one, which leaves the last one.
template <class Finder>
Offsets StopsOf(const std::string& text, bool wide) {
  StopList<Finder> list(text, wide);
  Offsets stops;
  std::size_t last = 0;
  bool any = false;
  for (; list.HasTwo(); list.Drop(1)) {
    stops.push_back(list.First());
    last = list.Second();
    any = true;
  }
  if (any) stops.push_back(last);
  return stops;
}

// A reader sees no stop that stands alone.
Offsets Seen(Offsets stops) {
  if (stops.size() < 2) stops.clear();
  return stops;
}

Offsets PlainNginxStops(const std::string& text) {
  Offsets stops;
  bool begins = true;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool stop = NginxClasses::Stops::Has(text[at]);
    const bool blank = NginxClasses::Blanks::Has(text[at]);
    if (stop || (begins && !blank)) stops.push_back(at);
    begins = stop || text[at] == '\n' || (begins && blank);
  }
  return stops;
}

bool Continues(const std::string& line) {
  const std::size_t last = line.find_last_not_of('\r');
  return last != std::string::npos && line[last] == '\\' && line.size() - last <= 2;
}

Offsets PlainApacheStops(const std::string& text) {
  Offsets stops;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    const std::size_t first = line.find_first_not_of(" \t\v\f\r");
    const bool told = first != std::string::npos &&
                      std::string_view("<sS\"#&'").find(line[first]) != std::string_view::npos;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if ((told && i == first) || line[i] == '\0') stops.push_back(begin + i);
    }
    if (end < text.size() && (told || Continues(line))) stops.push_back(end);
    begin = end + 1;
  }
  return stops;
}

struct Case {
  const char* name;
  std::string_view alphabet;
};

using std::string_view_literals::operator""sv;

// Long enough for the list to be filled several times.
constexpr std::size_t kLongest = 6000;

template <class Finder>
void ExpectStops(const std::string& text, const Offsets& expected) {
  EXPECT_EQ(StopsOf<Finder>(text, false), Seen(expected));
  if (StopList<Finder>::CanBeWide()) {
    EXPECT_EQ(StopsOf<Finder>(text, true), Seen(expected));
  }
}

TEST(StopList, HasTheStopsOfAnyText) {
  const Case cases[] = {
      {"few stops", "abcdefghijklmnopqrstuvwxyz01234567890ABCDEFGHIJKLMNOPQRSTUVW xx\n<s;"sv},
      {"lines", "ab \t\n<s#;{}"sv},
      {"many blanks", "    \t\t\t\t  \n\n\n\r a<s;"sv},
      {"nothing but stops", ";{}\"'#\\"sv},
      {"what continues lines", "\\\\\\\r\n\n a<s"sv},
      {"NUL bytes", "\0 \n<as\\"sv},
      {"one byte", "x"sv},
      {"line ends", "\n"sv},
      {"blanks", " "sv},
  };
  std::mt19937 random(1);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    for (int round = 0; round < 100; ++round) {
      const std::size_t size =
          round < 70 ? static_cast<std::size_t>(round) * 3 : random() % kLongest;
      const std::string text = RandomText(random, c.alphabet, size);
      SCOPED_TRACE(text);
      ExpectStops<NginxFinder>(text, PlainNginxStops(text));
      ExpectStops<ApacheFinder>(text, PlainApacheStops(text));
      if (HasFailure()) return;
    }
  }
}

TEST(StopList, DropsWhatStandsBeforeAnOffset) {
  std::mt19937 random(1);
  const std::string text = RandomText(random, "abc ;{}\n", kLongest);
  const Offsets all = PlainNginxStops(text);
  for (std::size_t offset = 0; offset < text.size(); offset += 97) {
    StopList<NginxFinder> list(text);
    list.DropBefore(offset);
    Offsets left;
    for (const std::size_t stop : all) {
      if (stop >= offset) left.push_back(stop);
    }
    ASSERT_EQ(list.HasTwo(), left.size() >= 2) << offset;
    if (left.size() < 2) continue;
    EXPECT_EQ(list.First(), left[0]);
    EXPECT_EQ(list.Second(), left[1]);
  }
}

}  // namespace
