// SPDX-License-Identifier: Apache-2.0

#include "cli/edit.h"

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/addresses.h"
#include "cli/blocks.h"
#include "cli/failure.h"
#include "cli/followed_lines.h"
#include "cli/guard.h"
#include "cli/prepare.h"
#include "cli/server_check.h"
#include "cli/source_text.h"
#include "cli/syntax.h"
#include "cli/template_run.h"
#include "cli/text.h"
#include "template/framework/str.h"

namespace cli {
namespace {

// The edit of one text. The library is given the lines that are not blank, as ShowLines shows them;
// afterwards each line that it left alone is written as it stood in the file.
//
// Blocks that get another opening line are given it first, and blocks that are new are first made
// of their prototypes; after each such step the library reads the lines anew. So all blocks are
// there under the names by which the template's lines are then applied to them.
class Editor {
 public:
  // When a `report` is given, it is filled in, and nothing is refused.
  Editor(const Request& request, const std::string& text, const std::string& name,
         EditReport* report)
      : m_request(request),
        m_text(text),
        m_name(name),
        m_report(report),
        m_syntax(SyntaxOf(request.dialect)),
        m_source(text),
        m_template(EmptyConfig(), request, ValuesOf(request)),
        m_new_template(EmptyConfig(), request, NewValuesOf(request)) {}

  Edited Run() {
    CheckTemplate(m_request, m_template, m_findings);
    RefuseIfFound();
    m_shown = ShowLines(m_syntax, m_source, m_template);
    for (std::size_t i = 0; i < m_source.lines().size(); ++i) {
      m_lines.push_back({m_shown.Text(m_source, i), i, std::nullopt, false});
    }
    ReadLines();
    CheckDepth(m_name, m_source, m_shown, *m_config);
    while (RenameBlocks() || MakeBlocks()) ReadLines();
    Apply();
    return Finish();
  }

 private:
  // A line of the configuration between two steps.
  struct Line {
    std::string_view text;
    std::optional<std::size_t> original;
    std::optional<std::size_t> item;  // that made or changed it in an earlier step
    bool repeated = false;            // an opening line, for the library only: see FindReopenings
  };

  std::shared_ptr<tov_template::BaseConfig> EmptyConfig() const {
    return MakeConfig(m_request, std::string());
  }

  std::string_view Keep(std::string text) {
    m_kept.push_back(std::move(text));
    return m_kept.back();
  }

  void RefuseIfFound() const {
    if (m_findings.refusals.empty() || m_report != nullptr) return;
    std::string message = "not edited:";
    for (const Finding& finding : m_findings.refusals) {
      message += "\n  " + finding.message + " [" + finding.name + "]";
    }
    throw Refusal(m_name, message);
  }

  // --- Steps ---

  void ReadLines() {
    RepeatOpeningLines();
    std::string text;
    std::size_t size = 0;
    for (const Line& line : m_lines) size += line.text.size() + 1;
    text.reserve(size);
    for (const Line& line : m_lines) text.append(line.text) += '\n';
    m_run.reset();
    m_config = MakeConfig(m_request, text);
    m_followed = std::make_unique<FollowedLines>(*m_config->GetList());
    m_run = std::make_unique<TemplateRun>(m_config, m_template);
    m_run->SetObserver(m_followed.get());
    m_blocks = FindTemplateBlocks(*m_run, m_new_template);
    m_created.resize(m_blocks.blocks.size());
    m_renamed.resize(m_blocks.blocks.size());
  }

  void RepeatOpeningLines() {
    std::vector<std::string_view> texts;
    texts.reserve(m_lines.size());
    for (const Line& line : m_lines) texts.push_back(line.text);
    const std::vector<Reopening> reopenings = FindReopenings(*EmptyConfig(), texts);
    if (reopenings.empty()) return;
    RefuseDeep(reopenings);
    std::vector<Line> lines;
    lines.reserve(m_lines.size() + reopenings.size());
    auto next = reopenings.begin();
    for (std::size_t i = 0; i < texts.size(); ++i) {
      lines.push_back(m_lines[i]);
      if (next == reopenings.end() || next->behind != i) continue;
      lines.push_back({texts[next->opening], std::nullopt, std::nullopt, true});
      ++next;
    }
    m_lines = std::move(lines);
  }

