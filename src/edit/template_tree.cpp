// SPDX-License-Identifier: Apache-2.0

#include "edit/template_tree.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "document/ascii.h"
#include "edit/repetition.h"
#include "edit/statements.h"
#include "edit/template_text.h"
#include "template/config_type.h"
#include "template/framework/str.h"
#include "template/template.h"

namespace edit {
namespace {

using tov_document::Document;
using tov_document::NodeKind;
using tov_document::Problem;
using tov_document::Word;
using tov_template::Template;
using Kind = TemplateLine::Kind;

// Stands for a trailing place in a line; no value may hold it.
constexpr char kMark = '\x01';

// --- Places ---

struct Place {
  std::size_t begin = 0;  // of its opening delimiter
  std::size_t end = 0;    // behind its closing one
  bool trailing = false;
  std::string name;
};

std::vector<Place> PlacesIn(std::string_view line) {
  std::vector<Place> places;
  for (std::size_t at = 0; at < line.size();) {
    Place place;
    const std::size_t trailing = line.find("[%", at);
    place.begin = std::min(line.find("{%", at), trailing);
    if (place.begin == std::string_view::npos) break;
    place.trailing = place.begin == trailing;
    const std::size_t close = line.find(place.trailing ? "%]" : "%}", place.begin);
    if (close == std::string_view::npos) break;
    place.end = close + 2;
    const std::string_view content =
        str::view::Trim(line.substr(place.begin + 2, close - place.begin - 2));
    if (str::view::StartsWith(content, "$")) place.name = content.substr(1);
    at = place.end;
    places.push_back(std::move(place));
  }
  return places;
}

// `line` up to its first trailing place, with `kMark` for that and what follows kept; all other
// trailing places go.
std::string WithMark(std::string_view line) {
  std::string marked;
  std::size_t at = 0;
  for (const Place& place : PlacesIn(line)) {
    if (!place.trailing) continue;
    marked += line.substr(at, place.begin - at);
    if (at == 0) marked += kMark;
    at = place.end;
  }
  return marked += line.substr(at);
}

// --- Lines ---

std::vector<std::string> Spelled(const Document& document, const std::vector<Word>& words) {
  std::vector<std::string> spelled;
  spelled.reserve(words.size());
  for (const Word& word : words) spelled.emplace_back(document.Bytes(word.bytes));
  return spelled;
}

std::vector<std::string> Meanings(const Document& document, const std::vector<Word>& words) {
  std::vector<std::string> values;
  values.reserve(words.size());
  for (const Word& word : words) values.push_back(document.Value(word));
  return values;
}

bool ClosesBlock(Dialect dialect, std::string_view text) {
  return str::view::StartsWith(text, dialect == Dialect::kNginx ? "}" : "</");
}

// How many of `nodes` are neither blanks nor comments.
std::size_t CountOf(const std::vector<tov_document::Node>& nodes) {
  return static_cast<std::size_t>(
      std::count_if(nodes.begin(), nodes.end(), [](const tov_document::Node& node) {
        return node.kind != NodeKind::kBlank && node.kind != NodeKind::kComment;
      }));
}

// A line without what `kMark` stands for: how many words it has, and what they are. None: it is no
// directive and no opening.
struct Shape {
  Kind kind = Kind::kBlank;
  std::size_t words = 0;
};

std::optional<Shape> ShapeOf(Dialect dialect, const std::string& text) {
  Shape shape;
  const std::optional<Written> written = ReadWritten(dialect, text, shape.kind);
  if (!written) return std::nullopt;
  for (const std::string& word : written->words) {
    if (word.find(kMark) != std::string::npos) break;
    ++shape.words;
  }
  return shape;
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

  // `line` with its full places filled in, and its first trailing one marked.
  std::optional<std::string> Filled(const std::string& line, const Values& values) const {
    const tov_template::Value filled = ParseString(line, "{%", "%}", values);
    if (filled.IsNull()) return std::nullopt;
    return str::Trim(WithMark(filled.Str()));
  }

  const Values& old_values() const { return m_old_values; }
  const Values& new_values() const { return m_new_values; }
};

class Reader {
 public:
  Reader(const Request& request, Findings& findings)
      : m_request(request),
        m_findings(findings),
        m_text(WithImports(request)),
        m_engine(request.dialect, ValuesOf(request)) {
    m_engine.SetTemplate(m_text.Text());
  }

