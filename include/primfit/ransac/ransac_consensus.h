#ifndef PRIMFIT_RANSAC_RANSAC_CONSENSUS_H_
#define PRIMFIT_RANSAC_RANSAC_CONSENSUS_H_

#include <Eigen/Core>
#include <mutex>
#include <random>
#include <vector>

#include "primfit/export.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/ransac/ransac_out.h"

/// A search for a shape through a seed point, such as one that a user picked on a pipe: every sample holds
/// the seed, every candidate is judged by how the points spread about it in bands of the scanner error, and
/// the best is refined. Lengths are in the unit of the points; the class works on the points as they are
/// given.
class PRIMFIT_API RansacConsensus {
 public:
  /// Draws point indices; one for each Solve.
  struct Generator {
    std::minstd_rand engine;
    std::uniform_int_distribution<int> index;
    int Next() { return index(engine); }
  };

  RansacConsensus& operator=(const RansacConsensus&) = delete;
  virtual ~RansacConsensus();

  /// Runs the search.
  /// @param bands  receives ten shares of the result, as MakeHistogram; may be null
  /// @return a new shape that the caller owns, or null when none was found
  virtual OutputShape* Solve(double* const bands);
  /// Draws one sample, makes its candidate and judges it.
  /// @return a new record that the caller owns, or null; an exception inside counts as none
  virtual RansacOut* OneRansac(Generator* generator);
  /// @return a new shape through the k sample points, or null
  virtual OutputShape* MakeShape(int k, const Eigen::Vector3d* sample) = 0;
  /// Sorts all points into ten bands about the shape.
  /// @param close  receives the indices of the points in the first eight bands
  /// @param bands  receives the share of all points in each band; a point in no band counts nowhere
  /// @return whether enough points are close
  virtual bool MakeHistogram(const OutputShape* shape, std::vector<int>& close, double* const bands) = 0;
  /// @return the shape refined on the indexed points, new, or null
  virtual OutputShape* OptimizeShape(const OutputShape* shape, int count, const int* indices) = 0;

  /// @param shape  becomes the record's own, or is deleted when too few points are close
  /// @return a new record, or null
  RansacOut* CheckQuality(OutputShape* shape);
  /// Samples of which, with probability p, one has j good points drawn of a share w: ln(1 - p) / ln(1 - w^j)
  /// rounded up, at most 5000.
  static int NumberIterations(int j, double p, double w);
  /// Fills sample[0 .. k) with k - 1 distinct points in draw order, then the seed point.
  void SamplePoints(int k, Eigen::Vector3d* sample, Generator* generator);
  /// @param updater  asked whether to stop after each sample; null for none; not owned
  void SetUpdater(FitProgressUpdater* updater) { updater_ = updater; }

 protected:
  /// @param radiusHint          candidates of more than four times this radius are rejected
  /// @param points              n points; not owned, must outlive the search
  /// @param sampleSize          points in a sample, the seed among them
  /// @param successProbability  used within [0.5, 0.99]
  /// @param goodSampleRate      expected share of points on the shape, used as at most 1
  /// @param scannerError        unit of the bands and tolerance of the refinement
  /// @throws primfit::FitError "Good Sample Rate < 0.1", "Not enough points" (fewer than a sample)
  RansacConsensus(const Eigen::Vector3d& seed, double radiusHint, int n, const Eigen::Vector3d* points,
                  int sampleSize, double successProbability, double goodSampleRate, double scannerError,
                  double distanceTolerance);
  /// A copy searches the same points with the same settings.
  RansacConsensus(const RansacConsensus& other);

  int sampleSize() const { return sampleSize_; }
  void setSampleSize(int k) { sampleSize_ = k; }
  double successProbability() const { return successProbability_; }
  double goodSampleRate() const { return goodSampleRate_; }
  double scannerError() const { return scannerError_; }
  /// For subclasses; the search of cylinders refits with a tolerance of its own.
  double distanceTolerance() const { return distanceTolerance_; }
  int count() const { return n_; }
  const Eigen::Vector3d* points() const { return points_; }
  const Eigen::Vector3d& seed() const { return seed_; }
  double radiusHint() const { return radiusHint_; }

 private:
  /// A copy has a lock of its own.
  struct Lock : std::mutex {
    Lock() = default;
    Lock(const Lock& /*other*/) : std::mutex() {}
  };

  /// Held while a sample is drawn, so that subclasses may call OneRansac from several threads.
  Lock sampleLock_;
  FitProgressUpdater* updater_ = nullptr;
  int sampleSize_;
  double successProbability_;
  double goodSampleRate_;
  double scannerError_;
  double distanceTolerance_;
  int n_;
  const Eigen::Vector3d* points_;
  Eigen::Vector3d seed_;
  double radiusHint_;
};

#endif  // PRIMFIT_RANSAC_RANSAC_CONSENSUS_H_