  void RefuseDeep(const std::vector<Reopening>& reopenings) {
    if (m_template.items().empty() || m_request.forced.count("odd-line") != 0) return;
    const auto deep = std::find_if(reopenings.begin(), reopenings.end(),
                                   [](const Reopening& reopening) { return reopening.deep; });
    if (deep == reopenings.end()) return;
    const auto line = m_lines[deep->behind].original;
    m_findings.refusals.push_back(
        {"odd-line", (line ? At(m_name, m_source.lines()[*line].number) : m_name) +
                         ": here ends a block that its own lines identify, more than two levels "
                         "deep: the library would take what follows for another block's"});
    RefuseIfFound();
  }

  // The lines of the source and those that are there now, with what is known of them from earlier
  // steps.
  std::vector<FollowedLines::Line> FollowedResult() const {
    std::vector<FollowedLines::Line> lines = m_followed->Result();
    const auto closes_block = [this](const FollowedLines::Line& line) {
      return std::any_of(
          m_blocks.blocks.begin(), m_blocks.blocks.end(),
          [&](const TemplateBlock& block) { return block.closes && block.closing == line.item; });
    };
    for (FollowedLines::Line& line : lines) {
      // A closing line that the library does not find is there all the same: the block is.
      if (!line.before && closes_block(line)) line.text = nullptr;
      if (!line.before) continue;
      const Line& before = m_lines[*line.before];
      if (before.repeated) line.text = nullptr;
      line.before = before.original;
      if (!line.item) line.item = before.item;
    }
    EraseNoLines(lines);
    return lines;
  }

  // Gives blocks their new opening lines, where these have changed: inner blocks have to be looked
  // for below the new path. False when there is nothing to do.
  bool RenameBlocks() {
    std::vector<bool> waits(m_blocks.blocks.size());
    bool renamed = false;
    for (std::size_t i = 0; i < m_blocks.blocks.size(); ++i) {
      const TemplateBlock& block = m_blocks.blocks[i];
      if (block.parent && waits[*block.parent]) waits[i] = true;
      if (waits[i] || m_renamed[i] || m_created[i] || !block.path || !block.enabled) continue;
      const auto& opening = m_run->items()[block.opening]->m_param;
      if (opening.m_old_value.Str() == opening.m_value.Str()) continue;
      m_followed->ItemBegins(block.opening, *block.path);
      m_run->ChangeParam(*block.path, opening.m_old_value.Str(), opening.m_value.Str(),
                         opening.m_key.Str());
      m_renamed[i] = waits[i] = renamed = true;
    }
    if (renamed) {
      // What reading alone has joined stays apart.
      std::vector<Line> lines;
      for (const FollowedLines::Line& line : m_followed->Result()) {
        Line kept = m_lines[*line.before];
        if (kept.repeated) continue;
        if (line.item) {
          kept.text = Keep(*line.text);
          kept.item = line.item;
        }
        lines.push_back(kept);
      }
      m_lines = std::move(lines);
    }
    return renamed;
  }

  // A new block, and the address of the line before which it goes; null: the end.
  struct Addition {
    const std::string* before;
    std::size_t block;
  };

  // Makes the blocks that are new of their prototypes. False when there are none.
  bool MakeBlocks() {
    CheckMissing();
    const std::vector<Addition> additions = FindNewBlocks();
    RefuseIfFound();
    if (additions.empty()) return false;

    std::vector<Line> lines;
    const auto add_before = [&](const std::string* place) {
      for (const Addition& addition : additions) {
        if (addition.before == place) AddPrototype(m_blocks.blocks[addition.block], lines);
      }
    };
    std::set<const std::string*> places;
    for (const Addition& addition : additions) places.insert(addition.before);
    for (const FollowedLines::Line& line : m_followed->Result()) {
      if (line.text != nullptr && places.count(line.text) != 0) add_before(line.text);
      if (!m_lines[*line.before].repeated) lines.push_back(m_lines[*line.before]);
    }
    add_before(nullptr);
    m_lines = std::move(lines);
    return true;
  }

  // Where the library takes the lines for other blocks' than they are, nothing will be found.
  void CheckMissing() {
    const bool any_missing =
        std::any_of(m_blocks.blocks.begin(), m_blocks.blocks.end(),
                    [](const TemplateBlock& block) { return block.enabled && !block.path; });
    if (!any_missing) return;
    CheckBraces(m_request, m_name, m_source, m_shown, *m_config, m_findings);
    CheckCloses();
    RefuseIfFound();
  }

