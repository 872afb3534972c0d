// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <iterator>
#include <set>

#include "generator.h"

namespace alike {

namespace {

using Place = TemplateWord::Place;

class EditMaker {
 public:
  EditMaker(Dialect dialect, const Node& root, Dice& dice) : m_dialect(dialect), m_dice(dice) {
    CollectSites(root);
  }

  Edit Make() {
    struct Kind {
      const char* name;
      void (EditMaker::*make)();
      std::size_t weight;
    };
    static const std::vector<Kind> kinds = {
        {"set", &EditMaker::Set, 14},
        {"set names", &EditMaker::SetNames, 2},
        {"add", &EditMaker::AddLine, 12},
        {"add two", &EditMaker::AddTwoLines, 4},
        {"change", &EditMaker::Change, 12},
        {"change two", &EditMaker::ChangeTwo, 4},
        {"rename", &EditMaker::Rename, 9},
        {"rename and set", &EditMaker::RenameAndSet, 3},
        {"address", &EditMaker::ChangeAddress, 7},
        {"remove", &EditMaker::RemoveLine, 9},
        {"nested new", &EditMaker::NewNested, 5},
        {"nested edit", &EditMaker::EditNested, 8},
        {"nested remove", &EditMaker::RemoveNested, 5},
        {"new site", &EditMaker::NewSite, 7},
        {"remove site", &EditMaker::RemoveSite, 7},
        {"two blocks", &EditMaker::TwoBlocks, 9},
        {"top level", &EditMaker::TopLevel, 5},
        {"mixed", &EditMaker::Mixed, 10},
        {"switch", &EditMaker::Switch, 6},
        {"all", &EditMaker::All, 3},
        {"name missing", &EditMaker::NameMissing, 2},
        {"hostile", &EditMaker::Hostile, 3},
    };
    std::size_t total = 0;
    for (const Kind& kind : kinds) total += kind.weight;
    std::size_t at = m_dice.Below(total);
    for (const Kind& kind : kinds) {
      if (at < kind.weight) {
        m_edit.kind = kind.name;
        (this->*kind.make)();
        break;
      }
      at -= kind.weight;
    }
    DropUnusedValues();
    return std::move(m_edit);
  }

 private:
  struct Site {
    const Node* block;
    const Node* parent;
  };

  bool IsNginx() const { return m_dialect == Dialect::kNginx; }
  std::string SiteHead() const { return IsNginx() ? "server" : "VirtualHost"; }

  void CollectSites(const Node& parent) {
    for (const Node& node : parent.children) {
      if (!node.IsBlock()) continue;
      if (IsSameName(m_dialect, node.words.at(0), SiteHead())) m_sites.push_back({&node, &parent});
      if (IsContainer(m_dialect, node)) CollectSites(node);
    }
  }

  const Site& AnySite() { return m_sites.at(m_dice.Below(m_sites.size())); }

  // ---- Pieces of a template ----

  std::string NewValueName() {
    static const Words names = {"name", "size", "Document root", "value", "x1", "old_path"};
    return m_dice.Pick(names) + std::to_string(m_edit.values.size());
  }

  TemplateWord Full(std::optional<std::string> old_text, std::optional<std::string> new_text,
                    const std::string& before = "", const std::string& after = "") {
    TemplateWord word;
    word.before = before;
    word.after = after;
    word.place = Place::kFull;
    word.value = NewValueName();
    m_edit.values[word.value] = {std::move(old_text), std::move(new_text)};
    return word;
  }

  TemplateWord Trailing(const Words& words) {
    std::string text;
    for (const std::string& word : words) {
      text += (text.empty() ? "" : " ") + (NeedsQuotes(word) ? Quoted(word) : word);
    }
    TemplateWord word;
    word.place = Place::kTrailing;
    word.value = NewValueName();
    m_edit.values[word.value] = {std::nullopt, text};
    return word;
  }

  // A word that stays: as text, or in a place.
  TemplateWord Stays(const std::string& word) {
    if (NeedsQuotes(word) && word.find_first_of("\"'{};#") != std::string::npos) return Text(word);
    if (word.empty() || m_dice.Percent(60)) return Text(word);
    return m_dice.Percent(50) ? Full(std::nullopt, word) : Full(word, word);
  }

