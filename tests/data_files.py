"""Half-hour files of made-up wind, as sonicd writes them."""

import math
import random

HALF_HOUR = 1800
HEAD = "Model\tRM Young 81000 V\nSN\t{}\nVersion\t4.10\nRate\t1\n" + \
    "DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk\n"


def text(first, count=HALF_HOUR, serial_number="01234", step=1):
    """A file's text: so many records from a time on, one a second, or every so many seconds."""
    rng = random.Random(first)
    lines = []
    for second in range(first, first + count * step, step):
        u, v, w = 3 + math.sin(second / 9000) + rng.gauss(0, 1), rng.gauss(-1, 1), rng.gauss(0, 0.3)
        line = (f"DATA_SONIC\t{second}\t0\t{u:.2f}\t{v:.2f}\t{w:.2f}\t343.21\t"
                f"{20 + w / 2:.2f}\t0\t")
        lines.append(f"{line}{sum(line.encode()) % 256:3d}\n")
    return HEAD.format(serial_number) + "".join(lines)


def write(folder, start, contents=None, serial_number="01234"):
    """The file of the half hour that begins at `start`. Returns its path."""
    path = folder / f"{start}.young_81000_v.{serial_number}"
    path.write_text(text(start, serial_number=serial_number) if contents is None else contents)
    return path
