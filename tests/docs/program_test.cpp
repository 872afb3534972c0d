// SPDX-License-Identifier: Apache-2.0

// What the pages of the documentation show of the program is what it does: on the files that they
// show, and on messier ones. The real servers take the results.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cli/sandbox.h"
#include "docs/messy.h"
#include "docs/page.h"
#include "docs/plain_tree.h"
#include "golden/golden_case.h"
#include "server/apache_server.h"
#include "server/nginx_server.h"
#include "template/framework/str.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

const fs::path kRoot = QELTEMPLATE_SOURCE_DIR;
const Words kPages = {"cookbook", "matching", "language", "limits"};

// --- The program ---

// What `qeltemplate apply` makes of `config` by the example's template and values.
Outcome Apply(const Example& example, const std::string& config, const Words& options) {
  const Sandbox sandbox;
  for (const auto& [name, content] : example.files) sandbox.Write(name, content + "\n");
  sandbox.Write("site.template", example.template_text + "\n");
  sandbox.Write("values.json", example.values);
  sandbox.Write("site.conf", config);
  Words command = {QELTEMPLATE_PROGRAM, "apply",      "--dialect",
                   example.dialect,     "--template", "site.template"};
  if (example.values != "{}") command.insert(command.end(), {"--values", "values.json"});
  command.insert(command.end(), options.begin(), options.end());
  command.emplace_back("site.conf");
  Outcome outcome = sandbox.Run(command);
  outcome.err = str::Replace(outcome.err, sandbox.PathOf(""), "");
  return outcome;
}

// The options with which an edit may be carried out once more.
Words OptionsForAgain(const Words& options) {
  Words again;
  std::copy_if(options.begin(), options.end(), std::back_inserter(again), [](const auto& option) {
    return option != "--only-create" && option != "--must-exist";
  });
  return again;
}

// The findings in what the program has said, each on its line.
std::string FindingsIn(const std::string& said) {
  std::string findings;
  std::size_t begin = 0;
  for (std::size_t end = 0; begin < said.size(); begin = end + 1) {
    end = said.find('\n', begin);
    std::string line = said.substr(begin, end - begin);
    const std::string warning = "qeltemplate: warning: ";
    if (str::StartsWith(line, warning)) line = line.substr(warning.size());
    if (str::StartsWith(line, "qeltemplate: site.conf: not edited:")) continue;
    findings += (findings.empty() ? "" : "\n") + str::Trim(line);
  }
  return findings;
}

std::string WithEnd(const std::string& text) {
  return text.empty() ? "" : text + "\n";
}

// --- The servers ---

std::string NginxRefusalOf(const std::string& text, bool whole) {
  static const ServerFolder folder("nginx");
  const std::string head = "events {\n}\nhttp {\naccess_log off;\n";
  return NginxRefusal(folder, whole ? text : head + text + "}\n");
}

// "" when the server takes `text`. `whole`: it is nginx's whole configuration.
std::string RefusalOf(const std::string& dialect, const std::string& text, bool whole) {
  if (dialect == "nginx") return NginxRefusalOf(text, whole);
  static const ServerFolder folder("apache");
  return HttpdRefusal(folder,
                      {"mpm_event", "authz_core", "authz_host", "alias", "dir", "mime", "proxy",
                       "proxy_http", "socache_shmcb", "ssl"},
                      text);
}

// What the server takes before an edit it takes afterwards. A recipe's files it always takes.
void ExpectAccepted(const Example& example, bool is_recipe, const std::string& before,
                    const std::string& after, bool whole) {
  const std::string refusal = RefusalOf(example.dialect, before, whole);
  if (is_recipe) {
    EXPECT_EQ(refusal, "") << "before the edit";
  }
  if (refusal.empty()) {
    EXPECT_EQ(RefusalOf(example.dialect, after, whole), "") << "after the edit";
  }
}

// --- Judging ---

// The nodes of `nodes` that are also in `others`, as often as there, and in the order of both.
std::vector<PlainNode> InCommon(const std::vector<PlainNode>& nodes,
                                const std::vector<PlainNode>& others) {
  const auto same = [](const PlainNode& a, const PlainNode& b) {
    return a.words == b.words && a.depth == b.depth;
  };
  // How many there are from a node of each on.
  std::vector<std::vector<std::size_t>> most(nodes.size() + 1,
                                             std::vector<std::size_t>(others.size() + 1));
  for (std::size_t i = nodes.size(); i-- > 0;) {
    for (std::size_t k = others.size(); k-- > 0;) {
      most[i][k] = same(nodes[i], others[k]) ? most[i + 1][k + 1] + 1
                                             : std::max(most[i + 1][k], most[i][k + 1]);
    }
  }
  std::vector<PlainNode> common;
  for (std::size_t i = 0, k = 0; i < nodes.size() && k < others.size();) {
    if (same(nodes[i], others[k])) {
      common.push_back(nodes[i++]);
      ++k;
    } else if (most[i + 1][k] >= most[i][k + 1]) {
      ++i;
    } else {
      ++k;
    }
  }
  return common;
}

