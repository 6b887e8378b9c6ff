"""What can be wrong on this host: its disks, and the loading of the archive."""

import json
import shutil

from sonic_alarm.condition import Condition, parse_time, span_text, time_text

MARGIN = 2  # percent


def disk(folder, limit, active):
    """Raises OSError."""
    usage = shutil.disk_usage(folder)
    free = 100 * usage.free / usage.total
    key = f"disk {folder}"
    is_full = free < limit + MARGIN * (key in active)
    text = f"{free:.1f} % free"
    return Condition(key, f"this host, disk of {folder}", text if is_full else None, text)


def loading(path, now, hours):
    """What sonic-load left of its last run. Raises OSError, and ValueError, TypeError or KeyError
    for another file."""
    state = json.loads(path.read_text())
    finished = parse_time(state["finished"])
    last_ok = parse_time(state["last_ok"]) if state["last_ok"] else None
    problem = None
    if now - finished > hours * 3600:
        problem = f"has not run for {span_text(now - finished)}"
    elif not state["ok"] and (last_ok is None or now - last_ok > hours * 3600):
        since = f"since {time_text(last_ok)}" if last_ok else "ever"
        why = [state["error"]] if state["error"] else []
        why += [f"{left['file']}: {left['reason']}" for left in state["left_out_files"][:3]]
        problem = f"not everything was loaded {since}: {'; '.join(why)}"
    return Condition("load", "sonic-load", problem, "everything is loaded")
