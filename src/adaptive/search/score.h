// How well a shape explains a set of points, without a bound given beforehand.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_SCORE_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_SCORE_H_

#include <Eigen/Core>
#include <span>
#include <vector>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// What a shape scores: the bound at which its points stand out most from the others, and by how much.
struct Score {
  double value = 0;      ///< nats; 0 for no better than chance
  double tolerance = 0;  ///< the bound; points within are inliers
  double inliers = 0;    ///< number of them, or of points that their trust is worth
  double share = 0;      ///< what they are of all
  double reach = 0;      ///< how far points that lie anywhere may be from it
};

/// The relative entropy KL(share || chance) in nats, 0 for a share that chance gives.
double Divergence(double share, double chance);

/// Judges shapes a contrario (Moisan and Stival 2004): were points anywhere, a share a(t) of them would come
/// within t of the shape; k of n points that do are the less likely by chance the larger n KL(k / n || a(t))
/// is (Chernoff 1952). The largest of it over t is the score. So it needs no bound, finds that of a clean
/// shape as of a coarse one, and rises while a refinement makes the band narrower.
///
/// Where points are not trusted alike there are two such tests: of the points, each counted once, and of
/// their trust, which is worth as many points as its effective number says (Kish 1965). A shape scores by the
/// better one: one point of great trust does not hide what the others say, and few such points are heard.
class Scorer {
 public:
  /// The points must outlive it. Lengths are in units of the cloud's size.
  /// @param least       smallest bound; for a known noise what its points need
  /// @param leastReach how far points anywhere may be from a shape at the least: where all points are near
  ///     one, for lack of others
  /// @param most        largest bound
  /// @param parameters  of the shape: that many points lie on it whatever they are
  /// @param trust       of the points; none where all are alike
  Scorer(bool curve, std::span<const Eigen::Vector3d> points, double least, double most, double leastReach,
         int parameters, std::span<const double> trust = {});

  Score operator()(const Model& model);
  /// Share of the points that a shape needs to score as much within a bound that is fine, where the score was
  /// reached within a coarse one: a coarse shape takes in points by chance, and a better one has fewer.
  double ShareOfAsGood(const Score& score) const;
  /// Distances of the points from the model that was judged last.
  std::span<const double> Distances() const { return distances_; }
  std::span<const Eigen::Vector3d> Points() const { return points_; }
  bool IsOfCurve() const { return curve_; }

 private:
  /// The share of points anywhere that come within a bound.
  double Chance(double tolerance, double reach) const;
  /// The best bound for what lies between the bounds: numbers of points, or trust in units of points.
  template <class Count>
  Score Best(const std::vector<Count>& counts, double n) const;

  std::span<const Eigen::Vector3d> points_;
  bool curve_;
  double least_, most_, leastReach_;
  int parameters_;
  std::vector<double> distances_;
  std::vector<double> bounds_;
  std::vector<int> counts_;
  std::span<const double> trust_;
  double effective_ = 0;  ///< number of points that the trust is worth
  double each_ = 0;       ///< points that a unit of trust is worth
  std::vector<double> trusted_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_SCORE_H_
