// SPDX-License-Identifier: Apache-2.0

// The ordinary edits of a site: the template that somebody would write who has the file before
// them, and what is to become of the file's tree.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "edit/config_tree.h"

namespace edit_judge {

enum class Kind { kSize, kRoot, kCertificate, kLocation, kAlias, kRename, kRemoval };

constexpr std::array<Kind, 7> kKinds = {Kind::kSize,     Kind::kRoot,  Kind::kCertificate,
                                        Kind::kLocation, Kind::kAlias, Kind::kRename,
                                        Kind::kRemoval};

const char* NameOf(Kind kind);

struct Value {
  std::string name;
  std::optional<std::string> old_text;
  std::optional<std::string> new_text;
};

// What a template says of the block that it means. Empty: it says nothing of it.
struct Stated {
  std::vector<std::string> names;      // at most one, as the server compares it
  std::vector<std::string> addresses;  // in normal form; one of them is enough
  std::vector<std::string> old_line;   // words of another line that is in the block already
};

// What is to become of the tree.
struct Change {
  enum class What { kWords, kNewDirective, kNewBlock, kRemoval };
  What what = What::kWords;

  // kWords: the directive. New ones: the block that gets it. kRemoval: the block that goes.
  std::size_t node = 0;

  // kWords: those that give way, if any, and what stands there then.
  std::size_t first_word = 0;
  std::size_t word_count = 0;
  std::vector<std::string> words;

  // New ones: what they say, their depths from 0 on, and the nodes that they have to stand behind.
  Outline added;
  std::vector<std::size_t> preceding;
};

struct SiteEdit {
  std::string template_text;
  std::vector<Value> values;
  Stated stated;
  Change change;
};

// The servers of an nginx text, the virtual hosts of an Apache text.
std::vector<std::size_t> SitesOf(Dialect dialect, const Tree& tree);

// Nothing where the site has nothing that such an edit could be for.
std::optional<SiteEdit> EditOf(Kind kind, Dialect dialect, std::string_view text, const Tree& tree,
                               std::size_t site);

// Which other sites of the file a template with these statements means just as well.
enum class Meant {
  kOne,              // none
  kPerhapsOne,       // one whose address is not written down
  kSeveral,          // at least one that has all that is stated
  kSeveralNameless,  // the same, where neither has a name
  kNamelessAndNamed  // no name is stated, and all that have the rest have names
};
Meant SitesMeant(Dialect dialect, const Tree& tree, std::size_t site, const Stated& stated);

}  // namespace edit_judge
