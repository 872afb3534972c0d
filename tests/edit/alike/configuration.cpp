// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "generator.h"

namespace alike {

namespace {

Node Directive(Words words) {
  Node node;
  node.words = std::move(words);
  return node;
}

Node Block(Words words, std::vector<Node> children) {
  Node node;
  node.kind = Node::Kind::kBlock;
  node.words = std::move(words);
  node.children = std::move(children);
  return node;
}

Node Comment(Dice& dice) {
  static const Words texts = {" managed by hand",
                              " server { server_name b.example; }",
                              "",
                              " </VirtualHost>",
                              " root /srv/a;",
                              " it's \"so",
                              " DocumentRoot /x"};
  Node node;
  node.kind = Node::Kind::kComment;
  node.words = {dice.Pick(texts)};
  return node;
}

class Maker {
 public:
  Maker(Dialect dialect, Dice& dice) : m_dialect(dialect), m_dice(dice) {}

  Node Make() { return Block({}, IsNginx() ? NginxFile() : ApacheFile()); }

 private:
  bool IsNginx() const { return m_dialect == Dialect::kNginx; }

  void AddComment(std::vector<Node>& nodes, std::size_t percent) {
    if (m_dice.Percent(percent)) nodes.push_back(Comment(m_dice));
  }

  // Not one that stands there already, or whose like may stand once only.
  void AddDirective(std::vector<Node>& nodes, const Words& words) const {
    for (const Node& node : nodes) {
      if (!node.IsDirective() || node.words.at(0) != words.at(0)) continue;
      if (StandsOnce(m_dialect, words.at(0)) || node.words.at(1) == words.at(1)) return;
    }
    nodes.push_back(Directive(words));
  }

  std::string Name() {
    static const Words names = {"a.example", "www.a.example", "b.example",
                                "a.example", "www.b.example", "shop.example",
                                "b.example", "a.example.net", "*.a.example"};
    const std::string name = m_dice.Pick(names);
    return m_dice.Percent(5) ? "A.Example" : name;
  }

  Words DistinctNames(std::size_t count, const Words& others) {
    Words names;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string name = Name();
      const auto same = [&](const std::string& other) { return EqualIgnoringCase(name, other); };
      if (std::any_of(names.begin(), names.end(), same)) continue;
      if (std::any_of(others.begin(), others.end(), same)) continue;
      names.push_back(name);
    }
    return names;
  }

  void Interleave(std::vector<Node>& nodes, std::vector<Node> blocks) {
    for (Node& block : blocks) {
      const std::size_t count = nodes.size();
      const std::size_t at = m_dice.Percent(75) ? count : m_dice.Below(count + 1);
      nodes.insert(nodes.begin() + static_cast<std::ptrdiff_t>(at), std::move(block));
      if (m_dice.Percent(25)) {
        nodes.insert(nodes.begin() + static_cast<std::ptrdiff_t>(at), Comment(m_dice));
      }
    }
  }

  // ---- nginx ----

  Words NginxDirective() {
    static const std::vector<Words> some = {
        {"root", "/srv/a"},
        {"root", "/srv/b"},
        {"root", "/srv/my site"},
        {"index", "index.html"},
        {"index", "index.php", "index.html"},
        {"client_max_body_size", "1m"},
        {"client_max_body_size", "8m"},
        {"gzip", "on"},
        {"gzip", "off"},
        {"gzip_types", "text/css", "text/plain", "application/json"},
        {"access_log", "/var/log/a.log", "combined"},
        {"access_log", "/var/log/b.log"},
        {"error_log", "/var/log/a.err"},
        {"add_header", "X-Frame-Options", "DENY"},
        {"add_header", "X-Frame-Options", "SAMEORIGIN", "always"},
        {"add_header", "X-Note", "a; {b} # c"},
        {"add_header", "X-Json", "{\"a\": 1}"},
        {"error_page", "404", "/404.html"},
        {"error_page", "500", "502", "/50x.html"},
        {"include", "snippets/tls.conf"},
        {"include", "snippets/php.conf"},
        {"charset", "utf-8"},
        {"ssl_prefer_server_ciphers", "on"},
        {"ssl_certificate", "/etc/tls/a.pem"},
        {"expires", "30d"},
        {"set", "$site", "a b"},
        {"rewrite", "^/old/(.*)$", "/new/$1", "permanent"},
    };
    return m_dice.Pick(some);
  }

