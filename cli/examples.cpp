#include "cli/examples.h"

#include <array>

namespace primfit::cli {

namespace {

constexpr std::array<Example, 32> kExamples = {{
    {"", "info room.xyz", "What a file holds."},
    {"", "plane room.xyz --noise 0.01", "The largest plane of a room, by a scanner with 10 mm of noise."},
    {"line", "pipe-run.xyz --box 1198,3399.5,110.2,1201,3399.7,110.4", "A hand rail, cut out with a box."},
    {"line", "pipe-run.xyz --passes 1199,3399.6,110.3,0.02", "The same among all points, by a place on it."},
    {"arc", "pipe-run.xyz --near 1199.2,3399.7,110,0.15",
     "The hand wheel of a valve: the points within 0.15 m of its middle."},
    {"arc", "pipe-run.xyz --radius-range 0.08,0.12 --accept weak",
     "The same among all points, by its size; a weak verdict is accepted."},
    {"plane", "room.xyz --noise 0.01",
     "The largest plane of a room. The noise is told, as the points that crowd below the scanner can pass "
     "for "
     "a better plane with a wider bound."},
    {"plane", "room.xyz --box -3,-2,-1,3,-1,1.5 --fix-normal 0,1,0",
     "A wall that is known to run along x and upright."},
    {"patch", "room.xyz --box -14,-7,-1.5,16,8,-1", "The floor with its outline."},
    {"patch", "room.xyz --box -3,-2,-1,3,-1,1.5 --json",
     "A piece of wall, for a program: the corners of its outline are in shape.outline."},
    {"sphere", "sphere-target-1.xyz", "A sphere target on its mount; nothing is told."},
    {"sphere", "sphere-target-1.xyz --fix-radius 0.05",
     "The same with the radius that its maker states: the centre alone is fitted."},
    {"cylinder", "mug.xyz", "One side of a mug with a handle; nothing is told."},
    {"cylinder", "pipe-run.xyz --fix-radius 0.05715 --json",
     "A pipe whose outer diameter is 114.3 mm by its standard, for a program."},
    {"bounded-cylinder", "lamppost.xyz --radius-range 0.02,0.05",
     "The pole of a street lamp with its length."},
    {"bounded-cylinder", "pipe-run.xyz --near 1200.152,3400,110.35,0.19",
     "The riser of a pipe run, cut out with a ball."},
    {"cone", "pipe-run.xyz --near 1200.152,3400,110.6,0.07", "A reducer between two pipes."},
    {"cone", "pipe-run.xyz --near 1200.152,3400,110.6,0.07 --fix-axis 0,0,-1",
     "The same with an upright axis; it points from the apex into the cone."},
    {"bounded-cone", "pipe-run.xyz --near 1200.152,3400,110.6,0.07",
     "A reducer between two pipes with the heights of its ends above the apex."},
    {"bounded-cone", "pipe-run.xyz --near 1200.152,3400,110.6,0.07 --half-angle-range 10,20",
     "The same with what is plausible for its half-angle, in degrees."},
    {"torus", "pipe-run.xyz --near 1200.1,3400,110.05,0.1", "The bend of a pipe."},
    {"torus", "pipe-run.xyz --near 1200.1,3400,110.05,0.1 --fix-minor-radius 0.05715",
     "The same with the radius of the pipe, which is known."},
    {"elbow", "pipe-run.xyz --near 1200.1,3400,110.05,0.1",
     "The bend of a pipe with the angle that it turns by."},
    {"elbow",
     "pipe-run.xyz --near 1200.1,3400,110.05,0.1 --fix-minor-radius 0.05715 --fix-major-radius 0.1524",
     "The same as its standard has it: only its place and direction are fitted."},
    {"pipe", "pipe-run.xyz --pick 1199.5,3399.943,110", "The pipe under a point that a user has picked."},
    {"pipe", "pipe-run.xyz --pick 1200.152,3399.943,110.3 --radius-hint 0.06 --json",
     "The riser, for a program, with about its radius."},
    {"check", "sphere-target-1.xyz --shape sphere-target.json --near -5.896,3.629,-1.561,0.06",
     "How the points of a scan lie about a shape that was fitted before."},
    {"check", "pipe-run.xyz --near 1199.5,3400,110,0.1 --shape cylinder:1199.5,3400,110,0.05715,1,0,0 --json",
     "The same about a pipe as it was designed, for a program."},
    {"show", "sphere-target.json", "A result that a fit has stored with --json."},
    {"show", "--json - <sphere-target.json", "The same for a program, from standard input."},
    {"info", "room.xyz", "How many points there are, what they hold and how far they reach."},
    {"info", "--json <pipe-run.xyz", "The same for a program, from standard input."},
}};

}  // namespace

std::span<const Example> Examples() { return kExamples; }

}  // namespace primfit::cli
