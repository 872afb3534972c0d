// SPDX-License-Identifier: Apache-2.0

#include "edit/laws.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "document/meaning.h"
#include "edit/match/comparison.h"
#include "edit/plain_statements.h"
#include "edit/tree/template_tree.h"
#include "template/framework/str.h"

namespace edit_laws {
namespace {

using tov_edit::EditReport;
using tov_edit::Explained;
using tov_edit::Request;
using tov_edit::Result;
using tov_edit::TemplateLine;
using tov_edit::TemplateTree;
using EventKind = tov_edit::EditReport::Event::Kind;
using Statements = std::vector<Statement>;

const std::string kConfig = "CONFIG";

Explained ExplainedOf(const Request& request, const std::string& config) {
  return tov_edit::Explain(request, config, kConfig);
}

bool IsMade(const Result& result) {
  return result.refusals.empty();
}

std::string Shown(const std::vector<tov_edit::Finding>& findings) {
  std::string shown;
  for (const tov_edit::Finding& finding : findings) {
    shown += "[" + finding.name + "] " + Shown(finding) + "\n";
  }
  return shown;
}

std::string Wrong(const std::string& what, const std::string& config, const std::string& edited) {
  return what + "\n--- before:\n" + config + "\n--- after:\n" + edited;
}

// --- The report ---

std::vector<std::string> LinesWithEnds(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t newline = text.find('\n', begin);
    const std::size_t end = newline == std::string::npos ? text.size() : newline + 1;
    lines.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  return lines;
}

// None: the edits do not fit the text, or one another.
std::optional<std::string> Replayed(const std::string& text,
                                    const std::vector<tov_edit::Change>& changes) {
  const std::vector<std::string> lines = LinesWithEnds(text);
  std::string result;
  std::size_t next = 0;
  for (const tov_edit::Change& each : changes) {
    const std::size_t first = each.line - 1;
    if (each.line == 0 || first < next || first + each.count > lines.size()) return std::nullopt;
    for (; next < first; ++next) result += lines[next];
    result += each.text;
    next += each.count;
  }
  for (; next < lines.size(); ++next) result += lines[next];
  return result;
}

std::size_t OffsetOf(const std::string& text, const tov_edit::FilePlace& place) {
  std::size_t offset = 0;
  for (std::size_t line = 1; line < place.line; ++line) {
    const std::size_t newline = text.find('\n', offset);
    if (newline == std::string::npos) return text.size();
    offset = newline + 1;
  }
  return offset + place.column - 1;
}

// --- What the report says of the statements ---

bool IsSame(tov_edit::Dialect dialect, const WordList& words, const tov_edit::WrittenPtr& written) {
  return written && !written->words.empty() && tov_edit::SameWords(dialect, words, written->words);
}

// Whether a line of the template may mean the directive, or the block, with these words.
bool Names(tov_edit::Dialect dialect, const TemplateLine& line, const WordList& words) {
  if (IsSame(dialect, words, line.was) || IsSame(dialect, words, line.now)) return true;
  if (line.beginning && tov_edit::BeginsWith(dialect, words, *line.beginning)) return true;
  for (const auto* written : {&line.was, &line.now}) {
    if (!*written || (*written)->words.empty()) continue;
    const WordList& own = (*written)->words;
    if (line.kind == TemplateLine::Kind::kOpening) {
      if (tov_edit::SameHead(dialect, words, own)) return true;
      continue;
    }
    // Names, addresses and options are compared word by word.
    const tov_edit::Role role = tov_edit::RoleOf(dialect, own.front());
    if (role != tov_edit::Role::kPlain && role == tov_edit::RoleOf(dialect, words.front()))
      return true;
  }
  return false;
}

class Tally {
 public:
  Tally(const Request& request, const std::string& config, Statements before, Statements after)
      : m_dialect(request.dialect),
        m_config(config),
        m_before(std::move(before)),
        m_after(std::move(after)),
        m_touched(m_before.size(), false) {
    tov_edit::Findings ignored;
    m_tree = tov_edit::ReadTemplate(request, ignored);
  }

