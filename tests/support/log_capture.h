// SPDX-License-Identifier: Apache-2.0

// Collects the log's records while it lives.
#pragma once

#include <string>
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
    std::vector<std::string> messages;
    for (const Record& record : m_records) messages.push_back(WithoutPlace(record.text));
    return messages;
  }

 private:
  static std::string WithoutPlace(const std::string& text) {
    const std::string file = "template.cpp:";
    const std::size_t end = text.find_first_not_of("0123456789", file.size());
    const bool has_place = text.compare(0, file.size(), file) == 0 && end != std::string::npos &&
                           end > file.size() && text[end] == ' ';
    return has_place ? text.substr(end + 1) : text;
  }

  std::vector<Record> m_records;
};
