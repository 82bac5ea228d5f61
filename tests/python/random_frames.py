#!/usr/bin/env python3
"""Sends random frames, arrays and Arrow data through fit, predict and pickle: what comes back is a
model that keeps to its word or a ValueError or TypeError, and never the end of the interpreter.

Usage: random_frames.py N [SEED]; PYTHONPATH leads to the package. What was refused is counted by text.
"""
import collections
import pickle
import re
import sys
import warnings

import numpy as np
import pandas as pd
from arrow_rows import ArrowRows
from sklearn.base import clone

import orvik

DTYPES = ["i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f2", "f4", "f8", "g", ">f8", ">i4", "?"]
NULLABLE = ["Int8", "UInt16", "Int64", "Float32", "Float64", "boolean"]
TEXTS = np.array(["a", "b", "", " x", "?", "ü", "n\n", "'", "x;y", None, np.nan, "long" * 40, "\ud800"], dtype=object)
NAMES = ["", " a", "a,b", "n\nl", "ü", "z\0z", "'q", "class", "sample_weight", "n" * 300, "?", "a:b|c", 'say "so"']
NANS = np.array([0x7ff8 << 48, 0xfff8 << 48, 0x7ff0 << 48 | 1, 0xffff_ffff_ffff_ffff], np.uint64).view("f8")
ARROW = {"c": "i1", "C": "u1", "s": "i2", "S": "u2", "i": "i4", "I": "u4", "l": "i8", "L": "u8", "f": "f4", "g": "f8"}


def strided(draw, values):
    how = draw.randint(4)
    if how == 1:
        return np.repeat(values, 3)[1::3]
    if how == 2:
        return values[::-1].copy()[::-1]
    if how == 3:
        values = values.copy()
        values.setflags(write=False)
    return values


def numbers(draw, n, dtype):
    extreme = draw.choice([0, 1, 100, 2**31, 2**62]) if draw.rand() < 0.4 else 20  # 0: a constant
    with np.errstate(all="ignore"):
        return (draw.randn(n) * extreme).astype(dtype)


def with_nans(draw, n):
    values = draw.randn(n).round(draw.randint(3))
    marks = draw.rand(n) < draw.choice([0, 0.1, 0.5, 1])
    values[marks] = NANS[draw.randint(0, len(NANS), marks.sum())]
    if draw.rand() < 0.02:
        values[0] = np.inf
    return values


def column(draw, n):
    kind = draw.randint(10)
    if kind < 2:
        return strided(draw, numbers(draw, n, draw.choice(DTYPES)))
    if kind == 2:
        values = pd.array(draw.randint(0, 2, n), dtype=draw.choice(NULLABLE))
        values[draw.rand(n) < draw.choice([0, 0.2, 1])] = pd.NA
        return values
    if kind == 3:
        texts = TEXTS[draw.randint(0, len(TEXTS), n)]
        return pd.array(texts[::-1], dtype="string") if draw.rand() < 0.2 else strided(draw, texts)
    if kind == 4:
        return pd.Categorical(draw.choice(["low", "mid", "x;y"], n), ["low", "mid", "x;y", "none"], draw.rand() < 0.5)
    if kind == 5:
        values = [draw.randint(0, 5, n), with_nans(draw, n), draw.rand(n) < 0.5][draw.randint(3)]
        return pd.Categorical(values, ordered=draw.rand() < 0.5)
    if kind < 8:
        return strided(draw, with_nans(draw, n))
    if kind == 8:
        return pd.arrays.SparseArray(draw.randint(0, 3, n) * 1.0)
    return pd.to_datetime(draw.randint(0, 10**9, n)) if draw.rand() < 0.03 else draw.randint(0, 3, n).astype(str)


def arrow(draw, n, k):
    """Columns of numbers, flags, texts and dictionaries, with bits of the unknown ones."""
    rows = ArrowRows([], n)
    for i in range(k):
        known = np.packbits(draw.rand(n + 8) < 0.8, bitorder="little") if draw.rand() < 0.5 else None
        form, texts, dictionary = str(draw.choice([*ARROW, "b", "u", "d", "n"])), None, None
        if form in ARROW:
            buffers = [known, numbers(draw, n + 1, ARROW[form])]
        elif form == "u":
            texts = [str(t) for t in TEXTS[draw.randint(0, len(TEXTS) - 1, n + 1)]]
            buffers = [known, *rows.texts(texts)[1:]]
        elif form == "d":
            form, dictionary, buffers = "i", ["low", "", "x;y"], [known, draw.randint(-1, 4, n + 1).astype("i4")]
        else:
            buffers = [known, known] if form == "b" and known is not None else [None, np.zeros(n, "u1")]
        rows.columns.append((form.encode(), b"c%d" % i, buffers, dictionary, int(draw.rand() < 0.5)))
    return rows


