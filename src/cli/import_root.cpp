// SPDX-License-Identifier: Apache-2.0

#include "cli/import_root.h"

#include <filesystem>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/failure.h"
#include "template/framework/str.h"
#include "template/framework/tov_err.h"
#include "template/framework/tov_file.h"
#include "template/template.h"

namespace cli {
namespace {

using tov_template::Template;

// Finds the imports as Template::SetTemplate would, though in another order, which changes nothing:
// each file is read once.
class Walk {
 public:
  Walk(const Request& request, const std::string& root)
      : m_new_values(NewValues(request)),
        m_template(AnyConfig(), m_none, m_new_values),
        m_option(root),
        m_root(RealRoot(root)),
        m_unread{{request.template_file, request.template_text}} {}

  void Check() {
    while (!m_unread.empty()) {
      const Text text = std::move(m_unread.back());
      m_unread.pop_back();
      CheckText(text);
    }
  }

 private:
  struct Text {
    std::string file;
    std::string text;
  };

  // No dialect has a say in what a statement says.
  static std::shared_ptr<tov_template::BaseConfig> AnyConfig() {
    return tov_template::GetConfigType("Nginx", "");
  }

  static Template::Values NewValues(const Request& request) {
    Template::Values values;
    for (const auto& [name, value] : request.values) {
      if (!value.new_value.IsNull()) values[name] = value.new_value.Str();
    }
    return values;
  }

  static std::string RealRoot(const std::string& root) {
    std::error_code error;
    if (!std::filesystem::is_directory(root, error)) {
      throw Failure(root, "not a directory; --import-root takes the one that holds the templates");
    }
    const std::string real = tov_file::RealPath(root);
    return real == "/" ? real : real + '/';
  }

  void CheckText(const Text& text) {
    std::string_view unread = text.text;
    for (std::size_t number = 1; !unread.empty(); ++number) {
      const std::string line(str::view::GetWord(unread, '\n'));
      if (Template::IsImport(line)) Import(line, text.file + ':' + std::to_string(number));
    }
  }

  void Import(const std::string& line, const std::string& place) {
    std::string statement = m_template.Parse(line).m_value.Str();
    str::GetWord(statement);  // the keyword
    const std::string path = tov_file::RealPath(str::Trim(statement));
    if (path.empty()) return;
    if (!str::StartsWith(path, m_root)) {
      throw Failure(place, "imports " + path + ", which lies outside --import-root " + m_option);
    }
    if (!tov_file::Exists(path) || !m_imported.insert(path).second) return;
    m_unread.push_back({path, Content(path)});
  }

  // What cannot be read is for the library to complain about.
  static std::string Content(const std::string& path) {
    try {
      return tov_file::ReadE(path);
    } catch (const tov_err::Error&) {
      return std::string();
    }
  }

  const Template::Values m_none;
  const Template::Values m_new_values;
  const Template m_template;
  const std::string m_option;
  const std::string m_root;
  std::vector<Text> m_unread;
  std::set<std::string> m_imported;
};

}  // namespace

void CheckImports(const Request& request, const std::string& root) {
  Walk(request, root).Check();
}

}  // namespace cli
