// The small matrices of a least-squares step. Searches refine thousands of samples of a dozen points, and
// then these cost as much as the points do.
#ifndef PRIMFIT_SRC_OPTIMIZE_KERNELS_SMALL_MATRICES_H_
#define PRIMFIT_SRC_OPTIMIZE_KERNELS_SMALL_MATRICES_H_

namespace primfit {

/// Most free parameters that a run can have, and the room of every row here.
inline constexpr int kMostParameters = 8;
using SmallMatrix = double[kMostParameters][kMostParameters];

/// product = (F G) F^T and, with its last column, F G e_m, for n rows of factors F over the first m rows and
/// columns of a symmetric G.
void Congruent(const SmallMatrix& factors, int n, int m, const SmallMatrix& g, SmallMatrix& product,
               double (&lastColumn)[kMostParameters]);

/// Solves (D A D + damping I) z = -D b for a symmetric A and D = diag(scale), by the L D L^T factorisation
/// with the largest pivot first (Golub and Van Loan 2013, section 4.2.8). The diagonal of D A D is 1 or
/// nearly. Unknowns whose pivots vanish to rounding, such as a move of a cylinder along its axis, stay zero.
void SolveScaled(int n, const SmallMatrix& a, const double (&b)[kMostParameters],
                 const double (&scale)[kMostParameters], double damping, double (&z)[kMostParameters]);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_KERNELS_SMALL_MATRICES_H_
