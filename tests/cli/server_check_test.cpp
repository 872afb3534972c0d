// SPDX-License-Identifier: Apache-2.0

// Files as certbot, panels and people write them, with servers that look alike: an edit goes into
// the server that its template means, or it is refused.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "cli/program.h"

namespace {

using testing::HasSubstr;

class ServerCheck : public Program {
 protected:
  Outcome Apply(const std::string& dialect, const std::string& config,
                const std::string& template_text, const Words& values = {}) {
    m_sandbox.Write("site.conf", config);
    m_sandbox.Write("site.template", template_text);
    Words words = {"apply", "--dialect", dialect, "--template", "site.template"};
    words.insert(words.end(), values.begin(), values.end());
    words.emplace_back("site.conf");
    return Run(words);
  }

  void ExpectRefusal(const Outcome& outcome, const std::string& message, const std::string& name) {
    EXPECT_EQ(outcome.exit_code, 4) << outcome.out;
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr(message));
    EXPECT_THAT(outcome.err, HasSubstr("[" + name + "]"));
  }
};

const char* const kRedirectAndSite =
    "server {\n"
    "\tlisten 80;\n"
    "\tserver_name a.example www.a.example;\n"
    "\treturn 301 https://$host$request_uri;\n"
    "}\n"
    "server {\n"
    "\tlisten 443 ssl;\n"
    "\tserver_name a.example www.a.example;\n"
    "\troot /srv/a;\n"
    "}\n";

