#!/usr/bin/python3
"""Pastes the commands of documents, block by block, as a reader would: as root, in a booted copy of
this machine, with the package of a build folder. Checks that they print what the documents say.

How a document says it:

- A block that is indented, or fenced as sh, has commands. Each block must end with status 0.
- A block fenced as text directly after it is what the commands print. Its lines must be printed in
  this order; `...` in a line stands for anything, and other lines may be between them.
- A block with another fence (ini, json, python) is not run.
- <!-- not run: REASON --> before a block: it is not run, for example because it needs an adapter.
- <!-- status 1 --> before a block: it must end with that status.
- <!-- within 300 seconds -->: so long at most since the document's first command.
- <http://localhost:8080/>: must answer at that point.

In man pages the commands are between .nf and .fi in EXAMPLES, and the comments look like
.\\" not run: REASON
"""

import argparse
import re
import subprocess
import sys
import time
import urllib.request
from pathlib import Path

BLOCK_SECONDS = 200
COMMENT = re.compile(r'(?:<!-- |\.\\" )(not run|status|within):? (\w+)')
FENCE = re.compile(r"```(\w*)$")
PAGE = re.compile(r"<(http://localhost:\d+/)>")
ROFF = {r"\-": "-", r"\e": "\\", r"\&": "", r"\(aq": "'", r"\(dq": '"'}


def blocks_of_man_page(lines):
    """The lines of a Markdown document with the same blocks."""
    examples = lines[lines.index(".SH EXAMPLES") + 1:] if ".SH EXAMPLES" in lines else []
    is_block = False
    for line in examples:
        if line.startswith(".SH"):
            return
        if line in (".nf", ".EX", ".fi", ".EE"):
            is_block = line in (".nf", ".EX")
            yield "```sh" if is_block else "```"
        elif COMMENT.match(line):
            yield line
        elif is_block:
            yield re.sub(r"\\(?:\(..|f.|.)", lambda match: ROFF.get(match[0], ""), line)


def steps(lines):
    """What a reader does: (line number, kind, text), kind being sh, text, a comment's or page."""
    block, fence = [], None
    for number, line in enumerate(lines + ["end"], 1):
        if fence is not None and line != "```":
            block.append(line)
        elif fence is not None:
            yield number, fence, "\n".join(block)
            block, fence = [], None
        elif line.startswith("    ") or (block and not line):
            block.append(line[4:])
        else:
            if block:
                yield number, "sh", "\n".join(block).rstrip("\n")
            block = []
            if match := FENCE.match(line):
                fence = match[1] or "text"
            elif match := COMMENT.match(line):
                yield number, match[1], match[2]
            for page in PAGE.findall(line):
                yield number, "page", page


def missing_line(expected, printed):
    """The first line of `expected` that `printed` does not have in its place, or None."""
    position = 0
    for line in filter(None, expected.splitlines()):
        if line == "...":
            continue
        wanted = re.compile(".*".join(map(re.escape, line.split("..."))) + r"\s*")
        rest = range(position, len(printed))
        position = next((i + 1 for i in rest if wanted.fullmatch(printed[i])), None)
        if position is None:
            return line
    return None


def paste(document, folder):
    """Runs the document's blocks in `folder`; a text about the first that fails, or None."""
    lines = document.read_text().splitlines()
    if document.suffix != ".md":
        lines = list(blocks_of_man_page(lines))
    begin, status, is_run, printed = time.monotonic(), 0, True, None
    for number, kind, text in steps(lines):
        place = f"{document.name}:{number}: "
        if kind == "sh" and is_run:
            print(f"\n# {place}\n{text}", flush=True)
            with (folder / "printed").open("w+", errors="replace") as output:
                done = subprocess.run(["bash", "-ec", text], cwd=folder, stdout=output,
                                      stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                      timeout=BLOCK_SECONDS, check=False)
                output.seek(0)
                printed = output.read().splitlines()
            print(*printed[-40:], sep="\n", flush=True)
            if done.returncode != status:
                return f"{place}status {done.returncode} instead of {status}"
        elif kind == "text" and printed is not None:
            if missing := missing_line(text, printed):
                return f"{place}was not printed: {missing}"
        elif kind == "within" and time.monotonic() - begin > int(text):
            return f"{place}not within {text} seconds"
        elif kind == "page":
            with urllib.request.urlopen(text, timeout=5) as page:
                page.read()
        if kind == "sh":
            printed = printed if is_run else None
            status, is_run = 0, True
        elif kind == "status":
            status = int(text)
        elif kind == "not run":
            is_run = False
    print(f"\n{document.name}: {time.monotonic() - begin:.0f} seconds")
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path, help="its package is made and, unless the first "
                        "document does that, installed")
    parser.add_argument("documents", metavar="document", type=Path, nargs="+")
    arguments = parser.parse_args()
    folder = Path("/root/pasted")
    folder.mkdir(parents=True)
    subprocess.run(["cpack", "-B", folder], cwd=arguments.build, stdout=subprocess.DEVNULL,
                   check=True)
    package = next(folder.glob("*.deb"))
    if f"apt install ./{package.name}" not in arguments.documents[0].read_text():
        subprocess.run(["dpkg", "-i", package], check=True)
    # No network: what is installed is the newest version that can be had.
    Path("/etc/apt/preferences.d/installed").write_text(
        "Package: *\nPin: release a=now\nPin-Priority: 1001\n")
    # The central broker is this machine, too.
    subprocess.run(["ip", "address", "add", "192.0.2.1/32", "dev", "lo"], check=True)
    # What a station has sent, for those who read data files.
    (folder / "mast-07").mkdir()
    subprocess.run([arguments.build / "simulator/make-files", folder / "mast-07", "1700001000",
                    "3600", "7"], check=True)
    failures = [text for document in arguments.documents if (text := paste(document, folder))]
    sys.exit("\n".join(failures) or 0)


if __name__ == "__main__":
    main()
