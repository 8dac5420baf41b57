// Stands for the engine over oneMKL in builds without it.
#include "optimize/trust_region.h"

namespace primfit {

bool HaveLibraryTrustRegion() { return false; }

std::unique_ptr<TrustRegionEngine> MakeLibraryTrustRegion() { return nullptr; }

void ReleaseSolverThreadBuffers() {}

}  // namespace primfit
