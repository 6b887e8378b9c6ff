"""Data files by half hour, and files that others read."""

import json
import os
import re
import stat
from pathlib import Path

from sonic_history.common import DAY, HALF_HOUR, say

# 1700001000.young_81000_v.01234, and what sonicd-compress makes of it
NAME = re.compile(r"(\d{1,10})\.([^.]+)\.(.+?)((?:\.\d+)?\.(?:gz|xz|zst))?")


def replace(path, contents):
    """Writes JSON in one piece that outlives a power cut."""
    part = path.with_name(f".{path.name}.part")
    part.unlink(missing_ok=True)  # one that another user left could not be written
    try:
        with open(part, "w", encoding="ascii") as file:
            json.dump(contents, file, separators=(",", ":"))
            file.write("\n")
            file.flush()
            os.fchmod(file.fileno(), 0o644)  # the broker reads it
            os.fsync(file.fileno())
        part.replace(path)
    except OSError:
        part.unlink(missing_ok=True)
        raise


class Group:
    """The files of one instrument's half hour in a folder: plain, compressed, or both."""

    def __init__(self, folder, serial_number, start):
        self.folder = folder
        self.serial_number = serial_number
        self.start = start
        self.name = f"{folder}/{serial_number}/{start}"
        self.paths = []
        self.key = []

    def add(self, path, status):
        """Another file of the half hour, with its status as stat() gives it."""
        self.paths.append(str(path))
        self.key.append([path.name, status.st_size, status.st_mtime_ns])


def groups_in(folder, oldest, now):
    """The half hours of a folder that may have records since `oldest`, and at least the newest."""
    try:
        entries = sorted(os.scandir(folder), key=lambda entry: entry.name)
    except OSError as error:
        say(error)
        return []
    matches = [(entry, match) for entry in entries if (match := NAME.fullmatch(entry.name))]
    newest = max((int(match[1]) for _, match in matches), default=0)
    groups = {}
    for entry, match in matches:
        start = int(match[1])
        # A clock that was ahead and was put back goes on with the open file: for a day at most.
        if not oldest - HALF_HOUR < start < now + DAY and start != newest:
            continue
        try:
            status = entry.stat()
        except OSError:  # a link to nowhere, or removed meanwhile
            continue
        if stat.S_ISREG(status.st_mode):
            key = match[3], start
            groups.setdefault(key, Group(folder, *key)).add(Path(entry.path), status)
    return list(groups.values())
