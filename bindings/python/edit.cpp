// SPDX-License-Identifier: Apache-2.0

// The careful edit: results are handed over as their JSON has them, with the edited text.
#include "edit/edit.h"

#include <array>
#include <atomic>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "edit/file_importer.h"
#include "edit/inspect.h"
#include "edit/lint.h"
#include "parts.h"
#include "preparation.h"
#include "report/json.h"
#include "text.h"

namespace python {
namespace {

using tov_edit::Dialect;

constexpr char kKnownDialects[] = R"("nginx" or "apache")";

using NamedValue = std::tuple<Text, std::optional<Text>, std::optional<Text>, bool>;

std::optional<std::string> BytesOf(const std::optional<Text>& text) {
  if (!text) return std::nullopt;
  return text->bytes;
}

std::set<std::string> NamesOf(const std::vector<Text>& texts) {
  std::set<std::string> names;
  for (const Text& text : texts) names.insert(text.bytes);
  return names;
}

// Texts of the two kinds that an importer gives: of a file, or of what is wrong with it.
std::optional<tov_edit::ImportedFile> FileOf(const py::object& found) {
  if (found.is_none()) return std::nullopt;
  const auto [name, text, problem] = found.cast<std::tuple<Text, Text, Text>>();
  return tov_edit::ImportedFile{name.bytes, text.bytes, problem.bytes};
}

// --- Imports ---

// How many importers are at work, and whether Python ends and none may begin.
std::atomic<int> g_importers{0};
std::atomic<bool> g_imports_have_ended{false};

class AtWork {
 public:
  AtWork() { ++g_importers; }
  ~AtWork() { --g_importers; }
  AtWork(const AtWork&) = delete;
  AtWork& operator=(const AtWork&) = delete;
};

void EndImports() {
  g_imports_have_ended = true;
  WaitForCalls(g_importers);
}

// Asks `loader`, a function of the package. What that raises passes through the edit.
tov_edit::Importer ImporterOf(const py::handle& loader) {
  return [loader](const std::string& name,
                  const tov_edit::FilePlace& from) -> std::optional<tov_edit::ImportedFile> {
    const AtWork at_work;
    if (g_imports_have_ended) return tov_edit::ImportedFile{name, "", "Python has ended"};
    const py::gil_scoped_acquire acquired;
    return FileOf(loader(StrOf(name), StrOf(from.file), from.line, from.column));
  };
}

// --- Requests ---

[[noreturn]] void ThrowValueError(const std::string& message) {
  PyErr_SetObject(PyExc_ValueError, StrOf(message).ptr());
  throw py::error_already_set();
}

std::optional<Dialect> DialectNamed(const std::optional<std::string>& name) {
  if (!name) return std::nullopt;
  const std::optional<Dialect> dialect = tov_document::DialectNamed(*name);
  if (dialect) return dialect;
  ThrowValueError("there is no dialect '" + *name + "'; it is " + kKnownDialects);
}

// The dialect of the text `name`, or else of `template_text`, which may be for either.
Dialect DialectOf(const std::string& text, const std::string& name,
                  const std::string& template_text) {
  std::optional<Dialect> dialect;
  WithoutGil([&] {
    dialect = tov_document::GuessDialect(text);
    if (!dialect) dialect = tov_document::GuessDialect(template_text);
  });
  if (dialect) return *dialect;
  ThrowValueError(
      name + ": its language cannot be told from the text; name it by dialect=" + kKnownDialects);
}

class PythonRequest {
 public:
  PythonRequest(const Text& template_text, const Text& template_name,
                const std::vector<NamedValue>& values, const std::optional<std::string>& dialect,
                const std::string& create, const std::array<bool, 4>& flags,
                const std::array<std::vector<Text>, 3>& names,
                const std::optional<py::object>& import_folder)
      : m_dialect(DialectNamed(dialect)) {
    m_request.template_text = template_text.bytes;
    m_request.template_name = template_name.bytes;
    for (const auto& [name, old_value, new_value, read_old] : values) {
      m_request.values[name.bytes] = {BytesOf(old_value), BytesOf(new_value), read_old};
    }
    if (create == "never") m_request.create = tov_edit::Create::kNever;
    if (create == "only") m_request.create = tov_edit::Create::kOnly;
    std::tie(m_request.all, m_request.must_exist, m_request.skip_missing, m_request.quote) =
        std::tuple_cat(flags);
    m_request.raw = NamesOf(names.at(0));
    m_request.forced = NamesOf(names.at(1));
    m_request.must_be_used = NamesOf(names.at(2));
    if (import_folder) m_request.importer = tov_edit::FileImporter(PathOf(*import_folder));
  }

  // The edited text, `config` itself where nothing changes; and the rest as its JSON has it.
  py::tuple Edit(const py::object& config, const Text& name, const py::handle& loader) {
    const Text text = config.cast<Text>();
    const Dialect dialect = DialectFor(text.bytes, name.bytes);
    const tov_edit::Result result = ResultOf(text.bytes, name.bytes, dialect, loader);
    ObjectWriter writer;
    writer.Begin('{');
    WriteMembers(writer, result);
    writer.Member("dialect", NameOf(dialect));
    writer.End('}');
    return py::make_tuple(EditedOf(config, text.is_str, result), writer.Object());
  }

  py::tuple Explain(const py::object& config, const Text& name, const py::handle& loader) const {
    const Text text = config.cast<Text>();
    const tov_edit::Request request = RequestFor(DialectFor(text.bytes, name.bytes), loader);
    tov_edit::Explained explained;
    WithoutGil([&] { explained = tov_edit::Explain(request, text.bytes, name.bytes); });
    ObjectWriter writer;
    writer.Begin('{');
    WriteMembers(writer, report::ExplainedEdit{request, name.bytes, explained});
    writer.Member("changed", explained.result.changed);
    writer.Member("skipped", explained.result.skipped);
    writer.End('}');
    return py::make_tuple(EditedOf(config, text.is_str, explained.result), writer.Object());
  }

