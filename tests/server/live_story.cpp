// SPDX-License-Identifier: Apache-2.0

#include "server/live_story.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <set>
#include <thread>

#include "template/qeltemplate.h"

namespace {

const char* const kNeighbour = "http://neighbour.example:PORT_A/";

// Asks the neighbour's site again and again, from its making until it is asked for the answers.
class NeighbourWatch {
 public:
  explicit NeighbourWatch(const LiveServer& server)
      : m_server(server), m_thread([this] { Watch(); }) {}
  ~NeighbourWatch() { Stop(); }
  NeighbourWatch(const NeighbourWatch&) = delete;
  NeighbourWatch& operator=(const NeighbourWatch&) = delete;

  // The different answers so far, at least one.
  const std::set<std::string>& Answers() {
    Stop();
    return m_answers;
  }

 private:
  void Watch() {
    do {
      m_answers.insert(m_server.Get(kNeighbour).Whole());
      std::this_thread::sleep_for(std::chrono::milliseconds(2));  // leaves time for the server
    } while (!m_stop);
  }
  void Stop() {
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
  }

  const LiveServer& m_server;
  std::set<std::string> m_answers;
  std::atomic<bool> m_stop = false;
  std::thread m_thread;
};

std::string Edited(const LiveServer& server, const std::string& dialect, const std::string& config,
                   const Edit& edit) {
  const auto filled = [&](const tov_template::Value& value) -> tov_template::Value {
    if (value.IsNull()) return tov_template::NullValue();
    return server.Filled(value.Str());
  };
  tov_template::ParserTemplate parser(tov_template::GetConfigType(dialect, config));
  for (const NamedValue& value : edit.values) {
    parser.SetValue(value.name, filled(value.old_value), filled(value.new_value));
  }
  return parser.SetTemplate(server.Filled(edit.site_template)).ApplyTemplate().GetConfig();
}

// `when`: the number of edits so far.
void ExpectAnswers(const LiveServer& server, const Story& story, std::size_t when) {
  for (const Question& question : story.questions) {
    EXPECT_EQ(server.Get(question.url, question.trusted).Summary(),
              server.Filled(question.answers.at(when)))
        << question.url << " " << question.trusted;
  }
}

}  // namespace

bool NeedsIpv6(const Story& story) {
  return std::any_of(story.questions.begin(), story.questions.end(), [](const Question& question) {
    return question.url.find("PORT_6") != std::string::npos;
  });
}

void Tell(const ServerKind& kind, const Story& story) {
  LiveServer server(kind);
  std::string config = server.Filled(story.config);
  ASSERT_EQ(server.Serve(config), "");
  ExpectAnswers(server, story, 0);
  const HttpResponse neighbour = server.Get(kNeighbour);
  ASSERT_EQ(neighbour.Summary(), "200 neighbour");

  for (std::size_t i = 0; i < story.edits.size(); ++i) {
    config = Edited(server, kind.dialect, config, story.edits[i]);
    SCOPED_TRACE(config);
    NeighbourWatch watch(server);
    ASSERT_EQ(server.Serve(config), "");
    EXPECT_THAT(watch.Answers(), testing::ElementsAre(neighbour.Whole()));
    ExpectAnswers(server, story, i + 1);
  }
}