  std::string Check(const EditReport& report, const std::string& edited) {
    for (std::size_t i = 0; i < report.items.size(); ++i) {
      for (const EditReport::Event& event : report.items[i].events) {
        const std::string wrong = Count(i, event);
        if (!wrong.empty()) return wrong;
      }
    }
    const std::string odd = CountAdded();
    if (!odd.empty()) return odd;
    for (const Statement& statement : m_after) ++m_balance[TextOf(statement)];
    const std::string strange = FindStranger();
    if (!strange.empty()) return strange;
    const std::string moved = Moved();
    return moved.empty() ? LostComment(edited) : moved;
  }

 private:
  // A line of the template with one directive or block of the configuration.
  std::string Count(std::size_t item, const EditReport::Event& event) {
    const TemplateLine& line = m_tree.lines[item];
    if (line.kind == TemplateLine::Kind::kComment) {
      if (event.kind != EventKind::kFound) m_comments.insert(str::Trim(event.from));
      return "";
    }
    if (event.kind == EventKind::kAdded) {
      ++m_added[{line.block, event.to}][item];
      return "";
    }
    const std::size_t offset = OffsetOf(m_config, event.place);
    const auto at =
        std::find_if(m_before.begin(), m_before.end(),
                     [offset](const Statement& statement) { return statement.begin == offset; });
    if (at == m_before.end()) return "nothing stands where this should: " + event.from;
    const auto number = static_cast<std::size_t>(at - m_before.begin());
    if (event.kind == EventKind::kFound) {
      m_found.emplace_back(item, number);
      return "";
    }
    if (!Names(m_dialect, line, at->words)) return line.text + " does not name " + event.from;
    // Several lines of the template may have to do with one directive, and tell of it alike.
    const auto [known, is_new] = m_results.emplace(number, event.to);
    if (known->second != event.to) return "reported as " + known->second + " and as " + event.to;
    if (!is_new) return "";
    m_touched[number] = true;
    if (event.kind == EventKind::kRemoved) {
      if (at->kind == Statement::Kind::kOpening) TouchBlock(number);
      return "";
    }
    if (at->kind == Statement::Kind::kOpening) m_renamed.insert(at->words);
    return CountNew(line, event.to, 1, 1);
  }

  // What a line of the template is said to be, and is not: neither as it was nor as it is.
  std::string FindStranger() const {
    for (const auto& [item, number] : m_found) {
      const TemplateLine& line = m_tree.lines[item];
      const WordList& words = m_before[number].words;
      if (Names(m_dialect, line, words)) continue;
      const auto result = m_results.find(number);
      TemplateLine::Kind kind = line.kind;
      const auto written = result == m_results.end()
                               ? std::nullopt
                               : tov_edit::ReadWritten(m_dialect, result->second, kind);
      if (written && Names(m_dialect, line, written->words)) continue;
      return line.text + " is not " + TextOf(words);
    }
    return "";
  }

  void TouchBlock(std::size_t opening) {
    const std::size_t depth = m_before[opening].path.size();
    for (std::size_t i = opening + 1; i < m_before.size(); ++i) {
      m_touched[i] = true;
      if (m_before[i].path.size() == depth) break;
    }
  }

  // Lines of one block may have been added as one, or each in another of the blocks that fit.
  std::string CountAdded() {
    for (const auto& [added, counts] : m_added) {
      const auto most = std::max_element(
          counts.begin(), counts.end(),
          [](const auto& one, const auto& other) { return one.second < other.second; });
      const std::size_t all =
          std::accumulate(counts.begin(), counts.end(), std::size_t(),
                          [](std::size_t sum, const auto& count) { return sum + count.second; });
      const std::string odd = CountNew(m_tree.lines[most->first], added.second, most->second, all);
      if (!odd.empty()) return odd;
    }
    return "";
  }

