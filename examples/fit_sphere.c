/* Fits a sphere to a scan in C. The points are in an array of float with an intensity each, as many scanners give them;
 * primfit takes double, since float has no room for survey coordinates.
 *
 *   gunzip -k data/sphere-target-1.xyz.gz
 *   fit_sphere data/sphere-target-1.xyz
 */
#include <primfit/fit_c.h>
#include <stdio.h>
#include <stdlib.h>

typedef struct {
  float x, y, z, intensity;
} scan_point;

/* Reads x y z from each line. Returns an array to be freed, null for a file that cannot be read. */
static scan_point* read_scan(const char* path, size_t* count) {
  FILE* file = fopen(path, "r");
  scan_point *points = NULL, point = {0, 0, 0, 0};
  size_t room = 0;
  *count = 0;
  if (file == NULL) return NULL;
  while (fscanf(file, "%f %f %f", &point.x, &point.y, &point.z) == 3) {
    if (*count == room) {
      scan_point* more = realloc(points, (room = 2 * room + 1024) * sizeof *points);
      if (more == NULL) break;
      points = more;
    }
    points[(*count)++] = point;
  }
  fclose(file);
  return points;
}

/* The coordinates of points, x y z one after the other; to be freed, null without memory. */
static double* coordinates_of(const scan_point* points, size_t count) {
  double* xyz = malloc(3 * count * sizeof *xyz);
  size_t i;
  for (i = 0; xyz != NULL && i < count; ++i) {
    xyz[3 * i] = points[i].x;
    xyz[3 * i + 1] = points[i].y;
    xyz[3 * i + 2] = points[i].z;
  }
  return xyz;
}

static void print(const primfit_result* sphere) {
  int i;
  printf("centre %.6f %.6f %.6f m, radius %.6f m\n", sphere->numbers[0], sphere->numbers[1],
         sphere->numbers[2], sphere->numbers[3]);
  for (i = 0; i < sphere->parameter_count; ++i)
    printf("  %s +- %.3g m\n", sphere->parameters[i].name, sphere->parameters[i].standard_deviation);
  printf("%lu points within %.6f m: %s\n", (unsigned long)sphere->inlier_count, sphere->tolerance,
         sphere->reason);
}

int main(int argc, char** argv) {
  char message[PRIMFIT_MESSAGE_SIZE] = "the library is older than its header";
  primfit_options options;
  primfit_result* sphere = NULL;
  size_t count = 0;
  scan_point* points = argc == 2 ? read_scan(argv[1], &count) : NULL;
  double* xyz = points != NULL ? coordinates_of(points, count) : NULL;
  int status;
  free(points);
  if (xyz == NULL) {
    fprintf(stderr, "usage: fit_sphere FILE, with x y z in metres in each line\n");
    return 2;
  }

  /* The defaults say nothing. The version is that of the header, so that a newer library still understands the options. */
  status = primfit_default_options(&options, PRIMFIT_OPTIONS_VERSION);
  options.has_seed = 1; /* the search is random; with the same seed it gives the same bits */
  options.seed = 1;
  if (status == 0) status = primfit_fit(PRIMFIT_SPHERE, count, xyz, 3, &options, &sphere, message);
  free(xyz);
  if (status != 0) { /* a primfit_error for a program, the message for people */
    fprintf(stderr, "no sphere: %s\n", message);
    return 1;
  }
  print(sphere);
  status = sphere->verdict == PRIMFIT_GOOD ? 0 : 3;
  primfit_free(sphere);
  return status;
}
