// SPDX-License-Identifier: Apache-2.0

#include "cli/template_lines.h"

#include <string_view>
#include <utility>

#include "cli/findings.h"
#include "cli/imports.h"
#include "edit/template_text.h"
#include "template/framework/str.h"

namespace cli {
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

TemplateLine LineOf(const edit::FilePlace& place, const std::string& text) {
  const std::string statement = StatementIn(text);
  return {place, text, KindOf(statement), statement};
}

void CheckImport(const edit::TemplateText::Import& import, std::vector<Diagnostic>& diagnostics) {
  using Result = edit::TemplateText::Import::Result;
  const auto warn = [&](const char* name, const std::string& message) {
    diagnostics.push_back({name, import.place, import.text, message});
  };
  if (import.result == Result::kMissing) {
    warn("missing-import",
         "there is no file " + Quoted(import.name) +
             ", and apply refuses the template. Names are looked up beside the file that imports "
             "them, then from the current directory");
  } else if (import.result == Result::kRepeated) {
    warn("repeated-import",
         Quoted(import.name) +
             " is imported a second time, which makes the template fail. Import each file once, "
             "before all lines that need it");
  }
}

}  // namespace

std::vector<TemplateLine> ReadTemplateLines(edit::Request request,
                                            std::vector<Diagnostic>& diagnostics) {
  request.importer = FileImporter("");
  const edit::TemplateText text = edit::WithImports(request);
  std::vector<TemplateLine> lines;
  auto import = text.imports.begin();
  for (std::size_t i = 0; i <= text.lines.size(); ++i) {
    for (; import != text.imports.end() && import->next == i; ++import) {
      CheckImport(*import, diagnostics);
      lines.push_back(LineOf(import->place, import->text));
    }
    if (i < text.lines.size()) lines.push_back(LineOf(text.lines[i].place, text.lines[i].text));
  }
  return lines;
}

}  // namespace cli
