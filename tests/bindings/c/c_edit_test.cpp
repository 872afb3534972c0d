// SPDX-License-Identifier: Apache-2.0

// Requests and results through the C interface: what edits give is tested case by case elsewhere
// (c_cases_test.cpp), here is how it is called.
#include "bindings/c/c_edit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "qeltemplate_c.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr char kConfig[] = "server {\n  server_name a;\n\n  root /a;  # ours\n}\n";
constexpr char kTemplate[] = "server {\nserver_name {% $name %};\n}\n";

std::string WithName(const std::string& name) {
  return "server {\n  server_name " + name + ";\n\n  root /a;  # ours\n}\n";
}

// A request to rename a to b.
class CEdit : public testing::Test {
 protected:
  CEdit() { m_request.SetValue("name", "a", "b"); }

  const CRequest m_request{"nginx", kTemplate};
};

// --- Edits ---

TEST_F(CEdit, ChangesNothingButWhatItIsFor) {
  const CResult result(m_request, kConfig);
  EXPECT_EQ(result.Status(), QEL_OK);
  EXPECT_EQ(result.Text(), WithName("b"));
  EXPECT_EQ(qel_result_changed(result.Handle()), 1);
  EXPECT_EQ(qel_result_skipped(result.Handle()), 0);
  EXPECT_EQ(qel_finding_count(result.Handle(), QEL_REFUSALS), 0U);
  EXPECT_EQ(qel_finding_count(result.Handle(), QEL_WARNINGS), 0U);
  ASSERT_EQ(qel_result_change_count(result.Handle()), 1U);
  EXPECT_EQ(qel_result_change_line(result.Handle(), 0), 2U);
  EXPECT_EQ(qel_result_change_lines(result.Handle(), 0), 1U);
  EXPECT_EQ(result.Get(qel_result_change_text, 0), "  server_name b;\n");
  ASSERT_EQ(qel_result_change_place_count(result.Handle(), 0), 1U);
  EXPECT_EQ(result.Get(qel_result_change_place_file, 0, 0), "site.template");
  EXPECT_EQ(qel_result_change_place_line(result.Handle(), 0, 0), 2U);
}

TEST_F(CEdit, KeepsBytes) {
  const std::string odd("# \0\xff\xc3\n", 6);
  EXPECT_EQ(CResult(m_request, odd + kConfig).Text(), odd + WithName("b"));
}

TEST_F(CEdit, OneRequestServesManyTexts) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(CResult(m_request, kConfig).Text(), WithName("b"));
  EXPECT_EQ(qel_result_changed(CResult(m_request, WithName("b")).Handle()), 0);
}

// As if each were the first.
TEST_F(CEdit, NoTextLeavesATraceInARequest) {
  const std::string texts[] = {kConfig,         "",
                               "events {\n}\n", kConfig + WithName("a"),
                               "server {\n",    "<VirtualHost *:80>\n</VirtualHost>\n",
                               WithName("b"),   kConfig};
  const auto all_of = [](const CRequest& request, const std::string& text) {
    const CResult result(request, text);
    CText told;
    EXPECT_EQ(qel_result_json(result.Handle(), told.Out(), told.Size(), nullptr), QEL_OK);
    return result.Text() + told.Str();
  };
  const std::string templates[] = {
      kTemplate, "server {\nserver_name {% $name %};\nindex {% $none %};\n}",
      "server {\nserver_name {% $name;\n}", "server {\n{% import x %}\n}"};
  for (const std::string& template_text : templates) {
    SCOPED_TRACE(template_text);
    const CRequest many("nginx", template_text);
    many.SetValue("name", "a", "b");
    for (const std::string& text : texts) {
      const CRequest one("nginx", template_text);
      one.SetValue("name", "a", "b");
      EXPECT_EQ(all_of(many, text), all_of(one, text)) << text;
    }
  }
}

TEST_F(CEdit, TheLastValueOfANameCounts) {
  m_request.SetValue("name", "a", "c");
  EXPECT_EQ(CResult(m_request, kConfig).Text(), WithName("c"));
  m_request.SetValue("name", nullptr, nullptr);
  EXPECT_EQ(CResult(m_request, kConfig).Text(), kConfig);
}

