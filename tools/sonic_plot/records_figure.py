"""A figure of the records: means over envelopes of extremes."""

import numpy
from matplotlib import colors, pyplot

from sonic_plot.axes import date, label_time

# Quantity, label, colour.
PANELS = [("u", "u (m/s)", "#1f6fb4"), ("v", "v (m/s)", "#2a9d5c"), ("w", "w (m/s)", "#7a4fb5"),
          ("ts", "sonic temp. (°C)", "#d2691e"), ("speed", "speed (m/s)", "#33658a"),
          ("direction", "from (°)", "#86592d")]
# Spans between records, and marks at the record before what they mark.
SPANS = {"gap": ("gap", "#f2b705"), "clock_back": ("clock set back", "#e05fd0")}
MARKS = {"error": ("error line", "#d00000", 0.03), "failed": ("failed check", "#000000", 0.09),
         "fault": ("diag fault", "#ff7f0e", 0.15)}
MARGIN = 0.12        # of the scale
MARKS_MARGIN = 0.28  # below, where there are marks
FEW = 3        # percent of the columns, at each end


class Lines:
    """Columns of records as lines: `breaks` are the columns before which no line is drawn, because
    of a gap, a step back in time, or a column with faults only."""

    def __init__(self, envelope, events, width):
        self.envelope = envelope
        time = envelope["time"]
        is_broken = numpy.diff(time) < 0
        # A gap is between the column of the record before it and the next one.
        before = numpy.isin(time[:-1], events.of("gap")[0] // width * width)
        is_empty = envelope["records"] == 0
        is_broken |= (before & (numpy.diff(time) > width)) | is_empty[1:] | is_empty[:-1]
        self.breaks = numpy.flatnonzero(is_broken) + 1
        self.middle = time + width // 2
        starts = numpy.concatenate([[True], is_broken])
        self.alone = starts & numpy.append(starts[1:], True) & ~is_empty

    def of(self, name):
        """Dates and values, with NaN where the line breaks."""
        values = numpy.insert(self.envelope[name].astype(float), self.breaks, numpy.nan)
        return date(numpy.insert(self.middle, self.breaks, self.middle[self.breaks])), values


def pale(colour):
    """The colour, mixed with white."""
    return 1 - 0.35 * (1 - numpy.array(colors.to_rgb(colour)))


def draw_marks(panel, events, faults):
    """Spans and marks of events, and of records with a fault."""
    across = panel.get_xaxis_transform()  # time along, heights from 0 to 1
    for kind, (label, colour) in SPANS.items():
        times, lengths = events.of(kind)
        if len(times):
            ends = times + lengths if kind == "gap" else times - lengths
            starts = date(numpy.minimum(times, ends))
            spans = list(zip(starts, date(numpy.maximum(times, ends)) - starts))
            # Outlined, so that one much narrower than a pixel still shows.
            panel.broken_barh(spans, (0, 1), transform=across,
                              facecolor=colors.to_rgba(colour, 0.4), edgecolor=colour,
                              linewidth=0.6, zorder=0.5, label=label)
    for kind, (label, colour, height) in MARKS.items():
        times = faults if kind == "fault" else events.of(kind)[0]
        if len(times):
            panel.plot(date(times), numpy.full(len(times), height), "^", transform=across,
                       color=colour, markersize=4, zorder=4, label=label)


def set_scale(panel, lowest, highest, lines, colour, below):
    """Chooses a scale on which a few spikes do not flatten the rest. A small triangle marks each
    column that leaves the scale. The margin `below` is for other marks."""
    low, high = numpy.nanpercentile(lowest, FEW), numpy.nanpercentile(highest, 100 - FEW)
    room = max(high - low, 0.1)
    across = panel.get_xaxis_transform()
    for is_beyond, place, mark in ((lowest < low - room, 0.02, "v"),
                                   (highest > high + room, 0.98, "^")):
        panel.plot(date(lines.middle[is_beyond]), numpy.full(is_beyond.sum(), place), mark,
                   transform=across, color=colour, markersize=4)
    panel.set_ylim(max(numpy.nanmin(lowest), low - room) - room * below,
                   min(numpy.nanmax(highest), high + room) + room * MARGIN)


def draw(envelope, events, width, title):
    """A panel a quantity, over one time axis. Returns the panels by quantity."""
    lines = Lines(envelope, events, width)
    faults = lines.middle[envelope["faults"] > 0]
    figure, all_panels = pyplot.subplots(len(PANELS), sharex=True, figsize=(12, 12),
                                         layout="constrained")
    has_marks = len(faults) or any(len(events.of(kind)[0]) for kind in ("error", "failed"))
    below = MARKS_MARGIN if has_marks else MARGIN
    panels = dict(zip([name for name, _, _ in PANELS], all_panels))
    for name, label, colour in PANELS:
        panel = panels[name]
        if name == "direction":  # it jumps at 360 degrees
            panel.plot(date(lines.middle), envelope[name], ".", color=colour, markersize=2)
            panel.set_yticks(range(0, 361, 90))
            panel.set_ylim(-360 * below, 360 * (1 + MARGIN))
        else:
            dates, lowest = lines.of(f"{name}_min")
            panel.fill_between(dates, lowest, lines.of(f"{name}_max")[1], color=pale(colour),
                               linewidth=0)
            panel.plot(*lines.of(f"{name}_mean"), color=colour, linewidth=0.8)
            panel.plot(date(lines.middle[lines.alone]), envelope[f"{name}_mean"][lines.alone], ".",
                       color=colour, markersize=2, zorder=4)
            if not numpy.isnan(envelope[f"{name}_mean"].astype(float)).all():
                set_scale(panel, envelope[f"{name}_min"], envelope[f"{name}_max"], lines, colour,
                          below)
        draw_marks(panel, events, faults)
        panel.set_ylabel(label)
        panel.grid(alpha=0.3)
        panel.margins(x=0.01)
    figure.align_ylabels()
    label_time(all_panels[-1])
    if all_panels[0].get_legend_handles_labels()[0]:
        all_panels[0].legend(loc="lower right", bbox_to_anchor=(1, 1), ncols=5, frameon=False)
    figure.suptitle(title, parse_math=False)
    return panels
