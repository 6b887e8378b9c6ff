"""Shows and measures the archive: archive.py BUILD [RESULT.json], inside sonic-store --shards.

Three stations with a day each on two servers, one of which goes away and comes back. With
RESULT.json also a month of one station, which takes ten minutes and 2 GB.
"""

import json
import os
import subprocess
import sys
import time
from pathlib import Path

BUILD = Path(sys.argv[1])
STORE = Path(os.environ["SONIC_STORE_FOLDER"])
FILES = STORE / "files"
ARCHIVE = Path(__file__).resolve().parent.parent / "archive"
STATIONS = ["mast-07", "mast-08", "mast-09"]
FIRST_DAY = 1698796800  # 2023-11-01
DAY, HALF_HOUR, RATE = 86400, 1800, 32
os.environ["PATH"] = f"{ARCHIVE}:{BUILD}/tools:{os.environ['PATH']}"


def say(text):
    print(f"\n==> {text}", flush=True)


def show(command, lines=None):
    """Runs a line of shell, prints what it prints, as far as `lines`, and returns its seconds."""
    print(f"$ {command}", flush=True)
    start = time.time()
    done = subprocess.run(["bash", "-c", command], cwd=FILES, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)
    seconds = time.time() - start
    output = done.stdout.splitlines()
    for line in output[:lines] + ["..."] * (lines is not None and len(output) > lines):
        print(line)
    if done.returncode:
        print(f"(exit status {done.returncode})")
    return seconds


def make_files(station, start, seconds):
    folder = FILES / station
    folder.mkdir(parents=True, exist_ok=True)
    return subprocess.Popen([BUILD / "simulator/make-files", folder, str(start), str(seconds),
                             station[-1]])


def make_all(start, seconds):
    for process in [make_files(station, start, seconds) for station in STATIONS]:
        if process.wait():
            raise SystemExit("make-files failed")


def ask_server(number, query):
    return subprocess.run(["clickhouse-client", "--host", f"127.0.0.{number}", "--query", query],
                          text=True, capture_output=True)


def stop_server(number):
    os.kill(int((STORE / str(number) / "pid").read_text()), 9)


def start_server(number):
    folder = STORE / str(number)
    server = subprocess.Popen(["clickhouse-server", f"--config-file={folder}/config.xml"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    (folder / "pid").write_text(str(server.pid))
    while ask_server(number, "SELECT 1").returncode:
        time.sleep(0.1)


def lost_and_doubled(made):
    """Of so many records, whose times are all different."""
    answer = ask_server(1, "SELECT count(), uniqExact(station, seconds, nanoseconds) "
                           "FROM sonic_all.records FINAL")
    count, different = map(int, answer.stdout.split())
    return made - different, count - different


def bytes_per_row():
    sums = [0, 0]
    for number in (1, 2):
        answer = ask_server(number, "SELECT sum(bytes_on_disk), sum(rows) FROM system.parts "
                                    "WHERE active AND database = 'sonic' AND table = 'records'")
        sums = [a + int(b) for a, b in zip(sums, answer.stdout.split())]
    return sums[0] / sums[1]


def three_days():
    period = "from=2023-11-01 to=2023-11-03"
    say("Three masts, a day each at 32 records a second, in files as sonicd writes them")
    make_all(FIRST_DAY, DAY)
    made = len(STATIONS) * DAY * RATE
    show("du -sh *")
    say("Into the archive, which is two servers")
    seconds = show("sonic-load */*")
    print(f"{made} records in {seconds:.1f} s: {made / seconds:,.0f} a second")
    say("Once more: nothing to do")
    show("sonic-load */*")
    say("How complete are the days? Fluxes and gusts of a mast")
    show(f"sonic-ask completeness {period}")
    show(f"sonic-ask half_hours station=mast-07 {period}", 4)
    show(f"sonic-ask gusts station=mast-07 {period}", 4)

    say("One server goes away; files of another half hour have come")
    make_all(FIRST_DAY + DAY, HALF_HOUR)
    made += len(STATIONS) * HALF_HOUR * RATE
    stop_server(2)
    show("sonic-load */*", 2)
    say("It is back")
    start_server(2)
    show("sonic-load */*")
    show(f"sonic-ask completeness {period}")
    lost, doubled = lost_and_doubled(made)
    say(f"Of {made} records {lost} are lost and {doubled} are there twice; "
        f"{bytes_per_row():.1f} bytes of disk a record")
    return {"rows": made, "load_rate": made / seconds, "lost": lost, "doubled": doubled}


def month():
    say("A month of one mast")
    seconds = 0
    for day in range(30):
        make_files("mast-01", FIRST_DAY + day * DAY, DAY).wait()
        seconds += show("sonic-load mast-01/*")
        for path in (FILES / "mast-01").iterdir():
            path.unlink()
    wanted = "station=mast-01 from=2023-11-01 to=2023-12-01"
    asked = show(f"sonic-ask half_hours {wanted}", 3)
    query = (ARCHIVE / "queries/half_hours.sql").read_text()
    (FILES / "without_final.sql").write_text(query.replace(" FINAL", ""))
    without_final = show(f"sonic-ask without_final.sql {wanted}", 3)
    return {"month_rows": 30 * DAY * RATE, "month_load": seconds, "month_ask": asked,
            "month_ask_without_final": without_final, "bytes_per_row": bytes_per_row()}


FILES.mkdir()
figures = three_days()
if len(sys.argv) > 2:
    figures.update(month())
    Path(sys.argv[2]).write_text(json.dumps(figures, indent=2) + "\n")
