// SPDX-License-Identifier: Apache-2.0

#include "adopt/adopt.h"

#include <algorithm>
#include <utility>

#include "adopt/choice.h"
#include "adopt/lines.h"
#include "adopt/naming.h"
#include "adopt/proof.h"
#include "adopt/site.h"
#include "adopt/writing.h"
#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"
#include "edit/tree/limits.h"

namespace tov_adopt {
namespace {

using tov_document::Document;

class Adopter {
 public:
  Adopter(const Options& options, std::string_view text, const std::string& name)
      : m_options(options), m_name(name), m_document(options.dialect, text), m_places(text) {}

  Adopted Run() {
    if (IsUnreadable()) return std::move(m_adopted);
    Finding refusal;
    const std::optional<Site> site = FindSite(m_document, m_options.site, m_name, refusal);
    if (!site) return Refused(std::move(refusal));
    Lines lines = ReadLines(m_document, site->blocks);
    std::vector<Value> values = NameValues(m_document, site->name, m_options.values, lines);
    ChooseLines(m_options, lines);
    MarkUsed(lines, values);
    for (const Value& value : values) {
      if (!value.given || value.used) continue;
      return Refused({"value",
                      "the text " + tov_edit::Quoted(value.text) + " of the value " +
                          tov_edit::Quoted(value.name) + " stands nowhere in the site",
                      "A value is a whole word, or a part of a path",
                      {},
                      {{m_name, 0, 0}}});
    }
    for (const Unreadable& odd : lines.unreadable) SayUnreadable(odd);
    Proof proof(m_document, m_name, lines, values);
    const bool holds = proof.Carry();
    m_adopted.refusals = std::move(proof.refusals);
    if (!holds) return std::move(m_adopted);
    std::move(proof.left_out.begin(), proof.left_out.end(), std::back_inserter(m_adopted.left_out));
    MarkUsed(lines, values);
    m_adopted.template_text = Write(m_options.dialect, lines, values, m_options.comment).text;
    for (const Value& value : values) {
      if (value.used) m_adopted.values[value.name] = {value.text, value.text};
    }
    return std::move(m_adopted);
  }

 private:
  Adopted Refused(Finding refusal) {
    m_adopted.refusals.push_back(std::move(refusal));
    return std::move(m_adopted);
  }

  bool IsUnreadable() {
    if (!m_document.error()) return false;
    const auto place = m_places.Of(m_document.error()->at);
    m_adopted.refusals.push_back({"syntax",
                                  Describe(*m_document.error()),
                                  "The server would not take this file: mend it first",
                                  {},
                                  {{m_name, place.line, place.column}}});
    return true;
  }

  void SayUnreadable(const Unreadable& odd) {
    const auto place = m_places.Of(odd.bytes.begin);
    Finding finding{"left-out",
                    tov_edit::Quoted(m_document.Bytes(odd.bytes)) + " is left out: " + odd.reason};
    finding.config_places.push_back({m_name, place.line, place.column});
    m_adopted.left_out.push_back(std::move(finding));
  }

  const Options& m_options;
  const std::string& m_name;
  const Document m_document;
  const tov_document::Places m_places;
  Adopted m_adopted;
};

}  // namespace

Adopted Adopt(const Options& options, std::string_view text, const std::string& name) {
  return Adopter(options, text, name).Run();
}

}  // namespace tov_adopt
