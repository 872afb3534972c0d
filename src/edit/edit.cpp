// SPDX-License-Identifier: Apache-2.0

#include "edit/edit.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "document/meaning.h"
#include "document/suspicion.h"
#include "edit/address/address.h"
#include "edit/address/evidence.h"
#include "edit/address/names_sought.h"
#include "edit/address/old_values.h"
#include "edit/address/shown_blocks.h"
#include "edit/collision_findings.h"
#include "edit/collisions.h"
#include "edit/edit_parts.h"
#include "edit/layout/layout.h"
#include "edit/layout/parts_layout.h"
#include "edit/match/comparison.h"
#include "edit/match/contents.h"
#include "edit/plan/plan.h"
#include "edit/prepared_edit.h"
#include "edit/reporter.h"
#include "edit/tree/dialect_check.h"
#include "edit/tree/limits.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {
namespace {

// Why the server does not take a text with an error.
Finding SyntaxFinding(const Contents& contents, const std::string& name) {
  const Document& document = contents.document();
  const tov_document::SyntaxError& error = *document.error();
  const auto suspicion = tov_document::Suspect(document);
  Finding finding{"syntax", suspicion ? Describe(*suspicion) : Describe(error),
                  "The server would not take this file: mend it first"};
  const auto add = [&](std::uint32_t at) {
    finding.config_places.push_back(contents.PlaceOf(name, at));
    return Shown(finding.config_places.back());
  };
  add(suspicion ? suspicion->at : error.at);
  if (suspicion) {
    finding.message += "; at the end of the file, the block of " + add(error.at) + " is open";
  } else if (error.opened && *error.opened != error.at) {
    finding.message += "; open since " + add(*error.opened);
  }
  return finding;
}

// Whether the text has none of the names without which none of the blocks is in it: it need not be
// read. `names` may be null: false. With old values to be read, and of a template with a mistake,
// that is not known.
bool LacksNames(const Request& request, const PreparedTemplate& prepared, const NamesSought* names,
                std::string_view text) {
  return names != nullptr && prepared.findings.refusals.empty() && !ReadsOldValues(request) &&
         !names->MayBeIn(text);
}

class Editor {
 public:
  Editor(const Request& request, std::string_view text, const std::string& name)
      : m_request(request), m_text(text), m_name(name) {}

  Editor(const Request& request, const PartsEdit& parts)
      : m_request(request), m_text(parts.parts.text()), m_name(parts.name), m_parts(&parts) {
    for (const Finding& problem : parts.problems) Refuse(problem);
  }

  Result Run(EditReport* report) {
    const PreparedTemplate prepared(m_request);
    std::optional<NamesSought> names;
    if (m_request.skip_missing) {
      names.emplace(prepared.tree, prepared.evidence, m_request.dialect);
    }
    return Run(prepared, names ? &*names : nullptr, report);
  }

  // `prepared` is the request's template. `names` are its own, for a text that may be skipped;
  // null: that is not asked for.
  Result Run(const PreparedTemplate& prepared, const NamesSought* names, EditReport* report) {
    CheckSize(m_text, m_name, false);
    if (m_findings.refusals.empty() && LacksNames(m_request, prepared, names, m_text)) {
      return Skip(prepared.tree, report);
    }
    const bool reads = ReadsOldValues(m_request);
    // Else each line would be wrong, or is not known yet.
    if (!IsOfOtherDialect(prepared) && !reads) RefuseTemplate(prepared);
    return reads ? RunWithOldValues(prepared.tree, report) : RunAsIs(prepared, report);
  }

  PartsResult RunOnParts(EditReport* report) {
    Result made = Run(report);
    PartsResult result;
    if (made.refusals.empty()) result.texts = std::move(m_texts);
    result.changes = std::move(m_changes);
    result.skipped = made.skipped;
    result.refusals = std::move(made.refusals);
    result.warnings = std::move(made.warnings);
    return result;
  }

 private:
  // The text is left alone without a closer look: whatever it is, it has none of the blocks.
  Result Skip(const TemplateTree& tree, EditReport* report) {
    m_result.skipped = true;
    if (report != nullptr) *report = ReportOf(tree);
    return Finish(std::string(m_text));
  }

  bool IsOfOtherDialect(const PreparedTemplate& prepared) {
    return m_findings.refusals.empty() && RefuseOtherDialect(prepared);
  }

  // For what is wrong with it; reading it warns of nothing.
  void RefuseTemplate(const PreparedTemplate& prepared) {
    const std::vector<Finding>& refusals = prepared.findings.refusals;
    m_findings.refusals.insert(m_findings.refusals.end(), refusals.begin(), refusals.end());
  }

