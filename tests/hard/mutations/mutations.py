#!/usr/bin/env python3
"""mutations.py: changes recordstore/ and catalogue/ in one place at a time and sees whether a test
notices.

Whatever no test notices must stand in survivors.txt with the reason; whatever stands there must be
such a place still. Ends with lines FIGURE, the survivors without a reason, and exit status 1 when
there are any. What was found out is kept in the build folder: a run that was interrupted goes on,
and a run after a change repeats what the change may concern.
"""
import argparse
import collections
import fnmatch
import hashlib
import json
import pathlib
import queue
import signal
import sys
import threading

sys.dont_write_bytecode = True
import mutants as making
import workplace

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent.parent
MUTATED = ("recordstore", "catalogue")
# One that every program must notice.
DEADLY = ("recordstore/CQuasiStructFile.cpp", "return file->Read(buffer, count);", "return")


def options():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "mutations",
                        help="the build folder (default: build/mutations)")
    parser.add_argument("--jobs", type=int, choices=(1, 2), default=2, help="workers")
    parser.add_argument("--every", type=int, default=1, metavar="N", help="each N-th mutant only")
    parser.add_argument("--only", action="append", metavar="NAME", default=[],
                        help="the mutants whose name fits, as in 'catalogue/*:drop'; may be given "
                             "several times")
    parser.add_argument("--quick", action="store_true",
                        help="without the tests that take seconds; what survives is not final")
    parser.add_argument("--fresh", action="store_true", help="forget what earlier runs found out")
    parser.add_argument("--list", action="store_true", help="print the mutants' names and stop")
    return parser.parse_args()


def read_mutants():
    """All mutants in order of their files, with their lasting names."""
    found = []
    for layer in MUTATED:
        for path in sorted((ROOT / layer).iterdir()):
            if path.suffix in (".h", ".cpp"):
                name = str(path.relative_to(ROOT))
                of_file = making.mutants_of(name, path.read_text())
                found += zip(of_file, making.lasting_names(of_file))
    return found


def read_reasons():
    """The reason of each survivor that has one, by its lasting name."""
    reasons = {}
    for line in (HERE / "survivors.txt").read_text().splitlines():
        if line.strip() and not line.startswith("#"):
            name, _, reason = line.rpartition(" @@ ")
            if name.count(" @@ ") != 3 or not reason.strip() or name in reasons:
                raise SystemExit(f"survivors.txt: not an entry of its own with a reason: {line}")
            reasons[name] = reason
    return reasons


def digest(*texts):
    return hashlib.sha256("\0".join(texts).encode()).hexdigest()[:16]


class Results:
    """What is known of each mutant, one JSON line each; the last line counts. A kill counts as long
    as the mutated file is the same. A survival counts for each stage by itself, as long as the
    stage's program and all sources of the library are the same."""

    def __init__(self, path, is_fresh):
        self.path, self.known = path, {}
        if is_fresh:
            path.unlink(missing_ok=True)
        elif path.exists():
            for line in path.read_text().splitlines():
                result = json.loads(line)
                self.known[result["name"]] = result
        self.lock = threading.Lock()

    def get(self, name, source):
        result = self.known.get(name)
        return result if result and result["source"] == digest(source) else None

    def left(self, name, source, stages):
        """The stages that have something to say yet about the mutant."""
        result = self.get(name, source)
        if result is None:
            return stages
        if result["verdict"] != "survived":
            return []
        return [stage for stage in stages if result["passed"].get(stage.name) != stage.digest]

    def add(self, name, source, verdict, by, passed):
        before = self.get(name, source) or {"passed": {}}
        result = {"name": name, "source": digest(source), "verdict": verdict, "by": by, "passed": {
            **before["passed"], **{stage.name: stage.digest for stage in passed}}}
        with self.lock:
            self.known[name] = result
            with self.path.open("a") as file:
                file.write(json.dumps(result) + "\n")


def stages_by_layer(build, is_quick):
    """For each layer the stages in the order in which its mutants meet them; each is one object,
    wherever it stands."""
    sources = digest(*(path.read_text()
                       for layer in (*workplace.LAYERS, "foundation", "foundation/embedded")
                       for path in sorted((ROOT / layer).glob("*.*"))))
    made = {}
    for layer in MUTATED:
        for stage in workplace.stages_of(layer):
            if not (stage.is_slow and is_quick):
                program = hashlib.sha256((build.folder / stage.path).read_bytes()).hexdigest()
                stage.digest = digest(sources, program, stage.filter)
                made.setdefault(stage.name, stage)
    return {layer: [made[stage.name] for stage in workplace.stages_of(layer) if stage.name in made]
            for layer in MUTATED}


