// SPDX-License-Identifier: Apache-2.0

// What would surprise on real files is named before it does harm: with its place and the way out,
// by one of the subcommands, or it is done as the author means it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/program.h"

namespace {

using testing::HasSubstr;

struct Case {
  const char* surprise;
  const char* command;
  std::string dialect;
  std::string config;
  std::string template_text;
  Words values;
  std::vector<std::string> said;  // parts of what is said, or of the result
  int exit_code;
};

std::string Server(const std::string& lines) {
  return "server {\nserver_name a;\n" + lines + "}\n";
}

// `text` with `to` in the place of `from`.
std::string With(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

class Surprises : public Program {
 protected:
  void ExpectNamed(const std::vector<Case>& cases) const {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.surprise);
      m_sandbox.Write("site.conf", c.config);
      m_sandbox.Write("site.template", c.template_text);
      const std::string command = c.command;
      Words words = {command, "--dialect", c.dialect};
      words.insert(words.end(), c.values.begin(), c.values.end());
      if (command == "apply" || command == "explain") {
        words.insert(words.end(), {"--template", "site.template"});
      }
      words.emplace_back(command == "lint" ? "site.template" : "site.conf");
      const Outcome outcome = Run(words);
      for (const std::string& part : c.said)
        EXPECT_THAT(outcome.out + outcome.err, HasSubstr(part));
      EXPECT_EQ(outcome.exit_code, c.exit_code);
    }
  }
};

constexpr int kDone = 0;
constexpr int kRefused = 4;
constexpr int kFindings = 6;

TEST_F(Surprises, NewBlocksInNewBlocks) {
  ExpectNamed({
      {"a new server with a location",
       "apply",
       "nginx",
       "",
       Server("location / {\nroot /x;\n}\n"),
       {},
       {"server {\n\tserver_name a;\n\tlocation / {\n\t\troot /x;\n\t}\n}\n"},
       kDone},
      {"explain says that both are new",
       "explain",
       "nginx",
       "",
       Server("location / {\nroot /x;\n}\n"),
       {},
       {"'server {' (new)", "'location / {' (new)"},
       kDone},
      {"a new location with an if",
       "apply",
       "nginx",
       Server(""),
       Server("location / {\nif ($x) {\nreturn 404;\n}\n}\n"),
       {},
       {"a;\nlocation / {\n\tif ($x) {\n\t\treturn 404;\n\t}\n}\n}\n"},
       kDone},
      {"a new virtual host with a Location",
       "apply",
       "apache",
       "",
       "<VirtualHost *:80>\nServerName a\n<Location />\nRequire all denied\n</Location>\n"
       "</VirtualHost>\n",
       {},
       {"\t<Location />\n\t\tRequire all denied\n\t</Location>\n</VirtualHost>\n"},
       kDone},
  });
}

