// The residual models: deviations against formulas of another form, directions as angles. What holds leave
// free is tested with the optimizers.
#include "optimize/models.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "optimize/directions.h"

namespace {

using Eigen::Vector3d;
using std::numbers::pi;
using Real = long double;
using Real3 = Eigen::Matrix<Real, 3, 1>;

/// Distances by Pythagoras in long double, from the axial coordinate and the length alone.
struct Foot {
  Foot(const Vector3d& p, const Vector3d& c, const Vector3d& axis) {
    const Real3 v = p.cast<Real>() - c.cast<Real>();
    const Real3 a = axis.cast<Real>().normalized();
    axial = v.dot(a);
    radial = std::sqrt(std::max<Real>(0, v.squaredNorm() - axial * axial));
  }
  Real axial, radial;
};

Real Cylinder(const Vector3d& p, const Vector3d& o, double r, const Vector3d& d) {
  return Foot(p, o, d).radial - r;
}
Real Cone(const Vector3d& p, const Vector3d& apex, double angle, const Vector3d& d) {
  const Foot f(p, apex, d);
  return std::hypot(f.axial, f.radial) * std::sin(std::atan2(f.radial, std::abs(f.axial)) - Real(angle));
}
Real Torus(const Vector3d& p, const Vector3d& c, double major, double minor, const Vector3d& d) {
  const Foot f(p, c, d);
  return std::hypot(f.radial - major, f.axial) - minor;
}
Vector3d FromAngles(double a, double b) {
  return Eigen::AngleAxisd(a, Vector3d::UnitZ()) * Eigen::AngleAxisd(-b, Vector3d::UnitY()) *
         Vector3d::UnitX();
}

struct Comparison {
  double model;
  Real oracle;
};

class Models : public ::testing::Test {
 protected:
  double Number(double low = -2, double high = 2) {
    return std::uniform_real_distribution<double>(low, high)(random_);
  }
  Vector3d Point() { return {Number(), Number(), Number()}; }

