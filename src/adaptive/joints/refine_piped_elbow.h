// The least-squares elbow with its pipes: all nine parameters at once.
//
// The small matrices of the other refinements have room for eight parameters, so this one has its own sums
// and steps.
#ifndef PRIMFIT_SRC_ADAPTIVE_JOINTS_REFINE_PIPED_ELBOW_H_
#define PRIMFIT_SRC_ADAPTIVE_JOINTS_REFINE_PIPED_ELBOW_H_

#include <Eigen/Core>
#include <optional>
#include <span>

#include "adaptive/joints/piped_elbow.h"
#include "adaptive/model/budget.h"

namespace primfit::adaptive {

/// J^T W J, J^T W f and f^T W f of the distances f of points.
struct ElbowSums {
  ElbowMatrix matrix = ElbowMatrix::Zero();
  ElbowVector gradient = ElbowVector::Zero();
  double squares = 0;
};

/// Which parameters are free.
/// @param held  parts of the torus
using FreeElbowParameters = std::array<bool, kElbowParameters>;
FreeElbowParameters FreeParametersOf(const PipedElbow& elbow, unsigned held);

/// @param weights  of the points; none where all are alike
ElbowSums SumsOf(const PipedElbow& elbow, std::span<const Eigen::Vector3d> points,
                 std::span<const double> weights, Budget& budget);

struct RefinedElbow {
  PipedElbow elbow;
  ElbowSums sums;
  double remaining = 0;  ///< by how far the next step would move the distances, root mean square
};

/// Levenberg-Marquardt. The pipes reach as far as points do meanwhile.
/// @return none where the points determine no such elbow or the budget ended
std::optional<RefinedElbow> Refine(const PipedElbow& start, unsigned held,
                                   std::span<const Eigen::Vector3d> points, std::span<const double> weights,
                                   int iterations, Budget& budget);

/// (D A D + damping)^-1 on the free parameters, with D = diag(A)^-1/2, as D (...) D; zero for the others.
ElbowMatrix InverseOf(const ElbowMatrix& matrix, const FreeElbowParameters& free, double damping = 0);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_JOINTS_REFINE_PIPED_ELBOW_H_
