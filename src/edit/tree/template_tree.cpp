// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/template_tree.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "document/ascii.h"
#include "edit/tree/authored_line.h"
#include "edit/tree/limits.h"
#include "edit/tree/repetition.h"
#include "edit/tree/statement_values.h"
#include "edit/tree/statements.h"
#include "edit/tree/template_text.h"
#include "template/config_type.h"
#include "template/framework/str.h"
#include "template/template.h"

namespace tov_edit {
namespace {

using tov_document::Document;
using tov_document::Problem;
using tov_template::Template;
using Kind = TemplateLine::Kind;

bool ClosesBlock(Dialect dialect, std::string_view text) {
  return str::view::StartsWith(text, dialect == Dialect::kNginx ? "}" : "</");
}

bool IsControl(char byte) {
  return (static_cast<unsigned char>(byte) < 0x20 && byte != '\t') || byte == 0x7f;
}

bool HoldsControl(const std::string& text) {
  return std::any_of(text.begin(), text.end(), IsControl);
}

// "'a', 'b'"
std::string Listed(const std::vector<std::string>& names) {
  std::string listed;
  for (const std::string& name : names) listed += (listed.empty() ? "" : ", ") + Quoted(name);
  return listed;
}

// A line that is no directive with words of its own.
WrittenPtr UnreadLine(const std::string& text) {
  return std::make_shared<const Written>(Written{text, {}, {}});
}

// --- The engine's part ---

struct EngineValues {
  Template::Values old_values;
  Template::Values new_values;
};

EngineValues ValuesOf(const Request& request) {
  EngineValues values;
  for (const auto& [name, value] : request.values) {
    if (value.new_value) values.new_values[name] = values.old_values[name] = *value.new_value;
    if (value.old_value) values.old_values[name] = *value.old_value;
  }
  return values;
}

std::shared_ptr<tov_template::BaseConfig> EmptyConfig(Dialect dialect) {
  return tov_template::GetConfigType(dialect == Dialect::kNginx ? "Nginx" : "Apache", "");
}

// A template over no configuration.
class EngineTemplate : private EngineValues, public Template {
 public:
  EngineTemplate(Dialect dialect, EngineValues values)
      : EngineValues(std::move(values)),
        Template(EmptyConfig(dialect), EngineValues::old_values, EngineValues::new_values) {}

  const std::list<TemplateActionItem>& items() const { return m_actions; }
  const std::vector<StatementRecord>& statements() const { return m_statements; }

  const Values& old_values() const { return m_old_values; }
  const Values& new_values() const { return m_new_values; }
};

class Reader {
 public:
  Reader(const Request& request, const std::set<std::string>& unknown, Findings& findings)
      : m_request(request),
        m_findings(findings),
        m_text(WithImports(request)),
        m_engine(request.dialect, ValuesOf(request)),
        m_old_values(m_engine.old_values()),
        m_new_values(m_engine.new_values()) {
    for (const std::string& name : unknown) {
      m_old_values.erase(name);
      m_new_values.erase(name);
    }
    if (!m_text.excess) m_engine.SetTemplate(m_text.Text());
  }

  TemplateTree Read() {
    if (m_text.excess) {
      RefuseLimit(m_text.excess->place, m_text.excess->what);
      return NoTree();
    }
    CheckImports();
    CheckConditions();
    for (const OddStatement& odd : OddStatements(m_text.Text(), m_engine.new_values())) {
      RefuseTemplate(PlaceOf(odd.line), odd.what, "");
    }
    m_tree.blocks.emplace_back();
    m_tree.lines.reserve(m_engine.items().size());
    for (const Template::TemplateActionItem& item : m_engine.items()) {
      ReadItem(item);
      if (m_open.size() > kDeepestBlocks) return NoTree();
    }
    CloseAll();
    CheckRepetition();
    ReadStatements();
    CheckUse();
    return std::move(m_tree);
  }

