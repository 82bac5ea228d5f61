#!/usr/bin/env python3
"""Runs that were ended and go on (-resume) write what a run writes that was not.

Usage: check_resume.py ORVCMD ROOT

A run that is killed leaves the beginning of its file of finished tasks: so does cutting the file of
a whole run. Once a run is really killed.
"""
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

RUNS = (["-rf", "40", "-imp"], ["-fo", "12", "-rep", "-cv", "2", "3"], ["-cv", "2", "4", "-mep", "-calibrate", "plain"],
        ["-npp", "-sbe", "-cv", "1", "3"], ["-sdm2012", "1", "-cv", "1", "5"],
        ["-as2018", "0:1", "1", "2", "1", "-cv", "1", "3", "-fo", "4"])
SECONDS = {"-sdm2012": [7], "-as2018": [10, 17, 24, 31, 38]}  # columns of times


def run(command):
    return subprocess.run(command, capture_output=True, check=False, text=True)


def said(text, options):
    """What a run said, without its times: a log, or the lines of an experiment."""
    found = re.sub(r"(time|Reading).*", "", text)
    columns = SECONDS.get(options[0], [])
    lines = [line.split("\t") for line in found.split("\n")]
    return [[cell for i, cell in enumerate(cells) if i not in columns] for cells in lines]


def outputs(command, options, folder):
    text = os.path.join(folder, "text")
    done = run(command + ["-t", text])
    if done.returncode:
        raise SystemExit(f"{options}: {done.stdout}{done.stderr}")
    report = open(text, encoding="utf-8").read() if os.path.exists(text) else ""
    return said(done.stdout, options), report


def check_cuts(orvcmd, table, options, folder):
    command = [orvcmd] + table + options + ["-seed", "3", "-tt", "2"]
    kept = os.path.join(folder, "kept")
    wanted = outputs(command, options, folder)
    for n_bytes in (None, 0, 30, 0.3, 0.8, 1.0):
        if n_bytes is not None:
            size = int(n_bytes * whole) if isinstance(n_bytes, float) else n_bytes
            os.truncate(kept, size)
        if outputs(command + ["-resume", kept], options, folder) != wanted:
            raise SystemExit(f"{options}: another output when gone on after {n_bytes}")
        whole = os.path.getsize(kept)
    os.remove(kept)


def check_killed(orvcmd, table, folder):
    kept, model = os.path.join(folder, "kept"), os.path.join(folder, "model")
    command = [orvcmd] + table + ["-rf", "20000", "-free", "-seed", "1", "-json", model, "-resume", kept]
    job = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    while job.poll() is None and not (os.path.exists(kept) and os.path.getsize(kept) > 100_000):
        time.sleep(0.01)
    job.send_signal(signal.SIGKILL)
    job.wait()
    if os.path.exists(model):
        raise SystemExit("killed: there is a model")
    other = run(command[:-1] + [kept, "-c", "0.1"])
    if other.returncode != 255 or not other.stdout.endswith("its tasks are of a run with other options\n"):
        raise SystemExit(f"other options: {other.stdout}")
    if run(command).returncode or run(command[:-3] + [model + "2"]).returncode:
        raise SystemExit("killed: does not go on")
    if open(model, "rb").read() != open(model + "2", "rb").read():
        raise SystemExit("killed: another model")


def main(orvcmd, root):
    golf = ["-f", os.path.join(root, "examples", "golf")]
    with tempfile.TemporaryDirectory() as folder:
        for options in RUNS:
            check_cuts(orvcmd, golf, options, folder)
        check_killed(orvcmd, golf, folder)
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
