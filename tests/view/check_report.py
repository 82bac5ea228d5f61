#!/usr/bin/env python3
"""Reads reports without a browser: what a page needs to run safely, and whether its data are whole.

Usage: check_report.py ORVCMD ORVIK ROOT, where ROOT is the checkout. Exit status 0 if all is well.
"""
import base64
import hashlib
import html.parser
import json
import os
import subprocess
import sys
import tempfile

HOSTILE = ["<script>alert(1)</script>", "</script><b>", "-->", '"\'&lt;', "\u2028", "\u202eabc",
           "\x01", "\u0645\u0631"]


class Page(html.parser.HTMLParser):
    """Elements, the contents of scripts, and every attribute that could fetch something."""

    def __init__(self, text):
        super().__init__()
        self.tags, self.scripts, self.fetched, self.policy = [], [], [], ""
        self.in_script = False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.tags.append(tag)
        of = dict(attributes)
        self.fetched += [a for a in ("src", "href", "srcset", "action") if a in of]
        if of.get("http-equiv") == "Content-Security-Policy":
            self.policy = of["content"]
        self.in_script = tag == "script"
        if self.in_script:
            self.scripts.append("")

    def handle_endtag(self, tag):
        self.in_script = False

    def handle_data(self, data):
        if self.in_script:
            self.scripts[-1] += data


def check(orvcmd, orvik, folder, names, data, options, n_trees, known_draws):
    model, report = (os.path.join(folder, name) for name in ("model.tree", "report.html"))
    subprocess.run([orvcmd, "-nl", "-fm", names, "-fd", data, "-tb", model] + options, check=True)
    subprocess.run([orvik, "view", model, "-o", report, "--names", names, "--data", data, "--seed", "1"],
                   check=True)
    with open(report, encoding="utf-8", newline="") as text:
        page = Page(text.read())
    assert page.tags.count("script") == 2 and not page.fetched and "b" not in page.tags, page.tags
    digest = base64.b64encode(hashlib.sha256(page.scripts[1].encode()).digest()).decode()
    assert f"script-src 'sha256-{digest}'" in page.policy and "default-src 'none'" in page.policy
    held = json.loads(page.scripts[0])
    assert len(held["trees"]) == len(held["sizes"]) == n_trees
    for tree, (size, leaves, _) in zip(held["trees"], held["sizes"]):
        assert size == len(tree["children"]) and leaves == tree["children"].count(0)
    assert len(held["oob"]) == (n_trees if known_draws else 0) and bool(held["oob"]) == known_draws
    training, *out_of_bag, given = held["matrices"]
    assert training["cells"] == given["cells"] and bool(out_of_bag) == known_draws
    for matrix in out_of_bag:
        assert matrix["title"] == "Out-of-bag rows"
        assert abs(1 - matrix["metrics"]["tests"][0]["accuracy"] - held["oob"][-1]) < 1e-9
    return held


def main(orvcmd, orvik, root):
    with tempfile.TemporaryDirectory() as folder:
        golf, rentals = (os.path.join(root, *p) for p in (("examples", "golf"),
                                                          ("tests", "data", "rentals")))
        forest = ["-fo", "5", "-npp", "-m", "0.5", "-seed"]
        for stem, options, n_trees, known in ((golf, [], 1, False),
                                              (rentals, ["-npp", "-m", "0.5"], 1, False),
                                              (rentals, forest + ["1"], 5, True),
                                              (rentals, forest + ["2"], 5, False)):
            check(orvcmd, orvik, folder, stem + ".names", stem + ".data", options, n_trees, known)
        for encoding, values in (("utf-8", HOSTILE), ("iso-8859-1", ["<b>\xe9", "\xff</script>", "x"])):
            names, data = (os.path.join(folder, "odd" + end) for end in (".names", ".data"))
            with open(names, "w", encoding=encoding) as out:
                out.write(f"{values[0]},string,discrete\nn,integer,continuous\nk,string,class\n")
            with open(data, "w", encoding=encoding, newline="\n") as out:
                out.writelines(f"{v},{i % 3},{values[i % 2]}\n" for i, v in enumerate(values * 4))
            held = check(orvcmd, orvik, folder, names, data, ["-npp", "-m", "0.5"], 1, False)
            assert held["columns"][0]["name"] == values[0]
            assert sorted(held["columns"][2]["values"]) == sorted(values[:2])
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
