#!/usr/bin/env python3
"""The verbs of orvik: their options in help, completions and manual pages; what they say of bad
command lines and files; and the road from a file to predictions, in all forms of files.

Usage: check_verbs.py ORVIK ORVCMD ROOT. Exit status 0 if all is as it should be.
"""
import csv
import gzip
import json
import os
import random
import re
import struct
import subprocess
import sys
import tempfile
import zlib

VERBS = ["train", "predict", "test", "view", "prep", "select", "compare"]


def require(condition, what):
    if not condition:
        raise SystemExit(what)


def appendix_of(text):
    """As it stands behind a model."""
    return (b"orvik+\r\n" + struct.pack("<IBQ", 1, 1, len(text)) + text +
            struct.pack("<I", zlib.crc32(text)))


def hostile_readings(appendix):
    """What a sender may have written of how files are read."""
    good = json.loads(appendix[21:-4])
    yield from (b"{", b"[" * 100000, b"\xff\xfe", b"null", json.dumps(good).encode()[:-2])
    for key in good:
        for value in (None, 7, [], "ab\0"):
            yield json.dumps({**good, key: value} if value is not None else
                             {k: v for k, v in good.items() if k not in (key, "reading")}).encode()
    for column in ({}, {"name": 1}, {"name": "a", "decimal": ";"}, {"name": "a", "cuts": [2, 1]}):
        yield json.dumps({**good, "columns": [column] * len(good["columns"])}).encode()


