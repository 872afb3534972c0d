// SPDX-License-Identifier: Apache-2.0

#include "edit/attack/trial.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "edit/attack/judge.h"
#include "edit/attack/line_reading.h"
#include "edit/case_writer.h"
#include "edit/edit.h"
#include "edit/tree/template_tree.h"

namespace attack {
namespace {

// The names of files that the edit asks for go to `imports`.
tov_edit::Request RequestOf(const Attempt& attempt, std::vector<std::string>& imports) {
  tov_edit::Request request;
  request.dialect =
      attempt.dialect == Dialect::kNginx ? tov_edit::Dialect::kNginx : tov_edit::Dialect::kApache;
  request.template_name = "site.template";
  request.template_text = attempt.template_text;
  for (const auto& [name, value] : attempt.values) {
    request.values[name] = {value.old_value, value.new_value};
  }
  request.importer = [&](const std::string& name,
                         const tov_edit::FilePlace&) -> std::optional<tov_edit::ImportedFile> {
    imports.push_back(name);
    if (attempt.imported_name != name) return std::nullopt;
    return tov_edit::ImportedFile{name, attempt.imported_text};
  };
  return request;
}

std::string NamesOf(const std::vector<tov_edit::Finding>& findings) {
  std::string names;
  for (const tov_edit::Finding& finding : findings) {
    if (names.find(finding.name) == std::string::npos) names += finding.name + " ";
  }
  return names;
}

std::string MessagesOf(const std::vector<tov_edit::Finding>& findings) {
  std::string messages;
  for (const tov_edit::Finding& finding : findings) messages += Shown(finding) + "\n";
  return messages;
}

std::string WrongImports(const Attempt& attempt, const std::vector<std::string>& imports) {
  for (const std::string& name : imports) {
    if (attempt.imported_name != name) return "the file '" + name + "' is imported";
  }
  return "";
}

std::string WrongPrototype(const Judge& judge, const tov_edit::Request& request) {
  tov_edit::Findings findings;
  const std::string prototype = tov_edit::Prototype(request, findings);
  if (!findings.refusals.empty()) return "";
  const std::string wrong = judge.WhatIsWrongInPrototype(prototype);
  return wrong.empty() ? "" : "in the prototype: " + wrong + "\n" + prototype;
}

// Of such a directive a word comes once only, however often the template has it.
bool JoinsWords(const Attempt& attempt) {
  return attempt.template_text.find("Options") != std::string::npos ||
         attempt.template_text.find("ServerAlias") != std::string::npos;
}

// Whether a line says that a directive is to be there, and another one that it is to go: then each
// edit does both, if there are several.
bool Contradicts(const Attempt& attempt) {
  std::map<std::string, std::string> values;
  for (const auto& [name, value] : attempt.values) values[name] = value.new_value.value_or("");
  return std::any_of(attempt.lines.begin(), attempt.lines.end(), [&](const Line& line) {
    return line.taken &&
           std::any_of(attempt.lines.begin(), attempt.lines.end(), [&](const Line& other) {
             return !other.taken && other.block == line.block &&
                    Filled(other.text, values) == Filled(line.text, values);
           });
  });
}

// Once more, with every value as it is then.
std::string WrongAgain(const Attempt& attempt, tov_edit::Request request,
                       const tov_edit::Result& result) {
  if (JoinsWords(attempt) || Contradicts(attempt)) return "";
  for (auto& [name, value] : request.values) {
    if (!value.new_value) return "";
    value.old_value = value.new_value;
  }
  const tov_edit::Result again = tov_edit::RecordedEdit(request, result.text, "site.conf");
  if (!again.refusals.empty()) return "the second time: " + MessagesOf(again.refusals);
  return again.text == result.text ? "" : "the second time it gives another text:\n" + again.text;
}

// Whether a line is nothing but its name when a value of its trailing places is empty: then it
// would lose what it says.
bool MayBeLeftEmpty(const Attempt& attempt) {
  const bool empty =
      std::any_of(attempt.values.begin(), attempt.values.end(), [](const auto& value) {
        return value.second.new_value.value_or("x").find_first_not_of(" \t") == std::string::npos;
      });
  return empty && std::any_of(attempt.lines.begin(), attempt.lines.end(), [](const Line& line) {
           const std::size_t blank = line.text.find_first_of(" \t");
           const std::size_t first = line.text.find_first_not_of(" \t", blank);
           return first != std::string::npos && line.text.compare(first, 2, "[%") == 0;
         });
}

// Whether nothing speaks against writing the values in quotes. A directive's own name may look like
// a section's in Apache, quotes or not, and a backslash with blanks like the end of a line.
bool IsWritable(const Attempt& attempt) {
  const auto is_harmless = [](const std::optional<std::string>& value) {
    return !value || (value->size() < 1000 && value->substr(0, 1) != "{" &&
                      value->find("\\ ") == std::string::npos &&
                      std::all_of(value->begin(), value->end(), [](char c) {
                        return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f && c != '$';
                      }));
  };
  // Blanks at the end of a line go, so that a backslash before them would end it.
  const bool ends_in_blanks =
      std::any_of(attempt.lines.begin(), attempt.lines.end(), [](const Line& line) {
        return line.kind == Line::Kind::kComment || line.text.back() == ' ';
      });
  const bool backslashes =
      std::any_of(attempt.values.begin(), attempt.values.end(), [](const auto& value) {
        return value.second.new_value.value_or("").find('\\') != std::string::npos ||
               value.second.old_value.value_or("").find('\\') != std::string::npos;
      });
  if ((ends_in_blanks && backslashes) || MayBeLeftEmpty(attempt)) return false;
  const bool names_directives =
      std::any_of(attempt.lines.begin(), attempt.lines.end(), [](const Line& line) {
        return line.text.rfind("{%", 0) == 0 || line.text.rfind("<{%", 0) == 0;
      });
  return !names_directives && attempt.template_text.find("import") == std::string::npos &&
         !attempt.has_operand &&
         std::all_of(attempt.values.begin(), attempt.values.end(), [&](const auto& value) {
           return is_harmless(value.second.old_value) && is_harmless(value.second.new_value);
         });
}

}  // namespace

Tried Try(const Attempt& attempt, bool quoted) {
  Tried tried;
  std::vector<std::string> imports;
  const Judge judge(attempt, quoted);
  tov_edit::Request request = RequestOf(attempt, imports);
  request.quote = quoted;
  if (!quoted && !attempt.raw.empty()) request.raw = {attempt.raw};
  const tov_edit::Result result = tov_edit::RecordedEdit(request, attempt.config, "site.conf");
  tried.refused = !result.refusals.empty();
  tried.rightly = !judge.MustBeRefused().empty();
  tried.why = NamesOf(result.refusals);
  tried.messages = MessagesOf(result.refusals);
  tried.text = result.text;
  const tov_edit::Explained explained = tov_edit::Explain(request, attempt.config, "site.conf");
  const bool agrees = explained.result.text == result.text &&
                      NamesOf(explained.result.refusals) == NamesOf(result.refusals);
  if (!agrees) tried.wrong = "explain says otherwise";
  if (tried.wrong.empty()) tried.wrong = WrongImports(attempt, imports);
  if (tried.wrong.empty()) tried.wrong = WrongPrototype(judge, request);
  if (tried.refused && result.text != attempt.config) tried.wrong = "refused, and changed";
  if (!tried.wrong.empty()) return tried;
  if (!tried.refused) {
    tried.wrong = judge.WhatIsWrong(result.text);
    if (tried.wrong.empty()) tried.wrong = WrongAgain(attempt, request, result);
  } else if (tried.why == "value " && judge.MayBeWritten() && quoted && IsWritable(attempt)) {
    tried.wrong = "refused, though it can be written";
  }
  return tried;
}

Tried TryRaw(const Attempt& attempt) {
  Tried tried;
  std::vector<std::string> imports;
  tov_edit::Request request = RequestOf(attempt, imports);
  for (const auto& [name, value] : attempt.values) request.raw.insert(name);
  const tov_edit::Result result = tov_edit::RecordedEdit(request, attempt.config, "site.conf");
  tried.refused = !result.refusals.empty();
  tried.why = NamesOf(result.refusals);
  tried.messages = MessagesOf(result.refusals);
  tried.text = result.text;
  const tov_edit::Explained explained = tov_edit::Explain(request, attempt.config, "site.conf");
  tov_edit::Findings findings;
  tov_edit::Prototype(request, findings);
  if (explained.result.text != result.text) tried.wrong = "explain says otherwise";
  if (tried.refused && result.text != attempt.config) tried.wrong = "refused, and changed";
  if (tried.why.find("fault") != std::string::npos) tried.wrong = "a fault";
  return tried;
}

}  // namespace attack
