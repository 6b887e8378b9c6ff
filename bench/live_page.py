"""Measures the live page in a browser, in a private device with its broker:
live_page.py PAGE DOCUMENT"""

import datetime
import gzip
import math
import os
import subprocess
import sys
import threading
import time
from pathlib import Path

from selenium import webdriver

BEGIN = "<!-- figures of script/bench-live -->"
END = "<!-- end of figures -->"
PORTS = [1, 2, 4]
RATE = 32  # records a second
START = 1700000000
SPEED = 10  # for all but the processor time
MESSAGES = 100_000
PACED_SECONDS = 120
ADDRESS = "http://localhost:8080/"
OPTIONS = ["headless", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run",
           "disable-background-networking", "disable-component-update", "disable-sync",
           "window-size=1200,3000", "user-data-dir=/run/device/browser"]
KIB, MIB = 1 << 10, 1 << 20


class Instruments(threading.Thread):
    """Publishes every record of three ports, `speed` times as fast as their time stamps say."""

    def __init__(self):
        super().__init__(daemon=True)
        self.speed = SPEED
        self.published = 0
        self.programs = [
            subprocess.Popen(["mosquitto_pub", "-h", "::1", "-q", "1", "-r", "-l",
                              "-t", f"/home/qelta/device/port/{port}/fast"], stdin=subprocess.PIPE)
            for port in PORTS]

    def run(self):
        due = time.monotonic()
        for k in range(1 << 40):
            due += 1 / RATE / self.speed
            time.sleep(max(0, due - time.monotonic()))
            for program in self.programs:
                program.stdin.write(record(k).encode())
                program.stdin.flush()
                self.published += 1


def record(k):
    seconds, part = divmod(k, RATE)
    u, v, w = (size * math.sin(k / period) for size, period in [(5, 301), (3, 87), (1, 13)])
    return (f'{{ "SECONDS" : {START + seconds}, "NANOSECONDS" : {part * 10**9 // RATE}, '
            f'"u" : {u:.2f}, "v" : {v:.2f}, "w" : {w:.2f}, '
            f'"sos" : 343.21, "ts" : {21 + w / 2:.2f}, "diag" : "0" }}\n')


class Browser:
    def __init__(self):
        options = webdriver.ChromeOptions()
        for option in OPTIONS:
            options.add_argument("--" + option)
        self.driver = webdriver.Chrome(options=options)
        self.command("Performance.enable")

    def command(self, name, **parameters):
        return self.driver.execute_cdp_cmd(name, parameters)

    def first_record(self):
        """Seconds from the request for the page to the first record on it, live on all ports."""
        self.driver.get("about:blank")
        self.driver.get(ADDRESS)
        return self.driver.execute_async_script("""
            const done = arguments[0];
            const look = () => document.querySelectorAll('.card[data-state=live]').length === 3 ?
              done(performance.now() / 1000) : requestAnimationFrame(look);
            look();""")

    def heap(self):
        """Bytes after collection: objects, and the arrays with the records."""
        self.command("HeapProfiler.collectGarbage")
        usage = self.command("Runtime.getHeapUsage")
        return usage["usedSize"] + usage["backingStorageSize"]

    def busy_share(self, seconds):
        """Of one core, for all that the main thread does."""
        begin = self.metrics()
        time.sleep(seconds)
        end = self.metrics()
        busy = end["TaskDuration"] - begin["TaskDuration"]
        return busy / (end["Timestamp"] - begin["Timestamp"])

    def metrics(self):
        return {m["name"]: m["value"] for m in self.command("Performance.getMetrics")["metrics"]}

    def full(self):
        """Whether the page has as many minutes of every port as it keeps."""
        return self.driver.execute_script("""
            const spans = [...cards.values()].map((card) => card.port.window.columns().time)
              .map((times) => times.at(-1) - times[0]);
            return Math.min(...spans) > WINDOW_SECONDS - 1;""")

    def missed(self):
        return self.driver.execute_script("""
            return [...cards.values()].reduce(
                (sum, {port}) => sum + port.gaps.missed(port.record.time), 0)""")


def rows():
    instruments = Instruments()
    instruments.start()
    browser = Browser()
    browser.first_record()
    while not browser.full():
        time.sleep(1)
    early, begin = browser.heap(), instruments.published
    while instruments.published < begin + MESSAGES:
        time.sleep(1)
    growth, missed = browser.heap() - early, browser.missed()
    instruments.speed = 1
    time.sleep(5)
    share = browser.busy_share(PACED_SECONDS)
    first = max(browser.first_record() for _ in range(5))

    page = Path(sys.argv[1])
    loaded = [p.read_bytes() for p in page.iterdir() if p.name != "licences.txt"]
    size, compressed = (sum(map(len, files)) for files in
                        [loaded, [gzip.compress(text, 9) for text in loaded]])

    yield ("first record on the page after opening it, longest of five", f"{first:.2f} s", "< 2 s",
           first < 2)
    yield ("main thread, share of one core, three ports at 32 Hz, windows full, "
           "all charts in sight", f"{share * 100:.1f} %", "< 25 %", share < 0.25)
    yield "heap with three full windows, after collection", f"{early / MIB:.1f} MiB", "", None
    yield (f"grown in {MESSAGES:,} further messages",
           f"{growth / MIB:.2f} MiB", "< 5 MiB", growth < 5 * MIB)
    yield "of them missed by the page in the last ten minutes", f"{missed}", "0", missed == 0
    yield "all that the page loads", f"{size / KIB:.0f} KiB", "< 500 KiB", size < 500 * KIB
    yield ("the same, compressed (gzip -9)", f"{compressed / KIB:.0f} KiB", "< 150 KiB",
           compressed < 150 * KIB)


def table():
    version = subprocess.run(["chromium", "--version"], capture_output=True, text=True).stdout
    lines = [f"{' '.join(version.split()[:2])}, {os.cpu_count()} cores, "
             f"load {os.getloadavg()[2]:.1f}, {datetime.date.today()}.",
             "", "| what | measured | target | |", "|---|---|---|---|"]
    for what, measured, target, met in rows():
        lines.append(f"| {what} | {measured} | {target} | "
                     f"{ {None: '', True: 'met', False: '**missed**'}[met]} |")
    return "\n".join(lines)


if __name__ == "__main__":
    document = Path(sys.argv[2])
    head, _, rest = document.read_text().partition(BEGIN)
    _, _, tail = rest.partition(END)
    text = table()
    document.write_text(f"{head}{BEGIN}\n{text}\n{END}{tail}")
    print(text)
