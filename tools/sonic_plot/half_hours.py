"""Half-hour statistics with double rotation; data-format.md has the formulas and their source."""

import numpy

HALF_HOUR = 1800 * 10**9
# Column, digits after the point.
COLUMNS = [("records", 0), ("u", 4), ("v", 4), ("w", 4), ("ts", 4), ("speed", 4), ("direction", 2),
           ("sd_u", 4), ("sd_v", 4), ("sd_w", 4), ("sd_ts", 4), ("uw", 5), ("vw", 5), ("wt", 5),
           ("ustar", 4)]


def direction(u, v):
    """Where the wind comes from, in degrees, clockwise from the instrument's north."""
    return numpy.degrees(numpy.arctan2(u, v)) % 360


def statistics(u, v, w, ts):
    """One half hour's row without its start."""
    mean_u, mean_v, mean_w, mean_ts = (numpy.round(x.mean(), 9) + 0.0 for x in (u, v, w, ts))
    eta = numpy.arctan2(mean_v, mean_u)
    phi = numpy.arctan2(mean_w, numpy.hypot(mean_u, mean_v))
    along = u * numpy.cos(eta) + v * numpy.sin(eta)
    u2 = along * numpy.cos(phi) + w * numpy.sin(phi)
    v2 = v * numpy.cos(eta) - u * numpy.sin(eta)
    w2 = w * numpy.cos(phi) - along * numpy.sin(phi)

    def covariance(a, b):
        return ((a - a.mean()) * (b - b.mean())).mean()

    uw, vw = covariance(u2, w2), covariance(v2, w2)
    return {"records": len(u), "u": mean_u, "v": mean_v, "w": mean_w, "ts": mean_ts,
            "speed": numpy.sqrt(mean_u**2 + mean_v**2 + mean_w**2),
            "direction": direction(mean_u, mean_v),
            "sd_u": u2.std(), "sd_v": v2.std(), "sd_w": w2.std(), "sd_ts": ts.std(),
            "uw": uw, "vw": vw, "wt": covariance(w2, ts), "ustar": (uw**2 + vw**2) ** 0.25}


def half_hours(records):
    """(start, row) of each half hour of record time that has a record without a fault."""
    starts = records.time // HALF_HOUR * HALF_HOUR
    good = ~records.fault
    for start in numpy.unique(starts[good]):
        chosen = good & (starts == start)
        yield start, statistics(*(records.values[name][chosen] for name in ("u", "v", "w", "ts")))


def table(records):
    """Lines of text in columns that tabs divide."""
    yield "\t".join(["start"] + [name for name, _ in COLUMNS])
    for start, row in half_hours(records):
        # The means have nine digits, and so have these, so that neither a mean that ends in a 5 nor
        # the direction of one that is 0 hangs on the last bit of a sum. A half goes up, so that the
        # archive's query gives the same, and a zero has no sign.
        cells = [f"{numpy.floor(numpy.round(row[name], 9) * 10**n + 0.5) / 10**n:.{n}f}"
                 for name, n in COLUMNS]
        yield "\t".join([f"{numpy.datetime64(int(start), 'ns').astype('M8[s]')}Z"] + cells)
