// Elbows between their own pipes, which go over into the bend without an edge, and elbows without pipes.
#include <cmath>

#include "hard_cases_builder.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

constexpr double kTube = 0.1;
constexpr double kPointsPerSquareMetre = 5000;

struct Run {
  double bend = 0.3;  ///< radius of the bend
  double sweep = pi / 2;
  double pipes = 1;      ///< length of the pipe on either side; none at 0
  double second = 1;     ///< of the one behind the bend, times that of the first; none at 0
  double density = 1;    ///< of points on that pipe, times that elsewhere
  double clutter = 0;    ///< share of all points
  double seen = 2 * pi;  ///< of the turn about the tube, from one side
};

/// The direction about the axis z at an angle.
Vector3d At(double angle) { return {std::cos(angle), std::sin(angle), 0}; }

/// Seen from above where not all round: the bend's tube angle counts from the outer equator.
Range SeenOfTube(double seen) { return {pi / 2 - seen / 2, pi / 2 + seen / 2}; }

void AddElbow(const Run& run, SceneBuilder& builder) {
  const Face elbow = Bend({0, 0, 0}, kZ, kX, run.bend, kTube, run.sweep,
                          run.seen < 2 * pi ? SeenOfTube(run.seen) : kFullTurn);
  builder.Accept(elbow, static_cast<int>(kPointsPerSquareMetre * AreaOf(elbow)));
  if (run.pipes == 0) return;
  const Vector3d end = run.bend * At(run.sweep), onwards = At(run.sweep + pi / 2);
  const Face pipes[] = {
      Tube(run.bend * kX, run.bend * kX - run.pipes * kY, kTube, run.seen, kZ),
      Tube(end, end + (run.second > 0 ? run.second : 1) * run.pipes * onwards, kTube, run.seen, kZ)};
  builder.Add(pipes[0], static_cast<int>(kPointsPerSquareMetre * AreaOf(pipes[0])));
  if (run.second > 0)
    builder.Add(pipes[1], static_cast<int>(run.density * kPointsPerSquareMetre * AreaOf(pipes[1])));
  if (run.clutter > 0) builder.AddClutter(run.clutter);
}

auto ElbowOf(const Run& run) {
  return [=](Random& r) {
    SceneBuilder builder(kNoise, r);
    AddElbow(run, builder);
    return builder.InAnyPose();
  };
}

/// Two bends of a quarter turn with a short pipe between, in opposite senses.
HardScene TwoBends(Random& r) {
  constexpr double kBend = 0.3;
  const Face first = Bend({0, 0, 0}, kZ, kX, kBend, kTube, pi / 2);
  const Face opposite = Bend({-0.4, 2 * kBend, 0}, kZ, -1 * kX, kBend, kTube, pi / 2);
  const Face pipes[] = {Tube(kBend * kX, {kBend, -0.8, 0}, kTube),
                        Tube({0, kBend, 0}, {-0.4, kBend, 0}, kTube),
                        Tube({-0.7, 2 * kBend, 0}, {-0.7, 1.4, 0}, kTube)};
  const auto count = static_cast<int>(kPointsPerSquareMetre * AreaOf(first));
  return SceneBuilder(kNoise, r)
      .Accept(first, count)
      .Accept(opposite, count)
      .Add(pipes, kPointsPerSquareMetre)
      .InAnyPose();
}

HardScene ElbowOnWall(Random& r) {
  SceneBuilder builder(kNoise, r);
  AddElbow({.pipes = 0.8, .seen = pi}, builder);
  return builder.Add(Rectangle({0, 0, -0.25}, 2.5 * kX, 2.5 * kY), 8000).InAnyPose();
}

HardScene ScannedElbow(Random& r) {
  const std::vector<Face> faces{Bend({0, 0, 0}, kY, -1 * kX, 0.3, kTube, pi / 2),
                                Tube({-0.3, 0, 0}, {-0.3, 0, -1.2}, kTube),
                                Tube({0, 0, 0.3}, {1.2, 0, 0.3}, kTube)};
  const Sensor sensor =
      Scanner({0.5, -3, 0.2}, {60 * kDegree, 130 * kDegree}, {-30 * kDegree, 20 * kDegree}, 0.003, kNoise);
  return SceneBuilder(kNoise, r).Scan(faces, {0}, {sensor}).Upright();
}

