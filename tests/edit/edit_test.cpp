// SPDX-License-Identifier: Apache-2.0

// Whole edits of everyday files.

#include "edit/edit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

std::string Untaken(const std::string& lines) {
  return "{% if $none %}\n" + lines + "{% endif %}\n";
}

// --- Everyday files ---

// A site with TLS as certbot leaves it.
const std::string kCertbot = R"(# the office's
server {
        root /var/www/office;
        server_name office.example;
        listen 80;
}

server {

        root /var/www/a;
        index index.html;

        server_name a.example www.a.example; # managed by Certbot


        location / {
                try_files $uri $uri/ =404;
        }


    listen [::]:443 ssl ipv6only=on; # managed by Certbot
    listen 443 ssl; # managed by Certbot
    ssl_certificate /etc/letsencrypt/live/a.example/fullchain.pem; # managed by Certbot
    ssl_certificate_key /etc/letsencrypt/live/a.example/privkey.pem; # managed by Certbot
    include /etc/letsencrypt/options-ssl-nginx.conf; # managed by Certbot

}
server {
    if ($host = www.a.example) {
        return 301 https://$host$request_uri;
    } # managed by Certbot


    if ($host = a.example) {
        return 301 https://$host$request_uri;
    } # managed by Certbot


        listen 80 ;
        listen [::]:80 ;
    server_name a.example www.a.example;
    return 404; # managed by Certbot




}
)";

std::string Secure(const std::string& lines) {
  return "server {\nlisten 443 ssl;\nserver_name a.example;\n" + lines + "}\n";
}

TEST(ASiteThatCertbotHasEdited, IsEditedInTheRightBlock) {
  ExpectEdits(
      Dialect::kNginx,
      {{"its root changes",
        kCertbot,
        Secure("root {% $r %};\n"),
        {{"r", "/var/www/a", "/srv/a"}},
        With(kCertbot, "/var/www/a;", "/srv/a;")},
       {"its root changes, whatever it is",
        kCertbot,
        Secure("root [% $r %];\n"),
        {{"r", kNone, "/srv/a"}},
        With(kCertbot, "/var/www/a;", "/srv/a;")},
       {"a limit is added",
        kCertbot,
        Secure("client_max_body_size 8m;\n"),
        {},
        With(kCertbot, "listen 443 ssl; # managed by Certbot\n",
             "listen 443 ssl; # managed by Certbot\n    client_max_body_size 8m;\n")},
       {"... behind its name",
        kCertbot,
        "server {\nserver_name a.example;\nclient_max_body_size 8m;\nlisten 443 ssl;\n}\n",
        {},
        With(kCertbot, "www.a.example; # managed by Certbot\n",
             "www.a.example; # managed by Certbot\n        client_max_body_size 8m;\n")},
       {"a certificate changes",
        kCertbot,
        "server {\nserver_name a.example;\nssl_certificate {% $d %}/fullchain.pem;\n"
        "ssl_certificate_key {% $d %}/privkey.pem;\n}\n",
        {{"d", "/etc/letsencrypt/live/a.example", "/etc/a"}},
        With(With(kCertbot, "/etc/letsencrypt/live/a.example/full", "/etc/a/full"),
             "/etc/letsencrypt/live/a.example/priv", "/etc/a/priv")},
       {"a location is added",
        kCertbot,
        Secure("location /img/ {\nexpires 30d;\n}\n"),
        {},
        With(
            kCertbot, "=404;\n        }\n",
            "=404;\n        }\n\n        location /img/ {\n            expires 30d;\n        }\n")},
       {"an alias is added to both",
        kCertbot,
        "server {\nlisten 443 ssl;\nserver_name a.example shop.a.example;\n}\n"
        "server {\nlisten 80;\nserver_name a.example shop.a.example;\n}\n",
        {},
        With(With(kCertbot, "www.a.example; # managed", "www.a.example shop.a.example; # managed"),
             "www.a.example;\n    return", "www.a.example shop.a.example;\n    return")},
       {"both are renamed",
        kCertbot,
        "server {\nlisten 443 ssl;\nserver_name {% $n %} www.{% $n %};\n}\n"
        "server {\nlisten 80;\nserver_name {% $n %} www.{% $n %};\n}\n",
        {{"n", "a.example", "b.example"}},
        With(With(kCertbot, "a.example www.a.example; # managed",
                  "b.example www.b.example; # managed"),
             "a.example www.a.example;\n    return", "b.example www.b.example;\n    return")},
       {"the redirect goes",
        kCertbot,
        Untaken("server {\nlisten 80;\nserver_name a.example;\n}\n"),
        {},
        kCertbot.substr(0, kCertbot.find("server {\n    if"))},
       {"another site is not concerned",
        kCertbot,
        "server {\nserver_name office.example;\n}\n",
        {},
        kCertbot}});
}

