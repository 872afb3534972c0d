// SPDX-License-Identifier: Apache-2.0

// Updates of files.

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "calls.h"
#include "qeltemplate_c.h"
#include "report/json_writer.h"
#include "table.h"
#include "update/update.h"
#include "usage.h"

namespace {

using bindings::OptionalTextOf;
using bindings::Run;
using bindings::TextOf;
using bindings::TextOut;
using bindings::Usage;
using std::chrono::milliseconds;

constexpr char kUpdate[] = "update";

struct HeldUpdate {
  std::vector<std::string> names;
  milliseconds lock_wait = tov_update::FileUpdate::kLockWait;
  bool may_create = false;
  tov_update::UpdateOptions options;
  tov_update::Cancellation cancellation;
  std::optional<tov_update::FileUpdate> locked;
  tov_update::UpdateResult result;
  Usage usage;
};

bindings::Table<HeldUpdate> g_updates;

// What an update throws, as an error with the data of the failure.
tov_err::Error ErrorOf(const char* type, const tov_update::Failure& failure) {
  tov_err::Error error(type, failure.what());
  const tov_update::FailureData& data = failure.Data();
  for (const std::string& file : data.files) error = bindings::With(error, "file", file);
  for (const std::string& file : data.not_put_back) {
    error = bindings::With(error, "not_put_back", file);
  }
  if (!data.command.empty()) error = bindings::With(error, "command", data.command);
  if (data.exit_status) {
    error = bindings::With(error, "exit_status", std::to_string(*data.exit_status));
  }
  if (data.signal) error = bindings::With(error, "signal", std::to_string(*data.signal));
  if (data.timed_out) error = bindings::With(error, "timed_out", "1");
  if (!data.output.empty()) error = bindings::With(error, "output", data.output);
  return error;
}

// Does `work` with the update behind a handle, which nobody else uses meanwhile.
template <class Work>
qel_status With(qel_update handle, qel_error* error, const Work& work) noexcept {
  return Run(error, [&] {
    const std::shared_ptr<HeldUpdate> held = Find(g_updates, handle, kUpdate);
    const Usage::Change change(held->usage, kUpdate);
    try {
      work(*held);
    } catch (const tov_update::ServerRefusal& failure) {
      throw tov_err::Error(ErrorOf("server", failure));
    } catch (const tov_update::Overtaken& failure) {
      throw tov_err::Error(ErrorOf("overtaken", failure));
    } catch (const tov_update::Cancelled& failure) {
      throw tov_err::Error(ErrorOf("cancelled", failure));
    } catch (const tov_update::Failure& failure) {
      throw tov_err::Error(ErrorOf("update", failure));
    }
  });
}

// The same with one of its locked files.
template <class Work>
qel_status WithFile(qel_update handle, size_t file, qel_error* error, const Work& work) noexcept {
  return With(handle, error, [&](HeldUpdate& held) {
    if (!held.locked || file >= held.locked->Size()) {
      bindings::RefuseArgument("file", std::to_string(file));
    }
    work(*held.locked);
  });
}

void SetText(tov_update::UpdateOptions& options, int option, std::optional<std::string> text) {
  switch (option) {
    case QEL_UPDATE_BACKUP_SUFFIX:
      options.backup_suffix = std::move(text);
      break;
    case QEL_UPDATE_CHECK:
      options.check = std::move(text).value_or(std::string());
      break;
    case QEL_UPDATE_RELOAD:
      options.reload = std::move(text).value_or(std::string());
      break;
    default:
      bindings::RefuseArgument("option", std::to_string(option));
  }
}

// Nobody waits longer than a year.
milliseconds Milliseconds(std::uint64_t number) {
  constexpr std::uint64_t kYear = std::uint64_t{365} * 24 * 60 * 60 * 1000;
  return milliseconds(static_cast<milliseconds::rep>(std::min(number, kYear)));
}

bool Flag(std::uint64_t number) {
  if (number > 1) bindings::RefuseArgument("number", std::to_string(number));
  return number == 1;
}

tov_update::NewWarnings NewWarningsOf(std::uint64_t number) {
  switch (number) {
    case 0:
      return tov_update::NewWarnings::kNotLookedFor;
    case 1:
      return tov_update::NewWarnings::kTold;
    case 2:
      return tov_update::NewWarnings::kRefused;
    default:
      bindings::RefuseArgument("number", std::to_string(number));
  }
}

void SetNumber(HeldUpdate& held, int option, std::uint64_t number) {
  switch (option) {
    case QEL_UPDATE_LOCK_WAIT:
      held.lock_wait = Milliseconds(number);
      break;
    case QEL_UPDATE_MAY_CREATE:
      held.may_create = Flag(number);
      break;
    case QEL_UPDATE_COMMAND_LIMIT:
      held.options.command_limit.reset();
      if (number != 0) held.options.command_limit = Milliseconds(number);
      break;
    case QEL_UPDATE_NEW_WARNINGS:
      held.options.new_warnings = NewWarningsOf(number);
      break;
    case QEL_UPDATE_HOLD_SIGNALS:
      held.options.hold_stop_signals = Flag(number);
      break;
    default:
      bindings::RefuseArgument("option", std::to_string(option));
  }
}

void Lock(HeldUpdate& held) {
  if (held.locked) throw tov_err::Error("failure", "the files are locked already");
  if (!held.may_create) {
    held.locked.emplace(held.names, held.lock_wait, held.cancellation);
    return;
  }
  if (held.names.size() != 1) throw tov_err::Error("failure", "not one file that may be created");
  held.locked =
      tov_update::FileUpdate::OfMissing(held.names.front(), held.lock_wait, held.cancellation);
}

}  // namespace

