// How well a shape explains a set of points, without a bound on their distances given beforehand.
//
// Shapes are scored a contrario (Moisan and Stival 2004), by how unlikely their support is by chance: were
// points anywhere, a share a(t) of them would come within t of the shape; k of n points that do are the less
// likely the larger n KL(k / n || a(t)) is (Chernoff 1952), which is minus the logarithm of the number of
// false alarms. The largest of it over the bounds t is the score. So a score needs no bound, finds that of a
// clean shape as of a coarse one, and rises while a refinement makes the band of the inliers narrower.
//
// Where points are not trusted alike there are two such tests: of the points, each counted once, and of their
// trust, which is worth as many points as its effective number says (Kish 1965). A shape scores by the better
// one: one point of great trust does not hide what the others say, and few such points are heard.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_SCORE_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_SCORE_H_

#include <Eigen/Core>
#include <span>
#include <vector>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// The bound at which a shape's points stand out most from the others, and by how much.
struct Score {
  double value = 0;            ///< nats; 0 for no better than chance
  double tolerance = 0;        ///< the bound; points within are inliers
  double inliers = 0;          ///< number of them, or of points that their trust is worth
  double share = 0;            ///< what they are of all
  double backgroundRange = 0;  ///< how far points that lie anywhere may be from the shape
};

/// The bounds that a score may choose from, in sizes of the cloud.
struct ScoreBounds {
  double least = 0;
  double most = 0;
  /// How far points anywhere may be from a shape at the least: where all points are near one, there are no
  /// others that tell.
  double leastBackgroundRange = 0.5;
};

/// Scores one shape after another by the same points; it keeps its buffers between them.
class Scorer {
 public:
  /// @param points      outlive it; lengths are in units of the cloud's size
  /// @param parameters  of the shape: that many points lie on it whatever they are
  /// @param trust       of the points; none where all are alike
  Scorer(bool curve, std::span<const Eigen::Vector3d> points, const ScoreBounds& bounds, int parameters,
         std::span<const double> trust = {});

  Score operator()(const Model& model);
  /// Share of the points that a shape needs to score as much within a bound that is fine, where the score was
  /// reached within a coarse one: a coarse shape takes in points by chance, and a better one has fewer.
  double ShareNeededAtFineBound(const Score& score) const;
  /// Distances of the points from the model that was scored last.
  std::span<const double> Distances() const { return distances_; }
  std::span<const Eigen::Vector3d> Points() const { return points_; }

 private:
  /// The share of points anywhere that come within a bound.
  double Chance(double tolerance, double backgroundRange) const;
  /// The best bound for what lies between the bounds: numbers of points, or trust in units of points.
  template <class Count>
  Score Best(const std::vector<Count>& counts, double n) const;

  std::span<const Eigen::Vector3d> points_;
  bool curve_;
  ScoreBounds limits_;
  int parameters_;
  std::vector<double> distances_;
  std::vector<double> bounds_;
  std::vector<int> counts_;
  std::span<const double> trust_;
  double effectiveCount_ = 0;  ///< number of points that the trust is worth
  double pointsPerTrust_ = 0;  ///< points that a unit of trust is worth
  std::vector<double> trusted_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_SCORE_H_
