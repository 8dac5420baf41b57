// Whether one fit of a hard case is right, how far it is from the best that its points allow, and whether it
// knows how exact it is.
#ifndef PRIMFIT_BENCH_HARD_CASES_JUDGEMENT_H_
#define PRIMFIT_BENCH_HARD_CASES_JUDGEMENT_H_

#include <optional>
#include <vector>

#include "hard_cases.h"

namespace primfit::bench {

/// What least squares makes of the true points of one right answer, when they are known.
struct Limit {
  Model model;                            ///< the least-squares fit
  double error = 0;                       ///< its root mean square deviation from the surface
  double largestError = 0;                ///< with which a fit still counts as right
  double majorError = 0, minorError = 0;  ///< the same for its sizes
};

Limit LimitOf(const TrueSurface& surface, const CaseTraits& traits);

struct PreparedScene {
  HardScene scene;
  std::vector<Limit> limits;  ///< of each accepted surface
};

PreparedScene Prepare(const HardCase& hardCase, std::uint64_t seed);

/// Root mean square distance of the surface's exact points from a model.
double Deviation(const Model& model, const TrueSurface& surface);

/// Whether a model is a surface, as nearly as the noise of its points allows.
bool IsRight(const Model& model, const TrueSurface& surface, const Limit& limit);

/// The values of hints in a scene, for the first of its accepted surfaces; where there is none, only noise
/// and tolerance can be told.
/// @return none where a hint says nothing of the kind or scene
std::optional<FitOptionsBase> OptionsFor(const HardScene& scene, ShapeKind kind, unsigned hints,
                                         std::uint64_t seed);

/// Whether a surface agrees with what was told.
bool Satisfies(const TrueSurface& surface, const FitOptionsBase& options);

/// What became of one fit.
struct Judgement {
  bool refused = false;
  bool found = false;               ///< one of the right answers
  bool isGood = false;              ///< by the verdict
  double error = 0, limit = 0;      ///< where found: deviation, and that of least squares on the true points
  int parameters = 0, covered = 0;  ///< where found: those within three standard deviations
  double milliseconds = 0;
  std::optional<Answer> answer;  ///< where not refused

  bool IsWrong() const { return !found && !refused; }
};

Judgement Judge(const HardCase& hardCase, const PreparedScene& prepared, const FitOptionsBase& options);

}  // namespace primfit::bench

#endif  // PRIMFIT_BENCH_HARD_CASES_JUDGEMENT_H_
