// SPDX-License-Identifier: Apache-2.0

// Which block of a configuration a template's block is.

#include "edit/address/address.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

void AskForAll(Request& request) {
  request.all = true;
}

void AskForExistence(Request& request) {
  request.must_exist = true;
}

// What certbot leaves behind: a redirect and the site, of one name, and another site on either
// side.
const std::string kTwoOfOneName = R"(server {
    listen 80;
    server_name b.example;
    root /srv/b;
}

server {
    listen 80;
    server_name a.example www.a.example;
    return 301 https://$host$request_uri;
}

server {
    listen 443 ssl http2;
    server_name a.example www.a.example;
    root /srv/a;
    ssl_certificate /etc/a.pem;
    ssl_certificate_key /etc/a.key;
}

server {
    listen 80;
    listen 443 ssl;
    server_name c.example;
    root /srv/c;
}
)";

const std::string kSecure = "443 ssl http2;\n    server_name a.example www.a.example";

// --- Sites of one name ---

TEST(SitesOfOneName, AreToldApartByTheirAddress) {
  ExpectEdits(
      Dialect::kNginx,
      {{"a root of the one on 443",
        kTwoOfOneName,
        "server {\nlisten 443 ssl;\nserver_name a.example;\nroot {% $root %};\n}\n",
        {{"root", "/srv/a", "/srv/new"}},
        With(kTwoOfOneName, "root /srv/a;", "root /srv/new;")},
       {"a line that is new, into the one on 443",
        kTwoOfOneName,
        "server {\nlisten 443 ssl;\nserver_name a.example;\ngzip on;\n}\n",
        {},
        With(kTwoOfOneName, "a.key;\n", "a.key;\n    gzip on;\n")},
       {"... and into the one on 80",
        kTwoOfOneName,
        "server {\nlisten 80;\nserver_name a.example;\naccess_log off;\n}\n",
        {},
        With(kTwoOfOneName, "$host$request_uri;\n", "$host$request_uri;\n    access_log off;\n")},
       {"the site on 443 is renamed",
        kTwoOfOneName,
        "server {\nlisten 443 ssl;\nserver_name {% $name %};\n}\n",
        {{"name", "a.example", "n.example"}},
        With(kTwoOfOneName, kSecure, "443 ssl http2;\n    server_name n.example www.a.example")},
       {"the redirect goes",
        kTwoOfOneName,
        "{% if $redirect %}\nserver {\nlisten 80;\nserver_name a.example;\n}\n{% endif %}\n",
        {},
        Without(kTwoOfOneName,
                "server {\n    listen 80;\n    server_name a.example www.a.example;\n"
                "    return 301 https://$host$request_uri;\n}\n\n")},
       {"the address changes",
        kTwoOfOneName,
        "server {\nlisten {% $port %} ssl;\nserver_name a.example;\n}\n",
        {{"port", "443", "8443"}},
        With(kTwoOfOneName, "listen 443 ssl http2;", "listen 8443 ssl http2;")}});
}

TEST(SitesOfOneName, AreToldApartByLinesWithOldValues) {
  ExpectEdits(Dialect::kNginx,
              {{"a certificate",
                kTwoOfOneName,
                "server {\nserver_name a.example;\nssl_certificate {% $c %};\n"
                "ssl_certificate_key {% $k %};\n}\n",
                {{"c", "/etc/a.pem", "/etc/n.pem"}, {"k", "/etc/a.key", "/etc/n.key"}},
                With(With(kTwoOfOneName, "a.pem", "n.pem"), "a.key", "n.key")}});
}

TEST(SitesOfOneName, AreRefusedWhenNothingTellsThemApart) {
  const std::string both =
      "'server {' fits several blocks: site.conf:7:1 'server' (a.example, www.a.example, *:80), "
      "site.conf:13:1 'server' (a.example, www.a.example, *:443). 'listen 80;' in the template "
      "would mean the first one";
  const auto message = [](const std::string& text, const NamedValues& values) {
    const SaidCase c = {"", kTwoOfOneName, text, values, "", "", ""};
    return AllOf(RecordedEdit(RequestOf(Dialect::kNginx, c), c.config, "site.conf").refusals);
  };
  EXPECT_EQ(message("server {\nserver_name a.example;\ngzip on;\n}\n", {}),
            "site.template:1:1: " + both + " [ambiguous]\n");
}

TEST(SitesOfOneName, AreNamedUpToFiveAndCounted) {
  std::string config;
  for (int i = 0; i < 7; ++i)
    config += "server {\nserver_name a;\nlisten 8" + std::to_string(i) + ";\n}\n";
  const SaidCase c = {"", config, "server {\nserver_name a;\ngzip on;\n}\n", {}, "", "", ""};
  EXPECT_EQ(AllOf(RecordedEdit(RequestOf(Dialect::kNginx, c), c.config, "site.conf").refusals),
            "site.template:1:1: 'server {' fits several blocks: site.conf:1:1 'server' (a, *:80), "
            "site.conf:5:1 'server' (a, *:81), site.conf:9:1 'server' (a, *:82), "
            "site.conf:13:1 'server' (a, *:83), site.conf:17:1 'server' (a, *:84) and 2 more. "
            "'listen 80;' in the template would mean the first one [ambiguous]\n");
}

// What all have, and an empty name, tells nobody which one is meant.
TEST(SitesOfOneName, AreToldApartByWhatOnlyTheFirstOneHas) {
  struct Advice {
    const char* name;
    std::string first;
    std::string second;
    std::string hint;
  };
  const Advice cases[] = {
      {"a second name", "server_name a b;", "server_name a;",
       "'server_name b;' in the template would mean the first one"},
      {"a name that the other one has, too", "server_name a b; listen 81;", "server_name b a;",
       "'listen 81;' in the template would mean the first one"},
      {"no empty name", "server_name a \"\"; listen 81;", "server_name a;",
       "'listen 81;' in the template would mean the first one"},
      {"an address over UDP", "server_name a; listen 443 quic;", "server_name a; listen 443;",
       "'listen 443 quic;' in the template would mean the first one"},
      {"a directive", "server_name a; root /a; index x;", "server_name a; index y; root /a;",
       "'index x;' in the template would mean the first one"},
      {"not whether it speaks TLS", "server_name a; ssl on; index x;", "server_name a;",
       "'index x;' in the template would mean the first one"},
      {"a listen that says no address", "server_name a; index x; listen;", "server_name a;",
       "'index x;' in the template would mean the first one"},
      {"no directive where the template's own line is there", "server_name a; gzip on; index x;",
       "server_name a; gzip on;", "Say more of the one that is meant: an address, a name"},
      {"nothing", "server_name a;", "server_name a;",
       "Say more of the one that is meant: an address, a name"},
  };
  for (const Advice& each : cases) {
    SCOPED_TRACE(each.name);
    const SaidCase c = {"",
                        "server { " + each.first + " }\nserver { " + each.second + " }\n",
                        "server {\ngzip on;\n}\n",
                        {},
                        "",
                        "",
                        ""};
    const Result result = RecordedEdit(RequestOf(Dialect::kNginx, c), c.config, "site.conf");
    ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
    EXPECT_EQ(result.refusals[0].hint, each.hint);
  }
}

// Whoever writes such a template means one site, and has not said which.
TEST(Sites, AreRefusedWhenTheTemplateLeavesTheirNameOpen) {
  ExpectRefusals(
      Dialect::kNginx,
      {{"old and new",
        "server { server_name a; root /a; }\nserver { server_name b; root /b; }\n",
        "server {\nserver_name [% $name %];\n}\n",
        {{"name", "a", "c"}},
        "ambiguous",
        "site.template:1:1:",
        "'server_name [% $name %];' stands for any names: write the first one as it is, or as a "
        "full place, {% ... %}, with its old value"}});
  ExpectRefusals(Dialect::kApache, {{"a ServerName",
                                     "<VirtualHost *>\nServerName a\n</VirtualHost>\n"
                                     "<VirtualHost *>\nServerName b\n</VirtualHost>\n",
                                     "<VirtualHost *>\nServerName [% $name %]\n</VirtualHost>\n",
                                     {{"name", "a", "c"}},
                                     "ambiguous",
                                     "site.template:1:1:",
                                     "'ServerName [% $name %]' stands for any names"}});
}

TEST(SitesOfOneName, AreRefusedForEveryKindOfEdit) {
  const auto refused = [](const std::string& name, const std::string& text,
                          const NamedValues& values) {
    return SaidCase{name,
                    kTwoOfOneName,
                    text,
                    values,
                    "ambiguous",
                    "site.template:1:1:",
                    "'listen 80;' in the template would mean the first one"};
  };
  std::vector<SaidCase> cases = {
      refused("a line is added", "server {\nserver_name a.example;\ngzip on;\n}\n", {}),
      refused("a rename", "server {\nserver_name {% $n %};\n}\n",
              {{"n", "a.example", "n.example"}}),
      refused("a block inside is added",
              "server {\nserver_name a.example;\nlocation /x {\nreturn 404;\n}\n}\n", {}),
      refused("a line that neither has goes",
              "server {\nserver_name a.example;\n{% if $x %}\ngzip on;\n{% endif %}\n}\n", {})};
  SaidCase removal =
      refused("a removal", "{% if $x %}\nserver {\nserver_name a.example;\n}\n{% endif %}\n", {});
  removal.place = "site.template:2:1:";
  cases.push_back(removal);
  ExpectRefusals(Dialect::kNginx, cases);
}

TEST(SitesOfOneName, AreAllEditedWhenAsked) {
  const std::string renamed =
      "server {\n    listen 80;\n    server_name n.example;\n}\n"
      "server {\n    listen 81;\n    server_name n.example;\n}\n";
  const std::string named =
      "server {\n    listen 80;\n    server_name a.example;\n}\n"
      "server {\n    listen 81;\n    server_name a.example;\n}\n";
  const std::string other = "server {\n    listen 80;\n    server_name b.example;\n}\n";
  ExpectEdits(Dialect::kNginx,
              {{"a rename",
                named + other,
                "server {\nserver_name {% $n %};\n}\n",
                {{"n", "a.example", "n.example"}},
                renamed + other,
                AskForAll},
               {"a new line",
                named + other,
                "server {\nserver_name a.example;\ngzip on;\n}\n",
                {},
                "server {\n    listen 80;\n    server_name a.example;\n    gzip on;\n}\n"
                "server {\n    listen 81;\n    server_name a.example;\n    gzip on;\n}\n" +
                    other,
                AskForAll},
               {"a line that one of them has",
                With(named, "listen 81;", "listen 81;\n    gzip on;") + other,
                "server {\nserver_name a.example;\ngzip on;\n}\n",
                {},
                "server {\n    listen 80;\n    server_name a.example;\n    gzip on;\n}\n"
                "server {\n    listen 81;\n    gzip on;\n    server_name a.example;\n}\n" +
                    other,
                AskForAll},
               {"a new block inside",
                named + other,
                "server {\nserver_name a.example;\nlocation /x {\nreturn 404;\n}\n}\n",
                {},
                "server {\n    listen 80;\n    server_name a.example;\n    location /x {\n"
                "        return 404;\n    }\n}\n"
                "server {\n    listen 81;\n    server_name a.example;\n    location /x {\n"
                "        return 404;\n    }\n}\n" +
                    other,
                AskForAll},
               {"a removal",
                named + other,
                "{% if $x %}\nserver {\nserver_name a.example;\n}\n{% endif %}\n",
                {},
                other,
                AskForAll}});
}

