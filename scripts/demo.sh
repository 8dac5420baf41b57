#!/bin/bash
# Sets up, builds the program and fits primitives to the sample scans: a room, a sphere target, a lamp post and a mug.
# The build goes to build/ or to the folder that PRIMFIT_BUILD_DIR names.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh" --demo
. "$here/common.sh"

echo "demo: building"
(build demo release -DPRIMFIT_BUILD_TESTS=OFF >"$builds/demo.log" 2>&1) || { cat "$builds/demo.log" >&2; exit 1; }
cd "$builds/demo"
for scan in room sphere-target-1 lamppost mug; do gunzip -c "$root/examples/data/$scan.xyz.gz" >"$scan.xyz"; done
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
printf '\n# The floor with its outline: the largest plane among the points below the furniture.\n'
primfit patch room.xyz --box=-14,-7,-1.5,16,8,-1 "${room[@]}"
printf '\n# A wall that is known to run along x and upright: its normal is held, only its position is fitted.\n'
primfit plane room.xyz --box=-3,-2,-1,3,-1,1.5 --start=0,-1.5,0,0,1,0 --fix-normal "${room[@]}"
printf '\n# A sphere target of 50 mm radius on its mount, by a far more exact scanner.\n'
primfit sphere sphere-target-1.xyz --near=-5.8959,3.629,-1.5613,0.06 --tolerance 0.001 --scanner-error 0.0005 \
  --outliers 0.3 --seed 1
printf '\n# The pole of a street lamp with its height; its coordinates are rounded to 16 mm.\n'
primfit bounded-cylinder lamppost.xyz --tolerance 0.02 --scanner-error 0.015 --outliers 0.7 --seed 1
printf '\n# One side of a mug in the view of a stereo camera.\n'
primfit cylinder mug.xyz --tolerance 0.004 --scanner-error 0.003 --outliers 0.5 --seed 2
printf '\ndemo: done; the program is %s\n' "$builds/demo/tool/primfit"