  std::mt19937_64 random_{40};
  const Vector3d* const* none_ = nullptr;
};

TEST_F(Models, MeasureAsAnotherFormulaDoes) {
  for (int i = 0; i < 20000; ++i) {
    const Vector3d p = Point(), c = Point();
    const double r = Number(0.1, 2), q = Number(0.05, 0.5);
    // Every tenth direction is at a pole or on the equator.
    const double a = i % 10 == 0 ? 0 : Number(-4, 4),
                 b = i % 10 == 0 ? (i % 20 == 0 ? pi / 2 : 0) : Number(-1.5, 1.5);
    const Vector3d d = FromAngles(a, b);
    const std::array<double, 7> space{c.x(), c.y(), c.z(), r, a, b, 0},
        torus{c.x(), c.y(), c.z(), r, q, a, b};
    const Vector3d flat(p.x(), p.y(), 0);
    const double line[] = {r, a}, circle[] = {c.x(), c.y(), r}, plane[] = {r, a, b};
    const Comparison checks[] = {
        {primfit::SignedDistance(TRLine(9, none_, 1).At(line), flat),
         std::cos(Real(a)) * p.y() - std::sin(Real(a)) * p.x() - r},
        {primfit::SignedDistance(TRCircle(9, none_, 1).At(circle), p),
         std::hypot(Real(p.x()) - c.x(), Real(p.y()) - c.y(), Real(p.z())) - r},
        {primfit::SignedDistance(TRPlane(9, none_, 1).At(plane), p), p.cast<Real>().dot(d.cast<Real>()) - r},
        {primfit::SignedDistance(TRSphere(9, none_, 1).At(space.data()), p),
         (p.cast<Real>() - c.cast<Real>()).norm() - r},
        {primfit::SignedDistance(TRCylinder(9, none_, 1).At(space.data()), p), Cylinder(p, c, r, d)},
        {primfit::SignedDistance(TRCone(9, none_, 1).At(space.data()), p), Cone(p, c, r, d)},
        {primfit::SignedDistance(TRTorus(9, none_, 1).At(torus.data()), p), Torus(p, c, r, q, d)},
    };
    for (const auto& check : checks) {
      ASSERT_NEAR(check.model, static_cast<double>(check.oracle), 2e-14)
          << "case " << i << " model " << &check - checks;
    }
  }
}

TEST_F(Models, ProfileTorusAlwaysPassesThroughItsSection) {
  for (int i = 0; i < 2000; ++i) {
    const Vector3d section = Point(), u = FromAngles(Number(), Number(-1, 1)), w = u.unitOrthogonal();
    const double r = Number(0.05, 0.3), bend = Number(0.4, 2), theta = Number(-3, 3);
    const double x[] = {bend, theta};
    const TRTorusProfile model(9, none_, 1, section, r, u, w);
    const Vector3d tube = u.cross(w);
    const Vector3d outward = Eigen::AngleAxisd(theta, tube) * u;  // from the torus's centre to the section
    const Vector3d p = Point();
    ASSERT_NEAR(primfit::SignedDistance(model.At(x), p),
                static_cast<double>(Torus(p, section - bend * outward, bend, r, tube.cross(outward))), 1e-13);
    const double turn = Number(0, 6);
    ASSERT_NEAR(primfit::SignedDistance(model.At(x), section + r * (std::cos(turn) * outward +
                                                                    std::sin(turn) * tube.cross(outward))),
                0, 1e-14);
  }
}

TEST_F(Models, TorusPointOnTheAxisIsMeasuredAcrossIt) {
  for (const Vector3d& axis : {Vector3d(0, 0, 1), Vector3d(0.6, 0, 0.8), Vector3d(1, 0, 0)}) {
    TRTorus model(9, nullptr, 1);
    model.FixAxis(axis);
    const double x[] = {1, 2, 3, 2, 0.5};
    // Just on, just under and just over the limit of 1e-6, the distance is that of the point on the axis.
    for (const double off : {0.0, 0.9e-6, 1.5e-6}) {
      const Vector3d p = Vector3d(1, 2, 3) + 1.5 * axis + off * axis.unitOrthogonal();
      EXPECT_NEAR(primfit::SignedDistance(model.At(x), p), std::hypot(2, 1.5) - 0.5, 2e-6)
          << axis.transpose() << " off " << off;
    }
  }
}

TEST(Directions, AnglesOfTheAxesAndBack) {
  const struct {
    Vector3d d;
    double azimuth, elevation;
  } rows[] = {
      {{0, 0, 1}, 0, pi / 2},
      {{0, 0, -1}, 0, -pi / 2},
      {{-1, 0, 0}, pi, 0},
      {{0, 1, 0}, pi / 2, 0},
      {{0, -1, 0}, 3 * pi / 2, 0},
      {{1, 0, 0}, 2 * pi, 0},
      {{0.6, -0.8, 0}, 2 * pi - std::atan2(0.8, 0.6), 0},
  };
  for (const auto& row : rows) {
    double a = -1, b = -1;
    AxisToAngles(row.d, a, b);
    EXPECT_NEAR(a, row.azimuth, 1e-15) << row.d.transpose();
    EXPECT_NEAR(b, row.elevation, 1e-15) << row.d.transpose();
  }
  std::mt19937_64 random(41);
  std::normal_distribution<double> g;
  for (int i = 0; i < 10000; ++i) {
    Vector3d d(g(random), g(random), i % 3 == 0 ? 0 : g(random));
    d.normalize();
    double a = 0, b = 0;
    AxisToAngles(d, a, b);
    ASSERT_NEAR((primfit::AnglesToAxis(a, b) - d).norm(), 0, 1e-7) << d.transpose();
    // In its own frame the direction is on the equator and comes back to the last bits.
    const Eigen::Matrix3d frame = primfit::EquatorFrame(d);
    AxisToAngles(frame.transpose() * d, a, b);
    ASSERT_NEAR(b, 0, 1e-15);
    ASSERT_NEAR((frame * primfit::AnglesToAxis(a, b) - d).norm(), 0, 1e-15);
    Vector3d across = d;
    UnitPerpendicular(across);
    ASSERT_NEAR(across.norm(), 1, 1e-15);
    ASSERT_NEAR(across.dot(d), 0, 1e-15);
  }
}

}  // namespace
