// Levenberg-Marquardt over the native trust-region engine, which asks for the normal equations at the places
// that it tries. The axis of a model is moved along two tangents and made a unit vector again, which needs no
// angles and has no poles.
#include "adaptive/model/refine.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <utility>

#include "optimize/native_trust_region.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// The part of a change of direction that turns the unit vector a.
Vector3d Turning(const Vector3d& change, const Vector3d& a) { return change - a * a.dot(change); }

/// The model at the parameters x, counted from a base.
/// @param length  receives that of its axis before it was made a unit vector
Model Moved(const Model& base, const FreeParameters& parameters, const double* x, double& length) {
  Model m = base;
  for (int i = 0; i < parameters.count; ++i) {
    const ShapeDerivative& motion = parameters.each[i].motion;
    m.center += x[i] * motion.center;
    m.axis += x[i] * motion.axis;
    m.major += x[i] * motion.major;
    m.minor += x[i] * motion.minor;
  }
  length = m.axis.norm();
  m.axis /= length;
  return m;
}

/// Adds the equations of further residuals of the same points.
void Add(const NormalEquations& other, int n, NormalEquations& sums) {
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) sums.matrix[i][j] += other.matrix[i][j];
    sums.gradient[i] += other.gradient[i];
    sums.sensitivity[i] = std::hypot(sums.sensitivity[i], other.sensitivity[i]);
  }
  sums.sumOfSquares += other.sumOfSquares;
  sums.lengthScale = std::max(sums.lengthScale, other.lengthScale);
}

/// The model as the kernel that sums up sees it.
ShapeParameters ParametersOf(ShapeParameters::Kind kind, const Model& m) {
  ShapeParameters shape;
  shape.kind = kind;
  shape.center = m.center;
  shape.axis = m.axis;
  shape.major = m.major;
  shape.minor = m.minor;
  return WithFrame(shape);
}

/// AccumulateGram in blocks, for which the budget is asked. Where it ends, the sums are not complete.
void SumUpGram(const ShapeParameters& shape, const PointRefs& points, Budget& budget, SmallMatrix& gram) {
  std::fill_n(gram[0], sizeof gram / sizeof(double), 0.0);
  budget.InBlocks(static_cast<std::size_t>(points.count), [&](std::size_t begin, std::size_t count) {
    PointRefs block = points;
    block.count = static_cast<int>(count);
    block.rows += begin;
    if (block.sqrtWeights != nullptr) block.sqrtWeights += begin;
    if (begin == 0) return AccumulateGram(shape, block, gram[0]);
    SmallMatrix more;
    AccumulateGram(shape, block, more[0]);
    for (int i = 0; i < kMostParameters; ++i) {
      for (int j = 0; j < kMostParameters; ++j) gram[i][j] += more[i][j];
    }
  });
}

/// Normal equations of the distances of points from shapes whose distances a kernel sums up. A line and a
/// circle are seen as two surfaces each, whose squared distances add up to theirs.
class DistanceSums {
 public:
  /// @param m       a model that was moved
  /// @param length of its axis before it was made a unit vector again, by which its derivatives are shortened
  DistanceSums(const Model& m, const FreeParameters& parameters, double length, const PointRefs& points,
               Budget& budget)
      : m_(m), count_(parameters.count), points_(points), budget_(budget) {
    for (int i = 0; i < count_; ++i) {
      derivatives_[i] = parameters.each[i].motion;
      derivatives_[i].axis = Turning(derivatives_[i].axis, m.axis) / length;
    }
  }

  NormalEquations OfSurface(ShapeParameters::Kind kind) {
    const ShapeParameters shape = ParametersOf(kind, m_);
    SumUpGram(shape, points_, budget_, gram_);
    return NormalEquationsOf(shape, derivatives_, count_, points_.count, gram_);
  }
  /// Of a circle: the distance from its cylinder and that from its plane.
  NormalEquations OfCircle() {
    NormalEquations sums = OfSurface(ShapeParameters::Kind::kCylinder);
    Add(OfSurface(ShapeParameters::Kind::kPlane), count_, sums);
    return sums;
  }
  /// Of a line: the distances from two planes through it, at right angles.
  NormalEquations OfLine() {
    ShapeParameters line = ParametersOf(ShapeParameters::Kind::kLine, m_);
    SmallMatrix both;
    SumUpGram(line, points_, budget_, both);
    NormalEquations sums = OfPlaneThroughLine(line, both, 0);
    line.u = line.w;
    Add(OfPlaneThroughLine(line, both, 1), count_, sums);
    return sums;
  }

 private:
  /// @param side  which of the two distances in the last rows of the line's gram matrix
  NormalEquations OfPlaneThroughLine(const ShapeParameters& line, const SmallMatrix& both, int side) {
    const int of[] = {0, 1, 2 + side};
    std::fill_n(gram_[0], sizeof gram_ / sizeof(double), 0.0);
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) gram_[i][j] = both[of[i]][of[j]];
    }
    return NormalEquationsOf(line, derivatives_, count_, points_.count, gram_);
  }

  const Model& m_;
  int count_;
  PointRefs points_;
  Budget& budget_;
  ShapeDerivative derivatives_[kMostParameters];
  SmallMatrix gram_;
};

