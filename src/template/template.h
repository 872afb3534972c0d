// SPDX-License-Identifier: Apache-2.0

// A parsed template over the view of a configuration.
#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <stack>
#include <string>
#include <vector>

#include "template/config_view.h"
#include "template/export.h"
#include "template/value.h"

namespace tov_template {

class BoolStackTape;

// A template, read against two maps of values and applied to a configuration.
//
// The template is a text of lines. A line that begins with "{%" and a keyword is a statement:
//
//   {% if $ssl == on %} ... {% elif $ssl == old %} ... {% else %} ... {% endif %}
//   {% import /etc/templates/common.conf %}
//
// Every other line stands for a line of the configuration. It may hold full places "{% $name %}"
// and trailing places "[% $name %]", and a comment after "{#}". It becomes an action item: the line
// with the new values, the line with the old values, and the key that finds it in the
// configuration. The key is the old line where all old values are known, else the new line, and
// ends where the first trailing place stands.
class Template : public ConfigView {
 public:
  using Values = std::map<std::string, std::string>;

  // One line with its values put in.
  struct ParseValues {
    Value m_value;            // with the new values; null when one is missing
    Value m_old_value;        // with the old values; null when one is missing
    Value m_key;              // finds the line in the configuration
    bool m_part_key = false;  // m_key is only the line's beginning; false: the whole line
    bool m_const = false;     // found by the directive's name alone; false: by its text
  };

  // Where a line of the template stands.
  struct Place {
    std::shared_ptr<const std::string> file;  // the imported file's path; null: the template itself
    std::size_t line = 0;                     // from 1
  };

  // One line of the template that is not a statement.
  struct TemplateActionItem {
    ParseValues m_param;  // the line
    ParseValues
        m_section;  // the same trimmed, when it opens a block: the block's identity; else ""
    bool m_enabled = true;  // its branch was taken; false: the line has to go
    Place m_place = {};
    std::string m_text = {};  // as the template has it, without its comment
  };

  // One statement of the template, kept for those who ask why a line was taken.
  struct StatementRecord {
    std::string m_text;  // without its delimiters, its places filled in: "if $ssl == on"

    // if, elif, else: the branch was taken, as far as the statement itself and the branches around
    // it say. import: the file was there. endif: true.
    bool m_result = true;
    Place m_place;
    std::size_t m_next_item = 0;  // the number of the first item behind it
  };

  // Gives the openers of blocks the identity that the configuration's blocks have: walks the items
  // in order and, where a block closes, makes its section text the dialect's path of the opening
  // line and the identifying lines met inside. Keeps pointers to the values it is given.
  class SectionTune {
   public:
    // `owner` must outlive the tuner.
    QELTEMPLATE_EXPORT SectionTune(Template& owner, const std::set<std::string>& ident_params);

    // Takes the next item: its section text, which may be changed now or when the block closes, and
    // its line.
    QELTEMPLATE_EXPORT void Tune(Value& section, const Value& line);

   private:
    Template& m_template;
    const std::set<std::string> m_ident_params;
    std::stack<Value*, std::deque<Value*>> m_sections;
    std::stack<Values, std::deque<Values>> m_idents;
  };

  // Reads `config` (see ConfigView). The two maps must outlive the template; they are read by
  // SetTemplate and need not be filled yet.
  QELTEMPLATE_EXPORT Template(const std::shared_ptr<BaseConfig>& config, const Values& old_values,
                              const Values& new_values);

  // Replaces the items and the records of statements by those of `text`. Conditions and places are
  // evaluated now, once. Throws tov_err::Error("template", "circular_import") with the parameter
  // "filename" when a file is imported twice, and what tov_file::ReadE throws for a file that is
  // there but cannot be read; the items before the import stay. A file that is not there is
  // skipped. Cost: linear in the text.
  QELTEMPLATE_EXPORT void SetTemplate(const std::string& text);

  // One pass over the items. false, the first pass: removes the lines of branches not taken and
  // changes the opening lines of blocks. true, the second: changes and appends the lines of
  // branches taken. An application is the first pass followed by the second.
  QELTEMPLATE_EXPORT void ApplyTemplate(bool append);

  // The skeleton of the configuration that the template stands for: of the lines in branches taken,
  // those that open or close a block or identify one, with the new values, joined by "\n".
  QELTEMPLATE_EXPORT std::string GetPrototype() const;

  // `line` with its values put in, by the values held now.
  QELTEMPLATE_EXPORT ParseValues Parse(const std::string& line) const;

  // `text` with the places between `open` and `close`, which are two bytes each, filled in from
  // `values`. Null when a value is missing. A place that does not begin with "$" stands for the
  // whole text: its trimmed content is the result.
  QELTEMPLATE_EXPORT Value ParseString(const std::string& text, const std::string& open,
                                       const std::string& close, const Values& values) const;

  // Whether `line` is an "if" or an "import" statement.
  QELTEMPLATE_EXPORT static bool IsIf(const std::string& line);
  QELTEMPLATE_EXPORT static bool IsImport(const std::string& line);

 protected:
  // As the other constructor, see ConfigView for `maps`.
  QELTEMPLATE_LOCAL Template(const std::shared_ptr<BaseConfig>& config, const Values& old_values,
                             const Values& new_values, Maps maps);

  const Values& m_old_values;
  const Values& m_new_values;
  std::list<TemplateActionItem> m_actions;
  std::vector<StatementRecord> m_statements;

 private:
  class Source;

  // Each carries out the statement whose record is the last one, and completes that.
  void ReadElse(const std::string& line, BoolStackTape& tape);
  void ReadElif(BoolStackTape& tape);
  void ReadIf(BoolStackTape& tape);
  void ReadImport(Source& source);
  void ReadLine(const std::string& line, const Place& place, const BoolStackTape& tape);
  void TuneSections();

  void EnterSection(ParseValues& section, std::string& path) const;
  void RemoveItem(ParseValues& param, const std::string& path);
  void ChangeItem(TemplateActionItem& item, std::string& path);
};

}  // namespace tov_template
