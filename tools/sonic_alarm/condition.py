"""What can be wrong."""

from collections import namedtuple
from datetime import datetime, timezone

# `key` names it in the state file. `problem` says what is wrong now, or is None where all is well;
# `well` says that it is over.
Condition = namedtuple("Condition", "key subject problem well")


def time_text(seconds):
    """Seconds since 1970 as 2023-11-14 22:30 UTC."""
    return f"{datetime.fromtimestamp(seconds, timezone.utc):%Y-%m-%d %H:%M} UTC"


def parse_time(text):
    """Seconds since 1970. Raises ValueError."""
    return datetime.strptime(text, "%Y-%m-%dT%H:%M:%SZ").replace(tzinfo=timezone.utc).timestamp()


def span_text(seconds):
    """Seconds in minutes, hours or days, whichever a reader wants."""
    minutes = round(seconds / 60)
    if minutes < 60:
        return f"{minutes} min"
    if minutes < 48 * 60:
        return f"{minutes // 60} h {minutes % 60} min"
    return f"{minutes // 1440} days"
