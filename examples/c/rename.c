/* Gives a site of a file another name, and says why not, and where.
 *
 *   rename FILE OLD_NAME NEW_NAME [all]
 *
 * The exit status is 3 when the edit is refused.
 */
#include <qeltemplate_c.h>
#include <stdio.h>
#include <string.h>

static const char kTemplate[] = "server {\n\tserver_name {% $name %};\n}\n";

/* Gives a site of the file another name. `all`: in each of its blocks, as for ports 80 and 443;
 * else several are refused. Says why not, and where.
 */
static qel_status RenameSite(const char* file, const char* from, const char* to, int all) {
  qel_request request = 0;
  qel_update update = 0;
  qel_result result = 0;
  qel_error error = 0;
  char* text = NULL;
  size_t size = 0;
  qel_status status = qel_request_new("nginx", QEL_NUL, kTemplate, QEL_NUL, "name.template",
                                      QEL_NUL, &request, &error);
  if (status == QEL_OK) {
    status = qel_request_set_value(request, "name", QEL_NUL, from, QEL_NUL, to, QEL_NUL, &error);
  }
  if (status == QEL_OK) status = qel_request_set_option(request, QEL_ALL, all, &error);
  if (status == QEL_OK) status = qel_update_new(&update, &error);
  if (status == QEL_OK) status = qel_update_add(update, file, QEL_NUL, &error);
  if (status == QEL_OK) status = qel_update_lock(update, &error);
  if (status == QEL_OK) status = qel_update_read(update, 0, &text, &size, &error);
  if (status == QEL_OK) status = qel_edit(request, text, size, file, QEL_NUL, &result, &error);
  if (status == QEL_OK) {
    const char* edited = qel_result_text(result, &size);
    status = qel_update_replace(update, 0, edited, size, &error);
  }
  if (status == QEL_OK) status = qel_update_commit(update, &error);

  if (status == QEL_REFUSED) {
    for (size_t i = 0; i < qel_finding_count(result, QEL_REFUSALS); ++i) {
      fprintf(stderr, "%s\n", qel_finding_said(result, QEL_REFUSALS, i, NULL));
    }
  } else if (status != QEL_OK) {
    const char* message = qel_error_message(error, NULL);
    fprintf(stderr, "%s\n", error != 0 ? message : qel_status_text(status));
  }
  qel_text_free(text);
  qel_error_free(error);
  qel_result_free(result);
  qel_update_free(update);
  qel_request_free(request);
  return status;
}

int main(int argc, char** argv) {
  const int all = argc == 5 && strcmp(argv[4], "all") == 0;
  if (argc != 4 && !all) {
    fprintf(stderr, "usage: rename FILE OLD_NAME NEW_NAME [all]\n");
    return 2;
  }
  switch (RenameSite(argv[1], argv[2], argv[3], all)) {
    case QEL_OK:
      return 0;
    case QEL_REFUSED:
      return 3;
    default:
      return 1;
  }
}
