// SPDX-License-Identifier: Apache-2.0

// Tables of edits: a configuration, a template, and what comes of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "edit/case_writer.h"
#include "edit/edit.h"
#include "edit/lint.h"

namespace tov_edit {

inline const std::optional<std::string> kNone;

struct NamedValue {
  std::string name;
  std::optional<std::string> old_value;
  std::optional<std::string> new_value;
};

using NamedValues = std::vector<NamedValue>;

// What a case asks for besides the values; none: nothing.
using Ask = void (*)(Request&);

struct Case {
  std::string name;
  std::string config;
  std::string template_text;
  NamedValues values;
  std::string expected;  // the whole text
  Ask ask = nullptr;
};

// An edit of which something is said. A part of the message, and the place that it begins with.
struct SaidCase {
  std::string name;
  std::string config;
  std::string template_text;
  NamedValues values;
  std::string finding;  // its name
  std::string place;    // "site.template:3:1:"
  std::string part;
  Ask ask = nullptr;
  std::string expected = {};  // the whole text, of a warning
};

// `text` with `to` in the place of `from`, which stands in it once.
inline std::string With(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at == std::string::npos) return text;
  EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

inline std::string Without(const std::string& text, const std::string& part) {
  return With(text, part, "");
}

template <class AnyCase>
Request RequestOf(Dialect dialect, const AnyCase& c) {
  Request request;
  request.dialect = dialect;
  request.template_name = "site.template";
  request.template_text = c.template_text;
  for (const NamedValue& value : c.values) {
    request.values[value.name] = {value.old_value, value.new_value};
  }
  if (c.ask != nullptr) c.ask(request);
  return request;
}

inline std::string AllOf(const std::vector<Finding>& findings) {
  std::string all;
  for (const Finding& finding : findings) all += Shown(finding) + " [" + finding.name + "]\n";
  return all;
}

inline std::vector<Finding> Linted(const Request& request) {
  return Lint(request, ValuesGiven::kNone);
}

// The edited text, or why it is refused.
inline std::string EditedText(const Request& request, const std::string& config) {
  const Result result = RecordedEdit(request, config, "site.conf");
  return result.refusals.empty() ? result.text : "refused:\n" + AllOf(result.refusals);
}

// What an event says of a directive: what there is of it before and after the edit.
inline void ExpectEvent(const EditReport::Event& event, const std::string& config) {
  using Kind = EditReport::Event::Kind;
  EXPECT_EQ(event.kind == Kind::kAdded, event.from.empty());
  EXPECT_EQ(event.kind == Kind::kAdded, event.place.line == 0);
  EXPECT_EQ(event.kind == Kind::kRemoved, event.to.empty());
  EXPECT_TRUE(event.kind != Kind::kFound || event.from == event.to) << event.to;
  std::size_t begin = 0;
  for (std::size_t line = 1; line < event.place.line; ++line) begin = config.find('\n', begin) + 1;
  if (event.place.line == 0) return;
  EXPECT_EQ(config.substr(begin + event.place.column - 1, event.from.size()), event.from);
}

// What is told of an edit is what it does: something is added, changed or removed when the text
// comes to be another one, and each line that does so says it.
inline void ExpectTold(const Request& request, const std::string& config,
                       const std::string& expected) {
  using Action = EditReport::Action;
  const Explained explained = Explain(request, config, "site.conf");
  EXPECT_EQ(explained.result.text, expected);
  bool changes = false;
  for (const EditReport::Item& item : explained.report.items) {
    SCOPED_TRACE(item.text);
    using Kind = EditReport::Event::Kind;
    const auto has = [&](Kind kind) {
      return std::any_of(item.events.begin(), item.events.end(),
                         [&](const EditReport::Event& event) { return event.kind == kind; });
    };
    for (const EditReport::Event& event : item.events) ExpectEvent(event, config);
    EXPECT_TRUE(item.action != Action::kAdded || has(Kind::kAdded));
    EXPECT_TRUE(item.action != Action::kChanged || has(Kind::kChanged) || has(Kind::kRemoved));
    EXPECT_TRUE(item.action != Action::kAlreadyThere || has(Kind::kFound));
    const bool acts = item.action == Action::kAdded || item.action == Action::kChanged ||
                      item.action == Action::kRemoved;
    const bool acted = has(Kind::kAdded) || has(Kind::kChanged) || has(Kind::kRemoved);
    EXPECT_EQ(acts, acted || item.action == Action::kRemoved);  // it may go with its block
    changes = changes || acts;
  }
  EXPECT_EQ(changes, config != expected);
}

// Where the line of this number begins, from 1; the end of the text where it has no more.
inline std::size_t BeginOf(const std::string& text, std::size_t line) {
  std::size_t begin = 0;
  for (std::size_t at = 1; at < line && begin < text.size(); ++at) {
    begin = std::min(text.find('\n', begin), text.size() - 1) + 1;
  }
  return begin;
}

// What a caller makes of `text` who is told of these changes.
inline std::string Changed(std::string text, const std::vector<Change>& changes) {
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
    const std::size_t begin = BeginOf(text, change->line);
    const std::size_t end = BeginOf(text, change->line + change->count);
    text.replace(begin, end - begin, change->text);
  }
  return text;
}

// Each edit, made without a word. The same command once more changes nothing, nor does it with
// every value as it is then.
inline void ExpectEdits(Dialect dialect, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Request request = RequestOf(dialect, c);
    EXPECT_EQ(EditedText(request, c.config), c.expected);
    ExpectTold(request, c.config, c.expected);
    const Result result = RecordedEdit(request, c.config, "site.conf");
    EXPECT_EQ(AllOf(result.warnings), "");
    EXPECT_EQ(Changed(c.config, result.changes), c.expected);
    EXPECT_EQ(EditedText(request, c.expected), c.expected) << "the same once more";
    for (auto& [name, value] : request.values) {
      if (value.new_value) value.old_value = value.new_value;
    }
    EXPECT_EQ(EditedText(request, c.expected), c.expected) << "the second time";
  }
}

inline void ExpectFinding(const std::vector<Finding>& findings, const SaidCase& c) {
  ASSERT_EQ(findings.size(), 1U) << AllOf(findings);
  EXPECT_EQ(findings[0].name, c.finding);
  EXPECT_EQ(Shown(findings[0]).substr(0, c.place.size()), c.place) << Shown(findings[0]);
  EXPECT_NE(Shown(findings[0]).find(c.part), std::string::npos) << Shown(findings[0]);
}

// Each edit is refused for this one reason, and the text stays as it was.
inline void ExpectRefusals(Dialect dialect, const std::vector<SaidCase>& cases) {
  for (const SaidCase& c : cases) {
    SCOPED_TRACE(c.name);
    const Result result = RecordedEdit(RequestOf(dialect, c), c.config, "site.conf");
    EXPECT_EQ(result.text, c.config);
    ExpectFinding(result.refusals, c);
  }
}

// Each edit is made, with this one warning.
inline void ExpectWarnings(Dialect dialect, const std::vector<SaidCase>& cases) {
  for (const SaidCase& c : cases) {
    SCOPED_TRACE(c.name);
    const Result result = RecordedEdit(RequestOf(dialect, c), c.config, "site.conf");
    EXPECT_EQ(AllOf(result.refusals), "");
    EXPECT_EQ(result.text, c.expected);
    ExpectFinding(result.warnings, c);
  }
}

}  // namespace tov_edit
