#!/usr/bin/env python3
"""Runs the commands of pages, docs/tutorial.md unless others are named, as they stand there, in one
shell a page, and compares what they print with what stands there.

Usage: tutorial.py ROOT BIN [PAGE ...], where BIN has the programs and pages are in ROOT. A command
is an indented line behind "$ "; the indented lines below it are its output, on both streams. The
shell starts in a folder that looks as the project does once it is built: with examples and
build/release. Exit status 0 if all agree.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

END = "-- end of a command, status "


def commands(page):
    found = []
    for line in page.read().split("\n"):
        if line.startswith("    $ "):
            found.append((line[6:], []))
        elif line.startswith("    ") and found:
            found[-1][1].append(line[4:])
        elif found:
            found[-1][1].append(None if line else "")  # prose: no more output of this command
    return [(c, stripped(out[:out.index(None)] if None in out else out)) for c, out in found]


def stripped(lines):
    """Without the empty lines at the end, which belong to the page."""
    while lines and lines[-1] == "":
        lines = lines[:-1]
    return lines


def without_sizes(lines):
    """Files grow with the program."""
    return [re.sub(r"\([0-9.]+ ([KM]B|bytes)\)$", "", line) for line in lines]


def outputs_of(lines, folder):
    """What each of the commands prints, and its status, run one after the other in one shell."""
    script = "".join(f"{{ {line}\n}} 2>&1; printf '\\n{END}%s\\n' $?\n" for line in lines)
    env = dict(os.environ, LC_ALL="C.UTF-8", COLUMNS="80")
    done = subprocess.run(["bash", "-c", script], cwd=folder, env=env, stdout=subprocess.PIPE, text=True)
    found, printed = [], []
    for line in done.stdout.split("\n"):
        if line.startswith(END):
            found.append((stripped(printed), line[len(END):]))
            printed = []
        else:
            printed.append(line)
    return found


def failures_in(page, root, programs):
    with open(os.path.join(root, page), encoding="utf-8") as text:
        shown = commands(text)
    with tempfile.TemporaryDirectory() as folder:
        shutil.copytree(os.path.join(root, "examples"), os.path.join(folder, "examples"))
        os.mkdir(os.path.join(folder, "build"))
        os.symlink(os.path.abspath(programs), os.path.join(folder, "build", "release"))
        ran = outputs_of([command for command, _ in shown], folder)
    failures = 0 if shown and len(ran) == len(shown) else 1
    for (command, expected), (printed, status) in zip(shown, ran):
        if status != "0" or without_sizes(printed) != without_sizes(expected):
            failures += 1
            print(f"{page}: $ {command}\nstatus {status}\nprinted  {printed}\nexpected {expected}")
    return failures


def main(root, programs, *pages):
    return 1 if sum(failures_in(p, root, programs) for p in pages or ["docs/tutorial.md"]) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
