#!/usr/bin/env python3
"""Makes tables in Markdown and two plots of a run of fit_bench.

usage: report.py RUN.json [--plots FOLDER]

The tables are those of docs/performance.md; FOLDER gets cost-points.svg and cost-draws.svg. Times are CPU times."""

import argparse
import html
import json
import math
import os

SHAPES = ("line", "arc", "plane", "sphere", "cylinder", "cone", "torus")
DERIVED = ("patch", "bounded cylinder", "bounded cone", "elbow")
COLOURS = dict(zip(SHAPES, ("#0072b2", "#e69f00", "#444444", "#009e73", "#cc79a7", "#d55e00", "#56b4e9")))
# What was aimed at for points on the shape and 20 % outliers, warm, with AVX2; microseconds.
AIMS = {
    100000: {"line": 1500, "arc": 3500, "plane": 1500, "sphere": 2500, "cylinder": 5000, "cone": 6000, "torus": 12000},
    1000: {"line": 20, "plane": 20, "sphere": 30, "cylinder": 200, "cone": 200, "torus": 600},
}


def load(path):
    with open(path, encoding="utf-8") as file:
        run = json.load(file)
    rows = {}
    for row in run["benchmarks"]:
        if not row.get("error_occurred"):
            scale = {"ns": 1e-3, "us": 1, "ms": 1e3, "s": 1e6}[row["time_unit"]]
            rows[row["name"]] = {**row, "us": row["cpu_time"] * scale}
    return run["context"], rows


def whole(shape, points, outliers):
    return f"WholeFit/{shape}/points:{points}/outliers:{outliers}"


def time(us):
    return f"{us / 1000:.3g} ms" if us >= 1000 else f"{us:.3g} µs"


def table(head, rows):
    print("| " + " | ".join(head) + " |\n|" + "---|" * len(head))
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()


def print_whole_fits(rows):
    for points, aims in AIMS.items():
        lines = []
        for shape in SHAPES + DERIVED:
            row = rows.get(whole(shape, points, 20))
            if row:
                aim = aims.get(shape)
                lines.append((shape, time(row["us"]), time(aim) if aim else "", f"{row['us'] / aim:.2f}" if aim else "",
                              f"{row['draws']:.0f}", time(row["first_us"])))
        table((f"{points} points", "warm", "aim", "warm / aim", "draws", "first"), lines)


def print_stages(rows):
    lines = []
    for shape in SHAPES:
        names = [f"{stage}/{shape}" for stage in ("Search", "RefineClose", "Select", "Quality")]
        fit = rows.get(whole(shape, 100000, 20))
        if fit and "WorkingSet/100000" in rows and all(name in rows for name in names):
            copy = rows["WorkingSet/100000"]["us"]
            search, refine, select, quality = (rows[name]["us"] for name in names)
            draws = search - refine - select
            stages = (copy, draws, select, refine, select, quality)
            lines.append((shape, *(f"{us:.0f}" for us in stages), f"{sum(stages):.0f}", f"{fit['us']:.0f}"))
    table(("µs, 100000 points", "copy in", "draws and scores", "select", "refine", "select", "quality", "sum", "whole fit"),
          lines)


def ticks(low, high):
    return [10.0**e for e in range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)]


def spread(places, gap):
    """Moves labels apart that are nearer than `gap`, keeping their order."""
    order = sorted(places, key=lambda label: places[label])
    for _ in range(200):
        for a, b in zip(order, order[1:]):
            lack = gap - (places[b] - places[a])
            if lack > 1e-6:
                places[a] -= lack / 2
                places[b] += lack / 2
    return places


def plot(path, title, x_title, curves):
    """A log-log plot with a curve for each shape, named at its right end. curves: shape -> [(x, µs)]"""
    width, height, left, right, top, bottom = 760, 480, 80, 110, 50, 60
    xs = [x for curve in curves.values() for x, _ in curve]
    ys = [y for curve in curves.values() for _, y in curve]
    x_low, x_high, y_ticks = min(xs), max(xs), ticks(min(ys), max(ys))
    y_low, y_high = y_ticks[0], y_ticks[-1]

    def at_x(x):
        return left + (width - left - right) * math.log(x / x_low) / math.log(x_high / x_low)

    def at_y(y):
        return height - bottom - (height - top - bottom) * math.log(y / y_low) / math.log(y_high / y_low)

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="13">',
           f'<rect width="{width}" height="{height}" fill="white"/>',
           f'<text x="{left}" y="26" font-size="16" fill="#222">{html.escape(title)}</text>']

    def text(x, y, words, anchor="middle", colour="#444", more=""):
        out.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}"{more}>{html.escape(words)}</text>')

    for y in y_ticks:
        out.append(f'<path d="M{left} {at_y(y):.1f}H{width - right}" stroke="#ddd"/>')
        text(left - 8, at_y(y) + 4, f"{y / 1000:g} ms" if y >= 1000 else f"{y:g} µs", "end")
    for x in ticks(x_low, x_high):
        if x_low <= x <= x_high:
            out.append(f'<path d="M{at_x(x):.1f} {top}V{height - bottom}" stroke="#ddd"/>')
            text(at_x(x), height - bottom + 20, f"{x:,.0f}".replace(",", " "))
    text((left + width - right) / 2, height - 14, x_title)
    for shape, curve in curves.items():
        points = " ".join(f"{at_x(x):.1f},{at_y(y):.1f}" for x, y in curve)
        out.append(f'<polyline points="{points}" fill="none" stroke="{COLOURS[shape]}" stroke-width="2"/>')
        out += [f'<circle cx="{at_x(x):.1f}" cy="{at_y(y):.1f}" r="3" fill="{COLOURS[shape]}"/>' for x, y in curve]
    ends = spread({shape: at_y(curve[-1][1]) for shape, curve in curves.items()}, 15)
    for shape, y in ends.items():
        text(at_x(curves[shape][-1][0]) + 8, y + 4, shape, "start", COLOURS[shape])
    out.append("</svg>\n")
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(out))


def make_plots(rows, folder):
    by_points, by_draws = {}, {}
    for shape in SHAPES:
        for row in (rows.get(whole(shape, n, 20)) for n in (500, 1000, 5000, 20000, 100000, 1000000)):
            if row:
                by_points.setdefault(shape, []).append((int(row["name"].split(":")[1].split("/")[0]), row["us"]))
        for row in (rows.get(whole(shape, 5000, share)) for share in (0, 10, 20, 30, 40, 50, 60)):
            if row:
                by_draws.setdefault(shape, []).append((row["draws"], row["us"]))
    plot(os.path.join(folder, "cost-points.svg"), "One fit, 20 % outliers; above 100 000 points a sample of them is fitted",
         "points", by_points)
    plot(os.path.join(folder, "cost-draws.svg"), "One fit of 5000 points, 0 to 60 % outliers (torus: to 50 %)",
         "samples that the search draws", by_draws)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("run")
    parser.add_argument("--plots", metavar="FOLDER")
    options = parser.parse_args()
    context, rows = load(options.run)
    print(f"{context.get('cpu', 'processor')}: vectors {context['vectors']}, {context['engine']} engine, "
          f"{context['compiler']}, {context['flags']}\n")
    print_whole_fits(rows)
    print_stages(rows)
    if options.plots:
        make_plots(rows, options.plots)


if __name__ == "__main__":
    main()
