// SPDX-License-Identifier: Apache-2.0

// On texts in the engine's own style, the careful edit and the engine give the same lines in each
// block, in whatever order: but for what the careful edit does otherwise on purpose, see Purpose.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "edit/edit.h"
#include "edit/match/comparison.h"
#include "edit/plain_statements.h"
#include "edit/tree/template_tree.h"
#include "property/random_input.h"
#include "template/qeltemplate.h"

namespace {

using edit_laws::Statement;
using tov_edit::Dialect;
using tov_edit::Request;
using Statements = std::vector<Statement>;

Request RequestOf(Dialect dialect, const std::string& text) {
  Request request;
  request.dialect = dialect;
  request.template_name = "TEMPLATE";
  request.template_text = text;
  request.values["a"] = {"a", "b"};
  request.values["p"] = {"/x", "/z"};
  request.values["ip"] = {"1.1.1.1", "2.2.2.2"};
  request.values["n"] = {std::nullopt, "c"};
  request.values["on"] = {std::nullopt, "1"};
  return request;
}

std::shared_ptr<tov_template::BaseConfig> ReadByTheEngine(Dialect dialect,
                                                          const std::string& config) {
  return tov_template::GetConfigType(dialect == Dialect::kNginx ? "Nginx" : "Apache", config);
}

std::string EditedByTheEngine(const Request& request, const std::string& config) {
  tov_template::ParserTemplate parser(ReadByTheEngine(request.dialect, config));
  for (const auto& [name, value] : request.values) {
    parser.SetValue(name, value.old_value ? *value.old_value : *value.new_value, *value.new_value);
  }
  return parser.SetTemplate(request.template_text).ApplyTemplate().GetConfig();
}

// The same for two texts whose blocks have the same lines, comments included, in whatever order.
std::string Unordered(const std::string& text, Dialect dialect) {
  std::vector<std::pair<std::string, std::vector<std::string>>> open(1);
  const auto close = [&open] {
    std::sort(open.back().second.begin(), open.back().second.end());
    std::string block = open.back().first + "\n";
    for (const std::string& each : open.back().second) block += each;
    open.pop_back();
    return block;
  };
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    std::string line = text.substr(begin, end - begin);
    line.erase(0, line.find_first_not_of('\t'));
    begin = end + 1;
    if (line.empty()) continue;
    const bool nginx = dialect == Dialect::kNginx;
    const bool closes = nginx ? line == "}" : line.compare(0, 2, "</") == 0;
    const bool opens = nginx ? line.back() == '{' : line.front() == '<' && !closes;
    if (opens) {
      open.push_back({line, {}});
    } else if (closes && open.size() > 1) {
      std::string block = close();
      open.back().second.push_back(std::move(block) + "}\n");
    } else {
      open.back().second.push_back(line + "\n");
    }
  }
  return open.size() == 1 ? close() : "not closed:\n" + text;
}

struct Counts {
  std::size_t all = 0;
  std::size_t compared = 0;
  std::size_t changed = 0;
  std::size_t without_a_block = 0;              // of the configuration: it is removed
  std::map<std::string, std::size_t> left_out;  // by reasons
};

std::map<Dialect, Counts> counts;

bool HasEmptyBlock(Dialect dialect, const std::string& text) {
  const auto statements = edit_laws::StatementsOf(dialect, text);
  if (!statements) return false;
  const Statement* last = nullptr;
  for (const Statement& statement : *statements) {
    const bool empty = last != nullptr && last->kind == Statement::Kind::kOpening &&
                       statement.kind == Statement::Kind::kClosing;
    if (empty) return true;
    last = &statement;
  }
  return false;
}

// What the careful edit does otherwise on purpose: a reason, and whether an input is concerned.
class Purpose {
 public:
  Purpose(const Request& request, const std::string& config, const tov_edit::Explained& edited)
      : m_dialect(request.dialect),
        m_config(config),
        m_edited(edited),
        m_engine(ReadByTheEngine(request.dialect, "")) {
    tov_edit::Findings ignored;
    m_tree = tov_edit::ReadTemplate(request, ignored);
    if (auto statements = edit_laws::StatementsOf(m_dialect, config)) {
      m_statements = std::move(*statements);
    }
  }

