"""Shares of records and of faults, and room on the disks, by what is written for the live page."""

import json

from sonic_alarm.condition import Condition, parse_time, span_text, time_text

KEY, SUBJECT = "half hours", "half hours of the live page"
HALF_HOUR = 1800
HOURS = 6                # that a share is of
SETTLED_SECONDS = 3600   # after which the records of a half hour should be there
MAX_AGE_SECONDS = 7200   # of the file
RETIRED_SECONDS = 8 * 86400
MARGIN = 2  # percent, or days: well again is what is better than the limit by this


def rows_of(station, folder):
    """By serial number, the newest rows of each instrument as dictionaries, by start."""
    contents = [station]
    for _, path in sorted(station.get("files", {}).items())[-2:]:
        contents += json.loads((folder / path).read_text())["stations"]
    instruments = {}
    for content in contents:
        for instrument in content["instruments"]:
            header, *lines = instrument.get("half_hours") or [""]
            rows = instruments.setdefault(instrument["serial_number"], {})
            for line in lines:
                row = dict(zip(header.split(","), line.split(",")))
                rows[parse_time(row["start"])] = row
    return {serial: rows for serial, rows in instruments.items() if rows}


def count(row, name):
    """A whole number of a row; 0 for an empty cell."""
    return int(row.get(name) or 0)


def conditions(path, now, limits, active):
    """`limits` has records and faults in percent and room in days, `active` the keys of what was
    wrong before. Raises OSError, and ValueError, TypeError, KeyError or AttributeError for another
    file."""
    if not path.exists():
        return
    file = json.loads(path.read_text())
    has_rows = False
    for station in file["stations"]:
        for serial, rows in rows_of(station, path.parent).items():
            has_rows = True
            yield from _shares(station["name"], serial, rows, now, limits, active)
        for disk in station.get("room", []):
            yield _room(station["name"], disk, limits.room, active)
    age = now - parse_time(file["written"])
    yield Condition(KEY, SUBJECT, f"not written for {span_text(age)}"
                    if has_rows and age > MAX_AGE_SECONDS else None, "they are written")


def _shares(name, serial, rows, now, limits, active):
    end = (now - SETTLED_SECONDS) // HALF_HOUR * HALF_HOUR
    begin = end - HOURS * 3600
    if max(rows) < now - RETIRED_SECONDS or min(rows) > begin:  # taken down, or new
        return
    usual = max(count(row, "expected") for row in rows.values())
    window = [rows.get(start, {}) for start in range(begin, end, HALF_HOUR)]
    records, faults = (sum(count(row, key) for row in window) for key in ("records", "faults"))
    expected = sum(count(row, "expected") or usual for row in window)
    subject = f"{name} instrument {serial}"
    span = f"of the {HOURS} hours before {time_text(end)}"
    if limits.records and expected:
        share = 100 * records / expected
        key = f"records {name} {serial}"
        limit = min(100, limits.records + MARGIN * (key in active))
        yield Condition(key, subject, f"{share:.1f} % of the records {span} are there and good"
                        if share < limit else None, f"{share:.1f} % of the records are good")
    if limits.faults and records + faults:
        share = 100 * faults / (records + faults)
        key = f"faults {name} {serial}"
        limit = max(0, limits.faults - MARGIN * (key in active))
        yield Condition(key, subject, f"{share:.1f} % of the records {span} have a fault"
                        if share > limit else None, f"{share:.1f} % of the records have a fault")


def _room(name, disk, limit, active):
    key = f"room {name} {disk['folder']}"
    days = disk["days"]
    is_short = limit and days < limit + MARGIN * (key in active)
    return Condition(key, f"{name}, disk of {disk['folder']}",
                     f"room for {days} days of data" if is_short else None,
                     f"room for {days} days of data")
