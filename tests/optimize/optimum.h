// An independent least-squares solver for the tests: MINPACK's Levenberg-Marquardt in Eigen's port, with
// central differences.
#ifndef PRIMFIT_TESTS_OPTIMIZE_OPTIMUM_H_
#define PRIMFIT_TESTS_OPTIMIZE_OPTIMUM_H_

#include <Eigen/Core>
#include <functional>
#include <unsupported/Eigen/NonLinearOptimization>
#include <unsupported/Eigen/NumericalDiff>

namespace primfit::testing {

/// Residuals of a problem as a function of its parameters.
struct Problem {
  using Scalar = double;
  using InputType = Eigen::VectorXd;
  using ValueType = Eigen::VectorXd;
  using JacobianType = Eigen::MatrixXd;
  enum { InputsAtCompileTime = Eigen::Dynamic, ValuesAtCompileTime = Eigen::Dynamic };

  int inputs() const { return parameters; }
  int values() const { return residuals; }
  int operator()(const Eigen::VectorXd& x, Eigen::VectorXd& f) const {
    for (int i = 0; i < residuals; ++i) f[i] = deviation(x, i);
    return 0;
  }

  int parameters;
  int residuals;
  std::function<double(const Eigen::VectorXd& x, int point)> deviation;
};

/// Parameters of least squares, started at zero.
inline Eigen::VectorXd Minimise(const Problem& problem) {
  Eigen::NumericalDiff<Problem, Eigen::Central> differentiable(problem);
  Eigen::LevenbergMarquardt<decltype(differentiable)> solver(differentiable);
  solver.parameters.xtol = 1e-13;
  solver.parameters.ftol = 1e-15;
  solver.parameters.maxfev = 4000;
  Eigen::VectorXd x = Eigen::VectorXd::Zero(problem.parameters);
  solver.minimize(x);
  return x;
}

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_OPTIMIZE_OPTIMUM_H_
