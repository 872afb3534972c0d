// SPDX-License-Identifier: Apache-2.0

// The facade: values, template, application, and what is kept between them.
#include "template/parser_template.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/log_capture.h"
#include "support/template_probe.h"
#include "template/config_type.h"
#include "template/framework/tov_err.h"
#include "template/nginx.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using tov_template::BaseConfig;
using tov_template::GetConfigType;
using tov_template::LineIterator;
using tov_template::Nginx;
using tov_template::NullValue;
using tov_template::ParserTemplate;
using tov_template::Value;

namespace {

static_assert(!std::is_convertible_v<std::shared_ptr<BaseConfig>, ParserTemplate>);
static_assert(std::is_copy_constructible_v<ParserTemplate>);
static_assert(std::is_copy_assignable_v<ParserTemplate>);

ParserTemplate ParserOn(const std::string& config) {
  return ParserTemplate(GetConfigType("Nginx", config));
}

TEST(ParserTemplate, EditsAConfiguration) {
  const std::string edited =
      ParserTemplate(GetConfigType("Nginx",
                                   "server {\n\n  server_name a.example;\n  root /old; # here\n"
                                   "  gzip on;\n}\n\nserver {\n  server_name other;\n}\n"))
          .SetValue("name", "a.example", "b.example")
          .SetValue("dir", "/old", "/new")
          .SetValue("index", NullValue(), "index.html")
          .SetTemplate(
              "server {\n  server_name {% $name %};\n  root {% $dir %};\n  index {% $index %};\n"
              "{% if $gzip %}\n  gzip on;\n{% endif %}\n  location / {\n    try_files x;\n  }\n}\n")
          .ApplyTemplate()
          .GetConfig();
  EXPECT_EQ(edited,
            "server {\n  server_name b.example;\n  root /new;# here\n  index index.html;\n"
            "  location / {\n    try_files x;\n  }\n}\nserver {\n  server_name other;\n}");
}

TEST(ParserTemplate, HasNoTextBeforeItIsApplied) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  EXPECT_EQ(parser.GetConfig(), "");
  parser.SetTemplate("a {\ny;\n}");
  EXPECT_EQ(parser.GetConfig(), "");
}

TEST(ParserTemplate, FreshItRemovesEmptyBlocksAndWritesTheText) {
  ParserTemplate parser = ParserOn("user www;\n\na {\n}\nb {\n  x; \n}\n");
  EXPECT_EQ(parser.GetPrototype(), "");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "user www;\nb {\n  x; \n}");
  EXPECT_EQ(ParserOn("").ApplyTemplate().GetConfig(), "");
}

TEST(ParserTemplate, RemovesBeforeItAppends) {
  EXPECT_EQ(ParserOn("a {\nx;\n}")
                .SetTemplate("a {\nroot /b;\n{% if $no %}\nroot [% $dir %];\n{% endif %}\n}")
                .ApplyTemplate()
                .GetConfig(),
            "a {\nx;\nroot /b;\n}");
}

TEST(ParserTemplate, RemovesTheBlocksThatTheTemplateEmptied) {
  EXPECT_EQ(ParserOn("a {\nx;\n}\nb {\ny;\n}")
                .SetTemplate("{% if $no %}\n{% endif %}\na {\n{% if $no %}\nx;\n{% endif %}\n}")
                .ApplyTemplate()
                .GetConfig(),
            "b {\ny;\n}");
}

TEST(ParserTemplate, MutatorsReturnTheParserItself) {
  ParserTemplate parser = ParserOn("");
  EXPECT_EQ(&parser.SetValue("n", "a", "b"), &parser);
  EXPECT_EQ(&parser.SetValue(ParserOn("")), &parser);
  EXPECT_EQ(&parser.SetTemplate(""), &parser);
  EXPECT_EQ(&parser.ApplyTemplate(), &parser);
  EXPECT_EQ(&parser.ClearValues(), &parser);
}

TEST(ParserTemplate, CopiesAreHandlesOnOneParser) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  ParserTemplate copy(parser);
  ParserTemplate assigned = ParserOn("other {\nx;\n}");
  assigned = parser;

  copy.SetValue("v", NullValue(), "y");
  assigned.SetTemplate("a {\n{% $v %};\n}");
  EXPECT_EQ(parser.GetPrototype(), "a {\n}");
  parser.ApplyTemplate();
  EXPECT_EQ(copy.GetConfig(), "a {\nx;\ny;\n}");
  EXPECT_EQ(assigned.GetConfig(), "a {\nx;\ny;\n}");

  copy.ClearValues();
  EXPECT_EQ(parser.GetPrototype(), "");
}

