#!/usr/bin/env python3
"""Scores rows by the documents of a model and compares with what the program predicts.

Usage: check_documents.py ORVCMD ROOT, where ROOT is the checkout; with tables named by their files
(NAMES DATA ...) behind it these are checked instead of the project's own. Exit status 0 if all
agree, or where xmllint is missing, which it says.

The readers here follow the documents alone: PMML 2.0 for rows without unknown values, PMML 4.4 and
JSON for all rows, with values that training did not have among them. Classes must be the same and
confidences equal to the six digits that the program prints (PMML 2.0 rounds weights to three).
"""
import bisect
import collections
import json
import math
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

NS = "{http://www.dmg.org/PMML-4_4}"
SETTINGS = ([], ["-fo", "1", "-seed", "4"], ["-npp", "-m", "0.5"], ["-ebpa"], ["-ba", "4", "-np", "-ownunk", "-seed", "2"],
            ["-fo", "7", "-npp", "-m", "0.5", "-seed", "1"], ["-rf", "5", "-seed", "3"],
            ["-binary", "-free"], ["-bo", "5", "-binary"], ["-bo", "4", "-soft", "-mtry", "2", "-seed", "6"])
Node = collections.namedtuple("Node", "weight score confidence shares field goes children")


def single(text):
    return struct.unpack("f", struct.pack("f", float(text)))[0]


READERS = {"integer": int, "uinteger": int, "float": single, "double": float, "long double": float}


def first_of_largest(shares):
    best = 0
    for i, share in enumerate(shares):
        if share > shares[best]:
            best = i
    return best


def spread(node, row, weight, shares):
    """Adds what a case leaves in every leaf that it reaches; the first child is asked first."""
    while node.children:
        value = row[node.field]
        if value is None:
            for child in node.children:
                spread(child, row, weight * child.weight / node.weight, shares)
            return
        node = node.goes(value)
    for i, share in enumerate(node.shares):
        shares[i] += weight * share / node.weight if node.weight else weight * share


def classify(tree, row, classes):
    node = tree
    while node.children and row[node.field] is not None:
        node = node.goes(row[node.field])
    if not node.children:
        return node.score, node.confidence
    shares = [0.0] * len(classes)
    spread(node, row, 1.0, shares)
    best = first_of_largest(shares)
    return classes[best], shares[best]


def mapped(by, share):
    if "a" in by:
        return 1 / (1 + math.exp(by["a"] * share + by["b"]))
    x, y = by["x"], by["y"]
    above = bisect.bisect_right(x, share)
    if above in (0, len(x)):
        return y[max(above - 1, 0)]
    return y[above - 1] + (share - x[above - 1]) / (x[above] - x[above - 1]) * (y[above] - y[above - 1])


def calibrated(maps, shares):
    if len(shares) == 2:
        second = mapped(maps[0], shares[1])
        return [1 - second, second]
    values = [mapped(by, share) for by, share in zip(maps, shares, strict=True)]
    return [value / sum(values) for value in values] if sum(values) > 0 else shares


def predict_calibrated(model, row):
    sums = [0.0] * len(model.classes)
    for tree, votes in zip(model.trees, model.votes or [1], strict=True):
        spread(tree, row, votes, sums)
    shares = calibrated(model.maps, [s / sum(model.votes or [1]) for s in sums])
    best = first_of_largest(shares)
    return model.classes[best], shares[best]


def predict(model, row):
    """`votes` has those of every tree, or is None for a single tree."""
    if getattr(model, "maps", None):
        return predict_calibrated(model, row)
    if model.votes is None:
        return classify(model.trees[0], row, model.classes)
    sums = [0.0] * len(model.classes)
    for tree, votes in zip(model.trees, model.votes, strict=True):
        if model.averages:
            spread(tree, row, votes, sums)
        else:
            sums[model.classes.index(classify(tree, row, model.classes)[0])] += votes
    best = first_of_largest(sums)
    return model.classes[best], sums[best] / sum(model.votes)


