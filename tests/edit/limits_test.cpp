// SPDX-License-Identifier: Apache-2.0

// How much an edit takes, and what is said of more. What is as much as it takes is edited.

#include "edit/tree/limits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "edit/edit.h"
#include "edit/edit_case.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {
namespace {

std::string Repeated(const std::string& text, std::size_t count) {
  std::string repeated;
  for (std::size_t i = 0; i < count; ++i) repeated += text;
  return repeated;
}

Request RequestWith(Dialect dialect, const std::string& template_text) {
  return RequestOf(dialect, Case{"", "", template_text, {{"v", "1", "2"}}, ""});
}

const std::string kSite = "server {\n\tserver_name a;\n\tx 1;\n}\n";
const std::string kEditedSite = "server {\n\tserver_name a;\n\tx 2;\n}\n";
const std::string kHost = "<VirtualHost *:80>\nServerName a\nX 1\n</VirtualHost>\n";
const std::string kSiteTemplate = "server {\nserver_name a;\nx {% $v %};\n}\n";

// --- Templates and values ---

// Something that there is a limit for, so much of it.
struct Amount {
  std::string name;
  std::size_t most = 0;
  std::function<Request(std::size_t)> request_of;
  std::string what;  // the beginning of the message on one more
};

std::vector<Amount> Amounts() {
  return {
      {"lines of a template", kMostTemplateLines,
       [](std::size_t lines) {
         return RequestWith(Dialect::kNginx, kSiteTemplate + std::string(lines - 4, '\n'));
       },
       "site.template:200001: an edit does not take more than 200000 lines with all imports"},
      {"bytes of a template", kLargestTemplate,
       [](std::size_t bytes) {
         return RequestWith(Dialect::kApache, "x 1\n# " + std::string(bytes - 7, 'x') + "\n");
       },
       "site.template:2:1: an edit does not take a template of more than 16 MiB"},
      {"a value as often as it stands in the template", kLargestTemplate / kMebibyte,
       [](std::size_t count) {
         Request request =
             RequestWith(Dialect::kApache, Repeated("y {% $v %}\n", count - 1) +
                                               "{% if [% $v %] == x %}\n{% endif %}\n");
         request.values["v"] = {{}, std::string(kMebibyte - 100, 'x')};
         return request;
       },
       "site.template:17:1: an edit does not take a template of more than 16 MiB"},
      {"places in a line", kMostPlaces,
       [](std::size_t places) {
         return RequestWith(Dialect::kNginx, "x" + Repeated(" {% $v %}", places) + ";\n");
       },
       "site.template:1:1: an edit does not take more than 1000 places in a line"},
      {"places in a statement", kMostPlaces - 1,
       [](std::size_t places) {
         return RequestWith(Dialect::kNginx, "{% if x == y" + Repeated(" and [% $v %]", places) +
                                                 " %}\nx 1;\n{% endif %}\n");
       },
       "site.template:1:1: an edit does not take more than 1000 places in a line"},
      {"blocks in blocks of a template", kDeepestBlocks,
       [](std::size_t deep) {
         return RequestWith(Dialect::kNginx, Repeated("a {\n", deep) + Repeated("}\n", deep));
       },
       "site.template:101:1: an edit does not take blocks in blocks, more than 100 deep"},
      {"imports", kMostImports,
       [](std::size_t files) {
         std::string text;
         for (std::size_t i = 0; i < files; ++i) {
           text += "{% import " + std::to_string(i) + " %}\n";
         }
         Request request = RequestWith(Dialect::kNginx, text);
         request.importer = [](const std::string& name, const FilePlace&) {
           return ImportedFile{name, ""};
         };
         return request;
       },
       "site.template:10001:4: an edit does not take more than 10000 imports"},
      {"imports in imports", kDeepestImports,
       [](std::size_t deep) {
         Request request = RequestWith(Dialect::kNginx, "{% import 1 %}\n");
         request.importer = [deep](const std::string& name, const FilePlace&) {
           const std::size_t number = std::stoul(name);
           if (number == deep) return ImportedFile{name, ""};
           return ImportedFile{name, "{% import " + std::to_string(number + 1) + " %}\n"};
         };
         return request;
       },
       "100:1:4: an edit does not take imports in imports, more than 100 deep"},
      {"values", kMostValues,
       [](std::size_t values) {
         Request request = RequestWith(Dialect::kNginx, kSiteTemplate);
         for (std::size_t i = 1; i < values; ++i) request.values["v" + std::to_string(i)] = {};
         return request;
       },
       "site.template: an edit does not take more than 100000 values"},
      {"bytes of values", kLargestValues,
       [](std::size_t bytes) {
         Request request = RequestWith(Dialect::kNginx, kSiteTemplate);
         request.values["long"] = {{}, std::string(bytes - std::string("v12long").size(), 'x')};
         return request;
       },
       "site.template: an edit does not take values of more than 64 MiB"},
  };
}

bool HasLimit(const std::vector<Finding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.name == "limit"; });
}

