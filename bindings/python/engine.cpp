// SPDX-License-Identifier: Apache-2.0

// The engine: the facade with Python's texts, exceptions and threads; and the log.
#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "parser.h"
#include "parts.h"
#include "template/qeltemplate.h"
#include "text.h"

namespace python {
namespace {

using tov_template::NullValue;
using tov_template::Value;

// --- The parser ---

Value ValueOf(const std::optional<Text>& text) {
  if (!text) return NullValue();
  return text->bytes;
}

class PythonParser {
 public:
  PythonParser(const Text& config, const std::string& dialect)
      : m_gives_str(config.is_str), m_parser(MakeParser(config, dialect)) {}

  void SetValue(const Text& name, const std::optional<Text>& old_value,
                const std::optional<Text>& new_value) {
    WithoutGil([&] { m_parser->SetValue(name.bytes, ValueOf(old_value), ValueOf(new_value)); });
  }

  void MergeValues(PythonParser& other) {
    WithoutGil([&] { m_parser->MergeValues(*other.m_parser); });
  }

  void ClearValues() {
    WithoutGil([&] { m_parser->ClearValues(); });
  }

  void SetTemplate(const Text& text) {
    WithoutGil([&] { m_parser->SetTemplate(text.bytes); });
  }

  void SetTemplateFile(const py::object& path) {
    const std::string name = PathOf(path);
    WithoutGil([&] { m_parser->SetTemplateFile(name); });
  }

  void Apply() {
    WithoutGil([&] { m_parser->Apply(); });
  }

  py::object Config() { return Result(&bindings::Parser::Config); }
  py::object Prototype() { return Result(&bindings::Parser::Prototype); }

 private:
  static std::unique_ptr<bindings::Parser> MakeParser(const Text& config,
                                                      const std::string& dialect) {
    std::unique_ptr<bindings::Parser> parser;
    WithoutGil([&] { parser = std::make_unique<bindings::Parser>(dialect, config.bytes); });
    return parser;
  }

  py::object Result(std::string (bindings::Parser::*get)()) {
    std::string text;
    WithoutGil([&] { text = ((*m_parser).*get)(); });
    return TextOf(text, m_gives_str);
  }

  const bool m_gives_str;  // false: bytes
  const std::unique_ptr<bindings::Parser> m_parser;
};

// --- Errors ---

const char* ClassOf(const tov_err::Error& error) {
  if (error.type() == "dialect") return "UnknownDialectError";
  if (error.type() == "file") return "FileError";
  if (error.type() == "parser") return "BusyError";
  if (error.type() == "template") return "TemplateError";
  return "Error";
}

void Raise(const tov_err::Error& error) {
  py::dict params;
  for (const tov_err::Error::Param& param : error.params()) {
    params[StrOf(param.name)] = StrOf(param.value);
  }
  const py::object type = py::module_::import("qeltemplate.engine").attr(ClassOf(error));
  const py::object exception =
      type(StrOf(error.what()), StrOf(error.type()), StrOf(error.object()), params);
  PyErr_SetObject(type.ptr(), exception.ptr());
}

void Translate(std::exception_ptr thrown) {
  try {
    std::rethrow_exception(std::move(thrown));
  } catch (const tov_err::Error& error) {
    Raise(error);
  }
}

// --- The log ---

// How many handlers are set, or still used by a thread that logs.
std::atomic<int> g_handlers{0};

// Keeps `handler`, and lets it go in whichever thread is the last to use it.
std::shared_ptr<const py::object> Hold(const py::object& handler) {
  const auto let_go = [](const py::object* held) {
    {
      const py::gil_scoped_acquire acquired;
      delete held;
    }
    --g_handlers;
  };
  auto copy = std::make_unique<const py::object>(handler);
  ++g_handlers;
  return {copy.release(), let_go};
}

void SetLogHandler(const py::object& handler) {
  if (handler.is_none()) return tov_log::SetHandler({});
  if (PyCallable_Check(handler.ptr()) == 0) {
    throw py::type_error("the log handler must be callable or None");
  }
  tov_log::SetHandler([held = Hold(handler)](tov_log::Level level, const std::string& module,
                                             const std::string& channel, const std::string& text) {
    const py::gil_scoped_acquire acquired;
    try {
      (*held)(level, StrOf(module), StrOf(channel), StrOf(text));
    } catch (py::error_already_set& error) {
      error.discard_as_unraisable(*held);
    }
  });
}

void EndLog() {
  tov_log::SetHandler({});
  WaitForCalls(g_handlers);
}

}  // namespace

void DefineEngine(py::module_& module) {
  py::register_local_exception_translator(Translate);
  py::class_<PythonParser>(module, "Parser")
      .def(py::init<const Text&, const std::string&>())
      .def("set_value", &PythonParser::SetValue)
      .def("merge_values", &PythonParser::MergeValues)
      .def("clear_values", &PythonParser::ClearValues)
      .def("set_template", &PythonParser::SetTemplate)
      .def("set_template_file", &PythonParser::SetTemplateFile)
      .def("apply", &PythonParser::Apply)
      .def("config", &PythonParser::Config)
      .def("prototype", &PythonParser::Prototype);

  module.attr("LOG_OFF") = tov_log::kOff;
  module.attr("LOG_TRACE") = tov_log::kTrace;
  module.attr("LOG_DEBUG") = tov_log::kDebug;
  module.def("set_log_handler", SetLogHandler);
  module.def("set_log_level", tov_log::SetLevel);

  py::module_::import("atexit").attr("register")(py::cpp_function(EndLog));
}

}  // namespace python
