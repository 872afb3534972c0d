// SPDX-License-Identifier: Apache-2.0

// Edits that a real server is asked about.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "server/live_server.h"
#include "template/value.h"

// One value of an edit.
struct NamedValue {
  std::string name;
  tov_template::Value old_value;
  tov_template::Value new_value;
};

// One edit of site.conf.
struct Edit {
  std::string site_template;
  std::vector<NamedValue> values;
};

// What a client asks, again after each edit.
struct Question {
  std::string url;
  std::vector<std::string> answers;  // as HttpResponse::Summary: before the edits, after each
  std::string trusted = {};          // see LiveServer::Get
};

// What happens to a site in a row of edits. In all texts stand the placeholders of LiveServer.
struct Story {
  std::string name;  // of the test
  std::string config;
  std::vector<Edit> edits;
  std::vector<Question> questions;
};

// For GoogleTest, which shows a test's parameter.
inline std::ostream& operator<<(std::ostream& stream, const Story& story) {
  return stream << story.name;
}

inline std::string StoryName(const testing::TestParamInfo<Story>& info) {
  return info.param.name;
}

// Whether the story plays on IPv6.
bool NeedsIpv6(const Story& story);

// Serves the story's configuration, edits it through the library while it is served, and asks the
// questions before and after each edit. http://neighbour.example:PORT_A/, another customer's site,
// has to answer the same throughout, also while the server reads an edit.
void Tell(const ServerKind& kind, const Story& story);
