"""The daemon with its instrument, broker and subscriber, inside a private device (script/device)."""

import os
import re
import signal
import subprocess
import threading
import time
import unittest
from pathlib import Path

HOME = Path(os.environ["DEVICE_HOME"])
RUN = Path(os.environ["DEVICE_RUN"])
PORT = Path("/dev/ttyS1")
TYPE_ATTRIBUTE = Path("/sys/class/tty/ttyS1/sonic_type")
POWER_LINE = Path("/sys/class/gpio/gpio13/value")
INFO_FILE = HOME / "ttyS1.json"
TOPIC = "/home/qelta/device/port/1"
HEADER = "DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk"
COLUMNS = HEADER.split("\t")


class Process:
    """A running program. Its output is collected with the time at which each piece arrived."""

    all = []

    def __init__(self, *command):
        self.command = [str(c) for c in command]
        self.pieces = []
        self.changed = threading.Condition()
        self.popen = subprocess.Popen(self.command, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.reader = threading.Thread(target=self._collect, daemon=True)
        self.reader.start()
        Process.all.append(self)

    def _collect(self):
        while piece := os.read(self.popen.stdout.fileno(), 65536):
            with self.changed:
                self.pieces.append((time.time(), piece.decode("latin-1")))
                self.changed.notify_all()

    @property
    def output(self):
        return "".join(text for _, text in list(self.pieces))

    def wait_for(self, text, count=1, seconds=90):
        with self.changed:
            if not self.changed.wait_for(lambda: self.output.count(text) >= count, seconds):
                raise AssertionError(f"{self.command[0]}: no {text!r} x {count} in {seconds} s")

    def end(self, sig=None, seconds=30):
        """Sends the signal, if any, and returns the exit status when all output has been read."""
        if sig:
            self.popen.send_signal(sig)
        status = self.popen.wait(seconds)
        self.reader.join(5)
        return status

    def report(self):
        print(f"\n--- {' '.join(self.command)} (status {self.popen.poll()})")
        for when, text in self.pieces:
            for line in text.splitlines():
                print(f"{when % 1000:7.2f} {line!r}"[:300])


class Subscriber(Process):
    """Hears everything that the broker sends, each message as (topic, text)."""

    def __init__(self):
        # Version 5 lets a subscriber see the retain flag that the publisher set.
        super().__init__("mosquitto_sub", "-h", "::1", "-V", "5", "--retain-as-published", "-q", "1",
                         "-t", "#", "-F", "q%q r%r %t|%p")
        probe = str(time.time())
        while probe not in self.output:
            subprocess.run(["mosquitto_pub", "-h", "::1", "-t", "probe", "-m", probe], check=True)
            time.sleep(0.05)

    def texts(self, subtopic=""):
        start = f"q1 r1 {TOPIC}{subtopic}|"
        return [line[len(start):] for line in self.output.splitlines() if line.startswith(start)]


class DeviceTest(unittest.TestCase):
    maxDiff = None

    def simulator(self, *options):
        process = Process(os.environ["SIMULATOR"], "--link", PORT, *options)
        for _ in range(100):
            if PORT.exists():
                return process
            time.sleep(0.05)
        raise AssertionError("the simulated instrument did not link its port")

    def sonicd(self, *options):
        return Process(os.environ["SONICD"], *options)

    def broker(self):
        process = Process("mosquitto", "-c", os.environ["DEVICE_BROKER_CONF"])
        while subprocess.run(["mosquitto_pub", "-h", "::1", "-t", "probe", "-m", ""],
                             stderr=subprocess.DEVNULL).returncode:
            time.sleep(0.05)
        return process

    def data_files(self):
        return {p.name: p.read_bytes() for p in HOME.glob("*.young_81000_v.*")}

    def assert_released(self, attribute):
        """What the program leaves when it ends. A plain file collects all that the attribute was."""
        self.assertFalse(INFO_FILE.exists())
        self.assertEqual(("0\n", attribute), (POWER_LINE.read_text(), TYPE_ATTRIBUTE.read_text()))


def xor(data):
    check = 0
    for byte in data:
        check ^= byte
    return check


def framed(sec, nsec, data):
    """One record as the port delivers it, without its end."""
    stamp = b"%d.%09d," % (sec, nsec)
    return b"%s%02x,%s %02x" % (stamp, xor(stamp), data, xor(data))


def data_line(sec, nsec, values):
    line = "\t".join(["DATA_SONIC", str(sec), str(nsec), *values, ""])
    return line + f"{sum(line.encode()) % 256:3d}"


def payload(line):
    fields = dict(zip(COLUMNS, line.split("\t")))
    fields["diag"] = f'"{fields["diag"]}"'
    return "{ " + ", ".join(f'"{k}" : {fields[k]}' for k in COLUMNS[1:-1]) + " }"


def first_of_each_second(lines):
    return [b for a, b in zip([""] + lines, lines) if a.split("\t")[1:2] != b.split("\t")[1:2]]


RECORD = re.compile(rb"((\d+)\.(\d+),)([0-9a-fA-F]{2}),((?: *-?\d+\.\d+){5} +\d+)  *([0-9a-fA-F]{2})")


def data_files_for(port_input, top):
    """What the daemon makes of port input: its data files, and the data lines in their order."""
    files, lines, switch, name = {}, [], 0, None
    for raw in port_input.split(b"\r")[:-1]:
        match = RECORD.fullmatch(raw)
        good = match and xor(match[1]) == int(match[4], 16) and xor(match[5]) == int(match[6], 16)
        if good and int(match[2]) >= switch:
            start = int(match[2]) // 1800 * 1800
            switch, name = start + 1800, f"{start}.young_81000_v.01234"
            files[name] = (top + HEADER + "\n").encode()
        if good:
            lines.append(data_line(int(match[2]), int(match[3]), match[5].decode().split()))
            files[name] += lines[-1].encode() + b"\n"
        elif name:
            files[name] += b"DATAERRORH\ttext\nDATAERROR\t" + raw + b"\n"
    return files, lines


def main():
    program = unittest.main(exit=False, verbosity=2)
    if not program.result.wasSuccessful():
        for process in Process.all:
            process.report()
    raise SystemExit(not program.result.wasSuccessful())
