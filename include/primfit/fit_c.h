/* The adaptive fit of primfit/fit.h for C and for languages that call C: plain arrays in, one result out.
 *
 *   primfit_options options;
 *   primfit_result* found;
 *   char message[PRIMFIT_MESSAGE_SIZE];
 *   primfit_default_options(&options, PRIMFIT_OPTIONS_VERSION);
 *   if (primfit_fit(PRIMFIT_CYLINDER, n, xyz, 3, &options, &found, message) == 0) {
 *     printf("radius %g\n", found->numbers[3]);
 *     primfit_free(found);
 *   }
 *
 * Lengths are in the unit of the points, angles in radians, times in seconds, directions of unit length. A
 * shape is one array of its numbers; of these the parts that can be held come first:
 *
 * - line: root (3), direction (3), length
 * - arc: centre (3), radius, direction of the start (3), y axis (3), angle; the y axis is a quarter turn on
 * - plane: origin (3), normal (3); patch: these and the direction of u (3), see the outline
 * - sphere: centre (3), radius
 * - cylinder: point of the axis (3), radius, axis (3); bounded: the point is the start, and height
 * - cone: apex (3), half-angle, axis (3); bounded: and the heights from the apex between which it is
 * - torus: centre (3), major radius, minor radius, axis (3); elbow: and angle, direction of the start (3)
 *
 * The functions never throw and may be called in any thread.
 */
#ifndef PRIMFIT_FIT_C_H_
#define PRIMFIT_FIT_C_H_

#include <stddef.h>
#include <stdint.h>

#include "primfit/error_codes.h"
#include "primfit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { PRIMFIT_OPTIONS_VERSION = 2, PRIMFIT_MESSAGE_SIZE = 256, PRIMFIT_MOST_NUMBERS = 12 };

typedef enum primfit_shape {
  PRIMFIT_LINE,
  PRIMFIT_ARC,
  PRIMFIT_PLANE,
  PRIMFIT_PATCH,
  PRIMFIT_SPHERE,
  PRIMFIT_CYLINDER,
  PRIMFIT_BOUNDED_CYLINDER,
  PRIMFIT_CONE,
  PRIMFIT_BOUNDED_CONE,
  PRIMFIT_TORUS,
  PRIMFIT_ELBOW
} primfit_shape;

/* What primfit::FitOptions say, in the same order; primfit_default_options gives the values for nothing said.
 * New versions only add members at the end; the library takes those of all versions up to its own. */
typedef struct primfit_options {
  int version;
  double noise;          /* standard deviation of the points from the shape; NaN: estimated */
  double tolerance;      /* distance within which points are inliers; NaN: three times the noise */
  double outlier_share;  /* for which enough samples are drawn; NaN: the data's */
  const double* weights; /* one for each point; null: all count alike */
  double confidence;     /* that no better shape was missed; in (0, 1) */
  int most_draws;
  double time_limit; /* from the call on */
  int has_seed;      /* 0: the seed is the clock's */
  uint64_t seed;     /* the same gives the same bits */
  double radius[2];  /* plausible range of an arc's, sphere's, cylinder's radius, a torus's major radius */
  double minor_radius[2]; /* of a torus or elbow */
  double half_angle[2];   /* of a cone; within a quarter turn, the first below it */
  double axis_near[3];    /* direction of an axis, line or normal, of either sign; zero: any */
  double axis_within;     /* angle from axis_near */
  double passes[3];       /* a place that the shape passes; NaN: none */
  double passes_within;   /* distance from it, beside the inliers' tolerance */
  /* Numbers of a shape that is judged first, and whose parts are held; what is not held may be anything, NaN
   * too, and length, height, angle, u and the start of an elbow are not read. Null: none. */
  const double* start;
  const int* fix; /* for each part that can be held, not 0 to hold it as in start; null: none */
  /* Called now and then, with shares below 1 that never run back; not 0 stops the fit. Null: none. */
  int (*progress)(double share, void* user);
  void* user;
  /* Since version 2. */
  int all_points; /* not 0: every finite point is on the shape, there are no outliers; all may be held then */
  /* Where the scanner stood, x y z one after the other: the normal of a plane or patch then points to that
   * side, and seen_from of the result is known. Null with a count of 0: that is not known. */
  const double* stations;
  size_t station_count;
} primfit_options;

typedef enum primfit_parameter_kind {
  PRIMFIT_POSITION,
  PRIMFIT_DIRECTION,
  PRIMFIT_RADIUS,
  PRIMFIT_HALF_ANGLE,
  PRIMFIT_MAJOR_RADIUS,
  PRIMFIT_MINOR_RADIUS
} primfit_parameter_kind;

/* One free parameter of a shape. */
typedef struct primfit_parameter {
  int kind;            /* a primfit_parameter_kind */
  const char* name;    /* "position", "direction", "radius", "half-angle", "major radius", "minor radius" */
  int is_angle;        /* radians, else the unit of the points */
  double direction[3]; /* in which the position or direction moves; zero for a size */
  double standard_deviation; /* infinite for what the points do not determine */
} primfit_parameter;

