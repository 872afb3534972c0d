// SPDX-License-Identifier: Apache-2.0

// Whether everything that the engine keeps besides the lines is as it would be if it were made
// anew: references, indexes, registries.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "template/apache.h"
#include "template/config_view.h"
#include "template/framework/str.h"
#include "template/line_list_config.h"
#include "template/nginx.h"
#include "template/section_tree.h"

namespace tov_template {

// Looks at the nodes' addresses before it follows them, so that it can be trusted with dangling
// references. Each function returns "" or what is wrong.
struct IndexAudit {
  using Lines = std::set<const std::string*>;

  template <class View>
  static std::string WrongIn(const View& view) {
    const ConfigView& base = view;
    const Lines lines = LinesOf(*base.m_lines);
    std::string wrong = WrongReferences(base, lines);
    if (wrong.empty()) wrong = WrongInDialect(*base.m_config, lines);
    if (wrong.empty()) wrong = WrongOwners(base);
    if (wrong.empty()) wrong = WrongPlaces(base, base.m_ends, base.m_end_index);
    if (wrong.empty()) wrong = WrongPlaces(base, base.m_created, base.m_created_index);
    if (wrong.empty()) {
      Finding finding;
      for (const auto& [section, params] : base.m_params) finding.Add(params);
      wrong = WrongFinder(base.m_finder, finding);
    }
    return wrong;
  }

  // The same for references to lines that are not there, and the indexes of the view; what else the
  // dialect keeps may be half changed.
  template <class View>
  static std::string DanglingIn(const View& view) {
    const ConfigView& base = view;
    const Lines lines = LinesOf(*base.m_lines);
    std::string wrong = WrongReferences(base, lines);
    if (wrong.empty()) wrong = WrongOwners(base);
    if (wrong.empty()) wrong = WrongPlaces(base, base.m_ends, base.m_end_index);
    if (wrong.empty()) wrong = WrongPlaces(base, base.m_created, base.m_created_index);
    const auto* const dialect = dynamic_cast<const LineListConfig*>(base.m_config.get());
    if (!wrong.empty() || dialect == nullptr) return wrong;
    for (const LineIterator& line : dialect->RegisteredLines()) {
      if (lines.count(&*line) == 0) return "a line registered by the dialect";
    }
    return "";
  }

  static std::string WrongInDialect(BaseConfig& config) {
    return WrongInDialect(config, LinesOf(*config.GetList()));
  }

  // The maps of a view as they are when it takes all that it has read.
  struct WholeMaps {
    ConfigView::Params m_params;
    ConfigView::Places m_ends;
    ConfigView::Places m_created;
  };

  template <class View>
  static WholeMaps WholeMapsOf(const View& view) {
    const ConfigView& base = view;
    WholeMaps maps{base.m_params, {}, {}};
    for (const auto& [section, line] : base.m_ends) {
      maps.m_ends.emplace(section, LineOf(base.m_end_index, line));
    }
    for (const auto& [section, line] : base.m_created) {
      maps.m_created.emplace(section, LineOf(base.m_created_index, line));
    }
    if (base.m_tree != nullptr) base.m_tree->CopyTo(maps.m_params, maps.m_ends);
    return maps;
  }

  // Whether the view has left a block where it read it.
  template <class View>
  static bool IsPartial(const View& view) {
    const ConfigView& base = view;
    return base.m_tree != nullptr;
  }

  using RegisteredLines = std::map<std::string, std::vector<LineIterator>>;

  // What the nginx dialect has registered: block -> its lines.
  static RegisteredLines Registered(const Nginx& nginx) {
    RegisteredLines registered;
    for (const auto& [section, lines] : nginx.m_listen) {
      registered[section] = {lines.begin(), lines.end()};
    }
    return registered;
  }

  // What the Apache dialect has registered: block and directive, separated by the byte 0x1f, -> its
  // lines. The merged line of a block has no directive.
  static RegisteredLines Registered(const Apache& apache) {
    RegisteredLines registered;
    for (const auto& [section, directives] : apache.m_parse_huge_param.m_huge_lines) {
      for (const auto& [name, lines] : directives) {
        registered[section + "\x1f" + name] = {lines.begin(), lines.end()};
      }
    }
    for (const auto& [section, line] : apache.m_parse_options.m_merged_lines) {
      registered[section + "\x1f"] = {line};
    }
    return registered;
  }

  // The words of the merged lines that the Apache dialect has registered: block -> the directive's
  // name and the words.
  static std::map<std::string, std::list<std::string>> Words(const Apache& apache) {
    return apache.m_parse_options.m_words;
  }

  // What is registered when somebody asks for it: block -> its unique directives.
  template <class View>
  static RegisteredLines ToRegister(const View& view) {
    const ConfigView& base = view;
    RegisteredLines lines;
    if (base.m_tree == nullptr) return lines;
    for (const SectionTree::Node& node : base.m_tree->Nodes()) {
      if (node.block == nullptr || !node.block->late) continue;
      std::vector<LineIterator>& own = lines[SectionTree::Path(&node)];
      for (const auto* each = node.block->first; each != nullptr; each = each->next) {
        const LineIterator line = each->param.m_line;
        if (base.m_config->IsUniqueParam(*line)) own.push_back(line);
      }
    }
    return lines;
  }

