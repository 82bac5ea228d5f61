#!/usr/bin/env python3
"""Names and values that would be code, markup or the end of it where they are put, in every form of
every output; each is read by its own parser, and scores where it can.

Usage: check_hostile.py ORVCMD ORVIK ROOT [CXX [FAMILY ...]]: a sample, whose time a build has. With CXX, a
compiler, all families or the named ones: C++ sources are compiled, pages opened where there is a chromium, pictures drawn where
there is a dot. Exit status 0 if all is well.
"""
import ast
import csv
import html.parser
import io
import json
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "view"))
import check_documents as documents
import check_forms as forms

EVIL = "document.title=1"
FAMILIES = {
    "quotes": ['"', "'", "\\", '\\"', "`x`", '""', "''", "\\n", "\\u0041", "$(x)"],
    "markup": [f"<script>{EVIL}</script>", f"</script><img src=x onerror={EVIL}>", "-->", "]]>", "<!--",
               "&amp;", "&#0;", "<![CDATA[", f"<svg onload={EVIL}>", "</style></title>", "<?php ?>"],
    "code": ["*/", "/*", "//", "#", '"""', "'''", "--", "'; DROP TABLE cases; --", "??/", "??=", "%s%n",
             "{0}", "${x}", 'R"(', "#include <x>", "\\", "\\\\\n"[:2]],
    "words": ["int", "class", "NULL", "None", "select", "from", "return", "lambda", "true", "nan", "inf",
              "predicted", "confidence", "node", "digraph", "0x10", "__proto__", "constructor"],
    "direction": ["\u202eabc", "\u200b", "\u200f", "\u2066x", "\ufeff", "a\u0301", "\u061c", "\u05d0\u05d1"],
    "controls": ["\x01a", "\x1b[31mred", "\x07b", "\x7fc", "\x85d", "a\tb", "\x0be", "\x1ef"],
    "characters": ["\ufffe", "\uffff", "\U0010ffff", "\U0001f600", "\u2028", "\ufffd", "\ud7ff", "\ue000"],
    "bytes": [b"\xff", b"\xed\xa0\x80", b"\xc0\x80", b"\xf4\x90\x80\x80", b"\xe2\x82", b"\x80\x9f", b"<\xe9>"],
    "long": ["x" * 100000, "\u00e9" * 50000, "<" * 30000, '"' * 30000, "\\" * 30000 + "a"],
}


def fail(what, why):
    raise SystemExit(f"{what}: {why}")


def texts_of(family):
    """As the program takes them: bytes that are no UTF-8 make all of a table Latin-1."""
    return [t.decode("latin-1") if isinstance(t, bytes) else t for t in FAMILIES[family]]


def write_table(folder, family):
    draw, texts = random.Random(5), texts_of(family)
    encoding = "latin-1" if family == "bytes" else "utf-8"
    names, data = (os.path.join(folder, "hostile" + end) for end in (".names", ".data"))
    columns = texts[:6]
    with open(names, "w", encoding=encoding, newline="\n") as out:
        out.writelines(f"{c}|{'string|discrete' if i % 2 else 'double|continuous'}\n" for i, c in enumerate(columns))
        out.write(f"{texts[-1]}!|string|class\n")
    with open(data, "w", encoding=encoding, newline="\n") as out:
        for _ in range(100):
            codes = [draw.randrange(4) for _ in columns]
            row = [texts[code] if i % 2 else str(code / 4) for i, code in enumerate(codes)]
            out.write("|".join(row) + f"|{texts[(codes[0] + codes[1] * 2 + draw.randrange(2)) % len(texts)]}\n")
    return documents.Table(names, data, encoding, "|")


class Elements(html.parser.HTMLParser):
    """What a page is made of: names in it must not add to that."""

    def __init__(self, text):
        super().__init__()
        self.tags, self.comments = [], 0
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attributes):
        self.tags.append((tag, *sorted(name for name, _ in attributes)))

    def handle_comment(self, data):
        self.comments += 1


PAGE = ["html", "head", "meta", "meta", "meta", "meta", "title", "style", "body", "p", "script", "script"]


def check_html(what, file, data):
    page = Elements(data.decode("utf-8"))
    if page.comments != 1 or [tag[0] for tag in page.tags] != PAGE:
        fail(what, f"{page.comments} comments, {page.tags}")


