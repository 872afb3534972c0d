// SPDX-License-Identifier: Apache-2.0

#include "cli/sites_json.h"

#include <utility>

#include "report/json.h"

namespace cli {
namespace {

using report::JsonWriter;
using tov_server::Site;
using tov_server::SiteAddress;

void WriteAddress(const SiteAddress& address, JsonWriter& json) {
  json.Begin('{');
  json.Member("address", address.address);
  json.Member("tls", address.tls);
  json.Member("default", address.is_default);
  json.End('}');
}

void WriteSite(const Site& site, JsonWriter& json) {
  json.Begin('{');
  json.Member("protocol", site.protocol);
  json.Member("names", site.names);
  json.Name("addresses");
  json.Begin('[');
  for (const SiteAddress& address : site.addresses) WriteAddress(address, json);
  json.End(']');
  if (!site.root.empty()) json.Member("root", site.root);
  json.Member("file", site.place.file);
  json.Member("line", site.place.line);
  json.Member("column", site.place.column);
  json.End('}');
}

}  // namespace

void WriteSites(const std::vector<Site>& sites, JsonWriter& json) {
  json.Begin('[');
  for (const Site& site : sites) WriteSite(site, json);
  json.End(']');
}

std::string SitesJson(const tov_server::Sites& read) {
  JsonWriter json;
  json.Begin('{');
  json.Member("main", read.server.files.front().name);
  json.Member("dialect", NameOf(read.server.dialect));
  json.Name("sites");
  WriteSites(read.sites, json);
  json.Name("warnings");
  report::Write(json, read.server.findings);
  json.End('}');
  return std::move(json).Text();
}

}  // namespace cli
