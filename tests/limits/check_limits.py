#!/usr/bin/env python3
"""Runs the programs at their limits: the result, or one clear line, within the memory that is said.

Usage: check_limits.py ORVCMD ORVIK [--large] [CASE...]
Rows are made up as they are read. Prints what each case took, a row of the table in docs/limits.md;
--large adds those that take minutes, gigabytes, or both. Exit status 1 where one is not as it is to be.
"""
import os
import pathlib
import resource
import subprocess
import sys
import tempfile

MIB = 1 << 20


class Case:
    """What is run. Parts of `files` are texts or functions that write to a file; `rows` is written
    to standard input. `says` is to be in the last line of an error, or in the output of a success.
    `then`: words of a second run, without input."""

    def __init__(self, name, program, words, most_mib, says, status=0, files=(), rows=None,
                 large=False, then=None):
        self.name, self.program, self.words = name, program, words
        self.most_mib, self.says, self.status = most_mib, says, status
        self.files, self.rows, self.large, self.then = dict(files), rows, large, then


def many(line_of, n, step=65536):
    """Writes n lines in large pieces."""
    def write(out):
        for first in range(0, n, step):
            out.write("".join(map(line_of, range(first, min(n, first + step)))).encode())
    return write


def repeated(block, times):
    def write(out):
        for _ in range(times):
            out.write(block)
    return write


