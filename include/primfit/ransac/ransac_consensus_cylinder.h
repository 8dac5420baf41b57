#ifndef PRIMFIT_RANSAC_RANSAC_CONSENSUS_CYLINDER_H_
#define PRIMFIT_RANSAC_RANSAC_CONSENSUS_CYLINDER_H_

#include "primfit/ransac/ransac_consensus.h"

/// The consensus search for a cylinder. Bands are radial: half-widths of 1/4 to 2 scanner errors in eight
/// steps, then 4 and 10.
class PRIMFIT_API RansacConsensusCylinder : public RansacConsensus {
 public:
  /// See RansacConsensus. Below 200 points a sample larger than 10 shrinks towards 10, one of 9 becomes 10.
  /// @throws primfit::FitError also "Not enough points" for fewer than 10
  RansacConsensusCylinder(const Eigen::Vector3d& seed, double radiusHint, int n,
                          const Eigen::Vector3d* points, int sampleSize, double successProbability,
                          double goodSampleRate, double scannerError, double distanceTolerance);
  RansacConsensusCylinder(const RansacConsensusCylinder&) = default;
  ~RansacConsensusCylinder() override;

  OutputShape* MakeShape(int k, const Eigen::Vector3d* sample) override;
  bool MakeHistogram(const OutputShape* shape, std::vector<int>& close, double* const bands) override;
  OutputShape* OptimizeShape(const OutputShape* shape, int count, const int* indices) override;
};

#endif  // PRIMFIT_RANSAC_RANSAC_CONSENSUS_CYLINDER_H_
