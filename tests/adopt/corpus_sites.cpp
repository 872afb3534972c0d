// SPDX-License-Identifier: Apache-2.0

#include "adopt/corpus_sites.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "edit/site_edit.h"

namespace adopt_judge {
namespace {

namespace fs = std::filesystem;
using edit_judge::Bytes;
using edit_judge::Inside;
using edit_judge::IsCalled;
using edit_judge::LowerCase;
using edit_judge::Node;

bool IsHost(const std::string& name) {
  static const std::regex host("[A-Za-z0-9_][A-Za-z0-9_.-]*");
  return name != "_" && std::regex_match(name, host);
}

bool StatesNames(Dialect dialect, const Node& node) {
  if (node.is_block || node.words.size() < 2) return false;
  if (dialect == Dialect::kNginx) return IsCalled(dialect, node, "server_name");
  return IsCalled(dialect, node, "ServerName") || IsCalled(dialect, node, "ServerAlias");
}

std::string HostOf(Dialect dialect, std::string name) {
  if (dialect == Dialect::kNginx) return name;
  const std::size_t scheme = name.find("://");
  if (scheme != std::string::npos) name.erase(0, scheme + 3);
  return name.substr(0, name.find(':'));
}

// The names of a server as they are written, those in conditions of Apache too.
std::vector<std::string> NamesOf(Dialect dialect, const Tree& tree, std::size_t server) {
  std::vector<std::string> names;
  for (std::size_t i = server + 1; i < tree.nodes.at(server).behind; ++i) {
    const Node& node = tree.nodes.at(i);
    const bool own = node.parent == server;
    const bool condition =
        !own && LowerCase(tree.nodes.at(node.parent).words.front().value).substr(0, 2) == "if";
    if (!StatesNames(dialect, node)) continue;
    if (!own && (dialect == Dialect::kNginx || !condition)) continue;
    for (std::size_t word = 1; word < node.words.size(); ++word) {
      names.push_back(HostOf(dialect, node.words.at(word).value));
    }
  }
  return names;
}

std::string FirstHost(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (IsHost(name)) return name;
  }
  for (const std::string& name : names) {
    const std::size_t begin = name.substr(0, 2) == "*." ? 2 : name.substr(0, 1) == "." ? 1 : 0;
    if (begin > 0 && IsHost(name.substr(begin))) return name.substr(begin);
  }
  return "";
}

std::regex HeldName(const std::string& name, bool in_names) {
  const std::string escaped =
      std::regex_replace(name, std::regex("[.+*?^$(){}|\\[\\]\\\\]"), "\\$&");
  const bool common = name.find('.') == std::string::npos;
  const std::string in_path = "(^/|[^/]/)" + escaped + "(?=$|[/ ]|[._-][^/ ]*($|[ \"']))";
  const std::string as_word =
      "(^\\*?\\.|^|[^A-Za-z0-9_.$\\\\-])" + escaped + "(?=$|[^A-Za-z0-9_.\\\\-])";
  if (common && !in_names) return std::regex(in_path);
  return std::regex(as_word + "|" + in_path);
}

std::string Replaced(const std::string& word, const std::regex& held, const std::string& to) {
  // The groups 1 and 2 are what stands before the name.
  return std::regex_replace(word, held, "$1$2" + to);
}

}  // namespace

std::map<std::string, std::string> CorpusFiles(Dialect dialect) {
  std::map<std::string, std::string> files;
  const fs::path folder = fs::path(QELTEMPLATE_SOURCE_DIR) / "../shared/corpus" /
                          (dialect == Dialect::kNginx ? "nginx" : "apache");
  if (!fs::is_directory(folder)) return files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::ifstream stream(entry.path(), std::ios::binary);
    files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(stream), {}};
  }
  return files;
}

std::vector<Site> SitesIn(Dialect dialect, const std::string& text, const Tree& tree) {
  std::vector<Site> sites;
  std::map<std::string, std::vector<std::size_t>> named;
  for (const std::size_t server : edit_judge::SitesOf(dialect, tree)) {
    const std::vector<std::string> names = NamesOf(dialect, tree, server);
    const std::size_t line = edit_judge::LineNumber(text, tree.nodes.at(server).head.begin);
    sites.push_back({":" + std::to_string(line), FirstHost(names), {server}});
    const std::set<std::string> own(names.begin(), names.end());
    for (const std::string& name : own) {
      if (IsHost(name)) named[name].push_back(server);
    }
  }
  for (const auto& [name, nodes] : named) {
    if (nodes.size() > 1) sites.push_back({name, name, nodes});
  }
  return sites;
}

std::string Renamed(Dialect dialect, const std::string& text, const Tree& tree, const Site& site,
                    const std::string& to) {
  const std::regex in_names = HeldName(site.name, true);
  const std::regex elsewhere = HeldName(site.name, false);
  std::map<std::size_t, std::pair<std::size_t, std::string>> changes;  // begin: end, text
  const auto change = [&](Bytes bytes, const std::regex& held) {
    const std::string word = text.substr(bytes.begin, bytes.end - bytes.begin);
    const bool quoted = word.size() > 1 && (word.front() == '"' || word.front() == '\'');
    const std::string inside = quoted ? word.substr(1, word.size() - 2) : word;
    const std::string changed = Replaced(inside, held, to);
    if (changed == inside) return;
    changes[bytes.begin] = {bytes.end, quoted ? word.front() + changed + word.back() : changed};
  };
  for (const std::size_t server : site.nodes) {
    const Node& block = tree.nodes.at(server);
    std::vector<Bytes> read;  // what is no comment
    for (std::size_t i = server; i < block.behind; ++i) {
      const Node& node = tree.nodes.at(i);
      read.push_back(node.head);
      for (std::size_t word = 1; word < node.words.size(); ++word) {
        change(node.words.at(word).bytes, StatesNames(dialect, node) ? in_names : elsewhere);
      }
    }
    for (std::size_t at = block.head.end; at < block.closing.begin; ++at) {
      const auto inside = std::find_if(read.begin(), read.end(), [&](const Bytes& bytes) {
        return bytes.begin <= at && at < bytes.end;
      });
      if (inside != read.end()) {
        at = inside->end - 1;
      } else if (text[at] == '#') {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        change({at, end}, elsewhere);
        at = end;
      }
    }
  }
  std::string renamed;
  std::size_t from = 0;
  for (const auto& [begin, end_and_text] : changes) {
    renamed += text.substr(from, begin - from) + end_and_text.second;
    from = end_and_text.first;
  }
  return renamed + text.substr(from);
}

}  // namespace adopt_judge
