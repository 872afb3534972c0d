// SPDX-License-Identifier: Apache-2.0

#include "layout.h"

namespace alike {

namespace {

class Renderer {
 public:
  Renderer(Dialect dialect, const Layout& layout, Dice& dice)
      : m_dialect(dialect), m_layout(layout), m_dice(dice) {}

  Rendered Render(Node& root) {
    m_rendered.placed.emplace_back();
    WriteNodes(root.children, 0, false);
    if (!m_at_line_start) EndLine();
    if (!m_layout.final_line_end) {
      std::string& text = m_rendered.text;
      while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    }
    return std::move(m_rendered);
  }

 private:
  bool IsNginx() const { return m_dialect == Dialect::kNginx; }
  bool Is(Style style) const { return m_layout.style == style; }
  std::size_t At() const { return m_rendered.text.size(); }

  void Write(const std::string& text) {
    m_rendered.text += text;
    m_at_line_start = false;
  }

  void EndLine() {
    m_rendered.text += m_layout.crlf ? "\r\n" : "\n";
    m_at_line_start = true;
  }

  std::string Indentation(std::size_t depth) {
    switch (m_layout.style) {
      case Style::kPlain:
        return std::string(4 * depth, ' ');
      case Style::kBraces:
        return IsNginx() ? std::string(2 * depth, ' ') : std::string(depth, '\t');
      case Style::kOneLine:
        return IsNginx() ? std::string(depth, '\t') : "";
      case Style::kOdd:
        return std::string(m_dice.Below(depth + 2), m_dice.Percent(50) ? '\t' : ' ');
      case Style::kBroken:
        return std::string(2 * depth, ' ');
    }
    return "";
  }

  std::string Blanks() {
    if (!Is(Style::kOdd)) return " ";
    static const Words blanks = {" ", "  ", "\t", "   ", " \t"};
    return m_dice.Pick(blanks);
  }

  // Begins a line, or goes on in one.
  void BeginItem(std::size_t depth) {
    if (m_at_line_start) {
      Write(Indentation(depth));
    } else {
      Write(" ");
    }
  }

  // Between two words of a directive.
  void WriteGap(std::size_t depth) {
    const bool broken = Is(Style::kBroken) && m_dice.Percent(25);
    if (!broken) return Write(Blanks());
    if (IsNginx() && m_dice.Percent(15)) Write(" # and; so {");
    if (!IsNginx()) Write(" \\");
    EndLine();
    Write(Indentation(depth + 2));
  }

  void WriteWord(const std::string& word, bool may_be_quoted, Placed& placed) {
    const bool fancy = may_be_quoted && (Is(Style::kBroken) || Is(Style::kOdd));
    std::string spelled = word;
    if (NeedsQuotes(word)) {
      spelled = Quoted(word);
    } else if (fancy && m_dice.Percent(25)) {
      const char quote = m_dice.Percent(70) ? '"' : '\'';
      spelled = quote + word + quote;
    }
    const std::size_t begin = At();
    Write(spelled);
    const std::size_t quotes = spelled.size() == word.size() ? 0 : 1;
    placed.spelled.push_back({begin, At()});
    placed.inner.push_back({begin + quotes, At() - quotes});
  }

