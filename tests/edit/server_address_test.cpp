// SPDX-License-Identifier: Apache-2.0

// Files as certbot, panels and people write them, with servers that look alike: an edit goes into
// the server that its template means, or it is refused.

#include <gtest/gtest.h>

#include <string>

#include "edit/address/address.h"
#include "edit/edit_case.h"

namespace tov_edit {
namespace {

const std::string kRedirectAndSite =
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

const std::string kTwoHosts =
    "<VirtualHost *:80>\n\tServerName a.example\n\tDocumentRoot /srv/a\n</VirtualHost>\n"
    "<VirtualHost *:80>\n\tServerName b.example\n\tDocumentRoot /srv/b\n</VirtualHost>\n";

TEST(ServerAddress, OfNginxLeadsToTheServerThatIsMeant) {
  const std::string root = "server {\n\tserver_name a;\n\troot [% $root %];\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"one site of two",
        "server {\n\tserver_name a;\n\troot /srv/a;\n}\n"
        "server {\n\tserver_name b;\n\troot /srv/b;\n}\n",
        "server {\n\tserver_name b;\n\troot [% $root %];\n}\n",
        {{"root", kNone, "/srv/c"}},
        "server {\n\tserver_name a;\n\troot /srv/a;\n}\n"
        "server {\n\tserver_name b;\n\troot /srv/c;\n}\n"},
       {"the site on port 443, behind the redirect on 80 of its name",
        kRedirectAndSite,
        "server {\n\tlisten 443 ssl;\n\tserver_name a.example;\n\troot [% $root %];\n}\n",
        {{"root", kNone, "/srv/b"}},
        "server {\n\tlisten 80;\n\tserver_name a.example www.a.example;\n"
        "\treturn 301 https://$host$request_uri;\n}\n"
        "server {\n\tlisten 443 ssl;\n\tserver_name a.example www.a.example;\n"
        "\troot /srv/b;\n}\n"},
       {"a site whose name comes second, behind a redirect where it comes first",
        "server {\n\tlisten 80;\n\tserver_name a;\n}\n"
        "server {\n\tlisten 443 ssl;\n\tserver_name www.a a;\n\troot /srv/a;\n}\n",
        "server {\n\tlisten 443 ssl;\n\tserver_name a;\n\troot [% $root %];\n}\n",
        {{"root", kNone, "/srv/b"}},
        "server {\n\tlisten 80;\n\tserver_name a;\n}\n"
        "server {\n\tlisten 443 ssl;\n\tserver_name www.a a;\n\troot /srv/b;\n}\n"},
       {"both in one template",
        kRedirectAndSite,
        "server {\n\tlisten 80;\n\tserver_name {% $name %} www.a.example;\n}\n"
        "server {\n\tlisten 443 ssl;\n\tserver_name {% $name %} www.a.example;\n}\n",
        {{"name", "a.example", "b.example"}},
        "server {\n\tlisten 80;\n\tserver_name b.example www.a.example;\n"
        "\treturn 301 https://$host$request_uri;\n}\n"
        "server {\n\tlisten 443 ssl;\n\tserver_name b.example www.a.example;\n"
        "\troot /srv/a;\n}\n"},
       {"a site with the name as an alias",
        "server {\n\tserver_name www.a a;\n\troot /srv/a;\n}\n",
        root,
        {{"root", kNone, "/srv/b"}},
        "server {\n\tserver_name www.a a;\n\troot /srv/b;\n}\n"},
       {"a site with an ssl directive that the template has not",
        "server {\n\tserver_name a;\n\tssl_prefer_server_ciphers on;\n\troot /srv/a;\n}\n",
        root,
        {{"root", kNone, "/srv/b"}},
        "server {\n\tserver_name a;\n\tssl_prefer_server_ciphers on;\n\troot /srv/b;\n}\n"},
       {"a site in http, which the template leaves out",
        "http {\n\tserver {\n\t\tserver_name a;\n\t\troot /srv/a;\n\t}\n}\n",
        root,
        {{"root", kNone, "/srv/b"}},
        "http {\n\tserver {\n\t\tserver_name a;\n\t\troot /srv/b;\n\t}\n}\n"},
       {"one nameless server of two, which goes",
        "server {\n\tlisten 81;\n\treturn 404;\n}\nserver {\n\tlisten 82;\n\treturn 404;\n}\n",
        "{% if $gone %}\nserver {\n\tlisten 82;\n\treturn 404;\n}\n{% endif %}\n",
        {},
        "server {\n\tlisten 81;\n\treturn 404;\n}\n"},
       {"a rename, and a second address",
        "server {\n\tserver_name a;\n\tlisten 80;\n}\n",
        "server {\n\tserver_name {% $name %};\n\tlisten 80;\n\tlisten 81;\n}\n",
        {{"name", "a", "b"}},
        "server {\n\tserver_name b;\n\tlisten 80;\n\tlisten 81;\n}\n"},
       {"a rename that has been made",
        "server {\n\tserver_name b;\n\tlisten 80;\n}\n",
        "server {\n\tserver_name {% $name %};\n\tlisten 81;\n}\n",
        {{"name", "a", "b"}},
        "server {\n\tserver_name b;\n\tlisten 80;\n\tlisten 81;\n}\n"}});
}

