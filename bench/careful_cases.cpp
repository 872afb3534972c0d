// SPDX-License-Identifier: Apache-2.0

#include "careful_cases.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace bench {
namespace {

using Piece = std::function<std::string(std::size_t)>;

constexpr char kOld[] = "old";
constexpr char kNew[] = "new";
constexpr char kValuePlace[] = "{% $value %}";
constexpr char kTrailingPlace[] = "[% $value %]";

CarefulEdit Make(const Dialect& dialect, const std::string& config, const std::string& text,
                 const std::string& expected) {
  CarefulEdit made;
  made.request.dialect =
      &dialect == &kNginx ? tov_edit::Dialect::kNginx : tov_edit::Dialect::kApache;
  made.request.template_name = "template";
  made.request.template_text = text;
  made.request.values["folder"] = {kOldFolder, kNewFolder};
  made.request.values["value"] = {kOld, kNew};
  made.config = config;
  made.expected = expected;
  return made;
}

// `lines` under a condition that does not hold.
std::string NotTaken(const std::string& lines) {
  return "{% if $none %}\n" + lines + "{% endif %}\n";
}

// What `piece` makes of the even numbers below `count`, and of the odd ones.
std::string Even(std::size_t count, const Piece& piece) {
  return Repeat((count + 1) / 2, [&](std::size_t i) { return piece(2 * i); });
}

std::string Odd(std::size_t count, const Piece& piece) {
  return Repeat(count / 2, [&](std::size_t i) { return piece(2 * i + 1); });
}

// --- Sites ---

Piece Sites(const Dialect& dialect, const char* folder) {
  return [&dialect, folder](std::size_t i) { return dialect.site(i, folder); };
}

Piece FoldersOfSites(const Dialect& dialect, const char* folder) {
  return [&dialect, folder](std::size_t i) { return dialect.block(i, dialect.folder(i, folder)); };
}

CarefulEdit OneSite(const Dialect& dialect, std::size_t count) {
  const std::size_t edited = EditedSite(count);
  return Make(dialect, Repeat(count, Sites(dialect, kOldFolder)), OneSiteTemplate(dialect, count),
              Repeat(count, [&](std::size_t i) {
                return dialect.site(i, i == edited ? kNewFolder : kOldFolder);
              }));
}

CarefulEdit SitesThere(const Dialect& dialect, std::size_t count) {
  return Make(dialect, Repeat(count, Sites(dialect, kOldFolder)),
              Repeat(count, FoldersOfSites(dialect, kFolderPlace)),
              Repeat(count, Sites(dialect, kNewFolder)));
}

CarefulEdit SitesMissing(const Dialect& dialect, std::size_t count) {
  const std::string others =
      Repeat(count, [&](std::size_t i) { return dialect.site(count + i, kOldFolder); });
  CarefulEdit made = Make(dialect, others, Repeat(count, FoldersOfSites(dialect, kFolderPlace)),
                          others + Repeat(count, FoldersOfSites(dialect, kNewFolder)));
  made.request.values["folder"].old_value.reset();
  return made;
}

CarefulEdit HalfTheSitesThere(const Dialect& dialect, std::size_t count) {
  return Make(
      dialect, Even(count, Sites(dialect, kOldFolder)),
      Repeat(count, FoldersOfSites(dialect, kFolderPlace)),
      Even(count, Sites(dialect, kNewFolder)) + Odd(count, FoldersOfSites(dialect, kNewFolder)));
}

CarefulEdit SitesRemoved(const Dialect& dialect, std::size_t count) {
  return Make(dialect, Repeat(count, Sites(dialect, kOldFolder)),
              NotTaken(Repeat(count, [&](std::size_t i) { return dialect.block(i, ""); })), "");
}

// --- Blocks without names ---

std::string Upstream(std::size_t number, const std::string& weight) {
  return "upstream backend" + std::to_string(number) +
         " {\n\tserver 127.0.0.1:8080 weight=" + weight + ";\n}\n";
}

CarefulEdit Upstreams(const Dialect& dialect, std::size_t count) {
  const auto all = [count](const char* value) {
    return Repeat(count, [value](std::size_t i) { return Upstream(i, value); });
  };
  return Make(dialect, all(kOld), all(kValuePlace), all(kNew));
}

Piece Locations(const char* value) {
  return [value](std::size_t i) {
    return "\tlocation /place" + std::to_string(i) + "/ {\n\t\troot /srv/" + value + ";\n\t}\n";
  };
}

CarefulEdit LocationsThere(const Dialect& dialect, std::size_t count) {
  return Make(dialect, dialect.block(0, Repeat(count, Locations(kOld))),
              dialect.block(0, Repeat(count, Locations(kValuePlace))),
              dialect.block(0, Repeat(count, Locations(kNew))));
}

CarefulEdit HalfTheLocationsThere(const Dialect& dialect, std::size_t count) {
  return Make(dialect, dialect.block(0, Even(count, Locations(kOld))),
              dialect.block(0, Repeat(count, Locations(kValuePlace))),
              dialect.block(0, Repeat(count, Locations(kNew))));
}

// Blocks within one another, each opened on a line of its own, as deep as an edit takes them.
CarefulEdit Depth(const Dialect& dialect, std::size_t count) {
  const bool nginx = &dialect == &kNginx;
  const auto opened = [nginx](std::size_t i) {
    return nginx ? "location /place" + std::to_string(i) + "/ {\n"
                 : "<IfModule module" + std::to_string(i) + ">\n";
  };
  const auto closed = [nginx](std::size_t) { return nginx ? "}\n" : "</IfModule>\n"; };
  const auto nested = [&](const char* value) {
    constexpr std::size_t kDeepest = 50;
    std::string text;
    for (std::size_t begin = 0; begin < count; begin += kDeepest) {
      const std::size_t depth = std::min(kDeepest, count - begin);
      text += Repeat(depth, [&](std::size_t i) { return opened(begin + i); }) +
              dialect.folder(0, value) + Repeat(depth, closed);
    }
    return text;
  };
  return Make(dialect, nested(kOldFolder), nested(kFolderPlace), nested(kNewFolder));
}

// --- Lines of one block ---

Piece Settings(const Dialect& dialect, const char* value) {
  return [&dialect, value](std::size_t i) { return dialect.setting(i, value); };
}

std::string AllSettings(const Dialect& dialect, std::size_t count, const char* value) {
  return dialect.block(0, Repeat(count, Settings(dialect, value)));
}

CarefulEdit ChangedLines(const Dialect& dialect, std::size_t count) {
  return Make(dialect, AllSettings(dialect, count, kOld), AllSettings(dialect, count, kValuePlace),
              AllSettings(dialect, count, kNew));
}

CarefulEdit TrailingPlaces(const Dialect& dialect, std::size_t count) {
  return Make(dialect, AllSettings(dialect, count, kOld),
              AllSettings(dialect, count, kTrailingPlace), AllSettings(dialect, count, kNew));
}

CarefulEdit NewLines(const Dialect& dialect, std::size_t count) {
  return Make(dialect, dialect.block(0, Even(count, Settings(dialect, kNew))),
              AllSettings(dialect, count, kNew), AllSettings(dialect, count, kNew));
}

CarefulEdit RemovedLines(const Dialect& dialect, std::size_t count) {
  return Make(dialect, AllSettings(dialect, count, kOld),
              dialect.block(0, NotTaken(Repeat(count, Settings(dialect, kOld)))),
              dialect.block(0, ""));
}

CarefulEdit Branches(const Dialect& dialect, std::size_t count) {
  const std::string branches = Repeat(count, [&](std::size_t i) {
    return "{% if $none %}\n" + dialect.setting(i, kOld) + "{% else %}\n" +
           dialect.setting(i, kNew) + "{% endif %}\n";
  });
  return Make(dialect, AllSettings(dialect, count, kOld), dialect.block(0, branches),
              AllSettings(dialect, count, kNew));
}

CarefulEdit Comments(const Dialect& dialect, std::size_t count) {
  const auto comment = [](std::size_t i) { return "\t# remark " + std::to_string(i) + "\n"; };
  return Make(dialect, dialect.block(0, Repeat(count, comment)),
              dialect.block(0, dialect.folder(0, kNewFolder) + Repeat(count, comment)),
              dialect.block(0, dialect.folder(0, kNewFolder) + Repeat(count, comment)));
}

CarefulEdit Listens(const Dialect& dialect, std::size_t count) {
  const auto listen = [](std::size_t i) {
    return "\tlisten unix:/run/site" + std::to_string(i) + ".sock;\n";
  };
  return Make(dialect, dialect.block(0, Even(count, listen)),
              dialect.block(0, Repeat(count, listen)), dialect.block(0, Repeat(count, listen)));
}

// --- One server's names, and servers without names ---

// Names of one length: ten times as many are ten times as much. What is longer than 15 bytes has a
// piece of memory of its own, so that longer names would take more than that.
std::string HostName(std::size_t number) {
  constexpr std::size_t kDigits = 6;
  const std::string digits = std::to_string(number);
  return "name" + std::string(kDigits - digits.size(), '0') + digits + ".example";
}

// The line, or lines, with so many names, of which the last may be another one.
std::string Names(const Dialect& dialect, std::size_t count, const std::string& last) {
  const std::string names = Repeat(count, [](std::size_t i) { return " " + HostName(i); });
  if (&dialect == &kNginx) return "\tserver_name" + names + " " + last + ".example;\n";
  return "\tServerName a.example\n\tServerAlias" + names + " " + last + ".example\n";
}

std::string Server(const Dialect& dialect, const std::string& lines) {
  return &dialect == &kNginx ? "server {\n" + lines + "}\n"
                             : "<VirtualHost *:80>\n" + lines + "</VirtualHost>\n";
}

CarefulEdit NamesThere(const Dialect& dialect, std::size_t count) {
  const auto server = [&](const char* folder) {
    return Server(dialect, Names(dialect, count, "last") + dialect.folder(0, folder));
  };
  return Make(dialect, server(kOldFolder), server(kFolderPlace), server(kNewFolder));
}

CarefulEdit NamesChanged(const Dialect& dialect, std::size_t count) {
  const auto server = [&](const char* value) {
    return Server(dialect, Names(dialect, count, value));
  };
  return Make(dialect, server(kOld), server(kValuePlace), server(kNew));
}

// Each in a line of its own.
CarefulEdit NamesInLines(const Dialect& dialect, std::size_t count) {
  const bool nginx = &dialect == &kNginx;
  const std::string lines = Repeat(count, [nginx](std::size_t i) {
    return (nginx ? "\tserver_name " : "\tServerAlias ") + HostName(i) + (nginx ? ";\n" : "\n");
  });
  const auto server = [&](const char* folder) {
    return Server(dialect,
                  (nginx ? "" : "\tServerName a.example\n") + lines + dialect.folder(0, folder));
  };
  return Make(dialect, server(kOldFolder), server(kFolderPlace), server(kNewFolder));
}

CarefulEdit ServersByAddress(const Dialect& dialect, std::size_t count) {
  const auto all = [&](const char* folder) {
    return Repeat(count, [&](std::size_t i) {
      return "server {\n\tlisten unix:/run/site" + std::to_string(i) + ".sock;\n" +
             dialect.folder(i, folder) + "}\n";
    });
  };
  return Make(dialect, all(kOldFolder), all(kFolderPlace), all(kNewFolder));
}

// --- Lines that are alike ---

std::string EqualLines(const Dialect& dialect, std::size_t count) {
  return Repeat(count, [&](std::size_t) { return dialect.setting(0, kOld); });
}

// The configuration has one directive many times, and so has the template.
CarefulEdit EqualLinesThere(const Dialect& dialect, std::size_t count) {
  const auto block = [&](const char* folder) {
    return dialect.block(0, EqualLines(dialect, count) + dialect.folder(0, folder));
  };
  return Make(dialect, block(kOldFolder), block(kFolderPlace), block(kNewFolder));
}

CarefulEdit EqualLinesRemoved(const Dialect& dialect, std::size_t count) {
  return Make(dialect, dialect.block(0, EqualLines(dialect, count)),
              dialect.block(0, NotTaken(EqualLines(dialect, count))), dialect.block(0, ""));
}

// The words of one line.
CarefulEdit Options(const Dialect& dialect, std::size_t count) {
  const auto block = [&](const char* last) {
    return dialect.block(
        0, "\tOptions" + Repeat(count, [](std::size_t i) { return " +Word" + std::to_string(i); }) +
               " " + last + "\n");
  };
  return Make(dialect, block("+old"), block("+{% $value %}"), block("+new"));
}

// --- Values ---

// Each line has a value of its own.
CarefulEdit ManyValues(const Dialect& dialect, std::size_t count, const std::string& quote,
                       const std::string& new_value) {
  const auto all = [&](const Piece& value) {
    return dialect.block(0, Repeat(count, [&](std::size_t i) {
                           return dialect.setting(i, quote + value(i) + quote);
                         }));
  };
  CarefulEdit made =
      Make(dialect, all([](std::size_t) { return kOld; }),
           all([](std::size_t i) { return "{% $value" + std::to_string(i) + " %}"; }),
           all([&](std::size_t) { return new_value; }));
  made.request.values.clear();
  for (std::size_t i = 0; i < count; ++i) {
    made.request.values["value" + std::to_string(i)] = {kOld, new_value};
  }
  return made;
}

CarefulEdit Values(const Dialect& dialect, std::size_t count) {
  return ManyValues(dialect, count, "", kNew);
}

// Each stands for two directives, which are there already.
CarefulEdit RawValues(const Dialect& dialect, std::size_t count) {
  const auto two = [](std::size_t i) {
    return "set $a" + std::to_string(i) + " b; set $c" + std::to_string(i) + " d";
  };
  const std::string there =
      dialect.block(0, Repeat(count, [&](std::size_t i) { return '\t' + two(i) + ";\n"; }));
  const std::string lines =
      Repeat(count, [](std::size_t i) { return "\t{% $value" + std::to_string(i) + " %};\n"; });
  CarefulEdit made = Make(dialect, there, dialect.block(0, lines), there);
  made.request.values.clear();
  for (std::size_t i = 0; i < count; ++i) {
    const std::string name = "value" + std::to_string(i);
    made.request.values[name].new_value = two(i);
    made.request.raw.insert(name);
  }
  return made;
}

CarefulEdit ValuesWithQuotes(const Dialect& dialect, std::size_t count) {
  return ManyValues(dialect, count, "'", "a \"b\" #c");
}

// --- Long lines ---

// All of the text stands on one line.
CarefulEdit OneLine(const Dialect& dialect, std::size_t count) {
  const auto joined = [](std::string lines) {
    std::replace(lines.begin(), lines.end(), '\n', ' ');
    return lines + '\n';
  };
  return Make(dialect, joined(AllSettings(dialect, count, kOld)),
              AllSettings(dialect, count, kValuePlace), joined(AllSettings(dialect, count, kNew)));
}

// A line that is a thousand bytes longer for each of `count`.
CarefulEdit LongLine(const Dialect& dialect, std::size_t count) {
  const std::string blanks(1000 * count, ' ');
  const auto block = [&](const char* folder) {
    return dialect.block(0, dialect.folder(0, folder));
  };
  return Make(dialect, blanks + block(kOldFolder), block(kFolderPlace), blanks + block(kNewFolder));
}

}  // namespace

