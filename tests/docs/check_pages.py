#!/usr/bin/env python3
"""Every file and folder that the pages on the code name is there. Usage: check_pages.py ROOT"""
import os
import re
import sys

ROOT = sys.argv[1]
PAGES = ["README.md", "docs/overview.md", "docs/code-in-twenty-minutes.md", "docs/algorithms.md"]
FOLDERS = ["", "src", "src/impls", "examples", "include/orvik", "src/impls/growing"]
NAME = re.compile(r"`([\w./-]+(?:\.(?:h|cpp|names|data)|/))`")


def exists(name):
    return any(os.path.exists(os.path.join(ROOT, folder, name)) for folder in FOLDERS)


named = [(page, name) for page in PAGES
         for name in NAME.findall(open(os.path.join(ROOT, page), encoding="utf-8").read())]
missing = [f"{page}: no {name}" for page, name in named if not exists(name)]
if len(named) < 50:
    missing.append(f"only {len(named)} names found: the pages name files between backticks")
print("\n".join(missing) or f"{len(named)} names of files, all there")
sys.exit(bool(missing))
