// SPDX-License-Identifier: Apache-2.0

// Requests, and what comes of them.

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "calls.h"
#include "dialects.h"
#include "edit/edit.h"
#include "edit/file_importer.h"
#include "edit/inspection.h"
#include "edit/lint.h"
#include "parser.h"
#include "preparation.h"
#include "qeltemplate_c.h"
#include "report/inspection_json.h"
#include "report/json.h"
#include "table.h"
#include "usage.h"

namespace {

using bindings::HandOut;
using bindings::OptionalTextOf;
using bindings::Require;
using bindings::Run;
using bindings::TextOf;
using bindings::TextOut;
using bindings::Usage;
using tov_edit::FilePlace;
using tov_edit::Finding;
using tov_edit::ImportedFile;

// --- Requests ---

struct HeldRequest {
  tov_edit::Result EditOf(const std::string& text, const std::string& name) {
    if (request.importer) return Edit(request, text, name);
    return preparation.Get([&] { return request; })->On(text, name);
  }

  tov_edit::Request request;
  bindings::Preparation preparation;
  Usage usage;
};

bindings::Table<HeldRequest> g_requests;

constexpr char kRequest[] = "request";

// Does `work` with the request behind a handle, which is changed.
template <class Work>
qel_status Changed(qel_request handle, qel_error* error, const Work& work) noexcept {
  return Run(error, [&] {
    const std::shared_ptr<HeldRequest> held = Find(g_requests, handle, kRequest);
    const Usage::Change change(held->usage, kRequest);
    held->preparation.Forget();
    work(held->request);
  });
}

// The same with one that is only used. `work` returns a status.
template <class Work>
qel_status Used(qel_request handle, qel_error* error, const Work& work) noexcept {
  return Run(error, [&] {
    const std::shared_ptr<HeldRequest> held = Find(g_requests, handle, kRequest);
    const Usage::Use use(held->usage, kRequest);
    return work(*held);
  });
}

bool tov_edit::Request::*OptionOf(int option) {
  switch (option) {
    case QEL_ALL:
      return &tov_edit::Request::all;
    case QEL_MUST_EXIST:
      return &tov_edit::Request::must_exist;
    case QEL_SKIP_MISSING:
      return &tov_edit::Request::skip_missing;
    case QEL_QUOTE:
      return &tov_edit::Request::quote;
    default:
      bindings::RefuseArgument("option", std::to_string(option));
  }
}

tov_edit::Create CreateOf(int create) {
  switch (create) {
    case QEL_CREATE_IF_MISSING:
      return tov_edit::Create::kIfMissing;
    case QEL_CREATE_NEVER:
      return tov_edit::Create::kNever;
    case QEL_CREATE_ONLY:
      return tov_edit::Create::kOnly;
    default:
      bindings::RefuseArgument("create", std::to_string(create));
  }
}

bool CanBeForced(const std::string& refusal) {
  return std::any_of(tov_edit::kForcedRefusals.begin(), tov_edit::kForcedRefusals.end(),
                     [&](const tov_edit::FindingKind& kind) { return refusal == kind.name; });
}

tov_edit::Importer ImporterBelow(const std::string& folder) {
  try {
    return tov_edit::FileImporter(folder);
  } catch (const std::runtime_error&) {
    throw tov_err::Error(bindings::With({"file", "folder"}, "filename", folder));
  }
}

// --- Imports ---

// What the caller answers to an import.
class Answer {
 public:
  void Set(ImportedFile file) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file = std::move(file);
  }
  std::optional<ImportedFile> Get() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_file;
  }

 private:
  std::mutex m_mutex;
  std::optional<ImportedFile> m_file;
};

bindings::Table<Answer> g_imports;

// The handle of an import while the caller answers it.
class OpenImport {
 public:
  OpenImport() : m_answer(std::make_shared<Answer>()), m_handle(g_imports.Add(m_answer)) {}
  ~OpenImport() { g_imports.Take(m_handle); }
  OpenImport(const OpenImport&) = delete;
  OpenImport& operator=(const OpenImport&) = delete;

  qel_import Handle() const { return m_handle; }
  std::optional<ImportedFile> Answered() const { return m_answer->Get(); }

 private:
  std::shared_ptr<Answer> m_answer;
  qel_import m_handle;
};

tov_edit::Importer ImporterOf(qel_importer importer, std::shared_ptr<void> context) {
  if (importer == nullptr) return nullptr;
  return [importer, context = std::move(context)](const std::string& name, const FilePlace& from) {
    const OpenImport import;
    importer(context.get(), import.Handle(), name.data(), name.size(), from.file.data(),
             from.file.size(), from.line);
    return import.Answered();
  };
}

