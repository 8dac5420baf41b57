#include "optimize/native_trust_region.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace primfit {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
/// Shares of the extent. A step predicted to be shorter than kNegligible is not worth another pass; below
/// kRounding a step that is not much shorter than the one before consists of rounding; below kLinear steps
/// contract at a steady rate.
constexpr double kNegligible = 1e-13;
constexpr double kRounding = 1e-11;
constexpr double kLinear = 1e-2;

}  // namespace

int NativeTrustRegion::Start(int n, int m, double* x, const TrustRegionLimits& limits) {
  if (n < 1 || n > kMostParameters || m < n) return kTrustRegionRefusal;
  *this = NativeTrustRegion();
  n_ = n;
  x_ = x;
  limits_ = limits;
  lengthBefore_ = kInfinity;
  return kTrustRegionSuccess;
}

int NativeTrustRegion::Step(TrustRegionAnswers& answers, int& request) {
  if (!answers.sums.IsFinite(n_)) return kTrustRegionRefusal;
  if (!trialPending_) {
    std::copy_n(x_, n_, base_);
    at_ = answers.sums;
    initialNorm_ = std::sqrt(at_.squares);
    trialPending_ = true;
    const bool singular =
        std::all_of(at_.lever, at_.lever + n_, [&](double lever) { return lever < limits_.thresholds[2]; });
    request = singular ? Stop(kSingularJacobian) : Propose();
    return kTrustRegionSuccess;
  }
  const double change = answers.sums.squares - at_.squares;
  const bool even = std::abs(change) <= 1e-12 * at_.squares + std::pow(1e-14 * at_.extent, 2) &&
                    length_ < 1e-5 * at_.extent;  // no more than rounding, in a short step
  if (change > 0 && even && !(length_ < lengthBefore_)) {
    request = Stop(kSmallStep);
  } else if (change <= 0 || even) {
    const double promised = at_.squares - predicted_, kept = -change;
    damping_ *= kept > 0.75 * promised ? 0.25 : kept > 0.25 * promised ? 1 : 2;
    if (damping_ < 1e-6 || length_ < 1e-4 * at_.extent) damping_ = 0;
    for (int i = 0; i < n_; ++i) moved_[i] = x_[i] - base_[i];
    std::copy_n(step_, n_, stepBefore_);
    std::copy_n(x_, n_, base_);
    at_ = answers.sums;
    lengthBefore_ = length_;
    ++iterations_;
    rejections_ = 0;
    request = Propose();
  } else {
    damping_ = damping_ == 0 ? 1e-4 : 4 * damping_;
    lengthBefore_ = kInfinity;
    ++rejections_;
    request = Propose();
  }
  return kTrustRegionSuccess;
}

/// Sets the next trial point, or ends the run.
int NativeTrustRegion::Propose() {
  if (rejections_ > limits_.trialIterations) return Stop(kSmallRegion);
  if (iterations_ >= limits_.iterations) return Stop(kIterationLimit);
  double z[kMostParameters], scale[kMostParameters] = {};
  for (int i = 0; i < n_; ++i) scale[i] = at_.lever[i] > 0 ? 1 / at_.lever[i] : 0;
  SolveScaled(n_, at_.matrix, at_.gradient, scale, damping_, z);
  length_ = 0;
  double decrease = 0;  // |f|^2 - |f + J s|^2 = -g.s + damping |z|^2, with the damped normal equations
  for (int i = 0; i < n_; ++i) {
    step_[i] = z[i] * scale[i];
    length_ = std::max(length_, std::abs(z[i]));
    decrease += -at_.gradient[i] * step_[i] + damping_ * z[i] * z[i];
  }
  if (!(length_ > 0 && length_ < kInfinity)) return Stop(kSmallStep);
  predicted_ = std::max(at_.squares - decrease, 0.0);
  NoteThresholds();
  if (criterion_ != 0 && at_.squares > limits_.uselessNorm * limits_.uselessNorm) return Stop(criterion_);
  if (length_ < kRounding * at_.extent && damping_ == 0 && length_ > 0.5 * lengthBefore_)
    return Stop(kSmallStep);
  SetTrial();
  if (NextStepIsNegligible()) {  // this one is taken without another look at the points
    std::copy_n(x_, n_, base_);
    ++iterations_;
    return Stop(kSmallStep);
  }
  return kNeedSums;
}

/// The trial point: the step, stretched where the last two contract at a steady rate. Where the residuals are
/// large for how well a shape is determined that rate is no better than a half; the extrapolation of Anderson
/// (1965) from one step before takes the slowest direction out of it.
void NativeTrustRegion::SetTrial() {
  double along = 0, squared = 0;
  for (int i = 0; i < n_; ++i) {
    const double turn = (step_[i] - stepBefore_[i]) * at_.lever[i];
    along += step_[i] * at_.lever[i] * turn;
    squared += turn * turn;
  }
  const double rate = length_ / lengthBefore_;
  const bool steady = damping_ == 0 && length_ < kLinear * at_.extent && rate > 0.01 && rate < 1;
  const double factor = steady && squared > 0 ? along / squared : 0;
  for (int i = 0; i < n_; ++i) x_[i] = base_[i] + step_[i] - factor * (moved_[i] + step_[i] - stepBefore_[i]);
}

/// Steps contract at a rate that falls to that of the linear model's error: the next will be shorter than
/// this one by the last rate or more.
bool NativeTrustRegion::NextStepIsNegligible() const {
  const double rate = std::min(length_ / lengthBefore_, 1.0);
  return damping_ == 0 && length_ * std::max(rate, 1e-3) <= kNegligible * at_.extent;
}

void NativeTrustRegion::NoteThresholds() {
  if (criterion_ != 0) return;
  const double norm = std::sqrt(at_.squares);
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

/// Leaves the best parameters in x and says why: by the first threshold that was met, where one was.
int NativeTrustRegion::Stop(int request) {
  std::copy_n(base_, n_, x_);
  if (criterion_ == 0) criterion_ = request;
  return criterion_;
}

int NativeTrustRegion::Result(int& iterations, int& criterion, double& initialNorm, double& finalNorm) {
  iterations = iterations_;
  criterion = -criterion_;
  initialNorm = initialNorm_;
  finalNorm = std::sqrt(at_.squares);
  return kTrustRegionSuccess;
}

int NativeTrustRegion::Jacobian(ResidualFunction function, int n, int m, double* fjac, double* x,
                                double precision, void* model) {
  const auto ahead = std::make_unique<double[]>(static_cast<std::size_t>(m));
  for (int j = 0; j < n; ++j) {
    const double at = x[j], step = precision * std::max(std::abs(at), 1.0);
    double* column = fjac + static_cast<std::ptrdiff_t>(j) * m;
    x[j] = at + step;
    function(&m, &n, x, ahead.get(), model);
    x[j] = at - step;
    function(&m, &n, x, column, model);
    x[j] = at;
    for (int i = 0; i < m; ++i) column[i] = (ahead[i] - column[i]) / (2 * step);
  }
  return kTrustRegionSuccess;
}

}  // namespace primfit
