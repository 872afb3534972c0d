// SPDX-License-Identifier: Apache-2.0

// Real configurations, and whether python3-certbot-nginx's parser finds the same directives in
// them, with the same words, in the same order and nesting.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "document/nginx/reading.h"
#include "document/nginx/sources.h"
#include "server/server_folder.h"

namespace {

using nginx_judge::Event;
using nginx_judge::What;
using nlohmann::json;
using tov_document::Dialect;
using tov_document::Document;

// For each text, in the order of their names, what the script beside this file says.
json CertbotReadings(const std::map<std::string, std::string>& texts) {
  const ServerFolder folder("certbot");
  std::string command = "/usr/bin/python3 " QELTEMPLATE_TESTS_DIR "/document/nginx/certbot_tree.py";
  std::size_t number = 0;
  for (const auto& [name, text] : texts) {
    const std::string file = std::to_string(number++) + ".conf";
    folder.Write(file, text);
    command += " " + folder.Path() + "/" + file;
  }
  std::string output;
  EXPECT_TRUE(folder.Run(command, output)) << output;
  return json::parse(output);
}

json DocumentReading(const Document& document) {
  const std::map<What, std::string> names = {{What::kOpen, "open"},
                                             {What::kDirective, "directive"},
                                             {What::kClose, "close"},
                                             {What::kComment, "comment"}};
  json reading = json::array();
  for (const Event& event : nginx_judge::ReadingOf(document).events) {
    json entry = {names.at(event.what)};
    for (const auto& word : event.words) {
      entry.push_back(document.text().substr(word.begin, word.end - word.begin));
    }
    if (event.what == What::kComment) {
      entry.push_back(document.text().substr(event.begin, event.end - event.begin));
    }
    reading.push_back(entry);
  }
  return reading;
}

// What certbot's parser reads differently, and nginx as the Document does: corners_test.cpp
// asks it about each reason, and mutants_test.cpp about each file.
struct Apart {
  const char* file;
  const char* ours;    // an entry; "": it does not take the file at all
  const char* theirs;  // the entries that it has instead
};

const Apart kApart[] = {
    // nginx begins a new word with the ")" behind a quoted one.
    {"corpus/certbot__owncloud_sites-available_www.example.com.vhost",
     R"-(["open","if","($http_host","!=","\"www.example.com\"",")"])-",
     R"-([["open","if","($http_host","!=","\"www.example.com\")"]])-"},
    {"corpus/certbot__processwire_sites-available_www.example.com.vhost",
     R"-(["open","if","($http_host","!=","\"www.example.com\"",")"])-",
     R"-([["open","if","($http_host","!=","\"www.example.com\")"]])-"},
    {"nginx/beside/location/nested_if_and_location",
     R"-(["open","if","($id","~","\"^0{2}\"",")"])-",
     R"-([["open","if","($id","~","\"^0{2}\")"]])-"},
    {"nginx/beside/server/if_blocks",
     R"-(["open","if","($http_user_agent","~*","\"(bot|crawl){1,2}|\\}\\{\"",")"])-",
     R"-([["open","if","($http_user_agent","~*","\"(bot|crawl){1,2}|\\}\\{\")"]])-"},
    {"nginx/beside/server/if_blocks", R"-(["open","if","($args","~","\"a=b\"",")"])-",
     R"-([["open","if","($args","~","\"a=b\")"]])-"},
    {"nginx/beside/server/rewrite_chain", R"-(["open","if","($rest","=","\"\"",")"])-",
     R"-([["open","if","($rest","=","\"\")"]])-"},

    // A comment among the words of a directive is none of its words.
    {"corpus/nginx-go-crossplane__testdata_configs_comments-between-args_nginx.conf",
     R"-(["directive","log_format","\\#arg\\ 1","'#arg 2'"])-",
     R"-([["directive","log_format","#comment","2","\\#arg\\","1","#comment","3","'#arg 2'",
         "#comment","4","#comment","5"]])-"},
    {"nginx/beside/http/log_format_over_lines",
     R"-(["directive","log_format","detailed","'$remote_addr - $remote_user [$time_local] '",
         "'\"$request\" $status { $body_bytes_sent } '","'\"$http_referer\"'",
         "'\"$http_user_agent\"'"])-",
     R"-([["directive","log_format","detailed","'$remote_addr - $remote_user [$time_local] '",
          "'\"$request\" $status { $body_bytes_sent } '","'\"$http_referer\"'",
          "#"," ","who"," ","sent"," ","them","\n                    ",
          "'\"$http_user_agent\"'"]])-"},
    {"nginx/beside/server/comments_everywhere", R"-(["directive","gzip","on"])-",
     R"-([["directive","gzip","#"," ","a"," ","comment","\n\t\t","on"]])-"},
    {"nginx/beside/http/directive_over_many_lines", "", ""},

    // A backslash takes the byte behind it into the word, whatever that is.
    {"nginx/beside/http/map_with_regexes",
     R"-(["directive","/quoted\\ blank","\"a \\\"quoted\\\" word\""])-",
     R"-([["directive","/quoted\\","blank","\"a \\\"quoted\\\" word\""]])-"},
    {"nginx/beside/server/escaped_quotes", R"-(["directive","set","$bare","a\\ b\\;c"])-",
     R"-([["directive","set","$bare","a\\","b\\"],["directive","c"]])-"},
    {"corpus/crossplane__tests_configs_messy_nginx.conf", "", ""},
};

