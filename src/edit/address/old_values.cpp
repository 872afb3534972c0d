// SPDX-License-Identifier: Apache-2.0

#include "edit/address/old_values.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "document/meaning.h"
#include "edit/address/address.h"
#include "edit/address/place_values.h"
#include "edit/match/comparison.h"
#include "edit/match/head_index.h"
#include "edit/tree/authored_line.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {
namespace {

using tov_document::kWholeText;
using Kind = TemplateLine::Kind;

// What one line of the template finds for one value.
struct Hearing {
  const TemplateLine* line = nullptr;
  Texts texts;                    // each once, the most wanted first
  std::vector<FilePlace> places;  // of the configuration, where they stand
  bool of_names = false;          // they are names of one directive: the first one is meant
};

bool IsUnknown(const OldAndNew& value) {
  return value.read_old && !value.old_value;
}

bool IsRefusalOf(const Finding& finding, const std::set<std::string>& unknown) {
  return finding.name == "missing-value" &&
         std::any_of(finding.values.begin(), finding.values.end(),
                     [&](const std::string& name) { return unknown.count(name) != 0; });
}

class ValueReader {
 public:
  ValueReader(Request request, Contents& contents, const std::string& config_name,
              Findings& findings)
      : m_request(std::move(request)),
        m_contents(contents),
        m_dialect(contents.dialect()),
        m_config_name(config_name),
        m_findings(findings) {
    for (const auto& [name, value] : m_request.values) {
      if (IsUnknown(value)) m_unknown.insert(name);
      const std::optional<std::string>& known = value.old_value ? value.old_value : value.new_value;
      if (!IsUnknown(value) && known) m_known.emplace(name, *known);
    }
  }

  Request Run() {
    while (!m_unknown.empty() && Look()) {
      const bool is_heard = HearLines() || (m_refused == 0 && HearOpenings());
      if (!is_heard || m_refused != 0) break;
    }
    if (m_refused == 0) RefuseUnread();
    for (auto& [name, value] : m_request.values) value.read_old = false;
    return std::move(m_request);
  }

 private:
  // Finds the blocks by what is known; false: that is for the edit itself to refuse.
  bool Look() {
    Findings findings;
    m_tree = ReadTemplate(m_request, m_unknown, findings);
    const auto is_other = [&](const Finding& finding) { return !IsRefusalOf(finding, m_unknown); };
    m_matches.clear();
    if (std::any_of(findings.refusals.begin(), findings.refusals.end(), is_other)) return false;
    findings = {};
    m_matches =
        FindBlocks(m_tree, {m_tree, m_dialect}, m_contents, m_config_name, m_request.all, findings);
    for (Finding& finding : findings.refusals) {
      if (is_other(finding)) Refuse(std::move(finding));
    }
    return m_refused == 0;
  }

  // --- Lines ---

  // Whether a value has become known.
  bool HearLines() {
    std::map<std::string, std::vector<Hearing>> heard;
    for (const Match& match : m_matches) {
      if (!match.at) continue;
      for (const std::size_t child : m_tree.blocks[match.block].children) {
        const TemplateLine& line = m_tree.lines[child];
        if (line.kind == Kind::kDirective && HoldsUnknown(line)) Hear(line, match, heard);
      }
    }
    for (const auto& [name, hearings] : heard) Decide(name, hearings);
    return !heard.empty();
  }

  bool HoldsUnknown(const TemplateLine& line) const {
    return std::any_of(line.missing.begin(), line.missing.end(),
                       [&](const std::string& name) { return m_unknown.count(name) != 0; });
  }

  std::vector<AuthoredLine::PlacedWord> WordsOf(const TemplateLine& line) const {
    return AuthoredLine(m_dialect, line.text).PlacedWords();
  }

  void Hear(const TemplateLine& line, const Match& match,
            std::map<std::string, std::vector<Hearing>>& heard) {
    const std::vector<AuthoredLine::PlacedWord> words = WordsOf(line);
    std::map<std::string, Hearing> here;
    std::size_t directives = 0;
    bool is_own = false;
    // What stands in conditions counts where the block itself has none, wherever they stand.
    std::vector<const Child*> children = m_contents.WithConditions(*match.at, {});
    std::stable_partition(children.begin(), children.end(),
                          [&](const Child* child) { return child->around == *match.at; });
    for (const Child* const child : children) {
      if (!child->IsDirective() || (is_own && child->around != *match.at)) continue;
      if (IsStated(match.block, child->values)) continue;
      const std::vector<PlaceValues> found =
          ValuesInPlaces(m_dialect, words, m_known, m_unknown, child->values);
      if (found.empty()) continue;
      is_own = is_own || child->around == *match.at;
      ++directives;
      for (const PlaceValues& values : found) Add(values, PlaceOf(child->bytes.begin), here);
    }
    for (auto& [name, hearing] : here) {
      hearing.line = &line;
      hearing.of_names =
          directives == 1 && RoleOf(m_dialect, words.front().literals.front()) == Role::kNames;
      heard[name].push_back(std::move(hearing));
    }
  }

