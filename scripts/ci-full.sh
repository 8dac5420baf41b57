#!/bin/bash
# The long check: scripts/test.sh, then what it leaves out. Builds go to build/ or to PRIMFIT_BUILD_DIR.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh" --full
. "$here/common.sh"
step() { printf '\n== %s (%d min so far)\n' "$*" $((SECONDS / 60)); }
clang=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DPRIMFIT_WERROR=ON)
parts=(-DPRIMFIT_WITH_LAPACK=ON -DPRIMFIT_WITH_MKL=$with_mkl)

step "release with all parts, and the plain one with address + undefined-behaviour sanitizers, gcc"
"$here/test.sh"

step "the plain release: nothing looks for what it does not need"
build release release -DPRIMFIT_WERROR=ON -DCMAKE_DISABLE_FIND_PACKAGE_MKL=ON -DCMAKE_DISABLE_FIND_PACKAGE_LAPACK=ON
run_tests release

step "the optional parts with sanitizers"
build asan-full asan -DPRIMFIT_WERROR=ON "${parts[@]}"
for part in estimators optimize; do "$builds/asan-full/tests/${part}_tests" --gtest_brief=1; done

step "debug, gcc"
# -Og, because tests of many points take up to twenty times as long without it.
build debug debug -DPRIMFIT_WERROR=ON "${parts[@]}" -DCMAKE_CXX_FLAGS_DEBUG="-Og -g"
run_tests debug

step "all instructions of this processor: fused multiply-adds must change no decision"
build native release -DPRIMFIT_WERROR=OFF -DCMAKE_CXX_FLAGS=-march=native  # GCC 12 warns of its own AVX-512 intrinsics
run_tests native

step "the matrix classes over the system's LAPACK, without oneMKL"
build lapack release -DPRIMFIT_WERROR=ON -DPRIMFIT_WITH_LAPACK=ON -DCMAKE_DISABLE_FIND_PACKAGE_MKL=ON
run_tests lapack

if [ $with_mkl = ON ]; then
  step "oneMKL's trust-region engine by default, the system's LAPACK"
  build mkl full -DPRIMFIT_WERROR=ON -DPRIMFIT_ENGINE=mkl -DPRIMFIT_LAPACK=system
  run_tests mkl
fi

step "plain loops instead of vector kernels"
build scalar release -DPRIMFIT_WERROR=ON -DPRIMFIT_SIMD=OFF
run_tests scalar

step "release, clang"
build clang release "${clang[@]}" "${parts[@]}"
run_tests clang

step "clang-tidy"
run-clang-tidy -quiet -p "$builds/clang" "^$root/(src|io|report|cli|tool)/" >"$builds/tidy.log" 2>&1 || { cat "$builds/tidy.log"; exit 1; }

step "thread sanitizer, clang"
build tsan tsan "${clang[@]}" "${parts[@]}"
run_tests tsan

step "fuzzing the readers, 30 seconds"
only=fuzz_readers build fuzz debug "${clang[@]}" -DPRIMFIT_BUILD_FUZZERS=ON
mkdir -p "$builds/corpus"
"$builds/fuzz/tests/io/fuzz_readers" -max_total_time=30 -print_final_stats=0 "$builds/corpus" 2>"$builds/fuzz.log" ||
  { cat "$builds/fuzz.log"; exit 1; }

step "benchmarks run"
build bench release -DPRIMFIT_WERROR=ON -DPRIMFIT_BUILD_BENCH=ON -DPRIMFIT_BUILD_TESTS=OFF
for program in "$builds"/bench/bench/*_bench; do
  "$program" --benchmark_min_time=0.01 >"$builds/bench.log" 2>&1 || { cat "$builds/bench.log"; exit 1; }
  if grep "ERROR OCCURRED" "$builds/bench.log"; then exit 1; fi  # how a benchmark says that its result is wrong
done

step "part of another build"
for target in primfit::primfit primfit::primfit_static; do
  cmake -S "$root/tests/package/cpp" -B "$builds/sub" -G Ninja --log-level=WARNING -DCMAKE_BUILD_TYPE=Release \
    -DPRIMFIT_SOURCE="$root" -DLIBRARY=$target
  cmake --build "$builds/sub" --parallel "$jobs"
  "$builds/sub/fit_plane"
done
step "all done"
