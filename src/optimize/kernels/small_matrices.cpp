#if PRIMFIT_SIMD
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "optimize/kernels/small_matrices.cpp"
#include <hwy/foreach_target.h>
#endif
// Each target's own text comes after what selects the targets.
#include "shapes/kernels/lanes.h"

#include <algorithm>
#include <cstddef>

#include "optimize/kernels/small_matrices.h"

HWY_BEFORE_NAMESPACE();
namespace primfit::HWY_NAMESPACE {

static_assert(kMostParameters == kLanes);

/// A row of a small matrix, or a column of a symmetric one.
struct Row {
  static constexpr int kPackets = kLanes / kPacketLanes;
  Packet packets[kPackets];

  static HWY_INLINE Row Of(const double* from) {
    Row row;
    for (int i = 0; i < kPackets; ++i)
      row.packets[i] = LoadUnaligned(from + std::ptrdiff_t{i} * kPacketLanes);
    return row;
  }
  static HWY_INLINE Row Filled(double value) {
    Row row;
    for (int i = 0; i < kPackets; ++i) row.packets[i] = PacketOf(value);
    return row;
  }
  HWY_INLINE void To(double* to) const {
    for (int i = 0; i < kPackets; ++i) StoreUnaligned(packets[i], to + std::ptrdiff_t{i} * kPacketLanes);
  }
  HWY_INLINE Row Times(const Row& b) const {
    Row row;
    for (int i = 0; i < kPackets; ++i) row.packets[i] = Mul(packets[i], b.packets[i]);
    return row;
  }
  HWY_INLINE Row Times(double b) const { return Times(Filled(b)); }
  HWY_INLINE Row Plus(const Row& b) const {
    Row row;
    for (int i = 0; i < kPackets; ++i) row.packets[i] = Add(packets[i], b.packets[i]);
    return row;
  }
  HWY_INLINE Row Minus(const Row& b) const {
    Row row;
    for (int i = 0; i < kPackets; ++i) row.packets[i] = Sub(packets[i], b.packets[i]);
    return row;
  }
};

void CongruenceProductOnTarget(const SmallMatrix& factors, int n, int m, const SmallMatrix& g,
                               SmallMatrix& product, double (&lastColumn)[kMostParameters]) {
  SmallMatrix transposed;
  for (int l = 0; l < m; ++l) {
    for (int i = 0; i < kMostParameters; ++i) transposed[l][i] = factors[i][l];
  }
  std::fill_n(lastColumn, kMostParameters, 0.0);
  for (int i = 0; i < n; ++i) {
    Row sum = Row::Filled(0);
    for (int l = 0; l < m; ++l) sum = sum.Plus(Row::Of(g[l]).Times(factors[i][l]));
    double half[kMostParameters];
    sum.To(half);
    lastColumn[i] = half[m];
    Row row = Row::Filled(0);
    for (int l = 0; l < m; ++l) row = row.Plus(Row::Of(transposed[l]).Times(half[l]));
    row.To(product[i]);
  }
}

/// The row not yet eliminated with the largest diagonal entry, the first of equals.
inline int LargestPivot(int n, const double* diagonal, const bool* done) {
  int p = -1;
  for (int i = 0; i < n; ++i) {
    if (!done[i] && (p < 0 || diagonal[i] > diagonal[p])) p = i;
  }
  return p;
}

void SolveOnTarget(int n, const SmallMatrix& a, const double (&b)[kMostParameters],
                   const double (&scale)[kMostParameters], double damping, double (&z)[kMostParameters]) {
  // The diagonal begins at 1; what elimination leaves of it below this is rounding.
  constexpr double kSingular = 1e-13;
  SmallMatrix
      remainder;  // of the matrix after each elimination; in rows that were pivots, the columns of L D
  double diagonal[kMostParameters] = {}, rightSide[kMostParameters];
  const Row scales = Row::Of(scale);
  for (int i = 0; i < n; ++i) {
    Row::Of(a[i]).Times(scales).Times(scale[i]).To(remainder[i]);
    remainder[i][i] += damping;
    diagonal[i] = remainder[i][i];
  }
  Row::Of(b).Times(scales).Times(-1).To(rightSide);

  int pivots[kMostParameters];
  double inverse[kMostParameters];
  bool done[kMostParameters] = {};
  int rank = 0;
  for (; rank < n; ++rank) {
    const int p = LargestPivot(n, diagonal, done);
    if (!(diagonal[p] > kSingular)) break;
    done[p] = true;
    pivots[rank] = p;
    inverse[rank] = 1 / diagonal[p];
    const Row column = Row::Of(remainder[p]), share = column.Times(inverse[rank]);
    double shares[kMostParameters];
    share.To(shares);
    const double pivotValue = rightSide[p];
    Row::Of(rightSide).Minus(share.Times(pivotValue)).To(rightSide);
    rightSide[p] = pivotValue;
    Row::Of(diagonal).Minus(share.Times(column)).To(diagonal);
    for (int i = 0; i < n; ++i) {
      if (!done[i]) Row::Of(remainder[i]).Minus(column.Times(shares[i])).To(remainder[i]);
    }
  }
  std::fill_n(z, kMostParameters, 0.0);
  for (int i = rank - 1; i >= 0; --i) {
    const int p = pivots[i];
    double sum = rightSide[p];
    for (int j = i + 1; j < rank; ++j) sum -= remainder[p][pivots[j]] * z[pivots[j]];
    z[p] = sum * inverse[i];
  }
}

}  // namespace primfit::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace primfit {

HWY_EXPORT(CongruenceProductOnTarget);
HWY_EXPORT(SolveOnTarget);

void CongruenceProduct(const SmallMatrix& factors, int n, int m, const SmallMatrix& g, SmallMatrix& product,
                       double (&lastColumn)[kMostParameters]) {
  HWY_DYNAMIC_DISPATCH(CongruenceProductOnTarget)(factors, n, m, g, product, lastColumn);
}

void SolveScaled(int n, const SmallMatrix& a, const double (&b)[kMostParameters],
                 const double (&scale)[kMostParameters], double damping, double (&z)[kMostParameters]) {
  HWY_DYNAMIC_DISPATCH(SolveOnTarget)(n, a, b, scale, damping, z);
}

}  // namespace primfit
#endif