qel_status qel_update_new(qel_update* update, qel_error* error) noexcept {
  if (update != nullptr) *update = 0;
  return Run(error, [&] {
    bindings::Require(update, "update");
    try {
      *update = g_updates.Add(std::make_shared<HeldUpdate>());
    } catch (const tov_update::Failure& failure) {
      throw tov_err::Error(ErrorOf("update", failure));
    }
  });
}

qel_status qel_update_free(qel_update update) noexcept {
  return bindings::Free(g_updates, update);
}

qel_status qel_update_add(qel_update update, const char* name, size_t size,
                          qel_error* error) noexcept {
  return With(update, error,
              [&](HeldUpdate& held) { held.names.push_back(TextOf(name, size, "name")); });
}

qel_status qel_update_set_text(qel_update update, int option, const char* text, size_t size,
                               qel_error* error) noexcept {
  return With(update, error, [&](HeldUpdate& held) {
    SetText(held.options, option, OptionalTextOf(text, size, "text"));
  });
}

qel_status qel_update_set_number(qel_update update, int option, uint64_t number,
                                 qel_error* error) noexcept {
  return With(update, error, [&](HeldUpdate& held) { SetNumber(held, option, number); });
}

qel_status qel_update_lock(qel_update update, qel_error* error) noexcept {
  return With(update, error, [](HeldUpdate& held) { Lock(held); });
}

size_t qel_update_count(qel_update update) noexcept {
  size_t count = 0;
  With(update, nullptr, [&](HeldUpdate& held) { count = held.locked ? held.locked->Size() : 0; });
  return count;
}

qel_status qel_update_name(qel_update update, size_t file, char** name, size_t* size,
                           qel_error* error) noexcept {
  const TextOut out(name, size, "name");
  return WithFile(update, file, error, [&](tov_update::FileUpdate& locked) {
    out.Require();
    out.Set(locked.Name(file));
  });
}

qel_status qel_update_read(qel_update update, size_t file, char** text, size_t* size,
                           qel_error* error) noexcept {
  const TextOut out(text, size, "text");
  return WithFile(update, file, error, [&](tov_update::FileUpdate& locked) {
    out.Require();
    out.Set(locked.Read(file));
  });
}

qel_status qel_update_replace(qel_update update, size_t file, const char* text, size_t size,
                              qel_error* error) noexcept {
  return WithFile(update, file, error, [&](tov_update::FileUpdate& locked) {
    locked.Replace(file, TextOf(text, size, "text"));
  });
}

qel_status qel_update_commit(qel_update update, qel_error* error) noexcept {
  return With(update, error, [](HeldUpdate& held) {
    if (!held.locked) throw tov_err::Error("failure", "the files are not locked");
    held.result = held.locked->Commit(held.options);
  });
}

qel_status qel_update_json(qel_update update, char** json, size_t* size,
                           qel_error* error) noexcept {
  const TextOut out(json, size, "json");
  return With(update, error, [&](HeldUpdate& held) {
    out.Require();
    const tov_update::UpdateResult& result = held.result;
    report::JsonWriter written;
    written.Begin('{');
    written.Member("changed", result.changed);
    written.Member("backups", result.backups);
    written.Member("new_warnings", result.new_warnings);
    written.Member("checked", result.checked);
    written.Member("reloaded", result.reloaded);
    written.End('}');
    out.Set(std::move(written).Text());
  });
}

qel_status qel_update_cancel(qel_update update) noexcept {
  return Run(nullptr, [&] { Find(g_updates, update, kUpdate)->cancellation.Cancel(); });
}
