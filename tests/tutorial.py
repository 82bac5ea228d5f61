#!/usr/bin/env python3
"""Runs the commands of docs/tutorial.md in an empty folder and compares what they print.

Usage: tutorial.py ROOT BIN, where BIN has the programs. A command is an indented line behind "$ ";
the indented lines below it are its output. Exit status 0 if all agree.
"""
import os
import shutil
import subprocess
import sys
import tempfile


def commands(page):
    found = []
    for line in page.read().split("\n"):
        if line.startswith("    $ "):
            found.append((line[6:], []))
        elif line.startswith("    ") and found:
            found[-1][1].append(line[4:])
        elif line and found:
            found[-1][1].append(None)  # prose: no more output of this command
    # Empty lines inside of an output carry no blanks, so they are left out on both sides.
    return [(c, out[:out.index(None)] if None in out else out) for c, out in found]


def main(root, programs):
    failures = 0
    with tempfile.TemporaryDirectory() as folder, open(os.path.join(root, "docs", "tutorial.md")) as page:
        for name in ("flats.csv", "new-flats.csv"):
            shutil.copy(os.path.join(root, "examples", name), folder)
        env = dict(os.environ, PATH=programs + os.pathsep + os.environ["PATH"], LC_ALL="C.UTF-8", COLUMNS="80")
        for command, expected in commands(page):
            done = subprocess.run(["bash", "-c", command], cwd=folder, env=env, capture_output=True, text=True)
            printed = [line for line in done.stdout.split("\n") if line]
            if done.returncode != 0 or printed != expected:
                failures += 1
                print(f"$ {command}\nstatus {done.returncode} {done.stderr}\nprinted  {printed}\n"
                      f"expected {expected}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
