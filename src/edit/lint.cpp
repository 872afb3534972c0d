// SPDX-License-Identifier: Apache-2.0

#include "edit/lint.h"

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "edit/layout/indentation.h"
#include "edit/match/comparison.h"
#include "edit/tree/authored_line.h"
#include "edit/tree/limits.h"
#include "edit/tree/template_tree.h"
#include "edit/tree/written_lines.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

using Branch = std::pair<std::size_t, std::size_t>;  // the number of its chain, and its own in that

// `line` with each place replaced by `text`.
std::string WithPlacesAs(std::string_view line, std::string_view text) {
  std::string result;
  std::size_t at = 0;
  for (const Place& place : PlacesIn(line)) {
    (result += line.substr(at, place.begin - at)) += text;
    at = place.end;
  }
  return result += line.substr(at);
}

std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words;
  while (!str::view::Trim(text).empty()) {
    const std::string_view word = str::view::GetWord(text);
    if (!word.empty()) words.emplace_back(word);
  }
  return words;
}

class Checker {
 public:
  Checker(const Request& request, ValuesGiven given)
      : m_request(request),
        m_values_given(given == ValuesGiven::kAll),
        m_nginx(request.dialect == Dialect::kNginx) {}

  std::vector<Finding> Check() {
    for (const WrittenLine& line : ReadLines(m_request, m_findings)) {
      m_line = &line;
      CheckLine();
      if (m_blocks.size() > kDeepestBlocks) return std::move(m_findings);
    }
    for (const Chain& chain : m_chains) {
      WarnAt(chain.opening, "missing-endif",
             "this if has no endif: all lines behind it belong to it. Write {% endif %} behind its "
             "last line");
    }
    for (const OpenBlock& block : m_blocks) {
      WarnAt(block.opening, "unclosed-block",
             "this block does not close, so an edit is refused. Add its closing line");
    }
    return std::move(m_findings);
  }

 private:
  struct Spot {
    FilePlace place;
    std::string text;  // of the line
  };

  struct Chain {
    Spot opening;
    std::size_t number = 0;
    std::size_t branch = 0;
    std::size_t elifs = 0;
    bool carries = false;  // a branch before has left a block open
  };

  struct OpenBlock {
    Spot opening;
    std::vector<Branch> branches;  // that it was opened in
    bool named = false;            // by a line that stands in it whatever branches are taken
  };

  // --- Findings ---

  Spot Here(std::size_t offset) const {
    return {{m_line->place.file, m_line->place.line, offset + 1}, m_line->text};
  }

  void WarnAt(const Spot& spot, const char* name, const std::string& message) {
    m_findings.push_back(FindingAt(spot.place, spot.text, name, message));
  }

  // At the `offset` in the line.
  void Warn(std::size_t offset, const char* name, const std::string& message) {
    WarnAt(Here(offset), name, message);
  }

  // At `part` of the line, behind the blanks that it begins with.
  void Warn(const std::string& part, const char* name, const std::string& message) {
    const std::size_t at = m_line->text.find(part);
    Warn(at == std::string::npos ? 0 : at + part.find_first_not_of(' '), name, message);
  }

  std::size_t Begin() const { return Indentation(m_line->text).size(); }

  std::vector<Branch> Branches() const {
    std::vector<Branch> branches;
    for (const Chain& chain : m_chains) branches.emplace_back(chain.number, chain.branch);
    return branches;
  }

  // --- One line ---

  void CheckLine() {
    const std::string_view trimmed = str::view::Trim(m_line->text);
    if (trimmed.empty() || str::view::StartsWith(trimmed, "{#}")) return;
    CheckComment();
    if (str::view::StartsWith(trimmed, "{#")) return;
    if (m_line->kind != StatementKind::kNone) {
      CheckStatement();
    } else if (!m_line->statement.empty() && m_line->statement.front() != '$') {
      const std::string word(str::view::FirstWord(m_line->statement));
      Warn(Begin(), "unknown-statement",
           "there is no statement " + Quoted(word) +
               ": the text between {% and %} is taken for a "
               "line of the configuration. There are if, elif, else, endif and import; a value is "
               "written {% $name %}");
    } else {
      CheckConfigLine();
    }
  }

  void CheckComment() {
    const std::size_t at = m_line->text.find("{#");
    if (at == std::string::npos || m_line->text.compare(at, 3, "{#}") == 0) return;
    Warn(at, "odd-comment",
         "this is not a comment: it becomes part of the configuration. A comment begins with {#} "
         "and ends with the line");
  }

  // --- Statements ---

