#include "optimize/normal_equations.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "fit/vector_math.h"

namespace primfit {

namespace {

using Kind = ShapeParameters::Kind;

/// How many columns a kind of shape has, and which of them are lengths: those say how large the cloud is.
struct Columns {
  int count, firstLength, endLength;
};
Columns ColumnsOf(Kind kind) {
  constexpr Columns kTable[] = {{2, 1, 2}, {4, 0, 3}, {4, 0, 0}, {5, 2, 4}, {6, 3, 6}, {7, 0, 0}};  // as Kind
  return kTable[static_cast<int>(kind)];
}

/// The derivative of the distance e by one parameter, as factors of the columns of the shape's kind. Moving
/// the centre by d changes e by -d . grad e; tilting the axis changes it in proportion to the height.
void Factors(const ShapeParameters& shape, const ShapeDerivative& derivative, double* factors) {
  const auto give = [&](auto... values) {
    int column = 0;
    ((factors[column++] = values), ...);
  };
  const double x = shape.u.dot(derivative.center), y = shape.w.dot(derivative.center),
               h = shape.axis.dot(derivative.center);
  const double tiltU = shape.u.dot(derivative.axis), tiltW = shape.w.dot(derivative.axis);
  switch (shape.kind) {
    case Kind::kLine:
      return give(-x, -tiltU);
    case Kind::kPlane:
      return give(derivative.axis.x(), derivative.axis.y(), derivative.axis.z(), -h);
    case Kind::kSphere:
      return give(-derivative.center.x(), -derivative.center.y(), -derivative.center.z(), -derivative.minor);
    case Kind::kCylinder:
      return give(-x, -y, -tiltU, -tiltW, -derivative.minor);
    case Kind::kCone: {
      return give(-shape.cosine * x, -shape.cosine * y, shape.sine * h, -tiltU, -tiltW, -derivative.minor);
    }
    case Kind::kTorus:
      return give(-x, -y, -h, shape.major * tiltU, shape.major * tiltW, -derivative.major, -derivative.minor);
  }
}

}  // namespace

bool NormalEquations::IsFinite(int n) const {
  // A sum is finite only if all of its terms are; numbers so large that their sum overflows are not worth a
  // step either. The diagonal bounds the entries beside it.
  double sum = sumOfSquares + lengthScale;
  for (int i = 0; i < n; ++i) sum += gradient[i] + matrix[i][i];
  return std::isfinite(sum);
}

ShapeParameters WithFrame(ShapeParameters shape) {
  const double x = shape.axis.x(), y = shape.axis.y(), across = std::sqrt(x * x + y * y);
  // The common case without UnitOrthogonal, whose hypot costs as much as a few points.
  shape.u = across > 1e-6 ? Eigen::Vector3d(-y / across, x / across, 0) : UnitOrthogonal(shape.axis);
  if (shape.kind == Kind::kCone) {
    shape.sine = std::sin(shape.minor);
    shape.cosine = std::cos(shape.minor);
  }
  shape.w = shape.axis.cross(shape.u);
  return shape;
}

NormalEquations NormalEquationsOf(const ShapeParameters& shape, const ShapeDerivative* derivatives, int n,
                                  const PointRefs& points) {
  SmallMatrix gram;
  AccumulateGram(shape, points, gram[0]);
  return NormalEquationsOf(shape, derivatives, n, points.count, gram);
}

NormalEquations NormalEquationsOf(const ShapeParameters& shape, const ShapeDerivative* derivatives, int n,
                                  int count, SmallMatrix& gram) {
  const auto [columns, firstLength, endLength] = ColumnsOf(shape.kind);
  SmallMatrix factors{};
  for (int i = 0; i < n; ++i) Factors(shape, derivatives[i], factors[i]);

  NormalEquations equations;
  const double share = 1.0 / count;
  for (auto& row : gram) {
    for (double& product : row) product *= share;
  }
  CongruenceProduct(factors, n, columns, gram, equations.matrix, equations.gradient);
  for (int i = 0; i < n; ++i) equations.sensitivity[i] = std::sqrt(std::max(equations.matrix[i][i], 0.0));
  const auto diagonal = [&](int k) { return gram[k][k]; };
  equations.sumOfSquares = diagonal(columns);
  double longest = 0;
  for (int k = firstLength; k < endLength; ++k) longest = std::max(longest, diagonal(k));
  equations.lengthScale = std::max(
      {std::sqrt(longest), std::abs(shape.major), shape.kind == Kind::kCone ? 0 : std::abs(shape.minor)});
  return equations;
}

NormalEquations NormalEquationsOf(const double* residuals, const double* jacobian, int m, int n,
                                  const double* x) {
  NormalEquations equations{};
  equations.sumOfSquares = std::inner_product(residuals, residuals + m, residuals, 0.0);
  equations.lengthScale = 0;
  for (int i = 0; i < n; ++i) {
    const double* column = jacobian + static_cast<std::ptrdiff_t>(i) * m;
    for (int j = 0; j <= i; ++j) {
      equations.matrix[i][j] = equations.matrix[j][i] =
          std::inner_product(column, column + m, jacobian + static_cast<std::ptrdiff_t>(j) * m, 0.0);
    }
    equations.gradient[i] = std::inner_product(column, column + m, residuals, 0.0);
    equations.sensitivity[i] = std::sqrt(equations.matrix[i][i]);
    equations.lengthScale = std::max(equations.lengthScale, equations.sensitivity[i] * std::abs(x[i]));
  }
  return equations;
}

}  // namespace primfit
