// What a benchmark's results say of their build and run: compiler, flags, engine and vector instructions.
// PRIMFIT_BENCH_VECTORS=AVX2 (or SSE4, AVX3, ...) in the environment makes the kernels use these instructions
// instead of the best that the processor has.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#if PRIMFIT_SIMD
#include <hwy/targets.h>
#endif

namespace {

#if PRIMFIT_SIMD
std::string Vectors() {
  const char* variable = std::getenv("PRIMFIT_BENCH_VECTORS");
  const std::string wanted = variable != nullptr ? variable : "";
  for (auto targets = hwy::SupportedTargets() & HWY_TARGETS; targets != 0; targets &= targets - 1) {
    const auto target = targets & -targets;  // the best comes first
    if (!wanted.empty() && wanted != hwy::TargetName(target)) continue;
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    return hwy::TargetName(target);
  }
  std::fprintf(stderr, "PRIMFIT_BENCH_VECTORS is %s, which processor or build lacks; set another or none\n",
               wanted.c_str());
  std::exit(2);
}
#else
std::string Vectors() { return "none"; }
#endif

[[maybe_unused]] const bool kAdded = [] {
  benchmark::AddCustomContext("compiler", PRIMFIT_BENCH_COMPILER);
  benchmark::AddCustomContext("flags", PRIMFIT_BENCH_FLAGS);
  benchmark::AddCustomContext("engine", PRIMFIT_BENCH_ENGINE);
  benchmark::AddCustomContext("vectors", Vectors());
  return true;
}();

}  // namespace
