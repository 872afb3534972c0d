// SPDX-License-Identifier: Apache-2.0

#include "template/framework/str.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstddef>
#include <list>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/all_strings.h"

namespace {

using Pieces = std::list<std::string>;

const std::string kSixBlanks = " \t\n\r\v\f";

// What a helper that cuts a text returns, and what it leaves of the text.
struct Cut {
  std::string word;
  std::string rest;
  bool operator==(const Cut& other) const { return word == other.word && rest == other.rest; }
};

std::ostream& operator<<(std::ostream& out, const Cut& cut) {
  return out << testing::PrintToString(cut.word) << ", leaving "
             << testing::PrintToString(cut.rest);
}

template <class... Delimiter>
Cut GetWordOf(std::string text, const Delimiter&... delimiter) {
  std::string word = str::GetWord(text, delimiter...);
  return {word, text};
}

template <class Delimiter>
Cut RGetWordOf(std::string text, const Delimiter& delimiter) {
  std::string word = str::RGetWord(text, delimiter);
  return {word, text};
}

// The helpers once more, byte by byte.

bool PlainIsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::string PlainTrim(const std::string& text) {
  std::string trimmed;
  std::string held;  // blanks that count only when something follows
  for (const char c : text) {
    if (PlainIsBlank(c)) {
      if (!trimmed.empty()) held += c;
    } else {
      trimmed += held + c;
      held.clear();
    }
  }
  return trimmed;
}

Cut PlainGetWord(const std::string& text) {
  Cut cut;
  std::size_t i = 0;
  while (i < text.size() && PlainIsBlank(text[i])) ++i;
  while (i < text.size() && !PlainIsBlank(text[i])) cut.word += text[i++];
  ++i;  // one blank
  while (i < text.size()) cut.rest += text[i++];
  return cut;
}

bool PlainStandsAt(const std::string& text, std::size_t at, const std::string& part) {
  for (std::size_t i = 0; i < part.size(); ++i) {
    if (at + i >= text.size() || text[at + i] != part[i]) return false;
  }
  return !part.empty();
}

Cut PlainGetWord(const std::string& text, const std::string& delimiter) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (PlainStandsAt(text, at, delimiter)) {
      return {text.substr(0, at), text.substr(at + delimiter.size())};
    }
  }
  return {text, ""};
}

Cut PlainRGetWord(const std::string& text, const std::string& delimiter) {
  for (std::size_t at = text.size(); at-- > 0;) {
    if (PlainStandsAt(text, at, delimiter)) {
      return {text.substr(at + delimiter.size()), text.substr(0, at)};
    }
  }
  return {text, ""};
}

std::string PlainReplace(const std::string& text, const std::string& from, const std::string& to) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const bool found = PlainStandsAt(text, at, from);
    result += found ? to : text.substr(at, 1);
    at += found ? from.size() : 1;
  }
  return result;
}

Pieces PlainSplit(std::string text, const std::string& delimiter) {
  Pieces pieces;
  while (!text.empty()) {
    const Cut cut = PlainGetWord(text, delimiter);
    if (!cut.word.empty()) pieces.push_back(PlainTrim(cut.word));
    text = cut.rest;
  }
  return pieces;
}

std::string PlainAppend(const std::string& a, const std::string& b, const std::string& separator) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return a + separator + b;
}

// Blanks

TEST(Str, ABlankIsOneOfSixBytes) {
  for (int byte = CHAR_MIN; byte <= CHAR_MAX; ++byte) {
    SCOPED_TRACE(byte);
    const char c = static_cast<char>(byte);
    const bool blank = kSixBlanks.find(c) != std::string::npos;
    EXPECT_EQ(str::IsBlank(c), blank);
    EXPECT_EQ(str::Trim(std::string(1, c)), blank ? "" : std::string(1, c));
    EXPECT_EQ(GetWordOf(std::string("a") + c + "b"),
              blank ? (Cut{"a", "b"}) : (Cut{std::string("a") + c + "b", ""}));
  }
}

// GetWord, one argument

