"""Half-hour statistics another way: half_hours.py [--despike] [--rotation none] [--height M]
[--latitude DEG] [--period MINUTESmin] FILE...

From the files' own lines, with all records in memory, in long double, the records turned one by one
instead of the matrix of their covariances. Prints what `sonic-records --half-hours` should print.
With --make SEED it prints a file instead that has all that is hard to compute with: changing rates,
late stamps, lost and doubled records, faults, spikes, values as no wind has them.
"""

import argparse
import datetime
import random
import re
from decimal import ROUND_FLOOR, ROUND_HALF_EVEN, Decimal
from pathlib import Path

import data_files
import numpy

LINE = re.compile(rb"^(DATA_SONIC\t(\d{1,10})\t(\d{1,9})((?:\t-?\d+\.\d+){5})\t(\d+)\t)([ \d]{3})$")
NAMES = """records expected percent faults gaps spikes u v w sos ts speed speed_scalar direction
sd_direction gust cov_uu cov_uv cov_uw cov_ut cov_vv cov_vw cov_vt cov_ww cov_wt cov_tt sd_u sd_v
sd_w sd_ts uw vw wt ustar tke skew_w kurt_w skew_ts kurt_ts steady_uw steady_wt itc_u itc_w flag_uw
flag_wt L zL""".split()
DIGITS = {**dict.fromkeys("records expected faults gaps spikes flag_uw flag_wt".split(), 0),
          **dict.fromkeys("percent direction sd_direction L".split(), 2),
          **dict.fromkeys("steady_uw steady_wt itc_u itc_w".split(), 1),
          **dict.fromkeys("skew_w kurt_w skew_ts kurt_ts".split(), 3),
          **dict.fromkeys("uw vw wt".split(), 5)}
LONG = numpy.longdouble
PI = LONG("3.14159265358979323846264338327950288")


def rounded(value, digits):
    """To nine digits, then half up, as a Decimal."""
    exact = Decimal(numpy.format_float_positional(value, unique=False, precision=30))
    nine = exact.quantize(Decimal("1e-9"), ROUND_HALF_EVEN)
    unit = Decimal(1).scaleb(-digits)
    return (nine / unit + Decimal("0.5")).to_integral_value(ROUND_FLOOR) * unit + Decimal(0)


def cell(name, value):
    digits = DIGITS.get(name, 6 if name.startswith("cov_") else 4)
    if value is None or numpy.isnan(value):
        return ""
    return f"{rounded(LONG(value), digits):.{digits}f}"


def read(paths):
    """Rows of time, u, v, w, sos, ts, whether there is a fault, and the rate; sorted, each once."""
    found = set()
    for path in paths:
        rate = 0
        for line in Path(path).read_bytes().split(b"\n"):
            if line.startswith(b"Rate\t"):
                rate = int(line[5:])
            match = LINE.match(line)
            if match and match[6] == b"%3d" % (sum(match[1]) % 256):
                values = tuple(match[4].decode().split("\t")[1:])
                time = int(match[2]) * 10**9 + int(match[3])
                found.add((time, values, int(match[5]) != 0, rate))
    return sorted(found)


def spikes_of(x):
    """Values far from the median, no more than three in a row."""
    distance = numpy.abs(x - numpy.median(x))
    far = distance * LONG("0.6745") > 7 * max(numpy.median(distance), LONG("0.01"))
    edges = numpy.flatnonzero(numpy.diff(numpy.concatenate([[0], far.astype(int), [0]])))
    for first, end in zip(edges[::2], edges[1::2]):
        if end - first > 3:
            far[first:end] = False
    return far


def expected_of(times, rates, start, length):
    """Each rate counts from its first record to the first of the next."""
    changes = [i for i in range(1, len(rates)) if rates[i] != rates[i - 1]]
    starts = [start] + [times[i] for i in changes]
    ends = starts[1:] + [start + length]
    chosen = [rates[0]] + [rates[i] for i in changes]
    return round(sum((b - a) / 1e9 * rate for a, b, rate in zip(starts, ends, chosen)))


