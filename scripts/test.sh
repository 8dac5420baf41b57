#!/bin/bash
# Sets up, checks the sources and runs all tests: release build, then address and undefined-behaviour sanitizers.
# Builds go to build/ or to the folder that PRIMFIT_BUILD_DIR names.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh"
. "$here/common.sh"

quick_checks
for preset in release asan; do
  echo "== $preset"
  build $preset $preset -DPRIMFIT_WERROR=ON
  run_tests $preset
done