TEST_F(ServerCheck, RefusesNginxEditsOfAnotherServer) {
  struct Case {
    const char* name;
    const char* config;
    const char* template_text;
    Words values;
    const char* message;
    const char* refusal;
  };
  const Case cases[] = {
      {"the redirect on port 80 in the place of the site on 443",
       "server {\n\tlisten 80;\n\tserver_name a.example;\n}\n"
       "server {\n\tlisten 443 ssl;\n\tserver_name www.a.example a.example;\n\troot /srv/a;\n}\n",
       "server {\n\tlisten 443 ssl;\n\tserver_name a.example;\n\troot [% $root %];\n}\n",
       {"--set", "root=/srv/b"},
       "the edit would go into site.conf:1:1 (a.example on *:80), but the template means "
       "site.conf:5:1 (www.a.example on *:443)",
       "other-block"},
      {"a second site beside one that has the name as an alias",
       "server {\n\tserver_name www.a a;\n\troot /srv/a;\n}\n",
       "server {\n\tserver_name a;\n\troot [% $root %];\n}\n",
       {"--set", "root=/srv/b"},
       "the edit would stand outside of every server, but the template means site.conf:1:1 (www.a)",
       "other-block"},
      {"a second site beside one with an ssl directive",
       "server {\n\tserver_name a;\n\tssl_prefer_server_ciphers on;\n\troot /srv/a;\n}\n",
       "server {\n\tserver_name a;\n\troot [% $root %];\n}\n",
       {"--set", "root=/srv/b"},
       "but the template means site.conf:1:1 (a)",
       "other-block"},
      {"all nameless servers in the place of one",
       "server {\n\tlisten 81;\n\treturn 404;\n}\nserver {\n\tlisten 82;\n\treturn 404;\n}\n",
       "{% if $gone %}\nserver {\n\tlisten 82;\n\treturn 404;\n}\n{% endif %}\n",
       {},
       "but the template means site.conf:5:1 (no name on *:82)",
       "other-block"},
      {"the nameless server when the name's value was forgotten",
       "server {\n\tlisten 80 default_server;\n\treturn 404;\n}\n",
       "{% if $gone %}\nserver {\n\tserver_name {% $name %};\n}\n{% endif %}\n",
       {},
       "site.template:3: a value of this line is missing, which says what server is meant",
       "other-block"},
      {"two servers of one name without a word on their addresses",
       kRedirectAndSite,
       "server {\n\tserver_name a.example www.a.example;\n\tclient_max_body_size 1m;\n}\n",
       {},
       "site.conf:1:1 (a.example on *:80), site.conf:6:1 (a.example on *:443)",
       "ambiguous"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectRefusal(Apply("nginx", c.config, c.template_text, c.values), c.message, c.refusal);
  }
}

TEST_F(ServerCheck, RefusesApacheEditsOfAnotherVirtualHost) {
  const char* const config =
      "<VirtualHost *:80>\n\tServerName a.example\n\tDocumentRoot /srv/a\n</VirtualHost>\n"
      "<VirtualHost *:80>\n\tServerName b.example\n\tDocumentRoot /srv/b\n</VirtualHost>\n";
  ExpectRefusal(Apply("apache", config,
                      "<VirtualHost *:80>\n\tServerName b.example\n\tDocumentRoot [% $root "
                      "%]\n</VirtualHost>\n",
                      {"--set", "root=/srv/c"}),
                "the edit would go into site.conf:1:1 (a.example on *:80), but the template means "
                "site.conf:5:1 (b.example on *:80)",
                "other-block");
  ExpectRefusal(Apply("apache", config,
                      "{% if $gone %}\n<VirtualHost *:80>\n\tServerName b.example\n"
                      "\tDocumentRoot /srv/b\n</VirtualHost>\n{% endif %}\n"),
                "the edit would go into site.conf:1:1 (a.example on *:80)", "other-block");
  ExpectRefusal(
      Apply("apache", "<virtualhost *:80 >\n\tServerName a.example\n</virtualhost>\n",
            "<VirtualHost *:80>\n\tServerName a.example\n\tDocumentRoot /srv/a\n</VirtualHost>\n"),
      "but the template means site.conf:1:1 (a.example on *:80)", "other-block");
}

TEST_F(ServerCheck, RefusesToTearADirective) {
  ExpectRefusal(
      Apply("nginx", "server {\n\tserver_name a;\n\tgzip_types text/css\n\t\ttext/xml;\n}\n",
            "server {\n\tserver_name a;\n\tgzip_types [% $types %];\n}\n",
            {"--set", "types=text/plain"}),
      "site.conf:3:2: this directive goes on over 2 lines, of which the edit would touch "
      "only 1",
      "part-of-directive");
}

// What is not refused comes out in the right server.
TEST_F(ServerCheck, LetsEditsOfTheRightServerThrough) {
  struct Case {
    const char* name;
    const char* config;
    const char* template_text;
    Words values;
    const char* result;
  };
  const Case cases[] = {
      {"one site of two",
       "server {\n\tserver_name a;\n\troot /srv/a;\n}\nserver {\n\tserver_name b;\n\troot "
       "/srv/b;\n}\n",
       "server {\n\tserver_name b;\n\troot [% $root %];\n}\n",
       {"--set", "root=/srv/c"},
       "server {\n\tserver_name a;\n\troot /srv/a;\n}\nserver {\n\tserver_name b;\n\troot "
       "/srv/c;\n}\n"},
      {"a new site beside others",
       "server {\n\tserver_name a;\n\tlisten 80;\n}\nserver {\n\tserver_name b;\n\tlisten 80;\n}\n",
       "server {\n\tserver_name c;\n\tlisten 80;\n}\n",
       {},
       "server {\n\tserver_name a;\n\tlisten 80;\n}\nserver {\n\tserver_name b;\n\tlisten 80;\n}\n"
       "server {\n\tserver_name c;\n\tlisten 80;\n}\n"},
      {"a new site on port 443 beside the redirect on port 80, which has its name as an alias",
       "server {\n\tlisten 80;\n\tserver_name a www.a;\n}\n",
       "server {\n\tlisten 80;\n\tserver_name a www.a;\n}\n"
       "server {\n\tlisten 443 ssl;\n\tserver_name www.a a;\n\troot /x;\n}\n",
       {},
       "server {\n\tlisten 80;\n\tserver_name a www.a;\n}\n"
       "server {\n\tlisten 443 ssl;\n\tserver_name www.a a;\n\troot /x;\n}\n"},
      {"a rename, and a second address",
       "server {\n\tserver_name a;\n\tlisten 80;\n}\n",
       "server {\n\tserver_name {% $name %};\n\tlisten 80;\n\tlisten 81;\n}\n",
       {"--old", "name=a", "--set", "name=b"},
       "server {\n\tserver_name b;\n\tlisten 80;\n\tlisten 81;\n}\n"},
      {"a rename that has been made",
       "server {\n\tserver_name b;\n\tlisten 80;\n}\n",
       "server {\n\tserver_name {% $name %};\n\tlisten 81;\n}\n",
       {"--old", "name=a", "--set", "name=b"},
       "server {\n\tserver_name b;\n\tlisten 80;\n\tlisten 81;\n}\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = Apply("nginx", c.config, c.template_text, c.values);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    EXPECT_EQ(outcome.out, c.result);
  }
}

TEST_F(ServerCheck, CanBeForced) {
  const char* const config = "server {\n\tserver_name www.a a;\n}\n";
  const char* const template_text = "server {\n\tserver_name a;\n\tlisten 80;\n}\n";
  EXPECT_EQ(Apply("nginx", config, template_text).exit_code, 4);
  const Outcome forced = Apply("nginx", config, template_text, {"--force", "other-block"});
  EXPECT_EQ(forced.exit_code, 0) << forced.err;
  EXPECT_EQ(forced.out, config + std::string(template_text));
}

}  // namespace