  std::string InOddCase(const std::string& name) {
    if (IsNginx() || !Is(Style::kOdd)) return name;
    const std::size_t way = m_dice.Below(4);
    if (way == 0) return Lower(name);
    if (way > 1) return name;
    std::string upper;
    for (const char c : name) {
      upper += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return upper;
  }

  void WriteWords(Node& node, std::size_t depth, Placed& placed) {
    node.words.at(0) = InOddCase(node.words.at(0));
    for (std::size_t i = 0; i < node.words.size(); ++i) {
      if (i > 0) WriteGap(depth);
      WriteWord(node.words.at(i), i > 0, placed);
    }
  }

  void WriteDirective(Node& node, std::size_t depth, Placed& placed) {
    WriteWords(node, depth, placed);
    if (IsNginx()) {
      if (Is(Style::kOdd) && m_dice.Percent(10)) Write(" ");
      Write(";");
    }
    placed.end = At();
    if (!IsNginx() && Is(Style::kOdd) && m_dice.Percent(15)) Write("  ");
    if (m_on_one_line) return;
    if (IsNginx() && Is(Style::kOdd) && m_dice.Percent(15)) Write(" # note: server { b.example; }");
    if (IsNginx() && Is(Style::kBroken) && m_dice.Percent(25)) return;  // another one follows here
    EndLine();
  }

  void WriteNginxBlock(Node& node, std::size_t depth, std::size_t id) {
    const bool whole = Is(Style::kOneLine) && node.words.at(0) != "http";
    const bool outermost = whole && !m_on_one_line;
    if (outermost) m_on_one_line = true;
    if (Is(Style::kBraces)) {
      EndLine();
      Write(Indentation(depth));
    } else {
      if (Is(Style::kBroken) && m_dice.Percent(10)) {
        Write(" # {");
        EndLine();
      }
      Write(Blanks());
    }
    Write("{");
    m_rendered.placed.at(id).body_begin = At();
    if (!m_on_one_line && !(Is(Style::kBroken) && m_dice.Percent(10))) EndLine();
    WriteNodes(node.children, depth + 1, true);
    BeginItem(depth);
    m_rendered.placed.at(id).body_end = At();
    Write("}");
    m_rendered.placed.at(id).end = At();
    if (outermost) m_on_one_line = false;
    if (!m_on_one_line) EndLine();
  }

  void WriteApacheBlock(Node& node, std::size_t depth, std::size_t id) {
    if (Is(Style::kOdd) && m_dice.Percent(30)) Write(" ");
    Write(">");
    m_rendered.placed.at(id).body_begin = At();
    EndLine();
    WriteNodes(node.children, depth + 1, true);
    BeginItem(depth);
    m_rendered.placed.at(id).body_end = At();
    Write("</" + InOddCase(node.words.at(0)) + ">");
    m_rendered.placed.at(id).end = At();
    EndLine();
  }

  void WriteNode(Node& node, std::size_t depth) {
    BeginItem(depth);
    const std::size_t id = m_rendered.placed.size();
    node.id = id;
    m_rendered.placed.emplace_back();
    Placed placed;
    placed.begin = At();
    if (node.IsDirective()) {
      WriteDirective(node, depth, placed);
      m_rendered.placed.at(id) = placed;
      return;
    }
    if (!IsNginx()) Write("<");
    WriteWords(node, depth, placed);
    m_rendered.placed.at(id) = placed;
    IsNginx() ? WriteNginxBlock(node, depth, id) : WriteApacheBlock(node, depth, id);
  }

  void WriteComment(const Node& node, std::size_t depth) {
    if (!m_at_line_start) EndLine();
    Write(Indentation(depth) + "#" + node.words.at(0));
    EndLine();
  }

  void WriteNodes(std::vector<Node>& nodes, std::size_t depth, bool in_block) {
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      Node& node = nodes.at(i);
      if (node.IsComment() && m_on_one_line) {  // would make a comment of the rest
        nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(i--));
        continue;
      }
      const bool commented = i > 0 && nodes.at(i - 1).IsComment();
      WriteBlankLines(node, i == 0, commented, in_block);
      node.IsComment() ? WriteComment(node, depth) : WriteNode(node, depth);
    }
  }

  void WriteBlankLines(const Node& node, bool first, bool commented, bool in_block) {
    if (m_on_one_line || !m_at_line_start) return;
    bool blank = Is(Style::kOdd) && m_dice.Percent(15);
    const bool regular = Is(Style::kPlain) || Is(Style::kBraces);
    if (regular && !first && !node.IsDirective())
      blank = !commented && (node.IsBlock() || !in_block);
    if (Is(Style::kBroken) && node.IsBlock()) blank = m_dice.Percent(30);
    if (!blank) return;
    if (Is(Style::kOdd) && m_dice.Percent(20)) Write("  ");
    EndLine();
  }

  const Dialect m_dialect;
  const Layout m_layout;
  Dice& m_dice;
  Rendered m_rendered;
  bool m_at_line_start = true;
  bool m_on_one_line = false;
};

}  // namespace

Rendered Render(Dialect dialect, const Layout& layout, Node& root, Dice& dice) {
  return Renderer(dialect, layout, dice).Render(root);
}

}  // namespace alike