TEST(ParserTemplate, OneThatIsMovedFromIsAHandleStill) {
  ParserTemplate parser(GetConfigType("Nginx", "server {\nroot /a;\n}"));
  ParserTemplate taken(std::move(parser));
  parser.SetValue("root", "/a", "/b").SetTemplate("server {\nroot {% $root %};\n}");
  EXPECT_EQ(taken.ApplyTemplate().GetConfig(), "server {\nroot /b;\n}");
  ParserTemplate other(GetConfigType("Nginx", ""));
  other = std::move(parser);
  EXPECT_EQ(parser.GetConfig(), "server {\nroot /b;\n}");
  EXPECT_EQ(other.GetConfig(), parser.GetConfig());
}

TEST(ParserTemplate, LivesAndDiesWithTheDialect) {
  std::shared_ptr<BaseConfig> config = GetConfigType("Nginx", "a {\n}");
  const std::weak_ptr<BaseConfig> watched = config;
  {
    auto parser = std::make_unique<ParserTemplate>(config);
    config.reset();
    EXPECT_FALSE(watched.expired());
    const ParserTemplate copy = *parser;
    parser.reset();
    EXPECT_FALSE(watched.expired()) << "held by the copy";
  }
  EXPECT_TRUE(watched.expired());
}

TEST(ParserTemplate, EditsTheDialectsLines) {
  const std::shared_ptr<BaseConfig> config = GetConfigType("Nginx", "a {\nx;\n}");
  ParserTemplate parser(config);
  parser.SetTemplate("a {\ny;\n}").ApplyTemplate();
  EXPECT_EQ(config->Str(), "a {\nx;\ny;\n}");
}

// --- Calling order ---

TEST(CallingOrder, ATemplateSeesTheValuesSetBefore) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  parser.SetTemplate("a {\n{% if $v %}\ny;\n{% endif %}\nz {% $v %};\n}");
  parser.SetValue("v", NullValue(), "1");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\n}");
  EXPECT_EQ(parser.SetValue("w", "1", "2")
                .SetTemplate("a {\n{% if $v %}\ny;\n{% endif %}\nz {% $v %};\n}")
                .ApplyTemplate()
                .GetConfig(),
            "a {\nx;\ny;\nz 1;\n}");
}

TEST(CallingOrder, ASecondApplicationWorksOnWhatTheFirstLeft) {
  ParserTemplate parser = ParserOn("a {\nroot /1;\n}");
  parser.SetValue("d", "/1", "/2").SetTemplate("a {\nroot {% $d %};\n}").ApplyTemplate();
  EXPECT_EQ(parser.GetConfig(), "a {\nroot /2;\n}");
  parser.SetValue("d", "/2", "/3").SetTemplate("a {\nroot {% $d %};\n}").ApplyTemplate();
  EXPECT_EQ(parser.GetConfig(), "a {\nroot /3;\n}");
}

TEST(CallingOrder, ClearValuesStartsOverOnTheSameConfiguration) {
  ParserTemplate parser = ParserOn("a {\nx;\n}\ne {\n}");
  parser.SetValue("v", "o", "n").SetTemplate("a {\n{% $v %};\n}").ApplyTemplate();
  EXPECT_EQ(parser.GetConfig(), "a {\nx;\nn;\n}");
  parser.ClearValues().SetTemplate("a {\n{% $v %};\n{% if $v %}\ny;\n{% endif %}\n}");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\nn;\n}");
}

TEST(CallingOrder, ClearValuesForgetsOldValuesToo) {
  ParserTemplate parser = ParserOn("a {\nx;\ny;\n}");
  parser.SetValue("v", "x", NullValue()).ClearValues();
  parser.SetTemplate("a {\n{% if $never_set %}\n{% $v %};\n{% endif %}\n}");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\ny;\n}");
}

TEST(CallingOrder, ClearValuesForgetsTheTemplate) {
  ParserTemplate parser = ParserOn("a {\nx;\n}\ne {\n}\n\n");
  parser.SetTemplate("a {\ny;\n}");
  parser.ClearValues();
  EXPECT_EQ(parser.GetPrototype(), "");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\n}") << "only the empty block goes";
}

