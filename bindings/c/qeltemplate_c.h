// SPDX-License-Identifier: Apache-2.0

/* libqeltemplate for C, and for every language that can call C.
 *
 * Edits the text of an nginx or Apache httpd configuration by a template and named values, and
 * leaves everything else as it is, byte by byte:
 *
 *   qel_request request = 0;
 *   qel_result result = 0;
 *   qel_error error = 0;
 *   qel_status status = qel_request_new("nginx", QEL_NUL, template_text, QEL_NUL, "site.template",
 *                                       QEL_NUL, &request, &error);
 *   if (status == QEL_OK) {
 *     status = qel_request_set_value(request, "name", QEL_NUL, "a.example", QEL_NUL, "b.example",
 *                                    QEL_NUL, &error);
 *   }
 *   if (status == QEL_OK) {
 *     status = qel_edit(request, config, config_size, "site.conf", QEL_NUL, &result, &error);
 *   }
 *   if (status == QEL_OK) {
 *     size_t size = 0;
 *     const char* edited = qel_result_text(result, &size);
 *     fwrite(edited, 1, size, stdout);
 *   } else if (status == QEL_REFUSED) {
 *     for (size_t i = 0; i < qel_finding_count(result, QEL_REFUSALS); ++i) {
 *       fprintf(stderr, "%s\n", qel_finding_said(result, QEL_REFUSALS, i, NULL));
 *     }
 *   } else {
 *     fprintf(stderr, "%s\n", qel_error_message(error, NULL));
 *   }
 *   qel_error_free(error);
 *   qel_result_free(result);
 *   qel_request_free(request);
 *
 * An edit works on the blocks that the template means, and on nothing else. One that would do other
 * than the template says is refused: QEL_REFUSED is no error but an answer, and the result holds
 * the reasons, each with its place in the template and in the configuration.
 *
 * Files are replaced by an update (qel_update): all of them or none, under a lock, judged by their
 * server. Below all this stands the engine (qel_parser), which knows lines only, drops blank ones,
 * and protects from nothing; it is for programs that were written for it.
 *
 * Who frees what: each handle and each `char*` that a function hands out is yours until you give it
 * back to the function for its kind: qel_request_free, qel_result_free, qel_update_free,
 * qel_parser_free, qel_error_free, qel_text_free. A `const char*` belongs to the object that was
 * asked, and lives as long as that. Nothing else is ever freed by you, and nothing of yours is
 * kept.
 *
 * Handles (qel_request, qel_result, qel_error and so on) are numbers, never 0 and never used twice.
 * A handle that was freed, or never was one, is answered with QEL_BAD_HANDLE.
 *
 * Texts are bytes in any encoding, NUL bytes included, and go with their size in bytes; QEL_NUL in
 * place of a size is for texts that end with a NUL byte. A null pointer stands for no value where a
 * value is asked for; everywhere else it is answered with QEL_BAD_ARGUMENT.
 *
 * Errors: functions that can fail return a qel_status, and fill in the qel_error behind the pointer
 * `error`: with 0 when all went well, or when there was no memory for an error; otherwise with a
 * new error. `error` may be a null pointer. What a failed call would have handed out is set to null
 * or 0; the object can be used on or freed. No C++ exception leaves a function, and memory that
 * runs out is QEL_NO_MEMORY.
 *
 * Threads: every function may be called in every thread. Once it is made, a request may be used by
 * any number of threads at once. What changes a request, and any call of a parser or an update,
 * needs it for itself: a call during another one, made by another thread or by a function that you
 * have handed in, is answered with QEL_BUSY and changes nothing. Different objects do not disturb
 * one another.
 */
#ifndef QELTEMPLATE_C_H
#define QELTEMPLATE_C_H

#include <stddef.h>
#include <stdint.h>