TEST(EverydayFiles, AreEditedInTheRightPlace) {
  const std::string types =
      "server {\n  server_name a;\n  gzip_types text/css\n             text/xml;\n}\n";
  const std::string ports =
      "server {\n  listen 81;\n}\nserver {\n  listen 82;\n}\nserver {\n  listen 83;\n}\n";
  ExpectEdits(Dialect::kNginx,
              {{"nameless servers on several ports, one goes",
                ports,
                Untaken("server {\nlisten 82;\n}\n"),
                {},
                Without(ports, "server {\n  listen 82;\n}\n")},
               {"a site with preferred ciphers, a template without",
                "server {\n  server_name a;\n  ssl_prefer_server_ciphers on;\n}\n",
                "server {\nserver_name a;\ngzip on;\n}\n",
                {},
                "server {\n  server_name a;\n  ssl_prefer_server_ciphers on;\n  gzip on;\n}\n"},
               {"the template's name is not the first one",
                "server {\n  server_name www.a a;\n}\n",
                "server {\nserver_name a;\ngzip on;\n}\n",
                {},
                "server {\n  server_name www.a a;\n  gzip on;\n}\n"},
               {"a directive over several lines",
                types,
                "server {\nserver_name a;\ngzip_types [% $t %];\n}\n",
                {{"t", kNone, "text/plain image/svg+xml"}},
                With(With(types, "text/css", "text/plain"), "text/xml", "image/svg+xml")}});
  const std::string hosts =
      "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot /a\n</VirtualHost>\n\n"
      "<virtualhost *:80 >\n  ServerName b\n  DocumentRoot /b\n</virtualhost>\n";
  ExpectEdits(Dialect::kApache,
              {{"one of two virtual hosts of an address",
                hosts,
                "<VirtualHost *:80>\nServerName b\nDocumentRoot {% $d %}\n</VirtualHost>\n",
                {{"d", "/b", "/c"}},
                With(hosts, "/b", "/c")},
               {"one of them goes",
                hosts,
                Untaken("<VirtualHost *:80>\nServerName b\n</VirtualHost>\n"),
                {},
                hosts.substr(0, hosts.find("\n<virtual"))}});
}

TEST(EverydayFiles, AreNotEditedWhereTheTemplateSaysTooLittle) {
  const std::string errors =
      "server {\n  server_name a;\n  error_page 404 /404;\n  error_page 500 /500;\n}\n";
  ExpectRefusals(
      Dialect::kNginx,
      {{"a redirect and its site, without an address",
        kCertbot,
        "server {\nserver_name a.example;\nroot /srv/a;\n}\n",
        {},
        "ambiguous",
        "site.template:1:1:",
        "site.conf:8:1 'server' (a.example, www.a.example, [::]:443, *:443), site.conf:28:1 "
        "'server' (a.example, www.a.example, *:80, [::]:80)"},
       {"several error pages",
        errors,
        "server {\nserver_name a;\nerror_page [% $e %];\n}\n",
        {{"e", kNone, "403 /403"}},
        "ambiguous",
        "site.template:3:1:",
        "site.conf:4:3"},
       {"a removal without its name",
        "server {\n  listen 80 default_server;\n}\n",
        Untaken("server {\nserver_name {% $n %};\n}\n"),
        {},
        "missing-value",
        "site.template:3:1:",
        "Set it"},
       {"an import that is not there",
        kCertbot,
        "{% import site.template %}\n",
        {},
        "import",
        "site.template:1:4:",
        "there is no file 'site.template'"}});
}

