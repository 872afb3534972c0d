// SPDX-License-Identifier: Apache-2.0

// The laws of the careful edit, on random texts, on the golden cases, and on real configurations.

#include "edit/laws.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>

#include "document/document.h"
#include "document/meaning.h"
#include "edit/match/contents.h"
#include "golden/golden_case.h"
#include "property/random_input.h"
#include "support/real_configs.h"

namespace {

using tov_edit::Dialect;
using tov_edit::Request;

Dialect DialectOf(const std::string& name) {
  return name == "nginx" ? Dialect::kNginx : Dialect::kApache;
}

Request RequestOf(Dialect dialect, const std::string& text) {
  Request request;
  request.dialect = dialect;
  request.template_name = "TEMPLATE";
  request.template_text = text;
  return request;
}

Request RandomRequest(Dialect dialect, const std::string& text) {
  Request request = RequestOf(dialect, text);
  request.values["a"] = {"a", "b"};
  request.values["n"] = {std::nullopt, "c"};
  request.values["ip"] = {"1.1.1.1", "2.2.2.2"};
  request.values["on"] = {std::nullopt, "1"};
  return request;
}

void ExpectKept(const std::string& wrong) {
  if (!wrong.empty()) ADD_FAILURE() << wrong;
}

// What the random edits came to: laws that are kept because everything is refused prove little.
struct Counts {
  std::size_t all = 0;
  std::size_t made = 0;
  std::size_t changed = 0;
};

std::map<Dialect, Counts> counts;

template <Dialect kDialect>
std::string Laws(const std::string& config, const std::string& text) {
  const Request request = RandomRequest(kDialect, text);
  const tov_edit::Result result = tov_edit::Edit(request, config, "CONFIG");
  Counts& count = counts[kDialect];
  ++count.all;
  if (result.refusals.empty()) ++count.made;
  if (result.text != config) ++count.changed;
  return edit_laws::Broken(request, config);
}

// Each block that fits is edited, instead of a refusal.
template <Dialect kDialect>
std::string LawsOfAll(const std::string& config, const std::string& text) {
  Request request = RandomRequest(kDialect, text);
  request.all = true;
  return edit_laws::Broken(request, config);
}

TEST(RandomEdits, KeepTheLaws) {
  ExpectKept(ForAllFilesOf("nginx", Laws<Dialect::kNginx>));
  ExpectKept(ForAllFilesOf("apache", Laws<Dialect::kApache>));
  for (const auto& [dialect, count] : counts) {
    RecordProperty(dialect == Dialect::kNginx ? "nginx" : "apache",
                   std::to_string(count.made) + " made, " + std::to_string(count.changed) +
                       " changed something, of " + std::to_string(count.all));
    EXPECT_GE(count.made, count.all / 10);
    EXPECT_GE(count.changed, count.all / 20);
  }
}

TEST(RandomEdits, OfAllBlocksKeepTheLaws) {
  ExpectKept(ForAllFilesOf("nginx", LawsOfAll<Dialect::kNginx>));
  ExpectKept(ForAllFilesOf("apache", LawsOfAll<Dialect::kApache>));
}

TEST(GoldenCases, KeepTheLaws) {
  for (const GoldenCase& golden : AllGoldenCases()) {
    SCOPED_TRACE(golden.Name());
    Request request = RequestOf(DialectOf(golden.dialect), golden.Read("template"));
    request.importer = [&](const std::string& name, const tov_edit::FilePlace&) {
      std::optional<tov_edit::ImportedFile> file;
      const std::string path = "files/" + name.substr(name.rfind('/') + 1);
      if (golden.Has(path)) file = tov_edit::ImportedFile{path, golden.Read(path)};
      return file;
    };
    for (const auto& [name, value] : golden.ReadValues()) {
      tov_edit::OldAndNew& own = request.values[name];
      if (!value.old_value.IsNull()) own.old_value = value.old_value.Str();
      if (!value.new_value.IsNull()) own.new_value = value.new_value.Str();
    }
    ExpectKept(edit_laws::Broken(request, golden.Read("config")));
  }
}

// A template for each block of the outermost ones: what finds it, and a line that is new.
TEST(RealConfigs, KeepTheLaws) {
  for (const std::string name_of_dialect : {"nginx", "apache"}) {
    const Dialect dialect = DialectOf(name_of_dialect);
    std::size_t made = 0;
    for (const auto& [name, config] : RealConfigs(name_of_dialect)) {
      SCOPED_TRACE(name);
      ExpectKept(edit_laws::AnEmptyTemplateChangesNothing(RequestOf(dialect, ""), config));
      const tov_edit::Document document(dialect, config);
      tov_edit::Contents contents(document);
      for (tov_edit::BlockId id = 1; id < document.blocks().size();
           id = document.blocks()[id].next) {
        const tov_document::Block& block = document.blocks()[id];
        std::string text = std::string(document.Bytes(block.head)) + "\n";
        for (const tov_edit::Child& child : contents.Of(id)) {
          if (!child.IsDirective()) continue;
          const std::string& word = child.values.front();
          if (word != "server_name" && word != "listen" && word != "ServerName") continue;
          text += std::string(document.Bytes(child.bytes)) + "\n";
        }
        text += std::string("probe_directive {% $a %}") + (dialect == Dialect::kNginx ? ";" : "") +
                "\n" + std::string(document.Bytes(block.closing)) + "\n";
        const Request request = RandomRequest(dialect, text);
        made += tov_edit::Edit(request, config, "CONFIG").text != config ? 1U : 0U;
        ExpectKept(edit_laws::Broken(request, config));
      }
    }
    EXPECT_GE(made, 40U);  // without the corpus
  }
}

}  // namespace
