#!/usr/bin/env python3
"""Measures what sets of classes hold of their promise, on random splits of real tables.

Usage: coverage.py ORVCMD FOLDER TABLE... [--splits 20] [--percent 90] [--by-class]

FOLDER has TABLE.names and TABLE.data[.gz]. A split trains on half of the rows, calibrates on a fifth and
tests on the rest. Of each way to calibrate: the part of the test rows whose class is in their set, its
band, the classes in a set, and the part of sets that are empty. The band is that of the mean of so many
splits, 99 %, where calibrating and testing rows are exchangeable; ties of shares only raise the coverage.
"""
import argparse
import gzip
import math
import pathlib
import random
import subprocess
import sys
import tempfile

WAYS = [("tree, rows of its own", ["-calrows", "CAL"], True),
        ("tree, by folds", [], False),
        ("forest, rows of its own", ["-rf", "TREES", "-calrows", "CAL"], True),
        ("forest, out of bag", ["-rf", "TREES"], False),
        ("boosted, by folds", ["-bo", "10"], False)]


def rows_of(folder, table):
    plain, packed = folder / f"{table}.data", folder / f"{table}.data.gz"
    opened = open(plain) if plain.exists() else gzip.open(packed, "rt")
    with opened as file:
        return [line for line in file if line.strip()]


def figures_of(orvcmd, names, parts, options, given):
    options = [{"CAL": str(parts["cal"]), "TREES": "50"}.get(word, word) for word in options]
    text = subprocess.run([orvcmd, "-fm", names, "-fd", parts["train"], "-ft", parts["test"], "-unseen", "-tstd",
                           "-nl", "-seed", "1", "-sets", str(given.percent)] + options + ["-byclass"] * given.by_class,
                          check=True, capture_output=True, text=True).stdout
    lines = text.splitlines()
    at = max(i for i, line in enumerate(lines) if line.startswith("SETS that promise"))
    by_class = []
    for line in lines[at + 2:]:
        words = line.split()
        if line.endswith("(all rows)"):
            overall = [float(word) for word in words[:3]]
        elif len(words) >= 6 and words[0][0].isdigit() and line.startswith(" "):
            by_class.append(float(words[0]))
        else:
            break
    return overall + [min(by_class)]


def band_of(percent, n, m, splits):
    """Half the width: of n rows to calibrate on and m to test on."""
    p = percent / 100
    return 2.576 * math.sqrt(p * (1 - p) / m * (1 + (m - 1) / (n + 2)) / splits)


def write_split(rows, number, folder):
    drawn = rows[:]
    random.Random(number).shuffle(drawn)
    ends = [0, len(rows) // 2, len(rows) * 7 // 10, len(rows)]
    parts = {}
    for i, name in enumerate(("train", "cal", "test")):
        parts[name] = folder / f"{name}.data"
        parts[name].write_text("".join(drawn[ends[i]:ends[i + 1]]))
    return parts, ends[2] - ends[1], ends[3] - ends[2]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("orvcmd")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("tables", nargs="+")
    parser.add_argument("--splits", type=int, default=20)
    parser.add_argument("--percent", type=float, default=90)
    parser.add_argument("--by-class", action="store_true")
    given = parser.parse_args()
    print("| table | calibrated on | covered | promised, band | classes | empty | least class |")
    print("|---|---|---|---|---|---|---|")
    low = 0
    for table in given.tables:
        rows = rows_of(given.folder, table)
        found = {way: [] for way, _, _ in WAYS}
        with tempfile.TemporaryDirectory() as scratch:
            for number in range(given.splits):
                parts, n, m = write_split(rows, number, pathlib.Path(scratch))
                for way, options, _ in WAYS:
                    found[way].append(figures_of(given.orvcmd, given.folder / f"{table}.names", parts, options, given))
        band = 100 * band_of(given.percent, n, m, given.splits)
        for way, _, promised in WAYS:
            covered, size, empty, least = [sum(column) / given.splits for column in zip(*found[way])]
            holds = 100 * covered >= given.percent - band
            low += promised and not holds
            print(f"| {table} | {way} | {100 * covered:.1f} %{'' if holds else ' (low)'} | "
                  f"{given.percent:g} ± {band:.1f} | {size:.2f} | {100 * empty:.1f} % | {100 * least:.1f} % |",
                  flush=True)
    sys.exit(low > 0)


if __name__ == "__main__":
    main()
