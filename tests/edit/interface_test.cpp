// SPDX-License-Identifier: Apache-2.0

// Whatever a caller puts into a request: an edit has an answer.

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "edit/edit.h"
#include "edit/edit_case.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {
namespace {

using namespace std::string_literals;

const std::string kSite = "server {\n\tserver_name a;\n\troot /a;\n}\n";

std::string Server(const std::string& lines) {
  return "server {\nserver_name a;\n" + lines + "}\n";
}

Request RequestWith(const std::string& template_text, const NamedValues& values = {}) {
  return RequestOf(Dialect::kNginx, Case{"", "", template_text, values, ""});
}

bool HoldsControl(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) < 0x20 && byte != '\t') || byte == 0x7f;
  });
}

void ExpectNoControls(const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) {
    EXPECT_FALSE(HoldsControl(Shown(finding))) << Shown(finding);
  }
}

// --- Names ---

const std::vector<std::string> kOddNames = {"",
                                            " ",
                                            "$",
                                            "a b",
                                            "a\nb",
                                            "\0"s,
                                            "a\0b"s,
                                            "\x01",
                                            "{%",
                                            "%}x",
                                            "[%",
                                            "or",
                                            "import",
                                            "-",
                                            "\x1b[2J",
                                            "\xff\xfe",
                                            "\x7f",
                                            "\"a\"",
                                            "\xef\xbb\xbf",
                                            std::string(5000, 'n')};

TEST(NamesOfValues, AreAnyBytes) {
  for (const std::string& name : kOddNames) {
    SCOPED_TRACE(Quoted(name));
    for (const std::string& lines : {"root {% $" + name + " %};\n", "root [% $" + name + " %];\n",
                                     "{% if $" + name + " == /b %}\nroot /b;\n{% endif %}\n",
                                     "{% import [% $" + name + " %] %}\n", "root /b;\n"s}) {
      for (const char* const value : {"/b", "b; evil on", "\x1b[2J", ""}) {
        Request request = RequestWith(Server(lines), {{name, "/a", value}});
        request.must_be_used = {name};
        const Result result = RecordedEdit(request, kSite, "site.conf");
        ExpectNoControls(result.refusals);
        ExpectNoControls(result.warnings);
        EXPECT_EQ(result.text.find("evil"), std::string::npos);
        if (!result.refusals.empty()) {
          EXPECT_EQ(result.text, kSite);
        }
        const Explained explained = Explain(request, kSite, "site.conf");
        EXPECT_EQ(AllOf(explained.result.refusals), AllOf(result.refusals));
        Findings findings;
        Prototype(request, findings);
        ExpectNoControls(findings.refusals);
      }
    }
  }
}

TEST(NamesOfFiles, AreAnyBytes) {
  std::size_t said = 0;
  for (const std::string& name : kOddNames) {
    SCOPED_TRACE(Quoted(name));
    // Each has something to be said.
    for (const char* const text :
         {"server {\n", "server {\nserver_name b;\nroot {% $none %};\n}\n", "{% import x %}\n",
          "server {\nserver_name {% $v %};\nlisten 80;\n}\n", "}\n"}) {
      Request request = RequestWith(text, {{"v", "c", "d"}});
      request.template_name = name;
      request.must_be_used = {"none"};
      request.importer = [&](const std::string&, const FilePlace& from) {
        EXPECT_EQ(from.file, name) << "as the caller knows it";
        return ImportedFile{name, "no semicolon\n"};
      };
      for (const char* const config :
           {"server {\n}\n", "server {\n", "server {\n}\nserver {\n}\n"}) {
        const Result result = RecordedEdit(request, config, name);
        said += result.refusals.size();
        ExpectNoControls(result.refusals);
        ExpectNoControls(result.warnings);
        const Explained explained = Explain(request, config, name);
        EXPECT_EQ(AllOf(explained.result.refusals), AllOf(result.refusals));
      }
    }
  }
  EXPECT_GT(said, 10 * kOddNames.size());
}

