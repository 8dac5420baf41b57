// The vector kernels: the same decisions and the same bits as the per-point functions, on every target of
// this machine.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#if PRIMFIT_SIMD
#include <hwy/targets.h>
#endif

#include "optimize/normal_equations.h"
#include "shapes/kernels/batch.h"
#include "support/kinds.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

/// Runs the body once for each vector target of this build that the machine has.
void OnEveryTarget(const std::function<void()>& body) {
#if PRIMFIT_SIMD
  for (auto targets = hwy::SupportedTargets(); targets != 0; targets &= targets - 1) {
    const auto target = targets & -targets;
    SCOPED_TRACE(hwy::TargetName(target));
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    body();
  }
  hwy::SetSupportedTargetsForTest(0);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
#else
  body();
#endif
}

/// Points about a shape; many of them exactly on a bound of its band, where one rounding more or less
/// decides, and some that are not finite.
Points OnTheBounds(const Kind& kind, OutputShape& shape, int n, Random& random) {
  Points points;
  while (static_cast<int>(points.size()) < n) {
    Vector3d p = kind.at(random.Uniform(kind.u), random.Uniform(kind.v)) + 0.05 * random.InCube(1);
    if (points.size() % 1000 == 999) p[random.Integer(0, 2)] = std::nan("");
    if (points.size() % 1000 == 499) p[random.Integer(0, 2)] = std::numeric_limits<double>::infinity();
    points.push_back(p);
    if (points.size() % 3 != 0 || !p.allFinite()) continue;
    // Halves the way between a point inside and one outside until they are neighbours.
    Vector3d inside = p, outside = p + 4 * random.Direction();
    if (!shape.IsClosePoint(inside) || shape.IsClosePoint(outside)) continue;
    for (int i = 0; i < 60; ++i) {
      const Vector3d middle = 0.5 * (inside + outside);
      (shape.IsClosePoint(middle) ? inside : outside) = middle;
    }
    points.push_back(inside);
    points.push_back(outside);
  }
  points.resize(static_cast<std::size_t>(n));
  return points;
}

bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

TEST(Kernels, DecideAndMeasureAsThePointFunctionsDo) {
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    Random random;
    const auto shape = kind.make(random.AnyPose(0.2), 1);
    shape->SetDistSqrdThreshod(0.012);
    for (int n = 0; n <= 100000; n = n < 18 ? n + 1 : n * 74) {  // every remainder of a block; some blocks
      const Points points = OnTheBounds(kind, *shape, n, random);
      Points close;
      std::vector<double> distances;
      for (const Vector3d& p : points) {
        if (shape->IsClosePoint(p)) close.push_back(p);
        distances.push_back(shape->Distance(p));
      }
      const int closeCount = static_cast<int>(close.size());
      OnEveryTarget([&] {
        EXPECT_EQ(CountClose(*shape, points.data(), n), closeCount);
        EXPECT_EQ(CountClose(*shape, points.data(), n, closeCount - 1), closeCount) << "it beats one less";
        EXPECT_LE(CountClose(*shape, points.data(), n, closeCount), closeCount);
        Points selected(points.size() + 1);
        selected.resize(static_cast<std::size_t>(SelectClose(*shape, points.data(), n, selected.data())));
        EXPECT_EQ(selected, close);
        std::vector<double> measured(points.size() + 1, -7);
        Distances(*shape, points.data(), n, measured.data());
        EXPECT_EQ(measured.back(), -7) << "written past the end";
        measured.pop_back();
        for (std::size_t i = 0; i < measured.size(); ++i) {  // a NaN has many bits
          if (std::isnan(distances[i]) && std::isnan(measured[i])) measured[i] = distances[i];
        }
        EXPECT_TRUE(SameBits(measured, distances));
      });
    }
  }
}

TEST(Kernels, SumAlikeOnEveryTarget) {
  using Shape = LocalShape::Kind;
  Random random;
  for (const Shape kind : {Shape::kPlane, Shape::kSphere, Shape::kCylinder, Shape::kCone, Shape::kTorus}) {
    const LocalShape shape = WithFrame({kind, random.InCube(1), random.Direction(), 1, 0.4, {}, {}});
    for (const int n : {5, 128, 1001}) {
      Points points;
      std::vector<const Vector3d*> pointers;
      for (int i = 0; i < n; ++i) points.push_back(random.InCube(2));
      for (const Vector3d& p : points) pointers.push_back(&p);
      std::vector<double> first;
      OnEveryTarget([&] {
        for (const PointRefs& refs : {PointRefs{n, points.data()}, PointRefs{n, nullptr, pointers.data()}}) {
          std::vector<double> gram(64, 0.0);
          AccumulateGram(shape, refs, gram.data());
          if (first.empty()) first = gram;
          EXPECT_TRUE(SameBits(gram, first)) << "shape " << static_cast<int>(kind) << ", " << n << " points";
        }
      });
    }
  }
}

/// So many points at the origin, in address space that no memory stands behind.
struct Zeros {
  static constexpr int kCount = std::numeric_limits<int>::max();
  static constexpr std::size_t kBytes = kCount * sizeof(Vector3d);
  Zeros() : room(mmap(nullptr, kBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
    if (room != MAP_FAILED) madvise(room, kBytes, MADV_HUGEPAGE);
  }
  Zeros(const Zeros&) = delete;
  Zeros& operator=(const Zeros&) = delete;
  ~Zeros() {
    if (room != MAP_FAILED) munmap(room, kBytes);
  }
  void* room;
};

TEST(Kernels, TakeAsManyPointsAsAnIntCounts) {  // a sanitizer sees an index pass the largest int
  const Zeros zeros;
  if (zeros.room == MAP_FAILED) GTEST_SKIP() << "no room for the addresses of so many points";
  const auto* points = static_cast<const Vector3d*>(zeros.room);
  OutputPlane plane({0, 0, -0.005}, {0, 0, 1});
  plane.SetDistSqrdThreshod(0.01);
  EXPECT_EQ(CountClose(plane, points, Zeros::kCount), Zeros::kCount);
}

}  // namespace
}  // namespace primfit::testing
