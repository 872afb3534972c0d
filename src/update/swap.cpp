// SPDX-License-Identifier: Apache-2.0

#include "update/swap.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <set>
#include <utility>

#include "update/failure.h"
#include "update/side_by_side.h"

namespace tov_update {
namespace {

FailureData DataOf(const std::exception& error) {
  const auto* const failure = dynamic_cast<const Failure*>(&error);
  return failure ? failure->Data() : FailureData();
}

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

  // With the message `reason`, if there is one, and a line for each; the same for `data`.
  void ThrowIfAny(const std::string& reason, const FailureData& data,
                  bool is_overtaken = false) const {
    if (!m_any) return;
    const std::string message = reason.empty() ? m_lines.substr(1) : reason + m_lines;
    FailureData all = data;
    all.files.insert(all.files.end(), m_files.begin(), m_files.end());
    all.not_put_back = m_not_put_back;
    if (is_overtaken || m_overtaken) throw Overtaken(message, all);
    throw Failure(message, all);
  }

 private:
  void Note(const std::exception& error) {
    m_any = true;
    const bool is_overtaken = dynamic_cast<const Overtaken*>(&error) != nullptr;
    m_overtaken = m_overtaken || is_overtaken;
    try {
      m_lines += std::string("\n") + error.what();
      for (const std::string& file : DataOf(error).files) {
        m_files.push_back(file);
        if (!is_overtaken) m_not_put_back.push_back(file);
      }
    } catch (const std::exception&) {
    }
  }

  bool m_any = false;
  bool m_overtaken = false;
  std::string m_lines;
  std::vector<std::string> m_files;
  std::vector<std::string> m_not_put_back;
};

std::vector<std::string> DirectoriesOf(const std::vector<Replacement>& replacements) {
  std::set<std::string> directories;
  for (const Replacement& replacement : replacements) directories.insert(replacement.Directory());
  return {directories.begin(), directories.end()};
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

Swap::Swap(std::vector<Replacement> replacements, std::size_t backups, unsigned jobs)
    : m_replacements(std::move(replacements)),
      m_backups(backups),
      m_jobs(jobs),
      m_directories(DirectoriesOf(m_replacements)) {}

Swap::~Swap() {
  Undo(m_replacements, m_directories);
}

void Swap::PutInPlace() {
  OrTakeBack([this] {
    PutInPlace(0, m_backups);
    PutInPlace(m_backups, m_replacements.size());
    FlushAll(m_directories);
  });
}

void Swap::PutInPlace(std::size_t begin, std::size_t end) {
  ForEachSideBySide(end - begin, m_jobs,
                    [&](std::size_t i) { m_replacements.at(begin + i).PutInPlace(); });
}

CommandResult Swap::Run(const std::string& command, const CommandTerms& terms) {
  CommandResult result;
  OrTakeBack([&] { result = RunInShell(command, terms); });
  return result;
}

void Swap::ExpectInPlace() {
  std::atomic<bool> all_in_place = true;
  ForEachSideBySide(m_replacements.size(), m_jobs, [&](std::size_t i) {
    if (all_in_place && !m_replacements.at(i).IsInPlace()) all_in_place = false;
  });
  if (all_in_place) return;
  TakeBack("");
  throw Overtaken("a file was changed by another program meanwhile, and changed back");
}

void Swap::TakeBack(const std::string& reason, const FailureData& data) {
  Undo(m_replacements, m_directories).ThrowIfAny(reason, data);
}

void Swap::Settle() {
  ForEachSideBySide(m_replacements.size(), m_jobs,
                    [this](std::size_t i) { m_replacements.at(i).Settle(); });
}

template <typename Step>
void Swap::OrTakeBack(const Step& step) {
  try {
    step();
  } catch (const std::exception& error) {
    const bool is_overtaken = dynamic_cast<const Overtaken*>(&error) != nullptr;
    Undo(m_replacements, m_directories).ThrowIfAny(error.what(), DataOf(error), is_overtaken);
    throw;
  }
}

}  // namespace tov_update
