"""Figures of records over time and of their spectra."""

import numpy
from matplotlib import colors, dates, pyplot

from sonic_plot import half_hours, spectrum
from sonic_plot.reading import Unusable

DPI = 120
# Quantity, label, colour, and whether it is a line: a direction jumps at 360 degrees, so one record
# a column is a dot.
PANELS = [("u", "u (m/s)", "#1f6fb4", True), ("v", "v (m/s)", "#2a9d5c", True),
          ("w", "w (m/s)", "#7a4fb5", True), ("ts", "sonic temp. (°C)", "#d2691e", True),
          ("speed", "speed (m/s)", "#33658a", True), ("direction", "from (°)", "#86592d", False)]
COLOURS = {name: colour for name, _, colour, _ in PANELS}
# Spans between records, and marks at the record before what they stand for.
SPANS = {"gap": ("gap", "#f2b705"), "clock_back": ("clock set back", "#e05fd0")}
MARKS = {"error": ("error line", "#d00000", 0.03), "failed": ("failed check", "#000000", 0.09),
         "fault": ("diag fault", "#ff7f0e", 0.15)}
# No picture shows more columns than this; a window can be zoomed into.
PICTURE_COLUMNS, WINDOW_COLUMNS = 2000, 200000
# Hours and minutes stand before seconds, so that a short plot's times can be told from numbers.
TIME_FORMATS = ["%Y", "%b", "%d", "%H:%M", "%H:%M", "%H:%M:%S.%f"]
ZERO_FORMATS = ["", "%Y", "%b", "%b-%d", "%H:%M", "%H:%M:%S.%f"]


def quantity(records, name):
    values = records.values
    if name == "speed":
        return numpy.hypot(values["u"], values["v"])
    if name == "direction":
        return half_hours.direction(values["u"], values["v"])
    return values[name]


