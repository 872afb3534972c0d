// SPDX-License-Identifier: Apache-2.0

// Bytes of any value, in configurations, templates and values.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "template/qeltemplate.h"

namespace {

using namespace std::string_literals;
using tov_template::GetConfigType;
using tov_template::NullValue;
using tov_template::ParserTemplate;

constexpr char kNginx[] = "Nginx";
constexpr char kApache[] = "Apache";

// A request with one value, whose name is "v".
struct Request {
  const char* name;
  const char* dialect;
  std::string config;
  std::string old_value;
  std::string new_value;
  std::string template_text;
  std::string edited;
};

std::string EditedBy(const Request& request) {
  return ParserTemplate(GetConfigType(request.dialect, request.config))
      .SetValue("v", request.old_value, request.new_value)
      .SetTemplate(request.template_text)
      .ApplyTemplate()
      .GetConfig();
}

void ExpectEdited(const std::vector<Request>& requests) {
  for (const Request& request : requests) {
    SCOPED_TRACE(request.name);
    EXPECT_EQ(EditedBy(request), request.edited);
  }
}

std::string Byte(int value) {
  return std::string(1, static_cast<char>(value));
}

TEST(Bytes, ANulByteIsAByteLikeAnother) {
  ExpectEdited({
      {"in a line that stays", kNginx, "a {\nx\0y;\n}"s, "", "", "a {\nz;\n}",
       "a {\nx\0y;\nz;\n}"s},
      {"in a line of the template", kNginx, "a {\nx;\n}", "", "", "a {\nx\0y;\n}"s,
       "a {\nx;\nx\0y;\n}"s},
      {"in a new value", kNginx, "a {\nroot 1;\n}", "1", "2\0 3"s, "a {\nroot {% $v %};\n}",
       "a {\nroot 2\0 3;\n}"s},
      {"in an old value: the line that has it", kNginx, "a {\nroot 1\0a;\nroot 1\0b;\n}"s, "1\0b"s,
       "2", "a {\nroot {% $v %};\n}", "a {\nroot 1\0a;\nroot 2;\n}"s},
      {"in a comment", kNginx, "a {\nroot 1; #\0x\n}"s, "1", "2", "a {\nroot {% $v %};\n}",
       "a {\nroot 2;#\0x\n}"s},
      {"in the name of a block", kNginx, "location /\0a {\nx;\n}\nlocation /\0b {\nx;\n}"s, "", "",
       "location /\0b {\ny;\n}"s, "location /\0a {\nx;\n}\nlocation /\0b {\nx;\ny;\n}"s},
      {"in a server's name", kNginx,
       "server {\nserver_name a\0;\n}\nserver {\nserver_name a\0b;\n}"s, "a\0b"s, "c\0"s,
       "server {\nserver_name {% $v %};\n}",
       "server {\nserver_name a\0;\n}\nserver {\nserver_name c\0;\n}"s},
      {"before a directive: another directive", kNginx, "a {\nlisten 80;\n\0listen 80;\nx;\n}"s, "",
       "", "a {\n{% if $no %}\n\0listen 80;\n{% endif %}\n}"s, "a {\nlisten 80;\nx;\n}"},
      {"in an address: none", kNginx, "a {\nlisten 80;\n}", "", "",
       "a {\nlisten 127.0.0.1\0:80 127.0.0.1:81;\n}"s,
       "a {\nlisten 80;\n\tlisten 127.0.0.1:81;\n}"},
      {"in a line that stays", kApache, "<a>\nX \0y\n</a>"s, "", "", "<a>\nZ\n</a>",
       "<a>\nX \0y\nZ\n</a>"s},
      {"in an option", kApache, "<a>\nOptions x\0y\nOptions x\n</a>"s, "", "", "",
       "<a>\n\tOptions x\0y x\n</a>"s},
      {"in an alias", kApache, "<a>\nServerAlias 1\nX\n</a>", "", "x\0 y"s,
       "<a>\nServerAlias [% $v %]\n</a>", "<a>\nX\n\tServerAlias x\0 y\n</a>"s},
      {"in the name of a setting", kApache,
       "<a>\nphp_admin_value x\0y 1\nphp_admin_value x\0z 1\n</a>"s, "", "2",
       "<a>\nphp_admin_value x\0z [% $v %]\n</a>"s,
       "<a>\nphp_admin_value x\0y 1\nphp_admin_value x\0z 2\n</a>"s},
  });
}

TEST(Bytes, ANulByteMayBePartOfAValuesName) {
  ParserTemplate parser(GetConfigType(kNginx, "a {\nx 1;\n}"));
  parser.SetValue("n\0a"s, "1", "2").SetValue("n", NullValue(), "3");
  parser.SetTemplate("a {\nx {% $n\0a %};\ny {% $n %};\n{% if $n\0a == 2 %}\nz;\n{% endif %}\n}"s);
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx 2;\ny 3;\nz;\n}");
}