 private:
  // The lists that a LineFinder is used for, by their addresses.
  template <class List>
  struct Lists {
    std::map<const List*, const List*> known;

    void Add(const List& list) { known.emplace(&list, &list); }
  };
  using Finding = Lists<std::list<ConfParam>>;
  using Registry = Lists<LineRegistry::List>;

  static Lines LinesOf(const std::list<std::string>& list) {
    Lines lines;
    for (const std::string& line : list) lines.insert(&line);
    return lines;
  }

  static std::string WrongReferences(const ConfigView& view, const Lines& lines) {
    const auto broken = [&](LineIterator line) {
      return line != view.m_lines->end() && lines.count(&*line) == 0;
    };
    std::set<const std::string*> met;
    for (const auto& [section, params] : view.m_params) {
      for (const ConfParam& param : params) {
        if (broken(param.m_line)) return "element of " + section;
        if (!view.IsLine(param.m_line) || met.insert(&*param.m_line).second) continue;
        if (!view.m_lines_shared) return "two elements for " + *param.m_line;
      }
    }
    for (const auto& [section, line] : view.m_ends) {
      if (broken(LineOf(view.m_end_index, line))) return "end of " + section;
    }
    for (const auto& [section, line] : view.m_created) {
      if (broken(LineOf(view.m_created_index, line))) return "created of " + section;
    }
    for (const std::string* const line : view.m_disguised) {
      if (lines.count(line) == 0) return "a disguised line";
    }
    return view.m_tree == nullptr ? "" : WrongInTree(view, lines);
  }

  // A block is in the tree or in the maps, and only lines of its own stand for its end.
  static std::string WrongInTree(const ConfigView& view, const Lines& lines) {
    const auto is_line = [&](LineIterator line) {
      return line != view.m_lines->end() && lines.count(&*line) != 0;
    };
    for (const SectionTree::Node& node : view.m_tree->Nodes()) {
      if (!node.HoldsAnything()) continue;
      const std::string section = SectionTree::Path(&node);
      if (node.block == nullptr || !node.has_end) return "half a block in the tree: " + section;
      if (view.m_params.count(section) != 0) return "lines in the maps and the tree: " + section;
      if (view.m_ends.count(section) != 0) return "an end in the maps and the tree: " + section;
      std::size_t size = 0;
      for (const auto* each = node.block->first; each != nullptr; each = each->next, ++size) {
        if (!is_line(each->param.m_line)) return "element in the tree of " + section;
      }
      if (size != node.block->size) return "size of a block in the tree: " + section;
      if (!is_line(node.end)) return "end in the tree of " + section;
      if (node.end != node.block->last->param.m_line) return "another line ends " + section;
    }
    return "";
  }

  // The entries of a LineIndex as it is and as it should be: line, id, list, element.
  using Entry = std::tuple<const void*, const void*, const void*, const void*>;

  template <class Index>
  static std::set<Entry> EntriesOf(const Index& index) {
    std::set<Entry> entries;
    for (const auto& [key, holder] : index.m_holders) {
      entries.emplace(key.line, key.id, holder.list, &*holder.element);
    }
    return entries;
  }

  static std::string WrongOwners(const ConfigView& view) {
    if (!view.m_owners) return "";
    std::set<Entry> fresh;
    for (const auto& [section, params] : view.m_params) {
      for (const ConfParam& param : params) {
        if (view.IsLine(param.m_line)) fresh.emplace(&*param.m_line, &param, &params, &param);
      }
    }
    return EntriesOf(*view.m_owners) == fresh ? "" : "the index of owners";
  }

  static std::string WrongPlaces(const ConfigView& view, const ConfigView::Places& places,
                                 const std::optional<PlaceIndex>& index) {
    if (!index) return "";
    std::size_t count = 0;
    for (const auto& place : places) {
      const auto position = index->m_positions.find(&place.second);
      if (!view.IsLine(index->LineOf(place.second))) {
        if (position != index->m_positions.end()) return "no line in an index: " + place.first;
        continue;
      }
      ++count;
      if (position == index->m_positions.end()) return "not in its index: " + place.first;
      const auto [pile, number] = position->second;
      const auto on_line = index->m_piles.find(&*pile->line);
      if (on_line == index->m_piles.end() || &on_line->second != pile ||
          number >= pile->places.size() || pile->places[number] != &place) {
        return "the place of " + place.first + " in its index";
      }
      if (view.m_place_values == PlaceIndex::Values::kAtOnce && place.second != pile->line) {
        return "the value of the place of " + place.first;
      }
    }
    std::size_t on_lines = 0;
    for (const auto& [line, pile] : index->m_piles) on_lines += pile.places.size();
    return index->m_positions.size() == count && on_lines == count ? "" : "too many places";
  }

