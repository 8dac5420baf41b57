// The random search of the adaptive fit.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_SEARCH_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_SEARCH_H_

#include <Eigen/Core>
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "adaptive/model/model.h"
#include "adaptive/scene/dice.h"
#include "adaptive/scene/local_geometry.h"
#include "adaptive/search/oriented.h"
#include "adaptive/search/score.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// What a search is told; lengths in the unit of its points.
struct SearchTask {
  ShapeKind kind{};
  std::span<const Eigen::Vector3d> points;  ///< in random order
  std::span<const double> trust;            ///< how far each is trusted; none where all are alike
  unsigned held = 0;
  Model given{};                 ///< values of the parts held
  bool startsFromGiven = false;  ///< whether it is judged first
  double leastReach = 0.5;       ///< see Scorer
  double least = 0, most = 0;    ///< smallest and largest bound of an inlier
  double confidence = 0.99;
  std::optional<double> inlierShare;  ///< that the number of samples is to be enough for
  int mostDraws = 0;
  /// Moves a model into the plausible ranges. @return the parts to be held there
  std::function<unsigned(Model&)> clamp;
  /// What no range can say, with a slack in lengths for a model that is still to be refined.
  std::function<bool(const Model&, double slack)> isPlausible;
  std::optional<Eigen::Vector3d> passes;  ///< samples come from around it
  Budget* budget = nullptr;
};

/// Draws a sample of pieces, no two the same: the first may be any, each other one is the nearest to the
/// first of so many rivals, as pieces that are near each other belong to the same small shape.
/// @param size  at most as many as there are pieces
/// @return indices of pieces; the first `size` count
std::array<std::size_t, kMostOriented> DrawDistinct(std::span<const LocalGeometry> pieces, std::size_t size,
                                                    int rivals, Dice& dice);

struct SearchReport {
  int draws = 0;
  int refinements = 0;
  StopReason why = StopReason::kDrawLimit;
};

/// A shape found and its score.
struct SearchResult {
  Model model;
  Score score;
  bool hasSimpler = false;  ///< see HasSimpler
};

/// @return the best shape, and after one that has a simpler one the best that has none; nothing where no
///     sample gave any
std::vector<SearchResult> Search(const SearchTask& task, Dice& dice, SearchReport& report);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_SEARCH_H_