class Check:
    def __init__(self, orvik, orvcmd, root, folder):
        self.orvik, self.orvcmd, self.root, self.folder = orvik, orvcmd, root, folder

    def path(self, name):
        return os.path.join(self.folder, name)

    def run(self, *words, status=0, **how):
        done = subprocess.run([self.orvik, *words], capture_output=True, text=True, check=False,
                              cwd=self.folder, **how)
        require(done.returncode == status, f"{words}: {done}")
        return done

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8", newline="") as file:
            file.write(text)
        return name

    def rows(self, name):
        with open(self.path(name), encoding="utf-8", newline="") as file:
            return list(csv.reader(file))

    def check_options(self):
        """Every option is in the help, in the page and in the completion of its verb."""
        completion = self.run("completion", "bash").stdout
        for shell in ("zsh", "fish"):
            self.run("completion", shell)
        for verb in VERBS:
            text = self.run(verb, "--help").stdout
            options = {o for line in re.findall(r"^ +(-[-a-z,]+)", text, re.M) for o in line.split(",")}
            require("Examples:" in text, f"{verb}: no examples")
            known = set(re.findall(rf"^  \[{verb} (-[-a-z]+)\]=", completion, re.M))
            require(known == options, f"completion of {verb}: {options ^ known}")
            page = open(os.path.join(self.root, "docs", f"orvik-{verb}.1.md"), encoding="utf-8").read()
            named = set(re.findall(r"\*\*(-[-a-z]+)\*\*", page))
            require(named == options, f"orvik-{verb}.1.md: {options ^ named}")
        self.write("completion", completion)
        for words, offered in [(["tr"], ["train"]), (["view", "--rules", "s"], ["sql"]),
                               (["view", "--su"], ["--summary"]), (["train", "--min", ""], []),
                               (["prep", "--header", ""], ["auto", "yes", "no"])]:
            script = ('. ./completion; COMP_WORDS=(orvik "$@"); COMP_CWORD=$#; _orvik;'
                      ' printf "%s\\n" "${COMPREPLY[@]}"')
            done = subprocess.run(["bash", "-c", script, "-", *words], check=True, cwd=self.folder,
                                  capture_output=True, text=True)
            require(done.stdout.split() == offered, f"{words}: {done.stdout}")

    def check_errors(self):
        """One line of what is wrong, the status, and no file that was not there before."""
        subprocess.run([self.orvcmd, "-nl", "-f", os.path.join(self.root, "examples", "golf"), "-tb",
                        self.path("golf.tree")], check=True)
        with open(self.path("golf.tree"), "rb") as whole, open(self.path("cut.tree"), "wb") as cut:
            cut.write(whole.read()[:-20])
        self.write("other.names", "a,string,discrete\nb,string,class\n")
        self.write("costs.csv", "predicted,actual,cost\ngood,poor,9\n")
        self.write("golf.csv", "outlook,temperature,humidity,windy\n" + "sunny,85,85,false\n" * 500)
        golf = os.path.join(self.root, "examples", "golf")
        cases = [
            (["trian"], 2, "no verb 'trian'; did you mean train?"),
            (["train", "x.csv", "--clas", "y"], 2, "no option --clas; did you mean --class?"),
            (["train", "flats.csv", "--prune", "epb"], 2, "did you mean ebp?"),
            (["train", "flats.csv", "--forest", "0"], 2, "must be from 1 to"),
            (["train", "flats.csv", "--forest", "2", "--bag", "2"], 2, "--forest"),
            (["train", "flats.csv", "--forest", "2", "--svg", "out"], 2, "--svg"),
            (["train", "flats.csv", "--calibrate", "platt", "--pmml", "out"], 2, "no place for calibrated shares"),
            (["train", "flats.csv", "--calibration-rows", "flats.csv"], 2, "--calibration-rows is for --calibrate"),
            (["predict", "golf.tree", golf + ".data", "--sets", "90", "-o", "out"], 1, "cannot give sets"),
            (["test", "golf.tree", golf + ".data", "--by-class"], 2, "--by-class is for --sets"),
            (["train", golf, "--class", "play"], 2, "metadata"),
            (["train", "none.csv"], 1, "none.csv"),
            (["train", "flats.csv", "--class", "x"], 1, "no column 'x'"),
            (["train", "flats.csv", "-o", "./flats.csv"], 1, "same file"),
            (["train", "flats.csv", "-o", "out", "--report", "./out"], 1, "same file"),
            (["train", "flats.csv", "-o", "none/out"], 1, "none/out"),
            (["train", "golf.tree"], 1, "a model, not rows"),
            (["predict", "golf.tree", "flats.csv", "-o", "out"], 1, "none of its columns"),
            (["test", "golf.tree", "new-flats.csv", "-o", "out"], 1, "none of its columns"),
            (["predict", "flats.csv", "flats.csv", "-o", "out"], 1, "flats.csv"),
            (["predict", "golf.tree", "flats.csv", "--reasons-top", "2"], 2, "need --reasons"),
            (["predict", "golf.tree", "flats.csv", "-o", "out", "--reasons", "./out"], 1, "same file"),
            (["predict", "golf.tree", "golf.csv", "-o", "out", "--reasons", "/dev/full"], 1,
             "predict: cannot write to /dev/full: "),
            (["train", "flats.csv", "--cost-weights"], 2, "--cost-weights is for --costs"),
            (["train", "flats.csv", "--costs", "costs.csv", "--prune", "pepa"], 2, "not with --costs"),
            (["train", "flats.csv", "--laplace", "--pmml", "out"], 2, "--pmml does not say"),
            (["select", "flats.csv", "--costs", "costs.csv", "-o", "./costs.csv"], 1, "same file"),
            (["view", "--svg", "--cpp", "golf.tree", "-o", "out"], 2, "--svg"),
            (["view", "--rules", "prose", "golf.tree"], 2, "prose"),
            (["view", "--names", "x", "golf.tree"], 2, "--data"),
            (["view", "--tree", "0", "golf.tree"], 2, "--tree"),
            (["view", "-s", "ab", "golf.tree"], 2, "--separator"),
            (["view", "--tree", "2", "golf.tree"], 1, "no such tree; the model has 1"),
            (["view", "cut.tree"], 1, "cut.tree"),
            (["view", golf + ".data"], 1, "holds no binary model"),
            (["view", "--names", "other.names", "--data", golf + ".data", "golf.tree"], 1,
             "other.names does not have the columns of the model: 2 for 5"),
            (["view", "--svg", "golf.tree", "-o", "golf.tree"], 1, "same file"),
        ]
        before = sorted(os.listdir(self.folder))
        for words, status, text in cases:
            done = self.run(*words, status=status)
            lines = done.stderr.splitlines()
            require(text in done.stderr and not done.stdout and len(lines) == status,
                    f"{words}: {done}")
            require(sorted(os.listdir(self.folder)) == before, f"{words}: {os.listdir(self.folder)}")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([self.orvik, "view", "--python", self.path("golf.tree")], stdout=full,
                                  stderr=subprocess.PIPE, check=False)
        require(done.returncode == 1 and b"standard output" in done.stderr, f"full disk: {done}")

    def check_forms_of_files(self):
        """The same rows in every form grow the same tree, whatever the threads."""
        flats = open(self.path("flats.csv"), encoding="utf-8").read()
        with gzip.open(self.path("flats.packed"), "wt", encoding="utf-8") as packed:
            packed.write(flats)
        self.write("flats.tsv", "".join(
            "\t".join(row) + "\r\n" for row in csv.reader(flats.splitlines())))
        self.run("prep", "flats.csv", "-o", "pair", "-q")
        prepared = self.rows("pair.data")
        for file, given in [("flats.csv", None), ("flats.packed", None), ("flats.tsv", None),
                            ("-", flats)]:
            for threads in ("1", "3"):
                self.run("train", file, "-q", "--no-cv", "--threads", threads, "--text", "tree.txt",
                         input=given)
                text = open(self.path("tree.txt"), encoding="utf-8").read()
                if file == "flats.csv" and threads == "1":
                    tree = text
                require(text == tree, f"{file} with {threads} threads: {text}")
        self.check_plain_files(flats)
        subprocess.run([self.orvcmd, "-nl", "-sep", "\t", "-f", "pair", "-db", "table", "-dbm", "map",
                        "-t", "pair.txt"], check=True, cwd=self.folder)
        trees = []
        for file in ("pair", "pair.names", "pair.data", "table", "map"):
            self.run("train", file, "-q", "--no-cv", "--text", "tree.txt")
            trees.append(open(self.path("tree.txt"), encoding="utf-8").read())
        require(len(set(trees)) == 1 and len(prepared) == 400, f"pairs and tables: {trees}")

    def check_plain_files(self, flats):
        """Files loaded as texts by all cores are the table that reading cell by cell makes."""
        lines = [",".join(c.replace(",", "") for c in row) for row in csv.reader(flats.splitlines())]
        self.write("plain.csv", "\r\n".join(lines + [lines[7][:lines[7].rindex(",")] + ",NA"]))
        self.write("quoted.csv", "\n".join(",".join(f'"{c}"' for c in l.split(",")) for l in lines))
        for file in ("plain.csv", "quoted.csv"):
            for options in ([], ["--class", "town"], ["--class", "rent", "--bins", "4"],
                            ["--weights", "rooms", "--ordered", "noise=loud<quiet<some"],
                            ["--class", "heating", "--discrete", "rooms", "--ignore", "verdict"]):
                forms = []
                for way in ([], ["--comment", "%"]):
                    done = self.run("train", file, "--no-cv", "--model-json", "m.json", "--text",
                                    "t.txt", *options, *way)
                    forms.append((open(self.path("m.json"), encoding="utf-8").read(),
                                  open(self.path("t.txt"), encoding="utf-8").read(), done.stdout,
                                  done.stderr.split("written")[0]))
                require(forms[0] == forms[1], f"{file} {options}: {forms}")

    def check_reasons(self, model, scores):
        """They add up to the probabilities; or, with few by name, to the same. Those of a calibrated
        model are the ones of the same trees without maps."""
        for options in ([], ["--reasons-top", "2", "-k"], ["--reasons-all"]):
            self.run("predict", model, "new-flats.csv", "-o", "out", "--reasons", "why.csv", *options)
            names, *rows = self.rows("why.csv")
            at = names.index("base")
            for i, row in enumerate(rows):
                found = scores[1 + (i // 3 if "--reasons-all" in options else i)]
                share = float(found[scores[0].index("p_" + row[at - 1])])
                parts = [float(cell) for name, cell in zip(names[at:-1], row[at:])
                         if not name.startswith("attribute")]
                require(row[0] == found[0] and abs(sum(parts) - share) < 1e-12 and float(row[-1]) == share,
                        f"reasons: {names} {row} {found}")
            require(len(rows) == (3 if "--reasons-all" in options else 1) * (len(scores) - 1), "rows explained")
        plain, kind = [row[2:] for row in self.rows("why.csv")], ["--forest", "20"] if "forest" in model else []
        self.run("train", "flats.csv", "-q", "--no-cv", "-o", "maps.orvik", "--calibrate", "platt", *kind)
        self.run("predict", "maps.orvik", "new-flats.csv", "-o", "out", "--reasons", "why.csv", "--reasons-all")
        names, *rows = [row[2:] for row in self.rows("why.csv")]
        require(rows == plain[1:] and names == [*plain[0][:-1], "plain_share"], f"before calibration: {names} {rows}")

    def check_new_files(self):
        """Columns in any order, extra, missing; values never seen; and what orvcmd predicts."""
        new = self.rows("new-flats.csv")
        for kind, options in [("tree", []), ("forest", ["--forest", "20"])]:
            model = kind + ".orvik"
            self.run("train", "flats.csv", "-q", "--no-cv", "-o", model, *options)
            done = self.run("predict", model, "new-flats.csv", "-o", "scores.csv", "-p", "-k")
            require("'Tal' (line 5)" in done.stderr, done.stderr)
            scores = self.rows("scores.csv")
            require(len(scores) == len(new) and [r[:8] for r in scores] == new, f"kept cells: {scores}")
            require(scores[0][8:] == ["predicted", "confidence", "p_fair", "p_good", "p_poor"], scores[0])
            for row in scores[1:]:
                require(abs(sum(map(float, row[10:])) - 1) < 1e-9, f"probabilities: {row}")
            self.check_against_orvcmd(model, new, scores)
            self.check_reasons(model, scores)
            order = [6, 3, 0, 5, 1, 7, 4, 2]
            self.write("shuffled.csv", "".join(
                ";".join(["x" if i else "extra"] + [row[c] for c in order]) + "\n"
                for i, row in enumerate(new)))
            done = self.run("predict", model, "shuffled.csv", "-o", "other.csv", "-p")
            require("dropped: 'extra'" in done.stderr, done.stderr)
            require([r[1:] for r in self.rows("other.csv")] == [r[8:] for r in scores], "another order")
            lines = self.run("predict", model, "new-flats.csv", "-p", "--jsonl").stdout.splitlines()
            require([list(map(str, json.loads(l).values()))[:2] for l in lines] ==
                    [[r[0], r[8]] for r in scores[1:]], f"JSON lines: {lines}")
            self.write("fewer.csv", "".join(f"{r[0]},{r[5]}\n" for r in new))
            done = self.run("predict", model, "fewer.csv")
            require("missing columns" in done.stderr and "'town'" in done.stderr, done.stderr)
        figures = json.loads(self.run("test", "tree.orvik", "flats.csv", "--json").stdout)
        trained = json.loads(self.run("train", "flats.csv", "--json", "-q").stdout)
        require(figures["matrix"] == trained["training"]["matrix"], "test on the training rows")
        again = self.run("train", "flats.csv", "--json", "-q", "--threads", "1").stdout
        require(json.loads(again) == trained, "the seed draws the folds, whatever the threads")

    def check_costs(self):
        """Costs decide, weigh, and guide searches; classes of equal costs weigh the same."""
        self.write("ones.csv", "predicted,actual,cost\ngood,poor,1\n")
        texts = []
        for options in ([], ["--costs", "ones.csv", "--cost-weights"], ["--costs", "costs.csv", "--cost-weights"],
                        ["--costs", "costs.csv"]):
            done = self.run("train", "flats.csv", "-q", "--no-cv", "--text", "t.txt", *options)
            texts.append(open(self.path("t.txt"), encoding="utf-8").read())
            require(("cost: " in done.stdout) == bool(options), done.stdout)
        require(texts[0] == texts[1] and len(set(texts)) == 3, "trees by costs")
        self.run("train", "flats.csv", "-q", "--no-cv", "--forest", "3", "--costs", "costs.csv", "--sql", "q.sql")
        require("costs(actual, predicted, cost)" in open(self.path("q.sql"), encoding="utf-8").read(), "costs in SQL")
        search = ("select", "flats.csv", "--method", "forward", "--costs", "costs.csv")
        found = json.loads(self.run(*search, "--json").stdout)
        done = self.run(*search)
        require(f"; cost {found['search_cost']:.4g} a search row" in done.stdout, done.stdout)
        require(f"cost: {found['mean_cost']:.4g} with them, {found['mean_cost_of_all']:.4g} with all" in done.stdout and
                " --costs costs.csv" in done.stderr, f"{found} {done}")

    def check_figures(self):
        """Matrix and figures say the same, of the rows that they name."""
        run = json.loads(self.run("train", "flats.csv", "-q", "--forest", "9", "--holdout", "30", "--cv", "3",
                                  "--json", "-o", "part.orvik", "--report", "part.html").stdout)
        for name, rows in [("training", "training rows"), ("out_of_bag", "out-of-bag rows"),
                           ("cross_validation", "cross-validation"), ("holdout", "hold-out rows")]:
            self.require_agreement(run[name], rows)
        require(run["cross_validation"]["weight"] == 400, "all folds")
        page = open(self.path("part.html"), encoding="utf-8").read()
        require('["Seed","1"]' in page and '["Growing took","' in page, "what the report says of the run")
        table = self.rows("flats.csv")
        for row in table[1:4]:
            row[-1] = "odd"
        self.write("odd.csv", "".join(",".join(f'"{c}"' for c in row) + "\n" for row in table))
        done = self.run("test", "part.orvik", "odd.csv", "--json")
        require("odd.csv: 3 rows of a class that the model does not have: errors" in done.stderr, done.stderr)
        odd = json.loads(done.stdout)
        self.require_agreement(odd, "rows of odd.csv")
        require(odd["classes"][-1] == "(not in the model)" and sum(odd["matrix"][-1]) == 3, odd["classes"])
        done = self.run("select", "flats.csv", "-c", "verdict", "--ordered", "noise=quiet<some<loud", "--within", "9")
        require(re.search(r"\n  orvik train flats.csv --class verdict --ignore [a-z,]+ "
                          r"--ordered 'noise=quiet<some<loud'\n$", done.stderr), done.stderr)
        models = json.loads(self.run("compare", "flats.csv", "--cv", "2", "--trees", "2", "--json").stdout)
        for model in models["models"]:
            require(all(0 < model[key] for key in ("balanced_accuracy", "f1", "log_loss", "brier")), model)
        for line in self.run("compare", "flats.csv", "--cv", "2", "--trees", "2").stdout.splitlines():
            require(len(line) <= 80, line)

    @staticmethod
    def require_agreement(of, rows):
        figures = of["metrics"]["tests"][0]
        agree = abs(1 - figures["accuracy"] - of["error"]) < 1e-9
        require(agree and figures["rows"] == rows and figures["matrix"] == of["matrix"], f"{rows}: {of}")

    def check_against_orvcmd(self, model, new, scores):
        cells = [[c.replace("NA", "?") or "?" for c in row] for row in new[1:]]
        self.write("rows", "".join("\x1f".join(row) + "\n" for row in cells))
        subprocess.run([self.orvcmd, "-nl", "-bt", model, "-sep", "\x1f", "-unseen", "-fs", "rows", "-s",
                        "plain"], check=True, cwd=self.folder)
        for line, row in zip(open(self.path("plain"), encoding="utf-8"), scores[1:]):
            found, confidence = line.rstrip("\n").split("\x1f")
            require(found == row[8] and abs(float(confidence) - float(row[9])) < 1e-5, f"{line} {row}")

    def check_hostile_models(self):
        """Damaged models are refused in one line, or do no harm."""
        with gzip.open(self.path("tree.orvik")) as packed:
            whole = packed.read()
        appendix = whole.index(b"orvik+")
        draw = random.Random(1)
        places = [draw.randrange(appendix, len(whole)) for _ in range(12)]
        damaged = [whole[:at] + bytes([whole[at] ^ 1 << draw.randrange(8)]) + whole[at + 1:] for at in places]
        damaged += [whole[:at] for at in places] + [whole + b"x"]
        n_damaged = len(damaged)
        damaged += [whole[:appendix] + appendix_of(text) for text in hostile_readings(whole[appendix:])]
        for i, data in enumerate(damaged):
            with open(self.path("damaged.orvik"), "wb") as file:
                file.write(data)
            done = subprocess.run([self.orvik, "predict", "damaged.orvik", "new-flats.csv"], check=False,
                                  capture_output=True, text=True, cwd=self.folder)
            refused = done.returncode == 1 and len(done.stderr.splitlines()) == 1 and not done.stdout
            harmless = i >= n_damaged and done.returncode == 0 and done.stdout.count("\n") == 13
            require(refused or harmless, f"damage {i}: {done}")


def main(orvik, orvcmd, root):
    with tempfile.TemporaryDirectory() as folder:
        for name in ("flats.csv", "new-flats.csv"):
            with open(os.path.join(root, "examples", name), "rb") as source:
                with open(os.path.join(folder, name), "wb") as copy:
                    copy.write(source.read())
        check = Check(orvik, orvcmd, root, folder)
        check.check_options()
        check.check_errors()
        check.check_forms_of_files()
        check.check_new_files()
        check.check_figures()
        check.check_costs()
        check.check_hostile_models()
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
