/* A host in C: every flat function and the adaptive fit on an exact cloud of each shape, about upright axes
 * through (1, 2). */
#include <math.h>
#include <primfit/fit_c.h>
#include <primfit/flat.h>
#include <stdio.h>

enum { kPoints = 400, kMostNumbers = 8 };

typedef int IFit(int, const double*, const int*, const double*, double*, double*, double);
typedef int Optimize(int, const double*, const int*, const double*, double*, double);
typedef int QFit(int, const double*, double*);
typedef int RFit(int, const double*, int, double, double*);

/* The functions of a shape without parts to hold, in the form of the others. */
#define WITHOUT_PARTS(Shape)                                                                               \
  static int IFit##Shape##Free(int n, const double* p, const int* fix, const double* start, double* shape, \
                               double* quality, double error) {                                            \
    (void)fix;                                                                                             \
    (void)start;                                                                                           \
    return IFit##Shape(n, p, shape, quality, error);                                                       \
  }                                                                                                        \
  static int Optimize##Shape##Free(int n, const double* p, const int* fix, const double* values,           \
                                   double* shape, double error) {                                          \
    (void)fix;                                                                                             \
    (void)values;                                                                                          \
    return Optimize##Shape(n, p, shape, error);                                                            \
  }
WITHOUT_PARTS(Plane)
WITHOUT_PARTS(Sphere)

typedef struct {
  const char* name;
  double truth[kMostNumbers];
  const char* determined; /* of the numbers: 1 where the shape determines it, up to its sign */
  int sample;
  int parts; /* that can be held */
  IFit* ifit;
  Optimize* optimize;
  QFit* qfit;
  RFit* rfit;
  primfit_shape adaptive;
} Row;

#define FUNCTIONS(Shape, Form) IFit##Shape##Form, Optimize##Shape##Form, QFit##Shape, RFit##Shape

static const Row kRows[] = {
    {"plane", {1, 2, 3, 0, 0, 1}, "001111", 3, 0, FUNCTIONS(Plane, Free), PRIMFIT_PLANE},
    {"sphere", {1, 2, 3, 0.5}, "1111", 4, 0, FUNCTIONS(Sphere, Free), PRIMFIT_SPHERE},
    {"cylinder", {1, 2, 3, 0.5, 0, 0, 1}, "1101111", 9, 3, FUNCTIONS(Cylinder, ), PRIMFIT_CYLINDER},
    {"cone", {1, 2, 3, 0.4, 0, 0, 1}, "1111111", 9, 3, FUNCTIONS(Cone, ), PRIMFIT_CONE},
    {"torus", {1, 2, 3, 1.5, 0.5, 0, 0, 1}, "11111111", 13, 4, FUNCTIONS(Torus, ), PRIMFIT_TORUS},
};

/* Point i of a shape: two quasi-random numbers give its place on it. */
static void Place(int shape, int i, double* point) {
  const double turn = 6.283185307179586 * fmod(0.618034 * i, 1), u = 2.0 * i / (kPoints - 1) - 1;
  double across = 0.5, up = u;
  if (shape == 0) across = 1 + u, up = 0;
  if (shape == 1) across = 0.5 * sqrt(1 - u * u), up = 0.5 * u;
  if (shape == 3) across = (2 + u) * tan(0.4), up = 2 + u;
  if (shape == 4) across = 1.5 + 0.5 * cos(50 * u), up = 0.5 * sin(50 * u);
  point[0] = 1 + across * cos(turn);
  point[1] = 2 + across * sin(turn);
  point[2] = 3 + up;
}

static int failures = 0;

/* The status is 0 and the numbers are the truth's. */
static void Expect(const Row* row, const char* function, int status, const double* numbers) {
  double worst = 0;
  int k;
  for (k = 0; row->determined[k]; ++k)
    if (row->determined[k] == '1') worst = fmax(worst, fabs(fabs(numbers[k]) - row->truth[k]));
  printf("%s %s: status %d, off by %.3g\n", function, row->name, status, worst);
  if (status != 0 || !(worst < 1e-6)) ++failures;
}

