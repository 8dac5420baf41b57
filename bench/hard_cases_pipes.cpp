// Cylinders: insulation, racks, tubes that are not round, joints with other pipes, fillets, stems.
#include <cmath>

#include "hard_cases_builder.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

constexpr int kPipePoints = 3000;

/// A pipe within its insulation, both of them seen.
auto Insulation(double inner, double outer, double shareOfInner = 0.5) {
  return [=](Random& r) {
    const int within = static_cast<int>(shareOfInner * kPipePoints);
    return SceneBuilder(kNoise, r)
        .Accept(Tube(0 * kZ, kZ, outer), kPipePoints - within)
        .Accept(Tube(0 * kZ, kZ, inner), within)
        .InAnyPose();
  };
}

/// A pipe or a ball from two places whose scans were put together with an error of 10 mm: either scan sees
/// the side that faces it and a little more.
HardScene DoubledPipe(Random& r) {
  const Vector3d off = 0.01 * kX;
  return SceneBuilder(kNoise, r)
      .Accept(Tube(0 * kZ, kZ, 0.15, 1.2 * pi, kX), kPipePoints / 2)
      .Accept(Tube(off, off + kZ, 0.15, 1.2 * pi, kY), kPipePoints / 2)
      .InAnyPose();
}

HardScene DoubledBall(Random& r) {
  return SceneBuilder(kNoise, r)
      .Accept(Cap({0, 0, 0}, 0.1, kX, 0.6 * pi), kPipePoints / 2)
      .Accept(Cap({0.01, 0, 0}, 0.1, kY, 0.6 * pi), kPipePoints / 2)
      .InAnyPose();
}

HardScene InsulationEnds(Random& r) {
  return SceneBuilder(kNoise, r)
      .Accept(Tube(0 * kZ, kZ, 0.1), kPipePoints / 2)
      .Accept(Tube(kZ, 2 * kZ, 0.12), kPipePoints / 2)
      .InAnyPose();
}

/// A tube of elliptic section, whose shorter half axis is a ratio of the longer one.
auto EllipticTube(double halfAxis, double ratio) {
  return [=](Random& r) {
    Points points;
    while (points.size() < kPipePoints) {
      const double angle = r.Uniform(0, 2 * pi);
      const Vector3d p(halfAxis * std::cos(angle), ratio * halfAxis * std::sin(angle), 0);
      const Vector3d normal = Vector3d(ratio * std::cos(angle), std::sin(angle), 0).normalized();
      // Points are as dense everywhere: the speed along the section is at most the longer half axis.
      if (r.Uniform(0, 1) > std::hypot(std::sin(angle), ratio * std::cos(angle))) continue;
      points.emplace_back(p + r.Uniform(0, 1) * kZ + kNoise * r.Gauss() * normal);
    }
    return SceneBuilder(kNoise, r).AddPoints(points).InAnyPose();
  };
}

/// A column of flat sides.
auto Prism(int sides, double radius) {
  return [=](Random& r) {
    SceneBuilder builder(kNoise, r);
    const double width = 2 * radius * std::tan(pi / sides);
    for (int i = 0; i < sides; ++i) {
      const Vector3d out(std::cos(2 * pi * i / sides), std::sin(2 * pi * i / sides), 0);
      builder.Add(Rectangle(radius * out, width * out.cross(kZ), 1.5 * kZ), kPipePoints / sides);
    }
    return builder.InAnyPose();
  };
}

/// Parallel pipes side by side on beams, seen from one side; radii grow from pipe to pipe by a step.
auto Rack(int pipes, double radius, double step, bool onWall) {
  return [=](Random& r) {
    SceneBuilder builder(kNoise, r);
    for (int i = 0; i < pipes; ++i) {
      const Vector3d at(0.25 * i, 0, 0);
      builder.Accept(Tube(at, at + 3 * kZ, radius + i * step, pi, kY), 800);
    }
    if (onWall) builder.Add(Rectangle({0.9, -0.15, 1.5}, 2.4 * kX, 3.2 * kZ), 5000);
    return builder.InAnyPose();
  };
}

HardScene PipesOfNearlyOneSize(Random& r) {
  return SceneBuilder(kNoise, r)
      .Accept(Tube(0 * kZ, 2 * kZ, 0.057), kPipePoints / 2)
      .Accept(Tube({0.3, 0, 0}, {0.3, 0.4, 2}, 0.06), kPipePoints / 2)
      .InAnyPose();
}

auto Tee(double run, double branch) {
  return [=](Random& r) {
    Face main = Tube(-1 * kZ, kZ, run);
    main.keeps = [=](const Vector3d& p) { return p.x() < 0 || std::hypot(p.y(), p.z()) > branch; };
    return SceneBuilder(kNoise, r)
        .Accept(main, kPipePoints)
        .Accept(Tube(run * kX, 1.2 * kX, branch), 2 * kPipePoints / 3)
        .InAnyPose();
  };
}