// --- The states ---

// Counts how often the work behind the cached results is done.
class CountingNginx : public Nginx {
 public:
  using Nginx::Nginx;

  // Asked for once by each prototype, by each reading of a template, and by the view.
  void GetIdentParams(std::set<std::string>& names) const override {
    ++asked_for_idents;
    Nginx::GetIdentParams(names);
  }
  std::string Str() const override {
    ++written;
    return Nginx::Str();
  }

  mutable int asked_for_idents = 0;
  mutable int written = 0;
};

TEST(States, AppliesOncePerChangeOfValues) {
  const auto config = std::make_shared<CountingNginx>("a {\nroot /1;\n}");
  ParserTemplate parser(config);
  parser.SetTemplate("a {\nx;\n}");
  parser.ApplyTemplate().ApplyTemplate();
  EXPECT_EQ(config->written, 1);
  EXPECT_EQ(parser.GetConfig(), "a {\nroot /1;\nx;\n}");

  parser.SetTemplate("a {\ny;\n}").ApplyTemplate();
  EXPECT_EQ(config->written, 1) << "a template alone is no reason";
  EXPECT_EQ(parser.GetConfig(), "a {\nroot /1;\nx;\n}");

  parser.SetValue("n", NullValue(), NullValue()).ApplyTemplate();
  EXPECT_EQ(config->written, 2) << "a value is, even when nothing is stored";
  EXPECT_EQ(parser.GetConfig(), "a {\nroot /1;\nx;\ny;\n}");

  parser.SetTemplate("a {\nz;\n}").SetValue(ParserOn("")).ApplyTemplate();
  EXPECT_EQ(config->written, 3) << "so are the values of another parser, even without any";
  EXPECT_EQ(parser.GetConfig(), "a {\nroot /1;\nx;\ny;\nz;\n}");

  parser.ClearValues().ApplyTemplate();
  EXPECT_EQ(config->written, 4);

  parser.GetPrototype();
  parser.GetConfig();
  parser.ApplyTemplate();
  EXPECT_EQ(config->written, 4) << "and reading is none";
}

TEST(States, ComputesThePrototypeOncePerChangeOfValues) {
  const auto config = std::make_shared<CountingNginx>("");
  ParserTemplate parser(config);
  parser.SetTemplate("a {\n}");
  const auto computed = [&] {
    const int before = config->asked_for_idents;
    parser.GetPrototype();
    return config->asked_for_idents != before;
  };
  EXPECT_TRUE(computed());
  EXPECT_FALSE(computed());
  EXPECT_EQ(parser.GetPrototype(), "a {\n}");

  parser.ApplyTemplate();
  EXPECT_FALSE(computed());

  parser.SetTemplate("b {\n}");
  EXPECT_FALSE(computed()) << "a template alone is no reason";
  EXPECT_EQ(parser.GetPrototype(), "a {\n}");

  parser.SetValue("n", "1", "2");
  EXPECT_TRUE(computed());
  EXPECT_EQ(parser.GetPrototype(), "b {\n}");

  parser.SetTemplate("c {\n}").SetValue(ParserOn(""));
  EXPECT_TRUE(computed());
  EXPECT_EQ(parser.GetPrototype(), "c {\n}");

  parser.ClearValues();
  EXPECT_TRUE(computed());
  EXPECT_EQ(parser.GetPrototype(), "");
}

TEST(States, TheEmptyPrototypeOfAFreshParserIsKept) {
  ParserTemplate parser = ParserOn("");
  EXPECT_EQ(parser.GetPrototype(), "");
  parser.SetTemplate("a {\n}");
  EXPECT_EQ(parser.GetPrototype(), "");
  parser.SetValue("n", "", "");
  EXPECT_EQ(parser.GetPrototype(), "a {\n}");
}

TEST(States, AFreshParserThatWasAppliedIsApplied) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  parser.ApplyTemplate().SetTemplate("a {\ny;\n}").ApplyTemplate();
  EXPECT_EQ(parser.GetConfig(), "a {\nx;\n}");
}

TEST(States, APrototypeDoesNotStandInTheWayOfAnApplication) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  parser.SetTemplate("a {\ny;\n}").GetPrototype();
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\ny;\n}");
}

