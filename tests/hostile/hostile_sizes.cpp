// SPDX-License-Identifier: Apache-2.0

// What inputs of hostile sizes cost: runs each case in a process of its own, at a tenth of its size
// and at its size, and prints processor time, peak memory and how both grow. The time is that of
// the request, without the making of its input.
//
//   hostile_sizes [DIVISOR]     divides every size, for a quick look
//
// Ends with 1 when a case does not do what it should, also when it runs out of memory or is killed.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/template_probe.h"
#include "template/qeltemplate.h"

using tov_template::ParserTemplate;

namespace {

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// `count` pieces of text, each made of its number.
std::string Repeat(std::size_t count, const std::function<std::string(std::size_t)>& piece) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece(i);
  return text;
}

std::string Number(std::size_t number) {
  return std::to_string(number);
}

double Seconds(const rusage& usage) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The processor time when a case began its request and when it had the result, for the process that
// started it to see.
struct Times {
  double begin;
  double end;
};

Times& SharedTimes() {
  static void* const shared =
      mmap(nullptr, sizeof(Times), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Require(shared != MAP_FAILED, "no shared memory");
  return *static_cast<Times*>(shared);
}

double SecondsNow() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return Seconds(usage);
}

// A parser with the value "v", old "1" and new "2". The request begins here.
ParserTemplate Parser(const std::string& dialect, const std::string& config) {
  SharedTimes().begin = SecondsNow();
  ParserTemplate parser(tov_template::GetConfigType(dialect, config));
  parser.SetValue("v", "1", "2");
  return parser;
}

// The text that the template `text` makes of the configuration. The request ends here.
std::string Edited(ParserTemplate parser, const std::string& text) {
  std::string edited = parser.SetTemplate(text).ApplyTemplate().GetConfig();
  SharedTimes().end = SecondsNow();
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

struct Case {
  const char* name;
  const char* unit;
  std::size_t size;
  void (*run)(std::size_t size);
};

const Case kCases[] = {
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

struct Cost {
  double seconds;    // of the processor
  double megabytes;  // at the peak
};

// Throws when the case fails.
Cost Measure(const Case& test, std::size_t size) {
  std::fflush(stdout);
  SharedTimes() = {};
  const pid_t child = fork();
  Require(child >= 0, "cannot fork");
  if (child == 0) {
    try {
      test.run(size);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s, %zu %s: %s\n", test.name, size, test.unit, error.what());
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  Require(wait4(child, &status, 0, &usage) == child, "cannot wait");
  Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "failed");
  return {SharedTimes().end - SharedTimes().begin, static_cast<double>(usage.ru_maxrss) / 1024};
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t divisor = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1;
  bool failed = divisor == 0;
  std::printf("%-47s %11s %-7s %8s %9s %15s\n", "", "size", "", "seconds", "MB", "for 10 x size");
  for (const Case& test : kCases) {
    if (divisor == 0) break;
    const std::size_t size = std::max<std::size_t>(test.size / divisor, 10);
    try {
      const Cost tenth = Measure(test, size / 10);
      const Cost cost = Measure(test, size);
      std::printf("%-47s %11zu %-7s %8.2f %9.0f %5.1fx time %4.1fx memory\n", test.name, size,
                  test.unit, cost.seconds, cost.megabytes, cost.seconds / tenth.seconds,
                  cost.megabytes / tenth.megabytes);
    } catch (const std::exception& error) {
      std::printf("%-47s %11zu %-7s %s\n", test.name, size, test.unit, error.what());
      failed = true;
    }
  }
  return failed ? 1 : 0;
}
