// Fits a cylinder to a scan and decides by its verdict whether to trust it. Nothing is told to the fit: it
// takes the noise, the outliers and the number of random samples from the points.
//
//   gunzip -k data/mug.xyz.gz
//   fit_cylinder data/mug.xyz
#include <primfit/fit.h>

#include <cstdio>
#include <exception>

#include "read_points.h"

namespace {

/// Prints the radius with its standard deviation, which the covariance holds among those of the other
/// parameters.
void PrintRadius(const primfit::FitResult<primfit::Cylinder>& fit) {
  for (const primfit::FitParameter& parameter : fit.covariance.parameters) {
    if (parameter.kind == primfit::ParameterKind::kRadius)
      std::printf("radius %.6f +- %.6f m\n", fit.shape.Radius(), parameter.standardDeviation);
  }
}

/// What a caller may do with a fit. @return the exit status of the program
int Judge(const primfit::FitReport& report) {
  std::printf("%s\n", report.reason.c_str());
  switch (report.verdict) {
    case primfit::Verdict::kGood:
      return 0;
    case primfit::Verdict::kAmbiguous:  // look at the standard deviations: some part is hardly known
    case primfit::Verdict::kAtLimit:    // a size ended where the options said that none can be
    case primfit::Verdict::kWeak:       // few points support the shape: is it the one that is meant?
    case primfit::Verdict::kMisfit:     // the distances are no noise: two surfaces, an oval tube, a bend?
    case primfit::Verdict::kSimpler:    // a plane explains the points as well: report.simpler
      return 3;
  }
  return 3;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fit_cylinder FILE, with x y z in metres in each line\n");
    return 2;
  }
  try {
    const std::vector<Eigen::Vector3d> points = ReadPoints(argv[1]);
    primfit::FitOptions<primfit::Cylinder> options;
    options.seed = 1;  // the search is random; with the same seed it gives the same bits

    const auto fit = primfit::fit<primfit::Cylinder>(points, options);

    PrintRadius(fit);
    const Eigen::Vector3d axis = fit.shape.Axis();
    std::printf("axis %.6f %.6f %.6f\n", axis.x(), axis.y(), axis.z());
    std::printf("%zu of %zu points within %.6f m, noise %.6f m\n", fit.inliers.size(), points.size(),
                fit.report.tolerance, fit.report.noise);
    return Judge(fit.report);
  } catch (const primfit::FitError& error) {  // no shape: what() says why, Code() says it to a program
    std::fprintf(stderr, "no cylinder: %s\n", error.what());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
