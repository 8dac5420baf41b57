#include "support/kinds.h"

#include <cmath>
#include <ostream>
#include <type_traits>

namespace primfit::testing {

using Eigen::Vector3d;

namespace {

Vector3d Around(double angle) { return {std::cos(angle), std::sin(angle), 0}; }
Vector3d Outward(const Vector3d& p) { return Vector3d(p.x(), p.y(), 0).normalized(); }
Vector3d AxisOf(const Pose& pose) { return pose.rotation.col(2); }

template <class Shape>
Kind KindOf(const char* name, decltype(Kind::distance) distance, decltype(Kind::normal) normal,
            decltype(Kind::at) at, Range u, Range v, decltype(Kind::make) make) {
  return {name,
          std::is_base_of_v<OutputSurface, Shape>,
          distance,
          normal,
          at,
          u,
          v,
          make,
          [](const OutputShape& shape) -> std::unique_ptr<OutputShape> {
            return std::make_unique<Shape>(dynamic_cast<const Shape&>(shape));
          },
          [](OutputShape& to, const OutputShape& from) {
            dynamic_cast<Shape&>(to) = dynamic_cast<const Shape&>(from);
          }};
}

using Made = std::unique_ptr<OutputShape>;
constexpr Range kLong{-10, 10};
constexpr Range kNone{0, 0};
constexpr Range kHalfTurn{-std::numbers::pi / 2, std::numbers::pi / 2};

const Kind kKinds[] = {
    KindOf<OutputLine>(
        "Line", [](long double rho, long double) { return rho; },
        [](const Vector3d&) -> Vector3d { return Vector3d::UnitX(); },
        [](double u, double) { return Vector3d(0, 0, u); }, kLong, kNone,
        [](const Pose& pose, double) -> Made {
          return std::make_unique<OutputLine>(pose.translation, AxisOf(pose), pose.rotation.col(0));
        }),
    KindOf<OutputCircle>(
        "Circle", [](long double rho, long double z) { return std::hypot(rho - kRadius, z); },
        [](const Vector3d& p) -> Vector3d { return p.normalized(); },
        [](double u, double) -> Vector3d { return kRadius * Around(u); }, kFullTurn, kNone,
        [](const Pose& pose, double scale) -> Made {
          return std::make_unique<OutputCircle>(pose.translation, kRadius * scale, AxisOf(pose));
        }),
    KindOf<OutputPlane>(
        "Plane", [](long double, long double z) { return z; },
        [](const Vector3d&) -> Vector3d { return Vector3d::UnitZ(); },
        [](double u, double v) { return Vector3d(u, v, 0); }, kLong, kLong,
        [](const Pose& pose, double) -> Made {
          return std::make_unique<OutputPlane>(pose.translation, AxisOf(pose));
        }),
    KindOf<OutputSphere>(
        "Sphere", [](long double rho, long double z) { return std::hypot(rho, z) - kRadius; },
        [](const Vector3d& p) -> Vector3d { return p.normalized(); },
        [](double u, double v) -> Vector3d {
          return kRadius * (std::cos(u) * Around(v) + std::sin(u) * Vector3d::UnitZ());
        },
        kHalfTurn, kFullTurn,
        [](const Pose& pose, double scale) -> Made {
          return std::make_unique<OutputSphere>(pose.translation, kRadius * scale);
        }),
    KindOf<OutputCylinder>(
        "Cylinder", [](long double rho, long double) { return rho - kRadius; }, Outward,
        [](double u, double v) -> Vector3d { return kRadius * Around(u) + v * Vector3d::UnitZ(); }, kFullTurn,
        kLong,
        [](const Pose& pose, double scale) -> Made {
          return std::make_unique<OutputCylinder>(pose.translation, kRadius * scale, AxisOf(pose));
        }),
    KindOf<OutputCone>(
        "Cone",
        [](long double rho, long double z) {
          return rho * std::cos(static_cast<long double>(kHalfAngle)) -
                 std::abs(z) * std::sin(static_cast<long double>(kHalfAngle));
        },
        [](const Vector3d& p) -> Vector3d {
          return (p.z() * Outward(p) - std::hypot(p.x(), p.y()) * Vector3d::UnitZ()).normalized();
        },
        [](double u, double v) -> Vector3d {
          return std::tan(kHalfAngle) * v * Around(u) + v * Vector3d::UnitZ();
        },
        kFullTurn, kLong,
        [](const Pose& pose, double) -> Made {
          return std::make_unique<OutputCone>(pose.translation, kHalfAngle, AxisOf(pose));
        }),
    KindOf<OutputTorus>(
        "Torus", [](long double rho, long double z) { return std::hypot(rho - kMajor, z) - kMinor; },
        [](const Vector3d& p) -> Vector3d { return (p - kMajor * Outward(p)).normalized(); },
        [](double u, double v) -> Vector3d {
          return (kMajor + kMinor * std::cos(v)) * Around(u) + kMinor * std::sin(v) * Vector3d::UnitZ();
        },
        kFullTurn, kFullTurn,
        [](const Pose& pose, double scale) -> Made {
          return std::make_unique<OutputTorus>(pose.translation, kMajor * scale, kMinor * scale,
                                               AxisOf(pose));
        }),
};

}  // namespace

long double Kind::Distance(const Vector3d& p) const {
  return distance(std::hypot(static_cast<long double>(p.x()), static_cast<long double>(p.y())), p.z());
}

bool Kind::Is(KindIndex index) const { return name == kKinds[index].name; }

std::span<const Kind> Kinds() { return kKinds; }

std::ostream& operator<<(std::ostream& out, const Kind& kind) { return out << kind.name; }

}  // namespace primfit::testing