  static TemplateNode Line(std::vector<TemplateWord> words) {
    TemplateNode line;
    line.words = std::move(words);
    return line;
  }

  TemplateNode TextLine(const Words& words) const {
    TemplateNode line;
    for (const std::string& word : words) line.words.push_back(Text(word));
    line.words.at(0).before = Manual(line.words.at(0).before);
    return line;
  }

  // The name of an Apache directive, which odd layouts write in any case, as the manual has it.
  std::string Manual(const std::string& name) const {
    if (IsNginx()) return name;
    static const Words names = {
        "DocumentRoot", "ErrorLog",      "CustomLog", "ServerAdmin",  "LimitRequestBody",
        "Header",       "ErrorDocument", "Redirect",  "Include",      "Alias",
        "SetEnv",       "Directory",     "Location",  "Files",        "IfModule",
        "Require",      "AllowOverride", "Options",   "SetHandler",   "ServerName",
        "ServerAlias",  "VirtualHost",   "Listen",    "ServerTokens", "Timeout"};
    for (const std::string& known : names) {
      if (EqualIgnoringCase(known, name)) return known;
    }
    return name;
  }

  std::string SpelledAddress(const std::string& address) {
    if (!m_dice.Percent(40)) return address;
    const std::string normal = NormalAddress(m_dialect, address);
    if (normal.compare(0, 2, "*:") != 0) return address;
    const std::string port = normal.substr(2);
    if (!IsNginx()) return m_dice.Percent(60) ? "*:" + port : "0.0.0.0:" + port;
    const Words ways = {port, "*:" + port, "0.0.0.0:" + port};
    return m_dice.Pick(ways);
  }

  static bool IsTls(const std::string& address) {
    return address.size() >= 3 && address.compare(address.size() - 3, 3, "443") == 0;
  }

  TemplateNode ListenLine(TemplateWord address, bool tls) const {
    TemplateNode line = Line({Text("listen"), std::move(address)});
    if (tls) line.words.push_back(Text("ssl"));
    return line;
  }

  TemplateNode NameLine(TemplateWord name) const {
    return Line({Text(NameDirective(m_dialect)), std::move(name)});
  }

  // `name` and the names that stand in one line with it, in any order.
  TemplateNode WholeNameLine(const Node& site, const std::string& name) {
    TemplateNode line = NameLine(Stays(name));
    if (!IsNginx()) return line;
    for (const Node& node : site.children) {
      if (!node.IsDirective() || !HoldsNames(m_dialect, node)) continue;
      const Words names(node.words.begin() + 1, node.words.end());
      if (!Contains(names, name)) continue;
      for (const std::string& other : names) {
        if (other != name) line.words.push_back(Stays(other));
      }
    }
    return line;
  }

  struct Evidence {
    bool name = false;
    bool address = false;
    bool line = false;
  };

  Evidence SomeEvidence() {
    const std::size_t way = m_dice.Below(100);
    if (way < 32) return {true, true, m_dice.Percent(15)};
    if (way < 70) return {true, false, m_dice.Percent(25)};
    if (way < 85) return {false, true, m_dice.Percent(25)};
    return {m_dice.Percent(40), false, true};
  }

  static void CollectValues(const TemplateNode& node, std::set<std::string>& used) {
    for (const TemplateWord& word : node.words) used.insert(word.value);
    for (const TemplateNode& child : node.children) CollectValues(child, used);
  }

  // Those of words that have been thought better of.
  void DropUnusedValues() {
    std::set<std::string> used;
    for (const TemplateNode& node : m_edit.nodes) CollectValues(node, used);
    for (auto value = m_edit.values.begin(); value != m_edit.values.end();) {
      value = used.count(value->first) == 0 ? m_edit.values.erase(value) : std::next(value);
    }
  }