  Node Location(std::size_t depth) {
    static const std::vector<Words> heads = {
        {"location", "/"},          {"location", "/img/"},        {"location", "/api/"},
        {"location", "=", "/ping"}, {"location", "~", "\\.php$"}, {"location", "^~", "/static/"}};
    static const std::vector<Words> inside = {{"root", "/srv/a"},
                                              {"root", "/srv/c"},
                                              {"expires", "30d"},
                                              {"expires", "7d"},
                                              {"proxy_pass", "http://127.0.0.1:3000"},
                                              {"proxy_pass", "http://127.0.0.1:4000"},
                                              {"try_files", "$uri", "$uri/", "=404"},
                                              {"add_header", "X-Frame-Options", "DENY"},
                                              {"proxy_set_header", "Host", "$host"},
                                              {"proxy_set_header", "X-Real-IP", "$remote_addr"},
                                              {"access_log", "off"}};
    std::vector<Node> children;
    for (std::size_t i = m_dice.Below(4); i > 0; --i) AddDirective(children, m_dice.Pick(inside));
    AddComment(children, 10);
    if (depth == 0 && m_dice.Percent(10)) children.push_back(Location(1));
    return Block(m_dice.Pick(heads), std::move(children));
  }

  std::string SpelledAddress(const std::string& port) {
    const Words ways = {port, port, "*:" + port, "0.0.0.0:" + port};
    return m_dice.Pick(ways);
  }

  void AddListen(std::vector<Node>& nodes, const std::string& address) {
    const Node all = Block({"server"}, nodes);
    if (Contains(AddressesOf(m_dialect, all), NormalAddress(m_dialect, address))) return;
    Words words = {"listen", address};
    const bool tls = address.size() >= 3 && address.compare(address.size() - 3, 3, "443") == 0;
    if (tls) words.emplace_back("ssl");
    if (tls && m_dice.Percent(25)) words.emplace_back("http2");
    if (m_dice.Percent(12)) words.emplace_back("default_server");
    nodes.push_back(Directive(words));
  }

  std::vector<Node> Listens() {
    std::vector<Node> nodes;
    const std::size_t role = m_dice.Below(100);
    if (role < 4) return nodes;
    static const Words ports = {"80", "80", "80", "443", "443", "8080"};
    const std::string port = m_dice.Pick(ports);
    AddListen(nodes, m_dice.Percent(12) ? "127.0.0.1:" + port : SpelledAddress(port));
    if (m_dice.Percent(25)) AddListen(nodes, "[::]:" + port);
    if (m_dice.Percent(12)) AddListen(nodes, SpelledAddress(m_dice.Pick(ports)));
    return nodes;
  }

  std::vector<Node> ListensOn(const std::string& port) {
    std::vector<Node> nodes;
    AddListen(nodes, SpelledAddress(port));
    if (m_dice.Percent(50)) AddListen(nodes, "[::]:" + port);
    return nodes;
  }

  // The redirect of a site, as certbot and panels write it.
  static Node Redirect(std::vector<Node> nodes, const Words& names) {
    Words line = {"server_name"};
    line.insert(line.end(), names.begin(), names.end());
    nodes.push_back(Directive(line));
    nodes.push_back(Directive({"return", "301", "https://$host$request_uri"}));
    return Block({"server"}, std::move(nodes));
  }

  Words Names() { return m_dice.Percent(8) ? Words{} : DistinctNames(1 + m_dice.Below(3), {}); }

