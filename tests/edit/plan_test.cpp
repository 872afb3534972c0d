// SPDX-License-Identifier: Apache-2.0

// What becomes of the directives of a block.

#include "edit/plan/plan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

std::string Server(const std::string& lines) {
  return "server {\n\tserver_name a;\n" + lines + "}\n";
}

std::string Host(const std::string& lines) {
  return "<VirtualHost *:80>\n\tServerName a\n" + lines + "</VirtualHost>\n";
}

using Around = std::string (*)(const std::string&);

// The same, of lines in a block each.
std::vector<Case> Each(Around around, std::vector<Case> cases) {
  for (Case& c : cases) {
    c.config = around(c.config);
    c.template_text = around(c.template_text);
    c.expected = around(c.expected);
  }
  return cases;
}

std::vector<SaidCase> EachSaid(Around around, std::vector<SaidCase> cases) {
  for (SaidCase& c : cases) {
    c.config = around(c.config);
    c.template_text = around(c.template_text);
    if (!c.expected.empty()) c.expected = around(c.expected);
  }
  return cases;
}

std::string Untaken(const std::string& lines) {
  return "{% if $none %}\n" + lines + "{% endif %}\n";
}

// --- Directives, not lines ---

TEST(ADirectiveOverSeveralLines, IsOne) {
  const std::string types = "\tgzip_types\n\t\ttext/css  # styles\n\t\ttext/xml\n\t;\n";
  ExpectEdits(Dialect::kNginx,
              Each(Server, {{"it is there", types, "gzip_types text/css text/xml;\n", {}, types},
                            {"a word of it changes",
                             types,
                             "gzip_types text/css {% $t %};\n",
                             {{"t", "text/xml", "text/plain"}},
                             With(types, "text/xml", "text/plain")},
                            {"all its words change",
                             types,
                             "gzip_types [% $t %];\n",
                             {{"t", kNone, "a/a b/b"}},
                             "\tgzip_types\n\t\ta/a  # styles\n\t\tb/b\n\t;\n"},
                            {"it gets more words",
                             types,
                             "gzip_types [% $t %];\n",
                             {{"t", kNone, "text/css text/xml a/a"}},
                             With(types, "text/xml", "text/xml a/a")},
                            {"it gets fewer words",
                             types,
                             "gzip_types [% $t %];\n",
                             {{"t", kNone, "text/xml"}},
                             "\tgzip_types  # styles\n\t\ttext/xml\n\t;\n"},
                            {"it goes",
                             types + "\troot /a;\n",
                             Untaken("gzip_types text/css text/xml;\n"),
                             {},
                             "\troot /a;\n"},
                            {"it goes, whatever it holds",
                             "\troot /a;\n" + types,
                             Untaken("gzip_types [% $t %];\n"),
                             {},
                             "\troot /a;\n"},
                            {"something is added behind it",
                             types,
                             "gzip_types text/css text/xml;\n"
                             "root /a;\n",
                             {},
                             types + "\troot /a;\n"}}));
  const std::string alias = "\tServerAlias b \\\n\t\tc \\\n\t\td\n";
  ExpectEdits(Dialect::kApache, Each(Host, {{"a word of a continued line",
                                             alias,
                                             "ServerAlias {% $c %}\n",
                                             {{"c", "c", "x"}},
                                             With(alias, "\tc ", "\tx ")},
                                            {"a continued line goes",
                                             alias + "\tProtocols h2\n",
                                             Untaken("ServerAlias b c d\n"),
                                             {},
                                             "\tProtocols h2\n"},
                                            {"a continued value",
                                             "\tDocumentRoot \\\n\t\t/srv/a\n",
                                             "DocumentRoot {% $d %}\n",
                                             {{"d", "/srv/a", "/srv/b"}},
                                             "\tDocumentRoot \\\n\t\t/srv/b\n"}}));
}

TEST(DirectivesOnOneLine, AreSeveral) {
  const std::string line = "\tgzip on; etag off; root /a;  # three\n";
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"they are there", line, "root /a;\ngzip on;\netag off;\n", {}, line},
            {"one changes",
             line,
             "etag {% $e %};\n",
             {{"e", "off", "on"}},
             With(line, "etag off", "etag on")},
            {"the first one goes", line, Untaken("gzip on;\n"), {}, Without(line, "gzip on; ")},
            {"one between goes", line, Untaken("etag off;\n"), {}, Without(line, "etag off; ")},
            {"the last one goes", line, Untaken("root /a;\n"), {}, Without(line, "root /a;  ")},
            {"all go", line, Untaken("gzip on;\netag off;\nroot /a;\n"), {}, ""},
            {"one comes behind them", line, "expires 1d;\n", {}, line + "\texpires 1d;\n"},
            {"one comes between them",
             "\tallow 10.0.0.1; root /a;\n",
             "allow 10.0.0.2;\n",
             {},
             "\tallow 10.0.0.1; allow 10.0.0.2; root /a;\n"}}));
}

TEST(Words, AreReadAsTheServerReadsThem) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"quotes in the file", "\troot \"/a\";\n", "root /a;\n", {}, "\troot \"/a\";\n"},
            {"quotes in the template", "\troot /a;\n", "root '/a';\n", {}, "\troot /a;\n"},
            {"quotes stay",
             "\troot \"/a\";\n",
             "root {% $r %};\n",
             {{"r", "/a", "/b"}},
             "\troot \"/b\";\n"},
            {"an escape",
             "\treturn 200 \"a\\\"b\";\n",
             "return 200 'a\"b';\n",
             {},
             "\treturn 200 \"a\\\"b\";\n"},
            {"blanks", "\troot\t  /a  ;\n", "root /a;\n", {}, "\troot\t  /a  ;\n"},
            {"blanks in the template", "\troot /a;\n", "   root    /a  ;\n", {}, "\troot /a;\n"},
            {"a blank in quotes is a part of the word",
             "\tadd_header Link \"a  b\";\n",
             "add_header Link \"a b\";\n",
             {},
             "\tadd_header Link \"a  b\";\n\tadd_header Link \"a b\";\n"},
            {"a number sign in a word",
             "\treturn 301 /x#y;  # moved\n",
             "return 301 {% $t %};\n",
             {{"t", "/x#y", "/x#z"}},
             "\treturn 301 /x#z;  # moved\n"},
            {"a number sign in quotes",
             "\tadd_header X \"#fff\";\n",
             "add_header X [% $c %];\n",
             {{"c", kNone, "\"#000\""}},
             "\tadd_header X \"#000\";\n"},
            {"a variable",
             "\tset $x ${y}z;\n",
             "set $x ${y}z;\nset $v 1;\n",
             {},
             "\tset $x ${y}z;\n\tset $v 1;\n"}}));
  ExpectEdits(Dialect::kApache, Each(Host, {{"quotes in the file",
                                             "\tDocumentRoot \"/srv/a\"\n",
                                             "DocumentRoot /srv/a\n",
                                             {},
                                             "\tDocumentRoot \"/srv/a\"\n"},
                                            {"quotes stay",
                                             "\tDocumentRoot \"/srv/a\"\n",
                                             "DocumentRoot {% $d %}\n",
                                             {{"d", "/srv/a", "/srv/b"}},
                                             "\tDocumentRoot \"/srv/b\"\n"},
                                            {"a name in other letters",
                                             "\tdocumentroot /srv/a\n",
                                             "DocumentRoot {% $d %}\n",
                                             {{"d", "/srv/a", "/srv/b"}},
                                             "\tdocumentroot /srv/b\n"},
                                            {"an argument in other letters is another",
                                             "\tSetEnv A x\n",
                                             "SetEnv a x\n",
                                             {},
                                             "\tSetEnv A x\n\tSetEnv a x\n"}}));
}

TEST(ADirectiveThatOnlyBeginsAlike, IsAnother) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"a name: a certificate and its key",
             "\tssl_certificate_key /k;\n\tssl_certificate /c;\n",
             "ssl_certificate [% $c %];\n",
             {{"c", kNone, "/d"}},
             "\tssl_certificate_key /k;\n\tssl_certificate /d;\n"},
            {"... the certificate is new",
             "\tssl_certificate_key /k;\n",
             "ssl_certificate [% $c %];\n",
             {{"c", kNone, "/d"}},
             "\tssl_certificate_key /k;\n\tssl_certificate /d;\n"},
            {"a name: a password and its file",
             "\tauth_basic_user_file /f;\n\tauth_basic x;\n",
             "auth_basic [% $t %];\n",
             {{"t", kNone, "y"}},
             "\tauth_basic_user_file /f;\n\tauth_basic y;\n"},
            {"an address is not removed",
             "\tdeny 1.2.3.10;\n",
             Untaken("deny 1.2.3.1;\n"),
             {},
             "\tdeny 1.2.3.10;\n"},
            {"an address is added",
             "\tdeny 1.2.3.10;\n",
             "deny 1.2.3.1;\n",
             {},
             "\tdeny 1.2.3.10;\n\tdeny 1.2.3.1;\n"},
            {"an address is changed",
             "\tdeny 1.2.3.10;\n\tdeny 1.2.3.1;\n",
             "deny {% $ip %};\n",
             {{"ip", "1.2.3.1", "1.2.3.2"}},
             "\tdeny 1.2.3.10;\n\tdeny 1.2.3.2;\n"},
            {"a path is not removed", "\troot /ab;\n", Untaken("root /a;\n"), {}, "\troot /ab;\n"},
            {"a word more",
             "\tgzip_proxied auth private;\n",
             "gzip_proxied auth;\n",
             {},
             "\tgzip_proxied auth private;\n\tgzip_proxied auth;\n"}}));
}

// --- Full places ---

TEST(ALineWithOldValues, IsTheDirectiveWithThem) {
  const NamedValues root = {{"r", "/a", "/b"}};
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"it changes", "\troot /a;\n", "root {% $r %};\n", root, "\troot /b;\n"},
            {"it has changed already", "\troot /b;\n", "root {% $r %};\n", root, "\troot /b;\n"},
            {"it is not there: added", "", "root {% $r %};\n", root, "\troot /b;\n"},
            {"one of several",
             "\tadd_header X 1;\n\tadd_header Y 1;\n\tadd_header X 3;\n",
             "add_header {% $n %} 1;\n",
             {{"n", "Y", "Z"}},
             "\tadd_header X 1;\n\tadd_header Z 1;\n\tadd_header X 3;\n"},
            {"a part of a word",
             "\taccess_log /var/log/a.log main;\n",
             "access_log /var/log/{% $n %}.log main;\n",
             {{"n", "a", "b"}},
             "\taccess_log /var/log/b.log main;\n"},
            {"two places of one value",
             "\tproxy_cache_path /c/a keys_zone=a:1m;\n",
             "proxy_cache_path /c/{% $n %} keys_zone={% $n %}:1m;\n",
             {{"n", "a", "b"}},
             "\tproxy_cache_path /c/b keys_zone=b:1m;\n"},
            {"two values",
             "\tlimit_req zone=a burst=5;\n",
             "limit_req zone={% $z %} burst={% $b %};\n",
             {{"z", "a", "x"}, {"b", kNone, "5"}},
             "\tlimit_req zone=x burst=5;\n"},
            {"an empty value",
             "\tadd_header X-Site a;\n",
             "add_header X-Site{% $s %} a;\n",
             {{"s", "", "-Name"}},
             "\tadd_header X-Site-Name a;\n"},
            {"a quoted value",
             "\tadd_header X \"old\";\n",
             "add_header X \"{% $v %}\";\n",
             {{"v", "old", "a; b { c } # d"}},
             "\tadd_header X \"a; b { c } # d\";\n"},
            {"the name of the directive",
             "\tallow 10.0.0.1;\n",
             "{% $what %} 10.0.0.1;\n",
             {{"what", "allow", "deny"}},
             "\tdeny 10.0.0.1;\n"},
            {"two lines of the template that are one, added",
             "",
             "etag on;\netag on;\n",
             {},
             "\tetag on;\n"},
            {"two lines of the template that are one, there",
             "\tinclude /x;\n",
             "include /x;\ninclude /x;\n",
             {},
             "\tinclude /x;\n"},
            {"values that change places",
             "\tset $a 1;\n\tset $b 2;\n",
             "set $a {% $a %};\nset $b {% $b %};\n",
             {{"a", "1", "2"}, {"b", "2", "1"}},
             "\tset $a 2;\n\tset $b 1;\n"}}));
}

TEST(ADirectiveThatIsThereTwice, ChangesInBothPlaces) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"with one line of the template",
                     "\tdeny 192.0.2.1;\n\tallow all;\n\tdeny 192.0.2.1;\n",
                     "deny {% $ip %};\n",
                     {{"ip", "192.0.2.1", "192.0.2.2"}},
                     "\tdeny 192.0.2.2;\n\tallow all;\n\tdeny 192.0.2.2;\n"},
                    {"with a line for each",
                     "\tdeny 192.0.2.1;\n\tallow all;\n\tdeny 192.0.2.1;\n",
                     "deny {% $one %};\ndeny {% $other %};\n",
                     {{"one", "192.0.2.1", "192.0.2.2"}, {"other", "192.0.2.1", "192.0.2.3"}},
                     "\tdeny 192.0.2.2;\n\tallow all;\n\tdeny 192.0.2.3;\n"},
                    {"and goes from both",
                     "\tdeny 192.0.2.1;\n\tallow all;\n\tdeny 192.0.2.1;\n",
                     Untaken("deny 192.0.2.1;\n"),
                     {},
                     "\tallow all;\n"}}));
}