  TemplateTree Read() {
    CheckImports();
    for (const OddStatement& odd : OddStatements(m_text.Text(), m_engine.new_values())) {
      Refuse("template", PlaceOf(odd.line), odd.what);
    }
    m_tree.blocks.emplace_back();
    for (const Template::TemplateActionItem& item : m_engine.items()) ReadItem(item);
    CloseAll();
    CheckRepetition();
    ReadStatements();
    CheckUse();
    return std::move(m_tree);
  }

  std::string Prototype() const { return m_engine.GetPrototype(); }

 private:
  bool nginx() const { return m_request.dialect == Dialect::kNginx; }

  const FilePlace& PlaceOf(std::size_t line) const { return m_text.lines.at(line - 1).place; }

  void Refuse(const char* name, const FilePlace& place, const std::string& what) {
    m_findings.refusals.push_back({name, Shown(place) + ": " + what});
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
      ReadComment(item, line);
    } else if (ClosesBlock(m_request.dialect, written)) {
      Close(item, line);
    } else {
      ReadDirective(item, line);
    }
  }

  void ReadComment(const Template::TemplateActionItem& item, TemplateLine& line) {
    line.kind = Kind::kComment;
    const auto of = [](const tov_template::Value& value) {
      std::optional<Written> written;
      if (!value.IsNull()) written = Written{str::Trim(value.Str()), {}, {}};
      return written;
    };
    line.now = of(item.m_param.m_value);
    line.was = of(item.m_param.m_old_value);
    CheckControls(line);
    FindValues(line);
    Add(std::move(line));
  }

  void ReadDirective(const Template::TemplateActionItem& item, TemplateLine& line) {
    FindValues(line);
    CheckControls(line);
    const std::optional<Shape> shape = HarmlessShape(line);
    if (!shape) {
      RefuseLine(line);
      m_tree.lines.push_back(std::move(line));
      return;
    }
    line.kind = shape->kind;
    FillIn(item, line, *shape);
    SetBeginning(item, line);
    if (line.kind == Kind::kOpening) {
      Open(line);
    } else {
      Add(std::move(line));
    }
  }

  // With values that are a letter each, the line is what its author wrote.
  std::optional<Shape> HarmlessShape(const TemplateLine& line) const {
    const auto filled = m_engine.Filled(line.text, Harmless(line, nullptr));
    return filled ? ShapeOf(m_request.dialect, *filled) : std::nullopt;
  }

  // A harmless value for each place but for `real`.
  Template::Values Harmless(const TemplateLine& line, const std::string* real) const {
    Template::Values values;
    for (const Place& place : PlacesIn(line.text)) {
      const auto known = m_engine.new_values().find(place.name);
      const bool keeps = real != nullptr && *real == place.name;
      values[place.name] = keeps && known != m_engine.new_values().end() ? known->second : "x";
    }
    return values;
  }

  void FillIn(const Template::TemplateActionItem& item, TemplateLine& line, const Shape& shape) {
    line.now = Fill(item.m_param.m_value, m_engine.new_values(), line, shape, line.enabled);
    const bool judged = line.now && line.old_given;
    line.was = Fill(item.m_param.m_old_value, m_engine.old_values(), line, shape, judged);
  }

  // The line with its values; none also for one that is not what the author wrote.
  std::optional<Written> Fill(const tov_template::Value& value, const Template::Values& values,
                              TemplateLine& line, const Shape& shape, bool is_judged) {
    if (HoldsPlace(line, values)) {
      if (is_judged) RefuseDelimiters(line, values);
      return std::nullopt;
    }
    if (value.IsNull()) return std::nullopt;
    const std::string text = str::Trim(value.Str());
    Kind kind = Kind::kBlank;
    std::optional<Written> written = ReadWritten(m_request.dialect, text, kind);
    const bool as_read = written && kind == shape.kind;
    const auto filled = m_engine.Filled(line.text, Judged(line, values));
    const auto real = filled ? ShapeOf(m_request.dialect, *filled) : std::nullopt;
    const bool as_meant = real && real->kind == shape.kind && real->words == shape.words;
    if (as_meant && (as_read || IsRaw(line))) {
      line.raw = line.raw || !as_read;
      return as_read ? written : Written{text, {}, {}};
    }
    const std::vector<Place> places = PlacesIn(line.text);
    const bool odd = std::any_of(places.begin(), places.end(),
                                 [](const Place& place) { return place.name.empty(); });
    const bool is_new = &values == &m_engine.new_values();
    if (is_judged && !odd) RefuseValue(line, text, shape, is_new);
    return std::nullopt;
  }

