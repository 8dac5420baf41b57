#ifndef PRIMFIT_SRC_OPTIMIZE_TR_LEAST_SQUARES_H_
#define PRIMFIT_SRC_OPTIMIZE_TR_LEAST_SQUARES_H_

#include <memory>

#include "optimize/native_trust_region.h"

/// Base of the residual models: minimises a sum of squared residuals over the free parameters of a model by a
/// trust-region method (More 1978; Conn, Gould and Toint 2000). A model is made for one refinement:
/// constructed, parts held, Initialize, Solve, read back.
///
/// A model sets a residual function. It may also offer normal equations, which spare an engine that works on
/// them the residuals and the Jacobian of every point.
class TRLeastSquares {
 public:
  /// @param parameters  full parameter count, before any hold
  /// @param residuals   one a point
  /// @param tolerance   scale of the refinement, in the unit of the points
  /// @param offersNormalEquations whether the model overrides NormalEquationsAt, so that residuals and
  ///     Jacobian are stored only for an engine that wants them
  /// @throws primfit::FitError "Cannot allocate memmory" (the spelling is part of the interface)
  TRLeastSquares(int parameters, int residuals, double tolerance, int iterations, int trialIterations,
                 bool offersNormalEquations = false);
  /// The copy has the same problem, fresh buffers without contents, and no solver.
  TRLeastSquares(const TRLeastSquares& other);
  TRLeastSquares& operator=(const TRLeastSquares&) = delete;
  virtual ~TRLeastSquares();

  /// Loads the start of the free parameters and creates the solver. False when the solver refuses (fewer
  /// residuals than parameters, none free), or when the root mean square distance at the start is 100 x
  /// tolerance or more: from so far a refinement would lead anywhere.
  bool Initialize(const double* x0);
  /// Runs to a stop criterion. False when the solver fails or meets a number that is not finite.
  bool Solve();

 protected:
  /// Takes the parameters of a held part out of the problem.
  void RemoveParameters(int count) { problem_.parameterCount -= count; }
  void SetResidualFunction(primfit::ResidualFunction function) { problem_.residualFunction = function; }
  int ParameterCount() const { return problem_.parameterCount; }
  int ResidualCount() const { return problem_.residualCount; }
  double ResidualScale() const { return problem_.residualScale; }
  /// The current values of the free parameters.
  const double* X() const { return x_; }
  /// The normal equations at x.
  /// @return false when the model has none at x; they are then made of residuals and Jacobian
  virtual bool NormalEquationsAt(const double* x, primfit::NormalEquations& equations) const;

 private:
  void Allocate();
  void EvaluateResiduals();
  bool EvaluateJacobian();
  bool EvaluateNormalEquations();
  double SumOfSquaresAtStart();
  bool AnswerRequest(int request);
  primfit::TrustRegionEngine& Solver();

  /// What the constructor and the holds ask for; a copy shares all of it.
  struct Problem {
    primfit::TrustRegionKind kind = primfit::ChosenTrustRegion();
    bool offersNormalEquations = false;
    int fullCount = 0;  ///< of parameters, before any hold
    int parameterCount = 0;
    int residualCount = 0;
    double tolerance = 0;
    int iterationLimit = 0;
    int trialIterationLimit = 0;
    double thresholds[6] = {};   ///< see the constructor
    double residualScale = 0;    ///< residuals are distances divided by this, the root of their number
    double stepBoundFactor = 0;  ///< of the first step; 0 leaves it to the solver
    primfit::ResidualFunction residualFunction = nullptr;
  };

  Problem problem_;
  primfit::NativeTrustRegion native_;
  std::unique_ptr<primfit::TrustRegionEngine> library_;
  bool started_ = false;
  double x_[primfit::kMostParameters]{};
  primfit::TrustRegionAnswers answers_;
  std::unique_ptr<double[]> fvec_;
  std::unique_ptr<double[]> fjac_;
  // How the run went, for inspection. The library does not read these; they belong to the documented fields
  // of this class.
  double initialNorm_ = 0;
  double finalNorm_ = 0;
  int stopCriterion_ = 0;
  int iterationsDone_ = 0;
};

#endif  // PRIMFIT_SRC_OPTIMIZE_TR_LEAST_SQUARES_H_
