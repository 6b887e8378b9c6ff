#!/usr/bin/python3
"""Checks that each test that a page of doc/ names is there: named_tests.py BUILD"""

import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).parent.parent.parent
IN_BUILD = re.compile(r"`(?:script/test )?-R '?([^`' ]+)")
IN_MACHINE = re.compile(r"\| `(test_\w+)` \|$", re.M)

listed = subprocess.run(["ctest", "--test-dir", sys.argv[1], "-N"], stdout=subprocess.PIPE,
                        check=True, text=True).stdout
tests = re.findall(r"Test +#\d+: (\S+)", listed)
machine = "".join(path.read_text() for path in (ROOT / "tests/machine").glob("test_*.py"))
missing, found = [], 0
for page in sorted((ROOT / "doc").glob("*.md")):
    text = page.read_text()
    for patterns, is_there in ((IN_BUILD, lambda p: any(re.search(p, test) for test in tests)),
                               (IN_MACHINE, lambda p: f"def {p}" in machine)):
        names = patterns.findall(text)
        found += len(names)
        missing += [f"{page.name}: {name}" for name in names if not is_there(name)]
if found < 40 or missing:
    raise SystemExit("\n  ".join([f"{found} names, without a test:", *missing]))
