// SPDX-License-Identifier: Apache-2.0

// Every allocation of a request fails once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "support/failing_allocations.h"
#include "support/index_audit.h"
#include "support/merging_dialect.h"
#include "support/template_probe.h"
#include "template/apache.h"
#include "template/nginx.h"
#include "template/qeltemplate.h"

namespace {

using tov_template::ParserTemplate;

constexpr char kNginxConfig[] =
    "server {\nlisten 80;\nlisten 81;\nserver_name a;\nroot /a; # x\nlocation / {\nx;\n}\n"
    "location /gone {\ny;\n}\n}\nserver {\nlisten 80;\nserver_name gone;\n}\nevents {\n}\n"
    "location / {\n1;\n}\nlocation / {\n2;\n}";

constexpr char kNginxTemplate[] =
    "server {\nlisten {% $port %};\nserver_name {% $name %};\nroot [% $root %];\n"
    "{% if $gone == 1 and $x %}\nlocation /gone {\ny;\n}\nlocation / {\nx;\n}\n{% endif %}\n"
    "location /new {\nz;\n}\n}\n"
    "{% if $gone %}\nserver {\nserver_name gone;\n}\nlocation / {\n}\n{% endif %}\n"
    "server {\nlisten 82;\nserver_name fresh;\n}";

constexpr char kApacheConfig[] =
    "<VirtualHost a>\nOptions -Indexes\nOptions +ExecCGI\nServerAlias a b\nServerName a\n"
    "<Directory />\nOptions None\n</Directory>\n</VirtualHost>\n<VirtualHost gone>\nOptions x\n"
    "ServerAlias y\n</VirtualHost>";

constexpr char kApacheTemplate[] =
    "<VirtualHost a>\nOptions -Indexes +FollowSymLinks\nServerAlias {% $name %}\nServerName "
    "{% $name %}\n</VirtualHost>\n{% if $gone %}\n<VirtualHost gone>\nOptions x\n</VirtualHost>\n"
    "{% endif %}\n<VirtualHost gone>\nOptions y\n</VirtualHost>";

// As above, with lines that registering leaves as they are, so that it waits.
constexpr char kLateApacheConfig[] =
    "<VirtualHost a>\n\tOptions -Indexes +ExecCGI\n\tServerAlias a b\n\tServerName a\n"
    "\t<Directory />\n\t\tOptions None\n\t</Directory>\n</VirtualHost>\n<VirtualHost gone>\n"
    "\tOptions x\n\tServerAlias y\n\tServerAlias z\n\tDirectoryIndex i\n</VirtualHost>";

// A block that is so long that its lines are looked up in an index.
std::string LongBlock(int lines, const std::string& value) {
  std::string text = "server {\n";
  for (int i = 0; i < lines; ++i) text += "x" + std::to_string(i) + " " + value + ";\n";
  return text + "}";
}

struct Request {
  const char* name;
  const char* dialect;
  std::string config;
  std::string template_text;
};

void SetValues(ParserTemplate& parser) {
  parser.SetValue("name", "a", "b").SetValue("port", "80", "90").SetValue("root", "/a", "/b");
}

std::string Edited(const Request& request) {
  ParserTemplate parser(tov_template::GetConfigType(request.dialect, request.config));
  SetValues(parser);
  return parser.SetTemplate(request.template_text).ApplyTemplate().GetConfig();
}

// Runs the request so that allocation number `failing` fails. Returns false when it has fewer.
bool RunWithFailure(const Request& request, long failing) {
  std::unique_ptr<ParserTemplate> parser;
  try {
    failing_allocations::left = failing;
    parser = std::make_unique<ParserTemplate>(
        tov_template::GetConfigType(request.dialect, request.config));
    SetValues(*parser);
    parser->SetTemplate(request.template_text).ApplyTemplate();
    const bool all_succeeded = failing_allocations::left >= 0;
    failing_allocations::left = failing_allocations::kNone;
    EXPECT_TRUE(all_succeeded) << "the failure was swallowed";
    return false;
  } catch (const std::bad_alloc&) {
    failing_allocations::left = failing_allocations::kNone;
  }
  if (!parser) return true;
  EXPECT_EQ(parser->GetConfig(), "");
  // What is half done can be gone on with: nothing refers to what is not there.
  SetValues(*parser);
  parser->SetTemplate(request.template_text).ApplyTemplate();
  EXPECT_NE(parser->GetConfig(), "");
  return true;
}

// A request over a view whose maps are whole, or hold what edits ask for.
class View : public TemplateProbeValues, public tov_template::Template {
 public:
  View(const std::shared_ptr<tov_template::BaseConfig>& config, bool whole)
      : Template(config, old_values, new_values, whole ? Maps::kWhole : Maps::kOnDemand) {}

  void Apply(const std::string& template_text) {
    old_values = {{"name", "a"}, {"port", "80"}, {"root", "/a"}};
    new_values = {{"name", "b"}, {"port", "90"}, {"root", "/b"}};
    SetTemplate(template_text);
    ApplyTemplate(false);
    ApplyTemplate(true);
    RemoveEmptySections();
  }

