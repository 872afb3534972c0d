// SPDX-License-Identifier: Apache-2.0

// Whole servers: their files, their sites, and edits wherever these stand.

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "edit/tree/limits.h"
#include "parts.h"
#include "report/json.h"
#include "server/file_text.h"
#include "server/server_edit.h"
#include "server/server_files.h"
#include "server/shadow_check.h"
#include "server/sites.h"
#include "text.h"
#include "update/cancellation.h"
#include "update/update.h"
#include "waiting.h"

namespace python {
namespace {

using tov_server::Dialect;
using tov_server::FileEdit;
using tov_server::ServerFile;
using tov_server::ServerResult;
using tov_server::Site;

[[noreturn]] void ThrowOSError(const std::string& path, const tov_server::FileText& file) {
  const std::string why =
      file.problem.empty() ? std::generic_category().message(file.error) : file.problem;
  PyErr_SetObject(PyExc_OSError, py::make_tuple(file.error, StrOf(why), StrOf(path)).ptr());
  throw py::error_already_set();
}

tov_server::FileText TextIn(const std::string& path) {
  tov_server::FileText file;
  WithoutGil([&] { file = tov_server::ReadText(path, tov_edit::kLargestText); });
  return file;
}

// Throws Python's OSError when it cannot be read, and ValueError when it does not tell.
Dialect DialectIn(const std::string& main) {
  const tov_server::FileText file = TextIn(main);
  if (file.error != 0) ThrowOSError(main, file);
  return DialectOfText(std::nullopt, file.text, main);
}

// The main file, which is none of those that could be read. Throws OSError, else Error.
[[noreturn]] void ThrowUnread(const std::string& main, const std::vector<tov_edit::Finding>& why) {
  const tov_server::FileText file = TextIn(main);
  if (file.error != 0) ThrowOSError(main, file);
  const py::object type = py::module_::import("qeltemplate._errors").attr("Error");
  const std::string message = why.empty() ? main + ": cannot be read" : Shown(why.front());
  PyErr_SetObject(type.ptr(), type(StrOf(message)).ptr());
  throw py::error_already_set();
}

py::list StrsOf(const std::vector<std::string>& texts) {
  py::list strs;
  for (const std::string& text : texts) strs.append(StrOf(text));
  return strs;
}

py::tuple TupleOf(const tov_edit::FilePlace& place) {
  return py::make_tuple(StrOf(place.file), place.line, place.column);
}

// The arguments of the package's class Site; of its addresses and its place those of their classes.
py::tuple TupleOf(const Site& site) {
  py::list addresses;
  for (const tov_server::SiteAddress& address : site.addresses) {
    addresses.append(py::make_tuple(StrOf(address.address), address.tls, address.is_default));
  }
  return py::make_tuple(StrsOf(site.names), addresses, StrOf(site.root), TupleOf(site.place),
                        StrOf(site.protocol));
}

// What report::WriteMembers writes of it, and the dialect.
template <class Reported>
py::object MembersOf(const Reported& reported, Dialect dialect) {
  ObjectWriter writer;
  writer.Begin('{');
  WriteMembers(writer, reported);
  writer.Member("dialect", NameOf(dialect));
  writer.End('}');
  return writer.Object();
}

// What belongs to no single file, as an edit of one text has it.
tov_edit::Result WithoutFiles(const ServerResult& server) {
  tov_edit::Result result;
  result.skipped = server.skipped;
  result.changed = !server.files.empty();
  result.refusals = server.refusals;
  result.warnings = server.warnings;
  return result;
}

py::tuple TupleOf(const FileEdit& file, Dialect dialect) {
  tov_edit::Result result;
  result.changed = true;
  result.changes = file.changes;
  return py::make_tuple(StrOf(file.name), file.is_new, py::bytes(file.old_text),
                        py::bytes(file.text), MembersOf(result, dialect));
}

py::list FilesOf(const ServerResult& result, Dialect dialect) {
  py::list files;
  for (const FileEdit& file : result.files) files.append(TupleOf(file, dialect));
  return files;
}

// In which files the blocks of the template were found, and the directives of its lines.
py::tuple FilesIn(const tov_edit::EditReport& report) {
  py::list blocks;
  for (const tov_edit::EditReport::Block& block : report.blocks) {
    py::list places;
    for (const tov_edit::FilePlace& place : block.places) places.append(StrOf(place.file));
    blocks.append(places);
  }
  py::list lines;
  for (const tov_edit::EditReport::Item& item : report.items) {
    py::list events;
    for (const auto& event : item.events) events.append(StrOf(event.place.file));
    lines.append(events);
  }
  return py::make_tuple(blocks, lines);
}

std::vector<std::string> BytesOf(const std::vector<Text>& texts) {
  std::vector<std::string> bytes;
  bytes.reserve(texts.size());
  for (const Text& text : texts) bytes.push_back(text.bytes);
  return bytes;
}

// A file of a result: its name, whether it is new, its old text and its new one.
using EditedFile = std::tuple<py::object, bool, Text, Text>;

FileEdit EditOf(const EditedFile& file) {
  FileEdit edit;
  edit.name = PathOf(std::get<0>(file));
  edit.is_new = std::get<1>(file);
  edit.old_text = std::get<2>(file).bytes;
  edit.text = std::get<3>(file).bytes;
  return edit;
}

// A server as it has been read. Nothing of it changes: several threads may use it at a time.
class PythonServer {
 public:
  PythonServer(const py::object& main, const std::optional<std::string>& dialect,
               const std::optional<py::object>& prefix, const std::vector<py::object>& roots,
               const std::vector<Text>& defines, const std::optional<std::vector<Text>>& modules) {
    m_options.main = PathOf(main);
    m_options.dialect = dialect ? DialectOfText(dialect, "", "") : DialectIn(m_options.main);
    if (prefix) m_options.prefix = PathOf(*prefix);
    for (const py::object& root : roots) m_options.roots.push_back(PathOf(root));
    if (m_options.dialect == Dialect::kApache) {
      for (const Text& name : defines) m_options.defines.insert(name.bytes);
      if (modules) {
        const std::vector<std::string> names = BytesOf(*modules);
        m_options.modules.emplace(names.begin(), names.end());
      }
    }
    WithoutGil([&] {
      if (m_options.dialect == Dialect::kApache) {
        const auto folder = std::filesystem::path(m_options.main).parent_path();
        m_options.environment = tov_server::ReadEnvironment((folder / "envvars").string());
      }
      m_read = tov_server::ReadSites(m_options);
    });
    if (m_read.server.files.empty()) ThrowUnread(m_options.main, m_read.server.findings);
  }

