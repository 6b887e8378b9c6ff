"""Power spectra of evenly spaced records; data-format.md has the formulas and their source."""

import numpy

LONGEST = 2**14   # records of a segment: eight and a half minutes at 32 a second
SHORTEST = 2**6
BINS_A_DECADE = 20


def stretches(records, rate):
    """(first, end) of each run of records without a fault, a gap or a step back."""
    step = numpy.diff(records.time)
    breaks = (step <= 0) | (step > 1.5e9 / rate) | records.fault[1:] | records.fault[:-1]
    edges = numpy.concatenate([[0], numpy.flatnonzero(breaks) + 1, [len(records.time)]])
    return [(first, end) for first, end in zip(edges[:-1], edges[1:]) if not records.fault[first]]


def spectra(records, names, rate):
    """Frequencies (Hz) and, by name, power a Hz, or nothing where no stretch is long enough.

    The mean over the segments, half overlapping, each without its mean and under a Hann window.
    """
    runs = stretches(records, rate)
    longest = max((end - first for first, end in runs), default=0)
    if longest < SHORTEST:
        return None
    size = min(LONGEST, 2 ** int(numpy.log2(longest)))
    window = numpy.hanning(size + 1)[:-1]
    starts = [s for first, end in runs for s in range(first, end - size + 1, size // 2)]
    power = {}
    for name in names:
        total = numpy.zeros(size // 2)
        for start in starts:
            values = records.values[name][start:start + size]
            transformed = numpy.fft.rfft((values - values.mean()) * window)
            total += numpy.abs(transformed[1:])**2
        total[:-1] *= 2  # all but the highest frequency stand for two
        power[name] = total / (len(starts) * rate * (window**2).sum())
    return numpy.fft.rfftfreq(size, 1 / rate)[1:], power, size, len(starts)


def smoothed(frequency, power):
    """Means over bins that are equally wide on a logarithmic axis."""
    bins = numpy.floor(numpy.log10(frequency) * BINS_A_DECADE)
    first = numpy.unique(bins, return_index=True)[1]
    counts = numpy.diff(numpy.append(first, len(frequency)))
    return (numpy.add.reduceat(frequency, first) / counts,
            numpy.add.reduceat(power, first) / counts)