enum { PRIMFIT_CONFIDENT, PRIMFIT_DRAW_LIMIT, PRIMFIT_TIME_LIMIT, PRIMFIT_STOPPED }; /* stop_reason */
/* verdict */
enum { PRIMFIT_GOOD, PRIMFIT_AMBIGUOUS, PRIMFIT_AT_LIMIT, PRIMFIT_WEAK, PRIMFIT_MISFIT, PRIMFIT_SIMPLER };

/* A shape with fewer parameters that explains the inliers of another as well. */
typedef struct primfit_simpler {
  int shape; /* PRIMFIT_LINE (of length 0), PRIMFIT_PLANE, PRIMFIT_SPHERE or PRIMFIT_CYLINDER */
  int number_count;
  double numbers[PRIMFIT_MOST_NUMBERS];
  double rms; /* of the distances of the inliers from it */
  int parameter_count;
  const primfit_parameter* parameters;
  const double* covariance; /* parameter_count rows and columns */
  double position[3];       /* where the position is stated */
} primfit_simpler;

enum { PRIMFIT_SEEN_UNKNOWN, PRIMFIT_SEEN_OUTSIDE, PRIMFIT_SEEN_INSIDE }; /* seen_from */

/* The library makes it and frees it, with all that it points to. New versions only add members at the end. */
typedef struct primfit_result {
  int number_count;
  double numbers[PRIMFIT_MOST_NUMBERS];
  /* Root mean square, mean, mean signed and largest distance of the inliers, and how many of them are in each
     slot: eight of a quarter of the scale, one to four times the scale, and the rest. */
  double rms, mean, mean_signed, largest;
  int histogram[10];
  double histogram_scale;
  /* The covariance of the parameters, parameter_count rows and columns, and where the position is stated. */
  int parameter_count;
  const primfit_parameter* parameters;
  const double* covariance;
  double position[3];
  int draws, refinements;
  double inlier_share; /* of the finite points, by weight */
  double noise;        /* measured standard deviation of the inliers from the shape */
  double tolerance;    /* distance within which points are inliers */
  int stop_reason;
  int converged; /* whether another selection of inliers or another step would change nothing */
  int verdict;
  const char* reason; /* of the verdict, for people */
  size_t inlier_count;
  const uint32_t* inliers; /* positions in the points given, ascending */
  size_t outline_count;    /* vertices of a patch */
  const double* outline;   /* u and v of each: origin + u * direction of u + v * (normal x direction of u) */
  double
      step; /* of the coordinates across the shape where it is coarser than the rest of the noise, else 0 */
  size_t set_aside; /* points that were left out, as hundreds lie at one place: missing returns */
  /* Standard deviations of the bounds: length of a line or cylinder, angle of an arc or elbow, both heights of
   * a cone, each vertex of an outline. None for shapes without bounds. Infinite for what the points do not
   * determine. */
  size_t extent_count;
  const double* extents;
  double
      start_deviation; /* of the start along a line or axis, or in radians about it; 0 where there is none */
  /* Least and largest signed distance of an inlier, negative inside; of a curve they are positive. */
  double least_deviation, largest_deviation;
  int seen_from; /* from which side a sphere, cylinder, cone or torus was seen; unknown without stations */
  const primfit_simpler* simpler; /* whatever the verdict; null: none, or a size was held */
} primfit_result;

/* Fills in the options for nothing said.
 * version: PRIMFIT_OPTIONS_VERSION of the caller's header; what that version has is written. Returns 0, and a
 * primfit_error for null and for a version that the library does not know. */
PRIMFIT_API int primfit_default_options(primfit_options* options, int version);

/* Finds the shape that stands out most from chance among n points, x y z one after the other, and refines it
 * until its inliers stay the same. Points that are not finite are left out.
 * shape: a primfit_shape. stride: doubles from point to point, at least 3. options: null for the default
 * ones. message: null, or PRIMFIT_MESSAGE_SIZE characters. Returns 0 with a result for primfit_free; where
 * there is none a primfit_error: the message then says why in words, such as "Not enough points", "No shape
 * stands out from chance" or "Option noise must be positive", and the result stays as it was. */
PRIMFIT_API int primfit_fit(int shape, size_t n, const double* points, size_t stride,
                            const primfit_options* options, primfit_result** result, char* message);

/* The same for floats, of which it makes no copy in double beside the one that every fit makes of its points.
 * stride: floats from point to point. The result is that of the same values as doubles, bit for bit. */
PRIMFIT_API int primfit_fit_float(int shape, size_t n, const float* points, size_t stride,
                                  const primfit_options* options, primfit_result** result, char* message);

/* Frees a result; null is none. */
PRIMFIT_API void primfit_free(primfit_result* result);

#ifdef __cplusplus
}
#endif

#endif /* PRIMFIT_FIT_C_H_ */
