// SPDX-License-Identifier: Apache-2.0

#include "template_text.h"

namespace alike {

namespace {

class Writer {
 public:
  Writer(Dialect dialect, const Edit& edit) : m_dialect(dialect), m_edit(edit) {}

  std::string Write() {
    WriteNodes(m_edit.nodes, 0, true);
    return m_text;
  }

 private:
  std::string Spelled(const TemplateWord& word) const {
    switch (word.place) {
      case TemplateWord::Place::kNone:
        return NeedsQuotes(word.before) ? Quoted(word.before) : word.before;
      case TemplateWord::Place::kTrailing:
        return "[% $" + word.value + " %]";
      case TemplateWord::Place::kFull:
        break;
    }
    const std::string spelled = word.before + "{% $" + word.value + " %}" + word.after;
    const std::string old_word = OldForm(word, m_edit).value_or("x");
    const std::string new_word = NewForm(word, m_edit).value_or("x");
    const bool quotes = !m_edit.hostile && (NeedsQuotes(old_word) || NeedsQuotes(new_word));
    return quotes ? Quoted(spelled) : spelled;
  }

  std::string Joined(const TemplateNode& node) const {
    std::string line;
    for (const TemplateWord& word : node.words) line += (line.empty() ? "" : " ") + Spelled(word);
    return line;
  }

  void WriteLine(std::size_t depth, const std::string& line) {
    m_text += std::string(2 * depth, ' ') + line + "\n";
  }

  void WriteNodes(const std::vector<TemplateNode>& nodes, std::size_t depth, bool enabled) {
    for (const TemplateNode& node : nodes) {
      const bool branch = enabled && !node.enabled;
      if (branch) m_text += "{% if $keep == yes %}\n";
      const bool nginx = m_dialect == Dialect::kNginx;
      if (node.is_block) {
        WriteLine(depth, nginx ? Joined(node) + " {" : "<" + Joined(node) + ">");
        WriteNodes(node.children, depth + 1, enabled && node.enabled);
        WriteLine(depth, nginx ? "}" : "</" + node.words.at(0).before + ">");
      } else {
        WriteLine(depth, Joined(node) + (nginx ? ";" : ""));
      }
      if (branch) m_text += "{% endif %}\n";
    }
  }

  const Dialect m_dialect;
  const Edit& m_edit;
  std::string m_text;
};

}  // namespace

std::string TemplateText(Dialect dialect, const Edit& edit) {
  return Writer(dialect, edit).Write();
}

}  // namespace alike