  void CheckStatement() {
    CheckKeyword();
    if (m_line->text.find("%}") == std::string::npos) {
      Warn(Begin(), "unclosed-place", "this statement does not close. Write %} at its end");
    }
    switch (m_line->kind) {
      case StatementKind::kIf:
        m_chains.push_back({Here(Begin()), m_next_chain++, 0, 0, false});
        CheckCondition();
        break;
      case StatementKind::kElif:
        CheckCondition();
        NextBranch();
        break;
      case StatementKind::kElse:
        NextBranch();
        break;
      case StatementKind::kEndif:
        CloseChain();
        break;
      default:
        break;
    }
  }

  void CheckKeyword() {
    static const std::map<StatementKind, std::string> keywords = {
        {StatementKind::kIf, "if"},
        {StatementKind::kElif, "elif"},
        {StatementKind::kElse, "else"},
        {StatementKind::kEndif, "endif"},
        {StatementKind::kImport, "import"}};
    const std::string& keyword = keywords.at(m_line->kind);
    const std::string word(str::view::FirstWord(m_line->statement));
    const bool is_else = m_line->kind == StatementKind::kElse;
    if (word == keyword && !(is_else && word != m_line->statement)) return;
    const std::string written = is_else ? m_line->statement : word;
    Warn(keyword, "keyword-prefix",
         Quoted(written) + " counts as " + Quoted(keyword) +
             (is_else ? ": its condition is not read. For another condition write {% elif ... %}"
                      : ": only the beginning of a keyword matters. Write a blank behind it"));
  }

  void NextBranch() {
    const bool is_elif = m_line->kind == StatementKind::kElif;
    if (m_chains.empty()) {
      Warn(Begin(), "stray-else",
           "no if stands before this: the lines behind it are always taken. Write the {% if ... %} "
           "before it, or take this line out");
      return;
    }
    EndBranch();
    Chain& chain = m_chains.back();
    ++chain.branch;
    if (!is_elif || ++chain.elifs != 2) return;
    Warn(Begin(), "third-branch",
         "a second elif looks only at the branch directly before it: its lines are taken also when "
         "those of the if are. Write conditions of which at most one is true");
  }

  void CloseChain() {
    if (m_chains.empty()) {
      Warn(Begin(), "extra-endif", "there is no if that this endif closes. Take it out");
      return;
    }
    EndBranch();
    m_chains.pop_back();
  }

  // Blocks that a branch leaves open: for the library each opens one level more.
  void EndBranch() {
    Chain& chain = m_chains.back();
    const std::vector<Branch> branches = Branches();
    bool left_open = false;
    for (auto block = m_blocks.begin(); block != m_blocks.end();) {
      if (block->branches != branches) {
        ++block;
        continue;
      }
      left_open = true;
      WarnAt(block->opening, "branch-opening",
             "this opening line stands in a branch, and its closing line does not: the lines "
             "between them go elsewhere when the branch is not taken. Put the whole block into "
             "each branch");
      block->branches.pop_back();
      block = chain.carries ? m_blocks.erase(block) : std::next(block);
    }
    chain.carries = chain.carries || left_open;
  }

  // --- Conditions ---

  void CheckCondition() {
    std::string_view rest = m_line->statement;
    str::view::GetWord(rest, ' ');  // the keyword
    const std::string condition(rest);
    const bool any = str::view::Contains(condition, " or ");
    const bool all = str::view::Contains(condition, " and ");
    if (any && all) {
      Warn(
          " or ", "mixed-and-or",
          "'and' and 'or' cannot be mixed: only the text before the first 'or' counts. Nest two if "
          "statements instead");
    }
    std::list<std::string> comparisons;
    str::Split(str::Replace(condition, " and ", " or "), " or ", comparisons);
    if (comparisons.empty()) {
      Warn(Begin(), "unknown-operator",
           "the condition is empty, and never true. Write {% if $name %}");
    }
    for (const std::string& comparison : comparisons) CheckComparison(Words(comparison));
  }

  void CheckComparison(const std::vector<std::string>& words) {
    if (words.empty()) return;
    if (words.size() == 1) {
      CheckLoneOperand(words[0]);
      return;
    }
    const std::string& sign = words[1];
    if (sign == "<" || sign == ">") {
      Warn(' ' + sign + ' ', "numeric-comparison",
           Quoted(sign) +
               " compares texts, byte by byte: 10 is less than 9. Compare with == or "
               "!=, or have the program that sets the values decide");
    } else if (sign != "==" && sign != "!=") {
      Warn(sign, "unknown-operator",
           "there is no operator " + Quoted(sign) +
               ": such a comparison is never true. There are "
               "==, !=, < and >, with blanks around them, and no not");
      return;
    }
    if (words.size() == 2) {
      Warn(sign, "unknown-operator",
           "nothing stands behind " + Quoted(sign) + ". The empty text is written \"\"");
      return;
    }
    for (const std::string& operand : {words[0], words[2]}) CheckOperand(operand);
    if (words.size() > 3) {
      Warn(words[3], "extra-words",
           Quoted(words[3]) +
               " does not count: an operand is one word. Join comparisons by and, or "
               "by or");
    }
  }