TEST(Str, FirstWordTakesExactlyOneBlankAfterIt) {
  struct Case {
    const char* name;
    std::string text;
    Cut cut;
  };
  const Case cases[] = {
      {"one blank", "listen 80 default_server", {"listen", "80 default_server"}},
      {"the second blank stays", "a  b", {"a", " b"}},
      {"a tab", "a\tb", {"a", "b"}},
      {"a line end of two bytes", "a\r\nb", {"a", "\nb"}},
      {"blank behind the last word", "a ", {"a", ""}},
      {"two blanks behind the last word", "a  ", {"a", " "}},
      {"no blank", "gzip", {"gzip", ""}},
      {"no blank, not a word of letters", "a;{}#", {"a;{}#", ""}},
      {"empty", "", {"", ""}},
      {"a NUL byte is no blank", std::string("a\0b c", 5), {std::string("a\0b", 3), "c"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(GetWordOf(c.text), c.cut);
  }
}

TEST(Str, FirstWordSkipsLeadingBlanks) {
  EXPECT_EQ(GetWordOf("  listen 80"), (Cut{"listen", "80"}));
  EXPECT_EQ(GetWordOf("\r\n\t\v\f gzip"), (Cut{"gzip", ""}));
}

TEST(Str, FirstWordOfBlanksIsEmptyAndLeavesNothing) {
  for (const std::string& blanks : AllStrings(kSixBlanks, 3)) {
    SCOPED_TRACE(testing::PrintToString(blanks));
    EXPECT_EQ(GetWordOf(blanks), (Cut{"", ""}));
  }
}

// GetWord with a delimiter

TEST(Str, GetWordCutsAtTheFirstDelimiter) {
  struct Case {
    const char* name;
    std::string text;
    std::string delimiter;
    Cut cut;
  };
  const Case cases[] = {
      {"comment", "text {#} note", "{#}", {"text ", " note"}},
      {"no delimiter", "text", "{#}", {"text", ""}},
      {"half a delimiter", "text {#", "{#}", {"text {#", ""}},
      {"the first of several", "a{#}b{#}c", "{#}", {"a", "b{#}c"}},
      {"at the front", "{#}a", "{#}", {"", "a"}},
      {"at the end", "a{#}", "{#}", {"a", ""}},
      {"the delimiter alone", "{#}", "{#}", {"", ""}},
      {"overlapping", "aaa", "aa", {"", "a"}},
      {"longer than the text", "a", "aaaa", {"a", ""}},
      {"empty text", "", "{#}", {"", ""}},
      {"blanks stay", "  a  ,  b  ", ",", {"  a  ", "  b  "}},
      {"section path", "http {\x18\x19server {", "\x18\x19", {"http {", "server {"}},
      {"half a path separator", "a\x18z", "\x18\x19", {"a\x18z", ""}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(GetWordOf(c.text, c.delimiter), c.cut);
    if (c.delimiter.size() == 1) {
      EXPECT_EQ(GetWordOf(c.text, c.delimiter[0]), c.cut);
    }
  }
}

TEST(Str, GetWordCutsAtAnyByte) {
  EXPECT_EQ(GetWordOf("a\nb\n", '\n'), (Cut{"a", "b\n"}));
  EXPECT_EQ(GetWordOf("\n\n", '\n'), (Cut{"", "\n"}));
  EXPECT_EQ(GetWordOf(std::string("a\0b", 3), '\0'), (Cut{"a", "b"}));
  EXPECT_EQ(GetWordOf("a\xff"
                      "b",
                      '\xff'),
            (Cut{"a", "b"}));
}

// RGetWord

TEST(Str, RGetWordCutsAtTheLastDelimiter) {
  struct Case {
    const char* name;
    std::string text;
    std::string delimiter;
    Cut cut;
  };
  const Case cases[] = {
      {"directive", "listen 80; # x", ";", {" # x", "listen 80"}},
      {"port", "::1:443", ":", {"443", "::1"}},
      {"the last of several", "a;b;c", ";", {"c", "a;b"}},
      {"at the end", "a;", ";", {"", "a"}},
      {"at the front", ";a", ";", {"a", ""}},
      {"no delimiter", "127.0.0.1", ":", {"127.0.0.1", ""}},
      {"path of one level", "server {", "\x18\x19", {"server {", ""}},
      {"path of two levels", "http {\x18\x19server {", "\x18\x19", {"server {", "http {"}},
      {"overlapping", "aaa", "aa", {"", "a"}},
      {"longer than the text", "a", "aaaa", {"a", ""}},
      {"empty text", "", ";", {"", ""}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(RGetWordOf(c.text, c.delimiter), c.cut);
    if (c.delimiter.size() == 1) {
      EXPECT_EQ(RGetWordOf(c.text, c.delimiter[0]), c.cut);
    }
  }
}

TEST(Str, AnEmptyDelimiterIsNeverFound) {
  EXPECT_EQ(GetWordOf("a b", std::string()), (Cut{"a b", ""}));
  EXPECT_EQ(RGetWordOf("a b", std::string()), (Cut{"a b", ""}));
  EXPECT_EQ(GetWordOf("", std::string()), (Cut{"", ""}));
  EXPECT_EQ(RGetWordOf("", std::string()), (Cut{"", ""}));
  EXPECT_EQ(str::Replace("abc", "", "-"), "abc");
  EXPECT_EQ(str::Replace("", "", "-"), "");

  Pieces pieces;
  str::Split(" a b ", "", pieces);
  EXPECT_EQ(pieces, (Pieces{"a b"}));

  std::string_view view = "a b";
  EXPECT_EQ(str::view::GetWord(view, std::string_view()), "a b");
  EXPECT_EQ(view, "");
}

TEST(Str, ADelimiterMayBePartOfTheText) {
  std::string text = ";";
  EXPECT_EQ(str::GetWord(text, text), "");
  EXPECT_EQ(text, "");
  text = ";";
  EXPECT_EQ(str::RGetWord(text, text), "");
  EXPECT_EQ(text, "");
}

// Trim

TEST(Str, TrimTakesBlanksOffBothEnds) {
  struct Case {
    std::string text;
    const char* trimmed;
  };
  const Case cases[] = {
      {"", ""},
      {" \t\n\r\v\f", ""},
      {"a", "a"},
      {"  root /srv;\r\n", "root /srv;"},
      {"\ta \t b\t", "a \t b"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    EXPECT_EQ(str::Trim(c.text), c.trimmed);
  }
  EXPECT_EQ(str::Trim(std::string(" \0 ", 3)), std::string(1, '\0'));
  EXPECT_EQ(str::Trim("\xc2\xa0"), "\xc2\xa0") << "blanks of no encoding but ASCII";
}

// StartsWith, EndsWith

TEST(Str, PrefixesAndSuffixesAreComparedByteForByte) {
  struct Case {
    const char* text;
    const char* part;
    bool starts;
    bool ends;
  };
  const Case cases[] = {
      {"server {", "server", true, false},
      {"server {", "{", false, true},
      {"server {", "Server", false, false},
      {"server {", "erver", false, false},
      {"{", "{", true, true},
      {"{", "{{", false, false},
      {"", "{", false, false},
      {"", "", true, true},
      {"a", "", true, true},
      {"aba", "a", true, true},
      {" a ", "a", false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " / " + c.part);
    EXPECT_EQ(str::StartsWith(c.text, c.part), c.starts);
    EXPECT_EQ(str::EndsWith(c.text, c.part), c.ends);
    EXPECT_EQ(str::view::StartsWith(c.text, c.part), c.starts);
    EXPECT_EQ(str::view::EndsWith(c.text, c.part), c.ends);
  }
  EXPECT_FALSE(str::StartsWith("a", std::string("a\0", 2)));
  EXPECT_FALSE(str::EndsWith(std::string("a\0", 2), "a"));
}

// Replace

TEST(Str, ReplaceGoesFromLeftToRightAndDoesNotLookAgain) {
  struct Case {
    const char* text;
    const char* from;
    const char* to;
    const char* result;
  };
  const Case cases[] = {
      {"server_name a;", ";", "", "server_name a"},
      {"a;b;;c", ";", "", "abc"},
      {"aaa", "aa", "b", "ba"},
      {"aaaa", "aa", "a", "aa"},
      {"ab", "a", "aa", "aab"},
      {"a", "a", "a", "a"},
      {"xay", "a", "<>", "x<>y"},
      {"abc", "d", "e", "abc"},
      {"", "a", "b", ""},
      {"aab", "ab", "", "a"},
      {"abc", "abcd", "", "abc"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(str::Replace(c.text, c.from, c.to), c.result);
  }
}

// Append, Join, Split, Str

TEST(Str, AppendSeparatesNonEmptyPartsOnly) {
  struct Case {
    const char* a;
    const char* b;
    const char* separator;
    const char* result;
  };
  const Case cases[] = {
      {"a", "b", " ", "a b"}, {"", "b", " ", "b"},  {"a", "", " ", "a"},
      {"", "", " ", ""},      {"a", "b", "", "ab"}, {"a ", " b", "::", "a :: b"},
      {" ", " ", "-", " - "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.result);
    EXPECT_EQ(str::Append(c.a, c.b, c.separator), c.result);
    std::string a = c.a;
    str::inpl::Append(a, c.b, c.separator);
    EXPECT_EQ(a, c.result);
  }
}

TEST(Str, InPlaceFormsDoWhatTheOthersDo) {
  std::string text = " \ta b\r\n";
  str::inpl::Trim(text);
  EXPECT_EQ(text, "a b");
  str::inpl::Trim(text);
  EXPECT_EQ(text, "a b");
  text = " \n";
  str::inpl::Trim(text);
  EXPECT_EQ(text, "");
}

TEST(Str, AppendTakesItsOwnTextAsSecondPart) {
  std::string text = "a";
  str::inpl::Append(text, text, ",");
  EXPECT_EQ(text, "a,a");
}

TEST(Str, NumbersAreDecimal) {
  EXPECT_EQ(str::Str(0), "0");
  EXPECT_EQ(str::Str(8080), "8080");
  EXPECT_EQ(str::Str(-1), "-1");
  EXPECT_EQ(str::Str(INT_MAX + 1L), "2147483648");
  EXPECT_EQ(str::Str(LONG_MIN), "-9223372036854775808");
}

TEST(Str, JoinLeavesNoTraceOfEmptyElements) {
  struct Case {
    Pieces pieces;
    const char* separator;
    const char* joined;
  };
  const Case cases[] = {
      {{"a", "", "b"}, "\n", "a\nb"},
      {{"", "x"}, "\n", "x"},
      {{"x", ""}, "\n", "x"},
      {{}, "\n", ""},
      {{""}, "\n", ""},
      {{"", "", ""}, "\n", ""},
      {{"a"}, "\n", "a"},
      {{"a", "b", "c"}, "", "abc"},
      {{"a", " ", "b"}, ",", "a, ,b"},
      {{"a\n", "b"}, "\n", "a\n\nb"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.pieces));
    EXPECT_EQ(str::Join(c.pieces, c.separator), c.joined);
  }
}

TEST(Str, SplitTrimsPiecesAndSkipsEmptyOnes) {
  struct Case {
    const char* text;
    const char* delimiter;
    Pieces pieces;
  };
  const Case cases[] = {
      {"a, ,b,", ",", {"a", "", "b"}},
      {"", ",", {}},
      {",,,", ",", {}},
      {" ", ",", {""}},
      {" , ", ",", {"", ""}},
      {"a", ",", {"a"}},
      {" a b , c\t", ",", {"a b", "c"}},
      {"a::b:c", "::", {"a", "b:c"}},
      {"a\n\nb\n", "\n", {"a", "b"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    Pieces pieces;
    str::Split(c.text, c.delimiter, pieces);
    EXPECT_EQ(pieces, c.pieces);
  }
}

TEST(Str, SplitAppendsToWhatIsThere) {
  Pieces pieces{"", "x"};
  str::Split("a,b", ",", pieces);
  EXPECT_EQ(pieces, (Pieces{"", "x", "a", "b"}));
}

// Views

TEST(Str, ViewsAreCutWithoutCopying) {
  const std::string text = "  listen 80;rest";
  std::string_view rest = text;
  const std::string_view word = str::view::GetWord(rest);
  EXPECT_EQ(word, "listen");
  EXPECT_EQ(word.data(), text.data() + 2);
  EXPECT_EQ(str::view::GetWord(rest, ';'), "80");
  EXPECT_EQ(rest, "rest");
  EXPECT_EQ(rest.data(), text.data() + 12);
  EXPECT_EQ(str::view::Trim("\t a ").size(), 1U);
}

TEST(Str, FirstWordOfAViewLeavesTheViewAlone) {
  const std::string_view text = " \tssl_ciphers  HIGH;";
  EXPECT_EQ(str::view::FirstWord(text), "ssl_ciphers");
  EXPECT_EQ(text, " \tssl_ciphers  HIGH;");
  EXPECT_EQ(str::view::FirstWord(" \t"), "");
  EXPECT_EQ(str::view::FirstWord(""), "");
}

TEST(Str, ContainsFindsAPartAnywhere) {
  EXPECT_TRUE(str::view::Contains("a{%b", "{%"));
  EXPECT_TRUE(str::view::Contains("{%", "{%"));
  EXPECT_FALSE(str::view::Contains("{ %", "{%"));
  EXPECT_FALSE(str::view::Contains("", "{%"));
}

// All short strings

TEST(Str, BlanksAreCutAsInAPlainLoopOverAllShortStrings) {
  std::vector<std::string> texts = AllStrings(kSixBlanks + "a", 4);
  const std::vector<std::string> lines = AllStrings(" a{};#\n\t", 4);
  texts.insert(texts.end(), lines.begin(), lines.end());
  for (const std::string& text : texts) {
    SCOPED_TRACE(testing::PrintToString(text));
    const std::string trimmed = PlainTrim(text);
    ASSERT_EQ(str::Trim(text), trimmed);
    ASSERT_EQ(str::view::Trim(text), trimmed);
    std::string in_place = text;
    str::inpl::Trim(in_place);
    ASSERT_EQ(in_place, trimmed);

    const Cut cut = PlainGetWord(text);
    ASSERT_EQ(GetWordOf(text), cut);
    std::string_view rest = text;
    ASSERT_EQ(str::view::GetWord(rest), cut.word);
    ASSERT_EQ(rest, cut.rest);
    ASSERT_EQ(str::view::FirstWord(text), cut.word);
  }
}

TEST(Str, DelimitersAreFoundAsInAPlainLoopOverAllShortStrings) {
  const std::vector<std::string> delimiters = AllStrings("a;", 3);
  for (const std::string& text : AllStrings("a; ", 6)) {
    for (const std::string& delimiter : delimiters) {
      SCOPED_TRACE(testing::PrintToString(text) + " by " + testing::PrintToString(delimiter));
      const Cut front = PlainGetWord(text, delimiter);
      const Cut back = PlainRGetWord(text, delimiter);
      ASSERT_EQ(GetWordOf(text, delimiter), front);
      ASSERT_EQ(RGetWordOf(text, delimiter), back);
      std::string_view rest = text;
      ASSERT_EQ(str::view::GetWord(rest, std::string_view(delimiter)), front.word);
      ASSERT_EQ(rest, front.rest);
      if (delimiter.size() == 1) {
        ASSERT_EQ(GetWordOf(text, delimiter[0]), front);
        ASSERT_EQ(RGetWordOf(text, delimiter[0]), back);
        rest = text;
        ASSERT_EQ(str::view::GetWord(rest, delimiter[0]), front.word);
        ASSERT_EQ(rest, front.rest);
      }
      Pieces pieces;
      str::Split(text, delimiter, pieces);
      ASSERT_EQ(pieces, PlainSplit(text, delimiter));
      ASSERT_EQ(str::Replace(text, delimiter, ";a"), PlainReplace(text, delimiter, ";a"));
    }
  }
}

TEST(Str, JoinIsAppendOneAfterTheOther) {
  const std::vector<std::string> parts{"", "a", "\n", "ab"};
  for (const std::string& choice : AllStrings("0123", 5)) {
    Pieces pieces;
    std::string joined;
    for (const char c : choice) {
      pieces.push_back(parts[static_cast<std::size_t>(c - '0')]);
      joined = PlainAppend(joined, pieces.back(), "\n");
    }
    SCOPED_TRACE(testing::PrintToString(pieces));
    ASSERT_EQ(str::Join(pieces, "\n"), joined);
  }
}

// Cost

// Were the remaining text moved for every piece, this would take minutes.
TEST(Str, LongTextsAreCutInLinearTime) {
  constexpr std::size_t kPieces = 500000;
  std::string text;
  for (std::size_t i = 0; i < kPieces; ++i) text += "ab,";

  const auto start = std::chrono::steady_clock::now();
  Pieces pieces;
  str::Split(text, ",", pieces);
  EXPECT_EQ(pieces.size(), kPieces);
  EXPECT_EQ(str::Join(pieces, ",").size(), text.size() - 1);
  EXPECT_EQ(str::Replace(text, ",", "").size(), 2 * kPieces);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