// --- Results ---

// A result, and its findings in one sentence each.
struct HeldResult {
  explicit HeldResult(tov_edit::Result made) : result(std::move(made)) {
    for (const Finding& refusal : result.refusals) said[QEL_REFUSALS].push_back(Shown(refusal));
    for (const Finding& warning : result.warnings) said[QEL_WARNINGS].push_back(Shown(warning));
  }

  tov_edit::Result result;
  std::array<std::vector<std::string>, 2> said;
};

bindings::Table<const HeldResult> g_results;

qel_status StatusOf(const tov_edit::Result& result) {
  return result.refusals.empty() ? QEL_OK : QEL_REFUSED;
}

// What `get` says of the result behind `handle`; nothing when there is none.
template <class Answer, class Get>
Answer Asked(qel_result handle, Answer nothing, const Get& get) {
  const std::shared_ptr<const HeldResult> held = g_results.Find(handle);
  return held == nullptr ? nothing : get(*held);
}

template <class Get>
const char* AskedText(qel_result handle, size_t* size, const Get& get) {
  static const std::string kNothing;
  return HandOut(*Asked(handle, &kNothing,
                        [&](const HeldResult& held) {
                          const std::string* const text = get(held);
                          return text == nullptr ? &kNothing : text;
                        }),
                 size);
}

const tov_edit::Change* ChangeOf(const HeldResult& held, size_t index) {
  const std::vector<tov_edit::Change>& changes = held.result.changes;
  return index < changes.size() ? &changes[index] : nullptr;
}

size_t ChangeNumber(qel_result result, size_t index, size_t tov_edit::Change::*number) {
  return Asked(result, size_t{0}, [&](const HeldResult& held) {
    const tov_edit::Change* const change = ChangeOf(held, index);
    return change == nullptr ? 0 : change->*number;
  });
}

const std::vector<Finding>& FindingsOf(const HeldResult& held, int kind) {
  static const std::vector<Finding> kNone;
  if (kind == QEL_REFUSALS) return held.result.refusals;
  return kind == QEL_WARNINGS ? held.result.warnings : kNone;
}

const Finding* FindingOf(const HeldResult& held, int kind, size_t index) {
  const std::vector<Finding>& findings = FindingsOf(held, kind);
  return index < findings.size() ? &findings[index] : nullptr;
}

const FilePlace& PlaceAt(const std::vector<FilePlace>& places, size_t index) {
  static const FilePlace kNone = {};
  return index < places.size() ? places[index] : kNone;
}

int Bit(tov_edit::Remedy remedy) {
  switch (remedy) {
    case tov_edit::Remedy::kAll:
      return QEL_REMEDY_ALL;
    case tov_edit::Remedy::kQuote:
      return QEL_REMEDY_QUOTE;
    case tov_edit::Remedy::kRaw:
      return QEL_REMEDY_RAW;
  }
  return 0;
}

struct FindingAt {
  qel_result result;
  int kind;
  size_t index;

  template <class Get>
  const char* Text(size_t* size, const Get& get) const {
    return AskedText(result, size, [&](const HeldResult& held) -> const std::string* {
      const Finding* const finding = FindingOf(held, kind, index);
      return finding == nullptr ? nullptr : &get(*finding);
    });
  }

  template <class Get>
  size_t Number(const Get& get) const {
    return Asked(result, size_t{0}, [&](const HeldResult& held) -> size_t {
      const Finding* const finding = FindingOf(held, kind, index);
      return finding == nullptr ? 0 : get(*finding);
    });
  }

  template <class Get>
  int Flag(const Get& get) const {
    return Number([&](const Finding& finding) { return get(finding) ? size_t{1} : 0; }) == 0 ? 0
                                                                                             : 1;
  }
};

}  // namespace

qel_status qel_request_new(const char* dialect, size_t dialect_size, const char* template_text,
                           size_t template_size, const char* template_name,
                           size_t template_name_size, qel_request* request,
                           qel_error* error) noexcept {
  if (request != nullptr) *request = 0;
  return Run(error, [&] {
    Require(request, "request");
    const auto held = std::make_shared<HeldRequest>();
    held->request.dialect = bindings::KnownDialect(TextOf(dialect, dialect_size, "dialect"));
    held->request.template_text = TextOf(template_text, template_size, "template_text");
    held->request.template_name = TextOf(template_name, template_name_size, "template_name");
    *request = g_requests.Add(held);
  });
}

