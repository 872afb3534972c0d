// SPDX-License-Identifier: Apache-2.0

// What surprises on real files: the program does the right thing, says so, or refuses. More of it
// stands in edit_test.cpp.

#include <string>
#include <vector>

#include "cli/edit_case.h"

namespace cli {
namespace {

// --- New blocks ---

TEST(NewBlocks, AreWellNested) {
  ExpectEdits("nginx",
              {{"a location with an if, in an old server",
                "server {\n\tserver_name a;\n}\nserver {\n\tserver_name b;\n}\n",
                "server {\nserver_name a;\nlocation /x {\nroot /x;\nif ($y) {\n"
                "return 403;\n}\n}\n}\n",
                {},
                "server {\n\tserver_name a;\n\tlocation /x {\n\t\troot /x;\n\t\tif ($y) {\n"
                "\t\t\treturn 403;\n\t\t}\n\t}\n}\nserver {\n\tserver_name b;\n}\n"},
               {"two sites in a row stay two",
                "",
                "server {\nserver_name a;\nroot /a;\n}\nserver {\nserver_name b;\n"
                "root /b;\n}\n",
                {},
                "server {\n\tserver_name a;\n\troot /a;\n}\nserver {\n\tserver_name b;\n"
                "\troot /b;\n}\n"},
               {"a block of listen lines only",
                "",
                "server {\nlisten 80;\n}\n",
                {},
                "server {\n\tlisten 80;\n}\n"}});
  ExpectEdits("apache",
              {{"a virtual host with a location beside another customer's",
                "<VirtualHost 1.1.1.1:80>\n\tServerName a\n</VirtualHost>\n",
                "<VirtualHost 2.2.2.2:80>\nServerName b\n<Location />\nRequire all denied\n"
                "</Location>\n</VirtualHost>\n",
                {},
                "<VirtualHost 1.1.1.1:80>\n\tServerName a\n</VirtualHost>\n"
                "<VirtualHost 2.2.2.2:80>\n\tServerName b\n\t<Location />\n"
                "\t\tRequire all denied\n\t</Location>\n</VirtualHost>\n"}});
}

// --- Identity ---

TEST(BlocksWithOneIdentity, AreNotEditedOneForTheOther) {
  const std::string hosts =
      "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n<VirtualHost *:80>\n\tServerName b\n"
      "</VirtualHost>\n";
  ExpectRefusals("apache",
                 {{"a line that would go into the last of them",
                   hosts,
                   "<VirtualHost *:80>\nServerName a\nDocumentRoot /a\n</VirtualHost>\n",
                   {},
                   "site.conf:1 and site.conf:4"},
                  {"an alias of the first, of which each has one",
                   "<VirtualHost *:80>\nServerAlias x\n</VirtualHost>\n<VirtualHost *:80>\n"
                   "ServerAlias x\n</VirtualHost>\n",
                   "<VirtualHost *:80>\nServerAlias {% $a %}\n</VirtualHost>\n",
                   {{"a", "x", "y"}},
                   "site.conf:1 and site.conf:4"}});
  ExpectRefusals("nginx", {{"a line that both have",
                            "location / {\nroot /a;\n}\nlocation / {\nroot /a;\n}\n",
                            "location / {\nroot {% $r %};\n}\n",
                            {{"r", "/a", "/b"}},
                            "site.conf:1 and site.conf:4"},
                           {"a new line that tells them apart",
                            "server {\nlisten 80;\n}\nserver {\nlisten 81;\n}\n",
                            "server {\nlisten 80;\nssl on;\n}\n",
                            {},
                            "site.conf:1 and site.conf:4"}});
  ExpectEdits("apache", {{"a line that only one of them has",
                          hosts,
                          "<VirtualHost *:80>\nServerName {% $n %}\n</VirtualHost>\n",
                          {{"n", "b", "c"}},
                          "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n<VirtualHost *:80>\n"
                          "\tServerName c\n</VirtualHost>\n"},
                         {"Options that were only joined to be read",
                          "<VirtualHost *:80>\nServerName a\nOptions Indexes\n</VirtualHost>\n"
                          "<VirtualHost *:80>\nServerName b\nOptions None\n</VirtualHost>\n",
                          "<VirtualHost *:80>\nServerName {% $n %}\n</VirtualHost>\n",
                          {{"n", "b", "c"}},
                          "<VirtualHost *:80>\nServerName a\nOptions Indexes\n</VirtualHost>\n"
                          "<VirtualHost *:80>\nServerName c\nOptions None\n</VirtualHost>\n"}});
}

// The library forgets both when the first one goes.
TEST(BlocksWithSimilarIdentities, AreNotDoubledWhenOneGoes) {
  const std::string config =
      "server {\n\tserver_name a;\n}\nserver {\n\tserver_name ab;\n\troot /ab;\n}\n";
  const std::string a_goes = "{% if $none %}\nserver {\nserver_name a;\n}\n{% endif %}\n";
  ExpectRefusals("nginx", {{"and the other one is edited",
                            config,
                            a_goes + "server {\nserver_name ab;\ngzip on;\n}\n",
                            {},
                            "after the edit 2 blocks are 'server { server_name ab'"}});
  ExpectEdits("nginx", {{"and the other one is not",
                         config,
                         a_goes,
                         {},
                         "server {\n\tserver_name ab;\n\troot /ab;\n}\n"}});
}

TEST(ServersInsideHttp, KeepWhatFollowsInItsPlace) {
  const std::string text = "http {\nserver {\nserver_name {% $n %};\n}\n}\n";
  ExpectEdits("nginx",
              {{"no second brace",
                "http {\n\tserver {\n\t\tserver_name a;\n\t}\n}\nstream {\n\tserver {\n"
                "\t\tlisten 1;\n\t}\n}\n",
                text,
                {{"n", "a", "b"}},
                "http {\n\tserver {\n\t\tserver_name b;\n\t}\n}\nstream {\n\tserver {\n"
                "\t\tlisten 1;\n\t}\n}\n"},
               {"a line of http behind a named server",
                "http {\n\tserver {\n\t\tserver_name a;\n\t}\n\tserver {\n\t\tserver_name c;\n"
                "\t}\n\tgzip on;\n}\n",
                "http {\ngzip {% $g %};\nserver {\nserver_name c;\nroot /c;\n}\n}\n",
                {{"g", "on", "off"}},
                "http {\n\tserver {\n\t\tserver_name a;\n\t}\n\tserver {\n\t\tserver_name c;\n"
                "\t\troot /c;\n\t}\n\tgzip off;\n}\n"},
               {"a new server beside one that is there",
                "http {\n\tserver {\n\t\tserver_name a;\n\t}\n}\nstream {\n}\n",
                text,
                {{"n", kNone, "b"}},
                "http {\n\tserver {\n\t\tserver_name a;\n\t}\n\tserver {\n\t\tserver_name b;\n"
                "\t}\n}\nstream {\n}\n"},
               {"an identifying line of http behind a named server",
                "http {\n\tserver {\n\t\tserver_name a;\n\t\troot /a;\n\t}\n"
                "\tssl_prefer_server_ciphers on;\n}\n",
                "http {\nserver {\nserver_name a;\nroot {% $r %};\n}\n"
                "ssl_prefer_server_ciphers on;\n}\n",
                {{"r", "/a", "/b"}},
                "http {\n\tserver {\n\t\tserver_name a;\n\t\troot /b;\n\t}\n"
                "\tssl_prefer_server_ciphers on;\n}\n"}});
}

// --- Lines ---

TEST(LinesThatBeginAlike, AreToldApart) {
  ExpectEdits("nginx",
              {{"a certificate and its key",
                "server {\nserver_name a;\nssl_certificate_key /k;\nssl_certificate /c;\n}\n",
                "server {\nserver_name a;\nssl_certificate [% $c %];\n}\n",
                {{"c", kNone, "/d"}},
                "server {\nserver_name a;\nssl_certificate_key /k;\nssl_certificate /d;\n}\n"},
               {"the certificate is new",
                "server {\nserver_name a;\nssl_certificate_key /k;\n}\n",
                "server {\nserver_name a;\nssl_certificate [% $c %];\n}\n",
                {{"c", kNone, "/d"}},
                "server {\nserver_name a;\nssl_certificate_key /k;\nssl_certificate /d;\n}\n"},
               {"a password and its file",
                "server {\nserver_name a;\nauth_basic_user_file /f;\nauth_basic x;\n}\n",
                "server {\nserver_name a;\nauth_basic [% $t %];\n}\n",
                {{"t", kNone, "y"}},
                "server {\nserver_name a;\nauth_basic_user_file /f;\nauth_basic y;\n}\n"}});
  ExpectRefusals("nginx",
                 {{"an address that begins like another one, to go",
                   "server {\nserver_name a;\ndeny 1.2.3.10;\n}\n",
                   "server {\nserver_name a;\n{% if $x %}\ndeny 1.2.3.1;\n{% endif %}\n}\n",
                   {},
                   "site.conf:3: 'deny 1.2.3.10;' would go"},
                  {"..., to be added",
                   "server {\nserver_name a;\ndeny 1.2.3.10;\n}\n",
                   "server {\nserver_name a;\ndeny 1.2.3.1;\n}\n",
                   {},
                   "'deny 1.2.3.1;' is not added"},
                  {"..., to be changed",
                   "server {\nserver_name a;\ndeny 1.2.3.10;\n}\n",
                   "server {\nserver_name a;\ndeny {% $ip %};\n}\n",
                   {{"ip", "1.2.3.1", "1.2.3.2"}},
                   "'deny 1.2.3.2;' is not added, because 'deny 1.2.3.10;'"}});
}

TEST(LinesThatSomebodyChanged, AreNotDoubledInSilence) {
  ExpectWarnings("nginx", {{"another value",
                            "server {\nserver_name a;\nroot /srv/a;\n}\n",
                            "server {\nserver_name a;\nroot {% $r %};\n}\n",
                            {{"r", "/a", "/b"}},
                            "site.template:3: 'root /b;' is added beside 'root /srv/a;' "
                            "(site.conf:3)"}});
  ExpectRefusals("nginx", {{"a word more",
                            "server {\nserver_name a;\naccess_log /a combined;\n}\n",
                            "server {\nserver_name a;\naccess_log {% $l %};\n}\n",
                            {{"l", "/a", "/b"}},
                            "'access_log /b;' is not added, because 'access_log /a combined;'"}});
  ExpectEdits("nginx", {{"a trailing place takes them over",
                         "server {\nserver_name a;\nroot   /srv/a;\n}\n",
                         "server {\nserver_name a;\nroot [% $r %];\n}\n",
                         {{"r", "/a", "/b"}},
                         "server {\nserver_name a;\nroot   /b;\n}\n"}});
  const Edited several =
      Edit(RequestOf(
               "nginx",
               {"", "", "server {\nserver_name a;\nadd_header X 1;\nadd_header Z 3;\n}\n", {}, ""}),
           "server {\nserver_name a;\nadd_header X 1;\nadd_header Y 2;\n}\n", "site.conf");
  EXPECT_EQ(several.warnings.size(), 0U) << "of a directive that may stand there several times";
}

TEST(RulesInOrder, AreNotAddedWhereNobodyReadsThem) {
  ExpectWarnings("nginx", {{"a deny behind allow all",
                            "server {\nserver_name a;\ndeny 1.1.1.1;\nallow all;\n}\n",
                            "server {\nserver_name a;\ndeny 2.2.2.2;\n}\n",
                            {},
                            "site.template:3: 'deny 2.2.2.2;' comes behind 'allow all;' "
                            "(site.conf:4)"}});
}

TEST(StatementsThatAreNone, AreRefused) {
  const std::string config = "server {\nserver_name a;\n}\n";
  const auto text = [](const std::string& lines) {
    return "server {\nserver_name a;\n" + lines + "}\n";
  };
  ExpectRefusals("nginx",
                 {{"a word between quotes",
                   config,
                   text("{% if $x == \"yes\" %}\ngzip on;\n{% endif %}\n"),
                   {{"x", kNone, "yes"}},
                   "site.template:3"},
                  {"else if",
                   config,
                   text("{% if $x %}\ngzip on;\n{% else if $y %}\ngzip off;\n{% endif %}\n"),
                   {{"x", kNone, "yes"}},
                   "site.template:5"},
                  {"a third branch beside the first",
                   config,
                   text("{% if $x %}\ngzip on;\n{% elif $y %}\ngzip off;\n{% elif $x %}\nroot /x;\n"
                        "{% endif %}\n"),
                   {{"x", kNone, "1"}},
                   "site.template:7"},
                  {"a comment", config, text("{# gzip #}\n"), {}, "site.template:3"}});
}

TEST(StatementsThatAreSome, AreNotRefused) {
  const std::string config = "server {\nserver_name a;\n}\n";
  ExpectEdits("nginx", {{"a comparison with nothing",
                         config,
                         "server {\nserver_name a;\n{% if $x != \"\" %}\ngzip on;\n{% endif %}\n"
                         "{#} a comment\n}\n",
                         {{"x", kNone, "1"}},
                         "server {\nserver_name a;\ngzip on;\n}\n"},
                        {"branches of which one is taken",
                         config,
                         "server {\nserver_name a;\n{% if $x == 1 %}\ngzip on;\n"
                         "{% elif $x == 2 %}\nroot /x;\n{% elif $x == 3 %}\nindex i;\n"
                         "{% else %}\netag on;\n{% endif %}\n}\n",
                         {{"x", kNone, "3"}},
                         "server {\nserver_name a;\nindex i;\n}\n"}});
}

TEST(MissingValues, AreSaid) {
  ExpectWarnings("nginx", {{"no new value does not remove the line",
                            "server {\nserver_name a;\nroot /a;\n}\n",
                            "server {\nserver_name a;\nroot {% $r %};\n}\n",
                            {{"r", "/a", kNone}},
                            "site.template:3: a value of this line is missing"}});
}

TEST(LinesOutsideEveryBlock, AreSaidToBeLeftAlone) {
  ExpectWarnings("nginx", {{"a directive of main",
                            "user a;\nserver {\nserver_name a;\n}\n",
                            "user {% $u %};\nserver {\nserver_name a;\n}\n",
                            {{"u", "a", "b"}},
                            "site.template:1: 'user b;' stands outside every block"}});
}

TEST(NumberSigns, AreNotTakenForComments) {
  ExpectEdits("nginx", {{"between quotes",
                         "server {\nserver_name a;\nadd_header X \"#fff\";\n}\n",
                         "server {\nserver_name a;\nadd_header X [% $c %];\n}\n",
                         {{"c", kNone, "\"#000\""}},
                         "server {\nserver_name a;\nadd_header X \"#000\";\n}\n"},
                        {"in a word",
                         "server {\nserver_name a;\nreturn 301 /x#y;  # moved\n}\n",
                         "server {\nserver_name a;\nreturn 301 {% $t %};\n}\n",
                         {{"t", "/x#y", "/x#z"}},
                         "server {\nserver_name a;\nreturn 301 /x#z;  # moved\n}\n"}});
}

TEST(OpeningLines, WithACommentAreRefusedInATemplateOfApacheToo) {
  ExpectRefusals("apache", {{"a comment",
                             "<Directory /srv>\n</Directory>\n",
                             "<Directory /srv> # files\nOptions None\n</Directory>\n",
                             {},
                             "site.template:1"}});
}

TEST(LinesThatContradictEachOther, AreRefused) {
  ExpectRefusals("nginx", {{"one changes what the other wants",
                            "server {\nserver_name a;\n}\n",
                            "server {\nserver_name a;\nroot /a;\nroot {% $r %};\n}\n",
                            {{"r", "/a", "/b"}},
                            "site.template:3: 'root /a;' is not in the result"}});
}

TEST(LinesInTwoSpellings, AreRefused) {
  ExpectRefusals("nginx", {{"in two blocks",
                            "",
                            "server {\nroot  /a;\nlocation / {\nroot /a;\n}\n}\n",
                            {},
                            "site.template:4: 'root /a;' stands in the template as 'root  /a;'"}});
}

TEST(KeysThatFindAnotherLineOfTheTemplate, AreRefused) {
  ExpectRefusals("nginx", {{"a trailing place beside a literal line",
                            "",
                            "server {\nserver_name a;\nroot /x;\nroot [% $r %];\n}\n",
                            {{"r", kNone, "/b"}},
                            "site.template:4: 'root', by which this line is found, finds "
                            "'root /x;' (site.template:3)"}});
  ExpectEdits("nginx", {{"in branches of which one is taken",
                         "server {\nserver_name a;\naccess_log /a;\n}\n",
                         "server {\nserver_name a;\n{% if $l %}\naccess_log [% $l %];\n"
                         "{% else %}\naccess_log off;\n{% endif %}\n}\n",
                         {{"l", kNone, "/b"}},
                         "server {\nserver_name a;\naccess_log /b;\n}\n"}});
}

TEST(TrailingPlaces, WithoutAValueInABranchNotTakenRemoveTheirLine) {
  ExpectEdits(
      "nginx",
      {{"and no other one that begins alike",
        "server {\nserver_name a;\nssl_certificate_key /k;\nssl_certificate /c;\n}\n",
        "server {\nserver_name a;\n{% if $c %}\nssl_certificate [% $c %];\n{% endif %}\n}\n",
        {},
        "server {\nserver_name a;\nssl_certificate_key /k;\n}\n"},
       {"nor one that begins alike alone",
        "server {\nserver_name a;\nssl_certificate_key /k;\n}\n",
        "server {\nserver_name a;\n{% if $c %}\nssl_certificate [% $c %];\n{% endif %}\n}\n",
        {},
        "server {\nserver_name a;\nssl_certificate_key /k;\n}\n"}});
}

// --- listen ---

TEST(Listen, WithANameForAnAddressIsNotDroppedInSilence) {
  ExpectRefusals("nginx", {{"to be added",
                            "server {\nserver_name a;\n}\n",
                            "server {\nserver_name a;\nlisten localhost:80;\n}\n",
                            {},
                            "'listen localhost:80;' is not in the result"},
                           {"without a port",
                            "server {\nserver_name a;\n}\n",
                            "server {\nserver_name a;\nlisten 127.0.0.1;\n}\n",
                            {},
                            "'listen 127.0.0.1;' is not in the result"},
                           {"to go",
                            "server {\nserver_name a;\nlisten *:80;\n}\n",
                            "server {\nserver_name a;\n{% if $x %}\nlisten *:80;\n{% endif %}\n}\n",
                            {},
                            "'listen *:80;' is still in the result"},
                           {"to be changed to",
                            "server {\nserver_name a;\nlisten 80;\n}\n",
                            "server {\nserver_name a;\nlisten {% $a %};\n}\n",
                            {{"a", "80", "*:80"}},
                            "'listen *:80;' is not in the result"}});
}

TEST(Listen, ThatTheTemplateNamesIsKeptByAChange) {
  ExpectEdits("nginx", {{"written before the one that changes",
                         "server {\nserver_name a;\nlisten 80;\nlisten 1.1.1.1:80;\n}\n",
                         "server {\nserver_name a;\nlisten 80;\nlisten {% $ip %}:80;\n}\n",
                         {{"ip", "1.1.1.1", "2.2.2.2"}},
                         "server {\nserver_name a;\nlisten 80;\nlisten 2.2.2.2:80;\n}\n"},
                        {"in other words",
                         "server {\nserver_name a;\nlisten  80; # all\nlisten 81 ; # more\n}\n",
                         "server {\nserver_name a;\nlisten 80;\nlisten 81;\n}\n",
                         {},
                         "server {\nserver_name a;\nlisten  80; # all\nlisten 81 ; # more\n}\n"}});
}

TEST(BlocksWithNothingElse, DoNotGoWithAChange) {
  ExpectEdits("nginx", {{"but listen",
                         "server {\n\tlisten 1.1.1.1:80;\n}\n",
                         "server {\nlisten {% $ip %}:80;\n}\n",
                         {{"ip", "1.1.1.1", "2.2.2.2"}},
                         "server {\n\tlisten 2.2.2.2:80;\n}\n"}});
  ExpectEdits("apache", {{"but aliases",
                          "<VirtualHost *:80>\n\tServerAlias a\n</VirtualHost>\n",
                          "<VirtualHost *:80>\nServerAlias {% $a %}\n</VirtualHost>\n",
                          {{"a", "a", "b"}},
                          "<VirtualHost *:80>\n\tServerAlias b\n</VirtualHost>\n"}});
}

// --- Apache ---

TEST(Options, ThatAChangeLeavesAreSaid) {
  ExpectWarnings("apache",
                 {{"a word that is not to be there any more",
                   "<Directory /a>\nOptions +Includes\nAllowOverride None\n</Directory>\n",
                   "<Directory /a>\nOptions {% $o %}\nAllowOverride None\n</Directory>\n",
                   {{"o", "+Includes", "+Indexes"}},
                   "site.conf:2: 'Options +Includes +Indexes' keeps '+Includes'"}});
}

TEST(Options, OfOthersStayApartWhenABlockIsRenamed) {
  ExpectEdits("apache", {{"in another block",
                          "<Directory /a>\nOptions -Indexes\nOptions +Includes\n</Directory>\n"
                          "<Directory /b>\nAllowOverride None\n</Directory>\n",
                          "<Directory {% $d %}>\nAllowOverride None\n</Directory>\n",
                          {{"d", "/b", "/c"}},
                          "<Directory /a>\nOptions -Indexes\nOptions +Includes\n</Directory>\n"
                          "<Directory /c>\nAllowOverride None\n</Directory>\n"}});
}

TEST(Options, ComeApartAgainInTheBlocksWhereTheyAreNotEdited) {
  const std::string joined =
      "<Directory /a>\n\tOptions Indexes\n\tOptions MultiViews\n</Directory>\n";
  ExpectEdits("apache", {{"others are edited",
                          joined + "<Directory /b>\n\tOptions Includes\n</Directory>\n",
                          "<Directory /b>\nOptions {% $o %}\n</Directory>\n",
                          {{"o", "Includes", "Includes ExecCGI"}},
                          joined + "<Directory /b>\n\tOptions Includes ExecCGI\n</Directory>\n"},
                         {"others are new",
                          joined,
                          "<Directory /b>\nOptions None\n</Directory>\n",
                          {},
                          joined + "<Directory /b>\n\tOptions None\n</Directory>\n"},
                         {"those of a block that goes, go with it",
                          joined + "<Directory /b>\n\tOptions Includes\n</Directory>\n",
                          "{% if $none %}\n<Directory /a>\n</Directory>\n{% endif %}\n",
                          {},
                          "<Directory /b>\n\tOptions Includes\n</Directory>\n"},
                         {"those that are edited stay together",
                          joined,
                          "<Directory /a>\nOptions ExecCGI\n</Directory>\n",
                          {},
                          "<Directory /a>\n\tOptions Indexes MultiViews ExecCGI\n</Directory>\n"}});
}

TEST(Options, WithACommentAreRefused) {
  ExpectRefusals("apache", {{"a comment becomes words",
                             "<Directory /a>\nOptions Indexes # x\n</Directory>\n",
                             "<Directory /a>\nOptions FollowSymLinks\n</Directory>\n",
                             {},
                             "site.conf:2"}});
}

TEST(LongAliases, AreNotRemovedByHalves) {
  std::string names;
  for (int i = 0; i < 600; ++i)
    names += (i == 0 ? "" : " ") + std::string("www") + std::to_string(i);
  const Case made = {"",
                     "",
                     "<VirtualHost *:80>\nServerName a\nServerAlias {% $n %}\n</VirtualHost>\n",
                     {{"n", kNone, names}},
                     ""};
  const std::string config = Edit(RequestOf("apache", made), "", "site.conf").text;
  const Case removed = {"",
                        "",
                        "<VirtualHost *:80>\nServerName a\n{% if $x %}\nServerAlias {% $n %}\n"
                        "{% endif %}\n</VirtualHost>\n",
                        {{"n", names, names}},
                        ""};
  const std::string message = RefusalOf(RequestOf("apache", removed), config);
  EXPECT_NE(message.find("is still in the result"), std::string::npos) << message;
  const Case by_name = {"",
                        "",
                        "<VirtualHost *:80>\nServerName a\n{% if $x %}\nServerAlias [% $n %]\n"
                        "{% endif %}\n</VirtualHost>\n",
                        {{"n", names, names}},
                        ""};
  EXPECT_EQ(Edit(RequestOf("apache", by_name), config, "site.conf").text,
            "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n");
}

// --- Odd blocks ---

TEST(BlocksThatNeverClose, GetNoNewOnes) {
  ExpectRefusals("nginx", {{"at the end",
                            "server {\nserver_name a;\n",
                            "server {\nserver_name b;\n}\n",
                            {},
                            "site.conf:1: the blocks do not fit together from here on"}});
}

TEST(OddBlocks, AreLeftAloneOrRefused) {
  const std::string text = "server {\nserver_name a;\nroot {% $r %};\n}\n";
  const std::vector<NamedValue> root = {{"r", "/a", "/b"}};
  ExpectEdits("nginx",
              {{"an empty one and one on one line",
                "events {\n}\nserver {\nserver_name a;\nlocation /x { return 404; }\n"
                "root /a;\n}\n",
                text, root,
                "events {\n}\nserver {\nserver_name a;\nlocation /x { return 404; }\n"
                "root /b;\n}\n"},
               {"} else {", "server {\nserver_name a;\nif ($x) {\n} else {\n}\nroot /a;\n}\n", text,
                root, "server {\nserver_name a;\nif ($x) {\n} else {\n}\nroot /b;\n}\n"},
               {"one that never closes", "server {\nserver_name a;\nroot /a;\n}\nstream {\nx;\n",
                text, root, "server {\nserver_name a;\nroot /b;\n}\nstream {\nx;\n"}});
  ExpectRefusals("nginx",
                 {{"a brace on a line of its own", "server\n{\nserver_name a;\nroot /a;\n}\n", text,
                   root, "site.conf:2"}});
}

}  // namespace
}  // namespace cli
