"""What the tests of the archive share: data files, the programs, and what must be in the archive.

A test is a method of a class that extends ArchiveTest. It writes files into folders of self.folder,
whose names are stations, loads them and calls assert_archive_has:

    def test_a_file_that_grows(self):
        path = self.data_file("mast-07", half_hour(0)[:100])
        self.load(path)
        self.data_file("mast-07", half_hour(0))
        self.load(path)
        self.assert_archive_has("mast-07")
"""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import data_files

ROOT = Path(__file__).resolve().parents[2]
START = 1700001000  # of the first half hour
RATE = 4
unittest.TestCase.maxDiff = 2000


def record(i, values=None, start=START, rate=RATE):
    """The i-th record of a half hour: seconds, nanoseconds and the values' texts."""
    seconds, part = divmod(i, rate)
    if values is None:
        values = (f"{3 + i * 7 % 90 / 100:.2f}", f"{i * 11 % 97 / 100 - 1:.2f}",
                  f"{i * 13 % 60 / 100 - 0.2:.2f}", "344.16", f"{21 + i * 17 % 80 / 100:.2f}", "0")
    return (start + seconds, part * 10**9 // rate, *values)


def half_hour(number, rate=RATE):
    return [record(i, start=START + 1800 * number, rate=rate) for i in range(1800 * rate)]


class ArchiveTest(unittest.TestCase):
    """Each class has a folder, and programs that find the archive that STORE names."""

    STORE = "--host=archive-1"

    @classmethod
    def setUpClass(cls):
        cls.folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        os.environ["SONIC_STORE"] = cls.STORE
        # Neither the server's zone nor ours is UTC, so that nobody takes the one for the other.
        os.environ["TZ"] = "America/St_Johns"

    def data_file(self, station, records, name=START, rate=RATE):
        """Returns its path."""
        folder = os.path.join(os.fsencode(self.folder), os.fsencode(station))
        os.makedirs(folder, exist_ok=True)
        path = os.path.join(folder, name if isinstance(name, bytes) else str(name).encode())
        with open(path, "w", encoding="ascii") as file:
            file.write(data_files.HEAD.format("01234", rate))
            file.writelines(data_files.line(*values) + "\n" for values in records)
        return path

    def run_program(self, *command, status=0, path=None, **arguments):
        """Returns what it prints on standard output and, where it fails, on standard error."""
        environment = os.environ | ({"PATH": f"{path}:{os.environ['PATH']}"} if path else {})
        done = subprocess.run(command, capture_output=True, env=environment, check=False,
                              **arguments)
        self.assertEqual(status, done.returncode, f"{command}: {done.stderr.decode()}")
        return (done.stderr if status else done.stdout).decode(errors="surrogateescape")

    def load(self, *arguments, **keywords):
        return self.run_program("sonic-load", *arguments, **keywords)

    def ask(self, *arguments, **keywords):
        return self.run_program("sonic-ask", *arguments, **keywords)

    def assert_archive_has(self, station, begin="0", end="9223372035.999999999", folder=None):
        """Each record of the station's files once, digit for digit, and the half hours that
        sonic-records makes of these files."""
        files = sorted((folder or self.folder / station).iterdir())
        asked = [f"station={station}", f"from={begin}", f"to={end}"]
        expected = set(self.run_program("sonic-records", "--epoch", *files).splitlines())
        found = self.ask("series", *asked).splitlines()
        self.assertEqual((len(expected), set()), (len(found), expected ^ set(found)))
        self.assertEqual(self.run_program("sonic-records", "--half-hours", *files),
                         self.ask("half_hours", *asked))


def main():
    os.environ["PATH"] = ":".join([str(ROOT / "archive"), os.environ["BUILD_TOOLS"],
                                   os.environ["PATH"]])
    unittest.main(verbosity=2)
