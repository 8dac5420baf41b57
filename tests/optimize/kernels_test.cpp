// The kernels of a least-squares step against plain loops, and with the same bits on every target of this
// machine.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "optimize/normal_equations.h"
#include "support/scenes.h"
#include "support/targets.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using Shape = ShapeParameters::Kind;
using Gram = std::vector<double>;
constexpr int kStride = ShapeParameters::kGramStride;

/// The columns of a point and, last, its distances, as ShapeParameters lists them.
std::vector<double> ColumnsOf(const ShapeParameters& shape, const Vector3d& p) {
  const Vector3d q = p - shape.center;
  const double x = q.dot(shape.u), y = q.dot(shape.w), h = q.dot(shape.axis);
  const double rho = std::hypot(x, y), c = x / rho, s = y / rho, length = q.norm();
  const double sign = h < 0 ? -1 : 1;
  const double tau = std::hypot(rho - shape.major, h), a = (rho - shape.major) / tau, b = h / tau;
  const double sine = std::sin(shape.minor), cosine = std::cos(shape.minor);
  const double t = h * cosine + sign * rho * sine;
  switch (shape.kind) {
    case Shape::kLine:
      return {1, h, x, y};
    case Shape::kPlane:
      return {q.x(), q.y(), q.z(), 1, h};
    case Shape::kSphere:
      return {q.x() / length, q.y() / length, q.z() / length, 1, length - shape.minor};
    case Shape::kCylinder:
      return {c, s, h * c, h * s, 1, rho - shape.minor};
    case Shape::kCone:
      return {c, s, sign, c * t, s * t, rho * sine + std::abs(h) * cosine, rho * cosine - std::abs(h) * sine};
    case Shape::kTorus:
      return {a * c, a * s, b, b * c, b * s, a, 1, tau - shape.minor};
  }
  return {};
}

/// The inner products by a plain loop over the points.
Gram PlainGram(const ShapeParameters& shape, const PointRefs& points) {
  Gram gram(kStride * kStride, 0.0);
  for (int k = 0; k < points.count; ++k) {
    const std::vector<double> columns = ColumnsOf(shape, points[k]);
    const double weight = points.sqrtWeights != nullptr ? points.sqrtWeights[k] * points.sqrtWeights[k] : 1;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      for (std::size_t j = 0; j < columns.size(); ++j)
        gram[i * kStride + j] += weight * columns[i] * columns[j];
    }
  }
  return gram;
}

/// One way in which points come: in an array or by pointers, in space, weighted or seen in a plane.
struct View {
  const char* name;
  PointRefs refs;
};

class Grams : public ::testing::Test {
 protected:
  Grams() {
    for (int i = 0; i < 1001; ++i) {
      points.push_back(random.InCube(2));
      roots.push_back(i % 7 == 0 ? 0 : random.Uniform(0, 2));
    }
    for (const Vector3d& p : points) pointers.push_back(&p);
  }
  ShapeParameters AShape(Shape kind) {
    return WithFrame({kind, random.InCube(1), random.Direction(), 1, 0.4, {}, {}});
  }
  /// Only planes and spheres, which lines and circles are in their planes, are seen in one.
  std::vector<View> Views(Shape kind, int n) {
    const Vector3d* rows = points.data();
    std::vector<View> views = {{"rows", {n, rows}},
                               {"pointers", {n, nullptr, pointers.data()}},
                               {"weighted", {n, rows, nullptr, nullptr, roots.data()}}};
    if (kind != Shape::kPlane && kind != Shape::kSphere) return views;
    views.push_back({"in a plane", {n, rows, nullptr, &plane}});
    views.push_back({"pointers, in a plane", {n, nullptr, pointers.data(), &plane}});
    return views;
  }

  Random random;
  Points points;
  std::vector<const Vector3d*> pointers;
  std::vector<double> roots;
  const PlaneFrame plane{{0.1, 0.2, 0.3}, Vector3d(1, 2, 2) / 3, Vector3d(2, 1, -2) / 3};
};

constexpr Shape kAllKinds[] = {Shape::kLine,     Shape::kPlane, Shape::kSphere,
                               Shape::kCylinder, Shape::kCone,  Shape::kTorus};

TEST_F(Grams, AreThoseOfAPlainLoop) {
  for (const Shape kind : kAllKinds) {
    const ShapeParameters shape = AShape(kind);
    for (const int n : kLengths) {
      for (const View& view : Views(kind, n)) {
        const Gram plain = PlainGram(shape, view.refs);
        Gram first;
        OnEveryTarget([&] {
          Gram gram(kStride * kStride, -7.0);
          AccumulateGram(shape, view.refs, gram.data());
          for (std::size_t i = 0; i < gram.size(); ++i)
            ASSERT_NEAR(gram[i], plain[i], 1e-13 * (1 + 30 * n))
                << "shape " << static_cast<int>(kind) << ", " << n << " " << view.name << ", entry " << i;
          if (first.empty()) first = gram;
          EXPECT_TRUE(SameBits(gram, first))
              << "shape " << static_cast<int>(kind) << ", " << n << " " << view.name;
        });
      }
    }
  }
}

