#include "primfit/flat.h"

#include <algorithm>
#include <array>
#include <memory>

#include "api/fit_pipeline.h"
#include "api/primitives.h"
#include "primfit/api/plane_from_points.h"

using Eigen::Vector3d;

namespace {

enum Status : int { kTooFewPoints = -1, kDone = 0, kFailed = 1 };

using PlaneNumbers = std::array<double, 6>;

FitOutputParamsPlane PlaneRecord(const double* numbers) { return {Vector3d(numbers), Vector3d(numbers + 3)}; }

PlaneNumbers NumbersOf(const Vector3d& origin, const Vector3d& normal) {
  return {origin.x(), origin.y(), origin.z(), normal.x(), normal.y(), normal.z()};
}

/// -1 and 1 before anything is read, 0 to go on.
int CheckArrays(int n, std::initializer_list<const void*> arrays) {
  if (n < 1) return kTooFewPoints;
  return std::find(arrays.begin(), arrays.end(), nullptr) == arrays.end() ? kDone : kFailed;
}

/// Copies packed coordinates into vectors; flat functions sub-sample nothing by themselves.
std::vector<Vector3d> Unpack(int n, const double* points) {
  std::vector<Vector3d> vectors(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    vectors[static_cast<std::size_t>(i)] = Vector3d(points + 3 * static_cast<std::ptrdiff_t>(i));
  return vectors;
}

/// Runs one stage on all finite points, in the working frame, and writes the shape's numbers if it gave one.
template <class Stage>
int RunPlaneStage(int n, const double* points, double* plane, const Stage& stage) {
  const int status = CheckArrays(n, {points, plane});
  if (status != kDone) return status;
  primfit::WorkingSet set;
  {
    const std::vector<Vector3d> vectors = Unpack(n, points);
    set.Sample(vectors.data(), vectors.size(), vectors.size(), false);
  }
  if (set.Count() == 0) return kFailed;
  const std::unique_ptr<OutputShape> shape(stage(set));
  if (!shape) return kFailed;
  const auto& result = static_cast<const OutputPlane&>(*shape);
  const PlaneNumbers numbers = NumbersOf(result.Center() + set.Origin(), result.Normal());
  std::copy(numbers.begin(), numbers.end(), plane);
  return kDone;
}

void WriteQuality(const FitQuality& q, double* quality) {
  const double numbers[4] = {q.rmsDistance, q.meanDistance, q.meanSignedDistance, q.maxDistance};
  std::copy(numbers, numbers + 4, quality);
}

}  // namespace

int IFitPlane(int n, const double* points, double* plane, double* quality, double scannerError) {
  const int status = CheckArrays(n, {points, plane, quality});
  if (status != kDone) return status;
  try {
    const std::vector<Vector3d> vectors = Unpack(n, points);
    FitInputParams<FitConstraintsPlane> params;
    params.SetScannerError(scannerError);
    const auto fit = PlaneFromPoints(vectors.data(), n, params, nullptr);
    const PlaneNumbers numbers = NumbersOf(fit.GetFitShape().Origin(), fit.GetFitShape().Normal());
    std::copy(numbers.begin(), numbers.end(), plane);
    WriteQuality(fit.GetFitQuality(), quality);
    return kDone;
  } catch (...) {
    return kFailed;
  }
}

int OptimizePlane(int n, const double* points, double* plane, double scannerError) {
  return RunPlaneStage(n, points, plane, [&](const primfit::WorkingSet& set) {
    const OutputPlane start = primfit::PlanePrimitive::ToShape(PlaneRecord(plane), set.Origin());
    return PlaneOptimizer(scannerError, false, nullptr).Optimize(set.Count(), set.Points(), &start);
  });
}

int QFitPlane(int n, const double* points, double* plane) {
  return RunPlaneStage(n, points, plane, [](const primfit::WorkingSet& set) {
    return PlaneFit(set.Count(), set.Points()).Solve();
  });
}

int RFitPlane(int n, const double* points, int sampleSize, double successProbability, double* plane) {
  return RunPlaneStage(n, points, plane, [&](const primfit::WorkingSet& set) {
    return RansacPlane(set.Count(), set.Points(), sampleSize, successProbability, 0.9, 0.006, 0.012).Solve();
  });
}
