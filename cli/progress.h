// The progress bar, and Ctrl-C.
#ifndef PRIMFIT_CLI_PROGRESS_H_
#define PRIMFIT_CLI_PROGRESS_H_

#include <chrono>

#include "primfit/fit/fit_progress_updater.h"

namespace primfit::cli {

/// From now on Ctrl-C (SIGINT) ends the program with its exit status and a text. Where the caller has SIGINT
/// ignored (nohup), that stays so.
void EndOnInterrupt();

/// While one lives, the first Ctrl-C only asks the search to stop; a second one ends the program.
class StopOnInterrupt {
 public:
  StopOnInterrupt();
  StopOnInterrupt(const StopOnInterrupt&) = delete;
  StopOnInterrupt& operator=(const StopOnInterrupt&) = delete;
  ~StopOnInterrupt();
  static bool Requested();
};

/// Follows a search: draws a bar on standard error, and stops the search when Ctrl-C has asked for it.
class Progress : public FitProgressUpdater {
 public:
  explicit Progress(bool draw) : draw_(draw) {}
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
  bool draw_;
  bool drawn_ = false;
  bool stopped_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_PROGRESS_H_