qel_status qel_request_free(qel_request request) noexcept {
  return bindings::Free(g_requests, request);
}

qel_status qel_request_set_value(qel_request request, const char* name, size_t name_size,
                                 const char* old_value, size_t old_size, const char* new_value,
                                 size_t new_size, qel_error* error) noexcept {
  return Changed(request, error, [&](tov_edit::Request& changed) {
    tov_edit::OldAndNew value{OptionalTextOf(old_value, old_size, "old_value"),
                              OptionalTextOf(new_value, new_size, "new_value")};
    changed.values.insert_or_assign(TextOf(name, name_size, "name"), std::move(value));
  });
}

qel_status qel_request_read_old(qel_request request, const char* name, size_t size,
                                qel_error* error) noexcept {
  return Changed(request, error, [&](tov_edit::Request& changed) {
    tov_edit::OldAndNew& value = changed.values[TextOf(name, size, "name")];
    value.old_value = std::nullopt;
    value.read_old = true;
  });
}

qel_status qel_request_set_option(qel_request request, int option, int on,
                                  qel_error* error) noexcept {
  return Changed(request, error,
                 [&](tov_edit::Request& changed) { changed.*OptionOf(option) = on != 0; });
}

qel_status qel_request_set_create(qel_request request, int create, qel_error* error) noexcept {
  return Changed(request, error,
                 [&](tov_edit::Request& changed) { changed.create = CreateOf(create); });
}

qel_status qel_request_force(qel_request request, const char* refusal, size_t size,
                             qel_error* error) noexcept {
  return Changed(request, error, [&](tov_edit::Request& changed) {
    const std::string name = TextOf(refusal, size, "refusal");
    if (!CanBeForced(name)) bindings::RefuseArgument("refusal", name);
    changed.forced.insert(name);
  });
}

qel_status qel_request_raw(qel_request request, const char* name, size_t size,
                           qel_error* error) noexcept {
  return Changed(request, error, [&](tov_edit::Request& changed) {
    changed.raw.insert(TextOf(name, size, "name"));
  });
}

qel_status qel_request_must_use(qel_request request, const char* name, size_t size,
                                qel_error* error) noexcept {
  return Changed(request, error, [&](tov_edit::Request& changed) {
    changed.must_be_used.insert(TextOf(name, size, "name"));
  });
}

qel_status qel_request_import_below(qel_request request, const char* folder, size_t size,
                                    qel_error* error) noexcept {
  return Changed(request, error, [&](tov_edit::Request& changed) {
    const std::optional<std::string> root = OptionalTextOf(folder, size, "folder");
    changed.importer = root ? ImporterBelow(*root) : nullptr;
  });
}

qel_status qel_request_set_importer(qel_request request, qel_importer importer, void* context,
                                    void (*release)(void* context), qel_error* error) noexcept {
  return Run(error, [&] {
    const auto release_it = [release](void* held) {
      if (release != nullptr) release(held);
    };
    tov_edit::Importer before;  // released when the request can be used again
    std::shared_ptr<void> held_context(context, release_it);
    tov_edit::Importer made = ImporterOf(importer, std::move(held_context));
    const std::shared_ptr<HeldRequest> held = Find(g_requests, request, kRequest);
    const Usage::Change change(held->usage, kRequest);
    held->preparation.Forget();
    before = std::exchange(held->request.importer, std::move(made));
  });
}

qel_status qel_import_found(qel_import import, const char* name, size_t name_size, const char* text,
                            size_t size, qel_error* error) noexcept {
  return Run(error, [&] {
    const std::shared_ptr<Answer> answer = Find(g_imports, import, "import");
    answer->Set({TextOf(name, name_size, "name"), TextOf(text, size, "text")});
  });
}

qel_status qel_import_problem(qel_import import, const char* problem, size_t size,
                              qel_error* error) noexcept {
  return Run(error, [&] {
    const std::shared_ptr<Answer> answer = Find(g_imports, import, "import");
    ImportedFile file;
    file.problem = TextOf(problem, size, "problem");
    if (file.problem.empty()) bindings::RefuseArgument("problem", file.problem);
    answer->Set(std::move(file));
  });
}