TEST(States, GetConfigGivesTheLastApplicationWhateverChanged) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  parser.SetTemplate("a {\ny;\n}").ApplyTemplate();
  parser.SetValue("n", "1", "2").SetTemplate("a {\nz;\n}");
  EXPECT_EQ(parser.GetConfig(), "a {\nx;\ny;\n}");
  parser.ClearValues();
  EXPECT_EQ(parser.GetConfig(), "a {\nx;\ny;\n}");
}

// --- Values ---

TEST(SetValue, StoresAndRemoves) {
  struct Call {
    Value old_value, new_value;
  };
  struct Case {
    const char* name;
    std::vector<Call> calls;
    std::string old_value, new_value;  // held in the end; "-" for none
  };
  const NullValue null;
  const Case cases[] = {
      {"nothing", {}, "-", "-"},
      {"both", {{"a", "b"}}, "a", "b"},
      {"an old value only", {{"a", null}}, "a", "-"},
      {"a new value only", {{null, "b"}}, "-", "b"},
      {"empty is a value", {{"", ""}}, "", ""},
      {"neither", {{null, null}}, "-", "-"},
      {"both again", {{"a", "b"}, {"b", "c"}}, "b", "c"},
      {"a null old value removes the old one", {{"a", "b"}, {null, "c"}}, "-", "c"},
      {"a null new value removes the old one, which is stored anew, and keeps the new one",
       {{"a", "b"}, {"c", null}},
       "c",
       "b"},
      {"two nulls remove the old one only", {{"a", "b"}, {null, null}}, "-", "b"},
      {"twice", {{"a", "b"}, {null, null}, {null, null}}, "-", "b"},
      {"a null new value without an old one before", {{null, "b"}, {"c", null}}, "c", "b"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ParserTemplate parser = ParserOn("s {\nold a end;\nold b end;\nold c end;\nold  end;\n}");
    for (const Call& call : c.calls) parser.SetValue("n", call.old_value, call.new_value);

    // The value that the configuration holds, the old one or else the new one, removes its line.
    // The new one makes a line.
    parser.SetTemplate(
        "s {\n{% if $never_set %}\nold {% $n %} end;\n{% endif %}\nmade [% $n %];\n"
        "{% if $n %}\nset;\n{% endif %}\n}");
    const std::string removed = c.old_value == "-" ? c.new_value : c.old_value;
    std::string expected = "s {";
    for (const std::string value : {"a", "b", "c", ""}) {
      if (value != removed) expected += "\nold " + value + " end;";
    }
    if (c.new_value != "-") expected += "\nmade " + c.new_value + ";\nset;";
    EXPECT_EQ(parser.ApplyTemplate().GetConfig(), expected + "\n}");
  }
}

TEST(SetValue, TakesAnyName) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  parser.SetValue("", NullValue(), "nameless").SetValue("two words", "1", "2");
  parser.SetTemplate("a {\n{% $ %};\n{% $two words %};\n}");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\nnameless;\n2;\n}");
}

TEST(SetValue, KeepsNamesApart) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  parser.SetValue("n", "1", "2").SetValue("m", "3", "4").SetValue("m", NullValue(), NullValue());
  parser.SetTemplate("a {\n{% $n %} {% $m %};\n}");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\n2 4;\n}");
}

TEST(SetValue, OfAnotherParserMerges) {
  const std::string config =
      "s {\nold_a 1;\nold_a 9;\nold_b 1;\nold_b 9;\nold_c 1;\nold_c 9;\nold_d 1;\nold_d 9;\n}";
  ParserTemplate parser = ParserOn(config);
  parser.SetValue("a", "1", "1").SetValue("b", "1", "1").SetValue("c", "1", "1");
  ParserTemplate other = ParserOn("");
  other.SetValue("b", "9", "9").SetValue("c", NullValue(), "9").SetValue("d", "9", NullValue());
  parser.SetValue(other);
  parser.SetTemplate(
      "s {\n{% if $never %}\nold_a {% $a %};\nold_b {% $b %};\nold_c {% $c %};\nold_d {% $d %};\n"
      "{% endif %}\nnew [% $a %] [% $b %] [% $c %];\nd [% $d %];\n}");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(),
            "s {\nold_a 9;\nold_b 1;\nold_c 9;\nold_d 1;\nnew 1 9 9;\n}");

  other.SetTemplate("s {\n{% if $a %}\na;\n{% endif %}\n{% if $b %}\nb;\n{% endif %}\n}");
  EXPECT_EQ(other.ApplyTemplate().GetConfig(), "s {\nb;\n}") << "the other one is unchanged";
}

