// SPDX-License-Identifier: Apache-2.0

// The template that most of many sites share.

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "adopt/adopt.h"
#include "adopt/choice.h"
#include "adopt/lines.h"
#include "adopt/naming.h"
#include "adopt/proof.h"
#include "adopt/site.h"
#include "adopt/writing.h"
#include "document/ascii.h"
#include "document/document.h"
#include "document/places.h"
#include "edit/edit.h"
#include "edit/tree/repetition.h"

namespace tov_adopt {
namespace {

using tov_document::Document;
using Numbers = std::vector<std::size_t>;

constexpr char kAliases[] = "aliases";

// The lines of a site and its values. Each reading of one site gives the same.
struct ReadSite {
  ReadSite(Dialect dialect, std::string_view text) : document(dialect, text) {}

  Document document;
  Lines lines;
  std::vector<Value> values;
  std::optional<Finding> refusal;  // it cannot be read
};

// What several sites may have in common: a line, or a directive that stands once in its block,
// whatever its words are.
struct Candidate {
  std::size_t parent = kNone;  // the candidate that is the block around
  std::string text;            // of a line, with places for values
  Numbers sites;               // that have it
  bool may_lack = false;       // where it is not, its value is not either, and it does nothing

  // Of a directive: its words in the first site, and which of them are others elsewhere.
  std::vector<std::string> words;
  std::vector<bool> differs;
  std::vector<std::string> value_names;  // of those

  bool accepted = false;

  bool IsOtherElsewhere() const {
    return std::find(differs.begin(), differs.end(), true) != differs.end();
  }
};

// Candidates of a line of a site; kNone: there is none.
struct Ids {
  std::size_t line = kNone;
  std::size_t directive = kNone;
};

class Comparer {
 public:
  Comparer(const Options& options, const std::vector<Configuration>& configs)
      : m_options(options), m_configs(configs) {
    m_options.site.clear();
    m_common.sites.resize(configs.size());
    m_has_aliases.resize(configs.size());
  }

  Common Run() {
    for (std::size_t i = 0; i < m_configs.size(); ++i) Count(i);
    const std::size_t model = Accept();
    if (model == kNone) {
      m_common.refusals.push_back({"site", "no line is in more than half of the sites"});
      return std::move(m_common);
    }
    NameDirectives();
    if (!WriteTemplate(model)) return std::move(m_common);
    for (std::size_t i = 0; i < m_configs.size(); ++i) Judge(i);
    return std::move(m_common);
  }

 private:
  ReadSite Read(std::size_t number) const {
    const Configuration& config = m_configs[number];
    ReadSite site(m_options.dialect, config.text);
    if (site.document.error()) {
      const auto place = tov_document::Places(config.text).Of(site.document.error()->at);
      site.refusal = Finding{"syntax",
                             Describe(*site.document.error()),
                             "",
                             {},
                             {{config.name, place.line, place.column}}};
      return site;
    }
    Finding refusal;
    const std::optional<Site> found = FindSite(site.document, "", config.name, refusal);
    if (!found) {
      site.refusal = std::move(refusal);
      return site;
    }
    site.lines = ReadLines(site.document, found->blocks);
    site.values = NameValues(site.document, found->name, m_options.values, site.lines);
    AddAliases(site);
    ChooseLines(m_options, site.lines);
    return site;
  }

  // A site without other names has none of them, so that it is like those that have some.
  void AddAliases(ReadSite& site) const {
    if (m_options.dialect != Dialect::kNginx) return;
    const auto named = [](const Value& value) { return value.name == kAliases; };
    if (std::any_of(site.values.begin(), site.values.end(), named)) return;
    for (Line& line : site.lines.all) {
      const bool fits = line.kind == Line::Kind::kDirective && line.Name() == "server_name" &&
                        line.words.size() == 2 && line.words[1].parts.size() == 1 &&
                        line.words[1].parts.front().value != kNone;
      if (!fits) continue;
      if (site.values.empty() || site.values.back().name != kAliases) {
        site.values.push_back({kAliases, "", false, true});
      }
      line.trailing_from = 2;
      line.trailing_value = site.values.size() - 1;
    }
  }

  // --- What they have in common ---

