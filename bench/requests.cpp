// SPDX-License-Identifier: Apache-2.0

#include "requests.h"

namespace bench {

using tov_template::GetConfigType;
using tov_template::NullValue;
using tov_template::ParserTemplate;

namespace {

const std::vector<NamedValue> kNewFolderValue = {{"folder", kOldFolder, kNewFolder}};

// `lines` under a condition that does not hold.
std::string NotTaken(const std::string& lines) {
  return "{% if $none %}\n" + lines + "{% endif %}\n";
}

}  // namespace

std::string Edit(const Dialect& dialect, const Request& request) {
  ParserTemplate parser(GetConfigType(dialect.name, request.config));
  for (const NamedValue& value : request.values) {
    parser.SetValue(value.name, value.old_value, value.new_value);
  }
  return parser.SetTemplate(request.template_text).ApplyTemplate().GetConfig();
}

bool IsExpected(const Request& request, const std::string& edited) {
  return request.expected == (edited.empty() ? edited : edited + "\n");
}

// --- Over N sites ---

Request OneSite(const Dialect& dialect, std::size_t count) {
  const std::size_t edited = EditedSite(count);
  return {Sites(dialect, count, kOldFolder), kNewFolderValue, OneSiteTemplate(dialect, count),
          Repeat(count, [&](std::size_t i) {
            return dialect.site(i, i == edited ? kNewFolder : kOldFolder);
          })};
}

Request EverySite(const Dialect& dialect, std::size_t count) {
  return {Sites(dialect, count, kOldFolder), kNewFolderValue, Sites(dialect, count, kFolderPlace),
          Sites(dialect, count, kNewFolder)};
}

Request OneLineOfEverySite(const Dialect& dialect, std::size_t count) {
  Request request = EverySite(dialect, count);
  request.template_text = Repeat(
      count, [&](std::size_t i) { return dialect.block(i, dialect.folder(i, kFolderPlace)); });
  return request;
}

Request RemoveEverySite(const Dialect& dialect, std::size_t count) {
  return {Sites(dialect, count, kOldFolder),
          {},
          NotTaken(Repeat(count, [&](std::size_t i) { return dialect.block(i, ""); })),
          ""};
}

Request RemoveFromTheLast(const Dialect& dialect, std::size_t count) {
  Request request = RemoveEverySite(dialect, count);
  request.template_text =
      NotTaken(Repeat(count, [&](std::size_t i) { return dialect.block(count - 1 - i, ""); }));
  return request;
}

Request AddSites(const Dialect& dialect, std::size_t count) {
  const auto sites = [&](const std::string& folder) {
    return Repeat(count,
                  [&](std::size_t i) { return dialect.block(i, dialect.folder(i, folder)); });
  };
  return {"", kNewFolderValue, sites(kFolderPlace), sites(kNewFolder)};
}

Request OptionsAndAliases(const Dialect& dialect, std::size_t count) {
  const auto sites = [&](const std::string& options, const std::string& alias) {
    return Repeat(count, [&](std::size_t i) {
      return dialect.block(i, "\tOptions FollowSymLinks" + options + "\n\tServerAlias " +
                                  SiteName(i) + " " + alias + "\n");
    });
  };
  return {sites("", "old.example"),
          {{"option", NullValue(), "Indexes"}, {"alias", "old.example", "new.example"}},
          sites(" {% $option %}", "{% $alias %}"),
          sites(" Indexes", "new.example")};
}

// --- Over N lines of one block, or of the template ---

Request LinesOfOneBlock(const Dialect& dialect, std::size_t count) {
  const auto block = [&](const std::string& tenth) {
    return dialect.block(0, Repeat(count, [&](std::size_t i) {
                           return dialect.setting(i, i % 10 == 0 ? tenth : "old");
                         }));
  };
  const std::string changes =
      Repeat(count / 10, [&](std::size_t i) { return dialect.setting(10 * i, "{% $value %}"); });
  return {block("old"), {{"value", "old", "new"}}, dialect.block(0, changes), block("new")};
}

Request ListensOfOneBlock(const Dialect& dialect, std::size_t count) {
  const auto listen = [](std::size_t i) {
    return "\tlisten unix:/run/site" + std::to_string(i) + ".sock;\n";
  };
  const std::string kept = Repeat(count - 1, listen);
  const std::string tenth = Repeat(count / 10, [&](std::size_t i) { return listen(10 * i); });
  return {dialect.block(0, kept + listen(count - 1)),
          {},
          dialect.block(0, tenth + listen(count) + NotTaken(listen(count - 1))),
          dialect.block(0, kept + listen(count))};
}

Request TemplateConditions(const Dialect& dialect, std::size_t count) {
  const std::size_t settings = count / 5;
  const std::string lines = Repeat(settings, [&](std::size_t i) {
    return "{% if $value == new and $name %}\n" + dialect.setting(i, "on") + "{% else %}\n" +
           dialect.setting(i, "off") + "{% endif %}\n";
  });
  return {
      "",
      {{"value", "old", "new"}, {"name", "a", "b"}},
      dialect.block(0, lines),
      dialect.block(0, Repeat(settings, [&](std::size_t i) { return dialect.setting(i, "on"); }))};
}

Request ManyValues(const Dialect& dialect, std::size_t count) {
  std::vector<NamedValue> values;
  for (std::size_t i = 0; i < count; ++i) {
    values.push_back({"value" + std::to_string(i), "old", "new"});
  }
  const std::string conditions = Repeat(count / 10, [&](std::size_t i) {
    const std::string value = "$value" + std::to_string(10 * i);
    return "{% if " + value + " == new %}\n" + dialect.setting(i, "{% " + value + " %}") +
           "{% endif %}\n";
  });
  return {"", values, dialect.block(0, conditions),
          dialect.block(
              0, Repeat(count / 10, [&](std::size_t i) { return dialect.setting(i, "new"); }))};
}

}  // namespace bench
