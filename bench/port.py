"""Measures sonic-port in a private device: port.py RESULT.json."""

import json
import os
import pty
import re
import signal
import statistics
import sys
import time
import tty
from pathlib import Path

from end_to_end import before_others
from logger import BUILD, RATE, RUN, Program, Simulator

RECORD = b"  1.23  -0.45   0.07  343.21   21.50 0 3f\r"
SECONDS = 60       # of delays
ROUNDS = 9          # of sonic-port and socat
PACE = 400          # times as fast as the instrument
MILLION = 1_000_000
EARLY = 100_000     # records after which memory must not grow any more
RAW = ["--raw", "--no-setup", "--settle", 0, "--rate", RATE, "--fields", "5ABEC"]


class Line:
    """The instrument's end of a line."""

    def __init__(self):
        self.fd, device = pty.openpty()
        tty.setraw(device)
        self.device = os.ttyname(device)
        os.close(device)


class Copier(Program):
    """A program that has a line at `device` and offers another at `port`."""

    def __init__(self, port, *command):
        super().__init__(*command)
        while not Path(port).is_symlink():
            self.check()
            time.sleep(0.05)
        self.log = RUN / Path(port).name
        self.taker = Program("cat", port, output=open(self.log, "wb"))
        self.counted = self.lines = 0

    def records(self):
        with open(self.log, "rb") as file:
            file.seek(self.counted)
            while piece := file.read(1 << 20):
                self.lines += piece.count(b"\r")
                self.counted += len(piece)
        return self.lines


def sonic_port(device, port):
    return Copier(port, BUILD / "port/sonic-port", "--link", port, device)


def socat(device, port):
    return Copier(port, "socat", f"{device},raw,echo=0", f"PTY,link={port},raw,echo=0")


def arrivals(log):
    """Of the first byte of each record, from the times and sizes of reads."""
    times, due, total = [], 0, 0
    for line in log.read_text().splitlines():
        when, size = (int(field) for field in line.split())
        total += size
        while due < total:
            times.append(when)
            due += len(RECORD)
    return times


def delays():
    """Seconds, in order of size: of sonic-port's stamps, and of the reader's times. The instruments
    send in turns."""
    lines = [Line(), Line()]
    port = sonic_port(lines[0].device, "/dev/port")
    log = RUN / "reader"
    reader = Program("stdbuf", "-oL", BUILD / "bench/reader", lines[1].device,
                     output=open(log, "w"))
    for program in port, reader:
        os.setpriority(os.PRIO_PROCESS, program.pid, -20)  # as in its service
    time.sleep(1)
    before_others()  # what the sender waits is no delay of theirs
    sent = [[], []]
    for k in range(2 * RATE * SECONDS):
        time.sleep(1 / (2 * RATE))
        sent[k % 2].append(time.time_ns())
        os.write(lines[k % 2].fd, RECORD)
    time.sleep(1)
    stamps = re.findall(rb"(\d+)\.(\d{9}),..,", port.log.read_bytes())
    arrived = [[int(s + ns) for s, ns in stamps], arrivals(log)]
    return [sorted((late - early) / 1e9 for early, late in zip(*pair, strict=True))
            for pair in zip(sent, arrived)]


def one_round(copier, simulator, seconds):
    """Processor seconds per record."""
    cpu, records = sum(copier.cpu()), copier.records()
    simulator.signal(signal.SIGCONT)
    time.sleep(seconds)
    simulator.signal(signal.SIGSTOP)
    copier.wait_until_quiet()
    return (sum(copier.cpu()) - cpu) / (copier.records() - records)


def costs(speed, seconds):
    """Processor seconds per record of sonic-port and socat, and the median of their ratios."""
    simulators = [Simulator(f"/dev/line{speed}-{k}", *RAW, "--speed", speed) for k in range(2)]
    copiers = [sonic_port(f"/dev/line{speed}-0", f"/dev/port{speed}"),
               socat(f"/dev/line{speed}-1", f"/dev/socat{speed}")]
    for simulator in simulators:
        simulator.signal(signal.SIGSTOP)
    rounds = [[one_round(*pair, seconds) for pair in zip(copiers, simulators)]
              for _ in range(ROUNDS)]
    own, other = (statistics.median(column) for column in zip(*rounds))
    return {"own": own, "socat": other, "ratio": statistics.median(a / b for a, b in rounds)}


def memory():
    """Before and after all but the first records of a million."""
    Simulator("/dev/million", *RAW, "--speed", 10 * PACE)
    port = sonic_port("/dev/million", "/dev/millions")
    seen = []
    for records in EARLY, MILLION:
        while port.records() < records:
            port.check()
            time.sleep(0.05)
        seen.append(port.memory())
    return seen


def of(ordered, share):
    return ordered[round(share * (len(ordered) - 1))]


if __name__ == "__main__":
    figures = {"paced": costs(PACE, 1), "live": costs(1, 5), "memory": memory()}
    stamps, reader = ([of(d, 0.5), of(d, 0.99), d[-1]] for d in delays())
    figures.update(seconds=SECONDS, stamps=stamps, reader=reader)
    Path(sys.argv[1]).write_text(json.dumps(figures, indent=2) + "\n")
