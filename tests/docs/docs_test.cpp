// SPDX-License-Identifier: Apache-2.0

// What the pages of the documentation show of the library is what it does. Those of the program are
// in program_test.cpp.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cli/sandbox.h"
#include "cli/values_file.h"
#include "docs/page.h"
#include "golden/golden_case.h"
#include "template/framework/str.h"
#include "template/qeltemplate.h"

namespace {

const std::filesystem::path kDocs = QELTEMPLATE_SOURCE_DIR "/docs";
const std::vector<std::string> kPages = {"language", "engine"};

using tov_template::ParserTemplate;

ParserTemplate MakeParser(const Example& example, const std::string& config) {
  return ParserTemplate(
      tov_template::GetConfigType(example.dialect == "nginx" ? "Nginx" : "Apache", config));
}

tov_template::Value ValueOf(const std::optional<std::string>& text) {
  return text ? tov_template::Value(*text) : tov_template::Value(tov_template::NullValue());
}

// The example as the page states it; imports are looked up in a folder of its own.
void ExpectShown(const Example& example) {
  const Sandbox sandbox;
  for (const auto& [name, content] : example.files) sandbox.Write(name, content + "\n");
  std::filesystem::current_path(sandbox.PathOf(""));
  ParserTemplate parser = MakeParser(example, example.before);
  for (const auto& [name, value] : cli::ParseValues(example.values, "values")) {
    parser.SetValue(name, ValueOf(value.old_value), ValueOf(value.new_value));
  }
  std::string error;
  try {
    parser.SetTemplate(example.template_text).ApplyTemplate();
  } catch (const tov_err::Error& thrown) {
    error = str::Replace(thrown.what(), sandbox.PathOf(""), "");
  }
  EXPECT_EQ(error, example.error.value_or(""));
  EXPECT_EQ(parser.GetConfig(), example.library.value_or(example.after));
  EXPECT_EQ(parser.GetPrototype(), example.prototype.value_or(parser.GetPrototype()));
}

class Shown : public testing::Test {
 public:
  Shown(std::filesystem::path page, Example example)
      : m_page(std::move(page)), m_example(std::move(example)) {}

  void TestBody() override {
    const testing::ScopedTrace trace(m_page.c_str(), m_example.line, "the example");
    ExpectShown(m_example);
  }

 private:
  const std::filesystem::path m_page;
  const Example m_example;
};

class Malformed : public testing::Test {
 public:
  explicit Malformed(std::string problem) : m_problem(std::move(problem)) {}
  void TestBody() override { FAIL() << m_problem; }

