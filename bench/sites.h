// SPDX-License-Identifier: Apache-2.0

// Configurations of many sites, and templates that edit them: what every benchmark works on.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace bench {

// How one dialect writes a site. Sites have numbers; every text ends with a line end.
struct Dialect {
  const char* name;  // GetConfigType's

  // A whole site of about twelve lines, with two blocks in it, whose files are in `folder`.
  std::string (*site)(std::size_t number, const std::string& folder);

  // Only the lines that open, identify and close the site's block, around `lines`.
  std::string (*block)(std::size_t number, const std::string& lines);

  // The line of a site that names its folder.
  std::string (*folder)(std::size_t number, const std::string& folder);

  // One of many lines that may stand in a block.
  std::string (*setting)(std::size_t number, const std::string& value);
};

extern const Dialect kNginx;
extern const Dialect kApache;

// The dialect of that name. Throws std::invalid_argument when there is none.
const Dialect& DialectOf(const std::string& name);

// The name of a site, without "www.".
std::string SiteName(std::size_t number);

// What `piece` makes of the numbers from 0 to `count` - 1.
std::string Repeat(std::size_t count, const std::function<std::string(std::size_t)>& piece);

// The folder's name in configurations, after the edits, and as the place of a template.
inline constexpr char kOldFolder[] = "public";
inline constexpr char kNewFolder[] = "htdocs";
inline constexpr char kFolderPlace[] = "{% $folder %}";

// `count` sites.
std::string Sites(const Dialect& dialect, std::size_t count, const std::string& folder);

// Of `count` sites the one that is edited when only one is.
std::size_t EditedSite(std::size_t count);

// A template for one line of the edited site.
std::string OneSiteTemplate(const Dialect& dialect, std::size_t count);

}  // namespace bench
