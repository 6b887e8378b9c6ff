"""Spectra and cospectra of evenly spaced records; doc/spectra.md has the formulas."""

import dataclasses

import numpy
from numpy.lib.stride_tricks import sliding_window_view

MAX_SEGMENT_RECORDS = 2**14  # eight and a half minutes at 32 a second
MIN_SEGMENT_RECORDS = 2**6
# As sonic-records --split has them.
LOOK_AHEAD = 2     # seconds
LOST = 0.75        # intervals later than the record before: at least one is lost
CROWDED = 0.25     # intervals earlier: more records than the rate makes
MAX_DRIFT_INTERVALS = 0.002  # intervals that a clock loses at most from one record to the next
BINS_A_DECADE = 20
HALF_HOUR = 1800 * 10**9
QUANTITIES = ("u", "v", "w", "ts")
POWERS = ("u", "w", "ts")
CROSSES = {"uw": ("u", "w"), "wt": ("w", "ts")}


@dataclasses.dataclass
class Spectra:
    """Over the frequencies (Hz): power of u, w and ts, and cospectra uw and wt, all a Hz."""

    frequency: numpy.ndarray
    power: dict
    cospectrum: dict
    size: int      # records of a segment
    segments: int  # whose mean they are

    def ogive(self, name):
        """The covariance of all frequencies from each one on."""
        return numpy.cumsum(self.cospectrum[name][::-1])[::-1] * self.frequency[0]


def breaks(delays, is_back, delay):
    """Which records do not follow the one before, and the delay of the last.

    Delays are in intervals, without what the records of the next two seconds make up for; `delay`
    is that of the record before the first. `is_back` marks records after a step of the clock. What
    a record is late by itself does not count, so that the loss of the next one stands out from it.
    """
    is_broken = is_back.copy()
    for i, own in enumerate(delays.tolist()):
        is_broken[i] |= not -CROWDED < own - delay < LOST
        delay = own if is_broken[i] else min(own, delay + MAX_DRIFT_INTERVALS)
    return is_broken, delay


def pieces(chunks, rate):
    """Records that follow each other without a fault, a lost record or a step back, some at a time:
    (whether a run begins, times, a row of values a quantity).

    Stamps are late now and then, so a record is lost only where it and all those of the next two
    seconds are later than the ones before.
    """
    time, fault = numpy.zeros(0, "int64"), numpy.zeros(0, bool)
    values = numpy.zeros((len(QUANTITIES), 0))
    done = 0  # of these records; the last of them is kept for the next chunk
    delay = 0.0  # of that one
    chunks = iter(chunks)
    is_more = True
    while is_more:
        chunk = next(chunks, None)
        is_more = chunk is not None
        if is_more:
            time = numpy.append(time, chunk.time)
            fault = numpy.append(fault, chunk.fault)
            values = numpy.column_stack([values, [chunk.values[name] for name in QUANTITIES]])
        ahead = LOOK_AHEAD * rate
        if len(time) == 0 or (is_more and len(time) <= ahead):
            continue
        # In intervals; a clock that is set back says nothing of the records before it.
        intervals = numpy.diff(time) * (rate / 1e9)
        place = numpy.append(0, numpy.cumsum(numpy.where(intervals < 0, 1, intervals) - 1))
        on_time = sliding_window_view(numpy.append(place, [numpy.inf] * (ahead - 1)), ahead).min(1)
        end = len(time) - ahead if is_more else len(time)
        is_broken = numpy.append(True, intervals < 0)
        is_broken[done:end], delay = breaks(on_time[done:end], is_broken[done:end], delay)
        is_broken[1:] |= fault[1:] | fault[:-1]
        edges = [done, *(numpy.flatnonzero(is_broken[done + 1:end]) + done + 1), end]
        for first, last in zip(edges[:-1], edges[1:]):
            if first < last and not fault[first]:
                yield is_broken[first], time[first:last], values[:, first:last]
        kept = max(end - 1, 0)
        delay -= place[kept]
        time, fault, values, done = time[kept:], fault[kept:], values[:, kept:], end - kept


def longest_run(chunks, rate):
    """Its number of records; it need not be counted beyond the longest segment."""
    longest = length = 0
    for is_new, time, _ in pieces(chunks, rate):
        length = len(time) if is_new else length + len(time)
        longest = max(longest, length)
        if longest >= MAX_SEGMENT_RECORDS:
            break
    return longest


def segments(chunks, rate, size):
    """Time of the first record, and values, of all segments that overlap by half."""
    time, values = numpy.zeros(0, "int64"), numpy.zeros((len(QUANTITIES), 0))
    for is_new, more_time, more in pieces(chunks, rate):
        time = more_time if is_new else numpy.append(time, more_time)
        values = more if is_new else numpy.column_stack([values, more])
        while len(time) >= size:
            yield time[0], values[:, :size]
            time, values = time[size // 2:], values[:, size // 2:]


def turned(values, mean):
    """The records of a segment after double rotation by a mean wind u, v, w."""
    u, v, w, ts = values
    eta = numpy.arctan2(mean[1], mean[0])
    phi = numpy.arctan2(mean[2], numpy.hypot(mean[0], mean[1]))
    along = u * numpy.cos(eta) + v * numpy.sin(eta)
    return {"u": along * numpy.cos(phi) + w * numpy.sin(phi),
            "w": w * numpy.cos(phi) - along * numpy.sin(phi), "ts": ts}


def spectra(source, rate, mean_winds):
    """Spectra of the records of a source, or None where no run is long enough. `mean_winds` are
    those of the half hours, by their start; each segment is turned by that of its first record."""
    longest = longest_run(source.records(), rate)
    if longest < MIN_SEGMENT_RECORDS:
        return None
    size = min(MAX_SEGMENT_RECORDS, 2 ** int(numpy.log2(longest)))
    window = numpy.hanning(size + 1)[:-1]
    sums = {name: numpy.zeros(size // 2) for name in (*POWERS, *CROSSES)}
    count = 0
    for time, values in segments(source.records(), rate, size):
        quantities = turned(values, mean_winds[time // HALF_HOUR * HALF_HOUR])
        transformed = {name: numpy.fft.rfft((x - x.mean()) * window)[1:]
                       for name, x in quantities.items()}
        for name, (a, b) in {**{name: (name, name) for name in POWERS}, **CROSSES}.items():
            sums[name] += (transformed[a] * transformed[b].conj()).real
        count += 1
    for total in sums.values():
        total[:-1] *= 2  # all but the highest frequency stand for two
        total /= count * rate * (window**2).sum()
    return Spectra(numpy.fft.rfftfreq(size, 1 / rate)[1:], {name: sums[name] for name in POWERS},
                   {name: sums[name] for name in CROSSES}, size, count)


def smoothed(frequency, power):
    """Means over bins that are equally wide on a logarithmic axis."""
    bins = numpy.floor(numpy.log10(frequency) * BINS_A_DECADE)
    first = numpy.unique(bins, return_index=True)[1]
    counts = numpy.diff(numpy.append(first, len(frequency)))
    return (numpy.add.reduceat(frequency, first) / counts,
            numpy.add.reduceat(power, first) / counts)