TEST(CEdits, KnowDialectsWhateverTheCaseOfTheirLetters) {
  struct Case {
    const char* dialect;
    qel_status status;
  };
  const Case cases[] = {{"nginx", QEL_OK},
                        {"Nginx", QEL_OK},
                        {"NGINX", QEL_OK},
                        {"apache", QEL_OK},
                        {"Apache", QEL_OK},
                        {"", QEL_UNKNOWN_DIALECT},
                        {"nginx ", QEL_UNKNOWN_DIALECT},
                        {"lighttpd", QEL_UNKNOWN_DIALECT}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.dialect);
    const std::string unknown =
        "dialect: unknown (name=" + std::string(c.dialect) + ", known=apache, nginx)";
    CError of_request;
    qel_request request = 7;
    EXPECT_EQ(qel_request_new(c.dialect, QEL_NUL, "", 0, "", 0, &request, of_request.Out()),
              c.status);
    EXPECT_EQ(request != 0, c.status == QEL_OK);
    EXPECT_EQ(of_request.Message(), c.status == QEL_OK ? "" : unknown);
    qel_request_free(request);
    CError of_parser;
    qel_parser parser = 7;
    EXPECT_EQ(qel_parser_new(c.dialect, QEL_NUL, "", 0, &parser, of_parser.Out()), c.status);
    EXPECT_EQ(of_parser.Message(), of_request.Message());
    qel_parser_free(parser);
  }
}

TEST(CEdits, GuessDialects) {
  struct Case {
    const char* text;
    const char* dialect;
  };
  const Case cases[] = {{kConfig, "nginx"},
                        {"<VirtualHost *:80>\nServerName a\n</VirtualHost>\n", "apache"},
                        {"", nullptr},
                        {nullptr, nullptr}};
  for (const Case& c : cases) EXPECT_STREQ(qel_guess_dialect(c.text, QEL_NUL), c.dialect);
  EXPECT_STREQ(qel_guess_dialect(kConfig, 0), nullptr);
}

TEST(CEdits, TheVersionIsANumber) {
  EXPECT_THAT(qel_version(), testing::MatchesRegex("[0-9]+[.][0-9]+[.][0-9]+"));
}

// --- Refusals ---

constexpr char kTwo[] =
    "server {\nserver_name a;\nlisten 80;\n}\n"
    "server {\nserver_name a;\nlisten 81;\n}\n";

TEST_F(CEdit, SaysWhyItIsRefused) {
  const CResult result(m_request, kTwo, "two.conf");
  EXPECT_EQ(result.Status(), QEL_REFUSED);
  EXPECT_EQ(result.Text(), kTwo);
  EXPECT_EQ(qel_result_changed(result.Handle()), 0);
  ASSERT_EQ(qel_finding_count(result.Handle(), QEL_REFUSALS), 1U);
  const int kind = QEL_REFUSALS;
  EXPECT_EQ(result.Get(qel_finding_name, kind, 0), "ambiguous");
  const std::string message = result.Get(qel_finding_message, kind, 0);
  const std::string hint = result.Get(qel_finding_hint, kind, 0);
  EXPECT_THAT(message, HasSubstr("fits several blocks: two.conf:1:1"));
  EXPECT_THAT(hint, HasSubstr("listen 80;"));
  const std::string said = result.Get(qel_finding_said, kind, 0);
  EXPECT_THAT(said, testing::StartsWith("site.template:1:1: " + message));
  EXPECT_THAT(said, HasSubstr(hint));
  EXPECT_EQ(result.Get(qel_finding_template_file, kind, 0), "site.template");
  EXPECT_EQ(qel_finding_template_line(result.Handle(), kind, 0), 1U);
  EXPECT_EQ(qel_finding_template_column(result.Handle(), kind, 0), 1U);
  ASSERT_EQ(qel_finding_config_count(result.Handle(), kind, 0), 2U);
  EXPECT_EQ(result.Get(qel_finding_config_file, kind, 0, 1), "two.conf");
  EXPECT_EQ(qel_finding_config_line(result.Handle(), kind, 0, 1), 5U);
  EXPECT_EQ(qel_finding_config_column(result.Handle(), kind, 0, 1), 1U);
  EXPECT_EQ(qel_finding_in_result(result.Handle(), kind, 0), 0);
  EXPECT_EQ(qel_finding_remedies(result.Handle(), kind, 0), QEL_REMEDY_ALL);
  EXPECT_EQ(qel_finding_can_be_forced(result.Handle(), kind, 0), 0);
}

