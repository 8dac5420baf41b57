// The search around a seed point: draw samples that hold it, judge each candidate by how the points are
// spread about it, refine the best.
#include "primfit/ransac/ransac_consensus.h"

#include <algorithm>
#include <memory>

#include "fit/messages.h"
#include "primfit/fit/fit_error.h"
#include "ransac/random.h"

using Eigen::Vector3d;

RansacOut::RansacOut(std::unique_ptr<OutputShape> shape, const std::vector<int>& indices, double scannerError,
                     const double* bands)
    : shape_(std::move(shape)),
      count_(static_cast<int>(indices.size())),
      indices_(std::make_unique<int[]>(indices.size())),
      scannerError_(scannerError) {
  std::copy(indices.begin(), indices.end(), indices_.get());
  std::copy(bands, bands + kBands, bands_);
}

RansacOut::~RansacOut() = default;

int RansacOut::GetPoints(const int*& indices) const {
  indices = indices_.get();
  return count_;
}

bool RansacOut::operator<(const RansacOut& other) const {
  constexpr int kClearLead = 6;  // fewer points more or less are chance
  if (std::abs(count_ - other.count_) >= kClearLead) return count_ > other.count_;
  return NearShare() >= other.NearShare();
}

RansacConsensus::RansacConsensus(const Vector3d& seed, double radiusHint, int n, const Vector3d* points,
                                 int sampleSize, double successProbability, double goodSampleRate,
                                 double scannerError, double distanceTolerance)
    : sampleSize_(sampleSize),
      successProbability_(std::clamp(successProbability, 0.5, 0.99)),
      goodSampleRate_(std::min(goodSampleRate, 1.0)),
      scannerError_(scannerError),
      distanceTolerance_(distanceTolerance),
      n_(n),
      points_(points),
      seed_(seed),
      radiusHint_(radiusHint) {
  if (goodSampleRate_ < 0.1) throw primfit::FitError(primfit::messages::kGoodSampleRate);
  if (n_ < sampleSize_) throw primfit::FitError(primfit::messages::kNotEnoughPoints);
}

RansacConsensus::RansacConsensus(const RansacConsensus& other) = default;

RansacConsensus::~RansacConsensus() = default;

int RansacConsensus::NumberIterations(int j, double p, double w) {
  return primfit::SampleCount(p, w, j, 0.999);
}

void RansacConsensus::SamplePoints(int k, Vector3d* sample, Generator* generator) {
  const int m = std::min(k, n_);
  std::vector<int> indices(static_cast<std::size_t>(std::max(m - 1, 0)));
  {
    const std::lock_guard<std::mutex> guard(sampleLock_);
    primfit::DrawDistinct(n_, indices, [&] { return generator->Next(); });
  }
  std::transform(indices.begin(), indices.end(), sample, [&](int i) { return points_[i]; });
  sample[m - 1] = seed_;
}

RansacOut* RansacConsensus::CheckQuality(OutputShape* shape) {
  std::unique_ptr<OutputShape> owned(shape);
  std::vector<int> close;
  double bands[RansacOut::kBands];
  if (!MakeHistogram(shape, close, bands)) return nullptr;
  return new RansacOut(std::move(owned), close, scannerError_, bands);
}

RansacOut* RansacConsensus::OneRansac(Generator* generator) {
  try {
    std::vector<Vector3d> sample(static_cast<std::size_t>(sampleSize_));
    SamplePoints(sampleSize_, sample.data(), generator);
    OutputShape* candidate = MakeShape(sampleSize_, sample.data());
    return candidate != nullptr ? CheckQuality(candidate) : nullptr;
  } catch (...) {
    return nullptr;
  }
}

OutputShape* RansacConsensus::Solve(double* const bands) {
  Generator generator{std::minstd_rand(primfit::SearchSeed()), std::uniform_int_distribution<int>(0, n_ - 1)};
  // A consensus set of four fifths of the expected inliers ends the search: the rest are on its fringe.
  const int target = static_cast<int>(goodSampleRate_ * 0.8 * n_);
  std::unique_ptr<RansacOut> best;
  for (int remaining = NumberIterations(sampleSize_ - 1, successProbability_, goodSampleRate_);
       remaining >= 1; --remaining) {
    std::unique_ptr<RansacOut> candidate(OneRansac(&generator));
    if (candidate && (!best || *candidate < *best)) best = std::move(candidate);
    if (updater_ != nullptr && updater_->StopRequested()) break;
    if (best && best->GetCount() >= target) break;
  }
  if (!best) return nullptr;
  const int* indices = nullptr;
  const int count = best->GetPoints(indices);
  std::unique_ptr<OutputShape> result(OptimizeShape(best->GetShape(), count, indices));
  if (!result) return nullptr;
  std::vector<int> close;
  double scratch[RansacOut::kBands];
  MakeHistogram(result.get(), close, bands != nullptr ? bands : scratch);
  return result.release();
}
