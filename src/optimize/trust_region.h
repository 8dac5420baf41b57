// The interface of the trust-region solvers, behind which one of two engines works. The caller drives it by
// reverse communication, which leaves the evaluation of the model to the caller:
// Start, then Step until the request is a stop (-1 to -6), answering each request in between, then Result.
// Every call returns kTrustRegionSuccess or a failure status. Status and request numbers are those of
// oneMKL's dtrnlsp routines; kNeedNormalEquations is an addition.
#ifndef PRIMFIT_SRC_OPTIMIZE_TRUST_REGION_H_
#define PRIMFIT_SRC_OPTIMIZE_TRUST_REGION_H_

#include <limits>
#include <memory>

#include "optimize/normal_equations.h"

namespace primfit {

inline constexpr int kTrustRegionSuccess = 1501;
inline constexpr int kTrustRegionRefusal = 1502;

/// What a step asks for. The negative values are stop criteria; all of them leave the best parameters in x
/// and count as success.
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
  kNeedNormalEquations = 3,
};

/// Fills f[0 .. *m) with the residuals at x[0 .. *n); must not allocate.
using ResidualFunction = void (*)(int* m, int* n, double* x, double* f, void* model);

/// How a run is bounded.
struct TrustRegionLimits {
  const double* thresholds;  ///< six; see TRLeastSquares
  int iterations;            ///< accepted steps
  int trialIterations;       ///< trials for one step
  double initialStepBound;   ///< 0 leaves it to the engine
  /// A run that meets a threshold while the norm of the residuals is above this ends there: its result will
  /// not be used.
  double uselessNorm = std::numeric_limits<double>::infinity();
};

/// Where the caller puts the answers to the requests. Every number must be finite.
struct TrustRegionAnswers {
  double* residuals = nullptr;        ///< m residuals at x
  double* jacobian = nullptr;         ///< m x n Jacobian at x, column-major
  NormalEquations normalEquations{};  ///< at x; before the first step, at the start
};

/// One least-squares run: min |f(x)|^2 over n parameters and m >= n residuals.
class TrustRegionEngine {
 public:
  virtual ~TrustRegionEngine() = default;
  /// Creates the run. Refuses n < 1 and m < n. `x` and the limits must outlive the engine.
  virtual int Start(int n, int m, double* x, const TrustRegionLimits& limits) = 0;
  virtual int Step(TrustRegionAnswers& answers, int& request) = 0;
  virtual int Result(int& iterations, int& criterion, double& initialNorm, double& finalNorm) = 0;
  /// Central differences of the residual function; the step is precision * |x_j|, or precision for smaller
  /// |x_j|.
  virtual int Jacobian(ResidualFunction function, int n, int m, double* fjac, double* x, double precision,
                       void* model) = 0;
};

/// The solvers of this build.
enum class TrustRegionKind {
  kNative,   ///< works on normal equations; goes on to the least-squares optimum
  kLibrary,  ///< oneMKL's, where it was built in; works on residuals and Jacobian, stops by the thresholds
};
/// Whether oneMKL's was built in.
bool HaveLibraryTrustRegion();

/// What refinements on this thread use: the build's choice, or that of the innermost scope below.
TrustRegionKind ChosenTrustRegion();

/// Chooses the solver of this thread while it lives; for tests and benchmarks.
class ScopedTrustRegion {
 public:
  explicit ScopedTrustRegion(TrustRegionKind kind);
  ~ScopedTrustRegion();
  ScopedTrustRegion(const ScopedTrustRegion&) = delete;
  ScopedTrustRegion& operator=(const ScopedTrustRegion&) = delete;

 private:
  TrustRegionKind before_;
};

/// While it lives, refinements on this thread are of minimal samples of a search. A sample whose points lie
/// farther than the tolerance, root mean square, from its own shape holds an outlier. The native solver then
/// stops at the first threshold: the optimum would be as wrong. Most samples of a search are such, and they
/// take the most steps, so this saves the larger part of a search's refinements.
class ScopedSampleRefinement {
 public:
  ScopedSampleRefinement();
  ~ScopedSampleRefinement();
  ScopedSampleRefinement(const ScopedSampleRefinement&) = delete;
  ScopedSampleRefinement& operator=(const ScopedSampleRefinement&) = delete;
  static bool IsActive();

 private:
  bool before_;
};

/// oneMKL's solver; null where it was not built in.
std::unique_ptr<TrustRegionEngine> MakeLibraryTrustRegion();

/// Gives back what the solver library keeps for each thread between calls; called at the end of each search.
void ReleaseSolverThreadBuffers();

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_TRUST_REGION_H_
