// SPDX-License-Identifier: Apache-2.0

#include "adopt/difference.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>

#include "adopt/texts.h"
#include "adopt/writing.h"
#include "document/ascii.h"
#include "document/meaning.h"

namespace tov_adopt {
namespace {

using Numbers = std::vector<std::size_t>;

// Lines with what it takes to compare them.
class Compared {
 public:
  Compared(Dialect dialect, const Lines& lines) : m_lines(lines), m_children(lines.all.size() + 1) {
    m_own.reserve(lines.all.size());
    for (const Line& line : lines.all) {
      std::string own(1, static_cast<char>('0' + static_cast<int>(line.kind)));
      for (const LineWord& word : line.words) (own += word.value) += '\0';
      m_own.push_back(std::move(own));
      ChildrenOf(line.parent).push_back(m_own.size() - 1);
      if (line.kind == Line::Kind::kDirective && IsServerName(dialect, line.Name()) &&
          line.parent != kNone) {
        for (std::size_t i = 1; i < line.words.size(); ++i) {
          m_names[line.parent].insert(tov_document::NormalName(dialect, line.words[i].value));
        }
      }
    }
    m_whole.resize(lines.all.size());
    for (std::size_t i = lines.all.size(); i-- > 0;) {
      std::size_t hash = std::hash<std::string>()(m_own[i]);
      for (const std::size_t child : ChildrenOf(i)) {
        constexpr std::size_t kFactor = 1000003;
        hash = hash * kFactor + m_whole[child];
      }
      m_whole[i] = hash;
    }
  }

  const Line& at(std::size_t line) const { return m_lines.all[line]; }
  const std::string& Own(std::size_t line) const { return m_own[line]; }
  std::size_t Whole(std::size_t line) const { return m_whole[line]; }

  const Numbers& ChildrenOf(std::size_t line) const {
    return line == kNone ? m_children.back() : m_children[line];
  }

  const std::set<std::string>& NamesOf(std::size_t line) const {
    static const std::set<std::string> none;
    const auto names = m_names.find(line);
    return names == m_names.end() ? none : names->second;
  }

 private:
  Numbers& ChildrenOf(std::size_t line) {
    return line == kNone ? m_children.back() : m_children[line];
  }

  const Lines& m_lines;
  std::vector<Numbers> m_children;  // the last ones stand in no block
  std::vector<std::string> m_own;
  Numbers m_whole;
  std::unordered_map<std::size_t, std::set<std::string>> m_names;
};

// Which lines of two blocks belong together.
class Alignment {
 public:
  Alignment(Dialect dialect, const Compared& before, const Compared& after)
      : m_dialect(dialect), m_before(before), m_after(after) {}

  // In an order that is that of both blocks, as far as they have one.
  std::vector<Origin> Of(const Numbers& before, const Numbers& after) const {
    std::vector<Origin> all;
    std::size_t a = 0;
    std::size_t b = 0;
    for (const auto& [same_a, same_b] : Same(before, after)) {
      AddGap(Numbers(before.begin() + Offset(a), before.begin() + Offset(same_a)),
             Numbers(after.begin() + Offset(b), after.begin() + Offset(same_b)), all);
      all.push_back({before[same_a], after[same_b]});
      a = same_a + 1;
      b = same_b + 1;
    }
    AddGap(Numbers(before.begin() + Offset(a), before.end()),
           Numbers(after.begin() + Offset(b), after.end()), all);
    return all;
  }

 private:
  using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;  // positions

  static std::ptrdiff_t Offset(std::size_t position) {
    return static_cast<std::ptrdiff_t>(position);
  }

  bool AreSame(std::size_t a, std::size_t b) const { return m_before.Whole(a) == m_after.Whole(b); }

  // The longest run of positions whose lines are the same, with all that is in them.
  Pairs Same(const Numbers& before, const Numbers& after) const {
    Pairs pairs;
    std::size_t begin = 0;
    const std::size_t shorter = std::min(before.size(), after.size());
    while (begin < shorter && AreSame(before[begin], after[begin])) {
      pairs.emplace_back(begin, begin);
      ++begin;
    }
    std::size_t end = 0;
    while (end < shorter - begin &&
           AreSame(before[before.size() - 1 - end], after[after.size() - 1 - end])) {
      ++end;
    }
    AddMiddle(before, after, {begin, end}, pairs);
    for (; end > 0; --end) pairs.emplace_back(before.size() - end, after.size() - end);
    return pairs;
  }