  py::object Lint(bool values_are_given, const py::handle& loader) const {
    const tov_edit::Request request =
        RequestFor(DialectFor(m_request.template_text, m_request.template_name), loader);
    const auto given =
        values_are_given ? tov_edit::ValuesGiven::kAll : tov_edit::ValuesGiven::kNone;
    std::vector<tov_edit::Finding> found;
    WithoutGil([&] { found = tov_edit::Lint(request, given); });
    return ObjectOf(found);
  }

  const std::optional<Dialect>& StatedDialect() const { return m_dialect; }

  // `loader` must outlive what is returned; none: imports are as the request has them.
  tov_edit::Request RequestFor(Dialect dialect, const py::handle& loader) const {
    tov_edit::Request request = RequestFor(dialect);
    if (!loader.is_none()) request.importer = ImporterOf(loader);
    return request;
  }

 private:
  Dialect DialectFor(const std::string& text, const std::string& name) const {
    return m_dialect ? *m_dialect : DialectOf(text, name, m_request.template_text);
  }

  tov_edit::Request RequestFor(Dialect dialect) const {
    tov_edit::Request request = m_request;
    request.dialect = dialect;
    return request;
  }

  tov_edit::Result ResultOf(const std::string& text, const std::string& name, Dialect dialect,
                            const py::handle& loader) {
    tov_edit::Result result;
    if (m_request.importer || !loader.is_none()) {
      const tov_edit::Request request = RequestFor(dialect, loader);
      WithoutGil([&] { result = tov_edit::Edit(request, text, name); });
    } else {
      bindings::Preparation& preparation = dialect == Dialect::kNginx ? m_nginx : m_apache;
      WithoutGil(
          [&] { result = preparation.Get([&] { return RequestFor(dialect); })->On(text, name); });
    }
    return result;
  }

  static py::object EditedOf(const py::object& config, bool is_str,
                             const tov_edit::Result& result) {
    return result.changed ? TextOf(result.text, is_str) : config;
  }

  tov_edit::Request m_request;
  const std::optional<Dialect> m_dialect;  // none: to be guessed
  bindings::Preparation m_nginx;
  bindings::Preparation m_apache;
};

// --- Inspect ---

py::tuple StrsOf(const std::vector<std::string>& texts) {
  py::tuple strs(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) strs[i] = StrOf(texts.at(i));
  return strs;
}

// The arguments of the package's class Block.
py::tuple TupleOf(const tov_edit::Inspection::Block& block) {
  return py::make_tuple(StrOf(block.name), StrsOf(block.arguments), block.line, block.column,
                        block.end_line, block.parent, block.depth, block.opaque, block.is_server,
                        StrsOf(block.names), StrsOf(block.addresses));
}

// The arguments of the package's class Directive.
py::tuple TupleOf(const tov_edit::Inspection::Directive& directive) {
  return py::make_tuple(StrOf(directive.name), StrsOf(directive.arguments), directive.line,
                        directive.column, directive.end_line, directive.block);
}

template <class Item>
py::list TuplesOf(const std::vector<Item>& items) {
  py::list tuples;
  for (const Item& item : items) tuples.append(TupleOf(item));
  return tuples;
}

// The dialect, blocks, directives, the error or None, and warnings.
py::tuple Inspect(const Text& text, const Text& name,
                  const std::optional<std::string>& dialect_name) {
  const Dialect dialect = DialectOfText(dialect_name, text.bytes, name.bytes);
  tov_edit::Inspection inspection;
  WithoutGil([&] { inspection = tov_edit::Inspect(dialect, text.bytes, name.bytes); });
  py::object error = py::none();
  if (inspection.error) error = ObjectOf(*inspection.error);
  return py::make_tuple(NameOf(dialect), TuplesOf(inspection.blocks),
                        TuplesOf(inspection.directives), error, ObjectOf(inspection.warnings));
}

std::optional<std::string> GuessDialect(const Text& text) {
  const std::optional<Dialect> dialect = tov_document::GuessDialect(text.bytes);
  if (!dialect) return std::nullopt;
  return NameOf(*dialect);
}

}  // namespace

Dialect DialectOfText(const std::optional<std::string>& dialect, const std::string& text,
                      const std::string& name) {
  const std::optional<Dialect> named = DialectNamed(dialect);
  return named ? *named : DialectOf(text, name, "");
}

tov_edit::Request RequestOf(const py::object& request, Dialect dialect, const py::handle& loader) {
  const auto& asked = request.cast<const PythonRequest&>();
  if (asked.StatedDialect().value_or(dialect) != dialect) {
    ThrowValueError("the request is for " + std::string(NameOf(*asked.StatedDialect())) +
                    ", and the server is " + NameOf(dialect));
  }
  return asked.RequestFor(dialect, loader);
}

void DefineEdit(py::module_& module) {
  py::class_<PythonRequest>(module, "Request")
      .def(py::init<const Text&, const Text&, const std::vector<NamedValue>&,
                    const std::optional<std::string>&, const std::string&,
                    const std::array<bool, 4>&, const std::array<std::vector<Text>, 3>&,
                    const std::optional<py::object>&>())
      .def("edit", &PythonRequest::Edit)
      .def("explain", &PythonRequest::Explain)
      .def("lint", &PythonRequest::Lint);
  module.def("guess_dialect", GuessDialect);
  module.def("inspect", Inspect);
  py::module_::import("atexit").attr("register")(py::cpp_function(EndImports));
}

}  // namespace python
