"""What sonic-records says of data files."""

import subprocess
import tempfile
from dataclasses import dataclass

from sonic_archive.times import NANOSECONDS, parse_time

BLOCK = 1 << 20
PROGRAM = "sonic-records: "


@dataclass
class HalfHour:
    """A row of sonic-records --half-hours."""

    columns: list  # their names
    cells: list    # the texts as they were printed

    def __getitem__(self, column):
        return self.cells[self.columns.index(column)]

    @property
    def start(self):
        """In seconds since 1970."""
        return parse_time(self["start"]) // NANOSECONDS

    @property
    def records(self):
        """With and without a fault."""
        return int(self["records"]) + int(self["faults"])


def half_hours_of_file(path, options=()):
    """Its half hours as they are in this file alone, and what is wrong with the file, if
    anything."""
    done = subprocess.run(
        [b"sonic-records", b"--half-hours", *map(str.encode, options), b"--", path],
        capture_output=True, check=False)
    rows = _half_hours(done.stdout.decode())
    return rows, _reason(done.stderr, path) if done.returncode else None


def half_hours_of_lines(lines, options=()):
    """Half hours of a data file whose lines are given as blocks of bytes."""
    with tempfile.TemporaryFile("w+") as table:
        with subprocess.Popen(["sonic-records", "--half-hours", *options],
                              stdin=subprocess.PIPE, stdout=table) as process:
            process.stdin.writelines(lines)
        table.seek(0)
        return _half_hours(table.read())


def records(path, prefix):
    """The good records of a file as rows without a header, each with `prefix` before its seconds,
    in blocks of bytes."""
    with subprocess.Popen([b"sonic-records", b"--epoch", b"--", path],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
        process.stdout.readline()
        rest = b""
        while block := process.stdout.read(BLOCK):
            lines, end, rest = (rest + block).rpartition(b"\n")
            if end:
                yield prefix + lines.replace(b"\n", b"\n" + prefix) + end


def _half_hours(table):
    rows = [line.split("\t") for line in table.splitlines()]
    return [HalfHour(rows[0], cells) for cells in rows[1:]]


def _reason(errors, path):
    """The last complaint, without the names of the program and the file."""
    lines = errors.decode(errors="backslashreplace").strip().splitlines() or ["cannot be read"]
    name = path.decode(errors="backslashreplace")
    return lines[-1].removeprefix(PROGRAM).removeprefix(f"{name}: ")
