#!/usr/bin/env python3
"""Measures reading a scan of ten million points: processor time and peak memory of `primfit info` beside `cat`.

usage: read_scans.py PRIMFIT [--points N] [--folder DIR]

Each file is read once before it is measured, so that it is in the system's cache. A region of a ten-thousandth of
the volume shows what a part of a large file costs; a plane fitted to all points keeps them, at 24 bytes each, and the
fit as much again and more. The system counts this script's own memory (about 45 MB) as the least peak of what it starts.
"""
import argparse
import array
import os
import pathlib
import random
import resource
import struct
import subprocess
import sys
import tempfile

BLOCK = 100_000  # different points; the file repeats them with another height


def las_header(points):
    header = bytearray(227)
    header[0:4] = b"LASF"
    header[24:26] = bytes([1, 2])
    struct.pack_into("<HI", header, 94, 227, 227)
    struct.pack_into("<BHI", header, 104, 3, 34, points)
    struct.pack_into("<6d", header, 131, 0.001, 0.001, 0.001, 0.0, 0.0, 0.0)
    return bytes(header)


def write_files(folder, points):
    random.seed(1)
    values = [random.uniform(-50, 50) for _ in range(3 * BLOCK)]
    floats = array.array("f", values).tobytes()
    ply, las, text = (folder / name for name in ("scan.ply", "scan.las", "scan.xyz"))
    with open(ply, "wb") as file:
        properties = "".join(f"property float {axis}\n" for axis in "xyz")
        file.write(f"ply\nformat binary_little_endian 1.0\nelement vertex {points}\n{properties}end_header\n".encode())
        for _ in range(points // BLOCK):
            file.write(floats)
    rows = b"".join(struct.pack("<3i22x", *(round(1000 * v) for v in values[i:i + 3])) for i in range(0, 3 * BLOCK, 3))
    with open(las, "wb") as file:
        file.write(las_header(points))
        for _ in range(points // BLOCK):
            file.write(rows)
    lines = "".join("%.3f %.3f %.3f\n" % tuple(values[i:i + 3]) for i in range(0, 3 * BLOCK, 3)).encode()
    with open(text, "wb") as file:
        for _ in range(points // BLOCK):
            file.write(lines)
    return [ply, las, text]


def measure(command):
    """Processor seconds and peak megabytes of a command."""
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode not in (0, 3):
        sys.exit(f"{command} ends with {process.returncode}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("primfit")
    parser.add_argument("--points", type=int, default=10_000_000)
    parser.add_argument("--folder", type=pathlib.Path)
    arguments = parser.parse_args()
    points = arguments.points // BLOCK * BLOCK
    with tempfile.TemporaryDirectory(dir=arguments.folder) as folder:
        print("| file | bytes a point | command | processor s | peak MB |\n|---|---|---|---|---|")
        for path in write_files(pathlib.Path(folder), points):
            commands = {"cat": ["cat", path], "info": [arguments.primfit, "info", path],
                        "info --box": [arguments.primfit, "info", path, "--box=0,0,0,5,5,5"],
                        "plane --all-points": [arguments.primfit, "plane", path, "--all-points"]}
            for name, command in commands.items():
                if name == "cat":
                    measure(command)
                seconds, megabytes = measure(command)
                print(f"| {path.name} | {path.stat().st_size / points:.0f} | {name} | {seconds:.2f} | {megabytes:.0f} |",
                      flush=True)


if __name__ == "__main__":
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    main()
