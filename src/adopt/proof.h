// SPDX-License-Identifier: Apache-2.0

// Edits with an adopted template, made before anybody else makes them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "adopt/lines.h"
#include "adopt/naming.h"
#include "adopt/writing.h"
#include "edit/edit.h"
#include "edit/finding.h"
#include "edit/request.h"

namespace tov_adopt {

// The request for an edit with the template and the values as they are.
tov_edit::Request RequestFor(Dialect dialect, const WrittenTemplate& written,
                             const std::vector<Value>& values);

class Proof {
 public:
  // `text`, which the document is made of, is the file `name`.
  Proof(const Document& document, const std::string& name, Lines& lines, std::vector<Value>& values)
      : m_document(document), m_name(name), m_lines(lines), m_values(values) {}

  // Takes lines out, and places, until the template of what is kept does what it is to do (see
  // Adopt in adopt.h). False: nothing is kept, and `refusals` say why.
  bool Carry();

  // What has been taken out.
  std::vector<tov_edit::Finding> left_out;
  std::vector<tov_edit::Finding> refusals;

 private:
  struct Expected {
    std::string text;
    tov_edit::Values values;
  };

  bool LeavesAlone();
  bool FollowsValues();
  bool Follows(const std::vector<std::size_t>& values, std::string& why, std::size_t& culprit);
  Expected ExpectedWith(const std::vector<std::size_t>& values) const;
  std::size_t LineAt(std::uint32_t offset) const;
  std::size_t CulpritOf(const tov_edit::Result& result, const WrittenTemplate& written) const;
  void LeaveOut(std::size_t number, const std::string& reason);
  bool TakeOutRefused(const tov_edit::Result& result, const WrittenTemplate& written);

  const Document& m_document;
  const std::string& m_name;
  Lines& m_lines;
  std::vector<Value>& m_values;
};

}  // namespace tov_adopt