def choose(tests, children):
    """The child whose test a value passes; tests are pairs of an operator and a value."""
    if tests[-1][0] == "notEqual":
        assert [op for op, _ in tests] == ["equal", "notEqual"] and tests[0][1] == tests[1][1]
        return lambda value: children[value != tests[0][1]]
    if tests[0][0] == "equal":
        by_value = dict(zip((value for _, value in tests), children))
        return by_value.__getitem__
    cut = tests[0][1]
    assert [op for op, _ in tests] == ["lessOrEqual", "greaterThan"] and tests[1][1] == cut
    return lambda value: children[value > cut]


def pmml_node(element, ns, read, number_of_records):
    children = [pmml_node(e, ns, read, number_of_records) for e in element.findall(ns + "Node")]
    predicates = [e.find(ns + "SimplePredicate") for e in element.findall(ns + "Node")]
    distribution = element.findall(ns + "ScoreDistribution")
    said = [float(d.get("confidence")) for d in distribution if d.get("confidence")]
    shares = said or [float(d.get("recordCount")) for d in distribution]
    weight = number_of_records(element, shares)
    goes = field = None
    if children:
        field = predicates[0].get("field")
        assert all(p.get("field") == field for p in predicates)
        goes = choose([(p.get("operator"), read(field, p.get("value"))) for p in predicates],
                      [c for c in children])
    confidence = max(shares, default=0) / weight if weight else 1.0
    return Node(weight, element.get("score"), confidence, shares, field, goes, children)


class Pmml44:
    def __init__(self, file):
        root = ET.parse(file).getroot()
        self.fields = {}
        for field in root.find(NS + "DataDictionary"):
            values = [v.get("value") for v in field if v.get("property") is None]
            missing = [v.get("value") for v in field if v.get("property") == "missing"]
            kind = field.get("optype"), READERS.get(field.get("dataType"), str)
            self.fields[field.get("name")] = kind + (values, missing)
        model = root[-1]
        schema = {f.get("name"): f.get("usageType") for f in model.find(NS + "MiningSchema")}
        target = [name for name, use in schema.items() if use == "target"]
        self.classes = self.fields[target[0]][2]
        self.active = [name for name, use in schema.items() if use == "active"]
        self.instead = {f.get("name"): f.get("missingValueReplacement") for f in model.find(NS + "MiningSchema")}
        ensemble = model.find(NS + "Segmentation")
        method = "" if ensemble is None else ensemble.get("multipleModelMethod")
        self.averages = method in ("average", "weightedAverage")
        self.votes = None if ensemble is None else [
            float(s.get("weight")) if method.startswith("weighted") else 1.0 for s in ensemble]
        self.trees = [pmml_node(t.find(NS + "Node"), NS, self.read, self.records)
                      for t in ([model] if ensemble is None else model.iter(NS + "TreeModel"))]

    @staticmethod
    def records(element, _):
        return float(element.get("recordCount"))

    def read(self, name, text):
        optype, reader, values, missing = self.fields[name]
        if text in missing:
            return None
        if optype == "ordinal":
            return values.index(text) if text in values else None
        value = reader(text)
        return None if optype == "categorical" and value not in map(reader, values) else value

    def predict(self, row):
        codes = {name: self.read(name, row[name]) for name in self.active}
        for name in self.active:
            if codes[name] is None and self.instead[name] is not None:
                codes[name] = self.read(name, self.instead[name])
        return predict(self, codes)


class Pmml20:
    """Its fields have no types: those of the metadata are taken."""

    def __init__(self, file, types):
        root = ET.parse(file).getroot()
        model = root.find("TreeModel")
        self.types = types
        target = [f.get("name") for f in model.find("MiningSchema")
                  if f.get("usageType") == "predicted"][0]
        self.classes = [v.get("value") for f in root.find("DataDictionary")
                        if f.get("name") == target for v in f]
        roots = model.findall("Node")
        self.averages, self.votes = False, [1] * len(roots) if len(roots) > 1 else None
        self.trees = [pmml_node(n, "", self.read, lambda _, shares: sum(shares)) for n in roots]

    def read(self, name, text):
        kind, role = self.types[name]
        if role == "continuous" and kind.startswith("ostring"):
            return kind[len("ostring:"):].split(";").index(text)
        return READERS.get(kind, str)(text)

    def predict(self, row):
        return predict(self, {name: self.read(name, text) for name, text in row.items()
                              if name in self.types})


