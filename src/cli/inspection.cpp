// SPDX-License-Identifier: Apache-2.0

#include "cli/inspection.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "cli/edit_report.h"
#include "cli/findings.h"
#include "cli/prepare.h"
#include "cli/request.h"
#include "cli/source_text.h"
#include "cli/syntax.h"
#include "cli/template_run.h"
#include "cli/text.h"
#include "template/framework/str.h"

namespace cli {
namespace {

using tov_template::BaseConfig;

// The paths that the library has read lines under, by the lines' addresses.
class PathProbe : private tov_template::ConfigView {
 public:
  explicit PathProbe(const std::shared_ptr<BaseConfig>& config) : ConfigView(config) {
    for (const auto& [path, params] : m_params) {
      for (const ConfParam& param : params) {
        if (param.m_line != m_lines->end()) m_paths.emplace(&*param.m_line, path);
      }
    }
  }

  // "" for a line outside every block.
  std::string PathOf(const std::string* line) const {
    const auto path = m_paths.find(line);
    return path == m_paths.end() ? std::string() : path->second;
  }

 private:
  std::unordered_map<const std::string*, std::string> m_paths;
};

// `path` for people.
std::string ShownPath(const std::string& path) {
  if (path.empty()) return "no block";
  std::string shown;
  for (const std::string& level : LevelsOf(path)) shown += (shown.empty() ? "" : " > ") + level;
  return Quoted(shown);
}

class Inspector {
 public:
  Inspector(const std::string& dialect, const std::string& text, const std::string& file)
      : m_request(RequestFor(dialect)),
        m_file(file),
        m_syntax(SyntaxOf(dialect)),
        m_source(text),
        m_config(MakeConfig(m_request, std::string())) {}

  Inspection Run() {
    const TemplateRun nothing(m_config, m_request, RunValues());
    m_shown = ShowLines(m_syntax, m_source, nothing);
    for (std::size_t i = 0; i < m_source.lines().size(); ++i) {
      m_texts.emplace_back(m_shown.Text(m_source, i));
    }
    m_result.blocks = FindBlocks(*m_config, m_texts);
    AddLines();
    ReadPaths();
    CheckBlocks();
    for (std::size_t i = 0; i < m_texts.size(); ++i) CheckLine(i);
    return std::move(m_result);
  }

 private:
  static Request RequestFor(const std::string& dialect) {
    Request request;
    request.dialect = dialect;
    return request;
  }

  void Warn(const char* name, std::size_t position, std::string_view part,
            const std::string& message) {
    const SourceText::Line& line = m_source.lines()[position];
    const std::size_t found = part.empty() ? std::string_view::npos : line.text.find(part);
    const std::size_t column =
        found == std::string_view::npos ? Indentation(line.text).size() : found;
    m_result.warnings.push_back(
        {name, {m_file, line.number, column + 1}, std::string(line.text), message});
  }

  std::string LineName(std::size_t position) const {
    return At(m_file, m_source.lines()[position].number);
  }

  // --- Reading ---

  void AddLines() {
    std::set<std::string> idents;
    m_config->GetIdentParams(idents);
    for (std::size_t i = 0; i < m_texts.size(); ++i) {
      Inspection::Line line;
      line.number = m_source.lines()[i].number;
      line.text = str::view::Trim(m_source.lines()[i].text);
      line.opens = m_config->StartsSection(m_texts[i]);
      line.closes = m_config->EndedSection(m_texts[i]);
      line.unique = m_config->IsUniqueParam(m_texts[i]);
      line.identifies = idents.count(std::string(str::view::FirstWord(m_texts[i]))) != 0;
      m_result.lines.push_back(std::move(line));
    }
    for (std::size_t i = 0; i < m_result.blocks.size(); ++i) {
      const Block& block = m_result.blocks[i];
      const std::size_t end = block.closing.value_or(m_texts.size() - 1);
      for (std::size_t at = block.opening; at <= end; ++at) m_result.lines[at].block = i;
    }
  }

  // The lines of one run are shifted by the same cause: the first one is named.
  void ReadPaths() {
    std::string text;
    for (const std::string& line : m_texts) text += line + '\n';
    const std::shared_ptr<BaseConfig> config = MakeConfig(m_request, text);
    std::vector<const std::string*> addresses;
    for (const std::string& line : *config->GetList()) addresses.push_back(&line);
    const PathProbe probe(config);
    std::set<const std::string*> left;
    for (const std::string& line : *config->GetList()) left.insert(&line);
    bool shifted = false;
    for (std::size_t i = 0; i < addresses.size() && i < m_result.lines.size(); ++i) {
      Inspection::Line& line = m_result.lines[i];
      const std::string path = line.block ? m_result.blocks[*line.block].path : std::string();
      const bool merged = left.count(addresses[i]) == 0;
      line.path = merged ? path : probe.PathOf(addresses[i]);
      if (line.path != path && !shifted) WarnOfShift(i, path);
      shifted = line.path != path;
    }
  }

  void WarnOfShift(std::size_t position, const std::string& path) {
    Warn("shifted-path", position, "",
         "this line stands in " + ShownPath(path) + ", but the library takes it for one of " +
             ShownPath(m_result.lines[position].path) +
             ", because of the blocks before it. A template does not find it here, and lines for "
             "the block around it may be written elsewhere. Keep blocks with identifying lines in "
             "files of their own, and include these");
  }

