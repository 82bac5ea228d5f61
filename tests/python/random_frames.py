#!/usr/bin/env python3
"""Sends random frames and arrays through fit and predict: what comes back is a result or a ValueError
or TypeError, and never the end of the interpreter.

Usage: random_frames.py N [SEED]; PYTHONPATH leads to the package.
"""
import sys
import warnings

import numpy as np
import pandas as pd

import orvik

DTYPES = ["i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f2", "f4", "f8", "g", ">f8", ">i4", "?"]
NULLABLE = ["Int8", "UInt16", "Int64", "Float32", "Float64", "boolean"]
TEXTS = np.array(["a", "b", "", " x", "?", "ü", "n\n", "'", "x;y", None, np.nan, "long" * 40, "\ud800"], dtype=object)


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


def column(draw, n):
    kind = draw.randint(7)
    if kind == 0:
        extreme = draw.choice([1, 100, 2**31, 2**62]) if draw.rand() < 0.3 else 20
        with np.errstate(all="ignore"):
            return strided(draw, (draw.randn(n) * extreme).astype(draw.choice(DTYPES)))
    if kind == 1:
        values = pd.array(draw.randint(0, 2, n), dtype=draw.choice(NULLABLE))
        values[draw.rand(n) < 0.2] = pd.NA
        return values
    if kind == 2:
        return strided(draw, TEXTS[draw.randint(0, len(TEXTS), n)])
    if kind == 3:
        return pd.Categorical(draw.choice(["low", "mid", "x;y"], n), ["low", "mid", "x;y", "none"], draw.rand() < 0.5)
    if kind == 4:
        return pd.Categorical(draw.randint(0, 5, n), ordered=draw.rand() < 0.5)
    if kind == 5:
        values = draw.randn(n)
        values[draw.rand(n) < draw.rand()] = np.nan
        if draw.rand() < 0.02:
            values[0] = np.inf
        return values
    return pd.to_datetime(draw.randint(0, 10**9, n)) if draw.rand() < 0.03 else draw.randint(0, 3, n).astype(str)


def estimator(draw):
    how = {"random_state": int(draw.randint(99)), "n_jobs": int(draw.randint(1, 3)),
           "min_weight": float(draw.choice([0.1, 1, 2]))}
    made = draw.randint(4)
    pruning = str(draw.choice(["none", "pre", "ebp", "pepg", "repa", "mep"]))
    if made == 0:
        return orvik.TreeClassifier(pruning=pruning, **how)
    return [orvik.BaggingClassifier, orvik.ForestClassifier, orvik.BoostClassifier][made - 1](
        n_estimators=int(draw.randint(1, 4)), **how)


def one(draw):
    n, k = int(draw.randint(1, 40)), int(draw.randint(1, 6))
    frame = pd.DataFrame({f"c{i}": column(draw, n) for i in range(k)})
    y = draw.randint(0, draw.randint(1, 4) + 1, n)
    if draw.rand() < 0.3:
        y = TEXTS[y]
    weights = draw.choice([0, 1, 2, 0.3], n) if draw.rand() < 0.4 else None
    other = frame.iloc[::-1] if draw.rand() < 0.7 else pd.DataFrame(
        {f"c{i}": column(draw, n) for i in range(k)})
    try:
        model = estimator(draw).fit(frame, y, weights)
        shares = model.predict_proba(other)
        assert shares.shape == (n, len(model.classes_)) and np.allclose(shares.sum(axis=1), 1)
        model.apply(other)
        model.decision_path(other)
        again = orvik._orvik.Model.from_bytes(model.model_.to_bytes(), 1)
        assert again.form("text", 0, -1, "") == model.model_.form("text", 0, -1, "")
        return 1
    except (ValueError, TypeError):
        return 0


def main(n, seed=0):
    warnings.simplefilter("ignore")
    done = 0
    for i in range(int(n)):
        try:
            done += one(np.random.RandomState(int(seed) + i))
        except Exception:
            print(f"random_frames.py 1 {int(seed) + i}")
            raise
    print(f"{n} frames, {done} models")
    return 0 if done > int(n) / 3 else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
