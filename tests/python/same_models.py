#!/usr/bin/env python3
"""Trains models of text tables by the program and by the package, and compares them byte by byte.

Usage: same_models.py ORVCMD NAMES[:DATA] [...]; PYTHONPATH leads to the package. Exit status 0 where
all are the same but for their names and times.
"""
import gzip
import os
import re
import subprocess
import sys
import tempfile

import numpy as np
import pandas as pd

import orvik

# Options of the program, the estimator that equals them, and how both are calibrated on rows.
MODELS = [
    ([], lambda: orvik.TreeClassifier()),
    (["-npp", "-gain", "-m", "1"], lambda: orvik.TreeClassifier(pruning="none", split="gain", min_weight=1)),
    (["-repg", "-seed", "7"], lambda: orvik.TreeClassifier(pruning="repg", random_state=7)),
    (["-ba", "5", "-seed", "3"], lambda: orvik.BaggingClassifier(n_estimators=5, random_state=3)),
    (["-rf", "10", "-seed", "3"], lambda: orvik.ForestClassifier(n_estimators=10, random_state=3)),
    (["-bo", "5", "-seed", "3"], lambda: orvik.BoostClassifier(n_estimators=5, random_state=3)),
    (["-costs", "costs", "-laplace"], lambda: orvik.TreeClassifier(laplace=True)),
    (["-costs", "costs", "-costw"], lambda: orvik.TreeClassifier(cost_use="weighs")),
    (["-costs", "costs", "-ba", "5", "-seed", "3"], lambda: orvik.BaggingClassifier(n_estimators=5, random_state=3)),
    (["-cw", "balanced", "-rf", "5", "-seed", "3"],
     lambda: orvik.ForestClassifier(n_estimators=5, random_state=3, class_weight="balanced")),
    (["-cw", "weights"], lambda: orvik.TreeClassifier()),
    (["-laplace"], lambda: orvik.TreeClassifier(laplace=True), "isotonic"),
    (["-ba", "5", "-seed", "3"], lambda: orvik.BaggingClassifier(n_estimators=5, random_state=3), "platt"),
    (["-ba", "5", "-seed", "3"], lambda: orvik.BaggingClassifier(n_estimators=5, random_state=3), "plain"),
]
TABLE = "the table"
DTYPES = {"integer": "Int32", "uinteger": "UInt32", "float": "float32", "double": "float64"}


def frame_of(names, data):
    """Features, classes and weights as pandas has them when it reads the file."""
    schema = [(n, *rest.rsplit(",", 1)) for n, rest in
              (line.strip().split(",", 1) for line in open(names, encoding="utf-8") if line.strip())]
    columns = [n for n, _, _ in schema]
    frame = pd.read_csv(data, header=None, names=columns, dtype=str, na_values=["?"],
                        keep_default_na=False, skipinitialspace=True)
    weights = target = None
    for name, kind, role in schema:
        cells = frame[name].str.strip()
        if role == "weights":
            weights = cells.astype(float)
        elif role == "class":
            target = cells
        elif kind in DTYPES:
            numbers = pd.to_numeric(cells)
            frame[name] = numbers.astype(DTYPES[kind])
            if role == "discrete":
                frame[name] = frame[name].astype("category")
        elif kind.startswith("ostring"):
            order = [v.strip() for v in kind[8:].split(";") if v.strip() != "?"]
            frame[name] = pd.Categorical(cells, order, ordered=True)
        else:
            frame[name] = cells
    dropped = [n for n, _, role in schema if role in ("weights", "class", "ignore")]
    return frame.drop(columns=dropped), target, weights, not any(r == "ignore" for _, _, r in schema)


