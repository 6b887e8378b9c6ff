"""Waits for the first record and reports the progress of a start in plain words."""

import contextlib
import json
import selectors
import shutil
import subprocess
import time

from .causes import cause

STATUS = {
    "Connecting (no data)": "nothing heard yet",
    "Connecting (got data)": "bytes arrive",
    "Configuring": "setting up the instrument, which takes up to a minute",
    "Connected": "the instrument is set up and sends records",
    "Disconnected": "no data",
    "Dropping excessive buffer": "noise arrives: check cable and baud rate",
}
UNITS = {"u": "m/s", "v": "m/s", "w": "m/s", "sos": "m/s", "ts": "°C"}
BROKER_LAG = 5  # seconds until a record in the file must have been published, too


def plain_status(text):
    """A status in words for people."""
    if text.startswith("Info trying "):
        return f"listening at {text.removeprefix('Info trying ')} baud"
    if text.startswith("Info connected at "):
        return f"the instrument was found {text.removeprefix('Info connected ')}"
    return STATUS.get(text, text)


def plain_record(text):
    """A published record with its units; any other text as it is."""
    try:
        record = json.loads(text)
        return ", ".join(f"{name} {record[name]} {unit}" for name, unit in UNITS.items())
    except (ValueError, LookupError, TypeError):
        return text


class Progress:
    """Prints each new step with the seconds since the start."""

    def __init__(self):
        self._begin = time.monotonic()
        self._last = None
        self._causes = set()

    def seconds(self):
        """Since the beginning."""
        return time.monotonic() - self._begin

    def say(self, text):
        """Prints a line, unless it is the last one again."""
        if text != self._last:
            self._print(text)
        self._last = text
        self._causes.clear()

    def say_cause(self, text):
        """Once, until the next step: a start that fails is tried again every few seconds."""
        if text not in self._causes:
            self._print(text)
        self._last = None
        self._causes.add(text)

    def _print(self, text):
        print(f"{self.seconds():5.0f} s  {text}", flush=True)


@contextlib.contextmanager
def following(commands):
    """Lines that the commands print, by (seconds to wait at most): (index of the command, line)."""
    with contextlib.ExitStack() as stack:
        selector = stack.enter_context(selectors.DefaultSelector())
        for index, command in enumerate(commands):
            process = stack.enter_context(subprocess.Popen(
                command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, bufsize=0,
                stdin=subprocess.DEVNULL))
            stack.callback(process.terminate)
            selector.register(process.stdout, selectors.EVENT_READ, index)

        def lines(seconds):
            for key, _ in selector.select(seconds):
                line = key.fileobj.readline()
                if not line:
                    selector.unregister(key.fileobj)
                    continue
                yield key.data, line.decode(errors="replace").rstrip("\n")

        yield lines


def wait_for_record(instance, limit):
    """Starts the instance; 0 when a record arrived within `limit` seconds, otherwise 1."""
    progress = Progress()
    journal = ["journalctl", "--follow", "--lines=0", "--output=cat",
               f"--unit={instance.unit}", f"--unit={instance.driver}"]
    broker = ["mosquitto_sub", "-h", "::1", "-R", "-v", "-t", instance.topic,
              "-t", f"{instance.topic}/status"]
    print(f"Waiting {limit} seconds at most for the first record. Ctrl-C ends only the waiting.")
    started = time.time()
    instance.prepare()
    with following([journal] + [broker] * bool(shutil.which(broker[0]))) as lines:
        instance.start()
        in_file = None  # since when
        while progress.seconds() < limit:
            for source, line in lines(0.5):
                if source == 0:
                    explain(progress, line)
                    continue
                topic, _, text = line.partition(" ")
                if topic == instance.topic:
                    progress.say(f"first record: {plain_record(text)}")
                    conclude(instance, "")
                    return 0
                progress.say(plain_status(text))
            if in_file is None and instance.last_line(started).startswith("DATA_SONIC\t"):
                in_file = progress.seconds()
            if in_file is not None and progress.seconds() > in_file + BROKER_LAG:
                progress.say("records are written to the file")
                conclude(instance, "The broker does not publish them, so the page shows none: "
                         "systemctl status mosquitto")
                return 0
    return 1


def explain(progress, line):
    """Says what is wrong if the line of the journal tells it."""
    found = cause(line)
    if found:
        progress.say_cause(f"{found[0]} ({line.strip()})\n         {found[1]}")


def conclude(instance, remark):
    """Where the data are, and whether they are this instrument's."""
    given, reported = instance.serial(), instance.reported_serial()
    if reported and given and reported != given and not instance.is_simulated():
        print(f"\nThe instrument says its serial number is {reported}, the settings say {given}. "
              f"If the instrument is right:\n  sonicd-setup {instance.port} --serial {reported}")
    print(f"\nRecords arrive. Data file: {instance.newest_file()}")
    if remark:
        print(remark)
    else:
        print("Live page: http://localhost:8080/ on this machine; from your own computer run\n"
              "  ssh -L 8080:127.0.0.1:8080 LOGGER\nfirst, with this machine's name for LOGGER.")