  // All old values are known.
  Result RunAsIs(EditReport* report) {
    const PreparedTemplate prepared(m_request);
    if (!IsOfOtherDialect(prepared)) RefuseTemplate(prepared);
    return RunAsIs(prepared, report);
  }

  Result RunAsIs(const PreparedTemplate& prepared, EditReport* report) {
    const TemplateTree& tree = prepared.tree;
    if (!m_findings.refusals.empty()) return Refused(tree, report);
    const Document document(m_request.dialect, m_text);
    CheckSyntax(document);
    if (NestsTooDeep(document)) return Refused(tree, report);
    Contents contents = ContentsOf(document);
    const std::vector<Match> matches =
        FindBlocks(tree, prepared.evidence, contents, m_name, m_request.all, m_findings);
    m_result.skipped = m_request.skip_missing && HasNoBlock(matches);
    if (!m_result.skipped) CheckMissing(tree, contents, matches);
    Plan plan;
    std::string edited = m_parts != nullptr ? WriteParts(tree, contents, matches, plan)
                                            : WriteText(tree, contents, matches, plan);
    if (report != nullptr) {
      *report = ReportEdit({m_request, tree, matches, contents, plan, m_name, IsAmbiguous()});
    }
    return Finish(std::move(edited));
  }

  Contents ContentsOf(const Document& document) const {
    return m_parts != nullptr ? Contents(document, m_parts->parts) : Contents(document);
  }

  // The edited text.
  std::string WriteText(const TemplateTree& tree, Contents& contents,
                        const std::vector<Match>& matches, Plan& plan) {
    Layout layout(contents);
    if (!m_result.skipped) {
      plan = MakePlan(m_request, tree, matches, m_name, contents, layout, m_findings);
    }
    std::string edited = layout.IsChanged() ? layout.Text() : std::string(m_text);
    CheckSize(edited, m_name, true);
    const Document& before = contents.document();
    if (m_findings.refusals.empty() && layout.IsChanged() && !before.error()) {
      using tov_document::Marks;
      const Marks marks = plan.identities ? Marks::kNoted : Marks::kLeftOut;
      const Document document(m_request.dialect, edited, marks);
      const Contents after(document);
      if (CheckSyntaxOf(after, m_name)) {
        if (plan.identities) CheckCollisions(before, after);
        CheckMeaning(after, m_name, plan, layout);
      }
    }
    if (m_request.list_changes && layout.IsChanged()) {
      m_result.changes = ListChanges(layout, tree);
    }
    return edited;
  }

  // The same for the files that the text is made of; the text itself stays.
  std::string WriteParts(const TemplateTree& tree, Contents& contents,
                         const std::vector<Match>& matches, Plan& plan) {
    std::vector<BlockId> found;
    for (std::size_t i = 1; i < matches.size(); ++i) {
      if (matches[i].at) found.push_back(*matches[i].at);
    }
    PartsLayout layout(m_parts->parts, tree, contents, m_parts->new_file, found, m_findings);
    if (!m_result.skipped) {
      plan = MakePlan(m_request, tree, matches, m_name, contents, layout, m_findings);
    }
    for (const auto& [file, sheet] : layout.sheets()) {
      if (sheet->layout.IsChanged()) WriteSheet(tree, file, *sheet, plan);
    }
    if (m_findings.refusals.empty() && !m_texts.empty()) {
      const Parts parts = m_parts->rejoin(m_texts);
      const Document after(m_request.dialect, parts.text());
      if (m_parts->leaves_out) {
        const Parts old_parts = m_parts->rejoin({});
        CheckCollisions(Document(m_request.dialect, old_parts.text()), Contents(after, parts));
      } else {
        CheckCollisions(contents.document(), Contents(after, parts));
      }
    }
    return std::string(m_text);
  }

  void WriteSheet(const TemplateTree& tree, std::size_t file, PartsLayout::Sheet& sheet,
                  const Plan& plan) {
    const std::string& name = m_parts->parts.files()[file].name;
    std::string text = sheet.layout.Text();
    CheckSize(text, name, true);
    if (m_findings.refusals.empty() && !sheet.document.error()) {
      const Document document(m_request.dialect, text, tov_document::Marks::kLeftOut);
      const Contents after(document);
      if (CheckSyntaxOf(after, name)) CheckMeaning(after, name, plan, sheet.layout);
    }
    if (m_request.list_changes) m_changes[file] = ListChanges(sheet.layout, tree);
    if (text != sheet.document.text()) m_texts[file] = std::move(text);
  }

