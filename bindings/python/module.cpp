// SPDX-License-Identifier: Apache-2.0

// The Python module: the facade with Python's texts, exceptions and threads.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "parser.h"
#include "template/qeltemplate.h"

namespace py = pybind11;

namespace {

using tov_template::NullValue;
using tov_template::Value;

// --- Texts ---

// A str or bytes. The bytes of a str are its UTF-8, where surrogates from "surrogateescape" stand
// for the bytes that they were made of.
struct Text {
  std::string bytes;
  bool is_str = false;
};

py::str StrOf(const std::string& bytes) {
  PyObject* const text =
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape");
  if (text == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

std::string ContentOf(const py::bytes& bytes) {
  return std::string(bytes);
}

// Throws UnicodeEncodeError for surrogates that stand for no byte.
std::string BytesOf(const py::str& text) {
  // The UTF-8 of most configurations: no detour through a bytes object.
  if (PyUnicode_IS_ASCII(text.ptr())) {
    return std::string(static_cast<const char*>(PyUnicode_DATA(text.ptr())),
                       static_cast<std::size_t>(PyUnicode_GET_LENGTH(text.ptr())));
  }
  PyObject* const bytes = PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape");
  if (bytes == nullptr) throw py::error_already_set();
  return ContentOf(py::reinterpret_steal<py::bytes>(bytes));
}

// The bytes of a str, bytes or os.PathLike, as the file system has them.
std::string PathOf(const py::object& path) {
  PyObject* bytes = nullptr;
  if (PyUnicode_FSConverter(path.ptr(), &bytes) == 0) throw py::error_already_set();
  return ContentOf(py::reinterpret_steal<py::bytes>(bytes));
}

}  // namespace

namespace pybind11::detail {

template <>
struct type_caster<Text> {
  PYBIND11_TYPE_CASTER(Text, const_name("Union[str, bytes]"));

  bool load(handle source, bool /*convert*/) {
    if (PyBytes_Check(source.ptr()) != 0) {
      value = {ContentOf(reinterpret_borrow<bytes>(source)), false};
    } else if (PyUnicode_Check(source.ptr()) != 0) {
      value = {BytesOf(reinterpret_borrow<str>(source)), true};
    } else {
      return false;
    }
    return true;
  }
};

}  // namespace pybind11::detail

namespace {

// --- The parser ---

// Does `work` without the GIL. py::gil_scoped_release would take it back in a destructor: that is
// where Python, when it ends, makes daemon threads unwind, which no destructor lets pass.
template <class Work>
void WithoutGil(const Work& work) {
  std::exception_ptr thrown;
  PyThreadState* const thread = PyEval_SaveThread();
  try {
    work();
  } catch (...) {
    thrown = std::current_exception();
  }
  PyEval_RestoreThread(thread);
  if (thrown) std::rethrow_exception(thrown);
}

Value ValueOf(const std::optional<Text>& text) {
  if (!text) return NullValue();
  return text->bytes;
}

class PythonParser {
 public:
  PythonParser(const Text& config, const std::string& dialect)
      : m_gives_str(config.is_str), m_parser(MakeParser(config, dialect)) {}

  PythonParser& SetValue(const Text& name, const std::optional<Text>& old_value,
                         const std::optional<Text>& new_value) {
    WithoutGil([&] { m_parser->SetValue(name.bytes, ValueOf(old_value), ValueOf(new_value)); });
    return *this;
  }

  PythonParser& MergeValues(PythonParser& other) {
    WithoutGil([&] { m_parser->MergeValues(*other.m_parser); });
    return *this;
  }

  PythonParser& ClearValues() {
    WithoutGil([&] { m_parser->ClearValues(); });
    return *this;
  }

  PythonParser& SetTemplate(const Text& text) {
    WithoutGil([&] { m_parser->SetTemplate(text.bytes); });
    return *this;
  }

  PythonParser& SetTemplateFile(const py::object& path) {
    const std::string name = PathOf(path);
    WithoutGil([&] { m_parser->SetTemplateFile(name); });
    return *this;
  }

  PythonParser& Apply() {
    WithoutGil([&] { m_parser->Apply(); });
    return *this;
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
    if (m_gives_str) return StrOf(text);
    return py::bytes(text);
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
  const py::object type = py::module_::import("qeltemplate._errors").attr(ClassOf(error));
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

// When Python ends, daemon threads that wait for the GIL are made to unwind, which the library
// would not let pass: they have to be out of the handler by then. One that blocks in it is not
// waited for.
void EndLog() {
  constexpr std::chrono::seconds kPatience(1);
  constexpr std::chrono::milliseconds kPause(1);
  tov_log::SetHandler({});
  WithoutGil([&] {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (g_handlers > 0 && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kPause);
    }
  });
}

// --- What help() shows; the first line of each is what inspect.signature() reads ---

constexpr char kParserDoc[] = R"(Parser(config, dialect)
--

Edits one configuration by a template and named values.

config is the whole text of a configuration, str or bytes, and decides which of the two config() and
prototype() return. dialect is exactly "Nginx" or "Apache"; anything else is an UnknownDialectError.

Values come first, then the template, then the application: a template sees the values set before it.
A second application works on the configuration as the first left it; for an independent request take
a new parser. All methods but config() and prototype() return the parser, so that calls chain.

A parser serves one call at a time: a call during another one, made by another thread or by the log
handler, is a BusyError and changes nothing. Different parsers do not disturb one another.)";

constexpr char kInitDoc[] = R"(__init__(self, config, dialect)
--

Reads the configuration.)";

constexpr char kSetValueDoc[] = R"(set_value(self, name, old=None, new=None)
--

Sets the old value (what the configuration holds now) and the new one (what it is to hold) of the
parameter name.

None is no value: as old value it removes the one stored; as new value it also removes the old value
stored before this call, and leaves the stored new value as it is.)";

constexpr char kMergeValuesDoc[] = R"(merge_values(self, other)
--

Takes over all values of another parser. Names that it does not hold keep theirs.)";

