// SPDX-License-Identifier: Apache-2.0

#include "document/apache/httpd.h"

#include <optional>
#include <regex>
#include <stdexcept>
#include <string_view>

namespace {

// Around a text that is only to be read. The section is unknown, which httpd says when it has read
// all texts. Its closing line is met by whatever is open at the end of the text. The blank before
// the first line end keeps a backslash at the end of the text from continuing that line.
constexpr std::string_view wrapper_head = "<Judge>\n";
constexpr std::string_view wrapper_end = " \n</Judge>\n";

std::string LoadModules(const std::vector<std::string>& modules) {
  std::string config;
  for (const std::string& module : modules) {
    config += "LoadModule " + module + "_module /usr/lib/apache2/modules/mod_" + module + ".so\n";
  }
  return config;
}

const std::string basic_config =
    "Listen 127.0.0.1:8081\n"
    "ServerName 127.0.0.1\n"
    "PidFile httpd.pid\n"
    "ErrorLog logs/error.log\n";

// What reads lines in its own way.
std::string ConfigToRead() {
  return LoadModules({"mpm_event", "macro", "lua"}) + basic_config;
}

std::string ConfigToCarryOut() {
  return LoadModules({"mpm_event",     "access_compat", "alias",      "auth_basic", "authn_core",
                      "authn_file",    "authz_core",    "authz_host", "authz_user", "autoindex",
                      "deflate",       "dir",           "env",        "expires",    "filter",
                      "headers",       "info",          "lua",        "macro",      "mime",
                      "negotiation",   "proxy",         "proxy_http", "rewrite",    "setenvif",
                      "socache_shmcb", "ssl",           "status",     "substitute"}) +
         basic_config + "TypesConfig /dev/null\n";
}

std::string FileName(std::size_t i) {
  return "text" + std::to_string(i) + ".conf";
}

bool Has(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

Answer::Kind KindOf(const std::string& message) {
  if (Has(message, "> but saw </Judge>") || Has(message, "</Judge> without matching <") ||
      Has(message, " was not closed.") || Has(message, "expected token not found: ")) {
    return Answer::Kind::kUnclosed;
  }
  for (const char* part : {" without matching <", "> but saw </", " missing closing '>'"}) {
    if (Has(message, part)) return Answer::Kind::kSyntaxError;
  }
  return Answer::Kind::kStopped;
}

// Whether all is carried out and something does not fit the machine, the folder of a log for
// example.
bool FailedAfterwards(std::string_view output) {
  return Has(output, "AH00014: Configuration check failed") && !Has(output, "Syntax error on line");
}

struct Found {
  std::size_t text = 0;  // which one
  Answer answer;
  bool while_reading = false;
};

// From httpd's words. Behind warnings there is either one line, for what was found while reading,
// or two, for what was found later.
Found Understand(const std::string& output) {
  static const std::regex error("Syntax error on line ([0-9]+) of [^\n ]*/text([0-9]+)\\.conf:");
  std::smatch match;
  if (!std::regex_search(output, match, error)) throw std::runtime_error("httpd: " + output);
  Found found;
  found.answer.line = std::stoul(match[1]);
  found.text = std::stoul(match[2]);
  found.answer.message = match.suffix();
  found.answer.kind = KindOf(found.answer.message);
  found.while_reading = !Has(output, "AH00526: ");
  return found;
}

std::string Includes(const std::vector<bool>& answered) {
  std::string config;
  for (std::size_t i = 0; i < answered.size(); ++i) {
    if (!answered[i]) config += "Include " + FileName(i) + "\n";
  }
  return config;
}

}  // namespace

Httpd::Httpd() : m_folder("apache") {}

std::string Httpd::Start(const std::string& config, const std::string& options, bool& taken) const {
  m_folder.Write("httpd.conf", config);
  std::string output;
  taken = m_folder.Run("apache2 -t -d " + m_folder.Path() + " -f httpd.conf " + options, output);
  return output;
}

std::vector<Answer> Httpd::Read(const std::vector<std::string>& texts) const {
  for (std::size_t i = 0; i < texts.size(); ++i) {
    m_folder.Write(FileName(i), std::string(wrapper_head) + texts[i] + std::string(wrapper_end));
  }
  std::vector<Answer> answers(texts.size());
  std::vector<bool> answered(texts.size(), false);
  for (std::size_t first = 0; first < texts.size(); ++first) {
    bool taken = false;
    const std::string output = Start(ConfigToRead() + Includes(answered), "", taken);
    const Found found = Understand(output);
    if (!found.while_reading) break;
    answers[found.text] = found.answer;
    --answers[found.text].line;
    for (; first < found.text; ++first) answered[first] = true;
    answered[first] = true;
  }
  return answers;
}

std::vector<Answer> Httpd::CarryOut(const std::vector<std::string>& texts) const {
  for (std::size_t i = 0; i < texts.size(); ++i) m_folder.Write(FileName(i), texts[i]);
  std::vector<Answer> answers(texts.size());
  std::vector<bool> answered(texts.size(), false);
  for (std::size_t starts = 0; starts < texts.size(); ++starts) {
    bool taken = false;
    const std::string output = Start(ConfigToCarryOut() + Includes(answered), "", taken);
    if (taken || FailedAfterwards(output)) break;
    const Found found = Understand(output);
    answers[found.text] = found.answer;
    answered[found.text] = true;
    for (std::size_t i = 0; !found.while_reading && i < found.text; ++i) answered[i] = true;
  }
  return answers;
}

std::string Httpd::Print(const std::vector<std::string>& texts, const std::string& options) const {
  for (std::size_t i = 0; i < texts.size(); ++i) m_folder.Write(FileName(i), texts[i]);
  const std::vector<bool> all(texts.size(), false);
  bool taken = false;
  std::string output = Start(ConfigToCarryOut() + Includes(all), options, taken);
  if (!taken) throw std::runtime_error("httpd: " + output);
  return output;
}
