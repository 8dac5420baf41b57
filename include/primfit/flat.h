/* Single stages of a fit and whole fits over plain arrays, for C and for languages that call C.
 *
 * Points are n x 3 doubles, x y z of one point after another, in the caller's length unit; points with a
 * coordinate that is not finite are left out. A shape is one array of its numbers, angles in radians,
 * directions of unit length; the parts that can be held have the same order:
 *
 * - plane: origin (3), normal (3): 6 numbers
 * - sphere: centre (3), radius: 4 numbers
 * - cylinder: point of the axis (3), radius, axis (3): 7 numbers, 3 parts
 * - cone: apex (3), half-angle, axis (3): 7 numbers, 3 parts
 * - torus: centre (3), major radius, minor radius, axis (3): 8 numbers, 4 parts
 *
 * `fix` holds one int for each part, not 0 to hold it at its value in `start` or `values`; the numbers of
 * parts that are not held are not read. A held part comes back as it was given, a direction at unit length;
 * one that is not finite, a direction of zero or a negative length or angle is a failure.
 *
 * Every function returns 0 when done, 1 when it failed (or an array is null), -1 for n < 1; on 1 and -1
 * nothing is written.
 *
 * C callers: the IFit functions never throw. The Optimize, QFit and RFit functions let a C++ exception out
 * (derived from std::exception) where their comment says so; it ends a program that has no C++ frame to catch
 * it.
 */
#ifndef PRIMFIT_FLAT_H_
#define PRIMFIT_FLAT_H_

#include "primfit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The whole fit: search, refinement, selection, success test, with the shape's default sample, 20 % outliers,
 * probability 0.99 and tolerance 0.012. quality: 4 numbers out, the root mean square, mean, mean signed and
 * largest distance of the points within the tolerance. scannerError: tolerance of the refinement and scale of
 * the success test, within [0, 1]. */
PRIMFIT_API int IFitPlane(int n, const double* points, double* plane, double* quality, double scannerError);
PRIMFIT_API int IFitSphere(int n, const double* points, double* sphere, double* quality, double scannerError);
PRIMFIT_API int IFitCylinder(int n, const double* points, const int* fix, const double* start,
                             double* cylinder, double* quality, double scannerError);
PRIMFIT_API int IFitCone(int n, const double* points, const int* fix, const double* start, double* cone,
                         double* quality, double scannerError);
PRIMFIT_API int IFitTorus(int n, const double* points, const int* fix, const double* start, double* torus,
                          double* quality, double scannerError);

/* Refines the shape's numbers, in and out, on all points by least squares of the orthogonal distances. Fails
 * when the start is farther from the points than 100 x scannerError, root mean square. Throws:
 * std::bad_alloc, and "Cannot allocate memmory". */
PRIMFIT_API int OptimizePlane(int n, const double* points, double* plane, double scannerError);
PRIMFIT_API int OptimizeSphere(int n, const double* points, double* sphere, double scannerError);
PRIMFIT_API int OptimizeCylinder(int n, const double* points, const int* fix, const double* values,
                                 double* cylinder, double scannerError);
PRIMFIT_API int OptimizeCone(int n, const double* points, const int* fix, const double* values, double* cone,
                             double scannerError);
PRIMFIT_API int OptimizeTorus(int n, const double* points, const int* fix, const double* values,
                              double* torus, double scannerError);

/* The direct estimate from all points; no outlier handling. Fails for points that determine no such shape.
 * Throws: "Not enough points" (fewer than 3), std::bad_alloc. */
PRIMFIT_API int QFitPlane(int n, const double* points, double* plane);
PRIMFIT_API int QFitSphere(int n, const double* points, double* sphere);
PRIMFIT_API int QFitCylinder(int n, const double* points, double* cylinder);
PRIMFIT_API int QFitCone(int n, const double* points, double* cone);
PRIMFIT_API int QFitTorus(int n, const double* points, double* torus);

/* The search alone, with 10 % outliers, scanner error 0.006 and tolerance 0.012.
 * Throws: "Not enough points" (fewer than 3, 4, 6, 6 or 15), "Fit... produced a poor fit quality",
 * std::bad_alloc. */
PRIMFIT_API int RFitPlane(int n, const double* points, int sampleSize, double successProbability,
                          double* plane);
PRIMFIT_API int RFitSphere(int n, const double* points, int sampleSize, double successProbability,
                           double* sphere);
PRIMFIT_API int RFitCylinder(int n, const double* points, int sampleSize, double successProbability,
                             double* cylinder);
PRIMFIT_API int RFitCone(int n, const double* points, int sampleSize, double successProbability,
                         double* cone);
PRIMFIT_API int RFitTorus(int n, const double* points, int sampleSize, double successProbability,
                          double* torus);

#ifdef __cplusplus
}
#endif

#endif /* PRIMFIT_FLAT_H_ */
