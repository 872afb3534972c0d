// SPDX-License-Identifier: Apache-2.0

#include "cli/guard.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "cli/blocks.h"
#include "cli/failure.h"
#include "cli/statements.h"
#include "cli/syntax.h"
#include "template/framework/str.h"
#include "template/section_path.h"

namespace cli {

std::string TemplatePlace(const Request& request, const TemplateRun::Item& item) {
  return At(item.m_place.file ? *item.m_place.file : request.template_file, item.m_place.line);
}

namespace {

using Item = TemplateRun::Item;

constexpr std::size_t kMostLevels = 1000;
constexpr std::size_t kMostShown = 5;
constexpr std::size_t kLongLine = 4096;  // of Apache; longer ones are written as several

// The levels of `path` for people.
std::string Shown(std::string path) {
  const std::string& separator = tov_template::kSectionSeparator;
  for (std::size_t at; (at = path.find(separator)) != std::string::npos;) {
    path.replace(at, separator.size(), " > ");
  }
  return "'" + path + "'";
}

class Collector {
 public:
  Collector(const Request& request, std::vector<Finding>& refusals)
      : m_request(request), m_refusals(refusals) {}

  void Refuse(const std::string& name, const std::string& message) {
    if (m_request.forced.count(name) != 0) return;
    const std::size_t count = ++m_counts[name];
    if (count <= kMostShown) m_refusals.push_back({name, message});
    if (count == kMostShown + 1) m_refusals.push_back({name, "... and more of the same kind"});
  }