  // `text` has to be there `least` times, and may be there `most` times.
  std::string CountNew(const TemplateLine& line, const std::string& text, std::size_t least,
                       std::size_t most) {
    std::string said = "}";
    if (line.kind != TemplateLine::Kind::kClosing) {
      TemplateLine::Kind kind = line.kind;
      const auto written = tov_edit::ReadWritten(m_dialect, text, kind);
      if (!written || kind != line.kind) return "reported as new, and is no directive: " + text;
      said = TextOf(written->words);
      if (kind == TemplateLine::Kind::kOpening) m_renamed.insert(written->words);
    }
    m_balance[said] -= static_cast<int>(least);
    m_slack[said] += static_cast<int>(most - least);
    return "";
  }

  static std::string TextOf(const WordList& words) {
    std::string text;
    for (const std::string& word : words) text += "'" + word + "' ";
    return text;
  }

  static std::string TextOf(const Statement& statement) {
    return statement.kind == Statement::Kind::kClosing ? "}" : TextOf(statement.words);
  }

  // With the blocks around; those that have got other names, or might be taken for one of them, by
  // their number only.
  std::string PathOf(const Statement& statement) const {
    std::string text;
    for (const WordList& head : statement.path) {
      text += m_renamed.count(head) == 0 ? TextOf(head) + "> " : "* > ";
    }
    return text + TextOf(statement);
  }

  // The first of the statements that nothing has been done to that does not come when it should.
  std::string Moved() {
    for (std::size_t i = 0; i < m_before.size(); ++i) {
      if (!m_touched[i]) --m_balance[TextOf(m_before[i])];
    }
    for (const auto& [text, count] : m_balance) {
      if (count < 0) return "lost: " + text;
      if (count > m_slack[text]) return "not reported: " + text;
    }
    auto next = m_after.begin();
    for (std::size_t i = 0; i < m_before.size(); ++i) {
      if (m_touched[i]) continue;
      const std::string path = PathOf(m_before[i]);
      next = std::find_if(next, m_after.end(),
                          [&](const Statement& statement) { return PathOf(statement) == path; });
      if (next == m_after.end()) return "does not stand where it stood: " + path;
      ++next;
    }
    return "";
  }

  // A line with a comment alone that is not there any more.
  std::string LostComment(const std::string& edited) const {
    std::multiset<std::string> left;
    for (const auto& [offset, text] : CommentLines(edited)) left.insert(text);
    for (const auto& [offset, text] : CommentLines(m_config)) {
      if (m_comments.count(text) != 0 || IsTouched(offset)) continue;
      const auto at = left.find(text);
      if (at == left.end()) return "lost: " + text;
      left.erase(at);
    }
    return "";
  }

  static std::vector<std::pair<std::size_t, std::string>> CommentLines(const std::string& text) {
    std::vector<std::pair<std::size_t, std::string>> comments;
    std::size_t offset = 0;
    for (const std::string& line : LinesWithEnds(text)) {
      const std::size_t begin = line.find_first_not_of(" \t\r\n");
      if (begin != std::string::npos && line[begin] == '#') {
        const std::size_t last = line.find_last_not_of(" \t\r\n");
        comments.emplace_back(offset + begin, line.substr(begin, last + 1 - begin));
      }
      offset += line.size();
    }
    return comments;
  }

  // Whether a place is in a directive or a block that is changed or gone.
  bool IsTouched(std::size_t offset) const {
    std::optional<std::size_t> from;
    for (std::size_t i = 0; i < m_before.size(); ++i) {
      if (!m_touched[i]) {
        from.reset();
        continue;
      }
      if (!from) from = m_before[i].begin;
      if (*from <= offset && offset < m_before[i].end) return true;
    }
    return false;
  }