TEST(Bytes, WhatIsNoUtf8IsKept) {
  ExpectEdited({
      {"bytes of no character", kNginx, "a {\n\xff\xfe;\n}", "", "\xfe", "a {\nx [% $v %];\n}",
       "a {\n\xff\xfe;\nx \xfe;\n}"},
      {"half a character at the end of a line and a value", kNginx, "a {\nroot /\xc3\n;\n}",
       "/\xc3", "/\xe2\x80", "a {\nroot {% $v %}\n}", "a {\nroot /\xe2\x80\n;\n}"},
      {"a byte order mark belongs to the first line", kNginx, "\xef\xbb\xbfserver {\nx;\n}", "", "",
       "server {\ny;\n}", "\xef\xbb\xbfserver {\nx;\n}\nserver {\ny;\n}"},
      {"Latin-1", kApache, "<Directory /caf\xe9>\nX\n</Directory>", "", "d\xe9j\xe0",
       "<Directory /caf\xe9>\nY [% $v %]\n</Directory>",
       "<Directory /caf\xe9>\nX\nY d\xe9j\xe0\n</Directory>"},
  });
}

// U+0445 is D1 85, U+00E0 is C3 A0, U+2026 is E2 80 A6, U+00A0 is C2 A0, U+3000 is E3 80 80.
TEST(Bytes, BytesOfCharactersAreNoBlanks) {
  ExpectEdited({
      {"at the end of a line", kNginx, "a {\nroot /\xc3\xa0\n}", "", "\xc3\xa0",
       "a {\nroot [% $v %]\n}", "a {\nroot \xc3\xa0\n}"},
      {"in a server's first name", kNginx,
       "server {\nserver_name \xd1\x85 x;\nroot 1;\n}\nserver {\nserver_name \xd1 x;\nroot 1;\n}",
       "\xd1\x85", "\xc3\xa0", "server {\nserver_name {% $v %} x;\nroot 2;\n}",
       "server {\nserver_name \xc3\xa0 x;\nroot 1;\nroot 2;\n}\nserver {\nserver_name \xd1 x;\n"
       "root 1;\n}"},
      {"before the name of a directive", kNginx, "a {\n\xc2\xa0listen 80;\n}", "", "",
       "a {\nlisten 81;\n}", "a {\n\xc2\xa0listen 80;\n\tlisten 81;\n}"},
      {"around the bracket of a block", kNginx, "a {\xc2\xa0\nb;\n\xc2\xa0}\na {\nc;\n}", "", "",
       "a {\nd;\n}", "a {\xc2\xa0\nb;\n\xc2\xa0}\na {\nc;\nd;\n}"},
      {"in a value's place", kNginx, "a {\n}", "", "x", "a {\ny [% $v\xa0 %];\nz [% $v %];\n}",
       "a {\nz x;\n}"},
      {"in an option", kApache, "<a>\nOptions x\xc2\xa0y x \xe3\x80\x80\nOptions y\n</a>", "", "",
       "", "<a>\n\tOptions x\xc2\xa0y x \xe3\x80\x80 y\n</a>"},
      {"in the name of a directive", kApache, "<a>\nServerAlias\xa0x\n</a>", "", "",
       "<a>\nServerAlias y\n</a>", "<a>\nServerAlias\xa0x\n\tServerAlias y\n</a>"},
      {"at the end of a block's name", kApache, "<a\xc3\xa0\nx\n</a>\n<a\xc3\ny\n</a>", "", "",
       "<a\xc3\nz\n</a>", "<a\xc3\xa0\nx\n</a>\n<a\xc3\ny\nz\n</a>"},
  });
}