 private:
  const Request& m_request;
  std::vector<Finding>& m_refusals;
  std::map<std::string, std::size_t> m_counts;
};

// --- The template ---

// What gives a line its place among others, for the server and for the library.
std::string FullShape(const TemplateRun& run, Syntax syntax, const std::string& line) {
  const auto& config = run.config();
  return Shape(syntax, line) + (config.StartsSection(line) ? "<" : "") +
         (config.EndedSection(line) ? ">" : "");
}

bool IsControl(char c) {
  return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f;
}

bool MayChangeShape(const std::string& value) {
  return std::any_of(value.begin(), value.end(), [](char c) {
    return IsControl(c) || std::string_view(";{}#<>\"'\\").find(c) != std::string_view::npos;
  });
}

// Puts a harmless text in the place of the value `name` and compares the lines.
void CheckValue(const Request& request, const std::string& name, const std::string& value,
                Findings& findings) {
  const std::string way_out = "; --raw " + name + " puts it in as it is";
  const auto control = std::find_if(value.begin(), value.end(), IsControl);
  if (control != value.end()) {
    findings.refusals.push_back(
        {"value", "the value " + Quoted(name) + " holds a control character (" +
                      std::to_string(static_cast<unsigned char>(*control)) +
                      "), which would begin a line of its own or hide text" + way_out});
    return;
  }
  const Syntax syntax = SyntaxOf(request.dialect);
  const auto config = [&] { return MakeConfig(request, std::string()); };
  const TemplateRun with_value(config(), request, NewValuesOf(request));
  RunValues harmless = NewValuesOf(request);
  harmless.new_values[name] = harmless.old_values[name] = "x";
  const TemplateRun without(config(), request, std::move(harmless));
  const std::size_t count = std::min(with_value.items().size(), without.items().size());
  for (std::size_t i = 0; i < count; ++i) {
    const std::string line = with_value.items()[i]->m_param.m_value.Str();
    const std::string other = without.items()[i]->m_param.m_value.Str();
    if (FullShape(with_value, syntax, line) == FullShape(without, syntax, other)) continue;
    findings.refusals.push_back({"value", TemplatePlace(request, *with_value.items()[i]) +
                                              ": the value " + Quoted(name) +
                                              " makes more of the line than one "
                                              "directive: " +
                                              Quoted(line) + way_out});
    return;
  }
}

void CheckValues(const Request& request, Findings& findings) {
  for (const auto& [name, value] : request.values) {
    if (value.new_value.IsNull() || request.raw.count(name) != 0) continue;
    if (MayChangeShape(value.new_value.Str())) {
      CheckValue(request, name, value.new_value.Str(), findings);
    }
  }
}

void CheckItem(const Request& request, const TemplateRun& run, const Item& item,
               Collector& refusals, std::vector<Finding>& warnings) {
  const std::string line = item.m_param.m_value.Str();
  const std::string_view written = str::view::Trim(item.m_text);
  if (std::any_of(written.begin(), written.end(), IsControl)) {
    refusals.Refuse("template", TemplatePlace(request, item) +
                                    ": this line holds a control byte, which no server takes for "
                                    "one of a word. Take it out");
  }
  if (item.m_section.m_value.IsNull()) {
    refusals.Refuse("template", TemplatePlace(request, item) +
                                    ": a value of this opening line is missing; without it the "
                                    "lines of the block would go elsewhere. Set the value");
    return;
  }
  if (item.m_param.m_value.IsNull()) {
    if (item.m_enabled) {
      warnings.push_back({"missing-value", TemplatePlace(request, item) +
                                               ": a value of this line is missing: it neither "
                                               "adds, changes nor removes anything"});
    }
    return;
  }
  const Syntax syntax = SyntaxOf(request.dialect);
  if (syntax == Syntax::kApache && run.config().StartsSection(line) && line.back() != '>') {
    refusals.Refuse("template", TemplatePlace(request, item) + ": what stands behind the tag of " +
                                    Quoted(line) +
                                    " would become part of the block's name. Put "
                                    "a comment on a line of its own, behind {#}");
  }
  if (syntax == Syntax::kNginx && !run.config().StartsSection(line)) {
    const std::string normal = NormalForm(syntax, line);
    if (!normal.empty() && normal.back() == '{') {
      refusals.Refuse("template", TemplatePlace(request, item) +
                                      ": the library does not see that " + Quoted(line) +
                                      " opens a block, because of the \"#\". Put the comment on a "
                                      "line of its own, behind {#}");
    }
  }
}

// The lines of the configuration are shown to the library as the template spells them.
void CheckSpelling(const Request& request, const TemplateRun& run, Collector& refusals) {
  std::unordered_map<std::string, std::string> spellings;
  for (const Item* item : run.items()) {
    for (const auto& value : {item->m_param.m_value, item->m_param.m_old_value}) {
      const std::string line = value.Str();
      const std::string normal = NormalForm(SyntaxOf(request.dialect), line);
      if (normal.empty() || run.config().EndedSection(line)) continue;
      const std::string& other = spellings.emplace(normal, line).first->second;
      if (other == line) continue;
      refusals.Refuse("template", TemplatePlace(request, *item) + ": " + Quoted(line) +
                                      " stands in the template as " + Quoted(other) +
                                      ", too. Write it in one way");
    }
  }
}

// A key that is only the beginning of a line must not find another line of its block.
void CheckKeys(const Request& request, const TemplateRun& run, const TemplateBlocks& found,
               Collector& refusals) {
  using Line = std::pair<std::string, std::size_t>;  // with its item
  const auto block_of = BlocksOfItems(found, run.items().size());
  std::map<std::optional<std::size_t>, std::set<Line>> lines;
  for (std::size_t i = 0; i < run.items().size(); ++i) {
    const Item& item = *run.items()[i];
    if (item.m_enabled) lines[block_of[i]].emplace(item.m_param.m_value.Str(), i);
  }
  for (std::size_t i = 0; i < run.items().size(); ++i) {
    const Item& item = *run.items()[i];
    const std::string key = item.m_param.m_key.Str();
    if (!item.m_enabled || !(item.m_param.m_part_key || item.m_param.m_const) || key.empty()) {
      continue;
    }
    const std::set<Line>& beside = lines[block_of[i]];
    for (auto line = beside.lower_bound({key, 0});
         line != beside.end() && str::view::StartsWith(line->first, key); ++line) {
      if (line->second == i) continue;
      refusals.Refuse("template", TemplatePlace(request, item) + ": " + Quoted(key) +
                                      ", by which this line is found, finds " +
                                      Quoted(line->first) + " (" +
                                      TemplatePlace(request, *run.items()[line->second]) +
                                      "), too. Use full places in both");
      break;
    }
  }
}

void CheckBlocksDiffer(const Request& request, const TemplateRun& run, const TemplateBlocks& found,
                       Collector& refusals) {
  std::set<std::pair<std::optional<std::size_t>, std::string>> identities;
  for (const TemplateBlock& block : found.blocks) {
    const Item& opening = *run.items()[block.opening];
    if (!block.enabled ||
        identities.emplace(block.parent, opening.m_section.m_value.Str()).second) {
      continue;
    }
    refusals.Refuse("template", TemplatePlace(request, opening) +
                                    ": the template has this block twice: " +
                                    Shown(opening.m_section.m_value.Str()) + ". Join them");
  }
}

void WarnOfLinesOutside(const Request& request, const TemplateRun& run, const TemplateBlocks& found,
                        std::vector<Finding>& warnings) {
  auto block = found.blocks.begin();
  for (std::size_t i = 0; i < run.items().size(); ++i) {
    while (block != found.blocks.end() && block->closing < i) ++block;
    if (block != found.blocks.end() && block->opening <= i) continue;
    const Item& item = *run.items()[i];
    const std::string line = item.m_param.m_value.Str();
    if (line.empty() || run.config().EndedSection(line)) continue;
    warnings.push_back({"outside", TemplatePlace(request, item) + ": " + Quoted(line) +
                                       " stands outside every block: such lines are never edited"});
  }
}

}  // namespace

void CheckTemplate(const Request& request, const TemplateRun& run, Findings& findings) {
  CheckValues(request, findings);
  Collector refusals(request, findings.refusals);
  for (const Finding& odd : OddStatements(request)) refusals.Refuse(odd.name, odd.message);
  for (const Item* item : run.items()) CheckItem(request, run, *item, refusals, findings.warnings);
  CheckSpelling(request, run, refusals);
  const TemplateBlocks found = FindTemplateBlocks(run, run);
  CheckBlocksDiffer(request, run, found, refusals);
  CheckKeys(request, run, found, refusals);
  WarnOfLinesOutside(request, run, found, findings.warnings);
  for (const std::size_t item : found.closers_too_many) {
    refusals.Refuse("template", TemplatePlace(request, *run.items()[item]) +
                                    ": a closing line too many in the template");
  }
  for (const TemplateBlock& block : found.blocks) {
    if (block.closes) continue;
    refusals.Refuse("template",
                    TemplatePlace(request, *run.items()[block.opening]) +
                        ": this block does not close, as the library counts. Are there opening "
                        "lines in two branches of an if, and one closing line behind it? Put the "
                        "whole block into each branch");
  }
}

// --- The configuration ---

namespace {

// A line that opens or closes a block in the usual way: a quick look.
bool IsPlain(std::string_view line) {
  if (line == "}") return true;
  return line.size() > 1 && line.find_first_of("{}#;\"'\\$") == line.size() - 1 &&
         line.back() == '{';
}

// By how much `line` goes deeper for the library.
int DepthChange(const tov_template::BaseConfig& config, const std::string& line) {
  return (config.StartsSection(line) ? 1 : 0) - (config.EndedSection(line) ? 1 : 0);
}

}  // namespace

void CheckDepth(const std::string& config_name, const SourceText& source, const ShownLines& shown,
                const tov_template::BaseConfig& config) {
  std::size_t depth = 0;
  // Its memory is used again.
  // cppcheck-suppress variableScope
  std::string line;
  for (std::size_t i = 0; i < source.lines().size(); ++i) {
    line = shown.Text(source, i);
    const int change = DepthChange(config, line);
    if (change > 0 && ++depth > kMostLevels) {
      throw Refusal(At(config_name, source.lines()[i].number),
                    "blocks are nested more than " + std::to_string(kMostLevels) +
                        " deep here; no server needs that, and it would cost much memory");
    }
    if (change < 0 && depth > 0) --depth;
  }
}

void CheckBraces(const Request& request, const std::string& config_name, const SourceText& source,
                 const ShownLines& shown, const tov_template::BaseConfig& config,
                 Findings& findings) {
  if (SyntaxOf(request.dialect) != Syntax::kNginx) return;
  Collector refusals(request, findings.refusals);
  for (std::size_t i = 0; i < source.lines().size(); ++i) {
    const std::string_view text = shown.Text(source, i);
    // Two searches for one character are faster than one for either.
    const bool has_braces = str::view::Contains(text, "{") || str::view::Contains(text, "}");
    if (!has_braces || IsPlain(str::view::Trim(text))) continue;
    const std::string line(text);
    const std::string shape = Shape(Syntax::kNginx, line);
    const auto count = [&](char c) { return std::count(shape.begin(), shape.end(), c); };
    const bool alone = str::view::Trim(line) == "{";
    if (!alone && count('{') - count('}') == DepthChange(config, line)) continue;
    refusals.Refuse("odd-line", At(config_name, source.lines()[i].number) + ": " + Quoted(line) +
                                    ": the library does not see what this brace belongs to, and "
                                    "would take what follows for another block's. Put an opening "
                                    "brace at the end of its block's first line, and a closing one "
                                    "on a line of its own");
  }
}

// --- The edit ---

namespace {

class EditCheck {
 public:
  EditCheck(const MadeEdit& edit, Findings& findings)
      : m_edit(edit),
        m_syntax(SyntaxOf(edit.request.dialect)),
        m_findings(findings),
        m_refusals(edit.request, findings.refusals) {}