def check_xml(what, file, data):
    ET.fromstring(data)
    if shutil.which("xmllint"):
        subprocess.run(["xmllint", "--noout", "--nonet", "--huge", file], check=True)


def check_json(what, file, data):
    json.loads(data.decode("utf-8"), parse_constant=lambda word: fail(what, word))


DOT = re.compile(rb'(?:\s+|[A-Za-z0-9_]+|->|[{}\[\]=;,:]|"(?:[^"\\]|\\.)*")*', re.DOTALL)


def check_dot(what, file, data):
    if not DOT.fullmatch(data):
        fail(what, "tokens that DOT has not")
    if shutil.which("dot"):
        subprocess.run(["dot", "-Tsvg", "-o", os.devnull, file], check=True)


def check_python(what, file, data):
    ast.parse(data.decode("utf-8"))


def check_ascii(what, file, data):
    data.decode("ascii")


def check_csv(what, file, data):
    rows = list(csv.reader(io.StringIO(data.decode("utf-8", "surrogateescape"), newline=""), strict=True))
    if len({len(row) for row in rows}) != 1:
        fail(what, rows)


PARSERS = {".html": check_html, ".svg": check_xml, ".pmml": check_xml, ".json": check_json, ".dot": check_dot,
           ".py": check_python, ".cpp": check_ascii, ".csv": check_csv}


def parse(what, file):
    with open(file, "rb") as document:
        data = document.read()
    try:
        PARSERS.get(os.path.splitext(file)[1], lambda *_: None)(f"{what}: {file}", file, data)
    except (ValueError, SyntaxError, csv.Error, subprocess.CalledProcessError) as error:
        fail(f"{what}: {file}", error)


def run(what, command, allowed=(0,), **how):
    done = subprocess.run(command, capture_output=True, check=False, timeout=300, **how)
    if done.returncode not in allowed:
        fail(what, f"{command[:4]} ... {done.returncode}: {done.stdout[-300:]} {done.stderr[-300:]}")
    return done


def refused(what, done, file):
    """A document that XML cannot hold: one line says so, and there is no half of it."""
    if done.returncode == 0:
        return False
    said = (done.stdout + done.stderr).rstrip(b"\n").split(b"\n")[-1]
    if b"XML cannot hold" not in said or os.path.exists(file):
        fail(what, f"{said} {os.path.exists(file)}")
    return True


