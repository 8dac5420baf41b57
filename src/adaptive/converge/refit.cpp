#include "adaptive/converge/refit.h"
#include "adaptive/model/refine.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Steps of a refinement in a fading round, whose result only has to lie nearer than the shape before.
constexpr int kFewSteps = 20;
/// Short arcs take some dozens of steps, each of which is a fair share of the one before.
constexpr int kSteps = 200;
/// Points whose mean says where all of them are.
constexpr std::size_t kForMean = 4096;

/// The mean of some thousands of points from all over them.
Vector3d MeanOf(const PointRefs& points) {
  const auto n = static_cast<std::size_t>(points.count);
  const std::size_t step = n / kForMean + 1;
  Vector3d sum = Vector3d::Zero();
  double count = 0;
  for (std::size_t i = 0; i < n; i += step, ++count) sum += points.rows[i];
  return sum / count;
}

PointRefs RefsOfFirst(std::size_t count, const InlierCopies& copies, bool weighted) {
  return RefsOf({copies.points.data(), count}, weighted ? copies.sqrtWeights.data() : nullptr);
}

/// Copies the changed points that are inliers now, or those that are none any more, from `begin` on.
/// @return where the copies end
std::size_t CopyChanged(bool inliersNow, std::size_t begin, const InlierSelection& selection,
                        const ConvergeTask& task, InlierCopies& copies) {
  for (const std::size_t i : selection.Changed()) {
    if (selection.Has(i) != inliersNow) continue;
    if (!task.sqrtWeights.empty()) copies.sqrtWeights[begin] = task.sqrtWeights[i];
    copies.points[begin++] = task.points[i];
  }
  return begin;
}

}  // namespace

PointRefs CopyInliers(const InlierSelection& selection, const ConvergeTask& task, InlierCopies& copies) {
  Vector3d* point = copies.points.data();
  selection.ForEach([&](std::size_t i) { *point++ = task.points[i]; });
  if (!task.sqrtWeights.empty()) {
    double* sqrtWeight = copies.sqrtWeights.data();
    selection.ForEach([&](std::size_t i) { *sqrtWeight++ = task.sqrtWeights[i]; });
  }
  return RefsOfFirst(selection.Count(), copies, !task.sqrtWeights.empty());
}

PointRefs CopyFadingInliers(const InlierSelection& selection, const double* distances, double bound,
                            const ConvergeTask& task, InlierCopies& copies) {
  Vector3d* point = copies.points.data();
  double* sqrtWeight = copies.sqrtWeights.data();
  selection.ForEach([&](std::size_t i) {
    const double share = distances[i] / bound;
    *point++ = task.points[i];
    *sqrtWeight++ = (task.sqrtWeights.empty() ? 1 : task.sqrtWeights[i]) * (1 - share * share);
  });
  return RefsOfFirst(selection.Count(), copies, true);
}

// The centre of a line, a cylinder or a plane may lie anywhere in it. It is moved to the middle of the
// inliers first: far from there a tilt would move all points, and the normal equations would be
// ill-conditioned.
std::optional<Refit> RefitOnAll(const Refit& from, const PointRefs& inliers, bool fades,
                                const ConvergeTask& task, Budget& budget) {
  Model centered = from.model;
  CenterAt(MeanOf(inliers), task.held, centered);
  auto refined = Refine(centered, task.held, inliers, fades ? kFewSteps : kSteps, budget);
  Refit refit = from;
  refit.atEnd = refined ? task.Clamp(*refined) : 0;
  const unsigned held = task.held | refit.atEnd;
  if (refit.atEnd != 0) refined = Refine(*refined, held, inliers, kSteps, budget);
  if (!refined) return std::nullopt;
  refit.model = *refined;
  if (fades) return refit;
  refit.sums = SumsAt(*refined, held, inliers, budget);
  if (budget.IsOver()) return std::nullopt;
  refit.remaining = NextStep(refit.sums, FreeParametersOf(*refined, held).count);
  return refit;
}

// The sums of the inliers before are kept; those of the points that came in are added, those of the points
// that went out are taken away.
std::optional<Refit> RefitOnChanged(const Refit& from, const InlierSelection& selection,
                                    const ConvergeTask& task, InlierCopies& copies) {
  const std::size_t added = CopyChanged(true, 0, selection, task, copies);
  const std::size_t removed = CopyChanged(false, added, selection, task, copies) - added;
  const auto before = static_cast<int>(selection.Count() - added + removed);
  const double* sqrtWeights = task.sqrtWeights.empty() ? nullptr : copies.sqrtWeights.data();
  Refit refit = from;
  double remaining = 0;
  auto moved = UpdatedOptimum(
      from.model, task.held, before, RefsOf({copies.points.data(), added}, sqrtWeights),
      RefsOf({copies.points.data() + added, removed}, sqrtWeights != nullptr ? sqrtWeights + added : nullptr),
      refit.sums, &remaining);
  if (!moved || task.Clamp(*moved) != 0) return std::nullopt;
  refit.model = *moved;
  refit.remaining += remaining;  // what the shape before was off stays
  return refit;
}

}  // namespace primfit::adaptive