class TimeAxis:
    """Columns of equal width in time: as many as can be told apart."""

    def __init__(self, records, events, columns):
        first, last = records.time.min(), records.time.max()
        self.width = max((last - first) // columns, 1)
        self.time = records.time
        column = (records.time - first) // self.width
        gaps = numpy.isin(records.time[:-1], events.get("gap", ([], []))[0])
        # No line is drawn over a gap, a step back in time, or a record with a fault.
        broken = gaps | (numpy.diff(records.time) < 0) | (numpy.diff(records.fault) != 0)
        self.begins = numpy.concatenate([[0], numpy.flatnonzero(
            broken | (numpy.diff(column) != 0)) + 1])
        self.broken = numpy.isin(self.begins, numpy.flatnonzero(broken) + 1)
        self.is_good = ~records.fault[self.begins]
        has_no_neighbour = numpy.append(self.broken[1:], True) & (self.broken | (self.begins == 0))
        self.alone = self.begins[has_no_neighbour & self.is_good]

    def envelope(self, values):
        """The smallest and the largest value of each column as a line, interrupted where it is
        broken and where records have a fault."""
        both = numpy.column_stack([numpy.minimum.reduceat(values, self.begins),
                                   numpy.maximum.reduceat(values, self.begins)])
        both[~self.is_good] = numpy.nan
        at = numpy.flatnonzero(self.broken)
        time = numpy.insert(numpy.repeat(self.time[self.begins], 2), at * 2,
                            self.time[self.begins[at]])
        return date(time), numpy.insert(both.ravel(), at * 2, numpy.nan)

    def seen(self, times):
        """One time a column."""
        return numpy.unique(numpy.asarray(times, "int64") // self.width) * self.width


def date(nanoseconds):
    return dates.date2num(numpy.asarray(nanoseconds, "int64").astype("M8[ns]"))


def draw_marks(panel, events, axis):
    across = panel.get_xaxis_transform()  # time along, heights from 0 to 1
    for kind, (label, colour) in SPANS.items():
        times, lengths = events.get(kind, ([], []))
        if len(times):
            ends = times + lengths if kind == "gap" else times - lengths
            starts = date(numpy.minimum(times, ends))
            spans = list(zip(starts, date(numpy.maximum(times, ends)) - starts))
            # Outlined, so that one much narrower than a pixel still shows, and before the lines.
            panel.broken_barh(spans, (0, 1), transform=across,
                              facecolor=colors.to_rgba(colour, 0.4), edgecolor=colour,
                              linewidth=1, zorder=3, label=label)
    for kind, (label, colour, height) in MARKS.items():
        times = axis.seen(events.get(kind, ([], []))[0])
        if len(times):
            panel.plot(date(times), numpy.full(len(times), height), "^", transform=across,
                       color=colour, markersize=4, zorder=4, label=label)


def draw_records(records, events, title, is_picture):
    """A panel a quantity, over one time axis."""
    axis = TimeAxis(records, events, PICTURE_COLUMNS if is_picture else WINDOW_COLUMNS)
    events = {**events, "fault": (records.time[records.fault], None)}
    figure, panels = pyplot.subplots(len(PANELS), sharex=True, figsize=(12, 12),
                                     layout="constrained")
    for panel, (name, label, colour, is_line) in zip(panels, PANELS):
        values = quantity(records, name)
        if is_line:
            panel.plot(*axis.envelope(values), color=colour, linewidth=0.5)
        dots = axis.alone if is_line else axis.begins[axis.is_good]
        panel.plot(date(records.time[dots]), values[dots], ".", color=colour, markersize=2,
                   zorder=4)
        draw_marks(panel, events, axis)
        panel.set_ylabel(label)
        panel.grid(alpha=0.3)
        panel.margins(x=0.01, y=0.12)  # room for the marks
    figure.align_ylabels()
    locator = dates.AutoDateLocator()
    panels[-1].xaxis.set_major_locator(locator)
    panels[-1].xaxis.set_major_formatter(dates.ConciseDateFormatter(
        locator, formats=TIME_FORMATS, zero_formats=ZERO_FORMATS))
    panels[-1].set_xlabel("record time (UTC)")
    if panels[0].get_legend_handles_labels()[0]:
        panels[0].legend(loc="lower right", bbox_to_anchor=(1, 1), ncols=5, frameon=False)
    figure.suptitle(title, parse_math=False)


def draw_spectra(records, rate, title):
    """Power spectra of w and of the sonic temperature, each with a line of the slope -5/3."""
    found = spectrum.spectra(records, ("w", "ts"), rate)
    if found is None:
        raise Unusable("no spectrum: no stretch of records without a gap is long enough")
    frequency, power, size, segments = found
    figure, panels = pyplot.subplots(1, 2, figsize=(12, 6), layout="constrained")
    labels = (("w", "w: power (m²/s²/Hz)"), ("ts", "sonic temp.: power (°C²/Hz)"))
    for panel, (name, label) in zip(panels, labels):
        f, p = spectrum.smoothed(frequency, power[name])
        panel.loglog(f, p, ".-", color=COLOURS[name], linewidth=0.8)
        # Through the middle of the upper half, where turbulence hands its energy on.
        middle = 3 * len(f) // 4
        upper = f[len(f) // 2:]
        panel.loglog(upper, p[middle] * (upper / f[middle]) ** (-5 / 3), "--", color="#555555",
                     label="slope -5/3")
        panel.set_xlabel("frequency (Hz)")
        panel.set_ylabel(label)
        panel.grid(alpha=0.3, which="both")
        panel.legend(frameon=False)
    figure.suptitle(f"{title}\nmean of {segments} segments of {size} records",
                    parse_math=False)


def show(output):
    """Writes the figure to a file or, without one, opens a window; whether it could."""
    if output:
        pyplot.savefig(output, dpi=DPI)
    elif pyplot.get_backend().lower() == "agg":  # what pyplot turns to when it has no display
        return False
    else:
        pyplot.show()
    return True
