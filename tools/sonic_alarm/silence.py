"""Ports from which no records arrive, by what the broker retains."""

import re
import shlex
import subprocess
import sys

from sonic_alarm.condition import Condition, span_text, time_text

LISTEN_SECONDS = 3
CONNECT_SECONDS = 20
TIMED_OUT = 27  # exit status of mosquitto_sub
TOPICS = "+/home/qelta/device/port/+"  # a central broker has the logger's name before the slash
TOPIC = re.compile(r"([^/]*)/home/qelta/device/port/([^/]+)")
STAMP = re.compile(rb'"SECONDS" *: *(\d{1,10})\b')


def listen(options):
    """By port's name, the last record and whether it arrived now; else it was retained. None where
    the broker does not answer."""
    command = ["mosquitto_sub", *shlex.split(options), "-t", TOPICS, "-W", str(LISTEN_SECONDS),
               "-F", "%r %x %t"]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=CONNECT_SECONDS + LISTEN_SECONDS)
    except (OSError, subprocess.TimeoutExpired) as error:
        print(f"sonic-alarm: {error}", file=sys.stderr)
        return None
    if done.returncode not in (0, TIMED_OUT):  # it says on standard error that it timed out, too
        print(f"sonic-alarm: {done.stderr.decode(errors='replace').strip()}", file=sys.stderr)
        return None
    records = {}
    for line in done.stdout.decode(errors="replace").splitlines():
        retained, payload, topic = line.split(" ", 2)
        if (match := TOPIC.fullmatch(topic)) and payload:
            records["/".join(filter(None, match.groups()))] = payload, retained == "0"
    return records


def enter(ports, records, now, last_run):
    """Enters what was heard into `ports`, the state of the last run: of each port its record and
    when that came. What is not retained any more stays: a broker that lost its memory says nothing
    of a mast."""
    for name, (record, is_live) in records.items():
        known = ports.get(name)
        if known and known["record"] == record and not is_live:
            continue
        match = STAMP.search(bytes.fromhex(record))
        heard = min(int(match[1]), now) if match and not is_live else now
        if known and heard < last_run:  # what is new has arrived since then, whatever its stamp
            heard = now
        ports[name] = {"record": record, "heard": heard}


def conditions(ports, now, minutes):
    """One for each port: silent is one without a record for more than `minutes`."""
    for name, port in ports.items():
        silent = now - port["heard"]
        problem = None
        if silent > minutes * 60:
            problem = f"no record for {span_text(silent)}, since {time_text(port['heard'])}"
        *station, number = name.split("/")
        subject = " ".join([*station, f"port {number}"])
        yield Condition(f"silent {name}", subject, problem, "records arrive")
