#ifndef PRIMFIT_FIT_SUPPRESS_FITTER_MT_H_
#define PRIMFIT_FIT_SUPPRESS_FITTER_MT_H_

#include "primfit/cxx20.h"
#include "primfit/export.h"

/// While one of these lives, in any thread of the process, every search that starts makes a single worker
/// pass instead of one per hardware thread. The passes of a search run one after another on the calling
/// thread, so the result of a search that the host does not stop is the same either way.
class PRIMFIT_API SuppressFitterMT {
 public:
  SuppressFitterMT();
  SuppressFitterMT(const SuppressFitterMT&) = delete;
  ~SuppressFitterMT();
  SuppressFitterMT& operator=(const SuppressFitterMT&) { return *this; }
};

#endif  // PRIMFIT_FIT_SUPPRESS_FITTER_MT_H_