class Json:
    def __init__(self, file):
        with open(file, encoding="utf-8") as text:
            model = json.load(text)
        self.columns = model["columns"]
        self.classes = [str(v) for v in self.columns[model["class"]]["values"]]
        self.averages = model.get("combination") == "shares"
        self.maps = model.get("calibration", {}).get("maps")
        self.votes = model.get("votes", [1] * len(model["trees"])) if model["ensemble"] else None
        self.trees = [self.tree(t["nodes"]) for t in model["trees"]]

    def tree(self, nodes):
        built = {}
        for place, n in reversed(list(enumerate(nodes))):
            children = [built[c] for c in n.get("children", [])]
            shares = n.get("classes", [])
            score = goes = None
            if children and "threshold" in n:
                cut = self.code(n["column"], str(n["threshold"]))
                goes = choose([("lessOrEqual", cut), ("greaterThan", cut)], children)
            elif children and "value" in n:
                one = self.code(n["column"], str(n["value"]))
                goes = choose([("equal", one), ("notEqual", one)], children)
            elif children:
                goes = children.__getitem__
            else:
                score = self.classes[n["class"] - 1]
                if not n["weight"] and not any(shares):
                    shares = [float(c == score) for c in self.classes]
            confidence = max(shares, default=0) / n["weight"] if n["weight"] else 1.0
            built[place] = Node(n["weight"], score, confidence, shares, n.get("column"), goes,
                                children)
        return built[0]

    def code(self, i, text):
        column = self.columns[i]
        reader = READERS.get(column["type"], str)
        values = [reader(v) for v in column.get("values", [])]
        own = values.index(column["unknown"]) if column["unknown"] in values else None
        if text == column["unknown"]:
            return own
        if "values" not in column:
            return reader(text)
        return values.index(reader(text)) if reader(text) in values else own

    def predict(self, row):
        codes = {i: self.code(i, row[c["name"]]) for i, c in enumerate(self.columns)
                 if c["role"] in ("discrete", "continuous")}
        return predict(self, codes)


class Table:
    """Metadata and data in files, and the rows to score."""

    def __init__(self, names, data, encoding="utf-8", separator=","):
        self.names, self.data, self.encoding, self.separator = names, data, encoding, separator
        with open(names, encoding=encoding, newline="\n") as lines:
            self.schema = [line.rstrip("\r\n").split(separator)[:3] for line in lines]
        self.types = {name: (kind, role) for name, kind, role in self.schema
                      if role in ("discrete", "continuous")}
        with open(data, encoding=encoding, newline="\n") as lines:
            self.rows = [[f.strip(" ") for f in line.rstrip("\r\n").split(separator)]
                         for line in lines]

    def unseen_rows(self):
        """Rows with numbers and texts that training did not have."""
        rows = []
        for i, (_, kind, role) in enumerate(self.schema):
            if role in ("discrete", "continuous"):
                rows += [row[:i] + ["17" if kind in READERS else "unseen"] + row[i + 1:]
                         for row in self.rows[:20]]
        return rows


def compare(what, reader, rows, scores, tolerance=6e-6):
    for row, (name, confidence) in zip(rows, scores, strict=True):
        if row is None:
            continue
        own_name, own_confidence = reader.predict(row)
        if own_name != name or abs(own_confidence - float(confidence)) > tolerance:
            raise SystemExit(f"{what}: {row} is {own_name} ({own_confidence}), "
                             f"the program says {name} ({confidence})")