void AskForAllThatIsThere(Request& request) {
  request.all = true;
  request.create = Create::kNever;
}

TEST(AllBlocks, AreThoseThatHaveSomethingOfWhatChanges) {
  const auto php = [](const std::string& port, const std::string& version) {
    return "server {\n\tlisten " + port +
           ";\n\tlocation ~ \\.php$ {\n\t\tfastcgi_pass unix:/run/php" + version +
           ".sock;\n\t}\n}\n";
  };
  const std::string php_template =
      "server {\nlocation ~ \\.php$ {\nfastcgi_pass unix:/run/php{% $v %}.sock;\n}\n}\n";
  const NamedValues version = {{"v", "7.4", "8.3"}};
  const std::string redirect =
      "server {\n\tlisten 80;\n\tserver_name a.example;\n\treturn 301 https://a.example;\n}\n";
  const auto site = [](const std::string& lines) {
    return "server {\n\tlisten 443 ssl;\n\tserver_name a.example;\n" + lines + "}\n";
  };
  const auto place = [&](const std::string& socket) {
    return site("\tlocation /p {\n\t\tfastcgi_pass unix:" + socket + ";\n\t}\n");
  };
  const std::string place_template =
      "server {\nserver_name a.example;\nlocation /p {\nfastcgi_pass {% $s %};\n}\n}\n";
  const NamedValues socket = {{"s", "unix:/a", "unix:/b"}};
  const NamedValues root = {{"r", "/a", "/b"}};
  const std::string root_template = "server {\nroot {% $r %};\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"not one with another value", php("1", "7.4") + php("2", "8.2") + php("3", "7.4"),
        php_template, version, php("1", "8.3") + php("2", "8.2") + php("3", "8.3"), AskForAll},
       {"one with the new value is", php("1", "8.3") + php("2", "7.4"), php_template, version,
        php("1", "8.3") + php("2", "8.3"), AskForAll},
       {"not one without the line", redirect + site("\troot /a;\n"), root_template, root,
        redirect + site("\troot /b;\n"), AskForAll},
       {"nothing else is done in such a one", redirect + site("\troot /a;\n"),
        "server {\nroot {% $r %};\ngzip on;\nlocation /x {\nreturn 404;\n}\n}\n", root,
        redirect + site("\troot /b;\n\tgzip on;\n\tlocation /x {\n\t\treturn 404;\n\t}\n"),
        AskForAll},
       {"not one without the block inside", redirect + place("/a"), place_template, socket,
        redirect + place("/b"), AskForAll},
       {"... and it is not missed, either", redirect + place("/a"), place_template, socket,
        redirect + place("/b"), AskForAllThatIsThere},
       {"one is that has one of several lines",
        redirect + site("\troot /a;\n") + site("\tindex x;\n"),
        "server {\nroot {% $r %};\nindex {% $i %};\n}\n",
        {{"r", "/a", "/b"}, {"i", "x", "y"}},
        redirect + site("\troot /b;\n\tindex y;\n") + site("\troot /b;\n\tindex y;\n"),
        AskForAll},
       {"one is of which the name changes",
        redirect + place("/a"),
        "server {\nserver_name {% $n %};\nlocation /p {\nfastcgi_pass {% $s %};\n}\n}\n",
        {{"n", "a.example", "b.example"}, {"s", "unix:/a", "unix:/b"}},
        With(redirect, "server_name a.example", "server_name b.example") +
            With(place("/b"), "server_name a.example", "server_name b.example"),
        AskForAllThatIsThere},
       {"a name among others",
        redirect + With(site(""), "a.example;", "a.example w.example;"),
        "server {\nserver_name a.example {% $w %};\n}\n",
        {{"w", "w.example", "x.example"}},
        redirect + With(site(""), "a.example;", "a.example x.example;"),
        AskForAll},
       {"by the opening line of a block inside",
        redirect + site("\tlocation /old {\n\t}\n"),
        "server {\nlocation {% $l %} {\n}\n}\n",
        {{"l", "/old", "/new"}},
        redirect + site("\tlocation /new {\n\t}\n"),
        AskForAll},
       {"all, where none has any of it",
        redirect + site(""),
        "server {\ngzip {% $g %};\n}\n",
        {{"g", "off", "on"}},
        With(redirect, "a.example;\n}", "a.example;\n\tgzip on;\n}") + site("\tgzip on;\n"),
        AskForAll},
       {"where nothing changes, those that are as the old values say",
        redirect + site("\tgzip on;\n"),
        "server {\ngzip {% $g %};\netag on;\n}\n",
        {{"g", "on", "on"}},
        redirect + site("\tgzip on;\n\tetag on;\n"),
        AskForAll},
       {"all, where no old value is known",
        redirect + site("\tgzip on;\n"),
        "server {\ngzip {% $g %};\n}\n",
        {{"g", kNone, "on"}},
        With(redirect, "a.example;\n}", "a.example;\n\tgzip on;\n}") + site("\tgzip on;\n"),
        AskForAll},
       {"where nothing changes, those that have all of it inside, too",
        place("/c") + place("/a"),
        "server {\netag on;\nlocation /p {\nfastcgi_pass {% $s %};\n}\n}\n",
        {{"s", "unix:/a", "unix:/a"}},
        place("/c") + With(place("/a"), "a.example;\n", "a.example;\n\tetag on;\n"),
        AskForAll},
       {"... and not one that has only a line of its own",
        With(place("/c"), "a.example;\n", "a.example;\n\tgzip on;\n") +
            With(place("/a"), "a.example;\n", "a.example;\n\tgzip on;\n"),
        "server {\ngzip {% $g %};\netag on;\nlocation /p {\nfastcgi_pass {% $s %};\n}\n}\n",
        {{"g", "on", "on"}, {"s", "unix:/a", "unix:/a"}},
        With(place("/c"), "a.example;\n", "a.example;\n\tgzip on;\n") +
            With(place("/a"), "a.example;\n", "a.example;\n\tgzip on;\n\tetag on;\n"),
        AskForAll},
       {"what a block inside has that does not change does not count where something else does",
        place("/a") + site("\troot /a;\n\tlocation /p {\n\t\tfastcgi_pass unix:/a;\n\t}\n"),
        "server {\nroot {% $r %};\nlocation /p {\nfastcgi_pass {% $s %};\n}\n}\n",
        {{"r", "/a", "/b"}, {"s", "unix:/a", "unix:/a"}},
        place("/a") + site("\troot /b;\n\tlocation /p {\n\t\tfastcgi_pass unix:/a;\n\t}\n"),
        AskForAll},
       {"... and counts where nothing does",
        site("") + place("/a"),
        "server {\nlocation /p {\nfastcgi_pass {% $s %};\netag on;\n}\n}\n",
        {{"s", "unix:/a", "unix:/a"}},
        site("") + With(place("/a"), "unix:/a;\n", "unix:/a;\n\t\tetag on;\n"),
        AskForAll},
       {"... and one that has one of two lines where none has both",
        site("\tgzip on;\n") + site("\tsendfile on;\n") + site(""),
        "server {\ngzip {% $g %};\ntcp_nopush {% $t %};\netag on;\n}\n",
        {{"g", "on", "on"}, {"t", "on", "on"}},
        site("\tgzip on;\n\ttcp_nopush on;\n\tetag on;\n") + site("\tsendfile on;\n") + site(""),
        AskForAll},
       {"what a block that goes has does not count",
        redirect + site("\tgzip on;\n\tlocation /x {\n\t\troot /x;\n\t}\n"),
        "server {\ngzip {% $g %};\n{% if $no %}\nlocation /x {\nroot {% $r %};\n}\n{% endif "
        "%}\n}\n",
        {{"g", "on", "off"}, {"r", "/x", "/y"}},
        redirect + site("\tgzip off;\n"),
        AskForAll}});
  const auto host = [](const std::string& lines) {
    return "<VirtualHost *:80>\n\tServerName a\n" + lines + "</VirtualHost>\n";
  };
  ExpectEdits(Dialect::kApache,
              {{"a word of Options",
                host("\tOptions Indexes FollowSymLinks\n") + host("\tOptions ExecCGI\n"),
                "<VirtualHost *:80>\nOptions {% $o %}\n</VirtualHost>\n",
                {{"o", "Indexes", "MultiViews"}},
                host("\tOptions FollowSymLinks MultiViews\n") + host("\tOptions ExecCGI\n"),
                AskForAll},
               {"not the same word of another directive",
                host("\tOptions Indexes\n") + host("\tAllowOverride Indexes\n"),
                "<VirtualHost *:80>\nOptions {% $o %}\n</VirtualHost>\n",
                {{"o", "Indexes", "MultiViews"}},
                host("\tOptions MultiViews\n") + host("\tAllowOverride Indexes\n"),
                AskForAll},
               {"a line in a condition",
                host("") + host("\t<IfModule x>\n\t\tSSLEngine on\n\t</IfModule>\n"),
                "<VirtualHost *:80>\nSSLEngine {% $s %}\n</VirtualHost>\n",
                {{"s", "on", "off"}},
                host("") + host("\t<IfModule x>\n\t\tSSLEngine off\n\t</IfModule>\n"),
                AskForAll}});
}

