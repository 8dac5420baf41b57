// The narrow door to the trust-region solver. The caller drives it by reverse communication:
//   Start, then Step until the request is a stop (-1 to -6), answering request 1 with residuals and 2 with
//   the Jacobian, then Result. Every call returns kTrustRegionSuccess or a failure status.
#ifndef PRIMFIT_SRC_OPTIMIZE_TRUST_REGION_H_
#define PRIMFIT_SRC_OPTIMIZE_TRUST_REGION_H_

#include <memory>

namespace primfit {

inline constexpr int kTrustRegionSuccess = 1501;

/// What a step asks for. The negative values end the run; all of them leave the best parameters in x.
enum TrustRegionRequest : int {
  kIterationLimit = -1,
  kSmallRegion = -2,
  kSmallResidual = -3,
  kSingularJacobian = -4,
  kSmallStep = -5,
  kSmallDecrease = -6,
  kContinue = 0,
  kNeedResiduals = 1,
  kNeedJacobian = 2,
};

/// Fills f[0 .. *m) with the residuals at x[0 .. *n); must not allocate.
using ResidualFunction = void (*)(int* m, int* n, double* x, double* f, void* model);

/// How a run is bounded: see TRLeastSquares for the meaning of the six thresholds.
struct TrustRegionLimits {
  const double* thresholds;
  int iterations;
  int trialIterations;
  double initialStepBound;
};

/// One least-squares run: min |f(x)|^2 over n parameters and m >= n residuals.
class TrustRegionEngine {
 public:
  virtual ~TrustRegionEngine() = default;
  /// Creates the run. Refuses n < 1 and m < n. `x` and the limits must outlive the engine.
  virtual int Start(int n, int m, double* x, const TrustRegionLimits& limits) = 0;
  /// @param fvec  m residuals at x
  /// @param fjac  m x n Jacobian at x, column-major; every number handed over must be finite
  virtual int Step(double* fvec, double* fjac, int& request) = 0;
  virtual int Result(int& iterations, int& criterion, double& initialNorm, double& finalNorm) = 0;
  /// Central differences of the residual function; the step is precision * |x_j|, or precision for smaller
  /// |x_j|.
  virtual int Jacobian(ResidualFunction function, int n, int m, double* fjac, double* x, double precision,
                       void* model) = 0;
};

std::unique_ptr<TrustRegionEngine> MakeTrustRegionEngine();

/// Gives back what the solver library keeps for each thread between calls; called at the end of each search.
void ReleaseSolverThreadBuffers();

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_TRUST_REGION_H_
