#!/usr/bin/env python3
"""Runs bench_fft and draws its curves.

    fft_curves.py path/to/bench_fft out.svg [figures.json]

With a JSON file of an earlier run in place of the program, only draws. Each point is the best
processor time of five repetitions, given as 5 N log2 N (complex) or 2.5 N log2 N (real) operations
in that time. Prints a table and the geometric means of the times over orders 4 to 16 relative to
the measured plans of FFTW.
"""
import json
import math
import subprocess
import sys

LIBRARIES = {
    "qorac": "#d62728",
    "fftw-measure": "#1f77b4",
    "fftw-estimate": "#9ecae1",
    "av_tx": "#2ca02c",
    "kissfft": "#7f7f7f",
}
WIDTH, HEIGHT, LEFT, TOP, GAP = 460, 300, 60, 40, 70


def run(program):
    command = [program, "--benchmark_format=json", "--benchmark_repetitions=5",
               "--benchmark_min_time=0.01"]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def best_times(text):
    """Nanoseconds by kind, library and order."""
    times = {"complex": {}, "real": {}}
    for row in json.loads(text)["benchmarks"]:
        if row.get("run_type") != "iteration" or row.get("error_occurred"):
            continue
        library, kind, order = row["name"].split("/")[:3]
        curve = times[kind].setdefault(library, {})
        order = int(order)
        curve[order] = min(curve.get(order, math.inf), row["cpu_time"])
    return times


def gflops(kind, order, nanoseconds):
    return (5 if kind == "complex" else 2.5) * order * 2 ** order / nanoseconds


def print_table(times):
    for kind, curves in times.items():
        libraries = [name for name in LIBRARIES if name in curves]
        print(f"| {kind} | " + " | ".join(libraries) + " |")
        print("| --- |" + " ---: |" * len(libraries))
        for order in sorted(curves["qorac"]):
            cells = [f"{curves[name][order]:.4g}" if order in curves[name] else ""
                     for name in libraries]
            print(f"| {order} | " + " | ".join(cells) + " |")
        ratios = [math.log(curves["qorac"][order] / curves["fftw-measure"][order])
                  for order in range(4, 17)]
        print(f"\ngeometric mean of qorac over fftw-measure, orders 4 to 16: "
              f"{math.exp(sum(ratios) / len(ratios)):.3f}\n")


def panel(kind, curves, left):
    """One diagram as a list of SVG elements."""
    orders = sorted(curves["qorac"])
    top_speed = max(gflops(kind, order, t) for curve in curves.values()
                    for order, t in curve.items())
    step = 20 if top_speed > 60 else 10
    limit = math.ceil(top_speed / step) * step

    def x(order):
        return left + WIDTH * (order - orders[0]) / (orders[-1] - orders[0])

    def y(speed):
        return TOP + HEIGHT * (1 - speed / limit)

    svg = [f'<text x="{left}" y="{TOP - 14}" font-weight="bold">{kind}, forward: '
           f'billions of operations per second</text>']
    for speed in range(0, limit + 1, step):
        svg.append(f'<line x1="{left}" y1="{y(speed):.1f}" x2="{left + WIDTH}" y2="{y(speed):.1f}" '
                   f'stroke="#ddd"/>')
        svg.append(f'<text x="{left - 8}" y="{y(speed) + 4:.1f}" text-anchor="end">{speed}</text>')
    for order in orders:
        svg.append(f'<text x="{x(order):.1f}" y="{TOP + HEIGHT + 18}" '
                   f'text-anchor="middle">{order}</text>')
    svg.append(f'<text x="{left + WIDTH / 2}" y="{TOP + HEIGHT + 36}" '
               f'text-anchor="middle">order (log2 of the length)</text>')
    for name, colour in LIBRARIES.items():
        if name not in curves:
            continue
        points = [(x(order), y(gflops(kind, order, t))) for order, t in sorted(curves[name].items())]
        path = " ".join(f"{px:.1f},{py:.1f}" for px, py in points)
        svg.append(f'<polyline points="{path}" fill="none" stroke="{colour}" '
                   f'stroke-width="{3 if name == "qorac" else 1.5}"/>')
    return svg


def draw(times):
    total = 2 * (LEFT + WIDTH) + GAP
    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{total}" height="{TOP + HEIGHT + 80}" '
           f'font-family="sans-serif" font-size="12">', '<rect width="100%" height="100%" fill="white"/>']
    svg += panel("complex", times["complex"], LEFT)
    svg += panel("real", times["real"], LEFT + WIDTH + GAP)
    for i, (name, colour) in enumerate(LIBRARIES.items()):
        at = LEFT + 140 * i
        base = TOP + HEIGHT + 62
        svg.append(f'<line x1="{at}" y1="{base - 4}" x2="{at + 24}" y2="{base - 4}" '
                   f'stroke="{colour}" stroke-width="3"/>')
        svg.append(f'<text x="{at + 30}" y="{base}">{name}</text>')
    svg.append("</svg>")
    return "\n".join(svg) + "\n"


def main():
    source, picture = sys.argv[1], sys.argv[2]
    text = open(source).read() if source.endswith(".json") else run(source)
    if len(sys.argv) > 3:
        open(sys.argv[3], "w").write(text)
    times = best_times(text)
    print_table(times)
    open(picture, "w").write(draw(times))


if __name__ == "__main__":
    main()
