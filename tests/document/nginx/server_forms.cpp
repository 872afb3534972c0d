// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/server_forms.h"

#include <utility>
#include <vector>

namespace nginx_judge {

namespace {

// What kind of block a head opens, for the server.
enum class Inside { kDirectives, kValues, kLua };

Inside InsideOf(const Event& open) {
  const std::string& name = open.words.front().value;
  for (const char* const values : {"map", "geo", "types", "split_clients", "charset_map"}) {
    if (name == values) return Inside::kValues;
  }
  const std::string lua = "_by_lua_block";
  const bool is_lua = name.size() > lua.size() && name.substr(name.size() - lua.size()) == lua;
  return is_lua ? Inside::kLua : Inside::kDirectives;
}

// The text with changes at its events.
class Rewriter {
 public:
  explicit Rewriter(std::string_view text) : m_text(text) {}

  void CopyTo(std::size_t pos) {
    m_result += m_text.substr(m_pos, pos - m_pos);
    m_pos = pos;
  }
  void Insert(std::string_view bytes) { m_result += bytes; }
  void Skip() { ++m_pos; }

  // Blanks instead of the bytes, but for line ends.
  void BlankTo(std::size_t pos) {
    for (; m_pos < pos; ++m_pos) m_result += m_text[m_pos] == '\n' ? '\n' : ' ';
  }

  std::string Take() { return std::move(m_result); }

 private:
  const std::string_view m_text;
  std::size_t m_pos = 0;
  std::string m_result;
};

const char* OpeningOf(Inside inside) {
  switch (inside) {
    case Inside::kValues:
      return ";types{";
    case Inside::kLua:
      return ";location ~ x{content_by_lua_block { ";
    case Inside::kDirectives:
      break;
  }
  return ";location ~ x{";
}

}  // namespace

std::string StructureForm(std::string_view text, const Reading& reading) {
  Rewriter rewriter(text);
  std::vector<Inside> open{Inside::kDirectives};
  for (const Event& event : reading.events) {
    if (event.what == What::kComment) continue;
    if (event.what == What::kClose) {
      rewriter.CopyTo(event.end);
      if (open.back() == Inside::kLua) rewriter.Insert("}");
      open.pop_back();
      continue;
    }
    rewriter.CopyTo(event.begin);
    rewriter.Insert(open.back() == Inside::kValues ? "x " : "gzip_types ");
    if (event.what == What::kDirective) {
      rewriter.CopyTo(event.end);
      continue;
    }
    rewriter.CopyTo(event.end - 1);
    rewriter.Skip();
    open.push_back(InsideOf(event));
    rewriter.Insert(OpeningOf(open.back()));
  }
  rewriter.CopyTo(text.size());
  return rewriter.Take();
}

std::string Label(const Event& event, std::size_t number) {
  return (event.what == What::kOpen ? "o" : "d") + std::to_string(number);
}

std::string WordsForm(std::string_view text, const Reading& reading) {
  Rewriter rewriter(text);
  bool in_lua = false;
  for (std::size_t i = 0; i < reading.events.size(); ++i) {
    const Event& event = reading.events[i];
    if (in_lua) rewriter.BlankTo(event.begin);
    rewriter.CopyTo(event.begin);
    in_lua = event.what == What::kOpen && InsideOf(event) == Inside::kLua;
    switch (event.what) {
      case What::kClose:
        rewriter.BlankTo(event.end);
        break;
      case What::kComment:
        rewriter.CopyTo(event.end);
        break;
      case What::kDirective:
        rewriter.Insert(Label(event, i) + " ");
        rewriter.CopyTo(event.end);
        break;
      case What::kOpen:
        rewriter.Insert(Label(event, i) + " ");
        rewriter.CopyTo(event.end - 1);
        rewriter.Insert(";");
        rewriter.Skip();
        break;
    }
  }
  return rewriter.Take();
}

}  // namespace nginx_judge