TEST_F(Surprises, Identities) {
  const std::string two = Server("root /a;\n") + "server {\nserver_name b;\n}\n";
  ExpectNamed({
      {"a line about TLS in a branch makes no second server",
       "apply",
       "nginx",
       Server("root /a;\n"),
       Server("{% if $ssl %}\nssl on;\n{% endif %}\nroot /a;\n"),
       {},
       {Server("root /a;\n")},
       kDone},
      {"a name in each of two branches",
       "lint",
       "nginx",
       "",
       "server {\n{% if $x %}\nserver_name a;\n{% else %}\nserver_name b;\n{% endif %}\n}\n",
       {},
       {"site.template:3:1: ", "site.template:5:1: ", "[branch-identity]"},
       kFindings},
      {"no old value for a name",
       "lint",
       "nginx",
       "",
       "server {\nserver_name {% $n %};\n}\n",
       {"--set", "n=b"},
       {"site.template:2:13: ", "Give the old text", "[missing-old-value]"},
       kFindings},
      {"two blocks with one identity",
       "inspect",
       "apache",
       "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n<VirtualHost *:80>\nServerName b\n"
       "</VirtualHost>\n",
       "",
       {},
       {"site.conf:1: <VirtualHost *:80>  = a on *:80\n",
        "site.conf:4: <VirtualHost *:80>  = b on *:80\n"},
       kDone},
      {"removing one of them",
       "apply",
       "nginx",
       Server("location /i {\nexpires 1d;\n}\nroot /a;\nlocation /i {\netag off;\n}\n"),
       Server("{% if $x %}\nlocation /i {\n}\n{% endif %}\n"),
       {},
       {"fits several blocks: site.conf:3:1 'location /i', site.conf:7:1 'location /i'",
        "[ambiguous]"},
       kRefused},
      {"removing a name that begins another",
       "apply",
       "nginx",
       Server("root /a;\n") + "server {\nserver_name ab;\nroot /b;\n}\n",
       "{% if $x %}\n" + Server("") + "{% endif %}\nserver {\nserver_name ab;\ngzip on;\n}\n",
       {},
       {"server {\nserver_name ab;\nroot /b;\ngzip on;\n}\n"},
       kDone},
      {"a new name that is there",
       "apply",
       "nginx",
       two,
       "server {\nserver_name {% $n %};\n}\n",
       {"--old", "n=a", "--set", "n=b"},
       {"site.conf:1:1 'server' (b) and site.conf:5:1 'server' (b)", "answer to 'b' on *:80",
        "[collision]"},
       kRefused},
      {"servers inside http",
       "inspect",
       "nginx",
       "http {\n" + Server("") + "gzip on;\n}\n",
       "",
       {},
       {"site.conf:2:   server {  = a\n", "site.conf:5:   gzip on;\n"},
       kDone},
      {"http is not closed twice",
       "apply",
       "nginx",
       "http {\n" + Server("") + "}\n",
       "http {\n" + Server("gzip on;\n") + "}\n",
       {},
       {"http {\nserver {\nserver_name a;\ngzip on;\n}\n}\n"},
       kDone},
  });
}