  std::string Prototype() {
    const TemplateTree tree = Read();
    const std::set<std::string> names = Identifying();
    std::string prototype;
    auto item = m_engine.items().begin();
    for (const TemplateLine& line : tree.lines) {
      const std::string& written = (item++)->m_text;
      if (!line.enabled) continue;
      if (line.kind == Kind::kOpening && !line.now) RefuseMissing(line);
      const bool shown = line.kind == Kind::kOpening || line.kind == Kind::kClosing ||
                         (line.kind == Kind::kDirective && line.now &&
                          names.count(std::string(str::view::FirstWord(line.now->text))) != 0);
      if (!shown || !line.now) continue;
      if (!prototype.empty()) prototype += '\n';
      prototype += written.substr(0, written.find(line.text)) + line.now->text;
    }
    return prototype;
  }

 private:
  static TemplateTree NoTree() {
    TemplateTree tree;
    tree.blocks.emplace_back();
    return tree;
  }

  bool nginx() const { return m_request.dialect == Dialect::kNginx; }

  const FilePlace& PlaceOf(std::size_t line) const { return m_text.lines.at(line - 1).place; }

  void Refuse(Finding finding) { m_findings.refusals.push_back(std::move(finding)); }

  void RefuseTemplate(const FilePlace& place, const std::string& what, const std::string& hint) {
    Refuse({"template", what, hint, place});
  }

  void RefuseLimit(const FilePlace& place, const std::string& what) {
    Refuse({"limit", "an edit does not take " + what, "", place});
  }

  // Because of values that do not stay in their places. Request::raw helps, and what else
  // `remedies` has.
  void RefuseValues(const FilePlace& place, const std::string& what, const std::string& hint,
                    const std::vector<std::string>& names, std::vector<Remedy> remedies = {}) {
    remedies.push_back(Remedy::kRaw);
    Refuse({"value", what, hint, place, {}, false, names, std::move(remedies)});
  }

  std::set<std::string> Identifying() const {
    std::set<std::string> names;
    m_dialect_config->GetIdentParams(names);
    return names;
  }

  // --- One line ---

  void ReadItem(const Template::TemplateActionItem& item) {
    TemplateLine line;
    const std::string_view written = str::view::Trim(item.m_text);
    line.text = written;
    line.place = PlaceOf(item.m_place.line);
    line.enabled = item.m_enabled;
    line.block = m_open.empty() ? 0 : m_open.back();
    if (written.empty()) {
      m_tree.lines.push_back(std::move(line));
    } else if (written.front() == '#') {
      ReadComment(line);
    } else if (ClosesBlock(m_request.dialect, written)) {
      Close(line);
    } else {
      ReadDirective(item, line);
    }
  }

  void ReadComment(TemplateLine& line) {
    line.kind = Kind::kComment;
    const AuthoredLine authored(m_request.dialect, line.text);
    FindValues(line, authored);
    CheckControls(line, authored);
    const auto filled = [&](const AuthoredLine::Values& values) {
      const auto text = FilledIn(line.text, values);
      return text ? UnreadLine(str::Trim(*text)) : nullptr;
    };
    line.now = filled(m_new_values);
    line.was = filled(m_old_values);
    if (!IsComment(authored.Harmless())) {
      RefuseTemplate(line.place, "this comment does not end with its line: " + Quoted(line.text),
                     "");
    } else if (line.now && line.enabled && !IsComment(line.now->text)) {
      Refuse({"value",
              "with its values this line is more than a comment: " + Quoted(line.now->text), "",
              line.place});
    }
    Add(std::move(line));
  }

  bool IsComment(const std::string& text) const {
    if (HoldsControl(text) || (!nginx() && text.back() == '\\')) return false;
    return !Document(m_request.dialect, text).error();  // nginx takes no comment of any length
  }

  void ReadDirective(const Template::TemplateActionItem& item, TemplateLine& line) {
    const AuthoredLine authored(m_request.dialect, line.text);
    FindValues(line, authored);
    CheckControls(line, authored);
    if (authored.kind() == Kind::kBlank) {
      RefuseLine(line, authored);
      m_tree.lines.push_back(std::move(line));
      return;
    }
    line.kind = authored.kind();
    FillIn(authored, line);
    if (item.m_param.m_const) {
      SetConstBeginning(line);
    } else {
      SetBeginning(authored, line);
    }
    if (line.kind == Kind::kOpening) {
      Open(line);
    } else {
      Add(std::move(line));
    }
  }

