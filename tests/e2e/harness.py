"""The daemon, its instrument, broker and subscriber inside a private device (script/device)."""

import os
import pwd
import re
import subprocess
import threading
import time
import unittest
from pathlib import Path

HOME = Path(os.environ["DEVICE_HOME"])
RUN = Path(os.environ["DEVICE_RUN"])
USER = pwd.getpwnam("qelta").pw_uid
GPIO = {1: 13, 2: 66, 4: 9}
HEADER = "DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk"
COLUMNS = HEADER.split("\t")
unittest.TestCase.maxDiff = None


class Process:
    """A running program. Its output is collected with the time at which each piece arrived."""

    all = []

    def __init__(self, *command):
        self.command = [str(c) for c in command]
        self.pieces = []
        self.popen = subprocess.Popen(self.command, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.reader = threading.Thread(target=self._collect, daemon=True)
        self.reader.start()
        Process.all.append(self)

    def _collect(self):
        while piece := os.read(self.popen.stdout.fileno(), 65536):
            self.pieces.append((time.time(), piece.decode("latin-1")))

    @property
    def output(self):
        return "".join(text for _, text in list(self.pieces))

    def wait_for(self, text, count=1, seconds=120):
        end = time.time() + seconds
        while self.reader.is_alive() and time.time() < end and self.output.count(text) < count:
            time.sleep(0.05)
        if self.output.count(text) < count:
            raise AssertionError(f"{self.command}: no {text!r} x {count}")

    def end(self, sig=None, seconds=60):
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


class Broker(Process):
    def __init__(self):
        super().__init__("mosquitto", "-c", Path(__file__).with_name("broker.conf"))
        while subprocess.run(["mosquitto_pub", "-h", "::1", "-t", "probe", "-m", ""],
                             stderr=subprocess.DEVNULL).returncode:
            time.sleep(0.05)


class Subscriber(Process):
    """Hears everything that the broker sends, each message as (topic, text)."""

    def __init__(self):
        # Version 5 lets a subscriber see the retain flag that the publisher set. What it misses
        # while the broker is away, the broker keeps.
        super().__init__("mosquitto_sub", "-h", "::1", "-V", "5", "--retain-as-published",
                         "-q", "1", "-t", "#", "-F", "q%q r%r %t|%p",
                         "-i", "me", "-c", "-x", "3600")
        probe = str(time.time())
        while probe not in self.output:
            subprocess.run(["mosquitto_pub", "-h", "::1", "-t", "probe", "-m", probe], check=True)
            time.sleep(0.05)

    def texts(self, topic):
        start = f"q1 r1 {topic}|"
        return [line[len(start):] for line in self.output.splitlines() if line.startswith(start)]


class Port:
    """A serial port and what belongs to it. `home` is the folder that its daemon finds at HOME."""

    def __init__(self, number=1, home=HOME):
        self.name = f"ttyS{number}"
        self.home = home
        self.device = Path("/dev", self.name)
        self.attribute = Path(f"/sys/class/tty/{self.name}/sonic_type")
        self.power = Path(f"/sys/class/gpio/gpio{GPIO[number]}/value")
        self.info = home / f"{self.name}.json"
        self.topic = f"/home/qelta/device/port/{number}"

    def simulator(self, *options):
        process = Process(os.environ["SIMULATOR"], "--link", self.device, *options)
        process.wait_for("linked as")
        return process

    def sonicd(self, *options):
        return Process("unshare", "--mount", "sh", "-c",
                       f'mount --bind {self.home} {HOME} && exec "$0" "$@"', os.environ["SONICD"],
                       "-p", self.name, *options)

    def data_files(self):
        return {p.name: p.read_bytes() for p in sorted(self.home.glob("*.young_81000_v.*"))}

    def left(self):
        """What the daemon leaves when it ends. A plain file collects all that the attribute was."""
        return self.info.exists(), self.power.read_text(), self.attribute.read_text()


def data_line(sec, nsec, values):
    line = "\t".join(["DATA_SONIC", str(sec), str(nsec), *values, ""])
    return line + f"{sum(line.encode()) % 256:3d}"


def payload(line):
    fields = dict(zip(COLUMNS, line.split("\t")))
    fields["diag"] = f'"{fields["diag"]}"'
    return "{ " + ", ".join(f'"{k}" : {fields[k]}' for k in COLUMNS[1:-1]) + " }"


def first_of_each_second(lines):
    return [b for a, b in zip([""] + lines, lines) if a.split("\t")[1:2] != b.split("\t")[1:2]]


def main():
    program = unittest.main(exit=False, verbosity=2)
    if not program.result.wasSuccessful():
        for process in Process.all:
            process.report()
    raise SystemExit(not program.result.wasSuccessful())