TEST(TwoBlocksOfATemplate, AreTwoOfTheConfiguration) {
  const std::string both = R"(server {
listen 80;
server_name {% $name %};
return 301 https://$host$request_uri;
}
server {
listen 443 ssl;
server_name {% $name %};
root {% $root %};
}
)";
  ExpectEdits(Dialect::kNginx,
              {{"both are renamed, and the root goes where it belongs",
                kTwoOfOneName,
                both,
                {{"name", "a.example", "n.example"}, {"root", "/srv/a", "/srv/n"}},
                With(With(With(kTwoOfOneName, "80;\n    server_name a.example www.a.example",
                               "80;\n    server_name n.example www.a.example"),
                          kSecure, "443 ssl http2;\n    server_name n.example www.a.example"),
                     "root /srv/a;", "root /srv/n;")},
               {"one is there, the other is made",
                "server {\n    listen 443 ssl;\n    server_name a.example;\n    root /srv/a;\n}\n",
                "server {\nlisten 80;\nserver_name a.example;\nreturn 301 /x;\n}\n"
                "server {\nlisten 443 ssl;\nserver_name a.example;\nroot /srv/a;\n}\n",
                {},
                "server {\n    listen 443 ssl;\n    server_name a.example;\n    root /srv/a;\n}\n"
                "server {\n    listen 80;\n    server_name a.example;\n    return 301 /x;\n}\n"},
               {"both are made",
                "",
                "server {\nlisten 80;\nserver_name a.example;\n}\n"
                "server {\nlisten 443 ssl;\nserver_name a.example;\n}\n",
                {},
                "server {\n\tlisten 80;\n\tserver_name a.example;\n}\n"
                "server {\n\tlisten 443 ssl;\n\tserver_name a.example;\n}\n"},
               {"one goes, the other stays",
                kTwoOfOneName,
                "{% if $redirect %}\nserver {\nlisten 80;\nserver_name a.example;\n}\n{% endif %}\n"
                "server {\nlisten 443 ssl;\nserver_name a.example;\ngzip on;\n}\n",
                {},
                With(Without(kTwoOfOneName,
                             "server {\n    listen 80;\n    server_name a.example www.a.example;\n"
                             "    return 301 https://$host$request_uri;\n}\n\n"),
                     "a.key;\n", "a.key;\n    gzip on;\n")}});
  ExpectRefusals(Dialect::kNginx,
                 {{"one block that both mean",
                   "server {\n    server_name a.example www.a.example;\n}\n",
                   "server {\nserver_name a.example;\n}\nserver {\nserver_name www.a.example;\n}\n",
                   {},
                   "ambiguous",
                   "site.template:4:1:",
                   "this block and the one at site.template:1:1 are both site.conf:1:1 'server' "
                   "(a.example, www.a.example)"}});
}

// --- The opening line ---

TEST(TheOpeningLine, FitsWithItsOldOrItsNewWords) {
  const std::string text = "server {\nserver_name a;\nlocation {% $p %} {\ngzip on;\n}\n}\n";
  const auto site = [](const std::string& location) {
    return "server {\n  server_name a;\n  location " + location + " {\n    gzip on;\n  }\n}\n";
  };
  ExpectEdits(Dialect::kNginx,
              {{"the old ones", site("/old"), text, {{"p", "/old", "/new"}}, site("/new")},
               {"the new ones", site("/new"), text, {{"p", "/old", "/new"}}, site("/new")},
               {"no old ones are known", site("/new"), text, {{"p", kNone, "/new"}}, site("/new")},
               {"none of them: a new one",
                site("/old"),
                text,
                {{"p", kNone, "/new"}},
                "server {\n  server_name a;\n  location /old {\n    gzip on;\n  }\n"
                "  location /new {\n    gzip on;\n  }\n}\n"}});
  ExpectRefusals(Dialect::kNginx,
                 {{"none of them, though there was an old one",
                   site("/odl"),
                   text,
                   {{"p", "/old", "/new"}},
                   "unmatched-section",
                   "site.template:3:1:",
                   "there are site.conf:3:3 'location /odl'. Correct the old value"}});
}

TEST(TheOpeningLine, IsReadByWords) {
  const auto edited = [](const std::string& name, const std::string& head,
                         const std::string& wanted) {
    return Case{name,
                "server {\n  server_name a;\n  " + head + "    gzip off;\n  }\n}\n",
                "server {\nserver_name a;\nlocation " + wanted + " {\netag on;\n}\n}\n",
                {},
                "server {\n  server_name a;\n  " + head + "    gzip off;\n    etag on;\n  }\n}\n"};
  };
  ExpectEdits(
      Dialect::kNginx,
      {edited("blanks", "location    /x  {\n", "/x"), edited("quotes", "location \"/x\" {\n", "/x"),
       edited("quotes in the template", "location /x {\n", "'/x'"),
       edited("the brace on the next line", "location /x\n  {\n", "/x"),
       edited("a comment behind the brace", "location /x { # files\n", "/x"),
       edited("a comment before the brace", "location /x # files\n  {\n", "/x"),
       edited("a sign with a blank", "location = /x {\n", "=/x"),
       edited("a sign without one", "location =/x {\n", "= /x"),
       edited("a pattern", "location ~*\\.php$ {\n", "~* \\.php$")});
}

TEST(TheOpeningLine, OfAnIfIsReadWithoutItsParentheses) {
  const std::string spaced =
      "server {\n\tserver_name a;\n\tif ( $request_method = POST ) {\n\t\treturn 405;\n\t}\n}\n";
  const std::string tight = With(spaced, "( $request_method = POST )", "($request_method = POST)");
  const auto returning = [](const std::string& condition) {
    return "server {\nserver_name a;\nif " + condition + " {\nreturn [% $c %];\n}\n}\n";
  };
  const std::string going =
      "server {\nserver_name a;\n{% if $none %}\nif ($request_method = POST) {\n}\n{% endif "
      "%}\n}\n";
  ExpectEdits(Dialect::kNginx,
              {{"with blanks in the configuration",
                spaced,
                returning("($request_method = POST)"),
                {{"c", kNone, "403"}},
                With(spaced, "405", "403")},
               {"with blanks in the template",
                tight,
                returning("( $request_method = POST )"),
                {{"c", kNone, "403"}},
                With(tight, "405", "403")},
               {"one that goes", spaced, going, {}, "server {\n\tserver_name a;\n}\n"}});
}

TEST(TheOpeningLine, OfALocationWithAnotherSignIsAnother) {
  ExpectEdits(Dialect::kNginx,
              {{"an exact one beside a prefix",
                "server {\n  server_name a;\n  location /x {\n    gzip on;\n  }\n}\n",
                "server {\nserver_name a;\nlocation = /x {\nreturn 404;\n}\n}\n",
                {},
                "server {\n  server_name a;\n  location /x {\n    gzip on;\n  }\n"
                "  location = /x {\n    return 404;\n  }\n}\n"}});
}

TEST(AVirtualHost, FitsByOneOfItsAddresses) {
  const auto host = [](const std::string& addresses, const std::string& more) {
    return "<VirtualHost " + addresses + ">\n  ServerName a\n" + more + "</VirtualHost>\n";
  };
  const std::string text = "<VirtualHost *:80>\nServerName a\nProtocols h2\n</VirtualHost>\n";
  const auto edited = [&](const std::string& name, const std::string& addresses) {
    return Case{name, host(addresses, ""), text, {}, host(addresses, "  Protocols h2\n")};
  };
  ExpectEdits(Dialect::kApache,
              {edited("the only one", "*:80"), edited("the first of two", "*:80 *:8080"),
               edited("the second of two", "10.0.0.1:8080 *:80"),
               edited("every address, in numbers", "0.0.0.0:80"),
               edited("every address, by its name", "_default_:80"),
               edited("every address, of the new kind", "[::]:80"), edited("quotes", "\"*:80\"")});
  ExpectEdits(Dialect::kApache,
              {{"one address of two changes",
                host("10.0.0.1:80 10.0.0.2:80", ""),
                "<VirtualHost {% $ip %}:80>\nServerName a\n</VirtualHost>\n",
                {{"ip", "10.0.0.2", "10.0.0.3"}},
                host("10.0.0.1:80 10.0.0.3:80", "")},
               {"every address changes, however it is written",
                host("[::]:80", ""),
                "<VirtualHost *:{% $port %}>\nServerName a\n</VirtualHost>\n",
                {{"port", "80", "81"}},
                host("*:81", "")},
               {"of two words for one address that of its kind changes",
                host("[::]:80 *:80", ""),
                "<VirtualHost {% $a %}>\nServerName a\n</VirtualHost>\n",
                {{"a", "*:80", "*:81"}},
                host("[::]:80 *:81", "")},
               {"... and back",
                host("[::]:80 *:81", ""),
                "<VirtualHost {% $a %}>\nServerName a\n</VirtualHost>\n",
                {{"a", "*:81", "*:80"}},
                host("[::]:80 *:80", "")},
               {"all addresses by a trailing place",
                host("10.0.0.1:80", ""),
                "<VirtualHost [% $a %]>\nServerName a\n</VirtualHost>\n",
                {{"a", kNone, "10.0.0.2:80 10.0.0.3:80"}},
                host("10.0.0.2:80 10.0.0.3:80", "")},
               {"another port is another one",
                host("*:80", ""),
                "<VirtualHost *:443>\nServerName a\n</VirtualHost>\n",
                {},
                host("*:80", "") + "<VirtualHost *:443>\n  ServerName a\n</VirtualHost>\n"}});
}

TEST(AVirtualHost, ComesToHaveAllAddressesOfTheTemplate) {
  const auto host = [](const std::string& addresses) {
    return "<VirtualHost " + addresses + ">\n\tServerName a\n</VirtualHost>\n";
  };
  const Ask raw = [](Request& request) { request.raw.insert("a"); };
  ExpectEdits(Dialect::kApache, {{"one more",
                                  host("10.0.0.1:80"),
                                  host("10.0.0.1:80 10.0.0.2:80"),
                                  {},
                                  host("10.0.0.1:80 10.0.0.2:80")},
                                 {"one more, before the others",
                                  host("10.0.0.1:80 *:81"),
                                  host("10.0.0.2:80 10.0.0.1:80"),
                                  {},
                                  host("10.0.0.1:80 *:81 10.0.0.2:80")},
                                 {"one that is there, as it is written there",
                                  host("_default_:80"),
                                  host("*:80 10.0.0.2:80"),
                                  {},
                                  host("_default_:80 10.0.0.2:80")},
                                 {"one changes, and one comes",
                                  host("10.0.0.1:80"),
                                  host("{% $b %} 10.0.0.9:80"),
                                  {{"b", "10.0.0.1:80", "10.0.0.3:80"}},
                                  host("10.0.0.3:80 10.0.0.9:80")},
                                 {"a value that is one address becomes two",
                                  host("10.0.0.1:80"),
                                  host("{% $a %}"),
                                  {{"a", "10.0.0.1:80", "10.0.0.1:80 [2001:db8::1]:80"}},
                                  host("10.0.0.1:80 [2001:db8::1]:80"),
                                  raw},
                                 {"... and one again",
                                  host("10.0.0.1:80 [2001:db8::1]:80"),
                                  host("{% $a %}"),
                                  {{"a", "10.0.0.1:80 [2001:db8::1]:80", "10.0.0.1:80"}},
                                  host("10.0.0.1:80"),
                                  raw},
                                 {"... and two others",
                                  host("10.0.0.1:80"),
                                  host("{% $a %}"),
                                  {{"a", "10.0.0.1:80", "10.0.0.2:80 [2001:db8::1]:80"}},
                                  host("10.0.0.2:80 [2001:db8::1]:80"),
                                  raw},
                                 {"of all that have one of them, each keeps its own",
                                  host("*:80") + host("*:443"),
                                  host("*:80 *:443"),
                                  {},
                                  host("*:80") + host("*:443"),
                                  AskForAll}});
}

