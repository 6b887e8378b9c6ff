"""Half hours of data files, by sonic-records."""

import os
import shutil
import subprocess
import sys

from sonic_history.common import Unusable, say, time_text

MAX_READING_SECONDS = 900  # of one file; a damaged one may decompress to any length
MAX_MESSAGES = 5           # about one file


class Table:
    """Rows of half hours by file. Those of files that have not changed are from the cache."""

    def __init__(self, cache, options, span):
        self.program = shutil.which("sonic-records")
        if self.program is None:
            raise Unusable("sonic-records is not installed")
        self.options = options
        self.begin, self.end = map(time_text, span)
        status = os.stat(self.program)
        made_by = [status.st_size, status.st_mtime_ns, options]
        is_same = cache.get("made_by") == made_by
        self.known = cache["entries"] if is_same else {}
        self.header = cache["header"] if is_same else ""
        self.entries = {}  # of this run
        self.made_by = made_by

    def rows(self, name, key, paths):
        """By start, the rows of all records in these files."""
        if name not in self.entries:
            known = self.known.get(name)
            is_same = known is not None and known["key"] == key
            self.entries[name] = known if is_same else self._read(key, paths)
        return self.entries[name]["rows"]

    def _read(self, key, paths):
        command = [self.program, "--half-hours", "--format", "csv", *self.options, "--", *paths]
        try:
            done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True,
                                  timeout=MAX_READING_SECONDS)
        except subprocess.TimeoutExpired:
            say(f"{paths[0]}: not read within {MAX_READING_SECONDS} s")
            return {"key": key, "rows": {}}
        messages = done.stderr.decode(errors="replace").splitlines()
        if done.returncode == 2:
            raise Unusable("\n".join(messages))
        for message in messages[:MAX_MESSAGES]:
            print(message, file=sys.stderr, flush=True)
        if done.returncode < 0:
            say(f"{paths[0]}: sonic-records was ended by signal {-done.returncode}")
            key = []  # which no file has: it is tried again
        header, *lines = done.stdout.decode(errors="replace").splitlines() or [""]
        self.header = header or self.header
        rows = {line.split(",", 1)[0]: line for line in lines}
        return {"key": key, "rows": {start: row for start, row in rows.items()
                                     if self.begin <= start < self.end}}

    def contents(self):
        """What the cache keeps for the next run."""
        return {"made_by": self.made_by, "header": self.header, "entries": self.entries}
