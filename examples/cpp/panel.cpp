// SPDX-License-Identifier: Apache-2.0

// What a panel does with the sites of an nginx server:
//
//   panel CONFIG add NAME ROOT          a new site
//   panel CONFIG rename NAME NEW_NAME
//   panel CONFIG tls NAME on|off
//   panel CONFIG remove NAME
//
// Everything else in the file stays as it is. An edit that would do other than asked is refused,
// with the reasons and exit status 4. Where QELTEMPLATE_CHECK is a command, such as "nginx -t", it
// judges the result, and the old file is put back when it refuses.
#include <qeltemplate/edit/edit.h>
#include <qeltemplate/update/update.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

const char* const kSite = R"(
server {
	listen 80;
	server_name {% $name %};
	root {% $root %};
}
)";

const char* const kName = R"(
server {
	server_name {% $name %};
}
)";

const char* const kTls = R"(
server {
	server_name {% $name %};
	{% if $tls == on %}
	listen 443 ssl;
	ssl_certificate /etc/ssl/{% $name %}/fullchain.pem;
	ssl_certificate_key /etc/ssl/{% $name %}/key.pem;
	{% endif %}
}
)";

const char* const kRemoval = R"(
{% if $site == on %}
server {
	server_name {% $name %};
}
{% endif %}
)";

tov_edit::Request RequestFor(const std::string& text, tov_edit::Values values) {
  tov_edit::Request request;
  request.dialect = tov_edit::Dialect::kNginx;
  request.template_name = "panel";
  request.template_text = text;
  request.values = std::move(values);
  return request;
}

// None: the command line asks for nothing that there is.
std::optional<tov_edit::Request> RequestFor(const std::vector<std::string>& words) {
  const std::string task = words.size() > 1 ? words[1] : "";
  if (task == "add" && words.size() == 4) {
    auto request =
        RequestFor(kSite, {{"name", {std::nullopt, words[2]}}, {"root", {std::nullopt, words[3]}}});
    request.create = tov_edit::Create::kOnly;
    request.quote = true;
    return request;
  }
  if (task == "rename" && words.size() == 4) {
    return RequestFor(kName, {{"name", {words[2], words[3]}}});
  }
  if (task == "tls" && words.size() == 4) {
    auto request =
        RequestFor(kTls, {{"name", {words[2], words[2]}}, {"tls", {std::nullopt, words[3]}}});
    request.create = tov_edit::Create::kNever;
    return request;
  }
  if (task == "remove" && words.size() == 3) {
    auto request =
        RequestFor(kRemoval, {{"name", {words[2], words[2]}}, {"site", {std::nullopt, "off"}}});
    request.must_exist = true;
    return request;
  }
  return std::nullopt;
}

// What the program exits with.
int CarryOut(const tov_edit::Request& request, const std::string& config) {
  tov_update::FileUpdate update({config});
  const tov_edit::Result result = Edit(request, update.Read(0), config);
  for (const tov_edit::Finding& refusal : result.refusals) {
    std::cerr << "not edited: " << Shown(refusal) << " [" << refusal.name << "]\n";
  }
  if (!result.refusals.empty()) return 4;
  for (const tov_edit::Finding& warning : result.warnings) {
    std::cerr << "warning: " << Shown(warning) << " [" << warning.name << "]\n";
  }
  update.Replace(0, result.text);
  tov_update::UpdateOptions options;
  const char* const check = std::getenv("QELTEMPLATE_CHECK");
  if (check != nullptr) options.check = check;
  update.Commit(options);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const std::optional<tov_edit::Request> request = RequestFor(words);
  if (!request) {
    std::cerr << "usage: panel CONFIG add NAME ROOT\n"
                 "       panel CONFIG rename NAME NEW_NAME\n"
                 "       panel CONFIG tls NAME on|off\n"
                 "       panel CONFIG remove NAME\n";
    return 2;
  }
  try {
    return CarryOut(*request, words[0]);
  } catch (const tov_update::ServerRefusal& refusal) {
    std::cerr << "the server does not take it: " << refusal.what() << '\n';
  } catch (const std::exception& error) {
    std::cerr << "panel: " << error.what() << '\n';
  }
  return EXIT_FAILURE;
}