  static void Add(const PlaceValues& values, const FilePlace& place,
                  std::map<std::string, Hearing>& here) {
    for (const auto& [name, text] : values) {
      Hearing& hearing = here[name];
      if (Contains(hearing.texts, text)) continue;
      hearing.texts.push_back(text);
      hearing.places.push_back(place);
    }
  }

  // Whether another line of the template is this very directive.
  bool IsStated(std::size_t block, const Texts& words) const {
    const std::vector<std::size_t>& children = m_tree.blocks[block].children;
    return std::any_of(children.begin(), children.end(), [&](std::size_t child) {
      const TemplateLine& line = m_tree.lines[child];
      const auto is = [&](const WrittenPtr& written) {
        return written && SameWords(m_dialect, written->words, words);
      };
      return line.kind == Kind::kDirective && (is(line.was) || is(line.now));
    });
  }

  // What all lines have heard.
  void Decide(const std::string& name, const std::vector<Hearing>& hearings) {
    Texts texts = hearings.front().texts;
    for (const Hearing& hearing : hearings) {
      const auto is_unheard = [&](const std::string& text) {
        return !Contains(hearing.texts, text);
      };
      texts.erase(std::remove_if(texts.begin(), texts.end(), is_unheard), texts.end());
    }
    const bool all_of_names = std::all_of(hearings.begin(), hearings.end(),
                                          [](const Hearing& hearing) { return hearing.of_names; });
    if (texts.size() == 1 || (!texts.empty() && all_of_names)) {
      SetOld(name, texts.front());
    } else {
      RefuseSeveral(name, hearings);
    }
  }

  void SetOld(const std::string& name, const std::string& text) {
    m_request.values[name].old_value = text;
    m_known[name] = text;
    m_unknown.erase(name);
  }

  // --- Openings ---

  // Of a block that is not found because values of its opening are not known. Whether a value has
  // become known.
  bool HearOpenings() {
    for (const Match& match : m_matches) {
      if (match.at || !HoldsUnknown(OpeningOf(match.block))) continue;
      if (HearOpening(match.block, *m_matches[match.parent].at)) return true;
      if (m_refused != 0) return false;
    }
    return false;
  }

  const TemplateLine& OpeningOf(std::size_t block) const {
    return m_tree.lines[m_tree.blocks[block].opening];
  }

  bool HearOpening(std::size_t block, BlockId scope) {
    constexpr std::size_t kMost = 100;
    const TemplateLine opening = OpeningOf(block);
    const std::map<PlaceValues, std::vector<BlockId>> tried = Openings(opening, scope);
    Hearing hearing;
    std::optional<PlaceValues> found;
    if (tried.size() > kMost) {
      Refuse({"old-value",
              std::to_string(tried.size()) + " different blocks could be the one of this line",
              "Say the old value",
              opening.place,
              {},
              false,
              opening.missing});
      return false;
    }
    for (const auto& [values, blocks] : tried) {
      const std::optional<BlockId> at = FoundWith(values, block);
      if (!at || std::find(blocks.begin(), blocks.end(), *at) == blocks.end()) continue;
      found = values;
      for (const auto& [name, text] : values) hearing.texts.push_back(text);
      hearing.places.push_back(m_contents.PlaceOfBlock(m_config_name, *at));
    }
    if (hearing.places.size() > 1) {
      hearing.line = &opening;
      RefuseSeveral(found->begin()->first, {hearing});
    }
    if (hearing.places.size() != 1) return false;
    for (const auto& [name, text] : *found) SetOld(name, text);
    return true;
  }

  // What the opening's values would be for the blocks in `scope`, and for which.
  std::map<PlaceValues, std::vector<BlockId>> Openings(const TemplateLine& opening,
                                                       BlockId scope) const {
    std::map<PlaceValues, std::vector<BlockId>> all;
    const std::vector<AuthoredLine::PlacedWord> words = WordsOf(opening);
    const auto& blocks = m_contents.document().blocks();
    for (BlockId id = scope + 1; id < blocks[scope].next; ++id) {
      if (!StandsIn(id, scope)) continue;
      for (PlaceValues& values :
           ValuesInPlaces(m_dialect, words, m_known, m_unknown, m_contents.HeadOf(id))) {
        all[std::move(values)].push_back(id);
      }
    }
    return all;
  }

