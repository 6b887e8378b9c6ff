#!/usr/bin/python3
"""Checks that doc/messages.md explains every status and every failure in the daemon's cases."""

import re
from pathlib import Path

ROOT = Path(__file__).parent.parent
CASES = ("command_line", "detection", "dialogue", "menu", "output", "publisher", "sampling",
         "settings")
# A status follows "=> ", a failure "! ": at the beginning of what is seen, or after a wait, a key
# or a fold.
SHOWN = re.compile(r"(?:^|[]}] ?|[<A-Z>] |ms |[0-9] )(=> |! )(.+)")


def shown():
    """The statuses and failures in the cases and their folds."""
    for name in CASES:
        text = (ROOT / f"tests/cases/{name}.cases").read_text("utf-8", "replace")
        folds = dict(re.findall(r'^fold (\w+) "(.*)"$', text, re.M))
        lines = [line[2:] for line in text.splitlines() if line.startswith("> ")]
        for line in lines + [part for fold in folds.values() for part in fold.split(r"\n")]:
            if found := SHOWN.search(line):
                yield re.sub(r"\{(\w+)\}", lambda fold: folds[fold[1]], found[2])


def explained():
    """Patterns of the texts in the first columns of the tables."""
    text = (ROOT / "doc/messages.md").read_text()
    for cell in re.findall(r"^\|(.*?) \| ", text, re.M):
        for message in re.findall("`(.*?)`", cell):
            message = re.escape(message.replace("/dev/ttyS1 ", "").replace("young_81000_v", "..."))
            yield re.compile(re.sub(r"\d+", r"\\d+", message.replace(r"\.\.\.", ".*")))


patterns = list(explained())
texts = {text for text in shown() if not text.startswith("notified ")}
unexplained = [text for text in texts if not any(p.fullmatch(text) for p in patterns)]
if len(texts) < 40 or unexplained:
    raise SystemExit("\n  ".join([f"{len(texts)} texts, not explained:", *sorted(unexplained)]))