  void FillIn(const AuthoredLine& authored, TemplateLine& line) {
    line.now = Fill(authored, m_new_values, line, line.enabled);
    const bool judged = line.now && line.old_given && !line.raw;
    line.was = Fill(authored, m_old_values, line, judged);
    if (line.enabled) RefuseEmpty(line, authored);
  }

  // A directive that is stated with something in its trailing place is not one without arguments.
  void RefuseEmpty(const TemplateLine& line, const AuthoredLine& authored) {
    if (line.kind != Kind::kDirective || !line.now || line.now->words.size() != 1) return;
    for (const Place& place : authored.places()) {
      const auto value = m_new_values.find(place.name);
      if (!place.trailing || value == m_new_values.end()) continue;
      if (m_request.raw.count(place.name) != 0 || !str::Trim(value->second).empty()) continue;
      RefuseValues(line.place,
                   "the value " + Quoted(place.name) +
                       " is empty, and nothing but the name is left of " + Quoted(line.text),
                   "Give it a text. Where the line is to go, put it into {% if $" + place.name +
                       " %}, and leave the value unset",
                   {place.name});
      return;
    }
  }

  // The line with its values; null also for one that is not what the author wrote.
  WrittenPtr Fill(const AuthoredLine& authored, const AuthoredLine::Values& values,
                  TemplateLine& line, bool is_judged) {
    const std::optional<AuthoredLine::Filling> filling = authored.Fill(values, m_handling);
    if (!filling) return nullptr;
    if (!filling->in_place) {
      if (is_judged) RefuseValue(line, authored, *filling, &values == &m_new_values);
      return nullptr;
    }
    if (filling->written) return filling->written;
    if (line.kind == Kind::kOpening) {
      if (is_judged) RefuseOpening(line, authored, filling->text);
      return nullptr;
    }
    line.raw = true;
    return UnreadLine(filling->text);
  }

  // A value may be anything, but a block that does not open cannot be found, nor closed.
  void RefuseOpening(const TemplateLine& line, const AuthoredLine& authored,
                     const std::string& text) {
    std::vector<std::string> names;
    for (const Place& place : authored.places()) {
      if (m_request.raw.count(place.name) != 0) names.push_back(place.name);
    }
    Refuse(
        {"value",
         "with the value " + Listed(names) + " this line does not open one block: " + Quoted(text),
         "Let it be a part of the opening line, or put the whole block into the template",
         line.place,
         {},
         false,
         names});
  }

  void RefuseValue(const TemplateLine& line, const AuthoredLine& authored,
                   const AuthoredLine::Filling& filling, bool is_new) {
    const bool several = filling.guilty.size() > 1;
    std::string what = is_new ? "the value" : "the old value";
    std::string hint;
    what += (several ? "s " : " ") + Listed(filling.guilty);
    switch (filling.unwritable) {
      case Unwritable::kControl:
        what += " cannot be written in quotes: the server has no escape for a control byte in it";
        break;
      case Unwritable::kVariable:
        what += " cannot be written in quotes: the server would read a variable in it";
        break;
      case Unwritable::kNothing:
        what += several ? " do not stay in their places: " : " does not stay in its place: ";
        what += Quoted(filling.text);
        hint = HintFor(authored, filling.guilty);
        break;
    }
    std::vector<Remedy> remedies;
    if (MayBeQuoted(authored, filling.guilty)) remedies.push_back(Remedy::kQuote);
    RefuseValues(line.place, what, hint, filling.guilty, std::move(remedies));
  }

  // What the places of these values may hold.
  static std::string HintFor(const AuthoredLine& authored, const std::vector<std::string>& names) {
    bool in_quotes = false;
    for (std::size_t i = 0; i < authored.places().size(); ++i) {
      const Place& place = authored.places()[i];
      if (std::find(names.begin(), names.end(), place.name) == names.end()) continue;
      if (!place.trailing) return "A full place is one word; for several use a trailing place";
      in_quotes = in_quotes || authored.IsInWord(i);
    }
    if (in_quotes) return "A trailing place in quotes is one word";
    return std::string("A trailing place is any number of words of one ") +
           (authored.kind() == LineKind::kOpening ? "opening line" : "directive");
  }

