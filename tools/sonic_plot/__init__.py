"""The parts of sonic-plot."""

import shutil
import sys
from pathlib import Path


class Unusable(Exception):
    """Why files cannot be read or nothing be drawn, as a sentence."""


def sonic_records():
    """The path of sonic-records, which is beside this program or on the search path."""
    beside = Path(sys.argv[0]).parent / "sonic-records"
    program = str(beside) if beside.is_file() else shutil.which("sonic-records")
    if program is None:
        raise Unusable("sonic-records is missing")
    return program
