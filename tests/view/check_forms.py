#!/usr/bin/env python3
"""Scores rows by the forms that orvik view gives a model and compares with what orvcmd scores.

Usage: check_forms.py ORVCMD ORVIK ROOT CXX, where ROOT is the checkout and CXX a compiler, or "" to
compile nothing and look at few tables; with
tables named by their files (NAMES DATA ...) behind it these are checked instead of the project's
own. Exit status 0 if all agree.

Rows are those of training, some with values left out, and others with values that training did
not have; classes and printed confidences must be the same: of the C++ source compiled, of the Python module, of the SQL query in
SQLite, and of the JSON of orvcmd by the reader of check_documents.py. A row with all
its values must fit one rule, whose class and confidence it has. Pictures must be well-formed, with
every node apart from the others, and summaries as wide as the window.
"""
import csv
import fractions
import json
import os
import random
import re
import sqlite3
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "documents"))
import check_documents as documents

SETTINGS = ([], ["-npp", "-m", "0.5", "-ownunk"], ["-fo", "7", "-npp", "-m", "0.5", "-seed", "1"],
            ["-binary", "-free"], ["-bo", "7", "-soft", "-mtry", "2", "-binary", "-seed", "5"])
CALIBRATED = (["-calibrate", "platt", "-seed", "1"], ["-fo", "5", "-npp", "-seed", "1", "-calibrate", "isotonic"])
UNEQUAL_VOTES = ["-bo", "5", "-mtry", "all", "-seed", "2"]
COMPILED = (SETTINGS[0], SETTINGS[2], SETTINGS[4])  # compilers are slow
# Of a file that is put behind them, where they end so.
DECISIONS = (["-npp", "-m", "0.5", "-laplace", "-costs"], ["-costs"], ["-npp", "-m", "0.5", "-laplace"],
             ["-fo", "7", "-npp", "-seed", "1", "-laplace", "-costs"], ["-bo", "4", "-seed", "2", "-costs"],
             ["-ba", "5", "-soft", "-seed", "2", "-costs"], ["-rf", "5", "-seed", "2", "-laplace"])
ROWS = 10000
AFFINITY = {"float": "REAL", "double": "REAL", "long double": "REAL", "integer": "INTEGER",
            "uinteger": "INTEGER"}


def fail(what, row, own, wanted):
    raise SystemExit(f"{what}: {row} is {own}, the program says {wanted}")


def compare_lines(what, rows, own, wanted):
    if len(own) != len(wanted):
        raise SystemExit(f"{what}: {len(own)} lines for {len(wanted)} rows")
    for line in zip(rows, own, wanted):
        if line[1] != line[2]:
            fail(what, *line)


def run(command, table, stdin=None):
    done = subprocess.run(command, stdin=stdin, capture_output=True, check=False)
    if done.returncode:
        raise SystemExit(f"{command}: {done.stderr.decode(errors='replace')}")
    return done.stdout.decode(table.encoding).split("\n")[:-1]


def sqlite_scores(query, table, rows):
    """The class and confidence of every row."""
    base = sqlite3.connect(":memory:")
    columns = ", ".join('"{}" {}'.format(name.replace('"', '""'), AFFINITY.get(kind, "TEXT"))
                        for name, kind, _ in table.schema)
    base.execute(f"CREATE TABLE cases({columns})")
    base.executemany(f"INSERT INTO cases VALUES({', '.join('?' * len(table.schema))})",
                     [[None if cell == "?" else cell for cell in row] for row in rows])
    return [(row[-2], row[-1]) for row in base.execute(query)]


def with_gaps(table, rows):
    """Every third row without one to three of its values."""
    draw = random.Random(3)
    inputs = [i for i, (_, _, role) in enumerate(table.schema) if role in ("discrete", "continuous")]
    for row in rows[::3]:
        gaps = draw.sample(inputs, min(len(inputs), draw.randint(1, 3)))
        row[:] = ["?" if i in gaps else cell for i, cell in enumerate(row)]
    return rows


