#!/usr/bin/env python3
"""check-mutants.py: the mutants of sample.txt are those of sample-mutants.txt, neither more nor
fewer; each changes its place and no line's number; and each entry of survivors.txt is the name of a
mutant of the sources as they are. It neither compiles nor tries any."""
import pathlib
import sys

sys.dont_write_bytecode = True
import mutants as making
import mutations

failures = []
here = pathlib.Path(__file__).resolve().parent
sample = (here / "sample.txt").read_text()
expected = (here / "sample-mutants.txt").read_text().splitlines()
found = making.mutants_of("sample", sample)
shown = [f"{mutant.line}:{mutant.column} {mutant.function} {mutant.kind}: "
         f"{mutant.before} -> {mutant.after}".rstrip() for mutant in found]
failures += [f"missing in what is found: {line}" for line in expected if line not in shown]
failures += [f"not expected: {line}" for line in shown if line not in expected]
if not failures and shown != expected:
    failures.append("the order is another one")

for mutant in found:
    text = making.mutated(sample, mutant)
    if text == sample or text.count("\n") != sample.count("\n"):
        failures.append(f"changes nothing, or the lines: {making.name_of(mutant)}")

every = mutations.read_mutants()
if len({making.name_of(mutant) for mutant, _ in every}) != len(every):
    failures.append("two mutants have one name")
lasting = {name for _, name in every}
if len(lasting) != len(every):
    failures.append("two mutants have one lasting name")
reasons = mutations.read_reasons()
failures += [f"in survivors.txt, but no mutant: {name}" for name in reasons if name not in lasting]

print(f"FIGURE mutants of the sample: {len(found)}, of the sources: {len(every)}, "
      f"explained: {len(reasons)}")
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
