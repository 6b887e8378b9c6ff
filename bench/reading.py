"""Reads a day of files with sonic-records, pandas' C reader and mawk in turns, draws and compresses
it, and makes the half hours of a month: reading.py DAY MONTH RESULT.json"""

import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

TOOLS = Path(os.environ["BENCH_BUILD"]) / "tools"
ROUNDS = 7
LEVELS = (3, 9, 19)
# The time without the start of Python and its libraries, on whole lines without a check.
PANDAS = """
import sys, time
import pandas
start = time.perf_counter()
for path in sys.argv[1:]:
    pandas.read_csv(path, sep="\\t", header=None, skiprows=5, engine="c")
print(time.perf_counter() - start)
"""
SPLIT = "{ fields += NF } END { print fields }"


def seconds(*command):
    start = time.perf_counter()
    subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
    return time.perf_counter() - start


def peak_memory(*command):
    """In bytes, of the command itself, sampled every few milliseconds."""
    peak = 0
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
        while process.poll() is None:
            for line in Path(f"/proc/{process.pid}/status").read_text().splitlines():
                if line.startswith("VmHWM:"):
                    peak = max(peak, int(line.split()[1]) * 1024)
            time.sleep(0.003)
    if process.returncode:
        raise RuntimeError(f"{command} ended with {process.returncode}")
    return peak


def readers(files):
    rounds = []
    for _ in range(ROUNDS):
        pandas = subprocess.run(["/usr/bin/python3", "-c", PANDAS, *files], stdout=subprocess.PIPE,
                                check=True)
        rounds.append((seconds(TOOLS / "sonic-records", *files),
                       seconds(TOOLS / "sonic-records", "--half-hours", *files),
                       seconds("mawk", "-F\t", SPLIT, *files), float(pandas.stdout)))
    own, half_hours, mawk, pandas = (statistics.median(times) for times in zip(*rounds))
    return {"records_seconds": own, "half_hours_seconds": half_hours, "mawk_seconds": mawk,
            "pandas_seconds": pandas,
            "records_memory": peak_memory(TOOLS / "sonic-records", *files)}


def month(files):
    command = [TOOLS / "sonic-records", "--half-hours", *files]
    start = time.perf_counter()
    memory = peak_memory(*command)
    return {"month_files": len(files), "month_seconds": time.perf_counter() - start,
            "month_memory": memory}


def plots(files):
    with tempfile.TemporaryDirectory() as folder:
        command = [TOOLS / "sonic-plot", "-o", Path(folder) / "day.png", *files]
        start = time.perf_counter()
        memory = peak_memory(*command)
        return {"plot_seconds": time.perf_counter() - start, "plot_memory": memory}


def compression(files):
    with tempfile.TemporaryDirectory() as folder:
        for path in files:
            os.utime(shutil.copy(path, folder), (0, 0))  # long ago
        took = seconds(TOOLS / "sonicd-compress", folder)
        copies = list(Path(folder).glob("*.zst"))
        plain = sum(Path(path).stat().st_size for path in files[:-1])  # the newest stays
        return {"compress_seconds": took / len(copies),
                "compress_ratio": plain / sum(path.stat().st_size for path in copies)}


def late(line, chance):
    """The line of a record with a stamp as it arrives, some microseconds late."""
    columns = line.split(b"\t")
    if columns[0] != b"DATA_SONIC":
        return line
    nanoseconds = int(columns[2]) + int(chance.gammavariate(2, 60_000))
    columns[2] = b"%d" % min(nanoseconds, 999_999_999)
    text = b"\t".join(columns[:-1]) + b"\t"
    return text + b"%3d\n" % (sum(text) % 256)


def levels(path):
    """Size, time and memory of one half hour as it is recorded."""
    chance = random.Random(1)
    with open(path, "rb") as lines, tempfile.NamedTemporaryFile() as file:
        plain = file.write(b"".join(late(line, chance) for line in lines))
        file.flush()
        found = {}
        for name, command in [("gzip", ("gzip", "-c")),
                              *((f"zstd -{n}", ("zstd", f"-{n}", "-qc")) for n in LEVELS)]:
            command = (*command, file.name)
            size = len(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout)
            found[name] = {"ratio": plain / size, "memory": peak_memory(*command),
                           "seconds": min(seconds(*command) for _ in range(3))}
    return {"levels": found}


if __name__ == "__main__":
    day, all_days = (sorted(str(path) for path in Path(folder).iterdir())
                     for folder in sys.argv[1:3])
    result = {"bytes": sum(Path(path).stat().st_size for path in day),
              **readers(day), **month(all_days), **plots(day), **compression(day), **levels(day[0])}
    Path(sys.argv[3]).write_text(json.dumps(result, indent=2) + "\n")
