// SPDX-License-Identifier: Apache-2.0

// Which blocks are found by their opening lines, from where.
#include "edit/match/head_index.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "document/document.h"
#include "edit/match/contents.h"

namespace tov_edit {
namespace {

using tov_document::kWholeText;

struct Sought {
  BlockId scope;
  Texts head;  // "..." as the last word: one that begins so
  std::vector<BlockId> found;
};

std::string Shown(const Sought& sought) {
  std::string shown = "in " + std::to_string(sought.scope) + ":";
  for (const std::string& word : sought.head) shown += " " + word;
  return shown;
}

// Of a head like {"location", "/a..."}: what stands before the dots.
Beginning BeginningOf(const Texts& head) {
  Beginning beginning;
  beginning.words = {head.begin(), head.end() - 1};
  beginning.next = head.back().substr(0, head.back().size() - 3);
  return beginning;
}

bool IsBeginning(const Texts& head) {
  return !head.empty() && head.back().size() >= 3 &&
         head.back().compare(head.back().size() - 3, 3, "...") == 0;
}

// Each by itself, and again, and all of them one after the other: what was found before makes no
// difference.
void ExpectFound(Dialect dialect, std::string_view text, const std::vector<Sought>& all) {
  const Document document(dialect, text);
  ASSERT_FALSE(document.error());
  const Contents contents(document);
  HeadIndex index(contents);
  const auto found = [](HeadIndex& in, const Sought& sought) {
    return IsBeginning(sought.head) ? in.BeginningWith(sought.scope, BeginningOf(sought.head))
                                    : in.Like(sought.scope, sought.head);
  };
  for (const Sought& sought : all) {
    HeadIndex alone(contents);
    EXPECT_EQ(found(alone, sought), sought.found) << Shown(sought);
    EXPECT_EQ(found(alone, sought), sought.found) << Shown(sought) << ", again";
    EXPECT_EQ(found(index, sought), sought.found) << Shown(sought) << ", after others";
  }
}

TEST(HeadIndex, FindsTheBlocksOfAHead) {
  ExpectFound(Dialect::kNginx,
              "http {\n"                      // 1
              "  server {\n"                  // 2
              "    location / {\n    }\n"     // 3
              "    location /a {\n    }\n"    // 4
              "    location = /a {\n    }\n"  // 5
              "  }\n"
              "  server {\n"                            // 6
              "    location /a {\n"                     // 7
              "      location /ab {\n      }\n    }\n"  // 8
              "    if ($x) {\n    }\n"                  // 9
              "  }\n"
              "}\n"
              "server {\n}\n"       // 10
              "upstream a {\n}\n",  // 11
              {
                  {kWholeText, {"server"}, {2, 6, 10}},  // http may be left out
                  {kWholeText, {"http"}, {1}},
                  {kWholeText, {"upstream", "a"}, {11}},
                  {kWholeText, {"upstream", "b"}, {}},
                  {kWholeText, {"upstream"}, {}},
                  {kWholeText, {"location", "/a"}, {}},  // a server may not
                  {kWholeText, {}, {}},
                  {1, {"server"}, {2, 6}},
                  {1, {"http"}, {}},
                  {1, {"upstream", "a"}, {}},
                  {2, {"location", "/a"}, {4}},
                  {2, {"location", "=", "/a"}, {5}},
                  {2, {"location", "=/a"}, {5}},
                  {2, {"if", "($x)"}, {}},
                  {6, {"location", "/a"}, {7}},
                  {6, {"location", "/ab"}, {}},
                  {6, {"if", "(", "$x", ")"}, {9}},
                  {7, {"location", "/ab"}, {8}},
                  {7, {"location", "/a"}, {}},
                  {10, {"server"}, {}},
                  {2, {"location", "..."}, {3, 4, 5}},
                  {2, {"location", "/..."}, {3, 4}},
                  {2, {"location", "/a..."}, {4}},
                  {2, {"location", "=..."}, {5}},
                  {2, {"location", "/b..."}, {}},
                  {6, {"location", "/a..."}, {7}},
                  {kWholeText, {"up..."}, {11}},
                  {kWholeText, {"upstream", "..."}, {11}},
                  {kWholeText, {"server..."}, {2, 6, 10}},
                  {1, {"server..."}, {2, 6}},
              });
}

TEST(HeadIndex, LeavesOutNginxsHttpOnly) {
  ExpectFound(Dialect::kNginx,
              "stream {\n  server {\n  }\n}\n"                     // 1, 2
              "http x {\n  server {\n  }\n}\n"                     // 3, 4: it is no http
              "other {\n  http {\n    server {\n    }\n  }\n}\n",  // 5, 6, 7: nor is that one
              {
                  {kWholeText, {"server"}, {}},
                  {kWholeText, {"http"}, {}},
                  {5, {"http"}, {6}},
                  {5, {"server"}, {}},
                  {6, {"server"}, {7}},
                  {1, {"server"}, {2}},
              });
}

TEST(HeadIndex, LeavesOutApachesConditions) {
  ExpectFound(Dialect::kApache,
              "<Directory /a>\n</Directory>\n"           // 1
              "<IfModule m>\n"                           // 2
              "  <Directory /a>\n  </Directory>\n"       // 3
              "  <IfDefine D>\n"                         // 4
              "    <directory /a/>\n    </directory>\n"  // 5
              "    <Location /l>\n"                      // 6
              "      <IfModule n>\n"                     // 7
              "        <Limit GET>\n        </Limit>\n"  // 8
              "      </IfModule>\n"
              "    </Location>\n"
              "  </IfDefine>\n"
              "</IfModule>\n"
              "<IfModule m>\n"                      // 9
              "  <Directory /b>\n  </Directory>\n"  // 10
              "</IfModule>\n",
              {
                  {kWholeText, {"Directory", "/a"}, {1, 3, 5}},
                  {kWholeText, {"DIRECTORY", "/a/"}, {1, 3, 5}},
                  {kWholeText, {"Directory", "/A"}, {}},
                  {kWholeText, {"Directory", "/..."}, {1, 3, 5, 10}},
                  {kWholeText, {"Directory", "/b..."}, {10}},
                  {kWholeText, {"dir..."}, {5}},  // a part of a name is of one case
                  {kWholeText, {"Dir..."}, {1, 3, 10}},
                  {kWholeText, {"IfModule", "m"}, {2, 9}},
                  {kWholeText, {"IfModule", "..."}, {2, 9}},
                  {kWholeText, {"IfDefine", "D"}, {4}},
                  {kWholeText, {"Limit", "GET"}, {}},
                  {2, {"Directory", "/a"}, {3, 5}},
                  {2, {"Directory", "/..."}, {3, 5}},
                  {2, {"IfModule", "m"}, {}},
                  {2, {"IfModule", "..."}, {}},  // itself is not in it
                  {4, {"Directory", "/a"}, {5}},
                  {4, {"Location", "/l"}, {6}},
                  {9, {"Directory", "/a"}, {}},
                  {9, {"Directory", "/b"}, {10}},
                  {9, {"Directory", "..."}, {10}},
                  {1, {"Directory", "/a"}, {}},
                  {6, {"Limit", "GET"}, {8}},
                  {6, {"Directory", "/a"}, {}},
                  {7, {"Limit", "GET"}, {8}},
                  {8, {"Limit", "GET"}, {}},
                  {4, {"Limit", "GET"}, {}},
              });
}

TEST(HeadIndex, LeavesOutConditionsInConditionsOfABlock) {
  ExpectFound(Dialect::kApache,
              "<Location /a>\n</Location>\n"  // 1
              "<VirtualHost *:80>\n"          // 2
              "<IfModule m>\n"                // 3
              "<IfModule n>\n"                // 4
              "<Location /a>\n</Location>\n"  // 5
              "</IfModule>\n"
              "<Location /a>\n</Location>\n"  // 6
              "</IfModule>\n"
              "<Location /a>\n</Location>\n"  // 7
              "</VirtualHost>\n"
              "<Location /a>\n</Location>\n",  // 8
              {
                  {3, {"Location", "/a"}, {5, 6}},
                  {4, {"Location", "/a"}, {5}},
                  {3, {"Location", "/..."}, {5, 6}},
                  {4, {"Location", "/..."}, {5}},
                  {2, {"Location", "/a"}, {5, 6, 7}},
                  {kWholeText, {"Location", "/a"}, {1, 8}},
              });
}

TEST(HeadIndex, FindsVirtualHostsByEachAddress) {
  ExpectFound(Dialect::kApache,
              "<VirtualHost *:80 1.1.1.1:81>\n</VirtualHost>\n"      // 1
              "<virtualhost _default_:80>\n</virtualhost>\n"         // 2
              "<IfModule m>\n"                                       // 3
              "  <VirtualHost 1.1.1.1:81 *:82>\n  </VirtualHost>\n"  // 4
              "</IfModule>\n",
              {
                  {kWholeText, {"VirtualHost", "*:80"}, {1, 2}},
                  {kWholeText, {"VirtualHost", "1.1.1.1:81"}, {1, 4}},
                  {kWholeText, {"VirtualHost", "*:82"}, {4}},
                  {kWholeText, {"VirtualHost", "*:82", "*:80"}, {1, 2, 4}},
                  {kWholeText, {"VirtualHost", "*:80", "1.1.1.1:81"}, {1, 2, 4}},  // none twice
                  {kWholeText, {"VirtualHost", "*:83"}, {}},
                  {kWholeText, {"VirtualHost", "..."}, {1, 2, 4}},
                  {kWholeText, {"VirtualHost", "_default_:80", "..."}, {2}},  // as it is written
                  {3, {"VirtualHost", "..."}, {4}},
                  {3, {"VirtualHost", "*:80"}, {}},
                  {3, {"VirtualHost", "1.1.1.1:81"}, {4}},
              });
}

}  // namespace
}  // namespace tov_edit