TEST(ADirectory, IsThatWithASlashBehindItsPath) {
  const auto site = [](const std::string& path, const std::string& line) {
    return "<VirtualHost *:80>\n\tServerName a\n\t<Directory " + path + ">\n\t\t" + line +
           "\n\t</Directory>\n</VirtualHost>\n";
  };
  ExpectEdits(Dialect::kApache,
              {{"which the configuration has",
                site("/srv/a/", "AllowOverride All"),
                site("/srv/a", "AllowOverride [% $o %]"),
                {{"o", kNone, "None"}},
                site("/srv/a/", "AllowOverride None")},
               {"which the template has",
                site("\"/srv/a\"", "AllowOverride All"),
                site("/srv/a/", "AllowOverride [% $o %]"),
                {{"o", kNone, "None"}},
                site("\"/srv/a\"", "AllowOverride None")},
               {"it goes",
                site("/srv/a/", "AllowOverride All"),
                "<VirtualHost *:80>\nServerName a\n{% if $none %}\n<Directory /srv/a>\n"
                "</Directory>\n{% endif %}\n</VirtualHost>\n",
                {},
                "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n"}});
}

TEST(NamesOfSectionsAndDirectives, OfApacheAreReadInEitherCase) {
  ExpectEdits(Dialect::kApache,
              {{"a virtual host in small letters",
                "<virtualhost *:80>\n  servername a\n</virtualhost>\n",
                "<VirtualHost *:80>\nServerName a\nDocumentRoot /a\n</VirtualHost>\n",
                {},
                "<virtualhost *:80>\n  servername a\n  DocumentRoot /a\n</virtualhost>\n"},
               {"a blank before the bracket",
                "<VirtualHost *:80 >\n  ServerName a\n</VIRTUALHOST>\n",
                "<VirtualHost *:80>\nServerName a\nDocumentRoot /a\n</VirtualHost>\n",
                {},
                "<VirtualHost *:80 >\n  ServerName a\n  DocumentRoot /a\n</VIRTUALHOST>\n"},
               {"a template in capital letters",
                "<Directory /a>\n  Require all granted\n</Directory>\n",
                "<DIRECTORY /a>\nREQUIRE all granted\nALLOWOVERRIDE None\n</DIRECTORY>\n",
                {},
                "<Directory /a>\n  Require all granted\n  ALLOWOVERRIDE None\n</Directory>\n"}});
}

// --- Names ---

TEST(TheFirstName, IsOneOfTheBlocksNames) {
  const auto edited = [](const std::string& name, const std::string& names,
                         const std::string& wanted) {
    const std::string front =
        "server {\n  listen 81;\n  server_name b;\n}\nserver {\n  listen 80;\n";
    return Case{name,
                front + names + "}\n",
                "server {\nserver_name " + wanted + ";\ngzip on;\n}\n",
                {},
                front + names + "  gzip on;\n}\n"};
  };
  ExpectEdits(Dialect::kNginx,
              {edited("the first one", "  server_name a;\n", "a"),
               edited("the second one", "  server_name www.a a;\n", "a"),
               edited("one of several directives", "  server_name x;\n  server_name a;\n", "a"),
               edited("over several lines", "  server_name\n    x # old\n    a\n    ;\n", "a"),
               edited("in other letters", "  server_name WWW.A.example;\n", "www.a.Example"),
               edited("in quotes", "  server_name \"a\";\n", "a"),
               edited("a wildcard", "  server_name *.a.example;\n", "*.a.example"),
               edited("a pattern", "  server_name ~^www\\d+$;\n", "~^www\\d+$"),
               edited("none", "  server_name \"\";\n", "\"\"")});
  ExpectEdits(
      Dialect::kApache,
      {{"an alias",
        "<VirtualHost *:80>\n  ServerName b\n</VirtualHost>\n<VirtualHost *:80>\n  ServerName x\n"
        "  ServerAlias y a\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName a\nDocumentRoot /a\n</VirtualHost>\n",
        {},
        "<VirtualHost *:80>\n  ServerName b\n</VirtualHost>\n<VirtualHost *:80>\n  ServerName x\n"
        "  ServerAlias y a\n  DocumentRoot /a\n</VirtualHost>\n"},
       {"a name with a scheme and a port",
        "<VirtualHost *:80>\n  ServerName https://A.example:443\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName a.example\nDocumentRoot /a\n</VirtualHost>\n",
        {},
        "<VirtualHost *:80>\n  ServerName https://A.example:443\n  DocumentRoot /a\n"
        "</VirtualHost>\n"}});
}

TEST(TheFirstName, ContradictsABlockWithoutIt) {
  ExpectEdits(Dialect::kNginx, {{"another name",
                                 "server {\n  listen 80;\n  server_name b;\n  root /a;\n}\n",
                                 "server {\nlisten 80;\nserver_name a;\nroot /a;\n}\n",
                                 {},
                                 "server {\n  listen 80;\n  server_name b;\n  root /a;\n}\n"
                                 "server {\n  listen 80;\n  server_name a;\n  root /a;\n}\n"},
                                {"no name",
                                 "server {\n  listen 80;\n  root /a;\n}\n",
                                 "server {\nlisten 80;\nserver_name a;\n}\n",
                                 {},
                                 "server {\n  listen 80;\n  root /a;\n}\n"
                                 "server {\n  listen 80;\n  server_name a;\n}\n"},
                                {"the empty name",
                                 "server {\n  listen 80;\n  server_name b;\n}\n",
                                 "server {\nlisten 80;\nserver_name \"\";\nreturn 444;\n}\n",
                                 {},
                                 "server {\n  listen 80;\n  server_name b;\n}\n"
                                 "server {\n  listen 80;\n  server_name \"\";\n  return 444;\n}\n"},
                                {"a name that begins alike",
                                 "server {\n  server_name a.example.org;\n}\n",
                                 "server {\nserver_name a.example;\n}\n",
                                 {},
                                 "server {\n  server_name a.example.org;\n}\n"
                                 "server {\n  server_name a.example;\n}\n"}});
}

TEST(TheFirstName, DecidesBetweenTwoVirtualHostsOfOneAddress) {
  const std::string hosts = R"(<VirtualHost *:80>
    ServerName a.example
    DocumentRoot /srv/a
</VirtualHost>

<VirtualHost *:80>
    ServerName b.example
    DocumentRoot /srv/b
</VirtualHost>
)";
  ExpectEdits(Dialect::kApache,
              {{"the second one is edited",
                hosts,
                "<VirtualHost *:80>\nServerName b.example\nDocumentRoot {% $d %}\n"
                "</VirtualHost>\n",
                {{"d", "/srv/b", "/srv/n"}},
                With(hosts, "/srv/b", "/srv/n")},
               {"... also by a trailing place",
                hosts,
                "<VirtualHost *:80>\nServerName b.example\nDocumentRoot [% $d %]\n"
                "</VirtualHost>\n",
                {{"d", kNone, "/srv/n"}},
                With(hosts, "/srv/b", "/srv/n")},
               {"the second one is removed",
                hosts,
                "{% if $b %}\n<VirtualHost *:80>\nServerName b.example\n</VirtualHost>\n"
                "{% endif %}\n",
                {},
                Without(hosts,
                        "\n<VirtualHost *:80>\n    ServerName b.example\n"
                        "    DocumentRoot /srv/b\n</VirtualHost>\n")},
               {"the second one is renamed",
                hosts,
                "<VirtualHost *:80>\nServerName {% $n %}\n</VirtualHost>\n",
                {{"n", "b.example", "n.example"}},
                With(hosts, "b.example", "n.example")}});
  ExpectRefusals(Dialect::kApache,
                 {{"no name",
                   hosts,
                   "<VirtualHost *:80>\nProtocols h2\n</VirtualHost>\n",
                   {},
                   "ambiguous",
                   "site.template:1:1:",
                   "'<VirtualHost *:80>' fits several blocks: site.conf:1:1 'VirtualHost *:80' "
                   "(a.example), site.conf:6:1 'VirtualHost *:80' (b.example). "
                   "'ServerName a.example' in the template would mean the first one"},
                  {"no name, to be removed",
                   hosts,
                   "{% if $x %}\n<VirtualHost *:80>\n</VirtualHost>\n{% endif %}\n",
                   {},
                   "ambiguous",
                   "site.template:2:1:",
                   "site.conf:6:1"}});
}

TEST(TheFirstName, OfALineWithAMissingValueIsMissed) {
  const std::string config = "server {\n  listen 80 default_server;\n  return 444;\n}\n";
  ExpectRefusals(Dialect::kNginx,
                 {{"the block would go",
                   config,
                   "{% if $x %}\nserver {\nserver_name {% $name %};\n}\n{% endif %}\n",
                   {},
                   "missing-value",
                   "site.template:3:1:",
                   "'server_name {% $name %};'. Set it"},
                  {"the block would be edited",
                   config,
                   "server {\nserver_name {% $name %};\ngzip on;\n}\n",
                   {},
                   "missing-value",
                   "site.template:2:1:",
                   "by which the block is found"},
                  {"only the old name is known",
                   config,
                   "server {\nserver_name {% $name %};\n}\n",
                   {{"name", "a", kNone}},
                   "missing-value",
                   "site.template:2:1:",
                   "Set it"}});
  ExpectEdits(Dialect::kNginx,
              {{"the old name is enough for a removal",
                config + "server {\n  server_name a;\n}\n",
                "{% if $x %}\nserver {\nserver_name {% $name %};\n}\n{% endif %}\n",
                {{"name", "a", kNone}},
                config}});
}

TEST(TheFirstName, BehindATrailingPlaceDoesNotCount) {
  ExpectEdits(Dialect::kNginx,
              {{"all names of the only server change",
                "server {\n  server_name a b;\n}\n",
                "server {\nserver_name [% $names %];\n}\n",
                {{"names", kNone, "c d"}},
                "server {\n  server_name c d;\n}\n"},
               {"a name before the place does",
                "server {\n  server_name b x;\n}\nserver {\n  server_name a x;\n}\n",
                "server {\nserver_name a [% $names %];\n}\n",
                {{"names", kNone, "y z"}},
                "server {\n  server_name b x;\n}\nserver {\n  server_name a y z;\n}\n"}});
  ExpectRefusals(Dialect::kNginx,
                 {{"one of two servers",
                   "server {\n  server_name a;\n}\nserver {\n  server_name b;\n}\n",
                   "server {\nserver_name [% $names %];\n}\n",
                   {{"names", kNone, "c"}},
                   "ambiguous",
                   "site.template:1:1:",
                   "site.conf:4:1 'server' (b)"}});
}

