"""The result of the last run of sonic-load, as a file for programs that watch it."""

import json
from datetime import datetime, timezone

from sonic_archive import files, queries

MAX_FILES_NAMED = 100


def stations(archive):
    """What sonic-ask stations says, an object for each."""
    return [{"station": name.decode(), "first_record": first.decode(),
             "last_record": last.decode(), "half_hours_ahead": int(ahead)}
            for name, first, last, _, ahead in archive.rows(queries.text("stations"))]


def write(path, report, error, stations_now):
    """Replaces the state file. `error` is why the archive did not take everything, or None;
    `stations_now` is None where it gave no answer, and then they stay as they were."""
    try:
        before = json.loads(path.read_text())
    except (OSError, ValueError):
        before = {}
    now = f"{datetime.now(timezone.utc):%Y-%m-%dT%H:%M:%SZ}"
    ok = error is None and not report.left
    files.replace(path, {
        "finished": now,
        "ok": ok,
        "last_ok": now if ok else before.get("last_ok"),
        "error": error,
        "files": report.files,
        "records": report.records,
        "half_hours": report.half_hours,
        "left_out": len(report.left),
        "left_out_files": [{"file": file, "reason": why}
                           for file, why in report.left[:MAX_FILES_NAMED]],
        "stations": before.get("stations", []) if stations_now is None else stations_now,
    })