/* Of the points as doubles or, where these are null, of floats. */
static int FitAdaptive(const Row* row, const double* points, const float* floats, double* numbers) {
  primfit_options options;
  primfit_result* found = NULL;
  char message[PRIMFIT_MESSAGE_SIZE] = "";
  int k, status = primfit_default_options(&options, PRIMFIT_OPTIONS_VERSION);
  options.has_seed = 1;
  if (status == 0)
    status = points ? primfit_fit(row->adaptive, kPoints, points, 3, &options, &found, message)
                    : primfit_fit_float(row->adaptive, kPoints, floats, 3, &options, &found, message);
  if (status != 0) printf("%s\n", message);
  if (status != 0) return status;
  for (k = 0; k < found->number_count; ++k) numbers[k] = found->numbers[k];
  if (found->inlier_count != kPoints || !(found->inlier_share == 1)) ++failures;
  primfit_free(found);
  return 0;
}

static void Refuse(const Row* row, const char* what, int status, int expected) {
  if (status == expected) return;
  printf("%s with %s: status %d, not %d\n", row->name, what, status, expected);
  ++failures;
}

int main(void) {
  static double points[3 * kPoints];
  static float floats[3 * kPoints];
  const int free[4] = {0, 0, 0, 0};
  int shape, i;
  for (shape = 0; shape < 5; ++shape) {
    const Row* row = &kRows[shape];
    double numbers[kMostNumbers] = {0}, quality[4] = {9, 9, 9, 9}, near[kMostNumbers],
           bad[kMostNumbers] = {7};
    for (i = 0; i < kPoints; ++i) Place(shape, i, points + 3 * i);
    Expect(row, "IFit", row->ifit(kPoints, points, free, row->truth, numbers, quality, 0.006), numbers);
    if (!(quality[0] < 1e-6)) ++failures;
    for (i = 0; i < kMostNumbers; ++i) numbers[i] = 0;
    Expect(row, "QFit", row->qfit(kPoints, points, numbers), numbers);
    for (i = 0; i < kMostNumbers; ++i) numbers[i] = 0;
    Expect(row, "RFit", row->rfit(kPoints, points, row->sample, 0.99, numbers), numbers);
    for (i = 0; i < kMostNumbers; ++i) numbers[i] = 0;
    Expect(row, "primfit_fit", FitAdaptive(row, points, NULL, numbers), numbers);
    for (i = 0; i < 3 * kPoints; ++i) floats[i] = (float)points[i];
    for (i = 0; i < kMostNumbers; ++i) numbers[i] = 0;
    Expect(row, "primfit_fit_float", FitAdaptive(row, NULL, floats, numbers), numbers);
    for (i = 0; i < kMostNumbers; ++i) near[i] = row->truth[i] + 1e-3;
    Expect(row, "Optimize", row->optimize(kPoints, points, free, row->truth, near, 1e-4), near);
    if (row->parts > 0) { /* the radius or angle at another value comes back as given */
      int fix[4] = {0, 1, 0, 0};
      double values[kMostNumbers];
      for (i = 0; i < kMostNumbers; ++i) values[i] = near[i] = row->truth[i];
      values[3] += 0.01;
      Refuse(row, "a held radius", row->optimize(kPoints, points, fix, values, near, 0.006), 0);
      if (near[3] != values[3]) ++failures;
    }
    Refuse(row, "no array", row->ifit(kPoints, 0, free, row->truth, bad, quality, 0.006), 1);
    Refuse(row, "no points", row->ifit(0, points, free, row->truth, bad, quality, 0.006), -1);
    Refuse(row, "no shape", row->qfit(kPoints, points, 0), 1);
    if (bad[0] != 7) ++failures;
  }
  return failures;
}