HardScene Reducer(Random& r, bool wantsCone) {
  const Face wide = Tube(-1 * kZ, 0 * kZ, 0.1), narrow = Tube(0.2 * kZ, 1.2 * kZ, 0.06);
  const Face cone = Frustum(0 * kZ, 0.2 * kZ, 0.1, 0.06);
  SceneBuilder builder(kNoise, r);
  if (wantsCone) return builder.Accept(cone, 1200).Add(wide, 3000).Add(narrow, 2000).InAnyPose();
  return builder.Accept(wide, 3000).Accept(narrow, 2000).Add(cone, 600).InAnyPose();
}

/// A pole of 5 m that gets thinner, with every third of its points lost from one side.
HardScene TaperedPole(Random& r, bool wantsCone) {
  const Face pole = Frustum(0 * kZ, 5 * kZ, 0.1, 0.06, 1.3 * pi);
  SceneBuilder builder(kNoise, r);
  if (wantsCone) return builder.Accept(pole, 4000).InAnyPose();
  return builder.Add(pole, 4000).InAnyPose();
}

/// A stem of a tree, as round as stems are, among leaves.
HardScene Stem(Random& r) {
  Face stem = Tube(0 * kZ, 2 * kZ, 0.15, 1.2 * pi);
  stem.form = Waves(0.003, 0.25, r);
  return SceneBuilder(kNoise, r).Accept(stem, 4000).AddClutter(0.2).InAnyPose();
}

/// A pipe that hangs through between its supports, by thirty times the noise.
HardScene SaggingPipe(Random& r) {
  constexpr double kLength = 10, kSag = 0.06, kBendRadius = kLength * kLength / (8 * kSag);
  return SceneBuilder(kNoise, r)
      .Add(Bend({0, 0, 0}, kZ, kX, kBendRadius, 0.05, kLength / kBendRadius), 5000)
      .InAnyPose();
}

HardScene PipeBeforeWall(Random& r) {
  return SceneBuilder(kNoise, r)
      .Accept(Tube(0 * kZ, 2 * kZ, 0.1, pi, kY), kPipePoints)
      .Add(Rectangle({0, -0.3, 0}, 3 * kX, 3 * kZ), 20000)
      .InAnyPose();
}

HardScene PipeWithFlanges(Random& r) {
  SceneBuilder builder(kNoise, r);
  builder.Accept(Tube(0 * kZ, 2 * kZ, 0.1), kPipePoints);
  for (const double at : {0.9, 0.98}) builder.Add(Tube(at * kZ, (at + 0.05) * kZ, 0.17), 1200);
  for (int i = 0; i < 8; ++i) {
    const Vector3d bolt(0.14 * std::cos(i * pi / 4), 0.14 * std::sin(i * pi / 4), 0.86);
    builder.Add(Tube(bolt, bolt + 0.03 * kZ, 0.012), 40);
  }
  return builder.InAnyPose();
}

HardScene FilletOfSlab(Random& r) {
  constexpr double kRadius = 30, kNoiseOfPart = 0.3;  // millimetres
  Face fillet = Tube(0 * kZ, 200 * kZ, kRadius, pi / 2, kX + kY);
  return SceneBuilder(kNoiseOfPart, r)
      .Accept(fillet, 1500)
      .Add(Rectangle({kRadius, -100, 100}, 200 * kY, 200 * kZ), 5000)
      .Add(Rectangle({-100, kRadius, 100}, 200 * kX, 200 * kZ), 5000)
      .InAnyPose();
}

/// A shaft whose ends are rounded over: the fillets belong to a torus and lie beside the cylinder.
HardScene ShaftWithRoundedEnds(Random& r) {
  SceneBuilder builder(0.02, r);  // millimetres
  builder.Accept(Tube(2 * kZ, 38 * kZ, 20), 4000);
  builder.Add(Bend(2 * kZ, kZ, kX, 18, 2, 2 * pi, {-pi / 2, 0}), 400);
  builder.Add(Bend(38 * kZ, kZ, kX, 18, 2, 2 * pi, {0, pi / 2}), 400);
  Face end = Rectangle({0, 0, 0}, 36 * kX, 36 * kY);
  end.keeps = [](const Vector3d& p) { return std::hypot(p.x(), p.y()) < 18; };
  builder.Add(end, 1200);
  end.pose.translation() = 40 * kZ;
  return builder.Add(end, 1200).InAnyPose();
}

HardScene Gutter(Random& r) {
  return SceneBuilder(kNoise, r)
      .Accept(Tube(0 * kZ, 2 * kZ, 0.08, pi, kY), 2500)
      .Add(Rectangle({0.08, -0.05, 1}, 0.1 * kY, 2 * kZ), 1000)
      .Add(Rectangle({-0.08, -0.05, 1}, 0.1 * kY, 2 * kZ), 1000)
      .InAnyPose();
}

