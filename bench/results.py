"""The figures that the benchmarks have written: a file of comma-separated values."""
import collections
import csv

Figure = collections.namedtuple("Figure", "median min max repetitions unit")


class Results:
    """Figures by workload, place and number of records, and then by contender."""

    def __init__(self, path):
        self.figures = collections.defaultdict(dict)
        with open(path, newline="") as lines:
            for row in csv.DictReader(lines):
                key = (row["workload"], row["place"], row["unit"], int(row["n"]))
                self.figures[key][row["contender"]] = Figure(
                    float(row["median"]), float(row["min"]), float(row["max"]),
                    int(row["repetitions"]), row["unit"])

    def workloads(self):
        """(workload, place, unit) in the order of the file."""
        return list(dict.fromkeys(key[:3] for key in self.figures))

    def counts(self, workload, place, unit):
        return sorted(key[3] for key in self.figures if key[:3] == (workload, place, unit))

    def contenders(self, workload, place, unit):
        return list(dict.fromkeys(
            contender for count in self.counts(workload, place, unit)
            for contender in self.figures[workload, place, unit, count]))

    def get(self, workload, place, unit, count, contender):
        """None for what was not measured."""
        return self.figures.get((workload, place, unit, count), {}).get(contender)

    def median(self, workload, place, count, contender="quendril", unit="us"):
        figure = self.get(workload, place, unit, count, contender)
        return None if figure is None else figure.median

    def places(self):
        return list(dict.fromkeys(key[1] for key in self.figures))
