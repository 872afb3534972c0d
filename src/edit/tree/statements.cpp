// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/statements.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "edit/finding.h"
#include "template/condition.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

class Reader {
 public:
  using Values = std::map<std::string, std::string>;

  explicit Reader(const Values& values) : m_values(values) {}

  std::vector<OddStatement> Read(std::string_view unread) {
    while (!unread.empty()) {
      ++m_line;
      ReadLine(str::view::Trim(str::view::GetWord(unread, '\n')));
    }
    return std::move(m_found);
  }

 private:
  // An if with its branches so far.
  struct Chain {
    bool any_taken = false;
    bool last_taken = false;
  };

  void Report(const std::string& what) { m_found.push_back({m_line, what}); }

  // The text between "{%" and "%}" in `line`, which begins with "{%".
  static std::string_view Content(std::string_view line) {
    line.remove_prefix(2);
    return str::view::Trim(line.substr(0, line.find("%}")));
  }

  void ReadLine(std::string_view line) {
    if (str::view::StartsWith(line, "{#}")) return;
    if (str::view::StartsWith(line, "{#")) {
      Report(
          "'{#' does not begin a comment: the line would be put in as it is. A comment begins with "
          "{#}");
      return;
    }
    line = line.substr(0, line.find("{#}"));
    if (!str::view::StartsWith(line, "{%") || !ReadStatement(Content(line))) CheckPlaces(line);
  }

  // False when `content` is no statement.
  bool ReadStatement(std::string_view content) {
    const std::string_view keyword = str::view::FirstWord(content);
    if (keyword == "if" || keyword == "elif") {
      CheckCondition(content);
      keyword == "if" ? ReadIf(content) : ReadElif(content);
    } else if (keyword == "else") {
      if (content != keyword) {
        Report(
            "what stands behind 'else' does not count: the branch is taken whenever no other "
            "is. Write 'elif'");
      }
    } else if (keyword == "endif") {
      if (!m_chains.empty()) m_chains.pop_back();
    } else if (keyword != "import") {
      return false;
    }
    return true;
  }

  void CheckCondition(std::string_view content) {
    const auto quoted = [](std::string_view word) {
      return word != "\"\"" && (word.front() == '"' || word.front() == '\'');
    };
    bool any = false;
    bool all = false;
    for (std::string_view word; !(word = str::view::FirstWord(content)).empty();
         content = str::view::Trim(content).substr(word.size())) {
      any = any || word == "or";
      all = all || word == "and";
      if (quoted(word)) {
        Report("the quotes are part of the word " + std::string(word) +
               ", so it is never equal. Leave them out");
      }
    }
    if (any && all) Report("with 'and' and 'or' in one condition only its beginning counts");
  }

  bool Holds(std::string_view content) const {
    return tov_template::Condition(std::string(content), m_values).Result();
  }

  bool EnclosingTaken(std::size_t depth) const {
    return depth == 0 || m_chains[depth - 1].last_taken;
  }

  void ReadIf(std::string_view content) {
    const bool taken = EnclosingTaken(m_chains.size()) && Holds(content);
    m_chains.push_back({taken, taken});
  }

  // The library looks at the branch before only.
  void ReadElif(std::string_view content) {
    if (m_chains.empty()) return;
    Chain& chain = m_chains.back();
    const bool taken = !chain.last_taken && EnclosingTaken(m_chains.size() - 1) && Holds(content);
    if (taken && chain.any_taken) {
      Report(
          "this branch is taken, too, though an earlier one is: only the branch before it "
          "counts. Let the conditions exclude each other");
    }
    chain = {chain.any_taken || taken, taken};
  }

  // A place without "$" takes the place of the whole line.
  void CheckPlaces(std::string_view line) {
    const std::string_view full = "%}";
    const std::string_view trailing = "%]";
    const std::size_t last_full = line.rfind(full);
    const std::size_t last_trailing = line.rfind(trailing);
    for (std::size_t at = 0; at + 1 < line.size(); ++at) {
      const std::string_view open = line.substr(at, 2);
      if (open != "{%" && open != "[%") continue;
      const bool is_full = open == "{%";
      const std::size_t last = is_full ? last_full : last_trailing;
      std::size_t name = at + 2;
      while (name < line.size() && str::IsBlank(line[name])) ++name;
      if (last == std::string_view::npos || last < name || line[name] == '$') continue;
      const std::size_t end = line.find(is_full ? full : trailing, name) + 2;
      Report(Quoted(line.substr(at, end - at)) +
             " is not a statement, and without '$' it is not a value");
      return;
    }
  }

  const Values& m_values;
  std::vector<OddStatement> m_found;
  std::vector<Chain> m_chains;
  std::size_t m_line = 0;
};

}  // namespace

std::vector<OddStatement> OddStatements(const std::string& text,
                                        const std::map<std::string, std::string>& values) {
  return Reader(values).Read(text);
}

}  // namespace tov_edit
