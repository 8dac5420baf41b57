#include "optimize/normal_equations.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "fit/vector_math.h"

namespace primfit {

namespace {

using Kind = LocalShape::Kind;

/// The columns of a kind, and those among them that are lengths.
struct Columns {
  int count, firstLength, endLength;
};
Columns ColumnsOf(Kind kind) {
  constexpr Columns kTable[] = {{2, 1, 2}, {4, 0, 3}, {4, 0, 0}, {5, 2, 4}, {6, 3, 6}, {7, 0, 0}};
  return kTable[static_cast<int>(kind)];
}

/// The derivative of e for a motion as factors of the columns.
void Factors(const LocalShape& shape, const Motion& motion, double* factors) {
  const auto give = [&](auto... values) {
    int column = 0;
    ((factors[column++] = values), ...);
  };
  const double x = shape.u.dot(motion.center), y = shape.w.dot(motion.center),
               h = shape.axis.dot(motion.center);
  const double tiltU = shape.u.dot(motion.axis), tiltW = shape.w.dot(motion.axis);
  switch (shape.kind) {
    case Kind::kLine:
      return give(-x, -tiltU);
    case Kind::kPlane:
      return give(motion.axis.x(), motion.axis.y(), motion.axis.z(), -h);
    case Kind::kSphere:
      return give(-motion.center.x(), -motion.center.y(), -motion.center.z(), -motion.minor);
    case Kind::kCylinder:
      return give(-x, -y, -tiltU, -tiltW, -motion.minor);
    case Kind::kCone: {
      return give(-shape.cosine * x, -shape.cosine * y, shape.sine * h, -tiltU, -tiltW, -motion.minor);
    }
    case Kind::kTorus:
      return give(-x, -y, -h, shape.major * tiltU, shape.major * tiltW, -motion.major, -motion.minor);
  }
}

}  // namespace

bool NormalEquations::IsFinite(int n) const {
  double sum = squares + extent;  // of numbers that are all finite or not worth a step
  for (int i = 0; i < n; ++i) sum += gradient[i] + matrix[i][i];  // which bound those beside them
  return std::isfinite(sum);
}

LocalShape WithFrame(LocalShape shape) {
  const double x = shape.axis.x(), y = shape.axis.y(), across = std::sqrt(x * x + y * y);
  // UnitOrthogonal takes any vector, at the cost of a hypot.
  shape.u = across > 1e-6 ? Eigen::Vector3d(-y / across, x / across, 0) : UnitOrthogonal(shape.axis);
  if (shape.kind == Kind::kCone) {
    shape.sine = std::sin(shape.minor);
    shape.cosine = std::cos(shape.minor);
  }
  shape.w = shape.axis.cross(shape.u);
  return shape;
}

NormalEquations SumUp(const LocalShape& shape, const Motion* motions, int n, const PointRefs& points) {
  SmallMatrix gram;
  AccumulateGram(shape, points, gram[0]);
  return SumUp(shape, motions, n, points.count, gram);
}

NormalEquations SumUp(const LocalShape& shape, const Motion* motions, int n, int count, SmallMatrix& gram) {
  const auto [columns, firstLength, endLength] = ColumnsOf(shape.kind);
  SmallMatrix factors{};
  for (int i = 0; i < n; ++i) Factors(shape, motions[i], factors[i]);

  NormalEquations sums;
  const double share = 1.0 / count;
  for (auto& row : gram) {
    for (double& product : row) product *= share;
  }
  Congruent(factors, n, columns, gram, sums.matrix, sums.gradient);
  for (int i = 0; i < n; ++i) sums.lever[i] = std::sqrt(std::max(sums.matrix[i][i], 0.0));
  const auto diagonal = [&](int k) { return gram[k][k]; };
  sums.squares = diagonal(columns);
  double longest = 0;
  for (int k = firstLength; k < endLength; ++k) longest = std::max(longest, diagonal(k));
  sums.extent = std::max(
      {std::sqrt(longest), std::abs(shape.major), shape.kind == Kind::kCone ? 0 : std::abs(shape.minor)});
  return sums;
}

NormalEquations SumUp(const double* residuals, const double* jacobian, int m, int n, const double* x) {
  NormalEquations sums{};
  sums.squares = std::inner_product(residuals, residuals + m, residuals, 0.0);
  sums.extent = 0;
  for (int i = 0; i < n; ++i) {
    const double* column = jacobian + static_cast<std::ptrdiff_t>(i) * m;
    for (int j = 0; j <= i; ++j) {
      sums.matrix[i][j] = sums.matrix[j][i] =
          std::inner_product(column, column + m, jacobian + static_cast<std::ptrdiff_t>(j) * m, 0.0);
    }
    sums.gradient[i] = std::inner_product(column, column + m, residuals, 0.0);
    sums.lever[i] = std::sqrt(sums.matrix[i][i]);
    sums.extent = std::max(sums.extent, sums.lever[i] * std::abs(x[i]));
  }
  return sums;
}

}  // namespace primfit
