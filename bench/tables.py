#!/usr/bin/env python3
"""tables.py RESULTS [DOCUMENT]: the figures as Markdown, to standard output or into a document.

In the document each of the parts `targets` and `figures` takes the place of what stands between its
marks, <!-- NAME: begin --> and <!-- NAME: end -->.
"""
import pathlib
import re
import sys

import results
import targets

SCALES = {"us": [(1e6, "s"), (1e3, "ms"), (1, "µs"), (1e-3, "ns")], "ns": [(1, "ns")],
          "bytes": [(1, "bytes")]}


def short(value):
    """Three digits."""
    return f"{value:.0f}" if abs(value) >= 100 else f"{value:.3g}"


def cell(figure, floor):
    scale, unit = next(((scale, unit) for scale, unit in SCALES[figure.unit] if figure.median >= scale),
                       SCALES[figure.unit][-1])
    text = f"{short(figure.median / scale)} {unit} ({short(figure.min / scale)} to {short(figure.max / scale)})"
    return text if floor is None else f"{text} {figure.median / floor.median:.2f}"


def table(head, rows):
    return "\n".join("| " + " | ".join(row) + " |" for row in [head, ["---"] * len(head), *rows])


def workload_table(figures, workload, place, unit):
    counts = figures.counts(workload, place, unit)
    rows = []
    for contender in figures.contenders(workload, place, unit):
        row = [contender]
        for count in counts:
            figure = figures.get(workload, place, unit, count, contender)
            floor = figures.get(workload, place, unit, count, "floor")
            row.append("" if figure is None else cell(figure, floor))
        rows.append(row)
    fewest = min(figure.repetitions for count in counts
                 for figure in figures.figures[workload, place, unit, count].values())
    repetitions = "" if fewest >= 9 else f" (medians of {fewest})"
    return f"### {workload}, {place}{repetitions}\n\n" + table(["", *(f"{count:,}" for count in counts)], rows)


def operations_table(figures):
    """Of what has its system calls counted."""
    rows = []
    for workload, place, unit in figures.workloads():
        if unit != "calls":
            continue
        row = [workload]
        for count in (1000, 100000):
            calls = figures.get(workload, place, "calls", count, "quendril")
            time = figures.get(workload, place, "us", count, "quendril")
            row += ["" if calls is None else f"{calls.median:.0f}", "" if time is None else cell(time, None)]
        rows.append(row)
    return table(["operation", "calls at 1,000", "time", "calls at 100,000", "time"], rows) if rows else ""


def figures_part(figures):
    counted = {key[0] for key in figures.workloads() if key[2] == "calls"}
    parts = [workload_table(figures, *key) for key in figures.workloads() if key[0] not in counted]
    operations = operations_table(figures)
    return "\n\n".join(parts + ([f"### Operations on single records\n\n{operations}"] if operations else []))


def targets_part(figures):
    rows = []
    for target in targets.all_targets():
        for place in figures.places():
            values = target.values(figures, place)
            if values:
                measured = ", ".join(f"{value:.2f} at {count:,}" for count, value in values)
                rows.append([target.name, place, target.wanted, measured,
                             "met" if target.is_met(figures, place) else "**missed**"])
    return table(["", "on", "wanted", "measured", ""], rows)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    figures = results.Results(sys.argv[1])
    parts = {"targets": targets_part(figures), "figures": figures_part(figures)}
    if len(sys.argv) == 2:
        print("\n\n".join(parts.values()))
        return
    document = pathlib.Path(sys.argv[2])
    text = document.read_text()
    for name, part in parts.items():
        begin, end = f"<!-- {name}: begin -->", f"<!-- {name}: end -->"
        if begin not in text or end not in text:
            sys.exit(f"{document} has no marks for {name}")
        text = re.sub(f"{begin}.*{end}", lambda _: f"{begin}\n{part}\n{end}", text, flags=re.DOTALL)
    document.write_text(text)


if __name__ == "__main__":
    main()
