#ifndef PRIMFIT_SRC_RANSAC_RANSAC_FIT_H_
#define PRIMFIT_SRC_RANSAC_RANSAC_FIT_H_

#include <Eigen/Core>
#include <mutex>
#include <random>
#include <vector>

#include "fit/messages.h"
#include "optimize/tr_optimizer.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/shapes/output_shape.h"

namespace primfit {

/// Number of samples of k points so that with probability p at least one holds no outlier when a share w of
/// the points is good: ln(1 - p) / ln(1 - w^k), rounded, at most 5000 (Fischler and Bolles 1981). At w = 1 it
/// is 0.
int NumberIterations(double p, double w, int k);

}  // namespace primfit

/// Random-sample consensus search (Fischler and Bolles 1981): makes a candidate shape from each of many small
/// random samples, keeps the one with the largest consensus set (the points within a fixed inlier band), and
/// refits that one on the points within the distance tolerance.
class RansacFit {
 public:
  virtual ~RansacFit();

  /// Makes a candidate from the k points of a sample.
  /// @return a new shape, or null when the sample gives none
  virtual OutputShape* MakeShape(int k, const int* indices, const Eigen::Vector3d* samplePoints) = 0;
  /// MakeShape, or, with an optimizer that has a start shape of its own, that shape refined on the sample.
  /// Whatever is thrown inside counts as no candidate: some samples are degenerate, and the search goes on
  /// with the next.
  virtual OutputShape* FitShape(int k, const int* indices, const Eigen::Vector3d* samplePoints);
  /// The size of the candidate's consensus set: the number of all points within 0.012 of it. The other
  /// arguments are part of the interface, for subclasses that rank candidates otherwise.
  virtual double ScoreShape(OutputShape* candidate, int k, const int* indices,
                            const Eigen::Vector3d* samplePoints, double* scratch);
  /// Runs the search. When samples hold all points, or no outlier and no scanner error is expected, the shape
  /// is made from all points at once.
  /// @return a new shape that the caller owns, or null when no sample gave a candidate
  /// @throws primfit::FitError "... produced a poor fit quality" when no point is within the tolerance of the
  /// best
  virtual OutputShape* Solve();

  /// @param updater  null for none; not owned
  void SetUpdater(FitProgressUpdater* updater) { updater_ = updater; }
  /// Refines every candidate on its sample and the best one on its close points. Null for none; not owned.
  void SetOptimizer(const TROptimizer* optimizer) { optimizer_ = optimizer; }
  /// Ends the search at the tenth candidate whose consensus set is larger than n w + 1, the number of inliers
  /// that the expected share w lets expect.
  void SetEarlyStop(bool earlyStop) { earlyStop_ = earlyStop; }

 protected:
  /// @param points              n points; not owned, must outlive the search
  /// @param successProbability  p, used within [0.5, 0.99]
  /// @param goodSampleRate      w, expected share of good points, used as at most 1
  /// @param scannerError        only decides whether all points are fitted at once
  /// @param distanceTolerance   band of the final selection
  /// @throws primfit::FitError "Good Sample Rate < 0.1", "Distance Tolerance < 0.001"
  RansacFit(int n, const Eigen::Vector3d* points, int sampleSize, double successProbability,
            double goodSampleRate, double scannerError, double distanceTolerance);
  /// A copy searches the same points with the same settings.
  RansacFit(const RansacFit& other) = default;
  RansacFit& operator=(const RansacFit&) = delete;

  /// @throws primfit::FitError "Not enough points" when there are fewer than the shape needs
  void RequirePoints(int minimum);
  const TROptimizer* Optimizer() const { return optimizer_; }

 private:
  struct SearchState;

  virtual primfit::Failure PoorQuality() const = 0;
  OutputShape* SolveWithAllPoints();
  void SolveWorker(SearchState& state);
  void DrawSample(SearchState& state, std::vector<int>& indices);
  void TryCandidate(SearchState& state, const std::vector<int>& indices, const Eigen::Vector3d* samplePoints);
  OutputShape* RefitBest(SearchState& state);

  /// A copy has a lock of its own.
  struct Lock : std::mutex {
    Lock() = default;
    Lock(const Lock& /*other*/) : std::mutex() {}
  };

  Lock sampleLock_;  ///< held while a sample is drawn: workers of a search may run at the same time
  FitProgressUpdater* updater_ = nullptr;
  const TROptimizer* optimizer_ = nullptr;
  int sampleSize_;
  double successProbability_;
  double goodSampleRate_;
  double scannerError_;
  int n_;
  bool earlyStop_ = false;
  int scoreToBeat_ = -1;  ///< counting stops where the candidate cannot exceed this, see CountClose
  const Eigen::Vector3d* points_;
  double distanceTolerance_;
};

#endif  // PRIMFIT_SRC_RANSAC_RANSAC_FIT_H_
