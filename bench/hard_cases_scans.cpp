// What scanners and cameras see from where they stand: density that falls with range and incidence, points
// mixed of two surfaces at edges, rounded coordinates, long walls and pipes, dense patches.
#include <cmath>

#include "hard_cases_builder.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

constexpr double kScannerNoise = 0.002;

std::vector<std::size_t> FirstOf(std::size_t count) {
  std::vector<std::size_t> all(count);
  for (std::size_t i = 0; i < count; ++i) all[i] = i;
  return all;
}

HardScene LongWall(Random& r) {
  const std::vector<Face> faces{Rectangle({0, 3, 1.5}, 20 * kX, 3 * kZ),
                                Rectangle({0, 0, 0}, 20 * kX, 6 * kY)};
  const Sensor sensor =
      Scanner({2, 0, 1.6}, {8 * kDegree, 172 * kDegree}, {-35 * kDegree, 30 * kDegree}, 0.008, kScannerNoise);
  return SceneBuilder(kScannerNoise, r).Scan(faces, {0}, {sensor}).AddClutter(0.05, 1).Upright();
}

HardScene FloorToThirtyMetres(Random& r) {
  const std::vector<Face> faces{Rectangle({0, 0, 0}, 60 * kX, 12 * kY)};
  const Sensor sensor =
      Scanner({0, 0, 1.7}, {0, 2 * pi}, {-60 * kDegree, -2.9 * kDegree}, 0.01, kScannerNoise);
  return SceneBuilder(kScannerNoise, r).Scan(faces, {0}, {sensor}).AddClutter(0.05, 1).Upright();
}

HardScene LongPipe(Random& r) {
  const std::vector<Face> faces{Tube({-2, 1.5, 0.5}, {18, 1.5, 0.5}, 0.1),
                                Rectangle({8, 0, -1.2}, 22 * kX, 6 * kY)};
  const Sensor sensor =
      Scanner({0, 0, 0}, {0, 140 * kDegree}, {-30 * kDegree, 40 * kDegree}, 0.003, kScannerNoise);
  return SceneBuilder(kScannerNoise, r).Scan(faces, {0}, {sensor}).AddClutter(0.05, 1).Upright();
}

/// A shape of which a small patch, far from the rest's middle, was scanned from much nearer.
HardScene WithDensePatch(const Face& shape, const std::function<bool(const Vector3d&)>& isPatch, double times,
                         double patchShare, Random& r) {
  constexpr double kPoints = 3000;
  Face whole = shape;
  const int dense = static_cast<int>(kPoints * patchShare * times);
  // One face with two densities: points are kept everywhere once, in the patch many times.
  SceneBuilder builder(kNoise, r);
  const double keptElsewhere = 1 / times;
  whole.keeps = [&, isPatch](const Vector3d& p) { return isPatch(p) || r.Uniform(0, 1) < keptElsewhere; };
  return builder.Accept(whole, static_cast<int>(kPoints) + dense).AddClutter(0.1).InAnyPose();
}

HardScene PlaneWithDensePatch(Random& r) {
  const auto isPatch = [](const Vector3d& p) {
    return p.x() > 1.2 && p.x() < 1.6 && p.y() > 1.2 && p.y() < 1.6;
  };
  return WithDensePatch(Rectangle({0, 0, 0}, 4 * kX, 4 * kY), isPatch, 50, 0.01, r);
}

HardScene PipeWithDensePatch(Random& r) {
  const auto isPatch = [](const Vector3d& p) { return p.z() > 3 && p.z() < 3.2 && p.x() > 0; };
  return WithDensePatch(Tube(0 * kZ, 4 * kZ, 0.2), isPatch, 50, 0.025, r);
}

HardScene SphereWithDensePatch(Random& r) {
  const auto isPatch = [](const Vector3d& p) { return p.z() > 0.47; };
  return WithDensePatch(Cap({0, 0, 0}, 0.5, kZ, pi), isPatch, 40, 0.03, r);
}

/// A wall and a heap of something else that was scanned from near.
HardScene PlaneBesideDenseHeap(Random& r) {
  Points heap;
  for (int i = 0; i < 12000; ++i)
    heap.emplace_back(1.5 + 0.1 * r.Gauss(), 0.3 + 0.1 * r.Gauss(), 1 + 0.1 * r.Gauss());
  return SceneBuilder(kNoise, r)
      .Accept(Rectangle({0, 0, 0}, 4 * kX, 3 * kZ), 3000)
      .AddPoints(heap)
      .InAnyPose();
}