// What stands in <IfModule> and the like is the block's own, when the template does not name these.
TEST(ADirectiveInACondition, IsOneOfTheBlock) {
  const std::string tls =
      "\t<IfModule mod_ssl.c>\n\t\tSSLEngine on\n\t\tSSLCertificateFile /a.pem\n\t</IfModule>\n";
  const std::string headers = "\t<IfModule mod_headers.c>\n\t\tHeader set A 1\n\t</IfModule>\n";
  ExpectEdits(
      Dialect::kApache,
      Each(Host,
           {{"it is there", tls, "SSLEngine on\n", {}, tls},
            {"it changes by its old value",
             tls,
             "SSLCertificateFile {% $file %}\n",
             {{"file", "/a.pem", "/b.pem"}},
             With(tls, "/a.pem", "/b.pem")},
            {"it goes", tls, Untaken("SSLEngine on\n"), {}, Without(tls, "\t\tSSLEngine on\n")},
            {"it changes in each of several conditions",
             "\t<IfVersion < 2.4>\n\t\tServerAdmin a@a\n\t</IfVersion>\n"
             "\t<IfVersion >= 2.4>\n\t\tServerAdmin a@a\n\t</IfVersion>\n",
             "ServerAdmin {% $mail %}\n",
             {{"mail", "a@a", "b@b"}},
             "\t<IfVersion < 2.4>\n\t\tServerAdmin b@b\n\t</IfVersion>\n"
             "\t<IfVersion >= 2.4>\n\t\tServerAdmin b@b\n\t</IfVersion>\n"},
            {"it changes by its beginning",
             tls,
             "SSLCertificateFile [% $file %]\n",
             {{"file", kNone, "/b.pem"}},
             With(tls, "/a.pem", "/b.pem")},
            {"a new one stands beside its like",
             headers,
             "Header set B 2\n",
             {},
             With(headers, "A 1\n", "A 1\n\t\tHeader set B 2\n")},
            {"but rather beside one of the block itself",
             "\tHeader set C 3\n" + headers,
             "Header set B 2\n",
             {},
             "\tHeader set C 3\n\tHeader set B 2\n" + headers},
            {"one of a new name stands in the block itself",
             tls,
             "SSLEngine on\nDocumentRoot /a\n",
             {},
             "\tDocumentRoot /a\n" + tls},
            {"a condition that the template names is a block like others",
             tls + headers,
             "Header set B 2\n<IfModule mod_headers.c>\nHeader set A {% $a %}\n</IfModule>\n",
             {{"a", "1", "4"}},
             "\tHeader set B 2\n" + tls + With(headers, "A 1", "A 4")}}));
  const std::string ports =
      "Listen 80\n<IfModule ssl_module>\n\tListen 443\n</IfModule>\n"
      "<IfModule mod_gnutls.c>\n\tListen 443\n</IfModule>\n";
  ExpectEdits(Dialect::kApache, {{"outside every block, too",
                                  ports,
                                  "Listen {% $port %}\n",
                                  {{"port", "443", "8443"}},
                                  "Listen 80\n<IfModule ssl_module>\n\tListen 8443\n</IfModule>\n"
                                  "<IfModule mod_gnutls.c>\n\tListen 8443\n</IfModule>\n"}});
}

TEST(ADirectiveInACondition, IsRefusedLikeOthersOfTheBlock) {
  ExpectRefusals(
      Dialect::kApache,
      EachSaid(Host, {{"another value of one that may stand once",
                       "\t<IfModule a>\n\t\tSSLEngine on\n\t</IfModule>\n",
                       "SSLEngine off\n",
                       {},
                       "other-value",
                       "site.template:3:1:",
                       "site.conf:4:3 'SSLEngine on'"},
                      {"a trailing place that fits in two",
                       "\t<IfModule a>\n\t\tSSLEngine on\n\t</IfModule>\n\t<IfModule !a>\n"
                       "\t\tSSLEngine off\n\t</IfModule>\n",
                       "SSLEngine [% $on %]\n",
                       {{"on", kNone, "optional"}},
                       "ambiguous",
                       "site.template:3:1:",
                       "Write the condition into the template"},
                      {"one that is to go, and stands in the block as well",
                       "\tErrorLog /a\n\t<IfModule a>\n\t\tErrorLog /b\n\t</IfModule>\n",
                       Untaken("ErrorLog [% $log %]\n"),
                       {{"log", kNone, "/c"}},
                       "ambiguous",
                       "site.template:4:1:",
                       "site.conf:3:2 'ErrorLog /a', site.conf:5:3 'ErrorLog /b'"}}));
}

// Apache's RewriteCond lines belong to the RewriteRule behind them.
TEST(ARewriteRule, KeepsItsConditions) {
  const std::string front =
      "\tRewriteCond %{REQUEST_FILENAME} !-f\n\tRewriteRule ^ /index.php [L]\n";
  const std::string image =
      "\tRewriteCond %{REQUEST_FILENAME} !-f\n\tRewriteRule ^/img/ /missing.png [L]\n";
  const std::string tls =
      "\tRewriteCond %{HTTPS} off\n\tRewriteRule ^ https://a%{REQUEST_URI} [R=301,L]\n";
  ExpectEdits(
      Dialect::kApache,
      Each(Host,
           {{"a new one comes with them, behind the last rule", front, tls, {}, front + tls},
            {"or before a rule that the template states behind it",
             front,
             tls + front,
             {},
             tls + front},
            {"or between two rules", image + front, image + tls + front, {}, image + tls + front},
            {"a new one without conditions stands before those of another one",
             front,
             "RewriteRule ^/x$ /y [L]\n" + front,
             {},
             "\tRewriteRule ^/x$ /y [L]\n" + front},
            {"what is there for another rule is added for this one",
             front,
             image,
             {},
             front + image},
            {"it is there with its own conditions", image + front, front, {}, image + front},
            {"a new condition stands before its rule",
             "\tRewriteRule ^/a /b\n" + front,
             "RewriteCond %{HTTP_HOST} =a\nRewriteRule ^/a /b\n",
             {},
             "\tRewriteCond %{HTTP_HOST} =a\n\tRewriteRule ^/a /b\n" + front},
            {"a condition changes where it belongs",
             "\tRewriteCond %{HTTP_HOST} =a\n\tRewriteRule ^/a /b\n"
             "\tRewriteCond %{HTTP_HOST} =a\n\tRewriteRule ^/c /d\n",
             "RewriteCond %{HTTP_HOST} ={% $host %}\nRewriteRule ^/c /d\n",
             {{"host", "a", "b"}},
             "\tRewriteCond %{HTTP_HOST} =a\n\tRewriteRule ^/a /b\n"
             "\tRewriteCond %{HTTP_HOST} =b\n\tRewriteRule ^/c /d\n"},
            {"a rule changes with its conditions",
             image + "\tRewriteCond %{HTTPS} off\n\tRewriteRule ^/a /b\n",
             "RewriteCond %{HTTPS} off\nRewriteRule ^/a {% $to %}\n",
             {{"to", "/b", "/c"}},
             image + "\tRewriteCond %{HTTPS} off\n\tRewriteRule ^/a /c\n"},
            {"one of two equal rules is told by its conditions",
             "\tRewriteCond %{REQUEST_URI} =/a\n\tRewriteRule ^ - [L]\n"
             "\tRewriteCond %{REQUEST_URI} =/b\n\tRewriteRule ^ - [L]\n",
             "RewriteCond %{REQUEST_URI} =/c\nRewriteRule ^ - [L]\n",
             {},
             "\tRewriteCond %{REQUEST_URI} =/a\n\tRewriteRule ^ - [L]\n"
             "\tRewriteCond %{REQUEST_URI} =/b\n\tRewriteRule ^ - [L]\n"
             "\tRewriteCond %{REQUEST_URI} =/c\n\tRewriteRule ^ - [L]\n"},
            {"it goes with them, and those of other rules stay",
             image + front,
             Untaken(image),
             {},
             front},
            {"where it is not there, its conditions are not either",
             front,
             Untaken(image),
             {},
             front},
            {"it stays where it has not all of them",
             front,
             Untaken("RewriteCond %{HTTPS} off\n" + front),
             {},
             front},
            {"it goes with one more of its own",
             "\tRewriteCond %{HTTPS} off\n" + front + image,
             Untaken(front),
             {},
             image},
            {"a condition goes alone",
             "\tRewriteCond %{HTTPS} off\n" + front,
             Untaken("RewriteCond %{HTTPS} off\n") + front,
             {},
             front},
            {"a new one comes without a condition that is to go",
             "",
             Untaken("RewriteCond %{HTTPS} off\n") + front,
             {},
             front},
            {"a rule that goes takes all its conditions along",
             front + image,
             Untaken("RewriteRule ^ /index.php [L]\n"),
             {},
             image}}));
}

// Of equal rules the one that has the most of the conditions.
TEST(ARewriteRule, IsToldByItsConditions) {
  const std::string off = "\tRewriteCond %{HTTPS} off\n";
  const std::string host = "\tRewriteCond %{HTTP_HOST} =a\n";
  const std::string added = "\tRewriteCond %{REQUEST_URI} =/x\n";
  const std::string rule = "\tRewriteRule ^ - [L]\n";
  ExpectEdits(Dialect::kApache, Each(Host, {{"the second one has more",
                                             off + rule + off + host + rule,
                                             off + host + added + rule,
                                             {},
                                             off + rule + off + host + added + rule},
                                            {"the first one has more",
                                             off + host + rule + off + rule,
                                             off + host + added + rule,
                                             {},
                                             off + host + added + rule + off + rule},
                                            {"of two that have as many, the first one",
                                             off + rule + off + rule,
                                             off + added + rule,
                                             {},
                                             off + added + rule + off + rule},
                                            {"one with one of them before one without any",
                                             rule + host + rule,
                                             host + off + rule,
                                             {},
                                             rule + host + off + rule},
                                            {"one without any before a new one",
                                             added + rule + rule,
                                             off + rule,
                                             {},
                                             added + rule + off + rule},
                                            {"what has been taken is not taken once more",
                                             off + rule,
                                             off + rule + off + rule,
                                             {},
                                             off + rule + off + rule}}));
}

TEST(ARewriteRule, IsLeftAloneWhereAValueIsMissing) {
  const std::string there = "\tRewriteRule ^/a /b\n";
  const std::string off = "RewriteCond %{HTTPS} off\n";
  const std::string host = "RewriteCond %{HTTP_HOST} ={% $host %}\n";
  const auto said = [](const std::string& name, const std::string& config, const std::string& lines,
                       const std::string& place, const std::string& value) {
    return SaidCase{name, config, lines, {}, "missing-value", place, value, nullptr, config};
  };
  ExpectWarnings(
      Dialect::kApache,
      EachSaid(Host,
               {said("of a condition", there, off + host + there, "site.template:4:1:", "'host'"),
                said("of the condition of a new one", "\tSSLEngine on\n", off + host + there,
                     "site.template:4:1:", "'host'"),
                said("of the rule", "\t" + off + there,
                     "RewriteCond %{REQUEST_URI} =/x\n" + off + "RewriteRule ^/a {% $to %}\n",
                     "site.template:5:1:", "'to'"),
                said("of the rule of a new one", "\tSSLEngine on\n",
                     off + "RewriteRule ^/a {% $to %}\n", "site.template:4:1:", "'to'"),
                {"where lines that go have to be there",
                 there,
                 off + host + there,
                 {},
                 "missing-value",
                 "site.template:4:1:",
                 "'host'",
                 [](Request& request) { request.must_exist = true; },
                 there}}));
}

TEST(AMissingValue, LeavesTheDirectiveAlone) {
  ExpectWarnings(
      Dialect::kNginx,
      EachSaid(Server,
               {{"no new value",
                 "\troot /a;\n",
                 "root {% $r %};\n",
                 {{"r", "/a", kNone}},
                 "missing-value",
                 "site.template:3:1:",
                 "there is no value 'r': this line neither adds, changes nor removes anything",
                 nullptr,
                 "\troot /a;\n"},
                {"several of them",
                 "\terror_page 404 /a;\n",
                 "error_page {% $code %} {% $page %};\n",
                 {},
                 "missing-value",
                 "site.template:3:1:",
                 "there is no value 'code', 'page': this line",
                 nullptr,
                 "\terror_page 404 /a;\n"},
                {"no value at all",
                 "\troot /a;\n",
                 "root {% $r %};\n",
                 {},
                 "missing-value",
                 "site.template:3:1:",
                 "'r'",
                 nullptr,
                 "\troot /a;\n"},
                {"none for a trailing place",
                 "\troot /a;\n",
                 "root [% $r %];\n",
                 {},
                 "missing-value",
                 "site.template:3:1:",
                 "'r'",
                 nullptr,
                 "\troot /a;\n"},
                {"one of two",
                 "\tlimit_req zone=a burst=5;\n",
                 "limit_req zone={% $z %} burst={% $b %};\n",
                 {{"z", "a", "x"}},
                 "missing-value",
                 "site.template:3:1:",
                 "there is no value 'b'",
                 nullptr,
                 "\tlimit_req zone=a burst=5;\n"},
                {"of a comment",
                 "\t# by a\n",
                 "# by {% $who %}\n",
                 {},
                 "missing-value",
                 "site.template:3:1:",
                 "'who'",
                 nullptr,
                 "\t# by a\n"},
                {"in a new block",
                 "",
                 "location / {\nroot {% $r %};\nindex i;\n}\n",
                 {},
                 "missing-value",
                 "site.template:4:1:",
                 "a value of this line is missing: it is left out",
                 nullptr,
                 "\tlocation / {\n\t\tindex i;\n\t}\n"}}));
}

// --- Trailing places ---

