// SPDX-License-Identifier: Apache-2.0

#include "text.h"

#include <chrono>
#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

namespace python {
namespace {

using nlohmann::ordered_json;

// A list or an object that is being made.
struct Unfinished {
  py::object made;
  const ordered_json* json;
  ordered_json::const_iterator next;
};

py::object NewContainer(const ordered_json& json) {
  if (json.is_array()) return py::list();
  return py::dict();
}

py::object Scalar(const ordered_json& json) {
  if (json.is_string()) return StrOf(json.get_ref<const std::string&>());
  if (json.is_boolean()) return py::bool_(json.get<bool>());
  if (json.is_number_unsigned()) return py::int_(json.get<std::size_t>());
  if (json.is_number_integer()) return py::int_(json.get<std::ptrdiff_t>());
  return py::none();
}

void Put(const Unfinished& into, const py::object& value) {
  if (into.json->is_array()) {
    py::reinterpret_borrow<py::list>(into.made).append(value);
  } else {
    into.made[StrOf(into.next.key())] = value;
  }
}

}  // namespace

py::str StrOf(const std::string& bytes) {
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

py::object ObjectOf(const ordered_json& json) {
  if (!json.is_structured()) return Scalar(json);
  py::object whole = NewContainer(json);
  std::vector<Unfinished> unfinished = {{whole, &json, json.begin()}};
  while (!unfinished.empty()) {
    Unfinished& last = unfinished.back();
    if (last.next == last.json->end()) {
      unfinished.pop_back();
      continue;
    }
    const ordered_json& value = *last.next;
    const py::object made = value.is_structured() ? NewContainer(value) : Scalar(value);
    Put(last, made);
    ++last.next;
    if (value.is_structured()) unfinished.push_back({made, &value, value.begin()});
  }
  return whole;
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