  // --- Blocks ---

  void CheckBlocks() {
    std::map<std::string, std::size_t> first;
    for (const Block& block : m_result.blocks) {
      const auto [known, is_first] = first.emplace(block.path, block.opening);
      if (!is_first) {
        Warn("duplicate-identity", block.opening, "",
             "this block is " + ShownPath(block.path) + ", like the one at " +
                 LineName(known->second) +
                 ": the library takes both for one, new lines go to the last one, and to remove "
                 "it removes all from the first to the last. Give them different identities, or "
                 "join them, or keep them in different files");
      }
      if (!block.closing) {
        Warn("unclosed-block", block.opening, "",
             "this block never closes, so that all that follows counts as being in it. Add its "
             "closing line");
      } else if (*block.closing == block.opening + 1) {
        Warn("empty-block", block.opening, "",
             "this block is empty, and other programs with the library remove such blocks; "
             "qeltemplate puts it back. A comment in it keeps it in any case");
      }
    }
  }

  // --- Lines ---

  void CheckLine(std::size_t position) {
    const Inspection::Line& line = m_result.lines[position];
    if (line.closes && !line.block) {
      Warn("extra-closing", position, "",
           "there is no block that this line closes. Take it out, or look for a block before it "
           "whose opening line the library does not see");
    }
    if (m_syntax == Syntax::kNginx) {
      CheckBraces(position);
      CheckListen(position);
    } else {
      CheckOptions(position);
    }
    CheckContinued(position);
  }

  void CheckBraces(std::size_t position) {
    const std::string& text = m_texts[position];
    if (text.find_first_of("{}") == std::string::npos) return;
    const std::string shape = Shape(Syntax::kNginx, text);
    const std::size_t open = shape.find('{');
    const std::size_t close = shape.find('}');
    const Inspection::Line& line = m_result.lines[position];
    if (open != std::string::npos && close != std::string::npos) {
      Warn(
          "one-line-block", position, "{",
          "the library does not see that this line opens and closes blocks: nothing in them can be "
          "edited. Put opening braces at the ends of lines, and closing ones on lines of their "
          "own");
    } else if (open != std::string::npos && !line.opens) {
      Warn("text-after-brace", position, "{",
           "the library sees a block only where the brace ends its line, and takes what follows "
           "for another block's. Put the text behind the brace on a line of its own");
    } else if (close != std::string::npos && shape.find('}', close + 1) != std::string::npos) {
      Warn("odd-line", position, "}",
           "the library sees only one closing brace on a line. " + Own());
    } else if (close != std::string::npos && !line.closes) {
      Warn("odd-line", position, "}",
           "the library does not see this closing brace, so that what follows counts as being in "
           "the block. " +
               Own());
    } else if (line.opens && str::view::Trim(text) == "{") {
      Warn("odd-line", position, "{",
           "for the library this opens a block that is called '{', and the line before it is a "
           "directive. Put the brace at the end of that line");
    }
  }

  static std::string Own() { return "Put each on a line of its own"; }

  void CheckListen(std::size_t position) {
    const std::string_view address = UnknownListenAddress(m_texts[position]);
    if (address.empty()) return;
    Warn("unknown-address", position, address,
         "the library does not understand the address " + Quoted(address) +
             ": a template can neither add, find nor remove this line. Write a port alone (80), or "
             "a numeric address and a port (0.0.0.0:80)");
  }

  void CheckOptions(std::size_t position) {
    const std::string& text = m_texts[position];
    if (str::view::FirstWord(text) != "Options") return;
    if (HasMixedOptions(text)) {
      Warn("mixed-options", position, "",
           "words with and without a sign on one line are refused by httpd. Write all of them with "
           "a sign, or none");
    }
    if (text.find('#') != std::string::npos) {
      Warn("options-comment", position, "#",
           "httpd knows no comments behind a directive, and the library takes these words for "
           "options. Put the comment on a line of its own");
    }
    const std::string& path = m_result.lines[position].path;
    if (!m_options.insert(path).second) {
      Warn("several-options", position, "",
           "this block has Options already: the library takes both lines for one, while httpd "
           "counts the last line only where its words have no sign. Write one line");
    }
  }

  void CheckContinued(std::size_t position) {
    const std::string shape = Shape(m_syntax, m_texts[position]);
    if (shape.empty() || (shape.back() != '\\' && shape.back() != '"')) return;
    if (str::view::StartsWith(str::view::Trim(m_texts[position]), "#")) return;
    Warn("continued-line", position, "",
         "this directive goes on in the next line, which the library takes for a directive of its "
         "own. Write it on one line where a template is to find it");
  }

  const Request m_request;
  const std::string& m_file;
  const Syntax m_syntax;
  const SourceText m_source;
  const std::shared_ptr<BaseConfig> m_config;
  ShownLines m_shown;
  std::vector<std::string> m_texts;
  std::set<std::string> m_options;  // the paths of the blocks that have such a line
  Inspection m_result;
};

}  // namespace

Inspection Inspect(const std::string& dialect, const std::string& text, const std::string& file) {
  return Inspector(dialect, text, file).Run();
}

}  // namespace cli
