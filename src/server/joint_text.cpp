// SPDX-License-Identifier: Apache-2.0

#include "server/joint_text.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "document/document.h"
#include "document/meaning.h"

namespace tov_server {
namespace {

using tov_document::BlockId;
using tov_document::Document;
using tov_edit::Parts;

bool IsAround(const Document& document, BlockId block) {
  const auto words = document.HeadWords(block);
  return tov_document::IsAroundServers(document.dialect(), document.Value(words.front()));
}

// By blocks, whether what stands in them stands around servers.
std::vector<bool> OuterBlocks(const Document& document) {
  const auto& blocks = document.blocks();
  std::vector<bool> outer(blocks.size(), true);
  for (BlockId id = 1; id < blocks.size(); ++id) {
    outer[id] = outer[blocks[id].parent] && IsAround(document, id);
  }
  return outer;
}

// The innermost block around a byte.
BlockId BlockAt(const Document& document, std::uint32_t offset) {
  const auto& blocks = document.blocks();
  const auto behind =
      std::partition_point(blocks.begin() + 1, blocks.end(),
                           [offset](const auto& block) { return block.head.begin <= offset; });
  auto block = static_cast<BlockId>(behind - blocks.begin() - 1);
  while (block != tov_document::kWholeText && blocks[block].body().end <= offset) {
    block = blocks[block].parent;
  }
  return block;
}

// Where what an include reads comes into the text: behind its line, where nothing but a comment
// follows on that.
std::size_t BehindLine(Dialect dialect, std::string_view text, std::size_t end) {
  std::size_t at = std::min(text.find_first_not_of(" \t\r\v\f", end), text.size());
  if (dialect == Dialect::kNginx && at < text.size() && text[at] == '#') {
    at = std::min(text.find('\n', at), text.size());
  }
  if (at == text.size()) return at;
  return text[at] == '\n' ? at + 1 : end;
}

// A condition, or a macro.
struct Condition {
  std::string_view head;
  LeftOut bytes;
};

std::vector<Condition> ConditionsOf(const Document& document) {
  std::vector<Condition> conditions;
  const auto& blocks = document.blocks();
  for (BlockId id = 1; id < blocks.size(); ++id) {
    const auto words = document.HeadWords(id);
    const std::string name = document.Value(words.front());
    const Dialect dialect = document.dialect();
    const bool is_one =
        tov_document::IsCondition(dialect, name) || tov_document::SameName(dialect, name, "Macro");
    if (!is_one) continue;
    conditions.push_back(
        {document.Bytes(blocks[id].head), {blocks[id].head.begin, blocks[id].closing.end}});
  }
  return conditions;
}

// Whether a byte is in one of them, which stand in the order of the text.
bool IsIn(const std::vector<LeftOut>& all, std::uint32_t offset) {
  const auto behind = std::partition_point(
      all.begin(), all.end(), [offset](const LeftOut& each) { return each.begin <= offset; });
  return behind != all.begin() && offset < std::prev(behind)->end;
}

}  // namespace

// --- Reading ---

JointText::JointText(const ServerFiles& server)
    : m_dialect(server.dialect), m_files(server.files.size()) {
  m_reached.assign(m_files.size(), false);
  std::vector<std::size_t> unread = {0};
  while (!unread.empty()) {
    const std::size_t file = unread.back();
    unread.pop_back();
    if (file >= m_files.size() || m_reached[file]) continue;
    m_reached[file] = true;
    Read(file, server.files[file]);
    for (const OuterInclude& include : m_files[file].includes) {
      unread.insert(unread.end(), include.files.begin(), include.files.end());
    }
  }
}

void JointText::Read(std::size_t number, const ServerFile& file) {
  File& read = m_files[number];
  read.name = file.name;
  read.text = file.text;
  read.left_out = file.left_out;
  const Document document(m_dialect, file.text);
  if (auto problem = tov_edit::SyntaxProblem(document, file.name)) {
    read.readable = false;
    if (number != 0) {  // the main file is in the text in any case, and says so itself
      m_problems.push_back(std::move(*problem));
      return;
    }
  }
  if (file.includes.empty()) return;
  const std::vector<bool> outer = OuterBlocks(document);
  for (std::size_t i = 0; i < file.includes.size(); ++i) {
    const Include& include = file.includes[i];
    if (!outer[BlockAt(document, include.begin)]) continue;
    read.includes.push_back({i, include.begin, include.end, include.files});
  }
}

bool JointText::IsOuter(std::size_t file, std::size_t include) const {
  const auto& includes = m_files[file].includes;
  return m_reached[file] &&
         std::any_of(includes.begin(), includes.end(),
                     [include](const OuterInclude& other) { return other.number == include; });
}

void JointText::Add(const NewFile& file) {
  const std::size_t number = m_files.size();
  for (OuterInclude& include : m_files[file.in].includes) {
    if (include.number != file.include) continue;
    const auto behind =
        std::find_if(include.files.begin(), include.files.end(),
                     [&](std::size_t other) { return file.name < m_files[other].name; });
    include.files.insert(behind, number);
  }
  m_files.push_back({file.name, {}, {}, {}, true});
  m_reached.push_back(true);
}

// --- Putting together ---

class JointText::Joining {
 public:
  Joining(const JointText& joint, const tov_edit::NewTexts& texts, What what)
      : m_joint(joint), m_parts(FilesOf(joint, texts)), m_texts(texts), m_what(what) {}

  Parts Run() {
    m_taken.assign(m_joint.m_files.size(), false);
    if (!m_joint.m_files.empty()) Push(0);
    while (!m_open.empty()) Step();
    return std::move(m_parts);
  }