TEST(ATrailingPlace, IsTheOneDirectiveWithThatBeginning) {
  const NamedValues value = {{"v", kNone, "/new"}};
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"whatever it holds", "\troot   /customer;  # by hand\n", "root [% $v %];\n", value,
             "\troot   /new;  # by hand\n"},
            {"it is there already", "\troot /new;\n", "root [% $v %];\n", value, "\troot /new;\n"},
            {"it is not there", "", "root [% $v %];\n", value, "\troot /new;\n"},
            {"with several words before it", "\terror_page 403 /403;\n\terror_page 404 /404;\n",
             "error_page 404 [% $v %];\n", value,
             "\terror_page 403 /403;\n\terror_page 404 /new;\n"},
            {"with a full place before it",
             "\terror_page 403 /403;\n\terror_page 404 /404;\n",
             "error_page {% $c %} [% $v %];\n",
             {{"c", "404", "410"}, {"v", kNone, "/new"}},
             "\terror_page 403 /403;\n\terror_page 410 /new;\n"},
            {"in the middle of a word",
             "\taccess_log /var/log/a.log;\n\taccess_log /mnt/b;\n",
             "access_log /var/log/[% $v %].log;\n",
             {{"v", kNone, "z"}},
             "\taccess_log /var/log/z.log;\n\taccess_log /mnt/b;\n"},
            {"in quotes",
             "\tadd_header X \"old words\" always;\n",
             "add_header X \"[% $v %]\" always;\n",
             {{"v", kNone, "new words"}},
             "\tadd_header X \"new words\" always;\n"},
            {"several words",
             "\tindex a;\n",
             "index [% $v %];\n",
             {{"v", kNone, "a b c"}},
             "\tindex a b c;\n"},
            {"fewer words",
             "\tindex a b c;\n",
             "index [% $v %];\n",
             {{"v", kNone, "c"}},
             "\tindex c;\n"},
            {"words behind it",
             "\tadd_header X 1;\n",
             "add_header X [% $v %] always;\n",
             {{"v", kNone, "2"}},
             "\tadd_header X 2 always;\n"},
            {"two of them",
             "\tlocation /x {\n\t\treturn 404;\n\t}\n",
             "location /x {\nreturn [% $c %] [% $v %];\n}\n",
             {{"c", kNone, "301"}, {"v", kNone, "/y"}},
             "\tlocation /x {\n\t\treturn 301 /y;\n\t}\n"},
            {"an opening line", "\tlocation /x {\n\t\tetag on;\n\t}\n",
             "location [% $v %] {\netag on;\n}\n", value, "\tlocation /new {\n\t\tetag on;\n\t}\n"},
            {"beside one with its full text",
             "\terror_page 404 /404;\n\terror_page 500 /500;\n",
             "error_page 404 /404;\nerror_page [% $v %];\n",
             {{"v", kNone, "500 /new"}},
             "\terror_page 404 /404;\n\terror_page 500 /new;\n"},
            {"one of several that has the old value",
             "\tinclude /a;\n\tinclude /b;\n",
             "include [% $v %];\n",
             {{"v", "/b", "/new"}},
             "\tinclude /a;\n\tinclude /new;\n"},
            {"one of several that has the new value", "\tinclude /a;\n\tinclude /new;\n",
             "include [% $v %];\n", value, "\tinclude /a;\n\tinclude /new;\n"}}));
}

TEST(ATrailingPlace, ThatSeveralDirectivesFitIsRefused) {
  const auto refused = [](const std::string& name, const std::string& lines,
                          const std::string& text, const std::string& part) {
    return SaidCase{
        name, lines, text, {{"v", kNone, "/new"}}, "ambiguous", "site.template:3:1:", part};
  };
  ExpectRefusals(
      Dialect::kNginx,
      EachSaid(
          Server,
          {refused("error_page", "\terror_page 404 /404;\n\terror_page 500 /500;\n",
                   "error_page [% $v %];\n",
                   "'error_page [% $v %];' fits several directives: site.conf:3:2 'error_page 404 "
                   "/404;', "
                   "site.conf:4:2 'error_page 500 /500;'. Write more of the line before the place, "
                   "or a full place {% ... %} with the old value"),
           refused("add_header", "\tadd_header X 1;\n\tadd_header Y 2;\n", "add_header [% $v %];\n",
                   "site.conf:4:2"),
           refused("include", "\tinclude /a;\n\n\tinclude /b;\n", "include [% $v %];\n",
                   "site.conf:5:2"),
           refused("beginnings that are alike", "\tadd_header X 1;\n\tadd_header X 2;\n",
                   "add_header X [% $v %];\n", "site.conf:4:2")}));
  SaidCase removal = refused("a removal", "\terror_page 404 /404;\n\terror_page 500 /500;\n",
                             Untaken("error_page [% $v %];\n"), "site.conf:4:2");
  removal.place = "site.template:4:1:";
  ExpectRefusals(Dialect::kNginx, EachSaid(Server, {removal}));
  ExpectRefusals(
      Dialect::kApache,
      EachSaid(Host,
               {refused("ErrorDocument", "\tErrorDocument 404 /404\n\terrordocument 500 /500\n",
                        "ErrorDocument [% $v %]\n", "site.conf:4:2 'errordocument 500 /500'"),
                refused("ProxyPass", "\tProxyPass /a http://a/\n\tProxyPass /b http://b/\n",
                        "ProxyPass [% $v %]\n", "site.conf:4:2")}));
}

TEST(ATrailingPlace, InABranchNotTakenRemovesTheOneDirectiveWithNames) {
  const std::string b_and_c = "\tServerAlias b\n\tServerAlias c\n";
  ExpectEdits(
      Dialect::kApache,
      Each(Host,
           {{"the only one",
             "\tServerAlias b c\n",
             Untaken("ServerAlias [% $n %]\n"),
             {{"n", kNone, "x"}},
             ""},
            {"the one with the name before the place",
             b_and_c,
             Untaken("ServerAlias c [% $n %]\n"),
             {{"n", kNone, "x"}},
             "\tServerAlias b\n"},
            {"none", b_and_c, Untaken("ServerAlias d [% $n %]\n"), {{"n", kNone, "x"}}, b_and_c}}));
  ExpectRefusals(
      Dialect::kApache,
      EachSaid(Host, {{"one of two",
                       b_and_c,
                       Untaken("ServerAlias [% $n %]\n"),
                       {{"n", kNone, "x"}},
                       "ambiguous",
                       "site.template:4:1:",
                       "site.conf:3:2 'ServerAlias b', site.conf:4:2 'ServerAlias c'"}}));
}

TEST(ATrailingPlace, InABranchNotTakenRemovesItsDirective) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"and no other one that begins alike",
             "\tssl_certificate_key /k;\n\tssl_certificate /c;\n",
             Untaken("ssl_certificate [% $c %];\n"),
             {},
             "\tssl_certificate_key /k;\n"},
            {"nor one that begins alike alone",
             "\tssl_certificate_key /k;\n",
             Untaken("ssl_certificate [% $c %];\n"),
             {},
             "\tssl_certificate_key /k;\n"},
            {"with a word before it",
             "\terror_page 403 /403;\n\terror_page 404 /404;\n",
             Untaken("error_page 404 [% $p %];\n"),
             {},
             "\terror_page 403 /403;\n"},
            {"another branch sets it",
             "\taccess_log /a;\n",
             "{% if $l %}\naccess_log [% $l %];\n{% else %}\naccess_log off;\n{% endif %}\n",
             {{"l", kNone, "/b"}},
             "\taccess_log /b;\n"}}));
}

// --- Directives that are found by their name alone ---

TEST(DirectivesFoundByTheirName, GoWhateverTheyHold) {
  ExpectEdits(Dialect::kNginx, Each(Server, {{"by a line with an old value only",
                                              "\tssl_protocols TLSv1.3;\n",
                                              Untaken("ssl_protocols {% $p %};\n"),
                                              {{"p", "TLSv1", kNone}},
                                              ""},
                                             {"by a line with a new value only",
                                              "\tssl_protocols TLSv1.3;\n",
                                              Untaken("ssl_protocols {% $p %};\n"),
                                              {{"p", kNone, "TLSv1"}},
                                              ""}}));
}

TEST(DirectivesFoundByTheirName, ChangeWhateverTheyHold) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"protocols",
                     "\tssl_protocols TLSv1 TLSv1.1;  # old\n\troot /a;\n",
                     "ssl_protocols TLSv1.3;\n",
                     {},
                     "\tssl_protocols TLSv1.3;  # old\n\troot /a;\n"},
                    {"ciphers by a value",
                     "\tssl_ciphers HIGH;\n",
                     "ssl_ciphers {% $c %};\n",
                     {{"c", "LOW", "MEDIUM"}},
                     "\tssl_ciphers MEDIUM;\n"},
                    {"it is not there",
                     "\troot /a;\n",
                     "ssl_protocols TLSv1.3;\n",
                     {},
                     "\troot /a;\n\tssl_protocols TLSv1.3;\n"},
                    {"a branch not taken",
                     "\tssl_protocols TLSv1;\n",
                     Untaken("ssl_protocols TLSv1.3;\n"),
                     {},
                     ""},
                    {"one of two branches",
                     "\tssl_protocols TLSv1;\n",
                     "{% if $new %}\nssl_protocols TLSv1.3;\n{% else %}\nssl_protocols TLSv1.2;\n"
                     "{% endif %}\n",
                     {{"new", kNone, "1"}},
                     "\tssl_protocols TLSv1.3;\n"}}));
  ExpectEdits(
      Dialect::kApache,
      Each(Host, {{"protocols",
                   "\tSSLProtocol all -SSLv3\n",
                   "SSLProtocol TLSv1.3\n",
                   {},
                   "\tSSLProtocol TLSv1.3\n"},
                  {"one setting of several",
                   "\tphp_admin_value upload_max_filesize 8M\n\tphp_admin_value memory_limit 64M\n",
                   "php_admin_value memory_limit 256M\n",
                   {},
                   "\tphp_admin_value upload_max_filesize 8M\n"
                   "\tphp_admin_value memory_limit 256M\n"},
                  {"a setting that is new",
                   "\tphp_admin_value memory_limit 64M\n\tProtocols h2\n",
                   "php_admin_value post_max_size 8M\n",
                   {},
                   "\tphp_admin_value memory_limit 64M\n\tphp_admin_value post_max_size 8M\n"
                   "\tProtocols h2\n"}}));
}

// --- Branches that are not taken ---

TEST(LinesOfABranchNotTaken, AreRemoved) {
  ExpectEdits(Dialect::kNginx,
              Each(Server, {{"as they are written",
                             "\tgzip on;\n\tgzip_vary on;\n",
                             Untaken("gzip on;\n"),
                             {},
                             "\tgzip_vary on;\n"},
                            {"with their old values",
                             "\troot /a;\n",
                             Untaken("root {% $r %};\n"),
                             {{"r", "/a", "/b"}},
                             ""},
                            {"else with their new ones",
                             "\troot /b;\n",
                             Untaken("root {% $r %};\n"),
                             {{"r", "/a", "/b"}},
                             ""},
                            {"with an old value alone",
                             "\troot /a;\n",
                             Untaken("root {% $r %};\n"),
                             {{"r", "/a", kNone}},
                             ""},
                            {"without any value nothing goes",
                             "\troot /a;\n",
                             Untaken("root {% $r %};\n"),
                             {},
                             "\troot /a;\n"},
                            {"with another value nothing goes",
                             "\troot /hand;\n",
                             Untaken("root {% $r %};\n"),
                             {{"r", "/a", "/b"}},
                             "\troot /hand;\n"},
                            {"all that are alike go together",
                             "\tadd_header X 1;\n\tadd_header Y 1;\n\tadd_header  X  \"1\";\n",
                             Untaken("add_header X 1;\n"),
                             {},
                             "\tadd_header Y 1;\n"},
                            {"what another line wants, stays",
                             "\tgzip on;\n",
                             "gzip on;\n" + Untaken("gzip on;\n"),
                             {},
                             "\tgzip on;\n"},
                            {"another branch comes in their place",
                             "\troot /a;\n\tgzip off;\n\tindex i;\n",
                             "{% if $z == on %}\ngzip on;\n{% else %}\ngzip off;\n{% endif %}\n",
                             {{"z", kNone, "on"}},
                             "\troot /a;\n\tgzip on;\n\tindex i;\n"},
                            {"a whole block, with what the template does not name",
                             "\tlocation /img {\n\t\texpires 1d;\n\t\tetag on;\n\t}\n\troot /a;\n",
                             Untaken("location /img {\nexpires 30d;\n}\n"),
                             {},
                             "\troot /a;\n"},
                            {"a comment above them stays",
                             "\t# compressed\n\tgzip on;\n",
                             Untaken("gzip on;\n"),
                             {},
                             "\t# compressed\n"},
                            {"a comment beside them goes",
                             "\tgzip on;  # compressed\n\troot /a;\n",
                             Untaken("gzip on;\n"),
                             {},
                             "\troot /a;\n"}}));
}

TEST(LinesOfABranchNotTaken, LeaveTheirNewWordsWhereTheOldOnesGo) {
  const auto edited = [](Dialect dialect, Around around, const std::string& config,
                         const std::string& lines) {
    const Case c = {"", around(config), around(Untaken(lines)), {{"v", "1", "2"}}, ""};
    return EditedText(RequestOf(dialect, c), c.config);
  };
  struct Gone {
    const char* line;
    const char* both;
    const char* only_new;
  };
  for (const Gone& each :
       {Gone{"allow {% $v %};\n", "\tallow 1;\n\tallow 2;\n", "\tallow 2;\n"},
        Gone{"listen {% $v %};\n", "\tlisten 1;\n\tlisten 2;\n", "\tlisten 2;\n"},
        Gone{"server_name {% $v %};\n", "\tserver_name x 1 2;\n", "\tserver_name x 2;\n"}}) {
    EXPECT_EQ(edited(Dialect::kNginx, Server, each.both, each.line), Server(each.only_new));
  }
  EXPECT_EQ(edited(Dialect::kNginx, Server, "\tallow 2;\n", "allow {% $v %};\n"), Server(""));
  EXPECT_EQ(edited(Dialect::kNginx, Server, "\tlisten 2;\n", "listen {% $v %};\n"), Server(""));
  EXPECT_EQ(edited(Dialect::kNginx, Server, "\tserver_name x 2;\n", "server_name {% $v %};\n"),
            Server("\tserver_name x;\n"));
  EXPECT_EQ(edited(Dialect::kApache, Host, "\tOptions 1 2 3\n", "Options {% $v %}\n"),
            Host("\tOptions 2 3\n"));
  EXPECT_EQ(edited(Dialect::kApache, Host, "\tOptions 2 3\n", "Options {% $v %}\n"),
            Host("\tOptions 3\n"));
}

TEST(LinesOfABranchNotTaken, HaveToBeThereWhenAsked) {
  const auto exist = [](Request& request) { request.must_exist = true; };
  ExpectRefusals(Dialect::kNginx,
                 EachSaid(Server, {{"a line",
                                    "\troot /b;\n",
                                    Untaken("root /a;\n"),
                                    {},
                                    "not-found",
                                    "site.template:4:1:",
                                    "'root /a;' is to be removed, and is not there",
                                    exist},
                                   {"a comment",
                                    "\troot /b;\n",
                                    Untaken("# note\n"),
                                    {},
                                    "not-found",
                                    "site.template:4:1:",
                                    "'# note'",
                                    exist},
                                   {"a name",
                                    "\troot /b;\n",
                                    Untaken("server_name x;\n"),
                                    {},
                                    "not-found",
                                    "site.template:4:1:",
                                    "'server_name x;'",
                                    exist},
                                   {"an address",
                                    "\tlisten 80;\n",
                                    Untaken("listen 81;\n"),
                                    {},
                                    "not-found",
                                    "site.template:4:1:",
                                    "'listen 81;'",
                                    exist},
                                   {"a block",
                                    "\troot /b;\n",
                                    Untaken("location / {\n}\n"),
                                    {},
                                    "not-found",
                                    "site.template:4:1:",
                                    "there is no 'location / {' in site.conf. It was to be removed",
                                    exist}}));
  ExpectRefusals(Dialect::kApache,
                 EachSaid(Host, {{"a rewrite rule",
                                  "\tRewriteRule ^b /b\n",
                                  Untaken("RewriteCond %{HTTPS} on\nRewriteRule ^a /a\n"),
                                  {},
                                  "not-found",
                                  "site.template:5:1:",
                                  "'RewriteRule ^a /a'",
                                  exist}}));
  for (const std::string there : {"root /a;\n", "# note\n", "location / {\n}\n"}) {
    const Case goes = {"", Server(there), Server(Untaken(there)), {}, "", exist};
    EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, goes), goes.config), Server("")) << there;
  }
}

