// Planes: a second surface close behind the first, steps, joints in a wall, ground that is not flat.
#include <cmath>

#include "hard_cases_builder.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

constexpr int kWallPoints = 4000;

Face Wall(double at, double width = 3, double height = 2.5) {
  return Rectangle({0, at, 0}, width * kX, height * kZ);
}

/// Two walls one behind the other, `share` of the points on the second.
auto Walls(double apart, double share = 0.5) {
  return [=](Random& r) {
    const int behind = static_cast<int>(share * kWallPoints);
    return SceneBuilder(kNoise, r)
        .Accept(Wall(0), kWallPoints - behind)
        .Accept(Wall(apart), behind)
        .InAnyPose();
  };
}

/// A wall from two places whose scans were put together a little askew.
HardScene AskewWalls(Random& r) {
  Face second = Wall(0.02);
  second.pose.rotate(Eigen::AngleAxisd(0.2 * kDegree, kY));
  return SceneBuilder(kNoise, r).Accept(Wall(0), 2000).Accept(second, 2000).InAnyPose();
}

/// A board on a third of a wall, or an opening in it: two surfaces side by side.
auto WallWithBoard(double before) {
  return [=](Random& r) {
    const auto isBoard = [](const Vector3d& p) { return std::abs(p.x()) < 0.5; };
    Face wall = Wall(0), board = Wall(-before);
    wall.keeps = [=](const Vector3d& p) { return !isBoard(p); };
    board.keeps = isBoard;
    return SceneBuilder(kNoise, r).Accept(wall, 2700).Accept(board, 1300).InAnyPose();
  };
}

HardScene ThinBox(Random& r) {
  return SceneBuilder(kNoise, r).Accept(Box({0, 0, 0}, {0.6, 0.4, 0.02}), 8000).InAnyPose();
}

/// Treads and risers, all of them right answers.
std::vector<Face> Stairs(int steps, double going, double rise, double width) {
  std::vector<Face> faces;
  for (int i = 0; i < steps; ++i) {
    faces.push_back(Rectangle({0, (i + 0.5) * going, (i + 1) * rise}, width * kX, going * kY));
    faces.push_back(Rectangle({0, i * going, (i + 0.5) * rise}, width * kX, rise * kZ));
  }
  return faces;
}

HardScene EvenStairs(Random& r) {
  return SceneBuilder(kNoise, r).Accept(Stairs(12, 0.28, 0.17, 1.2), 1000).InAnyPose();
}

HardScene LowSteps(Random& r) {
  return SceneBuilder(kNoise, r).Accept(Stairs(8, 0.4, 0.015, 1.5), 1000).InAnyPose();
}

HardScene ScannedStairs(Random& r) {
  std::vector<Face> faces = Stairs(12, 0.28, 0.17, 1.2);
  std::vector<std::size_t> all(faces.size());
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
  const Sensor sensor =
      Scanner({0.2, -2, 1.6}, {50 * kDegree, 130 * kDegree}, {-50 * kDegree, 30 * kDegree}, 0.009, kNoise);
  return SceneBuilder(kNoise, r).Scan(faces, all, {sensor}).Upright();
}

/// Bricks of 250 x 75 mm with joints of 10 mm between them, 8 mm deep: a fifth of the wall.
HardScene BrickWall(Random& r) {
  const auto isJoint = [](const Vector3d& p) {
    return std::fmod(p.x() + 100, 0.25) < 0.01 || std::fmod(p.z() + 75, 0.075) < 0.01;
  };
  Face bricks = Wall(0), joints = Wall(0.008);
  bricks.keeps = [=](const Vector3d& p) { return !isJoint(p); };
  joints.keeps = isJoint;
  return SceneBuilder(kNoise, r).Accept(bricks, 4800).Accept(joints, 1200).InAnyPose();
}

/// Trapezoidal sheet, 200 mm from rib to rib and 35 mm deep.
HardScene CorrugatedSheet(Random& r) {
  const auto at = [](const Vector3d& p) { return std::fmod(p.x() + 100, 0.2); };
  Face low = Wall(0), high = Wall(0.035), slope = Wall(0);
  low.keeps = [=](const Vector3d& p) { return at(p) < 0.08; };
  high.keeps = [=](const Vector3d& p) { return at(p) >= 0.1 && at(p) < 0.18; };
  slope.keeps = [=](const Vector3d& p) { return (at(p) >= 0.08 && at(p) < 0.1) || at(p) >= 0.18; };
  const Vector3d out = slope.Shape()->EvalNormal({0, 0, 0});
  const double sign = out.y() > 0 ? 1 : -1;
  slope.form = [=](const Vector3d& p) {
    return sign * 0.035 * (at(p) < 0.1 ? (at(p) - 0.08) / 0.02 : (0.2 - at(p)) / 0.02);
  };
  return SceneBuilder(kNoise, r).Accept(low, 2400).Accept(high, 2400).Add(slope, 1200).InAnyPose();
}