 private:
  // A file, of which the bytes before `at` are in the text.
  struct Frame {
    std::size_t file = 0;
    std::vector<OuterInclude> includes;
    std::size_t at = 0;
    std::size_t include = 0;
    std::size_t next = 0;  // of the files of that
    std::vector<LeftOut> left_out;
    std::size_t left = 0;  // the next one of these
  };

  static std::vector<Parts::File> FilesOf(const JointText& joint, const tov_edit::NewTexts& texts) {
    std::vector<Parts::File> files;
    for (std::size_t i = 0; i < joint.m_files.size(); ++i) {
      const auto changed = texts.find(i);
      files.push_back({joint.m_files[i].name,
                       changed == texts.end() ? joint.m_files[i].text : changed->second});
    }
    return files;
  }

  void Push(std::size_t file) {
    m_taken[file] = true;
    const bool changed = m_texts.count(file) != 0;
    const File& known = m_joint.m_files[file];
    const std::string_view text = m_parts.files()[file].text;
    Frame frame;
    frame.file = file;
    frame.includes = changed ? m_joint.IncludesIn(file, text) : known.includes;
    if (m_what == What::kCounting) {
      frame.left_out = changed ? m_joint.LeftOutIn(file, text) : known.left_out;
    }
    m_open.push_back(std::move(frame));
  }

  // Goes on in the innermost file: up to the next file that comes into the text there, or to the
  // end.
  void Step() {
    Frame& frame = m_open.back();
    const std::string_view text = m_parts.files()[frame.file].text;
    for (; frame.include < frame.includes.size(); ++frame.include, frame.next = 0) {
      const OuterInclude& include = frame.includes[frame.include];
      while (frame.next < include.files.size()) {
        const std::size_t file = include.files[frame.next++];
        if (m_taken[file] || !m_joint.m_files[file].readable) continue;
        m_parts.NoteInclude(frame.file, include.begin);
        Copy(frame, BehindLine(m_joint.m_dialect, text, include.end));
        m_parts.EndLine();  // what comes next begins a line, as in a file of its own
        Push(file);
        return;
      }
    }
    Copy(frame, text.size());
    if (m_open.size() > 1) m_parts.EndLine();
    m_open.pop_back();
  }

  void Copy(Frame& frame, std::size_t end) {
    for (; frame.left < frame.left_out.size(); ++frame.left) {
      const LeftOut& out = frame.left_out[frame.left];
      if (out.begin >= end) break;
      if (frame.at < out.begin) m_parts.Append(frame.file, frame.at, out.begin);
      frame.at = std::max<std::size_t>(frame.at, out.end);
    }
    if (end <= frame.at) return;
    m_parts.Append(frame.file, frame.at, end);
    frame.at = end;
  }

  const JointText& m_joint;
  Parts m_parts;
  const tov_edit::NewTexts& m_texts;
  const What m_what;
  std::vector<bool> m_taken;  // by files
  std::vector<Frame> m_open;
};

Parts JointText::Join(What what) const {
  return Join({}, what);
}

Parts JointText::Join(const tov_edit::NewTexts& texts, What what) const {
  return Joining(*this, texts, what).Run();
}

bool JointText::LeavesOut() const {
  return std::any_of(m_files.begin(), m_files.end(),
                     [](const File& file) { return !file.left_out.empty(); });
}

// What of a file does not count, found again in another text of it.
std::vector<LeftOut> JointText::LeftOutIn(std::size_t number, std::string_view text) const {
  const File& file = m_files[number];
  std::vector<LeftOut> found;
  if (file.left_out.empty()) return found;
  std::map<std::string_view, std::vector<bool>> known;  // by heads, whether each is left out
  const Document before(m_dialect, file.text);
  for (const Condition& each : ConditionsOf(before)) {
    known[each.head].push_back(IsIn(file.left_out, each.bytes.begin));
  }
  const Document document(m_dialect, text);
  const std::vector<Condition> conditions = ConditionsOf(document);
  std::map<std::string_view, std::size_t> counts;
  for (const Condition& each : conditions) ++counts[each.head];
  std::map<std::string_view, std::size_t> next;
  for (const Condition& each : conditions) {
    const std::vector<bool>& were = known[each.head];
    const std::size_t position = next[each.head]++;
    const bool all = std::find(were.begin(), were.end(), false) == were.end() && !were.empty();
    const bool is_left_out = all || (were.size() == counts[each.head] && were[position]);
    if (is_left_out && !IsIn(found, each.bytes.begin)) found.push_back(each.bytes);
  }
  return found;
}

// The includes of a file, found again in another text of it.
std::vector<JointText::OuterInclude> JointText::IncludesIn(std::size_t number,
                                                           std::string_view text) const {
  const File& file = m_files[number];
  std::vector<OuterInclude> found;
  if (file.includes.empty()) return found;
  const Document document(m_dialect, text);
  const std::vector<bool> outer = OuterBlocks(document);
  auto next = file.includes.begin();
  document.Visit([&](const tov_document::Placed& placed) {
    const tov_document::Span bytes = placed.node.bytes;
    while (next != file.includes.end() && next->files.empty()) ++next;  // it may be gone
    if (placed.node.kind != tov_document::NodeKind::kDirective || !outer[placed.around] ||
        next == file.includes.end() ||
        document.Bytes(bytes) != file.text.substr(next->begin, next->end - next->begin)) {
      return;
    }
    found.push_back({next->number, bytes.begin, bytes.end, next->files});
    ++next;
  });
  return found;
}

}  // namespace tov_server
