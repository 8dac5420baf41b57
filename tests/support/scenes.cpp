#include "support/scenes.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <string>

namespace primfit::testing {

using Eigen::Vector3d;

namespace {

std::uint64_t SeedOf(std::uint64_t testCase) {
  const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string name = test != nullptr ? std::string(test->test_suite_name()) + '.' + test->name() : "none";
  name += '#' + std::to_string(testCase);
  std::uint64_t hash = 0xcbf29ce484222325u;  // FNV-1a
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
  return hash;
}

template <class Make>
Points Repeat(int n, const Make& make) {
  Points points;
  points.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) points.push_back(make());
  return points;
}

/// The frame of a shape with an axis: e1 and e2 = axis x e1 span the plane across it.
struct Frame {
  Vector3d axis, e1, e2;
  explicit Frame(const Vector3d& a) : axis(a), e1(a.unitOrthogonal()), e2(a.cross(e1)) {}
  Vector3d Radial(double angle) const { return std::cos(angle) * e1 + std::sin(angle) * e2; }
};

/// A value of the range drawn with a density proportional to `density`, which is at most `bound` there.
template <class Density>
double Weighted(Range range, double bound, const Density& density, Random& random) {
  for (;;) {
    const double value = random.Uniform(range);
    if (random.Uniform(0, bound) <= density(value)) return value;
  }
}

}  // namespace

Points Pose::operator*(const Points& points) const {
  Points moved(points.size());
  std::transform(points.begin(), points.end(), moved.begin(),
                 [this](const Vector3d& p) { return *this * p; });
  return moved;
}

Random::Random(std::uint64_t testCase) : seed_(SeedOf(testCase)), engine_(seed_) {}

Vector3d Random::Direction() {
  for (;;) {
    const Vector3d v = InCube(1);
    const double length = v.norm();
    if (length <= 1 && length > 0.1) return v / length;
  }
}

Vector3d Random::InCube(double half) {
  const double x = Uniform(-half, half);
  const double y = Uniform(-half, half);
  return {x, y, Uniform(-half, half)};
}

Eigen::Matrix3d Random::Rotation() {
  Eigen::Vector4d q;
  for (double& c : q) c = Gauss(1);
  return Eigen::Quaterniond(q.normalized()).toRotationMatrix();
}

void Random::Shuffle(Points& points) { std::shuffle(points.begin(), points.end(), engine_); }

Points PointsOn(const OutputLine& line, int n, Range t, double noise, Random& random) {
  const Frame frame(line.Direction());
  return Repeat(n, [&]() -> Vector3d {
    const double x = random.Gauss(noise), y = random.Gauss(noise);
    return line.Root() + random.Uniform(t) * frame.axis + x * frame.e1 + y * frame.e2;
  });
}

Points PointsOn(const OutputCircle& circle, int n, Range angle, double noise, Random& random) {
  const Frame frame(circle.Axis());
  return Repeat(n, [&]() -> Vector3d {
    const double radius = circle.Radius() + random.Gauss(noise);
    const double aside = random.Gauss(noise);
    return circle.Center() + radius * frame.Radial(random.Uniform(angle)) + aside * frame.axis;
  });
}

Points PointsOn(const OutputPlane& plane, int n, Range u, Range v, double noise, Random& random) {
  const Frame frame(plane.Normal());
  return Repeat(n, [&]() -> Vector3d {
    const double x = random.Uniform(u), y = random.Uniform(v);
    return plane.Center() + x * frame.e1 + y * frame.e2 + random.Gauss(noise) * frame.axis;
  });
}

Points PointsOn(const OutputSphere& sphere, int n, Range elevation, Range azimuth, double noise,
                Random& random) {
  return Repeat(n, [&]() -> Vector3d {
    const double sine = random.Uniform(std::sin(elevation.low), std::sin(elevation.high));
    const double cosine = std::sqrt(1 - sine * sine);
    const double a = random.Uniform(azimuth);
    return sphere.Center() + (sphere.Radius() + random.Gauss(noise)) *
                                 Vector3d(cosine * std::cos(a), cosine * std::sin(a), sine);
  });
}

Points PointsOn(const OutputCylinder& cylinder, int n, Range angle, Range height, double noise,
                Random& random) {
  const Frame frame(cylinder.Axis());
  return Repeat(n, [&]() -> Vector3d {
    const double radius = cylinder.Radius() + random.Gauss(noise);
    const double azimuth = random.Uniform(angle);
    return cylinder.Center() + radius * frame.Radial(azimuth) + random.Uniform(height) * frame.axis;
  });
}

Points PointsOn(const OutputCone& cone, int n, Range angle, Range height, double noise, Random& random) {
  const Frame frame(cone.Axis());
  const double highest = std::max(std::abs(height.low), std::abs(height.high));
  const double side = height.low + height.high > 0 ? 1 : -1;
  return Repeat(n, [&]() -> Vector3d {
    const double h = Weighted(
        height, highest, [](double t) { return std::abs(t); }, random);
    const Vector3d radial = frame.Radial(random.Uniform(angle));
    const Vector3d normal = side * (std::cos(cone.Angle()) * radial - std::sin(cone.Angle()) * frame.axis);
    return cone.Apex() + h * std::tan(cone.Angle()) * radial + h * frame.axis + random.Gauss(noise) * normal;
  });
}

Points PointsOn(const OutputTorus& torus, int n, Range angle, Range tubeAngle, double noise, Random& random) {
  const Frame frame(torus.Axis());
  const double major = torus.MajorRadius();
  const double minor = torus.MinorRadius();
  const auto circumference = [&](double t) { return major + minor * std::cos(t); };
  return Repeat(n, [&]() -> Vector3d {
    const double t = Weighted(tubeAngle, major + minor, circumference, random);
    const double tube = minor + random.Gauss(noise);
    return torus.Center() + (major + tube * std::cos(t)) * frame.Radial(random.Uniform(angle)) +
           tube * std::sin(t) * frame.axis;
  });
}

Points Clutter(const Vector3d& low, const Vector3d& high, int n, Random& random) {
  return Repeat(n, [&]() -> Vector3d {
    const Vector3d share = random.InCube(0.5).array() + 0.5;
    return low + share.cwiseProduct(high - low);
  });
}

Points WithClutter(Points points, double share, Random& random) {
  Vector3d low = points[0], high = low;
  for (const Vector3d& p : points) low = low.cwiseMin(p), high = high.cwiseMax(p);
  const Vector3d beside = (high - low) / 4;
  const int n = static_cast<int>(share / (1 - share) * static_cast<double>(points.size()));
  return Joined(std::move(points), Clutter(low - beside, high + beside, n, random));
}

Points Joined(Points a, const Points& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace primfit::testing
