// SPDX-License-Identifier: Apache-2.0

// What of a directive's meaning it takes to find a server's block.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "document/document.h"

namespace tov_document {

// Whether two names of directives or sections are one: Apache does not look at case.
bool SameName(Dialect dialect, std::string_view a, std::string_view b);

// Whether blocks of this name are servers: nginx's "server", Apache's "VirtualHost".
bool IsServer(Dialect dialect, std::string_view name);

// Whether a block is a server's. Cost: a look at its first bytes, as a rule.
bool IsServerBlock(const Document& document, BlockId block);

// Whether blocks of this name only say on what condition their directives count: Apache's
// "IfModule", "IfDefine", "IfVersion", "IfFile", "IfDirective", "IfSection".
bool IsCondition(Dialect dialect, std::string_view name);

// Whether blocks of this name only stand around servers: conditions, and nginx's "http", "stream"
// and "mail".
bool IsAroundServers(Dialect dialect, std::string_view name);

// The conditions through which one looks into a block: those in it, and those in these, in the
// order of the text. What stands in them counts as the block's own when they hold.
std::vector<BlockId> ConditionsIn(const Document& document, BlockId block);

// An address on which a server listens, in its normal form: two that are written differently and
// are one to the server give the same text. Options ("ssl", "default_server") are no part of it.
//
//   nginx     80, *:80, 0.0.0.0:80      "*:80"
//             127.0.0.1                 "127.0.0.1:80"
//             [0::1]:8080               "[::1]:8080"
//             unix:/run/a.sock          "unix:/run/a.sock"
//             [::]:80                   "[::]:80", which is another socket
//   Apache    *:80, _default_:80        "*:80", as are 0.0.0.0:80 and [::]:80: any address
//             *                         "*:*"
//             127.1:80                  "127.0.0.1:80", as is [::ffff:127.0.0.1]:80
//             www.example               "www.example:*"
std::string NormalAddress(Dialect dialect, std::string_view written);

// The address of nginx's "listen" with these words, the name first, in its normal form: that of the
// second word, if there is one. What comes without connections has a socket of its own, so that two
// servers, or one, may have both:
//
//   listen 443 ssl                    "*:443"
//   listen 443 quic, listen 443 udp   "*:443/udp"
std::string ListenAddress(const std::vector<std::string>& words);

// The option in the words of a "listen" that makes it one without connections; none: "".
std::string TransportIn(const std::vector<std::string>& words);

// A name of a server in its normal form: lower case, but for nginx's regular expressions; Apache's
// without scheme and port.
std::string NormalName(Dialect dialect, std::string_view written);

// The names that a block has, in normal form: the words of nginx's server_name, of Apache's
// ServerName and ServerAlias, its own before those in conditions. Other blocks inside do not count.
// Empty: none.
std::vector<std::string> ServerNames(const Document& document, BlockId block);

// The addresses that a block states, in normal form, in the order of the text: those of nginx's
// "listen" directives (see ListenAddress), the arguments of Apache's <VirtualHost>. Empty: none.
std::vector<std::string> ServerAddresses(const Document& document, BlockId block);

// Reads the names and the addresses of one server after another, as ServerNames and ServerAddresses
// have them, into memory that is used again. Where there is none, nothing is called. Used by one
// thread at a time.
class Identities {
 public:
  // Is called for one name, or one address, after the other. The text is there for that call only.
  using Use = std::function<void(std::string_view)>;

  // `document` must outlive it.
  explicit Identities(const Document& document) : m_document(document) {}

  void ForEachName(BlockId block, const Use& use);

  // Of these those of Apache's ServerAlias, which alone may have wildcards.
  void ForEachAlias(BlockId block, const Use& use);

  void ForEachAddress(BlockId block, const Use& use);

 private:
  void AddNames(BlockId block, std::string_view directive, const Use& use);
  void AddNamesIn(BlockId block, std::string_view directive, const Use& use);
  std::string_view AddressOfListen();

  const Document& m_document;
  std::vector<Word> m_words;
  std::string m_value;
  std::string m_normal;
};

// Of an nginx server, those on which it is to answer for names that no server has: one server only
// may say so of an address.
std::vector<std::string> DefaultAddresses(const Document& document, BlockId block);

// The blocks that have `name` among their names, in the order of the text, each once. `name` is in
// normal form. Cost: one step for each identifying directive of the text.
std::vector<BlockId> BlocksNamed(const Document& document, std::string_view name);

// The same for all names of the text, when many are looked for. Cost: reads each such directive.
std::unordered_map<std::string, std::vector<BlockId>> BlocksByName(const Document& document);

}  // namespace tov_document
