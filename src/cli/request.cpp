#include "cli/request.h"

#include <vector>

#include "cli/failure.h"
#include "cli/text_io.h"
#include "cli/values_file.h"

namespace cli {
namespace {

struct Dialect {
  const char* name;          // the program's
  const char* library_name;  // GetConfigType's
};

constexpr Dialect kDialects[] = {{"apache", "Apache"}, {"nginx", "Nginx"}};

const Dialect* FindDialect(const std::string& name) {
  for (const Dialect& dialect : kDialects) {
    if (name == dialect.name) return &dialect;
  }
  return nullptr;
}

std::string KnownDialects() {
  std::string names;
  for (const Dialect& dialect : kDialects) {
    if (!names.empty()) names += ", ";
    names += dialect.name;
  }
  return names;
}

// The checks of single options return what is wrong, or "".

std::string CheckDialect(const std::string& name) {
  if (FindDialect(name)) return std::string();
  return "unknown dialect '" + name + "', known are: " + KnownDialects();
}

std::string CheckFileName(const std::string& name) {
  return name.empty() ? "the file's name is empty" : std::string();
}

void AddFileOption(CLI::App& command, const std::string& option, std::string& file,
                   const std::string& description, bool required = false) {
  command.add_option(option, file, description)
      ->check(CheckFileName)
      ->type_name("FILE")
      ->required(required);
}

// An option that takes assignments, once for each name.
struct AssignmentOption {
  std::string name;  // "--set"
  std::string form;  // "NAME=NEW"
  std::string description;
};

void AddAssignment(const AssignmentOption& option, const std::string& assignment,
                   std::map<std::string, std::string>& values) {
  const std::size_t equals = assignment.find('=');
  if (equals == 0 || equals == std::string::npos) {
    throw CLI::ValidationError(option.name,
                               "'" + assignment + "' is not of the form " + option.form);
  }
  const std::string name = assignment.substr(0, equals);
  if (!values.emplace(name, assignment.substr(equals + 1)).second) {
    throw CLI::ValidationError(option.name, "'" + name + "' is given twice");
  }
}

// Takes the words as they are: bound to a container, an option would swallow the words that follow
// it and give "{}" and "[...]" a meaning of their own.
void AddAssignmentOption(CLI::App& command, const AssignmentOption& option,
                         std::map<std::string, std::string>& values) {
  const auto store = [&values, option](const std::vector<std::string>& words) {
    for (const std::string& word : words) AddAssignment(option, word, values);
    return true;
  };
  command.add_option(option.name, store, option.description)->take_all()->type_name(option.form);
}

Values CollectValues(const Request& request) {
  Values values;
  if (!request.values_file.empty()) values = ReadValuesFile(request.values_file);
  for (const auto& [name, text] : request.old_values) values[name].old_value = text;
  for (const auto& [name, text] : request.new_values) values[name].new_value = text;
  return values;
}

bool IsStandardInput(const std::string& config_file) {
  return config_file.empty() || config_file == "-";
}

std::string FileOf(const tov_err::Error& error, const std::string& otherwise) {
  for (const tov_err::Error::Param& param : error.params()) {
    if (param.name == "filename") return param.value;
  }
  return otherwise;
}

Failure ToFailure(const tov_err::Error& error, const std::string& template_file) {
  const std::string file = FileOf(error, template_file);
  if (error.object() == "circular_import") {
    return Failure(file, "imported twice by " + template_file +
                             " (a template can import each file only once)");
  }
  if (error.type() == "file") {
    return Failure(file, "imported by " + template_file + ", but not a file that can be read");
  }
  return Failure(file, error.what());
}

void SetTemplate(tov_template::ParserTemplate& parser, const std::string& text,
                 const std::string& file) {
  try {
    parser.SetTemplate(text);
  } catch (const tov_err::Error& error) {
    throw ToFailure(error, file);
  }
}

}  // namespace

void AddRequestOptions(CLI::App& command, Request& request) {
  command.add_option("--dialect", request.dialect, "Language of CONFIG: " + KnownDialects())
      ->check(CheckDialect)
      ->type_name("NAME")
      ->required();
  AddFileOption(command, "--template", request.template_file, "The template", true);
  AddAssignmentOption(
      command, {"--set", "NAME=NEW", "A value of the template as it is to be; wins over --values"},
      request.new_values);
  AddAssignmentOption(
      command, {"--old", "NAME=OLD", "The same value as CONFIG holds it now; wins over --values"},
      request.old_values);
  AddFileOption(command, "--values", request.values_file, "JSON file of values (see below)");
  AddFileOption(command, "CONFIG", request.config_file,
                "The configuration; standard input when it is \"-\" or left out");
}

std::string ReadConfig(const Request& request) {
  if (IsStandardInput(request.config_file)) return ReadStandardInput();
  return ReadFile(request.config_file);
}

std::string ConfigName(const Request& request) {
  return IsStandardInput(request.config_file) ? kStandardInput : request.config_file;
}

tov_template::ParserTemplate MakeParser(const Request& request, const std::string& config) {
  const Values values = CollectValues(request);
  const std::string text = ReadFile(request.template_file);
  const std::string type = FindDialect(request.dialect)->library_name;
  tov_template::ParserTemplate parser(tov_template::GetConfigType(type, config));
  for (const auto& [name, value] : values) parser.SetValue(name, value.old_value, value.new_value);
  SetTemplate(parser, text, request.template_file);
  return parser;
}

}  // namespace cli
