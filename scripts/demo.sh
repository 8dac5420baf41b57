#!/bin/bash
# Sets up, builds the program and fits primitives to the sample scans: a room, a sphere target, a lamp post and a mug.
# The build goes to build/ or to the folder that PRIMFIT_BUILD_DIR names.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh" --demo
. "$here/common.sh"

echo "demo: building"
(build demo release -DPRIMFIT_BUILD_TESTS=OFF -DPRIMFIT_BUILD_EXAMPLES=OFF >"$builds/demo.log" 2>&1) || { cat "$builds/demo.log" >&2; exit 1; }
cd "$builds/demo"
for scan in room sphere-target-1 lamppost mug; do gunzip -c "$root/examples/data/$scan.xyz.gz" >"$scan.xyz"; done
primfit() {
  echo
  echo "\$ primfit $*"
  tool/primfit "$@"
}

primfit info room.xyz
printf '\n# The largest plane of the whole cloud, the ceiling: three points of four lie elsewhere. The noise is given,\n'
printf '# because with a wider bound the points that crowd below the scanner can pass for a better plane.\n'
primfit plane room.xyz --noise 0.01 --seed 1
printf '\n# The floor with its outline: the largest plane among the points below the furniture.\n'
primfit patch room.xyz --box=-14,-7,-1.5,16,8,-1 --seed 1
printf '\n# A wall that is known to run along x and upright: its normal is held, only its position is fitted.\n'
primfit plane room.xyz --box=-3,-2,-1,3,-1,1.5 --start=0,-1.5,0,0,1,0 --fix-normal --seed 1
printf '\n# A sphere target of 50 mm radius on its mount, by a far more exact scanner. Nothing is told.\n'
primfit sphere sphere-target-1.xyz --seed 1
printf '\n# The pole of a street lamp with its height; its coordinates are rounded to 16 mm.\n'
primfit bounded-cylinder lamppost.xyz --radius-range 0.02,0.05 --seed 1
printf '\n# One side of a mug of 39 mm radius in the view of a stereo camera.\n'
primfit cylinder mug.xyz --seed 1
printf '\ndemo: done; the program is %s\n' "$builds/demo/tool/primfit"