  bool StandsIn(BlockId id, BlockId scope) const {
    const auto& blocks = m_contents.document().blocks();
    BlockId around = blocks[id].parent;
    while (around != scope && around != kWholeText && MayBeLeftOut(m_contents, around, scope)) {
      around = blocks[around].parent;
    }
    return around == scope;
  }

  std::optional<BlockId> FoundWith(const PlaceValues& values, std::size_t block) const {
    Request request = m_request;
    std::set<std::string> unknown = m_unknown;
    for (const auto& [name, text] : values) {
      request.values[name].old_value = text;
      unknown.erase(name);
    }
    Findings findings;
    const TemplateTree tree = ReadTemplate(request, unknown, findings);
    const std::vector<Match> matches =
        FindBlocks(tree, {tree, m_dialect}, m_contents, m_config_name, request.all, findings);
    for (const Match& match : matches) {
      if (match.block == block && match.at) return match.at;
    }
    return std::nullopt;
  }

  // --- What cannot be read ---

  FilePlace PlaceOf(std::size_t offset) const { return m_contents.PlaceOf(m_config_name, offset); }

  void Refuse(Finding finding) {
    m_findings.refusals.push_back(std::move(finding));
    ++m_refused;
  }

  void RefuseSeveral(const std::string& name, const std::vector<Hearing>& hearings) {
    constexpr std::size_t kMost = 5;
    Finding finding{"old-value", "the configuration has several old values of " + Quoted(name)};
    finding.hint = "Say which one is meant";
    finding.template_place = hearings.front().line->place;
    finding.values = {name};
    std::size_t shown = 0;
    for (const Hearing& hearing : hearings) {
      for (std::size_t i = 0; i < hearing.texts.size(); ++i) {
        const FilePlace& place = hearing.places[std::min(i, hearing.places.size() - 1)];
        finding.config_places.push_back(place);
        if (++shown > kMost) continue;
        finding.message +=
            (shown == 1 ? ": " : ", ") + Quoted(hearing.texts[i]) + " (" + Shown(place) + ")";
      }
    }
    if (shown > kMost) finding.message += " and " + std::to_string(shown - kMost) + " more";
    Refuse(std::move(finding));
  }

  // Without its name, or its opening, a block would be taken for a new one.
  void RefuseUnread() {
    if (m_unknown.empty() || m_request.skip_missing) return;
    for (std::size_t block = 1; block < m_tree.blocks.size(); ++block) {
      const TemplateLine& opening = OpeningOf(block);
      RefuseIfUnread(opening);
      if (!tov_document::IsServer(m_dialect, NameOf(opening))) continue;
      for (const std::size_t child : m_tree.blocks[block].children) {
        const TemplateLine& line = m_tree.lines[child];
        const bool names =
            line.kind == Kind::kDirective && RoleOf(m_dialect, NameOf(line)) == Role::kNames;
        if (names) RefuseIfUnread(line);
      }
    }
  }

  std::string NameOf(const TemplateLine& line) const {
    return WordsOf(line).front().literals.front();
  }

  void RefuseIfUnread(const TemplateLine& line) {
    if (!line.enabled || !HoldsUnknown(line)) return;
    std::vector<std::string> names;
    std::copy_if(line.missing.begin(), line.missing.end(), std::back_inserter(names),
                 [&](const std::string& name) { return m_unknown.count(name) != 0; });
    Refuse({"old-value",
            "the configuration does not say the old value of " + Quoted(names.front()) +
                ": no block has what this line needs: " + Quoted(line.text),
            "Say it, or say more of the block that is meant: an address, a name",
            line.place,
            {},
            false,
            names});
    for (const std::string& name : names) m_unknown.erase(name);
  }

  Request m_request;
  Contents& m_contents;
  const Dialect m_dialect;
  const std::string& m_config_name;
  Findings& m_findings;
  std::size_t m_refused = 0;
  PlaceValues m_known;
  std::set<std::string> m_unknown;
  TemplateTree m_tree;
  std::vector<Match> m_matches;
};

}  // namespace

bool ReadsOldValues(const Request& request) {
  return std::any_of(request.values.begin(), request.values.end(),
                     [](const auto& value) { return value.second.read_old; });
}

Request WithOldValues(Request request, Contents& contents, const std::string& config_name,
                      Findings& findings) {
  return ValueReader(std::move(request), contents, config_name, findings).Run();
}

}  // namespace tov_edit