TEST(CEdits, NameTheValuesThatARefusalIsAbout) {
  const CRequest request("nginx", kTemplate);
  request.SetValue("name", "a", "b; root /");
  const CResult result(request, kConfig);
  ASSERT_EQ(result.Status(), QEL_REFUSED);
  ASSERT_EQ(qel_finding_value_count(result.Handle(), QEL_REFUSALS, 0), 1U);
  EXPECT_EQ(result.Get(qel_finding_value, QEL_REFUSALS, 0, 0), "name");
  EXPECT_EQ(qel_finding_remedies(result.Handle(), QEL_REFUSALS, 0) & QEL_REMEDY_QUOTE,
            QEL_REMEDY_QUOTE);
}

// --- What is asked for ---

TEST_F(CEdit, TakesOptions) {
  struct Case {
    const char* name;
    std::string config;
    std::function<qel_status(qel_request)> set;
    qel_status status;
    std::string text;
  };
  const auto option = [](int which) {
    return
        [which](qel_request request) { return qel_request_set_option(request, which, 1, nullptr); };
  };
  const std::string two_renamed =
      "server {\nserver_name b;\nlisten 80;\n}\nserver {\nserver_name b;\nlisten 81;\n}\n";
  const Case cases[] = {
      {"all", kTwo, option(QEL_ALL), QEL_OK, two_renamed},
      {"skip what is missing", "# none\n", option(QEL_SKIP_MISSING), QEL_OK, "# none\n"},
      {"never create", "# none\n",
       [](qel_request request) {
         return qel_request_set_create(request, QEL_CREATE_NEVER, nullptr);
       },
       QEL_REFUSED, "# none\n"},
      {"a value that nothing uses", kConfig,
       [](qel_request request) { return qel_request_must_use(request, "nmae", 4, nullptr); },
       QEL_REFUSED, kConfig},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const CRequest request("nginx", kTemplate);
    request.SetValue("name", "a", "b");
    ASSERT_EQ(c.set(request.Handle()), QEL_OK);
    const CResult result(request, c.config);
    EXPECT_EQ(result.Status(), c.status);
    EXPECT_EQ(result.Text(), c.text);
  }
}

TEST(CEdits, AnOptionIsSwitchedOffAgain) {
  const CRequest request("nginx", kTemplate);
  request.SetValue("name", "a", "b");
  EXPECT_EQ(qel_request_set_option(request.Handle(), QEL_ALL, 5, nullptr), QEL_OK);
  EXPECT_EQ(CResult(request, kTwo).Status(), QEL_OK);
  EXPECT_EQ(qel_request_set_option(request.Handle(), QEL_ALL, 0, nullptr), QEL_OK);
  EXPECT_EQ(CResult(request, kTwo).Status(), QEL_REFUSED);
}

