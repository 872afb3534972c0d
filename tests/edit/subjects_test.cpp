// SPDX-License-Identifier: Apache-2.0

// Directives of which each may be repeated, but not for the same header, code or name.

#include "edit/match/subjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "edit/edit_case.h"
#include "server/server_folder.h"

namespace tov_edit {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using tov_document::Dialect;

TEST(SubjectsOf, SaysWhatADirectiveSpeaksOf) {
  using Texts = std::vector<std::string>;
  struct Case {
    Dialect dialect;
    const char* block;
    Texts words;
    Texts subjects;
  };
  const Case cases[] = {
      {Dialect::kNginx, "http", {"log_format", "main", "$uri"}, {"main"}},
      {Dialect::kNginx, "http", {"log_format", "Main", "$uri"}, {"Main"}},
      {Dialect::kNginx, "http", {"limit_req_zone", "$uri", "zone=a:1m", "rate=1r/s"}, {"a"}},
      {Dialect::kNginx, "http", {"limit_req_zone", "$uri", "zone=a:1m:b"}, {"a"}},
      {Dialect::kNginx, "server", {"limit_req", "burst=5", "zone=a"}, {"a"}},
      {Dialect::kNginx, "server", {"limit_req", "burst=5"}, {}},
      {Dialect::kNginx, "http", {"proxy_cache_path", "/c", "keys_zone=a:1m"}, {"a", "path /c"}},
      {Dialect::kNginx, "server", {"error_page", "500", "502", "/50x.html"}, {"500", "502"}},
      {Dialect::kNginx, "server", {"error_page", "404", "=200", "/index.html"}, {"404"}},
      {Dialect::kNginx, "server", {"proxy_cache_valid", "404", "1m"}, {"404"}},
      {Dialect::kNginx, "server", {"proxy_cache_valid", "1m"}, {"200", "301", "302"}},
      {Dialect::kNginx, "server", {"add_header", "X-A", "1"}, {"x-a"}},
      {Dialect::kNginx, "server", {"add_header", "Set-Cookie", "a=1"}, {}},
      {Dialect::kNginx, "server", {"add_header", "LINK", "</a>; rel=preload"}, {}},
      {Dialect::kNginx, "server", {"proxy_set_header", "HOST", "a"}, {"host"}},
      {Dialect::kNginx, "server", {"fastcgi_param", "HTTPS", "on"}, {"HTTPS"}},
      {Dialect::kNginx, "server", {"index", "index.php", "index.html"}, {""}},
      {Dialect::kNginx, "server", {"deny", "all"}, {}},
      {Dialect::kNginx, "server", {"index"}, {}},
      {Dialect::kNginx, "map", {"default", "1"}, {"default"}},
      {Dialect::kNginx, "map", {"a.example", "1"}, {"a.example"}},
      {Dialect::kNginx, "map", {"~^/A", "1"}, {"~^/A"}},
      {Dialect::kNginx, "map", {"include", "a.map"}, {}},
      {Dialect::kNginx, "geo", {"10.0.0.0/8", "1"}, {"10.0.0.0/8"}},
      {Dialect::kNginx, "geo", {"proxy", "10.0.0.1"}, {}},
      {Dialect::kNginx, "types", {"text/html", "html"}, {}},
      {Dialect::kApache, "", {"php_value", "memory_limit", "1G"}, {"memory_limit"}},
      {Dialect::kApache, "", {"ERRORDOCUMENT", "404", "/a"}, {"404"}},
      {Dialect::kApache, "", {"LogFormat", "%h", "main"}, {"main"}},
      {Dialect::kApache, "", {"LogFormat", "%h"}, {""}},
      {Dialect::kApache, "", {"SSLProxyCipherSuite", "TLSv1.3", "A"}, {"TLSv1.3"}},
      {Dialect::kApache, "", {"SSLProxyCipherSuite", "A"}, {""}},
      {Dialect::kApache, "", {"Header", "set", "X-A", "1"}, {"x-a"}},
      {Dialect::kApache, "", {"header", "onsuccess", "SET", "X-A", "1"}, {"x-a"}},
      {Dialect::kApache, "", {"Header", "always", "set", "X-A", "1"}, {"always x-a"}},
      {Dialect::kApache, "", {"Header", "set", "X-A", "1", "env=a"}, {}},
      {Dialect::kApache, "", {"Header", "append", "X-A", "1"}, {}},
      {Dialect::kApache, "", {"Header", "set"}, {}},
      {Dialect::kApache, "", {"Redirect", "/a", "/b"}, {"/a"}},
      {Dialect::kApache, "", {"Redirect", "Permanent", "/a", "/b"}, {"/a"}},
      {Dialect::kApache, "", {"Redirect", "410", "/a"}, {"/a"}},
      {Dialect::kApache, "", {"Redirect", "temp", "/a", "/b"}, {"/a"}},
      {Dialect::kApache, "", {"Redirect", "SeeOther", "/a", "/b"}, {"/a"}},
      {Dialect::kApache, "", {"Redirect", "gone", "/a"}, {"/a"}},
      {Dialect::kApache, "Location", {"Redirect", "permanent", "https://a/"}, {""}},
      {Dialect::kApache, "", {"ProxyPass", "/a", "http://b/"}, {"/a"}},
      {Dialect::kApache, "Location", {"ProxyPass", "http://b/"}, {""}},
      {Dialect::kApache, "", {"ProxyPassReverse", "/a", "http://b/"}, {}},
      {Dialect::kApache, "map", {"default", "1"}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    EXPECT_EQ(SubjectsOf(c.dialect, c.block, c.words).all, c.subjects);
  }
}

// --- What comes of a template line beside another one of its directive ---

struct Beside {
  const char* there;
  const char* added;
  const char* advice = "";  // the trailing place that the message offers; "": none
};

SaidCase SaidOf(const Beside& beside, const std::string& opening, const std::string& closing,
                const char* finding) {
  const std::string there = beside.there;
  const std::string added = beside.added;
  SaidCase c;
  c.name = added;
  c.config = opening + "\t" + there + "\n" + closing;
  c.template_text = opening + "\t" + added + "\n" + closing;
  c.finding = finding;
  c.place = "site.template:";
  c.part = "'" + there + "'";
  c.expected = opening + "\t" + there + "\n\t" + added + "\n" + closing;
  return c;
}

template <std::size_t kSize>
void ExpectRefused(Dialect dialect, const Beside (&all)[kSize], const std::string& opening,
                   const std::string& closing) {
  for (const Beside& beside : all) {
    SaidCase c = SaidOf(beside, opening, closing, "other-value");
    c.part += " is, and the server allows only one. Give the value that is there as the old one";
    const std::string advice = beside.advice;
    c.part += advice.empty() ? " of a full place" : ", or write a trailing place: '" + advice + "'";
    ExpectRefusals(dialect, {c});
    const auto force = [](Request& request) { request.forced = {"other-value"}; };
    ExpectEdits(dialect, {{c.name, c.config, c.template_text, {}, c.expected, force}});
  }
}

constexpr Beside kServerRefused[] = {
    {"error_page 404 /404.html;", "error_page 404 =200 /index.html;",
     "error_page 404 [% $value %];"},
    {"error_page 500 502 /50x.html;", "error_page 502 /502.html;", "error_page [% $value %];"},
    {"proxy_set_header Host $host;", "proxy_set_header host $http_host;",
     "proxy_set_header [% $value %];"},
    {"proxy_set_header Host $host;", "proxy_set_header Host $http_host;",
     "proxy_set_header Host [% $value %];"},
    {"fastcgi_param HTTPS on;", "fastcgi_param HTTPS off;", "fastcgi_param HTTPS [% $value %];"},
    {"limit_req zone=a burst=5;", "limit_req zone=a;", "limit_req [% $value %];"},
    {"limit_conn a 5;", "limit_conn a 10;", "limit_conn a [% $value %];"},
    {"proxy_cache_valid 200 302 1h;", "proxy_cache_valid 302 1m;",
     "proxy_cache_valid [% $value %];"},
};

constexpr Beside kHttpRefused[] = {
    {"log_format main '$remote_addr';", "log_format main '$remote_addr $host';",
     "log_format main [% $value %];"},
    {"limit_req_zone $binary_remote_addr zone=login:10m rate=1r/s;",
     "limit_req_zone $binary_remote_addr zone=login:10m rate=5r/s;",
     "limit_req_zone $binary_remote_addr zone=login:10m [% $value %];"},
    {"limit_conn_zone $uri zone=a:10m;", "limit_conn_zone $host zone=a:10m;",
     "limit_conn_zone [% $value %];"},
    {"proxy_cache_path /a keys_zone=a:1m;", "proxy_cache_path /b keys_zone=a:1m;",
     "proxy_cache_path [% $value %];"},
    {"proxy_cache_path /a keys_zone=a:1m;", "proxy_cache_path /a keys_zone=b:1m;",
     "proxy_cache_path /a [% $value %];"},
};

constexpr Beside kMapRefused[] = {
    {"default 0;", "default 1;", "default [% $value %];"},
    {"c.example 1;", "c.example 2;", "c.example [% $value %];"},
    {"~^/a 1;", "~^/a 2;", "~^/a [% $value %];"},
};

constexpr Beside kGeoRefused[] = {
    {"default 0;", "default 1;", "default [% $value %];"},
    {"10.0.0.0/8 1;", "10.0.0.0/8 2;", "10.0.0.0/8 [% $value %];"},
};

constexpr Beside kApacheRefused[] = {
    {"php_flag engine on", "php_flag engine off", "php_flag engine [% $value %]"},
    {"php_value upload_max_filesize 64M", "php_value upload_max_filesize 128M",
     "php_value upload_max_filesize [% $value %]"},
    {"php_admin_flag engine on", "php_admin_flag engine off", "php_admin_flag engine [% $value %]"},
    {"SetEnv MODE a", "SetEnv MODE b", "SetEnv MODE [% $value %]"},
    {"errordocument 404 /a", "ErrorDocument 404 /b", "ErrorDocument 404 [% $value %]"},
    {"LogFormat \"%h\" main", "LogFormat \"%h %u\" main", "LogFormat [% $value %]"},
    {"Header set X-Frame-Options SAMEORIGIN", "Header set X-Frame-Options DENY",
     "Header set X-Frame-Options [% $value %]"},
    {"Alias /icons/ /usr/share/icons/", "Alias /icons/ /srv/icons/", "Alias /icons/ [% $value %]"},
    {"Redirect permanent /a /b", "Redirect /a /c", "Redirect [% $value %]"},
    {"ProxyPass /a http://a/", "ProxyPass /a http://b/", "ProxyPass /a [% $value %]"},
};

TEST(ALineOfOneSubject, IsNotAddedASecondTime) {
  ExpectRefused(Dialect::kNginx, kServerRefused, "server {\n\tserver_name a;\n", "}\n");
  ExpectRefused(Dialect::kNginx, kHttpRefused, "http {\n", "}\n");
  ExpectRefused(Dialect::kNginx, kMapRefused, "map $host $site {\n", "}\n");
  ExpectRefused(Dialect::kNginx, kGeoRefused, "geo $site {\n", "}\n");
  ExpectRefused(Dialect::kApache, kApacheRefused, "<VirtualHost *:80>\n\tServerName a\n",
                "</VirtualHost>\n");
}

TEST(ALineOfOneSubject, IsRefusedWithTheWayOut) {
  const std::string opening = "<VirtualHost *:80>\n\tServerName a\n";
  const std::string condition = "\t<IfModule a>\n\t\tSetEnv A 1\n\t</IfModule>\n";
  const SaidCase cases[] = {
      {"several begin like the trailing place",
       opening + "\tLogFormat a main\n\tLogFormat a other\n</VirtualHost>\n",
       opening + "\tLogFormat b main\n</VirtualHost>\n",
       {},
       "other-value",
       "site.template:3:2:",
       "'LogFormat a main' is, and the server allows only one. Give the value that is there as "
       "the old one of a full place"},
      {"it stands in a condition",
       opening + condition + "</VirtualHost>\n",
       opening + "\tSetEnv A 2\n</VirtualHost>\n",
       {},
       "other-value",
       "site.template:3:2:",
       "'SetEnv A 1' is, and the server allows only one. Give the value that is there as the "
       "old one of a full place, or write the condition into the template"},
      {"the old value is not there",
       opening + "\tSetEnv A hand\n</VirtualHost>\n",
       opening + "\tSetEnv A {% $a %}\n</VirtualHost>\n",
       {{"a", "1", "2"}},
       "other-value",
       "site.template:3:2:",
       "'SetEnv A hand'"},
  };
  for (const SaidCase& c : cases) ExpectRefusals(Dialect::kApache, {c});
}

constexpr Beside kWarned[] = {
    {"add_header X-Frame-Options SAMEORIGIN;", "add_header X-Frame-Options DENY;"},
    {"add_header X-Frame-Options DENY;", "add_header x-frame-options DENY always;"},
    {"set $a 1;", "set $a 2;"},
    {"proxy_ssl_protocols TLSv1.2;", "proxy_ssl_protocols TLSv1.3;"},
    {"ssl_certificate /old.pem;", "ssl_certificate /new.pem;"},
    {"index index.html;", "index index.php;"},
    {"access_log /a.log combined;", "access_log /a.log;"},
};

constexpr Beside kUpstreamWarned[] = {
    {"server 10.0.0.1:80 weight=3;", "server 10.0.0.1:80 weight=5;"},
};

constexpr Beside kApacheWarned[] = {
    {"SSLCertificateFile /old.pem", "SSLCertificateFile /new.pem"},
    {"DirectoryIndex index.html", "DirectoryIndex index.php"},
    {"CustomLog /a.log common", "CustomLog /a.log combined"},
};

template <std::size_t kSize>
void ExpectWarned(Dialect dialect, const Beside (&all)[kSize], const std::string& opening,
                  const std::string& closing) {
  for (const Beside& beside : all) {
    ExpectWarnings(dialect, {SaidOf(beside, opening, closing, "second-line")});
  }
}

TEST(ALineOfOneSubject, IsWarnedOfWhereBothCount) {
  ExpectWarned(Dialect::kNginx, kWarned, "server {\n\tserver_name a;\n", "}\n");
  ExpectWarned(Dialect::kNginx, kUpstreamWarned, "upstream a {\n", "}\n");
  ExpectWarned(Dialect::kApache, kApacheWarned, "<VirtualHost *:80>\n\tServerName a\n",
               "</VirtualHost>\n");
}

template <std::size_t kSize>
void ExpectSilent(Dialect dialect, const Beside (&all)[kSize], const std::string& opening,
                  const std::string& closing) {
  for (const Beside& beside : all) {
    const SaidCase c = SaidOf(beside, opening, closing, "");
    ExpectEdits(dialect, {{c.name, c.config, c.template_text, {}, c.expected}});
  }
}

TEST(ALineOfAnotherSubject, IsAddedWithoutAWord) {
  const Beside server[] = {
      {"add_header Set-Cookie a=1;", "add_header Set-Cookie b=2;"},
      {"add_header Link </a>;", "add_header link </b>;"},
      {"add_header X-A 1;", "add_header X-B 1;"},
      {"error_page 404 /404.html;", "error_page 500 =404 /50x.html;"},
      {"proxy_set_header Host $host;", "proxy_set_header X-Host $host;"},
      {"set $a 1;", "set $b 1;"},
      {"access_log /a.log;", "access_log /b.log;"},
      {"limit_req zone=a;", "limit_req zone=b;"},
      {"deny 10.0.0.1;", "deny 10.0.0.2;"},
      {"rewrite ^/a /b;", "rewrite ^/a /c;"},
  };
  const Beside map[] = {
      {"default 0;", "a.example 1;"},
      {"~^/a 1;", "~^/A 1;"},
      {"include a.map;", "include b.map;"},
  };
  const Beside upstream[] = {{"server 10.0.0.1:80;", "server 10.0.0.1:81;"}};
  const Beside apache[] = {
      {"SetEnv A 1", "SetEnv a 1"},
      {"Header set A 1", "Header always set A 1"},
      {"Header set A 1 env=x", "Header set A 2 env=y"},
      {"Header add Set-Cookie a", "Header add Set-Cookie b"},
      {"php_value a 1", "php_value b 1"},
      {"ProxyPassReverse /a http://a/", "ProxyPassReverse /a http://b/"},
      {"Require ip 10.0.0.1", "Require ip 10.0.0.2"},
  };
  ExpectSilent(Dialect::kNginx, server, "server {\n\tserver_name a;\n", "}\n");
  ExpectSilent(Dialect::kNginx, map, "map $host $site {\n", "}\n");
  ExpectSilent(Dialect::kNginx, upstream, "upstream a {\n", "}\n");
  ExpectSilent(Dialect::kApache, apache, "<VirtualHost *:80>\n\tServerName a\n",
               "</VirtualHost>\n");
}

TEST(ALineOfOneSubject, StandsBesideWhatTheTemplateStatesOrRemoves) {
  const std::string opening = "server {\n\tserver_name a;\n";
  const std::string there = "\tadd_header X-A 1;\n\terror_page 404 /a;\n";
  const std::string added = "\tadd_header X-A 2;\n\terror_page 404 /b;\n";
  ExpectEdits(Dialect::kNginx,
              {{"stated behind it",
                opening + there + "}\n",
                opening + "\tadd_header X-A 2;\n\tadd_header X-A 1;\n\terror_page 404 /b;\n"
                          "\terror_page 404 /a;\n}\n",
                {},
                opening + "\tadd_header X-A 2;\n\tadd_header X-A 1;\n\terror_page 404 /b;\n"
                          "\terror_page 404 /a;\n}\n"},
               {"removed",
                opening + there + "}\n",
                opening + added + "{% if $none %}\n" + there + "{% endif %}\n}\n",
                {},
                opening + added + "}\n"},
               {"of a new block",
                "",
                opening + there + added + "}\n",
                {},
                opening + there + added + "}\n"}});
}

// --- What the server does ---

class NginxSubjects : public testing::Test {
 protected:
  // What nginx says of both, one behind the other.
  std::string SaidOfBoth(const Beside& beside, const std::string& before,
                         const std::string& behind) {
    m_folder.Write("nginx.conf", "pid nginx.pid; events { } " + before + beside.there + "\n" +
                                     beside.added + behind + "\n");
    std::string said;
    m_folder.Run(
        "nginx -t -p " + m_folder.Path() + " -e stderr -g 'error_log stderr;' -c nginx.conf", said);
    return said;
  }

  const ServerFolder m_folder{"subjects"};
};

TEST_F(NginxSubjects, ASecondOneIsRefusedWhereTheNamesOfTheServerClash) {
  for (const Beside& beside : kHttpRefused) {
    SCOPED_TRACE(beside.added);
    EXPECT_THAT(
        SaidOfBoth(beside, "http { ", " }"),
        AllOf(HasSubstr("[emerg]"), AnyOf(HasSubstr("duplicate"), HasSubstr("already bound"),
                                          HasSubstr("the same path name"))));
  }
  for (const char* const limit :
       {"limit_req zone=a; limit_req zone=a burst=5;", "limit_conn b 5; limit_conn b 10;"}) {
    EXPECT_THAT(SaidOfBoth({limit, ""},
                           "http { limit_req_zone $uri zone=a:1m rate=1r/s; "
                           "limit_conn_zone $uri zone=b:1m; server { ",
                           " } }"),
                HasSubstr("directive is duplicate"));
  }
}

TEST_F(NginxSubjects, OneValueOfAMapIsGivenUp) {
  for (const Beside& beside : kMapRefused) {
    const std::string said = SaidOfBoth(beside, "http { map $uri $a { ", " } }");
    const bool is_regex = beside.there[0] == '~';  // the first one of these is taken
    EXPECT_THAT(said, is_regex ? HasSubstr("test is successful") : HasSubstr("[emerg]"));
  }
  for (const Beside& beside : kGeoRefused) {
    EXPECT_THAT(SaidOfBoth(beside, "http { geo $a { ", " } }"), HasSubstr("duplicate network"));
  }
}

TEST_F(NginxSubjects, BothAreTakenWhereBothCount) {
  for (const Beside& beside : kWarned) {
    if (std::string_view(beside.there).substr(0, 15) == "ssl_certificate")
      continue;  // no such file
    EXPECT_THAT(SaidOfBoth(beside, "http { server { ", " } }"), HasSubstr("test is successful"));
  }
  EXPECT_THAT(SaidOfBoth(kUpstreamWarned[0], "http { upstream a { ", " } }"),
              HasSubstr("test is successful"));
}

}  // namespace
}  // namespace tov_edit
