// Few points, much clutter, and the usual cases, in which a right shape has to be called good.
#include <cmath>

#include "hard_cases_builder.h"
#include "shapes/shape_of_model.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

/// A part of a primitive of scenes.h, in clutter.
auto Usual(const char* name, const SceneOptions& options, double seen = 1) {
  return [=](Random& r) {
    const Primitive& primitive = PrimitiveNamed(name);
    const auto seed = static_cast<std::uint64_t>(r.Index(1 << 30));
    Scene scene = MakeScene(primitive, primitive.part(primitive.truth, seen), options, seed);
    const auto shape = primitive.make(scene.truth, scene.pose);
    TrueSurface surface{ModelOf(*shape), {}, std::move(scene.inliers)};
    for (const Vector3d& p : surface.measured) surface.exact.push_back(shape->ClosestPoint(p));
    return HardScene{std::move(scene.points), {std::move(surface)}, options.noise};
  };
}

/// A pipe by a few hand-picked points: rings of four, a little off.
HardScene PipeOfEightPoints(Random& r) {
  Points points, exact;
  for (int i = 0; i < 8; ++i) {
    const double angle = pi / 2 * i + r.Uniform(-0.3, 0.3);
    const Vector3d out(std::cos(angle), std::sin(angle), 0);
    exact.emplace_back(0.2 * out + (i < 4 ? 0 : 1) * kZ);
    points.emplace_back(exact.back() + kNoise * r.Gauss() * out);
  }
  const TrueSurface surface{{ShapeKind::kCylinder, Vector3d::Zero(), kZ, 0, 0.2}, exact, points};
  return {points, {surface}, kNoise};
}

HardCase Few(const char* name, const char* primitive, int points, const HardCase& of) {
  HardCase hardCase = of;
  hardCase.name = name;
  hardCase.scene = Usual(primitive, {.points = points});
  return hardCase;
}

/// Of each kind: clean, cluttered by a half, a sixth of it seen.
template <class Shape>
void AddUsual(const char* name, HardCaseList& cases) {
  constexpr CaseTraits kUsual{.keepsGood = true, .usual = true};
  const std::string usual = std::string("usual: ") + name;
  cases.push_back(CaseOf<Shape>(usual + ", clean", Usual(name, {.points = 3000}), kUsual));
  cases.push_back(CaseOf<Shape>(usual + ", half clutter",
                                Usual(name, {.points = 5000, .outliers = 0.5, .around = 1.5}, 0.5), kUsual));
  cases.push_back(CaseOf<Shape>(
      usual + ", a sixth", Usual(name, {.points = 3000, .outliers = 0.2, .around = 1.5}, 1.0 / 6), kUsual));
}

}  // namespace

HardCaseList SmallAndUsualCases() {
  const auto empty = [](Random&) { return HardScene{}; };
  const SceneOptions much{.points = 10000, .outliers = 0.8, .around = 1.5};
  constexpr CaseTraits kKeepsGood{.keepsGood = true};
  HardCaseList cases{
      Few("line of 8 points", "line", 8, CaseOf<Line>("", empty)),
      Few("arc of 8 points", "arc", 8, CaseOf<Arc>("", empty)),
      Few("plane of 8 points", "plane", 8, CaseOf<Plane>("", empty)),
      Few("sphere of 10 points", "sphere", 10, CaseOf<Sphere>("", empty)),
      Few("cylinder of 12 points", "cylinder", 12, CaseOf<Cylinder>("", empty)),
      Few("cone of 14 points", "cone", 14, CaseOf<Cone>("", empty)),
      Few("torus of 16 points", "torus", 16, CaseOf<Torus>("", empty)),
      CaseOf<Cylinder>("pipe of 8 points", PipeOfEightPoints),
      Few("sphere of 40 points", "sphere", 40, CaseOf<Sphere>("", empty, kKeepsGood)),
      Few("cylinder of 60 points", "cylinder", 60, CaseOf<Cylinder>("", empty, kKeepsGood)),
      CaseOf<Plane>("plane, 80 % clutter", Usual("plane", much), kKeepsGood),
      CaseOf<Sphere>("sphere, 80 % clutter", Usual("sphere", much), kKeepsGood),
      CaseOf<Cylinder>("cylinder, 80 % clutter", Usual("cylinder", much), kKeepsGood),
      CaseOf<Cone>("cone, 80 % clutter", Usual("cone", much), kKeepsGood),
      CaseOf<Sphere>("eighth of a sphere, half clutter",
                     Usual("sphere", {.points = 1000, .outliers = 0.5, .around = 1.5}, 1.0 / 8), kKeepsGood),
      CaseOf<Cone>("sixth of a cone, half clutter",
                   Usual("cone", {.points = 1000, .outliers = 0.5, .around = 1.5}, 1.0 / 6), kKeepsGood),
      CaseOf<Plane>("plane of 200 000 points, 20 % clutter",
                    Usual("plane", {.points = 200000, .outliers = 0.2, .around = 1.5}),
                    {.keepsGood = true, .usual = true, .large = true}),
      CaseOf<Cylinder>("cylinder of 200 000 points, 20 % clutter",
                       Usual("cylinder", {.points = 200000, .outliers = 0.2, .around = 1.5}),
                       {.keepsGood = true, .usual = true, .large = true}),
      CaseOf<Cylinder>("usual: cylinder, survey coordinates",
                       Usual("cylinder", {.points = 3000, .outliers = 0.2, .survey = true}),
                       {.keepsGood = true, .usual = true}),
  };
  AddUsual<Line>("line", cases);
  AddUsual<Arc>("arc", cases);
  AddUsual<Plane>("plane", cases);
  AddUsual<Sphere>("sphere", cases);
  AddUsual<Cylinder>("cylinder", cases);
  AddUsual<Cone>("cone", cases);
  AddUsual<Torus>("torus", cases);
  return cases;
}

}  // namespace primfit::bench
