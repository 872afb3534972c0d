// SPDX-License-Identifier: Apache-2.0

// What would do harm on real files does not happen, or is refused.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

std::string Server(const std::string& lines) {
  return "server {\n\tserver_name a;\n" + lines + "}\n";
}

std::string Untaken(const std::string& lines) {
  return "{% if $none %}\n" + lines + "{% endif %}\n";
}

std::string Directory(const std::string& lines) {
  return "<Directory /a>\n" + lines + "</Directory>\n";
}

// --- New blocks ---

TEST(NewBlocks, AreWellNested) {
  ExpectEdits(
      Dialect::kNginx,
      {{"a server with a location",
        "",
        "server {\nserver_name a;\nlocation / {\nroot /x;\n}\n}\n",
        {},
        "server {\n\tserver_name a;\n\tlocation / {\n\t\troot /x;\n\t}\n}\n"},
       {"a location with an if, in an old server",
        Server("") + "server {\n\tserver_name b;\n}\n",
        "server {\nserver_name a;\nlocation /x {\nroot /x;\nif ($y) {\nreturn 403;\n}\n}\n}\n",
        {},
        Server("\tlocation /x {\n\t\troot /x;\n\t\tif ($y) {\n\t\t\treturn 403;\n\t\t}\n\t}\n") +
            "server {\n\tserver_name b;\n}\n"},
       {"two sites in a row stay two",
        "",
        "server {\nserver_name a;\nroot /a;\n}\nserver {\nserver_name b;\nroot /b;\n}\n",
        {},
        Server("\troot /a;\n") + "server {\n\tserver_name b;\n\troot /b;\n}\n"},
       {"a block of listen lines only",
        "",
        "server {\nlisten 80;\n}\n",
        {},
        "server {\n\tlisten 80;\n}\n"}});
  ExpectEdits(
      Dialect::kApache,
      {{"a virtual host with a Location, beside another customer's",
        "<VirtualHost 1.1.1.1:80>\n\tServerName a\n</VirtualHost>\n",
        "<VirtualHost 2.2.2.2:80>\nServerName b\n<Location />\nRequire all denied\n</Location>\n"
        "</VirtualHost>\n",
        {},
        "<VirtualHost 1.1.1.1:80>\n\tServerName a\n</VirtualHost>\n"
        "<VirtualHost 2.2.2.2:80>\n\tServerName b\n\t<Location />\n\t\tRequire all denied\n"
        "\t</Location>\n</VirtualHost>\n"}});
}

// --- Which block ---

TEST(ABlockWithATrailingPlaceInItsOpeningLine, IsNotMadeTwice) {
  for (const std::string opening :
       {"<Directory ~ \"[% $p %]\">", "<Directory ~ \"[% $p %]{% $p %}\">", "<Directory [% $p %]>",
        "<Directory \"[% $p %]\">", "<Files ~ \"[% $p %]\">", "<Location \"[% $p %]\">"}) {
    SCOPED_TRACE(opening);
    const std::string name = opening.substr(1, opening.find(' ') - 1);
    const Request request =
        RequestOf(Dialect::kApache, Case{"",
                                         "",
                                         opening + "\nRequire all denied\n</" + name + ">\n",
                                         {{"p", kNone, "/srv"}},
                                         ""});
    const std::string edited = EditedText(request, "");
    EXPECT_EQ(edited.substr(0, name.size() + 2), "<" + name + " ");
    EXPECT_EQ(EditedText(request, edited), edited);
  }
}

TEST(ASite, IsNotMadeTwice) {
  const std::string names =
      "server {\n{% if $www %}\nserver_name {% $n %} www.{% $n %};\n{% else %}\n"
      "server_name {% $n %};\n{% endif %}\n}\n";
  const std::string tls =
      "server {\nserver_name a;\n{% if $ssl %}\nssl on;\n{% endif %}\nroot /a;\n}\n";
  ExpectEdits(Dialect::kNginx, {{"because of a line that is not taken",
                                 Server("\troot /a;\n"),
                                 tls,
                                 {},
                                 Server("\troot /a;\n")},
                                {"because of a line that is to be added",
                                 Server("\troot /a;\n"),
                                 tls,
                                 {{"ssl", kNone, "1"}},
                                 Server("\tssl on;\n\troot /a;\n")},
                                {"because of a name in each of two branches",
                                 Server(""),
                                 names,
                                 {{"n", kNone, "a"}},
                                 Server("")},
                                {"because of a name without an old value",
                                 Server("\troot /x;\n"),
                                 "server {\nserver_name {% $n %};\nroot {% $r %};\n}\n",
                                 {{"n", kNone, "a"}, {"r", "/x", "/y"}},
                                 Server("\troot /y;\n")},
                                {"because the new name is there already",
                                 Server(""),
                                 "server {\nserver_name {% $n %};\n}\n",
                                 {{"n", "b", "a"}},
                                 Server("")},
                                {"because of its preferred ciphers",
                                 Server("\tssl_prefer_server_ciphers on;\n"),
                                 Server("gzip on;\n"),
                                 {},
                                 Server("\tssl_prefer_server_ciphers on;\n\tgzip on;\n")}});
}

