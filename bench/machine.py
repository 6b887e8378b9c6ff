"""Measures the daemon in an emulated logger: machine.py instructions|delays|hour ARCH.

Run by script/bench-machine, which builds what it needs."""

import bisect
import os
import pty
import re
import statistics
import sys
import tempfile
import threading
import time
import tty
from pathlib import Path

from architecture import ARCHITECTURES
from guest import Guest
from image import CACHE, ROOT
from installed import Installed, overlay
from instrument import Lines

HOME = "/home/qelta/device"
RECORD = b"  1.23  -0.45   0.07  343.21   21.50 0 3f\r"
RATE = 32
STREAM = f"--no-setup --settle 0 --baud 38400 --rate {RATE} --fields 5ABEC"
SECONDS = 120  # of each measurement but the hour


def installed(arch):
    folder = ROOT / "build" / ("default" if arch == "amd64" else arch)
    return Installed(ARCHITECTURES[arch], next(folder.glob(f"sonicd_*_{arch}.deb")))


def sample(guest, lines):
    """Has the daemon record from ttyS1."""
    lines.attach()
    guest.run("systemctl enable --now sonicd@ttyS1", seconds=600)
    guest.run(f"until [ $(cat {HOME}/1*.young* | wc -l) -gt 200 ]; do sleep 1; done", seconds=1800)


def cost(guest, program):
    """Nanoseconds of its threads by the guest's clock: of the main one, and of the others."""
    text = guest.run(f"cd /proc/$(pgrep -x {program})/task && "
                     "for task in *; do echo $task $(cat $task/schedstat); done")
    times = sorted((int(line.split()[0]), int(line.split()[1])) for line in text.splitlines())
    return times[0][1], sum(spent for _, spent in times[1:])


def instructions(arch):
    """Of the daemon and of the floor program, each on a line of its own. With each instruction
    taking a nanosecond of the guest's time, its account of processor time counts them."""
    machine = installed(arch)
    with tempfile.TemporaryDirectory(dir=CACHE) as folder:
        disk = overlay(Path(folder, "disk.qcow2"), machine.disk, "qcow2")
        guest = Guest(machine.machine, machine.image, disk, Path(folder),
                      options=("-icount", "shift=0"))
        lines = Lines(guest)
        try:
            guest.wait_until_up(seconds=1200)
            sample(guest, lines)
            floor = ROOT / "build" / ("default" if arch == "amd64" else arch) / "bench/floor"
            guest.put(floor, "/root/floor")
            guest.run("chmod +x /root/floor; rm -f /root/data; "
                      "setsid /root/floor /dev/ttyS2 /root/data floor >/dev/null 2>&1 </dev/null &")
            lines.attach(STREAM, line=2)
            guest.run("until [ -s /root/data ]; do sleep 1; done; sleep 10", seconds=600)
            count = {"sonicd": f"cat {HOME}/1*.young*", "floor": "cat /root/data"}
            before = {name: (cost(guest, name), int(guest.run(f"{count[name]} | wc -l")))
                      for name in count}
            time.sleep(SECONDS)
            for name, (spent, records) in before.items():
                now = cost(guest, name)
                counted = int(guest.run(f"{count[name]} | wc -l")) - records
                main, other = ((b - a) / counted for a, b in zip(spent, now))
                print(f"{arch}: {name}: {counted} records, instructions a record: main thread "
                      f"{main:,.0f}, MQTT client's thread {other:,.0f}, together "
                      f"{main + other:,.0f}")
        finally:
            guest.cut_power()
            lines.end()


