"""Rows of half hours in the archive. Each is computed from all records that the archive has of its
half hour, whatever files they came from."""

import time

from sonic_archive import reading
from sonic_archive.client import ArchiveError, quoted
from sonic_archive.times import HALF_HOUR, NANOSECONDS, iso_text

REPLICA_SECONDS = 60     # after which a replica has what another one took
RANGES_AT_ONCE = 100     # in one query
HALF_HOURS_AT_ONCE = 48  # a day's records are read in one go
# The row of more records wins, whichever of two loaders stores its row last; of as many, the later.
VERSIONS_PER_RECORD = 10**10
HEADER_LINE = b"DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk\n"


def store(archive, station, starts, rows=(), options=()):
    """Stores the rows of the half hours that begin at `starts`. Of `rows`, which files gave, those
    are taken that have all records that the archive has; the other half hours are computed from the
    archive's records. Call it when the records are stored, so that the loader that stores the last
    ones sees them all. Returns the number of rows."""
    extents = _complete_extents(archive, station, starts, rows)
    fitting = {row.start: row for row in rows if row.records == extents[row.start][0]}
    for row in _from_records(archive, station, extents.keys() - fitting.keys(), options):
        fitting[row.start] = row
    now = int(time.time())
    for columns in {tuple(row.columns) for row in fitting.values()}:
        names = ("station", "seconds", "version", "first", "last", "last_second", *columns)
        archive.insert(f"half_hours ({', '.join(names)})", (
            _table_row(station, row, extents[start], now) for start, row in fitting.items()))
    return len(fitting)


def recompute(archive, station, span, options=()):
    """Computes the rows of a span, in nanoseconds, from the archive's records. Returns their
    number."""
    starts = [int(row[0]) for row in archive.rows(f"""
        SELECT DISTINCT intDiv(seconds, {HALF_HOUR}) * {HALF_HOUR} AS start FROM records
        WHERE station = {quoted(station)} AND time >= {span[0]} AND time < {span[1]}
        ORDER BY start""")]
    for some in _pieces(starts, HALF_HOURS_AT_ONCE):
        store(archive, station, some, options=options)
    return len(starts)


def _table_row(station, row, extent, now):
    records, first, last = extent
    cells = [station, str(row.start), str(records * VERSIONS_PER_RECORD + now), iso_text(first),
             iso_text(last), str(last // NANOSECONDS), *row.cells]
    return "\t".join(cells).encode() + b"\n"


def _complete_extents(archive, station, starts, rows):
    """_extents() that have at least the records of `rows`. A replica that has just taken over may
    lack some of them for a moment."""
    end = time.monotonic() + REPLICA_SECONDS
    while True:
        extents = _extents(archive, station, starts)
        if all(row.start in extents and row.records <= extents[row.start][0] for row in rows):
            return extents
        if time.monotonic() > end:
            raise ArchiveError(f"records of {station} that were stored are not there")
        time.sleep(1)


def _extents(archive, station, starts):
    """Of each half hour with records, by its start: how many, time of the first and the last."""
    extents = {}
    for runs in _pieces(_ranges(starts), RANGES_AT_ONCE):
        for row in archive.rows(f"""
                SELECT intDiv(seconds, {HALF_HOUR}) * {HALF_HOUR} AS start, count(), min(time),
                  max(time)
                FROM records FINAL WHERE {_condition(station, runs)} GROUP BY start"""):
            start, *extent = map(int, row)
            extents[start] = extent
    return extents


def _from_records(archive, station, starts, options):
    """Rows computed from the archive's own records."""
    for some in _pieces(sorted(starts), HALF_HOURS_AT_ONCE):
        with archive.lines(f"""
                SELECT rate, seconds, nanoseconds,
                  sent[1], sent[2], sent[3], sent[4], sent[5], sent[6]
                FROM records FINAL WHERE {_condition(station, _ranges(some))}
                ORDER BY seconds, nanoseconds""") as rows:
            yield from reading.half_hours_of_lines(_data_lines(rows), options)


def _data_lines(rows):
    """The archive's records as lines of a data file."""
    rate_before = None
    for row in rows:
        rate, record = row.rstrip(b"\n").split(b"\t", 1)
        if rate != rate_before:  # it counts only if a header line follows
            yield b"Rate\t" + rate + b"\n" + HEADER_LINE
            rate_before = rate
        line = b"DATA_SONIC\t" + record + b"\t"
        yield b"%b%3d\n" % (line, sum(line) % 256)


def _condition(station, runs):
    of_runs = " OR ".join(f"seconds >= {first} AND seconds < {end}" for first, end in runs)
    return f"station = {quoted(station)} AND ({of_runs})"


def _ranges(starts):
    """Half hours that follow each other as one range: its first second and that after its end."""
    runs = []
    for start in sorted(starts):
        if runs and runs[-1][1] == start:
            runs[-1][1] = start + HALF_HOUR
        else:
            runs.append([start, start + HALF_HOUR])
    return runs


def _pieces(values, size):
    return [values[i:i + size] for i in range(0, len(values), size)]
