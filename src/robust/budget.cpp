#include "robust/budget.h"

#include <chrono>
#include <utility>

#include "fit/messages.h"

namespace primfit::robust {

namespace {

/// Below 1 as long as the fit goes on: a host may take 1 for its end.
constexpr double kMostProgress = 0.999;

}  // namespace

double SteadySeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Budget::Budget(double timeLimit, FitProgressUpdater* host, std::function<double()> clock)
    : limit_(timeLimit), host_(host), clock_(std::move(clock)), start_(clock_()) {}

bool Budget::Ask() {
  if (IsOver()) return false;
  late_ = clock_() - start_ > limit_;
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

}  // namespace primfit::robust