  // The line of a place, whose value in the map may not have been written yet.
  static LineIterator LineOf(const std::optional<PlaceIndex>& index, const LineIterator& place) {
    return index ? index->LineOf(place) : place;
  }

  template <class Finder, class List>
  static std::string WrongFinder(const Finder& finder, const Lists<List>& lists) {
    for (const auto& [list, index] : finder.m_indexes) {
      const auto found = lists.known.find(list);
      if (found == lists.known.end()) return "an index of a list that is gone";
      if (!index.made) continue;
      const std::string wrong = WrongIndex(finder, index, *found->second);
      if (!wrong.empty()) return wrong;
    }
    return "";
  }

  template <class Finder, class List>
  static std::string WrongIndex(const Finder& finder, const typename Finder::Index& index,
                                const List& list) {
    const std::size_t entries = index.steady.size() + index.unsteady.size();
    if (index.places.size() != list.size() || entries != list.size()) return "size of an index";
    std::optional<std::size_t> last;
    for (const auto& element : list) {
      const auto place = index.places.find(&element);
      if (place == index.places.end()) return "an element without a place";
      const std::size_t rank = place->second.rank;
      if (last && *last >= rank) return "ranks are not in the order of the list";
      last = rank;
      const std::optional<std::string_view> text = finder.m_text(element);
      const bool steady = text && finder.m_text.IsSteady(element);
      if (steady != place->second.steady.has_value()) return "steady or not";
      if (steady) {
        const auto& [key, entry] = **place->second.steady;
        if (key != *text)
          return "the index says '" + key + "', the line '" + std::string(*text) + "'";
        if (entry.rank != rank || &*entry.element != &element) return "an entry of another element";
      } else {
        const auto entry = index.unsteady.find(rank);
        if (entry == index.unsteady.end() || &*entry->second != &element)
          return "an unsteady element";
      }
    }
    return "";
  }

  static std::string WrongInDialect(const BaseConfig& config, const Lines& lines) {
    if (const auto* nginx = dynamic_cast<const Nginx*>(&config)) {
      Registry listens;
      for (const auto& [section, list] : nginx->m_listen) listens.Add(list);
      return WrongRegistry(nginx->m_registry, listens, lines);
    }
    if (const auto* apache = dynamic_cast<const Apache*>(&config)) {
      Registry recorded;
      for (const auto& [section, directives] : apache->m_parse_huge_param.m_huge_lines) {
        for (const auto& [name, list] : directives) recorded.Add(list);
      }
      const std::string wrong =
          WrongRegistry(apache->m_parse_huge_param.m_registry, recorded, lines);
      return wrong.empty() ? WrongOptions(apache->m_parse_options, lines) : wrong;
    }
    return "";
  }

  static std::string WrongRegistry(const LineRegistry& registry, const Registry& lists,
                                   const Lines& lines) {
    std::set<Entry> fresh;
    for (const auto& [address, list] : lists.known) {
      const auto& known = registry.m_lists;
      if (!registry.m_index && !list->empty() &&
          std::find(known.begin(), known.end(), list) == known.end()) {
        return "a list that the registry does not know";
      }
      for (const LineIterator& line : *list) {
        if (lines.count(&*line) == 0) return "a line registered by the dialect";
        fresh.emplace(&*line, &line, list, &line);
      }
    }
    for (const LineRegistry::List* const list : registry.m_lists) {
      if (lists.known.count(list) == 0) return "a registered list that is gone";
    }
    if (registry.m_index && EntriesOf(*registry.m_index) != fresh) return "the registry's index";
    return WrongFinder(registry.m_finder, lists);
  }

  static std::string WrongOptions(const Apache::ParseOptions& options, const Lines& lines) {
    std::set<std::pair<const void*, const void*>> fresh;
    for (const auto& [section, line] : options.m_merged_lines) {
      if (lines.count(&*line) == 0) return "the merged line of " + section;
      if (options.m_words.count(section) == 0) return "no words for the line of " + section;
      fresh.emplace(&*line, &section);
      if (options.m_written_last == &section && *line != options.Line(section)) {
        return "the line of " + section + " was not written last";
      }
    }
    if (options.m_merged_lines.size() != options.m_words.size()) {
      return "words of a block without a merged line";
    }
    for (const auto& [section, positions] : options.m_positions) {
      if (options.m_words.count(section) == 0) return "positions of no words for " + section;
    }
    if (options.m_sections) {
      std::set<std::pair<const void*, const void*>> entries;
      for (const auto& [key, section] : options.m_sections->m_holders) {
        if (key.id != section) return "the section of a merged line";
        entries.emplace(key.line, section);
      }
      if (entries != fresh) return "the index of merged lines";
    }
    for (const auto& [section, words] : options.m_words) {
      const auto positions = options.m_positions.find(section);
      if (positions == options.m_positions.end()) continue;
      if (positions->second.size() != words.size()) return "positions of words of " + section;
      for (const std::string& word : words) {
        const auto position = positions->second.find(word);
        if (position == positions->second.end() || &*position->second != &word) {
          return "the position of the word " + word;
        }
      }
    }
    return "";
  }
};

}  // namespace tov_template