std::vector<Face> FurnishedRoom() {
  std::vector<Face> faces = Box({0, 0, 1.3}, {8, 6, 2.6});
  for (const Face& face : Box({-2, 1.5, 0.4}, {1.8, 0.9, 0.8})) faces.push_back(face);
  for (const Face& face : Box({2.5, -2, 0.9}, {0.6, 1.4, 1.8})) faces.push_back(face);
  for (const Face& face : Box({1, 1.8, 0.25}, {0.5, 0.5, 0.5})) faces.push_back(face);
  return faces;
}

Sensor InRoom(const Vector3d& place, double step) {
  return Scanner(place, {0, 2 * pi}, {-60 * kDegree, 85 * kDegree}, step, kScannerNoise);
}

HardScene Room(Random& r) {
  const std::vector<Face> faces = FurnishedRoom();
  return SceneBuilder(kScannerNoise, r)
      .Scan(faces, FirstOf(faces.size()), {InRoom({0.4, -0.5, 1.5}, 0.018)})
      .Upright();
}

HardScene LargeRoom(Random& r) {
  const std::vector<Face> faces = FurnishedRoom();
  return SceneBuilder(kScannerNoise, r)
      .Scan(faces, FirstOf(faces.size()), {InRoom({0.4, -0.5, 1.5}, 0.0115), InRoom({-2.5, -1, 1.5}, 0.0115)})
      .Upright();
}

HardScene ColumnInHall(Random& r) {
  std::vector<Face> faces = Box({0, 0, 2}, {16, 12, 4});
  faces.push_back(Tube({3, 2, 0}, {3, 2, 4}, 0.3));
  return SceneBuilder(kScannerNoise, r)
      .Scan(faces, {faces.size() - 1},
            {Scanner({-3, -1, 1.6}, {0, pi / 2}, {-30 * kDegree, 50 * kDegree}, 0.007, kScannerNoise)})
      .Upright();
}

/// A sphere of a registration on its post, before a wall, with the points between that its edge makes.
std::vector<Face> TargetFaces() {
  return {Cap({0, 0, 1.2}, 0.0725, kZ, pi), Tube({0, 0, 0}, {0, 0, 1.128}, 0.02),
          Rectangle({0, 0.25, 1}, 2 * kX, 2 * kZ)};
}

/// @param around  half the angle of the view, about the middle of the sphere
HardScene Target(double around, Random& r) {
  const Vector3d place(0.3, -4, 1.4), line = Vector3d(0, 0, 1.2) - place;
  const double azimuth = std::atan2(line.y(), line.x()), elevation = std::asin(line.z() / line.norm());
  const Sensor sensor = Scanner(place, {azimuth - around, azimuth + around},
                                {elevation - around, elevation + around}, 0.0012, kScannerNoise);
  return SceneBuilder(kScannerNoise, r).Scan(TargetFaces(), {0}, {sensor}).Upright();
}

HardScene PipesWithMixedPixels(Random& r) {
  const std::vector<Face> faces{Tube({-0.5, 0, 0}, {-0.5, 0, 2}, 0.12),
                                Tube({0.3, 0.2, 0}, {0.3, 0.2, 2}, 0.12),
                                Rectangle({0, 0.6, 1}, 3 * kX, 2.4 * kZ)};
  const Sensor sensor =
      Scanner({0, -3, 1}, {75 * kDegree, 103 * kDegree}, {-20 * kDegree, 20 * kDegree}, 0.005, kScannerNoise);
  return SceneBuilder(kScannerNoise, r).Scan(faces, {0, 1}, {sensor}).Upright();
}

HardScene PipeOf(int points, double noise, double turn, Random& r) {
  return SceneBuilder(noise, r).Accept(Tube(0 * kZ, kZ, 0.1, turn), points).AddClutter(0.1).InAnyPose();
}