  const tov_edit::Dialect m_dialect;
  const std::string& m_config;
  const Statements m_before;
  const Statements m_after;
  TemplateTree m_tree;
  std::vector<std::pair<std::size_t, std::size_t>> m_found;  // lines of the template, statements
  std::map<std::size_t, std::string> m_results;  // by statements that are changed or gone
  std::vector<bool> m_touched;                   // of m_before: changed, or gone
  // By blocks of the template and texts: how often a line of the template has added it.
  std::map<std::pair<std::size_t, std::string>, std::map<std::size_t, std::size_t>> m_added;
  std::map<std::string, int> m_slack;     // of texts: how many may be there besides
  std::map<std::string, int> m_balance;   // of texts: those that are there, less those expected
  std::set<WordList> m_renamed;           // heads before and after, and new ones
  std::multiset<std::string> m_comments;  // that the template is for
};

// --- Requests that follow ---

// The request when its edit has been made: what was new is old then.
Request Settled(Request request) {
  for (auto& [name, value] : request.values) {
    if (value.new_value) value.old_value = value.new_value;
  }
  return request;
}

// Nothing changes: each value stays what it was.
Request Staying(Request request) {
  for (auto& [name, value] : request.values) {
    if (value.old_value) value.new_value = value.old_value;
  }
  return request;
}

Request Back(Request request) {
  for (auto& [name, value] : request.values) {
    if (value.old_value) std::swap(value.old_value, value.new_value);
  }
  return request;
}

bool Holds(const EditReport& report, EventKind kind) {
  return std::any_of(report.items.begin(), report.items.end(), [kind](const auto& item) {
    return std::any_of(item.events.begin(), item.events.end(),
                       [kind](const EditReport::Event& event) { return event.kind == kind; });
  });
}

bool AddsOrRemoves(const EditReport& report) {
  return Holds(report, EventKind::kAdded) || Holds(report, EventKind::kRemoved);
}

// --- Templates that say nothing certain ---

// What a block of a template states of its own.
struct Identity {
  std::vector<const TemplateLine*> lines;  // with names or addresses