  std::string DialectName() const { return NameOf(m_options.dialect); }

  py::list Names() const {
    py::list names;
    for (const ServerFile& file : m_read.server.files) names.append(StrOf(file.name));
    return names;
  }

  py::object Findings() const {
    ObjectWriter writer;
    report::Write(writer, m_read.server.findings);
    return writer.Object();
  }

  py::list Sites(const std::optional<Text>& name, const std::optional<Text>& address) const {
    py::list sites;
    for (const Site& site : m_read.sites) {
      if (name && !HasName(site, m_options.dialect, name->bytes)) continue;
      if (address && !HasAddress(site, m_options.dialect, address->bytes)) continue;
      sites.append(TupleOf(site));
    }
    return sites;
  }

  // The files that change, and the rest as JSON has it.
  py::tuple Edit(const py::object& request, const std::optional<py::object>& new_in,
                 const py::handle& loader) const {
    const tov_edit::Request carried_out = RequestOf(request, m_options.dialect, loader);
    const tov_server::ServerEditOptions options = OptionsOf(new_in);
    ServerResult result;
    WithoutGil([&] { result = tov_server::EditServer(carried_out, m_read.server, options); });
    return py::make_tuple(FilesOf(result, m_options.dialect),
                          MembersOf(WithoutFiles(result), m_options.dialect));
  }