  // The outermost ones; those within them are made with them.
  std::vector<Addition> FindNewBlocks() {
    std::vector<Addition> additions;
    for (std::size_t i = 0; i < m_blocks.blocks.size(); ++i) {
      const TemplateBlock& block = m_blocks.blocks[i];
      if (block.parent && m_created[*block.parent]) m_created[i] = true;
      if (m_created[i]) continue;
      if (block.path) {
        if (!block.parent) CheckMayExist(block);
        continue;
      }
      if (!block.enabled || (block.parent && !m_blocks.blocks[*block.parent].path)) continue;
      CheckIsNew(i);
      m_created[i] = true;
      additions.push_back({EndOfParent(block), i});
    }
    return additions;
  }

  const std::string* EndOfParent(const TemplateBlock& block) const {
    if (!block.parent) return nullptr;
    const auto end = m_run->EndOfBlock(*m_blocks.blocks[*block.parent].path);
    return end == m_config->GetList()->end() ? nullptr : &*end;
  }

  // Behind a block that never closes, a new one would stand inside it.
  void CheckCloses() {
    if (m_request.forced.count("unbalanced") != 0) return;
    std::vector<std::string_view> texts;
    for (const SourceText::Line& line : m_source.lines()) texts.push_back(line.text);
    const auto where = FirstUnbalanced(m_syntax, texts);
    if (!where) return;
    m_findings.refusals.push_back(
        {"unbalanced", At(m_name, m_source.lines()[*where].number) +
                           ": the blocks do not fit together from here on, so that there is no "
                           "place for a new one"});
  }

  void AddPrototype(const TemplateBlock& block, std::vector<Line>& lines) {
    TemplateRun prototype(EmptyConfig(), m_new_template);
    prototype.KeepItems(block.opening, block.closing);
    const std::string_view text = Keep(prototype.GetPrototype());
    std::size_t item = block.opening;
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      const std::string_view line = text.substr(begin, end - begin);
      while (item < block.closing && !IsLineOf(*m_new_template.items()[item], line)) ++item;
      lines.push_back({line, std::nullopt, item++, false});
      begin = end + 1;
    }
  }

  static bool IsLineOf(const TemplateRun::Item& item, std::string_view line) {
    return item.m_enabled && item.m_param.m_value.Str() == line;
  }

  void CheckMayExist(const TemplateBlock& block) {
    if (m_request.create != Create::kOnly) return;
    m_findings.refusals.push_back(
        {"exists", TemplatePlace(m_request, *m_run->items()[block.opening]) +
                       ": this block is there already, and only new ones are to be made"});
  }

  // A block that is nowhere is new, but when it was said to have another name, stands elsewhere, or
  // none is to be made.
  void CheckIsNew(std::size_t number) {
    const TemplateBlock& block = m_blocks.blocks[number];
    if (m_request.forced.count("unmatched-section") != 0) return;
    const std::string& old_level = block.levels.front();
    const bool renamed = m_template.items()[block.opening]->m_section.m_old_value.Str() !=
                         m_new_template.items()[block.opening]->m_section.m_old_value.Str();
    const std::vector<Block> blocks = SourceBlocks();
    const auto elsewhere = std::find_if(blocks.begin(), blocks.end(), [&](const Block& other) {
      return std::find(block.levels.begin(), block.levels.end(), other.level) != block.levels.end();
    });
    if (!renamed && elsewhere == blocks.end() && m_request.create != Create::kNever) return;

    std::string message = TemplatePlace(m_request, *m_run->items()[block.opening]) +
                          ": there is no block '" + old_level + "'";
    if (block.parent) {
      message += " in '" + m_blocks.blocks[*block.parent].levels.front() + "'";
    }
    if (elsewhere != blocks.end() && !elsewhere->parent && !block.parent) {
      message += ": the library takes the one at " + PlaceOf(*elsewhere) +
                 " for one inside another block, because of the blocks before it";
    } else if (elsewhere != blocks.end()) {
      message += ", but one at " + PlaceOf(*elsewhere) +
                 (elsewhere->parent ? ", inside '" + blocks[*elsewhere->parent].level + "'"
                                    : std::string(", outside every block")) +
                 ": say in the template in which block it stands";
    } else {
      const std::string candidates = Candidates(blocks, old_level);
      if (!candidates.empty()) message += "; there are " + candidates;
      message += renamed ? ". Correct the old value, or leave it out for a new block"
                         : ". Without --no-create it is made";
    }
    m_findings.refusals.push_back({"unmatched-section", message});
  }

