#!/usr/bin/env python3
"""Times orvcmd beside the programs that people use instead, on the same rows.

Usage: compare.py ORVCMD STEM... [options], where STEM.names and STEM.data (or STEM.data.gz) are a
table. Peers that are not installed are left out; on Debian 12 they are
    apt-get install python3-sklearn python3-pandas r-cran-ranger r-cran-rpart r-cran-data.table weka

The rows are shuffled under a seed; the first two thirds train, the rest are predicted. Every
figure is a median over repetitions in which the programs take turns. Seconds are those of the step
itself: loading into codes (sorted, dense, for every column), growing with pruning where a program
prunes, predicting rows in memory. Unknown values become a code of their own, and for scikit-learn
and ranger the median of a continuous attribute; discrete attributes are ordinal codes there.
"""
import argparse
import csv
import gzip
import json
import os
import platform
import random
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
WEKA = "/usr/share/java/weka.jar"
WHAT = {
    "load": "Loading, seconds",
    "tree": "One tree: seconds (nodes; error on the rest, %)",
    "forest": "100 trees: seconds; predicting the rest, seconds (error, %)",
}


def open_text(stem):
    plain = stem + ".data"
    return open(plain) if os.path.exists(plain) else gzip.open(plain + ".gz", "rt")


class Table:
    """A shuffled copy of a table in a scratch folder, in the forms that the programs read."""

    def __init__(self, stem, folder):
        self.name = os.path.basename(stem)
        self.names = os.path.join(folder, self.name + ".names")
        self.data = os.path.join(folder, self.name + ".data")
        self.csv = os.path.join(folder, self.name + ".csv")
        self.arff = [os.path.join(folder, self.name + end) for end in (".train.arff", ".test.arff")]
        with open(stem + ".names") as names:
            self.schema = [line.rstrip("\n").split(",") for line in names]
        shutil.copy(stem + ".names", self.names)
        with open_text(stem) as data:
            rows = data.read().splitlines()
        random.Random(1).shuffle(rows)
        self.n_rows, self.n_train = len(rows), len(rows) * 2 // 3
        with open(self.data, "w") as out:
            out.writelines(row + "\n" for row in rows)
        with open(self.csv, "w") as out:
            out.write(",".join(f"c{i}" for i in range(len(self.schema))) + "\n")
            out.writelines(row + "\n" for row in rows)
        self.roles = ["c" if role == "continuous" and not kind.startswith("ostring") else
                      {"discrete": "d", "continuous": "d", "class": "y"}.get(role, "-")
                      for _, kind, role in self.schema]

    def write_arff(self):
        if os.path.exists(self.arff[0]):
            return
        with open(self.data, newline="") as data:
            rows = list(csv.reader(data, quoting=csv.QUOTE_NONE))
        used = [i for i, role in enumerate(self.roles) if role != "-"]
        values = {i: sorted({row[i].strip() for row in rows} - {"?"}) for i in used if self.roles[i] != "c"}
        quote = lambda text: "?" if text == "?" else "'" + text.replace("'", "\\'") + "'"
        for path, part in zip(self.arff, (rows[:self.n_train], rows[self.n_train:])):
            with open(path, "w") as out:
                out.write("@relation t\n")
                for i in used:
                    kind = "numeric" if self.roles[i] == "c" else "{" + ",".join(map(quote, values[i])) + "}"
                    out.write(f"@attribute c{i} {kind}\n")
                out.write("@data\n")
                for row in part:
                    out.write(",".join(row[i].strip() if self.roles[i] == "c" else quote(row[i].strip())
                                       for i in used) + "\n")


def figures(text, pattern):
    return [float(x) for x in re.findall(pattern, text)]


