#include "cli/edit.h"

namespace cli {
namespace {

bool EndsWithNewline(const std::string& text) {
  return !text.empty() && text.back() == '\n';
}

}  // namespace

// The library drops the final newline with the blank lines. Putting blank lines back would take
// knowing which lines are old: they stay dropped.
Edited Edit(const Request& request, const std::string& config_text,
            const std::string& /*config_name*/) {
  Edited edited{MakeParser(request, config_text).ApplyTemplate().GetConfig()};
  if (EndsWithNewline(config_text)) edited.text += '\n';
  return edited;
}

}  // namespace cli
