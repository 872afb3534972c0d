// A sequence of edits of a view, sections drawn from its index.
//
//   dialect ("N" or "A") | config | edit | edit | ...   (an edit as in property/edits.h)
#include "property/edits.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/input.h"
#include "support/view_probe.h"
#include "template/apache.h"
#include "template/nginx.h"

namespace {

using Snapshot = std::vector<std::pair<const std::string*, std::string>>;

// The lines by address and text.
Snapshot Lines(const ViewProbe& view) {
  Snapshot lines;
  for (const std::string& line : *view.m_lines) lines.emplace_back(&line, line);
  return lines;
}

// Whether `after` is what is left of `before` when some lines are gone.
bool OnlyErased(const Snapshot& before, const Snapshot& after) {
  auto unread = before.begin();
  return std::all_of(after.begin(), after.end(), [&](const auto& line) {
    unread = std::find(unread, before.end(), line);
    return unread++ != before.end();
  });
}

template <class Dialect>
void Run(const std::string& config, const std::vector<std::string>& edits, bool merges_words) {
  ViewProbe view(std::make_shared<Dialect>(config));
  RequireNone(view.BrokenReferences());
  for (const std::string& edit : edits) {
    const Snapshot before = Lines(view);
    ApplyEdit(view, edit);
    RequireNone(view.BrokenReferences());
    const bool removes = edit.compare(0, 6, "remove") == 0 || edit.compare(0, 5, "empty") == 0;
    Require(!removes || merges_words || OnlyErased(before, Lines(view)),
            "a removal did more than erase lines");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool apache = input.Next() == "A";
  const std::string config = input.Next();
  const std::vector<std::string> edits = input.Rest();
  if (apache) {
    Run<tov_template::Apache>(config, edits, true);
  } else {
    Run<tov_template::Nginx>(config, edits, false);
  }
  return 0;
}
