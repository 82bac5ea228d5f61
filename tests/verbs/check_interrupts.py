#!/usr/bin/env python3
"""Runs that are ended at random times, with all outputs on and over older files: under every final
name is the older file or the whole new one, and SIGINT and SIGTERM leave nothing beside them.

Usage: check_interrupts.py ORVIK ORVCMD [RUNS]. Exit status 0 if all is as it should be.
"""
import os
import random
import signal
import subprocess
import sys
import tempfile
import time

OLDER = b"older\n"


def make_rows(path, n):
    draw = random.Random(1)
    with open(path, "w", encoding="utf-8") as out:
        out.write("id,a,b,c,d,class\n")
        for i in range(n):
            a, b = draw.random(), draw.randrange(40)
            out.write(f"k{i},{a:.4f},{b},{draw.randrange(9)},v{draw.randrange(30)},"
                      f"{'yes' if a * b + draw.random() * 20 > 18 else 'no'}\n")


def runs_of(orvik, orvcmd):
    """Command lines, and the files that they write."""
    return [
        ([orvik, "train", "rows.csv", "-q", "-o", "m.orvik", "--report", "r.html", "--pmml", "p.xml",
          "--model-json", "j.json", "--cpp", "f.cpp", "--python", "f.py", "--sql", "f.sql", "--dot",
          "t.dot", "--text", "t.txt", "--svg", "t.svg", "--cv", "2"],
         ["m.orvik", "r.html", "p.xml", "j.json", "f.cpp", "f.py", "f.sql", "t.dot", "t.txt", "t.svg"]),
        ([orvik, "predict", "kept.orvik", "rows.csv", "-p", "-k", "-o", "s.csv"], ["s.csv"]),
        ([orvik, "prep", "rows.csv", "-o", "x", "-q"], ["x.names", "x.data"]),
        ([orvcmd, "-f", "kept", "-tb", "m.tree", "-t", "t.txt", "-x", "t.xml", "-d", "t.dot", "-pmml",
          "p.xml", "-json", "j.json", "-db", "d.table", "-fs", "kept.data", "-s", "s.txt", "-nl"],
         ["m.tree", "t.txt", "t.xml", "t.dot", "p.xml", "j.json", "d.table", "s.txt"]),
    ]


def whole_outputs(command, names, folder):
    """What the files are after a run that nobody ends, and how long it takes."""
    start = time.monotonic()
    subprocess.run(command, cwd=folder, check=True, capture_output=True)
    seconds = time.monotonic() - start
    found = {}
    for name in names:
        with open(os.path.join(folder, name), "rb") as file:
            found[name] = file.read()
        os.remove(os.path.join(folder, name))
    return found, seconds


def same(name, found, whole):
    """Reports, models and PMML tell times, which differ from run to run."""
    if name.endswith((".orvik", ".tree", ".html", ".table", ".xml")):
        return len(found) > 0.9 * len(whole)
    return found == whole


def main(orvik, orvcmd, n="200"):
    draw = random.Random()
    with tempfile.TemporaryDirectory() as folder:
        make_rows(os.path.join(folder, "rows.csv"), 20000)
        subprocess.run([orvik, "prep", "rows.csv", "-o", "kept", "-q"], cwd=folder, check=True)
        subprocess.run([orvik, "train", "rows.csv", "--no-cv", "-q", "-o", "kept.orvik"], cwd=folder,
                       check=True, capture_output=True)
        inputs = set(os.listdir(folder))
        known = [(c, names, *whole_outputs(c, names, folder)) for c, names in runs_of(orvik, orvcmd)]
        ended = 0
        for i in range(int(n)):
            command, names, whole, seconds = known[i % len(known)]
            for name in names:
                with open(os.path.join(folder, name), "wb") as file:
                    file.write(OLDER)
            how = draw.choice([signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
            run = subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
            time.sleep(draw.random() * seconds)
            run.send_signal(how)
            status = run.wait()
            what = f"run {i}, {how.name}, status {status}: {command[:2]}"
            # The signal itself ends a process that has not begun; shells call both 128 + signal.
            if status not in ((0, -how) if how == signal.SIGKILL else (0, -how, 128 + how)):
                raise SystemExit(what)
            ended += status != 0
            for name in names:
                with open(os.path.join(folder, name), "rb") as file:
                    found = file.read()
                if found != OLDER and not same(name, found, whole[name]):
                    raise SystemExit(f"{what}: {name} has {len(found)} of {len(whole[name])} bytes")
                os.remove(os.path.join(folder, name))
            left = set(os.listdir(folder)) - inputs
            if left and how != signal.SIGKILL:
                raise SystemExit(f"{what}: left {left}")
            for name in left:
                if not name.startswith(".unfinished-"):
                    raise SystemExit(f"{what}: left {name}")
                os.remove(os.path.join(folder, name))
        print(f"{n} runs, {ended} of them ended early: older or whole files, nothing beside them")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
