#!/usr/bin/env python3
"""count-calls.py PROGRAM RESULTS [--quick]: the system calls of each operation on a record store.

PROGRAM is bench-record-operations. Prints a table and appends the figures to RESULTS, a file of
comma-separated values that the benchmarks write. --quick leaves out the store of 100,000 records.
"""
import sys

import calls


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    program, results = sys.argv[1:3]
    operations = calls.run([program, "--list"]).stdout.splitlines()
    print(f"\n{'system calls of one operation':32}{'records':>9}{'calls':>8}")
    with open(results, "a") as out:
        for count in [1000] if "--quick" in sys.argv else [1000, 100000]:
            for operation in operations:
                counted = calls.count([program, operation, str(count), calls.folder()])
                total = sum(counted.values())
                names = ", ".join(f"{times} {name}" for name, times in counted.most_common())
                print(f"{operation:32}{count:9}{total:8}  {names}", flush=True)
                out.write(f'"{operation}",{count},tmpfs,quendril,calls,{total},{total},{total},1\n')


if __name__ == "__main__":
    main()