  std::string Reason() const {
    // What may mean several things the engine does in one way or another.
    if (!m_edited.result.refusals.empty()) return "refused: " + m_edited.result.refusals[0].name;
    // The engine takes empty blocks out, whoever has made them empty.
    if (HasEmptyBlock(m_dialect, m_config) || HasEmptyBlock(m_dialect, m_edited.result.text)) {
      return "empty blocks";
    }
    // The engine puts blocks that stand in a new block behind it.
    if (Any([this](std::size_t block) { return IsNew(block) && IsNew(ParentOf(block)); })) {
      return "a new block in a new one";
    }
    // With TLS and without it a site is one; the engine takes it for two.
    if (Any([this](std::size_t block) { return ChangesTls(block); })) return "TLS or not";
    // A trailing place is one directive, and a line with its full text that very directive; the
    // engine takes the first line that begins so.
    if (AnyLine([this](const tov_edit::TemplateLine& line) { return IsOneOfSeveral(line); })) {
      return "a beginning of several directives";
    }
    if (AnyPair([this](const auto& line, const auto& other) {
          return line.now && other.now && line.beginning &&
                 tov_edit::BeginsWith(m_dialect, other.now->words, *line.beginning);
        })) {
      return "two lines for one directive";
    }
    if (AnyPair([this](const auto& line, const auto& other) {
          return Changes(line) && other.now &&
                 tov_edit::SameWords(m_dialect, line.was->words, other.now->words);
        })) {
      return "a line that changes and stays";
    }
    // Only a block goes that has something of what the template states besides its name.
    if (Any([this](std::size_t block) { return IsLeftForItsLines(block); })) {
      return "a block with nothing of what is stated, which is to go";
    }
    // Of a block that gets another opening line the engine forgets such lines.
    if (AnyLine([this](const tov_edit::TemplateLine& line) {
          const tov_edit::TemplateBlock& block = m_tree.blocks[line.block];
          return line.block != 0 && Changes(m_tree.lines[block.opening]) &&
                 m_engine->IsUniqueParam(line.text);
        })) {
      return "shared lines in a block that gets another opening line";
    }
    // The engine writes all listens, aliases and the like of a block anew when one changes: others
    // go with it, and some stay beside what they have become.
    if (AnyLine([this](const tov_edit::TemplateLine& line) {
          return (Changes(line) || line.beginning) && m_engine->IsUniqueParam(line.text);
        })) {
      return "another listen or alias";
    }
    return "";
  }

 private:
  template <class Holds>
  bool Any(const Holds& holds) const {
    for (std::size_t block = 1; block < m_tree.blocks.size(); ++block) {
      if (holds(block)) return true;
    }
    return false;
  }

  template <class Holds>
  bool AnyLine(const Holds& holds) const {
    return std::any_of(m_tree.lines.begin(), m_tree.lines.end(), [&](const auto& line) {
      return line.kind == tov_edit::TemplateLine::Kind::kDirective && holds(line);
    });
  }

  // Whether `holds` is true of two lines of one block.
  template <class Holds>
  bool AnyPair(const Holds& holds) const {
    return AnyLine([&](const tov_edit::TemplateLine& line) {
      return AnyLine([&](const tov_edit::TemplateLine& other) {
        return &line != &other && line.block == other.block && holds(line, other);
      });
    });
  }

  bool IsOneOfSeveral(const tov_edit::TemplateLine& line) const {
    if (!line.beginning) return false;
    std::map<std::size_t, std::size_t> fitting;  // by blocks
    std::vector<std::size_t> open = {0};
    for (std::size_t i = 0; i < m_statements.size(); ++i) {
      const Statement& statement = m_statements[i];
      if (statement.kind == Statement::Kind::kOpening) open.push_back(i + 1);
      if (statement.kind == Statement::Kind::kClosing) open.pop_back();
      if (statement.kind != Statement::Kind::kDirective) continue;
      const bool fits = tov_edit::BeginsWith(m_dialect, statement.words, *line.beginning);
      if (fits && ++fitting[open.back()] > 1) return true;
    }
    return false;
  }

  static bool IsTls(const edit_laws::WordList& words) {
    return !words.empty() && words.front() == "ssl";
  }

  bool ChangesTls(std::size_t number) const {
    const auto& children = m_tree.blocks[number].children;
    const bool stated = std::any_of(children.begin(), children.end(), [&](std::size_t child) {
      const tov_edit::TemplateLine& line = m_tree.lines[child];
      return line.now && IsTls(line.now->words);
    });
    for (const tov_edit::FilePlace& place : m_edited.report.blocks[number - 1].places) {
      if (HoldsTls(place.line) != stated) return true;
    }
    return false;
  }

  // Of the block of the configuration whose opening is this line.
  bool HoldsTls(std::size_t line) const {
    std::size_t depth = 0;
    for (const Statement& statement : m_statements) {
      const auto breaks = std::count(
          m_config.begin(), m_config.begin() + static_cast<std::ptrdiff_t>(statement.begin), '\n');
      const auto number = static_cast<std::size_t>(breaks) + 1;
      if (number == line) depth = statement.path.size() + 1;
      if (number <= line || statement.path.size() < depth) {
        if (number > line) return false;
        continue;
      }
      const bool own = statement.path.size() == depth;
      if (own && statement.kind == Statement::Kind::kDirective && IsTls(statement.words)) {
        return true;
      }
    }
    return false;
  }

