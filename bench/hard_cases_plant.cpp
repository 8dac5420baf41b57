// A hall of a plant with all of its fittings, scanned from two stations: 150 000 points and more. What is
// wanted was shown by a point on it, as a user does who clicks it.
#include <cmath>

#include "hard_cases_builder.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

enum class Fitting { kPipe, kElbow, kHead, kShell, kWall };

struct PlantFace {
  Fitting fitting;
  Face face;
};

/// A line of pipe along x at a place, that turns down at its end.
void AddLine(const Vector3d& at, double radius, std::vector<PlantFace>& faces) {
  const double bend = 3 * radius;
  const Vector3d turn = at + 5 * kX;
  faces.push_back({Fitting::kPipe, Tube(at, turn, radius)});
  faces.push_back({Fitting::kElbow, Bend(turn - bend * kZ, kY, kZ, bend, radius, pi / 2)});
  const Vector3d down = turn + bend * kX - bend * kZ;
  faces.push_back({Fitting::kPipe, Tube(down, down - 1.2 * kZ, radius)});
}

std::vector<PlantFace> Plant() {
  std::vector<PlantFace> faces;
  const double radii[] = {0.0445, 0.057, 0.057, 0.084, 0.11};
  for (int i = 0; i < 5; ++i) AddLine({-3, 1.2 + 0.45 * i, 2.4}, radii[i], faces);
  for (const Face& face : Box({0, 0, 2}, {12, 9, 4})) faces.push_back({Fitting::kWall, face});
  for (const Face& face : Box({-3, -2.5, 0.5}, {1.2, 0.8, 1})) faces.push_back({Fitting::kWall, face});
  const Vector3d vessel(2, -2.5, 0.6);
  faces.push_back({Fitting::kShell, Tube(vessel, vessel + 1.8 * kZ, 0.6)});
  // A dished end whose sphere is as wide as the vessel: its rim leans by 30 degrees.
  const double halfAngle = pi / 6, dish = 0.6 / std::sin(halfAngle);
  faces.push_back(
      {Fitting::kHead, Cap(vessel + (1.8 - dish * std::cos(halfAngle)) * kZ, dish, kZ, halfAngle)});
  faces.push_back({Fitting::kHead, Cap({-0.5, -2, 0.5}, 0.4, kZ, pi)});
  return faces;
}

/// The plant; what is shown is one of the fittings of a sort, drawn by lot.
auto Pick(Fitting fitting) {
  return [=](Random& r) {
    std::vector<Face> faces;
    std::vector<std::size_t> meant;
    for (const PlantFace& f : Plant()) {
      if (f.fitting == fitting) meant.push_back(faces.size());
      faces.push_back(f.face);
    }
    std::swap(meant[0], meant[static_cast<std::size_t>(r.Index(static_cast<int>(meant.size())))]);
    constexpr double kStep = 0.0125;
    const Range down{-60 * kDegree, 80 * kDegree};
    const std::vector<Sensor> stations{Scanner({-2.5, -0.5, 1.7}, kFullTurn, down, kStep, kNoise),
                                       Scanner({3.5, 0.5, 1.7}, kFullTurn, down, kStep, kNoise)};
    return SceneBuilder(kNoise, r).Scan(faces, meant, stations).Upright();
  };
}

}  // namespace

HardCaseList PlantCases() {
  constexpr CaseTraits kPicked{.large = true, .told = kTellsPlace};
  return {
      CaseOf<Cylinder>("plant, a pipe picked", Pick(Fitting::kPipe), kPicked),
      CaseOf<Elbow>("plant, an elbow picked", Pick(Fitting::kElbow), kPicked),
      CaseOf<Sphere>("plant, a head picked", Pick(Fitting::kHead), kPicked),
      CaseOf<Cylinder>("plant, a shell picked", Pick(Fitting::kShell), kPicked),
      CaseOf<Plane>("plant asked for a plane", Pick(Fitting::kWall), {.large = true}),
  };
}

}  // namespace primfit::bench
