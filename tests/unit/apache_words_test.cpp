// SPDX-License-Identifier: Apache-2.0

// The directives that carry sets of words: Options, ServerAlias, DirectoryIndex.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/view_probe.h"
#include "template/apache.h"
#include "template/framework/str.h"
#include "template/section_path.h"

namespace {

using tov_template::Apache;
using tov_template::kSectionSeparator;
using tov_template::LineIterator;
using Lines = std::vector<std::string>;
using Removed = std::list<LineIterator>;

constexpr std::size_t kMaxPiece = 4096;

const std::string kHost = "<VirtualHost *:80>";
const std::string kDirectory = ViewProbe::Path({kHost, "<Directory />"});

// An Apache configuration whose hooks are easily called. Lines are named by their numbers; the
// number behind the last line is no line.
class WordsProbe : public Apache {
 public:
  using Apache::Apache;
  using Apache::m_lines;

  LineIterator Line(std::size_t i) {
    return std::next(m_lines.begin(), static_cast<std::ptrdiff_t>(i));
  }
  LineIterator End() { return m_lines.end(); }
  std::size_t Number(const LineIterator& line) {
    return static_cast<std::size_t>(std::distance(m_lines.begin(), line));
  }

  LineIterator Register(const std::string& section, std::size_t i) {
    LineIterator pos = Line(i);
    return RegisterUniqueParam(section, pos);
  }

  // Registers all lines of words that there are in one block, as a view would.
  void RegisterAll(const std::string& section) {
    for (LineIterator pos = m_lines.begin(); pos != m_lines.end();) {
      const std::size_t size = m_lines.size();
      const LineIterator kept = IsUniqueParam(*pos) ? RegisterUniqueParam(section, pos) : pos;
      pos = m_lines.size() == size ? std::next(kept) : kept;
    }
  }

  LineIterator Append(const std::string& section, std::size_t i, const std::string& text) {
    return AppendUniqueParam(section, Line(i), text);
  }

  // Whether `text` needs no new line, so that the position given comes back.
  bool AppendsNoLine(const std::string& section, std::size_t i, const std::string& text) {
    const LineIterator pos = Line(i);
    const std::size_t size = m_lines.size();
    return AppendUniqueParam(section, pos, text) == pos && m_lines.size() == size;
  }

  Removed Remove(const std::string& section, const std::string& text, bool flag = false) {
    Removed removed;
    RemoveUniqueParam(section, text, flag, removed);
    return removed;
  }

  Removed Change(const std::string& section, std::size_t i, const std::string& text) {
    LineIterator pos = Line(i);
    Removed removed;
    ChangeUniqueParam(section, pos, text, removed);
    return removed;
  }

