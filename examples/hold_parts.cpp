// Fits a pipe of which something is known: its radius, by its standard, and then also the direction of its
// axis. What is held comes back bit for bit and is not among the parameters of the covariance.
//
//   gunzip -k data/pipe-run.xyz.gz
//   hold_parts data/pipe-run.xyz
#include <primfit/fit.h>

#include <cstdio>
#include <exception>
#include <limits>

#include "read_points.h"

namespace {

constexpr double kRadius = 0.05715;  // metres: a pipe of 114.3 mm diameter
constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

/// A cylinder through the points with the parts that the constraints hold.
primfit::FitResult<primfit::Cylinder> Fit(const std::vector<Eigen::Vector3d>& points,
                                          const FitConstraintsCylinder& held) {
  primfit::FitOptions<primfit::Cylinder> options;
  options.seed = 1;
  options.constraints = &held;
  return primfit::fit<primfit::Cylinder>(points, options);
}

void Print(const char* what, const primfit::FitResult<primfit::Cylinder>& fit) {
  const Eigen::Vector3d axis = fit.shape.Axis(), origin = fit.shape.Origin();
  std::printf("%s: radius %.5f m, axis %.6f %.6f %.6f through %.4f %.4f %.4f m, %s\n", what,
              fit.shape.Radius(), axis.x(), axis.y(), axis.z(), origin.x(), origin.y(), origin.z(),
              fit.report.reason.c_str());
  for (const primfit::FitParameter& free : fit.covariance.parameters) {
    std::printf("  %s known to %.3g %s\n", free.Name(), free.standardDeviation, free.IsAngle() ? "rad" : "m");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: hold_parts FILE, with x y z in metres in each line\n");
    return 2;
  }
  try {
    const std::vector<Eigen::Vector3d> points = ReadPoints(argv[1]);
    const Eigen::Vector3d unknown = Eigen::Vector3d::Constant(kUnknown);

    // A record gives the values, the constraints say which of them are held; the others may be anything.
    const FitOutputParamsCylinder sized(unknown, kRadius, unknown);
    FitConstraintsCylinder radius(&sized);
    radius.FixRadius();
    Print("radius held", Fit(points, radius));

    const FitOutputParamsCylinder alongX(unknown, kRadius, Eigen::Vector3d::UnitX());
    FitConstraintsCylinder radiusAndAxis(&alongX);
    radiusAndAxis.FixRadius();
    radiusAndAxis.FixAxis();
    Print("axis held too", Fit(points, radiusAndAxis));
    return 0;
  } catch (const primfit::FitError& error) {
    std::fprintf(stderr, "no cylinder: %s\n", error.what());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
