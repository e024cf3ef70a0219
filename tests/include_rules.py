#!/usr/bin/env python3
"""Checks that includes run only the allowed way between the folders of a tree."""
import pathlib
import re
import sys

ALLOWED = {
    "common": {"common"},
    "platform": {"platform", "common"},
    "mail": {"mail", "platform", "common"},
    "trap": {"trap", "platform", "common"},
    "core": {"core", "mail", "trap", "platform", "common"},
    "platform/client": {"platform/client", "platform", "common"},
    "platform/host": {"platform/host", "platform/client", "platform", "common"},
    "pmctl": {"pmctl", "platform/client", "platform", "common"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def main(root):
    checked, wrong = 0, []
    for folder, allowed in ALLOWED.items():
        for source in sorted((root / folder).glob("*.*")):
            if source.suffix not in {".h", ".cpp", ".c"}:
                continue
            for name in INCLUDE.findall(source.read_text()):
                checked += 1
                target = str(pathlib.PurePosixPath(name).parent)
                if target not in allowed or not (root / name).is_file():
                    wrong.append(f'{folder}/{source.name} must not include "{name}"')
    print("\n".join(wrong), f"\n{checked} includes checked, {len(wrong)} wrong")
    return 1 if wrong or checked == 0 else 0


sys.exit(main(pathlib.Path(sys.argv[1])))
