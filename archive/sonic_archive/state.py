"""What the last run of sonic-load came to, for programs that watch it: doc/archive.md has the form."""

import json
import os
import tempfile
from datetime import datetime, timezone
from pathlib import Path

MOST_LEFT = 100  # names in the file
QUERY = Path(__file__).resolve().parent.parent / "queries/stations.sql"


def stations(archive):
    """What sonic-ask stations says, an object for each."""
    return [{"station": name.decode(), "first_record": first.decode(), "last_record": last.decode(),
             "half_hours_ahead": int(ahead)}
            for name, first, last, _, ahead in archive.rows(QUERY.read_text())]


def write(path, report, error, stations_now):
    """Replaces the file in one piece. What an archive that gives no answer cannot say stays as it
    was."""
    path = Path(path)
    try:
        before = json.loads(path.read_text())
    except (OSError, ValueError):
        before = {}
    now = f"{datetime.now(timezone.utc):%Y-%m-%dT%H:%M:%SZ}"
    ok = error is None and not report.left
    state = {
        "finished": now,
        "ok": ok,
        "last_ok": now if ok else before.get("last_ok"),
        "error": error,
        "files": report.files,
        "records": report.records,
        "half_hours": report.half_hours,
        "left_out": len(report.left),
        "left_out_files": [{"file": file, "reason": why} for file, why in report.left[:MOST_LEFT]],
        "stations": before.get("stations", []) if stations_now is None else stations_now,
    }
    with tempfile.NamedTemporaryFile("w", dir=path.parent, prefix=path.name, delete=False) as file:
        json.dump(state, file, indent=2)
        file.write("\n")
    os.chmod(file.name, 0o644)
    os.replace(file.name, path)
