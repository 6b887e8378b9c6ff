"""Times as users write them, and as the archive prints them."""

import re
from datetime import datetime, timedelta, timezone

NANOSECONDS = 10**9
HALF_HOUR = 1800
END_OF_TIME = 9223372036  # seconds: nanoseconds fit 63 bits before it
EPOCH = re.compile(r"(\d{1,10})(?:\.(\d{1,9}))?", re.ASCII)
ISO = re.compile(r"(\d{4}-\d\d-\d\d)(?:[T ](\d\d:\d\d)(?::(\d\d)(?:\.(\d{1,9}))?)?Z?)?", re.ASCII)
BEGINNING = datetime(1970, 1, 1, tzinfo=timezone.utc)


def parse_time(text):
    """Nanoseconds since 1970, by the rules of `sonic-records --from`: seconds since 1970, or
    ISO 8601 in UTC, as short as a day. ValueError for anything else."""
    if match := EPOCH.fullmatch(text):
        seconds, fraction = int(match[1]), match[2]
    elif match := ISO.fullmatch(text):
        moment = datetime.fromisoformat(
            f"{match[1]}T{match[2] or '00:00'}:{match[3] or '00'}+00:00")
        seconds, fraction = (moment - BEGINNING) // timedelta(seconds=1), match[4]
    else:
        raise ValueError(text)
    if not 0 <= seconds < END_OF_TIME:
        raise ValueError(text)
    return seconds * NANOSECONDS + int((fraction or "").ljust(9, "0"))


def iso_text(nanoseconds):
    """With nine digits after the point, so that the texts sort as the times do."""
    seconds, fraction = divmod(nanoseconds, NANOSECONDS)
    moment = BEGINNING + timedelta(seconds=seconds)
    return f"{moment:%Y-%m-%dT%H:%M:%S}.{fraction:09}Z"
