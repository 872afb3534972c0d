// SPDX-License-Identifier: Apache-2.0

#include "cli/template_lines.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "cli/findings.h"
#include "cli/imports.h"
#include "cli/text_io.h"
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

class Reader {
 public:
  Reader(const std::string& text, const std::string& file, std::vector<Diagnostic>& diagnostics)
      : m_diagnostics(diagnostics) {
    m_unread.push_back({edit::WithoutByteOrderMark(text), file, 0, 0});
  }

  std::vector<TemplateLine> Read() {
    while (!m_unread.empty()) {
      Text& text = m_unread.back();
      if (text.next == text.text.size()) {
        m_unread.pop_back();
        continue;
      }
      const TemplateLine line = NextLine(text);
      m_lines.push_back(line);
      if (line.kind == StatementKind::kImport) Import(line);
    }
    return std::move(m_lines);
  }

 private:
  // A text that has been read up to `next`.
  struct Text {
    std::string text;
    std::string file;
    std::size_t next = 0;
    std::size_t number = 0;  // of the line read last
  };

  static TemplateLine NextLine(Text& text) {
    const std::size_t end = std::min(text.text.find('\n', text.next), text.text.size());
    TemplateLine line;
    line.file = text.file;
    line.number = ++text.number;
    line.text = text.text.substr(text.next, end - text.next);
    line.statement = StatementIn(line.text);
    line.kind = KindOf(line.statement);
    text.next = std::min(end + 1, text.text.size());
    return line;
  }

  void Import(const TemplateLine& line) {
    std::string name = line.statement;
    str::GetWord(name);  // the keyword
    name = str::Trim(name);
    const std::optional<std::string> path = FindImport(name, line.file);
    if (!path) {
      Warn("missing-import", line,
           "there is no file " + Quoted(name) +
               ", and apply refuses the template. Names are looked up beside the file that "
               "imports them, then from the current directory");
    } else if (!m_imported.insert(*path).second) {
      Warn("repeated-import", line,
           Quoted(name) +
               " is imported a second time, which makes the template fail. Import each "
               "file once, before all lines that need it");
    } else {
      m_unread.push_back(
          {edit::WithoutByteOrderMark(ReadFile(*path, kLargestTemplate)), *path, 0, 0});
    }
  }

  void Warn(const char* name, const TemplateLine& line, const std::string& message) {
    m_diagnostics.push_back(
        {name, {line.file, line.number, line.text.find("import") + 1}, line.text, message});
  }

  std::vector<Diagnostic>& m_diagnostics;
  std::vector<Text> m_unread;  // the innermost import last
  std::vector<TemplateLine> m_lines;
  std::set<std::string> m_imported;
};

}  // namespace

std::vector<TemplateLine> ReadTemplateLines(const std::string& text, const std::string& file,
                                            std::vector<Diagnostic>& diagnostics) {
  return Reader(text, file, diagnostics).Read();
}

}  // namespace cli
