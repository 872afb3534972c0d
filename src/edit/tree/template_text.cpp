// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/template_text.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "edit/tree/authored_line.h"
#include "edit/tree/limits.h"
#include "edit/tree/statement_values.h"
#include "template/config_type.h"
#include "template/framework/str.h"
#include "template/template.h"

namespace tov_edit {
namespace {

using tov_template::Template;

class Reader {
 public:
  explicit Reader(const Request& request)
      : m_request(request),
        m_values(NewValues(request)),
        m_template(tov_template::GetConfigType("Nginx", ""), m_values, m_values) {
    m_unread.push_back({request.template_name, WithoutByteOrderMark(request.template_text), 0, 0});
  }

  TemplateText Read() {
    CheckValues();
    while (!m_unread.empty() && !m_result.excess) {
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

  void Exceed(const FilePlace& place, const std::string& what) {
    if (!m_result.excess) m_result.excess = {place, what};
  }

  void CheckValues() {
    std::size_t size = 0;
    for (const auto& [name, value] : m_request.values) {
      size += name.size() + SizeOf(value.old_value) + SizeOf(value.new_value);
    }
    const FilePlace place = {m_request.template_name, 0, 0};
    if (m_request.values.size() > kMostValues) {
      Exceed(place, "more than " + std::to_string(kMostValues) + " values");
    } else if (size > kLargestValues) {
      Exceed(place, "values of more than " + Mebibytes(kLargestValues));
    }
  }

  static std::size_t SizeOf(const std::optional<std::string>& text) {
    return text ? text->size() : 0;
  }

  static std::string Mebibytes(std::size_t size) {
    return std::to_string(size / kMebibyte) + " MiB";
  }

  // What counts is how much it is with its values in it.
  void CheckLine(std::string_view line, const FilePlace& place) {
    std::vector<Place> places = PlacesIn(line);
    const std::string_view trimmed = str::view::Trim(line);
    if (str::view::StartsWith(trimmed, "{%")) {  // those of a statement stand inside of it
      for (Place& inside : PlacesIn(trimmed.substr(2))) places.push_back(std::move(inside));
    }
    m_size += line.size() + 1;
    for (const Place& in_line : places) {
      const auto value = m_request.values.find(in_line.name);
      if (value == m_request.values.end()) continue;
      m_size += std::max(SizeOf(value->second.old_value), SizeOf(value->second.new_value));
    }
    if (places.size() > kMostPlaces) {
      Exceed(place, "more than " + std::to_string(kMostPlaces) + " places in a line");
    } else if (m_size > kLargestTemplate) {
      Exceed(place, "a template of more than " + Mebibytes(kLargestTemplate) +
                        ", with its imports and values");
    } else if (m_result.lines.size() == kMostTemplateLines) {
      Exceed(place, "more than " + std::to_string(kMostTemplateLines) + " lines with all imports");
    }
  }

  void CheckImport(const FilePlace& place) {
    if (m_result.imports.size() == kMostImports) {
      Exceed(place, "more than " + std::to_string(kMostImports) + " imports");
    } else if (m_unread.size() > kDeepestImports) {
      Exceed(place, "imports in imports, more than " + std::to_string(kDeepestImports) + " deep");
    }
  }

  void ReadLine(Text& text) {
    const std::size_t end = std::min(text.text.find('\n', text.next), text.text.size());
    std::string line = text.text.substr(text.next, end - text.next);
    text.next = std::min(end + 1, text.text.size());
    ++text.number;
    const auto first = std::find_if_not(line.begin(), line.end(), str::IsBlank);
    const std::size_t column =
        first == line.end() ? 0 : static_cast<std::size_t>(first - line.begin()) + 1;
    const FilePlace place = {text.name, text.number, column};
    CheckLine(line, place);
    if (m_result.excess) return;
    if (Template::IsImport(line)) {
      Import(line, place);
    } else {
      m_result.lines.push_back({place, std::move(line)});
    }
  }

  void Import(const std::string& line, FilePlace place) {
    using Result = TemplateText::Import::Result;
    place.column = line.find("import") + 1;
    CheckImport(place);
    if (m_result.excess) return;
    const std::string statement = m_template.Parse(line).m_value.Str();
    std::string name = statement;
    str::GetWord(name);  // the keyword
    name = str::Trim(name);
    std::vector<std::string> odd = OddPathParts(line, m_values);
    const auto is_raw = [&](const std::string& value) { return m_request.raw.count(value) != 0; };
    odd.erase(std::remove_if(odd.begin(), odd.end(), is_raw), odd.end());
    TemplateText::Import import{
        place, line, statement, name, Result::kOddValue, "", odd, m_result.lines.size()};
    if (odd.empty()) ReadImported(import);
    m_result.imports.push_back(std::move(import));
  }

  void ReadImported(TemplateText::Import& import) {
    using Result = TemplateText::Import::Result;
    std::optional<ImportedFile> file;
    if (!import.name.empty() && m_request.importer) {
      file = m_request.importer(import.name, import.place);
    }
    if (!file) {
      import.result = Result::kMissing;
      return;
    }
    import.name = file->name;
    import.problem = file->problem;
    if (!file->problem.empty()) {
      import.result = Result::kUnreadable;
    } else if (file->text.size() > kLargestTemplate) {
      Exceed(import.place, "a file of more than " + Mebibytes(kLargestTemplate));
    } else if (!m_imported.insert(file->name).second) {
      import.result = Result::kRepeated;
    } else {
      import.result = Result::kRead;
      m_unread.push_back({file->name, WithoutByteOrderMark(std::move(file->text)), 0, 0});
    }
  }

  const Request& m_request;
  const Template::Values m_values;
  const Template m_template;
  std::vector<Text> m_unread;  // the innermost import last
  std::set<std::string> m_imported;
  std::size_t m_size = 0;  // of the lines read, with their values
  TemplateText m_result;
};

}  // namespace

std::string WithoutByteOrderMark(std::string text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (str::view::StartsWith(text, kMark)) text.erase(0, kMark.size());
  return text;
}

std::string TemplateText::Text() const {
  std::string text;
  for (const Line& line : lines) (text += line.text) += '\n';
  return text;
}

TemplateText WithImports(const Request& request) {
  return Reader(request).Read();
}

}  // namespace tov_edit