  // Whether quotes could help.
  bool MayBeQuoted(const AuthoredLine& authored, const std::vector<std::string>& names) const {
    if (m_handling.quote) return false;
    for (std::size_t i = 0; i < authored.places().size(); ++i) {
      const bool guilty =
          std::find(names.begin(), names.end(), authored.places()[i].name) != names.end();
      if (guilty && authored.IsInWord(i)) return true;
    }
    return false;
  }

  void CheckControls(const TemplateLine& line, const AuthoredLine& authored) {
    if (HoldsControl(line.text)) {
      RefuseTemplate(line.place,
                     "this line holds a control byte, which no server reads as part of a word",
                     "Take it out");
    }
    for (std::size_t i = 0; i < authored.places().size(); ++i) {
      const std::string& name = authored.places()[i].name;
      const auto value = m_new_values.find(name);
      if (value == m_new_values.end() || m_request.raw.count(name) != 0) continue;
      if (!HoldsControl(value->second)) continue;
      if (m_handling.quote && authored.IsInWord(i))
        continue;  // it is escaped, or refused as a word
      if (!m_controls.insert(name).second) continue;
      RefuseValues(
          line.place,
          "the value " + Quoted(name) +
              " holds a control character, which would begin a line of its own or hide text",
          "", {name});
    }
  }

  void FindValues(TemplateLine& line, const AuthoredLine& authored) {
    for (const Place& place : authored.places()) {
      m_used.insert(place.name);
      const auto value = m_request.values.find(place.name);
      if (m_new_values.count(place.name) == 0) line.missing.push_back(place.name);
      if (value != m_request.values.end() && value->second.old_value) line.old_given = true;
    }
  }

  void SetBeginning(const AuthoredLine& authored, TemplateLine& line) {
    line.new_beginning = authored.BeginningWith(m_new_values, m_handling);
    line.beginning = authored.BeginningWith(m_old_values, m_handling);
    if (!line.beginning) line.beginning = line.new_beginning;
  }

  // Of some directives a block has one of each name only, or one for each first argument.
  void SetConstBeginning(TemplateLine& line) const {
    const WrittenPtr& written = line.now ? line.now : line.was;
    if (!written || written->words.empty()) return;
    const std::string key = m_dialect_config->GetKeyFieldConstParam(written->text);
    const bool two = str::view::Contains(key, " ") && written->words.size() > 1;
    line.beginning =
        Beginning{{written->words.begin(), written->words.begin() + (two ? 2 : 1)}, std::string()};
  }

  static bool HoldsCode(const Document& document) {
    return std::any_of(document.blocks().begin(), document.blocks().end(), [](const auto& block) {
      return block.reading == tov_document::Body::kOpaque;
    });
  }

  void RefuseLine(const TemplateLine& line, const AuthoredLine& authored) {
    const auto is_said = [](const Place& place) { return !place.is_value && place.closed; };
    if (std::any_of(authored.places().begin(), authored.places().end(), is_said)) return;
    const std::string text = authored.Harmless();
    const Document document(m_request.dialect, text);
    const auto problem = document.error() ? document.error()->problem : Problem::kExtraClosing;
    std::string what = "this line holds more than one directive. Write each on a line of its own";
    if (problem == Problem::kNoSemicolon) {
      what =
          "this directive does not end. Write the whole of it on this line, with a \";\" at its "
          "end; an opening brace stands behind the name of its block";
    } else if (problem == Problem::kUnclosedCode || HoldsCode(document)) {
      what = "code in another language cannot stand in a template. Put it into a file of its own";
    } else if (document.error() && problem != Problem::kUnclosedBlock) {
      what = Describe(*document.error());
    }
    RefuseTemplate(line.place, what + ": " + Quoted(line.text), "");
  }

  // --- Blocks ---

  void Add(TemplateLine line) {
    m_tree.blocks[line.block].children.push_back(m_tree.lines.size());
    m_tree.lines.push_back(std::move(line));
  }

  void Open(TemplateLine& line) {
    const std::size_t parent = line.block;
    const std::size_t number = m_tree.lines.size();
    if (!line.now && !line.was && !line.beginning && !line.missing.empty()) RefuseMissing(line);
    if (m_open.size() == kDeepestBlocks) {
      RefuseLimit(line.place,
                  "blocks in blocks, more than " + std::to_string(kDeepestBlocks) + " deep");
    }
    m_tree.blocks[parent].children.push_back(number);
    line.block = m_tree.blocks.size();
    m_open.push_back(line.block);
    TemplateBlock block;
    block.opening = number;
    block.parent = parent;
    block.enabled = line.enabled;
    m_tree.blocks.push_back(std::move(block));
    m_tree.lines.push_back(std::move(line));
  }

