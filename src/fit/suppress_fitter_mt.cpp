#include "primfit/fit/suppress_fitter_mt.h"

#include "fit/search_passes.h"

namespace primfit {

std::atomic<int>& SuppressionCount() {
  static std::atomic<int> count{0};
  return count;
}

}  // namespace primfit

SuppressFitterMT::SuppressFitterMT() { ++primfit::SuppressionCount(); }

SuppressFitterMT::~SuppressFitterMT() { --primfit::SuppressionCount(); }
