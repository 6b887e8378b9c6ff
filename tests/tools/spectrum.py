"""The spectrum of a sine: its peak, and its sum, which is the variance."""

import numpy
from sonic_plot import reading, spectrum

RATE, RECORDS, AMPLITUDE = 32, 4096, 2.0
table = numpy.zeros(RECORDS, reading.COLUMNS)
seconds = numpy.arange(RECORDS) / RATE
table["seconds"], table["nanoseconds"] = seconds // 1, seconds % 1 * 1e9
table["w"] = AMPLITUDE * numpy.sin(2 * numpy.pi * 1.5 * seconds) + 5
table["diag"][3000:] = 4  # leaves 3000 records: segments of 2048
records = reading.Records(table)
frequency, power, size, segments = spectrum.spectra(records, ["w"], RATE)
assert (size, segments) == (2048, 1), (size, segments)
assert frequency[power["w"].argmax()] == 1.5
assert abs(power["w"].sum() * frequency[0] - AMPLITUDE**2 / 2) < 1e-3
