# shellcheck shell=bash
# Sourced by the scripts that build: where things are, configuring, building, testing.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
builds=${PRIMFIT_BUILD_DIR:-$root/build}  # one folder in it for every preset
mkdir -p "$builds"
builds=$(cd "$builds" && pwd)
jobs=$(nproc)
with_mkl=OFF  # whether the tests of the optional parts can have oneMKL
if [ -f "${MKLROOT:-}/include/mkl_rci.h" ] || [ -f /usr/include/mkl/mkl_rci.h ]; then with_mkl=ON; fi

# build NAME PRESET [cmake option...]: configures into the folder NAME and builds everything, or the target $only
build() {
  local name=$1 preset=$2
  shift 2
  (cd "$root" && cmake --preset "$preset" -B "$builds/$name" --log-level=WARNING "$@")
  cmake --build "$builds/$name" --parallel "$jobs" ${only:+--target "$only"}
}
# run_tests NAME: everything that ctest knows in the folder NAME
run_tests() { ctest --test-dir "$builds/$1" --parallel "$jobs" --output-on-failure --no-tests=error; }
quick_checks() {
  "$root/scripts/format.sh" --check
  python3 "$root/scripts/check_includes.py"
  python3 "$root/scripts/check_comments.py"
  python3 "$root/scripts/test_share.py"
}
