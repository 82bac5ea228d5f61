#!/usr/bin/env python3
"""Log-loss and Brier score before and after calibration, beside scikit-learn's.

Usage: calibration.py ORVCMD FOLDER TABLE... [--splits 5] [--rows 10000]

FOLDER has TABLE.names and TABLE.data[.gz]. A split trains on two thirds of the rows, at most so many, and
tests on the rest. scikit-learn has the same trees in number, CalibratedClassifierCV(ensemble=False, cv=10)
of the same method, names as 0/1 columns and medians for unknown numbers. The Brier score is the sum over
the classes.
"""
import argparse
import json
import pathlib
import random
import subprocess
import tempfile

import numpy
import pandas
from sklearn.calibration import CalibratedClassifierCV
from sklearn.ensemble import RandomForestClassifier
from sklearn.tree import DecisionTreeClassifier

from coverage import rows_of

MODELS = {"tree": (["-c", "0.25"], lambda: DecisionTreeClassifier(min_samples_leaf=2, random_state=1)),
          "forest": (["-rf", "50"], lambda: RandomForestClassifier(50, random_state=1))}
METHODS = {"isotonic": "isotonic", "platt": "sigmoid"}


def figures(shares, actual, classes):
    own = numpy.array([classes.index(c) if c in classes else -1 for c in actual])
    kept = numpy.clip(shares, numpy.finfo(float).eps, 1 - numpy.finfo(float).eps)
    kept /= kept.sum(axis=1, keepdims=True)
    wanted = numpy.zeros_like(shares)
    wanted[numpy.arange(len(own)), own] = 1
    return -numpy.log(kept[numpy.arange(len(own)), own]).mean(), ((shares - wanted) ** 2).sum(axis=1).mean()


def of_orvcmd(orvcmd, names, parts, options):
    out = parts["test"].with_suffix(".json")
    subprocess.run([orvcmd, "-fm", names, "-fd", parts["train"], "-ft", parts["test"], "-unseen", "-nl", "-seed", "1",
                    "-mjson", out] + options, check=True, capture_output=True)
    test = next(t for t in json.loads(out.read_text())["tests"] if t["rows"] == "test file")
    return test["log_loss"], test["brier"]


def frame_of(lines, columns, roles):
    frame = pandas.DataFrame([[cell.strip() for cell in line.strip().split(",")] for line in lines], columns=columns)
    for name, role in zip(columns, roles):
        if role == "continuous":
            frame[name] = pandas.to_numeric(frame[name], errors="coerce")
    return frame


def inputs_of(train, test, columns, roles):
    both = pandas.concat([train, test])
    kept = [c for c, role in zip(columns, roles) if role in ("continuous", "discrete")]
    both = pandas.get_dummies(both[kept].fillna(train.median(numeric_only=True)))
    return both.iloc[:len(train)].to_numpy(float), both.iloc[len(train):].to_numpy(float)


def of_sklearn(make, method, x, y, x_test, y_test):
    model = make() if method is None else CalibratedClassifierCV(make(), method=METHODS[method], cv=10,
                                                                ensemble=False)
    model.fit(x, y)
    return figures(model.predict_proba(x_test), y_test, list(model.classes_))


def split_of(lines, number, most, folder):
    drawn = lines[:]
    random.Random(number).shuffle(drawn)
    drawn = drawn[:most * 3 // 2]
    cut = len(drawn) * 2 // 3
    parts = {"train": folder / "train.data", "test": folder / "test.data"}
    parts["train"].write_text("".join(drawn[:cut]))
    parts["test"].write_text("".join(drawn[cut:]))
    return parts, drawn[:cut], drawn[cut:]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("orvcmd")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("tables", nargs="+")
    parser.add_argument("--splits", type=int, default=5)
    parser.add_argument("--rows", type=int, default=10000)
    given = parser.parse_args()
    print("| table | model | | plain | isotonic | platt |\n|---|---|---|---|---|---|")
    for table in given.tables:
        names = given.folder / f"{table}.names"
        schema = [[w.strip() for w in line.split(",")] for line in names.read_text().splitlines() if line.strip()]
        columns, roles = [s[0] for s in schema], [s[2] for s in schema]
        target = columns[roles.index("class")]
        lines = rows_of(given.folder, table)
        for model, (options, make) in MODELS.items():
            found = {}
            for number in range(given.splits):
                with tempfile.TemporaryDirectory() as scratch:
                    parts, train, test = split_of(lines, number, given.rows, pathlib.Path(scratch))
                    train, test = frame_of(train, columns, roles), frame_of(test, columns, roles)
                    x, x_test = inputs_of(train, test, columns, roles)
                    for method in (None, "isotonic", "platt"):
                        asked = options + (["-calibrate", method] if method else [])
                        found.setdefault(("orvik", method), []).append(of_orvcmd(given.orvcmd, names, parts, asked))
                        found.setdefault(("scikit-learn", method), []).append(
                            of_sklearn(make, method, x, train[target], x_test, test[target]))
            for system in ("orvik", "scikit-learn"):
                means = [numpy.mean(found[system, method], axis=0) for method in (None, "isotonic", "platt")]
                print(f"| {table} | {model} | {system} | "
                      + " | ".join(f"{loss:.3f} / {brier:.3f}" for loss, brier in means) + " |", flush=True)


if __name__ == "__main__":
    main()