TEST(CEdits, QuoteOrKeepValues) {
  struct Case {
    const char* name;
    std::function<qel_status(qel_request)> set;
    std::string root;
  };
  const Case cases[] = {
      {"a text",
       [](qel_request request) { return qel_request_set_option(request, QEL_QUOTE, 1, nullptr); },
       "\"/b c\""},
      {"as it is", [](qel_request request) { return qel_request_raw(request, "r", 1, nullptr); },
       "/b c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const CRequest request("nginx", "server {\nroot {% $r %};\n}\n");
    request.SetValue("r", "/a", "/b c");
    ASSERT_EQ(c.set(request.Handle()), QEL_OK);
    EXPECT_EQ(CResult(request, "server {\nroot /a;\n}\n").Text(),
              "server {\nroot " + c.root + ";\n}\n");
  }
}

TEST(CEdits, ForceRefusalsByTheirNames) {
  const CRequest request("nginx", "server {\nroot /b;\n}\n");
  const std::string config = "server {\nroot /a;\n}\n";
  const CResult refused(request, config);
  ASSERT_EQ(refused.Status(), QEL_REFUSED);
  ASSERT_EQ(qel_finding_can_be_forced(refused.Handle(), QEL_REFUSALS, 0), 1);
  const std::string name = refused.Get(qel_finding_name, QEL_REFUSALS, 0);
  EXPECT_EQ(qel_request_force(request.Handle(), name.data(), name.size(), nullptr), QEL_OK);
  EXPECT_EQ(CResult(request, config).Status(), QEL_OK);
}

// --- Imports ---

constexpr char kImporting[] = "server {\nserver_name a;\n{% import part %}\n}\n";
constexpr char kImported[] = "server {\n  server_name a;\n\n  root /a;  # ours\n  expires 1d;\n}\n";

TEST(CEditImports, ThereIsNoneToBeginWith) {
  EXPECT_EQ(CResult(CRequest("nginx", kImporting), kConfig).Status(), QEL_REFUSED);
}

TEST(CEditImports, AreReadBelowAFolder) {
  const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "c_edit_imports";
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "part") << "expires 1d;\n";
  const CRequest request("nginx", kImporting);
  EXPECT_EQ(qel_request_import_below(request.Handle(), folder.c_str(), QEL_NUL, nullptr), QEL_OK);
  EXPECT_EQ(CResult(request, kConfig).Text(), kImported);
  EXPECT_EQ(qel_request_import_below(request.Handle(), nullptr, 0, nullptr), QEL_OK);
  EXPECT_EQ(CResult(request, kConfig).Status(), QEL_REFUSED);
  CError error;
  const std::string none = folder / "none";
  EXPECT_EQ(qel_request_import_below(request.Handle(), none.c_str(), QEL_NUL, error.Out()),
            QEL_FILE_ERROR);
  EXPECT_EQ(error.Message(), "file: folder (filename=" + none + ")");
  std::filesystem::remove_all(folder);
}

struct Asked {
  std::string name;
  std::string file;
  size_t line = 0;
  qel_import import = 0;
  int released = 0;
};

TEST(CEditImports, AreReadAgainForEachEdit) {
  const std::filesystem::path folder =
      std::filesystem::path(testing::TempDir()) / "c_imports_again";
  std::filesystem::create_directories(folder);
  const CRequest request("nginx", "server {\n{% import part %}\n}\n");
  EXPECT_EQ(qel_request_import_below(request.Handle(), folder.c_str(), QEL_NUL, nullptr), QEL_OK);
  for (const std::string line : {"gzip on;", "gzip off;"}) {
    std::ofstream(folder / "part") << line << '\n';
    EXPECT_EQ(CResult(request, "server {\n}\n").Text(), "server {\n\t" + line + "\n}\n");
  }
  std::filesystem::remove_all(folder);
}

TEST(CEditImports, AreAskedFor) {
  Asked asked;
  const CRequest request("nginx", kImporting);
  const auto importer = [](void* context, qel_import import, const char* name, size_t name_size,
                           const char* file, size_t file_size, size_t line) {
    auto& to = *static_cast<Asked*>(context);
    to.name.assign(name, name_size);
    to.file.assign(file, file_size);
    to.line = line;
    to.import = import;
    EXPECT_EQ(qel_import_found(import, "the part", 8, "expires 1d;\n", 12, nullptr), QEL_OK);
  };
  const auto release = [](void* context) { ++static_cast<Asked*>(context)->released; };
  ASSERT_EQ(qel_request_set_importer(request.Handle(), importer, &asked, release, nullptr), QEL_OK);
  EXPECT_EQ(CResult(request, kConfig).Text(), kImported);
  EXPECT_EQ(asked.name, "part");
  EXPECT_EQ(asked.file, "site.template");
  EXPECT_EQ(asked.line, 3U);
  EXPECT_EQ(asked.released, 0);
  EXPECT_EQ(qel_import_found(asked.import, "", 0, "", 0, nullptr), QEL_BAD_HANDLE) << "it is over";
  EXPECT_EQ(qel_import_problem(asked.import, "x", 1, nullptr), QEL_BAD_HANDLE);
  EXPECT_EQ(qel_request_set_importer(request.Handle(), nullptr, nullptr, nullptr, nullptr), QEL_OK);
  EXPECT_EQ(asked.released, 1);
  EXPECT_EQ(qel_request_set_importer(0, importer, &asked, release, nullptr), QEL_BAD_HANDLE);
  EXPECT_EQ(asked.released, 2) << "at once, when the call fails";
}