  void RefuseMissing(const TemplateLine& line) {
    Refuse({"missing-value",
            "a value of this opening line is missing: its block cannot be found",
            "Set it",
            line.place,
            {},
            false,
            line.missing});
  }

  void Close(TemplateLine& line) {
    line.kind = Kind::kClosing;
    const AuthoredLine authored(m_request.dialect, line.text);
    FindValues(line, authored);
    CheckControls(line, authored);
    const std::string text = str::Trim(FilledIn(line.text, m_new_values).value_or(line.text));
    line.now = line.was = UnreadLine(text);
    if (m_open.empty()) {
      RefuseTemplate(line.place, "there is no block that this line closes", "Take it out");
    } else {
      CheckClosing(line);
      m_tree.blocks[m_open.back()].closing = m_tree.lines.size();
      m_open.pop_back();
    }
    m_tree.lines.push_back(std::move(line));
  }

  void CheckClosing(const TemplateLine& line) {
    const TemplateBlock& block = m_tree.blocks[m_open.back()];
    const TemplateLine& opening = m_tree.lines[block.opening];
    if (block.enabled != line.enabled) {
      RefuseTemplate(line.place,
                     "this line closes the block of " + Shown(opening.place) +
                         ", which stands in another branch",
                     "Put the whole block into each branch");
    }
    if (nginx()) {
      const std::string_view behind = str::view::Trim(std::string_view(line.now->text).substr(1));
      if (behind.empty() || behind.front() == '#') return;
      RefuseTemplate(line.place, "nothing may stand behind a closing brace",
                     "Write it on a line of its own");
      return;
    }
    const std::string& text = line.now->text;
    const std::string name = str::Trim(text.substr(2, text.find('>') - 2));
    const WrittenPtr& head = opening.now ? opening.now : opening.was;
    if (!head || tov_document::SameLetters(name, head->words.front())) return;
    RefuseTemplate(line.place,
                   "this line does not close the block of " + Shown(opening.place) + ", " +
                       Quoted(opening.text),
                   "");
  }

  void CloseAll() {
    for (const std::size_t open : m_open) {
      RefuseTemplate(m_tree.lines[m_tree.blocks[open].opening].place, "this block does not close",
                     "With opening lines in two branches of an if, put the whole block into each "
                     "branch");
    }
  }

  // Of two lines for a directive that stands in a block once only, one would undo the other.
  void CheckRepetition() {
    for (const TemplateBlock& block : m_tree.blocks) {
      std::map<std::string, const TemplateLine*> known;
      for (const std::size_t child : block.children) {
        const TemplateLine& line = m_tree.lines[child];
        if (line.kind != Kind::kDirective || !line.enabled || !line.now || line.raw) continue;
        const std::string& name = line.now->words.front();
        if (RepetitionOf(m_request.dialect, name) != Repetition::kOnce) continue;
        const auto [other, is_new] =
            known.emplace(nginx() ? name : tov_document::Lower(name), &line);
        if (is_new || other->second->now->words == line.now->words) continue;
        RefuseTemplate(line.place,
                       Quoted(line.now->text) + " and " + Quoted(other->second->now->text) + " (" +
                           Shown(other->second->place) +
                           ") are in one block, and the server allows only one",
                       "Put them into branches of which one is taken");
      }
    }
  }

  // --- The rest ---

  void RefuseInStatement(const FilePlace& place, const std::vector<std::string>& names,
                         const std::string& text) {
    RefuseValues(
        place,
        "with the value " + Listed(names) +
            " this statement is not what its author wrote: " + Quoted(text),
        "A value is one word of a condition, or a part of a path that does not lead out of "
        "its folder",
        names);
  }

