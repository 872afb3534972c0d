// SPDX-License-Identifier: Apache-2.0

// Laws of an edit by the program, whatever is edited. Each function returns "" when its law holds,
// else what is wrong.
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/blocks.h"
#include "cli/edit.h"
#include "cli/failure.h"
#include "cli/syntax.h"
#include "cli/template_run.h"
#include "template/framework/str.h"

namespace edit_laws {

// Nothing when the edit is refused.
inline std::optional<cli::Edited> Edited(const cli::Request& request, const std::string& config) {
  try {
    return cli::Edit(request, config, "CONFIG");
  } catch (const cli::Failure&) {
    return std::nullopt;
  }
}

// The request when its edit has been made: what was new is old then.
inline cli::Request Settled(cli::Request request) {
  for (auto& [name, value] : request.values) {
    if (!value.new_value.IsNull()) value.old_value = value.new_value;
  }
  return request;
}

inline std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::string_view line = str::view::Trim(str::view::GetWord(text, '\n'));
    if (!line.empty()) lines.emplace_back(line);
  }
  return lines;
}

inline std::string Wrong(const std::string& what, const std::string& config,
                         const std::string& edited) {
  return what + "\n--- before:\n" + config + "\n--- after:\n" + edited;
}

inline std::string AnEmptyTemplateChangesNothing(cli::Request request, const std::string& config) {
  request.template_text.clear();
  request.values.clear();
  const auto edited = Edited(request, config);
  return !edited || edited->text == config
             ? ""
             : Wrong("an empty template has changed something", config, edited->text);
}

// Whether the template takes out a line or a block whose values change. They are known by the old
// ones: once these are what was new, another line or block is meant.
inline bool TakesOutWhatChanges(const cli::Request& request) {
  const cli::TemplateRun run(cli::MakeConfig(request, ""), request, cli::ValuesOf(request));
  return std::any_of(
      run.items().begin(), run.items().end(), [](const cli::TemplateRun::Item* item) {
        const auto& param = item->m_param;
        const auto& section = item->m_section;
        return !item->m_enabled && (param.m_value.Str() != param.m_old_value.Str() ||
                                    section.m_value.Str() != section.m_old_value.Str());
      });
}

// Whether the template takes out a line that it also has written: which is how to have it stand
// last, or a contradiction. A key may be a directive's name alone.
inline bool TakesOutALineOfItsOwn(const cli::Request& request) {
  const cli::TemplateRun run(cli::MakeConfig(request, ""), request, cli::ValuesOf(request));
  std::vector<std::string> keys;
  for (const cli::TemplateRun::Item* item : run.items()) {
    const std::string key = item->m_param.m_key.Str();
    const bool goes = !item->m_enabled && !run.config().StartsSection(key);
    if (!goes || run.config().EndedSection(key)) continue;
    keys.emplace_back(item->m_param.m_const ? str::view::FirstWord(key) : key);
  }
  return std::any_of(
      run.items().begin(), run.items().end(), [&](const cli::TemplateRun::Item* item) {
        return item->m_enabled && std::any_of(keys.begin(), keys.end(), [&](const auto& key) {
                 return str::StartsWith(item->m_param.m_value.Str(), key);
               });
      });
}

// Whether the template takes out a line by which its block is found: another application looks for
// the block with it.
inline bool TakesOutAnIdentity(const cli::Request& request) {
  const cli::TemplateRun run(cli::MakeConfig(request, ""), request, cli::ValuesOf(request));
  std::set<std::string> names;
  run.config().GetIdentParams(names);
  return std::any_of(
      run.items().begin(), run.items().end(), [&names](const cli::TemplateRun::Item* item) {
        const std::string line = item->m_param.m_old_value.Str();
        return !item->m_enabled && names.count(std::string(str::view::FirstWord(line))) != 0;
      });
}

// Whether blocks are found in other places than where they stand, because of an inner block with an
// identity.
inline bool LeadsTheLibraryAstray(const cli::Request& request, const std::string& config) {
  const std::vector<std::string> lines = LinesOf(config);
  return !cli::FindReopenings(*cli::MakeConfig(request, ""), {lines.begin(), lines.end()}).empty();
}

inline bool IsUnbalanced(const cli::Request& request, const std::string& config) {
  const std::vector<std::string> lines = LinesOf(config);
  return cli::FirstUnbalanced(cli::SyntaxOf(request.dialect), {lines.begin(), lines.end()})
      .has_value();
}

