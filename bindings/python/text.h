// SPDX-License-Identifier: Apache-2.0

// Texts and threads of Python, for the parts of the module.
#pragma once

#include <cxxabi.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <atomic>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "report/writer.h"

namespace python {

namespace py = pybind11;

// A str or bytes. The bytes of a str are its UTF-8, where surrogates from "surrogateescape" stand
// for the bytes that they were made of.
struct Text {
  std::string bytes;
  bool is_str = false;
};

py::str StrOf(std::string_view bytes);

// Throws UnicodeEncodeError for surrogates that stand for no byte.
std::string BytesOf(const py::str& text);

std::string ContentOf(const py::bytes& bytes);

// The bytes of a str, bytes or os.PathLike, as the file system has them.
std::string PathOf(const py::object& path);

// `bytes` as str or as bytes.
py::object TextOf(const std::string& bytes, bool as_str);

// Makes dicts, lists and so on of what is told; the texts as StrOf makes them.
class ObjectWriter final : public report::Writer {
 public:
  void Begin(char bracket) override;
  void End(char bracket) override;
  void Name(std::string_view name) override;

  // The one value that was told.
  py::object Object() const { return m_whole; }

 private:
  void AddText(std::string_view text) override;
  void AddNumber(std::size_t number) override;
  void AddTruth(bool value) override;
  void Add(const py::object& value);

  py::object m_whole;
  std::vector<py::object> m_open;  // the innermost one last
  py::str m_name;                  // of the next member
};

// What report::Write writes of it.
template <class Reported>
py::object ObjectOf(const Reported& reported) {
  ObjectWriter writer;
  Write(writer, reported);
  return writer.Object();
}

// Does `work` without the GIL. py::gil_scoped_release would take it back in a destructor: that is
// where Python, when it ends, makes daemon threads unwind, which no destructor lets pass.
template <class Work>
void WithoutGil(const Work& work) {
  std::exception_ptr thrown;
  PyThreadState* const thread = PyEval_SaveThread();
  try {
    work();
  } catch (abi::__forced_unwind&) {
    throw;  // Python has ended while `work` was in a function of it
  } catch (...) {
    thrown = std::current_exception();
  }
  PyEval_RestoreThread(thread);
  if (thrown) std::rethrow_exception(thrown);
}

// When Python ends, daemon threads that wait for the GIL are made to unwind, which neither the
// library nor py::object let pass: they have to be out of the functions of Python that they call.
// Waits until `calls`, their number, is 0. One that blocks in such a function is not waited for.
void WaitForCalls(const std::atomic<int>& calls);

}  // namespace python

namespace pybind11::detail {

template <>
struct type_caster<python::Text> {
  PYBIND11_TYPE_CASTER(python::Text, const_name("Union[str, bytes]"));

  bool load(handle source, bool /*convert*/) {
    if (PyBytes_Check(source.ptr()) != 0) {
      value = {python::ContentOf(reinterpret_borrow<bytes>(source)), false};
    } else if (PyUnicode_Check(source.ptr()) != 0) {
      value = {python::BytesOf(reinterpret_borrow<str>(source)), true};
    } else {
      return false;
    }
    return true;
  }
};

}  // namespace pybind11::detail
