// The order of the virtual functions, which programs built against an earlier release call by position
// (Itanium C++ ABI: a virtual destructor takes two places).
#include <gtest/gtest.h>

#include <string>

#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_output_params_sphere.h"
#include "primfit/fit/fit_output_params_torus.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_sphere.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

/// Calls the function in a place of the object's table.
template <class Result, class Object, class... Args>
Result CallPlace(int place, Object& object, Args... args) {
  using Function = Result (*)(Object*, Args...);
  void* function = (*reinterpret_cast<void***>(&object))[place];
  return reinterpret_cast<Function>(function)(&object, args...);
}

/// Notes in a log which of its functions was called.
template <class Base>
class Logged : public Base {
 public:
  using Base::Base;
  mutable std::string log;

  double Distance(const Vector3d&) const override { return log = "Distance", 0; }
  double Similarity(const OutputShape*) const override { return log = "Similarity", 0; }
  void Printout(std::FILE*) const override { log = "Printout"; }
  Vector3d ClosestPoint(const Vector3d&) const override { return log = "ClosestPoint", Vector3d::Zero(); }
  Vector3d EvalNormal(const Vector3d&) const override { return log = "EvalNormal", Vector3d::Zero(); }
  void SetDistSqrdThreshod(double) override { log = "SetDistSqrdThreshod"; }
  bool IsClosePoint(const Vector3d&) override { return log = "IsClosePoint", false; }
  bool GetClosePoints(const Vector3d*, int, double, std::vector<Vector3d>&, bool) override {
    return log = "GetClosePoints", false;
  }
};

struct LoggedCurve : Logged<OutputCircle> {
  using Logged::Logged;
  Vector3d Eval(double) const override { return log = "Eval", Vector3d::Zero(); }
};
struct LoggedSurface : Logged<OutputSphere> {
  using Logged::Logged;
  double Difference(const OutputSurface*, int, const Vector3d*) const override {
    return log = "Difference", 0;
  }
  Vector3d Eval(double, double) const override { return log = "Eval", Vector3d::Zero(); }
};

template <class Shape>
void ExpectShapeOrder(Shape& shape) {
  const Vector3d p = Vector3d::Zero();
  std::vector<Vector3d> out;
  OutputShape& base = shape;
  const auto called = [&] { return std::exchange(shape.log, "nothing"); };
  CallPlace<double, OutputShape, const Vector3d&>(2, base, p);
  EXPECT_EQ(called(), "Distance");
  CallPlace<double, OutputShape, const OutputShape*>(3, base, nullptr);
  EXPECT_EQ(called(), "Similarity");
  CallPlace<void, OutputShape, std::FILE*>(4, base, nullptr);
  EXPECT_EQ(called(), "Printout");
  CallPlace<Vector3d, OutputShape, const Vector3d&>(5, base, p);
  EXPECT_EQ(called(), "ClosestPoint");
  CallPlace<Vector3d, OutputShape, const Vector3d&>(6, base, p);
  EXPECT_EQ(called(), "EvalNormal");
  CallPlace<void, OutputShape, double>(7, base, 1);
  EXPECT_EQ(called(), "SetDistSqrdThreshod");
  CallPlace<bool, OutputShape, const Vector3d&>(8, base, p);
  EXPECT_EQ(called(), "IsClosePoint");
  CallPlace<bool, OutputShape, const Vector3d*, int, double, std::vector<Vector3d>&, bool>(9, base, nullptr,
                                                                                           0, 0, out, false);
  EXPECT_EQ(called(), "GetClosePoints");
}

TEST(Slots, OfCurves) {
  LoggedCurve curve;
  ExpectShapeOrder(curve);
  CallPlace<Vector3d, OutputCurve, double>(10, curve, 0);
  EXPECT_EQ(curve.log, "Eval");
}

TEST(Slots, OfSurfaces) {
  LoggedSurface surface(Vector3d::Zero(), 1);
  ExpectShapeOrder(surface);
  CallPlace<double, OutputSurface, const OutputSurface*, int, const Vector3d*>(10, surface, nullptr, 0,
                                                                               nullptr);
  EXPECT_EQ(surface.log, "Difference");
  CallPlace<Vector3d, OutputSurface, double, double>(11, surface, 0, 0);
  EXPECT_EQ(surface.log, "Eval");
}

// Lines, arcs and spheres have no virtual destructor before CalculateQuality.
TEST(Slots, OfRecords) {
  const auto distanceOfOrigin = [](auto record, int place) {
    const Vector3d origin(0, 0, 0);
    return CallPlace<FitQuality, decltype(record), int, const Vector3d*>(place, record, 1, &origin)
        .maxDistance;
  };
  const Vector3d c(3, 0, 4), x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsLine(c, x, 1), 0), 4);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsArc(c, 3, x, y, 1), 0), 4);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsSphere(c, 1), 0), 4);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsPlane(c, z), 2), 4);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsPatch(c, z, 0, nullptr, x), 2), 4);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsCylinder(c, 1, z), 2), 2);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsCylinderBounded(c, 1, z, 1), 2), 2);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsCone(c, 0, z), 2), 3);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsConeBounded(c, 0, z, 1, 2), 2), 3);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsTorus(c, 3, 1, z), 2), 3);
  EXPECT_DOUBLE_EQ(distanceOfOrigin(FitOutputParamsElbow(c, 3, 1, z, 1, x), 2), 3);
}

TEST(Slots, OfTheProgressInterface) {
  struct Updater : FitProgressUpdater {
    double reported = -1;
    void ReportProgress(double fraction) override { reported = fraction; }
    bool StopRequested() override { return true; }
  } updater;
  CallPlace<void, FitProgressUpdater, double>(2, updater, 0.25);
  EXPECT_EQ(updater.reported, 0.25);
  EXPECT_TRUE((CallPlace<bool, FitProgressUpdater>(3, updater)));
}

}  // namespace
}  // namespace primfit::testing
