// SPDX-License-Identifier: Apache-2.0

// qeltemplate inspect: a configuration as its server reads it.

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "cli/request.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"
#include "edit/inspection.h"
#include "report/inspection_json.h"

namespace cli {
namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::NodeKind;
using tov_document::Span;
using tov_edit::ForEachItem;
using tov_edit::InspectedText;
using tov_edit::Item;
using tov_edit::OneLine;
using tov_edit::PlainLine;

constexpr char kFooter[] = R"(
Shows the blocks, directives and comments of CONFIG as its server reads them. Each
stands behind its place, FILE:LINE. The names and addresses of a server follow its
block. Below stands what the server would refuse, as
  FILE:LINE:COLUMN: error: what is wrong [NAME]

Example:
  qeltemplate inspect /etc/nginx/nginx.conf)";

struct InspectOptions {
  std::string config_file;  // "": standard input
  std::string dialect;      // "": to be guessed
  bool json = false;
  std::string colour = "auto";
  std::set<std::string> ignored;
};

std::size_t LineAt(const InspectedText& config, std::uint32_t offset) {
  return config.places.Of(offset).line;
}

std::size_t FirstLine(const InspectedText& config, Span span) {
  return LineAt(config, span.begin);
}

std::size_t LastLine(const InspectedText& config, Span span) {
  return LineAt(config, span.empty() ? span.begin : span.end - 1);
}

// --- For people ---

// `text` in one line of a terminal or two.
std::string Cut(const std::string& text) {
  constexpr std::size_t kMost = 100;
  if (text.size() <= kMost) return Printable(text);
  std::size_t end = kMost;
  while ((static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U && end > 0) --end;
  return Printable(std::string_view(text).substr(0, end)) + "...";
}

// "  = a.example www.a.example on *:80", or what there is of it.
std::string Identity(const Document& document, BlockId block) {
  const auto joined = [](const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
      (text += ' ').append(word.empty() ? std::string_view("\"\"") : std::string_view(word));
    }
    return Cut(text);
  };
  const std::vector<std::string> names = ServerNames(document, block);
  const std::vector<std::string> addresses = ServerAddresses(document, block);
  if (names.empty() && addresses.empty()) return std::string();
  return "  =" + joined(names) + (addresses.empty() ? "" : " on" + joined(addresses));
}

// "(lines 6 to 9: Lua, which is not looked into)".
std::string Unread(const InspectedText& config, const Item& item) {
  const Document& document = config.document;
  const std::size_t first = FirstLine(config, item.node.bytes);
  const std::size_t last = LastLine(config, item.node.bytes);
  std::string lines = "line " + std::to_string(first);
  if (last != first) lines = "lines " + std::to_string(first) + " to " + std::to_string(last);
  if (document.blocks()[item.around].reading != tov_document::Body::kOpaque) {
    return '(' + lines + ": not read)";
  }
  const std::string section = document.Value(document.HeadWords(item.around).front());
  const bool nginx = document.dialect() == Dialect::kNginx;
  return '(' + lines + ": " + (nginx ? "Lua" : Cut(section)) + ", which is not looked into)";
}

void Describe(const InspectedText& config, const Item& item, bool coloured, std::string& text) {
  if (item.node.kind == NodeKind::kOpaque) {
    text += Unread(config, item);
    return;
  }
  const std::string_view plain = PlainLine(config.document, item.node);
  const bool bold = coloured && item.node.kind == NodeKind::kBlock;
  if (!plain.empty() && !bold) {
    text += plain;
  } else {
    text += Bold(Cut(OneLine(config.document, item.node)), bold);
  }
  if (item.server) text += Identity(config.document, item.node.block);
}

// Whether `item` is a comment behind `before`, on the same line.
bool IsBehind(const InspectedText& config, const Item& before, const Item& item) {
  if (item.node.kind != NodeKind::kComment) return false;
  Span span = before.node.bytes;
  if (before.node.kind == NodeKind::kBlock && before.node.block == item.around) {
    span = config.document.blocks()[item.around].head;
  } else if (before.around != item.around) {
    return false;
  }
  return LastLine(config, span) == FirstLine(config, item.node.bytes);
}

std::size_t DigitsOf(std::size_t number) {
  return std::to_string(number).size();
}