TEST(BlocksThatLookAlike, AreNotTakenForEachOther) {
  const std::string locations =
      "location / {\n\troot /a;\n}\nserver {\n\tserver_name b;\n}\nlocation / {\n\troot /c;\n}\n";
  ExpectEdits(Dialect::kNginx, {{"one of two by a line that it alone has",
                                 locations,
                                 "location / {\nroot {% $r %};\n}\n",
                                 {{"r", "/c", "/d"}},
                                 With(locations, "/c", "/d")}});
  const auto of_locations = [&](const std::string& name, const std::string& text,
                                const std::string& place) {
    return SaidCase{name,
                    locations,
                    text,
                    {},
                    "ambiguous",
                    place,
                    "site.conf:1:1 'location /', site.conf:7:1 'location /'"};
  };
  ExpectRefusals(Dialect::kNginx,
                 {of_locations("a new line", "location / {\ngzip on;\n}\n", "site.template:1:1:"),
                  of_locations("a removal", Untaken("location / {\n}\n"), "site.template:2:1:")});
  const std::string hosts =
      "<VirtualHost *:80>\n\tServerName a\n\tOptions Indexes\n</VirtualHost>\n"
      "<VirtualHost *:80>\n\tServerName b\n\tOptions None\n</VirtualHost>\n";
  ExpectEdits(Dialect::kApache, {{"a name that only one has",
                                  hosts,
                                  "<VirtualHost *:80>\nServerName {% $n %}\n</VirtualHost>\n",
                                  {{"n", "b", "c"}},
                                  With(hosts, "ServerName b", "ServerName c")}});
  ExpectRefusals(Dialect::kApache,
                 {{"an alias that both have",
                   "<VirtualHost *:80>\nServerAlias x\n</VirtualHost>\n<VirtualHost *:80>\n"
                   "ServerAlias x\n</VirtualHost>\n",
                   "<VirtualHost *:80>\nServerAlias {% $a %}\n</VirtualHost>\n",
                   {{"a", "x", "y"}},
                   "ambiguous",
                   "site.template:1:1:",
                   "site.conf:4:1"}});
}

TEST(ABlockThatIsGone, IsNotTakenForTheNextOneThatLooksAlike) {
  const std::string a = "location / {\n\troot /a;\n}\n";
  const std::string c = "location / {\n\troot /c;\n}\n";
  const std::string location = Untaken("location / {\nroot {% $r %};\n}\n");
  const std::string one = "server {\n\tlisten 81;\n\troot /1;\n}\n";
  const std::string three = "server {\n\tlisten 83;\n\troot /3;\n}\n";
  const std::string nameless = Untaken("server {\nroot /3;\n}\n");
  const Case first = {"", a + c, location, {{"r", "/c", "/c"}}, a};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, first), first.config), a);
  const Case second = {"", one + three, nameless, {}, one};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, second), second.config), one);
  ExpectWarnings(Dialect::kNginx, {{"a location",
                                    a,
                                    location,
                                    {{"r", "/c", "/c"}},
                                    "not-removed",
                                    "site.template:2:1:",
                                    "site.conf:1:1 'location /' stays: it does not have the lines "
                                    "of the block that is to be removed",
                                    nullptr,
                                    a},
                                   {"a nameless server",
                                    one,
                                    nameless,
                                    {},
                                    "not-removed",
                                    "site.template:2:1:",
                                    "site.conf:1:1 'server' (*:81) stays",
                                    nullptr,
                                    one}});
}

TEST(ABlockWhoseNameBeginsAnothers, GoesAlone) {
  const std::string other = "server {\n\tserver_name ab;\n\troot /ab;\n}\n";
  const std::string goes = Untaken("server {\nserver_name a;\n}\n");
  ExpectEdits(Dialect::kNginx, {{"and the other one is edited",
                                 Server("") + other,
                                 goes + "server {\nserver_name ab;\ngzip on;\n}\n",
                                 {},
                                 With(other, "/ab;\n", "/ab;\n\tgzip on;\n")},
                                {"and the other one is not", Server("") + other, goes, {}, other}});
}