  // What is left between a beginning and an end.
  struct Outside {
    std::size_t begin = 0;
    std::size_t end = 0;
  };

  void AddMiddle(const Numbers& before, const Numbers& after, Outside outside, Pairs& pairs) const {
    constexpr std::size_t kMostSteps = 4'000'000;
    const std::size_t rows = before.size() - outside.begin - outside.end;
    const std::size_t columns = after.size() - outside.begin - outside.end;
    if (rows == 0 || columns == 0) return;
    if (rows > kMostSteps / columns) {
      AddGreedily(before, after, outside, pairs);
      return;
    }
    // How long a run can be behind each pair of positions.
    std::vector<std::vector<std::uint32_t>> longest(rows + 1,
                                                    std::vector<std::uint32_t>(columns + 1));
    for (std::size_t a = rows; a-- > 0;) {
      for (std::size_t b = columns; b-- > 0;) {
        longest[a][b] = AreSame(before[outside.begin + a], after[outside.begin + b])
                            ? longest[a + 1][b + 1] + 1
                            : std::max(longest[a + 1][b], longest[a][b + 1]);
      }
    }
    for (std::size_t a = 0, b = 0; a < rows && b < columns;) {
      if (AreSame(before[outside.begin + a], after[outside.begin + b])) {
        pairs.emplace_back(outside.begin + a++, outside.begin + b++);
      } else if (longest[a + 1][b] >= longest[a][b + 1]) {
        ++a;
      } else {
        ++b;
      }
    }
  }

  void AddGreedily(const Numbers& before, const Numbers& after, Outside outside,
                   Pairs& pairs) const {
    std::unordered_map<std::size_t, Numbers> positions;  // by hashes, in their order
    for (std::size_t b = after.size() - outside.end; b-- > outside.begin;) {
      positions[m_after.Whole(after[b])].push_back(b);
    }
    std::size_t next = outside.begin;
    for (std::size_t a = outside.begin; a < before.size() - outside.end; ++a) {
      const auto found = positions.find(m_before.Whole(before[a]));
      if (found == positions.end()) continue;
      Numbers& left = found->second;
      while (!left.empty() && left.back() < next) left.pop_back();
      if (left.empty()) continue;
      pairs.emplace_back(a, left.back());
      next = left.back() + 1;
    }
  }

  // Lines of which none is the same as one of the others: some are changed.
  void AddGap(const Numbers& before, const Numbers& after, std::vector<Origin>& all) const {
    std::size_t next = 0;
    for (std::size_t a = 0; a < before.size(); ++a) {
      const std::size_t b = PartnerOf(before, a, after, next);
      if (b == kNone) {
        all.push_back({before[a], kNone});
        continue;
      }
      for (; next < b; ++next) all.push_back({kNone, after[next]});
      all.push_back({before[a], after[b]});
      next = b + 1;
    }
    for (; next < after.size(); ++next) all.push_back({kNone, after[next]});
  }

  std::size_t PartnerOf(const Numbers& before, std::size_t a, const Numbers& after,
                        std::size_t next) const {
    if (m_before.at(before[a]).kind == Line::Kind::kComment) return kNone;
    const auto alike = [&](const Line& x, const Line& y) {
      return x.kind == y.kind && tov_document::SameName(m_dialect, x.Name(), y.Name());
    };
    std::size_t best = kNone;
    std::size_t most = 0;
    std::size_t there = 0;
    for (std::size_t b = next; b < after.size(); ++b) {
      if (!alike(m_before.at(before[a]), m_after.at(after[b]))) continue;
      ++there;
      const std::size_t common = Common(before[a], after[b]);
      if (best == kNone || common > most) {
        best = b;
        most = common;
      }
    }
    std::size_t here = 0;
    for (std::size_t other = a; other < before.size(); ++other) {
      if (alike(m_before.at(before[a]), m_before.at(before[other]))) ++here;
    }
    // As many on both sides: one for the other, in their order.
    if (best == kNone || (here != there && most == 0)) return kNone;
    if (most > 0) return best;
    for (std::size_t b = next; b < after.size(); ++b) {
      if (alike(m_before.at(before[a]), m_after.at(after[b]))) return b;
    }
    return kNone;
  }

