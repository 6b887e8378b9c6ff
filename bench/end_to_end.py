"""Measures the daemon in a private device: end_to_end.py MEASURE RESULT.json, where MEASURE is
floor, burst, paced, absent or live."""

import json
import os
import signal
import statistics
import sys
import time
from pathlib import Path

from logger import FIRST_STAMP, RATE, RUN, Broker, Daemon, Floor, Program, Simulator, Subscriber

MILLION = 1_000_000
EARLY = 100_000       # records after which memory must not grow any more
PACE = 400            # times as fast as the instrument: 12,800 records a second
ROUNDS = 15           # of daemon and floor
ROUND_SECONDS = 1
TRACE_SECONDS = 4
LIVE_SECONDS = 120
ABSENT_RECORDS = 500_000
IDLE_SECONDS = 10     # of a client that looks for the broker
PAUSE = 5             # seconds in which the simulator must be stopped
INSTRUMENT = ["--rate", RATE, "--fields", "5ABEC", "--start", FIRST_STAMP]


def publishes(records):
    return records + -(-records // RATE)


class Watch:
    """What became of a daemon over many records."""

    def __init__(self, daemon, broker=None):
        self.daemon, self.broker = daemon, broker
        self.cpu = daemon.cpu()
        self.first = daemon.files.records()
        self.seen = [(time.time(), self.first, daemon.memory())]  # (time, records, memory)

    def until(self, records):
        while self.seen[-1][1] < records:
            self.daemon.check()
            time.sleep(0.05)
            self.seen.append((time.time(), self.daemon.files.records(), self.daemon.memory()))

    def memory_at(self, records):
        return next(memory for _, r, memory in self.seen if r >= records)

    def rate(self):
        (t0, r0, _), (t1, r1, _) = self.seen[0], self.seen[-1]
        return (r1 - r0) / (t1 - t0)

    def cpu_per_record(self):
        count = self.daemon.files.records() - self.first
        return [(after - before) / count for before, after in zip(self.cpu, self.daemon.cpu())]

    def longest_queue(self):
        """Messages handed to the client that the broker did not have yet."""
        longest = 0
        for when, received in self.broker.received:
            before = [r for t, r, _ in self.seen if t <= when]
            if before and when <= self.seen[-1][0]:  # few packets are none of the publishes
                longest = max(longest, publishes(before[-1]) - received)
        return longest


def million(watch, simulator):
    """Figures of one million records."""
    daemon = watch.daemon
    watch.until(MILLION)
    simulator.signal(signal.SIGSTOP)
    last = time.time()
    daemon.wait_until_quiet()
    caught_up = time.time() - last
    cpu = watch.cpu_per_record()
    return {
        "rate": watch.rate(),
        "cpu_main": cpu[0],
        "cpu_client": cpu[1],
        "memory_early": watch.memory_at(EARLY),
        "memory_late": watch.memory_at(MILLION),
        "memory_peak": daemon.memory("VmHWM"),
        "memory_after": daemon.memory(),
        "longest_queue": watch.longest_queue(),
        "caught_up_seconds": caught_up,
        "records": daemon.files.verified(),
    }


def one_round(program, simulator):
    """Processor seconds per record, by thread."""
    cpu, records = program.cpu(), program.files.records()
    simulator.signal(signal.SIGCONT)
    time.sleep(ROUND_SECONDS)
    simulator.signal(signal.SIGSTOP)
    program.wait_until_quiet()
    count = program.files.records() - records
    return [(after - before) / count for before, after in zip(cpu, program.cpu())]


def system_calls(daemon, simulator):
    """Calls per record, by name."""
    summary = RUN / "strace"
    tracer = Program("strace", "-c", "-f", "-o", summary, "-p", daemon.pid)
    time.sleep(1)
    before = daemon.files.records()
    simulator.signal(signal.SIGCONT)
    time.sleep(TRACE_SECONDS)
    simulator.signal(signal.SIGSTOP)
    daemon.wait_until_quiet()
    count = daemon.files.records() - before
    tracer.end()
    calls = {}
    for line in summary.read_text().splitlines():
        fields = line.split()
        if len(fields) >= 5 and fields[3].isdigit() and fields[-1] != "total":
            calls[fields[-1]] = int(fields[3]) / count
    return calls


def before_others():
    """What is started from here on does not wait for the machine's other users, if that is allowed.

    A broker that has to wait lets the client's queue grow, and memory with it.
    """
    try:
        os.sched_setscheduler(0, os.SCHED_RR, os.sched_param(1))
    except OSError:
        pass


def until_the_pause(speed):
    """An instrument that can be stopped when exactly a million records have arrived."""
    return Simulator("/dev/ttyS1", *INSTRUMENT, "--speed", speed, "--pause", f"{MILLION}:{PAUSE}")


def burst():
    broker = Broker()
    simulator = until_the_pause(0)
    daemon = Daemon()
    result = million(Watch(daemon, broker), simulator)
    time.sleep(PAUSE)
    return {**result, "system_calls": system_calls(daemon, simulator)}


def paced():
    before_others()
    broker = Broker()
    subscriber = Subscriber()
    simulator = until_the_pause(PACE)
    result = million(Watch(Daemon(), broker), simulator)
    subscriber.end()
    return {**result, "topic": subscriber.normal, "fast_topic": subscriber.fast}


def floor():
    """In turns, and at one pace, so that both find the same queues and wake up as often."""
    Broker()
    simulators = [Simulator("/dev/ttyS1", *INSTRUMENT, "--speed", PACE),
                  Simulator("/dev/floor", *INSTRUMENT, "--speed", PACE, "--no-setup")]
    programs = [Daemon(), Floor("/dev/floor")]
    time.sleep(1)
    for simulator in simulators:
        simulator.signal(signal.SIGSTOP)
    rounds = []
    for _ in range(ROUNDS):
        pair = [one_round(*p) for p in zip(programs, simulators)]
        rounds.append(pair[0] + pair[1])
    main, client, floor_main, floor_client = (statistics.median(c) for c in zip(*rounds))
    return {
        "main": main,
        "client": client,
        "floor_main": floor_main,
        "floor_client": floor_client,
        "ratio": statistics.median((r[0] + r[1]) / (r[2] + r[3]) for r in rounds),
    }


def absent():
    """The broker starts late."""
    simulator = Simulator("/dev/ttyS1", *INSTRUMENT, "--speed", 0)
    daemon = Daemon()
    watch = Watch(daemon)
    watch.until(ABSENT_RECORDS)
    simulator.signal(signal.SIGSTOP)
    daemon.wait_until_quiet()
    _, first, memory = next(s for s in watch.seen if s[1] >= EARLY)
    records, full = daemon.files.records(), daemon.memory()
    cpu = daemon.cpu()[1]
    time.sleep(IDLE_SECONDS)
    share = (daemon.cpu()[1] - cpu) / IDLE_SECONDS
    Broker()
    subscriber = Subscriber()
    time.sleep(2)
    daemon.wait_until_quiet()
    subscriber.end()
    return {
        "bytes_per_record": (full - memory) / (records - first),
        "records": records,
        "client_share": share,
        "topic": subscriber.normal,
        "fast_topic": subscriber.fast,
        "memory_full": full,
        "memory_after": daemon.memory(),
    }


def live():
    broker = Broker()
    Simulator("/dev/ttyS1", "--rate", RATE)
    daemon = Daemon()
    time.sleep(3)
    records, cpu, broker_cpu = daemon.files.records(), daemon.cpu(), broker.cpu()
    start = time.time()
    time.sleep(LIVE_SECONDS)
    seconds = time.time() - start
    return {
        "seconds": seconds,
        "records": daemon.files.records() - records,
        "share_main": (daemon.cpu()[0] - cpu[0]) / seconds,
        "share_client": (daemon.cpu()[1] - cpu[1]) / seconds,
        "share_broker": (sum(broker.cpu()) - sum(broker_cpu)) / seconds,
        "memory_peak": daemon.memory("VmHWM"),
    }


if __name__ == "__main__":
    measures = {f.__name__: f for f in (floor, burst, paced, absent, live)}
    Path(sys.argv[2]).write_text(json.dumps(measures[sys.argv[1]](), indent=2) + "\n")