TEST_F(Surprises, Lines) {
  ExpectNamed({
      {"a line that only begins like it stays",
       "apply",
       "nginx",
       Server("root /ab;\n"),
       Server("{% if $x %}\nroot /a;\n{% endif %}\n"),
       {},
       {Server("root /ab;\n")},
       kDone},
      {"a line that begins like the one that is there",
       "apply",
       "nginx",
       Server("root /var/www2;\n"),
       Server("root /var/www;\n"),
       {},
       {"site.template:3:1: 'root /var/www;' is not there, but site.conf:3:1 'root /var/www2;'",
        "[other-value]"},
       kRefused},
      {"several blanks",
       "explain",
       "nginx",
       Server("root   /srv; # x\n"),
       Server("root /srv;\n"),
       {},
       {"nothing changes", "already there site.conf:3 'root /srv;'"},
       kDone},
      {"a value changed by hand",
       "explain",
       "nginx",
       Server("root /hand;\n"),
       Server("root {% $r %};\n"),
       {"--old", "r=/a", "--set", "r=/b"},
       {"'root /b;' is not there, but site.conf:3:1 'root /hand;'", "[other-value]"},
       kRefused},
      {"a name that is the beginning of another",
       "apply",
       "nginx",
       Server("ssl_certificate_key k;\n"),
       Server("ssl_certificate [% $c %];\n"),
       {"--set", "c=c"},
       {"server {\nserver_name a;\nssl_certificate_key k;\nssl_certificate c;\n}\n"},
       kDone},
      {"a new deny stands before the allow all",
       "apply",
       "nginx",
       Server("allow all;\n"),
       Server("deny 1.2.3.4;\n"),
       {},
       {Server("deny 1.2.3.4;\nallow all;\n")},
       kDone},
      {"an indented opening line whose value changes",
       "apply",
       "nginx",
       Server("    location /a {\n    etag off;\n    }\n"),
       Server("    location {% $p %} {\n    }\n"),
       {"--old", "p=/a", "--set", "p=/b"},
       {Server("    location /b {\n    etag off;\n    }\n")},
       kDone},
      {"a value that is null",
       "apply",
       "nginx",
       Server("root /a;\n"),
       Server("root {% $r %};\n"),
       {},
       {"site.template:3:1: there is no value 'r'", "[missing-value]"},
       kDone},
      {"explain names it",
       "explain",
       "nginx",
       Server("root /a;\n"),
       Server("root {% $r %};\n"),
       {},
       {"no new value for 'r'"},
       kDone},
      {"quotes in a condition",
       "lint",
       "nginx",
       "",
       Server("{% if $x == \"yes\" %}\ngzip on;\n{% endif %}\n"),
       {},
       {"site.template:3:13: ", "Leave them out", "[quoted-operand]"},
       kFindings},
      {"else if",
       "lint",
       "nginx",
       "",
       Server("{% if $x %}\ngzip on;\n{% else if $y %}\netag on;\n{% endif %}\n"),
       {},
       {"site.template:5:4: ", "write {% elif ... %}", "[keyword-prefix]"},
       kFindings},
      {"a second elif",
       "lint",
       "nginx",
       "",
       Server("{% if $x %}\n{% elif $y %}\n{% elif $z %}\n{% endif %}\n"),
       {},
       {"site.template:5:1: ", "at most one is true", "[third-branch]"},
       kFindings},
      {"a comment that is none",
       "lint",
       "nginx",
       "",
       Server("{# x #}\n"),
       {},
       {"site.template:3:1: ", "begins with {#}", "[odd-comment]"},
       kFindings},
      {"a line without a text",
       "lint",
       "nginx",
       "",
       Server("{% if $x %}\n;\n{% endif %}\n"),
       {},
       {"site.template:4:1: ", "[not-a-directive]"},
       kFindings},
      {"a line that is nothing but a value",
       "lint",
       "nginx",
       "",
       Server("{% if $x %}\n{% $line %};\n{% endif %}\n"),
       {},
       {"site.template:4:1: ", "Write the directive's name", "[empty-key]"},
       kFindings},
      {"a line without a text is refused",
       "apply",
       "nginx",
       Server("root /a;\n"),
       Server("{% if $x %}\n;\n{% endif %}\n"),
       {},
       {"site.template:4:1: ", "[template]"},
       kRefused},
      {"an opening line whose value is missing",
       "apply",
       "nginx",
       Server(""),
       Server("location {% $p %} {\nexpires 1d;\n}\n"),
       {},
       {"site.template:3:1: a value of this opening line is missing", "[missing-value]"},
       kRefused},
      {"opening lines in both branches",
       "lint",
       "nginx",
       "",
       Server("{% if $x %}\nlocation = /i {\n{% else %}\nlocation /i {\n{% endif %}\n}\n"),
       {},
       {"site.template:4:1: ", "site.template:6:1: ", "[branch-opening]"},
       kFindings},
      {"a comment behind an opening line",
       "apply",
       "nginx",
       Server("location / { # y\n}\n"),
       Server("location / { # x\netag off;\n}\n"),
       {},
       {Server("location / { # y\n\tetag off;\n}\n")},
       kDone},
      {"text behind an opening line of Apache",
       "apply",
       "apache",
       "<Directory /a>\n</Directory>\n",
       "<Directory /a> # x\nRequire all denied\n</Directory>\n",
       {},
       {"<Directory /a>\n\tRequire all denied\n</Directory>\n"},
       kDone},
      {"a line outside every block",
       "apply",
       "nginx",
       "user y;\n" + Server(""),
       "user [% $user %];\n" + Server("gzip on;\n"),
       {"--set", "user=x"},
       {"user x;\n" + Server("gzip on;\n")},
       kDone},
      {"a # in a value",
       "apply",
       "nginx",
       Server("add_header X \"#fff\";\n"),
       Server("add_header X [% $c %];\n"),
       {"--set", "c=\"#000\""},
       {"add_header X \"#000\";\n"},
       kDone},
      {"blank lines and CRLF",
       "apply",
       "nginx",
       "server {\r\n\r\nserver_name a;\r\n}\r\n",
       Server("gzip on;\n"),
       {},
       {"server {\r\n\r\nserver_name a;\r\ngzip on;\r\n}\r\n"},
       kDone},
  });
}

