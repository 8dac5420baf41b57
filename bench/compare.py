#!/usr/bin/env python3
"""Runs a benchmark program of two builds in turns and prints the medians and their ratio in Markdown.

usage: compare.py SLOWER FASTER [--filter REGEX] [--runs N] [--out FILE.json]

SLOWER and FASTER are programs such as build/plain/bench/fit_bench; runs alternate between them, so that what
else the machine does falls on both. Times are CPU times."""

import argparse
import json
import statistics
import subprocess
import sys


def run(program, pattern, seconds):
    command = [program, f"--benchmark_filter={pattern}", f"--benchmark_min_time={seconds}", "--benchmark_format=json"]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    return json.loads(output)


def micros(row):
    return row["cpu_time"] * {"ns": 1e-3, "us": 1, "ms": 1e3, "s": 1e6}[row["time_unit"]]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("slower")
    parser.add_argument("faster")
    parser.add_argument("--filter", default="WholeFit/(plane|sphere|cylinder|cone|torus)/points:(1000|100000)/outliers:20$")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--min-time", type=float, default=0.1)
    parser.add_argument("--out", help="where the times of all runs are kept")
    options = parser.parse_args()

    programs = (options.slower, options.faster)
    times = ({}, {})  # name -> microseconds of each run
    contexts = [None, None]
    for _ in range(options.runs):
        for which, program in enumerate(programs):
            result = run(program, options.filter, options.min_time)
            contexts[which] = {key: result["context"].get(key) for key in ("compiler", "flags", "engine", "vectors")}
            for row in result["benchmarks"]:
                if row.get("error_occurred"):
                    sys.exit(f"{program}: {row['name']}: {row['error_message']}")
                times[which].setdefault(row["name"], []).append(micros(row))

    for program, context in zip(programs, contexts):
        print(f"{program}: {context['engine']} engine, vectors {context['vectors']}, {context['flags']}")
    print("\n| benchmark | first, µs | second, µs | ratio |\n|---|---|---|---|")
    for name in times[0]:
        if name in times[1]:
            slower, faster = (statistics.median(t[name]) for t in times)
            print(f"| {name} | {slower:.4g} | {faster:.4g} | {slower / faster:.1f} |")
    if options.out:
        with open(options.out, "w", encoding="utf-8") as file:
            json.dump({"contexts": contexts, "cpu_us": times}, file, indent=1)


if __name__ == "__main__":
    main()
