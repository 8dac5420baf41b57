#include "scenes.h"

#include <cmath>
#include <iterator>
#include <numbers>
#include <stdexcept>
#include <string>

#include "api/primitives.h"
#include "primfit/primfit.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

Vector3d AxisOf(const Pose& pose) { return pose.linear().col(2); }

/// The angle between two lines along unit vectors.
Error Angle(const char* parameter, const Vector3d& a, const Vector3d& b) {
  return {parameter, "deg", std::atan2(a.cross(b).norm(), std::abs(a.dot(b))) * 180 / pi};
}
Error Length(const char* parameter, double metres) { return {parameter, "mm", 1000 * std::abs(metres)}; }

Vector3d Across(const Vector3d& v, const Vector3d& axis) { return v - v.dot(axis) * axis; }

double Middle(Range range) { return (range.low + range.high) / 2; }

/// What the seven shapes are described by: Make, Part, Weight, CompareTo. The bases hold the usual cases.
struct Whole {
  static Truth Part(Truth truth, double) { return truth; }
  static double Weight(const Truth&, double, double) { return 1; }
};
struct Turned : Whole {
  static Truth Part(Truth truth, double coverage) {
    truth.u.high = truth.u.low + coverage * truth.u.Length();
    return truth;
  }
};

template <class Shape>
struct Description;

template <>
struct Description<OutputLine> : Whole {
  static OutputLine Make(const Truth&, const Pose& pose) { return {pose.translation(), AxisOf(pose)}; }
  static Errors Compare(const Truth& truth, const Pose& pose, const OutputLine& fit) {
    const Vector3d middle = pose * Vector3d(0, 0, Middle(truth.u));
    return {Angle("direction", AxisOf(pose), fit.Direction()),
            Length("position", Across(middle - fit.Root(), fit.Direction()).norm())};
  }
};

template <>
struct Description<OutputCircle> : Turned {
  static OutputCircle Make(const Truth& truth, const Pose& pose) {
    return {pose.translation(), truth.size, AxisOf(pose)};
  }
  static Errors Compare(const Truth& truth, const Pose& pose, const OutputCircle& fit) {
    const Vector3d offset = fit.Center() - pose.translation();
    return {Length("radius", fit.Radius() - truth.size), Angle("plane", AxisOf(pose), fit.Axis()),
            Length("centre in the plane", Across(offset, AxisOf(pose)).norm()),
            Length("centre off the plane", offset.dot(AxisOf(pose)))};
  }
};

template <>
struct Description<OutputPlane> : Whole {
  static OutputPlane Make(const Truth&, const Pose& pose) { return {pose.translation(), AxisOf(pose)}; }
  static Errors Compare(const Truth&, const Pose& pose, const OutputPlane& fit) {
    return {Angle("normal", AxisOf(pose), fit.Normal()),
            Length("position", fit.Distance(pose.translation()))};
  }
};

template <>
struct Description<OutputSphere> : Whole {
  static OutputSphere Make(const Truth& truth, const Pose& pose) { return {pose.translation(), truth.size}; }
  static Truth Part(Truth truth, double coverage) {
    truth.u.low = std::asin(1 - 2 * coverage);
    return truth;
  }
  static double Weight(const Truth&, double u, double) { return std::cos(u); }
  static Errors Compare(const Truth& truth, const Pose& pose, const OutputSphere& fit) {
    return {Length("radius", fit.Radius() - truth.size),
            Length("centre", (fit.Center() - pose.translation()).norm())};
  }
};

template <>
struct Description<OutputCylinder> : Turned {
  static OutputCylinder Make(const Truth& truth, const Pose& pose) {
    return {pose.translation(), truth.size, AxisOf(pose)};
  }
  static Errors Compare(const Truth& truth, const Pose& pose, const OutputCylinder& fit) {
    const Vector3d middle = pose * Vector3d(0, 0, Middle(truth.v));
    return {Length("radius", fit.Radius() - truth.size), Angle("axis", AxisOf(pose), fit.Axis()),
            Length("position", Across(middle - fit.Center(), fit.Axis()).norm())};
  }
};

