// SPDX-License-Identifier: Apache-2.0

#include "docs/page.h"

#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "template/framework/str.h"

namespace {

const std::string kFence = "```";
const std::set<std::string> kPlainLanguages = {"", "cpp", "sh", "text"};

// Those that may stand behind a result.
const std::set<std::string> kFollowing = {"library", "prototype", "refused", "warning"};

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
    if (!str::Trim(line).empty()) m_text = line;
  }

  void TakeBlock(const Block& block) {
    const std::string& language = block.language;
    if (language == "nginx" || language == "apache") return Begin(block);
    if (kFollowing.count(language) != 0) return TakeFollowing(block);
    m_takes_more = false;
    if (language == "json") return TakeValues(block);
    if (language == "options") return TakeOptions(block);
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
    m_has_values = false;
  }

  void TakeValues(const Block& block) {
    if (!m_open || m_has_values) Fail(block.line, "values without a template");
    m_has_values = true;
    m_example.values = block.Text();
  }

  void TakeOptions(const Block& block) {
    if (!m_open) Fail(block.line, "options without a template");
    std::istringstream words(block.Text());
    for (std::string word; words >> word;) m_example.options.push_back(word);
  }

  void TakeResult(const Block& block) {
    if (!m_open) Fail(block.line, "a result without a template");
    m_open = false;
    m_takes_more = true;
    if (block.language == "error") {
      m_example.error = block.Text();
    } else {
      m_example.diff = block.lines;
      std::tie(m_example.before, m_example.after) = ReadDiff(block);
    }
    m_examples.push_back(m_example);
  }

  // The texts before and after.
  std::pair<std::string, std::string> ReadDiff(const Block& block) const {
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
    return {before.Text(), after.Text()};
  }

  void TakeFollowing(const Block& block) {
    if (!m_takes_more) Fail(block.line, "'" + block.language + "' without a result");
    Example& example = m_examples.back();
    if (block.language == "prototype") example.prototype = block.Text();
    if (block.language == "warning") example.warning = block.Text();
    if (block.language == "refused") {
      example.refused = block.Text();
      if (example.before != example.after) Fail(block.line, "a refused edit changes nothing");
    }
    if (block.language != "library") return;
    const auto [before, after] = ReadDiff(block);
    if (before != example.before) Fail(block.line, "not the configuration of the example");
    example.library = after;
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

  bool m_open = false;  // false: no example waits for its result
  bool m_has_values = false;
  bool m_takes_more = false;  // nothing stands between the result and here but what follows it
  Example m_example;
  std::vector<Example> m_examples;
};

}  // namespace

std::vector<Example> ReadExamples(const std::filesystem::path& file) {
  return PageReader(file).Read();
}
