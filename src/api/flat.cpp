// The flat functions: packed arrays in, one stage or a whole fit, packed numbers out.
#include "primfit/flat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <utility>

#include "api/fit_pipeline.h"
#include "api/primitives.h"
#include "primfit/api/cone_from_points.h"
#include "primfit/api/cylinder_from_points.h"
#include "primfit/api/plane_from_points.h"
#include "primfit/api/sphere_from_points.h"
#include "primfit/api/torus_from_points.h"
#include "primitives/records.h"
#include "shapes/shape_of_model.h"

using Eigen::Vector3d;

namespace {

enum Status : int { kTooFewPoints = -1, kDone = 0, kFailed = 1 };

/// The most numbers of a shape here, those of a torus.
constexpr std::size_t kMostNumbers = 8;

/// A primitive of the fixed pipeline with its direct estimator.
template <class P, class E>
struct Flat : P {
  using Estimator = E;
};
using FlatPlane = Flat<primfit::PlanePrimitive, PlaneFit>;
using FlatSphere = Flat<primfit::SpherePrimitive, SphereFit>;
using FlatCylinder = Flat<primfit::CylinderPrimitive, CylinderFit>;
using FlatCone = Flat<primfit::ConePrimitive, ConeFit>;
using FlatTorus = Flat<primfit::TorusPrimitive, TorusFit>;

constexpr auto kForArrays = primfit::Listed::kForArrays;

/// -1 and 1 before anything is read, 0 to go on.
int CheckArrays(int n, std::initializer_list<const void*> arrays) {
  if (n < 1) return kTooFewPoints;
  return std::find(arrays.begin(), arrays.end(), nullptr) == arrays.end() ? kDone : kFailed;
}

std::vector<Vector3d> Unpack(int n, const double* points) {
  std::vector<Vector3d> vectors;
  vectors.reserve(static_cast<std::size_t>(n));
  for (const double* p = points; p != points + 3 * static_cast<std::ptrdiff_t>(n); p += 3)
    vectors.emplace_back(p);
  return vectors;
}

/// The constraints of a flat call: the numbers of the parts whose flag is set, zero for the others.
template <class Flat>
struct FlatHolds {
  using D = typename Flat::D;
  using Numbers = std::array<double, kMostNumbers>;

  FlatHolds(const int* fix, const double* values)
      : record(primfit::ReadStart<D, kForArrays>(KeepFixed(fix, values).data())), constraints(&record) {
    primfit::Hold<D>(fix, constraints);
  }
  FlatHolds(const FlatHolds&) = delete;  // the constraints point at the record
  FlatHolds& operator=(const FlatHolds&) = delete;

  /// Copies the numbers of the parts whose flag is set to the same places.
  static void CopyFixed(const int* fix, const double* from, double* to) {
    primfit::ForEachPart(primfit::kPartsIn<D, kForArrays>, kMostNumbers,
                         [&](const primfit::Part& part, std::size_t i, std::size_t offset) {
                           if (fix[i] != 0) std::copy_n(from + offset, part.Size(), to + offset);
                         });
  }
  static Numbers KeepFixed(const int* fix, const double* values) {
    Numbers kept{};
    CopyFixed(fix, values, kept.data());
    return kept;
  }
  /// Replaces the held parts among a shape's numbers by those given: one that went through the working frame
  /// has lost bits. A direction is given at unit length.
  void WriteHeld(const int* fix, double* shape) const {
    Numbers given{};
    primfit::WriteRecord<D, kForArrays>(record, given.data());
    CopyFixed(fix, given.data(), shape);
  }

