// Kinds that are not there: what looks like them from afar, is a simpler shape, or is no shape at all. The
// right answer is a refusal, or a verdict that warns.
#include <cmath>

#include "hard_cases_builder.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

constexpr int kPoints = 5000;

auto Only(const std::vector<Face>& faces, int pointsOfEach) {
  return [=](Random& r) {
    SceneBuilder builder(kNoise, r);
    for (const Face& face : faces) builder.Add(face, pointsOfEach);
    return builder.InAnyPose();
  };
}

Face Floor(double size = 2) { return Rectangle({0, 0, 0}, size * kX, size * kY); }

/// The three faces of a cube that a scanner sees, or the inside of a corner of a room.
std::vector<Face> Corner(double size) {
  const double half = size / 2;
  return {Rectangle({half, half, 0}, size * kX, size * kY), Rectangle({half, 0, half}, size * kX, size * kZ),
          Rectangle({0, half, half}, size * kY, size * kZ)};
}

std::vector<Face> Furniture() {
  std::vector<Face> faces{Floor(4)};
  for (const Face& face : Box({-1, 1, 0.4}, {1.2, 0.8, 0.8})) faces.push_back(face);
  for (const Face& face : Box({1, -0.5, 0.25}, {0.5, 0.5, 0.5})) faces.push_back(face);
  return faces;
}

auto Terrain(double deviation, double wavelength) {
  return [=](Random& r) {
    Face ground = Floor(20);
    ground.form = Waves(deviation, wavelength, r);
    return SceneBuilder(0.01, r).Add(ground, 8000).InAnyPose();
  };
}

HardScene UnevenFloor(Random& r) {
  Face floor = Floor(6);
  floor.form = Waves(0.002, 1.5, r);
  return SceneBuilder(kNoise, r).Add(floor, 6000).InAnyPose();
}

HardScene Cloud(Random& r) {
  Points points;
  for (int i = 0; i < kPoints; ++i) points.emplace_back(r.Uniform(-1, 1), r.Uniform(-1, 1), r.Uniform(-1, 1));
  return SceneBuilder(kNoise, r).AddPoints(points).InAnyPose();
}

/// Points that thin out from a middle, as leaves of a bush do.
HardScene Bush(Random& r) {
  Points points;
  for (int i = 0; i < kPoints; ++i) points.emplace_back(r.Gauss(), r.Gauss(), 0.6 * r.Gauss());
  return SceneBuilder(kNoise, r).AddPoints(points).InAnyPose();
}

HardScene ScannedRoom(Random& r) {
  std::vector<Face> faces = Box({0, 0, 1.3}, {6, 5, 2.6});
  for (const Face& face : Box({-1.5, 1.2, 0.4}, {1.4, 0.8, 0.8})) faces.push_back(face);
  const Sensor sensor = Scanner({0.5, -0.4, 1.5}, {0, 2 * pi}, {-60 * kDegree, 80 * kDegree}, 0.025, kNoise);
  return SceneBuilder(kNoise, r).Scan(faces, {}, {sensor}).Upright();
}

/// A body that is round in no simple way.
HardScene Egg(Random& r) {
  Points points;
  for (int i = 0; i < kPoints; ++i) {
    const Vector3d n = Vector3d(r.Gauss(), r.Gauss(), r.Gauss()).normalized();
    const Vector3d p(n.x(), 0.8 * n.y(), (n.z() > 0 ? 1.1 : 0.7) * n.z());
    points.emplace_back(p + kNoise * r.Gauss() * n);
  }
  return SceneBuilder(kNoise, r).AddPoints(points).InAnyPose();
}

}  // namespace