// --- Comments ---

TEST(Comments, OfATemplateAreLinesLikeOthers) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"one is added",
             "\troot /a;\n",
             "root /a;\n# managed\n",
             {},
             "\troot /a;\n"
             "\t# managed\n"},
            {"one is there",
             "\t# managed\n\troot /a;\n",
             "root /a;\n# managed\n",
             {},
             "\t# managed\n\troot /a;\n"},
            {"one is there, behind a directive",
             "\troot /a; # managed\n",
             "# managed\n",
             {},
             "\troot /a; # managed\n"},
            {"one changes",
             "\t# by ann\n\troot /a;\n",
             "# by {% $who %}\n",
             {{"who", "ann", "bob"}},
             "\t# by bob\n\troot /a;\n"},
            {"one goes", "\t# managed\n\troot /a;\n", Untaken("# managed\n"), {}, "\troot /a;\n"},
            {"one goes, and not those behind a directive, an opening and a closing",
             "\troot /a; # managed\n\t # managed\n\tlocation / { # managed\n\t} # managed\n",
             Untaken("# managed\n"),
             {},
             "\troot /a; # managed\n\tlocation / { # managed\n\t} # managed\n"},
            {"one is there before the one that it was",
             "\t# by bob\n\t# by ann\n",
             "# by {% $who %}\n",
             {{"who", "ann", "bob"}},
             "\t# by bob\n\t# by ann\n"},
            {"one that stands before the one that it is to be changes",
             "\t# by ann\n\t# by bob\n",
             "# by {% $who %}\n",
             {{"who", "ann", "bob"}},
             "\t# by bob\n\t# by bob\n"},
            {"of several alike each changes",
             "\t# by ann\n\troot /a;\n\t# by ann\n",
             "# by {% $who %}\n# by {% $who %}\n",
             {{"who", "ann", "bob"}},
             "\t# by bob\n\troot /a;\n\t# by bob\n"},
            {"another one is another",
             "\t# managed by hand\n",
             "# managed\n",
             {},
             "\t# managed\n\t# managed by hand\n"},
            {"the template's own are none",
             "\troot /a;\n",
             "{#} note\nroot /a; {#} as asked for\n",
             {},
             "\troot /a;\n"}}));
  // With its new value it would go on in the next line.
  ExpectEdits(Dialect::kApache, Each(Host, {{"one of a branch not taken goes with its old value",
                                             "\t# by ann\n",
                                             Untaken("# by {% $who %}\n"),
                                             {{"who", "ann", "bob\\"}},
                                             ""}}));
}

// --- Where new directives go ---

TEST(ANewDirective, StandsBehindTheLastOneOfItsName) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"directly",
             "\tallow 1.1.1.1;\n\troot /a;\n\tallow 2.2.2.2;\n\tindex i;\n",
             "allow 3.3.3.3;\n",
             {},
             "\tallow 1.1.1.1;\n\troot /a;\n\tallow 2.2.2.2;\n\tallow 3.3.3.3;\n\tindex i;\n"},
            {"also behind a block",
             "\tlocation / {\n\t}\n\tinclude /a;\n\tindex i;\n",
             "include /b;\n",
             {},
             "\tlocation / {\n\t}\n\tinclude /a;\n\tinclude /b;\n"
             "\tindex i;\n"},
            {"several, in the template's order",
             "\tinclude /a;\n\tindex i;\n",
             "include /b;\ninclude /c;\n",
             {},
             "\tinclude /a;\n\tinclude /b;\n\tinclude /c;\n\tindex i;\n"},
            {"but before one that the template names behind it",
             "\tdeny 1.1.1.1;\n\tdeny all;\n",
             "deny 2.2.2.2;\ndeny all;\n",
             {},
             "\tdeny 1.1.1.1;\n\tdeny 2.2.2.2;\n\tdeny all;\n"},
            {"... also before one that is not the last",
             "\tset $a 1;\n\tset $c 1;\n\tset $z 1;\n",
             "set $a 1;\nset $b 1;\nset $c 1;\n",
             {},
             "\tset $a 1;\n\tset $b 1;\n\tset $c 1;\n\tset $z 1;\n"},
            {"... also between two that it names",
             "\tset $a 1;\n\tset $x 1;\n\tset $c 1;\n",
             "set $a 1;\nset $b 1;\nset $c 1;\n",
             {},
             "\tset $a 1;\n\tset $x 1;\n\tset $b 1;\n\tset $c 1;\n"}}));
}

TEST(ANewDirective, StandsBeforeTheFirstBlockInside) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"behind the directives there",
                     "\troot /a;\n\tlocation / {\n\t}\n\tindex i;\n",
                     "etag on;\n",
                     {},
                     "\troot /a;\n\tetag on;\n\tlocation / {\n\t}\n\tindex i;\n"},
                    {"behind a comment on their line",
                     "\troot /a; # disk\n\n\t# files\n\tlocation / {\n\t}\n",
                     "etag on;\n",
                     {},
                     "\troot /a; # disk\n\tetag on;\n\n\t# files\n\tlocation / {\n\t}\n"}}));
  ExpectEdits(Dialect::kApache,
              {{"where nothing stands before it",
                "<VirtualHost *:80>\n\t# files\n\t# of a\n\t<Files x>\n"
                "\t</Files>\n</VirtualHost>\n",
                "<VirtualHost *:80>\nProtocols h2\n</VirtualHost>\n",
                {},
                "<VirtualHost *:80>\n\tProtocols h2\n\t# files\n\t# of a\n\t<Files x>\n\t</Files>\n"
                "</VirtualHost>\n"},
               {"in an empty block",
                "<VirtualHost *:80>\n</VirtualHost>\n",
                "<VirtualHost *:80>\nProtocols h2\n</VirtualHost>\n",
                {},
                "<VirtualHost *:80>\n\tProtocols h2\n</VirtualHost>\n"}});
}

TEST(ANewDirective, KeepsToTheOrderOfTheTemplate) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"before a directive that follows it",
                     "\troot /a;\n\tindex i;\n\tetag on;\n",
                     "expires 1d;\nindex i;\n",
                     {},
                     "\troot /a;\n\texpires 1d;\n\tindex i;\n\tetag on;\n"},
                    {"behind a block that precedes it",
                     "\troot /a;\n\tlocation /x {\n\t}\n\tlocation /y {\n\t}\n",
                     "location /x {\n}\netag on;\n",
                     {},
                     "\troot /a;\n\tlocation /x {\n\t}\n\tetag on;\n\tlocation /y {\n\t}\n"},
                    {"behind a directive behind a block",
                     "\tlocation /x {\n\t}\n\tindex i;\n\tlocation /y {\n\t}\n",
                     "index i;\netag on;\n",
                     {},
                     "\tlocation /x {\n\t}\n\tindex i;\n\tetag on;\n\tlocation /y {\n\t}\n"},
                    {"not where the file has another order",
                     "\troot /a;\n\tindex i;\n\tetag on;\n",
                     "etag on;\nexpires 1d;\nroot /a;\n",
                     {},
                     "\troot /a;\n\tindex i;\n\tetag on;\n\texpires 1d;\n"}}));
}

TEST(ANewBlock, StandsBehindTheLastOneOfItsKind) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"before what follows that",
                     "\tlocation /x {\n\t}\n\tindex i;\n",
                     "location /y {\netag on;\n}\n",
                     {},
                     "\tlocation /x {\n\t}\n\tlocation /y {\n\t\tetag on;\n\t}\n\tindex i;\n"},
                    {"else at the end",
                     "\tif ($x) {\n\t}\n\tindex i;\n",
                     "location /y {\netag on;\n}\n",
                     {},
                     "\tif ($x) {\n\t}\n\tindex i;\n\tlocation /y {\n\t\tetag on;\n\t}\n"},
                    {"several, in the template's order",
                     "\tlocation /x {\n\t}\n",
                     "location /y {\netag on;\n}\nlocation /z {\netag on;\n}\n",
                     {},
                     "\tlocation /x {\n\t}\n\tlocation /y {\n\t\tetag on;\n\t}\n\tlocation /z {\n"
                     "\t\tetag on;\n\t}\n"},
                    {"blocks in blocks, lines and blocks in the template's order",
                     "",
                     "location / {\nroot /srv;\nif ($x) {\nreturn 403;\n}\nindex i;\n}\n",
                     {},
                     "\tlocation / {\n\t\troot /srv;\n\t\tif ($x) {\n\t\t\treturn 403;\n\t\t}\n"
                     "\t\tindex i;\n\t}\n"},
                    {"without the lines of branches not taken",
                     "",
                     "location / {\n" + Untaken("root /srv;\n") + "index i;\n}\n",
                     {},
                     "\tlocation / {\n\t\tindex i;\n\t}\n"}}));
}

TEST(ALocation, ThatNginxWouldNotTakeTwiceIsRefused) {
  const std::string strong = "\tlocation ^~ /img/ {\n\t\texpires 30d;\n\t}\n";
  ExpectRefusals(
      Dialect::kNginx,
      EachSaid(Server, {{"a new one beside one that ends the search",
                         strong,
                         "location /img/ {\nexpires 7d;\n}\n",
                         {},
                         "collision",
                         "site.template:3:1:",
                         "site.conf:3:2 'location ^~ /img/': nginx takes one location of a path"},
                        {"a new one that ends the search",
                         "\tlocation /img/ {\n\t}\n",
                         "location ^~ /img/ {\nexpires 7d;\n}\n",
                         {},
                         "collision",
                         "site.template:3:1:",
                         "there is a block 'location ^~ /img/ {' already, site.conf:3:2 "
                         "'location /img/'"},
                        {"one that is renamed",
                         strong + "\tlocation /b/ {\n\t}\n",
                         "location {% $l %} {\n}\n",
                         {{"l", "/b/", "/img/"}},
                         "collision",
                         "site.template:3:1:",
                         "site.conf:3:2 'location ^~ /img/'"}}));
  ExpectRefusals(Dialect::kNginx, {{"an upstream that is renamed",
                                    "upstream a {\n}\nupstream b {\n}\n",
                                    "upstream {% $u %} {\n}\n",
                                    {{"u", "a", "b"}},
                                    "collision",
                                    "site.template:1:1:",
                                    "there is a block 'upstream b {' already, site.conf:3:1 "
                                    "'upstream b'"}});
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"a location of this path alone is another",
                     strong,
                     "location = /img/ {\nexpires 7d;\n}\n",
                     {},
                     strong + "\tlocation = /img/ {\n\t\texpires 7d;\n\t}\n"},
                    {"one takes the place of the other",
                     strong,
                     "location /img/ {\nexpires 7d;\n}\n" + Untaken("location ^~ /img/ {\n}\n"),
                     {},
                     "\tlocation /img/ {\n\t\texpires 7d;\n\t}\n"}}));
  const auto force = [](Request& request) { request.forced.insert("collision"); };
  Case forced = {"when that is forced",
                 Server(strong),
                 Server("location /img/ {\n}\n"),
                 {},
                 Server(strong + "\tlocation /img/ {\n\t}\n"),
                 force};
  ExpectEdits(Dialect::kNginx, {forced});
}

// With the blank lines at the end of what it stands in, forth and back.
TEST(ANewBlock, StandsBeforeBlankLinesAtTheEnd) {
  const std::string text =
      "{% if $on %}\nserver {\n\tserver_name a;\n}\nserver {\n\tserver_name b;\n}\n{% endif %}\n";
  const std::string made = "\nserver {\n\tserver_name a;\n}\n\nserver {\n\tserver_name b;\n}\n";
  const std::string upstream = "upstream u {\n\tserver c;\n}\n";
  const std::string inner = "location /x {\n\t\treturn 404;\n\t}\n";
  const std::string location = "server {\n{% if $on %}\n\t" + inner + "{% endif %}\n}\n";
  const auto server = [](const std::string& lines) { return "server {\n" + lines + "}\n"; };
  const NamedValues on = {{"on", kNone, "yes"}};
  const std::vector<std::pair<std::string, std::string>> texts = {
      {upstream + "\n", upstream + made + "\n"},
      {upstream + "\n\n", upstream + made + "\n\n"},
  };
  for (const auto& [before, after] : texts) {
    ExpectEdits(Dialect::kNginx, {{"forth", before, text, on, after}});
    ExpectEdits(Dialect::kNginx, {{"back", after, text, {}, before}});
  }
  const std::string plain = server("\tgzip on;\n\n");
  const std::string with = server("\tgzip on;\n\n\t" + inner + "\n");
  ExpectEdits(Dialect::kNginx, {{"inside", plain, location, on, with}});
  ExpectEdits(Dialect::kNginx, {{"inside, back", with, location, {}, plain}});
}

