// SPDX-License-Identifier: Apache-2.0

// What becomes of a site: its template, its values, and what is left out.

#include "adopt/adopt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit.h"

namespace tov_adopt {
namespace {

struct Case {
  std::string name;
  Dialect dialect = Dialect::kNginx;
  std::string config;
  std::string template_text;
  std::string values;    // "name=a.example port=80"; those with blanks in brackets
  std::string left_out;  // "" or the beginning of what is said
  void (*ask)(Options&) = nullptr;
};

std::string Shown(const tov_edit::Values& values) {
  std::string shown;
  for (const auto& [name, value] : values) {
    EXPECT_EQ(value.old_value, value.new_value) << name;
    const bool blank = value.old_value->find(' ') != std::string::npos;
    shown += (shown.empty() ? "" : " ") + name + '=' +
             (blank ? '[' + *value.old_value + ']' : *value.old_value);
  }
  return shown;
}

std::string Said(const std::vector<Finding>& findings) {
  std::string said;
  for (const Finding& finding : findings) {
    said += tov_edit::Shown(finding) + " [" + finding.name + "]\n";
  }
  return said;
}

Adopted AdoptedOf(const Case& c) {
  Options options;
  options.dialect = c.dialect;
  if (c.ask != nullptr) c.ask(options);
  return Adopt(options, c.config, "site.conf");
}

void ExpectAdopted(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Adopted adopted = AdoptedOf(c);
    EXPECT_EQ(Said(adopted.refusals), "");
    EXPECT_EQ(adopted.template_text, c.template_text);
    EXPECT_EQ(Shown(adopted.values), c.values);
    EXPECT_EQ(Said(adopted.left_out).substr(0, c.left_out.size()), c.left_out);
    EXPECT_EQ(adopted.left_out.empty(), c.left_out.empty()) << Said(adopted.left_out);
    tov_edit::Request request;
    request.dialect = c.dialect;
    request.template_text = adopted.template_text;
    request.values = adopted.values;
    EXPECT_EQ(Edit(request, c.config, "site.conf").text, c.config);
  }
}

TEST(Adopt, PutsValuesWhereTheirTextsStand) {
  ExpectAdopted({
      {"a name in all lines that hold it", Dialect::kNginx,
       "server {\n server_name a.example;\n root /srv/a.example/htdocs;\n"
       " access_log /var/log/a.example.log;\n error_log /var/log/a.example-error.log;\n"
       " return 301 https://a.example$request_uri;\n}\n",
       "server {\n\tserver_name {% $name %};\n\troot /srv/{% $name %}/htdocs;\n"
       "\taccess_log /var/log/{% $name %}.log;\n\terror_log /var/log/{% $name %}-error.log;\n"
       "\treturn 301 https://{% $name %}$request_uri;\n}\n",
       "name=a.example", ""},
      {"but not where it is a part of a longer word", Dialect::kNginx,
       "server {\n server_name a.example;\n add_header X \"data.example a.example.org xa.example "
       "a.example-b www2.a.example\";\n}\n",
       "server {\n\tserver_name {% $name %};\n\tadd_header X \"data.example a.example.org "
       "xa.example a.example-b www2.a.example\";\n}\n",
       "name=a.example", ""},
      {"all names below the site's own", Dialect::kNginx,
       "server {\n server_name a.example *.a.example;\n}\n",
       "server {\n\tserver_name {% $name %} *.{% $name %};\n}\n", "name=a.example", ""},
      {"a name without a dot in paths only", Dialect::kNginx,
       "server {\n server_name localhost;\n root /srv/localhost;\n"
       " location / {\n  proxy_pass http://localhost:8080;\n }\n}\n",
       "server {\n\tserver_name {% $name %};\n\troot /srv/{% $name %};\n"
       "\tlocation / {\n\t\tproxy_pass {% $backend %};\n\t}\n}\n",
       "backend=http://localhost:8080 name=localhost", ""},
      {"known directives", Dialect::kNginx,
       "server {\n listen 192.0.2.1:443 ssl;\n listen [2001:db8::1]:443 ssl;\n"
       " server_name a.example;\n root /srv/a;\n ssl_certificate /etc/ssl/a.pem;\n"
       " ssl_certificate_key /etc/ssl/a.key;\n access_log off;\n"
       " location ~ \\.php$ {\n  root /srv/a/php;\n  fastcgi_pass unix:/run/php.sock;\n }\n}\n",
       "server {\n\tlisten {% $ip %}:{% $port %} ssl;\n\tlisten {% $ipv6 %}:{% $port %} ssl;\n"
       "\tserver_name {% $name %};\n\troot {% $root %};\n\tssl_certificate {% $certificate %};\n"
       "\tssl_certificate_key {% $certificate_key %};\n\taccess_log off;\n"
       "\tlocation ~ \\.php$ {\n\t\troot {% $root %}/php;\n"
       "\t\tfastcgi_pass unix:{% $php_socket %};\n\t}\n}\n",
       "certificate=/etc/ssl/a.pem certificate_key=/etc/ssl/a.key ip=192.0.2.1 "
       "ipv6=[2001:db8::1] name=a.example php_socket=/run/php.sock port=443 root=/srv/a",
       ""},
      {"several of a kind are numbered", Dialect::kNginx,
       "server {\n listen 80;\n listen 8080;\n server_name a.example;\n root /srv/a;\n"
       " location /b/ {\n  root /data/b;\n }\n}\n",
       "server {\n\tlisten {% $port %};\n\tlisten {% $port_2 %};\n\tserver_name {% $name %};\n"
       "\troot {% $root %};\n\tlocation /b/ {\n\t\troot {% $root_2 %};\n\t}\n}\n",
       "name=a.example port=80 port_2=8080 root=/srv/a root_2=/data/b", ""},
      {"one alias wherever it stands, as a list of names", Dialect::kNginx,
       "server {\n server_name a.example www.a.example;\n"
       " if ($host = www.a.example) {\n  return 301 https://a.example/;\n }\n}\n",
       "server {\n\tserver_name {% $name %} [% $aliases %];\n"
       "\tif ($host = {% $aliases %}) {\n\t\treturn 301 https://{% $name %}/;\n\t}\n}\n",
       "aliases=www.a.example name=a.example", ""},
      {"several aliases", Dialect::kNginx,
       "server {\n server_name a.example\n   www.a.example shop.example;\n}\n",
       "server {\n\tserver_name {% $name %} [% $aliases %];\n}\n",
       "aliases=[www.a.example shop.example] name=a.example", ""},
      {"Apache", Dialect::kApache,
       "<VirtualHost 192.0.2.1:80>\n ServerName a.example:80\n ServerAlias www.a.example\n"
       " DocumentRoot \"/srv/a\"\n <Directory /srv/a/>\n  Require all granted\n </Directory>\n"
       " <FilesMatch \\.php$>\n"
       "  SetHandler \"proxy:unix:/run/php.sock|fcgi://localhost\"\n </FilesMatch>\n"
       " CustomLog /var/log/a.example.log combined\n</VirtualHost>\n",
       "<VirtualHost {% $ip %}:{% $port %}>\n\tServerName {% $name %}:80\n"
       "\tServerAlias [% $aliases %]\n\tDocumentRoot \"{% $root %}\"\n"
       "\t<Directory {% $root %}/>\n\t\tRequire all granted\n\t</Directory>\n"
       "\t<FilesMatch \\.php$>\n"
       "\t\tSetHandler \"proxy:unix:{% $php_socket %}|fcgi://localhost\"\n\t</FilesMatch>\n"
       "\tCustomLog /var/log/{% $name %}.log combined\n</VirtualHost>\n",
       "aliases=www.a.example ip=192.0.2.1 name=a.example php_socket=/run/php.sock port=80 "
       "root=/srv/a",
       ""},
  });
}

TEST(Adopt, TakesValuesThatAreNamed) {
  ExpectAdopted({
      {"the longest one", Dialect::kNginx,
       "server {\n server_name a.example;\n root /srv/www/a.example/htdocs;\n"
       " access_log /srv/www/a.example/log;\n}\n",
       "server {\n\tserver_name {% $name %};\n\troot {% $home %}/htdocs;\n"
       "\taccess_log {% $home %}/log;\n}\n",
       "home=/srv/www/a.example name=a.example", "",
       [](Options& options) { options.values["home"] = "/srv/www/a.example"; }},
      {"its name is not taken by another", Dialect::kNginx,
       "server {\n server_name a.example;\n root /srv/a;\n client_max_body_size 8m;\n}\n",
       "server {\n\tserver_name {% $name %};\n\troot {% $root_2 %};\n"
       "\tclient_max_body_size {% $root %};\n}\n",
       "name=a.example root=8m root_2=/srv/a", "",
       [](Options& options) { options.values["root"] = "8m"; }},
  });
}

TEST(Adopt, KeepsWhatIsManaged) {
  ExpectAdopted({
      {"directives, and what the site is found by", Dialect::kNginx,
       "server {\n listen 80;\n server_name a.example;\n root /srv/a;\n gzip on;\n"
       " location / {\n  root /srv/b;\n  expires 1d;\n }\n location /x/ {\n  deny all;\n }\n}\n",
       "server {\n\tlisten {% $port %};\n\tserver_name {% $name %};\n\troot {% $root %};\n"
       "\tlocation / {\n\t\troot {% $root_2 %};\n\t}\n}\n",
       "name=a.example port=80 root=/srv/a root_2=/srv/b", "",
       [](Options& options) { options.managed = {"root"}; }},
      {"blocks with all that is in them", Dialect::kApache,
       "<VirtualHost *:80>\n ServerName a.example\n ServerAdmin x@a.example\n"
       " <Directory /srv>\n  Require all granted\n </Directory>\n</VirtualHost>\n",
       "<VirtualHost *:{% $port %}>\n\tServerName {% $name %}\n\t<Directory /srv>\n"
       "\t\tRequire all granted\n\t</Directory>\n</VirtualHost>\n",
       "name=a.example port=80", "", [](Options& options) { options.managed = {"directory"}; }},
  });
}

TEST(Adopt, WritesWhatWouldBeTemplateLanguageAsAValue) {
  ExpectAdopted({
      {"nginx", Dialect::kNginx,
       "server {\n server_name a.example;\n add_header X-A \"[%x] a.example\";\n}\n",
       "server {\n\tserver_name {% $name %};\n\tadd_header X-A \"{% $text %}{% $name %}\";\n}\n",
       "name=a.example text=[[%x] ]", ""},
      {"Apache", Dialect::kApache,
       "<VirtualHost *:80>\n ServerName a.example\n"
       " LogFormat \"%h [%t] {% if %}\" own\n</VirtualHost>\n",
       "<VirtualHost *:{% $port %}>\n\tServerName {% $name %}\n"
       "\tLogFormat \"{% $text %}\" own\n</VirtualHost>\n",
       "name=a.example port=80 text=[%h [%t] {% if %}]", ""},
  });
}

TEST(Adopt, TakesServersWithTheNameTogether) {
  const std::string config =
      "http {\n server {\n  listen 80;\n  server_name a.example;\n  return 301 https://a.example;\n"
      " }\n server {\n  listen 443 ssl;\n  server_name a.example;\n  root /srv/a;\n }\n"
      " server {\n  listen 80;\n  server_name b.example;\n }\n}\n";
  const std::string both =
      "server {\n\tlisten {% $port %};\n\tserver_name {% $name %};\n"
      "\treturn 301 https://{% $name %};\n}\nserver {\n\tlisten {% $port_2 %} ssl;\n"
      "\tserver_name {% $name %};\n\troot {% $root %};\n}\n";
  ExpectAdopted({
      {"by their name", Dialect::kNginx, config, both,
       "name=a.example port=80 port_2=443 root=/srv/a", "",
       [](Options& options) { options.site = "A.example"; }},
      {"one by its address", Dialect::kNginx, config,
       "server {\n\tlisten {% $port %} ssl;\n\tserver_name {% $name %};\n\troot {% $root %};\n}\n",
       "name=a.example port=443 root=/srv/a", "", [](Options& options) { options.site = "443"; }},
      {"one by its line", Dialect::kNginx, config,
       "server {\n\tlisten {% $port %};\n\tserver_name {% $name %};\n}\n", "name=b.example port=80",
       "", [](Options& options) { options.site = "site.conf:13"; }},
  });
}

TEST(Adopt, TakesATextWithoutSitesAsAWhole) {
  ExpectAdopted({
      {"nginx", Dialect::kNginx, "worker_processes 4;\nevents {\n}\n",
       "worker_processes 4;\nevents {\n}\n", "", ""},
      {"Apache", Dialect::kApache, "# Ours\nOptions -Indexes\nErrorDocument 404 /404.html\n",
       "Options -Indexes\nErrorDocument 404 /404.html\n", "", ""},
  });
}

TEST(Adopt, NamesTheBlocksAroundASite) {
  ExpectAdopted({
      {"nginx", Dialect::kNginx,
       "stream {\n upstream b {\n  server 192.0.2.1:1;\n }\n server {\n  listen 8080;\n"
       "  proxy_pass b;\n }\n}\n",
       "stream {\n\tserver {\n\t\tlisten {% $port %};\n\t\tproxy_pass b;\n\t}\n}\n", "port=8080",
       ""},
      {"but not conditions", Dialect::kApache,
       "<IfModule mod_ssl.c>\n<VirtualHost *:443>\n ServerName a.example\n SSLEngine on\n"
       "</VirtualHost>\n</IfModule>\n",
       "<VirtualHost *:{% $port %}>\n\tServerName {% $name %}\n\tSSLEngine on\n</VirtualHost>\n",
       "name=a.example port=443", ""},
  });
}

TEST(Adopt, LeavesOutWhatATemplateCannotSay) {
  ExpectAdopted({
      {"code in another language", Dialect::kNginx,
       "server {\n server_name a.example;\n location / {\n  content_by_lua_block {\n"
       "   ngx.say(\"a\")\n  }\n  expires 1d;\n }\n}\n",
       "server {\n\tserver_name {% $name %};\n\tlocation / {\n\t\texpires 1d;\n\t}\n}\n",
       "name=a.example", "site.conf:4:3: 'content_by_lua_block {' is left out: it is code"},
      {"what the server takes only once", Dialect::kApache,
       "<VirtualHost *:80>\n ServerName a.example\n ServerAdmin x@b.example\n"
       " ServerAdmin y@b.example\n</VirtualHost>\n",
       "<VirtualHost *:{% $port %}>\n\tServerName {% $name %}\n\tServerAdmin {% $admin %}\n"
       "</VirtualHost>\n",
       "admin=x@b.example name=a.example port=80",
       "site.conf:4:2: 'ServerAdmin y@b.example' is left out: "},
  });
}

TEST(Adopt, ExplainsTheLinesWhenAsked) {
  ExpectAdopted({
      {"each with its values", Dialect::kNginx, "server {\n server_name a.example;\n gzip on;\n}\n",
       "{#} A server of the site, found by its names and its addresses.\nserver {\n"
       "\t{#} name is now a.example\n\tserver_name {% $name %};\n"
       "\t{#} Stays as it is, and is added where it is missing.\n\tgzip on;\n}\n",
       "name=a.example", "", [](Options& options) { options.comment = true; }},
  });
}

struct Refused {
  std::string name;
  std::string config;
  std::string said;
  void (*ask)(Options&) = nullptr;
};

TEST(Adopt, RefusesWhatCannotBeMeant) {
  const std::vector<Refused> cases = {
      {"several sites",
       "server {\n server_name a.example;\n}\nserver {\n listen 81;\n}\nserver {\n}\n",
       "site.conf:1:1: there are several sites: site.conf:1 'a.example', site.conf:4 on '*:81', "
       "site.conf:7 without a name. Name one of them, by its name, its address or its line "
       "[site]\n"},
      {"no such site", "server {\n server_name a.example;\n}\n",
       "site.conf:1:1: there is no site 'b.example': site.conf:1 'a.example'. Name one of them, by "
       "its name, its address or its line [site]\n",
       [](Options& options) { options.site = "b.example"; }},
      {"a text that the server does not read", "server {\n server_name a.example;\n",
       "site.conf:1:1: the block that begins here does not close. The server would not take this "
       "file: mend it first [syntax]\n"},
      {"a value that stands nowhere", "server {\n server_name a.example;\n}\n",
       "site.conf: the text 'example' of the value 'x' stands nowhere in the site. A value is a "
       "whole word, or a part of a path [value]\n",
       [](Options& options) { options.values["x"] = "example"; }},
      {"nothing but comments", "# gzip on;\n",
       "site.conf: nothing of it can be a template [site]\n"},
  };
  for (const Refused& c : cases) {
    SCOPED_TRACE(c.name);
    Options options;
    if (c.ask != nullptr) c.ask(options);
    const Adopted adopted = Adopt(options, c.config, "site.conf");
    EXPECT_EQ(Said(adopted.refusals), c.said);
    EXPECT_EQ(adopted.template_text, "");
  }
}

std::string SiteNamed(const std::string& name, const std::string& aliases, const std::string& size,
                      const std::string& more) {
  return "server {\n listen 80;\n server_name " + name + aliases + ";\n root /srv/" + name +
         ";\n client_max_body_size " + size + ";\n" + more + "}\n";
}

TEST(AdoptCommon, FindsWhatMostSitesShare) {
  const std::string images = " location /img/ {\n  expires 30d;\n }\n";
  const std::vector<std::string> texts = {
      SiteNamed("a.example", "", "8m", images),
      SiteNamed("b.example", " www.b.example", "20m", images),
      SiteNamed("c.example", " c.example.org x.example", "8m", " gzip on;\n" + images),
      SiteNamed("d.example", "", "1m", ""),
      "server {\n",
  };
  std::vector<Configuration> configs;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    configs.push_back({texts[i], std::to_string(i) + ".conf"});
  }
  const Common common = AdoptCommon({}, configs);
  EXPECT_EQ(Said(common.refusals), "");
  EXPECT_EQ(common.template_text,
            "server {\n\tlisten {% $port %};\n\tserver_name {% $name %} [% $aliases %];\n"
            "\troot /srv/{% $name %};\n\tclient_max_body_size {% $client_max_body_size %};\n"
            "\tlocation /img/ {\n\t\texpires 30d;\n\t}\n}\n");
  ASSERT_EQ(common.sites.size(), texts.size());
  struct Expected {
    std::string values;
    std::string said;  // beyond, then lacking
    bool shares = true;
  };
  const std::vector<Expected> expected = {
      {"aliases= client_max_body_size=8m name=a.example port=80", ""},
      {"aliases=www.b.example client_max_body_size=20m name=b.example port=80", ""},
      {"aliases=[c.example.org x.example] client_max_body_size=8m name=c.example port=80",
       "2.conf:6:2: 'gzip on;' [beyond]\n"},
      {"aliases= client_max_body_size=1m name=d.example port=80",
       "3.conf:6: an edit would write 'location /img/ { expires 30d; }' here [lacking]\n", false},
      {"", "4.conf:1:1: the block that begins here does not close [syntax]\n", false},
  };
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(i);
    const CommonSite& site = common.sites[i];
    EXPECT_EQ(Shown(site.values), expected[i].values);
    EXPECT_EQ(Said(site.beyond) + Said(site.lacking), expected[i].said);
    EXPECT_EQ(site.shares, expected[i].shares);
    tov_edit::Request request;
    request.template_text = common.template_text;
    request.values = site.values;
    if (site.shares) {
      EXPECT_EQ(Edit(request, texts[i], "site.conf").text, texts[i]);
    }
  }
}

