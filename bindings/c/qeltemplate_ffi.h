/* SPDX-License-Identifier: Apache-2.0 */
/* clang-format off */
/* Made from qeltemplate_c.h, which is the manual, by cmake/ffi-header.sh. Foreign function interfaces
 * read it as it is; of <stdint.h> and <stddef.h> they know uint64_t and size_t. */

typedef int qel_status;
enum {
QEL_OK = 0,
QEL_BAD_HANDLE = 1,
QEL_BAD_ARGUMENT = 2,
QEL_BUSY = 3,
QEL_UNKNOWN_DIALECT = 4,
QEL_TEMPLATE_ERROR = 5,
QEL_FILE_ERROR = 6,
QEL_NO_MEMORY = 7,
QEL_FAILED = 8,
QEL_REFUSED = 9,
QEL_UPDATE_FAILED = 10,
QEL_SERVER_REFUSES = 11,
QEL_OVERTAKEN = 12,
QEL_CANCELLED = 13
};
typedef uint64_t qel_request;
typedef uint64_t qel_result;
typedef uint64_t qel_import;
typedef uint64_t qel_update;
typedef uint64_t qel_parser;
typedef uint64_t qel_error;
const char* qel_version(void);
const char* qel_guess_dialect(const char* text, size_t size);
void qel_text_free(char* text);
qel_status qel_request_new(const char* dialect, size_t dialect_size,
const char* template_text, size_t template_size,
const char* template_name, size_t template_name_size,
qel_request* request, qel_error* error);
qel_status qel_request_free(qel_request request);
qel_status qel_request_set_value(qel_request request, const char* name, size_t name_size,
const char* old_value, size_t old_size,
const char* new_value, size_t new_size,
qel_error* error);
qel_status qel_request_read_old(qel_request request, const char* name, size_t size,
qel_error* error);
enum {
QEL_ALL = 1,
QEL_MUST_EXIST = 2,
QEL_SKIP_MISSING = 3,
QEL_QUOTE = 4
};
qel_status qel_request_set_option(qel_request request, int option, int on,
qel_error* error);
enum {
QEL_CREATE_IF_MISSING = 0,
QEL_CREATE_NEVER = 1,
QEL_CREATE_ONLY = 2
};
qel_status qel_request_set_create(qel_request request, int create,
qel_error* error);
qel_status qel_request_force(qel_request request, const char* refusal, size_t size,
qel_error* error);
qel_status qel_request_raw(qel_request request, const char* name, size_t size,
qel_error* error);
qel_status qel_request_must_use(qel_request request, const char* name, size_t size,
qel_error* error);
qel_status qel_request_import_below(qel_request request, const char* folder, size_t size,
qel_error* error);
typedef void (*qel_importer)(void* context, qel_import import, const char* name, size_t name_size,
const char* file, size_t file_size, size_t line);
qel_status qel_request_set_importer(qel_request request, qel_importer importer,
void* context, void (*release)(void* context),
qel_error* error);
qel_status qel_import_found(qel_import import, const char* name, size_t name_size,
const char* text, size_t size, qel_error* error);
qel_status qel_import_problem(qel_import import, const char* problem, size_t size,
qel_error* error);
qel_status qel_edit(qel_request request, const char* config, size_t config_size,
const char* name, size_t name_size, qel_result* result,
qel_error* error);
qel_status qel_result_free(qel_result result);
const char* qel_result_text(qel_result result, size_t* size);
int qel_result_changed(qel_result result);
int qel_result_skipped(qel_result result);
size_t qel_result_change_count(qel_result result);
size_t qel_result_change_line(qel_result result, size_t index);
size_t qel_result_change_lines(qel_result result, size_t index);
const char* qel_result_change_text(qel_result result, size_t index,
size_t* size);
size_t qel_result_change_place_count(qel_result result, size_t index);
const char* qel_result_change_place_file(qel_result result, size_t index, size_t place,
size_t* size);
size_t qel_result_change_place_line(qel_result result, size_t index,
size_t place);
enum {
QEL_REFUSALS = 0,
QEL_WARNINGS = 1
};
size_t qel_finding_count(qel_result result, int kind);
const char* qel_finding_said(qel_result result, int kind, size_t index,
size_t* size);
const char* qel_finding_name(qel_result result, int kind, size_t index,
size_t* size);
const char* qel_finding_message(qel_result result, int kind, size_t index,
size_t* size);
const char* qel_finding_hint(qel_result result, int kind, size_t index,
size_t* size);
const char* qel_finding_template_file(qel_result result, int kind, size_t index,
size_t* size);
size_t qel_finding_template_line(qel_result result, int kind, size_t index);
size_t qel_finding_template_column(qel_result result, int kind, size_t index);
size_t qel_finding_config_count(qel_result result, int kind, size_t index);
const char* qel_finding_config_file(qel_result result, int kind, size_t index, size_t place,
size_t* size);
size_t qel_finding_config_line(qel_result result, int kind, size_t index,
size_t place);
size_t qel_finding_config_column(qel_result result, int kind, size_t index,
size_t place);
int qel_finding_in_result(qel_result result, int kind, size_t index);
size_t qel_finding_value_count(qel_result result, int kind, size_t index);
const char* qel_finding_value(qel_result result, int kind, size_t index, size_t value,
size_t* size);
enum {
QEL_REMEDY_ALL = 1,
QEL_REMEDY_QUOTE = 2,
QEL_REMEDY_RAW = 4
};
int qel_finding_remedies(qel_result result, int kind, size_t index);
int qel_finding_can_be_forced(qel_result result, int kind, size_t index);
qel_status qel_result_json(qel_result result, char** json, size_t* size,
qel_error* error);
qel_status qel_explain(qel_request request, const char* config, size_t config_size,
const char* name, size_t name_size, char** json, size_t* size,
qel_error* error);
qel_status qel_lint(qel_request request, int all_values, char** json, size_t* size,
qel_error* error);
qel_status qel_inspect(const char* dialect, size_t dialect_size, const char* config,
size_t config_size, const char* name, size_t name_size, char** json,
size_t* size, qel_error* error);
qel_status qel_update_new(qel_update* update, qel_error* error);
qel_status qel_update_free(qel_update update);
qel_status qel_update_add(qel_update update, const char* name, size_t size,
qel_error* error);
enum {
QEL_UPDATE_BACKUP_SUFFIX = 1,
QEL_UPDATE_CHECK = 2,
QEL_UPDATE_RELOAD = 3
};
qel_status qel_update_set_text(qel_update update, int option, const char* text, size_t size,
qel_error* error);
enum {
QEL_UPDATE_LOCK_WAIT = 1,
QEL_UPDATE_MAY_CREATE = 2,
QEL_UPDATE_COMMAND_LIMIT = 3,
QEL_UPDATE_NEW_WARNINGS = 4,
QEL_UPDATE_HOLD_SIGNALS = 5
};
qel_status qel_update_set_number(qel_update update, int option, uint64_t number,
qel_error* error);
qel_status qel_update_lock(qel_update update, qel_error* error);
size_t qel_update_count(qel_update update);
qel_status qel_update_name(qel_update update, size_t file, char** name, size_t* size,
qel_error* error);
qel_status qel_update_read(qel_update update, size_t file, char** text, size_t* size,
qel_error* error);
qel_status qel_update_replace(qel_update update, size_t file, const char* text, size_t size,
qel_error* error);
qel_status qel_update_commit(qel_update update, qel_error* error);
qel_status qel_update_json(qel_update update, char** json, size_t* size,
qel_error* error);
qel_status qel_update_cancel(qel_update update);
qel_status qel_parser_new(const char* dialect, size_t dialect_size, const char* config,
size_t config_size, qel_parser* parser,
qel_error* error);
qel_status qel_parser_free(qel_parser parser);
qel_status qel_parser_set_value(qel_parser parser, const char* name, size_t name_size,
const char* old_value, size_t old_size,
const char* new_value, size_t new_size,
qel_error* error);
qel_status qel_parser_merge_values(qel_parser parser, qel_parser other,
qel_error* error);
qel_status qel_parser_clear_values(qel_parser parser, qel_error* error);
qel_status qel_parser_set_template(qel_parser parser, const char* text, size_t size,
qel_error* error);
qel_status qel_parser_set_template_file(qel_parser parser, const char* path,
size_t path_size, qel_error* error);
qel_status qel_parser_apply(qel_parser parser, qel_error* error);
qel_status qel_parser_config(qel_parser parser, char** text, size_t* size,
qel_error* error);
qel_status qel_parser_prototype(qel_parser parser, char** text, size_t* size,
qel_error* error);
const char* qel_error_message(qel_error error, size_t* size);
const char* qel_error_type(qel_error error, size_t* size);
const char* qel_error_object(qel_error error, size_t* size);
size_t qel_error_param_count(qel_error error);
const char* qel_error_param_name(qel_error error, size_t index, size_t* size);
const char* qel_error_param_value(qel_error error, size_t index, size_t* size);
qel_status qel_error_free(qel_error error);
const char* qel_status_text(qel_status status);
enum {
QEL_LOG_OFF = -1,
QEL_LOG_TRACE = 8,
QEL_LOG_DEBUG = 9
};
typedef void (*qel_log_handler)(void* context, int level, const char* module, const char* channel,
const char* text, size_t size);
qel_status qel_log_set_handler(qel_log_handler handler, void* context,
void (*release)(void* context),
qel_error* error);
qel_status qel_log_set_level(int level);