class Orvik:
    name = "Orvik"

    def __init__(self, program):
        self.program = program

    def run(self, table, *options):
        done = subprocess.run([self.program, "-fm", table.names, "-fd", table.data, "-tstd", *options],
                              capture_output=True, text=True, check=True)
        return done.stdout

    def load(self, table, workers):
        return {"seconds": figures(self.run(table, "-tt", str(workers), "-depth", "0", "-np"),
                                   r"\+ total time: (\S+) secs")[0]}

    def model(self, table, workers, *options):
        # Half a row more, so that rounding does not lose one.
        share = 100 * (table.n_train + 0.5) / table.n_rows
        out = self.run(table, "-tt", str(workers), "-hf", repr(share), *options)
        steps = figures(out, r"\+ size: .* time: (\S+) secs")
        return {"seconds": sum(steps), "nodes": int(figures(out, r"\+ size: (\d+)")[-1]),
                "predict": figures(out, r"\n \+ time: (\S+) secs")[-1],
                "error": figures(out, r"MISCLASSIFICATION on holdout test: (\S+)%")[0]}

    def tree(self, table, workers):
        return self.model(table, workers)

    def forest(self, table, workers):
        return self.model(table, workers, "-npp", "-fo", "100", "-seed", "1")


class OrvikGzip(Orvik):
    """Loads the compressed file; the others read the plain one."""
    name = "Orvik, from gzip"
    tree = forest = None

    def load(self, table, workers):
        packed = table.data + ".gz"
        if not os.path.exists(packed):
            subprocess.run(["gzip", "-k", table.data], check=True)
        out = self.run(argparse.Namespace(names=table.names, data=packed), "-tt", str(workers),
                       "-depth", "0", "-np")
        return {"seconds": figures(out, r"\+ total time: (\S+) secs")[0]}


class Script:
    """A peer in another language: one program that prints its figures as JSON."""

    def __init__(self, name, command, tasks):
        self.name, self.command = name, command
        for task in tasks:
            setattr(self, task, lambda table, workers, task=task: self.run(task, table, workers))

    def run(self, task, table, workers):
        done = subprocess.run([*self.command, task, table.csv, "".join(table.roles), str(table.n_train),
                               str(workers)], capture_output=True, text=True, check=True)
        return json.loads(done.stdout.splitlines()[-1])


class J48:
    name = "Weka J48"

    @staticmethod
    def tree(table, workers):
        if workers != 1:
            return None
        table.write_arff()
        done = subprocess.run(["java", "-Xmx6g", "-cp", WEKA, "weka.classifiers.trees.J48", "-no-cv",
                               "-t", table.arff[0], "-T", table.arff[1]],
                              capture_output=True, text=True, check=True).stdout
        wrong = figures(done, r"Incorrectly Classified Instances\s+\d+\s+(\S+)\s%")
        return {"seconds": figures(done, r"Time taken to build model: (\S+) seconds")[0],
                "nodes": int(figures(done, r"Size of the tree :\s+(\d+)")[0]), "error": wrong[-1]}


def peers():
    found = []
    sklearn = ["/usr/bin/python3", os.path.join(HERE, "sklearn_peer.py")]
    if subprocess.run([sklearn[0], "-c", "import sklearn, pandas"], capture_output=True).returncode == 0:
        found += [Script("pandas", sklearn, ["load"]), Script("scikit-learn", sklearn, ["tree", "forest"])]
    if shutil.which("Rscript"):
        for package, tasks in (("data.table", ["load"]), ("ranger", ["tree", "forest"]), ("rpart", ["tree"])):
            check = f"quit(status = !requireNamespace('{package}', quietly = TRUE))"
            if subprocess.run(["Rscript", "-e", check], capture_output=True).returncode == 0:
                found.append(Script(package, ["Rscript", os.path.join(HERE, "peers.R"), package], tasks))
    if shutil.which("java") and os.path.exists(WEKA):
        found.append(J48())
    return found