TEST(CEditImports, MayFail) {
  const CRequest request("nginx", kImporting);
  const qel_importer answers[] = {
      [](void*, qel_import, const char*, size_t, const char*, size_t, size_t) {},
      [](void*, qel_import import, const char*, size_t, const char*, size_t, size_t) {
        EXPECT_EQ(qel_import_problem(import, "the disk is gone", 16, nullptr), QEL_OK);
      }};
  const char* const said[] = {"part", "the disk is gone"};
  for (size_t i = 0; i < 2; ++i) {
    SCOPED_TRACE(said[i]);
    qel_request_set_importer(request.Handle(), answers[i], nullptr, nullptr, nullptr);
    const CResult result(request, kConfig);
    ASSERT_EQ(result.Status(), QEL_REFUSED);
    EXPECT_EQ(result.Get(qel_finding_name, QEL_REFUSALS, 0), "import");
    EXPECT_THAT(result.Get(qel_finding_said, QEL_REFUSALS, 0), HasSubstr(said[i]));
  }
}

TEST(CEditImports, MayUseTheRequestButNotChangeIt) {
  static qel_request handle;
  static std::vector<qel_status> answers;
  answers.clear();
  const CRequest request("nginx", kImporting);
  handle = request.Handle();
  qel_request_set_importer(
      handle,
      [](void*, qel_import import, const char*, size_t, const char*, size_t, size_t) {
        answers.push_back(qel_request_set_value(handle, "", 0, "", 0, "", 0, nullptr));
        answers.push_back(qel_request_set_option(handle, QEL_ALL, 1, nullptr));
        answers.push_back(qel_request_set_importer(handle, nullptr, nullptr, nullptr, nullptr));
        CText linted;
        if (answers.size() < 10)
          answers.push_back(qel_lint(handle, 0, linted.Out(), nullptr, nullptr));
        qel_import_found(import, "part", 4, "expires 1d;\n", 12, nullptr);
      },
      nullptr, nullptr, nullptr);
  EXPECT_EQ(CResult(request, kConfig).Text(), kImported);
  ASSERT_GE(answers.size(), 3U);
  EXPECT_EQ(answers[0], QEL_BUSY);
  EXPECT_EQ(answers[1], QEL_BUSY);
  EXPECT_EQ(answers[2], QEL_BUSY);
  EXPECT_THAT(answers, testing::Contains(QEL_OK)) << "it may be looked at";
}

// --- JSON ---

TEST_F(CEdit, AsJson) {
  CText text;
  ASSERT_EQ(qel_result_json(CResult(m_request, kTwo).Handle(), text.Out(), text.Size(), nullptr),
            QEL_OK);
  const json result = json::parse(text.Str());
  EXPECT_EQ(result["refused"], true);
  EXPECT_EQ(result["changed"], false);
  EXPECT_EQ(result["refusals"][0]["name"], "ambiguous");
  EXPECT_EQ(result["refusals"][0]["remedies"], json::array({"all"}));
}

TEST_F(CEdit, IsExplained) {
  CText text;
  EXPECT_EQ(qel_explain(m_request.Handle(), kConfig, QEL_NUL, "site.conf", QEL_NUL, text.Out(),
                        text.Size(), nullptr),
            QEL_OK);
  const json explained = json::parse(text.Str());
  EXPECT_EQ(explained["config"], "site.conf");
  EXPECT_EQ(explained["template"], "site.template");
  EXPECT_EQ(explained["template_lines"][1]["action"], "changed");
  CText refused;
  EXPECT_EQ(qel_explain(m_request.Handle(), kTwo, QEL_NUL, "site.conf", QEL_NUL, refused.Out(),
                        refused.Size(), nullptr),
            QEL_REFUSED);
  EXPECT_EQ(json::parse(refused.Str())["refusals"][0]["name"], "ambiguous");
}

