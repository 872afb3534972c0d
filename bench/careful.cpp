// SPDX-License-Identifier: Apache-2.0

// Times the careful edit of N parts against the floor, in one process:
//
//   careful [--benchmark_filter=... and the other options of Google Benchmark]
//
// A benchmark's name is "careful: CASE/DIALECT/N", its label the name of its floor: cutting and
// joining the configuration and the template. Every case is proved right before it is timed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <map>
#include <string>

#include "careful_cases.h"
#include "edit/tree/limits.h"
#include "floor.h"

namespace bench {
namespace {

constexpr char kFloor[] = "careful floor: ";

std::string Place(const Dialect& dialect, std::size_t count) {
  return std::string("/") + dialect.name + "/" + std::to_string(count);
}

void RunFloor(benchmark::State& state, const CarefulCase& chosen, const Dialect& dialect,
              std::size_t count) {
  const CarefulEdit edit = chosen.make(dialect, count);
  const std::string text = edit.config + edit.request.template_text;
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(CutAndJoin(text));
}

// What is wrong with the edit, "" when nothing is. Each is looked at once.
const std::string& Verdict(const std::string& name, const CarefulEdit& edit) {
  static std::map<std::string, std::string> verdicts;
  const auto [verdict, is_new] = verdicts.try_emplace(name);
  if (!is_new) return verdict->second;
  try {
    RunChecked(edit);
  } catch (const std::exception& error) {
    verdict->second = error.what();
  }
  return verdict->second;
}

void RunEdit(benchmark::State& state, const CarefulCase& chosen, const Dialect& dialect,
             std::size_t count) {
  state.SetLabel(kFloor + std::string(chosen.name) + Place(dialect, count));
  const CarefulEdit edit = chosen.make(dialect, count);
  const std::string& verdict = Verdict(chosen.name + Place(dialect, count), edit);
  if (!verdict.empty()) {
    state.SkipWithError(verdict.c_str());
    return;
  }
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(tov_edit::Edit(edit.request, edit.config, "config"));
  }
}

// Longer templates are refused.
bool IsTaken(const std::string& template_text) {
  const auto lines = std::count(template_text.begin(), template_text.end(), '\n');
  return static_cast<std::size_t>(lines) <= tov_edit::kMostTemplateLines;
}

void Register(const CarefulCase& chosen, const Dialect& dialect) {
  constexpr std::size_t kLargest = 100000;
  for (std::size_t count = 1000; count <= kLargest; count *= 10) {
    if (!IsTaken(chosen.make(dialect, count).request.template_text)) return;
    const auto add = [&](const char* kind, auto* run) {
      benchmark::RegisterBenchmark(
          (kind + std::string(chosen.name) + Place(dialect, count)).c_str(),
          [&chosen, &dialect, count, run](benchmark::State& state) {
            run(state, chosen, dialect, count);
          })
          ->Unit(benchmark::kMillisecond)
          ->Repetitions(count < kLargest ? 5 : 3);
    };
    add(kFloor, RunFloor);
    add("careful: ", RunEdit);
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  for (const bench::CarefulCase& chosen : bench::CarefulCases()) {
    for (const bench::Dialect* dialect : chosen.dialects) bench::Register(chosen, *dialect);
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
