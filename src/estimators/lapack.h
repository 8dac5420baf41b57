// The LAPACK and BLAS routines behind the matrix classes, by their Fortran names, so that any provider with
// 32-bit integers (LP64) serves. Only the matrix classes include this.
//
// The trailing lengths are the hidden arguments that Fortran compilers add for each character argument. GNU
// Fortran counts on them; a provider written in C ignores what it does not read.
#ifndef PRIMFIT_SRC_ESTIMATORS_LAPACK_H_
#define PRIMFIT_SRC_ESTIMATORS_LAPACK_H_

#include <cstddef>

namespace primfit::lapack {

extern "C" {

/// Cholesky solve of a symmetric positive definite system.
void dposv_(const char* uplo, const int* n, const int* nrhs, double* a, const int* lda, double* b,
            const int* ldb, int* info, std::size_t uploLength);

/// LU solve with partial pivoting.
void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b, const int* ldb,
            int* info);

/// Eigenvalues and eigenvectors of a symmetric matrix in packed storage.
void dspev_(const char* jobz, const char* uplo, const int* n, double* ap, double* w, double* z,
            const int* ldz, double* work, int* info, std::size_t jobzLength, std::size_t uploLength);

/// Cholesky factor, and the solve with it.
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t uploLength);
void dpotrs_(const char* uplo, const int* n, const int* nrhs, const double* a, const int* lda, double* b,
             const int* ldb, int* info, std::size_t uploLength);

/// The same for a band matrix, and both in one.
void dpbtrf_(const char* uplo, const int* n, const int* kd, double* ab, const int* ldab, int* info,
             std::size_t uploLength);
void dpbtrs_(const char* uplo, const int* n, const int* kd, const int* nrhs, const double* ab,
             const int* ldab, double* b, const int* ldb, int* info, std::size_t uploLength);
void dpbsv_(const char* uplo, const int* n, const int* kd, const int* nrhs, double* ab, const int* ldab,
            double* b, const int* ldb, int* info, std::size_t uploLength);

/// LU solve of a band matrix.
void dgbsv_(const int* n, const int* kl, const int* ku, const int* nrhs, double* ab, const int* ldab,
            int* ipiv, double* b, const int* ldb, int* info);

/// Least squares, or the solution of least norm, by QR or LQ; full rank is assumed.
void dgels_(const char* trans, const int* m, const int* n, const int* nrhs, double* a, const int* lda,
            double* b, const int* ldb, double* work, const int* lwork, int* info, std::size_t transLength);

/// c = alpha op(a) op(b) + beta c.
void dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc, std::size_t transaLength,
            std::size_t transbLength);

}  // extern "C"

}  // namespace primfit::lapack

#endif  // PRIMFIT_SRC_ESTIMATORS_LAPACK_H_
