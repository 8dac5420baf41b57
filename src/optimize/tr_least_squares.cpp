#include "optimize/tr_least_squares.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>

#include "fit/messages.h"
#include "primfit/fit/fit_error.h"

namespace {

std::size_t Size(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

bool AllFinite(const double* values, std::size_t count) {
  return std::all_of(values, values + count, [](double v) { return std::isfinite(v); });
}

/// New numbers, or null when there is no memory. A count that no address space holds would make even the
/// nothrow form of new throw.
std::unique_ptr<double[]> NewDoubles(std::size_t rows, std::size_t columns) {
  constexpr std::size_t kLargestCount = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(double);
  if (columns != 0 && rows > kLargestCount / columns) return nullptr;
  return std::unique_ptr<double[]>(new (std::nothrow) double[rows * columns]);
}

}  // namespace

TRLeastSquares::TRLeastSquares(int parameters, int residuals, double tolerance, int iterations,
                               int trialIterations, bool offersNormalEquations) {
  problem_.offersNormalEquations = offersNormalEquations;
  problem_.fullCount = problem_.parameterCount = parameters;
  problem_.residualCount = residuals;
  problem_.tolerance = tolerance;
  problem_.iterationLimit = iterations;
  problem_.trialIterationLimit = trialIterations;
  problem_.residualScale = std::sqrt(static_cast<double>(std::max(residuals, 0)));
  // Thresholds in terms of the scanner error: what is gained below a hundredth of it is noise.
  const double h = tolerance * 0.5;
  double* thresholds = problem_.thresholds;
  thresholds[0] = std::min(h / 50, 0.01);          // size of the trust region; precision of the Jacobian
  thresholds[1] = h * h;                           // norm of the residuals
  thresholds[2] = std::min(1e-5 / parameters, h);  // norm of the Jacobian's columns
  thresholds[3] = std::min(h / 50, 0.01);          // norm of a trial step
  thresholds[4] = h / 100;                         // predicted decrease
  thresholds[5] = h * h / 10000;                   // precision of a trial step
  if (!offersNormalEquations || problem_.kind == primfit::TrustRegionKind::kLibrary) Allocate();
}

TRLeastSquares::TRLeastSquares(const TRLeastSquares& other) : problem_(other.problem_) {
  if (other.fjac_) Allocate();
}

TRLeastSquares::~TRLeastSquares() = default;

void TRLeastSquares::Allocate() {
  fjac_ = NewDoubles(Size(problem_.residualCount), Size(problem_.fullCount));
  if (fjac_) fvec_ = NewDoubles(Size(problem_.residualCount), 1);
  if (!fvec_) throw primfit::FitError(primfit::messages::kNoMemory);
  answers_.residuals = fvec_.get();
  answers_.jacobian = fjac_.get();
}

primfit::TrustRegionEngine& TRLeastSquares::Solver() {
  if (problem_.kind == primfit::TrustRegionKind::kNative) return native_;
  return *library_;
}

bool TRLeastSquares::NormalEquationsAt(const double* /*x*/, primfit::NormalEquations& /*equations*/) const {
  return false;
}

void TRLeastSquares::EvaluateResiduals() {
  problem_.residualFunction(&problem_.residualCount, &problem_.parameterCount, x_, fvec_.get(), this);
}

bool TRLeastSquares::EvaluateJacobian() {
  return Solver().Jacobian(problem_.residualFunction, problem_.parameterCount, problem_.residualCount,
                           fjac_.get(), x_, problem_.thresholds[0], this) == primfit::kTrustRegionSuccess &&
         AllFinite(fjac_.get(), Size(problem_.residualCount) * Size(problem_.parameterCount));
}

bool TRLeastSquares::EvaluateNormalEquations() {
  if (problem_.offersNormalEquations && NormalEquationsAt(x_, answers_.normalEquations)) return true;
  if (!fjac_) Allocate();
  EvaluateResiduals();
  const bool finite = EvaluateJacobian();
  answers_.normalEquations = primfit::NormalEquationsOf(fvec_.get(), fjac_.get(), problem_.residualCount,
                                                        problem_.parameterCount, x_);
  return finite;
}

bool TRLeastSquares::Initialize(const double* x0) {
  if (problem_.parameterCount > primfit::kMostParameters) return false;
  std::copy(x0, x0 + problem_.parameterCount, x_);
  problem_.stepBoundFactor = 0;
  std::fill_n(fvec_.get(), fvec_ ? Size(problem_.residualCount) : 0, 0.0);
  std::fill_n(fjac_.get(), fjac_ ? Size(problem_.residualCount) * Size(problem_.parameterCount) : 0, 0.0);
  if (!started_) {
    if (problem_.kind == primfit::TrustRegionKind::kLibrary) library_ = primfit::MakeLibraryTrustRegion();
    primfit::TrustRegionLimits limits{problem_.thresholds, problem_.iterationLimit,
                                      problem_.trialIterationLimit, problem_.stepBoundFactor};
    if (primfit::ScopedSampleRefinement::IsActive()) limits.uselessNorm = problem_.tolerance;
    started_ = Solver().Start(problem_.parameterCount, problem_.residualCount, x_, limits) ==
               primfit::kTrustRegionSuccess;
    if (!started_) return false;
  }
  return 10000 * problem_.tolerance * problem_.tolerance > SumOfSquaresAtStart();
}

/// The sum of squared residuals at the start. The native engine wants the normal equations there anyway.
double TRLeastSquares::SumOfSquaresAtStart() {
  if (problem_.kind == primfit::TrustRegionKind::kNative) {
    EvaluateNormalEquations();  // numbers that are not finite are found by the first step
    return answers_.normalEquations.sumOfSquares;
  }
  EvaluateResiduals();
  return std::inner_product(fvec_.get(), fvec_.get() + problem_.residualCount, fvec_.get(), 0.0);
}

bool TRLeastSquares::Solve() {
  if (!started_) return false;
  int request = primfit::kContinue;
  while (true) {
    if (Solver().Step(answers_, request) != primfit::kTrustRegionSuccess) return false;
    if (request < 0) {
      return Solver().Result(iterationsDone_, stopCriterion_, initialNorm_, finalNorm_) ==
             primfit::kTrustRegionSuccess;
    }
    if (!AnswerRequest(request)) return false;
  }
}

/// Evaluates what a step asks for.
/// @return false for a number that is not finite: with one NaN in the Jacobian the library engine's next step
///     never returns
bool TRLeastSquares::AnswerRequest(int request) {
  switch (request) {
    case primfit::kNeedResiduals:
      EvaluateResiduals();
      return AllFinite(fvec_.get(), Size(problem_.residualCount));
    case primfit::kNeedJacobian:
      return EvaluateJacobian();
    case primfit::kNeedNormalEquations:
      return EvaluateNormalEquations();
    default:
      return true;
  }
}
