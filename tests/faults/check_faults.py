#!/usr/bin/env python3
"""Runs in which one call fails: an allocation, a read, a write, a rename ... Each ends with one line and
the program's status, under every final name is the older file or a whole new one, and nothing is left
beside them.

Usage: check_faults.py ORVIK ORVCMD SHIM ROOT [RUNS [KIND ...]]
RUNS is a number of runs for each command and kind of call (of allocations twice it), at random places, or "all": every place in
turn, once and from there on. FAULT_SEED repeats a run's draws.
"""
import collections
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile

OLDER = b"older\n"
KINDS = ("memory", "open", "read", "eintr_read", "short_read", "write", "full", "eintr_write",
         "short_write", "sync", "rename", "map", "thread")
MEANT_WELL = ("eintr_read", "short_read", "short_write")  # no reason to end; zlib ends at an EINTR
ONCE = (*MEANT_WELL, "eintr_write")
# What a library says that does not tell why it failed counts too, as long as it is a line.
OF_MEMORY = re.compile("([Oo]ut of (big )?memory|Cannot allocate memory|pthread_create has failed: [^\\n]*|error with binary output|Cannot write to .*)(\\n|$)")
PRUNINGS = [kind + how for kind in ("ebp", "pep", "rep", "mep") for how in ("", "g", "a")]


def commands(orvik, orvcmd):
    """Command lines, and the files that they write."""
    def cmd(*options, files=()):
        return [orvcmd, "-f", "golf", "-seed", "1", *options], list(files)
    written = ["m.tree", "t.txt", "t.xml", "t.dot", "p.xml", "j.json", "d.table", "s.txt"]
    everything = ["-tb", "m.tree", "-t", "t.txt", "-x", "t.xml", "-d", "t.dot", "-pmml", "p.xml", "-json",
                  "j.json", "-db", "d.table", "-fs", "golf.data", "-s", "s.txt"]
    yield cmd("-ft", "golf.data", "-prob", "-imp", "-tt", "1", *everything, files=written)
    yield cmd("-tt", "2", *everything, "-fd", "packed.data.gz", files=written)
    yield [orvcmd, "-bd", "kept.table", "-tt", "2", "-tstd"], []
    yield [orvcmd, "-bd", "kept.map", "-tt", "2", "-tstd"], []
    yield cmd("-tt", "2", "-dbm", "d.map", files=["d.map"])
    yield [orvcmd, "-bt", "kept.tree", "-fs", "golf.data", "-s", "s.txt", "-ft", "golf.data"], ["s.txt"]
    yield cmd("-cv", "1", "3", "-metrics", "-mjson", "f.json", files=["f.json"])
    for kind in ("-ba", "-fo", "-rf", "-bo"):
        yield cmd(kind, "3", "-tb", "m.tree", "-imp", "-tt", "2", files=["m.tree"])
    for pruning in PRUNINGS:
        yield cmd("-" + pruning, "-t", "t.txt", files=["t.txt"])
    for search in (["-sfs"], ["-sbe"], ["-dtsbe"], ["-as", "0"]):
        yield cmd(*search, "-h", "50", "-t", "t.txt", files=["t.txt"])
    yield ([orvik, "train", "flats.csv", "--class", "verdict", "-o", "m.orvik", "--report", "r.html",
            "--pmml", "p.xml", "--model-json", "j.json", "--cpp", "f.cpp", "--svg", "t.svg", "--python", "f.py",
            "--sql", "f.sql", "--dot", "t.dot", "--text", "f.txt", "--cv", "2"],
           ["m.orvik", "r.html", "p.xml", "j.json", "f.cpp", "t.svg", "f.py", "f.sql", "t.dot", "f.txt"])
    yield [orvik, "predict", "kept.orvik", "new.csv", "-p", "-k", "-o", "s.csv"], ["s.csv"]
    yield [orvik, "test", "kept.orvik", "flats.csv", "--json"], []
    yield [orvik, "view", "kept.orvik", "-o", "r.html"], ["r.html"]
    yield [orvik, "view", "kept.orvik", "--rules", "sql", "-o", "q.sql"], ["q.sql"]
    yield [orvik, "prep", "flats.csv", "-o", "x"], ["x.names", "x.data"]
    yield [orvik, "select", "flats.csv", "--class", "verdict"], []
    yield [orvik, "compare", "flats.csv", "--class", "verdict", "--cv", "2"], []


def prepare(orvik, orvcmd, root, folder):
    examples = os.path.join(root, "examples")
    for name, to in (("golf.names", "golf.names"), ("golf.data", "golf.data"), ("golf.data", "packed.data"),
                     ("flats.csv", "flats.csv"), ("new-flats.csv", "new.csv")):
        shutil.copy(os.path.join(examples, name), os.path.join(folder, to))
    for command in (["gzip", "packed.data"],
                    [orvcmd, "-f", "golf", "-db", "kept.table", "-tb", "kept.tree"],
                    [orvcmd, "-f", "golf", "-dbm", "kept.map"],
                    [orvik, "train", "flats.csv", "--class", "verdict", "-q", "--no-cv", "-o", "kept.orvik"]):
        subprocess.run(command, cwd=folder, check=True, capture_output=True)


