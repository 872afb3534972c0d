// SPDX-License-Identifier: Apache-2.0

// What the document makes of nginx's texts.

#include <gtest/gtest.h>

#include <string>

#include "document/document.h"
#include "document/places.h"
#include "document/tree.h"

namespace {

using namespace tov_document;

TEST(NginxDocument, ReadsTheTreeThatNginxReads) {
  struct Case {
    const char* name;
    std::string text;
    const char* tree;
  };
  const Case cases[] = {
      {"nothing", "", ""},
      {"blanks only", " \t\r\n", ""},
      {"blocks and directives", "user www;\nhttp {\n  server {\n    listen 80;\n  }\n}\n",
       "user | www\nhttp\n  server\n    listen | 80\n"},
      {"all on one line", "server{listen 80;location /{root /a;}}",
       "server\n  listen | 80\n  location | /\n    root | /a\n"},
      {"the brace on a line of its own", "server\n{\n}\n", "server\n"},
      {"one directive over several lines", "gzip_types\n  text/css\n  text/xml\n;",
       "gzip_types | text/css | text/xml\n"},
      {"quotes", R"(a "b c" 'd "e' "";)", "a | b c | d \"e | \n"},
      {"a quoted brace", "a \"}\" '{' \";\";", "a | } | { | ;\n"},
      {"quotes inside of a word are letters", "a b\"c'd;", "a | b\"c'd\n"},
      {"escapes that mean something", R"(a "x\"y" 'x\'y' x\\y "x\ty" "\r\n";)",
       "a | x\"y | x'y | x\\y | x\ty | \r\n\n"},
      {"escapes that stay", R"(a b\.c \d$;)", "a | b\\.c | \\d$\n"},
      {"an escaped end of a word", R"(a b\ c\;d\{e;)", "a | b\\ c\\;d\\{e\n"},
      {"a variable in braces", "a ${b} x${c}y $${d};", "a | ${b} | x${c}y | $${d}\n"},
      {"braces behind a variable's brace", "a ${{b;", "a | ${{b\n"},
      {"no variable: its dollar is escaped", "a \\${ b; }", "a | \\$\n  b\n"},
      {"a bracket behind a quote is a word", "if ($a = \"b\") { c; }",
       "if | ($a | = | b | )\n  c\n"},
      {"closing braces inside of words", "a b} c}d;", "a | b} | c}d\n"},
      {"a comment between directives", "a;# b {\nc;", "a\n# b {\nc\n"},
      {"comments inside of a directive", "a # b;\n  c # {\n;", "a | c\n"},
      {"a comment before the brace", "server # main\n{ # open\n}", "server\n  # open\n"},
      {"a hash inside of a word", "a b#c;", "a | b#c\n"},
      {"a hash behind an escaped blank", "a b\\ #c;", "a | b\\ #c\n"},
      {"CRLF", "a b;\r\nc {\r\n}\r\n", "a | b\nc\n"},
      {"several directives on a line", "a;b;c d;", "a\nb\nc | d\n"},
      {"quoted names", "\"server\" { 'listen' 80; }", "server\n  listen | 80\n"},
      {"an empty name", "\"\" a;", " | a\n"},
      {"bytes that are no text", "a \x01\xff;", "a | \x01\xff\n"},
      {"a block of values", "map $a $b { default x; ~y z; }",
       "map | $a | $b\n  default | x\n  ~y | z\n"},
      {"Lua code", "init_by_lua_block { x = { '}' } -- }\n y = [[ } ]] }\na;",
       "init_by_lua_block\n  ( x = { '}' } -- }\n y = [[ } ]] )\na\n"},
      {"Lua code with an argument", "set_by_lua_block $a { return 1 }",
       "set_by_lua_block | $a\n  ( return 1 )\n"},
      {"no Lua code", "content_by_lua_block {}", "content_by_lua_block\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Document document(Dialect::kNginx, c.text);
    EXPECT_FALSE(document.error()) << Describe(*document.error());
    EXPECT_EQ(Tree(document), c.tree);
    EXPECT_EQ(Untiled(document), "");
  }
}

TEST(NginxDocument, FindsTheEndOfLuaCode) {
  struct Case {
    const char* name;
    const char* code;
  };
  const Case cases[] = {
      {"braces", " a = {{}, {1}} "},
      {"a string", R"( a = "}" )"},
      {"a string with an escaped quote", R"( a = "\"}" )"},
      {"a string in single quotes", R"( a = '}"' )"},
      {"a quote that does not close on its line", " -- it's\n a = {}\n don't = 1\n "},
      {"a comment", " -- }\n "},
      {"a long comment", " --[[ }\n} ]] "},
      {"a long comment with a level", " --[==[ ]] } ]==] "},
      {"a long string", " a = [=[ ]] } ]=] "},
      {"an index that is no long string", " a = b[c[1]] {} "},
      {"a difference", " a = 2 - 1 "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string text = "access_by_lua_block {" + std::string(c.code) + "} a;";
    const Document document(Dialect::kNginx, text);
    EXPECT_FALSE(document.error());
    EXPECT_EQ(Tree(document), "access_by_lua_block\n  (" + std::string(c.code) + ")\na\n");
  }
}

TEST(NginxDocument, SaysWhatNginxDoesNotTake) {
  struct Case {
    const char* name;
    std::string text;
    Problem problem;
    std::uint32_t at;
    std::optional<std::uint32_t> opened;
  };
  const Case cases[] = {
      {"a semicolon alone", "a;;", Problem::kNoDirective, 2, {}},
      {"a semicolon behind a block", "a {};", Problem::kNoDirective, 4, {}},
      {"a brace alone", " { a; }", Problem::kNoDirective, 1, {}},
      {"a closing brace too many", "a { } }", Problem::kExtraClosing, 6, {}},
      {"a directive without its end", "a { b }", Problem::kBraceInDirective, 6, 0},
      {"the text ends in a directive", "a {\n b c\n", Problem::kNoSemicolon, 5, 0},
      {"the text ends in a word", "a", Problem::kNoSemicolon, 0, {}},
      {"the text ends behind a quote", "a \"b\"", Problem::kNoSemicolon, 0, {}},
      {"the text ends in a comment of a directive", "a # b;", Problem::kNoSemicolon, 0, {}},
      {"a quote that does not close", "a { b \"c; }\n", Problem::kUnterminatedQuote, 6, 0},
      {"an escaped quote does not close", R"(a "b\";)", Problem::kUnterminatedQuote, 2, {}},
      {"text behind a quote", "a \"b\"c;", Problem::kTextBehindQuote, 5, {}},
      {"a closing brace behind a quote", "a { b \"c\"}", Problem::kTextBehindQuote, 9, 0},
      {"a block that does not close", "a { b { c; }", Problem::kUnclosedBlock, 0, 0},
      {"the innermost one is named", "a { b { c;", Problem::kUnclosedBlock, 4, 4},
      {"a block among values", "geo $a { b { c; } }", Problem::kBraceInValues, 11, 0},
      {"Lua code that does not end", "a { log_by_lua_block { x = {} }", Problem::kUnclosedBlock, 0,
       0},
      {"Lua code with a brace open", "a { log_by_lua_block { x = { }", Problem::kUnclosedCode, 4,
       4},
      {"a Lua string that does not end", "log_by_lua_block { a = [[ }", Problem::kUnclosedCode, 0,
       0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Document document(Dialect::kNginx, c.text);
    ASSERT_TRUE(document.error());
    EXPECT_EQ(document.error()->problem, c.problem) << Describe(*document.error());
    EXPECT_EQ(document.error()->at, c.at);
    EXPECT_EQ(document.error()->opened, c.opened);
    EXPECT_EQ(Untiled(document), "");
    EXPECT_NE(Describe(*document.error()), "");
  }
}

// nginx reads through a buffer of 4,096 bytes.
TEST(NginxDocument, KnowsHowLongAWordMayBe) {
  const auto reads = [](const std::string& text) {
    return !Document(Dialect::kNginx, text).error();
  };
  const auto letters = [](std::size_t count) { return std::string(count, 'x'); };
  EXPECT_TRUE(reads("a " + letters(4095) + ";"));
  EXPECT_FALSE(reads("a " + letters(4096) + ";"));
  EXPECT_TRUE(reads("a " + letters(4094) + " b;"));
  EXPECT_FALSE(reads("a " + letters(4095) + " b;"));
  EXPECT_TRUE(reads("a \"" + letters(4094) + "\";"));
  EXPECT_FALSE(reads("a \"" + letters(4095) + "\";"));
  EXPECT_TRUE(reads("a \"" + letters(4093) + "\" b;"));
  EXPECT_FALSE(reads("a \"" + letters(4094) + "\" b;"));
  EXPECT_TRUE(reads("#" + letters(4094) + "\na;"));
  EXPECT_FALSE(reads("#" + letters(4095) + "\na;"));
  EXPECT_FALSE(reads("a #" + letters(4095) + "\n;"));
  const auto problem = [](const std::string& text) {
    return Document(Dialect::kNginx, text).error()->problem;
  };
  EXPECT_EQ(problem("a " + letters(5000) + "\n}"), Problem::kTooLong);
  EXPECT_EQ(problem("a " + letters(4097)), Problem::kTooLong);
  EXPECT_EQ(problem("a " + letters(4096)), Problem::kNoSemicolon);
  EXPECT_EQ(problem("a \"" + letters(5000)), Problem::kTooLong);
  EXPECT_EQ(problem("a \"" + letters(4000)), Problem::kUnterminatedQuote);
  EXPECT_TRUE(reads("a " + letters(4000) + " " + letters(4000) + ";"));
}

TEST(NginxDocument, KeepsWhatItCouldNotRead) {
  const std::string text = "a;\nb {\n  c;\n  d }\n}\n";
  const Document document(Dialect::kNginx, text);
  EXPECT_EQ(Tree(document), "a\nb\n  c\n  (d }\n}\n)\n");
  EXPECT_EQ(Untiled(document), "");
}

TEST(NginxDocument, GivesEachWordItsPlace) {
  const std::string text = "server_name  \"a b\"  # x\n c;";
  const Document document(Dialect::kNginx, text);
  const std::vector<Word> words = document.Words(document.Nodes(kWholeText).front());
  ASSERT_EQ(words.size(), 3U);
  EXPECT_EQ(document.Bytes(words[0].bytes), "server_name");
  EXPECT_EQ(document.Bytes(words[1].bytes), "\"a b\"");
  EXPECT_EQ(document.Bytes(words[1].inner), "a b");
  EXPECT_EQ(words[1].quote, '"');
  EXPECT_EQ(document.Bytes(words[2].bytes), "c");
  EXPECT_EQ(words[2].quote, '\0');
}

TEST(NginxDocument, GivesABlockItsParts) {
  const std::string text = "a { b  c { d; } }";
  const Document document(Dialect::kNginx, text);
  ASSERT_EQ(document.blocks().size(), 3U);
  const Block& inner = document.blocks()[2];
  EXPECT_EQ(document.Bytes(inner.head), "b  c {");
  EXPECT_EQ(document.Bytes(inner.body()), " d; ");
  EXPECT_EQ(document.Bytes(inner.closing), "}");
  EXPECT_EQ(inner.parent, 1U);
  EXPECT_EQ(document.blocks()[1].next, 3U);
  EXPECT_EQ(document.blocks()[0].next, 3U);
}

TEST(Places, CountLinesAndColumnsFromOne) {
  const Places places("ab\n\nc");
  const auto at = [&](std::uint32_t offset) {
    const Place place = places.Of(offset);
    return std::to_string(place.line) + ":" + std::to_string(place.column);
  };
  EXPECT_EQ(at(0), "1:1");
  EXPECT_EQ(at(2), "1:3");
  EXPECT_EQ(at(3), "2:1");
  EXPECT_EQ(at(4), "3:1");
  EXPECT_EQ(at(5), "3:2");
}

}  // namespace
