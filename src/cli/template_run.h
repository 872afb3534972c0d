// SPDX-License-Identifier: Apache-2.0

// One application of a request's template to one configuration.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "cli/request.h"
#include "template/qeltemplate.h"
#include "template/template.h"

namespace cli {

// The values of a run; they have to be there before the template that reads them.
struct RunValues {
  tov_template::Template::Values old_values;
  tov_template::Template::Values new_values;
};

// The values of `request`. A value that is not said to have been another one is taken for what the
// configuration holds: a block is then found by what identifies it.
RunValues ValuesOf(const Request& request);

// The same with each old value equal to the new one.
RunValues NewValuesOf(const Request& request);

// A template over a configuration, with its items for whoever prepares or watches an application.
class TemplateRun : private RunValues, public tov_template::Template {
 public:
  using Item = TemplateActionItem;

  // Reads `config` and the request's template. The indentation of the template's lines is taken
  // off. Throws Failure when a file that it imports cannot be had.
  TemplateRun(const std::shared_ptr<tov_template::BaseConfig>& config, const Request& request,
              RunValues values);

  // Reads `config`; the template is that of `other`.
  TemplateRun(const std::shared_ptr<tov_template::BaseConfig>& config, const TemplateRun& other);

  const tov_template::BaseConfig& config() const { return *m_config; }

  // In the order of the template.
  const std::vector<Item*>& items() const { return m_items; }

  // The same for the statements.
  const std::vector<StatementRecord>& statements() const { return m_statements; }

  // Whether the configuration has a block with the path `section`.
  bool HasBlock(const std::string& section) const;

  // The lines of the block `section`, those of inner blocks left out; none where there is no such
  // block.
  std::vector<const std::string*> LinesOf(const std::string& section) const;

  // Where the next line of the block `section` goes: before the line that is returned.
  tov_template::LineIterator EndOfBlock(const std::string& section) const;

  // Drops the items but those from `first` to `last`.
  void KeepItems(std::size_t first, std::size_t last);

  // Edits the lines of the configuration, once only. Blocks that are empty then stay.
  void Apply();

 private:
  std::vector<Item*> m_items;
};

}  // namespace cli
