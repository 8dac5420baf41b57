// The engine over oneMKL's reverse-communication trust-region solver. Nothing else may know that library.
#include <mkl_rci.h>
#include <mkl_service.h>

#include <type_traits>

#include "optimize/trust_region.h"

static_assert(std::is_same_v<MKL_INT, int>, "link the LP64 interface of oneMKL");
static_assert(primfit::kTrustRegionSuccess == TR_SUCCESS);
static_assert(primfit::kTrustRegionRefusal == TR_INVALID_OPTION);

namespace primfit {

namespace {

class MklTrustRegion final : public TrustRegionEngine {
 public:
  MklTrustRegion() = default;
  MklTrustRegion(const MklTrustRegion&) = delete;
  MklTrustRegion& operator=(const MklTrustRegion&) = delete;
  ~MklTrustRegion() override {
    if (handle_ != nullptr) dtrnlsp_delete(&handle_);
  }

  int Start(int n, int m, double* x, const TrustRegionLimits& limits) override {
    if (n < 1 || m < n) return kTrustRegionRefusal;
    return dtrnlsp_init(&handle_, &n, &m, x, limits.thresholds, &limits.iterations, &limits.trialIterations,
                        &limits.initialStepBound);
  }

  int Step(TrustRegionAnswers& answers, int& request) override {
    return dtrnlsp_solve(&handle_, answers.residuals, answers.jacobian, &request);
  }

  int Result(int& iterations, int& criterion, double& initialNorm, double& finalNorm) override {
    return dtrnlsp_get(&handle_, &iterations, &criterion, &initialNorm, &finalNorm);
  }

  int Jacobian(ResidualFunction function, int n, int m, double* fjac, double* x, double precision,
               void* model) override {
    return djacobix(function, &n, &m, fjac, x, &precision, model);
  }

 private:
  _TRNSP_HANDLE_t handle_ = nullptr;
};

}  // namespace

bool HaveLibraryTrustRegion() { return true; }

std::unique_ptr<TrustRegionEngine> MakeLibraryTrustRegion() { return std::make_unique<MklTrustRegion>(); }

void ReleaseSolverThreadBuffers() { mkl_thread_free_buffers(); }

}  // namespace primfit
