// SPDX-License-Identifier: Apache-2.0

#include "cli/request.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "cli/failure.h"
#include "cli/text_io.h"
#include "edit/file_importer.h"
#include "edit/tree/dialect_check.h"

namespace cli {
namespace {

using tov_edit::Dialect;

constexpr char kKnownDialects[] = "apache, nginx";

// The checks of single options return what is wrong, or "".

std::string CheckDialect(const std::string& name) {
  if (tov_document::DialectNamed(name)) return std::string();
  return "unknown dialect '" + name + "', known are: " + kKnownDialects;
}

std::string CheckFileName(const std::string& name) {
  return name.empty() ? "the file's name is empty" : std::string();
}

std::string CheckName(const std::string& name) {
  return name.empty() ? "the name is empty" : std::string();
}

std::string CheckColour(const std::string& when) {
  if (when == "auto" || when == "always" || when == "never") return std::string();
  return "'" + when + "' is none of auto, always, never";
}

// Takes the words as they are: bound to a container, an option would swallow the words that follow
// it and give "{}" and "[...]" a meaning of their own.
CLI::Option* AddWords(CLI::App& command, const std::string& option,
                      const std::function<void(const std::string&)>& store,
                      const std::string& description) {
  const auto store_all = [store](const std::vector<std::string>& words) {
    for (const std::string& word : words) store(word);
    return true;
  };
  return command.add_option(option, store_all, description)->take_all();
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

void AddAssignmentOption(CLI::App& command, const AssignmentOption& option,
                         std::map<std::string, std::string>& values) {
  const auto store = [&values, option](const std::string& word) {
    AddAssignment(option, word, values);
  };
  AddWords(command, option.name, store, option.description)->type_name(option.form);
}

tov_edit::Importer ImporterBelow(const std::string& root) {
  try {
    return tov_edit::FileImporter(root);
  } catch (const std::runtime_error& error) {
    throw Failure(std::string(error.what()) +
                  "; --import-root takes the one that holds the templates");
  }
}

}  // namespace

Values CollectValues(const RequestOptions& options) {
  Values values;
  for (const std::string& file : options.values_files) {
    values = ReadValuesFile(file, std::move(values));
  }
  for (const std::string& name : options.read_old) {
    values[name].old_value = std::nullopt;
    values[name].read_old = true;
  }
  for (const auto& [name, text] : options.old_values) values[name].old_value = text;
  for (const auto& [name, text] : options.new_values) values[name].new_value = text;
  for (const std::string& name : options.unset) values[name].new_value = std::nullopt;
  return values;
}

CLI::Option* AddFileOption(CLI::App& command, const std::string& option, std::string& file,
                           const std::string& description) {
  return command.add_option(option, file, description)->check(CheckFileName)->type_name("FILE");
}

CLI::Option* AddFiles(CLI::App& command, const std::string& name, std::vector<std::string>& files,
                      const std::string& description) {
  const auto store = [&files](const std::string& word) { files.push_back(word); };
  constexpr int kAny = CLI::detail::expected_max_vector_size;
  return AddWords(command, name, store, description)
      ->expected(kAny, kAny)  // one that expects fewer would take "[a,b]" for two
      ->check(CheckFileName)
      ->type_name("FILE");
}

CLI::Option* AddNames(CLI::App& command, const std::string& option, std::set<std::string>& names,
                      const std::string& description) {
  const auto store = [&names](const std::string& word) { names.insert(word); };
  return AddWords(command, option, store, description)->check(CheckName)->type_name("NAME");
}

void AddDialectOption(CLI::App& command, std::string& dialect, const std::string& what) {
  command
      .add_option("--dialect", dialect,
                  "Language of " + what + ": " + kKnownDialects + "; guessed when left out")
      ->check(CheckDialect)
      ->type_name("NAME");
}

void AddColourOption(CLI::App& command, std::string& when, const std::string& what) {
  command.add_option("--color", when, "Colour " + what + ": auto (on a terminal), always or never")
      ->check(CheckColour)
      ->type_name("WHEN");
}

void AddValueOptions(CLI::App& command, RequestOptions& options) {
  AddAssignmentOption(command, {"--set", "NAME=NEW", "What a value is to be; wins over --values"},
                      options.new_values);
  AddAssignmentOption(command,
                      {"--old", "NAME=OLD", "What the value is in CONFIG now; wins over --values"},
                      options.old_values);
  AddNames(command, "--read-old", options.read_old,
           "A value that CONFIG says itself: what stands in its place there is the old one");
  AddNames(command, "--unset", options.unset, "A value that has no new text");
  const auto store = [&options](const std::string& word) { options.values_files.push_back(word); };
  AddWords(command, "--values", store,
           "JSON or YAML file of values (see below); \"-\": standard input")
      ->check(CheckFileName)
      ->type_name("FILE");
}

void AddRequestOptions(CLI::App& command, RequestOptions& options) {
  AddDialectOption(command, options.dialect, "CONFIG");
  AddFileOption(command, "--template", options.template_file, "The template")->required();
  AddFileOption(command, "--import-root", options.import_root,
                "Refuse a template that imports a file from outside this directory")
      ->type_name("DIR");
  AddValueOptions(command, options);
}

// "{}" makes the empty text the value of a flag that has none.
CLI::Option* AddOptionalValue(CLI::App& command, const std::string& option, const std::string& type,
                              std::string& value, const std::string& description) {
  return command.add_flag(option + "{}", value, description)->option_text("[=" + type + ']');
}

void CheckRequestOptions(const RequestOptions& options) {
  for (const std::string& name : options.unset) {
    if (options.new_values.count(name) > 0) {
      throw CLI::ValidationError("--unset", "'" + name + "' is given by --set, too");
    }
  }
  for (const std::string& name : options.read_old) {
    if (options.old_values.count(name) > 0) {
      throw CLI::ValidationError("--read-old", "'" + name + "' is given by --old, too");
    }
  }
  const auto& files = options.values_files;
  if (std::count_if(files.begin(), files.end(), IsStandardInput) > 1) {
    throw CLI::ValidationError("--values", "standard input can be read once only");
  }
}

void RefuseValuesOnStandardInput(const RequestOptions& options) {
  for (const std::string& file : options.values_files) {
    if (IsStandardInput(file)) {
      throw CLI::ValidationError("--values",
                                 "standard input holds the configuration; name a CONFIG");
    }
  }
}

Request LoadRequest(const RequestOptions& options) {
  Request request;
  const std::optional<Dialect> dialect = tov_document::DialectNamed(options.dialect);
  if (dialect) SetDialect(request, *dialect);
  request.edit.template_name = options.template_file;
  request.edit.template_text = ReadFile(options.template_file, tov_edit::kLargestTemplate);
  request.edit.values = CollectValues(options);
  request.edit.importer = ImporterBelow(options.import_root);
  for (const auto& [name, value] : options.new_values) request.edit.must_be_used.insert(name);
  for (const auto& [name, value] : options.old_values) request.edit.must_be_used.insert(name);
  request.edit.must_be_used.insert(options.read_old.begin(), options.read_old.end());
  return request;
}

void SetDialect(Request& request, Dialect dialect) {
  request.dialect = dialect;
  request.edit.dialect = dialect;
}

Dialect DialectOf(std::string_view text, const std::string& name) {
  const std::optional<Dialect> dialect = tov_document::GuessDialect(text);
  if (dialect) return *dialect;
  throw Failure(name,
                std::string("its language cannot be told from the text; name it with --dialect (") +
                    kKnownDialects + ")");
}

void WarnOfOtherDialect(const std::string& text, const std::string& name, Dialect dialect) {
  std::optional<tov_edit::Finding> other = tov_edit::OtherDialect(text, dialect);
  if (!other) return;
  other->template_place.file = name;
  Say("warning: " + Shown(*other));
}

void SayGuess(const std::string& what, Dialect dialect) {
  Say(what + ": taken for " + NameOf(dialect) + "; use --dialect if that is wrong");
}

std::string CheckCommand(Dialect dialect) {
  return dialect == Dialect::kNginx ? "nginx -t" : "apache2ctl -t";
}

std::string TextName(const std::string& file) {
  return IsStandardInput(file) ? kStandardInput : file;
}

}  // namespace cli
