// SPDX-License-Identifier: Apache-2.0

// A template over a configuration text, with values of its own, whose items can be looked at.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "template/framework/str.h"
#include "template/template.h"

// The values that a TemplateProbe reads. Made before the template, which refers to them.
struct TemplateProbeValues {
  std::map<std::string, std::string> old_values;
  std::map<std::string, std::string> new_values;
};

class TemplateProbe : public TemplateProbeValues, public tov_template::Template {
 public:
  explicit TemplateProbe(const std::shared_ptr<tov_template::BaseConfig>& config)
      : Template(config, old_values, new_values) {}

  using Template::m_actions;
  using Template::m_config;
  using Template::m_created;
  using Template::m_ends;
  using Template::m_new_values;
  using Template::m_old_values;
  using Template::m_params;
  using Template::m_statements;

  // The configuration as it would be written back.
  std::string Text() const { return m_config->Str(); }

  // "(null)" for a null value, else the text.
  static std::string Shown(const tov_template::Value& value) {
    return value.IsNull() ? "(null)" : value.Str();
  }

  // The items' new lines, each behind "+" when its branch was taken and "-" when not.
  std::vector<std::string> Items() const {
    std::vector<std::string> items;
    for (const TemplateActionItem& item : m_actions) {
      items.push_back((item.m_enabled ? "+" : "-") + Shown(item.m_param.m_value));
    }
    return items;
  }

  // The identities of the blocks that the template opens, in the order of their openings, as "new"
  // or, where the old one differs, "old -> new".
  std::vector<std::string> Sections() const {
    std::vector<std::string> sections;
    for (const TemplateActionItem& item : m_actions) {
      const std::string old_name = Shown(item.m_section.m_old_value);
      const std::string new_name = Shown(item.m_section.m_value);
      if (old_name.empty() && new_name.empty()) continue;
      sections.push_back(old_name == new_name ? new_name : old_name + " -> " + new_name);
    }
    return sections;
  }

  // Everything that an item holds.
  static std::string Shown(const TemplateActionItem& item) {
    return Shown(item.m_param) + " in " + Shown(item.m_section) +
           (item.m_enabled ? " enabled" : " disabled");
  }
  static std::string Shown(const ParseValues& parsed) {
    return "{new '" + Shown(parsed.m_value) + "' old '" + Shown(parsed.m_old_value) + "' key '" +
           Shown(parsed.m_key) + "'" + (parsed.m_part_key ? " part" : "") +
           (parsed.m_const ? " const" : "") + "}";
  }
};

// A template without text over the configuration `config` in the dialect `Dialect`.
template <class Dialect>
TemplateProbe TemplateOn(const std::string& config) {
  return TemplateProbe(std::make_shared<Dialect>(config));
}

// A directory for template files, removed with all that is in it.
class TemplateFiles {
 public:
  TemplateFiles() {
    std::string path = (std::filesystem::temp_directory_path() / "template_test_XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
    m_directory = std::filesystem::canonical(path);
  }
  ~TemplateFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
  }
  TemplateFiles(const TemplateFiles&) = delete;
  TemplateFiles& operator=(const TemplateFiles&) = delete;

  // The whole path of the file `name`, which need not exist.
  std::string Path(const std::string& name) const { return (m_directory / name).string(); }

  // Writes the file `name` and returns its whole path.
  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
  }

  // The same; returns the statement that imports the file.
  std::string Import(const std::string& name, const std::string& content) const {
    return "{% import " + Write(name, content) + " %}";
  }

 private:
  std::filesystem::path m_directory;
};
