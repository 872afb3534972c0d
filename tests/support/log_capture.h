// Collects the log's records while it lives.
#pragma once

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "template/framework/tov_log.h"

class LogCapture {
 public:
  struct Record {
    tov_log::Level level;
    std::string module;
    std::string channel;
    std::string text;
  };

  explicit LogCapture(tov_log::Level level = tov_log::kDebug) {
    tov_log::SetHandler([this](tov_log::Level record_level, const std::string& module,
                               const std::string& channel, const std::string& text) {
      m_records.push_back({record_level, module, channel, text});
    });
    tov_log::SetLevel(level);
  }
  ~LogCapture() {
    tov_log::SetLevel(tov_log::kOff);
    tov_log::SetHandler(nullptr);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<Record>& Records() const { return m_records; }

  // The texts of the records, without the place in the source with which those of the engine begin
  // ("template.cpp:123 ").
  std::vector<std::string> Messages() const {
    static const std::regex place("^template\\.cpp:[0-9]+ ");
    std::vector<std::string> messages;
    for (const Record& record : m_records) {
      messages.push_back(std::regex_replace(record.text, place, ""));
    }
    return messages;
  }

 private:
  std::vector<Record> m_records;
};