TEST(ANewBlock, KeepsToTheOrderOfTheTemplate) {
  const std::string x = "\tlocation ~ x {\n\t}\n";
  const std::string y = "\tlocation ~ y {\n\t}\n";
  const std::string z = "\tlocation ~ z {\n\t}\n";
  const std::string n = "\tlocation ~ n {\n\t\treturn 404;\n\t}\n";
  const std::string m = "\tlocation ~ m {\n\t\treturn 404;\n\t}\n";
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"before one that follows it", x + y, n + x, {}, n + x + y},
                    {"... and not the first one there", x + y + z, n + y, {}, x + n + y + z},
                    {"between two", x + y + z, x + n + z, {}, x + y + n + z},
                    {"before the first of those that follow it", x + y, n + y + x, {}, n + x + y},
                    {"several, in the template's order", x + y, n + m + y, {}, x + n + m + y},
                    {"each before its own", x + y, n + x + m + y, {}, n + x + m + y},
                    {"behind one that precedes it: behind the last", x + y, x + n, {}, x + y + n},
                    {"not where the file has another order", x + y, y + n + x, {}, x + y + n},
                    {"a block that goes does not count",
                     x + y,
                     n + Untaken("location ~ x {\n}\n"),
                     {},
                     y + n},
                    {"nor does one of another kind",
                     "\tif ($a) {\n\t}\n" + x,
                     n + "if ($a) {\n}\n",
                     {},
                     "\tif ($a) {\n\t}\n" + x + n},
                    {"one that gets another opening line does",
                     x + y,
                     n + "location ~ {% $l %} {\n}\n",
                     {{"l", "y", "z"}},
                     x + n + z},
                    {"above the comments of that one, with a blank line between",
                     x + "\n\t# of y\n" + y,
                     n + y,
                     {},
                     x + "\n" + n + "\n\t# of y\n" + y},
                    {"conditions of the rewrite module",
                     "\tif ($a) {\n\t}\n",
                     "if ($b) {\nreturn 403;\n}\nif ($a) {\n}\n",
                     {},
                     "\tif ($b) {\n\t\treturn 403;\n\t}\n\tif ($a) {\n\t}\n"}}));
  const std::string a = "server {\n\tserver_name a;\n}\n";
  const std::string b = "server {\n\tserver_name b;\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"not so a server: the first one of an address is the default one", b, a + b, {}, b + a},
       {"a block outside of every server",
        "map $a $b {\n}\nupstream y {\n}\n" + b,
        "upstream x {\nserver 1.1.1.1;\n}\nupstream y {\n}\n",
        {},
        "map $a $b {\n}\nupstream x {\n\tserver 1.1.1.1;\n}\nupstream y {\n}\n" + b}});
  const std::string there = "\t<Location /x>\n\t</Location>\n";
  const std::string made = "\t<Location /y>\n\t\tRequire all denied\n\t</Location>\n";
  const std::string in_condition =
      "\t<IfModule m>\n\t<Location /x>\n\t</Location>\n\t</IfModule>\n";
  ExpectEdits(Dialect::kApache,
              Each(Host, {{"of Apache, the last one wins", there, made + there, {}, made + there},
                          {"not into a condition that others stand outside of",
                           in_condition + With(there, "x", "z"),
                           made + there,
                           {},
                           in_condition + With(there, "x", "z") + made}}));
}

// --- listen ---

TEST(Listen, IsItsAddressAndItsOptions) {
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"options that the template does not state stay",
             "\tlisten 80 default_server backlog=5;\n",
             "listen 80;\n",
             {},
             "\tlisten 80 default_server backlog=5;\n"},
            {"options in another order",
             "\tlisten 443 http2 ssl;\n",
             "listen 443 ssl http2;\n",
             {},
             "\tlisten 443 http2 ssl;\n"},
            {"another form of the address",
             "\tlisten *:80;\n",
             "listen 80;\n",
             {},
             "\tlisten *:80;\n"},
            {"the address changes, the options stay",
             "\tlisten 10.0.0.1:443 ssl http2; # office\n",
             "listen {% $ip %}:443 ssl;\n",
             {{"ip", "10.0.0.1", "10.0.0.2"}},
             "\tlisten 10.0.0.2:443 ssl http2; # office\n"},
            {"another listen stays",
             "\tlisten 10.0.0.1:80;\n\tlisten 10.0.0.1:8080;\n",
             "listen {% $ip %}:80;\n",
             {{"ip", "10.0.0.1", "10.0.0.2"}},
             "\tlisten 10.0.0.2:80;\n\tlisten 10.0.0.1:8080;\n"},
            {"an option changes",
             "\tlisten 443 ssl http2;\n",
             "listen 443 ssl {% $o %};\n",
             {{"o", "http2", "reuseport"}},
             "\tlisten 443 ssl reuseport;\n"},
            {"an option changes where it stands",
             "\tlisten 443 spdy ssl;\n",
             "listen 443 ssl {% $o %};\n",
             {{"o", "spdy", "http2"}},
             "\tlisten 443 http2 ssl;\n"},
            {"an option comes behind the one that the template has before it",
             "\tlisten 443 ssl reuseport;\n",
             "listen 443 ssl {% $o %};\n",
             {{"o", "", "http2 deferred"}},
             "\tlisten 443 ssl http2 deferred reuseport;\n",
             [](Request& request) { request.raw.insert("o"); }},
            {"... and goes again",
             "\tlisten 443 ssl http2 deferred reuseport;\n",
             "listen 443 ssl {% $o %};\n",
             {{"o", "http2 deferred", ""}},
             "\tlisten 443 ssl reuseport;\n",
             [](Request& request) { request.raw.insert("o"); }},
            {"an option comes first where the template has it so",
             "\tlisten 443 ssl;\n",
             "{% if $d %}\nlisten 443 ssl;\n{% else %}\nlisten 443 default_server ssl;\n"
             "{% endif %}\n",
             {},
             "\tlisten 443 default_server ssl;\n"},
            {"one is added",
             "\tlisten 80;\n\troot /a;\n",
             "listen 80;\nlisten [::]:80;\n",
             {},
             "\tlisten 80;\n\tlisten [::]:80;\n\troot /a;\n"},
            {"one with a host's name is added",
             "\tlisten 80;\n",
             "listen localhost:8080;\n",
             {},
             "\tlisten 80;\n\tlisten localhost:8080;\n"},
            {"one without a port is added",
             "\tlisten 81;\n",
             "listen 127.0.0.1;\n",
             {},
             "\tlisten 81;\n\tlisten 127.0.0.1;\n"},
            {"one goes, with its options",
             "\tlisten 80 default_server;\n\tlisten 81;\n",
             Untaken("listen 80;\n"),
             {},
             "\tlisten 81;\n"},
            {"one goes, in another form of its address",
             "\tlisten *:80;\n\tlisten 81;\n",
             Untaken("listen 80;\n"),
             {},
             "\tlisten 81;\n"},
            {"an option of the other branch goes",
             "\tlisten 80 default_server;\n",
             "{% if $d %}\nlisten 80 default_server;\n{% else %}\nlisten 80;\n{% endif %}\n",
             {},
             "\tlisten 80;\n"},
            {"an option of this branch comes",
             "\tlisten 80;\n",
             "{% if $d %}\nlisten 80 default_server;\n{% else %}\nlisten 80;\n{% endif %}\n",
             {{"d", kNone, "1"}},
             "\tlisten 80 default_server;\n"},
            {"an option of another branch stays where the address has changed",
             "\tlisten 80 default_server;\n",
             "listen {% $p %};\n" + Untaken("listen 80 default_server;\n"),
             {{"p", "80", "81"}},
             "\tlisten 81 default_server;\n"},
            {"one changes to another that is there",
             "\tlisten 80;\n\tlisten 443 ssl;\n",
             "listen {% $p %};\n",
             {{"p", "80", "443"}},
             "\tlisten 443 ssl;\n"},
            {"one changes to another form",
             "\tlisten 80;\n",
             "listen {% $a %};\n",
             {{"a", "80", "*:80"}},
             "\tlisten 80;\n"},
            {"all options by a trailing place",
             "\tlisten 80;\n\tlisten 443 ssl http2;\n",
             "listen 443 [% $o %];\n",
             {{"o", kNone, "ssl"}},
             "\tlisten 80;\n\tlisten 443 ssl;\n"},
            {"... which are there in another order",
             "\tlisten 443 ssl http2;\n",
             "listen 443 [% $o %];\n",
             {{"o", kNone, "http2 ssl"}},
             "\tlisten 443 ssl http2;\n"},
            {"... which are there, with another form of the address",
             "\tlisten *:443 ssl;\n",
             "listen 443 [% $o %];\n",
             {{"o", kNone, "ssl"}},
             "\tlisten *:443 ssl;\n"},
            {"the whole by a trailing place",
             "\tlisten 443 ssl http2;\n",
             "listen [% $l %];\n",
             {{"l", kNone, "8443 ssl"}},
             "\tlisten 8443 ssl;\n"}}));
  ExpectRefusals(
      Dialect::kNginx,
      EachSaid(Server, {{"an option that is not there",
                         "\tlisten 443;\n",
                         "listen 443 ssl;\n",
                         {},
                         "other-value",
                         "site.template:3:1:",
                         "'listen 443 ssl;' is not there, but site.conf:3:2 'listen 443;'"},
                        {"... whatever a line without an address says",
                         "\tlisten 443;\n",
                         "listen 443 ssl;\n" + Untaken("listen;\n"),
                         {},
                         "other-value",
                         "site.template:3:1:",
                         "'listen 443 ssl;' is not there, but site.conf:3:2 'listen 443;'"}}));
}

TEST(Listen, OfABlockWithNothingElseLeavesTheBlock) {
  ExpectEdits(Dialect::kNginx, {{"it changes",
                                 "server {\n\tlisten 10.0.0.1:80;\n}\n",
                                 "server {\nlisten {% $ip %}:80;\n}\n",
                                 {{"ip", "10.0.0.1", "10.0.0.2"}},
                                 "server {\n\tlisten 10.0.0.2:80;\n}\n"}});
}

TEST(Listen, WithoutConnectionsIsAnother) {
  const std::string both = "\tlisten 443 ssl;\n\tlisten 443 quic reuseport;\n";
  const std::string stream = "stream {\n\tserver {\n\t\tlisten 53;\n\t\tlisten 53 udp;\n\t}\n}\n";
  ExpectEdits(Dialect::kNginx,
              Each(Server, {{"quic goes, and TLS stays",
                             both,
                             Untaken("listen 443 quic reuseport;\n"),
                             {},
                             "\tlisten 443 ssl;\n"},
                            {"TLS goes, and quic stays",
                             both,
                             Untaken("listen 443 ssl;\n"),
                             {},
                             "\tlisten 443 quic reuseport;\n"},
                            {"one moves",
                             both,
                             "listen {% $p %};\n",
                             {{"p", "443", "8443"}},
                             "\tlisten 8443 ssl;\n\tlisten 443 quic reuseport;\n"},
                            {"both move",
                             both,
                             "listen {% $p %} ssl;\nlisten {% $p %} quic reuseport;\n",
                             {{"p", "443", "8443"}},
                             "\tlisten 8443 ssl;\n\tlisten 8443 quic reuseport;\n"},
                            {"quic comes",
                             "\tlisten 0.0.0.0:443 ssl;\n",
                             "listen 443 quic;\n",
                             {},
                             "\tlisten 0.0.0.0:443 ssl;\n\tlisten 443 quic;\n"},
                            {"quic comes by a trailing place",
                             "\tlisten 443 ssl;\n",
                             "listen 443 [% $o %];\n",
                             {{"o", kNone, "quic reuseport"}},
                             "\tlisten 443 ssl;\n\tlisten 443 quic reuseport;\n"},
                            {"all options of quic by a trailing place",
                             both,
                             "listen 443 [% $o %];\n",
                             {{"o", kNone, "quic"}},
                             "\tlisten 443 ssl;\n\tlisten 443 quic;\n"},
                            {"TLS becomes quic",
                             "\tlisten *:443 ssl;\n",
                             "listen 443 {% $o %};\n",
                             {{"o", "ssl", "quic"}},
                             "\tlisten *:443 quic;\n"}}));
  ExpectEdits(Dialect::kNginx,
              {{"of a stream",
                stream,
                "stream {\nserver {\nlisten {% $p %};\nlisten {% $p %} udp;\n}\n}\n",
                {{"p", "53", "1053"}},
                With(With(stream, "53;", "1053;"), "53 udp", "1053 udp")}});
}

TEST(Listen, OfApacheIsALineOfTheTopLevel) {
  ExpectEdits(
      Dialect::kApache,
      {{"one is added behind the others",
        "ServerRoot /x\nListen 80\nUser www\n",
        "Listen 80\nListen 8080\n",
        {},
        "ServerRoot /x\nListen 80\nListen 8080\nUser www\n"},
       {"one changes",
        "Listen 80\nListen 8080\n",
        "Listen {% $p %}\n",
        {{"p", "8080", "8081"}},
        "Listen 80\nListen 8081\n"},
       {"one goes", "Listen 80\nlisten 8080\n", Untaken("Listen 8080\n"), {}, "Listen 80\n"}});
}

// --- Names ---

