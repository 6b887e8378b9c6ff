"""What sonic-records prints of half-hour files, as arrays."""

import json
import shutil
import subprocess
import sys
from pathlib import Path

import numpy

NS = 10**9
COLUMNS = numpy.dtype([("seconds", "i8"), ("nanoseconds", "i4"), ("u", "f8"), ("v", "f8"),
                       ("w", "f8"), ("ts", "f8"), ("diag", "f8")])
USED = (0, 1, 2, 3, 4, 6, 7)  # all but the speed of sound
EVENT_COLUMNS = numpy.dtype([("time", "U24"), ("event", "U12"), ("seconds", "U24")])


class Unusable(Exception):
    """Why files cannot be read or nothing be drawn, as a sentence."""


class Records:
    """Good records in the order in which they stand: `time` in nanoseconds since 1970, `values` by
    name, and `fault` where diag is not 0."""

    def __init__(self, table):
        self.time = table["seconds"] * NS + table["nanoseconds"]
        self.values = {name: table[name] for name in ("u", "v", "w", "ts")}
        self.fault = table["diag"] != 0


def run(*arguments):
    """Starts sonic-records, which is beside this program or on the search path."""
    beside = Path(sys.argv[0]).parent / "sonic-records"
    program = str(beside) if beside.is_file() else shutil.which("sonic-records")
    if program is None:
        raise Unusable("sonic-records is missing")
    # It says what is wrong with a file in each run; once is enough.
    messages = None if "--summary" in arguments else subprocess.DEVNULL
    return subprocess.Popen([program, *arguments], stdout=subprocess.PIPE, stderr=messages)


def read_summaries(paths):
    """A dictionary a file, and whether all of them could be read and have records."""
    with run("--summary", "--format", "json", "--", *paths) as process:
        lines = [line.decode("utf-8", "replace") for line in process.stdout]
    return [json.loads(line) for line in lines], process.returncode == 0


def read_records(paths, count):
    """The first `count` records; there may be more by now in a file that is written to."""
    with run("--epoch", "--", *paths) as process:
        table = numpy.loadtxt(process.stdout, COLUMNS, delimiter="\t", skiprows=1, usecols=USED,
                              max_rows=count, ndmin=1)
        process.stdout.close()
    if len(table) < count:
        raise Unusable("a file went away while it was read; try again")
    return Records(table)


def read_events(paths):
    """Kind of event -> (times of the records before, seconds), both in nanoseconds. Events before
    all records are left out."""
    with run("--events", "--epoch", "--", *paths) as process:
        lines = process.stdout.read().decode().splitlines()[1:]
    events = {}
    for time, kind, seconds in (line.split("\t") for line in lines):
        if time:
            times, lengths = events.setdefault(kind, ([], []))
            times.append(nanoseconds(time))
            lengths.append(nanoseconds(seconds or "0.0"))
    return {kind: (numpy.array(times), numpy.array(lengths))
            for kind, (times, lengths) in events.items()}


def nanoseconds(seconds):
    """Of a text with nine digits after the point: "1.500000000"."""
    whole, _, fraction = seconds.partition(".")
    return int(whole) * NS + int(fraction)