class Clock(threading.Thread):
    """Compares the guest's clock with this machine's, by questions on the line ttyS2."""

    ANSWERER = ("import os, time, tty; f = os.open('/dev/ttyS2', os.O_RDWR | os.O_NOCTTY); "
                "tty.setraw(f)\nwhile os.read(f, 1): os.write(f, b'%d\\n' % time.time_ns())")

    def __init__(self, guest):
        super().__init__(daemon=True)
        self.line, device = pty.openpty()
        tty.setraw(device)
        guest.run(f"setsid nice -n -20 python3 -c \"{self.ANSWERER}\" </dev/null >/dev/null 2>&1 &")
        time.sleep(3)
        Lines(guest).connect(os.ttyname(device), line=2)
        self.samples = []  # round trip, when, ahead; all in ns
        self.start()

    def run(self):
        while True:
            asked = time.time_ns()
            os.write(self.line, b"?")
            answer = b""
            while not answer.endswith(b"\n"):
                answer += os.read(self.line, 64)
            answered = time.time_ns()
            middle = (asked + answered) // 2
            self.samples.append((answered - asked, middle, int(answer) - middle))
            time.sleep(0.1)

    def ahead(self, when):
        """Of this machine's clock at a time of it, from the quickest answer of about then."""
        times = [sample[1] for sample in self.samples]
        at = bisect.bisect(times, when)
        return min(self.samples[max(0, at - 50):at + 50])[2]


def delays(arch):
    """From the sending to sonic-port's stamp."""
    machine = installed(arch)
    with tempfile.TemporaryDirectory(dir=CACHE) as folder:
        guest = machine.guest(Path(folder))
        try:
            clock = Clock(guest)
            for name in "ttyS1", "ttyUSB0":
                line, device = pty.openpty()
                tty.setraw(device)
                if name == "ttyS1":
                    Lines(guest).connect(os.ttyname(device), line=1)
                else:
                    Lines(guest).plug(type("", (), {"device": os.ttyname(device)}), "A1")
                    guest.run("until test -e /dev/ttyUSB0; do sleep 1; done")
                guest.run(f"setsid nice -n -20 sonic-port --trace /dev/{name} >/tmp/{name} 2>&1 "
                          "</dev/null &")
                guest.run(f"until grep pts /tmp/{name}; do sleep 1; done; "
                          f"setsid cat $(grep -o '/dev/pts/[0-9]*' /tmp/{name}) >/dev/null 2>&1 "
                          "</dev/null &")
                time.sleep(2)
                sent = []
                for _ in range(RATE * SECONDS):
                    time.sleep(1 / RATE)
                    sent.append(time.time_ns())
                    os.write(line, RECORD)
                time.sleep(2)
                stamps = [int(seconds + nanoseconds) for seconds, nanoseconds in re.findall(
                    r"stamped (\d+)\.(\d{9})", guest.run(f"cat /tmp/{name}"))]
                late = sorted((stamp - when - clock.ahead(when)) / 1e6
                              for when, stamp in zip(sent, stamps, strict=True))
                print(f"{arch}: {name}: delay of the stamps, median {statistics.median(late):.2f}, "
                      f"99 % {late[len(late) * 99 // 100]:.2f}, worst {late[-1]:.2f} ms; the "
                      f"clocks were compared to {min(clock.samples)[0] / 2e6:.2f} ms")
        finally:
            guest.cut_power()


def hour(arch, seconds=3600):
    """32 records a second: none lost, memory flat."""
    machine = installed(arch)
    with tempfile.TemporaryDirectory(dir=CACHE) as folder:
        guest = machine.guest(Path(folder))
        lines = Lines(guest)
        try:
            sample(guest, lines)
            pid = "$(pgrep -x sonicd)"
            memory, begin, spent = [], time.time(), sum(cost(guest, "sonicd"))
            while time.time() < begin + seconds:
                memory.append(int(guest.run(f"grep VmRSS /proc/{pid}/status").split()[1]))
                time.sleep(min(300, max(1, begin + seconds - time.time())))
            share = (sum(cost(guest, "sonicd")) - spent) / 1e9 / (time.time() - begin)
            summary = guest.run(f"cd {HOME} && sonic-records --summary 1*.young*")
            print(f"{arch}: {seconds} s at {RATE} Hz: memory {memory} KiB, share of the emulated "
                  f"processor {share:.1%}\n{summary}")
        finally:
            guest.cut_power()
            lines.end()


if __name__ == "__main__":
    MEASURES = {measure.__name__: measure for measure in (instructions, delays, hour)}
    MEASURES[sys.argv[1]](*sys.argv[2:])
