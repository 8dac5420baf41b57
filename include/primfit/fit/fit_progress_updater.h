#ifndef PRIMFIT_FIT_FIT_PROGRESS_UPDATER_H_
#define PRIMFIT_FIT_FIT_PROGRESS_UPDATER_H_

#include "primfit/cxx20.h"
#include "primfit/export.h"

/// Implemented by the host to follow a search and to stop it. The library only holds a pointer (null for
/// none), calls it on the thread that called the fit, and never creates or destroys one.
class PRIMFIT_API FitProgressUpdater {
 public:
  virtual ~FitProgressUpdater() = default;
  /// @param fraction  share of the search's iterations that is done, from 0 (after the first one) to below 1
  virtual void ReportProgress(double fraction) = 0;
  /// Asked after every iteration. True ends the search; the fit goes on with the best shape found so far.
  virtual bool StopRequested() = 0;
};

#endif  // PRIMFIT_FIT_FIT_PROGRESS_UPDATER_H_
