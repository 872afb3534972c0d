// SPDX-License-Identifier: Apache-2.0

// The view against a second model of it: both read the same text and take the same edits, and after
// each of them their texts, indexes, dialects' registers and logs agree.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "model/comparison.h"
#include "model/view_model.h"
#include "property/random_input.h"
#include "support/log_capture.h"
#include "support/merging_dialect.h"
#include "support/real_configs.h"
#include "support/view_probe.h"
#include "template/framework/str.h"
#include "template/line_list_config.h"
#include "template/nginx.h"

using model::ApplyTo;
using model::Differ;
using model::DifferentPlaces;
using model::Edit;
using model::Joined;
using model::NginxProbe;
using model::ParseEdit;
using model::Readable;
using tov_template::kSectionSeparator;
using tov_template::LineIterator;

namespace {

// The merging dialect, with blocks that take another path when they close.
struct MergingProbe : MergingDialect {
  using Model = model::MergingView<MergingProbe>;
  using MergingDialect::MergingDialect;

  void GetIdentParams(std::set<std::string>& names) const override {
    names.insert({"index", "server_name"});
  }
  std::map<std::string, std::vector<LineIterator>> Registered() const {
    std::map<std::string, std::vector<LineIterator>> registered;
    for (const auto& [section, line] : m_merged) registered[section] = {line};
    return registered;
  }
};

// Blocks that get any path when they close, see ForAllNestings. Nothing is unique.
struct NestingProbe : tov_template::LineListConfig {
  using Model = model::PlainView<NestingProbe>;

  explicit NestingProbe(const std::string& text) : LineListConfig(text, {}) {}

  bool StartsSection(const std::string& line) const override {
    return str::Trim(line).empty() || str::view::Contains(line, "+");
  }
  bool EndedSection(const std::string& line) const override {
    return str::StartsWith(str::Trim(line), "-");
  }
  std::string GetCommentChar() const override { return "#"; }
  std::string GetKeyFieldConstParam(const std::string& line) const override { return line; }
  void GetIdentParams(std::set<std::string>& names) const override { names.insert({"=", "=="}); }

  // The texts behind "=" and "==", with the old level for "N" and a blank for "_".
  std::string MakeSectionPath(const std::string& name,
                              const std::map<std::string, std::string>& idents) const override {
    std::string path;
    for (const auto& [sign, line] : idents) {
      path += str::Replace(str::Replace(line.substr(sign.size()), " ", ""), "_", " ");
    }
    return str::Replace(path, "N", name);
  }
  std::map<std::string, std::vector<LineIterator>> Registered() const { return {}; }
};

// A view and its model.
template <class Dialect>
class Twins {
 public:
  explicit Twins(const std::string& config)
      : m_dialect(std::make_shared<Dialect>(config)), m_view(m_dialect), m_model(config) {}

  const model::View& Model() const { return m_model; }

  void Apply(const Edit& edit) {
    const LogCapture log;
    ApplyTo(m_view, edit);
    for (const std::string& message : log.Messages()) m_messages.push_back(message);
    ApplyTo(m_model, edit);
  }

  // "" when both agree, else how they differ.
  std::string Difference() const {
    std::string difference = Differ("text", m_view.Text(), m_model.Text());
    if (difference.empty()) difference = Differ("index", m_view.Dump(), m_model.Dump());
    if (difference.empty()) difference = DifferentPlaces(m_view, *m_dialect, m_model);
    if (difference.empty() && m_messages != m_model.Messages()) {
      difference = Differ("log", Joined(m_messages), Joined(m_model.Messages()));
    }
    return difference;
  }

  std::string BrokenReferences() const { return m_view.BrokenReferences(); }

