// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/written_lines.h"

#include <string_view>
#include <utility>

#include "edit/tree/template_text.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

StatementKind KindOf(std::string_view statement) {
  for (const auto& [keyword, kind] :
       {std::pair("endif", StatementKind::kEndif), std::pair("else", StatementKind::kElse),
        std::pair("elif", StatementKind::kElif), std::pair("if", StatementKind::kIf),
        std::pair("import", StatementKind::kImport)}) {
    if (str::view::StartsWith(statement, keyword)) return kind;
  }
  return StatementKind::kNone;
}

// What stands between the delimiters of a line that begins with "{%"; "" for another line.
std::string StatementIn(std::string_view line) {
  std::string_view text = str::view::Trim(line);
  if (!str::view::StartsWith(text, "{%")) return std::string();
  text.remove_prefix(2);
  return std::string(str::view::Trim(text.substr(0, text.find("%}"))));
}

WrittenLine LineOf(const FilePlace& place, const std::string& text) {
  const std::string statement = StatementIn(text);
  return {place, text, KindOf(statement), statement};
}

void CheckImport(const TemplateText::Import& import, std::vector<Finding>& findings) {
  using Result = TemplateText::Import::Result;
  const auto warn = [&](const char* name, const std::string& message) {
    findings.push_back(FindingAt(import.place, import.text, name, message));
  };
  if (import.result == Result::kMissing) {
    warn("missing-import",
         "there is no file " + Quoted(import.name) +
             ", and an edit is refused because of it. Correct its name, or take the import out");
  } else if (import.result == Result::kUnreadable) {
    warn("missing-import", import.problem + ", and an edit is refused because of it");
  } else if (import.result == Result::kRepeated) {
    warn("repeated-import",
         Quoted(import.name) +
             " is imported a second time, which makes the template fail. Import each file once, "
             "before all lines that need it");
  }
}

}  // namespace

std::vector<WrittenLine> ReadLines(const Request& request, std::vector<Finding>& findings) {
  const TemplateText text = WithImports(request);
  std::vector<WrittenLine> lines;
  if (text.excess) {
    const std::string what = "an edit does not take " + text.excess->what;
    findings.push_back(FindingAt(text.excess->place, "", "limit", what));
    return lines;
  }
  auto import = text.imports.begin();
  for (std::size_t i = 0; i <= text.lines.size(); ++i) {
    for (; import != text.imports.end() && import->next == i; ++import) {
      CheckImport(*import, findings);
      lines.push_back(LineOf(import->place, import->text));
    }
    if (i < text.lines.size()) lines.push_back(LineOf(text.lines[i].place, text.lines[i].text));
  }
  return lines;
}

Finding FindingAt(const FilePlace& place, const std::string& line, const char* name,
                  const std::string& message) {
  Finding finding{name, message};
  finding.template_place = place;
  finding.line_text = line;
  return finding;
}

}  // namespace tov_edit
