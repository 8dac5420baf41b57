// Vector kernels under test: each target of the build, and lengths at which their loops change.
#ifndef PRIMFIT_TESTS_SUPPORT_TARGETS_H_
#define PRIMFIT_TESTS_SUPPORT_TARGETS_H_

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#if PRIMFIT_SIMD
#include <hwy/targets.h>
#endif

namespace primfit::testing {

/// Runs the body once for each vector target of this build that the machine has.
inline void OnEveryTarget(const std::function<void()>& body) {
#if PRIMFIT_SIMD
  for (auto targets = hwy::SupportedTargets(); targets != 0; targets &= targets - 1) {
    const auto target = targets & -targets;
    SCOPED_TRACE(hwy::TargetName(target));
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    body();
  }
  hwy::SetSupportedTargetsForTest(0);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
#else
  body();
#endif
}

/// None, one, and one less and one more than the lanes of each target and than the blocks of the kernels.
inline constexpr int kLengths[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 63, 64, 65, 127, 128, 129, 1001};

inline bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_SUPPORT_TARGETS_H_
