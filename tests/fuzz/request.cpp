// A whole request: dialect, configuration, template, then rounds of values and applications.
//
//   dialect ("N" or "A") | config | template | imported file | name | old | new | name | ...
//
// The word FILE in the template is the path of the imported file.
// A name of "!" applies; an old or new text of "-" is no value.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "fuzz/input.h"
#include "template/framework/str.h"
#include "template/qeltemplate.h"

using tov_template::NullValue;
using tov_template::ParserTemplate;
using tov_template::Value;

namespace {

// A folder that goes with the program.
class Folder {
 public:
  Folder() {
    m_path = (std::filesystem::temp_directory_path() / "qeltemplate-fuzz-XXXXXX").string();
    Require(mkdtemp(m_path.data()) != nullptr, "no temporary folder");
  }
  ~Folder() { std::filesystem::remove_all(m_path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string PathOf(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// `text` with the word FILE made the path of the one file that it can import.
std::string WithImport(const std::string& text, const std::string& content) {
  static const Folder folder;
  const std::string path = folder.PathOf("imported");
  std::ofstream(path, std::ios::binary) << content;
  return str::Replace(text, "FILE", path);
}

Value ValueOf(const std::string& text) {
  if (text == "-") return NullValue();
  return text;
}

void Apply(ParserTemplate& parser, const std::string& text) {
  try {
    parser.SetTemplate(text);
  } catch (const tov_err::Error& error) {
    Require(error.object() == "circular_import" || error.type() == "file", error.what());
  }
  parser.ApplyTemplate();
  const std::string once = parser.GetConfig();
  Require(parser.ApplyTemplate().GetConfig() == once, "a second application changed something");
  Require(parser.GetPrototype() == parser.GetPrototype(), "the prototype changed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::string dialect = input.Next() == "A" ? "Apache" : "Nginx";
  ParserTemplate parser(tov_template::GetConfigType(dialect, input.Next()));
  const std::string template_text = input.Next();
  const std::string text = WithImport(template_text, input.Next());
  while (!input.AtEnd()) {
    const std::string name = input.Next();
    if (name == "!") {
      Apply(parser, text);
      continue;
    }
    const std::string old_text = input.Next();
    parser.SetValue(name, ValueOf(old_text), ValueOf(input.Next()));
  }
  Apply(parser, text);
  return 0;
}