def in_order(names, data, folder):
    """The files as the package codes rows: weights and class, by its texts, as the last columns, and
    no rows of weight 0."""
    rank = {"weights": 1, "class": 2}
    lines = [line.strip() for line in open(names, encoding="utf-8") if line.strip()]
    order = sorted(range(len(lines)), key=lambda i: rank.get(lines[i].rsplit(",", 1)[1], 0))
    lines = [re.sub(",ostring.*,class$", ",string,class", line) for line in lines]
    weights = [i for i in order if lines[i].endswith(",weights")]
    to = os.path.join(folder, TABLE)
    with open(to + ".names", "w", encoding="utf-8") as out:
        out.write("".join(lines[i] + "\n" for i in order))
    opened = gzip.open if data.endswith(".gz") else open
    with opened(data, "rt", encoding="utf-8") as rows, open(to + ".data", "w", encoding="utf-8") as out:
        for row in rows:
            cells = row.rstrip("\n").split(",")
            if len(cells) == len(order) and all(float(cells[i]) > 0 for i in weights):
                out.write(",".join(cells[i].strip() for i in order) + "\n")
    return to


def unnamed(path, name):
    """The bytes of a model file without the name of model and table, a counted text."""
    with gzip.open(path) as file:
        text = file.read()
    return np.frombuffer(text.replace(len(name).to_bytes(8, "little") + name.encode(), b""), np.uint8)


def differences(one, other):
    """How many bytes differ, where names are the same; -1 where lengths differ."""
    return -1 if len(one) != len(other) else int((one != other).sum())


def compare(orvcmd, names, data, folder):
    table = in_order(names, data, folder)
    X, y, weights, whole = frame_of(table + ".names", table + ".data")
    as_they_are = ["-norescale"] if weights is not None and (weights % 1 == 0).all() else []
    first, last = min(y), max(y)
    for name, text in (("costs", f'predicted,actual,cost\n"{first}","{last}",5\n'), ("weights", f'class,weight\n"{last}",2.5\n')):
        with open(os.path.join(folder, name), "w", encoding="utf-8") as out:
            out.write(text)
    failures = []
    for options, make, *calibrated in MODELS:
        model = make()
        if "costs" in options:
            model.costs = {(last, first): 5}
        if "weights" in options:
            model.class_weight = {last: 2.5, **{c: 1 for c in set(y) - {last}}}
        theirs, scores = os.path.join(folder, "theirs"), os.path.join(folder, "scores")
        run = lambda *how: subprocess.run([orvcmd, "-nl", *how, "-fs", table + ".data", "-s", scores], check=True,
                                          stdout=subprocess.DEVNULL, cwd=folder)
        run("-f", TABLE, *as_they_are, "-tb", theirs, *options)
        model.fit(X, y, weights)
        for how in calibrated:
            run("-bt", theirs, "-calibrate", how, "-calrows", table + ".data", "-tb", theirs + how)
            theirs += how
            model.calibrate_on(X, y, weights, how=how)
        ours = os.path.join(folder, "ours")
        model.save(ours)
        loaded = orvik.load_model(theirs)
        said = [line.split(",")[0] for line in open(scores, encoding="utf-8")]
        faults = []
        if list(model.predict(X)) != said:
            faults.append("predictions")
        if whole:
            # Both stand under names of their own; the seconds of the run and of the test stay.
            n = differences(unnamed(ours, type(model).__name__), unnamed(theirs, TABLE + ".names"))
            if not 0 <= n <= 16:
                faults.append(f"{n} bytes of the models")
            if not np.array_equal(model.predict_proba(X), loaded.predict_proba(X)):
                faults.append("probabilities")
        if faults:
            failures.append(f"{names} {' '.join([*options, *calibrated])}: other {', '.join(faults)}")
    return failures


def main(orvcmd, *tables):
    failures = []
    for each in tables:
        names, _, data = each.partition(":")
        with tempfile.TemporaryDirectory() as folder:
            found = compare(orvcmd, names, data or names[:-len("names")] + "data", folder)
        print(f"{names}: {len(MODELS) - len(found)} of {len(MODELS)} models the same")
        print("".join(f"{fault}\n" for fault in found), end="")
        failures += found
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