TEST(AdoptCommon, NeedsSomethingInCommon) {
  const Common common =
      AdoptCommon({}, {{"worker_processes 4;\n", "a.conf"}, {"user www;\n", "b.conf"}});
  EXPECT_EQ(Said(common.refusals), "no line is in more than half of the sites [site]\n");
}

struct ChangeCase {
  std::string name;
  Dialect dialect = Dialect::kNginx;
  std::string before;
  std::string after;
  std::string template_text;
  std::string values;  // "name=a.example>b.example"
};

TEST(AdoptChange, FindsWhatDiffers) {
  const std::vector<ChangeCase> cases = {
      {"words, and the name wherever it stands", Dialect::kNginx,
       "http {\n server {\n  server_name a.example;\n  root /srv/a.example;  # disk\n  gzip on;\n "
       "}\n"
       " server {\n  server_name z.example;\n }\n}\n",
       "http {\n server {\n  server_name b.example;\n  root /srv/b.example;  # disk\n  gzip off;\n "
       "}\n"
       " server {\n  server_name z.example;\n }\n}\n",
       "http {\n\tserver {\n\t\tserver_name {% $name %};\n\t\troot /srv/{% $name %};\n"
       "\t\tgzip {% $gzip %};\n\t}\n}\n",
       "gzip=on>off name=a.example>b.example"},
      {"more words", Dialect::kNginx, "server {\n server_name a.example;\n index index.html;\n}\n",
       "server {\n server_name a.example www.a.example;\n index index.php index.html;\n}\n",
       "server {\n\tserver_name a.example [% $server_name %];\n\tindex [% $index %];\n}\n",
       "index=index.html>index.php index.html server_name=>www.a.example"},
      {"lines that come and go", Dialect::kNginx,
       "server {\n server_name a.example;\n gzip on;\n root /srv/a;\n}\n",
       "server {\n server_name a.example;\n root /srv/a;\n expires 1d;\n}\n",
       "server {\n\tserver_name a.example;\n{% if $version == old %}\n\tgzip on;\n{% endif %}\n"
       "\troot /srv/a;\n{% if $version == new %}\n\texpires 1d;\n{% endif %}\n}\n",
       "version=old>new"},
      {"a block that comes", Dialect::kApache,
       "<VirtualHost *:80>\n ServerName a.example\n DocumentRoot /srv/a\n</VirtualHost>\n",
       "<VirtualHost *:80>\n ServerName a.example\n DocumentRoot /srv/b\n"
       " <Directory /srv/b>\n  Require all granted\n </Directory>\n</VirtualHost>\n",
       "<VirtualHost *:80>\n\tServerName a.example\n\tDocumentRoot {% $root %}\n"
       "{% if $version == new %}\n\t<Directory /srv/b>\n\t\tRequire all granted\n\t</Directory>\n"
       "{% endif %}\n</VirtualHost>\n",
       "root=/srv/a>/srv/b version=old>new"},
      {"a block's opening line", Dialect::kApache,
       "<VirtualHost *:80>\n ServerName a.example\n</VirtualHost>\n",
       "<VirtualHost *:8080>\n ServerName a.example\n</VirtualHost>\n",
       "<VirtualHost {% $address %}>\n\tServerName a.example\n</VirtualHost>\n",
       "address=*:80>*:8080"},
      {"a block that goes from between others", Dialect::kNginx,
       "map $a $x {\n b c;\n}\nmap $a $y {\n b c;\n}\nmap $a $z {\n b c;\n}\n",
       "map $a $x {\n b c;\n}\nmap $a $z {\n b c;\n}\n",
       "map $a $x {\n}\n{% if $version == old %}\nmap $a $y {\n\tb c;\n}\n{% endif %}\n"
       "map $a $z {\n}\n",
       "version=old>new"},
      {"lines of no block", Dialect::kApache, "Options -Indexes\nErrorDocument 404 /a.html\n",
       "Options -Indexes\nErrorDocument 404 /b.html\n", "ErrorDocument 404 {% $errordocument %}\n",
       "errordocument=/a.html>/b.html"},
  };
  for (const ChangeCase& c : cases) {
    SCOPED_TRACE(c.name);
    Options options;
    options.dialect = c.dialect;
    const Adopted adopted = AdoptChange(options, {c.before, "old.conf"}, {c.after, "new.conf"});
    EXPECT_EQ(Said(adopted.refusals), "");
    EXPECT_EQ(Said(adopted.left_out), "");
    EXPECT_EQ(adopted.template_text, c.template_text);
    std::string values;
    tov_edit::Request request;
    for (const auto& [name, value] : adopted.values) {
      values +=
          (values.empty() ? "" : " ") + name + '=' + *value.old_value + '>' + *value.new_value;
      request.values[name] = {value.new_value, value.old_value};
    }
    EXPECT_EQ(values, c.values);
    request.dialect = c.dialect;
    request.template_text = adopted.template_text;
    EXPECT_EQ(Edit(request, c.after, "new.conf").text, c.before);
    request.values = adopted.values;
    EXPECT_EQ(Edit(request, c.before, "old.conf").text, c.after);
  }
}