TEST(ABlockThatIsAddedAndRemoved, LeavesTheTextAsItWas) {
  struct Coming {
    const char* name;
    std::string before;
    std::string behind;
    std::string block;  // as it is written into the file
  };
  const std::string two =
      "http {\n\tserver {\n\t\tserver_name a;\n\t}\n\n\tserver {\n\t\tserver_name b;\n\t}\n";
  const std::string site = "\tserver {\n\t\tserver_name c;\n\t}\n";
  const Coming cases[] = {
      {"before a line", two, "\tinclude x;\n}\n", "\n" + site},
      {"before a comment", two, "\t# the end\n}\n", "\n" + site},
      {"before a blank line", two, "\n\tinclude x;\n}\n", "\n" + site},
      {"before the end", two, "}\n", "\n" + site},
      {"where no blank line stands between the others", With(two, "\n\n", "\n"),
       "\tinclude x;\n}\n", site},
  };
  for (const Coming& c : cases) {
    const std::string text = c.before + c.behind;
    const std::string with = c.before + c.block + c.behind;
    const std::string block = "{% if $on %}\nserver {\nserver_name c;\n}\n{% endif %}\n";
    ExpectEdits(Dialect::kNginx, {{c.name, text, block, {{"on", kNone, "1"}}, with},
                                  {c.name, with, block, {}, text}});
  }
  // What is not the last one of its name leaves the blank line of the others.
  ExpectEdits(
      Dialect::kNginx,
      {{"the first of three",
        "server {\n\tserver_name a;\n}\n# of all:\ngzip on;\n\nserver {\n\tserver_name b;\n}\n"
        "\nserver {\n\tserver_name c;\n}\n",
        "{% if $none %}\nserver {\nserver_name a;\n}\n{% endif %}\n",
        {},
        "# of all:\ngzip on;\n\nserver {\n\tserver_name b;\n}\n"
        "\nserver {\n\tserver_name c;\n}\n"}});
}

TEST(ANameThatIsThereAlready, IsNotGivenToASecondSite) {
  const std::string both = Server("\tlisten 80;\n") + "server {\n\tserver_name b;\n}\n";
  ExpectRefusals(
      Dialect::kNginx,
      {{"by a rename",
        both,
        "server {\nserver_name {% $n %};\n}\n",
        {{"n", "a", "b"}},
        "collision",
        "site.conf:1:1",
        "'b' on *:80"},
       {"by a new alias",
        both,
        "server {\nserver_name a b;\n}\n",
        {},
        "collision",
        "site.conf:1:1",
        "'b' on *:80"},
       {"by a new address",
        Server("\tlisten 80;\n") + Server("\tlisten 81;\n\troot /81;\n"),
        "server {\nserver_name a;\nlisten {% $p %};\n}\n",
        {{"p", "81", "80"}},
        "collision",
        "site.conf:1:1",
        "'a' on *:80"},
       {"by a second default server",
        Server("\tlisten *:80 default_server;\n") + "server {\n\tserver_name b;\n\tlisten 80;\n}\n",
        "server {\nserver_name b;\nlisten 80 [% $o %];\n}\n",
        {{"o", kNone, "default_server"}},
        "collision",
        "site.conf:1:1",
        "'server' (b, *:80) both are the default server of *:80, and "
        "nginx takes one of them only"},
       {"by a new default server",
        Server("\tlisten 80 default;\n"),
        "server {\nserver_name b;\nlisten 80 default_server;\n}\n",
        {},
        "collision",
        "site.conf:1:1",
        "both are the default server of *:80"}});

  const Case forced = {"",
                       both,
                       "server {\nserver_name {% $n %};\n}\n",
                       {{"n", "a", "b"}},
                       "",
                       [](Request& request) { request.forced = {"collision"}; }};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, forced), both),
            With(both, "server_name a", "server_name b"));
  const std::string doubled = both + "server {\n\tserver_name b;\n\troot /2;\n}\n";
  const std::string another = "server {\n\tserver_name b;\n\tlisten 80;\n}\n";
  ExpectEdits(Dialect::kNginx,
              {{"the default server is another one",
                Server("\tlisten 80 default_server;\n") + another,
                "server {\nserver_name a;\nlisten 80 [% $none %];\n}\n"
                "server {\nserver_name b;\nlisten 80 [% $default %];\n}\n",
                {{"none", kNone, ""}, {"default", kNone, "default_server"}},
                Server("\tlisten 80;\n") + With(another, "80", "80 default_server")},
               {"the default servers of two addresses",
                Server("\tlisten 80 default_server;\n"),
                "server {\nserver_name b;\nlisten 81 default_server;\n}\n",
                {},
                Server("\tlisten 80 default_server;\n") +
                    "server {\n\tserver_name b;\n\tlisten 81 default_server;\n}\n"}});
  ExpectEdits(Dialect::kNginx, {{"one that there was before does not matter",
                                 doubled,
                                 "server {\nserver_name {% $n %};\n}\n",
                                 {{"n", "a", "c"}},
                                 With(doubled, "server_name a", "server_name c")}});
}

