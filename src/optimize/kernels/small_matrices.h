// The small matrices of a Gauss-Newton step: the product that turns a Gram matrix into normal equations, and
// their solution. A search refines thousands of samples of a dozen points each. For these the matrices cost
// as much as the points do, so they are computed row by row in vectors.
#ifndef PRIMFIT_SRC_OPTIMIZE_KERNELS_SMALL_MATRICES_H_
#define PRIMFIT_SRC_OPTIMIZE_KERNELS_SMALL_MATRICES_H_

namespace primfit {

/// Most free parameters that a run can have, and the room of every row here.
inline constexpr int kMostParameters = 8;
using SmallMatrix = double[kMostParameters][kMostParameters];

/// product = F G F^T, a congruence transformation, for a symmetric G of which the first m rows and columns
/// take part, and lastColumn = F g with g the column m of G. F is n x m.
void CongruenceProduct(const SmallMatrix& factors, int n, int m, const SmallMatrix& g, SmallMatrix& product,
                       double (&lastColumn)[kMostParameters]);

/// Solves (D A D + damping I) z = -D b for a symmetric A and D = diag(scale), by the L D L^T factorisation
/// with the largest pivot first (Golub and Van Loan 2013, section 4.2.8). The diagonal of D A D is about 1.
/// Unknowns whose pivots vanish to rounding stay zero: the points do not determine them, such as the place of
/// a cylinder's origin along its axis.
void SolveScaled(int n, const SmallMatrix& a, const double (&b)[kMostParameters],
                 const double (&scale)[kMostParameters], double damping, double (&z)[kMostParameters]);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_KERNELS_SMALL_MATRICES_H_
