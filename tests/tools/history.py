"""What sonicd-history writes of a logger's files: history.py BUILD-FOLDER"""

import json
import os
import resource
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

import data_files
from data_files import HALF_HOUR

TOOLS = Path(sys.argv.pop(1)) / "tools"
NOW = int(time.time())
THIS = NOW // HALF_HOUR * HALF_HOUR  # the half hour that is not over
DAYS = 8 * 86400
READER = """#!/bin/sh
printf '%s\\n' "$*" >>{calls}
exec {program} "$@"
"""


class HistoryTest(unittest.TestCase):

    def setUp(self):
        held = tempfile.TemporaryDirectory()
        self.addCleanup(held.cleanup)
        self.top = Path(held.name)
        self.device = self.top / "device"
        self.device.mkdir()
        self.calls = self.top / "calls"
        reader = self.top / "sonic-records"
        reader.write_text(READER.format(calls=self.calls, program=TOOLS / "sonic-records"))
        reader.chmod(0o755)
        self.command = [TOOLS / "sonicd-history", "--output", self.top / "stations.json",
                        "--cache", self.top / "cache", "--settings", self.top / "settings"]
        self.environment = {**os.environ, "PATH": f"{self.top}:{os.environ['PATH']}"}

    def run_history(self, *folders, status=0, **others):
        """Returns what it wrote on standard error, and how often files were read."""
        self.calls.write_text("")
        done = subprocess.run([*self.command, *(folders or [self.device])], text=True,
                              env=self.environment, stderr=subprocess.PIPE, **others)
        self.assertEqual(status, done.returncode, done.stderr)
        return done.stderr, len(self.calls.read_text().splitlines())

    def station(self):
        (station,) = json.loads((self.top / "stations.json").read_text())["stations"]
        return station

    def half_hours(self):
        (instrument,) = self.station()["instruments"]
        return instrument["half_hours"]

    def printed(self, *paths):
        return subprocess.run(
            [TOOLS / "sonic-records", "--half-hours", "--format", "csv", *paths], text=True,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.splitlines()

    def write(self, start, *arguments):
        return data_files.write(self.device, start, *arguments)

    def test_a_week_with_bad_files(self):
        """Rows are those of sonic-records; what is bad, old or not over is left out."""
        good = [self.write(THIS - k * HALF_HOUR) for k in (1, 2, 5, 300)]
        both = self.write(THIS - 6 * HALF_HOUR)
        subprocess.run(["gzip", "-k", both], check=True)
        turned_back = self.write(THIS - 3 * HALF_HOUR, data_files.text(THIS - 3 * HALF_HOUR, 900) +
                                 data_files.text(THIS - 5 * HALF_HOUR - 60, 120))
        self.write(THIS)
        self.write(THIS + HALF_HOUR)  # a clock that was ahead
        self.write(THIS - DAYS - HALF_HOUR)
        bad = THIS - 20 * HALF_HOUR
        self.write(bad, "")
        self.write(bad - HALF_HOUR, "\0\xff" * 5000)
        os.mkfifo(self.device / f"{bad - 3 * HALF_HOUR}.young_81000_v.01234")
        (self.device / f"{bad - 4 * HALF_HOUR}.young_81000_v.01234").symlink_to("nowhere")
        (self.device / f"{bad - 5 * HALF_HOUR}.young_81000_v.01234").mkdir()
        (self.device / f"{bad - 6 * HALF_HOUR}.young_81000_v.01234.zst").write_text("torn")
        (self.device / "notes.txt").write_text("none")

        messages, _ = self.run_history(self.device, self.top / "missing")
        self.assertEqual(7, len(self.half_hours()))
        self.assertEqual(self.printed(*good, both, turned_back), self.half_hours())
        for name in str(bad), str(bad - HALF_HOUR), str(bad - 6 * HALF_HOUR), "missing":
            self.assertIn(name, messages)

        # Nothing is read again, and nothing said again, but of what changes and is new.
        before = self.half_hours()
        messages, calls = self.run_history()
        self.assertEqual((0, before, ""), (calls, self.half_hours(), messages))
        with open(good[0], "a") as file:
            file.write(data_files.text(THIS - 60, 30))
        _, calls = self.run_history()
        self.assertEqual(1, calls)
        self.assertEqual(self.printed(*good, both, turned_back), self.half_hours())

    def test_names_ports_and_settings(self):
        """The port is that of the daemon that wrote last to the folder, also when it has ended."""
        self.write(THIS - HALF_HOUR)
        data_files.write(self.device, THIS - 9 * HALF_HOUR, serial_number="0.9 \u00b5")
        second = self.top / "device-ttyS2"
        second.mkdir()
        data_files.write(second, THIS - DAYS * 2, serial_number="5")
        (self.device / "ttyS4.json").write_text("{}")
        self.run_history(self.device, second)
        (self.top / "settings").write_text(json.dumps({
            "name": "mast-07", "options": ["--height", "3.2"],
            "instruments": [{"serial_number": "01234", "mounting_angle": 12}]}))
        for _ in range(2):
            self.run_history(self.device, second)
            station = self.station()
            self.assertEqual("mast-07", station["name"])
            self.assertEqual(
                [("01234", "4", 12, 2), ("0.9 \u00b5", "4", None, 2), ("5", "2", None, 1)],
                [(i["serial_number"], i["port"], i.get("mounting_angle"), len(i["half_hours"]))
                 for i in station["instruments"]])
            (self.device / "ttyS4.json").unlink(missing_ok=True)
        row = station["instruments"][0]["half_hours"][1]
        self.assertNotIn(",,", row[-9:])  # L and zL, from the height
        (room,) = station["room"]
        self.assertEqual((str(self.device), room["free_bytes"] // room["day_bytes"]),
                         (room["folder"], room["days"]))

        (self.top / "settings").write_text('{"options": ["--period", "1min"]}')
        before = (self.top / "stations.json").read_text()
        messages, _ = self.run_history(status=1)
        self.assertIn("--period", messages)
        self.assertEqual(before, (self.top / "stations.json").read_text())

    def test_no_logger(self):
        """Without data files, a file from elsewhere stays; what a logger wrote itself does not."""
        (self.top / "stations.json").write_text("{}")
        self.run_history()
        self.assertEqual("{}", (self.top / "stations.json").read_text())
        file = self.write(THIS - HALF_HOUR)
        self.run_history()
        file.unlink()
        self.run_history()
        self.assertEqual([], self.station()["instruments"])

    def test_killed_at_any_moment(self):
        """The file is always one of a whole run, and the next run ends the work."""
        for k in range(1, 5):
            self.write(THIS - k * HALF_HOUR)
        self.run_history()
        whole = self.half_hours()
        for attempt in range(20):
            if attempt % 3 == 0:
                (self.top / "cache").unlink()
            running = subprocess.Popen([*self.command, self.device], env=self.environment,
                                       stderr=subprocess.DEVNULL)
            time.sleep(attempt * 0.02)
            running.kill()
            running.wait()
            self.assertEqual(whole, self.half_hours())
            if attempt % 5 == 0:
                (self.top / "cache").write_text("torn")
            self.run_history()
            self.assertEqual(whole, self.half_hours())
        # On a full disk the old one stays, too.
        with open(self.device / f"{THIS - HALF_HOUR}.young_81000_v.01234", "a") as file:
            file.write(data_files.text(THIS - 60, 30))
        full = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (99, 99))}
        self.run_history(status=1, **full)
        self.assertEqual(whole, self.half_hours())
        self.assertEqual([], [*self.top.glob(".*")])


if __name__ == "__main__":
    unittest.main()
