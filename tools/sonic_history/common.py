"""What all parts use."""

import sys
from datetime import datetime, timezone

HALF_HOUR = 1800
DAY = 86400
SPAN = 8 * DAY


class Unusable(Exception):
    """Nothing can be written."""


def say(text):
    """Prints a message under the program's name."""
    print(f"sonicd-history: {text}", file=sys.stderr, flush=True)


def time_text(seconds):
    """Seconds since 1970 as 2023-11-14T22:30:00Z."""
    return f"{datetime.fromtimestamp(seconds, timezone.utc):%Y-%m-%dT%H:%M:%SZ}"