TEST(SetValue, OfTheParserItselfChangesNothing) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  parser.SetValue("n", "x", "y").SetTemplate("a {\n{% $n %};\n}").SetValue(parser);
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\ny;\n}");
}

TEST(SetValue, OfAnotherParserTakesNoTemplateAndNoResult) {
  ParserTemplate other = ParserOn("a {\nx;\n}");
  other.SetTemplate("a {\ny;\n}").ApplyTemplate();
  ParserTemplate parser = ParserOn("b {\nx;\n}");
  parser.SetValue(other);
  EXPECT_EQ(parser.GetPrototype(), "");
  EXPECT_EQ(parser.GetConfig(), "");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "b {\nx;\n}");
}

// --- Log ---

TEST(FacadeLog, TracesEachCallByItsSignature) {
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  LogCapture log(tov_log::kTrace);
  ParserTemplate(GetConfigType("Nginx", "")).SetValue("n", "1", "2").SetValue(parser);
  EXPECT_THAT(log.Records(), IsEmpty()) << "the constructor and SetValue are not traced";

  parser.SetValue("n", "1", "2").SetTemplate("a {\n{% $n %};\n}").ApplyTemplate().ApplyTemplate();
  parser.GetConfig();
  parser.GetPrototype();
  parser.GetPrototype();
  parser.ClearValues();

  std::vector<std::string> texts;
  for (const LogCapture::Record& record : log.Records()) {
    EXPECT_EQ(record.level, 8);
    EXPECT_EQ(record.module, "template");
    EXPECT_EQ(record.channel, "core");
    texts.push_back(record.text);
  }
  EXPECT_THAT(
      texts,
      ElementsAre(
          "tov_template::ParserTemplate& tov_template::ParserTemplate::SetTemplate(const string&)",
          "tov_template::ParserTemplate& tov_template::ParserTemplate::ApplyTemplate()",
          "tov_template::ParserTemplate& tov_template::ParserTemplate::ApplyTemplate()",
          "std::string tov_template::ParserTemplate::GetConfig() const",
          "std::string tov_template::ParserTemplate::GetPrototype() const",
          "std::string tov_template::ParserTemplate::GetPrototype() const",
          "tov_template::ParserTemplate& tov_template::ParserTemplate::ClearValues()"));
}

TEST(FacadeLog, TracesBeforeTheWork) {
  ParserTemplate parser = ParserOn("a {\n}");
  LogCapture log;
  parser.SetTemplate("").ApplyTemplate();
  EXPECT_THAT(
      log.Messages(),
      ElementsAre(
          "tov_template::ParserTemplate& tov_template::ParserTemplate::SetTemplate(const string&)",
          "Create tapestack",
          "tov_template::ParserTemplate& tov_template::ParserTemplate::ApplyTemplate()",
          "Remove empty section 'a {'"));
}

TEST(FacadeLog, TracesACallThatThrows) {
  ParserTemplate parser = ParserOn("");
  const TemplateFiles files;
  LogCapture log(tov_log::kTrace);
  EXPECT_THROW(parser.SetTemplate("{% import " + files.Path(".") + " %}"), tov_err::Error);
  EXPECT_EQ(log.Records().size(), 1u);
}

TEST(FacadeLog, RecordsTheArgumentsOfSetValue) {
  ParserTemplate parser = ParserOn("");
  const NullValue null;
  LogCapture log;
  parser.SetValue("n", "a", "b")
      .SetValue("n", "c", null)
      .SetValue("n", null, "d")
      .SetValue("n", null, null)
      .SetValue("", "", "")
      .SetValue("%s", "%d", "'");
  EXPECT_THAT(log.Messages(), ElementsAre("Template param 'n': old value 'a', new value 'b'",
                                          "Template param 'n': old value 'c', new value 'Null'",
                                          "Template param 'n': old value 'Null', new value 'd'",
                                          "Template param 'n': old value 'Null', new value 'Null'",
                                          "Template param '': old value '', new value ''",
                                          "Template param '%s': old value '%d', new value '''"));
  for (const LogCapture::Record& record : log.Records()) EXPECT_EQ(record.level, 9);
}