TEST_F(Surprises, Listen) {
  ExpectNamed({
      {"an address with a star",
       "apply",
       "nginx",
       Server("listen 80;\n"),
       Server("listen *:81;\n"),
       {},
       {Server("listen 80;\nlisten *:81;\n")},
       kDone},
      {"changing to one",
       "apply",
       "nginx",
       Server("listen 10.0.0.1:80;\nlisten [::1]:80;\n"),
       Server("listen {% $a %};\n"),
       {"--old", "a=10.0.0.1:80", "--set", "a=*:80"},
       {Server("listen *:80;\nlisten [::1]:80;\n")},
       kDone},
      {"an address with the name of a host",
       "apply",
       "nginx",
       Server(""),
       Server("listen localhost:80;\n"),
       {},
       {Server("listen localhost:80;\n")},
       kDone},
      {"in a configuration",
       "inspect",
       "nginx",
       Server("listen 127.0.0.1;\n"),
       "",
       {},
       {"site.conf:1: server {  = a on 127.0.0.1:80\n"},
       kDone},
      {"all others of the block stay",
       "apply",
       "nginx",
       Server("listen 10.0.0.1:80;\nlisten 8080;\n"),
       Server("listen {% $a %}:80;\n"),
       {"--old", "a=10.0.0.1", "--set", "a=10.0.0.2"},
       {Server("listen 10.0.0.2:80;\nlisten 8080;\n")},
       kDone},
      {"with a comment",
       "apply",
       "nginx",
       Server("listen  80; # x\n"),
       Server("listen 80;\n"),
       {},
       {Server("listen  80; # x\n")},
       kDone},
  });
}

TEST_F(Surprises, Apache) {
  const auto directory = [](const std::string& lines) {
    return "<Directory /a>\n" + lines + "</Directory>\n";
  };
  ExpectNamed({
      {"Options that the old value names are taken away",
       "apply",
       "apache",
       directory("Options +Includes +FollowSymLinks\n"),
       directory("Options {% $o %}\n"),
       {"--old", "o=+Includes", "--set", "o=+Indexes"},
       {directory("Options +FollowSymLinks +Indexes\n")},
       kDone},
      {"mixed signs",
       "apply",
       "apache",
       directory("Options Indexes\nAllowOverride None\n"),
       directory("Options +ExecCGI\n"),
       {},
       {"site.template:2:1: with this line the block would have 'Options Indexes +ExecCGI'",
        "[mixed-options]"},
       kRefused},
      {"a comment behind Options",
       "inspect",
       "apache",
       directory("Options Indexes # x\n"),
       "",
       {},
       {"site.conf:2:17: ", "[options-comment]"},
       kFindings},
      {"several Options",
       "inspect",
       "apache",
       directory("Options A\nOptions B\n"),
       "",
       {},
       {"site.conf:2:   Options A\n", "site.conf:3:   Options B\n"},
       kDone},
      {"aliases of a virtual host that moves",
       "apply",
       "apache",
       "<VirtualHost 10.0.0.1:80>\nServerName a\nServerAlias b\n</VirtualHost>\n",
       "<VirtualHost {% $a %}:80>\nServerName a\nServerAlias b\n</VirtualHost>\n",
       {"--old", "a=10.0.0.1", "--set", "a=10.0.0.2"},
       {"<VirtualHost 10.0.0.2:80>\nServerName a\nServerAlias b\n</VirtualHost>\n"},
       kDone},
  });
}

