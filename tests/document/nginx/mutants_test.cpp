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

class Judge {
 public:
  void Ask(const std::string& name, const std::string& text) {
    const Reading reading = nginx_judge::ReadPlainly(text);
    if (LongestLua(text, reading) >= kSeenByLua) {
      ++m_not_judged;
      return;
    }
    const tov_document::Document document(tov_document::Dialect::kNginx, text);
    EXPECT_EQ(nginx_judge::ServerDifference(m_folder, text, reading), "") << Shown(name, text);
    EXPECT_EQ(nginx_judge::Difference(document, reading), "") << Shown(name, text);
    EXPECT_EQ(nginx_judge::IdentifyingDifference(document), "") << Shown(name, text);
    if (!reading.error) {
      ++m_readable;
    } else {
      ++m_errors[Describe(*reading.error)];
    }
    for (const Event& event : reading.events) m_words += event.words.size();
  }

  std::size_t Readable() const { return m_readable; }
  std::size_t NotJudged() const { return m_not_judged; }
  std::size_t Words() const { return m_words; }
  const std::map<std::string, std::size_t>& Errors() const { return m_errors; }

  void Print() const {
    std::cout << "not judged: " << m_not_judged << "\nreadable: " << m_readable << ", with "
              << m_words << " words in all\n";
    for (const auto& [error, count] : m_errors) std::cout << count << ": " << error << "\n";
  }

 private:
  // The module has as much before it, whatever it has read.
  static constexpr std::size_t kSeenByLua = 2048;

  static std::string Shown(const std::string& name, const std::string& text) {
    return name + "\n" + nginx_judge::ShowText(text);
  }

  const ServerFolder m_folder{"nginx"};
  std::size_t m_not_judged = 0;
  std::size_t m_readable = 0;
  std::size_t m_words = 0;
  std::map<std::string, std::size_t> m_errors;
};

TEST(NginxSources, AreReadAsTheServerReadsThem) {
  const auto sources = nginx_judge::Sources();
  Judge judge;
  for (const auto& [name, text] : sources) judge.Ask(name, text);
  judge.Print();
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
    judge.Ask("mutant " + std::to_string(i) + " of " + name, nginx_judge::Mutant(text, random));
  }
  judge.Print();
  EXPECT_LT(judge.NotJudged(), Cases() / 20);
  EXPECT_GT(judge.Readable(), Cases() / 5);
  EXPECT_LT(judge.Readable(), Cases() * 4 / 5);
  EXPECT_GT(judge.Errors().size(), 5U) << "of several kinds";
}

}  // namespace
