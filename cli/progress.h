// The progress bar, and the user's wish to stop.
#ifndef PRIMFIT_CLI_PROGRESS_H_
#define PRIMFIT_CLI_PROGRESS_H_

#include <chrono>

#include "cli/host.h"
#include "primfit/fit/fit_progress_updater.h"

namespace primfit::cli {

/// While one lives, the host is asked whether to stop.
class Stoppable {
 public:
  explicit Stoppable(const Host& host) : host_(host) { host_.setStoppable(true); }
  Stoppable(const Stoppable&) = delete;
  Stoppable& operator=(const Stoppable&) = delete;
  ~Stoppable() { host_.setStoppable(false); }

 private:
  const Host& host_;
};

/// Follows a search: draws a bar on the error stream, and stops the search when the host wants it.
class Progress : public FitProgressUpdater {
 public:
  Progress(const Host& host, bool draw) : host_(host), draw_(draw) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() override { Clear(); }

  void ReportProgress(double fraction) override;
  bool StopRequested() override;
  /// Whether the search was told to stop.
  bool Stopped() const { return stopped_; }
  /// Removes the bar.
  void Clear();

 private:
  const Host& host_;
  bool draw_;
  bool drawn_ = false;
  bool stopped_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_PROGRESS_H_
