#!/usr/bin/python3
"""Checks that every link in the documents leads somewhere, that the index names every page, and
that the pages which man pages and units name exist. Prints what is wrong."""

import re
import subprocess
import sys
from pathlib import Path

INDEX = Path("doc/README.md")
LINK = re.compile(r"\]\(([^)\s#]*)(?:#([^)\s]*))?\)")
HEADING = re.compile(r"^#+ (.*)$", re.M)
CODE = re.compile(r"^```.*?^```|`[^`\n]*`", re.M | re.S)
NAMED = re.compile(r"[\w-]+\.md\b")


def tracked(*patterns):
    names = subprocess.run(["git", "ls-files", *patterns], stdout=subprocess.PIPE, check=True,
                           encoding="utf-8").stdout
    return [Path(name) for name in names.splitlines()]


def anchors(page):
    """The anchors of its headings: lower case, a hyphen for each space, no punctuation."""
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")
            for heading in HEADING.findall(page.read_text())}


def links(page):
    """(text of the link, file it leads to, anchor or None) of each link that is not to the web."""
    for match in LINK.finditer(CODE.sub("", page.read_text())):
        if ":" not in match[1]:
            yield match[0][2:-1], page.parent / match[1] if match[1] else page, match[2]


def wrong():
    pages = tracked("*.md")
    for page in pages:
        for text, target, anchor in links(page):
            if not target.exists():
                yield f"{page}: {text}: there is no such file"
            elif anchor and anchor not in anchors(target):
                yield f"{page}: {text}: there is no such heading"
    indexed = {target.name for _, target, _ in links(INDEX)} | {INDEX.name}
    for page in pages:
        if page.parent == INDEX.parent and page.name not in indexed:
            yield f"{INDEX}: does not name {page.name}"
    names = {page.name for page in pages}
    for file in tracked("doc/man", "*.service", "*.service.in"):
        for name in NAMED.findall(file.read_text().replace("\\-", "-")):
            if name not in names:
                yield f"{file}: there is no page {name}"


if __name__ == "__main__":
    sys.exit("\n".join(wrong()) or 0)
