// SPDX-License-Identifier: Apache-2.0

#include "document/dialect.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "support/real_configs.h"

namespace {

using tov_document::Dialect;
using tov_document::DialectNamed;
using tov_document::GuessDialect;
using tov_document::NameOf;

// "": it cannot be told.
std::string Guessed(std::string_view text) {
  const std::optional<Dialect> dialect = GuessDialect(text);
  return dialect ? NameOf(*dialect) : "";
}

TEST(DialectGuess, IsTakenFromTypicalLines) {
  struct Case {
    const char* name;
    const char* text;
    const char* dialect;
  };
  const Case cases[] = {
      {"an nginx block", "server {\n    listen 80;\n}\n", "nginx"},
      {"nginx directives alone", "gzip on;\n", "nginx"},
      {"a brace on a line of its own", "server\n{\n}\n", "nginx"},
      {"names with a capital in an nginx map", "map $a $b {\nMozilla 1;\nOpera 2;\n}\n", "nginx"},
      {"carriage returns", "server {\r\n\tlisten 80;\r\n}\r\n", "nginx"},
      {"no line end", "listen 80;", "nginx"},
      {"a virtual host", "<VirtualHost *:80>\n\tServerName a.example\n</VirtualHost>\n", "apache"},
      {"tags in lower case", "<virtualhost *:80>\nservername a.example\n</virtualhost>\n",
       "apache"},
      {"Apache directives alone", "Timeout 300\nKeepAlive On\n", "apache"},
      {"one word", "Protocols\r\n", "apache"},
      {"a negated condition", "<IfModule !mpm_netware_module>\n</IfModule>\n", "apache"},
      {"a semicolon in an Apache value", "<Location />\nHeader set X \"a; b\"\n</Location>\n",
       "apache"},
      {"HTML in an nginx string",
       "server {\nlocation / {\nreturn 200 '\n<b>\n';\n}\ngzip "
       "on;\na;\nb;\nc;\nd;\ne;\nf;\ng;\n}\n",
       "nginx"},
      {"an nginx template", "{% if $ssl %}\nlisten {% $ip %}:443 ssl;\n{% endif %}\n", "nginx"},
      {"an Apache template", "{% if $name %}\nServerName {% $name %}\n{% endif %}\n", "apache"},
      {"nothing", "", ""},
      {"blank lines", "\n \n\t\n", ""},
      {"comments", "# server {\n   # ServerName a;\n{#} gzip on;\n", ""},
      {"statements", "{% import site.template %}\n", ""},
      {"words", "name value\n", ""},
      {"a tag alone", "<", ""},
      {"some of each", "<VirtualHost *:80>\nlisten 80;\n</VirtualHost>\nserver {\n}\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Guessed(c.text), c.dialect);
  }
}

TEST(DialectGuess, KnowsRealConfigurations) {
  // Nothing but comments, and rules that are commented out but for their continued lines.
  const std::set<std::string> silent = {
      "corpus/apache-ultimate-bad-bot-blocker__Apache_2.4_custom.d_whitelist-domains.conf",
      "corpus/certbot__passing_comment-continuations-2050.conf"};
  for (const std::string dialect : {"nginx", "apache"}) {
    const std::string other = dialect == "nginx" ? "apache" : "nginx";
    for (const auto& [name, text] : RealConfigs(dialect)) {
      SCOPED_TRACE(name);
      // A golden case may be too small to tell, but is never taken for the other dialect.
      if (name.compare(0, 7, "golden/") == 0) {
        EXPECT_NE(Guessed(text), other);
      } else {
        EXPECT_EQ(Guessed(text), silent.count(name) > 0 ? "" : dialect);
      }
    }
  }
}

TEST(DialectGuess, LooksAtTheBeginningOfALongText) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "listen 80;\n";
  for (int i = 0; i < 1000; ++i) text += "ServerName a.example\n";
  EXPECT_EQ(Guessed(text), "nginx");
}

TEST(DialectNames, AreKnownInAnyCase) {
  for (const char* name : {"nginx", "Nginx", "NGINX"}) {
    EXPECT_EQ(DialectNamed(name), Dialect::kNginx) << name;
  }
  for (const char* name : {"apache", "Apache"}) {
    EXPECT_EQ(DialectNamed(name), Dialect::kApache) << name;
  }
  for (const char* name : {"", "apache2", "httpd", " nginx", "nginx "}) {
    EXPECT_EQ(DialectNamed(name), std::nullopt) << name;
  }
  EXPECT_STREQ(NameOf(Dialect::kNginx), "nginx");
  EXPECT_STREQ(NameOf(Dialect::kApache), "apache");
}

}  // namespace
