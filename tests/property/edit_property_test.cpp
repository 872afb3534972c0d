// SPDX-License-Identifier: Apache-2.0

// The laws of edits by the program.

#include <gtest/gtest.h>

#include <string>

#include "golden/golden_case.h"
#include "property/edit_laws.h"
#include "property/random_input.h"
#include "support/real_configs.h"

namespace {

cli::Request RequestOf(const std::string& dialect, const std::string& text) {
  cli::Request request;
  request.dialect = dialect;
  request.template_file = "TEMPLATE";
  request.template_text = text;
  return request;
}

cli::Request RandomRequest(const std::string& dialect, const std::string& text) {
  cli::Request request = RequestOf(dialect, text);
  request.values["a"] = {"a", "b"};
  request.values["n"] = {tov_template::NullValue(), "c"};
  request.values["ip"] = {"1.1.1.1", "2.2.2.2"};
  request.values["on"] = {tov_template::NullValue(), "1"};
  return request;
}

std::string LawsOfNginx(const std::string& config, const std::string& text) {
  return edit_laws::Broken(RandomRequest("nginx", text), config);
}

std::string LawsOfApache(const std::string& config, const std::string& text) {
  return edit_laws::Broken(RandomRequest("apache", text), config);
}

TEST(RandomEditsByTheProgram, KeepTheLaws) {
  EXPECT_EQ(ForAllFilesOf("nginx", LawsOfNginx), "");
  EXPECT_EQ(ForAllFilesOf("apache", LawsOfApache), "");
}

// Laws that are kept because everything is refused prove little.
TEST(RandomEditsByTheProgram, AreMade) {
  static std::size_t made;
  made = 0;
  const auto count = [](const std::string& config, const std::string& text) {
    const auto edited = edit_laws::Edited(RandomRequest("nginx", text), config);
    made += edited && edited->text != config ? 1U : 0U;
    return std::string();
  };
  EXPECT_EQ(ForAllFilesOf("nginx", count), "");
  EXPECT_GT(made, 0U);
}

TEST(GoldenCases, KeepTheLaws) {
  for (const GoldenCase& golden : AllGoldenCases()) {
    SCOPED_TRACE(golden.Name());
    cli::Request request = RequestOf(golden.dialect, golden.Read("template"));
    if (golden.Has("files")) continue;  // imports are looked up from the current directory
    for (const auto& [name, value] : golden.ReadValues()) {
      request.values[name] = {value.old_value, value.new_value};
    }
    EXPECT_EQ(edit_laws::Broken(request, golden.Read("config")), "");
  }
}

TEST(RealConfigs, KeepTheLaws) {
  for (const std::string dialect : {"nginx", "apache"}) {
    for (const auto& [name, config] : RealConfigs(dialect)) {
      SCOPED_TRACE(name);
      EXPECT_EQ(edit_laws::AnEmptyTemplateChangesNothing(RequestOf(dialect, ""), config), "");
      // Each block of the file, with a line of its own and one that is new.
      const auto config_of = cli::MakeConfig(RequestOf(dialect, ""), "");
      const std::vector<std::string> lines = edit_laws::LinesOf(config);
      for (const cli::Block& block : cli::FindBlocks(*config_of, lines)) {
        if (block.parent || !block.closing || *block.closing < block.opening + 2) continue;
        const std::string end = dialect == "nginx" ? ";" : "";
        std::string text = lines[block.opening] + "\n";
        for (std::size_t i = block.opening + 1; i < *block.closing; ++i) {
          const std::string word(str::view::FirstWord(lines[i]));
          if (word == "server_name") text += lines[i] + "\n";
        }
        text += "probe_directive {% $a %}" + end + "\n" + lines[*block.closing] + "\n";
        EXPECT_EQ(edit_laws::Broken(RandomRequest(dialect, text), config), "");
      }
    }
  }
}

}  // namespace
