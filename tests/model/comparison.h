// SPDX-License-Identifier: Apache-2.0

// What it takes to have a view and its model do the same, and to say how they differ then.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "model/view_model.h"
#include "support/index_audit.h"
#include "support/view_probe.h"
#include "template/apache.h"
#include "template/framework/str.h"
#include "template/nginx.h"

namespace model {

using tov_template::kSectionSeparator;
using tov_template::LineIterator;

struct Edit {
  std::string operation;  // append, remove, remove_part, change, empty
  std::string section;
  std::string line;
  std::string old_line;
  std::string key;
};

template <class View>
void ApplyTo(View& view, const Edit& edit) {
  if (edit.operation == "append") view.AppendParam(edit.section, edit.line, edit.key);
  if (edit.operation == "remove") view.RemoveParam(edit.section, edit.line, false);
  if (edit.operation == "remove_part") view.RemoveParam(edit.section, edit.line, true);
  if (edit.operation == "change") {
    view.ChangeParam(edit.section, edit.old_line, edit.line, edit.key);
  }
  if (edit.operation == "empty") view.RemoveEmptySections();
}

inline std::string Readable(const Edit& edit) {
  const auto quoted = [](const std::string& text) {
    return " '" + str::Replace(text, kSectionSeparator, " > ") + "'";
  };
  return edit.operation + " in" + quoted(edit.section) + " line" + quoted(edit.line) + " old" +
         quoted(edit.old_line) + " key" + quoted(edit.key);
}

inline std::string Differ(const std::string& what, const std::string& view,
                          const std::string& model) {
  return view == model ? "" : what + " of the view:\n" + view + "\n-- of the model --\n" + model;
}

inline std::string Joined(const std::vector<std::string>& messages) {
  return str::Join({messages.begin(), messages.end()}, "\n");
}

// --- Dialects that tell what they have registered, as their models have it ---

struct NginxProbe : tov_template::Nginx {
  using Model = NginxView;
  using Nginx::Nginx;

  const std::map<std::string, std::list<LineIterator>>& Registered() const { return m_listen; }
};

struct ApacheProbe : tov_template::Apache {
  using Model = ApacheView;
  using Apache::Apache;

  std::map<std::string, std::vector<LineIterator>> Registered() const {
    return tov_template::IndexAudit::Registered(*this);
  }
};

// --- Lines by their places ---

// The index and the dialect's register, with lines by their places in the text: lines of the same
// text are told apart.
template <class View, class Registered, class NumberOf>
std::string Numbers(const View& view, const Registered& registered, NumberOf number_of) {
  std::string numbers;
  const auto add = [&](const auto& line) { numbers += " " + std::to_string(number_of(line)); };
  for (const auto& [section, params] : view.m_params) {
    numbers += "\n" + section + ":";
    for (const auto& param : params) add(param);
  }
  for (const auto& [section, lines] : registered) {
    numbers += "\nregistered " + section + ":";
    for (const auto& line : lines) add(line);
  }
  for (const auto& [section, line] : view.m_ends) {
    numbers += "\nend " + section + ":";
    add(line);
  }
  for (const auto& [section, line] : view.m_created) {
    numbers += "\ncreated " + section + ":";
    add(line);
  }
  return str::Replace(numbers, kSectionSeparator, " > ");
}

template <class Probe, class Dialect>
std::string NumbersOf(const Probe& view, const Dialect& dialect) {
  struct NumberOf {
    std::map<const std::string*, std::size_t> numbers;
    LineIterator end;

    std::size_t operator()(const LineIterator& line) const {
      return line == end ? numbers.size() : numbers.at(&*line);
    }
    std::size_t operator()(const ConfParam& param) const { return (*this)(param.m_line); }
  };
  NumberOf number_of{{}, view.m_lines->end()};
  for (const std::string& line : *view.m_lines) {
    number_of.numbers.emplace(&line, number_of.numbers.size());
  }
  return Numbers(view, dialect.Registered(), number_of);
}

// "" when both refer to the same places, else how they differ.
template <class Probe, class Dialect>
std::string DifferentPlaces(const Probe& probe, const Dialect& dialect, const View& model) {
  const auto number_of = [&model](View::Id line) { return model.IndexOf(line); };
  return Differ("line numbers", NumbersOf(probe, dialect),
                Numbers(model, model.m_unique, number_of));
}

// --- Edits from text, see property/edits.h ---

template <class Map>
std::string NumberedKey(const Map& map, std::size_t number) {
  if (map.empty()) return "new {";
  return std::next(map.begin(), static_cast<std::ptrdiff_t>(number % map.size()))->first;
}

// The path of block number `number`: the blocks of the index in turn, blocks beside and below them,
// blocks that were there once, and a few that never were.
template <class View>
std::string NumberedSection(const View& view, std::size_t number) {
  const std::size_t turn = number / 12;
  const std::string known = NumberedKey(view.m_params, turn);
  switch (number % 12) {
    case 6:
      return ViewProbe::Path({known, "location /a {"});
    case 7:
      return ViewProbe::Path({known, turn % 2 == 0 ? "server {" : "  if ($x) {"});
    case 8:
      return tov_template::ParentSection(known);
    case 9:
      return NumberedKey(view.m_ends, turn);
    case 10:
      return NumberedKey(view.m_created, turn);
    case 11: {
      const std::vector<std::string> odd = {"",
                                            "new {",
                                            ViewProbe::Path({"new {", "deep {"}),
                                            known + kSectionSeparator,
                                            kSectionSeparator + known,
                                            kSectionSeparator};
      return odd[turn % odd.size()];
    }
    default:
      return known;
  }
}

template <class View>
Edit ParseEdit(const View& view, std::string_view text) {
  const auto part = [&text] { return std::string(str::view::GetWord(text, '\x1f')); };
  Edit edit;
  edit.operation = part();
  edit.section = NumberedSection(view, std::strtoul(part().c_str(), nullptr, 10));
  std::string parent = edit.section;
  const std::string last_level = str::RGetWord(parent, kSectionSeparator);
  for (std::string* argument : {&edit.line, &edit.old_line, &edit.key}) {
    *argument = part();
    if (*argument == "=") *argument = last_level;
  }
  return edit;
}

}  // namespace model
