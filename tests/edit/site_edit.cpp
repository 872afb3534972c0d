// SPDX-License-Identifier: Apache-2.0

#include "edit/site_edit.h"

#include <algorithm>
#include <utility>

namespace edit_judge {
namespace {

using Nodes = std::vector<std::size_t>;
using Strings = std::vector<std::string>;

bool IsOneOf(Dialect dialect, const Node& node, const Strings& names) {
  return std::any_of(names.begin(), names.end(),
                     [&](const std::string& name) { return IsCalled(dialect, node, name); });
}

// Blocks that a template need not name when it means what stands in them.
bool IsSeenThrough(Dialect dialect, const Tree& tree, std::size_t block) {
  static const Strings apache = {"IfModule", "IfDefine",    "IfVersion",
                                 "IfFile",   "IfDirective", "IfSection"};
  const Node& node = tree.nodes.at(block);
  if (dialect == Dialect::kApache) return IsOneOf(dialect, node, apache);
  return node.parent == 0 && IsCalled(dialect, node, "http");
}

// The blocks around `site` that a template has to name, from the outermost on.
Nodes NamedAround(Dialect dialect, const Tree& tree, std::size_t site) {
  Nodes around;
  for (std::size_t at = tree.nodes.at(site).parent; at != 0; at = tree.nodes.at(at).parent) {
    if (!IsSeenThrough(dialect, tree, at)) around.insert(around.begin(), at);
  }
  return around;
}

Strings ValuesOf(const Node& node) {
  Strings values;
  for (const Word& word : node.words) values.push_back(word.value);
  return values;
}

// The block's own directives of that name.
Nodes DirectivesCalled(Dialect dialect, const Tree& tree, std::size_t block, const Strings& names) {
  Nodes found;
  for (std::size_t at : Inside(tree, block)) {
    const Node& node = tree.nodes.at(at);
    if (!node.is_block && node.words.size() > 1 && IsOneOf(dialect, node, names)) {
      found.push_back(at);
    }
  }
  return found;
}

bool AreDigits(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string NormalAddress(Dialect dialect, const std::string& written) {
  const bool nginx = dialect == Dialect::kNginx;
  if (nginx && written.compare(0, 5, "unix:") == 0) return written;
  if (nginx && AreDigits(written)) return "*:" + written;
  const std::string lower = LowerCase(written);
  const std::size_t bracket = lower.find(']');
  const std::size_t colon = lower.find(':', bracket == std::string::npos ? 0 : bracket);
  std::string host = lower.substr(0, colon);
  if (host == "0.0.0.0" || host == "_default_" || (!nginx && host == "[::]")) host = "*";
  if (colon != std::string::npos) return host + lower.substr(colon);
  return host + (nginx ? ":80" : ":*");
}

Strings AddressesOf(Dialect dialect, const Tree& tree, std::size_t site) {
  Strings addresses;
  if (dialect == Dialect::kNginx) {
    for (std::size_t at : DirectivesCalled(dialect, tree, site, {"listen"})) {
      addresses.push_back(NormalAddress(dialect, tree.nodes.at(at).words.at(1).value));
    }
    return addresses;
  }
  const std::vector<Word>& words = tree.nodes.at(site).words;
  for (std::size_t i = 1; i < words.size(); ++i) {
    addresses.push_back(NormalAddress(dialect, words.at(i).value));
  }
  return addresses;
}

// A host name as the server compares it. Only ServerName has a scheme and a port.
std::string NormalName(Dialect dialect, const Node& directive, const std::string& written) {
  std::string name = LowerCase(written);
  if (dialect == Dialect::kNginx || !IsCalled(dialect, directive, "ServerName")) return name;
  const std::size_t scheme = name.find("://");
  if (scheme != std::string::npos) name.erase(0, scheme + 3);
  return name.substr(0, name.find(':'));
}

Strings NamesOf(Dialect dialect, const Tree& tree, std::size_t site) {
  Strings names;
  for (std::size_t at :
       DirectivesCalled(dialect, tree, site,
                        dialect == Dialect::kNginx ? Strings{"server_name"}
                                                   : Strings{"ServerName", "ServerAlias"})) {
    const Node& node = tree.nodes.at(at);
    for (std::size_t i = 1; i < node.words.size(); ++i) {
      names.push_back(NormalName(dialect, node, node.words.at(i).value));
    }
  }
  return names;
}

bool Contains(const Strings& all, const std::string& one) {
  return std::find(all.begin(), all.end(), one) != all.end();
}

bool HaveOneInCommon(const Strings& some, const Strings& others) {
  return std::any_of(some.begin(), some.end(),
                     [&](const std::string& one) { return Contains(others, one); });
}

bool HasLine(const Tree& tree, Dialect dialect, std::size_t site, const Strings& line) {
  const Nodes named = DirectivesCalled(dialect, tree, site, {line.front()});
  return std::any_of(named.begin(), named.end(), [&](std::size_t at) {
    const Strings words = ValuesOf(tree.nodes.at(at));
    return std::equal(words.begin() + 1, words.end(), line.begin() + 1, line.end());
  });
}

// Writes the template of an edit.
class EditWriter {
 public:
  EditWriter(Dialect dialect, std::string_view text, const Tree& tree, std::size_t site)
      : m_dialect(dialect), m_text(text), m_tree(tree), m_site(site) {
    m_name = First({NginxOr("server_name", "ServerName")});
    m_listen = First({NginxOr("listen", "")});
  }

  std::optional<SiteEdit> Write(Kind kind);

 private:
  // Each of these is false when the site has nothing that the edit could be for.
  bool WriteSize();
  bool WriteRoot();
  bool WriteCertificate();
  bool WriteLocation();
  bool WriteAlias();
  bool WriteRename();

  // A line of the template that sets all words of the only directive `name`; without one it is new.
  void SetByTrailingPlace(const std::string& name, const std::string& new_text);
  void ChangeByOldText(std::size_t directive, const std::string& new_text);
  void ChangeWords(std::size_t directive, std::size_t first, std::size_t count, Strings words);
  void AddToSite(Change::What what, Outline added);

  bool IsNginx() const { return m_dialect == Dialect::kNginx; }
  std::string NginxOr(const char* nginx, const char* apache) const {
    return IsNginx() ? nginx : apache;
  }
  const Node& At(std::size_t node) const { return m_tree.nodes.at(node); }
  std::optional<std::size_t> First(const Strings& names) const;
  Nodes Called(const std::string& name) const {
    return DirectivesCalled(m_dialect, m_tree, m_site, {name});
  }

  std::string Written(const Word& word) const;
  std::string WrittenWords(const Node& node, std::size_t first) const;
  std::string Opening(std::size_t block) const;
  std::string Closing(std::size_t block) const;
  void Line(const std::string& line);
  void StateName(const std::string& words);
  std::string Whole(bool in_branch) const;

  const Dialect m_dialect;
  const std::string_view m_text;
  const Tree& m_tree;
  const std::size_t m_site;
  std::optional<std::size_t> m_name;    // the directive with the first name
  std::optional<std::size_t> m_listen;  // of nginx
  std::string m_lines;                  // of the template, in the site
  SiteEdit m_edit;
};

std::optional<std::size_t> EditWriter::First(const Strings& names) const {
  const Nodes found = DirectivesCalled(m_dialect, m_tree, m_site, names);
  return found.empty() ? std::nullopt : std::make_optional(found.front());
}

// As it stands in the file, without quotes that it does not need.
std::string EditWriter::Written(const Word& word) const {
  const std::string written(m_text.substr(word.bytes.begin, word.bytes.end - word.bytes.begin));
  const bool quoted = written.front() == '"' || written.front() == '\'';
  const bool needed = word.value.empty() || word.value.front() == '#' ||
                      word.value.find_first_of(" \t\r\n\"'\\<>") != std::string::npos ||
                      (IsNginx() && word.value.find_first_of(";{}") != std::string::npos);
  return quoted && !needed ? word.value : written;
}

std::string EditWriter::WrittenWords(const Node& node, std::size_t first) const {
  std::string written;
  for (std::size_t i = first; i < node.words.size(); ++i) {
    written += (i > first ? " " : "") + Written(node.words.at(i));
  }
  return written;
}

std::string EditWriter::Opening(std::size_t block) const {
  const std::string words = WrittenWords(At(block), 0);
  return IsNginx() ? words + " {\n" : "<" + words + ">\n";
}

std::string EditWriter::Closing(std::size_t block) const {
  return IsNginx() ? "}\n" : "</" + At(block).words.front().value + ">\n";
}

void EditWriter::Line(const std::string& line) {
  m_lines += "  " + line + (IsNginx() ? ";\n" : "\n");
}

void EditWriter::StateName(const std::string& words) {
  Line(NginxOr("server_name ", "ServerName ") + words);
  const Node& node = At(*m_name);
  m_edit.stated.names = {NormalName(m_dialect, node, node.words.at(1).value)};
}

std::string EditWriter::Whole(bool in_branch) const {
  std::string before;
  std::string behind;
  for (std::size_t block : NamedAround(m_dialect, m_tree, m_site)) {
    before += Opening(block);
    behind = Closing(block) + behind;
  }
  const std::string site = Opening(m_site) + m_lines + Closing(m_site);
  return before + (in_branch ? "{% if $keep %}\n" + site + "{% endif %}\n" : site) + behind;
}

void EditWriter::ChangeWords(std::size_t directive, std::size_t first, std::size_t count,
                             Strings words) {
  m_edit.change.what = Change::What::kWords;
  m_edit.change.node = directive;
  m_edit.change.first_word = first;
  m_edit.change.word_count = count;
  m_edit.change.words = std::move(words);
}

void EditWriter::AddToSite(Change::What what, Outline added) {
  m_edit.change.what = what;
  m_edit.change.node = m_site;
  m_edit.change.added = std::move(added);
  if (m_listen) m_edit.change.preceding.push_back(*m_listen);
  if (m_name) m_edit.change.preceding.push_back(*m_name);
}

void EditWriter::SetByTrailingPlace(const std::string& name, const std::string& new_text) {
  Line(name + " [% $new %]");
  m_edit.values = {{"new", std::nullopt, new_text}};
  const std::optional<std::size_t> old = First({name});
  if (old) {
    ChangeWords(*old, 1, At(*old).words.size() - 1, {new_text});
  } else {
    AddToSite(Change::What::kNewDirective, {{0, false, {name, new_text}}});
  }
}

void EditWriter::ChangeByOldText(std::size_t directive, const std::string& new_text) {
  const Node& node = At(directive);
  Line(node.words.front().value + " {% $text %}");
  m_edit.values = {{"text", Written(node.words.at(1)), new_text}};
  m_edit.stated.old_line = ValuesOf(node);
  ChangeWords(directive, 1, 1, {new_text});
}

bool EditWriter::WriteSize() {
  SetByTrailingPlace(NginxOr("client_max_body_size", "LimitRequestBody"),
                     NginxOr("77m", "77000000"));
  return true;
}

bool EditWriter::WriteRoot() {
  const std::string name = NginxOr("root", "DocumentRoot");
  const Nodes roots = Called(name);
  if (roots.size() != 1) return false;
  const Node& root = At(roots.front());
  if (root.words.size() > 2 || root.words.at(1).value.find(' ') != std::string::npos) {
    SetByTrailingPlace(name, "/srv/moved");
  } else {
    ChangeByOldText(roots.front(), "/srv/moved");
  }
  return true;
}

bool EditWriter::WriteCertificate() {
  const std::string name = NginxOr("ssl_certificate", "SSLCertificateFile");
  const Nodes certificates = Called(name);
  if (certificates.empty()) return false;
  if (certificates.size() == 1) {
    SetByTrailingPlace(name, "/etc/ssl/renewed.pem");
  } else {
    ChangeByOldText(certificates.front(), "/etc/ssl/renewed.pem");
  }
  return true;
}

bool EditWriter::WriteLocation() {
  const Strings inner = IsNginx() ? Strings{"expires", "30d"} : Strings{"Require", "all", "denied"};
  const Strings outer = {NginxOr("location", "Location"), "/judged/"};
  m_lines += IsNginx() ? "  location /judged/ {\n    expires 30d;\n  }\n"
                       : "  <Location /judged/>\n    Require all denied\n  </Location>\n";
  AddToSite(Change::What::kNewBlock, {{0, true, outer}, {1, false, inner}});
  return true;
}

// nginx: behind the names on the first one's line. Apache: a line more.
bool EditWriter::WriteAlias() {
  const std::string alias = "alias.judged.example";
  if (!IsNginx()) {
    Line("ServerAlias " + alias);
    AddToSite(Change::What::kNewDirective, {{0, false, {"ServerAlias", alias}}});
    return true;
  }
  if (!m_name) return false;
  const Node& name = At(*m_name);
  StateName(Written(name.words.at(1)) + " [% $aliases %]");
  const std::string others = WrittenWords(name, 2);
  m_edit.values = {{"aliases", std::nullopt, others.empty() ? alias : others + " " + alias}};
  Strings words = ValuesOf(name);
  words.erase(words.begin(), words.begin() + 2);
  words.push_back(alias);
  ChangeWords(*m_name, 2, name.words.size() - 2, std::move(words));
  return true;
}

bool EditWriter::WriteRename() {
  if (!m_name) return false;
  StateName("{% $name %}");
  m_edit.values = {{"name", Written(At(*m_name).words.at(1)), "renamed.judged.example"}};
  ChangeWords(*m_name, 1, 1, {"renamed.judged.example"});
  return true;
}

std::optional<SiteEdit> EditWriter::Write(Kind kind) {
  m_edit.stated.addresses = AddressesOf(m_dialect, m_tree, m_site);
  if (IsNginx() && m_edit.stated.addresses.size() > 1) m_edit.stated.addresses.resize(1);
  if (m_listen) Line("listen " + WrittenWords(At(*m_listen), 1));
  const bool says_name_itself = kind == Kind::kRename || (kind == Kind::kAlias && IsNginx());
  if (m_name && !says_name_itself) StateName(Written(At(*m_name).words.at(1)));

  bool is_for_it = true;
  switch (kind) {
    case Kind::kSize:
      is_for_it = WriteSize();
      break;
    case Kind::kRoot:
      is_for_it = WriteRoot();
      break;
    case Kind::kCertificate:
      is_for_it = WriteCertificate();
      break;
    case Kind::kLocation:
      is_for_it = WriteLocation();
      break;
    case Kind::kAlias:
      is_for_it = WriteAlias();
      break;
    case Kind::kRename:
      is_for_it = WriteRename();
      break;
    case Kind::kRemoval:
      m_edit.change.what = Change::What::kRemoval;
      m_edit.change.node = m_site;
      break;
  }
  if (!is_for_it) return std::nullopt;
  m_edit.template_text = Whole(kind == Kind::kRemoval);
  return m_edit;
}

}  // namespace

const char* NameOf(Kind kind) {
  static const std::array<const char*, kKinds.size()> names = {
      "set a size",   "change the root", "change a certificate", "add a location",
      "add an alias", "rename",          "remove the site"};
  return names.at(static_cast<std::size_t>(kind));
}

std::vector<std::size_t> SitesOf(Dialect dialect, const Tree& tree) {
  const std::string_view name = dialect == Dialect::kNginx ? "server" : "VirtualHost";
  std::vector<std::size_t> sites;
  for (std::size_t i = 1; i < tree.nodes.size(); ++i) {
    const Node& node = tree.nodes.at(i);
    if (node.is_block && IsCalled(dialect, node, name)) sites.push_back(i);
  }
  return sites;
}

std::optional<SiteEdit> EditOf(Kind kind, Dialect dialect, std::string_view text, const Tree& tree,
                               std::size_t site) {
  return EditWriter(dialect, text, tree, site).Write(kind);
}

Meant SitesMeant(Dialect dialect, const Tree& tree, std::size_t site, const Stated& stated) {
  const auto around = [&](std::size_t one) {
    std::vector<Strings> words;
    for (std::size_t block : NamedAround(dialect, tree, one)) {
      words.push_back(ValuesOf(tree.nodes.at(block)));
    }
    return words;
  };
  bool perhaps = false;
  bool several = false;
  bool nameless = false;
  for (std::size_t other : SitesOf(dialect, tree)) {
    if (other == site || around(other) != around(site)) continue;
    const Strings names = NamesOf(dialect, tree, other);
    if (!stated.names.empty() && !HaveOneInCommon(stated.names, names)) continue;
    if (!stated.old_line.empty() && !HasLine(tree, dialect, other, stated.old_line)) continue;
    const Strings addresses = AddressesOf(dialect, tree, other);
    if (!stated.addresses.empty() && !HaveOneInCommon(stated.addresses, addresses)) {
      // nginx gives a server without an address one of its own.
      perhaps = perhaps || (addresses.empty() && Contains(stated.addresses, "*:80"));
      continue;
    }
    several = true;
    nameless = nameless || names.empty();
  }
  if (!several) return perhaps ? Meant::kPerhapsOne : Meant::kOne;
  if (!stated.names.empty()) return Meant::kSeveral;
  return nameless ? Meant::kSeveralNameless : Meant::kNamelessAndNamed;
}

}  // namespace edit_judge