TEST(CEdits, TemplatesAreLinted) {
  const CRequest request("nginx", "server {\nserver_name {% $name %};\nroot {% $r %}\n}\n");
  request.SetValue("name", nullptr, nullptr);
  const auto warnings = [&](int all_values) {
    CText text;
    EXPECT_EQ(qel_lint(request.Handle(), all_values, text.Out(), text.Size(), nullptr), QEL_OK);
    return json::parse(text.Str())["warnings"];
  };
  ASSERT_GT(warnings(0).size(), 0U);
  EXPECT_EQ(warnings(0)[0]["template_place"]["line"], 3);
  EXPECT_GT(warnings(1).size(), warnings(0).size());
}

TEST(CEdits, ConfigurationsAreInspected) {
  const auto inspected = [](const char* dialect, const char* config) {
    CText text;
    EXPECT_EQ(qel_inspect(dialect, QEL_NUL, config, QEL_NUL, "site.conf", QEL_NUL, text.Out(),
                          text.Size(), nullptr),
              QEL_OK);
    return json::parse(text.Str());
  };
  for (const char* dialect : {"nginx", static_cast<const char*>(nullptr)}) {
    const json tree = inspected(dialect, kConfig);
    EXPECT_EQ(tree["config"], "site.conf");
    EXPECT_EQ(tree["dialect"], "nginx");
    EXPECT_EQ(tree["blocks"][0]["server"]["names"], json::array({"a"}));
  }
  EXPECT_TRUE(inspected("nginx", "server {").contains("error"));
  CText text;
  CError error;
  EXPECT_EQ(qel_inspect(nullptr, 0, "", 0, "", 0, text.Out(), nullptr, error.Out()),
            QEL_UNKNOWN_DIALECT);
  EXPECT_EQ(error.Message(), "dialect: unknown (known=apache, nginx)");
  EXPECT_EQ(qel_inspect("x", 1, "", 0, "", 0, text.Out(), nullptr, nullptr), QEL_UNKNOWN_DIALECT);
}

// --- Errors ---

