// SPDX-License-Identifier: Apache-2.0

// A careful edit.
//
//   dialect ("N" or "A", "n" or "a": with the values in quotes; with a "+" behind it: of all blocks
//   that fit) | config | template | name | old | new | name | ...
//
// An old or new text of "-" is no value. Nothing can be imported.
#include <optional>
#include <string>

#include "edit/laws.h"
#include "fuzz/input.h"

namespace {

std::optional<std::string> ValueOf(const std::string& text) {
  if (text == "-") return std::nullopt;
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  tov_edit::Request request;
  const std::string dialect = input.Next();
  const bool apache = dialect[0] == 'A' || dialect[0] == 'a';
  request.dialect = apache ? tov_edit::Dialect::kApache : tov_edit::Dialect::kNginx;
  request.quote = dialect[0] == 'a' || dialect[0] == 'n';
  request.all = dialect.size() > 1;
  request.template_name = "TEMPLATE";
  const std::string config = input.Next();
  request.template_text = input.Next();
  while (!input.AtEnd()) {
    const std::string name = input.Next();
    tov_edit::OldAndNew& value = request.values[name];
    value.old_value = ValueOf(input.Next());
    value.new_value = ValueOf(input.Next());
  }
  RequireNone(edit_laws::Broken(request, config));
  return 0;
}