def check(orvcmd, root, table, settings, folder):
    rows = table.rows + table.unseen_rows()
    file = {name: os.path.join(folder, name) for name in ("rows", "s", "x", "p", "j")}
    with open(file["rows"], "w", encoding=table.encoding, newline="\n") as out:
        out.writelines(table.separator.join(row) + "\n" for row in rows)
    subprocess.run([orvcmd, "-nl", "-fm", table.names, "-fd", table.data, "-sep", table.separator,
                    "-unseen", "-fs", file["rows"], "-s", file["s"], "-x", file["x"],
                    "-pmml", file["p"], "-json", file["j"]] + settings, check=True)
    subprocess.run(["xmllint", "--noout", "--huge", "--schema",
                    os.path.join(root, "tests", "documents", "pmml-4_4.xsd"), file["p"]],
                   check=True, capture_output=True)
    with open(file["s"], encoding=table.encoding) as lines:
        scores = [line.rstrip("\n").rsplit(table.separator, 1) for line in lines]
    rows = [dict(zip((c[0] for c in table.schema), row)) for row in rows]
    what = f"{table.names} {' '.join(settings)}"
    compare(what + " -pmml", Pmml44(file["p"]), rows, scores)
    compare(what + " -json", Json(file["j"]), rows, scores)
    if table.encoding == "utf-8" and not {"-rf", "-bo"}.intersection(settings):  # PMML 2.0 leaves encodings and votes to its reader
        full = [row if i < len(table.rows) and all(row[c] != "?" for c in table.types) else None
                for i, row in enumerate(rows)]
        compare(what + " -x", Pmml20(file["x"], table.types), full, scores, tolerance=5e-3)


def write_mixed(folder, name, encoding, separator, odd, small):
    """A table of every type with unknown values, weights of 0 and `odd` texts among its
    values; `small` numbers PMML 2.0 cannot tell apart."""
    draw = random.Random(7)
    columns = ["f\"<&'>,float,continuous", "d,double,continuous", "u,uinteger,discrete",
               "r,double,discrete", "o,ostring:low;a > b;high,continuous", "n,string,discrete",
               "skip,string,ignore", "w,double,weights", "class & co,string,class"]
    names, data = (os.path.join(folder, name + end) for end in (".names", ".data"))
    with open(names, "w", encoding=encoding, newline="\n") as out:
        out.writelines(c.replace(",", separator) + "\n" for c in columns)
    with open(data, "w", encoding=encoding, newline="\n") as out:
        for i in range(400):
            f, d, level = draw.randrange(1000) / 1000, draw.gauss(0, 1e3), draw.randrange(3)
            text = odd[draw.randrange(len(odd))]
            kind = odd[level if f < 0.5 else d > 0] if draw.random() < 0.8 else odd[-1]
            cells = [f, round(d, 3), draw.randrange(5), (0.1, small, 1.5 * small)[draw.randrange(3)],
                     ("low", "a > b", "high")[level], text]
            cells = ["?" if draw.random() < 0.08 else str(c) for c in cells]
            out.write(separator.join(cells + [f"id{i}", str(draw.randrange(4) * 0.3), kind]) + "\n")
    return Table(names, data, encoding, separator)


def tables_of(root, files, folder, write_further=()):
    """Those that the files hold; without any the project's own."""
    if files:
        return [Table(n, d) for n, d in zip(files[::2], files[1::2], strict=True)]
    stems = [os.path.join(root, "examples", "golf"), os.path.join(root, "tests", "data", "rentals")]
    return [Table(s + ".names", s + ".data") for s in stems] + [w(folder) for w in write_further] + [
        write_mixed(folder, "mixed", "utf-8", ",", ['a"b', "<c>", "\\", "é&'"], 2),
        write_mixed(folder, "latin", "iso-8859-1", "|", ["é\x85", "a\tb", "\\\"", "ÿ"], 2e-7)]


def main(orvcmd, root, *files):
    if shutil.which("xmllint") is None:
        print("SKIPPED: no xmllint here")
        return 0
    with tempfile.TemporaryDirectory() as folder:
        for table in tables_of(root, files, folder):
            for settings in SETTINGS:
                check(orvcmd, root, table, settings, folder)
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
