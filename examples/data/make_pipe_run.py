#!/usr/bin/env python3
"""Makes pipe-run.xyz, the simulated scan of a pipe run in coordinates of a plant grid, in metres.

A pipe of 114.3 mm diameter comes along x, turns upwards in an elbow of 152.4 mm bend radius, narrows to 60.3 mm in a reducer and
goes on. A rail of 8 mm wire and the hand wheel of a valve (a ring of 10 mm wire, 200 mm across its middle) stand in front of it.
One scanner six metres away sees what faces it, with 1 mm of noise along its beam; four points of a hundred are stray. Nothing hides
anything else. Coordinates are rounded to 0.1 mm.

usage: make_pipe_run.py >pipe-run.xyz
"""
import math
import random

ORIGIN = (1200.0, 3400.0, 110.0)  # where the axes of the pipe meet the elbow's beginning
SCANNER = (0.0, -6.0, 1.0)        # from there, as all coordinates below
PIPE, NARROW, BEND, RISE, REDUCER = 0.05715, 0.03015, 0.1524, 0.4, 0.102
POINTS_PER_SQUARE_METRE = 20000
NOISE = 0.001
STRAY = 0.04


def along(start, axis, low, high, radius):
    """A tube about an axis; radius(t) is that at the distance t along it. Gives draw() and the tube's area."""
    e1 = (0.0, 1.0, 0.0)
    e2 = tuple(axis[(k + 1) % 3] * e1[(k + 2) % 3] - axis[(k + 2) % 3] * e1[(k + 1) % 3] for k in range(3))
    slope = (radius(high) - radius(low)) / (high - low)

    def draw():
        while True:
            t, turn = random.uniform(low, high), random.uniform(0, 2 * math.pi)
            if random.random() * max(radius(low), radius(high)) <= radius(t):
                break
        out = [math.cos(turn) * e1[k] + math.sin(turn) * e2[k] for k in range(3)]
        return ([start[k] + t * axis[k] + radius(t) * out[k] for k in range(3)],
                [out[k] - slope * axis[k] for k in range(3)])

    mean = (radius(low) + radius(high)) / 2
    return draw, 2 * math.pi * mean * (high - low) * math.hypot(1, slope)


def ring(center, major, minor, first, last):
    """A bent tube about an axis along y, between two angles from x to z."""
    def draw():
        while True:
            turn, around = random.uniform(first, last), random.uniform(0, 2 * math.pi)
            if random.random() * (major + minor) <= major + minor * math.cos(around):
                break
        out = (math.cos(around) * math.cos(turn), math.sin(around), math.cos(around) * math.sin(turn))
        middle = (math.cos(turn), 0.0, math.sin(turn))
        return [center[k] + major * middle[k] + minor * out[k] for k in range(3)], out

    return draw, 2 * math.pi * minor * major * (last - first)


def seen(draw):
    """A point that faces the scanner, or none, with noise along the beam."""
    point, normal = draw()
    beam = [point[k] - SCANNER[k] for k in range(3)]
    length = math.hypot(*beam)
    if sum(b * n for b, n in zip(beam, normal)) >= 0:
        return None
    error = random.gauss(0, NOISE)
    return [p + error * b / length for p, b in zip(point, beam)]


def main():
    random.seed(1)
    top = BEND + RISE
    parts = [
        along((0, 0, 0), (1, 0, 0), -1.5, 0, lambda t: PIPE),
        ring((0, 0, BEND), BEND, PIPE, -math.pi / 2, 0),
        along((BEND, 0, BEND), (0, 0, 1), 0, RISE, lambda t: PIPE),
        along((BEND, 0, top), (0, 0, 1), 0, REDUCER, lambda t: PIPE + (NARROW - PIPE) * t / REDUCER),
        along((BEND, 0, top + REDUCER), (0, 0, 1), 0, 0.5, lambda t: NARROW),
        along((0, -0.4, 0.3), (1, 0, 0), -1.5, 0, lambda t: 0.004),
        ring((-0.8, -0.3, 0), 0.1, 0.005, 0, 2 * math.pi),
    ]
    points = [seen(draw) for draw, area in parts for _ in range(round(area * POINTS_PER_SQUARE_METRE))]
    points = [p for p in points if p is not None]
    low, high = [min(c) for c in zip(*points)], [max(c) for c in zip(*points)]
    points += [[random.uniform(a - 0.1, b + 0.1) for a, b in zip(low, high)] for _ in range(round(STRAY * len(points)))]
    random.shuffle(points)
    for p in points:
        print(*(f"{o + c:.4f}" for o, c in zip(ORIGIN, p)))


main()
