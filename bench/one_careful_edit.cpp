// SPDX-License-Identifier: Apache-2.0

// Carries out one careful edit and ends, so that a profiler can count what it takes:
//
//   one_careful_edit CASE DIALECT N
//   one_careful_edit                   lists the cases, each with its dialects
//
// Fails when the edited text is not what it has to be.
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "careful_cases.h"

namespace {

void List() {
  for (const bench::CarefulCase& each : bench::CarefulCases()) {
    for (const bench::Dialect* dialect : each.dialects) {
      std::cout << each.name << '/' << dialect->name << '\n';
    }
  }
}

void Run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    List();
    return;
  }
  if (arguments.size() != 3) {
    throw std::invalid_argument("usage: one_careful_edit [CASE DIALECT N]");
  }
  const bench::CarefulCase& chosen = bench::CarefulCaseOf(arguments[0]);
  bench::RunChecked(chosen.make(bench::DialectOf(arguments[1]), std::stoul(arguments[2])));
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Run({argv + 1, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "one_careful_edit: " << error.what() << '\n';
    return 1;
  }
}