  // Its values, with a harmless one for each that may be more than a word.
  Template::Values Judged(const TemplateLine& line, const Template::Values& values) const {
    Template::Values judged;
    for (const Place& place : PlacesIn(line.text)) {
      const auto known = values.find(place.name);
      if (known == values.end()) continue;
      judged[place.name] = m_request.raw.count(place.name) != 0 ? "x" : known->second;
    }
    return judged;
  }

  bool IsRaw(const TemplateLine& line) const {
    const std::vector<Place> places = PlacesIn(line.text);
    return std::any_of(places.begin(), places.end(),
                       [this](const Place& place) { return m_request.raw.count(place.name) != 0; });
  }

  // The engine would read a value with the template's own delimiters as a part of the template.
  bool HoldsPlace(const TemplateLine& line, const Template::Values& values) const {
    return !ValueWithPlace(line, values).empty();
  }

  std::string ValueWithPlace(const TemplateLine& line, const Template::Values& values) const {
    for (const Place& place : PlacesIn(line.text)) {
      const auto value = values.find(place.name);
      if (value == values.end() || m_request.raw.count(place.name) != 0) continue;
      if (str::view::Contains(value->second, "[%") || str::view::Contains(value->second, "{%")) {
        return place.name;
      }
    }
    return std::string();
  }

  void RefuseDelimiters(const TemplateLine& line, const Template::Values& values) {
    const std::string name = ValueWithPlace(line, values);
    Refuse("value", line.place,
           "the value " + Quoted(name) +
               " holds \"[%\" or \"{%\", and would be read as a part of the template; --raw " +
               name + " puts it in as it is");
  }

  void RefuseValue(const TemplateLine& line, const std::string& text, const Shape& shape,
                   bool is_new) {
    std::string names;
    const char* const raw = "; --raw NAME puts it in as it is";
    for (const Place& place : PlacesIn(line.text)) {
      const auto alone = m_engine.Filled(line.text, Harmless(line, &place.name));
      const auto real = alone ? ShapeOf(m_request.dialect, *alone) : std::nullopt;
      const bool harmless = real && real->kind == shape.kind && real->words == shape.words;
      if (harmless && !place.trailing) continue;
      names += (names.empty() ? "" : ", ") + Quoted(place.name);
    }
    Refuse("value", line.place,
           (is_new ? "the value " + names + " makes"
                   : std::string("the old values of this line make")) +
               " other words of it than the template has places for: " + Quoted(text) +
               ". A full place is one word; for several use a trailing place" + raw);
  }

  void CheckControls(const TemplateLine& line) {
    const auto is_control = [](char byte) {
      return (static_cast<unsigned char>(byte) < 0x20 && byte != '\t') || byte == 0x7f;
    };
    if (std::any_of(line.text.begin(), line.text.end(), is_control)) {
      Refuse("template", line.place,
             "this line holds a control byte, which no server takes for one of a word. Take it "
             "out");
    }
    for (const Place& place : PlacesIn(line.text)) {
      const auto value = m_engine.new_values().find(place.name);
      if (value == m_engine.new_values().end() || m_request.raw.count(place.name) != 0) continue;
      if (!std::any_of(value->second.begin(), value->second.end(), is_control)) continue;
      if (!m_controls.insert(place.name).second) continue;
      Refuse("value", line.place,
             "the value " + Quoted(place.name) +
                 " holds a control character, which would begin a line of its own or hide text; "
                 "--raw " +
                 place.name + " puts it in as it is");
    }
  }

