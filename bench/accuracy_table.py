#!/usr/bin/env python3
"""Writes the table of docs/accuracy.md: mean errors by table and system, and mean ranks.

Usage: accuracy_table.py RESULTS.csv... [--what error|brier|logloss] [--systems a,b,...]

Each file has a line a run with the columns table, split, system, error (%), brier and logloss. Of tables
that all systems have; equal means share their mean rank.
"""
import argparse
import collections
import csv


def means_of(files, what):
    runs = collections.defaultdict(list)
    for name in files:
        with open(name, newline="") as file:
            for run in csv.DictReader(file):
                if run[what]:
                    runs[run["table"], run["system"]].append(float(run[what]))
    return {key: sum(all_runs) / len(all_runs) for key, all_runs in runs.items()}


def rank(own, others):
    """From 1; `own` is one of the others."""
    lower, equal = sum(o < own for o in others), sum(o == own for o in others)
    return lower + (equal + 1) / 2


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results", nargs="+")
    parser.add_argument("--what", default="error", choices=("error", "brier", "logloss"))
    parser.add_argument("--systems")
    given = parser.parse_args()
    means = means_of(given.results, given.what)
    systems = given.systems.split(",") if given.systems else list(dict.fromkeys(s for _, s in means))
    tables = [t for t in dict.fromkeys(t for t, _ in means) if all((t, s) in means for s in systems)]
    form = "{:.2f}" if given.what == "error" else "{:.3f}"
    print("| table |", " | ".join(systems), "|\n|---" * 1 + "|---" * len(systems) + "|")
    for table in tables:
        print("|", table, "|", " | ".join(form.format(means[table, s]) for s in systems), "|")
    ranks = {s: [rank(means[t, s], [means[t, o] for o in systems]) for t in tables] for s in systems}
    print("| **mean rank** |", " | ".join(f"**{sum(r) / len(r):.2f}**" for r in ranks.values()), "|")


if __name__ == "__main__":
    main()
