// Scenes at which a fit is likely to fail, or to call a wrong shape good: two surfaces close to each other,
// shapes that are nearly another kind, kinds that are not there at all, uneven density, few points. Each case
// knows every right answer, so that a program or a test can judge any fit of it.
#ifndef PRIMFIT_BENCH_HARD_CASES_H_
#define PRIMFIT_BENCH_HARD_CASES_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "primfit/fit.h"
#include "primitives/model.h"
#include "primitives/primitives.h"
#include "primitives/records.h"
#include "scenes.h"

namespace primfit::bench {

double RootMeanSquareDistance(const Model& model, const Points& points);

/// A surface or curve that is a right answer, in the coordinates of the scene's points.
struct TrueSurface {
  Model model;
  Points exact;     ///< on the model, one for each measured point
  Points measured;  ///< those of the scene's points that lie on it, noise included

  /// Root mean square distance of the measured points: what a caller who knows the noise would tell. Noise
  /// along a ray, rounding and an uneven surface are all in it.
  double Sigma() const;
};

struct HardScene {
  Points points;
  std::vector<TrueSurface> accepted;  ///< the right answers; none where the kind is not there
  double noise = 0;                   ///< of what there is, where there is no right answer
};

/// What a user can tell a fit, as bits of a set.
enum Hint : unsigned {
  kNoHint = 0,
  kTellsNoise = 1,
  kTellsTolerance = 2,
  kTellsSizes = 4,  ///< a range of each radius or of the half-angle
  kTellsAxis = 8,
  kTellsPlace = 16
};
inline constexpr Hint kHints[] = {kTellsNoise, kTellsTolerance, kTellsSizes, kTellsAxis, kTellsPlace};
const char* NameOf(Hint hint);

/// What a fit of any kind gave.
struct Answer {
  Model model;
  FitReport report;
  FitCovariance covariance;
  std::vector<std::uint32_t> inliers;
};

/// What is special about a case.
struct CaseTraits {
  /// A right shape has to be called good here: usual scenes, and small faults that real scans always have.
  bool keepsGood = false;
  /// Not hard at all. Such cases do not count in the sums over the hard ones.
  bool usual = false;
  /// 100 000 points and more.
  bool large = false;
  unsigned told = kNoHint;  ///< hints that every fit of the case is given
  /// Share within which each size has to be right. Zero: 5 %, or five standard deviations of the
  /// least-squares fit of the true points where that is more.
  double sizesWithin = 0;
  /// The truth is itself a fit of real points: one standard deviation beside it is right, and neither error
  /// nor coverage can be judged.
  bool isTruthMeasured = false;
};

struct HardCase {
  std::string name;
  ShapeKind kind;
  Answer (*fit)(const Points&, const FitOptionsBase&);  ///< @throws FitError
  std::function<HardScene(Random&)> scene;
  CaseTraits traits;

  HardScene SceneOf(std::uint64_t seed) const {
    Random random(seed);
    return scene(random);
  }
};

template <class Shape>
Answer FitAs(const Points& points, const FitOptionsBase& base) {
  FitOptions<Shape> options;
  static_cast<FitOptionsBase&>(options) = base;
  const auto result = primfit::fit<Shape>(points, options);
  return {ModelFrom<Description<Shape>>(result.shape), result.report, result.covariance, result.inliers};
}

template <class Shape>
HardCase CaseOf(std::string name, std::function<HardScene(Random&)> scene, CaseTraits traits = {}) {
  return {std::move(name), Description<Shape>::kKind, FitAs<Shape>, std::move(scene), traits};
}

using HardCaseList = std::vector<HardCase>;
HardCaseList WallCases();
HardCaseList PipeCases();
HardCaseList BendCases();
HardCaseList AbsentCases();
HardCaseList PartCases();
HardCaseList ScanCases();
HardCaseList PlantCases();
HardCaseList SmallAndUsualCases();
/// Of the sample data of the examples.
HardCaseList RealCases();

/// All of them.
HardCaseList HardCases();

}  // namespace primfit::bench

#endif  // PRIMFIT_BENCH_HARD_CASES_H_
