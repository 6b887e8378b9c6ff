"""Measures the live page in a browser, in a private device: live_page.py PAGE DOCUMENT

First a logger's page: three ports at 32 Hz, all charts in sight, eight days of half hours. Then a
central broker's: 200 ports, a line each, one record a second.
"""

import datetime
import json
import math
import os
import re
import socket
import struct
import subprocess
import sys
import threading
import time
from pathlib import Path

import half_hours
from selenium import webdriver

ROOT = Path(__file__).resolve().parents[1]
BEGIN = "<!-- figures of script/bench-live -->"
END = "<!-- end of figures -->"
LOGGER = [f"/home/qelta/device/port/{port}/fast" for port in (1, 2, 4)]
CENTRAL = [f"mast-{mast}/home/qelta/device/port/{port}" for mast in range(100) for port in (1, 2)]
RATE_HZ = 32
START = 1700000000
SPEED = 10  # for all but the processor time
MESSAGES = 100_000
PACED_SECONDS = 120
ADDRESS = "http://localhost:8080/"
OPTIONS = ["headless", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run",
           "disable-background-networking", "disable-component-update", "disable-sync",
           "window-size=1200,10000", "user-data-dir=/run/device/browser"]
KIB, MIB = 1 << 10, 1 << 20


class Instruments(threading.Thread):
    """Publishes records on all topics, `speed` times as fast as their stamps say."""

    def __init__(self, topics, rate):
        super().__init__(daemon=True)
        self.topics = topics
        self.rate = rate
        self.speed = SPEED
        self.published = 0
        self.stopped = False
        self.socket = socket.create_connection(("::1", 1883))
        self.socket.sendall(b"\x10\x10\0\4MQTT\4\2\0\0\0\4many")

    def run(self):
        due = time.monotonic()
        for k in range(1 << 40):
            due += 1 / self.rate / self.speed
            time.sleep(max(0, due - time.monotonic()))
            payload = record(k, self.rate)
            self.socket.sendall(b"".join(message(topic, payload) for topic in self.topics))
            self.published += len(self.topics)
            if self.stopped:
                return self.socket.close()


def message(topic, payload):
    """A retained MQTT message that asks for no answer."""
    content = struct.pack(">H", len(topic)) + topic.encode() + payload
    return b"\x31" + bytes([len(content) & 127 | 128, len(content) >> 7]) + content


def record(k, rate):
    seconds, part = divmod(k, rate)
    u, v, w = (size * math.sin(k / period) for size, period in [(5, 301), (3, 87), (1, 13)])
    return (f'{{ "SECONDS" : {START + seconds}, "NANOSECONDS" : {part * 10**9 // rate}, '
            f'"u" : {u:.2f}, "v" : {v:.2f}, "w" : {w:.2f}, "sos" : 343.21, '
            f'"ts" : {21 + w / 2:.2f}, "diag" : "0" }}').encode()


class Browser:
    """Chromium, which tells what a page costs."""

    def __init__(self):
        options = webdriver.ChromeOptions()
        for option in OPTIONS:
            options.add_argument("--" + option)
        self.driver = webdriver.Chrome(options=options)
        self.command("Performance.enable", timeDomain="threadTicks")

    def command(self, name, **parameters):
        return self.driver.execute_cdp_cmd(name, parameters)

    def seconds_until(self, selector, count):
        """From the request for the page until this many of these are on it."""
        self.driver.get("about:blank")
        self.driver.get(ADDRESS)
        return self.driver.execute_async_script("""
            const [selector, count, done] = arguments;
            const look = () => document.querySelectorAll(selector).length >= count ?
              done(performance.now() / 1000) : requestAnimationFrame(look);
            look();""", selector, count)

    def heap(self):
        """Bytes after collection: objects, and the arrays with the records."""
        self.command("HeapProfiler.collectGarbage")
        usage = self.command("Runtime.getHeapUsage")
        return usage["usedSize"] + usage["backingStorageSize"]

    def busy_share(self, seconds):
        """Of one core: processor time of all that the main thread does."""
        begin, then = self.task_seconds(), time.monotonic()
        time.sleep(seconds)
        return (self.task_seconds() - begin) / (time.monotonic() - then)

    def task_seconds(self):
        metrics = self.command("Performance.getMetrics")["metrics"]
        return next(m["value"] for m in metrics if m["name"] == "TaskDuration")

    def fields(self, name):
        return self.driver.execute_script(
            "return [...document.querySelectorAll(arguments[0])].map((e) => e.textContent)", name)


