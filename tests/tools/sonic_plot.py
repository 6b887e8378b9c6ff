"""What the figures of sonic-plot contain, and what they are made from: sonic_plot.py FOLDER"""

import sys
import unittest

sys.path.insert(0, sys.argv.pop(1))

try:
    import matplotlib
except ImportError:
    sys.exit(77)  # which ctest calls skipped
matplotlib.use("agg")
import numpy  # noqa: E402
from matplotlib import dates  # noqa: E402

from sonic_plot import half_hours_figure, planar_fit, records_figure, spectrum  # noqa: E402
from sonic_plot.reading import RECORD_COLUMNS, Events, Records  # noqa: E402

NS = 10**9
START = 1700001000 * NS
NAN = numpy.nan


def seconds(values):
    """Dates of a figure, in seconds after START."""
    start = dates.date2num(numpy.datetime64(START, "ns"))
    return numpy.round((numpy.asarray(values) - start) * 86400, 3).tolist()


def same(values, expected):
    return numpy.array_equal(numpy.asarray(values, float), expected, equal_nan=True)


class RecordsFigure(unittest.TestCase):
    # Six columns of ten seconds: a gap after the second, nothing but faults in the fourth.
    EVENTS = [("gap", 15, 26), ("error", 3, None), ("error", 4, None), ("clock_back", 75, 30)]

    def setUp(self):
        columns = {"time": [0, 10, 40, 50, 60, 70], "records": [9, 5, 9, 0, 9, 9],
                   "faults": [0, 0, 1, 9, 0, 0], "direction": [10, 20, 30, NAN, 50, 60]}
        for name in ("u", "v", "w", "ts", "speed"):
            mean = numpy.array([1, 2, 3, NAN, 5, 6.0])
            columns.update({f"{name}_min": mean - 1, f"{name}_mean": mean, f"{name}_max": mean + 2})
        envelope = {name: numpy.array(values) for name, values in columns.items()}
        envelope["time"] = START + envelope["time"] * NS
        rows = [{"event": kind, "time": f"{START // NS + time}.000000000",
                 "seconds": length and f"{length}.0"} for kind, time, length in self.EVENTS]
        self.events = Events(rows, 10 * NS)
        self.panels = records_figure.draw(envelope, self.events, 10 * NS, "title")

    def line(self, panel, number):
        return self.panels[panel].lines[number].get_data()

    def test_a_line_of_means_breaks_at_gaps_and_faults(self):
        times, means = self.line("w", 0)
        self.assertTrue(same(means, [1, 2, NAN, 3, NAN, NAN, NAN, 5, 6]), means)
        self.assertEqual(seconds(times)[:4], [5, 15, 45, 45])

    def test_extremes_are_an_envelope(self):
        heights = self.panels["u"].collections[0].get_paths()[0].vertices[:, 1]
        self.assertEqual((heights.min(), heights.max()), (0, 4), "of the first of three")
        self.assertEqual(len(self.panels["u"].collections[0].get_paths()), 3)

    def test_gaps_and_steps_back_are_spans_and_the_rest_are_marks(self):
        spans = {c.get_label(): seconds(c.get_paths()[0].vertices[:, 0])
                 for c in self.panels["v"].collections[1:]}
        self.assertEqual({name: (min(x), max(x)) for name, x in spans.items()},
                         {"gap": (15, 41), "clock set back": (45, 75)})
        marks = {line.get_label(): seconds(line.get_xdata()) for line in self.panels["v"].lines}
        self.assertEqual(marks["error line"], [4], "one a column")
        self.assertEqual(marks["diag fault"], [45, 55])
        self.assertEqual(self.events.counts["error"], 2)


class HalfHoursFigure(unittest.TestCase):
    def setUp(self):
        names = "speed_scalar speed direction gust ts ustar wt flag_uw flag_wt percent".split()
        self.table = {name: numpy.array([1.0, 2, 3]) for name in names}
        self.table["start"] = START + numpy.array([0, 1800, 5400]) * NS  # one is missing
        self.table["direction"] = numpy.array([359.0, 11.2, NAN])
        self.table["gust"] = numpy.array([5, NAN, 7])
        self.panels = half_hours_figure.draw(self.table, "title")

    def test_the_rose_has_the_wind_from_the_north_on_top(self):
        shares = half_hours_figure.rose(self.table["speed_scalar"], self.table["direction"])
        self.assertTrue(same(shares[:, 0], [0, 50, 50, 0, 0, 0]), shares)
        self.assertEqual(shares.sum(), 100)
        rose = self.panels["rose"]
        self.assertEqual((rose.get_theta_offset(), rose.get_theta_direction()), (numpy.pi / 2, -1))


class Source:
    """Records in chunks of any size."""

    def __init__(self, table, chunk):
        self.table, self.chunk = table, chunk

    def records(self):
        for first in range(0, len(self.table), self.chunk):
            yield Records(self.table[first:first + self.chunk])


