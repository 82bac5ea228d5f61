#!/usr/bin/env python3
"""Compares the figures of -mjson with those of scikit-learn, on five of its tables.

Usage: check_metrics.py ORVCMD. Exit status 0 if all agree to 1e-9, or where scikit-learn is missing,
which it says. Shares come from the JSON of the model by the reader of check_documents.py, one table
has case weights, and the forest's shares are means that no class has to have.
"""
import json
import os
import random
import subprocess
import sys
import tempfile

import check_documents as documents

try:
    import numpy
    from sklearn import datasets, metrics
except ImportError:
    # Debian's belongs to its own interpreter, which need not be the one that is found first.
    debian = "/usr/bin/python3"
    if os.path.exists(debian) and not os.path.samefile(debian, sys.executable):
        os.execv(debian, [debian, *sys.argv])
    print("SKIPPED: no scikit-learn here")
    sys.exit(0)

SETTINGS = (["-m", "5"], ["-fo", "9", "-npp", "-seed", "3"])


def write_table(folder, bunch, weighted):
    """Two thirds of the rows to train on, the others to test on; returns both as texts."""
    draw = random.Random(4)
    rows = [[repr(float(x)) for x in row] + [repr(draw.randint(1, 8) / 4)] * weighted + [f"c{label}"]
            for row, label in zip(bunch.data, bunch.target)]
    draw.shuffle(rows)
    roles = ["double,continuous"] * len(bunch.data[0]) + ["double,weights"] * weighted
    with open(os.path.join(folder, "t.names"), "w", encoding="utf-8") as out:
        out.writelines(f"a{i},{role}\n" for i, role in enumerate(roles + ["string,class"]))
    parts = rows[:2 * len(rows) // 3], rows[2 * len(rows) // 3:]
    for part, name in zip(parts, ("t.data", "t.test")):
        with open(os.path.join(folder, name), "w", encoding="utf-8") as out:
            out.writelines(",".join(row) + "\n" for row in part)
    return parts


def judged(model, rows, weighted):
    """Class, predicted class, weight and shares of each row."""
    actual, predicted, shares = [], [], []
    for row in rows:
        codes = {i: float(cell) for i, cell in enumerate(row[:len(row) - 1 - weighted])}
        sums = [0.0] * len(model.classes)
        for tree in model.trees:
            documents.spread(tree, codes, 1.0, sums)
        shares.append([s / len(model.trees) for s in sums])
        actual.append(row[-1])
        predicted.append(documents.predict(model, codes)[0])
    weights = [float(row[-2]) if weighted else 1.0 for row in rows]
    return numpy.array(actual), predicted, weights, numpy.array(shares)


def wanted_of(classes, actual, predicted, weights, shares):
    """Pairs of a way into the document and what scikit-learn has there."""
    weighed = {"sample_weight": weights}
    report = metrics.classification_report(actual, predicted, output_dict=True, zero_division=0, **weighed)
    truth = numpy.array([[float(a == c) for c in classes] for a in actual])
    yield ("accuracy",), metrics.accuracy_score(actual, predicted, **weighed)
    yield ("balanced_accuracy",), metrics.balanced_accuracy_score(actual, predicted, **weighed)
    yield ("kappa",), metrics.cohen_kappa_score(actual, predicted, **weighed)
    yield ("log_loss",), metrics.log_loss(actual, shares, labels=classes, **weighed)
    yield ("brier",), numpy.average(((shares - truth) ** 2).sum(axis=1), weights=weights)
    if len(classes) == 2:
        yield ("brier",), 2 * metrics.brier_score_loss(truth[:, 1], shares[:, 1], **weighed)
    for i, c in enumerate(classes):
        for figure in ("precision", "recall", "f1", "support"):
            yield ("classes", i, figure), report[c]["f1-score" if figure == "f1" else figure]
        yield ("classes", i, "roc_area"), metrics.roc_auc_score(truth[:, i], shares[:, i], **weighed)
        yield (("classes", i, "average_precision"),
               metrics.average_precision_score(truth[:, i], shares[:, i], **weighed))
    for own, theirs in (("mean", "macro"), ("weighted_mean", "weighted")):
        for figure in ("precision", "recall", "f1"):
            yield (own, figure), report[theirs + " avg"]["f1-score" if figure == "f1" else figure]
    areas = [metrics.roc_auc_score(truth[:, i], shares[:, i], **weighed) for i in range(len(classes))]
    yield ("mean", "roc_area"), sum(areas) / len(areas)


def compare(what, own, wanted):
    n = 0
    for way, value in wanted:
        found = own
        for step in way:
            found = found[step]
        if abs(found - value) > 1e-9:
            raise SystemExit(f"{what} {way}: {found}, scikit-learn says {value}")
        n += 1
    return n


def check(orvcmd, name, bunch, weighted, settings):
    with tempfile.TemporaryDirectory() as folder:
        train, test = write_table(folder, bunch, weighted)
        file = {end: os.path.join(folder, "t." + end) for end in ("names", "data", "test", "m", "j")}
        subprocess.run([orvcmd, "-nl", "-fm", file["names"], "-fd", file["data"], "-ft", file["test"],
                        "-norescale", "-json", file["j"], "-mjson", file["m"]] + settings, check=True)
        model = documents.Json(file["j"])
        with open(file["m"], encoding="utf-8") as text:
            # Which rows are out of bag does not stand in any document.
            tests = [own for own in json.load(text)["tests"] if own["rows"] != "out-of-bag rows"]
        what = f"{name} {' '.join(settings)}"
        return sum(compare(f"{what}, {own['rows']}", own,
                           wanted_of(model.classes, *judged(model, rows, weighted)))
                   for own, rows in zip(tests, (train, test), strict=True))


def main(orvcmd):
    tables = [(load.__name__, load(), load is datasets.load_wine) for load in
              (datasets.load_iris, datasets.load_wine, datasets.load_breast_cancer, datasets.load_digits)]
    tables.append(("made", datasets.make_classification(900, 6, n_classes=4, n_informative=4,
                                                        flip_y=0.2, random_state=1), True))
    n = 0
    for name, bunch, weighted in tables:
        if isinstance(bunch, tuple):
            bunch = type("made", (), {"data": bunch[0], "target": bunch[1]})
        for settings in SETTINGS:
            n += check(orvcmd, name, bunch, weighted, settings)
    print(f"{n} figures agree with scikit-learn")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
