// A whole machined part, as a structured-light scanner gives it: many faces, each with about a hundredth of
// the points. Of its faces any is right where nothing is told, and the one that was shown where a place is.
// Lengths in millimetres.
#include <cmath>

#include "hard_cases_builder.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

constexpr double kNoiseOfPart = 0.02;
constexpr double kPointsPerSquareMillimetre = 1;
constexpr double kLength = 120, kWidth = 80, kHeight = 20, kCornerRadius = 8;

struct Hole {
  Vector3d at;
  double radius;
  bool isCountersunk;
};
constexpr double kSink = 3;  // how much wider a countersink is than its hole; as deep, at 45 degrees

std::vector<Hole> Holes() {
  return {{{15, 15, 0}, 3, true},  {{105, 15, 0}, 3, true}, {{15, 65, 0}, 3, true}, {{105, 65, 0}, 3, true},
          {{60, 12, 0}, 4, false}, {{60, 68, 0}, 4, false}, {{25, 40, 0}, 6, false}};
}

constexpr double kBossRadius = 12, kBossHeight = 15, kBossFillet = 3;
const Vector3d kBoss(80, 40, 0);
constexpr double kStudLow = 9, kStudHigh = 5, kStudHeight = 12;
const Vector3d kStud(45, 40, 0);

double Across(const Vector3d& p, const Vector3d& axis) {
  return std::hypot(p.x() - axis.x(), p.y() - axis.y());
}

/// Whether a place lies within the outline of the plate, whose corners are rounded.
bool IsInOutline(const Vector3d& p) {
  const double x = std::max(std::abs(p.x() - kLength / 2) - (kLength / 2 - kCornerRadius), 0.0);
  const double y = std::max(std::abs(p.y() - kWidth / 2) - (kWidth / 2 - kCornerRadius), 0.0);
  return std::hypot(x, y) <= kCornerRadius;
}

bool IsOnTop(const Vector3d& p) {
  for (const Hole& hole : Holes()) {
    if (Across(p, hole.at) < hole.radius + (hole.isCountersunk ? kSink : 0)) return false;
  }
  return IsInOutline(p) && Across(p, kBoss) > kBossRadius + kBossFillet && Across(p, kStud) > kStudLow;
}

bool IsOnBottom(const Vector3d& p) {
  for (const Hole& hole : Holes()) {
    if (Across(p, hole.at) < hole.radius) return false;
  }
  return IsInOutline(p);
}

std::vector<Face> Planes() {
  const Vector3d middle(kLength / 2, kWidth / 2, 0), up = kHeight * kZ;
  Face top = Rectangle(middle + up, kLength * kX, kWidth * kY),
       bottom = Rectangle(middle, kLength * kX, kWidth * kY);
  top.keeps = IsOnTop;
  bottom.keeps = IsOnBottom;
  const double straightX = kLength - 2 * kCornerRadius, straightY = kWidth - 2 * kCornerRadius;
  Face bossEnd = Rectangle(kBoss + up + kBossHeight * kZ, 2 * kBossRadius * kX, 2 * kBossRadius * kY);
  bossEnd.keeps = [](const Vector3d& p) { return Across(p, kBoss) < kBossRadius; };
  Face studEnd = Rectangle(kStud + up + kStudHeight * kZ, 2 * kStudHigh * kX, 2 * kStudHigh * kY);
  studEnd.keeps = [](const Vector3d& p) { return Across(p, kStud) < kStudHigh; };
  return {top,
          bottom,
          Rectangle({kLength / 2, 0, kHeight / 2}, straightX * kX, up),
          Rectangle({kLength / 2, kWidth, kHeight / 2}, straightX * kX, up),
          Rectangle({0, kWidth / 2, kHeight / 2}, straightY * kY, up),
          Rectangle({kLength, kWidth / 2, kHeight / 2}, straightY * kY, up),
          bossEnd,
          studEnd};
}

