"""End-to-end tests: the real programs, a real broker and a subscriber in a private device.

A test is a method `test_NAME` of a class that extends DeviceTest, in a file that ends in main() and
has a line in CMakeLists.txt. It runs in a device of its own (script/device) beside all others:

    def test_pause(self):
        self.start("--pause 50:2.5 --records 100")         # options of the simulator
        self.assert_status("Disconnected", "Connected", "Disconnected")
        self.interrupt()
        self.assert_recorded(records(50) + records(50, after=50 / 32 + 2.5))

`script/test -R NAME -V` shows all that its programs printed. self.broker and self.subscriber run
already; self.port is ttyS1. Port(2).simulator("--baud 9600"), Port(2).sonicd("-c") and
Process("any", "other", "program") start more.
"""

import os
import pwd
import re
import shutil
import signal
import subprocess
import threading
import time
import unittest
from itertools import groupby
from pathlib import Path

import data_files

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("BUILD", ROOT / "build/default"))
SONICD = BUILD / "src/sonicd"
SIMULATOR = BUILD / "simulator/sonic-simulator"
HOME = Path(os.environ["DEVICE_HOME"])
RUN = Path(os.environ["DEVICE_RUN"])
USER = pwd.getpwnam("qelta").pw_uid
GPIO = {1: 13, 2: 66, 4: 9}  # by port
COLUMNS = "DATA_SONICH SECONDS NANOSECONDS u v w sos ts diag chk".split()
SET_UP = ["Connecting (no data)", "Info trying 38400", "Connecting (got data)",
          "Info connected at 38400 baud", "Configuring", "Connected"]  # texts on the status topic
START = 1700002000  # stamp of a run's first record, in seconds
FIRST_FILE = HOME / "1700001000.young_81000_v.01234"  # named after the half hour of START
os.environ["PATH"] = f"{BUILD}/src:{BUILD}/port:" + os.environ["PATH"]
SKIPPED = 77  # exit status, as script/device has it
unittest.TestCase.maxDiff = None


class Process:
    """A running program. Its output is collected with the time at which each piece arrived."""

    all = []

    def __init__(self, *command):
        self.command = [str(c) for c in command]
        self.pieces = []
        self.popen = subprocess.Popen(self.command, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                      start_new_session=True)  # as a supervisor starts it
        self.pid = self.popen.pid
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

    def signal(self, sig):
        self.popen.send_signal(sig)

    def end(self, sig=None, seconds=60):
        """Sends the signal, if any, and returns the exit status when all output has been read."""
        if sig:
            self.signal(sig)
        status = self.popen.wait(seconds)
        self.reader.join(5)
        return status

    def report(self):
        print(f"\n--- {' '.join(self.command)} (status {self.popen.poll()})")
        for when, text in self.pieces:
            for line in text.splitlines():
                print(f"{when % 1000:7.2f} {line!r}"[:300])


class Broker(Process):
    def __init__(self, configuration=Path(__file__).with_name("broker.conf")):
        super().__init__("mosquitto", "-c", configuration)
        while subprocess.run(["mosquitto_pub", "-h", "::1", "-t", "probe", "-m", ""],
                             stderr=subprocess.DEVNULL).returncode:
            time.sleep(0.05)


class Subscriber(Process):
    """Hears everything that the broker sends."""

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

    def heard(self, topic, count=0):
        """The texts on this topic, with QoS 1 and retained, in order, once there are so many."""
        start = f"q1 r1 {topic}|"
        self.wait_for("\n" + start, count)
        return [line[len(start):] for line in self.output.split("\n") if line.startswith(start)]


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

    def simulator(self, options=""):
        process = Process(SIMULATOR, "--link", self.device, "--start", START, *options.split())
        process.wait_for("linked as")
        return process

    def sonicd(self, options=""):
        elsewhere = ["unshare", "--mount", "sh", "-c",
                     f'mount --bind {self.home} {HOME} && exec "$0" "$@"']
        return Process(*([] if self.home == HOME else elsewhere),
                       SONICD, "-p", self.name, *options.split())

    def left(self):
        """What the daemon leaves when it ends. A plain file collects all that the attribute was."""
        return self.info.exists(), self.power.read_text(), self.attribute.read_text()


