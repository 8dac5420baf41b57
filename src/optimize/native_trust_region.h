#ifndef PRIMFIT_SRC_OPTIMIZE_NATIVE_TRUST_REGION_H_
#define PRIMFIT_SRC_OPTIMIZE_NATIVE_TRUST_REGION_H_

#include "optimize/trust_region.h"

namespace primfit {

/// Gauss-Newton on normal equations, damped where a step does not lower the residual (Levenberg 1944,
/// Marquardt 1963; More 1977 for the view as a trust region). It asks for sums at trial points only and
/// allocates nothing.
///
/// The first threshold that is met becomes the criterion of the run, as in the other engine; the run goes on,
/// within its iterations, until steps are too short to matter, so that the result is the optimum. Where every
/// column vanishes it stops at once.
class NativeTrustRegion final : public TrustRegionEngine {
 public:
  int Start(int n, int m, double* x, const TrustRegionLimits& limits) override;
  int Step(TrustRegionAnswers& answers, int& request) override;
  int Result(int& iterations, int& criterion, double& initialNorm, double& finalNorm) override;
  int Jacobian(ResidualFunction function, int n, int m, double* fjac, double* x, double precision,
               void* model) override;

 private:
  int Propose();
  void SetTrial();
  bool NextStepIsNegligible() const;
  void NoteThresholds();
  int Stop(int request);

  int n_ = 0;
  double* x_ = nullptr;
  TrustRegionLimits limits_{};
  NormalEquations at_{};  ///< at base_, the best parameters so far
  double base_[kMostParameters]{};
  double step_[kMostParameters]{};  ///< from base_
  double stepBefore_[kMostParameters]{};
  double moved_[kMostParameters]{};  ///< from the base before to this one
  double predicted_ = 0;             ///< the sum of squares that the linear model promises there
  double length_ = 0;                ///< largest movement of the residuals by one parameter of the step
  double lengthBefore_ = 0;          ///< that of the accepted step before; infinite at first
  double damping_ = 0;
  int iterations_ = 0;
  int rejections_ = 0;
  int criterion_ = 0;
  bool trialPending_ = false;
  double initialNorm_ = 0;
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_NATIVE_TRUST_REGION_H_
