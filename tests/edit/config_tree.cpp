// SPDX-License-Identifier: Apache-2.0

#include "edit/config_tree.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "document/apache/second_reader.h"
#include "document/nginx/plain_reader.h"

namespace edit_judge {
namespace {

class TreeBuilder {
 public:
  explicit TreeBuilder(std::size_t text_size) {
    Node file;
    file.is_block = true;
    file.closing = {text_size, text_size};
    m_tree.nodes.push_back(file);
    m_open.push_back(0);
  }

  void Add(bool is_block, Bytes head, std::vector<Word> words) {
    Node node;
    node.is_block = is_block;
    node.parent = m_open.back();
    node.behind = m_tree.nodes.size() + 1;
    node.head = head;
    node.words = std::move(words);
    if (is_block) m_open.push_back(m_tree.nodes.size());
    m_tree.nodes.push_back(std::move(node));
  }

  void Close(Bytes closing) {
    Node& block = m_tree.nodes.at(m_open.back());
    block.closing = closing;
    block.behind = m_tree.nodes.size();
    m_open.pop_back();
  }

  Tree Done(std::string error) {
    m_tree.nodes.front().behind = m_tree.nodes.size();
    m_tree.error = std::move(error);
    return std::move(m_tree);
  }

 private:
  Tree m_tree;
  std::vector<std::size_t> m_open;
};

Tree ReadNginx(std::string_view text) {
  const nginx_judge::Reading reading = nginx_judge::ReadPlainly(text);
  TreeBuilder builder(text.size());
  for (const nginx_judge::Event& event : reading.events) {
    std::vector<Word> words;
    for (const auto& word : event.words) words.push_back({{word.begin, word.end}, word.value});
    const Bytes bytes{event.begin, event.end};
    switch (event.what) {
      case nginx_judge::What::kOpen:
      case nginx_judge::What::kDirective:
        builder.Add(event.what == nginx_judge::What::kOpen, bytes, std::move(words));
        break;
      case nginx_judge::What::kClose:
        builder.Close(bytes);
        break;
      case nginx_judge::What::kComment:
        break;
    }
  }
  if (!reading.error) return builder.Done("");
  return builder.Done("line " + std::to_string(LineNumber(text, reading.error->at)) +
                      ": nginx does not read it");
}

Tree ReadApache(std::string_view text) {
  const second_reader::Reading reading = second_reader::Read(text);
  TreeBuilder builder(text.size());
  for (const second_reader::Event& event : reading.events) {
    std::vector<Word> words;
    for (const auto& word : event.words) {
      words.push_back({{word.bytes.begin, word.bytes.end}, word.value});
    }
    const Bytes bytes{event.bytes.begin, event.bytes.end};
    if (event.kind == second_reader::Kind::kClose) {
      builder.Close(bytes);
    } else {
      builder.Add(event.kind != second_reader::Kind::kDirective, bytes, std::move(words));
    }
  }
  if (!reading.refusal) return builder.Done("");
  return builder.Done("line " + std::to_string(LineNumber(text, reading.refusal->line.begin)) +
                      ": httpd does not read it");
}

}  // namespace

Tree ReadTree(Dialect dialect, std::string_view text) {
  return dialect == Dialect::kNginx ? ReadNginx(text) : ReadApache(text);
}

std::vector<std::size_t> Inside(const Tree& tree, std::size_t block) {
  std::vector<std::size_t> inside;
  const Node& outer = tree.nodes.at(block);
  if (!outer.is_block) return inside;
  for (std::size_t i = block + 1; i < outer.behind; i = tree.nodes.at(i).behind) {
    inside.push_back(i);
  }
  return inside;
}

bool IsCalled(Dialect dialect, const Node& node, std::string_view name) {
  if (node.words.empty()) return false;
  const std::string& own = node.words.front().value;
  return dialect == Dialect::kApache ? LowerCase(own) == LowerCase(name) : own == name;
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool OutlineLine::operator==(const OutlineLine& other) const {
  return depth == other.depth && is_block == other.is_block && words == other.words;
}

Outline OutlineOf(const Tree& tree) {
  Outline outline;
  std::vector<std::size_t> depths{0};
  for (std::size_t i = 1; i < tree.nodes.size(); ++i) {
    const Node& node = tree.nodes.at(i);
    const std::size_t depth = depths.at(node.parent);
    depths.push_back(depth + 1);
    OutlineLine line{depth, node.is_block, {}};
    for (const Word& word : node.words) line.words.push_back(word.value);
    outline.push_back(std::move(line));
  }
  return outline;
}

std::string Show(const OutlineLine& line) {
  std::string shown(2 * line.depth, ' ');
  for (const std::string& word : line.words) shown += "[" + word + "]";
  return line.is_block ? shown + " {" : shown;
}

std::size_t LineNumber(std::string_view text, std::size_t offset) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
  return static_cast<std::size_t>(std::count(text.begin(), end, '\n')) + 1;
}

}  // namespace edit_judge
