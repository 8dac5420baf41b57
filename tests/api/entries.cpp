#include "api/entries.h"

#include <Eigen/Geometry>
#include <cmath>

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

template <class Shape, class... Parts>
Points SceneOf(const Shape& shape, int n, double noise, double outliers, Random& random,
               const Parts&... parts) {
  const int bad = static_cast<int>(n * outliers);
  return WithOutliers(PointsOn(shape, n - bad, parts..., noise, random), bad, random);
}

OutputLine Line(const Pose& p) { return {p.translation, p.rotation.col(2)}; }
OutputCircle Circle(const Pose& p) { return {p.translation, 0.5, p.rotation.col(2)}; }
OutputPlane Plane(const Pose& p) { return {p.translation, p.rotation.col(2)}; }
OutputSphere Sphere(const Pose& p) { return {p.translation, 0.5}; }
OutputCylinder Cylinder(const Pose& p) { return {p.translation, 0.5, p.rotation.col(2)}; }
OutputCone Cone(const Pose& p) { return {p.translation, 0.4, p.rotation.col(2)}; }
OutputTorus Torus(const Pose& p) { return {p.translation, 1, 0.3, p.rotation.col(2)}; }

Points LineScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Line(p), n, noise, outliers, r, Range{-1, 1});
}
Points ArcScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Circle(p), n, noise, outliers, r, Range{0.5, 3.5});
}
Points PlaneScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Plane(p), n, noise, outliers, r, Range{-1, 1}, Range{-1, 1});
}
Points SphereScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Sphere(p), n, noise, outliers, r, Range{-1.5, 1.5}, kFullTurn);
}
Points CylinderScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Cylinder(p), n, noise, outliers, r, kFullTurn, Range{-1, 1});
}
Points ConeScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Cone(p), n, noise, outliers, r, kFullTurn, Range{0.5, 2});
}
Points TorusScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Torus(p), n, noise, outliers, r, kFullTurn, kFullTurn);
}
Points ElbowScene(const Pose& p, int n, double noise, double outliers, Random& r) {
  return SceneOf(Torus(p), n, noise, outliers, r, Range{0.5, 2.5}, kFullTurn);
}

using Ends = std::vector<Vector3d>;

std::shared_ptr<OutputShape> ShapeOf(const FitOutputParamsLine& s) {
  return std::make_shared<OutputLine>(s.Root(), s.Direction());
}
std::shared_ptr<OutputShape> ShapeOf(const FitOutputParamsArc& s) {
  return std::make_shared<OutputCircle>(s.Center(), s.Radius(), s.XAxis().cross(s.YAxis()));
}
std::shared_ptr<OutputShape> ShapeOf(const FitOutputParamsPlane& s) {
  return std::make_shared<OutputPlane>(s.Origin(), s.Normal());
}
std::shared_ptr<OutputShape> ShapeOf(const FitOutputParamsSphere& s) {
  return std::make_shared<OutputSphere>(s.Center(), s.Radius());
}
std::shared_ptr<OutputShape> ShapeOf(const FitOutputParamsCylinder& s) {
  return std::make_shared<OutputCylinder>(s.Origin(), s.Radius(), s.Axis());
}
std::shared_ptr<OutputShape> ShapeOf(const FitOutputParamsCone& s) {
  return std::make_shared<OutputCone>(s.Apex(), s.Angle(), s.Axis());
}
std::shared_ptr<OutputShape> ShapeOf(const FitOutputParamsTorus& s) {
  return std::make_shared<OutputTorus>(s.Center(), s.MajorRadius(), s.MinorRadius(), s.Axis());
}

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

/// The fit that IFit has for a pair of records; some take a flag more.
template <class Constraints, class Record, auto... kFlag>
Found Fit(const Points& points, double outliers, double scannerError) {
  FitInputParams<Constraints> params;
  params.SetOutlierPercentage(outliers);
  params.SetScannerError(scannerError);
  IFit<FitInputParams<Constraints>, Record> front;
  const auto out = front.Solve(points.data(), static_cast<int>(points.size()), params, nullptr, kFlag...);
  const Record& s = out.GetFitShape();
  return {ShapeOf(s), out.GetFitQuality(), ExtentOf(s), EndsOf(s)};
}

template <auto kMake>
std::shared_ptr<OutputShape> Shared(const Pose& pose) {
  using Shape = decltype(kMake(pose));
  return std::make_shared<Shape>(kMake(pose));
}

}  // namespace

const std::vector<Entry>& Entries() {
  static const std::vector<Entry> entries = {
      {"line", LineScene, Fit<FitConstraintsLine, FitOutputParamsLine>, Shared<&Line>},
      {"arc", ArcScene, Fit<FitConstraintsArc, FitOutputParamsArc>, Shared<&Circle>},
      {"plane", PlaneScene, Fit<FitConstraintsPlane, FitOutputParamsPlane>, Shared<&Plane>},
      {"patch", PlaneScene, Fit<FitConstraintsPlane, FitOutputParamsPatch>, Shared<&Plane>},
      {"sphere", SphereScene, Fit<FitConstraintsSphere, FitOutputParamsSphere>, Shared<&Sphere>},
      {"cylinder", CylinderScene, Fit<FitConstraintsCylinder, FitOutputParamsCylinder>, Shared<&Cylinder>},
      {"bounded cylinder", CylinderScene, Fit<FitConstraintsCylinder, FitOutputParamsCylinderBounded, false>,
       Shared<&Cylinder>},
      {"cone", ConeScene, Fit<FitConstraintsCone, FitOutputParamsCone>, Shared<&Cone>},
      {"bounded cone", ConeScene, Fit<FitConstraintsCone, FitOutputParamsConeBounded>, Shared<&Cone>},
      {"torus", TorusScene, Fit<FitConstraintsTorus, FitOutputParamsTorus>, Shared<&Torus>},
      {"elbow", ElbowScene, Fit<FitConstraintsTorus, FitOutputParamsElbow>, Shared<&Torus>},
  };
  return entries;
}

std::string MessageOf(const std::function<void()>& call) {
  try {
    call();
    return "no exception";
  } catch (const FitError& error) {
    return error.what();
  }
}

}  // namespace primfit::testing