TEST(Limits, OfTemplatesAndValuesAreNamed) {
  for (const Amount& amount : Amounts()) {
    SCOPED_TRACE(amount.name);
    EXPECT_EQ(AllOf(Edit(amount.request_of(amount.most), "", "site.conf").refusals), "");
    const Request request = amount.request_of(amount.most + 1);
    const std::string config = request.dialect == Dialect::kNginx ? kSite : kHost;
    const Result result = Edit(request, config, "site.conf");
    ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
    EXPECT_EQ(result.refusals[0].name, "limit");
    EXPECT_EQ(Shown(result.refusals[0]).substr(0, amount.what.size()), amount.what);
    EXPECT_EQ(result.text, config);
    const Explained explained = Explain(request, config, "site.conf");
    EXPECT_EQ(AllOf(explained.result.refusals), AllOf(result.refusals));
    Findings findings;
    Prototype(request, findings);
    EXPECT_EQ(AllOf(findings.refusals), AllOf(result.refusals));
    EXPECT_FALSE(HasLimit(Linted(amount.request_of(amount.most))));
    EXPECT_EQ(AllOf(Linted(request)), AllOf(result.refusals));
  }
}

// A block is closed again before the next one opens.
TEST(Limits, AreNoneForBlocksBesideEachOther) {
  const Request request = RequestWith(Dialect::kNginx, Repeated("a {\n}\n", kDeepestBlocks + 1));
  EXPECT_EQ(AllOf(Linted(request)), "");
}

// What stands behind it is not looked at.
TEST(Limits, AreTheLastThatIsSaidOfATemplate) {
  const Request request =
      RequestWith(Dialect::kNginx, "x\n" + Repeated("a {\n", kDeepestBlocks) + "  b {\nx\n");
  const std::vector<Finding> findings = Linted(request);
  ASSERT_EQ(findings.size(), 2U) << AllOf(findings);
  EXPECT_EQ(findings[0].name, "not-a-directive");
  EXPECT_EQ(AllOf({findings[1]}),
            "site.template:102:3: an edit does not take blocks in blocks, more than 100 deep "
            "[limit]\n");
  EXPECT_EQ(findings[1].line_text, "  b {");
}