/// A pole along a road: pole, arm, ground, coordinates in steps of a 64th of a metre.
HardScene Pole(Random& r) {
  const std::vector<Face> faces{Tube({0, 0, 0}, {0, 0, 5}, 0.06), Tube({0, 0, 5}, {1.2, 0, 5.2}, 0.03),
                                Rectangle({0, 0, 0}, 6 * kX, 6 * kY)};
  const Sensor sensor =
      Scanner({-2, -6, 1.8}, {55 * kDegree, 90 * kDegree}, {-18 * kDegree, 35 * kDegree}, 0.006, 0.005);
  return Rounded(SceneBuilder(0.005, r).Scan(faces, {0}, {sensor}).Upright(), 1.0 / 64);
}

HardScene Tank(Random& r) {
  const std::vector<Face> faces{Tube({0, 8, 0}, {0, 8, 5}, 3), Rectangle({0, 3, 0}, 14 * kX, 16 * kY),
                                Frustum({0, 8, 5}, {0, 8, 5.6}, 3, 0.05)};
  const Sensor sensor = Scanner({0, -2, 1.7}, {50 * kDegree, 130 * kDegree}, {-30 * kDegree, 35 * kDegree},
                                0.011, kScannerNoise);
  return SceneBuilder(kScannerNoise, r).Scan(faces, {0}, {sensor}).Upright();
}

/// A mug on a table in the view of a depth camera: its side, its handle, the table behind.
HardScene Mug(Random& r) {
  Face side = Tube({0, 0, 0}, {0, 0, 0.1}, 0.04);
  side.form = Waves(0.0003, 0.05, r);
  const std::vector<Face> faces{side, Bend({0.045, 0, 0.05}, kY, kZ, 0.025, 0.006, pi),
                                Rectangle({0, 0, 0}, 1.6 * kX, 1.6 * kY)};
  const Sensor camera = DepthCamera({0.1, -0.6, 0.4}, {0, 0, 0.05}, 160, 0.0025);
  return SceneBuilder(0.001, r).Scan(faces, {0}, {camera}).Upright();
}

}  // namespace

HardCaseList ScanCases() {
  constexpr CaseTraits kKeepsGood{.keepsGood = true};
  const auto near = [](Random& r) { return Target(1.6 * kDegree, r); };
  return {
      CaseOf<Plane>("wall of 20 m", LongWall, kKeepsGood),
      CaseOf<Plane>("floor to 30 m", FloorToThirtyMetres, kKeepsGood),
      CaseOf<Cylinder>("pipe of 20 m", LongPipe, kKeepsGood),
      CaseOf<Plane>("plane with a patch 50 times denser", PlaneWithDensePatch, kKeepsGood),
      CaseOf<Cylinder>("pipe with a patch 50 times denser", PipeWithDensePatch, kKeepsGood),
      CaseOf<Sphere>("sphere with a patch 40 times denser", SphereWithDensePatch, kKeepsGood),
      CaseOf<Plane>("wall beside a dense heap", PlaneBesideDenseHeap),
      CaseOf<Plane>("room asked for a plane", Room, kKeepsGood),
      CaseOf<Plane>("room of two stations asked for a plane", LargeRoom, {.keepsGood = true, .large = true}),
      CaseOf<Cylinder>("column in a hall", ColumnInHall),
      CaseOf<Sphere>("sphere target with mixed pixels", near, kKeepsGood),
      CaseOf<Sphere>("sphere target in a wide view", [](Random& r) { return Target(7 * kDegree, r); }),
      CaseOf<Cylinder>("pipes with mixed pixels", PipesWithMixedPixels, kKeepsGood),
      CaseOf<Cylinder>(
          "pipe on a grid of 1 mm", [](Random& r) { return Rounded(PipeOf(3000, 0.0003, pi, r), 0.001); },
          kKeepsGood),
      CaseOf<Sphere>(
          "sphere target on a grid of 1 mm", [=](Random& r) { return Rounded(near(r), 0.001); }, kKeepsGood),
      CaseOf<Cylinder>(
          "pipe in single precision, survey coordinates",
          [](Random& r) {
            return InSinglePrecision(PipeOf(3000, kNoise, pi, r), {50000, 40000, 100});
          },
          kKeepsGood),
      CaseOf<Cylinder>("pole at a road", Pole),
      CaseOf<Cylinder>("tank of 6 m, half seen", Tank, kKeepsGood),
      CaseOf<Cylinder>("mug on a table by a depth camera", Mug),
  };
}

}  // namespace primfit::bench
