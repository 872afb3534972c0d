// SPDX-License-Identifier: Apache-2.0

// Times the library against the floor, in one process:
//
//   speed [--benchmark_filter=... and the other options of Google Benchmark]
//
// A benchmark's name is CASE/DIALECT/N, its label the name of the benchmark to compare it with: as
// a rule the floor of the same text. Every case is proved right before it is timed.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "document/document.h"
#include "document/meaning.h"
#include "floor.h"
#include "requests.h"
#include "sites.h"
#include "template/config_view.h"
#include "template/framework/tov_log.h"
#include "template/qeltemplate.h"

namespace bench {
namespace {

using tov_document::Document;
using tov_template::BaseConfig;
using tov_template::ConfigView;
using tov_template::GetConfigType;
using tov_template::ParserTemplate;

// --- What is timed of a request ---

// To be called again and again, while the dialect and the request live.
using Timed = std::function<void()>;

Timed TimeDialect(const Dialect& dialect, const Request& request) {
  return [&] { benchmark::DoNotOptimize(GetConfigType(dialect.name, request.config)); };
}

Timed TimeReading(const Dialect& dialect, const Request& request) {
  return [&] {
    benchmark::DoNotOptimize(ParserTemplate(GetConfigType(dialect.name, request.config)));
  };
}

Timed TimeEdit(const Dialect& dialect, const Request& request) {
  return [&] { benchmark::DoNotOptimize(Edit(dialect, request)); };
}

// The text that is cut and joined: the configuration, or the template where that is empty.
const std::string& FloorText(const Request& request) {
  return request.config.empty() ? request.template_text : request.config;
}

Timed TimeFloor(const Dialect& /*dialect*/, const Request& request) {
  return [&] { benchmark::DoNotOptimize(CutAndJoin(FloorText(request))); };
}

Timed TimeViews(const Dialect& /*dialect*/, const Request& request) {
  return [&] { benchmark::DoNotOptimize(CutIntoViews(FloorText(request))); };
}

// Reads the text so far that one of its sites is found by its name, and its address is known. All
// names are looked at, wherever the site stands.
std::vector<std::string> AddressesOfSite(const Dialect& dialect, const Request& request) {
  static const std::string kName = "www." + SiteName(50);
  const bool nginx = dialect.name == std::string("Nginx");
  const Document document(nginx ? tov_document::Dialect::kNginx : tov_document::Dialect::kApache,
                          request.config);
  const std::vector<tov_document::BlockId> found = BlocksNamed(document, kName);
  if (found.size() != 1 || document.error()) return {};
  return ServerAddresses(document, found.front());
}

Timed TimeFinding(const Dialect& dialect, const Request& request) {
  return [&] { benchmark::DoNotOptimize(AddressesOfSite(dialect, request)); };
}

// What reading has to make at the least: a copy of the lines and of the view's maps, whose content
// is known already. What the dialect keeps of its unique directives is left out.
Timed TimeContainers(const Dialect& dialect, const Request& request) {
  struct View : ConfigView {
    explicit View(const std::shared_ptr<BaseConfig>& of) : ConfigView(of) {}
    using ConfigView::m_ends;
    using ConfigView::m_params;
  };
  const std::shared_ptr<BaseConfig> config = GetConfigType(dialect.name, request.config);
  return [config, view = std::make_shared<View>(config)] {
    benchmark::DoNotOptimize(std::list<std::string>(*config->GetList()));
    benchmark::DoNotOptimize(ConfigView::Params(view->m_params));
    benchmark::DoNotOptimize(ConfigView::Places(view->m_ends));
  };
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
  Timed (*operation)(const Dialect& dialect, const Request& request) = TimeEdit;
  In dialects = In::kBoth;
  void (*set_log)() = LogNothing;
};

const Case kCases[] = {
    {"floor of sites", "", OneSite, TimeFloor},
    {"dialect alone", "floor of sites", OneSite, TimeDialect},
    {"containers alone", "floor of sites", OneSite, TimeContainers},
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
    {"floor of lines", "", OneSite, TimeViews},
    {"find one site", "floor of lines", OneSite, TimeFinding},
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

// What is wrong with the edit, "" when nothing is.
std::string EditVerdict(const Dialect& dialect, const Request& request) {
  const auto begin = std::chrono::steady_clock::now();
  const std::string edited = Edit(dialect, request);
  if (std::chrono::steady_clock::now() - begin > kLimit) return "over 10 s";
  return IsExpected(request, edited) ? "" : "the edited text is wrong";
}

// Reading alone has no result that could be looked at: the edits that follow it prove it.
std::string Verdict(const Case& c, const Dialect& dialect, const Request& request) {
  if (c.operation == TimeEdit) return EditVerdict(dialect, request);
  if (c.operation == TimeFinding) {
    return AddressesOfSite(dialect, request).empty() ? "the site is not found" : "";
  }
  if (c.operation != TimeFloor) return "";
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
  const Timed operation = c.operation(dialect, request);
  for ([[maybe_unused]] auto _ : state) operation();
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