def check_the_tools(worker, stages):
    """The unmutated library passes everything, a deadly mutant nothing, and without a library of
    the worker's own no program runs: so none reads another. Sets the stages' time limits."""
    name, line, kind = DEADLY
    text = (ROOT / name).read_text()
    deadly = [mutant for mutant in making.mutants_of(name, text)
              if mutant.line_text == line and mutant.kind == kind]
    if len(deadly) != 1:
        raise SystemExit(f"the deadly mutant is not there: {name}: {line}")
    if not worker.make():
        raise SystemExit("the unmutated library does not link")
    for stage in stages:
        if worker.test(stage, library="/nonexistent")[0] != "exit status 127":
            raise SystemExit(f"{stage.name} runs on a library that is not the worker's")
        failed, seconds = worker.test(stage)
        if failed:
            raise SystemExit(f"{stage.name} fails without any mutant: {failed}")
        stage.limit = max(workplace.LEAST_TIME, workplace.TIMES_AS_LONG * seconds)
        print(f"{stage.name}: passes in {seconds:.1f} s", flush=True)
    if not worker.make(name, making.mutated(text, deadly[0])):
        raise SystemExit("the deadly mutant is no program")
    for stage in stages:
        if not worker.test(stage)[0]:
            raise SystemExit(f"{stage.name} does not notice that nothing is read")


def verdict_of(worker, stages, mutant, source):
    """The verdict and what killed it."""
    if not worker.make(mutant.file, making.mutated(source, mutant)):
        return "not a program", ""
    for stage in stages:
        failed, _ = worker.test(stage)
        if failed:
            return "killed", f"{stage.name}: {failed}"
    return "survived", ""


def try_all(wanted, workers, results):
    """Tries the mutants, each worker one at a time."""
    work, errors = queue.SimpleQueue(), []
    for item in enumerate(wanted, 1):
        work.put(item)

    def serve(worker):
        while not errors:
            try:
                number, (mutant, source, stages) = work.get_nowait()
            except queue.Empty:
                return
            name = making.name_of(mutant)
            try:
                verdict, by = verdict_of(worker, stages, mutant, source)
            except BaseException as error:
                errors.append(error)
                raise
            results.add(name, source, verdict, by, stages if verdict == "survived" else ())
            print(f"{number}/{len(wanted)} {name}: {verdict} {by}".rstrip(), flush=True)

    threads = [threading.Thread(target=serve, args=(worker,)) for worker in workers]
    for thread in threads:
        thread.start()
    try:
        for thread in threads:
            thread.join()
    except KeyboardInterrupt as interruption:
        errors.append(interruption)
        for thread in threads:
            thread.join()
    if errors:
        raise SystemExit("interrupted; the same command goes on from here")


def report(chosen, results, reasons, is_whole, is_quick):
    """Prints the figures and the survivors; True when each of these has a reason."""
    counts, failures, used = collections.Counter(), [], set()
    by_kind = collections.Counter()
    for mutant, lasting_name, source in chosen:
        result = results.get(making.name_of(mutant), source)
        counts[result["verdict"]] += 1
        by_kind[result["by"].rpartition(": ")[2] == "time-out"] += result["verdict"] == "killed"
        if result["verdict"] != "survived":
            continue
        used.add(lasting_name)
        reason = reasons.get(lasting_name)
        print(f"survived: {making.name_of(mutant)}: {mutant.before} -> {mutant.after}: "
              f"{reason or 'no reason known'}")
        if reason is None:
            failures.append(f"no test notices, and no reason is known: {lasting_name}")
    if is_whole and not is_quick:
        failures += [f"in survivors.txt, but noticed or gone: {name}"
                     for name in reasons if name not in used]
    programs = counts["killed"] + counts["survived"]
    print(f"FIGURE mutants: {len(chosen)}")
    print(f"FIGURE mutants that are not a program: {counts['not a program']}")
    print(f"FIGURE mutants killed: {counts['killed']}, of these by a time limit: {by_kind[True]}")
    print(f"FIGURE mutants survived: {counts['survived']}, of these with a reason: "
          f"{counts['survived'] - sum(text.startswith('no test') for text in failures)}")
    if programs:
        print(f"FIGURE share killed: {100 * counts['killed'] / programs:.1f} %")
    for failure in failures:
        print("FAILED:", failure)
    return not failures


def main():
    arguments = options()
    for ending in (signal.SIGINT, signal.SIGTERM):
        signal.signal(ending, signal.default_int_handler)
    found = read_mutants()
    chosen = [(mutant, name, (ROOT / mutant.file).read_text())
              for mutant, name in found[::arguments.every]
              if not arguments.only or any(fnmatch.fnmatchcase(making.name_of(mutant), name)
                                           for name in arguments.only)]
    if not chosen:
        raise SystemExit("no such mutant")
    if arguments.list:
        for mutant, _, _ in chosen:
            print(f"{making.name_of(mutant)}: {mutant.before} -> {mutant.after}")
        return 0
    reasons = read_reasons()
    build = workplace.Build(ROOT, arguments.build.resolve(), arguments.jobs)
    results = Results(build.folder / "mutants" / "results.jsonl", arguments.fresh)
    stages = stages_by_layer(build, arguments.quick)
    wanted = []
    for mutant, _, source in chosen:
        left = results.left(making.name_of(mutant), source, stages[mutant.file.split("/")[0]])
        if left:
            wanted.append((mutant, source, left))
    if wanted:
        workers = [workplace.Worker(build, number) for number in range(arguments.jobs)]
        try:
            check_the_tools(workers[0], stages[MUTATED[0]])
            try_all(wanted, workers, results)
        finally:
            for worker in workers:
                worker.close()
    is_whole = len(chosen) == len(found)
    return 0 if report(chosen, results, reasons, is_whole, arguments.quick) else 1


if __name__ == "__main__":
    sys.exit(main())
