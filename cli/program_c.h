/* The program primfit for hosts in C and in languages that call C, with readers of file formats that the host
 * adds. A host that has a library for LAZ or E57, say, so gives every command of the program these files:
 *
 *   primfit_reader laz = {.version = PRIMFIT_READER_VERSION, .name = "LAZ", .extensions = ".laz", ...};
 *   primfit_program_host host = {.version = PRIMFIT_PROGRAM_VERSION, .readers = &laz, .reader_count = 1};
 *   return primfit_program(argc - 1, argv + 1, &host);
 *
 * Link with libprimfit_program. Nothing here keeps state between calls.
 */
#ifndef PRIMFIT_PROGRAM_C_H_
#define PRIMFIT_PROGRAM_C_H_

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define PRIMFIT_PROGRAM_API __attribute__((visibility("default")))
#else
#define PRIMFIT_PROGRAM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum { PRIMFIT_READER_VERSION = 1, PRIMFIT_PROGRAM_VERSION = 1, PRIMFIT_READER_MESSAGE_SIZE = 256 };

/* What a file says of its points as a whole. A reader fills it when it opens a file; all of it is zero before,
 * and what it points to lives until the file is closed. */
typedef struct primfit_file_head {
  const char* format;             /* for people, such as "LAZ 1.4"; null: the reader's name */
  const char* const* fields;      /* names of the values that a point has */
  const char* const* field_types; /* of each one, such as "uint16"; null: unknown */
  size_t field_count;
  double horizontal_metres; /* in the unit of length; 0: not known */
  double vertical_metres;
  const char* coordinate_system; /* its name or code; null: not known */
  const double* stations;        /* where the scanner stood, three numbers for each scan, NaN: not known */
  const uint64_t* scan_points;   /* points of each scan; null: not known */
  size_t scan_count;
  uint64_t most_points; /* that come; 0: not known */
  uint64_t marked;      /* points that the file itself marks as missing or deleted, which are not passed on */
} primfit_file_head;

/* Room for the next points. */
typedef struct primfit_block {
  size_t room;               /* points that fit */
  double* coordinates;       /* x, y, z of each point, one point after the other */
  double* const* attributes; /* for each one that was asked for, an array with a value a point */
} primfit_block;

/* A reader of a format. Functions say what went wrong in `message`, a text of at most
 * PRIMFIT_READER_MESSAGE_SIZE bytes with its zero; the program puts the name of the file before it. They are
 * called in the thread of primfit_program and must not throw. */
typedef struct primfit_reader {
  int version;            /* PRIMFIT_READER_VERSION */
  const char* name;       /* for people */
  const char* extensions; /* of file names, in lower case, with blanks between them, such as ".laz .copc" */
  /* Whether the contents are surely of this format; not 0 if so. A row is asked before the program's own. */
  int (*recognizes)(const void* bytes, size_t size, void* user);
  /* Opens a file. `path` is "-" for standard input, whose contents `bytes` has as that of any file; it is the
   * unpacked contents of a file that is compressed with gzip. `attributes` are those that every block has to
   * give, in this order. Returns a handle, or null when it fails. */
  void* (*open)(const char* path, const void* bytes, size_t size, const char* const* attributes,
                size_t attribute_count, primfit_file_head* head, char* message, void* user);
  /* Fills the next points of a block. Returns how many, 0 at the end, and (size_t)-1 when it fails. */
  size_t (*next)(void* handle, const primfit_block* block, char* message, void* user);
  void (*close)(void* handle, void* user);
  void* user;
} primfit_reader;

/* What the program is given by its host. All but the version may be zero. */
typedef struct primfit_program_host {
  int version; /* PRIMFIT_PROGRAM_VERSION */
  const primfit_reader* readers;
  size_t reader_count;
  /* Takes what the program writes to its output (stream 1) and to its error stream (2). Null: those of the
   * process. Not 0 says that the text could not be written. */
  int (*write)(int stream, const char* text, size_t size, void* user);
  int errors_are_terminal; /* whether a progress bar makes sense there */
  /* Whether the user wants the search to end with the best shape until then; asked often. */
  int (*stop_requested)(void* user);
  void* user;
} primfit_program_host;

/* Runs the program. `arguments` are those after its name; null host: no readers, the process's streams.
 * Returns its exit status. */
PRIMFIT_PROGRAM_API int primfit_program(int argument_count, const char* const* arguments,
                                        const primfit_program_host* host);

#ifdef __cplusplus
}
#endif

#endif /* PRIMFIT_PROGRAM_C_H_ */
