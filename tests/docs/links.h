// SPDX-License-Identifier: Apache-2.0

// The links of pages in Markdown.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The pages in `folder`, without those in folders below it.
std::vector<std::filesystem::path> PagesIn(const std::filesystem::path& folder);

// The lines of a page; those in fenced blocks are empty.
std::vector<std::string> TextOf(const std::filesystem::path& page);

// Where the links lead that end in `line`: "limits.md#blocks".
std::vector<std::string> LinksIn(const std::string& line);

// "FILE:LINE: what is wrong" for each link of `page` that leads to no file, or to no heading of a
// page. Links to other sites are not looked at. `root` stands for "/" in links that begin so.
std::vector<std::string> ProblemsIn(const std::filesystem::path& page,
                                    const std::filesystem::path& root = "/");
