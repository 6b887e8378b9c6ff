"""A machine to try things out on: try_out.py [--keep] [--] [COMMAND]..."""

import argparse
import sys
import tempfile
from pathlib import Path

from image import CACHE
from installed import Installed
from instrument import Lines


def main():
    """Ends with the status of the command."""
    parser = argparse.ArgumentParser(description="Runs a command in an emulated logger.")
    parser.add_argument("--keep", action="store_true", help="then leave a console to it")
    parser.add_argument("command", nargs="*", help="of the shell there")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=CACHE) as folder:
        guest = Installed.from_environment().guest(Path(folder), console=options.keep)
        lines = Lines(guest)
        try:
            lines.attach()
            lines.plug(lines.instrument("--raw"), "A1")
            status, output = guest.result(guest.start(" ".join(options.command)), seconds=3600)
            sys.stdout.write(output)
            if options.keep:
                print("A console; Ctrl-A X ends the machine. Press Enter.", flush=True)
                guest.process.wait()
        finally:
            guest.cut_power()
            lines.end()
    sys.exit(status)


if __name__ == "__main__":
    main()
