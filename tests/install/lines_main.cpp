// SPDX-License-Identifier: Apache-2.0

// The rest of lines.cpp, behind Edited() of docs/engine.md: what a program that links the library
// relies on.

#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "template/apache.h"
#include "template/condition.h"
#include "template/line_list_config.h"
#include "template/line_registry.h"
#include "template/nginx.h"
#include "template/template.h"

// Functions that the library has under the same names for itself. Where they meet, the library's
// edits or this program's calls come out wrong.
#ifdef HOST_HAS_HELPERS
namespace str {
std::string Trim(const std::string& /*text*/) {
  return "the host's";
}
bool StartsWith(const std::string& /*text*/, const std::string& /*prefix*/) {
  return false;
}
}  // namespace str
namespace test {
bool Ip(const std::string& /*text*/) {
  return false;
}
}  // namespace test
namespace tov_file {
bool Exists(const std::string& /*path*/) {
  return false;
}
}  // namespace tov_file
#endif

namespace {

int failures = 0;

void Expect(const std::string& what, const std::string& is, const std::string& should_be) {
  if (is == should_be) return;
  ++failures;
  std::cerr << what << ": is\n" << is << "\nand should be\n" << should_be << '\n';
}

// A dialect of the program's own: blocks between BEGIN and END.
class Begin : public LineListConfig {
 public:
  explicit Begin(const std::string& text) : LineListConfig(text, {"color"}) {}
  bool StartsSection(const std::string& line) const override { return line.rfind("BEGIN", 0) == 0; }
  bool EndedSection(const std::string& line) const override { return line.rfind("END", 0) == 0; }
  std::string GetCommentChar() const override { return "#"; }
  std::string GetKeyFieldConstParam(const std::string& line) const override {
    return line.substr(0, line.find(' '));
  }
};

void EditsByADialectOfItsOwn() {
  const std::string edited = ParserTemplate(std::make_shared<Begin>("BEGIN a\ncolor red\nEND"))
                                 .SetValue("color", "red", "blue")
                                 .SetTemplate("BEGIN a\ncolor {% $color %}\nEND")
                                 .ApplyTemplate()
                                 .GetConfig();
  Expect("own dialect", edited, "BEGIN a\ncolor blue\nEND");
}

void CatchesErrorsByTheirTypes() {
  std::string caught;
  try {
    GetConfigType("nginx", "");
  } catch (const std::runtime_error& error) {
    caught = error.what();
  }
  Expect("std::runtime_error", caught, "Unknown config type");

  const char* const path = "imports_itself.template";
  std::ofstream(path) << "{% import imports_itself.template %}\n";
  caught.clear();
  try {
    ParserTemplate(GetConfigType("Nginx", ""))
        .SetTemplate(std::string("{% import ") + path + " %}");
  } catch (const tov_err::Error& error) {
    caught = error.type() + ' ' + error.object() + ' ' + error.params().at(0).name;
  }
  std::remove(path);
  Expect("tov_err::Error", caught, "template circular_import filename");
}

void ReceivesTheLog() {
  std::string log;
  tov_log::SetHandler(
      [&log](tov_log::Level /*level*/, const std::string& module, const std::string& channel,
             const std::string& text) { log += module + '/' + channel + ": " + text + '\n'; });
  tov_log::SetLevel(tov_log::kTrace);
  ParserTemplate(GetConfigType("Nginx", "")).ClearValues();
  tov_log::SetHandler(nullptr);
  Expect(
      "log", log,
      "template/core: tov_template::ParserTemplate& tov_template::ParserTemplate::ClearValues()\n");
}

void UsesTheClassesBelowTheFacade() {
  const std::shared_ptr<BaseConfig> config = GetConfigType("Apache", "<A>\nb c\n</A>");
  ConfigView(config).ChangeParam("<A>", "b c", "b d", "");
  Expect("view", config->Str(), "<A>\nb d\n</A>");
  Expect("dynamic type", dynamic_cast<Apache*>(config.get()) != nullptr ? "Apache" : "another",
         "Apache");
  const Template::Values values = {{"ssl", "on"}};
  Expect("condition", Condition("if $ssl == on", values).Result() ? "true" : "false", "true");
  BoolStackTape tape;
  tape.Open(false);
  Expect("tape", tape.Enabled() ? "true" : "false", "false");
  const Template parsed(GetConfigType("Nginx", ""), values, values);
  Expect("line", parsed.Parse("ssl {% $ssl %};").m_value.Str(), "ssl on;");

  std::list<std::string> lines = {" listen 80;"};
  LineRegistry registry;
  LineRegistry::List registered;
  registry.Add(registered, lines.begin());
  Expect("registry", registry.Holds(registered, "listen 80;") ? "holds" : "does not hold", "holds");
}

}  // namespace

int main() {
  Expect("Edited()",
         Edited("server {\n\tserver_name a.example;\n\troot /a;\n}\n",
                "server {\n\tserver_name {% $name %};\n}\n"),
         "server {\n\tserver_name b.example;\n\troot /a;\n}");
  EditsByADialectOfItsOwn();
  CatchesErrorsByTheirTypes();
  ReceivesTheLog();
  UsesTheClassesBelowTheFacade();
#ifdef HOST_HAS_HELPERS
  Expect("the host's Trim", str::Trim(" a "), "the host's");
  Expect("the host's Ip", test::Ip("127.0.0.1") ? "true" : "false", "false");
#endif
  return failures == 0 ? 0 : 1;
}
