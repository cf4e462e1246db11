#!/usr/bin/env python3
"""Compares instructions per row with those in a file; fails if they are more than a tenth higher.

    bench/guard.py MEASURED KEPT
"""
import json
import pathlib
import sys

KEY = "instructions_in_library"
MARGIN = 1.10

measured, kept = (json.loads(pathlib.Path(name).read_text())[KEY] for name in sys.argv[1:3])
print(f"{measured:.0f} instructions a row, {kept:.0f} when they were last agreed on")
if measured > kept * MARGIN:
    sys.exit(f"more than {MARGIN:.2f} times as many: find out why, or agree on more in {sys.argv[2]}")
