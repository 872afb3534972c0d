// SPDX-License-Identifier: Apache-2.0

// Does the Document understand what it reads? The real httpd tells what it has understood: it
// prints the tree of directives that it has read, and the values that it was given to define.
#include "document/meaning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <map>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "document/apache/httpd.h"
#include "document/apache/lines.h"
#include "document/apache/second_reader.h"
#include "document/apache/texts.h"
#include "document/document.h"
#include "document/places.h"

namespace {

using second_reader::LowerCase;
using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Places;
using tov_document::Word;

// One for each directive and section: how deep it stands, the last of its lines, its words.
using Tree = std::vector<std::string>;

std::string Entry(std::size_t depth, std::size_t line, const std::string& kind,
                  const std::vector<std::string>& words) {
  std::string entry = std::to_string(line) + std::string(1 + depth, ' ') + kind;
  for (std::size_t i = 0; i < words.size(); ++i) {
    entry += " [" + (i == 0 ? LowerCase(words[i]) : words[i]) + "]";
  }
  return entry;
}

// The trees that httpd prints, by file. Before each directive and section stands a line with its
// depth and its line; an end has none.
std::map<std::string, Tree> HttpdsTrees(const std::string& output) {
  static const std::regex file("# In file: .*/([^/]+)");
  static const std::regex place("( *)# *([0-9]+):");
  std::map<std::string, Tree> trees;
  std::string current;
  std::istringstream stream(output);
  std::smatch match;
  for (std::string line; std::getline(stream, line);) {
    if (std::regex_match(line, match, file)) current = match[1];
    if (!std::regex_match(line, match, place)) continue;
    std::string directive;
    std::getline(stream, directive);
    const second_reader::Reading reading = second_reader::Read(directive);
    std::vector<std::string> words;
    for (const second_reader::Word& word : reading.events.at(0).words) words.push_back(word.value);
    const bool section = reading.events[0].kind != second_reader::Kind::kDirective;
    trees[current].push_back(Entry(static_cast<std::size_t>(match.length(1)) / 2,
                                   std::stoul(match[2]), section ? "section" : "directive", words));
  }
  return trees;
}

// The Document's tree as httpd prints it: without conditions, since what stands in them takes their
// place, and without macros.
class DocumentsTree {
 public:
  explicit DocumentsTree(const std::string& text)
      : m_text(text), m_document(Dialect::kApache, text), m_places(text) {
    Add(tov_document::kWholeText, 0);
  }

  const Tree& Get() const { return m_tree; }

 private:
  void Add(BlockId inside, std::size_t depth);
  void AddSection(const Node& node, std::size_t depth);

  std::vector<std::string> Values(const std::vector<Word>& words) const {
    std::vector<std::string> values;
    values.reserve(words.size());
    for (const Word& word : words) values.push_back(m_document.Value(word));
    return values;
  }
  std::size_t LastLine(const Node& node) const {
    return m_places.Of(second_reader::LineAt(m_text, node.bytes.begin).in_text.end - 1).line;
  }

  std::string m_text;
  Document m_document;
  Places m_places;
  Tree m_tree;
};

void DocumentsTree::Add(BlockId inside, std::size_t depth) {
  for (const Node& node : m_document.Nodes(inside)) {
    if (node.kind == NodeKind::kBlock) AddSection(node, depth);
    if (node.kind != NodeKind::kDirective) continue;
    m_tree.push_back(Entry(depth, LastLine(node), "directive", Values(m_document.Words(node))));
  }
}

void DocumentsTree::AddSection(const Node& node, std::size_t depth) {
  const std::vector<std::string> words = Values(m_document.HeadWords(node.block));
  if (tov_document::IsCondition(Dialect::kApache, words[0])) return Add(node.block, depth);
  if (tov_document::SameName(Dialect::kApache, words[0], "Macro")) return;
  m_tree.push_back(Entry(depth, LastLine(node), "section", words));
  Add(node.block, depth + 1);
}

// Of the corpus only the lines and sections: most of its directives need other modules or files.
TEST(Tree, IsTheOneThatHttpdHasRead) {
  std::vector<std::string> candidates;
  for (const auto& [name, text] : Texts()) {
    candidates.push_back(name.rfind("corpus/", 0) == 0 ? CarriedThrough(text) : ReadThrough(text));
  }
  const Httpd httpd;
  const std::vector<Answer> answers = httpd.CarryOut(candidates);
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (answers[i].kind == Answer::Kind::kReads) texts.push_back(candidates[i]);
  }
  const std::map<std::string, Tree> trees = HttpdsTrees(httpd.Print(texts, "-D DUMP_CONFIG"));
  std::size_t entries = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const auto found = trees.find("text" + std::to_string(i) + ".conf");
    const Tree expected = found == trees.end() ? Tree{} : found->second;
    EXPECT_EQ(DocumentsTree(texts[i]).Get(), expected) << texts[i].substr(0, 4000);
    entries += expected.size();
  }
  std::cout << texts.size() << " of " << candidates.size() << " texts, " << entries << " entries\n";
  EXPECT_GE(texts.size(), candidates.size() * 2 / 3);
  EXPECT_GE(entries, 5 * texts.size());
}

