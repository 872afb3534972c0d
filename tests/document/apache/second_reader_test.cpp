// SPDX-License-Identifier: Apache-2.0

// Is the second reader right? The real httpd says so. And the Document?
#include "document/apache/second_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "document/apache/document_events.h"
#include "document/apache/httpd.h"

namespace {

using second_reader::Read;
using second_reader::Reading;
using second_reader::Reason;

std::size_t LineOf(const std::string& text, std::size_t offset) {
  return 1 + static_cast<std::size_t>(std::count(
                 text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n'));
}

bool IsUnclosed(const second_reader::Refusal& refusal) {
  return refusal.reason == Reason::kUnclosed || refusal.reason == Reason::kUnclosedRaw;
}

// httpd names the last of the lines that continue each other.
bool SameLine(const std::string& text, const second_reader::Range& line, std::size_t httpd) {
  return httpd >= LineOf(text, line.begin) && httpd <= LineOf(text, line.end);
}

// "" when the reader is of httpd's mind about `text`, else what both say.
std::string Difference(const std::string& text, const Answer& answer) {
  const Reading reading = Read(text);
  bool same = false;
  switch (answer.kind) {
    case Answer::Kind::kReads:
      same = !reading.refusal;
      break;
    case Answer::Kind::kUnclosed:
      same = reading.refusal && IsUnclosed(*reading.refusal);
      break;
    case Answer::Kind::kSyntaxError:
      same = reading.refusal && SameLine(text, reading.refusal->line, answer.line);
      break;
    case Answer::Kind::kStopped:
      break;
  }
  if (same) return "";
  return text + "\nhttpd, line " + std::to_string(answer.line) + ": " + answer.message +
         "\nreader: " + (reading.refusal ? Show(*reading.refusal) : "reads") + "\n" +
         Show(reading.events);
}

// httpd, the reader and the Document.
void ExpectOneMind(const std::vector<std::string>& texts, const std::vector<Answer>& answers) {
  for (std::size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(Difference(texts[i], answers[i]), "");
    EXPECT_EQ(::Difference(texts[i]), "") << "the Document";
  }
}

const std::vector<std::string> lines_and_sections = {
    "",
    "a",
    "a\\",
    "a\\\n",
    "<a>\n</a>",
    "<a>\r\n</A>\r\n",
    "\v<a\f>\n\f</a>\v",
    "<a\\\n>\n<\\\n/a>",
    "<a\\\r\n>\n</a>",
    "#\\\n<a>",
    "#\\\r\n<a>",
    "# \\ \n<a>",
    "#\\\\\n\n<a>",
    "x\\\\\n\n<a>\n<b>",
    "x\\\r\\\n\n<a>\n<b>",
    "x\\\n\n<a>",
    "x\\\r\r\n<a>",
    "\\\n<a>\n\\\n\\\n</a>",
    "\\\n\\\n",
    "\"<a\" b>\n\"</a>\" c",
    "'<a>'\n'</a>'",
    "'<a\\'' b>\n\"</a'>\"",
    "\"<a\n</a>",
    "\"</a>\n",
    "<a>\n\"</a\">",
    "<a>\n</a>b",
    "<a>\n</a> b",
    "<a>\n</a >",
    "<a>\n</a",
    "<a>\n</a>>",
    "<a>\n</b>",
    "<a>\n</b\n</a>",
    "</a>",
    "</a",
    "</",
    "<a>\n</",
    "<a>\n</ a>",
    "<a></a>",
    "<\n</>",
    "<>\n</>",
    "< a>\n</>",
    "< a>\n</a>",
    "</>",
    "<a>>\n</a>>",
    "<a/b>\n</a/b>",
    "<a/>\n</a/>",
    "</a>\\",
    ">",
    "a/>",
    "a>",
    "\"\" <a>",
    "'' </a>",
    "\"\"</a>",
    "x<a>",
    "x \"<a>\n",
    "<IfModule !x>\n</ifmodule>",
    "<ifmodule !x>\n </IfModule>\t\r\n",
    "<IfModule !x>\n</IfModule> y",
    "<IfModule !x>\n</IfModule>y",
    "<IfModule !x>\n</IfModule >",
    "<IfModule !x>\n</IfModule",
    "<IfModule !x>\n\"</IfModule>\"",
    "<IfModule !x>\n</\\\nIfModule>",
    "<IfModule !x>\n</IfDefine>",
    "<IfModule !x>\n<a>\n</IfModule>",
    "<IfModule !x>\n<a>\n</a>\n</IfModule>",
    "<a>\n<IfModule !x>\n</a>\n</IfModule>",
    "<IfModule !x>",
    "<IfModule !x>\n<a>",
    "<a>\n<IfModule !x>",
    "<a>\n<IfModule !x>\n<b>",
    "<IfModule !x",
    "<IfModule !x> y\n</IfModule>",
    "<IfModule> !x\n</IfModule>",
    "\"<IfModule\" !x>\n</IfModule>",
    "<IfDefine !x>\n<IfFile !/x>\n</IfFile>\n</IfDefine>",
    "<IfDirective !x>\n</IfDirective>\n<IfSection !x>\n</IfSection>",
    "<IfVersion >= 2.4>\n</IfVersion>",
    "<IfVersion >= 2.4>\n</IfVersion> x",
    "<IfVersion >= 2.4 >\n</IfVersion>",
    "<IfVersion >= 2.4> x\n</IfVersion>",
    "<IfVersion >= 2.4>x\n</IfVersion>",
    "<IfVersion >= 2.4>\"\n</IfVersion>",
    "<IfVersion >= \"2.4\">\n</IfVersion>",
    "<IfVersion /2/>\n</IfVersion>",
    "<IfVersion /2/\n</IfVersion>",
    "<IfVersion \"/2/\">\n</IfVersion>",
    "<IfVersion >= \"\" >\n</IfVersion>",
    "<IfVersion >= 2.4 x>\n</IfVersion>",
    "<Macro m>\n</Macro>",
    "<Macro m>\n</Foo>\n\"\n</macro> x",
    "<Macro m>\n#</Macro>\n</Macro>",
    "<Macro m>\n\"</Macro>\" x\n",
    "<Macro m>\n</Macro >\n</Macro\n</Macro>x",
    "<Macro m>\n<Macro n>\n</Macro>",
    "<Macro m>\n<Macro>\n</Macro>",
    "<Macro m>\n\"<Macro\" n\n</Macro>\n</Macro>",
    "<Macro m>\nx\\\n</Macro>\n</Macro>",
    "<Macro m>\n<a>\n</Macro>",
    "<Macro m>\n",
    "<Macro m\n</Macro>",
    "<a>\n<Macro m>\n</a>\n</Macro>\n</a>",
    "<LuaHookFixups>\nx = 1\n</LuaHookFixups>",
    "<LuaHookFixups>\nx = 1 --\\\n\t</luahookfixups and more\n",
    "<LuaHookFixups>\nx = '<a>'\n</LuaHookFixups>",
    "<LuaQuickHandler>\nx = 1\n</LuaQuickHandler>",
    "<LuaHookFixups x\n</LuaHookFixups>",
};

TEST(SecondReader, IsOfHttpdsMindAboutLinesAndSections) {
  ExpectOneMind(lines_and_sections, Httpd().Read(lines_and_sections));
}

// Of an ordinary section httpd sees only when it is carried out whether its line has a ">".
const std::vector<std::string> opening_lines = {
    "<Location /x>\n</Location>",
    "<Location /x\n</Location>",
    "<Location> /x\n</Location>",
    "<Location> /x>\n</Location>",
    "<Location /x >\n</Location>",
    "<Location /x> y\n</Location>",
    "<VirtualHost 127.0.0.1:80 > x\n</VirtualHost>",
    "<Location /x\\\n>\n</Location>",
    "<Location \"/x>\n</Location>",
    "<Location \"/x\">\n</Location>",
    "<Location \"/x\" y\n</Location>",
    "<Location \"/x>\" y\n</Location>",
    "\"<Location\" /x>\n</Location>",
    "\"<Location\" /x\n</Location>",
    "\"<Location\"/x>\n</Location>",
    "<Directory />\n<RequireAll>\nRequire all granted\n</RequireAll>\n</Directory>",
    "<Directory />\n<RequireAll\nRequire all granted\n</RequireAll>\n</Directory>",
    "<Directory />\n<RequireAll >\nRequire all granted\n</RequireAll>\n</Directory>",
    "<Directory />\n<RequireAll> x\n</RequireAll>\n</Directory>",
    "<If \"true\">\n</If>\n<Else\n</Else>",
    "<If \"'a' == 'a'\"\n</If>",
};

// Of an ordinary section httpd sees only when it is carried out whether its line has a ">".
TEST(SecondReader, IsOfHttpdsMindAboutOpeningLines) {
  ExpectOneMind(opening_lines, Httpd().CarryOut(opening_lines));
}

const std::vector<std::string> pieces = {"<a>",
                                         "</a>",
                                         "<b x",
                                         "<a x>",
                                         "</A> x",
                                         "</b>",
                                         "<IfModule !x>",
                                         "</IfModule>",
                                         "\n",
                                         "\n",
                                         "\n",
                                         "\\\n",
                                         "\\",
                                         "\"",
                                         "'",
                                         ">",
                                         "#",
                                         " ",
                                         "<Macro m>",
                                         "</Macro>",
                                         "\r\n",
                                         "<IfDefine !y>",
                                         "</",
                                         "\\\\\n",
                                         "\f",
                                         "</IfDefine>",
                                         "</ifmodule>"};

// Lines put together from pieces.
TEST(SecondReader, IsOfHttpdsMindAboutRandomTexts) {
  std::mt19937 random(1);
  std::vector<std::string> texts(40);
  for (std::string& text : texts) {
    for (std::size_t n = 1 + random() % 12; n > 0; --n) text += pieces[random() % pieces.size()];
  }
  const std::vector<Answer> answers = Httpd().Read(texts);
  std::size_t read = 0;
  std::size_t refused = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (answers[i].kind == Answer::Kind::kStopped) continue;
    // A ">" that is missing comes to light only when the tree is carried out.
    const Reading reading = Read(texts[i]);
    if (reading.refusal && reading.refusal->reason == Reason::kNoBracket) continue;
    EXPECT_EQ(Difference(texts[i], answers[i]), "");
    ++(answers[i].kind == Answer::Kind::kReads ? read : refused);
  }
  EXPECT_GE(read, 5U);
  EXPECT_GE(refused, 15U);
}

}  // namespace
