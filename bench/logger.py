"""The daemon, the floor program, their instruments and the broker, inside a private device."""

import os
import signal
import subprocess
import threading
import time
from pathlib import Path

BUILD = Path(os.environ["BENCH_BUILD"])
HOME = Path(os.environ["DEVICE_HOME"])
RUN = Path(os.environ["DEVICE_RUN"])
TOPIC = "/home/qelta/device/port/1"
RATE = 32
FIRST_STAMP = 1700002800  # of a half hour
SETUP_SECONDS = 120
# A count every other second, and no message is dropped that a subscriber is slow to take.
BROKER_OPTIONS = "sys_interval 1\nmax_queued_messages 0\n"
HEADS = [b"Model\t", b"SN\t", b"Version\t", b"Rate\t", b"DATA_SONICH\t"]  # of a data file


class Program:
    """A running program, its processor time and its memory."""

    def __init__(self, *command, output=subprocess.DEVNULL):
        self.popen = subprocess.Popen([str(c) for c in command], stdin=subprocess.DEVNULL,
                                      stdout=output, stderr=subprocess.STDOUT)
        self.pid = self.popen.pid
        self.proc = Path("/proc", str(self.pid))

    def check(self):
        if self.popen.poll() is not None:
            log = RUN / "sonicd.log"
            raise RuntimeError(f"{self.popen.args} ended with status {self.popen.returncode}\n" +
                               (log.read_text()[-2000:] if log.exists() else ""))

    def cpu(self):
        """Seconds by thread: those of the main one, then those of all others."""
        self.check()
        main = others = 0
        for task in (self.proc / "task").iterdir():
            if task.name == str(self.pid):
                main += thread_cpu(task)
            else:
                others += thread_cpu(task)
        return main, others

    def memory(self, what="VmRSS"):
        """In bytes; VmHWM is the peak."""
        for line in (self.proc / "status").read_text().splitlines():
            if line.startswith(what + ":"):
                return int(line.split()[1]) * 1024
        raise RuntimeError(f"no {what}")

    def signal(self, number):
        self.popen.send_signal(number)

    def end(self):
        self.signal(signal.SIGCONT)
        self.signal(signal.SIGINT)
        return self.popen.wait(30)

    def wait_until_quiet(self):
        """Until all threads have done what was to be done."""
        before = sum(self.cpu())
        while True:
            time.sleep(0.3)
            now = sum(self.cpu())
            if now - before < 0.002:
                return
            before = now


def thread_cpu(task):
    """To the nanosecond where the kernel keeps account of it, else to its clock tick."""
    try:
        return int((task / "schedstat").read_text().split()[0]) / 1e9
    except OSError:
        fields = (task / "stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Simulator(Program):
    """Returns when it has made its port."""

    def __init__(self, link, *options):
        super().__init__(BUILD / "simulator/sonic-simulator", "--link", link, *options)
        while not Path(link).is_symlink():
            self.check()
            time.sleep(0.05)


class Daemon(Program):
    """Returns when it has taken its first record."""

    def __init__(self):
        super().__init__(BUILD / "src/sonicd", "-p", "ttyS1", output=open(RUN / "sonicd.log", "w"))
        self.files = DataFiles("*.young_81000_v.*")
        end = time.time() + SETUP_SECONDS
        while not self.files.records():
            self.check()
            if time.time() > end:
                raise RuntimeError((RUN / "sonicd.log").read_text())
            time.sleep(0.02)


class Floor(Program):
    """The least that a program can do for a record."""

    def __init__(self, port):
        super().__init__(BUILD / "bench/floor", port, HOME / "floor.data", "floor")
        self.files = DataFiles("floor.data")


class DataFiles:
    """Counts records as they are written."""

    def __init__(self, pattern):
        self.pattern = pattern
        self.read = {}
        self.count = 0

    def records(self):
        for path in sorted(HOME.glob(self.pattern)):
            with open(path, "rb") as file:
                file.seek(self.read.get(path, 0))
                text = file.read()
            text = text[:text.rfind(b"\n") + 1]
            self.read[path] = self.read.get(path, 0) + len(text)
            self.count += text.count(b"\n") - sum(text.count(head) for head in HEADS)
        return self.count

    def verified(self):
        """The records again, each with its check, and no gap between one and the next."""
        count, expected = 0, None
        for path in sorted(HOME.glob(self.pattern)):
            for line in path.read_bytes().splitlines():
                if line.startswith(tuple(HEADS)):
                    continue
                tag, seconds, nanoseconds, *_ = line.split(b"\t")
                stamp = int(seconds) * 10**9 + int(nanoseconds)
                if (tag != b"DATA_SONIC" or expected not in (None, stamp)
                        or sum(line[:-3]) % 256 != int(line[-3:])):
                    raise RuntimeError(f"{path}: {line} after {count} records")
                expected = stamp + 10**9 // RATE
                count += 1
        return count


class Broker(Program):
    """Counts the packets that it receives, every other second."""

    def __init__(self):
        config = RUN / "bench-broker.conf"
        config.write_text(Path(os.environ["DEVICE_BROKER_CONF"]).read_text() + BROKER_OPTIONS)
        super().__init__("mosquitto", "-c", config)
        while subprocess.run(["mosquitto_pub", "-h", "::1", "-t", "probe", "-n"],
                             stderr=subprocess.DEVNULL).returncode:
            self.check()
            time.sleep(0.05)
        self.received = []  # (time, packets)
        listen(["-F", "%p", "-t", "$SYS/broker/messages/received"], self._received)

    def _received(self, lines):
        self.received += [(time.time(), int(line)) for line in lines]


class Subscriber:
    """Counts the records on both topics."""

    def __init__(self):
        self.normal = self.fast = 0
        self.process = listen(["-F", "%t", "-t", TOPIC, "-t", TOPIC + "/fast"], self._count)

    def _count(self, lines):
        fast = sum(line.endswith(b"/fast") for line in lines)
        self.fast += fast
        self.normal += len(lines) - fast

    def end(self):
        """When no more arrive."""
        before = None
        while before != (self.normal, self.fast):
            before = self.normal, self.fast
            time.sleep(1)
        self.process.kill()


def listen(arguments, take):
    """Passes on what a subscriber prints, as it is printed."""
    process = subprocess.Popen(["mosquitto_sub", "-h", "::1", *arguments], stdout=subprocess.PIPE)

    def read():
        rest = b""
        while text := os.read(process.stdout.fileno(), 1 << 20):
            *lines, rest = (rest + text).split(b"\n")
            take(lines)

    threading.Thread(target=read, daemon=True).start()
    return process
