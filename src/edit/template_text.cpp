// SPDX-License-Identifier: Apache-2.0

#include "edit/template_text.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "template/config_type.h"
#include "template/framework/str.h"
#include "template/template.h"

namespace edit {
namespace {

using tov_template::Template;

class Reader {
 public:
  Reader(const Request& request, Findings& findings)
      : m_request(request),
        m_findings(findings),
        m_values(NewValues(request)),
        m_template(tov_template::GetConfigType("Nginx", ""), m_values, m_values) {
    m_unread.push_back({request.template_name, WithoutByteOrderMark(request.template_text), 0, 0});
  }

  TemplateText Read() {
    while (!m_unread.empty()) {
      Text& text = m_unread.back();
      if (text.next == text.text.size()) {
        m_unread.pop_back();
      } else {
        ReadLine(text);
      }
    }
    return std::move(m_result);
  }

 private:
  // A text that has been read up to `next`.
  struct Text {
    std::string name;
    std::string text;
    std::size_t next = 0;
    std::size_t number = 0;  // of the line read last
  };

  static Template::Values NewValues(const Request& request) {
    Template::Values values;
    for (const auto& [name, value] : request.values) {
      if (value.new_value) values[name] = *value.new_value;
    }
    return values;
  }

  void ReadLine(Text& text) {
    const std::size_t end = std::min(text.text.find('\n', text.next), text.text.size());
    const std::string line = text.text.substr(text.next, end - text.next);
    text.next = std::min(end + 1, text.text.size());
    ++text.number;
    if (Template::IsImport(line)) {
      Import(line, {text.name, text.number, line.find("import") + 1});
      return;
    }
    (m_result.text += line) += '\n';
    m_result.places.push_back({text.name, text.number, 0});
  }

  void Import(const std::string& line, const FilePlace& place) {
    const std::string statement = m_template.Parse(line).m_value.Str();
    std::string name = statement;
    str::GetWord(name);  // the keyword
    name = str::Trim(name);
    std::optional<ImportedFile> file;
    if (!name.empty() && m_request.importer) file = m_request.importer(name, place);
    m_result.imports.push_back({place, statement, file.has_value(), m_result.places.size() + 1});
    if (!file) {
      m_findings.refusals.push_back({"import", Shown(place) + ": there is no file " + Quoted(name) +
                                                   ". Correct its name, or take the import out"});
    } else if (!m_imported.insert(file->name).second) {
      m_findings.refusals.push_back(
          {"import", Shown(place) + ": " + Quoted(file->name) +
                         " is imported a second time. Import each file once, before all lines "
                         "that need it"});
    } else {
      m_unread.push_back({file->name, WithoutByteOrderMark(file->text), 0, 0});
    }
  }

  const Request& m_request;
  Findings& m_findings;
  const Template::Values m_values;
  const Template m_template;
  std::vector<Text> m_unread;  // the innermost import last
  std::set<std::string> m_imported;
  TemplateText m_result;
};

}  // namespace

std::string WithoutByteOrderMark(std::string text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (str::view::StartsWith(text, kMark)) text.erase(0, kMark.size());
  return text;
}

TemplateText WithImports(const Request& request, Findings& findings) {
  return Reader(request, findings).Read();
}

}  // namespace edit
