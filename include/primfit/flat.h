/* Single stages of a fit and whole fits over plain arrays, for C and for languages that call C.
 *
 * Points are n x 3 doubles, x y z of one point after another, in the caller's length unit. A shape is one
 * array of its numbers in the order of its record: plane     origin (3), normal (3) Every function returns 0
 * when done, 1 when it failed (or an array is null), -1 for n < 1; on 1 and -1 nothing is written. Points
 * with a coordinate that is not finite are left out.
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

/* The whole fit: search, selection, success test, with samples of 3, 20 % outliers, probability 0.99,
 * tolerance 0.012. plane: 6 numbers out. quality: 4 numbers out (root mean square, mean, mean signed and
 * largest distance of the points within the tolerance). scannerError: scale of the success test, used within
 * [0, 1]. */
PRIMFIT_API int IFitPlane(int n, const double* points, double* plane, double* quality, double scannerError);

/* Refines the plane in `plane` (6 numbers, in and out) on all points by least squares of the orthogonal
 * distances. Fails when the start is farther from the points than 100 x scannerError, root mean square.
 * Throws: std::bad_alloc, and "Cannot allocate memmory". */
PRIMFIT_API int OptimizePlane(int n, const double* points, double* plane, double scannerError);

/* Total least-squares plane of all points; no outlier handling. plane: 6 numbers out.
 * Throws: "Not enough points" (fewer than 3), std::bad_alloc. */
PRIMFIT_API int QFitPlane(int n, const double* points, double* plane);

/* The search alone, with 10 % outliers, scanner error 0.006 and tolerance 0.012. plane: 6 numbers out.
 * Throws: "Not enough points" (fewer than 3), "FitPlane produced a poor fit quality", std::bad_alloc. */
PRIMFIT_API int RFitPlane(int n, const double* points, int sampleSize, double successProbability,
                          double* plane);

#ifdef __cplusplus
}
#endif

#endif /* PRIMFIT_FLAT_H_ */
