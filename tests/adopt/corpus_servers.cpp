// SPDX-License-Identifier: Apache-2.0

#include "adopt/corpus_servers.h"

#include <map>
#include <set>
#include <vector>

#include "server/apache_server.h"
#include "server/nginx_server.h"

namespace adopt_judge {
namespace {

using edit_judge::LowerCase;
using edit_judge::Node;
using edit_judge::Tree;

const std::vector<std::string> kModules = {
    "mpm_event",  "authz_core", "authz_host",    "authz_user", "authz_groupfile", "auth_basic",
    "authn_core", "authn_file", "access_compat", "alias",      "autoindex",       "deflate",
    "dir",        "env",        "expires",       "filter",     "headers",         "include",
    "macro",      "mime",       "negotiation",   "proxy",      "proxy_fcgi",      "proxy_http",
    "rewrite",    "setenvif",   "socache_shmcb", "ssl",        "status",          "cgid",
    "suexec",     "userdir",    "actions",       "dav",        "dav_fs"};

// What the test has no files for, or has set itself.
bool IsDropped(const std::string& name) {
  static const std::set<std::string> dropped = {"include", "includeoptional", "load_module", "user",
                                                "pid",     "pidfile"};
  return dropped.count(name) != 0;
}

// The file in the folder that stands for the argument of such a directive; "": the argument stays.
std::string FileFor(const ServerFolder& folder, const std::string& name,
                    const std::string& argument) {
  static const std::map<std::string, std::string> files = {
      {"ssl_certificate", "site.pem"},         {"ssl_certificate_key", "site.key"},
      {"ssl_trusted_certificate", "site.pem"}, {"ssl_client_certificate", "site.pem"},
      {"sslcertificatefile", "site.pem"},      {"sslcertificatekeyfile", "site.key"},
      {"sslcertificatechainfile", "site.pem"}, {"sslcacertificatefile", "site.pem"}};
  const auto file = files.find(name);
  if (file != files.end()) return folder.Path() + "/certs/" + file->second;
  const bool log = name == "access_log" || name == "error_log" || name == "customlog" ||
                   name == "errorlog" || name == "transferlog";
  const std::size_t slash = argument.rfind('/');
  if (!log || slash == std::string::npos || argument.front() == '|') return "";
  return folder.Path() + "/logs/" + argument.substr(slash + 1);
}

}  // namespace

const ServerFolder& CorpusServers::Folder(Dialect dialect) {
  if (!m_folder) {
    m_folder = std::make_unique<ServerFolder>(dialect == Dialect::kNginx ? "nginx" : "apache");
  }
  return *m_folder;
}

std::string CorpusServers::AtHand(Dialect dialect, const std::string& text) {
  const Tree tree = edit_judge::ReadTree(dialect, text);
  std::string at_hand;
  std::size_t from = 0;
  const auto replace = [&](edit_judge::Bytes bytes, const std::string& with) {
    at_hand += text.substr(from, bytes.begin - from) + with;
    from = bytes.end;
  };
  for (const Node& node : tree.nodes) {
    if (node.words.size() < 2 || node.is_block) continue;
    const std::string name = LowerCase(node.words.front().value);
    if (IsDropped(name)) {
      replace(node.head, "");
      continue;
    }
    const std::string file = FileFor(Folder(dialect), name, node.words.at(1).value);
    if (file.empty()) continue;
    // The format of a log is defined elsewhere.
    edit_judge::Bytes bytes = node.words.at(1).bytes;
    if (name == "access_log") bytes.end = node.words.back().bytes.end;
    replace(bytes, '"' + file + '"');
  }
  return at_hand + text.substr(from);
}

std::string CorpusServers::ContextOf(Dialect dialect, const std::string& text) {
  std::string context = "server";
  if (dialect == Dialect::kNginx) {
    const Tree tree = edit_judge::ReadTree(dialect, text);
    for (const std::size_t at : edit_judge::Inside(tree, 0)) {
      const std::string& name = tree.nodes.at(at).words.front().value;
      if (name == "http" || name == "events") context = "main";
      if (context == "server" && (name == "server" || name == "upstream" || name == "map")) {
        context = "http";
      }
    }
  }
  return Refusal(dialect, text, context).empty() ? context : "";
}

std::string CorpusServers::Refusal(Dialect dialect, const std::string& text,
                                   const std::string& context) {
  const std::string at_hand = AtHand(dialect, text);
  const ServerFolder& folder = Folder(dialect);
  if (dialect == Dialect::kApache) return HttpdRefusal(folder, kModules, at_hand + "\n");
  if (context == "main") return NginxRefusal(folder, at_hand);
  const std::string certificate =
      "ssl_certificate certs/site.pem;\nssl_certificate_key certs/site.key;\n";
  const std::string inside = context == "server" ? "server {\n" + at_hand + "\n}" : at_hand;
  return NginxRefusal(folder, "events {\n}\nhttp {\n" + certificate + inside + "\n}\n");
}

}  // namespace adopt_judge