std::vector<Apart> ApartIn(const std::string& file) {
  std::vector<Apart> apart;
  for (const Apart& one : kApart) {
    if (one.file == file) apart.push_back(one);
  }
  return apart;
}

// Our entries with theirs where they are apart as the table says. Each line of the table has to be
// of use.
json WithApart(const json& ours, const std::vector<Apart>& table) {
  std::vector<bool> used(table.size(), false);
  json entries = json::array();
  for (const json& entry : ours) {
    std::size_t i = 0;
    while (i < table.size() && json::parse(table[i].ours) != entry) ++i;
    if (i == table.size()) {
      entries.push_back(entry);
      continue;
    }
    used[i] = true;
    for (const json& theirs : json::parse(table[i].theirs)) entries.push_back(theirs);
  }
  for (std::size_t i = 0; i < table.size(); ++i) EXPECT_TRUE(used[i]) << table[i].ours;
  return entries;
}

bool HasLua(const json& entries) {
  const std::string ending = "_by_lua_block\"";
  for (const json& entry : entries) {
    if (entry[0] == "open" && entry[1].dump().find(ending) != std::string::npos) return true;
  }
  return false;
}

void Compare(const std::string& file, const json& ours, const json& theirs) {
  SCOPED_TRACE(file);
  const std::vector<Apart> apart = ApartIn(file);
  if (!theirs.is_string()) {
    const json expected = WithApart(ours, apart);
    for (std::size_t i = 0; i < std::max(theirs.size(), expected.size()); ++i) {
      ASSERT_LT(i, theirs.size()) << expected[i];
      ASSERT_LT(i, expected.size()) << theirs[i];
      ASSERT_EQ(theirs[i], expected[i]);
    }
  } else if (HasLua(ours)) {
    EXPECT_EQ(theirs, "UnsupportedDirectiveException");
  } else {
    EXPECT_EQ(theirs, "ParseException");
    EXPECT_TRUE(apart.size() == 1 && apart[0].ours == std::string()) << "not explained";
  }
}

// Texts that nginx itself does not take are left out; which those are is judged by nginx.
TEST(Certbot, FindsTheSameDirectives) {
  const auto sources = nginx_judge::Sources();
  const json readings = CertbotReadings(sources);
  ASSERT_EQ(readings.size(), sources.size());
  std::size_t number = 0;
  std::size_t compared = 0;
  for (const auto& [name, text] : sources) {
    const json& theirs = readings[number++];
    const Document document(Dialect::kNginx, text);
    if (document.error()) continue;
    Compare(name, DocumentReading(document), theirs);
    if (!theirs.is_string()) ++compared;
  }
  EXPECT_GT(compared, sources.size() * 9 / 10);
}

}  // namespace
