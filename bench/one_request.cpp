// SPDX-License-Identifier: Apache-2.0

// Carries out one request and ends, so that a profiler can count what it takes:
//
//   one_request REQUEST DIALECT N
//
// Fails when the edited text is not what it has to be.
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "requests.h"
#include "sites.h"

namespace {

const std::map<std::string, bench::Request (*)(const bench::Dialect&, std::size_t)> kRequests = {
    {"one-site", bench::OneSite},
    {"every-site", bench::EverySite},
    {"from-the-last", bench::RemoveFromTheLast},
    {"lines-of-one-block", bench::LinesOfOneBlock},
};

void Run(const std::vector<std::string>& arguments) {
  if (arguments.size() != 3 || kRequests.count(arguments[0]) == 0) {
    throw std::invalid_argument(
        "usage: one_request one-site|every-site|from-the-last|lines-of-one-block DIALECT N");
  }
  const bench::Dialect& dialect = bench::DialectOf(arguments[1]);
  const bench::Request request = kRequests.at(arguments[0])(dialect, std::stoul(arguments[2]));
  if (!bench::IsExpected(request, bench::Edit(dialect, request))) {
    throw std::runtime_error("the edited text is wrong");
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Run({argv + 1, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "one_request: " << error.what() << '\n';
    return 1;
  }
}
