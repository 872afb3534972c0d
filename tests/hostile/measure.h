// SPDX-License-Identifier: Apache-2.0

// What inputs of hostile sizes cost: each case runs in a process of its own, at a tenth of its size
// and at its size. Processor time, peak memory and how both grow are printed. The time is that of
// the request, without the making of its input.
//
//   PROGRAM [DIVISOR]     divides every size, for a quick look
//
// Ends with 1 when a case does not do what it should, also when it runs out of memory or is killed.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace hostile {

struct Case {
  const char* name;
  const char* unit;
  std::size_t size;
  void (*run)(std::size_t size);
};

// The main function of such a program.
int Run(const std::vector<Case>& cases, int argc, char** argv);

// What lies between is measured.
void BeginRequest();
void EndRequest();

// Throws when `what` has happened.
void Require(bool holds, const char* what);

bool Contains(const std::string& text, const std::string& part);

// `count` pieces of text, each made of its number.
std::string Repeat(std::size_t count, const std::function<std::string(std::size_t)>& piece);

std::string Number(std::size_t number);

}  // namespace hostile
