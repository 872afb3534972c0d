// SPDX-License-Identifier: Apache-2.0

// A configuration that is compared with another one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "adopt/adopt.h"
#include "adopt/lines.h"
#include "document/document.h"
#include "document/places.h"

namespace tov_adopt {

// The text has to outlive it.
class Side {
 public:
  Side(const Options& options, const Configuration& config);

  // Why there is nothing to compare: the server would not take it, or it does not have the site.
  const std::optional<Finding>& refusal() const { return m_refusal; }

  const std::string& name() const { return m_name; }
  const Document& document() const { return m_document; }

  // Of the site, or of all.
  const Lines& lines() const { return m_lines; }

  // What is compared: the blocks of the site, or all.
  const std::vector<Span>& parts() const { return m_parts; }

  std::size_t LineOf(std::uint32_t offset) const { return m_places.Of(offset).line; }

  // The text of the line that this byte is in.
  std::string TextAround(std::uint32_t offset) const;

 private:
  const std::string m_name;
  const Document m_document;
  const tov_document::Places m_places;
  Lines m_lines;
  std::vector<Span> m_parts;
  std::optional<Finding> m_refusal;
};

// Where two begin to differ.
struct Mismatch {
  std::uint32_t in_first = 0;
  std::uint32_t in_second = 0;
};

// None: their bytes are the same.
std::optional<Mismatch> DifferentBytes(const Side& first, const Side& second);

// None: their servers read the same. Comments and blanks are nothing to them; the order of
// directives is.
std::optional<Mismatch> DifferentStatements(const Side& first, const Side& second);

// Whether each block has the same in it, in an order that is another one for directives only that
// have nothing to do with each other.
bool AreSameButForOrder(const Side& first, const Side& second);

}  // namespace tov_adopt