TEST(ServersInsideHttp, LeaveWhatFollowsInItsPlace) {
  const std::string text = "http {\nserver {\nserver_name {% $n %};\n}\n}\n";
  const std::string two =
      "http {\n\tserver {\n\t\tserver_name a;\n\t}\n\tserver {\n\t\tserver_name c;\n\t}\n"
      "\tgzip on;\n}\nstream {\n\tserver {\n\t\tlisten 1;\n\t}\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"no second brace", two, text, {{"n", "a", "b"}}, With(two, "name a", "name b")},
       {"a line of http behind a server",
        two,
        "http {\ngzip {% $g %};\nserver {\nserver_name c;\nroot /c;\n}\n}\n",
        {{"g", "on", "off"}},
        With(With(two, "gzip on", "gzip off"), "name c;\n", "name c;\n\t\troot /c;\n")},
       {"a new server",
        two,
        text,
        {{"n", kNone, "b"}},
        With(two, "name c;\n\t}\n", "name c;\n\t}\n\tserver {\n\t\tserver_name b;\n\t}\n")},
       {"a line of http that also tells servers apart",
        "http {\n\tserver {\n\t\tserver_name a;\n\t\troot /a;\n\t}\n"
        "\tssl_prefer_server_ciphers on;\n}\n",
        "http {\nserver {\nserver_name a;\nroot {% $r %};\n}\nssl_prefer_server_ciphers on;\n}\n",
        {{"r", "/a", "/b"}},
        "http {\n\tserver {\n\t\tserver_name a;\n\t\troot /b;\n\t}\n"
        "\tssl_prefer_server_ciphers on;\n}\n"}});
}

// --- Lines ---

TEST(LinesThatBeginAlike, AreToldApart) {
  ExpectEdits(Dialect::kNginx, {{"to go",
                                 Server("\troot /ab;\n"),
                                 Server(Untaken("root /a;\n")),
                                 {},
                                 Server("\troot /ab;\n")},
                                {"to be added",
                                 Server("\tinclude /var/www2;\n"),
                                 Server("include /var/www;\n"),
                                 {},
                                 Server("\tinclude /var/www2;\n\tinclude /var/www;\n")},
                                {"to be changed",
                                 Server("\tauth_basic_user_file /f;\n\tauth_basic x;\n"),
                                 Server("auth_basic [% $t %];\n"),
                                 {{"t", kNone, "y"}},
                                 Server("\tauth_basic_user_file /f;\n\tauth_basic y;\n")}});
}

TEST(LinesInOtherWords, AreNotWrittenTwice) {
  const std::string lines = "\tlisten       80;\n\troot   /srv; # disk\n\tindex \"i\";\n";
  ExpectEdits(Dialect::kNginx, {{"blanks, comments, quotes",
                                 Server(lines),
                                 Server("listen 80;\nroot /srv;\nindex i;\n"),
                                 {},
                                 Server(lines)}});
  ExpectRefusals(Dialect::kNginx, {{"a value that somebody changed",
                                    Server("\troot /hand;\n"),
                                    Server("root {% $r %};\n"),
                                    {{"r", "/a", "/b"}},
                                    "other-value",
                                    "site.template:3:1:",
                                    "site.conf:3:2 'root /hand;'"},
                                   {"a literal line that somebody changed",
                                    Server("\tgzip off;\n"),
                                    Server("gzip on;\n"),
                                    {},
                                    "other-value",
                                    "site.template:3:1:",
                                    "site.conf:3:2 'gzip off;'"}});
}

