"""Tests of a logger that is emulated whole: processor, kernel, drivers, systemd, the package.

A test is a method `test_NAME` of a class that extends MachineTest, in one of the files test_*.py.
It begins on a machine of its own on which `apt install` has just ended, with the instrument's
serial number entered:

    def test_silent_for_a_while(self):
        self.attach("--pause 100:3")                # options of the simulated instrument at ttyS1
        self.run("systemctl enable --now sonicd@ttyS1")
        self.wait_for_records(200)
        self.assert_recorded(gaps=1)

self.run(SCRIPT) returns the output of a bash script that root runs there, and the test fails where
the script does. self.plug(OPTIONS) plugs an FTDI adapter with an instrument in. `script/machine
test NAME` runs a test, and shows the machine's journal if it fails. A test that .ci/run does
without, which should take five minutes in all, is marked @long.
"""

import json
import shutil
import tempfile
import time
import unittest
from pathlib import Path

from image import CACHE, ROOT
from installed import Installed
from instrument import Lines

HOME = "/home/qelta/device"
SERIAL_NUMBER = "00815"
TOPIC = "/home/qelta/device/port/1"
ADAPTER = "/dev/serial/by-id/usb-QEMU_QEMU_USB_SERIAL_{}-if00-port0"
START = 1700002800 + 600  # of a run's stamps at a UART: minutes into a half hour
SET_UP_SECONDS = 900      # an emulated processor is slow, and may have others beside it


def long(test):
    test.is_long = True
    return test


class MachineTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="test-", dir=CACHE))
        self.addCleanup(shutil.rmtree, self.folder)
        self.installed = Installed.from_environment()
        self.guest = self.installed.guest(self.folder)
        self.lines = Lines(self.guest)
        self.addCleanup(self._end)
        self.run(f"sed -i s/unknown/{SERIAL_NUMBER}/ {HOME}/config.json")

    def run(self, script=None, seconds=SET_UP_SECONDS):
        if script is None or isinstance(script, unittest.TestResult):
            return super().run(script)
        return self.guest.run(script, seconds)

    def start(self, command, log="/dev/null"):
        """Starts a program that goes on, with all its output in a file of the guest."""
        self.run(f"setsid {command} >{log} 2>&1 </dev/null &")

    def _end(self):
        outcome = self._outcome.result
        if any(test is self for test, _ in outcome.errors + outcome.failures):
            print(self.guest.result(self.guest.start(
                "systemctl --failed; journalctl -q --no-pager | tail -n 80"))[1])
        self.guest.cut_power()
        self.lines.end()

    # What is at the machine's ports

    def attach(self, options="", line=1, start=START):
        """A simulated instrument at a UART, with the port driver's stamps from `start` on."""
        return self.lines.attach(f"--start {start} {options}", line)

    def plug(self, options="--raw", serial_number="A1"):
        """An adapter with a simulated instrument, whose own line has no stamps. Returns the
        instrument, and what unplug() wants."""
        instrument = self.lines.instrument(options)
        return instrument, self.lines.plug(instrument, serial_number)

    def unplug(self, adapter):
        self.lines.unplug(adapter)

    def use_adapter(self, serial_number="A1"):
        """Has an adapter stand in for ttyS1 from the next start on, plugged in or not."""
        self.run(f"echo DEVICE={ADAPTER.format(serial_number)} >/etc/default/sonic-port-ttyS1; "
                 "install -D -m 644 -t /etc/systemd/system/sonicd@ttyS1.service.d "
                 "/usr/share/sonicd/sonic-port.conf; "
                 "systemctl enable sonic-port@ttyS1 sonicd@ttyS1")

    def boot_again(self, *options):
        """As after a power cut: on the disk as it is, with nothing at its ports. The options are
        QEMU's."""
        self.lines.end()
        self.guest.cut_power()
        self.guest = self.installed.booted(self.guest.disk, self.folder, options=options)
        self.lines = Lines(self.guest)

    def reboot(self):
        """By systemctl. The agent answers until the services end, so the emulator's word counts."""
        monitor = self.guest.monitor
        monitor.socket.settimeout(SET_UP_SECONDS)
        self.guest.start("systemctl reboot")
        while json.loads(monitor.lines.readline()).get("event") != "RESET":
            pass
        self.guest.wait_until_up()

    # What users do

    def documented(self, document, command, **put_in):
        """Runs a command as a document gives it, with these words instead of others."""
        text = (ROOT / "doc" / document).read_text()
        self.assertIn(command, text)
        for word, other in put_in.items():
            command = command.replace(word, other)
        return self.run(command)

    # What is seen

    def wait_until(self, script, seconds=SET_UP_SECONDS):
        """Until a script succeeds."""
        self.run(f"until {{ {script}; }} >/dev/null 2>&1; do sleep 0.3; done", seconds)

    def summary(self, folder=HOME, since=0):
        """What sonic-records says of the data files, with the counts added up."""
        text = self.run(f"cd {folder} && sonic-records --summary --format json --from {since} "
                        "[0-9]*.young_81000_v.* || true")
        files = [json.loads(line) for line in text.splitlines() if line.startswith("{")]
        lasts = [file["last"] for file in files if file["last"]]
        total = {"files": [file["file"] for file in files], "last": max(lasts, default="")}
        for what in ("records", "expected", "gaps", "failed", "errors", "left_out", "restarts"):
            total[what] = sum(file[what] or 0 for file in files)
        return total

    def wait_for_records(self, count, folder=HOME, since=0, seconds=SET_UP_SECONDS):
        end = time.monotonic() + seconds
        while self.summary(folder, since)["records"] < count:
            self.assertLess(time.monotonic(), end, f"no {count} records in {seconds} s")
            time.sleep(1)

    def assert_recorded(self, folder=HOME, since=0, **others):
        """Each record that the instrument sent with a stamp is in the files, and there is nothing
        else but so many restarts=, gaps=, errors= and the like."""
        seen = self.summary(folder, since)
        if not others:
            self.assertEqual(seen["expected"], seen["records"])
        for what in ("gaps", "failed", "errors", "left_out", "restarts"):
            self.assertEqual(others.get(what, 0), seen[what], what)

    def assert_count(self, count, since=0):
        """So many records have been sent, by an instrument with the option --records, and each is
        in a file. Before them there may be one more: it shows that the menu has been left."""
        seen = self.summary(since=since)
        self.assertIn(seen["records"], (count, count + 1))
        self.assertEqual((0, 0, 0), (seen["failed"], seen["errors"], seen["left_out"]))

    def journal(self, unit):
        return self.run(f"journalctl -q --no-pager -o cat -u {unit}")