#define QEL_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define QEL_NOEXCEPT noexcept
extern "C" {
#else
#define QEL_NOEXCEPT
#endif

/* One of the QEL_ constants below. */
typedef int qel_status;

/* What went wrong. In brackets the type and the object of the error, and its parameters. */
enum {
  QEL_OK = 0,
  QEL_BAD_HANDLE = 1,      /* no such object ("handle", "unknown": name, the kind of handle) */
  QEL_BAD_ARGUMENT = 2,    /* a null pointer ("argument", "null": name, the argument's), or a number
                            * or a name that stands for nothing ("argument", "unknown": name, value)
                            */
  QEL_BUSY = 3,            /* the object is in a call ("parser", "request", "update"; "busy") */
  QEL_UNKNOWN_DIALECT = 4, /* ("dialect", "unknown": name; known, "apache, nginx") */
  QEL_TEMPLATE_ERROR = 5,  /* a file imported twice ("template", "circular_import": filename) */
  QEL_FILE_ERROR = 6, /* a file that cannot be read ("file", "read": filename), a folder that is
                       * none ("file", "folder": filename) */
  QEL_NO_MEMORY = 7,  /* never with an error */
  QEL_FAILED = 8,     /* anything else ("failure": the object says what) */
  QEL_REFUSED = 9,    /* an edit that is not made; never with an error, the result says why */

  /* Of updates, see there. All files are what they were. */
  QEL_UPDATE_FAILED = 10,  /* ("update", a sentence: see qel_update_commit) */
  QEL_SERVER_REFUSES = 11, /* a command does not take the new files ("server", the same) */
  QEL_OVERTAKEN = 12, /* another program has changed a file meanwhile ("overtaken", the same) */
  QEL_CANCELLED = 13  /* by qel_update_cancel ("cancelled", the same) */
};

/* In place of a text's size: the text ends with its first NUL byte. */
#define QEL_NUL ((size_t)-1)

/* An edit, with all that it needs but the configuration; 0 is none. */
typedef uint64_t qel_request;

/* What came of an edit; 0 is none. */
typedef uint64_t qel_result;

/* An import of a template, see qel_importer. */
typedef uint64_t qel_import;

/* Files that are being replaced; 0 is none. */
typedef uint64_t qel_update;

/* A configuration that the engine edits; 0 is none. */
typedef uint64_t qel_parser;

/* What went wrong in one call; 0 is none. */
typedef uint64_t qel_error;

/* The version of the library: "0.1.0". */
QEL_API const char* qel_version(void) QEL_NOEXCEPT;

/* The dialect that `text`, a configuration or a template, is written in: "nginx" or "apache". A
 * null pointer when that cannot be told, or `text` is one. Never freed.
 */
QEL_API const char* qel_guess_dialect(const char* text, size_t size) QEL_NOEXCEPT;

/* Frees a text that a function has handed out as `char*`, or a null pointer. */
QEL_API void qel_text_free(char* text) QEL_NOEXCEPT;

/* ---- Requests ---- */

/* Makes a request to edit configurations of `dialect` ("nginx" or "apache", whatever the case of
 * the letters) by a template. `template_name` stands for the template in findings, and is where its
 * imports are looked for. Everything is copied.
 */
QEL_API qel_status qel_request_new(const char* dialect, size_t dialect_size,
                                   const char* template_text, size_t template_size,
                                   const char* template_name, size_t template_name_size,
                                   qel_request* request, qel_error* error) QEL_NOEXCEPT;

/* Frees a request; during an edit, as soon as that ends. 0 is QEL_OK. */
QEL_API qel_status qel_request_free(qel_request request) QEL_NOEXCEPT;

/* Sets a value of the template, in place of what was set for the name: what the configuration holds
 * now, and what it is to hold. A null pointer is none, whatever size stands beside it. Without an
 * old value the new one is taken for what the configuration holds already; without a new one the
 * lines of the template that need it are left alone.
 */
QEL_API qel_status qel_request_set_value(qel_request request, const char* name, size_t name_size,
                                         const char* old_value, size_t old_size,
                                         const char* new_value, size_t new_size,
                                         qel_error* error) QEL_NOEXCEPT;

/* Has each configuration say the old value of this name itself, in place of one that was set: what
 * stands in its place in the lines of the template that hold it. Where that is not clear, the edit
 * is refused.
 */
QEL_API qel_status qel_request_read_old(qel_request request, const char* name, size_t size,
                                        qel_error* error) QEL_NOEXCEPT;

enum {
  QEL_ALL = 1,          /* edit each block that fits; else several are refused */
  QEL_MUST_EXIST = 2,   /* what is to be removed has to be there; else it is refused */
  QEL_SKIP_MISSING = 3, /* leave a text alone that has none of the template's blocks */
  QEL_QUOTE = 4         /* the values are texts: one that its server would not read as such is
                         * written in quotes, or with escapes where its place stands in quotes */
};

/* Switches one of the options above on, or off as all are at the start. */
QEL_API qel_status qel_request_set_option(qel_request request, int option, int on,
                                          qel_error* error) QEL_NOEXCEPT;

enum {
  QEL_CREATE_IF_MISSING = 0, /* edit the blocks that are there, make those that are not */
  QEL_CREATE_NEVER = 1,      /* only edit what is there */
  QEL_CREATE_ONLY = 2        /* only make what is not there */
};

/* Whether blocks that are not there may be made; QEL_CREATE_IF_MISSING at the start. */
QEL_API qel_status qel_request_set_create(qel_request request, int create,
                                          qel_error* error) QEL_NOEXCEPT;

/* Has a refusal not count: one of those that can be forced (qel_finding_can_be_forced), by its
 * name. */
QEL_API qel_status qel_request_force(qel_request request, const char* refusal, size_t size,
                                     qel_error* error) QEL_NOEXCEPT;

/* Lets the value of this name be more than one word, or several directives. */
QEL_API qel_status qel_request_raw(qel_request request, const char* name, size_t size,
                                   qel_error* error) QEL_NOEXCEPT;

/* Has a line or a condition of the template use the value of this name; else the edit is refused.
 * For values that somebody has named by hand, perhaps wrongly.
 */
QEL_API qel_status qel_request_must_use(qel_request request, const char* name, size_t size,
                                        qel_error* error) QEL_NOEXCEPT;

/* Templates may import files: beside the file that imports them, from the current directory, or
 * from `folder`, and from nowhere out of `folder`, not even by a symbolic link. "": from
 * everywhere. A null pointer: nothing can be imported, as at the start, and a template that does is
 * refused. QEL_FILE_ERROR when `folder` is no directory.
 */
QEL_API qel_status qel_request_import_below(qel_request request, const char* folder, size_t size,
                                            qel_error* error) QEL_NOEXCEPT;

/* Answers an import of `name` that is written at the line `line` of `file`, by one call of
 * qel_import_found or qel_import_problem; by none, there is no such file. `import`, and all texts,
 * are valid during the call. It is called in the thread that edits, so by several at once when
 * several edit. It must come back: no longjmp.
 */
typedef void (*qel_importer)(void* context, qel_import import, const char* name, size_t name_size,
                             const char* file, size_t file_size, size_t line);

/* Has `importer` find what templates import, in place of what was set before; a null pointer:
 * nothing can be imported. `context` is handed to it as it is. `release`, unless it is a null
 * pointer, is called with `context` when the importer will not be called again, and at once when
 * this call fails.
 */
QEL_API qel_status qel_request_set_importer(qel_request request, qel_importer importer,
                                            void* context, void (*release)(void* context),
                                            qel_error* error) QEL_NOEXCEPT;

/* The imported file: a name that tells it from all others, and its text. */
QEL_API qel_status qel_import_found(qel_import import, const char* name, size_t name_size,
                                    const char* text, size_t size, qel_error* error) QEL_NOEXCEPT;

/* The imported file is there, but cannot be had; `problem` says why. The edit is refused. */
QEL_API qel_status qel_import_problem(qel_import import, const char* problem, size_t size,
                                      qel_error* error) QEL_NOEXCEPT;

/* ---- Edits ---- */

/* Carries a request out on `config`, the whole text of a configuration; `name` stands for it in
 * findings. QEL_OK: the result holds the edited text. QEL_REFUSED: it holds the reasons, and the
 * text as it was. QEL_FAILED for a text of 4 GiB or more.
 */
QEL_API qel_status qel_edit(qel_request request, const char* config, size_t config_size,
                            const char* name, size_t name_size, qel_result* result,
                            qel_error* error) QEL_NOEXCEPT;

/* Frees a result. 0 is QEL_OK. */
QEL_API qel_status qel_result_free(qel_result result) QEL_NOEXCEPT;

/* The texts of a result end with a NUL byte and live as long as the result. `size` receives the
 * size without it, and may be a null pointer. They are "", and numbers are 0, for a handle that is
 * none, and for an index that is too large.
 */

/* The edited text; as it was, when the edit is refused. */
QEL_API const char* qel_result_text(qel_result result, size_t* size) QEL_NOEXCEPT;

/* 1: the text is another one than before. */
QEL_API int qel_result_changed(qel_result result) QEL_NOEXCEPT;

/* 1: the text has none of the template's blocks, see QEL_SKIP_MISSING. */
QEL_API int qel_result_skipped(qel_result result) QEL_NOEXCEPT;

/* The changes: how many there are, and of each, counted from 0, the number of its first line, from
 * 1, how many lines go (0: the new ones come before that line), and the text that comes, with its
 * line ends. Carried out from the last one to the first they make the edited text of the one
 * before. Of a refused edit they are what would be done but for the refusals.
 */
QEL_API size_t qel_result_change_count(qel_result result) QEL_NOEXCEPT;
QEL_API size_t qel_result_change_line(qel_result result, size_t index) QEL_NOEXCEPT;
QEL_API size_t qel_result_change_lines(qel_result result, size_t index) QEL_NOEXCEPT;
QEL_API const char* qel_result_change_text(qel_result result, size_t index,
                                           size_t* size) QEL_NOEXCEPT;

/* The lines of the template whose doing a change is: how many there are, and each, counted from 0.
 */
QEL_API size_t qel_result_change_place_count(qel_result result, size_t index) QEL_NOEXCEPT;
QEL_API const char* qel_result_change_place_file(qel_result result, size_t index, size_t place,
                                                 size_t* size) QEL_NOEXCEPT;
QEL_API size_t qel_result_change_place_line(qel_result result, size_t index,
                                            size_t place) QEL_NOEXCEPT;

enum {
  QEL_REFUSALS = 0, /* why the edit is not made; none: it is made */
  QEL_WARNINGS = 1  /* what should be known about it */
};

/* How many findings of a kind (QEL_REFUSALS, QEL_WARNINGS) there are. */
QEL_API size_t qel_finding_count(qel_result result, int kind) QEL_NOEXCEPT;

/* A finding as one sentence for people, with its place and what to do. */
QEL_API const char* qel_finding_said(qel_result result, int kind, size_t index,
                                     size_t* size) QEL_NOEXCEPT;

/* What it is made of: its name ("ambiguous"), what is wrong, without the place, and what to do
 * instead, "" when there is nothing to say.
 */
QEL_API const char* qel_finding_name(qel_result result, int kind, size_t index,
                                     size_t* size) QEL_NOEXCEPT;
QEL_API const char* qel_finding_message(qel_result result, int kind, size_t index,
                                        size_t* size) QEL_NOEXCEPT;
QEL_API const char* qel_finding_hint(qel_result result, int kind, size_t index,
                                     size_t* size) QEL_NOEXCEPT;

/* Where it is in the template. Lines and columns count from 1, columns in bytes; 0, and "" for the
 * file: it is about none.
 */
QEL_API const char* qel_finding_template_file(qel_result result, int kind, size_t index,
                                              size_t* size) QEL_NOEXCEPT;
QEL_API size_t qel_finding_template_line(qel_result result, int kind, size_t index) QEL_NOEXCEPT;
QEL_API size_t qel_finding_template_column(qel_result result, int kind, size_t index) QEL_NOEXCEPT;

/* The places in the configuration that it is about, the most important first: how many there are,
 * and each, counted from 0. They are those before the edit; in the edited text where
 * qel_finding_in_result is 1.
 */
QEL_API size_t qel_finding_config_count(qel_result result, int kind, size_t index) QEL_NOEXCEPT;
QEL_API const char* qel_finding_config_file(qel_result result, int kind, size_t index, size_t place,
                                            size_t* size) QEL_NOEXCEPT;
QEL_API size_t qel_finding_config_line(qel_result result, int kind, size_t index,
                                       size_t place) QEL_NOEXCEPT;
QEL_API size_t qel_finding_config_column(qel_result result, int kind, size_t index,
                                         size_t place) QEL_NOEXCEPT;
QEL_API int qel_finding_in_result(qel_result result, int kind, size_t index) QEL_NOEXCEPT;

/* The names of the values that it is about: how many there are, and each, counted from 0. */
QEL_API size_t qel_finding_value_count(qel_result result, int kind, size_t index) QEL_NOEXCEPT;
QEL_API const char* qel_finding_value(qel_result result, int kind, size_t index, size_t value,
                                      size_t* size) QEL_NOEXCEPT;

enum {
  QEL_REMEDY_ALL = 1,   /* QEL_ALL */
  QEL_REMEDY_QUOTE = 2, /* QEL_QUOTE */
  QEL_REMEDY_RAW = 4    /* qel_request_raw, with the values that it is about */
};

/* What a request can be given so that the edit is made: a sum of the above, each of which would do.
 */
QEL_API int qel_finding_remedies(qel_result result, int kind, size_t index) QEL_NOEXCEPT;

/* 1: qel_request_force, with its name, has the edit made all the same. */
QEL_API int qel_finding_can_be_forced(qel_result result, int kind, size_t index) QEL_NOEXCEPT;

/* All of a result but the text as JSON, to be freed by qel_text_free. An object with the members
 * "refused", "changed", "skipped" (where it is true), "changes", "warnings" and "refusals", which
 * hold what "qeltemplate explain --json" writes under these names. A byte that is no UTF-8 is
 * U+FFFD there.
 */
QEL_API qel_status qel_result_json(qel_result result, char** json, size_t* size,
                                   qel_error* error) QEL_NOEXCEPT;

/* What would become of each line of the template, and why: what "qeltemplate explain --json"
 * writes. QEL_OK or QEL_REFUSED, as qel_edit, with the text in both cases.
 */
QEL_API qel_status qel_explain(qel_request request, const char* config, size_t config_size,
                               const char* name, size_t name_size, char** json, size_t* size,
                               qel_error* error) QEL_NOEXCEPT;

/* What is wrong with the template of a request, or probably not meant, without a configuration:
 * what "qeltemplate lint --json" writes. `all_values`, if not 0: the request's values are all there
 * will be, and one that the template needs besides is missed.
 */
QEL_API qel_status qel_lint(qel_request request, int all_values, char** json, size_t* size,
                            qel_error* error) QEL_NOEXCEPT;

/* The blocks and directives of a configuration as its server reads it, and what the server would
 * refuse: what "qeltemplate inspect --json" writes. `dialect` as for qel_request_new; a null
 * pointer: it is guessed, and QEL_UNKNOWN_DIALECT when that cannot be told. `name` stands for the
 * configuration.
 */
QEL_API qel_status qel_inspect(const char* dialect, size_t dialect_size, const char* config,
                               size_t config_size, const char* name, size_t name_size, char** json,
                               size_t* size, qel_error* error) QEL_NOEXCEPT;

/* ---- Updates of files ---- */

/* An update replaces the content of files, all of them or none, so that nothing is lost whatever
 * happens meanwhile:
 *
 *   qel_update_new(&update, &error);
 *   qel_update_add(update, "/etc/nginx/sites-enabled/a", QEL_NUL, &error);
 *   qel_update_set_text(update, QEL_UPDATE_CHECK, "nginx -t", QEL_NUL, &error);
 *   qel_update_set_text(update, QEL_UPDATE_RELOAD, "systemctl reload nginx", QEL_NUL, &error);
 *   qel_update_lock(update, &error);
 *   qel_update_read(update, 0, &text, &size, &error);
 *   ...
 *   qel_update_replace(update, 0, edited, edited_size, &error);
 *   qel_update_commit(update, &error);
 *   qel_update_free(update);
 *
 * The files are locked from qel_update_lock to qel_update_free. A changed file gets the owner, the
 * mode and the attributes of the old one; a symbolic link stays and its target is replaced. Nothing
 * that the whole process shares is changed.
 */

QEL_API qel_status qel_update_new(qel_update* update, qel_error* error) QEL_NOEXCEPT;

/* Gives up the locks; during a call, as soon as that ends. 0 is QEL_OK. */
QEL_API qel_status qel_update_free(qel_update update) QEL_NOEXCEPT;

/* Before qel_update_lock: one more file, by its name. */
QEL_API qel_status qel_update_add(qel_update update, const char* name, size_t size,
                                  qel_error* error) QEL_NOEXCEPT;

enum {
  QEL_UPDATE_BACKUP_SUFFIX = 1, /* keeps the old file as its name and this, "~" */
  QEL_UPDATE_CHECK = 2, /* a command of the shell by which the server judges the files: with "{}" in
                         * it for each file before it is put in place, "nginx -t -c {}", without
                         * once when all are in their places, "nginx -t" */
  QEL_UPDATE_RELOAD = 3 /* a command that has the server take the new files */
};

/* Before qel_update_commit: sets one of the above. A null pointer: none, as at the start. */
QEL_API qel_status qel_update_set_text(qel_update update, int option, const char* text, size_t size,
                                       qel_error* error) QEL_NOEXCEPT;

enum {
  QEL_UPDATE_LOCK_WAIT = 1,  /* milliseconds for which others that hold a lock are waited for; 30000
                              * at the start. Before qel_update_lock */
  QEL_UPDATE_MAY_CREATE = 2, /* 1: the file, then only one, is made when it is not there. Before
                              * qel_update_lock */
  QEL_UPDATE_COMMAND_LIMIT = 3, /* milliseconds that each run of a command may take; 0 at the start:
                                 * as long as it likes */
  QEL_UPDATE_NEW_WARNINGS = 4,  /* what becomes of warnings that the check gives for the new files
                                 * and  not for the old ones: 0 they are not looked for, 1 they are
                                 * told, 2  the files are refused */
  QEL_UPDATE_HOLD_SIGNALS = 5   /* 1: in the thread that commits, SIGINT, SIGTERM and SIGHUP wait
                                 * until   all is done */
};

QEL_API qel_status qel_update_set_number(qel_update update, int option, uint64_t number,
                                         qel_error* error) QEL_NOEXCEPT;

/* Locks the files. QEL_UPDATE_FAILED when one cannot be opened for reading and writing, is no
 * regular file, has several hard links, or stays locked.
 */
QEL_API qel_status qel_update_lock(qel_update update, qel_error* error) QEL_NOEXCEPT;

/* The number of locked files, which are counted from 0: of several names that lead to one file only
 * the first counts. 0 before qel_update_lock, and while the update is in a call.
 */
QEL_API size_t qel_update_count(qel_update update) QEL_NOEXCEPT;

/* Hands out the name of a locked file as it was given, to be freed by qel_text_free. */
QEL_API qel_status qel_update_name(qel_update update, size_t file, char** name, size_t* size,
                                   qel_error* error) QEL_NOEXCEPT;

/* Hands out the content of a locked file, to be freed by qel_text_free; "" for one that is not
 * there yet.
 */
QEL_API qel_status qel_update_read(qel_update update, size_t file, char** text, size_t* size,
                                   qel_error* error) QEL_NOEXCEPT;

/* Has qel_update_commit replace the content of a locked file. */
QEL_API qel_status qel_update_replace(qel_update update, size_t file, const char* text, size_t size,
                                      qel_error* error) QEL_NOEXCEPT;

/* Carries out what qel_update_replace was told; once only. When no content is another one than
 * before, no file is touched and no command run.
 *
 * QEL_SERVER_REFUSES, QEL_OVERTAKEN, QEL_CANCELLED, and QEL_UPDATE_FAILED for everything else: then
 * all files are what they were, but for those that another program has changed. The object of the
 * error says what is wrong, in one or more lines; its parameters are, where they apply, "file" and
 * "not_put_back" (each as often as there are such files), "command", "exit_status", "signal",
 * "timed_out" ("1") and "output", all that the command has written. A file that is "not_put_back"
 * holds the new text, and the error says where the old one is.
 */
QEL_API qel_status qel_update_commit(qel_update update, qel_error* error) QEL_NOEXCEPT;

/* What qel_update_commit has done, as JSON, to be freed by qel_text_free: an object with "changed",
 * "backups" and "new_warnings", lists of texts, and with "checked" and "reloaded", whether the
 * commands have been run.
 */
QEL_API qel_status qel_update_json(qel_update update, char** json, size_t* size,
                                   qel_error* error) QEL_NOEXCEPT;

/* Ends qel_update_lock or qel_update_commit in another thread, which is then QEL_CANCELLED, or
 * keeps them from beginning. Does nothing when all is committed. Never QEL_BUSY.
 */
QEL_API qel_status qel_update_cancel(qel_update update) QEL_NOEXCEPT;

/* ---- The engine ---- */

/* Values come first, then the template, then the application: a template sees the values set before
 * it. A second application works on the configuration as the first left it; for an independent
 * request take a new parser.
 */

/* Makes a parser over `config`, the whole text of a configuration, which may be empty and is
 * copied. `dialect` is "nginx" or "apache", whatever the case of the letters.
 */
QEL_API qel_status qel_parser_new(const char* dialect, size_t dialect_size, const char* config,
                                  size_t config_size, qel_parser* parser,
                                  qel_error* error) QEL_NOEXCEPT;

/* Frees a parser; during a call of it, as soon as that call ends. 0 is QEL_OK. */
QEL_API qel_status qel_parser_free(qel_parser parser) QEL_NOEXCEPT;

/* Sets the old value (what the configuration holds now) and the new one (what it is to hold) of the
 * parameter `name`, which may be empty. A null pointer is no value, whatever size stands beside it:
 * no old value removes the one stored; no new value also removes the old value stored before this
 * call, and leaves the stored new value as it is.
 */
QEL_API qel_status qel_parser_set_value(qel_parser parser, const char* name, size_t name_size,
                                        const char* old_value, size_t old_size,
                                        const char* new_value, size_t new_size,
                                        qel_error* error) QEL_NOEXCEPT;

/* Takes over all values of `other`, which may be `parser` itself. Names that `other` does not hold
 * keep theirs.
 */
QEL_API qel_status qel_parser_merge_values(qel_parser parser, qel_parser other,
                                           qel_error* error) QEL_NOEXCEPT;

/* Forgets all values and the template. */
QEL_API qel_status qel_parser_clear_values(qel_parser parser, qel_error* error) QEL_NOEXCEPT;

/* Reads a template against the values set so far. Files that it imports are looked up from the
 * current directory; one that is not there is skipped, one that is there but cannot be read is a
 * QEL_FILE_ERROR, and one that is imported twice a QEL_TEMPLATE_ERROR: the template is then half
 * read. After an application it takes a qel_parser_set_value or qel_parser_clear_values for the new
 * template to be applied.
 */
QEL_API qel_status qel_parser_set_template(qel_parser parser, const char* text, size_t size,
                                           qel_error* error) QEL_NOEXCEPT;

/* The same with the content of the file `path`. When that cannot be read, the template set before
 * stays. A NUL byte within `path` makes it a file that cannot be read.
 */
QEL_API qel_status qel_parser_set_template_file(qel_parser parser, const char* path,
                                                size_t path_size, qel_error* error) QEL_NOEXCEPT;

/* Edits the configuration. Does nothing when it has been done since the last qel_parser_set_value,
 * qel_parser_merge_values or qel_parser_clear_values. When it fails, the configuration is half
 * edited, and qel_parser_config gives what it gave before.
 */
QEL_API qel_status qel_parser_apply(qel_parser parser, qel_error* error) QEL_NOEXCEPT;

/* Hands out the configuration as the last qel_parser_apply left it, without blank lines and without
 * a line end at its end; "" before the first. A NUL byte stands behind the text and is not counted
 * in `*size`; `size` may be a null pointer.
 */
QEL_API qel_status qel_parser_config(qel_parser parser, char** text, size_t* size,
                                     qel_error* error) QEL_NOEXCEPT;

/* The same for the template's own result: the opening, closing and identifying lines of its blocks,
 * with the new values and without the branches not taken.
 */
QEL_API qel_status qel_parser_prototype(qel_parser parser, char** text, size_t* size,
                                        qel_error* error) QEL_NOEXCEPT;

/* ---- Errors ---- */

/* The texts of an error end with a NUL byte and live as long as the error. `size` receives the size
 * without it, and may be a null pointer. They are "" for a handle that is none.
 */

/* One readable line: "file: read (filename=/etc/nginx/site.template)". */
QEL_API const char* qel_error_message(qel_error error, size_t* size) QEL_NOEXCEPT;

/* What kind of error it is, and what about: "file", "read". The object may be "". */
QEL_API const char* qel_error_type(qel_error error, size_t* size) QEL_NOEXCEPT;
QEL_API const char* qel_error_object(qel_error error, size_t* size) QEL_NOEXCEPT;

/* The named parameters of an error: how many there are, and the name and the value of each, counted
 * from 0. "" for an index that is too large.
 */
QEL_API size_t qel_error_param_count(qel_error error) QEL_NOEXCEPT;
QEL_API const char* qel_error_param_name(qel_error error, size_t index, size_t* size) QEL_NOEXCEPT;
QEL_API const char* qel_error_param_value(qel_error error, size_t index, size_t* size) QEL_NOEXCEPT;

/* Frees an error. 0 is QEL_OK. */
QEL_API qel_status qel_error_free(qel_error error) QEL_NOEXCEPT;

/* What a status means, in a few words, also where there is no error: "out of memory". Never freed;
 * "unknown status" for a number that is none.
 */
QEL_API const char* qel_status_text(qel_status status) QEL_NOEXCEPT;

/* ---- The log ---- */

/* There is one log for the whole process, off until a handler is set and a level lets records
 * through.
 */
enum {
  QEL_LOG_OFF = -1,
  QEL_LOG_TRACE = 8, /* each call of a parser */
  QEL_LOG_DEBUG = 9  /* also what was done to the configuration */
};

/* Receives one record: its level, the two names of the channel ("template", "core") and the text,
 * which has no line end. The pointers are valid during the call. It is called in the thread that
 * logs, so by several threads at once when several use parsers. It must come back: no longjmp.
 */
typedef void (*qel_log_handler)(void* context, int level, const char* module, const char* channel,
                                const char* text, size_t size);

/* Sets the handler in place of the one before; a null pointer removes it. `context` is handed to
 * the handler as it is. `release`, unless it is a null pointer, is called with `context` when the
 * handler will not be called again, which is later than the return of the call that replaced it
 * when another thread is just logging, and at once when this call fails.
 */
QEL_API qel_status qel_log_set_handler(qel_log_handler handler, void* context,
                                       void (*release)(void* context),
                                       qel_error* error) QEL_NOEXCEPT;

/* Lets records of `level` and below through; QEL_LOG_OFF, the level at the start, lets none. */
QEL_API qel_status qel_log_set_level(int level) QEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