TEST(Bytes, LinesKeepTheirCarriageReturnsAndNewLinesHaveThoseOfTheTemplate) {
  const std::string nginx = "server {\r\n\tserver_name a;\r\n\troot 1;\r\n\r\n}\r\n";
  const std::string apache = "<a>\r\nServerName 1\r\nX\r\n</a>\r\n";
  ExpectEdited({
      {"a new line", kNginx, nginx, "", "", "server {\nserver_name a;\nnew;\n}",
       "server {\r\n\tserver_name a;\r\n\troot 1;\r\n\r\nnew;\n}\r"},
      {"a new line of a template with them", kNginx, nginx, "", "",
       "server {\r\nserver_name a;\r\nnew;\r\n}\r\n",
       "server {\r\n\tserver_name a;\r\n\troot 1;\r\n\r\nnew;\r\n}\r"},
      {"a changed line", kNginx, nginx, "1", "2", "server {\nserver_name a;\nroot {% $v %};\n}",
       "server {\r\n\tserver_name a;\r\nroot 2;\n\r\n}\r"},
      {"a changed line whose comment ends with one", kNginx, "a {\r\nroot 1; # x\r\n}\r\n", "1",
       "2", "a {\nroot {% $v %};\n}", "a {\r\nroot 2;# x\r\n}\r"},
      {"a removed line", kNginx, nginx, "", "",
       "server {\nserver_name a;\n{% if $no %}\nroot 1;\n{% endif %}\n}",
       "server {\r\n\tserver_name a;\r\n\r\n}\r"},
      {"an address that is there", kNginx, "a {\r\nlisten 127.0.0.1:80;\r\n}", "", "",
       "a {\nlisten 127.0.0.1:80;\n}", "a {\r\nlisten 127.0.0.1:80;\r\n}"},
      {"carriage returns alone are no line ends", kNginx, "a {\rx;\r}\nb {\ny;\n}", "", "",
       "b {\nz;\n}", "a {\rx;\r}\nb {\ny;\nz;\n}"},
      {"a new line", kApache, apache, "", "", "<a>\nY\n</a>",
       "<a>\r\nServerName 1\r\nX\r\nY\n</a>\r"},
      {"a changed line", kApache, apache, "1", "2", "<a>\nServerName {% $v %}\n</a>",
       "<a>\r\nServerName 2\nX\r\n</a>\r"},
      {"merged options", kApache, "<a>\r\nOptions x\r\nOptions y\r\nX\r\n</a>\r\n", "", "", "",
       "<a>\r\n\tOptions x y\nX\r\n</a>\r"},
  });
}

// The bytes by which the levels of a block's path are joined.
TEST(Bytes, SeparatorsOfPathsMayStandInLinesAndValues) {
  const std::string separator = "\x18\x19";
  ExpectEdited({
      {"in a line that stays", kNginx, "a {\nx " + separator + ";\n}", "", "", "a {\ny;\n}",
       "a {\nx " + separator + ";\ny;\n}"},
      {"in a value", kNginx, "a {\nx 1;\n}", "1", separator, "a {\nx {% $v %};\ny;\n}",
       "a {\nx " + separator + ";\ny;\n}"},
      {"in an old value", kNginx, "a {\nx " + separator + ";\n}", separator, "2",
       "a {\nx {% $v %};\n}", "a {\nx 2;\n}"},
      {"in a comment", kNginx, "a { # " + separator + "\nx;\n}", "", "", "",
       "a { # " + separator + "\nx;\n}"},
      {"in an opening line", kNginx, "a" + separator + "b {\nx;\n}\nc {\ny;\n}", "", "",
       "a" + separator + "b {\nz;\n}", "a" + separator + "b {\nx;\nz;\n}\nc {\ny;\n}"},
      {"in the opening line of a block that is left alone", kNginx,
       "c {\ny;\n}\na" + separator + "b {\nx;\n}", "", "", "c {\nz;\n}",
       "c {\ny;\nz;\n}\na" + separator + "b {\nx;\n}"},
      {"one of the two", kNginx, "a\x18 {\n\x19 {\nx\x18;\n}\n}", "", "\x19\x18",
       "a\x18 {\n\x19 {\ny [% $v %];\n}\n}", "a\x18 {\n\x19 {\nx\x18;\ny \x19\x18;\n}\n}"},
      {"in a line that stays", kApache, "<a>\nX " + separator + "\n</a>", "", "", "<a>\nY\n</a>",
       "<a>\nX " + separator + "\nY\n</a>"},
      {"in an alias", kApache, "<a>\nServerAlias x\nX\n</a>", "", separator,
       "<a>\nServerAlias [% $v %]\n</a>", "<a>\nX\n\tServerAlias " + separator + "\n</a>"},
      {"in an option", kApache, "<a>\nOptions x\nOptions " + separator + "\n</a>", "", "", "",
       "<a>\n\tOptions x " + separator + "\n</a>"},
  });
}