/// A vessel with a dished end, of which the cylinder or the sphere is wanted.
HardScene Vessel(Random& r, bool wantsSphere) {
  const double halfAngle = std::asin(0.5);
  const Face side = Tube(0 * kZ, 3 * kZ, 1, pi);
  const Face dish = Cap((3 - 2 * std::cos(halfAngle)) * kZ, 2, kZ, halfAngle);
  SceneBuilder builder(kNoise, r);
  if (wantsSphere) return builder.Accept(dish, 2500).Add(side, 6000).InAnyPose();
  return builder.Accept(side, 6000).Add(dish, 2500).InAnyPose();
}

/// A part of a pipe in clutter.
auto PartOfPipe(int points, double turn, double clutter) {
  return [=](Random& r) {
    const int onPipe = static_cast<int>((1 - clutter) * points);
    return SceneBuilder(kNoise, r)
        .Accept(Tube(-1 * kZ, kZ, 0.5, turn), onPipe)
        .AddClutter(clutter)
        .InAnyPose();
  };
}

}  // namespace

HardCaseList PipeCases() {
  constexpr CaseTraits kKeepsGood{.keepsGood = true};
  const auto cone = [](auto scene) { return [=](Random& r) { return scene(r, true); }; };
  const auto notCone = [](auto scene) { return [=](Random& r) { return scene(r, false); }; };
  return {
      CaseOf<Cylinder>("insulation 100 and 110 mm", Insulation(0.1, 0.11)),
      CaseOf<Cylinder>("insulation 100 and 120 mm", Insulation(0.1, 0.12)),
      CaseOf<Cylinder>("cladding 100 and 108 mm, 30 % inside", Insulation(0.1, 0.108, 0.3)),
      CaseOf<Cylinder>("insulation that ends", InsulationEnds),
      CaseOf<Cylinder>("pipe doubled by registration", DoubledPipe),
      CaseOf<Sphere>("ball doubled by registration", DoubledBall),
      CaseOf<Cylinder>("elliptic tube 1 : 0.8", EllipticTube(0.1, 0.8)),
      CaseOf<Cylinder>("elliptic tube 1 : 0.5", EllipticTube(0.1, 0.5)),
      CaseOf<Cylinder>("oval duct 1 : 0.9", EllipticTube(0.3, 0.9)),
      CaseOf<Cylinder>("column of eight sides", Prism(8, 0.3)),
      CaseOf<Cylinder>("square duct", Prism(4, 0.3)),
      CaseOf<Cylinder>("rack of eight pipes", Rack(8, 0.057, 0, false)),
      CaseOf<Cylinder>("rack of pipes of several sizes on a wall", Rack(6, 0.044, 0.004, true)),
      CaseOf<Cylinder>("pipes of 57 and 60 mm", PipesOfNearlyOneSize),
      CaseOf<Cylinder>("tee of equal pipes", Tee(0.1, 0.1)),
      CaseOf<Cylinder>("tee of 57 and 54 mm", Tee(0.057, 0.054)),
      CaseOf<Cylinder>("reducer asked for a cylinder", notCone(Reducer)),
      CaseOf<Cone>("reducer asked for a cone", cone(Reducer)),
      CaseOf<Cylinder>("tapered pole asked for a cylinder", notCone(TaperedPole)),
      CaseOf<Cone>("tapered pole asked for a cone", cone(TaperedPole), kKeepsGood),
      CaseOf<Cylinder>("stem among leaves", Stem, kKeepsGood),
      CaseOf<Cylinder>("sagging pipe asked for a cylinder", SaggingPipe),
      CaseOf<Cylinder>("pipe before a wall", PipeBeforeWall, kKeepsGood),
      CaseOf<Cylinder>("pipe with flanges and bolts", PipeWithFlanges, kKeepsGood),
      CaseOf<Cylinder>("fillet between two faces", FilletOfSlab),
      CaseOf<Cylinder>("shaft with rounded ends", ShaftWithRoundedEnds, kKeepsGood),
      CaseOf<Cylinder>("gutter with flat sides", Gutter),
      CaseOf<Cylinder>("vessel asked for a cylinder", notCone(Vessel)),
      CaseOf<Sphere>("vessel asked for a sphere", cone(Vessel)),
      CaseOf<Cylinder>("sixth of a pipe with strays", PartOfPipe(1000, pi / 3, 0.2), kKeepsGood),
      CaseOf<Cylinder>("sixth of a pipe, half clutter", PartOfPipe(1000, pi / 3, 0.5), kKeepsGood),
  };
}

}  // namespace primfit::bench