TEST(AdoptChange, SaysWhichLineItCannotReach) {
  const std::string one = "server {\n server_name a.example;\n gzip on;\n}\n";
  struct SaidCase {
    std::string name;
    std::string before;
    std::string after;
    std::string said;
  };
  const std::vector<SaidCase> cases = {
      {"nothing differs", one, one, "old.conf: the two do not differ [difference]\n"},
      {"a blank line", one, "server {\n server_name a.example;\n\n gzip on;\n}\n",
       "old.conf: the two differ in comments and blanks only [difference]\n"},
      {"another order", "server {\n server_name a.example;\n gzip on;\n expires 1d;\n}\n",
       "server {\n server_name a.example;\n expires 1d;\n gzip on;\n}\n",
       "new.conf:3: an edit of old.conf would have 'gzip on;' here, not 'expires 1d;' "
       "[difference]\n"},
      {"the order of what the server minds the order of",
       "server {\n rewrite a b;\n gzip on;\n return 404;\n}\n",
       "server {\n return 404;\n gzip off;\n rewrite a b;\n}\n",
       "new.conf:2: an edit of old.conf would have 'rewrite a b;' here, not 'return 404;' "
       "[difference]\n"},
      {"a text that the server does not read", one, "server {\n",
       "new.conf:1:1: the block that begins here does not close. The server would not take this "
       "file: mend it first [syntax]\n"},
  };
  for (const SaidCase& c : cases) {
    SCOPED_TRACE(c.name);
    const Adopted adopted = AdoptChange({}, {c.before, "old.conf"}, {c.after, "new.conf"});
    EXPECT_EQ(Said(adopted.refusals), c.said);
    EXPECT_EQ(adopted.template_text, "");
  }
}