TEST(FacadeLog, RecordsTheOtherParsersValues) {
  ParserTemplate parser = ParserOn("");
  parser.SetValue("b", "mine", "mine").SetValue("mine", "1", "2");
  ParserTemplate other = ParserOn("");
  other.SetValue("c", "", "")
      .SetValue("b", NullValue(), "x")
      .SetValue("old only", "o", NullValue())
      .SetValue("a", "o", "n");
  LogCapture log;
  parser.SetValue(other);
  EXPECT_THAT(log.Messages(), ElementsAre("Template param 'a': old value 'o', new value 'n'",
                                          "Template param 'b': old value 'Null', new value 'x'",
                                          "Template param 'c': old value '', new value ''"));
}

TEST(FacadeLog, LogPrefix) {
  ParserTemplate parser = ParserOn("");
  LogCapture log;
  parser.SetValue("n", "a", "b").SetTemplate("");
  ASSERT_EQ(log.Records().size(), 3u);
  EXPECT_THAT(log.Records()[0].text,
              MatchesRegex("template\\.cpp:[0-9]+ Template param 'n': old value 'a', new value "
                           "'b'"));
  EXPECT_THAT(log.Records()[2].text, MatchesRegex("template\\.cpp:[0-9]+ Create tapestack"));
}

TEST(FacadeLog, LogNul) {
  using namespace std::string_literals;
  ParserTemplate parser = ParserOn("a {\nx;\n}");
  LogCapture log;
  parser.SetValue("n\0m"s, "o\0p"s, "\0q"s);
  EXPECT_THAT(log.Messages(), ElementsAre("Template param 'n': old value 'o', new value ''"));
  parser.SetTemplate("a {\ny {% $n\0m %};\n}"s);
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\ny \0q;\n}"s) << "only the record ends";
}

// One request with everything in it.
std::string RequestResult() {
  const TemplateFiles files;
  ParserTemplate parser =
      ParserOn("server {\nserver_name a;\nlisten 80;\nroot /old;\ngone;\n}\nempty {\n}");
  ParserTemplate values = ParserOn("");
  values.SetValue("dir", "/old", "/new");
  parser.SetValue("name", "a", "b").SetValue("no", "x", NullValue()).SetValue(values);
  parser.SetTemplate(
      "server {\nserver_name {% $name %};\n{% if $no or $none %}\ngone;\n{% else %}" +
      ("\nlisten 127.0.0.1:81;\n" + files.Import("x", "root {% $dir %};")) +
      "\n{% endif %}\nlocation / {\n{% if $dir == /new %}\nx;\n{% endif %}\n}\n}");
  const std::string prototype = parser.GetPrototype();
  return parser.ApplyTemplate().GetConfig() + "\n--\n" + prototype;
}

TEST(FacadeLog, LogOffByDefault) {
  std::vector<std::string> records;
  tov_log::SetHandler([&](tov_log::Level, const std::string&, const std::string&,
                          const std::string& text) { records.push_back(text); });
  RequestResult();
  tov_log::SetHandler(nullptr);
  EXPECT_THAT(records, IsEmpty());
}

TEST(FacadeLog, LevelsLetThroughWhatTheySay) {
  for (const tov_log::Level level : {-1, 0, 7, 8, 9, 100}) {
    SCOPED_TRACE(level);
    LogCapture log(level);
    RequestResult();
    bool traces = false, details = false;
    for (const LogCapture::Record& record : log.Records()) {
      (record.level == tov_log::kTrace ? traces : details) = true;
    }
    EXPECT_EQ(traces, level >= 8);
    EXPECT_EQ(details, level >= 9);
  }
}

TEST(FacadeLog, ResultsDoNotDependOnTheLevel) {
  const std::string expected =
      "server {\nserver_name b;\nlisten 80;\nroot /new;\n\tlisten 127.0.0.1:81;\nlocation / "
      "{\nx;\n}\n}\n--\nserver {\nserver_name b;\nlocation / {\n}\n}";
  EXPECT_EQ(RequestResult(), expected);
  for (const tov_log::Level level : {-1, 0, 8, 9}) {
    SCOPED_TRACE(level);
    const LogCapture log(level);
    EXPECT_EQ(RequestResult(), expected);
  }
}