TEST(Limits, HoldForImportedFiles) {
  Request request = RequestWith(Dialect::kApache, "{% import part %}\n");
  request.importer = [](const std::string& name, const FilePlace&) {
    return ImportedFile{name, std::string(kLargestTemplate + 1, '\n')};
  };
  const Result result = Edit(request, "", "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
  EXPECT_EQ(result.refusals[0].name, "limit");
  EXPECT_EQ(Shown(result.refusals[0]),
            "site.template:1:4: an edit does not take a file of more than 16 MiB");
}

TEST(Limits, AreNotForced) {
  Request request = RequestWith(Dialect::kNginx, std::string(kMostTemplateLines + 1, '\n'));
  request.forced = {"limit"};
  EXPECT_EQ(Edit(request, "", "site.conf").refusals.size(), 1U);
}

// --- Configurations ---

const std::string kOpen = "<IfModule a>\n";
const std::string kClose = "</IfModule>\n";
const std::string kEditedHost = "<VirtualHost *:80>\nServerName a\nX 2\n</VirtualHost>\n";
const std::string kHostTemplate = "<VirtualHost *:80>\nServerName a\nX {% $v %}\n</VirtualHost>\n";

TEST(Limits, OfConditionsInConditionsAreNamed) {
  const Request request = RequestWith(Dialect::kApache, kHostTemplate);
  const auto around = [](const std::string& text, std::size_t deep) {
    return Repeated(kOpen, deep) + text + Repeated(kClose, deep);
  };
  EXPECT_EQ(EditedText(request, around(kHost, kDeepestConditions)),
            around(kEditedHost, kDeepestConditions));
  const std::string deeper = around(kHost, kDeepestConditions + 1);
  const Result result = Edit(request, deeper, "site.conf");
  EXPECT_EQ(AllOf(result.refusals),
            "site.conf:101:1: an edit does not take conditions in conditions, more than 100 deep "
            "[limit]\n");
  EXPECT_EQ(result.text, deeper);
  EXPECT_EQ(AllOf(Explain(request, deeper, "site.conf").result.refusals), AllOf(result.refusals));
}

TEST(Limits, AreNoneForOtherBlocks) {
  constexpr std::size_t kDeep = 20'000;
  EXPECT_EQ(EditedText(RequestWith(Dialect::kNginx, kSiteTemplate),
                       Repeated("a {\n", kDeep) + Repeated("}\n", kDeep) + kSite),
            Repeated("a {\n", kDeep) + Repeated("}\n", kDeep) + kEditedSite);
  const std::string front = Repeated("<Location />\n" + kOpen, kDeep);
  const std::string back = Repeated(kClose + "</Location>\n", kDeep);
  EXPECT_EQ(EditedText(RequestWith(Dialect::kApache, kHostTemplate), front + back + kHost),
            front + back + kEditedHost);
}

TEST(ALongLine, OfACommentIsKept) {
  const std::string comment = "#" + std::string(10'000'000, 'x') + "\n";
  EXPECT_EQ(EditedText(RequestWith(Dialect::kApache, kHostTemplate), comment + kHost),
            comment + kEditedHost);
}

// --- What comes of little ---

TEST(ANewLine, TakesOverNoMoreBlanksThanPeopleWrite) {
  const std::string blanks(1'000'000, ' ');
  const std::string config = "server {\n" + blanks + "server_name a;\n}\n";
  const Request request =
      RequestWith(Dialect::kNginx, "server {\nserver_name a;\nx 1;\nlocation / {\ny 1;\n}\n}\n");
  const std::string edited = EditedText(request, config);
  EXPECT_EQ(edited.substr(0, 9 + blanks.size()), "server {\n" + blanks);
  EXPECT_EQ(edited.size(), config.size() + 4 * kLongestIndentation +
                               std::string("x 1;\nlocation / {\ny 1;\n}\n").size());
  EXPECT_EQ(EditedText(request, edited), edited);
}

// A server answers to each of its names on each of its addresses: to 10,000 times 10,000 here.
TEST(ManyNamesOnManyAddresses, AreNoMoreThanTheirSum) {
  std::string names;
  std::string listens;
  for (int i = 0; i < 10'000; ++i) {
    names += " s" + std::to_string(i);
    listens += "listen 127.0.0.1:" + std::to_string(i) + ";\n";
  }
  const auto server = [&](const std::string& name) {
    return "server {\nserver_name " + name + names + ";\n" + listens + "}\n";
  };
  Request request = RequestWith(Dialect::kNginx, "server {\nserver_name a{% $v %};\n}\n");
  EXPECT_EQ(EditedText(request, server("a1") + server("b")), server("a2") + server("b"));
  const Result result = Edit(request, server("a1") + server("a2"), "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
  EXPECT_EQ(result.refusals[0].name, "collision");
  EXPECT_NE(Shown(result.refusals[0]).find("answer to 'a2' on 127.0.0.1:0"), std::string::npos)
      << Shown(result.refusals[0]);
  EXPECT_LT(Shown(result.refusals[0]).size(), 1'000U);
}

TEST(ManyThatFit, AreNamedUpToALimit) {
  const std::string listens = Repeated("listen 80 x;\n", kMostPlacesNamed + 1);
  const std::string servers = Repeated("server {\n}\n", kMostPlacesNamed + 1);
  for (const auto& [name, text, config] :
       {std::tuple("directives", "server {\nlisten 80[% $v %];\n}\n",
                   "server {\n" + listens + "}\n"),
        std::tuple("blocks", "server {\nx {% $v %};\n}\n", servers)}) {
    SCOPED_TRACE(name);
    const Result result = Edit(RequestWith(Dialect::kNginx, text), config, "site.conf");
    ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
    EXPECT_EQ(result.refusals[0].name, "ambiguous");
    EXPECT_EQ(result.refusals[0].config_places.size(), kMostPlacesNamed);
  }
}

// Of two conditions of which one stands in the other, each is edited by itself.
TEST(AllThatFit, MayStandInEachOther) {
  Request request = RequestWith(Dialect::kApache, kOpen + "X {% $v %}\n" + kClose);
  request.all = true;
  const std::string edited = kOpen + "X 2\n" + kOpen + "X 2\n" + kClose + kClose;
  EXPECT_EQ(EditedText(request, kOpen + "X 1\n" + kOpen + "X 1\n" + kClose + kClose), edited);
  EXPECT_EQ(EditedText(request, edited), edited);
}

}  // namespace
}  // namespace tov_edit