class Check:
    def __init__(self, folder, shim):
        self.folder, self.shim = folder, shim
        self.told = os.path.join(folder + ".told")
        self.inputs = set(os.listdir(folder))
        self.runs = self.failed_calls = 0
        self.wrong = collections.Counter()

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def beside_inputs(self):
        return set(os.listdir(self.folder)) - self.inputs

    def run(self, command, files, fault):
        """A run over older files. Whether the call was reached, and the run as it ended."""
        for name in files:
            with open(self.path(name), "wb") as out:
                out.write(OLDER)
        if os.path.exists(self.told):
            os.remove(self.told)
        environment = dict(os.environ, LD_PRELOAD=self.shim, FAULT=fault, FAULT_TOLD=self.told)
        try:
            done = subprocess.run(command, cwd=self.folder, env=environment, capture_output=True,
                                  stdin=subprocess.DEVNULL, timeout=60, check=False)
        except subprocess.TimeoutExpired:
            done = None
        return os.path.exists(self.told), done

    def calls(self, command, files, kind):
        """How many there are in a run without a fault."""
        if os.path.exists(self.told):
            os.remove(self.told)
        os.environ["FAULT_CALLS"] = self.told
        self.run(command, files, kind + ":0")
        del os.environ["FAULT_CALLS"]
        with open(self.told, encoding="ascii") as count:
            return int(count.read())

    def whole(self, command, files):
        """The files of a run without a fault, and its output."""
        _, done = self.run(command, files, "")
        if done.returncode:
            raise SystemExit(f"{command} without a fault: {done.stdout} {done.stderr}")
        return {name: self.read(name) for name in files}

    def faults_of(self, done, command, files, whole, kind):
        """What is not as it should be."""
        if done is None:
            return ["hangs"]
        is_cmd = command[0].endswith("orvcmd")
        failed = 255 if is_cmd else 1
        found = []
        if done.returncode not in (0, failed):
            found.append(f"status {done.returncode}")
        said = done.stdout if is_cmd else done.stderr
        if done.returncode == failed:
            if kind in MEANT_WELL:
                found.append("ends")
            lines = said.decode(errors="replace").rstrip("\n").split("\n")
            # Where the scheduler ends the process another thread's line may come last.
            if not lines[-1] or (kind == "memory" and not OF_MEMORY.search("\n".join(lines))):
                found.append(f"says '{lines[-1]}'")
        for name in files:
            if not os.path.exists(self.path(name)):
                found.append(f"{name} is lost")
                continue
            now = self.read(name)
            is_whole = len(now) > 0.9 * len(whole[name])
            # A report that lacks the test that failed, the scores in front of the rows that did.
            if is_cmd and done.returncode == failed:
                unread = kind == "read" or b"golf.data not" in said or b"out of big memory" in said
                is_whole |= name == "t.txt" or (name == "s.txt" and unread)
            if not is_whole and (now != OLDER or done.returncode == 0):
                found.append(f"{name} of {len(now)} bytes")
        for name in self.beside_inputs() - set(files):
            found.append("leaves " + re.sub("[0-9]+", "", name))
        for name in self.beside_inputs():
            os.remove(self.path(name))
        return found

    def try_call(self, command, files, whole, kind, fault):
        reached, done = self.run(command, files, fault)
        self.runs += 1
        self.failed_calls += reached
        for what in self.faults_of(done, command, files, whole, kind):
            verb = " ".join([os.path.basename(command[0]), *command[1:6]])
            self.wrong[what] += 1
            if self.wrong[what] <= 3:
                print(f"FAULT={fault} {verb}: {what} {done and done.stdout[-200:]} {done and done.stderr}", flush=True)
        return reached


def main(orvik, orvcmd, shim, root, runs="1", *kinds):
    seed = os.environ.get("FAULT_SEED") or str(random.randrange(10**6))
    draw = random.Random(seed)
    with tempfile.TemporaryDirectory() as parent:
        folder = os.path.join(parent, "runs")
        os.mkdir(folder)
        prepare(orvik, orvcmd, root, folder)
        check = Check(folder, shim)
        for command, files in commands(orvik, orvcmd):
            whole = check.whole(command, files)
            for kind in kinds or KINDS:
                if runs == "all":
                    for again in ("",) if kind in ONCE else ("", "+"):
                        n = 1
                        while check.try_call(command, files, whole, kind, f"{kind}:{n}{again}"):
                            n += 1
                    continue
                n_calls = max(1, check.calls(command, files, kind)) if kind == "memory" else 6
                for _ in range(int(runs) * (2 if kind == "memory" else 1)):
                    again = "" if kind in ONCE else draw.choice(["", "+"])
                    n = draw.randint(1, n_calls)
                    check.try_call(command, files, whole, kind, f"{kind}:{n}{again}")
    print(f"{check.runs} runs, in {check.failed_calls} of them a call failed,"
          f" {sum(check.wrong.values())} wrong (FAULT_SEED={seed})")
    return 1 if check.wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