TEST(ARule, IsNotAddedWhereNobodyReadsIt) {
  ExpectEdits(Dialect::kNginx, {{"a deny, with allow all",
                                 Server("\tallow all;\n"),
                                 Server("deny 1.1.1.1;\n"),
                                 {},
                                 Server("\tdeny 1.1.1.1;\n\tallow all;\n")},
                                {"a deny, with others and allow all",
                                 Server("\tdeny 1.1.1.1;\n\tallow all;\n"),
                                 Server("deny 2.2.2.2;\n"),
                                 {},
                                 Server("\tdeny 1.1.1.1;\n\tdeny 2.2.2.2;\n\tallow all;\n")},
                                {"an allow, with deny all",
                                 Server("\troot /a;\n\tdeny all;\n"),
                                 Server("allow 1.1.1.1;\n"),
                                 {},
                                 Server("\troot /a;\n\tallow 1.1.1.1;\n\tdeny all;\n")},
                                {"where the template says so",
                                 Server("\tallow all;\n"),
                                 Server("allow all;\ndeny 1.1.1.1;\n"),
                                 {},
                                 Server("\tallow all;\n\tdeny 1.1.1.1;\n")},
                                {"a deny all goes behind the others",
                                 Server("\tallow 1.1.1.1;\n"),
                                 Server("deny all;\n"),
                                 {},
                                 Server("\tallow 1.1.1.1;\n\tdeny all;\n")}});
}

TEST(AnOpeningLine, ChangesOnce) {
  ExpectEdits(Dialect::kNginx,
              {{"indented in the template",
                Server("\tlocation /old {\n\t\troot /x;\n\t}\n"),
                "server {\n    server_name a;\n    location {% $p %} {\n        root /x;\n"
                "        index i;\n    }\n}\n",
                {{"p", "/old", "/new"}},
                Server("\tlocation /new {\n\t\troot /x;\n\t\tindex i;\n\t}\n")}});
}

TEST(AMissingValue, DoesNothingAndIsSaid) {
  ExpectWarnings(Dialect::kNginx, {{"the line does not go",
                                    Server("\troot /a;\n"),
                                    Server("root {% $r %};\n"),
                                    {{"r", "/a", kNone}},
                                    "missing-value",
                                    "site.template:3:1:",
                                    "'r'",
                                    nullptr,
                                    Server("\troot /a;\n")}});
  ExpectRefusals(Dialect::kNginx, {{"nor does a body go to the block around",
                                    Server(""),
                                    Server("location {% $p %} {\nroot /x;\n}\n"),
                                    {},
                                    "missing-value",
                                    "site.template:3:1:",
                                    "a value of this opening line is missing"},
                                   {"nor does another block go",
                                    "server {\n\tlisten 80 default_server;\n}\n",
                                    Untaken("server {\nserver_name {% $n %};\n}\n"),
                                    {},
                                    "missing-value",
                                    "site.template:3:1:",
                                    "Set it"}});
}

TEST(LinesWithoutADirective, RemoveNothing) {
  ExpectRefusals(Dialect::kNginx, {{"a terminator",
                                    Server("\troot /a;\n"),
                                    Server(Untaken(";\n")),
                                    {},
                                    "template",
                                    "site.template:4:1:",
                                    "there is no directive before this"}});
}

TEST(StatementsThatAreNone, AreRefused) {
  const auto refused = [](const std::string& name, const std::string& lines,
                          const std::string& place) {
    return SaidCase{name, Server(""), Server(lines), {{"x", kNone, "yes"}}, "template", place, ""};
  };
  ExpectRefusals(
      Dialect::kNginx,
      {refused("quotes in a condition", "{% if $x == \"yes\" %}\ngzip on;\n{% endif %}\n",
               "site.template:3:"),
       refused("else if", "{% if $x %}\ngzip on;\n{% else if $y %}\netag on;\n{% endif %}\n",
               "site.template:5:"),
       refused("a third branch beside the first",
               "{% if $x %}\ngzip on;\n{% elif $y %}\netag on;\n{% elif $x %}\nroot /x;\n"
               "{% endif %}\n",
               "site.template:7:")});
}

TEST(OpeningLines, InTwoBranchesAreRefused) {
  const Case c = {
      "",
      Server(""),
      Server("{% if $x %}\nlocation = /i {\n{% else %}\nlocation /i {\n{% endif %}\n}\n"),
      {},
      ""};
  const std::string said = EditedText(RequestOf(Dialect::kNginx, c), c.config);
  EXPECT_EQ(said.find("refused:\nsite.template:9:1: this line closes the block of "
                      "site.template:4:1, which stands in another branch."),
            0U)
      << said;
}