TEST(Names, AreComparedOneByOne) {
  const auto server = [](const std::string& lines) {
    return "server {\n\tlisten 80;\n" + lines + "}\n";
  };
  const NamedValues rename = {{"n", "a", "b"}};
  const std::string name = server("server_name {% $n %};\n");
  ExpectEdits(Dialect::kNginx,
              {{"aliases stay",
                server("\tserver_name a www.a;\n"),
                server("server_name a;\n"),
                {},
                server("\tserver_name a www.a;\n")},
               {"the first one changes", server("\tserver_name a www.a;\n"), name, rename,
                server("\tserver_name b www.a;\n")},
               {"the last one changes", server("\tserver_name www.a a;\n"), name, rename,
                server("\tserver_name www.a b;\n")},
               {"in one of several directives", server("\tserver_name x;\n\tserver_name y a;\n"),
                name, rename, server("\tserver_name x;\n\tserver_name y b;\n")},
               {"a new one joins the first directive that has one of the line",
                server("\tserver_name x;\n\tserver_name y;\n\tserver_name z;\n"),
                server("server_name y z b;\n"),
                {},
                server("\tserver_name x;\n\tserver_name y b;\n\tserver_name z;\n")},
               {"in other letters", server("\tserver_name X A;\n"), name, rename,
                server("\tserver_name X b;\n")},
               {"one goes, then all",
                server("\tserver_name a b c;\n"),
                server(Untaken("server_name b;\nserver_name [% $x %];\n")),
                {},
                server("")},
               {"all of a line are those of a trailing place",
                server("\tserver_name a b;\n"),
                server("server_name [% $n %];\n"),
                {{"n", kNone, "a"}},
                server("\tserver_name a;\n")},
               {"in quotes", server("\tserver_name \"a\";\n"), name, rename,
                server("\tserver_name \"b\";\n")},
               {"over several lines", server("\tserver_name x # one\n\t\ta\n\t\ty;\n"), name,
                rename, server("\tserver_name x # one\n\t\tb\n\t\ty;\n")},
               {"a new alias stands behind the last name",
                server("\tserver_name a x;\n"),
                server("server_name a www.a;\n"),
                {},
                server("\tserver_name a x www.a;\n")},
               {"two names change", server("\tserver_name www.a x a;\n"),
                server("server_name {% $n %} www.{% $n %};\n"), rename,
                server("\tserver_name www.b x b;\n")},
               {"two lines of the template, one directive", server("\tserver_name a www.a;\n"),
                server("server_name {% $n %};\nserver_name www.{% $n %};\n"), rename,
                server("\tserver_name b www.b;\n")},
               {"two lines of the template, two directives",
                server("\tserver_name a;\n\tserver_name www.a;\n"),
                server("server_name {% $n %} www.{% $n %};\n"), rename,
                server("\tserver_name b;\n\tserver_name www.b;\n")},
               {"the new name is there already", server("\tserver_name a b c;\n"), name, rename,
                server("\tserver_name b c;\n")},
               {"all names, by a trailing place",
                server("\tserver_name a www.a;\n"),
                server("server_name a [% $n %];\n"),
                {{"n", kNone, "shop.a"}},
                server("\tserver_name a shop.a;\n")},
               {"all names but for those that another line states",
                server("\tserver_name a b c;\n"),
                server("server_name a [% $n %];\nserver_name c;\n"),
                {{"n", kNone, "d"}},
                server("\tserver_name a d c;\n")},
               {"a name that another line states, too",
                server("\tserver_name a b c;\n"),
                server("server_name a [% $n %];\nserver_name c;\n"),
                {{"n", kNone, "c d"}},
                server("\tserver_name a c d;\n")},
               {"a name that another line states, and is not there yet",
                server("\tserver_name a b;\n"),
                server("server_name a [% $n %];\nserver_name c;\n"),
                {{"n", kNone, "c d"}},
                server("\tserver_name a c d;\n")},
               {"a name that another directive has, too",
                server("\tserver_name a b;\n\tserver_name c;\n"),
                server("server_name a [% $n %];\n"),
                {{"n", kNone, "c d"}},
                server("\tserver_name a c d;\n\tserver_name c;\n")},
               {"the same names in another order",
                server("\tserver_name www.a a;\n"),
                server("server_name a [% $n %];\n"),
                {{"n", kNone, "www.a"}},
                server("\tserver_name www.a a;\n")}});
}

TEST(Names, OfABranchNotTakenGoOneByOne) {
  const std::string aliases = "\tServerAlias w.a x\n\tServerAlias y\n";
  ExpectEdits(
      Dialect::kApache,
      Each(Host, {{"one of several",
                   aliases,
                   Untaken("ServerAlias x\n"),
                   {},
                   "\tServerAlias w.a\n\tServerAlias y\n"},
                  {"two, of two directives",
                   aliases,
                   Untaken("ServerAlias w.a y\n"),
                   {},
                   "\tServerAlias x\n"},
                  {"in other letters",
                   aliases,
                   Untaken("serveralias X\n"),
                   {},
                   "\tServerAlias w.a\n\tServerAlias y\n"},
                  {"one that is not there", aliases, Untaken("ServerAlias z\n"), {}, aliases},
                  {"all of a directive with this one, by a trailing place",
                   aliases,
                   Untaken("ServerAlias w.a [% $x %]\n"),
                   {},
                   "\tServerAlias y\n"},
                  {"all of a directive, by a trailing place",
                   "\tServerAlias w.a x\n",
                   Untaken("ServerAlias [% $x %]\n"),
                   {},
                   ""}}));
}

TEST(Names, OfABranchNotTakenGoFromAmongOthers) {
  const std::string config = "server {\n\tserver_name a www.a x;\n}\n";
  const std::string gone = "server {\n\tserver_name a x;\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"a line for each",
        config,
        "server {\nserver_name a;\n" + Untaken("server_name www.a;\n") + "}\n",
        {},
        gone},
       {"a line for both or one",
        config,
        "server {\n{% if $www %}\nserver_name a www.a;\n{% else %}\nserver_name a;\n"
        "{% endif %}\n}\n",
        {},
        gone},
       {"... the other way round",
        gone,
        "server {\n{% if $www %}\nserver_name a www.a;\n{% else %}\nserver_name a;\n"
        "{% endif %}\n}\n",
        {{"www", kNone, "1"}},
        "server {\n\tserver_name a x www.a;\n}\n"},
       {"with a rename",
        config,
        "server {\nserver_name {% $n %};\n" + Untaken("server_name www.{% $n %};\n") + "}\n",
        {{"n", "a", "b"}},
        "server {\n\tserver_name b x;\n}\n"}});
  ExpectEdits(Dialect::kApache, Each(Host, {{"an alias",
                                             "\tServerAlias x y\n",
                                             "ServerAlias x\n" + Untaken("ServerAlias y\n"),
                                             {},
                                             "\tServerAlias x\n"}}));
}

TEST(Names, OfApacheStandInServerNameAndServerAlias) {
  const NamedValues rename = {{"n", "a", "b"}};
  ExpectEdits(
      Dialect::kApache,
      {{"an alias is renamed where it stands",
        "<VirtualHost *:80>\n\tServerName x\n\tServerAlias y a\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName {% $n %}\n</VirtualHost>\n", rename,
        "<VirtualHost *:80>\n\tServerName x\n\tServerAlias y b\n</VirtualHost>\n"},
       {"a name and its alias",
        "<VirtualHost *:80>\n\tServerName a\n\tServerAlias www.a x\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName {% $n %}\nServerAlias www.{% $n %}\n</VirtualHost>\n",
        rename, "<VirtualHost *:80>\n\tServerName b\n\tServerAlias www.b x\n</VirtualHost>\n"},
       {"an alias is added beside others",
        "<VirtualHost *:80>\n\tServerName a\n\tServerAlias x\n\tProtocols h2\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName a\nServerAlias y\n</VirtualHost>\n",
        {},
        "<VirtualHost *:80>\n\tServerName a\n\tServerAlias x\n\tServerAlias y\n\tProtocols h2\n"
        "</VirtualHost>\n"},
       {"the new name is an alias already",
        "<VirtualHost *:80>\n\tServerName a\n\tServerAlias b c\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerName {% $n %}\n</VirtualHost>\n", rename,
        "<VirtualHost *:80>\n\tServerName b\n\tServerAlias b c\n</VirtualHost>\n"},
       {"an alias of a block that has nothing else",
        "<VirtualHost *:80>\n\tServerAlias a\n</VirtualHost>\n",
        "<VirtualHost *:80>\nServerAlias {% $n %}\n</VirtualHost>\n", rename,
        "<VirtualHost *:80>\n\tServerAlias b\n</VirtualHost>\n"}});
}

TEST(Names, OfServerNameChangeBetweenSchemeAndPort) {
  const auto host = [](const std::string& name) {
    return "<VirtualHost *:80>\n\tServerName " + name + "\n</VirtualHost>\n";
  };
  const NamedValues c_to_d = {{"n", "c.example", "d.example"}};
  ExpectEdits(
      Dialect::kApache,
      {{"both stay", host("https://c.example:443"), host("{% $n %}"), c_to_d,
        host("https://d.example:443")},
       {"a port stays", host("C.Example:80"), host("{% $n %}"), c_to_d, host("d.example:80")},
       {"quotes stay", host("\"c.example:80\""), host("{% $n %}"), c_to_d,
        host("\"d.example:80\"")},
       {"a host that is in the scheme, too",
        host("https://s:80"),
        host("{% $n %}"),
        {{"n", "s", "t"}},
        host("https://t:80")},
       {"what the template states changes",
        host("c.example:80"),
        host("{% $n %}"),
        {{"n", "c.example:80", "https://d.example"}},
        host("https://d.example")},
       {"a new port alone",
        host("c.example:80"),
        host("c.example:{% $p %}"),
        {{"p", "80", "8080"}},
        host("c.example:8080")},
       {"a port that comes",
        host("c.example"),
        host("{% $n %}"),
        {{"n", "c.example", "c.example:80"}},
        host("c.example:80")},
       {"quotes stay around a part of it", host("\"https://c.example:443\""), host("{% $n %}"),
        c_to_d, host("\"https://d.example:443\"")},
       {"a name that needs quotes takes all of its place",
        host("https://c.example:443"),
        host("\"{% $n %}\""),
        {{"n", "c.example", "d example"}},
        host("\"d example\"")},
       {"in quotes, too",
        host("\"c.example:80\""),
        host("\"{% $n %}\""),
        {{"n", "c.example", "d example"}},
        host("\"d example\"")},
       {"a port that the template states goes with its host",
        host("https://c.example:80"),
        host("{% $n %}"),
        {{"n", "c.example:80", "d.example"}},
        host("d.example")},
       {"a port that the template adds stands alone",
        host("https://c.example:80"),
        host("{% $n %}"),
        {{"n", "c.example", "d.example:81"}},
        host("d.example:81")},
       {"a line without a value leaves both alone",
        host("https://c.example:443"),
        host("c.example"),
        {},
        host("https://c.example:443")}});
}

TEST(Names, ThatNeedQuotesGetThoseOfTheTemplate) {
  ExpectEdits(Dialect::kApache, {{"a blank in it",
                                  "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n",
                                  "<VirtualHost *:80>\nServerName \"{% $s %}\"\n</VirtualHost>\n",
                                  {{"s", "a", "b c"}},
                                  "<VirtualHost *:80>\n\tServerName \"b c\"\n</VirtualHost>\n"}});
}

TEST(Names, MayBeManyAndLong) {
  std::string names;
  for (int i = 0; i < 1500; ++i) names += " www" + std::to_string(i) + ".example";
  const std::string text = "ServerAlias [% $n %]\n";
  const NamedValues values = {{"n", kNone, names.substr(1)}};
  ExpectEdits(Dialect::kApache,
              Each(Host, {{"they are made", "", text, values, "\tServerAlias" + names + "\n"},
                          {"they go",
                           "\tServerAlias" + names + "\n",
                           Untaken("ServerAlias" + names + "\n"),
                           {},
                           ""},
                          {"one of them changes",
                           "\tServerAlias" + names + "\n",
                           "ServerAlias {% $x %}.example\n",
                           {{"x", "www700", "x"}},
                           With("\tServerAlias" + names + "\n", " www700.", " x.")}}));
}

TEST(AListen, ThatComesToHaveTheAddressOfAnotherGoesIntoIt) {
  const std::string text = "listen {% $p %}{% $o %};\n";
  const auto values = [](const std::string& options) {
    return NamedValues{{"p", "80", "81"}, {"o", options, options}};
  };
  ExpectEdits(Dialect::kNginx,
              Each(Server, {{"the other one keeps its options", "\tlisten 80;\n\tlisten 81 ssl;\n",
                             text, values(""), "\tlisten 81 ssl;\n"},
                            {"all of its own go", "\tlisten 81;\n\tlisten 80 ssl backlog=5;\n",
                             "listen {% $p %};\n", values(""), "\tlisten 81;\n"}}));
}

TEST(ADirectiveInACondition, IsNotMeantWhereTheBlockHasItsOwn) {
  const auto host = [](const std::string& lines) {
    return "<VirtualHost *:80>\n\tServerName a\n" + lines + "</VirtualHost>\n";
  };
  const auto condition = [](const std::string& line) {
    return "\t<IfModule m>\n\t\t" + line + "\n\t</IfModule>\n";
  };
  const std::string text = "<VirtualHost *:80>\nServerName a\nX {% $v %}\n</VirtualHost>\n";
  const std::string any = "<VirtualHost *:80>\nServerName a\nX [% $v %]\n</VirtualHost>\n";
  const NamedValues values = {{"v", "1", "2"}};
  ExpectEdits(
      Dialect::kApache,
      {{"the old one there, the new one here", host(condition("X 1") + "\tX 2\n"), text, values,
        host(condition("X 1") + "\tX 2\n")},
       {"the old one there alone", host(condition("X 1")), text, values, host(condition("X 2"))},
       {"the old one in both", host(condition("X 1") + "\tX 1\n"), text, values,
        host(condition("X 1") + "\tX 2\n")},
       {"old and new there", host(condition("X 1") + condition("X 2")), text, values,
        host(condition("X 2") + condition("X 2"))},
       {"any there", host(condition("X 5")), any, values, host(condition("X 2"))},
       {"any there, any here", host(condition("X 5") + "\tX 6\n"), any, values,
        host(condition("X 5") + "\tX 2\n")}});
}

TEST(ATrailingPlace, IsFoundInWhatAnotherLineStates) {
  const auto names = [](const std::string& name, const std::string& value) {
    return Case{name,
                "server {\n\tserver_name a b;\n}\n",
                "server {\nserver_name a b;\nserver_name [% $n %];\n}\n",
                {{"n", kNone, value}},
                "server {\n\tserver_name a b;\n}\n"};
  };
  ExpectEdits(Dialect::kNginx,
              {names("the first name", "a"), names("the second name", "b"), names("both", "b a")});
  Case other = names("a third name", "c");
  other.expected = "server {\n\tserver_name a b;\n\tserver_name c;\n}\n";
  ExpectEdits(Dialect::kNginx, {other});
}

TEST(TrailingPlaces, OfTwoLinesAreTwoDirectives) {
  ExpectEdits(Dialect::kNginx, {{"each is what it says already",
                                 "server {\n\tserver_name a b;\n\tserver_name c d;\n}\n",
                                 "server {\nserver_name [% $n %];\nserver_name [% $m %];\n}\n",
                                 {{"n", kNone, "b a"}, {"m", kNone, "c d"}},
                                 "server {\n\tserver_name a b;\n\tserver_name c d;\n}\n"}});
}

TEST(ATrailingPlace, MayEndTheDirectivesName) {
  ExpectEdits(Dialect::kNginx,
              Each(Server, {{"", "", "x[% $v %];\n", {{"v", kNone, "y"}}, "\txy;\n"}}));
}

TEST(ADirectiveThatGoes, MayBeTheLastOfATextWithoutALineEnd) {
  for (const std::string end : {"", " ", "  \t"}) {
    for (const auto& [config, expected] :
         {std::pair("x 1; y 1;" + end, "x 1;" + end), std::pair("y 1;" + end, std::string())}) {
      SCOPED_TRACE(config);
      const Case c = {"", config, Untaken("y 1;\n"), {}, expected};
      const std::string edited = EditedText(RequestOf(Dialect::kNginx, c), config);
      EXPECT_EQ(edited.substr(0, edited.find_last_not_of(" \t") + 1),
                expected.substr(0, expected.find_last_not_of(" \t") + 1));
    }
  }
}