template <>
struct Description<OutputCone> : Turned {
  static OutputCone Make(const Truth& truth, const Pose& pose) {
    return {pose.translation(), truth.size, AxisOf(pose)};
  }
  static double Weight(const Truth& truth, double, double v) {
    return std::abs(v) / std::max(std::abs(truth.v.low), std::abs(truth.v.high));
  }
  /// Radius and position are those in the middle of the part that is seen.
  static Errors Compare(const Truth& truth, const Pose& pose, const OutputCone& fit) {
    const double height = Middle(truth.v);
    const Vector3d toMiddle = pose * Vector3d(0, 0, height) - fit.Apex();
    const double radius = std::abs(toMiddle.dot(fit.Axis())) * std::tan(fit.Angle());
    return {Length("radius", radius - height * std::tan(truth.size)),
            Angle("axis", AxisOf(pose), fit.Axis()),
            Length("position", Across(toMiddle, fit.Axis()).norm()),
            {"half-angle", "deg", std::abs(fit.Angle() - truth.size) * 180 / pi},
            Length("apex", (fit.Apex() - pose.translation()).norm())};
  }
};

template <>
struct Description<OutputTorus> : Turned {
  static OutputTorus Make(const Truth& truth, const Pose& pose) {
    return {pose.translation(), truth.size, truth.tube, AxisOf(pose)};
  }
  static double Weight(const Truth& truth, double, double v) {
    return (truth.size + truth.tube * std::cos(v)) / (truth.size + truth.tube);
  }
  static Errors Compare(const Truth& truth, const Pose& pose, const OutputTorus& fit) {
    return {Length("tube radius", fit.MinorRadius() - truth.tube), Angle("axis", AxisOf(pose), fit.Axis()),
            Length("centre", (fit.Center() - pose.translation()).norm()),
            Length("bend radius", fit.MajorRadius() - truth.size)};
  }
};

template <class Record>
Extent ExtentOf(const Record& s) {
  if constexpr (requires { s.Length(); }) return {s.Length()};
  if constexpr (requires { s.Height(); }) return {s.Height()};
  if constexpr (requires { s.Height0(); }) return {s.Height0(), s.Height1()};
  if constexpr (requires { s.XAxis(); }) return {s.Angle()};
  return {};
}

/// The area within the loop, by the shoelace formula.
Extent ExtentOf(const FitOutputParamsPatch& s) {
  const double* loop = nullptr;
  Vector3d xAxis;
  const auto count = static_cast<std::size_t>(s.Loop(loop, xAxis));
  double twice = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t j = (i + 1) % count;
    twice += loop[2 * i] * loop[2 * j + 1] - loop[2 * j] * loop[2 * i + 1];
  }
  return {std::abs(twice) / 2};
}

/// Where a record begins, or the corners of its outline.
template <class Record>
Points EndsOf(const Record& s) {
  if constexpr (requires { s.Length(); }) return {s.Root()};
  if constexpr (requires { s.Height(); }) return {s.Origin()};
  if constexpr (requires {
                  s.MajorRadius();
                  s.XAxis();
                })
    return {s.Center() + s.MajorRadius() * s.XAxis()};
  if constexpr (requires {
                  s.Radius();
                  s.XAxis();
                })
    return {s.Center() + s.Radius() * s.XAxis()};
  return {};
}
Points EndsOf(const FitOutputParamsPatch& s) {
  const double* loop = nullptr;
  Vector3d u;
  const int count = s.Loop(loop, u);
  Points corners;
  for (std::ptrdiff_t i = 0; i < count; ++i)
    corners.push_back(s.Origin() + loop[2 * i] * u + loop[2 * i + 1] * s.Normal().cross(u));
  return corners;
}

