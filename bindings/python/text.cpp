// SPDX-License-Identifier: Apache-2.0

#include "text.h"

#include <chrono>
#include <thread>
#include <utility>

namespace python {

py::str StrOf(std::string_view bytes) {
  PyObject* const text =
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape");
  if (text == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

std::string ContentOf(const py::bytes& bytes) {
  return std::string(bytes);
}

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

std::string PathOf(const py::object& path) {
  PyObject* bytes = nullptr;
  if (PyUnicode_FSConverter(path.ptr(), &bytes) == 0) throw py::error_already_set();
  return ContentOf(py::reinterpret_steal<py::bytes>(bytes));
}

py::object TextOf(const std::string& bytes, bool as_str) {
  if (as_str) return StrOf(bytes);
  return py::bytes(bytes);
}

void ObjectWriter::Begin(char bracket) {
  py::object made;
  if (bracket == '[') {
    made = py::list();
  } else {
    made = py::dict();
  }
  Add(made);
  m_open.push_back(std::move(made));
}

void ObjectWriter::End(char /*bracket*/) {
  m_open.pop_back();
}

void ObjectWriter::Name(std::string_view name) {
  m_name = StrOf(name);
}

void ObjectWriter::AddText(std::string_view text) {
  Add(StrOf(text));
}

void ObjectWriter::AddNumber(std::size_t number) {
  Add(py::int_(number));
}

void ObjectWriter::AddTruth(bool value) {
  Add(py::bool_(value));
}

void ObjectWriter::Add(const py::object& value) {
  if (m_open.empty()) {
    m_whole = value;
  } else if (PyList_Check(m_open.back().ptr()) != 0) {
    py::reinterpret_borrow<py::list>(m_open.back()).append(value);
  } else {
    m_open.back()[m_name] = value;
  }
}

void WaitForCalls(const std::atomic<int>& calls) {
  constexpr std::chrono::seconds kPatience(1);
  constexpr std::chrono::milliseconds kPause(1);
  WithoutGil([&] {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (calls > 0 && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kPause);
    }
  });
}

}  // namespace python
