// Random-sample consensus: draw, make a candidate, count its consensus set, keep the best, refit that one.
#include "ransac/ransac_fit.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <thread>

#include "fit/fit_memory.h"
#include "fit/messages.h"
#include "fit/search_passes.h"
#include "optimize/trust_region.h"
#include "primfit/fit/fit_error.h"
#include "ransac/random.h"
#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

namespace {

/// The inlier band of the score, in the unit of the points: two scanner errors of 0.006. It does not depend
/// on the distance tolerance, so that candidates of one cloud are ranked alike whatever a caller selects
/// afterwards.
constexpr double kScoreBand = 0.012;
/// So many candidates above the expected number of inliers end a search that may stop early.
constexpr int kEarlyStopCandidates = 10;

/// The number of worker passes of a search: one for each hardware thread, unless a SuppressFitterMT lives.
int WorkerCount() {
  if (primfit::SuppressionCount() > 0) return 1;
  return static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

}  // namespace

int primfit::NumberIterations(double p, double w, int k) { return SampleCount(p, w, k, 0.5); }

/// What the worker passes of one Solve share. They run one after another on the caller's thread; the locks
/// keep the class safe for subclasses that run them at the same time.
struct RansacFit::SearchState {
  SearchState(int iterations, int n, double threshold, std::uint32_t seed)
      : remaining(iterations),
        total(iterations),
        generator(seed),
        index(0, n - 1),
        earlyStopThreshold(threshold) {}

  std::mutex lock;
  int remaining;
  int total;
  std::minstd_rand generator;
  std::uniform_int_distribution<int> index;
  double bestScore = -1.0;
  double earlyStopThreshold;
  int goodCandidates = 0;
  std::unique_ptr<OutputShape> best;
};

RansacFit::RansacFit(int n, const Vector3d* points, int sampleSize, double successProbability,
                     double goodSampleRate, double scannerError, double distanceTolerance)
    : sampleSize_(sampleSize),
      successProbability_(std::clamp(successProbability, 0.5, 0.99)),
      goodSampleRate_(std::min(goodSampleRate, 1.0)),
      scannerError_(scannerError),
      n_(n),
      points_(points),
      distanceTolerance_(distanceTolerance) {
  if (goodSampleRate_ < 0.1) throw primfit::FitError(primfit::messages::kGoodSampleRate);
  if (distanceTolerance_ < 0.001) throw primfit::FitError(primfit::messages::kDistanceTolerance);
}

RansacFit::~RansacFit() = default;

void RansacFit::RequirePoints(int minimum) {
  if (n_ < minimum) throw primfit::FitError(primfit::messages::kNotEnoughPoints);
  sampleSize_ = std::min(sampleSize_, n_);
}

OutputShape* RansacFit::Solve() {
  if (sampleSize_ == n_ || (goodSampleRate_ > 0.999 && scannerError_ < 1e-6)) return SolveWithAllPoints();
  const int iterations = primfit::NumberIterations(successProbability_, goodSampleRate_, sampleSize_);
  SearchState state(iterations, n_, std::trunc(n_ * goodSampleRate_ + 1.0), primfit::SearchSeed());
  // The passes share the number of samples: the first one uses it up unless the host stops it. After a stop
  // each later pass tries one sample more and asks again.
  const int workers = WorkerCount();
  for (int i = 0; i < workers; ++i) SolveWorker(state);
  return state.best ? RefitBest(state) : nullptr;
}

OutputShape* RansacFit::SolveWithAllPoints() {
  OutputShape* shape = FitShape(n_, nullptr, points_);
  primfit::ReleaseSolverThreadBuffers();
  return shape;
}

void RansacFit::SolveWorker(SearchState& state) {
  std::vector<int> indices(static_cast<std::size_t>(sampleSize_));
  std::vector<Vector3d> sample(static_cast<std::size_t>(sampleSize_));
  while (true) {
    int remaining = 0;
    {
      const std::lock_guard guard(state.lock);
      remaining = state.remaining--;
      if (remaining < 1 || state.goodCandidates >= kEarlyStopCandidates) break;
    }
    DrawSample(state, indices);
    std::transform(indices.begin(), indices.end(), sample.begin(), [&](int i) { return points_[i]; });
    TryCandidate(state, indices, sample.data());
    if (updater_ != nullptr) {
      if (updater_->StopRequested()) break;
      updater_->ReportProgress(1 - static_cast<double>(remaining) / state.total);
    }
  }
  primfit::ReleaseSolverThreadBuffers();
}

/// Distinct indices, each uniform over all points, in the order drawn.
void RansacFit::DrawSample(SearchState& state, std::vector<int>& indices) {
  const std::lock_guard<std::mutex> guard(sampleLock_);
  primfit::DrawDistinct(n_, indices, [&] { return state.index(state.generator); });
}

/// Makes the candidate of one sample, scores it and keeps it if it is the best so far; of equal scores the
/// earlier candidate stays.
void RansacFit::TryCandidate(SearchState& state, const std::vector<int>& indices,
                             const Vector3d* samplePoints) {
  const int k = static_cast<int>(indices.size());
  std::unique_ptr<OutputShape> candidate;
  {
    const primfit::ScopedSampleRefinement sample;
    candidate.reset(FitShape(k, indices.data(), samplePoints));
  }
  if (!candidate) return;
  // A smaller score neither beats the best nor counts towards the early stop.
  scoreToBeat_ =
      static_cast<int>(earlyStop_ ? std::min(state.bestScore, state.earlyStopThreshold) : state.bestScore);
  double scratch = 0;
  const double score = ScoreShape(candidate.get(), k, indices.data(), samplePoints, &scratch);
  const std::lock_guard guard(state.lock);
  if (score > state.bestScore) {
    state.best = std::move(candidate);
    state.bestScore = score;
  }
  if (earlyStop_ && score > state.earlyStopThreshold) ++state.goodCandidates;
}

/// Refits the best candidate on the points within the distance tolerance; where that gives none it stays as
/// it is.
OutputShape* RansacFit::RefitBest(SearchState& state) {
  const primfit::Scratch<Vector3d> close(static_cast<std::size_t>(n_) + 1);
  state.best->SetDistSqrdThreshod(distanceTolerance_);
  const int count = primfit::SelectClose(*state.best, points_, n_, close.data());
  if (count == 0) throw primfit::FitError(PoorQuality());
  OutputShape* refit = optimizer_ != nullptr ? optimizer_->Optimize(count, close.data(), state.best.get())
                                             : FitShape(count, nullptr, close.data());
  primfit::ReleaseSolverThreadBuffers();
  return refit != nullptr ? refit : state.best.release();
}

OutputShape* RansacFit::FitShape(int k, const int* indices, const Vector3d* samplePoints) {
  try {
    if (optimizer_ != nullptr && optimizer_->HasStartShape())
      return optimizer_->Optimize(k, samplePoints, nullptr);
    return MakeShape(k, indices, samplePoints);
  } catch (...) {
    return nullptr;
  }
}

double RansacFit::ScoreShape(OutputShape* candidate, int, const int*, const Vector3d*, double*) {
  candidate->SetDistSqrdThreshod(kScoreBand);
  return primfit::CountClose(*candidate, points_, n_, scoreToBeat_);
}
