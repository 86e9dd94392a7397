#!/usr/bin/env python3
"""plots.py RESULTS FOLDER: time against the number of records, an SVG for each workload, by gnuplot.

Both axes are logarithmic; a line joins the medians of one contender, its bars reach from minimum to
maximum.
"""
import pathlib
import re
import subprocess
import sys

import results

FEWEST_POINTS = 3
# The same contender looks the same in every plot.
COLOURS = {"quendril": "#d62728", "floor": "#000000", "sqlite-wal": "#1f77b4",
           "sqlite-rollback": "#7fb2dd", "lmdb": "#2ca02c", "tdb": "#9467bd", "gdbm": "#ff7f0e", "checks-alone": "#999999"}
UNITS = {"us": "µs", "ns": "ns", "bytes": "bytes"}


def plot(figures, workload, place, unit, counts, folder):
    contenders = [one for one in figures.contenders(workload, place, unit) if one in COLOURS]
    name = re.sub(r"[^a-z0-9]+", "-", f"{workload} {place}".lower()).strip("-") + ".svg"
    script = ["set terminal svg size 720,480 font 'sans,13' background '#ffffff'",
              f"set output '{folder / name}'", "set logscale xy",
              f"set title '{workload}, {place}'", "set xlabel 'records'",
              f"set ylabel '{UNITS[unit]}'", "set key outside right", "set grid",
              "set format x '%.0f'", "set bars small"]
    lines = []
    for number, contender in enumerate(contenders):
        script.append(f"$data{number} << END")
        for count in counts:
            figure = figures.get(workload, place, unit, count, contender)
            if figure is not None and figure.min > 0:
                script.append(f"{count} {figure.median} {figure.min} {figure.max}")
        script.append("END")
        style = f"linecolor rgb '{COLOURS[contender]}' pointtype 7 pointsize 0.5"
        width = 2.5 if contender == "quendril" else 1.2
        lines.append(f"$data{number} with yerrorlines linewidth {width} {style} title '{contender}'")
    script.append("plot " + ", ".join(lines))
    subprocess.run(["gnuplot"], input="\n".join(script), text=True, check=True)
    print(folder / name)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    figures = results.Results(sys.argv[1])
    folder = pathlib.Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    for workload, place, unit in figures.workloads():
        counts = figures.counts(workload, place, unit)
        if len(counts) >= FEWEST_POINTS and unit in UNITS:
            plot(figures, workload, place, unit, counts, folder)


if __name__ == "__main__":
    main()
