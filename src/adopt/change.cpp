// SPDX-License-Identifier: Apache-2.0

// The template between two configurations.

#include <optional>
#include <utility>

#include "adopt/adopt.h"
#include "adopt/difference.h"
#include "adopt/lines.h"
#include "adopt/proof.h"
#include "adopt/side.h"
#include "adopt/writing.h"
#include "edit/edit.h"

namespace tov_adopt {
namespace {

using tov_edit::FilePlace;
using tov_edit::Result;

constexpr char kDifference[] = "difference";
constexpr char kLeftOut[] = "left-out";

// What the two edits have to come to: the same bytes, the same for the server, the same but for the
// order of what has nothing to do with each other; or that of the first of them only.
enum class Goal { kBytes, kStatements, kAnyOrder, kFirstInAnyOrder };

class Changer {
 public:
  Changer(const Options& options, const Configuration& before, const Configuration& after)
      : m_options(options), m_before(options, before), m_after(options, after) {}

  Adopted Run() {
    for (const Side* const side : {&m_before, &m_after}) {
      if (!side->refusal()) continue;
      m_adopted.refusals = {*side->refusal()};
      return std::move(m_adopted);
    }
    if (DifferenceOf(m_options.dialect, m_before.lines(), m_after.lines(), {}).IsNone()) {
      Refuse({m_before.name(), 0, 0}, DifferentBytes(m_before, m_after)
                                          ? "the two differ in comments and blanks only"
                                          : "the two do not differ");
      return std::move(m_adopted);
    }
    for (const Goal goal :
         {Goal::kBytes, Goal::kStatements, Goal::kAnyOrder, Goal::kFirstInAnyOrder}) {
      if (goal == Goal::kAnyOrder && AreSameButForOrder(m_before, m_after)) break;
      for (const bool with_siblings : {false, true}) {
        m_goal = goal;
        m_manner = {};
        m_manner.with_siblings = with_siblings;
        Search();
        if (m_adopted.refusals.empty()) return std::move(m_adopted);
      }
    }
    for (Finding& refusal : m_adopted.refusals) {
      if (refusal.name != kDifference)
        refusal.message = "there is no such template: " + refusal.message;
    }
    return std::move(m_adopted);
  }

 private:
  // Each round takes a line that is the same out of the template, or writes one that changes as
  // two.
  void Search() {
    do {
      m_adopted = {};
    } while (!Try(DifferenceOf(m_options.dialect, m_before.lines(), m_after.lines(), m_manner)) &&
             m_adopted.refusals.empty());
  }

  void Refuse(const FilePlace& place, const std::string& what) {
    m_adopted.refusals.push_back({kDifference, what, "", {}, {place}});
  }

  // Whether the template does what it is to do. False: it is to be written otherwise, or refused.
  bool Try(const Difference& difference) {
    const WrittenTemplate written =
        Write(m_options.dialect, difference.lines, difference.values, false);
    tov_edit::Request request = RequestFor(m_options.dialect, written, difference.values);
    if (!Leads(request, m_before, m_after, difference, written)) return false;
    m_adopted.values = request.values;
    for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
    if (!Leads(request, m_after, m_before, difference, written) && !LeaveOutTheWayBack()) {
      return false;
    }
    m_adopted.template_text =
        Write(m_options.dialect, difference.lines, difference.values, m_options.comment).text;
    return true;
  }

  // False: there is another way to write the template, or there has to be a way back.
  bool LeaveOutTheWayBack() {
    if (m_goal != Goal::kFirstInAnyOrder || m_adopted.refusals.empty()) return false;
    for (Finding& refusal : m_adopted.refusals) {
      refusal.name = kLeftOut;
      refusal.message = "there is no way back: " + refusal.message;
      m_adopted.left_out.push_back(std::move(refusal));
    }
    m_adopted.refusals.clear();
    return true;
  }

  bool Leads(const tov_edit::Request& request, const Side& from, const Side& to,
             const Difference& difference, const WrittenTemplate& written) {
    const Result result = Edit(request, from.document().text(), from.name());
    if (!result.refusals.empty()) {
      WriteOtherwise(result.refusals, difference, written);
      return false;
    }
    const Side made(m_options, {result.text, from.name()});
    if (made.refusal()) {
      m_adopted.refusals = {*made.refusal()};
      return false;
    }
    const std::optional<Mismatch> bytes = DifferentBytes(made, to);
    if (!bytes) return true;
    const std::optional<Mismatch> statements = DifferentStatements(made, to);
    const Mismatch& differs = statements && m_goal != Goal::kBytes ? *statements : *bytes;
    const std::size_t line = to.LineOf(differs.in_second);
    const std::string is = tov_edit::Quoted(made.TextAround(differs.in_first));
    const std::string wanted = tov_edit::Quoted(to.TextAround(differs.in_second));
    const std::string says =
        is == wanted ? "other blanks here: " + is : is + " here, not " + wanted;
    const bool reached =
        m_goal != Goal::kBytes &&
        (!statements || (m_goal != Goal::kStatements && AreSameButForOrder(made, to)));
    if (reached) {
      m_adopted.left_out.push_back(
          {kLeftOut,
           std::string(statements ? "the order of lines is" : "comments and blanks are") +
               " left out: an edit of " + from.name() + " has " + says,
           "",
           {},
           {{to.name(), line, 0}}});
    } else if (!SplitAt(line, to, difference)) {
      Refuse({to.name(), line, 0}, "an edit of " + from.name() + " would have " + says);
    }
    return reached;
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
    for (Finding& refusal : m_adopted.refusals) refusal.template_place = {};
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
      const Line& own = before ? m_before.lines().all[difference.origins[i].before]
                               : m_after.lines().all[difference.origins[i].after];
      if (side.LineOf(own.bytes.begin) > number || side.LineOf(own.bytes.end) < number) {
        continue;
      }
      return m_manner.as_two.insert(difference.origins[i]).second;
    }
    return false;
  }

  const Options& m_options;
  const Side m_before;
  const Side m_after;
  Goal m_goal = Goal::kBytes;
  Manner m_manner;
  Adopted m_adopted;
};

}  // namespace

Adopted AdoptChange(const Options& options, const Configuration& before,
                    const Configuration& after) {
  return Changer(options, before, after).Run();
}

}  // namespace tov_adopt
