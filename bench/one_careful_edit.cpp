// SPDX-License-Identifier: Apache-2.0

// Carries out one careful edit and ends, so that a profiler can count what it takes:
//
//   one_careful_edit CASE DIALECT N
//   one_careful_edit CASE DIALECT N again   after another round, in memory that was used before
//   one_careful_edit CASE DIALECT N floor   the same for its floor: cutting and joining the text
//   one_careful_edit                        lists the cases, each with its dialects
//
// Fails when the edited text is not what it has to be.
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "careful_cases.h"
#include "floor.h"

namespace bench {

// What a profiler counts, by its name.
void RunFloor(const std::string& text) {
  if (CutAndJoin(text) != text) throw std::runtime_error("the joined text is wrong");
}

}  // namespace bench

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
  const std::string what = arguments.size() == 4 ? arguments[3] : "";
  if (arguments.size() != 3 && what != "again" && what != "floor") {
    throw std::invalid_argument("usage: one_careful_edit [CASE DIALECT N [again | floor]]");
  }
  const bench::CarefulEdit edit =
      bench::CarefulCaseOf(arguments[0])
          .make(bench::DialectOf(arguments[1]), std::stoul(arguments[2]));
  if (what == "floor") {
    const std::string text = edit.config + edit.request.template_text;
    bench::CutAndJoin(text);
    bench::RunFloor(text);
    return;
  }
  if (what == "again") tov_edit::Edit(edit.request, edit.config, "config");
  bench::RunChecked(edit);
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
