// SPDX-License-Identifier: Apache-2.0

#include "sites.h"

#include <stdexcept>

namespace bench {
namespace {

std::string Number(std::size_t number) {
  return std::to_string(number);
}

std::string SiteFolder(std::size_t number, const std::string& folder) {
  return "/srv/site" + Number(number) + "/" + folder;
}

std::string NginxBlock(std::size_t number, const std::string& lines) {
  const std::string name = SiteName(number);
  return "server {\n\tserver_name " + name + " www." + name + ";\n" + lines + "}\n";
}

std::string NginxFolder(std::size_t number, const std::string& folder) {
  return "\troot " + SiteFolder(number, folder) + ";\n";
}

std::string NginxSite(std::size_t number, const std::string& folder) {
  return NginxBlock(number,
                    "\tlisten 127.0.0.1:8080;\n"
                    "\tlisten 127.0.0.1:8081;\n" +
                        NginxFolder(number, folder) +
                        "\tlocation / {\n"
                        "\t\ttry_files $uri $uri/ =404;\n"
                        "\t}\n"
                        "\tlocation /static/ {\n"
                        "\t\texpires 30d;\n"
                        "\t}\n");
}

std::string NginxSetting(std::size_t number, const std::string& value) {
  return "\tadd_header X-Setting-" + Number(number) + " " + value + ";\n";
}

std::string ApacheBlock(std::size_t number, const std::string& lines) {
  constexpr std::size_t kByte = 256;
  const std::string address = "10." + Number(number / kByte / kByte) + "." +
                              Number(number / kByte % kByte) + "." + Number(number % kByte);
  return "<VirtualHost " + address + ":80>\n" + lines + "</VirtualHost>\n";
}

std::string ApacheFolder(std::size_t number, const std::string& folder) {
  return "\tDocumentRoot " + SiteFolder(number, folder) + "\n";
}

std::string ApacheSite(std::size_t number, const std::string& folder) {
  const std::string name = SiteName(number);
  return ApacheBlock(number, "\tServerName " + name + "\n\tServerAlias www." + name + "\n" +
                                 ApacheFolder(number, folder) +
                                 "\tOptions FollowSymLinks\n"
                                 "\t<Directory /srv/site" +
                                 Number(number) +
                                 ">\n"
                                 "\t\tRequire all granted\n"
                                 "\t</Directory>\n"
                                 "\t<Location /status>\n"
                                 "\t\tRequire local\n"
                                 "\t</Location>\n");
}

std::string ApacheSetting(std::size_t number, const std::string& value) {
  return "\tSetEnv SETTING_" + Number(number) + " " + value + "\n";
}

}  // namespace

const Dialect kNginx = {"Nginx", NginxSite, NginxBlock, NginxFolder, NginxSetting};
const Dialect kApache = {"Apache", ApacheSite, ApacheBlock, ApacheFolder, ApacheSetting};

const Dialect& DialectOf(const std::string& name) {
  for (const Dialect* dialect : {&kNginx, &kApache}) {
    if (name == dialect->name) return *dialect;
  }
  throw std::invalid_argument("no dialect " + name);
}

std::string SiteName(std::size_t number) {
  return "site" + Number(number) + ".example";
}

std::string Repeat(std::size_t count, const std::function<std::string(std::size_t)>& piece) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece(i);
  return text;
}

std::string Sites(const Dialect& dialect, std::size_t count, const std::string& folder) {
  return Repeat(count, [&](std::size_t i) { return dialect.site(i, folder); });
}

std::size_t EditedSite(std::size_t count) {
  return count / 2;
}

std::string OneSiteTemplate(const Dialect& dialect, std::size_t count) {
  const std::size_t number = EditedSite(count);
  return dialect.block(number, dialect.folder(number, kFolderPlace));
}

}  // namespace bench