TEST_F(Surprises, EmptyAndOddBlocks) {
  ExpectNamed({
      {"events is not lost",
       "apply",
       "nginx",
       "events {\n}\n" + Server(""),
       Server("gzip on;\n"),
       {},
       {"events {\n}\n" + Server("gzip on;\n")},
       kDone},
      {"an empty block",
       "inspect",
       "nginx",
       "events {\n}\n",
       "",
       {},
       {"site.conf:1: events {\n"},
       kDone},
      {"a block that never closes",
       "inspect",
       "nginx",
       "http {\n" + Server(""),
       "",
       {},
       {"site.conf:1:1: error: ", "does not close", "[syntax-error]"},
       kFindings},
      {"a brace behind a directive",
       "inspect",
       "nginx",
       "server {\nserver_name a;\nreturn 404; }\n",
       "",
       {},
       {"site.conf:1: server {  = a\n", "site.conf:3:   return 404;\n"},
       kDone},
      {"} else {",
       "inspect",
       "nginx",
       Server("if ($x) {\netag on;\n} else {\netag off;\n}\n"),
       "",
       {},
       {"site.conf:5:   else {\n", "site.conf:6:     etag off;\n"},
       kDone},
      {"a brace on a line of its own",
       "inspect",
       "nginx",
       "server\n{\nserver_name a;\n}\n",
       "",
       {},
       {"site.conf:1: server {  = a\n", "site.conf:3:   server_name a;\n"},
       kDone},
      {"a block on one line",
       "inspect",
       "nginx",
       Server("location / { return 404; }\n"),
       "",
       {},
       {"site.conf:3:   location / {\n", "site.conf:3:     return 404;\n"},
       kDone},
      {"text behind a brace",
       "inspect",
       "nginx",
       "server { listen 80;\n}\n",
       "",
       {},
       {"site.conf:1: server {  = on *:80\n", "site.conf:1:   listen 80;\n"},
       kDone},
  });
}

// Each file has a parser of its own.
TEST_F(Surprises, SeveralFiles) {
  m_sandbox.Write("a.conf", Server("listen 10.0.0.1:80;\n"));
  m_sandbox.Write("b.conf", Server("listen 10.0.0.1:80;\n"));
  m_sandbox.Write("site.template", Server("listen {% $a %}:80;\n"));
  EXPECT_EQ(Apply({"--in-place", "--old", "a=10.0.0.1", "--set", "a=10.0.0.2", "a.conf", "b.conf"})
                .exit_code,
            kDone);
  EXPECT_EQ(m_sandbox.Read("a.conf"), Server("listen 10.0.0.2:80;\n"));
  EXPECT_EQ(m_sandbox.Read("b.conf"), Server("listen 10.0.0.2:80;\n"));
}

TEST_F(Surprises, Values) {
  const std::string config = Server("root /a;\n");
  const std::string text = Server("root [% $r %];\n");
  ExpectNamed({
      {"a semicolon",
       "apply",
       "nginx",
       config,
       text,
       {"--set", "r=/b; x"},
       {"site.template:3:1: the value 'r' does not stay in its place", "--raw r", "[value]"},
       kRefused},
      {"a line end", "explain", "nginx", config, text, {"--set", "r=/b\nx"}, {"[value]"}, kRefused},
      {"a brace", "apply", "nginx", config, text, {"--set", "r=/b {"}, {"[value]"}, kRefused},
      {"a comment", "apply", "nginx", config, text, {"--set", "r=/b #"}, {"[value]"}, kRefused},
  });
}

TEST_F(Surprises, ValuesThatWouldLeaveTheirPlaces) {
  const std::string site = Server("");
  const std::string host = "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n";
  const std::string attack = "=1.1.1.1; location /x { alias /etc/; } #";
  const auto refused = [&](const char* surprise, const std::string& line, const Words& values) {
    return Case{surprise, "apply", "nginx", site, Server(line), values, {"[value]"}, kRefused};
  };
  ExpectNamed({
      refused("the template's own delimiters", "root {% $r %};\n",
              {"--set", "r=[% alias /etc/; %]"}),
      {"the same in Apache",
       "apply",
       "apache",
       host,
       With(host, "a\n", "a\nDocumentRoot {% $r %}\n"),
       {"--set", "r=[% Alias / /etc/ %]"},
       {"[value]"},
       kRefused},
      refused("two values of one line", "allow {% $a %}; # {% $b %}\n",
              {"--set", "a" + attack, "--set", "b" + attack}),
      refused("two values of one directive", "log_format {% $a %} {% $b %};\n",
              {"--set", "a" + attack, "--set", "b" + attack}),
      {"a text over several lines",
       "apply",
       "nginx",
       site,
       Server("add_header Z \"x\n{% $v %}\ny\";\n"),
       {"--set", "v=\"; autoindex on; add_header Z \"y"},
       {"site.template:3:1: this quote does not close", "[template]"},
       kRefused},
      refused("quotes that end", "server_name \"{% $v %}\";\n",
              {"--set", "v=a\" \"victim.example"}),
      {"an argument in Apache",
       "apply",
       "apache",
       host,
       With(host, "a\n", "a\nHeader set X \"{% $v %}\"\n"),
       {"--set", "v=a\" \"expr=true"},
       {"[value]"},
       kRefused},
      refused("a blank", "root {% $r %};\n", {"--set", "r=/a /b"}),
      refused("an empty value", "root {% $r %};\n", {"--set", "r="}),
  });
}