  tov_edit::Texts All(tov_edit::Dialect dialect, tov_edit::Role role) const {
    tov_edit::Texts all;
    for (const TemplateLine* line : lines) {
      for (const auto* written : {&line->was, &line->now}) {
        if (!*written || tov_edit::RoleOf(dialect, (*written)->words.front()) != role) continue;
        if (tov_document::SameName(dialect, (*written)->words.front(), "ServerAlias")) continue;
        const tov_edit::Texts own = role == tov_edit::Role::kNames
                                        ? tov_edit::NamesIn(dialect, (*written)->words)
                                        : tov_edit::AddressesIn(dialect, (*written)->words);
        all.insert(all.end(), own.begin(), own.end());
      }
    }
    return all;
  }
};

Identity IdentityOf(const TemplateTree& tree, std::size_t block) {
  Identity identity;
  for (const std::size_t child : tree.blocks[block].children) {
    const TemplateLine& line = tree.lines[child];
    const bool counts = line.enabled == tree.blocks[block].enabled;
    if (counts && line.kind == TemplateLine::Kind::kDirective) identity.lines.push_back(&line);
  }
  return identity;
}

// Whether nothing that the template states tells two of its blocks apart.
bool AreAlike(const TemplateTree& tree, tov_edit::Dialect dialect, std::size_t a, std::size_t b) {
  const TemplateLine& one = tree.lines[tree.blocks[a].opening];
  const TemplateLine& other = tree.lines[tree.blocks[b].opening];
  bool same_head = false;
  for (const auto* written : {&one.was, &one.now}) {
    for (const auto* with : {&other.was, &other.now}) {
      same_head = same_head || (*written && *with &&
                                tov_edit::SameHead(dialect, (*written)->words, (*with)->words));
    }
  }
  if (!same_head) return false;
  const auto& head = one.now ? one.now : one.was;
  if (!head || !tov_document::IsServer(dialect, head->words.front())) return true;
  for (const tov_edit::Role role : {tov_edit::Role::kNames, tov_edit::Role::kAddress}) {
    const tov_edit::Texts own = IdentityOf(tree, a).All(dialect, role);
    const tov_edit::Texts its = IdentityOf(tree, b).All(dialect, role);
    if (!own.empty() && !its.empty() && !tov_edit::ShareOne(own, its)) return false;
  }
  return true;
}

// The block around that a template cannot leave out: http and conditions are looked into anyway.
std::size_t ScopeOf(const TemplateTree& tree, tov_edit::Dialect dialect, std::size_t block) {
  std::size_t scope = tree.blocks[block].parent;
  for (; scope != 0; scope = tree.blocks[scope].parent) {
    const TemplateLine& opening = tree.lines[tree.blocks[scope].opening];
    if (!opening.now) break;
    const std::string& name = opening.now->words.front();
    const bool open = dialect == tov_edit::Dialect::kNginx
                          ? name == "http"
                          : tov_document::IsCondition(dialect, name);
    if (!open) break;
  }
  return scope;
}

bool HasAlikeBlocks(const Request& request) {
  tov_edit::Findings ignored;
  const TemplateTree tree = tov_edit::ReadTemplate(request, ignored);
  for (std::size_t a = 1; a < tree.blocks.size(); ++a) {
    for (std::size_t b = a + 1; b < tree.blocks.size(); ++b) {
      const bool near = ScopeOf(tree, request.dialect, a) == ScopeOf(tree, request.dialect, b);
      if (near && AreAlike(tree, request.dialect, a, b)) return true;
    }
  }
  return false;
}

// Whether one of two lines with Apache's Options states a word with a plus, and the other one with
// a minus.
bool HaveOtherSigns(tov_edit::Dialect dialect, const WordList& line, const WordList& other) {
  for (const WordList* words : {&line, &other}) {
    const bool options =
        !words->empty() && tov_edit::RoleOf(dialect, words->front()) == tov_edit::Role::kOptions;
    if (!options) return false;
  }
  for (const std::string& word : line) {
    if (word.empty() || (word.front() != '+' && word.front() != '-')) continue;
    const std::string opposite = (word.front() == '+' ? "-" : "+") + word.substr(1);
    if (tov_edit::Contains(other, opposite)) return true;
  }
  return false;
}

// Whether `line` says that something has changed, and `other` that it is still there.
bool Contradicts(tov_edit::Dialect dialect, const TemplateLine& line, const TemplateLine& other) {
  if (!line.was || !line.now || !other.now) return false;
  if (line.was->words == line.now->words || line.was->words.empty()) return false;
  if (tov_edit::SameWords(dialect, line.was->words, other.now->words)) return true;
  const tov_edit::Role role = tov_edit::RoleOf(dialect, line.was->words.front());
  if (role == tov_edit::Role::kPlain ||
      role != tov_edit::RoleOf(dialect, other.now->words.front())) {
    return false;
  }
  const tov_edit::Texts now = tov_edit::AddressesIn(dialect, line.now->words);
  const tov_edit::Texts stay = tov_edit::AddressesIn(dialect, other.now->words);
  for (const std::string& word : tov_edit::AddressesIn(dialect, line.was->words)) {
    if (!tov_edit::Contains(now, word) && tov_edit::Contains(stay, word)) return true;
  }
  return false;
}

bool ContradictsItself(const Request& request) {
  tov_edit::Findings ignored;
  const TemplateTree tree = tov_edit::ReadTemplate(request, ignored);
  const auto is_stated = [](const TemplateLine& line) {
    return line.enabled && line.kind == TemplateLine::Kind::kDirective;
  };
  for (const TemplateLine& line : tree.lines) {
    for (const TemplateLine& other : tree.lines) {
      const bool both = is_stated(line) && is_stated(other) && line.block == other.block;
      if (!both || !line.now || !other.now) continue;
      if (Contradicts(request.dialect, line, other)) return true;
      if (HaveOtherSigns(request.dialect, line.now->words, other.now->words)) return true;
    }
  }
  return false;
}

// Whether something that the request changes into another is in `text`, so many times at least.
bool HoldsOldText(const Request& request, const std::string& text, std::size_t times = 1) {
  tov_edit::Findings ignored;
  const TemplateTree tree = tov_edit::ReadTemplate(request, ignored);
  const auto statements = StatementsOf(request.dialect, text);
  if (!statements) return false;
  for (const TemplateLine& line : tree.lines) {
    std::size_t count = 0;
    for (const Statement& statement : *statements) {
      if (statement.words.empty()) continue;
      TemplateLine there;
      there.now =
          std::make_shared<const tov_edit::Written>(tov_edit::Written{"", statement.words, {}});
      if (line.kind == TemplateLine::Kind::kDirective &&
          Contradicts(request.dialect, line, there)) {
        ++count;
      }
      if (count >= times) return true;
    }
  }
  return false;
}

// Whether the template takes out what changes: that stands for two texts, and when one of them is
// gone, it is the other one's turn.
bool TakesOutWhatChanges(const Request& request) {
  tov_edit::Findings ignored;
  const TemplateTree tree = tov_edit::ReadTemplate(request, ignored);
  return std::any_of(tree.lines.begin(), tree.lines.end(), [](const TemplateLine& line) {
    return !line.enabled && line.was && line.now && line.was->text != line.now->text;
  });
}

// Whether a line that would change something lacks a value: then it has not become what it should.
bool LacksValues(const Request& request) {
  tov_edit::Findings ignored;
  const TemplateTree tree = tov_edit::ReadTemplate(request, ignored);
  return std::any_of(tree.lines.begin(), tree.lines.end(), [](const TemplateLine& line) {
    return line.enabled && line.old_given && !line.now;
  });
}

bool AreAmbiguous(const std::vector<tov_edit::Finding>& refusals) {
  return std::all_of(refusals.begin(), refusals.end(),
                     [](const tov_edit::Finding& refusal) { return refusal.name == "ambiguous"; });
}

std::string SecondEdit(const Request& request, const Explained& first, const char* values) {
  const std::string& once = first.result.text;
  const Result twice = tov_edit::Edit(request, once, kConfig);
  // What has gone may be what told two blocks apart.
  const bool blurred = Holds(first.report, EventKind::kRemoved) && AreAmbiguous(twice.refusals);
  if (!IsMade(twice) && blurred) return "";
  if (!IsMade(twice)) {
    return Wrong(std::string("refused the second time, with ") + values + " values:\n" +
                     Shown(twice.refusals),
                 once, twice.text);
  }
  if (twice.text == once) return "";
  return Wrong(std::string("twice is not once, with ") + values + " values", once, twice.text);
}

}  // namespace

std::string AnEmptyTemplateChangesNothing(const Request& request, const std::string& config) {
  Request empty = request;
  empty.template_text.clear();
  empty.values.clear();
  empty.must_be_used.clear();
  empty.forced.insert("syntax");  // it may look as if it were written for the other server
  const Result edited = tov_edit::Edit(empty, config, kConfig);
  if (edited.text != config) {
    return Wrong("an empty template has changed something", config, edited.text);
  }
  const bool taken = StatementsOf(request.dialect, config).has_value();
  return IsMade(edited) || !taken ? "" : "an empty template is refused:\n" + Shown(edited.refusals);
}

std::string ExplainAgrees(const Request& request, const std::string& config) {
  const Result edited = tov_edit::Edit(request, config, kConfig);
  const Result explained = ExplainedOf(request, config).result;
  if (!IsMade(edited) && edited.text != config) {
    return Wrong("refused, and changed", config, edited.text);
  }
  const bool agree = edited.text == explained.text && edited.skipped == explained.skipped &&
                     Shown(edited.refusals) == Shown(explained.refusals) &&
                     Shown(edited.warnings) == Shown(explained.warnings);
  return agree ? "" : Wrong("Explain has another result", edited.text, explained.text);
}

std::string ChangesGiveTheResult(const Request& request, const std::string& config) {
  const Explained explained = ExplainedOf(request, config);
  const auto replayed = Replayed(config, explained.result.changes);
  if (!replayed) return "the reported changes do not fit the text:\n" + config;
  if (!IsMade(explained.result)) return "";
  if (*replayed != explained.result.text) {
    return Wrong("the reported changes give another text:\n" + *replayed, config,
                 explained.result.text);
  }
  if (explained.result.changed != (explained.result.text != config)) return "changed is wrong";
  for (const tov_edit::Change& each : explained.result.changes) {
    const bool known =
        std::all_of(each.template_lines.begin(), each.template_lines.end(),
                    [&](const tov_edit::FilePlace& place) {
                      return std::any_of(
                          explained.report.items.begin(), explained.report.items.end(),
                          [&](const tov_edit::EditReport::Item& item) {
                            return item.place.file == place.file && item.place.line == place.line;
                          });
                    });
    if (each.template_lines.empty() || !known) return "a change without a reason: " + each.text;
  }
  return "";
}

std::string WhatIsTakenStaysSo(const Request& request, const std::string& config) {
  const Result edited = tov_edit::Edit(request, config, kConfig);
  if (!IsMade(edited) || !StatementsOf(request.dialect, config)) return "";
  if (StatementsOf(request.dialect, edited.text)) return "";
  return Wrong("no server takes this any more", config, edited.text);
}

std::string OnlyWhatIsNamedChanges(const Request& request, const std::string& config) {
  const Explained explained = ExplainedOf(request, config);
  if (!IsMade(explained.result)) return "";
  auto before = StatementsOf(request.dialect, config);
  auto after = StatementsOf(request.dialect, explained.result.text);
  if (!before || !after) return "";
  const std::string wrong = Tally(request, config, std::move(*before), std::move(*after))
                                .Check(explained.report, explained.result.text);
  return wrong.empty() ? "" : Wrong(wrong, config, explained.result.text);
}

std::string TwiceIsOnce(const Request& request, const std::string& config) {
  const Explained once = ExplainedOf(request, config);
  if (!IsMade(once.result) || HasAlikeBlocks(request) || ContradictsItself(request)) return "";
  if (TakesOutWhatChanges(request) || LacksValues(request)) return "";
  const std::string wrong = SecondEdit(Settled(request), once, "settled");
  // What was there twice is changed once; the next time it is the other one's turn.
  if (!wrong.empty() || HoldsOldText(request, once.result.text)) return wrong;
  return SecondEdit(request, once, "the same");
}

std::string ThereAndBackAgain(const Request& request, const std::string& config) {
  const Explained stayed = ExplainedOf(Staying(request), config);
  const auto is_plain = [](const Explained& explained) {
    return IsMade(explained.result) && explained.result.warnings.empty() &&
           !AddsOrRemoves(explained.report);
  };
  if (!is_plain(stayed) || stayed.result.text != config) return "";
  const Explained there = ExplainedOf(request, config);
  if (!is_plain(there)) return "";
  // What was there under its new text already would become the old one, too; what was there twice
  // is so still.
  if (HoldsOldText(Back(request), config) || HoldsOldText(request, config, 2)) return "";
  const Result again = tov_edit::Edit(Back(request), there.result.text, kConfig);
  if (!IsMade(again)) {
    return Wrong("no way back:\n" + Shown(again.refusals), config, there.result.text);
  }
  return again.text == config
             ? ""
             : Wrong("back is not where it was:\n" + again.text, config, there.result.text);
}

std::string Broken(const Request& request, const std::string& config) {
  for (const Law law :
       {AnEmptyTemplateChangesNothing, ExplainAgrees, ChangesGiveTheResult, WhatIsTakenStaysSo,
        OnlyWhatIsNamedChanges, TwiceIsOnce, ThereAndBackAgain}) {
    const std::string wrong = law(request, config);
    if (!wrong.empty()) return wrong + "\n--- template:\n" + request.template_text;
  }
  return "";
}

}  // namespace edit_laws