constexpr char kClearValuesDoc[] = R"(clear_values(self)
--

Forgets all values and the template.)";

constexpr char kSetTemplateDoc[] = R"(set_template(self, text)
--

Reads a template against the values set so far.

Files that it imports are looked up from the current directory. One that is not there is skipped; one
that cannot be read is a FileError, and one that is imported twice a TemplateError: the template is
then half read. After an application it takes a set_value() or clear_values() for the new template to
be applied.)";

constexpr char kSetTemplateFileDoc[] = R"(set_template_file(self, path)
--

set_template() with the content of a file (str, bytes or os.PathLike).

When it cannot be read, which is a FileError, the template set before stays.)";

constexpr char kApplyDoc[] = R"(apply(self)
--

Edits the configuration.

Does nothing when it has been done since the last set_value(), merge_values() or clear_values().)";

constexpr char kConfigDoc[] = R"(config(self)
--

The configuration as the last apply() left it, without blank lines and without a line end at its end;
empty before the first.)";

constexpr char kPrototypeDoc[] = R"(prototype(self)
--

The template's own result: the opening, closing and identifying lines of its blocks, with the new
values and without the branches not taken.)";

constexpr char kSetLogHandlerDoc[] = R"(set_log_handler(handler)
--

Sets what is called with each record of the log, in place of the handler before; None removes it.

The handler is called as handler(level, module, channel, text), in the thread that logs. What it raises
goes to sys.unraisablehook and does not disturb the edit. There is one log for the whole process, off
until a handler is set and a level lets records through.)";

constexpr char kSetLogLevelDoc[] = R"(set_log_level(level)
--

Lets records of the level and below through: LOG_TRACE for each call of a parser, LOG_DEBUG also for
what was done to the configuration. LOG_OFF, the level at the start, lets none.)";

}  // namespace

PYBIND11_MODULE(_qeltemplate, module) {
  py::options options;
  options.disable_function_signatures();
  py::register_local_exception_translator(Translate);

  py::class_<PythonParser> parser(module, "Parser", kParserDoc);
  parser.attr("__module__") = "qeltemplate";
  // So that annotations may say of which texts: Parser[str].
  parser.attr("__class_getitem__") =
      py::module_::import("builtins")
          .attr("classmethod")(py::module_::import("types").attr("GenericAlias"));
  parser
      .def(py::init<const Text&, const std::string&>(), kInitDoc, py::arg("config"),
           py::arg("dialect"))
      .def("set_value", &PythonParser::SetValue, kSetValueDoc, py::arg("name"),
           py::arg("old") = py::none(), py::arg("new") = py::none())
      .def("merge_values", &PythonParser::MergeValues, kMergeValuesDoc, py::arg("other"))
      .def("clear_values", &PythonParser::ClearValues, kClearValuesDoc)
      .def("set_template", &PythonParser::SetTemplate, kSetTemplateDoc, py::arg("text"))
      .def("set_template_file", &PythonParser::SetTemplateFile, kSetTemplateFileDoc,
           py::arg("path"))
      .def("apply", &PythonParser::Apply, kApplyDoc)
      .def("config", &PythonParser::Config, kConfigDoc)
      .def("prototype", &PythonParser::Prototype, kPrototypeDoc);

  module.attr("LOG_OFF") = tov_log::kOff;
  module.attr("LOG_TRACE") = tov_log::kTrace;
  module.attr("LOG_DEBUG") = tov_log::kDebug;
  module.def("set_log_handler", SetLogHandler, kSetLogHandlerDoc, py::arg("handler").none(true));
  module.def("set_log_level", tov_log::SetLevel, kSetLogLevelDoc, py::arg("level"));

  py::module_::import("atexit").attr("register")(py::cpp_function(EndLog));
}