TEST(OpeningLines, MayHaveAComment) {
  ExpectEdits(Dialect::kNginx, {{"of nginx",
                                 Server("\tlocation / {\n\t}\n"),
                                 Server("location / { # all\ngzip on;\n}\n"),
                                 {},
                                 Server("\tlocation / {\n\t\tgzip on;\n\t}\n")}});
}

TEST(LinesOutsideEveryBlock, AreEdited) {
  ExpectEdits(Dialect::kNginx, {{"one changes",
                                 "user a;\n" + Server(""),
                                 "user {% $u %};\n" + Server(""),
                                 {{"u", "a", "b"}},
                                 "user b;\n" + Server("")},
                                {"a line of a block that is not there makes the block",
                                 "user a;\n",
                                 Server("gzip on;\n"),
                                 {},
                                 "user a;\n" + Server("\tgzip on;\n")}});
}

TEST(ANumberSignInAValue, IsNoComment) {
  ExpectEdits(Dialect::kNginx, {{"in quotes",
                                 Server("\tadd_header X \"#fff\";\n"),
                                 Server("add_header X [% $c %];\n"),
                                 {{"c", kNone, "\"#000\""}},
                                 Server("\tadd_header X \"#000\";\n")},
                                {"in a word",
                                 Server("\trewrite ^/x#y /z;\n"),
                                 Server("rewrite {% $r %} /z;\n"),
                                 {{"r", "^/x#y", "^/x"}},
                                 Server("\trewrite ^/x /z;\n")}});
}

TEST(LineEnds, StayAsTheyAre) {
  ExpectEdits(Dialect::kNginx,
              {{"blank lines and CRLF",
                "\r\nserver {\r\n\r\n\tserver_name a;\r\n}\r\n\r\n",
                Server("gzip on;\n"),
                {},
                "\r\nserver {\r\n\r\n\tserver_name a;\r\n\tgzip on;\r\n}\r\n\r\n"}});
}

// --- listen ---

TEST(Listen, WithAnyAddressIsAddedAndGoes) {
  for (const std::string address :
       {"*:81", "localhost:80", "127.0.0.1", "[::]:80", "unix:/run/a.sock", "80"}) {
    const std::string line = "listen " + address + ";\n";
    ExpectEdits(
        Dialect::kNginx,
        {{address + " is added",
          Server("\troot /a;\n"),
          Server("root /a;\n" + line),
          {},
          Server("\troot /a;\n\t" + line)},
         {address + " is there", Server("\t" + line), Server(line), {}, Server("\t" + line)},
         {address + " goes",
          Server("\tlisten 1;\n\t" + line),
          Server(Untaken(line)),
          {},
          Server("\tlisten 1;\n")},
         {address + " comes for another",
          Server("\tlisten 1;\n\tlisten 2;\n"),
          Server("listen {% $a %};\n"),
          {{"a", "1", address}},
          Server("\t" + line + "\tlisten 2;\n")}});
  }
}

TEST(Listen, OfOthersStaysWhenOneChanges) {
  const std::string lines = "\tlisten 80;\n\tlisten 1.1.1.1:80;\n\tlisten [::1]:80;\n";
  ExpectEdits(Dialect::kNginx, {{"those that the template names",
                                 Server(lines),
                                 Server("listen 80;\nlisten {% $ip %}:80;\n"),
                                 {{"ip", "1.1.1.1", "2.2.2.2"}},
                                 Server(With(lines, "1.1.1.1", "2.2.2.2"))},
                                {"those that it does not",
                                 Server(lines),
                                 Server("listen {% $ip %}:80;\n"),
                                 {{"ip", "1.1.1.1", "2.2.2.2"}},
                                 Server(With(lines, "1.1.1.1", "2.2.2.2"))},
                                {"in other words",
                                 Server("\tlisten  80; # all\n\tlisten 81 ; # more\n"),
                                 Server("listen 80;\nlisten 81;\n"),
                                 {},
                                 Server("\tlisten  80; # all\n\tlisten 81 ; # more\n")}});
}

TEST(BlocksWithNothingElse, DoNotGoWithAChange) {
  ExpectEdits(Dialect::kNginx, {{"but listen",
                                 "server {\n\tlisten 1.1.1.1:80;\n}\n",
                                 "server {\nlisten {% $ip %}:80;\n}\n",
                                 {{"ip", "1.1.1.1", "2.2.2.2"}},
                                 "server {\n\tlisten 2.2.2.2:80;\n}\n"},
                                {"and not when all of it goes",
                                 Server("\tlisten 80;\n"),
                                 Server(Untaken("listen 80;\n")),
                                 {},
                                 Server("")}});
  ExpectEdits(Dialect::kApache, {{"but aliases",
                                  "<VirtualHost *:80>\n\tServerAlias a\n</VirtualHost>\n",
                                  "<VirtualHost *:80>\nServerAlias {% $a %}\n</VirtualHost>\n",
                                  {{"a", "a", "b"}},
                                  "<VirtualHost *:80>\n\tServerAlias b\n</VirtualHost>\n"}});
}