  // The same, what became of each line of the template, and where that is.
  py::tuple Explain(const py::object& request, const std::optional<py::object>& new_in,
                    const py::handle& loader) const {
    const tov_edit::Request carried_out = RequestOf(request, m_options.dialect, loader);
    const tov_server::ServerEditOptions options = OptionsOf(new_in);
    tov_server::ExplainedServer explained;
    WithoutGil([&] { explained = tov_server::ExplainServer(carried_out, m_read.server, options); });
    tov_edit::Explained shown;
    shown.result = WithoutFiles(explained.result);
    shown.report = std::move(explained.report);
    ObjectWriter writer;
    writer.Begin('{');
    WriteMembers(writer,
                 report::ExplainedEdit{carried_out, m_read.server.files.front().name, shown});
    writer.End('}');
    return py::make_tuple(FilesOf(explained.result, m_options.dialect),
                          MembersOf(shown.result, m_options.dialect), writer.Object(),
                          FilesIn(shown.report));
  }

  // What the server says of the files before they are in their places: why it cannot be asked so,
  // "" if it takes them, and its new warnings.
  py::tuple Judge(const std::vector<EditedFile>& files, const Text& check,
                  const std::string& new_warnings,
                  const std::optional<double>& command_limit) const {
    if (!m_options.prefix.empty()) {
      return py::make_tuple("the server was read with a prefix of the caller's", py::list());
    }
    std::vector<FileEdit> edits;
    edits.reserve(files.size());
    for (const EditedFile& file : files) edits.push_back(EditOf(file));
    tov_update::UpdateOptions options;
    options.check = check.bytes;
    options.new_warnings = NewWarningsNamed(new_warnings);
    if (command_limit) options.command_limit = Milliseconds(*command_limit);
    const tov_update::Cancellation cancellation;
    tov_server::ShadowJudgement judgement;
    Interruptibly(cancellation, [&] {
      judgement = tov_server::JudgeInShadow(options, m_read.server, edits, &cancellation);
    });
    return py::make_tuple(StrOf(judgement.why_not), StrsOf(judgement.new_warnings));
  }

  // A file that is not what it was, or is one of the server's now, or no longer.
  std::optional<py::str> Overtaken() const {
    tov_server::ServerFiles now;
    WithoutGil([&] { now = tov_server::ReadServer(m_options); });
    const std::vector<ServerFile>& before = m_read.server.files;
    const std::size_t both = std::min(now.files.size(), before.size());
    for (std::size_t i = 0; i < both; ++i) {
      const ServerFile& file = now.files.at(i);
      const bool same = file.name == before.at(i).name && file.text == before.at(i).text;
      if (!same) return StrOf(file.name);
    }
    if (now.files.size() > both) return StrOf(now.files.at(both).name);
    if (before.size() > both) return StrOf(before.at(both).name);
    return std::nullopt;
  }

 private:
  static tov_server::ServerEditOptions OptionsOf(const std::optional<py::object>& new_in) {
    tov_server::ServerEditOptions options;
    if (new_in) options.new_in = PathOf(*new_in);
    return options;
  }

  tov_server::ReadingOptions m_options;
  tov_server::Sites m_read;
};

}  // namespace

void DefineServer(py::module_& module) {
  py::class_<PythonServer>(module, "Server")
      .def(py::init<const py::object&, const std::optional<std::string>&,
                    const std::optional<py::object>&, const std::vector<py::object>&,
                    const std::vector<Text>&, const std::optional<std::vector<Text>>&>())
      .def("dialect", &PythonServer::DialectName)
      .def("names", &PythonServer::Names)
      .def("findings", &PythonServer::Findings)
      .def("sites", &PythonServer::Sites)
      .def("edit", &PythonServer::Edit)
      .def("explain", &PythonServer::Explain)
      .def("judge", &PythonServer::Judge)
      .def("overtaken", &PythonServer::Overtaken);
}

}  // namespace python