  void CheckConditions() {
    for (const TemplateText::Line& line : m_text.lines) {
      const std::string_view text = str::view::Trim(line.text);
      if (!str::view::StartsWith(text, "{%")) continue;
      std::string_view content = text.substr(2);
      const std::string_view keyword = str::view::FirstWord(content);
      if (keyword != "if" && keyword != "elif") continue;
      std::vector<std::string> odd = OddOperands(text, m_engine.new_values());
      const auto is_raw = [&](const std::string& name) { return m_request.raw.count(name) != 0; };
      odd.erase(std::remove_if(odd.begin(), odd.end(), is_raw), odd.end());
      if (!odd.empty()) RefuseInStatement(line.place, odd, std::string(text));
    }
  }

  void CheckImports() {
    using Result = TemplateText::Import::Result;
    for (const TemplateText::Import& import : m_text.imports) {
      MarkUsed(import.statement);
      if (import.result == Result::kOddValue) {
        RefuseInStatement(import.place, import.odd_values, import.name);
      } else if (import.result == Result::kMissing) {
        Refuse({"import", "there is no file " + Quoted(import.name),
                "Correct its name, or take the import out", import.place});
      } else if (import.result == Result::kUnreadable) {
        Refuse({"import", import.problem, "", import.place});
      } else if (import.result == Result::kRepeated) {
        Refuse({"import", Quoted(import.name) + " is imported a second time",
                "Import each file once, before all lines that need it", import.place});
      }
    }
  }

  // Those of the engine, which has not seen the imports, and these among them.
  void ReadStatements() {
    auto import = m_text.imports.begin();
    auto item = m_engine.items().begin();
    std::size_t number = 0;  // of the item
    const auto add_imports = [&](std::size_t lines) {
      for (; import != m_text.imports.end() && import->next < lines; ++import) {
        for (; item != m_engine.items().end() && item->m_place.line <= import->next; ++item) {
          ++number;
        }
        const bool found = import->result != TemplateText::Import::Result::kMissing &&
                           import->result != TemplateText::Import::Result::kUnreadable;
        m_tree.statements.push_back({import->place, import->statement, found, number});
      }
    };
    for (const Template::StatementRecord& record : m_engine.statements()) {
      add_imports(record.m_place.line);
      m_tree.statements.push_back(
          {PlaceOf(record.m_place.line), record.m_text, record.m_result, record.m_next_item});
      MarkUsed(record.m_text);
    }
    add_imports(m_text.lines.size() + 1);
  }

  void MarkUsed(std::string_view text) {
    while (!text.empty()) {
      std::string_view word = str::view::GetWord(text);
      if (str::view::StartsWith(word, "$")) word.remove_prefix(1);
      m_used.insert(std::string(word));
    }
  }

  // A file that may use any value.
  bool LacksImport() const {
    using Result = TemplateText::Import::Result;
    return std::any_of(m_text.imports.begin(), m_text.imports.end(), [](const auto& import) {
      return import.result == Result::kMissing || import.result == Result::kUnreadable;
    });
  }

  void CheckUse() {
    if (m_request.forced.count("unused-value") != 0 || LacksImport()) return;
    for (const std::string& name : m_request.must_be_used) {
      if (m_used.count(name) != 0) continue;
      Refuse({"unused-value",
              "no line of the template uses the value " + Quoted(name),
              "Correct the name, or leave the value out",
              {m_request.template_name},
              {},
              false,
              {name}});
    }
  }

  const Request& m_request;
  Findings& m_findings;
  const TemplateText m_text;
  EngineTemplate m_engine;
  Template::Values m_old_values;  // of lines
  Template::Values m_new_values;
  const std::shared_ptr<tov_template::BaseConfig> m_dialect_config = EmptyConfig(m_request.dialect);
  const Handling m_handling{m_request.raw, m_request.quote};
  TemplateTree m_tree;
  std::vector<std::size_t> m_open;  // blocks, the innermost last
  std::set<std::string> m_used;     // values
  std::set<std::string> m_controls;
};

}  // namespace

TemplateTree ReadTemplate(const Request& request, Findings& findings) {
  return Reader(request, {}, findings).Read();
}

TemplateTree ReadTemplate(const Request& request, const std::set<std::string>& unknown,
                          Findings& findings) {
  return Reader(request, unknown, findings).Read();
}

std::string Prototype(const Request& request, Findings& findings) {
  return Reader(request, {}, findings).Prototype();
}

}  // namespace tov_edit