  // Some name of the site, in any position. Empty: it has none.
  std::string NameOf(const Node& site) {
    Words names;
    for (const Node& node : site.children) {
      if (!node.IsDirective() || !HoldsNames(m_dialect, node)) continue;
      names.insert(names.end(), node.words.begin() + 1, node.words.end());
    }
    if (names.empty()) return "";
    std::string name = m_dice.Percent(60) ? names.front() : m_dice.Pick(names);
    if (!IsNginx() && m_dice.Percent(80)) name = HostOf(name);
    return m_dice.Percent(8) ? Capital(name) : name;
  }

  static std::string Capital(std::string name) {
    if (name.at(0) >= 'a' && name.at(0) <= 'z') name.at(0) = static_cast<char>(name.at(0) - 32);
    return name;
  }

  bool IsForEdits(const Node& node) const {
    if (!node.IsDirective() || node.words.size() < 2 || HoldsNames(m_dialect, node)) return false;
    static const Words others = {"listen", "options", "directoryindex", "include"};
    return !Contains(others, Lower(node.words.at(0)));
  }

  std::vector<const Node*> DirectivesOf(const Node& block) const {
    std::vector<const Node*> nodes;
    for (const Node& node : block.children) {
      if (IsForEdits(node)) nodes.push_back(&node);
    }
    return nodes;
  }

  std::vector<const Node*> BlocksOf(const Node& block) const {
    std::vector<const Node*> nodes;
    for (const Node& node : block.children) {
      if (node.IsBlock()) nodes.push_back(&node);
    }
    return nodes;
  }

  // With what is to be found in it as evidence.
  TemplateNode SiteTemplate(const Node& site, const Evidence& evidence) {
    TemplateNode block;
    block.is_block = true;
    block.words = {Text(SiteHead())};
    if (!IsNginx()) {
      const bool whole = m_dice.Percent(50);
      const std::size_t some = 1 + m_dice.Below(site.words.size() - 1);
      for (std::size_t i = 1; i < site.words.size(); ++i) {
        if (whole || i == some) block.words.push_back(Stays(SpelledAddress(site.words.at(i))));
      }
    }
    if (const std::string name = evidence.name ? NameOf(site) : ""; !name.empty()) {
      block.children.push_back(m_dice.Percent(12) ? WholeNameLine(site, name)
                                                  : NameLine(Stays(name)));
    }
    if (evidence.address && IsNginx()) AddListens(site, block);
    if (evidence.line) AddOtherLines(site, block);
    return block;
  }

  void AddListens(const Node& site, TemplateNode& block) {
    for (const Node& node : site.children) {
      if (!node.IsDirective() || node.words.at(0) != "listen") continue;
      const std::string& address = node.words.at(1);
      block.children.push_back(
          ListenLine(Stays(SpelledAddress(address)), IsTls(address) && m_dice.Percent(80)));
      if (m_dice.Percent(70)) return;
    }
  }

  void AddOtherLines(const Node& site, TemplateNode& block) {
    const std::vector<const Node*> nodes = DirectivesOf(site);
    if (nodes.empty()) return;
    for (std::size_t i = 1 + m_dice.Below(2); i > 0; --i) {
      const Node& node = *nodes.at(m_dice.Below(nodes.size()));
      TemplateNode line = TextLine(node.words);
      TemplateWord& last = line.words.back();
      const bool simple = !NeedsQuotes(last.before);
      if (simple && m_dice.Percent(60)) last = Full(last.before, last.before);
      if (!Mentions(block, node.words)) block.children.push_back(line);
    }
  }

  // Whether a line of the block is about a directive that begins like `words`.
  bool Mentions(const TemplateNode& block, const Words& words) const {
    return std::any_of(block.children.begin(), block.children.end(), [&](const TemplateNode& line) {
      return !line.is_block && IsSameName(m_dialect, line.words.at(0).before, words.at(0));
    });
  }

  // Whether a line of the block is the same, or sets a directive of that name whatever it holds.
  bool SetsOrSays(const TemplateNode& block, const Words& words) const {
    return std::any_of(block.children.begin(), block.children.end(), [&](const TemplateNode& line) {
      if (line.is_block || !IsSameName(m_dialect, line.words.at(0).before, words.at(0)))
        return false;
      if (line.words.back().place == Place::kTrailing) return true;
      Words olds;
      for (const TemplateWord& word : line.words)
        olds.push_back(OldForm(word, m_edit).value_or(""));
      return std::equal(olds.begin() + 1, olds.end(), words.begin() + 1, words.end());
    });
  }

