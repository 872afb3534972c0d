// SPDX-License-Identifier: Apache-2.0

// The replacing of files.
#include "update/update.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "parts.h"
#include "text.h"
#include "update/cancellation.h"
#include "waiting.h"

namespace python {
namespace {

std::vector<std::string> PathsOf(const std::vector<py::object>& paths) {
  std::vector<std::string> names;
  names.reserve(paths.size());
  for (const py::object& path : paths) names.push_back(PathOf(path));
  return names;
}

py::list StrsOf(const std::vector<std::string>& texts) {
  py::list strs;
  for (const std::string& text : texts) strs.append(StrOf(text));
  return strs;
}

// What several threads may use: they take turns.
class PythonFiles {
 public:
  PythonFiles() = default;

  void Open(const std::vector<py::object>& paths, bool may_be_missing, double lock_wait) {
    const std::vector<std::string> names = PathsOf(paths);
    Interruptibly(m_cancellation, [&] {
      const std::chrono::milliseconds wait = Milliseconds(lock_wait);
      m_update = std::make_unique<tov_update::FileUpdate>(
          may_be_missing ? WithLastMissing(names, wait)
                         : tov_update::FileUpdate(names, wait, m_cancellation));
    });
  }

  py::list Names() const {
    py::list names;
    for (std::size_t i = 0; i < m_update->Size(); ++i) names.append(StrOf(m_update->Name(i)));
    return names;
  }

  py::bytes Read(std::size_t file) {
    std::string text;
    WithoutGil([&] {
      const std::lock_guard<std::mutex> lock(m_mutex);
      text = Opened().Read(file);
    });
    return py::bytes(text);
  }

  void Replace(std::size_t file, const Text& text) {
    WithoutGil([&] {
      const std::lock_guard<std::mutex> lock(m_mutex);
      Opened().Replace(file, text.bytes);
    });
  }

  py::tuple Commit(const std::optional<Text>& backup_suffix, const Text& check, const Text& reload,
                   const std::string& new_warnings, const std::optional<double>& command_limit) {
    tov_update::UpdateOptions options;
    if (backup_suffix) options.backup_suffix = backup_suffix->bytes;
    options.check = check.bytes;
    options.reload = reload.bytes;
    options.new_warnings = NewWarningsNamed(new_warnings);
    if (command_limit) options.command_limit = Milliseconds(*command_limit);
    tov_update::UpdateResult result;
    Interruptibly(m_cancellation, [&] {
      const std::lock_guard<std::mutex> lock(m_mutex);
      result = Opened().Commit(options);
    });
    return py::make_tuple(StrsOf(result.changed), StrsOf(result.backups),
                          StrsOf(result.new_warnings), result.checked, result.reloaded);
  }

  void Cancel() const { m_cancellation.Cancel(); }

  void Close() {
    WithoutGil([&] {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_update.reset();
    });
  }

 private:
  tov_update::FileUpdate WithLastMissing(std::vector<std::string> names,
                                         std::chrono::milliseconds wait) const {
    const std::string missing = names.at(names.size() - 1);
    names.pop_back();
    return tov_update::FileUpdate::WithMissing(std::move(names), missing, wait, m_cancellation);
  }

  tov_update::FileUpdate& Opened() const {
    if (!m_update) throw std::logic_error("the update is over");
    return *m_update;
  }

  const tov_update::Cancellation m_cancellation;
  std::mutex m_mutex;
  std::unique_ptr<tov_update::FileUpdate> m_update;
};

void Raise(const char* name, const tov_update::Failure& failure) {
  const py::object type = py::module_::import("qeltemplate._errors").attr(name);
  const tov_update::FailureData& data = failure.Data();
  const py::object exception =
      type(StrOf(failure.what()), StrsOf(data.files), StrsOf(data.not_put_back),
           StrOf(data.command), data.exit_status, data.signal, data.timed_out, StrOf(data.output));
  PyErr_SetObject(type.ptr(), exception.ptr());
}

void Translate(std::exception_ptr thrown) {
  try {
    std::rethrow_exception(std::move(thrown));
  } catch (const tov_update::ServerRefusal& failure) {
    Raise("ServerRefused", failure);
  } catch (const tov_update::Overtaken& failure) {
    Raise("Overtaken", failure);
  } catch (const tov_update::Cancelled& failure) {
    Raise("Cancelled", failure);
  } catch (const tov_update::Failure& failure) {
    Raise("UpdateError", failure);
  }
}

}  // namespace

void DefineUpdate(py::module_& module) {
  py::register_local_exception_translator(Translate);
  py::class_<PythonFiles>(module, "Files")
      .def(py::init<>())
      .def("open", &PythonFiles::Open)
      .def("names", &PythonFiles::Names)
      .def("read", &PythonFiles::Read)
      .def("replace", &PythonFiles::Replace)
      .def("commit", &PythonFiles::Commit)
      .def("cancel", &PythonFiles::Cancel)
      .def("close", &PythonFiles::Close);
}

}  // namespace python
