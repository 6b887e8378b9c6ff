"""What all parts use."""

import sys
from datetime import datetime, timezone

HALF_HOUR = 1800
DAY = 86400
SPAN = 8 * DAY


class Unusable(Exception):
    """Nothing can be written."""


def say(text):
    print(f"sonicd-history: {text}", file=sys.stderr, flush=True)


def time_text(seconds):
    return f"{datetime.fromtimestamp(seconds, timezone.utc):%Y-%m-%dT%H:%M:%SZ}"
