#!/usr/bin/env python3
"""Compares the reasons of orvcmd (-shap) with XGBoost's pred_contribs, and the time that both take.

Usage: reasons.py ORVCMD STEM [...]; STEM.names, STEM.data of a table of continuous columns and no unknown values.
The values: bagged trees of orvcmd become a regression model of XGBoost for every class, node by node, with their
weights as covers. The time: processor seconds of a thread, beside boosted trees of XGBoost of as many levels.
"""
import csv
import json
import os
import resource
import subprocess
import sys
import tempfile

import numpy as np
import xgboost

TREES, LEVELS, ROWS = 100, 6, 4000


def seconds(who):
    return resource.getrusage(who).ru_utime


def run(*words):
    before = seconds(resource.RUSAGE_CHILDREN)
    subprocess.run(words, check=True)
    return seconds(resource.RUSAGE_CHILDREN) - before


def tree_of(nodes, number, code, amount, place_of):
    """A tree of XGBoost whose leaves are the shares of one class."""
    n, end = len(nodes), 2**31 - 1
    parents = [end] * n
    for i, node in enumerate(nodes):
        for child in node.get("children", []):
            parents[child] = i
    split = ["children" in node for node in nodes]
    share = [0.0 if s else node["classes"][code] / node["weight"] * amount for s, node in zip(split, nodes)]
    # "At most" is "below the next number".
    limits = [float(np.nextafter(np.float32(node["threshold"]), np.float32(np.inf))) if s else v
              for s, node, v in zip(split, nodes, share)]
    return {
        "base_weights": share, "categories": [], "categories_nodes": [], "categories_segments": [],
        "categories_sizes": [], "default_left": [0] * n, "id": number,
        "left_children": [node["children"][0] if s else -1 for s, node in zip(split, nodes)],
        "right_children": [node["children"][1] if s else -1 for s, node in zip(split, nodes)],
        "loss_changes": [1.0 if s else 0.0 for s in split], "parents": parents, "split_conditions": limits,
        "split_indices": [place_of[node["column"]] if s else 0 for s, node in zip(split, nodes)],
        "split_type": [0] * n, "sum_hessian": [float(node["weight"]) for node in nodes],
        "tree_param": {"num_deleted": "0", "num_feature": str(len(place_of)), "num_nodes": str(n),
                       "size_leaf_vector": "0"}}


def regression_of(model, code, place_of, folder):
    dummy = xgboost.train({"base_score": 0.0, "max_depth": 1, "nthread": 1},
                          xgboost.DMatrix(np.zeros((2, len(place_of))), label=[0, 0]), 1)
    file = os.path.join(folder, "model.json")
    dummy.save_model(file)
    document = json.load(open(file))
    inner = document["learner"]["gradient_booster"]["model"]
    trees = model["trees"]
    inner["trees"] = [tree_of(t["nodes"], i, code, 1 / len(trees), place_of) for i, t in enumerate(trees)]
    inner["tree_info"] = [0] * len(trees)
    inner["gbtree_model_param"]["num_trees"] = str(len(trees))
    json.dump(document, open(file, "w"))
    return xgboost.Booster({"nthread": 1}, model_file=file)


def boosted(X, y):
    classes = sorted(set(y))
    labels = [classes.index(v) for v in y]
    two = len(classes) == 2
    how = {"objective": "binary:logistic"} if two else {"objective": "multi:softprob", "num_class": len(classes)}
    rounds = TREES if two else max(1, round(TREES / len(classes)))
    return xgboost.train({"max_depth": LEVELS, "tree_method": "hist", "nthread": 1, **how},
                         xgboost.DMatrix(X, label=labels), rounds)


def compare(orvcmd, stem, folder):
    tree, rows, reasons, form = (os.path.join(folder, name) for name in ("tree", "rows", "reasons", "form"))
    lines = open(stem + ".data").read().splitlines()
    open(rows, "w").write("".join(line + "\n" for line in lines[:ROWS] if line))
    run(orvcmd, "-nl", "-f", stem, "-ba", str(TREES), "-depth", str(LEVELS), "-npp", "-seed", "1", "-tb", tree,
        "-json", form)
    time = run(orvcmd, "-nl", "-bt", tree, "-fs", rows, "-shap", reasons, "-tt", "1")
    model = json.load(open(form))
    names = [c["name"] for c in model["columns"]]
    columns = [i for i, c in enumerate(model["columns"]) if c["role"] == "continuous"]
    cells = [[cell.strip() for cell in line.split(",")] for line in lines if line]
    X = np.array([[float(row[i]) for i in columns] for row in cells])
    y = [row[model["class"]] for row in cells]
    some = xgboost.DMatrix(X[:ROWS])

    place_of = {column: place for place, column in enumerate(columns)}
    table = list(csv.DictReader(open(reasons)))
    tested = [i for i in columns if names[i] in table[0]]
    worst, classes = 0.0, model["columns"][model["class"]]["values"]
    for code, name in enumerate(classes):
        ours = np.array([[float(row[names[i]]) for i in tested] + [float(row["base"])]
                         for row in table if row["class"] == name])
        theirs = regression_of(model, code, place_of, folder).predict(some, pred_contribs=True)
        theirs = theirs[:, [place_of[i] for i in tested] + [len(columns)]]
        worst = max(worst, float(np.abs(ours - theirs).max()))

    other = boosted(X, y)
    before = seconds(resource.RUSAGE_SELF)
    other.predict(some, pred_contribs=True)
    their_time = seconds(resource.RUSAGE_SELF) - before
    n = some.num_row()
    leaves = sum("children" not in node for t in model["trees"] for node in t["nodes"])
    dump = other.get_dump()
    print(f"{os.path.basename(stem)}: {n} rows, {len(classes)} classes; largest difference {worst:.1e}; "
          f"orvcmd {leaves} leaves {n / time:.0f} rows/s, XGBoost {''.join(dump).count('leaf=')} leaves "
          f"in {len(dump)} trees {n / their_time:.0f} rows/s", flush=True)


if __name__ == "__main__":
    for each in sys.argv[2:]:
        with tempfile.TemporaryDirectory() as scratch:
            compare(sys.argv[1], each, scratch)
