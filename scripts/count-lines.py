#!/usr/bin/env python3
"""Counts the lines of code (src/, app/) and of tests (tests/), blank lines and lines that are
only a comment left out, in total and per subsystem (the first folder below src/ or tests/;
app/ counts as "app", tests/support and tests/data as their own rows)."""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SUFFIXES = {".cpp", ".h", ".hpp", ".c"}


def counted_lines(path):
    n = 0
    in_block = False
    for line in path.read_text(encoding="utf-8", errors="replace").splitlines():
        s = line.strip()
        if in_block:
            if "*/" in s:
                in_block = False
                s = s.split("*/", 1)[1].strip()
            else:
                continue
        if not s or s.startswith("//"):
            continue
        if s.startswith("/*"):
            if "*/" not in s:
                in_block = True
            continue
        n += 1
    return n


def count(top):
    per = collections.Counter()
    for path in sorted((ROOT / top).rglob("*")):
        if path.suffix in SUFFIXES and path.is_file():
            rel = path.relative_to(ROOT / top).parts
            key = top if top == "app" or len(rel) == 1 else rel[0]
            per[key] += counted_lines(path)
    return per


code = count("src") + count("app")
tests = count("tests")
width = max(len(k) for k in set(code) | set(tests))
print(f"{'subsystem':<{width}}  {'code':>6}  {'tests':>6}  ratio")
for key in sorted(set(code) | set(tests)):
    c, t = code.get(key, 0), tests.get(key, 0)
    ratio = f"{100 * t / c:4.0f}%" if c else "    -"
    print(f"{key:<{width}}  {c:>6}  {t:>6}  {ratio}")
total_c, total_t = sum(code.values()), sum(tests.values())
print(f"{'total':<{width}}  {total_c:>6}  {total_t:>6}  {100 * total_t / total_c:4.0f}%")
sys.exit(0)
