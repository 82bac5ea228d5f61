#!/usr/bin/env python3
"""Runs what tests the Python package: its tests, the examples of its pages, its stubs.

Usage: run.py FOLDER ORVCMD, where FOLDER has the package. Without scikit-learn, pandas or pytest it
is skipped, saying so; where CI is set that is an error. A module of a sanitized build is watched:
what of it leaks cannot be told from what the interpreter leaves.
"""
import glob
import importlib.util
import os
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def sanitizers(folder):
    """What the interpreter must load before a module that was built with sanitizers."""
    module = glob.glob(os.path.join(folder, "orvik", "_orvik*.so"))
    needed = subprocess.run(["ldd", *module], capture_output=True, text=True).stdout if module else ""
    found = [line.split()[2] for line in needed.splitlines() if "lib" in line and "san.so" in line]
    if not found:
        return {}
    throws = [line.split()[2] for line in needed.splitlines() if "libstdc++" in line]
    return {"LD_PRELOAD": " ".join(found + throws), "ASAN_OPTIONS": "detect_leaks=0", "PYTHONMALLOC": "malloc"}


def main(folder, orvcmd):
    missing = [m for m in ("sklearn", "pandas", "pytest") if importlib.util.find_spec(m) is None]
    if missing:
        print(f"SKIPPED: no {', '.join(missing)} here")
        return 1 if os.environ.get("CI") else 0
    env = dict(os.environ, PYTHONPATH=os.path.abspath(folder), ORVCMD=os.path.abspath(orvcmd),
               PYTHONDONTWRITEBYTECODE="1", MPLBACKEND="Agg", **sanitizers(folder))
    # From another folder the module that was built is found, not its sources.
    checks = [[sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", "--doctest-modules",
               "--doctest-glob=*.md", "tests/python", "docs/python.md", os.path.join(folder, "orvik")]]
    if importlib.util.find_spec("mypy") is not None:
        checks.append([sys.executable, "-m", "mypy", "--cache-dir", os.path.join(folder, ".mypy"),
                       "--strict", "--no-error-summary", os.path.join(ROOT, "tests", "python", "typed_program.py")])
    return max(subprocess.run(check, cwd=ROOT, env=env).returncode for check in checks)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
