#!/usr/bin/env python3
"""What a disk holds when the power goes: after every call of a run, with all that was not yet synchronised
dropped, and renamings done or not. Under every final name is the older file or a whole new one.

Usage: check_power_cuts.py ORVIK ORVCMD SHIM ROOT. Exit status 0 if all is as it should be.
"""
import os
import subprocess
import sys
import tempfile

import check_faults as faults


class File:
    def __init__(self, is_new=True):
        self.writes = self.synced = 0
        self.is_new = is_new


class Disk:
    """One folder, as a list of calls leaves it. A file counts its writes, and those behind the last fsync()
    are lost; of the folder any state since its last fsync() may be found."""

    def __init__(self, older):
        self.names = {name: File(is_new=False) for name in older}
        self.states = [dict(self.names)]
        self.open = {}

    def call(self, what, *words):
        getattr(self, "do_" + what)(*words)

    def do_open(self, fd, for_writing, path):
        name = os.path.basename(path)
        is_folder = name in ("", ".") or os.path.isdir(path)
        if for_writing == "1" and not is_folder and not self.names.setdefault(name, File()).is_new:
            self.names[name] = File()  # written in place
        self.open[fd] = None if is_folder else self.names.get(name)
        self.states.append(dict(self.names))

    def do_write(self, fd):
        if self.open.get(fd):
            self.open[fd].writes += 1

    def do_sync(self, fd):
        if self.open[fd] is None:
            self.states = [dict(self.names)]
        else:
            self.open[fd].synced = self.open[fd].writes

    def do_rename(self, old, new):
        self.names[os.path.basename(new)] = self.names.pop(os.path.basename(old))
        self.states.append(dict(self.names))

    def do_unlink(self, path):
        self.names.pop(os.path.basename(path), None)
        self.states.append(dict(self.names))


def replay(calls, older, files, whole):
    """What a cut behind some call would leave of a final name that is neither; `whole` are the numbers of
    writes of whole files."""
    disk, found = Disk(older), []
    for i, call in enumerate(calls):
        disk.call(*call)
        for state in disk.states:
            for name in files:
                file = state.get(name)
                if name in older and file is None:
                    found.append(f"{name} is lost at call {i}, {call}")
                elif file and file.is_new and file.synced < whole.get(name, 1 << 30):
                    found.append(f"{name} is half written at call {i}, {call}")
    return found


def writes_of(calls, older):
    """Of each name, at the end."""
    disk = Disk(older)
    for call in calls:
        disk.call(*call)
    return {name: file.writes for name, file in disk.names.items()}


def calls_of(command, folder, log, shim):
    if os.path.exists(log):
        os.remove(log)
    subprocess.run(command, cwd=folder, env=dict(os.environ, LD_PRELOAD=shim, FAULT_LOG=log), check=True,
                   stdin=subprocess.DEVNULL, capture_output=True)
    with open(log, encoding="utf-8") as lines:
        return [line.rstrip("\n").split(" ") for line in lines]


def main(orvik, orvcmd, shim, root):
    wrong = cuts = 0
    with tempfile.TemporaryDirectory() as parent:
        folder = os.path.join(parent, "runs")
        os.mkdir(folder)
        faults.prepare(orvik, orvcmd, root, folder)
        inputs = set(os.listdir(folder))
        for command, files in faults.commands(orvik, orvcmd):
            for older in (files, []) if files else ():
                for name in set(os.listdir(folder)) - inputs:
                    os.remove(os.path.join(folder, name))
                for name in older:
                    with open(os.path.join(folder, name), "wb") as out:
                        out.write(faults.OLDER)
                calls = calls_of(command, folder, os.path.join(parent, "log"), shim)
                # Texts of orvcmd under new names wait for nothing: there is nothing to lose.
                kept = [n for n in files if older or command[0] == orvik or n.endswith((".tree", ".table"))]
                found = replay(calls, older, kept, writes_of(calls, older))
                cuts += len(calls)
                wrong += len(found)
                for what in found[:3]:
                    print(" ".join([os.path.basename(command[0]), *command[1:6]]) + ": " + what)
    print(f"{cuts} power cuts, {wrong} wrong")
    return 1 if wrong or not cuts else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