  // Blocks stay behind lines.
  void ShuffleLines(TemplateNode& block) {
    std::vector<TemplateNode> lines;
    std::vector<TemplateNode> blocks;
    for (TemplateNode& node : block.children) {
      if (node.is_block) {
        blocks.push_back(std::move(node));
      } else {
        lines.push_back(std::move(node));
      }
    }
    m_dice.Shuffle(lines);
    block.children = std::move(lines);
    for (TemplateNode& node : blocks) block.children.push_back(std::move(node));
  }

  // Puts the block into the template, and perhaps into what encloses it in the file.
  void Finish(TemplateNode block, const Site& site) {
    ShuffleLines(block);
    const bool enclosed = site.parent->id != 0 && m_dice.Percent(15);
    if (!enclosed) {
      m_edit.nodes.push_back(std::move(block));
      return;
    }
    TemplateNode outer = TextLine(site.parent->words);
    outer.is_block = true;
    outer.children.push_back(std::move(block));
    m_edit.nodes.push_back(std::move(outer));
  }

  // How many words of a directive say which one it is.
  static std::size_t Prefix(const Words& words) {
    const std::string name = Lower(words.at(0));
    static const Words two = {"add_header", "error_page", "errordocument", "proxy_set_header",
                              "set",        "setenv",     "alias"};
    if (name == "header" && words.size() > 3) return 3;
    return Contains(two, name) && words.size() > 2 ? 2 : 1;
  }

  Words Pool(std::size_t which) const {
    static const std::vector<Words> nginx = {
        {"root", "/srv/new"},
        {"client_max_body_size", "64m"},
        {"gzip_types", "text/css", "image/svg+xml"},
        {"error_page", "404", "/new.html"},
        {"access_log", "/var/log/new.log", "combined"},
        {"add_header", "X-Frame-Options", "ALLOW", "always"},
        {"index", "new.html", "new.php"},
        {"expires", "90d"},
        {"add_header", "X-New", "a b; {c}", "always"},
        {"charset", "koi8-r"},
        {"error_log", "/var/log/new.err", "warn"},
        {"deny", "10.1.2.3"},
    };
    static const std::vector<Words> apache = {
        {"DocumentRoot", "/srv/new"},
        {"LimitRequestBody", "64"},
        {"ErrorLog", "/var/log/new.err"},
        {"ErrorDocument", "404", "/new.html"},
        {"CustomLog", "/var/log/new.log", "common"},
        {"Header", "set", "X-New", "a b"},
        {"Header", "set", "X-Frame-Options", "ALLOW"},
        {"ServerAdmin", "new@a.example"},
        {"Redirect", "permanent", "/old", "/new"},
        {"SetEnv", "NEW", "1"},
        {"ServerAlias", "alias.example"},
        {"ErrorDocument", "403", "Go away; now"},
    };
    const std::vector<Words>& pool = IsNginx() ? nginx : apache;
    return pool.at(which % pool.size());
  }

  Words FromPool() { return Pool(m_dice.Below(12)); }

  // ---- Lines of edits ----

  // Sets by a trailing place something that the block holds or does not.
  void AddSetLine(const Node& block, TemplateNode& into) {
    const std::vector<const Node*> nodes = DirectivesOf(block);
    Words words = FromPool();
    if (!nodes.empty() && m_dice.Percent(75)) {
      words = nodes.at(m_dice.Below(nodes.size()))->words;
      words.at(0) = Manual(words.at(0));
    }
    if (words.at(0) == "ServerAlias" || Mentions(into, words)) return;
    const bool several = std::count_if(nodes.begin(), nodes.end(), [&](const Node* node) {
                           return IsSameName(m_dialect, node->words.at(0), words.at(0));
                         }) > 1;
    const std::size_t prefix = m_dice.Percent(several ? 50 : 90) ? Prefix(words) : 1;
    Words tail(words.begin() + static_cast<std::ptrdiff_t>(prefix), words.end());
    if (m_dice.Percent(85)) tail.front() = "/new/value";
    if (m_dice.Percent(25)) tail.emplace_back("more");
    words.resize(prefix);
    TemplateNode line = TextLine(words);
    line.words.push_back(Trailing(tail));
    into.children.push_back(line);
  }

