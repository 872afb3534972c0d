/* Renames a site in an nginx configuration and writes the edited text to standard output:
 *
 *   rename_site CONFIG OLD_NAME NEW_NAME
 */
#include <errno.h>
#include <qeltemplate_c.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The lines of a site that hold its name. */
static const char kTemplate[] =
    "server {\n"
    "\tserver_name {% $name %} www.{% $name %};\n"
    "\taccess_log logs/{% $name %}.access.log;\n"
    "}\n";

/* Returns the file's content, to be freed, or a null pointer. */
static char* ReadFile(const char* name, size_t* size) {
  FILE* file = fopen(name, "rb");
  if (file == NULL) return NULL;
  char* content = NULL;
  if (fseek(file, 0, SEEK_END) == 0) {
    const long end = ftell(file);
    rewind(file);
    if (end >= 0) content = malloc((size_t)end + 1);
    if (content != NULL) *size = fread(content, 1, (size_t)end, file);
    if (content != NULL && *size != (size_t)end) {
      free(content);
      content = NULL;
    }
  }
  fclose(file);
  return content;
}

/* Goes as far as it can, and says what came of the last step. */
static qel_status Rename(qel_parser parser, const char* old_name, const char* new_name,
                         char** edited, size_t* size, qel_error* error) {
  qel_status status =
      qel_parser_set_value(parser, "name", QEL_NUL, old_name, QEL_NUL, new_name, QEL_NUL, error);
  if (status == QEL_OK) status = qel_parser_set_template(parser, kTemplate, QEL_NUL, error);
  if (status == QEL_OK) status = qel_parser_apply(parser, error);
  if (status == QEL_OK) status = qel_parser_config(parser, edited, size, error);
  return status;
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: rename_site CONFIG OLD_NAME NEW_NAME\n");
    return 2;
  }
  size_t config_size = 0;
  char* config = ReadFile(argv[1], &config_size);
  if (config == NULL) {
    fprintf(stderr, "rename_site: %s: %s\n", argv[1], strerror(errno));
    return 1;
  }

  qel_parser parser = 0;
  qel_error error = 0;
  char* edited = NULL;
  size_t size = 0;
  qel_status status = qel_parser_new("Nginx", QEL_NUL, config, config_size, &parser, &error);
  free(config);
  if (status == QEL_OK) status = Rename(parser, argv[2], argv[3], &edited, &size, &error);

  int exit_code = EXIT_SUCCESS;
  if (status != QEL_OK) {
    fprintf(stderr, "rename_site: %s\n",
            error != 0 ? qel_error_message(error, NULL) : qel_status_text(status));
    exit_code = EXIT_FAILURE;
  } else if (fwrite(edited, 1, size, stdout) != size || putchar('\n') == EOF ||
             fflush(stdout) != 0) {
    fprintf(stderr, "rename_site: standard output: %s\n", strerror(errno));
    exit_code = EXIT_FAILURE;
  }
  qel_text_free(edited);
  qel_error_free(error);
  qel_parser_free(parser);
  return exit_code;
}