/// Points that come in an array, by pointers or with weights of 1 are the same points.
TEST_F(Grams, AreTheSameHoweverThePointsCome) {
  const std::vector<double> ones(points.size(), 1.0);
  for (const Shape kind : kAllKinds) {
    const ShapeParameters shape = AShape(kind);
    for (const int n : kLengths) {
      const PointRefs ways[] = {{n, points.data()},
                                {n, nullptr, pointers.data()},
                                {n, points.data(), nullptr, nullptr, ones.data()}};
      OnEveryTarget([&] {
        Gram first;
        for (const PointRefs& refs : ways) {
          Gram gram(kStride * kStride);
          AccumulateGram(shape, refs, gram.data());
          if (first.empty()) first = gram;
          EXPECT_TRUE(SameBits(gram, first)) << "shape " << static_cast<int>(kind) << ", " << n << " points";
        }
      });
    }
  }
}

/// A solver that sees sums of a point without coordinates has to see that they are no numbers.
TEST_F(Grams, ShowAPointThatIsNotANumber) {
  for (const Shape kind : kAllKinds) {
    const ShapeParameters shape = AShape(kind);
    const auto last = static_cast<std::size_t>(ColumnsOf(shape, points[0]).size() - 1);
    for (const int n : {1, 8, 9, 129}) {
      for (const int bad : {0, n / 2, n - 1}) {
        const Vector3d good = points[static_cast<std::size_t>(bad)];
        points[static_cast<std::size_t>(bad)] = Vector3d::Constant(std::nan(""));
        for (const View& view : Views(kind, n)) {
          if (view.refs.sqrtWeights != nullptr) continue;
          OnEveryTarget([&] {
            Gram gram(kStride * kStride);
            AccumulateGram(shape, view.refs, gram.data());
            EXPECT_TRUE(std::isnan(gram[last * kStride + last]))
                << "shape " << static_cast<int>(kind) << ", point " << bad << " of " << n << ", "
                << view.name;
          });
        }
        points[static_cast<std::size_t>(bad)] = good;
      }
    }
  }
}

using Small = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic>;

TEST(SmallMatrices, AreMultipliedAndSolvedAlikeOnEveryTarget) {
  Random random;
  for (int n = 1; n <= kMostParameters; ++n) {
    for (int m = n; m < kMostParameters; ++m) {
      SmallMatrix factors{}, g{};
      Small f(n, m), full(m + 1, m + 1);
      for (int i = 0; i < n; ++i) {
        for (int l = 0; l < m; ++l) f(i, l) = factors[i][l] = random.Gauss(1);
      }
      const Small root = Small::NullaryExpr(m + 1, m + 1, [&] { return random.Gauss(1); });
      full = root * root.transpose();
      for (int i = 0; i <= m; ++i) {
        for (int j = 0; j <= m; ++j) g[i][j] = full(i, j);
      }
      const Small product = f * full.topLeftCorner(m, m) * f.transpose();
      const Eigen::VectorXd lastColumn = f * full.col(m).head(m);
      std::vector<double> first;
      OnEveryTarget([&] {
        SmallMatrix a{};
        double b[kMostParameters] = {}, scale[kMostParameters] = {}, z[kMostParameters];
        CongruenceProduct(factors, n, m, g, a, b);
        for (int i = 0; i < n; ++i) {
          EXPECT_NEAR(b[i], lastColumn[i], 1e-12);
          for (int j = 0; j < n; ++j) EXPECT_NEAR(a[i][j], product(i, j), 1e-12);
          scale[i] = 1 / std::sqrt(a[i][i]);
        }
        constexpr double kDamping = 0.1;
        SolveScaled(n, a, b, scale, kDamping, z);
        std::vector<double> all(z, z + kMostParameters);
        for (int i = 0; i < n; ++i) {  // the equations hold
          double left = kDamping * z[i] + scale[i] * b[i];
          for (int j = 0; j < n; ++j) left += scale[i] * a[i][j] * scale[j] * z[j];
          EXPECT_NEAR(left, 0, 1e-12);
          all.insert(all.end(), a[i], a[i] + n);
          all.push_back(b[i]);
        }
        if (first.empty()) first = all;
        EXPECT_TRUE(SameBits(all, first)) << n << " of " << m;
      });
    }
  }
}

/// What no point determines stays where it is: a column of zeros, and one that repeats another.
TEST(SmallMatrices, LeaveUndeterminedUnknownsAtZero) {
  SmallMatrix a = {};
  const double columns[3][2] = {{1, 0}, {0, 0}, {1, 0}};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) a[i][j] = columns[i][0] * columns[j][0];
  }
  const double b[kMostParameters] = {-1, 0, -1}, scale[kMostParameters] = {1, 1, 1};
  OnEveryTarget([&] {
    double z[kMostParameters];
    SolveScaled(3, a, b, scale, 0, z);
    EXPECT_EQ(std::vector<double>(z, z + 3), (std::vector<double>{1, 0, 0}));
  });
}

}  // namespace
}  // namespace primfit::testing
