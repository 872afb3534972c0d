// SPDX-License-Identifier: Apache-2.0

// Writes to standard output what the benchmarks of whole processes work on:
//
//   write_sites config DIALECT N      a configuration of N sites
//   write_sites template DIALECT N    the template that edits one of them
//   write_sites tenth-template DIALECT N    the one that edits a tenth of them
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "sites.h"

namespace {

std::string Text(const std::string& what, const bench::Dialect& dialect, std::size_t count) {
  if (what == "config") return bench::Sites(dialect, count, bench::kOldFolder);
  if (what == "template") return bench::OneSiteTemplate(dialect, count);
  if (what == "tenth-template") {
    return bench::Repeat((count + 9) / 10, [&](std::size_t i) {
      return dialect.block(10 * i, dialect.folder(10 * i, bench::kFolderPlace));
    });
  }
  throw std::invalid_argument("cannot write " + what);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 4)
      throw std::invalid_argument("usage: write_sites config|template|tenth-template DIALECT N");
    std::cout << Text(argv[1], bench::DialectOf(argv[2]), std::stoul(argv[3])) << std::flush;
    return std::cout ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "write_sites: " << error.what() << '\n';
    return 1;
  }
}