const std::vector<CarefulCase>& CarefulCases() {
  static const std::vector<const Dialect*> both = {&kNginx, &kApache};
  static const std::vector<const Dialect*> nginx = {&kNginx};
  static const std::vector<const Dialect*> apache = {&kApache};
  static const std::vector<CarefulCase> cases = {
      {"one site", OneSite, both},
      {"sites there", SitesThere, both},
      {"sites missing", SitesMissing, both},
      {"half the sites there", HalfTheSitesThere, both},
      {"sites removed", SitesRemoved, both},
      {"upstreams there", Upstreams, nginx},
      {"locations there", LocationsThere, nginx},
      {"half the locations there", HalfTheLocationsThere, nginx},
      {"depth", Depth, both},
      {"changed lines", ChangedLines, both},
      {"trailing places", TrailingPlaces, both},
      {"half the lines there", NewLines, both},
      {"removed lines", RemovedLines, both},
      {"branches", Branches, both},
      {"comments", Comments, both},
      {"listens", Listens, nginx},
      {"names there", NamesThere, both},
      {"names changed", NamesChanged, both},
      {"names in lines", NamesInLines, both},
      {"servers by address", ServersByAddress, nginx},
      {"equal lines there", EqualLinesThere, both},
      {"equal lines removed", EqualLinesRemoved, both},
      {"options", Options, apache},
      {"raw values", RawValues, nginx},
      {"values", Values, both},
      {"values with quotes", ValuesWithQuotes, nginx},
      {"one line", OneLine, nginx},
      {"long line", LongLine, nginx},
  };
  return cases;
}

const CarefulCase& CarefulCaseOf(const std::string& name) {
  for (const CarefulCase& each : CarefulCases()) {
    if (name == each.name) return each;
  }
  throw std::invalid_argument("no careful edit " + name);
}

void RunChecked(const CarefulEdit& edit) {
  const tov_edit::Result result = tov_edit::Edit(edit.request, edit.config, "config");
  if (!result.refusals.empty()) throw std::runtime_error(Shown(result.refusals.front()));
  if (result.text != edit.expected) throw std::runtime_error("the edited text is wrong");
}

}  // namespace bench