/// Two planes that meet at a small angle.
auto Ridge(double angle, bool equal) {
  return [=](Random& r) {
    const Vector3d down(0, std::cos(angle), -std::sin(angle));
    const Face left = Rectangle({0, -1.5, 0}, 3 * kX, 3 * kY),
               right = Rectangle(1.5 * down, 3 * kX, 3 * down);
    return SceneBuilder(kNoise, r)
        .Accept(left, equal ? 3000 : 4000)
        .Accept(right, equal ? 3000 : 2000)
        .InAnyPose();
  };
}

/// Ground with waves along it of an amplitude and a length.
auto WavyGround(double size, double amplitude, double length, double noise, bool isPlane) {
  return [=](Random& r) {
    Face ground = Rectangle({0, 0, 0}, size * kX, size * kY);
    const double phase = r.Uniform(0, 2 * pi), other = r.Uniform(0, 2 * pi);
    ground.form = [=](const Vector3d& p) {
      return amplitude * std::sin(2 * pi / length * p.x() + phase) *
             std::cos(2 * pi / (1.3 * length) * p.y() + other);
    };
    SceneBuilder builder(noise, r);
    if (isPlane) return builder.Accept(ground, 8000).InAnyPose();
    return builder.Add(ground, 8000).InAnyPose();
  };
}

/// A slab that hangs through in its middle, by many times the noise.
HardScene SaggingSlab(Random& r) {
  Face slab = Rectangle({0, 0, 0}, 6 * kX, 6 * kY);
  slab.form = [](const Vector3d& p) { return -0.02 * std::cos(pi * p.x() / 6) * std::cos(pi * p.y() / 6); };
  return SceneBuilder(kNoise, r).Add(slab, 8000).InAnyPose();
}

HardScene Vault(Random& r) {
  return SceneBuilder(kNoise, r).Add(Tube({0, 0, 0}, {0, 0, 4}, 6, 40 * kDegree), 6000).InAnyPose();
}

}  // namespace

HardCaseList WallCases() {
  constexpr CaseTraits kKeepsGood{.keepsGood = true};
  return {
      CaseOf<Plane>("walls 10 mm apart", Walls(0.01)),
      CaseOf<Plane>("walls 8 mm apart", Walls(0.008)),
      CaseOf<Plane>("walls 30 mm apart", Walls(0.03)),
      CaseOf<Plane>("walls 10 mm apart, 30 % behind", Walls(0.01, 0.3)),
      CaseOf<Plane>("walls 100 mm apart, 40 % behind", Walls(0.1, 0.4)),
      CaseOf<Plane>("walls doubled askew", AskewWalls),
      CaseOf<Plane>("board 12 mm before a wall", WallWithBoard(0.012)),
      CaseOf<Plane>("opening 60 mm deep in a wall", WallWithBoard(-0.06)),
      CaseOf<Plane>("box 20 mm thick", ThinBox),
      CaseOf<Plane>("stairs", EvenStairs),
      CaseOf<Plane>("stairs, scanned from below", ScannedStairs),
      CaseOf<Plane>("steps of 15 mm", LowSteps),
      CaseOf<Plane>("brick wall with joints", BrickWall),
      CaseOf<Plane>("corrugated sheet", CorrugatedSheet),
      CaseOf<Plane>("ridge of 3 degrees", Ridge(3 * kDegree, true)),
      CaseOf<Plane>("ramp of 5 degrees at a floor", Ridge(5 * kDegree, false)),
      CaseOf<Plane>("floor with waves of 1 mm", WavyGround(6, 0.001, 1.5, kNoise, true), kKeepsGood),
      CaseOf<Plane>("wavy ground asked for a plane", WavyGround(10, 0.04, 3, 0.005, false)),
      CaseOf<Plane>("rolling ground asked for a plane", WavyGround(20, 0.3, 12, 0.01, false)),
      CaseOf<Plane>("sagging slab asked for a plane", SaggingSlab),
      CaseOf<Cylinder>("sagging slab asked for a cylinder", SaggingSlab),
      CaseOf<Sphere>("sagging slab asked for a sphere", SaggingSlab),
      CaseOf<Torus>("sagging slab asked for a torus", SaggingSlab),
      CaseOf<Plane>("vault asked for a plane", Vault),
  };
}

}  // namespace primfit::bench
