// SPDX-License-Identifier: Apache-2.0

#include "document/meaning.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>

#include "document/ascii.h"
#include "document/byte_map.h"

namespace tov_document {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

// Of the names of directives that state a server's names, the shortest: "ServerName".
constexpr std::size_t kShortestName = 10;

bool IsNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](char byte) { return byte >= '0' && byte <= '9'; });
}

// Without the zeros at its front.
std::string_view NormalNumber(std::string_view digits) {
  while (digits.size() > 1 && digits.front() == '0') digits.remove_prefix(1);
  return digits;
}

// What a word means: as a rule what stands there, else a text that is kept in `buffer`.
std::string_view ValueOf(const Document& document, const Word& word, std::string& buffer) {
  if (word.as_written) return document.Bytes(word.inner);
  buffer = document.Value(word);
  return buffer;
}

// An IPv6 address, which stands in brackets, in its shortest form; any other text as it is.
std::string ShortAddress(Dialect dialect, const std::string& text) {
  const auto shortest = [](int family, const void* address) {
    std::array<char, INET6_ADDRSTRLEN> buffer = {};
    return std::string(inet_ntop(family, address, buffer.data(), buffer.size()));
  };
  in6_addr address = {};
  if (inet_pton(AF_INET6, text.substr(1, text.size() - 2).c_str(), &address) != 1) return text;
  std::string normal = '[' + shortest(AF_INET6, &address) + ']';
  if (dialect == Dialect::kNginx) return normal;
  if (IN6_IS_ADDR_UNSPECIFIED(&address)) return "*";
  if (!IN6_IS_ADDR_V4MAPPED(&address)) return normal;
  return shortest(AF_INET, &address.s6_addr[12]);  // "0.0.0.0" is one of its own then
}

// Whether it is an IPv4 address as the system writes it: four numbers without zeros in front.
bool IsDotted(std::string_view host) {
  constexpr int kNumbers = 4;
  constexpr unsigned kLargest = 255;
  for (int i = 0; i < kNumbers; ++i) {
    const std::string_view number = host.substr(0, host.find('.'));
    if (!IsNumber(number) || number.size() > 3 || NormalNumber(number) != number) return false;
    unsigned value = 0;
    for (const char digit : number) value = value * 10 + static_cast<unsigned>(digit - '0');
    if (value > kLargest) return false;
    host.remove_prefix(number.size());
    if (host.empty()) return i + 1 == kNumbers;
    host.remove_prefix(1);
  }
  return false;
}

// httpd takes IPv4 addresses in all ways in which the system does: "127.1". Most are written as the
// system writes them, and to read and write each would take as long as to read the file.
std::string ApacheHost(const std::string& host) {
  if (host == "_default_" || host == "0.0.0.0") return "*";
  if (IsDotted(host)) return host;
  in_addr address = {};
  const bool is_number = !host.empty() && host.front() >= '0' && host.front() <= '9';
  if (!is_number || inet_aton(host.c_str(), &address) == 0) return host;
  if (address.s_addr == INADDR_ANY) return "*";
  std::array<char, INET_ADDRSTRLEN> buffer = {};
  return inet_ntop(AF_INET, &address, buffer.data(), buffer.size());
}

// "[::1]" or "www.example" of "[::1]:80" or "www.example:80"; the port is left in `address`, with
// its colon.
std::string_view CutHost(std::string_view& address) {
  const std::size_t bracket = address.find(']');
  const std::size_t colon = address.find(':', bracket == kNowhere ? 0 : bracket);
  const std::string_view host = address.substr(0, colon);
  address.remove_prefix(host.size());
  return host;
}

std::string NormalHost(Dialect dialect, std::string_view host) {
  std::string lower = Lower(host);
  if (lower.size() > 2 && lower.front() == '[' && lower.back() == ']') {
    return ShortAddress(dialect, lower);
  }
  if (dialect == Dialect::kApache) return ApacheHost(lower);
  return lower == "0.0.0.0" ? "*" : lower;
}

// Behind the address of a "listen" without connections, and the options that make it one.
constexpr char kNoStream[] = "/udp";
bool IsTransport(std::string_view option) {
  return option == "quic" || option == "udp";
}