// Text as it may stand behind a directive's name: words with and without quotes, escapes, continued
// lines.
std::string RandomArguments(std::mt19937& random) {
  static const std::vector<std::string> pieces = {"a",    "b",      "\"",   "\"",  "'", "'",
                                                  "\\",   "\\",     "\\\"", "\\'", " ", "\t",
                                                  "\\\n", "\\\r\n", ">",    "<",   "#", "\v"};
  std::string arguments;
  for (std::size_t n = 1 + random() % 9; n > 0; --n) arguments += pieces[random() % pieces.size()];
  return arguments;
}

// What httpd has defined, by name.
std::map<std::string, std::string> Defined(const std::string& output) {
  static const std::regex define("Define: ([^=]*)=(.*)");
  std::map<std::string, std::string> defined;
  std::istringstream stream(output);
  std::smatch match;
  for (std::string line; std::getline(stream, line, '\n');) {
    if (std::regex_match(line, match, define)) defined[match[1]] = match[2];
  }
  return defined;
}

std::vector<std::string> WordsOf(const std::string& text) {
  const Document document(Dialect::kApache, text);
  std::vector<std::string> values;
  for (const Node& node : document.Nodes(tov_document::kWholeText)) {
    for (const Word& word : document.Words(node)) values.push_back(document.Value(word));
  }
  return values;
}

// httpd defines a name with one value. A macro hands any number of words over to such lines, each
// quoted anew ("@"). An empty word would end the list of a macro's arguments.
TEST(Words, HaveTheValuesThatHttpdGivesThem) {
  std::mt19937 random(1);
  std::string text;
  for (std::size_t count = 1; count <= 4; ++count) {
    std::string defines;
    text += "<Macro M" + std::to_string(count) + " $n";
    for (std::size_t i = 1; i <= count; ++i) {
      text += " @" + std::to_string(i);
      defines += "Define $n." + std::to_string(i) + " @" + std::to_string(i) + "\n";
    }
    text += ">\n" + defines + "</Macro>\n";
  }
  std::map<std::string, std::string> expected;
  for (std::size_t n = 0; n < 600; ++n) {
    const std::string arguments = RandomArguments(random);
    const std::string name = "V" + std::to_string(n);
    const std::vector<std::string> words = WordsOf("Use M " + name + " " + arguments + " \n");
    const bool has_empty = std::find(words.begin(), words.end(), "") != words.end();
    if (words.size() < 4 || words.size() > 7 || has_empty) continue;
    text += "Use M" + std::to_string(words.size() - 3) + " " + name + " " + arguments + " \n";
    for (std::size_t i = 3; i < words.size(); ++i) {
      expected[name + "." + std::to_string(i - 2)] = words[i];
    }
  }
  EXPECT_GE(expected.size(), 500U);
  EXPECT_EQ(Defined(Httpd().Print({text}, "-D DUMP_RUN_CFG")), expected);
}

// Quotes and escapes around a name, so that httpd finds it again.
std::string Quoted(const std::string& value) {
  std::string quoted;
  for (const char c : value)
    quoted += c == '"' || c == '\\' ? std::string{'\\', c} : std::string{c};
  return '"' + quoted + '"';
}

// A condition holds when its word has been defined.
TEST(Words, OfSectionsHaveTheValuesThatHttpdGivesThem) {
  std::mt19937 random(1);
  std::string text;
  std::map<std::string, std::string> expected;
  for (std::size_t n = 0; n < 600; ++n) {
    const std::string arguments = RandomArguments(random) + std::to_string(n) +
                                  RandomArguments(random) + (n % 2 == 0 ? ">" : " > x");
    const std::string section =
        "<IfDefine " + arguments + " \nDefine V" + std::to_string(n) + " yes\n</IfDefine>\n";
    const Document document(Dialect::kApache, section);
    if (document.error()) {
      ADD_FAILURE() << section;
      continue;
    }
    const std::vector<Word> words = document.HeadWords(1);
    if (words.size() < 2 || document.Value(words[1]).find(std::to_string(n)) == std::string::npos) {
      continue;
    }
    text += "Define " + Quoted(document.Value(words[1])) + "\n" + section;
    expected["V" + std::to_string(n)] = "yes";
  }
  EXPECT_GE(expected.size(), 200U);
  EXPECT_EQ(Defined(Httpd().Print({text}, "-D DUMP_RUN_CFG")), expected);
}

}  // namespace