class Spectra(unittest.TestCase):
    RATE = 32

    def setUp(self):
        count = 4096
        self.table = numpy.zeros(count, RECORD_COLUMNS)
        time = START + numpy.arange(count) * NS // self.RATE
        self.table["seconds"], self.table["nanoseconds"] = time // NS, time % NS
        angle = 2 * numpy.pi * 1.5 * numpy.arange(count) / self.RATE
        self.table["u"] = 3 + numpy.sin(angle)
        self.table["w"] = 2 * numpy.sin(angle + numpy.pi / 3) + 5
        self.table["ts"] = 20 - numpy.sin(angle)

    def spectra(self, table, chunk=1000):
        return spectrum.spectra(Source(table, chunk), self.RATE, {START: (1.0, 0.0, 0.0)})

    def runs(self, *, lost=(), late=(), faults=(), back=None):
        """Lengths of the runs."""
        table = self.table.copy()
        for number, milliseconds in late:
            table["nanoseconds"][number] += milliseconds * 10**6  # stays in its second
        table["diag"][list(faults)] = 4
        if back is not None:
            table["seconds"][back:] -= 40
        table = numpy.delete(table, list(lost))
        found = []
        for chunk in (100, 5000):
            lengths = []
            for is_new, time, _ in spectrum.pieces(Source(table, chunk).records(), self.RATE):
                lengths = lengths + [0] if is_new else lengths
                lengths[-1] += len(time)
            found.append(lengths)
        self.assertEqual(*found, "whatever the chunks are")
        return found[0]

    def test_power_and_cospectra_are_where_they_should_be_and_as_much(self):
        found = self.spectra(self.table)
        self.assertEqual((found.size, found.segments), (4096, 1))
        for spectra, name, expected in ((found.power, "w", 2), (found.power, "ts", 0.5),
                                        (found.cospectrum, "uw", 0.5),
                                        (found.cospectrum, "wt", -0.5)):
            self.assertEqual(found.frequency[numpy.abs(spectra[name]).argmax()], 1.5)
            self.assertAlmostEqual(spectra[name].sum() * found.frequency[0], expected, 3)
        self.assertAlmostEqual(found.ogive("uw")[0], 0.5, 3)
        self.assertAlmostEqual(found.ogive("uw")[-1], 0, 3)

    def test_segments_overlap_by_half_and_are_the_same_in_any_chunks(self):
        table = self.table.copy()
        table["diag"][3100] = 4  # leaves runs of 3100 and 995
        few, many = self.spectra(table, 64), self.spectra(table, 9999)
        self.assertEqual((few.size, few.segments), (2048, 2))
        self.assertTrue(numpy.allclose(few.power["w"], many.power["w"], rtol=1e-12))

    def test_late_stamps_break_no_run_and_lost_records_do(self):
        self.assertEqual(self.runs(), [4096])
        stall = [(480 + n, 270 - 31 * n) for n in range(9)]  # all of them arrive at its end
        self.assertEqual(self.runs(late=[(70, 20), *stall, (4090, 20)]), [4096])
        self.assertEqual(self.runs(lost=[1000]), [1000, 3095])
        self.assertEqual(self.runs(lost=[1001], late=[(1000, 15)]), [1001, 3094])
        self.assertEqual(self.runs(lost=[0, 4095], faults=[2000]), [1999, 2094])
        self.assertEqual(self.runs(back=2000), [2000, 2096])

    def test_too_few_records_have_no_spectrum(self):
        self.assertIsNone(self.spectra(self.table[:63]))
        self.assertEqual(self.spectra(self.table[:64]).size, 64)


class PlanarFit(unittest.TestCase):
    def setUp(self):
        angles = numpy.radians(numpy.arange(0, 360, 5))
        u, v = 3 * numpy.sin(angles), 3 * numpy.cos(angles)
        self.table = {"u": u, "v": v, "w": 0.05 + 0.02 * u - 0.03 * v,
                      "direction": numpy.degrees(angles), "percent": numpy.full(len(u), 90.0),
                      "speed": numpy.full(len(u), 1.0)}

    def test_finds_the_plane_of_complete_half_hours_with_wind(self):
        self.table["percent"][3], self.table["speed"][4] = 89.9, 0.99
        self.table["w"][3:5] = 99
        self.assertEqual(planar_fit.lines(self.table, 1),
                         ([planar_fit.HEAD, "0\t360\t70\t0.050000\t0.020000\t-0.030000"], []))

    def test_gives_no_plane_where_the_winds_do_not_show_one(self):
        self.table["percent"][self.table["direction"] >= 180] = 0
        lines, missing = planar_fit.lines(self.table, 2)
        self.assertEqual((len(lines), len(missing)), (2, 1))
        self.assertIn("from 180 to 360 degrees: its 0 half hours", missing[0])
        self.table["u"] = 2 * self.table["v"]  # along one line
        self.assertEqual(planar_fit.lines(self.table, 1)[0], [planar_fit.HEAD])


if __name__ == "__main__":
    unittest.main()