bool IsOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::any_of(names.begin(), names.end(),
                     [name](std::string_view other) { return SameLetters(name, other); });
}

// Whether one of the arguments of `directive` may mean `name`: a quick look before a close one,
// which is needed as well where upper-case letters or escapes stand in them.
bool MayHold(std::string_view text, Span directive, std::string_view name) {
  using Odd = AnyOf<Range<'A', 'Z'>, Bytes<'\\'>>;
  if (name.empty()) return true;
  std::size_t at = directive.begin + kShortestName;
#ifdef __SSE2__
  // Where the first byte of the name stands and, as far behind it, the one in its middle, all of it
  // may. The names of one text often begin and end alike.
  const std::size_t size = name.size();
  const std::size_t middle = size / 2;
  const __m128i first_byte = _mm_set1_epi8(name.front());
  const __m128i middle_byte = _mm_set1_epi8(name[middle]);
  for (; at < directive.end && text.size() - at >= middle + 16; at += 16) {
    const __m128i bytes = Sixteen(text.data() + at);
    const __m128i behind = Sixteen(text.data() + at + middle);
    const std::size_t left = directive.end - at;
    const std::uint32_t own = left < 16 ? (1U << left) - 1 : ~0U;
    if ((BitsOf(Found(Odd{}, bytes)) & own) != 0) return true;
    std::uint32_t both = BitsOf(
        _mm_and_si128(_mm_cmpeq_epi8(bytes, first_byte), _mm_cmpeq_epi8(behind, middle_byte)));
    for (; both != 0; both &= both - 1) {
      if (text.substr(at + LowestBit(both), size) == name) return true;
    }
  }
#endif
  if (at >= directive.end) return false;
  const std::string_view left = text.substr(at, directive.end - at);
  return left.find(name) != kNowhere || std::any_of(left.begin(), left.end(), Odd::Has);
}

bool IsConditionBlock(const Document& document, BlockId block) {
  if (block == kWholeText || document.dialect() != Dialect::kApache) return false;
  const std::string_view head = document.Bytes(document.blocks()[block].head);
  if (head.size() > 1 && head.front() == '<' && Letters::Has(head[1]) && Lower(head[1]) != 'i') {
    return false;
  }
  const std::vector<Word> words = document.HeadWords(block);
  std::string buffer;
  return !words.empty() &&
         IsCondition(document.dialect(), ValueOf(document, words.front(), buffer));
}

// The innermost block around what stands in `block` that is no condition.
BlockId BlockAround(const Document& document, BlockId block) {
  while (IsConditionBlock(document, block)) block = document.blocks()[block].parent;
  return block;
}

}  // namespace

bool SameName(Dialect dialect, std::string_view a, std::string_view b) {
  return dialect == Dialect::kApache ? SameLetters(a, b) : a == b;
}

bool IsServer(Dialect dialect, std::string_view name) {
  return SameName(dialect, name, dialect == Dialect::kApache ? "VirtualHost" : "server");
}

bool IsServerBlock(const Document& document, BlockId block) {
  if (block == kWholeText) return false;
  const std::string_view head = document.Bytes(document.blocks()[block].head);
  const bool nginx = document.dialect() == Dialect::kNginx;
  if (Begins(head, nginx ? std::string_view("server {") : "<VirtualHost ")) return true;
  const std::size_t first = nginx || head.front() != '<' ? 0 : 1;
  if (head.size() <= first || std::string_view("sVv\"'\\").find(head[first]) == kNowhere) {
    return false;
  }
  return IsServer(document.dialect(), document.Value(document.HeadWords(block).front()));
}

bool IsCondition(Dialect dialect, std::string_view name) {
  return dialect == Dialect::kApache &&
         IsOneOf(name, {"IfModule", "IfDefine", "IfVersion", "IfFile", "IfDirective", "IfSection"});
}

bool IsAroundServers(Dialect dialect, std::string_view name) {
  if (dialect == Dialect::kApache) return IsCondition(dialect, name);
  return name == "http" || name == "stream" || name == "mail";
}

std::vector<BlockId> ConditionsIn(const Document& document, BlockId block) {
  std::vector<BlockId> conditions;
  if (document.dialect() != Dialect::kApache) return conditions;
  for (BlockId id = block + 1; id < document.blocks()[block].next;) {
    const bool is_one = IsConditionBlock(document, id);
    if (is_one) conditions.push_back(id);
    id = is_one ? id + 1 : document.blocks()[id].next;
  }
  return conditions;
}