  Result RunWithOldValues(const TemplateTree& tree, EditReport* report) {
    if (!m_findings.refusals.empty()) return Refused(tree, report);
    const Document document(m_request.dialect, m_text);
    CheckSyntax(document);
    if (NestsTooDeep(document)) return Refused(tree, report);
    Contents contents = ContentsOf(document);
    const Request known = WithOldValues(m_request, contents, m_name, m_findings);
    if (!m_findings.refusals.empty()) return Refused(tree, report);
    Editor editor = m_parts != nullptr ? Editor(known, *m_parts) : Editor(known, m_text, m_name);
    Result result = editor.RunAsIs(report);
    m_texts = std::move(editor.m_texts);
    m_changes = std::move(editor.m_changes);
    return result;
  }

  Result Refused(const TemplateTree& tree, EditReport* report) {
    if (report != nullptr) *report = ReportOf(tree);
    return Finish(std::string(m_text));
  }

  Result Finish(std::string edited) {
    m_result.text = m_findings.refusals.empty() ? std::move(edited) : std::string(m_text);
    m_result.changed = m_result.text != m_text;
    for (Finding& refusal : m_findings.refusals) {
      refusal.can_be_forced = IsOneOf(kForcedRefusals, refusal.name);
    }
    m_result.refusals = std::move(m_findings.refusals);
    m_result.warnings = std::move(m_findings.warnings);
    return std::move(m_result);
  }

  static bool IsOneOf(const std::vector<FindingKind>& kinds, const std::string& name) {
    return std::any_of(kinds.begin(), kinds.end(),
                       [&name](const FindingKind& kind) { return name == kind.name; });
  }

  static std::vector<Change> ListChanges(Layout& layout, const TemplateTree& tree) {
    std::vector<Change> changes;
    for (TextEdit& edit : layout.Edits()) {
      Change change{edit.line, edit.count, std::move(edit.text), {}};
      for (const std::size_t line : edit.lines) {
        change.template_lines.push_back(tree.lines[line].place);
        change.template_lines.back().column = 0;
      }
      changes.push_back(std::move(change));
    }
    return changes;
  }

  void CheckSize(std::string_view text, const std::string& name, bool in_result) {
    if (text.size() <= kLargestText) return;
    Exceed({name, 0, 0}, "a text of more than " + std::to_string(kLargestText / kMebibyte) + " MiB",
           in_result);
  }

  // A block is looked for, and its directives are, through all conditions around.
  bool NestsTooDeep(const Document& document) {
    if (document.dialect() != Dialect::kApache) return false;
    const auto& blocks = document.blocks();
    std::vector<std::size_t> depths(blocks.size());
    std::size_t deepest = 0;
    for (BlockId id = 1; id < blocks.size(); ++id) {
      depths[id] = depths[blocks[id].parent] + 1;
      deepest = std::max(deepest, depths[id]);
    }
    if (deepest <= kDeepestConditions) return false;  // as most texts, whatever their blocks are
    const Contents contents(document);
    depths.assign(blocks.size(), 0);  // of conditions, with nothing else between
    for (BlockId id = 1; id < blocks.size(); ++id) {
      if (!tov_document::IsCondition(Dialect::kApache, contents.HeadOf(id).front())) continue;
      depths[id] = depths[blocks[id].parent] + 1;
      if (depths[id] <= kDeepestConditions) continue;
      Exceed(contents.PlaceOf(m_name, blocks[id].head.begin),
             "conditions in conditions, more than " + std::to_string(kDeepestConditions) + " deep",
             false);
      return true;
    }
    return false;
  }

  void Exceed(const FilePlace& place, const std::string& what, bool in_result) {
    Finding finding{"limit", "an edit does not take " + what};
    finding.config_places.push_back(place);
    finding.in_result = in_result;
    m_findings.refusals.push_back(std::move(finding));
  }

  // What is known of a template that cannot be carried out.
  EditReport ReportOf(const TemplateTree& tree) const {
    const Document document(m_request.dialect, {});
    const Contents contents(document);
    return ReportEdit({m_request, tree, {}, contents, {}, m_name});
  }

  bool IsAmbiguous() const {
    return std::any_of(m_findings.refusals.begin(), m_findings.refusals.end(),
                       [](const Finding& finding) { return finding.name == "ambiguous"; });
  }

  void Refuse(Finding finding) {
    if (m_request.forced.count(finding.name) == 0) {
      m_findings.refusals.push_back(std::move(finding));
    }
  }

