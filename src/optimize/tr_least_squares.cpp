#include "optimize/tr_least_squares.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "fit/messages.h"
#include "primfit/fit/fit_error.h"

namespace {

std::size_t Size(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

bool AllFinite(const double* values, std::size_t count) {
  return std::all_of(values, values + count, [](double v) { return std::isfinite(v); });
}

/// Null when there is no memory; a count that no address space holds would make even the nothrow form throw.
std::unique_ptr<double[]> NewDoubles(std::size_t rows, std::size_t columns) {
  constexpr std::size_t kMost = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(double);
  if (columns != 0 && rows > kMost / columns) return nullptr;
  return std::unique_ptr<double[]>(new (std::nothrow) double[rows * columns]);
}

}  // namespace

TRLeastSquares::TRLeastSquares(int parameters, int residuals, double tolerance, int iterations,
                               int trialIterations)
    : fullCount_(parameters),
      parameterCount_(parameters),
      residualCount_(residuals),
      tolerance_(tolerance),
      iterationLimit_(iterations),
      trialIterationLimit_(trialIterations),
      residualScale_(std::sqrt(static_cast<double>(std::max(residuals, 0)))) {
  const double h = tolerance * 0.5;
  thresholds_[0] = std::min(h / 50, 0.01);          // size of the trust region; precision of the Jacobian
  thresholds_[1] = h * h;                           // norm of the residuals
  thresholds_[2] = std::min(1e-5 / parameters, h);  // norm of the Jacobian's columns
  thresholds_[3] = std::min(h / 50, 0.01);          // norm of a trial step
  thresholds_[4] = h / 100;                         // predicted decrease
  thresholds_[5] = h * h / 10000;                   // precision of a trial step
  Allocate();
}

TRLeastSquares::TRLeastSquares(const TRLeastSquares& other)
    : stepBoundFactor_(other.stepBoundFactor_),
      fullCount_(other.fullCount_),
      parameterCount_(other.parameterCount_),
      residualCount_(other.residualCount_),
      tolerance_(other.tolerance_),
      iterationLimit_(other.iterationLimit_),
      trialIterationLimit_(other.trialIterationLimit_),
      residualScale_(other.residualScale_),
      residualFunction_(other.residualFunction_) {
  std::copy(std::begin(other.thresholds_), std::end(other.thresholds_), thresholds_);
  Allocate();
}

TRLeastSquares::~TRLeastSquares() = default;

void TRLeastSquares::Allocate() {
  fjac_ = NewDoubles(Size(residualCount_), Size(fullCount_));
  if (fjac_) fvec_ = NewDoubles(Size(residualCount_), 1);
  if (fvec_) x_ = NewDoubles(Size(fullCount_), 1);
  if (!x_) throw primfit::FitError(primfit::messages::kNoMemory);
}

void TRLeastSquares::EvaluateResiduals() {
  residualFunction_(&residualCount_, &parameterCount_, x_.get(), fvec_.get(), this);
}

bool TRLeastSquares::Initialize(const double* x0) {
  std::copy(x0, x0 + parameterCount_, x_.get());
  stepBoundFactor_ = 0;
  std::fill_n(fvec_.get(), Size(residualCount_), 0.0);
  std::fill_n(fjac_.get(), Size(residualCount_) * Size(parameterCount_), 0.0);
  if (!solver_) {
    solver_ = primfit::MakeTrustRegionEngine();
    const primfit::TrustRegionLimits limits{thresholds_, iterationLimit_, trialIterationLimit_,
                                            stepBoundFactor_};
    if (solver_->Start(parameterCount_, residualCount_, x_.get(), limits) != primfit::kTrustRegionSuccess)
      return false;
  }
  EvaluateResiduals();
  double sum = 0;
  for (int i = 0; i < residualCount_; ++i) sum += fvec_[i] * fvec_[i];
  return 10000 * tolerance_ * tolerance_ > sum;
}

bool TRLeastSquares::Solve() {
  int request = primfit::kContinue;
  while (true) {
    if (solver_->Step(fvec_.get(), fjac_.get(), request) != primfit::kTrustRegionSuccess) return false;
    if (request < 0) {
      return solver_->Result(iterationsDone_, stopCriterion_, initialNorm_, finalNorm_) ==
             primfit::kTrustRegionSuccess;
    }
    if (!AnswerRequest(request)) return false;
  }
}

/// False for a number that is not finite: one NaN in the Jacobian and the solver's next step would never
/// return.
bool TRLeastSquares::AnswerRequest(int request) {
  switch (request) {
    case primfit::kNeedResiduals:
      EvaluateResiduals();
      return AllFinite(fvec_.get(), Size(residualCount_));
    case primfit::kNeedJacobian:
      return solver_->Jacobian(residualFunction_, parameterCount_, residualCount_, fjac_.get(), x_.get(),
                               thresholds_[0], this) == primfit::kTrustRegionSuccess &&
             AllFinite(fjac_.get(), Size(residualCount_) * Size(parameterCount_));
    default:
      return true;
  }
}
