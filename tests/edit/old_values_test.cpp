// SPDX-License-Identifier: Apache-2.0

// Old values that the configuration says itself.

#include "edit/address/old_values.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/address/place_values.h"
#include "edit/edit_case.h"

namespace tov_edit {
namespace {

using tov_document::Dialect;

// Each value of a case whose old one is not given is to be read.
void ReadAll(Request& request) {
  for (auto& [name, value] : request.values) value.read_old = !value.old_value;
}

TEST(ReadOldValue, IsWhatStandsInThePlace) {
  const std::vector<Case> cases = {
      {"a word of its own",
       "server {\n  listen 80;\n  root /srv/a;\n}\n",
       "server {\nlisten 80;\nroot {% $root %};\n}\n",
       {{"root", kNone, "/srv/b"}},
       "server {\n  listen 80;\n  root /srv/b;\n}\n",
       ReadAll},
      {"a part of a word",
       "server {\n  listen 80;\n  root /srv/old/htdocs;\n}\n",
       "server {\nlisten 80;\nroot /srv/{% $user %}/htdocs;\n}\n",
       {{"user", kNone, "new"}},
       "server {\n  listen 80;\n  root /srv/new/htdocs;\n}\n",
       ReadAll},
      {"in several lines, and in a log that is called otherwise",
       "server {\n  server_name a.example www.a.example;\n  root /srv/a.example;\n"
       "  access_log /var/log/site.log;\n}\n",
       "server {\nserver_name {% $name %};\nroot /srv/{% $name %};\n}\n",
       {{"name", kNone, "b.example"}},
       "server {\n  server_name b.example www.a.example;\n  root /srv/b.example;\n"
       "  access_log /var/log/site.log;\n}\n",
       ReadAll},
      {"the names of a site in any order",
       "server {\n  server_name www.a.example a.example;\n}\n",
       "server {\nserver_name {% $name %} www.{% $name %};\n}\n",
       {{"name", kNone, "b.example"}},
       "server {\n  server_name www.b.example b.example;\n}\n",
       ReadAll},
      {"the first of several names",
       "server {\n  listen 80;\n  server_name a b;\n}\n",
       "server {\nlisten 80;\nserver_name {% $name %};\n}\n",
       {{"name", kNone, "c"}},
       "server {\n  listen 80;\n  server_name c b;\n}\n",
       ReadAll},
      {"a name in other letters",
       "server {\n  server_name WWW.A.example;\n  listen 80;\n}\n",
       "server {\nlisten 80;\nserver_name www.{% $name %};\n}\n",
       {{"name", kNone, "b.example"}},
       "server {\n  server_name www.b.example;\n  listen 80;\n}\n",
       ReadAll},
      {"of two addresses the one with its options",
       "server {\n  listen 1.1.1.1:80;\n  listen 2.2.2.2:443 http2 ssl;\n  server_name a;\n}\n",
       "server {\nserver_name a;\nlisten {% $ip %}:443 ssl;\n}\n",
       {{"ip", kNone, "3.3.3.3"}},
       "server {\n  listen 1.1.1.1:80;\n  listen 3.3.3.3:443 http2 ssl;\n  server_name a;\n}\n",
       ReadAll},
      {"an address with colons of its own",
       "server {\n  listen [::1]:80;\n  server_name a;\n}\n",
       "server {\nserver_name a;\nlisten {% $ip %}:{% $port %};\n}\n",
       {{"ip", kNone, "[::2]"}, {"port", kNone, "8080"}},
       "server {\n  listen [::2]:8080;\n  server_name a;\n}\n",
       ReadAll},
      {"beside another line of the template that is like it",
       "server {\n  server_name a;\n  allow 10.0.0.1;\n  allow 10.0.0.2;\n  deny all;\n}\n",
       "server {\nserver_name a;\nallow 10.0.0.1;\nallow {% $ip %};\n}\n",
       {{"ip", kNone, "10.0.0.3"}},
       "server {\n  server_name a;\n  allow 10.0.0.1;\n  allow 10.0.0.3;\n  deny all;\n}\n",
       ReadAll},
      {"what a line before says makes a later line clear",
       "server {\n  server_name a;\n  root /srv/x;\n  location /x {\n    expires 1d;\n  }\n"
       "  location /y {\n    expires 2d;\n  }\n}\n",
       "server {\nserver_name a;\nroot /srv/{% $app %};\nlocation /{% $app %} {\nexpires {% $time "
       "%};\n}\n}\n",
       {{"app", kNone, "z"}, {"time", kNone, "9d"}},
       "server {\n  server_name a;\n  root /srv/z;\n  location /z {\n    expires 9d;\n  }\n"
       "  location /y {\n    expires 2d;\n  }\n}\n",
       ReadAll},
      {"the one block whose opening it can be",
       "server {\n  server_name a;\n  location = /x {\n    expires 1d;\n  }\n  location / {\n  "
       "}\n}\n",
       "server {\nserver_name a;\nlocation = {% $path %} {\nexpires 1d;\n}\n}\n",
       {{"path", kNone, "/z"}},
       "server {\n  server_name a;\n  location = /z {\n    expires 1d;\n  }\n  location / {\n  "
       "}\n}\n",
       ReadAll},
      {"a line that is to go, whatever it says",
       "server {\n  server_name a;\n  ssl_certificate /etc/tls/old.pem;\n}\n",
       "server {\nserver_name a;\n{% if $tls == on %}\nssl_certificate {% $certificate %};\n{% "
       "endif %}\n}\n",
       {{"certificate", kNone, "/etc/tls/new.pem"}},
       "server {\n  server_name a;\n}\n",
       ReadAll},
      {"none for a line that is not there: it comes",
       "server {\n  server_name a;\n}\n",
       "server {\nserver_name a;\nroot {% $root %};\n}\n",
       {{"root", kNone, "/srv/b"}},
       "server {\n  server_name a;\n  root /srv/b;\n}\n",
       ReadAll},
      {"and none for a site that is not there: it comes, too",
       "server {\n  server_name a;\n}\n",
       "server {\nserver_name b;\nroot {% $root %};\n}\n",
       {{"root", kNone, "/srv/b"}},
       "server {\n  server_name a;\n}\nserver {\n  server_name b;\n  root /srv/b;\n}\n",
       ReadAll},
      {"not of a value that is given",
       "server {\n  server_name a;\n  root /srv/a;\n}\n",
       "server {\nserver_name a;\nroot /{% $top %}/{% $site %};\n}\n",
       {{"top", "srv", "data"}, {"site", kNone, "b"}},
       "server {\n  server_name a;\n  root /data/b;\n}\n",
       ReadAll},
  };
  ExpectEdits(Dialect::kNginx, cases);
}

TEST(ReadOldValue, OfApacheIsFoundByTheNameOfTheHost) {
  const std::string hosts =
      "<VirtualHost 10.0.0.1:80>\n  ServerName a.example\n  DocumentRoot /srv/a\n</VirtualHost>\n"
      "<VirtualHost 10.0.0.2:80>\n  ServerName b.example\n  DocumentRoot /srv/b\n</VirtualHost>\n";
  const std::vector<Case> cases = {
      {"the address of an opening line",
       hosts,
       "<VirtualHost {% $ip %}:80>\nServerName b.example\n</VirtualHost>\n",
       {{"ip", kNone, "10.0.0.3"}},
       With(hosts, "10.0.0.2", "10.0.0.3"),
       ReadAll},
      {"with a directory below it",
       hosts,
       "<VirtualHost {% $ip %}:80>\nServerName b.example\nDocumentRoot {% $root "
       "%}\n</VirtualHost>\n",
       {{"ip", kNone, "10.0.0.3"}, {"root", kNone, "/data"}},
       With(With(hosts, "10.0.0.2", "10.0.0.3"), "/srv/b", "/data"),
       ReadAll},
      {"directives in other letters",
       "<VirtualHost *:80>\n  servername a.example\n  documentroot \"/srv/a\"\n</VirtualHost>\n",
       "<VirtualHost *:80>\nServerName a.example\nDocumentRoot {% $root %}\n</VirtualHost>\n",
       {{"root", kNone, "/srv/b"}},
       "<VirtualHost *:80>\n  servername a.example\n  documentroot \"/srv/b\"\n</VirtualHost>\n",
       ReadAll},
  };
  ExpectEdits(Dialect::kApache, cases);
}

TEST(ReadOldValue, IsReadOfOpeningsInWhatMayBeLeftOut) {
  const std::string upstreams =
      "http {\n  upstream a {\n    server x;\n  }\n}\nother {\n  upstream c {\n    server x;\n  "
      "}\n}\n";
  ExpectEdits(Dialect::kNginx, {{"http",
                                 upstreams,
                                 "upstream {% $u %} {\nserver x;\n}\n",
                                 {{"u", kNone, "b"}},
                                 With(upstreams, "upstream a", "upstream b"),
                                 ReadAll}});
  const std::string folders =
      "<IfModule m>\n<IfModule n>\n<Directory /a>\nX 1\n</Directory>\n</IfModule>\n</IfModule>\n"
      "<VirtualHost *:80>\n<Directory /c>\nX 1\n</Directory>\n</VirtualHost>\n";
  ExpectEdits(Dialect::kApache, {{"conditions in conditions",
                                  folders,
                                  "<Directory {% $d %}>\nX 1\n</Directory>\n",
                                  {{"d", kNone, "/b"}},
                                  With(folders, "<Directory /a>", "<Directory /b>"),
                                  ReadAll}});
}

// Without it, and without a new one, the block could not be found.
TEST(ReadOldValue, IsReadOfTheOpeningOfABlockThatGoes) {
  const auto edited = [](Dialect dialect, const std::string& text, const std::string& config) {
    const Case c = {"", config, "{% if $no %}\n" + text + "{% endif %}\n", {{"v", kNone, kNone}},
                    "", ReadAll};
    return EditedText(RequestOf(dialect, c), config);
  };
  EXPECT_EQ(edited(Dialect::kApache, "<VirtualHost {% $v %}:80>\nServerName a\n</VirtualHost>\n",
                   "<VirtualHost 1.1.1.1:80>\n  ServerName b\n</VirtualHost>\n"
                   "<VirtualHost 1.1.1.2:80>\n  ServerName a\n</VirtualHost>\n"),
            "<VirtualHost 1.1.1.1:80>\n  ServerName b\n</VirtualHost>\n");
  EXPECT_EQ(edited(Dialect::kNginx, "location {% $v %} {\nreturn 404;\n}\n",
                   "upstream u {\n  server x;\n}\nlocation /x {\n  return 404;\n}\n"),
            "upstream u {\n  server x;\n}\n");
}

TEST(ReadOldValue, IsReadOfAConditionWhereTheBlockItselfDoesNotSayIt) {
  const std::string text =
      "<VirtualHost *:80>\nServerName a\nDocumentRoot {% $root %}\n</VirtualHost>\n";
  const auto host = [](const std::string& lines) {
    return "<VirtualHost *:80>\n  ServerName a\n" + lines + "</VirtualHost>\n";
  };
  const auto when = [](const std::string& root) {
    return "  <IfModule m>\n    DocumentRoot " + root + "\n  </IfModule>\n";
  };
  ExpectEdits(
      Dialect::kApache,
      {{"there alone", host(when("/a")), text, {{"root", kNone, "/b"}}, host(when("/b")), ReadAll},
       {"the block's own before it",
        host("  DocumentRoot /a\n" + when("/x")),
        text,
        {{"root", kNone, "/b"}},
        host("  DocumentRoot /b\n" + when("/x")),
        ReadAll},
       {"the block's own behind it",
        host(when("/x") + "  DocumentRoot /a\n"),
        text,
        {{"root", kNone, "/b"}},
        host(when("/x") + "  DocumentRoot /b\n"),
        ReadAll}});
}

TEST(ReadOldValue, IsRefusedWhereTheConfigurationDoesNotSayIt) {
  const std::string two =
      "server {\n  server_name a;\n  listen 80;\n}\nserver {\n  server_name b;\n  listen 80;\n}\n";
  const std::vector<SaidCase> cases = {
      {"several blocks fit what else the template says",
       two,
       "server {\nlisten 80;\nserver_name {% $name %};\n}\n",
       {{"name", kNone, "c"}},
       "ambiguous",
       "site.template:1:1:",
       "fits several blocks",
       ReadAll},
      {"two lines could be meant",
       "server {\n  server_name a;\n  allow 1.1.1.1;\n  allow 2.2.2.2;\n}\n",
       "server {\nserver_name a;\nallow {% $ip %};\n}\n",
       {{"ip", kNone, "3.3.3.3"}},
       "old-value",
       "site.template:3:1:",
       "several old values of 'ip': '1.1.1.1' (site.conf:3:3), '2.2.2.2' "
       "(site.conf:4:3)",
       ReadAll},
      {"two lines contradict each other",
       "server {\n  server_name a;\n  root /srv/a;\n  access_log /log/b;\n}\n",
       "server {\nserver_name a;\nroot /srv/{% $user %};\naccess_log /log/{% $user %};\n}\n",
       {{"user", kNone, "c"}},
       "old-value",
       "site.template:3:1:",
       "'a' (site.conf:3:3), 'b' (site.conf:4:3)",
       ReadAll},
      {"no block has what the name needs",
       two,
       "server {\nlisten 443;\nserver_name {% $name %};\n}\n",
       {{"name", kNone, "c"}},
       "old-value",
       "site.template:3:1:",
       "does not say the old value of 'name'",
       ReadAll},
      {"two openings could be meant",
       "server {\n  server_name a;\n  location /x {\n  }\n  location /y {\n  }\n}\n",
       "server {\nserver_name a;\nlocation {% $path %} {\nexpires 1d;\n}\n}\n",
       {{"path", kNone, "/z"}},
       "old-value",
       "site.template:3:1:",
       "'/x' (site.conf:3:3), '/y' (site.conf:5:3)",
       ReadAll},
      {"several blocks fit, and another block says several values",
       two + "upstream u {\n  server x;\n  server y;\n}\n",
       "server {\nlisten 80;\nx 1;\n}\nupstream u {\nserver {% $to %};\n}\n",
       {{"to", kNone, "z"}},
       "ambiguous",
       "site.template:1:1:",
       "fits several blocks",
       ReadAll},
      {"there is no block of such an opening",
       "server {\n  server_name a;\n}\n",
       "server {\nserver_name a;\nlocation {% $path %} {\nexpires 1d;\n}\n}\n",
       {{"path", kNone, "/z"}},
       "old-value",
       "site.template:3:1:",
       "does not say the old value of 'path'",
       ReadAll},
      {"an address with several options",
       "server {\n  server_name a;\n  listen 80 ssl http2;\n}\n",
       "server {\nserver_name a;\nlisten 80 {% $option %};\n}\n",
       {{"option", kNone, "quic"}},
       "old-value",
       "site.template:3:1:",
       "'ssl' (site.conf:3:3), 'http2' (site.conf:3:3)",
       ReadAll},
      {"two directives of names",
       "server {\n  server_name a;\n  server_name b;\n  listen 80;\n}\n",
       "server {\nlisten 80;\nserver_name {% $name %};\n}\n",
       {{"name", kNone, "c"}},
       "old-value",
       "site.template:3:1:",
       "'a' (site.conf:2:3), 'b' (site.conf:3:3). Say which one is meant",
       ReadAll},
  };
  ExpectRefusals(Dialect::kNginx, cases);
}

// As many as help are named, and not more openings are tried than may be one by one.
TEST(ReadOldValue, IsRefusedWithTheFirstOfMany) {
  const auto allowed = [](int count) {
    std::string lines;
    for (int i = 1; i <= count; ++i) lines += "  allow 1.1.1." + std::to_string(i) + ";\n";
    return "server {\n  server_name a;\n" + lines + "}\n";
  };
  const auto locations = [](int count) {
    std::string blocks;
    for (int i = 1; i <= count; ++i) blocks += "  location /" + std::to_string(i) + " {\n  }\n";
    return "server {\n  server_name a;\n" + blocks + "}\n";
  };
  const std::string line = "server {\nserver_name a;\nallow {% $v %};\n}\n";
  const std::string block = "server {\nserver_name a;\nlocation {% $v %} {\nx 1;\n}\n}\n";
  const auto refused = [](const std::string& config, const std::string& text) {
    const SaidCase c = {"", config, text, {{"v", kNone, "3.3.3.3"}}, "", "", "", ReadAll};
    const Result result = RecordedEdit(RequestOf(Dialect::kNginx, c), config, "site.conf");
    EXPECT_EQ(result.text, config);
    return AllOf(result.refusals);
  };
  const std::string begin = "site.template:3:1: the configuration has several old values of 'v': ";
  const std::string end = ". Say which one is meant [old-value]\n";
  const std::string five =
      "'1.1.1.1' (site.conf:3:3), '1.1.1.2' (site.conf:4:3), '1.1.1.3' (site.conf:5:3), '1.1.1.4' "
      "(site.conf:6:3), '1.1.1.5' (site.conf:7:3)";
  EXPECT_EQ(refused(allowed(5), line), begin + five + end);
  EXPECT_EQ(refused(allowed(6), line), begin + five + " and 1 more" + end);
  EXPECT_EQ(refused(allowed(8), line), begin + five + " and 3 more" + end);
  EXPECT_NE(refused(locations(100), block).find(" and 95 more" + end), std::string::npos);
  EXPECT_EQ(refused(locations(101), block),
            "site.template:3:1: 101 different blocks could be the one of this line. Say the old "
            "value [old-value]\n");
}

TEST(ReadOldValue, OfAHostWithSeveralAddressesIsNotClear) {
  ExpectRefusals(Dialect::kApache,
                 {{"each of the addresses could be meant",
                   "<VirtualHost 1.1.1.1:80 2.2.2.2:80>\nServerName a.example\n</VirtualHost>\n",
                   "<VirtualHost {% $ip %}:80>\nServerName a.example\n</VirtualHost>\n",
                   {{"ip", kNone, "3.3.3.3"}},
                   "old-value",
                   "site.template:1:1:",
                   "'1.1.1.1' (site.conf:1:1), '2.2.2.2' (site.conf:1:1)",
                   ReadAll}});
}

TEST(ReadOldValue, IsReadOfEachTextAnew) {
  Request request;
  request.template_text = "server {\nserver_name a;\nroot {% $root %};\n}\n";
  request.values["root"] = {std::nullopt, "/new", true};
  for (const std::string root : {"/one", "/two"}) {
    const std::string before = "server {\n  server_name a;\n  root " + root + ";\n}\n";
    EXPECT_EQ(Edit(request, before, "site.conf").text, With(before, root, "/new"));
  }
}

TEST(ReadOldValue, CountsInConditionsByItsNewValueOnly) {
  Request request;
  request.template_text =
      "server {\nserver_name a;\n{% if $root == /new %}\nexpires 1d;\n{% endif %}\n"
      "root {% $root %};\n}\n";
  request.values["root"] = {std::nullopt, "/new", true};
  EXPECT_EQ(Edit(request, "server {\n  server_name a;\n  root /old;\n}\n", "site.conf").text,
            "server {\n  server_name a;\n  expires 1d;\n  root /new;\n}\n");
}

// --- Places ---

std::string Found(Dialect dialect, const std::string& line, const Texts& words) {
  std::string found;
  const auto placed = AuthoredLine(dialect, line).PlacedWords();
  for (const PlaceValues& values :
       ValuesInPlaces(dialect, placed, {{"known", "k"}}, {"a", "b"}, words)) {
    found += found.empty() ? "" : " or ";
    for (const auto& [name, text] : values) found += name + "=" + text + ";";
    if (values.empty()) found += "as it is";
  }
  return found;
}

TEST(ValuesInPlaces, CutsTheWordsOfADirective) {
  struct PlacesCase {
    const char* line;
    Texts words;
    const char* found;  // "": none
  };
  const PlacesCase cases[] = {
      {"root {% $a %};", {"root", "/srv"}, "a=/srv;"},
      {"root {% $a %};", {"index", "/srv"}, ""},
      {"root {% $a %};", {"root", "/srv", "/data"}, ""},
      {"root {% $a %};", {"root"}, ""},
      {"root {% $a %};", {"root", ""}, ""},
      {"root /{% $a %}/x;", {"root", "/y/x"}, "a=y;"},
      {"root /{% $a %}/x;", {"root", "//x"}, ""},
      {"root /{% $a %}/{% $a %};", {"root", "/y/y"}, "a=y;"},
      {"root /{% $a %}/{% $a %};", {"root", "/y/z"}, ""},
      {"root /{% $a %}/{% $b %};", {"root", "/y/z"}, "a=y;b=z;"},
      {"root /{% $a %}/{% $b %};", {"root", "/x/y/z"}, ""},
      {"root {% $a %}{% $b %};", {"root", "xyz"}, ""},
      {"root {% $a %}{% $b %};", {"root", "xy"}, "a=x;b=y;"},
      {"root /{% $known %}/{% $b %};", {"root", "/k/z"}, "b=z;"},
      {"root /{% $known %}/{% $b %};", {"root", "/l/z"}, ""},
      {"root /{% $other %}/{% $b %};", {"root", "/k/z"}, ""},
      {"root /srv;", {"root", "/srv"}, "as it is"},
      {"error_page {% $a %} [% $b %];", {"error_page", "404", "/x"}, "a=404;"},
      {"error_page {% $a %} [% $b %];", {"error_page"}, ""},
      {"error_page 404 /x[% $b %];", {"error_page", "404", "/y"}, ""},
      {"listen {% $a %}:{% $b %};", {"listen", "[::1]:80"}, "a=[::1];b=80;"},
      {"listen {% $a %}:80 ssl;", {"listen", "1.1.1.1:80", "http2", "ssl"}, "a=1.1.1.1;"},
      {"listen {% $a %}:80 ssl;", {"listen", "1.1.1.1:80", "http2"}, ""},
      {"server_name {% $a %};", {"server_name", "x", "y"}, "a=x; or a=y;"},
      {"server_name {% $a %} other;", {"server_name", "x"}, ""},
      {"server_name {% $a %} www.{% $a %};", {"server_name", "www.x", "x"}, "a=x;"},
      {"server_name www.{% $a %};", {"server_name", "WWW.X"}, "a=X;"},
  };
  for (const PlacesCase& c : cases) {
    std::string shown = c.line;
    for (const std::string& word : c.words) shown += " " + word;
    SCOPED_TRACE(shown);
    EXPECT_EQ(Found(Dialect::kNginx, c.line, c.words), c.found);
  }
}

}  // namespace
}  // namespace tov_edit
