// SPDX-License-Identifier: Apache-2.0

// What inputs of hostile sizes cost a careful edit, see measure.h: above all configurations, which
// their owners write, and values.

#include <string>
#include <vector>

#include "edit/edit.h"
#include "hostile/measure.h"

using hostile::Contains;
using hostile::Number;
using hostile::Repeat;
using hostile::Require;

namespace {

const std::string kNginxTemplate = "server {\nserver_name a;\nroot /{% $v %};\n}\n";
const std::string kNginxSite = "server {\nserver_name a;\nroot /1;\n}\n";
const std::string kApacheTemplate =
    "<VirtualHost *>\nServerName a\nDocumentRoot /{% $v %}\n</VirtualHost>\n";
const std::string kApacheSite = "<VirtualHost *>\nServerName a\nDocumentRoot /1\n</VirtualHost>\n";

tov_edit::Result Result(tov_edit::Dialect dialect, const std::string& config,
                        const std::string& text, const std::string& value = "2",
                        const std::string& old_value = "1") {
  tov_edit::Request request;
  request.dialect = dialect;
  request.template_text = text;
  request.values["v"] = {old_value, value};
  hostile::BeginRequest();
  tov_edit::Result result = tov_edit::Edit(request, config, "site.conf");
  hostile::EndRequest();
  return result;
}

std::string Edited(tov_edit::Dialect dialect, const std::string& config, const std::string& text,
                   const std::string& value = "2", const std::string& old_value = "1") {
  tov_edit::Result result = Result(dialect, config, text, value, old_value);
  Require(result.refusals.empty(), "refused");
  return std::move(result.text);
}

std::string EditedNginx(const std::string& config, const std::string& text = kNginxTemplate) {
  return Edited(tov_edit::Dialect::kNginx, config, text);
}

std::string EditedApache(const std::string& config, const std::string& text = kApacheTemplate) {
  return Edited(tov_edit::Dialect::kApache, config, text);
}

// --- The configuration ---

void OneLine(std::size_t size) {
  const std::string edited = EditedApache("#" + std::string(size, 'x') + "\n" + kApacheSite);
  Require(Contains(edited, "DocumentRoot /2"), "not edited");
}

void Nested(std::size_t size) {
  const std::string front = Repeat(size, [](std::size_t) { return "a {\n"; });
  const std::string back = Repeat(size, [](std::size_t) { return "}\n"; });
  Require(Contains(EditedNginx(front + back + kNginxSite), "root /2"), "not edited");
}

void Blocks(std::size_t size) {
  const auto site = [](std::size_t i) {
    return "server {\nserver_name s" + Number(i) + ";\nroot /1;\n}\n";
  };
  Require(Contains(EditedNginx(Repeat(size, site) + kNginxSite), "root /2"), "not edited");
}

void BlocksThatLookAlike(std::size_t size) {
  const std::string config = Repeat(size, [](std::size_t) { return kNginxSite; });
  Require(Result(tov_edit::Dialect::kNginx, config, kNginxTemplate).refusals.size() == 1, "edited");
}

void BlocksInConditions(std::size_t size) {
  constexpr std::size_t kDeep = 100;
  const std::string config = Repeat(kDeep, [](std::size_t) { return "<IfModule a>\n"; }) +
                             Repeat(size, [](std::size_t) { return kApacheSite; }) +
                             Repeat(kDeep, [](std::size_t) { return "</IfModule>\n"; });
  Require(Result(tov_edit::Dialect::kApache, config, kApacheTemplate).refusals.size() == 1,
          "edited");
}

void ConditionsInConditions(std::size_t size) {
  const std::string config = Repeat(size, [](std::size_t) { return "<IfModule a>\n"; }) +
                             kApacheSite +
                             Repeat(size, [](std::size_t) { return "</IfModule>\n"; });
  Result(tov_edit::Dialect::kApache, config, kApacheTemplate);  // of few it is made
}

void Lines(std::size_t size) {
  const auto line = [](std::size_t i) { return "x" + Number(i) + " 1;\n"; };
  const std::string config = "server {\nserver_name a;\nroot /1;\n" + Repeat(size, line) + "}\n";
  Require(Contains(EditedNginx(config), "root /2"), "not edited");
}

void NamesAndAddresses(std::size_t size) {
  const auto name = [](std::size_t i) { return " s" + Number(i); };
  const auto listen = [](std::size_t i) { return "listen unix:/run/" + Number(i) + ";\n"; };
  const std::string config =
      "server {\nserver_name a1" + Repeat(size, name) + ";\n" + Repeat(size, listen) + "}\n";
  const std::string edited = EditedNginx(config, "server {\nserver_name a{% $v %};\n}\n");
  Require(Contains(edited, "server_name a2 s0"), "not edited");
}

void Blanks(std::size_t size) {
  const std::string config = "server {\n" + std::string(size, ' ') + "server_name a;\n}\n";
  const std::string lines = Repeat(100, [](std::size_t i) { return "x" + Number(i) + " 1;\n"; });
  const std::string edited = EditedNginx(config, "server {\nserver_name a;\n" + lines + "}\n");
  Require(edited.size() < config.size() + 200'000, "they are taken over");
}

// --- The values ---

void OneValue(std::size_t size) {
  const std::string edited =
      Edited(tov_edit::Dialect::kApache, kApacheSite, kApacheTemplate, std::string(size, 'x'));
  Require(edited.size() == kApacheSite.size() + size - 1, "not edited");
}

void ValueOfManyWords(std::size_t size) {
  const std::string words = Repeat(size, [](std::size_t i) { return " a" + Number(i); });
  const std::string edited =
      Edited(tov_edit::Dialect::kApache, kApacheSite,
             "<VirtualHost *>\nServerName a\nServerAlias [% $v %]\n</VirtualHost>\n", words);
  Require(Contains(edited, " a0 a1 a2 "), "not added");
}

void QuotedValue(std::size_t size) {
  tov_edit::Request request;
  request.dialect = tov_edit::Dialect::kApache;
  request.template_text = kApacheTemplate;
  request.values["v"] = {"1", std::string(size / 2, '\\') + std::string(size / 2, '"')};
  request.quote = true;
  hostile::BeginRequest();
  const tov_edit::Result result = tov_edit::Edit(request, kApacheSite, "site.conf");
  hostile::EndRequest();
  Require(result.refusals.empty() && result.changed, "not edited");
}

// --- The template ---

void TemplateLines(std::size_t size) {
  const auto line = [](std::size_t i) { return "x" + Number(i) + " {% $v %};\n"; };
  const std::string edited =
      EditedNginx("", "server {\nserver_name a;\n" + Repeat(size, line) + "}\n");
  Require(Contains(edited, "x" + Number(size - 1) + " 2;"), "not added");
}

void TemplateLinesThatAreThere(std::size_t size) {
  const auto old_line = [](std::size_t i) { return "x" + Number(i) + " 1;\n"; };
  const auto line = [](std::size_t i) { return "x" + Number(i) + " {% $v %};\n"; };
  const std::string edited =
      EditedNginx("server {\nserver_name a;\n" + Repeat(size, old_line) + "}\n",
                  "server {\nserver_name a;\n" + Repeat(size, line) + "}\n");
  Require(Contains(edited, "x" + Number(size - 1) + " 2;"), "not edited");
}

// Of each kind a quarter; a server has an address, and a name, once only. With all blocks that fit,
// those are sought that have what changes.
void TemplateLinesAlike(std::size_t size) {
  const auto server = [](const std::string& value, std::size_t lines, std::size_t words) {
    const auto line = [](const std::string& text) { return [=](std::size_t) { return text; }; };
    return "server {\n" + Repeat(lines, line("x " + value + ";\n")) +
           Repeat(words, line("listen 127.0.0." + value + ":80;\n")) +
           Repeat(words, line("server_name " + value + ";\n")) +
           Repeat(lines, line("# " + value + "\n")) + "}\n";
  };
  const std::size_t each = size / 4;
  tov_edit::Request request;
  request.template_text = server("{% $v %}", each, each);
  request.values["v"] = {"1", "2"};
  request.all = true;
  const std::string config = server("1", each, each);
  hostile::BeginRequest();
  const tov_edit::Result result = tov_edit::Edit(request, config, "site.conf");
  hostile::EndRequest();
  Require(result.refusals.empty() && result.text == server("2", each, 1), "not edited");
}

void ImportsWithoutEnd(std::size_t size) {
  tov_edit::Request request;
  request.template_text = "{% import 1 %}\n";
  const std::string filler(size, '\n');
  request.importer = [&](const std::string& name, const tov_edit::FilePlace&) {
    return tov_edit::ImportedFile{name, "{% import " + name + "1 %}\n" + filler, ""};
  };
  hostile::BeginRequest();
  const tov_edit::Result result = tov_edit::Edit(request, "", "site.conf");
  hostile::EndRequest();
  Require(result.refusals.size() == 1, "not refused");
}

const std::vector<hostile::Case> kCases = {
    {"a comment in one line", "bytes", 100'000'000, OneLine},
    {"nested blocks", "levels", 1'000'000, Nested},
    {"blocks, one changed", "blocks", 1'000'000, Blocks},
    {"blocks that all fit", "blocks", 100'000, BlocksThatLookAlike},
    {"blocks that all fit, in 100 conditions", "blocks", 100'000, BlocksInConditions},
    {"conditions in conditions", "levels", 1'000'000, ConditionsInConditions},
    {"lines in one block", "lines", 1'000'000, Lines},
    {"names and addresses of one server, of each", "words", 100'000, NamesAndAddresses},
    {"blanks before a line that others come behind", "bytes", 100'000'000, Blanks},
    {"one value", "bytes", 10'000'000, OneValue},
    {"one value of many words", "words", 1'000'000, ValueOfManyWords},
    {"one value in quotes", "bytes", 10'000'000, QuotedValue},
    {"template of one block", "lines", 100'000, TemplateLines},
    {"... of which all lines change", "lines", 100'000, TemplateLinesThatAreThere},
    {"... of which all lines are alike, and change", "lines", 100'000, TemplateLinesAlike},
    {"imports without an end, each so long", "bytes", 100'000, ImportsWithoutEnd},
};

}  // namespace

int main(int argc, char** argv) {
  return hostile::Run(kCases, argc, argv);
}
