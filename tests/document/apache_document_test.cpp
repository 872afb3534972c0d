// SPDX-License-Identifier: Apache-2.0

// What the document makes of Apache httpd's texts.

#include <gtest/gtest.h>

#include <string>

#include "document/document.h"
#include "document/tree.h"

namespace {

using namespace tov_document;

TEST(ApacheDocument, ReadsTheTreeThatHttpdReads) {
  struct Case {
    const char* name;
    std::string text;
    const char* tree;
  };
  const Case cases[] = {
      {"nothing", "", ""},
      {"blanks only", " \n\t\n\f\v\r\n", ""},
      {"sections and directives", "Listen 80\n<VirtualHost *:80>\n  ServerName a\n</VirtualHost>\n",
       "Listen | 80\nVirtualHost | *:80\n  ServerName | a\n"},
      {"no final line end", "Listen 80", "Listen | 80\n"},
      {"CRLF", "<Location />\r\nA b\r\n</Location>\r\n", "Location | /\n  A | b\n"},
      {"another case", "<location />\nA\n</LOCATION>\n", "location | /\n  A\n"},
      {"a bracket behind blanks", "<Location / >\n</Location>\n", "Location | /\n"},
      {"arguments in quotes", "<Directory \"/a b\" '/c'>\n</Directory>\n",
       "Directory | /a b | /c\n"},
      {"a bracket among the arguments", "<If \"%{A} > 3\">\n</If>\n", "If | %{A} > 3\n"},
      {"text behind the bracket", "<Location /> x\n</Location> y\n", "Location | /\n"},
      {"a section without arguments", "<RequireAll>\n</RequireAll>\n", "RequireAll\n"},
      {"and without its bracket", "<RequireAll\n</RequireAll>\n", "RequireAll\n"},
      {"a section in quotes", "\"<Location\" />\n\"</Location>\" x\n", "Location | /\n"},
      {"continued lines", "A b \\\n  c\\\nd\nE\n", "A | b | cd\nE\n"},
      {"a continued line with CRLF", "A b \\\r\n c\r\n", "A | b | c\n"},
      {"a continued name", "Serv\\\nerName a\n", "ServerName | a\n"},
      {"a continued comment", "# a \\\nb\nC\n", "# a \\\nb\nC\n"},
      {"a continued blank line", " \\\n \\\nA\n", "A\n"},
      {"a backslash before the end of the text", "A b\\", "A | b\\\n"},
      {"a continued end of the text", "A b\\\n", "A | b\n"},
      {"two backslashes continue, too", "A b\\\\\nc\n", "A | b\\c\n"},
      {"and an empty line behind them as well", "A b\\\\\n\nc\n", "A | bc\n"},
      {"a comment", " # a\nB # c\n", "# a\nB | # | c\n"},
      {"quotes", R"(A "b c" 'd "e' "" f"g)", "A | b c | d \"e |  | f\"g\n"},
      {"escapes", R"(A "b\"c" 'd\'e' f\\g "h\'i" j\ k)",
       "A | b\"c | d'e | f\\g | h\\'i | j\\ | k\n"},
      {"a quote that does not close", "A \"b c\nD\n", "A | b c\nD\n"},
      {"text behind a quote", "A \"b\"c\n", "A | b | c\n"},
      {"a name with a bracket", "Listen> 80\na/>\n\\\\/>\n", "Listen | 80\na/>\n\\/>\n"},
      {"an empty name is passed over", "\"\" a\nB\n", "\"\" a\nB\n"},
      {"variables stay", "A ${b} %{c}\n", "A | ${b} | %{c}\n"},
      {"a condition", "<IfModule !mod_a.c>\n<IfDefine B>\nC\n</IfDefine>\n</IfModule>\n",
       "IfModule | !mod_a.c\n  IfDefine | B\n    C\n"},
      {"a macro", "<Macro A $b>\n<Location $b>\n</Location>\n</Macro>\nUse A /c\n",
       "Macro | A | $b\n  Location | $b\nUse | A | /c\n"},
      {"a macro of half a section", "<Macro A>\n</Location>\n</Macro>\nB\n",
       "Macro | A\n  (\n</Location>\n)\nB\n"},
      {"a macro in a macro", "<Macro A>\n<Macro B>\nC\n</Macro>\n</Macro>\n",
       "Macro | A\n  Macro | B\n    C\n"},
      {"Perl code", "<Perl>\n$a = '<Location />';\n</Perl>\nB\n",
       "Perl\n  (\n$a = '<Location />';\n)\nB\n"},
      {"a section named like one with Lua code", "<LuaHookA>\nB\n</LuaHookA>\n", "LuaHookA\n  B\n"},
      {"the end of Lua code says little", "<LuaHookFixups>\nx\\\n\t</luahookfixups and \\\nB\n",
       "LuaHookFixups\n  (\nx\\\n\t)\nB\n"},
      {"Lua code", "<LuaHookLog>\n</Location>\n \\\n </LuaHookLog>\nB\n",
       "LuaHookLog\n  (\n</Location>\n \\\n )\nB\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Document document(Dialect::kApache, c.text);
    EXPECT_FALSE(document.error()) << Describe(*document.error());
    EXPECT_EQ(Tree(document), c.tree);
    EXPECT_EQ(Untiled(document), "");
  }
}

TEST(ApacheDocument, SaysWhatHttpdDoesNotTake) {
  struct Case {
    const char* name;
    std::string text;
    Problem problem;
    std::uint32_t at;
    std::optional<std::uint32_t> opened;
  };
  const Case cases[] = {
      {"a closing line too many", "A\n</Location>\n", Problem::kExtraClosing, 2, {}},
      {"a closing line of another section", "<Location />\n</Directory>\n", Problem::kOtherClosing,
       13, 0},
      {"a section that does not close", "A\n<Location />\nB\n", Problem::kUnclosedBlock, 2, 2},
      {"the innermost one is named", "<A x>\n<B y>\n", Problem::kUnclosedBlock, 6, 6},
      {"a section without its bracket", "<Location /\n</Location>\n", Problem::kNoBracket, 0, {}},
      {"a bracket before the arguments", "<Location> /\n</Location>\n", Problem::kNoBracket, 0, {}},
      {"a closing line without its bracket", "<A>\n</A\n", Problem::kNoBracket, 4, 0},
      {"a closing line with a blank", "<A>\n</A >\n", Problem::kNoBracket, 4, 0},
      {"text behind the end of a condition", "<IfModule a>\n</IfModule> b\n",
       Problem::kTextBehindClosing, 13, 0},
      {"the end of a condition in quotes", "<IfModule a>\n\"</IfModule>\"\n",
       Problem::kTextBehindClosing, 13, 0},
      {"crossed sections", "<A>\n<B>\n</A>\n</B>\n", Problem::kOtherClosing, 8, 4},
      {"a NUL byte", std::string("A\nB \0c\n", 7), Problem::kNulByte, 4, {}},
      {"a macro that does not close", "<Macro A>\nB\n", Problem::kUnclosedCode, 0, 0},
      {"Perl code that does not end", "<Perl>\n </perl>\n", Problem::kUnclosedCode, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Document document(Dialect::kApache, c.text);
    ASSERT_TRUE(document.error());
    EXPECT_EQ(document.error()->problem, c.problem) << Describe(*document.error());
    EXPECT_EQ(document.error()->at, c.at);
    EXPECT_EQ(document.error()->opened, c.opened);
    EXPECT_EQ(Untiled(document), "");
    EXPECT_NE(Describe(*document.error()), "");
  }
}

TEST(ApacheDocument, KeepsWhatItCouldNotRead) {
  const std::string text = "A\n<B>\nC\n</D>\nE\n";
  const Document document(Dialect::kApache, text);
  EXPECT_EQ(Tree(document), "A\nB\n  C\n  (</D>\nE\n)\n");
  EXPECT_EQ(Untiled(document), "");
}

TEST(ApacheDocument, GivesEachWordItsPlace) {
  const std::string text = "  <Directory \"/a\\\n b\" >\n</Directory>\n";
  const Document document(Dialect::kApache, text);
  const std::vector<Word> words = document.HeadWords(1);
  ASSERT_EQ(words.size(), 2U);
  EXPECT_EQ(document.Bytes(words[0].bytes), "Directory");
  EXPECT_EQ(document.Bytes(words[1].bytes), "\"/a\\\n b\"");
  EXPECT_EQ(document.Bytes(words[1].inner), "/a\\\n b");
  EXPECT_EQ(words[1].quote, '"');
  EXPECT_FALSE(words[1].as_written);
  EXPECT_EQ(document.Value(words[1]), "/a b");
}

TEST(ApacheDocument, GivesASectionItsParts) {
  const std::string text = " <A b> x \n  C\n </a> y \n";
  const Document document(Dialect::kApache, text);
  ASSERT_EQ(document.blocks().size(), 2U);
  const Block& section = document.blocks()[1];
  EXPECT_EQ(document.Bytes(section.head), "<A b> x");
  EXPECT_EQ(document.Bytes(section.body()), " \n  C\n ");
  EXPECT_EQ(document.Bytes(section.closing), "</a> y");
}

}  // namespace