def gaps_of(times, rates, start, length):
    steps = numpy.diff([start, *times, start + length])
    return sum(int(step) > 5 * 10**9 // rate for step, rate in zip(steps, [*rates, rates[-1]]))


def gust_of(time, speed, rate):
    sums = numpy.concatenate([[0], numpy.cumsum(speed)])
    best = None
    for i in range(len(time)):
        end = i + 3 * rate[i]
        if end <= len(time) and time[end - 1] - time[i] < 3 * 10**9 and len(set(rate[i:end])) == 1:
            mean = (sums[end] - sums[i]) / (3 * rate[i])
            best = mean if best is None else max(best, mean)
    return best


def covariance(a, b):
    return ((a - a.mean()) * (b - b.mean())).mean()


def turned(u, v, w):
    """Double rotation of each record."""
    eta = numpy.arctan2(v.mean(), u.mean())
    phi = numpy.arctan2(w.mean(), numpy.hypot(u.mean(), v.mean()))
    along = u * numpy.cos(eta) + v * numpy.sin(eta)
    return (along * numpy.cos(phi) + w * numpy.sin(phi), v * numpy.cos(eta) - u * numpy.sin(eta),
            w * numpy.cos(phi) - along * numpy.sin(phi))


def model(zeta, ustar, latitude, neutral, unstable, slope, offset):
    if zeta <= -0.032:
        return unstable * abs(zeta) ** LONG("0.125")
    if zeta >= 0.4:
        return None
    if zeta <= 0 or latitude is None:
        return LONG(neutral)
    coriolis = 2 * LONG("7.2921e-5") * numpy.sin(abs(LONG(latitude)) * PI / 180)
    ratio = LONG(slope) * numpy.log(coriolis / ustar) + LONG(offset)
    return ratio if ratio > 0 else None


def flag_of(row, share, *tests):
    results = [float(rounded(row[t], 1)) if row.get(t) is not None else numpy.inf for t in tests]
    return 2 if share < 90 else int(sum(max(results) >= limit for limit in (30, 100)))


def is_printed_zero(name, value):
    return float(cell(name, value)) == 0


def quality(row, time, axes, start, length, options):
    u, w, ts = axes
    part = (time - start) * 6 // length
    for name, a, b in (("uw", u, w), ("wt", w, ts)):
        parts = [covariance(a[part == i], b[part == i]) for i in range(6) if (part == i).any()]
        if len(parts) == 6 and not is_printed_zero(name, row[name]):
            row[f"steady_{name}"] = abs((sum(parts) / 6 - row[name]) / row[name]) * 100
    tests = []
    if options.height is not None:
        tests = ["itc_w"]
        if not is_printed_zero("ustar", row["ustar"]):
            kelvin = row["ts"] + LONG("273.15")
            length = -row["ustar"] ** 3 * kelvin / (LONG("0.4") * LONG("9.81") * row["wt"])
            row["L"] = None if is_printed_zero("wt", row["wt"]) else length
            row["zL"] = LONG(options.height) / length
            for name, sd, *numbers in (("itc_u", row["sd_u"], "2.7", LONG("4.15"), "0.44", "6.3"),
                                       ("itc_w", row["sd_w"], "1.3", 2, "0.21", "3.1")):
                wanted = model(row["zL"], row["ustar"], options.latitude, *numbers)
                if wanted is not None:
                    row[name] = abs((wanted - sd / row["ustar"]) / wanted) * 100
    along = ["itc_u"] if tests else []
    row["flag_uw"] = flag_of(row, row["percent"], "steady_uw", *along, *tests)
    row["flag_wt"] = flag_of(row, row["percent"], "steady_wt", *tests)


def shape(name, row, x, sd):
    if sd >= LONG("0.00005"):
        row[f"skew_{name}"] = ((x - x.mean()) ** 3).mean() / sd**3
        row[f"kurt_{name}"] = ((x - x.mean()) ** 4).mean() / sd**4


def statistics(records, start, length, options):
    times, values, fault, rate = zip(*records)
    row = {"expected": expected_of(times, rate, start, length), "faults": sum(fault),
           "gaps": gaps_of(times, rate, start, length)}
    good = ~numpy.array(fault)
    time, rate = numpy.array(times)[good], numpy.array(rate)[good]
    u, v, w, sos, ts = (numpy.array([LONG(x) for x in column])[good] for column in zip(*values))
    if good.any():
        spikes = spikes_of(u) | spikes_of(v) | spikes_of(w) | spikes_of(ts)
        row["spikes"] = spikes.sum()
        if options.despike:
            time, rate, u, v, w, sos, ts = (x[~spikes] for x in (time, rate, u, v, w, sos, ts))
    row["spikes"] = row.get("spikes", 0)
    row["records"] = len(time)
    row["percent"] = LONG(len(time)) / row["expected"] * 100
    if len(time) == 0:
        return row
    # The means of values with a few digits have no more than that before the division.
    mean = {name: LONG(int(rounded(x.sum() * 10**4, 0))) / (len(x) * 10**4)
            for name, x in (("u", u), ("v", v), ("w", w), ("sos", sos), ("ts", ts))}
    row.update(mean)
    horizontal = numpy.hypot(u, v)
    row["speed"] = numpy.sqrt(mean["u"] ** 2 + mean["v"] ** 2 + mean["w"] ** 2)
    row["speed_scalar"] = horizontal.mean()
    if mean["u"] or mean["v"]:
        degrees = numpy.arctan2(mean["u"], mean["v"]) * 180 / PI % 360
        row["direction"] = 0 if rounded(degrees, 2) == 360 else degrees
    angles = numpy.arctan2(u, v)[horizontal > 0]
    if len(angles):
        sine, cosine = numpy.sin(angles).mean(), numpy.cos(angles).mean()
        e = numpy.sqrt(max(1 - sine ** 2 - cosine ** 2, LONG(0)))
        yamartino = numpy.arcsin(e) * (1 + (2 / numpy.sqrt(LONG(3)) - 1) * e**3)
        row["sd_direction"] = yamartino * 180 / PI
    row["gust"] = gust_of(time, horizontal, rate)
    quantities = {"u": u, "v": v, "w": w, "t": ts}
    for a in "uvwt":
        for b in "uvwt"["uvwt".index(a):]:
            row[f"cov_{a}{b}"] = covariance(quantities[a], quantities[b])
    if options.rotation == "double":
        u, v, w = turned(u, v, w)
    for name, x in (("u", u), ("v", v), ("w", w), ("ts", ts)):
        row[f"sd_{name}"] = numpy.sqrt(covariance(x, x))
    row["uw"], row["vw"], row["wt"] = covariance(u, w), covariance(v, w), covariance(w, ts)
    row["ustar"] = numpy.sqrt(numpy.hypot(row["uw"], row["vw"]))
    row["tke"] = (row["sd_u"] ** 2 + row["sd_v"] ** 2 + row["sd_w"] ** 2) / 2
    shape("w", row, w, row["sd_w"])
    shape("ts", row, ts, row["sd_ts"])
    quality(row, time, (u, w, ts), start, length, options)
    return row


def make(seed):
    """Lines of a file."""
    chance = random.Random(seed)
    rates = (4, 5, 8, 10, 16, 20, 32)
    rate = chance.choice(rates)
    top = "Model\tRM Young 81000 V\nSN\t01234\nVersion\t4.10\nRate\t{}\nDATA_SONICH\tSECONDS"
    yield top.format(rate)
    time = 1700001000 * 10**9 + chance.choice([0, 5, 1200, 1700]) * 10**9
    noise, digits = chance.choice([0, 0.01, 0.1, 1, 3]), chance.choice([1, 2, 2, 2, 3, 4])
    means = [chance.choice([0, 0, 1.5, -3, 40]) for _ in "uvw"]
    state = [0.0] * 4
    for _ in range(chance.choice([1, 2, 10, 300, 5000, 12000])):
        if chance.random() < 0.001:
            rate = chance.choice(rates)
            yield top.format(rate)
        time += 10**9 // rate
        stamp = time + (chance.randrange(10**8) if chance.random() < 0.01 else 0)
        if chance.random() < 0.002:
            time += chance.randrange(-5 * 10**9, 30 * 10**9)
        state = [0.9 * x + chance.gauss(0, noise) for x in state]
        u, v, w, ts = state
        values = [means[0] + u, means[1] + v, means[2] + w - 0.3 * u, 340, 20 + ts + 0.5 * w]
        if chance.random() < 0.002:
            values[chance.randrange(5)] += chance.choice([-1, 1]) * chance.choice([5, 500, 80000])
        diag = chance.randrange(9) if chance.random() < 0.003 else 0
        record = data_files.line(*divmod(stamp, 10**9), *[f"{x:.{digits}f}" for x in values], diag)
        yield record
        if chance.random() < 0.002:
            yield record


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--make", type=int)
    parser.add_argument("--despike", action="store_true")
    parser.add_argument("--rotation", default="double")
    parser.add_argument("--height")
    parser.add_argument("--latitude")
    parser.add_argument("--period", default="30min")
    parser.add_argument("files", nargs="*")
    options = parser.parse_args()
    if options.make is not None:
        print("\n".join(make(options.make)))
        return
    length = int(options.period.removesuffix("min")) * 60 * 10**9
    periods = {}
    for record in read(options.files):
        periods.setdefault(record[0] // length * length, []).append(record)
    print("\t".join(["start", *NAMES]))
    for start, records in periods.items():
        row = statistics(records, start, length, options)
        when = datetime.datetime.fromtimestamp(start // 10**9, datetime.timezone.utc)
        print("\t".join([f"{when:%Y-%m-%dT%H:%M:%SZ}"] + [cell(n, row.get(n)) for n in NAMES]))


if __name__ == "__main__":
    main()
