#!/usr/bin/env python3
"""The options of orvview and orvprep in their help, completions and manual pages; and what orvview
says of bad ones and of bad files.

Usage: check_programs.py ORVVIEW ORVPREP ORVCMD ROOT. Exit status 0 if all is as it should be.
"""
import os
import re
import subprocess
import sys
import tempfile


def require(condition, what):
    if not condition:
        raise SystemExit(what)


def check_options(program, root, folder):
    name = os.path.basename(program)
    text = subprocess.run([program, "--help"], check=True, capture_output=True, text=True).stdout
    options = {o for line in re.findall(r"^ +(-[-a-z,]+)", text, re.M) for o in line.split(",")}
    completion = os.path.join(root, folder, "completion.bash")
    known = subprocess.run(["bash", "-c", f'. "$0"; echo "${{!_{name}_takes[@]}}"', completion],
                           check=True, capture_output=True, text=True).stdout.split()
    require(set(known) == options, f"{completion}: {options ^ set(known)}")
    with open(os.path.join(root, "docs", name + ".1.md"), encoding="utf-8") as page:
        named = set(re.findall(r"\*\*(-[-a-z]+)\*\*", page.read()))
    require(named >= options, f"{name}.1.md lacks {options - named}")


def offered(root, program, folder, *words):
    """What the shell offers for the last of the words."""
    script = (f'. "$1"; shift; COMP_WORDS=({program} "$@"); COMP_CWORD=$#; _{program};'
              ' printf "%s\\n" "${COMPREPLY[@]}"')
    done = subprocess.run(["bash", "-c", script, "-", os.path.join(root, folder, "completion.bash"),
                           *words], check=True, capture_output=True, text=True)
    return done.stdout.split()


def check_errors(orvview, orvcmd, root, folder):
    golf = os.path.join(root, "examples", "golf")
    model, text, out = (os.path.join(folder, n) for n in ("golf.tree", "no.tree", "out"))
    subprocess.run([orvcmd, "-nl", "-f", golf, "-tb", model], check=True)
    with open(model, "rb") as whole, open(text, "wb") as cut:
        cut.write(whole.read()[:-20])
    with open(os.path.join(folder, "other.names"), "w", encoding="utf-8") as names:
        names.write("a,string,discrete\nb,string,class\n")
    cases = [
        (["--svg", "--cpp", model], 2, "--svg"),
        (["--rules", "prose", model], 2, "prose"),
        (["--names", "x", model], 2, "--data"),
        (["--tree", "0", model], 2, "--tree"),
        (["-s", "ab", model], 2, "--separator"),
        (["--tree", "2", model], 1, "--tree 2: there is no such tree; the model has 1"),
        ([os.path.join(folder, "none")], 1, "none"),
        ([text], 1, "no.tree"),
        ([golf + ".data"], 1, "holds no binary model"),
        (["--names", os.path.join(folder, "other.names"), "--data", golf + ".data", model], 1,
         "other.names does not have the columns of the model: 2 for 5"),
        (["--names", golf + ".names", "--data", golf + ".names", model], 1, "golf.names"),
    ]
    for options, status, words in cases:
        done = subprocess.run([orvview, "-o", out, *options], capture_output=True, text=True,
                              check=False)
        lines = done.stderr.splitlines()
        require(done.returncode == status and words in done.stderr and not done.stdout and
                (status == 2 or len(lines) == 1), f"{options}: {done}")
        require(sorted(os.listdir(folder)) == ["golf.tree", "no.tree", "other.names"],
                f"{options}: {os.listdir(folder)}")
    link = os.path.join(folder, "link")
    os.symlink(model, link)
    done = subprocess.run([orvview, "--svg", model, "-o", link], capture_output=True, check=False)
    require(done.returncode == 1 and b"same file" in done.stderr, f"over the model: {done}")
    with open("/dev/full", "wb") as full:
        done = subprocess.run([orvview, "--python", model], stdout=full, stderr=subprocess.PIPE,
                              check=False)
    require(done.returncode == 1 and b"standard output" in done.stderr, f"full disk: {done}")
    subprocess.run([orvview, model], check=True, cwd=folder)
    require(os.path.exists(os.path.join(folder, "golf.html")), "no golf.html")


def main(orvview, orvprep, orvcmd, root):
    check_options(orvview, root, "view")
    check_options(orvprep, root, "prep")
    require(offered(root, "orvview", "view", "--rules", "s") == ["sql"], "--rules s")
    require(offered(root, "orvview", "view", "--su") == ["--summary"], "--su")
    require(offered(root, "orvprep", "prep", "--header", "") == ["auto", "yes", "no"], "--header")
    require(offered(root, "orvprep", "prep", "-c", "x") == [], "-c x")
    with tempfile.TemporaryDirectory() as folder:
        check_errors(orvview, orvcmd, root, folder)
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