  void Run() {
    FindNamedLines();
    bool structure_touched = false;
    bool touched = false;
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (!line.item) continue;
      touched = true;
      structure_touched = structure_touched || TouchesStructure(line);
      if (line.text == nullptr) {
        CheckGone(line);
      } else if (line.before) {
        CheckChanged(line);
      }
    }
    CheckFound();
    CheckApplied();
    CheckUnique();
    WarnOfNewLines();
    if (touched) CheckAmbiguous();
    if (structure_touched) {
      CheckBalance();
      CheckIdentities();
    }
    if (touched) {
      CheckBraces(m_edit.request, m_edit.config_name, m_edit.source, m_edit.shown,
                  m_edit.run.config(), m_findings);
    }
  }

 private:
  const Item& ItemOf(const FollowedLines::Line& line) const {
    return *m_edit.run.items()[*line.item];
  }

  std::string Before(const FollowedLines::Line& line) const {
    return std::string(m_edit.shown.Text(m_edit.source, *line.before));
  }

  std::string Here(const FollowedLines::Line& line) const {
    return At(m_edit.config_name, m_edit.source.lines()[*line.before].number);
  }

  std::string Template(const Item& item) const { return TemplatePlace(m_edit.request, item); }

  std::string Normal(std::string_view line) const { return NormalForm(m_syntax, line); }

