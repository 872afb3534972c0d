// SPDX-License-Identifier: Apache-2.0

// Files that editors, packages and this program leave beside a configuration, and that a shell's
// "sites/*" names together with it.
#pragma once

#include <string>
#include <vector>

namespace cli {

// Of `names`, those that look like a copy of another one of them, in their order: "site.orig" where
// "site" is named as well, and what else is made of its name:
//
//   site~  site.~1~  site.bak  site.old  site.orig  site.save    backups
//   #site#  .#site  .site.swp                                    editors' files
//   site.dpkg-dist  site.ucf-old  site.rpmnew  site.rpmsave      packages' leftovers
//   .site.qeltemplate-old                                        this program's
//   site + `backup_suffix`, if that does not begin with a letter or digit
//
// A name that stands without the one that it is made of is meant, whatever it looks like.
std::vector<std::string> LeftoversAmong(const std::vector<std::string>& names,
                                        const std::string& backup_suffix);

}  // namespace cli
