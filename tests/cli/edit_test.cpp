// SPDX-License-Identifier: Apache-2.0

#include "cli/edit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/edit_case.h"

namespace cli {
namespace {

TEST(Edit, ChangesNothingButTheLinesItIsFor) {
  const std::vector<NamedValue> root = {{"root", "/a", "/b"}};
  const std::string text = "server {\nserver_name a;\nroot {% $root %};\n}\n";
  ExpectEdits(
      "nginx",
      {{"blank lines, tabs and comments stay",
        "# sites\n\nserver {\n\n    server_name a;\n\n    root /a;  # here\n\n\n}\n\n", text, root,
        "# sites\n\nserver {\n\n    server_name a;\n\n    root /b;  # here\n\n\n}\n\n"},
       {"no line end at the end", "server {\nserver_name a;\nroot /a;\n}", text, root,
        "server {\nserver_name a;\nroot /b;\n}"},
       {"CRLF: new lines have it, too", "server {\r\n  server_name a;\r\n\r\n}\r\n", text, root,
        "server {\r\n  server_name a;\r\n  root /b;\r\n\r\n}\r\n"},
       {"blanks at the ends of other lines", "server { \n\tserver_name a; \n\troot /a;\n \t\n}\n",
        text, root, "server { \n\tserver_name a; \n\troot /b;\n \t\n}\n"},
       {"more blanks than in the template", "server  {\n\tserver_name\ta ;\n\troot     /a;\n}\n",
        text, root, "server  {\n\tserver_name\ta ;\n\troot     /b;\n}\n"},
       {"columns stay",
        "server {\n\tserver_name   a;\n\troot          /a ;  # disk 2\n}\n",
        "server {\nserver_name a;\nroot {% $r %};\n}\n",
        {{"r", "/a", "/b"}},
        "server {\n\tserver_name   a;\n\troot          /b ;  # disk 2\n}\n"},
       {"a comment that the template has, too",
        "server {\nserver_name a;\nssl_protocols x; # note\nssl_ciphers x; # note\n}\n",
        "server {\nserver_name a;\nssl_protocols x; # note\nssl_ciphers {% $r %}; # other\n}\n",
        {{"r", "x", "y"}},
        "server {\nserver_name a;\nssl_protocols x; # note\nssl_ciphers y; # note\n}\n"},
       {"a comment behind the opening line", "server { # main\n\tserver_name a;\n\troot /a;\n}\n",
        text, root, "server { # main\n\tserver_name a;\n\troot /b;\n}\n"},
       {"an empty block of somebody else's", "events {\n}\nserver {\nserver_name a;\nroot /a;\n}\n",
        text, root, "events {\n}\nserver {\nserver_name a;\nroot /b;\n}\n"},
       {"nothing to do",
        "server {\n\n server_name a;\n root /b;}\n",
        "",
        {},
        "server {\n\n server_name a;\n root /b;}\n"}});
}

TEST(Edit, IndentsNewLinesLikeTheirNeighbours) {
  const std::string text =
      "server {\n  server_name a;\n\tgzip on;\n      location /x {\n return 404;\n}\n}\n";
  ExpectEdits("nginx",
              {{"blanks",
                "server {\n   server_name a;\n}\n",
                text,
                {},
                "server {\n   server_name a;\n   gzip on;\n   location /x {\n      return 404;\n"
                "   }\n}\n"},
               {"tabs",
                "server {\n\tserver_name a;\n}\n",
                text,
                {},
                "server {\n\tserver_name a;\n\tgzip on;\n\tlocation /x {\n\t\treturn 404;\n"
                "\t}\n}\n"},
               {"none",
                "server {\nserver_name a;\nlocation / {\nreturn 200;\n}\n}\n",
                text,
                {},
                "server {\nserver_name a;\nlocation / {\nreturn 200;\n}\ngzip on;\n"
                "location /x {\n\treturn 404;\n}\n}\n"}});
}

TEST(Edit, MakesNewBlocksWellNestedAndInTheOrderOfTheTemplate) {
  const std::string site =
      "server {\nlisten 80;\nserver_name {% $name %};\nlocation / {\nroot /srv;\n"
      "if ($x) {\nreturn 403;\n}\nindex i;\n}\nlocation /b {\nreturn 404;\n}\n}\n";
  const std::string made =
      "server {\n\tlisten 80;\n\tserver_name a;\n\tlocation / {\n\t\troot /srv;\n"
      "\t\tif ($x) {\n\t\t\treturn 403;\n\t\t}\n\t\tindex i;\n\t}\n\tlocation /b {\n"
      "\t\treturn 404;\n\t}\n}\n";
  ExpectEdits("nginx",
              {{"in an empty file", "", site, {{"name", kNone, "a"}}, made},
               {"behind another site",
                "server {\n\tserver_name b;\n}\n",
                site,
                {{"name", kNone, "a"}},
                "server {\n\tserver_name b;\n}\n" + made},
               {"a nested block in an old one",
                "server {\n\tserver_name a;\n\tlisten 80;\n}\n",
                site,
                {{"name", kNone, "a"}},
                "server {\n\tserver_name a;\n\tlisten 80;\n\tlocation / {\n\t\troot /srv;\n"
                "\t\tif ($x) {\n\t\t\treturn 403;\n\t\t}\n\t\tindex i;\n\t}\n\tlocation /b {\n"
                "\t\treturn 404;\n\t}\n}\n"}});
  ExpectEdits(
      "apache",
      {{"a virtual host with a location",
        "",
        "<VirtualHost *:80>\nServerName {% $name %}\nServerAlias w.{% $name %}\n<Location />\n"
        "Options Indexes\n</Location>\nDocumentRoot /srv\n</VirtualHost>\n",
        {{"name", kNone, "a"}},
        "<VirtualHost *:80>\n\tServerName a\n\tServerAlias w.a\n\t<Location />\n"
        "\t\tOptions Indexes\n\t</Location>\n\tDocumentRoot /srv\n</VirtualHost>\n"}});
}

TEST(Edit, FindsABlockWhateverElseIdentifiesIt) {
  const std::string plain = "server {\n\tserver_name a;\n\tlisten 80;\n}\n";
  const std::string secure = "server {\n\tserver_name a;\n\tlisten 80;\n\tssl on;\n}\n";
  const std::string text =
      "server {\nserver_name {% $name %};\n{% if $ssl %}\nssl on;\n{% endif %}\n}\n";
  ExpectEdits(
      "nginx",
      {{"an identifying line that is not taken", plain, text, {{"name", kNone, "a"}}, plain},
       {"... is taken away", secure, text, {{"name", kNone, "a"}}, plain},
       {"... is added", plain, text, {{"name", kNone, "a"}, {"ssl", kNone, "1"}}, secure},
       {"no old value for the name",
        plain,
        "server {\nserver_name {% $name %};\nroot {% $root %};\n}\n",
        {{"name", kNone, "a"}, {"root", "/x", "/y"}},
        "server {\n\tserver_name a;\n\tlisten 80;\n\troot /y;\n}\n"},
       {"the new name already",
        plain,
        "server {\nserver_name {% $name %};\nlisten 80;\n}\n",
        {{"name", "b", "a"}},
        plain},
       {"a name in each of two branches",
        plain,
        "server {\n{% if $www %}\nserver_name {% $name %} www.{% $name %};\n{% else %}\n"
        "server_name {% $name %};\n{% endif %}\n}\n",
        {{"name", kNone, "a"}},
        plain}});
}

TEST(Edit, RenamesBlocksWithAllThatIsInThem) {
  ExpectEdits("nginx", {{"an indented block inside another one",
                         "server {\n    server_name a;\n    location /old {\n        root /x;\n"
                         "    }\n}\n",
                         "server {\n    server_name a;\n    location {% $p %} {\n"
                         "        root /x;\n        index i;\n    }\n}\n",
                         {{"p", "/old", "/new"}},
                         "server {\n    server_name a;\n    location /new {\n        root /x;\n"
                         "        index i;\n    }\n}\n"}});
  ExpectEdits(
      "apache",
      {{"a virtual host moves to another address",
        "<VirtualHost 1.1.1.1:80>\n  ServerName a\n  ServerAlias b c\n  Options Indexes\n"
        "  <Location />\n    Options None\n  </Location>\n</VirtualHost>\n",
        "<VirtualHost {% $ip %}:80>\nServerName a\nServerAlias b c\nOptions Indexes\n<Location />\n"
        "Options None\n</Location>\n</VirtualHost>\n",
        {{"ip", "1.1.1.1", "2.2.2.2"}},
        "<VirtualHost 2.2.2.2:80>\n  ServerName a\n  ServerAlias b c\n  Options Indexes\n"
        "  <Location />\n    Options None\n  </Location>\n</VirtualHost>\n"},
       {"Options that were joined to be read come apart again",
        "<VirtualHost *:80>\n\n ServerName a\n Options Indexes\n\n Options MultiViews\n"
        "</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName {% $n %}\n</VirtualHost>\n",
        {{"n", "a", "b"}},
        "<VirtualHost *:80>\n\n ServerName b\n Options Indexes\n\n Options MultiViews\n"
        "</VirtualHost>\n"}});
}

TEST(Edit, KeepsAValueWithANumberSign) {
  ExpectEdits("nginx", {{"in the old line",
                         "server {\nserver_name a;\nrewrite ^/x#y /z;\n}\n",
                         "server {\nserver_name a;\nrewrite {% $r %} /z;\n}\n",
                         {{"r", "^/x#y", "^/x"}},
                         "server {\nserver_name a;\nrewrite ^/x /z;\n}\n"}});
}

TEST(Edit, RefusesToLoseLines) {
  ExpectRefusals(
      "nginx",
      {{"a listen that somebody added",
        "server {\nserver_name a;\nlisten 1.1.1.1:80;\nlisten 1.1.1.1:8080;\n}\n",
        "server {\nserver_name a;\nlisten {% $ip %}:80;\n}\n",
        {{"ip", "1.1.1.1", "2.2.2.2"}},
        "site.conf:4: 'listen 1.1.1.1:8080;' would go, and no line of the template names it"},
       {"a line that only begins like one not taken",
        "server {\nserver_name a;\nroot /ab;\n}\n",
        "server {\nserver_name a;\n{% if $none %}\nroot /a;\n{% endif %}\n}\n",
        {},
        "site.conf:3: 'root /ab;' would go"},
       {"what stands between two blocks with the same identity",
        "location / {\nroot /a;\n}\nserver {\nserver_name b;\n}\nlocation / {\nroot /c;\n}\n",
        "{% if $none %}\nlocation / {\n}\n{% endif %}\n",
        {},
        "site.conf:4: 'server {' would go, although it is no part of the block"},
       {"a line of terminators only",
        "server {\nserver_name a;\nroot /a;\n}\n",
        "server {\nserver_name a;\n{% if $none %}\n;\n{% endif %}\n}\n",
        {},
        "site.conf:1: 'server {' would go"}});
}

TEST(Edit, RefusesWhatTheTemplateDoesNotMean) {
  ExpectRefusals("nginx",
                 {{"a directive whose name begins like the template's",
                   "server {\nserver_name a;\nssl_certificate_key /k;\n}\n",
                   "server {\nserver_name a;\nssl_certificate[% $c %];\n}\n",
                   {{"c", " /a", " /b"}},
                   "other-directive"},
                  {"a line that is not added since another begins like it",
                   "server {\nserver_name a;\nroot /var/www2;\n}\n",
                   "server {\nserver_name a;\nroot /var/www;\n}\n",
                   {},
                   "site.template:3: 'root /var/www;' is not added"},
                  {"an old name that is nowhere",
                   "server {\nserver_name shop.example;\n}\n",
                   "server {\nserver_name {% $n %};\n}\n",
                   {{"n", "shop.exampel", "b"}},
                   "there are 'server { server_name shop.example' (site.conf:1)"},
                  {"a block that stands inside another one",
                   "http {\nserver {\nserver_name a;\n}\n}\n",
                   "server {\nserver_name {% $n %};\n}\n",
                   {{"n", kNone, "a"}},
                   "but one at site.conf:2, inside 'http {'"},
                  {"a block that the library takes for an inner one",
                   "server {\nssl on;\nlocation / {\nssl on;\n}\n}\nserver {\n}\n"
                   "server {\nserver_name a;\n}\n",
                   "server {\ngzip on;\n}\n",
                   {},
                   "the library takes the one at site.conf:7 for one inside another block"},
                  {"two blocks with one identity",
                   "server {\nserver_name a;\n}\nserver {\nserver_name b;\n}\n",
                   "server {\nserver_name {% $n %};\n}\n",
                   {{"n", "a", "b"}},
                   "duplicate-identity"},
                  {"a line that another one of the template changes",
                   "server {\nserver_name a;\nroot /a;\n}\n",
                   "server {\nserver_name a;\nroot /a;\nroot {% $r %};\n}\n",
                   {{"r", "/a", "/b"}},
                   "site.template:3: 'root /a;' is not in the result"},
                  {"an address that is no number",
                   "server {\nserver_name a;\nlisten 80;\n}\n",
                   "server {\nserver_name a;\nlisten *:8080;\n}\n",
                   {},
                   "'listen *:8080;' is not in the result"},
                  {"braces that the library does not see",
                   "server {\nserver_name a;\nlocation / {\nreturn 404; }\n}\n",
                   "server {\nserver_name a;\ngzip on;\n}\n",
                   {},
                   "site.conf:4: 'return 404; }'"}});
  ExpectRefusals("apache",
                 {{"Options with and without signs",
                   "<VirtualHost *:80>\nServerName a\nOptions Indexes\n</VirtualHost>\n",
                   "<VirtualHost *:80>\nServerName a\nOptions +ExecCGI\n</VirtualHost>\n",
                   {},
                   "site.conf:3: 'Options Indexes +ExecCGI' has words with and without a sign"},
                  {"an alias that somebody added",
                   "<VirtualHost *:80>\nServerAlias a\nServerAlias b\n</VirtualHost>\n",
                   "<VirtualHost *:80>\nServerAlias {% $a %}\n</VirtualHost>\n",
                   {{"a", "a", "c"}},
                   "site.conf:3: 'ServerAlias b' would go"},
                  {"an alias that another line of the template changes, and another block has",
                   "<VirtualHost a:80>\n</VirtualHost>\n"
                   "<VirtualHost b:80>\nServerAlias b c\n</VirtualHost>\n",
                   "<VirtualHost a:80>\nServerAlias b c\nServerAlias {% $a %}\n</VirtualHost>\n",
                   {{"a", "a", "b"}},
                   "site.template:2: 'ServerAlias b c' is not in the result"},
                  {"an alias that the library does not change behind new Options",
                   "<VirtualHost *:80>\nServerName a\nServerAlias a\n</VirtualHost>\n",
                   "<VirtualHost *:80>\nOptions None\nServerAlias {% $a %}\n</VirtualHost>\n",
                   {{"a", "a", "c"}},
                   "site.template:3: 'ServerAlias a' is still in the result"},
                  {"another alias, which a trailing place changes",
                   "<VirtualHost *:80>\nServerName a\nServerAlias x y\n</VirtualHost>\n",
                   "<VirtualHost *:80>\nOptions None\nServerAlias [% $a %]\n</VirtualHost>\n",
                   {{"a", "a", "c"}},
                   "site.template:3: 'ServerAlias x y' is still in the result"}});
}

TEST(Edit, RefusesABrokenTemplate) {
  const std::string config = "server {\nserver_name a;\n}\n";
  ExpectRefusals(
      "nginx",
      {{"opening lines in two branches, one closing line",
        config,
        "{% if $x %}\nserver {\n{% else %}\nserver {\n{% endif %}\nserver_name a;\n}\n",
        {},
        "does not close"},
       {"a control byte",
        config,
        "server {\r\nserver_name\ta;\r\nroot /\x01;\r\n}\r\n",
        {},
        "site.template:3: this line holds a control byte"},
       {"a closing line too many",
        config,
        "server {\nserver_name a;\n}\n}\n",
        {},
        "site.template:4: a closing line too many"},
       {"an opening line without its value",
        config,
        "server {\nserver_name a;\nlocation {% $p %} {\nroot /x;\n}\n}\n",
        {},
        "site.template:3: a value of this opening line is missing"},
       {"a comment behind an opening line",
        config,
        "server { # main\nserver_name a;\n}\n",
        {},
        "site.template:1: the library does not see that 'server { # main' opens a block"}});
}

TEST(Edit, RefusesValuesThatAreMoreThanAValue) {
  const std::string config = "server {\nserver_name a;\nroot /a;\n}\n";
  const std::string text = "server {\nserver_name a;\nroot {% $r %};\n}\n";
  ExpectRefusals("nginx", {{"a newline", config, text, {{"r", "/a", "/b;\nevil on"}}, "--raw r"},
                           {"a terminator", config, text, {{"r", "/a", "/b; evil on"}}, "--raw r"},
                           {"a brace", config, text, {{"r", "/a", "/b; } evil {"}}, "--raw r"},
                           {"a comment", config, text, {{"r", "/a", "/b #"}}, "--raw r"},
                           {"an open quote", config, text, {{"r", "/a", "\"/b"}}, "--raw r"}});
  ExpectRefusals("apache", {{"a tag",
                             "<Directory />\n</Directory>\n",
                             "<Directory />\n{% $r %}\n</Directory>\n",
                             {{"r", kNone, "</Directory>"}},
                             "--raw r"}});
}

TEST(Edit, TakesValuesThatOnlyLookDangerous) {
  ExpectEdits("nginx", {{"between quotes",
                         "server {\nserver_name a;\nreturn 200 \"x\";\n}\n",
                         "server {\nserver_name a;\nreturn 200 \"{% $t %}\";\n}\n",
                         {{"t", "x", "a; b { c } # d"}},
                         "server {\nserver_name a;\nreturn 200 \"a; b { c } # d\";\n}\n"}});
}

TEST(Edit, RefusalsAreSwitchedOffByName) {
  const Case c = {"",
                  "server {\nserver_name a;\nlisten 1.1.1.1:80;\nlisten 1.1.1.1:8080;\n}\n",
                  "server {\nserver_name a;\nlisten {% $ip %}:80;\n}\n",
                  {{"ip", "1.1.1.1", "2.2.2.2"}},
                  ""};
  Request request = RequestOf("nginx", c);
  request.forced = {"lost-lines"};
  EXPECT_EQ(Edit(request, c.config, "site.conf").text,
            "server {\nserver_name a;\nlisten 2.2.2.2:80;\n}\n");
}

TEST(Edit, RefusesNestingThatNobodyNeeds) {
  std::string config;
  for (int i = 0; i < 1001; ++i) config += "a {\n";
  const std::string message =
      RefusalOf(RequestOf("nginx", {"", "", "server {\n}\n", {}, ""}), config);
  EXPECT_NE(message.find("site.conf:1001: blocks are nested more than 1000 deep"),
            std::string::npos)
      << message;
}

TEST(Edit, MakesBlocksOnlyWhenAllowed) {
  const Case c = {"", "", "server {\nserver_name a;\n}\n", {}, ""};
  Request request = RequestOf("nginx", c);
  request.create = Create::kNever;
  EXPECT_NE(RefusalOf(request, "").find("Without --no-create it is made"), std::string::npos);
  request.create = Create::kOnly;
  EXPECT_EQ(Edit(request, "", "site.conf").text, "server {\n\tserver_name a;\n}\n");
  EXPECT_NE(RefusalOf(request, "server {\n\tserver_name a;\n}\n").find("is there already"),
            std::string::npos);
}

TEST(Edit, WarnsOfLinesThatHaveNoEffect) {
  const Case c = {"",
                  "server {\nserver_name a;\n}\n",
                  "gzip on;\nserver {\nserver_name a;\nroot {% $r %};\n}\n",
                  {},
                  ""};
  const Edited edited = Edit(RequestOf("nginx", c), c.config, "site.conf");
  ASSERT_EQ(edited.warnings.size(), 2U);
  EXPECT_EQ(edited.warnings[0].name, "missing-value");
  EXPECT_EQ(edited.warnings[1].name, "outside");
}

}  // namespace
}  // namespace cli