namespace {

bool HasCapitals(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char byte) { return Range<'A', 'Z'>::Has(byte); });
}

// Whether a host that is no IPv6 address, and the port behind it, are in normal form, as most are.
bool AreNormal(Dialect dialect, std::string_view host, std::string_view port) {
  if (!IsNumber(port) || (port.front() == '0' && port.size() > 1)) return false;
  if (host.empty() || host.front() == '[' || host == "0.0.0.0") return false;
  return host == "*" || (dialect == Dialect::kNginx ? !HasCapitals(host) : IsDotted(host));
}

// `written` in normal form: as it stands there, or in `buffer`.
std::string_view NormalAddressIn(Dialect dialect, std::string_view written, std::string& buffer) {
  if (SameLetters(written.substr(0, 5), "unix:")) {
    return (buffer = "unix:").append(written.substr(5));
  }
  const bool nginx = dialect == Dialect::kNginx;
  if (nginx && IsNumber(written)) return (buffer = "*:").append(NormalNumber(written));
  std::string_view port = written;
  const std::string_view host = CutHost(port);
  if (!port.empty()) port.remove_prefix(1);
  if (AreNormal(dialect, host, port)) return written;
  if (port.empty()) {
    port = nginx ? "80" : "*";
  } else if (IsNumber(port)) {
    port = NormalNumber(port);
  }
  return ((buffer = NormalHost(dialect, host)) += ':').append(port);
}

std::string_view NormalNameIn(Dialect dialect, std::string_view written, std::string& buffer) {
  if (dialect == Dialect::kNginx) {
    if (written.substr(0, 1) == "~") return written;
  } else {
    const std::size_t scheme = written.find("://");
    if (scheme != kNowhere) written.remove_prefix(scheme + 3);
    written = CutHost(written);
  }
  if (!HasCapitals(written)) return written;
  return buffer = Lower(written);
}

}  // namespace

std::string NormalAddress(Dialect dialect, std::string_view written) {
  std::string buffer;
  return std::string(NormalAddressIn(dialect, written, buffer));
}

std::string ListenAddress(const std::vector<std::string>& words) {
  if (words.size() < 2) return std::string();
  std::string address = NormalAddress(Dialect::kNginx, words[1]);
  if (!TransportIn(words).empty()) address += kNoStream;
  return address;
}

std::string TransportIn(const std::vector<std::string>& words) {
  const auto found =
      std::find_if(words.begin() + std::min<std::ptrdiff_t>(2, words.end() - words.begin()),
                   words.end(), IsTransport);
  return found == words.end() ? std::string() : *found;
}

std::string NormalName(Dialect dialect, std::string_view written) {
  std::string buffer;
  return std::string(NormalNameIn(dialect, written, buffer));
}

// --- The names and addresses of a server ---

void Identities::ForEachName(BlockId block, const Use& use) {
  AddNames(block, "", use);
}

void Identities::ForEachAlias(BlockId block, const Use& use) {
  AddNames(block, "ServerAlias", use);
}

void Identities::AddNames(BlockId block, std::string_view directive, const Use& use) {
  AddNamesIn(block, directive, use);
  for (const BlockId condition : ConditionsIn(m_document, block)) {
    AddNamesIn(condition, directive, use);
  }
}

// `directive` is the name of the directives that count, without regard to case; "": of all.
void Identities::AddNamesIn(BlockId block, std::string_view directive, const Use& use) {
  m_document.ForEachIdentifying(block, [&](const Mark& mark) {
    if (!mark.names) return;
    m_document.ReadWords(mark.directive, m_words);
    const auto value = [&](const Word& word) { return ValueOf(m_document, word, m_value); };
    if (!directive.empty() && !SameLetters(value(m_words[0]), directive)) return;
    for (std::size_t i = 1; i < m_words.size(); ++i) {
      use(NormalNameIn(m_document.dialect(), value(m_words[i]), m_normal));
    }
  });
}