std::vector<Face> Cylinders() {
  std::vector<Face> faces;
  for (const Hole& hole : Holes())
    faces.push_back(Tube(hole.at, hole.at + (kHeight - (hole.isCountersunk ? kSink : 0)) * kZ, hole.radius));
  faces.push_back(
      Tube(kBoss + (kHeight + kBossFillet) * kZ, kBoss + (kHeight + kBossHeight) * kZ, kBossRadius));
  for (const double x : {-1.0, 1.0}) {
    for (const double y : {-1.0, 1.0}) {
      const Vector3d axis(kLength / 2 + x * (kLength / 2 - kCornerRadius),
                          kWidth / 2 + y * (kWidth / 2 - kCornerRadius), 0);
      faces.push_back(Tube(axis, axis + kHeight * kZ, kCornerRadius, pi / 2, x * kX + y * kY));
    }
  }
  return faces;
}

std::vector<Face> Cones() {
  std::vector<Face> faces{
      Frustum(kStud + kHeight * kZ, kStud + (kHeight + kStudHeight) * kZ, kStudLow, kStudHigh)};
  for (const Hole& hole : Holes()) {
    if (hole.isCountersunk)
      faces.push_back(Frustum(hole.at + (kHeight - kSink) * kZ, hole.at + kHeight * kZ, hole.radius,
                              hole.radius + kSink));
  }
  return faces;
}

/// The fillet at the foot of the boss: the inner lower quarter of the tube.
std::vector<Face> Tori() {
  return {Bend(kBoss + (kHeight + kBossFillet) * kZ, kZ, kX, kBossRadius + kBossFillet, kBossFillet, 2 * pi,
               {pi, 1.5 * pi})};
}

/// The part; faces of one sort are right answers, the one that is meant first.
template <class Wanted>
auto Part(const Wanted& wanted, std::size_t meant) {
  return [=](Random& r) {
    std::vector<Face> accepted = wanted();
    std::swap(accepted[0], accepted[meant]);
    SceneBuilder builder(kNoiseOfPart, r);
    builder.Accept(accepted, kPointsPerSquareMillimetre);
    for (const auto& faces : {Planes, Cylinders, Cones, Tori}) {
      if (faces != +wanted) builder.Add(faces(), kPointsPerSquareMillimetre);
    }
    return builder.InAnyPose();
  };
}

}  // namespace

HardCaseList PartCases() {
  constexpr CaseTraits kPicked{.told = kTellsPlace};
  return {
      CaseOf<Plane>("part asked for a plane", Part(Planes, 0)),
      CaseOf<Cylinder>("part asked for a cylinder", Part(Cylinders, 7)),
      CaseOf<Cone>("part asked for a cone", Part(Cones, 0)),
      CaseOf<Torus>("part asked for a torus", Part(Tori, 0)),
      CaseOf<Plane>("part, its top picked", Part(Planes, 0), kPicked),
      CaseOf<Plane>("part, the end of a boss picked", Part(Planes, 6), kPicked),
      CaseOf<Plane>("part, the end of a stud picked", Part(Planes, 7), kPicked),
      CaseOf<Cylinder>("part, a hole of 3 mm picked", Part(Cylinders, 0), kPicked),
      CaseOf<Cylinder>("part, a hole of 6 mm picked", Part(Cylinders, 6), kPicked),
      CaseOf<Cylinder>("part, a boss picked", Part(Cylinders, 7), kPicked),
      CaseOf<Cylinder>("part, a rounded corner picked", Part(Cylinders, 8), kPicked),
      CaseOf<Cone>("part, a stud picked", Part(Cones, 0), kPicked),
      CaseOf<Cone>("part, a countersink picked", Part(Cones, 1), kPicked),
      CaseOf<Torus>("part, the fillet of a boss picked", Part(Tori, 0), kPicked),
  };
}

}  // namespace primfit::bench