 private:
  std::vector<std::string> m_messages;  // the view's
  const std::shared_ptr<Dialect> m_dialect;
  ViewProbe m_view;
  typename Dialect::Model m_model;
};

// --- Laws ---

template <class Dialect>
std::string ReadingAgrees(const std::string& config) {
  const LogCapture log;
  const Twins<Dialect> twins(config);
  if (!log.Records().empty()) return "reading logs: " + log.Messages().front();
  return twins.Difference();
}

template <class Dialect>
std::string EditsAgree(Twins<Dialect>& twins, const std::vector<Edit>& edits) {
  for (const Edit& edit : edits) {
    twins.Apply(edit);
    const std::string difference = twins.Difference();
    if (!difference.empty()) return "after " + Readable(edit) + ":\n" + difference;
  }
  return "";
}

template <class Dialect>
std::string EveryEditAgrees(const std::string& config, const std::string& edits) {
  Twins<Dialect> twins(config);
  std::string difference = twins.Difference();
  std::string_view rest = edits;
  while (difference.empty() && !rest.empty()) {
    const Edit edit = ParseEdit(twins.Model(), str::view::GetWord(rest, '\n'));
    difference = EditsAgree(twins, {edit});
    if (difference.empty()) difference = twins.BrokenReferences();
  }
  return difference;
}

// The same lines in the syntax of the merging dialect.
std::string Merging(const std::string& text) {
  const std::string lines = str::Replace(str::Replace(text, "{", "("), "}", ")");
  return str::Replace(str::Replace(lines, "root", "set"), "listen", "set");
}

std::string ReadingAgreesWhereLinesMerge(const std::string& config) {
  return ReadingAgrees<MergingProbe>(Merging(config));
}

std::string EveryEditAgreesWhereLinesMerge(const std::string& config, const std::string& edits) {
  return EveryEditAgrees<MergingProbe>(Merging(config), Merging(edits));
}

// --- On random inputs ---

TEST(RandomConfigs, ReadingAgreesWithTheModel) {
  EXPECT_EQ(ForAllTexts(ReadingAgrees<NginxProbe>), "");
  EXPECT_EQ(ForAllTexts(ReadingAgreesWhereLinesMerge), "");
}

TEST(RandomConfigs, ReadingAgreesWithTheModelWhereBlocksGetOddPaths) {
  EXPECT_EQ(ForAllNestings(ReadingAgrees<NestingProbe>), "");
}

TEST(RandomEdits, TextIndexAndLogAgreeWithTheModelAfterEveryEdit) {
  EXPECT_EQ(ForAllEdits(EveryEditAgrees<NginxProbe>), "");
}

TEST(RandomEdits, TextIndexAndLogAgreeWithTheModelAfterEveryOddEdit) {
  EXPECT_EQ(ForAllRichEdits(EveryEditAgrees<NginxProbe>), "");
}

TEST(RandomEdits, TextIndexAndLogAgreeWithTheModelWhereLinesMerge) {
  EXPECT_EQ(ForAllRichEdits(EveryEditAgreesWhereLinesMerge), "");
}

// --- On long inputs ---

std::string Lines(int count, const std::function<std::string(int)>& line) {
  std::string text;
  for (int i = 0; i < count; ++i) text += line(i) + "\n";
  return text;
}

TEST(ManyBlocks, ReadingAgreesWithTheModel) {
  // Names in no order, some of them twice, blocks without a name, and levels that go on with a byte
  // that comes before the separator of levels.
  const std::string config = Lines(120, [](int i) {
    const std::string name =
        i % 7 == 0 ? "" : "server_name s" + std::to_string(i * 37 % 100) + ";\n";
    const std::string opening = i % 11 == 0 ? "server {\t{\n" : "server {\n";
    return opening + name + "listen 80;\nlocation /" + std::to_string(i % 5) +
           " {\nlisten 81;\n}\n}";
  });
  EXPECT_EQ(ReadingAgrees<NginxProbe>(config), "");
  EXPECT_EQ(ReadingAgreesWhereLinesMerge(config), "");
  EXPECT_EQ(ReadingAgrees<NginxProbe>("http {\n" + config + "}"), "");
}

// In a block so long that its lines are looked up in an index.
TEST(LongBlock, EditsAgreeWithTheModel) {
  const auto directive = [](int i) {
    const char* const kinds[] = {"x", "xx", "listen ", "# note ", "  root /", "\t"};
    return kinds[i % 6] + std::to_string(i) + ";";
  };
  std::vector<Edit> edits;
  for (int i = 0; i < 150; ++i) {
    const std::string line = directive(i * 5);
    const std::string other = directive(i * 7 + 1);
    edits.push_back({"append", "a {", line, "", line});
    if (i % 2 == 0) edits.push_back({"change", "a {", other, line, ""});
    if (i % 3 == 0) edits.push_back({"change", "a {", "plain" + std::to_string(i), "", "lis"});
    if (i % 3 == 1) edits.push_back({"remove", "a {", other, "", ""});
    if (i % 10 == 3) edits.push_back({"append", "a {", "inner {", "", "inner {"});
  }
  for (int i = 0; i < 60; ++i) {
    const std::string listen = "listen " + std::to_string(9000 + i * 7 % 60) + ";";
    edits.insert(edits.begin() + i, {"append", "a {", listen, "", ""});
    edits.push_back({"remove", "a {", listen, "", ""});
  }
  const std::string config = "a {\n" + Lines(90, directive) + "}\nb {\n1;\n}";
  Twins<NginxProbe> nginx(config);
  EXPECT_EQ(EditsAgree(nginx, edits), "");
  EXPECT_EQ(nginx.BrokenReferences(), "");

  Twins<MergingProbe> merging(Merging(config));
  for (Edit& edit : edits) {
    for (std::string* text : {&edit.section, &edit.line, &edit.old_line, &edit.key}) {
      *text = Merging(*text);
    }
  }
  EXPECT_EQ(EditsAgree(merging, edits), "");
  EXPECT_EQ(merging.BrokenReferences(), "");
}

// --- On real configurations ---

// Every kind of edit of the block `section`, whose opening line is `opening`.
std::vector<Edit> EditsOf(const std::string& section, const std::string& opening) {
  const std::string below = ViewProbe::Path({section, "location /probe {"});
  const std::string renamed_below = ViewProbe::Path({section, "location /renamed {"});
  std::string renamed = section;
  str::RGetWord(renamed, kSectionSeparator);
  renamed = str::Append(renamed, "renamed {", kSectionSeparator);
  return {
      {"append", section, "probe on;", "", "probe"},
      {"append", section, "probe on;", "", "probe"},
      {"append", section, "no_key on;", "", ""},
      {"append", section, "listen 127.0.0.1:80 [::1]:80 ssl;", "", "listen"},
      {"append", section, "listen 80;", "", "listen"},
      {"append", below, "location /probe {", "", "location /probe {"},
      {"append", below, "root /probe;", "", "root"},
      {"append", below, "}", "", "}"},
      {"append", section, "after on;", "", "after"},
      {"append", section, "location /other {", "", "location /other {"},
      {"append", ViewProbe::Path({section, "location /other {"}), "other {", "", "other {"},
      {"change", section, "root /changed;", "root", ""},
      {"change", section, "probe off; # changed", "", "probe"},
      {"change", section, "listen 8080;", "listen", ""},
      {"change", below, "location /renamed {", "location /probe {", ""},
      {"change", section, "renamed {", "", opening},
      {"append", renamed, "in_renamed on;", "", "in_renamed"},
      {"append", renamed, "listen 81;", "", "listen"},
      {"change", renamed, opening, "", "renamed {"},
      {"remove", section, "listen 8080;", "", ""},
      {"remove", section, "root", "", ""},
      {"remove_part", section, "server_name", "", ""},
      {"remove", section, "no such line", "", ""},
      {"remove", section, ";", "", ""},
      {"empty", "", "", "", ""},
      {"remove", renamed_below, "location /renamed {", "", ""},
      {"append", section, "}", "", "}"},
      {"remove", section, opening, "", ""},
      {"append", section, opening, "", ""},
      {"append", section, "anew on;", "", "anew"},
      {"empty", "", "", "", ""},
  };
}

TEST(RealConfigs, ReadingAgreesWithTheModel) {
  for (const auto& [name, config] : RealConfigs("nginx")) {
    SCOPED_TRACE(name);
    EXPECT_EQ(ReadingAgrees<NginxProbe>(config), "");
    EXPECT_EQ(ReadingAgreesWhereLinesMerge(config), "");
  }
}

TEST(RealConfigs, EditsOfEachBlockAgreeWithTheModel) {
  for (const auto& [name, config] : RealConfigs("nginx")) {
    SCOPED_TRACE(name);
    Twins<NginxProbe> edited_again_and_again(config);
    const model::NginxView read(config);
    for (const auto& [section, params] : read.m_params) {
      SCOPED_TRACE(section);
      const std::string opening = str::Trim(read.m_lines[read.IndexOf(params.front())].text);
      const std::vector<Edit> edits = EditsOf(section, opening);
      Twins<NginxProbe> fresh(config);
      EXPECT_EQ(EditsAgree(fresh, edits), "");
      EXPECT_EQ(EditsAgree(edited_again_and_again, edits), "");
      EXPECT_EQ(fresh.BrokenReferences() + edited_again_and_again.BrokenReferences(), "");
    }
  }
}

}  // namespace
