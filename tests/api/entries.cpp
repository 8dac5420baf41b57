#include "api/entries.h"

#include <Eigen/Geometry>
#include <algorithm>

namespace primfit::testing {

using Eigen::Vector3d;

namespace {

/// Adds clutter in the bounding box and shuffles.
Points WithOutliers(Points points, int outliers, Random& random) {
  if (outliers > 0) {
    Vector3d low = points[0], high = points[0];
    for (const Vector3d& p : points) {
      low = low.cwiseMin(p);
      high = high.cwiseMax(p);
    }
    points = Joined(std::move(points), Clutter(low, high, outliers, random));
  }
  random.Shuffle(points);
  return points;
}

OutputLine Line(const Pose& p) { return {p.translation, p.rotation.col(2)}; }
OutputCircle Circle(const Pose& p) { return {p.translation, 0.5, p.rotation.col(2)}; }
OutputPlane Plane(const Pose& p) { return {p.translation, p.rotation.col(2)}; }
OutputSphere Sphere(const Pose& p) { return {p.translation, 0.5}; }
OutputCylinder Cylinder(const Pose& p) { return {p.translation, 0.5, p.rotation.col(2)}; }
OutputCone Cone(const Pose& p) { return {p.translation, 0.4, p.rotation.col(2)}; }
OutputTorus Torus(const Pose& p) { return {p.translation, 1, 0.3, p.rotation.col(2)}; }

constexpr Range kUnit{-1, 1}, kNearlyHalfTurn{0.5, 3.5}, kElevation{-1.5, 1.5}, kHeights{0.5, 2},
    kBend{0.5, 2.5};

template <auto kMake, const Range&... kParts>
Points Scene(const Pose& pose, int n, double noise, double outliers, Random& random) {
  const int bad = static_cast<int>(n * outliers);
  return WithOutliers(PointsOn(kMake(pose), n - bad, kParts..., noise, random), bad, random);
}

OutputLine ShapeOf(const FitOutputParamsLine& s) { return {s.Root(), s.Direction()}; }
OutputCircle ShapeOf(const FitOutputParamsArc& s) {
  return {s.Center(), s.Radius(), s.XAxis().cross(s.YAxis())};
}
OutputPlane ShapeOf(const FitOutputParamsPlane& s) { return {s.Origin(), s.Normal()}; }
OutputSphere ShapeOf(const FitOutputParamsSphere& s) { return {s.Center(), s.Radius()}; }
OutputCylinder ShapeOf(const FitOutputParamsCylinder& s) { return {s.Origin(), s.Radius(), s.Axis()}; }
OutputCone ShapeOf(const FitOutputParamsCone& s) { return {s.Apex(), s.Angle(), s.Axis()}; }
OutputTorus ShapeOf(const FitOutputParamsTorus& s) {
  return {s.Center(), s.MajorRadius(), s.MinorRadius(), s.Axis()};
}

using Ends = std::vector<Vector3d>;

/// The points that an extent names; none for an unbounded record.
template <class Record>
Ends EndsOf(const Record& s) {
  if constexpr (requires {
                  s.EndPoint();
                  s.StartPoint();
                }) {
    return {s.StartPoint(), s.EndPoint()};
  } else if constexpr (requires { s.EndPoint(); }) {
    return {s.Root(), s.EndPoint()};
  } else if constexpr (requires { s.Height(); }) {
    return {s.Origin(), s.Origin() + s.Height() * s.Axis()};
  } else if constexpr (requires { s.Height0(); }) {
    return {s.Apex() + s.Height0() * s.Axis(), s.Apex() + s.Height1() * s.Axis()};
  } else if constexpr (requires { s.XAxis(); }) {
    const Vector3d end = Eigen::AngleAxisd(s.Angle(), s.Axis()) * s.XAxis();
    return {s.Center() + s.MajorRadius() * s.XAxis(), s.Center() + s.MajorRadius() * end};
  } else {
    return {};
  }
}
Ends EndsOf(const FitOutputParamsPatch& s) {
  const double* loop = nullptr;
  Vector3d xAxis;
  Ends ends;
  for (int k = 0, count = s.Loop(loop, xAxis); k < count; ++k) {
    ends.push_back(s.Origin() + loop[2 * k] * xAxis + loop[2 * k + 1] * s.Normal().cross(xAxis));
  }
  return ends;
}

template <class Record>
std::vector<double> ExtentOf(const Record& s) {
  if constexpr (requires { s.Length(); }) return {s.Length()};
  if constexpr (requires { s.Height(); }) return {s.Height()};
  if constexpr (requires { s.Height0(); }) return {s.Height0(), s.Height1()};
  if constexpr (requires { s.XAxis(); }) return {s.Angle()};
  return {};
}

template <class Constraints, class Record>
Found Fit(const Points& points) {
  const auto out =
      FitBy<Record>(points.data(), static_cast<int>(points.size()), FitInputParams<Constraints>());
  const Record& s = out.GetFitShape();
  return {std::make_shared<decltype(ShapeOf(s))>(ShapeOf(s)), out.GetFitQuality(), ExtentOf(s), EndsOf(s)};
}

}  // namespace

const std::vector<Entry>& Entries() {
  static const std::vector<Entry> entries = {
      {"Line", Scene<Line, kUnit>, Fit<FitConstraintsLine, FitOutputParamsLine>},
      {"Arc", Scene<Circle, kNearlyHalfTurn>, Fit<FitConstraintsArc, FitOutputParamsArc>},
      {"Plane", Scene<Plane, kUnit, kUnit>, Fit<FitConstraintsPlane, FitOutputParamsPlane>},
      {"Patch", Scene<Plane, kUnit, kUnit>, Fit<FitConstraintsPlane, FitOutputParamsPatch>},
      {"Sphere", Scene<Sphere, kElevation, kFullTurn>, Fit<FitConstraintsSphere, FitOutputParamsSphere>},
      {"Cylinder", Scene<Cylinder, kFullTurn, kUnit>, Fit<FitConstraintsCylinder, FitOutputParamsCylinder>},
      {"BoundedCylinder", Scene<Cylinder, kFullTurn, kUnit>,
       Fit<FitConstraintsCylinder, FitOutputParamsCylinderBounded>},
      {"Cone", Scene<Cone, kFullTurn, kHeights>, Fit<FitConstraintsCone, FitOutputParamsCone>},
      {"BoundedCone", Scene<Cone, kFullTurn, kHeights>, Fit<FitConstraintsCone, FitOutputParamsConeBounded>},
      {"Torus", Scene<Torus, kFullTurn, kFullTurn>, Fit<FitConstraintsTorus, FitOutputParamsTorus>},
      {"Elbow", Scene<Torus, kBend, kFullTurn>, Fit<FitConstraintsTorus, FitOutputParamsElbow>},
  };
  return entries;
}

const Entry& EntryOf(const char* name) {
  return *std::find_if(Entries().begin(), Entries().end(), [&](const Entry& e) { return e.Is(name); });
}

}  // namespace primfit::testing