  std::vector<Block> SourceBlocks() const {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < m_source.lines().size(); ++i) {
      lines.emplace_back(m_shown.Text(m_source, i));
    }
    return FindBlocks(*m_config, lines);
  }

  std::string PlaceOf(const Block& block) const {
    return At(m_name, m_source.lines()[block.opening].number);
  }

  // The blocks most like `level`, for a message.
  std::string Candidates(std::vector<Block> blocks, const std::string& level) const {
    constexpr std::size_t kMost = 3;
    const auto end = std::remove_if(blocks.begin(), blocks.end(), [&](const Block& block) {
      return str::view::FirstWord(block.level) != str::view::FirstWord(level);
    });
    blocks.erase(end, blocks.end());
    std::vector<std::pair<std::size_t, const Block*>> by_distance;
    by_distance.reserve(blocks.size());
    for (const Block& block : blocks)
      by_distance.emplace_back(Distance(block.level, level), &block);
    std::stable_sort(by_distance.begin(), by_distance.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    if (by_distance.size() > kMost) by_distance.resize(kMost);
    std::string text;
    for (const auto& [distance, block] : by_distance) {
      if (!text.empty()) text += ", ";
      text += "'" + block->level + "' (" + PlaceOf(*block) + ")";
    }
    return text;
  }

  // How many characters have to be put in, left out or replaced to make `b` of `a`.
  static std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
      std::size_t diagonal = row[0]++;
      for (std::size_t j = 1; j <= b.size(); ++j) {
        const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
        diagonal = row[j];
        row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
      }
    }
    return row.back();
  }

  void Apply() {
    for (std::size_t i = 0; i < m_blocks.blocks.size(); ++i) {
      const TemplateBlock& block = m_blocks.blocks[i];
      if (!m_created[i]) continue;
      for (std::size_t item = block.opening; item <= block.closing; ++item) {
        *m_run->items()[item] = *m_new_template.items()[item];
      }
    }
    AddressBlocks(m_blocks, *m_run);
    m_block_of = BlocksOfItems(m_blocks, m_run->items().size());
    for (std::size_t i = 0; i < m_block_of.size(); ++i) {
      if (m_block_of[i]) FindByWords(m_blocks.blocks[*m_block_of[i]], m_run->items()[i]->m_param);
    }
    m_run->Apply();
  }

  // The library cuts a key's last blank off: "ssl_certificate " would find "ssl_certificate_key".
  // The whole line that the key finds is a key that finds nothing else.
  void FindByWords(const TemplateBlock& block, TemplateRun::ParseValues& param) const {
    const std::string key = param.m_key.Str();
    if (!param.m_part_key || key.empty() || !str::IsBlank(key.back()) || !block.path) return;
    if (m_config->IsUniqueParam(key)) return;
    const std::vector<const std::string*> lines = m_run->LinesOf(*block.path);
    const auto line = std::find_if(lines.begin(), lines.end(), [&](const std::string* text) {
      return str::view::StartsWith(str::view::Trim(*text), key);
    });
    if (line != lines.end()) {
      param.m_key = str::Trim(**line);
      return;
    }
    param.m_part_key = false;
    param.m_key = param.m_old_value = param.m_value;
  }

  // --- The result ---

  Edited Finish() {
    std::vector<FollowedLines::Line> lines = FollowedResult();
    PutBackJoined(lines);
    KeepPlaces(lines);
    SortNewLines(lines);
    std::vector<EditedLine> edited;
    bool any_new = false;
    for (const FollowedLines::Line& line : lines) {
      if (line.text == nullptr || line.text->empty()) continue;
      any_new = any_new || !line.before;
      edited.push_back({TextOf(line), line.before});
    }
    if (any_new) IndentNew(edited);
    Edited result;
    result.text = Written(m_source, edited);
    const MadeEdit made{m_request, m_name,     m_source, m_shown,    *m_run,
                        m_blocks,  m_block_of, lines,    *m_followed};
    CheckEdit(made, m_findings);
    CheckServers(made, m_text, m_findings);
    RefuseIfFound();
    if (m_report != nullptr) {
      *m_report = ReportEdit({made, m_template, m_created, m_renamed, m_back, edited});
      m_report->refusals = WithoutRepeats(m_findings.refusals);
      m_report->warnings = m_findings.warnings;
    }
    result.warnings = std::move(m_findings.warnings);
    return result;
  }

  // A step that is not refused may be followed by one that is for the same reason.
  static std::vector<Finding> WithoutRepeats(const std::vector<Finding>& findings) {
    std::vector<Finding> result;
    std::set<std::string> seen;
    for (const Finding& finding : findings) {
      if (seen.insert(finding.message + finding.name).second) result.push_back(finding);
    }
    return result;
  }

  // Puts back the "Options" lines that are gone because they were joined only to be read: those of
  // blocks that are still there and whose options the edit has not touched.
  void PutBackJoined(std::vector<FollowedLines::Line>& lines) {
    const auto is_joined = [](const FollowedLines::Line& line) {
      return line.text == nullptr && line.before && !line.item;
    };
    if (std::none_of(lines.begin(), lines.end(), is_joined)) return;
    const std::vector<Block> blocks = SourceBlocks();
    const LineOwners owners(blocks, m_source.lines().size());
    std::set<const Block*> touched;
    for (const FollowedLines::Line& line : lines) {
      if (!line.before || !line.item) continue;
      const Block* const block = owners.Of(*line.before);
      const bool is_opening = block != nullptr && block->opening == *line.before;
      const bool is_gone = line.text == nullptr && is_opening;
      if (is_gone || str::view::FirstWord(m_shown.Text(m_source, *line.before)) == "Options")
        touched.insert(block);
    }
    for (FollowedLines::Line& line : lines) {
      if (is_joined(line) && touched.count(owners.Of(*line.before)) == 0) PutBack(line);
    }
  }

  void PutBack(FollowedLines::Line& line) {
    line.text = &m_put_back.emplace_back(m_shown.Text(m_source, *line.before));
    m_back.push_back(*line.before);
    line.item.reset();
  }

  // A change of one "listen" has replaced all of the block. Has each stand where it stood before,
  // and puts those back that the template names as they are.
  void KeepPlaces(std::vector<FollowedLines::Line>& lines) {
    const auto is_unique = [this](std::string_view text) {
      return m_config->IsUniqueParam(std::string(text));
    };
    std::vector<FollowedLines::Line*> gone;
    std::map<LineOfBlock, FollowedLines::Line*> made;
    for (FollowedLines::Line& line : lines) {
      if (!line.item) continue;
      if (line.text == nullptr) {
        if (is_unique(m_shown.Text(m_source, *line.before))) gone.push_back(&line);
      } else if (!line.before && is_unique(*line.text)) {
        made.emplace(InBlockOf(*line.item, *line.text), &line);
      }
    }
    if (gone.empty()) return;
    const std::map<LineOfBlock, LineOfBlock> wanted = WantedLines();
    for (FollowedLines::Line* const line : gone) {
      const LineOfBlock before = InBlockOf(*line->item, m_shown.Text(m_source, *line->before));
      const auto after = wanted.find(before);
      if (after == wanted.end()) continue;
      const auto own = made.find(after->second);
      if (after->second == before) {
        PutBack(*line);
      } else if (own != made.end()) {
        line->text = own->second->text;
        line->item = own->second->item;
      }
      if (own == made.end()) continue;
      own->second->text = nullptr;
      made.erase(own);
    }
    EraseNoLines(lines);
  }

  // A line in its normal form, and the block of the template that it belongs to.
  using LineOfBlock = std::pair<std::optional<std::size_t>, std::string>;

  LineOfBlock InBlockOf(std::size_t item, std::string_view line) const {
    return {m_block_of[item], NormalForm(m_syntax, line)};
  }

  // What the template has for a line: of its lines that are taken, those with the old values and
  // with the new ones.
  std::map<LineOfBlock, LineOfBlock> WantedLines() const {
    std::map<LineOfBlock, LineOfBlock> wanted;
    for (const bool by_old_value : {false, true}) {
      for (std::size_t i = 0; i < m_block_of.size(); ++i) {
        const TemplateRun::Item& item = *m_run->items()[i];
        if (!item.m_enabled) continue;
        const auto& line = by_old_value ? item.m_param.m_old_value : item.m_param.m_value;
        wanted.emplace(InBlockOf(i, line.Str()), InBlockOf(i, item.m_param.m_value.Str()));
      }
    }
    return wanted;
  }

  // Those that were made and are not wanted after all.
  static void EraseNoLines(std::vector<FollowedLines::Line>& lines) {
    const auto is_none = [](const FollowedLines::Line& line) {
      return line.text == nullptr && !line.before;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), is_none), lines.end());
  }

  // New lines that follow one another come in the order of the template: that of some directives
  // matters, and the blocks that were made were there before the lines beside them.
  static void SortNewLines(std::vector<FollowedLines::Line>& lines) {
    const auto is_new = [](const FollowedLines::Line& line) { return !line.before; };
    for (auto end = lines.begin(); end != lines.end();) {
      const auto begin = std::find_if(end, lines.end(), is_new);
      end = std::find_if_not(begin, lines.end(), is_new);
      std::stable_sort(begin, end, [](const auto& a, const auto& b) { return a.item < b.item; });
    }
  }

  // What is written of a line that is there.
  std::string_view TextOf(const FollowedLines::Line& line) {
    if (!line.before) return str::view::Trim(*line.text);
    const std::string_view original = m_source.lines()[*line.before].text;
    if (!line.item) return original;
    std::string_view text = NewText(line);
    std::string_view end = TrailingComment(m_syntax, original);
    if (end.empty()) {
      end = original.substr(TrimmedEnd(original).size());
    } else {
      // The comment that somebody wrote stays, not that of the template.
      text.remove_suffix(TrailingComment(m_syntax, text).size());
    }
    const std::string_view before = original.substr(0, original.size() - end.size());
    return Keep(std::string(Indentation(original)) + WithBlanksOf(m_syntax, text, before) +
                std::string(end));
  }

  // The text of a changed line without the comment that the library takes over from the old one.
  // What it takes for a comment may be the rest of a value with a "#" in it.
  std::string_view NewText(const FollowedLines::Line& line) const {
    const std::string_view before = m_shown.Text(m_source, *line.before);
    const std::string marker = m_config->GetCommentChar();
    const std::size_t at = before.rfind(marker);
    const std::string_view text = *line.text;
    if (at == std::string_view::npos) return text;
    const std::string_view comment = before.substr(at);
    const bool taken_over =
        text.size() >= comment.size() && text.substr(text.size() - comment.size()) == comment;
    return taken_over ? text.substr(0, text.size() - comment.size()) : text;
  }

  void IndentNew(std::vector<EditedLine>& lines) {
    const auto depth_change = [this](std::string_view line) {
      const std::string text(line);
      return (m_config->StartsSection(text) ? 1 : 0) - (m_config->EndedSection(text) ? 1 : 0);
    };
    const std::vector<std::string> indentations = Indentations(lines, depth_change);
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (!lines[i].original) lines[i].text = Keep(indentations[i] + std::string(lines[i].text));
    }
  }

  const Request& m_request;
  const std::string& m_text;
  const std::string& m_name;
  EditReport* const m_report;
  const Syntax m_syntax;
  const SourceText m_source;
  const TemplateRun m_template;      // without a configuration
  const TemplateRun m_new_template;  // the same with each old value equal to the new one
  ShownLines m_shown;
  std::deque<std::string> m_kept;
  std::deque<std::string> m_put_back;
  std::vector<Line> m_lines;
  std::shared_ptr<tov_template::BaseConfig> m_config;
  std::unique_ptr<FollowedLines> m_followed;
  std::unique_ptr<TemplateRun> m_run;
  TemplateBlocks m_blocks;
  std::vector<bool> m_created;  // of the blocks
  std::vector<bool> m_renamed;
  std::vector<std::optional<std::size_t>> m_block_of;  // of the items, when they are applied
  std::vector<std::size_t> m_back;                     // the positions of lines that were put back
  Findings m_findings;
};

}  // namespace

Edited Edit(const Request& request, const std::string& config_text,
            const std::string& config_name) {
  return Editor(request, config_text, config_name, nullptr).Run();
}

Explained Explain(const Request& request, const std::string& config_text,
                  const std::string& config_name) {
  Explained explained;
  explained.edited = Editor(request, config_text, config_name, &explained.report).Run();
  return explained;
}

}  // namespace cli