def measure(systems, task, table, args):
    """Median figures by (system, workers), the systems taking turns."""
    runs = {}
    for repeat in range(args.repeats):
        for system in systems:
            for workers in args.workers:
                key = (system.name, workers)
                slow = repeat > 0 and runs.get(key) and runs[key][0]["seconds"] > args.slow
                if getattr(system, task, None) is None or slow or (repeat > 0 and key not in runs):
                    continue
                try:
                    figure = getattr(system, task)(table, workers)
                except (subprocess.CalledProcessError, IndexError) as failure:
                    print(f"  {system.name}: failed: {failure}", file=sys.stderr)
                    continue
                if figure:
                    runs.setdefault(key, []).append(figure)
    return {key: {k: statistics.median(r[k] for r in of_key) for k in of_key[0]}
            for key, of_key in runs.items()}


def cell(task, figure, best):
    text = f"{figure['seconds']:.3g}"
    if task == "tree":
        text += f" ({figure['nodes']:.0f}; {figure['error']:.2f})"
    if task == "forest":
        text += f"; {figure['predict']:.3g} ({figure['error']:.2f})"
    return f"**{text}**" if best else text


def report(task, results, systems, args, out):
    """A Markdown table: a row a system and number of workers, a column a table."""
    names = list(results)
    print(f"\n### {WHAT[task]}\n", file=out)
    print("| | workers | " + " | ".join(names) + " |", file=out)
    print("|---|---|" + "---|" * len(names), file=out)
    for system in systems:
        for workers in args.workers:
            row = [results[n].get((system.name, workers)) for n in names]
            if any(row):
                cells = [cell(task, f, system.name.startswith("Orvik")) if f else "" for f in row]
                print(f"| {system.name} | {workers} | " + " | ".join(cells) + " |", file=out)
    for workers in args.workers:
        ratios = []
        for n in names:
            ours = results[n].get(("Orvik", workers))
            others = [f for (name, w), f in results[n].items()
                      if not name.startswith("Orvik") and name != "rpart" and w <= workers]
            steps = ("seconds", "predict") if task == "forest" else ("seconds",)
            ratios.append("; ".join(f"{min(f[step] for f in others) / ours[step]:.1f} x" for step in steps)
                          if ours and others else "")
        print(f"| fastest of the others / Orvik | {workers} | " + " | ".join(ratios) + " |", file=out)


def versions():
    with open("/proc/cpuinfo") as info:
        model = re.search(r"model name\s*: (.*)", info.read())
    return f"{model.group(1) if model else platform.machine()}, {os.cpu_count()} processors, " \
           f"{platform.freedesktop_os_release()['PRETTY_NAME']}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("orvcmd")
    parser.add_argument("stems", nargs="+")
    parser.add_argument("--tasks", default="load,tree,forest")
    parser.add_argument("--workers", default="1,2", type=lambda s: [int(w) for w in s.split(",")])
    parser.add_argument("--repeats", default=5, type=int)
    parser.add_argument("--slow", default=20, type=float, help="seconds from which on one run will do")
    parser.add_argument("--skip", default="", help="systems left out, separated by commas")
    parser.add_argument("--forest-rows", default=200000, type=int, help="larger tables grow no forest")
    args = parser.parse_args()
    systems = [Orvik(args.orvcmd), OrvikGzip(args.orvcmd)] + peers()
    systems = [s for s in systems if s.name not in args.skip.split(",")]
    tasks = args.tasks.split(",")
    results = {task: {} for task in tasks}
    with tempfile.TemporaryDirectory() as folder:
        for stem in args.stems:
            table = Table(stem, folder)
            for task in tasks:
                if task == "forest" and table.n_rows > args.forest_rows:
                    continue
                print(f"{table.name}: {task}", file=sys.stderr, flush=True)
                results[task][table.name] = measure(systems, task, table, args)
            for path in os.listdir(folder):
                os.remove(os.path.join(folder, path))
    print(f"Machine: {versions()}.")
    for task in tasks:
        if results[task]:
            report(task, results[task], systems, args, sys.stdout)
    return 0


if __name__ == "__main__":
    sys.exit(main())
