"""The plane of the mean wind over many half hours; doc/half-hours.md has the formula and its
source."""

import numpy

MIN_PERCENT = 90   # of the records of a half hour
MIN_SPEED = 1.0    # m/s
MIN_PERIODS = 10
# Winds along one line do not determine a plane. The least spread across that line, in m/s.
MIN_SPREAD = 0.3
HEAD = "from\tto\tperiods\tb0\tb1\tb2"


def usable(table):
    """Which half hours are complete, and have a wind."""
    return (table["percent"] >= MIN_PERCENT) & (table["speed"] >= MIN_SPEED)


def fit(u, v, w):
    """b0, b1 and b2 of w = b0 + b1 u + b2 v by least squares; None where the winds are too few."""
    if len(u) < MIN_PERIODS:
        return None
    spread = numpy.linalg.svd(numpy.column_stack([u - u.mean(), v - v.mean()]), compute_uv=False)
    if spread[1] / numpy.sqrt(len(u)) < MIN_SPREAD:
        return None
    return numpy.linalg.lstsq(numpy.column_stack([numpy.ones(len(u)), u, v]), w, rcond=None)[0]


def lines(table, sectors):
    """The text of a file for `sonic-records --rotation planar:FILE`, and a sentence for each sector
    that has no plane."""
    chosen = usable(table)
    width = 360 / sectors
    text, missing = [HEAD], []
    for sector in range(sectors):
        first, last = sector * width, (sector + 1) * width
        inside = chosen & (table["direction"] >= first) & (table["direction"] < last)
        found = fit(*(table[name][inside] for name in ("u", "v", "w")))
        if found is None:
            missing.append(f"no plane for wind from {first:g} to {last:g} degrees: its "
                           f"{inside.sum()} half hours are too few or too much alike")
        else:
            text.append(f"{first:g}\t{last:g}\t{inside.sum()}\t"
                        + "\t".join(f"{b:.6f}" for b in found))
    return text, missing