std::size_t CountInBoth(const std::vector<PlainNode>& nodes, const std::vector<PlainNode>& others) {
  std::map<std::pair<std::size_t, std::string>, std::size_t> left;
  for (const PlainNode& node : others) ++left[{node.depth, node.words}];
  return static_cast<std::size_t>(
      std::count_if(nodes.begin(), nodes.end(), [&](const PlainNode& node) {
        std::size_t& count = left[{node.depth, node.words}];
        if (count == 0) return false;
        --count;
        return true;
      }));
}

// What `before` and `after` both say has kept its order and its bytes.
void ExpectKept(const std::string& dialect, const std::string& before, const std::string& after) {
  const std::vector<PlainNode> old_nodes = ReadPlainTree(dialect, before);
  const std::vector<PlainNode> new_nodes = ReadPlainTree(dialect, after);
  const std::vector<PlainNode> kept = InCommon(old_nodes, new_nodes);
  EXPECT_EQ(kept.size(), CountInBoth(old_nodes, new_nodes)) << "in another order";
  std::vector<std::string> old_bytes;
  std::vector<std::string> new_bytes;
  for (const PlainNode& node : kept) old_bytes.push_back(node.bytes);
  for (const PlainNode& node : InCommon(new_nodes, old_nodes)) new_bytes.push_back(node.bytes);
  EXPECT_EQ(old_bytes, new_bytes);
}

// --- The tests ---

struct Shown {
  fs::path page;
  Example example;
  bool is_recipe = false;
};

class OnItsFile : public testing::Test {
 public:
  explicit OnItsFile(Shown shown) : m_shown(std::move(shown)) {}

  void TestBody() override {
    const Example& example = m_shown.example;
    const testing::ScopedTrace trace(m_shown.page.c_str(), example.line, "the example");
    const std::string before = WithEnd(example.before);
    const Outcome outcome = Apply(example, before, example.options);
    EXPECT_EQ(FindingsIn(outcome.err), example.refused.value_or(example.warning.value_or("")));
    if (example.refused) {
      EXPECT_EQ(outcome.out, "");
      EXPECT_EQ(outcome.exit_code, 4);
      return;
    }
    const std::string after = WithEnd(example.after);
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, after);
    EXPECT_EQ(Apply(example, after, OptionsForAgain(example.options)).out, after) << "once more";
    ExpectAccepted(example, m_shown.is_recipe, before, after, false);
  }

 private:
  const Shown m_shown;
};

// The edit of an example's messy file, which is exactly the example's own one, or is refused since
// the template does not say enough. A recipe says enough.
class OnAMessyFile : public testing::Test {
 public:
  OnAMessyFile(Shown shown, bool with_twin) : m_shown(std::move(shown)), m_with_twin(with_twin) {}

  void TestBody() override {
    const Example& example = m_shown.example;
    const testing::ScopedTrace trace(m_shown.page.c_str(), example.line, "the example");
    const MessyFile file = MakeMessy(example, m_with_twin);
    const testing::ScopedTrace text(__FILE__, __LINE__, "of\n" + file.before);
    const Outcome outcome = Apply(example, file.before, example.options);
    if (example.refused || outcome.exit_code == 4) return ExpectRefused(outcome);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
    const std::string& dialect = example.dialect;
    EXPECT_EQ(Meaning(dialect, outcome.out), Meaning(dialect, file.after)) << outcome.out;
    ExpectKept(dialect, file.before, outcome.out);
    EXPECT_NE(outcome.out.find(file.front), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find(file.back), std::string::npos) << outcome.out;
    ExpectOnce(outcome.out);
    ExpectAccepted(example, m_shown.is_recipe, file.before, outcome.out, file.whole);
  }

 private:
  void ExpectRefused(const Outcome& outcome) const {
    EXPECT_EQ(outcome.exit_code, 4);
    EXPECT_EQ(outcome.out, "");
    if (m_shown.example.refused) return;
    ExpectAmbiguous(outcome);
  }

  void ExpectAmbiguous(const Outcome& outcome) const {
    EXPECT_FALSE(m_shown.is_recipe) << outcome.err;
    EXPECT_NE(outcome.err.find("[ambiguous]"), std::string::npos) << outcome.err;
  }