TEST(AnEdit, ReadsItsBlockOnly) {
  const std::string odd = R"(lua_package_path "/x/?.lua;;";
init_by_lua_block { local x = "}" -- }
}
map $a $b { default "{"; "~^/x{2}$" 1; }
server
{
    server_name odd; location ~ "^/[a-z]{2,3}$" { return 200 "}"; }
    if ($x) { set $y ';'; } if ($z) { }
    content_by_lua_block { ngx.say([[ } ]]) }
}
server {
    server_name a;
    root /a;
}
)";
  ExpectEdits(Dialect::kNginx, {{"whatever stands in others",
                                 odd,
                                 "server {\nserver_name a;\nroot {% $r %};\n}\n",
                                 {{"r", "/a", "/b"}},
                                 With(odd, "/a;", "/b;")}});
}

TEST(AnEdit, GoesThereAndBack) {
  struct Way {
    std::string name;
    std::string config;
    std::string text;
    NamedValues values;
  };
  const std::vector<Way> ways = {
      {"a value", kCertbot, Secure("root {% $r %};\n"), {{"r", "/var/www/a", "/srv"}}},
      {"a name",
       kCertbot,
       Secure("server_name {% $n %};\n"),
       {{"n", "www.a.example", "w.example"}}},
      {"an address",
       kCertbot,
       "server {\nlisten {% $p %} ssl;\nserver_name a.example;\n}\n",
       {{"p", "443", "8443"}}},
      {"an opening line", kCertbot, Secure("location {% $l %} {\n}\n"), {{"l", "/", "/x"}}},
      {"a word of several",
       "server {\n  server_name a;\n  gzip_types a\n  b  # c\n  ;\n}\n",
       "server {\nserver_name a;\ngzip_types a {% $t %};\n}\n",
       {{"t", "b", "x"}}},
      {"quotes",
       "server {\n  server_name a;\n  root '/a b';\n}\n",
       "server {\nserver_name a;\nroot \"{% $r %}\";\n}\n",
       {{"r", "/a b", "/c"}}}};
  for (const Way& way : ways) {
    SCOPED_TRACE(way.name);
    Request request = RequestOf(Dialect::kNginx, Case{"", "", way.text, way.values, ""});
    const std::string there = EditedText(request, way.config);
    EXPECT_NE(there, way.config);
    for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
    EXPECT_EQ(EditedText(request, there), way.config);
  }
}

TEST(AnEdit, OfADeeplyNestedTextIsNoDeeper) {
  std::string front;
  std::string back;
  for (int i = 0; i < 20000; ++i) {
    front += "a {\n";
    back += "}\n";
  }
  const std::string site = "server {\nserver_name a;\n}\n";
  const Case c = {"", front + back + site, "server {\nserver_name a;\ngzip on;\n}\n", {}, ""};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, c), c.config),
            front + back + "server {\nserver_name a;\ngzip on;\n}\n");
}

// --- Refusals and warnings ---

TEST(ARefusedEdit, LeavesTheTextAndGivesAllReasons) {
  const std::string config = "server {\n\tserver_name a;\n\troot /x;\n\tgzip off;\n}\n";
  const Case c = {"",
                  config,
                  "server {\nserver_name a;\nroot {% $r %};\ngzip on;\netag on;\n" +
                      Untaken("expires 1d;\n") + "}\n",
                  {{"r", "/a", "/b"}},
                  "",
                  [](Request& request) {
                    request.must_exist = true;
                    request.must_be_used = {"typo"};
                  }};
  Request request = RequestOf(Dialect::kNginx, c);
  const auto refusals = [&] {
    const Result result = RecordedEdit(request, config, "site.conf");
    EXPECT_EQ(result.text, config);
    std::vector<std::string> names;
    for (const Finding& refusal : result.refusals) names.push_back(refusal.name);
    std::sort(names.begin(), names.end());
    return names;
  };
  // What is wrong with the template and its values is said before the text is looked at.
  EXPECT_EQ(refusals(), std::vector<std::string>({"unused-value"}));
  request.must_be_used.clear();
  EXPECT_EQ(refusals(), std::vector<std::string>({"not-found", "other-value", "other-value"}));
}