  bool TouchesStructure(const FollowedLines::Line& line) const {
    const auto touches = [&](const std::string& text) {
      const bool plain =
          m_syntax == Syntax::kNginx ? Shape(m_syntax, text) == ";" : Shape(m_syntax, text).empty();
      return !plain || m_idents.count(std::string(str::view::FirstWord(text))) != 0;
    };
    return (line.text != nullptr && touches(*line.text)) || (line.before && touches(Before(line)));
  }

  // The lines that the template speaks of, with their old and new values.
  void FindNamedLines() {
    m_edit.run.config().GetIdentParams(m_idents);
    for (const Item* item : m_edit.run.items()) {
      m_named.insert(Normal(item->m_param.m_value.Str()));
      m_named.insert(Normal(item->m_param.m_old_value.Str()));
    }
  }

  // What the item's line is, as far as that is known: a value at its end may be missing.
  static std::string TextOf(const Item& item) {
    return item.m_param.m_value.IsNull() ? item.m_param.m_key.Str() : item.m_param.m_value.Str();
  }

  // Whether `line` is what `item` stands for, and not only begins like it.
  bool IsMeant(const Item& item, const std::string& line) const {
    const auto& param = item.m_param;
    if (param.m_const) return str::view::FirstWord(line) == str::view::FirstWord(param.m_key.Str());
    const std::string normal = Normal(line);
    if (param.m_part_key) {
      return str::view::StartsWith(normal, Normal(param.m_key.Str())) &&
             str::view::FirstWord(normal) == str::view::FirstWord(TextOf(item));
    }
    return normal == Normal(param.m_value.Str()) || normal == Normal(param.m_old_value.Str());
  }

  bool IsOptions(std::string_view line) const {
    return m_syntax == Syntax::kApache && str::view::FirstWord(line) == "Options";
  }

  // Lines that have gone: named by the template, or part of a block that it removes.
  void CheckGone(const FollowedLines::Line& line) {
    const Item& item = ItemOf(line);
    const std::string before = Before(line);
    if (RemovesBlock(item)) {
      CheckGoneWithBlock(line, item);
      return;
    }
    const bool named_elsewhere =
        m_edit.run.config().IsUniqueParam(before) && m_named.count(Normal(before)) != 0;
    if (IsMeant(item, before) || named_elsewhere || IsOptions(before)) return;
    m_refusals.Refuse("lost-lines", Here(line) + ": " + Quoted(before) +
                                        " would go, and no line of the template names it: " +
                                        Template(item) + " takes it for its own " +
                                        Quoted(TextOf(item)) + ". Name it in the template");
  }

  // The lines of the blocks that the item removes, by their positions in the source.
  void CheckGoneWithBlock(const FollowedLines::Line& line, const Item& item) {
    const std::vector<Block>& blocks = BlocksBefore();
    const std::size_t position = *line.before;
    if (m_removing != &item) {
      m_removing = &item;
      const auto first = std::find_if(blocks.begin(), blocks.end(), [&](const Block& block) {
        return block.opening == position;
      });
      m_removed_path = first == blocks.end() ? std::string() : first->path;
      m_removed_up_to = 0;
    }
    const auto opened =
        std::lower_bound(blocks.begin(), blocks.end(), position,
                         [](const Block& block, std::size_t at) { return block.opening < at; });
    if (opened != blocks.end() && opened->opening == position && opened->path == m_removed_path) {
      m_removed_up_to = opened->closing.value_or(position);
    }
    if (position <= m_removed_up_to) return;
    m_refusals.Refuse("lost-lines", Here(line) + ": " + Quoted(Before(line)) +
                                        " would go, although it is no part of the block that " +
                                        Template(item) +
                                        " removes: two blocks in the file have "
                                        "this identity, and all between them goes. Give them "
                                        "different identities, or join them");
  }

