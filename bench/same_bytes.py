#!/usr/bin/env python3
"""Whether all outputs are the same bytes for any number of workers and from any build.

Usage: same_bytes.py FOLDER ORVCMD [ORVCMD ...]: every table NAME.names with NAME.data, or .data.gz, in
FOLDER; each program, of another compiler, other options or another unpacker, with each number of workers.
WORKERS=1,4 chooses the numbers, TABLES=golf,iris the tables. Prints what differs; exit status 0 if nothing.
"""
import hashlib
import os
import re
import subprocess
import sys
import tempfile

WORKERS = os.environ.get("WORKERS", "1,2,3,5,8,16,64").split(",")
LARGE = 1 << 20  # bytes of data for which a tree and a forest must do
SETTINGS = (["-imp"], ["-fo", "5", "-metrics"])
MORE = (["-npp", "-m", "0.5", "-ownunk"], ["-pepa"], ["-repg"], ["-mepa"], ["-ba", "5"], ["-rf", "5", "-extra"],
        ["-bo", "5", "-mtry", "2"], ["-bo", "5", "-soft"], ["-cv", "2", "3", "-metrics"], ["-hs", "30"], ["-sfs", "-h", "50"])
FORMS = {"-t": "t", "-x": "x", "-d": "d", "-json": "j", "-pmml": "p", "-mjson": "m", "-s": "s"}
# Times, and what a rate of them is.
TIMES = re.compile(rb"((load |total )?time: \S+|\([0-9.e+]+ [^)]*/s\)|\S+ \+- \S+ secs|Reading text data[^\n]*|"
                   rb"[0-9.e+-]+ secs|[0-9.]+ workers?)")


def tables_of(folder):
    chosen = os.environ.get("TABLES", "")
    for name in sorted(os.listdir(folder)):
        stem, ending = os.path.splitext(os.path.join(folder, name))
        data = [d for d in (stem + ".data", stem + ".data.gz") if os.path.exists(d)]
        if ending == ".names" and data and (not chosen or os.path.basename(stem) in chosen.split(",")):
            yield stem + ".names", data[0]


def outputs_of(orvcmd, names, data, settings, workers):
    """A digest of each output; the status and what is said count too, but for times."""
    with tempfile.TemporaryDirectory() as folder:
        command = [orvcmd, "-fm", names, "-fd", data, "-fs", data, "-prob", "-unseen", "-seed", "1", "-tt", workers,
                   *settings, *(word for o, n in FORMS.items() for word in (o, os.path.join(folder, n)))]
        done = subprocess.run(command, capture_output=True, check=False)
        found = {"status": str(done.returncode), "log": TIMES.sub(b"", done.stdout.replace(folder.encode(), b""))}
        for name in os.listdir(folder):
            with open(os.path.join(folder, name), "rb") as file:
                found[name] = TIMES.sub(b"", file.read()) if name in "xm" else file.read()
    return {name: t if name == "status" else hashlib.sha256(t).hexdigest() for name, t in found.items()}


def main(folder, *programs):
    compared = differing = 0
    for names, data in tables_of(folder):
        for settings in SETTINGS + (MORE if os.path.getsize(data) < LARGE and data.endswith(".data") else ()):
            wanted = None
            for program in programs:
                for workers in WORKERS:
                    found = outputs_of(program, names, data, settings, workers)
                    wanted = wanted or found
                    compared += 1
                    if found != wanted:
                        differing += 1
                        which = sorted(n for n in {*found, *wanted} if found.get(n) != wanted.get(n))
                        print(f"{names} {settings} {program} -tt {workers}: other {which}", flush=True)
        print(f"{os.path.basename(names)}: {compared} runs, {differing} differ", flush=True)
    return 1 if differing or not compared else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