  // Whether it did.
  bool RefuseOtherDialect(const PreparedTemplate& prepared) {
    std::optional<Finding> other = OtherDialect(m_text, m_request.dialect);
    if (other) {
      other->config_places.push_back({m_name});
    } else {
      other = prepared.other_dialect;
    }
    if (other) Refuse(std::move(*other));
    return !m_findings.refusals.empty();
  }

  void CheckSyntax(const Document& document) {
    if (!document.error()) return;
    Refuse(SyntaxFinding(ContentsOf(document), m_name));
  }

  // The whole text is the first match.
  bool HasNoBlock(const std::vector<Match>& matches) const {
    return matches.size() > 1 && std::none_of(matches.begin() + 1, matches.end(),
                                              [](const Match& match) { return match.at; });
  }

  void CheckMissing(const TemplateTree& tree, const Contents& contents,
                    const std::vector<Match>& matches) {
    std::map<std::size_t, std::vector<BlockId>> missed;  // by blocks of the template: from where
    for (std::size_t i = 1; i < matches.size(); ++i) {
      const Match& match = matches[i];
      const TemplateBlock& block = tree.blocks[match.block];
      if (!block.enabled) continue;
      if (!match.at) {
        missed[match.block].push_back(*matches[match.parent].at);
      } else if (m_request.create == Create::kOnly && block.parent == 0) {
        m_findings.refusals.push_back({"exists",
                                       "this block is there already, " +
                                           Described(contents, m_name, *match.at) +
                                           ", and only new ones are to be made",
                                       "",
                                       tree.lines[block.opening].place,
                                       {contents.PlaceOfBlock(m_name, *match.at)}});
      }
    }
    for (const auto& [block, around] : missed) CheckMissing(tree, contents, block, around);
  }

  // Of a block of the template that is nowhere in the blocks `around`.
  void CheckMissing(const TemplateTree& tree, const Contents& contents, std::size_t block,
                    const std::vector<BlockId>& around) {
    const bool renamed = SaysRenamed(tree, m_request.dialect, block);
    const TemplateLine& opening = tree.lines[tree.blocks[block].opening];
    const bool may_be_made = !renamed && m_request.create != Create::kNever;
    const bool has_place = !may_be_made || HasPlaceFor(opening, contents, around.front());
    if (may_be_made && has_place) return;
    const bool is_inside = around.front() != tov_document::kWholeText;
    std::string where = is_inside ? Described(contents, m_name, around.front()) : m_name;
    if (around.size() > 1) {
      where += ", nor in " + std::to_string(around.size() - 1) +
               (around.size() == 2 ? " other such block" : " other such blocks");
    }
    Refuse({"unmatched-section",
            "there is no " + SoughtBlock(tree, m_request.dialect, block) + " in " + where +
                Candidates(contents, opening, around.front()),
            renamed ? "Correct the old value, or leave it out for a new block"
            : !has_place
                ? "nginx takes no server outside of http, stream and mail, and there is no "
                  "http: write the block around it into the template"
                : "It is not made, as was asked",
            opening.place});
  }

  // False: it is a server of nginx, for the top level of a text that takes none.
  bool HasPlaceFor(const TemplateLine& opening, const Contents& contents, BlockId around) {
    if (m_request.dialect != Dialect::kNginx || around != tov_document::kWholeText) return true;
    if (!opening.now || opening.now->words.front() != "server") return true;
    if (!m_takes_servers) m_takes_servers = TakesServers(contents);
    return *m_takes_servers;
  }

  // Whether http, or what stands in it, is in the text; false: it is a whole configuration of nginx
  // that serves something else.
  static bool TakesServers(const Contents& contents) {
    const auto& blocks = contents.document().blocks();
    bool is_whole = false;
    for (BlockId id = 1; id < blocks.size(); id = blocks[id].next) {
      const std::string name = contents.HeadOf(id).front();
      if (name == "http" || name == "server") return true;
      is_whole = is_whole || name == "events" || name == "stream" || name == "mail";
    }
    return !is_whole;
  }

  // The first blocks of the same kind in `around`, for a message.
  const std::string& Candidates(const Contents& contents, const TemplateLine& opening,
                                BlockId around) {
    const WrittenPtr& head = opening.was ? opening.was : opening.now;
    const auto [known, is_new] = m_candidates.try_emplace(
        std::make_pair(around, head ? head->words.front() : std::string()));
    if (is_new) known->second = BlocksLike(contents, m_name, opening, around);
    return known->second;
  }

