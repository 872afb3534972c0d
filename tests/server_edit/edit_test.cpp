// SPDX-License-Identifier: Apache-2.0

// Edits of servers of several files.
#include "edit/edit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "server/server_edit.h"
#include "server_edit/written_tree.h"
#include "support/real_configs.h"

namespace server_edit {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using tov_edit::Finding;
using tov_edit::Request;
using tov_server::EditServer;
using tov_server::FileEdit;
using tov_server::ServerEditOptions;
using tov_server::ServerResult;

using OldAndNew = std::pair<std::optional<std::string>, std::optional<std::string>>;

Request RequestOf(Dialect dialect, const std::string& text,
                  const std::map<std::string, OldAndNew>& values = {}) {
  Request request;
  request.dialect = dialect;
  request.template_name = "site.template";
  request.template_text = text;
  for (const auto& [name, value] : values) request.values[name] = {value.first, value.second};
  return request;
}

Request Nginx(const std::string& text, const std::map<std::string, OldAndNew>& values = {}) {
  return RequestOf(Dialect::kNginx, text, values);
}

std::string ShownAll(const std::vector<Finding>& findings) {
  std::string shown;
  for (const Finding& finding : findings) {
    shown += "[" + finding.name + "] " + tov_edit::Shown(finding) + "\n";
  }
  return shown;
}

// "NAME of /s/: new text" of what changes; refusals as text.
std::map<std::string, std::string> Edited(const Request& request, const ServerFiles& server,
                                          const ServerEditOptions& options = {}) {
  const ServerResult result = EditServer(request, server, options);
  EXPECT_EQ(ShownAll(result.refusals), "");
  std::map<std::string, std::string> texts;
  for (const FileEdit& file : result.files) texts[file.name.substr(3)] = file.text;
  return texts;
}

std::string Refused(const Request& request, const ServerFiles& server,
                    const ServerEditOptions& options = {}) {
  const ServerResult result = EditServer(request, server, options);
  EXPECT_THAT(result.files, IsEmpty());
  return ShownAll(result.refusals);
}

using Texts = std::map<std::string, std::string>;

constexpr char kMain[] = "events {}\nhttp {\n  include sites/*;\n}\n";
constexpr char kRootTemplate[] = "server {\n  server_name a;\n  root {% $root %};\n}\n";

ServerFiles TwoSites() {
  return ServerOf(Dialect::kNginx,
                  {{"nginx.conf", kMain},
                   {"sites/a", "server {\n    server_name a;\n    root /a;\n}\n"},
                   {"sites/b", "server {\n    server_name b;\n    root /b;\n}\n"}});
}

// --- Where a change is made ---

TEST(AChange, IsMadeInTheFileThatHoldsTheSite) {
  EXPECT_EQ(Edited(Nginx(kRootTemplate, {{"root", {"/a", "/new"}}}), TwoSites()),
            (Texts{{"sites/a", "server {\n    server_name a;\n    root /new;\n}\n"}}));
}

struct PlaceCase {
  std::string what;
  Dialect dialect;
  std::vector<NamedText> files;
  std::string template_text;
  std::map<std::string, OldAndNew> values;
  Texts edited;
};

void PrintTo(const PlaceCase& test, std::ostream* stream) {
  *stream << test.what;
}

class EachPlace : public testing::TestWithParam<PlaceCase> {};

TEST_P(EachPlace, IsFoundInItsFile) {
  const PlaceCase& test = GetParam();
  EXPECT_EQ(Edited(RequestOf(test.dialect, test.template_text, test.values),
                   ServerOf(test.dialect, test.files)),
            test.edited);
}

const std::vector<PlaceCase> kPlaces = {
    {"two includes on one line with their block",
     Dialect::kNginx,
     {{"nginx.conf", "events {}\nhttp { include a; include b; }\n"},
      {"a", "server { server_name a; root /a; }"},
      {"b", "server { server_name b; root /b; }"}},
     "server {\n  server_name b;\n  root {% $root %};\n}\n",
     {{"root", {"/b", "/new"}}},
     {{"b", "server { server_name b; root /new; }"}}},
    {"a server behind the includes of its line",
     Dialect::kNginx,
     {{"nginx.conf", "http { include a; include b; server { server_name c; root /c; } } # end"},
      {"a", "server { server_name a; }"},
      {"b", "# nothing"}},
     "server {\n  server_name c;\n  root {% $root %};\n}\n",
     {{"root", {"/c", "/new"}}},
     {{"nginx.conf", "http { include a; include b; server { server_name c; root /new; } } # end"}}},
    {"files without a final line end, ending in a comment",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n  include sites/*; # all of them\n}"},
      {"sites/a", "server { server_name a; } # a"},
      {"sites/b", "server {\n  server_name b;\n} # b"},
      {"sites/c", "server { server_name c; } # c"}},
     "server {\n  server_name b;\n  root /b;\n}\n",
     {},
     {{"sites/b", "server {\n  server_name b;\n  root /b;\n} # b"}}},
    {"an added directive has the line ends and the indentation of its file",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n  include sites/*;\n}\n"},
      {"sites/a", "server {\n  server_name a;\n}\n"},
      {"sites/b", "server {\r\n\tserver_name b;\r\n}\r\n"}},
     "server {\n  server_name b;\n  location / {\n    root /b;\n  }\n}\n",
     {},
     {{"sites/b",
       "server {\r\n\tserver_name b;\r\n\tlocation / {\r\n\t\troot /b;\r\n\t}\r\n}\r\n"}}},
    {"an empty file among the others",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n  include sites/*;\n}\n"},
      {"sites/0", ""},
      {"sites/a", "server {\n  server_name a;\n}\n"},
      {"sites/z", ""}},
     "server {\n  server_name a;\n  root /a;\n}\n",
     {},
     {{"sites/a", "server {\n  server_name a;\n  root /a;\n}\n"}}},
    {"a file that is included twice",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n  include a;\n  include a;\n}\n"},
      {"a", "server {\n  server_name a;\n}\n"}},
     "server {\n  server_name a;\n  root /a;\n}\n",
     {},
     {{"a", "server {\n  server_name a;\n  root /a;\n}\n"}}},
    {"includes in included files",
     Dialect::kNginx,
     {{"nginx.conf", "include http.conf;\nevents {}"},
      {"http.conf", "http {\n  include sites/*;\n}"},
      {"sites/a", "include deep/a;"},
      {"deep/a", "server {\n  server_name a;\n}"}},
     "server {\n  server_name a;\n  root /a;\n}\n",
     {},
     {{"deep/a", "server {\n  server_name a;\n  root /a;\n}"}}},
    {"a site that is removed leaves its file empty, and takes nothing of another along",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n\n  include sites/*;\n\n}\n"},
      {"sites/a", "\nserver {\n  server_name a;\n}\n\n"},
      {"sites/b", "server {\n  server_name b;\n}\n"},
      {"sites/c", "\nserver {\n  server_name c;\n}\n"}},
     "{% if $no == yes %}\nserver {\n  server_name b;\n}\n{% endif %}\n",
     {{"no", {std::nullopt, "no"}}},
     {{"sites/b", ""}}},
    {"blocks of one template in several files",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n  include up/*;\n  include sites/*;\n}\n"},
      {"up/a", "upstream a {\n  server 127.0.0.1:1;\n}\n"},
      {"up/b", "upstream b {\n  server 127.0.0.1:1;\n}\n"},
      {"sites/a", "server {\n  server_name a;\n  root /a;\n}\n"}},
     "upstream a {\n  server {% $to %};\n}\nserver {\n  server_name a;\n  root {% $root %};\n}\n",
     {{"to", {"127.0.0.1:1", "127.0.0.1:2"}}, {"root", {"/a", "/new"}}},
     {{"up/a", "upstream a {\n  server 127.0.0.1:2;\n}\n"},
      {"sites/a", "server {\n  server_name a;\n  root /new;\n}\n"}}},
    {"a new block beside the template's other one, in its file",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n  include up/*;\n  include sites/*;\n}\n"},
      {"up/z", "upstream z {\n  server 127.0.0.1:1;\n}\n"},
      {"sites/a", "server {\n  server_name a;\n}\n"},
      {"sites/b", "server {\n  server_name b;\n}\n"}},
     "server {\n  server_name a;\n  location / {\n    proxy_pass http://a;\n  }\n}\n"
     "upstream a {\n  server 127.0.0.1:2;\n}\n",
     {},
     {{"sites/a",
       "server {\n  server_name a;\n  location / {\n    proxy_pass http://a;\n  }\n}\n"
       "upstream a {\n  server 127.0.0.1:2;\n}\n"}}},
    {"a new block behind its like in the file of the template's other one",
     Dialect::kNginx,
     {{"nginx.conf", "http {\n  include sites/*;\n  include up/*;\n}\n"},
      {"sites/a", "upstream x {\n  server 127.0.0.1:1;\n}\nserver {\n  server_name a;\n}\n"},
      {"up/z", "upstream z {\n  server 127.0.0.1:1;\n}\n"}},
     "server {\n  server_name a;\n}\nupstream b {\n  server 127.0.0.1:2;\n}\n",
     {},
     {{"sites/a",
       "upstream x {\n  server 127.0.0.1:1;\n}\nupstream b {\n  server 127.0.0.1:2;\n}\n"
       "server {\n  server_name a;\n}\n"}}},
    {"comments, words and what goes, of several files",
     Dialect::kNginx,
     {{"nginx.conf", "# by x\nhttp {\n  include sites/*;\n}\n"},
      {"sites/a", "# by x\nserver {\n  # by x\n  server_name a;\n  gzip on;\n}\n"}},
     "server {\n  server_name a;\n  # by {% $who %}\n{% if $no %}\n  gzip on;\n{% endif %}\n}\n",
     {{"who", {"x", "y"}}},
     {{"sites/a", "# by x\nserver {\n  # by y\n  server_name a;\n}\n"}}},
    {"an opening line with its closing line, behind another file",
     Dialect::kApache,
     {{"httpd.conf", "Include sites/*\n"},
      {"sites/a", "<VirtualHost *:80>\nServerName a\n<Location /x>\n</Location>\n</VirtualHost>\n"},
      {"sites/b",
       "<VirtualHost *:80>\nServerName b\n<Location /x>\n</Location>\n</VirtualHost>\n"}},
     "<VirtualHost *:80>\nServerName b\n<{% $n %} {% $p %}>\n</{% $n %}>\n</VirtualHost>\n",
     {{"n", {"Location", "Directory"}}, {"p", {"/x", "/y"}}},
     {{"sites/b",
       "<VirtualHost *:80>\nServerName b\n<Directory /y>\n</Directory>\n</VirtualHost>\n"}}},
    {"a directive for the whole server, in the main file",
     Dialect::kNginx,
     {{"nginx.conf",
       "events {}\nhttp {\n  sendfile on;\n  include conf/*;\n  include sites/*;\n}\n"},
      {"conf/gzip", "gzip on;\n"},
      {"sites/a", "server {\n  server_name a;\n}\n"}},
     "http {\n  server_tokens off;\n}\n",
     {},
     {{"nginx.conf",
       "events {}\nhttp {\n  sendfile on;\n  include conf/*;\n  include sites/*;\n  server_tokens "
       "off;\n}\n"}}},
    {"a directive for the whole server, beside its like",
     Dialect::kApache,
     {{"httpd.conf", "Include ports.conf\nInclude sites/*\n"},
      {"ports.conf", "Listen 80\n"},
      {"sites/a", "<VirtualHost *:80>\n  ServerName a\n</VirtualHost>\n"}},
     "Listen 8080\n",
     {},
     {{"ports.conf", "Listen 80\nListen 8080\n"}}},
    {"a virtual host in a condition, of a file in a condition",
     Dialect::kApache,
     {{"httpd.conf", "<IfModule so_module>\n  Include sites/*\n</IfModule>"},
      {"sites/a",
       "<IfModule ssl_module>\n<VirtualHost *:443>\n  ServerName a\n</VirtualHost>\n"
       "</IfModule>"},
      {"sites/b", "<VirtualHost *:443>\nServerName b\n</VirtualHost>"}},
     "<VirtualHost *:443>\n  ServerName a\n  DocumentRoot /a\n</VirtualHost>\n",
     {},
     {{"sites/a",
       "<IfModule ssl_module>\n<VirtualHost *:443>\n  ServerName a\n  DocumentRoot "
       "/a\n</VirtualHost>\n</IfModule>"}}},
};

INSTANTIATE_TEST_SUITE_P(AChange, EachPlace, testing::ValuesIn(kPlaces));

// --- New sites ---

constexpr char kNewSite[] = "server {\n  listen 80;\n  server_name {% $name %};\n}\n";

TEST(ANewSite, IsMadeInAFileOfItsOwn) {
  EXPECT_EQ(Edited(Nginx(kNewSite, {{"name", {std::nullopt, "new.example"}}}), TwoSites(),
                   {"/s/sites/{name}.conf"}),
            (Texts{{"sites/new.example.conf",
                    "server {\n    listen 80;\n    server_name new.example;\n}\n"}}));
}

TEST(ANewSite, OfAServerThatHasTheSiteIsNone) {
  EXPECT_EQ(Edited(Nginx(kRootTemplate, {{"root", {std::nullopt, "/a"}}}), TwoSites(),
                   {"/s/sites/{name}.conf"}),
            Texts());
}

TEST(ANewSite, IsMadeInAFileOfTheServerWhereThatIsSaid) {
  EXPECT_EQ(Edited(Nginx(kNewSite, {{"name", {std::nullopt, "n"}}}), TwoSites(), {"/s/sites/a"}),
            (Texts{{"sites/a",
                    "server {\n    server_name a;\n    root /a;\n}\n"
                    "server {\n    listen 80;\n    server_name n;\n}\n"}}));
}

TEST(ANewSite, OfAFileOfItsOwnHasNoBlankLineBeforeIt) {
  const ServerFiles server = ServerOf(
      Dialect::kNginx, {{"nginx.conf",
                         "http {\n  include sites/*;\n\n  server {\n    server_name x;\n  }\n\n"
                         "  server {\n    server_name y;\n  }\n}\n"},
                        {"sites/a", "# none\n"}});
  EXPECT_EQ(Edited(Nginx(kNewSite, {{"name", {std::nullopt, "n"}}}), server, {"/s/sites/{name}"}),
            (Texts{{"sites/n", "server {\n  listen 80;\n  server_name n;\n}\n"}}));
}

TEST(ARawValue, ThatEndsABlockOfAFileIsRefused) {
  Request request = Nginx(kRootTemplate, {{"root", {"/a", "/b; }"}}});
  request.raw = {"root"};
  EXPECT_THAT(Refused(request, TwoSites()), HasSubstr("[syntax] /s/sites/a:"));
}

TEST(ANewSite, NeedsAFile) {
  EXPECT_THAT(
      Refused(Nginx(kNewSite, {{"name", {std::nullopt, "n"}}}), TwoSites()),
      HasSubstr("[no-file] site.template:1:1: this block is in none of the server's files"));
}

TEST(ANewSite, NeedsAFileThatTheServerReads) {
  EXPECT_THAT(Refused(Nginx(kNewSite, {{"name", {std::nullopt, "n"}}}), TwoSites(),
                      {"/s/other/{name}.conf"}),
              HasSubstr("the server would not read '/s/other/n.conf'. It includes /s/sites/* "
                        "(/s/nginx.conf:3:3)"));
}

TEST(ANewSite, NeedsAFileThatNginxReadsForHttp) {
  const ServerFiles server =
      ServerOf(Dialect::kNginx,
               {{"nginx.conf", "include modules/*;\nevents {}\nhttp {\n  include sites/*;\n}\n"},
                {"sites/a", "server {\n  server_name a;\n}\n"}});
  const Request request = Nginx(kNewSite, {{"name", {std::nullopt, "n"}}});
  EXPECT_THAT(Refused(request, server, {"/s/modules/{name}.conf"}),
              HasSubstr("the server reads '/s/modules/n.conf' outside of http"));
  EXPECT_EQ(Edited(request, server, {"/s/sites/{name}"}).size(), 1U);
}

TEST(ANewSite, NeedsAName) {
  EXPECT_THAT(Refused(Nginx("server {\n  listen 81;\n}\n"), TwoSites(), {"/s/sites/{name}"}),
              HasSubstr("the template gives no name to a server"));
}

TEST(ANewSite, IsRefusedWhereAnotherFileHasItsName) {
  EXPECT_THAT(
      Refused(Nginx("server {\n  server_name n b;\n}\n"), TwoSites(), {"/s/sites/{name}"}),
      HasSubstr("[collision] /s/sites/b:1:1 of the edited text: /s/sites/b:1:1 'server' (b) and "
                "/s/sites/n:1:1 'server' (n, b) both answer to 'b' on *:80"));
}

TEST(ANewSite, OfAServerOfOneFileIsMadeThere) {
  EXPECT_EQ(Edited(Nginx(kNewSite, {{"name", {std::nullopt, "n"}}}),
                   ServerOf(Dialect::kNginx, {{"nginx.conf", "events {}\nhttp {\n}\n"}})),
            (Texts{{"nginx.conf",
                    "events {}\nhttp {\n\tserver {\n\t\tlisten 80;\n\t\tserver_name "
                    "n;\n\t}\n}\n"}}));
}

// --- Refusals ---

TEST(ARename, ToANameOfAnotherFileIsRefusedWithBothPlaces) {
  const ServerResult result = EditServer(
      Nginx("server {\n  server_name {% $name %};\n}\n", {{"name", {"a", "b"}}}), TwoSites());
  ASSERT_EQ(result.refusals.size(), 1U);
  EXPECT_EQ(result.refusals[0].name, "collision");
  EXPECT_THAT(result.refusals[0].message, HasSubstr("/s/sites/a:1:1 'server' (b) and "
                                                    "/s/sites/b:1:1 'server' (b) both answer"));
  std::vector<std::string> places;
  for (const auto& place : result.refusals[0].config_places) places.push_back(Shown(place));
  EXPECT_THAT(places, ElementsAre("/s/sites/a:1:1", "/s/sites/b:1:1"));
}

TEST(ABlock, ThatSeveralFilesHoldIsRefusedWithThem) {
  const ServerFiles server =
      ServerOf(Dialect::kNginx, {{"nginx.conf", kMain},
                                 {"sites/a", "server {\n listen 80;\n server_name a;\n}\n"},
                                 {"sites/tls", "\nserver {\n listen 443;\n server_name a;\n}\n"}});
  const std::string refusal = Refused(Nginx("server {\n  server_name a;\n  root /a;\n}\n"), server);
  EXPECT_THAT(refusal, HasSubstr("[ambiguous]"));
  EXPECT_THAT(refusal, HasSubstr("/s/sites/a:1:1"));
  EXPECT_THAT(refusal, HasSubstr("/s/sites/tls:2:1"));
}

TEST(ABlock, OfSeveralFilesIsEditedInAllWhereThatIsAsked) {
  const ServerFiles server =
      ServerOf(Dialect::kNginx, {{"nginx.conf", kMain},
                                 {"sites/a", "server {\n listen 80;\n server_name a;\n}\n"},
                                 {"sites/tls", "server {\n listen 443;\n server_name a;\n}\n"}});
  Request request = Nginx("server {\n  server_name a;\n  root /a;\n}\n");
  request.all = true;
  EXPECT_EQ(Edited(request, server),
            (Texts{{"sites/a", "server {\n listen 80;\n server_name a;\n root /a;\n}\n"},
                   {"sites/tls", "server {\n listen 443;\n server_name a;\n root /a;\n}\n"}}));
}

TEST(AnOldValue, IsReadFromTheFileThatHoldsTheSite) {
  Request request = Nginx("server {\n  server_name a;\n  root {% $root %};\n}\n",
                          {{"root", {std::nullopt, "/new"}}});
  request.values["root"].read_old = true;
  EXPECT_EQ(Edited(request, TwoSites()),
            (Texts{{"sites/a", "server {\n    server_name a;\n    root /new;\n}\n"}}));
}

TEST(AnInclude, IsNotTakenAway) {
  const char* const removal = "http {\n{% if $no == yes %}\n  include sites/*;\n{% endif %}\n}\n";
  EXPECT_THAT(Refused(Nginx(removal, {{"no", {std::nullopt, "no"}}}), TwoSites()),
              HasSubstr("[included] /s/nginx.conf:3:3: what changes here has other files read"));
}

TEST(AnInclude, IsNotTakenAwayWithItsBlock) {
  const char* const removal = "{% if $no == yes %}\nhttp {\n}\n{% endif %}\n";
  EXPECT_THAT(Refused(Nginx(removal, {{"no", {std::nullopt, "no"}}}), TwoSites()),
              HasSubstr("[included] /s/nginx.conf:2:1"));
}

TEST(AnInclude, OfNothingIsALineLikeOthers) {
  const char* const removal = "http {\n{% if $no == yes %}\n  include none/*;\n{% endif %}\n}\n";
  const ServerFiles server = ServerOf(
      Dialect::kNginx, {{"nginx.conf", "http {\n  include none/*;\n  include sites/*;\n}\n"},
                        {"sites/a", "server {\n  server_name a;\n}\n"}});
  EXPECT_EQ(Edited(Nginx(removal, {{"no", {std::nullopt, "no"}}}), server),
            (Texts{{"nginx.conf", "http {\n  include sites/*;\n}\n"}}));
}

TEST(AFile, ThatTheServerRefusesIsSaid) {
  ServerFiles server = ServerOf(Dialect::kNginx, {{"nginx.conf", kMain},
                                                  {"sites/a", "server {\n  server_name a;\n}\n"},
                                                  {"sites/b", "server {\n  server_name b;\n"}});
  Request request = Nginx("server {\n  server_name a;\n  root /a;\n}\n");
  EXPECT_THAT(Refused(request, server), HasSubstr("[syntax] /s/sites/b:1:1: "));
  request.forced.insert("syntax");
  EXPECT_EQ(Edited(request, server),
            (Texts{{"sites/a", "server {\n  server_name a;\n  root /a;\n}\n"}}));
}

// The site may be the one that cannot be read.
TEST(AFile, ThatTheServerRefusesIsSaidWhereMissingBlocksAreSkippedToo) {
  const ServerFiles server = ServerOf(
      Dialect::kNginx, {{"nginx.conf", kMain}, {"sites/b", "server {\n  server_name b;\n"}});
  Request request = Nginx("server {\n  server_name a;\n  root /a;\n}\n");
  request.skip_missing = true;
  EXPECT_THAT(Refused(request, server), HasSubstr("[syntax] /s/sites/b:1:1: "));
  EXPECT_FALSE(EditServer(request, server, {}).skipped);
  request.forced.insert("syntax");
  EXPECT_TRUE(EditServer(request, server, {}).skipped);
}

TEST(AFile, WhoseBlockEndsInTheNextOneIsRefused) {
  const ServerFiles server =
      ServerOf(Dialect::kNginx, {{"nginx.conf", "http {\n  include a;\n  include b;\n}\n"},
                                 {"a", "server {\n  server_name a;\n"},
                                 {"b", "}\n"}});
  EXPECT_THAT(Refused(Nginx("server {\n  server_name a;\n  root /a;\n}\n"), server),
              testing::AllOf(HasSubstr("/s/a:1:1"), HasSubstr("/s/b:1:1")));
}

TEST(ASnippet, OfAServerStaysAsItIs) {
  const ServerFiles server =
      ServerOf(Dialect::kNginx, {{"nginx.conf", kMain},
                                 {"sites/a", "server {\n  server_name a;\n  include snippet;\n}\n"},
                                 {"snippet", "root /shared;\n"}});
  EXPECT_EQ(
      Edited(Nginx("server {\n  server_name a;\n  root /a;\n}\n"), server),
      (Texts{{"sites/a", "server {\n  server_name a;\n  include snippet;\n  root /a;\n}\n"}}));
}

// --- What is told ---

TEST(TheChanges, AreThoseOfEachFile) {
  const ServerResult result =
      EditServer(Nginx(kRootTemplate, {{"root", {"/a", "/new"}}}), TwoSites());
  ASSERT_EQ(result.files.size(), 1U);
  const FileEdit& file = result.files[0];
  EXPECT_EQ(file.name, "/s/sites/a");
  EXPECT_FALSE(file.is_new);
  EXPECT_EQ(file.old_text, "server {\n    server_name a;\n    root /a;\n}\n");
  ASSERT_EQ(file.changes.size(), 1U);
  EXPECT_EQ(file.changes[0].line, 3U);
  EXPECT_EQ(file.changes[0].count, 1U);
  EXPECT_EQ(file.changes[0].text, "    root /new;\n");
}

TEST(AReport, NamesThePlacesInTheirFiles) {
  const tov_server::ExplainedServer explained =
      ExplainServer(Nginx(kRootTemplate, {{"root", {"/a", "/new"}}}), TwoSites());
  ASSERT_EQ(explained.report.blocks.size(), 1U);
  ASSERT_EQ(explained.report.blocks[0].places.size(), 1U);
  EXPECT_EQ(Shown(explained.report.blocks[0].places[0]), "/s/sites/a:1:1");
  EXPECT_EQ(Shown(explained.report.items[2].events.at(0).place), "/s/sites/a:3:5");
}

// --- One file ---

// The result of an edit of the file by itself.
void ExpectAsByItself(const Request& request, const std::string& text) {
  const tov_edit::Result alone = tov_edit::Edit(request, text, "/s/main");
  const ServerResult server = EditServer(request, ServerOf(request.dialect, {{"main", text}}));
  EXPECT_EQ(ShownAll(server.refusals), ShownAll(alone.refusals));
  EXPECT_EQ(ShownAll(server.warnings), ShownAll(alone.warnings));
  EXPECT_EQ(server.files.size(), alone.changed ? 1U : 0U);
  for (const FileEdit& file : server.files) EXPECT_EQ(file.text, alone.text);
}

struct Ordinary {
  std::string text;
  std::map<std::string, OldAndNew> values;
};

std::vector<Ordinary> OrdinaryEdits(Dialect dialect) {
  const std::string no = "{% if $no == yes %}\n";
  const std::string end = "{% endif %}\n";
  const OldAndNew off = {std::nullopt, "no"};
  if (dialect == Dialect::kNginx) {
    return {
        {"server {\n  root /new;\n}\n", {}},
        {"server {\n  listen 80;\n  client_max_body_size 7m;\n}\n", {}},
        {"server {\n  listen 443 ssl;\n  location /new {\n    return 200;\n  }\n}\n", {}},
        {"http {\n  server_tokens off;\n}\n", {}},
        {"server {\n  server_name new.example;\n}\n", {}},
        {no + "server {\n  listen 80;\n}\n" + end, {{"no", off}}},
        {"server {\n" + no + "  listen 80;\n" + end + "}\n", {{"no", off}}},
        {"upstream new {\n  server 127.0.0.1:1;\n}\n", {}},
    };
  }
  return {
      {"<VirtualHost *:80>\n  DocumentRoot /new\n</VirtualHost>\n", {}},
      {"<VirtualHost *:443>\n  <Directory /new>\n    Require all granted\n  "
       "</Directory>\n</VirtualHost>\n",
       {}},
      {"<VirtualHost *:8080>\n  ServerName new.example\n</VirtualHost>\n", {}},
      {"Listen 8080\n", {}},
      {no + "<VirtualHost *:80>\n</VirtualHost>\n" + end, {{"no", off}}},
  };
}

class OneFile : public testing::TestWithParam<Dialect> {};

TEST_P(OneFile, IsEditedAsByItself) {
  const std::string name = GetParam() == Dialect::kNginx ? "nginx" : "apache";
  std::size_t edited = 0;
  for (const auto& [config, text] : RealConfigs(name)) {
    SCOPED_TRACE(config);
    if (text.size() > 100'000) continue;
    for (const Ordinary& ordinary : OrdinaryEdits(GetParam())) {
      SCOPED_TRACE(ordinary.text);
      for (const bool all : {false, true}) {
        Request request = RequestOf(GetParam(), ordinary.text, ordinary.values);
        request.all = all;
        // Of httpd, a whole server is also judged by what it listens on.
        if (GetParam() == Dialect::kApache) request.forced.insert("collision");
        ExpectAsByItself(request, text);
        ++edited;
      }
    }
  }
  EXPECT_GT(edited, 100U);
}

INSTANTIATE_TEST_SUITE_P(OfEachServer, OneFile, testing::Values(Dialect::kNginx, Dialect::kApache));

// --- A server in one file, and in many ---

struct Layouts {
  std::string indentation;
  std::string end;
};

std::string Site(Dialect dialect, std::size_t number, const Layouts& layout) {
  const std::string name = "s" + std::to_string(number) + ".example";
  const std::string& in = layout.indentation;
  const std::string& end = layout.end;
  if (dialect == Dialect::kNginx) {
    return in + "server {" + end + in + in + "listen 80;" + end + in + in + "server_name " + name +
           " www." + name + ";" + end + in + in + "root /" + name + ";" + end +
           (number % 3 == 0 ? in + in + "location / { try_files $uri =404; }" + end : "") + in +
           "}" + end;
  }
  return in + "<VirtualHost *:80>" + end + in + in + "ServerName " + name + end + in + in +
         "ServerAlias www." + name + end + in + in + "DocumentRoot /" + name + end + in +
         "</VirtualHost>" + end;
}

std::vector<Ordinary> SiteEdits(Dialect dialect, std::size_t number) {
  const std::string name = "s" + std::to_string(number) + ".example";
  const bool nginx = dialect == Dialect::kNginx;
  const std::string open = nginx ? "server {\n" : "<VirtualHost *:80>\n";
  const std::string close = nginx ? "}\n" : "</VirtualHost>\n";
  const std::string named = nginx ? "  server_name {% $n %};\n" : "  ServerName {% $n %}\n";
  const std::string root = nginx ? "  root {% $r %};\n" : "  DocumentRoot {% $r %}\n";
  const std::string inner = nginx ? "  location /x {\n    return 404;\n  }\n"
                                  : "  <Location /x>\n    Require all denied\n  </Location>\n";
  const OldAndNew same = {name, name};
  return {
      {open + named + root + close, {{"n", same}, {"r", {"/" + name, "/new"}}}},
      {open + named + close, {{"n", {name, "renamed.example"}}}},
      {open + named + inner + close, {{"n", same}}},
      {"{% if $no == yes %}\n" + open + named + close + "{% endif %}\n",
       {{"n", {name, std::nullopt}}, {"no", {std::nullopt, "no"}}}},
      {open + named + "{% if $no == yes %}\n" + root + "{% endif %}\n" + close,
       {{"n", same}, {"r", {"/" + name, std::nullopt}}, {"no", {std::nullopt, "no"}}}},
      {open + named + close, {{"n", {name, "s1.example"}}}},   // another site's name
      {open + named + close, {{"n", {"none.example", "n"}}}},  // of no site
  };
}

class ManyFiles : public testing::TestWithParam<std::pair<Dialect, Layouts>> {};

TEST_P(ManyFiles, BecomeWhatTheWholeBecomes) {
  const auto& [dialect, layout] = GetParam();
  constexpr std::size_t kSites = 12;
  const bool nginx = dialect == Dialect::kNginx;
  const std::string before =
      (nginx ? "events {}" + layout.end + "http {" : "ServerName x") + layout.end;
  const std::string behind = nginx ? "}" + layout.end : "";
  const std::string include = (nginx ? "include sites/*;" : "Include sites/*") + layout.end;
  std::vector<NamedText> files = {{"main", before + include + behind}};
  std::string whole = before;
  for (std::size_t i = 0; i < kSites; ++i) {
    files.push_back({"sites/" + std::to_string(10 + i), Site(dialect, i, layout)});
    whole += files.back().text;
  }
  whole += behind;
  const ServerFiles server = ServerOf(dialect, files);
  for (const std::size_t site : {0U, 3U, 7U, 11U}) {
    for (const Ordinary& edit : SiteEdits(dialect, site)) {
      SCOPED_TRACE(std::to_string(site) + "\n" + edit.text);
      const Request request = RequestOf(dialect, edit.text, edit.values);
      const tov_edit::Result expected = tov_edit::Edit(request, whole, "whole");
      const ServerResult result = EditServer(request, server);
      ASSERT_EQ(result.refusals.size(), expected.refusals.size()) << ShownAll(result.refusals);
      for (std::size_t i = 0; i < result.refusals.size(); ++i) {
        EXPECT_EQ(result.refusals[i].name, expected.refusals[i].name);
      }
      std::string joined = before;
      for (std::size_t i = 1; i < files.size(); ++i) {
        const auto changed =
            std::find_if(result.files.begin(), result.files.end(),
                         [&](const FileEdit& file) { return file.name == "/s/" + files[i].name; });
        joined += changed == result.files.end() ? files[i].text : changed->text;
      }
      EXPECT_EQ(joined + behind, expected.text);
      EXPECT_LE(result.files.size(), 1U);
      for (const FileEdit& file : result.files) {
        EXPECT_EQ(file.name, "/s/" + files[site + 1].name);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(OfEachServer, ManyFiles,
                         testing::Values(std::pair(Dialect::kNginx, Layouts{"  ", "\n"}),
                                         std::pair(Dialect::kNginx, Layouts{"\t", "\r\n"}),
                                         std::pair(Dialect::kApache, Layouts{"    ", "\n"}),
                                         std::pair(Dialect::kApache, Layouts{"\t", "\r\n"})));

}  // namespace
}  // namespace server_edit