HardScene RingInClutter(Random& r) {
  return SceneBuilder(kNoise, r)
      .Accept(Bend({0, 0, 0}, kZ, kX, 1, 0.3, 2 * pi), 4000)
      .AddClutter(0.5)
      .InAnyPose();
}

}  // namespace

HardCaseList BendCases() {
  constexpr CaseTraits kExact{.sizesWithin = 0.02};
  // Noise leaves the bend radius of so small a bend a standard deviation of 1.8 %.
  constexpr CaseTraits kSmallBend{.sizesWithin = 0.06};
  constexpr double kEighth = pi / 4, kSixth = pi / 3;
  return {
      CaseOf<Elbow>("elbow of 90 degrees, long pipes", ElbowOf({}), kExact),
      CaseOf<Elbow>("elbow of 90 degrees, short pipes", ElbowOf({.pipes = 0.3}), kExact),
      CaseOf<Elbow>("elbow of 60 degrees, long pipes", ElbowOf({.sweep = kSixth}), kExact),
      CaseOf<Elbow>("elbow of 60 degrees, short pipes", ElbowOf({.sweep = kSixth, .pipes = 0.3}), kExact),
      CaseOf<Elbow>("elbow of 45 degrees, long pipes", ElbowOf({.sweep = kEighth}), kExact),
      CaseOf<Elbow>("elbow of 45 degrees, short pipes", ElbowOf({.sweep = kEighth, .pipes = 0.3}), kExact),
      CaseOf<Elbow>("elbow of short radius between pipes", ElbowOf({.bend = 0.2}), kExact),
      CaseOf<Elbow>("wide bend between pipes", ElbowOf({.bend = 0.8, .pipes = 2}), kExact),
      CaseOf<Elbow>("elbow between pipes, half seen", ElbowOf({.seen = pi}), kExact),
      CaseOf<Elbow>("elbow of 30 degrees, long pipes", ElbowOf({.sweep = pi / 6, .pipes = 2}), kSmallBend),
      CaseOf<Elbow>("elbow of 120 degrees, short pipes", ElbowOf({.sweep = 2 * kSixth, .pipes = 0.3}),
                    kExact),
      CaseOf<Elbow>("elbow with a short and a long pipe", ElbowOf({.pipes = 0.3, .second = 6}), kExact),
      CaseOf<Elbow>("elbow with pipes of unequal density",
                    ElbowOf({.density = 0.1, .clutter = 0.3, .seen = pi}), kExact),
      CaseOf<Elbow>("elbow between pipes in clutter", ElbowOf({.clutter = 0.3}), kExact),
      CaseOf<Elbow>("elbow with a pipe on one side", ElbowOf({.second = 0}), kExact),
      CaseOf<Elbow>("elbow of 45 degrees with a pipe on one side", ElbowOf({.sweep = kEighth, .second = 0}),
                    kExact),
      CaseOf<Elbow>("elbow between pipes on a wall", ElbowOnWall, kExact),
      CaseOf<Elbow>("elbow between pipes, scanned", ScannedElbow, kExact),
      CaseOf<Elbow>("bend of half a turn between pipes", ElbowOf({.sweep = pi}), kExact),
      CaseOf<Elbow>("two bends one after the other", TwoBends, kExact),
      CaseOf<Elbow>("elbow of 90 degrees alone", ElbowOf({.pipes = 0}), {.keepsGood = true}),
      CaseOf<Elbow>("elbow of 45 degrees alone", ElbowOf({.sweep = kEighth, .pipes = 0}),
                    {.keepsGood = true}),
      CaseOf<Torus>("ring, half clutter", RingInClutter, {.keepsGood = true}),
  };
}

}  // namespace primfit::bench
