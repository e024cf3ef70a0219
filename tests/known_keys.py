#!/usr/bin/env python3
"""Checks that the schema has each setting and attribute that pm's code names, and that pm's
code logs each line that platform/host/step_lines.cpp reads."""
import pathlib
import re
import sys

KEY = re.compile(r'"([a-z]+_(?:bool|int|str)_\w[\w%]*|NVC/\w+|Norvu\.Embedded\.1#[^"]+)"')
root = pathlib.Path(sys.argv[1])
rows = filter(None, re.findall(r'"([^"]*)"', (root / "platform/client/schema_table.h").read_text()))
known = re.compile("|".join(re.escape(row).replace(r"\*", r"(?:\d|%[du])") for row in rows), re.I)
named = {key for folder in ("config", "core", "mail", "trap", "platform")
         for source in (root / folder).glob("*.[ch]*") for key in KEY.findall(source.read_text())}
missing = [key for key in sorted(named) if not known.fullmatch(key)]
table = (root / "platform/host/step_lines.cpp").read_text()
read = re.findall(r'^    \{"([^"]+)", LineKind', table, re.M)
code = "".join(source.read_text() for folder in ("mail", "trap", "platform")
               for source in (root / folder).glob("*.[ch]*"))
code = re.sub(r'"\s*"', "", code)
unlogged = [start for start in read if start not in code]
print("\n".join(missing + unlogged), f"\n{len(named)} keys named, {len(missing)} not in the schema;"
      f" {len(read)} lines read, {len(unlogged)} not logged")
sys.exit(1 if missing or unlogged or not named or not read else 0)