  std::size_t IdOf(const std::string& key) {
    const auto [known, is_new] = m_ids.try_emplace(key, m_candidates.size());
    if (is_new) m_candidates.emplace_back();
    return known->second;
  }

  // The candidates of each line, in the order of the lines. `site`: they are new to it; kNone: they
  // are only looked up.
  std::vector<Ids> IdsOf(const ReadSite& read, std::size_t site) {
    std::vector<Ids> all(read.lines.all.size());
    std::unordered_map<std::string, int> seen;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const Line& line = read.lines.all[i];
      if (!line.kept) continue;
      const std::size_t parent = line.parent == kNone ? kNone : all[line.parent].line;
      const std::string text = TextOf(m_options.dialect, line, read.values);
      std::string key = std::to_string(parent) + '\n' + text + '\n';
      key += std::to_string(seen[key]++);
      all[i].line = IdOf(key);
      Candidate& candidate = m_candidates[all[i].line];
      if (candidate.text.empty()) {
        candidate.parent = parent;
        candidate.text = text;
        candidate.may_lack = MayLack(line, read.values);
      }
      if (site != kNone) candidate.sites.push_back(site);
      const std::string shape = ShapeOf(line);
      if (shape.empty()) continue;
      key = std::to_string(parent) + '\r' + shape;
      if (seen[key]++ > 0) continue;
      all[i].directive = IdOf(key);
      if (site != kNone) AddDirective(all[i].directive, parent, line, read.values, site);
    }
    return all;
  }

  void AddDirective(std::size_t id, std::size_t parent, const Line& line,
                    const std::vector<Value>& values, std::size_t site) {
    Candidate& candidate = m_candidates[id];
    candidate.parent = parent;
    candidate.sites.push_back(site);
    const bool is_new = candidate.words.empty();
    candidate.differs.resize(line.words.size());
    for (std::size_t i = 0; i < line.words.size(); ++i) {
      std::string text = TextOf(m_options.dialect, line.words[i], values);
      if (is_new) {
        candidate.words.push_back(std::move(text));
      } else if (candidate.words[i] != text) {
        candidate.differs[i] = true;
      }
    }
  }

  // What directives that differ only in their words have in common; "": it is none that stands once
  // in its block.
  std::string ShapeOf(const Line& line) const {
    if (line.kind != Line::Kind::kDirective || line.trailing_from != kNone) return "";
    if (tov_edit::RepetitionOf(m_options.dialect, line.Name()) != tov_edit::Repetition::kOnce)
      return "";
    if (IsServerName(m_options.dialect, line.Name())) return "";
    std::string shape = m_options.dialect == Dialect::kNginx ? std::string(line.Name())
                                                             : tov_document::Lower(line.Name());
    for (const LineWord& word : line.words) shape += word.quote == '\0' ? '-' : word.quote;
    return shape;
  }

  bool MayLack(const Line& line, const std::vector<Value>& values) const {
    if (line.kind != Line::Kind::kDirective) return false;
    if (m_options.dialect == Dialect::kNginx && IsServerName(m_options.dialect, line.Name())) {
      return false;
    }
    if (line.trailing_value != kNone) return true;
    for (const LineWord& word : line.words) {
      for (const Part& part : word.parts) {
        if (part.value != kNone && values[part.value].name != "name") return true;
      }
    }
    return false;
  }

  void Count(std::size_t number) {
    const ReadSite site = Read(number);
    if (site.refusal) {
      m_common.sites[number].lacking.push_back(*site.refusal);
      return;
    }
    for (const Value& value : site.values) {
      m_names.Take(value.name);
      if (value.name == kAliases && !value.text.empty()) m_has_aliases[number] = true;
    }
    IdsOf(site, number);
  }