  // Of an edited text, the file `name`. Whether its server would take it.
  bool CheckSyntaxOf(const Contents& after, const std::string& name) {
    const auto& error = after.document().error();
    if (!error) return true;
    Refuse({"syntax",
            Describe(*error),
            "The server would not take it",
            {},
            {after.PlaceOf(name, error->at)},
            true});
    return false;
  }

  void CheckMeaning(const Contents& after, const std::string& name, const Plan& plan,
                    const Layout& layout) {
    if (plan.raw) return;  // that may be anything
    const std::optional<std::size_t> other = layout.meant().DifferenceFrom(after.document());
    if (!other) return;
    const bool is_raw =
        std::any_of(m_request.values.begin(), m_request.values.end(),
                    [&](const auto& value) { return m_request.raw.count(value.first) != 0; });
    if (is_raw) {
      m_findings.refusals.push_back({"value",
                                     "from here on, the result is not what the template means: a "
                                     "value that is put in as it is "
                                     "reaches out of its line",
                                     "Let it be a whole part of its line",
                                     {},
                                     {after.PlaceOf(name, *other)},
                                     true});
      return;
    }
    m_findings.refusals.push_back(
        {"fault",
         "from here on, the result is not what the template means. This is a bug in the library, "
         "and nothing is changed. Please report it with the configuration, the template and the "
         "values",
         "",
         {},
         {after.PlaceOf(name, *other)},
         true});
  }

  void CheckCollisions(const Document& before, const Contents& after) {
    const Extent extent = m_parts != nullptr ? Extent::kWhole : Extent::kPart;
    for (const Collision& collision : NewCollisions(before, after.document(), extent)) {
      Finding finding = FindingOf(after, m_name, collision);
      finding.in_result = true;
      Refuse(std::move(finding));
    }
  }

  const Request& m_request;
  const std::string_view m_text;
  const std::string& m_name;
  const PartsEdit* m_parts = nullptr;  // none: the text is one file
  Findings m_findings;
  Result m_result;
  NewTexts m_texts;  // of the files that change
  std::map<std::size_t, std::vector<Change>> m_changes;
  std::map<std::pair<BlockId, std::string>, std::string> m_candidates;  // by blocks around, names
  std::optional<bool> m_takes_servers;  // the top level of nginx; none: nobody has asked yet
};

}  // namespace

Result Edit(const Request& request, std::string_view text, const std::string& name) {
  return Editor(request, text, name).Run(nullptr);
}

PreparedTemplate::PreparedTemplate(const Request& request)
    : tree(ReadTemplate(request, findings)),
      evidence(tree, request.dialect),
      other_dialect(OtherDialect(request)) {}

PreparedEdit::PreparedEdit(Request request)
    : m_request(std::move(request)),
      m_template(m_request),
      m_names(m_template.tree, m_template.evidence, m_request.dialect) {}

Result PreparedEdit::On(std::string_view text, const std::string& name) const {
  return Editor(m_request, text, name).Run(m_template, NamesToSkipBy(), nullptr);
}

bool PreparedEdit::Skips(std::string_view text) const {
  return text.size() <= kLargestText && LacksNames(m_request, m_template, NamesToSkipBy(), text);
}

const NamesSought* PreparedEdit::NamesToSkipBy() const {
  return m_request.skip_missing ? &m_names : nullptr;
}

Explained Explain(const Request& request, std::string_view text, const std::string& name) {
  Explained explained;
  explained.result = Editor(request, text, name).Run(&explained.report);
  return explained;
}

PartsResult EditParts(const Request& request, const PartsEdit& edit) {
  return Editor(request, edit).RunOnParts(nullptr);
}

ExplainedParts ExplainParts(const Request& request, const PartsEdit& edit) {
  ExplainedParts explained;
  explained.result = Editor(request, edit).RunOnParts(&explained.report);
  return explained;
}

std::optional<std::string> FirstName(const Request& request) {
  Findings ignored;
  const TemplateTree tree = ReadTemplate(request, ignored);
  for (std::size_t block = 1; block < tree.blocks.size(); ++block) {
    if (!tree.blocks[block].enabled) continue;
    const Evidence evidence = ReadEvidence(tree, request.dialect, block, ignored);
    if (evidence.new_name) return evidence.new_name;
  }
  return std::nullopt;
}

std::optional<Finding> SyntaxProblem(const Document& document, const std::string& name) {
  if (!document.error()) return std::nullopt;
  return SyntaxFinding(Contents(document), name);
}

Result Prototype(const Request& request) {
  Findings findings;
  Result result;
  result.text = Prototype(request, findings);
  if (!findings.refusals.empty()) result.text.clear();
  result.refusals = std::move(findings.refusals);
  return result;
}

}  // namespace tov_edit