  // How much two lines of one name have in common, beside the name.
  std::size_t Common(std::size_t a, std::size_t b) const {
    const auto& x = m_before.at(a).words;
    const auto& y = m_after.at(b).words;
    std::size_t common = 0;
    for (std::size_t i = 1; i < std::min(x.size(), y.size()); ++i) {
      if (x[i].value == y[i].value) ++common;
    }
    const auto& names = m_after.NamesOf(b);
    for (const std::string& name : m_before.NamesOf(a)) common += names.count(name);
    return common;
  }

  const Dialect m_dialect;
  const Compared& m_before;
  const Compared& m_after;
};

class Merger {
 public:
  Merger(Dialect dialect, const Lines& before, const Lines& after, const Manner& manner)
      : m_dialect(dialect),
        m_before(dialect, before),
        m_after(dialect, after),
        m_alignment(dialect, m_before, m_after),
        m_manner(manner) {
    m_names.Take(kVersion);
    m_names.Take(kBefore);
    m_names.Take(kAfter);
  }

  Difference Merge() {
    AddAll();
    MarkChanges();
    Keep();
    for (std::size_t i = 0; i < m_made.lines.all.size(); ++i) {
      if (IsServerName(m_dialect, m_made.lines.all[i].Name())) SetWords(i);
    }
    for (std::size_t i = 0; i < m_made.lines.all.size(); ++i) SetWords(i);
    NameTexts(m_dialect, m_names, m_made.lines, m_made.values);
    const bool switched =
        std::any_of(m_made.lines.all.begin(), m_made.lines.all.end(),
                    [](const Line& line) { return line.kept && line.in != Line::In::kBoth; });
    if (switched)
      m_made.values.push_back({kVersion, kBefore, false, false, true, std::string(kAfter)});
    return std::move(m_made);
  }

 private:
  // --- The lines ---

  // What is still to be added: a line with what is in it, or the end of one.
  struct Task {
    Origin origin;
    std::size_t parent = kNone;
    std::size_t closes = kNone;
  };

  void AddAll() {
    std::vector<Task> tasks;  // the next one last
    Push(m_alignment.Of(m_before.ChildrenOf(kNone), m_after.ChildrenOf(kNone)), kNone, tasks);
    while (!tasks.empty()) {
      const Task task = tasks.back();
      tasks.pop_back();
      if (task.closes != kNone) {
        m_made.lines.all[task.closes].behind = m_made.lines.all.size();
        continue;
      }
      const std::size_t line = Add(task);
      const Numbers none;
      const bool of_before = task.origin.before != kNone;
      const bool of_after = task.origin.after != kNone;
      const Numbers& before = of_before ? m_before.ChildrenOf(task.origin.before) : none;
      const Numbers& after = of_after ? m_after.ChildrenOf(task.origin.after) : none;
      Task end;
      end.closes = line;
      tasks.push_back(end);
      Push(m_alignment.Of(before, after), line, tasks);
    }
  }

  void Push(const std::vector<Origin>& origins, std::size_t parent,
            std::vector<Task>& tasks) const {
    std::vector<Task> all;
    for (const Origin& origin : origins) {
      if (m_manner.as_two.count(origin) != 0) {
        all.push_back({{origin.before, kNone}, parent});
        all.push_back({{kNone, origin.after}, parent});
      } else {
        all.push_back({origin, parent});
      }
    }
    tasks.insert(tasks.end(), all.rbegin(), all.rend());
  }

  std::size_t Add(const Task& task) {
    const bool of_before = task.origin.before != kNone;
    Line line = of_before ? m_before.at(task.origin.before) : m_after.at(task.origin.after);
    line.parent = task.parent;
    line.depth = task.parent == kNone ? 0 : m_made.lines.all[task.parent].depth + 1;
    line.in = !of_before                   ? Line::In::kAfter
              : task.origin.after == kNone ? Line::In::kBefore
                                           : Line::In::kBoth;
    for (LineWord& word : line.words) word.parts.clear();
    m_made.lines.all.push_back(std::move(line));
    m_made.origins.push_back(task.origin);
    return m_made.lines.all.size() - 1;
  }

