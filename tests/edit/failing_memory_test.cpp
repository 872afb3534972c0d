// SPDX-License-Identifier: Apache-2.0

// Every allocation of an edit fails once: the edit says so by std::bad_alloc, and by nothing else,
// and the next one with the same request is what it would have been.

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "edit/edit.h"
#include "edit/tree/template_tree.h"
#include "support/failing_allocations.h"

namespace tov_edit {
namespace {

const std::string kNginxConfig =
    "http {\n\tserver {\n\t\tserver_name a b;\n\t\tlisten 80;\n\t\troot /a; # x\n\t\tlocation / "
    "{\n\t\t\tdeny all;\n\t\t}\n\t\tlocation /gone {\n\t\t}\n\t}\n\tserver {\n\t\tserver_name c;\n"
    "\t}\n}\n";

const std::string kNginxTemplate =
    "server {\nserver_name {% $name %};\nlisten 81;\nroot {% $root %};\nadd_header X [% $more %];\n"
    "{% import part %}\n{% if $gone %}\nlocation /gone {\n}\n{% endif %}\nlocation /new {\n"
    "allow all;\n}\n}\n";

const std::string kApacheConfig =
    "<IfModule x>\n<VirtualHost *:80 *:81>\nServerName a\nServerAlias b c\nDocumentRoot /a\n"
    "<Directory />\nOptions Indexes\n</Directory>\nRewriteCond x y\nRewriteRule a b\n"
    "</VirtualHost>\n</IfModule>\n";

const std::string kApacheTemplate =
    "<VirtualHost *:80>\nServerName {% $name %}\nServerAlias d\nDocumentRoot {% $root %}\n"
    "<Directory />\nOptions FollowSymLinks\n</Directory>\nRewriteCond x y\nRewriteRule a {% $more "
    "%}\n</VirtualHost>\n";

Request RequestFor(Dialect dialect) {
  Request request;
  request.dialect = dialect;
  request.template_name = "site.template";
  request.template_text = dialect == Dialect::kNginx ? kNginxTemplate : kApacheTemplate;
  request.values = {{"name", {"a", "z"}}, {"root", {"/a", "/b c"}}, {"more", {{}, "m n"}}};
  if (dialect == Dialect::kApache) request.values["more"] = {"b", "e f"};
  request.quote = true;
  request.list_changes = true;
  request.importer = [](const std::string& name, const FilePlace&) {
    return ImportedFile{name, "gzip on;\n"};
  };
  return request;
}

class FailingMemory : public testing::TestWithParam<Dialect> {
 protected:
  const std::string& Config() const {
    return GetParam() == Dialect::kNginx ? kNginxConfig : kApacheConfig;
  }

  // Lets each allocation of `step` fail, the last time none. What the standard library can do
  // without the memory for, it does: then, and the last time, `check` looks at what has come out.
  template <class Step, class Check>
  void TryAll(const Step& step, const Check& check) const {
    long failing = 0;
    for (bool has_failed = true; has_failed && !HasFailure(); ++failing) {
      SCOPED_TRACE(failing);
      bool has_thrown = false;
      failing_allocations::left = failing;
      try {
        step();
      } catch (const std::bad_alloc&) {
        has_thrown = true;
      }
      has_failed = failing_allocations::left == failing_allocations::kNone;
      failing_allocations::left = failing_allocations::kNone;
      EXPECT_TRUE(has_failed || !has_thrown);
      if (!has_thrown) check();
    }
    EXPECT_GT(failing, 100);
  }

  const Request m_request = RequestFor(GetParam());
};

TEST_P(FailingMemory, OfAnEditIsSaid) {
  const Result expected = Edit(m_request, Config(), "site.conf");
  ASSERT_EQ(expected.refusals.size(), 0U);
  ASSERT_NE(expected.text, Config());
  Result result;
  TryAll([&] { result = Edit(m_request, Config(), "site.conf"); },
         [&] { EXPECT_EQ(result.text, expected.text); });
}

TEST_P(FailingMemory, OfAnExplanationIsSaid) {
  const Explained expected = Explain(m_request, Config(), "site.conf");
  Explained explained;
  TryAll([&] { explained = Explain(m_request, Config(), "site.conf"); },
         [&] {
           EXPECT_EQ(explained.result.text, expected.result.text);
           EXPECT_EQ(explained.report.items.size(), expected.report.items.size());
         });
}

TEST_P(FailingMemory, OfARefusalIsSaid) {
  Request request = m_request;
  request.quote = false;
  request.values["root"] = {"/elsewhere", "/b c"};
  request.values["name"] = {"nobody", "z"};
  Result result;
  TryAll([&] { result = Edit(request, Config(), "site.conf"); },
         [&] {
           EXPECT_EQ(result.text, Config());
           EXPECT_FALSE(result.refusals.empty());
         });
}

INSTANTIATE_TEST_SUITE_P(OfAServer, FailingMemory,
                         testing::Values(Dialect::kNginx, Dialect::kApache));

}  // namespace
}  // namespace tov_edit
