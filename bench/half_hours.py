"""Made-up half hours of a mast, as the page's written file has them."""

import datetime
import math
import random

COLUMNS = """start records expected percent faults gaps spikes u v w sos ts speed speed_scalar
    direction sd_direction gust cov_uu cov_uv cov_uw cov_ut cov_vv cov_vw cov_vt cov_ww cov_wt
    cov_tt sd_u sd_v sd_w sd_ts uw vw wt ustar tke skew_w kurt_w skew_ts kurt_ts steady_uw
    steady_wt itc_u itc_w flag_uw flag_wt L zL""".split()
HALF_HOUR = 1800
DAY = 86400
EXPECTED = 32 * HALF_HOUR
DIGITS = {"percent": 2, "direction": 2, "sd_direction": 2}
WHOLE = {"records", "expected", "faults", "gaps", "spikes", "flag_uw", "flag_wt"}


def time_text(seconds):
    when = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
    return when.strftime("%Y-%m-%dT%H:%M:%SZ")


def half_hour(start, share, rng):
    """A row by column, of an ordinary day: windy and unstable at noon, calm and stable at night."""
    sun = math.cos((start / DAY % 1 - 0.55) * 2 * math.pi)
    speed = max(0.3, 3.2 + 2.2 * sun + rng.gauss(0, 0.5))
    direction = (230 + 40 * math.sin(start / 150000) + rng.gauss(0, 9)) % 360
    ustar = 0.08 * speed + rng.random() * 0.05
    row = {"start": time_text(start), "records": round(EXPECTED * share), "expected": EXPECTED,
           "percent": 100 * share, "faults": rng.choice([0, 0, 0, 3]), "gaps": int(share < 1),
           "spikes": rng.randrange(9), "sos": 340 + sun, "ts": 14 + 6 * sun + rng.gauss(0, 0.2),
           "u": speed * math.sin(math.radians(direction)), "w": rng.gauss(0, 0.02),
           "v": speed * math.cos(math.radians(direction)),
           "speed": speed * 0.97, "speed_scalar": speed, "gust": speed * 1.6,
           "direction": direction, "sd_direction": 12 + 8 * rng.random(),
           "ustar": ustar, "uw": -ustar ** 2, "vw": 0.0,
           "wt": 0.09 * max(-0.3, sun) + rng.gauss(0, 0.005),
           "flag_uw": rng.choice([0, 0, 0, 1]) if share > 0.9 else 2,
           "flag_wt": rng.choice([0, 0, 1]) if share > 0.9 else 2}
    for name in COLUMNS[COLUMNS.index("cov_uu"):COLUMNS.index("steady_uw")]:
        row.setdefault(name, rng.gauss(0, 0.3) ** 2)
    return row


def cell(name, value):
    if value is None or isinstance(value, str):
        return value or ""
    return str(value) if name in WHOLE else f"{value:.{DIGITS.get(name, 4)}f}"


def lines(end, days=8, gaps=(), shares=None, seed=1):
    """Lines as `sonic-records --half-hours --format csv` prints them: the days before `end`,
    without the half hours whose indices are in `gaps`; `shares` of the records by index."""
    rng = random.Random(seed)
    starts = range(end - days * DAY, end, HALF_HOUR)
    rows = [half_hour(start, (shares or {}).get(i, 1), rng) for i, start in enumerate(starts)
            if i not in gaps]
    return [",".join(COLUMNS)] + [",".join(cell(name, row.get(name)) for name in COLUMNS)
                                  for row in rows]


def stations_file(stations, written):
    return {"format": 1, "written": time_text(written), "stations": stations}


def a_night_with_gaps(end, **more):
    """One logger, one instrument, eight days: an hour without data, a poor evening, a silent night.
    `more` are further keys of the instrument."""
    shares = {i: 0.99 - 0.01 * (i % 7) for i in range(330, 336)}
    shares |= {i: 0.31 for i in range(340, 346)}
    instrument = {"port": "1", "serial_number": "01234", **more,
                  "half_hours": lines(end, gaps={100, 101, *range(346, 352)}, shares=shares)}
    room = {"folder": "/home/qelta/device", "free_bytes": 12_345_678_900,
            "day_bytes": 189_900_000, "days": 65, "warning": None}
    station = {"name": "mast-07", "room": [room], "instruments": [instrument]}
    return stations_file([station], end + 60)