qel_status qel_edit(qel_request request, const char* config, size_t config_size, const char* name,
                    size_t name_size, qel_result* result, qel_error* error) noexcept {
  if (result != nullptr) *result = 0;
  return Used(request, error, [&](HeldRequest& used) {
    Require(result, "result");
    auto held = std::make_shared<const HeldResult>(
        used.EditOf(TextOf(config, config_size, "config"), TextOf(name, name_size, "name")));
    const qel_status status = StatusOf(held->result);
    *result = g_results.Add(std::move(held));
    return status;
  });
}

qel_status qel_result_free(qel_result result) noexcept {
  return bindings::Free(g_results, result);
}

const char* qel_result_text(qel_result result, size_t* size) noexcept {
  return AskedText(result, size, [](const HeldResult& held) { return &held.result.text; });
}

int qel_result_changed(qel_result result) noexcept {
  return Asked(result, 0, [](const HeldResult& held) { return held.result.changed ? 1 : 0; });
}

int qel_result_skipped(qel_result result) noexcept {
  return Asked(result, 0, [](const HeldResult& held) { return held.result.skipped ? 1 : 0; });
}

size_t qel_result_change_count(qel_result result) noexcept {
  return Asked(result, size_t{0},
               [](const HeldResult& held) { return held.result.changes.size(); });
}

size_t qel_result_change_line(qel_result result, size_t index) noexcept {
  return ChangeNumber(result, index, &tov_edit::Change::line);
}

size_t qel_result_change_lines(qel_result result, size_t index) noexcept {
  return ChangeNumber(result, index, &tov_edit::Change::count);
}

const char* qel_result_change_text(qel_result result, size_t index, size_t* size) noexcept {
  return AskedText(result, size, [&](const HeldResult& held) -> const std::string* {
    const tov_edit::Change* const change = ChangeOf(held, index);
    return change == nullptr ? nullptr : &change->text;
  });
}

size_t qel_result_change_place_count(qel_result result, size_t index) noexcept {
  return Asked(result, size_t{0}, [&](const HeldResult& held) {
    const tov_edit::Change* const change = ChangeOf(held, index);
    return change == nullptr ? 0 : change->template_lines.size();
  });
}

const char* qel_result_change_place_file(qel_result result, size_t index, size_t place,
                                         size_t* size) noexcept {
  return AskedText(result, size, [&](const HeldResult& held) -> const std::string* {
    const tov_edit::Change* const change = ChangeOf(held, index);
    return change == nullptr ? nullptr : &PlaceAt(change->template_lines, place).file;
  });
}

size_t qel_result_change_place_line(qel_result result, size_t index, size_t place) noexcept {
  return Asked(result, size_t{0}, [&](const HeldResult& held) {
    const tov_edit::Change* const change = ChangeOf(held, index);
    return change == nullptr ? 0 : PlaceAt(change->template_lines, place).line;
  });
}

size_t qel_finding_count(qel_result result, int kind) noexcept {
  return Asked(result, size_t{0},
               [&](const HeldResult& held) { return FindingsOf(held, kind).size(); });
}

const char* qel_finding_said(qel_result result, int kind, size_t index, size_t* size) noexcept {
  return AskedText(result, size, [&](const HeldResult& held) -> const std::string* {
    if (FindingOf(held, kind, index) == nullptr) return nullptr;
    return &held.said.at(static_cast<size_t>(kind))[index];
  });
}

const char* qel_finding_name(qel_result result, int kind, size_t index, size_t* size) noexcept {
  return FindingAt{result, kind, index}.Text(
      size, [](const Finding& finding) -> const std::string& { return finding.name; });
}

const char* qel_finding_message(qel_result result, int kind, size_t index, size_t* size) noexcept {
  return FindingAt{result, kind, index}.Text(
      size, [](const Finding& finding) -> const std::string& { return finding.message; });
}

const char* qel_finding_hint(qel_result result, int kind, size_t index, size_t* size) noexcept {
  return FindingAt{result, kind, index}.Text(
      size, [](const Finding& finding) -> const std::string& { return finding.hint; });
}

const char* qel_finding_template_file(qel_result result, int kind, size_t index,
                                      size_t* size) noexcept {
  return FindingAt{result, kind, index}.Text(
      size,
      [](const Finding& finding) -> const std::string& { return finding.template_place.file; });
}

size_t qel_finding_template_line(qel_result result, int kind, size_t index) noexcept {
  return FindingAt{result, kind, index}.Number(
      [](const Finding& finding) { return finding.template_place.line; });
}

size_t qel_finding_template_column(qel_result result, int kind, size_t index) noexcept {
  return FindingAt{result, kind, index}.Number(
      [](const Finding& finding) { return finding.template_place.column; });
}