  typename Flat::Record record;
  typename Flat::Constraints constraints;
};

/// A whole fit by `fit(vectors, params)`; every exception becomes a status.
template <class Flat, class Fit>
int FitFlat(int n, const double* points, double* shape, double* quality, double scannerError,
            FitInputParams<typename Flat::Constraints> params, const Fit& fit) {
  try {
    const std::vector<Vector3d> vectors = Unpack(n, points);
    params.SetScannerError(scannerError);
    const auto result = fit(vectors.data(), n, params);
    const FitQuality& q = result.GetFitQuality();
    primfit::WriteRecord<typename Flat::D, kForArrays>(result.GetFitShape(), shape);
    for (const double distance : {q.rmsDistance, q.meanDistance, q.meanSignedDistance, q.maxDistance})
      *quality++ = distance;
    return kDone;
  } catch (...) {
    return kFailed;
  }
}

template <class Flat, class Fit>
int FitFree(int n, const double* points, double* shape, double* quality, double scannerError,
            const Fit& fit) {
  const int status = CheckArrays(n, {points, shape, quality});
  if (status != kDone) return status;
  return FitFlat<Flat>(n, points, shape, quality, scannerError, FitInputParams<typename Flat::Constraints>(),
                       fit);
}

template <class Flat, class Fit>
int FitHeld(int n, const double* points, const int* fix, const double* start, double* shape, double* quality,
            double scannerError, const Fit& fit) {
  const int status = CheckArrays(n, {points, fix, start, shape, quality});
  if (status != kDone) return status;
  const FlatHolds<Flat> holds(fix, start);
  return FitFlat<Flat>(n, points, shape, quality, scannerError,
                       FitInputParams<typename Flat::Constraints>(&holds.constraints), fit);
}

/// One stage on all finite points, in the working frame: `stage(set)` returns a new shape or null.
template <class Flat, class Stage>
int RunStage(int n, const double* points, double* shape, const Stage& stage) {
  const std::vector<Vector3d> vectors = Unpack(n, points);
  primfit::WorkingSet set;
  set.Sample(vectors.data(), vectors.size(), vectors.size(), false);
  if (set.Count() == 0) return kFailed;
  const std::unique_ptr<OutputShape> result(stage(set));
  if (!result) return kFailed;
  primfit::Model model = primfit::ModelOf(static_cast<const typename Flat::Shape&>(*result));
  model.center += set.Origin();
  std::array<double, kMostNumbers> numbers{};
  const double* end = primfit::WriteModel<typename Flat::D>(model, numbers.data());
  if (!std::all_of(numbers.begin(), numbers.end(), [](double x) { return std::isfinite(x); })) return kFailed;
  std::copy(std::as_const(numbers).data(), end, shape);
  return kDone;
}

/// The refinement of the numbers in `shape`, with `hold(set, optimizer)` to hold parts.
template <class Flat, class Hold>
int Refine(int n, const double* points, double* shape, double scannerError, const Hold& hold) {
  return RunStage<Flat>(n, points, shape, [&](const primfit::WorkingSet& set) {
    typename Flat::Optimizer optimizer(scannerError, false, nullptr);
    hold(set, optimizer);
    const auto start =
        Flat::StartShape(primfit::ReadStart<typename Flat::D, kForArrays>(shape), set.Origin());
    return optimizer.Optimize(set.Count(), set.Points(), start.get());
  });
}

template <class Flat>
int OptimizeFree(int n, const double* points, double* shape, double scannerError) {
  const int status = CheckArrays(n, {points, shape});
  return status != kDone ? status : Refine<Flat>(n, points, shape, scannerError, [](auto&&...) {});
}

template <class Flat>
int OptimizeHeld(int n, const double* points, const int* fix, const double* values, double* shape,
                 double scannerError) {
  int status = CheckArrays(n, {points, fix, values, shape});
  if (status != kDone) return status;
  const FlatHolds<Flat> holds(fix, values);
  if (!Flat::CanHold(holds.constraints, holds.record, false)) return kFailed;
  status = Refine<Flat>(n, points, shape, scannerError, [&](const primfit::WorkingSet& set, auto& optimizer) {
    Flat::Hold(holds.constraints, holds.record, set.Origin(), optimizer);
  });
  if (status == kDone) holds.WriteHeld(fix, shape);
  return status;
}

template <class Flat>
int EstimateFlat(int n, const double* points, double* shape) {
  const int status = CheckArrays(n, {points, shape});
  if (status != kDone) return status;
  return RunStage<Flat>(n, points, shape, [](const primfit::WorkingSet& set) {
    return typename Flat::Estimator(set.Count(), set.Points()).Solve();
  });
}

template <class Flat>
int SearchFlat(int n, const double* points, int sampleSize, double successProbability, double* shape) {
  const int status = CheckArrays(n, {points, shape});
  if (status != kDone) return status;
  return RunStage<Flat>(n, points, shape, [&](const primfit::WorkingSet& set) {
    return typename Flat::Search(set.Count(), set.Points(), sampleSize, successProbability, 0.9, 0.006, 0.012)
        .Solve();
  });
}

}  // namespace

