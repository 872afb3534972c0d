// SPDX-License-Identifier: Apache-2.0

// Real configurations and damaged ones: the Document reads them as the real nginx does.
//
// The plain reader says how a text is read; the server confirms that (server_judge.h says how far),
// and the Document has to say the same, byte by byte. So every text is judged in full, the readable
// ones with all their words, the others with those before the error and the error itself. Not
// judged are texts with much Lua code in a piece: how far nginx's Lua module sees then depends on
// where its buffer ends.
#include "document/nginx/mutants.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "document/nginx/plain_reader.h"
#include "document/nginx/server_judge.h"
#include "document/nginx/sources.h"

namespace {

// CASES in the environment asks for as many mutants, and for others each time.
std::size_t Cases() {
  const char* const cases = std::getenv("CASES");
  return cases == nullptr ? 200 : std::stoul(cases);
}

std::mt19937 Random() {
  const std::uint32_t seed = std::getenv("CASES") == nullptr ? 1 : std::random_device()();
  std::cout << "seed " << seed << "\n";
  return std::mt19937(seed);
}

using nginx_judge::Event;
using nginx_judge::Reading;
using nginx_judge::What;

// The bytes of the longest Lua code.
std::size_t LongestLua(const std::string& text, const Reading& reading) {
  std::size_t longest = 0;
  for (std::size_t i = 0; i < reading.events.size(); ++i) {
    const Event& event = reading.events[i];
    if (event.what != What::kOpen) continue;
    if (event.words.front().value.find("_by_lua_block") == std::string::npos) continue;
    const std::size_t end =
        i + 1 < reading.events.size() ? reading.events[i + 1].begin : text.size();
    longest = std::max(longest, end - event.end);
  }
  return longest;
}

struct Named {
  std::string name;
  std::string text;
};

class Judge {
 public:
  void Ask(const Named& asked) {
    const Reading reading = nginx_judge::ReadPlainly(asked.text);
    if (LongestLua(asked.text, reading) >= kSeenByLua) {
      ++m_not_judged;
      return;
    }
    const tov_document::Document document(tov_document::Dialect::kNginx, asked.text);
    EXPECT_EQ(nginx_judge::Difference(document, reading), "") << Shown(asked);
    for (const Event& event : reading.events) m_words += event.words.size();
    if (reading.error) {
      ++m_errors[Describe(*reading.error)];
      AskServer(asked);
    } else {
      ++m_readable;
      AskServerLater(asked);
    }
  }

  // Has to come last.
  void Finish() {
    AskServerNow();
    std::cout << "not judged: " << m_not_judged << "\nreadable: " << m_readable << ", with "
              << m_words << " words before an error or the end\n";
    for (const auto& [error, count] : m_errors) std::cout << count << ": " << error << "\n";
  }

  std::size_t NotJudged() const { return m_not_judged; }
  std::size_t Words() const { return m_words; }
  std::size_t Readable() const { return m_readable; }
  const std::map<std::string, std::size_t>& Errors() const { return m_errors; }

 private:
  // The module has as much before it, whatever it has read.
  static constexpr std::size_t kSeenByLua = 2048;

  static std::string Shown(const Named& asked) {
    return asked.name + "\n" + nginx_judge::ShowText(asked.text);
  }

  void AskServer(const Named& asked) {
    const Reading reading = nginx_judge::ReadPlainly(asked.text);
    EXPECT_EQ(nginx_judge::ServerDifference(m_folder, asked.text, reading), "") << Shown(asked);
  }

  // Starting the server takes longer than reading, so several readable texts become one.
  void AskServerLater(const Named& asked) {
    const std::size_t enough = 20000;
    m_waiting.push_back(asked);
    m_joined += asked.text + "\n";
    if (m_joined.size() > enough) AskServerNow();
  }

  // One by one when they cannot be joined, or to find the one that is wrong.
  void AskServerNow() {
    const Reading reading = nginx_judge::ReadPlainly(m_joined);
    const std::string difference =
        reading.error ? "" : nginx_judge::ServerDifference(m_folder, m_joined, reading);
    EXPECT_EQ(difference, "");
    if (reading.error || !difference.empty()) {
      for (const Named& asked : m_waiting) AskServer(asked);
    }
    m_waiting.clear();
    m_joined.clear();
  }

  const ServerFolder m_folder{"nginx"};
  std::vector<Named> m_waiting;
  std::string m_joined;
  std::size_t m_not_judged = 0;
  std::size_t m_readable = 0;
  std::size_t m_words = 0;
  std::map<std::string, std::size_t> m_errors;
};

TEST(NginxSources, AreReadAsTheServerReadsThem) {
  const auto sources = nginx_judge::Sources();
  Judge judge;
  for (const auto& [name, text] : sources) judge.Ask({name, text});
  judge.Finish();
  EXPECT_EQ(judge.NotJudged(), 0U);
  EXPECT_GT(judge.Readable(), sources.size() * 9 / 10);
  EXPECT_GT(judge.Words(), 10 * sources.size());
}

TEST(NginxMutants, AreReadAsTheServerReadsThem) {
  const auto sources = nginx_judge::Sources();
  const std::vector<std::pair<std::string, std::string>> texts(sources.begin(), sources.end());
  std::mt19937 random = Random();
  Judge judge;
  for (std::size_t i = 0; i < Cases(); ++i) {
    const auto& [name, text] = texts[random() % texts.size()];
    judge.Ask({"mutant " + std::to_string(i) + " of " + name, nginx_judge::Mutant(text, random)});
  }
  judge.Finish();
  EXPECT_LT(judge.NotJudged(), Cases() / 20);
  EXPECT_GT(judge.Readable(), Cases() / 5);
  EXPECT_LT(judge.Readable(), Cases() * 4 / 5);
  EXPECT_GT(judge.Errors().size(), 5U) << "of several kinds";
}

}  // namespace