  void AddNewLine(TemplateNode& into) {
    const Words words = FromPool();
    const bool twice = StandsOnce(m_dialect, words.at(0)) || SetsOrSays(into, words);
    if (Mentions(into, words) && (twice || m_dice.Percent(70))) return;
    TemplateNode line = TextLine(words);
    TemplateWord& last = line.words.back();
    const bool in_a_place = !NeedsQuotes(last.before) && m_dice.Percent(30);
    if (in_a_place) last = Full(std::nullopt, last.before);
    into.children.push_back(line);
  }

  // Changes one word of a line that is known by its old value.
  void AddChangeLine(const Node& block, TemplateNode& into) {
    std::vector<const Node*> nodes = DirectivesOf(block);
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                               [](const Node* node) {
                                 const std::string& last = node->words.back();
                                 return last.find_first_of("\"'{};#") != std::string::npos;
                               }),
                nodes.end());
    if (nodes.empty()) return AddNewLine(into);
    const Node& node = *nodes.at(m_dice.Below(nodes.size()));
    if (Mentions(into, node.words)) return;
    TemplateNode line = TextLine(node.words);
    TemplateWord& last = line.words.back();
    const std::string old_text = last.before;
    const bool path = old_text.size() > 2 && old_text.at(0) == '/';
    std::string new_text = path ? "/srv/changed" : "changed";
    if (path && m_dice.Percent(6)) new_text = "/srv/changed by me";
    if (m_dice.Percent(StandsOnce(m_dialect, node.words.at(0)) ? 18 : 4)) {
      last = Full("/other", new_text);
    } else if (old_text.compare(0, 5, "/srv/") == 0 && m_dice.Percent(20)) {
      last = Full(old_text.substr(5), "changed", "/srv/");
    } else {
      last = Full(old_text, new_text);
    }
    into.children.push_back(line);
  }

  void AddRemovalLine(const Node& block, TemplateNode& into) {
    const std::vector<const Node*> nodes = DirectivesOf(block);
    TemplateNode line;
    if (nodes.empty() || m_dice.Percent(10)) {
      const Words words = FromPool();
      if (words.at(0) == "ServerAlias" || Mentions(into, words)) return;
      line = TextLine(words);
    } else {
      const Words words = nodes.at(m_dice.Below(nodes.size()))->words;
      if (Mentions(into, words)) return;
      line = TextLine(words);
      TemplateWord& last = line.words.back();
      const bool simple = !NeedsQuotes(last.before);
      if (simple && m_dice.Percent(25)) {
        last = Full(last.before, m_dice.Percent(50) ? "gone" : last.before);
      } else if (m_dice.Percent(20)) {
        line.words.resize(Prefix(words));
        line.words.push_back(Trailing({"anything"}));
      }
    }
    line.enabled = false;
    into.children.push_back(line);
    m_edit.must_exist = m_dice.Percent(10);
  }

  // ---- Kinds ----