  void CheckLoneOperand(const std::string& operand) {
    if (operand.find_first_of("=<>!") != std::string::npos) {
      Warn(operand, "unknown-operator",
           Quoted(operand) + " is taken for the name of a value. Write blanks around the operator");
      return;
    }
    CheckOperand(operand);
    CheckIsSet(operand.front() == '$' ? operand.substr(1) : operand, operand);
  }

  void CheckOperand(const std::string& operand) {
    const bool quoted = operand.front() == '"' || operand.front() == '\'';
    if (quoted && operand != "\"\"") {
      Warn(operand, "quoted-operand",
           "the quotes are part of the text: " + operand + " is not equal to " +
               str::Replace(str::Replace(operand, "\"", ""), "'", "") + ". Leave them out");
    }
    if (operand.front() == '$') CheckIsSet(operand.substr(1), operand);
  }

  // Said once for each name.
  void CheckIsSet(const std::string& name, const std::string& part) {
    if (!m_values_given || m_request.values.count(name) != 0) return;
    if (!m_said_unset.insert(name).second) return;
    Warn(part, "unset-value",
         "nothing sets the value " + Quoted(name) +
             ": lines with it do nothing, and conditions with it fail. Set it, or give null for no "
             "value");
  }

  // --- Lines of the configuration ---

  void CheckConfigLine() {
    std::string_view rest = m_line->text;
    const std::string text(str::view::GetWord(rest, "{#}"));
    const bool whole = CheckPlaces(text);
    const std::string plain(str::view::Trim(WithPlacesAs(text, "x")));
    if (plain.empty() || plain.front() == '#') return;
    if (str::view::StartsWith(plain, m_nginx ? "}" : "</")) {
      CloseBlock();
      return;
    }
    TemplateLine::Kind kind = TemplateLine::Kind::kBlank;
    const auto written = ReadWritten(m_request.dialect, plain, kind);
    if (!written && !whole) return;  // it has been said what is missing
    if (!written) {
      Warn(Begin(), "not-a-directive",
           "this is neither one directive nor the opening of a block, so an edit is refused. Write "
           "each directive whole, on a line of its own" +
               std::string(m_nginx ? ", and an opening brace behind the name of its block" : ""));
    } else if (kind == TemplateLine::Kind::kOpening) {
      OpenBlockHere();
      CheckOldValues(text);
    } else {
      CheckDirective(text, *written);
    }
  }

  void OpenBlockHere() {
    m_blocks.push_back({Here(Begin()), Branches()});
    if (m_blocks.size() <= kDeepestBlocks) return;
    Warn(Begin(), "limit",
         "an edit does not take blocks in blocks, more than " + std::to_string(kDeepestBlocks) +
             " deep");
  }

  // False when a place does not close.
  bool CheckPlaces(const std::string& text) {
    bool whole = true;
    for (const Place& place : PlacesIn(text)) {
      if (!place.closed) {
        whole = false;
        Warn(place.begin, "unclosed-place",
             std::string("this place does not close: the rest of the line is taken for the name. "
                         "Write ") +
                 (place.trailing ? "%]" : "%}") + " behind the name");
      }
      if (!place.is_value) {
        Warn(
            place.begin, "place-without-dollar",
            "this is not a value: it becomes the whole line, and all around it is dropped. Write $ "
            "before the name");
        continue;
      }
      CheckIsSet(place.name, text.substr(place.begin, place.end - place.begin));
    }
    return whole;
  }

  void CloseBlock() {
    if (m_blocks.empty()) {
      Warn(Begin(), "extra-closing",
           "there is no block that this line closes, so an edit is refused. Take it out");
      return;
    }
    if (m_blocks.back().branches != Branches()) {
      WarnAt(m_blocks.back().opening, "branch-opening",
             "the closing line of this block stands in another branch than its opening line. Put "
             "the whole block into each branch");
    }
    m_blocks.pop_back();
  }

  void CheckDirective(const std::string& text, const Written& written) {
    const std::string& name = written.words.front();
    if (SaysName(m_request.dialect, name) && !m_blocks.empty()) CheckIdentity(text, name);
    if (RoleOf(m_request.dialect, name) == Role::kOptions) CheckOptions(text, written);
    const std::string bare(str::view::Trim(WithPlacesAs(text, "")));
    if (bare.empty() || bare == ";") {
      Warn(Begin(), "empty-key",
           "this line has no text of its own: it stands for any directive of its block. Write the "
           "directive's name");
    }
  }

