/* A host in C: fits z = 2 over a grid with a twentieth of the points elsewhere. */
#include <math.h>
#include <primfit/flat.h>
#include <stdio.h>

enum { kPoints = 400 };

int main(void) {
  double points[3 * kPoints], plane[6], quality[4];
  int i, status;
  for (i = 0; i < kPoints; ++i) {
    points[3 * i] = i % 20;
    points[3 * i + 1] = i / 20;
    points[3 * i + 2] = 2 + (i % 20 == 0 ? 1 + i : 0);
  }
  status = IFitPlane(kPoints, points, plane, quality, 0.006);
  printf("status %d, z %.9f, normal %.9f, rms %.3g\n", status, plane[2], plane[5], quality[0]);
  return status == 0 && fabs(plane[2] - 2) < 1e-9 && fabs(fabs(plane[5]) - 1) < 1e-12 && quality[0] < 1e-9 &&
                 IFitPlane(kPoints, 0, plane, quality, 0.006) == 1
             ? 0
             : 1;
}