TEST_F(CEdit, AnswersWhatStandsForNothing) {
  const qel_request request = m_request.Handle();
  qel_request made = 7;
  qel_result result = 7;
  struct Case {
    const char* message;
    std::function<qel_status(qel_error*)> call;
  };
  const Case cases[] = {
      {"null (name=dialect)",
       [&](qel_error* e) { return qel_request_new(nullptr, 0, "", 0, "", 0, &made, e); }},
      {"null (name=template_text)",
       [&](qel_error* e) { return qel_request_new("nginx", 5, nullptr, 0, "", 0, &made, e); }},
      {"null (name=template_name)",
       [&](qel_error* e) { return qel_request_new("nginx", 5, "", 0, nullptr, 0, &made, e); }},
      {"null (name=request)",
       [&](qel_error* e) { return qel_request_new("nginx", 5, "", 0, "", 0, nullptr, e); }},
      {"null (name=name)",
       [&](qel_error* e) { return qel_request_set_value(request, nullptr, 0, "", 0, "", 0, e); }},
      {"unknown (name=option, value=0)",
       [&](qel_error* e) { return qel_request_set_option(request, 0, 1, e); }},
      {"unknown (name=option, value=5)",
       [&](qel_error* e) { return qel_request_set_option(request, 5, 1, e); }},
      {"unknown (name=create, value=3)",
       [&](qel_error* e) { return qel_request_set_create(request, 3, e); }},
      {"null (name=refusal)",
       [&](qel_error* e) { return qel_request_force(request, nullptr, 0, e); }},
      {"unknown (name=refusal, value=ambiguous)",
       [&](qel_error* e) { return qel_request_force(request, "ambiguous", QEL_NUL, e); }},
      {"null (name=name)", [&](qel_error* e) { return qel_request_raw(request, nullptr, 0, e); }},
      {"null (name=name)",
       [&](qel_error* e) { return qel_request_read_old(request, nullptr, 0, e); }},
      {"null (name=name)",
       [&](qel_error* e) { return qel_request_must_use(request, nullptr, 0, e); }},
      {"null (name=config)",
       [&](qel_error* e) { return qel_edit(request, nullptr, 0, "", 0, &result, e); }},
      {"null (name=name)",
       [&](qel_error* e) { return qel_edit(request, "", 0, nullptr, 0, &result, e); }},
      {"null (name=result)",
       [&](qel_error* e) { return qel_edit(request, "", 0, "", 0, nullptr, e); }},
      {"null (name=json)",
       [&](qel_error* e) { return qel_explain(request, "", 0, "", 0, nullptr, nullptr, e); }},
      {"null (name=json)", [&](qel_error* e) { return qel_lint(request, 0, nullptr, nullptr, e); }},
      {"null (name=json)",
       [](qel_error* e) { return qel_inspect("nginx", 5, "", 0, "", 0, nullptr, nullptr, e); }},
      {"null (name=config)",
       [&](qel_error* e) {
         CText text;
         return qel_inspect("nginx", 5, nullptr, 0, "", 0, text.Out(), nullptr, e);
       }},
      {"null (name=json)",
       [&](qel_error* e) {
         return qel_result_json(CResult(m_request, kConfig).Handle(), nullptr, nullptr, e);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    CError error;
    EXPECT_EQ(c.call(error.Out()), QEL_BAD_ARGUMENT);
    EXPECT_EQ(error.Message(), "argument: " + std::string(c.message));
    EXPECT_EQ(c.call(nullptr), QEL_BAD_ARGUMENT);
  }
  EXPECT_EQ(made, 0U);
  EXPECT_EQ(result, 0U);
}

TEST_F(CEdit, AnswersBadHandles) {
  qel_request freed = 0;
  ASSERT_EQ(qel_request_new("nginx", 5, "", 0, "", 0, &freed, nullptr), QEL_OK);
  ASSERT_EQ(qel_request_free(freed), QEL_OK);
  const CResult a_result(m_request, kConfig);
  const std::uint64_t handles[] = {0, freed, 1ULL << 60, a_result.Handle()};
  for (const std::uint64_t handle : handles) {
    SCOPED_TRACE(handle);
    CText text;
    qel_result result = 7;
    EXPECT_EQ(qel_request_set_value(handle, "", 0, "", 0, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_request_read_old(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_request_set_option(handle, QEL_ALL, 1, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_request_set_create(handle, 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_request_force(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_request_raw(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_request_must_use(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_request_import_below(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_edit(handle, "", 0, "", 0, &result, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(qel_explain(handle, "", 0, "", 0, text.Out(), nullptr, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_lint(handle, 0, text.Out(), nullptr, nullptr), QEL_BAD_HANDLE);
    CError error;
    EXPECT_EQ(qel_request_raw(handle, "", 0, error.Out()), QEL_BAD_HANDLE);
    EXPECT_EQ(error.Message(), "handle: unknown (name=request)");
    if (handle != a_result.Handle()) {
      EXPECT_EQ(qel_request_free(handle), handle == 0 ? QEL_OK : QEL_BAD_HANDLE);
    }
  }
  EXPECT_EQ(qel_request_free(a_result.Handle()), QEL_BAD_HANDLE);
}

TEST_F(CEdit, ResultsThatAreNoneAreEmpty) {
  qel_result freed = 0;
  ASSERT_EQ(qel_edit(m_request.Handle(), kTwo, QEL_NUL, "", 0, &freed, nullptr), QEL_REFUSED);
  ASSERT_EQ(qel_result_free(freed), QEL_OK);
  const CResult refused(m_request, kTwo);
  struct Case {
    const char* name;
    qel_result result;
    int kind;
    size_t index;
  };
  const Case cases[] = {{"no handle", 0, QEL_REFUSALS, 0},
                        {"a freed one", freed, QEL_REFUSALS, 0},
                        {"a request", m_request.Handle(), QEL_REFUSALS, 0},
                        {"no such kind", refused.Handle(), 2, 0},
                        {"no such kind", refused.Handle(), -1, 0},
                        {"none of them", refused.Handle(), QEL_WARNINGS, 0},
                        {"a large index", refused.Handle(), QEL_REFUSALS, 1},
                        {"the largest one", refused.Handle(), QEL_REFUSALS, SIZE_MAX}};
  for (const auto& [name, result, kind, index] : cases) {
    SCOPED_TRACE(name);
    for (const auto text : {qel_finding_said, qel_finding_name, qel_finding_message,
                            qel_finding_hint, qel_finding_template_file}) {
      size_t size = 7;
      EXPECT_STREQ(text(result, kind, index, &size), "");
      EXPECT_EQ(size, 0U);
    }
    EXPECT_STREQ(qel_finding_config_file(result, kind, index, 0, nullptr), "");
    EXPECT_STREQ(qel_finding_value(result, kind, index, 0, nullptr), "");
    for (const auto number : {qel_finding_template_line, qel_finding_template_column,
                              qel_finding_config_count, qel_finding_value_count}) {
      EXPECT_EQ(number(result, kind, index), 0U);
    }
    EXPECT_EQ(qel_finding_config_line(result, kind, index, 0), 0U);
    EXPECT_EQ(qel_finding_config_column(result, kind, index, 0), 0U);
    for (const auto flag :
         {qel_finding_in_result, qel_finding_remedies, qel_finding_can_be_forced}) {
      EXPECT_EQ(flag(result, kind, index), 0);
    }
    EXPECT_EQ(qel_result_change_line(result, SIZE_MAX), 0U);
    EXPECT_EQ(qel_result_change_lines(result, SIZE_MAX), 0U);
    EXPECT_EQ(qel_result_change_place_count(result, SIZE_MAX), 0U);
    EXPECT_EQ(qel_result_change_place_line(result, SIZE_MAX, 0), 0U);
    EXPECT_STREQ(qel_result_change_text(result, SIZE_MAX, nullptr), "");
    EXPECT_STREQ(qel_result_change_place_file(result, SIZE_MAX, 0, nullptr), "");
  }
  EXPECT_EQ(refused.Get(qel_finding_config_file, QEL_REFUSALS, 0, 2), "");
  EXPECT_EQ(refused.Get(qel_finding_value, QEL_REFUSALS, 0, 0), "");
  for (const qel_result none : {qel_result{0}, freed}) {
    CText text;
    EXPECT_STREQ(qel_result_text(none, nullptr), "");
    EXPECT_EQ(qel_result_changed(none), 0);
    EXPECT_EQ(qel_result_skipped(none), 0);
    EXPECT_EQ(qel_result_change_count(none), 0U);
    EXPECT_EQ(qel_finding_count(none, QEL_REFUSALS), 0U);
    EXPECT_EQ(qel_result_json(none, text.Out(), nullptr, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_result_free(none), none == 0 ? QEL_OK : QEL_BAD_HANDLE);
  }
}

// --- Threads ---

TEST_F(CEdit, OneRequestServesManyThreads) {
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 50; ++j) {
        if (CResult(m_request, kConfig).Text() == WithName("b")) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 400);
}

// Each edit is made with one of the values, or not at all.
TEST_F(CEdit, ChangesMeanwhileAreBusyOrWhole) {
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  std::thread editor([&] {
    while (!done) {
      qel_result result = 0;
      const qel_status status =
          qel_edit(m_request.Handle(), kConfig, QEL_NUL, "", 0, &result, nullptr);
      const std::string text = qel_result_text(result, nullptr);
      if (status != QEL_BUSY && text != WithName("b") && text != WithName("c")) ++wrong;
      qel_result_free(result);
    }
  });
  int set = 0;
  while (set < 100) {
    const char* const name = set % 2 == 0 ? "c" : "b";
    const qel_status status =
        qel_request_set_value(m_request.Handle(), "name", 4, "a", 1, name, 1, nullptr);
    if (status == QEL_OK) ++set;
    if (status != QEL_OK && status != QEL_BUSY) ++wrong;
  }
  done = true;
  editor.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
