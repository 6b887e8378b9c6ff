"""Half-hour files of made-up wind, as sonicd writes them."""

import math
import random

HALF_HOUR = 1800
HEAD = "Model\tRM Young 81000 V\nSN\t{}\nVersion\t4.10\nRate\t{}\n" + \
    "DATA_SONICH\tSECONDS\tNANOSECONDS\tu\tv\tw\tsos\tts\tdiag\tchk\n"


def line(*values):
    """A record's line: its values from the seconds to diag, with their checksum."""
    start = "\t".join(["DATA_SONIC", *map(str, values), ""])
    return f"{start}{sum(start.encode()) % 256:3d}"


def text(first, count=HALF_HOUR, serial_number="01234", step=1):
    """A file's text: so many records from a time on, one a second, or every so many seconds."""
    rng = random.Random(first)
    lines = []
    for second in range(first, first + count * step, step):
        u, v, w = 3 + math.sin(second / 9000) + rng.gauss(0, 1), rng.gauss(-1, 1), rng.gauss(0, 0.3)
        values = [f"{x:.2f}" for x in (u, v, w, 343.21, 20 + w / 2)]
        lines.append(line(second, 0, *values, 0) + "\n")
    return HEAD.format(serial_number, 1) + "".join(lines)


def write(folder, start, contents=None, serial_number="01234"):
    """The file of the half hour that begins at `start`. Returns its path."""
    path = folder / f"{start}.young_81000_v.{serial_number}"
    path.write_text(text(start, serial_number=serial_number) if contents is None else contents)
    return path
