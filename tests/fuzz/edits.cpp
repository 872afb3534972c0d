// SPDX-License-Identifier: Apache-2.0

// A sequence of edits of a view, sections drawn from its index.
//
//   dialect ("N" or "A") | config | edit | edit | ...   (an edit as in property/edits.h)
//
// The edit "parser" stands for another view of the same dialect object.
#include "property/edits.h"

#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/input.h"
#include "support/bystanders.h"
#include "support/view_probe.h"
#include "template/apache.h"
#include "template/framework/str.h"
#include "template/nginx.h"

namespace {

// Whether `edit` may change the block `path` of the elements `params`.
bool Concerns(const ViewProbe& view, std::string_view edit, const std::string& path,
              const std::list<ConfParam>& params) {
  const std::string_view operation = str::view::GetWord(edit, '\x1f');
  if (operation == "empty") return params.size() < 3;
  const std::string section = EditedSection(view, edit);
  return !section.empty() && str::StartsWith(path, section);
}

template <class Dialect>
void Run(const std::string& config, const std::vector<std::string>& edits) {
  const auto dialect = std::make_shared<Dialect>(config);
  auto last = std::make_unique<ViewProbe>(dialect);
  RequireNone(last->BrokenReferences());
  for (const std::string& edit : edits) {
    if (edit == "parser") {
      last.reset();
      last = std::make_unique<ViewProbe>(dialect);
      RequireNone(last->BrokenReferences());
      continue;
    }
    ViewProbe& view = *last;
    const Bystanders bystanders(view, [&](const auto& path, const auto& params) {
      return Concerns(view, edit, path, params);
    });
    ApplyEdit(view, edit);
    RequireNone(view.BrokenReferences());
    RequireNone(bystanders.Harmed(view));
    Require(view.Text() == str::Join(*view.m_lines, "\n"), "the text is not that of the lines");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool apache = input.Next() == "A";
  const std::string config = input.Next();
  const std::vector<std::string> edits = input.Rest();
  if (apache) {
    Run<tov_template::Apache>(config, edits);
  } else {
    Run<tov_template::Nginx>(config, edits);
  }
  return 0;
}