  std::size_t ParentOf(std::size_t block) const { return m_tree.blocks[block].parent; }

  bool IsNew(std::size_t block) const {
    const auto& events = m_edited.report.items[m_tree.blocks[block].opening].events;
    return block != 0 && std::any_of(events.begin(), events.end(), [](const auto& event) {
             return event.kind == tov_edit::EditReport::Event::Kind::kAdded;
           });
  }

  static bool Changes(const tov_edit::TemplateLine& line) {
    return line.was && line.now && line.was->text != line.now->text;
  }

  bool IsOf(tov_edit::Role role, const tov_edit::TemplateLine& line) const {
    const bool is_directive = line.now && !line.now->words.empty();
    return is_directive && tov_edit::RoleOf(m_dialect, line.now->words.front()) == role;
  }

  bool IsLeftForItsLines(std::size_t number) const {
    const tov_edit::TemplateBlock& block = m_tree.blocks[number];
    const bool around = block.parent == 0 || m_tree.blocks[block.parent].enabled;
    if (block.enabled || !around) return false;
    if (!m_edited.report.blocks[number - 1].places.empty()) return false;
    const tov_edit::TemplateLine& opening = m_tree.lines[block.opening];
    return std::any_of(m_statements.begin(), m_statements.end(), [&](const Statement& statement) {
      if (statement.words.empty()) return false;
      return IsSaidBy(opening, statement) ||
             std::any_of(block.children.begin(), block.children.end(), [&](std::size_t child) {
               const tov_edit::TemplateLine& line = m_tree.lines[child];
               return IsOf(tov_edit::Role::kNames, line) && IsSaidBy(line, statement);
             });
    });
  }

  bool IsSaidBy(const tov_edit::TemplateLine& line, const Statement& statement) const {
    return (line.now && tov_edit::SameWords(m_dialect, statement.words, line.now->words)) ||
           (line.was && tov_edit::SameWords(m_dialect, statement.words, line.was->words));
  }

  const Dialect m_dialect;
  const std::string& m_config;
  const tov_edit::Explained& m_edited;
  const std::shared_ptr<tov_template::BaseConfig> m_engine;
  tov_edit::TemplateTree m_tree;
  Statements m_statements;  // of the configuration
};

bool RemovesABlock(const tov_edit::EditReport& report) {
  return std::any_of(report.items.begin(), report.items.end(), [](const auto& item) {
    return item.opens && item.action == tov_edit::EditReport::Action::kRemoved;
  });
}

template <Dialect kDialect>
std::string Agree(const std::string& config, const std::string& text) {
  const Request request = RequestOf(kDialect, text);
  const tov_edit::Explained careful = tov_edit::Explain(request, config, "CONFIG");
  const std::string reason = Purpose(request, config, careful).Reason();
  ++counts[kDialect].all;
  if (!reason.empty()) {
    ++counts[kDialect].left_out[reason];
    return "";
  }
  ++counts[kDialect].compared;
  if (careful.result.text != config) ++counts[kDialect].changed;
  if (RemovesABlock(careful.report)) ++counts[kDialect].without_a_block;
  const std::string plain = EditedByTheEngine(request, config);
  if (Unordered(plain, kDialect) == Unordered(careful.result.text, kDialect)) return "";
  return "--- config:\n" + config + "--- template:\n" + text + "--- the engine:\n" + plain +
         "\n--- the careful edit:\n" + careful.result.text;
}

void ExpectKept(const std::string& wrong) {
  if (!wrong.empty()) ADD_FAILURE() << wrong;
}

void ExpectCompared(Dialect dialect) {
  const Counts& count = counts[dialect];
  std::string said = std::to_string(count.compared) + " compared, " +
                     std::to_string(count.changed) + " of them with changes, " +
                     std::to_string(count.without_a_block) + " without a block; left out:";
  for (const auto& [reason, number] : count.left_out) {
    said += "\n  " + std::to_string(number) + " " + reason;
  }
  std::cout << said << "\n";
  EXPECT_GE(count.compared, count.all / 5);
  EXPECT_GE(count.changed, count.compared / 2);
  EXPECT_GE(count.without_a_block, count.compared / 50);
}

TEST(Engine, AgreesOnNginx) {
  ExpectKept(ForAllPlainSites("nginx", Agree<Dialect::kNginx>));
  ExpectCompared(Dialect::kNginx);
}

TEST(Engine, AgreesOnApache) {
  ExpectKept(ForAllPlainSites("apache", Agree<Dialect::kApache>));
  ExpectCompared(Dialect::kApache);
}

}  // namespace
