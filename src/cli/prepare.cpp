// SPDX-License-Identifier: Apache-2.0

#include "cli/prepare.h"

#include <set>
#include <unordered_map>
#include <utility>

#include "template/framework/str.h"

namespace cli {
namespace {

using tov_template::Value;

// Whether `line`, without blanks around it, may differ from its normal form: a quick look.
bool MayBeOtherwise(std::string_view line) {
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '#' || (str::IsBlank(c) && c != ' ')) return true;
    const bool after_blank = i > 0 && line[i - 1] == ' ';
    if (after_blank ? c == ' ' || c == ';' : c == '{') return true;
  }
  return false;
}

// The lines of a template by their normal forms.
class TemplateLines {
 public:
  TemplateLines(Syntax syntax, const TemplateRun& run) : m_syntax(syntax) {
    for (const TemplateRun::Item* item : run.items()) {
      const auto& param = item->m_param;
      for (const Value& line : {param.m_old_value, param.m_value}) Add(line.Str());
      if (param.m_part_key) AddBeginning(param.m_key.Str());
    }
  }

  // Whether a line of the template is not in its normal form.
  bool HasOtherForms() const { return m_has_other_forms; }

  // What `line`, whose normal form is `normal`, is to be shown as; "" when nothing is like it.
  std::string ShownAs(std::string_view normal) const {
    const auto line = m_lines.find(std::string(normal));
    if (line != m_lines.end()) return line->second;
    const auto beginnings = m_beginnings.find(std::string(str::view::FirstWord(normal)));
    if (beginnings == m_beginnings.end()) return std::string();
    for (const std::string& beginning : beginnings->second) {
      const std::string form = NormalForm(m_syntax, beginning);
      const bool like = str::view::StartsWith(normal, form) && normal.size() > form.size() &&
                        (!str::IsBlank(beginning.back()) || str::IsBlank(normal[form.size()]));
      if (like) return beginning + std::string(str::view::Trim(normal.substr(form.size())));
    }
    return std::string();
  }

 private:
  void Add(const std::string& line) {
    if (line.empty()) return;
    const auto added = m_lines.emplace(NormalForm(m_syntax, line), line).first;
    if (added->first != line) m_has_other_forms = true;
  }

  void AddBeginning(const std::string& beginning) {
    if (!str::view::Trim(beginning).empty()) {
      m_beginnings[std::string(str::view::FirstWord(beginning))].insert(beginning);
    }
  }

  Syntax m_syntax;
  std::unordered_map<std::string, std::string> m_lines;
  std::unordered_map<std::string, std::set<std::string>> m_beginnings;
  bool m_has_other_forms = false;
};

}  // namespace

std::string_view ShownLines::Text(const SourceText& source, std::size_t position) const {
  const auto other = others.find(position);
  return other == others.end() ? source.lines()[position].text
                               : std::string_view(other->second.text);
}

ShownLines ShowLines(Syntax syntax, const SourceText& source, const TemplateRun& run) {
  const TemplateLines lines(syntax, run);
  ShownLines shown;
  for (std::size_t i = 0; i < source.lines().size(); ++i) {
    const std::string_view text = source.lines()[i].text;
    const std::string_view trimmed = str::view::Trim(text);
    if (!lines.HasOtherForms() && !MayBeOtherwise(trimmed)) continue;
    const std::string normal = NormalForm(syntax, trimmed);
    if (normal.empty()) continue;  // a comment
    const std::string_view comment = TrailingComment(syntax, text);
    std::string other = lines.ShownAs(normal);
    if (other.empty()) {
      const std::string bare(text.substr(0, text.size() - comment.size()));
      if (comment.empty() || !run.config().StartsSection(bare)) continue;
      other = bare;
    }
    if (str::view::Trim(other) != trimmed)
      shown.others.emplace(i, ShownLines::Other{other, comment});
  }
  return shown;
}

}  // namespace cli
