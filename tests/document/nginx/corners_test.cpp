// SPDX-License-Identifier: Apache-2.0

// The corners of nginx's grammar.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "document/nginx/one_reading.h"

namespace {

using nginx_judge::ExpectOneReading;
using nginx_judge::ProblemOf;
using tov_document::Problem;

struct Corner {
  const char* name;
  std::string text;
  std::optional<Problem> problem;
};

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
    {"ByteOrderMark", "\xEF\xBB\xBF# a\nb;", std::nullopt},
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

TEST(NginxCorners, AreReadAsTheServerReadsThem) {
  for (const Corner& corner : kCorners) {
    SCOPED_TRACE(corner.name);
    EXPECT_EQ(ProblemOf(corner.text), corner.problem);
    ExpectOneReading(corner.text);
  }
}

}  // namespace