// Other languages do not let one force what is none.
TEST(NamesThatNobodyKnows, DoNotMatter) {
  Request request = RequestWith(Server("root {% $r %};\n"), {{"r", "/a", "/b"}});
  request.forced = {"", "fault", "value", "ambiguous", "no such reason"};
  request.raw = {"", "nobody"};
  EXPECT_EQ(Edit(request, kSite, "site.conf").text, With(kSite, "/a", "/b"));
  request.values["r"].new_value = "/b; evil on";
  const Result result = Edit(request, kSite, "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U);
  EXPECT_EQ(result.refusals[0].name, "value") << "no such refusal is forced";
}

// --- Texts ---

TEST(Texts, EndWhereTheyEnd) {
  const Request request = RequestWith(Server("root {% $r %};\n"), {{"r", "/a", "/b"}});
  for (std::size_t size = 0; size <= kSite.size(); ++size) {
    const std::vector<char> bytes(kSite.begin(), kSite.begin() + static_cast<std::ptrdiff_t>(size));
    const std::string_view text(bytes.data(), bytes.size());
    const Result result = RecordedEdit(request, text, "site.conf");
    if (!result.refusals.empty()) {
      EXPECT_EQ(result.text, text);
    }
  }
}

TEST(Texts, AreAnyBytes) {
  int edits = 0;
  for (int byte = 0; byte < 256; ++byte) {
    const std::string odd(1, static_cast<char>(byte));
    SCOPED_TRACE(byte);
    for (const Dialect dialect : {Dialect::kNginx, Dialect::kApache}) {
      for (const std::string& line : {odd, "root " + odd + ";", odd + "{% $v %};", "{%" + odd,
                                      "{% $" + odd + " %};", "x {% $v %}" + odd}) {
        Request request = RequestWith("server {\n" + line + "\n}\n", {{"v", kNone, odd}});
        request.dialect = dialect;
        for (const std::string& config : {kSite, line, line + "\n" + kSite}) {
          for (const bool quote : {false, true}) {
            request.quote = quote;
            // One of seven, in each way to say it, is enough for other languages.
            const Result result = ++edits % 7 == 0 ? RecordedEdit(request, config, "site.conf")
                                                   : Edit(request, config, "site.conf");
            ExpectNoControls(result.refusals);
            if (!result.refusals.empty()) {
              EXPECT_EQ(result.text, config);
            }
          }
        }
      }
    }
  }
}

TEST(EmptyRequests, ChangeNothing) {
  for (const std::string& config : {""s, kSite, "\n"s, "server {"s}) {
    Request request;
    request.forced = {"syntax"};
    EXPECT_EQ(EditedText(request, config), config);
  }
}

// --- Importers ---

TEST(AnImporter, MayCallOneFileByTwoNames) {
  Request request = RequestWith("{% import a %}\n{% import b %}\n");
  request.importer = [](const std::string& name, const FilePlace&) {
    return ImportedFile{"same", name + "_zone on;\n"};
  };
  const Result result = RecordedEdit(request, "", "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
  EXPECT_EQ(result.refusals[0].name, "import");
  EXPECT_EQ(Shown(result.refusals[0]).substr(0, 18), "site.template:2:4:");
}

TEST(AnImporter, MayGiveTheTemplateItself) {
  Request request = RequestWith("gzip on;\n{% import site.template %}\n");
  request.importer = [&](const std::string& name, const FilePlace&) {
    return ImportedFile{name, request.template_text};
  };
  const Result result = RecordedEdit(request, "", "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
  EXPECT_EQ(result.refusals[0].name, "import");
}

TEST(AnImporter, MayEdit) {
  const Request other = RequestWith("gzip {% $v %};\n", {{"v", kNone, "on"}});
  Request request = RequestWith("{% import x %}\netag off;\n");
  request.importer = [&](const std::string& name, const FilePlace&) {
    return ImportedFile{name, EditedText(other, "")};
  };
  EXPECT_EQ(EditedText(request, ""), "gzip on;\netag off;\n");
}

TEST(AnImporter, MayThrow) {
  Request request = RequestWith("{% import x %}\ngzip on;\n");
  bool throws = true;
  request.importer = [&](const std::string& name, const FilePlace&) {
    if (throws) throw std::runtime_error("no");
    return ImportedFile{name, ""};
  };
  EXPECT_THROW(Edit(request, "", "site.conf"), std::runtime_error);
  EXPECT_THROW(Explain(request, "", "site.conf"), std::runtime_error);
  throws = false;
  EXPECT_EQ(EditedText(request, ""), "gzip on;\n");
}

TEST(AnImporter, MayGiveTheNameOfNothing) {
  Request request = RequestWith("{% import x %}\n");
  request.importer = [](const std::string&, const FilePlace&) {
    return ImportedFile{"", "no semicolon\n"};
  };
  const Result result = RecordedEdit(request, "", "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U);
  EXPECT_EQ(Shown(result.refusals[0]).substr(0, 6), ":1:1: ");
}

// --- Threads ---

TEST(OneRequest, IsCarriedOutByManyThreads) {
  Request request = RequestWith(Server("root {% $r %};\n{% import x %}\n"), {{"r", "/a", "/b"}});
  request.importer = [](const std::string& name, const FilePlace&) {
    return ImportedFile{name, "gzip on;\n"};
  };
  std::vector<std::string> edited(8);
  std::vector<std::thread> threads;
  for (std::string& text : edited) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) text = Edit(request, kSite, "site.conf").text;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& text : edited) {
    EXPECT_EQ(text, With(kSite, "/a;\n", "/b;\n\tgzip on;\n"));
  }
}

}  // namespace
}  // namespace tov_edit
