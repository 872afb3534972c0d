// SPDX-License-Identifier: Apache-2.0

// The lines of a view that an edit has to leave alone.
#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/view_probe.h"

// Taken before an edit: every line but those of the blocks that the edit concerns, what stands
// between them, and the blocks that lose a line that way.
class Bystanders {
 public:
  // `concerns` says of a block (section path, elements) whether the edit may change it.
  template <class View, class Concerns>
  Bystanders(const View& view, Concerns concerns) {
    for (const std::string& line : *view.m_lines) m_lines.emplace_back(&line, line);
    std::map<const std::string*, std::size_t> numbers;
    for (const auto& line : m_lines) numbers.emplace(line.first, numbers.size());

    std::vector<Span> blocks;
    std::vector<std::vector<std::size_t>> owners(m_lines.size());
    std::vector<std::size_t> concerned;
    for (const auto& block : view.m_params) {
      Span span{m_lines.size(), 0};
      for (const ConfParam& param : block.second) {
        if (param.m_line == view.m_lines->end()) continue;
        const std::size_t number = numbers.at(&*param.m_line);
        span = {std::min(span.first, number), std::max(span.last, number + 1)};
        owners[number].push_back(blocks.size());
      }
      if (concerns(block.first, block.second)) concerned.push_back(blocks.size());
      blocks.push_back(span);
    }
    std::vector<bool> taken(m_lines.size());
    while (!concerned.empty()) {
      const Span span = blocks[concerned.back()];
      concerned.pop_back();
      for (std::size_t line = span.first; line < span.last; ++line) {
        if (taken[line]) continue;
        taken[line] = true;
        concerned.insert(concerned.end(), owners[line].begin(), owners[line].end());
      }
    }
    std::size_t number = 0;
    const auto is_taken = [&](const auto& /*line*/) { return taken[number++]; };
    m_lines.erase(std::remove_if(m_lines.begin(), m_lines.end(), is_taken), m_lines.end());
  }

  // The first one that is not there any more, with the same text and in the same order; "" when all
  // are.
  template <class View>
  std::string Harmed(const View& view) const {
    auto expected = m_lines.begin();
    for (const std::string& line : *view.m_lines) {
      if (expected != m_lines.end() && expected->first == &line && expected->second == line) {
        ++expected;
      }
    }
    return expected == m_lines.end() ? "" : "changed without need: " + expected->second;
  }

 private:
  struct Span {
    std::size_t first;
    std::size_t last;
  };

  std::vector<std::pair<const std::string*, std::string>> m_lines;
};