  std::string Text() const { return m_config->Str(); }
};

std::shared_ptr<tov_template::BaseConfig> DialectOf(const Request& request) {
  if (request.dialect != std::string("Merging")) {
    return tov_template::GetConfigType(request.dialect, request.config);
  }
  return std::make_shared<MergingDialect>(request.config);
}

// As RunWithFailure. The view refers to no line that is not there, whatever has failed.
bool ViewWithFailure(const Request& request, bool whole, long failing) {
  const std::shared_ptr<tov_template::BaseConfig> dialect = DialectOf(request);
  std::unique_ptr<View> view;
  try {
    failing_allocations::left = failing;
    view = std::make_unique<View>(dialect, whole);
    view->Apply(request.template_text);
    EXPECT_GE(failing_allocations::left, 0) << "the failure was swallowed";
    failing_allocations::left = failing_allocations::kNone;
    return false;
  } catch (const std::bad_alloc&) {
    failing_allocations::left = failing_allocations::kNone;
  }
  if (!view) return true;
  EXPECT_EQ(tov_template::IndexAudit::DanglingIn(*view), "") << "allocation " << failing;
  view->Apply(request.template_text);
  EXPECT_EQ(tov_template::IndexAudit::DanglingIn(*view), "") << "allocation " << failing;
  EXPECT_NE(view->Text(), request.config);
  return true;
}

const Request kRequests[] = {
    {"nginx", "Nginx", kNginxConfig, kNginxTemplate},
    {"apache", "Apache", kApacheConfig, kApacheTemplate},
    {"late apache", "Apache", kLateApacheConfig, kApacheTemplate},
    {"long block", "Nginx", LongBlock(40, "a"), LongBlock(60, "{% $name %}")},
};

TEST(FailingMemory, LeavesNoViewWithABrokenReference) {
  std::vector<Request> requests(std::begin(kRequests), std::end(kRequests));
  requests.push_back({"merging", "Merging",
                      "a (\nset 1\nset 2\nx\n)\nb (\nset 3\nb2 (\ny\n)\n)\nc (\nz\nzz\n)",
                      "a (\nset {% $name %}\nx\n)\n{% if $gone %}\nb (\nset 3\n)\n{% endif %}"});
  for (const Request& request : requests) {
    for (const bool whole : {false, true}) {
      SCOPED_TRACE(std::string(request.name) + (whole ? ", whole" : ", on demand"));
      long failing = 0;
      while (ViewWithFailure(request, whole, failing)) ++failing;
      EXPECT_GT(failing, 50);
    }
  }
}

// What a dialect has registered, with the lines as they are, and their texts.
template <class Dialect>
std::string Registered(const Dialect& dialect) {
  std::string shown;
  for (const auto& [key, lines] : tov_template::IndexAudit::Registered(dialect)) {
    shown += key + ":";
    for (const tov_template::LineIterator& line : lines) shown += " '" + *line + "'";
    shown += "\n";
  }
  return shown + dialect.Str();
}

template <class Dialect>
struct Derived : Dialect {
  using Dialect::Dialect;
};

// Has everything registered that waits, so that allocation number `failing` fails, and once more.
// Returns false when it takes fewer.
template <class Dialect>
bool RegisterWithFailure(const std::string& config, const std::string& all, long failing) {
  const auto dialect = std::make_shared<Dialect>(config);
  const ParserTemplate parser(dialect);
  bool failed = false;
  try {
    failing_allocations::left = failing;
    dialect->SharedLine("", "");
    failing_allocations::left = failing_allocations::kNone;
  } catch (const std::bad_alloc&) {
    failing_allocations::left = failing_allocations::kNone;
    failed = true;
    EXPECT_EQ(dialect->Str(), config) << "allocation " << failing;
    EXPECT_EQ(tov_template::IndexAudit::WrongInDialect(*dialect), "") << "allocation " << failing;
  }
  dialect->SharedLine("", "");
  EXPECT_EQ(Registered(*dialect), all) << "allocation " << failing;
  EXPECT_EQ(tov_template::IndexAudit::WrongInDialect(*dialect), "") << "allocation " << failing;
  return failed;
}

template <class Dialect>
void EveryFailureLeavesTheRestToBeRegistered(const std::string& config, long at_least) {
  const auto derived = std::make_shared<Derived<Dialect>>(config);
  const ParserTemplate parser(derived);
  const std::string all = Registered(*derived);
  long failing = 0;
  while (RegisterWithFailure<Dialect>(config, all, failing)) ++failing;
  EXPECT_GT(failing, at_least);
}

TEST(FailingMemory, LeavesWhatIsRegisteredLateToTheNextTime) {
  EveryFailureLeavesTheRestToBeRegistered<tov_template::Apache>(kLateApacheConfig, 30);
  EveryFailureLeavesTheRestToBeRegistered<tov_template::Nginx>(kNginxConfig, 8);
}

TEST(FailingMemory, ComesOutAndLeavesTheResultAsItWas) {
  for (const Request& request : kRequests) {
    SCOPED_TRACE(request.name);
    long failing = 0;
    while (RunWithFailure(request, failing)) ++failing;
    EXPECT_GT(failing, 200);
    EXPECT_NE(Edited(request), request.config);
  }
}

}  // namespace
