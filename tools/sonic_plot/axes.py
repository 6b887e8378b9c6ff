"""What the figures have in common."""

import numpy
from matplotlib import dates, pyplot

DPI = 120
# Hours and minutes precede seconds, so that the times of a short plot do not look like numbers.
TIME_FORMATS = ["%Y", "%b", "%d", "%H:%M", "%H:%M", "%H:%M:%S.%f"]
ZERO_FORMATS = ["", "%Y", "%b", "%b-%d", "%H:%M", "%H:%M:%S.%f"]


def date(nanoseconds):
    """Nanoseconds since 1970 as matplotlib's days."""
    return dates.date2num(numpy.asarray(nanoseconds, "int64").astype("M8[ns]"))


def label_time(panel):
    """Its horizontal axis, whose values are of date()."""
    locator = dates.AutoDateLocator()
    panel.xaxis.set_major_locator(locator)
    panel.xaxis.set_major_formatter(dates.ConciseDateFormatter(
        locator, formats=TIME_FORMATS, zero_formats=ZERO_FORMATS))
    panel.set_xlabel("record time (UTC)")


def show(output):
    """Writes the figure to a file or, without one, opens a window; whether it could."""
    if output:
        pyplot.savefig(output, dpi=DPI)
    elif pyplot.get_backend().lower() == "agg":  # what pyplot turns to when it has no display
        return False
    else:
        pyplot.show()
    return True