  Node Server(std::vector<Node> nodes, const Words& names) {
    const bool apart = m_dice.Percent(10);
    Words line = {"server_name"};
    for (const std::string& name : names) {
      line.push_back(name);
      if (!apart) continue;
      nodes.push_back(Directive(line));
      line.resize(1);
    }
    if (line.size() > 1) nodes.push_back(Directive(line));
    if (m_dice.Percent(20)) m_dice.Shuffle(nodes);
    for (std::size_t i = m_dice.Below(7); i > 0; --i) AddDirective(nodes, NginxDirective());
    if (m_dice.Percent(30)) m_dice.Shuffle(nodes);
    AddComment(nodes, 15);
    std::vector<Node> blocks;
    for (std::size_t i = m_dice.Below(4); i > 0; --i) {
      Node block = Location(0);
      if (std::none_of(blocks.begin(), blocks.end(),
                       [&](const Node& other) { return other.words == block.words; })) {
        blocks.push_back(std::move(block));
      }
    }
    Interleave(nodes, std::move(blocks));
    if (nodes.empty()) nodes.push_back(Directive({"root", "/srv/a"}));
    return Block({"server"}, std::move(nodes));
  }

  std::vector<Node> NginxFile() {
    std::vector<Node> sites;
    if (m_dice.Percent(20)) {
      sites.push_back(Block({"upstream", "app"}, {Directive({"server", "127.0.0.1:3000"})}));
    }
    for (std::size_t i = 1 + m_dice.Below(6); i > 0; --i) {
      AddComment(sites, 25);
      const Words names = Names();
      if (names.empty() || m_dice.Percent(75)) {
        sites.push_back(Server(Listens(), names));
        continue;
      }
      std::vector<Node> pair = {Redirect(ListensOn("80"), names), Server(ListensOn("443"), names)};
      if (m_dice.Percent(30)) std::swap(pair.at(0), pair.at(1));
      sites.insert(sites.end(), pair.begin(), pair.end());
    }
    if (m_dice.Percent(50)) return sites;
    std::vector<Node> file;
    AddComment(file, 20);
    file.push_back(Directive({"user", "www-data"}));
    if (m_dice.Percent(60)) file.push_back(Directive({"worker_processes", "auto"}));
    file.push_back(Block({"events"}, {Directive({"worker_connections", "1024"})}));
    if (m_dice.Percent(15)) {
      Node server = Block({"server"},
                          {Directive({"listen", "80"}), Directive({"proxy_pass", "10.0.0.9:80"})});
      file.push_back(Block({"stream"}, {std::move(server)}));
    }
    std::vector<Node> http = {Directive({"include", "mime.types"})};
    if (m_dice.Percent(50)) http.push_back(Directive({"gzip", "on"}));
    http.insert(http.end(), sites.begin(), sites.end());
    if (m_dice.Percent(20)) http.push_back(Directive({"include", "sites/*.conf"}));
    file.push_back(Block({"http"}, std::move(http)));
    return file;
  }

  // ---- Apache ----

  Words ApacheDirective() {
    static const std::vector<Words> some = {
        {"DocumentRoot", "/srv/a"},
        {"DocumentRoot", "/srv/b"},
        {"DocumentRoot", "/srv/my site"},
        {"ErrorLog", "/var/log/a.err"},
        {"ErrorLog", "/var/log/b.err"},
        {"CustomLog", "/var/log/a.log", "combined"},
        {"CustomLog", "/var/log/b.log", "%h %l \"%r\" {x}"},
        {"ServerAdmin", "root@a.example"},
        {"LimitRequestBody", "1000000"},
        {"Header", "set", "X-Frame-Options", "DENY"},
        {"Header", "always", "unset", "X-Powered-By"},
        {"ErrorDocument", "404", "/404.html"},
        {"ErrorDocument", "500", "It's broken; sorry"},
        {"Redirect", "permanent", "/", "https://a.example/"},
        {"Include", "conf/tls.conf"},
        {"Alias", "/icons/", "/usr/share/icons/"},
        {"SetEnv", "SITE", "a"},
        {"SSLEngine", "on"},
        {"ProxyPass", "/a", "http://127.0.0.1:3000/"},
        {"ProxyPass", "/b", "http://127.0.0.1:4000/"},
    };
    return m_dice.Pick(some);
  }