HardCaseList AbsentCases() {
  const Face pipe = Tube(-1 * kZ, kZ, 0.3), ball = Cap({0, 0, 0}, 0.5, kZ, pi);
  const Face cone = Frustum(0 * kZ, 1.5 * kZ, 0.1, 0.36), ring = Bend({0, 0, 0}, kZ, kX, 1, 0.3, 2 * pi);
  const std::vector<Face> twoPipes{Tube(-1 * kZ, kZ, 0.3), Tube({1, 0, -1}, {1.4, 0.3, 1}, 0.2)};
  const std::vector<Face> cube = Box({0, 0, 0}, {1, 1, 1});
  return {
      CaseOf<Cone>("cube faces asked for a cone", Only(Corner(0.5), 2000)),
      CaseOf<Cone>("room corner asked for a cone", Only(Corner(3), 3000)),
      CaseOf<Cone>("whole cube asked for a cone", Only(cube, 1000)),
      CaseOf<Cylinder>("cube faces asked for a cylinder", Only(Corner(0.5), 2000)),
      CaseOf<Sphere>("whole cube asked for a sphere", Only(cube, 1000)),
      CaseOf<Torus>("room corner asked for a torus", Only(Corner(3), 3000)),
      CaseOf<Cylinder>("floor asked for a cylinder", Only({Floor()}, kPoints)),
      CaseOf<Sphere>("floor asked for a sphere", Only({Floor()}, kPoints)),
      CaseOf<Torus>("floor asked for a torus", Only({Floor()}, kPoints)),
      CaseOf<Cone>("floor asked for a cone", Only({Floor()}, kPoints)),
      CaseOf<Cylinder>("uneven floor asked for a cylinder", UnevenFloor),
      CaseOf<Sphere>("uneven floor asked for a sphere", UnevenFloor),
      CaseOf<Cone>("furniture asked for a cone", Only(Furniture(), 700)),
      CaseOf<Cylinder>("furniture asked for a cylinder", Only(Furniture(), 700)),
      CaseOf<Torus>("furniture asked for a torus", Only(Furniture(), 700)),
      CaseOf<Sphere>("room asked for a sphere", ScannedRoom),
      CaseOf<Cylinder>("room asked for a cylinder", ScannedRoom),
      CaseOf<Cylinder>("terrain asked for a cylinder", Terrain(0.1, 6)),
      CaseOf<Sphere>("terrain asked for a sphere", Terrain(0.1, 10)),
      CaseOf<Plane>("terrain asked for a plane", Terrain(0.1, 6)),
      CaseOf<Cone>("pipe asked for a cone", Only({pipe}, kPoints)),
      CaseOf<Torus>("pipe asked for a torus", Only({pipe}, kPoints)),
      CaseOf<Elbow>("pipe asked for an elbow", Only({pipe}, kPoints)),
      CaseOf<Sphere>("pipe asked for a sphere", Only({pipe}, kPoints)),
      CaseOf<Cone>("two pipes asked for a cone", Only(twoPipes, kPoints / 2)),
      CaseOf<Cylinder>("ball asked for a cylinder", Only({ball}, kPoints)),
      CaseOf<Torus>("ball asked for a torus", Only({ball}, kPoints)),
      CaseOf<Cone>("ball asked for a cone", Only({ball}, kPoints)),
      CaseOf<Cylinder>("cone asked for a cylinder", Only({cone}, kPoints)),
      CaseOf<Sphere>("cone asked for a sphere", Only({cone}, kPoints)),
      CaseOf<Cylinder>("ring asked for a cylinder", Only({ring}, kPoints)),
      CaseOf<Sphere>("ring asked for a sphere", Only({ring}, kPoints)),
      CaseOf<Plane>("ball asked for a plane", Only({ball}, kPoints)),
      CaseOf<Plane>("pipe asked for a plane", Only({pipe}, kPoints)),
      CaseOf<Arc>("plate asked for an arc", Only({Floor()}, kPoints)),
      CaseOf<Line>("plate asked for a line", Only({Floor()}, kPoints)),
      CaseOf<Sphere>("egg asked for a sphere", Egg),
      CaseOf<Plane>("cloud asked for a plane", Cloud),
      CaseOf<Cylinder>("bush asked for a cylinder", Bush),
      CaseOf<Torus>("bush asked for a torus", Bush),
      CaseOf<Sphere>("bush asked for a sphere", Bush),
  };
}

}  // namespace primfit::bench