  void MarkChanges() {
    m_made.changes.assign(m_made.lines.all.size(), false);
    for (std::size_t i = 0; i < m_made.lines.all.size(); ++i) {
      const Origin& origin = m_made.origins[i];
      m_made.changes[i] = m_made.lines.all[i].in != Line::In::kBoth ||
                          m_before.Own(origin.before) != m_after.Own(origin.after);
    }
  }

  // Lines that differ, with the blocks around them and all that stands in these: it says which
  // block is meant, and where in it a line stands.
  void Keep() {
    std::vector<Line>& lines = m_made.lines.all;
    std::vector<bool> holds(m_made.changes);  // a change
    for (std::size_t i = lines.size(); i-- > 0;) {
      if (holds[i] && lines[i].parent != kNone) holds[lines[i].parent] = true;
    }
    std::set<std::size_t> switched;  // blocks in which lines come or go
    for (const Line& line : lines) {
      if (line.in != Line::In::kBoth && line.kind != Line::Kind::kBlock)
        switched.insert(line.parent);
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
      Line& line = lines[i];
      const std::size_t parent = line.parent;
      const bool open = parent == kNone || IsSeenThrough(lines[parent]);
      const bool beside = open ? switched.count(parent) != 0 && line.kind == Line::Kind::kDirective
                               : lines[parent].kept;
      line.kept = holds[i] || (beside && (line.kind != Line::Kind::kComment || FollowsSwitched(i)));
      if (m_made.origins[i].before != kNone && !m_made.changes[i] &&
          m_manner.absent.count(m_made.origins[i].before) != 0) {
        line.kept = false;
      }
      if (parent != kNone && !lines[parent].kept) line.kept = false;
    }
    if (m_manner.with_siblings) KeepSiblings();
  }

  // Of blocks of one name, the last one before one that comes or goes, and the first one behind it.
  // New servers stand behind all others, whatever the template has.
  void KeepSiblings() {
    struct Last {
      std::size_t block = kNone;  // one that stays
      bool switched = false;      // another one comes or goes behind it
    };
    std::map<std::pair<std::size_t, std::string>, Last> last;  // by the blocks around and the names
    const std::vector<Line>& lines = m_made.lines.all;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const Line& line = lines[i];
      const bool open = line.parent == kNone || IsSeenThrough(lines[line.parent]);
      if (line.kind != Line::Kind::kBlock || line.is_server || !open) continue;
      Last& before = last[{line.parent, std::string(line.Name())}];
      if (line.in != Line::In::kBoth) {
        before.switched = true;
        KeepOpening(before.block);
        continue;
      }
      if (before.switched) KeepOpening(i);
      before = {i, false};
    }
  }

  // A block, and those around it.
  void KeepOpening(std::size_t block) {
    std::vector<Line>& lines = m_made.lines.all;
    for (; block != kNone && !lines[block].kept; block = lines[block].parent) {
      lines[block].kept = true;
    }
  }

  // A comment says where a line stands that comes or goes before it.
  bool FollowsSwitched(std::size_t number) const {
    const std::vector<Line>& lines = m_made.lines.all;
    return number > 0 && lines[number - 1].parent == lines[number].parent &&
           lines[number - 1].in != Line::In::kBoth;
  }

  bool IsSeenThrough(const Line& line) const {
    return m_dialect == Dialect::kNginx ? line.Name() == "http"
                                        : tov_document::IsCondition(m_dialect, line.Name());
  }

  // --- Their words ---