 private:
  const std::string m_problem;
};

// One test for each example, named after its heading and its place below it, so that a page that is
// edited elsewhere keeps its names.
void RegisterPage(const std::string& name) {
  const std::filesystem::path page = kDocs / (name + ".md");
  const std::string suite = "Docs_" + name;
  try {
    std::string heading;
    int number = 0;
    for (const Example& example : ReadExamples(page)) {
      number = example.heading == heading ? number + 1 : 1;
      heading = example.heading;
      const std::string test = TestName(heading) + "_" + std::to_string(number);
      testing::RegisterTest(suite.c_str(), test.c_str(), nullptr, nullptr, page.c_str(),
                            example.line,
                            [=]() -> testing::Test* { return new Shown(page, example); });
    }
  } catch (const std::runtime_error& error) {
    const std::string problem = error.what();
    testing::RegisterTest(suite.c_str(), "CanBeRead", nullptr, nullptr, __FILE__, __LINE__,
                          [=]() -> testing::Test* { return new Malformed(problem); });
  }
}

// What ReadExamples says about a page that holds `text`, without the page's name.
std::string ProblemOf(const std::string& text) {
  const Sandbox sandbox;
  sandbox.Write("page.md", text);
  try {
    ReadExamples(sandbox.PathOf("page.md"));
  } catch (const std::runtime_error& error) {
    return str::Replace(error.what(), sandbox.PathOf("page.md"), "");
  }
  return "";
}

TEST(Docs, RefusesAPageThatIsMalformed) {
  struct Case {
    const char* name;
    const char* text;
    const char* problem;
  };
  const Case cases[] = {
      {"well-formed", "```nginx\na\n```\n```json\n{}\n```\n```diff\n-a\n+b\n```\n", ""},
      {"no values", "```nginx\na\n```\n\nbecomes\n\n```diff\n a\n```\n", ""},
      {"with a prototype", "```nginx\n```\n```diff\n a\n```\n```prototype\nb\n```\n", ""},
      {"an error", "The file `x`:\n\n```file\n```\n```nginx\n```\n```error\nc\n```\n", ""},
      {"no examples", "text\n", ":1: the page has no examples"},
      {"no example but other blocks", "```sh\nls\n```\n", ":3: the page has no examples"},
      {"a block that never ends", "\n```nginx\na\n", ":2: the block never ends"},
      {"no result", "```nginx\n```\ntext\n", ":1: the example has no result"},
      {"two templates", "```nginx\n```\n```apache\n```\n", ":3: the example before has no result"},
      {"values twice", "```nginx\n```\n```json\n```\n```json\n```\n",
       ":5: values without a template"},
      {"with options", "```nginx\n```\n```options\n--all\n```\n```diff\n a\n```\n", ""},
      {"options alone", "```options\n--all\n```\n", ":1: options without a template"},
      {"refused", "```nginx\n```\n```diff\n a\n```\n```refused\nb\n```\n", ""},
      {"refused with a change", "```nginx\n```\n```diff\n-a\n```\n```refused\nb\n```\n",
       ":6: a refused edit changes nothing"},
      {"another result of the library",
       "```nginx\n```\n```diff\n a\n```\n```warning\n```\n```library\n-a\n+b\n```\n", ""},
      {"a result of the library for another text",
       "```nginx\n```\n```diff\n a\n```\n```library\n b\n```\n",
       ":6: not the configuration of the example"},
      {"values alone", "```json\n```\n", ":1: values without a template"},
      {"result alone", "```diff\n```\n", ":1: a result without a template"},
      {"prototype alone", "```prototype\n```\n", ":1: 'prototype' without a result"},
      {"prototype after another block",
       "```nginx\n```\n```diff\n```\n```sh\n```\n```prototype\n```\n",
       ":7: 'prototype' without a result"},
      {"no sign", "```nginx\n```\n```diff\n a\nb\n```\n", ":5: neither ' ' nor '-' nor '+'"},
      {"an empty line in a result", "```nginx\n```\n```diff\n\n```\n",
       ":4: neither ' ' nor '-' nor '+'"},
      {"a block of another kind", "```nginx\n```\n```sh\n```\n", ":3: 'sh' inside an example"},
      {"a file without a name", "The file:\n```file\n```\n",
       ":2: the line before does not end in the file's name"},
      {"an unknown language", "```ngnix\n```\n", ":1: unknown language 'ngnix'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ProblemOf(c.text), c.problem);
  }
}

// What engine.md says about a parser that is used for several edits.
TEST(Docs, OneParserForEachEdit) {
  struct Edit {
    tov_template::Value old_value;
    tov_template::Value new_value;
    const char* template_text;
  };
  struct Case {
    const char* name;
    const char* before;
    Edit first;
    Edit second;
    const char* after;
  };
  const tov_template::NullValue null;
  const char* const move = "server {\nserver_name a;\nlisten {% $x %}:80;\n}";
  const Case cases[] = {
      {"a null value does not unset the first site's",
       "server {\nserver_name a;\n}\nserver {\nserver_name b;\n}",
       {null, "/srv/a", "server {\nserver_name a;\nroot {% $x %};\n}"},
       {null, null, "server {\nserver_name b;\nroot {% $x %};\n}"},
       "server {\nserver_name a;\nroot /srv/a;\n}\nserver {\nserver_name b;\nroot /srv/a;\n}"},
      {"the second change of listen adds to the first",
       "server {\nserver_name a;\nlisten 10.0.0.1:80;\n}",
       {"10.0.0.1", "10.0.0.2", move},
       {"10.0.0.2", "10.0.0.3", move},
       "server {\nserver_name a;\n\tlisten 10.0.0.2:80;\n\tlisten 10.0.0.3:80;\n}"},
      {"a block with a new listen leaves its closing line",
       "server {\nserver_name a;\n}",
       {null, null, "server {\nserver_name a;\nlisten 80;\n}"},
       {null, null, "{% if $never %}\nserver {\nserver_name a;\n}\n{% endif %}"},
       "}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ParserTemplate parser(tov_template::GetConfigType("Nginx", c.before));
    for (const Edit* edit : {&c.first, &c.second}) {
      parser.SetValue("x", edit->old_value, edit->new_value)
          .SetTemplate(edit->template_text)
          .ApplyTemplate();
    }
    EXPECT_EQ(parser.GetConfig(), c.after);
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const std::string& page : kPages) RegisterPage(page);
  return RUN_ALL_TESTS();
}
