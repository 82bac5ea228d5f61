#!/usr/bin/env python3
"""Runs orvmpi on several processes and compares what it writes with what orvcmd writes.

Usage: check_mpi.py MPIRUN ORVCMD ORVMPI NAMES DATA [PROCESSES...]

Models and experiments are compared without the seconds that they took. Then a run goes on from what
other processes kept; a process is killed in the middle of a run, and one of two has no table: the
older model must stay whole, and the line must say whose fault it was.
"""
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import time

OPTIONS = (["-rf", "9", "-imp", "-metrics", "-unseen"], ["-ba", "9", "-rep", "-cv", "1", "3", "-prob"], ["-bo", "4"],
           ["-mep", "-cv", "2", "4", "-calibrate", "plain"], ["-sbe", "-npp", "-cv", "1", "3"],
           ["-sdm2012", "1", "-cv", "1", "4"])
FILES = (("-t", "text"), ("-s", "scores"), ("-shap", "reasons"), ("-json", "json"), ("-tb", "model"))
ENVIRONMENT = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1",
                   OMPI_MCA_rmaps_base_oversubscribe="1")


def run(command):
    return subprocess.run(command, env=ENVIRONMENT, capture_output=True, check=False, text=True)


def without_times(orvcmd, model, folder):
    """The model as its JSON: the binary form holds the seconds of its making."""
    json = os.path.join(folder, "loaded.json")
    done = run([orvcmd, "-bt", model, "-json", json])
    if done.returncode:
        raise SystemExit(f"{model}: {done.stdout}")
    with open(json, "rb") as text:
        return text.read()


def outputs(orvcmd, program, settings, folder):
    places = [os.path.join(folder, name) for _, name in FILES]
    done = run(program + settings + [word for (option, _), place in zip(FILES, places) for word in (option, place)])
    if done.returncode:
        raise SystemExit(f"{program} {settings}: {done.stdout}{done.stderr}")
    if "-columns" in settings and len(program) > 1 and " bytes in " not in done.stdout:
        raise SystemExit(f"{program} {settings}: told nothing")
    if "-sdm2012" in settings:
        return [[cell for i, cell in enumerate(line.split("\t")) if i != 7] for line in done.stdout.split("\n")
                if "\t" in line]
    found = [[line for line in done.stdout.split("\n") if re.match(r" \+ (err|sz|depth|nf|oob|[0-9]+ val)", line)]]
    for place in places[:-1]:
        with open(place, "rb") as text:
            found.append(text.read())
    return found + [without_times(orvcmd, places[-1], folder)]


def write_table(folder):
    """Enough rows to be split in rounds; numbers, words, unknown cells and weights."""
    draw = random.Random(7)
    stem = os.path.join(folder, "drawn")
    with open(stem + ".names", "w", encoding="ascii") as names:
        names.write("a,double,continuous\nb,string,discrete\nc,integer,continuous\nd,string,discrete\n"
                    "k,string,class\nw,double,weights\n")
    rows = []
    for _ in range(6000):
        a, b, c = draw.randrange(500), draw.randrange(5), draw.randrange(30)
        cells = [a, b, "?" if draw.random() < 0.1 else c, draw.randrange(2), (a // 90 + b * (c > 12)) % 3]
        rows.append(",".join(map(str, cells + [0.1 * draw.randrange(1, 9)])) + "\n")
    for name, n in ((".data", len(rows)), (".few", 20)):
        with open(stem + name, "w", encoding="ascii") as data:
            data.writelines(rows[:n])
    return ["-f", stem, "-fs", stem + ".few"]


def check_same(mpirun, orvcmd, orvmpi, table, processes, folder, all_options=OPTIONS):
    for options in all_options:
        settings = table + options + ["-seed", "5", "-tt", "2"]
        wanted = outputs(orvcmd, [orvcmd], settings, folder)
        for n in processes:
            own = outputs(orvcmd, [mpirun, "-n", n, orvmpi], settings, folder)
            if own == wanted:
                continue
            for name, one, other in zip(("log",) + tuple(name for _, name in FILES), wanted, own):
                if one != other:
                    raise SystemExit(f"{options} on {n} processes: another {name}")


def check_gone_on(mpirun, orvcmd, orvmpi, table, folder):
    """With fewer processes, of which one kept less than it did."""
    kept = os.path.join(folder, "kept")
    settings = table + ["-rf", "60", "-seed", "5", "-tt", "1", "-resume", kept]
    wanted = outputs(orvcmd, [mpirun, "-n", "3", orvmpi], settings, folder)
    os.truncate(kept + ".1", os.path.getsize(kept + ".1") // 2)
    if outputs(orvcmd, [mpirun, "-n", "2", orvmpi], settings, folder) != wanted:
        raise SystemExit("gone on with two processes: another output")
    if outputs(orvcmd, [orvcmd], settings, folder) != wanted:
        raise SystemExit("gone on without processes: another output")


def children_of(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as listed:
        return [int(each) for each in listed.read().split()]


def check_killed(mpirun, orvmpi, table, folder):
    model = os.path.join(folder, "old")
    with open(model, "w", encoding="ascii") as old:
        old.write("old")
    job = subprocess.Popen([mpirun, "-n", "2", orvmpi] + table + ["-rf", "1000000", "-tb", model],
                           env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    deadline = time.monotonic() + 20
    while len(children_of(job.pid)) < 2 and time.monotonic() < deadline:
        time.sleep(0.05)
    time.sleep(0.5)
    os.kill(children_of(job.pid)[-1], signal.SIGKILL)
    said = job.communicate(timeout=20)[0]
    with open(model, encoding="ascii") as kept:
        if job.returncode == 0 or kept.read() != "old" or "rank" not in said:
            raise SystemExit(f"killed: status {job.returncode}, {said}")
    left = [name for name in os.listdir(folder) if "unfinished" in name]
    if left:
        raise SystemExit(f"killed: left {left}")


def check_lone_error(mpirun, orvmpi, table):
    done = run([mpirun, "-n", "1", orvmpi] + table + ["-rf", "9", ":", "-n", "1", orvmpi, "-f", "/nowhere/t"])
    last = done.stdout.strip().rsplit("\n", 1)[-1]
    if done.returncode != 255 or last != "process 1: File: /nowhere/t.names not found or inaccessible":
        raise SystemExit(f"one without a table: status {done.returncode}, {done.stdout}")


def main(mpirun, orvcmd, orvmpi, names, data, *processes):
    table = ["-fm", names, "-fd", data]
    rows = ["-ft", data, "-fs", data]
    with tempfile.TemporaryDirectory() as folder:
        check_same(mpirun, orvcmd, orvmpi, table + rows, processes or ("3",), folder)
        drawn = write_table(folder)
        check_same(mpirun, orvcmd, orvmpi, drawn, processes or ("3",), folder, (["-columns"],))
        many_rows = drawn[:2] + ["-fs", drawn[1] + ".data"]  # that processes predict and score a part of
        check_same(mpirun, orvcmd, orvmpi, many_rows, processes or ("3",), folder, (["-rf", "9", "-hs", "50"],))
        mapped = os.path.join(folder, "drawn.map")
        run([orvcmd, "-f", drawn[1], "-npp", "-dbm", mapped])
        check_same(mpirun, orvcmd, orvmpi, ["-bd", mapped] + drawn[2:], processes or ("3",), folder, (["-columns"],))
        check_gone_on(mpirun, orvcmd, orvmpi, table + rows, folder)
        check_killed(mpirun, orvmpi, table, folder)
    check_lone_error(mpirun, orvmpi, table)
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
