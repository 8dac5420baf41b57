// What the direct estimators share: the check of their points, and the mean.
#include "estimators/polynomial_fit.h"

#include "fit/messages.h"
#include "primfit/fit/fit_error.h"

namespace {

int CheckedCount(int count, const Eigen::Vector3d* points) {
  if (count < 3 || points == nullptr) throw primfit::FitError(primfit::messages::kNotEnoughPoints);
  return count;
}

/// Each term is divided before it is added, so that no sum of large coordinates is formed.
Eigen::Vector3d Mean(int count, const Eigen::Vector3d* points) {
  Eigen::Vector3d mean = Eigen::Vector3d::Zero();
  for (int i = 0; i < count; ++i) mean += points[i] / count;
  return mean;
}

}  // namespace

PolynomialFit::PolynomialFit(int count, const Eigen::Vector3d* points)
    : count_(CheckedCount(count, points)), points_(points), center_(Mean(count, points)) {}

PolynomialFit::PolynomialFit(const Eigen::Vector3d& center, int count, const Eigen::Vector3d* points)
    : count_(CheckedCount(count, points)), points_(points), center_(center) {}

PolynomialFit::~PolynomialFit() = default;

Eigen::Vector3d PolynomialFit::MeanOfPoints() const { return Mean(count_, points_); }
