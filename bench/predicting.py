#!/usr/bin/env python3
"""Times predicting the rows of a table, with its cells and with some of them unknown.

Usage: predicting.py ORVCMD STEM... [options], where STEM.names and STEM.data (or STEM.data.gz) are a
table. One model of each kind is grown on all rows and scores them, then the same rows with 1, 5 and
20 % of the cells unknown, at random; the runs take turns. Figures are the least seconds of the
processor by one worker: of the whole run, and without reading the model, which is the run on one
row. Forests of scikit-learn and ranger and trees of XGBoost, where these are installed, predict the
numbers of the same rows in memory; an unknown cell is the number -1 there.
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
PEER = """
import sys, time, pandas
name, file, column, trees, repeats = sys.argv[1], sys.argv[2], *map(int, sys.argv[3:])
data = pandas.read_csv(file, header=None, na_values="?", skipinitialspace=True)
y = data.pop(column).astype("category").cat.codes
X = data.apply(lambda c: c if c.dtype.kind in "if" else c.astype("category").cat.codes).fillna(-1).values.astype("float32")
if name == "XGBoost":
    from xgboost import XGBClassifier
    model = XGBClassifier(n_estimators=trees, tree_method="hist", n_jobs=1, verbosity=0).fit(X, y)
else:
    from sklearn.ensemble import RandomForestClassifier
    model = RandomForestClassifier(trees, random_state=1).fit(X, y)
def once():
    start = time.process_time()
    model.predict(X)
    return time.process_time() - start
print(min(once() for _ in range(repeats)))
"""
RANGER = """
args <- commandArgs(TRUE)
data <- read.csv(args[1], header = FALSE, na.strings = "?", strip.white = TRUE, stringsAsFactors = TRUE)
y <- as.integer(args[2]) + 1
x <- as.data.frame(lapply(data[-y], as.numeric))
x[is.na(x)] <- -1
forest <- ranger::ranger(x = x, y = factor(data[[y]]), num.trees = as.integer(args[3]), num.threads = 1, seed = 1)
once <- function(i) sum(system.time(predict(forest, x, num.threads = 1))[1:2])
cat(min(sapply(seq_len(as.integer(args[4])), once)))
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


def runs(command):
    try:
        return subprocess.run(command, capture_output=True).returncode == 0
    except OSError:
        return False


def peers():
    """Those that are installed: a name and the command that file, class column, trees and repeats follow."""
    for name, module in (("scikit-learn", "sklearn"), ("XGBoost", "xgboost")):
        has = [p for p in (sys.executable, "/usr/bin/python3") if runs([p, "-c", f"import {module}, pandas"])]
        if has:
            yield name, [has[0], "-c", PEER, name]
    if runs(["Rscript", "-e", "library(ranger)"]):
        yield "ranger", ["Rscript", "-e", RANGER]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("orvcmd")
    parser.add_argument("stems", nargs="+")
    parser.add_argument("--trees", type=int, default=100)
    parser.add_argument("--repeats", type=int, default=5)
    how = parser.parse_args()
    others_here = list(peers())
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
            for name, command in others_here:
                at = [os.path.join(folder, "0"), str(kept), str(how.trees), str(how.repeats)]
                told = subprocess.run(command + at, check=True, capture_output=True, text=True).stdout
                print(f"{os.path.basename(stem)} {name}, predict alone: {float(told.split()[-1]):.3f}", flush=True)


if __name__ == "__main__":
    main()