TEST(ANewBlock, StandsInTheConditionOfItsLike) {
  const auto host = [](const std::string& name) {
    return "<VirtualHost *:80>\n\tServerName " + name + "\n</VirtualHost>\n";
  };
  const auto condition = [](const std::string& lines) {
    return "<IfModule m>\n" + lines + "</IfModule>\n";
  };
  ExpectEdits(Dialect::kApache,
              {{"the first one in there",
                condition(host("a")),
                host("n"),
                {},
                condition(host("a") + host("n"))},
               {"the second one in there",
                condition("X 1\n<IfModule k>\n</IfModule>\n" + host("a")),
                host("n"),
                {},
                condition("X 1\n<IfModule k>\n</IfModule>\n" + host("a") + host("n"))}});
}

// The first of them is where its beginning ends.
TEST(TrailingPlaces, MayBeSeveralInAWord) {
  ExpectEdits(Dialect::kNginx, Each(Server, {{"two",
                                              "\tx a1-2;\n\tx b1-2;\n",
                                              "x a[% $v %]-[% $w %];\n",
                                              {{"v", kNone, "3"}, {"w", kNone, "4"}},
                                              "\tx a3-4;\n\tx b1-2;\n"}}));
}

// --- Options ---

std::string Directory(const std::string& lines) {
  return "<Directory /a>\n" + lines + "\tAllowOverride None\n</Directory>\n";
}

TEST(Options, AreComparedWordByWord) {
  ExpectEdits(
      Dialect::kApache,
      Each(Directory,
           {{"words are added",
             "\tOptions Indexes\n",
             "Options FollowSymLinks\n",
             {},
             "\tOptions Indexes FollowSymLinks\n"},
            {"words are there, in other letters",
             "\tOptions indexes FollowSymLinks\n",
             "Options Indexes\n",
             {},
             "\tOptions indexes FollowSymLinks\n"},
            {"a word changes",
             "\tOptions +Includes -Indexes\n",
             "Options {% $o %}\n",
             {{"o", "+Includes", "+ExecCGI"}},
             "\tOptions -Indexes +ExecCGI\n"},
            {"the sign of a word changes",
             "\tOptions +indexes +Includes\n",
             "Options -Indexes\n",
             {},
             "\tOptions -Indexes +Includes\n"},
            {"words go",
             "\tOptions -Indexes +Includes\n",
             Untaken("Options +Includes\n"),
             {},
             "\tOptions -Indexes\n"},
            {"all words go", "\tOptions Indexes\n", Untaken("Options Indexes\n"), {}, ""},
            {"with and without a sign they are two",
             "\tOptions Indexes\n",
             "Options +Indexes\n",
             {},
             "\tOptions Indexes +Indexes\n",
             [](Request& request) { request.forced = {"mixed-options"}; }},
            {"one that were mixed before stay so",
             "\tOptions Indexes +ExecCGI\n",
             "Options FollowSymLinks\n",
             {},
             "\tOptions Indexes +ExecCGI FollowSymLinks\n"},
            {"several new ones of one line",
             "\tOptions Indexes\n",
             "Options ExecCGI Indexes Includes\n",
             {},
             "\tOptions Indexes ExecCGI Includes\n"},
            {"a sign changes in its place",
             "\tOptions +Indexes +ExecCGI\n",
             "Options -Indexes +Includes\n",
             {},
             "\tOptions -Indexes +ExecCGI +Includes\n"},
            {"those of the last directive",
             "\tOptions Indexes\n\tOptions ExecCGI\n",
             "Options {% $o %}\n",
             {{"o", "ExecCGI", "Includes"}},
             "\tOptions Indexes\n\tOptions Includes\n"},
            {"words of the other branch go",
             "\tOptions Indexes\n",
             "{% if $i %}\nOptions Indexes\n{% else %}\nOptions FollowSymLinks\n{% endif %}\n",
             {},
             "\tOptions FollowSymLinks\n"},
            {"of several, the last one counts",
             "\tOptions -Indexes\n\tOptions +Includes\n",
             "Options +FollowSymLinks\n",
             {},
             "\tOptions -Indexes\n\tOptions +Includes +FollowSymLinks\n"},
            {"there are none", "", "Options Indexes\n", {}, "\tOptions Indexes\n"},
            {"there are none, and two lines state some",
             "",
             "Options Indexes\nOptions indexes FollowSymLinks\n",
             {},
             "\tOptions Indexes FollowSymLinks\n"},
            {"all words, by a trailing place",
             "\tOptions +Includes\n",
             "Options [% $o %]\n",
             {{"o", kNone, "None"}},
             "\tOptions None\n"}}));
  ExpectEdits(
      Dialect::kApache,
      {{"those of other blocks stay",
        Directory("\tOptions Indexes\n\tOptions MultiViews\n") + "<Directory /b>\n\tOptions None\n"
                                                                 "</Directory>\n",
        "<Directory {% $d %}>\nOptions None\n</Directory>\n",
        {{"d", "/b", "/c"}},
        Directory("\tOptions Indexes\n\tOptions MultiViews\n") + "<Directory /c>\n\tOptions None\n"
                                                                 "</Directory>\n"}});
}

// Each word once, in the line that comes first.
TEST(Options, ThatDifferInTheirFirstLetterAreTwo) {
  ExpectEdits(
      Dialect::kApache,
      Each(Host, {{"without a sign", "\tOptions Aa\n", "Options Ba\n", {}, "\tOptions Aa Ba\n"},
                  {"with one", "\tOptions +Aa\n", "Options +Ba\n", {}, "\tOptions +Aa +Ba\n"}}));
}

TEST(Options, OfANewBlockAreOneLine) {
  ExpectEdits(Dialect::kApache,
              Each(Host, {{"of two lines",
                           "",
                           "<Directory /x>\nOptions Indexes\nAllowOverride None\n"
                           "Options FollowSymLinks Indexes\n</Directory>\n",
                           {},
                           "\t<Directory /x>\n\t\tOptions Indexes FollowSymLinks\n"
                           "\t\tAllowOverride None\n\t</Directory>\n"},
                          {"of two blocks",
                           "",
                           "<Directory /x>\nOptions Indexes\n<Limit GET>\nOptions ExecCGI\n"
                           "</Limit>\nOptions Includes\n</Directory>\n",
                           {},
                           "\t<Directory /x>\n\t\tOptions Indexes Includes\n\t\t<Limit GET>\n"
                           "\t\t\tOptions ExecCGI\n\t\t</Limit>\n\t</Directory>\n"}}));
}

TEST(Options, OfSeveralLinesAreOneNewDirective) {
  ExpectEdits(Dialect::kApache,
              Each(Host, {{"each word once",
                           "\tDocumentRoot /a\n",
                           "Options Indexes MultiViews\nOptions indexes ExecCGI\n"
                           "options Includes ExecCGI\n",
                           {},
                           "\tDocumentRoot /a\n\tOptions Indexes MultiViews ExecCGI Includes\n"},
                          {"with signs",
                           "",
                           "Options +Indexes\nOptions -ExecCGI\n",
                           {},
                           "\tOptions +Indexes -ExecCGI\n"}}));
  const auto mixed = [](const std::string& lines, const std::string& place,
                        const std::string& part) {
    return SaidCase{lines, "", lines, {}, "mixed-options", place, part};
  };
  ExpectRefusals(Dialect::kApache,
                 EachSaid(Directory, {mixed("Options Indexes\nOptions +ExecCGI\n",
                                            "site.template:3:1:", "'Options Indexes +ExecCGI'"),
                                      mixed("Options +Indexes\nX Y\nOptions ExecCGI\n",
                                            "site.template:4:1:", "'Options +Indexes ExecCGI'")}));
}

TEST(Options, OfANewBlockAreRefusedWithAndWithoutASign) {
  ExpectRefusals(
      Dialect::kApache,
      EachSaid(Host, {{"of two lines",
                       "",
                       "<Directory /x>\nOptions Indexes\nOptions +ExecCGI\n</Directory>\n",
                       {},
                       "mixed-options",
                       "site.template:5:1:",
                       "would have words of Options with a sign beside words without one"}}));
}

TEST(Options, WithAndWithoutASignAreRefused) {
  const SaidCase mixed = {"a word with a sign beside one without",
                          "\tOptions Indexes FollowSymLinks\n",
                          "Options +ExecCGI\n",
                          {},
                          "mixed-options",
                          "site.template:2:1:",
                          "'Options Indexes FollowSymLinks +ExecCGI'"};
  ExpectRefusals(Dialect::kApache, EachSaid(Directory, {mixed}));
  Case forced = {"",
                 "\tOptions Indexes\n",
                 "Options +ExecCGI\n",
                 {},
                 "\tOptions Indexes +ExecCGI\n",
                 [](Request& request) { request.forced = {"mixed-options"}; }};
  ExpectEdits(Dialect::kApache, Each(Directory, {forced}));
}

// --- Changes at once ---

TEST(NamesOfALine, MoveUpAndChangePlacesWordByWord) {
  const auto server = [](const std::string& names) {
    return "server {\n\tlisten 80;\n\tserver_name " + names + ";\n}\n";
  };
  const std::string three = "server {\nlisten 80;\nserver_name {% $a %} {% $b %} {% $c %};\n}\n";
  const NamedValues up = {{"a", "a", "b"}, {"b", "b", "c"}, {"c", "c", "d"}};
  const NamedValues ring = {{"a", "a", "b"}, {"b", "b", "c"}, {"c", "c", "a"}};
  const NamedValues pair = {{"a", "a", "b"}, {"b", "b", "a"}, {"c", "c", "c"}};
  const NamedValues case_only = {{"a", "a", "A"}, {"b", "b", "c"}, {"c", "c", "b"}};
  ExpectEdits(Dialect::kNginx,
              {{"each takes the name of the next one", server("a b c"), three, up, server("b c d")},
               {"... among others", server("x a y b c z"), three, up, server("x b y c d z")},
               {"... where it is done", server("b c d"), three, up, server("b c d")},
               {"all three around", server("a b c"), three, ring, server("b c a")},
               {"two of three", server("a b c"), three, pair, server("b a c")},
               {"two of three, in another order", server("c a b"), three, pair, server("c b a")},
               {"letters of another case are no move", server("a b c"), three, case_only,
                server("a c b")}});
}

TEST(LinesThatChangePlaces, DoSoOnce) {
  const NamedValues names = {{"a", "a", "b"}, {"b", "b", "a"}};
  const NamedValues ports = {{"a", "80", "81"}, {"b", "81", "80"}};
  const auto server = [](const std::string& lines) { return "server {\n" + lines + "}\n"; };
  const std::string both = server("server_name {% $a %} {% $b %};\n");
  ExpectEdits(Dialect::kNginx,
              {{"names of a line", server("\tserver_name a b;\n"), both, names,
                server("\tserver_name b a;\n")},
               {"names with others between them", server("\tserver_name a x b y;\n"), both, names,
                server("\tserver_name b x a y;\n")},
               {"names that stand so already", server("\tserver_name b a;\n"), both, names,
                server("\tserver_name b a;\n")},
               {"names of two lines", server("\tserver_name a;\n\tserver_name b;\n"),
                server("server_name {% $a %};\nserver_name {% $b %};\n"), names,
                server("\tserver_name b;\n\tserver_name a;\n")},
               {"one of them is not there", server("\tserver_name a;\n"), both, names,
                server("\tserver_name b a;\n")},
               {"the other one is not there", server("\tserver_name b;\n"), both, names,
                server("\tserver_name b a;\n")}});
  ExpectEdits(
      Dialect::kNginx,
      Each(Server,
           {{"addresses keep their options", "\tlisten 80 default_server;\n\tlisten 81;\n",
             "listen {% $a %};\nlisten {% $b %};\n", ports,
             "\tlisten 81 default_server;\n\tlisten 80;\n"},
            {"addresses take what is stated", "\tlisten 80;\n\tlisten 81 ssl;\n",
             "listen {% $a %};\nlisten {% $b %} ssl;\n", ports, "\tlisten 81;\n\tlisten 80 ssl;\n"},
            {"addresses in another order", "\tlisten 81 ssl;\n\tlisten 80;\n",
             "listen {% $a %};\nlisten {% $b %} ssl;\n", ports, "\tlisten 80 ssl;\n\tlisten 81;\n"},
            {"directives", "\tallow 80;\n\tallow 81;\n", "allow {% $a %};\nallow {% $b %};\n",
             ports, "\tallow 81;\n\tallow 80;\n"},
            {"directives that stand so already", "\tallow 81;\n\tallow 80;\n",
             "allow {% $a %};\nallow {% $b %};\n", ports, "\tallow 81;\n\tallow 80;\n"}}));
  const auto host = [](const std::string& lines) {
    return "<VirtualHost *:80>\n" + lines + "</VirtualHost>\n";
  };
  const std::string lines = host("ServerName {% $a %}\nServerAlias {% $b %}\n");
  ExpectEdits(Dialect::kApache,
              {{"a name and an alias", host("\tServerName a\n\tServerAlias b x\n"), lines, names,
                host("\tServerName b\n\tServerAlias a x\n")},
               {"the alias stands first", host("\tServerAlias b\n\tServerName a\n"), lines, names,
                host("\tServerAlias a\n\tServerName b\n")}});
}

// By what their directives say besides: it tells which of the lines has been carried out.
TEST(LinesThatChangePlaces, AreToldByTheirOptions) {
  const NamedValues ports = {{"a", "80", "81"}, {"b", "81", "80"}};
  const auto server = [](const std::string& lines) {
    return "server {\n\tserver_name a;\n" + lines + "}\n";
  };
  const std::string text = server("listen {% $a %} backlog=1;\nlisten {% $b %} backlog=2;\n");
  const std::string before = server("\tlisten 80 backlog=1;\n\tlisten 81 backlog=2;\n");
  const std::string after = server("\tlisten 81 backlog=1;\n\tlisten 80 backlog=2;\n");
  const std::string before_reversed = server("\tlisten 81 backlog=2;\n\tlisten 80 backlog=1;\n");
  const std::string after_reversed = server("\tlisten 80 backlog=2;\n\tlisten 81 backlog=1;\n");
  ExpectEdits(Dialect::kNginx,
              {{"not yet", before, text, ports, after},
               {"not yet, in another order", before_reversed, text, ports, after_reversed},
               {"already", after, text, ports, after},
               {"already, in another order", after_reversed, text, ports, after_reversed},
               {"already, with another option", With(after, "81 ", "81 ssl "), text, ports,
                With(after, "81 ", "81 ssl ")}});
}