  Node Section() {
    static const std::vector<Words> heads = {
        {"Directory", "/srv/a"}, {"Directory", "/srv/b"}, {"Directory", "/srv/my site"},
        {"Location", "/status"}, {"Files", "x.html"},     {"IfModule", "mod_alias.c"}};
    static const std::vector<Words> inside = {{"Require", "all", "granted"},
                                              {"AllowOverride", "None"},
                                              {"AllowOverride", "All"},
                                              {"Options", "-Indexes"},
                                              {"SetHandler", "status"},
                                              {"SetEnv", "PART", "b"},
                                              {"ErrorDocument", "404", "/missing.html"}};
    std::vector<Node> children;
    for (std::size_t i = 1 + m_dice.Below(3); i > 0; --i) {
      AddDirective(children, m_dice.Pick(inside));
    }
    AddComment(children, 10);
    return Block(m_dice.Pick(heads), std::move(children));
  }

  Words VirtualHostHead() {
    static const std::vector<Words> heads = {
        {"*:80"},         {"*:80"},       {"*:80"},
        {"*:443"},        {"*:443"},      {"10.0.0.1:80"},
        {"10.0.0.2:80"},  {"*:8080"},     {"10.0.0.1:80", "10.0.0.2:80"},
        {"[::]:80"},      {"0.0.0.0:80"}, {"*:80", "[::]:80"},
        {"_default_:443"}};
    Words head = m_dice.Pick(heads);
    head.insert(head.begin(), "VirtualHost");
    return head;
  }

  Node VirtualHost() {
    std::vector<Node> nodes;
    Words names;
    if (m_dice.Percent(92)) {
      names = DistinctNames(1, {});
      static const Words ways = {"", "", "", "", "", "", "", "", "", ":80", ":443"};
      nodes.push_back(Directive({"ServerName", names.front() + m_dice.Pick(ways)}));
    }
    for (std::size_t lines = m_dice.Below(3); lines > 0; --lines) {
      Words aliases = DistinctNames(1 + m_dice.Below(2), names);
      if (aliases.empty()) continue;
      names.insert(names.end(), aliases.begin(), aliases.end());
      aliases.insert(aliases.begin(), "ServerAlias");
      nodes.push_back(Directive(aliases));
    }
    for (std::size_t i = m_dice.Below(7); i > 0; --i) AddDirective(nodes, ApacheDirective());
    if (m_dice.Percent(30)) m_dice.Shuffle(nodes);
    AddComment(nodes, 15);
    std::vector<Node> blocks;
    for (std::size_t i = m_dice.Below(3); i > 0; --i) blocks.push_back(Section());
    Interleave(nodes, std::move(blocks));
    if (nodes.empty()) nodes.push_back(Directive({"DocumentRoot", "/srv/a"}));
    return Block(VirtualHostHead(), std::move(nodes));
  }

  std::vector<Node> ApacheFile() {
    std::vector<Node> file;
    AddComment(file, 20);
    if (m_dice.Percent(50)) file.push_back(Directive({"Listen", "80"}));
    if (m_dice.Percent(30)) file.push_back(Directive({"ServerTokens", "Prod"}));
    if (m_dice.Percent(20)) file.push_back(Section());
    for (std::size_t i = 1 + m_dice.Below(6); i > 0; --i) {
      AddComment(file, 25);
      Node host = VirtualHost();
      if (m_dice.Percent(20)) {
        Node twin = host;
        host.words = {"VirtualHost", "*:443"};
        twin.words = {"VirtualHost", "*:80"};
        file.push_back(std::move(twin));
      }
      if (m_dice.Percent(25)) {
        static const Words modules = {"mod_ssl.c", "mod_vhost_alias.c", "!mod_x.c"};
        std::vector<Node> inside;
        AddComment(inside, 10);
        inside.push_back(std::move(host));
        if (m_dice.Percent(20)) inside.push_back(VirtualHost());
        file.push_back(Block({"IfModule", m_dice.Pick(modules)}, std::move(inside)));
      } else {
        file.push_back(std::move(host));
      }
    }
    if (m_dice.Percent(20)) file.push_back(Directive({"Include", "sites/*.conf"}));
    return file;
  }

  const Dialect m_dialect;
  Dice& m_dice;
};

}  // namespace

Node MakeConfiguration(Dialect dialect, Dice& dice) {
  return Maker(dialect, dice).Make();
}

}  // namespace alike
