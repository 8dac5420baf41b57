#include "optimize/trust_region.h"

namespace primfit {

namespace {

constexpr TrustRegionKind kBuildChoice =
    PRIMFIT_LIBRARY_ENGINE ? TrustRegionKind::kLibrary : TrustRegionKind::kNative;
thread_local TrustRegionKind chosen = kBuildChoice;
thread_local bool ofSample = false;

}  // namespace

TrustRegionKind ChosenTrustRegion() { return chosen; }

ScopedTrustRegion::ScopedTrustRegion(TrustRegionKind kind) : before_(chosen) { chosen = kind; }

ScopedTrustRegion::~ScopedTrustRegion() { chosen = before_; }

ScopedSampleRefinement::ScopedSampleRefinement() : before_(ofSample) { ofSample = true; }

ScopedSampleRefinement::~ScopedSampleRefinement() { ofSample = before_; }

bool ScopedSampleRefinement::IsActive() { return ofSample; }

}  // namespace primfit
