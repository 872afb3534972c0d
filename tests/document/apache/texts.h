// SPDX-License-Identifier: Apache-2.0

// The texts that the judges are asked about.
#pragma once

#include <map>
#include <string>

// Real configurations, and the constructs that look odd to a reader of lines, by name.
std::map<std::string, std::string> Texts();

// `text` so that httpd reads all of it, whatever machine it runs on: every condition (<IfModule>,
// <IfDefine> ...) holds, and directives that httpd carries out while it reads (Include, Define, Use
// ...) have the name of one that takes any arguments.
std::string ReadThrough(const std::string& text);

// The same with that name for all plain directives, so that httpd goes on as far as it can when it
// carries out what it has read.
std::string CarriedThrough(const std::string& text);
