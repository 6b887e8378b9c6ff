"""What sonic-records prints of data files, as arrays."""

import itertools
import json
import subprocess
import sys

import numpy

from sonic_plot import sonic_records

NS = 10**9
RECORD_COLUMNS = numpy.dtype([("seconds", "i8"), ("nanoseconds", "i4"), ("u", "f8"), ("v", "f8"),
                              ("w", "f8"), ("ts", "f8"), ("diag", "f8")])
USED = (0, 1, 2, 3, 4, 6, 7)  # all but the speed of sound
CHUNK = 1 << 17  # records
WRONG_USAGE = 2
# No picture shows more columns than this; a window can be zoomed into.
PICTURE_COLUMNS, WINDOW_COLUMNS = 1500, 20000


class Source:
    """The files, and the span of time of which sonic-records is asked."""

    def __init__(self, paths, span=()):
        self.paths = paths
        self.span = list(span)
        self.summaries = []
        self.is_complete = True  # whether all files could be read and have records

    def run(self, *arguments, is_first=False):
        """Starts sonic-records, which is beside this program or on the search path. It says what is
        wrong with a file in each run; the first one is heard."""
        return subprocess.Popen([sonic_records(), *self.span, *arguments, "--", *self.paths],
                                stdout=subprocess.PIPE,
                                stderr=None if is_first else subprocess.DEVNULL)

    def rows(self, *arguments, is_first=False):
        """A dictionary a row of a table."""
        with self.run("--format", "json", *arguments, is_first=is_first) as process:
            for line in process.stdout:
                yield json.loads(line)
        if process.returncode == WRONG_USAGE:  # it has said why
            sys.exit(WRONG_USAGE)
        self.is_complete = self.is_complete and process.returncode == 0

    def columns(self, *arguments, is_first=False):
        """A table as arrays by name. Cells without a number are NaN; `time` and `start` are in
        nanoseconds since 1970."""
        rows = list(self.rows("--epoch", *arguments, is_first=is_first))
        table = {name: numpy.array([numpy.nan if row[name] is None else row[name] for row in rows])
                 for name in (rows[0] if rows else ()) if name not in ("time", "start")}
        for name in ("time", "start"):
            if rows and name in rows[0]:
                table[name] = numpy.array([nanoseconds(str(row[name])) for row in rows], "int64")
        return table

    def read_summaries(self):
        """A dictionary a file. Those with records are in `summaries` afterwards."""
        for summary in self.rows("--summary", "--epoch", is_first=True):
            yield summary
            if summary["records"]:
                summary.update({key: nanoseconds(summary[key]) for key in ("first", "last")})
                self.summaries.append(summary)

    def records(self):
        """All records, some at a time."""
        with self.run("--epoch") as process:
            process.stdout.readline()
            while lines := list(itertools.islice(process.stdout, CHUNK)):
                yield Records(numpy.loadtxt(lines, RECORD_COLUMNS, delimiter="\t", usecols=USED,
                                            ndmin=1))


class Records:
    """Good records in the order of the files: `time` in nanoseconds since 1970, `values` by
    name, and `fault` where diag is not 0."""

    def __init__(self, table):
        self.time = table["seconds"] * NS + table["nanoseconds"]
        self.values = {name: table[name] for name in ("u", "v", "w", "ts")}
        self.fault = table["diag"] != 0


class Events:
    """What is between the records, of each kind one in a column of so many nanoseconds: the
    longest. `counts` are those of all."""

    def __init__(self, rows, width):
        self.counts = {}
        kinds = {}
        for row in rows:
            kind = row["event"]
            self.counts[kind] = self.counts.get(kind, 0) + 1
            if row["time"] is None:  # before all records
                continue
            time, length = nanoseconds(row["time"]), nanoseconds(str(row["seconds"] or 0))
            seen = kinds.setdefault(kind, {})
            if length >= seen.get(time // width, (0, 0))[1]:
                seen[time // width] = time, length
        self.times = {kind: numpy.array(sorted(seen.values())) for kind, seen in kinds.items()}

    def of(self, kind):
        """Times of the records before, and lengths, in nanoseconds."""
        found = self.times.get(kind, numpy.zeros((0, 2), "int64"))
        return found[:, 0], found[:, 1]


def column_width(summaries, is_picture):
    """Of a column of a figure, in nanoseconds."""
    columns = PICTURE_COLUMNS if is_picture else WINDOW_COLUMNS
    span = max(s["last"] for s in summaries) - min(s["first"] for s in summaries)
    return max(span // columns, 1)


def nanoseconds(seconds):
    """Of a text with digits after the point or without: "1.500000000"."""
    whole, _, fraction = seconds.partition(".")
    return int(whole) * NS + int(fraction.ljust(9, "0"))