TEST(ARename, FindsTheOldNameOrTheNewOne) {
  const std::string text = "server {\nserver_name {% $n %};\n}\n";
  const NamedValues names = {{"n", "a", "b"}};
  ExpectEdits(Dialect::kNginx,
              {{"the old one", "server {\n  server_name x a y;\n}\n", text, names,
                "server {\n  server_name x b y;\n}\n"},
               {"the new one: it is done already", "server {\n  server_name x b y;\n}\n", text,
                names, "server {\n  server_name x b y;\n}\n"},
               {"both in one block", "server {\n  server_name a b;\n}\n", text, names,
                "server {\n  server_name b;\n}\n"}});
  const auto done = [&](const std::string& name, const std::string& line) {
    const std::string config = "server {\n  server_name b;\n  " + line +
                               "\n}\nserver {\n  listen 81;\n  server_name a;\n  root /c;\n}\n";
    return Case{name, config, With(text, "}\n", line + "\n}\n"), names, config};
  };
  ExpectEdits(Dialect::kNginx,
              {done("it is done already, and another site has kept the old name", "root /a;"),
               done("... which a block inside tells", "location /x {\n  }")});
  ExpectRefusals(
      Dialect::kNginx,
      {{"none", "server {\n  server_name x;\n}\n", text, names, "unmatched-section",
        "site.template:1:1:", "there are site.conf:1:1 'server' (x)"},
       {"none, in an empty text", "", text, names, "unmatched-section",
        "site.template:1:1:", "Correct the old value, or leave it out for a new block"},
       {"both in two blocks of one address",
        "server {\n  server_name a;\n}\nserver {\n  server_name b;\n}\n", text, names, "collision",
        "site.conf:1:1 of the edited text: site.conf:1:1 'server' (b) and site.conf:4:1 'server' "
        "(b)",
        "answer to 'b' on *:80, and the server would ignore"}});
}

// --- Addresses ---

TEST(ARename, OfALineWithATrailingPlaceFindsTheOldName) {
  const auto site = [](const std::string& names) {
    return "server {\n\tserver_name " + names + ";\n}\n";
  };
  const std::string text = "server {\nserver_name {% $n %} [% $more %];\n}\n";
  ExpectEdits(Dialect::kNginx, {{"the second of two",
                                 site("b w.b") + site("a w.a"),
                                 text,
                                 {{"n", "a", "c"}, {"more", kNone, "w.c"}},
                                 site("b w.b") + site("c w.c")},
                                {"when it is done",
                                 site("b w.b") + site("c w.c"),
                                 text,
                                 {{"n", "a", "c"}, {"more", kNone, "w.c"}},
                                 site("b w.b") + site("c w.c")}});
}

TEST(AChangeOfAddress, OfALineWithATrailingPlaceFindsTheOldOneOrTheNewOne) {
  const auto site = [](const std::string& address, const std::string& root) {
    return "server {\n\tlisten " + address + ";\n\troot " + root + ";\n}\n";
  };
  const std::string text = "server {\nlisten {% $p %} [% $more %];\nroot {% $r %};\n}\n";
  const NamedValues values = {{"p", "80", "82"}, {"more", kNone, "ssl"}, {"r", "/a", "/b"}};
  ExpectEdits(Dialect::kNginx, {{"not yet", site("81 ssl", "/a") + site("80 ssl", "/a"), text,
                                 values, site("81 ssl", "/a") + site("82 ssl", "/b")},
                                {"the address is there already, the root is not",
                                 site("81 ssl", "/a") + site("82 ssl", "/a"), text, values,
                                 site("81 ssl", "/a") + site("82 ssl", "/b")}});
}

TEST(Addresses, AreComparedInNormalForm) {
  const auto edited = [](const std::string& name, const std::string& there,
                         const std::string& stated) {
    const auto config = [&](const std::string& more) {
      return "server {\n  listen 127.0.0.9:99;\n  server_name a;\n}\nserver {\n  listen " + there +
             ";\n  server_name a;\n" + more + "}\n";
    };
    return Case{name,
                config(""),
                "server {\nlisten " + stated + ";\nserver_name a;\ngzip on;\n}\n",
                {},
                config("  gzip on;\n")};
  };
  ExpectEdits(
      Dialect::kNginx,
      {edited("a port", "80", "80"), edited("a port and a star", "80", "*:80"),
       edited("a star and a port", "*:80", "80"), edited("every address", "0.0.0.0:80", "80"),
       edited("the usual port", "127.0.0.1", "127.0.0.1:80"),
       edited("a host's name", "localhost:80", "LOCALHOST"),
       edited("of the new kind", "[::]:80", "[0:0::0]:80"),
       edited("of the new kind, the usual port", "[::1]", "[::1]:80"),
       edited("a socket", "unix:/run/a.sock", "unix:/run/a.sock"),
       edited("options", "80 default_server backlog=5", "80"),
       edited("a zero in front", "080", "80")});
}

TEST(Addresses, OfTwoKindsAreTwo) {
  const std::string config =
      "server {\n  listen [::]:80;\n  server_name a;\n}\nserver {\n  listen 80;\n"
      "  server_name a;\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"the old kind",
        config,
        "server {\nlisten 80;\nserver_name a;\ngzip on;\n}\n",
        {},
        With(config, "listen 80;\n  server_name a;\n",
             "listen 80;\n  server_name a;\n  gzip on;\n")},
       {"the new one",
        config,
        "server {\nlisten [::]:80;\nserver_name a;\ngzip on;\n}\n",
        {},
        With(config, "[::]:80;\n  server_name a;\n", "[::]:80;\n  server_name a;\n  gzip on;\n")}});
}

TEST(Addresses, WithAndWithoutConnectionsAreTwo) {
  const std::string both =
      "stream {\n\tserver {\n\t\tlisten 53;\n\t\tproxy_pass a;\n\t}\n"
      "\tserver {\n\t\tlisten 53 udp;\n\t\tproxy_pass b;\n\t}\n}\n";
  const auto in_stream = [](const std::string& lines) {
    return "stream {\nserver {\n" + lines + "proxy_pass [% $to %];\n}\n}\n";
  };
  ExpectEdits(Dialect::kNginx, {{"the one with connections",
                                 both,
                                 in_stream("listen 53;\n"),
                                 {{"to", kNone, "c"}},
                                 With(both, "pass a", "pass c")},
                                {"the one without",
                                 both,
                                 in_stream("listen 0.0.0.0:53 udp;\n"),
                                 {{"to", kNone, "c"}},
                                 With(both, "pass b", "pass c")},
                                {"... by a trailing place",
                                 both,
                                 in_stream("listen 53 [% $o %];\n"),
                                 {{"o", kNone, "udp"}, {"to", kNone, "c"}},
                                 With(both, "pass b", "pass c")}});
  const std::string udp = "server {\n\tlisten 53 udp;\n}\n";
  ExpectRefusals(Dialect::kNginx,
                 {{"what tells one without connections from one with them is said",
                   udp + "server {\n\tlisten 53;\n}\n",
                   "server {\nproxy_timeout 3s;\n}\n",
                   {},
                   "ambiguous",
                   "site.template:1:1:",
                   "site.conf:1:1 'server' (*:53/udp), site.conf:4:1 'server' (*:53). "
                   "'listen 53 udp;' in the template would mean the first one"}});
}

TEST(AnAddressThatNoBlockHas, IsAdded) {
  ExpectEdits(Dialect::kNginx,
              {{"to the site of that name",
                "server {\n  listen 80;\n  server_name a;\n}\n",
                "server {\nlisten 443 ssl;\nserver_name a;\n}\n",
                {},
                "server {\n  listen 80;\n  listen 443 ssl;\n  server_name a;\n}\n"},
               {"to a site without any",
                "server {\n  server_name a;\n  root /a;\n}\n",
                "server {\nlisten 8080;\nserver_name a;\n}\n",
                {},
                "server {\n  listen 8080;\n  server_name a;\n  root /a;\n}\n"}});
  ExpectRefusals(Dialect::kNginx, {{"to one of two sites of that name",
                                    kTwoOfOneName,
                                    "server {\nlisten 8080;\nserver_name a.example;\n}\n",
                                    {},
                                    "ambiguous",
                                    "site.template:1:1:",
                                    "site.conf:13:1"}});
}

TEST(AnAddressThatNoBlockHas, FindsNothingToRemove) {
  const std::string gone =
      "{% if $x %}\nserver {\nlisten 8080;\nserver_name b.example;\n}\n{% endif %}\n";
  ExpectEdits(Dialect::kNginx, {{"nothing happens", kTwoOfOneName, gone, {}, kTwoOfOneName}});
  ExpectRefusals(Dialect::kNginx,
                 {{"unless it has to be there",
                   kTwoOfOneName,
                   gone,
                   {},
                   "not-found",
                   "site.template:2:1:",
                   "there is no 'server {' (b.example, *:8080) in site.conf; there are "
                   "site.conf:1:1 'server' (b.example, *:80), ",
                   AskForExistence}});
}

TEST(NamelessServers, AreFoundByTheirPort) {
  const std::string config = R"(server {
	listen 8081;
	root /srv/1;
}
server {
	listen 8082;
	root /srv/2;
}
server {
	listen 8083;
	root /srv/3;
}
)";
  ExpectEdits(Dialect::kNginx, {{"one is edited",
                                 config,
                                 "server {\nlisten 8082;\nroot {% $r %};\n}\n",
                                 {{"r", "/srv/2", "/srv/n"}},
                                 With(config, "/srv/2", "/srv/n")},
                                {"one is removed",
                                 config,
                                 "{% if $x %}\nserver {\nlisten 8082;\n}\n{% endif %}\n",
                                 {},
                                 Without(config, "server {\n\tlisten 8082;\n\troot /srv/2;\n}\n")},
                                {"none of them is removed",
                                 config,
                                 "{% if $x %}\nserver {\nlisten 8084;\n}\n{% endif %}\n",
                                 {},
                                 config},
                                {"a port of its own is a new one",
                                 config,
                                 "server {\nlisten 8084;\nroot /srv/4;\n}\n",
                                 {},
                                 config + "server {\n\tlisten 8084;\n\troot /srv/4;\n}\n"},
                                {"by what else they have",
                                 config,
                                 "server {\nroot {% $r %};\n}\n",
                                 {{"r", "/srv/3", "/srv/n"}},
                                 With(config, "/srv/3", "/srv/n")}});
  const Case removal = {"", "", "{% if $x %}\nserver {\nroot /srv/3;\n}\n{% endif %}\n", {}, ""};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, removal), config),
            Without(config, "server {\n\tlisten 8083;\n\troot /srv/3;\n}\n"));
  ExpectRefusals(Dialect::kNginx,
                 {{"one is removed, and nothing says which",
                   config,
                   "{% if $x %}\nserver {\n}\n{% endif %}\n",
                   {},
                   "ambiguous",
                   "site.template:2:1:",
                   "'server {' fits several blocks: site.conf:1:1 'server' (*:8081), "
                   "site.conf:5:1 'server' (*:8082), site.conf:9:1 'server' (*:8083). "
                   "'listen 8081;' in the template would mean the first one"}});
}

