#include "optimize/native_trust_region.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace primfit {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Lengths of steps as shares of the length scale of the problem.

/// A step predicted to be shorter than this is not worth another pass over the points.
constexpr double kNegligible = 1e-13;
/// A step shorter than this that is not much shorter than the one before consists of rounding.
constexpr double kRounding = 1e-11;
/// Below this a step that raises the sum of squares by rounding alone is still taken for one that lowers it.
constexpr double kShortStep = 1e-5;
/// Below this the linear model holds, and damping is dropped.
constexpr double kUndamped = 1e-4;
/// Below this steps contract at a steady rate, which is extrapolated.
constexpr double kSteady = 1e-2;

/// The damping after the first step that does not lower the sum of squares, and its factor after each more.
constexpr double kFirstDamping = 1e-4, kMoreDamping = 4;

}  // namespace

int NativeTrustRegion::Start(int n, int m, double* x, const TrustRegionLimits& limits) {
  if (n < 1 || n > kMostParameters || m < n) return kTrustRegionRefusal;
  *this = NativeTrustRegion();
  n_ = n;
  x_ = x;
  limits_ = limits;
  lastLength_ = kInfinity;
  return kTrustRegionSuccess;
}

int NativeTrustRegion::Step(TrustRegionAnswers& answers, int& request) {
  if (!answers.normalEquations.IsFinite(n_)) return kTrustRegionRefusal;
  if (!trialPending_) {
    request = Begin(answers);
    return kTrustRegionSuccess;
  }
  const double change = answers.normalEquations.sumOfSquares - atBest_.sumOfSquares;
  const bool isRounding =
      std::abs(change) <= 1e-12 * atBest_.sumOfSquares + std::pow(1e-14 * atBest_.lengthScale, 2) &&
      length_ < kShortStep * atBest_.lengthScale;
  if (change > 0 && isRounding && !(length_ < lastLength_)) {
    request = Stop(kSmallStep);
    return kTrustRegionSuccess;
  }
  if (change <= 0 || isRounding) {
    Accept(answers);
  } else {
    Reject();
  }
  request = Propose();
  return kTrustRegionSuccess;
}

/// The first trial, from the normal equations at the start.
int NativeTrustRegion::Begin(const TrustRegionAnswers& answers) {
  std::copy_n(x_, n_, best_);
  atBest_ = answers.normalEquations;
  initialNorm_ = std::sqrt(atBest_.sumOfSquares);
  trialPending_ = true;
  const double* sensitivity = atBest_.sensitivity;
  const bool singular =
      std::all_of(sensitivity, sensitivity + n_, [&](double s) { return s < limits_.thresholds[2]; });
  return singular ? Stop(kSingularJacobian) : Propose();
}

/// Moves to the trial point. The damping follows the ratio of actual to predicted decrease: above 3/4 the
/// linear model holds and damping falls, below 1/4 it rises (Nocedal and Wright 2006, algorithm 4.1).
void NativeTrustRegion::Accept(const TrustRegionAnswers& answers) {
  const double predictedDecrease = atBest_.sumOfSquares - predicted_;
  const double decrease = -(answers.normalEquations.sumOfSquares - atBest_.sumOfSquares);
  damping_ *= decrease > 0.75 * predictedDecrease ? 0.25 : decrease > 0.25 * predictedDecrease ? 1 : 2;
  if (damping_ < 1e-6 || length_ < kUndamped * atBest_.lengthScale) damping_ = 0;
  for (int i = 0; i < n_; ++i) lastMove_[i] = x_[i] - best_[i];
  std::copy_n(step_, n_, lastStep_);
  std::copy_n(x_, n_, best_);
  atBest_ = answers.normalEquations;
  lastLength_ = length_;
  ++iterations_;
  rejections_ = 0;
}

void NativeTrustRegion::Reject() {
  damping_ = damping_ == 0 ? kFirstDamping : kMoreDamping * damping_;
  lastLength_ = kInfinity;
  ++rejections_;
}

/// Sets the next trial point, or ends the run.
int NativeTrustRegion::Propose() {
  if (rejections_ > limits_.trialIterations) return Stop(kSmallRegion);
  if (iterations_ >= limits_.iterations) return Stop(kIterationLimit);
  if (!SolveForStep()) return Stop(kSmallStep);
  NoteThresholds();
  if (criterion_ != 0 && atBest_.sumOfSquares > limits_.uselessNorm * limits_.uselessNorm)
    return Stop(criterion_);
  if (length_ < kRounding * atBest_.lengthScale && damping_ == 0 && length_ > 0.5 * lastLength_)
    return Stop(kSmallStep);
  SetTrial();
  if (NextStepIsNegligible()) {  // this step is taken without another pass over the points
    std::copy_n(x_, n_, best_);
    ++iterations_;
    return Stop(kSmallStep);
  }
  return kNeedNormalEquations;
}