TEST(FacadeLog, AHandlerThatThrowsDisturbsNothing) {
  const std::string expected = RequestResult();
  tov_log::SetHandler([](tov_log::Level, const std::string&, const std::string&,
                         const std::string&) { throw std::runtime_error("log is full"); });
  tov_log::SetLevel(tov_log::kDebug);
  std::string result;
  EXPECT_NO_THROW(result = RequestResult());
  tov_log::SetLevel(tov_log::kOff);
  tov_log::SetHandler(nullptr);
  EXPECT_EQ(result, expected);
}

// --- Failures ---

// Throws instead of a given edit.
class FailingNginx : public Nginx {
 public:
  using Nginx::Nginx;

  LineIterator AppendParam(const LineIterator& pos, const std::string& text) override {
    if (fail_on == "append") throw std::runtime_error("append failed");
    return Nginx::AppendParam(pos, text);
  }
  void ChangeParam(const LineIterator& pos, const std::string& text) override {
    if (fail_on == "change") throw std::runtime_error("change failed");
    Nginx::ChangeParam(pos, text);
  }
  LineIterator RemoveParam(const LineIterator& pos) override {
    if (fail_on == "remove") throw std::runtime_error("remove failed");
    return Nginx::RemoveParam(pos);
  }
  LineIterator RemoveParam(const LineIterator& first, const LineIterator& last) override {
    if (fail_on == "remove range") throw std::runtime_error("remove range failed");
    return Nginx::RemoveParam(first, last);
  }
  std::string Str() const override {
    if (fail_on == "write") throw std::runtime_error("write failed");
    return Nginx::Str();
  }
  void GetIdentParams(std::set<std::string>& names) const override {
    if (fail_on == "idents") throw std::runtime_error("idents failed");
    Nginx::GetIdentParams(names);
  }

  std::string fail_on;
};

TEST(Failures, OfAnApplicationLeaveTheTextAndTheNextOneRuns) {
  const std::string config = "a {\nroot /1;\ngone;\n}\nempty {\n}";
  const std::string text =
      "a {\n{% if $no %}\ngone;\n{% endif %}\nroot {% $d %};\nadded;\n}\nb {\nx;\n}";
  const std::string edited = "a {\nroot /2;\nadded;\n}\nb {\nx;\n}";
  for (const std::string fail_on : {"append", "change", "write"}) {
    SCOPED_TRACE(fail_on);
    const auto dialect = std::make_shared<FailingNginx>(config);
    ParserTemplate parser(dialect);
    parser.SetValue("d", "/1", "/2").SetTemplate(text);
    dialect->fail_on = fail_on;
    try {
      parser.ApplyTemplate();
      ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), fail_on + " failed");
    }
    EXPECT_EQ(parser.GetConfig(), "");

    EXPECT_THROW(parser.ApplyTemplate(), std::runtime_error) << "it is tried again";
    dialect->fail_on.clear();
    EXPECT_EQ(parser.ApplyTemplate().GetConfig(), edited);
  }
}

// What could not be erased may be forgotten by the view; everything else is made up for.
TEST(Failures, OfARemovalLeaveTheTextAndTheNextOneRuns) {
  struct Case {
    const char* fail_on;
    const char* text;
  };
  const Case cases[] = {
      {"remove", "a {\n{% if $no %}\ngone;\n{% endif %}\nadded;\n}"},
      {"remove range", "{% if $no %}\nb {\n}\n{% endif %}\na {\nadded;\n}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fail_on);
    const auto dialect = std::make_shared<FailingNginx>("a {\nx;\ngone;\n}\nb {\ny;\n}");
    ParserTemplate parser(dialect);
    parser.SetTemplate(c.text);
    dialect->fail_on = c.fail_on;
    EXPECT_THROW(parser.ApplyTemplate(), std::runtime_error);
    EXPECT_EQ(parser.GetConfig(), "");
    dialect->fail_on.clear();
    EXPECT_THAT(parser.ApplyTemplate().GetConfig(), HasSubstr("\nadded;\n}"));
  }
}

TEST(Failures, OfALaterApplicationLeaveTheTextOfTheOneBefore) {
  const auto dialect = std::make_shared<FailingNginx>("a {\nx;\n}");
  ParserTemplate parser(dialect);
  parser.SetTemplate("a {\ny;\n}").ApplyTemplate();
  parser.SetValue("n", "1", "2").SetTemplate("a {\nz;\n}");
  dialect->fail_on = "append";
  EXPECT_THROW(parser.ApplyTemplate(), std::runtime_error);
  EXPECT_EQ(parser.GetConfig(), "a {\nx;\ny;\n}");
  EXPECT_EQ(parser.GetPrototype(), "a {\n}");
  dialect->fail_on.clear();
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\ny;\nz;\n}");
}

