// SPDX-License-Identifier: Apache-2.0

// What the real nginx does at the corners of its grammar, and that the Document does the same.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "document/nginx/plain_reader.h"
#include "document/nginx/server_judge.h"
#include "document/nginx/server_messages.h"
#include "support/all_strings.h"

namespace {

using nginx_judge::Reading;
using nginx_judge::ReadPlainly;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Problem;

const ServerFolder& Folder() {
  static const ServerFolder folder("nginx");
  return folder;
}

std::string DocumentDifference(const std::string& text, const Reading& reading) {
  return nginx_judge::Difference(Document(Dialect::kNginx, text), reading);
}

std::optional<Problem> ProblemOf(const Reading& reading) {
  if (!reading.error) return std::nullopt;
  return reading.error->problem;
}

// Three readings that have to be the same.
void ExpectOneReading(const std::string& text) {
  SCOPED_TRACE(nginx_judge::ShowText(text));
  const Reading reading = ReadPlainly(text);
  EXPECT_EQ(nginx_judge::ServerDifference(Folder(), text, reading), "");
  EXPECT_EQ(DocumentDifference(text, reading), "");
}

struct Limit {
  const char* name;
  std::size_t longest;  // that nginx reads
  std::string (*text)(const std::string& run);
};

void PrintTo(const Limit& limit, std::ostream* out) {
  *out << limit.name;
}

class NginxLimit : public testing::TestWithParam<Limit> {};

// Wherever it stands in the file: nginx moves what it has begun to the front of its buffer.
TEST_P(NginxLimit, IsWhereTheServerHasIt) {
  const Limit& limit = GetParam();
  for (const std::string& before : {std::string(), std::string(3000, '\n') + "b c; "}) {
    for (const std::size_t more : {0U, 1U, 2U, 1000U}) {
      const std::string text = before + limit.text(std::string(limit.longest + more, 'a'));
      const Reading reading = ReadPlainly(text);
      EXPECT_EQ(ProblemOf(reading) == Problem::kTooLong, more > 0);
      ExpectOneReading(text);
    }
  }
}

const Limit kLimits[] = {
    {"WordBeforeSemicolon", 4095, [](const std::string& run) { return run + ";"; }},
    {"WordBeforeBrace", 4095, [](const std::string& run) { return run + "{}"; }},
    {"WordBeforeBlank", 4094, [](const std::string& run) { return run + " ;"; }},
    {"WordBeforeLineEnd", 4094, [](const std::string& run) { return run + "\n{}"; }},
    {"WordWithBackslash", 4093, [](const std::string& run) { return run + "\\;;"; }},
    {"WordThatDoesNotEnd", 4096, [](const std::string& run) { return run; }},
    {"QuotedBeforeSemicolon", 4094, [](const std::string& run) { return "\"" + run + "\";"; }},
    {"QuotedBeforeBrace", 4094, [](const std::string& run) { return "'" + run + "'{}"; }},
    {"QuotedBeforeBlank", 4093, [](const std::string& run) { return "'" + run + "' ;"; }},
    {"QuotedBeforeWord", 4094, [](const std::string& run) { return "'" + run + "');"; }},
    {"QuotedThatDoesNotEnd", 4096, [](const std::string& run) { return "\"" + run; }},
    {"CommentBeforeLineEnd", 4094, [](const std::string& run) { return "#" + run + "\na;"; }},
    {"CommentInDirective", 4094, [](const std::string& run) { return "a #" + run + "\n;"; }},
    {"CommentAtTheEnd", 4095, [](const std::string& run) { return "#" + run; }},
};

INSTANTIATE_TEST_SUITE_P(All, NginxLimit, testing::ValuesIn(kLimits),
                         testing::PrintToStringParamName());

struct Corner {
  const char* name;
  std::string text;
  std::optional<Problem> problem;
};

void PrintTo(const Corner& corner, std::ostream* out) {
  *out << corner.name;
}

class NginxCorner : public testing::TestWithParam<Corner> {};

TEST_P(NginxCorner, IsReadAsTheServerReadsIt) {
  EXPECT_EQ(ProblemOf(ReadPlainly(GetParam().text)), GetParam().problem);
  ExpectOneReading(GetParam().text);
}

using namespace std::string_literals;

const Corner kCorners[] = {
    {"NoTextAtAll", "", std::nullopt},
    {"VariableInBraces", "a ${b};", std::nullopt},
    {"VariableInAWord", "a b${c}d${e}{ f ${g}/; }", std::nullopt},
    {"DollarBeforeTheBrace", "location ~ x$ {}", std::nullopt},
    {"DollarAtTheBrace", "location ~ x${}", Problem::kNoSemicolon},
    {"DollarAndManyBraces", "a ${{{ { b; }", std::nullopt},
    {"EscapedDollar", "a \\${ b; }", std::nullopt},
    {"BackslashBehindDollar", "a $\\{b;", std::nullopt},
    {"ParenthesisBehindQuote", "if (\"$a\" = \"b\"){ c; }", std::nullopt},
    {"WordBehindParenthesis", "a \"b\")c;", std::nullopt},
    {"QuoteBehindParenthesis", "a \"b\")\"c\";", std::nullopt},
    {"QuoteBehindQuote", "a \"b\"\"c\";", Problem::kTextBehindQuote},
    {"CommentBehindQuote", "a \"b\"# c\n;", Problem::kTextBehindQuote},
    {"ClosingBehindQuote", "a { b \"c\"}", Problem::kTextBehindQuote},
    {"QuoteInAWord", "a b\"c d'e;", std::nullopt},
    {"HashInAWord", "a b#c;", std::nullopt},
    {"HashBehindABrace", "a {# }\n}#", std::nullopt},
    {"ClosingBraceInAWord", "a b}c}; d }", Problem::kBraceInDirective},
    {"BackslashAndBlank", "a b\\ c\\;d\\{e\\\nf;", std::nullopt},
    {"BackslashBegins", "a \\ b \\\"c \\#d;", std::nullopt},
    {"BackslashAtTheEnd", "a b\\", Problem::kNoSemicolon},
    {"EscapesInQuotes", "a \"\\\"\\'\\\\\\t\\r\\n\\x\\\n\" '\\'\\\"';", std::nullopt},
    {"EscapesInAWord", "a \\\"\\'\\\\\\t\\r\\n\\x;", std::nullopt},
    {"LinesInQuotes", "a \"b\n# c\n\" 'd\r\n}';", std::nullopt},
    {"EmptyWords", "a \"\" '';", std::nullopt},
    {"QuotedNames", "\"a\" { 'b' c; }", std::nullopt},
    {"CarriageReturns", "a {\r\n  b c;\r# d\re;\r\n}\r", std::nullopt},
    {"FormFeedIsNoBlank", "a\fb\v c;", std::nullopt},
    {"NulBytes", "a\0b \"\0\" \0;# \0"s, std::nullopt},
    {"NulBehindQuote", "a \"b\"\0;"s, Problem::kTextBehindQuote},
    {"ByteOrderMark", "\xEF\xBB\xBF# a\nb;", Problem::kNoSemicolon},
    {"ByteOrderMarkInName", "\xEF\xBB\xBFuser a;", std::nullopt},
    {"SemicolonAlone", "a {;}", Problem::kNoDirective},
    {"BraceAlone", "a { {} }", Problem::kNoDirective},
    {"SemicolonBehindBlock", "a {};", Problem::kNoDirective},
    {"CommentsBetweenWords", "a # b {\n c # d ;\n{ e#f\n; }", std::nullopt},
    {"OnlyACommentInDirective", "a # ;", Problem::kNoSemicolon},
    {"ExtraClosing", "a { } }", Problem::kExtraClosing},
    {"UnclosedInside", "a { b { } # }", Problem::kUnclosedBlock},
    {"DeepBlocks", "a {b {c {d {e; } } f; } }", std::nullopt},
    {"LuaStrings", "content_by_lua_block { a('}', \"}\", '\\'}', [[ } ]], [==[ ]] } ]==]) }", {}},
    {"LuaComments", "content_by_lua_block { -- }\n --[[ }\n} ]] --[=[ } ]] ]=] --[ }\n }", {}},
    {"LuaBraces", "content_by_lua_block { a = {{b = 1}, {}} }", std::nullopt},
    {"LuaQuoteThatDoesNotEnd", "content_by_lua_block { a = \"b\n}", std::nullopt},
    {"LuaQuoteInLongBracket", "content_by_lua_block { a = [[ ' ]] }", std::nullopt},
    {"LuaIndexes", "content_by_lua_block { a = b[c[1]] .. d[ [[}]] ] }", std::nullopt},
    {"LuaLongBracketDoesNotEnd", "content_by_lua_block { a = [[ } }", Problem::kUnclosedCode},
    {"LuaCommentDoesNotEnd", "a { content_by_lua_block { --[[ } } }", Problem::kUnclosedCode},
    {"LuaDoesNotEnd", "content_by_lua_block { {}", Problem::kUnclosedCode},
    {"LuaHashIsNoComment", "content_by_lua_block { # }\n", std::nullopt},
    {"LuaInQuotedName", "\"content_by_lua_block\" { '}' }", std::nullopt},
    {"LuaWithArguments", "set_by_lua_block $a { return \"}\" } b;", std::nullopt},
    {"LuaWithoutBlock", "content_by_lua_block a;", std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(All, NginxCorner, testing::ValuesIn(kCorners),
                         testing::PrintToStringParamName());

// Texts as they stand, with directives that the server knows.

struct Known {
  const char* name;
  const char* text;
  std::optional<Problem> problem;
};

void PrintTo(const Known& known, std::ostream* out) {
  *out << known.name;
}

class NginxKnownDirective : public testing::TestWithParam<Known> {};

TEST_P(NginxKnownDirective, TakesWhatTheServerTakes) {
  const std::string text = "events {}\nhttp {\n" + std::string(GetParam().text) + "\n}\n";
  const Reading reading = ReadPlainly(text);
  EXPECT_EQ(ProblemOf(reading), GetParam().problem);
  EXPECT_EQ(DocumentDifference(text, reading), "");
  const std::string stop = nginx_judge::Stop(nginx_judge::MessagesAbout(Folder(), text));
  if (!reading.error) {
    EXPECT_EQ(stop, "");
  } else {
    EXPECT_EQ(
        nginx_judge::StopDifference(stop, Folder().Path() + "/nginx.conf", text, *reading.error),
        "");
  }
}

const Known kKnown[] = {
    {"Map", "map $uri $a { default b; ~c{2} d; }", std::nullopt},
    {"BlockInMap", "map $uri $a {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInGeo", "geo $a {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInTypes", "types {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInSplitClients", "split_clients $uri $a {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInCharsetMap", "charset_map a b {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInUpstream", "upstream a {\n server {\n } }", std::nullopt},
    {"HeadWithDollar", "server { location ~ \\.php$ { } location ~ /$ { } }", std::nullopt},
    {"HeadWithDollarBrace", "server { location ~ a${ { } }", std::nullopt},
    {"QuotedBlockName", "'server' { \"location\" / { 'root' /a; } }", std::nullopt},
    {"LuaBlocks",
     "init_by_lua_block { a = \"}\" }\nserver { location / {\n"
     "rewrite_by_lua_block { }  content_by_lua_block { -- }\n } }\n"
     "set_by_lua_block $b { return '}' }\nlog_by_lua_block { [[ } ]] } }",
     std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(All, NginxKnownDirective, testing::ValuesIn(kKnown),
                         testing::PrintToStringParamName());

// The values of words in the case of their letters. In "types" the server warns of a second line
// with the same second word, and names the first words of both.

std::string RandomWord(std::mt19937& random) {
  const char* const pieces[] = {"a",   "B",    "{",   "}",   ";",   " ",    "\n",   "#",
                                "$",   "${C}", "\\n", "\\t", "\\r", "\\\\", "\\\"", "\\'",
                                "\\x", "\\;",  "\\ ", "\"",  "'",   ")",    "\t"};
  std::string bytes;
  for (std::size_t size = random() % 8; size > 0; --size) {
    bytes += pieces[random() % std::size(pieces)];
  }
  const std::size_t quoted = random() % 3;
  return quoted == 0 ? bytes : quoted == 1 ? "\"" + bytes + "\"" : "'" + bytes + "'";
}

// The value of a line's first word for the Document, when the line is one directive of two words.
std::optional<std::string> FirstOfTwo(const std::string& line) {
  const Document document(Dialect::kNginx, line);
  const auto nodes = document.Nodes(tov_document::kWholeText);
  if (document.error() || nodes.size() != 1) return std::nullopt;
  const auto words = document.Words(nodes.front());
  if (words.size() != 2) return std::nullopt;
  return document.Value(words.front());
}

TEST(NginxWords, HaveTheValuesThatTheServerGivesThem) {
  const std::size_t count = 400;
  std::mt19937 random(1);
  std::string config = "events {}\nhttp { types { FIRST z;\n";
  std::vector<std::string> values{"FIRST"};
  std::vector<std::string> expected;
  while (expected.size() < count) {
    const std::string line = RandomWord(random) + " z;";
    const std::optional<std::string> value = FirstOfTwo(line);
    if (!value || *value == "include") continue;
    config += line + "\n";
    expected.push_back("duplicate extension \"z\", content type: \"" + *value +
                       "\", previous content type: \"" + values.back() + "\"");
    values.push_back(*value);
  }
  const auto messages = nginx_judge::MessagesAbout(Folder(), config + "} }\n");
  ASSERT_GE(messages.size(), count);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(messages[i].text.substr(0, messages[i].text.rfind(" in ")), expected[i]);
  }
}

// Random texts over what the grammar is made of: the plain reader and the server.

struct Alphabet {
  const char* name;
  std::string letters;
  const char* before;
  const char* after;
};

void PrintTo(const Alphabet& alphabet, std::ostream* out) {
  *out << alphabet.name;
}

class NginxRandomText : public testing::TestWithParam<Alphabet> {};

TEST_P(NginxRandomText, IsReadAsTheServerReadsIt) {
  const auto& [name, letters, before, after] = GetParam();
  std::mt19937 random(1);
  for (std::size_t i = 0; i < 40; ++i) {
    std::string text;
    for (std::size_t size = 1 + random() % 10; size > 0; --size) {
      text += letters[random() % letters.size()];
    }
    ExpectOneReading(before + text + after);
  }
}

const Alphabet kAlphabets[] = {
    {"Plain", "aa {};;\"'#\\\n", "", "\n"},
    {"Variables", "aa ${}\\\";;", "", ";"},
    {"Bytes", "aa \r\t\0\v\f\xEF\"')#\n;;"s, "", ""},
    {"Values", "aa {};;\"'#\n", "map $a $b {", "}"},
    {"Lua", "{{}}\"'\\a\n[]=--", "content_by_lua_block {", "}\n"},
};

INSTANTIATE_TEST_SUITE_P(All, NginxRandomText, testing::ValuesIn(kAlphabets),
                         testing::PrintToStringParamName());

}  // namespace