TEST(Listen, OfABranchNotTakenGoesWhereverItsAddressStands) {
  const std::string lines = "\tlisten 80;\n\tlisten 443 ssl;\n\tlisten *:80 default_server;\n";
  ExpectEdits(Dialect::kNginx,
              Each(Server, {{"each of its address",
                             lines,
                             Untaken("listen 0.0.0.0:80;\n"),
                             {},
                             "\tlisten 443 ssl;\n"},
                            {"one of another address", lines, Untaken("listen 81;\n"), {}, lines},
                            {"no option of one that is stated, but its own",
                             "\tlisten 443 ssl http2 deferred;\n",
                             "listen 443 ssl;\n" + Untaken("listen 443 ssl http2;\n"),
                             {},
                             "\tlisten 443 ssl deferred;\n"},
                            {"not of the old address, where that has become another",
                             "\tlisten 80;\n\tlisten 443 ssl;\n",
                             "listen {% $p %};\n" + Untaken("listen 80;\n"),
                             {{"p", "80", "81"}},
                             "\tlisten 81;\n\tlisten 443 ssl;\n"}}));
}

TEST(LinesThatMoveUp, DoSoOnce) {
  const NamedValues ports = {{"a", "80", "81"}, {"b", "81", "82"}};
  const NamedValues names = {{"a", "a", "b"}, {"b", "b", "c"}};
  const std::string listens = "\tlisten 80 default_server;\n\tlisten 81 reuseport;\n";
  const std::string moved = "\tlisten 81 default_server;\n\tlisten 82 reuseport;\n";
  ExpectEdits(
      Dialect::kNginx,
      Each(Server, {{"addresses", listens, "listen {% $a %};\nlisten {% $b %};\n", ports, moved},
                    {"addresses, the second one stated first", listens,
                     "listen {% $b %};\nlisten {% $a %};\n", ports, moved},
                    {"addresses of which the last one is taken", listens + "\tlisten 82;\n",
                     "listen {% $a %};\nlisten {% $b %};\n", ports,
                     "\tlisten 81 reuseport;\n\tlisten 82;\n"},
                    {"directives", "\tallow 80;\n\tallow 81;\n",
                     "allow {% $a %};\nallow {% $b %};\n", ports, "\tallow 81;\n\tallow 82;\n"},
                    {"directives, the second one stated first", "\tallow 80;\n\tallow 81;\n",
                     "allow {% $b %};\nallow {% $a %};\n", ports, "\tallow 81;\n\tallow 82;\n"}}));
  ExpectEdits(Dialect::kNginx,
              {{"names", "server {\n\tserver_name a b x;\n}\n",
                "server {\nserver_name {% $a %} {% $b %};\n}\n", names,
                "server {\n\tserver_name b c x;\n}\n"},
               {"a name in the middle is not there", "server {\n\tserver_name a x;\n}\n",
                "server {\nserver_name {% $a %} {% $b %};\n}\n", names,
                "server {\n\tserver_name b x c;\n}\n"}});
}

// --- Directives that may stand once ---

TEST(AnotherValue, OfADirectiveThatMayStandOnceIsRefused) {
  const NamedValues root = {{"r", "/a", "/b"}};
  ExpectRefusals(
      Dialect::kNginx,
      EachSaid(
          Server,
          {{"with an old value", "\troot /hand;\n", "root {% $r %};\n", root, "other-value",
            "site.template:3:1:",
            "'root /b;' is not there, but site.conf:3:2 'root /hand;' is, and the server allows "
            "only one. Give the value that is there as the old one, or write a trailing place: "
            "'root [% $value %];'"},
           {"without one",
            "\troot /hand;\n",
            "root {% $r %};\n",
            {{"r", kNone, "/b"}},
            "other-value",
            "site.template:3:1:",
            "site.conf:3:2 'root /hand;'"},
           {"without a place",
            "\tgzip off;\n",
            "gzip on;\n",
            {},
            "other-value",
            "site.template:3:1:",
            "site.conf:3:2 'gzip off;'"},
           {"with a word more",
            "\texpires 1d;\n",
            "expires modified 1d;\n",
            {},
            "other-value",
            "site.template:3:1:",
            "site.conf:3:2 'expires 1d;'"}}));
  ExpectRefusals(
      Dialect::kApache,
      EachSaid(Host, {{"in other letters", "\tdocumentroot /hand\n", "DocumentRoot {% $r %}\n",
                       root, "other-value", "site.template:3:1:",
                       "site.conf:3:2 'documentroot /hand' is, and the server allows only one. "
                       "Give the value that is there as the old one, or write a trailing place: "
                       "'DocumentRoot [% $value %]'"}}));
  const Case forced = {
      "", Server("\troot /hand;\n"), Server("root {% $r %};\n"), root, "", [](Request& request) {
        request.forced = {"other-value"};
      }};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, forced), forced.config),
            Server("\troot /hand;\n\troot /b;\n"));
  const Case twice = {
      "",        Server("\tlisten 443;\n"), Server("listen 443 ssl;\nlisten 443 ssl;\n"), {}, "",
      forced.ask};
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, twice), twice.config),
            Server("\tlisten 443;\n\tlisten 443 ssl;\n"));
}

TEST(AnotherValue, IsWarnedOfWhereItMayBeMeantToGo) {
  ExpectWarnings(
      Dialect::kNginx,
      EachSaid(Server, {{"an old value that is not there",
                         "\tadd_header X 2;\n",
                         "add_header X {% $v %};\n",
                         {{"v", "1", "3"}},
                         "second-line",
                         "site.template:3:1:",
                         "'add_header X 3;' is added beside site.conf:3:2 'add_header X 2;'",
                         nullptr,
                         "\tadd_header X 2;\n\tadd_header X 3;\n"},
                        {"a directive of which nothing is known",
                         "\tmy_module on;\n",
                         "my_module off;\n",
                         {},
                         "second-line",
                         "site.template:3:1:",
                         "site.conf:3:2 'my_module on;'",
                         nullptr,
                         "\tmy_module on;\n\tmy_module off;\n"}}));
  ExpectEdits(Dialect::kNginx, Each(Server, {{"a directive that may stand several times",
                                              "\tadd_header X 2;\n",
                                              "add_header Y 1;\n",
                                              {},
                                              "\tadd_header X 2;\n\tadd_header Y 1;\n"},
                                             {"... with a value that stays",
                                              "\tadd_header X 2;\n",
                                              "add_header Y {% $v %};\n",
                                              {{"v", "1", "1"}},
                                              "\tadd_header X 2;\n\tadd_header Y 1;\n"}}));
}

// --- The top level, and files without blocks ---

TEST(LinesOutsideEveryBlock, AreOfTheTopLevel) {
  const std::string main =
      "user www;\nworker_processes 2;\n\nevents {\n    worker_connections 64;\n}\n";
  ExpectEdits(Dialect::kNginx,
              {{"one changes",
                main,
                "worker_processes {% $n %};\n",
                {{"n", "2", "4"}},
                With(main, "processes 2", "processes 4")},
               {"one is added before the blocks",
                main,
                "pid /run/x;\n",
                {},
                With(main, "processes 2;\n", "processes 2;\npid /run/x;\n")},
               {"one goes", main, Untaken("user www;\n"), {}, Without(main, "user www;\n")},
               {"beside a block",
                main,
                "worker_processes {% $n %};\nevents {\nworker_connections {% $c %};\n}\n",
                {{"n", "2", "4"}, {"c", "64", "128"}},
                With(With(main, "processes 2", "processes 4"), "64", "128")},
               {"a file without blocks",
                "gzip on;\ngzip_vary on;\n",
                "gzip {% $g %};\n",
                {{"g", "on", "off"}},
                "gzip off;\ngzip_vary on;\n"},
               {"an empty file", "", "gzip on;\ngzip_vary on;\n", {}, "gzip on;\ngzip_vary on;\n"},
               {"no line of a block",
                "server {\n\tgzip on;\n}\n",
                Untaken("gzip on;\n"),
                {},
                "server {\n\tgzip on;\n}\n"}});
}

TEST(AnHtaccessFile, IsEditedLikeABlock) {
  const std::string config = R"(# made by hand
Options -Indexes
RewriteEngine On
RewriteCond %{HTTPS} off
RewriteRule ^ https://a.example%{REQUEST_URI} [R=301,L]

<FilesMatch "\.bak$">
    Require all denied
</FilesMatch>
ErrorDocument 404 /404.html
)";
  ExpectEdits(
      Dialect::kApache,
      {{"a line changes",
        config,
        "ErrorDocument 404 {% $p %}\n",
        {{"p", "/404.html", "/missing.html"}},
        With(config, "/404.html", "/missing.html")},
       {"a rule changes",
        config,
        "RewriteRule ^ https://{% $n %}%{REQUEST_URI} [R=301,L]\n",
        {{"n", "a.example", "b.example"}},
        With(config, "a.example", "b.example")},
       {"Options get a word",
        config,
        "Options -Indexes +FollowSymLinks\n",
        {},
        With(config, "-Indexes", "-Indexes +FollowSymLinks")},
       {"a block inside",
        config,
        "<FilesMatch \"\\.bak$\">\nRequire all {% $r %}\n</FilesMatch>\n",
        {{"r", "denied", "granted"}},
        With(config, "all denied", "all granted")},
       {"the block goes",
        config,
        Untaken("<FilesMatch \"\\.bak$\">\n</FilesMatch>\n"),
        {},
        Without(config, "<FilesMatch \"\\.bak$\">\n    Require all denied\n</FilesMatch>\n")},
       {"a new line",
        config,
        "DirectorySlash Off\n",
        {},
        With(config, "[R=301,L]\n", "[R=301,L]\nDirectorySlash Off\n")}});
}

// --- Raw values ---

TEST(ARawValue, IsPutInAsItIs) {
  const auto raw = [](Request& request) { request.raw = {"v"}; };
  ExpectEdits(Dialect::kNginx, Each(Server, {{"several directives",
                                              "\troot /a;\n",
                                              "root {% $v %};\n",
                                              {{"v", "/a", "/b; etag on"}},
                                              "\troot /b; etag on;\n",
                                              raw},
                                             {"several lines",
                                              "\troot /a;\n",
                                              "{% $v %};\n",
                                              {{"v", kNone, "etag on;\n\texpires 1d"}},
                                              "\troot /a;\n\tetag on;\n\texpires 1d;\n",
                                              raw},
                                             {"several words",
                                              "\tindex a;\n",
                                              "index {% $v %};\n",
                                              {{"v", "a", "b c"}},
                                              "\tindex b c;\n",
                                              raw}}));
}

TEST(ARawValue, MayBeMoreThanOneDirectiveOfANewBlock) {
  ExpectEdits(Dialect::kNginx, Each(Server, {{"two of one line",
                                              "",
                                              "location / {\nexpires {% $v %};\n}\n",
                                              {{"v", kNone, "1d; etag on"}},
                                              "\tlocation / {\n\t\texpires 1d; etag on;\n\t}\n",
                                              [](Request& request) { request.raw = {"v"}; }}}));
}

// --- What a line states, and a branch not taken has, too ---

TEST(WhatALineStates, DoesNotGoWithABranchNotTaken) {
  ExpectEdits(Dialect::kNginx,
              Each(Server, {{"a name that comes",
                             "\tserver_name b;\n",
                             "server_name b c;\n" + Untaken("server_name c;\n"),
                             {},
                             "\tserver_name b c;\n"},
                            {"a name of a trailing place that comes",
                             "\tserver_name b w.b;\n",
                             "server_name b [% $n %];\n" + Untaken("server_name c;\n"),
                             {{"n", kNone, "c"}},
                             "\tserver_name b c;\n"},
                            {"a listen with all its options",
                             "\tlisten 443 ssl http2;\n",
                             "listen 443 [% $o %];\n" + Untaken("listen 443 ssl;\n"),
                             {{"o", kNone, "ssl"}},
                             "\tlisten 443 ssl;\n"},
                            {"a listen that comes",
                             "\troot /a;\n",
                             "listen 443 ssl;\n" + Untaken("listen 443;\n"),
                             {},
                             "\troot /a;\n\tlisten 443 ssl;\n"}}));
  ExpectEdits(Dialect::kApache,
              Each(Host, {{"an option that comes",
                           "\tOptions Indexes\n",
                           "Options MultiViews\n" + Untaken("Options MultiViews\n"),
                           {},
                           "\tOptions Indexes MultiViews\n"}}));
}

// The other value of a directive that may stand once goes, so that this one may come.
TEST(AnotherValue, GoesWithABranchNotTaken) {
  for (const char* const gone : {"root /a;\n", "root [% $x %];\n", "root {% $old %};\n"}) {
    ExpectEdits(Dialect::kNginx, Each(Server, {{gone,
                                                "\troot /a;\n\tindex i;\n",
                                                "root /b;\n" + Untaken(gone),
                                                {{"old", "/a", "/c"}},
                                                "\troot /b;\n\tindex i;\n"}}));
  }
}

// httpd ends such a quote at the end of the line.
TEST(AQuoteThatIsNotClosed, IsClosedBeforeNewWords) {
  ExpectEdits(Dialect::kApache, Each(Host, {{"one more word",
                                             "\tDirectoryIndex a \"b\n",
                                             "DirectoryIndex [% $i %]\n",
                                             {{"i", kNone, "a b c"}},
                                             "\tDirectoryIndex a \"b\" c\n"},
                                            {"behind the name alone",
                                             "\tDirectoryIndex \"b\n",
                                             "DirectoryIndex [% $i %]\n",
                                             {{"i", kNone, "b c"}},
                                             "\tDirectoryIndex \"b\" c\n"}}));
}

TEST(ABlockThatHasToGo, IsMissedWithThoseOfItsKind) {
  ExpectRefusals(Dialect::kNginx,
                 {{"by its old value alone",
                   "upstream a {\n}\nupstream b {\n}\n",
                   Untaken("upstream {% $u %} {\n}\n"),
                   {{"u", "c", kNone}},
                   "not-found",
                   "site.template:2:1:",
                   "there are site.conf:1:1 'upstream a', site.conf:3:1 'upstream b'",
                   [](Request& request) { request.must_exist = true; }}});
}

}  // namespace
}  // namespace tov_edit
