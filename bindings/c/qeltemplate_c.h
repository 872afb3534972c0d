// SPDX-License-Identifier: Apache-2.0

/* libqeltemplate for C, and for every language that can call C.
 *
 * Edits the text of an nginx or Apache httpd configuration by a template and named values, and
 * leaves everything else as it is:
 *
 *   qel_parser parser = 0;
 *   qel_error error = 0;
 *   char* edited = NULL;
 *   size_t size = 0;
 *   if (qel_parser_new("Nginx", QEL_NUL, config, config_size, &parser, &error) != QEL_OK ||
 *       qel_parser_set_value(parser, "name", QEL_NUL, "a.example", QEL_NUL, "b.example", QEL_NUL,
 *                            &error) != QEL_OK ||
 *       qel_parser_set_template_file(parser, "site.template", QEL_NUL, &error) != QEL_OK ||
 *       qel_parser_apply(parser, &error) != QEL_OK ||
 *       qel_parser_config(parser, &edited, &size, &error) != QEL_OK) {
 *     fprintf(stderr, "%s\n", qel_error_message(error, NULL));
 *   }
 *   qel_text_free(edited);
 *   qel_error_free(error);
 *   qel_parser_free(parser);
 *
 * Values come first, then the template, then the application: a template sees the values set before
 * it. A second application works on the configuration as the first left it; for an independent
 * request take a new parser.
 *
 * Who frees what: each parser, error and text that a function hands out is yours until you give it
 * back to qel_parser_free, qel_error_free or qel_text_free; nothing else is ever freed by you, and
 * nothing of yours is kept.
 *
 * Handles (qel_parser, qel_error) are numbers, never 0 and never used twice. A handle that was
 * freed, or never was one, is answered with QEL_BAD_HANDLE.
 *
 * Texts are bytes in any encoding, NUL bytes included, and go with their size in bytes; QEL_NUL in
 * place of a size is for texts that end with a NUL byte. A null pointer stands for no value where a
 * value is asked for; everywhere else it is answered with QEL_BAD_ARGUMENT.
 *
 * Errors: functions that can fail return a qel_status, and fill in the qel_error behind the pointer
 * `error`: with 0 when all went well, or when there was no memory for an error; otherwise with a
 * new error. `error` may be a null pointer. What a failed call would have handed out is set to null
 * or 0; the parser can be used on or freed. No C++ exception leaves a function.
 *
 * Threads: every function may be called in every thread. A parser serves one call at a time; a call
 * during another one, made by another thread or by the log handler, is answered with QEL_BUSY and
 * changes nothing. Different parsers do not disturb one another.
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
  QEL_BAD_HANDLE = 1,      /* no such parser ("handle", "unknown": name, the kind of handle) */
  QEL_BAD_ARGUMENT = 2,    /* a null pointer ("argument", "null": name, the argument's) */
  QEL_BUSY = 3,            /* the parser is in a call ("parser", "busy") */
  QEL_UNKNOWN_DIALECT = 4, /* ("dialect", "unknown": name) */
  QEL_TEMPLATE_ERROR = 5,  /* a file imported twice ("template", "circular_import": filename) */
  QEL_FILE_ERROR = 6,      /* a file that cannot be read ("file", "read": filename) */
  QEL_NO_MEMORY = 7,       /* never with an error */
  QEL_FAILED = 8           /* anything else ("failure": the object says what) */
};

/* In place of a text's size: the text ends with its first NUL byte. */
#define QEL_NUL ((size_t)-1)

/* A configuration that is being edited; 0 is none. */
typedef uint64_t qel_parser;

/* What went wrong in one call; 0 is none. */
typedef uint64_t qel_error;

/* ---- Parsers ---- */

/* Makes a parser over `config`, the whole text of a configuration, which may be empty and is
 * copied. `dialect` is exactly "Nginx" or "Apache".
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

/* Frees a text that qel_parser_config or qel_parser_prototype handed out, or a null pointer. */
QEL_API void qel_text_free(char* text) QEL_NOEXCEPT;

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