/// The damped Gauss-Newton step from the best parameters, its length, and the sum of squares that the linear
/// model predicts behind it: |f + J s|^2 = |f|^2 + g.s - lambda |z|^2 with the damped normal equations, z the
/// step in units of residuals.
/// @return false for a step of no or of no finite length
bool NativeTrustRegion::SolveForStep() {
  double z[kMostParameters], scale[kMostParameters] = {};
  for (int i = 0; i < n_; ++i) scale[i] = atBest_.sensitivity[i] > 0 ? 1 / atBest_.sensitivity[i] : 0;
  SolveScaled(n_, atBest_.matrix, atBest_.gradient, scale, damping_, z);
  length_ = 0;
  double decrease = 0;
  for (int i = 0; i < n_; ++i) {
    step_[i] = z[i] * scale[i];
    length_ = std::max(length_, std::abs(z[i]));
    decrease += -atBest_.gradient[i] * step_[i] + damping_ * z[i] * z[i];
  }
  predicted_ = std::max(atBest_.sumOfSquares - decrease, 0.0);
  return length_ > 0 && length_ < kInfinity;
}

/// The trial point: the step, stretched where the last two contract at a steady rate. Where the residuals are
/// large for how well the points determine the shape, Gauss-Newton steps contract by no more than about a
/// half. The extrapolation of Anderson (1965) from one step before takes the slowest direction out of them.
void NativeTrustRegion::SetTrial() {
  double along = 0, squared = 0;
  for (int i = 0; i < n_; ++i) {
    const double change = (step_[i] - lastStep_[i]) * atBest_.sensitivity[i];
    along += step_[i] * atBest_.sensitivity[i] * change;
    squared += change * change;
  }
  const double rate = length_ / lastLength_;
  const bool steady = damping_ == 0 && length_ < kSteady * atBest_.lengthScale && rate > 0.01 && rate < 1;
  const double factor = steady && squared > 0 ? along / squared : 0;
  for (int i = 0; i < n_; ++i)
    x_[i] = best_[i] + step_[i] - factor * (lastMove_[i] + step_[i] - lastStep_[i]);
}

/// Whether the step after this one will be too short to matter. Rates of contraction fall towards the error
/// of the linear model, so the next step is shorter by at least the last rate.
bool NativeTrustRegion::NextStepIsNegligible() const {
  const double rate = std::min(length_ / lastLength_, 1.0);
  return damping_ == 0 && length_ * std::max(rate, 1e-3) <= kNegligible * atBest_.lengthScale;
}

/// Notes the first of the caller's thresholds that is met, without ending the run.
void NativeTrustRegion::NoteThresholds() {
  if (criterion_ != 0) return;
  const double norm = std::sqrt(atBest_.sumOfSquares);
  double squaredStep = 0;
  for (int i = 0; i < n_; ++i) squaredStep += step_[i] * step_[i];
  if (norm < limits_.thresholds[1]) {
    criterion_ = kSmallResidual;
  } else if (std::sqrt(squaredStep) < limits_.thresholds[3]) {
    criterion_ = kSmallStep;
  } else if (norm - std::sqrt(predicted_) < limits_.thresholds[4]) {
    criterion_ = kSmallDecrease;
  }
}

/// Ends the run with the best parameters in x.
/// @return the stop criterion: the first threshold that was met, where one was, else the reason given
int NativeTrustRegion::Stop(int request) {
  std::copy_n(best_, n_, x_);
  if (criterion_ == 0) criterion_ = request;
  return criterion_;
}

int NativeTrustRegion::Result(int& iterations, int& criterion, double& initialNorm, double& finalNorm) {
  iterations = iterations_;
  criterion = -criterion_;
  initialNorm = initialNorm_;
  finalNorm = std::sqrt(atBest_.sumOfSquares);
  return kTrustRegionSuccess;
}

int NativeTrustRegion::Jacobian(ResidualFunction function, int n, int m, double* fjac, double* x,
                                double precision, void* model) {
  const auto ahead = std::make_unique<double[]>(static_cast<std::size_t>(m));
  for (int j = 0; j < n; ++j) {
    const double value = x[j], step = precision * std::max(std::abs(value), 1.0);
    double* column = fjac + static_cast<std::ptrdiff_t>(j) * m;
    x[j] = value + step;
    function(&m, &n, x, ahead.get(), model);
    x[j] = value - step;
    function(&m, &n, x, column, model);
    x[j] = value;
    for (int i = 0; i < m; ++i) column[i] = (ahead[i] - column[i]) / (2 * step);
  }
  return kTrustRegionSuccess;
}

}  // namespace primfit
