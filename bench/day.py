"""A day of half-hour files as the daemon writes them: day.py FOLDER"""

import math
import random
import sys
from pathlib import Path

RATE, HALF_HOUR, FILES = 32, 1800, 48
FIRST = 1700006400  # a midnight
TOP = ("Model\tRM Young 81000 V\nSN\t01234\nVersion\t4.10\nRate\t32\n"
       "DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk\n")


def half_hour(start, gauss):
    u = v = w = t = 0.0
    yield TOP
    for i in range(RATE * HALF_HOUR):
        u, v, w, t = (0.97 * u + gauss(0, 0.2), 0.97 * v + gauss(0, 0.2),
                      0.9 * w + gauss(0, 0.15), 0.97 * t + gauss(0, 0.05))
        celsius = 21.5 + t - 0.1 * w
        line = (f"DATA_SONIC\t{start + i // RATE}\t{i % RATE * 10**9 // RATE}\t{3 + u - 0.3 * w:.2f}\t"
                f"{v - 1:.2f}\t{w:.2f}\t{20.05 * math.sqrt(celsius + 273.15):.2f}\t{celsius:.2f}\t0\t")
        yield f"{line}{sum(line.encode()) % 256:3d}\n"


if __name__ == "__main__":
    folder = Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    gauss = random.Random(1).gauss  # the same day each time
    for n in range(FILES):
        start = FIRST + n * HALF_HOUR
        (folder / f"{start}.young_81000_v.01234").write_text("".join(half_hour(start, gauss)))
