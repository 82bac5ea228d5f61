#!/usr/bin/env python3
"""Times the way from a CSV file to a table beside loading the table that was prepared of it.

Usage: reading.py BIN_FOLDER STEM... [options], where STEM.names and STEM.data (or STEM.data.gz) are
a table and BIN_FOLDER has orvik and orvcmd; "generated:N" is N rows of six numbers that hardly
repeat. The programs take turns; figures are medians of the processor's seconds of whole processes
that grow a leaf, for pandas and DuckDB, where they are installed, of reading alone.
"""
import argparse
import gzip
import importlib.util
import os
import random
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile

LEAF = "1e200"  # the least weight of a branch
READERS = {
    "pandas": "import pandas; read = pandas.read_csv",
    "duckdb": "import duckdb; read = lambda f: duckdb.sql(f\"select * from read_csv('{f}')\").fetchnumpy()",
}
READ = "import sys, time; start = time.process_time(); read(sys.argv[1]); print(time.process_time() - start)"


def generate(stem, n):
    draw = random.Random(1)
    kinds = ["integer", "integer", "integer", "double", "double", "double"]
    with open(stem + ".names", "w") as names:
        names.writelines(f"a{i},{kind},continuous\n" for i, kind in enumerate(kinds))
        names.write("k,string,class\n")
    with open(stem + ".data", "w") as data:
        for _ in range(n):
            a, b, c = draw.randrange(10**5), draw.randrange(10**9), draw.randrange(-(10**6), 10**6)
            x, y, z = draw.gauss(0, 1000), draw.random(), draw.expovariate(0.01)
            data.write(f"{a},{b},{c},{x:.3f},{y:.6f},{z:.4f},{'yes' if a + 50 * x > 80000 else 'no'}\n")


def prepare(stem, folder):
    """The table as STEM.names, STEM.data and STEM.csv in the folder."""
    name = os.path.basename(stem).replace(":", "-")
    to = os.path.join(folder, name)
    if stem.startswith("generated:"):
        generate(to, int(stem.split(":")[1]))
    else:
        shutil.copy(stem + ".names", to + ".names")
        packed = not os.path.exists(stem + ".data")
        with gzip.open(stem + ".data.gz") if packed else open(stem + ".data", "rb") as data:
            with open(to + ".data", "wb") as out:
                shutil.copyfileobj(data, out)
    with open(to + ".names") as names, open(to + ".data") as data, open(to + ".csv", "w") as out:
        out.write(",".join(line.split(",")[0] for line in names) + "\n")
        shutil.copyfileobj(data, out)
    return name, to


def seconds(command):
    """Of the processor, by user and system."""
    def spent():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = spent()
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    return spent() - before


def reading(setup, file):
    return float(subprocess.run([sys.executable, "-c", setup + "\n" + READ, file], capture_output=True,
                                text=True, check=True).stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("bin")
    parser.add_argument("stems", nargs="+")
    parser.add_argument("--repeats", type=int, default=7)
    parser.add_argument("--workers", default="2")
    args = parser.parse_args()
    orvik, orvcmd = (os.path.join(args.bin, name) for name in ("orvik", "orvcmd"))
    readers = {name: setup for name, setup in READERS.items() if importlib.util.find_spec(name)}
    print("| table | prepared, orvcmd | CSV, orvik | " + "".join(f"{name} | " for name in readers) + "CSV / prepared |")
    print("|---|---|---|---|" + "---|" * len(readers))
    with tempfile.TemporaryDirectory() as folder:
        for stem in args.stems:
            name, table = prepare(stem, folder)
            ways = {
                "pair": lambda: seconds([orvcmd, "-f", table, "-m", LEAF, "-nl", "-tt", args.workers]),
                "csv": lambda: seconds([orvik, "train", table + ".csv", "--min", LEAF, "-q", "--no-cv",
                                        "--threads", args.workers]),
            }
            for reader, setup in readers.items():
                ways[reader] = lambda setup=setup: reading(setup, table + ".csv")
            times = {way: [] for way in ways}
            for _ in range(args.repeats):
                for way, run in ways.items():
                    times[way].append(run())
            medians = {way: statistics.median(all_of) for way, all_of in times.items()}
            ratio = statistics.median(c / p for c, p in zip(times["csv"], times["pair"]))
            print(f"| {name} | " + " | ".join(f"{m:.3f}" for m in medians.values()) + f" | {ratio:.2f} |", flush=True)


if __name__ == "__main__":
    main()