  // As the view erases what it has been handed.
  void Erase(const Removed& removed) {
    for (const LineIterator& line : removed) m_lines.erase(line);
  }
};

Lines Texts(const Removed& removed) {
  Lines texts;
  for (const LineIterator& line : removed) texts.push_back(str::Trim(*line));
  return texts;
}

Lines Trimmed(const std::list<std::string>& lines) {
  Lines texts;
  for (const std::string& line : lines) texts.push_back(str::Trim(line));
  return texts;
}

Lines WordsOf(std::string text) {
  Lines words;
  str::inpl::Trim(text);
  while (!text.empty()) {
    words.push_back(str::GetWord(text));
    str::inpl::Trim(text);
  }
  return words;
}

// Names of hosts, one blank between them, `size` characters in all.
std::string Aliases(std::size_t size) {
  std::string names;
  for (int i = 0; names.size() < size; ++i) {
    names += (i == 0 ? "" : " ") + ("www" + std::to_string(i)) + ".example";
  }
  names.resize(size);
  if (names.back() == ' ') names.back() = 'x';
  return names;
}

// --- Options: registration ---

TEST(ApacheOptions, RegistrationMergesTheLinesOfABlock) {
  struct Case {
    const char* name;
    std::string section;
    std::string before;
    std::string after;
  };
  const Case cases[] = {
      {"one line is written anew", kHost, "Options  -Indexes\t+ExecCGI ",
       "\tOptions -Indexes +ExecCGI"},
      {"indented by the depth of the block", kDirectory, "    Options -Indexes",
       "\t\tOptions -Indexes"},
      {"a second line adds its new words", kHost, "Options -Indexes\nOptions -Indexes +ExecCGI",
       "\tOptions -Indexes +ExecCGI"},
      {"where the first stood, in first-seen order", kHost,
       "Options -Indexes\nServerName a\nOptions +FollowSymLinks -Indexes\n# end",
       "\tOptions -Indexes +FollowSymLinks\nServerName a\n# end"},
      {"three lines in a row", kHost, "<A>\nOptions a\nOptions b\nOptions c\n</A>",
       "<A>\n\tOptions a b c\n</A>"},
      {"words that a line names twice", kHost, "Options a b a\nOptions b b c", "\tOptions a b c"},
      {"a sign makes another word", kHost, "Options +A\nOptions -A\nOptions A",
       "\tOptions +A -A A"},
      {"case makes another word", kHost, "Options a\nOptions A", "\tOptions a A"},
      {"the directive's name is in the list already", kHost, "Options Options a\nOptions Options",
       "\tOptions a"},
      {"no words", kHost, "Options\nOptions", "\tOptions"},
      {"no words at first", kHost, "Options\nOptions a", "\tOptions a"},
      {"a comment becomes words", kHost, "Options a # b", "\tOptions a # b"},
      {"a carriage return goes", kHost, "Options a\r\nx\r\nOptions b\r", "\tOptions a b\nx\r"},
      {"all six blanks part words", kHost, "Options\va\fb\tc", "\tOptions a b c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config(c.before);
    config.RegisterAll(c.section);
    EXPECT_EQ(config.Str(), c.after);
  }
}

TEST(ApacheOptions, RegistrationReturnsTheLineThatStays) {
  WordsProbe config("Options a\nOptions b\nx\nOptions c");
  const LineIterator first = config.Line(0);
  const LineIterator x = config.Line(2);
  EXPECT_TRUE(config.Register(kHost, 0) == first);
  EXPECT_TRUE(config.Register(kHost, 1) == x) << "the line behind the erased one";
  EXPECT_EQ(config.Str(), "\tOptions a b\nx\nOptions c");
  EXPECT_TRUE(config.Register(kHost, 2) == config.End()) << "no line behind the erased one";
  EXPECT_EQ(config.Str(), "\tOptions a b c\nx");
  EXPECT_TRUE(config.Line(0) == first);
}

TEST(ApacheOptions, BlocksHaveTheirOwnWords) {
  WordsProbe config("Options a\nOptions b\nOptions c\nOptions a d");
  config.Register(kHost, 0);
  config.Register(kDirectory, 1);
  config.Register(kHost, 2);
  config.Register(kDirectory, 2);
  EXPECT_EQ(config.Str(), "\tOptions a c\n\t\tOptions b a d");
}

// The hooks look at the beginning of the line only.
TEST(ApacheOptions, LinesThatBeginLikeOptionsAreTakenForThem) {
  WordsProbe config("OptionsX a\nOptionsY b");
  config.Register(kHost, 0);
  config.Register(kHost, 1);
  EXPECT_EQ(config.Str(), "\tOptionsX a OptionsY b") << "named as the first line was";
  EXPECT_TRUE(config.AppendsNoLine(kHost, 1, "Options c"));
  EXPECT_EQ(config.Str(), "\tOptionsX a OptionsY b Options c");
}

// --- Options: adding ---

TEST(ApacheOptions, AddingRewritesTheLineOfTheBlock) {
  struct Case {
    const char* name;
    const char* before;
    const char* text;
    const char* after;
  };
  const Case cases[] = {
      {"a new word", "<A>\nOptions -Indexes\n</A>", "Options +FollowSymLinks",
       "<A>\n\tOptions -Indexes +FollowSymLinks\n</A>"},
      {"a word that is there", "<A>\nOptions -Indexes\n</A>", "  Options  -Indexes ",
       "<A>\n\tOptions -Indexes\n</A>"},
      {"both", "<A>\nOptions a b\n</A>", "Options c a d c", "<A>\n\tOptions a b c d\n</A>"},
      {"no words", "<A>\nOptions a\n</A>", "Options", "<A>\n\tOptions a\n</A>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config(c.before);
    config.RegisterAll(kHost);
    const LineIterator pos = config.Line(2);
    EXPECT_TRUE(config.AppendUniqueParam(kHost, pos, c.text) == pos) << "no line was made";
    EXPECT_EQ(config.Str(), c.after);
  }
}

TEST(ApacheOptions, AddingMakesTheLineOfABlockWithoutOne) {
  struct Case {
    const char* name;
    std::string section;
    std::size_t pos;
    const char* text;
    const char* after;
  };
  const Case cases[] = {
      {"before the position", kHost, 1, "  Options  a b a", "<A>\n\tOptions a b\n</A>"},
      {"end position", kHost, 2, "Options a", "<A>\n</A>\n\tOptions a"},
      {"indented by depth", kDirectory, 1, "Options a", "<A>\n\t\tOptions a\n</A>"},
      {"no words", kHost, 1, "Options", "<A>\n\tOptions\n</A>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config("<A>\n</A>");
    const LineIterator line = config.Append(c.section, c.pos, c.text);
    EXPECT_TRUE(line == config.Line(c.pos)) << "the line that was made";
    EXPECT_EQ(config.Str(), c.after);

    // It is the block's line from now on.
    const std::string made = *line;
    EXPECT_TRUE(config.AppendsNoLine(c.section, 0, "Options z"));
    EXPECT_EQ(*line, made + " z");
  }
}

TEST(ApacheOptions, AddingOverwritesWhatBecameOfTheLine) {
  WordsProbe config("Options a\nx");
  config.RegisterAll(kHost);
  config.ChangeParam(config.Line(0), "Options changed by hand");
  config.Append(kHost, 1, "Options a");
  EXPECT_EQ(config.Str(), "\tOptions a\nx");
}

// --- Options: removing ---

TEST(ApacheOptions, RemovingTakesWordsOut) {
  struct Case {
    const char* name;
    const char* before;
    const char* text;
    bool flag;
    const char* after;
  };
  const Case cases[] = {
      {"one of two", "Options -Indexes +ExecCGI", "Options -Indexes", false, "\tOptions +ExecCGI"},
      {"two of three, in any order", "Options a b c", " Options  c\ta ", false, "\tOptions b"},
      {"the last one leaves an empty line", "Options -Indexes", "Options -Indexes", false, ""},
      {"all", "Options a b", "Options b a", false, ""},
      {"unknown words are passed over", "Options a b", "Options x b y", false, "\tOptions a"},
      {"words with another sign stay", "Options +a", "Options -a a", false, "\tOptions +a"},
      {"no words: the line is written anew", "Options a", "Options", false, "\tOptions a"},
      {"no words in the block", "Options", "Options a", false, ""},
      {"a word named twice", "Options a b", "Options a a", false, "\tOptions b"},
      {"only the name is given, the flag is set", "Options a b", "Options", true, ""},
      {"the flag removes all words, whichever are named", "Options a b", "Options x", true, ""},
      {"the flag, and every word named, the name too", "Options a", "Options Options a", true, ""},
      {"text that begins like Options", "Options a b", "OptionsX a", false, "\tOptions b"},
      {"the name itself may be removed", "Options a b", "Options Options a", false, "\tb"},
      {"nothing is left of the list: nothing is written", "Options a", "Options a Options", false,
       "\tOptions a"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config(c.before);
    config.RegisterAll(kHost);
    EXPECT_TRUE(config.Remove(kHost, c.text, c.flag).empty()) << "the line is never handed back";
    EXPECT_EQ(*config.Line(0), c.after);
    EXPECT_EQ(config.m_lines.size(), 1U);
    EXPECT_EQ(config.Str(), c.after);
  }
}

TEST(ApacheOptions, AnEmptiedLineIsFilledAgain) {
  for (const bool flag : {false, true}) {
    SCOPED_TRACE(flag);
    WordsProbe config("<A>\nOptions a b\nx\n</A>");
    config.RegisterAll(kHost);
    config.Remove(kHost, "Options a b", flag);
    ASSERT_EQ(config.m_lines.size(), 4U);
    EXPECT_EQ(config.Str(), "<A>\nx\n</A>");

    config.Remove(kHost, "Options a", flag);
    EXPECT_EQ(config.Str(), "<A>\nx\n</A>") << "nothing is left to be removed";

    EXPECT_TRUE(config.AppendsNoLine(kHost, 3, "Options c b"));
    EXPECT_EQ(config.Str(), "<A>\n\tOptions c b\nx\n</A>") << "in its old place";
    EXPECT_EQ(config.m_lines.size(), 4U);
  }
}

TEST(ApacheOptions, AnEmptiedLineTakesOverALaterLine) {
  WordsProbe config("<A>\nOptions a b\nx\nOptions c\n</A>");
  config.Register(kHost, 1);
  config.Remove(kHost, "Options a b");
  EXPECT_EQ(config.Str(), "<A>\nx\nOptions c\n</A>");
  config.Register(kHost, 3);
  EXPECT_EQ(config.Str(), "<A>\n\tOptions c\nx\n</A>") << "in its old place";
}

TEST(ApacheOptions, ALineWithoutItsNameKeepsItsWords) {
  WordsProbe config("Options a b");
  config.RegisterAll(kHost);
  config.Remove(kHost, "Options Options");
  EXPECT_EQ(config.Str(), "\ta b");
  config.Append(kHost, 1, "Options c");
  EXPECT_EQ(config.Str(), "\ta b Options c") << "the name is one more word by now";
  config.Remove(kHost, "Options c");
  EXPECT_EQ(config.Str(), "") << "a list that ends with the name counts as empty";
}

TEST(ApacheOptions, RemovingFromAnotherBlockDoesNothing) {
  WordsProbe config("Options a");
  config.RegisterAll(kHost);
  for (const bool flag : {false, true}) {
    EXPECT_TRUE(config.Remove(kDirectory, "Options a", flag).empty());
    EXPECT_TRUE(config.Remove("", "Options a", flag).empty());
  }
  EXPECT_EQ(config.Str(), "\tOptions a");
}

TEST(ApacheOptions, WordsOfAnUnregisteredBlockAreNotMadeByRemoving) {
  WordsProbe config("Options a\nx");
  config.Remove(kHost, "Options b");
  config.Append(kHost, 1, "Options c");
  EXPECT_EQ(config.Str(), "Options a\n\tOptions c\nx");
}

// --- Options: changing ---

TEST(ApacheOptions, ChangingDoesNothing) {
  struct Case {
    const char* name;
    std::size_t pos;
    const char* text;
  };
  const Case cases[] = {
      {"at the Options line", 1, "Options b"},
      {"at another line", 3, "Options b"},
      {"end position", 4, "Options b"},
      {"an alias, at the Options line", 1, "ServerAlias b"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config("<A>\nOptions a\nServerAlias a\n</A>");
    config.RegisterAll(kHost);
    EXPECT_TRUE(config.Change(kHost, c.pos, c.text).empty());
    EXPECT_EQ(config.Str(), "<A>\n\tOptions a\nServerAlias a\n</A>");
  }
}

// --- Options: erased lines ---

TEST(ApacheOptions, NoDanglingAfterTheLineIsErased) {
  for (const bool range : {false, true}) {
    SCOPED_TRACE(range);
    WordsProbe config("<A>\nOptions old\n</A>\nOptions other");
    config.Register(kHost, 1);
    config.Register(kDirectory, 3);
    if (range) {
      config.RemoveParam(config.Line(0), config.Line(3));
    } else {
      config.RemoveParam(config.Line(1));
    }
    EXPECT_TRUE(config.Remove(kHost, "Options old", true).empty());

    // The block starts anew, without the old words; the other block has kept its own.
    const LineIterator line = config.Append(kHost, 0, "Options new");
    EXPECT_TRUE(line == config.Line(0));
    EXPECT_EQ(*line, "\tOptions new");
    config.Append(kDirectory, 0, "Options more");
    EXPECT_EQ(config.m_lines.back(), "\t\tOptions other more");

    // So does one that is erased after that.
    config.RemoveParam(line);
    EXPECT_EQ(*config.Append(kHost, 0, "Options newer"), "\tOptions newer");
  }
}

TEST(ApacheOptions, NoDanglingForALineRegisteredInTwoBlocks) {
  WordsProbe config("Options a\nx");
  config.Register(kHost, 0);
  config.Register(kDirectory, 0);
  config.RemoveParam(config.Line(0));
  EXPECT_EQ(*config.Append(kHost, 0, "Options b"), "\tOptions b");
  EXPECT_EQ(*config.Append(kDirectory, 0, "Options c"), "\t\tOptions c");
  EXPECT_EQ(config.Str(), "\t\tOptions c\n\tOptions b\nx");
}

TEST(ApacheOptions, ALineAtTheAddressOfAnErasedOneIsAnotherLine) {
  WordsProbe config("Options a");
  config.RegisterAll(kHost);
  for (int i = 0; i < 1000; ++i) {
    config.RemoveParam(config.Line(0));
    config.AppendParam(config.End(), "Options x");
  }
  EXPECT_TRUE(config.Remove(kHost, "Options x", true).empty());
  EXPECT_EQ(config.Str(), "Options x");
}

TEST(ApacheOptions, ManyLinesAndManyWordsAreMerged) {
  std::string text;
  std::string merged = "\tOptions";
  for (int i = 0; i < 50000; ++i) {
    text += "Options w" + std::to_string(i) + " again\n";
    merged += " w" + std::to_string(i) + (i == 0 ? " again" : "");
  }
  WordsProbe config(text);
  config.RegisterAll(kHost);
  EXPECT_EQ(config.m_lines.size(), 1U);
  EXPECT_TRUE(config.Str() == merged);
}

// --- Pieces of values ---

TEST(ApachePieces, AValueIsCutAtTheLastBlankWithinTheLimit) {
  const std::string a4095(4095, 'a');
  const std::string a4096(4096, 'a');
  const std::string a3000(3000, 'a');
  const std::string b3000(3000, 'b');
  struct Case {
    const char* name;
    std::string value;
    std::string piece;
    std::string rest;
  };
  const Case cases[] = {
      {"nothing", "", "", ""},
      {"a short value whole, blanks and all", "  a b  ", "  a b  ", ""},
      {"blanks alone, not too long", std::string(4096, ' '), std::string(4096, ' '), ""},
      {"exactly the limit", a4095 + " ", a4095 + " ", ""},
      {"one more than the limit", a4095 + " b", a4095, "b"},
      {"the blank is the last within the limit", a4095 + "\tbc", a4095, "bc"},
      {"the blank is just behind the limit", a4096 + " b", a4096, " b"},
      {"no blank", a4096 + "b", a4096, "b"},
      {"cut back to the last of several blanks", "x " + a3000 + " " + b3000, "x " + a3000, b3000},
      {"a run of blanks loses its last", a3000 + "   " + b3000, a3000 + "  ", b3000},
      {"tabs and line ends are blanks", a3000 + "\n" + b3000, a3000, b3000},
      {"carriage returns are", a3000 + "\r" + b3000, a3000, b3000},
      {"form feeds are not", a3000 + "\f" + b3000, a3000 + "\f" + std::string(1095, 'b'),
       std::string(1905, 'b')},
      {"vertical tabs are not", a3000 + "\v" + b3000, a3000 + "\v" + std::string(1095, 'b'),
       std::string(1905, 'b')},
      {"a NUL byte is not", a3000 + std::string(1, '\0') + b3000,
       a3000 + std::string(1, '\0') + std::string(1095, 'b'), std::string(1905, 'b')},
      // The place of the cut is found in the trimmed value and used in the value as it is.
      {"leading blanks", "  " + a3000 + " " + b3000, a3000,
       a3000.substr(1999 + 1000) + " " + b3000},
      {"leading blanks, no blank within", "   " + a4096, a4096, "aaa"},
      {"leading form feeds are trimmed too", "\f" + a3000 + " " + b3000, a3000, " " + b3000},
      {"trailing blanks make a value long", "a b" + std::string(5000, ' '), "a",
       "b" + std::string(5000, ' ')},
      {"one word and trailing blanks", "a" + std::string(5000, ' '), "a", std::string(5000, ' ')},
      {"leading blanks make a value long", std::string(5000, ' ') + "ab c", "ab",
       std::string(4997, ' ') + "ab c"},
      {"a form feed between short words", "a\fb" + std::string(5000, ' '), "a\fb",
       std::string(5000, ' ')},
      // all-blank-piece
      {"blanks alone, too long", std::string(4097, ' '), "", ""},
      {"blanks of every kind, too long", "\t\n\r\v\f " + std::string(200000, ' '), "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string value = c.value;
    EXPECT_EQ(Apache::ParseHugeParam::GetPartParam(value), c.piece);
    EXPECT_EQ(value, c.rest);
  }
}

// The rule once more, word for word.
std::string PlainPart(std::string& value) {
  std::string piece = value;
  if (value.size() <= kMaxPiece) {
    value.clear();
    return piece;
  }
  const std::string trimmed = str::Trim(value);
  piece = trimmed.substr(0, kMaxPiece);
  if (piece.empty()) {
    value.clear();
    return piece;
  }
  for (std::size_t cut = piece.size(); cut-- > 0;) {
    if (std::string(" \t\n\r").find(piece[cut]) == std::string::npos) continue;
    value = value.substr(cut + 1);
    return piece.substr(0, cut);
  }
  value = value.substr(piece.size());
  return piece;
}

class RandomValues {
 public:
  explicit RandomValues(unsigned seed) : m_random(seed) {}

  std::size_t Number(std::size_t limit) { return m_random() % limit; }

  // A value whose size is near a limit, with blanks of all kinds in it and around it.
  std::string Odd() {
    const std::size_t sizes[] = {0, 1, 4094, 4095, 4096, 4097, 4098, 8191, 8192, 8193, 12288};
    const std::size_t size = Number(3) == 0 ? Number(20000) : sizes[Number(std::size(sizes))];
    const std::string leading = Blanks(Number(3) == 0 ? Number(5000) : Number(3));
    const std::string trailing = Blanks(Number(3) == 0 ? Number(5000) : Number(3));
    std::string value = leading;
    while (value.size() + trailing.size() < size) {
      value += Word() + Blanks(Number(4) == 0 ? Number(200) : 1 + Number(2));
    }
    value += trailing;
    if (value.size() > size && Number(2) == 0) value.resize(size);
    return value;
  }

  // A value of short words with exactly one blank between them, one at which lines are cut.
  std::string Plain() {
    const std::size_t size = Number(20000);
    std::string value = Word();
    while (value.size() < size) value += " \t"[Number(2)] + Word();
    return value;
  }

 private:
  std::string Blanks(std::size_t count) {
    std::string blanks;
    const bool all = Number(2) == 0;
    while (blanks.size() < count) blanks += all ? " \t\n\r\v\f"[Number(6)] : ' ';
    return blanks;
  }

  std::string Word() {
    const std::size_t longest[] = {3, 30, 300, 3000};
    return std::string(1 + Number(longest[Number(std::size(longest))]),
                       static_cast<char>('a' + Number(26)));
  }

  std::mt19937 m_random;
};

TEST(ApachePieces, AnyValueIsCutByTheRule) {
  for (unsigned seed = 0; seed < 1000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::string value = RandomValues(seed).Odd();
    std::string plain = value;
    while (!plain.empty()) {
      const std::size_t size = value.size();
      const std::string expected = PlainPart(plain);
      const std::string piece = Apache::ParseHugeParam::GetPartParam(value);
      ASSERT_TRUE(piece == expected) << "'" << piece << "' is not '" << expected << "'";
      ASSERT_TRUE(value == plain) << "'" << value << "' is not '" << plain << "'";
      ASSERT_LE(piece.size(), kMaxPiece);
      ASSERT_LT(value.size(), size);
    }
  }
}

TEST(ApachePieces, JoinedByBlanksTheyAreTheWordsAgain) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string value = RandomValues(seed).Plain();
    std::string joined;
    for (std::string rest = value; !rest.empty();) {
      const std::string piece = Apache::ParseHugeParam::GetPartParam(rest);
      ASSERT_FALSE(piece.empty());
      joined += (joined.empty() ? "" : " ") + piece;
    }
    ASSERT_EQ(WordsOf(joined), WordsOf(value));
  }
}

TEST(ApachePieces, LinesHoldThePiecesOfAnyValue) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = "ServerAlias " + RandomValues(seed).Odd();
    std::string rest = str::Trim(text);
    str::GetWord(rest);
    Lines expected;
    while (!rest.empty()) {
      const std::string line = str::Trim(str::Append("ServerAlias", PlainPart(rest), " "));
      if (std::find(expected.begin(), expected.end(), line) == expected.end()) {
        expected.push_back(line);
      }
    }
    WordsProbe config("");
    config.Append(kHost, 0, text);
    const Lines made = Trimmed(config.m_lines);
    ASSERT_EQ(made, expected);
    for (const std::string& line : made) {
      ASSERT_LE(line.size(), std::string("ServerAlias ").size() + kMaxPiece);
    }
    const std::size_t count = made.size();
    EXPECT_TRUE(config.AppendsNoLine(kHost, count, text)) << "nothing is added twice";
  }
}

// --- ServerAlias and DirectoryIndex: registration ---

TEST(ApacheAliases, RegistrationLeavesTheLinesAsTheyAre) {
  const std::string text = "<A>\n  ServerAlias  a\tb \nServerAlias a\nDirectoryIndex i\r\n</A>";
  WordsProbe config(text);
  for (const std::size_t i : {1U, 2U, 3U}) {
    EXPECT_TRUE(config.Register(kHost, i) == config.Line(i));
  }
  EXPECT_EQ(config.Str(), text);

  EXPECT_EQ(Texts(config.Remove(kHost, "ServerAlias", true)),
            (Lines{"ServerAlias  a\tb", "ServerAlias a"}));
  EXPECT_EQ(Texts(config.Remove(kHost, "DirectoryIndex", true)), (Lines{"DirectoryIndex i"}));
  EXPECT_EQ(config.Str(), text) << "handed back, not erased";
}

TEST(ApacheAliases, OtherLinesAreRecordedUnderTheirFirstWord) {
  WordsProbe config("Custom a\nServerAlias a");
  config.RegisterAll(kHost);
  config.Register(kHost, 0);
  EXPECT_EQ(Texts(config.Remove(kHost, "Custom a")), (Lines{"Custom a"}));
}

TEST(ApacheAliases, EmptySectionDoesNothing) {
  const std::string text = "Options a\nOptions b\nServerAlias a";
  WordsProbe config(text);
  for (std::size_t i = 0; i <= 3; ++i) {
    EXPECT_TRUE(config.Register("", i) == config.Line(i));
    for (const char* const line : {"Options c", "ServerAlias c", "DirectoryIndex c"}) {
      EXPECT_TRUE(config.AppendsNoLine("", i, line));
      EXPECT_TRUE(config.Change("", i, line).empty());
      EXPECT_TRUE(config.Remove("", line, false).empty());
      EXPECT_TRUE(config.Remove("", line, true).empty());
    }
  }
  EXPECT_EQ(config.Str(), text);
}

TEST(ApacheAliases, RegisteringNoLineDoesNothing) {
  WordsProbe config("ServerAlias a");
  EXPECT_TRUE(config.Register(kHost, 1) == config.End());
  EXPECT_TRUE(config.Remove(kHost, "ServerAlias", true).empty());
  EXPECT_TRUE(config.Change(kHost, 0, "ServerAlias b").empty());
  EXPECT_EQ(config.Str(), "ServerAlias a");
}

// --- ServerAlias and DirectoryIndex: adding ---

TEST(ApacheAliases, AddingMakesALineThatIsNotThere) {
  struct Case {
    const char* name;
    const char* before;
    std::string section;
    std::size_t pos;
    std::string text;
    bool made;
    std::string after;
  };
  const Case cases[] = {
      {"the first", "<A>\n</A>", kHost, 1, "ServerAlias a.example b.example", true,
       "<A>\n\tServerAlias a.example b.example\n</A>"},
      {"indented by depth, the old indentation gone", "<A>\n</A>", kDirectory, 1,
       "      DirectoryIndex i.php  ", true, "<A>\n\t\tDirectoryIndex i.php\n</A>"},
      {"end position", "<A>", kHost, 1, "ServerAlias a", true, "<A>\n\tServerAlias a"},
      {"the same line is there", "<A>\n  ServerAlias a b\n</A>", kHost, 2, "ServerAlias a b", false,
       "<A>\n  ServerAlias a b\n</A>"},
      {"lines are compared without their indentation", "ServerAlias a\t", kHost, 1,
       "\tServerAlias a  ", false, "ServerAlias a\t"},
      {"some of the words make another line", "ServerAlias a b", kHost, 1, "ServerAlias a", true,
       "ServerAlias a b\n\tServerAlias a"},
      {"another order makes another line", "ServerAlias a b", kHost, 1, "ServerAlias b a", true,
       "ServerAlias a b\n\tServerAlias b a"},
      {"blanks within make another line", "ServerAlias a b", kHost, 1, "ServerAlias a  b", true,
       "ServerAlias a b\n\tServerAlias a  b"},
      {"a comment makes another line", "ServerAlias a # c", kHost, 1, "ServerAlias a", true,
       "ServerAlias a # c\n\tServerAlias a"},
      {"blanks behind the name: one goes with it", "x", kHost, 0, "ServerAlias   a", true,
       "\tServerAlias   a\nx"},
      {"a tab behind the name becomes a blank", "ServerAlias a", kHost, 1, "ServerAlias\ta", false,
       "ServerAlias a"},
      {"another directive", "ServerAlias a", kHost, 1, "DirectoryIndex a", true,
       "ServerAlias a\n\tDirectoryIndex a"},
      {"no value", "x", kHost, 0, "ServerAlias", false, "x"},
      {"no value, but blanks", "x", kHost, 0, "ServerAlias   ", false, "x"},
      {"nothing at all", "x", kHost, 0, "", false, "x"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config(c.before);
    config.RegisterAll(c.section);
    const LineIterator pos = config.Line(c.pos);
    const LineIterator line = config.AppendUniqueParam(c.section, pos, c.text);
    EXPECT_TRUE(line == (c.made ? std::prev(pos) : pos));
    EXPECT_EQ(config.Str(), c.after);
    EXPECT_TRUE(config.AppendUniqueParam(c.section, pos, c.text) == pos) << "made once";
    EXPECT_EQ(config.Str(), c.after);
  }
}

TEST(ApacheAliases, AChangedLineOfALongListIsKnownByItsNewText) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "ServerAlias a" + std::to_string(i) + "\n";
  WordsProbe config(text);
  config.RegisterAll(kHost);
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(config.AppendsNoLine(kHost, 100, "ServerAlias a99"));
  config.ChangeParam(config.Line(50), "ServerAlias b");
  EXPECT_TRUE(config.AppendsNoLine(kHost, 100, "ServerAlias b"));
  EXPECT_FALSE(config.AppendsNoLine(kHost, 100, "ServerAlias a50"));
}

TEST(ApacheAliases, BlocksHaveTheirOwnLines) {
  WordsProbe config("ServerAlias a");
  config.RegisterAll(kHost);
  config.Append(kDirectory, 1, "ServerAlias a");
  EXPECT_EQ(config.Str(), "ServerAlias a\n\t\tServerAlias a");
}

TEST(ApacheAliases, ALongValueStandsInSeveralLines) {
  const std::string value = Aliases(10000);
  WordsProbe config("<A>\n</A>");
  const LineIterator last = config.Append(kHost, 1, "  ServerAlias " + value);
  ASSERT_EQ(config.m_lines.size(), 5U);
  EXPECT_TRUE(last == config.Line(3)) << "the last line made";

  std::string joined;
  for (std::size_t i = 1; i <= 3; ++i) {
    const std::string& line = *config.Line(i);
    ASSERT_EQ(line.substr(0, 13), "\tServerAlias ");
    const std::string piece = line.substr(13);
    EXPECT_LE(piece.size(), kMaxPiece);
    joined += (i == 1 ? "" : " ") + piece;
  }
  EXPECT_TRUE(joined == value) << "cut at blanks, in order";

  EXPECT_TRUE(config.AppendsNoLine(kHost, 4, "ServerAlias " + value));
  EXPECT_EQ(config.m_lines.size(), 5U);
}

TEST(ApacheAliases, OnlyTheMissingPiecesAreMade) {
  const std::string a(4000, 'a');
  const std::string b(4000, 'b');
  const std::string c(4000, 'c');
  WordsProbe config("ServerAlias " + b + "\nx");
  config.RegisterAll(kHost);
  const LineIterator last = config.Append(kHost, 1, "ServerAlias " + a + " " + b + " " + c);
  EXPECT_TRUE(last == config.Line(2));
  EXPECT_EQ(Trimmed(config.m_lines),
            (Lines{"ServerAlias " + b, "ServerAlias " + a, "ServerAlias " + c, "x"}));
  // A piece that the value holds twice is made once.
  config.Append(kHost, 3, "DirectoryIndex " + a + " " + a + " " + b + " " + a);
  EXPECT_EQ(Trimmed(config.m_lines),
            (Lines{"ServerAlias " + b, "ServerAlias " + a, "ServerAlias " + c,
                   "DirectoryIndex " + a, "DirectoryIndex " + b, "x"}));
}

// A piece that is cut within a run of blanks ends with blanks; its line does not.
TEST(ApacheAliases, APieceThatEndsWithBlanksIsFoundAgain) {
  const std::string text = "ServerAlias " + std::string(3000, 'a') + "  " + std::string(3000, 'b');
  WordsProbe config("x");
  config.Append(kHost, 0, text);
  const Lines made{"ServerAlias " + std::string(3000, 'a'), "ServerAlias " + std::string(3000, 'b'),
                   "x"};
  ASSERT_EQ(Trimmed(config.m_lines), made);
  EXPECT_TRUE(config.AppendsNoLine(kHost, 2, text));
  EXPECT_EQ(Trimmed(config.m_lines), made);
}

TEST(ApacheAliases, AWordLongerThanTheLimitIsCut) {
  WordsProbe config("");
  config.Append(kHost, 0, "ServerAlias " + std::string(10000, 'a'));
  EXPECT_EQ(Trimmed(config.m_lines), (Lines{"ServerAlias " + std::string(4096, 'a'),
                                            "ServerAlias " + std::string(1808, 'a')}))
      << "the second piece is the first again, which is there";
}

// --- ServerAlias and DirectoryIndex: removing ---

TEST(ApacheAliases, RemovingHandsLinesBack) {
  struct Case {
    const char* name;
    const char* before;
    const char* text;
    bool flag;
    Lines removed;
  };
  const char* const kLines = "ServerAlias a\n\tServerAlias b c\t\nDirectoryIndex a\nServerAlias a";
  const Case cases[] = {
      {"a line", kLines, "ServerAlias b c", false, {"ServerAlias b c"}},
      {"every line of that text",
       kLines,
       " ServerAlias a ",
       false,
       {"ServerAlias a", "ServerAlias a"}},
      {"another directive", kLines, "DirectoryIndex a", false, {"DirectoryIndex a"}},
      {"a part of the line is not enough", kLines, "ServerAlias b", false, {}},
      {"another order", kLines, "ServerAlias c b", false, {}},
      {"blanks within", kLines, "ServerAlias  a", false, {}},
      {"no value", kLines, "ServerAlias", false, {}},
      {"a directive that is not there", kLines, "ServerAliases a", false, {}},
      {"nothing at all", kLines, "", false, {}},
      {"with the flag all lines of the directive",
       kLines,
       "ServerAlias",
       true,
       {"ServerAlias a", "ServerAlias b c", "ServerAlias a"}},
      {"with the flag the value does not matter",
       kLines,
       "DirectoryIndex x",
       true,
       {"DirectoryIndex a"}},
      {"with the flag, a directive that is not there", kLines, "ServerAliases", true, {}},
      {"a line without a value",
       "ServerAlias\nServerAlias a",
       "ServerAlias",
       false,
       {"ServerAlias"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config(c.before);
    config.RegisterAll(kHost);
    EXPECT_TRUE(config.Remove(kDirectory, c.text, c.flag).empty()) << "from another block";
    const Removed removed = config.Remove(kHost, c.text, c.flag);
    EXPECT_EQ(Texts(removed), c.removed);
    EXPECT_EQ(config.Str(), c.before) << "handed back, not erased";
    EXPECT_TRUE(config.Remove(kHost, c.text, c.flag).empty()) << "handed back once";
    config.Erase(removed);
    if (c.removed.empty() || c.flag) continue;
    config.Append(kHost, 0, c.text);
    EXPECT_EQ(Trimmed(config.m_lines).front(),
              WordsOf(c.text).size() > 1 ? c.removed.front() : "ServerAlias a")
        << "forgotten, so that it can be made again";
  }
}

TEST(ApacheAliases, HandedBackLinesFollowThoseOfTheCaller) {
  WordsProbe config("x\nServerAlias a");
  config.RegisterAll(kHost);
  Removed removed{config.Line(0)};
  config.RemoveUniqueParam(kHost, "ServerAlias a", false, removed);
  EXPECT_EQ(Texts(removed), (Lines{"x", "ServerAlias a"}));
}

// The text is cut with the directive's name in it, so only the first piece can be that of a line,
// and only where the name does not move its last blank.
TEST(ApacheAliases, RemovingALongValueFindsItsFirstLineAtMost) {
  const std::string a(1000, 'a');
  const std::string first = a + " " + a + " " + a + " " + a;
  const std::string text = "ServerAlias " + first + " " + std::string(1000, 'b');
  WordsProbe config("");
  config.Append(kHost, 0, text);
  ASSERT_EQ(config.m_lines.size(), 2U);
  EXPECT_EQ(Texts(config.Remove(kHost, text)), (Lines{"ServerAlias " + first}));

  // Here the twelve characters of the name push the last word out of the first piece.
  const std::string moved = "ServerAlias " + std::string(4084, 'a') + " " + std::string(10, 'b') +
                            " " + std::string(1000, 'c');
  WordsProbe other("");
  other.Append(kHost, 0, moved);
  ASSERT_EQ(other.m_lines.size(), 2U);
  EXPECT_TRUE(other.Remove(kHost, moved).empty());
  EXPECT_EQ(other.Remove(kHost, "ServerAlias", true).size(), 2U);
}

// --- ServerAlias and DirectoryIndex: changing ---

TEST(ApacheAliases, ChangingReplacesAllLinesOfTheDirective) {
  struct Case {
    const char* name;
    const char* before;
    std::size_t pos;
    std::string text;
    Lines removed;
    std::string between;  // while the old lines still stand
  };
  const Case cases[] = {
      {"one",
       "<A>\n  ServerAlias a\nx\n</A>",
       3,
       "ServerAlias b",
       {"ServerAlias a"},
       "<A>\n  ServerAlias a\nx\n\tServerAlias b\n</A>"},
      {"several",
       "<A>\nServerAlias a\nServerAlias b\n</A>",
       3,
       "ServerAlias c d",
       {"ServerAlias a", "ServerAlias b"},
       "<A>\nServerAlias a\nServerAlias b\n\tServerAlias c d\n</A>"},
      {"by the same",
       "<A>\nServerAlias a\n</A>",
       2,
       "ServerAlias a",
       {"ServerAlias a"},
       "<A>\nServerAlias a\n\tServerAlias a\n</A>"},
      {"other directives stay",
       "<A>\nDirectoryIndex i\nServerAlias a\n</A>",
       3,
       "  DirectoryIndex j k ",
       {"DirectoryIndex i"},
       "<A>\nDirectoryIndex i\nServerAlias a\n\tDirectoryIndex j k\n</A>"},
      {"end position",
       "<A>\nServerAlias a",
       2,
       "ServerAlias b",
       {"ServerAlias a"},
       "<A>\nServerAlias a\n\tServerAlias b"},
      {"at a line that goes",
       "<A>\nServerAlias a\n</A>",
       1,
       "ServerAlias b",
       {"ServerAlias a"},
       "<A>\n\tServerAlias b\nServerAlias a\n</A>"},
      {"no value",
       "<A>\nServerAlias a\n</A>",
       2,
       "ServerAlias",
       {"ServerAlias a"},
       "<A>\nServerAlias a\n</A>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config(c.before);
    config.RegisterAll(kHost);
    LineIterator pos = config.Line(c.pos);
    const LineIterator given = pos;
    Removed removed;
    config.ChangeUniqueParam(kHost, pos, c.text, removed);
    EXPECT_TRUE(pos == given);
    EXPECT_EQ(Texts(removed), c.removed);
    EXPECT_EQ(config.Str(), c.between);
    config.Erase(removed);

    // The new line is recorded, the old ones are not.
    const Lines expected = WordsOf(c.text).size() == 1 ? Lines{} : Lines{str::Trim(c.text)};
    EXPECT_EQ(Texts(config.Remove(kHost, WordsOf(c.text).front(), true)), expected);
  }
}

TEST(ApacheAliases, ChangingIsIndentedByDepth) {
  WordsProbe config("ServerAlias a\nx");
  config.RegisterAll(kDirectory);
  config.Change(kDirectory, 1, "      ServerAlias b");
  EXPECT_EQ(config.Str(), "ServerAlias a\n\t\tServerAlias b\nx");
}

TEST(ApacheAliases, ChangingWhatWasNeverThereDoesNothing) {
  WordsProbe config("ServerAlias a\nx");
  config.RegisterAll(kHost);
  EXPECT_TRUE(config.Change(kHost, 1, "DirectoryIndex i").empty());
  EXPECT_TRUE(config.Change(kDirectory, 1, "ServerAlias b").empty());
  EXPECT_TRUE(config.Change(kHost, 1, "").empty());
  EXPECT_EQ(config.Str(), "ServerAlias a\nx");
}

TEST(ApacheAliases, ADirectiveThatWasThereCanBeChanged) {
  WordsProbe config("ServerAlias a\nx");
  config.RegisterAll(kHost);
  config.Erase(config.Remove(kHost, "ServerAlias a"));
  EXPECT_TRUE(config.Change(kHost, 0, "ServerAlias b").empty());
  EXPECT_EQ(config.Str(), "\tServerAlias b\nx");
  EXPECT_EQ(Texts(config.Remove(kHost, "ServerAlias b")), (Lines{"ServerAlias b"}));
}

TEST(ApacheAliases, ChangingMakesEveryPiece) {
  const std::string a(4000, 'a');
  const std::string b(4000, 'b');
  WordsProbe config("ServerAlias " + a + "\nx");
  config.RegisterAll(kHost);
  const Removed removed = config.Change(kHost, 1, "ServerAlias " + a + " " + b + " " + a);
  EXPECT_EQ(Texts(removed), (Lines{"ServerAlias " + a}));
  config.Erase(removed);
  EXPECT_EQ(Trimmed(config.m_lines),
            (Lines{"ServerAlias " + a, "ServerAlias " + b, "ServerAlias " + a, "x"}))
      << "also what is there already";
}

// --- ServerAlias and DirectoryIndex: erased lines ---

TEST(ApacheAliases, NoDanglingAfterLinesAreErased) {
  struct Case {
    const char* name;
    std::size_t first;
    std::size_t last;
    Lines aliases;
    Lines indexes;
  };
  const Case cases[] = {
      {"nothing", 1, 1, {"ServerAlias a", "ServerAlias b"}, {"DirectoryIndex i"}},
      {"one line", 0, 1, {"ServerAlias b"}, {"DirectoryIndex i"}},
      {"lines of two directives", 1, 3, {"ServerAlias a"}, {}},
      {"all aliases", 0, 2, {}, {"DirectoryIndex i"}},
      {"everything", 0, 4, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WordsProbe config("ServerAlias a\nServerAlias b\nDirectoryIndex i\nx");
    config.RegisterAll(kHost);
    if (c.last == c.first + 1) {
      config.RemoveParam(config.Line(c.first));
    } else {
      config.RemoveParam(config.Line(c.first), config.Line(c.last));
    }
    const std::size_t count = config.m_lines.size();
    for (const std::string& line : c.aliases) config.Append(kHost, 0, line);
    EXPECT_EQ(config.m_lines.size(), count) << "the others are still known";
    EXPECT_EQ(Texts(config.Remove(kHost, "ServerAlias", true)), c.aliases);
    EXPECT_EQ(Texts(config.Remove(kHost, "DirectoryIndex", true)), c.indexes);
  }
}

TEST(ApacheAliases, AnErasedLineCanBeMadeAgain) {
  WordsProbe config("<A>\nServerAlias a\n</A>");
  config.RegisterAll(kHost);
  for (int i = 0; i < 3; ++i) {
    config.RemoveParam(config.Line(1));
    ASSERT_EQ(config.Str(), "<A>\n</A>");
    EXPECT_EQ(*config.Append(kHost, 1, "ServerAlias a"), "\tServerAlias a");
    ASSERT_EQ(config.Str(), "<A>\n\tServerAlias a\n</A>");
  }
  // The lists shrink, their entries stay: the directive can still be changed.
  config.RemoveParam(config.Line(1));
  config.Change(kHost, 1, "ServerAlias b");
  EXPECT_EQ(config.Str(), "<A>\n\tServerAlias b\n</A>");
}

// --- Values of any length ---

TEST(ApacheAliases, AVeryLongValueIsAddedFoundChangedAndRemoved) {
  for (const std::size_t size : {10000U, 1000000U}) {
    SCOPED_TRACE(size);
    const std::string text = "ServerAlias " + Aliases(size);
    const std::string other = "ServerAlias x " + Aliases(size);
    WordsProbe config("<A>\n</A>");
    config.Append(kHost, 1, text);
    const std::size_t count = config.m_lines.size() - 2;
    EXPECT_GE(count, size / 4097 + 1);
    EXPECT_LE(count, size / 4070 + 1) << "a line is cut back by less than a name";
    const Lines lines = Trimmed(config.m_lines);

    EXPECT_TRUE(config.AppendsNoLine(kHost, count + 1, text));
    EXPECT_TRUE(Trimmed(config.m_lines) == lines) << "found again";

    Removed removed = config.Change(kHost, count + 1, other);
    EXPECT_TRUE(Texts(removed) == Lines(std::next(lines.begin()), std::prev(lines.end())));
    config.Erase(removed);
    std::string joined;
    for (std::size_t i = 1; i + 1 < config.m_lines.size(); ++i) {
      joined += " " + config.Line(i)->substr(13);
    }
    EXPECT_TRUE("ServerAlias" + joined == other);

    config.Erase(config.Remove(kHost, other));
    EXPECT_GE(config.m_lines.size(), count + 1) << "one line at most";
    config.Erase(config.Remove(kHost, "ServerAlias", true));
    EXPECT_EQ(config.Str(), "<A>\n</A>");
  }
}

// The blanks in front are not part of a piece, but what is cut off the value for it are they: the
// first word is seen again and again, until the value is short enough.
TEST(ApacheAliases, BlanksWithoutEndInFrontOfTwoWords) {
  const std::string text = "ServerAlias" + std::string(200000, ' ') + "a b";
  WordsProbe config("");
  config.Append(kHost, 0, text);
  // One blank goes with the name; two characters go each time until 4096 are left.
  const std::string rest = std::string(4093, ' ') + "a b";
  EXPECT_EQ(Trimmed(config.m_lines), (Lines{"ServerAlias a", "ServerAlias " + rest}));

  const Removed removed = config.Change(kHost, 2, text);
  EXPECT_EQ(removed.size(), 2U);
  config.Erase(removed);
  EXPECT_EQ(config.m_lines.size(), (200002U - 4096) / 2 + 1) << "here no line is spared";
  EXPECT_EQ(str::Trim(config.m_lines.front()), "ServerAlias a");
  EXPECT_EQ(str::Trim(config.m_lines.back()), "ServerAlias " + rest);
}

TEST(ApacheAliases, BlanksWithoutEndBetweenTwoWords) {
  const std::string text = "DirectoryIndex a" + std::string(200000, ' ') + "b";
  WordsProbe config("");
  config.Append(kHost, 0, text);
  const Lines lines = Trimmed(config.m_lines);
  EXPECT_EQ(lines.front(), "DirectoryIndex a");
  EXPECT_EQ(WordsOf(lines.back()).back(), "b");
  config.Append(kHost, lines.size(), text);
  EXPECT_EQ(Trimmed(config.m_lines), lines);
}

// --- Any sequence of operations, beside a plain model of it ---

class PlainWords {
 public:
  using Line = std::shared_ptr<std::string>;

  explicit PlainWords(const Lines& lines) {
    for (const std::string& line : lines) m_lines.push_back(std::make_shared<std::string>(line));
  }

  std::size_t Size() const { return m_lines.size(); }

  void Register(const std::string& section, std::size_t i) {
    const Line line = m_lines[i];
    if (!IsOptions(*line)) {
      m_huge[section][WordsOf(*line).front()].push_back(line);
      return;
    }
    const bool first = m_words.count(section) == 0;
    AddWords(section, *line);
    if (first) m_merged[section] = line;
    *m_merged[section] = Prepared(section, Joined(m_words[section]));
    if (!first) Erase(line);
  }

  void Append(const std::string& section, std::size_t pos, const std::string& text) {
    if (IsOptions(text)) {
      AddWords(section, text);
      if (m_merged.count(section) == 0) m_merged[section] = Insert(pos, "");
      *m_merged[section] = Prepared(section, Joined(m_words[section]));
      return;
    }
    std::string rest = str::Trim(text);
    const std::string name = str::GetWord(rest);
    while (!rest.empty()) {
      const std::string line = Prepared(section, str::Append(name, PlainPart(rest), " "));
      bool present = false;
      for (const Line& known : m_huge[section][name]) {
        if (str::Trim(*known) == str::Trim(line)) present = true;
      }
      if (!present) m_huge[section][name].push_back(Insert(pos++, line));
    }
  }

  void Remove(const std::string& section, const std::string& text, bool flag) {
    if (IsOptions(text)) {
      RemoveWords(section, text, flag);
      return;
    }
    const std::string name = WordsOf(text).front();
    if (!IsRecorded(section, name)) return;
    const std::vector<Line>& lines = m_huge[section][name];
    std::vector<Line> going;
    if (flag) going = lines;
    for (std::string rest = str::Trim(text); !flag && !rest.empty();) {
      const std::string piece = PlainPart(rest);
      for (const Line& line : lines) {
        if (str::Trim(*line) == piece) going.push_back(line);
      }
    }
    for (const Line& line : going) Erase(line);
  }

  void Change(const std::string& section, std::size_t pos, const std::string& text) {
    if (pos < m_lines.size() && IsOptions(*m_lines[pos])) return;
    std::string rest = str::Trim(text);
    const std::string name = str::GetWord(rest);
    if (!IsRecorded(section, name)) return;
    const std::vector<Line> old = m_huge[section][name];
    std::vector<Line> made;
    while (!rest.empty()) {
      made.push_back(Insert(pos++, Prepared(section, str::Append(name, PlainPart(rest), " "))));
    }
    m_huge[section][name] = made;
    for (const Line& line : old) Erase(line);
  }

  void EraseRange(std::size_t first, std::size_t last) {
    for (; first < last; --last) Erase(m_lines[first]);
  }

  Lines Texts() const {
    Lines texts;
    for (const Line& line : m_lines) texts.push_back(*line);
    return texts;
  }

 private:
  static bool IsOptions(const std::string& text) {
    return str::StartsWith(str::Trim(text), "Options");
  }

  bool IsRecorded(const std::string& section, const std::string& name) const {
    const auto directives = m_huge.find(section);
    return directives != m_huge.end() && directives->second.count(name) != 0;
  }

  static std::string Joined(const Lines& words) {
    return str::Join({words.begin(), words.end()}, " ");
  }

  static std::string Prepared(const std::string& section, const std::string& text) {
    std::string indent;
    for (std::string rest = section; !rest.empty(); str::GetWord(rest, kSectionSeparator)) {
      indent += "\t";
    }
    return indent + str::Trim(text);
  }

  void AddWords(const std::string& section, const std::string& text) {
    Lines& words = m_words[section];
    for (const std::string& word : WordsOf(text)) {
      if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
    }
  }

  void RemoveWords(const std::string& section, const std::string& text, bool flag) {
    if (m_merged.count(section) == 0) return;
    Lines& words = m_words[section];
    Lines going = WordsOf(text);
    going.erase(going.begin());
    for (const std::string& word : going) {
      const auto found = std::find(words.begin(), words.end(), word);
      if (!flag && found != words.end()) words.erase(found);
    }
    if (words.empty()) return;
    if (flag || words.back() == "Options") words.clear();
    *m_merged[section] = words.empty() ? "" : Prepared(section, Joined(words));
  }

  Line Insert(std::size_t pos, const std::string& text) {
    const auto line = std::make_shared<std::string>(text);
    m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(pos), line);
    return line;
  }

  void Erase(const Line line) {
    m_lines.erase(std::remove(m_lines.begin(), m_lines.end(), line), m_lines.end());
    for (auto& [section, directives] : m_huge) {
      for (auto& [name, lines] : directives) {
        lines.erase(std::remove(lines.begin(), lines.end(), line), lines.end());
      }
    }
    for (auto merged = m_merged.begin(); merged != m_merged.end();) {
      if (merged->second == line) {
        m_words.erase(merged->first);
        merged = m_merged.erase(merged);
      } else {
        ++merged;
      }
    }
  }

  std::vector<Line> m_lines;
  std::map<std::string, Lines> m_words;
  std::map<std::string, Line> m_merged;
  std::map<std::string, std::map<std::string, std::vector<Line>>> m_huge;
};

Lines AllTexts(const WordsProbe& config) {
  return {config.m_lines.begin(), config.m_lines.end()};
}

TEST(ApacheWords, AnySequenceOfOperationsDoesWhatAPlainModelDoes) {
  const std::string a(2500, 'a');
  const std::string b(2500, 'b');
  const Lines sections{kHost, kDirectory};
  const Lines texts{"Options a",
                    "  Options b  c ",
                    "Options c a d",
                    "Options",
                    "Options Options b",
                    "ServerAlias a",
                    "\tServerAlias  b c\t",
                    "ServerAlias " + a + " " + b,
                    "ServerAlias " + a + "  " + b + " c",
                    "ServerAlias " + std::string(4100, ' ') + "x y",
                    "ServerAlias",
                    "DirectoryIndex a",
                    "DirectoryIndex " + a + "\t" + a + " " + b};
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Lines lines;
    for (std::size_t i = random() % 8; i > 0; --i) {
      lines.push_back(random() % 4 == 0 ? "x" : texts[random() % texts.size()]);
    }
    PlainWords model(lines);
    WordsProbe config(str::Join({lines.begin(), lines.end()}, "\n"));
    ASSERT_EQ(AllTexts(config), model.Texts());

    // Each line is registered once, in one block.
    for (std::size_t i = 0; i < model.Size();) {
      const std::size_t size = model.Size();
      const std::string& section = sections[random() % sections.size()];
      if (config.IsUniqueParam(*config.Line(i)) && random() % 5 != 0) {
        model.Register(section, i);
        config.Register(section, i);
      }
      ASSERT_EQ(AllTexts(config), model.Texts());
      if (model.Size() == size) ++i;
    }

    for (int step = 0; step < 30; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      const std::string& section = sections[random() % sections.size()];
      const std::string& text = texts[random() % texts.size()];
      const std::size_t pos = random() % (model.Size() + 1);
      const bool flag = random() % 4 == 0;
      switch (random() % 6) {
        case 0:
        case 1:
          model.Append(section, pos, text);
          config.Append(section, pos, text);
          break;
        case 2:
          model.Remove(section, text, flag);
          config.Erase(config.Remove(section, text, flag));
          break;
        case 3:
          model.Change(section, pos, text);
          config.Erase(config.Change(section, pos, text));
          break;
        case 4:
          if (pos == model.Size()) break;
          model.EraseRange(pos, pos + 1);
          config.RemoveParam(config.Line(pos));
          break;
        default:
          const std::size_t last = std::min(pos + random() % 3, model.Size());
          model.EraseRange(pos, last);
          config.RemoveParam(config.Line(pos), config.Line(last));
      }
      ASSERT_EQ(AllTexts(config), model.Texts());
    }
  }
}

}  // namespace
