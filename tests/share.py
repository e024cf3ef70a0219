#!/usr/bin/env python3
"""Counts the lines of tests and of code that are neither blank nor comment, and fails if the
tests, golden texts included, are more than a third of the code. Benchmarks count as neither."""
import pathlib
import re
import sys

COMMENT = re.compile(r"\s*(//.*|#.*)?")
root = pathlib.Path(sys.argv[1])


def lines(folders, endings):
    return sum(not COMMENT.fullmatch(line) for folder in folders
               for path in (root / folder).rglob("*") if path.suffix in endings
               for line in path.read_text(errors="replace").splitlines())


code = lines(["common", "config", "core", "mail", "trap", "platform", "pmctl", "packaging"],
             [".cpp", ".h"])
tests = lines(["tests"], [".cpp", ".h", ".py", ".sh", ".txt"])
print(f"Tests: {tests} lines to {code} of code, {100 * tests / code:.1f} %")
sys.exit(3 * tests > code)