// --- The other lines ---

TEST(LinesWithOldValues, DecideWhenOneBlockHasThemAllAndNoOtherAny) {
  const auto two = [](const std::string& first, const std::string& second) {
    return "server {\n\tserver_name a;\n\tlisten 80;\n" + first +
           "}\nserver {\n\tserver_name a;\n\tlisten 81;\n" + second + "}\n";
  };
  const std::string text = "server {\nserver_name a;\nroot {% $r %};\nindex {% $i %};\n}\n";
  const NamedValues values = {{"r", "/a", "/n"}, {"i", "x", "y"}};
  ExpectEdits(Dialect::kNginx, {{"all and none", two("", "\troot /a;\n\tindex x;\n"), text, values,
                                 two("", "\troot /n;\n\tindex y;\n")},
                                {"the new values count when nothing has the old ones",
                                 two("", "\troot /n;\n\tindex y;\n"), text, values,
                                 two("", "\troot /n;\n\tindex y;\n")}});
  const auto refused = [&](const std::string& name, const std::string& first,
                           const std::string& second) {
    return SaidCase{name,
                    two(first, second),
                    text,
                    values,
                    "ambiguous",
                    "site.template:1:1:",
                    "'listen 80;' in the template would mean the first one"};
  };
  ExpectRefusals(
      Dialect::kNginx,
      {refused("both have all", "\troot /a;\n\tindex x;\n", "\troot /a;\n\tindex x;\n"),
       refused("one has more", "\troot /a;\n", "\troot /a;\n\tindex x;\n"),
       refused("each has one", "\troot /a;\n", "\tindex x;\n"),
       refused("one has one of two", "", "\troot /a;\n"), refused("none has any", "", "")});
}

std::string Untaken(const std::string& lines) {
  return "{% if $no %}\n" + lines + "{% endif %}\n";
}

// The last of its like is only removed when it has all of what the template says.
TEST(ANamelessServerThatGoes, HasAllLinesWithOldValues) {
  const std::string text = Untaken("server {\nlisten 80;\nroot {% $r %};\nindex {% $i %};\n}\n");
  const NamedValues values = {{"r", "/a", "/b"}, {"i", "x", "y"}};
  const auto site = [](const std::string& lines) {
    return "server {\n\tlisten 80;\n" + lines + "}\n";
  };
  ExpectEdits(Dialect::kNginx,
              {{"it has both", site("\troot /a;\n\tindex x;\n"), text, values, ""},
               {"... and more", site("\troot /a;\n\tindex x;\n\tgzip on;\n"), text, values, ""},
               {"the new ones", site("\troot /b;\n\tindex y;\n"), text, values, ""}});
  for (const std::string lines : {"\troot /a;\n", "\tindex x;\n", "", "\troot /c;\n\tindex x;\n"}) {
    const SaidCase c = {"one of two: " + lines,
                        site(lines),
                        text,
                        values,
                        "not-removed",
                        "site.template:2:1:",
                        "it does not have the lines of the block that is to be removed",
                        nullptr,
                        site(lines)};
    ExpectWarnings(Dialect::kNginx, {c});
  }
}

TEST(ANamelessServerThatGoes, HasOneOfTheLinesWhereThereAreSeveral) {
  const std::string text = Untaken("server {\nlisten 80;\nroot {% $r %};\nindex {% $i %};\n}\n");
  const std::string other = "server {\n\tlisten 80;\n}\n";
  const std::string meant = "server {\n\tlisten 80;\n\troot /a;\n}\n";
  const NamedValues values = {{"r", "/a", "/b"}, {"i", "x", "y"}};
  ExpectEdits(Dialect::kNginx, {{"the second", other + meant, text, values, other},
                                {"the first", meant + other, text, values, other}});
}

// An address says enough.
TEST(AServerThatGoes, IsMeantByItsNameAndAddressWhateverItsLines) {
  const std::string site = "server {\n\tlisten 80;\n\tserver_name a;\n\troot /a;\n}\n";
  ExpectEdits(Dialect::kNginx,
              {{"", site, Untaken("server {\nlisten 80;\nserver_name a;\nroot /b;\n}\n"), {}, ""}});
  ExpectWarnings(Dialect::kNginx, {{"by its name alone",
                                    site,
                                    Untaken("server {\nserver_name a;\nroot /b;\n}\n"),
                                    {},
                                    "not-removed",
                                    "site.template:2:1:",
                                    "State its address",
                                    nullptr,
                                    site}});
}

TEST(ConditionsThatAreAlike, AreNotAmbiguousWhenNothingInThemGoes) {
  const std::string text =
      "<IfModule m>\n" + Untaken("<Location /x>\n</Location>\n") + "</IfModule>\n";
  const auto condition = [](const std::string& lines) {
    return "<IfModule m>\n" + lines + "</IfModule>\n";
  };
  const std::string x = "\t<Location /x>\n\t</Location>\n";
  const std::string y = "\t<Location /y>\n\t</Location>\n";
  ExpectEdits(
      Dialect::kApache,
      {{"none has it", condition(y) + condition(""), text, {}, condition(y) + condition("")},
       {"the second has it", condition(y) + condition(x), text, {}, condition(y) + condition("")},
       {"the first has it",
        condition(x + y) + condition(y),
        text,
        {},
        condition(y) + condition(y)}});
  const auto refused = [](const std::string& name, const std::string& config,
                          const std::string& template_text) {
    return SaidCase{
        name, config, template_text, {}, "ambiguous", "site.template:1:1:", "fits several"};
  };
  ExpectRefusals(
      Dialect::kApache,
      {refused("both have it", condition(x) + condition(x), text),
       refused("something else is said, too", condition(y) + condition(""),
               "<IfModule m>\nX 1\n" + Untaken("<Location /x>\n</Location>\n") + "</IfModule>\n"),
       refused("what goes is a line", condition(y) + condition(""),
               "<IfModule m>\n" + Untaken("X 1\n") + "</IfModule>\n"),
       refused("other blocks", "<Files a>\n</Files>\n<Files a>\n</Files>\n",
               "<Files a>\n" + Untaken("<If x>\n</If>\n") + "</Files>\n")});
}

TEST(AVirtualHost, IsFoundByItsNameWhereverItsAliasesStand) {
  const auto host = [](const std::string& name, const std::string& lines) {
    return "<VirtualHost *:80>\n\tServerName " + name + "\n\tServerAlias w.a\n" + lines +
           "</VirtualHost>\n";
  };
  const std::string text =
      "<VirtualHost *:80>\nServerAlias w.a\nServerName a\nX 1\n</VirtualHost>\n";
  ExpectEdits(Dialect::kApache, {{"the second",
                                  host("b", "") + host("a", ""),
                                  text,
                                  {},
                                  host("b", "") + host("a", "\tX 1\n")},
                                 {"the first",
                                  host("a", "") + host("b", ""),
                                  text,
                                  {},
                                  host("a", "\tX 1\n") + host("b", "")}});
}

TEST(AListen, OfABlockThatIsNoServerIsALineLikeOthers) {
  const auto block = [](const std::string& port) { return "foo {\n\tlisten " + port + ";\n}\n"; };
  ExpectEdits(Dialect::kNginx, {{"",
                                 block("80") + block("90"),
                                 "foo {\nlisten {% $p %};\n}\n",
                                 {{"p", "90", "91"}},
                                 block("80") + block("91")}});
}

// Their addresses are read once for all of them.
TEST(ManyNamelessServers, AreLookedForInTheirOwnBlock) {
  std::string text;
  std::string other;
  std::string config;
  std::string edited;
  for (int port = 1; port < 9; ++port) {
    const std::string listen = "listen " + std::to_string(port) + ";\n";
    text += "server {\n" + listen + "x 1;\n}\n";
    other += "\tserver {\n\t\t" + listen + "\t}\n";
    config += "\tserver {\n\t\t" + listen + "\t}\n";
    edited += "\tserver {\n\t\t" + listen + "\t\tx 1;\n\t}\n";
  }
  const auto both = [&](const std::string& servers) {
    return "stream {\n" + other + "}\nhttp {\n" + servers + "}\n";
  };
  ExpectEdits(Dialect::kNginx, {{"", both(config), "http {\n" + text + "}\n", {}, both(edited)}});
}

TEST(TheTlsState, IsNoEvidence) {
  const auto site = [](const std::string& more) {
    return "server {\n\tserver_name a;\n" + more + "\troot /a;\n}\n";
  };
  const std::string text = "server {\nserver_name a;\nroot {% $r %};\n}\n";
  const NamedValues root = {{"r", "/a", "/b"}};
  const auto edited = [&](const std::string& name, const std::string& more) {
    return Case{name, site(more), text, root, With(site(more), "/a", "/b")};
  };
  ExpectEdits(
      Dialect::kNginx,
      {edited("ssl", "\tssl on;\n"),
       edited("preferred ciphers", "\tssl_prefer_server_ciphers on;\n"),
       {"both, of the template", site(""),
        "server {\nserver_name a;\nssl_prefer_server_ciphers on;\nroot {% $r %};\n}\n", root,
        "server {\n\tserver_name a;\n\tssl_prefer_server_ciphers on;\n\troot /b;\n}\n"},
       {"in a branch that is not taken",
        site("\tssl on;\n"),
        "server {\nserver_name a;\n{% if $ssl %}\nssl on;\n{% endif %}\n}\n",
        {},
        site("")}});
  ExpectRefusals(Dialect::kNginx, {{"of one of two sites of a name",
                                    "server {\n\tlisten 80;\n\tserver_name a;\n}\n"
                                    "server {\n\tlisten 81;\n\tserver_name a;\n\tssl on;\n}\n",
                                    "server {\nserver_name a;\nssl on;\n}\n",
                                    {},
                                    "ambiguous",
                                    "site.template:1:1:",
                                    "site.conf:5:1 'server' (a, *:81)"}});
}

// --- Containers ---