  void CheckChanged(const FollowedLines::Line& line) {
    const Item& item = ItemOf(line);
    const std::string before = Before(line);
    if (IsOptions(before)) {
      CheckOptions(line, before);
      return;
    }
    if (IsMeant(item, before)) return;
    m_refusals.Refuse("other-directive",
                      Here(line) + ": " + Quoted(before) + " would be changed to " +
                          Quoted(*line.text) + ": " + Template(item) +
                          " takes it for its own line because it begins like that. Put a blank "
                          "before the place, or let the key be longer");
  }

  // httpd refuses "Options +ExecCGI Indexes", and knows no comments behind a directive.
  void CheckOptions(const FollowedLines::Line& line, const std::string& before) {
    WarnOfOptionsLeft(line);
    if (str::view::Contains(before, "#")) {
      m_refusals.Refuse("mixed-options", Here(line) + ": " + Quoted(before) +
                                             ": the comment would become words of the directive. "
                                             "Put it on a line of its own");
    }
    if (!HasMixedOptions(*line.text) || HasMixedOptions(before)) return;
    m_refusals.Refuse("mixed-options",
                      Here(line) + ": " + Quoted(*line.text) +
                          " has words with and without a sign, which httpd refuses. Write all of "
                          "them in one way in " +
                          Template(ItemOf(line)));
  }

  // A change adds words only.
  void WarnOfOptionsLeft(const FollowedLines::Line& line) {
    const Item& item = ItemOf(line);
    const std::set<std::string> wanted = Words(item.m_param.m_value.Str());
    const std::set<std::string> there = Words(*line.text);
    for (const std::string& word : Words(item.m_param.m_old_value.Str())) {
      if (wanted.count(word) != 0 || there.count(word) == 0) continue;
      m_findings.warnings.push_back(
          {"options-stay", Here(line) + ": " + Quoted(*line.text) + " keeps " + Quoted(word) +
                               ", though " + Template(item) +
                               " no longer has it: a change only adds words. Name the old words on "
                               "a line of their own in a branch that is not taken"});
    }
  }

  static std::set<std::string> Words(std::string_view text) {
    std::set<std::string> words;
    for (std::string_view word; !(word = str::view::FirstWord(text)).empty();
         text = str::view::Trim(text).substr(word.size())) {
      words.emplace(word);
    }
    return words;
  }

  // Lines that were not added because another one only begins like them.
  void CheckFound() {
    for (const FollowedLines::FoundLine& found : m_edit.followed.found()) {
      const Item& item = *m_edit.run.items()[found.item];
      if (IsMeant(item, found.text)) continue;
      m_refusals.Refuse("not-applied",
                        Template(item) + ": " + Quoted(item.m_param.m_value.Str()) +
                            " is not added, because " + Quoted(found.text) +
                            " in the block begins like it. Change that line by an old value, or "
                            "by a key of its own");
    }
  }

  // Lines that another line of the template has taken away again, those that were found included.
  void CheckApplied() {
    const auto& config = m_edit.run.config();
    std::unordered_map<std::size_t, const std::string*> found;
    for (const FollowedLines::FoundLine& line : m_edit.followed.found()) {
      found.emplace(line.item, &line.text);
    }
    for (std::size_t i = 0; i < m_edit.run.items().size(); ++i) {
      const Item& item = *m_edit.run.items()[i];
      const std::string line = item.m_param.m_value.Str();
      if (!item.m_enabled || PathOf(i) == nullptr) continue;
      if (config.StartsSection(line) || config.EndedSection(line) || config.IsUniqueParam(line)) {
        continue;
      }
      const auto stands_for_it = found.find(i);
      const std::string normal =
          Normal(stands_for_it == found.end() ? line : *stands_for_it->second);
      if (normal.empty() || ResultOf(i).count(normal) != 0) continue;
      m_refusals.Refuse("not-applied", Template(item) + ": " + Quoted(line) +
                                           " is not in the result: another line of the template "
                                           "changes or removes it");
    }
  }

  // What the block of the item `number`, which is there, holds now: its lines in their normal form.
  const std::unordered_set<std::string>& ResultOf(std::size_t number) {
    const auto [block, added] = m_results.try_emplace(*m_edit.block_of[number]);
    if (added) {
      for (const std::string* const text : m_edit.run.LinesOf(*PathOf(number))) {
        block->second.insert(Normal(*text));
      }
    }
    return block->second;
  }

