// SPDX-License-Identifier: Apache-2.0

// Configuration texts as their servers read them. This folder knows the grammar of nginx and of
// Apache httpd, all of it, and of the meaning only what it takes to find a server's block
// (meaning.h). It changes nothing. Start here.
//
//   const std::string text = "http {\n  server { listen 80; }  # main\n}\n";
//   const Document document(Dialect::kNginx, text);
//   for (const Node& node : document.Nodes(1)) ...  // blank, block 2, blank, comment, blank
//   document.Words(node)                            // of a directive: its name, its arguments
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/dialect.h"

namespace tov_document {

// Bytes of the text: from `begin` up to, not including, `end`.
struct Span {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;

  std::size_t size() const { return end - begin; }
  bool empty() const { return begin == end; }
};

// A block, by its position in Document::blocks().
using BlockId = std::uint32_t;

// The whole text, which counts as a block without head and closing.
inline constexpr BlockId kWholeText = 0;

enum class NodeKind : std::uint8_t {
  // A name with its arguments, and what ends it: nginx's ";". Apache's ends with the last byte of
  // its (continued) line that is not blank.
  kDirective,

  // From the first byte of its head to the last one of its closing.
  kBlock,

  // Without its line end. Of nginx one that stands between directives: inside of a directive it
  // belongs to that. Of Apache a whole line, with the lines that continue it.
  kComment,

  // What stands between other nodes: blanks, line ends, and Apache's backslashes that continue
  // blank lines.
  kBlank,

  // What is not read: code in another language (nginx's *_by_lua_block, Apache's <Perl>), the
  // body of an Apache <Macro> in which sections do not nest, and all that follows an error.
  kOpaque
};

struct Node {
  NodeKind kind = NodeKind::kBlank;
  Span bytes;
  BlockId block = kWholeText;  // which one it is: for kBlock only
};

// A node, and where it stands.
struct Placed {
  Node node;
  BlockId around = kWholeText;  // the block that it stands in
  std::size_t depth = 0;        // how many blocks are around it
};

// Is called for one node after the other.
using NodeVisitor = std::function<void(const Placed&)>;

// How the inside of a block is read.
enum class Body : std::uint8_t {
  kDirectives,  // directives and blocks
  kValues,      // directives only: nginx's map, geo, types, split_clients, charset_map
  kOpaque       // not at all: one kOpaque node, or none where there are no bytes
};

struct Block {
  // The opening words with what opens the block: "location / {". Of Apache the whole line, with
  // what httpd ignores behind the ">".
  Span head;

  // "}"; of Apache the whole line, "</Location>". Empty, at the end of the text, for a block that
  // does not close.
  Span closing;

  BlockId parent = kWholeText;  // the block around it

  // The first block, in the order of the text, that stands behind this one. The blocks between
  // the two are those inside this one.
  BlockId next = kWholeText;

  // How many of Document::marks() stand before it.
  std::uint32_t marks_before = 0;

  Body reading = Body::kDirectives;

  // All between head and closing.
  Span body() const { return {head.end, closing.begin}; }
};

// A word of a directive or of a block's head.
struct Word {
  Span bytes;              // as written, with its quotes
  Span inner;              // the same without the quotes; of a section's name without "<" and ">"
  char quote = '\0';       // '"' or '\''; '\0': none
  bool as_written = true;  // `inner` is its value, byte for byte
};

enum class Problem : std::uint8_t {
  // nginx
  kNoDirective,        // a ";" or "{" that no word precedes
  kBraceInDirective,   // a "}" among the words of a directive
  kBraceInValues,      // a block inside of a block that takes values only
  kTextBehindQuote,    // a quoted word that another character follows at once
  kUnterminatedQuote,  // the text ends within quotes
  kNoSemicolon,        // the text ends within a directive
  kTooLong,            // a word or a comment of more than nginx's 4,096 bytes
  kUnclosedCode,       // the text ends within Lua code, or within a macro or another raw section

  // Apache
  kNoBracket,          // a section's opening or closing line without its ">"
  kOtherClosing,       // a closing line of another section than the innermost open one
  kTextBehindClosing,  // text behind "</IfModule>" or the like, which httpd then does not see
  kNulByte,            // httpd does not read what follows it on the line

  // both
  kExtraClosing,  // nothing is open that this would close
  kUnclosedBlock  // the text ends within a block
};

// What a server does not take.
struct SyntaxError {
  Problem problem = Problem::kNoDirective;

  // Where it shows. For what does not end: where that begins.
  std::uint32_t at = 0;