TEST(Http, MayBeLeftOut) {
  const std::string config =
      "events {\n}\nhttp {\n    gzip on;\n\n    server {\n        server_name a;\n"
      "        root /a;\n    }\n}\nstream {\n    server {\n        listen 1;\n    }\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"a site inside of it",
        config,
        "server {\nserver_name a;\nroot {% $r %};\n}\n",
        {{"r", "/a", "/b"}},
        With(config, "/a;", "/b;")},
       {"http is written out",
        config,
        "http {\nserver {\nserver_name a;\nroot {% $r %};\n}\n}\n",
        {{"r", "/a", "/b"}},
        With(config, "/a;", "/b;")},
       {"a new site stands there, too",
        config,
        "server {\nserver_name b;\n}\n",
        {},
        With(config, "/a;\n    }\n",
             "/a;\n    }\n\n    server {\n        server_name b;\n    }\n")},
       {"a new site, http is written out",
        config,
        "http {\nserver {\nserver_name b;\n}\n}\n",
        {},
        With(config, "/a;\n    }\n",
             "/a;\n    }\n\n    server {\n        server_name b;\n    }\n")},
       {"the first site of http",
        "http {\n    gzip on;\n}\n",
        "server {\nserver_name b;\n}\n",
        {},
        "http {\n    gzip on;\n    server {\n        server_name b;\n    }\n}\n"},
       {"a site is removed from it",
        config,
        "{% if $x %}\nserver {\nserver_name a;\n}\n{% endif %}\n",
        {},
        Without(config, "\n    server {\n        server_name a;\n        root /a;\n    }\n")},
       {"of stream, nothing is left out",
        config,
        "stream {\nserver {\nlisten {% $p %};\n}\n}\n",
        {{"p", "1", "2"}},
        With(config, "listen 1;", "listen 2;")}});
}

TEST(ApachesConditions, MayBeLeftOut) {
  const std::string config = R"(<VirtualHost *:80>
    ServerName a.example
</VirtualHost>
<IfModule mod_ssl.c>
    <ifdefine TLS>
        <VirtualHost *:443>
            ServerName a.example
            SSLEngine on
        </VirtualHost>
    </ifdefine>
</IfModule>
)";
  ExpectEdits(
      Dialect::kApache,
      {{"a virtual host in two of them",
        config,
        "<VirtualHost *:443>\nServerName a.example\nSSLEngine {% $s %}\n</VirtualHost>\n",
        {{"s", "on", "off"}},
        With(config, "SSLEngine on", "SSLEngine off")},
       {"the condition is written out",
        config,
        "<IfModule mod_ssl.c>\n<IfDefine TLS>\n<VirtualHost *:443>\nServerName a.example\n"
        "SSLEngine {% $s %}\n</VirtualHost>\n</IfDefine>\n</IfModule>\n",
        {{"s", "on", "off"}},
        With(config, "SSLEngine on", "SSLEngine off")},
       {"one of two is written out",
        config,
        "<IfModule mod_ssl.c>\n<VirtualHost *:443>\nServerName a.example\n"
        "SSLEngine {% $s %}\n</VirtualHost>\n</IfModule>\n",
        {{"s", "on", "off"}},
        With(config, "SSLEngine on", "SSLEngine off")},
       {"inside of a virtual host",
        "<VirtualHost *:80>\n  ServerName a\n  <IfModule dir>\n    <Directory /a>\n"
        "      Require all denied\n    </Directory>\n  </IfModule>\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName a\n<Directory /a>\nRequire {% $r %} denied\n</Directory>\n"
        "</VirtualHost>\n",
        {{"r", "all", "all"}},
        "<VirtualHost *:80>\n  ServerName a\n  <IfModule dir>\n    <Directory /a>\n"
        "      Require all denied\n    </Directory>\n  </IfModule>\n</VirtualHost>\n"}});
  ExpectRefusals(Dialect::kApache,
                 {{"the same site in two conditions",
                   "<IfModule a>\n  <VirtualHost *:80>\n    ServerName a\n  </VirtualHost>\n"
                   "</IfModule>\n<IfModule !a>\n  <VirtualHost *:80>\n    ServerName a\n"
                   "  </VirtualHost>\n</IfModule>\n",
                   "<VirtualHost *:80>\nServerName a\nProtocols h2\n</VirtualHost>\n",
                   {},
                   "ambiguous",
                   "site.template:1:1:",
                   "Within '<IfModule a>', the template would mean the first one"}});
}

TEST(ApachesConditions, MayHoldWhatABlockIsFoundBy) {
  const std::string named =
      "<VirtualHost *:80>\n  <IfModule a>\n    ServerName a\n    ServerAlias www.a\n"
      "    DocumentRoot /a\n  </IfModule>\n</VirtualHost>\n";
  const std::string other = "<VirtualHost *:80>\n  ServerName b\n</VirtualHost>\n";
  ExpectEdits(Dialect::kApache,
              {{"a name",
                other + named,
                "<VirtualHost *:80>\nServerName a\nDocumentRoot {% $r %}\n</VirtualHost>\n",
                {{"r", "/a", "/c"}},
                other + With(named, "Root /a", "Root /c")},
               {"an alias",
                other + named,
                "<VirtualHost *:80>\nServerName www.a\nDocumentRoot {% $r %}\n</VirtualHost>\n",
                {{"r", "/a", "/c"}},
                other + With(named, "Root /a", "Root /c")},
               {"another line",
                other + named,
                "<VirtualHost *:80>\nDocumentRoot {% $r %}\n</VirtualHost>\n",
                {{"r", "/a", "/c"}},
                other + With(named, "Root /a", "Root /c")}});
}

TEST(OtherContainers, AreNotLeftOut) {
  ExpectEdits(Dialect::kNginx,
              {{"a location is not looked for in another one",
                "server {\n\tserver_name a;\n\tlocation / {\n\t\tlocation /x {\n"
                "\t\t\tgzip on;\n\t\t}\n\t}\n}\n",
                "server {\nserver_name a;\nlocation /x {\nreturn 404;\n}\n}\n",
                {},
                "server {\n\tserver_name a;\n\tlocation / {\n\t\tlocation /x {\n"
                "\t\t\tgzip on;\n\t\t}\n\t}\n\tlocation /x {\n\t\treturn 404;\n\t}\n}\n"}});
}

TEST(AMacro, IsABlockLikeAnyOther) {
  const std::string config =
      "<Macro Site $name>\n  <VirtualHost *:80>\n    ServerName $name\n  </VirtualHost>\n"
      "</Macro>\nUse Site a.example\n";
  ExpectEdits(Dialect::kApache,
              {{"the virtual host inside of it",
                config,
                "<Macro Site $name>\n<VirtualHost *:80>\nServerName $name\nProtocols h2\n"
                "</VirtualHost>\n</Macro>\n",
                {},
                With(config, "    ServerName $name\n", "    ServerName $name\n    Protocols h2\n")},
               {"its uses",
                config,
                "Use Site {% $n %}\n",
                {{"n", "a.example", "b.example"}},
                With(config, "a.example", "b.example")}});
}

TEST(BlocksInBlocks, AreFoundAtAnyDepth) {
  const std::string config = R"(server {
    server_name a;
    location / {
        if ($x) {
            return 403;
        }
        if ($y) {
            return 404;
        }
        location /in {
            limit_except GET {
                deny all;
            }
        }
    }
    location /other {
        limit_except GET {
            deny all;
        }
    }
}
)";
  ExpectEdits(
      Dialect::kNginx,
      {{"four deep",
        config,
        "server {\nserver_name a;\nlocation / {\nlocation /in {\nlimit_except GET {\n"
        "deny {% $d %};\n}\n}\n}\n}\n",
        {{"d", "all", "all"}},
        config},
       {"four deep, a new line",
        config,
        "server {\nserver_name a;\nlocation / {\nlocation /in {\nlimit_except GET {\n"
        "deny 10.0.0.1;\ndeny all;\n}\n}\n}\n}\n",
        {},
        With(config, "/in {\n            limit_except GET {\n                deny all;\n",
             "/in {\n            limit_except GET {\n                deny 10.0.0.1;\n"
             "                deny all;\n")},
       {"by its opening line",
        config,
        "server {\nserver_name a;\nlocation / {\nif ($y) {\nreturn {% $c %};\n}\n}\n}\n",
        {{"c", "404", "410"}},
        With(config, "return 404;", "return 410;")},
       {"a removal",
        config,
        "server {\nserver_name a;\nlocation / {\n{% if $no %}\nif ($x) {\n}\n{% endif %}\n}\n}\n",
        {},
        Without(config, "        if ($x) {\n            return 403;\n        }\n")}});
  ExpectRefusals(
      Dialect::kNginx,
      {{"two of one opening line",
        "server {\n  server_name a;\n  if ($x) {\n    return 403;\n  }\n  if ($x) {\n"
        "    return 404;\n  }\n}\n",
        "server {\nserver_name a;\nif ($x) {\nbreak;\n}\n}\n",
        {},
        "ambiguous",
        "site.template:3:1:",
        "'if ($x) {' fits several blocks: site.conf:3:3 'if ($x)', site.conf:6:3 'if ($x)'. "
        "'return 403;' in the template would mean the first one"}});
}

// --- Blocks that are not there ---

// Neither around it nor behind it.
TEST(ABlockInside, IsNoOtherOneWithItsOpeningLine) {
  const auto site = [](const std::string& lines) {
    return "server {\n\tserver_name a;\n" + lines + "}\n";
  };
  const std::string template_text = site("location /x {\nlocation /y {\ngzip on;\n}\n}\n");
  const std::string made = "\t\tlocation /y {\n\t\t\tgzip on;\n\t\t}\n";
  const std::string y = "\tlocation /y {\n\t}\n";
  ExpectEdits(Dialect::kNginx,
              {{"directly behind",
                site("\tlocation /x {\n\t}\n" + y),
                template_text,
                {},
                site("\tlocation /x {\n" + made + "\t}\n" + y)},
               {"directly before",
                site(y + "\tlocation /x {\n\t}\n"),
                template_text,
                {},
                site(y + "\tlocation /x {\n" + made + "\t}\n")},
               {"around",
                site("\tlocation /x {\n\t}\n"),
                site("location /x {\nlocation /x {\ngzip on;\n}\n}\n"),
                {},
                site("\tlocation /x {\n\t\tlocation /x {\n\t\t\tgzip on;\n\t\t}\n\t}\n")}});
}

// Three at most.
TEST(ABlockThatIsNotThere, IsRefusedWithThoseOfItsKind) {
  const auto never = [](Request& request) { request.create = Create::kNever; };
  const auto site = [](int count) {
    std::string lines;
    for (int i = 1; i <= count; ++i) lines += "location /" + std::to_string(i) + " {\n}\n";
    return "server {\nserver_name a;\n" + lines + "}\n";
  };
  const auto at = [](int line, int i) {
    return "site.conf:" + std::to_string(line) + ":1 'location /" + std::to_string(i) + "'";
  };
  const std::string three = at(3, 1) + ", " + at(5, 2) + ", " + at(7, 3);
  const std::string there[] = {"", at(3, 1), at(3, 1) + ", " + at(5, 2), three, three};
  for (int count = 0; count <= 4; ++count) {
    const std::string& listed = there[count];
    ExpectRefusals(Dialect::kNginx,
                   {{std::to_string(count),
                     site(count),
                     "server {\nserver_name a;\nlocation /x {\n}\n}\n",
                     {},
                     "unmatched-section",
                     "site.template:3:1:",
                     "there is no 'location /x {' in site.conf:1:1 'server' (a)" +
                         (listed.empty() ? "" : "; there are " + listed) + ". It is not made",
                     never}});
  }
}

