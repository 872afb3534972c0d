// SPDX-License-Identifier: Apache-2.0

// Texts that go to the server as they stand, with directives that it knows: which blocks take no
// blocks, and which hold Lua code, is a matter of their names.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "document/nginx/one_reading.h"
#include "document/nginx/plain_reader.h"
#include "document/nginx/server_messages.h"
#include "document/nginx/server_stop.h"

namespace {

using nginx_judge::ProblemOf;
using nginx_judge::Reading;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Problem;

struct Known {
  const char* name;
  const char* text;
  std::optional<Problem> problem;
};

const Known kKnown[] = {
    {"Map", "map $uri $a { default b; \"~c{2}\" d; }", std::nullopt},
    {"BareBraceInMap", "map $uri $a {\n ~c{2} d; }", Problem::kBraceInValues},
    {"BlockInMap", "map $uri $a {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInGeo", "geo $a {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInTypes", "types {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInSplitClients", "split_clients $uri $a {\n b {\n } }", Problem::kBraceInValues},
    {"BlockInCharsetMap", "charset_map a b {\n b {\n } }", Problem::kBraceInValues},
    {"BlocksInBlocks", "server { location / { limit_except GET { deny all; } } }", std::nullopt},
    {"HeadWithDollar", "server { location ~ \\.php$ { } location ~ /$ { } }", std::nullopt},
    {"HeadWithDollarBrace", "server { location ~ a${ { } }", std::nullopt},
    {"QuotedBlockName", "'server' { \"location\" / { 'root' /a; } }", std::nullopt},
    {"LuaBlocks",
     "init_by_lua_block { a = \"}\" }\nserver { location / {\n"
     "rewrite_by_lua_block { }  content_by_lua_block { -- }\n } }\n"
     "set_by_lua_block $b { return '}' }\nlog_by_lua_block { [[ } ]] } }",
     std::nullopt},
};

TEST(NginxKnownDirectives, TakeWhatTheServerTakes) {
  for (const Known& known : kKnown) {
    SCOPED_TRACE(known.name);
    const std::string text = "events {}\nhttp {\n" + std::string(known.text) + "\n}\n";
    const Reading reading = nginx_judge::ReadPlainly(text);
    EXPECT_EQ(ProblemOf(text), known.problem);
    EXPECT_EQ(nginx_judge::Difference(Document(Dialect::kNginx, text), reading), "");
    const std::string stop =
        nginx_judge::Stop(nginx_judge::MessagesAbout(nginx_judge::Folder(), text));
    const std::string file = nginx_judge::Folder().Path() + "/nginx.conf";
    EXPECT_EQ(reading.error ? nginx_judge::StopDifference(stop, file, text, *reading.error) : stop,
              "");
  }
}

}  // namespace
