#!/usr/bin/env python3
"""Compares two files of record_fits: which fits are the same to the bit, the same to rounding (outcome, verdict and
inliers equal, numbers of the shape within 1e-9 of the cloud's size), and which changed.

usage: compare_records.py BEFORE AFTER [--list]
Exit status 0 when every fit is the same to the bit, 1 when some are only the same to rounding, 2 when some changed."""
import re
import sys

LINE = re.compile(r"(?P<number>\d+) (?P<what>.*?) : (?P<outcome>.*) verdict (?P<verdict>\S+) inliers (?P<inliers>.*)"
                  r" size (?P<size>\S+) \|(?P<shape>[^|]*)\|(?P<others>[^|]*)$")


def read(path):
    with open(path, encoding="utf-8") as file:
        return {int(m["number"]): m for m in map(LINE.match, file.read().splitlines()) if m}


def numbers(text):
    return [float.fromhex(t) for t in text.split()]


def difference(a, b):
    """Largest difference of the shapes' numbers in sizes of the cloud; lengths and angles alike."""
    x, y = numbers(a["shape"]), numbers(b["shape"])
    if len(x) != len(y):
        return float("inf")
    return max((abs(p - q) for p, q in zip(x, y)), default=0) / max(float.fromhex(a["size"]), 1e-300)


def main():
    before, after = read(sys.argv[1]), read(sys.argv[2])
    rounding, changed = [], []
    for number, a in before.items():
        b = after.get(number)
        if b is None or a["what"] != b["what"]:
            sys.exit(f"the files hold different fits from number {number} on")
        if a.groups() == b.groups():
            continue
        same = all(a[k] == b[k] for k in ("outcome", "verdict", "inliers"))
        (rounding if same and difference(a, b) <= 1e-9 else changed).append(number)
    print(f"{len(before)} fits: {len(before) - len(rounding) - len(changed)} the same to the bit, "
          f"{len(rounding)} to rounding, {len(changed)} changed")
    for number in changed + (rounding if "--list" in sys.argv else []):
        a, b = before[number], after[number]
        print(f"  {number} {a['what']}\n    {a['outcome']} verdict {a['verdict']} inliers {a['inliers']}"
              f"\n    {b['outcome']} verdict {b['verdict']} inliers {b['inliers']}, off by {difference(a, b):.2g}")
    return 2 if changed else 1 if rounding else 0


if __name__ == "__main__":
    sys.exit(main())