// A second application is not refused, and changes nothing. Blocks that do not fit together, which
// no server takes, may be others then.
inline std::string TwiceIsOnce(const cli::Request& request, const std::string& config) {
  const auto once = Edited(request, config);
  const cli::Request again = Settled(request);
  if (!once || TakesOutWhatChanges(request) || TakesOutAnIdentity(request)) return "";
  if (LeadsTheLibraryAstray(request, once->text) || IsUnbalanced(request, config)) return "";
  if (TakesOutALineOfItsOwn(request) || TakesOutALineOfItsOwn(again)) return "";
  try {
    const std::string twice = cli::Edit(again, once->text, "CONFIG").text;
    return twice == once->text ? "" : Wrong("twice is not once", once->text, twice);
  } catch (const cli::Failure& failure) {
    return Wrong(std::string("refused the second time: ") + failure.what(), config, once->text);
  }
}

inline bool TakesAllBranches(const cli::Request& request) {
  const cli::TemplateRun run(cli::MakeConfig(request, ""), request, cli::ValuesOf(request));
  return std::all_of(run.items().begin(), run.items().end(),
                     [](const cli::TemplateRun::Item* item) { return item->m_enabled; });
}

// Where the configuration is as the old values say, there and back again is where it was, unless
// there are branches that are not taken.
inline std::string ThereAndBackAgain(const cli::Request& request, const std::string& config) {
  cli::Request stay = request;
  cli::Request back = request;
  for (auto& [name, value] : stay.values) value.new_value = value.old_value;
  for (auto& [name, value] : back.values) std::swap(value.old_value, value.new_value);
  if (!TakesAllBranches(stay) || !TakesAllBranches(request)) return "";
  const auto stayed = Edited(stay, config);
  if (!stayed || stayed->text != config || !stayed->warnings.empty()) return "";
  const auto there = Edited(request, config);
  if (!there || !there->warnings.empty()) return "";
  const auto again = Edited(back, there->text);
  if (!again || !again->warnings.empty()) return "";
  return again->text == config ? "" : Wrong("back is not where it was", config, again->text);
}

// The blocks that do not go with one that the template removes keep the lines that it does not
// name. Comments behind a line count.
inline std::string OnlyNamedLinesGo(const cli::Request& request, const std::string& config) {
  const auto edited = Edited(request, config);
  if (!edited) return "";
  const cli::Syntax syntax = cli::SyntaxOf(request.dialect);
  const cli::TemplateRun run(cli::MakeConfig(request, ""), request, cli::ValuesOf(request));
  std::set<std::string> named;
  std::set<std::string> names;  // of directives that the template knows by the beginning of a line
  for (const cli::TemplateRun::Item* item : run.items()) {
    const bool removes_block = !item->m_enabled && !item->m_section.m_value.Str().empty();
    if (removes_block) return "";
    for (const auto& line : {item->m_param.m_value, item->m_param.m_old_value}) {
      if (str::view::FirstWord(line.Str()) == "Options") names.insert("Options");  // are joined
      named.insert(cli::NormalForm(syntax, line.Str()));
    }
    if (item->m_param.m_part_key || item->m_param.m_const) {
      names.emplace(str::view::FirstWord(item->m_param.m_key.Str()));
    }
  }
  std::multiset<std::string> left;
  for (const std::string& line : LinesOf(edited->text)) left.insert(line);
  for (const std::string& line : LinesOf(config)) {
    const auto found = left.find(line);
    if (found != left.end()) {
      left.erase(found);
      continue;
    }
    const std::string name(str::view::FirstWord(line));
    if (named.count(cli::NormalForm(syntax, line)) != 0 || names.count(name) != 0) continue;
    return Wrong("lost: " + line, config, edited->text);
  }
  return "";
}

inline std::string BalanceIsKept(const cli::Request& request, const std::string& config) {
  const auto edited = Edited(request, config);
  if (!edited) return "";
  if (IsUnbalanced(request, config) || !IsUnbalanced(request, edited->text)) return "";
  return Wrong("the blocks do not fit together", config, edited->text);
}

inline std::string NoIdentityIsDoubled(const cli::Request& request, const std::string& config) {
  const auto edited = Edited(request, config);
  if (!edited) return "";
  const auto dialect = cli::MakeConfig(request, "");
  std::map<std::string, std::size_t> before;
  for (const cli::Block& block : cli::FindBlocks(*dialect, LinesOf(config))) ++before[block.path];
  std::map<std::string, std::size_t> after;
  for (const cli::Block& block : cli::FindBlocks(*dialect, LinesOf(edited->text))) {
    const std::size_t count = ++after[block.path];
    if (count > 1 && count > before[block.path]) {
      return Wrong("doubled: " + block.path, config, edited->text);
    }
  }
  return "";
}

inline std::string Broken(const cli::Request& request, const std::string& config) {
  using Law = std::string (*)(const cli::Request&, const std::string&);
  for (const Law law :
       {TwiceIsOnce, ThereAndBackAgain, OnlyNamedLinesGo, BalanceIsKept, NoIdentityIsDoubled}) {
    const std::string wrong = law(request, config);
    if (!wrong.empty()) return wrong + "\n--- template:\n" + request.template_text;
  }
  return AnEmptyTemplateChangesNothing(request, config);
}

}  // namespace edit_laws