  void FindValues(TemplateLine& line) {
    for (const Place& place : PlacesIn(line.text)) {
      m_used.insert(place.name);
      const auto value = m_request.values.find(place.name);
      const bool known = value != m_request.values.end();
      if (!known || !value->second.new_value) line.missing.push_back(place.name);
      if (known && value->second.old_value) line.old_given = true;
    }
  }

  void SetBeginning(const Template::TemplateActionItem& item, TemplateLine& line) {
    if (item.m_param.m_const) {
      SetConstBeginning(line);
      return;
    }
    line.new_beginning = BeginningWith(line, m_engine.new_values());
    line.beginning = BeginningWith(line, m_engine.old_values());
    if (!line.beginning) line.beginning = line.new_beginning;
  }

  std::optional<Beginning> BeginningWith(const TemplateLine& line,
                                         const Template::Values& values) const {
    const auto filled = m_engine.Filled(line.text, values);
    if (!filled || filled->find(kMark) == std::string::npos) return std::nullopt;
    Kind kind = Kind::kBlank;
    const auto written = ReadWritten(m_request.dialect, *filled, kind);
    if (!written) return std::nullopt;
    Beginning beginning;
    for (const std::string& word : written->words) {
      const std::size_t mark = word.find(kMark);
      if (mark != std::string::npos) {
        beginning.next = word.substr(0, mark);
        break;
      }
      beginning.words.push_back(word);
    }
    return beginning;
  }

  // Of some directives a block has one of each name only, or one for each first argument.
  void SetConstBeginning(TemplateLine& line) const {
    const std::optional<Written>& written = line.now ? line.now : line.was;
    if (!written || written->words.empty()) return;
    const std::string key = EmptyConfig(m_request.dialect)->GetKeyFieldConstParam(written->text);
    const bool two = str::view::Contains(key, " ") && written->words.size() > 1;
    line.beginning =
        Beginning{{written->words.begin(), written->words.begin() + (two ? 2 : 1)}, std::string()};
  }

  static bool HoldsCode(const Document& document) {
    return std::any_of(document.blocks().begin(), document.blocks().end(), [](const auto& block) {
      return block.reading == tov_document::Body::kOpaque;
    });
  }

  void RefuseLine(const TemplateLine& line) {
    const auto filled = m_engine.Filled(line.text, Harmless(line, nullptr));
    const std::string text = filled ? *filled : line.text;
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
    Refuse("template", line.place, what + ": " + Quoted(line.text));
  }

  // --- Blocks ---

  void Add(TemplateLine line) {
    m_tree.blocks[line.block].children.push_back(m_tree.lines.size());
    m_tree.lines.push_back(std::move(line));
  }

