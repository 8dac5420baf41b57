#include "adaptive/model/model.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "fit/vector_math.h"
#include "optimize/native_trust_region.h"
#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

bool IsValid(const Model& m) {
  if (!m.center.allFinite() || !std::isfinite(m.major) || !std::isfinite(m.minor)) return false;
  if (!(std::abs(m.axis.squaredNorm() - 1) < 1e-9)) return false;  // nor for a NaN
  const KindFacts& facts = FactsOf(m.kind);
  if (facts.minor && !(m.minor > 0)) return false;
  if (facts.minor == ParameterKind::kHalfAngle) return m.minor < std::numbers::pi / 2;
  return !facts.major || m.minor < m.major;
}

void Distances(const Model& m, const Vector3d* points, int n, double* distances) {
  WithShape(m, [&](const OutputShape& shape) { primfit::Distances(shape, points, n, distances); });
  std::transform(distances, distances + n, distances, [](double d) { return std::abs(d); });
  if (m.kind != ShapeKind::kCone) return;
  const double sine = std::sin(m.minor), cosine = std::cos(m.minor);
  for (int i = 0; i < n; ++i) {  // behind the apex the formula is about the other side
    const Vector3d q = points[i] - m.center;
    const double h = q.dot(m.axis);
    if (h >= 0) continue;
    const double rho = (q - h * m.axis).norm();
    distances[i] = rho * sine + h * cosine > 0 ? rho * cosine - h * sine : q.norm();
  }
}

namespace {

/// The part of a change of direction that turns the unit vector a.
Vector3d Turning(const Vector3d& change, const Vector3d& a) { return change - a * a.dot(change); }

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

void Add(const NormalEquations& other, int n, NormalEquations& sums) {
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) sums.matrix[i][j] += other.matrix[i][j];
    sums.gradient[i] += other.gradient[i];
    sums.sensitivity[i] = std::hypot(sums.sensitivity[i], other.sensitivity[i]);
  }
  sums.sumOfSquares += other.sumOfSquares;
  sums.lengthScale = std::max(sums.lengthScale, other.lengthScale);
}

ShapeParameters LocalOf(ShapeParameters::Kind kind, const Model& m) {
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
    PointRefs piece = points;
    piece.count = static_cast<int>(count);
    piece.rows += begin;
    if (piece.rootWeights != nullptr) piece.rootWeights += begin;
    if (begin == 0) return AccumulateGram(shape, piece, gram[0]);
    SmallMatrix more;
    AccumulateGram(shape, piece, more[0]);
    for (int i = 0; i < kMostParameters; ++i) {
      for (int j = 0; j < kMostParameters; ++j) gram[i][j] += more[i][j];
    }
  });
}

/// Distance equations of a model that was moved: its axis is that of the parameters divided by `length`.
NormalEquations SumsOf(const Model& m, const FreeParameters& parameters, double length,
                       const PointRefs& points, Budget& budget) {
  using Kind = ShapeParameters::Kind;
  ShapeDerivative motions[kMostParameters];
  const int n = parameters.count;
  for (int i = 0; i < n; ++i) {
    motions[i] = parameters.each[i].motion;
    motions[i].axis = Turning(motions[i].axis, m.axis) / length;
  }
  SmallMatrix gram;
  const auto plain = [&](Kind kind) {
    const ShapeParameters shape = LocalOf(kind, m);
    SumUpGram(shape, points, budget, gram);
    return NormalEquationsOf(shape, motions, n, points.count, gram);
  };
  switch (m.kind) {
    case ShapeKind::kLine: {  // the squared distance from a line is that from two planes through it
      ShapeParameters line = LocalOf(Kind::kLine, m);
      SmallMatrix both;
      SumUpGram(line, points, budget, both);
      NormalEquations sums[2];
      for (int side = 0; side < 2; ++side) {
        const int of[] = {0, 1, 2 + side};
        std::fill_n(gram[0], sizeof gram / sizeof(double), 0.0);
        for (int i = 0; i < 3; ++i) {
          for (int j = 0; j < 3; ++j) gram[i][j] = both[of[i]][of[j]];
        }
        if (side == 1) line.u = line.w;
        sums[side] = NormalEquationsOf(line, motions, n, points.count, gram);
      }
      Add(sums[1], n, sums[0]);
      return sums[0];
    }
    case ShapeKind::kArc: {  // from a circle: that from its cylinder and that from its plane
      NormalEquations sums = plain(Kind::kCylinder);
      Add(plain(Kind::kPlane), n, sums);
      return sums;
    }
    case ShapeKind::kPlane:
      return plain(Kind::kPlane);
    case ShapeKind::kSphere:
      return plain(Kind::kSphere);
    case ShapeKind::kCylinder:
      return plain(Kind::kCylinder);
    case ShapeKind::kCone:
      return plain(Kind::kCone);
    case ShapeKind::kTorus:
      break;
  }
  return plain(Kind::kTorus);
}

}  // namespace

