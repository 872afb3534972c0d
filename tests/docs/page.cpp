// SPDX-License-Identifier: Apache-2.0

#include "docs/page.h"

#include <fstream>
#include <set>
#include <stdexcept>

#include "template/framework/str.h"

namespace {

const std::string kFence = "```";
const std::set<std::string> kPlainLanguages = {"", "cpp", "sh", "text"};

struct Block {
  std::string language;
  int line = 0;
  std::vector<std::string> lines;

  std::string Text() const {
    std::string text;
    for (const std::string& each : lines) text += each + "\n";
    if (!text.empty()) text.pop_back();
    return text;
  }
};

class PageReader {
 public:
  explicit PageReader(const std::filesystem::path& file) : m_file(file), m_stream(file) {
    if (!m_stream) throw std::runtime_error(file.string() + ": cannot be read");
  }

  std::vector<Example> Read() {
    for (std::string line; NextLine(line);) {
      if (str::StartsWith(line, kFence)) {
        TakeBlock(ReadBlock(line.substr(kFence.size())));
      } else {
        TakeText(line);
      }
    }
    if (m_open) Fail(m_example.line, "the example has no result");
    if (m_examples.empty()) Fail(m_line, "the page has no examples");
    return m_examples;
  }

 private:
  [[noreturn]] void Fail(int line, const std::string& what) const {
    throw std::runtime_error(m_file.string() + ":" + std::to_string(line) + ": " + what);
  }

  bool NextLine(std::string& line) {
    if (!std::getline(m_stream, line)) return false;
    ++m_line;
    return true;
  }

  Block ReadBlock(const std::string& language) {
    Block block{language, m_line, {}};
    for (std::string line; NextLine(line);) {
      if (line == kFence) return block;
      block.lines.push_back(line);
    }
    Fail(block.line, "the block never ends");
  }

  void TakeText(const std::string& line) {
    if (str::StartsWith(line, "#")) m_heading = line.substr(line.find(' ') + 1);
    const std::string link = "](../tests/golden/";
    const std::size_t begin = line.find(link);
    if (begin != std::string::npos) {
      const std::size_t path = begin + 2;
      m_golden_case = m_file.parent_path() / line.substr(path, line.find(')', path) - path);
    }
    if (!str::Trim(line).empty()) m_text = line;
  }

  void TakeBlock(const Block& block) {
    const std::string& language = block.language;
    if (language == "nginx" || language == "apache") return Begin(block);
    if (language == "prototype") return TakePrototype(block);
    m_takes_prototype = false;
    if (language == "json") return TakeValues(block);
    if (language == "diff" || language == "error") return TakeResult(block);
    if (m_open) Fail(block.line, "'" + language + "' inside an example");
    if (language == "file") return TakeFile(block);
    if (kPlainLanguages.count(language) == 0) {
      Fail(block.line, "unknown language '" + language + "'");
    }
  }

  void Begin(const Block& block) {
    if (m_open) Fail(block.line, "the example before has no result");
    m_open = true;
    m_example = Example();
    m_example.heading = m_heading;
    m_example.line = block.line;
    m_example.dialect = block.language;
    m_example.template_text = block.Text();
    m_example.files = m_files;
    m_example.golden_case.swap(m_golden_case);
    m_has_values = false;
  }

  void TakeValues(const Block& block) {
    if (!m_open || m_has_values) Fail(block.line, "values without a template");
    m_has_values = true;
    m_example.values = block.Text();
  }

  void TakeResult(const Block& block) {
    if (!m_open) Fail(block.line, "a result without a template");
    m_open = false;
    m_takes_prototype = block.language == "diff";
    if (block.language == "error") {
      m_example.error = block.Text();
    } else {
      TakeDiff(block);
    }
    m_examples.push_back(m_example);
  }

  void TakeDiff(const Block& block) {
    Block before;
    Block after;
    int line = block.line;
    for (const std::string& text : block.lines) {
      ++line;
      const std::string sign = text.substr(0, 1);
      if (sign != " " && sign != "-" && sign != "+") Fail(line, "neither ' ' nor '-' nor '+'");
      if (sign != "+") before.lines.push_back(text.substr(1));
      if (sign != "-") after.lines.push_back(text.substr(1));
    }
    m_example.before = before.Text();
    m_example.after = after.Text();
  }

  void TakePrototype(const Block& block) {
    if (!m_takes_prototype) Fail(block.line, "a prototype without a result");
    m_takes_prototype = false;
    m_examples.back().prototype = block.Text();
  }

  void TakeFile(const Block& block) {
    const std::string end = "`:";
    const std::size_t begin = m_text.size() < end.size() ? 0 : m_text.rfind('`', m_text.size() - 3);
    if (!str::EndsWith(m_text, end) || begin == std::string::npos) {
      Fail(block.line, "the line before does not end in the file's name");
    }
    const std::string name = m_text.substr(begin + 1, m_text.size() - end.size() - begin - 1);
    m_files[name] = block.Text();
  }

  const std::filesystem::path m_file;
  std::ifstream m_stream;
  int m_line = 0;
  std::string m_heading;
  std::string m_text;  // the last line outside of blocks that is not blank
  std::map<std::string, std::string> m_files;
  std::optional<std::filesystem::path> m_golden_case;

  bool m_open = false;  // false: no example waits for its result
  bool m_has_values = false;
  bool m_takes_prototype = false;  // the block before was a result
  Example m_example;
  std::vector<Example> m_examples;
};

}  // namespace

std::vector<Example> ReadExamples(const std::filesystem::path& file) {
  return PageReader(file).Read();
}
