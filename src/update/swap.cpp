// SPDX-License-Identifier: Apache-2.0

#include "update/swap.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "update/failure.h"

namespace update {
namespace {

// What has gone wrong while as much as possible was tried. To note something does not fail: where
// there is no memory for its words, they are left out.
class Problems {
 public:
  template <typename Step>
  void Try(const Step& step) {
    try {
      step();
    } catch (const std::exception& error) {
      Note(error);
    }
  }

  // With the message `reason`, if there is one, and a line for each.
  void ThrowIfAny(const std::string& reason, bool is_overtaken = false) const {
    if (!m_any) return;
    const std::string message = reason.empty() ? m_lines.substr(1) : reason + m_lines;
    if (is_overtaken || m_overtaken) throw Overtaken(message);
    throw Failure(message);
  }

 private:
  void Note(const std::exception& error) {
    m_any = true;
    if (dynamic_cast<const Overtaken*>(&error)) m_overtaken = true;
    try {
      m_lines += std::string("\n") + error.what();
    } catch (const std::exception&) {
    }
  }

  bool m_any = false;
  bool m_overtaken = false;
  std::string m_lines;
};

std::vector<std::string> DirectoriesOf(const std::vector<Replacement>& replacements) {
  std::vector<std::string> directories;
  directories.reserve(replacements.size());
  for (const Replacement& replacement : replacements) {
    directories.push_back(replacement.Directory());
  }
  std::sort(directories.begin(), directories.end());
  directories.erase(std::unique(directories.begin(), directories.end()), directories.end());
  return directories;
}

void FlushAll(const std::vector<std::string>& directories) {
  for (const std::string& directory : directories) FlushDirectory(directory);
}

Problems Undo(std::vector<Replacement>& replacements, const std::vector<std::string>& directories) {
  Problems problems;
  const auto is_in_place = [](const Replacement& one) { return one.CanBeTakenBack(); };
  if (std::none_of(replacements.begin(), replacements.end(), is_in_place)) return problems;
  for (auto r = replacements.rbegin(); r != replacements.rend(); ++r) {
    problems.Try([&] { r->TakeBack(); });
  }
  problems.Try([&] { FlushAll(directories); });
  return problems;
}

}  // namespace

Swap::Swap(std::vector<Replacement> replacements)
    : m_replacements(std::move(replacements)), m_directories(DirectoriesOf(m_replacements)) {}

Swap::~Swap() {
  Undo(m_replacements, m_directories);
}

void Swap::PutInPlace() {
  OrTakeBack([this] {
    for (Replacement& replacement : m_replacements) replacement.PutInPlace();
    FlushAll(m_directories);
  });
}

CommandResult Swap::Run(const std::string& command, const sigset_t& signals) {
  CommandResult result;
  OrTakeBack([&] { result = RunInShell(command, signals); });
  return result;
}

void Swap::ExpectInPlace() {
  const auto is_in_place = [](const Replacement& one) { return one.IsInPlace(); };
  if (std::all_of(m_replacements.begin(), m_replacements.end(), is_in_place)) return;
  TakeBack("");
  throw Overtaken("a file was changed by another program meanwhile, and changed back");
}

void Swap::TakeBack(const std::string& reason) {
  Undo(m_replacements, m_directories).ThrowIfAny(reason);
}

void Swap::Settle() {
  for (Replacement& replacement : m_replacements) replacement.Settle();
}

template <typename Step>
void Swap::OrTakeBack(const Step& step) {
  try {
    step();
  } catch (const std::exception& error) {
    const bool is_overtaken = dynamic_cast<const Overtaken*>(&error) != nullptr;
    Undo(m_replacements, m_directories).ThrowIfAny(error.what(), is_overtaken);
    throw;
  }
}

}  // namespace update