size_t qel_finding_config_count(qel_result result, int kind, size_t index) noexcept {
  return FindingAt{result, kind, index}.Number(
      [](const Finding& finding) { return finding.config_places.size(); });
}

const char* qel_finding_config_file(qel_result result, int kind, size_t index, size_t place,
                                    size_t* size) noexcept {
  return FindingAt{result, kind, index}.Text(size,
                                             [&](const Finding& finding) -> const std::string& {
                                               return PlaceAt(finding.config_places, place).file;
                                             });
}

size_t qel_finding_config_line(qel_result result, int kind, size_t index, size_t place) noexcept {
  return FindingAt{result, kind, index}.Number(
      [&](const Finding& finding) { return PlaceAt(finding.config_places, place).line; });
}

size_t qel_finding_config_column(qel_result result, int kind, size_t index, size_t place) noexcept {
  return FindingAt{result, kind, index}.Number(
      [&](const Finding& finding) { return PlaceAt(finding.config_places, place).column; });
}

int qel_finding_in_result(qel_result result, int kind, size_t index) noexcept {
  return FindingAt{result, kind, index}.Flag(
      [](const Finding& finding) { return finding.in_result; });
}

size_t qel_finding_value_count(qel_result result, int kind, size_t index) noexcept {
  return FindingAt{result, kind, index}.Number(
      [](const Finding& finding) { return finding.values.size(); });
}

const char* qel_finding_value(qel_result result, int kind, size_t index, size_t value,
                              size_t* size) noexcept {
  static const std::string kNone;
  return FindingAt{result, kind, index}.Text(
      size, [&](const Finding& finding) -> const std::string& {
        return value < finding.values.size() ? finding.values[value] : kNone;
      });
}

int qel_finding_remedies(qel_result result, int kind, size_t index) noexcept {
  return static_cast<int>(FindingAt{result, kind, index}.Number([](const Finding& finding) {
    int remedies = 0;
    for (const tov_edit::Remedy remedy : finding.remedies) remedies += Bit(remedy);
    return static_cast<size_t>(remedies);
  }));
}

int qel_finding_can_be_forced(qel_result result, int kind, size_t index) noexcept {
  return FindingAt{result, kind, index}.Flag(
      [](const Finding& finding) { return finding.can_be_forced; });
}

qel_status qel_result_json(qel_result result, char** json, size_t* size,
                           qel_error* error) noexcept {
  const TextOut out(json, size, "json");
  return Run(error, [&] {
    const std::shared_ptr<const HeldResult> held = Find(g_results, result, "result");
    out.Require();
    out.Set(report::Json(held->result));
  });
}

qel_status qel_explain(qel_request request, const char* config, size_t config_size,
                       const char* name, size_t name_size, char** json, size_t* size,
                       qel_error* error) noexcept {
  const TextOut out(json, size, "json");
  return Used(request, error, [&](const HeldRequest& used) {
    out.Require();
    const std::string config_name = TextOf(name, name_size, "name");
    const tov_edit::Explained explained =
        Explain(used.request, TextOf(config, config_size, "config"), config_name);
    out.Set(report::Json(report::ExplainedEdit{used.request, config_name, explained}));
    return StatusOf(explained.result);
  });
}

qel_status qel_lint(qel_request request, int all_values, char** json, size_t* size,
                    qel_error* error) noexcept {
  const TextOut out(json, size, "json");
  return Used(request, error, [&](const HeldRequest& used) {
    out.Require();
    const auto given = all_values != 0 ? tov_edit::ValuesGiven::kAll : tov_edit::ValuesGiven::kNone;
    out.Set(report::LintJson(Lint(used.request, given)));
    return qel_status{QEL_OK};
  });
}

qel_status qel_inspect(const char* dialect, size_t dialect_size, const char* config,
                       size_t config_size, const char* name, size_t name_size, char** json,
                       size_t* size, qel_error* error) noexcept {
  const TextOut out(json, size, "json");
  return Run(error, [&] {
    out.Require();
    const std::string text = TextOf(config, config_size, "config");
    const std::optional<std::string> named = OptionalTextOf(dialect, dialect_size, "dialect");
    const tov_edit::InspectedText inspected(
        named ? bindings::KnownDialect(*named) : bindings::GuessedDialect(text), text,
        TextOf(name, name_size, "name"));
    std::string written;
    report::WriteInspectionJson(inspected, [&](std::string_view piece) { written += piece; });
    out.Set(written);
  });
}