  // What the template wants in the block of the item `number`, in the same form.
  const std::unordered_set<std::string>& WantedWith(std::size_t number) {
    if (m_wanted.empty()) {
      for (std::size_t i = 0; i < m_edit.run.items().size(); ++i) {
        const Item& item = *m_edit.run.items()[i];
        if (!item.m_enabled || !m_edit.block_of[i]) continue;
        m_wanted[*m_edit.block_of[i]].insert(Normal(item.m_param.m_value.Str()));
      }
    }
    return m_wanted[*m_edit.block_of[number]];
  }

  std::vector<std::string_view> TextsAfter() const {
    std::vector<std::string_view> texts;
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (line.text != nullptr) texts.emplace_back(*line.text);
    }
    return texts;
  }

  void CheckBalance() {
    std::vector<std::string_view> before;
    for (const SourceText::Line& line : m_edit.source.lines()) before.push_back(line.text);
    if (FirstUnbalanced(m_syntax, before)) return;
    const std::vector<std::string_view> after = TextsAfter();
    const auto where = FirstUnbalanced(m_syntax, after);
    if (!where) return;
    m_refusals.Refuse("unbalanced", m_edit.config_name +
                                        ": after the edit the blocks no longer "
                                        "fit together, from " +
                                        Quoted(after[*where]) + " on");
  }

  const std::vector<Block>& BlocksBefore() {
    if (!m_blocks_before) {
      std::vector<std::string> lines;
      for (std::size_t i = 0; i < m_edit.source.lines().size(); ++i) {
        lines.emplace_back(m_edit.shown.Text(m_edit.source, i));
      }
      m_blocks_before = FindBlocks(m_edit.run.config(), lines);
    }
    return *m_blocks_before;
  }

  void CheckIdentities() {
    std::unordered_map<std::string, std::size_t> before;
    for (const Block& block : BlocksBefore()) ++before[block.path];
    std::vector<std::string> lines;
    for (const std::string_view line : TextsAfter()) lines.emplace_back(line);
    std::unordered_map<std::string, std::size_t> after;
    for (const Block& block : FindBlocks(m_edit.run.config(), lines)) {
      const std::size_t count = ++after[block.path];
      const auto known = before.find(block.path);
      if (count < 2 || count <= (known == before.end() ? 0 : known->second)) continue;
      m_refusals.Refuse("duplicate-identity",
                        m_edit.config_name + ": " + Quoted(lines[block.opening]) +
                            ": after the edit " + std::to_string(count) + " blocks are " +
                            Shown(block.path) + ", and could not be told apart by a later edit");
    }
  }

  // Unique directives that the dialect did not understand are neither added, changed nor removed.
  // Those of Apache it understands, but a long one is written as several lines.
  void CheckUnique() {
    const auto is_unique = [this](const std::string& line) {
      return !line.empty() && m_edit.run.config().IsUniqueParam(line) && !IsOptions(line);
    };
    std::optional<LinesByPath> after;
    for (std::size_t i = 0; i < m_edit.run.items().size(); ++i) {
      const Item& item = *m_edit.run.items()[i];
      const std::string line = item.m_param.m_value.Str();
      if (!is_unique(line)) continue;
      CheckUniqueIsGone(i);
      if (!item.m_enabled) continue;
      if (m_syntax == Syntax::kApache && line.size() > kLongLine) continue;
      if (!after) after = LinesAfter(is_unique);
      if (Holds(*after, PathOf(i), Normal(line))) continue;
      RefuseUnique(item, line, "not in the result",
                   "another line of the template changes or removes it");
    }
  }

  // Lines in their normal form by the paths of their blocks, "" for those outside.
  using LinesByPath = std::map<std::string, std::unordered_set<std::string>>;