  void SetWords(std::size_t number) {
    Line& line = m_made.lines.all[number];
    if (line.words.empty() || !line.words.front().parts.empty()) return;
    for (LineWord& word : line.words) word.parts = {{word.written, kNone, word.inner}};
    if (line.in != Line::In::kBoth || !m_made.changes[number] || !line.kept) return;
    const Line& after = m_after.at(m_made.origins[number].after);
    std::size_t common = 0;
    const std::size_t both = std::min(line.words.size(), after.words.size());
    while (common < both && line.words[common].value == after.words[common].value) ++common;
    if (line.words.size() != after.words.size()) {
      SetTrailing(line, after, common);
      return;
    }
    for (std::size_t i = common; i < both; ++i) {
      if (line.words[i].value != after.words[i].value) SetWord(line, i, after);
    }
  }

  void SetWord(Line& line, std::size_t number, const Line& after) {
    LineWord& word = line.words[number];
    const LineWord& other = after.words[number];
    const Role role = RoleOf(line, number);
    std::vector<Part> parts = WithPlaces(
        word.written, 0, {{word.written, kNone, {0, Size(word.written)}}}, m_texts, role);
    if (word.quote == other.quote && Changed(parts) == other.written) {
      word.parts = std::move(parts);
      return;
    }
    const bool same_quotes = word.quote == other.quote;
    const std::string old_text = same_quotes ? word.written : Spelled(word);
    const std::string new_text = same_quotes ? other.written : Spelled(other);
    word.parts = {{old_text, NewValue(line, number, old_text, new_text), word.inner}};
    if (!same_quotes) word.quote = '\0';
  }

  static std::uint32_t Size(const std::string& text) {
    return static_cast<std::uint32_t>(text.size());
  }

  static std::string Spelled(const LineWord& word) {
    return word.quote == '\0' ? word.written : word.quote + word.written + word.quote;
  }

  std::string Changed(const std::vector<Part>& parts) const {
    std::string text;
    for (const Part& part : parts) {
      text += part.value == kNone ? part.text : *m_made.values[part.value].other;
    }
    return text;
  }

  void SetTrailing(Line& line, const Line& after, std::size_t common) {
    std::size_t from = std::max<std::size_t>(common, 1);
    if (IsServerName(m_dialect, line.Name())) from = std::min<std::size_t>(from, 2);
    const auto rest = [from](const Line& of) {
      std::string text;
      for (std::size_t i = from; i < of.words.size(); ++i) {
        text += (text.empty() ? "" : " ") + Spelled(of.words[i]);
      }
      return text;
    };
    line.trailing_from = from;
    line.trailing_value = NewValue(line, from, rest(line), rest(after));
  }

  Role RoleOf(const Line& line, std::size_t word) const {
    if (word > 0 && IsServerName(m_dialect, line.Name())) return Role::kServerName;
    return IsAddress(m_dialect, line, word) ? Role::kAddress : Role::kOther;
  }

  std::size_t NewValue(const Line& line, std::size_t word, const std::string& old_text,
                       const std::string& new_text) {
    std::string name = word < line.words.size() ? KnownName(m_dialect, line, word) : std::string();
    if (name.empty()) name = NameAfter(line.Name());
    const auto [known, is_new] = m_values.try_emplace(
        std::vector<std::string>{name, old_text, new_text}, m_made.values.size());
    if (is_new) {
      m_made.values.push_back({m_names.New(name), old_text, false, false, true, new_text});
      const bool distinct = old_text.find_first_of("./") != std::string::npos;
      if (distinct && !HoldsSuch(old_text)) m_texts.push_back({old_text, known->second});
    }
    return known->second;
  }

  bool HoldsSuch(const std::string& text) const {
    return std::any_of(m_texts.begin(), m_texts.end(),
                       [&](const Text& other) { return other.text == text; });
  }

  const Dialect m_dialect;
  const Compared m_before;
  const Compared m_after;
  const Alignment m_alignment;
  const Manner& m_manner;
  Difference m_made;
  ValueNames m_names;
  std::vector<Text> m_texts;  // of values, where they may stand in words of others
  std::map<std::vector<std::string>, std::size_t> m_values;  // by names, old and new texts
};

}  // namespace

bool Difference::IsNone() const {
  return std::none_of(changes.begin(), changes.end(), [](bool changed) { return changed; });
}

Difference DifferenceOf(Dialect dialect, const Lines& before, const Lines& after,
                        const Manner& manner) {
  return Merger(dialect, before, after, manner).Merge();
}

}  // namespace tov_adopt
