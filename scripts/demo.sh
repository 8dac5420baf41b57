#!/bin/bash
# Sets up, builds the program and fits planes to the sample scan, a room of 112 586 points.
# The build goes to build/ or to the folder that PRIMFIT_BUILD_DIR names.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh" --demo
. "$here/common.sh"

echo "demo: building"
(build demo release -DPRIMFIT_BUILD_TESTS=OFF >"$builds/demo.log" 2>&1) || { cat "$builds/demo.log" >&2; exit 1; }
cd "$builds/demo"
gunzip -c "$root/examples/data/room.xyz.gz" >room.xyz
primfit() {
  echo
  echo "\$ primfit $*"
  tool/primfit "$@"
}

# Points within the tolerance count as inliers; a scanner error of 2 cm suits the noise of this scan.
room=(--tolerance 0.03 --scanner-error 0.02 --seed 1)
primfit info room.xyz
printf '\n# The largest plane of the whole cloud, the ceiling: three points of four lie elsewhere.\n'
primfit plane room.xyz --outliers 0.85 "${room[@]}"
printf '\n# The floor: the largest plane among the points below the furniture.\n'
primfit plane room.xyz --box=-14,-7,-1.5,16,8,-1 "${room[@]}"
printf '\n# A wall that is known to run along x and upright: its normal is held, only its position is fitted.\n'
primfit plane room.xyz --box=-3,-2,-1,3,-1,1.5 --start=0,-1.5,0,0,1,0 --fix-normal "${room[@]}"
printf '\ndemo: done; the program is %s\n' "$builds/demo/tool/primfit"