  // Once more the edit changes nothing. What has told two blocks apart may be gone by it.
  void ExpectOnce(const std::string& edited) const {
    const Outcome outcome =
        Apply(m_shown.example, edited, OptionsForAgain(m_shown.example.options));
    if (outcome.exit_code == 4) return ExpectAmbiguous(outcome);
    EXPECT_EQ(outcome.out, edited) << "once more";
  }

  const Shown m_shown;
  const bool m_with_twin;
};

class Malformed : public testing::Test {
 public:
  explicit Malformed(std::string problem) : m_problem(std::move(problem)) {}
  void TestBody() override { FAIL() << m_problem; }

 private:
  const std::string m_problem;
};

template <typename Make>
void Register(const std::string& suite, const std::string& name, const Shown& shown,
              const Make& make) {
  testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, shown.page.c_str(),
                        shown.example.line, make);
}

// Whether the example is about all names of a site, so that one more changes what it shows.
bool ChangesAliases(const Example& example) {
  return std::any_of(example.diff.begin(), example.diff.end(), [](const std::string& line) {
    const std::string text = str::Trim(line.substr(1));
    return line.front() != ' ' && str::StartsWith(text, "server_name") &&
           std::count(text.begin(), text.end(), ' ') > 1;
  });
}

// The tests of an example, named after its heading and its place below it.
void RegisterExample(const std::string& suite, const std::string& name, const Shown& shown) {
  Register(suite, name, shown, [=]() -> testing::Test* { return new OnItsFile(shown); });
  if (shown.example.error || (!shown.is_recipe && ChangesAliases(shown.example))) return;
  for (const bool with_twin : {false, true}) {
    if (with_twin && !HasTwin(shown.example)) continue;
    Register(suite + (with_twin ? "_beside_a_redirect" : "_messy"), name, shown,
             [=]() -> testing::Test* { return new OnAMessyFile(shown, with_twin); });
  }
}

void RegisterPage(const std::string& name) {
  const fs::path page = kRoot / "docs" / (name + ".md");
  const std::string suite = "Docs_program_" + name;
  try {
    std::string heading;
    int number = 0;
    for (const Example& example : ReadExamples(page)) {
      number = example.heading == heading ? number + 1 : 1;
      heading = example.heading;
      RegisterExample(suite, TestName(heading) + "_" + std::to_string(number),
                      {page, example, name == "cookbook"});
    }
  } catch (const std::runtime_error& error) {
    const std::string problem = error.what();
    testing::RegisterTest(suite.c_str(), "CanBeRead", nullptr, nullptr, __FILE__, __LINE__,
                          [=]() -> testing::Test* { return new Malformed(problem); });
  }
}

// --- The judges ---

TEST(PlainTree, SaysWhatATextMeans) {
  struct Case {
    const char* name;
    const char* dialect;
    const char* text;
    const char* meaning;
  };
  const Case cases[] = {
      {"two on a line", "nginx", "b 1;a\n2;", "a 2\nb 1\n"},
      {"a block", "nginx", "http{x;server\n{ listen  80; } }",
       "http\n  server\n    listen 80\n  x\n"},
      {"quotes", "nginx", "log 'a {;} b' \"c\\\"}\";", "log 'a {;} b' \"c\\\"}\"\n"},
      {"a comment", "nginx", "a; # } b;\nc;", "# } b;\na\nc\n"},
      {"a section", "apache", "<VirtualHost  *:80 >\nServerName a\n</virtualhost>\n",
       "<virtualhost *:80\n  servername a\n"},
      {"a line that goes on", "apache", "ServerAlias a \\\n  b\n", "serveralias a b\n"},
      {"an argument in quotes", "apache", "Header set X \"a  b\"", "header set X \"a  b\"\n"},
      {"a comment of Apache", "apache", "# <If>\nA", "# <If>\na\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Meaning(c.dialect, c.text), c.meaning);
  }
  EXPECT_THROW(ReadPlainTree("nginx", "a {"), std::runtime_error);
  EXPECT_THROW(ReadPlainTree("apache", "</a>"), std::runtime_error);
}

TEST(PlainTree, TellsBytesThatChangeForNothing) {
  const auto fails = [](const char* before, const char* after) {
    testing::TestPartResultArray results;
    {
      const testing::ScopedFakeTestPartResultReporter reporter(
          testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
      ExpectKept("nginx", before, after);
    }
    return results.size() > 0;
  };
  EXPECT_FALSE(fails("a  1; b;", "a  1;\nnew;\nb;"));
  EXPECT_TRUE(fails("a  1; b;", "a 1; b;")) << "another layout";
  EXPECT_TRUE(fails("a 1; b;", "b; a 1;")) << "another order";
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const std::string& page : kPages) RegisterPage(page);
  return RUN_ALL_TESTS();
}
