// SPDX-License-Identifier: Apache-2.0

// What comes of the attempts, read by the real servers: they have to read the same directives and
// blocks in it as the judge does.

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "document/apache/httpd.h"
#include "document/nginx/plain_reader.h"
#include "document/nginx/server_judge.h"
#include "edit/attack/attempt.h"
#include "edit/attack/trial.h"
#include "server/server_folder.h"

namespace attack {
namespace {

std::size_t FromEnvironment(const char* name, std::size_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr || *text == '\0' ? otherwise : std::strtoul(text, nullptr, 10);
}

// A hundredth of the attempts, if that many edits are made.
struct Sample {
  std::vector<std::string> texts;
  std::vector<std::string> shown;
};

Sample SampleOf(Dialect dialect) {
  const std::size_t cases = FromEnvironment("CASES", 6000);
  const std::size_t first = FromEnvironment("SEED", 1);
  std::cout << "  SEED=" << first << " CASES=" << cases << "\n";
  Sample sample;
  for (std::size_t number = first; sample.texts.size() < cases / 100 && number < first + cases;
       ++number) {
    const Attempt attempt = MakeAttempt(number);
    if (attempt.dialect != dialect || attempt.harmless) continue;
    const Tried tried = Try(attempt, number % 2 == 0);
    if (tried.refused || tried.text == attempt.config) continue;
    sample.texts.push_back(tried.text);
    sample.shown.push_back("SEED=" + std::to_string(number) + "\n" + Shown(attempt) +
                           "--- result:\n" + tried.text);
  }
  return sample;
}

TEST(AttackedServers, NginxReadsWhatTheJudgeReads) {
  const ServerFolder folder("attack");
  const Sample sample = SampleOf(Dialect::kNginx);
  ASSERT_FALSE(sample.texts.empty());
  for (std::size_t i = 0; i < sample.texts.size(); ++i) {
    const std::string& text = sample.texts.at(i);
    EXPECT_EQ(nginx_judge::ServerDifference(folder, text, nginx_judge::ReadPlainly(text)), "")
        << sample.shown.at(i);
  }
}

TEST(AttackedServers, HttpdReadsWhatTheJudgeReads) {
  const Sample sample = SampleOf(Dialect::kApache);
  ASSERT_FALSE(sample.texts.empty());
  const std::vector<Answer> answers = Httpd().Read(sample.texts);
  ASSERT_EQ(answers.size(), sample.texts.size());
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(answers.at(i).kind, Answer::Kind::kReads) << answers.at(i).message << "\n"
                                                        << sample.shown.at(i);
  }
}

}  // namespace
}  // namespace attack
