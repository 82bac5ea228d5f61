#!/usr/bin/env python3
"""Times predicting the rows of a table, with its cells and with some of them unknown.

Usage: predicting.py ORVCMD STEM... [options], where STEM.names and STEM.data (or STEM.data.gz) are a
table. One model of each kind is grown on all rows and scores them, then the same rows with 1, 5 and
20 % of the cells unknown, at random; the runs take turns. Figures are the least seconds of the
processor by one worker: of the whole run, and without reading the model, which is the run on one
row. Where scikit-learn is installed its forest predicts the numbers of the same rows in memory.
"""
import argparse
import gzip
import os
import random
import resource
import subprocess
import sys
import tempfile

KINDS = {"single": [], "-rf": ["-rf", "TREES"], "-bo": ["-bo", "TREES"], "-fo": ["-fo", "TREES"]}
SHARES = (1, 5, 20)  # of the cells unknown, in percent
FOREST = """
import sys, time, pandas
from sklearn.ensemble import RandomForestClassifier
data = pandas.read_csv(sys.argv[1], header=None, na_values="?", skipinitialspace=True)
y = data.pop(int(sys.argv[2])).astype(str)
X = data.apply(lambda c: c if c.dtype.kind in "if" else c.astype("category").cat.codes).fillna(-1).values.astype("float32")
forest = RandomForestClassifier(int(sys.argv[3]), random_state=1).fit(X, y)
def once():
    start = time.process_time()
    forest.predict(X)
    return time.process_time() - start
print(min(once() for _ in range(int(sys.argv[4]))))
"""


def lines_of(stem):
    packed = not os.path.exists(stem + ".data")
    with gzip.open(stem + ".data.gz", "rt") if packed else open(stem + ".data") as data:
        return data.read().splitlines()


def class_of(stem):
    with open(stem + ".names") as names:
        roles = [line.strip().rstrip(",").split(",")[-1] for line in names if line.strip()]
    return roles.index("class")


def with_unknown(lines, kept, percent):
    draw = random.Random(percent)
    for line in lines:
        cells = line.split(",")
        yield ",".join("?" if i != kept and draw.random() * 100 < percent else c for i, c in enumerate(cells))


def write(name, lines):
    with open(name, "w") as out:
        out.writelines(line + "\n" for line in lines)


def seconds(command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def measure(orvcmd, stem, kind, how, folder):
    model = os.path.join(folder, "model")
    grow = [str(how.trees) if part == "TREES" else part for part in KINDS[kind]]
    table = ["-fm", stem + ".names", "-fd", os.path.join(folder, "0"), "-nl", "-seed", "1"]
    subprocess.run([orvcmd, *table, *grow, "-tb", model], check=True, stdout=subprocess.DEVNULL)
    files = ["one", "0", *map(str, SHARES)]
    least = dict.fromkeys(files, float("inf"))
    for _ in range(how.repeats):
        for name in files:
            score = ["-nl", "-tt", "1", "-bt", model, "-fs", os.path.join(folder, name), "-s", os.devnull]
            least[name] = min(least[name], seconds([orvcmd, *score]))
    return [least["0"], *(least[name] - least["one"] for name in files[1:])]


def has_sklearn(python):
    found = os.path.exists(python) and subprocess.run([python, "-c", "import sklearn, pandas"], capture_output=True)
    return found and found.returncode == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("orvcmd")
    parser.add_argument("stems", nargs="+")
    parser.add_argument("--trees", type=int, default=100)
    parser.add_argument("--repeats", type=int, default=5)
    how = parser.parse_args()
    python = next(filter(has_sklearn, (sys.executable, "/usr/bin/python3")), None)
    if python is None:
        print("without scikit-learn and pandas, which are not to be had")
    print("table, kind: whole run; without reading the model; times that with unknown cells, %", SHARES)
    for stem in how.stems:
        lines, kept = lines_of(stem), class_of(stem)
        with tempfile.TemporaryDirectory() as folder:
            write(os.path.join(folder, "one"), lines[:1])
            write(os.path.join(folder, "0"), lines)
            for percent in SHARES:
                write(os.path.join(folder, str(percent)), with_unknown(lines, kept, percent))
            for kind in KINDS:
                whole, plain, *others = measure(how.orvcmd, stem, kind, how, folder)
                ratios = " ".join(f"{other / plain:.2f}" if plain > 0 else "-" for other in others)
                print(f"{os.path.basename(stem)} {kind}: {whole:.3f}; {plain:.3f}; {ratios}", flush=True)
            if python is None:
                continue
            peer = [python, "-c", FOREST, os.path.join(folder, "0"), str(kept), str(how.trees), str(how.repeats)]
            told = subprocess.run(peer, check=True, capture_output=True, text=True).stdout.strip()
            print(f"{os.path.basename(stem)} scikit-learn, predict alone: {told}", flush=True)


if __name__ == "__main__":
    main()
