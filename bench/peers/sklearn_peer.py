"""One measurement of pandas or scikit-learn: TASK CSV ROLES TRAINING_ROWS WORKERS, printed as JSON.

ROLES has a letter a column: c continuous, d discrete, y class, - unused."""
import json
import sys
import time

import numpy
import pandas


def load(path, workers):
    start = time.perf_counter()
    frame = pandas.read_csv(path, na_values="?", keep_default_na=False, skipinitialspace=True)
    for column in frame:
        pandas.factorize(frame[column], sort=True)
    return {"seconds": time.perf_counter() - start}


def read(path, roles):
    kinds = {f"c{i}": float for i, role in enumerate(roles) if role == "c"}
    kinds.update({f"c{i}": str for i, role in enumerate(roles) if role in "dy"})
    frame = pandas.read_csv(path, na_values="?", keep_default_na=False, skipinitialspace=True,
                            dtype=kinds, usecols=list(kinds))
    target = frame.pop(f"c{roles.index('y')}").str.strip()
    columns = []
    for name in frame:
        column = frame[name]
        if column.dtype == float:
            columns.append(column.fillna(column.median()))
        else:
            columns.append(pandas.factorize(column, sort=True)[0])
    return numpy.column_stack(columns).astype(numpy.float32), target.to_numpy()


def fit(task, path, roles, n_train, workers):
    from sklearn.ensemble import RandomForestClassifier
    from sklearn.tree import DecisionTreeClassifier
    x, y = read(path, roles)
    if task == "tree":
        model = DecisionTreeClassifier(min_samples_leaf=2, random_state=1)
    else:
        model = RandomForestClassifier(100, min_samples_leaf=2, n_jobs=workers, random_state=1)
    start = time.perf_counter()
    model.fit(x[:n_train], y[:n_train])
    grown = time.perf_counter()
    predicted = model.predict(x[n_train:])
    done = time.perf_counter()
    nodes = model.tree_.node_count if task == "tree" else 0
    return {"seconds": grown - start, "predict": done - grown, "nodes": int(nodes),
            "error": 100 * float(numpy.mean(predicted != y[n_train:]))}


def main(task, path, roles, n_train, workers):
    n_train, workers = int(n_train), int(workers)
    figures = load(path, workers) if task == "load" else fit(task, path, roles, n_train, workers)
    if task == "tree" and workers > 1:
        figures = None  # one tree grows on one thread
    print(json.dumps(figures))


if __name__ == "__main__":
    main(*sys.argv[1:])
