// SPDX-License-Identifier: Apache-2.0

#include "server/macro.h"

namespace tov_server {
namespace {

std::string InQuotes(const std::string& argument) {
  std::string quoted = "\"";
  for (const char byte : argument) {
    if (byte == '"') quoted += '\\';
    quoted += byte;
  }
  return quoted + '"';
}

// Which of the parameters stands there: the longest one that does. None: the number of them.
std::size_t ParameterAt(const Macro& macro, std::size_t at) {
  std::size_t found = macro.parameters.size();
  std::size_t longest = 0;
  for (std::size_t i = 0; i < macro.parameters.size(); ++i) {
    const std::string& name = macro.parameters[i];
    if (name.size() <= longest || macro.body.compare(at, name.size(), name) != 0) continue;
    found = i;
    longest = name.size();
  }
  return found;
}

}  // namespace

std::optional<std::string> BodyWith(const Macro& macro, const std::vector<std::string>& arguments,
                                    std::size_t limit) {
  if (arguments.size() != macro.parameters.size()) return std::nullopt;
  std::string text;
  for (std::size_t at = 0; at < macro.body.size();) {
    const std::size_t which = ParameterAt(macro, at);
    if (which == macro.parameters.size()) {
      text += macro.body[at++];
    } else {
      const std::string& name = macro.parameters[which];
      text += name.front() == '@' ? InQuotes(arguments[which]) : arguments[which];
      at += name.size();
    }
    if (text.size() > limit) return std::nullopt;
  }
  return text;
}

}  // namespace tov_server