/// @param length  see DistanceSums
NormalEquations SumsOf(const Model& m, const FreeParameters& parameters, double length,
                       const PointRefs& points, Budget& budget) {
  using Kind = ShapeParameters::Kind;
  DistanceSums sums(m, parameters, length, points, budget);
  switch (m.kind) {
    case ShapeKind::kLine:
      return sums.OfLine();
    case ShapeKind::kArc:
      return sums.OfCircle();
    case ShapeKind::kPlane:
      return sums.OfSurface(Kind::kPlane);
    case ShapeKind::kSphere:
      return sums.OfSurface(Kind::kSphere);
    case ShapeKind::kCylinder:
      return sums.OfSurface(Kind::kCylinder);
    case ShapeKind::kCone:
      return sums.OfSurface(Kind::kCone);
    case ShapeKind::kTorus:
      break;
  }
  return sums.OfSurface(Kind::kTorus);
}

}  // namespace

std::optional<Model> Refine(const Model& start, unsigned held, const PointRefs& points, int iterations,
                            Budget& budget, Redundancy redundancy) {
  const FreeParameters parameters = FreeParametersOf(start, held);
  const int equations = points.count * (start.IsCurve() ? 2 : 1);
  const bool enough =
      redundancy == Redundancy::kRequired ? points.count > parameters.count : equations >= parameters.count;
  if (!enough) return std::nullopt;
  constexpr double kNoThresholds[6] = {};
  const TrustRegionLimits limits{kNoThresholds, iterations, 20, 1};
  double x[kMostParameters] = {}, length = 1;
  TrustRegionAnswers answers;
  const auto sumUp = [&] {
    const Model at = Moved(start, parameters, x, length);
    answers.normalEquations = SumsOf(at, parameters, length, points, budget);
  };
  sumUp();
  if (parameters.count > 0) {
    NativeTrustRegion engine;
    engine.Start(parameters.count, equations, x, limits);
    int request = kContinue;
    while (!budget.IsOver() && engine.Step(answers, request) == kTrustRegionSuccess && request >= kContinue) {
      if (request == kNeedNormalEquations) sumUp();
    }
  }
  const Model at = Moved(start, parameters, x, length);
  if (budget.IsOver() || !IsValid(at)) return std::nullopt;
  return at;
}

std::optional<Model> Refine(const Model& start, unsigned held, const PointRefs& points, int iterations) {
  Budget endless;
  return Refine(start, held, points, iterations, endless);
}

NormalEquations SumsAt(const Model& model, unsigned held, const PointRefs& points, Budget& budget) {
  return SumsOf(model, FreeParametersOf(model, held), 1, points, budget);
}

NormalEquations SumsAt(const Model& model, unsigned held, const PointRefs& points) {
  Budget endless;
  return SumsAt(model, held, points, endless);
}

double NextStep(const NormalEquations& sums, int n) {
  double scale[kMostParameters] = {}, z[kMostParameters];
  for (int i = 0; i < n; ++i) scale[i] = sums.sensitivity[i] > 0 ? 1 / sums.sensitivity[i] : 0;
  SolveScaled(n, sums.matrix, sums.gradient, scale, 0, z);
  double longest = 0;
  for (int i = 0; i < n; ++i) longest = std::max(longest, std::abs(z[i]));
  return longest;
}

namespace {

/// The smallest eigenvalue of the normal equations in units in which their diagonal is 1: how much less the
/// points tell of the worst mixture of the parameters than of one alone.
double LeastEigenvalue(const NormalEquations& sums, int n) {
  Eigen::Matrix<double, kMostParameters, kMostParameters> scaled =
      Eigen::Matrix<double, kMostParameters, kMostParameters>::Identity();
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const double scales = sums.sensitivity[i] * sums.sensitivity[j];
      scaled(i, j) = i == j || !(scales > 0) ? scaled(i, j) : sums.matrix[i][j] / scales;
    }
  }
  const Eigen::SelfAdjointEigenSolver<decltype(scaled)> solver(scaled, Eigen::EigenvaluesOnly);
  return solver.eigenvalues()[0];
}

}  // namespace

std::optional<Model> UpdatedOptimum(const Model& at, unsigned held, int count, const PointRefs& added,
                                    const PointRefs& removed, NormalEquations& sums, double* remaining) {
  // A Gauss-Newton step is off by about its square, in sizes of the problem: this one by 1e-10.
  constexpr double kShort = 1e-5;
  const FreeParameters parameters = FreeParametersOf(at, held);
  const int n = parameters.count, now = count + added.count - removed.count;
  NormalEquations change{};
  Budget endless;
  for (const auto& [points, sign] : {std::pair{&added, 1}, std::pair{&removed, -1}}) {
    if (points->count == 0) continue;
    const NormalEquations part = SumsOf(at, parameters, 1, *points, endless);
    const double share = static_cast<double>(sign * points->count) / now;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) change.matrix[i][j] += share * part.matrix[i][j];
      change.gradient[i] += share * part.gradient[i];
    }
  }
  double scale[kMostParameters] = {}, z[kMostParameters], x[kMostParameters] = {};
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) sums.matrix[i][j] = sums.matrix[i][j] * count / now + change.matrix[i][j];
    sums.sensitivity[i] = std::sqrt(std::max(sums.matrix[i][i], 0.0));
    scale[i] = sums.sensitivity[i] > 0 ? 1 / sums.sensitivity[i] : 0;
  }
  SolveScaled(n, sums.matrix, change.gradient, scale, 0, z);
  double longest = 0;
  for (int i = 0; i < n; ++i) {
    longest = std::max(longest, std::abs(z[i]));
    x[i] = z[i] * scale[i];
  }
  if (!(longest <= kShort * sums.lengthScale)) return std::nullopt;
  if (remaining != nullptr)
    *remaining =
        longest / sums.lengthScale * (longest + std::sqrt(sums.sumOfSquares)) / LeastEigenvalue(sums, n);
  double length = 1;
  const Model moved = Moved(at, parameters, x, length);
  return IsValid(moved) ? std::optional(moved) : std::nullopt;
}

}  // namespace primfit::adaptive
