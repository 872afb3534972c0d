/* What a control panel does with its sites: adds one to a file, renames it, switches TLS on,
 * removes it.
 *
 *   site add|rename|tls|remove TEMPLATES FILE NAME [NEW_NAME]
 *
 * TEMPLATES is a folder with a template for each. The exit status is 3 when the edit is refused.
 */
#include <qeltemplate_c.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kDone = 0, kFailed = 1, kUsage = 2, kRefused = 3 };

typedef struct {
  const char* action;
  const char* file;
  const char* name;
  const char* new_name;
  char template_name[4096];
  char template_text[65536];
} Task;

static int ReadTemplate(Task* task, const char* folder) {
  const int length = snprintf(task->template_name, sizeof task->template_name, "%s/%s.template",
                              folder, task->action);
  FILE* file = NULL;
  if (length > 0 && (size_t)length < sizeof task->template_name) {
    file = fopen(task->template_name, "rb");
  }
  if (file == NULL) return 0;
  const size_t size = fread(task->template_text, 1, sizeof task->template_text - 1, file);
  task->template_text[size] = '\0';
  const int whole = feof(file) != 0;
  fclose(file);
  return whole;
}

/* Makes the request. Goes as far as it can, and says what came of the last step. */
static qel_status Prepare(const Task* task, qel_request* request, qel_error* error) {
  const int adds = strcmp(task->action, "add") == 0;
  const int renames = strcmp(task->action, "rename") == 0;
  const int removes = strcmp(task->action, "remove") == 0;
  qel_status status = qel_request_new("nginx", QEL_NUL, task->template_text, QEL_NUL,
                                      task->template_name, QEL_NUL, request, error);
  if (status == QEL_OK) {
    status = qel_request_set_value(*request, "name", QEL_NUL,
                                   renames || removes ? task->name : NULL, QEL_NUL,
                                   renames   ? task->new_name
                                   : removes ? NULL
                                             : task->name,
                                   QEL_NUL, error);
  }
  if (status == QEL_OK) status = qel_request_set_option(*request, QEL_MUST_EXIST, 1, error);
  /* Only what is added may be new: a typing error makes no site. */
  if (status == QEL_OK && !adds) status = qel_request_set_create(*request, QEL_CREATE_NEVER, error);
  return status;
}

/* And QEL_UPDATE_CHECK with "nginx -t", QEL_UPDATE_RELOAD with "systemctl reload nginx". */
static qel_status Lock(const Task* task, qel_update* update, qel_error* error) {
  qel_status status = qel_update_new(update, error);
  if (status == QEL_OK) status = qel_update_add(*update, task->file, QEL_NUL, error);
  if (status == QEL_OK) {
    status = qel_update_set_text(*update, QEL_UPDATE_BACKUP_SUFFIX, "~", QEL_NUL, error);
  }
  if (status == QEL_OK) status = qel_update_lock(*update, error);
  return status;
}

static qel_status EditFile(const Task* task, qel_request request, qel_update update,
                           qel_result* result, qel_error* error) {
  char* text = NULL;
  size_t size = 0;
  qel_status status = qel_update_read(update, 0, &text, &size, error);
  if (status == QEL_OK) {
    status = qel_edit(request, text, size, task->file, QEL_NUL, result, error);
  }
  qel_text_free(text);
  if (status == QEL_OK) {
    const char* edited = qel_result_text(*result, &size);
    status = qel_update_replace(update, 0, edited, size, error);
  }
  if (status == QEL_OK) status = qel_update_commit(update, error);
  return status;
}

static void Say(const char* what, qel_result result, int kind) {
  for (size_t i = 0; i < qel_finding_count(result, kind); ++i) {
    fprintf(stderr, "%s: %s\n", what, qel_finding_said(result, kind, i, NULL));
  }
}

int main(int argc, char** argv) {
  static Task task;
  const int renames = argc > 1 && strcmp(argv[1], "rename") == 0;
  if (argc != (renames ? 6 : 5)) {
    fprintf(stderr, "usage: site add|rename|tls|remove TEMPLATES FILE NAME [NEW_NAME]\n");
    return kUsage;
  }
  task.action = argv[1];
  task.file = argv[3];
  task.name = argv[4];
  if (renames) task.new_name = argv[5];
  if (!ReadTemplate(&task, argv[2])) {
    fprintf(stderr, "site: %s cannot be read\n", task.template_name);
    return kFailed;
  }

  qel_request request = 0;
  qel_update update = 0;
  qel_result result = 0;
  qel_error error = 0;
  qel_status status = Prepare(&task, &request, &error);
  if (status == QEL_OK) status = Lock(&task, &update, &error);
  if (status == QEL_OK) status = EditFile(&task, request, update, &result, &error);

  int exit_code = kDone;
  Say("warning", result, QEL_WARNINGS);
  if (status == QEL_REFUSED) {
    Say("refused", result, QEL_REFUSALS);
    exit_code = kRefused;
  } else if (status != QEL_OK) {
    fprintf(stderr, "site: %s\n",
            error != 0 ? qel_error_message(error, NULL) : qel_status_text(status));
    exit_code = kFailed;
  }
  qel_result_free(result);
  qel_error_free(error);
  qel_update_free(update);
  qel_request_free(request);
  return exit_code;
}
