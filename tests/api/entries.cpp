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

template <class Constraints>
FitInputParams<Constraints> ParamsOf(double outliers, double scannerError) {
  FitInputParams<Constraints> params;
  params.SetOutlierPercentage(outliers);
  params.SetScannerError(scannerError);
  return params;
}

/// Runs IFit for a pair of records; `shape` rebuilds the unbounded shape, `extent` fills the rest.
template <class Constraints, class Record, class... Flag>
FitOutput<Record> Run(const Points& points, double outliers, double scannerError, Flag... flag) {
  const auto params = ParamsOf<Constraints>(outliers, scannerError);
  return IFit<FitInputParams<Constraints>, Record>().Solve(points.data(), static_cast<int>(points.size()),
                                                           params, nullptr, flag...);
}

Found FitLine(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsLine, FitOutputParamsLine>(points, outliers, scannerError);
  const auto& s = out.GetFitShape();
  return {std::make_shared<OutputLine>(s.Root(), s.Direction()),
          out.GetFitQuality(),
          {s.Length()},
          {s.Root(), s.EndPoint()}};
}
Found FitArc(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsArc, FitOutputParamsArc>(points, outliers, scannerError);
  const auto& s = out.GetFitShape();
  return {std::make_shared<OutputCircle>(s.Center(), s.Radius(), s.XAxis().cross(s.YAxis())),
          out.GetFitQuality(),
          {s.Angle()},
          {s.StartPoint(), s.EndPoint()}};
}
Found FitPlane(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsPlane, FitOutputParamsPlane>(points, outliers, scannerError);
  return {std::make_shared<OutputPlane>(out.GetFitShape().Origin(), out.GetFitShape().Normal()),
          out.GetFitQuality(),
          {},
          {}};
}
Found FitPatch(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsPlane, FitOutputParamsPatch>(points, outliers, scannerError);
  const auto& s = out.GetFitShape();
  const double* loop = nullptr;
  Vector3d xAxis;
  const int count = s.Loop(loop, xAxis);
  Found found{std::make_shared<OutputPlane>(s.Origin(), s.Normal()), out.GetFitQuality(), {}, {}};
  for (int k = 0; k < count; ++k) {
    found.ends.push_back(s.Origin() + loop[2 * k] * xAxis + loop[2 * k + 1] * s.Normal().cross(xAxis));
  }
  return found;
}
Found FitSphere(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsSphere, FitOutputParamsSphere>(points, outliers, scannerError);
  return {std::make_shared<OutputSphere>(out.GetFitShape().Center(), out.GetFitShape().Radius()),
          out.GetFitQuality(),
          {},
          {}};
}
template <class Record>
std::shared_ptr<OutputShape> CylinderOf(const Record& s) {
  return std::make_shared<OutputCylinder>(s.Origin(), s.Radius(), s.Axis());
}
Found FitCylinder(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsCylinder, FitOutputParamsCylinder>(points, outliers, scannerError);
  return {CylinderOf(out.GetFitShape()), out.GetFitQuality(), {}, {}};
}
Found FitBoundedCylinder(const Points& points, double outliers, double scannerError) {
  const auto out =
      Run<FitConstraintsCylinder, FitOutputParamsCylinderBounded>(points, outliers, scannerError, false);
  const auto& s = out.GetFitShape();
  return {CylinderOf(s), out.GetFitQuality(), {s.Height()}, {s.Origin(), s.Origin() + s.Height() * s.Axis()}};
}
template <class Record>
std::shared_ptr<OutputShape> ConeOf(const Record& s) {
  return std::make_shared<OutputCone>(s.Apex(), s.Angle(), s.Axis());
}
Found FitCone(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsCone, FitOutputParamsCone>(points, outliers, scannerError);
  return {ConeOf(out.GetFitShape()), out.GetFitQuality(), {}, {}};
}
Found FitBoundedCone(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsCone, FitOutputParamsConeBounded>(points, outliers, scannerError);
  const auto& s = out.GetFitShape();
  return {ConeOf(s),
          out.GetFitQuality(),
          {s.Height0(), s.Height1()},
          {s.Apex() + s.Height0() * s.Axis(), s.Apex() + s.Height1() * s.Axis()}};
}
template <class Record>
std::shared_ptr<OutputShape> TorusOf(const Record& s) {
  return std::make_shared<OutputTorus>(s.Center(), s.MajorRadius(), s.MinorRadius(), s.Axis());
}
Found FitTorus(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsTorus, FitOutputParamsTorus>(points, outliers, scannerError);
  return {TorusOf(out.GetFitShape()), out.GetFitQuality(), {}, {}};
}
Found FitElbow(const Points& points, double outliers, double scannerError) {
  const auto out = Run<FitConstraintsTorus, FitOutputParamsElbow>(points, outliers, scannerError);
  const auto& s = out.GetFitShape();
  const Vector3d yAxis = s.Axis().cross(s.XAxis());
  return {TorusOf(s),
          out.GetFitQuality(),
          {s.Angle()},
          {s.Center() + s.MajorRadius() * s.XAxis(),
           s.Center() + s.MajorRadius() * (std::cos(s.Angle()) * s.XAxis() + std::sin(s.Angle()) * yAxis)}};
}

template <auto kMake>
std::shared_ptr<OutputShape> Shared(const Pose& pose) {
  using Shape = decltype(kMake(pose));
  return std::make_shared<Shape>(kMake(pose));
}

}  // namespace

const std::vector<Entry>& Entries() {
  static const std::vector<Entry> entries = {
      {"line", LineScene, FitLine, Shared<&Line>},
      {"arc", ArcScene, FitArc, Shared<&Circle>},
      {"plane", PlaneScene, FitPlane, Shared<&Plane>},
      {"patch", PlaneScene, FitPatch, Shared<&Plane>},
      {"sphere", SphereScene, FitSphere, Shared<&Sphere>},
      {"cylinder", CylinderScene, FitCylinder, Shared<&Cylinder>},
      {"bounded cylinder", CylinderScene, FitBoundedCylinder, Shared<&Cylinder>},
      {"cone", ConeScene, FitCone, Shared<&Cone>},
      {"bounded cone", ConeScene, FitBoundedCone, Shared<&Cone>},
      {"torus", TorusScene, FitTorus, Shared<&Torus>},
      {"elbow", ElbowScene, FitElbow, Shared<&Torus>},
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