Extent Unbounded(const Truth&) { return {}; }
Extent AlongU(const Truth& truth) { return {truth.u.Length()}; }
Extent AlongV(const Truth& truth) { return {truth.v.Length()}; }
Extent BetweenV(const Truth& truth) { return {truth.v.low, truth.v.high}; }
Extent Area(const Truth& truth) { return {truth.u.Length() * truth.v.Length()}; }

/// Counts the turns of a search.
struct DrawCounter : FitProgressUpdater {
  void ReportProgress(double /*fraction*/) override { ++draws; }
  bool StopRequested() override { return false; }
  int draws = 0;
};

/// The fit that IFit has for a pair of records; one takes a flag more.
template <class P, class Record, auto... kFlag>
Found Fit(const Points& points, double outlierShare) {
  using Params = FitInputParams<typename P::Constraints>;
  Params params;
  params.SetOutlierPercentage(outlierShare);
  DrawCounter counter;
  const auto out = IFit<Params, Record>().Solve(points.data(), static_cast<int>(points.size()), params,
                                                &counter, kFlag...);
  return {P::StartShape(out.GetFitShape(), Vector3d::Zero()), out.GetFitQuality(),
          ExtentOf(out.GetFitShape()), counter.draws};
}

template <class Wanted, class P, auto... kFlag>
Primitive Row(std::string_view name, const Truth& truth, Extent (*extent)(const Truth&)) {
  using Shape = typename P::Shape;
  using D = Description<Shape>;
  return {name,
          truth,
          [](const Truth& t, const Pose& pose) -> std::shared_ptr<const OutputShape> {
            return std::make_shared<Shape>(D::Make(t, pose));
          },
          D::Part,
          D::Weight,
          [](const Truth& t, const Pose& pose, const OutputShape& fit) {
            return D::Compare(t, pose, dynamic_cast<const Shape&>(fit));
          },
          extent,
          Fit<P, typename Wanted::Record, kFlag...>,
          [](PointView points) -> AdaptiveFound {
            const auto result = primfit::fit<Wanted>(points);
            return {{P::StartShape(result.shape, Vector3d::Zero()), result.quality, ExtentOf(result.shape),
                     result.report.draws},
                    result.report,
                    result.covariance,
                    result.extents,
                    EndsOf(result.shape)};
          }};
}

constexpr Range kTurn{0, 2 * pi};
constexpr Range kMetres{-1, 1};
constexpr Truth kSquare{0, 0, kMetres, kMetres};
constexpr Truth kPipe{0.5, 0, kTurn, kMetres};
constexpr Truth kFunnel{0.4, 0, kTurn, {0.5, 2}};

/// Two normals of a curve at parameter u.
Eigen::Matrix<double, 3, 2> NormalsOf(const OutputCurve& curve, double u) {
  constexpr double kStep = 1e-4;
  Eigen::Matrix<double, 3, 2> normals;
  normals.col(0) = curve.EvalNormal(curve.Eval(u));
  normals.col(1) = (curve.Eval(u + kStep) - curve.Eval(u - kStep)).normalized().cross(normals.col(0));
  return normals;
}

}  // namespace

Pose Random::AnyPose() {
  Eigen::Vector4d q;
  for (double& c : q) c = Gauss();
  Pose pose = Pose::Identity();
  pose.linear() = Eigen::Quaterniond(q.normalized()).toRotationMatrix();
  for (double& c : pose.translation()) c = Gauss();
  return pose;
}

std::span<const Primitive> Primitives() {
  static const Primitive primitives[] = {
      Row<Line, LinePrimitive>("line", {0, 0, kMetres, {}}, AlongU),
      Row<Arc, ArcPrimitive>("arc", {0.5, 0, {0, pi}, {}}, AlongU),
      Row<Plane, PlanePrimitive>("plane", kSquare, Unbounded),
      Row<Patch, PlanePrimitive>("patch", kSquare, Area),
      Row<Sphere, SpherePrimitive>("sphere", {0.5, 0, {-pi / 2, pi / 2}, kTurn}, Unbounded),
      Row<Cylinder, CylinderPrimitive>("cylinder", kPipe, Unbounded),
      Row<BoundedCylinder, CylinderPrimitive, false>("bounded cylinder", kPipe, AlongV),
      Row<Cone, ConePrimitive>("cone", kFunnel, Unbounded),
      Row<BoundedCone, ConePrimitive>("bounded cone", kFunnel, BetweenV),
      Row<Torus, TorusPrimitive>("torus", {1, 0.3, kTurn, kTurn}, Unbounded),
      Row<Elbow, TorusPrimitive>("elbow", {1, 0.3, {0, pi / 2}, kTurn}, AlongU),
  };
  return primitives;
}