class Check:
    def __init__(self, programs, table, settings, folder):
        self.orvcmd, self.orvik, self.cxx = programs
        self.table, self.single = table, not {"-fo", "-bo"}.intersection(settings)
        self.folder = folder
        self.what = f"{table.names} {' '.join(settings)}"
        self.model, rows_file, scores, self.json = (os.path.join(folder, n)
                                                    for n in ("model", "rows", "scores", "json"))
        unseen = table.unseen_rows()
        seen = table.rows[-(ROWS - len(unseen)):]
        self.n_seen = len(seen)
        self.rows = with_gaps(table, [row[:] for row in seen + unseen])
        self.rows += getattr(table, "further_rows", [])
        with open(rows_file, "w", encoding=table.encoding, newline="\n") as out:
            out.writelines(table.separator.join(row) + "\n" for row in self.rows)
        subprocess.run([self.orvcmd, "-nl", "-fm", table.names, "-fd", table.data,
                        "-sep", table.separator, "-tb", self.model, "-json", self.json] + settings,
                       check=True)
        subprocess.run([self.orvcmd, "-nl", "-bt", self.model, "-sep", table.separator, "-unseen",
                        "-fs", rows_file, "-s", scores], check=True)
        self.rows_file = rows_file
        with open(scores, encoding=table.encoding, newline="\n") as lines:
            self.wanted = [line.rstrip("\n") for line in lines]

    def form(self, name, *options):
        file = os.path.join(self.folder, name)
        run([self.orvik, "view", self.model, "-o", file, *options], self.table)
        return file

    def scored_by(self, command):
        with open(self.rows_file, "rb") as rows:
            return run(command + [self.table.separator], self.table, rows)

    def cpp(self):
        source, program = self.form("form.cpp", "--cpp"), os.path.join(self.folder, "form")
        run([self.cxx, "-std=c++17", "-Wall", "-Wextra", "-Werror", "-DORVIK_MAIN", source, "-o",
             program], self.table)
        compare_lines(self.what + " --cpp", self.rows, self.scored_by([program]), self.wanted)

    def python(self):
        module = self.form("form.py", "--python")
        compare_lines(self.what + " --python", self.rows,
                      self.scored_by([sys.executable, module]), self.wanted)

    def shares(self):
        """What the functions beside predict() give, two models in one C++ program."""
        with open(self.form("model.py", "--python"), encoding="utf-8") as source:
            module = {"__name__": "model"}
            exec(source.read(), module)
        names = [c[0] for c in self.table.schema]
        probabilities = os.path.join(self.folder, "probabilities")
        run([self.orvcmd, "-nl", "-bt", self.model, "-sep", self.table.separator, "-unseen", "-prob",
             "-fs", self.rows_file, "-s", probabilities], self.table)
        with open(probabilities, encoding=self.table.encoding, newline="\n") as lines:
            wanted = [line.rstrip("\n").split(self.table.separator)[2:] for line in lines]
        own = [[f"{share:g}" for share in list(module["shares"](dict(zip(names, row))).values())[1:]]
               for row in self.rows]
        compare_lines(self.what + " shares()", self.rows, own, wanted)
        self.form("a.cpp", "--cpp")
        source, program = os.path.join(self.folder, "two.cpp"), os.path.join(self.folder, "two")
        with open(source, "w", encoding="utf-8") as text:
            text.write("#define ORVIK_NAMESPACE one\n#include \"a.cpp\"\n#include \"a.cpp\"\n"
                       "#include <cstdio>\nint main() {\n  if (one::predict({}) != classifier::predict({}))"
                       " return 1;\n  for (double s : classifier::shares({})) std::printf(\"%.17g\\n\", s);\n}\n")
        run([self.cxx, "-std=c++17", "-Wall", "-Wextra", "-Werror", source, "-o", program], self.table)
        unknown = [f"{share:.17g}" for share in module["shares"]({}).values()]
        compare_lines(self.what + " shares()", unknown, run([program], self.table), unknown)

    def sql(self):
        n = len(self.rows) - len(getattr(self.table, "further_rows", []))
        n = n if self.single else min(n, 150)  # many trees take their time
        with open(self.form("form.sql", "--rules", "sql"), encoding="utf-8") as query:
            scores = sqlite_scores(query.read(), self.table, self.rows[:n])
        own = [f"{c}{self.table.separator}{confidence:g}" for c, confidence in scores]
        compare_lines(self.what + " --rules sql", self.rows[:n], own, self.wanted[:n])

    def read_json(self):
        names = [c[0] for c in self.table.schema]
        n = len(self.rows) - len(getattr(self.table, "further_rows", []))
        documents.compare(self.what + " -json", documents.Json(self.json),
                          [dict(zip(names, row)) for row in self.rows[:n]],
                          [line.rsplit(self.table.separator, 1) for line in self.wanted[:n]])


    def fits(self, row, condition):
        kind, _ = self.table.types[condition["column"]]
        text = row[condition["column"]]
        if kind in documents.READERS:
            read = documents.READERS[kind]
        elif "above" in condition or "up_to" in condition:
            read = kind[len("ostring:"):].split(";").index
        else:
            read = str
        if read(text) in [read(value) for value in condition.get("none_of", [])]:
            return False
        return (("equals" not in condition or read(text) == read(condition["equals"])) and
                ("above" not in condition or read(text) > read(condition["above"])) and
                ("up_to" not in condition or read(text) <= read(condition["up_to"])))

    def rules(self):
        with open(self.form("rules.json", "--rules", "json"), encoding="utf-8") as text:
            rules = json.load(text, parse_float=str, parse_int=str)["rules"]
        with open(self.form("rules.csv", "--rules", "csv"), encoding="utf-8", newline="") as text:
            listed = list(csv.DictReader(text))
        if ([[r[k] for k in ("class", "support", "confidence")] for r in listed] !=
                [[r[k] or "" for k in ("class", "support", "confidence")] for r in rules]):
            raise SystemExit(f"{self.what}: other rules in CSV than in JSON")
        cases = [r["confidence"] is not None for r in rules]
        if cases != sorted(cases, reverse=True) or any((r["support"] != "0") != c for r, c in zip(rules, cases)):
            raise SystemExit(f"{self.what}: rules without cases are not the last ones: {rules}")
        names = [c[0] for c in self.table.schema]
        for cells, wanted in list(zip(self.rows, self.wanted))[:self.n_seen:1 + self.n_seen // 200]:
            row = dict(zip(names, cells))
            if "?" in cells:
                continue
            own = [r for r in rules if all(self.fits(row, c) for c in r["conditions"])]
            own = [f"{r['class']}{self.table.separator}{float(r['confidence'] or 1):g}" for r in own]
            if own != [wanted]:
                fail(self.what + " --rules json", row, own, wanted)

    def calibrated(self, compiles):
        """Forms apply the maps of shares, or say that they cannot."""
        self.python()
        self.read_json()
        if compiles:
            self.cpp()
            self.shares()
        for form in (["--rules", "sql"], ["--rules", "json"]):
            done = subprocess.run([self.orvik, "view", self.model, *form], capture_output=True, check=False)
            if done.returncode != 1 or b"no place for calibrated shares" not in done.stderr:
                raise SystemExit(f"{self.what} {form}: {done}")

    def refusals(self):
        """One of several trees is shown by its number only."""
        for form in (["--svg"], ["--rules", "text"], ["--rules", "csv"], ["--rules", "json"]):
            done = subprocess.run([self.orvik, "view", self.model, *form], capture_output=True, check=False)
            if done.returncode != 1 or done.stdout or b"--tree N" not in done.stderr:
                raise SystemExit(f"{self.what} {form}: {done}")

    def picture(self):
        with open(self.json, encoding="utf-8") as text:
            n = len(json.load(text)["trees"][0]["nodes"])
        root = ET.parse(self.form("form.svg", "--svg", "--tree", "1")).getroot()
        svg = "{http://www.w3.org/2000/svg}"
        boxes = {}
        for node in root.findall(svg + "g"):
            box = node.findall(svg + "rect")[0]
            boxes.setdefault(box.get("y"), []).append((float(box.get("x")), float(box.get("width"))))
        if sum(map(len, boxes.values())) != n:
            raise SystemExit(f"{self.what} --svg: {boxes} for {n} nodes")
        for level in boxes.values():
            edges = [0.0] + [edge for x, width in sorted(level) for edge in (x, x + width)]
            edges.append(float(root.get("width")))
            if edges != sorted(edges):
                raise SystemExit(f"{self.what} --svg: nodes lie on each other: {level}")

    def summary(self):
        for width, color in ((41, "never"), (80, "always")):
            done = subprocess.run([self.orvik, "view", self.model, "--summary", "--color", color], check=True,
                                  capture_output=True, env={"COLUMNS": str(width), "LANG": "C.UTF-8"})
            lines = re.sub("\033\\[[0-9;]*m", "", done.stdout.decode()).split("\n")
            if max(map(len, lines)) != width or any(re.search("[\0-\x1f\x7f-\x9f]", l) for l in lines):
                raise SystemExit(f"{self.what} --summary: {lines} for {width} columns")


def write_costs(table, folder):
    """It is dear to predict the first class."""
    place = [c[2] for c in table.schema].index("class")
    first, *others = sorted({row[place] for row in table.rows} - {"?"})
    file = os.path.join(folder, "costs.csv")
    with open(file, "w", encoding=table.encoding, newline="") as out:
        csv.writer(out).writerows([["actual", "predicted", "cost"]] + [[c, first, 7] for c in others])
    return file


def check_decisions(programs, table, folder):
    """Forms apply costs, and shares that lean on prior ones."""
    costs = [write_costs(table, folder)]
    for settings in DECISIONS:
        check = Check(programs, table, settings + (costs if settings[-1] == "-costs" else []), folder)
        check.python()
        check.sql()
        if programs[2] and settings == DECISIONS[0]:
            check.cpp()
            check.shares()
    done = subprocess.run([programs[1], "view", check.model, "--rules", "sql", "--tree", "2"],
                          capture_output=True, check=False)
    if done.returncode != 1 or done.stdout or b"SQL of one tree of several" not in done.stderr:
        raise SystemExit(f"{check.what} sql: {done}")


def write_ties(folder):
    """A case without a value is as likely x as y on paper; the last bits of the sums, added in the
    order of the leaves, say y: 2/40 + 4/40 + 6/40 > 12/40. Between z and w nothing decides."""
    names, data = (os.path.join(folder, "ties" + end) for end in (".names", ".data"))
    leaves = {"a": ("y", 2), "b": ("y", 4), "c": ("y", 6), "d": ("x", 12), "e": ("z", 8), "f": ("w", 8)}
    with open(names, "w", encoding="utf-8") as out:
        out.write("v,string,discrete\nc,string,class\n")
    with open(data, "w", encoding="utf-8") as out:
        for value, (kind, n) in leaves.items():
            out.write(f"{value},{kind}\n" * n)
    return documents.Table(names, data)


def write_hostile(folder):
    """Names and values that would be code, markup, words or the end of them where they are put."""
    names, data = (os.path.join(folder, "hostile" + end) for end in (".names", ".data"))
    draw = random.Random(5)
    columns = ["int", "NULL", "1st", 'a"b\\', "*/ // ??/", "<script>alert(1)</script>", "'; DROP TABLE cases; --",
               '\u202e\u05d0\u05d1\u05d2', "long " * 60 + "x", "%VALUE%", "{0} ${x} \\n", '"""']
    values = columns[3:7] + ["]]>", "\x1b[31m", "None", "true"]
    with open(names, "w", encoding="utf-8") as out:
        out.writelines(f"{c},{'double,continuous' if i % 3 == 0 else 'string,discrete'}\n"
                       for i, c in enumerate(columns))
        out.write("return,string,class\n")
    with open(data, "w", encoding="utf-8") as out:
        for _ in range(600):
            row = [draw.randrange(9) / 8 if i % 3 == 0 else draw.choice(values)
                   for i in range(len(columns))]
            which = sum(hash_of(row[i]) for i in draw.sample(range(len(columns)), 2)) + draw.random() * 2
            out.write(",".join(map(str, row)) + f",{values[int(which) % len(values)]}\n")
    return documents.Table(names, data)


def hash_of(value):
    return len(value) if isinstance(value, str) else int(value * 8)


def write_borders(folder):
    """A table of floats and long doubles, and rows with texts beside the middle between two floats,
    which a reader that rounds twice takes for the wrong one."""
    draw = random.Random(11)
    names, data = (os.path.join(folder, "borders" + end) for end in (".names", ".data"))
    with open(names, "w", encoding="utf-8") as out:
        out.write("f,float,continuous\nl,long double,continuous\ng,float,discrete\nc,string,class\n")
    with open(data, "w", encoding="utf-8") as out:
        for _ in range(300):
            f, l = draw.randrange(1, 90) / 7, draw.randrange(50) / 9
            g = draw.choice(["0.1", "0.7", "1e-3"])
            kind = (f > 6) + (l > 3) * 2 + (g == "0.7") if draw.random() < 0.9 else 9
            out.write(f"{f:.9g},{l!r}77,{g},k{kind}\n")
    table = documents.Table(names, data)
    table.further_rows = []
    for row in table.rows[:100]:
        value = documents.single(row[0])
        step = fractions.Fraction(documents.single(str(value * (1 + 2**-23)))) - fractions.Fraction(value)
        middle = fractions.Fraction(value) + step / 2
        for nudge in (-1, 0, 1):
            beside = middle + fractions.Fraction(nudge, 10**40)
            text = f"{beside * 10**60 // 1:d}".rjust(61, "0")
            table.further_rows.append([text[:-60] + "." + text[-60:]] + row[1:])
    return table


def main(orvcmd, orvik, root, cxx, *files):
    with tempfile.TemporaryDirectory() as folder:
        further = (write_borders, write_ties, write_hostile)
        tables = documents.tables_of(root, files, folder, further)
        for table in tables if cxx else tables[:3]:
            for settings in SETTINGS:
                check = Check((orvcmd, orvik, cxx), table, settings, folder)
                check.python()
                check.read_json()
                if cxx and (files or settings in COMPILED):
                    check.cpp()
                check.sql()
                if check.single:
                    check.rules()
                else:
                    check.refusals()
                check.picture()
                check.summary()
            if cxx:
                check.shares()
            for settings in CALIBRATED if table in tables[:3] else ():
                compiles = cxx and table == tables[0] and settings == CALIBRATED[1]
                Check((orvcmd, orvik, cxx), table, settings, folder).calibrated(compiles)
            if table is tables[0]:
                check_decisions((orvcmd, orvik, cxx), table, folder)
            if table in tables[:3]:
                Check((orvcmd, orvik, cxx), table, UNEQUAL_VOTES, folder).sql()
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