  // Where the innermost block that was open then begins; none: none was. For kUnclosedBlock that
  // block is the one that does not close.
  std::optional<std::uint32_t> opened;
};

// A directive that says which server its block is.
struct Mark {
  Span directive;
  BlockId block = kWholeText;  // the innermost block around it
  bool names = true;           // it states names; false: an address
};

// Whether a Document notes them. They are up to a third of its memory, for who looks for servers.
enum class Marks : std::uint8_t { kNoted, kLeftOut };

// A text, read. It refers to the text, which has to outlive it unchanged. Everything after the
// constructor only looks, and may be called by several threads at a time.
//
// The nodes of a block, in their order, are the bytes of its body, and the nodes of kWholeText are
// the text, whatever the text is: a text that its server would not take is read as far as it goes,
// and the rest is one kOpaque node of the innermost block that is open there.
//
// What Apache reads only if a condition holds (<IfModule> and the like) is read as if it did. Of
// Lua code nginx refuses some texts and comments of 2 KiB and more, depending on where its buffer
// ends: here they are taken.
class Document {
 public:
  // Throws std::length_error for a text of 4 GiB or more. Cost: one pass over the text; memory for
  // its blocks, and for the directives that identify them.
  Document(Dialect dialect, std::string_view text);
  Document(Dialect dialect, std::string_view text, Marks marks);

  Dialect dialect() const { return m_dialect; }
  std::string_view text() const { return m_text; }

  // The first thing that the server would not take; none: it reads the whole text.
  const std::optional<SyntaxError>& error() const { return m_error; }

  // All blocks, in the order in which they open; kWholeText first.
  const std::vector<Block>& blocks() const { return m_blocks; }

  // What stands in a block, which has to be one of blocks(); no nodes for an empty body. Cost:
  // linear in its body, but for the blocks inside, which cost nothing.
  std::vector<Node> Nodes(BlockId block) const;

  // Tells `visit` of all nodes but blanks, in the order of the text: of a block, then of what
  // stands in it. Cost: one pass over the text, and no memory, however deep its blocks are.
  void Visit(const NodeVisitor& visit) const;

  // The directives of a block, not of those inside, that say which server it is: nginx's
  // server_name and listen, Apache's ServerName and ServerAlias. Cost: one step for each of them;
  // where blocks inside have some, a logarithmic one for each block that stands directly in it.
  std::vector<Mark> Identifying(BlockId block) const;

  // The same, each given to `use`.
  template <class Use>
  void ForEachIdentifying(BlockId block, const Use& use) const {
    const Span body = m_blocks[block].body();
    BlockId child = block + 1;
    auto mark = m_marks.begin() + m_blocks[block].marks_before;
    while (mark != m_marks.end() && mark->directive.begin < body.end) {
      if (mark->block == block) {
        use(*mark++);
        continue;
      }
      while (m_blocks[child].next <= mark->block) child = m_blocks[child].next;
      mark = std::lower_bound(
          mark, m_marks.end(), m_blocks[child].body().end,
          [](const Mark& each, std::uint32_t offset) { return each.directive.begin < offset; });
    }
  }

  // All of them, in the order of the text. None, here and above, where they are left out.
  const std::vector<Mark>& marks() const { return m_marks; }

  // The words of a directive, or of a block's head without what opens it ("{", "<", ">"): the name,
  // then the arguments. There is always a name, if an empty one. No words for other nodes.
  std::vector<Word> Words(const Node& node) const;
  std::vector<Word> Words(Span directive) const;
  std::vector<Word> HeadWords(BlockId block) const;

  // The same words, in the place of what was in `words`: for who looks at many directives, to keep
  // the memory.
  void ReadWords(Span directive, std::vector<Word>& words) const;

  // What the server makes of a word: without quotes, escapes and continued lines. Variables stay as
  // they are written.
  std::string Value(const Word& word) const;
  std::vector<std::string> Values(const std::vector<Word>& words) const;

  std::string_view Bytes(Span span) const { return m_text.substr(span.begin, span.size()); }

 private:
  template <class Scanner>
  friend class Reader;

  template <class Scanner>
  void AddNodes(BlockId block, std::vector<Node>& nodes) const;
  template <class Scanner>
  void VisitAll(const NodeVisitor& visit) const;

  // The end of what is read of a block.
  std::uint32_t ReadEnd(BlockId block) const {
    const Block& read = m_blocks[block];
    if (read.reading == Body::kOpaque) return read.body().begin;
    return std::clamp(m_read_end, read.body().begin, read.body().end);
  }

  Dialect m_dialect;
  std::string_view m_text;
  std::vector<Block> m_blocks;
  std::vector<Mark> m_marks;
  std::optional<SyntaxError> m_error;
  std::uint32_t m_read_end = 0;  // what follows could not be read
};

// A sentence without its end that says what is wrong, for people; places are left to the caller.
//
//   "the block that begins here does not close"
std::string Describe(const SyntaxError& error);

}  // namespace tov_document
