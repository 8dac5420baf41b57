// The budget of one fit: how many random samples it may draw, how long it may take, and whether its host
// still wants the result.
//
// One Budget is made for a call and goes along as an argument to every stage. A stage announces how many
// points it is about to look at, so that clock and host are asked often enough even among millions of points;
// the search counts its draws here. Once the budget is over every stage returns as soon as it can, and the
// fit returns the best result that was complete by then. The budget also tells the host the progress, which
// never runs backwards because only a larger share replaces the one before.
#ifndef PRIMFIT_SRC_ADAPTIVE_MODEL_BUDGET_H_
#define PRIMFIT_SRC_ADAPTIVE_MODEL_BUDGET_H_

#include <algorithm>
#include <cstddef>
#include <limits>

#include "primfit/fit.h"

namespace primfit::adaptive {

/// What tells the time of a fit; tests put one of their own in its place.
class Clock {
 public:
  virtual ~Clock() = default;
  /// Seconds since any fixed moment.
  virtual double Seconds() const = 0;
};
const Clock& SteadyClock();

/// What a fit may use at the most; without limits by default.
struct BudgetLimits {
  double seconds = std::numeric_limits<double>::infinity();
  int draws = std::numeric_limits<int>::max();  ///< random samples of all its searches together
};

class Budget {
 public:
  /// Clock and host are asked at least once in so many points that a stage announces.
  static constexpr std::size_t kAskEvery = std::size_t{1} << 18;
  /// Points that a stage looks at between two announcements.
  static constexpr std::size_t kBlock = kAskEvery / 2;

  /// The time begins now.
  /// @param host   is told the progress and may ask to stop; may be null
  /// @param clock  outlives the budget
  explicit Budget(const BudgetLimits& limits = {}, FitProgressUpdater* host = nullptr,
                  const Clock& clock = SteadyClock());

  /// Announces that so many points, at most kAskEvery, will be looked at. @return whether to go on
  bool Spend(std::size_t points) {
    if (spent_ + points > kAskEvery) {
      spent_ = 0;
      Ask();
    }
    spent_ += points;
    return !IsOver();
  }
  /// Calls body(begin, count) for n points block by block. @return false when the budget ended in between
  template <class Body>
  bool InBlocks(std::size_t n, const Body& body) {
    for (std::size_t begin = 0; begin < n; begin += kBlock) {
      const std::size_t count = std::min(kBlock, n - begin);
      if (!Spend(count)) return false;
      body(begin, count);
    }
    return !IsOver();
  }
  /// Asks clock and host. @return whether to go on
  bool Ask();
  /// Sets the share of the work that is done; a smaller share than before changes nothing.
  void Advance(double share);

  /// Counts one random sample of a search.
  void CountDraw() { ++draws_; }
  int Draws() const { return draws_; }
  int DrawLimit() const { return limits_.draws; }

  bool IsOver() const { return late_ || stopped_; }
  /// Why it is over.
  StopReason Why() const { return late_ ? StopReason::kTimeLimit : StopReason::kStopped; }
  /// @throws FitError when it is over, with the text for a fit that has found nothing yet
  void RequireMore() const;

 private:
  friend class ScopedDrawLimit;
  friend class ScopedDraws;

  BudgetLimits limits_;
  FitProgressUpdater* host_;
  const Clock& clock_;
  double start_;
  double progress_ = 0;
  std::size_t spent_ = 0;
  int draws_ = 0;
  bool late_ = false, stopped_ = false;
};

/// Lowers the limit on a budget's draws while it lives, for a search that may take a part of them only.
class ScopedDrawLimit {
 public:
  /// @param draws  of the whole fit, those before included
  ScopedDrawLimit(Budget& budget, int draws) : budget_(budget), before_(budget.limits_.draws) {
    budget.limits_.draws = std::min(before_, draws);
  }
  ScopedDrawLimit(const ScopedDrawLimit&) = delete;
  ScopedDrawLimit& operator=(const ScopedDrawLimit&) = delete;
  ~ScopedDrawLimit() { budget_.limits_.draws = before_; }

 private:
  Budget& budget_;
  int before_;
};

/// Gives a budget so many draws while it lives, whatever its limit says, for a search with draws of its own.
class ScopedDraws {
 public:
  ScopedDraws(Budget& budget, int draws) : budget_(budget), before_(budget.limits_.draws) {
    constexpr int kMost = std::numeric_limits<int>::max();
    budget.limits_.draws = budget.draws_ + std::min(draws, kMost - budget.draws_);
  }
  ScopedDraws(const ScopedDraws&) = delete;
  ScopedDraws& operator=(const ScopedDraws&) = delete;
  ~ScopedDraws() { budget_.limits_.draws = before_; }

 private:
  Budget& budget_;
  int before_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_MODEL_BUDGET_H_
