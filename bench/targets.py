"""What the library is to reach beside the floor and the others, and what the figures say of it."""

SQLITE = ["sqlite-wal", "sqlite-rollback"]
COUNTS = [100, 1000, 10000, 100000]


class Target:
    """One line: what is measured against what, at which numbers of records, and how much is allowed."""

    def __init__(self, name, limit, measure, counts, wanted=None):
        self.name = name
        self.limit = limit
        self.measure = measure  # (figures, place, count) gives the figure, or None.
        self.counts = counts
        self.wanted = wanted or f"at most {limit:g} x"

    def values(self, figures, place):
        """(count, figure) of all that was measured."""
        values = [(count, self.measure(figures, place, count)) for count in self.counts]
        return [(count, value) for count, value in values if value is not None]

    def is_met(self, figures, place):
        return all(value <= self.limit for _, value in self.values(figures, place))


def ratio(one, other):
    return None if one is None or not other else one / other


def to(workload, other, unit="us"):
    """The library's time in other's."""
    return lambda figures, place, count: ratio(figures.median(workload, place, count, unit=unit),
                                               figures.median(workload, place, count, other, unit))


def growth(workload):
    """A record's time at `count` records in that at 1,000."""
    def measure(figures, place, count):
        many, few = (figures.median(workload, place, size) for size in (count, 1000))
        return ratio(many, None if few is None else few * count / 1000)
    return measure


def two_threads(figures, place, count):
    return ratio(figures.median("walk by two threads, a step of each", place, count, unit="ns"),
                 figures.median("walk, a step", place, count, unit="ns"))


def all_targets():
    def ahead_of(workload, others, counts, unit="us"):
        return [Target(f"{workload}: to {other}", 1, to(workload, other, unit), counts, f"ahead of {other}")
                for other in others]

    for workload in ("load in a new process", "load again"):
        yield Target(f"{workload}: to the floor", 1.5, to(workload, "floor"), COUNTS)
        yield from ahead_of(workload, [*SQLITE, "tdb", "gdbm"], COUNTS)
        yield Target(f"{workload}: to lmdb", 1.5, to(workload, "lmdb"), COUNTS)
    yield Target("add one, open handle: to the floor", 1.4, to("add one, open handle", "floor"), [100])
    yield Target("add one, open handle: to the floor", 1.15, to("add one, open handle", "floor"), COUNTS[1:])
    yield Target("add one, without the checks: to the floor", 1.5, to("add one, without the checks", "floor"),
                 COUNTS)
    yield from ahead_of("add one in a new process", SQLITE, [100])
    yield from ahead_of("add one, same contract", SQLITE, [100, 1000])
    for other in SQLITE:
        yield Target(f"add one, same contract: to {other}", 1.15, to("add one, same contract", other), [10000])
    yield from ahead_of("10,000 adds at once", SQLITE, [0, 10000])
    for workload in ("find, there", "find, not there"):
        yield Target(f"{workload}: to the lean walk", 1.5, to(workload, "floor"), COUNTS)
        yield from ahead_of(workload, SQLITE, [100, 1000])
    yield Target("walk: a step in ns", 20,
                 lambda figures, place, count: figures.median("walk, a step", place, count, unit="ns"), COUNTS,
                 "at most 20 ns")
    yield from ahead_of("walk, a step", SQLITE, COUNTS, "ns")
    yield Target("walk: two threads' step to one's", 1.5, two_threads, COUNTS)
    yield Target("heap of a record in bytes", 600,
                 lambda figures, place, count: figures.median("heap of a record", place, count, unit="bytes"),
                 COUNTS[1:], "at most 600")
    for workload in ("load again", "save", "edit of one record"):
        yield Target(f"growth of {workload}: a record's time at 100,000 to that at 1,000", 1.3, growth(workload),
                     [100000])
