// SPDX-License-Identifier: Apache-2.0

// What of a text it takes to follow a server through it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "document/document.h"

namespace tov_server {

// What a directive or a block is to the server.
enum class Role : std::uint8_t {
  // directives
  kInclude,
  kIncludeOptional,
  kDefine,
  kUnDefine,
  kLoadModule,
  kServerRoot,
  kName,  // the one that counts; a further one takes its place
  kNames,
  kListen,
  kRoot,
  kTls,
  kCertificate,
  kUse,
  kUndefMacro,

  // blocks
  kServer,
  kProtocol,     // nginx's "http", "stream" and "mail"
  kTransparent,  // what stands in it counts as if it stood around it
  kIfModule,
  kIfDefine,
  kIfVersion,
  kIfFile,
  kTable,   // of values, with includes
  kGeo,     // the same, without patterns in the names
  kUnread,  // no includes are followed
  kMacro,
  kOther
};

struct Step {
  enum class Kind : std::uint8_t { kDirective, kOpen, kClose };

  Kind kind = Kind::kDirective;
  Role role = Role::kOther;
  tov_document::Span bytes;  // of the directive or the head
  std::size_t close = 0;     // of kOpen: which step closes it
  std::uint32_t end = 0;     // of kOpen: where the block ends
  tov_document::Span body;   // of kOpen: what stands in it

  // As the server reads them, but with variables; the name first. Empty for kClose and kOther.
  std::vector<std::string> words;

  // For ServerReader.
  std::optional<std::size_t> include;
  bool held = false;    // of a condition: it has held
  bool failed = false;  // and it has not
};

// The steps of the text, in its order: the directives that have a role, and the blocks. Each block
// is closed. Cost: one pass over the text.
std::vector<Step> StepsOf(const tov_document::Document& document);

}  // namespace tov_server
