// Compiler and flags in the context of a benchmark's results.
#include <benchmark/benchmark.h>

namespace {

[[maybe_unused]] const bool kAdded = [] {
  benchmark::AddCustomContext("compiler", PRIMFIT_BENCH_COMPILER);
  benchmark::AddCustomContext("flags", PRIMFIT_BENCH_FLAGS);
  return true;
}();

}  // namespace
