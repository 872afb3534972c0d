#include "cli/template_lines.h"

#include <set>
#include <utility>

#include "cli/findings.h"
#include "cli/text_io.h"
#include "template/framework/str.h"
#include "template/framework/tov_file.h"

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
  explicit Reader(std::vector<Diagnostic>& diagnostics) : m_diagnostics(diagnostics) {}

  void Read(std::string_view text, const std::string& file) {
    for (std::size_t number = 1; !text.empty(); ++number) {
      TemplateLine line{file, number, std::string(str::view::GetWord(text, '\n')),
                        StatementKind::kNone, std::string()};
      line.statement = StatementIn(line.text);
      line.kind = KindOf(line.statement);
      m_lines.push_back(line);
      if (line.kind == StatementKind::kImport) Import(line);
    }
  }

  std::vector<TemplateLine> Take() { return std::move(m_lines); }

 private:
  void Import(const TemplateLine& line) {
    std::string name = line.statement;
    str::GetWord(name);  // the keyword
    name = str::Trim(name);
    const std::string path = tov_file::RealPath(name);
    if (path.empty() || !tov_file::Exists(path)) {
      Warn("missing-import", line,
           "there is no file " + Quoted(name) +
               ": nothing is imported, without a word. Names are looked up from the current "
               "directory");
    } else if (!m_imported.insert(path).second) {
      Warn("repeated-import", line,
           Quoted(name) +
               " is imported a second time, which makes the template fail. Import each "
               "file once, before all lines that need it");
    } else {
      Read(ReadFile(path), path);
    }
  }

  void Warn(const char* name, const TemplateLine& line, const std::string& message) {
    m_diagnostics.push_back(
        {name, {line.file, line.number, line.text.find("import") + 1}, line.text, message});
  }

  std::vector<Diagnostic>& m_diagnostics;
  std::vector<TemplateLine> m_lines;
  std::set<std::string> m_imported;
};

}  // namespace

std::vector<TemplateLine> ReadTemplateLines(const std::string& text, const std::string& file,
                                            std::vector<Diagnostic>& diagnostics) {
  Reader reader(diagnostics);
  reader.Read(text, file);
  return reader.Take();
}

}  // namespace cli
