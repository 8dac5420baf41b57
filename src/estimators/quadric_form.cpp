// The quadric that cylinder and cone are read from. Dividing an equation by the squared distance from the
// expansion point brings its residual near a distance: otherwise far points would weigh with the fourth power
// of theirs.
#include "estimators/quadric_form.h"

#include <algorithm>

#include "estimators/row_least_squares.h"

QuadricForm::~QuadricForm() = default;

std::array<double, 10> QuadricForm::Monomials(const Eigen::Vector3d& d) {
  return {d.x() * d.x(), d.y() * d.y(), d.z() * d.z(), d.x() * d.y(), d.x() * d.z(),
          d.y() * d.z(), d.x(),         d.y(),         d.z(),         1};
}

bool QuadricForm::Fit() {
  primfit::RowLeastSquares<9> equations;
  for (int i = 0; i < count_; ++i) {
    const Eigen::Vector3d d = points_[i] - center_;
    const std::array<double, 10> m = Monomials(d);
    const double w =
        d.squaredNorm() + 1e-5;  // the constant keeps a point at the centre from dividing by zero
    primfit::RowLeastSquares<9>::Row row;
    std::transform(m.begin(), m.end() - 1, row.begin(), [w](double monomial) { return monomial / w; });
    equations.Add(row, -1 / w);
  }
  primfit::RowLeastSquares<9>::Row c;
  if (!equations.Solve(c)) return false;
  std::copy(c.begin(), c.end(), coefficients_.begin());
  coefficients_[9] = 1;
  return true;
}

SymmetricEigen3 QuadricForm::Hessian() const {
  const auto& c = coefficients_;
  return {2 * c[0], c[3], c[4], 2 * c[1], c[5], 2 * c[2]};
}
