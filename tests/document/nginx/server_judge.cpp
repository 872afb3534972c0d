// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/server_judge.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "document/nginx/server_forms.h"
#include "document/nginx/server_messages.h"
#include "document/nginx/server_stop.h"

namespace nginx_judge {

namespace {

using tov_document::Problem;

// nginx cuts its messages here, before it says where.
constexpr std::size_t kLongestMessage = 1024;

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

// The first head whose "{" would be one of its last word if the reading were wrong about a "$" in
// front of it. The two forms would not show that, so the server reads this head as it stands.
std::optional<Event> HeadInDoubt(std::string_view text, const Reading& reading) {
  for (const Event& event : reading.events) {
    if (event.what != What::kOpen) continue;
    const char before = text[event.end - 2];
    if (before == '$' || before == '{') return event;
  }
  return std::nullopt;
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

std::string ServerDifference(const ServerFolder& folder, std::string_view text,
                             const Reading& reading) {
  const std::string words = WordsForm(text, reading);
  folder.Write("words.conf", words);
  folder.Write("again.conf", words);
  folder.Write("structure.conf", StructureForm(text, reading));
  const std::optional<Event> head = HeadInDoubt(text, reading);
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
