#!/usr/bin/env python3
"""Checks that every file that states pm's version states the one of CMakeLists.txt."""
import pathlib
import re
import sys

root, wrong = pathlib.Path(sys.argv[1]), []


def found(name, pattern):
    match = re.search(pattern, (root / name).read_text(), re.MULTILINE)
    return match.groups() if match else None


project = found("CMakeLists.txt", r"^project\(pm VERSION ([0-9.]+)")
if project is None:
    sys.exit("CMakeLists.txt: no line 'project(pm VERSION ...'")
version = project[0]

released = found("CHANGELOG.md", r"^## ([0-9.]+) \((\d{4}-\d\d-\d\d)\)$")
date = released[1] if released else None
if released is None:
    wrong.append("CHANGELOG.md: no section '## VERSION (YYYY-MM-DD)'")
elif released[0] != version:
    wrong.append(f"CHANGELOG.md: newest release is {released[0]}, CMakeLists.txt has {version}")

pages = sorted((root / "packaging/man").glob("*.[0-9]"))
if not pages:
    wrong.append("packaging/man: no man pages")
for page in pages:
    name = str(page.relative_to(root))
    title = found(name, r'^\.TH \S+ \d (\S+) "pm ([0-9.]+)"')
    if title is None:
        wrong.append(f"{name}: no line '.TH NAME SECTION DATE \"pm VERSION\" ...'")
        continue
    if title[1] != version:
        wrong.append(f"{name}: version {title[1]}, CMakeLists.txt has {version}")
    if date and title[0] != date:
        wrong.append(f"{name}: date {title[0]}, CHANGELOG.md has {date}")

print("\n".join([*wrong, f"version {version}: {len(pages) + 2} files checked, {len(wrong)} wrong"]))
sys.exit(1 if wrong else 0)