TEST(Refusals, OfWhichThatIsSaidDoNotCountWhenForced) {
  struct Forced {
    std::string name;
    std::string config;
    std::string text;
    std::string expected;
    Ask ask;
  };
  const std::vector<Forced> cases = {
      {"other-value", "server {\n\troot /x;\n}\n", "server {\nroot /y;\n}\n",
       "server {\n\troot /x;\n\troot /y;\n}\n", nullptr},
      {"syntax", "server {\n\tserver_name a;\n}\n}\n", "server {\nserver_name a;\netag on;\n}\n",
       "server {\n\tserver_name a;\n\tetag on;\n}\n}\n", nullptr},
      {"unused-value", "etag on;\n", "etag on;\n", "etag on;\n",
       [](Request& request) { request.must_be_used = {"typo"}; }},
      {"unmatched-section", "", "etag on;\nserver {\nserver_name a;\n}\n",
       "etag on;\nserver {\n\tserver_name a;\n}\n",
       [](Request& request) { request.create = Create::kNever; }}};
  for (const Forced& c : cases) {
    SCOPED_TRACE(c.name);
    Request request = RequestOf(Dialect::kNginx, Case{"", c.config, c.text, {}, "", c.ask});
    const Result refused = RecordedEdit(request, c.config, "site.conf");
    ASSERT_EQ(refused.refusals.size(), 1U) << AllOf(refused.refusals);
    EXPECT_EQ(refused.refusals[0].name, c.name);
    EXPECT_EQ(refused.text, c.config);
    request.forced = {c.name};
    EXPECT_EQ(EditedText(request, c.config), c.expected);
  }
}

TEST(Findings, HaveNamesThatTellThemApart) {
  std::set<std::string> refusals;
  for (const std::vector<FindingKind>* const kinds : {&kForcedRefusals, &kFirmRefusals}) {
    for (const FindingKind& kind : *kinds) {
      EXPECT_TRUE(refusals.insert(kind.name).second) << kind.name;
      EXPECT_NE(std::string(kind.what), "");
    }
  }
  EXPECT_EQ(refusals.count("ambiguous"), 1U);
  std::set<std::string> warnings;
  for (const FindingKind& kind : kEditWarnings) {
    EXPECT_TRUE(warnings.insert(kind.name).second) << kind.name;
  }
}

TEST(Findings, AreShownOnOneLineWithoutControlCharacters) {
  EXPECT_EQ(Shown(FilePlace{"a.conf", 0, 0}), "a.conf");
  EXPECT_EQ(Shown(FilePlace{"a.conf", 3, 0}), "a.conf:3");
  EXPECT_EQ(Shown(FilePlace{"a.conf", 3, 7}), "a.conf:3:7");
  EXPECT_EQ(Printable("a\x1b[2J\tb\x7f\n"), "a?[2J\tb??");
  EXPECT_EQ(Quoted("  root\n\t\t/a  ;\r\n"), "'root /a ;'");
  EXPECT_EQ(Quoted(""), "''");
  EXPECT_EQ(Quoted(std::string(100, 'x')), "'" + std::string(100, 'x') + "'");
  EXPECT_EQ(Quoted(std::string(101, 'x')), "'" + std::string(100, 'x') + "...'");
}

TEST(AMessage, ShowsNoControlCharactersOfTheText) {
  const std::string config = "server {\n\tserver_name a;\n\troot \"/x\x1b[2J\";\n}\n";
  const Case c = {"", config, "server {\nserver_name a;\nroot /y;\n}\n", {}, ""};
  const Result result = RecordedEdit(RequestOf(Dialect::kNginx, c), config, "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U);
  EXPECT_EQ(Shown(result.refusals[0]).find('\x1b'), std::string::npos);
  EXPECT_NE(Shown(result.refusals[0]).find("'root \"/x?[2J\";'"), std::string::npos)
      << Shown(result.refusals[0]);
}

}  // namespace
}  // namespace tov_edit
