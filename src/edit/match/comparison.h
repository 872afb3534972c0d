// SPDX-License-Identifier: Apache-2.0

// Directives and blocks of a template beside those of a configuration, compared as the servers do.
//
// This folder looks at one directive, block or text at a time, and finds what is like it. Start
// here, and with contents.h, which is what stands in a configuration.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "document/document.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

using Texts = std::vector<std::string>;

// What a directive's words are to its server.
enum class Role {
  kPlain,    // one text: they count as they stand
  kNames,    // names of the server, in any order
  kAddress,  // an address, and its options in any order
  kOptions   // words in any order
};

Role RoleOf(Dialect dialect, std::string_view name);

// Whether two directives, or two heads of blocks, are one: the name in any case in Apache, a
// location of nginx with a blank behind its sign or without, the condition of nginx's "if" with
// blanks inside its parentheses or without, the path of Apache's <Directory> with a slash at its
// end or without, all other words as they are.
bool SameWords(Dialect dialect, const Texts& a, const Texts& b);

// Whether `words` begin so.
bool BeginsWith(Dialect dialect, const Texts& words, const Beginning& beginning);

// Texts to look directives, and heads, up by. Those that are the same (SameWords) have the same
// key, and that of one which begins so (BeginsWith) begins with the key of the beginning; what has
// the same key need not be the same.
std::string NameKey(Dialect dialect, const std::string& name);
std::string KeyOf(Dialect dialect, const Texts& words);
std::string KeyOf(Dialect dialect, const Beginning& beginning);

// One text for all words, which no others have.
std::string AllOf(const Texts& words);

// Whether the heads are those of one block: two of <VirtualHost> are when they share an address.
bool SameHead(Dialect dialect, const Texts& a, const Texts& b);

// Whether nginx, which takes a location once only, would refuse the second of two blocks with these
// heads: "/x" and "^~ /x" are one to it, "= /x" and regular expressions are others.
bool AreTwins(Dialect dialect, const Texts& a, const Texts& b);

// To look heads up by: twins have the same key; what has the same key need not be twins.
std::string TwinKey(Dialect dialect, const Texts& words);

// Whether blocks of this name are Apache's <VirtualHost>.
bool IsVirtualHost(Dialect dialect, std::string_view name);

// Whether a directive of this name says how a server is called: nginx's server_name and Apache's
// ServerName do, a ServerAlias gives it more names.
bool SaysName(Dialect dialect, std::string_view name);

// The names that a directive of a server states, in normal form; none for other directives.
Texts NamesIn(Dialect dialect, const Texts& words);

// The words from the second on, in the normal form of addresses.
Texts AddressesIn(Dialect dialect, const Texts& words);

// Whether Apache's Options would be refused for words with a sign beside words without one: those
// may only come first, and only when "None" or "All" is the first of them. What a variable stands
// for is not known. `words` are the arguments.
bool AreMixedOptions(const Texts& words);

bool Contains(const Texts& texts, const std::string& text);
bool ShareOne(const Texts& a, const Texts& b);

// The same for one text after the other: of many texts it makes a set. They have to outlive it.
class Among {
 public:
  explicit Among(const Texts& texts);
  bool Has(const std::string& text) const;

 private:
  const Texts& m_texts;
  std::unordered_set<std::string_view> m_set;  // empty: there are few
};

}  // namespace tov_edit
