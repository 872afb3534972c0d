#include "cli/edit.h"

#include <algorithm>
#include <deque>
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
      m_lines.push_back({m_shown.Text(m_source, i), i, std::nullopt});
    }
    ReadLines();
    CheckDepth(m_name, m_source, *m_config);
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

  // The lines of the source and those that are there now, with what is known of them from earlier
  // steps.
  std::vector<FollowedLines::Line> FollowedResult() const {
    std::vector<FollowedLines::Line> lines = m_followed->Result();
    for (FollowedLines::Line& line : lines) {
      if (!line.before) continue;
      const Line& before = m_lines[*line.before];
      line.before = before.original;
      if (!line.item) line.item = before.item;
    }
    const auto made_for_nothing = [](const FollowedLines::Line& line) {
      return line.text == nullptr && !line.before;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), made_for_nothing), lines.end());
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
      std::vector<Line> lines;
      for (const FollowedLines::Line& line : FollowedResult()) {
        if (line.text != nullptr) lines.push_back({Keep(*line.text), line.before, line.item});
      }
      m_lines = std::move(lines);
    }
    return renamed;
  }

  // Makes the blocks that are new of their prototypes. False when there are none.
  bool MakeBlocks() {
    struct Addition {
      const std::string* before;  // the line's address; null: the end
      std::size_t block;
    };
    std::vector<Addition> additions;
    const bool any_missing =
        std::any_of(m_blocks.blocks.begin(), m_blocks.blocks.end(),
                    [](const TemplateBlock& block) { return block.enabled && !block.path; });
    if (any_missing) {
      CheckBraces(m_request, m_name, m_source, m_shown, *m_config, m_findings);
      RefuseIfFound();
    }
    for (std::size_t i = 0; i < m_blocks.blocks.size(); ++i) {
      const TemplateBlock& block = m_blocks.blocks[i];
      if (block.parent && m_created[*block.parent]) m_created[i] = true;
      if (block.path && !block.parent && !m_created[i]) CheckMayExist(block);
      if (block.path || m_created[i] || !block.enabled) continue;
      if (block.parent && !m_blocks.blocks[*block.parent].path) continue;
      CheckIsNew(i);
      m_created[i] = true;
      const std::string* before = nullptr;
      if (block.parent) {
        const auto end = m_run->EndOfBlock(*m_blocks.blocks[*block.parent].path);
        if (end != m_config->GetList()->end()) before = &*end;
      }
      additions.push_back({before, i});
    }
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
      lines.push_back(m_lines[*line.before]);
    }
    add_before(nullptr);
    m_lines = std::move(lines);
    return true;
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
      lines.push_back({line, std::nullopt, item++});
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
    if (elsewhere != blocks.end()) {
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
    m_run->Apply();
  }

  // --- The result ---

  Edited Finish() {
    std::vector<FollowedLines::Line> lines = FollowedResult();
    PutBack(lines);
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
    const MadeEdit made{m_request, m_name, m_source,    m_shown, *m_run,
                        m_blocks,  lines,  *m_followed, m_text,  result.text};
    CheckEdit(made, m_findings);
    RefuseIfFound();
    if (m_report != nullptr) {
      *m_report = ReportEdit({made, m_template, m_created, m_renamed, m_put_back, edited});
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

  // Puts back the lines that are gone though nobody asked for it: of empty blocks that the template
  // does not name, and "Options" that were joined only to be read.
  void PutBack(std::vector<FollowedLines::Line>& lines) {
    static const std::string put_back = " ";
    std::set<std::string> named;
    for (const TemplateBlock& block : m_blocks.blocks) {
      if (block.path) named.insert(*block.path);
    }
    const bool joined_changed = std::any_of(lines.begin(), lines.end(), [](const auto& line) {
      return line.item && line.text != nullptr && str::view::FirstWord(*line.text) == "Options";
    });
    for (FollowedLines::Line& line : lines) {
      if (line.text != nullptr || !line.before) continue;
      const bool of_empty_block =
          line.empty_block && named.count(m_followed->empty_blocks()[*line.empty_block]) == 0;
      const bool joined = !line.item && !line.empty_block;
      if (!of_empty_block && !(joined && !joined_changed)) continue;
      line.text = &put_back;
      line.item.reset();
      line.empty_block.reset();
      m_put_back.push_back(*line.before);
    }
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
    const std::string_view comment = TrailingComment(m_syntax, original);
    return Keep(std::string(Indentation(original)) + std::string(str::view::Trim(NewText(line))) +
                std::string(comment));
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
  std::vector<Line> m_lines;
  std::shared_ptr<tov_template::BaseConfig> m_config;
  std::unique_ptr<FollowedLines> m_followed;
  std::unique_ptr<TemplateRun> m_run;
  TemplateBlocks m_blocks;
  std::vector<bool> m_created;  // of the blocks
  std::vector<bool> m_renamed;
  std::vector<std::size_t> m_put_back;
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