TEST(ATextWithoutTheBlock, IsLeftAloneWhenAsked) {
  const auto skip = [](Request& request) { request.skip_missing = true; };
  const std::string text = "server {\nserver_name {% $n %};\ngzip on;\n}\n";
  const auto result = [&](const std::string& config) {
    const Case c = {"", config, text, {{"n", "a", "b"}}, "", skip};
    return RecordedEdit(RequestOf(Dialect::kNginx, c), config, "site.conf");
  };
  const std::string other = "server {\n  server_name x;\n}\n";
  EXPECT_TRUE(result(other).skipped);
  EXPECT_EQ(result(other).text, other);
  EXPECT_EQ(AllOf(result(other).refusals), "");
  const std::string site = "server {\n  server_name a;\n}\n";
  EXPECT_FALSE(result(site).skipped);
  EXPECT_EQ(result(site).text, "server {\n  server_name b;\n  gzip on;\n}\n");
}

TEST(ATextWithoutTheNames, IsNotEvenRead) {
  struct NameCase {
    const char* name;
    Dialect dialect;
    const char* config;
    const char* found;  // "skipped", "edited", or the name of a refusal
  };
  const NameCase cases[] = {
      {"another site", Dialect::kNginx, "server {\n  server_name x;\n}\n", "skipped"},
      {"another site that is broken", Dialect::kNginx, "server {\n  server_name x;\n", "skipped"},
      {"another server's language", Dialect::kNginx, "<VirtualHost *:80>\n</VirtualHost>\n",
       "skipped"},
      {"the site, broken", Dialect::kNginx, "server {\n  server_name old.example;\n", "syntax"},
      {"the site, renamed already", Dialect::kNginx, "server {\n  server_name new.example;\n}\n",
       "edited"},
      {"the name in other letters", Dialect::kNginx, "server {\n  server_name Old.EXAMPLE;\n}\n",
       "edited"},
      {"the name elsewhere only", Dialect::kNginx, "# old.example\nserver {\n  server_name x;\n}\n",
       "skipped"},
      {"a host", Dialect::kApache, "<VirtualHost *:80>\nServerName x\n</VirtualHost>\n", "skipped"},
      {"a name over two lines", Dialect::kApache,
       "<VirtualHost *:80>\nServerName old.ex\\\nample\n</VirtualHost>\n", "edited"},
  };
  for (const NameCase& c : cases) {
    SCOPED_TRACE(c.name);
    Request request;
    request.dialect = c.dialect;
    request.skip_missing = true;
    request.values["n"] = {"old.example", "new.example"};
    request.template_text =
        c.dialect == Dialect::kNginx
            ? "server {\nserver_name {% $n %};\ngzip on;\n}\n"
            : "<VirtualHost *:80>\nServerName {% $n %}\nSetEnv X 1\n</VirtualHost>\n";
    const Result result = Edit(request, c.config, "site.conf");
    EXPECT_EQ(result.skipped             ? "skipped"
              : !result.refusals.empty() ? result.refusals.front().name
              : result.changed           ? "edited"
                                         : "unchanged",
              c.found);
    EXPECT_EQ(result.text != c.config, std::string(c.found) == "edited");
  }
}

// What stands in a server needs no name.
TEST(ATextWithoutTheNames, IsNotReadForBlocksInTheServerEither) {
  Request request;
  request.skip_missing = true;
  request.template_text = "server {\nserver_name one.example;\nlocation / {\ngzip on;\n}\n}\n";
  const Result other = Edit(request, "server {\n  server_name x;\n", "site.conf");
  EXPECT_TRUE(other.skipped);
  EXPECT_EQ(AllOf(other.refusals), "");
  EXPECT_FALSE(Edit(request, "server {\n  server_name one.example;\n", "site.conf").skipped);
}

TEST(ATemplateWithoutNames, IsLookedForInEachText) {
  Request request;
  request.skip_missing = true;
  request.template_text = "server {\nlisten 80;\ngzip on;\n}\n";
  const std::string config = "server {\n  listen 80;\n}\n";
  EXPECT_EQ(Edit(request, config, "site.conf").text, "server {\n  listen 80;\n  gzip on;\n}\n");
  EXPECT_TRUE(Edit(request, "server {\n  listen 81;\n}\n", "site.conf").skipped);
}

TEST(ABlockThatMoves, IsNotMade) {
  const std::string config = "server {\n  listen 80;\n  server_name b;\n}\n";
  const std::string text = "server {\nlisten {% $l %};\nserver_name a;\nroot /x;\n}\n";
  ExpectRefusals(
      Dialect::kNginx,
      {{"no block with its name",
        config,
        text,
        {{"l", "80", "8080"}},
        "unmatched-section",
        "site.template:1:1:",
        "there is no 'server {' (a, *:80) in site.conf; there are site.conf:1:1 'server' "
        "(b, *:80). Correct the old value, or leave it out for a new block"}});
  const std::string site = "server {\n  listen 8080;\n  server_name a;\n  root /x;\n}\n";
  ExpectEdits(Dialect::kNginx,
              {{"it has moved", config + site, text, {{"l", "80", "8080"}}, config + site},
               {"it is new", config, text, {{"l", kNone, "8080"}}, config + site},
               {"the same address in other words",
                config,
                text,
                {{"l", "*:8080", "8080"}},
                config + site}});
}

TEST(AServerOfNginx, IsNotMadeWhereNginxTakesNone) {
  const std::string mail = "mail {\n  server {\n    listen 143;\n  }\n}\n";
  const std::string text = "server {\nlisten 143;\nproxy on;\n}\n";
  const auto refused = [&](const std::string& name, const std::string& config,
                           const std::string& there) {
    return SaidCase{name,
                    config,
                    text,
                    {},
                    "unmatched-section",
                    "site.template:1:1:",
                    "there is no 'server {' (*:143) in site.conf" + there +
                        ". nginx takes no server outside of http, stream and mail, and there is no "
                        "http: write the block around it into the template"};
  };
  ExpectRefusals(Dialect::kNginx, {refused("a whole configuration", "events {\n}\n", ""),
                                   refused("the server stands in mail", "user www;\n" + mail,
                                           "; there are site.conf:3:3 'server' (*:143) in 'mail'"),
                                   {"it is to go, and stands in mail",
                                    mail,
                                    Untaken(text),
                                    {},
                                    "not-found",
                                    "site.template:2:1:",
                                    "there are site.conf:2:3 'server' (*:143) in 'mail'",
                                    [](Request& request) { request.must_exist = true; }}});
  const std::string made = "server {\n\tlisten 143;\n\tproxy on;\n}\n";
  ExpectEdits(Dialect::kNginx, {{"an empty text", "", text, {}, made},
                                {"a part of http",
                                 "upstream u {\n\tserver b;\n}\n",
                                 text,
                                 {},
                                 "upstream u {\n\tserver b;\n}\n" + made},
                                {"the block around is stated",
                                 mail,
                                 "mail {\n" + text + "}\n",
                                 {},
                                 "mail {\n  server {\n    listen 143;\n    proxy on;\n  }\n}\n"}});
}

TEST(AServerOfNginx, IsMadeInTheBlockThatTheTemplateNames) {
  ExpectEdits(Dialect::kNginx,
              {{"of a text without http",
                "events {\n}\nstream {\n\tserver {\n\t\tlisten 1;\n\t}\n}\n",
                "stream {\nserver {\nlisten 2;\n}\n}\n",
                {},
                "events {\n}\nstream {\n\tserver {\n\t\tlisten 1;\n\t}\n\tserver {\n"
                "\t\tlisten 2;\n\t}\n}\n"}});
}

TEST(AServerOfNginx, ThatIsNotToBeMadeIsRefusedForThat) {
  ExpectRefusals(Dialect::kNginx, {{"where nginx takes none, too",
                                    "events {\n}\n",
                                    "server {\nserver_name a;\n}\n",
                                    {},
                                    "unmatched-section",
                                    "site.template:1:1:",
                                    "It is not made, as was asked",
                                    [](Request& request) { request.create = Create::kNever; }}});
}

TEST(BlocksAreMade, OnlyWhenThatIsAskedFor) {
  const std::string text = "server {\nserver_name a;\nlocation /x {\nreturn 404;\n}\n}\n";
  const auto never = [](Request& request) { request.create = Create::kNever; };
  const auto only = [](Request& request) { request.create = Create::kOnly; };
  const std::string site = "server {\n\tserver_name a;\n}\n";
  const std::string made = "server {\n\tserver_name a;\n\tlocation /x {\n\t\treturn 404;\n\t}\n}\n";
  ExpectRefusals(Dialect::kNginx,
                 {{"no block",
                   "",
                   text,
                   {},
                   "unmatched-section",
                   "site.template:1:1:",
                   "It is not made, as was asked",
                   never},
                  {"no block inside",
                   site,
                   text,
                   {},
                   "unmatched-section",
                   "site.template:3:1:",
                   "there is no 'location /x {' in site.conf:1:1 'server' (a). It "
                   "is not made",
                   never},
                  {"no block inside, beside others of its kind elsewhere",
                   "server {\n\tserver_name b;\n\tlocation /x {\n\t}\n}\n"
                   "server {\n\tserver_name a;\n\tlocation /y {\n\t}\n}\n",
                   text,
                   {},
                   "unmatched-section",
                   "site.template:3:1:",
                   "there is no 'location /x {' in site.conf:6:1 'server' (a); "
                   "there are site.conf:8:2 'location /y'. It is not made",
                   never},
                  {"no block inside of two",
                   site + site,
                   text,
                   {},
                   "unmatched-section",
                   "site.template:3:1:",
                   "there is no 'location /x {' in site.conf:1:1 'server' (a), nor "
                   "in 1 other such block. It is not made",
                   AskForAllThatIsThere},
                  {"a block that is there",
                   site,
                   text,
                   {},
                   "exists",
                   "site.template:1:1:",
                   "this block is there already, site.conf:1:1 'server' (a)",
                   only}});
  ExpectEdits(Dialect::kNginx, {{"all are there", made, text, {}, made, never}});
  const Case c = {"", "", text, {}, "", only};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, c), ""), made);
}

}  // namespace
}  // namespace tov_edit
