// Stands where oneMKL was not found.
#include "optimize/trust_region.h"

namespace primfit {

bool HaveLibraryTrustRegion() { return false; }

std::unique_ptr<TrustRegionEngine> MakeLibraryTrustRegion() { return nullptr; }

void ReleaseSolverThreadBuffers() {}

}  // namespace primfit