def another_port(number, kind=Port):
    """A port whose daemon has a folder of its own."""
    home = RUN / f"device{number}"
    shutil.copytree(HOME, home)
    shutil.chown(home, USER)
    return kind(number, home)


def records(count, after=0, rate=32):
    """The stamps of this many records, the first of them `after` seconds after START."""
    first = START * 10**9 + round(after * 10**9)
    return [divmod(first + k * 10**9 // rate, 10**9) for k in range(count)]


def stamp(line):
    return tuple(int(field) for field in line.split("\t")[1:3])


def payload(line):
    """What is published for a data line."""
    fields = dict(zip(COLUMNS, line.split("\t")))
    fields["diag"] = f'"{fields["diag"]}"'
    return "{ " + ", ".join(f'"{k}" : {fields[k]}' for k in COLUMNS[1:-1]) + " }"


class DeviceTest(unittest.TestCase):

    def setUp(self):
        self.broker = Broker()
        self.subscriber = Subscriber()
        self.port = Port()

    def start(self, simulator="", daemon=""):
        """Starts both, with these options."""
        self.instrument = self.port.simulator(simulator)
        self.daemon = self.port.sonicd(daemon)

    def interrupt(self, message="sampling\n"):
        """Ends the daemon as a user does, while its instrument has power."""
        self.assertEqual("1\n", self.port.power.read_text())
        self.daemon.signal(signal.SIGINT)
        self.assert_end(message, seconds=5)

    def assert_end(self, message, seconds=200):
        """The daemon ends with this message, a pattern, and puts everything back."""
        self.assertEqual(255, self.daemon.end(seconds=seconds))
        self.assertRegex(self.daemon.output, f"\nEXCEPTION: ({message})")
        info_file, power, attribute = self.port.left()
        self.assertEqual((False, "0\n", "UNDEFINED"), (info_file, power, attribute[-9:]))

    def assert_heard(self, topic, texts):
        """These and no others have arrived on a topic of the port."""
        self.assertEqual(texts, self.subscriber.heard(self.port.topic + topic, len(texts)))

    def assert_status(self, *texts):
        """These status texts are published; after an end the broker may publish the last will."""
        expected = [*SET_UP, *texts]
        heard = self.subscriber.heard(self.port.topic + "/status", len(expected))
        self.assertEqual([*expected, "Disconnected"][:len(heard)], heard)

    def assert_filed(self, stamps, errors=0, rate=32):
        """The data files contain records with these stamps, this many errors, and nothing else."""
        head = (f"Model\tRM Young 81000 V\nSN\t01234\nVersion\t4.10\nRate\t{rate}\n" +
                "\t".join(COLUMNS) + "\n")
        lines = []
        for path in sorted(self.port.home.glob("*.young_81000_v.01234")):
            before, _, text = path.read_bytes().decode("latin-1").partition(head)
            *whole, torn = text.split("\n")
            self.assertEqual(("", ""), (before, torn))
            lines += whole
        good = [line for line in lines if line.startswith("DATA_SONIC\t")]
        self.assert_right(good, stamps)
        self.assertEqual(errors, lines.count("DATAERRORH\ttext"))
        return good

    def assert_right(self, lines, stamps):
        for line in lines:
            self.assertEqual(line, data_files.line(*stamp(line), *line.split("\t")[3:9]))
        self.assertEqual(stamps, [stamp(line) for line in lines])

    def assert_recorded(self, stamps, **options):
        """As assert_filed, and every record is on its topics. The line must have been silent for a
        second: the last messages before an end may be lost."""
        lines = self.assert_filed(stamps, **options)
        self.assertTrue(lines)
        self.assert_heard("/fast", [payload(line) for line in lines])
        firsts = [list(group)[0] for _, group in groupby(lines, lambda line: stamp(line)[0])]
        self.assert_heard("", [payload(line) for line in firsts])


def main():
    """unittest.main, and all output of all programs. A skipped test shows in the exit status."""
    result = unittest.main(exit=False, verbosity=2).result
    for process in Process.all:
        process.report()
    if result.skipped:
        raise SystemExit(SKIPPED)
    raise SystemExit(not result.wasSuccessful())
