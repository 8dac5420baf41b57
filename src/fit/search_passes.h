// The process-wide counter behind SuppressFitterMT.
#ifndef PRIMFIT_SRC_FIT_SEARCH_PASSES_H_
#define PRIMFIT_SRC_FIT_SEARCH_PASSES_H_

#include <atomic>

namespace primfit {

/// Number of living SuppressFitterMT objects; above 0 a search makes a single worker pass.
std::atomic<int>& SuppressionCount();

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_SEARCH_PASSES_H_
