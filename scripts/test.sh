#!/bin/bash
# Sets up, checks the sources and runs all tests: of the release build with all optional parts, then of the plain one
# under address and undefined-behaviour sanitizers.
# Builds go to build/ or to the folder that PRIMFIT_BUILD_DIR names.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh"
. "$here/common.sh"

quick_checks
echo "== full"
build full full -DPRIMFIT_WERROR=ON -DPRIMFIT_WITH_MKL=$with_mkl
run_tests full
echo "== asan"
build asan asan -DPRIMFIT_WERROR=ON
run_tests asan
