"""Loads data files into the archive."""

import os
import re
import stat
import sys
from dataclasses import dataclass, field
from itertools import groupby

from sonic_archive import half_hours, reading
from sonic_archive.client import ArchiveError, from_tsv_cell, tsv_cell
from sonic_archive.times import HALF_HOUR

FILES_AT_ONCE = 48  # a day
STATION_NAME = re.compile(r'[^\x00-\x1f\x7f",\\]+')
NAME_RULE = "a station's name has no comma, quotation mark, backslash or control character"
STRUCTURE = "station String, name String, size UInt64, path String"
NOT_LOADED = """
SELECT path FROM files
WHERE (station, name, size) NOT IN (SELECT station, name, size FROM loaded)
ORDER BY station, name"""


@dataclass(frozen=True)
class File:
    """A file to load. Its size is taken before it is read: a file that grows meanwhile has another
    size the next time, and is loaded again."""

    path: bytes
    station: str
    size: int

    def key(self):
        """As in the table `loaded`."""
        return b"\t".join([tsv_cell(self.station.encode()),
                           tsv_cell(os.path.basename(self.path)), b"%d" % self.size])


@dataclass
class Report:
    """The result of a run."""

    files: int = 0
    known: int = 0  # files that were loaded before
    records: int = 0
    half_hours: int = 0
    left: list = field(default_factory=list)  # pairs of a file and the reason why it is left out
    stations: set = field(default_factory=set)

    def leave(self, path, why):
        """Notes why a file is left out, and says so on standard error."""
        self.left.append((shown(path), why))
        print(f"sonic-load: {shown(path)}: {why}", file=sys.stderr)


class Loader:
    """`options_of` gives the options for sonic-records --half-hours of a station."""

    def __init__(self, options_of):
        self._archive = None
        self._options_of = options_of
        self.report = Report()

    def load(self, archive, paths, station=None):
        """Loads those files that have not been loaded. Without `station`, a file's is the name of
        its folder. ArchiveError when the archive takes nothing."""
        self._archive = archive
        described = (self._describe(os.fsencode(path), station) for path in paths)
        files = {file.path: file for file in described if file}
        wanted = []
        if files:
            lines = [b"%b\t%b\n" % (file.key(), tsv_cell(path)) for path, file in files.items()]
            wanted = [files[from_tsv_cell(line.rstrip(b"\n"))]
                      for line in archive.matching(NOT_LOADED, STRUCTURE, lines)]
        self.report.known = len(files) - len(wanted)
        for name, group in groupby(wanted, key=lambda file: file.station):
            group = list(group)
            for i in range(0, len(group), FILES_AT_ONCE):
                self._load_some(name, group[i:i + FILES_AT_ONCE])

    def _describe(self, path, station):
        try:
            status = os.stat(path)
            folder = os.path.dirname(os.path.realpath(path))
        except OSError as error:
            return self.report.leave(path, error.strerror)
        if not stat.S_ISREG(status.st_mode):
            return self.report.leave(path, "no file")
        name = station or os.path.basename(folder).decode(errors="replace")
        if not STATION_NAME.fullmatch(name) or "\N{REPLACEMENT CHARACTER}" in name:
            return self.report.leave(path, NAME_RULE)
        return File(path, name, status.st_size)

    def _load_some(self, station, files):
        """Files of one station: together, or one by one if the archive refuses that, so that a bad
        file keeps no other out."""
        try:
            self._load_together(station, files)
        except ArchiveError as error:
            self._archive.rows("SELECT count() FROM loaded")  # fails if no file can be loaded
            if len(files) == 1:
                self.report.leave(files[0].path, str(error))
                return
            for file in files:
                self._load_some(station, [file])

    def _load_together(self, station, files):
        """Stores the records, then the rows of their half hours, then that the files are loaded. A
        run that ends before that leaves files that are loaded again, which adds nothing twice."""
        options = self._options_of(station)
        rows_of, problems, records = {}, {}, 0
        for file in files:
            rows_of[file], problem = reading.half_hours_of_file(file.path, options)
            if problem:
                problems[file] = problem

        def blocks():
            nonlocal records
            for file, rows in rows_of.items():
                prefix = b"%b\t%d\t" % (station.encode(), _rate_of(rows))
                for block in reading.records(file.path, prefix):
                    records += block.count(b"\n")
                    yield block

        self._archive.insert("incoming", blocks())
        rows = [row for rows in rows_of.values() for row in rows]
        starts = {row.start for row in rows}
        stored = half_hours.store(self._archive, station, starts, rows, options)
        good = [file for file in files if file not in problems]
        self._archive.insert("loaded", (file.key() + b"\n" for file in good))
        self.report.files += len(good)
        self.report.records += records
        self.report.half_hours += stored
        self.report.stations.add(station)
        for file, problem in problems.items():
            self.report.leave(file.path, problem)


def shown(path):
    """A file's name in a message, whatever its bytes are."""
    text = os.fsencode(path).decode(errors="backslashreplace")
    return "".join(c if c.isprintable() else repr(c)[1:-1] for c in text)


def _rate_of(rows):
    """Records a second of a file, by its half hours; 0 where they do not say."""
    return max((int(row["expected"] or 0) for row in rows), default=0) // HALF_HOUR