// The items of a text, each in a line of its own, but for comments behind others. `digits` are
// those of the last line's number.
class Tree {
 public:
  Tree(const InspectedText& config, bool coloured, std::size_t digits)
      : m_config(config),
        m_coloured(coloured),
        m_digits(digits),
        m_file(Printable(config.file) + ':') {
    m_text.reserve(config.document.text().size() +
                   config.places.Lines() * (m_file.size() + digits + kForMore));
  }

  void Add(const Item& item) {
    m_line = m_config.places.LineFrom(m_line, item.node.bytes.begin);
    if (m_before && IsBehind(m_config, *m_before, item)) {
      m_text += "  ";
    } else {
      if (m_before) m_text += '\n';
      AddPlace(item.depth);
    }
    Describe(m_config, item, m_coloured, m_text);
    m_before = item;
  }

  // The digits of the number of the last item's line.
  std::size_t Digits() const { return DigitsOf(m_line); }

  std::string Text() && {
    if (m_before) m_text += '\n';
    return std::move(m_text);
  }

 private:
  static constexpr std::size_t kForMore = 16;  // of a line, beside its text
  static constexpr std::size_t kDeepest = 40;  // deeper blocks stand below each other

  void AddPlace(std::size_t depth) {
    std::array<char, std::numeric_limits<std::size_t>::digits10 + 1> number;
    const char* const end = std::to_chars(number.data(), number.data() + number.size(), m_line).ptr;
    const auto size = static_cast<std::size_t>(end - number.data());
    m_text += m_file;
    m_text.append(number.data(), size) += ':';
    m_text.append(m_digits - std::min(size, m_digits) + 1 + 2 * std::min(depth, kDeepest), ' ');
  }

  const InspectedText& m_config;
  const bool m_coloured;
  const std::size_t m_digits;
  const std::string m_file;
  std::size_t m_line = 1;
  std::optional<Item> m_before;
  std::string m_text;
};

std::string TreeText(const InspectedText& config, bool coloured) {
  // Behind the last item only ends of blocks may follow: rarely to a number of more digits.
  for (std::size_t digits = DigitsOf(config.places.Lines());;) {
    Tree tree(config, coloured, digits);
    ForEachItem(config.document, [&tree](const Item& item) { tree.Add(item); });
    if (tree.Digits() == digits) return std::move(tree).Text();
    digits = tree.Digits();
  }
}

std::string Findings(const tov_edit::Remarks& remarks, bool coloured) {
  std::string shown = ShownWarnings(remarks.warnings, coloured);
  if (remarks.error) shown += Shown(*remarks.error, Weight::kError, coloured);
  return shown.empty() ? shown : '\n' + shown;
}

Outcome Run(const InspectOptions& options) {
  const bool standard_input = options.config_file.empty() || IsStandardInput(options.config_file);
  const std::string text = standard_input ? ReadStandardInput() : ReadFile(options.config_file);
  const std::string name = TextName(standard_input ? "-" : options.config_file);
  std::optional<Dialect> dialect = tov_document::DialectNamed(options.dialect);
  if (!dialect) {
    dialect = DialectOf(text, name);
    SayGuess(name, *dialect);
  }
  InspectedText config(*dialect, text, name);
  tov_edit::Remarks& remarks = config.remarks;
  Ignore(options.ignored, remarks.warnings);
  const bool clean = remarks.warnings.empty() && !remarks.error;
  const ExitCode code = clean ? kDone : kFindings;
  if (options.json) return {report::InspectionJson(config), code};
  const bool coloured = WantsColour(options.colour);
  return {TreeText(config, coloured) + Findings(remarks, coloured), code};
}

void AddOptions(CLI::App& command, InspectOptions& options) {
  AddDialectOption(command, options.dialect, "CONFIG");
  command.add_flag("--json", options.json, "Write JSON");
  AddColourOption(command, options.colour, "the output");
  AddIgnoreOption(command, options.ignored);
  AddFileOption(command, "CONFIG", options.config_file,
                "The configuration; standard input when it is \"-\" or left out");
  command.footer(std::string(kFooter) + "\n\n" + kFindingsExitHelp);
}

}  // namespace

Command AddInspect(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("inspect", "Show a configuration as its server reads it");
  const auto options = std::make_shared<InspectOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
