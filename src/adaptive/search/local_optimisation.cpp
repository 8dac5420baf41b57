#include "adaptive/search/local_optimisation.h"
#include "adaptive/model/refine.h"

#include <cstddef>
#include <optional>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// The band of a coarse candidate becomes narrower in each round; few candidates need more.
constexpr int kRounds = 12;
/// Steps of a refinement between two scores: the inliers change anyway.
constexpr int kSteps = 4;
/// A smaller gain than this share of the score ends the optimisation.
constexpr double kLeastGain = 1e-3;

/// Moves what may lie anywhere in a shape to where its points are: the centre, and the side of a cone that is
/// meant.
void FaceInliers(const Vector3d& mean, unsigned held, Model& m) {
  CenterAt(mean, held, m);
  if (m.kind == ShapeKind::kCone && (held & kAxis) == 0 && (mean - m.center).dot(m.axis) < 0)
    m.axis = -m.axis;
}

/// Refinement within the plausible ranges: a part that leaves its range is held at its end.
std::optional<Model> RefineWithin(const Plausible* plausible, const Model& start, unsigned held,
                                  const Inliers& inliers, Budget& budget) {
  auto refined = Refine(start, held, RefsOf(inliers.points), kSteps, budget);
  if (!refined || plausible == nullptr) return refined;
  const unsigned atEnd = plausible->Clamp(*refined);
  return atEnd == 0 ? refined : Refine(*refined, held | atEnd, RefsOf(inliers.points), kSteps, budget);
}

}  // namespace

void CopyInliers(const Scorer& scorer, double tolerance, Inliers& inliers) {
  inliers.points.clear();
  inliers.mean.setZero();
  for (std::size_t i = 0; i < scorer.Points().size(); ++i) {
    if (!(scorer.Distances()[i] <= tolerance)) continue;
    inliers.points.push_back(scorer.Points()[i]);
    inliers.mean += scorer.Points()[i];
  }
  inliers.mean /= static_cast<double>(inliers.points.size());
}

// The inliers that a round refines on are those of the best model so far, within the tolerance that its score
// has chosen.
Optimised OptimiseLocally(const Model& candidate, const Score& score, unsigned held,
                          const Plausible* plausible, Scorer& scorer, Inliers& inliers, Budget& budget) {
  Optimised best{candidate, score};
  for (int round = 0; round < kRounds; ++round) {
    FaceInliers(inliers.mean, held, best.model);
    ++best.refinements;
    const auto refined = RefineWithin(plausible, best.model, held, inliers, budget);
    if (!refined) break;
    const Score refinedScore = scorer(*refined);
    const bool gains = refinedScore.value > best.score.value * (1 + kLeastGain);
    if (refinedScore.value > best.score.value) best.model = *refined, best.score = refinedScore;
    if (!gains) break;
    CopyInliers(scorer, best.score.tolerance, inliers);
  }
  return best;
}

}  // namespace primfit::adaptive