const Primitive& PrimitiveNamed(std::string_view name) {
  for (const Primitive& primitive : Primitives()) {
    if (primitive.name == name) return primitive;
  }
  throw std::out_of_range("no primitive " + std::string(name));
}

Points PointsOn(const Primitive& primitive, const Truth& truth, const Pose& pose, int n, double noise,
                Random& random) {
  const auto shape = primitive.make(truth, Pose::Identity());
  const auto* surface = dynamic_cast<const OutputSurface*>(shape.get());
  const auto* curve = dynamic_cast<const OutputCurve*>(shape.get());
  Points points;
  points.reserve(static_cast<std::size_t>(n));
  while (static_cast<int>(points.size()) < n) {
    const double u = random.Uniform(truth.u.low, truth.u.high), v = random.Uniform(truth.v.low, truth.v.high);
    if (random.Uniform(0, 1) > primitive.weight(truth, u, v)) continue;
    if (surface != nullptr) {
      const Vector3d p = surface->Eval(u, v);
      points.push_back(pose * (p + noise * random.Gauss() * surface->EvalNormal(p)));
    } else {
      const double across = noise * random.Gauss();
      points.push_back(
          pose * (curve->Eval(u) + NormalsOf(*curve, u) * Eigen::Vector2d(across, noise * random.Gauss())));
    }
  }
  return points;
}

Scene MakeScene(const Primitive& primitive, const Truth& truth, const SceneOptions& options,
                std::uint64_t seed) {
  Random random(seed);
  Scene scene{truth, random.AnyPose(), options.noise, {}, {}};
  if (options.survey) scene.pose.pretranslate(Vector3d(500000, 4000000, 100));
  const int outliers = static_cast<int>(options.outliers * options.points);
  scene.inliers = PointsOn(primitive, truth, scene.pose, options.points - outliers, options.noise, random);
  scene.points = scene.inliers;
  Vector3d low = scene.inliers[0], high = low;
  for (const Vector3d& p : scene.inliers) {
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  const double beside = (options.around - 1) / 2;
  for (int i = 0; i < outliers; ++i) {
    Vector3d share;
    for (double& c : share) c = random.Uniform(-beside, 1 + beside);
    scene.points.push_back(low + share.cwiseProduct(high - low));
  }
  random.Shuffle(scene.points);
  return scene;
}

double RootMeanSquare(const OutputShape& shape, const Points& points) {
  double sum = 0;
  for (const Vector3d& p : points) sum += std::pow(shape.Distance(p), 2);
  return std::sqrt(sum / static_cast<double>(points.size()));
}

bool IsNear(const Scene& scene, const OutputShape& fit) {
  const bool curve = dynamic_cast<const OutputCurve*>(&fit) != nullptr;
  return RootMeanSquare(fit, scene.inliers) < 2 * scene.noise * (curve ? std::numbers::sqrt2 : 1);
}

bool Reaches(const Extent& extent, const Extent& truth, bool stretched) {
  if (extent.size() != truth.size()) return false;
  if (truth.size() == 2) {  // two ends: their distance
    return Reaches({extent[1] - extent[0]}, {truth[1] - truth[0]}, stretched);
  }
  return truth.empty() || (extent[0] > 0.9 * truth[0] && (stretched || extent[0] < 1.1 * truth[0]));
}

}  // namespace primfit::bench
