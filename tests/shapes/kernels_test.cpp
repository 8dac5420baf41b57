// The vector kernels: the same decisions and the same bits as the per-point functions, on every target of
// this machine.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "shapes/formulas.h"
#include "shapes/kernels/batch.h"
#include "support/kinds.h"
#include "support/targets.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

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

/// The quantity that the band of the shape bounds, by its formula for one point.
double QuantityOf(const OutputShape& shape, const Vector3d& p) {
  double quantity = 0;
  const auto tryKind = [&]<class Shape>(const Shape*) {
    const auto* of = dynamic_cast<const Shape*>(&shape);
    if (of != nullptr) quantity = FormulaOf(*of).Quantity(p.x(), p.y(), p.z());
  };
  const auto tryKinds = [&]<class... Shapes>(const Shapes*... kinds) { (tryKind(kinds), ...); };
  tryKinds(static_cast<const OutputLine*>(nullptr), static_cast<const OutputCircle*>(nullptr),
           static_cast<const OutputPlane*>(nullptr), static_cast<const OutputSphere*>(nullptr),
           static_cast<const OutputCylinder*>(nullptr), static_cast<const OutputCone*>(nullptr),
           static_cast<const OutputTorus*>(nullptr));
  return quantity;
}

AxialRange PlainRange(const OutputShape& shape, double low, double high, const Vector3d& root,
                      const Vector3d& axis, const Points& points) {
  AxialRange range;
  for (const Vector3d& p : points) {
    const double quantity = QuantityOf(shape, p);
    if (!(low <= quantity && quantity <= high)) continue;
    const double at = (Triple<double>(p) - Triple<double>(root)).Dot(Triple<double>(axis));
    range.low = std::min(range.low, at);
    range.high = std::max(range.high, at);
  }
  return range;
}

TEST(Kernels, RangeOverThePointsInABandAsAPlainLoopDoes) {
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    Random random;
    const auto shape = kind.make(random.AnyPose(0.2), 1);
    shape->SetDistSqrdThreshod(0.1);
    const Vector3d root = random.InCube(1), axis = random.Direction();
    for (const int n : kLengths) {
      Points points = OnTheBounds(kind, *shape, n, random);
      if (n > 2) points[static_cast<std::size_t>(n / 2)].y() = std::nan("");
      // Bounds at which points lie exactly: the far ends of a narrow band and of one without points.
      const double some = n > 0 ? QuantityOf(*shape, points.front()) : 1,
                   other = n > 0 ? QuantityOf(*shape, points.back()) : 2;
      const double infinity = std::numeric_limits<double>::infinity();
      const Range bands[] = {{some, some},
                             {std::min(some, other), std::max(some, other)},
                             {-infinity, infinity},
                             {std::nan(""), infinity},
                             {1e9, 2e9},
                             {shape->CloseLow(), shape->CloseHigh()}};
      for (const Range& band : bands) {
        const AxialRange plain = PlainRange(*shape, band.low, band.high, root, axis, points);
        OnEveryTarget([&] {
          const AxialRange range = RangeOf(*shape, band.low, band.high, root, axis, points.data(), n);
          EXPECT_EQ(range.low, plain.low) << n << " points in [" << band.low << ", " << band.high << "]";
          EXPECT_EQ(range.high, plain.high) << n << " points in [" << band.low << ", " << band.high << "]";
        });
      }
    }
  }
}

TEST(Kernels, MarkTheValuesUpToABound) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr std::uint64_t kUntouched = 0x5a5a5a5a5a5a5a5a;
  Random random;
  for (const double bound : {0.5, 0.0, -1.0, kInfinity, -kInfinity, std::nan("")}) {
    for (const int n : kLengths) {
      const double special[] = {bound,
                                std::nextafter(bound, kInfinity),
                                std::nextafter(bound, -kInfinity),
                                std::nan(""),
                                kInfinity,
                                -kInfinity,
                                -0.0};
      std::vector<double> values;
      for (int i = 0; i < n; ++i)
        values.push_back(random.Integer(0, 1) == 0 ? special[random.Integer(0, 6)] : random.Uniform(-2, 2));
      std::vector<std::uint64_t> marks((values.size() + 63) / 64 + 1, 0);
      marks.back() = kUntouched;
      for (std::size_t i = 0; i < values.size(); ++i)
        marks[i / 64] |= std::uint64_t{values[i] <= bound} << i % 64;
      OnEveryTarget([&] {
        std::vector<std::uint64_t> words(marks.size(), kUntouched);
        BitsUpTo(bound, values.data(), values.size(), words.data());
        EXPECT_EQ(words, marks) << n << " values up to " << bound;
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
