#!/usr/bin/env python3
"""Compares what growing costs: ensembles beside scikit-learn, and weighed cases beside counted ones.

Usage: growing.py ORVCMD STEM... [options], where STEM.names and STEM.data (or STEM.data.gz) are a
table. scikit-learn (with pandas) is left out where /usr/bin/python3 does not have it.

Figures are the processor's seconds of all threads, so that a busy machine tells much the same; the
least of several runs, the programs taking turns. Loading is taken off: that of a run that grows a
leaf. Orvik's are of the whole program otherwise, scikit-learn's of fit() alone.
"""
import argparse
import gzip
import os
import random
import resource
import subprocess
import sys
import tempfile

SKLEARN = """
import sys, time
sys.path.insert(0, sys.argv[1])
import sklearn_peer
from sklearn.ensemble import RandomForestClassifier
path, roles, trees, workers = sys.argv[2], sys.argv[3], int(sys.argv[4]), int(sys.argv[5])
x, y = sklearn_peer.read(path, roles)
start = time.process_time()
RandomForestClassifier(trees, n_jobs=workers, random_state=1).fit(x, y)
print(time.process_time() - start)
"""
PEERS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "peers")


class Table:
    """A table in the forms that are measured: as it is, with a column of weights, and as CSV."""

    def __init__(self, stem, folder):
        self.name = os.path.basename(stem)
        at = os.path.join(folder, self.name)
        with open(stem + ".names") as names:
            schema = [line.strip() for line in names if line.strip()]
        packed = not os.path.exists(stem + ".data")
        with gzip.open(stem + ".data.gz", "rt") if packed else open(stem + ".data") as data:
            rows = data.read().splitlines()
        kinds = [line.split(",")[1:3] for line in schema]
        self.roles = "".join("y" if role == "class" else "c" if role == "continuous" and not kind.startswith("o")
                             else "d" if role in ("discrete", "continuous") else "-" for kind, role in kinds)
        self.plain, self.weighed, self.csv = at, at + "-weighed", at + ".csv"
        draw = random.Random(1)
        weights = [f"{0.5 + draw.random():.6f}" for _ in rows]
        self.write(self.plain, schema, rows)
        without = [line.replace(",weights", ",ignore") for line in schema]
        self.write(self.weighed, without + ["w,double,weights"], [f"{r},{w}" for r, w in zip(rows, weights)])
        with open(self.csv, "w") as out:
            out.write(",".join(f"c{i}" for i in range(len(schema))) + "\n" + "\n".join(rows) + "\n")

    @staticmethod
    def write(at, schema, rows):
        with open(at + ".names", "w") as names, open(at + ".data", "w") as data:
            names.writelines(line + "\n" for line in schema)
            data.writelines(row + "\n" for row in rows)


def processor_seconds(command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def comparisons(orvcmd, table, trees, workers, has_sklearn):
    """Pairs of what is compared: a label, and functions that give seconds."""
    def orvik(stem, *options):
        command = [orvcmd, "-nl", "-f", stem, "-seed", "1", "-tt", str(workers)]
        loading = processor_seconds(command + ["-depth", "0", "-np"])
        return processor_seconds(command + list(options)) - loading

    def sklearn():
        command = ["/usr/bin/python3", "-c", SKLEARN, PEERS, table.csv, table.roles, str(trees), str(workers)]
        return float(subprocess.run(command, capture_output=True, text=True, check=True).stdout)

    if has_sklearn:
        yield f"-rf {trees}, scikit-learn", lambda: orvik(table.plain, "-rf", str(trees)), sklearn
    yield "a tree: counted, weighed", lambda: orvik(table.plain), lambda: orvik(table.weighed)
    ten = [lambda kind=kind: orvik(table.plain, kind, "10") for kind in ("-ba", "-bo")]
    yield "-ba 10, -bo 10", *ten


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("orvcmd")
    parser.add_argument("stems", nargs="+")
    parser.add_argument("--trees", default=100, type=int)
    parser.add_argument("--workers", default=1, type=int)
    parser.add_argument("--repeats", default=5, type=int)
    args = parser.parse_args()
    check = ["/usr/bin/python3", "-c", "import sklearn, pandas"]
    has_sklearn = os.path.exists(check[0]) and subprocess.run(check, capture_output=True).returncode == 0
    print("| Table | compared | first | second | second / first |\n|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as folder:
        for stem in args.stems:
            table = Table(stem, folder)
            for label, *sides in comparisons(args.orvcmd, table, args.trees, args.workers, has_sklearn):
                runs = [[side() for side in sides] for _ in range(args.repeats)]
                first, second = (min(of_side) for of_side in zip(*runs))
                print(f"| {table.name} | {label} | {first:.3f} | {second:.3f} | {second / first:.2f} |", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