// A server is found by its first name, which ends at a blank or with the comment.
TEST(Bytes, AServersNameEndsAtTheSixBlanksOnly) {
  const std::string ends = " \t\n\r\v\f#";
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const std::string server = "server {\nserver_name a" + Byte(byte) + "c;\nroot /1;\n}";
    const bool found = ends.find(Byte(byte)) != std::string::npos;
    const std::string text = "server {\nserver_name a;\nnew;\n}";
    EXPECT_EQ(EditedBy({"", kNginx, server, "", "", text, ""}),
              found ? server.substr(0, server.size() - 1) + "new;\n}" : server + "\n" + text);
  }
}

TEST(Bytes, AnOptionEndsAtTheFiveBlanksOfALineOnly) {
  const std::string blanks = " \t\r\v\f";
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == '\n') continue;
    SCOPED_TRACE(byte);
    const bool blank = blanks.find(Byte(byte)) != std::string::npos;
    EXPECT_EQ(EditedBy({"", kApache, "<a>\nOptions x" + Byte(byte) + "y\nOptions y\n</a>", "", "",
                        "", ""}),
              "<a>\n\tOptions x" + (blank ? " y" : Byte(byte) + "y y") + "\n</a>");
  }
}

// A line of any bytes that is a plain directive in both dialects: a "{" before a comment would open
// a block, and a "[" might open a place in a value.
std::string AnyDirective(std::mt19937& random) {
  std::string line = "x";
  for (int i = 0; i < 300; ++i) {
    const std::string byte = Byte(static_cast<int>(random() % 256));
    if (byte.find_first_of("\n{[") == std::string::npos) line += byte;
  }
  return line + "y";
}

TEST(Bytes, AllBytesOutsideTheEditStay) {
  struct Case {
    const char* dialect;
    std::string opening;
    std::string closing;
  };
  const Case cases[] = {{kNginx, "location / {\r", "\t} # end"},
                        {kApache, "<Directory />", "</a>"}};
  std::mt19937 random(1);
  for (const Case& c : cases) {
    for (int round = 0; round < 50; ++round) {
      SCOPED_TRACE(std::string(c.dialect) + " " + std::to_string(round));
      const std::string before =
          AnyDirective(random) + "\n" + c.opening + "\n" + AnyDirective(random) + "\n";
      const std::string after =
          "\n" + AnyDirective(random) + "\n" + c.closing + "\n" + AnyDirective(random);
      const std::string old_value = AnyDirective(random);
      const std::string new_value = AnyDirective(random);
      const Request request = {"",        c.dialect, before + "Root " + old_value + after,
                               old_value, new_value, c.opening + "\nRoot {% $v %}\n" + c.closing,
                               ""};
      const std::string comment =
          old_value.find('#') == std::string::npos ? "" : old_value.substr(old_value.rfind('#'));
      EXPECT_TRUE(EditedBy(request) == before + "Root " + new_value + comment + after);
    }
  }
}

TEST(Bytes, ARecordHoldsTheBytesUpToANul) {
  ParserTemplate parser(GetConfigType(kNginx, ""));
  const LogCapture log;
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    parser.SetValue("n", NullValue(), Byte(byte) + "\xc3\xa0%d");
    const std::string shown = byte == 0 ? "" : Byte(byte) + "\xc3\xa0%d";
    EXPECT_EQ(log.Messages().back(),
              "Template param 'n': old value 'Null', new value '" + shown + "'");
  }
}

}  // namespace
