#include "optimize/trust_region.h"

namespace primfit {

namespace {

constexpr TrustRegionKind kBuildChoice =
    PRIMFIT_LIBRARY_ENGINE ? TrustRegionKind::kLibrary : TrustRegionKind::kNative;
thread_local TrustRegionKind chosen = kBuildChoice;

}  // namespace

TrustRegionKind ChosenTrustRegion() { return chosen; }

ScopedTrustRegion::ScopedTrustRegion(TrustRegionKind kind) : before_(chosen) { chosen = kind; }

ScopedTrustRegion::~ScopedTrustRegion() { chosen = before_; }

}  // namespace primfit
