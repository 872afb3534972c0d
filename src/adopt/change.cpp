// SPDX-License-Identifier: Apache-2.0

// The template between two configurations.

#include <algorithm>
#include <optional>
#include <utility>

#include "adopt/adopt.h"
#include "adopt/difference.h"
#include "adopt/lines.h"
#include "adopt/proof.h"
#include "adopt/site.h"
#include "adopt/writing.h"
#include "document/document.h"
#include "document/places.h"
#include "edit/edit.h"

namespace tov_adopt {
namespace {

using tov_document::Document;
using tov_edit::FilePlace;
using tov_edit::Result;

// One of the two, read.
struct Side {
  Side(Dialect dialect, const Configuration& config)
      : name(config.name), document(dialect, config.text), places(config.text) {}

  const std::string& name;
  Document document;
  tov_document::Places places;
  Lines lines;
};

// The line, counted from 1, in which two texts differ first.
std::size_t FirstDifference(std::string_view a, std::string_view b) {
  const auto [in_a, in_b] = std::mismatch(
      a.begin(), a.begin() + static_cast<std::ptrdiff_t>(std::min(a.size(), b.size())), b.begin());
  return static_cast<std::size_t>(std::count(a.begin(), in_a, '\n')) + 1;
}

std::string LineOf(std::string_view text, std::size_t number) {
  for (; number > 1; --number) text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  return std::string(text.substr(0, text.find('\n')));
}

class Changer {
 public:
  Changer(const Options& options, const Configuration& before, const Configuration& after)
      : m_options(options), m_before(options.dialect, before), m_after(options.dialect, after) {}

  Adopted Run() {
    if (!Read(m_before) || !Read(m_after)) return std::move(m_adopted);
    // Each round takes a line that is the same out of the template, or writes one that changes as
    // two.
    for (;;) {
      const Difference difference =
          DifferenceOf(m_options.dialect, m_before.lines, m_after.lines, m_manner);
      if (difference.IsNone()) {
        Refuse({m_before.name, 0, 0}, m_before.document.text() == m_after.document.text()
                                          ? "the two do not differ"
                                          : "the two differ in comments and blanks only");
        return std::move(m_adopted);
      }
      if (Try(difference) || !m_adopted.refusals.empty()) return std::move(m_adopted);
    }
  }

 private:
  void Refuse(const FilePlace& place, const std::string& what) {
    m_adopted.refusals.push_back({"difference", what, "", {}, {place}});
  }

  bool Read(Side& side) {
    if (side.document.error()) {
      const auto place = side.places.Of(side.document.error()->at);
      m_adopted.refusals.push_back({"syntax",
                                    Describe(*side.document.error()),
                                    "The server would not take this file: mend it first",
                                    {},
                                    {{side.name, place.line, place.column}}});
      return false;
    }
    std::vector<tov_document::BlockId> blocks = {tov_document::kWholeText};
    if (!m_options.site.empty()) {
      Finding refusal;
      const std::optional<Site> site = FindSite(side.document, m_options.site, side.name, refusal);
      if (!site) {
        m_adopted.refusals.push_back(std::move(refusal));
        return false;
      }
      blocks = site->blocks;
    }
    side.lines = ReadLines(side.document, blocks);
    return true;
  }

  // Whether the template does what it is to do. False: it is to be written otherwise, or refused.
  bool Try(const Difference& difference) {
    const WrittenTemplate written =
        Write(m_options.dialect, difference.lines, difference.values, false);
    tov_edit::Request request = RequestFor(m_options.dialect, written, difference.values);
    if (!Leads(request, m_before, m_after, difference, written)) return false;
    m_adopted.values = request.values;
    for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
    if (!Leads(request, m_after, m_before, difference, written)) return false;
    m_adopted.template_text =
        Write(m_options.dialect, difference.lines, difference.values, m_options.comment).text;
    return true;
  }

  bool Leads(const tov_edit::Request& request, const Side& from, const Side& to,
             const Difference& difference, const WrittenTemplate& written) {
    const Result result = Edit(request, from.document.text(), from.name);
    if (!result.refusals.empty()) {
      WriteOtherwise(result.refusals, difference, written);
      return false;
    }
    if (result.text == to.document.text()) return true;
    const std::size_t line = FirstDifference(to.document.text(), result.text);
    if (SplitAt(line, to, difference)) return false;
    const std::string made = tov_edit::Quoted(LineOf(result.text, line));
    const std::string wanted = tov_edit::Quoted(LineOf(to.document.text(), line));
    Refuse({to.name, line, 0},
           "an edit of " + from.name + " would have " +
               (made == wanted ? "other blanks here: " + made : made + " here, not " + wanted));
    return false;
  }

  void WriteOtherwise(const std::vector<Finding>& refusals, const Difference& difference,
                      const WrittenTemplate& written) {
    bool any = false;
    for (const Finding& refusal : refusals) {
      const std::size_t at = refusal.template_place.line;
      const std::size_t line = at == 0 || at > written.lines.size() ? kNone : written.lines[at - 1];
      any = (line != kNone && WriteOtherwise(line, difference)) || any;
    }
    if (any) return;
    m_adopted.refusals = refusals;
    for (Finding& refusal : m_adopted.refusals) {
      refusal.message = "there is no such template: " + refusal.message;
      refusal.template_place = {};
    }
  }

  bool WriteOtherwise(std::size_t line, const Difference& difference) {
    const Origin& origin = difference.origins[line];
    if (difference.lines.all[line].in != Line::In::kBoth) return false;
    if (difference.changes[line]) return m_manner.as_two.insert(origin).second;
    return m_manner.absent.insert(origin.before).second;
  }

  // Writes the line that changes there as two. False: there is none.
  bool SplitAt(std::size_t number, const Side& side, const Difference& difference) {
    for (std::size_t i = 0; i < difference.origins.size(); ++i) {
      const Line& line = difference.lines.all[i];
      if (line.in != Line::In::kBoth || !difference.changes[i] ||
          line.kind != Line::Kind::kDirective) {
        continue;
      }
      const bool before = &side == &m_before;
      const Line& own = before ? m_before.lines.all[difference.origins[i].before]
                               : m_after.lines.all[difference.origins[i].after];
      if (side.places.Of(own.bytes.begin).line > number ||
          side.places.Of(own.bytes.end).line < number) {
        continue;
      }
      return m_manner.as_two.insert(difference.origins[i]).second;
    }
    return false;
  }

  const Options& m_options;
  Side m_before;
  Side m_after;
  Manner m_manner;
  Adopted m_adopted;
};

}  // namespace

Adopted AdoptChange(const Options& options, const Configuration& before,
                    const Configuration& after) {
  return Changer(options, before, after).Run();
}

}  // namespace tov_adopt
