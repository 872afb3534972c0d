// SPDX-License-Identifier: Apache-2.0

#include "edit/match/comparison.h"

#include <algorithm>
#include <utility>

#include "document/ascii.h"
#include "document/meaning.h"

namespace tov_edit {

using tov_document::SameName;

Role RoleOf(Dialect dialect, std::string_view name) {
  if (dialect == Dialect::kNginx) {
    if (name == "server_name") return Role::kNames;
    return name == "listen" ? Role::kAddress : Role::kPlain;
  }
  for (const char* const naming : {"ServerName", "ServerAlias"}) {
    if (SameName(dialect, name, naming)) return Role::kNames;
  }
  return SameName(dialect, name, "Options") ? Role::kOptions : Role::kPlain;
}

bool SaysName(Dialect dialect, std::string_view name) {
  return dialect == Dialect::kNginx ? name == "server_name" : SameName(dialect, name, "ServerName");
}

namespace {

// nginx reads "location = /x" and "location =/x" alike.
void AppendArguments(const Texts& words, std::string& joined) {
  std::size_t size = joined.size();
  for (std::size_t i = 1; i < words.size(); ++i) size += words[i].size();
  joined.reserve(size);
  for (std::size_t i = 1; i < words.size(); ++i) joined += words[i];
}

std::string JoinedArguments(const Texts& words) {
  std::string joined;
  AppendArguments(words, joined);
  return joined;
}

bool IsLocation(Dialect dialect, const Texts& words) {
  return dialect == Dialect::kNginx && words.front() == "location" && words.size() <= 3;
}

bool HasSign(const Texts& words) {
  const std::string& first = words[1];
  return !first.empty() && std::string_view("=~^").find(first.front()) != std::string_view::npos;
}

// Of a location that nginx takes for one of a path; "" for others.
std::string PathOfLocation(Dialect dialect, const Texts& words) {
  if (words.size() < 2 || !IsLocation(dialect, words)) return std::string();
  const std::string joined = JoinedArguments(words);
  if (joined.compare(0, 2, "^~") == 0) return joined.substr(2);
  return HasSign(words) ? std::string() : joined;
}

bool IsIf(Dialect dialect, const Texts& words) {
  return dialect == Dialect::kNginx && !words.empty() && std::string_view(words.front()) == "if";
}

// nginx takes the parentheses off a condition, and blanks may stand inside of them. `whole`: the
// closing one stands at its end.
Texts WithoutParentheses(Texts words, bool whole) {
  if (words.size() > 1 && words[1].substr(0, 1) == "(") {
    words[1].erase(0, 1);
    if (words[1].empty()) words.erase(words.begin() + 1);
  }
  if (whole && words.size() > 1 && !words.back().empty() && words.back().back() == ')') {
    words.back().pop_back();
    if (words.back().empty()) words.pop_back();
  }
  return words;
}

// With a path, which stands alone; behind a "~" it is a pattern.
bool IsDirectory(Dialect dialect, const Texts& words) {
  return dialect == Dialect::kApache && words.size() == 2 && words.back() != "~" &&
         SameName(dialect, words.front(), "Directory");
}

// httpd compares the path of a <Directory> with one slash at its end.
Texts WithSlash(Texts words) {
  std::string& path = words.back();
  while (!path.empty() && path.back() == '/') path.pop_back();
  path += '/';
  return words;
}

bool HasManySpellings(Dialect dialect, const Texts& words) {
  return IsIf(dialect, words) || IsDirectory(dialect, words);
}

// `words`, of which HasManySpellings holds, as their server compares them.
Texts OneSpelling(Dialect dialect, const Texts& words) {
  return IsIf(dialect, words) ? WithoutParentheses(words, true) : WithSlash(words);
}

// The same of any beginning.
Beginning OneSpelling(Dialect dialect, Beginning beginning) {
  if (IsDirectory(dialect, beginning.words)) {
    beginning.words = WithSlash(std::move(beginning.words));
  } else if (IsIf(dialect, beginning.words) && beginning.words.size() > 1) {
    beginning.words = WithoutParentheses(std::move(beginning.words), false);
  } else if (IsIf(dialect, beginning.words) && beginning.next.substr(0, 1) == "(") {
    beginning.next.erase(0, 1);
  }
  return beginning;
}

}  // namespace

bool SameWords(Dialect dialect, const Texts& a, const Texts& b) {
  if (a.empty() || b.empty()) return a.size() == b.size();
  if (!SameName(dialect, a.front(), b.front())) return false;
  if (IsIf(dialect, a)) return OneSpelling(dialect, a) == OneSpelling(dialect, b);
  if (IsDirectory(dialect, a) && IsDirectory(dialect, b)) {
    return WithSlash(a).back() == WithSlash(b).back();
  }
  if (a.size() == b.size()) return std::equal(a.begin() + 1, a.end(), b.begin() + 1);
  const bool locations = IsLocation(dialect, a) && IsLocation(dialect, b);
  return locations && a.size() > 1 && b.size() > 1 && HasSign(a) && HasSign(b) &&
         JoinedArguments(a) == JoinedArguments(b);
}

namespace {

bool BeginSo(Dialect dialect, const Texts& words, const Beginning& beginning) {
  const std::size_t count = beginning.words.size();
  if (words.size() < count || (count == 0 && words.empty())) return false;
  for (std::size_t i = 0; i < count; ++i) {
    const bool same =
        i == 0 ? SameName(dialect, words[i], beginning.words[i]) : words[i] == beginning.words[i];
    if (!same) return false;
  }
  if (beginning.next.empty()) return true;
  return words.size() > count &&
         words[count].compare(0, beginning.next.size(), beginning.next) == 0;
}

}  // namespace

bool BeginsWith(Dialect dialect, const Texts& words, const Beginning& beginning) {
  if (!HasManySpellings(dialect, words)) return BeginSo(dialect, words, beginning);
  return BeginSo(dialect, OneSpelling(dialect, words), OneSpelling(dialect, beginning));
}

std::string NameKey(Dialect dialect, const std::string& name) {
  return dialect == Dialect::kApache ? tov_document::Lower(name) : name;
}

namespace {

// The name, and all arguments as one text: how a location's sign is cut off makes no difference.
std::string JoinedKey(Dialect dialect, const Texts& words) {
  std::string key = NameKey(dialect, words.front());
  key += '\0';
  AppendArguments(words, key);
  return key;
}

}  // namespace

std::string KeyOf(Dialect dialect, const Texts& words) {
  if (words.empty()) return std::string();
  if (HasManySpellings(dialect, words)) return JoinedKey(dialect, OneSpelling(dialect, words));
  return JoinedKey(dialect, words);
}

std::string KeyOf(Dialect dialect, const Beginning& beginning) {
  // Without a whole word it is the name that begins so.
  if (beginning.words.empty()) return NameKey(dialect, beginning.next);
  const Beginning one = OneSpelling(dialect, beginning);
  return JoinedKey(dialect, one.words) + one.next;
}

std::string AllOf(const Texts& words) {
  std::string all;
  for (const std::string& word : words) (all += word) += '\0';
  return all;
}

bool IsVirtualHost(Dialect dialect, std::string_view name) {
  return dialect == Dialect::kApache && tov_document::IsServer(dialect, name);
}

bool SameHead(Dialect dialect, const Texts& a, const Texts& b) {
  if (a.empty() || b.empty() || !SameName(dialect, a.front(), b.front())) return false;
  if (!IsVirtualHost(dialect, a.front())) return SameWords(dialect, a, b);
  return ShareOne(AddressesIn(dialect, a), AddressesIn(dialect, b));
}

bool AreTwins(Dialect dialect, const Texts& a, const Texts& b) {
  if (a.empty() || b.empty() || SameHead(dialect, a, b)) return SameHead(dialect, a, b);
  const std::string of_a = PathOfLocation(dialect, a);
  return !of_a.empty() && of_a == PathOfLocation(dialect, b);
}

std::string TwinKey(Dialect dialect, const Texts& words) {
  const std::string path = PathOfLocation(dialect, words);
  return path.empty() ? KeyOf(dialect, words) : KeyOf(dialect, Texts{words.front(), path});
}

Texts NamesIn(Dialect dialect, const Texts& words) {
  Texts names;
  if (words.empty() || RoleOf(dialect, words.front()) != Role::kNames) return names;
  for (std::size_t i = 1; i < words.size(); ++i) {
    names.push_back(tov_document::NormalName(dialect, words[i]));
  }
  return names;
}

Texts AddressesIn(Dialect dialect, const Texts& words) {
  Texts addresses;
  for (std::size_t i = 1; i < words.size(); ++i) {
    addresses.push_back(tov_document::NormalAddress(dialect, words[i]));
  }
  return addresses;
}

bool AreMixedOptions(const Texts& words) {
  bool with_sign = false;
  bool without = false;
  bool whole = false;
  bool mixed = false;
  for (const std::string& word : words) {
    if (word.find_first_of("$%@") != std::string::npos) return false;
    const bool sign = !word.empty() && (word.front() == '+' || word.front() == '-');
    mixed = mixed || (sign ? without && !whole : with_sign);
    whole = whole || (!without && (tov_document::SameLetters(word, "None") ||
                                   tov_document::SameLetters(word, "All")));
    (sign ? with_sign : without) = true;
  }
  return mixed;
}

bool Contains(const Texts& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

Among::Among(const Texts& texts) : m_texts(texts) {
  constexpr std::size_t kFew = 16;
  if (texts.size() > kFew) m_set.insert(texts.begin(), texts.end());
}

bool Among::Has(const std::string& text) const {
  return m_set.empty() ? Contains(m_texts, text) : m_set.count(text) != 0;
}

bool ShareOne(const Texts& a, const Texts& b) {
  const Among among(b);
  return std::any_of(a.begin(), a.end(),
                     [&among](const std::string& text) { return among.Has(text); });
}

}  // namespace tov_edit
