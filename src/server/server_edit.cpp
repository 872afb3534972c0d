// SPDX-License-Identifier: Apache-2.0

#include "server/server_edit.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "document/document.h"
#include "document/places.h"
#include "edit/edit_parts.h"
#include "edit/match/parts.h"
#include "server/joint_text.h"
#include "server/new_file.h"

namespace tov_server {
namespace {

using tov_edit::FilePlace;
using tov_edit::NewTexts;
using tov_edit::Parts;
using tov_edit::PartsResult;

constexpr std::string_view kNamePlace = "{name}";

class ServerEditor {
 public:
  ServerEditor(const tov_edit::Request& request, const ServerFiles& server,
               const ServerEditOptions& options)
      : m_request(request), m_server(server), m_joint(server) {
    m_request.dialect = server.dialect;
    if (!options.new_in.empty()) FindNewFile(options.new_in);
  }

  ServerResult Run(tov_edit::EditReport* report) {
    if (m_server.files.empty()) return {};
    const Parts parts = m_joint.Join();
    const tov_edit::PartsEdit edit = {
        parts,
        m_server.files.front().name,
        m_new,
        m_joint.problems(),
        [this](const NewTexts& texts) { return m_joint.Join(texts, JointText::What::kCounting); },
        m_joint.LeavesOut()};
    if (report == nullptr) return ResultOf(tov_edit::EditParts(m_request, edit));
    tov_edit::ExplainedParts explained = tov_edit::ExplainParts(m_request, edit);
    *report = std::move(explained.report);
    return ResultOf(std::move(explained.result));
  }

 private:
  // --- The file for what is new ---

  void FindNewFile(const std::string& pattern) {
    const std::optional<std::string> name = NameFrom(pattern);
    if (!name) return;
    m_new = KnownFile(*name);
    if (!m_new) AddNewFile(*name);
  }

  std::optional<std::string> NameFrom(std::string pattern) {
    const std::size_t at = pattern.find(kNamePlace);
    if (at == std::string::npos) return pattern;
    const std::optional<std::string> name = tov_edit::FirstName(m_request);
    if (!name || name->empty() || name->find('/') != std::string::npos || name->front() == '.') {
      m_no_file =
          "the file's name holds {name}, and the template gives no name to a server that "
          "could stand there";
      return std::nullopt;
    }
    for (std::size_t place = at; place != std::string::npos;
         place = pattern.find(kNamePlace, place + name->size())) {
      pattern.replace(place, kNamePlace.size(), *name);
    }
    return pattern;
  }

  // A file of the server, whatever name it is called by here.
  std::optional<std::size_t> KnownFile(const std::string& name) {
    for (std::size_t i = 0; i < m_server.files.size(); ++i) {
      std::error_code error;
      const std::string& other = m_server.files[i].name;
      if (PlainPath(other) != PlainPath(name) && !std::filesystem::equivalent(other, name, error)) {
        continue;
      }
      if (m_joint.Holds(i)) return i;
      m_no_file = "the server reads " + tov_edit::Quoted(name) + " inside of a server only";
      return std::nullopt;
    }
    return std::nullopt;
  }

  void AddNewFile(const std::string& name) {
    if (!m_no_file.empty()) return;
    std::error_code error;
    if (std::filesystem::exists(name, error)) {
      m_no_file = tov_edit::Quoted(name) + " is there already, and the server does not read it";
      AddIncludes();
      return;
    }
    for (std::size_t file = 0; file < m_server.files.size(); ++file) {
      const std::vector<Include>& includes = m_server.files[file].includes;
      for (std::size_t i = 0; i < includes.size(); ++i) {
        if (!m_joint.IsOuter(file, i) || !Reads(includes[i], name)) continue;
        m_new = m_server.files.size();
        m_joint.Add({name, file, i});
        m_new_name = name;
        if (!IsOutsideOfHttp(name)) return;
        m_new = std::nullopt;
        m_no_file = "the server reads " + tov_edit::Quoted(name) + " outside of http";
        return;
      }
    }
    m_no_file = "the server would not read " + tov_edit::Quoted(name);
    AddIncludes();
  }

