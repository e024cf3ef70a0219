#!/usr/bin/env python3
"""Checks that the stand-in's schema has each setting and attribute that own code names."""
import pathlib
import re
import sys

KEY = re.compile(r'"([a-z]+_(?:bool|int|str)_\w[\w%]*|NVC/\w+|Norvu\.Embedded\.1#[^"]+)"')
root = pathlib.Path(sys.argv[1])
rows = filter(None, re.findall(r'"([^"]*)"', (root / "platform/client/schema_table.h").read_text()))
known = re.compile("|".join(re.escape(row).replace(r"\*", r"(?:\d|%[du])") for row in rows), re.I)
named = {key for folder in ("core", "mail", "trap", "platform")
         for source in (root / folder).glob("*.[ch]*") for key in KEY.findall(source.read_text())}
missing = [key for key in sorted(named) if not known.fullmatch(key)]
print("\n".join(missing), f"\n{len(named)} keys named, {len(missing)} not in the schema")
sys.exit(1 if missing or not named else 0)