  void Set() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    AddSetLine(*site.block, block);
    if (m_dice.Percent(20)) AddSetLine(*site.block, block);
    Finish(std::move(block), site);
  }

  void SetNames() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, {false, true, m_dice.Percent(20)});
    block.children.push_back(NameLine(
        Trailing(IsNginx() ? Words{"new.example", "www.new.example"} : Words{"new.example"})));
    Finish(std::move(block), site);
  }

  void AddLine() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    if (m_dice.Percent(30)) AddOtherLines(*site.block, block);
    AddNewLine(block);
    Finish(std::move(block), site);
  }

  void AddTwoLines() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    AddNewLine(block);
    AddNewLine(block);
    Finish(std::move(block), site);
  }

  void Change() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    AddChangeLine(*site.block, block);
    Finish(std::move(block), site);
  }

  void ChangeTwo() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    AddChangeLine(*site.block, block);
    AddChangeLine(*site.block, block);
    Finish(std::move(block), site);
  }

  TemplateNode Renaming(const Site& site) {
    TemplateNode block = SiteTemplate(*site.block, {false, m_dice.Percent(60), m_dice.Percent(20)});
    std::string old_name = NameOf(*site.block);
    if (old_name.empty() || m_dice.Percent(5)) old_name = "nobody.example";
    static const Words names = {"new.example", "new.example", "c.example", "b.example"};
    const TemplateWord name = Full(old_name, m_dice.Pick(names));
    block.children.push_back(NameLine(name));
    const bool has_www = Contains(NamesOf(m_dialect, *site.block), "www." + Lower(old_name));
    if (IsNginx() && has_www && m_dice.Percent(50)) {
      TemplateWord www = name;
      www.before = "www.";
      block.children.back().words.push_back(www);
    }
    return block;
  }

  void Rename() {
    const Site& site = AnySite();
    Finish(Renaming(site), site);
  }

  void RenameAndSet() {
    const Site& site = AnySite();
    TemplateNode block = Renaming(site);
    AddSetLine(*site.block, block);
    Finish(std::move(block), site);
  }

  void ChangeAddress() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, {m_dice.Percent(75), false, false});
    if (!IsNginx()) {
      const std::size_t some = 1 + m_dice.Below(block.words.size() - 1);
      const std::string old_address = *OldForm(block.words.at(some), m_edit);
      block.words.at(some) = Full(old_address, m_dice.Percent(50) ? "10.0.0.7:80" : "*:8081");
      return Finish(std::move(block), site);
    }
    std::string old_address = "9090";
    for (const Node& node : site.block->children) {
      if (node.IsDirective() && node.words.at(0) == "listen") old_address = node.words.at(1);
    }
    const bool tls = IsTls(old_address);
    const std::size_t colon = old_address.rfind(':');
    if (colon != std::string::npos && m_dice.Percent(40)) {
      block.children.push_back(ListenLine(
          Full(old_address.substr(0, colon), "10.0.0.7", "", old_address.substr(colon)), tls));
    } else {
      const std::string spelled = SpelledAddress(old_address);
      block.children.push_back(
          ListenLine(Full(spelled, m_dice.Percent(50) ? "10.0.0.7:81" : "8081"), tls));
    }
    Finish(std::move(block), site);
  }

  void RemoveLine() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    AddRemovalLine(*site.block, block);
    Finish(std::move(block), site);
  }

  TemplateNode NestedTemplate(const Node& nested) {
    TemplateNode block = TextLine(nested.words);
    block.is_block = true;
    const bool simple = nested.words.size() == 2 && !NeedsQuotes(nested.words.at(1));
    if (simple && m_dice.Percent(25)) block.words.at(1) = Stays(nested.words.at(1));
    return block;
  }

  void NewNested() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    TemplateNode nested =
        TextLine(IsNginx() ? Words{"location", "/new/"} : Words{"Directory", "/srv/new"});
    nested.is_block = true;
    nested.children.push_back(
        TextLine(IsNginx() ? Words{"expires", "1d"} : Words{"Require", "all", "granted"}));
    if (m_dice.Percent(50)) AddNewLine(nested);
    block.children.push_back(nested);
    Finish(std::move(block), site);
  }

  void EditNested() {
    const Site& site = AnySite();
    const std::vector<const Node*> blocks = BlocksOf(*site.block);
    if (blocks.empty()) return NewNested();
    const Node& inner = *blocks.at(m_dice.Below(blocks.size()));
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    TemplateNode nested = NestedTemplate(inner);
    const std::vector<const Node*> innermost = BlocksOf(inner);
    if (!innermost.empty() && m_dice.Percent(60)) {
      const Node& deep = *innermost.at(m_dice.Below(innermost.size()));
      nested.children.push_back(NestedTemplate(deep));
      AddSomeLine(deep, nested.children.back());
      if (nested.children.back().children.empty()) AddNewLine(nested.children.back());
    } else {
      AddSomeLine(inner, nested);
    }
    if (nested.children.empty()) AddNewLine(nested);
    block.children.push_back(nested);
    // A line of the site behind the block: it is to stand there.
    ShuffleLines(block);
    if (m_dice.Percent(15)) AddNewLine(block);
    m_edit.nodes.push_back(std::move(block));
  }

  void RemoveNested() {
    const Site& site = AnySite();
    const std::vector<const Node*> blocks = BlocksOf(*site.block);
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    TemplateNode nested;
    if (blocks.empty() || m_dice.Percent(10)) {
      nested = TextLine(IsNginx() ? Words{"location", "/gone/"} : Words{"Files", "gone"});
      nested.is_block = true;
    } else {
      const Node& inner = *blocks.at(m_dice.Below(blocks.size()));
      nested = NestedTemplate(inner);
      if (m_dice.Percent(50)) AddNewLine(nested);
    }
    if (nested.children.empty()) {
      nested.children.push_back(
          TextLine(IsNginx() ? Words{"deny", "all"} : Words{"Require", "all", "denied"}));
    }
    nested.enabled = false;
    block.children.push_back(nested);
    m_edit.must_exist = m_dice.Percent(10);
    Finish(std::move(block), site);
  }

  void NewSite() {
    const Site& site = AnySite();
    TemplateNode block;
    block.is_block = true;
    block.words = {Text(SiteHead())};
    static const Words names = {"new.example", "new.example", "www.new.example", "a.example"};
    const std::string address = IsNginx() ? "80" : "*:80";
    if (!IsNginx()) block.words.push_back(Stays(address));
    if (IsNginx()) block.children.push_back(ListenLine(Stays(address), false));
    block.children.push_back(NameLine(Stays(m_dice.Pick(names))));
    block.children.push_back(TextLine(FromPool()));
    if (IsNginx() && m_dice.Percent(50)) {
      TemplateNode nested = TextLine({"location", "/"});
      nested.is_block = true;
      nested.children.push_back(TextLine({"try_files", "$uri", "=404"}));
      block.children.push_back(nested);
    }
    Finish(std::move(block), site);
  }

  void RemoveSite() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    if (m_dice.Percent(10)) {
      block.children = {NameLine(Text("gone.example"))};
    }
    block.enabled = false;
    if (block.children.empty()) block.children.push_back(TextLine(FromPool()));
    m_edit.must_exist = m_dice.Percent(10);
    Finish(std::move(block), site);
  }

  // The redirect on port 80 and the site on port 443.
  void TwoBlocks() {
    const Site& site = AnySite();
    const std::string name = m_dice.Percent(85) ? NameOf(*site.block) : "new.example";
    if (name.empty()) return Set();
    const bool renames = m_dice.Percent(15);
    const TemplateWord word = renames ? Full(name, "new.example") : Stays(name);
    std::vector<TemplateNode> blocks(2);
    for (std::size_t i = 0; i < 2; ++i) {
      TemplateNode& block = blocks.at(i);
      block.is_block = true;
      block.words = {Text(SiteHead())};
      const std::string port = i == 0 ? "80" : "443";
      if (IsNginx()) {
        block.children.push_back(ListenLine(Text(SpelledAddress(port)), i == 1));
      } else {
        block.words.push_back(Text("*:" + port));
      }
      block.children.push_back(NameLine(word));
    }
    blocks.at(0).children.push_back(TextLine(
        IsNginx() ? Words{"return", "301", "https://$host$request_uri"}
                  : Words{"Redirect", "permanent", "/secure", "https://a.example/secure"}));
    AddSetLine(*site.block, blocks.at(1));
    if (m_dice.Percent(40)) AddNewLine(blocks.at(1));
    if (m_dice.Percent(20)) blocks.at(0).enabled = false;
    if (m_dice.Percent(30)) std::swap(blocks.at(0), blocks.at(1));
    for (TemplateNode& block : blocks) {
      ShuffleLines(block);
      m_edit.nodes.push_back(std::move(block));
    }
  }

  void TopLevel() {
    static const std::vector<Words> nginx = {{"worker_processes", "4"},
                                             {"user", "nobody"},
                                             {"include", "modules/*.conf"},
                                             {"pid", "/run/nginx.pid"}};
    static const std::vector<Words> apache = {{"ServerTokens", "Minimal"},
                                              {"Timeout", "30"},
                                              {"Listen", "8443"},
                                              {"Include", "modules/*.conf"},
                                              {"Listen", "80"}};
    const Words words = m_dice.Pick(IsNginx() ? nginx : apache);
    const std::string name = Lower(words.at(0));
    TemplateNode line = TextLine(words);
    if (name != "listen" && name != "include" && m_dice.Percent(60)) {
      line.words.at(1) = Trailing({words.at(1)});
    } else if (m_dice.Percent(25)) {
      line.enabled = false;
    }
    m_edit.nodes.push_back(line);
    if (m_dice.Percent(30)) {
      const Site& site = AnySite();
      TemplateNode block = SiteTemplate(*site.block, {true, true, false});
      AddSetLine(*site.block, block);
      ShuffleLines(block);
      m_edit.nodes.push_back(std::move(block));
    }
  }

  void AddSomeLine(const Node& block, TemplateNode& into) {
    switch (m_dice.Below(4)) {
      case 0:
        return AddSetLine(block, into);
      case 1:
        return AddNewLine(into);
      case 2:
        return AddChangeLine(block, into);
      default:
        return AddRemovalLine(block, into);
    }
  }

  // Several things at once, in the site and in blocks in it.
  void Mixed() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    for (std::size_t i = 1 + m_dice.Below(3); i > 0; --i) AddSomeLine(*site.block, block);
    for (const Node* inner : BlocksOf(*site.block)) {
      if (m_dice.Percent(50)) continue;
      TemplateNode nested = NestedTemplate(*inner);
      for (std::size_t i = 1 + m_dice.Below(2); i > 0; --i) AddSomeLine(*inner, nested);
      if (!nested.children.empty()) block.children.push_back(std::move(nested));
    }
    m_edit.must_exist = false;
    Finish(std::move(block), site);
  }

  // One line goes and another one of its name comes, as `if` and `else` have it.
  void Switch() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, SomeEvidence());
    const std::vector<const Node*> nodes = DirectivesOf(*site.block);
    if (nodes.empty()) return AddLine();
    const Words words = nodes.at(m_dice.Below(nodes.size()))->words;
    ShuffleLines(block);
    if (!Mentions(block, words)) {
      TemplateNode goes = TextLine(words);
      TemplateNode comes = goes;
      goes.enabled = false;
      comes.words.back() = Text("/switched");
      block.children.push_back(goes);
      block.children.push_back(comes);
      if (m_dice.Percent(50))
        std::rotate(block.children.begin(), block.children.end() - 2, block.children.end());
    }
    m_edit.nodes.push_back(std::move(block));
  }

  // Every block that fits.
  void All() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, {true, m_dice.Percent(30), false});
    AddSetLine(*site.block, block);
    if (m_dice.Percent(30)) block.enabled = false;
    m_edit.all = true;
    Finish(std::move(block), site);
  }

  void NameMissing() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, {false, m_dice.Percent(50), false});
    block.children.push_back(NameLine(Full(std::nullopt, std::nullopt)));
    AddNewLine(block);
    if (m_dice.Percent(40)) block.enabled = false;
    Finish(std::move(block), site);
  }

  void Hostile() {
    const Site& site = AnySite();
    TemplateNode block = SiteTemplate(*site.block, {true, true, false});
    static const Words nginx = {"/srv; gzip on", "/srv /tmp", "/srv;\n}", "a {"};
    static const Words apache = {"/srv\nInclude /etc/passwd", "/srv /tmp", "\"/srv\" x"};
    const std::string value = m_dice.Pick(IsNginx() ? nginx : apache);
    block.children.push_back(
        Line({Text(IsNginx() ? "alias_of" : "ServerPath"), Full(std::nullopt, value)}));
    m_edit.hostile = true;
    Finish(std::move(block), site);
  }

  const Dialect m_dialect;
  Dice& m_dice;
  std::vector<Site> m_sites;
  Edit m_edit;
};

}  // namespace

Edit MakeEdit(Dialect dialect, const Node& root, Dice& dice) {
  return EditMaker(dialect, root, dice).Make();
}

}  // namespace alike