def measure(topics, rate, wait_until_full):
    """Heap with full windows, its growth, what was missed, and the share at the real pace."""
    instruments = Instruments(topics, rate)
    instruments.start()
    browser = Browser()
    browser.seconds_until(".line", len(topics))
    wait_until_full(browser)
    early, begin = browser.heap(), instruments.published
    while instruments.published < begin + MESSAGES:
        time.sleep(1)
    growth = browser.heap() - early
    instruments.speed = 1
    time.sleep(5)
    missed = sum(int(re.sub(r"\D", "", text)) for text in browser.fields("[data-line=missed]"))
    share = browser.busy_share(PACED_SECONDS)
    return browser, instruments, early, growth, missed, share


def wait_for_means(browser):
    """Until there are ten minutes of each port: the means say as long as there are less."""
    for what in all, lambda texts: not any(texts):
        while not what(browser.fields("[data-field=tenSpan]")):
            time.sleep(1)
    time.sleep(5)


def heap_rows(ports, early, growth, missed):
    yield f"heap with {ports} full windows, after collection", f"{early / MIB:.1f} MiB", "", None
    yield (f"grown in {MESSAGES:,} further messages",
           f"{growth / MIB:.2f} MiB", "< 5 MiB", growth < 5 * MIB)
    yield "missed by the page in the last ten minutes", f"{missed}", "0", missed == 0


def rows():
    page = Path(sys.argv[1])
    end = int(time.time()) // 1800 * 1800
    instruments = [{"port": topic.split("/")[5], "serial_number": f"0123{k}",
                    "half_hours": half_hours.lines(end)} for k, topic in enumerate(LOGGER)]
    logger = half_hours.stations_file([{"name": "mast-07", "instruments": instruments}], end + 60)
    data = Path(os.environ["DEVICE_RUN"], "data")
    data.mkdir()
    subprocess.run(["mount", "--bind", data, page / "data"], check=True)
    (data / "stations.json").write_text(json.dumps(logger))

    browser, instruments, *heap, share = measure(LOGGER, RATE_HZ, wait_for_means)
    first = max(browser.seconds_until(".card[data-state=live]", 3) for _ in range(5))
    night = max(browser.seconds_until(".calendar .good", 3 * 8 * 48) for _ in range(5))
    browser.driver.quit()
    instruments.stopped = True
    yield "**Three ports at 32 Hz, all charts in sight, eight days of half hours**", "", "", None
    for what, seconds in ("first record", first), ("half hours", night):
        yield (f"{what} on the page after opening it, longest of five",
               f"{seconds:.2f} s", "< 2 s", seconds < 2)
    yield "main thread, share of one core", f"{share * 100:.1f} %", "< 25 %", share < 0.25
    yield from heap_rows("three", *heap)

    size = sum(p.stat().st_size for p in page.iterdir() if p.is_file() and p.name != "licences.txt")
    written = len(json.dumps(half_hours.a_night_with_gaps(end)))
    yield "all that the page loads, without half hours", f"{size / KIB:.0f} KiB", "", None
    yield ("with eight days of half hours of one instrument", f"{(size + written) / KIB:.0f} KiB",
           "< 600 KiB", size + written < 600 * KIB)

    (data / "stations.json").unlink()
    become_central()
    _, _, *heap, share = measure(CENTRAL, 1, lambda browser: time.sleep(600 / SPEED + 5))
    yield "**200 ports, a line each, one record a second**", "", "", None
    yield "main thread, share of one core", f"{share * 100:.1f} %", "< 10 %", share < 0.1
    yield from heap_rows("200", *heap)


def become_central():
    """Replaces the logger's broker by one that shows the ports of all loggers."""
    os.kill(int(Path(os.environ["DEVICE_BROKER_PID"]).read_text()), 15)
    rights = ROOT / "deploy/mosquitto"
    configuration = Path(os.environ["DEVICE_BROKER_CONF"])
    central = configuration.with_name("central.conf")
    central.write_text(configuration.read_text().replace(
        f"{rights}/sonicd-live.acl", f"{rights}/live-central.acl.example"))
    time.sleep(2)
    subprocess.Popen(["mosquitto", "-c", central], stderr=subprocess.DEVNULL)
    time.sleep(2)


def table():
    version = subprocess.run(["chromium", "--version"], capture_output=True, text=True).stdout
    lines = [f"{' '.join(version.split()[:2])}, {os.cpu_count()} cores, "
             f"load {os.getloadavg()[2]:.1f}, {datetime.date.today()}.", "",
             "| what | measured | target | |", "|---|---|---|---|"]
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