  void CheckIdentity(const std::string& text, const std::string& name) {
    OpenBlock& block = m_blocks.back();
    if (block.named) return;
    block.named = block.branches == Branches();
    if (!block.named) {
      Warn(Begin(), "branch-identity",
           "this line names its block, and stands in a branch: the block is looked for by the name "
           "of the branch that is taken. Keep such lines out of branches; let a value differ "
           "instead");
    }
    const std::vector<Place> places = PlacesIn(text);
    if (!places.empty() && places.front().trailing &&
        str::view::Trim(text.substr(0, places.front().begin)) == name) {
      Warn(places.front().begin, "any-name",
           "this place stands for any names, so that its block is not found by its name. Write the "
           "first name as a full place, {% ... %}, or as it is");
      return;
    }
    CheckOldValues(text);
  }

  // Of a line that identifies a block.
  void CheckOldValues(const std::string& text) {
    for (const Place& place : PlacesIn(text)) {
      if (!place.is_value) continue;
      const auto value = m_request.values.find(place.name);
      if (value == m_request.values.end() || !value->second.new_value) continue;
      if (value->second.old_value) continue;
      Warn(place.begin, "missing-old-value",
           "this value identifies a block and has no old text: the block is looked for under its "
           "new name, and made when it has another one. Give the old text");
    }
  }

  void CheckOptions(const std::string& text, const Written& written) {
    if (PlacesIn(text).empty() &&
        AreMixedOptions({written.words.begin() + 1, written.words.end()})) {
      Warn("Options", "mixed-options",
           "httpd refuses words with and without a sign on one line. Write all of them with "
           "a sign, or none");
    }
    if (text.find('#') != std::string::npos) {
      Warn(text.find('#'), "options-comment",
           "a comment behind Options becomes options. Comments of a template begin with {#}");
    }
  }

  const Request& m_request;
  const bool m_values_given;
  const bool m_nginx;
  const WrittenLine* m_line = nullptr;
  std::vector<Chain> m_chains;
  std::size_t m_next_chain = 0;
  std::vector<OpenBlock> m_blocks;
  std::set<std::string> m_said_unset;
  std::vector<Finding> m_findings;
};

}  // namespace

std::vector<Finding> Lint(const Request& request, ValuesGiven given) {
  std::vector<Finding> findings = Checker(request, given).Check();
  const auto place = [](const Finding& finding) {
    const FilePlace& at = finding.template_place;
    return std::tie(at.file, at.line, at.column);
  };
  std::stable_sort(findings.begin(), findings.end(),
                   [&](const Finding& a, const Finding& b) { return place(a) < place(b); });
  return findings;
}

const std::vector<FindingKind> kTemplateWarnings = {
    {"mixed-options", "Options words with and without a sign"},
    {"options-comment", "a comment behind Options, whose words become options"},
    {"unknown-statement", "a statement that does not exist"},
    {"keyword-prefix", "a keyword with more letters, of which only the beginning counts"},
    {"missing-endif", "an if without its endif"},
    {"extra-endif", "an endif without its if"},
    {"stray-else", "an else or elif without its if"},
    {"mixed-and-or", "both and and or in one condition"},
    {"unknown-operator", "an operator that does not exist"},
    {"quoted-operand", "quotes in a condition, which are part of the text"},
    {"numeric-comparison", "a comparison of numbers, which is one of texts"},
    {"extra-words", "words in a condition that do not count"},
    {"third-branch", "a second elif, which does not look at the if"},
    {"unset-value", "a value that nothing sets"},
    {"missing-old-value", "a value that identifies a block has no old text"},
    {"unclosed-place", "a place that does not close"},
    {"limit", "a template that is longer, or nests deeper, than an edit takes"},
    {"place-without-dollar", "a place without $, which stands for the whole line"},
    {"odd-comment", "a comment that is none"},
    {"missing-import", "an import of a file that is not there"},
    {"repeated-import", "a file that is imported twice"},
    {"extra-closing", "a closing line too many"},
    {"unclosed-block", "a block never closes"},
    {"branch-identity", "a line that names a block stands in a branch"},
    {"any-name", "a block whose name a template leaves open"},
    {"not-a-directive", "a line that is no directive, or more than one"},
    {"branch-opening", "an opening or closing line alone in a branch"},
    {"empty-key", "a line without a text of its own"},
};

}  // namespace tov_edit
