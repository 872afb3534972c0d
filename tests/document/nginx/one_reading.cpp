// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/one_reading.h"

#include <gtest/gtest.h>

#include "document/nginx/plain_reader.h"
#include "document/nginx/server_judge.h"

namespace nginx_judge {

using tov_document::Dialect;
using tov_document::Document;
using tov_document::Problem;

const ServerFolder& Folder() {
  static const ServerFolder folder("nginx");
  return folder;
}

std::optional<Problem> ProblemOf(const std::string& text) {
  const Reading reading = ReadPlainly(text);
  if (!reading.error) return std::nullopt;
  return reading.error->problem;
}

void ExpectOneReading(const std::string& text) {
  SCOPED_TRACE(ShowText(text));
  const Reading reading = ReadPlainly(text);
  EXPECT_EQ(ServerDifference(Folder(), text, reading), "");
  EXPECT_EQ(Difference(Document(Dialect::kNginx, text), reading), "");
}

}  // namespace nginx_judge
