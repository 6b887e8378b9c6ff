"""The questions that the archive knows."""

import re
from pathlib import Path

from sonic_archive.client import quoted
from sonic_archive.times import NANOSECONDS

FOLDER = Path(__file__).resolve().parent.parent / "queries"
OPEN = re.compile(r"\{(\w+):(\w+)\}")
TIMES = ("Seconds", "Nanoseconds")


def names():
    """Of all questions, in alphabetical order."""
    return sorted(path.stem for path in FOLDER.glob("*.sql"))


def text(name):
    """The question of this name in SQL, with {NAME:TYPE} where it is open."""
    return (FOLDER / f"{name}.sql").read_text()


def open_values(query):
    """Pairs of a name and its type, of what a query leaves open."""
    return OPEN.findall(query)


def filled_in(query, values):
    """The query with its values, times in nanoseconds. Debian's server is older than ClickHouse's
    own way of doing this."""
    def replacement(match):
        name, kind = match.groups()
        value = values[name]
        if kind == "Seconds":  # the first whole one that is not before that time
            return str(-(-value // NANOSECONDS))
        if kind == "Nanoseconds":
            return str(value)
        if kind in ("String", "Station"):
            return quoted(value)
        return f"CAST({quoted(value)} AS {kind})"
    return OPEN.sub(replacement, query)
