#!/usr/bin/env python3
"""Checks that every file that states pm's version states the one of CMakeLists.txt, and that the
man pages have the date of that release."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])


def found(name, pattern):
    match = re.search(pattern, (root / name).read_text(), re.MULTILINE)
    return match.groups() if match else ("missing", "missing")


version, = re.search(r"^project\(pm VERSION ([0-9.]+)", (root / "CMakeLists.txt").read_text(),
                     re.MULTILINE).groups()
release = found("CHANGELOG.md", r"^## ([0-9.]+) \((\d{4}-\d\d-\d\d)\)$")
stated = {"CHANGELOG.md": release} | {
    str(page.relative_to(root)): found(page, r'^\.TH \S+ \d (\S+) "pm ([0-9.]+)"')[::-1]
    for page in sorted((root / "packaging/man").glob("*.[0-9]"))}
wrong = [f"{name}: version {of}, date {date}; expected {version}, {release[1]}"
         for name, (of, date) in stated.items()
         if (of, date) != (version, release[1]) or "missing" in release]
print("\n".join([*wrong, f"version {version}: {len(stated) + 1} files checked, {len(wrong)} wrong"]))
sys.exit(1 if wrong or len(stated) < 2 else 0)