  void Open(TemplateLine& line) {
    const std::size_t parent = line.block;
    const std::size_t number = m_tree.lines.size();
    if (!line.now && !line.was && !line.beginning && !line.missing.empty()) {
      Refuse("missing-value", line.place,
             "a value of this opening line is missing: its block cannot be found. Set it");
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

  void Close(const Template::TemplateActionItem& item, TemplateLine& line) {
    line.kind = Kind::kClosing;
    FindValues(line);
    const tov_template::Value& value = item.m_param.m_value;
    const std::string text = value.IsNull() ? line.text : str::Trim(value.Str());
    line.now = line.was = Written{text, {}, {}};
    if (m_open.empty()) {
      Refuse("template", line.place, "there is no block that this line closes. Take it out");
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
      Refuse("template", line.place,
             "this line closes the block of " + Shown(opening.place) +
                 ", which stands in another branch. Put the whole block into each branch");
    }
    if (nginx()) {
      const std::string_view behind = str::view::Trim(std::string_view(line.now->text).substr(1));
      if (behind.empty() || behind.front() == '#') return;
      Refuse("template", line.place,
             "nothing may stand behind a closing brace. Write it on a line of its own");
      return;
    }
    const std::string& text = line.now->text;
    const std::string name = str::Trim(text.substr(2, text.find('>') - 2));
    const std::optional<Written>& head = opening.now ? opening.now : opening.was;
    if (!head || tov_document::SameLetters(name, head->words.front())) return;
    Refuse("template", line.place,
           "this line does not close the block of " + Shown(opening.place) + ", " +
               Quoted(opening.text));
  }

  void CloseAll() {
    for (const std::size_t open : m_open) {
      Refuse("template", m_tree.lines[m_tree.blocks[open].opening].place,
             "this block does not close. With opening lines in two branches of an if, put the "
             "whole block into each branch");
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
        Refuse("template", line.place,
               Quoted(line.now->text) + " and " + Quoted(other->second->now->text) + " (" +
                   Shown(other->second->place) +
                   ") are in one block, and the server wants one of them only. Put them into "
                   "branches of which one is taken");
      }
    }
  }

  // --- The rest ---

  void CheckImports() {
    using Result = TemplateText::Import::Result;
    for (const TemplateText::Import& import : m_text.imports) {
      MarkUsed(import.statement);
      if (import.result == Result::kMissing) {
        Refuse("import", import.place,
               "there is no file " + Quoted(import.name) +
                   ". Correct its name, or take the import out");
      } else if (import.result == Result::kRepeated) {
        Refuse("import", import.place,
               Quoted(import.name) +
                   " is imported a second time. Import each file once, before all lines that need "
                   "it");
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
        const bool found = import->result != TemplateText::Import::Result::kMissing;
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

  void CheckUse() {
    if (m_request.forced.count("unused-value") != 0) return;
    for (const std::string& name : m_request.must_be_used) {
      if (m_used.count(name) != 0) continue;
      m_findings.refusals.push_back(
          {"unused-value", m_request.template_name + ": no line of the template uses the value " +
                               Quoted(name) + ". Correct the name, or leave the value out"});
    }
  }

  const Request& m_request;
  Findings& m_findings;
  const TemplateText m_text;
  EngineTemplate m_engine;
  TemplateTree m_tree;
  std::vector<std::size_t> m_open;  // blocks, the innermost last
  std::set<std::string> m_used;     // values
  std::set<std::string> m_controls;
};

}  // namespace

namespace {

// The head of the one block that `document` is, when nothing but comments stands in it.
std::optional<Written> HeadOf(const Document& document, const std::string& text) {
  if (document.blocks().size() != 2 || CountOf(document.Nodes(1)) != 0) return std::nullopt;
  if (document.blocks()[1].reading == tov_document::Body::kOpaque) return std::nullopt;
  const std::vector<Word> words = document.HeadWords(1);
  return Written{text, Meanings(document, words), Spelled(document, words)};
}

std::optional<Written> DirectiveOf(const Document& document, const std::string& text) {
  for (const tov_document::Node& node : document.Nodes(tov_document::kWholeText)) {
    if (node.kind != NodeKind::kDirective) continue;
    const std::vector<Word> words = document.Words(node);
    return Written{text, Meanings(document, words), Spelled(document, words)};
  }
  return std::nullopt;
}

}  // namespace

std::optional<Written> ReadWritten(Dialect dialect, const std::string& text,
                                   TemplateLine::Kind& kind) {
  const bool apache = dialect == Dialect::kApache;
  if (apache && !text.empty() && text.back() == '\\') return std::nullopt;
  const Document document(dialect, text);
  if (CountOf(document.Nodes(tov_document::kWholeText)) != 1) return std::nullopt;
  if (!document.error()) {
    kind = Kind::kDirective;
    return DirectiveOf(document, text);
  }
  kind = Kind::kOpening;
  if (document.error()->problem == Problem::kUnclosedBlock) return HeadOf(document, text);
  if (!apache || document.error()->problem != Problem::kUnclosedCode) return std::nullopt;
  // What stands in a macro is read when the macro ends.
  const std::string whole = text + "\n</Macro>";
  const Document macro(dialect, whole);
  return macro.error() ? std::nullopt : HeadOf(macro, text);
}

TemplateTree ReadTemplate(const Request& request, Findings& findings) {
  return Reader(request, findings).Read();
}

std::string Prototype(const Request& request, Findings& findings) {
  Reader reader(request, findings);
  reader.Read();
  return reader.Prototype();
}

}  // namespace edit
