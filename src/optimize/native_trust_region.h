#ifndef PRIMFIT_SRC_OPTIMIZE_NATIVE_TRUST_REGION_H_
#define PRIMFIT_SRC_OPTIMIZE_NATIVE_TRUST_REGION_H_

#include "optimize/trust_region.h"

namespace primfit {

/// Gauss-Newton steps from normal equations, damped where a step does not lower the sum of squares (Levenberg
/// 1944, Marquardt 1963; More 1978 for the view as a trust region and the scaling of steps). It asks for
/// normal equations at trial points only, and it allocates nothing.
///
/// The first threshold that is met becomes the stop criterion of the run, as in the other engine. But the run
/// goes on, within its iterations, until steps are too short to matter, so that the result is the
/// least-squares optimum and not a point some thresholds short of it. Where every column of the Jacobian
/// vanishes it stops at once.
///
/// Lengths of steps are in the unit of the residuals: a parameter's share of a step times its sensitivity.
class NativeTrustRegion final : public TrustRegionEngine {
 public:
  int Start(int n, int m, double* x, const TrustRegionLimits& limits) override;
  int Step(TrustRegionAnswers& answers, int& request) override;
  int Result(int& iterations, int& criterion, double& initialNorm, double& finalNorm) override;
  int Jacobian(ResidualFunction function, int n, int m, double* fjac, double* x, double precision,
               void* model) override;

 private:
  int Begin(const TrustRegionAnswers& answers);
  void Accept(const TrustRegionAnswers& answers);
  void Reject();
  int Propose();
  bool SolveForStep();
  void SetTrial();
  bool NextStepIsNegligible() const;
  void NoteThresholds();
  int Stop(int request);

  int n_ = 0;
  double* x_ = nullptr;
  TrustRegionLimits limits_{};
  double best_[kMostParameters]{};      ///< the best parameters so far
  NormalEquations atBest_{};            ///< the normal equations there
  double step_[kMostParameters]{};      ///< the Gauss-Newton step from there
  double lastStep_[kMostParameters]{};  ///< the step that led there
  double
      lastMove_[kMostParameters]{};  ///< how far the parameters moved, which extrapolation may have stretched
  double predicted_ = 0;             ///< the sum of squares that the linear model predicts behind the step
  double length_ = 0;                ///< of the step: its largest share by one parameter
  double lastLength_ = 0;            ///< that of the last accepted step; infinite where there is none
  double damping_ = 0;               ///< lambda of Levenberg and Marquardt
  int iterations_ = 0;
  int rejections_ = 0;
  int criterion_ = 0;
  bool trialPending_ = false;
  double initialNorm_ = 0;
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_NATIVE_TRUST_REGION_H_