  // Those of the result that are wanted.
  LinesByPath LinesAfter(const std::function<bool(const std::string&)>& is_wanted) const {
    std::vector<std::string> texts;
    for (const std::string_view text : TextsAfter()) texts.emplace_back(text);
    const std::vector<Block> blocks = FindBlocks(m_edit.run.config(), texts);
    const LineOwners owners(blocks, texts.size());
    LinesByPath lines;
    for (const Block& block : blocks) lines[block.path];
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (!is_wanted(texts[i])) continue;
      lines[owners.Of(i) == nullptr ? std::string() : owners.Of(i)->path].insert(Normal(texts[i]));
    }
    return lines;
  }

  // Whether `line` stands in the block `path`; when there is no such block: anywhere.
  static bool Holds(const LinesByPath& lines, const std::string* path, const std::string& line) {
    const auto block = path == nullptr ? lines.end() : lines.find(*path);
    if (block != lines.end()) return block->second.count(line) != 0;
    return std::any_of(lines.begin(), lines.end(),
                       [&line](const auto& entry) { return entry.second.count(line) != 0; });
  }

  // What a line of the template removes, or changes, is no longer there.
  void CheckUniqueIsGone(std::size_t number) {
    const Item& item = *m_edit.run.items()[number];
    const std::string line = item.m_param.m_value.Str();
    const std::string old_line = item.m_enabled ? item.m_param.m_old_value.Str() : line;
    if (PathOf(number) == nullptr || (item.m_enabled && old_line == line)) return;
    const auto is_left = [&](const std::string& normal) {
      return ResultOf(number).count(normal) != 0 && WantedWith(number).count(normal) == 0;
    };
    if (!item.m_enabled) {
      if (!is_left(Normal(line))) return;
      RefuseUnique(item, line, "still in the result",
                   "the library does not find a line as long as this. Use a trailing place");
      return;
    }
    std::string left = Normal(old_line);
    if (item.m_param.m_part_key) {
      // All lines of the directive are meant.
      const std::string_view name = str::view::FirstWord(line);
      const auto& lines = ResultOf(number);
      const auto other = std::find_if(lines.begin(), lines.end(), [&](const std::string& text) {
        return str::view::FirstWord(text) == name && is_left(text);
      });
      if (other != lines.end()) left = *other;
    }
    if (!is_left(left)) return;
    RefuseUnique(item, left, "still in the result",
                 "the library does not change it in a block that gets its first 'Options' before. "
                 "Write this line of the template before those");
  }

  void RefuseUnique(const Item& item, const std::string& line, const std::string& where,
                    const std::string& why_of_apache) {
    const std::string why = m_syntax == Syntax::kApache
                                ? why_of_apache
                                : "the library knows addresses and ports as numbers only, and no "
                                  "address without a port";
    m_refusals.Refuse("not-applied",
                      Template(item) + ": " + Quoted(line) + " is " + where + ": " + why);
  }

  // The path of the block that the item `number` belongs to; null when it is nowhere.
  const std::string* PathOf(std::size_t number) const {
    const auto block = m_edit.block_of[number];
    if (!block || !m_edit.blocks.blocks[*block].path) return nullptr;
    return &*m_edit.blocks.blocks[*block].path;
  }

  // --- Blocks that are there several times ---

  // The library keeps the lines of blocks with the same path together: a new line goes into the
  // last of them, and of a line that several have the first one is taken.
  void CheckAmbiguous() {
    if (!HasTwins()) return;
    std::map<std::string, std::vector<std::size_t>> by_path;
    for (const Block& block : BlocksBefore()) by_path[block.path].push_back(block.opening);
    const LineOwners before(BlocksBefore(), m_edit.source.lines().size());
    const LineCounts counts = CountLines(before);
    std::vector<std::string> texts;
    for (const std::string_view text : TextsAfter()) texts.emplace_back(text);
    const std::vector<Block> blocks_after = FindBlocks(m_edit.run.config(), texts);
    const LineOwners after(blocks_after, texts.size());
    std::vector<const FollowedLines::Line*> lines_after;
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (line.text != nullptr) lines_after.push_back(&line);
    }
    // The block that a new line stands in, as it was: the line may have given it another identity.
    const auto around = [&](std::size_t here) -> const Block* {
      const Block* const block = BlockAround(after, blocks_after, here);
      if (block == nullptr || !lines_after[block->opening]->before) return nullptr;
      return before.Of(*lines_after[block->opening]->before);
    };
    std::size_t position = 0;
    for (const FollowedLines::Line& line : m_edit.lines) {
      const std::size_t here = line.text == nullptr ? position : position++;
      if (!line.item || IsGoneWithItsBlock(line)) continue;
      const Block* const block = line.before ? before.Of(*line.before) : around(here);
      if (block == nullptr || by_path[block->path].size() < 2) continue;
      if (line.before && IsClear(line, *block, counts)) continue;
      RefuseAmbiguous(line, *block, by_path[block->path]);
    }
  }

  // How often each line stands in the blocks with a path, by the path and its normal form.
  using LineCounts = std::map<std::pair<std::string, std::string>, std::size_t>;

  bool HasTwins() const {
    const auto is_several = [this](const TemplateBlock& block) {
      if (!block.path) return false;
      const std::vector<const std::string*> lines = m_edit.run.LinesOf(*block.path);
      return std::count_if(lines.begin(), lines.end(), [this](const std::string* line) {
               return m_edit.run.config().EndedSection(*line);
             }) > 1;
    };
    const auto& blocks = m_edit.blocks.blocks;
    return std::any_of(blocks.begin(), blocks.end(), is_several);
  }

  LineCounts CountLines(const LineOwners& owners) const {
    LineCounts counts;
    for (std::size_t i = 0; i < m_edit.source.lines().size(); ++i) {
      const Block* const block = owners.Of(i);
      if (block) ++counts[{block->path, Normal(m_edit.shown.Text(m_edit.source, i))}];
    }
    return counts;
  }

  bool IsGoneWithItsBlock(const FollowedLines::Line& line) const {
    return line.before && line.text == nullptr && RemovesBlock(ItemOf(line));
  }

  // The block that a new line stands in; an opening line stands in the block around its own.
  static const Block* BlockAround(const LineOwners& owners, const std::vector<Block>& blocks,
                                  std::size_t line) {
    const Block* const block = owners.Of(line);
    if (block == nullptr || block->opening != line) return block;
    return block->parent ? &blocks[*block->parent] : nullptr;
  }

  // Whether only one of the blocks with the path has the line, as it was.
  bool IsClear(const FollowedLines::Line& line, const Block& block,
               const LineCounts& counts) const {
    const std::string before = Before(line);
    return !IsOptions(before) && counts.at({block.path, Normal(before)}) < 2;
  }

  void RefuseAmbiguous(const FollowedLines::Line& line, const Block& block,
                       const std::vector<std::size_t>& openings) {
    const auto place = [&](std::size_t opening) {
      return At(m_edit.config_name, m_edit.source.lines()[opening].number);
    };
    m_refusals.Refuse("ambiguous", Template(ItemOf(line)) + ": " +
                                       Quoted(line.before ? Before(line) : *line.text) +
                                       " may belong to either of the blocks at " +
                                       place(openings[0]) + " and " + place(openings[1]) +
                                       ", both " + Shown(block.path) +
                                       ". Put them into files of their own");
  }

  static bool RemovesBlock(const Item& item) {
    return !item.m_enabled && !item.m_section.m_value.Str().empty();
  }

  // --- New lines ---

  void WarnOfNewLines() {
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (!line.item || line.before || line.text == nullptr) continue;
      const std::string* const path = PathOf(*line.item);
      if (path != nullptr) WarnOfNewLine(line, *path);
    }
  }

  void WarnOfNewLine(const FollowedLines::Line& line, const std::string& path) {
    const auto& config = m_edit.run.config();
    const std::string_view name = str::view::FirstWord(*line.text);
    if (config.StartsSection(*line.text) || config.EndedSection(*line.text)) return;
    if (config.IsUniqueParam(*line.text)) return;
    const bool rule = m_syntax == Syntax::kNginx && (name == "allow" || name == "deny");
    std::vector<const std::string*> alike;
    for (const std::string* const other : m_edit.run.LinesOf(path)) {
      if (other == line.text) continue;
      const std::string normal = Normal(*other);
      if (rule && (normal == "allow all;" || normal == "deny all;")) {
        WarnOfPlace(line, *other);
        return;
      }
      if (str::view::FirstWord(*other) == name) alike.push_back(other);
    }
    // A directive that stands there several times may do so once more.
    if (rule || alike.size() != 1 || m_named.count(Normal(*alike.front())) != 0) return;
    m_findings.warnings.push_back(
        {"second-line", Template(ItemOf(line)) + ": " + Quoted(*line.text) + " is added beside " +
                            Quoted(*alike.front()) + Where(alike.front()) +
                            ", which no line of the template names. If it is to replace that one, "
                            "name its old value, or use a trailing place"});
  }

  void WarnOfPlace(const FollowedLines::Line& line, const std::string& rule) {
    m_findings.warnings.push_back(
        {"rule-order", Template(ItemOf(line)) + ": " + Quoted(*line.text) + " comes behind " +
                           Quoted(rule) + Where(&rule) +
                           ", and nginx takes the first rule that fits. Take that one out in a "
                           "branch that is not taken, and name it again behind the new one"});
  }

  // " (FILE:LINE)" of a line that was there before.
  std::string Where(const std::string* text) const {
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (line.text == text && line.before) return " (" + Here(line) + ")";
    }
    return std::string();
  }

  const MadeEdit& m_edit;
  const Syntax m_syntax;
  Findings& m_findings;
  Collector m_refusals;
  std::set<std::string> m_idents;
  std::unordered_set<std::string> m_named;
  std::optional<std::vector<Block>> m_blocks_before;

  // By the blocks of the template.
  std::unordered_map<std::size_t, std::unordered_set<std::string>> m_results;
  std::unordered_map<std::size_t, std::unordered_set<std::string>> m_wanted;

  // Of the item that removes a block.
  const Item* m_removing = nullptr;
  std::string m_removed_path;
  std::size_t m_removed_up_to = 0;
};

}  // namespace

void CheckEdit(const MadeEdit& edit, Findings& findings) {
  EditCheck(edit, findings).Run();
}

}  // namespace cli
