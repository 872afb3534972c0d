// SPDX-License-Identifier: Apache-2.0

// From configurations to their templates.
#include "adopt/adopt.h"

#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "parts.h"
#include "report/json.h"
#include "text.h"

namespace python {
namespace {

using tov_adopt::Options;
using NamedText = std::pair<Text, Text>;

// The site, the values, what is managed, and whether to comment.
using AskedFor = std::tuple<Text, std::vector<NamedText>, std::vector<Text>, bool>;

Options OptionsOf(const AskedFor& asked, const Text& config, const std::string& name,
                  const std::optional<std::string>& dialect) {
  const auto& [site, values, managed, comment] = asked;
  Options options;
  options.dialect = DialectOfText(dialect, config.bytes, name);
  options.site = site.bytes;
  for (const auto& [value, text] : values) options.values[value.bytes] = text.bytes;
  for (const Text& directive : managed) options.managed.insert(directive.bytes);
  options.comment = comment;
  return options;
}

py::dict ValuesOf(const tov_edit::Values& values) {
  py::dict texts;
  for (const auto& [name, value] : values) {
    texts[StrOf(name)] = py::make_tuple(StrOf(*value.old_value), StrOf(*value.new_value));
  }
  return texts;
}

py::object FindingsOf(const std::vector<tov_edit::Finding>& findings) {
  return ObjectOf(findings);
}

// The template, the values, what is left out, the refusals, and the dialect. `after`: the template
// leads there.
py::tuple Adopt(const Text& config, const Text& name, const std::optional<Text>& after,
                const Text& after_name, const std::optional<std::string>& dialect,
                const AskedFor& asked) {
  const Options options = OptionsOf(asked, config, name.bytes, dialect);
  tov_adopt::Adopted adopted;
  WithoutGil([&] {
    adopted =
        after ? AdoptChange(options, {config.bytes, name.bytes}, {after->bytes, after_name.bytes})
              : tov_adopt::Adopt(options, config.bytes, name.bytes);
  });
  return py::make_tuple(TextOf(adopted.template_text, config.is_str), ValuesOf(adopted.values),
                        FindingsOf(adopted.left_out), FindingsOf(adopted.refusals),
                        NameOf(options.dialect));
}

// The template, of each site its values, whether it shares the template, what it has beyond it and
// what it lacks of it; then the refusals and the dialect.
py::tuple AdoptCommon(const std::vector<NamedText>& sites,
                      const std::optional<std::string>& dialect, const AskedFor& asked) {
  const auto& [first_name, first] = sites.at(0);
  const Options options = OptionsOf(asked, first, first_name.bytes, dialect);
  std::vector<tov_adopt::Configuration> configs;
  configs.reserve(sites.size());
  for (const auto& [name, text] : sites) configs.push_back({text.bytes, name.bytes});
  tov_adopt::Common common;
  WithoutGil([&] { common = tov_adopt::AdoptCommon(options, configs); });
  py::list shared;
  for (const tov_adopt::CommonSite& site : common.sites) {
    shared.append(py::make_tuple(ValuesOf(site.values), site.shares, FindingsOf(site.beyond),
                                 FindingsOf(site.lacking)));
  }
  return py::make_tuple(TextOf(common.template_text, first.is_str), shared,
                        FindingsOf(common.refusals), NameOf(options.dialect));
}

}  // namespace

void DefineAdopt(py::module_& module) {
  module.def("adopt", Adopt);
  module.def("adopt_common", AdoptCommon);
}

}  // namespace python
