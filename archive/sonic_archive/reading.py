"""What sonic-records says of data files."""

import subprocess
import tempfile
from dataclasses import dataclass

from sonic_archive.times import NANOSECONDS, parse_time

BLOCK = 1 << 20
PROGRAM = "sonic-records: "


def reason(errors, path):
    """The last line of the program's complaints, without its name and the file's."""
    lines = errors.decode(errors="backslashreplace").strip().splitlines() or ["cannot be read"]
    name = path.decode(errors="backslashreplace")
    return lines[-1].removeprefix(PROGRAM).removeprefix(f"{name}: ")


@dataclass
class HalfHour:
    """A row of sonic-records --half-hours."""

    columns: list  # names of its cells
    cells: list    # texts as they were printed

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


def half_hours(lines):
    """Rows of a table with a head."""
    table = [line.split("\t") for line in lines]
    return [HalfHour(table[0], cells) for cells in table[1:]] if table else []


def half_hours_of_file(path, options=()):
    """What each half hour with a record of this file looks like, from this file alone. Returns the
    rows, and what is wrong with the file, if anything."""
    done = subprocess.run([b"sonic-records", b"--half-hours", *map(str.encode, options), b"--", path],
                          capture_output=True, check=False)
    rows = half_hours(done.stdout.decode().splitlines())
    return rows, reason(done.stderr, path) if done.returncode else None


def half_hours_of_lines(lines, options=()):
    """The same of the lines of a data file, which `lines` yields in blocks of bytes."""
    with tempfile.TemporaryFile("w+") as table:
        process = subprocess.Popen(["sonic-records", "--half-hours", *options],
                                   stdin=subprocess.PIPE, stdout=table)
        with process:
            for block in lines:
                process.stdin.write(block)
        table.seek(0)
        return half_hours(table.read().splitlines())


def records(path, prefix):
    """The good records of a file as rows without a head, each with `prefix` before its seconds, in
    blocks of bytes."""
    process = subprocess.Popen([b"sonic-records", b"--epoch", b"--", path],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    rest = b""
    with process:
        process.stdout.readline()
        while block := process.stdout.read(BLOCK):
            lines, end, rest = (rest + block).rpartition(b"\n")
            if end:
                yield prefix + lines.replace(b"\n", b"\n" + prefix) + end
