"""Looks for what keeps records away, in the order in which they pass, and says what to do."""

import shutil
from pathlib import Path

from . import OWNER, output
from .causes import cause

ROOM_PROGRAMS = [Path("/usr/libexec/sonicd-room"), Path("/usr/local/libexec/sonicd-room")]
FILE_LINES = 50  # at the end of the newest file
LISTEN = 5  # seconds for a record at the broker
GOOD, NOTE, BAD = "ok", "note", "PROBLEM"


def service(instance):
    """Findings about the service: whether it runs, and from the start."""
    state = output("systemctl", "is-active", instance.unit)
    if state != "active":
        advice = (f"systemctl start {instance.unit}" if state == "inactive"
                  else "It is tried again every ten seconds; the reason is below.")
        yield BAD, f"the service is {state}", advice
    else:
        yield GOOD, f"the service runs since {instance.property('ActiveEnterTimestamp')}", ""
    restarts = instance.property("NRestarts")
    if restarts not in ("", "0"):
        yield NOTE, f"it ended and was started again {restarts} times", ""
    enabled = output("systemctl", "is-enabled", instance.unit) == "enabled"
    if not enabled and not instance.is_simulated():
        yield NOTE, "it will not start with the logger", f"systemctl enable {instance.unit}"


def folder(instance):
    """Findings about the data folder and the files in it."""
    path = instance.folder()
    if not path.is_dir():
        yield (BAD, f"the data folder {path} is missing",
               f"sonicd-setup {instance.port} makes it again; for a disk, mount it first")
        return
    if path.owner() != OWNER:
        yield BAD, f"the data folder {path} belongs to {path.owner()}", f"chown -R {OWNER}: {path}"
    if instance.serial() in (None, "", "unknown"):
        yield (BAD, f"{path}/config.json has no serial number",
               f"sonicd-setup {instance.port} --serial NUMBER")
    else:
        yield GOOD, f"data folder {path}, serial number {instance.serial()}", ""
    reported = instance.reported_serial()
    if reported and reported != instance.serial() and not instance.is_simulated():
        yield (NOTE, f"the instrument itself says {reported}",
               f"If that is right: sonicd-setup {instance.port} --serial {reported}")
    programs = [str(p) for p in ROOM_PROGRAMS if p.exists()]
    warning = output(programs[0], str(path)) if programs else ""
    if warning:
        yield BAD, warning.removeprefix("<4>"), "Fetch old files and delete them."


def port(instance):
    """Who offers the port, and whether the instrument has power."""
    if instance.is_simulated():
        yield GOOD, "the instrument is simulated", ""
        return
    if instance.uses_driver():
        device = instance.device()
        if not device:
            yield (BAD, f"{instance.driver_settings} names no DEVICE",
                   f"sonicd-setup {instance.port} --device DEVICE")
        elif not Path(device).exists():
            yield (BAD, f"{device} is missing: unplugged, or under another name",
                   "ls -l /dev/serial/by-id/")
        elif not instance.is_active(instance.driver):
            yield BAD, f"{instance.driver} does not run", f"journalctl -u {instance.driver} -n 20"
        else:
            yield GOOD, f"sonic-port reads {device}", ""
    elif not Path("/dev", instance.port).is_char_device():
        yield (BAD, f"this machine has no /dev/{instance.port}",
               f"sonicd-setup {instance.port} --device DEVICE, for an adapter or UART")
    if not instance.power_line.exists():
        yield NOTE, "this machine does not switch the instrument's power (no GPIO line)", ""
    elif instance.power_line.read_text().strip() != "1" and instance.is_active():
        yield (BAD, f"the power line is off: {instance.power_line}",
               f"systemctl restart {instance.unit}")


def journal(instance):
    """What ended the daemon last, within the last hour."""
    lines = output("journalctl", "--quiet", "--output=cat", "--since=-1h",
                   f"--unit={instance.unit}", f"--unit={instance.driver}").splitlines()
    found = [(line, cause(line)) for line in lines]
    found = [(line, explained) for line, explained in found if explained]
    if found:
        line, (meaning, advice) = found[-1]
        yield NOTE, f"journal of the last hour: {meaning} ({line.strip()})", advice


def file(instance):
    """Whether records are written; the list's last word is about the file that grows."""
    newest = instance.newest_file()
    if newest is None:
        yield BAD, "there is no data file", "No record has arrived yet."
        return
    try:
        with newest.open("rb") as stream:
            stream.seek(max(0, newest.stat().st_size - 100 * FILE_LINES))
            lines = stream.read().splitlines()[-FILE_LINES:]
    except OSError as error:
        yield BAD, f"{newest}: {error.strerror}", ""
        return
    bad = sum(line.startswith(b"DATAERROR\t") for line in lines)
    if bad > len(lines) / 2:
        yield (BAD, f"{newest} gets records that fail their checks",
               f"Check cable and grounding. To set up the instrument again: systemctl restart "
               f"{instance.unit}")
    else:
        yield GOOD, f"newest data file: {newest}", ""


def heard(topic, *options, seconds):
    """The first message on the topic, empty if there is none in time."""
    return output("mosquitto_sub", "-h", "::1", "-C", "1", "-W", str(seconds), "-t", topic,
                  *options)


def broker(instance):
    """Findings about the broker: whether records arrive there."""
    if not shutil.which("mosquitto_sub"):
        yield NOTE, "mosquitto-clients is missing: the broker was not asked", ""
    elif not instance.is_active("mosquitto"):
        yield (BAD, "the broker does not run; files are written all the same",
               "systemctl restart mosquitto; the end of /var/log/mosquitto/mosquitto.log")
    elif heard(instance.topic, "-R", seconds=LISTEN):
        yield GOOD, "records arrive", ""
    else:
        status = heard(f"{instance.topic}/status", seconds=2)
        yield (BAD, f"no record within {LISTEN} seconds; last status: {status or 'none'}",
               "A start takes up to two minutes: check again. Otherwise see above.")


def check(instances):
    """Prints what is found of each instance; 1 if there is a problem, otherwise 0."""
    if not instances:
        print("No instrument is set up.\n  -> sonicd-setup PORT, or sonicd-setup --simulated")
        return 1
    problems = 0
    for instance in instances:
        print(f"{instance.port}:")
        for look in (service, folder, port, journal, file, broker):
            for kind, text, advice in look(instance):
                print(f"  {kind:7}  {text}" + (f"\n           -> {advice}" if advice else ""))
                problems += kind == BAD
    print("Nothing is wrong." if not problems else f"Problems found: {problems}")
    return 1 if problems else 0
