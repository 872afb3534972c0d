// Times the library against the floor, in one process:
//
//   speed [--benchmark_filter=... and the other options of Google Benchmark]
//
// A benchmark's name is CASE/DIALECT/N, its label the name of the benchmark to compare it with: as
// a rule the floor of the same text. Every case is proved right before it is timed.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "floor.h"
#include "sites.h"
#include "template/framework/tov_log.h"
#include "template/qeltemplate.h"

namespace bench {
namespace {

using tov_template::GetConfigType;
using tov_template::NullValue;
using tov_template::ParserTemplate;
using tov_template::Value;

struct NamedValue {
  std::string name;
  Value old_value;
  Value new_value;
};

// One request and the text that it has to give.
struct Request {
  std::string config;
  std::vector<NamedValue> values;
  std::string template_text;
  std::string expected;
};

const std::vector<NamedValue> kNewFolderValue = {{"folder", kOldFolder, kNewFolder}};

// --- Requests over N sites ---

Request OneSite(const Dialect& dialect, std::size_t count) {
  const std::size_t edited = EditedSite(count);
  return {Sites(dialect, count, kOldFolder), kNewFolderValue, OneSiteTemplate(dialect, count),
          Repeat(count, [&](std::size_t i) {
            return dialect.site(i, i == edited ? kNewFolder : kOldFolder);
          })};
}

Request EverySite(const Dialect& dialect, std::size_t count) {
  return {Sites(dialect, count, kOldFolder), kNewFolderValue, Sites(dialect, count, kFolderPlace),
          Sites(dialect, count, kNewFolder)};
}

Request OneLineOfEverySite(const Dialect& dialect, std::size_t count) {
  Request request = EverySite(dialect, count);
  request.template_text = Repeat(
      count, [&](std::size_t i) { return dialect.block(i, dialect.folder(i, kFolderPlace)); });
  return request;
}

// `lines` under a condition that does not hold.
std::string NotTaken(const std::string& lines) {
  return "{% if $none %}\n" + lines + "{% endif %}\n";
}

Request RemoveEverySite(const Dialect& dialect, std::size_t count) {
  return {Sites(dialect, count, kOldFolder),
          {},
          NotTaken(Repeat(count, [&](std::size_t i) { return dialect.block(i, ""); })),
          ""};
}

Request RemoveFromTheLast(const Dialect& dialect, std::size_t count) {
  Request request = RemoveEverySite(dialect, count);
  request.template_text =
      NotTaken(Repeat(count, [&](std::size_t i) { return dialect.block(count - 1 - i, ""); }));
  return request;
}

Request AddSites(const Dialect& dialect, std::size_t count) {
  const auto sites = [&](const std::string& folder) {
    return Repeat(count,
                  [&](std::size_t i) { return dialect.block(i, dialect.folder(i, folder)); });
  };
  return {"", kNewFolderValue, sites(kFolderPlace), sites(kNewFolder)};
}

Request OptionsAndAliases(const Dialect& dialect, std::size_t count) {
  const auto sites = [&](const std::string& options, const std::string& alias) {
    return Repeat(count, [&](std::size_t i) {
      return dialect.block(i, "\tOptions FollowSymLinks" + options + "\n\tServerAlias " +
                                  SiteName(i) + " " + alias + "\n");
    });
  };
  return {sites("", "old.example"),
          {{"option", NullValue(), "Indexes"}, {"alias", "old.example", "new.example"}},
          sites(" {% $option %}", "{% $alias %}"),
          sites(" Indexes", "new.example")};
}

// --- Requests over N lines of one block, or of the template ---

Request LinesOfOneBlock(const Dialect& dialect, std::size_t count) {
  const auto block = [&](const std::string& tenth) {
    return dialect.block(0, Repeat(count, [&](std::size_t i) {
                           return dialect.setting(i, i % 10 == 0 ? tenth : "old");
                         }));
  };
  const std::string changes =
      Repeat(count / 10, [&](std::size_t i) { return dialect.setting(10 * i, "{% $value %}"); });
  return {block("old"), {{"value", "old", "new"}}, dialect.block(0, changes), block("new")};
}

Request ListensOfOneBlock(const Dialect& dialect, std::size_t count) {
  const auto listen = [](std::size_t i) {
    return "\tlisten unix:/run/site" + std::to_string(i) + ".sock;\n";
  };
  const std::string kept = Repeat(count - 1, listen);
  const std::string tenth = Repeat(count / 10, [&](std::size_t i) { return listen(10 * i); });
  return {dialect.block(0, kept + listen(count - 1)),
          {},
          dialect.block(0, tenth + listen(count) + NotTaken(listen(count - 1))),
          dialect.block(0, kept + listen(count))};
}

Request TemplateConditions(const Dialect& dialect, std::size_t count) {
  const std::size_t settings = count / 5;
  const std::string lines = Repeat(settings, [&](std::size_t i) {
    return "{% if $value == new and $name %}\n" + dialect.setting(i, "on") + "{% else %}\n" +
           dialect.setting(i, "off") + "{% endif %}\n";
  });
  return {
      "",
      {{"value", "old", "new"}, {"name", "a", "b"}},
      dialect.block(0, lines),
      dialect.block(0, Repeat(settings, [&](std::size_t i) { return dialect.setting(i, "on"); }))};
}

Request ManyValues(const Dialect& dialect, std::size_t count) {
  std::vector<NamedValue> values;
  for (std::size_t i = 0; i < count; ++i) {
    values.push_back({"value" + std::to_string(i), "old", "new"});
  }
  const std::string conditions = Repeat(count / 10, [&](std::size_t i) {
    const std::string value = "$value" + std::to_string(10 * i);
    return "{% if " + value + " == new %}\n" + dialect.setting(i, "{% " + value + " %}") +
           "{% endif %}\n";
  });
  return {"", values, dialect.block(0, conditions),
          dialect.block(
              0, Repeat(count / 10, [&](std::size_t i) { return dialect.setting(i, "new"); }))};
}

// --- What is timed of a request ---

ParserTemplate Read(const Dialect& dialect, const Request& request) {
  return ParserTemplate(GetConfigType(dialect.name, request.config));
}

std::string Edit(const Dialect& dialect, const Request& request) {
  ParserTemplate parser = Read(dialect, request);
  for (const NamedValue& value : request.values) {
    parser.SetValue(value.name, value.old_value, value.new_value);
  }
  return parser.SetTemplate(request.template_text).ApplyTemplate().GetConfig();
}

void TimeDialect(const Dialect& dialect, const Request& request) {
  benchmark::DoNotOptimize(GetConfigType(dialect.name, request.config));
}

void TimeReading(const Dialect& dialect, const Request& request) {
  benchmark::DoNotOptimize(Read(dialect, request));
}

void TimeEdit(const Dialect& dialect, const Request& request) {
  benchmark::DoNotOptimize(Edit(dialect, request));
}

// The text that is cut and joined: the configuration, or the template where that is empty.
const std::string& FloorText(const Request& request) {
  return request.config.empty() ? request.template_text : request.config;
}

void TimeFloor(const Dialect& /*dialect*/, const Request& request) {
  benchmark::DoNotOptimize(CutAndJoin(FloorText(request)));
}

// --- The log ---

void LogNothing() {
  tov_log::SetHandler({});
  tov_log::SetLevel(tov_log::kOff);
}

void LogWithoutHandler() {
  tov_log::SetHandler({});
  tov_log::SetLevel(tov_log::kDebug);
}

void LogWithoutLevel() {
  tov_log::SetHandler(
      [](tov_log::Level, const std::string&, const std::string&, const std::string&) {});
  tov_log::SetLevel(tov_log::kOff);
}

// --- Cases ---

enum class In { kBoth, kNginx, kApache };

struct Case {
  std::string name;
  std::string base;  // the case to compare it with, "" for none
  Request (*make)(const Dialect& dialect, std::size_t count);
  void (*operation)(const Dialect& dialect, const Request& request) = TimeEdit;
  In dialects = In::kBoth;
  void (*set_log)() = LogNothing;
};

const Case kCases[] = {
    {"floor of sites", "", OneSite, TimeFloor},
    {"dialect alone", "floor of sites", OneSite, TimeDialect},
    {"reading", "floor of sites", OneSite, TimeReading},
    {"edit one site", "floor of sites", OneSite},
    {"edit every site", "floor of sites", EverySite},
    {"log level without handler", "edit every site", EverySite, TimeEdit, In::kBoth,
     LogWithoutHandler},
    {"log handler without level", "edit every site", EverySite, TimeEdit, In::kBoth,
     LogWithoutLevel},
    {"edit one line of every site", "floor of sites", OneLineOfEverySite},
    {"remove every site", "floor of sites", RemoveEverySite},
    {"remove from the last site", "floor of sites", RemoveFromTheLast},
    {"floor of added sites", "", AddSites, TimeFloor},
    {"add sites", "floor of added sites", AddSites},
    {"floor of virtual hosts", "", OptionsAndAliases, TimeFloor, In::kApache},
    {"options and aliases", "floor of virtual hosts", OptionsAndAliases, TimeEdit, In::kApache},
    {"floor of one block", "", LinesOfOneBlock, TimeFloor},
    {"lines of one block", "floor of one block", LinesOfOneBlock},
    {"floor of listens", "", ListensOfOneBlock, TimeFloor, In::kNginx},
    {"listens of one block", "floor of listens", ListensOfOneBlock, TimeEdit, In::kNginx},
    {"floor of conditions", "", TemplateConditions, TimeFloor},
    {"conditions", "floor of conditions", TemplateConditions},
    {"floor of conditions on values", "", ManyValues, TimeFloor},
    {"conditions on values", "floor of conditions on values", ManyValues},
};

std::vector<const Dialect*> DialectsOf(const Case& c) {
  if (c.dialects == In::kNginx) return {&kNginx};
  if (c.dialects == In::kApache) return {&kApache};
  return {&kNginx, &kApache};
}

// A case that takes longer is not timed.
constexpr std::chrono::seconds kLimit(10);

// What is wrong with the edit, "" when nothing is. The library's texts have no line end at the end.
std::string EditVerdict(const Dialect& dialect, const Request& request) {
  const auto begin = std::chrono::steady_clock::now();
  const std::string edited = Edit(dialect, request);
  if (std::chrono::steady_clock::now() - begin > kLimit) return "over 10 s";
  const bool right = request.expected == (edited.empty() ? edited : edited + "\n");
  return right ? "" : "the edited text is wrong";
}

// Reading alone has no result that could be looked at: the edits that follow it prove it.
std::string Verdict(const Case& c, const Dialect& dialect, const Request& request) {
  if (c.operation == TimeEdit) return EditVerdict(dialect, request);
  if (c.operation == TimeReading || c.operation == TimeDialect) return "";
  return CutAndJoin(FloorText(request)) == FloorText(request) ? "" : "the joined text is wrong";
}

void Run(benchmark::State& state, const Case& c, const Dialect& dialect, std::size_t count) {
  static std::map<std::string, std::string> verdicts;
  const std::string place = std::string("/") + dialect.name + "/" + std::to_string(count);
  const Request request = c.make(dialect, count);
  if (!c.base.empty()) state.SetLabel(c.base + place);
  c.set_log();
  const auto [verdict, is_new] = verdicts.try_emplace(c.name + place);
  if (is_new) verdict->second = Verdict(c, dialect, request);
  if (!verdict->second.empty()) {
    state.SkipWithError(verdict->second.c_str());
    return;
  }
  for ([[maybe_unused]] auto _ : state) c.operation(dialect, request);
}

void Register(const Case& c) {
  constexpr std::size_t kLargest = 100000;
  for (const Dialect* dialect : DialectsOf(c)) {
    for (std::size_t count = 100; count <= kLargest; count *= 10) {
      const std::string name = c.name + "/" + dialect->name + "/" + std::to_string(count);
      benchmark::RegisterBenchmark(
          name.c_str(),
          [&c, dialect, count](benchmark::State& state) { Run(state, c, *dialect, count); })
          ->Unit(benchmark::kMillisecond)
          ->Repetitions(count < kLargest ? 7 : 3);
    }
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  for (const bench::Case& c : bench::kCases) bench::Register(c);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
