// SPDX-License-Identifier: Apache-2.0

// What inputs of hostile sizes cost the engine, see measure.h.

#include <string>
#include <vector>

#include "hostile/measure.h"
#include "support/template_probe.h"
#include "template/qeltemplate.h"

using hostile::Contains;
using hostile::Number;
using hostile::Repeat;
using hostile::Require;
using tov_template::ParserTemplate;

namespace {

// A parser with the value "v", old "1" and new "2". The request begins here.
ParserTemplate Parser(const std::string& dialect, const std::string& config) {
  hostile::BeginRequest();
  ParserTemplate parser(tov_template::GetConfigType(dialect, config));
  parser.SetValue("v", "1", "2");
  return parser;
}

// The text that the template `text` makes of the configuration. The request ends here.
std::string Edited(ParserTemplate parser, const std::string& text) {
  std::string edited = parser.SetTemplate(text).ApplyTemplate().GetConfig();
  hostile::EndRequest();
  return edited;
}

std::string Edited(const std::string& dialect, const std::string& config, const std::string& text) {
  return Edited(Parser(dialect, config), text);
}

std::string Site(std::size_t number) {
  return "server {\n\tserver_name s" + Number(number) +
         ".e;\n\troot /srv/1;\n\tlocation / {\n\t\tindex x;\n\t}\n}\n";
}

// A template that removes the site.
std::string RemovedSite(std::size_t number) {
  return "server {\nserver_name s" + Number(number) + ".e;\n}\n";
}

// --- The configuration ---

void OneLine(std::size_t size) {
  const std::string line(size, 'x');
  const std::string edited =
      Edited("Nginx", "server {\n" + line + ";\nroot /1;\n}", "server {\nroot /{% $v %};\n}");
  Require(edited.size() == size + 21 && Contains(edited, "root /2;"), "not edited");
}

void OneLineOfAliases(std::size_t size) {
  const std::string aliases = Repeat(size / 10, [](std::size_t) { return " a.example"; });
  const std::string edited = Edited("Apache", "<VirtualHost a>\nServerAlias x\n</VirtualHost>",
                                    "<VirtualHost a>\nServerAlias" + aliases + "\n</VirtualHost>");
  Require(Contains(edited, "ServerAlias a.example"), "not added");
}

void LinesInABlock(std::size_t size) {
  const std::string lines = Repeat(size, [](std::size_t i) { return "x" + Number(i) + " on;\n"; });
  const std::string edited = Edited("Nginx", "server {\n" + lines + "root /1;\n}",
                                    "server {\nroot /{% $v %};\nnew on;\nx77 {% $v %};\n}");
  Require(Contains(edited, "root /2;") && Contains(edited, "new on;"), "not edited");
}

void LinesInABlockAndInTheTemplate(std::size_t size) {
  const std::string lines = Repeat(size, [](std::size_t i) { return "x" + Number(i) + " 1;\n"; });
  const std::string changes =
      Repeat(size / 10, [&](std::size_t i) { return "x" + Number(10 * i) + " {% $v %};\n"; });
  const std::string edited =
      Edited("Nginx", "server {\n" + lines + "}", "server {\n" + changes + "}");
  Require(Contains(edited, "x0 2;\nx1 1;") && edited.size() == lines.size() + 10, "not edited");
}

void ListensInABlock(std::size_t size) {
  const auto listen = [](std::size_t i) { return "listen unix:/run/" + Number(i) + ";\n"; };
  const std::string edited =
      Edited("Nginx", "server {\n" + Repeat(size, listen) + "}",
             "server {\n" + Repeat(size / 10, listen) + "{% if $none %}\n" + listen(size - 1) +
                 "{% endif %}\n" + "listen unix:/new;\n}");
  Require(Contains(edited, "listen unix:/new;") && !Contains(edited, listen(size - 1)),
          "not edited");
}

void AliasLinesInABlock(std::size_t size) {
  const auto alias = [](std::size_t i) { return "ServerAlias a" + Number(i) + "\n"; };
  const std::string edited =
      Edited("Apache", "<VirtualHost a>\n" + Repeat(size, alias) + "</VirtualHost>",
             "<VirtualHost a>\n{% if $none %}\n" + Repeat(size / 10, alias) +
                 "{% endif %}\nServerAlias new\n</VirtualHost>");
  Require(Contains(edited, "ServerAlias new") && !Contains(edited, "ServerAlias a0\n"),
          "not edited");
}

void Blocks(std::size_t size) {
  const std::string edited =
      Edited("Nginx", Repeat(size, Site), "server {\nserver_name s7.e;\nroot /srv/{% $v %};\n}");
  Require(Contains(edited, "root /srv/2;"), "not edited");
}

void BlocksThatAllChange(std::size_t size) {
  const std::string edited =
      Edited("Nginx", Repeat(size, Site), Repeat(size, [](std::size_t i) {
               return "server {\nserver_name s" + Number(i) + ".e;\nroot /srv/{% $v %};\n}\n";
             }));
  Require(!Contains(edited, "root /srv/1;"), "not edited");
}

void BlocksRemoved(std::size_t size) {
  const std::string edited =
      Edited("Nginx", Repeat(size, Site), "{% if $none %}\n" + Repeat(size, RemovedSite));
  Require(edited.empty(), "not removed");
}

void BlocksRemovedFromTheLast(std::size_t size) {
  const std::string edited =
      Edited("Nginx", Repeat(size, Site), "{% if $none %}\n" + Repeat(size, [size](std::size_t i) {
                                            return RemovedSite(size - 1 - i);
                                          }));
  Require(edited.empty(), "not removed");
}

void BlocksOfOneName(std::size_t size) {
  const std::string edited = Edited(
      "Apache",
      Repeat(size, [](std::size_t) { return "<Directory />\nOptions A\nx 1\n</Directory>\n"; }),
      "<Directory />\nx {% $v %}\n</Directory>");
  Require(Contains(edited, "x 2"), "not edited");
}

void Nested(std::size_t size) {
  const std::string config = Repeat(size, [](std::size_t) { return "a {\n"; }) + "root /1;\n" +
                             Repeat(size, [](std::size_t) { return "}\n"; });
  Require(Edited("Nginx", config, "b {\n}").size() + 1 == config.size(), "lines are lost");
}

void NestedWithNames(std::size_t size) {
  const std::string config = Repeat(size, [](std::size_t) { return "a {\nserver_name b;\n"; }) +
                             Repeat(size, [](std::size_t) { return "}\n"; });
  Require(Edited("Nginx", config, "b {\n}").size() + 1 == config.size(), "lines are lost");
}

// Closing lines that give every block read so far another path.
void PathsThatAllChange(std::size_t size) {
  const std::string config = Repeat(size, [](std::size_t i) {
    return "x {\ny" + Number(i) + " {\nssl on;\nz;\n}\nssl on;\nz;\n}\n";
  });
  Require(Edited("Nginx", config, "b {\n}").size() + 1 == config.size(), "lines are lost");
}

// --- The template and its values ---

void TemplateLines(std::size_t size) {
  const std::string lines = Repeat(size, [](std::size_t i) { return "x" + Number(i) + " on;\n"; });
  const std::string edited = Edited("Nginx", "", "server {\nserver_name a;\n" + lines + "}");
  Require(Contains(edited, "x" + Number(size - 1) + " on;"), "not added");
}

void TemplateConditions(std::size_t size) {
  const std::string edited = Edited(
      "Nginx", "a {\n}", "a {\n" + Repeat(size / 3, [](std::size_t i) {
                           return "{% if $v == 2 and $v %}\nx" + Number(i) + " on;\n{% endif %}\n";
                         }) + "}");
  Require(Contains(edited, "x0 on;"), "not added");
}

void TemplateNestedConditions(std::size_t size) {
  const std::string edited =
      Edited("Nginx", "a {\nb;\n}",
             "a {\n" + Repeat(size, [](std::size_t) { return "{% if $v %}\n"; }) + "x on;\n}");
  Require(Contains(edited, "x on;"), "not added");
}

void TemplateBlocks(std::size_t size) {
  const std::string edited = Edited("Nginx", "", Repeat(size, Site));
  Require(Contains(edited, "server_name s" + Number(size - 1)), "not added");
}

void LongValue(std::size_t size) {
  const std::string config = "server {\nserver_name a;\nroot /1;\n}";
  const std::string value(size, 'x');
  ParserTemplate parser = Parser("Nginx", config);
  parser.SetValue("v", "1", value);
  const std::string edited = Edited(parser,
                                    "server {\nserver_name a;\nroot /{% $v %};\n"
                                    "{% if $v == 1 %}\nx on;\n{% endif %}\n}");
  Require(edited.size() == config.size() - 1 + size, "not edited");
}

void Values(std::size_t size) {
  const std::string conditions = Repeat(
      size / 10, [](std::size_t i) { return "{% if $v" + Number(i) + " == 2 %}\n{% endif %}\n"; });
  ParserTemplate parser = Parser("Nginx", "a {\nb;\n}");
  for (std::size_t i = 0; i < size; ++i) parser.SetValue("v" + Number(i), "1", "2");
  const std::string edited = Edited(parser, "a {\n" + conditions + "x {% $v3 %};\n}");
  Require(Contains(edited, "x 2;"), "not added");
}

void Imports(std::size_t size) {
  const TemplateFiles files;
  const std::string imports = Repeat(size, [&files](std::size_t i) {
    return files.Import(Number(i), "x" + Number(i) + " on;\n") + "\n";
  });
  Require(Contains(Edited("Nginx", "a {\nb;\n}", "a {\n" + imports + "}"), "x0 on;"),
          "not imported");
}

void NestedImports(std::size_t size) {
  const TemplateFiles files;
  std::string import;
  for (std::size_t i = size; i > 0; --i) {
    import = files.Import(Number(i), "x" + Number(i) + " on;\n" + import) + "\n";
  }
  const std::string edited = Edited("Nginx", "a {\nb;\n}", "a {\n" + import + "}");
  Require(Contains(edited, "x" + Number(size) + " on;"), "not imported");
}

const std::vector<hostile::Case> kCases = {
    {"one line", "bytes", 100'000'000, OneLine},
    {"aliases in one template line", "bytes", 100'000'000, OneLineOfAliases},
    {"lines in one block", "lines", 1'000'000, LinesInABlock},
    {"... changed by a tenth as many template lines", "lines", 1'000'000,
     LinesInABlockAndInTheTemplate},
    {"listens in one block", "lines", 1'000'000, ListensInABlock},
    {"ServerAlias lines in one block", "lines", 1'000'000, AliasLinesInABlock},
    {"blocks, one changed", "blocks", 100'000, Blocks},
    {"blocks, all changed", "blocks", 100'000, BlocksThatAllChange},
    {"blocks, all removed", "blocks", 100'000, BlocksRemoved},
    {"blocks, all removed from the last on", "blocks", 100'000, BlocksRemovedFromTheLast},
    {"blocks of one name", "blocks", 100'000, BlocksOfOneName},
    {"nested blocks", "levels", 10'000, Nested},
    {"nested blocks with names", "levels", 10'000, NestedWithNames},
    {"closing lines that re-key everything", "blocks", 100'000, PathsThatAllChange},
    {"template of one block", "lines", 1'000'000, TemplateLines},
    {"template of conditions", "lines", 1'000'000, TemplateConditions},
    {"template of nested conditions", "levels", 1'000'000, TemplateNestedConditions},
    {"template of blocks", "blocks", 100'000, TemplateBlocks},
    {"one value", "bytes", 100'000'000, LongValue},
    {"values", "values", 1'000'000, Values},
    {"imports", "files", 100'000, Imports},
    {"imports, each in the one before", "files", 100'000, NestedImports},
};

}  // namespace

int main(int argc, char** argv) {
  return hostile::Run(kCases, argc, argv);
}