def long_cell(n):
    """A cell of n bytes, and a row beside it."""
    def write(out):
        for _ in range(n // MIB):
            out.write(b"x" * MIB)
        out.write(b"x" * (n % MIB) + b",p\nb,q\n")
    return write


def wide_rows(n):
    cells = "0123456789123456789"
    return many(lambda i: ",".join((cells[i % 7:][:7] * (n // 7 + 1))[:n]) + f",c{i % 2}\n", 21)


def flags(times):
    """Rows of one attribute, which says the class nine times of ten."""
    block = b"0,a\n1,b\n" * 9 + b"0,b\n1,a\n"
    return repeated(block * 5000, times)


EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
GOLF, GOLF_NAMES = ((EXAMPLES / f"golf.{end}").read_text(encoding="ascii") for end in ("data", "names"))
ONE = "x,string,discrete\nk,string,class\n"
TRAIN = ["-fm", "t.names", "-fd", "/dev/stdin", "-tt", "2", "-t", "t.txt", "-tb", "t.tree"]

CASES = [
    Case("one row", "orvcmd", TRAIN, 100, "there must be at least", 255,
         files={"t.names": ONE}, rows=many(lambda i: "a,p\n", 1)),
    Case("one row and a header", "orvik", ["train", "t.csv"], 100, "two different values", 1,
         files={"t.csv": "x,k\na,p\n"}),
    Case("one column, the class", "orvcmd", TRAIN, 100, "class", 0, files={"t.names": "k,string,class\n"},
         rows=many(lambda i: f"c{i % 3}\n", 7)),
    Case("65,535 columns", "orvcmd", TRAIN, 600, "tree(s) built",
         files={"t.names": many(lambda i: f"a{i},integer,continuous\n" if i < 65534 else "k,string,class\n", 65535)},
         rows=wide_rows(65534)),
    Case("65,535 columns, a CSV file", "orvik", ["train", "-", "-q", "--no-cv", "-o", "t.orvik"], 1500, "nodes",
         rows=wide_rows(65534)),
    Case("65,534 classes", "orvcmd", TRAIN[:6], 6000, "tree(s) built",
         files={"t.names": "x,integer,continuous\nk,string,class\n"},
         rows=many(lambda i: f"{i % 65534 // 100},c{i % 65534}\n", 131068)),
    Case("65,535 classes", "orvcmd", TRAIN[:6], 500, "class", 255,
         files={"t.names": "x,integer,continuous\nk,string,class\n"},
         rows=many(lambda i: f"{i},c{i % 65535}\n", 131070)),
    Case("4,000,000 texts in a column", "orvcmd", TRAIN, 2500, "tree(s) built",
         files={"t.names": "x,string,discrete\nn,integer,continuous\nk,string,class\n"},
         rows=many(lambda i: f"a text of row {i},{i % 1000},{'pq'[i % 1000 // 500]}\n", 4000000)),
    Case("a cell of 1 GiB", "orvcmd", TRAIN, 4500, "out of big memory", 255, files={"t.names": ONE}, rows=long_cell(1 << 30)),
    Case("a cell of 1,000,000,000 bytes", "orvcmd", TRAIN, 9000, "tree(s) built", files={"t.names": ONE},
         rows=long_cell(1000000000)),
    Case("a cell of 1 GiB, a CSV file", "orvik", ["train", "-", "-q", "--no-cv"], 4500, "", 1,
         rows=long_cell(1 << 30)),
    Case("30,000,000 rows of one attribute", "orvcmd", TRAIN, 4000, "tree(s) built", files={"t.names": ONE},
         rows=flags(300)),
    Case("30,000,000 rows into a mapped table", "orvcmd", TRAIN[:6] + ["-dbm", "t.map"], 250, "Data saved",
         files={"t.names": ONE}, rows=flags(300)),
    Case("100,000,000 rows of one attribute", "orvcmd", TRAIN, 10000, "tree(s) built", files={"t.names": ONE},
         rows=flags(1000), large=True),
    Case("100,000 stumps", "orvcmd", TRAIN[:6] + ["-fo", "100000", "-depth", "1", "-tb", "t.tree"], 500,
         "tree(s) built", files={"t.names": GOLF_NAMES}, rows=many(lambda i: GOLF, 1),
         then=["-bt", "t.tree", "-json", "t.json", "-pmml", "t.pmml"]),
]


def lay_files(case, folder):
    for name, part in case.files.items():
        with open(os.path.join(folder, name), "wb") as out:
            out.write(part.encode()) if isinstance(part, str) else part(out)


def feed(rows, process):
    try:
        if rows:
            rows(process.stdin)
        process.stdin.close()
    except BrokenPipeError:
        pass  # it has seen enough


def run_once(program, words, case, rows, folder):
    """Status, what was said, the most memory in MiB, seconds of all processors."""
    said = os.path.join(folder, "said")
    limit = (case.most_mib + 2048) * MIB  # addresses: stacks and arenas take more of them than of memory
    with open(said, "wb") as out:
        process = subprocess.Popen(
            [program] + words, cwd=folder, stdin=subprocess.PIPE, stdout=out, stderr=out,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)))
        feed(rows, process)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    with open(said, "rb") as text:
        return process.returncode, text.read().decode(errors="replace"), usage.ru_maxrss / 1024, \
            usage.ru_utime + usage.ru_stime


def run(case, program, folder):
    lay_files(case, folder)
    status, said, mib, seconds = run_once(program, case.words, case, case.rows, folder)
    if case.then and status == 0:
        status, more, mib_then, seconds_then = run_once(program, case.then, case, None, folder)
        said, mib, seconds = said + more, max(mib, mib_then), seconds + seconds_then
    return status, said, mib, seconds


def complaint(case, status, said, mib):
    if status != case.status:
        return f"status {status}: {said.strip()[-300:]}"
    if case.status != 0 and case.says not in said.strip().split("\n")[-1]:
        return f"says {said.strip()[-300:]}"
    if case.says not in said:
        return f"does not say '{case.says}': {said.strip()[-300:]}"
    return f"takes {mib:.0f} MiB" if mib > case.most_mib else ""


def main():
    words = sys.argv[1:]
    large = "--large" in words
    programs = {"orvcmd": os.path.abspath(words[0]), "orvik": os.path.abspath(words[1])}
    wanted = [w for w in words[2:] if w != "--large"]
    failed = 0
    for case in CASES:
        if wanted and case.name not in wanted or case.large and not large and not wanted:
            continue
        with tempfile.TemporaryDirectory() as folder:
            status, said, mib, seconds = run(case, programs[case.program], folder)
        wrong = complaint(case, status, said, mib)
        failed += wrong != ""
        last = said.strip().split("\n")[-1][:110] if status else "a model"
        print(f"| {case.name} | {last} | {mib:.0f} MiB | {seconds:.1f} s |" + (f"  WRONG: {wrong}" if wrong else ""),
              flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