FreeParameters FreeParametersOf(const Model& m, unsigned held) {
  FreeParameters parameters;
  const auto add = [&](ParameterKind kind, const Vector3d& direction, const ShapeDerivative& motion) {
    parameters.each[parameters.count++] = {kind, direction, motion};
  };
  const auto shift = [&](const Vector3d& v) { add(ParameterKind::kPosition, v, {.center = v}); };
  const ShapeParameters frame = LocalOf(ShapeParameters::Kind::kPlane, m);
  const KindFacts& facts = FactsOf(m.kind);
  if ((held & kCenter) == 0) {
    if (facts.slides != Slides::kInPlane) shift(frame.u), shift(frame.w);
    if (facts.slides != Slides::kAlongAxis) shift(m.axis);
  }
  if (facts.hasAxis && (held & kAxis) == 0) {
    for (const Vector3d& v : {frame.u, frame.w}) add(ParameterKind::kDirection, v, {.axis = v});
  }
  if (facts.major && (held & kMajor) == 0) add(*facts.major, Vector3d::Zero(), {.major = 1});
  if (facts.minor && (held & kMinor) == 0) add(*facts.minor, Vector3d::Zero(), {.minor = 1});
  return parameters;
}

void CenterAt(const Vector3d& mean, unsigned held, Model& m) {
  if ((held & kCenter) != 0) return;
  const double along = (mean - m.center).dot(m.axis);
  const Slides slides = FactsOf(m.kind).slides;
  if (slides == Slides::kAlongAxis) m.center += along * m.axis;
  if (slides == Slides::kInPlane) m.center = mean - along * m.axis;
}

std::optional<Model> Refine(const Model& start, unsigned held, const PointRefs& points, int iterations,
                            Budget& budget) {
  const FreeParameters parameters = FreeParametersOf(start, held);
  if (points.count <= parameters.count) return std::nullopt;
  constexpr double kNoThresholds[6] = {};
  const TrustRegionLimits limits{kNoThresholds, iterations, 20, 1};
  double x[kMostParameters] = {}, length = 1;
  TrustRegionAnswers answers;
  const auto look = [&] {
    const Model at = Moved(start, parameters, x, length);
    answers.normalEquations = SumsOf(at, parameters, length, points, budget);
  };
  look();
  if (parameters.count > 0) {
    NativeTrustRegion engine;
    engine.Start(parameters.count, points.count, x, limits);
    int request = kContinue;
    while (!budget.IsOver() && engine.Step(answers, request) == kTrustRegionSuccess && request >= kContinue) {
      if (request == kNeedNormalEquations) look();
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
  Eigen::Matrix<double, kMostParameters, kMostParameters> even =
      Eigen::Matrix<double, kMostParameters, kMostParameters>::Identity();
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const double levers = sums.sensitivity[i] * sums.sensitivity[j];
      even(i, j) = i == j || !(levers > 0) ? even(i, j) : sums.matrix[i][j] / levers;
    }
  }
  const Eigen::SelfAdjointEigenSolver<decltype(even)> solver(even, Eigen::EigenvaluesOnly);
  return solver.eigenvalues()[0];
}

}  // namespace

std::optional<Model> UpdatedOptimum(const Model& at, unsigned held, int count, const PointRefs& added,
                                    const PointRefs& removed, NormalEquations& sums, double* remaining) {
  constexpr double kShort = 1e-5;  // in sizes of the problem
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