int IFitPlane(int n, const double* points, double* plane, double* quality, double scannerError) {
  return FitFree<FlatPlane>(
      n, points, plane, quality, scannerError,
      [](auto* p, int count, const auto& params) { return PlaneFromPoints(p, count, params, nullptr); });
}

int IFitSphere(int n, const double* points, double* sphere, double* quality, double scannerError) {
  return FitFree<FlatSphere>(
      n, points, sphere, quality, scannerError,
      [](auto* p, int count, const auto& params) { return SphereFromPoints(p, count, params, nullptr); });
}

int IFitCylinder(int n, const double* points, const int* fix, const double* start, double* cylinder,
                 double* quality, double scannerError) {
  return FitHeld<FlatCylinder>(n, points, fix, start, cylinder, quality, scannerError,
                               [](auto* p, int count, const auto& params) {
                                 return CylinderFromPoints(p, count, params, nullptr, false);
                               });
}

int IFitCone(int n, const double* points, const int* fix, const double* start, double* cone, double* quality,
             double scannerError) {
  return FitHeld<FlatCone>(
      n, points, fix, start, cone, quality, scannerError,
      [](auto* p, int count, const auto& params) { return ConeFromPoints(p, count, params, nullptr); });
}

int IFitTorus(int n, const double* points, const int* fix, const double* start, double* torus,
              double* quality, double scannerError) {
  return FitHeld<FlatTorus>(
      n, points, fix, start, torus, quality, scannerError,
      [](auto* p, int count, const auto& params) { return TorusFromPoints(p, count, params, nullptr); });
}

int OptimizePlane(int n, const double* points, double* plane, double scannerError) {
  return OptimizeFree<FlatPlane>(n, points, plane, scannerError);
}

int OptimizeSphere(int n, const double* points, double* sphere, double scannerError) {
  return OptimizeFree<FlatSphere>(n, points, sphere, scannerError);
}

int OptimizeCylinder(int n, const double* points, const int* fix, const double* values, double* cylinder,
                     double scannerError) {
  return OptimizeHeld<FlatCylinder>(n, points, fix, values, cylinder, scannerError);
}

int OptimizeCone(int n, const double* points, const int* fix, const double* values, double* cone,
                 double scannerError) {
  return OptimizeHeld<FlatCone>(n, points, fix, values, cone, scannerError);
}

int OptimizeTorus(int n, const double* points, const int* fix, const double* values, double* torus,
                  double scannerError) {
  return OptimizeHeld<FlatTorus>(n, points, fix, values, torus, scannerError);
}

int QFitPlane(int n, const double* points, double* plane) {
  return EstimateFlat<FlatPlane>(n, points, plane);
}

int QFitSphere(int n, const double* points, double* sphere) {
  return EstimateFlat<FlatSphere>(n, points, sphere);
}

int QFitCylinder(int n, const double* points, double* cylinder) {
  return EstimateFlat<FlatCylinder>(n, points, cylinder);
}

int QFitCone(int n, const double* points, double* cone) { return EstimateFlat<FlatCone>(n, points, cone); }

int QFitTorus(int n, const double* points, double* torus) {
  return EstimateFlat<FlatTorus>(n, points, torus);
}

int RFitPlane(int n, const double* points, int sampleSize, double successProbability, double* plane) {
  return SearchFlat<FlatPlane>(n, points, sampleSize, successProbability, plane);
}

int RFitSphere(int n, const double* points, int sampleSize, double successProbability, double* sphere) {
  return SearchFlat<FlatSphere>(n, points, sampleSize, successProbability, sphere);
}

int RFitCylinder(int n, const double* points, int sampleSize, double successProbability, double* cylinder) {
  return SearchFlat<FlatCylinder>(n, points, sampleSize, successProbability, cylinder);
}

int RFitCone(int n, const double* points, int sampleSize, double successProbability, double* cone) {
  return SearchFlat<FlatCone>(n, points, sampleSize, successProbability, cone);
}

int RFitTorus(int n, const double* points, int sampleSize, double successProbability, double* torus) {
  return SearchFlat<FlatTorus>(n, points, sampleSize, successProbability, torus);
}
