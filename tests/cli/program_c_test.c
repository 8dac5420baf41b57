/* A host in C whose program reads one format more: "LEVEL z n", a level square of n times n points. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cli/program_c.h"

static int faults = 0;

static void expect(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "failed: %s\n", what);
  ++faults;
}

struct level {
  double z;
  size_t side, next, attributes;
};

static int open_files = 0;

static int recognizes(const void* bytes, size_t size, void* user) {
  (void)user;
  return size > 6 && memcmp(bytes, "LEVEL ", 6) == 0;
}

static void* open_level(const char* path, const void* bytes, size_t size, const char* const* attributes,
                        size_t attribute_count, primfit_file_head* head, char* message, void* user) {
  static const char* const fields[] = {"x", "y", "z", "number"};
  static const double station[] = {1, 2, 30};
  static const uint64_t points[] = {9000000};
  struct level* level = malloc(sizeof *level);
  char text[64] = "";
  memcpy(text, bytes, size < 63 ? size : 63);
  expect(user == &faults, "the host's own pointer comes back");
  expect(strstr(path, "square") != NULL, "the reader is told the path");
  if (level == NULL || sscanf(text, "LEVEL %lf %zu", &level->z, &level->side) != 2) {
    strcpy(message, "has no height and no number of points");
    free(level);
    return NULL;
  }
  if (attribute_count > 0) expect(strcmp(attributes[0], "number") == 0, "attributes are named");
  level->next = 0;
  level->attributes = attribute_count;
  head->format = "level 1.0";
  head->fields = fields;
  head->field_count = 4;
  head->stations = station;
  head->scan_points = points;
  head->scan_count = 1;
  head->most_points = level->side * level->side;
  ++open_files;
  return level;
}

static size_t next_points(void* handle, const primfit_block* block, char* message, void* user) {
  struct level* level = handle;
  const size_t all = level->side * level->side;
  size_t n = 0;
  (void)user;
  if (level->side == 666) {
    strcpy(message, "is damaged after its first points");
    return level->next++ == 0 ? block->room : (size_t)-1;
  }
  for (; n < block->room && level->next < all; ++n, ++level->next) {
    block->coordinates[3 * n] = 0.01 * (double)(level->next % level->side);
    block->coordinates[3 * n + 1] = 0.01 * (double)(level->next / level->side);
    block->coordinates[3 * n + 2] = level->z;
    if (level->attributes > 0) block->attributes[0][n] = (double)level->next;
  }
  return n;
}

static void close_level(void* handle, void* user) {
  (void)user;
  --open_files;
  free(handle);
}

static char output[2][8192];

static int take(int stream, const char* text, size_t size, void* user) {
  char* to = output[stream - 1];
  (void)user;
  strncat(to, text, size < sizeof output[0] - strlen(to) - 1 ? size : 0);
  return 0;
}

static int run(const primfit_program_host* host, const char* command, const char* path, const char* more) {
  const char* arguments[] = {command, path, more};
  output[0][0] = output[1][0] = 0;
  return primfit_program(more != NULL ? 3 : 2, arguments, host);
}

static const char* write_file(const char* folder, const char* text) {
  static char path[1024];
  FILE* file;
  snprintf(path, sizeof path, "%s/square.txt", folder);
  file = fopen(path, "w");
  if (file == NULL) exit(2);
  fputs(text, file);
  fclose(file);
  return path;
}

int main(int argc, char** argv) {
  const char* folder = argc > 1 ? argv[1] : ".";
  primfit_reader reader = {
      PRIMFIT_READER_VERSION, "LEVEL", ".lvl", recognizes, open_level, next_points, close_level, &faults};
  primfit_program_host host = {PRIMFIT_PROGRAM_VERSION, &reader, 1, take, 0, NULL, NULL};

  expect(run(&host, "info", write_file(folder, "LEVEL 2.5 100"), NULL) == 0, "a file of the host is read");
  expect(strstr(output[0], "10000 (level 1.0)") != NULL, "its points and format are told");
  expect(run(&host, "plane", write_file(folder, "LEVEL 2.5 100"), "--seed=1") == 0, "a plane is found in it");
  expect(strstr(output[0], "10000 of 10000") != NULL, "with all of its points");

  expect(run(&host, "info", write_file(folder, "LEVEL"), NULL) == 2, "other files are not the host's");
  expect(run(&host, "info", write_file(folder, "LEVEL x"), NULL) == 2,
         "a file that cannot be opened is trouble");
  expect(strstr(output[1], "square.txt: has no height and no number of points\n") != NULL, "with its reason");
  expect(run(&host, "info", write_file(folder, "LEVEL 1 666"), NULL) == 2, "reading that fails is trouble");
  expect(strstr(output[1], "square.txt: is damaged after its first points\n") != NULL, "with its reason");
  expect(open_files == 0, "every file that was opened was closed");

  reader.next = NULL;
  expect(run(&host, "info", folder, NULL) == 2, "a reader without a function is refused");
  expect(strstr(output[1], "no function open or next") != NULL, "and it is said which");
  host.reader_count = 0;
  expect(run(&host, "info", write_file(folder, "LEVEL 1 10"), NULL) == 2,
         "a host without readers has no LEVEL");
  if (faults > 0) fprintf(stderr, "output: %s\nerrors: %s\n", output[0], output[1]);
  return faults > 0;
}
