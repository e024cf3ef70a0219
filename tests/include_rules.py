#!/usr/bin/env python3
"""Checks that each folder includes headers only from the folders allowed for it."""
import pathlib
import re
import sys

ALLOWED = {  # in addition to the folder itself
    "common": [], "platform": [], "config": ["platform", "common"],
    "mail": ["config", "platform", "common"], "trap": ["config", "platform", "common"],
    "core": ["mail", "trap", "config", "platform", "common"],
    "platform/client": ["platform", "common"],
    "platform/host": ["platform/client", "platform", "common"],
    "pmctl": ["platform/client", "platform", "common"]}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)
root, checked, wrong = pathlib.Path(sys.argv[1]), 0, []

for folder, allowed in ALLOWED.items():
    for source in sorted((root / folder).glob("*.[ch]*")):
        for name in INCLUDE.findall(source.read_text()):
            checked += 1
            target = str(pathlib.PurePosixPath(name).parent)
            if target not in [folder, *allowed] or not (root / name).is_file():
                wrong.append(f'{folder}/{source.name} must not include "{name}"')
print("\n".join(wrong), f"\n{checked} includes checked, {len(wrong)} wrong")
sys.exit(1 if wrong or checked == 0 else 0)
