// Who may end a fit before it is done.
#ifndef PRIMFIT_SRC_ADAPTIVE_MODEL_BUDGET_H_
#define PRIMFIT_SRC_ADAPTIVE_MODEL_BUDGET_H_

#include <algorithm>
#include <cstddef>
#include <limits>

#include "primfit/fit.h"

namespace primfit::adaptive {

/// What tells the time of a fit.
class Clock {
 public:
  virtual ~Clock() = default;
  /// Seconds since any moment.
  virtual double Seconds() const = 0;
};
const Clock& SteadyClock();

/// The time limit and the host of one fit. Every stage says how many points it is about to look at; clock and
/// host are asked at least once in kAskEvery of them, so that a fit of millions of points ends when it is
/// told to.
class Budget {
 public:
  static constexpr std::size_t kAskEvery = std::size_t{1} << 18;
  static constexpr std::size_t kPiece = kAskEvery / 2;

  /// The time begins now.
  /// @param timeLimit  seconds
  /// @param host       is told the progress and may ask to stop; may be null
  /// @param clock      outlives the budget
  explicit Budget(double timeLimit = std::numeric_limits<double>::infinity(),
                  FitProgressUpdater* host = nullptr, const Clock& clock = SteadyClock());

  /// Announces that so many points, at most kAskEvery, will be looked at. @return whether to go on
  bool Spend(std::size_t points) {
    if (spent_ + points > kAskEvery) {
      spent_ = 0;
      Ask();
    }
    spent_ += points;
    return !IsOver();
  }
  /// Calls body(begin, count) for n points piece by piece. @return false when the budget ended in between
  template <class Body>
  bool InPieces(std::size_t n, const Body& body) {
    for (std::size_t begin = 0; begin < n; begin += kPiece) {
      const std::size_t count = std::min(kPiece, n - begin);
      if (!Spend(count)) return false;
      body(begin, count);
    }
    return !IsOver();
  }
  /// Asks clock and host. @return whether to go on
  bool Ask();
  /// Sets the share of the work that is done, which is never taken back.
  void Advance(double share);

  bool IsOver() const { return late_ || stopped_; }
  /// Why it is over.
  StopReason Why() const { return late_ ? StopReason::kTimeLimit : StopReason::kStopped; }
  /// @throws FitError when it is over, with the text for a fit that has found nothing yet
  void RequireMore() const;

 private:
  double limit_;
  FitProgressUpdater* host_;
  const Clock& clock_;
  double start_;
  double progress_ = 0;
  std::size_t spent_ = 0;
  bool late_ = false, stopped_ = false;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_MODEL_BUDGET_H_