// --- Apache ---

TEST(Options, ThatAChangeDoesNotWantAreTakenAway) {
  ExpectEdits(Dialect::kApache, {{"a word",
                                  Directory("\tOptions +Includes -Indexes\n"),
                                  Directory("Options {% $o %}\n"),
                                  {{"o", "+Includes", "+ExecCGI"}},
                                  Directory("\tOptions -Indexes +ExecCGI\n")}});
  ExpectRefusals(Dialect::kApache, {{"a sign beside none",
                                     Directory("\tOptions Indexes FollowSymLinks\n"),
                                     Directory("Options +ExecCGI\n"),
                                     {},
                                     "mixed-options",
                                     "site.template:2:1:",
                                     "httpd does not take"}});
}

TEST(Options, OfOthersStayAsTheyAre) {
  const std::string joined = Directory("\tOptions Indexes\n\tOptions MultiViews\n");
  ExpectEdits(Dialect::kApache,
              {{"others are edited",
                joined + "<Directory /b>\n\tOptions Includes\n</Directory>\n",
                "<Directory /b>\nOptions {% $o %}\n</Directory>\n",
                {{"o", "Includes", "Includes ExecCGI"}},
                joined + "<Directory /b>\n\tOptions Includes ExecCGI\n</Directory>\n",
                [](Request& request) { request.raw = {"o"}; }},
               {"others are new",
                joined,
                "<Directory /b>\nOptions None\n</Directory>\n",
                {},
                joined + "<Directory /b>\n\tOptions None\n</Directory>\n"},
               {"those of a block that goes, go with it",
                joined + "<Directory /b>\n\tOptions Includes\n</Directory>\n",
                Untaken("<Directory /a>\n</Directory>\n"),
                {},
                "<Directory /b>\n\tOptions Includes\n</Directory>\n"}});
}

TEST(AVirtualHostThatMoves, KeepsItsAliasesAndOptionsOnce) {
  const std::string host =
      "<VirtualHost 1.1.1.1:80>\n  ServerName a\n  ServerAlias b c\n  Options Indexes\n"
      "  <Location />\n    Options None\n  </Location>\n</VirtualHost>\n";
  ExpectEdits(Dialect::kApache,
              {{"to another address",
                host,
                "<VirtualHost {% $ip %}:80>\nServerName a\nServerAlias b c\nOptions Indexes\n"
                "<Location />\nOptions None\n</Location>\n</VirtualHost>\n",
                {{"ip", "1.1.1.1", "2.2.2.2"}},
                With(host, "1.1.1.1", "2.2.2.2")}});
}

TEST(LongAliases, GoWhole) {
  std::string names;
  for (int i = 0; i < 600; ++i) names += "   www" + std::to_string(i);
  const std::string alias = "\tServerAlias" + names + "\n";
  const auto host = [](const std::string& lines) {
    return "<VirtualHost *:80>\n\tServerName a\n" + lines + "</VirtualHost>\n";
  };
  ExpectEdits(
      Dialect::kApache,
      {{"by all their names",
        host(alias),
        host(Untaken("ServerAlias" + names + "\n")),
        {},
        host("")},
       {"by a trailing place", host(alias), host(Untaken("ServerAlias [% $n %]\n")), {}, host("")},
       {"but for one",
        host(alias + "\tServerAlias x\n"),
        host(Untaken("ServerAlias" + names + "\n")),
        {},
        host("\tServerAlias x\n")}});
}

// --- Odd blocks ---

TEST(EmptyBlocks, Stay) {
  ExpectEdits(Dialect::kNginx, {{"of somebody else",
                                 "events {\n}\n" + Server(""),
                                 Server("gzip on;\n"),
                                 {},
                                 "events {\n}\n" + Server("\tgzip on;\n")},
                                {"of which all lines go",
                                 Server("\tlocation /x {\n\t\treturn 404;\n\t}\n"),
                                 Server("location /x {\n" + Untaken("return 404;\n") + "}\n"),
                                 {},
                                 Server("\tlocation /x {\n\t}\n")}});
}

