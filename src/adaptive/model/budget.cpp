#include "adaptive/model/budget.h"

#include <chrono>

#include "fit/messages.h"

namespace primfit::adaptive {

namespace {

/// Below 1 as long as the fit goes on: a host may take 1 for its end.
constexpr double kMostProgress = 0.999;

class MonotonicClock final : public Clock {
 public:
  double Seconds() const override {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }
};

}  // namespace

const Clock& SteadyClock() {
  static const MonotonicClock clock;
  return clock;
}

Budget::Budget(const BudgetLimits& limits, FitProgressUpdater* host, const Clock& clock)
    : limits_(limits), host_(host), clock_(clock), start_(clock.Seconds()) {}

bool Budget::Ask() {
  if (IsOver()) return false;
  late_ = clock_.Seconds() - start_ > limits_.seconds;
  if (host_ != nullptr) {
    host_->ReportProgress(progress_);
    stopped_ = host_->StopRequested();
  }
  return !IsOver();
}

void Budget::Advance(double share) { progress_ = std::max(progress_, std::min(share, kMostProgress)); }

void Budget::RequireMore() const {
  if (IsOver()) throw FitError(late_ ? messages::kNothingInTime : messages::kNothingBeforeStop);
}

}  // namespace primfit::adaptive