TEST(ServerAddress, OfApacheLeadsToTheVirtualHostThatIsMeant) {
  ExpectEdits(
      Dialect::kApache,
      {{"the second one on an address",
        kTwoHosts,
        "<VirtualHost *:80>\n\tServerName b.example\n\tDocumentRoot [% $root %]\n</VirtualHost>\n",
        {{"root", kNone, "/srv/c"}},
        "<VirtualHost *:80>\n\tServerName a.example\n\tDocumentRoot /srv/a\n</VirtualHost>\n"
        "<VirtualHost *:80>\n\tServerName b.example\n\tDocumentRoot /srv/c\n</VirtualHost>\n"},
       {"the second one, which goes",
        kTwoHosts,
        "{% if $gone %}\n<VirtualHost *:80>\n\tServerName b.example\n</VirtualHost>\n"
        "{% endif %}\n",
        {},
        "<VirtualHost *:80>\n\tServerName a.example\n\tDocumentRoot /srv/a\n</VirtualHost>\n"},
       {"one that is written otherwise",
        "<virtualhost *:80 >\n\tServerName A.example\n</virtualhost>\n",
        "<VirtualHost *:80>\n\tServerName a.example\n\tDocumentRoot /srv/a\n</VirtualHost>\n",
        {},
        "<virtualhost *:80 >\n\tServerName A.example\n\tDocumentRoot /srv/a\n</virtualhost>\n"},
       {"one in a condition, which the template leaves out",
        "<IfModule mod_ssl.c>\n\t<VirtualHost *:443>\n\t\tServerName a.example\n"
        "\t</VirtualHost>\n</IfModule>\n",
        "<VirtualHost *:443>\n\tServerName a.example\n\tSSLEngine on\n</VirtualHost>\n",
        {},
        "<IfModule mod_ssl.c>\n\t<VirtualHost *:443>\n\t\tServerName a.example\n"
        "\t\tSSLEngine on\n\t</VirtualHost>\n</IfModule>\n"},
       {"one that has the address among others",
        "<VirtualHost 10.0.0.1:80 10.0.0.2:80>\n\tServerName a.example\n</VirtualHost>\n",
        "<VirtualHost 10.0.0.2:80>\n\tServerName a.example\n\tServerAdmin a@a\n</VirtualHost>\n",
        {},
        "<VirtualHost 10.0.0.1:80 10.0.0.2:80>\n\tServerName a.example\n\tServerAdmin a@a\n"
        "</VirtualHost>\n"}});
}

TEST(ServerAddress, ThatNoServerHasIsOneOfANewServer) {
  ExpectEdits(
      Dialect::kNginx,
      {{"beside others",
        "server {\n\tserver_name a;\n\tlisten 80;\n}\nserver {\n\tserver_name b;\n\tlisten "
        "80;\n}\n",
        "server {\n\tserver_name c;\n\tlisten 80;\n}\n",
        {},
        "server {\n\tserver_name a;\n\tlisten 80;\n}\nserver {\n\tserver_name b;\n\tlisten 80;\n}\n"
        "server {\n\tserver_name c;\n\tlisten 80;\n}\n"},
       {"on port 443, named in one template beside the redirect on port 80",
        "server {\n\tlisten 80;\n\tserver_name a www.a;\n}\n",
        "server {\n\tlisten 80;\n\tserver_name a www.a;\n}\n"
        "server {\n\tlisten 443 ssl;\n\tserver_name www.a a;\n\troot /x;\n}\n",
        {},
        "server {\n\tlisten 80;\n\tserver_name a www.a;\n}\n"
        "server {\n\tlisten 443 ssl;\n\tserver_name www.a a;\n\troot /x;\n}\n"}});
}

TEST(ServerAddress, OfSeveralServersIsRefused) {
  ExpectRefusals(
      Dialect::kNginx,
      {{"two servers of one name without a word on their addresses",
        kRedirectAndSite,
        "server {\n\tserver_name a.example www.a.example;\n\tclient_max_body_size 1m;\n}\n",
        {},
        "ambiguous",
        "site.template:1:1:",
        "'server {' fits several blocks: site.conf:1:1 'server' (a.example, www.a.example, *:80), "
        "site.conf:6:1 'server' (a.example, www.a.example, *:443). 'listen 80;' in the template "
        "would mean the first one"},
       {"the nameless server when the name's value was forgotten",
        "server {\n\tlisten 80 default_server;\n\treturn 404;\n}\n",
        "{% if $gone %}\nserver {\n\tserver_name {% $name %};\n}\n{% endif %}\n",
        {},
        "missing-value",
        "site.template:3:2:",
        "a value is missing in the line by which the block is found"}});
}

TEST(ServerAddress, LeadsToADirectiveOverSeveralLines) {
  ExpectEdits(Dialect::kNginx,
              {{"which is changed as a whole",
                "server {\n\tserver_name a;\n\tgzip_types text/css\n\t\ttext/xml;\n}\n",
                "server {\n\tserver_name a;\n\tgzip_types [% $types %];\n}\n",
                {{"types", kNone, "text/plain"}},
                "server {\n\tserver_name a;\n\tgzip_types text/plain;\n}\n"}});
}

}  // namespace
}  // namespace tov_edit
