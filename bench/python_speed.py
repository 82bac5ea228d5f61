#!/usr/bin/env python3
"""Times fit, predict and predict_proba of the package beside scikit-learn and XGBoost, and what memory they take.

Usage: python_speed.py DATA:NAMES [...]; "million" is a table made here. Each figure is of a process
of its own, on one thread, in seconds of the processor; encoding of categories, which the others
need, is not counted. Memory is the highest that a call took above what there was before it.
"""
import ctypes
import gc
import json
import re
import subprocess
import sys
import time


def table_of(name):
    import numpy as np
    import pandas as pd

    if name == "million":
        draw = np.random.RandomState(0)
        X = pd.DataFrame(draw.randn(1_000_000, 10).round(4)).add_prefix("x")
        return X, ((X.x0 + X.x1 * X.x2 + draw.randn(len(X)) / 2) > 0).astype(int)
    file, _, names = name.partition(":")
    columns = [line.split(",")[0] for line in open(names)]
    roles = [line.strip().rsplit(",", 1)[1] for line in open(names)]
    kinds = [line.split(",", 1)[1] for line in open(names)]
    X = pd.read_csv(file, header=None, names=columns, na_values="?", skipinitialspace=True)
    y = X[columns[roles.index("class")]].astype(str)
    X = X[[c for c, r in zip(columns, roles) if r in ("discrete", "continuous")]]
    texts = [c for c, k in zip(columns, kinds) if c in X and k.startswith(("string", "ostring"))]
    return X.astype({c: "category" for c in texts}), y


def models():
    import orvik

    yield "orvik tree", lambda: orvik.TreeClassifier(n_jobs=1), False
    yield "orvik forest 20", lambda: orvik.ForestClassifier(n_estimators=20, n_jobs=1, random_state=1), False

    def tree():
        from sklearn.tree import DecisionTreeClassifier
        return DecisionTreeClassifier(random_state=1)

    def forest():
        from sklearn.ensemble import RandomForestClassifier
        return RandomForestClassifier(20, n_jobs=1, random_state=1)

    def boosted():
        from xgboost import XGBClassifier
        return XGBClassifier(n_estimators=20, n_jobs=1, tree_method="hist")

    yield "sklearn tree", tree, True
    yield "sklearn forest 20", forest, True
    yield "xgboost 20", boosted, True


def measure(name, which):
    import numpy as np
    import pandas as pd

    X, y = table_of(name)
    make, encode = next((m, e) for n, m, e in models() if n == which)
    half = np.arange(len(y)) % 2 == 0
    if encode:
        X = pd.get_dummies(X.fillna(X.median(numeric_only=True))).astype(np.float32)
        X.columns = [f"c{i}" for i in range(X.shape[1])]
        y = pd.Series(np.unique(y, return_inverse=True)[1])
    A, b, C = X[half], y[half], X[~half]
    many = C.iloc[np.resize(np.arange(len(C)), 1_000_000)]
    make().fit(A[:200], pd.Series(np.arange(200) % 2))  # what is loaded once
    model, found = make(), {"frame": float(A.memory_usage().sum() / 2**20)}
    found["fit"], found["fit_MiB"], _ = taken(lambda: model.fit(A, b))
    found["accuracy"] = float((model.predict(C) == y[~half]).mean())
    found["predict"], found["predict_MiB"], classes = taken(lambda: model.predict(many))
    found["predict_MiB"] -= classes.nbytes / 2**20
    found["shares"], found["shares_MiB"], shares = taken(lambda: model.predict_proba(many))
    found["shares_MiB"] -= shares.nbytes / 2**20
    return found


def taken(work):
    """Seconds of the processor, MiB above those before, and what work() gave."""
    gc.collect()
    ctypes.CDLL(None).malloc_trim(0)  # or work() would take what lies about
    with open("/proc/self/clear_refs", "w") as clear:
        clear.write("5")  # the highest from here on
    kib = lambda what: int(re.search(what + r":\s+(\d+)", open("/proc/self/status").read())[1])
    before, start = kib("VmRSS"), time.process_time()
    given = work()
    return time.process_time() - start, (kib("VmHWM") - before) / 1024, given


def main(*tables):
    for name in tables:
        print(name)
        for which, _, _ in models():
            done = subprocess.run([sys.executable, __file__, "--one", name, which], capture_output=True, text=True)
            if done.returncode:
                print(f"  {which:18} {done.stderr.splitlines()[-1:]}")
                continue
            r = json.loads(done.stdout)
            print(f"  {which:18} fit {r['fit']:7.2f} s {r['fit_MiB']:5.0f} MiB (frame {r['frame']:.0f})  "
                  f"1 M classes {r['predict']:6.2f} s {r['predict_MiB']:5.0f} MiB  "
                  f"shares {r['shares']:6.2f} s {r['shares_MiB']:5.0f} MiB  accuracy {r['accuracy']:.4f}", flush=True)


if __name__ == "__main__":
    if sys.argv[1] == "--one":
        print(json.dumps(measure(*sys.argv[2:])))
    else:
        main(*sys.argv[1:])
