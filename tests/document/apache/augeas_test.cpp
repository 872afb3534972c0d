// SPDX-License-Identifier: Apache-2.0

// Augeas reads configurations, too. Where it takes a file, is its tree the same?
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "document/apache/texts.h"
#include "document/document.h"
#include "server/server_folder.h"

namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Word;

// One for each directive and section: how deep it stands, its words as they are written.
using Tree = std::vector<std::string>;

std::string Entry(std::size_t depth, const std::string& kind, const std::string& name) {
  return std::string(2 * depth, ' ') + kind + " " + name;
}

void AddWord(std::string& entry, const std::string& word) {
  entry += " [" + word + "]";
}

class DocumentsTree {
 public:
  explicit DocumentsTree(const std::string& text) : m_document(Dialect::kApache, text) {
    Add(tov_document::kWholeText, 0);
  }

  bool HasError() const { return m_document.error().has_value(); }
  const Tree& Get() const { return m_tree; }

 private:
  void Add(BlockId inside, std::size_t depth) {
    for (const Node& node : m_document.Nodes(inside)) {
      if (node.kind == NodeKind::kDirective) AddEntry(depth, "directive", m_document.Words(node));
      if (node.kind != NodeKind::kBlock) continue;
      AddEntry(depth, "section", m_document.HeadWords(node.block));
      Add(node.block, depth + 1);
    }
  }
  void AddEntry(std::size_t depth, const std::string& kind, const std::vector<Word>& words) {
    m_tree.push_back(Entry(depth, kind, m_document.Value(words[0])));
    for (std::size_t i = 1; i < words.size(); ++i) {
      AddWord(m_tree.back(), std::string(m_document.Bytes(words[i].bytes)));
    }
  }

  Document m_document;
  Tree m_tree;
};

// augtool prints strings as C writes them, bytes beyond ASCII in three octal digits.
std::string Unescaped(const std::string& printed) {
  static const std::map<char, char> controls = {{'n', '\n'}, {'r', '\r'}, {'t', '\t'}};
  std::string value;
  for (std::size_t i = 0; i < printed.size(); ++i) {
    if (printed[i] != '\\') {
      value += printed[i];
    } else if (printed[++i] >= '0' && printed[i] <= '7') {
      value += static_cast<char>(std::stoi(printed.substr(i, 3), nullptr, 8));
      i += 2;
    } else {
      const auto control = controls.find(printed[i]);
      value += control == controls.end() ? printed[i] : control->second;
    }
  }
  return value;
}

std::vector<std::string> Split(const std::string& path) {
  std::vector<std::string> steps;
  std::istringstream stream(path);
  for (std::string step; std::getline(stream, step, '/');) steps.push_back(step);
  return steps;
}

// The trees that augtool prints, by file: a line for each node with the path that leads to it, from
// "/files/FILE" on, and its value.
//
//   /files/0.conf/VirtualHost[2]/directive = "ServerName"
std::map<std::string, Tree> AugeasTrees(const std::string& output) {
  std::map<std::string, Tree> trees;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    const std::size_t equals = std::min(line.find(" = \""), line.size());
    const std::vector<std::string> steps = Split(line.substr(0, equals));
    if (steps.size() < 4) continue;
    Tree& tree = trees[steps[2]];
    const std::size_t depth = steps.size() - 4;
    const std::string label = steps.back().substr(0, steps.back().find('['));
    const std::string value =
        equals == line.size() ? "" : Unescaped(line.substr(equals + 4, line.size() - equals - 5));
    if (label == "arg") {
      AddWord(tree.back(), value);
    } else if (label == "directive") {
      tree.push_back(Entry(depth, "directive", value));
    } else if (label != "#comment") {
      tree.push_back(Entry(depth, "section", label));
    }
  }
  return trees;
}

std::string FirstDifference(const Tree& document, const Tree& augeas) {
  for (std::size_t i = 0; i < std::max(document.size(), augeas.size()); ++i) {
    const std::string ours = i < document.size() ? document[i] : "nothing";
    const std::string theirs = i < augeas.size() ? augeas[i] : "nothing";
    if (ours != theirs) return ours + "\n" + theirs;
  }
  return "";
}

// The first difference in each file that has one, the Document first.
const std::map<std::string, std::string> differences = {
    // Augeas takes a blank behind a backslash as part of the word. To httpd it ends the word: only
    // mod_rewrite reads its own lines that way.
    {"corpus/certbot__passing_escaped-space-arguments-2735.conf",
     "directive RewriteCond [%{THE_REQUEST}] [^[A-Z]{3,9}\\] [/.+/trackback/?\\] [HTTP/] [[NC]]\n"
     "directive RewriteCond [%{THE_REQUEST}] [^[A-Z]{3,9}\\ /.+/trackback/?\\ HTTP/] [[NC]]"},
};

TEST(Augeas, ReadsTheSameTrees) {
  const std::map<std::string, std::string> texts = Texts();
  const ServerFolder folder("augeas");
  std::vector<std::string> names;
  for (const auto& [name, text] : texts) {
    folder.Write(std::to_string(names.size()) + ".conf", text);
    names.push_back(name);
  }
  std::string output;
  ASSERT_TRUE(folder.Run("augtool --noautoload --root=" + folder.Path() +
                             " --transform='Httpd.lns incl /*.conf' print /files",
                         output));
  const std::map<std::string, Tree> trees = AugeasTrees(output);
  for (const auto& [file, tree] : trees) {
    const std::string& name = names.at(std::stoul(file));
    const DocumentsTree document(texts.at(name));
    EXPECT_FALSE(document.HasError()) << name;
    const auto difference = differences.find(name);
    EXPECT_EQ(FirstDifference(document.Get(), tree),
              difference == differences.end() ? "" : difference->second)
        << name;
  }
  std::cout << trees.size() << " of " << texts.size() << " files\n";
  EXPECT_GE(trees.size(), texts.size() * 3 / 4);
}

}  // namespace
