"""A figure of the half hours: their statistics over time, and a wind rose."""

import numpy
from matplotlib import pyplot

from sonic_plot.axes import date, label_time

HALF_HOUR = 1800 * 10**9
# Column, label, colour; of each the rows are joined by a line.
PANELS = [("speed", "speed, gust (m/s)", "#33658a"), ("direction", "from (°)", "#86592d"),
          ("ts", "sonic temp. (°C)", "#d2691e"), ("ustar", "u* (m/s)", "#1f6fb4"),
          ("wt", "w'T' (K m/s)", "#7a4fb5"), ("flags", "flag", "#555555"),
          ("percent", "records (%)", "#2a9d5c")]
FLAGS = (("flag_uw", "u'w'", "o", "#1f6fb4"), ("flag_wt", "w'T'", "x", "#7a4fb5"))
SECTORS = 16
SPEED_BOUNDS = (0, 1, 2, 4, 6, 9, numpy.inf)  # m/s
SPEED_COLOURS = ("#d9e8f2", "#a9cbe2", "#6ea6cf", "#3a7fb5", "#1b5788", "#0a2f52")


def joined(start, values):
    """Dates of the middles, and values, with NaN where a half hour is missing."""
    gaps = numpy.flatnonzero(numpy.diff(start) > HALF_HOUR) + 1
    return (date(numpy.insert(start, gaps, start[gaps]) + HALF_HOUR // 2),
            numpy.insert(values.astype(float), gaps, numpy.nan))


def rose(speed, direction):
    """Share of the half hours in percent: a row a class of speed, a column a sector, of which the
    first is around north."""
    is_known = ~numpy.isnan(direction)
    sector = numpy.floor(direction[is_known] / 360 * SECTORS + 0.5).astype(int) % SECTORS
    kind = numpy.searchsorted(SPEED_BOUNDS, speed[is_known], "right") - 1
    counts = numpy.zeros((len(SPEED_COLOURS), SECTORS))
    numpy.add.at(counts, (kind, sector), 1)
    return counts / max(counts.sum(), 1) * 100


def draw_rose(panel, table):
    """How often the wind has each speed and direction, in percent."""
    panel.set_theta_zero_location("N")
    panel.set_theta_direction(-1)
    shares = rose(table["speed_scalar"], table["direction"])
    angles = numpy.arange(SECTORS) * 2 * numpy.pi / SECTORS
    for kind, (share, colour) in enumerate(zip(shares, SPEED_COLOURS)):
        low, high = SPEED_BOUNDS[kind:kind + 2]
        panel.bar(angles, share, width=angles[1] * 0.9, bottom=shares[:kind].sum(axis=0),
                  color=colour, label=f"{low} to {high}" if high < numpy.inf else f"from {low}")
    panel.set_xticks(angles[::2], ["N", "NE", "E", "SE", "S", "SW", "W", "NW"])
    panel.yaxis.set_major_formatter("{x:g} %")
    panel.legend(title="speed (m/s)", loc="upper center", bbox_to_anchor=(0.5, -0.1), ncols=2,
                 frameon=False)
    panel.set_title("wind from, by the\ninstrument's north", fontsize="medium")


def add_legend(panel):
    """Beside it, where it takes no room from the others."""
    panel.legend(loc="upper left", bbox_to_anchor=(1, 1), frameon=False).set_in_layout(False)


def draw(table, title):
    """Panels over one time axis. Returns them by name."""
    figure = pyplot.figure(figsize=(14, 13), layout="constrained")
    grid = figure.add_gridspec(len(PANELS), 4)
    panels = {}
    for row, (name, label, colour) in enumerate(PANELS):
        first = panels.get("speed")
        panel = panels[name] = figure.add_subplot(grid[row, :3], sharex=first)
        if name == "flags":
            for column, text, mark, mark_colour in FLAGS:
                panel.plot(date(table["start"] + HALF_HOUR // 2), table[column], mark,
                           color=mark_colour, markersize=4, fillstyle="none", label=text)
            panel.set_ylim(2.5, -0.5)
            panel.set_yticks([0, 1, 2], ["0 good", "1", "2 bad"])
            add_legend(panel)
        elif name == "direction":
            dates = date(table["start"] + HALF_HOUR // 2)
            panel.plot(dates, table[name], ".", color=colour, markersize=3)
            panel.set_ylim(0, 360)
            panel.set_yticks([0, 90, 180, 270, 360])
        else:
            panel.plot(*joined(table["start"], table[name]), ".-", color=colour, linewidth=0.8,
                       markersize=3, label="mean")
        if name == "speed":
            panel.plot(*joined(table["start"], table["gust"]), "-", color="#c0392b", linewidth=0.6,
                       label="gust over 3 s")
            add_legend(panel)
            panel.set_ylim(bottom=0)
        if name == "percent":
            panel.set_ylim(0, max(105, numpy.nanmax([0, *table[name]]) * 1.05))
        panel.set_ylabel(label)
        panel.grid(alpha=0.3)
        panel.margins(x=0.01)
        panel.tick_params(labelbottom=row == len(PANELS) - 1)
    label_time(panels["percent"])
    figure.align_ylabels([panels[name] for name, _, _ in PANELS])
    panels["rose"] = figure.add_subplot(grid[1:4, 3], projection="polar")
    draw_rose(panels["rose"], table)
    figure.suptitle(title, parse_math=False)
    return panels