TEST(Failures, AnApplicationThatNeedNotRunCannotFail) {
  const auto dialect = std::make_shared<FailingNginx>("a {\nx;\n}");
  ParserTemplate parser(dialect);
  parser.SetTemplate("a {\ny;\n}").ApplyTemplate();
  dialect->fail_on = "write";
  EXPECT_NO_THROW(parser.ApplyTemplate());
}

TEST(Failures, OfAPrototypeAreTriedAgain) {
  const auto dialect = std::make_shared<FailingNginx>("");
  ParserTemplate parser(dialect);
  parser.SetTemplate("a {\n}");
  dialect->fail_on = "idents";
  EXPECT_THROW(parser.GetPrototype(), std::runtime_error);
  dialect->fail_on.clear();
  EXPECT_EQ(parser.GetPrototype(), "a {\n}");
}

TEST(Failures, OfTheConstructorLeaveTheCallersPointer) {
  const auto dialect = std::make_shared<FailingNginx>("a {\n}");
  dialect->fail_on = "idents";
  const std::shared_ptr<BaseConfig> config = dialect;
  EXPECT_THROW(ParserTemplate parser(config), std::runtime_error);
  EXPECT_EQ(config.use_count(), 2);
}

TEST(Failures, OfATemplateLeaveItHalfReadAndTheStatesAsTheyWere) {
  const TemplateFiles files;
  const std::string import = files.Import("x", "y;");
  const std::string text = "a {\nbefore;\n" + import + "\n" + import + "\nafter;\n}";

  ParserTemplate parser = ParserOn("a {\nx;\n}");
  try {
    parser.SetTemplate(text);
    ADD_FAILURE() << "nothing thrown";
  } catch (const tov_err::Error& error) {
    EXPECT_EQ(error.type(), "template");
    EXPECT_EQ(error.object(), "circular_import");
    ASSERT_EQ(error.params().size(), 1u);
    EXPECT_EQ(error.params()[0].name, "filename");
    EXPECT_EQ(error.params()[0].value, files.Path("x"));
    EXPECT_EQ(error.params()[0].mask, 0xE0000000u);
  }
  EXPECT_EQ(parser.GetConfig(), "");
  EXPECT_EQ(parser.GetPrototype(), "a {");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\nbefore;\ny;\n}");

  EXPECT_THROW(parser.SetTemplate("b {\n" + text), tov_err::Error);
  EXPECT_EQ(parser.GetPrototype(), "a {");
  EXPECT_EQ(parser.ApplyTemplate().GetConfig(), "a {\nx;\nbefore;\ny;\n}");
  EXPECT_EQ(parser.SetValue("n", "", "").GetPrototype(), "b {\na {");
}

TEST(Failures, OfReadingAFilePassThrough) {
  const TemplateFiles files;
  ParserTemplate parser = ParserOn("");
  try {
    parser.SetTemplate("{% import " + files.Path("..") + " %}");
    ADD_FAILURE() << "nothing thrown";
  } catch (const tov_err::Error& error) {
    EXPECT_EQ(error.type(), "file");
    EXPECT_EQ(error.object(), "read");
  }
}

TEST(ParserTemplate, DifferentParsersDoNotDisturbOneAnother) {
  ParserTemplate first = ParserOn("a {\nx;\n}");
  ParserTemplate second = ParserOn("a {\nx;\n}");
  first.SetValue("v", NullValue(), "1");
  second.SetValue("v", NullValue(), "2");
  first.SetTemplate("a {\ny {% $v %};\n}");
  second.SetTemplate("a {\ny {% $v %};\n}");
  EXPECT_EQ(first.ApplyTemplate().GetConfig(), "a {\nx;\ny 1;\n}");
  EXPECT_EQ(second.ApplyTemplate().GetConfig(), "a {\nx;\ny 2;\n}");
}

}  // namespace
