"""A figure of spectra, cospectra and ogives."""

import numpy
from matplotlib import pyplot

from sonic_plot.spectrum import smoothed

# Weighted by the frequency, slopes of -5/3 and -7/3 become these.
POWER_SLOPE, COSPECTRUM_SLOPE = -2 / 3, -4 / 3
POWERS = [("u", "u: f S (m²/s²)", "#1f6fb4"), ("w", "w: f S (m²/s²)", "#7a4fb5"),
          ("ts", "sonic temp.: f S (K²)", "#d2691e")]
CROSSES = [("uw", "u'w': f |Co| (m²/s²)", "#1f6fb4"), ("wt", "w'T': f |Co| (K m/s)", "#d2691e")]


def positive(values):
    """Without the zeros of a quantity that does not change, which a logarithmic axis has no place
    for."""
    return numpy.where(values > 0, values, numpy.nan)


def draw_slope(panel, frequency, weighted, slope, label):
    """A line of this slope through the middle of the upper half, where turbulence hands its energy
    on."""
    middle = 3 * len(frequency) // 4
    upper = frequency[len(frequency) // 2:]
    panel.loglog(upper, weighted[middle] * (upper / frequency[middle]) ** slope, "--",
                 color="#555555", label=label)


def draw(found, title):
    """Two rows of panels: spectra, then cospectra and ogives. Returns them by name."""
    figure, axes = pyplot.subplots(2, 3, figsize=(15, 9), layout="constrained")
    panels = dict(zip(("u", "w", "ts", "uw", "wt", "ogives"), axes.flat))
    for name, label, colour in POWERS:
        panel = panels[name]
        frequency, power = smoothed(found.frequency, found.power[name])
        weighted = positive(frequency * power)
        panel.loglog(frequency, weighted, ".-", color=colour, linewidth=0.8)
        draw_slope(panel, frequency, weighted, POWER_SLOPE, "slope -5/3, weighted")
        panel.set_ylabel(label)
    for name, label, colour in CROSSES:
        panel = panels[name]
        frequency, cospectrum = smoothed(found.frequency, found.cospectrum[name])
        weighted = frequency * cospectrum
        size = positive(numpy.abs(weighted))
        panel.loglog(frequency, size, "-", color=colour, linewidth=0.4)
        for is_positive, fill, text in ((True, "full", "positive"), (False, "none", "negative")):
            chosen = (weighted > 0) == is_positive
            panel.loglog(frequency[chosen], size[chosen], "o", color=colour,
                         markersize=4, fillstyle=fill, label=text)
        draw_slope(panel, frequency, size, COSPECTRUM_SLOPE,
                   "slope -7/3, weighted")
        panel.set_ylabel(label)
        ogive = found.ogive(name)
        panels["ogives"].semilogx(found.frequency, ogive / (ogive[0] or 1), color=colour,
                                  label=f"{label.split(':')[0]}: {ogive[0]:.4f}")
    panels["ogives"].set_ylabel("ogive, share of the covariance")
    for panel in panels.values():
        panel.set_xlabel("frequency (Hz)")
        panel.grid(alpha=0.3, which="both")
        panel.legend(frameon=False)
    figure.suptitle(f"{title}\nmean of {found.segments} segments of {found.size} records",
                    parse_math=False)
    return panels