class Family:
    def __init__(self, programs, name, folder):
        self.orvcmd, self.orvik, self.cxx = programs
        self.name, self.folder = name, folder

    def file(self, name):
        return os.path.join(self.folder, name)

    def documents(self, table, *options):
        """All that orvcmd writes of a model, and orvik view."""
        base = [self.orvcmd, "-fm", table.names, "-fd", table.data, "-sep", "|", "-npp", "-m", "0.5",
                "-seed", "1", *options]
        written = {"-tb": "m.orvik", "-json": "m.json", "-d": "m.dot", "-t": "m.txt", "-mjson": "f.json",
                   "-s": "scores", "-l": "log"}
        run(self.name, base + ["-fs", table.data, *(w for o, n in written.items() for w in (o, self.file(n)))])
        pmml = run(self.name, base + ["-nl", "-pmml", self.file("m.pmml")], (0, 255))
        if not refused(self.name, pmml, self.file("m.pmml")):
            parse(self.name, self.file("m.pmml"))
        for name in ("m.json", "m.dot", "f.json"):
            parse(self.name, self.file(name))
        with open(self.file("scores"), "rb") as scores:
            if scores.read().count(b"\n") != len(table.rows):
                fail(self.name, "scores of other rows")
        for name, form in (("v.html", ["--data", table.data, "--separator", "|"]), ("v.svg", ["--svg", "--tree", "1"]),
                           ("v.cpp", ["--cpp"]), ("v.py", ["--python"])):
            run(self.name, [self.orvik, "view", self.file("m.orvik"), "-o", self.file(name), *form])
            parse(self.name, self.file(name))
        shown = run(self.name, [self.orvik, "view", self.file("m.orvik"), "--summary"],
                    env={"LANG": "C.UTF-8", "COLUMNS": "100"}).stdout.decode()
        if re.search("[\0-\x09\x0b-\x1f\x7f-\x9f\u200e\u200f\u202a-\u202e\u2066-\u2069]", shown):
            fail(self.name, f"--summary steers the terminal: {shown!r}")

    def scores(self, table, settings):
        """The forms that predict, as the program does."""
        check = forms.Check((self.orvcmd, self.orvik, self.cxx), table, settings, self.folder)
        check.python()
        check.read_json()
        check.sql()
        if check.single:
            check.rules()
        if self.cxx:
            check.cpp()

    def csv_file(self):
        """By orvik from a CSV file, whose cells may hold line ends, to all that its verbs write."""
        draw, texts = random.Random(6), texts_of(self.name) + ["two\nlines", 'a,"b"', "x;y"]
        encoding = "latin-1" if self.name == "bytes" else "utf-8"
        rows = self.file("rows.csv")
        with open(rows, "w", encoding=encoding, newline="") as out:
            write = csv.writer(out)
            write.writerow(texts[:4] + ["n", texts[-3] + "?"])
            for _ in range(120):
                codes = [draw.randrange(len(texts)) for _ in range(4)]
                write.writerow([texts[c] for c in codes] + [codes[0] / 3, texts[(codes[0] * 2 + codes[1]) % 4 - 4]])
        how = ["--header", "yes", "--separator", ","]
        train = [self.orvik, "train", rows, *how, "--seed", "1", "-o", self.file("t.orvik")]
        forms_of = {"--report": "t.html", "--model-json": "t.json", "--cpp": "t.cpp", "--python": "t.py", "--sql": "t.sql",
                    "--dot": "t.dot", "--text": "t.txt", "--svg": "t.svg"}
        done = run(self.name, train + ["--json", "--cv", "2"] + [w for o, n in forms_of.items() for w in (o, self.file(n))])
        check_json(self.name, "train --json", done.stdout)
        pmml = run(self.name, train + ["-q", "--no-cv", "--pmml", self.file("t.pmml")], (0, 1))
        if not refused(self.name, pmml, self.file("t.pmml")):
            parse(self.name, self.file("t.pmml"))
        for name in forms_of.values():
            parse(self.name, self.file(name))
        run(self.name, [self.orvik, "predict", self.file("t.orvik"), rows, "-p", "-o", self.file("p.csv")])
        parse(self.name, self.file("p.csv"))
        done = run(self.name, [self.orvik, "test", self.file("t.orvik"), rows, "--json"])
        check_json(self.name, "test --json", done.stdout)
        run(self.name, [self.orvik, "prep", rows, *how, "-o", self.file("x")])
        run(self.name, [self.orvcmd, "-nl", "-f", self.file("x"), "-sep", self.separator()])

    def separator(self):
        """The one that prep chose: no cell of the table holds it."""
        with open(self.file("x.names"), "rb") as names:
            first = names.readline()
        return next(s for s in ",\t|;" if s.encode() in first)

    def in_browser(self):
        """The pages change nothing of the document by what their names hold."""
        for page in ("v.html", "t.html"):
            done = run(self.name, ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--dump-dom",
                                   "--virtual-time-budget=3000", "file://" + self.file(page)])
            title = re.search(b"<title>(.*?)</title>", done.stdout, re.DOTALL)
            if not title or title.group(1).strip() == b"1" or b"<img" in done.stdout.split(b"</script>")[-1]:
                fail(self.name, f"{page} runs what a name holds: {title}")


def main(orvcmd, orvik, root, cxx="", *chosen):
    csv.field_size_limit(1 << 30)
    for name in chosen or (FAMILIES if cxx else ("markup", "bytes")):
        with tempfile.TemporaryDirectory() as folder:
            family = Family((orvcmd, orvik, cxx), name, folder)
            table = write_table(folder, name)
            family.documents(table)
            family.csv_file()
            if cxx:
                family.documents(table, "-fo", "3")
                for settings in ([], ["-fo", "3", "-npp", "-m", "0.5", "-seed", "1"], ["-binary", "-npp", "-m", "0.5"]):
                    family.scores(table, settings)
                if shutil.which("chromium") and name != "long":  # minutes of measuring texts
                    family.in_browser()
                print(name, flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
