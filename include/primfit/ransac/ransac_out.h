#ifndef PRIMFIT_RANSAC_RANSAC_OUT_H_
#define PRIMFIT_RANSAC_RANSAC_OUT_H_

#include <memory>
#include <vector>

#include "primfit/cxx20.h"
#include "primfit/export.h"
#include "primfit/shapes/output_shape.h"

/// A judged candidate of the consensus search: the shape, the points close to it, and the share of all points
/// in each of ten bands about it.
class PRIMFIT_API RansacOut {
 public:
  static constexpr int kBands = 10;

  /// @param indices  of the close points
  /// @param bands    ten shares
  RansacOut(std::unique_ptr<OutputShape> shape, const std::vector<int>& indices, double scannerError,
            const double* bands);
  RansacOut(const RansacOut&) = delete;
  RansacOut& operator=(const RansacOut&) = delete;
  ~RansacOut();

  const OutputShape* GetShape() const { return shape_.get(); }
  int GetCount() const { return count_; }
  /// @param indices  receives the record's own array of the close points' indices
  /// @return their number
  int GetPoints(const int*& indices) const;
  double ScannerError() const { return scannerError_; }

  /// Whether this record ranks before another: by the number of close points when they differ by 6 or more,
  /// else by the share of points within the scanner error. Deliberate: no strict order (records can rank
  /// before each other), so it must never be given to a sort.
  bool operator<(const RansacOut& other) const;

 private:
  double NearShare() const { return bands_[0] + bands_[1] + bands_[2] + bands_[3]; }

  std::unique_ptr<OutputShape> shape_;
  int count_;
  std::unique_ptr<int[]> indices_;
  double scannerError_;
  double bands_[kBands];
};

#endif  // PRIMFIT_RANSAC_RANSAC_OUT_H_