TEST(OddBlocks, AreBlocks) {
  const auto edited = [](const std::string& name, const std::string& lines) {
    return Case{name,
                Server(lines + "\troot /a;\n"),
                Server("root {% $r %};\n"),
                {{"r", "/a", "/b"}},
                Server(lines + "\troot /b;\n")};
  };
  ExpectEdits(Dialect::kNginx,
              {edited("a brace behind a directive", "\tlocation /x {\n\t\treturn 404; }\n"),
               edited("} else {", "\tif ($x) {\n\t} else {\n\t}\n"),
               edited("a brace on a line of its own", "\tlocation /x\n\t{\n\t\troot /a;\n\t}\n"),
               edited("one on one line", "\tlocation /x { root /a; }\n"),
               edited("text behind a brace", "\tlocation /x { root /a;\n\t}\n"),
               edited("one of the same lines", "\tlocation /x {\n\t\troot /a;\n\t}\n")});
}

TEST(ABlockThatNeverCloses, IsNotEdited) {
  ExpectRefusals(Dialect::kNginx, {{"at the end",
                                    "server {\nserver_name a;\n",
                                    "server {\nserver_name b;\n}\n",
                                    {},
                                    "syntax",
                                    "site.conf:1:1:",
                                    "The server would not take this file: mend it first"},
                                   {"behind the site",
                                    Server("") + "stream {\nx;\n",
                                    Server("gzip on;\n"),
                                    {},
                                    "syntax",
                                    "site.conf:4:1:",
                                    "does not close"},
                                   {"for a brace in an expression",
                                    Server("\trewrite ^/([0-9]{4})$ /;\n"),
                                    Server("gzip on;\n"),
                                    {},
                                    "syntax",
                                    "site.conf:3:18:",
                                    "this brace opens a block: an expression with braces needs "
                                    "quotes; at the end of the file, the block of site.conf:1:1 is "
                                    "open. The server would not take this file"},
                                   {"by its indentation",
                                    Server("\tlocation / {\n\t\tif ($a) {\n\t}\n"),
                                    Server("gzip on;\n"),
                                    {},
                                    "syntax",
                                    "site.conf:4:3:",
                                    "going by the indentation, the block that begins here does not "
                                    "close; at the end of the file, the block of site.conf:1:1"},
                                   {"a brace too many",
                                    Server("") + "}\n",
                                    Server("gzip on;\n"),
                                    {},
                                    "syntax",
                                    "site.conf:4:1:",
                                    "nothing is open that this would close"}});
  ExpectRefusals(Dialect::kApache, {{"another closing line",
                                     Directory("<Files x>\n"),
                                     Directory("Require all denied\n"),
                                     {},
                                     "syntax",
                                     "site.conf:3:1:",
                                     "open since site.conf:2:1"}});
}

// --- One request after the other ---

TEST(ARequest, KnowsNothingOfTheOneBefore) {
  const std::string text = "server {\nserver_name a;\nlisten {% $ip %}:80;\nroot [% $r %];\n}\n";
  Request request =
      RequestOf(Dialect::kNginx,
                Case{"", "", text, {{"ip", "1.1.1.1", "2.2.2.2"}, {"r", kNone, "/first"}}, ""});
  const std::string config = Server("\tlisten 1.1.1.1:80;\n\troot /a;\n");
  const std::string edited = Server("\tlisten 2.2.2.2:80;\n\troot /first;\n");
  EXPECT_EQ(EditedText(request, config), edited);
  EXPECT_EQ(EditedText(request, config), edited);
  EXPECT_EQ(EditedText(request, edited), edited);
  request.values["r"].new_value = std::nullopt;
  EXPECT_EQ(EditedText(request, config), Server("\tlisten 2.2.2.2:80;\n\troot /a;\n"));
}

// --- Values ---

TEST(Values, WriteNoDirectivesThatNobodyReviewed) {
  for (const std::string value : {"/b;\nevil on", "/b; evil on", "/b; } evil {", "/b {", "/b #",
                                  "\"/b", "/b\r\nevil on;", "/b;", "}", "{"}) {
    for (const char* const place : {"root {% $r %};\n", "root [% $r %];\n"}) {
      SCOPED_TRACE(value + " in " + place);
      const Case c = {"", Server("\troot /a;\n"), Server(place), {{"r", "/a", value}}, ""};
      const Result result = RecordedEdit(RequestOf(Dialect::kNginx, c), c.config, "site.conf");
      EXPECT_EQ(result.text, c.config);
      ASSERT_FALSE(result.refusals.empty());
      EXPECT_EQ(result.refusals[0].name, "value");
    }
  }
}

}  // namespace
}  // namespace tov_edit