def given(draw, n, k):
    """A frame, mostly; a two-dimensional array of any order, or Arrow data."""
    form = draw.rand()
    if form < 0.15:
        return arrow(draw, n, k)
    if form < 0.3:
        values = with_nans(draw, 2 * n * k) if draw.rand() < 0.5 else numbers(draw, 2 * n * k, draw.choice(DTYPES))
        flat = values.reshape(2 * n, k, order=draw.choice(["C", "F"]))
        return flat[::draw.choice([2, -2]), ::draw.choice([1, -1])]
    names = [f"c{i}" for i in range(k)] if draw.rand() < 0.6 else draw.choice(NAMES, k, replace=draw.rand() < 0.05)
    frame = pd.concat([pd.Series(column(draw, n)) for _ in range(k)], axis=1)
    return frame.set_axis([*map(str, names)], axis=1)


def estimator(draw):
    how = {"random_state": int(draw.randint(99)), "n_jobs": 1, "min_weight": float(draw.choice([0.1, 1, 2]))}
    if draw.rand() < 0.2:
        how.update(class_weight="balanced", laplace=True, max_features="log2", own_unknown=True, random_cuts=True)
    made = draw.randint(4)
    how["pruning"] = str(draw.choice(["none", "pre", "ebp", "pepg", "repa", "mep"]))
    if made == 0:
        return orvik.TreeClassifier(**how)
    return [orvik.BaggingClassifier, orvik.ForestClassifier, orvik.BoostClassifier][made - 1](
        n_estimators=int(draw.randint(1, 4)), voting=str(draw.choice(["hard", "soft"])), **how)


def keeps_its_word(draw, model, how, X, other):
    shares = model.predict_proba(other)
    assert len(shares) == model.predict(other).size and np.allclose(shares.sum(axis=1), 1) and (shares >= 0).all()
    assert (model.predict(other) == model.classes_[shares.argmax(axis=1)]).all()
    values, base = model.explain(other)
    if getattr(model, "voting", "soft") == "soft":
        assert np.allclose(values.sum(axis=2) + base, shares, atol=1e-9)
    again = pickle.loads(pickle.dumps(model))
    assert again.model_.to_bytes() == model.model_.to_bytes()
    assert (again.predict_proba(other) == shares).all()
    leaves = model.apply(other)
    paths = model.decision_path(other)
    if isinstance(model, orvik.TreeClassifier):
        assert (paths[np.arange(len(shares)), leaves] == 1).all()
    if isinstance(other, (np.ndarray, pd.DataFrame)):
        assert (model.predict_proba(other[-1:]) == shares[-1:]).all()
    if draw.rand() < 0.3:
        two = how.set_params(n_jobs=2).fit(*X)
        assert two.to_json() == model.to_json() and (two.predict_proba(other) == shares).all()


def one(draw):
    n, k = int(draw.choice([1, 2, 5, 30])), int(draw.choice([1, 2, 5]))
    X = given(draw, n, k)
    y = draw.randint(0, draw.randint(1, 4) + 1, n)
    if draw.rand() < 0.3:
        y = TEXTS[y]
    weights = draw.choice([0, 1, 2, 0.3], n) if draw.rand() < 0.4 else None
    other = X if isinstance(X, ArrowRows) else X[::-1] if draw.rand() < 0.8 else given(draw, n, k)
    try:
        how = estimator(draw)
        model = how.fit(X, y, weights)
        model.predict_proba(other)
    except (ValueError, TypeError) as failure:
        return re.sub(r"[0-9]+|'.*'|column .*: ", "..", str(failure))[:90]
    keeps_its_word(draw, model, clone(how), (X, y, weights), other)
    return "models"


def main(n, seed=0):
    warnings.simplefilter("ignore")
    done = collections.Counter()
    for i in range(int(n)):
        try:
            done[one(np.random.RandomState(int(seed) + i))] += 1
        except Exception:
            print(f"random_frames.py 1 {int(seed) + i}")
            raise
    print("".join(f"{count:7} {text}\n" for text, count in done.most_common()), end="")
    return 0 if done["models"] > int(n) / 2 else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
