// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/server_judge.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "document/nginx/server_messages.h"

namespace nginx_judge {

namespace {

using tov_document::Problem;
using tov_document::SyntaxError;

// nginx cuts its messages here, before it says where.
constexpr std::size_t kLongestMessage = 1024;

std::size_t LineOf(std::string_view text, std::size_t pos) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(pos, text.size()));
  return 1 + static_cast<std::size_t>(std::count(text.begin(), end, '\n'));
}

std::string Somewhere(const std::string& file, std::size_t line) {
  return " in " + file + ":" + std::to_string(line);
}

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

// With what follows the events.
std::string Structure(std::string_view text, const Reading& reading) {
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

// The first word in front of the words of the event `number`.
std::string Label(const Event& event, std::size_t number) {
  return (event.what == What::kOpen ? "o" : "d") + std::to_string(number);
}

// Without what follows the events.
std::string Words(std::string_view text, const Reading& reading) {
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

std::string Lower(std::string value) {
  for (char& c : value) {
    if ('A' <= c && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return value;
}

// What the server has to warn of: words that it knows already.
std::vector<std::string> Duplicates(std::string_view text, const Reading& reading,
                                    const std::vector<std::string>& files) {
  std::map<std::string, std::string> label_of;
  std::vector<std::string> messages;
  for (const std::string& file : files) {
    for (std::size_t i = 0; i < reading.events.size(); ++i) {
      const Event& event = reading.events[i];
      for (const ReadWord& word : event.words) {
        const std::string value = Lower(word.value);
        const std::string label = Label(event, i);
        std::string& before = label_of[value.c_str()];  // nginx, too, compares up to a NUL
        if (!before.empty()) {
          const std::string message = "duplicate extension \"" + value + "\", content type: \"" +
                                      label + "\", previous content type: \"" + before + "\"";
          messages.push_back(message.substr(0, kLongestMessage) +
                             Somewhere(file, LineOf(text, event.end)));
        }
        before = label;
      }
    }
  }
  return messages;
}

// A head with a "$". Only behind that a "{" may be one of the word, which the two forms would not
// show: so the server reads this one as it stands.
std::optional<Event> HeadWithVariable(std::string_view text, const Reading& reading) {
  for (const Event& event : reading.events) {
    if (event.what != What::kOpen) continue;
    const std::string_view head = text.substr(event.begin, event.end - event.begin);
    if (head.find('$') != std::string_view::npos) return event;
  }
  return std::nullopt;
}

// The message for an error that shows at a byte, or at the end of the text; "": it has no fixed
// one.
std::string UnexpectedOf(std::string_view text, const SyntaxError& error) {
  switch (error.problem) {
    case Problem::kNoDirective:
    case Problem::kBraceInDirective:
    case Problem::kBraceInValues:
    case Problem::kTextBehindQuote:
    case Problem::kExtraClosing:
      return "unexpected \"" + std::string(text.substr(error.at, 1)) + "\"";
    case Problem::kUnterminatedQuote:
    case Problem::kNoSemicolon:
      return "unexpected end of file, expecting \";\" or \"}\"";
    case Problem::kUnclosedBlock:
      return "unexpected end of file, expecting \"}\"";
    default:
      return "";
  }
}

bool ShowsAtEnd(Problem problem) {
  return problem == Problem::kUnterminatedQuote || problem == Problem::kNoSemicolon ||
         problem == Problem::kUnclosedBlock;
}

bool Begins(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

bool Ends(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool IsStopAt(const std::string& message, const std::string& file, std::string_view text,
              const SyntaxError& error) {
  const std::size_t pos = ShowsAtEnd(error.problem) ? text.size() : error.at;
  const std::string place = Somewhere(file, LineOf(text, pos));
  switch (error.problem) {
    case Problem::kTooLong:
      return Begins(message, "too long parameter") && Ends(message, place);
    case Problem::kUnclosedCode:
      // The module names several lines, none of which is that of the block's head for certain.
      return Begins(message, "Lua code block missing the closing long bracket") ||
             Begins(message, "unexpected end of file, expecting terminating characters for lua");
    default:
      return message == UnexpectedOf(text, error) + place;
  }
}

std::string WordsDifference(const std::vector<ServerMessage>& messages,
                            const std::vector<std::string>& expected) {
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const std::string message = i < messages.size() ? messages[i].text : "nothing";
    if (message != expected[i]) return "nginx says\n" + message + "\ninstead of\n" + expected[i];
  }
  return "";
}

}  // namespace

std::string StopDifference(const std::string& message, const std::string& file,
                           std::string_view text, const SyntaxError& error) {
  if (IsStopAt(message, file, text, error)) return "";
  return "nginx stops at\n" + message + "\ninstead of line " +
         std::to_string(LineOf(text, error.at)) + ": " + Describe(error);
}

std::string ServerDifference(const ServerFolder& folder, std::string_view text,
                             const Reading& reading) {
  const std::string words = Words(text, reading);
  folder.Write("words.conf", words);
  folder.Write("again.conf", words);
  folder.Write("structure.conf", Structure(text, reading));
  const std::optional<Event> head = HeadWithVariable(text, reading);
  const std::string_view probe =
      head ? text.substr(head->begin, head->end - head->begin) : std::string_view("head {");
  folder.Write("head.conf", std::string(probe));
  const std::vector<ServerMessage> messages = MessagesAbout(folder,
                                                            "events {}\n"
                                                            "http { server { location ~ x {\n"
                                                            "types { include words.conf;\n"
                                                            "include again.conf; }\n"
                                                            "include structure.conf;\n"
                                                            "types { include head.conf; } } } }\n");
  const std::string place = folder.Path() + "/";
  const std::string difference = WordsDifference(
      messages, Duplicates(text, reading, {place + "words.conf", place + "again.conf"}));
  if (!difference.empty()) return difference;
  if (reading.error) {
    return StopDifference(Stop(messages), place + "structure.conf", text, *reading.error);
  }
  // That the server stops there says that it has read the text.
  return StopDifference(
      Stop(messages), place + "head.conf", probe,
      {Problem::kBraceInValues, static_cast<std::uint32_t>(probe.size() - 1), std::nullopt});
}

}  // namespace nginx_judge