void Identities::ForEachAddress(BlockId block, const Use& use) {
  const Dialect dialect = m_document.dialect();
  if (dialect == Dialect::kNginx) {
    m_document.ForEachIdentifying(block, [&](const Mark& mark) {
      if (mark.names) return;
      m_document.ReadWords(mark.directive, m_words);
      if (m_words.size() > 1) use(AddressOfListen());
    });
    return;
  }
  if (!IsServerBlock(m_document, block)) return;
  m_document.ReadWords(m_document.blocks()[block].head, m_words);
  for (std::size_t i = 1; i < m_words.size(); ++i) {
    use(NormalAddressIn(dialect, ValueOf(m_document, m_words[i], m_value), m_normal));
  }
}

// See ListenAddress.
std::string_view Identities::AddressOfListen() {
  const bool streams = std::none_of(m_words.begin() + 2, m_words.end(), [this](const Word& word) {
    return IsTransport(ValueOf(m_document, word, m_value));
  });
  const std::string_view written = ValueOf(m_document, m_words[1], m_value);
  const std::string_view address = NormalAddressIn(Dialect::kNginx, written, m_normal);
  if (streams) return address;
  if (address.data() != m_normal.data()) m_normal = address;
  return m_normal += kNoStream;
}

std::vector<std::string> ServerNames(const Document& document, BlockId block) {
  std::vector<std::string> names;
  const auto add = [&names](std::string_view name) { names.emplace_back(name); };
  Identities(document).ForEachName(block, add);
  return names;
}

std::vector<std::string> ServerAddresses(const Document& document, BlockId block) {
  std::vector<std::string> addresses;
  const auto add = [&addresses](std::string_view address) { addresses.emplace_back(address); };
  Identities(document).ForEachAddress(block, add);
  return addresses;
}

namespace {

// The words of nginx's "listen" directives in a block, of those that state an address.
std::vector<std::vector<std::string>> Listens(const Document& document, BlockId block) {
  std::vector<std::vector<std::string>> listens;
  for (const Mark& mark : document.Identifying(block)) {
    if (mark.names) continue;
    std::vector<std::string> values = document.Values(document.Words(mark.directive));
    if (values.size() > 1) listens.push_back(std::move(values));
  }
  return listens;
}

}  // namespace

std::vector<std::string> DefaultAddresses(const Document& document, BlockId block) {
  std::vector<std::string> addresses;
  if (document.dialect() != Dialect::kNginx) return addresses;
  for (const std::vector<std::string>& words : Listens(document, block)) {
    const bool is_default = std::any_of(words.begin() + 2, words.end(), [](const auto& word) {
      return word == "default_server" || word == "default";
    });
    if (is_default) addresses.push_back(ListenAddress(words));
  }
  return addresses;
}

namespace {

void SortWithoutRepetition(std::vector<BlockId>& blocks) {
  std::sort(blocks.begin(), blocks.end());
  blocks.erase(std::unique(blocks.begin(), blocks.end()), blocks.end());
}

}  // namespace

std::vector<BlockId> BlocksNamed(const Document& document, std::string_view name) {
  std::vector<BlockId> blocks;
  for (const Mark& mark : document.marks()) {
    if (!mark.names || !MayHold(document.text(), mark.directive, name)) continue;
    const std::vector<Word> words = document.Words(mark.directive);
    const bool has = std::any_of(words.begin() + 1, words.end(), [&](const Word& word) {
      return NormalName(document.dialect(), document.Value(word)) == name;
    });
    if (has) blocks.push_back(BlockAround(document, mark.block));
  }
  SortWithoutRepetition(blocks);
  return blocks;
}

std::unordered_map<std::string, std::vector<BlockId>> BlocksByName(const Document& document) {
  std::unordered_map<std::string, std::vector<BlockId>> blocks;
  std::vector<Word> words;
  for (const Mark& mark : document.marks()) {
    if (!mark.names) continue;
    const BlockId around = BlockAround(document, mark.block);
    document.ReadWords(mark.directive, words);
    for (std::size_t i = 1; i < words.size(); ++i) {
      blocks[NormalName(document.dialect(), document.Value(words[i]))].push_back(around);
    }
  }
  for (auto& [name, named] : blocks) SortWithoutRepetition(named);
  return blocks;
}

}  // namespace tov_document