// What the server does not mind, and the way back, is no reason for there being no template.
TEST(AdoptChange, SaysWhatAnEditMakesOtherwise) {
  struct LeftOutCase {
    std::string name;
    Dialect dialect = Dialect::kNginx;
    std::string before;
    std::string after;
    std::string forth;  // what edits with the template make
    std::string back;
    std::string said;
  };
  const std::string site = "server {\n listen 80;\n\n root /srv/a;\n}\n";
  const std::vector<LeftOutCase> cases = {
      {"a line that comes with a blank line", Dialect::kNginx, site,
       "server {\n listen 80;\n\n gzip on;\n\n root /srv/a;\n}\n",
       "server {\n listen 80;\n\n gzip on;\n root /srv/a;\n}\n",
       "server {\n listen 80;\n\n\n root /srv/a;\n}\n",
       "new.conf:5: comments and blanks are left out: an edit of old.conf has 'root /srv/a;' here, "
       "not '' [left-out]\n"
       "old.conf:4: comments and blanks are left out: an edit of new.conf has '' here, not "
       "'root /srv/a;' [left-out]\n"},
      {"a comment goes with its line", Dialect::kNginx,
       "server {\n server_name a.example;\n gzip on; # yes\n}\n",
       "server {\n server_name a.example;\n}\n", "server {\n server_name a.example;\n}\n",
       "server {\n server_name a.example;\n gzip on;\n # yes\n}\n",
       "old.conf:3: comments and blanks are left out: an edit of new.conf has 'gzip on;' here, not "
       "'gzip on; # yes' [left-out]\n"},
      {"a site goes from between others", Dialect::kApache,
       "<VirtualHost *:80>\n ServerName a.example\n</VirtualHost>\n<VirtualHost *:80>\n"
       " ServerName b.example\n</VirtualHost>\n<VirtualHost *:80>\n ServerName c.example\n"
       "</VirtualHost>\n",
       "<VirtualHost *:80>\n ServerName a.example\n</VirtualHost>\n<VirtualHost *:80>\n"
       " ServerName c.example\n</VirtualHost>\n",
       "<VirtualHost *:80>\n ServerName a.example\n</VirtualHost>\n<VirtualHost *:80>\n"
       " ServerName c.example\n</VirtualHost>\n",
       "<VirtualHost *:80>\n ServerName a.example\n</VirtualHost>\n<VirtualHost *:80>\n"
       " ServerName c.example\n</VirtualHost>\n<VirtualHost *:80>\n ServerName b.example\n"
       "</VirtualHost>\n",
       "old.conf:5: the order of lines is left out: an edit of new.conf has 'ServerName c.example' "
       "here, not 'ServerName b.example' [left-out]\n"},
      {"the first of the sites goes", Dialect::kNginx,
       "server {\n server_name a.example;\n}\nserver {\n server_name b.example;\n}\n",
       "server {\n server_name b.example;\n}\n", "server {\n server_name b.example;\n}\n",
       "server {\n server_name b.example;\n}\nserver {\n server_name a.example;\n}\n",
       "old.conf:2: there is no way back: an edit of new.conf would have 'server_name b.example;' "
       "here, not 'server_name a.example;' [left-out]\n"},
      {"a block comes among directives", Dialect::kApache,
       "<VirtualHost *:80>\n ServerName a.example\n DocumentRoot /srv/a\n</VirtualHost>\n",
       "<VirtualHost *:80>\n ServerName a.example\n <Location /a>\n  Require all denied\n "
       "</Location>\n DocumentRoot /srv/a\n</VirtualHost>\n",
       "<VirtualHost *:80>\n ServerName a.example\n DocumentRoot /srv/a\n <Location /a>\n"
       "  Require all denied\n </Location>\n</VirtualHost>\n",
       "<VirtualHost *:80>\n ServerName a.example\n DocumentRoot /srv/a\n</VirtualHost>\n",
       "new.conf:3: the order of lines is left out: an edit of old.conf has 'DocumentRoot /srv/a' "
       "here, not '<Location /a>' [left-out]\n"},
  };
  for (const LeftOutCase& c : cases) {
    SCOPED_TRACE(c.name);
    Options options;
    options.dialect = c.dialect;
    const Adopted adopted = AdoptChange(options, {c.before, "old.conf"}, {c.after, "new.conf"});
    EXPECT_EQ(Said(adopted.refusals), "");
    EXPECT_EQ(Said(adopted.left_out), c.said);
    tov_edit::Request request;
    request.dialect = c.dialect;
    request.template_text = adopted.template_text;
    request.values = adopted.values;
    EXPECT_EQ(Edit(request, c.before, "old.conf").text, c.forth);
    for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
    EXPECT_EQ(Edit(request, c.after, "new.conf").text, c.back);
  }
}

TEST(AdoptChange, ComparesTheSiteOnlyWhenOneIsNamed) {
  const auto config = [](const std::string& size, const std::string& other) {
    return "server {\n server_name a.example;\n client_max_body_size " + size +
           ";\n}\nserver {\n server_name b.example;\n root " + other + ";\n}\n";
  };
  Options options;
  options.site = "a.example";
  const Adopted adopted = AdoptChange(options, {config("1m", "/srv/b"), "old.conf"},
                                      {config("2m", "/srv/c"), "new.conf"});
  EXPECT_EQ(Said(adopted.refusals), "");
  EXPECT_EQ(Said(adopted.left_out), "");
  tov_edit::Request request;
  request.template_text = adopted.template_text;
  request.values = adopted.values;
  EXPECT_EQ(Edit(request, config("1m", "/srv/b"), "old.conf").text, config("2m", "/srv/b"));
}

}  // namespace
}  // namespace tov_adopt