  // Whether nginx reads the new file outside of "http", where no site can stand.
  bool IsOutsideOfHttp(const std::string& name) const {
    if (m_server.dialect != Dialect::kNginx) return false;
    const NewTexts trial = {{m_server.files.size(), "server {\n}\n"}};
    const Parts parts = m_joint.Join(trial);
    const tov_document::Document document(m_server.dialect, parts.text());
    const auto& blocks = document.blocks();
    bool has_http = false;
    bool is_outside = false;
    for (tov_document::BlockId id = 1; id < blocks.size(); ++id) {
      if (blocks[id].parent != tov_document::kWholeText) continue;
      const bool own = parts.files()[parts.FileOf(blocks[id].head.begin)].name == name;
      is_outside = is_outside || own;
      has_http = has_http || document.Value(document.HeadWords(id).front()) == "http";
    }
    return has_http && is_outside;
  }

  bool Reads(const Include& include, const std::string& name) const {
    return std::any_of(
        include.patterns.begin(), include.patterns.end(),
        [&](const std::string& pattern) { return LeadsTo(m_server.dialect, pattern, name); });
  }

  // What the server does read, for the refusal.
  void AddIncludes() {
    constexpr std::size_t kMost = 10;
    std::string list;
    for (std::size_t file = 0; file < m_server.files.size(); ++file) {
      const ServerFile& from = m_server.files[file];
      for (std::size_t i = 0; i < from.includes.size(); ++i) {
        if (!m_joint.IsOuter(file, i) || m_includes.size() == kMost) continue;
        const tov_document::Place place =
            tov_document::Places(from.text).Of(from.includes[i].begin);
        m_includes.push_back({from.name, place.line, place.column});
        for (const std::string& pattern : from.includes[i].patterns) {
          list += (list.empty() ? "" : ", ") + pattern + " (" + Shown(m_includes.back()) + ")";
        }
      }
    }
    m_no_file +=
        list.empty() ? ". It includes nothing around its servers" : ". It includes " + list;
  }

  // --- The result ---

  ServerResult ResultOf(PartsResult made) {
    ServerResult result;
    result.skipped = made.skipped;
    result.refusals = std::move(made.refusals);
    result.warnings = std::move(made.warnings);
    for (Finding& refusal : result.refusals) {
      if (refusal.name == "no-file" && !m_no_file.empty()) {
        refusal.message += ": " + m_no_file;
        refusal.config_places = m_includes;
      }
    }
    for (auto& [file, text] : made.texts) {
      FileEdit edit;
      edit.is_new = file == m_server.files.size();
      edit.name = edit.is_new ? m_new_name : m_server.files[file].name;
      if (!edit.is_new) edit.old_text = m_server.files[file].text;
      edit.text = std::move(text);
      edit.changes = std::move(made.changes[file]);
      result.files.push_back(std::move(edit));
    }
    return result;
  }

  tov_edit::Request m_request;
  const ServerFiles& m_server;
  JointText m_joint;
  std::optional<std::size_t> m_new;  // the file in which what is new is made
  std::string m_new_name;            // of one that is not there yet
  std::string m_no_file;             // why there is none
  std::vector<FilePlace> m_includes;
};

}  // namespace

ServerResult EditServer(const tov_edit::Request& request, const ServerFiles& server,
                        const ServerEditOptions& options) {
  return ServerEditor(request, server, options).Run(nullptr);
}

ExplainedServer ExplainServer(const tov_edit::Request& request, const ServerFiles& server,
                              const ServerEditOptions& options) {
  ExplainedServer explained;
  explained.result = ServerEditor(request, server, options).Run(&explained.report);
  return explained;
}

}  // namespace tov_server
