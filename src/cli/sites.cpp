// SPDX-License-Identifier: Apache-2.0

// qeltemplate sites: the sites of a server, wherever they stand.

#include "server/sites.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <tuple>
#include <utility>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "cli/request.h"
#include "cli/server_options.h"
#include "cli/sites_json.h"
#include "cli/text_io.h"

namespace cli {
namespace {

using tov_server::Site;
using tov_server::SiteAddress;

constexpr char kFooter[] = R"(
Shows each site of the server whose main file is MAIN.conf, with the files that
this includes: its names, addresses, which of them speak TLS, its documents, and
FILE:LINE. On a terminal as a table; else in five columns with tabs between, with
commas between names and between addresses, and "-" for nothing.

Examples:
  qeltemplate sites
  qeltemplate sites --name shop.example /etc/nginx/nginx.conf)";

struct SitesOptions : ServerOptions {
  std::set<std::string> names;      // only sites with one of them; empty: all
  std::set<std::string> addresses;  // the same
  bool json = false;
  std::set<std::string> ignored;
};

using Row = std::array<std::string, 5>;  // a site's columns

bool IsWanted(const Site& site, tov_server::Dialect dialect, const SitesOptions& options) {
  const auto& [names, addresses] = std::tie(options.names, options.addresses);
  const auto has_name = [&](const std::string& name) {
    return tov_server::HasName(site, dialect, name);
  };
  const auto has_address = [&](const std::string& address) {
    return tov_server::HasAddress(site, dialect, address);
  };
  return (names.empty() || std::any_of(names.begin(), names.end(), has_name)) &&
         (addresses.empty() || std::any_of(addresses.begin(), addresses.end(), has_address));
}

// "-" for nothing. No more than `most` of the words, if that is not 0: then how many more there
// are.
std::string Joined(const std::vector<std::string>& words, const char* separator, std::size_t most) {
  if (words.empty()) return "-";
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (most != 0 && i == most) return text + " +" + std::to_string(words.size() - most);
    if (i > 0) text += separator;
    text += words[i].empty() ? "\"\"" : Printable(words[i]);
  }
  return text;
}

std::string TlsOf(const Site& site, const char* separator) {
  std::vector<std::string> with_tls;
  for (const SiteAddress& address : site.addresses) {
    if (address.tls) with_tls.push_back(address.address);
  }
  if (with_tls.empty()) return "-";
  return with_tls.size() == site.addresses.size() ? "yes" : Joined(with_tls, separator, 0);
}

Row RowOf(const Site& site, bool table) {
  constexpr std::size_t kMostNames = 3;
  constexpr std::size_t kMostAddresses = 4;
  const char* const separator = table ? " " : ",";
  std::vector<std::string> addresses;
  for (const SiteAddress& address : site.addresses) {
    addresses.push_back(address.address);
  }
  return {Joined(site.names, separator, table ? kMostNames : 0),
          Joined(addresses, separator, table ? kMostAddresses : 0), TlsOf(site, separator),
          site.root.empty() ? "-" : Printable(site.root),
          Printable(site.place.file) + ':' + std::to_string(site.place.line)};
}

std::string Lines(const std::vector<Site>& sites) {
  std::string text;
  for (const Site& site : sites) {
    const Row row = RowOf(site, false);
    for (std::size_t i = 0; i < row.size(); ++i)
      (text += row.at(i)) += i + 1 < row.size() ? '\t' : '\n';
  }
  return text;
}

// Bytes that begin a character: the others take no room on a terminal.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
  }));
}

std::string Table(const std::vector<Site>& sites) {
  std::vector<Row> rows = {{"NAMES", "ADDRESSES", "TLS", "ROOT", "PLACE"}};
  for (const Site& site : sites) rows.push_back(RowOf(site, true));
  std::array<std::size_t, 5> widths = {};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i)
      widths.at(i) = std::max(widths.at(i), WidthOf(row.at(i)));
  }
  std::string text;
  for (const Row& row : rows) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      text += row.at(i);
      text.append(widths.at(i) + 2 - WidthOf(row.at(i)), ' ');
    }
    text += row.back() + '\n';
  }
  return text;
}

void SayFindings(const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) Say("warning: " + Said(finding));
}

Outcome Run(const SitesOptions& options) {
  tov_server::Sites read = ReadServersSites(options);
  std::vector<Finding>& findings = read.server.findings;
  Ignore(options.ignored, findings);
  std::vector<Site>& sites = read.sites;
  sites.erase(std::remove_if(
                  sites.begin(), sites.end(),
                  [&](const Site& site) { return !IsWanted(site, read.server.dialect, options); }),
              sites.end());
  const ExitCode code = findings.empty() ? kDone : kFindings;
  if (options.json) return {SitesJson(read), code};
  SayFindings(findings);
  return {isatty(STDOUT_FILENO) == 1 ? Table(sites) : Lines(sites), code};
}

void AddOptions(CLI::App& command, SitesOptions& options) {
  AddNames(command, "--name", options.names, "Only sites with this name, or a wildcard for it");
  AddNames(command, "--address", options.addresses,
           "Only sites with this address: \"80\", \"127.0.0.1\", \"[::1]:8080\"")
      ->type_name("ADDRESS");
  command.add_flag("--json", options.json, "Write JSON");
  AddDialectOption(command, options.dialect, "the server");
  AddServerOptions(command, options);
  AddIgnoreOption(command, options.ignored);
  AddFileOption(command, "MAIN.conf", options.main,
                "The server's main file; where it usually is when left out");
  command.footer(std::string(kFooter) + "\n\n" + kFindingsExitHelp);
}

}  // namespace

Command AddSites(CLI::App& program) {
  CLI::App* command = program.add_subcommand("sites", "List the sites of a server");
  const auto options = std::make_shared<SitesOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