TEST_F(Surprises, ValuesOfAPrototypeThatWouldLeaveTheirPlaces) {
  const auto refused = [](const char* surprise, const std::string& text, const std::string& value) {
    return Case{surprise,    "prototype", "nginx", "", text, {"--set", "v=" + value},
                {"[value]"}, kRefused};
  };
  for (const Case& c :
       {refused("the template's own delimiters", Server("location {% $v %} {\n}\n"), "[% x; %]"),
        refused("quotes that end", Server("server_name \"{% $v %}\";\n"), "a\" \"victim.example"),
        refused("a blank", Server("server_name {% $v %};\n"), "b c"),
        refused("nothing", Server("server_name {% $v %};\n"), ""),
        refused("a line that the prototype leaves out", Server("root {% $v %};\n"),
                "/a; evil on")}) {
    SCOPED_TRACE(c.surprise);
    m_sandbox.Write("site.template", c.template_text);
    const Outcome outcome = Run({"prototype", "--dialect", "nginx", "--template", "site.template",
                                 c.values.at(0), c.values.at(1)});
    EXPECT_THAT(outcome.err, HasSubstr("[value]"));
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.exit_code, kRefused);
  }
}

TEST_F(Surprises, WhatIsRunTwiceIsDoneOnce) {
  struct Twice {
    const char* surprise;
    std::string dialect;
    std::string config;
    std::string template_text;
    Words values;
    std::string expected;
  };
  const std::string host = "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n";
  const auto with = [&](const std::string& line) { return With(host, "a\n", "a\n" + line + "\n"); };
  const std::string untaken = Server("{% if $none %}\ndeny 1.1.1.1;\n{% endif %}\n");
  for (const Twice& c : {Twice{"a # in a value of Apache",
                               "apache",
                               host,
                               with("SetEnv COLOR {% $c %}"),
                               {"--set", "c=#fff"},
                               with("SetEnv COLOR #fff")},
                         Twice{"a # behind a blank",
                               "apache",
                               host,
                               with("SetEnv COLOR \"{% $c %}\""),
                               {"--set", "c=a #fff"},
                               with("SetEnv COLOR \"a #fff\"")},
                         Twice{"deny twice",
                               "nginx",
                               Server("deny 1.1.1.1;\nallow all;\ndeny 1.1.1.1;\n"),
                               untaken,
                               {},
                               Server("allow all;\n")},
                         Twice{"a value in quotes",
                               "nginx",
                               Server(""),
                               Server("root {% $r %};\n"),
                               {"--quote", "--set", "r=/a \"b\"; c"},
                               Server("root '/a \"b\"; c';\n")}}) {
    SCOPED_TRACE(c.surprise);
    m_sandbox.Write("site.conf", c.config);
    m_sandbox.Write("site.template", c.template_text);
    Words words = {"apply",         "--dialect",  c.dialect,  "--template",
                   "site.template", "--in-place", "site.conf"};
    words.insert(words.end(), c.values.begin(), c.values.end());
    for (const char* const time : {"first", "second"}) {
      const Outcome outcome = Run(words);
      EXPECT_EQ(outcome.exit_code, kDone) << time << ": " << outcome.err;
      EXPECT_EQ(m_sandbox.Read("site.conf"), c.expected) << time;
    }
  }
}

}  // namespace
