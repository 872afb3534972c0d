// SPDX-License-Identifier: Apache-2.0

// qeltemplate adopt: a template and its values, from a configuration.

#include "adopt/adopt.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "cli/request.h"
#include "cli/text_io.h"
#include "report/json_writer.h"

namespace cli {
namespace {

using tov_adopt::Adopted;

constexpr char kFooter[] = R"(
Writes a template of the site in CONFIG, and a file of its values. An edit of CONFIG
with the two changes nothing. A value that is set to another text changes each line
that has it:
  qeltemplate adopt --template site.template --values site.json site.conf
  qeltemplate apply --template site.template --values site.json \
    --set name=b.example --diff site.conf

A site is all servers with one name. --site says which of several is meant: by a
name, by an address as 127.0.0.1:443, or by a line as site.conf:12. Without sites
all of CONFIG is taken. What a template cannot say is left out, and said.

Of two CONFIGs the template leads from the first one to the second, and with old and
new texts swapped back again. The value "version" switches lines that only one has:
  qeltemplate adopt --template change.template --values change.json old.conf new.conf

--common makes one template of many CONFIGs with a site each, and a file of values for
each in the directory --values. It lists what each site has beyond the template:
  qeltemplate adopt --common --template site.template --values values sites/*

Without --template and --values, both are written to standard output.)";

constexpr char kExitHelp[] =
    R"(Exit status: 0 done, 2 wrong usage, 3 failed, 4 there is no such template,
6 something is left out.)";

struct AdoptOptions {
  std::vector<std::string> config_files;  // none: standard input
  std::string dialect;                    // "": to be guessed
  std::string template_file;
  std::string values_file;
  bool overwrite = false;
  bool common = false;
  tov_adopt::Options adopt;
};

std::string ValuesText(const Values& values) {
  report::JsonWriter json;
  json.Begin('{');
  for (const auto& [name, value] : values) {
    json.Name(name);
    json.Begin('{');
    json.Member("old", *value.old_value);
    json.Member("new", *value.new_value);
    json.End('}');
  }
  json.End('}');
  return std::move(json).Text();
}

void RefuseExisting(const std::string& file) {
  if (file.empty() || !std::filesystem::exists(std::filesystem::symlink_status(file))) return;
  throw Failure(file, "is there already; --overwrite replaces it");
}

void WriteFile(const std::string& file, const std::string& text, bool overwrite) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
      std::fopen(file.c_str(), overwrite ? "wb" : "wbx"), std::fclose);
  const bool written = stream &&
                       std::fwrite(text.data(), 1, text.size(), stream.get()) == text.size() &&
                       std::fflush(stream.get()) == 0;
  if (!written) throw Failure(file, "cannot be written: " + std::generic_category().message(errno));
}

std::string Refusals(const std::vector<Finding>& refusals) {
  std::string message = "no template:";
  for (const Finding& refusal : refusals) message += "\n  " + Said(refusal);
  return message;
}

// A configuration, read.
struct Text {
  std::string name;
  std::string text;
};

std::vector<Text> ReadTexts(const std::vector<std::string>& files) {
  if (files.empty()) return {{kStandardInput, ReadStandardInput()}};
  std::vector<Text> texts;
  texts.reserve(files.size());
  for (const std::string& file : files) {
    texts.push_back({TextName(file), IsStandardInput(file) ? ReadStandardInput() : ReadFile(file)});
  }
  return texts;
}

Adopted AdoptedFrom(const tov_adopt::Options& options, const std::vector<Text>& texts) {
  if (texts.size() == 1) return tov_adopt::Adopt(options, texts[0].text, texts[0].name);
  return tov_adopt::AdoptChange(options, {texts[0].text, texts[0].name},
                                {texts[1].text, texts[1].name});
}

// "DIR/site.json" of "/etc/nginx/sites/site.conf", "DIR/a.example.json" of ".../a.example".
std::string ValuesFileFor(const std::string& directory, const std::string& config_file) {
  std::filesystem::path name = std::filesystem::path(config_file).filename();
  if (name.extension() == ".conf") name.replace_extension();
  return (std::filesystem::path(directory) / (name += ".json")).string();
}

// What each site has beyond the template, what it lacks, and how many share it.
std::string Listed(const tov_adopt::Common& common) {
  std::string listed;
  std::size_t sharing = 0;
  for (const tov_adopt::CommonSite& site : common.sites) {
    if (site.shares) ++sharing;
    for (const auto* findings : {&site.beyond, &site.lacking}) {
      for (const Finding& finding : *findings) listed += Said(finding) + '\n';
    }
  }
  return listed + std::to_string(sharing) + " of " + std::to_string(common.sites.size()) +
         " sites share the template\n";
}

Outcome RunCommon(const AdoptOptions& options, const std::vector<Text>& texts) {
  std::vector<tov_adopt::Configuration> configs;
  std::set<std::string> files;
  for (const Text& text : texts) {
    configs.push_back({text.text, text.name});
    const std::string file = ValuesFileFor(options.values_file, text.name);
    if (!files.insert(file).second) throw Failure(file, "would be written for two sites");
    if (!options.overwrite) RefuseExisting(file);
  }
  const tov_adopt::Common common = tov_adopt::AdoptCommon(options.adopt, configs);
  if (!common.refusals.empty()) throw Refusal(texts.front().name, Refusals(common.refusals));
  std::filesystem::create_directories(options.values_file);
  WriteFile(options.template_file, common.template_text, options.overwrite);
  bool all_share = true;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    all_share = all_share && common.sites[i].shares;
    WriteFile(ValuesFileFor(options.values_file, texts[i].name), ValuesText(common.sites[i].values),
              options.overwrite);
  }
  return {Listed(common), all_share ? kDone : kFindings};
}

Outcome Run(AdoptOptions& options) {
  const std::vector<Text> texts = ReadTexts(options.config_files);
  const std::string& name = texts.front().name;
  const auto named = tov_document::DialectNamed(options.dialect);
  options.adopt.dialect = named ? *named : DialectOf(texts.front().text, name);
  if (!named) SayGuess(name, options.adopt.dialect);
  if (!options.overwrite) RefuseExisting(options.template_file);
  if (options.common) return RunCommon(options, texts);
  if (!options.overwrite) RefuseExisting(options.values_file);
  const Adopted adopted = AdoptedFrom(options.adopt, texts);
  if (!adopted.refusals.empty()) throw Refusal(name, Refusals(adopted.refusals));
  for (const Finding& finding : adopted.left_out) Say(Said(finding));
  Outcome outcome;
  outcome.exit_code = adopted.left_out.empty() ? kDone : kFindings;
  const std::string values = ValuesText(adopted.values);
  if (!options.template_file.empty()) {
    WriteFile(options.template_file, adopted.template_text, options.overwrite);
  } else {
    outcome.text = adopted.template_text;
  }
  if (!options.values_file.empty()) {
    WriteFile(options.values_file, values, options.overwrite);
  } else {
    outcome.text += (outcome.text.empty() ? "" : "\n") + values;
  }
  return outcome;
}

// To be called when the command line is parsed.
void Check(const AdoptOptions& options) {
  const auto& files = options.config_files;
  if (options.common && (options.template_file.empty() || options.values_file.empty())) {
    throw CLI::ValidationError("--common", "--template and --values say where its files go");
  }
  if (options.common && !options.adopt.site.empty()) {
    throw CLI::ValidationError("--common", "each CONFIG has one site; --site cannot be given");
  }
  if (!options.common && files.size() > 2) {
    throw CLI::ValidationError("CONFIG", "there are more than two of them");
  }
  if (std::count_if(files.begin(), files.end(), IsStandardInput) > 1) {
    throw CLI::ValidationError("CONFIG", "standard input can be read once only");
  }
  if (!options.common && files.size() == 2 &&
      !(options.adopt.values.empty() && options.adopt.managed.empty())) {
    throw CLI::ValidationError("CONFIG", "--value and --managed are for one configuration only");
  }
}

void AddValueOption(CLI::App& command, std::map<std::string, std::string>& values) {
  const auto store = [&values](const std::vector<std::string>& words) {
    for (const std::string& word : words) {
      const std::size_t equals = word.find('=');
      if (equals == 0 || equals == std::string::npos || equals + 1 == word.size()) {
        throw CLI::ValidationError("--value", "'" + word + "' is not of the form NAME=TEXT");
      }
      if (!values.emplace(word.substr(0, equals), word.substr(equals + 1)).second) {
        throw CLI::ValidationError("--value", "'" + word.substr(0, equals) + "' is given twice");
      }
    }
    return true;
  };
  command.add_option("--value", store, "A text that becomes a value wherever it stands")
      ->take_all()
      ->type_name("NAME=TEXT");
}

void AddManagedOption(CLI::App& command, std::set<std::string>& managed) {
  const auto store = [&managed](const std::vector<std::string>& words) {
    for (const std::string& word : words) {
      for (std::size_t begin = 0; begin <= word.size();) {
        const std::size_t end = std::min(word.find(',', begin), word.size());
        if (end == begin) throw CLI::ValidationError("--managed", "a name is empty");
        managed.insert(word.substr(begin, end - begin));
        begin = end + 1;
      }
    }
    return true;
  };
  command
      .add_option("--managed", store,
                  "Only these directives and blocks, and what the site is found by")
      ->take_all()
      ->type_name("NAME,...");
}

void AddOptions(CLI::App& command, AdoptOptions& options) {
  AddDialectOption(command, options.dialect, "CONFIG");
  command.add_option("--site", options.adopt.site, "Which of several sites")->type_name("SITE");
  AddValueOption(command, options.adopt.values);
  AddManagedOption(command, options.adopt.managed);
  command.add_flag("--comment", options.adopt.comment, "Say in the template what each line is");
  command.add_flag("--common", options.common,
                   "The template that most of the sites share; --values is a directory");
  AddFileOption(command, "--template", options.template_file, "Where the template goes");
  AddFileOption(command, "--values", options.values_file, "Where the values go, as JSON");
  command.add_flag("--overwrite", options.overwrite, "Replace these files where they are there");
  AddFiles(command, "CONFIG", options.config_files,
           "The configuration, or one and what has become of it; \"-\" is standard input");
  command.callback([&options] { Check(options); });
  command.footer(std::string(kFooter) + "\n\n" + kExitHelp);
}

}  // namespace

Command AddAdopt(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("adopt", "Make a template and its values from a configuration");
  const auto options = std::make_shared<AdoptOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