  // Chooses what is in the template, and returns a site that has all of it, if one does; kNone:
  // there is nothing.
  std::size_t Accept() {
    Numbers order;
    for (std::size_t i = 0; i < m_candidates.size(); ++i) order.push_back(i);
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return m_candidates[a].sites.size() > m_candidates[b].sites.size();
    });
    m_sharing.assign(m_configs.size(), true);
    Numbers has(m_configs.size());  // how much of what is accepted each site has
    for (const std::size_t id : order) {
      if (!AcceptIfMostHave(id)) continue;
      for (const std::size_t site : m_candidates[id].sites) ++has[site];
    }
    const auto most = std::max_element(has.begin(), has.end());
    if (most == has.end() || *most == 0) return kNone;
    for (std::size_t site = 0; site < has.size(); ++site) {
      if (m_has_aliases[site]) ++has[site];
    }
    return static_cast<std::size_t>(std::max_element(has.begin(), has.end()) - has.begin());
  }

  // Takes a candidate that more than half of the sites have beside what they share.
  bool AcceptIfMostHave(std::size_t id) {
    Candidate& candidate = m_candidates[id];
    const bool directive = !candidate.words.empty();
    if (directive && !candidate.IsOtherElsewhere()) return false;  // its line is a candidate, too
    if (candidate.parent != kNone && !m_candidates[candidate.parent].accepted) return false;
    Numbers left;
    std::copy_if(candidate.sites.begin(), candidate.sites.end(), std::back_inserter(left),
                 [&](std::size_t site) { return m_sharing[site]; });
    const bool may_lack = candidate.may_lack || directive;
    const std::size_t count = may_lack ? candidate.sites.size() : left.size();
    if (2 * count <= m_configs.size() || IsOfDirective(id)) return false;
    candidate.accepted = true;
    if (may_lack) return true;
    m_sharing.assign(m_sharing.size(), false);
    for (const std::size_t site : left) m_sharing[site] = true;
    return true;
  }

  // Whether a line is one of a directive that is a candidate of its own.
  bool IsOfDirective(std::size_t id) {
    if (m_of_directive.empty()) {
      // Lines whose directive differs elsewhere, by their blocks and their first words.
      for (const Candidate& candidate : m_candidates) {
        if (candidate.words.empty() || !candidate.IsOtherElsewhere()) continue;
        m_of_directive.insert(std::to_string(candidate.parent) + ' ' + candidate.words.front());
      }
      m_of_directive.insert("");
    }
    const Candidate& candidate = m_candidates[id];
    if (!candidate.words.empty()) return false;
    const std::string first = candidate.text.substr(0, candidate.text.find(' '));
    return m_of_directive.count(std::to_string(candidate.parent) + ' ' + first) != 0;
  }

  void NameDirectives() {
    for (Candidate& candidate : m_candidates) {
      if (!candidate.accepted || candidate.words.empty()) continue;
      candidate.value_names.resize(candidate.words.size());
      for (std::size_t i = 0; i < candidate.words.size(); ++i) {
        if (!candidate.differs[i]) continue;
        candidate.value_names[i] = m_names.New(NameAfter(candidate.words.front()));
      }
    }
  }

  bool IsAccepted(const Ids& ids) const {
    return (ids.line != kNone && m_candidates[ids.line].accepted) ||
           (ids.directive != kNone && m_candidates[ids.directive].accepted);
  }

  // --- The template ---

  // Writes the lines that are accepted, as `model` has them.
  bool WriteTemplate(std::size_t model) {
    ReadSite site = Read(model);
    const std::vector<Ids> ids = IdsOf(site, kNone);
    KeepOnly(ids);
    for (std::size_t i = 0; i < ids.size(); ++i) {
      Line& line = site.lines.all[i];
      line.kept = line.kept && IsAccepted(ids[i]);
      if (line.kept) PutValues(ids[i], line, site.values);
    }
    MarkUsed(site.lines, site.values);
    Proof proof(site.document, m_configs[model].name, site.lines, site.values);
    if (!proof.Carry()) {
      m_common.refusals = std::move(proof.refusals);
      return false;
    }
    for (std::size_t i = 0; i < ids.size(); ++i) {
      if (!site.lines.all[i].kept && IsAccepted(ids[i])) Reject(ids[i]);
    }
    MarkUsed(site.lines, site.values);
    for (const Value& value : site.values) {
      if (value.used) m_used.insert(value.name);
    }
    m_request =
        RequestFor(m_options.dialect, Write(m_options.dialect, site.lines, site.values, false), {});
    m_request.list_changes = true;
    m_common.template_text =
        Write(m_options.dialect, site.lines, site.values, m_options.comment).text;
    return true;
  }

  // What the model does not have is not in the template.
  void KeepOnly(const std::vector<Ids>& ids) {
    std::vector<bool> there(m_candidates.size());
    for (const Ids& own : ids) {
      if (own.line != kNone) there[own.line] = true;
      if (own.directive != kNone) there[own.directive] = true;
    }
    for (std::size_t i = 0; i < there.size(); ++i) {
      if (!there[i]) m_candidates[i].accepted = false;
    }
  }

  void Reject(const Ids& ids) {
    m_candidates[ids.line].accepted = false;
    if (ids.directive != kNone) m_candidates[ids.directive].accepted = false;
  }

  // The values of a directive whose words differ from site to site.
  void PutValues(const Ids& ids, Line& line, std::vector<Value>& values) const {
    if (ids.directive == kNone || !m_candidates[ids.directive].accepted) return;
    const Candidate& candidate = m_candidates[ids.directive];
    for (std::size_t i = 0; i < line.words.size(); ++i) {
      if (!candidate.differs[i]) continue;
      LineWord& word = line.words[i];
      values.push_back({candidate.value_names[i], word.written});
      word.parts = {{word.written, values.size() - 1, word.inner}};
    }
  }

  // --- Each site ---

  void Judge(std::size_t number) {
    CommonSite& common = m_common.sites[number];
    ReadSite site = Read(number);
    if (site.refusal) return;
    const std::vector<Ids> ids = IdsOf(site, kNone);
    std::vector<bool> accepted(ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) {
      Line& line = site.lines.all[i];
      if (!line.kept) continue;
      accepted[i] = IsAccepted(ids[i]);
      if (!accepted[i]) continue;
      PutValues(ids[i], line, site.values);
    }
    SayBeyond(site, accepted, number);
    for (std::size_t i = 0; i < ids.size(); ++i) site.lines.all[i].kept = accepted[i];
    MarkUsed(site.lines, site.values);
    for (const Value& value : site.values) {
      if (value.used && m_used.count(value.name) != 0)
        common.values[value.name] = {value.text, value.text};
    }
    m_request.values = common.values;
    const tov_edit::Result result = Edit(m_request, m_configs[number].text, m_configs[number].name);
    common.shares = result.refusals.empty() && !result.changed;
    for (const Finding& refusal : result.refusals) {
      common.lacking.push_back({"lacking",
                                "the template is refused: " + refusal.message,
                                "",
                                {},
                                {{m_configs[number].name, 0, 0}}});
    }
    if (result.refusals.empty()) SayLacking(result, number);
  }

  void SayBeyond(const ReadSite& site, const std::vector<bool>& accepted, std::size_t number) {
    const tov_document::Places places(m_configs[number].text);
    for (std::size_t i = 0; i < accepted.size(); ++i) {
      const Line& line = site.lines.all[i];
      if (!line.kept || accepted[i]) continue;
      if (line.parent != kNone && !accepted[line.parent]) continue;  // the block is said
      const auto place = places.Of(line.bytes.begin);
      m_common.sites[number].beyond.push_back(
          {"beyond",
           tov_edit::Quoted(site.document.Bytes(line.bytes)),
           "",
           {},
           {{m_configs[number].name, place.line, place.column}}});
    }
  }

  void SayLacking(const tov_edit::Result& result, std::size_t number) {
    for (const tov_edit::Change& change : result.changes) {
      m_common.sites[number].lacking.push_back(
          {"lacking",
           "an edit would write " + tov_edit::Quoted(change.text) + " here",
           "",
           {},
           {{m_configs[number].name, change.line, 0}}});
    }
  }

  Options m_options;
  const std::vector<Configuration>& m_configs;
  std::unordered_map<std::string, std::size_t> m_ids;
  std::vector<Candidate> m_candidates;
  std::set<std::string> m_of_directive;
  ValueNames m_names;
  std::vector<bool> m_has_aliases;  // which sites do
  std::vector<bool> m_sharing;      // which have all that is accepted, but for what may be lacking
  std::set<std::string> m_used;     // values, by the template
  tov_edit::Request m_request;
  Common m_common;
};

}  // namespace

Common AdoptCommon(const Options& options, const std::vector<Configuration>& sites) {
  return Comparer(options, sites).Run();
}

}  // namespace tov_adopt
